#include "kernel/Memory.h"

#include <atomic>
#include <cstdlib>

namespace VELA::kern {
namespace {
std::atomic<long long> g_allocations{0};
}

long long AllocationCount() noexcept {
    return g_allocations.load(std::memory_order_relaxed);
}

void* AlignedAlloc(std::size_t bytes) noexcept {
    // aligned_alloc wants a multiple of the alignment; round up (and ask for at least one line).
    std::size_t rounded = (bytes + kAlignment - 1) / kAlignment * kAlignment;
    if (rounded < bytes) return nullptr;  // the rounding overflowed
    if (rounded == 0) rounded = kAlignment;
    void* p = std::aligned_alloc(kAlignment, rounded);
    if (p) g_allocations.fetch_add(1, std::memory_order_relaxed);
    return p;
}

void AlignedFree(void* p) noexcept {
    std::free(p);
}

}  // namespace VELA::kern
