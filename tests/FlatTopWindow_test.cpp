#include <corvane/dsp/FlatTopWindow.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "support/TestUtil.h"
#include "support/WindowTestUtil.h"

using namespace VELA;
using corvane_test::Coefficients;
using corvane_test::Probe;

TEST(FlatTopWindow, ElevenPointFigures) {
    const auto c = Coefficients(FlatTopWindow(11));
    ASSERT_EQ(c.size(), 11u);
    EXPECT_NEAR(c[5], 0.46893606, 9e-6);
    EXPECT_NEAR(c[7], 0.022537457, 9e-6);
    EXPECT_NEAR(c[4], c[6], 9e-6);
}

TEST(FlatTopWindow, MatchesTheLibraryCoefficientsThroughScipyGeneralCosine) {
    // Our flat-top coefficient set is not scipy's flattop set (0.21557895, 0.41663158, ...), on purpose:
    // the figures of the library are defined by its own five coefficients. scipy's general_cosine
    // evaluates that same sum independently (its alternating signs match ours for positive inputs).
    const double worst = corvane_test::ExpectMatchesOracle(
        [](int n, const std::vector<double>&) { return std::make_unique<FlatTopWindow>(n); }, R"(
from scipy.signal.windows import general_cosine
a = [0.213283237831627, 0.414006058783449, 0.279055911943775, 0.0861666667911267, 0.00748812465002295]
res = []
for n in a0.astype(int):
    w = general_cosine(n, a, sym=True)
    res.append(w / w.sum())
out = np.concatenate(res))",
        corvane_test::WindowSizes());
    corvane_test::RecordWorst(worst);
}

TEST(FlatTopWindow, TheMainLobeIsFlat) {
    // The point of a flat-top window: a tone half a bin off centre loses almost nothing. The response at
    // an offset of d bins is |sum w[n] exp(-2 pi i d n / N)|, 1 at d = 0 since the window sums to 1.
    const int n = 256;
    const auto c = Coefficients(FlatTopWindow(n));
    double re = 0, im = 0;
    for (int i = 0; i < n; ++i) {
        const double a = -2 * 3.141592653589793 * 0.5 * i / n;
        re += c[static_cast<size_t>(i)] * std::cos(a);
        im += c[static_cast<size_t>(i)] * std::sin(a);
    }
    const double lossDb = -20 * std::log10(std::hypot(re, im));
    EXPECT_LT(lossDb, 0.02);
    EXPECT_GT(lossDb, -0.02);
}

TEST(FlatTopWindow, FloatOverloadDropsItsArgument) {
    Probe<FlatTopWindow> a(11), b(11);
    b.SetParameters(11, 9.0f);
    EXPECT_EQ(b.Para(), 0.0f);
    EXPECT_EQ(Coefficients(a), Coefficients(b));
}

TEST(FlatTopWindow, Constructors) {
    Probe<FlatTopWindow> empty;
    EXPECT_EQ(empty.Stored().GetSize(), 0);
    EXPECT_EQ(empty.GetEffectiveRBWScaling(), 3.77f);
    Probe<FlatTopWindow> filled(16);
    EXPECT_EQ(filled.Stored().GetSize(), 32);
    EXPECT_EQ(filled.Para(), 0.0f);
    EXPECT_EQ(filled.GetEffectiveRBWScaling(), 3.77f);
}

TEST(FlatTopWindow, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    FlatTopWindow::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 3);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}
