// Plain scalar reference of the math kernels: the definition of what every optimised level computes.
// Built without auto-vectorisation; clarity over speed.
//
// The elementary functions are evaluated in a wider type with the C library and rounded once: float
// through double, double through long double (x87 extended, 64-bit significand). The wide results are
// far more accurate than half an ulp of the narrow type, so the reference is within about half an ulp of
// the exact value; the C library's own double functions do not all promise that (log10, erf).
#include <cmath>

#include "kernel/MathKernels.h"

namespace VELA::kern::reference {
namespace {

template <double (*F)(double)>
void MapF32(const float* s, float* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<float>(F(static_cast<double>(s[i])));
}
template <long double (*F)(long double)>
void MapF64(const double* s, double* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<double>(F(static_cast<long double>(s[i])));
}

// Named wrappers, since the <cmath> overload sets cannot be template arguments.
double Cos(double x) {
    return std::cos(x);
}
double Sin(double x) {
    return std::sin(x);
}
double Atan(double x) {
    return std::atan(x);
}
double Log10(double x) {
    return std::log10(x);
}
double Ln(double x) {
    return std::log(x);
}
double Exp(double x) {
    return std::exp(x);
}
double Erf(double x) {
    return std::erf(x);
}
long double CosL(long double x) {
    return std::cos(x);
}
long double SinL(long double x) {
    return std::sin(x);
}
long double AtanL(long double x) {
    return std::atan(x);
}
long double Log10L(long double x) {
    return std::log10(x);
}
long double LnL(long double x) {
    return std::log(x);
}
long double ExpL(long double x) {
    return std::exp(x);
}
long double ErfL(long double x) {
    return std::erf(x);
}

void Atan2F32(const float* y, const float* x, float* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<float>(std::atan2(static_cast<double>(y[i]), static_cast<double>(x[i])));
}
void Atan2F64(const double* y, const double* x, double* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] =
            static_cast<double>(std::atan2(static_cast<long double>(y[i]), static_cast<long double>(x[i])));
}
void PowxF32(const float* s, float e, float* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<float>(std::pow(static_cast<double>(s[i]), static_cast<double>(e)));
}
void PowxF64(const double* s, double e, double* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<double>(std::pow(static_cast<long double>(s[i]), static_cast<long double>(e)));
}

template <class T>
void Abs(const T* s, T* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = std::fabs(s[i]);
}
template <class T>
void Sqr(const T* s, T* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = s[i] * s[i];
}
template <class T>
void Sqrt(const T* s, T* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = std::sqrt(s[i]);
}

// The float formula where max(|re|, |im|) lies in [2^-50, 2^50] or is 0, double elsewhere (MathKernels.h).
void MagC32(const float* s, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        const float re = s[2 * i], im = s[2 * i + 1];
        const float m = std::fabs(re) > std::fabs(im) ? std::fabs(re) : std::fabs(im);
        if (m <= 0x1p50f && (m == 0.0f || m >= 0x1p-50f)) {
            d[i] = std::sqrt(re * re + im * im);
        } else {
            const double r = re, im2 = im;
            d[i] = static_cast<float>(std::sqrt(r * r + im2 * im2));
        }
    }
}
void MagC64(const double* s, double* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = std::sqrt(s[2 * i] * s[2 * i] + s[2 * i + 1] * s[2 * i + 1]);
}
template <class T>
void PowerC(const T* s, T* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = s[2 * i] * s[2 * i] + s[2 * i + 1] * s[2 * i + 1];
}
void PhaseC32(const float* s, float* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] =
            static_cast<float>(std::atan2(static_cast<double>(s[2 * i + 1]), static_cast<double>(s[2 * i])));
}
void PhaseC64(const double* s, double* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<double>(
            std::atan2(static_cast<long double>(s[2 * i + 1]), static_cast<long double>(s[2 * i])));
}

template <class T>
void SqrC(const T* s, T* d, int n) {
    for (int i = 0; i < n; ++i) {
        const T re = s[2 * i], im = s[2 * i + 1];
        d[2 * i] = re * re - im * im;
        d[2 * i + 1] = T(2) * re * im;
    }
}

// Principal root of re + i im, in double. t = sqrt((|re| + |z|) / 2) carries no cancellation; the other
// part is |im| / (2t). At zero both parts are zero with the sign of the input's imaginary part.
inline void SqrtC(double re, double im, double& outRe, double& outIm) {
    const double t = std::sqrt((std::fabs(re) + std::hypot(re, im)) * 0.5);
    const double other = t > 0 ? std::fabs(im) / (2.0 * t) : 0.0;
    if (re >= 0) {
        outRe = t;
        outIm = std::copysign(other, im);
    } else {
        outRe = other;
        outIm = std::copysign(t, im);
    }
}
void SqrtC32(const float* s, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        double re, im;
        SqrtC(s[2 * i], s[2 * i + 1], re, im);
        d[2 * i] = static_cast<float>(re);
        d[2 * i + 1] = static_cast<float>(im);
    }
}
void SqrtC64(const double* s, double* d, int n) {
    for (int i = 0; i < n; ++i)
        SqrtC(s[2 * i], s[2 * i + 1], d[2 * i], d[2 * i + 1]);
}
template <class T>
void ConjC(const T* s, T* d, int n) {
    for (int i = 0; i < n; ++i) {
        d[2 * i] = s[2 * i];
        d[2 * i + 1] = -s[2 * i + 1];
    }
}

// Reversal that also works in place: each pair (i, n-1-i) is read before either is written.
template <class T>
void Flip(const T* s, T* d, int n) {
    for (int i = 0, j = n - 1; i <= j; ++i, --j) {
        const T a = s[i], b = s[j];
        d[i] = b;
        d[j] = a;
    }
}
template <class T>
void FlipC(const T* s, T* d, int n, T imSign) {
    for (int i = 0, j = n - 1; i <= j; ++i, --j) {
        const T are = s[2 * i], aim = s[2 * i + 1], bre = s[2 * j], bim = s[2 * j + 1];
        d[2 * i] = bre;
        d[2 * i + 1] = imSign * bim;
        d[2 * j] = are;
        d[2 * j + 1] = imSign * aim;
    }
}
template <class T>
void FlipCx(const T* s, T* d, int n) {
    FlipC(s, d, n, T(1));
}
template <class T>
void ConjFlipCx(const T* s, T* d, int n) {
    FlipC(s, d, n, T(-1));
}

float DotF32(const float* a, const float* b, int n) {
    double sum = 0;
    for (int i = 0; i < n; ++i)
        sum += static_cast<double>(a[i]) * static_cast<double>(b[i]);
    return static_cast<float>(sum);
}
double DotF64(const double* a, const double* b, int n) {
    double sum = 0;
    for (int i = 0; i < n; ++i)
        sum += a[i] * b[i];
    return sum;
}

}  // namespace

extern const MathKernelTable kMathTable;
const MathKernelTable kMathTable = {
    "reference",
    MapF32<Cos>,
    MapF32<Sin>,
    MapF32<Atan>,
    Atan2F32,
    MapF32<Log10>,
    MapF32<Ln>,
    MapF32<Exp>,
    MapF32<Erf>,
    PowxF32,
    MapF64<CosL>,
    MapF64<SinL>,
    MapF64<AtanL>,
    Atan2F64,
    MapF64<Log10L>,
    MapF64<LnL>,
    MapF64<ExpL>,
    MapF64<ErfL>,
    PowxF64,
    Abs<float>,
    Abs<double>,
    Sqr<float>,
    Sqr<double>,
    Sqrt<float>,
    Sqrt<double>,
    MagC32,
    MagC64,
    PowerC<float>,
    PowerC<double>,
    PhaseC32,
    PhaseC64,
    SqrC<float>,
    SqrC<double>,
    SqrtC32,
    SqrtC64,
    ConjC<float>,
    ConjC<double>,
    Flip<float>,
    Flip<double>,
    FlipCx<float>,
    FlipCx<double>,
    ConjFlipCx<float>,
    ConjFlipCx<double>,
    DotF32,
    DotF64,
};

}  // namespace VELA::kern::reference
