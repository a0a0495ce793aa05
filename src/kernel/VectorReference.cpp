// Plain scalar reference kernels: the definition of what every optimised level must compute.
// Built without auto-vectorisation; clarity over speed.
#include <cmath>

#include "kernel/VectorKernels.h"

namespace VELA::kern::reference {
namespace {

template <class S, class D>
void Convert(const S* s, D* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<D>(s[i]);
}
template <class T>
void RealToCplx(const T* re, const T* im, T* d, int n) {
    for (int i = 0; i < n; ++i) {
        d[2 * i] = re[i];
        d[2 * i + 1] = im[i];
    }
}
template <class T>
void CplxReal(const T* s, T* out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = s[2 * i];
}
template <class T>
void CplxImag(const T* s, T* out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = s[2 * i + 1];
}

template <class T>
void Add(T* d, const T* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = d[i] + s[i];
}
template <class T>
void Sub(T* d, const T* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = d[i] - s[i];
}
template <class T>
void Mul(T* d, const T* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = d[i] * s[i];
}
template <class T>
int Div(T* d, const T* s, int n) {
    int status = kStsNoErr;
    for (int i = 0; i < n; ++i) {
        if (s[i] == T(0)) status = kStsDivByZero;
        d[i] = d[i] / s[i];
    }
    return status;
}
template <class T>
void AddCx(T* d, const T* s, int n) {
    Add(d, s, 2 * n);
}
template <class T>
void SubCx(T* d, const T* s, int n) {
    Sub(d, s, 2 * n);
}
template <class T>
void MulCx(T* d, const T* s, int n) {
    for (int i = 0; i < n; ++i) {
        T a = d[2 * i], b = d[2 * i + 1], c = s[2 * i], e = s[2 * i + 1];
        d[2 * i] = a * c - b * e;
        d[2 * i + 1] = a * e + b * c;
    }
}
template <class T>
int DivCx(T* d, const T* s, int n) {
    int status = kStsNoErr;
    for (int i = 0; i < n; ++i) {
        T a = d[2 * i], b = d[2 * i + 1], c = s[2 * i], e = s[2 * i + 1];
        if (c == T(0) && e == T(0)) status = kStsDivByZero;
        T den = c * c + e * e;
        d[2 * i] = (a * c + b * e) / den;
        d[2 * i + 1] = (b * c - a * e) / den;
    }
    return status;
}

template <class T>
void AddC(T* d, T c, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = d[i] + c;
}
template <class T>
void SubC(T* d, T c, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = d[i] - c;
}
template <class T>
void MulC(T* d, T c, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = d[i] * c;
}
template <class T>
int DivC(T* d, T c, int n) {
    if (c == T(0)) return kStsDivByZeroErr;
    for (int i = 0; i < n; ++i)
        d[i] = d[i] / c;
    return kStsNoErr;
}
template <class T>
void AddCCx(T* d, T re, T im, int n) {
    for (int i = 0; i < n; ++i) {
        d[2 * i] = d[2 * i] + re;
        d[2 * i + 1] = d[2 * i + 1] + im;
    }
}
template <class T>
void SubCCx(T* d, T re, T im, int n) {
    for (int i = 0; i < n; ++i) {
        d[2 * i] = d[2 * i] - re;
        d[2 * i + 1] = d[2 * i + 1] - im;
    }
}
template <class T>
void MulCCx(T* d, T re, T im, int n) {
    for (int i = 0; i < n; ++i) {
        T a = d[2 * i], b = d[2 * i + 1];
        d[2 * i] = a * re - b * im;
        d[2 * i + 1] = a * im + b * re;
    }
}
template <class T>
int DivCCx(T* d, T re, T im, int n) {
    if (re == T(0) && im == T(0)) return kStsDivByZeroErr;
    T den = re * re + im * im;
    for (int i = 0; i < n; ++i) {
        T a = d[2 * i], b = d[2 * i + 1];
        d[2 * i] = (a * re + b * im) / den;
        d[2 * i + 1] = (b * re - a * im) / den;
    }
    return kStsNoErr;
}

template <class T>
double SumPlane(const T* s, int n, int step, int off) {
    double t = 0;
    for (int i = 0; i < n; ++i)
        t += static_cast<double>(s[i * step + off]);
    return t;
}
double SumF32(const float* s, int n) {
    return SumPlane(s, n, 1, 0);
}
double SumF64(const double* s, int n) {
    return SumPlane(s, n, 1, 0);
}
void SumC32(const float* s, int n, double* re, double* im) {
    *re = SumPlane(s, n, 2, 0);
    *im = SumPlane(s, n, 2, 1);
}
void SumC64(const double* s, int n, double* re, double* im) {
    *re = SumPlane(s, n, 2, 0);
    *im = SumPlane(s, n, 2, 1);
}
template <class T>
double StdDev(const T* s, int n) {
    if (n <= 0) return 0;
    double mean = SumPlane(s, n, 1, 0) / n;
    double t = 0;
    for (int i = 0; i < n; ++i)
        t += (s[i] - mean) * (s[i] - mean);
    return std::sqrt(t / (n - 1));
}
float StdDevF32(const float* s, int n) {
    return static_cast<float>(StdDev(s, n));
}
double StdDevF64(const double* s, int n) {
    return StdDev(s, n);
}

template <class T, bool kMax>
T ExtremeIndex(const T* s, int n, int* index) {
    if (n <= 0) {
        if (index) *index = 0;
        return T(0);
    }
    T b = s[0];
    int k = 0;
    for (int i = 1; i < n; ++i) {
        if (kMax ? (s[i] > b) : (s[i] < b)) {
            b = s[i];
            k = i;
        }
    }
    if (index) *index = k;
    return b;
}
float MaxF32(const float* s, int n) {
    return ExtremeIndex<float, true>(s, n, nullptr);
}
float MinF32(const float* s, int n) {
    return ExtremeIndex<float, false>(s, n, nullptr);
}
double MaxF64(const double* s, int n) {
    return ExtremeIndex<double, true>(s, n, nullptr);
}
double MinF64(const double* s, int n) {
    return ExtremeIndex<double, false>(s, n, nullptr);
}

template <class T>
void ExpandCcs(T* d, int n) {
    for (int k = n / 2 + 1; k < n; ++k) {
        d[2 * k] = d[2 * (n - k)];
        d[2 * k + 1] = -d[2 * (n - k) + 1];
    }
}

}  // namespace

extern const VectorKernelTable kTable;
const VectorKernelTable kTable = {
    .name = "reference",
    .convert_f32_f64 = Convert<float, double>,
    .convert_f64_f32 = Convert<double, float>,
    .real_to_cplx_f32 = RealToCplx<float>,
    .real_to_cplx_f64 = RealToCplx<double>,
    .cplx_real_f32 = CplxReal<float>,
    .cplx_imag_f32 = CplxImag<float>,
    .cplx_real_f64 = CplxReal<double>,
    .cplx_imag_f64 = CplxImag<double>,
    .add_f32 = Add<float>,
    .sub_f32 = Sub<float>,
    .mul_f32 = Mul<float>,
    .div_f32 = Div<float>,
    .add_f64 = Add<double>,
    .sub_f64 = Sub<double>,
    .mul_f64 = Mul<double>,
    .div_f64 = Div<double>,
    .add_c32 = AddCx<float>,
    .sub_c32 = SubCx<float>,
    .mul_c32 = MulCx<float>,
    .div_c32 = DivCx<float>,
    .add_c64 = AddCx<double>,
    .sub_c64 = SubCx<double>,
    .mul_c64 = MulCx<double>,
    .div_c64 = DivCx<double>,
    .addc_f32 = AddC<float>,
    .subc_f32 = SubC<float>,
    .mulc_f32 = MulC<float>,
    .divc_f32 = DivC<float>,
    .addc_f64 = AddC<double>,
    .subc_f64 = SubC<double>,
    .mulc_f64 = MulC<double>,
    .divc_f64 = DivC<double>,
    .addc_c32 = AddCCx<float>,
    .subc_c32 = SubCCx<float>,
    .mulc_c32 = MulCCx<float>,
    .divc_c32 = DivCCx<float>,
    .addc_c64 = AddCCx<double>,
    .subc_c64 = SubCCx<double>,
    .mulc_c64 = MulCCx<double>,
    .divc_c64 = DivCCx<double>,
    .sum_f32 = SumF32,
    .sum_f64 = SumF64,
    .sum_c32 = SumC32,
    .sum_c64 = SumC64,
    .stddev_f32 = StdDevF32,
    .stddev_f64 = StdDevF64,
    .max_f32 = MaxF32,
    .min_f32 = MinF32,
    .maxindx_f32 = ExtremeIndex<float, true>,
    .minindx_f32 = ExtremeIndex<float, false>,
    .max_f64 = MaxF64,
    .min_f64 = MinF64,
    .maxindx_f64 = ExtremeIndex<double, true>,
    .minindx_f64 = ExtremeIndex<double, false>,
    .expand_ccs_c32 = ExpandCcs<float>,
    .expand_ccs_c64 = ExpandCcs<double>,
};

}  // namespace VELA::kern::reference
