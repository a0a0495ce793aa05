// MatReal64: copies, element-wise arithmetic and its failures, import and export, IsEqual with its
// double tolerance, Resize within capacity, and the self-test entry point.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;

namespace {

MatReal64 FromValues(int rows, int cols, const std::vector<double>& v) {
    MatReal64 m;
    m.Import(v.data(), rows, cols);
    return m;
}

std::vector<double> Elements(const MatReal64& m) {
    std::vector<double> v;
    for (int i = 0; i < m.GetRows(); ++i)
        for (int j = 0; j < m.GetCols(); ++j)
            v.push_back(m[i][j]);
    return v;
}

MatReal64 RandomNonZero(int rows, int cols, unsigned seed) {
    std::vector<double> v = corvane_test::Uniform(static_cast<size_t>(rows) * cols, seed, 0.5, 2.0);
    const std::vector<double> sign = corvane_test::Uniform(v.size(), seed + 1);
    for (size_t i = 0; i < v.size(); ++i)
        if (sign[i] < 0) v[i] = -v[i];
    return FromValues(rows, cols, v);
}

}  // namespace

TEST(MatReal64, CopyKeepsRowsAndColsAndIsEqual) {
    MatReal64 m(2, 3);
    m.SetZero();
    m[0][1] = -3.25;
    const MatReal64 c(m);
    EXPECT_EQ(c.GetRows(), 2);
    EXPECT_EQ(c.GetCols(), 3);
    EXPECT_NE(c.Data(), m.Data());
    EXPECT_TRUE(c.IsEqual(m, 1e-14));
}

TEST(MatReal64, AssignmentReallocatesExactly) {
    const MatReal64 src = FromValues(1, 3, {1, 2, 3});
    MatReal64 dst(4, 4);
    dst = src;
    EXPECT_EQ(dst.GetCapacity(), 3);
    EXPECT_TRUE(dst.IsEqual(src, 1e-14));
}

TEST(MatReal64, TimesEqualsWithMatrixMultipliesElementByElement) {
    MatReal64 m = FromValues(2, 2, {1, 2, 3, 4});
    m *= FromValues(2, 2, {5, 6, 7, 8});
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {5, 12, 21, 32}, 0));
}

TEST(MatReal64, ArithmeticRoundTripsWithinTolerance) {
    const MatReal64 start = RandomNonZero(6, 4, 31);
    const MatReal64 a = RandomNonZero(6, 4, 41);
    MatReal64 m(start);
    m += a;
    m -= a;
    EXPECT_TRUE(m.IsEqual(start, 1e-14));
    m *= a;
    m /= a;
    EXPECT_TRUE(m.IsEqual(start, 1e-14));
    m += 0.5;
    m -= 0.5;
    m *= 2.0;
    m /= 2.0;
    EXPECT_TRUE(m.IsEqual(start, 1e-14));
}

TEST(MatReal64, DivideByZeroThrowsInBothForms) {
    MatReal64 m = FromValues(1, 3, {1, 2, 3});
    EXPECT_THROW(m.Div(FromValues(1, 3, {1, 0, 1})), VELAException);
    EXPECT_TRUE(std::isinf(m[0][1]));
    EXPECT_EQ(m[0][2], 3.0);
    MatReal64 n = FromValues(1, 2, {1, 2});
    try {
        n.Div(0.0);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
    }
    EXPECT_TRUE(corvane_test::NearAbs(Elements(n), {1, 2}, 0));
}

TEST(MatReal64, ExportThenImportReproducesTheMatrix) {
    const MatReal64 a = FromValues(2, 3, {1, -2, 3.5, 4, 5, 6.25});
    double buf[6];
    a.Export(buf, 6);
    MatReal64 b;
    b.Import(buf, 2, 3);
    EXPECT_TRUE(b.IsEqual(a, 1e-14));
    VecReal64 row(3);
    row[0] = 9, row[1] = 8, row[2] = 7;
    b.Import(1, row);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(b), {1, -2, 3.5, 9, 8, 7}, 0));
}

TEST(MatReal64, IsEqualTakesADoubleTolerance) {
    const MatReal64 a = FromValues(1, 2, {1, 2});
    MatReal64 b(a);
    b[0][0] += 1e-12;
    // A float tolerance could not hold 2e-12 apart from 1e-12 this way.
    EXPECT_TRUE(b.IsEqual(a, 2e-12));
    EXPECT_FALSE(b.IsEqual(a, 0.5e-12));
    EXPECT_FALSE(a.IsEqual(FromValues(2, 1, {1, 2}), 1.0));
    EXPECT_FALSE(a.IsEqual(a, 0.0));
}

TEST(MatReal64, ResizeToMoreRowsWithinCapacityKeepsTheBlock) {
    MatReal64 m(1, 12);
    const double* block = m.Data();
    m.Resize(6, 2);
    EXPECT_EQ(m.Data(), block);
    EXPECT_EQ(m[5], block + 10);
}

TEST(MatReal64, SelfTestRecordsCasesAndNoneFails) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    const bool result = MatReal64::UnitTest(recorder);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(result);
    EXPECT_GT(recorder.GetTotalTests(), 10);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
}
