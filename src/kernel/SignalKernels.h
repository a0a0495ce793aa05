// The signal family of kernels: magnitudes of split planes, grouped reductions for trace
// detectors, direct convolution and correlation, tone generation and frequency shifting, and a few
// element-wise helpers of the signal utilities. See Dispatch.h for how the levels are built and chosen.
//
// Conventions are those of the vector family (VectorKernels.h): a kernel acts on exactly the count it
// is given and does nothing for a count <= 0; complex data are interleaved (re, im) pairs and counts
// are in complex elements unless a comment says otherwise.
#pragma once

#include "kernel/Dispatch.h"

namespace VELA::kern {

struct SignalKernelTable {
    const char* name;

    // ---- magnitude and polar form (the complex magnitude, power and phase are in the math family) ----
    // d[i] = sqrt(re[i]^2 + im[i]^2) from separate planes, computed in double. d may be re or im.
    void (*magnitude_f32)(const float* re, const float* im, float* d, int n);
    // d[i] = (mag[i] cos(phase[i]), mag[i] sin(phase[i])); the trigonometry is done in double.
    void (*polar_to_cart_c32)(const float* mag, const float* phase, float* d, int n);

    // ---- reductions ----
    // Sum of squares accumulated in double (n reals; pass 2n for interleaved complex data).
    double (*sumsq_f32)(const float* s, int n);
    double (*sumsq_f64)(const double* s, int n);

    // ---- grouped reductions: m groups of `group` consecutive samples, one result per group ----
    // Mean accumulated in double, rounded once.
    void (*group_mean_f32)(const float* s, int group, int m, float* d);
    void (*group_max_f32)(const float* s, int group, int m, float* d);
    void (*group_min_f32)(const float* s, int group, int m, float* d);
    // Two results per group: d[2j] the maximum, d[2j + 1] the minimum.
    void (*group_maxmin_f32)(const float* s, int group, int m, float* d);
    // sqrt(sum of squares) / sqrt(group), in double, rounded once.
    void (*group_rms_f32)(const float* s, int group, int m, float* d);

    // ---- convolution and correlation, direct ----
    // Full linear convolution: d[k] = sum_j a[j] b[k - j], na + nb - 1 outputs (none if either is
    // empty). Accumulates in the element type; levels with FMA contract the multiply-adds.
    void (*conv_f32)(const float* a, int na, const float* b, int nb, float* d);
    void (*conv_f64)(const double* a, int na, const double* b, int nb, double* d);
    // Cross-correlation over dlen lags from lowLag: d[k] = sum_i s1[i] s2[i + k + lowLag], terms
    // outside either input being zero. The complex form conjugates s1.
    void (*xcorr_f32)(const float* s1, int n1, const float* s2, int n2, float* d, int dlen, int lowLag);
    void (*xcorr_c32)(const float* s1, int n1, const float* s2, int n2, float* d, int dlen, int lowLag);

    // ---- tones ----
    // d[i] = s[i] * t[i] with the tone t[i] = exp(j (2 pi freq i + phase)), or its conjugate when
    // `conjugate` is set. The tone is formed in double from the exact angle and rounded to float, then
    // multiplied in float. freq is in cycles per sample, any value (whole cycles drop out). d == s allowed.
    void (*tone_mul_c32)(const float* s, float* d, int n, double freq, double phase, bool conjugate);

    // ---- element-wise helpers ----
    // d[k] = s[k + step] - s[k] for k < n (step 2 differentiates interleaved complex data). d may be s:
    // every level runs forward, reading s[k] and s[k + step] before d[k] is written.
    void (*diff_f32)(const float* s, float* d, int n, int step);
    void (*diff_f64)(const double* s, double* d, int n, int step);
    // d[i] = (b[i] < a[i]) ? a[i] : b[i]: a tie or a NaN takes b. d may be a or b.
    void (*max_pair_f32)(const float* a, const float* b, float* d, int n);
    void (*max_pair_f64)(const double* a, const double* b, double* d, int n);
};

// The table of the active level.
const SignalKernelTable& SK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const SignalKernelTable* SignalTableFor(Variant v) noexcept;

}  // namespace VELA::kern
