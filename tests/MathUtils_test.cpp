// MathUtils: the scalar helpers and their edge behaviour, the in-place and out-of-place element-wise
// forms (sizing, aliasing, the guarded logarithms), the composite operations, the copy family with its
// argument orders, and the matrix members, with the inverse checked against numpy. The accuracy of the
// transcendental functions is in MathUtilsAccuracy_test.cpp, their kernels in MathKernels_test.cpp.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "kernel/Dispatch.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;

namespace {

VecReal32 R32(std::initializer_list<float> x) {
    VecReal32 v;
    v.Import(x.begin(), static_cast<int>(x.size()));
    return v;
}
VecReal64 R64(std::initializer_list<double> x) {
    VecReal64 v;
    v.Import(x.begin(), static_cast<int>(x.size()));
    return v;
}
VecCplx32 C32(std::initializer_list<Cplx32> x) {
    VecCplx32 v;
    v.Import(x.begin(), static_cast<int>(x.size()));
    return v;
}
VecCplx64 C64(std::initializer_list<Cplx64> x) {
    VecCplx64 v;
    v.Import(x.begin(), static_cast<int>(x.size()));
    return v;
}
VecInt32 I32(std::initializer_list<int> x) {
    VecInt32 v(static_cast<int>(x.size()));
    int i = 0;
    for (int e : x)
        v[i++] = e;
    return v;
}

template <class Vec>
std::vector<double> D(const Vec& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i)
        r.push_back(static_cast<double>(v[i]));
    return r;
}
template <class Vec>
std::vector<double> DC(const Vec& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i) {
        r.push_back(v[i].re);
        r.push_back(v[i].im);
    }
    return r;
}
template <class Mat>
std::vector<double> DM(const Mat& m) {
    std::vector<double> r;
    for (int i = 0; i < m.GetRows(); ++i)
        for (int j = 0; j < m.GetCols(); ++j)
            r.push_back(m[i][j]);
    return r;
}

}  // namespace

// ============================================================ scalar helpers

TEST(MathUtils, PowOf2OfSixtyFourIsSixAndOfFourteenIsNegative) {
    EXPECT_EQ(MathUtils::PowOf2(64), 6);
    EXPECT_LT(MathUtils::PowOf2(14), 0);
    for (int k = 0; k <= 30; ++k)
        EXPECT_EQ(MathUtils::PowOf2(1 << k), k) << k;
    EXPECT_EQ(MathUtils::PowOf2((1 << 30) + 1), -1);
    EXPECT_EQ(MathUtils::PowOf2(INT_MAX), -1);
    EXPECT_EQ(MathUtils::PowOf2(0), -1);
    EXPECT_EQ(MathUtils::PowOf2(-8), -1);
}

TEST(MathUtils, NextPowOf2RoundsUpToAPowerOfTwo) {
    EXPECT_EQ(MathUtils::NextPowOf2(1), 1);
    EXPECT_EQ(MathUtils::NextPowOf2(3), 4);
    EXPECT_EQ(MathUtils::NextPowOf2(4), 4);
    EXPECT_EQ(MathUtils::NextPowOf2(0), 0);
    EXPECT_EQ(MathUtils::NextPowOf2(5), 8);
    EXPECT_EQ(MathUtils::NextPowOf2(1025), 2048);
    EXPECT_EQ(MathUtils::NextPowOf2(1 << 30), 1 << 30);
}

TEST(MathUtils, NextPowOf2AboveTwoToTheThirtyIsRefused) {
    // No int holds the answer: a defined error instead of a doubling that leaves 32-bit range.
    for (int n : {(1 << 30) + 1, INT_MAX - 1, INT_MAX}) {
        try {
            MathUtils::NextPowOf2(n);
            ADD_FAILURE() << "no exception for " << n;
        } catch (const VELAException& e) {
            EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
            EXPECT_STREQ(e.message, "invalid input parameter");
        }
    }
}

TEST(MathUtils, Pow2WrapsInThirtyTwoBits) {
    EXPECT_EQ(MathUtils::Pow2(0), 1);
    EXPECT_EQ(MathUtils::Pow2(30), 1 << 30);
    EXPECT_EQ(MathUtils::Pow2(31), INT_MIN);
    EXPECT_EQ(MathUtils::Pow2(32), 0);
    EXPECT_EQ(MathUtils::Pow2(100), 0);
    EXPECT_EQ(MathUtils::Pow2(-1), 0);
    EXPECT_EQ(MathUtils::Pow2(int64_t{31}), int64_t{INT_MIN});  // the 32-bit accumulator, sign-extended
    EXPECT_EQ(MathUtils::Pow2(int64_t{32}), 0);
    EXPECT_EQ(MathUtils::Pow2(int64_t{12}), 4096);
    EXPECT_EQ(MathUtils::Pow2(int64_t{-3}), 0);
}

TEST(MathUtils, IntegerSqrtIsTheFloorOfTheRoot) {
    for (int n = 0; n < 20000; ++n) {
        const int r = MathUtils::Sqrt(n);
        ASSERT_TRUE(int64_t{r} * r <= n && int64_t{r + 1} * (r + 1) > n) << n;
    }
    EXPECT_EQ(MathUtils::Sqrt(INT_MAX), 46340);
    EXPECT_EQ(MathUtils::Sqrt(46340 * 46340), 46340);
    EXPECT_EQ(MathUtils::Sqrt(46340 * 46340 - 1), 46339);
    EXPECT_EQ(MathUtils::Sqrt(-4), 0);
}

TEST(MathUtils, ScalarErfMatchesTheQuotedFigures) {
    EXPECT_NEAR(MathUtils::Erf(-1.2f), -0.9103140, 9e-6);
    EXPECT_EQ(MathUtils::Erf(0.0f), 0.0f);
    EXPECT_NEAR(MathUtils::Erf(0.7f), 0.6778012, 9e-6);
    EXPECT_EQ(MathUtils::Erf(NAN), 0.0f);
    // The approximation's own error bound is 1.5e-7 plus float rounding.
    for (float x = -4; x <= 4; x += 0.01f)
        EXPECT_NEAR(MathUtils::Erf(x), std::erf(double(x)), 3e-7) << x;
}

TEST(MathUtils, ToFixedPointGivesLeftJustifiedSignedFractions) {
    const float pi = 3.1415927f;
    EXPECT_EQ(MathUtils::ToFixedPoint(pi, pi, 31), 0x7ffffffe);
    EXPECT_EQ(static_cast<uint32_t>(MathUtils::ToFixedPoint(-pi, pi, 31)), 0x80000002u);
    EXPECT_EQ(MathUtils::ToFixedPoint(10 * pi, pi, 31), 0x7ffffffe);  // clamped
    EXPECT_EQ(static_cast<uint32_t>(MathUtils::ToFixedPoint(-10 * pi, pi, 31)), 0x80000002u);
    EXPECT_EQ(MathUtils::ToFixedPoint(1.0f, 31), 0x7ffffffe);
    EXPECT_EQ(static_cast<uint32_t>(MathUtils::ToFixedPoint(-1.0f, 31)), 0x80000002u);
    EXPECT_EQ(MathUtils::ToFixedPoint(0.0f, 31), 0);
    // 16 bits: 32767 * 0.25 = 8191.75, rounded to 8192, shifted by 16.
    EXPECT_EQ(MathUtils::ToFixedPoint(0.25f, 16), 8192 << 16);
    EXPECT_EQ(static_cast<uint32_t>(MathUtils::ToFixedPoint(-0.25f, 16)), static_cast<uint32_t>(-8192) << 16);
    // The full 32-bit width: (2^31 - 1) formed in 64 bits, no shift.
    EXPECT_EQ(MathUtils::ToFixedPoint(1.0f, 32), INT_MAX);
    EXPECT_EQ(MathUtils::ToFixedPoint(-1.0f, 32), -INT_MAX);
    EXPECT_EQ(MathUtils::ToFixedPoint(0.5f, 0), 0);  // no such width
}

TEST(MathUtils, VectorToFixedPointHasNoClampAndWraps) {
    VecInt32 out;
    MathUtils::ToFixedPoint(out, R32({1, -1, 0, 0.5f, 2}), 31);
    ASSERT_EQ(out.GetSize(), 5);
    EXPECT_EQ(out[0], 0x7ffffffe);
    EXPECT_EQ(static_cast<uint32_t>(out[1]), 0x80000002u);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(out[3], 0x40000000);
    // 2 * (2^30 - 1) + 0.5 truncates to 2^31 - 2, which shifted by one wraps to -4.
    EXPECT_EQ(out[4], -4);
}

TEST(MathUtils, PolyvalTakesTheHighestPowerFirst) {
    float y = 0;
    MathUtils::Polyval(y, 3.0f, R32({1, 0, -2, 5}));  // x^3 - 2x + 5
    EXPECT_EQ(y, 26.0f);
    double yd = 0;
    MathUtils::Polyval(yd, -0.5, R64({7}));
    EXPECT_EQ(yd, 7.0);
    VecReal64 out;
    MathUtils::Polyval(out, R64({0, 1, 2}), R64({2, 0, 1}));  // 2x^2 + 1
    EXPECT_TRUE(NearAbs(D(out), {1, 3, 9}, 0));
}

// ============================================================ element-wise forms

TEST(MathUtils, InPlaceLog10OfZeroIsFiniteOutOfPlaceIsMinusInfinity) {
    VecReal32 v = R32({0, 1000, 1e-3f});
    MathUtils::Log10(v);
    // The guard is the float nearest 1e-40, so zero gives about -40.
    EXPECT_NEAR(v[0], -40.0, 1e-5);
    EXPECT_NEAR(v[1], 3.0, 1e-6);
    EXPECT_NEAR(v[2], -3.0, 1e-6);
    VecReal64 w = R64({0, 100});
    MathUtils::Log10(w);
    EXPECT_NEAR(w[0], std::log10(9.99994610111476e-41), 1e-12);
    EXPECT_EQ(w[1], 2.0);
    VecReal32 out;
    MathUtils::Log10(out, R32({0, 100}));
    EXPECT_TRUE(std::isinf(out[0]) && out[0] < 0);
    EXPECT_NEAR(out[1], 2.0, 1e-6);
    VecReal64 out64;
    MathUtils::Log10(out64, R64({0, -1}));
    EXPECT_TRUE(std::isinf(out64[0]) && out64[0] < 0);
    EXPECT_TRUE(std::isnan(out64[1]));
}

TEST(MathUtils, InPlaceGuardSurvivesOnlyForValuesOfItsOwnOrderInFloat) {
    // 1e-30 + 1e-40 rounds to 1e-30 in float: the guard is lost, as intended.
    VecReal32 v = R32({1e-30f, 1e-40f});
    MathUtils::Ln(v);
    EXPECT_NEAR(v[0], std::log(double(1e-30f)), 1e-5);
    // A denormal input keeps its guard: 1e-40 + 1e-40 (denormals are not flushed).
    EXPECT_NEAR(v[1], std::log(double(static_cast<float>(double(1e-40f) + 9.99994610111476e-41))), 1e-4);
    VecReal32 z = R32({0});
    MathUtils::Ln(z);
    EXPECT_NEAR(z[0], std::log(9.99994610111476e-41), 1e-4);
}

TEST(MathUtils, OutOfPlaceFormsResizeTheOutputAndMayAliasTheInput) {
    VecReal32 out(100);
    MathUtils::Sqrt(out, R32({4, 9}));
    EXPECT_EQ(out.GetSize(), 2);
    EXPECT_EQ(out.GetCapacity(), 100);
    EXPECT_TRUE(NearAbs(D(out), {2, 3}, 0));
    VecReal32 v = R32({0, 0.5f, -1});
    MathUtils::Exp(v, v);
    EXPECT_TRUE(NearAbs(D(v), {1, std::exp(0.5), std::exp(-1.0)}, 2e-7));
    const VecReal64 y = R64({1, -1, 2});
    VecReal64 a;
    MathUtils::Atan2(a, y, R64({1, 1, 0}));  // sized by y
    EXPECT_EQ(a.GetSize(), 3);
    EXPECT_NEAR(a[2], std::acos(0.0), 1e-15);
}

TEST(MathUtils, PowOfDoublesWidensTheFloatExponent) {
    VecReal64 out;
    MathUtils::Pow(out, R64({10, 2}), 0.1f);
    EXPECT_NEAR(out[0], std::pow(10.0, double(0.1f)), 2e-15);
    EXPECT_NE(out[0], std::pow(10.0, 0.1));  // 0.1f is not 0.1
    VecReal32 o32;
    MathUtils::Pow(o32, R32({-8, 4, 0}), 3.0f);
    EXPECT_TRUE(NearAbs(D(o32), {-512, 64, 0}, 1e-4));
}

TEST(MathUtils, Pow10UsesTheStandardLibrary) {
    VecReal32 v = R32({0, 1, -1, 0.5f});
    MathUtils::Pow10(v);
    EXPECT_TRUE(NearAbs(D(v), {1, 10, 0.1, std::sqrt(10.0)}, 1e-6));
    VecReal64 o;
    MathUtils::Pow10(o, R64({-300, 2.5}));
    EXPECT_EQ(o[0], std::pow(10.0, -300.0));
    EXPECT_EQ(o[1], std::pow(10.0, 2.5));
}

TEST(MathUtils, ComplexMagnitudeSquareAndRoot) {
    VecReal32 mag;
    MathUtils::Abs(mag, C32({{3, 4}, {-5, 12}, {0, 0}, {1e30f, 1e30f}, {1e-30f, 0}}));
    EXPECT_EQ(mag[0], 5.0f);
    EXPECT_EQ(mag[1], 13.0f);
    EXPECT_EQ(mag[2], 0.0f);
    // Worked in double: no overflow at 1e30 (the squares exceed the float range) and no underflow at 1e-30.
    EXPECT_NEAR(mag[3], std::sqrt(2.0) * double(1e30f), 1.2e-7 * 1.5e30);
    EXPECT_EQ(mag[4], 1e-30f);
    VecCplx32 sq;
    MathUtils::Sqr(sq, C32({{1, 2}, {3, -1}}));
    EXPECT_TRUE(NearAbs(DC(sq), {-3, 4, 8, -6}, 0));
    VecCplx64 root;
    MathUtils::Sqrt(root, C64({{-4, 0}, {3, 4}, {0, -2}, {-4, -0.0}, {0, 0}}));
    EXPECT_TRUE(NearAbs(DC(root), {0, 2, 2, 1, 1, -1, 0, -2, 0, 0}, 1e-15));
    // The square of the root gives the input back.
    VecCplx32 z = C32({{-1.5f, 0.25f}, {2, -7}, {-0.5f, -0.5f}}), r, back;
    MathUtils::Sqrt(r, z);
    MathUtils::Sqr(back, r);
    EXPECT_TRUE(NearAbs(DC(back), DC(z), 2e-6));
    for (int i = 0; i < r.GetSize(); ++i)
        EXPECT_GE(r[i].re, 0.0f);
}

TEST(MathUtils, FloorAndCeilWorkOnEveryPart) {
    VecReal32 f;
    MathUtils::Floor(f, R32({1.5f, -1.5f, 3, -0.0f}));
    EXPECT_TRUE(NearAbs(D(f), {1, -2, 3, 0}, 0));
    VecCplx32 c;
    MathUtils::Ceil(c, C32({{1.25f, -1.25f}, {-0.5f, 7}}));
    EXPECT_TRUE(NearAbs(DC(c), {2, -1, 0, 7}, 0));
    VecCplx64 fc;
    MathUtils::Floor(fc, C64({{1.25, -1.25}}));
    EXPECT_TRUE(NearAbs(DC(fc), {1, -2}, 0));
    VecReal64 c64;
    MathUtils::Ceil(c64, R64({2.000001, -2.9}));
    EXPECT_TRUE(NearAbs(D(c64), {3, -2}, 0));
    // A float beyond 2^24 is already integral and stays exactly as it is.
    MathUtils::Floor(f, R32({16777217.0f * 4}));
    EXPECT_EQ(f[0], 16777217.0f * 4);
}

TEST(MathUtils, ReversalAndConjugation) {
    VecReal32 v = R32({1, 2, 3, 4, 5});
    MathUtils::Flip(v);
    EXPECT_TRUE(NearAbs(D(v), {5, 4, 3, 2, 1}, 0));
    const VecCplx64 in = C64({{1, 2}, {3, 4}, {5, 6}});
    VecCplx64 out;
    MathUtils::ConjFlip(out, in);
    EXPECT_TRUE(NearAbs(DC(out), {5, -6, 3, -4, 1, -2}, 0));
    MathUtils::Flip(out, in);
    EXPECT_TRUE(NearAbs(DC(out), {5, 6, 3, 4, 1, 2}, 0));
    MathUtils::Conj(out, in);
    EXPECT_TRUE(NearAbs(DC(out), {1, -2, 3, -4, 5, -6}, 0));
    // Out-of-place reversal into the same object.
    VecCplx32 same = C32({{1, 1}, {2, 2}, {3, 3}, {4, 4}});
    MathUtils::ConjFlip(same, same);
    EXPECT_TRUE(NearAbs(DC(same), {4, -4, 3, -3, 2, -2, 1, -1}, 0));
}

TEST(MathUtils, InPlaceConjOfComplexDoublesResetsAWindow) {
    VecCplx64 v = C64({{1, 1}, {2, 2}, {3, 3}});
    v.ShiftLeft(1);  // window: elements 1 and 2
    MathUtils::Conj(v);
    // Resize(size) returned to the start of the block: elements 0 and 1 are conjugated.
    ASSERT_EQ(v.GetSize(), 2);
    EXPECT_TRUE(NearAbs(DC(v), {1, -1, 2, -2}, 0));
    v.Resize(3);
    EXPECT_EQ(v[2].im, 3.0);
    // The float form conjugates the window.
    VecCplx32 w = C32({{1, 1}, {2, 2}, {3, 3}});
    w.ShiftLeft(1);
    MathUtils::Conj(w);
    EXPECT_TRUE(NearAbs(DC(w), {2, -2, 3, -3}, 0));
}

TEST(MathUtils, SincUsesTheSeriesInsideItsLimit) {
    // eps 9e-6: the limit is (120 * 9e-6)^(1/4) = 0.1813.
    VecReal32 out;
    MathUtils::Sinc(out, R32({0, 0.1f, -0.18f, 0.19f, 2}), 9e-6f);
    const double x1 = 0.1f, x2 = -0.18f, x3 = 0.19f;
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_NEAR(out[1], 1 - x1 * x1 / 6, 1e-7);
    EXPECT_NEAR(out[2], 1 - x2 * x2 / 6, 1e-7);
    EXPECT_NEAR(out[3], std::sin(x3) / x3, 1e-7);
    EXPECT_NEAR(out[4], std::sin(2.0) / 2, 1e-7);
    // The series differs from sin(x)/x by x^4/120, so a large eps shows which one ran.
    VecReal64 big;
    MathUtils::Sinc(big, R64({1.0}), 1.0f);  // limit 120^(1/4) = 3.3
    EXPECT_EQ(big[0], 1 - 1.0 / 6);
    // eps 0: no series at all, and 0 gives 0/0.
    MathUtils::Sinc(big, R64({0.0, 1.0}), 0.0f);
    EXPECT_TRUE(std::isnan(big[0]));
    EXPECT_EQ(big[1], std::sin(1.0));
}

// ============================================================ composite forms

TEST(MathUtils, MulOfComplexByRealRunsOverInterleavedFloats) {
    VecCplx32 c = C32({{1, 2}, {3, 4}, {5, 6}});
    MathUtils::Mul(c, R32({2, 2, 3, 3}));  // r.size floats: the first two elements, each part by its factor
    EXPECT_TRUE(NearAbs(DC(c), {2, 4, 9, 12, 5, 6}, 0));
    VecCplx32 d = C32({{1, 2}, {3, 4}});
    MathUtils::Mul(d, R32({10, 100, 1000}));
    EXPECT_TRUE(NearAbs(DC(d), {10, 200, 3000, 4}, 0));
}

TEST(MathUtils, AveTakesAFreshBlock) {
    VecReal32 out(50);
    MathUtils::Ave(out, R32({1, 2, 3}), R32({3, 4, -3}));
    EXPECT_TRUE(NearAbs(D(out), {2, 3, 0}, 0));
    EXPECT_EQ(out.GetCapacity(), 3);
    VecReal64 o64;
    MathUtils::Ave(o64, R64({1}), R64({2}));
    EXPECT_EQ(o64[0], 1.5);
}

TEST(MathUtils, ConvertWidensBothParts) {
    VecCplx64 out;
    MathUtils::Convert(out, C32({{0.1f, -0.2f}}));
    EXPECT_EQ(out[0].re, double(0.1f));
    EXPECT_EQ(out[0].im, double(-0.2f));
}

TEST(MathUtils, ExpjGivesUnitPhasors) {
    const std::vector<double> ph = corvane_test::Uniform(257, 3, -20, 20);
    VecReal32 p32;
    VecReal64 p64;
    p64.Import(ph.data(), static_cast<int>(ph.size()));
    p32.Import(p64);
    VecCplx32 e32;
    VecCplx64 e64;
    MathUtils::Expj(e32, p32);
    MathUtils::Expj(e64, p64);
    std::vector<double> want32, want64;
    for (size_t i = 0; i < ph.size(); ++i) {
        want32.push_back(std::cos(double(p32[i])));
        want32.push_back(std::sin(double(p32[i])));
        want64.push_back(std::cos(ph[i]));
        want64.push_back(std::sin(ph[i]));
    }
    EXPECT_TRUE(NearAbs(DC(e32), want32, 1.2e-7));
    EXPECT_TRUE(NearAbs(DC(e64), want64, 2.3e-16));
    MathUtils::Expj(e64, VecReal64());
    EXPECT_EQ(e64.GetSize(), 0);
}

TEST(MathUtils, DiffIsOneShorter) {
    VecReal32 out;
    MathUtils::Diff(out, R32({1, 4, 9, 16}));
    EXPECT_TRUE(NearAbs(D(out), {3, 5, 7}, 0));
    VecReal64 o64;
    MathUtils::Diff(o64, R64({2}));
    EXPECT_EQ(o64.GetSize(), 0);
}

// ============================================================ copying parts

TEST(MathUtils, CopyFormsTakeTheirOwnArgumentOrders) {
    const VecReal32 src = R32({1, 2, 3, 4, 5});
    VecReal32 rest;
    MathUtils::Copy(rest, src, 2);
    EXPECT_TRUE(NearAbs(D(rest), {3, 4, 5}, 0));
    VecReal32 dst = R32({0, 0, 0, 0, 0, 0});
    MathUtils::Copy(dst, 2, 3, src, 1);  // (dst, dstStart, length, src, srcStart)
    EXPECT_TRUE(NearAbs(D(dst), {0, 0, 2, 3, 4, 0}, 0));
    VecCplx32 c = C32({{0, 0}, {0, 0}, {0, 0}});
    MathUtils::Copy(1, c, 2, 0, C32({{1, 1}, {2, 2}}));  // (dstStart, dst, length, srcStart, src)
    EXPECT_TRUE(NearAbs(DC(c), {0, 0, 1, 1, 2, 2}, 0));
    VecCplx64 part;
    MathUtils::Copy(part, 1, C64({{1, 1}, {2, 2}}), 1);  // (dst, length, src, srcStart)
    EXPECT_TRUE(NearAbs(DC(part), {2, 2}, 0));
    // Within one vector: a part moves over an overlapping part.
    VecReal64 same = R64({1, 2, 3, 4, 5});
    MathUtils::Copy(same, 1, 3, same, 0);
    EXPECT_TRUE(NearAbs(D(same), {1, 1, 2, 3, 5}, 0));
}

TEST(MathUtils, CopyOfIntegersAndMixedCopies) {
    VecInt32 di;
    MathUtils::Copy(di, 2, I32({7, -8, 9}), 1);
    ASSERT_EQ(di.GetSize(), 2);
    EXPECT_EQ(di[0], -8);
    EXPECT_EQ(di[1], 9);
    VecUInt32 u(2), du;
    u[0] = 0xffffffffu;
    u[1] = 5;
    MathUtils::Copy(du, 2, u, 0);
    EXPECT_EQ(du[0], 0xffffffffu);
    VecReal64 fromSigned, fromUnsigned;
    MathUtils::Copy(fromSigned, 3, I32({-1, INT_MIN, 4}), 0);
    MathUtils::Copy(fromUnsigned, 2, u, 0);
    EXPECT_TRUE(NearAbs(D(fromSigned), {-1, double(INT_MIN), 4}, 0));
    EXPECT_TRUE(NearAbs(D(fromUnsigned), {4294967295.0, 5}, 0));  // the top bit is not a sign
}

TEST(MathUtils, AppendOfTwoAndThreeGivesFive) {
    const VecCplx32 a = C32({{1, 1}, {2, 2}}), b = C32({{3, 3}, {4, 4}, {5, 5}});
    VecCplx32 out;
    MathUtils::Append(out, a, b);
    ASSERT_EQ(out.GetSize(), 5);
    EXPECT_TRUE(NearAbs(DC(out), {1, 1, 2, 2, 3, 3, 4, 4, 5, 5}, 0));
    VecReal32 part;
    MathUtils::Append(part, R32({1, 2, 3}), 2, 1, R32({4, 5, 6}), 0, 2);
    EXPECT_TRUE(NearAbs(D(part), {3, 4, 5}, 0));
}

TEST(MathUtils, InterleaveTakesItsLengthFromTheFirstVector) {
    VecReal64 out;
    MathUtils::Interleave(out, R64({1, 2}), R64({3, 4, 99}));
    EXPECT_TRUE(NearAbs(D(out), {1, 3, 2, 4}, 0));
    VecCplx64 c;
    MathUtils::Interleave(c, C64({{1, -1}}), C64({{2, -2}}));
    EXPECT_TRUE(NearAbs(DC(c), {1, -1, 2, -2}, 0));
}

TEST(MathUtils, DeleteElementRemovesListedPositions) {
    VecReal32 v = R32({1, 9, 2, 9, 5});
    MathUtils::DeleteElement(v, I32({1, 3}));
    EXPECT_TRUE(NearAbs(D(v), {1, 2, 5}, 0));
    EXPECT_EQ(v.GetCapacity(), 5);
    // An index out of range still shortens the vector by one.
    VecReal64 w = R64({1, 2, 3});
    MathUtils::DeleteElement(w, I32({7}));
    EXPECT_TRUE(NearAbs(D(w), {1, 2}, 0));
    VecReal64 none = R64({4, 5});
    MathUtils::DeleteElement(none, VecInt32());
    EXPECT_TRUE(NearAbs(D(none), {4, 5}, 0));
}

TEST(MathUtils, SetFillsEveryElement) {
    VecCplx32 c(3);
    MathUtils::Set(c, Cplx32{1, -2});
    EXPECT_TRUE(NearAbs(DC(c), {1, -2, 1, -2, 1, -2}, 0));
    VecInt16 s(2);
    MathUtils::Set(s, short{-3});
    EXPECT_EQ(s[1], -3);
    VecReal64 d(2);
    MathUtils::Set(d, 0.25);
    EXPECT_TRUE(NearAbs(D(d), {0.25, 0.25}, 0));
}

// ============================================================ matrices

TEST(MathUtilsMatrix, TrnsOfTwoByThreeIsThreeByTwo) {
    MatReal32 a, t;
    const float p[6] = {1, 2, 3, 4, 5, 6};
    a.Import(p, 2, 3);
    MathUtils::Trns(t, a);
    EXPECT_EQ(t.GetRows(), 3);
    EXPECT_EQ(t.GetCols(), 2);
    EXPECT_TRUE(NearAbs(DM(t), {1, 4, 2, 5, 3, 6}, 0));
}

TEST(MathUtilsMatrix, ProductSumsInDouble) {
    // A float running sum would lose the 1 next to 1e8 and give 0.
    MatReal32 a, b, out;
    const float pa[3] = {1e8f, 1, -1e8f}, pb[3] = {1, 1, 1};
    a.Import(pa, 1, 3);
    b.Import(pb, 3, 1);
    MathUtils::Mul(out, a, b);
    EXPECT_EQ(out[0][0], 1.0f);
    MatReal64 c, d, o;
    const double pc[4] = {1, 2, 3, 4}, pd[6] = {1, 0, 2, 0, 1, -1};
    c.Import(pc, 2, 2);
    d.Import(pd, 2, 3);
    MathUtils::Mul(o, c, d);
    EXPECT_TRUE(NearAbs(DM(o), {1, 2, 0, 3, 4, 2}, 0));
}

TEST(MathUtilsMatrix, MatrixVectorProductStridesByTheVectorLength) {
    MatReal64 m;
    const double p[6] = {1, 2, 3, 4, 5, 6};
    m.Import(p, 2, 3);
    VecReal64 out;
    MathUtils::Mul(out, m, R64({1, -1, 2}));
    EXPECT_TRUE(NearAbs(D(out), {5, 11}, 0));
    MatReal32 m32;
    const float p32[6] = {1, 2, 3, 4, 5, 6};
    m32.Import(p32, 3, 2);
    VecReal32 o32;
    MathUtils::Mul(o32, m32, R32({2, 1}));
    EXPECT_TRUE(NearAbs(D(o32), {4, 10, 16}, 0));
}

TEST(MathUtilsMatrix, EyeKeepsALargerCapacityAndGrowsTheRowTable) {
    MatReal32 m(4, 4);
    const float* block32 = m.Data();
    float** rows32 = &m[0];
    MathUtils::Eye(m, 3);
    EXPECT_EQ(m.GetCapacity(), 16);
    // Three rows fit the table of four: block and row table stay, the table is refilled for 3 columns.
    EXPECT_EQ(m.Data(), block32);
    EXPECT_EQ(&m[0], rows32);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(m[i], block32 + 3 * i);
    EXPECT_TRUE(NearAbs(DM(m), {1, 0, 0, 0, 1, 0, 0, 0, 1}, 0));
    // One row of 16: Eye(4) fits the block but needs a row table of four.
    MatReal64 wide(1, 16);
    const double* block = wide.Data();
    MathUtils::Eye(wide, 4);
    EXPECT_EQ(wide.Data(), block);
    EXPECT_EQ(wide.GetCapacity(), 16);
    EXPECT_EQ(wide.GetRows(), 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(wide[i], block + 4 * i);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            EXPECT_EQ(wide[i][j], i == j ? 1.0 : 0.0);
}

TEST(MathUtilsMatrix, SumRowAndSumColRunInFloat) {
    MatReal32 m;
    const float p[6] = {1, 2, 3, 4, 5, 6};
    m.Import(p, 2, 3);
    EXPECT_EQ(MathUtils::SumRow(m, 0), 6.0f);
    EXPECT_EQ(MathUtils::SumCol(m, 1), 7.0f);
    // The running total is a float: 1e8 + 1 + 1 stays 1e8.
    const float q[3] = {1e8f, 1, 1};
    m.Import(q, 1, 3);
    EXPECT_EQ(MathUtils::SumRow(m, 0), 1e8f);
}

TEST(MathUtilsMatrix, ProductWithTheInverseIsTheIdentity) {
    MatReal32 a, inv, prod, eye;
    const float p[9] = {2, -1, 0, 1, 3, 1, 0, 2, 4};
    a.Import(p, 3, 3);
    MathUtils::Inv(inv, a);
    MathUtils::Mul(prod, a, inv);
    MathUtils::Eye(eye, 3);
    EXPECT_TRUE(prod.IsEqual(eye, 9e-6f));
    MathUtils::Mul(prod, inv, a);
    EXPECT_TRUE(prod.IsEqual(eye, 9e-6f));
    // In place: out and in the same object.
    MathUtils::Inv(a, a);
    EXPECT_TRUE(NearAbs(DM(a), DM(inv), 0));
}

TEST(MathUtilsMatrix, InvOfAMatrixWithAZeroRowThrowsSingularMatrix) {
    MatReal64 m;
    const double p[9] = {1, 2, 3, 0, 0, 0, 4, 5, 7};
    m.Import(p, 3, 3);
    MatReal64 out;
    try {
        MathUtils::Inv(out, m);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorSingularMatrix);
        EXPECT_STREQ(e.message, "singular matrix");
    }
    MatReal32 z(2, 2);
    z.SetZero();
    MatReal32 zout;
    EXPECT_THROW(MathUtils::Inv(zout, z), VELAException);
    // Rank-deficient in a column too.
    const float q[4] = {1, 2, 2, 4};
    z.Import(q, 2, 2);
    EXPECT_THROW(MathUtils::Inv(zout, z), VELAException);
}

TEST(MathUtilsMatrix, InvOfAShapeWithoutASquareBlockThrowsInsteadOfReadingPastIt) {
    MatReal32 tall(3, 2);
    tall.SetZero();
    MatReal32 out;
    EXPECT_THROW(MathUtils::Inv(out, tall), VELAException);
    MatReal64 empty, eout;
    MathUtils::Inv(eout, empty);
    EXPECT_EQ(eout.GetSize(), 0);
}

TEST(MathUtilsMatrix, InvReportsAFailedPivotOrWorkAllocation) {
    // Shapes without a block: the inverse's own arrays are the first allocations that can fail.
    // 2^24 rows: the pivots (64 MB) are had, the work array of 64 n elements exceeds its allocator's limit.
    MatReal32 noWork;
    noWork.Resize(1 << 24, 0);
    MatReal32 out;
    try {
        MathUtils::Inv(out, noWork);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
    }
    // Rows beyond the 32-bit allocator's limit: the pivot array itself is refused.
    MatReal64 noPivots;
    noPivots.Resize(1073740824, 0);
    MatReal64 out64;
    try {
        MathUtils::Inv(out64, noPivots);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
        EXPECT_STREQ(e.message, "memory allocation error");
    }
}

// Random well-conditioned matrices (diagonally dominant) of sizes 1 to 64, inverted here and by numpy in
// one call; float and double inverses are compared with numpy's double inverse of the same values.
TEST(MathUtilsMatrix, InvAgreesWithNumpyForSizesOneToSixtyFour) {
    std::vector<double> all32, all64;
    std::vector<MatReal32> m32;
    std::vector<MatReal64> m64;
    for (int n = 1; n <= 64; ++n) {
        std::vector<double> v = corvane_test::Uniform(static_cast<size_t>(n) * n, 1000 + n);
        for (int i = 0; i < n; ++i)
            v[i * n + i] += n * (i % 2 ? 1.0 : -1.0);
        MatReal64 a64;
        a64.Import(v.data(), n, n);
        std::vector<float> f(v.begin(), v.end());
        MatReal32 a32;
        a32.Import(f.data(), n, n);
        m32.push_back(a32);
        m64.push_back(a64);
        all64.insert(all64.end(), v.begin(), v.end());
        all32.insert(all32.end(), f.begin(), f.end());
    }
    const std::string code =
        "def invs(a):\n"
        "    out, off = [], 0\n"
        "    for n in range(1, 65):\n"
        "        out.append(np.linalg.inv(a[off:off + n * n].reshape(n, n)).ravel())\n"
        "        off += n * n\n"
        "    return np.concatenate(out)\n"
        "out = np.concatenate([invs(a0), invs(a1)])\n";
    const std::vector<double> ref = corvane_test::PyEval(code, {all32, all64});
    ASSERT_EQ(ref.size(), all32.size() + all64.size());
    size_t off32 = 0, off64 = all32.size();
    for (int n = 1; n <= 64; ++n) {
        const size_t count = static_cast<size_t>(n) * n;
        MatReal32 inv32;
        MatReal64 inv64;
        MathUtils::Inv(inv32, m32[n - 1]);
        MathUtils::Inv(inv64, m64[n - 1]);
        const std::vector<double> want32(ref.begin() + off32, ref.begin() + off32 + count);
        const std::vector<double> want64(ref.begin() + off64, ref.begin() + off64 + count);
        EXPECT_TRUE(corvane_test::NearL2(DM(inv32), want32, 1e-6)) << "float, n = " << n;
        EXPECT_TRUE(corvane_test::NearL2(DM(inv64), want64, 5e-15)) << "double, n = " << n;
        off32 += count;
        off64 += count;
    }
}

TEST(MathUtils, SelfTestRecordsMatrixCasesUnderMatUtils) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    const bool result = MathUtils::UnitTest(recorder);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(result);
    EXPECT_GT(recorder.GetTotalTests(), 40);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
    EXPECT_NE(console.find("  SUCCESS  :MatUtils :Inv"), std::string::npos);
    EXPECT_NE(console.find("  SUCCESS  :MathUtils :DeleteElement"), std::string::npos);
    EXPECT_EQ(console.find(":MathUtils :Inv"), std::string::npos);
    EXPECT_EQ(console.find(":MatUtils :DeleteElement"), std::string::npos);
}

// The class-level operations give the same results whichever level is active (the kernels themselves
// are compared level by level in MathKernels_test.cpp).
TEST(MathUtils, ResultsHoldAtEveryInstructionSetLevel) {
    const kern::Variant before = kern::ActiveVariant();
    for (kern::Variant v :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512}) {
        if (!kern::SetVariant(v)) continue;
        VecReal32 out;
        MathUtils::Sin(out, R32({0, 0.5f, 100}));
        EXPECT_TRUE(NearAbs(D(out), {0, std::sin(double(0.5f)), std::sin(100.0)}, 6e-8))
            << kern::VariantName(v);
        VecReal64 o64;
        MathUtils::Erf(o64, R64({0.5, -3}));
        EXPECT_TRUE(NearAbs(D(o64), {std::erf(0.5), std::erf(-3.0)}, 2.3e-16)) << kern::VariantName(v);
        VecReal32 mag;
        MathUtils::Abs(mag, C32({{3, 4}}));
        EXPECT_EQ(mag[0], 5.0f) << kern::VariantName(v);
    }
    kern::SetVariant(before);
}
