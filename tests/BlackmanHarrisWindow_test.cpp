#include <corvane/dsp/BlackmanHarrisWindow.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TestUtil.h"
#include "support/WindowTestUtil.h"

using namespace VELA;
using corvane_test::Coefficients;
using corvane_test::Probe;

TEST(BlackmanHarrisWindow, ElevenPointFigures) {
    const auto c = Coefficients(BlackmanHarrisWindow(11));
    ASSERT_EQ(c.size(), 11u);
    EXPECT_NEAR(c[5], 0.27874097, 9e-6);
    EXPECT_NEAR(c[7], 0.10756410, 9e-6);
    EXPECT_NEAR(c[4], c[6], 9e-6);
}

TEST(BlackmanHarrisWindow, MatchesScipyBlackmanHarris) {
    // Same four coefficients as scipy; ours use the float 2 pi, a difference far inside 1e-6 of the peak.
    const double worst = corvane_test::ExpectMatchesOracle(
        [](int n, const std::vector<double>&) { return std::make_unique<BlackmanHarrisWindow>(n); }, R"(
from scipy.signal.windows import blackmanharris
res = []
for n in a0.astype(int):
    w = blackmanharris(n, sym=True)
    res.append(w / w.sum())
out = np.concatenate(res))",
        corvane_test::WindowSizes());
    corvane_test::RecordWorst(worst);
}

TEST(BlackmanHarrisWindow, TwoPointsAreHalfEach) {
    // Both points are w(0) = 0.35875 - 0.48829 + 0.14128 - 0.01168 = 6e-5, normalised to a half each.
    const auto c = Coefficients(BlackmanHarrisWindow(2));
    ASSERT_EQ(c.size(), 2u);
    EXPECT_EQ(c[0], 0.5);
    EXPECT_EQ(c[1], 0.5);
}

TEST(BlackmanHarrisWindow, FloatOverloadDropsItsArgument) {
    Probe<BlackmanHarrisWindow> a(11), b(11);
    b.SetParameters(11, 2.5f);
    EXPECT_EQ(b.Para(), 0.0f);
    EXPECT_EQ(Coefficients(a), Coefficients(b));
}

TEST(BlackmanHarrisWindow, Constructors) {
    Probe<BlackmanHarrisWindow> empty;
    EXPECT_EQ(empty.GetSize(), 0);
    EXPECT_EQ(empty.Stored().GetSize(), 0);
    EXPECT_EQ(empty.GetEffectiveRBWScaling(), 1.9f);
    Probe<BlackmanHarrisWindow> filled(16);
    EXPECT_EQ(filled.Stored().GetSize(), 32);
    EXPECT_EQ(filled.Para(), 0.0f);
    EXPECT_EQ(filled.GetEffectiveRBWScaling(), 1.9f);
}

TEST(BlackmanHarrisWindow, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    BlackmanHarrisWindow::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 3);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}
