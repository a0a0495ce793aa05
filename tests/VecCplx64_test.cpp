// VecCplx64: the double-precision complex vector. Same contracts as VecCplx32 except that magnitudes
// are compared in double and there is no float scaling or range subtraction.
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

VecCplx64 Of(std::initializer_list<Cplx64> values) {
    VecCplx64 v(static_cast<int>(values.size()));
    int i = 0;
    for (const Cplx64& x : values)
        v[i++] = x;
    return v;
}

::testing::AssertionResult SameElement(const Cplx64& a, const Cplx64& b) {
    if (a.re == b.re && a.im == b.im) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "(" << a.re << ", " << a.im << ") vs (" << b.re << ", " << b.im << ")";
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction

TEST(VecCplx64, ConstructionFromPlanesAndFromReals) {
    VecReal64 re(2), im(4);
    re[0] = 1;
    re[1] = 2;
    for (int i = 0; i < 4; ++i)
        im[i] = -0.5 * i;
    const VecCplx64 c(re, im);
    EXPECT_EQ(c.GetSize(), 2);
    EXPECT_EQ(ToDoubles(c), (std::vector<double>{1, 0, 2, -0.5}));
    const VecCplx64 r(im);
    EXPECT_EQ(ToDoubles(r), (std::vector<double>{0, 0, -0.5, 0, -1, 0, -1.5, 0}));
}

TEST(VecCplx64, ConstructionFromVecCplx32WidensBothParts) {
    VecCplx32 f(2);
    f[0] = {0.1f, -0.2f};
    f[1] = {3, 1e-40f};
    const VecCplx64 d(f);
    EXPECT_EQ(d[0].re, static_cast<double>(0.1f));
    EXPECT_EQ(d[0].im, static_cast<double>(-0.2f));
    EXPECT_EQ(d[1].im, static_cast<double>(1e-40f));
    // And back within 9e-6.
    const VecCplx32 back(d);
    EXPECT_TRUE(NearAbs(ToDoubles(back), ToDoubles(f), 9e-6));
}

TEST(VecCplx64, AssignmentReallocatesExactly) {
    VecCplx64 dst(40);
    const VecCplx64 src = Of({{1, 2}, {3, 4}});
    const long long before = kern::AllocationCount();
    dst = src;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(dst.GetCapacity(), 2);
    EXPECT_TRUE(SameElement(dst[1], {3, 4}));
}

// ---------------------------------------------------------------------------------------------
// Arithmetic

TEST(VecCplx64, VectorArithmeticFollowsComplexRulesAndOperandOrder) {
    const VecCplx64 b = Of({{1, 1}, {0, 2}});
    VecCplx64 a = Of({{3, 4}, {-2, 6}});
    a += b;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{4, 5, -2, 8}));
    a = Of({{3, 4}, {-2, 6}});
    a -= b;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2, 3, -2, 4}));
    a = Of({{3, 4}, {-2, 6}});
    a *= b;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{-1, 7, -12, -4}));
    a = Of({{3, 4}, {-2, 6}});
    a /= b;
    EXPECT_TRUE(NearAbs(ToDoubles(a), {3.5, 0.5, 3, 1}, 1e-14));
}

TEST(VecCplx64, ScalarArithmeticFollowsComplexRulesAndOperandOrder) {
    const Cplx64 s{1, -1};
    VecCplx64 a = Of({{3, 4}, {0, 2}});
    a.Add(s);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{4, 3, 1, 1}));
    a.Sub(s);
    a.Sub(s);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2, 5, -1, 3}));
    a.Mul(s);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{7, 3, 2, 4}));
    a.Div(s);
    EXPECT_TRUE(NearAbs(ToDoubles(a), {2, 5, -1, 3}, 1e-14));
}

TEST(VecCplx64, AddSubAndMulDivReturnToTheStart) {
    const VecCplx64 start = MakeCplx64(Uniform(2 * 33, 9));
    VecCplx64 v = start;
    v += Cplx64{0.5, 0.5};
    v -= Cplx64{0.5, 0.5};
    EXPECT_TRUE(NearAbs(ToDoubles(v), ToDoubles(start), 9e-6));
    v *= Cplx64{0, 2};
    v /= Cplx64{0, 2};
    EXPECT_TRUE(NearAbs(ToDoubles(v), ToDoubles(start), 9e-6));
}

TEST(VecCplx64, DivByVectorWithZeroWritesEveryElementThenThrows) {
    VecCplx64 a = Of({{2, 4}, {1, 1}, {6, 3}}), b = Of({{2, 0}, {0, 0}, {0, 3}});
    try {
        a.Div(b);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
    }
    EXPECT_TRUE(SameElement(a[0], {1, 2}));
    EXPECT_FALSE(std::isfinite(a[1].re));
    EXPECT_TRUE(SameElement(a[2], {1, -2}));
}

TEST(VecCplx64, DivByZeroScalarThrowsAndLeavesTheVectorUnchanged) {
    VecCplx64 a = Of({{2, 4}, {1, 1}});
    EXPECT_THROW(a /= (Cplx64{0, 0}), VELAException);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2, 4, 1, 1}));
}

TEST(VecCplx64, ArithmeticOnAViewTouchesOnlyTheWindow) {
    VecCplx64 v = Of({{1, 1}, {2, 2}, {3, 3}, {4, 4}});
    v.Truncate(1, 1);
    v *= Cplx64{0, 1};  // (2+2i) i = -2+2i
    v.Resize(4);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, 1, -2, 2, 3, 3, 4, 4}));
}

// ---------------------------------------------------------------------------------------------
// Extremes and statistics

TEST(VecCplx64, MaxOfEqualMagnitudesGivesTheFirst) {
    const VecCplx64 v = Of({{3, 4}, {-4, 3}, {5, 0}});
    Cplx64 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(value, {3, 4}));
    v.Min(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(v.Min(), {3, 4}));
}

TEST(VecCplx64, MagnitudesAreComparedInDouble) {
    // 1 + 2^-26 is distinct from 1 in double (a float comparison would call it a tie).
    const double tiny = std::ldexp(1.0, -13);
    const VecCplx64 v = Of({{1, 0}, {1, tiny}});
    Cplx64 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 1);
    v.Min(value, index);
    EXPECT_EQ(index, 0);
}

TEST(VecCplx64, MaxOfZerosAndOfNothing) {
    VecCplx64 zeros(3);
    zeros.SetZero();
    Cplx64 value{5, 5};
    int index = -1;
    zeros.Max(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(value, {0, 0}));
    const VecCplx64 none;
    none.Max(value, index);
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(SameElement(value, {0, 0}));
    EXPECT_TRUE(SameElement(none.Min(), {0, 0}));
}

TEST(VecCplx64, LaterLargerElementReplacesTheMaximum) {
    const VecCplx64 v = Of({{0, 1}, {0, -1}, {1, 1}, {-1, -1}, {0, 0.5}});
    Cplx64 value{};
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 2);
    v.Min(value, index);
    EXPECT_EQ(index, 4);
}

TEST(VecCplx64, StatisticsAgreeWithNumpy) {
    const std::vector<int> lengths = {1, 7, 31, 1023, 4097};
    std::vector<std::vector<double>> inputs;
    for (size_t k = 0; k < lengths.size(); ++k)
        inputs.push_back(Uniform(2 * static_cast<size_t>(lengths[k]), 400 + static_cast<unsigned>(k), -2, 3));
    const std::vector<double> ref = PyEval(
        "res = []\n"
        "for a in [a0, a1, a2, a3, a4]:\n"
        "    z = a[0::2] + 1j * a[1::2]\n"
        "    m = a[0::2]**2 + a[1::2]**2\n"
        "    res += [z.sum().real, z.sum().imag, z.mean().real, z.mean().imag, m.argmax(), m.argmin(),\n"
        "            np.abs(a).sum()]\n"
        "out = np.array(res)\n",
        inputs);
    ASSERT_EQ(ref.size(), 7 * lengths.size());
    for (size_t k = 0; k < lengths.size(); ++k) {
        SCOPED_TRACE("n = " + std::to_string(lengths[k]));
        const double* r = &ref[7 * k];
        const double absSum = r[6];
        const VecCplx64 v = MakeCplx64(inputs[k]);
        const Cplx64 sum = v.Sum(), mean = v.Mean();
        EXPECT_NEAR(sum.re, r[0], 1e-14 * absSum);
        EXPECT_NEAR(sum.im, r[1], 1e-14 * absSum);
        EXPECT_NEAR(mean.re, r[2], 1e-14 * absSum / lengths[k]);
        EXPECT_NEAR(mean.im, r[3], 1e-14 * absSum / lengths[k]);
        Cplx64 value{};
        int index = -1;
        v.Max(value, index);
        EXPECT_EQ(index, static_cast<int>(r[4]));
        v.Min(value, index);
        EXPECT_EQ(index, static_cast<int>(r[5]));
    }
}

TEST(VecCplx64, SumAndMeanOfAView) {
    VecCplx64 v = Of({{1, 2}, {3, 4}, {5, 6}, {1e9, 1e9}});
    v.Truncate(0, 3);
    EXPECT_TRUE(SameElement(v.Sum(), {9, 12}));
    EXPECT_TRUE(SameElement(v.Mean(), {3, 4}));
}

// ---------------------------------------------------------------------------------------------
// Parts, IsEqual, Import and Export

TEST(VecCplx64, GetRealAndGetImag) {
    const VecCplx64 v = Of({{1, -1}, {2, -2}});
    VecReal64 re, im;
    v.GetReal(re);
    v.GetImag(im);
    EXPECT_EQ(ToDoubles(re), (std::vector<double>{1, 2}));
    EXPECT_EQ(ToDoubles(im), (std::vector<double>{-1, -2}));
}

TEST(VecCplx64, IsEqualWithToleranceZeroIsFalseAndPrintsBothParts) {
    const VecCplx64 a = Of({{0.5, 0.25}}), b = Of({{0.5, 0.25}});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 0.0f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n==>>0.500000000000000 0.250000000000000, Expected 0.500000000000000 0.250000000000000<<==");
}

TEST(VecCplx64, IsEqualComparesSizesAndBothParts) {
    const VecCplx64 a = Of({{1, 1}}), b = Of({{1, 1}, {2, 2}}), c = Of({{1, 1.25}});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 1.0f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(c, 0.25f));  // |difference| == tolerance
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(a.IsEqual(c, 0.2501f));
}

TEST(VecCplx64, IsEqualToleranceIsAFloat) {
    const VecCplx64 a = Of({{1e-60, 0}}), b = Of({{0, 0}});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, static_cast<float>(1e-50)));
    testing::internal::GetCapturedStdout();
}

TEST(VecCplx64, ImportReusesCapacityWhileAssignmentDoesNot) {
    VecCplx64 v(32);
    const double inter[6] = {1, 2, 3, 4, 5, 6};
    VecReal64 r(2), i2(2);
    r[0] = 1;
    r[1] = 2;
    i2[0] = 3;
    i2[1] = 4;
    long long before = kern::AllocationCount();
    v.Import(inter, 3);  // n complex elements from 2n doubles
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    const double re[2] = {7, 8}, im[2] = {-7, -8};
    v.Import(re, im, 2);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{7, -7, 8, -8}));
    const Cplx64 c[1] = {{9, 9}};
    v.Import(c, 1);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.GetCapacity(), 32);
    v.Import(r, i2);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, 3, 2, 4}));
    v.Import(r);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, 0, 2, 0}));
    EXPECT_EQ(kern::AllocationCount(), before);
    const VecCplx64 same(v);
    before = kern::AllocationCount();
    v = same;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(v.GetCapacity(), 2);
}

TEST(VecCplx64, ExportForms) {
    const VecCplx64 v = Of({{1, -1}, {2, -2}});
    double re[2], im[2];
    v.Export(re, im, 2);
    EXPECT_EQ(re[1], 2.0);
    EXPECT_EQ(im[1], -2.0);
    Cplx64 c[2];
    v.Export(c, 2);
    EXPECT_TRUE(SameElement(c[1], {2, -2}));
}
