// Element formulas shared by the reference and the optimised bodies of the spectrum family, so that
// every level computes the same operations in the same order (with contraction off, bit for bit).
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace VELA::kern::spectrum {

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
inline bool FastRange(float p) {
    return p >= 0x1p-100f && p <= 0x1p100f;
}

// 10 log10(p) for p in FastRange. p = 2^e f with f in [sqrt(1/2), sqrt(2)); ln f = 2 atanh(t),
// t = (f - 1) / (f + 1), |t| < 0.172, summed to t^7: the first term left out, 2 t^9 / 9, is below 3e-8
// (1.3e-7 dB), under the float rounding of a result of a few dB.
// 10 log10(2) is split so that e times its leading part is exact.
inline float FastDb(float p) {
    const uint32_t ix = std::bit_cast<uint32_t>(p) - 0x3f3504f3u;  // bits of sqrt(1/2)
    const float e = static_cast<float>(static_cast<int32_t>(ix) >> 23);
    const float f = std::bit_cast<float>((ix & 0x007fffffu) + 0x3f3504f3u);
    const float t = (f - 1.0f) / (f + 1.0f);
    const float t2 = t * t;
    const float s = ((t2 * (1.0f / 7) + 1.0f / 5) * t2 + 1.0f / 3) * t2 + 1.0f;
    const float lnf = 2.0f * t * s;
    constexpr float kLog2Hi = 3.01025390625f;                                          // 12330 / 4096
    constexpr float kLog2Lo = static_cast<float>(3.0102999566398120 - 3.01025390625);  // 10 log10(2) - hi
    constexpr float kLn = 4.3429448190325183f;                                         // 10 / ln(10)
    return e * kLog2Hi + (e * kLog2Lo + lnf * kLn);
}

// Whether the magnitude of (re, im) leaves the float form: max(|re|, |im|) outside [2^-50, 2^50] and not
// 0 (a NaN in re yields |im|, a NaN in im yields NaN, as the comparisons fall).
inline int MagnitudeNeedsDouble(float re, float im) {
    const float a = std::fabs(re) > std::fabs(im) ? std::fabs(re) : std::fabs(im);
    return static_cast<int>(!(a <= 0x1p50f)) | (static_cast<int>(a != 0.0f) & static_cast<int>(a < 0x1p-50f));
}

// The magnitude as the math family forms it: in float where max(|re|, |im|) lies in [2^-50, 2^50] or
// is 0, in double elsewhere.
inline float Magnitude(float re, float im) {
    if (!MagnitudeNeedsDouble(re, im)) return std::sqrt(re * re + im * im);
    const double r = re, i = im;
    return static_cast<float>(std::sqrt(r * r + i * i));
}

// The step-by-step form: 20 log10(|s| + eps), each step rounded to float.
inline float SlowDb(float re, float im) {
    const float g = Magnitude(re, im) + kEpsilon;
    return 20.0f * static_cast<float>(std::log10(static_cast<double>(g)));
}

}  // namespace VELA::kern::spectrum
