// DigitalSource: the named cases of its self-test, the lengths of its chain for many settings, the
// whole chain against numpy at every kernel level, and its defined reactions to misuse.
#include <corvane/dsp/DigitalSource.h>
#include <corvane/math/VELAError.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "kernel/Dispatch.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearL2;
using corvane_test::PyEval;
using corvane_test::Uniform;

namespace {

// Complex tones at absolute frequencies (Hz) as a receiver at srcCenter sampling at fs sees them, each
// starting at phase 0, computed in double.
VecCplx32 Tones(int n, double srcCenter, double fs, const std::vector<double>& freq,
                const std::vector<double>& amp) {
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i) {
        double re = 0.0, im = 0.0;
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

VecCplx32 Random(int n, unsigned seed) {
    const std::vector<double> u = Uniform(2 * static_cast<size_t>(n), seed);
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = {static_cast<float>(u[2 * i]), static_cast<float>(u[2 * i + 1])};
    return v;
}

std::vector<double> Flat(const VecCplx32& v) {
    std::vector<double> out;
    for (int i = 0; i < v.GetSize(); ++i) {
        out.push_back(v[i].re);
        out.push_back(v[i].im);
    }
    return out;
}

// Expects VELAException 8005 "invalid input parameter".
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

// The stage input lengths the chain sees for `inLen` samples, walked forward with the chain's own
// rule ((n - 25) >> 1 per 27-tap stage, then (n - 49) >> 1); returns the final length.
int ChainLength(int inLen, int stages, bool last, bool* anyOdd) {
    int n = inLen;
    *anyOdd = false;
    for (int i = 0; i < stages; ++i) {
        *anyOdd = *anyOdd || (n % 2 != 0);
        n = n - 25 > 0 ? (n - 25) >> 1 : 0;
    }
    if (last) {
        *anyOdd = *anyOdd || (n % 2 != 0);
        n = n - 49 > 0 ? (n - 49) >> 1 : 0;
    }
    return n;
}

// The chain behind a setting, read back from its rate and pad: h halvings of the source rate, and the
// pad of the 51-tap rule (p + 26 doubles per stage from 50 + 26: 38 * 2^h - 26) or of the plain rule
// (26 * 2^h - 26).
struct Chain {
    int stages;
    bool last;
};
Chain ChainOf(const DigitalSource& src, double srcRate) {
    const int h = static_cast<int>(std::lround(std::log2(srcRate / src.GetSampFreq())));
    const int pad = src.GetRequiredOrigDataLen(0);
    if (h >= 1 && pad == 38 * (1 << h) - 26) return {h - 1, true};
    EXPECT_EQ(pad, 26 * (1 << h) - 26);
    return {h, false};
}

}  // namespace

TEST(DigitalSource, PreChargeTimeIsHalfThePadOfTwoStages) {
    DigitalSource src;
    src.SetSource(260, 40, 50);
    EXPECT_EQ(src.SetParameters(260, 6.1), 78);  // (0 + 13) * 2 = 26, (26 + 13) * 2 = 78
    EXPECT_EQ(src.GetSampFreq(), 12.5);          // two stages, no 51-tap stage (6.1 / 12.5 > 0.4)
    EXPECT_EQ(src.GetPreChargeTime(), 39);
    EXPECT_EQ(src.GetRequiredOrigDataLen(0), 78);
}

TEST(DigitalSource, CheckLenRequiredLengthGivesExactly990) {
    DigitalSource src;
    src.SetSource(260, 40, 50);
    src.SetParameters(260, 6.1);
    const int need = src.GetRequiredOrigDataLen(990);
    EXPECT_EQ(need, 4038);
    VecCplx32 out;
    src.Apply(out, Random(need, 1));
    EXPECT_EQ(out.GetSize(), 990);
}

TEST(DigitalSource, GetMaxSpanLimitNamedFigures) {
    DigitalSource src;
    src.SetSource(1e9, 10e6, 25e6);
    EXPECT_EQ(src.GetMaxSpanLimit(25e6), 10e6);
    EXPECT_EQ(src.GetMaxSpanLimit(24e6), 10e6);
    EXPECT_EQ(src.GetMaxSpanLimit(12.5e6), 10e6);
    EXPECT_EQ(src.GetMaxSpanLimit(12.4e6), 10e6);
    EXPECT_EQ(src.GetMaxSpanLimit(6.25e6), 5e6);
    // An integer ratio keeps the power of two at or above it (25 / 5 = 5 -> 8); any other ratio takes
    // the next lower one (25 / 7 = 3.57 -> 4 -> 2).
    EXPECT_DOUBLE_EQ(src.GetMaxSpanLimit(5e6), 25e6 * 0.8 / 8);
    EXPECT_DOUBLE_EQ(src.GetMaxSpanLimit(7e6), 25e6 * 0.8 / 2);
    // A rate above the source's: no decimation, the source span.
    EXPECT_EQ(src.GetMaxSpanLimit(50e6), 10e6);
    ExpectInvalidInput([&] { src.GetMaxSpanLimit(0.0); });
    ExpectInvalidInput([&] { src.GetMaxSpanLimit(-1.0); });
}

TEST(DigitalSource, ApplyPassesOnlyTheToneAtTheNewCentre) {
    DigitalSource src;
    src.SetSource(1e9, 10e6, 25e6);
    EXPECT_EQ(src.SetParameters(999e6, 1e6), 582);
    EXPECT_EQ(src.GetSampFreq(), 1.5625e6);  // three stages and the 51-tap stage
    const VecCplx32 in =
        Tones(src.GetRequiredOrigDataLen(400), 1e9, 25e6, {999e6, 995.999e6, 995.998e6, 1002.56e6, 1003.45e6},
              {0.5, 0.05, 0.0125, 1.0, 1.0});
    VecCplx32 out;
    src.Apply(out, in);
    ASSERT_EQ(out.GetSize(), 400);
    for (int i = 0; i < out.GetSize(); ++i) {
        EXPECT_NEAR(out[i].re, 0.5, 1e-4) << i;
        EXPECT_NEAR(out[i].im, 0.0, 1e-4) << i;
    }
}

TEST(DigitalSource, Apply2EqualSpanMeansNoDecimation) {
    DigitalSource src;
    src.SetSource(1.5e9, 4.5e6, 50e6);
    EXPECT_EQ(src.SetParameters(1.5e9, 4.5e6), 0);
    EXPECT_EQ(src.GetSampFreq(), 50e6);
    EXPECT_EQ(src.GetRequiredOrigDataLen(293), 293);
    const VecCplx32 in = Random(293, 2);
    VecCplx32 out;
    src.Apply(out, in);
    ASSERT_EQ(out.GetSize(), 293);
    // Centre equal to the source's: a shift by zero, the samples pass unchanged.
    EXPECT_EQ(Flat(out), Flat(in));
}

TEST(DigitalSource, Apply3RequiredLengthGives293) {
    DigitalSource src;
    src.SetSource(1.5e9, 4.5e6, 50e6);
    src.SetParameters(1.5e9, 1e6);  // four stages (50 -> 3.125 MS/s) and the 51-tap stage
    EXPECT_EQ(src.GetSampFreq(), 1.5625e6);
    const int need = src.GetRequiredOrigDataLen(293);
    EXPECT_EQ(need, 10566);
    VecCplx32 out;
    src.Apply(out, Random(need, 3));
    EXPECT_EQ(out.GetSize(), 293);
}

TEST(DigitalSource, RequiredLengthAndOutputFormulaAgreeForManySettings) {
    std::mt19937 rng(77);
    std::uniform_real_distribution<double> logSpan(std::log(2e3), std::log(10e6));
    std::uniform_int_distribution<int> outs(0, 1000);
    DigitalSource src;
    src.SetSource(2.4e9, 10e6, 25e6);
    int withLast = 0, withoutLast = 0, evenStages = 0, oddStages = 0;
    for (int k = 0; k < 40; ++k) {
        const double span = k == 0 ? 10e6 : std::exp(logSpan(rng));
        const double centre = 2.4e9 + (static_cast<int>(rng() % 1000) - 500) * 1e3;
        const int pad = src.SetParameters(centre, span);
        EXPECT_EQ(pad, src.GetRequiredOrigDataLen(0));
        const Chain chain = ChainOf(src, 25e6);
        (chain.last ? withLast : withoutLast)++;
        (chain.stages % 2 == 0 ? evenStages : oddStages)++;
        for (int rep = 0; rep < 2; ++rep) {
            // Long outputs of the deep chains would make long inputs; keep those short.
            const int n = chain.stages > 6 ? outs(rng) / 20 : outs(rng);
            SCOPED_TRACE(testing::Message() << "span=" << span << " n=" << n);
            const int need = src.GetRequiredOrigDataLen(n);
            VecCplx32 in(need), out;
            in.SetZero();  // only the lengths matter here
            src.Apply(out, in);
            EXPECT_EQ(out.GetSize(), n);
            double rate = 0.0;
            int predicted = -1;
            src.GetOutputParameters(rate, predicted, need);
            EXPECT_EQ(predicted, n);
            EXPECT_EQ(rate, src.GetSampFreq());
        }
    }
    // The random spans must have covered both chain endings and both stage parities.
    EXPECT_GT(withLast, 4);
    EXPECT_GT(withoutLast, 4);
    EXPECT_GT(evenStages, 4);
    EXPECT_GT(oddStages, 4);
}

TEST(DigitalSource, OddStageInputGivesOneMoreThanTheFormula) {
    DigitalSource src;
    src.SetSource(0.0, 10e6, 25e6);
    int differing = 0;
    for (double span : {1e6, 3e6, 100e3, 6e6, 9e6}) {
        src.SetParameters(0.0, span);
        const Chain chain = ChainOf(src, 25e6);
        for (int inLen = src.GetRequiredOrigDataLen(0); inLen < src.GetRequiredOrigDataLen(0) + 200;
             inLen += 7) {
            VecCplx32 out;
            src.Apply(out, Random(inLen, 5));
            double rate = 0.0;
            int predicted = 0;
            src.GetOutputParameters(rate, predicted, inLen);
            bool anyOdd = false;
            EXPECT_EQ(out.GetSize(), ChainLength(inLen, chain.stages, chain.last, &anyOdd));
            // Equal when every stage input is even, one more as soon as one is odd.
            EXPECT_EQ(out.GetSize() - predicted, anyOdd ? 1 : 0) << "span=" << span << " inLen=" << inLen;
            differing += anyOdd ? 1 : 0;
        }
    }
    EXPECT_GT(differing, 10);
}

TEST(DigitalSource, MatchesNumpyChainAtEveryKernelLevel) {
    // Zero stages without and with the 51-tap step (equal span; 9 MHz), one stage without and with
    // it, two stages without and with it, and a deep chain.
    const double spans[] = {10e6, 9e6, 5.5e6, 4e6, 3e6, 2e6, 100e3};
    const int outLens[] = {50, 40, 60, 70, 80, 90, 20};
    std::vector<double> inputs, params;
    std::vector<VecCplx32> blocks;
    std::vector<int> configs;
    for (int k = 0; k < 7; ++k) {
        DigitalSource src;
        src.SetSource(1e9, 10e6, 25e6);
        const double centre = 1e9 + 0.37 * (10e6 - spans[k]);
        src.SetParameters(centre, spans[k]);
        const Chain chain = ChainOf(src, 25e6);
        configs.push_back(chain.stages * 2 + (chain.last ? 1 : 0));
        // A few samples beyond the required length: odd stage inputs along the way.
        blocks.push_back(Random(src.GetRequiredOrigDataLen(outLens[k]) + 3, 11 + k));
        const std::vector<double> flat = Flat(blocks.back());
        inputs.insert(inputs.end(), flat.begin(), flat.end());
        const double s = std::fmod((1e9 - centre) / 25e6 + 1.0, 1.0);
        params.insert(params.end(), {static_cast<double>(blocks.back().GetSize()), s,
                                     static_cast<double>(chain.stages), chain.last ? 1.0 : 0.0});
    }
    // All six endings of the chain are covered.
    for (int cfg : {0, 1, 2, 3, 4, 5})
        EXPECT_NE(std::find(configs.begin(), configs.end(), cfg), configs.end()) << cfg;
    const std::vector<double> expected = PyEval(R"(
F = np.array([0.5, 0.3106238842010498, -0.08499213308095932, 0.033999402076005936, -0.012833980843424797,
              0.003986687865108252, -0.000892365351319313, 0.00010895591549342498], np.float32).astype(float)
L = np.array([0.5, 0.3165855407714844, -0.1010282039642334, 0.055518925189971924, -0.034698665142059326,
              0.022507071495056152, -0.014587938785552979, 0.009243309497833252, -0.005630970001220703,
              0.0032446980476379395, -0.0017337203025817871, 0.0008341670036315918, -0.00034296512603759766,
              0.00011074542999267578], np.float32).astype(float)
def full(c):
    J = len(c) - 1
    h = np.zeros(4 * J - 1)
    h[2 * J - 1] = c[0]
    for j in range(J):
        h[2 * J - 2 - 2 * j] = h[2 * J + 2 * j] = c[j + 1]
    return h
def step(x, c):
    h = full(c)
    return np.convolve(x, h)[len(h) - 1:len(x)][0::2]
allx = a0[0::2] + 1j * a0[1::2]
pos, res = 0, []
for n, s, stages, last in a1.reshape(-1, 4):
    n = int(n)
    x = allx[pos:pos + n] * np.exp(2j * np.pi * float(np.float32(s)) * np.arange(n))
    pos += n
    for _ in range(int(stages)):
        x = step(x, F)
    if last > 0:
        x = step(x, L)
    res.append(x)
out = np.concatenate(res)
)",
                                                {inputs, params});
    const kern::Variant before = kern::ActiveVariant();
    for (kern::Variant v :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512}) {
        if (!kern::SetVariant(v)) continue;
        size_t pos = 0;
        for (int k = 0; k < 7; ++k) {
            SCOPED_TRACE(testing::Message() << "span=" << spans[k] << " level=" << kern::VariantName(v));
            DigitalSource src;
            src.SetSource(1e9, 10e6, 25e6);
            src.SetParameters(1e9 + 0.37 * (10e6 - spans[k]), spans[k]);
            VecCplx32 out;
            src.Apply(out, blocks[k]);
            const size_t len = 2 * static_cast<size_t>(out.GetSize());
            ASSERT_LE(pos + len, expected.size());
            EXPECT_TRUE(NearL2(
                Flat(out), std::vector<double>(expected.begin() + pos, expected.begin() + pos + len), 2e-6));
            pos += len;
        }
        EXPECT_EQ(pos, expected.size());
    }
    kern::SetVariant(before);
}

TEST(DigitalSource, ApplyBeforeSetParametersThrows) {
    VecCplx32 in = Random(1000, 6), out;
    DigitalSource fresh;
    ExpectInvalidInput([&] { fresh.Apply(out, in); });
    DigitalSource src;
    src.SetSource(1e9, 10e6, 25e6);
    ExpectInvalidInput([&] { src.Apply(out, in); });
    // A new source clears an earlier setting.
    src.SetParameters(1e9, 1e6);
    in = Random(src.GetRequiredOrigDataLen(10), 6);
    src.Apply(out, in);
    EXPECT_EQ(out.GetSize(), 10);
    src.SetSource(1e9, 10e6, 25e6);  // unchanged: nothing happens
    src.Apply(out, in);
    EXPECT_EQ(out.GetSize(), 10);
    src.SetSource(1e9, 20e6, 50e6);
    ExpectInvalidInput([&] { src.Apply(out, in); });
}

TEST(DigitalSource, ApplyChecksAgainstThePadAlone) {
    DigitalSource src;
    src.SetSource(1e9, 10e6, 25e6);
    const int pad = src.SetParameters(999e6, 1e6);
    VecCplx32 out;
    ExpectInvalidInput([&] { src.Apply(out, Random(pad - 1, 7)); });
    src.Apply(out, Random(pad, 7));
    EXPECT_EQ(out.GetSize(), 0);  // exactly the pad passes and gives almost nothing
    src.Apply(out, Random(pad + 2, 7));
    EXPECT_GE(out.GetSize(), 0);
}

TEST(DigitalSource, SetParametersRejectsSpansWithoutAStageCount) {
    DigitalSource src;
    ExpectInvalidInput([&] { src.SetParameters(1e9, 1e6); });  // source unset
    src.SetSource(1e9, 10e6, 25e6);
    ExpectInvalidInput([&] { src.SetParameters(1e9, 0.0); });
    ExpectInvalidInput([&] { src.SetParameters(1e9, -5.0); });
    ExpectInvalidInput([&] { src.SetParameters(1e9, 1e-30); });  // a pad beyond an int
    // Nothing was set: Apply still refuses.
    VecCplx32 out;
    ExpectInvalidInput([&] { src.Apply(out, Random(100, 9)); });
    // A valid setting stays in place when a later one is refused.
    const int pad = src.SetParameters(1e9, 1e6);
    ExpectInvalidInput([&] { src.SetParameters(1e9, 0.0); });
    EXPECT_EQ(src.GetRequiredOrigDataLen(0), pad);
    EXPECT_EQ(src.GetSampFreq(), 1.5625e6);
}

TEST(DigitalSource, MovingOnlyTheCentreKeepsTheChain) {
    DigitalSource src;
    src.SetSource(1e9, 10e6, 25e6);
    const int pad = src.SetParameters(999e6, 1e6);
    EXPECT_EQ(src.SetParameters(1001e6, 1e6), pad);
    EXPECT_EQ(src.GetSampFreq(), 1.5625e6);
    // The tone at the new centre is now the one that comes out at zero frequency.
    const VecCplx32 in = Tones(src.GetRequiredOrigDataLen(64), 1e9, 25e6, {999e6, 1001e6}, {0.5, 0.25});
    VecCplx32 out;
    src.Apply(out, in);
    ASSERT_EQ(out.GetSize(), 64);
    for (int i = 0; i < 64; ++i) {
        EXPECT_NEAR(out[i].re, 0.25, 1e-4);
        EXPECT_NEAR(out[i].im, 0.0, 1e-4);
    }
}

TEST(DigitalSource, CopiesAreIndependent) {
    DigitalSource a;
    a.SetSource(1e9, 10e6, 25e6);
    a.SetParameters(999e6, 1e6);
    DigitalSource b = a;
    b.SetParameters(999e6, 2e6);
    EXPECT_EQ(a.GetSampFreq(), 1.5625e6);
    EXPECT_NE(b.GetSampFreq(), a.GetSampFreq());
    const VecCplx32 in = Random(a.GetRequiredOrigDataLen(20), 8);
    VecCplx32 outA, outB;
    a.Apply(outA, in);
    DigitalSource c(a);
    c.Apply(outB, in);
    EXPECT_EQ(Flat(outA), Flat(outB));
}
