#include "kernel/Dispatch.h"

#include <atomic>

namespace VELA::kern {
namespace {

std::atomic<Variant>& Active() noexcept {
    static std::atomic<Variant> active{BestVariant()};
    return active;
}

// Decide at load time, not on the first call from inside some measurement loop.
[[maybe_unused]] const bool kChosenAtLoad = (Active(), true);

}  // namespace

bool VariantSupported(Variant v) noexcept {
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

Variant BestVariant() noexcept {
    if (VariantSupported(Variant::Avx512)) return Variant::Avx512;
    if (VariantSupported(Variant::Avx2)) return Variant::Avx2;
    return Variant::Sse2;
}

bool SetVariant(Variant v) noexcept {
    if (!VariantSupported(v)) return false;
    Active().store(v, std::memory_order_relaxed);
    return true;
}

Variant ActiveVariant() noexcept {
    return Active().load(std::memory_order_relaxed);
}

const char* VariantName(Variant v) noexcept {
    switch (v) {
        case Variant::Reference:
            return "reference";
        case Variant::Sse2:
            return "sse2";
        case Variant::Avx2:
            return "avx2";
        case Variant::Avx512:
            return "avx512";
    }
    return "?";
}

}  // namespace VELA::kern
