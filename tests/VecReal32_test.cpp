// VecReal32: construction and copies, in-place arithmetic and its operand order, division statuses,
// extremes and their tie rule, statistics (cross-checked with numpy), IsEqual, Import/Export, views.
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "kernel/Memory.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

VecReal32 Of(std::initializer_list<float> values) {
    VecReal32 v(static_cast<int>(values.size()));
    int i = 0;
    for (float x : values)
        v[i++] = x;
    return v;
}

// The five values used throughout the figures below.
VecReal32 Five() {
    return Of({0.92f, 0.73f, 0.17f, 0.4f, 0.93f});
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction, copies, conversion

TEST(VecReal32, CopyFromVecReal64NarrowsEachElement) {
    VecReal64 d(3);
    d[0] = 0.1;
    d[1] = -1e30;
    d[2] = 3.0;
    const VecReal32 f(d);
    EXPECT_EQ(f.GetSize(), 3);
    EXPECT_EQ(f.GetCapacity(), 3);
    EXPECT_EQ(f[0], 0.1f);
    EXPECT_EQ(f[1], -1e30f);
    EXPECT_EQ(f[2], 3.0f);
}

TEST(VecReal32, RoundTripThroughVecReal64KeepsValuesWithin9e6) {
    const VecReal32 start = MakeReal32(Uniform(257, 11, -100.0, 100.0));
    const VecReal64 wide(start);
    const VecReal32 back(wide);
    EXPECT_TRUE(NearAbs(ToDoubles(back), ToDoubles(start), 9e-6));
    VecReal32 imported;
    imported.Import(wide);
    EXPECT_TRUE(NearAbs(ToDoubles(imported), ToDoubles(start), 9e-6));
}

TEST(VecReal32, CopyOfAViewHoldsOnlyTheWindow) {
    VecReal32 v = Five();
    v.Truncate(1, 3);
    const VecReal32 c(v);
    EXPECT_EQ(c.GetSize(), 3);
    EXPECT_EQ(c.GetCapacity(), 3);
    EXPECT_EQ(c[0], 0.73f);
    EXPECT_EQ(c[2], 0.4f);
}

// ---------------------------------------------------------------------------------------------
// Arithmetic

TEST(VecReal32, SubAndDivTakeThisAsTheLeftOperand) {
    VecReal32 a = Of({10, 20, -3}), b = Of({4, 5, 2});
    a.Sub(b);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{6, 15, -5}));
    a = Of({10, 20, -3});
    a.Div(b);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2.5, 4, -1.5}));
    a = Of({10, 20, -3});
    a -= 4.0f;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{6, 16, -7}));
    a = Of({10, 20, -3});
    a /= 4.0f;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2.5, 5, -0.75}));
}

TEST(VecReal32, AddAndMulWithVectorAndScalar) {
    VecReal32 a = Of({1, 2, 3}), b = Of({0.5f, -1, 4});
    a.Add(b);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{1.5, 1, 7}));
    a.Mul(b);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{0.75, -1, 28}));
    a.Add(1.0f);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{1.75, 0, 29}));
    a.Mul(-2.0f);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{-3.5, -0, -58}));
}

TEST(VecReal32, OperatorsForwardAndReturnThis) {
    VecReal32 a = Of({2, 4}), b = Of({1, 2});
    EXPECT_EQ(&(a += b), &a);
    EXPECT_EQ(&(a -= b), &a);
    EXPECT_EQ(&(a *= b), &a);
    EXPECT_EQ(&(a /= b), &a);
    EXPECT_EQ(&(a += 1.0f), &a);
    EXPECT_EQ(&(a -= 1.0f), &a);
    EXPECT_EQ(&(a *= 1.0f), &a);
    EXPECT_EQ(&(a /= 1.0f), &a);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2, 4}));
}

TEST(VecReal32, AddSubHalfAndMulDivTwoReturnToTheStart) {
    const VecReal32 start = Five();
    VecReal32 v = start;
    v += 0.5f;
    v -= 0.5f;
    EXPECT_TRUE(NearAbs(ToDoubles(v), ToDoubles(start), 9e-6));
    v *= 2.0f;
    v /= 2.0f;
    EXPECT_TRUE(NearAbs(ToDoubles(v), ToDoubles(start), 9e-6));
}

TEST(VecReal32, DivByVectorWithZeroWritesEveryElementThenThrows) {
    VecReal32 a = Of({1, 0, -2, 6}), b = Of({2, 0, 0, 3});
    try {
        a.Div(b);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
        EXPECT_STREQ(e.message, "divide-by-zero error");
    }
    EXPECT_EQ(a[0], 0.5f);
    EXPECT_TRUE(std::isnan(a[1]));  // 0 / 0
    EXPECT_EQ(a[2], -std::numeric_limits<float>::infinity());
    EXPECT_EQ(a[3], 2.0f);  // processing went on past the zero
}

TEST(VecReal32, DivOperatorByVectorWithZeroThrowsToo) {
    VecReal32 a = Of({1, 1}), b = Of({1, 0});
    EXPECT_THROW(a /= b, VELAException);
    EXPECT_EQ(a[1], std::numeric_limits<float>::infinity());
}

TEST(VecReal32, DivByZeroScalarThrowsAndLeavesTheVectorUnchanged) {
    VecReal32 a = Five();
    try {
        a.Div(0.0f);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
    }
    EXPECT_EQ(ToDoubles(a), ToDoubles(Five()));
    EXPECT_THROW(a /= -0.0f, VELAException);
    EXPECT_EQ(ToDoubles(a), ToDoubles(Five()));
}

TEST(VecReal32, DivByNonZeroVectorDoesNotThrow) {
    VecReal32 a = Of({1, 2}), b = Of({-4, 1e-30f});
    EXPECT_NO_THROW(a.Div(b));
    EXPECT_EQ(a[0], -0.25f);
}

TEST(VecReal32, ArithmeticOnAViewTouchesOnlyTheWindow) {
    VecReal32 v = Of({1, 2, 3, 4, 5, 6, 7, 8});
    v.ShiftLeft(1);  // unaligned start
    v.Truncate(1, 5);
    ASSERT_EQ(v[0], 3.0f);
    VecReal32 ones(5);
    ones.SetZero();
    ones += 1.0f;
    v += ones;
    v *= 10.0f;
    v.Resize(8);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, 2, 40, 50, 60, 70, 80, 8}));
}

// ---------------------------------------------------------------------------------------------
// Extremes and statistics

TEST(VecReal32, FiguresOfTheFiveValues) {
    const VecReal32 v = Five();
    EXPECT_NEAR(v.Sum(), 3.15, 9e-6);
    EXPECT_NEAR(v.Mean(), 0.63, 9e-6);
    EXPECT_EQ(v.Max(), 0.93f);
    EXPECT_EQ(v.Min(), 0.17f);
    float value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(value, 0.93f);
    EXPECT_EQ(index, 4);
    v.Min(value, index);
    EXPECT_EQ(value, 0.17f);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(v.Max(1, 3), 0.73f);
    EXPECT_EQ(v.Min(1, 3), 0.17f);
    v.Max(value, index, 1, 3);
    EXPECT_EQ(value, 0.73f);
    EXPECT_EQ(index, 1);
    v.Min(value, index, 1, 3);
    EXPECT_EQ(value, 0.17f);
    EXPECT_EQ(index, 2);  // counted from element 0, not from the window's start
    EXPECT_NEAR(v.StdDev(), 0.334888, 9e-6);
}

TEST(VecReal32, StdDevDividesByNMinusOne) {
    const VecReal32 v = Of({1, 2, 3, 4});
    EXPECT_FLOAT_EQ(v.StdDev(), static_cast<float>(std::sqrt(5.0 / 3.0)));
}

TEST(VecReal32, VarIsStdDevRoundedToFloatThenSquared) {
    const VecReal32 v = Five();
    const float s = v.StdDev();
    EXPECT_EQ(v.Var(), s * s);
}

TEST(VecReal32, IndexFormsReportTheFirstOfEqualExtremes) {
    const VecReal32 v = Of({1, 5, 5, 2, 5, -1, 3, -1});
    float value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 1);
    v.Min(value, index);
    EXPECT_EQ(index, 5);
    v.Max(value, index, 2, 5);
    EXPECT_EQ(index, 2);
    v.Min(value, index, 6, 2);
    EXPECT_EQ(index, 7);
}

TEST(VecReal32, TiesInALongVectorGoToTheFirstIndex) {
    // Long enough that vectorised kernels split the search into lanes.
    VecReal32 v(1023);
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = static_cast<float>(i % 13);
    v[500] = 99;
    v[37] = 99;
    v[1000] = 99;
    v[77] = -99;
    v[78] = -99;
    v[3] = -99;
    float value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(value, 99.0f);
    EXPECT_EQ(index, 37);
    v.Min(value, index);
    EXPECT_EQ(index, 3);
    v.Max(value, index, 100, 900);
    EXPECT_EQ(index, 500);
}

TEST(VecReal32, ExtremesOfAViewAreCountedInTheView) {
    VecReal32 v = Of({9, 1, 4, 8, 2});
    v.ShiftLeft(1);
    float value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(value, 8.0f);
    EXPECT_EQ(index, 2);
    EXPECT_NEAR(v.Sum(), 15.0, 1e-6);
    EXPECT_NEAR(v.Mean(), 3.75, 1e-6);
}

// Statistics of random data of awkward lengths against numpy, which sees the same float values.
TEST(VecReal32, StatisticsAgreeWithNumpy) {
    const std::vector<int> lengths = {1, 7, 31, 1023, 4097};
    std::vector<std::vector<double>> inputs;
    for (size_t k = 0; k < lengths.size(); ++k)
        inputs.push_back(
            RoundToFloat(Uniform(static_cast<size_t>(lengths[k]), 100 + static_cast<unsigned>(k), -2, 3)));
    const std::vector<double> ref = PyEval(
        "res = []\n"
        "for x in [a0, a1, a2, a3, a4]:\n"
        "    sd = x.std(ddof=1) if x.size > 1 else 0.0\n"
        "    res += [x.sum(), x.mean(), sd, x.max(), x.argmax(), x.min(), x.argmin(), np.abs(x).sum()]\n"
        "out = np.array(res)\n",
        inputs);
    ASSERT_EQ(ref.size(), 8 * lengths.size());
    for (size_t k = 0; k < lengths.size(); ++k) {
        SCOPED_TRACE("n = " + std::to_string(lengths[k]));
        const double* r = &ref[8 * k];
        const double absSum = r[7];
        const VecReal32 v = MakeReal32(inputs[k]);
        // Accumulated in double and rounded once: within half a float ulp of the exact value.
        EXPECT_NEAR(v.Sum(), r[0], 6e-8 * std::fabs(r[0]) + 1e-12 * absSum);
        EXPECT_NEAR(v.Mean(), r[1], 6e-8 * std::fabs(r[1]) + 1e-12 * absSum / lengths[k]);
        if (lengths[k] > 1) {
            EXPECT_NEAR(v.StdDev(), r[2], 1.2e-7 * r[2]);
        }
        float value = 0;
        int index = -1;
        v.Max(value, index);
        EXPECT_EQ(value, r[3]);
        EXPECT_EQ(index, static_cast<int>(r[4]));
        EXPECT_EQ(v.Max(), r[3]);
        v.Min(value, index);
        EXPECT_EQ(value, r[5]);
        EXPECT_EQ(index, static_cast<int>(r[6]));
        EXPECT_EQ(v.Min(), r[5]);
    }
}

// ---------------------------------------------------------------------------------------------
// IsEqual

TEST(VecReal32, IsEqualWithToleranceZeroIsFalseAndPrintsTheFirstElement) {
    const VecReal32 a = Of({1.5f, 2}), b = Of({1.5f, 2});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 0.0f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n==>>1.500000000000000, Expected 1.500000000000000<<==");
}

TEST(VecReal32, IsEqualPrintsTheFirstFailingElementOnly) {
    const VecReal32 a = Of({1, 2.25f, 7}), b = Of({1, 2, 0});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 0.1f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n==>>2.250000000000000, Expected 2.000000000000000<<==");
}

TEST(VecReal32, IsEqualComparesStrictlyBelowTheTolerance) {
    const VecReal32 a = Of({1.0f}), b = Of({1.5f});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 0.5f));  // |difference| == tolerance
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    EXPECT_TRUE(a.IsEqual(b, 0.50001f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(VecReal32, IsEqualFailsOnNaN) {
    const VecReal32 a = Of({std::nanf("")}), b = Of({std::nanf("")});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 1e30f));
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
}

TEST(VecReal32, IsEqualOfDifferentSizesIsFalseWithoutPrinting) {
    const VecReal32 a = Of({1, 2}), longer = Of({1, 2, 3});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(longer, 1.0f));
    EXPECT_FALSE(longer.IsEqual(a, 1.0f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(VecReal32, TwoEmptyVectorsAreEqual) {
    const VecReal32 a, b(0);
    EXPECT_TRUE(a.IsEqual(b, 0.0f));
}

// ---------------------------------------------------------------------------------------------
// Import and Export

TEST(VecReal32, ImportReusesCapacityWhileAssignmentDoesNot) {
    VecReal32 v(100);
    const float* block = v.Data();
    const float p[10] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    long long before = kern::AllocationCount();
    v.Import(p, 10);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.GetSize(), 10);
    EXPECT_EQ(v.GetCapacity(), 100);
    EXPECT_EQ(v.Data(), block);
    EXPECT_EQ(v[9], 9.0f);
    const VecReal32 same(v);
    before = kern::AllocationCount();
    v = same;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(v.GetCapacity(), 10);
}

TEST(VecReal32, ImportNarrowsDoubles) {
    const double p[3] = {0.1, 1e-50, -2.5};
    VecReal32 v;
    v.Import(p, 3);
    EXPECT_EQ(v.GetSize(), 3);
    EXPECT_EQ(v[0], 0.1f);
    EXPECT_EQ(v[1], 0.0f);
    EXPECT_EQ(v[2], -2.5f);
}

TEST(VecReal32, ImportIntoAViewStartsAtTheBlock) {
    VecReal32 v = Five();
    const float* block = v.Data();
    v.ShiftLeft(2);
    const float p[4] = {7, 8, 9, 10};
    v.Import(p, 4);
    EXPECT_EQ(v.Data(), block);
    EXPECT_EQ(v[0], 7.0f);
}

TEST(VecReal32, ExportCopiesTheCallersCount) {
    const VecReal32 v = Five();
    float f[6] = {-1, -1, -1, -1, -1, -1};
    v.Export(f, 3);
    EXPECT_EQ(f[2], 0.17f);
    EXPECT_EQ(f[3], -1.0f);
    double d[5];
    v.Export(d, 5);
    EXPECT_EQ(d[4], static_cast<double>(0.93f));
}
