// The integer family of kernels: saturating 16-bit arithmetic, exact integer sums, extremes with index
// of 16- and 32-bit data, and the byte-wise logic of the bit tables. See Dispatch.h for how the levels
// are built and chosen.
//
// Conventions of all kernels:
// - they act on exactly `n` elements and do nothing for n <= 0;
// - in-place forms write their first argument: d[i] = d[i] op s[i] (the operand order matters for Sub);
// - 16-bit arithmetic saturates at -32768 and 32767 (the product is formed exactly, then clamped);
// - sums are exact (64-bit); the caller saturates the total once to its result type;
// - the index forms of the extremes report the first index on ties.
#pragma once
#include <cstdint>

#include "kernel/Dispatch.h"

namespace VELA::kern {

struct IntKernelTable {
    const char* name;

    // ---- 16-bit saturating arithmetic, in place ----
    void (*add_16s)(short* d, const short* s, int n);  // d = sat(d + s)
    void (*sub_16s)(short* d, const short* s, int n);  // d = sat(d - s)
    void (*mul_16s)(short* d, const short* s, int n);  // d = sat(d * s)
    void (*addc_16s)(short* d, short c, int n);
    void (*subc_16s)(short* d, short c, int n);  // d = sat(d - c)
    void (*mulc_16s)(short* d, short c, int n);

    // ---- exact sums (0 for n <= 0) ----
    int64_t (*sum_16s)(const short* s, int n);
    int64_t (*sum_32s)(const int* s, int n);

    // ---- extremes (n >= 1; for n <= 0 the result is 0 and the index 0) ----
    short (*max_16s)(const short* s, int n);
    short (*min_16s)(const short* s, int n);
    short (*maxindx_16s)(const short* s, int n, int* index);
    short (*minindx_16s)(const short* s, int n, int* index);
    int (*max_32s)(const int* s, int n);
    int (*min_32s)(const int* s, int n);
    int (*maxindx_32s)(const int* s, int n, int* index);
    int (*minindx_32s)(const int* s, int n, int* index);

    // ---- byte-wise logic; `d` may be the same array as `a` (in-place use) ----
    void (*and_8u)(const unsigned char* a, const unsigned char* b, unsigned char* d, int n);
    void (*or_8u)(const unsigned char* a, const unsigned char* b, unsigned char* d, int n);
    void (*xor_8u)(const unsigned char* a, const unsigned char* b, unsigned char* d, int n);
    // Bitwise complement: 0 becomes 255, 1 becomes 254.
    void (*not_8u)(const unsigned char* s, unsigned char* d, int n);
    // Logical inversion of a bit table: 0 and 1 swap, every other byte (255, "unknown") stays.
    void (*flip01_8u)(unsigned char* d, int n);
    void (*set_8u)(unsigned char* d, unsigned char value, int n);
};

// The table of the active level.
const IntKernelTable& IntK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const IntKernelTable* IntTableFor(Variant v) noexcept;

}  // namespace VELA::kern
