// Complex: single complex values.
#include "Complex.h"

#include <cmath>

namespace VELA {

Cplx32 Complex::Cplx(float re, float im) {
    return {re, im};
}
Cplx64 Complex::Cplx(double re, double im) {
    return {re, im};
}
Cplx32 Complex::Cplx(float phase) {
    return {std::cos(phase), std::sin(phase)};
}
Cplx64 Complex::Cplx(double phase) {
    return {std::cos(phase), std::sin(phase)};
}

Cplx32 Complex::Conj(const Cplx32& a) {
    return {a.re, -a.im};
}
Cplx64 Complex::Conj(const Cplx64& a) {
    return {a.re, -a.im};
}

Cplx32 Complex::MulConj(const Cplx32& a, const Cplx32& b) {
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}
Cplx64 Complex::MulConj(const Cplx64& a, const Cplx64& b) {
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

float Complex::Mag(const Cplx32& a) {
    return std::sqrt(a.re * a.re + a.im * a.im);
}
double Complex::Mag(const Cplx64& a) {
    return std::sqrt(a.re * a.re + a.im * a.im);
}
float Complex::MagSqr(const Cplx32& a) {
    return a.re * a.re + a.im * a.im;
}
double Complex::MagSqr(const Cplx64& a) {
    return a.re * a.re + a.im * a.im;
}
float Complex::Phase(const Cplx32& a) {
    return std::atan2(a.im, a.re);
}
double Complex::Phase(const Cplx64& a) {
    return std::atan2(a.im, a.re);
}

Cplx32 Complex::Recip(const Cplx32& a) {
    const float m = MagSqr(a);
    return {a.re / m, -a.im / m};
}
Cplx64 Complex::Recip(const Cplx64& a) {
    const double m = MagSqr(a);
    return {a.re / m, -a.im / m};
}

}  // namespace VELA
