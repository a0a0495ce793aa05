#include "kernel/ResizeKernels.h"

#include "kernel/Memory.h"

namespace VELA::kern {
namespace reference {
extern const ResizeKernelTable kResizeTable;
}
namespace sse2 {
extern const ResizeKernelTable kResizeTable;
}
namespace avx2 {
extern const ResizeKernelTable kResizeTable;
}
namespace avx512 {
extern const ResizeKernelTable kResizeTable;
}

namespace {
const ResizeKernelTable* const kTables[kVariantCount] = {&reference::kResizeTable, &sse2::kResizeTable,
                                                         &avx2::kResizeTable, &avx512::kResizeTable};
}

const ResizeKernelTable& RSK() noexcept {
    return Pick(kTables);
}

const ResizeKernelTable* ResizeTableFor(Variant v) noexcept {
    return VariantSupported(v) ? kTables[static_cast<int>(v)] : nullptr;
}

namespace {

// One block per thread, grown when a call needs more and released when the thread ends, so that a
// display resized frame after frame allocates nothing after its first frame.
struct ScratchBlock {
    void* data = nullptr;
    std::size_t bytes = 0;
    ~ScratchBlock() { AlignedFree(data); }
};

}  // namespace

void* ResizeScratch(std::size_t bytes) noexcept {
    thread_local ScratchBlock block;
    if (bytes > block.bytes || !block.data) {
        void* grown = AlignedAlloc(bytes);
        if (!grown) return nullptr;
        AlignedFree(block.data);
        block.data = grown;
        block.bytes = bytes;
    }
    return block.data;
}

}  // namespace VELA::kern
