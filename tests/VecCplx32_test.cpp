// VecCplx32: construction from planes and reals, complex arithmetic and its operand order, division
// statuses, extremes by squared magnitude (rounded to float), Sum/Mean against numpy, IsEqual,
// Import/Export (including the interleaved float form), real and imaginary parts, views.
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "kernel/Memory.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

VecCplx32 Of(std::initializer_list<Cplx32> values) {
    VecCplx32 v(static_cast<int>(values.size()));
    int i = 0;
    for (const Cplx32& x : values)
        v[i++] = x;
    return v;
}

::testing::AssertionResult SameElement(const Cplx32& a, const Cplx32& b) {
    if (a.re == b.re && a.im == b.im) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "(" << a.re << ", " << a.im << ") vs (" << b.re << ", " << b.im << ")";
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction

TEST(VecCplx32, ConstructionFromPlanesTakesTheRealPlanesLength) {
    VecReal32 re(3), im(5);
    for (int i = 0; i < 5; ++i) {
        if (i < 3) re[i] = static_cast<float>(i);
        im[i] = static_cast<float>(-10 * i);
    }
    const VecCplx32 c(re, im);
    EXPECT_EQ(c.GetSize(), 3);
    EXPECT_EQ(c.GetCapacity(), 3);
    EXPECT_EQ(ToDoubles(c), (std::vector<double>{0, 0, 1, -10, 2, -20}));
}

TEST(VecCplx32, ConstructionFromARealVectorHasZeroImaginaryParts) {
    VecReal32 re(3);
    re[0] = 1.5f;
    re[1] = -2;
    re[2] = 0;
    const VecCplx32 c(re);
    EXPECT_EQ(ToDoubles(c), (std::vector<double>{1.5, 0, -2, 0, 0, 0}));
}

TEST(VecCplx32, ConstructionFromVecCplx64NarrowsBothParts) {
    VecCplx64 d(2);
    d[0] = {0.1, -0.2};
    d[1] = {1e39, 3};  // beyond float range
    const VecCplx32 c(d);
    EXPECT_EQ(c.GetSize(), 2);
    EXPECT_EQ(c[0].re, 0.1f);
    EXPECT_EQ(c[0].im, -0.2f);
    EXPECT_TRUE(std::isinf(c[1].re));
    EXPECT_EQ(c[1].im, 3.0f);
}

TEST(VecCplx32, CopyAndAssignmentAreDeepAndExact) {
    VecCplx32 src = Of({{1, 2}, {3, 4}, {5, 6}});
    src.ShiftLeft(1);
    const VecCplx32 copy(src);
    EXPECT_EQ(copy.GetCapacity(), 2);
    EXPECT_TRUE(SameElement(copy[0], {3, 4}));
    VecCplx32 dst(50);
    const long long before = kern::AllocationCount();
    dst = src;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(dst.GetCapacity(), 2);
    EXPECT_NE(dst.Data(), src.Data());
    EXPECT_TRUE(SameElement(dst[1], {5, 6}));
}

// ---------------------------------------------------------------------------------------------
// Arithmetic

TEST(VecCplx32, VectorArithmeticFollowsComplexRulesAndOperandOrder) {
    const VecCplx32 b = Of({{1, 1}, {0, 2}});
    VecCplx32 a = Of({{3, 4}, {-2, 6}});
    a.Add(b);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{4, 5, -2, 8}));
    a = Of({{3, 4}, {-2, 6}});
    a.Sub(b);  // this - b
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2, 3, -2, 4}));
    a = Of({{3, 4}, {-2, 6}});
    a.Mul(b);  // (3+4i)(1+i) = -1+7i, (-2+6i)(2i) = -12-4i
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{-1, 7, -12, -4}));
    a = Of({{3, 4}, {-2, 6}});
    a.Div(b);  // (3+4i)/(1+i) = 3.5+0.5i, (-2+6i)/(2i) = 3+i
    EXPECT_TRUE(NearAbs(ToDoubles(a), {3.5, 0.5, 3, 1}, 1e-6));
}

TEST(VecCplx32, ScalarArithmeticFollowsComplexRulesAndOperandOrder) {
    const Cplx32 s{1, -1};
    VecCplx32 a = Of({{3, 4}, {0, 2}});
    a += s;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{4, 3, 1, 1}));
    a -= s;
    a -= s;  // this - s
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2, 5, -1, 3}));
    a *= s;  // (2+5i)(1-i) = 7+3i, (-1+3i)(1-i) = 2+4i
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{7, 3, 2, 4}));
    a /= s;  // back
    EXPECT_TRUE(NearAbs(ToDoubles(a), {2, 5, -1, 3}, 1e-6));
}

TEST(VecCplx32, MulByFloatScalesBothParts) {
    VecCplx32 a = Of({{3, -4}, {0.5f, 2}});
    a.Mul(2.0f);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{6, -8, 1, 4}));
    a *= 0.5f;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{3, -4, 0.5, 2}));
}

TEST(VecCplx32, SubOfARangeSubtractsFromTheGivenStarts) {
    VecCplx32 a = Of({{10, 10}, {20, 20}, {30, 30}, {40, 40}});
    const VecCplx32 b = Of({{1, 2}, {3, 4}, {5, 6}});
    a.Sub(b, 1, 0, 2);  // a[1] -= b[0], a[2] -= b[1]
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{10, 10, 19, 18, 27, 26, 40, 40}));
    a.Sub(b, 3, 2, 1);  // a[3] -= b[2]
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{10, 10, 19, 18, 27, 26, 35, 34}));
}

TEST(VecCplx32, AddSubAndMulDivReturnToTheStart) {
    const VecCplx32 start = MakeCplx32(Uniform(2 * 31, 7));
    VecCplx32 v = start;
    v += Cplx32{0.5f, -0.5f};
    v -= Cplx32{0.5f, -0.5f};
    EXPECT_TRUE(NearAbs(ToDoubles(v), ToDoubles(start), 9e-6));
    v *= Cplx32{2, 0};
    v /= Cplx32{2, 0};
    EXPECT_TRUE(NearAbs(ToDoubles(v), ToDoubles(start), 9e-6));
}

TEST(VecCplx32, DivByVectorWithZeroWritesEveryElementThenThrows) {
    VecCplx32 a = Of({{2, 4}, {1, 1}, {6, 3}}), b = Of({{2, 0}, {0, 0}, {0, 3}});
    try {
        a.Div(b);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
        EXPECT_STREQ(e.message, "divide-by-zero error");
    }
    EXPECT_TRUE(SameElement(a[0], {1, 2}));
    EXPECT_FALSE(std::isfinite(a[1].re));     // whatever the division leaves, it is no number
    EXPECT_TRUE(SameElement(a[2], {1, -2}));  // processed after the zero
}

TEST(VecCplx32, DivByZeroScalarThrowsAndLeavesTheVectorUnchanged) {
    VecCplx32 a = Of({{2, 4}, {1, 1}});
    try {
        a.Div(Cplx32{0, 0});
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
    }
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2, 4, 1, 1}));
    // A divisor with only one part zero is no zero.
    EXPECT_NO_THROW(a.Div(Cplx32{0, 2}));
    EXPECT_NO_THROW(a.Div(Cplx32{2, 0}));
}

TEST(VecCplx32, ArithmeticOnAViewTouchesOnlyTheWindow) {
    VecCplx32 v = Of({{1, 1}, {2, 2}, {3, 3}, {4, 4}});
    v.ShiftLeft(1);
    v.Truncate(1, 2);
    v *= 2.0f;
    v += Cplx32{0, 1};
    v.Resize(4);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, 1, 2, 2, 6, 7, 8, 9}));
}

// ---------------------------------------------------------------------------------------------
// Extremes and statistics

TEST(VecCplx32, MaxOfEqualMagnitudesGivesTheFirst) {
    const VecCplx32 v = Of({{3, 4}, {-4, 3}, {5, 0}});
    Cplx32 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(value, {3, 4}));
    v.Min(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(v.Max(), {3, 4}));
}

TEST(VecCplx32, ExtremesReturnTheWholeElement) {
    const VecCplx32 v = Of({{1, 0}, {0, -7}, {2, 2}, {0.5f, 0.5f}, {-6, 3}});
    Cplx32 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 1);
    EXPECT_TRUE(SameElement(value, {0, -7}));
    v.Min(value, index);
    EXPECT_EQ(index, 3);
    EXPECT_TRUE(SameElement(value, {0.5f, 0.5f}));
    EXPECT_TRUE(SameElement(v.Min(), {0.5f, 0.5f}));
}

TEST(VecCplx32, MaxOfZerosGivesIndexZero) {
    VecCplx32 v(5);
    v.SetZero();
    Cplx32 value{1, 1};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(value, {0, 0}));
}

TEST(VecCplx32, SquaredMagnitudesAreComparedAfterRoundingToFloat) {
    // |(1, 2^-13)|^2 = 1 + 2^-26 rounds to 1 in float: a tie, so the first element stays the maximum.
    const float tiny = std::ldexp(1.0f, -13);
    const VecCplx32 v = Of({{1, 0}, {1, tiny}});
    Cplx32 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 0);
    const VecCplx32 w = Of({{1, tiny}, {1, 0}});
    w.Min(value, index);
    EXPECT_EQ(index, 0);
}

TEST(VecCplx32, ExtremesOfAVectorWithoutStorageDoNotDereference) {
    const VecCplx32 v;
    Cplx32 value{9, 9};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(value, {0, 0}));
    v.Min(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(value, {0, 0}));
}

TEST(VecCplx32, ExtremesOfAnEmptyVectorWithStorageReadElementZero) {
    VecCplx32 v = Of({{2, 3}, {5, 5}});
    v.Resize(0);
    Cplx32 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(value, {2, 3}));
}

TEST(VecCplx32, ExtremesOfAViewAreCountedInTheView) {
    VecCplx32 v = Of({{9, 9}, {1, 0}, {0, 3}, {2, 0}});
    v.ShiftLeft(1);
    Cplx32 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 1);
    v.Min(value, index);
    EXPECT_EQ(index, 0);
}

TEST(VecCplx32, SumAndMeanOfAView) {
    VecCplx32 v = Of({{100, 100}, {1, 2}, {3, 4}, {-1, 0}});
    v.ShiftLeft(1);
    EXPECT_TRUE(SameElement(v.Sum(), {3, 6}));
    EXPECT_TRUE(SameElement(v.Mean(), {1, 2}));
}

TEST(VecCplx32, StatisticsAgreeWithNumpy) {
    const std::vector<int> lengths = {1, 7, 31, 1023, 4097};
    std::vector<std::vector<double>> inputs;
    for (size_t k = 0; k < lengths.size(); ++k)
        inputs.push_back(RoundToFloat(
            Uniform(2 * static_cast<size_t>(lengths[k]), 300 + static_cast<unsigned>(k), -2, 3)));
    const std::vector<double> ref = PyEval(
        "res = []\n"
        "for a in [a0, a1, a2, a3, a4]:\n"
        "    z = a[0::2] + 1j * a[1::2]\n"
        "    m = (a[0::2].astype(np.float32)**2 + a[1::2].astype(np.float32)**2).astype(np.float32)\n"
        "    res += [z.sum().real, z.sum().imag, z.mean().real, z.mean().imag, m.argmax(), m.argmin(),\n"
        "            np.abs(a).sum()]\n"
        "out = np.array(res)\n",
        inputs);
    ASSERT_EQ(ref.size(), 7 * lengths.size());
    for (size_t k = 0; k < lengths.size(); ++k) {
        SCOPED_TRACE("n = " + std::to_string(lengths[k]));
        const double* r = &ref[7 * k];
        const double absSum = r[6];
        const VecCplx32 v = MakeCplx32(inputs[k]);
        const Cplx32 sum = v.Sum(), mean = v.Mean();
        EXPECT_NEAR(sum.re, r[0], 6e-8 * std::fabs(r[0]) + 1e-12 * absSum);
        EXPECT_NEAR(sum.im, r[1], 6e-8 * std::fabs(r[1]) + 1e-12 * absSum);
        EXPECT_NEAR(mean.re, r[2], 6e-8 * std::fabs(r[2]) + 1e-12 * absSum / lengths[k]);
        EXPECT_NEAR(mean.im, r[3], 6e-8 * std::fabs(r[3]) + 1e-12 * absSum / lengths[k]);
        Cplx32 value{};
        int index = -1;
        v.Max(value, index);
        EXPECT_EQ(index, static_cast<int>(r[4]));
        v.Min(value, index);
        EXPECT_EQ(index, static_cast<int>(r[5]));
    }
}

// ---------------------------------------------------------------------------------------------
// Real and imaginary parts, IsEqual

TEST(VecCplx32, GetRealAndGetImagResizeTheOutput) {
    VecCplx32 v = Of({{1, -1}, {2, -2}, {3, -3}});
    v.ShiftLeft(1);
    VecReal32 re(100), im;
    v.GetReal(re);
    v.GetImag(im);
    EXPECT_EQ(re.GetCapacity(), 100);  // resized within capacity
    EXPECT_EQ(ToDoubles(re), (std::vector<double>{2, 3}));
    EXPECT_EQ(ToDoubles(im), (std::vector<double>{-2, -3}));
}

TEST(VecCplx32, IsEqualWithToleranceZeroIsFalseAndPrintsBothParts) {
    const VecCplx32 a = Of({{1.5f, -2}}), b = Of({{1.5f, -2}});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 0.0f));
    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
        "\n==>>1.500000000000000 -2.000000000000000, Expected 1.500000000000000 -2.000000000000000<<==");
}

TEST(VecCplx32, IsEqualNeedsBothPartsWithinTheTolerance) {
    const VecCplx32 a = Of({{1, 1}, {2, 2}}), b = Of({{1, 1}, {2, 2.5f}});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 0.4f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n==>>2.000000000000000 2.000000000000000, Expected 2.000000000000000 2.500000000000000<<==");
    EXPECT_TRUE(a.IsEqual(b, 0.6f));
}

TEST(VecCplx32, IsEqualOfDifferentSizesIsFalseWithoutPrinting) {
    const VecCplx32 a = Of({{1, 1}}), b = Of({{1, 1}, {2, 2}});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 1.0f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(VecCplx32().IsEqual(VecCplx32(), 0.0f));
}

// ---------------------------------------------------------------------------------------------
// Import and Export

TEST(VecCplx32, ImportOfFloatPointerReadsTwoFloatsPerElement) {
    // Six floats for three complex elements; the seventh must not be read into the vector.
    const float p[7] = {1, 2, 3, 4, 5, 6, 99};
    VecCplx32 v(10);
    const long long before = kern::AllocationCount();
    v.Import(p, 3);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.GetSize(), 3);
    EXPECT_EQ(v.GetCapacity(), 10);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, 2, 3, 4, 5, 6}));
}

TEST(VecCplx32, ImportReusesCapacityWhileAssignmentDoesNot) {
    VecCplx32 v(64);
    const Cplx32 p[4] = {{1, 1}, {2, 2}, {3, 3}, {4, 4}};
    long long before = kern::AllocationCount();
    v.Import(p, 4);
    const float re[2] = {5, 6}, im[2] = {-5, -6};
    v.Import(re, im, 2);
    const double dre[3] = {0.1, 0.2, 0.3}, dim[3] = {-1, -2, -3};
    v.Import(dre, dim, 3);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.GetCapacity(), 64);
    EXPECT_TRUE(SameElement(v[2], {0.3f, -3.0f}));
    const VecCplx32 same(v);
    before = kern::AllocationCount();
    v = same;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(v.GetCapacity(), 3);
}

TEST(VecCplx32, ImportOfRealVectors) {
    VecReal32 re(2), im(3);
    re[0] = 1;
    re[1] = 2;
    im[0] = -1;
    im[1] = -2;
    im[2] = -3;
    VecCplx32 v;
    v.Import(re, im);  // re's length
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, -1, 2, -2}));
    v.Import(im);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{-1, 0, -2, 0, -3, 0}));
}

TEST(VecCplx32, ExportForms) {
    const VecCplx32 v = Of({{1, -1}, {2, -2}, {3, -3}});
    float re[3] = {}, im[3] = {};
    v.Export(re, im, 2);
    EXPECT_EQ(re[1], 2.0f);
    EXPECT_EQ(im[1], -2.0f);
    EXPECT_EQ(re[2], 0.0f);
    double dre[3], dim[3];
    v.Export(dre, dim, 3);
    EXPECT_EQ(dre[2], 3.0);
    EXPECT_EQ(dim[2], -3.0);
    Cplx32 c[3] = {};
    v.Export(c, 3);
    EXPECT_TRUE(SameElement(c[0], {1, -1}));
}
