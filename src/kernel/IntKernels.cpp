#include "kernel/IntKernels.h"

namespace VELA::kern {
namespace reference {
extern const IntKernelTable kIntTable;
}
namespace sse2 {
extern const IntKernelTable kIntTable;
}
namespace avx2 {
extern const IntKernelTable kIntTable;
}
namespace avx512 {
extern const IntKernelTable kIntTable;
}

namespace {
const IntKernelTable* const kTables[kVariantCount] = {&reference::kIntTable, &sse2::kIntTable,
                                                      &avx2::kIntTable, &avx512::kIntTable};
}

const IntKernelTable& IntK() noexcept {
    return Pick(kTables);
}

const IntKernelTable* IntTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
