#include "kernel/FIRKernels.h"

namespace VELA::kern {
namespace reference {
extern const FIRKernelTable kFIRTable;
}
namespace sse2 {
extern const FIRKernelTable kFIRTable;
}
namespace avx2 {
extern const FIRKernelTable kFIRTable;
}
namespace avx512 {
extern const FIRKernelTable kFIRTable;
}

namespace {
const FIRKernelTable* const kTables[kVariantCount] = {&reference::kFIRTable, &sse2::kFIRTable,
                                                      &avx2::kFIRTable, &avx512::kFIRTable};
}

const FIRKernelTable& FK() noexcept {
    return Pick(kTables);
}

const FIRKernelTable* FIRTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
