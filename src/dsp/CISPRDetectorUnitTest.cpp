// Self-test of CISPRDetector: bandwidth table, acquisition plan, and the quasi-peak, average and peak
// detectors on short runs with known readings.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "CISPRDetector.h"

namespace VELA {

namespace {

// Input of the burst case: 200 steps of 1.0, then 800 of 0.1, repeated.
float BurstInput(int step) {
    return (step % 1000) < 200 ? 1.0f : 0.1f;
}

}  // namespace

bool CISPRDetector::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "CISPRDetector";

    {
        double nominal = 0, lowest = 0, highest = 0;
        Get6dBBW(nominal, lowest, highest, 1e9, DetectorCISPRQuasiPeak);
        recorder.AddTestRecord(cls, "6dB bandwidth",
                               nominal == 120000.0 && lowest == nominal && highest == nominal);
    }

    {
        CISPRDetector det(1e9);
        double acqTime = 0;
        int acqNum = 0;
        det.GetHWAcqParameters(acqTime, acqNum, 1e9, 120000.0);
        recorder.AddTestRecord(cls, "H/W info",
                               acqNum == 6367 && std::fabs(acqTime - 0.00034557519963884786) < 1e-15);
    }

    {
        // Ten bins with the same (varying) input must give the same meter value everywhere.
        CISPRDetector det(1e9);
        int acqNum = 0;
        det.GetHWAcqParameters(acqNum, 120000.0);
        VecReal32 in(10), out, qp;
        for (int k = 0; k < 6000; ++k) {
            const float v = 0.5f + 0.4f * static_cast<float>(std::sin(0.01 * k));
            for (int i = 0; i < 10; ++i)
                in[i] = v;
            det.Apply(out, in, k, 6000, DetectorCISPRQuasiPeak);
        }
        det.GetQPBuf(qp);
        recorder.AddTestRecord(cls, "QP #1",
                               qp.GetSize() == 10 && std::fabs(qp[0] - qp[9]) < 9e-6 && qp[0] > 0.0f);
    }

    {
        CISPRDetector det(1e9);
        int acqNum = 0;
        det.GetHWAcqParameters(acqNum, 120000.0);
        VecReal32 in(1), out;
        float at1000 = -1, at3600 = -1;
        for (int k = 0; k <= 3600; ++k) {
            in[0] = BurstInput(k);
            det.Apply(out, in, k, acqNum, DetectorCISPRQuasiPeak);
            if (k == 1000) at1000 = out[0];
            if (k == 3600) at3600 = out[0];
        }
        recorder.AddTestRecord(
            cls, "QP #2",
            std::fabs(at1000 - 0.6920899748802185) < 1e-5 && std::fabs(at3600 - 0.8600999712944031) < 1e-5);
    }

    {
        // A falling input: the reading holds its maximum while the meter output decays.
        CISPRDetector det(1e9);
        int acqNum = 0;
        det.GetHWAcqParameters(acqNum, 120000.0);
        VecReal32 in(1), out, qp;
        float peak = 0;
        for (int k = 0; k < 3000; ++k) {
            in[0] = 1.0f;
            det.Apply(out, in, k, acqNum, DetectorCISPRQuasiPeak);
        }
        peak = out[0];
        bool ok = peak > 0.0f;
        float prevQp = 0;
        det.GetQPBuf(qp);
        prevQp = qp[0];
        int decaying = 0;
        for (int k = 3000; k < 6000; ++k) {
            in[0] = 0.0f;
            det.Apply(out, in, k, acqNum, DetectorCISPRQuasiPeak);
            det.GetQPBuf(qp);
            ok = ok && out[0] >= peak;
            if (qp[0] < prevQp) ++decaying;
            peak = out[0];
            prevQp = qp[0];
        }
        recorder.AddTestRecord(cls, "QP max hold", ok && decaying > 2900 && qp[0] < 0.5f * out[0]);
    }

    {
        CISPRDetector det(1e9);
        VecReal32 in(3), out;
        in[0] = 0.25f;
        in[1] = -3.5f;
        in[2] = 7.0f;
        det.Apply(out, in, 0, 1, DetectorCISPRAverage);
        recorder.AddTestRecord(cls, "Average count 1",
                               out.GetSize() == 3 && out[0] == 0.25f && out[1] == -3.5f && out[2] == 7.0f);
    }

    {
        // The mean of a long run, against the exact mean of the same float inputs.
        CISPRDetector det(1e9);
        const int count = 6367;
        VecReal32 in(2), out;
        double sum0 = 0, sum1 = 0;
        for (int k = 0; k < count; ++k) {
            in[0] = 0.1f + 0.001f * static_cast<float>(k % 97);
            in[1] = 1.0f / static_cast<float>(1 + k % 13);
            sum0 += in[0];
            sum1 += in[1];
            det.Apply(out, in, k, count, DetectorCISPRAverage);
        }
        recorder.AddTestRecord(
            cls, "Average long run",
            std::fabs(out[0] - sum0 / count) < 9e-6 && std::fabs(out[1] - sum1 / count) < 9e-6);
    }

    {
        CISPRDetector det(1e9);
        VecReal32 in(2), out;
        const float a[] = {0.5f, 2.0f, 1.0f, 0.25f};
        const float b[] = {1.5f, 0.5f, 1.25f, 0.75f};
        for (int k = 0; k < 4; ++k) {
            in[0] = a[k];
            in[1] = b[k];
            det.Apply(out, in, k, 4, DetectorCISPRPeak);
        }
        recorder.AddTestRecord(cls, "Peak", out[0] == 2.0f && out[1] == 1.5f);
    }

    {
        double n = 0, lo = 0, hi = 0;
        Get6dBBW(n, lo, hi, 150e3, DetectorCISPRPeak);
        bool ok = n == 9000.0 && lo == 1000.0 && hi == 10000.0;
        Get6dBBW(n, lo, hi, 30e6, DetectorCISPRPeak);
        ok = ok && n == 9000.0;
        Get6dBBW(n, lo, hi, 1e9, DetectorCISPRAverage);
        ok = ok && n == 120000.0 && lo == 10000.0 && hi == 500000.0;
        Get6dBBW(n, lo, hi, 149999.0, DetectorCISPRPeak);
        ok = ok && n == 200.0;
        recorder.AddTestRecord(cls, "Band limits", ok);
    }

    return true;
}

}  // namespace VELA
