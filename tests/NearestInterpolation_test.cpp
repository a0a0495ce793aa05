#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/Interpolation.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/InterpData.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

TEST(NearestInterpolation, CommonCurveFigures) {
    CommonCurve c;
    NearestInterpolation nearest;
    VecReal64 r;
    ASSERT_EQ(nearest.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(c.q)), VELAErrorNone);
    ASSERT_EQ(r.GetSize(), 143);
    EXPECT_NEAR(r[0], 0.0, 1e-8);
    EXPECT_NEAR(r[1], 0.0, 1e-8);
    EXPECT_NEAR(r[11], 1.0, 1e-8);  // 2.0, the first border
    EXPECT_NEAR(r[50], -1.0, 1e-8);
    EXPECT_NEAR(r[142], 0.0, 1e-8);
}

TEST(NearestInterpolation, OnABorderTheUpperNeighbourExceptOnTheLast) {
    // Borders 1, 3, 5; the last is 5.
    const std::vector<double> x{0, 2, 4, 6}, y{10, 20, 30, 40};
    for (int width : {32, 64}) {
        NearestInterpolation nearest;
        std::vector<double> got;
        // Just above the last border and just below the first, in the width at hand.
        const double above = width == 64 ? std::nextafter(5.0, 6.0) : std::nextafter(5.0f, 6.0f);
        const double below = width == 64 ? std::nextafter(1.0, 0.0) : std::nextafter(1.0f, 0.0f);
        const std::vector<double> q{1, 3, 5, above, below, -100, 100};
        if (width == 64) {
            VecReal64 r;
            ASSERT_EQ(nearest.Interpolate(r, MakeReal64(x), MakeReal64(y), MakeReal64(q)), VELAErrorNone);
            got = ToDoubles(r);
        } else {
            VecReal32 r;
            ASSERT_EQ(nearest.Interpolate(r, MakeReal32(x), MakeReal32(y), MakeReal32(q)), VELAErrorNone);
            got = ToDoubles(r);
        }
        EXPECT_EQ(got, (std::vector<double>{20, 30, 30, 40, 10, 10, 40})) << width;
    }
}

TEST(NearestInterpolation, TwoKnots) {
    NearestInterpolation nearest;
    VecReal64 r;
    ASSERT_EQ(nearest.Interpolate(r, MakeReal64({0, 1}), MakeReal64({5, 7}), MakeReal64({0.4, 0.5, 0.6})),
              VELAErrorNone);
    // The only border is also the last: on it, the lower value.
    EXPECT_EQ(ToDoubles(r), (std::vector<double>{5, 5, 7}));
}

TEST(NearestInterpolation, MatchesScipyAwayFromTheBorders) {
    // scipy's 'nearest' rounds a tie downwards, so only queries off the borders are compared (random
    // doubles never land on one).
    RandomCurve c(400, 91);
    const std::vector<double> q = c.Queries(3000, 92);
    const std::vector<double> want = PyEval(
        "from scipy.interpolate import interp1d\n"
        "out = interp1d(a0, a1, kind='nearest', fill_value=(a1[0], a1[-1]), bounds_error=False)(a2)",
        {c.x, c.y, q});
    NearestInterpolation nearest;
    VecReal64 r;
    ASSERT_EQ(nearest.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), want, 0));
    VecReal32 r32;
    const std::vector<double> x32 = RoundToFloat(c.x), q32 = RoundToFloat(q);
    const std::vector<double> want32 = PyEval(
        "from scipy.interpolate import interp1d\n"
        "out = interp1d(a0, a1, kind='nearest', fill_value=(a1[0], a1[-1]), bounds_error=False)(a2)",
        {x32, RoundToFloat(c.y), q32});
    ASSERT_EQ(nearest.Interpolate(r32, MakeReal32(x32), MakeReal32(c.y), MakeReal32(q32)), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r32), want32, 0));
}

TEST(NearestInterpolation, UnsortedKnotsFollowTheStatedRule) {
    // Knots 0, 4, 10, 2, 14 give the borders 2, 7, 6, 8 (the last). Between the first and the last,
    // the scan down from the top stops at the first border at or below the query: 6 before 7.
    NearestInterpolation nearest;
    VecReal64 r;
    ASSERT_EQ(nearest.Interpolate(r, MakeReal64({0, 4, 10, 2, 14}), MakeReal64({1, 2, 3, 4, 5}),
                                  MakeReal64({6.5, 7, 7.5, 1, 9, 8, 3})),
              VELAErrorNone);
    EXPECT_EQ(ToDoubles(r), (std::vector<double>{4, 4, 4, 1, 5, 4, 2}));
}

TEST(NearestInterpolation, ScalarFormAndNaN) {
    NearestInterpolation nearest;
    const VecReal64 x = MakeReal64({0, 2, 4}), y = MakeReal64({1, 2, 3});
    double d = 0;
    EXPECT_EQ(nearest.Interpolate(d, x, y, 2.9), VELAErrorNone);
    EXPECT_EQ(d, 2.0);
    EXPECT_EQ(nearest.Interpolate(d, x, y, NAN), VELAErrorNone);
    EXPECT_TRUE(std::isnan(d));
    float f = 0;
    EXPECT_EQ(nearest.Interpolate(f, MakeReal32({0, 2, 4}), MakeReal32({1, 2, 3}), 3.1f), VELAErrorNone);
    EXPECT_EQ(f, 3.0f);
}

TEST(NearestInterpolation, InPlaceAndRefusals) {
    NearestInterpolation nearest;
    VecReal64 q = MakeReal64({0.1, 1.9, 3.5});
    ASSERT_EQ(nearest.Interpolate(q, MakeReal64({0, 2, 4}), MakeReal64({1, 2, 3}), q), VELAErrorNone);
    EXPECT_EQ(ToDoubles(q), (std::vector<double>{1, 2, 3}));
    VecReal64 x = MakeReal64({0, 2}), y = MakeReal64({1, 2}), r;
    EXPECT_EQ(nearest.Interpolate(x, x, y, q), VELAErrorInvalidInputParameter);
    EXPECT_EQ(nearest.Interpolate(r, MakeReal64({0}), MakeReal64({1}), q), VELAErrorInvalidInputParameter);
    EXPECT_EQ(nearest.Interpolate(r, x, MakeReal64({1}), q), VELAErrorSizeMismatch);
}

TEST(NearestInterpolation, SelfTestPasses) {
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(NearestInterpolation::UnitTest(recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
    EXPECT_NE(out.find("SUCCESS  :NearestInterpolation :Interpolate"), std::string::npos) << out;
}
