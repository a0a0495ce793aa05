#include "kernel/SignalKernels.h"

namespace VELA::kern {
namespace reference {
extern const SignalKernelTable kSignalTable;
}
namespace sse2 {
extern const SignalKernelTable kSignalTable;
}
namespace avx2 {
extern const SignalKernelTable kSignalTable;
}
namespace avx512 {
extern const SignalKernelTable kSignalTable;
}

namespace {
const SignalKernelTable* const kTables[kVariantCount] = {&reference::kSignalTable, &sse2::kSignalTable,
                                                         &avx2::kSignalTable, &avx512::kSignalTable};
}

const SignalKernelTable& SK() noexcept {
    return Pick(kTables);
}

const SignalKernelTable* SignalTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
