#include "kernel/DownconvertKernels.h"

#include <cmath>

namespace VELA::kern {
namespace reference {
extern const DownconvertKernelTable kDownconvertTable;
}
namespace sse2 {
extern const DownconvertKernelTable kDownconvertTable;
}
namespace avx2 {
extern const DownconvertKernelTable kDownconvertTable;
}
namespace avx512 {
extern const DownconvertKernelTable kDownconvertTable;
}

namespace {
const DownconvertKernelTable* const kTables[kVariantCount] = {
    &reference::kDownconvertTable, &sse2::kDownconvertTable, &avx2::kDownconvertTable,
    &avx512::kDownconvertTable};
}

void MixRotationTable(double w, double* rot) noexcept {
    for (int t = 0; t < kMixBlock; ++t) {
        const double a = w * static_cast<double>(t);
        rot[t] = std::cos(a);
        rot[kMixBlock + t] = std::sin(a);
    }
}

const DownconvertKernelTable& DCK() noexcept {
    return Pick(kTables);
}

const DownconvertKernelTable* DownconvertTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

}  // namespace VELA::kern
