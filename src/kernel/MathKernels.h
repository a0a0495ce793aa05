// The math family of kernels: the full-accuracy elementary functions on float and double vectors, and
// the element-wise operations of the mathematical utilities (magnitude, power, phase, roots, squares,
// reversal, conjugation, dot products). See Dispatch.h for how the levels are built and chosen.
//
// Conventions of all kernels:
// - they act on exactly `n` elements and do nothing for n <= 0;
// - the source comes first and the destination after it; source and destination may be the same array
//   (each element is read before its result is written), but they must not overlap otherwise;
// - complex data are interleaved (re, im) pairs and `n` counts complex elements.
//
// Accuracy of the elementary functions (cos ... powx): every level is within 1 ulp of the exact result in
// its own precision. The optimised levels use SLEEF's 1-ulp vector functions (the float erf excepted,
// see MathBody.inc); the reference level evaluates each function with the C library one type wider
// (float in double, double in long double) and rounds once. Levels therefore agree to within one
// representable step, not bit for bit. The remaining kernels give the same bits at every level, except
// the dot products (summation order).
#pragma once

#include <cstddef>

#include "kernel/Dispatch.h"

namespace VELA::kern {

struct MathKernelTable {
    const char* name;

    // ---- elementary functions, d[i] = f(s[i]), within 1 ulp ----
    void (*cos_f32)(const float* s, float* d, int n);
    void (*sin_f32)(const float* s, float* d, int n);
    void (*atan_f32)(const float* s, float* d, int n);
    void (*atan2_f32)(const float* y, const float* x, float* d, int n);  // atan2(y[i], x[i])
    void (*log10_f32)(const float* s, float* d, int n);                  // -inf at 0, NaN below
    void (*ln_f32)(const float* s, float* d, int n);
    void (*exp_f32)(const float* s, float* d, int n);
    void (*erf_f32)(const float* s, float* d, int n);
    void (*powx_f32)(const float* s, float e, float* d, int n);  // pow(s[i], e)
    void (*cos_f64)(const double* s, double* d, int n);
    void (*sin_f64)(const double* s, double* d, int n);
    void (*atan_f64)(const double* s, double* d, int n);
    void (*atan2_f64)(const double* y, const double* x, double* d, int n);
    void (*log10_f64)(const double* s, double* d, int n);
    void (*ln_f64)(const double* s, double* d, int n);
    void (*exp_f64)(const double* s, double* d, int n);
    void (*erf_f64)(const double* s, double* d, int n);
    void (*powx_f64)(const double* s, double e, double* d, int n);

    // ---- real element-wise ----
    void (*abs_f32)(const float* s, float* d, int n);
    void (*abs_f64)(const double* s, double* d, int n);
    void (*sqr_f32)(const float* s, float* d, int n);  // s[i] * s[i]
    void (*sqr_f64)(const double* s, double* d, int n);
    void (*sqrt_f32)(const float* s, float* d, int n);  // correctly rounded; NaN below 0
    void (*sqrt_f64)(const double* s, double* d, int n);

    // ---- complex to real ----
    // sqrt(re^2 + im^2). The float form computes in float where max(|re|, |im|) lies in [2^-50, 2^50]
    // or is 0 (within about an ulp), and in double elsewhere, so it neither overflows nor underflows
    // where the magnitude itself is representable.
    void (*mag_c32)(const float* s, float* d, int n);
    void (*mag_c64)(const double* s, double* d, int n);
    // re^2 + im^2 in the element precision.
    void (*power_c32)(const float* s, float* d, int n);
    void (*power_c64)(const double* s, double* d, int n);
    // atan2(im, re), within 1 ulp, in (-pi, pi].
    void (*phase_c32)(const float* s, float* d, int n);
    void (*phase_c64)(const double* s, double* d, int n);

    // ---- complex element-wise ----
    // (re^2 - im^2, 2 re im): the product of each element with itself, in the element precision.
    void (*sqr_c32)(const float* s, float* d, int n);
    void (*sqr_c64)(const double* s, double* d, int n);
    // Principal square root (real part >= 0, imaginary part with the sign of the input's); the float
    // form works in double.
    void (*sqrt_c32)(const float* s, float* d, int n);
    void (*sqrt_c64)(const double* s, double* d, int n);
    void (*conj_c32)(const float* s, float* d, int n);
    void (*conj_c64)(const double* s, double* d, int n);

    // ---- reversal: d[i] = s[n - 1 - i] (conjugated in conjflip); d == s reverses in place ----
    void (*flip_f32)(const float* s, float* d, int n);
    void (*flip_f64)(const double* s, double* d, int n);
    void (*flip_c32)(const float* s, float* d, int n);
    void (*flip_c64)(const double* s, double* d, int n);
    void (*conjflip_c32)(const float* s, float* d, int n);
    void (*conjflip_c64)(const double* s, double* d, int n);

    // ---- dot products, sum of a[i] * b[i]; the float form accumulates in double ----
    float (*dotprod_f32)(const float* a, const float* b, int n);
    double (*dotprod_f64)(const double* a, const double* b, int n);
};

// The table of the active level.
const MathKernelTable& MK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const MathKernelTable* MathTableFor(Variant v) noexcept;

// Outputs of at least this many bytes (32 MiB by default) are written with non-temporal stores by the
// element-wise kernels of the optimised levels (abs, sqr, sqrt, mag, power, complex sqr and conj): they
// would not stay in cache anyway, and streaming them saves the read of every destination line.
size_t MathStreamThreshold() noexcept;
// Changes the threshold (0 streams every output); for tests. Not thread-safe with respect to running
// kernels.
void SetMathStreamThreshold(size_t bytes) noexcept;

}  // namespace VELA::kern
