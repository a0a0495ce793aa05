#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/Interpolation.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "support/InterpData.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

// Exposes the protected set-up and evaluation for the tests of the bracket.
class OpenSpline : public Spline {
  public:
    using Spline::SplineInit;
    using Spline::Splint;
};

const char* const kCubicSpline =
    "from scipy.interpolate import CubicSpline\n"
    "w = int(a3[0])\n"
    "start = (1, a3[1]) if w & 1 else (2, 0.0)\n"
    "end = (1, a3[2]) if w & 2 else (2, 0.0)\n"
    "out = CubicSpline(a0, a1, bc_type=(start, end))(a2)";

// scipy's CubicSpline with a clamped start (bit 1 of `which`, derivative d0) and/or end (bit 2,
// derivative dn), natural otherwise.
std::vector<double> ScipySpline(const std::vector<double>& x, const std::vector<double>& y,
                                const std::vector<double>& q, int which, double d0, double dn) {
    return PyEval(kCubicSpline, {x, y, q, {static_cast<double>(which), d0, dn}});
}

}  // namespace

TEST(Spline, CommonCurveFiguresNatural) {
    CommonCurve c;
    Spline spline;
    VecReal64 r;
    ASSERT_EQ(spline.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(c.q)), VELAErrorNone);
    ASSERT_EQ(r.GetSize(), 143);
    EXPECT_NEAR(r[0], -0.094367, 1e-6);
    EXPECT_NEAR(r[50], -1.437648, 1e-6);
    EXPECT_NEAR(r[142], -1.102918, 1e-6);
    VecReal32 r32;
    ASSERT_EQ(spline.Interpolate(r32, MakeReal32(c.x), MakeReal32(c.y), MakeReal32(c.q)), VELAErrorNone);
    // In float the queries are rounded too (15.1 becomes 15.1000004, on an end slope of about -10).
    EXPECT_NEAR(r32[0], -0.094367, 1e-5);
    EXPECT_NEAR(r32[50], -1.437648, 1e-5);
    EXPECT_NEAR(r32[142], -1.102918, 1e-5);
}

TEST(Spline, NaturalMatchesScipyCubicSpline) {
    RandomCurve c(250, 101);
    const std::vector<double> q = c.Queries(3000, 102);
    Spline spline;
    VecReal64 r;
    ASSERT_EQ(spline.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), ScipySpline(c.x, c.y, q, 0, 0, 0), 1e-9));
}

TEST(Spline, ClampedEndsMatchScipy) {
    RandomCurve c(120, 111);
    const std::vector<double> q = c.Queries(2000, 112);
    const VecReal64 x = MakeReal64(c.x), y = MakeReal64(c.y), qv = MakeReal64(q);
    // Both ends clamped, the start only, the end only, and natural, from one run of scipy.
    const std::vector<double> all = PyEval(
        "from scipy.interpolate import CubicSpline\n"
        "free = (2, 0.0)\n"
        "out = np.concatenate([CubicSpline(a0, a1, bc_type=bc)(a2) for bc in\n"
        "    [((1, 2.5), (1, -1.25)), ((1, 0.0), free), (free, (1, 3.0)), (free, free)]])",
        {c.x, c.y, q});
    ASSERT_EQ(all.size(), 4 * q.size());
    auto part = [&](int k) {
        return std::vector<double>(all.begin() + k * static_cast<std::ptrdiff_t>(q.size()),
                                   all.begin() + (k + 1) * static_cast<std::ptrdiff_t>(q.size()));
    };
    VecReal64 r;
    Spline spline;
    spline.SetBoundaryCondition1(2.5);
    spline.SetBoundaryCondition2(-1.25);
    ASSERT_EQ(spline.Interpolate(r, x, y, qv), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), part(0), 1e-9));
    Spline startOnly;
    startOnly.SetBoundaryCondition1(0.0);
    ASSERT_EQ(startOnly.Interpolate(r, x, y, qv), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), part(1), 1e-9));
    Spline endOnly;
    endOnly.SetBoundaryCondition2(3.0);
    ASSERT_EQ(endOnly.Interpolate(r, x, y, qv), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), part(2), 1e-9));
    // Conditions persist from call to call, and SetNaturalSpline frees both ends again.
    ASSERT_EQ(spline.Interpolate(r, x, y, qv), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), part(0), 1e-9));
    spline.SetNaturalSpline();
    ASSERT_EQ(spline.Interpolate(r, x, y, qv), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), part(3), 1e-9));
}

TEST(Spline, AThresholdDerivativeIsClampedAndAboveItFree) {
    // The free end is a derivative above 1e30; exactly 1e30 is still a (huge) clamped derivative.
    const VecReal64 x = MakeReal64({0, 1, 2, 3}), y = MakeReal64({0, 1, 0, 1}), q = MakeReal64({0.5});
    VecReal64 natural, huge, above;
    Spline a, b, c;
    ASSERT_EQ(a.Interpolate(natural, x, y, q), VELAErrorNone);
    b.SetBoundaryCondition1(1e30);
    ASSERT_EQ(b.Interpolate(huge, x, y, q), VELAErrorNone);
    c.SetBoundaryCondition1(1.0000001e30);
    ASSERT_EQ(c.Interpolate(above, x, y, q), VELAErrorNone);
    EXPECT_EQ(above[0], natural[0]);
    EXPECT_GT(std::fabs(huge[0] - natural[0]), 1e20);
}

TEST(Spline, FloatMatchesScipyOnTheSameFloats) {
    RandomCurve c(150, 121);
    const std::vector<double> x = RoundToFloat(c.x), y = RoundToFloat(c.y),
                              q = RoundToFloat(c.Queries(2000, 122));
    Spline spline;
    VecReal32 r;
    ASSERT_EQ(spline.Interpolate(r, MakeReal32(x), MakeReal32(y), MakeReal32(q)), VELAErrorNone);
    EXPECT_TRUE(NearL2(ToDoubles(r), ScipySpline(x, y, q, 0, 0, 0), 1e-5));
}

TEST(Spline, UnsortedQueriesGiveExactlyTheSortedValues) {
    RandomCurve c(300, 131);
    std::vector<double> q = c.Queries(4000, 132);
    q.insert(q.end(), c.x.begin(), c.x.end());  // exact knots too
    std::vector<double> sorted = q;
    std::sort(sorted.begin(), sorted.end());
    for (int width : {32, 64}) {
        Spline spline;
        std::vector<double> a, b;
        if (width == 64) {
            VecReal64 r;
            ASSERT_EQ(spline.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
            a = ToDoubles(r);
            ASSERT_EQ(spline.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(sorted)),
                      VELAErrorNone);
            b = ToDoubles(r);
        } else {
            VecReal32 r;
            ASSERT_EQ(spline.Interpolate(r, MakeReal32(c.x), MakeReal32(c.y), MakeReal32(q)), VELAErrorNone);
            a = ToDoubles(r);
            ASSERT_EQ(spline.Interpolate(r, MakeReal32(c.x), MakeReal32(c.y), MakeReal32(sorted)),
                      VELAErrorNone);
            b = ToDoubles(r);
        }
        // Put the unsorted results into sorted order and compare bit for bit.
        std::vector<size_t> order(q.size());
        for (size_t i = 0; i < order.size(); ++i)
            order[i] = i;
        std::stable_sort(order.begin(), order.end(), [&](size_t i, size_t j) { return q[i] < q[j]; });
        for (size_t i = 0; i < order.size(); ++i)
            ASSERT_EQ(a[order[i]], b[i]) << "width " << width << " query " << q[order[i]];
    }
}

TEST(Spline, BracketedEvaluationEqualsPlainBisection) {
    // The protected Splint keeps its bracket between queries; a fresh set-up before every query makes
    // each one start from the whole range. Both must give the same values.
    RandomCurve c(60, 141);
    const std::vector<double> q = c.Queries(500, 142);
    OpenSpline kept, fresh;
    std::vector<double> y2(c.x.size()), y2f(c.x.size());
    const int n = static_cast<int>(c.x.size());
    ASSERT_TRUE(kept.SplineInit(n, c.x.data(), c.y.data(), y2.data()));
    for (double v : q) {
        ASSERT_TRUE(fresh.SplineInit(n, c.x.data(), c.y.data(), y2f.data()));
        ASSERT_EQ(kept.Splint(n, c.x.data(), c.y.data(), y2.data(), v),
                  fresh.Splint(n, c.x.data(), c.y.data(), y2f.data(), v))
            << v;
    }
}

TEST(Spline, TableFormsEqualTheVectorForm) {
    RandomCurve c(80, 151);
    const std::vector<double> q = c.Queries(700, 152);
    const VecReal32 x = MakeReal32(c.x), y = MakeReal32(c.y), qv = MakeReal32(q);
    Spline spline;
    VecReal32 direct, table, viaTable;
    ASSERT_EQ(spline.Interpolate(direct, x, y, qv), VELAErrorNone);
    ASSERT_TRUE(spline.MakeSplineTable(table, y, x));
    EXPECT_EQ(table.GetSize(), 80);
    EXPECT_TRUE(spline.Interpolate(viaTable, qv, y, x, table));
    EXPECT_TRUE(NearAbs(ToDoubles(viaTable), ToDoubles(direct), 0));
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(spline.Interpolate(qv[i], y, x, table), direct[i]);
}

TEST(Spline, TableFormsRefuseWhatDoesNotFit) {
    Spline spline;
    VecReal32 table;
    EXPECT_FALSE(spline.MakeSplineTable(table, MakeReal32({1}), MakeReal32({0})));
    EXPECT_FALSE(spline.MakeSplineTable(table, MakeReal32({1, 2}), MakeReal32({0, 1, 2})));
    const VecReal32 x = MakeReal32({0, 1, 2}), y = MakeReal32({0, 1, 4});
    ASSERT_TRUE(spline.MakeSplineTable(table, y, x));
    const VecReal32 shortTable = MakeReal32({0, 0});
    EXPECT_TRUE(std::isnan(spline.Interpolate(0.5f, y, x, shortTable)));
    VecReal32 r;
    EXPECT_TRUE(spline.Interpolate(r, MakeReal32({0.5f, 1.5f}), y, x, shortTable));
    ASSERT_EQ(r.GetSize(), 2);
    EXPECT_TRUE(std::isnan(r[0]) && std::isnan(r[1]));
}

TEST(Spline, ABracketFromLongerKnotsIsNotUsedOnShorterOnes) {
    RandomCurve big(200, 161);
    const VecReal32 bx = MakeReal32(big.x), by = MakeReal32(big.y);
    const VecReal32 sx = MakeReal32({0, 1, 2, 3}), sy = MakeReal32({0, 1, 0, 1});
    Spline spline, other;
    VecReal32 bigTable, smallTable, expected;
    ASSERT_TRUE(spline.MakeSplineTable(bigTable, by, bx));
    spline.Interpolate(bx[190], by, bx, bigTable);  // leaves the bracket near knot 190
    ASSERT_TRUE(other.MakeSplineTable(smallTable, sy, sx));
    ASSERT_EQ(other.Interpolate(expected, sx, sy, MakeReal32({2.5f})), VELAErrorNone);
    EXPECT_EQ(spline.Interpolate(2.5f, sy, sx, smallTable), expected[0]);
}

TEST(Spline, RepeatedLastKnotGivesTheLastValue) {
    // At or beyond a repeated last knot the bracket has zero width, and its upper value is returned.
    Spline spline;
    VecReal64 r;
    ASSERT_EQ(spline.Interpolate(r, MakeReal64({0, 1, 2, 2}), MakeReal64({0, 1, 4, 7}), MakeReal64({2, 3})),
              VELAErrorNone);
    EXPECT_EQ(r[0], 7.0);
    EXPECT_EQ(r[1], 7.0);
}

TEST(Spline, TwoKnotsGiveAStraightLine) {
    Spline spline;
    VecReal64 r;
    ASSERT_EQ(spline.Interpolate(r, MakeReal64({1, 3}), MakeReal64({2, 6}), MakeReal64({0, 2, 4})),
              VELAErrorNone);
    EXPECT_NEAR(r[0], 0.0, 1e-12);
    EXPECT_NEAR(r[1], 4.0, 1e-12);
    EXPECT_NEAR(r[2], 8.0, 1e-12);
}

TEST(Spline, Refusals) {
    Spline spline;
    VecReal64 r;
    EXPECT_EQ(spline.Interpolate(r, MakeReal64({0, 1, 2}), MakeReal64({0, 1}), MakeReal64({0.5, 1.5})),
              VELAErrorSizeMismatch);
    EXPECT_EQ(r.GetSize(), 2);  // resized before the check
    EXPECT_EQ(spline.Interpolate(r, MakeReal64({0}), MakeReal64({0}), MakeReal64({0.5})),
              VELAErrorInvalidInputParameter);
    VecReal64 x = MakeReal64({0, 1}), y = MakeReal64({0, 1});
    EXPECT_EQ(spline.Interpolate(x, x, y, MakeReal64({0.5})), VELAErrorInvalidInputParameter);
    EXPECT_EQ(x.GetSize(), 2);
    VecReal32 r32;
    EXPECT_EQ(spline.Interpolate(r32, MakeReal32({0, 1, 2}), MakeReal32({0, 1}), MakeReal32({0.5})),
              VELAErrorSizeMismatch);
}

TEST(Spline, ScalarFormsAndInPlace) {
    RandomCurve c(30, 171);
    const std::vector<double> q = c.Queries(20, 172);
    Spline spline;
    const VecReal64 x = MakeReal64(c.x), y = MakeReal64(c.y);
    VecReal64 r, inPlace = MakeReal64(q);
    ASSERT_EQ(spline.Interpolate(r, x, y, MakeReal64(q)), VELAErrorNone);
    ASSERT_EQ(spline.Interpolate(inPlace, x, y, inPlace), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(inPlace), ToDoubles(r), 0));
    for (size_t i = 0; i < q.size(); ++i) {
        double d = 0;
        ASSERT_EQ(spline.Interpolate(d, x, y, q[i]), VELAErrorNone);
        EXPECT_EQ(d, r[static_cast<int>(i)]);
    }
    VecReal32 r32;
    const VecReal32 x32 = MakeReal32(c.x), y32 = MakeReal32(c.y);
    ASSERT_EQ(spline.Interpolate(r32, x32, y32, MakeReal32(q)), VELAErrorNone);
    float f = 0;
    ASSERT_EQ(spline.Interpolate(f, x32, y32, static_cast<float>(q[3])), VELAErrorNone);
    EXPECT_EQ(f, r32[3]);
    // Through the base class, the spline's own forms run.
    Interpolation& base = spline;
    double viaBase = 0;
    ASSERT_EQ(base.Interpolate(viaBase, x, y, q[5]), VELAErrorNone);
    EXPECT_EQ(viaBase, r[5]);
}

TEST(Spline, CopiesCarryTheBoundaryConditions) {
    Spline clamped;
    clamped.SetBoundaryCondition1(1.5);
    clamped.SetBoundaryCondition2(-0.5);
    Spline copy(clamped), assigned;
    assigned = clamped;
    const VecReal64 x = MakeReal64({0, 1, 2, 4}), y = MakeReal64({1, 0, 2, 1}), q = MakeReal64({0.3, 3.1});
    VecReal64 a, b, c;
    ASSERT_EQ(clamped.Interpolate(a, x, y, q), VELAErrorNone);
    ASSERT_EQ(copy.Interpolate(b, x, y, q), VELAErrorNone);
    ASSERT_EQ(assigned.Interpolate(c, x, y, q), VELAErrorNone);
    EXPECT_EQ(ToDoubles(a), ToDoubles(b));
    EXPECT_EQ(ToDoubles(a), ToDoubles(c));
}

TEST(Spline, SelfTestPasses) {
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(Spline::UnitTest(recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
    EXPECT_NE(out.find("SUCCESS  :Spline :Interpolate"), std::string::npos) << out;
}
