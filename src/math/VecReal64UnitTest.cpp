// Self-test of VecReal64.
#include <cmath>

#include "Vector.h"
#include "infra/UnitTestRecorder.h"
#include "internal/FileSelfTest.h"

namespace VELA {
namespace {

constexpr double kTol = 1e-14;
const double kData[5] = {0.92, 0.73, 0.17, 0.4, 0.93};

bool Near(double a, double b) {
    return std::fabs(a - b) < kTol;
}

bool Holds(const VecReal64& v, const double* expected, int n) {
    if (v.GetSize() != n) return false;
    for (int i = 0; i < n; ++i)
        if (!Near(v[i], expected[i])) return false;
    return true;
}

VecReal64 Sample() {
    VecReal64 v;
    v.Import(kData, 5);
    return v;
}

}  // namespace

bool VecReal64::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "VecReal64";
    const VecReal64 v = Sample();
    const float tol = static_cast<float>(kTol);

    // ---- statistics and extremes of 0.92, 0.73, 0.17, 0.4, 0.93 ----
    recorder.AddTestRecord(cls, "Sum", Near(v.Sum(), 3.15));
    recorder.AddTestRecord(cls, "Mean", Near(v.Mean(), 0.63));
    double squares = 0;
    for (double x : kData)
        squares += (x - 0.63) * (x - 0.63);
    // 0.334888 to the six digits it is usually quoted with.
    recorder.AddTestRecord(
        cls, "StdDev", Near(v.StdDev(), std::sqrt(squares / 4)) && std::fabs(v.StdDev() - 0.334888) < 1e-6);
    recorder.AddTestRecord(cls, "Var", Near(v.Var(), squares / 4));
    {
        double value = 0;
        int index = -1;
        v.Max(value, index);
        recorder.AddTestRecord(cls, "Max", Near(v.Max(), 0.93) && value == 0.93 && index == 4);
        v.Min(value, index);
        recorder.AddTestRecord(cls, "Min", Near(v.Min(), 0.17) && value == 0.17 && index == 2);
        v.Max(value, index, 1, 3);
        recorder.AddTestRecord(cls, "Max with window", v.Max(1, 3) == 0.73 && value == 0.73 && index == 1);
        v.Min(value, index, 1, 3);
        recorder.AddTestRecord(cls, "Min with window", v.Min(1, 3) == 0.17 && value == 0.17 && index == 2);
    }

    // ---- copies and conversions ----
    {
        VecReal64 c(v);
        recorder.AddTestRecord(cls, "Copy",
                               c.IsEqual(v, tol) && c.GetCapacity() == 5 && c.Data() != v.Data());
        VecReal64 a(100);
        a = v;
        recorder.AddTestRecord(cls, "Assign", a.IsEqual(v, tol) && a.GetCapacity() == 5);

        const float narrow[5] = {0.92f, 0.73f, 0.17f, 0.4f, 0.93f};
        VecReal32 f;
        f.Import(narrow, 5);
        // The mixed assignment takes a fresh block even when the old one is large enough.
        VecReal64 m(10);
        const double* old = m.Data();
        m = f;
        bool ok = m.GetSize() == 5 && m.GetCapacity() == 5 && m.Data() != old;
        for (int i = 0; i < 5; ++i)
            ok = ok && m[i] == static_cast<double>(narrow[i]);
        VecReal64 widened(f);
        VecReal32 back(widened);
        recorder.AddTestRecord(cls, "Copy Mixed", ok && widened.IsEqual(m, tol) && back.IsEqual(f, 9e-6f));
        VecReal64 fromFloat(20);
        fromFloat.Import(narrow, 5);
        ok = fromFloat.GetCapacity() == 20 && fromFloat.IsEqual(m, tol);
        VecReal64 fromVec;
        fromVec.Import(f);
        recorder.AddTestRecord(cls, "Import", ok && fromVec.IsEqual(m, tol));
        double out[5] = {};
        v.Export(out, 5);
        recorder.AddTestRecord(cls, "Export", out[0] == 0.92 && out[4] == 0.93);
    }

    // ---- arithmetic ----
    {
        VecReal64 w = Sample();
        double expected[5];
        w += 0.5;
        for (int i = 0; i < 5; ++i)
            expected[i] = kData[i] + 0.5;
        bool ok = Holds(w, expected, 5);
        w -= 0.5;
        recorder.AddTestRecord(cls, "+= const", ok && w.IsEqual(v, tol));
        w *= 2.0;
        for (int i = 0; i < 5; ++i)
            expected[i] = kData[i] * 2.0;
        ok = Holds(w, expected, 5);
        w /= 2.0;
        recorder.AddTestRecord(cls, "*= const", ok && w.IsEqual(v, tol));
        const double ramp[5] = {1, 2, 3, 4, 5};
        VecReal64 r;
        r.Import(ramp, 5);
        VecReal64 u = Sample();
        u += r;
        for (int i = 0; i < 5; ++i)
            expected[i] = kData[i] + ramp[i];
        recorder.AddTestRecord(cls, "+= vector", Holds(u, expected, 5));
        u = Sample();
        u -= r;
        for (int i = 0; i < 5; ++i)
            expected[i] = kData[i] - ramp[i];
        recorder.AddTestRecord(cls, "-= vector", Holds(u, expected, 5));
        u = Sample();
        u *= r;
        for (int i = 0; i < 5; ++i)
            expected[i] = kData[i] * ramp[i];
        recorder.AddTestRecord(cls, "*= vector", Holds(u, expected, 5));
        u = Sample();
        u /= r;
        for (int i = 0; i < 5; ++i)
            expected[i] = kData[i] / ramp[i];
        recorder.AddTestRecord(cls, "/= vector", Holds(u, expected, 5));
    }

    // ---- division by zero ----
    {
        const double num[3] = {1, 2, 3};
        const double den[3] = {2, 0, 4};
        VecReal64 a, b;
        a.Import(num, 3);
        b.Import(den, 3);
        bool thrown = false;
        try {
            a.Div(b);
        } catch (const VELAException& e) {
            thrown = e.code == VELAErrorDivideByZero;
        }
        recorder.AddTestRecord(cls, "Div by vector with zero",
                               thrown && a[0] == 0.5 && std::isinf(a[1]) && a[2] == 0.75);
        a.Import(num, 3);
        thrown = false;
        try {
            a.Div(0.0);
        } catch (const VELAException& e) {
            thrown = e.code == VELAErrorDivideByZero;
        }
        recorder.AddTestRecord(cls, "Div by zero const", thrown && Holds(a, num, 3));
    }

    // ---- comparison: no length test in this class ----
    {
        VecReal64 longer;
        const double more[6] = {0.92, 0.73, 0.17, 0.4, 0.93, 7.0};
        longer.Import(more, 6);
        const bool noLength = v.IsEqual(longer, tol);
        const bool strict = !v.IsEqual(v, 0.0f);
        recorder.AddTestRecord(cls, "IsEqual", noLength && strict);
    }

    // ---- files ----
    internal::RecordTextRoundTrip(recorder, cls, v, tol, true);
    internal::RecordBinaryRoundTrip(recorder, cls, v);
    return true;
}

}  // namespace VELA
