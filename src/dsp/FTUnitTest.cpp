// Self-test of FT.
#include <cmath>

#include "FT.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {
namespace {

constexpr float kTol32 = 9e-6f;
constexpr double kTol64 = 1e-14;

// {6, -2+2i, -2, -2-2i}: the forward transform of the ramp 0, 1, 2, 3.
const float kFwdRamp4[8] = {6, 0, -2, 2, -2, 0, -2, -2};
// {1.5, -0.5-0.5i, -0.5, -0.5+0.5i}: the inverse transform of the same ramp.
const float kInvRamp4[8] = {1.5f, 0, -0.5f, -0.5f, -0.5f, 0, -0.5f, 0.5f};

VecCplx32 Ramp32(int n) {
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = Cplx32{static_cast<float>(i), 0.0f};
    return v;
}
VecCplx64 Ramp64(int n) {
    VecCplx64 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = Cplx64{static_cast<double>(i), 0.0};
    return v;
}

template <class V, class T>
bool Holds(const V& v, const float* pairs, int n, T tol) {
    if (v.GetSize() != n) return false;
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(v[i].re - pairs[2 * i]) < tol && std::fabs(v[i].im - pairs[2 * i + 1]) < tol))
            return false;
    return true;
}

// The plain O(n^2) sum in double, as an independent reference for odd lengths.
void DirectDft(const VecCplx32& in, double* re, double* im) {
    const int n = in.GetSize();
    const double w = -2.0 * 3.14159265358979323846 / n;
    for (int k = 0; k < n; ++k) {
        double sr = 0, si = 0;
        for (int j = 0; j < n; ++j) {
            const double a = w * static_cast<double>((static_cast<long long>(k) * j) % n);
            sr += in[j].re * std::cos(a) - in[j].im * std::sin(a);
            si += in[j].re * std::sin(a) + in[j].im * std::cos(a);
        }
        re[k] = sr;
        im[k] = si;
    }
}

bool MatchesDirect(FT& ft, int n) {
    VecCplx32 in(n), out;
    for (int i = 0; i < n; ++i)
        in[i] =
            Cplx32{static_cast<float>(std::sin(0.7 * i) * 0.5), static_cast<float>(std::cos(1.3 * i) * 0.25)};
    ft.Forward(out, in);
    double re[64], im[64];
    DirectDft(in, re, im);
    if (out.GetSize() != n) return false;
    for (int k = 0; k < n; ++k)
        if (!(std::fabs(out[k].re - re[k]) < kTol32 && std::fabs(out[k].im - im[k]) < kTol32)) return false;
    return true;
}

}  // namespace

bool FT::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "FT";

    // ---- the four-point ramp, complex, both precisions ----
    {
        FT ft(2, VELAAlgorithmAccurate);
        VecCplx32 out;
        ft.Forward(out, Ramp32(4));
        recorder.AddTestRecord(cls, "Forward 32fc", Holds(out, kFwdRamp4, 4, kTol32));
        ft.Inverse(out, Ramp32(4));
        recorder.AddTestRecord(cls, "Inverse 32fc", Holds(out, kInvRamp4, 4, kTol32));
        VecCplx64 out64;
        ft.Forward(out64, Ramp64(4));
        recorder.AddTestRecord(cls, "Forward 64fc", Holds(out64, kFwdRamp4, 4, kTol64));
        ft.Inverse(out64, Ramp64(4));
        recorder.AddTestRecord(cls, "Inverse 64fc", Holds(out64, kInvRamp4, 4, kTol64));
    }

    // ---- real data: the full spectrum, and back ----
    {
        FT ft;
        const float ramp[4] = {0, 1, 2, 3};
        VecReal32 in;
        in.Import(ramp, 4);
        VecCplx32 spectrum;
        ft.Forward(spectrum, in);
        recorder.AddTestRecord(cls, "Forward 32f", Holds(spectrum, kFwdRamp4, 4, kTol32));
        VecReal32 back;
        ft.Inverse(back, spectrum);
        recorder.AddTestRecord(cls, "Inverse 32f", back.IsEqual(in, kTol32));

        const double ramp64[4] = {0, 1, 2, 3};
        VecReal64 in64;
        in64.Import(ramp64, 4);
        VecCplx64 spectrum64;
        ft.Forward(spectrum64, in64);
        recorder.AddTestRecord(cls, "Forward 64f", Holds(spectrum64, kFwdRamp4, 4, kTol64));
        VecReal64 back64;
        ft.Inverse(back64, spectrum64);
        recorder.AddTestRecord(cls, "Inverse 64f", back64.IsEqual(in64, static_cast<float>(kTol64)));

        // Odd length: the upper half of the spectrum is still the conjugate of the lower.
        const float five[5] = {0.92f, 0.73f, 0.17f, 0.4f, 0.93f};
        VecReal32 odd;
        odd.Import(five, 5);
        ft.Forward(spectrum, odd);
        bool ok = spectrum.GetSize() == 5 && std::fabs(spectrum[0].re - 3.15f) < kTol32;
        for (int k = 1; k < 5; ++k)
            ok = ok && std::fabs(spectrum[k].re - spectrum[5 - k].re) < kTol32 &&
                 std::fabs(spectrum[k].im + spectrum[5 - k].im) < kTol32;
        ft.Inverse(back, spectrum);
        recorder.AddTestRecord(cls, "Real odd length", ok && back.IsEqual(odd, kTol32));
    }

    // ---- plans and the work buffer ----
    {
        FT ft;
        VecCplx32 out;
        for (int round = 0; round < 3; ++round) {
            ft.Forward(out, Ramp32(8));
            ft.Forward(out, Ramp32(12));
        }
        recorder.AddTestRecord(cls, "Plans per length", ft.GetPlanCount() == 2);
        VecCplx64 out64;
        ft.Forward(out64, Ramp64(8));
        recorder.AddTestRecord(cls, "Plans per kind", ft.GetPlanCount() == 3);

        FT grow;
        grow.Forward(out, Ramp32(64));
        const size_t large = grow.GetWorkBufferSize();
        grow.Forward(out, Ramp32(16));
        recorder.AddTestRecord(cls, "Buffer kept for shorter length",
                               large > 0 && grow.GetWorkBufferSize() == large && out.GetSize() == 16 &&
                                   std::fabs(out[0].re - 120.0f) < kTol32);
    }

    // ---- lengths without a fast path ----
    {
        FT ft;
        VecCplx32 one(1), out;
        one[0] = Cplx32{2.5f, -1.0f};
        ft.Forward(out, one);
        bool ok = out.GetSize() == 1 && out[0].re == 2.5f && out[0].im == -1.0f;
        ft.Inverse(out, one);
        recorder.AddTestRecord(cls, "Length 1", ok && out[0].re == 2.5f && out[0].im == -1.0f);
        recorder.AddTestRecord(cls, "Prime length", MatchesDirect(ft, 7) && MatchesDirect(ft, 61));
    }

    // ---- round trip, and a view as input ----
    {
        FT ft;
        const int n = 1000;
        VecCplx32 x(n + 3), spectrum, back;
        for (int i = 0; i < n + 3; ++i)
            x[i] = Cplx32{static_cast<float>(std::sin(0.01 * i * i)), static_cast<float>(std::cos(0.37 * i))};
        x.ShiftLeft(3);  // an unaligned view of 1000 points
        ft.Forward(spectrum, x);
        ft.Inverse(back, spectrum);
        recorder.AddTestRecord(cls, "Round trip", back.IsEqual(x, kTol32));
    }
    return true;
}

}  // namespace VELA
