// The EMI detector family of kernels: one envelope step of the detectors of a measuring receiver
// (peak, quasi-peak, average and RMS-average with their meters) for many measuring frequencies at once,
// and the envelope of each measuring frequency gathered from a spectrum. See Dispatch.h for how the
// levels are built and chosen.
//
// The state is held as structure of arrays: one array per state variable, element k belonging to
// measuring frequency k, so that a register holds the same variable of several frequencies and every
// frequency is one lane. Every level performs the reference's operations in the reference's order, in
// double, without fused multiply-adds, and agrees with it bit for bit.
//
// Conventions are those of the vector family (VectorKernels.h): a kernel acts on exactly the count it
// is given and does nothing for a count <= 0.
#pragma once

#include <cstdint>

#include "kernel/Dispatch.h"

namespace VELA::kern {

// Steps of the diode drive table over sqrt(1 - V/E) in [0, 1]: the table holds kEMIDriveSteps + 1
// values, entry i at sqrt(1 - V/E) = i / kEMIDriveSteps.
inline constexpr int kEMIDriveSteps = 1024;

// The constants of one step (the envelope's sampling interval dt).
struct EMIDetectorConstants {
    double dischargeDecay;  // exp(-dt/discharge)
    double chargeGain;      // dt / (charge resistance x capacitance)
    double sineScale;       // 1 / steady capacitor voltage of a unit sine
    double meterGain;       // 1 - exp(-dt/meter)
    double rmsGain;         // 1 - exp(-dt 2 pi corner)
    const double* drive;    // kEMIDriveSteps + 1 values of the diode's drive, see step_f64
};

// The detector state: twelve arrays of the same length, none overlapping another or the envelope.
struct EMIDetectorState {
    double* peak;
    double* qpCap;  // capacitor voltage: a steady envelope E charges it to E / sineScale
    double* qpMeter1;
    double* qpMeter2;
    double* qpMax;
    double* avMeter1;
    double* avMeter2;
    double* avMax;
    double* rmsPower;
    double* rmsMeter1;
    double* rmsMeter2;
    double* rmsMax;
};

struct EMIDetectorKernelTable {
    const char* name;

    // One envelope step for frequencies k < n, with e = env[k] (>= 0) and the constants c:
    //   peak = max(peak, e)
    //   x = e > qpCap ? qpCap / e : 1,  s = sqrt(1 - x) kEMIDriveSteps,  i = min((int)s, kEMIDriveSteps - 1),
    //   drive = e (D[i] + (s - i)(D[i + 1] - D[i]))   (D = c.drive, linear interpolation)
    //   qpCap = qpCap dischargeDecay + chargeGain drive
    //   qpMeter1 += meterGain (qpCap sineScale - qpMeter1),  qpMeter2 += meterGain (qpMeter1 - qpMeter2),
    //   qpMax = max(qpMax, qpMeter2)
    //   avMeter1 += meterGain (e - avMeter1),  avMeter2 += meterGain (avMeter1 - avMeter2),
    //   avMax = max(avMax, avMeter2)
    //   rmsPower += rmsGain (e e - rmsPower),
    //   rmsMeter1 += meterGain (sqrt(rmsPower) - rmsMeter1), rmsMeter2 += meterGain (rmsMeter1 - rmsMeter2),
    //   rmsMax = max(rmsMax, rmsMeter2)
    // each update using the values just computed, max(a, b) = a < b ? b : a. The capacitor voltage must
    // be >= 0 (it is, from a zero start, for envelopes >= 0), so the table index stays in range.
    void (*step_f64)(const double* env, int n, const EMIDetectorConstants& c, const EMIDetectorState& s);

    // env[k] = sqrt(re^2 + im^2) of spectrum[bins[k]] for k < n, in double from the float parts;
    // `spectrum` is interleaved (re, im) and every bin must lie inside it (and below 2^30).
    void (*envelope_c32)(const float* spectrum, const int32_t* bins, double* env, int n);
};

// The table of the active level.
const EMIDetectorKernelTable& EDK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const EMIDetectorKernelTable* EMIDetectorTableFor(Variant v) noexcept;

}  // namespace VELA::kern
