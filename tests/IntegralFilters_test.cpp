#include <corvane/dsp/IntegralFilters.h>
#include <corvane/dsp/ShapedFilters.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "kernel/Memory.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::PyEval;
using corvane_test::ToDoubles;

namespace {

// The sum of step responses in closed form: for each non-zero in[i], in[i] F((j - i) dt + shift) with
// F(t) = (psi(t + T/2) - psi(t - T/2)) / T, psi(x) = x Phi(x / sigma) + sigma phi(x / sigma), sigma
// = s T: a rectangle of width T and unit area smoothed by a Gaussian of deviation sigma, integrated.
// The pulse is cut to 0 and 1 at 10 sigma on purpose, and the oracle cuts there too.
const char* kGaussSteps = R"(
from scipy.stats import norm
T, s, shift, dt = a1
sig = s * T
psi = lambda u: u * norm.cdf(u / sig) + sig * norm.pdf(u / sig)
n = len(a0)
res = np.zeros(n)
for i in range(n):
    if a0[i] == 0:
        continue
    t = (np.arange(n) - i) * dt + shift
    f = (psi(t + T / 2) - psi(t - T / 2)) / T
    f[t <= -10 * sig] = 0
    f[t >= 10 * sig] = 1
    res += a0[i] * f
out = res
)";

VecReal32 FromDoubles(const std::vector<double>& v) {
    VecReal32 r(static_cast<int>(v.size()));
    for (size_t i = 0; i < v.size(); ++i)
        r[static_cast<int>(i)] = static_cast<float>(v[i]);
    return r;
}

VecReal32 UnitStep7() {
    VecReal32 in(7);
    in.SetZero();
    in[3] = 1.0f;
    return in;
}

double Deviation(float bt) {
    return static_cast<float>(0.8325546383857727 / (bt * 6.2831854820251465));
}

}  // namespace

TEST(IntegralGaussianFilter, UnitStepInSevenSamples) {
    IntegralGaussianFilter f;
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 7);
    VecReal32 out;
    f.Apply(out, UnitStep7(), true);
    EXPECT_TRUE(
        NearAbs(ToDoubles(out), {0.0283987, 0.104705, 0.266884, 0.5, 0.733116, 0.895295, 0.971601}, 1e-6));
    // `center` is not read.
    VecReal32 out2;
    f.Apply(out2, UnitStep7(), false);
    EXPECT_TRUE(NearAbs(ToDoubles(out2), ToDoubles(out), 0.0));
}

TEST(IntegralGaussianFilter, SparseStepsAddUpAsInClosedForm) {
    // Steps of several signs and sizes with sub-sample shifts, against the closed form.
    IntegralGaussianFilter f;
    const float fs = 8.0f, sym = 1.0f, bt = 0.5f;
    f.SetParameters(fs, sym, bt, 33);
    std::vector<double> steps(200, 0.0);
    steps[10] = 1.0;
    steps[40] = -2.5;
    steps[41] = 0.75;
    steps[120] = 3.0;
    steps[199] = -1.0;
    for (float shift : {0.0f, 0.03f, -0.11f}) {
        f.SetTimeShift(shift);
        VecReal32 out;
        f.Apply(out, FromDoubles(steps), true);
        const auto ref = PyEval(kGaussSteps, {steps, {1.0 / sym, Deviation(bt), shift, 1.0 / fs}});
        EXPECT_TRUE(NearAbs(ToDoubles(out), ref, 2e-6)) << shift;
    }
}

TEST(IntegralGaussianFilter, NoStepsGiveZerosAndInPlaceWorks) {
    IntegralGaussianFilter f;
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 7);
    VecReal32 zeros(50), out;
    zeros.SetZero();
    f.Apply(out, zeros, true);
    ASSERT_EQ(out.GetSize(), 50);
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(out[i], 0.0f);
    VecReal32 io = UnitStep7(), ref;
    f.Apply(ref, io, true);
    f.Apply(io, io, true);
    EXPECT_TRUE(NearAbs(ToDoubles(io), ToDoubles(ref), 0.0));
    // An empty block gives an empty output.
    VecReal32 empty;
    f.Apply(out, empty, true);
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(IntegralGaussianFilter, SteadyCallsAllocateNothing) {
    IntegralGaussianFilter f;
    f.SetParameters(8.0f, 1.0f, 0.5f, 33);
    VecReal32 in(500), out;
    in.SetZero();
    in[7] = 1.0f;
    in[300] = -1.0f;
    f.Apply(out, in, true);
    f.Apply(in, in, true);
    const long long before = kern::AllocationCount();
    for (int k = 0; k < 3; ++k) {
        f.Apply(out, in, true);
        f.Apply(in, in, true);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
}

TEST(IntegralGaussianFilter, TapsAreTheSampledStepResponseTimesDt) {
    IntegralGaussianFilter f;
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 7);
    EXPECT_EQ(f.GetNofTaps(), 7);
    EXPECT_EQ(f.GetDelay(), 3.0f);
    VecReal32 taps;
    f.GetTaps(taps);
    const std::vector<double> step = {0.0283987, 0.104705, 0.266884, 0.5, 0.733116, 0.895295, 0.971601};
    std::vector<double> expected;
    for (double v : step)
        expected.push_back(v * 0.2);
    EXPECT_TRUE(NearAbs(ToDoubles(taps), expected, 3e-7));
    // The complex overloads are the base's: a convolution with these taps, centred.
    VecCplx32 in(7), out;
    for (int i = 0; i < 7; ++i)
        in[i] = {i == 3 ? 1.0f : 0.0f, 0.0f};
    f.Apply(out, in, true);
    ASSERT_EQ(out.GetSize(), 7);
    for (int i = 0; i < 7; ++i)
        EXPECT_NEAR(out[i].re, taps[i], 1e-7) << i;
}

TEST(IntegralGaussianFilter, FlagsTypeAndRecommendation) {
    IntegralGaussianFilter f;
    EXPECT_TRUE(f.IsIntegralFilter());
    EXPECT_FALSE(f.IsComplexFilter());
    EXPECT_EQ(f.GetFilterType(), FIRFilterIntegralGaussian);
    GaussianFilter g;
    for (float bt : {0.0f, 0.3f, 0.5f})
        EXPECT_EQ(f.GetRecommendedTapSize(5.0f, 1.6666666f, bt),
                  g.GetRecommendedTapSize(5.0f, 1.6666666f, bt))
            << bt;
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 7);
    EXPECT_EQ(f.GetSamplingRate(), 5.0f);
    EXPECT_EQ(f.GetSymbolRate(), 1.6666666f);
    EXPECT_EQ(f.GetRoleoff(), 0.3f);
}

TEST(IntegralGaussianFilter, RefusesBadParametersAndApplyBeforeThem) {
    IntegralGaussianFilter f;
    VecReal32 out(3);
    EXPECT_THROW(f.Apply(out, UnitStep7(), true), VELAException);
    EXPECT_EQ(out.GetSize(), 3);
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (auto [fs, sym, bt, n] : std::vector<std::tuple<float, float, float, int>>{{0, 1, 0.3f, 7},
                                                                                   {-5, 1, 0.3f, 7},
                                                                                   {5, 0, 0.3f, 7},
                                                                                   {5, -1, 0.3f, 7},
                                                                                   {nan, 1, 0.3f, 7},
                                                                                   {5, inf, 0.3f, 7},
                                                                                   {5, 1, 0, 7},
                                                                                   {5, 1, -0.3f, 7},
                                                                                   {5, 1, nan, 7},
                                                                                   {5, 1, 0.3f, -1}})
        EXPECT_THROW(f.SetParameters(fs, sym, bt, n), VELAException)
            << fs << " " << sym << " " << bt << " " << n;
    // Nothing was stored by the refused calls.
    EXPECT_EQ(f.GetSamplingRate(), 0.0f);
    // 0 taps: an empty tap set, and Apply still sums step responses.
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 0);
    EXPECT_EQ(f.GetNofTaps(), 0);
    f.Apply(out, UnitStep7(), true);
    EXPECT_NEAR(out[3], 0.5, 1e-6);
}

TEST(IntegralRectFilter, UnitStepInSevenSamples) {
    IntegralRectFilter f;
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 7);
    VecReal32 out;
    f.Apply(out, UnitStep7(), true);
    EXPECT_TRUE(NearAbs(ToDoubles(out), {0, 0, 1.0 / 6, 0.5, 5.0 / 6, 1, 1}, 1e-6));
    EXPECT_TRUE(NearAbs(ToDoubles(out), {0, 0, 0.166667, 0.5, 0.833333, 1, 1}, 1e-6));
}

TEST(IntegralRectFilter, StepsAreLinearRampsOfOneSymbol) {
    // Closed form: each step rises linearly from (t = -T/2) to (t = T/2), then holds.
    IntegralRectFilter f;
    const float fs = 10.0f, sym = 2.0f;
    f.SetParameters(fs, sym, 0.0f, 11);
    VecReal32 in(60), out;
    in.SetZero();
    in[5] = 2.0f;
    in[30] = -1.0f;
    const float shift = 0.013f;
    f.SetTimeShift(shift);
    f.Apply(out, in, true);
    const double T = 1.0 / sym;
    auto ramp = [T](double t) { return t <= -T / 2 ? 0.0 : t >= T / 2 ? 1.0 : t / T + 0.5; };
    for (int j = 0; j < 60; ++j) {
        const double expected = 2.0 * ramp((j - 5) / 10.0 + shift) - ramp((j - 30) / 10.0 + shift);
        EXPECT_NEAR(out[j], expected, 2e-6) << j;
    }
    // In place.
    f.Apply(in, in, true);
    EXPECT_TRUE(NearAbs(ToDoubles(in), ToDoubles(out), 0.0));
}

TEST(IntegralRectFilter, FlagsTypeRecommendationAndRefusals) {
    IntegralRectFilter f;
    EXPECT_TRUE(f.IsIntegralFilter());
    EXPECT_FALSE(f.IsComplexFilter());
    EXPECT_EQ(f.GetFilterType(), FIRFilterIntegralRect);
    RectangularFilter r;
    EXPECT_EQ(f.GetRecommendedTapSize(5.0f, 1.6666666f, 0.3f),
              r.GetRecommendedTapSize(5.0f, 1.6666666f, 0.3f));
    // The rolloff is not used: any finite value designs the same taps.
    IntegralRectFilter g;
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 7);
    g.SetParameters(5.0f, 1.6666666f, 0.0f, 7);
    VecReal32 a, b;
    f.GetTaps(a);
    g.GetTaps(b);
    EXPECT_TRUE(NearAbs(ToDoubles(a), ToDoubles(b), 0.0));
    EXPECT_TRUE(NearAbs(ToDoubles(a), {0, 0, 0.2 / 6, 0.1, 0.2 * 5 / 6, 0.2, 0.2}, 3e-7));
    IntegralRectFilter h;
    VecReal32 out;
    EXPECT_THROW(h.Apply(out, UnitStep7(), true), VELAException);
    EXPECT_THROW(h.SetParameters(0.0f, 1.0f, 0.0f, 7), VELAException);
    EXPECT_THROW(h.SetParameters(5.0f, -1.0f, 0.0f, 7), VELAException);
    EXPECT_THROW(h.SetParameters(5.0f, 1.0f, 0.0f, -7), VELAException);
}

TEST(IntegralFilters, SelfTestsPass) {
    for (auto run : {&IntegralGaussianFilter::UnitTest, &IntegralRectFilter::UnitTest}) {
        corvane_test::ScopedWorkDir dir;
        UnitTestRecorder recorder;
        testing::internal::CaptureStdout();
        EXPECT_TRUE(run(recorder));
        const std::string console = testing::internal::GetCapturedStdout();
        EXPECT_GE(recorder.GetTotalTests(), 2);
        EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
    }
}
