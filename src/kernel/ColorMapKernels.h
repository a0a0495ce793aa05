// The colour-map family of kernels: density and hit counts of a persistence display onto 16-bit colour
// indices. See Dispatch.h for how the levels are built and chosen.
//
// Both kernels round half to even with that rounding fixed in the code, not taken from the processor's
// current mode, and saturate to 0..65535. Every level gives the reference's results bit for bit. They
// act on exactly n elements and do nothing for n <= 0.
#pragma once
#include <cstdint>

#include "kernel/Dispatch.h"

namespace VELA::kern {

struct ColorMapKernelTable {
    const char* name;

    // q[i] = (d[i] - low) / range, each operation rounded to float (the processor's mode), stored in
    // q; c[i] = saturate(round_half_even(65536 * q[i])), 0 for a NaN quotient. q may not overlap d or c.
    void (*density_u16)(const float* d, float low, float range, float* q, uint16_t* c, int n);

    // c[i] = saturate(round_half_even(65536 * max(h[i] - lowCount, 0) / rangeCount)), exact.
    // rangeCount must not be 0. c may be h.
    void (*hits_u16)(const uint16_t* h, uint16_t lowCount, uint16_t rangeCount, uint16_t* c, int n);
};

// The table of the active level.
const ColorMapKernelTable& CMK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const ColorMapKernelTable* ColorMapTableFor(Variant v) noexcept;

// The element formulas, shared by the reference and the tails of the optimised levels.
inline uint16_t DensityToColour(float q) {
    const float y = q * 65536.0f;  // exact, or infinite
    if (!(y > 0.0f)) return 0;     // negative, zero or NaN
    if (y >= 65535.0f) return 65535;
    // Round half to even without the rounding mode: truncate, then look at the exact remainder.
    uint32_t i = static_cast<uint32_t>(y);
    const float frac = y - static_cast<float>(i);
    if (frac > 0.5f || (frac == 0.5f && (i & 1u))) ++i;
    return static_cast<uint16_t>(i);
}

inline uint16_t HitsToColour(uint16_t h, uint16_t lowCount, uint16_t rangeCount) {
    const uint32_t c = h > lowCount ? static_cast<uint32_t>(h - lowCount) : 0u;
    if (c >= rangeCount) return 65535;  // the quotient is 65536 or more
    const uint32_t num = c << 16;
    uint32_t q = num / rangeCount;
    const uint32_t rem = num % rangeCount;
    if (2 * rem > rangeCount || (2 * rem == rangeCount && (q & 1u))) ++q;
    return static_cast<uint16_t>(q > 65535u ? 65535u : q);
}

}  // namespace VELA::kern
