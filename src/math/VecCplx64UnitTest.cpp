// Self-test of VecCplx64.
#include <cmath>

#include "Vector.h"
#include "infra/UnitTestRecorder.h"
#include "internal/FileSelfTest.h"

namespace VELA {
namespace {

constexpr double kTol = 1e-14;
// (0.92, 0.93), (0.73, 0.92), (0.17, 0.73), (0.4, 0.17), (0.93, 0.4)
const double kRe[5] = {0.92, 0.73, 0.17, 0.4, 0.93};
const double kIm[5] = {0.93, 0.92, 0.73, 0.17, 0.4};

bool Near(double a, double b) {
    return std::fabs(a - b) < kTol;
}
bool Near(const Cplx64& a, double re, double im) {
    return Near(a.re, re) && Near(a.im, im);
}

VecCplx64 Sample() {
    VecCplx64 v;
    v.Import(kRe, kIm, 5);
    return v;
}

}  // namespace

bool VecCplx64::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "VecCplx64";
    const VecCplx64 v = Sample();
    const float tol = static_cast<float>(kTol);

    // ---- statistics and extremes ----
    double sumRe = 0, sumIm = 0;
    for (int i = 0; i < 5; ++i) {
        sumRe += kRe[i];
        sumIm += kIm[i];
    }
    recorder.AddTestRecord(cls, "Sum", Near(v.Sum(), sumRe, sumIm) && std::fabs(v.Sum().re - 3.15) < 1e-12);
    recorder.AddTestRecord(cls, "Mean", Near(v.Mean(), sumRe / 5, sumIm / 5));
    {
        Cplx64 value{};
        int index = -1;
        v.Max(value, index);
        recorder.AddTestRecord(cls, "Max", index == 0 && value.re == 0.92 && value.im == 0.93);
        v.Min(value, index);
        recorder.AddTestRecord(cls, "Min", index == 3 && value.re == 0.4 && value.im == 0.17);
        const double tie[6] = {3, 4, -4, 3, 5, 0};
        VecCplx64 t;
        t.Import(tie, 3);
        t.Max(value, index);
        recorder.AddTestRecord(cls, "Max index on ties", index == 0 && value.re == 3.0 && value.im == 4.0);
    }

    // ---- construction, copies and conversions ----
    {
        VecReal64 re, im;
        re.Import(kRe, 5);
        im.Import(kIm, 5);
        VecCplx64 fromPlanes(re, im);
        recorder.AddTestRecord(cls, "Construct from re, im", fromPlanes.IsEqual(v, tol));
        VecCplx64 fromReal(re);
        bool ok = fromReal.GetSize() == 5;
        for (int i = 0; i < 5; ++i)
            ok = ok && fromReal[i].re == kRe[i] && fromReal[i].im == 0.0;
        recorder.AddTestRecord(cls, "Construct from real", ok);
        VecCplx64 c(v);
        recorder.AddTestRecord(cls, "Copy", c.IsEqual(v, tol) && c.Data() != v.Data());
        VecCplx64 a(100);
        a = v;
        recorder.AddTestRecord(cls, "Assign", a.IsEqual(v, tol) && a.GetCapacity() == 5);
        // Through single precision and back: within the 32-bit tolerance, not the 64-bit one.
        VecCplx32 narrow(v);
        VecCplx64 back(narrow);
        recorder.AddTestRecord(cls, "Copy Mixed", back.IsEqual(v, 9e-6f));
        VecReal64 gotRe, gotIm;
        v.GetReal(gotRe);
        v.GetImag(gotIm);
        recorder.AddTestRecord(cls, "GetReal, GetImag", gotRe.IsEqual(re, tol) && gotIm.IsEqual(im, tol));
        const double pairs[6] = {1, 2, 3, 4, 5, 6};
        VecCplx64 p(10);
        p.Import(pairs, 3);
        recorder.AddTestRecord(cls, "Import interleaved",
                               p.GetSize() == 3 && p.GetCapacity() == 10 && p[1].re == 3 && p[2].im == 6);
        double outRe[5] = {}, outIm[5] = {};
        v.Export(outRe, outIm, 5);
        recorder.AddTestRecord(cls, "Export", outRe[2] == 0.17 && outIm[2] == 0.73);
    }

    // ---- arithmetic ----
    {
        VecCplx64 w = Sample();
        const Cplx64 half{0.5, -0.25};
        w += half;
        bool ok = Near(w[1], 0.73 + 0.5, 0.92 - 0.25);
        w -= half;
        recorder.AddTestRecord(cls, "+= const", ok && w.IsEqual(v, tol));
        const Cplx64 rot{0.0, 2.0};
        w *= rot;
        ok = Near(w[0], -2 * 0.93, 2 * 0.92);
        w /= rot;
        recorder.AddTestRecord(cls, "*= const", ok && w.IsEqual(v, tol));
        VecCplx64 u = Sample();
        u += v;
        ok = Near(u[2], 0.34, 1.46);
        u -= v;
        recorder.AddTestRecord(cls, "+= vector", ok && u.IsEqual(v, tol));
        u *= v;
        ok = Near(u[3], 0.4 * 0.4 - 0.17 * 0.17, 2 * 0.4 * 0.17);
        u /= v;
        recorder.AddTestRecord(cls, "*= vector", ok && u.IsEqual(v, tol));
    }

    // ---- division by zero ----
    {
        VecCplx64 a = Sample();
        VecCplx64 b(5);
        for (int i = 0; i < 5; ++i)
            b[i] = Cplx64{1.0, 0.0};
        b[2] = Cplx64{0.0, 0.0};
        bool thrown = false;
        try {
            a.Div(b);
        } catch (const VELAException& e) {
            thrown = e.code == VELAErrorDivideByZero;
        }
        recorder.AddTestRecord(cls, "Div by vector with zero", thrown && Near(a[4], 0.93, 0.4));
        a = Sample();
        thrown = false;
        try {
            a.Div(Cplx64{0.0, 0.0});
        } catch (const VELAException& e) {
            thrown = e.code == VELAErrorDivideByZero;
        }
        recorder.AddTestRecord(cls, "Div by zero const", thrown && a.IsEqual(v, tol));
    }

    {
        VecCplx64 s = Sample();
        s.Truncate(1, 3);
        bool ok = s.GetSize() == 3 && s.GetCapacity() == 5 && s[0].re == 0.73;
        s.Resize(5);
        recorder.AddTestRecord(cls, "Truncate", ok && s[0].re == 0.92);
        VecCplx64 longer(6);
        recorder.AddTestRecord(cls, "IsEqual", !v.IsEqual(longer, tol) && v.IsEqual(Sample(), tol));
    }

    // ---- files ----
    internal::RecordTextRoundTrip(recorder, cls, v, tol, true);
    internal::RecordBinaryRoundTrip(recorder, cls, v);
    return true;
}

}  // namespace VELA
