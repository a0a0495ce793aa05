// Self-test of DigitalSource: the chain's lengths and delay, the span limit, and a tone tuned to the
// new centre passing alone.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "DigitalSource.h"

namespace VELA {

namespace {

// Sum of complex tones at absolute frequencies `freq` (Hz) seen by a receiver at srcCenter sampling
// at sampFreq, each starting at phase 0; computed in double, stored in float.
void MakeTones(VecCplx32& out, int n, double srcCenter, double sampFreq, const double* freq,
               const double* amp, int count) {
    out.Resize(n);
    for (int i = 0; i < n; ++i) {
        double re = 0.0, im = 0.0;
        for (int t = 0; t < count; ++t) {
            const double cycles = (freq[t] - srcCenter) / sampFreq * i;
            const double a = 6.283185307179586 * (cycles - std::floor(cycles));
            re += amp[t] * std::cos(a);
            im += amp[t] * std::sin(a);
        }
        out[i] = {static_cast<float>(re), static_cast<float>(im)};
    }
}

}  // namespace

bool DigitalSource::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "DigitalSource";
    {
        // Two 27-tap stages (rate 50 to 12.5), no 51-tap stage: pad (0 + 13) * 2 = 26, then 78.
        DigitalSource src;
        src.SetSource(260, 40, 50);
        src.SetParameters(260, 6.1);
        recorder.AddTestRecord(cls, "PreChargeTime", src.GetPreChargeTime() == 39);

        const int need = src.GetRequiredOrigDataLen(990);
        VecCplx32 in(need), out;
        for (int i = 0; i < need; ++i)
            in[i] = {1.0f, 0.0f};
        src.Apply(out, in);
        double rate = 0.0;
        int predicted = 0;
        src.GetOutputParameters(rate, predicted, need);
        recorder.AddTestRecord(cls, "CheckLen", out.GetSize() == 990 && predicted == 990 && rate == 12.5);
    }
    {
        DigitalSource src;
        src.SetSource(1e9, 10e6, 25e6);
        const bool ok = src.GetMaxSpanLimit(25e6) == 10e6 && src.GetMaxSpanLimit(24e6) == 10e6 &&
                        src.GetMaxSpanLimit(12.5e6) == 10e6 && src.GetMaxSpanLimit(12.4e6) == 10e6 &&
                        src.GetMaxSpanLimit(6.25e6) == 5e6;
        recorder.AddTestRecord(cls, "GetMaxSpanLimit", ok);
    }
    {
        // Three 27-tap stages and the 51-tap stage take 25 MS/s to 1.5625 MS/s. Only the tone at the new
        // centre lies in the passband; the others are 3 MHz and more away.
        DigitalSource src;
        src.SetSource(1e9, 10e6, 25e6);
        src.SetParameters(999e6, 1e6);
        const double freq[5] = {999e6, 995.999e6, 995.998e6, 1002.56e6, 1003.45e6};
        const double amp[5] = {0.5, 0.05, 0.0125, 1.0, 1.0};
        VecCplx32 in, out;
        MakeTones(in, src.GetRequiredOrigDataLen(256), 1e9, 25e6, freq, amp, 5);
        src.Apply(out, in);
        bool flat = out.GetSize() == 256;
        for (int i = 0; i < out.GetSize(); ++i)
            flat = flat && std::fabs(out[i].re - 0.5f) <= 1e-4f && std::fabs(out[i].im) <= 1e-4f;
        recorder.AddTestRecord(cls, "Apply", flat);
    }
    {
        // Equal spans: no decimation, the length passes unchanged.
        DigitalSource src;
        src.SetSource(1.5e9, 4.5e6, 50e6);
        src.SetParameters(1.5e9, 4.5e6);
        VecCplx32 in(293), out;
        for (int i = 0; i < 293; ++i)
            in[i] = {static_cast<float>(i), 1.0f};
        src.Apply(out, in);
        recorder.AddTestRecord(cls, "Apply2", out.GetSize() == 293 && out[292].re == 292.0f);

        // Four 27-tap stages and the 51-tap stage.
        src.SetParameters(1.5e9, 1e6);
        const int need = src.GetRequiredOrigDataLen(293);
        in.Resize(need);
        for (int i = 0; i < need; ++i)
            in[i] = {0.25f, -0.5f};
        src.Apply(out, in);
        recorder.AddTestRecord(cls, "Apply3", out.GetSize() == 293);
    }
    return true;
}

}  // namespace VELA
