// Complex element records shared by every container and kernel.
#pragma once
#include "VELAExport.h"

#include <cstddef>

namespace VELA {

// Two floats, real part first: the layout of an interleaved complex sample.
struct VELA_API Cplx32 {
    float re;
    float im;
};

// Two doubles, real part first.
struct VELA_API Cplx64 {
    double re;
    double im;
};

// The kernels and the FFT engine take arrays of these as interleaved (re, im) arrays of the real type,
// and callers exchange them with std::complex and numpy's complex64/complex128: the layout is part of
// the interface.
static_assert(sizeof(Cplx32) == 2 * sizeof(float) && alignof(Cplx32) == alignof(float),
              "Cplx32 must be two packed floats");
static_assert(sizeof(Cplx64) == 2 * sizeof(double) && alignof(Cplx64) == alignof(double),
              "Cplx64 must be two packed doubles");
static_assert(offsetof(Cplx32, im) == sizeof(float) && offsetof(Cplx64, im) == sizeof(double),
              "the imaginary part follows the real part");

}  // namespace VELA
