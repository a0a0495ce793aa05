#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/Interpolation.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

#include "internal/Pchip.h"
#include "support/InterpData.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;
namespace pchip = VELA::internal::pchip;

namespace {

const char* const kScipyPchip =
    "from scipy.interpolate import PchipInterpolator\n"
    "out = PchipInterpolator(a0, a1)(a2)";

// 21 knots x[i] = i/10 - 1 and 101 queries q[k] = k/100 - 1.
struct HermiteGrid {
    std::vector<double> x, q;
    HermiteGrid() {
        for (int i = 0; i < 21; ++i)
            x.push_back(i / 10.0 - 1.0);
        for (int k = 0; k < 101; ++k)
            q.push_back(k / 100.0 - 1.0);
    }
};

}  // namespace

TEST(CubicHermiteInterpolation, RungeAndSineFigures) {
    HermiteGrid g;
    std::vector<double> runge, sine;
    for (double v : g.x) {
        runge.push_back(1.0 / (1.0 + 25.0 * v * v));
        sine.push_back(std::sin(v * M_PI / 2));
    }
    CubicHermiteInterpolation pchip;
    VecReal64 r;
    ASSERT_EQ(pchip.Interpolate(r, MakeReal64(g.x), MakeReal64(runge), MakeReal64(g.q)), VELAErrorNone);
    EXPECT_NEAR(r[0], 0.0384615, 1e-5);
    EXPECT_NEAR(r[1], 0.039181, 1e-5);
    EXPECT_NEAR(r[99], 0.99655, 1e-5);
    ASSERT_EQ(pchip.Interpolate(r, MakeReal64(g.x), MakeReal64(sine), MakeReal64(g.q)), VELAErrorNone);
    EXPECT_NEAR(r[0], -1.0, 1e-5);
    EXPECT_NEAR(r[1], -0.9998088, 1e-5);
    EXPECT_NEAR(r[99], -0.01566099, 1e-5);
    VecReal32 r32;
    ASSERT_EQ(pchip.Interpolate(r32, MakeReal32(g.x), MakeReal32(sine), MakeReal32(g.q)), VELAErrorNone);
    EXPECT_NEAR(r32[0], -1.0, 1e-5);
    EXPECT_NEAR(r32[1], -0.9998088, 1e-5);
    EXPECT_NEAR(r32[99], -0.01566099, 1e-5);
    double v = 0;
    ASSERT_EQ(pchip.Interpolate(v, MakeReal64(g.x), MakeReal64(sine), -0.99), VELAErrorNone);
    EXPECT_NEAR(v, -0.9998088, 1e-5);
}

TEST(CubicHermiteInterpolation, MatchesScipyPchipInterpolator) {
    RandomCurve c(300, 201);
    const std::vector<double> q = c.Queries(4000, 202);  // includes extrapolation at both ends
    CubicHermiteInterpolation pchip;
    VecReal64 r;
    ASSERT_EQ(pchip.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), PyEval(kScipyPchip, {c.x, c.y, q}), 1e-10));
}

TEST(CubicHermiteInterpolation, FloatMatchesScipyOnTheSameFloats) {
    RandomCurve c(200, 211);
    const std::vector<double> x = RoundToFloat(c.x), y = RoundToFloat(c.y),
                              q = RoundToFloat(c.Queries(3000, 212));
    CubicHermiteInterpolation pchip;
    VecReal32 r;
    ASSERT_EQ(pchip.Interpolate(r, MakeReal32(x), MakeReal32(y), MakeReal32(q)), VELAErrorNone);
    // Computed in double, rounded once: within half a float ulp of the double result, plus a little.
    const std::vector<double> want = PyEval(kScipyPchip, {x, y, q});
    for (size_t i = 0; i < want.size(); ++i)
        ASSERT_NEAR(r[static_cast<int>(i)], want[i], std::fabs(want[i]) * 1e-7 + 1e-12) << q[i];
}

TEST(CubicHermiteInterpolation, MonotoneDataStayMonotoneWithoutOvershoot) {
    // Random steps, some flat, all upwards.
    const std::vector<double> steps = Uniform(60, 221, 0, 1);
    std::vector<double> x, y;
    double level = 0;
    for (int i = 0; i < 60; ++i) {
        x.push_back(i + 0.3 * steps[static_cast<size_t>(i)]);
        level += steps[static_cast<size_t>(i)] < 0.2 ? 0.0 : steps[static_cast<size_t>(i)] * 5;
        y.push_back(level);
    }
    std::vector<double> q;
    for (int k = 0; k <= 20000; ++k)
        q.push_back(x.front() + (x.back() - x.front()) * k / 20000.0);
    CubicHermiteInterpolation pchip;
    VecReal64 r;
    ASSERT_EQ(pchip.Interpolate(r, MakeReal64(x), MakeReal64(y), MakeReal64(q)), VELAErrorNone);
    size_t seg = 0;
    for (size_t k = 0; k < q.size(); ++k) {
        while (seg + 2 < x.size() && q[k] >= x[seg + 1])
            ++seg;
        const double v = r[static_cast<int>(k)];
        ASSERT_GE(v, y[seg] - 1e-12) << q[k];
        ASSERT_LE(v, y[seg + 1] + 1e-12) << q[k];
        if (k > 0) {
            ASSERT_GE(v, r[static_cast<int>(k) - 1] - 1e-12) << q[k];
        }
    }
}

TEST(CubicHermiteInterpolation, DerivativeIsZeroAtALocalExtremum) {
    const double x[] = {0, 1, 2, 3, 4, 5}, y[] = {0, 2, 3, 1, 1.5, 4};
    double d[6];
    pchip::spline_pchip_set(6, x, y, d);
    EXPECT_EQ(d[2], 0.0);  // maximum at x = 2
    EXPECT_EQ(d[3], 0.0);  // minimum at x = 3
    EXPECT_GT(d[1], 0.0);
    EXPECT_GT(d[4], 0.0);
}

TEST(CubicHermiteInterpolation, DerivativesFollowTheStatedFormulas) {
    // Uneven spacing, one change of direction, and an end where the three-point value is limited.
    const double x[] = {0, 1, 3, 3.5, 6}, y[] = {0, 4, 5, 4.9, -2};
    double d[5];
    pchip::spline_pchip_set(5, x, y, d);
    double h[4], del[4];
    for (int i = 0; i < 4; ++i) {
        h[i] = x[i + 1] - x[i];
        del[i] = (y[i + 1] - y[i]) / h[i];
    }
    // First end: ((h1 + hsum) / hsum) del1 - (h1 / hsum) del2, same sign as del1, not limited here.
    const double d0 = ((h[0] + 3) / 3) * del[0] + (-h[0] / 3) * del[1];
    EXPECT_DOUBLE_EQ(d[0], d0);
    // Interior i = 1: slopes of the same sign, weighted harmonic mean.
    const double hs = h[0] + h[1], w1 = (hs + h[0]) / (3 * hs), w2 = (hs + h[1]) / (3 * hs);
    EXPECT_DOUBLE_EQ(d[1], del[1] / (w1 * del[0] / del[0] + w2 * del[1] / del[0]));
    EXPECT_EQ(d[2], 0.0);  // the slope changes sign
    // i = 3: both slopes negative.
    const double hs3 = h[2] + h[3], v1 = (hs3 + h[2]) / (3 * hs3), v2 = (hs3 + h[3]) / (3 * hs3);
    const double dmax = std::fabs(del[3]), dmin = std::fabs(del[2]);
    EXPECT_DOUBLE_EQ(d[3], dmin / (v1 * del[2] / dmax + v2 * del[3] / dmax));
    // Last end: (-h2/hsum) del1 + ((h2 + hsum)/hsum) del2.
    EXPECT_DOUBLE_EQ(d[4], (-h[3] / hs3) * del[2] + ((h[3] + hs3) / hs3) * del[3]);
}

TEST(CubicHermiteInterpolation, EndDerivativeIsLimitedToThreeTimesTheSlope) {
    // The three-point value at the start overshoots when the data turn: |d0| is cut to 3 |del1|.
    const double x[] = {0, 1, 1.1}, y[] = {0, 1, 0};
    double d[3];
    pchip::spline_pchip_set(3, x, y, d);
    // Unlimited: ((1 + 1.1)/1.1) * 1 - (1/1.1) * (-10) = 11; the slopes differ in sign, so 3 * del1.
    EXPECT_DOUBLE_EQ(d[0], 3.0);
    // The same at the last end, mirrored: -11 is cut to 3 del2 = -3.
    const double x2[] = {0, 0.1, 1.1}, y2[] = {0, 1, 0};
    pchip::spline_pchip_set(3, x2, y2, d);
    EXPECT_DOUBLE_EQ(d[2], -3.0);
    // A three-point value against the sign of the end slope becomes 0: 1.5 * 1 - 0.5 * 4 < 0.
    const double x3[] = {0, 1, 2}, y3[] = {0, 1, 5};
    pchip::spline_pchip_set(3, x3, y3, d);
    EXPECT_EQ(d[0], 0.0);
}

TEST(CubicHermiteInterpolation, TwoKnotsGiveAStraightLine) {
    const double x[] = {1, 3}, y[] = {2, 8};
    double d[2];
    pchip::spline_pchip_set(2, x, y, d);
    EXPECT_EQ(d[0], 3.0);
    EXPECT_EQ(d[1], 3.0);
    CubicHermiteInterpolation p;
    VecReal64 r;
    ASSERT_EQ(p.Interpolate(r, MakeReal64({1, 3}), MakeReal64({2, 8}), MakeReal64({0, 1.5, 2, 4})),
              VELAErrorNone);
    EXPECT_NEAR(r[0], -1.0, 1e-12);
    EXPECT_NEAR(r[1], 3.5, 1e-12);
    EXPECT_NEAR(r[2], 5.0, 1e-12);
    EXPECT_NEAR(r[3], 11.0, 1e-12);
}

TEST(CubicHermiteInterpolation, KnotsNotStrictlyAscendingThrow) {
    CubicHermiteInterpolation p;
    VecReal64 r;
    for (const std::vector<double>& x : {std::vector<double>{0, 1, 1, 2}, std::vector<double>{0, 2, 1, 3}}) {
        try {
            p.Interpolate(r, MakeReal64(x), MakeReal64({0, 1, 2, 3}), MakeReal64({0.5}));
            ADD_FAILURE() << "no exception";
        } catch (const VELAException& e) {
            EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
            EXPECT_STREQ(e.message, "invalid input parameter");
        }
    }
    VecReal32 r32;
    EXPECT_THROW(p.Interpolate(r32, MakeReal32({0, 0}), MakeReal32({0, 1}), MakeReal32({0.5})),
                 VELAException);
}

// Evaluation goes interval by interval over the queries in their order, backing up when one lies to
// the left. The per-query shortcut used on ascending knots must give the same values bit for bit.
TEST(CubicHermiteInterpolation, WalkAndDirectEvaluationAgreeExactly) {
    RandomCurve c(500, 231);
    std::vector<double> q = c.Queries(6000, 232);
    q.insert(q.end(), c.x.begin(), c.x.end());
    std::vector<double> d(c.x.size());
    const int n = static_cast<int>(c.x.size());
    pchip::spline_pchip_set(n, c.x.data(), c.y.data(), d.data());
    for (bool sorted : {false, true}) {
        std::vector<double> qs = q;
        if (sorted)
            std::sort(qs.begin(), qs.end());
        else
            qs.push_back(NAN);
        const int ne = static_cast<int>(qs.size());
        std::vector<double> walk(qs.size()), direct(qs.size()), viaTable(qs.size());
        pchip::PchipWalk(n, c.x.data(), c.y.data(), d.data(), ne, qs.data(), walk.data());
        pchip::PchipDirect(n, c.x.data(), c.y.data(), d.data(), ne, qs.data(), direct.data(), nullptr);
        std::vector<int32_t> index;
        pchip::PchipDirect(n, c.x.data(), c.y.data(), d.data(), ne, qs.data(), viaTable.data(), &index);
        for (size_t i = 0; i < qs.size(); ++i) {
            if (std::isnan(qs[i])) {
                EXPECT_TRUE(std::isnan(walk[i]) && std::isnan(direct[i]) && std::isnan(viaTable[i]));
                continue;
            }
            ASSERT_EQ(walk[i], direct[i]) << "query " << qs[i] << " sorted " << sorted;
            ASSERT_EQ(walk[i], viaTable[i]) << "query " << qs[i] << " sorted " << sorted;
        }
    }
    // The same in float.
    const std::vector<double> xf = RoundToFloat(c.x);
    std::vector<float> x32(xf.begin(), xf.end()), y32(c.y.begin(), c.y.end()), q32;
    for (double v : c.Queries(3000, 233))
        q32.push_back(static_cast<float>(v));
    std::vector<double> d32(x32.size());
    pchip::spline_pchip_set(n, x32.data(), y32.data(), d32.data());
    std::vector<float> walk(q32.size()), direct(q32.size());
    const int ne = static_cast<int>(q32.size());
    pchip::PchipWalk(n, x32.data(), y32.data(), d32.data(), ne, q32.data(), walk.data());
    std::vector<int32_t> index;
    pchip::PchipDirect(n, x32.data(), y32.data(), d32.data(), ne, q32.data(), direct.data(), &index);
    EXPECT_EQ(walk, direct);
}

TEST(CubicHermiteInterpolation, WorksInPlaceOnTheQueries) {
    RandomCurve c(50, 241);
    const std::vector<double> q = c.Queries(300, 242);
    CubicHermiteInterpolation p;
    VecReal64 expected, inPlace = MakeReal64(q);
    ASSERT_EQ(p.Interpolate(expected, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    ASSERT_EQ(p.Interpolate(inPlace, MakeReal64(c.x), MakeReal64(c.y), inPlace), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(inPlace), ToDoubles(expected), 0));
    // Knots with a NaN pass the order check and take the interval walk, which reads queries again
    // after writing results (here it backs up from 0.25); in place it still sees the original queries.
    const std::vector<double> nx{0, 1, 2, NAN}, ny{0, 1, 2, 3}, nq{0.5, 1.5, 0.25};
    VecReal64 apart, same = MakeReal64(nq);
    ASSERT_EQ(p.Interpolate(apart, MakeReal64(nx), MakeReal64(ny), MakeReal64(nq)), VELAErrorNone);
    ASSERT_EQ(p.Interpolate(same, MakeReal64(nx), MakeReal64(ny), same), VELAErrorNone);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE((std::isnan(apart[i]) && std::isnan(same[i])) || apart[i] == same[i]) << i;
}

TEST(CubicHermiteInterpolation, RefusalsAndSizes) {
    CubicHermiteInterpolation p;
    VecReal64 x = MakeReal64({0, 1, 2}), y = MakeReal64({0, 1, 4}), r;
    EXPECT_EQ(p.Interpolate(r, x, MakeReal64({0, 1}), MakeReal64({0.5})), VELAErrorSizeMismatch);
    EXPECT_EQ(p.Interpolate(x, x, y, MakeReal64({0.5})), VELAErrorInvalidInputParameter);
    EXPECT_EQ(x.GetSize(), 3);
}

TEST(CubicHermiteInterpolation, DerivativeArrayIsReusedAndCopiesAreDeep) {
    RandomCurve big(100, 251), small(10, 252);
    CubicHermiteInterpolation p;
    VecReal64 r1, r2, r3;
    ASSERT_EQ(p.Interpolate(r1, MakeReal64(big.x), MakeReal64(big.y), MakeReal64(big.Queries(50, 253))),
              VELAErrorNone);
    ASSERT_EQ(p.Interpolate(r2, MakeReal64(small.x), MakeReal64(small.y), MakeReal64(small.Queries(50, 254))),
              VELAErrorNone);
    CubicHermiteInterpolation copy(p), assigned;
    assigned = p;
    assigned = assigned;
    ASSERT_EQ(copy.Interpolate(r3, MakeReal64(big.x), MakeReal64(big.y), MakeReal64(big.Queries(50, 253))),
              VELAErrorNone);
    EXPECT_EQ(ToDoubles(r3), ToDoubles(r1));
    ASSERT_EQ(assigned.Interpolate(r3, MakeReal64(small.x), MakeReal64(small.y),
                                   MakeReal64(small.Queries(50, 254))),
              VELAErrorNone);
    EXPECT_EQ(ToDoubles(r3), ToDoubles(r2));
}

// ---------------------------------------------------------------- the routines' own failure reports

namespace {
// Runs `body` in a child whose standard output goes to "console.txt" in a scratch directory, and checks
// the exit code and the text.
void ExpectExitWithOutput(const std::function<void()>& body, int code, const std::string& text) {
    ScopedWorkDir dir;
    std::fflush(nullptr);
    EXPECT_EXIT(
        {
            std::freopen("console.txt", "w", stdout);
            body();
            std::fflush(stdout);
            std::_Exit(99);
        },
        testing::ExitedWithCode(code), "");
    EXPECT_EQ(ReadFile("console.txt"), text);
}
}  // namespace

TEST(CubicHermiteInterpolationDeathTest, FewerThanTwoKnotsEndTheProcess) {
    const std::string text = "\nSPLINE_PCHIP_SET - Fatal error!\n  Number of data points less than 2.\n";
    // Through the class: 0 and 1 knots pass the order check and reach the derivative routine.
    ExpectExitWithOutput(
        [] {
            CubicHermiteInterpolation p;
            VecReal64 r;
            p.Interpolate(r, MakeReal64({1}), MakeReal64({2}), MakeReal64({0.5}));
        },
        255, text);
    ExpectExitWithOutput(
        [] {
            CubicHermiteInterpolation p;
            VecReal32 r;
            p.Interpolate(r, VecReal32(), VecReal32(), MakeReal32({0.5}));
        },
        255, text);
    const double x[] = {0}, y[] = {0};
    double d[1] = {0}, fe[1] = {0};
    ExpectExitWithOutput([&] { pchip::spline_pchip_val(1, x, y, d, 1, x, fe, nullptr); }, 255,
                         "\nSPLINE_PCHIP_VAL - Fatal error!\n  Number of data points less than 2.\n");
}

TEST(CubicHermiteInterpolationDeathTest, ZeroLengthIntervalInTheWalkEndsWithCode5) {
    // A repeated last knot makes the last interval empty; a query beyond it lands there.
    const double x[] = {0, 1, 2, 2}, y[] = {0, 1, 2, 3}, d[] = {1, 1, 1, 1}, q[] = {2.5};
    double fe[1] = {0};
    ExpectExitWithOutput([&] { pchip::spline_pchip_val(4, x, y, d, 1, q, fe, nullptr); }, 251,
                         "\nCHFEV - Fatal error!\n  The interval [X1,X2] is of zero length.\n"
                         "\nSPLINE_PCHIP_VAL - Fatal error!\n  Error return from CHFEV.\n");
}

TEST(CubicHermiteInterpolationDeathTest, NaNKnotInsideEndsTheProcessInTheWalk) {
    // A NaN passes the order check. The interval ending in it has no width to compare with, so the
    // walk hands it the rest of the queries and then finds one right of it: "IR < N".
    ExpectExitWithOutput(
        [] {
            CubicHermiteInterpolation p;
            VecReal64 r;
            p.Interpolate(r, MakeReal64({0, 1, NAN, 3}), MakeReal64({0, 1, 2, 3}), MakeReal64({2.5}));
        },
        251, "\nSPLINE_PCHIP_VAL - Fatal error!\n  IR < N.\n");
}

TEST(CubicHermiteInterpolation, NoQueriesPrintAndReturn) {
    CubicHermiteInterpolation p;
    VecReal64 r = MakeReal64({5});
    testing::internal::CaptureStdout();
    EXPECT_EQ(p.Interpolate(r, MakeReal64({0, 1}), MakeReal64({0, 1}), VecReal64()), VELAErrorNone);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "\nSPLINE_PCHIP_VAL - Fatal error!\n  Number of evaluation points less than 1.\n");
    EXPECT_EQ(r.GetSize(), 0);
}

TEST(CubicHermiteInterpolation, ChfevReportsItsTwoErrors) {
    const double xe[] = {0.5};
    double fe[1] = {7};
    int next[2] = {9, 9};
    testing::internal::CaptureStdout();
    EXPECT_EQ(pchip::chfev(0, 1, 0, 1, 1, 1, 0, xe, 0, fe, 0, next), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\nCHFEV - Fatal error!\n  Number of evaluation points is less than 1.\n  NE = 0\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(pchip::chfev(2, 2, 0, 1, 1, 1, 1, xe, 0, fe, 0, next), -2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\nCHFEV - Fatal error!\n  The interval [X1,X2] is of zero length.\n");
    EXPECT_EQ(fe[0], 7);
}

TEST(CubicHermiteInterpolation, ChfevCountsPointsOutsideItsInterval) {
    // f = x^2 on [1, 2]: f1 = 1, f2 = 4, d1 = 2, d2 = 4 is reproduced exactly by the cubic.
    const double xe[] = {0, 0.5, 1.5, 3, 4, 1.25};
    double fe[8] = {};
    int next[2] = {0, 0};
    EXPECT_EQ(pchip::chfev(1, 2, 1, 4, 2, 4, 5, xe, 1, fe, 2, next), 0);
    EXPECT_EQ(next[0], 1);  // 0.5
    EXPECT_EQ(next[1], 2);  // 3 and 4
    EXPECT_EQ(fe[0], 0.0);
    EXPECT_EQ(fe[1], 0.0);
    const double want[] = {0.25, 2.25, 9, 16, 1.5625};
    for (int i = 0; i < 5; ++i)
        EXPECT_NEAR(fe[2 + i], want[i], 1e-12) << i;
}

TEST(CubicHermiteInterpolation, Pchst) {
    EXPECT_EQ(pchip::pchst(0, 5), 0.0);
    EXPECT_EQ(pchip::pchst(-2, 0), 0.0);
    EXPECT_EQ(pchip::pchst(2, 5), 1.0);
    EXPECT_EQ(pchip::pchst(-2, -5), 1.0);
    EXPECT_EQ(pchip::pchst(-2, 5), -1.0);
    EXPECT_EQ(pchip::d_max(1, 2), 2.0);
    EXPECT_EQ(pchip::d_min(1, 2), 1.0);
    EXPECT_EQ(pchip::i_max(-1, -3), -1);
}

TEST(CubicHermiteInterpolation, SelfTestPasses) {
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(CubicHermiteInterpolation::UnitTest(recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 4);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << out;
    for (const char* label :
         {"Interpolate-I", "Interpolate-II", "Interpolate-II Real32", "Interpolate-II Scale"})
        EXPECT_NE(out.find(std::string("SUCCESS  :CubicHermiteInterpolation :") + label), std::string::npos)
            << label;
}
