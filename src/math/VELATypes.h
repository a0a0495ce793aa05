// Complex element records shared by every container and kernel.
#pragma once
#include "VELAExport.h"

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

}  // namespace VELA
