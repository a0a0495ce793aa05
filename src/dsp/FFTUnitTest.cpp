// Self-test of FFT.
#include <cmath>

#include "FT.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {
namespace {

constexpr float kTol = 9e-6f;

bool Near(const Cplx32& c, double re, double im) {
    return std::fabs(c.re - re) < kTol && std::fabs(c.im - im) < kTol;
}

}  // namespace

bool FFT::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "FFT";
    {
        FFT fft(2);  // 4 points
        VecCplx32 ramp(4), out;
        for (int i = 0; i < 4; ++i)
            ramp[i] = Cplx32{static_cast<float>(i), 0.0f};
        fft.Forward(out, ramp);
        recorder.AddTestRecord(cls, "Forward order 2",
                               out.GetSize() == 4 && Near(out[0], 6, 0) && Near(out[1], -2, 2) &&
                                   Near(out[2], -2, 0) && Near(out[3], -2, -2));
        fft.Inverse(out, ramp);
        recorder.AddTestRecord(cls, "Inverse order 2",
                               out.GetSize() == 4 && Near(out[0], 1.5, 0) && Near(out[1], -0.5, -0.5) &&
                                   Near(out[2], -0.5, 0) && Near(out[3], -0.5, 0.5));
        recorder.AddTestRecord(cls, "GetOrder", fft.GetOrder() == 2);
    }
    {
        // A tone on bin 5 of 1024 points reads amplitude N at bin 5 and nothing elsewhere (the tolerance
        // scaled by N, the gain of the unscaled forward transform).
        const int n = 1024;
        FFT fft(10);
        VecCplx32 tone(n), spectrum, back;
        for (int i = 0; i < n; ++i) {
            const double a = 2.0 * 3.14159265358979323846 * 5.0 * i / n;
            tone[i] = Cplx32{static_cast<float>(std::cos(a)), static_cast<float>(std::sin(a))};
        }
        fft.Forward(spectrum, tone);
        bool ok = spectrum.GetSize() == n && std::fabs(spectrum[5].re - n) < kTol * n;
        for (int k = 0; k < n; ++k)
            if (k != 5)
                ok = ok && std::fabs(spectrum[k].re) < kTol * n && std::fabs(spectrum[k].im) < kTol * n;
        recorder.AddTestRecord(cls, "Tone on a bin", ok);
        fft.Inverse(back, spectrum);
        recorder.AddTestRecord(cls, "Round trip", back.IsEqual(tone, kTol));
    }
    return true;
}

}  // namespace VELA
