// The half-band family of kernels: decimation by two of complex data through a symmetric half-band
// FIR filter. See Dispatch.h for how the levels are built and chosen.
//
// A half-band filter of 4J-1 taps has zero taps at every even lag except the centre, so one output
// needs the centre tap and J taps at the odd lags 1, 3, ..., 2J-1, each applied to the sum of the two
// samples at plus and minus that lag. Only every second output is formed: nothing is computed that the
// decimation would throw away.
//
// Conventions are those of the vector family (VectorKernels.h): a kernel acts on exactly the count it
// is given and does nothing for a count <= 0; complex data are interleaved (re, im) pairs and counts
// are in complex elements.
#pragma once

#include "kernel/Dispatch.h"

namespace VELA::kern {

// The largest J the optimised levels take; the reference takes any.
inline constexpr int kHalfBandMaxPairs = 64;

struct HalfBandKernelTable {
    const char* name;

    // m outputs of the half-band decimator with J = `pairs` (1 .. kHalfBandMaxPairs), c = 2J-1:
    //   d[o] = coefs[0] s[p] + sum_{j<J} coefs[j+1] (s[p-1-2j] + s[p+1+2j]),   p = c + 2o,
    // for real and imaginary parts alike. Reads s[0 .. 2m+2c-2] (2m+2c-1 complex samples), so only
    // samples with the whole filter support give an output. The arithmetic is in double, but the
    // running sum is a float: it is rounded to float after the centre term and after each pair term,
    // in the order j = 0, 1, ..., J-1. No fused multiply-add, so every level gives the reference's
    // results bit for bit. d must not overlap s.
    void (*decim2_c32)(const float* s, float* d, int m, const float* coefs, int pairs);
};

// The table of the active level.
const HalfBandKernelTable& HBK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const HalfBandKernelTable* HalfBandTableFor(Variant v) noexcept;

}  // namespace VELA::kern
