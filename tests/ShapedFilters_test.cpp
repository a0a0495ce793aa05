// The pulse-shaping kinds: the quoted 7-tap designs (a unit impulse at index 3 of seven samples, filtered
// centred, gives the taps), the recommended lengths, the design steps (axis, scale, delay) against the
// waveform generator and closed forms, and bad arguments.
#include <corvane/dsp/ShapedFilters.h>
#include <corvane/dsp/WaveformGenerator.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;

namespace {

std::vector<double> Impulse7(FIRBaseFilter& f) {
    VecReal32 impulse(7), out;
    impulse.SetZero();
    impulse[3] = 1.0f;
    f.Apply(out, impulse, true);
    std::vector<double> r;
    for (int i = 0; i < out.GetSize(); ++i)
        r.push_back(out[i]);
    return r;
}
std::vector<double> Mirror(std::vector<double> half) {
    for (int i = 2; i >= 0; --i)
        half.push_back(half[i]);
    return half;
}
std::vector<double> Taps(const FIRBaseFilter& f) {
    VecReal32 t;
    f.GetTaps(t);
    std::vector<double> r;
    for (int i = 0; i < t.GetSize(); ++i)
        r.push_back(t[i]);
    return r;
}
template <class F>
void ExpectInvalid(F&& call) {
    try {
        call();
        ADD_FAILURE() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    }
}

}  // namespace

TEST(GaussianFilter, SevenTapsAtRate5Symbol1p67Bt0p3GiveTheQuotedTaps) {
    GaussianFilter f;
    f.SetParameters(5, 1.6666666f, 0.3f, 7);
    EXPECT_TRUE(NearAbs(Impulse7(f), Mirror({0.0232052, 0.09637616, 0.22646458, 0.30107674}), 1e-6));
}

TEST(GaussRectFilter, SevenTapsAtRate5Symbol1p67Bt0p3GiveTheQuotedTaps) {
    GaussRectFilter f;
    f.SetParameters(5, 1.6666666f, 0.3f, 7);
    EXPECT_TRUE(NearAbs(Impulse7(f), Mirror({0.042822957, 0.11627697, 0.20581393, 0.24745956}), 1e-6));
}

TEST(GaussRectFilter, TapsOfTheQuotedDesignSumToMoreThan0p97) {
    GaussRectFilter f;
    f.SetParameters(5, 1.6666666f, 0.3f, 7);
    double sum = 0.0;
    for (double v : Taps(f))
        sum += v;
    EXPECT_GT(sum, 0.97);
}

TEST(RootRaisedCosineFilter, SevenTapsAtRate20Symbol5Rolloff0p5GiveTheQuotedTaps) {
    RootRaisedCosineFilter f;
    f.SetParameters(20, 5, 0.5f, 7);
    EXPECT_TRUE(NearAbs(Impulse7(f), Mirror({0.039210666, 0.1446581, 0.24362384, 0.28415495}), 1e-6));
}

TEST(RectangularFilter, SevenTapsAtRate10Cutoff4GiveTheQuotedTaps) {
    RectangularFilter f;
    f.SetParameters(10, 4, 7);
    EXPECT_TRUE(NearAbs(Impulse7(f), Mirror({-0.06236595, 0.09354893, 0.30273068, 0.4}), 1e-6));
    // The four-argument form takes the cut-off from its second argument and ignores the third.
    RectangularFilter g;
    g.SetParameters(10, 4, 123.0f, 7);
    EXPECT_TRUE(NearAbs(Taps(g), Taps(f), 0.0));
    EXPECT_EQ(g.GetCutoffFrequency(), 4.0f);
    EXPECT_EQ(g.GetSamplingRate(), 10.0f);
}

TEST(RaisedCosineFilter, SevenTapsAtRate10Symbol5Rolloff0p5GiveTheQuotedTaps) {
    RaisedCosineFilter f;
    f.SetParameters(10, 5, 0.5f, 7);
    EXPECT_TRUE(NearAbs(Taps(f), {-0.060021, 0, 0.3001054, 0.5, 0.3001054, 0, -0.060021}, 1e-6));
    EXPECT_TRUE(NearAbs(Impulse7(f), Taps(f), 0.0));
}

TEST(RaisedCosineFilter, RolloffZeroRecommendsALargeOddLengthFromTheFloor0p001) {
    RaisedCosineFilter f;
    const int n = f.GetRecommendedTapSize(10, 5, 0.0f);
    // odd(4.375 * 2 / 0.0010000000474974513) = odd(8749.9996) = 8749.
    EXPECT_EQ(n, 8749);
    EXPECT_EQ(n % 2, 1);
    EXPECT_EQ(f.GetRecommendedTapSize(10, 5, -3.0f), 8749);
}

TEST(ShapedFilters, RecommendedLengthsFollowTheirRules) {
    RaisedCosineFilter rc;
    RootRaisedCosineFilter rrc;
    GaussianFilter g;
    GaussRectFilter gr;
    RectangularFilter rect;
    EXPECT_EQ(rc.GetRecommendedTapSize(8, 1, 0.35f), static_cast<int>(4.375 * 8 / 0.35f) | 1);  // 99 -> 99
    EXPECT_EQ(rrc.GetRecommendedTapSize(8, 1, 0.35f), static_cast<int>(8.75 * 8 / 0.35f) | 1);
    EXPECT_EQ(g.GetRecommendedTapSize(4, 1, 0.5f), 81);   // odd(80)
    EXPECT_EQ(gr.GetRecommendedTapSize(4, 1, 0.5f), 81);  // that of GaussianFilter
    EXPECT_EQ(rect.GetRecommendedTapSize(10, 4, 0), 25);  // odd(25)
    EXPECT_EQ(rect.GetRecommendedTapSize(10, 3, 0), 33);  // odd(33.3)
    ExpectInvalid([&] { rc.GetRecommendedTapSize(1e30f, 1e-30f, 0.5f); });
    ExpectInvalid([&] { g.GetRecommendedTapSize(NAN, 1, 0.5f); });
}

TEST(ShapedFilters, DesignsArePulsesOnACentredAxisScaledAsEachKindSays) {
    const float fs = 48000, sym = 4800, roll = 0.35f;
    const int n = 41;
    const float dt = 1.0f / fs, T = 1.0f / sym;
    VecReal32 t(n), p;
    for (int i = 0; i < n; ++i)
        t[i] = static_cast<float>(dt * static_cast<float>(n - 1) * -0.5f + static_cast<double>(dt) * i);

    RaisedCosineFilter rc;
    rc.SetParameters(fs, sym, roll, n);
    WaveformGenerator::RaisedCosinePulse(p, roll, T, t);
    p.Mul(dt / T);
    EXPECT_TRUE(NearAbs(
        Taps(rc),
        [&] {
            std::vector<double> v;
            for (int i = 0; i < n; ++i)
                v.push_back(p[i]);
            return v;
        }(),
        0.0));
    EXPECT_EQ(rc.GetDelay(), 20.0f);
    EXPECT_EQ(rc.GetNofTaps(), n);
    EXPECT_EQ(rc.GetSamplingRate(), fs);
    EXPECT_EQ(rc.GetSymbolRate(), sym);
    EXPECT_EQ(rc.GetRoleoff(), roll);

    // A raised cosine over +-10 symbols sums to about 1 (unit gain at DC); a root raised cosine twice
    // over makes one.
    RootRaisedCosineFilter rrc;
    rrc.SetParameters(fs, sym, roll, 201);
    VecReal32 h, twice;
    rrc.GetTaps(h);
    rrc.Apply(twice, h, true);  // rrc * rrc, centred on the middle of h
    RaisedCosineFilter rc201;
    rc201.SetParameters(fs, sym, roll, 201);
    const auto rcTaps = Taps(rc201);
    double sum = 0.0;
    for (double v : rcTaps)
        sum += v;
    EXPECT_NEAR(sum, 1.0, 2e-3);
    for (int i = 80; i <= 120; ++i)
        EXPECT_NEAR(twice[i], rcTaps[i], 2e-3) << i;

    // The Gaussian has unit area, so its taps sum to about 1.
    GaussianFilter g;
    g.SetParameters(fs, sym, 0.5f, 81);
    sum = 0.0;
    for (double v : Taps(g))
        sum += v;
    EXPECT_NEAR(sum, 1.0, 1e-5);
}

TEST(ShapedFilters, GaussRectCarriesTheIntegralTagAndFlag) {
    GaussRectFilter f;
    EXPECT_EQ(f.GetFilterType(), FIRFilterIntegralGaussian);
    EXPECT_TRUE(f.IsIntegralFilter());
    EXPECT_FALSE(f.IsComplexFilter());
    // Its Apply is the base's: plain convolution with the taps.
    f.SetParameters(5, 1.6666666f, 0.3f, 7);
    EXPECT_TRUE(NearAbs(Impulse7(f), Taps(f), 0.0));
}

TEST(ShapedFilters, NegativeOrHugeTapCountsAndNotANumberAreInvalidAndZeroTapsAreEmpty) {
    RaisedCosineFilter rc;
    ExpectInvalid([&] { rc.SetParameters(10, 5, 0.5f, -1); });
    ExpectInvalid([&] { rc.SetParameters(10, 5, 0.5f, (1 << 24) + 1); });
    ExpectInvalid([&] { rc.SetParameters(10, 5, 0.5f, INT_MAX); });
    ExpectInvalid([&] { rc.SetParameters(NAN, 5, 0.5f, 7); });
    ExpectInvalid([&] { rc.SetParameters(10, NAN, 0.5f, 7); });
    ExpectInvalid([&] { rc.SetParameters(10, 5, NAN, 7); });
    RootRaisedCosineFilter rrc;
    ExpectInvalid([&] { rrc.SetParameters(10, 5, 0.5f, -7); });
    GaussianFilter g;
    ExpectInvalid([&] { g.SetParameters(10, 5, NAN, 7); });
    GaussRectFilter gr;
    ExpectInvalid([&] { gr.SetParameters(10, 5, 0.3f, -2); });
    RectangularFilter rect;
    ExpectInvalid([&] { rect.SetParameters(10, NAN, 7); });
    rc.SetParameters(10, 5, 0.5f, 0);
    EXPECT_EQ(rc.GetNofTaps(), 0);
    EXPECT_TRUE(Taps(rc).empty());
    VecReal32 in(5), out(3);
    in.SetZero();
    rc.Apply(out, in, true);
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(ShapedFilters, ARateOfZeroDividesByZeroInTheTapsWithoutFault) {
    // Rates are not guarded: the division by zero shows as values that are not finite.
    RaisedCosineFilter rc;
    rc.SetParameters(0, 5, 0.5f, 7);
    ASSERT_EQ(rc.GetNofTaps(), 7);
    bool finite = true;
    for (double v : Taps(rc))
        finite = finite && std::isfinite(v);
    EXPECT_FALSE(finite);
}
