#include <corvane/dsp/TaylorWindow.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/TestUtil.h"
#include "support/WindowTestUtil.h"

using namespace VELA;
using corvane_test::Coefficients;
using corvane_test::Probe;

namespace {

// The exception thrown by f (code 0 when none).
template <class F>
VELAException Thrown(F f) {
    try {
        f();
    } catch (const VELAException& e) {
        return e;
    }
    return VELAException{VELAErrorNone, nullptr, nullptr, 0};
}

// Line `line` of the library source `file` (a path relative to src/).
std::string SourceLine(const std::string& file, int line) {
    std::ifstream f(std::string(CORVANE_TEST_DIR) + "/../src/" + file);
    std::string s;
    for (int i = 0; i < line && std::getline(f, s); ++i) {
    }
    return s;
}

}  // namespace

TEST(TaylorWindow, FivePointsAtMinus30dB) {
    const auto c = Coefficients(TaylorWindow(5, -30.0f));
    ASSERT_EQ(c.size(), 5u);
    EXPECT_NEAR(c[0], 0.103613153, 9e-6);
    EXPECT_NEAR(c[1], 0.240576223, 9e-6);
    EXPECT_NEAR(c[2], 0.311621308, 9e-6);
    EXPECT_NEAR(c[3], c[1], 9e-6);
    EXPECT_NEAR(c[4], c[0], 9e-6);
}

TEST(TaylorWindow, MatchesScipyTaylor) {
    // scipy computes in double; ours steps in float (float pi, float ramp of positions, float cosine),
    // which stays inside 1e-6 of the peak at these sizes. Rows: nbar, sidelobe level in dB.
    const double worst = corvane_test::ExpectMatchesOracle(
        [](int n, const std::vector<double>& p) {
            return std::make_unique<TaylorWindow>(n, static_cast<float>(p[1]), static_cast<int>(p[0]));
        },
        R"(
from scipy.signal.windows import taylor
res = []
for p in P:
    nbar, sll = int(p[0]), -p[1]
    for n in a0.astype(int):
        w = taylor(n, nbar, sll, norm=False, sym=True)
        res.append(w / w.sum())
out = np.concatenate(res))",
        corvane_test::WindowSizes(), {{4, -30}, {5, -25}, {7, -40}, {3, -20}});
    corvane_test::RecordWorst(worst);
}

TEST(TaylorWindow, TermCoefficients) {
    // Two oracles for F_m. (1) The series in double: ours is computed in float, and factors near zero
    // (1 - m^2 / sigma2 / ...) lose relative accuracy, so a small F_m can be off by 1e-5 of itself; what
    // reaches the window, w = 1 + 2 sum F_m cos(...), is the absolute error, held to 1e-7. (2) The same
    // float steps replayed with numpy float32 scalars, which must agree to a unit or two of float.
    std::vector<double> args, ours;
    for (int nbar : {2, 4, 7, 10}) {
        for (double sll : {-20.0, -30.0, -40.0}) {
            const double B = std::pow(10.0, -sll / 20), A = std::acosh(B) / 3.141592653589793;
            if (2 * A * A + 0.5 > nbar) continue;
            const double s2 = nbar * nbar / (A * A + (nbar - 0.5) * (nbar - 0.5));
            for (int m = 1; m < nbar; ++m) {
                const float s2f = static_cast<float>(s2), af = static_cast<float>(A);
                args.insert(args.end(), {static_cast<double>(nbar), s2, A, static_cast<double>(m), s2f, af});
                ours.push_back(TaylorWindow::ComputeFm(nbar, s2f, af, m));
            }
        }
    }
    ASSERT_GT(ours.size(), 20u);
    const auto ref = corvane_test::PyEval(R"(
res = []
f = np.float32
for k in range(0, len(a0), 6):
    nbar, s2, A, m, s2f, Af = int(a0[k]), a0[k + 1], a0[k + 2], int(a0[k + 3]), f(a0[k + 4]), f(a0[k + 5])
    n = np.arange(1, nbar)
    num = np.prod(1 - m * m / s2 / (A * A + (n - 0.5) ** 2))
    den = np.prod([1 - m * m / (j * j) for j in n if j != m])
    exact = (-1) ** (m + 1) * 0.5 * num / den
    q = f(m * m); numf = f(1); denf = f(1)
    for j in range(1, nbar):
        h = f(j) - f(0.5)
        numf = numf * (f(1) - q / s2f / (h * h + Af * Af))
        if j != m:
            denf = denf * (f(1) - q / f(j * j))
    stepped = (f(-0.5) if m % 2 == 0 else f(0.5)) * numf / denf
    res += [exact, float(stepped)]
out = np.array(res))",
                                          {args});
    ASSERT_EQ(ref.size(), 2 * ours.size());
    for (size_t i = 0; i < ours.size(); ++i) {
        EXPECT_NEAR(ours[i], ref[2 * i], 1e-7) << i;
        EXPECT_NEAR(ours[i], ref[2 * i + 1], 2.5e-7 * std::fabs(ref[2 * i + 1])) << i;
    }
}

TEST(TaylorWindow, FewerThanTwoTermsLeaveTheSignOnly) {
    EXPECT_EQ(TaylorWindow::ComputeFm(1, 1.0f, 0.5f, 1), 0.5f);
    EXPECT_EQ(TaylorWindow::ComputeFm(1, 1.0f, 0.5f, 2), -0.5f);
    EXPECT_EQ(TaylorWindow::ComputeFm(0, 1.0f, 0.5f, 3), 0.5f);
    // With one term there is no cosine at all: the uniform window.
    const auto c = Coefficients(TaylorWindow(8, -5.0f, 1));
    for (double v : c)
        EXPECT_NEAR(v, 0.125, 1e-7);
}

TEST(TaylorWindow, DeepLevelNeedsMoreTerms) {
    const VELAException e = Thrown([] { TaylorWindow w(16, -60.0f, 4); });
    EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    ASSERT_NE(e.message, nullptr);
    EXPECT_STREQ(e.message, "invalid input parameter");
    ASSERT_NE(e.file, nullptr);
    EXPECT_EQ(std::string(e.file), "dsp/TaylorWindow.cpp");
    EXPECT_NE(SourceLine(e.file, e.line).find("VELA_THROW(VELAErrorInvalidInputParameter)"),
              std::string::npos);
    // With enough terms the same level is accepted.
    EXPECT_EQ(Thrown([] { TaylorWindow w(16, -60.0f, 13); }).code, VELAErrorNone);
    // -30 dB with 4 terms just passes (2 A^2 + 0.5 is about 3.99).
    EXPECT_EQ(Thrown([] { TaylorWindow w(16, -30.0f, 4); }).code, VELAErrorNone);
    EXPECT_EQ(Thrown([] { TaylorWindow w(16, -31.0f, 4); }).code, VELAErrorInvalidInputParameter);
}

TEST(TaylorWindow, PositiveLevelIsRefused) {
    const VELAException e = Thrown([] { TaylorWindow w(16, 3.0f); });
    EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    EXPECT_STREQ(e.message, "invalid input parameter");
    EXPECT_EQ(std::string(e.file), "dsp/TaylorWindow.cpp");
    // A separate check from the one on the number of terms.
    const VELAException deep = Thrown([] { TaylorWindow w(16, -60.0f, 4); });
    EXPECT_NE(e.line, deep.line);
    EXPECT_NE(SourceLine(e.file, e.line).find("VELA_THROW(VELAErrorInvalidInputParameter)"),
              std::string::npos);
}

TEST(TaylorWindow, RefusedParametersLeaveOnesWithoutRollback) {
    Probe<TaylorWindow> w(8);
    EXPECT_THROW(w.SetParameters(12, -60.0f, 4), VELAException);
    EXPECT_EQ(w.GetSize(), 12);
    EXPECT_EQ(w.Para(), -60.0f);
    EXPECT_EQ(w.Nbar(), 4);
    EXPECT_EQ(Coefficients(w), std::vector<double>(12, 1.0));
    EXPECT_THROW(w.SetParameters(6, 1.0f), VELAException);
    EXPECT_EQ(Coefficients(w), std::vector<double>(6, 1.0));
}

TEST(TaylorWindow, ConstructorsAndSlots) {
    Probe<TaylorWindow> preset(16);
    EXPECT_EQ(preset.Para(), -30.0f);
    EXPECT_EQ(preset.Nbar(), 4);
    EXPECT_EQ(preset.GetEffectiveRBWScaling(), 0.0f);
    Probe<TaylorWindow> level(16, -25.0f);
    EXPECT_EQ(level.Para(), -25.0f);
    EXPECT_EQ(level.Nbar(), 4);
    EXPECT_EQ(level.GetEffectiveRBWScaling(), 0.89f);
    Probe<TaylorWindow> terms(16, -40.0f, 7);
    EXPECT_EQ(terms.Nbar(), 7);
    EXPECT_EQ(terms.GetEffectiveRBWScaling(), 0.89f);
    // Slot 2 goes back to 4 terms, slot 1 to the whole preset.
    terms.SetParameters(16, -25.0f);
    EXPECT_EQ(terms.Nbar(), 4);
    EXPECT_EQ(terms.GetEffectiveRBWScaling(), 0.89f);
    EXPECT_EQ(Coefficients(terms), Coefficients(level));
    terms.SetParameters(16);
    EXPECT_EQ(terms.Para(), -30.0f);
    EXPECT_EQ(terms.GetEffectiveRBWScaling(), 0.0f);
    EXPECT_EQ(Coefficients(terms), Coefficients(preset));
}

TEST(TaylorWindow, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    TaylorWindow::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 3);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}

TEST(TaylorWindow, TermCountWhoseSquaresLeaveIntIsRefused) {
    // (nbar - 1)^2 must fit an int: 46341 terms is the most, and the refusal comes before anything is
    // stored.
    TaylorWindow w(9, -30.0f, 5);
    const auto before = Coefficients(w);
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { w.SetParameters(9, -30.0f, 46342); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { w.SetParameters(9, -30.0f, INT_MAX); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { TaylorWindow(9, -30.0f, INT_MAX); }));
    EXPECT_EQ(Coefficients(w), before);
    EXPECT_EQ(w.GetSize(), 9);
}
