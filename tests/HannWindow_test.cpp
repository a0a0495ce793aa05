#include <corvane/dsp/HannWindow.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>
#include <vector>

#include "support/TestUtil.h"
#include "support/WindowTestUtil.h"

using namespace VELA;
using corvane_test::Coefficients;
using corvane_test::Probe;

TEST(HannWindow, ElevenPointFigures) {
    const auto c = Coefficients(HannWindow(11));
    ASSERT_EQ(c.size(), 11u);
    EXPECT_NEAR(c[5], 0.2, 9e-6);
    EXPECT_NEAR(c[7], 0.13090169, 9e-6);
    EXPECT_NEAR(c[4], c[6], 9e-6);
}

TEST(HannWindow, MatchesScipySymmetricHann) {
    // N = 2 is left to its own test: the two-point Hann is all zeros, so it cannot be normalised.
    std::vector<int> sizes = corvane_test::WindowSizes();
    sizes.erase(sizes.begin());
    const double worst = corvane_test::ExpectMatchesOracle(
        [](int n, const std::vector<double>&) { return std::make_unique<HannWindow>(n); }, R"(
from scipy.signal.windows import hann
res = []
for n in a0.astype(int):
    w = hann(n, sym=True)
    res.append(w / w.sum())
out = np.concatenate(res))",
        sizes);
    corvane_test::RecordWorst(worst);
}

TEST(HannWindow, TwoPointsAreNotANumber) {
    // Both points are the end point w(0) = 0, so the sum is 0 and the normalisation is 0 / 0, as in
    // scipy's hann(2) / sum. (Blackman-Harris and flat-top ends are not exactly 0: they give 0.5 each.)
    const auto c = Coefficients(HannWindow(2));
    ASSERT_EQ(c.size(), 2u);
    EXPECT_TRUE(std::isnan(c[0]));
    EXPECT_TRUE(std::isnan(c[1]));
}

TEST(HannWindow, FloatOverloadDropsItsArgument) {
    Probe<HannWindow> a(11), b(11);
    b.SetParameters(11, 7.0f);
    EXPECT_EQ(b.Para(), 0.0f);
    EXPECT_EQ(Coefficients(a), Coefficients(b));
    a.SetParameters(20);
    b.SetParameters(20, -3.0f);
    EXPECT_EQ(Coefficients(a), Coefficients(b));
}

TEST(HannWindow, Constructors) {
    Probe<HannWindow> empty;
    EXPECT_EQ(empty.GetSize(), 0);
    EXPECT_EQ(empty.Stored().GetSize(), 0);
    EXPECT_EQ(empty.GetEffectiveRBWScaling(), 1.44f);
    Probe<HannWindow> filled(16);
    EXPECT_EQ(filled.GetSize(), 16);
    EXPECT_EQ(filled.Stored().GetSize(), 32);
    EXPECT_EQ(filled.Para(), 0.0f);
    EXPECT_EQ(filled.GetEffectiveRBWScaling(), 1.44f);
    empty.SetParameters(16);
    EXPECT_EQ(Coefficients(empty), Coefficients(filled));
}

TEST(HannWindow, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    HannWindow::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 4);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}
