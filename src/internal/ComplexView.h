// The interleaved real view of complex arrays. The kernel layer takes complex data as pairs of floats
// or doubles (re, im), which is exactly how Cplx32 and Cplx64 are laid out. Internal to the library's
// sources: not installed.
#pragma once

#include "../math/VELATypes.h"

namespace VELA::internal {

inline float* F(Cplx32* p) {
    return reinterpret_cast<float*>(p);
}
inline const float* F(const Cplx32* p) {
    return reinterpret_cast<const float*>(p);
}
inline double* F(Cplx64* p) {
    return reinterpret_cast<double*>(p);
}
inline const double* F(const Cplx64* p) {
    return reinterpret_cast<const double*>(p);
}

}  // namespace VELA::internal
