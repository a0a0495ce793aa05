#include <corvane/dsp/CISPRDetector.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;

namespace {

constexpr double kAcqTime1G = 0.00034557519963884786;  // 0.34557519963884786 x 1 ms charge constant

// Independent model of one bin's quasi-peak chain in double precision, written from the circuit: a
// charge filter that follows a rising input, a discharge filter that decays from the value held at the
// end of the last charge, and two equal first-order meter stages.
struct QPModel {
    double dt, tcCharge, tcDischarge, tcMeter;
    double stage = 0, held = 0, dischargeN = 0, m1 = 0, m2 = 0, maxOut = 0;
    bool charging = false;

    QPModel(double dt_, double c, double d, double m) : dt(dt_), tcCharge(c), tcDischarge(d), tcMeter(m) {}

    // Returns the reading (maximum hold); m2 is the meter output.
    double Step(double x) {
        const double ac = std::exp(-dt / tcCharge);
        const double ad = std::exp(-dt / tcDischarge);
        const double am = std::exp(-dt / tcMeter);
        if (stage < x) {
            stage = ac * stage + (1 - ac) * x;
            held = stage;
            dischargeN = 0;
        } else {
            dischargeN += 1;
            stage = held * std::pow(ad, dischargeN);
        }
        m1 = am * m1 + (1 - am) * stage;
        m2 = am * m2 + (1 - am) * m1;
        if (m2 > maxOut) maxOut = m2;
        return maxOut;
    }
};

// A detector at 1 GHz planned for the 120 kHz bandwidth (6367 acquisitions of 0.3456 ms).
std::unique_ptr<CISPRDetector> Detector1G() {
    auto det = std::make_unique<CISPRDetector>(1e9);
    double acqTime = 0;
    int acqNum = 0;
    det->GetHWAcqParameters(acqTime, acqNum, 1e9, 120000.0);
    return det;
}

VecReal32 Vec(const std::vector<float>& v) {
    VecReal32 r(static_cast<int>(v.size()));
    for (size_t i = 0; i < v.size(); ++i)
        r[static_cast<int>(i)] = v[i];
    return r;
}

}  // namespace

TEST(CISPRDetector, QuasiPeakBandwidthIsTheNominalAlone) {
    double nominal = 0, lowest = 0, highest = 0;
    CISPRDetector::Get6dBBW(nominal, lowest, highest, 1e9, DetectorCISPRQuasiPeak);
    EXPECT_EQ(nominal, 120000.0);
    EXPECT_EQ(lowest, 120000.0);
    EXPECT_EQ(highest, 120000.0);
}

TEST(CISPRDetector, PeakAndAverageGetTheBandRange) {
    struct Row {
        double f, nominal, lowest, highest;
    };
    const Row rows[] = {{9e3, 200, 10, 1000},
                        {1e6, 9000, 1000, 10000},
                        {500e6, 120000, 10000, 500000},
                        {3e9, 1e6, 100000, 1e7}};
    for (const Row& r : rows) {
        for (DetectorType d : {DetectorCISPRAverage, DetectorCISPRPeak}) {
            double n = 0, lo = 0, hi = 0;
            CISPRDetector::Get6dBBW(n, lo, hi, r.f, d);
            EXPECT_EQ(n, r.nominal) << r.f;
            EXPECT_EQ(lo, r.lowest) << r.f;
            EXPECT_EQ(hi, r.highest) << r.f;
        }
    }
}

TEST(CISPRDetector, BandLimitsBelongToTheLowerBandAbove150kHz) {
    double n = 0, lo = 0, hi = 0;
    CISPRDetector::Get6dBBW(n, lo, hi, 150e3, DetectorCISPRPeak);
    EXPECT_EQ(n, 9000.0);  // 150 kHz exactly is in the second row
    CISPRDetector::Get6dBBW(n, lo, hi, std::nextafter(150e3, 0.0), DetectorCISPRPeak);
    EXPECT_EQ(n, 200.0);
    CISPRDetector::Get6dBBW(n, lo, hi, 30e6, DetectorCISPRPeak);
    EXPECT_EQ(n, 9000.0);  // 30 MHz exactly is in the second row
    CISPRDetector::Get6dBBW(n, lo, hi, std::nextafter(30e6, 1e300), DetectorCISPRPeak);
    EXPECT_EQ(n, 120000.0);
    CISPRDetector::Get6dBBW(n, lo, hi, 1e9, DetectorCISPRPeak);
    EXPECT_EQ(n, 120000.0);  // 1 GHz exactly is in the third row
    CISPRDetector::Get6dBBW(n, lo, hi, std::nextafter(1e9, 1e300), DetectorCISPRPeak);
    EXPECT_EQ(n, 1e6);
}

TEST(CISPRDetector, BandLimitsChooseTheTimeConstants) {
    // With a very wide rbw the block is short, so the step is 0.3456 x charge and the run 4 x discharge.
    auto plan = [](double freq) {
        CISPRDetector det(freq);
        double acqTime = 0;
        int acqNum = 0;
        det.GetHWAcqParameters(acqTime, acqNum, freq, 1e9);
        return std::make_pair(acqTime, acqNum);
    };
    const auto below = plan(std::nextafter(150e3, 0.0));  // charge 45 ms, discharge 500 ms
    EXPECT_DOUBLE_EQ(below.first, 0.34557519963884786 * 0.045);
    EXPECT_EQ(below.second, static_cast<int>(std::trunc(2.0 / (0.34557519963884786 * 0.045) + 1.0)));
    const auto at150k = plan(150e3);  // charge 1 ms, discharge 160 ms
    EXPECT_DOUBLE_EQ(at150k.first, kAcqTime1G);
    EXPECT_EQ(at150k.second, static_cast<int>(std::trunc(4.0 * 0.16 / kAcqTime1G + 1.0)));
    EXPECT_EQ(plan(30e6).second, at150k.second);
    const auto above30M = plan(std::nextafter(30e6, 1e300));  // discharge 550 ms
    EXPECT_EQ(above30M.second, 6367);
    EXPECT_EQ(plan(1e9).second, 6367);
    EXPECT_EQ(plan(5e9).second, 6367);
}

TEST(CISPRDetector, HardwareInfoAt1GHz) {
    CISPRDetector det(1e9);
    double acqTime = 0;
    int acqNum = 0;
    det.GetHWAcqParameters(acqTime, acqNum, 1e9, 120000.0);
    EXPECT_EQ(acqNum, 6367);
    EXPECT_DOUBLE_EQ(acqTime, kAcqTime1G);
    // The block (2.9405 / rbw, 24.5 us) is shorter than the step here.
    EXPECT_GT(acqTime, 2.9405 / 120000.0);
}

TEST(CISPRDetector, NarrowBandwidthMakesTheBlockTheStep) {
    CISPRDetector det(1e9);
    double acqTime = 0;
    int acqNum = 0;
    det.GetHWAcqParameters(acqTime, acqNum, 1000.0);  // frequency from the constructor
    const double block = static_cast<double>(2.9405f) / 1000.0;
    EXPECT_DOUBLE_EQ(acqTime, block);
    EXPECT_EQ(acqNum, static_cast<int>(std::trunc(2.2 / block + 1.0)));
    int acqNum2 = 0;
    det.GetHWAcqParameters(acqNum2, 1000.0);
    EXPECT_EQ(acqNum2, acqNum);
}

TEST(CISPRDetector, DetectorKinds) {
    EXPECT_TRUE(CISPRDetector::IsCISPRDetector(DetectorCISPRQuasiPeak));
    EXPECT_TRUE(CISPRDetector::IsCISPRDetector(DetectorCISPRAverage));
    EXPECT_TRUE(CISPRDetector::IsCISPRDetector(DetectorCISPRPeak));
    EXPECT_FALSE(CISPRDetector::IsCISPRDetector(static_cast<DetectorType>(5)));
    EXPECT_FALSE(CISPRDetector::IsCISPRDetector(static_cast<DetectorType>(9)));
    EXPECT_FALSE(CISPRDetector::IsCISPRDetector(DetectorMax));
}

TEST(CISPRDetector, BurstsReadTheReferenceValues) {
    auto det = Detector1G();
    VecReal32 in(1), out;
    float at1000 = -1, at3600 = -1;
    for (int k = 0; k <= 3600; ++k) {
        in[0] = (k % 1000) < 200 ? 1.0f : 0.1f;
        det->Apply(out, in, k, 6367, DetectorCISPRQuasiPeak);
        if (k == 1000) at1000 = out[0];
        if (k == 3600) at3600 = out[0];
    }
    EXPECT_NEAR(at1000, 0.6920899748802185, 1e-5);
    EXPECT_NEAR(at3600, 0.8600999712944031, 1e-5);
}

TEST(CISPRDetector, EqualBinsGiveEqualReadings) {
    auto det = Detector1G();
    VecReal32 in(10), out, qp;
    for (int k = 0; k < 6000; ++k) {
        for (int i = 0; i < 10; ++i)
            in[i] = 0.5f + 0.4f * static_cast<float>(std::sin(0.01 * k));
        det->Apply(out, in, k, 6000, DetectorCISPRQuasiPeak);
    }
    det->GetQPBuf(qp);
    ASSERT_EQ(qp.GetSize(), 10);
    EXPECT_NEAR(qp[0], qp[9], 9e-6);
    EXPECT_GT(qp[0], 0.05f);
}

TEST(CISPRDetector, ConstantInputSettlesToItself) {
    auto det = Detector1G();
    VecReal32 in = Vec({0.7f, 0.01f, 3.0f}), out, qp, before;
    for (int k = 0; k < 6367; ++k) {
        det->Apply(out, in, k, 6367, DetectorCISPRQuasiPeak);
        if (k == 6000) det->GetQPBuf(before);
    }
    det->GetQPBuf(qp);
    // Each meter stage moves by (1-a)(x-y) per step, rounded to float; with 1-a = 0.00345 a step smaller
    // than half an ulp of y is lost, so a stage stops up to ulp(y)/(2(1-a)) = 1.7e-5 relative short of its
    // input. Two stages: at most 3.5e-5 relative, and from below.
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(qp[i], in[i], 4e-5 * in[i]) << i;
        EXPECT_LE(qp[i], in[i]) << i;
        EXPECT_EQ(out[i], qp[i]) << i;     // a rising meter: the reading is the meter output
        EXPECT_EQ(qp[i], before[i]) << i;  // settled: no more movement over the last 367 steps
    }
}

TEST(CISPRDetector, MatchesAnIndependentDoubleModel) {
    auto det = Detector1G();
    const int bins = 4;
    auto series = corvane_test::Uniform(6367 * bins, 7, 0.0, 1.0);
    std::vector<QPModel> model(bins, QPModel(kAcqTime1G, 0.001, 0.55, 0.1));
    VecReal32 in(bins), out, qp;
    double worstOut = 0, worstQp = 0;
    for (int k = 0; k < 6367; ++k) {
        // Bursty input: mostly quiet, with short strong impulses, so both filters are exercised.
        for (int i = 0; i < bins; ++i) {
            const double u = series[static_cast<size_t>(k * bins + i)];
            in[i] = static_cast<float>(((k / (50 + 30 * i)) % 7 == 0) ? u : 0.05 * u);
        }
        det->Apply(out, in, k, 6367, DetectorCISPRQuasiPeak);
        det->GetQPBuf(qp);
        for (int i = 0; i < bins; ++i) {
            const double reading = model[static_cast<size_t>(i)].Step(in[i]);
            worstOut = std::max(worstOut, std::fabs(out[i] - reading));
            worstQp = std::max(worstQp, std::fabs(qp[i] - model[static_cast<size_t>(i)].m2));
        }
    }
    EXPECT_LT(worstOut, 1e-5);
    EXPECT_LT(worstQp, 1e-5);
}

TEST(CISPRDetector, ReadingHoldsWhileTheMeterDecaysWithTheDischargeConstant) {
    auto det = Detector1G();
    VecReal32 in(1), out, qp;
    in[0] = 1.0f;
    for (int k = 0; k < 3000; ++k)
        det->Apply(out, in, k, 10000, DetectorCISPRQuasiPeak);
    float reading = out[0];
    det->GetQPBuf(qp);
    float prevQp = qp[0];
    in[0] = 0.0f;
    const double ad = std::exp(-kAcqTime1G / 0.55);
    double lastRatio = 0;
    for (int k = 3000; k < 9500; ++k) {
        det->Apply(out, in, k, 10000, DetectorCISPRQuasiPeak);
        det->GetQPBuf(qp);
        ASSERT_GE(out[0], reading) << k;  // maximum hold: the reading never falls
        if (k > 3100) {
            ASSERT_EQ(out[0], reading) << k;  // and, once the meter falls, stays where it was
        }
        reading = out[0];
        if (k > 3100) {
            ASSERT_LT(qp[0], prevQp) << k;  // the meter output itself falls every step
        }
        lastRatio = static_cast<double>(qp[0]) / prevQp;
        prevQp = qp[0];
    }
    // Once the faster meter stages have settled, the meter output falls by the discharge factor a per step.
    EXPECT_NEAR(lastRatio, ad, 2e-6);
    EXPECT_LT(qp[0], 0.05f * reading);
}

TEST(CISPRDetector, BinsAreIndependent) {
    const std::vector<std::vector<float>> levels = {{0.2f, 0.9f}, {1.0f, 0.0f}, {0.5f, 0.6f}};
    auto joint = Detector1G();
    std::vector<std::unique_ptr<CISPRDetector>> single;
    for (size_t i = 0; i < levels.size(); ++i)
        single.push_back(Detector1G());
    VecReal32 in(3), out, qp, one(1), oneOut, oneQp;
    for (int k = 0; k < 3000; ++k) {
        for (int i = 0; i < 3; ++i)
            in[i] = levels[static_cast<size_t>(i)][static_cast<size_t>((k / (100 + 77 * i)) % 2)];
        joint->Apply(out, in, k, 3000, DetectorCISPRQuasiPeak);
        joint->GetQPBuf(qp);
        for (int i = 0; i < 3; ++i) {
            one[0] = in[i];
            single[static_cast<size_t>(i)]->Apply(oneOut, one, k, 3000, DetectorCISPRQuasiPeak);
            single[static_cast<size_t>(i)]->GetQPBuf(oneQp);
            ASSERT_EQ(out[i], oneOut[0]) << "bin " << i << " step " << k;
            ASSERT_EQ(qp[i], oneQp[0]) << "bin " << i << " step " << k;
        }
    }
}

TEST(CISPRDetector, IndexZeroRestartsTheQuasiPeakRun) {
    auto det = Detector1G();
    VecReal32 in = Vec({1.0f}), out, first, again;
    for (int k = 0; k < 50; ++k)
        det->Apply(first, in, k, 50, DetectorCISPRQuasiPeak);
    for (int k = 0; k < 50; ++k)
        det->Apply(again, in, k, 50, DetectorCISPRQuasiPeak);
    EXPECT_EQ(first[0], again[0]);
}

TEST(CISPRDetector, AverageOverALongRunHoldsTheMean) {
    CISPRDetector det(1e9);
    const int count = 6367;
    auto series = corvane_test::Uniform(static_cast<size_t>(count) * 3, 11, 0.0, 1.0);
    VecReal32 in(3), out;
    double sum[3] = {0, 0, 0};
    for (int k = 0; k < count; ++k) {
        for (int i = 0; i < 3; ++i) {
            in[i] = static_cast<float>((i + 1) * series[static_cast<size_t>(k * 3 + i)]);
            sum[i] += in[i];
        }
        det.Apply(out, in, k, count, DetectorCISPRAverage);
        if (k == 1) {
            for (int i = 0; i < 3; ++i)
                EXPECT_NEAR(out[i], sum[i], 1e-6) << "running sum, bin " << i;
        }
    }
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(out[i], sum[i] / count, 9e-6) << i;
}

TEST(CISPRDetector, AverageOfOneAcquisitionIsTheInput) {
    CISPRDetector det(1e9);
    VecReal32 in = Vec({0.25f, 3.5f, 1e-3f}), out;
    det.Apply(out, in, 0, 1, DetectorCISPRAverage);
    ASSERT_EQ(out.GetSize(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(out[i], in[i]);
}

TEST(CISPRDetector, PeakKeepsTheMaximum) {
    CISPRDetector det(1e9);
    const std::vector<std::vector<float>> steps = {
        {0.5f, 2.0f, 0.1f}, {1.0f, 0.5f, 0.2f}, {0.25f, 3.0f, 0.05f}};
    VecReal32 out;
    for (int k = 0; k < 3; ++k) {
        det.Apply(out, Vec(steps[static_cast<size_t>(k)]), k, 3, DetectorCISPRPeak);
        if (k == 0) {
            EXPECT_EQ(out[1], 2.0f);
        }
    }
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[1], 3.0f);
    EXPECT_EQ(out[2], 0.2f);
    // A new run starts over.
    det.Apply(out, Vec({0.1f, 0.1f, 0.1f}), 0, 3, DetectorCISPRPeak);
    EXPECT_EQ(out[1], 0.1f);
}

TEST(CISPRDetector, DetectorsKeepSeparateState) {
    auto det = Detector1G();
    VecReal32 qpOut, aveOut, pkOut;
    const std::vector<std::vector<float>> steps = {{1.0f}, {3.0f}, {2.0f}};
    for (int k = 0; k < 3; ++k) {
        const VecReal32 in = Vec(steps[static_cast<size_t>(k)]);
        det->Apply(qpOut, in, k, 3, DetectorCISPRQuasiPeak);
        det->Apply(aveOut, in, k, 3, DetectorCISPRAverage);
        det->Apply(pkOut, in, k, 3, DetectorCISPRPeak);
    }
    EXPECT_EQ(aveOut[0], 2.0f);
    EXPECT_EQ(pkOut[0], 3.0f);
    EXPECT_GT(qpOut[0], 0.0f);
    EXPECT_LT(qpOut[0], 3.0f);
}

TEST(CISPRDetector, OtherDetectorsLeaveTheOutputAlone) {
    auto det = Detector1G();
    VecReal32 in = Vec({5.0f, 6.0f}), out = Vec({1.0f, 2.0f, 3.0f});
    for (int d : {0, 1, 2, 3, 4, 5, 9, -1}) {
        for (int index : {0, 1})
            det->Apply(out, in, index, 2, static_cast<DetectorType>(d));
        ASSERT_EQ(out.GetSize(), 3) << d;
        EXPECT_EQ(out[0], 1.0f);
        EXPECT_EQ(out[1], 2.0f);
        EXPECT_EQ(out[2], 3.0f);
    }
}

TEST(CISPRDetector, CopiesAreIndependent) {
    auto det = Detector1G();
    VecReal32 in = Vec({0.8f, 0.3f}), a, b;
    for (int k = 0; k < 20; ++k)
        det->Apply(a, in, k, 100, DetectorCISPRQuasiPeak);
    CISPRDetector copy(*det);
    CISPRDetector assigned(5e3);
    assigned = *det;
    det.reset();  // the copies own their windows: destroying the original leaves them whole
    VecReal32 c;
    in = Vec({0.1f, 0.9f});
    for (int k = 20; k < 60; ++k) {
        copy.Apply(b, in, k, 100, DetectorCISPRQuasiPeak);
        assigned.Apply(c, in, k, 100, DetectorCISPRQuasiPeak);
    }
    EXPECT_EQ(b[0], c[0]);
    EXPECT_EQ(b[1], c[1]);
    int acqNum = 0;
    copy.GetHWAcqParameters(acqNum, 120000.0);
    EXPECT_EQ(acqNum, 6367);
}

TEST(CISPRDetector, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    CISPRDetector::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 9);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}

TEST(CISPRDetector, SteadyAcquisitionsAllocateNothing) {
    // Peak and average copy into their held vectors and the caller's output; quasi-peak keeps its
    // state: once sized, acquisitions allocate nothing, and neither does reading the meter buffer.
    auto det = Detector1G();
    VecReal32 in = Vec({0.7f, 0.01f, 3.0f, 0.2f}), out, qp;
    for (DetectorType d : {DetectorCISPRQuasiPeak, DetectorCISPRAverage, DetectorCISPRPeak})
        for (int k = 0; k < 3; ++k)
            det->Apply(out, in, k, 50, d);
    det->GetQPBuf(qp);
    const long long before = kern::AllocationCount();
    for (int k = 0; k < 50; ++k) {
        in[1] = 0.01f * static_cast<float>(k);
        for (DetectorType d : {DetectorCISPRQuasiPeak, DetectorCISPRAverage, DetectorCISPRPeak})
            det->Apply(out, in, k, 50, d);
        const CISPRDetector& reader = *det;  // the meter buffer reads through a const reference
        reader.GetQPBuf(qp);
    }
    EXPECT_EQ(kern::AllocationCount() - before, 0);
    ASSERT_EQ(out.GetSize(), 4);
    EXPECT_EQ(out[2], 3.0f);  // peak holds its maximum
    EXPECT_EQ(out[1], 0.01f * 49.0f);
}
