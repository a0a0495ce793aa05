// Self-test of DSPUtils: the worked figures and edge behaviours, within 9e-6 (1e-6 for the filter
// design figures, 1e-14 for the double moving average).
#include <cmath>
#include <cstring>
#include <initializer_list>

#include "DSPUtils.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {
namespace {

constexpr double kTol = 9e-6;

VecReal32 R32(std::initializer_list<float> v) {
    VecReal32 r(static_cast<int>(v.size()));
    int i = 0;
    for (float x : v)
        r[i++] = x;
    return r;
}
VecCplx32 C32(std::initializer_list<Cplx32> v) {
    VecCplx32 r(static_cast<int>(v.size()));
    int i = 0;
    for (Cplx32 x : v)
        r[i++] = x;
    return r;
}
bool Equal(const VecReal32& v, std::initializer_list<double> e, double tol = kTol) {
    if (v.GetSize() != static_cast<int>(e.size())) return false;
    int i = 0;
    for (double x : e)
        if (!(std::fabs(v[i++] - x) < tol)) return false;
    return true;
}
bool Equal(const VecReal64& v, std::initializer_list<double> e, double tol) {
    if (v.GetSize() != static_cast<int>(e.size())) return false;
    int i = 0;
    for (double x : e)
        if (!(std::fabs(v[i++] - x) < tol)) return false;
    return true;
}
// Pairs (re, im) in order.
bool Equal(const VecCplx32& v, std::initializer_list<double> e) {
    if (2 * v.GetSize() != static_cast<int>(e.size())) return false;
    int i = 0;
    for (auto it = e.begin(); it != e.end(); it += 2, ++i)
        if (!(std::fabs(v[i].re - it[0]) < kTol && std::fabs(v[i].im - it[1]) < kTol)) return false;
    return true;
}
bool Near(double a, double b, double tol = kTol) {
    return std::fabs(a - b) < tol;
}

}  // namespace

bool DSPUtils::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "DSPUtils";

    // ---- Detect ----
    {
        const VecReal32 in = R32({0, 2, 1, 0.1f, 0.2f, 0.3f});
        VecReal32 out;
        Detect(out, in, 3, DetectorAve);
        recorder.AddTestRecord(cls, "Detect Ave", Equal(out, {1, 0.2}));
        Detect(out, in, 3, DetectorMax);
        recorder.AddTestRecord(cls, "Detect Max", Equal(out, {2, 0.3}));
        Detect(out, in, 3, DetectorMin);
        recorder.AddTestRecord(cls, "Detect Min", Equal(out, {0, 0.1}));
        Detect(out, in, 3, DetectorMaxMin);
        recorder.AddTestRecord(cls, "Detect MaxMin", Equal(out, {2, 0, 0.3, 0.1}));
        Detect(out, in, 3, DetectorRms);
        recorder.AddTestRecord(cls, "Detect Rms", Equal(out, {1.2909944, 0.2160247}));
        Detect(out, in, 3, DetectorSample);
        recorder.AddTestRecord(cls, "Detect Sample", Equal(out, {0, 0.1}));
        Detect(out, in, 3, DetectorCISPRAverage);
        bool ok = Equal(out, {1, 0.2});
        Detect(out, in, 3, DetectorCISPRPeak);
        recorder.AddTestRecord(cls, "Detect CISPR Ave/Peak as Ave/Max", ok && Equal(out, {2, 0.3}));
        VecReal32 keep = R32({5, 6});
        Detect(keep, in, 3, DetectorCISPRQuasiPeak);
        ok = Equal(keep, {5, 6});
        Detect(keep, in, 3, static_cast<DetectorType>(9));
        recorder.AddTestRecord(cls, "Detect QuasiPeak leaves out", ok && Equal(keep, {5, 6}));
        Detect(out, in, 7, DetectorMax);
        recorder.AddTestRecord(cls, "Detect too few samples", out.GetSize() == 0);
        VecReal32 big(64);
        const float* block = big.Data();
        Detect(big, in, 1, DetectorRms);
        recorder.AddTestRecord(cls, "Detect n=1 copies in place",
                               big.Data() == block && Equal(big, {0, 2, 1, 0.1, 0.2, 0.3}));
        Detect(out, R32({1, -2}), 1, DetectorMaxMin);
        recorder.AddTestRecord(cls, "Detect n=1 MaxMin", Equal(out, {1, 1, -2, -2}));
    }

    // ---- sampling ----
    {
        const VecReal32 in = R32({1, 2, 3, 4, 5});
        VecReal32 up, down;
        Upsample(up, in, 2, 1);
        recorder.AddTestRecord(cls, "Upsample", Equal(up, {0, 1, 0, 2, 0, 3, 0, 4, 0, 5}));
        Downsample(down, up, 2, 1);
        recorder.AddTestRecord(cls, "Downsample of Upsample", Equal(down, {1, 2, 3, 4, 5}));
        Downsample(down, in, 2, 1);
        recorder.AddTestRecord(cls, "Downsample", Equal(down, {2, 4}));
        // The 64-bit complex form walks memory as 32-bit complex elements.
        VecCplx64 c(2), cu(4);
        c[0] = {1, 2};
        c[1] = {3, 4};
        for (int i = 0; i < 4; ++i)
            cu[i] = {-1, -1};
        Upsample(cu, c, 2, 0);
        unsigned char expected[32] = {};
        std::memcpy(expected, c.Data(), 8);
        std::memcpy(expected + 16, reinterpret_cast<const unsigned char*>(c.Data()) + 8, 8);
        recorder.AddTestRecord(cls, "Upsample Cplx64 as 32-bit elements",
                               std::memcmp(cu.Data(), expected, 32) == 0 && cu[2].re == -1 && cu[3].im == -1);
    }

    // ---- form and measures ----
    {
        VecReal32 out;
        FFTShift(out, R32({0, 1, 2, 3, 4, 5}));
        recorder.AddTestRecord(cls, "FFTShift", Equal(out, {3, 4, 5, 0, 1, 2}));
        const VecReal32 ramp = R32({1, 2, 3, 4, 5});
        recorder.AddTestRecord(cls, "PeakToAve", Near(PeakToAve(ramp), 5.0 / 3.0));
        recorder.AddTestRecord(cls, "Norm real", Near(Norm(ramp), 7.4161978));
        recorder.AddTestRecord(cls, "Norm complex",
                               Near(Norm(C32({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}})), 7.7459660));
        VecCplx32 x = C32({{1, 2}, {-3, 0.5f}});
        RotatePhase(x, 0.7853982f);
        RotatePhase(x, 5.4977875f);
        recorder.AddTestRecord(cls, "RotatePhase round trip", Equal(x, {1, 2, -3, 0.5}));
        VecReal32 db;
        MagdB(db, C32({{0, 0}, {3, 4}}));
        recorder.AddTestRecord(
            cls, "MagdB of zero is finite",
            db.GetSize() == 2 && Near(db[0], -400.0, 0.01) && Near(db[1], 13.9794001, 1e-5));
    }

    // ---- unwrapping and fits ----
    {
        const VecReal32 in = R32({-2, -1.8f, 1.7f, 1.9f, 2.2f});
        VecReal32 out;
        Unwrap(out, in, 6.2831855f);
        recorder.AddTestRecord(cls, "Unwrap", Equal(out, {-2, -1.8, -4.583185, -4.3831854, -4.083185}));
        VecReal32 x = in;
        Unwrap(x, 1, -1.8f, 6.2831855f);
        recorder.AddTestRecord(cls, "Unwrap in place",
                               Equal(x, {-2, -1.8, -4.583185, -4.3831854, -4.083185}));
        float slope = 0, intercept = 0;
        LinearLeastSquareFit(slope, intercept, R32({1, 2, 3, 4, 5}),
                             R32({0.01f, 1.02f, 2.03f, 3.04f, 4.05f}));
        recorder.AddTestRecord(cls, "LinearLeastSquareFit", Near(slope, 1.01) && Near(intercept, -1));
        VecReal64 ramp(8), avg;
        for (int i = 0; i < 8; ++i)
            ramp[i] = i;
        MovingAverage(avg, ramp, 3);
        recorder.AddTestRecord(cls, "MovingAverage", Equal(avg, {0, 1, 2, 3, 4, 5, 6, 7}, 1e-14));
        const VecReal32 v = R32({0, 10, 20, 40});
        recorder.AddTestRecord(cls, "GetArbPointValue beyond end", Near(GetArbPointValue(v, 3.5), 50));
    }

    // ---- frequency, correlation, convolution ----
    {
        VecCplx32 out;
        ShiftFreq(out, C32({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}}), 0.25f, 3.1415927f);
        recorder.AddTestRecord(cls, "ShiftFreq", Equal(out, {0, 0, 1, -1, 2, 2, -3, 3, -4, -4}));
        VecReal32 r;
        CrossCorr(r, R32({1, 2, 3}), R32({2, 3}));
        recorder.AddTestRecord(cls, "CrossCorr real", Equal(r, {0, 3, 8, 13, 6}));
        CrossCorr(r, R32({2, 3}), R32({1, 2, 3}));
        recorder.AddTestRecord(cls, "CrossCorr real exchanged", Equal(r, {6, 13, 8, 3, 0}));
        CrossCorr(out, C32({{2, 3}, {1, 1}}), C32({{1, 1}, {2, 2}, {3, 3}}));
        recorder.AddTestRecord(cls, "CrossCorr complex", Equal(out, {15, 3, 16, 2, 9, 1, 2, 0, 0, 0}));
        Conv(r, R32({1, 2, 3}), R32({0, 1, 0.5f}));
        recorder.AddTestRecord(cls, "Conv", Equal(r, {0, 1, 2.5, 4, 1.5}));
    }

    // ---- FIR design ----
    {
        VecReal32 h;
        bool ok = LowPass(h, 0.4f, 81);
        recorder.AddTestRecord(cls, "LowPass", ok && h.GetSize() == 81 && Near(h[40], 0.80016387, 1e-6));
        ok = HighPass(h, 0.4f, 81);
        recorder.AddTestRecord(cls, "HighPass", ok && h.GetSize() == 81 && Near(h[40], 0.20035495, 1e-6));
        ok = BandPass(h, 0.2f, 0.3f, 81);
        recorder.AddTestRecord(cls, "BandPass", ok && h.GetSize() == 81 && Near(h[40], 0.20048667, 1e-6));
        ok = LowPass(h, 0.2f, 4);
        recorder.AddTestRecord(cls, "LowPass rejects 4 taps", !ok && Equal(h, {0, 0, 0, 0}));
    }

    // ---- FPGA gain ----
    {
        VecReal32 out;
        float gain = 0;
        GetFPGAGain(out, gain, R32({1, 1, 0, 0}));
        recorder.AddTestRecord(cls, "GetFPGAGain", gain == 2.0f && Equal(out, {1, 1, 0, 0}));
        GetFPGAGain(out, gain, R32({0, 1, 0, 0, 0, 0, 0, -1}), 0.25f);
        recorder.AddTestRecord(cls, "GetFPGAGain at refFreq",
                               gain == 2.0f && Equal(out, {0, 1, 0, 0, 0, 0, 0, -1}));
    }

    // ---- random numbers ----
    {
        VecReal32 a, b;
        unsigned int s1 = 2024, s2 = 2024;
        Rand(a, s1, 5, 0.0f, 1.0f);
        Rand(b, s2, 5, 0.0f, 1.0f);
        bool ok = a.GetSize() == 5;
        for (int i = 0; i < a.GetSize(); ++i)
            ok = ok && a[i] >= 0.0f && a[i] < 1.0f && a[i] == b[i];
        recorder.AddTestRecord(cls, "Rand range and seed", ok && s1 == s2);
    }
    return true;
}

}  // namespace VELA
