// SteppedSpectrum::Init: the named plans, the two short cuts, the refusals, and plan properties over many
// random requests.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "kernel/Memory.h"
#include "support/SteppedPlan.h"
#include "support/TestUtil.h"

using namespace VELA;

namespace {

using corvane_test::CISPRPlan;
using corvane_test::MakePlan;
using corvane_test::Plan;
using corvane_test::Request;
using corvane_test::VBWNoise;

long long SumPoints(const Plan& p) {
    long long s = 0;
    for (int i = 0; i < p.numPoints.GetSize(); ++i)
        s += p.numPoints[i];
    return s;
}

double F(double x) {
    return static_cast<double>(static_cast<float>(x));
}

}  // namespace

TEST(SteppedSpectrumPlan, SingleTuning) {
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, Request{});
    ASSERT_EQ(p.Tunings(), 1);
    EXPECT_EQ(p.freqSteps[0], 5e9);
    EXPECT_EQ(p.acqSpans[0], 36e6);
    EXPECT_EQ(p.numPoints[0], 1001);
    // Flat top (3.77 bins): 50e6 / 100e3 * 3.77 = 1885 samples, and the bandwidth they give.
    EXPECT_EQ(p.numSamples[0], 1885);
    EXPECT_NEAR(p.actualRBW, 50e6 / 1885 * static_cast<double>(3.77f), 1e-9);
    EXPECT_EQ(p.actualVBW, -1.0);  // untouched without a hardware override
    // Noise bandwidth of the 1885-point flat top in Hz, taken back to 1 Hz.
    WindowFactory factory;
    Window* w = factory.MakeWindow(WindowTypeFlatTop, 1885, 0.0f);
    const double enbwHz = static_cast<double>(w->GetENBW()) * 50e6 / 1885;
    delete w;
    EXPECT_NEAR(ss.GetNoiseMarkerCorrection(), -10.0 * std::log10(enbwHz), 1e-9);
}

TEST(SteppedSpectrumPlan, FrequencySteppingOnlyTakesTheShortCut) {
    SteppedSpectrum ss;
    Plan a, b;
    Request r;
    MakePlan(ss, a, r);
    r.center = 6e9;
    b.freqSteps.Resize(1);
    b.acqSpans.Resize(1);
    b.numSamples.Resize(1);
    b.numPoints.Resize(1);
    b.actualRBW = -7.0;
    const long long before = kern::AllocationCount();
    MakePlan(ss, b, r);
    // No window or chirp-Z design: nothing allocated, and the bandwidth output is left as passed.
    EXPECT_EQ(kern::AllocationCount() - before, 0);
    EXPECT_EQ(b.actualRBW, -7.0);
    ASSERT_EQ(b.Tunings(), 1);
    EXPECT_EQ(b.freqSteps[0], 6e9);
    EXPECT_EQ(b.acqSpans[0], a.acqSpans[0]);
    EXPECT_EQ(b.numSamples[0], a.numSamples[0]);
    EXPECT_EQ(b.numPoints[0], a.numPoints[0]);
}

TEST(SteppedSpectrumPlan, RepeatedRequestRunsOnlyTheOutputStage) {
    SteppedSpectrum ss;
    Plan a, b;
    Request r;
    r.span = 100e6;
    r.points = 101;
    MakePlan(ss, a, r);
    b.actualRBW = -3.0;
    MakePlan(ss, b, r);
    EXPECT_EQ(b.actualRBW, -3.0);
    ASSERT_EQ(b.Tunings(), a.Tunings());
    for (int i = 0; i < a.Tunings(); ++i) {
        EXPECT_EQ(b.freqSteps[i], a.freqSteps[i]);
        EXPECT_EQ(b.numPoints[i], a.numPoints[i]);
    }
}

TEST(SteppedSpectrumPlan, CentreStepOfAMultiTuningPlanRebuilds) {
    SteppedSpectrum ss;
    Plan a;
    Request r;
    r.span = 100e6;
    r.points = 101;
    MakePlan(ss, a, r);
    r.center = 6e9;
    a.actualRBW = -3.0;
    MakePlan(ss, a, r);
    EXPECT_NE(a.actualRBW, -3.0);
    EXPECT_NEAR(a.freqSteps[a.Tunings() / 2], 6e9, 1e-3);
}

TEST(SteppedSpectrumPlan, EstimateIsRebuiltEveryTime) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    r.estimateOnly = true;
    MakePlan(ss, p, r);
    EXPECT_GT(p.actualRBW, 0.0);
    p.actualRBW = -5.0;
    MakePlan(ss, p, r);
    EXPECT_GT(p.actualRBW, 0.0);  // rebuilt: the output was written again
    // An estimate builds no processing objects.
    VecReal32 out;
    VecCplx32 block(p.numSamples[0]);
    EXPECT_THROW(ss.Apply(out, block, 0), VELAException);
}

TEST(SteppedSpectrumPlan, ShortCutComparesTheInitDetectorNotTheLastApply2One) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    MakePlan(ss, p, r);
    VecCplx32 block;
    SteppedSpectrum::GenCW(block, 0.002, p.numSamples[0]);
    VecReal32 mag, out;
    ss.Apply1(mag, block, 0);
    ss.Apply2(out, mag, 0, DetectorRms);  // overwrites the processing detector
    r.center = 6e9;
    p.actualRBW = -2.0;
    MakePlan(ss, p, r);
    EXPECT_EQ(p.actualRBW, -2.0);
    EXPECT_EQ(p.freqSteps[0], 6e9);
}

TEST(SteppedSpectrumPlan, CISPRCentreCrossingABandRebuilds) {
    SteppedSpectrum ss;
    Plan p;
    Request r = CISPRPlan();
    MakePlan(ss, p, r);
    EXPECT_EQ(ss.GetCISPRAcqNum(), 6367);
    // Within the band: the short cut.
    r.center = 6e8;
    p.actualRBW = -4.0;
    MakePlan(ss, p, r);
    EXPECT_EQ(p.actualRBW, -4.0);
    EXPECT_EQ(ss.GetCISPRAcqNum(), 6367);
    // Into the 150 kHz .. 30 MHz band (discharge 0.16 s): a new detector with its own count.
    r.center = 20e6;
    MakePlan(ss, p, r);
    EXPECT_NE(p.actualRBW, -4.0);
    EXPECT_EQ(p.freqSteps[0], 20e6);
    EXPECT_EQ(ss.GetCISPRAcqNum(), static_cast<int>(std::trunc(4.0 * 0.16 / 0.00034557519963884786 + 1.0)));
}

TEST(SteppedSpectrumPlan, SingleNotAlderI_ShortBlockWidensTheBandwidth) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    r.acqSamples = 1000;
    MakePlan(ss, p, r);
    ASSERT_EQ(p.Tunings(), 1);
    EXPECT_EQ(p.numSamples[0], 1000);
    EXPECT_EQ(p.numPoints[0], 1001);
    EXPECT_NEAR(p.actualRBW, 50e6 / 1000 * static_cast<double>(3.77f), 1e-9);
    EXPECT_EQ(p.actualVBW, 0.0);
}

TEST(SteppedSpectrumPlan, SingleNotAlderII_LongBlockKeepsTheBandwidth) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    r.acqSamples = 10000;
    MakePlan(ss, p, r);
    ASSERT_EQ(p.Tunings(), 1);
    EXPECT_EQ(p.numSamples[0], 10000);
    EXPECT_NEAR(p.actualRBW, 50e6 / 1885 * static_cast<double>(3.77f), 1e-9);
    EXPECT_EQ(p.actualVBW, 0.0);
}

TEST(SteppedSpectrumPlan, MultiNotAlderIAndII_ThreeTunings101Points) {
    for (int acq : {1000, 10000}) {
        SteppedSpectrum ss;
        Plan p;
        Request r;
        r.span = 100e6;
        r.points = 101;
        r.acqSamples = acq;
        MakePlan(ss, p, r);
        EXPECT_EQ(p.Tunings(), 3) << acq;
        EXPECT_EQ(SumPoints(p), 101) << acq;
        for (int i = 0; i < p.Tunings(); ++i)
            EXPECT_EQ(p.numSamples[i], acq);
    }
}

TEST(SteppedSpectrumPlan, MultiTuning1) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    r.span = 100e6;
    r.center = 1e9;
    r.rbw = 1e6;
    r.points = 501;
    r.acqSamples = 10000;
    MakePlan(ss, p, r);
    ASSERT_EQ(p.Tunings(), 3);
    EXPECT_EQ(SumPoints(p), 501);
    EXPECT_EQ(p.numPoints[0] + 1, p.numPoints[2]);
    // Grid 200 kHz: 36 MHz holds 181 points, so each tuning spans 36 MHz and the outer ones sit at the
    // span's edges less half of it.
    EXPECT_EQ(p.freqSteps[0], F(1e9 - 50e6 + 18e6));
    EXPECT_EQ(p.freqSteps[1], 1e9);
    EXPECT_EQ(p.freqSteps[2], F(1e9 + 50e6 - 18e6));
    EXPECT_EQ(p.acqSpans[1], F(36e6));
}

TEST(SteppedSpectrumPlan, StitchUpsample) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    r.span = 167e6;
    r.center = 4.04e9;
    r.rbw = 1e6;
    r.window = WindowTypeBlackmanHarris;
    r.points = 801;
    r.acqSpan = 1.25e6;
    r.sampFreq = 1.5625e6;
    MakePlan(ss, p, r);
    int upsample = 0, stitch = 0;
    ss.GetUpsampleRate(upsample, stitch);
    EXPECT_EQ(stitch, 3);
    EXPECT_EQ(p.Tunings(), 151);
    EXPECT_EQ(SumPoints(p), 801);
    // Grid of 2403 points: spacing 167e6 / 2402; 17 grid points per tuning, so tunings are 16 apart.
    const double s = 167e6 / 2402;
    const double step = p.freqSteps[76] - p.freqSteps[75];
    EXPECT_NEAR(step / s, 16.0, 1e-6);
}

TEST(SteppedSpectrumPlan, ThirteenGHzSpanEstimate) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    r.span = 13e9;
    r.center = 7.5e9;
    r.rbw = 100;
    r.window = WindowTypeKaiser;
    r.points = 801;
    r.acqSpan = 32e6;
    r.sampFreq = 50e6;
    r.acqSamples = 1114600;
    r.detector = DetectorMax;
    r.estimateOnly = true;
    MakePlan(ss, p, r);
    EXPECT_EQ(SumPoints(p), 801);
    EXPECT_EQ(p.Tunings() % 2, 1);
    EXPECT_EQ(p.numSamples[0], 1114600);
}

TEST(SteppedSpectrumPlan, NoiseMarker) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    r.span = 8.6e9;
    r.center = 5e9;
    r.rbw = 1e6;
    r.window = WindowTypeKaiser;
    r.points = 801;
    r.acqSpan = 59.3e6;
    r.sampFreq = 80e6;
    MakePlan(ss, p, r);
    EXPECT_NEAR(ss.GetNoiseMarkerCorrection(), -60.2649, 0.0002);
}

TEST(SteppedSpectrumPlan, CISPRAcqBlocksReplacesTheComputedNumber) {
    SteppedSpectrum ss;
    Plan p;
    Request r = CISPRPlan();
    MakePlan(ss, p, r);
    const int computed = ss.GetCISPRAcqNum();
    EXPECT_EQ(computed, 6367);
    r.cisprAcqBlocks = computed - 5000;
    MakePlan(ss, p, r);
    EXPECT_EQ(ss.GetCISPRAcqNum(), 1367);
    // Window type 6 is the same window but makes no detector.
    r.window = WindowTypeCISPR6dBAlt;
    r.cisprAcqBlocks = 0;
    MakePlan(ss, p, r);
    EXPECT_EQ(ss.GetCISPRAcqNum(), 0);
}

TEST(SteppedSpectrumPlan, VBWNoiseSampleCount) {
    SteppedSpectrum ss;
    Plan p;
    Request r = VBWNoise();
    MakePlan(ss, p, r);
    ASSERT_EQ(p.Tunings(), 1);
    EXPECT_EQ(p.numSamples[0], 5212);
    EXPECT_EQ(p.numPoints[0], 8001);
}

TEST(SteppedSpectrumPlan, EvenPointCountGivesTheLastTuningTheRemainder) {
    for (int points : {100, 500, 1000}) {
        SteppedSpectrum ss;
        Plan p;
        Request r;
        r.span = 100e6;
        r.points = points;
        MakePlan(ss, p, r);
        EXPECT_EQ(SumPoints(p), points);
    }
}

TEST(SteppedSpectrumPlan, NonsenseRequestsThrow) {
    SteppedSpectrum ss;
    Plan p;
    auto expectThrow = [&](Request r) { EXPECT_THROW(MakePlan(ss, p, r), VELAException); };
    Request r;
    r.rbw = 0.0;
    expectThrow(r);
    r.rbw = -1.0;
    expectThrow(r);
    r = Request{};
    r.acqSpan = 0.0;
    expectThrow(r);
    r.acqSpan = -36e6;
    expectThrow(r);
    r = Request{};
    r.points = 1;
    expectThrow(r);
    r = Request{};
    r.window = static_cast<WindowType>(9);
    expectThrow(r);
    try {
        Request bad;
        bad.rbw = 0.0;
        MakePlan(ss, p, bad);
        FAIL();
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    }
    // The object is still usable afterwards.
    MakePlan(ss, p, Request{});
    EXPECT_EQ(p.numPoints[0], 1001);
}

TEST(SteppedSpectrumPlan, CountsBeyondIntAreRefused) {
    // Plans whose stitched grid or tuning count would leave int range: a defined error, the caller's
    // vectors untouched, and the object usable for the next good request.
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, Request{});
    const int tuningsBefore = p.Tunings();
    auto refused = [&](const Request& r) {
        Plan q;
        q.freqSteps.Resize(3);
        EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { MakePlan(ss, q, r); }));
        EXPECT_EQ(q.freqSteps.GetSize(), 3);
        EXPECT_EQ(q.numPoints.GetSize(), 0);
    };
    Request stitchRate;  // 6e15 fine grid points over two requested ones: the stitch rate itself
    stitchRate.span = 1e15;
    stitchRate.acqSpan = 1.0;
    stitchRate.points = 2;
    refused(stitchRate);
    Request grid;  // stitch rate 7 times 2^30 points
    grid.span = 1e12;
    grid.acqSpan = 1e3;
    grid.points = 1 << 30;
    grid.sampFreq = 1.25e3;
    grid.rbw = 10.0;
    grid.estimateOnly = true;
    refused(grid);
    for (double bad : {INFINITY, -INFINITY, NAN}) {
        Request r;
        r.span = bad;
        refused(r);
        r = Request{};
        r.center = bad;
        refused(r);
        r = Request{};
        r.sampFreq = bad;
        refused(r);
        r = Request{};
        r.acqSpan = bad;
        refused(r);
        r = Request{};
        r.rbw = bad;
        refused(r);
    }
    MakePlan(ss, p, Request{});
    EXPECT_EQ(p.Tunings(), tuningsBefore);
}

// Plans for many random requests: the counts sum to the request, the tunings ascend, cover the span
// and are odd in number.
TEST(SteppedSpectrumPlan, RandomPlansProperties) {
    const double hw[][2] = {{36e6, 50e6},       {40e6, 50e6},   {35.3e6, 50e6}, {32e6, 50e6},
                            {59.3e6, 80e6},     {110e6, 150e6}, {15e6, 25e6},   {5e6, 6.25e6},
                            {1.25e6, 1.5625e6}, {300e3, 781250}};
    std::mt19937 rng(1234);
    std::uniform_real_distribution<double> u01(0.0, 1.0);
    SteppedSpectrum ss;
    for (int trial = 0; trial < 400; ++trial) {
        const auto& h = hw[rng() % 10];
        Request r;
        r.acqSpan = h[0];
        r.sampFreq = h[1];
        // From within one acquisition up to 13 GHz, log-uniform.
        r.span = r.acqSpan * 0.3 * std::pow(13e9 / (r.acqSpan * 0.3), u01(rng));
        r.center = r.span * 0.5 + 1e6 + u01(rng) * 5e9;
        r.points = 101 + static_cast<int>(rng() % 7901);
        r.window = static_cast<WindowType>(rng() % 8);
        r.detector = static_cast<DetectorType>(rng() % 9);
        // Blocks between 8 and 4000 samples keep the chirp-Z designs cheap.
        const double block = 8.0 * std::pow(500.0, u01(rng));
        r.rbw = r.sampFreq * 2.0 / block;
        r.vbw = (rng() % 2) ? r.rbw * (0.01 + u01(rng)) : 0.0;
        r.acqSamples = (rng() % 2) ? static_cast<int>(block * (0.5 + 2.0 * u01(rng))) + 2 : 0;
        // Full plans only where the tunings stay few (each designs nothing but is cheap); estimates else.
        r.estimateOnly = (trial % 4) != 0;
        Plan p;
        MakePlan(ss, p, r);
        const int T = p.Tunings();
        SCOPED_TRACE(testing::Message() << "trial " << trial << " span " << r.span << " points " << r.points
                                        << " acqSpan " << r.acqSpan << " T " << T);
        ASSERT_GE(T, 1);
        EXPECT_EQ(T % 2, 1);
        EXPECT_EQ(SumPoints(p), r.points);
        for (int i = 0; i < T; ++i) {
            EXPECT_GE(p.numPoints[i], 0);
            EXPECT_GT(p.numSamples[i], 0);
        }
        const double start = r.center - r.span / 2, stop = r.center + r.span / 2;
        // Single precision of the tuning frequencies: up to half an ulp of the largest.
        const double tol = std::ldexp(1.0, std::ilogb(stop) - 23) + 1e-6;
        for (int i = 0; i + 1 < T; ++i) {
            EXPECT_LT(p.freqSteps[i], p.freqSteps[i + 1]);
            EXPECT_LE(p.freqSteps[i + 1] - p.freqSteps[i], r.acqSpan + 2 * tol);
        }
        EXPECT_LE(p.freqSteps[0] - r.acqSpan / 2, start + tol);
        EXPECT_GE(p.freqSteps[T - 1] + r.acqSpan / 2, stop - tol);
        if (T == 1) {
            EXPECT_EQ(p.freqSteps[0], r.center);
        }
    }
}
