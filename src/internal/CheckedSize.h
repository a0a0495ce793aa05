// Size arithmetic of the operations: lengths are formed in 64 bits and checked against int before
// anything is allocated or written, so an argument whose result cannot be a vector length gives
// "invalid input parameter" instead of a wrapped (negative or small) count.
#pragma once

#include <cstdint>
#include <limits>

#include "math/VELAError.h"

namespace VELA::internal {

// n as an int length (0 .. INT_MAX); anything else throws "invalid input parameter".
inline int CheckedLength(int64_t n) {
    if (n < 0 || n > std::numeric_limits<int>::max()) VELA_THROW(VELAErrorInvalidInputParameter);
    return static_cast<int>(n);
}

inline int CheckedProduct(int64_t a, int64_t b) {
    // Both factors are at most 2^31 in magnitude, so the product fits in 64 bits.
    return CheckedLength(a * b);
}

}  // namespace VELA::internal
