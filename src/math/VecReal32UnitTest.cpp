// Self-test of VecReal32, and its leak exercise.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "Checksum.h"
#include "Vector.h"
#include "infra/UnitTestRecorder.h"
#include "internal/FileSelfTest.h"

namespace VELA {
namespace {

constexpr float kTol = 9e-6f;
const float kData[5] = {0.92f, 0.73f, 0.17f, 0.4f, 0.93f};

bool Near(double a, double b) {
    return std::fabs(a - b) < kTol;
}

// True when v holds exactly n elements each within kTol of expected[i].
bool Holds(const VecReal32& v, const float* expected, int n) {
    if (v.GetSize() != n) return false;
    for (int i = 0; i < n; ++i)
        if (!Near(v[i], expected[i])) return false;
    return true;
}

VecReal32 Sample() {
    VecReal32 v;
    v.Import(kData, 5);
    return v;
}

}  // namespace

bool VecReal32::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "VecReal32";
    const VecReal32 v = Sample();

    // ---- statistics and extremes of 0.92, 0.73, 0.17, 0.4, 0.93 ----
    recorder.AddTestRecord(cls, "Sum", Near(v.Sum(), 3.15));
    recorder.AddTestRecord(cls, "Mean", Near(v.Mean(), 0.63));
    // Sample deviation: squares of the deviations from 0.63 sum to 0.4486, divided by n - 1 = 4.
    recorder.AddTestRecord(cls, "StdDev", Near(v.StdDev(), std::sqrt(0.4486 / 4)));
    recorder.AddTestRecord(cls, "Var", Near(v.Var(), 0.4486 / 4));
    {
        float value = 0;
        int index = -1;
        v.Max(value, index);
        recorder.AddTestRecord(cls, "Max", Near(v.Max(), 0.93) && Near(value, 0.93) && index == 4);
        v.Min(value, index);
        recorder.AddTestRecord(cls, "Min", Near(v.Min(), 0.17) && Near(value, 0.17) && index == 2);
        v.Max(value, index, 1, 3);
        recorder.AddTestRecord(cls, "Max with window",
                               Near(v.Max(1, 3), 0.73) && Near(value, 0.73) && index == 1);
        v.Min(value, index, 1, 3);
        recorder.AddTestRecord(cls, "Min with window",
                               Near(v.Min(1, 3), 0.17) && Near(value, 0.17) && index == 2);
        const float ties[4] = {1.0f, 3.0f, 3.0f, -2.0f};
        VecReal32 t;
        t.Import(ties, 4);
        t.Max(value, index);
        bool first = index == 1;
        t.Min(value, index);
        first = first && index == 3;
        recorder.AddTestRecord(cls, "Max index on ties", first);
    }

    // ---- copies and conversions ----
    {
        VecReal32 c(v);
        recorder.AddTestRecord(cls, "Copy",
                               c.IsEqual(v, kTol) && c.GetCapacity() == 5 && c.Data() != v.Data());
        VecReal32 a(100);
        a = v;
        recorder.AddTestRecord(cls, "Assign", a.IsEqual(v, kTol) && a.GetCapacity() == 5);
        VecReal64 d(v);
        VecReal32 back(d);
        recorder.AddTestRecord(cls, "Copy Mixed", back.IsEqual(v, kTol));
        VecReal32 imported;
        imported.Import(d);
        recorder.AddTestRecord(cls, "Import VecReal64", imported.IsEqual(v, kTol));
        const double wide[5] = {0.92, 0.73, 0.17, 0.4, 0.93};
        VecReal32 fromDouble(50);
        fromDouble.Import(wide, 5);
        recorder.AddTestRecord(cls, "Import double",
                               Holds(fromDouble, kData, 5) && fromDouble.GetCapacity() == 50);
        float outF[5] = {};
        double outD[5] = {};
        v.Export(outF, 5);
        v.Export(outD, 5);
        bool exported = true;
        for (int i = 0; i < 5; ++i)
            exported = exported && outF[i] == kData[i] && Near(outD[i], wide[i]);
        recorder.AddTestRecord(cls, "Export", exported);
    }

    // ---- arithmetic ----
    {
        VecReal32 w = Sample();
        float expected[5];
        w += 0.5f;
        for (int i = 0; i < 5; ++i)
            expected[i] = kData[i] + 0.5f;
        bool ok = Holds(w, expected, 5);
        w -= 0.5f;
        recorder.AddTestRecord(cls, "+= const", ok && w.IsEqual(v, kTol));
        w *= 2.0f;
        for (int i = 0; i < 5; ++i)
            expected[i] = kData[i] * 2.0f;
        ok = Holds(w, expected, 5);
        w /= 2.0f;
        recorder.AddTestRecord(cls, "*= const", ok && w.IsEqual(v, kTol));

        VecReal32 u = Sample();
        u += v;
        for (int i = 0; i < 5; ++i)
            expected[i] = 2 * kData[i];
        recorder.AddTestRecord(cls, "+= vector", Holds(u, expected, 5));
        const float ramp[5] = {1, 2, 3, 4, 5};
        VecReal32 r;
        r.Import(ramp, 5);
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
        const float num[3] = {1, 2, 3};
        const float den[3] = {2, 0, 4};
        VecReal32 a, b;
        a.Import(num, 3);
        b.Import(den, 3);
        bool thrown = false;
        try {
            a.Div(b);
        } catch (const VELAException& e) {
            thrown = e.code == VELAErrorDivideByZero;
        }
        // Every element was written, the one over zero too.
        recorder.AddTestRecord(cls, "Div by vector with zero",
                               thrown && Near(a[0], 0.5) && std::isinf(a[1]) && Near(a[2], 0.75));
        a.Import(num, 3);
        thrown = false;
        try {
            a.Div(0.0f);
        } catch (const VELAException& e) {
            thrown = e.code == VELAErrorDivideByZero;
        }
        recorder.AddTestRecord(cls, "Div by zero const", thrown && Holds(a, num, 3));
    }

    // ---- the window on the block ----
    {
        VecReal32 s(8);
        for (int i = 0; i < 8; ++i)
            s[i] = static_cast<float>(i);
        const float* block = s.Data();
        s.ShiftLeft(2);
        bool ok = s.GetSize() == 6 && s[0] == 2.0f;
        s.Resize(8);
        recorder.AddTestRecord(cls, "ShiftLeft",
                               ok && s[0] == 0.0f && s.Data() == block && s.GetCapacity() == 8);

        s.Truncate(1, 3);
        ok = s.GetSize() == 3 && s.GetCapacity() == 8 && s[0] == 1.0f;
        const unsigned int windowCrc = Checksum::ComputeCRC32(3 * 4, block + 1, 0);
        ok = ok && s.ComputeCRC32() == windowCrc;
        s.SetZero();
        s.Resize(8);
        recorder.AddTestRecord(
            cls, "Truncate",
            ok && s[0] == 0.0f && s[1] == 0.0f && s[3] == 0.0f && s[4] == 4.0f && s[7] == 7.0f);

        s.Resize(0);
        ok = s.GetSize() == 0 && s.GetCapacity() == 8 && s.Data() == block;
        s.Resize(9);
        recorder.AddTestRecord(cls, "Resize", ok && s.GetSize() == 9 && s.GetCapacity() == 9);
    }

    // ---- comparison ----
    {
        VecReal32 c(v);
        VecReal32 longer(6);
        longer.SetZero();
        const bool sizes = !v.IsEqual(longer, kTol);
        // A tolerance of 0 can never be met: the test is strict.
        const bool strict = !v.IsEqual(c, 0.0f);
        recorder.AddTestRecord(cls, "IsEqual", v.IsEqual(c, kTol) && sizes && strict);
    }

    // ---- files ----
    internal::RecordTextRoundTrip(recorder, cls, v, kTol, true);
    internal::RecordBinaryRoundTrip(recorder, cls, v);
    return true;
}

bool VecReal32::SimpleLeakTest(UnitTestRecorder&) {
    VecReal32 v(1000);
    v.Resize(0);
    return true;
}

}  // namespace VELA
