// The FIR family of kernels: the direct form of a streaming FIR filter. See Dispatch.h for how the
// levels are built and chosen, and FIRState.h for the filter state built on them.
//
// Conventions are those of the vector family (VectorKernels.h): a kernel acts on exactly the count it
// is given and does nothing for a count <= 0.
#pragma once

#include "kernel/Dispatch.h"

namespace VELA::kern {

struct FIRKernelTable {
    const char* name;

    // n outputs of a direct-form FIR whose taps, in reverse order, are g[0 .. taps-1]:
    //   d[i] = sum_{j < taps} g[j] s[i + j],   i < n,
    // so s holds the taps - 1 samples of history followed by the n new ones (reads s[0 .. n+taps-2]).
    // Accumulates in float over j ascending; levels with FMA contract the multiply-adds, so levels
    // differ from the reference by rounding only. d must not overlap s, with one exception: d may be
    // exactly s + taps - 1, so that output i replaces the newest input it reads (in-place streaming);
    // the outputs are then formed from the last backward, each block of them loading all its inputs
    // before it stores.
    void (*fir_f32)(const float* s, int n, const float* g, int taps, float* d);
};

// The table of the active level.
const FIRKernelTable& FK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const FIRKernelTable* FIRTableFor(Variant v) noexcept;

}  // namespace VELA::kern
