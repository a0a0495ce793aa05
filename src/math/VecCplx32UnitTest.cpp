// Self-test of VecCplx32.
#include <cmath>

#include "Vector.h"
#include "infra/UnitTestRecorder.h"
#include "internal/FileSelfTest.h"

namespace VELA {
namespace {

constexpr float kTol = 9e-6f;
// (0.92, 0.93), (0.73, 0.92), (0.17, 0.73), (0.4, 0.17), (0.93, 0.4)
const float kRe[5] = {0.92f, 0.73f, 0.17f, 0.4f, 0.93f};
const float kIm[5] = {0.93f, 0.92f, 0.73f, 0.17f, 0.4f};

bool Near(double a, double b) {
    return std::fabs(a - b) < kTol;
}
bool Near(const Cplx32& a, double re, double im) {
    return Near(a.re, re) && Near(a.im, im);
}

VecCplx32 Sample() {
    VecCplx32 v;
    v.Import(kRe, kIm, 5);
    return v;
}

}  // namespace

bool VecCplx32::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "VecCplx32";
    const VecCplx32 v = Sample();

    // ---- statistics and extremes ----
    recorder.AddTestRecord(cls, "Sum", Near(v.Sum(), 3.15, 3.15));
    recorder.AddTestRecord(cls, "Mean", Near(v.Mean(), 0.63, 0.63));
    {
        // Squared magnitudes 1.7113, 1.3793, 0.5618, 0.1889, 1.0249.
        Cplx32 value{};
        int index = -1;
        v.Max(value, index);
        recorder.AddTestRecord(cls, "Max",
                               index == 0 && Near(value, 0.92, 0.93) && Near(v.Max(), 0.92, 0.93));
        v.Min(value, index);
        recorder.AddTestRecord(cls, "Min", index == 3 && Near(value, 0.4, 0.17) && Near(v.Min(), 0.4, 0.17));
        // Equal magnitudes: the earliest element wins.
        const float tie[6] = {3, 4, -4, 3, 5, 0};
        VecCplx32 t;
        t.Import(tie, 3);
        t.Max(value, index);
        bool ok = index == 0 && value.re == 3.0f && value.im == 4.0f;
        t.Min(value, index);
        recorder.AddTestRecord(cls, "Max index on ties", ok && index == 0);
    }

    // ---- construction, copies and conversions ----
    {
        VecReal32 re, im;
        re.Import(kRe, 5);
        im.Import(kIm, 5);
        VecCplx32 fromPlanes(re, im);
        recorder.AddTestRecord(cls, "Construct from re, im", fromPlanes.IsEqual(v, kTol));
        VecCplx32 fromReal(re);
        bool ok = fromReal.GetSize() == 5;
        for (int i = 0; i < 5; ++i)
            ok = ok && fromReal[i].re == kRe[i] && fromReal[i].im == 0.0f;
        recorder.AddTestRecord(cls, "Construct from real", ok);

        VecCplx32 c(v);
        recorder.AddTestRecord(cls, "Copy", c.IsEqual(v, kTol) && c.Data() != v.Data());
        VecCplx32 a(100);
        a = v;
        recorder.AddTestRecord(cls, "Assign", a.IsEqual(v, kTol) && a.GetCapacity() == 5);
        VecCplx64 wide(v);
        VecCplx32 back(wide);
        recorder.AddTestRecord(cls, "Copy Mixed", back.IsEqual(v, kTol));

        VecReal32 gotRe, gotIm;
        v.GetReal(gotRe);
        v.GetImag(gotIm);
        recorder.AddTestRecord(cls, "GetReal, GetImag", gotRe.IsEqual(re, kTol) && gotIm.IsEqual(im, kTol));

        // The float pointer form reads n interleaved pairs, 2 * n floats.
        const float pairs[6] = {1, 2, 3, 4, 5, 6};
        VecCplx32 p(10);
        p.Import(pairs, 3);
        recorder.AddTestRecord(cls, "Import interleaved",
                               p.GetSize() == 3 && p.GetCapacity() == 10 && p[0].re == 1 && p[0].im == 2 &&
                                   p[2].re == 5 && p[2].im == 6);
        float outRe[5] = {}, outIm[5] = {};
        v.Export(outRe, outIm, 5);
        Cplx32 outC[5] = {};
        v.Export(outC, 5);
        ok = true;
        for (int i = 0; i < 5; ++i)
            ok = ok && outRe[i] == kRe[i] && outIm[i] == kIm[i] && outC[i].re == kRe[i] &&
                 outC[i].im == kIm[i];
        recorder.AddTestRecord(cls, "Export", ok);
    }

    // ---- arithmetic ----
    {
        VecCplx32 w = Sample();
        const Cplx32 half{0.5f, -0.25f};
        w += half;
        bool ok = Near(w[1], 0.73 + 0.5, 0.92 - 0.25);
        w -= half;
        recorder.AddTestRecord(cls, "+= const", ok && w.IsEqual(v, kTol));
        const Cplx32 rot{0.0f, 2.0f};  // times 2i: (a, b) -> (-2b, 2a)
        w *= rot;
        ok = Near(w[0], -2 * 0.93, 2 * 0.92);
        w /= rot;
        recorder.AddTestRecord(cls, "*= const", ok && w.IsEqual(v, kTol));
        w *= 2.0f;
        ok = Near(w[4], 1.86, 0.8);
        w *= 0.5f;
        recorder.AddTestRecord(cls, "*= real const", ok && w.IsEqual(v, kTol));

        VecCplx32 u = Sample();
        u += v;
        ok = Near(u[2], 0.34, 1.46);
        u -= v;
        recorder.AddTestRecord(cls, "+= vector", ok && u.IsEqual(v, kTol));
        u *= v;  // (a + bi)^2 = a^2 - b^2 + 2abi
        ok = Near(u[3], 0.4 * 0.4 - 0.17 * 0.17, 2 * 0.4 * 0.17);
        u /= v;
        recorder.AddTestRecord(cls, "*= vector", ok && u.IsEqual(v, kTol));

        // this[dst + k] -= other[src + k]: element 1 loses element 3, element 2 loses element 4.
        VecCplx32 s = Sample();
        s.Sub(v, 1, 3, 2);
        recorder.AddTestRecord(cls, "Sub with window",
                               Near(s[0], 0.92, 0.93) && Near(s[1], 0.73 - 0.4, 0.92 - 0.17) &&
                                   Near(s[2], 0.17 - 0.93, 0.73 - 0.4) && Near(s[3], 0.4, 0.17));
    }

    // ---- division by zero ----
    {
        VecCplx32 a = Sample();
        VecCplx32 b(5);
        for (int i = 0; i < 5; ++i)
            b[i] = Cplx32{1.0f, 0.0f};
        b[2] = Cplx32{0.0f, 0.0f};
        bool thrown = false;
        try {
            a.Div(b);
        } catch (const VELAException& e) {
            thrown = e.code == VELAErrorDivideByZero;
        }
        recorder.AddTestRecord(cls, "Div by vector with zero",
                               thrown && Near(a[4], 0.93, 0.4) && !std::isfinite(a[2].re));
        a = Sample();
        thrown = false;
        try {
            a.Div(Cplx32{0.0f, 0.0f});
        } catch (const VELAException& e) {
            thrown = e.code == VELAErrorDivideByZero;
        }
        recorder.AddTestRecord(cls, "Div by zero const", thrown && a.IsEqual(v, kTol));
    }

    // ---- the window, and the checksum of the data ----
    {
        VecCplx32 s = Sample();
        s.Truncate(1, 3);
        bool ok = s.GetSize() == 3 && s.GetCapacity() == 5 && Near(s[0], 0.73, 0.92);
        s.Resize(5);
        recorder.AddTestRecord(cls, "Truncate", ok && Near(s[0], 0.92, 0.93));
        recorder.AddTestRecord(cls, "CRC32", v.ComputeCRC32() == 0xABF74045u);
        VecCplx32 longer(6);
        recorder.AddTestRecord(cls, "IsEqual", !v.IsEqual(longer, kTol) && v.IsEqual(Sample(), kTol));
    }

    // ---- files ----
    internal::RecordTextRoundTrip(recorder, cls, v, kTol, true);
    internal::RecordBinaryRoundTrip(recorder, cls, v);
    return true;
}

}  // namespace VELA
