#include <corvane/dsp/VideoBandwidth.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "support/TestUtil.h"

using namespace VELA;

TEST(VideoBandwidth, RatioOneNeedsFivePercentMoreData) {
    EXPECT_NEAR(VideoBandwidth().GetSamples(1.0), 1.0537, 1e-4);
}

TEST(VideoBandwidth, AboveTheFitOneBlockIsEnough) {
    EXPECT_EQ(VideoBandwidth().GetSamples(1.5), 1.0);
}

TEST(VideoBandwidth, MiddleOfTheFittedRange) {
    VideoBandwidth vbw;
    EXPECT_NEAR(vbw.GetSamples(0.1), 3.74152, 1e-5);
    EXPECT_EQ(vbw.GetSamples(0.01), 50.0);  // the whole-number branch
}

TEST(VideoBandwidth, VeryNarrowRatioUsesTheSquareRootLaw) {
    EXPECT_EQ(VideoBandwidth().GetSamples(0.0001), 2188.0);
}

TEST(VideoBandwidth, JointsAreNotSmoothed) {
    // sigma jumps from 0.186 just below 0.0004 to 0.2304 at 0.0004, so the factors differ markedly.
    VideoBandwidth vbw;
    const double below = vbw.GetSamples(0.0004 * (1 - 1e-12));
    const double at = vbw.GetSamples(0.0004);
    EXPECT_EQ(below, std::trunc(18.9225 / (9.3 * std::sqrt(0.0004 * (1 - 1e-12))) /
                                    (9.3 * std::sqrt(0.0004 * (1 - 1e-12))) +
                                0.5));
    EXPECT_LT(at, below * 0.8);
}

TEST(VideoBandwidth, NoClampAtRatioThree) {
    VideoBandwidth vbw;
    EXPECT_EQ(vbw.GetSamples(3.0), 0.0);
    EXPECT_EQ(vbw.GetSamples(3.0, 1000), 0);
}

TEST(VideoBandwidth, SampleCountRoundsAndSaturates) {
    VideoBandwidth vbw;
    EXPECT_EQ(vbw.GetSamples(1.0, 1000), static_cast<int>(std::trunc(vbw.GetSamples(1.0) * 1000 + 0.5)));
    EXPECT_EQ(vbw.GetSamples(1e-14, 1 << 20), INT_MAX);  // a factor beyond int range does not wrap
    EXPECT_EQ(vbw.GetSamples(-1.0, 100), 0);             // not a number gives 0, not undefined
}

TEST(VideoBandwidth, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    VideoBandwidth::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 6);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}

TEST(VideoBandwidth, ReadsThroughAConstReference) {
    const VideoBandwidth vbw;
    VideoBandwidth mutableCopy;
    EXPECT_EQ(vbw.GetSamples(0.1), mutableCopy.GetSamples(0.1));
    EXPECT_EQ(vbw.GetSamples(0.1, 1000), mutableCopy.GetSamples(0.1, 1000));
}
