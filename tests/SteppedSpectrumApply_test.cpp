// SteppedSpectrum processing: Apply, Apply1, Apply2, Apply3 on the named plans, the carries, the units,
// the reactions before a plan, steady sweeps without allocation, and sweep properties over random plans.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "kernel/Memory.h"
#include "support/SteppedPlan.h"

using namespace VELA;

namespace {

using corvane_test::CISPRPlan;
using corvane_test::MakePlan;
using corvane_test::OneMHzSpan;
using corvane_test::Plan;
using corvane_test::Request;
using corvane_test::SingleTuning;
using corvane_test::SmallStitch;
using corvane_test::VBWNoise;

using BlockFn = std::function<void(VecCplx32&, int)>;

// The trace of one-call Apply over a whole sweep.
std::vector<float> SweepApply(SteppedSpectrum& ss, const Plan& p, const BlockFn& block) {
    std::vector<float> trace;
    VecCplx32 in;
    VecReal32 out;
    for (int i = 0; i < p.Tunings(); ++i) {
        block(in, i);
        ss.Apply(out, in, i);
        EXPECT_EQ(out.GetSize(), p.numPoints[i] * (out.GetSize() > p.numPoints[i] ? 2 : 1)) << "tuning " << i;
        for (int k = 0; k < out.GetSize(); ++k)
            trace.push_back(out[k]);
    }
    return trace;
}

// The traces of the two-stage way, one per detector, Apply2 called in the given order per tuning.
std::vector<std::vector<float>> SweepTwoStage(SteppedSpectrum& ss, const Plan& p, const BlockFn& block,
                                              const std::vector<std::vector<DetectorType>>& detsPerTuning) {
    const size_t nDet = detsPerTuning[0].size();
    std::vector<std::vector<float>> traces(nDet);
    VecCplx32 in;
    VecReal32 mag, out;
    for (int i = 0; i < p.Tunings(); ++i) {
        block(in, i);
        ss.Apply1(mag, in, i);
        const auto& dets = detsPerTuning[std::min<size_t>(static_cast<size_t>(i), detsPerTuning.size() - 1)];
        for (size_t d = 0; d < nDet; ++d) {
            ss.Apply2(out, mag, i, dets[d]);
            for (int k = 0; k < out.GetSize(); ++k)
                traces[d].push_back(out[k]);
        }
    }
    return traces;
}

// What the hardware delivers for a tone at absolute frequency f: at each tuning the offset from the
// tuning frequency, at the plan's sample rate; beyond half the sample rate the tuner's filter leaves
// nothing.
BlockFn ToneAt(const Plan& p, double f, double sampFreq, float amplitude = 1.0f) {
    return [&p, f, sampFreq, amplitude](VecCplx32& in, int i) {
        const double offset = f - p.freqSteps[i];
        if (std::fabs(offset) < sampFreq * 0.5) {
            SteppedSpectrum::GenCW(in, offset / sampFreq, p.numSamples[i]);
            if (amplitude != 1.0f)
                for (int k = 0; k < in.GetSize(); ++k) {
                    in[k].re *= amplitude;
                    in[k].im *= amplitude;
                }
        } else {
            in.Resize(p.numSamples[i]);
            in.SetZero();
        }
    };
}

// Uniform noise plus a tone, a different realisation per tuning (seeded by the tuning index).
BlockFn NoisyTone(const Plan& p, double normFreq) {
    return [&p, normFreq](VecCplx32& in, int i) {
        SteppedSpectrum::GenCW(in, normFreq, p.numSamples[i]);
        std::mt19937 rng(static_cast<unsigned>(i) * 7919u + 1u);
        std::uniform_real_distribution<float> u(-0.5f, 0.5f);
        for (int k = 0; k < in.GetSize(); ++k) {
            in[k].re += u(rng);
            in[k].im += u(rng);
        }
    };
}

}  // namespace

TEST(SteppedSpectrumApply, SingleTuningToneReadsZeroDB) {
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, SingleTuning());
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.002, p.numSamples[0]);
    VecReal32 out;
    ss.Apply(out, in, 0);
    ASSERT_EQ(out.GetSize(), 1001);
    EXPECT_NEAR(out[510], 0.0f, 0.01f);
    int at = -1;
    float peak = 0;
    out.Max(peak, at);
    // The flat top's top is flat: a neighbour may read a hair more, but not more than 0.01 dB.
    EXPECT_LE(std::abs(at - 510), 1);
    EXPECT_LE(peak - out[510], 0.01f);
}

TEST(SteppedSpectrumApply, SingleTuningMethodIIIMatchesApplyAfterAnRmsPass) {
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, SingleTuning());
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.002, p.numSamples[0]);
    VecReal32 ref, mag, rms, peak;
    ss.Apply(ref, in, 0);
    ss.Apply1(mag, in, 0);
    ss.Apply2(rms, mag, 0, DetectorRms);
    ss.Apply2(peak, mag, 0, DetectorMax);
    ASSERT_EQ(peak.GetSize(), ref.GetSize());
    for (int k = 0; k < ref.GetSize(); ++k)
        ASSERT_NEAR(peak[k], ref[k], 1e-4) << k;
}

TEST(SteppedSpectrumApply, ASingleTuningMaxMinGivesTwoValuesPerPoint) {
    SteppedSpectrum ss;
    Plan p;
    Request r = SingleTuning();
    r.points = 101;
    r.detector = DetectorMaxMin;
    MakePlan(ss, p, r);
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.0, p.numSamples[0]);  // the tone at the centre: point 50
    VecReal32 out;
    ss.Apply(out, in, 0);
    ASSERT_EQ(out.GetSize(), 202);
    EXPECT_NEAR(out[100], 0.0f, 0.01f);
    for (int k = 0; k < 101; ++k)
        EXPECT_GE(out[2 * k], out[2 * k + 1]) << k;
    // The same two values as the maximum and minimum detectors give on their own.
    SteppedSpectrum mx, mn;
    Plan q;
    r.detector = DetectorMax;
    MakePlan(mx, q, r);
    r.detector = DetectorMin;
    MakePlan(mn, q, r);
    VecReal32 hi, lo;
    mx.Apply(hi, in, 0);
    mn.Apply(lo, in, 0);
    for (int k = 0; k < 101; ++k) {
        EXPECT_EQ(out[2 * k], hi[k]);
        EXPECT_EQ(out[2 * k + 1], lo[k]);
    }
}

TEST(SteppedSpectrumApply, Apply2DetectorsShareTheCarryAndMatchSeparateRuns) {
    // Stitching carries grid points from tuning to tuning; with and without sub-blocks.
    for (int acq : {0, 3}) {
        SteppedSpectrum probe;
        Plan p;
        Request r = SmallStitch();
        MakePlan(probe, p, r);
        if (acq) r.acqSamples = p.numSamples[0] * acq;
        SteppedSpectrum mixed, only1, only4;
        MakePlan(mixed, p, r);
        MakePlan(only1, p, r);
        MakePlan(only4, p, r);
        int up = 0, stitch = 0;
        mixed.GetUpsampleRate(up, stitch);
        ASSERT_EQ(stitch, 3);
        const BlockFn block = NoisyTone(p, 0.01);
        // Even tunings: 1 then 4; odd tunings: 4 then 1. Traces are recorded per call position, so
        // re-sort them by detector.
        std::vector<std::vector<DetectorType>> order;
        for (int i = 0; i < p.Tunings(); ++i)
            order.push_back(i % 2 == 0 ? std::vector<DetectorType>{DetectorMax, DetectorRms}
                                       : std::vector<DetectorType>{DetectorRms, DetectorMax});
        std::vector<float> got1, got4;
        {
            VecCplx32 in;
            VecReal32 mag, out;
            for (int i = 0; i < p.Tunings(); ++i) {
                block(in, i);
                mixed.Apply1(mag, in, i);
                for (DetectorType d : order[static_cast<size_t>(i)]) {
                    mixed.Apply2(out, mag, i, d);
                    auto& dst = d == DetectorMax ? got1 : got4;
                    for (int k = 0; k < out.GetSize(); ++k)
                        dst.push_back(out[k]);
                }
            }
        }
        const auto ref1 = SweepTwoStage(only1, p, block, {{DetectorMax}})[0];
        const auto ref4 = SweepTwoStage(only4, p, block, {{DetectorRms}})[0];
        ASSERT_EQ(got1.size(), 51u) << acq;
        ASSERT_EQ(ref1.size(), 51u);
        ASSERT_EQ(got4.size(), 51u);
        for (size_t k = 0; k < 51; ++k) {
            EXPECT_EQ(got1[k], ref1[k]) << acq << " " << k;
            EXPECT_EQ(got4[k], ref4[k]) << acq << " " << k;
        }
    }
}

TEST(SteppedSpectrumApply, SpectrogramShortBlockSampleDetector) {
    SteppedSpectrum ss;
    Plan p;
    Request r;
    r.span = 10e6;
    r.center = 1e9;
    r.window = WindowTypeBlackmanHarris;
    r.points = 801;
    r.acqSamples = 475;
    r.detector = DetectorSample;
    MakePlan(ss, p, r);
    ASSERT_EQ(p.numSamples[0], 475);
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.002, 475);
    VecReal32 mag, out;
    ss.Apply1(mag, in, 0);
    ss.Apply2(out, mag, 0, DetectorSample);
    EXPECT_EQ(out.GetSize(), 801);
}

namespace {

void CISPRCase(int limitLess) {
    SteppedSpectrum ss;
    Plan p;
    Request r = CISPRPlan();
    MakePlan(ss, p, r);
    if (limitLess > 0) {
        r.cisprAcqBlocks = ss.GetCISPRAcqNum() - limitLess;
        MakePlan(ss, p, r);
        ASSERT_EQ(ss.GetCISPRAcqNum(), 6367 - limitLess);
    } else {
        ASSERT_EQ(ss.GetCISPRAcqNum(), 6367);
    }
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.1, p.numSamples[0]);
    VecReal32 mag, peakRes, aveRes, plain, peak, ave;
    const int n = ss.GetCISPRAcqNum();
    for (int a = 0; a < n; ++a) {
        ss.Apply1(mag, in, 0);
        ss.Apply3(peakRes, mag, 0, a, DetectorCISPRPeak);
        ss.Apply3(aveRes, mag, 0, a, DetectorCISPRAverage);
    }
    ss.Apply2(plain, mag, 0, DetectorMax);
    ss.Apply2(peak, peakRes, 0, DetectorCISPRPeak);
    ss.Apply2(ave, aveRes, 0, DetectorCISPRAverage);
    ASSERT_EQ(plain.GetSize(), 801);
    EXPECT_TRUE(peak.IsEqual(plain, 9e-6f));
    EXPECT_TRUE(ave.IsEqual(plain, 9e-6f));
    // The tone at 0.1 of 6.25 MHz = 625 kHz: grid 5 kHz from -2 MHz, index 525.
    EXPECT_NEAR(plain[525], 0.0f, 0.05f);
}

}  // namespace

TEST(SteppedSpectrumApply, CISPRPeakAve) {
    CISPRCase(0);
}

TEST(SteppedSpectrumApply, CISPRLimitedAcqBlocks) {
    CISPRCase(5000);
}

TEST(SteppedSpectrumApply, CISPRDetectorInOneCallDetectsWithTheMaximum) {
    SteppedSpectrum cispr, peak;
    Plan p;
    Request r = CISPRPlan();
    MakePlan(cispr, p, r);
    r.detector = DetectorMax;
    MakePlan(peak, p, r);
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.1, p.numSamples[0]);
    VecReal32 a, b;
    cispr.Apply(a, in, 0);
    peak.Apply(b, in, 0);
    ASSERT_EQ(a.GetSize(), 801);
    EXPECT_TRUE(a.IsEqual(b, 1e-9f));
}

namespace {

void VBWCase(int acqFactorNum, int acqFactorDen, int fixed, bool vbw) {
    SteppedSpectrum ss;
    Plan p;
    Request r = VBWNoise();
    if (!vbw) r.vbw = 0.0;
    MakePlan(ss, p, r);
    const int wanted = p.numSamples[0];
    r.acqSamples = fixed ? fixed : wanted * acqFactorNum / acqFactorDen;
    MakePlan(ss, p, r);
    EXPECT_EQ(p.numSamples[0], r.acqSamples);
    VecCplx32 in;
    SteppedSpectrum::GenNoise(in, p.numSamples[0]);
    VecReal32 out, mag, out2;
    ss.Apply(out, in, 0);
    EXPECT_EQ(out.GetSize(), 8001);
    ss.Apply1(mag, in, 0);
    ss.Apply2(out2, mag, 0, DetectorAve);
    EXPECT_EQ(out2.GetSize(), 8001);
}

}  // namespace

TEST(SteppedSpectrumApply, VBWNoise) {
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, VBWNoise());
    ASSERT_EQ(p.numSamples[0], 5212);
    VecCplx32 in;
    SteppedSpectrum::GenNoise(in, 5212);
    VecReal32 out;
    ss.Apply(out, in, 0);
    ASSERT_EQ(out.GetSize(), 8001);
    // Averaging the power of several blocks smooths the noise: compare with one block (no vbw).
    SteppedSpectrum plain;
    Plan q;
    Request r = VBWNoise();
    r.vbw = 0.0;
    MakePlan(plain, q, r);
    VecReal32 rough;
    VecCplx32 one;
    SteppedSpectrum::GenNoise(one, q.numSamples[0]);
    plain.Apply(rough, one, 0);
    EXPECT_LT(out.StdDev(), rough.StdDev() * 0.8f);
}

TEST(SteppedSpectrumApply, VBWMoreData) {
    VBWCase(2, 1, 0, true);
}
TEST(SteppedSpectrumApply, VBWLessDataI) {
    VBWCase(0, 1, 1000, true);
}
TEST(SteppedSpectrumApply, VBWLessDataII) {
    VBWCase(0, 1, 2000, true);
}
TEST(SteppedSpectrumApply, RBWMoreData) {
    VBWCase(2, 1, 0, false);
}
TEST(SteppedSpectrumApply, RBWLessData) {
    VBWCase(0, 1, 1000, false);
}

TEST(SteppedSpectrumApply, StitchingMayGiveEmptyOutputsAndStillTheRequestedLength) {
    SteppedSpectrum ss;
    Plan p;
    Request r = SmallStitch();
    r.points = 31;  // still stitch rate 3 or more, with tunings that complete no group
    MakePlan(ss, p, r);
    int up = 0, stitch = 0;
    ss.GetUpsampleRate(up, stitch);
    ASSERT_GE(stitch, 3);
    VecCplx32 in;
    VecReal32 out;
    int total = 0, empty = 0;
    for (int i = 0; i < p.Tunings(); ++i) {
        SteppedSpectrum::GenNoise(in, p.numSamples[i]);
        ss.Apply(out, in, i);
        EXPECT_EQ(out.GetSize(), p.numPoints[i]);
        total += out.GetSize();
        empty += out.GetSize() == 0;
    }
    EXPECT_EQ(total, 31);
    EXPECT_GT(empty, 0);
}

TEST(SteppedSpectrumApply, OneMHzSpan) {
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, OneMHzSpan());
    int up = 0, stitch = 0;
    ss.GetUpsampleRate(up, stitch);
    EXPECT_EQ(stitch, 25);
    ASSERT_EQ(p.Tunings(), 3339);
    // Seven grid points per tuning: tunings 6 grid steps (1e9 / 20024) apart.
    // (middle tunings' offsets are rounded to single precision: a few Hz at 1 GHz)
    EXPECT_NEAR((p.freqSteps[1001] - p.freqSteps[1000]) / (1e9 / 20024), 6.0, 1e-3);
    VecCplx32 in(p.numSamples[0]);
    for (int k = 0; k < in.GetSize(); ++k) {
        const double ph = 0.08042477416992187 * k;
        in[k].re = static_cast<float>(2.0 * std::cos(ph));
        in[k].im = static_cast<float>(2.0 * std::sin(ph));
    }
    const auto trace =
        SweepApply(ss, p, [&in](VecCplx32& b, int) { MathUtils::Copy(b, in.GetSize(), in, 0); });
    ASSERT_EQ(trace.size(), 801u);
    for (size_t k = 0; k < trace.size(); ++k)
        ASSERT_NEAR(trace[k], 6.0261125564575195, 9e-6) << k;
}

TEST(SteppedSpectrumApply, UnitsOfBothWays) {
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, SingleTuning());
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.002, p.numSamples[0]);
    VecReal32 db, db10, lin, mag, pdb, plin;
    ss.Apply(db, in, 0);
    ss.SetUnit(PowerUnitDBPlus10);
    ss.Apply(db10, in, 0);
    ss.SetUnit(PowerUnitLinear);
    ss.Apply(lin, in, 0);
    ss.Apply1(mag, in, 0);
    ss.Apply2(plin, mag, 0, DetectorMax);  // linear power
    ss.SetUnit(static_cast<PowerUnit>(7));
    VecReal32 other;
    ss.Apply(other, in, 0);
    ss.SetUnit(PowerUnitDB);
    ss.Apply2(pdb, mag, 0, DetectorMax);
    for (int k = 0; k < db.GetSize(); k += 37) {
        EXPECT_NEAR(db10[k], db[k] + 10.0f, 1e-4);
        EXPECT_NEAR(db[k], 20.0 * std::log10(static_cast<double>(lin[k]) + 1e-40), 1e-3);
        EXPECT_NEAR(plin[k], lin[k] * lin[k], 1e-6 + 1e-5 * lin[k] * lin[k]);
        EXPECT_EQ(other[k], lin[k]);
        EXPECT_NEAR(pdb[k], db[k], 1e-3);
    }
}

TEST(SteppedSpectrumApply, ZeroBlockGivesTheEpsilonFloor) {
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, SingleTuning());
    VecCplx32 in(p.numSamples[0]);
    in.SetZero();
    VecReal32 out, mag, out2;
    ss.Apply(out, in, 0);
    ss.Apply1(mag, in, 0);
    ss.Apply2(out2, mag, 0, DetectorMax);
    const double floorMag = 20.0 * std::log10(static_cast<double>(1e-40f));
    for (int k = 0; k < out.GetSize(); ++k) {
        ASSERT_TRUE(std::isfinite(out[k]));
        ASSERT_NEAR(out[k], floorMag, 0.01);
        ASSERT_NEAR(out2[k], floorMag / 2, 0.01);
    }
}

TEST(SteppedSpectrumApply, ProcessingBeforeAPlanThrows) {
    SteppedSpectrum ss;
    VecCplx32 in(100);
    in.SetZero();
    VecReal32 out, mag(10);
    mag.SetZero();
    auto expectInvalid = [](auto&& call) {
        try {
            call();
            ADD_FAILURE() << "no exception";
        } catch (const VELAException& e) {
            EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
        }
    };
    expectInvalid([&] { ss.Apply(out, in, 0); });
    expectInvalid([&] { ss.Apply1(out, in, 0); });
    expectInvalid([&] { ss.Apply2(out, mag, 0, DetectorMax); });
    expectInvalid([&] { ss.Apply3(out, mag, 0, 0, DetectorCISPRPeak); });
    expectInvalid([&] { (void)ss.GetNoiseMarkerCorrection(); });
    // A plan without a CISPR detector refuses Apply3; an index outside the plan and a short block too.
    Plan p;
    MakePlan(ss, p, SingleTuning());
    expectInvalid([&] { ss.Apply3(out, mag, 0, 0, DetectorCISPRPeak); });
    VecCplx32 block(p.numSamples[0]);
    block.SetZero();
    expectInvalid([&] { ss.Apply(out, block, 1); });
    expectInvalid([&] { ss.Apply(out, block, -1); });
    expectInvalid([&] { ss.Apply(out, in, 0); });  // 100 samples, the plan wants 1885
    ss.Apply(out, block, 0);
    EXPECT_EQ(out.GetSize(), 1001);
}

namespace {

// Runs a sweep twice in each way (all detectors on Apply2) and counts the allocations of the second.
void ExpectSteadySweepAllocatesNothing(const Request& r, double toneNorm) {
    SteppedSpectrum ss;
    Plan p;
    MakePlan(ss, p, r);
    std::vector<VecCplx32> blocks(static_cast<size_t>(p.Tunings()));
    for (int i = 0; i < p.Tunings(); ++i)
        SteppedSpectrum::GenCW(blocks[static_cast<size_t>(i)], toneNorm, p.numSamples[i]);
    VecReal32 out, mag;
    auto sweep = [&] {
        for (int i = 0; i < p.Tunings(); ++i) {
            ss.Apply(out, blocks[static_cast<size_t>(i)], i);
            ss.Apply1(mag, blocks[static_cast<size_t>(i)], i);
            for (int d = 0; d <= 5; ++d)
                ss.Apply2(out, mag, i, static_cast<DetectorType>(d));
        }
    };
    sweep();
    sweep();  // max-min grows the outputs of the second track's scratch too
    const long long before = kern::AllocationCount();
    sweep();
    EXPECT_EQ(kern::AllocationCount() - before, 0) << r.span << " " << r.points << " " << r.acqSamples;
}

}  // namespace

TEST(SteppedSpectrumApply, SteadyCISPRSweepAllocatesNothing) {
    // Every acquisition of a CISPR sweep passes through the detector's held state: after the first
    // sweep has sized it, further sweeps (Apply1, Apply3 with each CISPR detector, Apply2) allocate
    // nothing.
    SteppedSpectrum ss;
    Plan p;
    Request r = CISPRPlan();
    r.cisprAcqBlocks = 4;
    MakePlan(ss, p, r);
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.1, p.numSamples[0]);
    VecReal32 mag, qp, ave, peak, out;
    auto sweep = [&] {
        for (int t = 0; t < p.Tunings(); ++t) {
            for (int a = 0; a < ss.GetCISPRAcqNum(); ++a) {
                ss.Apply1(mag, in, t);
                ss.Apply3(qp, mag, t, a, DetectorCISPRQuasiPeak);
                ss.Apply3(ave, mag, t, a, DetectorCISPRAverage);
                ss.Apply3(peak, mag, t, a, DetectorCISPRPeak);
            }
            ss.Apply2(out, qp, t, DetectorCISPRQuasiPeak);
            ss.Apply2(out, ave, t, DetectorCISPRAverage);
            ss.Apply2(out, peak, t, DetectorCISPRPeak);
        }
    };
    sweep();
    const long long before = kern::AllocationCount();
    sweep();
    sweep();
    EXPECT_EQ(kern::AllocationCount() - before, 0);
}

TEST(SteppedSpectrumApply, SteadySweepAllocatesNothing) {
    ExpectSteadySweepAllocatesNothing(SingleTuning(), 0.002);
    Request multi;
    multi.span = 100e6;
    multi.center = 1e9;
    multi.rbw = 1e6;
    multi.points = 501;
    multi.acqSamples = 10000;  // sub-blocks
    ExpectSteadySweepAllocatesNothing(multi, 0.01);
    Request stitch = SmallStitch();
    stitch.detector = DetectorMaxMin;
    ExpectSteadySweepAllocatesNothing(stitch, 0.01);
    Request vbw = VBWNoise();
    vbw.points = 401;
    ExpectSteadySweepAllocatesNothing(vbw, 0.01);
}

// No dips at the stitches: a tone anywhere in a multi-tuning span reads its amplitude within 0.1 dB
// with the flat-top window and the peak detector, also on and next to the boundaries between tunings.
TEST(SteppedSpectrumApply, NoDipsAtTheStitches) {
    struct Case {
        Request r;
        const char* name;
    };
    std::vector<Case> cases;
    {
        Request r;
        r.span = 100e6;
        r.center = 1e9;
        r.rbw = 1e6;
        r.points = 501;
        cases.push_back({r, "three tunings"});
        r.acqSamples = 10000;
        cases.push_back({r, "sub-blocks"});
    }
    {
        Request r;
        r.span = 300e6;
        r.center = 2e9;
        r.rbw = 300e3;
        r.points = 1001;
        r.acqSpan = 40e6;
        cases.push_back({r, "nine tunings"});
    }
    {
        Request r = SmallStitch();
        r.window = WindowTypeFlatTop;
        r.rbw = 50e3;
        cases.push_back({r, "stitching"});
    }
    for (const Case& c : cases) {
        SteppedSpectrum ss;
        Plan p;
        Request r = c.r;
        r.window = WindowTypeFlatTop;
        r.detector = DetectorMax;
        MakePlan(ss, p, r);
        const int T = p.Tunings();
        ASSERT_GE(T, 3) << c.name;
        // Tuning edges: half way between neighbouring tuning frequencies.
        std::vector<double> freqs;
        const double grid = r.span / (r.points - 1);
        for (int i = 0; i + 1 < T; ++i) {
            const double edge = 0.5 * (p.freqSteps[i] + p.freqSteps[i + 1]);
            for (double d : {-1.0, -0.5, -0.1, 0.0, 0.1, 0.5, 1.0})
                freqs.push_back(edge + d * grid);
        }
        std::mt19937 rng(99);
        std::uniform_real_distribution<double> u(r.center - r.span * 0.45, r.center + r.span * 0.45);
        for (int k = 0; k < 12; ++k)
            freqs.push_back(u(rng));
        for (double f : freqs) {
            const auto trace = SweepApply(ss, p, ToneAt(p, f, r.sampFreq));
            ASSERT_EQ(trace.size(), static_cast<size_t>(r.points)) << c.name;
            size_t at = 0;
            for (size_t k = 1; k < trace.size(); ++k)
                if (trace[k] > trace[at]) at = k;
            EXPECT_NEAR(trace[at], 0.0, 0.1) << c.name << " tone at " << f;
            const double expectedIndex = (f - (r.center - r.span / 2)) / grid;
            EXPECT_LE(std::fabs(static_cast<double>(at) - expectedIndex), 1.0) << c.name << " tone at " << f;
        }
    }
}

// Random plans: the concatenated outputs have the requested length (twice for max-min) in both ways,
// and the peak and sample detectors agree between the ways.
TEST(SteppedSpectrumApply, RandomSweepsCountsAndAgreement) {
    const double hw[][2] = {{36e6, 50e6},  {59.3e6, 80e6},     {15e6, 25e6},
                            {5e6, 6.25e6}, {1.25e6, 1.5625e6}, {300e3, 781250}};
    std::mt19937 rng(4321);
    std::uniform_real_distribution<double> u01(0.0, 1.0);
    int checked = 0;
    for (int trial = 0; trial < 400 && checked < 40; ++trial) {
        const auto& h = hw[rng() % 6];
        Request r;
        r.acqSpan = h[0];
        r.sampFreq = h[1];
        r.span = r.acqSpan * (0.5 + 30.0 * u01(rng));
        r.center = 1e9 + u01(rng) * 1e9;
        r.points = 101 + static_cast<int>(rng() % 1900);
        r.window = static_cast<WindowType>(rng() % 8);
        const double block = 16.0 + 600.0 * u01(rng);
        r.rbw = r.sampFreq * 2.0 / block;
        const int mode = static_cast<int>(rng() % 4);  // plain, sub-blocks, short block, video bandwidth
        if (mode == 3) r.vbw = r.rbw * (0.05 + 0.5 * u01(rng));
        Plan p;
        SteppedSpectrum probe;
        MakePlan(probe, p, r);
        if (p.Tunings() > 120) continue;
        if (mode == 1) r.acqSamples = p.numSamples[0] * 2 + static_cast<int>(rng() % 50);
        if (mode == 2) r.acqSamples = std::max(4, p.numSamples[0] / 2);
        ++checked;
        const double tone = (u01(rng) - 0.5) * 0.5;
        for (int d = 0; d <= 8; ++d) {
            SteppedSpectrum ss;
            r.detector = static_cast<DetectorType>(d);
            MakePlan(ss, p, r);
            const BlockFn block = NoisyTone(p, tone);
            const auto one = SweepApply(ss, p, block);
            const auto two = SweepTwoStage(ss, p, block, {{r.detector}})[0];
            const size_t want = static_cast<size_t>(r.points) * (d == DetectorMaxMin ? 2 : 1);
            SCOPED_TRACE(testing::Message() << "trial " << trial << " mode " << mode << " det " << d << " T "
                                            << p.Tunings() << " points " << r.points);
            ASSERT_EQ(one.size(), want);
            ASSERT_EQ(two.size(), want);
            if (d == DetectorMax || d == DetectorSample || d == DetectorMaxMin || d == DetectorMin ||
                d == DetectorCISPRPeak) {
                for (size_t k = 0; k < want; ++k)
                    ASSERT_NEAR(one[k], two[k], 1e-3) << k;
            }
        }
    }
    EXPECT_GE(checked, 30);
}

TEST(SteppedSpectrumApply, GenCWAndGenNoise) {
    VecCplx32 cw;
    SteppedSpectrum::GenCW(cw, 0.1, 50);
    ASSERT_EQ(cw.GetSize(), 50);
    for (int k = 0; k < 50; ++k) {
        const double ph = k * (0.1 * 6.2831854820251465);
        EXPECT_EQ(cw[k].re, static_cast<float>(std::cos(ph)));
        EXPECT_EQ(cw[k].im, static_cast<float>(std::sin(ph)));
    }
    VecCplx32 a, b;
    SteppedSpectrum::GenNoise(a, 1000);
    SteppedSpectrum::GenNoise(b, 1000);
    ASSERT_EQ(a.GetSize(), 1000);
    double mean = 0;
    for (int k = 0; k < 1000; ++k) {
        EXPECT_EQ(a[k].re, b[k].re);
        EXPECT_EQ(a[k].im, b[k].im);
        EXPECT_GE(a[k].re, -0.5f);
        EXPECT_LT(a[k].re, 0.5f);
        EXPECT_GE(a[k].im, -0.5f);
        EXPECT_LT(a[k].im, 0.5f);
        mean += a[k].re;
    }
    EXPECT_NEAR(mean / 1000, 0.0, 0.05);
    EXPECT_NE(a[0].re, a[0].im);
}

// The one-call way reduces sub-blocks itself; it gives what the group detection of the bin-major matrix
// (the layout Apply1 hands out) gives, for every detector.
TEST(SteppedSpectrumApply, SubBlockReductionMatchesGroupDetection) {
    SteppedSpectrum probe;
    Plan p;
    Request r = SingleTuning();
    r.points = 201;
    MakePlan(probe, p, r);
    const int sub = p.numSamples[0];
    r.acqSamples = sub * 5 + 17;  // five sub-blocks and a tail that is ignored
    for (DetectorType d : {DetectorAve, DetectorMax, DetectorMin, DetectorRms, DetectorSample}) {
        SteppedSpectrum ss;
        r.detector = d;
        MakePlan(ss, p, r);
        int up = 0, stitch = 0;
        ss.GetUpsampleRate(up, stitch);
        VecCplx32 in;
        SteppedSpectrum::GenNoise(in, p.numSamples[0]);
        VecReal32 out, mat, perBin, ref;
        ss.Apply(out, in, 0);
        ss.Apply1(mat, in, 0);  // bin-major, 5 values per bin
        ASSERT_EQ(mat.GetSize() % 5, 0);
        DSPUtils::Detect(perBin, mat, 5, d);
        DSPUtils::Detect(ref, perBin, up, d);
        ASSERT_EQ(out.GetSize(), 201);
        ASSERT_EQ(ref.GetSize(), 201);
        for (int k = 0; k < 201; ++k)
            ASSERT_NEAR(out[k], 20.0 * std::log10(static_cast<double>(ref[k]) + 1e-40), 1e-4)
                << d << " " << k;
    }
}
