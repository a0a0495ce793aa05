// Self-test of MatReal32, and its leak exercise.
#include <cmath>

#include "Vector.h"
#include "infra/UnitTestRecorder.h"
#include "matrix.h"

namespace VELA {
namespace {

constexpr float kTol = 9e-6f;

const float kA[6] = {1, 2, 3, 4, 5, 6};           // 2 x 3
const float kB[6] = {0.5f, -1, 2, 3, 0.25f, -4};  // 2 x 3, no zeros

MatReal32 Make(const float* p, int rows, int cols) {
    MatReal32 m;
    m.Import(p, rows, cols);
    return m;
}

// True when m is rows x cols and every element is within kTol of expected (row-major).
bool Holds(const MatReal32& m, const float* expected, int rows, int cols) {
    if (m.GetRows() != rows || m.GetCols() != cols) return false;
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j)
            if (!(std::fabs(m[i][j] - expected[i * cols + j]) < kTol)) return false;
    return true;
}

}  // namespace

bool MatReal32::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "MatReal32";
    const MatReal32 a = Make(kA, 2, 3), b = Make(kB, 2, 3);

    {
        MatReal32 m(2, 3);
        recorder.AddTestRecord(
            cls, "Construct",
            m.GetRows() == 2 && m.GetCols() == 3 && m.GetSize() == 6 && m.GetCapacity() == 6);
        MatReal32 empty(0, 5);
        recorder.AddTestRecord(cls, "Construct empty",
                               empty.GetSize() == 0 && empty.GetCapacity() == 0 && empty.Data() == nullptr);
    }
    {
        float out[6] = {};
        a.Export(out, 6);
        bool same = true;
        for (int i = 0; i < 6; ++i)
            same = same && out[i] == kA[i];
        MatReal32 m;
        m.Import(out, 2, 3);
        recorder.AddTestRecord(cls, "Import/Export", same && m.IsEqual(a, kTol) && m[1][2] == 6.0f);
    }
    {
        MatReal32 c(a);
        recorder.AddTestRecord(
            cls, "Copy", c.IsEqual(a, kTol) && c.GetRows() == 2 && c.GetCols() == 3 && c.Data() != a.Data());
        MatReal32 d(10, 10);
        d = a;
        recorder.AddTestRecord(cls, "Assign", d.IsEqual(a, kTol) && d.GetCapacity() == 6);
    }
    {
        MatReal32 m(a);
        m.Add(b);
        const float sum[6] = {1.5f, 1, 5, 7, 5.25f, 2};
        recorder.AddTestRecord(cls, "Add", Holds(m, sum, 2, 3));
        m = a;
        m.Sub(b);
        const float diff[6] = {0.5f, 3, 1, 1, 4.75f, 10};
        recorder.AddTestRecord(cls, "Sub", Holds(m, diff, 2, 3));
        m = a;
        m.DotMul(b);
        const float prod[6] = {0.5f, -2, 6, 12, 1.25f, -24};
        recorder.AddTestRecord(cls, "DotMul", Holds(m, prod, 2, 3));
        m = a;
        m.Div(b);
        const float quot[6] = {2, -2, 1.5f, 4.0f / 3.0f, 20, -1.5f};
        recorder.AddTestRecord(cls, "Div", Holds(m, quot, 2, 3));
    }
    {
        MatReal32 m(a);
        m += b;
        m -= b;
        recorder.AddTestRecord(cls, "+= -= matrix", m.IsEqual(a, kTol));
        m *= b;
        m /= b;
        recorder.AddTestRecord(cls, "*= /= matrix", m.IsEqual(a, kTol));
    }
    {
        MatReal32 m(a);
        m += 0.5f;
        const float plus[6] = {1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f};
        recorder.AddTestRecord(cls, "+= const", Holds(m, plus, 2, 3));
        m -= 0.5f;
        recorder.AddTestRecord(cls, "-= const", m.IsEqual(a, kTol));
        m *= 2.0f;
        const float twice[6] = {2, 4, 6, 8, 10, 12};
        recorder.AddTestRecord(cls, "*= const", Holds(m, twice, 2, 3));
        m /= 2.0f;
        recorder.AddTestRecord(cls, "/= const", m.IsEqual(a, kTol));
    }
    {
        MatReal32 m(a);
        const float row[3] = {7, 8, 9};
        VecReal32 v;
        v.Import(row, 3);
        m.Import(1, v);
        const float expected1[6] = {1, 2, 3, 7, 8, 9};
        const bool intoRow1 = Holds(m, expected1, 2, 3);
        m.Import(v);
        const float expected0[6] = {7, 8, 9, 7, 8, 9};
        recorder.AddTestRecord(cls, "Import row", intoRow1 && Holds(m, expected0, 2, 3));
    }
    {
        const MatReal32 t = Make(kA, 3, 2);
        recorder.AddTestRecord(cls, "IsEqual shape", !a.IsEqual(t, kTol));
        recorder.AddTestRecord(cls, "IsEqual tolerance 0", !a.IsEqual(a, 0.0f));
    }
    {
        MatReal32 m(4, 4);
        m.Resize(2, 3);
        const bool kept = m.GetCapacity() == 16 && m.GetRows() == 2 && m.GetSize() == 6;
        m.Resize(8, 2);
        const bool moreRows = m.GetCapacity() == 16 && m.GetRows() == 8 && m[7] == m.Data() + 14;
        recorder.AddTestRecord(cls, "Resize within capacity", kept && moreRows);
    }
    return true;
}

bool MatReal32::SimpleLeakTest(UnitTestRecorder&) {
    MatReal32 m(100, 100);
    m.Resize(0, 0);
    return true;
}

}  // namespace VELA
