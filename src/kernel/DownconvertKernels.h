// The downconverter family of kernels: real samples mixed with an oscillator into I and Q planes,
// and the symmetric low-pass filter evaluated at one output position. See Dispatch.h for how the
// levels are built and chosen.
//
// Conventions are those of the vector family (VectorKernels.h): a kernel acts on exactly the count it
// is given and does nothing for a count <= 0.
#pragma once

#include <cstdint>

#include "kernel/Dispatch.h"

namespace VELA::kern {

// The oscillator is evaluated in blocks of kMixBlock samples of its own count: one exact sincos at the
// block's first count, rotated by a table of the exact in-block angles (MixRotationTable).
inline constexpr int kMixBlock = 256;

// rot[t] = cos(w t), rot[kMixBlock + t] = sin(w t) for t < kMixBlock: the table mix_real_f32 takes.
void MixRotationTable(double w, double* rot) noexcept;

struct DownconvertKernelTable {
    const char* name;

    // For i < n, with the oscillator count c = count0 + i (count0 >= 0):
    //   dI[i] = (float)(cos(w c) x[i]),  dQ[i] = (float)(sin(w c) x[i]),
    // angle, trigonometry and product in double, one rounding to float. The reference evaluates
    // cos(w c) directly; the optimised levels start every block of kMixBlock counts (blocks aligned to
    // multiples of kMixBlock, so a sample's value does not depend on where a call begins) at the exact
    // sincos of the block's first count and rotate it by the table `rot` of MixRotationTable(w). The
    // two agree to a few units of double rounding in the oscillator, i.e. to the float rounding of the
    // product. dI, dQ must not overlap x or each other.
    void (*mix_real_f32)(const float* x, float* dI, float* dQ, int n, double w, int64_t count0,
                         const double* rot);

    // One output of the symmetric FIR of 2 pairs + 1 taps, folded: for the window r[0 .. 2 pairs],
    //   sum_{k < pairs} h[k] (r[k] + r[2 pairs - k]) + h[pairs] r[pairs],
    // for the I window rI into d[0] and the Q window rQ into d[1]. Accumulates in float; the reference
    // in the order written (centre last), the optimised levels in several partial sums with fused
    // multiply-adds where the level has them.
    void (*fold_fir_f32)(const float* rI, const float* rQ, const float* h, int pairs, float* d);

    // Plain dot products of the L-tap filter h with two windows: d[0] = sum h[k] rI[k],
    // d[1] = sum h[k] rQ[k], k < L; each product rounded to float, the sums accumulated in double and
    // rounded once.
    void (*dot_f32)(const float* rI, const float* rQ, const float* h, int L, float* d);
};

// The table of the active level.
const DownconvertKernelTable& DCK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const DownconvertKernelTable* DownconvertTableFor(Variant v) noexcept;

}  // namespace VELA::kern
