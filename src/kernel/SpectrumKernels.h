// The spectrum family of kernels: the passes of a magnitude spectrum after the transform, fused so that
// the data are read once. See Dispatch.h for how the levels are built and chosen.
//
// Conventions are those of the vector family (VectorKernels.h): a kernel acts on exactly the count it
// is given and does nothing for a count <= 0; complex data are interleaved (re, im) pairs.
#pragma once

#include "kernel/Dispatch.h"

namespace VELA::kern {

struct SpectrumKernelTable {
    const char* name;

    // d[i] = a[i] * b[i] for n floats; d may be a or b. Applies a doubled window to interleaved complex
    // data in one pass (a copy and an in-place product give the same values).
    void (*mul_f32)(const float* a, const float* b, float* d, int n);

    // d[2i] = s[2i] * w[i], d[2i + 1] = s[2i + 1] * w[i] for n interleaved complex values and n real
    // coefficients; d may be s. The same products as mul_f32 with each coefficient stored twice, from a
    // table half the size (one coefficient per complex point).
    void (*window_c32)(const float* s, const float* w, float* d, int n);

    // d[i] = a[i] * b[i] for n interleaved complex values, as (ar br - ai bi, ar bi + ai br) without
    // fusing; d may be a or b. A copy followed by the vector family's in-place product gives the same
    // values, in one pass instead of two (the chirp-Z transform's pre-chirp).
    void (*cmul_c32)(const float* a, const float* b, float* d, int n);
    void (*cmul_c64)(const double* a, const double* b, double* d, int n);

    // d[i] = 20 log10(|s_i| + eps) in dB for n complex values, eps the float 1e-40: magnitude, epsilon,
    // logarithm and scale in one pass. Where re^2 + im^2 lies in [2^-100, 2^100] (|s_i| in [2^-50,
    // 2^50]), eps is below half an ulp of |s_i| and the value is 10 log10(re^2 + im^2), evaluated in
    // float from the exponent and a polynomial for the mantissa (within half a float spacing of the
    // result plus 6e-7 dB of the exact value: at most 1.6e-5 dB; see SpectrumScalar.h).
    // Elsewhere (zero, tiny, huge, Inf, NaN) it is the library's step-by-step form: the magnitude as
    // MathUtils::Abs forms it, plus eps, log10 in double rounded to float, times 20, so zero gives
    // 20 log10(eps), about -800 dB.
    void (*mag_db_c32)(const float* s, float* d, int n);

    // The chirp-Z transform's passes around its two transforms, each fused into one pass with the
    // rounding of the separate steps kept, so that the results are those of the steps one by one.
    //
    // d[i] = (x[i] w[i]) * c[i] for n complex values x and c and n real weights w (a window, one per
    // complex point): both parts of x times w, then the complex product as cmul_c32 rounds it. The same
    // values as mul_f32 with doubled weights followed by cmul_c32. d may be x.
    void (*wcmul_c32)(const float* x, const float* w, const float* c, float* d, int n);
    // d[i] = |a[i] * b[i]| for n complex values: the product as cmul_c32 rounds it, its magnitude as the
    // math family forms it (in float where max(|re|, |im|) lies in [2^-50, 2^50] or is 0, in double
    // elsewhere). The values of the vector family's product followed by the math family's magnitude.
    void (*cmul_mag_c32)(const float* a, const float* b, float* d, int n);
    // d[i] = re^2 + im^2 of a[i] * b[i] (the product as above, the power in float as the math family's).
    void (*cmul_pow_c32)(const float* a, const float* b, float* d, int n);
};

// The table of the active level.
const SpectrumKernelTable& SPK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const SpectrumKernelTable* SpectrumTableFor(Variant v) noexcept;

}  // namespace VELA::kern
