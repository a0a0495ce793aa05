#include "kernel/HalfBandKernels.h"

namespace VELA::kern {
namespace reference {
extern const HalfBandKernelTable kHalfBandTable;
}
namespace sse2 {
extern const HalfBandKernelTable kHalfBandTable;
}
namespace avx2 {
extern const HalfBandKernelTable kHalfBandTable;
}
namespace avx512 {
extern const HalfBandKernelTable kHalfBandTable;
}

namespace {
const HalfBandKernelTable* const kTables[kVariantCount] = {&reference::kHalfBandTable, &sse2::kHalfBandTable,
                                                           &avx2::kHalfBandTable, &avx512::kHalfBandTable};
}

const HalfBandKernelTable& HBK() noexcept {
    return Pick(kTables);
}

const HalfBandKernelTable* HalfBandTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
