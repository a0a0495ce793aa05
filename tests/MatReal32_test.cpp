// MatReal32: construction and copies, element-wise arithmetic and its failures, import and export,
// IsEqual, Resize within capacity, and the self-test entry points.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;

namespace {

MatReal32 FromValues(int rows, int cols, const std::vector<double>& v) {
    std::vector<float> f(v.begin(), v.end());
    MatReal32 m;
    m.Import(f.data(), rows, cols);
    return m;
}

std::vector<double> Elements(const MatReal32& m) {
    std::vector<double> v;
    for (int i = 0; i < m.GetRows(); ++i)
        for (int j = 0; j < m.GetCols(); ++j)
            v.push_back(m[i][j]);
    return v;
}

// Values in [0.5, 2) with random sign: never zero, so division round trips are defined.
MatReal32 RandomNonZero(int rows, int cols, unsigned seed) {
    std::vector<double> v = corvane_test::Uniform(static_cast<size_t>(rows) * cols, seed, 0.5, 2.0);
    const std::vector<double> sign = corvane_test::Uniform(v.size(), seed + 1);
    for (size_t i = 0; i < v.size(); ++i)
        if (sign[i] < 0) v[i] = -v[i];
    return FromValues(rows, cols, v);
}

}  // namespace

TEST(MatReal32, ConstructorAllocatesBlockAndRowTable) {
    MatReal32 m(2, 3);
    EXPECT_EQ(m.GetRows(), 2);
    EXPECT_EQ(m.GetCols(), 3);
    EXPECT_EQ(m.GetSize(), 6);
    EXPECT_EQ(m.GetCapacity(), 6);
    ASSERT_NE(m.Data(), nullptr);
    EXPECT_EQ(m[0], m.Data());
    EXPECT_EQ(m[1], m.Data() + 3);
}

TEST(MatReal32, ZeroByNMatrixHasNeitherBlockNorRowTable) {
    MatReal32 m(0, 5);
    EXPECT_EQ(m.GetSize(), 0);
    EXPECT_EQ(m.GetCapacity(), 0);
    EXPECT_EQ(m.Data(), nullptr);
    EXPECT_EQ(m.GetCols(), 5);
    m.SetZero();  // nothing to clear, nothing touched
    MatReal32 copy(m);
    EXPECT_EQ(copy.Data(), nullptr);
    EXPECT_EQ(copy.GetCols(), 5);
}

TEST(MatReal32, NegativeShapeFailsWithMemoryAllocationError) {
    try {
        MatReal32 m(-1, 4);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
        EXPECT_STREQ(e.message, "memory allocation error");
    }
}

TEST(MatReal32, CopyKeepsRowsAndColsAndIsEqual) {
    MatReal32 m(2, 3);
    m.SetZero();  // a fresh matrix holds undefined values; a NaN among them would never compare equal
    m[1][2] = 7.5f;
    const MatReal32 c(m);
    EXPECT_EQ(c.GetRows(), 2);
    EXPECT_EQ(c.GetCols(), 3);
    EXPECT_EQ(c.GetCapacity(), 6);
    EXPECT_NE(c.Data(), m.Data());
    EXPECT_TRUE(c.IsEqual(m, 9e-6f));
    EXPECT_EQ(c[1][2], 7.5f);
}

TEST(MatReal32, AssignmentReallocatesExactlyAndNeverReusesCapacity) {
    const MatReal32 src = FromValues(2, 2, {1, 2, 3, 4});
    MatReal32 dst(10, 10);
    const float* before = dst.Data();
    dst = src;
    EXPECT_EQ(dst.GetCapacity(), 4);
    EXPECT_EQ(dst.GetRows(), 2);
    EXPECT_NE(dst.Data(), before);
    EXPECT_TRUE(dst.IsEqual(src, 9e-6f));
    dst = dst;  // self-assignment keeps everything
    EXPECT_TRUE(dst.IsEqual(src, 9e-6f));
}

TEST(MatReal32, TimesEqualsWithMatrixMultipliesElementByElement) {
    MatReal32 m = FromValues(2, 2, {1, 2, 3, 4});
    const MatReal32 a = FromValues(2, 2, {5, 6, 7, 8});
    m *= a;
    // The matrix product would be 19, 22, 43, 50.
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {5, 12, 21, 32}, 0));
    MatReal32 product;
    MathUtils::Mul(product, FromValues(2, 2, {1, 2, 3, 4}), a);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(product), {19, 22, 43, 50}, 0));
}

TEST(MatReal32, ArithmeticRoundTripsWithinTolerance) {
    const MatReal32 start = RandomNonZero(5, 7, 11);
    const MatReal32 a = RandomNonZero(5, 7, 21);
    MatReal32 m(start);
    m += a;
    m -= a;
    EXPECT_TRUE(m.IsEqual(start, 9e-6f));
    m *= a;
    m /= a;
    EXPECT_TRUE(m.IsEqual(start, 9e-6f));
    m += 0.5f;
    m -= 0.5f;
    m *= 2.0f;
    m /= 2.0f;
    EXPECT_TRUE(m.IsEqual(start, 9e-6f));
}

TEST(MatReal32, ElementWiseOperationsComputeTheirFormulas) {
    const MatReal32 a = FromValues(2, 3, {1, 2, 3, 4, 5, 6});
    const MatReal32 b = FromValues(2, 3, {0.5, -1, 2, 3, 0.25, -4});
    MatReal32 m(a);
    m.Add(b);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {1.5, 1, 5, 7, 5.25, 2}, 0));
    m = a;
    m.Sub(b);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {0.5, 3, 1, 1, 4.75, 10}, 0));
    m = a;
    m.Div(b);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {2, -2, 1.5, 4.0 / 3.0, 20, -1.5}, 1e-7));
    m = a;
    m.Sub(1.0f);
    m.Mul(3.0f);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {0, 3, 6, 9, 12, 15}, 0));
}

TEST(MatReal32, DivideByMatrixWithZeroThrowsAfterWritingEveryElement) {
    MatReal32 m = FromValues(1, 4, {1, 0, -2, 6});
    const MatReal32 d = FromValues(1, 4, {2, 0, 0, 3});
    try {
        m.Div(d);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
        EXPECT_STREQ(e.message, "divide-by-zero error");
    }
    EXPECT_EQ(m[0][0], 0.5f);
    EXPECT_TRUE(std::isnan(m[0][1]));  // 0 / 0
    EXPECT_TRUE(std::isinf(m[0][2]) && m[0][2] < 0);
    EXPECT_EQ(m[0][3], 2.0f);  // the element after the zero divisors was written too
}

TEST(MatReal32, DivideByZeroScalarThrowsAndLeavesMatrixUnchanged) {
    MatReal32 m = FromValues(2, 2, {1, 2, 3, 4});
    EXPECT_THROW(m /= 0.0f, VELAException);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {1, 2, 3, 4}, 0));
}

TEST(MatReal32, ExportThenImportReproducesTheMatrix) {
    const MatReal32 a = FromValues(2, 3, {1, -2, 3.5, 4, 5, 6.25});
    float buf[6];
    a.Export(buf, 6);
    MatReal32 b(1, 1);
    b.Import(buf, 2, 3);
    EXPECT_EQ(b.GetRows(), 2);
    EXPECT_EQ(b.GetCols(), 3);
    EXPECT_TRUE(b.IsEqual(a, 9e-6f));
}

TEST(MatReal32, ImportOfARowCopiesTheVectorAndRunsIntoTheNextRows) {
    MatReal32 m = FromValues(2, 3, {0, 0, 0, 0, 0, 0});
    VecReal32 v(5);
    for (int i = 0; i < 5; ++i)
        v[i] = float(i + 1);
    m.Import(v);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {1, 2, 3, 4, 5, 0}, 0));
    VecReal32 r(3);
    r[0] = 7, r[1] = 8, r[2] = 9;
    m.Import(1, r);
    EXPECT_TRUE(corvane_test::NearAbs(Elements(m), {1, 2, 3, 7, 8, 9}, 0));
}

TEST(MatReal32, IsEqualComparesShapeAndUsesAStrictFloatTolerance) {
    const MatReal32 a = FromValues(2, 3, {1, 2, 3, 4, 5, 6});
    const MatReal32 t = FromValues(3, 2, {1, 2, 3, 4, 5, 6});
    EXPECT_FALSE(a.IsEqual(t, 1.0f));
    EXPECT_FALSE(a.IsEqual(a, 0.0f));
    MatReal32 b(a);
    b[1][1] += 0.5f;
    EXPECT_FALSE(b.IsEqual(a, 0.5f));  // a difference equal to the tolerance fails
    EXPECT_TRUE(b.IsEqual(a, 0.5001f));
    b[1][1] = NAN;
    EXPECT_FALSE(b.IsEqual(a, 1e9f));
}

TEST(MatReal32, ResizeWithinCapacityKeepsTheBlockAndRebuildsRows) {
    MatReal32 m(2, 8);
    for (int i = 0; i < 16; ++i)
        m.Data()[i] = float(i);
    const float* block = m.Data();
    m.Resize(8, 2);  // more rows than the row table had
    EXPECT_EQ(m.Data(), block);
    EXPECT_EQ(m.GetCapacity(), 16);
    EXPECT_EQ(m.GetRows(), 8);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(m[i][1], float(2 * i + 1));
    m.Resize(1, 3);
    EXPECT_EQ(m.Data(), block);
    EXPECT_EQ(m.GetSize(), 3);
    m.Resize(5, 5);  // beyond capacity: a new exact block
    EXPECT_EQ(m.GetCapacity(), 25);
}

TEST(MatReal32, SelfTestRecordsCasesAndNoneFails) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    const bool result = MatReal32::UnitTest(recorder);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(result);
    EXPECT_GT(recorder.GetTotalTests(), 10);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
    EXPECT_NE(console.find("  SUCCESS  :MatReal32 :Import/Export"), std::string::npos);
}

TEST(MatReal32, LeakExerciseReturnsTrueAndRecordsNothing) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    EXPECT_TRUE(MatReal32::SimpleLeakTest(recorder));
    EXPECT_EQ(recorder.GetTotalTests(), 0);
}
