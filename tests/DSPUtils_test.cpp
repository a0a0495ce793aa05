// DSPUtils: worked figures, edge behaviour and contracts (sizes, reuse of output storage). The
// cross-checks against numpy and scipy are in DSPUtilsOracle_test.cpp.
#include <corvane/dsp/DSPUtils.h>
#include <corvane/math/MathUtils.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;

namespace {

constexpr double kTol = 9e-6;

VecReal32 R32(std::initializer_list<float> v) {
    VecReal32 r(static_cast<int>(v.size()));
    int i = 0;
    for (float x : v)
        r[i++] = x;
    return r;
}
VecReal64 R64(std::initializer_list<double> v) {
    VecReal64 r(static_cast<int>(v.size()));
    int i = 0;
    for (double x : v)
        r[i++] = x;
    return r;
}
VecCplx32 C32(std::initializer_list<Cplx32> v) {
    VecCplx32 r(static_cast<int>(v.size()));
    int i = 0;
    for (Cplx32 x : v)
        r[i++] = x;
    return r;
}
std::vector<double> Vals(const VecReal32& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i)
        r.push_back(v[i]);
    return r;
}
std::vector<double> Vals(const VecReal64& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i)
        r.push_back(v[i]);
    return r;
}
std::vector<double> Vals(const VecCplx32& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i) {
        r.push_back(v[i].re);
        r.push_back(v[i].im);
    }
    return r;
}

::testing::AssertionResult Near(const std::vector<double>& a, const std::vector<double>& b,
                                double tol = kTol) {
    return corvane_test::NearAbs(a, b, tol);
}

// ------------------------------------------------------------------ Detect

const VecReal32 kDetectIn = R32({0, 2, 1, 0.1f, 0.2f, 0.3f});

TEST(DSPUtilsDetect, WorkedFiguresForEveryReducingType) {
    VecReal32 out;
    DSPUtils::Detect(out, kDetectIn, 3, DetectorAve);
    EXPECT_TRUE(Near(Vals(out), {1, 0.2}));
    DSPUtils::Detect(out, kDetectIn, 3, DetectorMax);
    EXPECT_TRUE(Near(Vals(out), {2, 0.3}));
    DSPUtils::Detect(out, kDetectIn, 3, DetectorMin);
    EXPECT_TRUE(Near(Vals(out), {0, 0.1}));
    DSPUtils::Detect(out, kDetectIn, 3, DetectorMaxMin);
    EXPECT_TRUE(Near(Vals(out), {2, 0, 0.3, 0.1}));
    DSPUtils::Detect(out, kDetectIn, 3, DetectorRms);
    EXPECT_TRUE(Near(Vals(out), {1.2909944, 0.2160247}));
    DSPUtils::Detect(out, kDetectIn, 3, DetectorSample);
    EXPECT_TRUE(Near(Vals(out), {0, 0.1}));
}

TEST(DSPUtilsDetect, CisprAverageAndPeakActAsMeanAndMaximum) {
    VecReal32 out;
    DSPUtils::Detect(out, kDetectIn, 3, DetectorCISPRAverage);
    EXPECT_TRUE(Near(Vals(out), {1, 0.2}));
    DSPUtils::Detect(out, kDetectIn, 3, DetectorCISPRPeak);
    EXPECT_TRUE(Near(Vals(out), {2, 0.3}));
}

TEST(DSPUtilsDetect, QuasiPeakAndUnknownValuesLeaveOutputUntouched) {
    // Any int is a value of the enumeration (its underlying type is fixed), so these casts are defined.
    static_assert(std::is_same_v<std::underlying_type_t<DetectorType>, int32_t>);
    for (int type : {6, 9, 42, -1, INT_MAX, INT_MIN}) {
        VecReal32 out = R32({7, 8, 9, 10, 11});
        const float* before = out.Data();
        DSPUtils::Detect(out, kDetectIn, 3, static_cast<DetectorType>(type));
        EXPECT_EQ(out.GetSize(), 5) << type;
        EXPECT_EQ(out.Data(), before);
        EXPECT_TRUE(Near(Vals(out), {7, 8, 9, 10, 11})) << type;
    }
}

TEST(DSPUtilsDetect, MoreSamplesAskedThanThereAreGivesEmptyOutputForEveryType) {
    for (int type = 0; type <= 9; ++type) {
        VecReal32 out = R32({1, 2, 3});
        DSPUtils::Detect(out, kDetectIn, 7, static_cast<DetectorType>(type));
        EXPECT_EQ(out.GetSize(), 0) << type;
        EXPECT_EQ(out.GetCapacity(), 3) << "the block is kept";
    }
}

TEST(DSPUtilsDetect, GroupOfOneCopiesWithoutReallocating) {
    for (int type = 0; type <= 9; ++type) {
        if (type == DetectorMaxMin) continue;
        VecReal32 out(100);
        const float* block = out.Data();
        DSPUtils::Detect(out, kDetectIn, 1, static_cast<DetectorType>(type));
        EXPECT_EQ(out.Data(), block) << "type " << type;
        EXPECT_EQ(out.GetCapacity(), 100);
        EXPECT_TRUE(Near(Vals(out), Vals(kDetectIn))) << "type " << type;
    }
}

TEST(DSPUtilsDetect, GroupOfOneWithMaxMinGivesEachSampleTwice) {
    VecReal32 out;
    DSPUtils::Detect(out, R32({1, -2, 3}), 1, DetectorMaxMin);
    EXPECT_TRUE(Near(Vals(out), {1, 1, -2, -2, 3, 3}));
}

TEST(DSPUtilsDetect, TrailingPartialGroupIsDroppedAlsoBySample) {
    const VecReal32 in = R32({5, 1, 4, 2, 9});
    VecReal32 out;
    for (int type : {DetectorAve, DetectorMax, DetectorMin, DetectorRms, DetectorSample}) {
        DSPUtils::Detect(out, in, 2, static_cast<DetectorType>(type));
        EXPECT_EQ(out.GetSize(), 2) << type;
    }
    DSPUtils::Detect(out, in, 2, DetectorSample);
    EXPECT_TRUE(Near(Vals(out), {5, 4}));
    DSPUtils::Detect(out, in, 2, DetectorMaxMin);
    EXPECT_TRUE(Near(Vals(out), {5, 1, 4, 2}));
}

TEST(DSPUtilsDetect, GroupSizeZeroIsIgnored) {
    VecReal32 out = R32({1});
    DSPUtils::Detect(out, kDetectIn, 0, DetectorAve);
    EXPECT_EQ(out.GetSize(), 1);
}

TEST(DSPUtilsDetect, SteadyCallsDoNotAllocate) {
    VecReal32 in(4096), out;
    for (int i = 0; i < 4096; ++i)
        in[i] = static_cast<float>(i % 17);
    DSPUtils::Detect(out, in, 8, DetectorMaxMin);
    const float* block = out.Data();
    for (int type = 0; type <= 8; ++type) {
        DSPUtils::Detect(out, in, 8, static_cast<DetectorType>(type));
        EXPECT_EQ(out.Data(), block);
    }
}

// ------------------------------------------------------------------ sampling and generation

TEST(DSPUtilsSampling, UpsampleAndDownsampleWorkedFigures) {
    const VecReal32 in = R32({1, 2, 3, 4, 5});
    VecReal32 up, down;
    DSPUtils::Upsample(up, in, 2, 1);
    EXPECT_TRUE(Near(Vals(up), {0, 1, 0, 2, 0, 3, 0, 4, 0, 5}));
    DSPUtils::Downsample(down, up, 2, 1);
    EXPECT_TRUE(Near(Vals(down), {1, 2, 3, 4, 5}));
    DSPUtils::Downsample(down, in, 2, 1);
    EXPECT_TRUE(Near(Vals(down), {2, 4}));
    DSPUtils::Downsample(down, in, 2);
    EXPECT_TRUE(Near(Vals(down), {1, 3, 5}));
}

TEST(DSPUtilsSampling, OtherElementTypes) {
    VecReal64 d;
    DSPUtils::Downsample(d, R64({1, 2, 3, 4, 5, 6, 7}), 3, 2);
    EXPECT_TRUE(Near(Vals(d), {3, 6}));
    DSPUtils::Upsample(d, R64({1, 2}), 3, 0);
    EXPECT_TRUE(Near(Vals(d), {1, 0, 0, 2, 0, 0}));
    VecCplx32 c;
    DSPUtils::Upsample(c, C32({{1, 2}, {3, 4}}), 2, 1);
    EXPECT_TRUE(Near(Vals(c), {0, 0, 1, 2, 0, 0, 3, 4}));
    VecCplx32 cd;
    DSPUtils::Downsample(cd, c, 2, 1);
    EXPECT_TRUE(Near(Vals(cd), {1, 2, 3, 4}));
    VecCplx64 c64(3), d64;
    for (int i = 0; i < 3; ++i)
        c64[i] = {double(i), -double(i)};
    DSPUtils::Downsample(d64, c64, 2);
    ASSERT_EQ(d64.GetSize(), 2);
    EXPECT_EQ(d64[1].re, 2);
    EXPECT_EQ(d64[1].im, -2);
}

TEST(DSPUtilsSampling, RefusedFactorOrPhaseGivesEmptyOutput) {
    VecReal32 out = R32({1, 2});
    DSPUtils::Downsample(out, R32({1, 2, 3}), 0);
    EXPECT_EQ(out.GetSize(), 0);
    DSPUtils::Upsample(out, R32({1, 2, 3}), 2, 2);
    EXPECT_EQ(out.GetSize(), 0);
    DSPUtils::Downsample(out, R32({1, 2, 3}), 2, -1);
    EXPECT_EQ(out.GetSize(), 0);
    DSPUtils::Duplicate(out, R32({1, 2, 3}), 0);
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(DSPUtilsSampling, OutputLengthBeyondIntIsRefusedBeforeWriting) {
    // 3 * 2^30 elements cannot be a vector length: a defined error, and the output left alone.
    using corvane_test::ThrowsInvalidInput;
    const int factor = 1 << 30;
    VecReal32 r = R32({1, 2, 3}), ro = R32({7});
    EXPECT_TRUE(ThrowsInvalidInput([&] { DSPUtils::Upsample(ro, r, factor, 0); }));
    EXPECT_TRUE(ThrowsInvalidInput([&] { DSPUtils::Duplicate(ro, r, factor); }));
    ASSERT_EQ(ro.GetSize(), 1);
    EXPECT_EQ(ro[0], 7.0f);
    VecReal64 d = R64({1, 2, 3}), dout;
    EXPECT_TRUE(ThrowsInvalidInput([&] { DSPUtils::Upsample(dout, d, factor, 1); }));
    EXPECT_TRUE(ThrowsInvalidInput([&] { DSPUtils::Duplicate(dout, d, factor); }));
    VecCplx32 c = C32({{1, 2}, {3, 4}, {5, 6}}), cout;
    EXPECT_TRUE(ThrowsInvalidInput([&] { DSPUtils::Upsample(cout, c, factor, 0); }));
    EXPECT_TRUE(ThrowsInvalidInput([&] { DSPUtils::Duplicate(cout, c, factor); }));
    VecCplx64 z(3), zout;
    z.SetZero();
    EXPECT_TRUE(ThrowsInvalidInput([&] { DSPUtils::Upsample(zout, z, factor, 0); }));
    EXPECT_TRUE(ThrowsInvalidInput([&] { DSPUtils::Duplicate(zout, z, factor); }));
    EXPECT_EQ(zout.GetSize(), 0);
}

TEST(DSPUtilsSampling, DownsampleByAHugeFactorKeepsTheFirstSample) {
    // The output count (factor - phase + n - 1) / factor is formed without overflow.
    VecReal32 out;
    DSPUtils::Downsample(out, R32({4, 5, 6, 7, 8}), INT_MAX, 0);
    ASSERT_EQ(out.GetSize(), 1);
    EXPECT_EQ(out[0], 4.0f);
    DSPUtils::Downsample(out, R32({4, 5, 6, 7, 8}), INT_MAX, 3);
    ASSERT_EQ(out.GetSize(), 1);
    EXPECT_EQ(out[0], 7.0f);
    DSPUtils::Downsample(out, R32({4, 5, 6, 7, 8}), INT_MAX, INT_MAX - 1);
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(DSPUtilsSampling, UpsampleOf64BitComplexWalksMemoryAs32BitComplex) {
    // The 64-bit form runs the 32-bit complex routine over the same bytes: in.size 8-byte elements read,
    // in.size * factor 8-byte elements written (zeros between), the rest of out left as it was.
    VecCplx64 in(2);
    in[0] = {1.0, 2.0};
    in[1] = {3.0, 4.0};
    VecCplx64 out(4);
    for (int i = 0; i < 4; ++i)
        out[i] = {-5.0, -6.0};
    DSPUtils::Upsample(out, in, 2, 1);
    ASSERT_EQ(out.GetSize(), 4);
    // Expected bytes: 8-byte units u0 = zeros, u1 = in unit 0, u2 = zeros, u3 = in unit 1.
    unsigned char expected[32] = {};
    std::memcpy(expected + 8, reinterpret_cast<const unsigned char*>(in.Data()), 8);
    std::memcpy(expected + 24, reinterpret_cast<const unsigned char*>(in.Data()) + 8, 8);
    EXPECT_EQ(std::memcmp(out.Data(), expected, 32), 0);
    // Bytes of (1.0) in the second half of out[0]: out[0] = (0, 1.0); out[1] = (0, 2.0).
    EXPECT_EQ(out[0].re, 0.0);
    EXPECT_EQ(out[0].im, 1.0);
    EXPECT_EQ(out[1].re, 0.0);
    EXPECT_EQ(out[1].im, 2.0);
    // The second half of the output was not written.
    EXPECT_EQ(out[2].re, -5.0);
    EXPECT_EQ(out[3].im, -6.0);
}

TEST(DSPUtilsSampling, DuplicateRepeatsEachElement) {
    VecReal32 out;
    DSPUtils::Duplicate(out, R32({1, 2}), 3);
    EXPECT_TRUE(Near(Vals(out), {1, 1, 1, 2, 2, 2}));
    VecCplx64 c(1), co;
    c[0] = {1, -1};
    DSPUtils::Duplicate(co, c, 2);
    ASSERT_EQ(co.GetSize(), 2);
    EXPECT_EQ(co[1].im, -1);
}

TEST(DSPUtilsSampling, RampAndCumSum) {
    VecReal32 r;
    DSPUtils::Ramp(r, 4, 1.5f, -0.5f);
    EXPECT_TRUE(Near(Vals(r), {1.5, 1, 0.5, 0}));
    VecReal64 r64;
    DSPUtils::Ramp(r64, 3, 0.0, 0.1);
    EXPECT_TRUE(Near(Vals(r64), {0, 0.1, 0.2}, 1e-15));
    VecReal32 cs;
    DSPUtils::CumSum(cs, R32({1, 2, 3, 4}));
    EXPECT_TRUE(Near(Vals(cs), {1, 3, 6, 10}));
    // Rounded to float at every step: 1e8 + 1 + 1 stays 1e8 in float.
    DSPUtils::CumSum(cs, R32({1e8f, 1, 1}));
    EXPECT_EQ(cs[2], 1e8f);
    VecReal64 cs64;
    DSPUtils::CumSum(cs64, R64({1e8, 1, 1}));
    EXPECT_EQ(cs64[2], 1e8 + 2);
}

TEST(DSPUtilsSampling, RandStaysInRangeAndRepeatsFromTheSameSeed) {
    VecReal32 a, b;
    unsigned int s1 = 12345, s2 = 12345;
    DSPUtils::Rand(a, s1, 5, 0.0f, 1.0f);
    DSPUtils::Rand(b, s2, 5, 0.0f, 1.0f);
    ASSERT_EQ(a.GetSize(), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_GE(a[i], 0.0f);
        EXPECT_LT(a[i], 1.0f);
    }
    EXPECT_TRUE(a.IsEqual(b, 1e-30f));
    EXPECT_EQ(s1, s2);
    EXPECT_NE(s1, 12345u) << "the seed state advances";
    // Continuing from the advanced seed gives new values.
    DSPUtils::Rand(b, s2, 5, 0.0f, 1.0f);
    EXPECT_FALSE(a.IsEqual(b, 1e-30f));
}

TEST(DSPUtilsSampling, RandWithoutSeedRepeatsPerVectorObject) {
    VecReal32 a, b, c;
    DSPUtils::Rand(a, 1000, -2.0f, 3.0f);
    DSPUtils::Rand(b, 1000, -2.0f, 3.0f);
    const VecReal32 first = a;
    DSPUtils::Rand(a, 1000, -2.0f, 3.0f);
    EXPECT_TRUE(a.IsEqual(first, 1e-30f)) << "same object, same sequence";
    EXPECT_FALSE(b.IsEqual(first, 1e-30f)) << "another object, another seed";
    double mean = 0;
    for (int i = 0; i < 1000; ++i) {
        EXPECT_GE(a[i], -2.0f);
        EXPECT_LT(a[i], 3.0f);
        mean += a[i];
    }
    EXPECT_NEAR(mean / 1000, 0.5, 0.15);  // uniform on [-2, 3): mean 0.5, sd of the mean 0.046
}

// ------------------------------------------------------------------ magnitude, phase, form

TEST(DSPUtilsForm, NormAndPeakToAve) {
    const VecReal32 ramp = R32({1, 2, 3, 4, 5});
    EXPECT_NEAR(DSPUtils::PeakToAve(ramp), 5.0 / 3.0, kTol);
    EXPECT_NEAR(DSPUtils::Norm(ramp), 7.4161978, kTol);
    EXPECT_NEAR(DSPUtils::Norm(ramp), std::sqrt(55.0), 1e-6);
    const VecCplx32 c = C32({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}});
    EXPECT_NEAR(DSPUtils::Norm(c), 7.7459660, kTol);
    VecCplx64 c64(2);
    c64[0] = {3, 0};
    c64[1] = {0, 4};
    EXPECT_DOUBLE_EQ(DSPUtils::Norm(c64), 5.0);
}

TEST(DSPUtilsForm, MagnitudePowerPhaseAndPolarForms) {
    const VecCplx32 c = C32({{3, 4}, {0, -2}, {-1, 0}});
    VecReal32 m, p, q;
    DSPUtils::Mag(m, c);
    EXPECT_TRUE(Near(Vals(m), {5, 2, 1}));
    DSPUtils::MagSqr(m, c);
    EXPECT_TRUE(Near(Vals(m), {25, 4, 1}));
    DSPUtils::Phase(p, c);
    EXPECT_TRUE(Near(Vals(p), {std::atan2(4.0, 3.0), -M_PI / 2, M_PI}));
    DSPUtils::CartToPolar(m, p, c);
    EXPECT_TRUE(Near(Vals(m), {5, 2, 1}));
    VecCplx32 back;
    DSPUtils::PolarToCart(back, m, p);
    EXPECT_TRUE(Near(Vals(back), Vals(c), 2e-6));
    DSPUtils::Mag(q, R32({3, 5}), R32({4, 12}));
    EXPECT_TRUE(Near(Vals(q), {5, 13}));
    VecCplx64 c64(1);
    c64[0] = {-3, 4};
    VecReal64 m64;
    DSPUtils::Mag(m64, c64);
    EXPECT_DOUBLE_EQ(m64[0], 5);
    DSPUtils::MagSqr(m64, c64);
    EXPECT_DOUBLE_EQ(m64[0], 25);
    DSPUtils::Phase(m64, c64);
    EXPECT_DOUBLE_EQ(m64[0], std::atan2(4.0, -3.0));
}

TEST(DSPUtilsForm, MagdBIsTenLog10OfPowerWithFiniteFloorAtZero) {
    VecReal32 db;
    DSPUtils::MagdB(db, C32({{3, 4}, {0, 0}, {1e-3f, 0}}));
    EXPECT_NEAR(db[0], 10 * std::log10(25.0), 1e-5);
    // The guarded logarithm gives log10(1e-40) = -40 at zero, so -400 dB.
    EXPECT_NEAR(db[1], -400.0, 0.01);
    EXPECT_NEAR(db[2], -60.0, 1e-4);
    VecCplx64 c(2);
    c[0] = {0, 0};
    c[1] = {0, 10};
    VecReal64 db64;
    DSPUtils::MagdB(db64, c);
    EXPECT_NEAR(db64[0], -400.0, 0.01);
    EXPECT_NEAR(db64[1], 20.0, 1e-12);
}

TEST(DSPUtilsForm, RotatePhaseByAQuarterTurnAndBackRestores) {
    VecCplx32 x = C32({{1, 0}, {0.5f, -2}, {3, 3}});
    const VecCplx32 start = x;
    DSPUtils::RotatePhase(x, 0.7853982f);
    EXPECT_NEAR(x[0].re, std::sqrt(0.5), 1e-6);
    EXPECT_NEAR(x[0].im, std::sqrt(0.5), 1e-6);
    DSPUtils::RotatePhase(x, 5.4977875f);
    EXPECT_TRUE(Near(Vals(x), Vals(start)));
}

TEST(DSPUtilsForm, FFTShiftWorkedFigureAndOddLengths) {
    VecReal32 out;
    DSPUtils::FFTShift(out, R32({0, 1, 2, 3, 4, 5}));
    EXPECT_TRUE(Near(Vals(out), {3, 4, 5, 0, 1, 2}));
    // Odd: the first h = n/2 + 1 elements, the larger part, go to the back.
    DSPUtils::FFTShift(out, R32({0, 1, 2, 3, 4}));
    EXPECT_TRUE(Near(Vals(out), {3, 4, 0, 1, 2}));
    VecReal64 o64;
    DSPUtils::FFTShift(o64, R64({7}));
    EXPECT_TRUE(Near(Vals(o64), {7}));
    DSPUtils::FFTShift(o64, VecReal64());
    EXPECT_EQ(o64.GetSize(), 0);
    VecInt32 i32(3), oi;
    for (int i = 0; i < 3; ++i)
        i32[i] = 10 + i;
    DSPUtils::FFTShift(oi, i32);
    ASSERT_EQ(oi.GetSize(), 3);
    EXPECT_EQ(oi[0], 12);
    EXPECT_EQ(oi[1], 10);
    EXPECT_EQ(oi[2], 11);
}

TEST(DSPUtilsForm, MaxTakesSecondOperandOnTiesAndNaN) {
    VecReal32 out;
    DSPUtils::Max(out, R32({1, 5, NAN, 2}), R32({3, 4, 6, 2}));
    EXPECT_TRUE(Near(Vals(out), {3, 5, 6, 2}));
    VecReal64 o64;
    DSPUtils::Max(o64, R64({1, 2}), R64({NAN, 0}));
    EXPECT_TRUE(std::isnan(o64[0]));
    EXPECT_EQ(o64[1], 2);
}

// ------------------------------------------------------------------ frequency and correlation

TEST(DSPUtilsFreq, ShiftFreqWorkedFigure) {
    const VecCplx32 in = C32({{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}});
    VecCplx32 out;
    DSPUtils::ShiftFreq(out, in, 0.25f, 3.1415927f);
    EXPECT_TRUE(Near(Vals(out), {0, 0, 1, -1, 2, 2, -3, 3, -4, -4}));
}

TEST(DSPUtilsFreq, InPlaceShiftUpAndDownAreConjugateTones) {
    VecCplx32 ones(64), up, down;
    for (int i = 0; i < 64; ++i)
        ones[i] = {1, 0};
    up = ones;
    down = ones;
    DSPUtils::ShiftFreq(up, 0.1f, 0.5f, true);
    DSPUtils::ShiftFreq(down, 0.1f, 0.5f, false);
    for (int i = 0; i < 64; ++i) {
        const double a = 2 * M_PI * 0.1f * i + 0.5f;
        EXPECT_NEAR(up[i].re, std::cos(a), 1e-6);
        EXPECT_NEAR(up[i].im, std::sin(a), 1e-6);
        EXPECT_NEAR(down[i].re, std::cos(a), 1e-6);
        EXPECT_NEAR(down[i].im, -std::sin(a), 1e-6);
    }
    // The out-of-place form gives the same as the in-place one going up.
    VecCplx32 op;
    DSPUtils::ShiftFreq(op, ones, 0.1f, 0.5f);
    EXPECT_TRUE(Near(Vals(op), Vals(up), 0));
}

TEST(DSPUtilsFreq, FrequencyOutsideZeroToOneIsTakenModuloOne) {
    VecCplx32 ones(40), a, b;
    for (int i = 0; i < 40; ++i)
        ones[i] = {1, 0};
    DSPUtils::ShiftFreq(a, ones, -0.25f, 0.0f);
    DSPUtils::ShiftFreq(b, ones, 0.75f, 0.0f);
    EXPECT_TRUE(Near(Vals(a), Vals(b), 1e-6));
    EXPECT_NEAR(a[1].im, -1.0, 1e-6);
    DSPUtils::ShiftFreq(a, ones, 1.0f, 0.0f);
    for (int i = 0; i < 40; ++i)
        EXPECT_NEAR(a[i].re, 1.0, 1e-6);
}

TEST(DSPUtilsCorr, RealWorkedFiguresInBothOrders) {
    VecReal32 out;
    DSPUtils::CrossCorr(out, R32({1, 2, 3}), R32({2, 3}));
    EXPECT_TRUE(Near(Vals(out), {0, 3, 8, 13, 6}));
    DSPUtils::CrossCorr(out, R32({2, 3}), R32({1, 2, 3}));
    EXPECT_TRUE(Near(Vals(out), {6, 13, 8, 3, 0}));
}

TEST(DSPUtilsCorr, ComplexWorkedFigureAndTheOtherOrder) {
    const VecCplx32 a = C32({{2, 3}, {1, 1}}), b = C32({{1, 1}, {2, 2}, {3, 3}});
    VecCplx32 out;
    DSPUtils::CrossCorr(out, a, b);
    EXPECT_TRUE(Near(Vals(out), {15, 3, 16, 2, 9, 1, 2, 0, 0, 0}));
    // Exchanged: out[k] = sum conj(a[i]) b[i + k - 2], the conjugate reversal of the above, padded.
    DSPUtils::CrossCorr(out, b, a);
    EXPECT_TRUE(Near(Vals(out), {0, 0, 2, 0, 9, -1, 16, -2, 15, -3}));
}

TEST(DSPUtilsCorr, EmptyInputsGiveEmptyOutput) {
    VecReal32 out = R32({1});
    DSPUtils::CrossCorr(out, VecReal32(), VecReal32());
    EXPECT_EQ(out.GetSize(), 0);
    DSPUtils::CrossCorr(out, R32({2}), VecReal32());
    EXPECT_TRUE(Near(Vals(out), {0}));
}

TEST(DSPUtilsCorr, CrossCorr2TakesLagsFromZeroAndKeepsOutputSize) {
    const VecCplx32 a = C32({{1, 0}, {2, 0}, {3, 1}}), b = C32({{0, 1}, {1, 0}});
    VecCplx32 out(3);
    DSPUtils::CrossCorr2(out, a, b);
    ASSERT_EQ(out.GetSize(), 3);
    // out[k] = conj(b0) a[k] + conj(b1) a[k + 1], conj(b0) = -i.
    // k=0: -i*1 + 2 = (2, -1); k=1: -i*2 + (3+i) = (3, -1); k=2: -i*(3+i) = (1, -3).
    EXPECT_TRUE(Near(Vals(out), {2, -1, 3, -1, 1, -3}));
}

TEST(DSPUtilsConv, SmallWorkedFigureAndEmptyOperand) {
    VecReal32 out;
    DSPUtils::Conv(out, R32({1, 2, 3}), R32({0, 1, 0.5f}));
    EXPECT_TRUE(Near(Vals(out), {0, 1, 2.5, 4, 1.5}));
    VecReal64 o64;
    DSPUtils::Conv(o64, R64({1, -1}), R64({2}));
    EXPECT_TRUE(Near(Vals(o64), {2, -2}));
    DSPUtils::Conv(out, VecReal32(), R32({1, 2}));
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(DSPUtilsConv, SteadyFFTConvolutionDoesNotGrowOutput) {
    VecReal32 a(5000), b(700), out;
    for (int i = 0; i < 5000; ++i)
        a[i] = std::sin(0.01f * i);
    for (int i = 0; i < 700; ++i)
        b[i] = 1.0f / 700;
    DSPUtils::Conv(out, a, b);
    const float* block = out.Data();
    DSPUtils::Conv(out, a, b);
    EXPECT_EQ(out.Data(), block);
    ASSERT_EQ(out.GetSize(), 5699);
    // A moving average of a slow sine, in the middle, is close to the sine delayed by half the window.
    EXPECT_NEAR(out[3000], std::sin(0.01 * (3000 - 349.5)) * std::sin(3.5) / (700 * std::sin(0.005)), 1e-4);
}

// ------------------------------------------------------------------ FIR design

TEST(DSPUtilsFir, WorkedCentreTaps) {
    VecReal32 h;
    ASSERT_TRUE(DSPUtils::LowPass(h, 0.4f, 81));
    ASSERT_EQ(h.GetSize(), 81);
    EXPECT_NEAR(h[40], 0.80016387, 1e-6);
    ASSERT_TRUE(DSPUtils::HighPass(h, 0.4f, 81));
    EXPECT_NEAR(h[40], 0.20035495, 1e-6);
    ASSERT_TRUE(DSPUtils::BandPass(h, 0.2f, 0.3f, 81));
    EXPECT_NEAR(h[40], 0.20048667, 1e-6);
    VecReal64 h64;
    ASSERT_TRUE(DSPUtils::LowPass(h64, 0.4, 81));
    EXPECT_NEAR(h64[40], 0.80016387, 1e-6);
}

TEST(DSPUtilsFir, UnitGainWhereTheBandIsAndSymmetry) {
    VecReal64 h;
    ASSERT_TRUE(DSPUtils::LowPass(h, 0.1, 31));
    double s = 0;
    for (int i = 0; i < 31; ++i)
        s += h[i];
    EXPECT_NEAR(s, 1.0, 1e-12);
    for (int i = 0; i < 31; ++i)
        EXPECT_NEAR(h[i], h[30 - i], 1e-15);
    ASSERT_TRUE(DSPUtils::HighPass(h, 0.1, 31));
    s = 0;
    for (int i = 0; i < 31; ++i)
        s += (i % 2 ? -1 : 1) * h[i];
    EXPECT_NEAR(std::fabs(s), 1.0, 1e-12);
    ASSERT_TRUE(DSPUtils::BandPass(h, 0.1, 0.3, 31));
    double re = 0, im = 0;
    for (int i = 0; i < 31; ++i) {
        re += h[i] * std::cos(2 * M_PI * 0.2 * i);
        im -= h[i] * std::sin(2 * M_PI * 0.2 * i);
    }
    EXPECT_NEAR(std::hypot(re, im), 1.0, 1e-12);
}

TEST(DSPUtilsFir, RejectedDesignsReturnFalseWithZeroTaps) {
    VecReal32 h = R32({9, 9});
    EXPECT_FALSE(DSPUtils::LowPass(h, 0.2f, 4));
    EXPECT_EQ(h.GetSize(), 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(h[i], 0.0f);
    EXPECT_FALSE(DSPUtils::LowPass(h, 0.5f, 21));
    EXPECT_FALSE(DSPUtils::LowPass(h, 0.0f, 21));
    EXPECT_FALSE(DSPUtils::HighPass(h, 0.2f, 20)) << "even high-pass";
    EXPECT_FALSE(DSPUtils::BandPass(h, 0.3f, 0.2f, 21));
    EXPECT_FALSE(DSPUtils::BandPass(h, 0.1f, 0.6f, 21));
    VecReal64 h64;
    EXPECT_FALSE(DSPUtils::HighPass(h64, -0.1, 21));
    EXPECT_EQ(h64.GetSize(), 21);
    EXPECT_FALSE(DSPUtils::LowPass(h64, 0.1, -3));
    EXPECT_EQ(h64.GetSize(), 0);
    EXPECT_TRUE(DSPUtils::LowPass(h64, 0.1, 5));
    EXPECT_TRUE(DSPUtils::LowPass(h64, 0.1, 6)) << "even low-pass is fine";
}

// ------------------------------------------------------------------ analysis

TEST(DSPUtilsAnalysis, UnwrapWorkedFigureInBothForms) {
    const VecReal32 in = R32({-2, -1.8f, 1.7f, 1.9f, 2.2f});
    const std::vector<double> expected = {-2, -1.8, -4.583185, -4.3831854, -4.083185};
    VecReal32 out;
    DSPUtils::Unwrap(out, in, 6.2831855f);
    EXPECT_TRUE(Near(Vals(out), expected));
    VecReal32 x = in;
    DSPUtils::Unwrap(x, 1, -1.8f, 6.2831855f);
    EXPECT_TRUE(Near(Vals(x), expected));
    VecReal64 o64, x64 = R64({-2, -1.8, 1.7, 1.9, 2.2});
    DSPUtils::Unwrap(o64, x64, 6.2831855);
    EXPECT_TRUE(Near(Vals(o64), expected));
    DSPUtils::Unwrap(x64, 1, -1.8, 6.2831855);
    EXPECT_TRUE(Near(Vals(x64), expected));
}

TEST(DSPUtilsAnalysis, UnwrapFormsDifferOnJumpsOfSeveralPeriods) {
    // A jump of 2.2 periods: the first form removes one period per step, the second as many as needed.
    const VecReal64 in = R64({0, 0.1, 0.2 + 2 * 6.0, 0.3 + 2 * 6.0});
    VecReal64 out, x = in;
    DSPUtils::Unwrap(out, in, 6.0);
    EXPECT_TRUE(Near(Vals(out), {0, 0.1, 6.2, 6.3}, 1e-12));
    DSPUtils::Unwrap(x, 0, 0.0, 6.0);
    EXPECT_TRUE(Near(Vals(x), {0, 0.1, 0.2, 0.3}, 1e-12));
}

TEST(DSPUtilsAnalysis, UnwrapInPlaceWorksBackwardFromTheReference) {
    VecReal64 x = R64({5.9, 0.1, 0.3, 6.1});
    DSPUtils::Unwrap(x, 2, 0.2, 2 * M_PI);
    EXPECT_TRUE(Near(Vals(x), {5.9 - 2 * M_PI, 0.1, 0.3, 6.1 - 2 * M_PI}, 1e-12));
    VecReal32 y = R32({1, 2});
    DSPUtils::Unwrap(y, 5, 0.0f, 1.0f);  // a reference outside the vector changes nothing
    EXPECT_TRUE(Near(Vals(y), {1, 2}));
    VecReal32 out;
    DSPUtils::Unwrap(out, VecReal32(), 1.0f);
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(DSPUtilsAnalysis, UnwrapSurvivesHugeAndNonFiniteSteps) {
    VecReal32 x = R32({0, 1e30f, NAN, 0.5f});
    DSPUtils::Unwrap(x, 0, 0.0f, 6.2831855f);  // must return
    EXPECT_TRUE(std::isnan(x[2]) || std::isfinite(x[2]));
    VecReal32 y = R32({0, 1, 2});
    DSPUtils::Unwrap(y, 0, 0.0f, 0.0f);  // no period: nothing to remove
    EXPECT_TRUE(Near(Vals(y), {0, 1, 2}));
}

TEST(DSPUtilsAnalysis, MapPhaseFoldsIntoPrincipalRange) {
    VecReal64 x = R64({0, 1, -1, 7, -7, 3 * M_PI - 0.5, -3 * M_PI + 0.1, 100});
    DSPUtils::MapPhase(x);
    const double w = 2 * M_PI;
    std::vector<double> expected = {0, 1, -1, 7 - w, -7 + w, M_PI - 0.5, -M_PI + 0.1, 100 - 16 * w};
    EXPECT_TRUE(Near(Vals(x), expected, 1e-9));
    // The folding constant 3.14159265358979 lies just below pi, so 3 pi itself folds to -pi.
    VecReal64 edge = R64({3 * M_PI});
    DSPUtils::MapPhase(edge);
    EXPECT_NEAR(edge[0], -M_PI, 1e-12);
    VecReal32 y = R32({7, -7, 3.1415927f, -3.1415927f, 100});
    DSPUtils::MapPhase(y);
    for (int i = 0; i < 5; ++i) {
        EXPECT_LE(y[i], 3.1415927410125732) << i;
        EXPECT_GE(y[i], -3.1415927410125732) << i;
    }
    EXPECT_NEAR(y[0], 7 - w, 1e-6);
    EXPECT_NEAR(y[4], 100 - 16 * w, 2e-5);
    // The float pi itself lies on the boundary and stays.
    EXPECT_EQ(y[2], 3.1415927f);
}

TEST(DSPUtilsAnalysis, MovingAverageOfRampGivesRampBack) {
    VecReal64 ramp(8), out;
    for (int i = 0; i < 8; ++i)
        ramp[i] = i;
    DSPUtils::MovingAverage(out, ramp, 3);
    EXPECT_TRUE(Near(Vals(out), Vals(ramp), 1e-14));
    VecReal32 r32(8), o32;
    for (int i = 0; i < 8; ++i)
        r32[i] = static_cast<float>(i * i);
    DSPUtils::MovingAverage(o32, r32, 3);
    // Edges keep their input; inside, the mean of three squares.
    EXPECT_EQ(o32[0], 0);
    EXPECT_EQ(o32[7], 49);
    EXPECT_NEAR(o32[1], (0 + 1 + 4) / 3.0, 1e-6);
    // Even window: output i averages in[i - 2 .. i + 1]; first = 2, last = n - 2.
    DSPUtils::MovingAverage(o32, r32, 4);
    EXPECT_EQ(o32[1], 1);
    EXPECT_NEAR(o32[2], (0 + 1 + 4 + 9) / 4.0, 1e-6);
    EXPECT_NEAR(o32[6], (16 + 25 + 36 + 49) / 4.0, 1e-5);
    EXPECT_EQ(o32[7], 49);
}

TEST(DSPUtilsAnalysis, LinearLeastSquareFitWorkedFigure) {
    float slope, intercept;
    DSPUtils::LinearLeastSquareFit(slope, intercept, R32({1, 2, 3, 4, 5}),
                                   R32({0.01f, 1.02f, 2.03f, 3.04f, 4.05f}));
    EXPECT_NEAR(slope, 1.01, kTol);
    EXPECT_NEAR(intercept, -1, kTol);
    double s, c;
    DSPUtils::LinearLeastSquareFit(s, c, R64({1, 2, 3, 4, 5}), R64({0.01, 1.02, 2.03, 3.04, 4.05}));
    EXPECT_NEAR(s, 1.01, 1e-12);
    EXPECT_NEAR(c, -1, 1e-12);
}

TEST(DSPUtilsAnalysis, ResidualIsTakenAgainstTheIndex) {
    double s, c;
    VecReal64 r;
    DSPUtils::LinearLeastSquareFit(s, c, r, R64({1, 2, 3, 4, 5}), R64({0.01, 1.02, 2.03, 3.04, 4.05}));
    ASSERT_EQ(r.GetSize(), 5);
    // Against x the residual would be 0; against the index i = x - 1 it is y - c - i s = s.
    for (int i = 0; i < 5; ++i)
        EXPECT_NEAR(r[i], 1.01, 1e-12);
}

TEST(DSPUtilsAnalysis, NormalEquationFitRecoversCoefficients) {
    // y = 2 + 3 t - 0.5 t^2 sampled at t = 0..5, columns 1, t, t^2.
    MatReal64 A(6, 3), y(6, 1), beta;
    for (int i = 0; i < 6; ++i) {
        A[i][0] = 1;
        A[i][1] = i;
        A[i][2] = i * i;
        y[i][0] = 2 + 3 * i - 0.5 * i * i;
    }
    DSPUtils::LinearLeastSquareFit(beta, y, A);
    ASSERT_EQ(beta.GetRows(), 3);
    ASSERT_EQ(beta.GetCols(), 1);
    EXPECT_NEAR(beta[0][0], 2, 1e-9);
    EXPECT_NEAR(beta[1][0], 3, 1e-9);
    EXPECT_NEAR(beta[2][0], -0.5, 1e-9);
}

TEST(DSPUtilsAnalysis, DerivativeOfAllTypes) {
    VecReal32 d;
    DSPUtils::Derivative(d, R32({1, 4, 9, 16}));
    EXPECT_TRUE(Near(Vals(d), {3, 5, 7}));
    DSPUtils::Derivative(d, VecReal32());
    EXPECT_EQ(d.GetSize(), 0);
    VecReal64 d64;
    DSPUtils::Derivative(d64, R64({1, 0.5}));
    EXPECT_TRUE(Near(Vals(d64), {-0.5}));
    VecCplx32 dc;
    DSPUtils::Derivative(dc, C32({{1, 2}, {4, 0}, {4, 4}}));
    EXPECT_TRUE(Near(Vals(dc), {3, -2, 0, 4}));
    VecCplx64 c64(2), dc64;
    c64[0] = {1, 1};
    c64[1] = {0, 3};
    DSPUtils::Derivative(dc64, c64);
    ASSERT_EQ(dc64.GetSize(), 1);
    EXPECT_EQ(dc64[0].re, -1);
    EXPECT_EQ(dc64[0].im, 2);
}

TEST(DSPUtilsAnalysis, ArbPointValueInterpolatesAndExtrapolates) {
    const VecReal32 v = R32({0, 10, 20, 40});
    EXPECT_NEAR(DSPUtils::GetArbPointValue(v, 0.25), 2.5, kTol);
    EXPECT_NEAR(DSPUtils::GetArbPointValue(v, 2.5), 30, kTol);
    EXPECT_NEAR(DSPUtils::GetArbPointValue(v, 3.0), 40, kTol);
    // Beyond the end: the line through the last pair (20, 40), without reading past it.
    EXPECT_NEAR(DSPUtils::GetArbPointValue(v, 3.5), 50, kTol);
    EXPECT_NEAR(DSPUtils::GetArbPointValue(v, 6.0), 100, kTol);
    // Before the start: the line through the first pair.
    EXPECT_NEAR(DSPUtils::GetArbPointValue(v, -0.5), -5, kTol);
    EXPECT_EQ(DSPUtils::GetArbPointValue(R32({3}), 2.0), 3);
    EXPECT_EQ(DSPUtils::GetArbPointValue(VecReal32(), 2.0), 0);
}

TEST(DSPUtilsAnalysis, ArbPointValueBeyondTheEndReadsNothingPastIt) {
    // A view whose next element in the block is poisoned: extrapolation must not see it.
    VecReal32 block = R32({1, 2, 3, 1e30f});
    block.Truncate(0, 3);
    EXPECT_NEAR(DSPUtils::GetArbPointValue(block, 3.0), 4, kTol);
    EXPECT_NEAR(DSPUtils::GetArbPointValue(block, 2.5), 3.5, kTol);
}

TEST(DSPUtilsAnalysis, IntegrateTrapezoidBetweenFractionalIndices) {
    VecReal32 ramp(10);
    for (int i = 0; i < 10; ++i)
        ramp[i] = static_cast<float>(i);
    // Integral of x from 2.5 to 6.5 is (6.5^2 - 2.5^2) / 2 = 18.
    EXPECT_NEAR(DSPUtils::Integrate(ramp, 2.5, 6.5), 18.0, 1e-9);
    EXPECT_NEAR(DSPUtils::Integrate(ramp, 1.0, 4.0), 7.5, 1e-9);
    // From below 1 the partial first piece is skipped: the sum starts at index 1.
    EXPECT_NEAR(DSPUtils::Integrate(ramp, 0.5, 4.0), 7.5, 1e-9);
    // Ending on the last sample adds no partial last piece.
    EXPECT_NEAR(DSPUtils::Integrate(ramp, 1.0, 9.0), 40.0, 1e-9);
}

TEST(DSPUtilsAnalysis, FPGAGainWorkedFigures) {
    VecReal32 out;
    float gain = -1;
    DSPUtils::GetFPGAGain(out, gain, R32({1, 1, 0, 0}));
    EXPECT_EQ(gain, 2.0f);
    EXPECT_TRUE(Near(Vals(out), {1, 1, 0, 0}));
    const VecReal32 taps = R32({0, 1, 0, 0, 0, 0, 0, -1});
    DSPUtils::GetFPGAGain(out, gain, taps, 0.25f);
    EXPECT_EQ(gain, 2.0f);
    EXPECT_TRUE(Near(Vals(out), Vals(taps)));
}

TEST(DSPUtilsAnalysis, FPGAGainScalesSumToPowerOfTwoBelow) {
    VecReal32 out;
    float gain;
    DSPUtils::GetFPGAGain(out, gain, R32({2, 4, 2, 1}));  // normalised: 0.5 1 0.5 0.25, sum 2.25
    EXPECT_EQ(gain, 2.0f);
    double s = 0;
    for (int i = 0; i < 4; ++i)
        s += out[i];
    EXPECT_NEAR(s, 2.0, 1e-6);
    EXPECT_NEAR(out[1], 2.0 / 2.25, 1e-6);
    // At a frequency where the response is small the gain drops by a further power of two.
    DSPUtils::GetFPGAGain(out, gain, R32({1, 1, 1, 1}), 0.22f);
    // |sum exp(j 2 pi 0.22 k)| over k < 4 = 0.5775191: g = 1, gain 0.5, r = 0.8657722 < 1.
    EXPECT_EQ(gain, 0.5f);
    EXPECT_NEAR(out[0], 0.8657722, 1e-5);
    DSPUtils::GetFPGAGain(out, gain, R32({1, 1, 1, 1, 1}), 0.21f);
    // s = 0.2552336: r = 0.5 / s = 1.959 > 1, p = 2: gain 0.25 and taps r / 2.
    EXPECT_EQ(gain, 0.25f);
    EXPECT_NEAR(out[0], 1.9589898 / 2, 1e-5);
}

TEST(DSPUtilsAnalysis, FPGAGainWithNoUsableSumReportsZeroGain) {
    VecReal32 out;
    float gain = 7;
    DSPUtils::GetFPGAGain(out, gain, R32({1, -1, 0.5f, -0.5f}));  // tap sum 0
    EXPECT_EQ(gain, 0.0f);
    EXPECT_TRUE(Near(Vals(out), {1, -1, 0.5, -0.5}));
    DSPUtils::GetFPGAGain(out, gain, R32({1, -3}));  // tap sum -2
    EXPECT_EQ(gain, 0.0f);
}

TEST(DSPUtilsAnalysis, FPGAGainOfAllZeroTapsIsADivideByZero) {
    VecReal32 out;
    float gain;
    try {
        DSPUtils::GetFPGAGain(out, gain, R32({0, 0, 0}));
        ADD_FAILURE() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
    }
}

}  // namespace
