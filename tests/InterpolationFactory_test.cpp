#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/Interpolation.h>
#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

#include "support/TestUtil.h"

using namespace VELA;

TEST(InterpolationFactory, MakesEachKind) {
    InterpolationFactory factory;
    EXPECT_EQ(factory.GetType(), InterpolationLinear);
    std::unique_ptr<Interpolation> linear(factory.MakeInterpolation(InterpolationLinear));
    ASSERT_TRUE(linear);
    EXPECT_EQ(typeid(*linear), typeid(Interpolation));
    EXPECT_EQ(factory.GetType(), InterpolationLinear);
    std::unique_ptr<Interpolation> spline(factory.MakeInterpolation(InterpolationSpline));
    EXPECT_NE(dynamic_cast<Spline*>(spline.get()), nullptr);
    EXPECT_EQ(factory.GetType(), InterpolationSpline);
    std::unique_ptr<Interpolation> nearest(factory.MakeInterpolation(InterpolationNearest));
    EXPECT_NE(dynamic_cast<NearestInterpolation*>(nearest.get()), nullptr);
    EXPECT_EQ(factory.GetType(), InterpolationNearest);
    std::unique_ptr<Interpolation> hermite(factory.MakeInterpolation(InterpolationCubicHermite));
    EXPECT_NE(dynamic_cast<CubicHermiteInterpolation*>(hermite.get()), nullptr);
    EXPECT_EQ(factory.GetType(), InterpolationCubicHermite);
}

TEST(InterpolationFactory, ATypeAboveThreeMakesNothingButIsStored) {
    InterpolationFactory factory;
    EXPECT_EQ(factory.MakeInterpolation(static_cast<InterpolationType>(4)), nullptr);
    EXPECT_EQ(factory.GetType(), 4);
    EXPECT_EQ(factory.MakeInterpolation(static_cast<InterpolationType>(1000)), nullptr);
    EXPECT_EQ(factory.GetType(), 1000);
    EXPECT_EQ(factory.MakeInterpolation(static_cast<InterpolationType>(-1)), nullptr);
    EXPECT_EQ(factory.GetType(), -1);
}

TEST(InterpolationFactory, MadeObjectsWorkThroughTheBase) {
    InterpolationFactory factory;
    const VecReal64 x = [] {
        VecReal64 v(3);
        v[0] = 0;
        v[1] = 1;
        v[2] = 2;
        return v;
    }();
    const VecReal64 y = [] {
        VecReal64 v(3);
        v[0] = 0;
        v[1] = 1;
        v[2] = 0;
        return v;
    }();
    for (int t = 0; t <= 3; ++t) {
        std::unique_ptr<Interpolation> made(factory.MakeInterpolation(static_cast<InterpolationType>(t)));
        double v = -1;
        ASSERT_EQ(made->Interpolate(v, x, y, 1.0), VELAErrorNone) << t;
        EXPECT_NEAR(v, 1.0, 1e-12) << t;  // every method passes through the knots
    }
}

TEST(InterpolationFactory, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(InterpolationFactory::UnitTest(recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
    EXPECT_NE(out.find("SUCCESS  :InterpolationFactory :MakeInterpolation"), std::string::npos) << out;
}
