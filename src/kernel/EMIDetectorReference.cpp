// Plain scalar reference of the EMI detector kernels: the definition of what every optimised level
// computes. Built without auto-vectorisation; clarity over speed.
#include <algorithm>
#include <cmath>

#include "kernel/EMIDetectorKernels.h"

namespace VELA::kern::reference {
namespace {

void Step(const double* env, int n, const EMIDetectorConstants& c, const EMIDetectorState& s) {
    const double dd = c.dischargeDecay, kq = c.chargeGain, vs = c.sineScale;
    const double g = c.meterGain, gr = c.rmsGain;
    const double* tab = c.drive;
    for (int k = 0; k < n; ++k) {
        const double e = env[k];
        s.peak[k] = std::max(s.peak[k], e);

        // Quasi-peak: the diode's charging current e G(sqrt(1 - V/e)) from the table, interpolated;
        // the capacitor always discharges.
        const double v = s.qpCap[k];
        const double x = (e > v) ? v / e : 1.0;
        const double sq = std::sqrt(1.0 - x);
        const double pos = sq * kEMIDriveSteps;
        const int i = std::min(static_cast<int>(pos), kEMIDriveSteps - 1);
        const double drive = e * (tab[i] + (pos - i) * (tab[i + 1] - tab[i]));
        const double cap = v * dd + kq * drive;
        s.qpCap[k] = cap;
        const double m1 = s.qpMeter1[k] + g * (cap * vs - s.qpMeter1[k]);
        const double m2 = s.qpMeter2[k] + g * (m1 - s.qpMeter2[k]);
        s.qpMeter1[k] = m1;
        s.qpMeter2[k] = m2;
        s.qpMax[k] = std::max(s.qpMax[k], m2);

        // Average: the envelope through the meter.
        const double a1 = s.avMeter1[k] + g * (e - s.avMeter1[k]);
        const double a2 = s.avMeter2[k] + g * (a1 - s.avMeter2[k]);
        s.avMeter1[k] = a1;
        s.avMeter2[k] = a2;
        s.avMax[k] = std::max(s.avMax[k], a2);

        // RMS-average: mean square over the corner's time constant, its root through the meter.
        const double p = s.rmsPower[k] + gr * (e * e - s.rmsPower[k]);
        s.rmsPower[k] = p;
        const double rt = std::sqrt(p);
        const double r1 = s.rmsMeter1[k] + g * (rt - s.rmsMeter1[k]);
        const double r2 = s.rmsMeter2[k] + g * (r1 - s.rmsMeter2[k]);
        s.rmsMeter1[k] = r1;
        s.rmsMeter2[k] = r2;
        s.rmsMax[k] = std::max(s.rmsMax[k], r2);
    }
}

void Envelope(const float* spectrum, const int32_t* bins, double* env, int n) {
    for (int k = 0; k < n; ++k) {
        const double re = spectrum[2 * static_cast<int64_t>(bins[k])];
        const double im = spectrum[2 * static_cast<int64_t>(bins[k]) + 1];
        env[k] = std::sqrt(re * re + im * im);
    }
}

}  // namespace

extern const EMIDetectorKernelTable kEMIDetectorTable;
const EMIDetectorKernelTable kEMIDetectorTable = {
    .name = "reference",
    .step_f64 = Step,
    .envelope_c32 = Envelope,
};

}  // namespace VELA::kern::reference
