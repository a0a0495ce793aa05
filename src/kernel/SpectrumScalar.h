// Element formulas shared by the reference and the optimised bodies of the spectrum family, so that
// every level computes the same operations in the same order (with contraction off, bit for bit). Like
// kernel/MagnitudeScalar.h, everything here has internal linkage, so that no level's translation unit
// ends up calling another level's copy.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include "kernel/MagnitudeScalar.h"

namespace VELA::kern::spectrum {
namespace {

// The float 1e-40 (bits 0x000116C2), a denormal: added to a magnitude before its logarithm so that an
// empty bin gives 20 log10(eps), about -800 dB, instead of minus infinity. Nothing may flush it to zero.
inline constexpr float kEpsilon = std::bit_cast<float>(static_cast<uint32_t>(0x000116C2u));
static_assert(kEpsilon > 0.0f && kEpsilon < 1.1754944e-38f, "eps is a positive denormal");

// re^2 + im^2 in float.
inline float Power(float re, float im) {
    return re * re + im * im;
}

// The power range in which the fast form holds: both squares are then far from overflow, the larger is a
// normal float, and the magnitude (at least 2^-50) is so large that adding eps changes nothing.
inline constexpr uint32_t kFastLowBits = 0x0d800000u;   // 2^-100
inline constexpr uint32_t kFastHighBits = 0x71800000u;  // 2^100
inline bool FastRange(float p) {
    return p >= 0x1p-100f && p <= 0x1p100f;
}
// The same test on the bits, as the vector bodies make it: a power is never negative (re^2 + im^2 of
// zeros is +0), and a NaN of either sign lies above 2^100 as an unsigned integer.
inline bool FastRangeBits(uint32_t bits) {
    return bits - kFastLowBits <= kFastHighBits - kFastLowBits;
}

// The constants of FastDb. q = p s, with s the float nearest sqrt(2), is split into 2^e g, g in [1, 2):
// then p = 2^e (g / s) (up to the rounding of q) with g / s in [sqrt(1/2), sqrt(2)).
inline constexpr float kSqrt2 = 0x1.6a09e6p+0f;  // 1.4142135
inline constexpr uint32_t kOneBits = 0x3f800000u;
inline constexpr uint32_t kMantissaMask = 0x007fffffu;
// 10 log10(g / s) = (20 / ln 10) atanh(t), t = (g - s) / (g + s), |t| < 0.1716, is approximated by
// t (c0 + c1 t^2 + c2 t^4), a minimax fit of absolute error 6.6e-8 dB over that interval (the factor 2
// of atanh and the 10 / ln 10 of the decibel are folded into the coefficients).
inline constexpr float kDbC0 = 0x1.15f2d8p+3f;  // 8.685894  (20 / ln 10 = 8.6858896)
inline constexpr float kDbC1 = 0x1.727672p+1f;  // 2.8942397 (20 / (3 ln 10) = 2.8952965)
inline constexpr float kDbC2 = 0x1.ce0f22p+0f;  // 1.8049184 (20 / (5 ln 10) = 1.7371779)
// 10 log10(2) is split so that e times its leading part is exact.
inline constexpr float kLog2Hi = 3.01025390625f;                                          // 12330 / 4096
inline constexpr float kLog2Lo = static_cast<float>(3.0102999566398120 - 3.01025390625);  // 10 log10(2) - hi

// 10 log10(p) for p in FastRange: e times 10 log10(2), plus the polynomial in t. Evaluated in float,
// every step rounded on its own (no fused multiply-add), the whole within half a float spacing of the
// result plus 6e-7 dB of the exact value: at most 1.6e-5 dB over the range (|result| <= 301 dB).
// q is a normal float there, so e and g are its exponent and mantissa (what AVX-512's getexp and
// getmant return); g's bits are q's with the exponent field of 1.
inline float FastDb(float p) {
    const float q = p * kSqrt2;
    const uint32_t qb = std::bit_cast<uint32_t>(q);
    const uint32_t ix = qb - kOneBits;
    const float e = static_cast<float>(static_cast<int32_t>(ix) >> 23);
    const float g = std::bit_cast<float>(qb - (ix & ~kMantissaMask));
    const float t = (g - kSqrt2) / (g + kSqrt2);
    const float u = t * t;
    const float v = t * ((u * kDbC2 + kDbC1) * u + kDbC0);
    return e * kLog2Hi + (e * kLog2Lo + v);
}

// The magnitude as the math family forms it: in float where max(|re|, |im|) lies in [2^-50, 2^50] or
// is 0, in double elsewhere.
inline float Magnitude(float re, float im) {
    return MagNeedsDouble(re, im) ? MagDouble(re, im) : MagFloat(re, im);
}

// The step-by-step form: 20 log10(|s| + eps), each step rounded to float.
inline float SlowDb(float re, float im) {
    const float g = Magnitude(re, im) + kEpsilon;
    return 20.0f * static_cast<float>(std::log10(static_cast<double>(g)));
}

}  // namespace
}  // namespace VELA::kern::spectrum
