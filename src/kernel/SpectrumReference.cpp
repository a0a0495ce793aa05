// Plain scalar reference of the spectrum kernels: the definition of what every optimised level computes.
// Built without auto-vectorisation; clarity over speed.
#include "kernel/SpectrumKernels.h"
#include "kernel/SpectrumScalar.h"

namespace VELA::kern::reference {
namespace {

void MulF32(const float* a, const float* b, float* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = a[i] * b[i];
}

void WindowC32(const float* s, const float* w, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        d[2 * i] = s[2 * i] * w[i];
        d[2 * i + 1] = s[2 * i + 1] * w[i];
    }
}

template <class T>
void CmulCx(const T* a, const T* b, T* d, int n) {
    for (int i = 0; i < n; ++i) {
        const T ar = a[2 * i], ai = a[2 * i + 1], br = b[2 * i], bi = b[2 * i + 1];
        d[2 * i] = ar * br - ai * bi;
        d[2 * i + 1] = ar * bi + ai * br;
    }
}

void MagDbC32(const float* s, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        const float re = s[2 * i], im = s[2 * i + 1];
        const float p = spectrum::Power(re, im);
        d[i] = spectrum::FastRange(p) ? spectrum::FastDb(p) : spectrum::SlowDb(re, im);
    }
}

void WcmulC32(const float* x, const float* w, const float* c, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        const float xr = x[2 * i] * w[i], xi = x[2 * i + 1] * w[i], cr = c[2 * i], ci = c[2 * i + 1];
        d[2 * i] = xr * cr - xi * ci;
        d[2 * i + 1] = xr * ci + xi * cr;
    }
}

void CmulMagC32(const float* a, const float* b, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1], br = b[2 * i], bi = b[2 * i + 1];
        d[i] = spectrum::Magnitude(ar * br - ai * bi, ar * bi + ai * br);
    }
}

void CmulPowC32(const float* a, const float* b, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        const float ar = a[2 * i], ai = a[2 * i + 1], br = b[2 * i], bi = b[2 * i + 1];
        d[i] = spectrum::Power(ar * br - ai * bi, ar * bi + ai * br);
    }
}

}  // namespace

extern const SpectrumKernelTable kSpectrumTable;
const SpectrumKernelTable kSpectrumTable = {"reference", MulF32,   WindowC32,  CmulCx<float>, CmulCx<double>,
                                            MagDbC32,    WcmulC32, CmulMagC32, CmulPowC32};

}  // namespace VELA::kern::reference
