// Complex: the single-value functions in both precisions, and the self-test entry point.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/TestUtil.h"

using namespace VELA;

TEST(Complex, PhaseOfTwoOneAndMagnitudeOfThreeFour) {
    EXPECT_NEAR(Complex::Phase(Complex::Cplx(2.0f, 1.0f)), 0.4636476, 9e-6);
    EXPECT_NEAR(Complex::Mag(Complex::Cplx(3.0f, 4.0f)), 5.0, 9e-6);
    EXPECT_NEAR(Complex::Phase(Complex::Cplx(2.0, 1.0)), std::atan(0.5), 1e-15);
    EXPECT_EQ(Complex::Mag(Complex::Cplx(3.0, 4.0)), 5.0);
    EXPECT_EQ(Complex::MagSqr(Complex::Cplx(3.0f, 4.0f)), 25.0f);
    // Phase covers the whole circle.
    EXPECT_NEAR(Complex::Phase(Complex::Cplx(-1.0, -1.0)), -3 * std::atan(1.0), 1e-15);
}

TEST(Complex, CplxOfAPhaseIsTheUnitPhasor) {
    const Cplx32 one = Complex::Cplx(0.0f);
    EXPECT_EQ(one.re, 1.0f);
    EXPECT_EQ(one.im, 0.0f);
    const Cplx64 j = Complex::Cplx(std::acos(-1.0) / 2);
    EXPECT_NEAR(j.re, 0.0, 1e-15);
    EXPECT_NEAR(j.im, 1.0, 1e-15);
    const Cplx32 v = Complex::Cplx(0.25f, -0.5f);  // two arguments: the value itself
    EXPECT_EQ(v.re, 0.25f);
    EXPECT_EQ(v.im, -0.5f);
}

TEST(Complex, ConjMulConjAndRecip) {
    const Cplx64 a{1, 2}, b{3, -1};
    const Cplx64 c = Complex::Conj(a);
    EXPECT_EQ(c.re, 1.0);
    EXPECT_EQ(c.im, -2.0);
    // (1 + 2i)(3 + i) = 1 + 7i
    const Cplx64 m = Complex::MulConj(a, b);
    EXPECT_EQ(m.re, 1.0);
    EXPECT_EQ(m.im, 7.0);
    const Cplx32 m32 = Complex::MulConj(Cplx32{1, 2}, Cplx32{3, -1});
    EXPECT_EQ(m32.re, 1.0f);
    EXPECT_EQ(m32.im, 7.0f);
    // 1 / (3 + 4i) = (3 - 4i) / 25
    const Cplx32 r = Complex::Recip(Cplx32{3, 4});
    EXPECT_NEAR(r.re, 0.12, 1e-7);
    EXPECT_NEAR(r.im, -0.16, 1e-7);
    const Cplx64 r64 = Complex::Recip(Cplx64{3, 4});
    EXPECT_NEAR(r64.re, 0.12, 1e-16);
    EXPECT_NEAR(r64.im, -0.16, 1e-16);
}

TEST(Complex, RecipOfZeroIsNotTestedAndGivesNonFiniteParts) {
    const Cplx32 r = Complex::Recip(Cplx32{0, 0});
    EXPECT_FALSE(std::isfinite(r.re));
    EXPECT_FALSE(std::isfinite(r.im));
}

TEST(Complex, SelfTestRecordsCasesAndNoneFails) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    const bool result = Complex::UnitTest(recorder);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(result);
    EXPECT_GT(recorder.GetTotalTests(), 10);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
    EXPECT_NE(console.find("  SUCCESS  :Complex :a/b"), std::string::npos);
}
