// Copies a vector's visible elements into another vector's storage: `Resize` (which keeps the block
// when it is large enough) and an element copy. Steady paths use this instead of operator=, which by
// contract reallocates exactly on every call.
#pragma once

#include <cstring>
#include <type_traits>

namespace VELA::internal {

template <class Vec>
void CopyInto(Vec& dst, const Vec& src) {
    if (&dst == &src) return;
    const int n = src.GetSize();
    dst.Resize(n);
    if (n > 0) {
        using T = std::remove_cv_t<std::remove_reference_t<decltype(*src.Data())>>;
        std::memmove(static_cast<void*>(dst.Data()), static_cast<const void*>(src.Data()),
                     sizeof(T) * static_cast<size_t>(n));
    }
}

}  // namespace VELA::internal
