#include <corvane/dsp/DSPUtils.h>
#include <corvane/dsp/RBWFilter.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "support/TestUtil.h"
#include "support/VecData.h"

namespace VELA {

// The design steps that have no public form.
struct RBWFilterTestAccess {
    static float KaiserPara(float x) { return RBWFilter::GetKaiserPara(x); }
    static float GaussPara(float x) { return RBWFilter::GetGaussPara(x); }
    static void Quant(VecUInt32& words, const VecReal32& in, int bits) {
        RBWFilter::QuantCoef(words, in, bits);
    }
};

}  // namespace VELA

using namespace VELA;
using corvane_test::NearL2;
using corvane_test::PyEval;
using corvane_test::ToDoubles;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// The word of one tap by a route of its own: the float tap is an integer numerator over 2^k, found by
// doubling until no fraction is left; the product with the full scale 2^(bits-1) - 1 is split into a
// quotient and remainder by 2^k, and the remainder decides (at least half rounds the magnitude up).
// Two's complement within `bits` bits by masking.
uint32_t OracleWord(float tap, int bits) {
    double t = std::fabs(static_cast<double>(tap));
    int k = 0;
    while (t != std::floor(t)) {
        t *= 2.0;  // exact: a float has at most 24 significant bits
        ++k;
    }
    const uint64_t num = static_cast<uint64_t>(t);
    const uint64_t scale = (uint64_t{1} << (bits - 1)) - 1;
    const uint64_t product = num * scale;  // num < 2^24 when k > 0 (|tap| <= 1), so below 2^55
    uint64_t q;
    if (k == 0) {
        q = product;
    } else if (k >= 63) {
        q = 0;  // product < 2^55: less than a half of 2^k
    } else {
        const uint64_t div = uint64_t{1} << k;
        q = product / div;
        const uint64_t rem = product % div;
        if (2 * rem >= div) ++q;
    }
    const int64_t v = tap < 0 ? -static_cast<int64_t>(q) : static_cast<int64_t>(q);
    const uint64_t mask = bits == 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
    return static_cast<uint32_t>(static_cast<uint64_t>(v) & mask);
}

// Taps that exercise the rounding: the extremes, zeros of both signs, the exact half-way values
// +-0.5 (0.5 * (2^(b-1) - 1) always ends in .5), the float neighbours of 0.5 and 1, denormals, the
// float values nearest to each k + 1/2 over the full scale for a few k, and seeded uniform values.
std::vector<float> RoundingTaps(int bits) {
    std::vector<float> t = {1.0f,
                            -1.0f,
                            0.0f,
                            -0.0f,
                            0.5f,
                            -0.5f,
                            std::nextafter(0.5f, 1.0f),
                            std::nextafter(0.5f, 0.0f),
                            -std::nextafter(0.5f, 1.0f),
                            -std::nextafter(0.5f, 0.0f),
                            std::nextafter(1.0f, 0.0f),
                            -std::nextafter(1.0f, 0.0f),
                            std::numeric_limits<float>::denorm_min(),
                            -std::numeric_limits<float>::denorm_min(),
                            FLT_MIN,
                            -FLT_MIN,
                            0.25f,
                            -0.75f};
    const double scale = std::ldexp(1.0, bits - 1) - 1;
    for (double k : {0.0, 1.0, 2.0, 100.0, scale / 3, scale - 2}) {
        const float f = static_cast<float>((std::floor(k) + 0.5) / scale);
        for (float g : {f, std::nextafter(f, 0.0f), std::nextafter(f, 2.0f)})
            if (std::fabs(g) <= 1.0f) {
                t.push_back(g);
                t.push_back(-g);
            }
    }
    std::mt19937 rng(20240515u + static_cast<unsigned>(bits));
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < 2000; ++i)
        t.push_back(u(rng));
    return t;
}

VecReal32 Vec(const std::vector<float>& v) {
    VecReal32 r(static_cast<int>(v.size()));
    for (size_t i = 0; i < v.size(); ++i)
        r[static_cast<int>(i)] = v[i];
    return r;
}

// Signed distance of two 32-bit words as fractions of full scale.
double WordDistance(uint32_t a, uint32_t b) {
    return std::fabs(static_cast<double>(static_cast<int32_t>(a)) -
                     static_cast<double>(static_cast<int32_t>(b))) /
           2147483647.0;
}

}  // namespace

// ---- decimation ----

TEST(RBWFilter, DecimationFactorQuotedCases) {
    RBWFilter f(40.0f, 50.0f);
    long long factor = 0;
    float outRate = 0;
    f.GetDecimationFactor(factor, outRate, 25.0f, 1.0f);
    EXPECT_EQ(factor, 2);
    EXPECT_EQ(outRate, 12.5f);
    f.GetDecimationFactor(factor, outRate, 50.0f, 2.4f);
    EXPECT_EQ(factor, 2);
    EXPECT_EQ(outRate, 25.0f);
    f.GetDecimationFactor(factor, outRate, 150.0f, 0.2f);
    EXPECT_EQ(factor, 64);
    EXPECT_EQ(outRate, 2.34375f);

    double outRate64 = 0;
    RBWFilter::GetDecimationFactor(factor, outRate64, 25.0, 1.0, 50.0);
    EXPECT_EQ(factor, 2);
    EXPECT_EQ(outRate64, 12.5);
    RBWFilter::GetDecimationFactor(factor, outRate64, 50.0, 2.4, 50.0);
    EXPECT_EQ(factor, 2);
    EXPECT_EQ(outRate64, 25.0);
    RBWFilter::GetDecimationFactor(factor, outRate64, 150.0, 0.2, 50.0);
    EXPECT_EQ(factor, 64);
    EXPECT_EQ(outRate64, 2.34375);
}

TEST(RBWFilter, DecimationTestsDifferAtEquality) {
    // 5 % of 40 is 2, exactly, in float and in double. At the widest rate a quotient equal to rbw doubles
    // once more (factor 4 for rbw 1); at any other rate it is accepted (factor 2).
    long long factor = 0;
    double r64 = 0;
    RBWFilter::GetDecimationFactor(factor, r64, 40.0, 1.0, 40.0);
    EXPECT_EQ(factor, 4);
    EXPECT_EQ(r64, 10.0);
    RBWFilter::GetDecimationFactor(factor, r64, 40.0, 1.0);
    EXPECT_EQ(factor, 4);
    RBWFilter::GetDecimationFactor(factor, r64, 40.0, 1.0, 50.0);
    EXPECT_EQ(factor, 2);
    EXPECT_EQ(r64, 20.0);

    float r32 = 0;
    RBWFilter(1.0f, 40.0f).GetDecimationFactor(factor, r32, 40.0f, 1.0f);
    EXPECT_EQ(factor, 4);
    EXPECT_EQ(r32, 10.0f);
    RBWFilter(1.0f, 50.0f).GetDecimationFactor(factor, r32, 40.0f, 1.0f);
    EXPECT_EQ(factor, 2);
    EXPECT_EQ(r32, 20.0f);

    // At the widest rate, a bandwidth equal to 5 % of it is not "wide": it decimates by 2.
    RBWFilter::GetDecimationFactor(factor, r64, 40.0, 2.0, 40.0);
    EXPECT_EQ(factor, 2);
    RBWFilter::GetDecimationFactor(factor, r64, 40.0, 2.0, 50.0);
    EXPECT_EQ(factor, 1);
}

TEST(RBWFilter, WideBandwidthAtWidestRateIsNotDecimated) {
    long long factor = 0;
    double r64 = 0;
    RBWFilter::GetDecimationFactor(factor, r64, 40.0, 2.0000001, 40.0);
    EXPECT_EQ(factor, 1);
    EXPECT_EQ(r64, 40.0);
    float r32 = 0;
    RBWFilter(1.0f, 50.0f).GetDecimationFactor(factor, r32, 50.0f, 20.0f);
    EXPECT_EQ(factor, 1);
    EXPECT_EQ(r32, 50.0f);
}

TEST(RBWFilter, DecimationIsTheSmallestPowerOfTwoThatPasses) {
    // Properties of both tests over seeded random rates and bandwidths: a power of two, outRate =
    // rate / factor, the test holds at the factor, and fails at half of it.
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> logRate(3.0, 9.0), logRatio(-1.0, 7.0);
    for (int i = 0; i < 2000; ++i) {
        const double rate = std::pow(10.0, logRate(rng));
        const double rbw = rate / std::pow(10.0, logRatio(rng));
        for (bool widest : {true, false}) {
            long long factor = 0;
            double outRate = 0;
            RBWFilter::GetDecimationFactor(factor, outRate, rate, rbw, widest ? rate : 2 * rate);
            ASSERT_GT(factor, 0);
            ASSERT_EQ(factor & (factor - 1), 0) << factor;
            ASSERT_EQ(outRate, rate / static_cast<double>(factor));
            const double q = 0.05 * rate / static_cast<double>(factor);
            const double qHalf = 0.05 * rate / static_cast<double>(factor / 2);
            if (widest) {
                if (rbw > 0.05 * rate) {
                    ASSERT_EQ(factor, 1);
                } else {
                    ASSERT_LT(q, rbw);
                    if (factor > 1) {
                        ASSERT_GE(qHalf, rbw);
                    }
                }
            } else {
                ASSERT_LE(q, rbw);
                if (factor > 1) {
                    ASSERT_GT(qHalf, rbw);
                }
            }
        }
    }
}

TEST(RBWFilter, DecimationRefusesBadRatesAndBandwidths) {
    RBWFilter f(40.0f, 50.0f);
    for (auto [rate, rbw] : std::vector<std::pair<double, double>>{
             {0, 1}, {-50, 1}, {50, 0}, {50, -1}, {NAN, 1}, {50, NAN}, {INFINITY, 1}, {50, INFINITY}}) {
        long long factor = -7;
        double r64 = -7;
        EXPECT_THROW(RBWFilter::GetDecimationFactor(factor, r64, rate, rbw, 50.0), VELAException)
            << rate << " " << rbw;
        EXPECT_THROW(RBWFilter::GetDecimationFactor(factor, r64, rate, rbw), VELAException);
        float r32 = -7;
        EXPECT_THROW(f.GetDecimationFactor(factor, r32, static_cast<float>(rate), static_cast<float>(rbw)),
                     VELAException);
        EXPECT_EQ(factor, -7);
        EXPECT_EQ(r64, -7);
        EXPECT_EQ(r32, -7);
    }
    // A factor beyond 2^62 has no long long to hold its doubling: refused, not wrapped.
    long long factor = -7;
    double r64 = -7;
    try {
        RBWFilter::GetDecimationFactor(factor, r64, 1e300, 1e-300, 1.0);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    }
    EXPECT_EQ(factor, -7);
    float r32 = -7;
    EXPECT_THROW(f.GetDecimationFactor(factor, r32, 1e30f, 1e-30f), VELAException);
    // 2^62 itself is fine.
    RBWFilter::GetDecimationFactor(factor, r64, 20.0 * 0x1p62, 1.0, 1.0);
    EXPECT_EQ(factor, 1LL << 62);
}

TEST(RBWFilter, MaxRBW) {
    RBWFilter f(40.0f, 50.0f);
    EXPECT_EQ(f.GetMaxRBW(), 50.0f * 0.4f);
    EXPECT_EQ(f.GetMaxRBW(50.0f), 50.0f * 0.4f);
    EXPECT_EQ(f.GetMaxRBW(30.0f), 30.0f * 0.1f);
    // The float forms use the float constants (0.4000000059604645, 0.10000000149011612).
    EXPECT_EQ(static_cast<double>(RBWFilter(0, 3e7f).GetMaxRBW()),
              static_cast<double>(static_cast<float>(3e7 * 0.4000000059604645)));
    EXPECT_EQ(RBWFilter::GetMaxRBW(50.0), 20.0);
    EXPECT_EQ(RBWFilter::GetMaxRBW(50.0, 50.0), 50.0 * 0.4);
    EXPECT_EQ(RBWFilter::GetMaxRBW(30.0, 50.0), 30.0 * 0.1);
}

// ---- parameter fits ----

TEST(RBWFilter, KaiserAndGaussParameterFits) {
    for (float x : {0.0f, 0.01f, 0.1f, 0.19f, 0.5f, 0.8f, 1.0f, 2.0f}) {
        const double v = x;
        EXPECT_EQ(RBWFilterTestAccess::KaiserPara(x),
                  static_cast<float>(1352.612060546875 * v * v + 2.19348406791687 * v - 1.0588929653167725))
            << x;
    }
    // Linear in w = x / 2 up to 0.3, then w (625 d^3 + 75.6) with d = w - 0.3.
    EXPECT_FLOAT_EQ(RBWFilterTestAccess::GaussPara(0.4f), 0.2f * 75.5999984741211f);
    EXPECT_FLOAT_EQ(RBWFilterTestAccess::GaussPara(0.6f), 0.3f * 75.5999984741211f);
    const double d = 0.4000000059604645 - 0.30000001192092896;
    EXPECT_FLOAT_EQ(RBWFilterTestAccess::GaussPara(0.8f),
                    static_cast<float>(0.4f * (625 * d * d * d + 75.5999984741211)));
    // Continuous at the joint.
    EXPECT_NEAR(RBWFilterTestAccess::GaussPara(std::nextafter(0.6f, 1.0f)),
                RBWFilterTestAccess::GaussPara(0.6f), 1e-4);
}

// ---- float taps ----

namespace {

// The 40-point window numpy makes for the same parameter, normalised to sum 1. Gauss: e^(-2 a^2 v^2),
// v = (i - 19.5) / 40. Kaiser: numpy's kaiser with beta' = alpha * 39 / 2, alpha = 2 beta / 39 in float.
std::vector<double> NumpyWindow(bool gauss, float para) {
    if (gauss)
        return PyEval(R"(
a = a0[0]
v = (np.arange(40) - 19.5) / 40
w = np.exp(-2 * a * a * v * v)
out = w / w.sum()
)",
                      {{static_cast<double>(para)}});
    // Scaled Bessel functions, since I0 of a steep taper's beta overflows a double.
    const float alpha = 2.0f * (para / 39.0f);
    return PyEval(R"(
from scipy.special import i0e
b = abs(a0[0]) * 39 / 2
x = b * np.sqrt(np.maximum(0.0, 1 - ((np.arange(40) - 19.5) / 19.5) ** 2))
w = i0e(x) / i0e(b) * np.exp(x - b)
out = w / w.sum()
)",
                  {{static_cast<double>(alpha)}});
}

}  // namespace

TEST(RBWFilter, WideFilterAtWidestRateTakesTheGaussWindow) {
    RBWFilter f(40.0f, 50.0f);
    VecReal32 taps;
    f.Apply(taps, 50.0f, 20.0f, 40);
    ASSERT_EQ(taps.GetSize(), 40);
    EXPECT_TRUE(NearL2(ToDoubles(taps), NumpyWindow(true, RBWFilterTestAccess::GaussPara(0.8f)), 1e-6));
}

TEST(RBWFilter, WideFilterAtAnotherRateStaysKaiser) {
    // x = 20 / 24.5 is wide, but 49 is not the widest rate.
    RBWFilter f(40.0f, 50.0f);
    VecReal32 taps;
    f.Apply(taps, 49.0f, 20.0f, 40);
    const float x = 20.0f / (0.5f * 49.0f);
    EXPECT_TRUE(NearL2(ToDoubles(taps), NumpyWindow(false, RBWFilterTestAccess::KaiserPara(x)), 1e-6));
}

TEST(RBWFilter, GaussThresholdIsStrict) {
    // With rate 2 the fraction x is rbw itself. The float just above 0.19999099999968167 takes Gauss,
    // the one just below stays Kaiser.
    float above = static_cast<float>(0.19999099999968167);
    if (static_cast<double>(above) <= 0.19999099999968167) above = std::nextafter(above, 1.0f);
    const float below = std::nextafter(above, 0.0f);
    ASSERT_LT(static_cast<double>(below), 0.19999099999968167);
    ASSERT_GT(static_cast<double>(above), 0.19999099999968167);
    RBWFilter f(1.0f, 2.0f);
    VecReal32 taps;
    f.Apply(taps, 2.0f, above, 40);
    EXPECT_TRUE(NearL2(ToDoubles(taps), NumpyWindow(true, RBWFilterTestAccess::GaussPara(above)), 1e-6));
    f.Apply(taps, 2.0f, below, 40);
    EXPECT_TRUE(NearL2(ToDoubles(taps), NumpyWindow(false, RBWFilterTestAccess::KaiserPara(below)), 1e-6));
}

TEST(RBWFilter, NarrowFilterTakesTheKaiserWindow) {
    RBWFilter f(40.0f, 50.0f);
    VecReal32 taps;
    for (float rbw : {0.2f, 1.0f, 4.0f}) {
        f.Apply(taps, 50.0f, rbw, 40);
        const float x = rbw / 25.0f;
        EXPECT_TRUE(NearL2(ToDoubles(taps), NumpyWindow(false, RBWFilterTestAccess::KaiserPara(x)), 1e-6))
            << rbw;
    }
}

TEST(RBWFilter, LongerFilterPadsTheWindowWithZeros) {
    RBWFilter f(40.0f, 50.0f);
    VecReal32 window, taps;
    f.Apply(window, 25.0f, 2.0f, 40);
    for (int n : {41, 42, 128, 129}) {
        f.Apply(taps, 25.0f, 2.0f, n);
        ASSERT_EQ(taps.GetSize(), n);
        const int offset = (n - 40) / 2;
        for (int i = 0; i < n; ++i) {
            const float expected = i >= offset && i < offset + 40 ? window[i - offset] : 0.0f;
            ASSERT_EQ(taps[i], expected) << n << " " << i;
        }
    }
}

TEST(RBWFilter, ApplyRefusesBadInputAndLeavesTheOutputAlone) {
    RBWFilter f(40.0f, 50.0f);
    VecReal32 taps(3);
    taps[0] = 7;
    auto untouched = [&taps] { return taps.GetSize() == 3 && taps[0] == 7; };
    EXPECT_THROW(f.Apply(taps, 50.0f, 1.0f, 39), VELAException);  // the window needs 40 taps
    EXPECT_THROW(f.Apply(taps, 50.0f, 1.0f, 0), VELAException);
    EXPECT_THROW(f.Apply(taps, 50.0f, 1.0f, -40), VELAException);
    EXPECT_THROW(f.Apply(taps, 0.0f, 1.0f, 40), VELAException);
    EXPECT_THROW(f.Apply(taps, -50.0f, 1.0f, 40), VELAException);
    EXPECT_THROW(f.Apply(taps, 50.0f, 0.0f, 40), VELAException);
    EXPECT_THROW(f.Apply(taps, 50.0f, -1.0f, 40), VELAException);
    EXPECT_THROW(f.Apply(taps, kNaN, 1.0f, 40), VELAException);
    EXPECT_THROW(f.Apply(taps, 50.0f, kNaN, 40), VELAException);
    EXPECT_THROW(f.Apply(taps, kInf, 1.0f, 40), VELAException);
    EXPECT_THROW(f.Apply(taps, 50.0f, kInf, 40), VELAException);
    // A fraction of the band that overflows float.
    EXPECT_THROW(f.Apply(taps, 1e-30f, 1e30f, 40), VELAException);
    // A Gauss parameter so large that every sample of the window is 0 (no filter to normalise).
    EXPECT_THROW(f.Apply(taps, 50.0f, 1e5f, 40), VELAException);
    // So large a Kaiser beta that the window underflows to zeros.
    EXPECT_THROW(f.Apply(taps, 49.0f, 1e6f, 40), VELAException);
    EXPECT_TRUE(untouched());
    VecUInt32 words(2);
    words[0] = 5;
    EXPECT_THROW(f.Apply(words, 50.0f, 1.0f, 39, 16), VELAException);
    EXPECT_THROW(f.Apply(words, 50.0f, kNaN, 40, 16), VELAException);
    EXPECT_EQ(words.GetSize(), 2);
    EXPECT_EQ(words[0], 5u);
}

// ---- hardware words ----

TEST(RBWFilter, GaussWordsAtTheWidestRate) {
    RBWFilter f(40.0f, 50.0f);
    VecUInt32 words;
    f.Apply(words, 50.0f, 20.0f, 40, 18);
    ASSERT_EQ(words.GetSize(), 40);
    EXPECT_EQ(words[18], 11675u);
    float gain = 0, delay = 0;
    f.GetProperties(gain, delay);
    EXPECT_EQ(delay, 19.5f);
}

TEST(RBWFilter, KaiserWordsAtAnotherRate) {
    RBWFilter f(40.0f, 50.0f);
    VecUInt32 words;
    f.Apply(words, 25.0f, 2.0f, 128, 32);
    ASSERT_EQ(words.GetSize(), 128);
    // Computing the Kaiser taper in double gives 0x6eec6b7f and 0x792127ff: 2816 and 1408 below the
    // expected words, 1.3e-6 and 6.6e-7 of full scale. Forming the Bessel arguments in float lands
    // within 128 and 0 of these two but 1344 off the word after decimation (next test), which double
    // gives exactly; no one reading gives all three, so these two are held to 1e-5 of full scale.
    EXPECT_LE(WordDistance(words[62], 0x6eec767fu), 1e-5) << std::hex << words[62];
    EXPECT_LE(WordDistance(words[63], 0x79212d7fu), 1e-5) << std::hex << words[63];
    // The design's own shape: the centre pair is the peak (62 just below it).
    EXPECT_LT(words[62], words[63]);
    EXPECT_EQ(words[63], words[64]);
    float gain = 0, delay = 0;
    f.GetProperties(gain, delay);
    EXPECT_EQ(gain, 8.0f);
    EXPECT_EQ(delay, 63.5f);
}

TEST(RBWFilter, KaiserWordsAfterDecimation) {
    RBWFilter f(40.0f, 50.0f);
    long long factor = 0;
    float outRate = 0;
    f.GetDecimationFactor(factor, outRate, 150.0f, 0.2f);
    ASSERT_EQ(outRate, 2.34375f);
    ASSERT_EQ(factor, 64);
    VecUInt32 words;
    f.Apply(words, outRate, 0.2f, 128, 32);
    EXPECT_EQ(words[62], 0x3a637b00u)
        << std::hex << words[62] << " off by " << WordDistance(words[62], 0x3a637b00u);
}

TEST(RBWFilter, WordsAreTheGainScaledTapsRounded) {
    // The whole word path against its parts: float taps from Apply, the library's power-of-two gain
    // rule, and the independent rounding, at several widths and designs.
    RBWFilter f(40.0f, 50.0f);
    for (auto [rate, rbw, n] : std::vector<std::tuple<float, float, int>>{{50.0f, 20.0f, 40},
                                                                          {25.0f, 2.0f, 128},
                                                                          {2.34375f, 0.2f, 128},
                                                                          {50.0f, 0.5f, 64},
                                                                          {50.0f, 12.0f, 41}}) {
        VecReal32 taps, scaled;
        f.Apply(taps, rate, rbw, n);
        float gain = 0;
        DSPUtils::GetFPGAGain(scaled, gain, taps);
        // A power of two, and the scaled taps sum to it.
        EXPECT_EQ(std::exp2(std::round(std::log2(gain))), gain);
        EXPECT_NEAR(scaled.Sum(), gain, 1e-5 * gain);
        for (int bits : {8, 12, 16, 18, 24, 31, 32}) {
            VecUInt32 words;
            f.Apply(words, rate, rbw, n, bits);
            ASSERT_EQ(words.GetSize(), n);
            float g = 0, delay = 0;
            f.GetProperties(g, delay);
            EXPECT_EQ(g, gain);
            EXPECT_EQ(delay, (n - 1) * 0.5f);
            for (int i = 0; i < n; ++i)
                ASSERT_EQ(words[i], OracleWord(scaled[i], bits))
                    << rate << " " << rbw << " bits " << bits << " i " << i;
        }
    }
}

// ---- quantisation ----

TEST(RBWFilter, QuantCoefMatchesIndependentIntegerRounding) {
    for (int bits = 8; bits <= 32; ++bits) {
        const std::vector<float> taps = RoundingTaps(bits);
        VecUInt32 words;
        RBWFilterTestAccess::Quant(words, Vec(taps), bits);
        ASSERT_EQ(words.GetSize(), static_cast<int>(taps.size()));
        for (size_t i = 0; i < taps.size(); ++i)
            ASSERT_EQ(words[static_cast<int>(i)], OracleWord(taps[i], bits))
                << "bits " << bits << " tap " << std::hexfloat << taps[i];
    }
}

TEST(RBWFilter, QuantCoefExtremesAndHalfWay) {
    for (int bits = 2; bits <= 32; ++bits) {
        const int64_t half = int64_t{1} << (bits - 1);
        const int64_t full = int64_t{1} << bits;
        VecUInt32 w;
        RBWFilterTestAccess::Quant(w, Vec({1.0f, -1.0f, 0.5f, -0.5f, 0.0f, -0.0f}), bits);
        EXPECT_EQ(w[0], static_cast<uint32_t>(half - 1)) << bits;
        EXPECT_EQ(w[1], static_cast<uint32_t>(full - (half - 1))) << bits;
        // 0.5 (2^(b-1) - 1) = 2^(b-2) - 1/2 exactly: away from zero gives 2^(b-2).
        EXPECT_EQ(w[2], static_cast<uint32_t>(half / 2)) << bits;
        EXPECT_EQ(w[3], static_cast<uint32_t>(full - half / 2)) << bits;
        EXPECT_EQ(w[4], 0u);
        EXPECT_EQ(w[5], 0u);
        // Every word fits the width.
        for (int i = 0; i < w.GetSize(); ++i)
            EXPECT_LT(static_cast<int64_t>(w[i]), full);
    }
    // A 32-bit product that needs 55 bits: 0.5 + 2^-24 times 2^31 - 1 is 2^30 + 127.5 - 2^-24, just
    // below a half, so it rounds down (a double product would round it to .5 and then up).
    VecUInt32 w;
    RBWFilterTestAccess::Quant(w, Vec({std::nextafter(0.5f, 1.0f), -std::nextafter(0.5f, 1.0f)}), 32);
    EXPECT_EQ(w[0], (1u << 30) + 127u);
    EXPECT_EQ(w[1], static_cast<uint32_t>(0x100000000LL - ((1LL << 30) + 127)));
}

TEST(RBWFilter, QuantCoefAgreesWithExactRationalArithmetic) {
    // A second, separate oracle: Python's exact fractions on the same taps, for a few widths.
    for (int bits : {8, 16, 24, 31, 32}) {
        const std::vector<float> taps = RoundingTaps(bits);
        std::vector<double> in(taps.begin(), taps.end());
        const std::vector<double> expected = PyEval(R"(
from fractions import Fraction
import math
bits = int(a1[0])
scale = 2 ** (bits - 1) - 1
res = []
for t in a0:
    v = Fraction(float(t)) * scale
    q = math.floor(abs(v) + Fraction(1, 2))
    q = -q if v < 0 else q
    res.append(q + 2 ** bits if q < 0 else q)
out = np.array(res, dtype=np.float64)
)",
                                                    {in, {static_cast<double>(bits)}});
        ASSERT_EQ(expected.size(), taps.size());
        VecUInt32 words;
        RBWFilterTestAccess::Quant(words, Vec(taps), bits);
        for (size_t i = 0; i < taps.size(); ++i)
            ASSERT_EQ(static_cast<double>(words[static_cast<int>(i)]), expected[i])
                << "bits " << bits << " tap " << std::hexfloat << taps[i];
    }
}

TEST(RBWFilter, QuantCoefRefusesBadWidthsAndTaps) {
    VecUInt32 w(1);
    w[0] = 9;
    for (int bits : {-1, 0, 1, 33, 64})
        EXPECT_THROW(RBWFilterTestAccess::Quant(w, Vec({0.5f}), bits), VELAException) << bits;
    EXPECT_THROW(RBWFilterTestAccess::Quant(w, Vec({0.5f, kNaN}), 16), VELAException);
    EXPECT_THROW(RBWFilterTestAccess::Quant(w, Vec({kInf}), 16), VELAException);
    EXPECT_THROW(RBWFilterTestAccess::Quant(w, Vec({std::nextafter(1.0f, 2.0f)}), 16), VELAException);
    EXPECT_THROW(RBWFilterTestAccess::Quant(w, Vec({-2.0f}), 16), VELAException);
    EXPECT_EQ(w.GetSize(), 1);
    EXPECT_EQ(w[0], 9u);
    // An empty tap list gives no words.
    RBWFilterTestAccess::Quant(w, VecReal32(), 16);
    EXPECT_EQ(w.GetSize(), 0);
}

TEST(RBWFilter, WordApplyRefusesBadWidths) {
    RBWFilter f(40.0f, 50.0f);
    VecUInt32 words;
    f.Apply(words, 25.0f, 2.0f, 40, 16);
    float gain0 = 0, delay0 = 0;
    f.GetProperties(gain0, delay0);
    for (int bits : {-5, 0, 1, 33}) {
        VecUInt32 w(1);
        w[0] = 3;
        EXPECT_THROW(f.Apply(w, 25.0f, 2.0f, 128, bits), VELAException) << bits;
        EXPECT_EQ(w.GetSize(), 1);
        EXPECT_EQ(w[0], 3u);
    }
    float gain = 0, delay = 0;
    f.GetProperties(gain, delay);
    EXPECT_EQ(gain, gain0);
    EXPECT_EQ(delay, delay0);
}

// ---- default filter and properties ----

TEST(RBWFilter, DefaultCoefficientsPassTheData) {
    RBWFilter f(40.0f, 50.0f);
    VecReal32 taps;
    for (int n : {1, 2, 40, 129}) {
        f.GetDefaultCoef(taps, n);
        ASSERT_EQ(taps.GetSize(), n);
        EXPECT_EQ(taps[0], 1.0f);
        for (int i = 1; i < n; ++i)
            EXPECT_EQ(taps[i], 0.0f);
    }
    for (int bits = 2; bits <= 32; ++bits) {
        VecUInt32 words;
        f.GetDefaultCoef(words, 5, bits);
        ASSERT_EQ(words.GetSize(), 5);
        EXPECT_EQ(words[0], static_cast<uint32_t>((int64_t{1} << (bits - 1)) - 1)) << bits;
        for (int i = 1; i < 5; ++i)
            EXPECT_EQ(words[i], 0u);
    }
}

TEST(RBWFilter, DefaultCoefficientsRefuseBadLengthsAndWidths) {
    RBWFilter f(40.0f, 50.0f);
    VecReal32 taps(2);
    EXPECT_THROW(f.GetDefaultCoef(taps, 0), VELAException);
    EXPECT_THROW(f.GetDefaultCoef(taps, -3), VELAException);
    EXPECT_EQ(taps.GetSize(), 2);
    VecUInt32 words(2);
    EXPECT_THROW(f.GetDefaultCoef(words, 0, 16), VELAException);
    EXPECT_THROW(f.GetDefaultCoef(words, 4, 1), VELAException);
    EXPECT_THROW(f.GetDefaultCoef(words, 4, 33), VELAException);
    EXPECT_EQ(words.GetSize(), 2);
}

TEST(RBWFilter, PropertiesDescribeTheLastDesign) {
    RBWFilter f(40.0f, 50.0f);
    float gain = -1, delay = -1;
    RBWFilter::GetDefaultProperties(gain, delay);
    EXPECT_EQ(gain, 1.0f);
    EXPECT_EQ(delay, 0.0f);
    // Before any design: those of the default filter.
    f.GetProperties(gain, delay);
    EXPECT_EQ(gain, 1.0f);
    EXPECT_EQ(delay, 0.0f);
    VecUInt32 words;
    f.Apply(words, 25.0f, 2.0f, 128, 32);
    f.GetProperties(gain, delay);
    EXPECT_EQ(gain, 8.0f);
    EXPECT_EQ(delay, 63.5f);
    // Float taps and the default words leave the properties of the last word design.
    VecReal32 taps;
    f.Apply(taps, 50.0f, 20.0f, 40);
    f.GetDefaultCoef(words, 10, 16);
    f.GetProperties(gain, delay);
    EXPECT_EQ(gain, 8.0f);
    EXPECT_EQ(delay, 63.5f);
}

TEST(RBWFilter, CopiesAreIndependent) {
    RBWFilter* a = new RBWFilter(40.0f, 50.0f);
    VecUInt32 wa, wb, wc;
    a->Apply(wa, 25.0f, 2.0f, 128, 32);
    RBWFilter b(*a);
    RBWFilter c(1.0f, 2.0f);
    c = *a;
    c = c;
    float gain = 0, delay = 0;
    b.GetProperties(gain, delay);
    EXPECT_EQ(gain, 8.0f);
    EXPECT_EQ(delay, 63.5f);
    // The original may go; the copies keep windows of their own and design the same words.
    delete a;
    b.Apply(wb, 25.0f, 2.0f, 128, 32);
    c.Apply(wc, 25.0f, 2.0f, 128, 32);
    for (int i = 0; i < 128; ++i) {
        ASSERT_EQ(wb[i], wa[i]);
        ASSERT_EQ(wc[i], wa[i]);
    }
    // The copies kept the widest rate: a wide filter at 50 is Gauss in both.
    b.Apply(wb, 50.0f, 20.0f, 40, 18);
    c.Apply(wc, 50.0f, 20.0f, 40, 18);
    EXPECT_EQ(wb[18], 11675u);
    EXPECT_EQ(wc[18], 11675u);
}

TEST(RBWFilter, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(RBWFilter::UnitTest(recorder));
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_GE(recorder.GetTotalTests(), 5);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
}
