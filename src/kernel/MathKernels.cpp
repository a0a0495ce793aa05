#include "kernel/MathKernels.h"

#include <atomic>

namespace VELA::kern {
namespace reference {
extern const MathKernelTable kMathTable;
}
namespace sse2 {
extern const MathKernelTable kMathTable;
}
namespace avx2 {
extern const MathKernelTable kMathTable;
}
namespace avx512 {
extern const MathKernelTable kMathTable;
}

namespace {
const MathKernelTable* const kTables[kVariantCount] = {&reference::kMathTable, &sse2::kMathTable,
                                                       &avx2::kMathTable, &avx512::kMathTable};
}

const MathKernelTable& MK() noexcept {
    return Pick(kTables);
}

const MathKernelTable* MathTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

namespace {
std::atomic<size_t> streamThreshold{size_t{32} << 20};
}

size_t MathStreamThreshold() noexcept {
    return streamThreshold.load(std::memory_order_relaxed);
}

void SetMathStreamThreshold(size_t bytes) noexcept {
    streamThreshold.store(bytes, std::memory_order_relaxed);
}

}  // namespace VELA::kern
