// DigitalZoom: the named cases of its self-test, the range test and the minimums of its set-up, tone
// levels across the span for every ending of the chain, the settled even-stage behaviour, units, and
// its defined reactions to misuse.
#include <corvane/dsp/BlackmanHarrisWindow.h>
#include <corvane/dsp/DigitalSource.h>
#include <corvane/dsp/DigitalZoom.h>
#include <corvane/dsp/FlatTopWindow.h>
#include <corvane/math/VELAError.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "kernel/Memory.h"

using namespace VELA;

namespace {

// Complex tones at absolute frequencies (Hz) seen by a receiver at srcCenter sampling at fs, each
// starting at phase 0, computed in double; plus Gaussian noise of `noise` per component.
VecCplx32 Tones(int n, double srcCenter, double fs, const std::vector<double>& freq,
                const std::vector<double>& amp, double noise = 0.0) {
    std::mt19937 rng(5);
    std::normal_distribution<double> gauss(0.0, noise > 0.0 ? noise : 1.0);
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i) {
        double re = noise > 0.0 ? gauss(rng) : 0.0, im = noise > 0.0 ? gauss(rng) : 0.0;
        for (size_t t = 0; t < freq.size(); ++t) {
            const double cycles = (freq[t] - srcCenter) / fs * i;
            const double a = 2.0 * M_PI * (cycles - std::floor(cycles));
            re += amp[t] * std::cos(a);
            im += amp[t] * std::sin(a);
        }
        v[i] = {static_cast<float>(re), static_cast<float>(im)};
    }
    return v;
}

template <class F>
void ExpectInvalidInput(F&& f) {
    try {
        f();
        ADD_FAILURE() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
        EXPECT_STREQ(e.message, "invalid input parameter");
    }
}

// The input length of a chain of `stages` 27-tap steps and an optional 51-tap step for a block.
int RequiredLength(int block, int stages, bool last) {
    int n = block;
    if (last) n = (25 + n) * 2;
    for (int i = 0; i < stages; ++i)
        n = (n + 13) * 2;
    return n;
}

int ArgMax(const VecReal32& v) {
    int best = 0;
    for (int i = 1; i < v.GetSize(); ++i)
        if (v[i] > v[best]) best = i;
    return best;
}

const std::vector<double> kSelfTestFreq = {9.99e8, 9.95999e8, 9.95998e8, 1.00256e9, 1.00345e9};
const std::vector<double> kSelfTestAmp = {0.5, 0.05, 0.0125, 1.0, 1.0};

void CheckSelfTestSetting(DigitalZoom& zoom) {
    const int len = zoom.SetParameters(1.003e9, 1e6, 1000, WindowTypeBlackmanHarris, 0);
    // Three 27-tap stages (25 -> 3.125 MS/s), 1 MHz is 32% of that, so the 51-tap stage follows:
    // 1.5625 MS/s, a block of trunc(1562.5 * 1.9 + 0.5) samples.
    const int block =
        static_cast<int>(std::trunc(1.5625e6 / 1000 * BlackmanHarrisWindow().GetEffectiveRBWScaling() + 0.5));
    EXPECT_EQ(len, RequiredLength(block, 3, true));
    ASSERT_GT(len, 0);
    const VecCplx32 in = Tones(len, 1e9, 2.5e7, kSelfTestFreq, kSelfTestAmp, 0.001);
    VecReal32 out;
    double binWidth = 0.0;
    zoom.Apply(out, binWidth, in);
    ASSERT_EQ(out.GetSize(), 1001);
    EXPECT_DOUBLE_EQ(binWidth, 1000.0);
    EXPECT_NEAR(out[950], 0.0, 0.1);  // 1.00345 GHz, amplitude 1
    EXPECT_NEAR(out[60], 0.0, 0.1);   // 1.00256 GHz, amplitude 1
    // The tones outside the zoom (3 MHz and more away) leave a floor far below.
    EXPECT_LT(out[500], -60.0f);
}

}  // namespace

TEST(DigitalZoom, SelfTestSettingThroughTheSourceConstructor) {
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    CheckSelfTestSetting(zoom);
}

TEST(DigitalZoom, SelfTestSettingThroughDefaultConstructorAndSetSource) {
    DigitalZoom zoom;
    zoom.SetSource(1e9, 1e7, 2.5e7);
    CheckSelfTestSetting(zoom);
}

TEST(DigitalZoom, RangeBeyondTheSourceReturnsMinusOneAndKeepsTheEarlierZoom) {
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    const int len = zoom.SetParameters(1.003e9, 1e6, 1000, WindowTypeFlatTop, 0);
    ASSERT_GT(len, 0);
    const VecCplx32 in = Tones(len, 1e9, 2.5e7, {1.0031e9}, {0.5});
    VecReal32 before, after;
    double binBefore = 0.0, binAfter = 0.0;
    zoom.Apply(before, binBefore, in);
    // Upper edge 2e-6 Hz beyond the source's (1.005 GHz), then the lower edge; a different span and
    // window too, which must not be taken over.
    EXPECT_EQ(zoom.SetParameters(1.0045e9 + 2e-6, 1e6, 1000, WindowTypeFlatTop, 0), -1);
    EXPECT_EQ(zoom.SetParameters(0.9955e9 - 2e-6, 1e6, 1000, WindowTypeFlatTop, 0), -1);
    EXPECT_EQ(zoom.SetParameters(1.0046e9, 2e6, 500, WindowTypeHann, 0), -1);
    zoom.Apply(after, binAfter, in);
    EXPECT_EQ(binAfter, binBefore);
    ASSERT_EQ(after.GetSize(), before.GetSize());
    EXPECT_EQ(0, std::memcmp(after.Data(), before.Data(), sizeof(float) * after.GetSize()));
    // Touching an edge exactly, or within the 1e-6 Hz slack, is inside.
    EXPECT_EQ(zoom.SetParameters(1.0045e9, 1e6, 1000, WindowTypeFlatTop, 0), len);
    EXPECT_EQ(zoom.SetParameters(0.9955e9, 1e6, 1000, WindowTypeFlatTop, 0), len);
    EXPECT_EQ(zoom.SetParameters(1.0045e9 + 0.5e-6, 1e6, 1000, WindowTypeFlatTop, 0), len);
    EXPECT_GT(zoom.SetParameters(1e9, 1e7, 1e4, WindowTypeFlatTop, 0), 0);  // the whole source
}

TEST(DigitalZoom, NarrowSpanKeepsAtLeast1001PointsAndABlockOfTwo) {
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    // 10 points asked (span / rbw + 1 = 10): 1001 given.
    int len = zoom.SetParameters(1e9, 9e3, 1e3, WindowTypeFlatTop, 0);
    VecReal32 out;
    double binWidth = 0.0;
    zoom.Apply(out, binWidth, Tones(len, 1e9, 2.5e7, {1e9}, {1.0}));
    EXPECT_EQ(out.GetSize(), 1001);
    EXPECT_DOUBLE_EQ(binWidth, 9.0);
    // An rbw far above the decimated rate: block trunc(rate / rbw * 3.77 + 0.5) = 0, raised to 2.
    // 100 kHz: 6 stages (25 MS/s -> 390.625 kS/s, 25.6%), then the 51-tap stage.
    len = zoom.SetParameters(1e9, 100e3, 50e6, WindowTypeFlatTop, 0);
    EXPECT_EQ(len, RequiredLength(2, 6, true));
    zoom.Apply(out, binWidth, Tones(len, 1e9, 2.5e7, {1e9}, {1.0}));
    EXPECT_EQ(out.GetSize(), 1001);
    EXPECT_DOUBLE_EQ(binWidth, 100.0);
    for (int i = 0; i < out.GetSize(); ++i)
        ASSERT_TRUE(std::isfinite(out[i])) << i;
}

TEST(DigitalZoom, ToneLevelsOnOutputPointsForEveryChainEnding) {
    struct Config {
        double span;
        int stages;
        bool last;
    };
    // Source 20 MHz wide at 25 MS/s. Every ending but the even count without the 51-tap stage.
    const Config configs[] = {
        {20e6, 0, false},   // the whole source: no filter at all
        {9e6, 0, true},     // 36% of 25 MS/s
        {5.5e6, 1, false},  // 44% of 12.5 MS/s
        {4e6, 1, true},     // 32% of 12.5 MS/s
        {1.4e6, 3, false},  // 44.8% of 3.125 MS/s
        {2e6, 2, true},     // 32% of 6.25 MS/s
        {0.3e6, 5, true},   // 38.4% of 781.25 kS/s
    };
    std::mt19937 rng(123);
    const float ftScaling = FlatTopWindow().GetEffectiveRBWScaling();
    for (const Config& c : configs) {
        const double srcCenter = 2.4e9, srcSpan = 20e6, fs = 25e6;
        const double centre = srcCenter + 0.3 * (srcSpan - c.span) / 2;
        const double rbw = c.span / 1000;  // 1001 points
        DigitalZoom zoom(srcCenter, srcSpan, fs);
        const int len = zoom.SetParameters(centre, c.span, rbw, WindowTypeFlatTop, 0);
        const double rate = fs / std::ldexp(1.0, c.stages + (c.last ? 1 : 0));
        const int block = static_cast<int>(std::trunc(rate / rbw * ftScaling + 0.5));
        ASSERT_EQ(len, RequiredLength(block, c.stages, c.last)) << c.span;
        for (int rep = 0; rep < 4; ++rep) {
            // A point anywhere in the span, edges included, and an amplitude between 0.01 and 1.
            const int k = rep == 0 ? 0 : rep == 1 ? 1000 : static_cast<int>(rng() % 1001);
            const double amp = std::pow(10.0, -2.0 * std::uniform_real_distribution<double>(0, 1)(rng));
            const double f = centre - c.span / 2 + k * (c.span / 1000);
            VecReal32 out;
            double binWidth = 0.0;
            zoom.Apply(out, binWidth, Tones(len, srcCenter, fs, {f}, {amp}));
            ASSERT_EQ(out.GetSize(), 1001);
            EXPECT_DOUBLE_EQ(binWidth, c.span / 1000);
            EXPECT_NEAR(out[k], 20.0 * std::log10(amp), 0.1) << "span=" << c.span << " point=" << k;
            EXPECT_EQ(ArgMax(out), k) << "span=" << c.span;
        }
    }
}

TEST(DigitalZoom, EvenStagesWithoutTheLastStageHandOnTheStageBeforeTheLast) {
    // 3 MHz out of 25 MS/s: two 27-tap stages (6.25 MS/s), 48% of that rate, so no 51-tap stage. The
    // window and the chirp-Z, set up for 6.25 MS/s, receive the first block of the 12.5 MS/s output of
    // stage one: every frequency offset reads at half its value.
    const double srcCenter = 1e9, fs = 25e6, centre = 1.0005e9, span = 3e6, rbw = 3e3;
    DigitalZoom zoom(srcCenter, 10e6, fs);
    const int len = zoom.SetParameters(centre, span, rbw, WindowTypeFlatTop, 0);
    const int block =
        static_cast<int>(std::trunc(6.25e6 / rbw * FlatTopWindow().GetEffectiveRBWScaling() + 0.5));
    ASSERT_EQ(len, RequiredLength(block, 2, false));
    std::mt19937 rng(9);
    for (int rep = 0; rep < 4; ++rep) {
        // Offsets up to +-1.2 MHz: within the first stage's flat passband.
        const int d = static_cast<int>(rng() % 401) - 200;  // points from the centre (3 kHz each)
        const double amp = 0.3 + 0.1 * rep;
        VecReal32 out;
        double binWidth = 0.0;
        zoom.Apply(out, binWidth, Tones(len, srcCenter, fs, {centre + 2.0 * d * 3e3}, {amp}));
        ASSERT_EQ(out.GetSize(), 1001);
        EXPECT_EQ(ArgMax(out), 500 + d) << d;
        EXPECT_NEAR(out[500 + d], 20.0 * std::log10(amp), 0.1) << d;
    }
    // The same offset through an odd count (1.4 MHz: three stages, no 51-tap stage) reads where it is.
    DigitalZoom odd(srcCenter, 10e6, fs);
    const int oddLen = odd.SetParameters(centre, 1.4e6, 1.4e3, WindowTypeFlatTop, 0);
    VecReal32 out;
    double binWidth = 0.0;
    odd.Apply(out, binWidth, Tones(oddLen, srcCenter, fs, {centre + 2.0 * 100 * 1.4e3}, {0.5}));
    EXPECT_EQ(ArgMax(out), 700);
}

TEST(DigitalZoom, ApplyBeforeSetParametersThrows) {
    VecCplx32 in = Tones(50000, 1e9, 2.5e7, {1e9}, {1.0});
    VecReal32 out;
    double binWidth = 0.0;
    DigitalZoom unset;
    ExpectInvalidInput([&] { unset.Apply(out, binWidth, in); });
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    ExpectInvalidInput([&] { zoom.Apply(out, binWidth, in); });
    // An unset source contains no range.
    EXPECT_EQ(unset.SetParameters(1e9, 1e6, 1000, WindowTypeFlatTop, 0), -1);
    ExpectInvalidInput([&] { unset.Apply(out, binWidth, in); });
    // A new source clears the zoom; the same source changes nothing.
    const int len = zoom.SetParameters(1e9, 1e6, 1000, WindowTypeHann, 0);
    in = Tones(len, 1e9, 2.5e7, {1e9}, {1.0});
    zoom.Apply(out, binWidth, in);
    zoom.SetSource(1e9, 1e7, 2.5e7);
    zoom.Apply(out, binWidth, in);
    zoom.SetSource(1e9, 1e7, 5e7);
    ExpectInvalidInput([&] { zoom.Apply(out, binWidth, in); });
}

TEST(DigitalZoom, ShortInputIsRefused) {
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    const int len = zoom.SetParameters(1e9, 1e6, 1000, WindowTypeHann, 0);
    VecReal32 out;
    double binWidth = 0.0;
    ExpectInvalidInput([&] { zoom.Apply(out, binWidth, Tones(len - 1, 1e9, 2.5e7, {1e9}, {1.0})); });
    zoom.Apply(out, binWidth, Tones(len + 17, 1e9, 2.5e7, {1e9}, {1.0}));  // longer is fine
    EXPECT_EQ(out.GetSize(), 1001);
}

TEST(DigitalZoom, InvalidSettingsThrowAndKeepTheEarlierZoom) {
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    const int len = zoom.SetParameters(1e9, 1e6, 1000, WindowTypeHann, 0);
    ExpectInvalidInput([&] { zoom.SetParameters(1e9, 1e6, 0.0, WindowTypeHann, 0); });
    ExpectInvalidInput([&] { zoom.SetParameters(1e9, 1e6, -1.0, WindowTypeHann, 0); });
    ExpectInvalidInput([&] { zoom.SetParameters(1e9, 0.0, 1000, WindowTypeHann, 0); });
    ExpectInvalidInput([&] { zoom.SetParameters(1e9, 1e6, 1000, static_cast<WindowType>(8), 0); });
    ExpectInvalidInput([&] { zoom.SetParameters(1e9, 1e6, 1e-9, WindowTypeHann, 0); });  // beyond an int
    EXPECT_EQ(zoom.SetParameters(1e9, 1e6, 1000, WindowTypeHann, 0), len);
    VecReal32 out;
    double binWidth = 0.0;
    zoom.Apply(out, binWidth, Tones(len, 1e9, 2.5e7, {1.0001e9}, {1.0}));
    EXPECT_NEAR(out[600], 0.0, 0.1);
}

TEST(DigitalZoom, MovingTheCentreRebuildsNothingAndSteadyCallsAllocateNothing) {
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    const int len = zoom.SetParameters(1.001e9, 1e6, 1000, WindowTypeFlatTop, 0);
    const VecCplx32 in = Tones(len, 1e9, 2.5e7, {1.0012e9, 0.9985e9}, {1.0, 0.1});
    VecReal32 out;
    double binWidth = 0.0;
    zoom.Apply(out, binWidth, in);
    EXPECT_EQ(ArgMax(out), 700);
    const long long before = kern::AllocationCount();
    EXPECT_EQ(zoom.SetParameters(0.999e9, 1e6, 1000, WindowTypeFlatTop, 0), len);
    zoom.Apply(out, binWidth, in);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(ArgMax(out), 0);  // 0.9985 GHz, the left edge
    EXPECT_NEAR(out[0], -20.0, 0.1);
}

TEST(DigitalZoom, UnitZeroIsDecibelsOfPowerAnythingElseLinear) {
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    const int len = zoom.SetParameters(1e9, 1e6, 1000, WindowTypeFlatTop, 0);
    const VecCplx32 in = Tones(len, 1e9, 2.5e7, {1.0002e9}, {0.5});
    VecReal32 db, lin;
    double binWidth = 0.0;
    zoom.Apply(db, binWidth, in);
    zoom.SetUnit(PowerUnitDBPlus10);  // 1: linear here, not dB + 10
    zoom.Apply(lin, binWidth, in);
    ASSERT_EQ(lin.GetSize(), db.GetSize());
    EXPECT_NEAR(lin[700], 0.25, 0.25 * 0.03);  // power of amplitude 0.5
    for (int i = 0; i < lin.GetSize(); ++i)
        ASSERT_NEAR(db[i], 10.0 * std::log10(static_cast<double>(lin[i]) + 1e-40), 1e-3) << i;
    // An empty block reads 10 log10(1e-40), about -400 dB, not minus infinity.
    zoom.SetUnit(PowerUnitDB);
    VecCplx32 zero(len);
    zero.SetZero();
    zoom.Apply(db, binWidth, zero);
    EXPECT_NEAR(db[0], -400.0, 0.01);
    // A new source returns the unit to dB.
    zoom.SetUnit(PowerUnitLinear);
    zoom.SetSource(1e9, 1e7, 5e7);
    const int len2 = zoom.SetParameters(1e9, 1e6, 1000, WindowTypeFlatTop, 0);
    zoom.Apply(db, binWidth, Tones(len2, 1e9, 5e7, {1.0002e9}, {0.5}));
    EXPECT_NEAR(db[700], 20.0 * std::log10(0.5), 0.1);
}

TEST(DigitalZoom, HalfBandTablesEqualDigitalSourcesButAreTheirOwn) {
    EXPECT_EQ(DigitalZoom::halfBandFilterTaps, 27);
    EXPECT_EQ(DigitalZoom::halfBandLastFilterTaps, 51);
    EXPECT_EQ(DigitalZoom::halfBandFilterTaps, DigitalSource::halfBandFilterTaps);
    EXPECT_EQ(DigitalZoom::halfBandLastFilterTaps, DigitalSource::halfBandLastFilterTaps);
    EXPECT_EQ(0, std::memcmp(DigitalZoom::halfBandFilterCoefs, DigitalSource::halfBandFilterCoefs,
                             sizeof(float) * 8));
    EXPECT_EQ(0, std::memcmp(DigitalZoom::halfBandLastFilterCoefs, DigitalSource::halfBandLastFilterCoefs,
                             sizeof(float) * 14));
    EXPECT_NE(static_cast<const void*>(DigitalZoom::halfBandFilterCoefs),
              static_cast<const void*>(DigitalSource::halfBandFilterCoefs));
    EXPECT_NE(static_cast<const void*>(DigitalZoom::halfBandLastFilterCoefs),
              static_cast<const void*>(DigitalSource::halfBandLastFilterCoefs));
    EXPECT_EQ(DigitalZoom::halfBandFilterCoefs[1], 0.3106238842010498f);
    EXPECT_EQ(DigitalZoom::halfBandLastFilterCoefs[13], 0.00011074542999267578f);
}
