// CubicHermiteInterpolation: the vector forms and the owned derivative array; the PCHIP routines
// themselves are in internal/Pchip.h.
#include <algorithm>
#include <new>

#include "Interpolation.h"
#include "internal/Pchip.h"

namespace VELA {

CubicHermiteInterpolation::CubicHermiteInterpolation(const CubicHermiteInterpolation& other)
    : Interpolation(other), intervalCoefficients(other.intervalCoefficients) {
    if (other.derivativesCapacity > 0) {
        derivatives = new double[static_cast<size_t>(other.derivativesCapacity)];
        std::copy(other.derivatives, other.derivatives + other.derivativesCapacity, derivatives);
        derivativesCapacity = other.derivativesCapacity;
    }
}

CubicHermiteInterpolation& CubicHermiteInterpolation::operator=(const CubicHermiteInterpolation& other) {
    if (this == &other) return *this;
    double* copy = nullptr;
    if (other.derivativesCapacity > 0) {
        copy = new double[static_cast<size_t>(other.derivativesCapacity)];
        std::copy(other.derivatives, other.derivatives + other.derivativesCapacity, copy);
    }
    Interpolation::operator=(other);
    intervalCoefficients = other.intervalCoefficients;
    delete[] derivatives;
    derivatives = copy;
    derivativesCapacity = other.derivativesCapacity;
    return *this;
}

CubicHermiteInterpolation::~CubicHermiteInterpolation() {
    delete[] derivatives;
}

template <class T, class Vec>
VELAErrorCodeTag CubicHermiteInterpolation::InterpolateVector(Vec& result, const Vec& x, const Vec& y,
                                                              const Vec& queries) {
    if (!CheckAscendingOrder(x)) VELA_THROW(VELAErrorInvalidInputParameter);
    if (&result == &x || &result == &y) return VELAErrorInvalidInputParameter;
    if (y.GetSize() != x.GetSize()) return VELAErrorSizeMismatch;
    const int n = x.GetSize();
    const int ne = queries.GetSize();
    // The walk of spline_pchip_val (used on knots with a NaN) reads queries again after writing
    // results: evaluating in place needs the queries kept apart.
    Vec kept;
    const Vec* q = &queries;
    if (&result == &queries && !internal::StrictlyAscendingNoNaN(x.Data(), n)) {
        kept = queries;
        q = &kept;
    }
    result.Resize(ne);
    if (n > derivativesCapacity) {
        delete[] derivatives;
        derivatives = new (std::nothrow) double[static_cast<size_t>(n)];
        derivativesCapacity = derivatives ? n : 0;
        if (!derivatives) return VELAErrorMemoryAlloc;
    }
    spline_pchip_set(n, x.Data(), y.Data(), derivatives);
    spline_pchip_val(n, x.Data(), y.Data(), derivatives, ne, q->Data(), result.Data(), &knotIndex,
                     &intervalCoefficients);
    return VELAErrorNone;
}

VELAErrorCodeTag CubicHermiteInterpolation::Interpolate(VecReal64& result, const VecReal64& x,
                                                        const VecReal64& y, const VecReal64& queries) {
    return InterpolateVector<double>(result, x, y, queries);
}

VELAErrorCodeTag CubicHermiteInterpolation::Interpolate(VecReal32& result, const VecReal32& x,
                                                        const VecReal32& y, const VecReal32& queries) {
    return InterpolateVector<float>(result, x, y, queries);
}

void CubicHermiteInterpolation::spline_pchip_set(int n, const double* x, const double* y, double* d) {
    internal::pchip::spline_pchip_set(n, x, y, d);
}
void CubicHermiteInterpolation::spline_pchip_set(int n, const float* x, const float* y, double* d) {
    internal::pchip::spline_pchip_set(n, x, y, d);
}
void CubicHermiteInterpolation::spline_pchip_val(int n, const double* x, const double* y, const double* d,
                                                 int ne, const double* xe, double* fe,
                                                 std::vector<int32_t>* index,
                                                 std::vector<double>* coefficients) {
    internal::pchip::spline_pchip_val(n, x, y, d, ne, xe, fe, index, coefficients);
}
void CubicHermiteInterpolation::spline_pchip_val(int n, const float* x, const float* y, const double* d,
                                                 int ne, const float* xe, float* fe,
                                                 std::vector<int32_t>* index,
                                                 std::vector<double>* coefficients) {
    internal::pchip::spline_pchip_val(n, x, y, d, ne, xe, fe, index, coefficients);
}
int CubicHermiteInterpolation::chfev(double x1, double x2, double f1, double f2, double d1, double d2, int ne,
                                     const double* xe, int xeOffset, double* fe, int feOffset, int* next) {
    return internal::pchip::chfev(x1, x2, f1, f2, d1, d2, ne, xe, xeOffset, fe, feOffset, next);
}
int CubicHermiteInterpolation::chfev(double x1, double x2, double f1, double f2, double d1, double d2, int ne,
                                     const float* xe, int xeOffset, float* fe, int feOffset, int* next) {
    return internal::pchip::chfev(x1, x2, f1, f2, d1, d2, ne, xe, xeOffset, fe, feOffset, next);
}
double CubicHermiteInterpolation::pchst(double a, double b) {
    return internal::pchip::pchst(a, b);
}

}  // namespace VELA
