// Interpolation (linear), NearestInterpolation, InterpolationFactory, and the shared scalar forms.
#include "Interpolation.h"

#include <cmath>
#include <new>

#include "internal/KnotSearch.h"
#include "internal/InterpRuns.h"

namespace VELA {

using internal::KnotLocator;
using internal::KnotTableWorthIt;
using internal::NonDecreasingNoNaN;
using internal::StrictlyAscendingNoNaN;

namespace {

// The checks every linear or nearest call makes before touching the knots: two knots at least, as
// many values as knots, and an output that is not one of the curve's own vectors.
template <class Vec>
VELAErrorCodeTag CheckCurve(const Vec& result, const Vec& x, const Vec& y) {
    if (&result == &x || &result == &y) return VELAErrorInvalidInputParameter;
    if (x.GetSize() != y.GetSize()) return VELAErrorSizeMismatch;
    if (x.GetSize() < 2) return VELAErrorInvalidInputParameter;
    return VELAErrorNone;
}

// The largest k in [0, kMax] with v[k] <= q, scanning down from the top as the rule is stated; 0 when
// none is (only a NaN query gets there, since smaller queries are handled before).
template <class T>
int ScanDown(const T* v, int kMax, T q) {
    for (int k = kMax; k >= 0; --k)
        if (v[k] <= q) return k;
    return 0;
}

template <class T, class Vec>
VELAErrorCodeTag Linear(Vec& result, const Vec& xv, const Vec& yv, const Vec& queries, const Vec& slopesv,
                        std::vector<int32_t>& index) {
    const int n = xv.GetSize();
    const int ne = queries.GetSize();
    result.Resize(ne);
    const T* x = xv.Data();
    const T* y = yv.Data();
    const T* s = slopesv.Data();
    const T* q = queries.Data();
    T* out = result.Data();
    const T first = x[0], last = x[n - 1];
    if (StrictlyAscendingNoNaN(x, n)) {
        // The rules name one segment per query: segment k (the first one from -infinity) for
        // x[k] <= q < x[k+1], and the last one, extended from x[n-1], for q >= x[n-1]. (A query at or
        // below x[0] uses the first segment's own formula.) The segment is found through the index
        // and shared by the run of queries that follow within it.
        KnotLocator<T> locator(x, n, KnotTableWorthIt(n, ne) ? &index : nullptr);
        const kern::InterpKernelTable& ik = kern::IK();
        internal::OrderSense sense;
        int k = -1;
        for (int i = 0; i < ne;) {
            if (sense.Scattered() && locator.EnsureIndex()) {
                // The same segments as below: k = n - 1 takes the last slope from x[n-1], and -1
                // (below the knots, or NaN) the first segment.
                i = sense.Block(locator, q, out, i, ne, k, [=](T v, int j) {
                    const int lo = j < 0 ? 0 : j;
                    return kern::scalar::Linear(v, x[lo], s[j < n - 1 ? lo : n - 2], y[lo]);
                });
                continue;
            }
            const T v = q[i];
            T xk, sk, yk, lower, upper;
            if (v >= last) {
                xk = last;
                sk = s[n - 2];
                yk = y[n - 1];
                lower = last;
                upper = INFINITY;
            } else {
                k = locator.FindAfter(k, v);
                k = k < 0 ? 0 : k;  // below the knots, or NaN
                xk = x[k];
                sk = s[k];
                yk = y[k];
                lower = k == 0 ? -INFINITY : x[k];
                upper = x[k + 1];
            }
            const int next = internal::LinearRun(ik, q, out, i, ne, lower, upper, xk, sk, yk);
            sense.Ran(i, next);
            i = next;
        }
        return VELAErrorNone;
    }
    for (int i = 0; i < ne; ++i) {
        const T v = q[i];
        if (v <= first) {
            out[i] = (v - first) * s[0] + y[0];
        } else if (v >= last) {
            out[i] = (v - last) * s[n - 2] + y[n - 1];
        } else {
            const int k = ScanDown(x, n - 2, v);
            out[i] = (v - x[k]) * s[k] + y[k];
        }
    }
    return VELAErrorNone;
}

template <class T, class Vec>
VELAErrorCodeTag Nearest(Vec& result, const Vec& yv, const Vec& queries, const Vec& bordersv,
                         std::vector<int32_t>& index) {
    const int n = yv.GetSize();
    const int m = n - 2;  // the last border
    const int ne = queries.GetSize();
    result.Resize(ne);
    const T* y = yv.Data();
    const T* b = bordersv.Data();
    const T* q = queries.Data();
    T* out = result.Data();
    const bool sorted = NonDecreasingNoNaN(b, m + 1);
    KnotLocator<T> locator(b, m + 1, sorted && KnotTableWorthIt(m + 1, ne) ? &index : nullptr);
    for (int i = 0; i < ne; ++i) {
        const T v = q[i];
        if (v != v) {
            out[i] = v;  // no knot is nearest to a NaN
        } else if (v < b[0]) {
            out[i] = y[0];
        } else if (v > b[m]) {
            out[i] = y[n - 1];
        } else if (v == b[m]) {
            out[i] = y[n - 2];
        } else {
            const int k = sorted ? locator.Find(v) : ScanDown(b, m, v);
            out[i] = y[k + 1];
        }
    }
    return VELAErrorNone;
}

// Runs a vector form on a one-element vector and hands back its element.
template <class T, class Vec, class Run>
VELAErrorCodeTag ScalarThroughVector(T& result, Vec& query, Vec& out, T value, Run run) {
    query.Resize(1);
    query[0] = value;
    const VELAErrorCodeTag code = run(out, query);
    if (out.GetSize() >= 1) result = out[0];
    return code;
}

}  // namespace

// ---------------------------------------------------------------- Interpolation (linear)

VELAErrorCodeTag Interpolation::Interpolate(double& result, const VecReal64& x, const VecReal64& y,
                                            const double& query) {
    result64.Resize(0);
    return ScalarThroughVector(result, query64, result64, query,
                               [&](VecReal64& out, const VecReal64& q) { return Interpolate(out, x, y, q); });
}

VELAErrorCodeTag Interpolation::Interpolate(float& result, const VecReal32& x, const VecReal32& y,
                                            float query) {
    result32.Resize(0);
    return ScalarThroughVector(result, query32, result32, query,
                               [&](VecReal32& out, const VecReal32& q) { return Interpolate(out, x, y, q); });
}

VELAErrorCodeTag Interpolation::Interpolate(VecReal64& result, const VecReal64& x, const VecReal64& y,
                                            const VecReal64& queries) {
    if (const VELAErrorCodeTag code = CheckCurve(result, x, y)) return code;
    ComputeSlope(slopes64, x, y);
    return Linear<double>(result, x, y, queries, slopes64, knotIndex);
}

VELAErrorCodeTag Interpolation::Interpolate(VecReal32& result, const VecReal32& x, const VecReal32& y,
                                            const VecReal32& queries) {
    if (const VELAErrorCodeTag code = CheckCurve(result, x, y)) return code;
    ComputeSlope(slopes32, x, y);
    return Linear<float>(result, x, y, queries, slopes32, knotIndex);
}

void Interpolation::ComputeSlope(VecReal64& result, const VecReal64& x, const VecReal64& y) {
    const int n = x.GetSize();
    result.Resize(n - 1);
    for (int i = 0; i < n - 1; ++i)
        result[i] = (y[i + 1] - y[i]) / (x[i + 1] - x[i]);
}

void Interpolation::ComputeSlope(VecReal32& result, const VecReal32& x, const VecReal32& y) {
    const int n = x.GetSize();
    result.Resize(n - 1);
    for (int i = 0; i < n - 1; ++i)
        result[i] = (y[i + 1] - y[i]) / (x[i + 1] - x[i]);
}

namespace {
template <class Vec>
bool Ascending(const Vec& x) {
    for (int i = 1; i < x.GetSize(); ++i)
        if (x[i] <= x[i - 1]) return false;  // a NaN on either side passes
    return true;
}
}  // namespace

bool Interpolation::CheckAscendingOrder(const VecReal32& x) {
    return Ascending(x);
}
bool Interpolation::CheckAscendingOrder(const VecReal64& x) {
    return Ascending(x);
}

// ---------------------------------------------------------------- NearestInterpolation

VELAErrorCodeTag NearestInterpolation::Interpolate(VecReal64& result, const VecReal64& x, const VecReal64& y,
                                                   const VecReal64& queries) {
    if (const VELAErrorCodeTag code = CheckCurve(result, x, y)) return code;
    ComputeBorder(borders64, x, y);
    return Nearest<double>(result, y, queries, borders64, knotIndex);
}

VELAErrorCodeTag NearestInterpolation::Interpolate(VecReal32& result, const VecReal32& x, const VecReal32& y,
                                                   const VecReal32& queries) {
    if (const VELAErrorCodeTag code = CheckCurve(result, x, y)) return code;
    ComputeBorder(borders32, x, y);
    return Nearest<float>(result, y, queries, borders32, knotIndex);
}

void NearestInterpolation::ComputeBorder(VecReal64& borders, const VecReal64& x, const VecReal64&) {
    const int n = x.GetSize();
    borders.Resize(n - 1);
    for (int i = 0; i < n - 1; ++i)
        borders[i] = (x[i] + x[i + 1]) * 0.5;
}

void NearestInterpolation::ComputeBorder(VecReal32& borders, const VecReal32& x, const VecReal32&) {
    const int n = x.GetSize();
    borders.Resize(n - 1);
    for (int i = 0; i < n - 1; ++i)
        borders[i] = (x[i] + x[i + 1]) * 0.5f;
}

// ---------------------------------------------------------------- InterpolationFactory

Interpolation* InterpolationFactory::MakeInterpolation(InterpolationType t) {
    type = t;
    switch (t) {
        case InterpolationLinear:
            return new (std::nothrow) Interpolation();
        case InterpolationSpline:
            return new (std::nothrow) Spline();
        case InterpolationNearest:
            return new (std::nothrow) NearestInterpolation();
        case InterpolationCubicHermite:
            return new (std::nothrow) CubicHermiteInterpolation();
    }
    return nullptr;
}

}  // namespace VELA
