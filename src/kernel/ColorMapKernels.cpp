#include "kernel/ColorMapKernels.h"

namespace VELA::kern {
namespace reference {
extern const ColorMapKernelTable kColorMapTable;
}
namespace sse2 {
extern const ColorMapKernelTable kColorMapTable;
}
namespace avx2 {
extern const ColorMapKernelTable kColorMapTable;
}
namespace avx512 {
extern const ColorMapKernelTable kColorMapTable;
}

namespace {
const ColorMapKernelTable* const kTables[kVariantCount] = {&reference::kColorMapTable, &sse2::kColorMapTable,
                                                           &avx2::kColorMapTable, &avx512::kColorMapTable};
}

const ColorMapKernelTable& CMK() noexcept {
    return Pick(kTables);
}

const ColorMapKernelTable* ColorMapTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
