#include "kernel/InterpKernels.h"

namespace VELA::kern {
namespace reference {
extern const InterpKernelTable kInterpTable;
}
namespace sse2 {
extern const InterpKernelTable kInterpTable;
}
namespace avx2 {
extern const InterpKernelTable kInterpTable;
}
namespace avx512 {
extern const InterpKernelTable kInterpTable;
}

namespace {
const InterpKernelTable* const kTables[kVariantCount] = {&reference::kInterpTable, &sse2::kInterpTable,
                                                         &avx2::kInterpTable, &avx512::kInterpTable};
}

const InterpKernelTable& IK() noexcept {
    return Pick(kTables);
}

const InterpKernelTable* InterpTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
