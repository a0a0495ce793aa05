#include <corvane/dsp/GaussWindow.h>
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

namespace {

// scipy's gaussian(N, std) is exp(-(n - (N-1)/2)^2 / (2 std^2)). Ours is e_f^(-2 a^2 ((n - (N-1)/2)/N)^2)
// with e_f the float nearest e (2.7182817459106445), which is exp(ln(e_f) * ...): the same Gaussian with
// std = N / (2 a sqrt(ln e_f)). The ln(e_f) factor (1 - 3e-8) keeps the library's own base exactly.
const char* kGaussOracle = R"(
from scipy.signal.windows import gaussian
lnef = np.log(2.7182817459106445)
res = []
for p in P:
    a = p[0]
    for n in a0.astype(int):
        w = gaussian(n, n / (2 * a * np.sqrt(lnef)), sym=True)
        res.append(w / w.sum())
out = np.concatenate(res))";

}  // namespace

TEST(GaussWindow, ElevenPointFigures) {
    const auto c = Coefficients(GaussWindow(11));
    ASSERT_EQ(c.size(), 11u);
    EXPECT_NEAR(c[5], 0.25396699, 9e-6);
    EXPECT_NEAR(c[7], 0.11298800, 9e-6);
    EXPECT_NEAR(c[4], c[6], 9e-6);
}

TEST(GaussWindow, MatchesScipyGaussian) {
    // The default (built by GaussWindow(int)) and three others set through the float slot.
    const double worst = corvane_test::ExpectMatchesOracle(
        [](int n, const std::vector<double>& p) {
            if (p[0] == 3.5) return std::make_unique<GaussWindow>(n);
            auto w = std::make_unique<GaussWindow>();
            w->SetParameters(n, static_cast<float>(p[0]));
            return w;
        },
        kGaussOracle, corvane_test::WindowSizes(), {{3.5}, {1.0}, {2.0}, {5.0}});
    corvane_test::RecordWorst(worst);
}

TEST(GaussWindow, OnePointIsOne) {
    // The divisor is N, not N - 1, so one point is well defined.
    EXPECT_EQ(Coefficients(GaussWindow(1)), std::vector<double>{1.0});
}

TEST(GaussWindow, Constructors) {
    Probe<GaussWindow> empty;
    EXPECT_EQ(empty.Stored().GetSize(), 0);
    EXPECT_EQ(empty.Para(), 3.5f);
    EXPECT_EQ(empty.GetEffectiveRBWScaling(), 1.86f);
    Probe<GaussWindow> filled(16);
    EXPECT_EQ(filled.Stored().GetSize(), 32);
    EXPECT_EQ(filled.Para(), 3.5f);
    EXPECT_EQ(filled.GetEffectiveRBWScaling(), 1.86f);
}

TEST(GaussWindow, SlotsStoreOrResetTheParameter) {
    Probe<GaussWindow> w(16);
    w.SetParameters(16, 2.0f);
    EXPECT_EQ(w.Para(), 2.0f);
    EXPECT_NE(Coefficients(w), Coefficients(GaussWindow(16)));
    EXPECT_EQ(w.GetEffectiveRBWScaling(), 1.86f);
    w.SetParameters(16);
    EXPECT_EQ(w.Para(), 3.5f);
    EXPECT_EQ(Coefficients(w), Coefficients(GaussWindow(16)));
}

TEST(GaussWindow, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    GaussWindow::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 4);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}
