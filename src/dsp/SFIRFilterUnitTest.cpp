// Self-test of SFIRFilter: a stream cut into blocks equals the whole block, Flush restarts the stream,
// and the transient skip drops taps - 1 outputs.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "SFIRFilter.h"

namespace VELA {

bool SFIRFilter::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "SFIRFilter";
    const int taps = 33, n = 600;
    VecReal32 h(taps), x(n);
    for (int k = 0; k < taps; ++k)
        h[k] = static_cast<float>(std::sin(0.3 * (k + 1)) / (k + 1));
    for (int i = 0; i < n; ++i)
        x[i] = static_cast<float>(std::cos(0.05 * i * i / n) + 0.25 * ((i * 7919) % 13 - 6) / 6.0);

    // The direct sum, in double.
    VecReal32 expected(n);
    for (int i = 0; i < n; ++i) {
        double s = 0.0;
        for (int k = 0; k < taps && k <= i; ++k)
            s += static_cast<double>(h[k]) * x[i - k];
        expected[i] = static_cast<float>(s);
    }

    SFIRFilter f(h);
    VecReal32 whole;
    f.Apply(whole, x, false);
    bool ok = whole.GetSize() == n;
    for (int i = 0; ok && i < n; ++i)
        ok = std::fabs(whole[i] - expected[i]) <= 1e-5f;
    recorder.AddTestRecord(cls, "Whole block", ok);

    // Blocks of 1, 7, 100 and the rest after a Flush continue the same signal.
    f.Flush();
    const int cuts[5] = {0, 1, 8, 108, n};
    ok = true;
    for (int b = 0; b < 4; ++b) {
        VecReal32 in(cuts[b + 1] - cuts[b]), out;
        for (int i = 0; i < in.GetSize(); ++i)
            in[i] = x[cuts[b] + i];
        f.Apply(out, in, false);
        for (int i = 0; ok && i < out.GetSize(); ++i)
            ok = std::fabs(out[i] - expected[cuts[b] + i]) <= 1e-5f;
    }
    recorder.AddTestRecord(cls, "Blocks", ok);

    // After Flush the skip drops the pre-charge: the first output is the one of index taps - 1.
    f.Flush();
    VecCplx32 cx(n), cy;
    for (int i = 0; i < n; ++i)
        cx[i] = {x[i], -x[i]};
    f.Apply(cy, cx, true);
    ok = cy.GetSize() == n - taps + 1 && std::fabs(cy[0].re - expected[taps - 1]) <= 1e-5f &&
         std::fabs(cy[0].im + expected[taps - 1]) <= 1e-5f;
    recorder.AddTestRecord(cls, "Skip transient", ok);
    return true;
}

}  // namespace VELA
