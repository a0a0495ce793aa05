// Self-test of FIRFilter: the centred view returns the taps from an impulse, the uncentred view keeps
// the delay, and the complex forms agree with the real one on each rail.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "FIRFilter.h"

namespace VELA {

bool FIRFilter::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "FIRFilter";
    const float h[7] = {0.1f, -0.2f, 0.3f, 0.9f, 0.3f, -0.2f, 0.1f};
    VecReal32 taps;
    taps.Import(h, 7);
    VecReal32 impulse(7);
    impulse.SetZero();
    impulse[3] = 1.0f;

    FIRFilter f;
    VecReal32 out;
    f.Apply(out, taps, impulse, true);
    bool ok = out.GetSize() == 7;
    for (int i = 0; ok && i < 7; ++i)
        ok = out[i] == h[i];
    recorder.AddTestRecord(cls, "Centred impulse", ok);

    f.Apply(out, taps, impulse, false);
    ok = out.GetSize() == 7 && out[6] == h[3] && out[3] == h[0] && out[0] == 0.0f;
    recorder.AddTestRecord(cls, "Uncentred delay", ok);

    // Complex data: each rail alone; complex taps (a, b) on real data give (a * x, b * x).
    VecCplx32 cin(7), cout;
    for (int i = 0; i < 7; ++i)
        cin[i] = {impulse[i], -2.0f * impulse[i]};
    f.Apply(cout, taps, cin, true);
    ok = cout.GetSize() == 7;
    for (int i = 0; ok && i < 7; ++i)
        ok = cout[i].re == h[i] && cout[i].im == -2.0f * h[i];
    VecCplx32 ctaps(7);
    for (int i = 0; i < 7; ++i)
        ctaps[i] = {h[i], 0.5f * h[i]};
    f.Apply(cout, ctaps, impulse, true);
    for (int i = 0; ok && i < 7; ++i)
        ok = cout[i].re == h[i] && cout[i].im == 0.5f * h[i];
    // (h + j h/2)(1 - 2j) = 2h - 1.5 j h.
    f.Apply(cout, ctaps, cin, true);
    for (int i = 0; ok && i < 7; ++i)
        ok = std::fabs(cout[i].re - 2.0f * h[i]) < 1e-6f && std::fabs(cout[i].im + 1.5f * h[i]) < 1e-6f;
    recorder.AddTestRecord(cls, "Complex forms", ok);
    return true;
}

}  // namespace VELA
