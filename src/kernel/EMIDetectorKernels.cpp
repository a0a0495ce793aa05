#include "kernel/EMIDetectorKernels.h"

namespace VELA::kern {
namespace reference {
extern const EMIDetectorKernelTable kEMIDetectorTable;
}
namespace sse2 {
extern const EMIDetectorKernelTable kEMIDetectorTable;
}
namespace avx2 {
extern const EMIDetectorKernelTable kEMIDetectorTable;
}
namespace avx512 {
extern const EMIDetectorKernelTable kEMIDetectorTable;
}

namespace {
const EMIDetectorKernelTable* const kTables[kVariantCount] = {
    &reference::kEMIDetectorTable, &sse2::kEMIDetectorTable, &avx2::kEMIDetectorTable,
    &avx512::kEMIDetectorTable};
}

const EMIDetectorKernelTable& EDK() noexcept {
    return Pick(kTables);
}

const EMIDetectorKernelTable* EMIDetectorTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
