// Aligned memory for the vector kernels and FFT plans.
#pragma once
#include <cstddef>

namespace VELA::kern {

// Alignment of every block: one AVX-512 register, so the widest kernel variant works on aligned rows.
inline constexpr std::size_t kAlignment = 64;

// Returns a block of `bytes` bytes aligned to kAlignment, or null when the system refuses.
// A request of zero bytes still returns a unique block. Never throws.
void* AlignedAlloc(std::size_t bytes) noexcept;

// Releases a block from AlignedAlloc; null is ignored.
void AlignedFree(void* p) noexcept;

}  // namespace VELA::kern

namespace VELA::kern {
// Number of successful AlignedAlloc calls since load: lets tests see that a steady loop allocates nothing.
long long AllocationCount() noexcept;
}  // namespace VELA::kern
