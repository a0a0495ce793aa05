// Self-tests of MatReal32 and MatReal64 (one body for both precisions), and the leak exercise.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "Vector.h"
#include "infra/UnitTestRecorder.h"
#include "matrix.h"

namespace VELA {
namespace {

template <class T>
const T kA[6] = {1, 2, 3, 4, 5, 6};  // 2 x 3
template <class T>
const T kB[6] = {0.5, -1, 2, 3, 0.25, -4};  // 2 x 3, no zeros

template <class Mat, class T>
Mat Make(const T* p, int rows, int cols) {
    Mat m;
    m.Import(p, rows, cols);
    return m;
}

// True when m is rows x cols and every element is within tol of expected (row-major).
template <class Mat, class T>
bool Holds(const Mat& m, const T* expected, int rows, int cols, T tol) {
    if (m.GetRows() != rows || m.GetCols() != cols) return false;
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j)
            if (!(std::fabs(m[i][j] - expected[i * cols + j]) < tol)) return false;
    return true;
}

template <class Mat, class Vec, class T>
bool RunUnitTest(UnitTestRecorder& recorder, const char* cls, T kTol) {
    const Mat a = Make<Mat>(kA<T>, 2, 3), b = Make<Mat>(kB<T>, 2, 3);

    {
        Mat m(2, 3);
        recorder.AddTestRecord(
            cls, "Construct",
            m.GetRows() == 2 && m.GetCols() == 3 && m.GetSize() == 6 && m.GetCapacity() == 6);
        Mat empty(0, 5);
        recorder.AddTestRecord(cls, "Construct empty",
                               empty.GetSize() == 0 && empty.GetCapacity() == 0 && empty.Data() == nullptr);
    }
    {
        T out[6] = {};
        a.Export(out, 6);
        bool same = true;
        for (int i = 0; i < 6; ++i)
            same = same && out[i] == kA<T>[i];
        Mat m;
        m.Import(out, 2, 3);
        recorder.AddTestRecord(cls, "Import/Export", same && m.IsEqual(a, kTol) && m[1][2] == 6.0);
    }
    {
        Mat c(a);
        recorder.AddTestRecord(
            cls, "Copy", c.IsEqual(a, kTol) && c.GetRows() == 2 && c.GetCols() == 3 && c.Data() != a.Data());
        Mat d(10, 10);
        d = a;
        recorder.AddTestRecord(cls, "Assign", d.IsEqual(a, kTol) && d.GetCapacity() == 6);
    }
    {
        Mat m(a);
        m.Add(b);
        const T sum[6] = {1.5, 1, 5, 7, 5.25, 2};
        recorder.AddTestRecord(cls, "Add", Holds(m, sum, 2, 3, kTol));
        m = a;
        m.Sub(b);
        const T diff[6] = {0.5, 3, 1, 1, 4.75, 10};
        recorder.AddTestRecord(cls, "Sub", Holds(m, diff, 2, 3, kTol));
        m = a;
        m.DotMul(b);
        const T prod[6] = {0.5, -2, 6, 12, 1.25, -24};
        recorder.AddTestRecord(cls, "DotMul", Holds(m, prod, 2, 3, kTol));
        m = a;
        m.Div(b);
        const T quot[6] = {2, -2, 1.5, 4.0 / 3.0, 20, -1.5};
        recorder.AddTestRecord(cls, "Div", Holds(m, quot, 2, 3, kTol));
    }
    {
        Mat m(a);
        m += b;
        m -= b;
        recorder.AddTestRecord(cls, "+= -= matrix", m.IsEqual(a, kTol));
        m *= b;
        m /= b;
        recorder.AddTestRecord(cls, "*= /= matrix", m.IsEqual(a, kTol));
    }
    {
        Mat m(a);
        m += 0.5;
        const T plus[6] = {1.5, 2.5, 3.5, 4.5, 5.5, 6.5};
        recorder.AddTestRecord(cls, "+= const", Holds(m, plus, 2, 3, kTol));
        m -= 0.5;
        recorder.AddTestRecord(cls, "-= const", m.IsEqual(a, kTol));
        m *= 2.0;
        const T twice[6] = {2, 4, 6, 8, 10, 12};
        recorder.AddTestRecord(cls, "*= const", Holds(m, twice, 2, 3, kTol));
        m /= 2.0;
        recorder.AddTestRecord(cls, "/= const", m.IsEqual(a, kTol));
    }
    {
        Mat m(a);
        const T row[3] = {7, 8, 9};
        Vec v;
        v.Import(row, 3);
        m.Import(1, v);
        const T expected1[6] = {1, 2, 3, 7, 8, 9};
        const bool intoRow1 = Holds(m, expected1, 2, 3, kTol);
        m.Import(v);
        const T expected0[6] = {7, 8, 9, 7, 8, 9};
        recorder.AddTestRecord(cls, "Import row", intoRow1 && Holds(m, expected0, 2, 3, kTol));
    }
    {
        const Mat t = Make<Mat>(kA<T>, 3, 2);
        recorder.AddTestRecord(cls, "IsEqual shape", !a.IsEqual(t, kTol));
        recorder.AddTestRecord(cls, "IsEqual tolerance 0", !a.IsEqual(a, 0.0));
    }
    {
        Mat m(4, 4);
        m.Resize(2, 3);
        const bool kept = m.GetCapacity() == 16 && m.GetRows() == 2 && m.GetSize() == 6;
        m.Resize(8, 2);
        const bool moreRows = m.GetCapacity() == 16 && m.GetRows() == 8 && m[7] == m.Data() + 14;
        recorder.AddTestRecord(cls, "Resize within capacity", kept && moreRows);
    }

    // ---- files: one row a line ----
    {
        bool passed = false;
        try {
            const std::string path = std::string(cls) + "UnitTest.txt";
            a.Dump(path.c_str());
            std::FILE* f = std::fopen(path.c_str(), "r");
            char text[64] = {};
            if (f) {
                passed = std::fread(text, 1, sizeof text - 1, f) == 14 &&
                         std::strcmp(text, "1 2 3 \n4 5 6 \n") == 0;
                std::fclose(f);
            }
            std::remove(path.c_str());
        } catch (const VELAException&) {
        }
        recorder.AddTestRecord(cls, "Dump", passed);
    }
    return true;
}

}  // namespace

bool MatReal32::UnitTest(UnitTestRecorder& recorder) {
    return RunUnitTest<MatReal32, VecReal32, float>(recorder, "MatReal32", 9e-6f);
}

bool MatReal64::UnitTest(UnitTestRecorder& recorder) {
    return RunUnitTest<MatReal64, VecReal64, double>(recorder, "MatReal64", 1e-14);
}

bool MatReal32::SimpleLeakTest(UnitTestRecorder&) {
    MatReal32 m(100, 100);
    m.Resize(0, 0);
    return true;
}

}  // namespace VELA
