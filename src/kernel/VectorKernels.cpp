#include "kernel/VectorKernels.h"

namespace VELA::kern {
namespace reference {
extern const VectorKernelTable kTable;
}
namespace sse2 {
extern const VectorKernelTable kTable;
}
namespace avx2 {
extern const VectorKernelTable kTable;
}
namespace avx512 {
extern const VectorKernelTable kTable;
}

namespace {
const VectorKernelTable* const kTables[kVariantCount] = {&reference::kTable, &sse2::kTable, &avx2::kTable,
                                                         &avx512::kTable};
}

const VectorKernelTable& K() noexcept {
    return Pick(kTables);
}

const VectorKernelTable* VectorTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
