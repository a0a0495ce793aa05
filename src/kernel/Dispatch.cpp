// Run-time choice of the kernel level. The choice is made once, by a static initialiser, so a hot
// loop never asks the CPU again; K() is one load of a pointer.
#include <atomic>

#include "kernel/Kernels.h"

namespace VELA::kern {
namespace reference { extern const KernelTable kTable; }
namespace sse2 { extern const KernelTable kTable; }
namespace avx2 { extern const KernelTable kTable; }
namespace avx512 { extern const KernelTable kTable; }

namespace {

bool Supported(Variant v) noexcept {
    __builtin_cpu_init();
    switch (v) {
        case Variant::Reference:
        case Variant::Sse2:
            return true;
        case Variant::Avx2:
            return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                   __builtin_cpu_supports("bmi2");
        case Variant::Avx512:
            return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                   __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
                   __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    }
    return false;
}

const KernelTable* Table(Variant v) noexcept {
    switch (v) {
        case Variant::Reference:
            return &reference::kTable;
        case Variant::Sse2:
            return &sse2::kTable;
        case Variant::Avx2:
            return &avx2::kTable;
        case Variant::Avx512:
            return &avx512::kTable;
    }
    return nullptr;
}

struct Active {
    std::atomic<const KernelTable*> table;
    std::atomic<Variant> variant;
};

Active& State() noexcept {
    static Active state{Table(BestVariant()), BestVariant()};
    return state;
}

// Make the choice at load time rather than on the first call from some measurement loop.
[[maybe_unused]] const bool kChosenAtLoad = (State(), true);

}  // namespace

Variant BestVariant() noexcept {
    if (Supported(Variant::Avx512)) return Variant::Avx512;
    if (Supported(Variant::Avx2)) return Variant::Avx2;
    return Variant::Sse2;
}

const KernelTable& K() noexcept { return *State().table.load(std::memory_order_relaxed); }

const KernelTable* TableFor(Variant v) noexcept { return Supported(v) ? Table(v) : nullptr; }

bool SetVariant(Variant v) noexcept {
    const KernelTable* t = TableFor(v);
    if (!t) return false;
    State().table.store(t, std::memory_order_relaxed);
    State().variant.store(v, std::memory_order_relaxed);
    return true;
}

Variant ActiveVariant() noexcept { return State().variant.load(std::memory_order_relaxed); }

}  // namespace VELA::kern
