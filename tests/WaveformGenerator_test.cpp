// WaveformGenerator against the closed forms of its pulses, evaluated in double at the very float
// times the library sees, including the points where a closed form has a removable singularity; the
// figures quoted for the integral pulses; the scans at the support limits; in-place use.
#include <corvane/dsp/DSPUtils.h>
#include <corvane/dsp/WaveformGenerator.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;

namespace {

constexpr double kPi = 3.141592653589793;

VecReal32 Times(const std::vector<double>& v) {
    VecReal32 t(static_cast<int>(v.size()));
    for (size_t i = 0; i < v.size(); ++i)
        t[static_cast<int>(i)] = static_cast<float>(v[i]);
    return t;
}
std::vector<double> Vals(const VecReal32& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i)
        r.push_back(v[i]);
    return r;
}
// The closed form at each float time of t.
std::vector<double> Eval(const VecReal32& t, const std::function<double(double)>& f) {
    std::vector<double> r;
    for (int i = 0; i < t.GetSize(); ++i)
        r.push_back(f(static_cast<double>(t[i])));
    return r;
}
// u * T for u on a grid from -span to span in steps of 1/den, plus the extra points.
std::vector<double> Axis(double T, double span, int den, const std::vector<double>& extraU) {
    std::vector<double> t;
    for (int k = static_cast<int>(-span * den); k <= static_cast<int>(span * den); ++k)
        t.push_back(T * k / den);
    for (double u : extraU)
        t.push_back(T * u);
    return t;
}

double SincN(double x) {  // normalised: sin(pi x)/(pi x)
    return x == 0.0 ? 1.0 : std::sin(kPi * x) / (kPi * x);
}

double RaisedCosine(double u, double r) {
    const double d = 1.0 - 4.0 * r * r * u * u;
    if (std::fabs(d) < 1e-9) return kPi / 4.0 * SincN(1.0 / (2.0 * r));
    return SincN(u) * std::cos(kPi * r * u) / d;
}

double RootRaisedCosine(double u, double r) {
    if (u == 0.0) return 1.0 - r + 4.0 * r / kPi;
    if (std::fabs(std::fabs(4.0 * r * u) - 1.0) < 1e-9)
        return r / std::sqrt(2.0) *
               ((1.0 + 2.0 / kPi) * std::sin(kPi / (4.0 * r)) +
                (1.0 - 2.0 / kPi) * std::cos(kPi / (4.0 * r)));
    return (std::sin(kPi * u * (1.0 - r)) + 4.0 * r * u * std::cos(kPi * u * (1.0 + r))) /
           (kPi * u * (1.0 - 16.0 * r * r * u * u));
}

double Phi(double x) {
    return 0.5 * std::erfc(-x / std::sqrt(2.0));
}
double phi(double x) {
    return std::exp(-0.5 * x * x) / std::sqrt(2.0 * kPi);
}

double ConvGaussClosed(double t, double T, double s) {
    const double sigma = s * T;
    return (Phi((t + T / 2) / sigma) - Phi((t - T / 2) / sigma)) / T;
}
double IntegralConvGaussClosed(double t, double T, double s) {
    const double sigma = s * T, a = t + T / 2, b = t - T / 2;
    return (a * Phi(a / sigma) - b * Phi(b / sigma)) / T + s * (phi(a / sigma) - phi(b / sigma));
}

}  // namespace

TEST(WaveformGenerator, RaisedCosineMatchesClosedFormIncludingItsSingularPoints) {
    for (double r : {0.1, 0.22, 0.35, 0.5, 1.0}) {
        for (float T : {1.0f, 2.5e-4f}) {
            const VecReal32 t = Times(Axis(T, 8.0, 64, {1 / (2 * r), -1 / (2 * r), 1e-7, -3e-4}));
            VecReal32 p;
            WaveformGenerator::RaisedCosinePulse(p, static_cast<float>(r), T, t);
            ASSERT_EQ(p.GetSize(), t.GetSize());
            const auto expected = Eval(t, [&](double x) { return RaisedCosine(x / T, r); });
            EXPECT_TRUE(NearAbs(Vals(p), expected, 1e-5)) << "rolloff " << r << " T " << T;
        }
    }
}

TEST(WaveformGenerator, RaisedCosineIsOneAtZeroAndZeroAtOtherSymbolInstants) {
    VecReal32 t = Times({0.0, 1.0, 2.0, -3.0});
    VecReal32 p;
    WaveformGenerator::RaisedCosinePulse(p, 0.35f, 1.0f, t);
    EXPECT_NEAR(p[0], 1.0, 1e-6);
    for (int i = 1; i < 4; ++i)
        EXPECT_NEAR(p[i], 0.0, 1e-6);
}

TEST(WaveformGenerator, RootRaisedCosineMatchesClosedFormIncludingItsSingularPoints) {
    for (double r : {0.1, 0.22, 0.35, 0.5, 1.0}) {
        for (float T : {1.0f, 0.2f}) {
            const VecReal32 t = Times(Axis(T, 8.0, 64, {1 / (4 * r), -1 / (4 * r), 1e-7, -2e-3}));
            VecReal32 p;
            WaveformGenerator::RootRaisedCosinePulse(p, static_cast<float>(r), T, t);
            ASSERT_EQ(p.GetSize(), t.GetSize());
            const double scale = 1.0 / std::sqrt(static_cast<double>(T));
            const auto expected = Eval(t, [&](double x) { return scale * RootRaisedCosine(x / T, r); });
            EXPECT_TRUE(NearAbs(Vals(p), expected, 1e-5 * scale)) << "rolloff " << r << " T " << T;
        }
    }
}

TEST(WaveformGenerator, RootRaisedCosineHasUnitEnergy) {
    // Sampled at 64 points per symbol over +-40 symbols, the energy sum times the step is about 1.
    const float T = 1.0f;
    const VecReal32 t = Times(Axis(T, 40.0, 64, {}));
    VecReal32 p;
    WaveformGenerator::RootRaisedCosinePulse(p, 0.35f, T, t);
    double e = 0.0;
    for (int i = 0; i < p.GetSize(); ++i)
        e += static_cast<double>(p[i]) * p[i] / 64.0;
    EXPECT_NEAR(e, 1.0, 1e-3);
}

TEST(WaveformGenerator, GaussianMatchesClosedForm) {
    for (double B : {0.3, 0.5, 1.0, 2.0e3}) {
        const VecReal32 t = Times(Axis(1.0 / B, 3.0, 50, {}));
        VecReal32 p;
        WaveformGenerator::GaussianPulse(p, static_cast<float>(B), t);
        const double k = std::sqrt(2.0 * kPi / std::log(2.0)) * B;
        const auto expected =
            Eval(t, [&](double x) { return k * std::exp(-2.0 * kPi * kPi * B * B * x * x / std::log(2.0)); });
        EXPECT_TRUE(NearAbs(Vals(p), expected, 2e-6 * k)) << "B " << B;
    }
}

TEST(WaveformGenerator, GaussianHasUnitAreaAndHalfPowerAtB) {
    // The spectrum of the pulse is exp(-ln2/2 (f/B)^2): unit at 0, and -3 dB (power 1/2) at f = B.
    const double B = 0.5, dt = 0.01;
    const VecReal32 t = Times(Axis(dt, 2000, 1, {}));
    VecReal32 p;
    WaveformGenerator::GaussianPulse(p, static_cast<float>(B), t);
    double area = 0.0, re = 0.0;
    for (int i = 0; i < p.GetSize(); ++i) {
        area += p[i] * dt;
        re += p[i] * dt * std::cos(2.0 * kPi * B * t[i]);
    }
    EXPECT_NEAR(area, 1.0, 1e-5);
    EXPECT_NEAR(re * re, 0.5, 1e-5);
}

TEST(WaveformGenerator, SincMatchesClosedFormAndTakesTwoBAtZero) {
    for (double B : {0.5, 2.0, 1.5e3}) {
        const VecReal32 t = Times(Axis(1.0 / B, 6.0, 40, {1e-9, 0.01 / B}));
        VecReal32 p;
        WaveformGenerator::SincPulse(p, static_cast<float>(B), t);
        const auto expected = Eval(t, [&](double x) { return 2.0 * B * SincN(2.0 * B * x); });
        EXPECT_TRUE(NearAbs(Vals(p), expected, 1e-5 * 2.0 * B)) << "B " << B;
    }
    VecReal32 zero = Times({0.0});
    WaveformGenerator::SincPulse(zero, 2.0f, zero);
    EXPECT_EQ(zero[0], 4.0f);
}

TEST(WaveformGenerator, ConvGaussMatchesClosedFormInsideItsSupport) {
    for (double s : {0.05, 0.2, 0.4416839, 1.0}) {
        for (double T : {1.0, 0.6, 1e-3}) {
            const VecReal32 t = Times(Axis(T, 3.0, 100, {0.5, -0.5}));
            VecReal32 p;
            WaveformGenerator::ConvGauss(p, static_cast<float>(T), static_cast<float>(s), t);
            const auto expected = Eval(t, [&](double x) { return ConvGaussClosed(x, T, s); });
            EXPECT_TRUE(NearAbs(Vals(p), expected, 2e-7 / T)) << "s " << s << " T " << T;
        }
    }
}

TEST(WaveformGenerator, ConvGaussIsSymmetricAroundZero) {
    std::vector<double> axis;
    for (int k = -600; k <= 600; ++k)
        axis.push_back(k / 200.0);
    const VecReal32 t = Times(axis);
    for (double s : {0.02, 0.3, 0.4416839}) {
        VecReal32 p;
        WaveformGenerator::ConvGauss(p, 1.0f, static_cast<float>(s), t);
        const int n = p.GetSize();
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(p[i], p[n - 1 - i]) << "s " << s << " i " << i;
    }
}

TEST(WaveformGenerator, ConvGaussIsZeroFromTwentyDeviationsOut) {
    // T 1, s 0.01: the cut at 0.2 lies inside the rectangle itself, and so it stays.
    const VecReal32 t = Times({-0.3, -0.2, -0.19, 0.0, 0.19, 0.2, 0.3});
    VecReal32 p;
    WaveformGenerator::ConvGauss(p, 1.0f, 0.01f, t);
    EXPECT_EQ(p[0], 0.0f);
    EXPECT_EQ(p[1], 0.0f);
    EXPECT_NEAR(p[2], 1.0, 1e-6);
    EXPECT_NEAR(p[3], 1.0, 1e-6);
    EXPECT_NEAR(p[4], 1.0, 1e-6);
    EXPECT_EQ(p[5], 0.0f);
    EXPECT_EQ(p[6], 0.0f);
}

TEST(WaveformGenerator, ConvGaussOfTimesWhollyOutsideItsSupportIsAllZeros) {
    for (const std::vector<double>& axis :
         std::vector<std::vector<double>>{{-9, -8, -7}, {7, 8, 9}, {-9, -8, 8, 9}}) {
        const VecReal32 t = Times(axis);
        VecReal32 p;
        WaveformGenerator::ConvGauss(p, 0.6f, 0.3f, t);
        ASSERT_EQ(p.GetSize(), t.GetSize());
        for (int i = 0; i < p.GetSize(); ++i)
            EXPECT_EQ(p[i], 0.0f);
    }
}

TEST(WaveformGenerator, IntegralConvRectGivesTheQuotedSteps) {
    VecReal32 t;
    DSPUtils::Ramp(t, 7, -0.6f, 0.2f);
    VecReal32 p;
    WaveformGenerator::IntegralConvRect(p, 0.6f, t);
    EXPECT_TRUE(NearAbs(Vals(p), {0, 0, 0.166667, 0.5, 0.833333, 1, 1}, 1e-6));
}

TEST(WaveformGenerator, IntegralConvGaussGivesTheQuotedValues) {
    VecReal32 t;
    DSPUtils::Ramp(t, 7, -0.6f, 0.2f);
    VecReal32 p;
    const float s = static_cast<float>(0.8325546383857727 / (0.3 * 6.2831854820251465));
    WaveformGenerator::IntegralConvGauss(p, 0.6f, s, t);
    EXPECT_TRUE(NearAbs(Vals(p), {0.0283987, 0.104705, 0.266884, 0.5, 0.733116, 0.895295, 0.971601}, 1e-6));
}

TEST(WaveformGenerator, IntegralConvGaussMatchesClosedFormAndSaturatesAtTenDeviations) {
    for (double s : {0.05, 0.2, 0.5}) {
        const double T = 0.8;
        const VecReal32 t = Times(Axis(T, 6.0, 64, {}));
        VecReal32 p;
        WaveformGenerator::IntegralConvGauss(p, static_cast<float>(T), static_cast<float>(s), t);
        const double lim = static_cast<double>(static_cast<float>(T) * static_cast<float>(s) * 10.0f);
        const auto expected = Eval(t, [&](double x) {
            if (x <= -lim) return 0.0;
            if (x >= lim) return 1.0;
            return IntegralConvGaussClosed(x, T, s);
        });
        EXPECT_TRUE(NearAbs(Vals(p), expected, 2e-7)) << "s " << s;
        // Rising from 0 to 1, never falling (beyond the rounding of the double formula in the tails).
        for (int i = 1; i < p.GetSize(); ++i)
            ASSERT_GE(p[i], p[i - 1] - 1e-12) << "s " << s << " i " << i;
    }
}

TEST(WaveformGenerator, IntegralFormsOfTimesWhollyOutsideTheirLimitsGiveZerosAndOnes) {
    const VecReal32 before = Times({-9, -8, -7});
    const VecReal32 after = Times({7, 8, 9});
    const VecReal32 both = Times({-9, -8, 8, 9});
    VecReal32 p;
    for (int form = 0; form < 2; ++form) {
        auto run = [&](const VecReal32& t) {
            if (form == 0)
                WaveformGenerator::IntegralConvRect(p, 0.6f, t);
            else
                WaveformGenerator::IntegralConvGauss(p, 0.6f, 0.3f, t);
        };
        run(before);
        EXPECT_TRUE(NearAbs(Vals(p), {0, 0, 0}, 0.0)) << form;
        run(after);
        EXPECT_TRUE(NearAbs(Vals(p), {1, 1, 1}, 0.0)) << form;
        run(both);
        EXPECT_TRUE(NearAbs(Vals(p), {0, 0, 1, 1}, 0.0)) << form;
    }
}

TEST(WaveformGenerator, EveryPulseWorksInPlaceAlsoOnAView) {
    using Fn = std::function<void(VecReal32&, const VecReal32&)>;
    const std::vector<Fn> pulses = {
        [](VecReal32& o, const VecReal32& t) { WaveformGenerator::RaisedCosinePulse(o, 0.35f, 1.0f, t); },
        [](VecReal32& o, const VecReal32& t) { WaveformGenerator::RootRaisedCosinePulse(o, 0.35f, 1.0f, t); },
        [](VecReal32& o, const VecReal32& t) { WaveformGenerator::GaussianPulse(o, 0.5f, t); },
        [](VecReal32& o, const VecReal32& t) { WaveformGenerator::SincPulse(o, 0.5f, t); },
        [](VecReal32& o, const VecReal32& t) { WaveformGenerator::ConvGauss(o, 1.0f, 0.3f, t); },
        [](VecReal32& o, const VecReal32& t) { WaveformGenerator::IntegralConvGauss(o, 1.0f, 0.3f, t); },
        [](VecReal32& o, const VecReal32& t) { WaveformGenerator::IntegralConvRect(o, 1.0f, t); },
    };
    std::vector<double> axis;
    for (int k = -700; k <= 700; ++k)
        axis.push_back(k / 100.0);
    for (size_t f = 0; f < pulses.size(); ++f) {
        const VecReal32 t = Times(axis);
        VecReal32 expected;
        pulses[f](expected, t);

        VecReal32 same(t);
        pulses[f](same, same);
        EXPECT_TRUE(NearAbs(Vals(same), Vals(expected), 0.0)) << "pulse " << f;

        // A view: the times start 5 elements into the storage; the result lands at its start.
        VecReal32 view(static_cast<int>(axis.size()) + 5);
        for (int i = 0; i < t.GetSize(); ++i)
            view[i + 5] = t[i];
        view.ShiftLeft(5);
        pulses[f](view, view);
        EXPECT_TRUE(NearAbs(Vals(view), Vals(expected), 0.0)) << "pulse " << f << " (view)";
    }
}

TEST(WaveformGenerator, EmptyTimesGiveAnEmptyPulse) {
    VecReal32 t, p(4);
    WaveformGenerator::RaisedCosinePulse(p, 0.35f, 1.0f, t);
    EXPECT_EQ(p.GetSize(), 0);
    p.Resize(4);
    WaveformGenerator::ConvGauss(p, 1.0f, 0.3f, t);
    EXPECT_EQ(p.GetSize(), 0);
    p.Resize(4);
    WaveformGenerator::IntegralConvRect(p, 1.0f, t);
    EXPECT_EQ(p.GetSize(), 0);
}

TEST(WaveformGenerator, ZeroSymbolTimeDividesByZeroWithoutFault) {
    // Nothing is checked: the division by zero shows in the values, and the call still sizes its output.
    const VecReal32 t = Times({-1.0, 0.0, 1.0});
    VecReal32 p;
    WaveformGenerator::RaisedCosinePulse(p, 0.35f, 0.0f, t);
    ASSERT_EQ(p.GetSize(), 3);
    EXPECT_FALSE(std::isfinite(p[1]));
    WaveformGenerator::RootRaisedCosinePulse(p, 0.35f, 0.0f, t);
    ASSERT_EQ(p.GetSize(), 3);
    EXPECT_FALSE(std::isfinite(p[1]));
    // With T = 0 the integral of the rectangle is a unit step at 0: both scans meet.
    WaveformGenerator::IntegralConvRect(p, 0.0f, t);
    EXPECT_TRUE(NearAbs(Vals(p), {0, 0, 1}, 0.0));
}

TEST(WaveformGenerator, SelfTestRecordsConvGaussAsPassed) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(WaveformGenerator::UnitTest(recorder));
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
    EXPECT_NE(console.find("SUCCESS  :ConvGauss :Waveform"), std::string::npos) << console;
}
