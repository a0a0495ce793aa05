// Complex element records shared by every container and kernel.
#pragma once

namespace VELA {

// Two floats, real part first: the layout of an interleaved complex sample.
struct Cplx32 {
    float re;
    float im;
};

// Two doubles, real part first.
struct Cplx64 {
    double re;
    double im;
};

}  // namespace VELA
