#include <corvane/dsp/UserDefinedFilters.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "internal/UserTapResampling.h"
#include "kernel/Memory.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::PyEval;
using corvane_test::ToDoubles;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// 32 taps at 16 per symbol, real 1 from the index 8 to 23: a rectangle of one symbol.
VecCplx32 OneSymbolRectangle() {
    VecCplx32 t(32);
    for (int i = 0; i < 32; ++i)
        t[i] = {i >= 8 && i <= 23 ? 1.0f : 0.0f, 0.0f};
    return t;
}

// A band-limited pulse at 16 taps per symbol (a sinc under a Gaussian taper) with an echo, so that it is
// not symmetric, and a fixed phase when complex.
VecCplx32 MeasuredPulse(int n, double centre, bool complex) {
    VecCplx32 h(n);
    for (int i = 0; i < n; ++i) {
        auto lobe = [](double u) {
            return (u == 0 ? 1.0 : std::sin(kPi * 0.8 * u) / (kPi * 0.8 * u)) * std::exp(-u * u / 8);
        };
        const double v = lobe((i - centre) / 16.0) + 0.4 * lobe((i - centre - 24.0) / 16.0);
        h[i] = complex ? Cplx32{static_cast<float>(v * std::cos(0.7)), static_cast<float>(v * std::sin(0.7))}
                       : Cplx32{static_cast<float>(v), 0.0f};
    }
    return h;
}

VecReal32 RealPart(const VecCplx32& c) {
    VecReal32 r(c.GetSize());
    for (int i = 0; i < c.GetSize(); ++i)
        r[i] = c[i].re;
    return r;
}

bool SameTaps(const VecCplx32& a, const VecCplx32& b) {
    if (a.GetSize() != b.GetSize()) return false;
    for (int i = 0; i < a.GetSize(); ++i)
        if (a[i].re != b[i].re || a[i].im != b[i].im) return false;
    return true;
}

VecCplx32 TapsOf(const FIRBaseFilter& f) {
    VecCplx32 t;
    f.GetTaps(t);
    return t;
}

double EnergyCentreOf(const VecCplx32& v) {
    double e = 0, m = 0;
    for (int i = 0; i < v.GetSize(); ++i) {
        const double p = static_cast<double>(v[i].re) * v[i].re + static_cast<double>(v[i].im) * v[i].im;
        e += p;
        m += i * p;
    }
    return m / e;
}

// The edges of held step responses, directly: out[x] = sum_i in[i] R(x - i + s), R(j) = 0 before the
// response, taps[j] within it and the last tap after it. A step whose whole response would lie before
// the block (i - s + t - 1 < 0, a time shift of more than a response's length) is left out: its level
// is never reached inside the block to be held. The level is carried one sample per input sample, so
// nothing reaches past the index n - s + t - 1 (which only matters when s > t - 1).
const char* kHeldSteps = R"(
x = a0[0::2] + 1j * a0[1::2]
taps = a1[0::2] + 1j * a1[1::2]
s = int(a2[0])
real = a2[1] != 0
if real:
    x = x.real + 0j
    taps = taps.real + 0j
n, t = len(x), len(taps)
res = np.zeros(n, dtype=complex)
for i in np.nonzero(x)[0]:
    if i - s + t - 1 < 0:
        continue
    j = np.arange(n) - i + s
    R = np.where(j < 0, 0, taps[np.clip(j, 0, t - 1)])
    res += x[i] * R
res[max(n - s + t, 0):] = 0
out = res
)";

}  // namespace

// ---------------------------------------------------------------- UserDefinedFilter

TEST(UserDefinedFilter, RecommendsTheResampledLength) {
    UserDefinedFilter f;
    EXPECT_EQ(f.GetRecommendedTapSize(1e6f, 250000, 0.5f), 1023);
    EXPECT_EQ(f.GetFilterType(), FIRFilterUserDefined);
    EXPECT_FALSE(f.IsIntegralFilter());
    EXPECT_FALSE(f.IsComplexFilter());
    f.SetUserTaps(OneSymbolRectangle(), 16);
    // The query resamples the filter itself.
    VecCplx32 expected;
    UserDefinedFilter::ComputeResampledFilterTaps(expected, OneSymbolRectangle(), 16, 4);
    EXPECT_EQ(f.GetRecommendedTapSize(1e6f, 250000, 0.5f), expected.GetSize());
    EXPECT_EQ(f.GetNofTaps(), expected.GetSize());
    EXPECT_EQ(f.GetSamplingRate(), 1e6f);
    EXPECT_TRUE(SameTaps(TapsOf(f), expected));
}

TEST(UserDefinedFilter, ResampledFrom16To4KeepsTheEnergyCentreAndTheInterpolant) {
    const char* script = R"(
h = a0[0::2] + 1j * a0[1::2]
ratio = a1[0] / a1[1]
n = len(h)
p = np.abs(h) ** 2
c = (np.arange(n) * p).sum() / p.sum()
length = 2 * int(max(c, n - 1 - c) / ratio) + 3
pos = c - (np.arange(length) - length // 2) * ratio
out = (h[None, :] * np.sinc(np.arange(n)[None, :] - pos[:, None])).sum(axis=1) / a1[1]
)";
    for (bool complex : {false, true})
        for (double centre : {60.0, 58.7}) {
            const VecCplx32 h = MeasuredPulse(161, centre, complex);
            UserDefinedFilter f;
            f.SetParameters(4e6f, 1e6f, 0, 0);
            f.SetUserTaps(h, 16);
            EXPECT_TRUE(f.IsComplexFilter());
            const VecCplx32 taps = TapsOf(f);
            ASSERT_EQ(taps.GetSize() % 2, 1);
            EXPECT_EQ(f.GetDelay(), static_cast<float>((taps.GetSize() - 1) / 2));
            // The energy centre of the input lands on the middle tap.
            EXPECT_NEAR(EnergyCentreOf(taps), taps.GetSize() / 2, 0.02) << complex << centre;
            // Each tap is the band-limited interpolant at its position, divided by 4.
            EXPECT_TRUE(NearAbs(ToDoubles(taps), PyEval(script, {ToDoubles(h), {16.0, 4.0}}), 2e-6))
                << complex << centre;
        }
}

TEST(UserDefinedFilter, EitherOrderOfTheTwoCallsGivesTheSameFilter) {
    UserDefinedFilter a, b;
    a.SetUserTaps(OneSymbolRectangle(), 16);
    EXPECT_EQ(a.GetNofTaps(), 0);  // no rates yet: only recorded
    a.SetParameters(1e6f, 250000, 0, 0);
    b.SetParameters(1e6f, 250000, 0, 0);
    EXPECT_EQ(b.GetNofTaps(), 0);  // no taps yet: only recorded
    b.SetUserTaps(OneSymbolRectangle(), 16);
    EXPECT_GT(a.GetNofTaps(), 0);
    EXPECT_TRUE(SameTaps(TapsOf(a), TapsOf(b)));
    EXPECT_EQ(a.GetDelay(), b.GetDelay());
}

TEST(UserDefinedFilter, SameRatesTwiceResampleOnce) {
    UserDefinedFilter f;
    f.SetUserTaps(OneSymbolRectangle(), 16);
    f.SetParameters(1e6f, 250000, 0, 0);
    const int natural = f.GetNofTaps();
    // Asking for 5 taps with the same rates resizes the current taps...
    f.SetParameters(1e6f, 250000, 0, 5);
    EXPECT_EQ(f.GetNofTaps(), 5);
    // ...and asking again without a size keeps them: no second resampling took place.
    f.SetParameters(1e6f, 250000, 0, 0);
    EXPECT_EQ(f.GetNofTaps(), 5);
    EXPECT_EQ(f.GetDelay(), 2.0f);
    // New rates resample.
    f.SetParameters(2e6f, 250000, 0, 0);
    VecCplx32 at8;
    UserDefinedFilter::ComputeResampledFilterTaps(at8, OneSymbolRectangle(), 16, 8);
    EXPECT_TRUE(SameTaps(TapsOf(f), at8));
    // And the same rates as at first resample once more, back to the natural length.
    f.SetParameters(1e6f, 250000, 0, 0);
    EXPECT_EQ(f.GetNofTaps(), natural);
}

TEST(UserDefinedFilter, RequestedTapCountResizesAboutTheMiddle) {
    UserDefinedFilter f;
    f.SetUserTaps(OneSymbolRectangle(), 16);
    f.SetParameters(1e6f, 250000, 0, 0);
    const VecCplx32 natural = TapsOf(f);
    const int n0 = natural.GetSize();
    for (int n : {3, 4, n0 + 10, n0 + 11}) {
        UserDefinedFilter g;
        g.SetUserTaps(OneSymbolRectangle(), 16);
        g.SetParameters(1e6f, 250000, 0, n);
        const VecCplx32 t = TapsOf(g);
        ASSERT_EQ(t.GetSize(), n);
        EXPECT_EQ(g.GetNofTaps(), n);
        EXPECT_EQ(g.GetDelay(), static_cast<float>((n - 1) / 2));
        VecCplx32 expected(natural);
        UserDefinedFilter::ResizeFilterTaps(expected, n, n0);
        EXPECT_TRUE(SameTaps(t, expected)) << n;
        if (n > n0) {
            const int front = (n - n0) / 2;
            EXPECT_EQ(t[0].re, 0.0f);
            EXPECT_EQ(t[n - 1].re, 0.0f);
            EXPECT_EQ(t[front].re, natural[0].re);
        } else {
            EXPECT_EQ(t[0].re, natural[(n0 - n) / 2].re);
        }
    }
}

TEST(UserDefinedFilter, FiltersWithTheComplexTaps) {
    UserDefinedFilter f;
    f.SetParameters(4e6f, 1e6f, 0, 0);
    f.SetUserTaps(MeasuredPulse(161, 58.7, true), 16);
    const VecCplx32 taps = TapsOf(f);
    const int t = taps.GetSize();
    // A unit impulse at the middle of t samples, centred: the taps themselves, for complex and real
    // data alike.
    VecCplx32 in(t), out;
    VecReal32 rin(t);
    for (int i = 0; i < t; ++i) {
        in[i] = {i == t / 2 ? 1.0f : 0.0f, 0.0f};
        rin[i] = i == t / 2 ? 1.0f : 0.0f;
    }
    f.Apply(out, in, true);
    EXPECT_TRUE(NearAbs(ToDoubles(out), ToDoubles(taps), 1e-7));
    VecCplx32 out2;
    f.Apply(out2, rin, true);
    EXPECT_TRUE(NearAbs(ToDoubles(out2), ToDoubles(taps), 1e-7));
}

TEST(UserDefinedFilter, RealTapsOnEmptyStorageTakeTheirLength) {
    UserDefinedFilter a, b;
    a.SetParameters(1e6f, 250000, 0, 0);
    a.SetUserTaps(RealPart(OneSymbolRectangle()), 16);
    b.SetParameters(1e6f, 250000, 0, 0);
    b.SetUserTaps(OneSymbolRectangle(), 16);
    EXPECT_TRUE(a.IsComplexFilter());
    EXPECT_TRUE(SameTaps(TapsOf(a), TapsOf(b)));
}

TEST(UserDefinedFilter, RealTapsKeepTheStoredSizeAndTail) {
    // 48 complex taps, then 32 real ones: the stored taps keep 48 values, the first 32 replaced (with
    // zero imaginary components) and the last 16 as they were.
    const VecCplx32 first = MeasuredPulse(48, 20.0, true);
    const VecCplx32 second = OneSymbolRectangle();
    VecCplx32 merged(48);
    for (int i = 0; i < 48; ++i)
        merged[i] = i < 32 ? Cplx32{second[i].re, 0.0f} : first[i];
    UserDefinedFilter f, g;
    f.SetParameters(1e6f, 250000, 0, 0);
    f.SetUserTaps(first, 16);
    f.SetUserTaps(RealPart(second), 16);
    g.SetParameters(1e6f, 250000, 0, 0);
    g.SetUserTaps(merged, 16);
    EXPECT_TRUE(SameTaps(TapsOf(f), TapsOf(g)));
    EXPECT_EQ(f.GetTapRate(), 16.0f);
}

TEST(UserDefinedFilter, ClearForgetsTapsAndRates) {
    UserDefinedFilter f;
    f.SetUserTaps(OneSymbolRectangle(), 16);
    f.SetParameters(1e6f, 250000, 0, 0);
    const VecCplx32 before = TapsOf(f);
    f.Clear();
    EXPECT_EQ(f.GetRecommendedTapSize(1e6f, 250000, 0), 1023);
    // Only recorded now: the taps stay as they were.
    f.SetParameters(2e6f, 250000, 0, 0);
    EXPECT_TRUE(SameTaps(TapsOf(f), before));
    EXPECT_TRUE(f.IsComplexFilter());
    // The next taps resample at the recorded rates.
    f.SetUserTaps(OneSymbolRectangle(), 16);
    VecCplx32 at8;
    UserDefinedFilter::ComputeResampledFilterTaps(at8, OneSymbolRectangle(), 16, 8);
    EXPECT_TRUE(SameTaps(TapsOf(f), at8));
}

TEST(UserDefinedFilter, RefusesBadInputAndKeepsItsState) {
    UserDefinedFilter f;
    f.SetUserTaps(OneSymbolRectangle(), 16);
    f.SetParameters(1e6f, 250000, 0, 0);
    const VecCplx32 before = TapsOf(f);
    VecCplx32 empty;
    VecReal32 emptyReal;
    EXPECT_THROW(f.SetUserTaps(empty, 16), VELAException);
    EXPECT_THROW(f.SetUserTaps(emptyReal, 16), VELAException);
    for (float rate : {0.0f, -16.0f, kNaN, std::numeric_limits<float>::infinity()}) {
        EXPECT_THROW(f.SetUserTaps(OneSymbolRectangle(), rate), VELAException) << rate;
        EXPECT_THROW(f.SetUserTaps(RealPart(OneSymbolRectangle()), rate), VELAException) << rate;
    }
    VecCplx32 bad = OneSymbolRectangle();
    bad[5] = {kNaN, 0.0f};
    EXPECT_THROW(f.SetUserTaps(bad, 16), VELAException);
    VecReal32 badReal = RealPart(OneSymbolRectangle());
    badReal[5] = kNaN;
    EXPECT_THROW(f.SetUserTaps(badReal, 16), VELAException);
    for (auto [fs, sym, n] : std::vector<std::tuple<float, float, int>>{{0, 250000, 0},
                                                                        {-1e6f, 250000, 0},
                                                                        {1e6f, 0, 0},
                                                                        {1e6f, -1, 0},
                                                                        {kNaN, 250000, 0},
                                                                        {1e6f, 250000, -3}})
        EXPECT_THROW(f.SetParameters(fs, sym, 0, n), VELAException) << fs << " " << sym << " " << n;
    // So many taps that the resampled length leaves int.
    EXPECT_THROW(f.SetParameters(1e6f, 1e-6f, 0, 0), VELAException);
    EXPECT_TRUE(SameTaps(TapsOf(f), before));
    EXPECT_EQ(f.GetSamplingRate(), 1e6f);
    EXPECT_EQ(f.GetSymbolRate(), 250000.0f);
    EXPECT_EQ(f.GetTapRate(), 16.0f);
}

// ---------------------------------------------------------------- IntegralUserDefinedFilter

TEST(IntegralUserDefinedFilter, EdgesComeOutAsAMirrorImage) {
    IntegralUserDefinedFilter f;
    f.SetParameters(1e6f, 250000, 0, 0);
    f.SetUserTaps(OneSymbolRectangle(), 16);
    VecCplx32 in(1024), out;
    VecReal32 rin(1024), rout;
    for (int i = 0; i < 1024; ++i) {
        const float v = i % 4 == 0 ? (i <= 508 ? 1.0f : -1.0f) : 0.0f;
        in[i] = {v, 0.0f};
        rin[i] = v;
    }
    f.Apply(out, in, true);
    f.Apply(rout, rin, true);
    ASSERT_EQ(out.GetSize(), 1024);
    ASSERT_EQ(rout.GetSize(), 1024);
    const double centre = out[510].re;
    EXPECT_GT(centre, 100.0);
    for (int d = 1; d <= 510; ++d) {
        EXPECT_NEAR(out[510 - d].re, out[510 + d].re, 0.001 * std::fabs(centre)) << d;
        EXPECT_NEAR(out[510 - d].im, out[510 + d].im, 0.001 * std::fabs(centre)) << d;
    }
    for (int i = 0; i < 1024; ++i)
        EXPECT_EQ(rout[i], out[i].re) << i;
}

TEST(IntegralUserDefinedFilter, TapsAreTheStepResponse) {
    IntegralUserDefinedFilter f;
    EXPECT_EQ(f.GetRecommendedTapSize(1e6f, 250000, 0), 1023);
    EXPECT_EQ(f.GetFilterType(), FIRFilterIntegralUserDefined);
    EXPECT_TRUE(f.IsIntegralFilter());
    f.SetUserTaps(MeasuredPulse(161, 58.7, true), 16);
    EXPECT_TRUE(f.IsComplexFilter());
    const int n = f.GetRecommendedTapSize(4e6f, 1e6f, 0);
    VecCplx32 expected;
    IntegralUserDefinedFilter::ComputeResampledFilterTaps(expected, MeasuredPulse(161, 58.7, true), 16, 4);
    EXPECT_EQ(n, expected.GetSize());
    const VecCplx32 taps = TapsOf(f);
    EXPECT_TRUE(SameTaps(taps, expected));
    EXPECT_EQ(n % 2, 1);
    EXPECT_NEAR(std::hypot(taps[n - 1].re, taps[n - 1].im), 1.0, 1e-6);
    EXPECT_NEAR(std::hypot(taps[0].re, taps[0].im), 0.0, 0.02);
}

TEST(IntegralUserDefinedFilter, LongerTapsHoldTheLastLevel) {
    IntegralUserDefinedFilter f;
    f.SetUserTaps(OneSymbolRectangle(), 16);
    f.SetParameters(1e6f, 250000, 0, 0);
    const VecCplx32 natural = TapsOf(f);
    const int n0 = natural.GetSize();
    f.SetParameters(1e6f, 250000, 0, n0 + 9);
    const VecCplx32 t = TapsOf(f);
    ASSERT_EQ(t.GetSize(), n0 + 9);
    const int front = 9 / 2;
    for (int i = 0; i < front; ++i)
        EXPECT_EQ(t[i].re, 0.0f);
    for (int i = 0; i < n0; ++i)
        EXPECT_EQ(t[front + i].re, natural[i].re);
    for (int i = front + n0; i < n0 + 9; ++i)
        EXPECT_EQ(t[i].re, natural[n0 - 1].re);
    // Shorter keeps the middle, as the plain kind does.
    f.SetParameters(1e6f, 250000, 0, 3);
    EXPECT_EQ(f.GetNofTaps(), 3);
    EXPECT_EQ(TapsOf(f)[0].re, t[(n0 + 9 - 3) / 2].re);
}

TEST(IntegralUserDefinedFilter, ApplyIsTheSumOfHeldStepResponses) {
    IntegralUserDefinedFilter f;
    f.SetParameters(4e6f, 1e6f, 0, 0);
    f.SetUserTaps(MeasuredPulse(161, 58.7, true), 16);
    const VecCplx32 taps = TapsOf(f);
    const int t = taps.GetSize();
    std::mt19937 rng(15);
    std::uniform_real_distribution<float> u(-2.0f, 2.0f);
    const int n = 300;
    VecCplx32 in(n);
    VecReal32 rin(n);
    for (int i = 0; i < n; ++i) {
        const bool step = i % 17 == 3 || i == 0 || i == n - 1;
        in[i] = step ? Cplx32{u(rng), u(rng)} : Cplx32{0.0f, 0.0f};
        rin[i] = in[i].re;
    }
    // Shifts of the steps in whole samples: s = floor(fs timeShift + delay + 0.5), from far before the
    // block to far after it.
    for (float shift : {0.0f, 0.3e-6f, -2.6e-6f, 40e-6f, -200e-6f, 1.0f, -1.0f}) {
        f.SetTimeShift(shift);
        const double s = std::floor(4e6 * static_cast<double>(shift) + f.GetDelay() + 0.5);
        VecCplx32 out;
        f.Apply(out, in, true);
        const auto ref = PyEval(kHeldSteps, {ToDoubles(in), ToDoubles(taps), {s, 0.0}});
        EXPECT_TRUE(NearAbs(ToDoubles(out), ref, 2e-5)) << shift << " s " << s << " t " << t;
        VecReal32 rout;
        f.Apply(rout, rin, true);
        const auto rref = PyEval(kHeldSteps, {ToDoubles(in), ToDoubles(taps), {s, 1.0}});
        std::vector<double> rrefReal;
        for (size_t i = 0; i < rref.size(); i += 2)
            rrefReal.push_back(rref[i]);
        EXPECT_TRUE(NearAbs(ToDoubles(rout), rrefReal, 2e-5)) << shift;
    }
}

TEST(IntegralUserDefinedFilter, InPlaceAndSteadyCalls) {
    IntegralUserDefinedFilter f;
    f.SetParameters(1e6f, 250000, 0, 0);
    f.SetUserTaps(OneSymbolRectangle(), 16);
    VecCplx32 in(200), out;
    VecReal32 rin(200), rout;
    for (int i = 0; i < 200; ++i) {
        in[i] = {i % 9 == 0 ? 1.0f : 0.0f, i % 13 == 0 ? -0.5f : 0.0f};
        rin[i] = in[i].re;
    }
    f.Apply(out, in, true);
    f.Apply(rout, rin, true);
    VecCplx32 io(in);
    VecReal32 rio(rin);
    f.Apply(io, io, true);
    f.Apply(rio, rio, true);
    EXPECT_TRUE(NearAbs(ToDoubles(io), ToDoubles(out), 0.0));
    EXPECT_TRUE(NearAbs(ToDoubles(rio), ToDoubles(rout), 0.0));
    const long long before = kern::AllocationCount();
    for (int k = 0; k < 3; ++k) {
        f.Apply(out, in, true);
        f.Apply(rout, rin, true);
        VecCplx32& same = out;
        f.Apply(same, same, true);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
}

TEST(IntegralUserDefinedFilter, WithoutTapsTheOutputIsZero) {
    IntegralUserDefinedFilter f;
    VecReal32 in(10), out;
    in.SetZero();
    in[2] = 1.0f;
    f.Apply(out, in, true);
    ASSERT_EQ(out.GetSize(), 10);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(out[i], 0.0f);
}

TEST(IntegralUserDefinedFilter, RefusesAStepResponseEndingAtZero) {
    IntegralUserDefinedFilter f;
    f.SetParameters(1e6f, 250000, 0, 0);
    f.SetUserTaps(OneSymbolRectangle(), 16);
    const VecCplx32 before = TapsOf(f);
    VecCplx32 silent(32);
    silent.SetZero();
    EXPECT_THROW(f.SetUserTaps(silent, 16), VELAException);
    EXPECT_TRUE(SameTaps(TapsOf(f), before));
    // Given before the rates, the same taps are refused when the rates come.
    IntegralUserDefinedFilter g;
    g.SetUserTaps(silent, 16);
    EXPECT_THROW(g.SetParameters(1e6f, 250000, 0, 0), VELAException);
    EXPECT_EQ(g.GetNofTaps(), 0);
    EXPECT_THROW(f.SetParameters(0.0f, 250000, 0, 0), VELAException);
    EXPECT_THROW(f.SetUserTaps(OneSymbolRectangle(), -1.0f), VELAException);
}

TEST(UserDefinedFilters, SelfTestsPass) {
    for (auto run : {&UserDefinedFilter::UnitTest, &IntegralUserDefinedFilter::UnitTest}) {
        corvane_test::ScopedWorkDir dir;
        UnitTestRecorder recorder;
        testing::internal::CaptureStdout();
        EXPECT_TRUE(run(recorder));
        const std::string console = testing::internal::GetCapturedStdout();
        EXPECT_GE(recorder.GetTotalTests(), 1);
        EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
    }
}
