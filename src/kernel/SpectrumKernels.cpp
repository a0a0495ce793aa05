#include "kernel/SpectrumKernels.h"

namespace VELA::kern {
namespace reference {
extern const SpectrumKernelTable kSpectrumTable;
}
namespace sse2 {
extern const SpectrumKernelTable kSpectrumTable;
}
namespace avx2 {
extern const SpectrumKernelTable kSpectrumTable;
}
namespace avx512 {
extern const SpectrumKernelTable kSpectrumTable;
}

namespace {
const SpectrumKernelTable* const kTables[kVariantCount] = {&reference::kSpectrumTable, &sse2::kSpectrumTable,
                                                           &avx2::kSpectrumTable, &avx512::kSpectrumTable};
}

const SpectrumKernelTable& SPK() noexcept {
    return Pick(kTables);
}

const SpectrumKernelTable* SpectrumTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
