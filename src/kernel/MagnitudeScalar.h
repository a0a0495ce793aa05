// The magnitude of one complex float as the optimised kernel families form it, element by element: the
// math family's Mag and the spectrum family's fused chirp-Z pass share these, so that their results
// agree bit for bit. (The reference kernels keep a form of their own, as the independent check.)
//
// The functions have internal linkage: the kernel bodies include this header in translation units
// compiled for different instruction sets, and an inline function with external linkage could be
// merged by the linker into the copy compiled for another level. Include it after the body's
// "fp-contract=off", so that no level fuses the squares and the sum.
#pragma once

#include <cmath>

namespace VELA::kern {
namespace {

// In float where max(|re|, |im|) lies in [2^-50, 2^50] or is 0 (the squares then stay far inside the
// float range, and a square that underflows is below half an ulp of the other); in double elsewhere, so
// that large and tiny values neither overflow nor vanish and infinities and NaN come out right. A NaN in
// re yields |im| as the maximum, a NaN in im yields NaN, as the comparisons fall.
inline int MagNeedsDouble(float re, float im) {
    const float m = std::fabs(re) > std::fabs(im) ? std::fabs(re) : std::fabs(im);
    return static_cast<int>(!(m <= 0x1p50f)) | (static_cast<int>(m != 0.0f) & static_cast<int>(m < 0x1p-50f));
}
inline float MagFloat(float re, float im) {
    return std::sqrt(re * re + im * im);
}
inline float MagDouble(float re, float im) {
    const double r = re, i = im;
    return static_cast<float>(std::sqrt(r * r + i * i));
}

}  // namespace
}  // namespace VELA::kern
