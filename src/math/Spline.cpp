// Spline: the tridiagonal set-up of the second derivatives and the bracketed evaluation.
#include <cmath>
#include <new>
#include <vector>

#include "Interpolation.h"
#include "internal/KnotSearch.h"
#include "internal/InterpRuns.h"

namespace VELA {

using internal::KnotTableWorthIt;
using internal::StrictlyAscendingNoNaN;

namespace {

// The second derivatives y2 of the spline through (x, y). A start or end derivative above `threshold`
// leaves that end free. `u` is the scratch row of n elements. The float form keeps the elements in
// float as they are stored; its intermediate products follow the usual promotions.
template <class T>
void SolveSecondDerivatives(int n, const T* x, const T* y, T* y2, T* u, double threshold, double start,
                            double end) {
    if (start > threshold) {
        y2[0] = u[0] = 0;
    } else {
        y2[0] = static_cast<T>(-0.5);
        u[0] = static_cast<T>((3.0 / (x[1] - x[0])) * ((y[1] - y[0]) / (x[1] - x[0]) - start));
    }
    for (int i = 1; i <= n - 2; ++i) {
        const T sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i - 1]);
        const T p = static_cast<T>(sig * y2[i - 1] + 2.0);
        y2[i] = static_cast<T>((sig - 1.0) / p);
        u[i] = (y[i + 1] - y[i]) / (x[i + 1] - x[i]) - (y[i] - y[i - 1]) / (x[i] - x[i - 1]);
        u[i] = static_cast<T>((6.0 * u[i] / (x[i + 1] - x[i - 1]) - sig * u[i - 1]) / p);
    }
    double qn, un;
    if (end > threshold) {
        qn = un = 0.0;
    } else {
        qn = 0.5;
        un = (3.0 / (x[n - 1] - x[n - 2])) * (end - (y[n - 1] - y[n - 2]) / (x[n - 1] - x[n - 2]));
    }
    y2[n - 1] = static_cast<T>((un - qn * u[n - 2]) / (qn * y2[n - 2] + 1.0));
    for (int k = n - 2; k >= 0; --k)
        y2[k] = y2[k] * y2[k + 1] + u[k];
}

// Grows `row` to at least n elements; false when memory is exhausted.
template <class T>
bool Grow(std::vector<T>& row, int n) {
    try {
        if (row.size() < static_cast<size_t>(n)) row.resize(static_cast<size_t>(n));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// The cubic of the bracket [lo, hi] at q; a bracket of zero width gives y[hi].
template <class T>
T Cubic(const T* x, const T* y, const T* y2, int lo, int hi, T q) {
    if (x[hi] - x[lo] == 0) return y[hi];
    const T seg[6] = {x[lo], x[hi], y[lo], y[hi], y2[lo], y2[hi]};
    return kern::scalar::Spline(q, seg);
}

}  // namespace

bool Spline::SplineInit(int n, const float* x, const float* y, float* secondDerivatives) {
    float* u = VELAAllocReal32(n);
    if (!u) return false;
    SolveSecondDerivatives(n, x, y, secondDerivatives, u, naturalThreshold, firstDerivativeStart,
                           firstDerivativeEnd);
    VELADelete(u);
    bracketLow = bracketHigh = 0;
    return true;
}

bool Spline::SplineInit(int n, const double* x, const double* y, double* secondDerivatives) {
    double* u = VELAAllocReal64(n);
    if (!u) return false;
    SolveSecondDerivatives(n, x, y, secondDerivatives, u, naturalThreshold, firstDerivativeStart,
                           firstDerivativeEnd);
    VELADelete(u);
    bracketLow = bracketHigh = 0;
    return true;
}

// The stated evaluation: the previous bracket, widened, if it still holds the query, else all the
// knots; then bisection down to one interval.
template <class T>
T Spline::SplintAt(int n, const T* x, const T* y, const T* y2, T q) {
    // A bracket left by a call on more knots is no bracket for these.
    if (bracketLow < 0 || bracketHigh > n - 1 || bracketLow > bracketHigh) bracketLow = bracketHigh = 0;
    int lo = bracketLow, hi = bracketHigh;
    if (lo != 0 || hi != lo) {
        // Widen the previous bracket.
        if (hi < n - 2) {
            hi += 2;
        } else {
            lo = lo <= 2 ? 0 : lo - 2;
            hi = n - 1;
        }
    } else {
        hi = n - 1;
    }
    if (!(q == x[lo] || (q > x[lo] && q <= x[hi]))) {
        lo = 0;
        hi = n - 1;
    }
    while (hi - lo > 1) {
        const int k = (hi + lo) / 2;
        if (x[k] > q)
            hi = k;
        else
            lo = k;
    }
    bracketLow = lo;
    bracketHigh = hi;
    return Cubic(x, y, y2, lo, hi, q);
}

// On strictly ascending knots without NaN the value at a query does not depend on the bracket the
// evaluation above arrives at: inside an interval every path ends on that interval, and at a knot
// both neighbouring cubics give the knot's value exactly (a or b is exactly 0 and the other exactly
// 1). So the queries are evaluated here on the interval of the largest knot at or below them (the
// first interval below the knots, the last from x[n-2] on, the last for a NaN), found through the
// bucket index, in runs that share an interval. The bracket is left on the last query's interval.
template <class T>
void Spline::SplintRuns(int n, const T* x, const T* y, const T* y2, int ne, const T* q, T* out) {
    internal::KnotLocator<T> locator(x, n, KnotTableWorthIt(n, ne) ? &knotIndex : nullptr);
    const kern::InterpKernelTable& ik = kern::IK();
    // The interval of a query from the locator's answer j.
    auto interval = [n](T v, int j) { return v != v ? n - 2 : j < 0 ? 0 : j > n - 2 ? n - 2 : j; };
    internal::OrderSense sense;
    int k = 0;
    for (int i = 0; i < ne;) {
        if (sense.Scattered() && locator.EnsureIndex()) {
            int last = 0;
            i = sense.Block(locator, q, out, i, ne, last, [=, &k](T v, int j) {
                k = interval(v, j);
                const T seg[6] = {x[k], x[k + 1], y[k], y[k + 1], y2[k], y2[k + 1]};
                return kern::scalar::Spline(v, seg);
            });
            continue;
        }
        const T v = q[i];
        k = interval(v, v != v ? n - 2 : locator.FindAfter(k, v));
        const T seg[6] = {x[k], x[k + 1], y[k], y[k + 1], y2[k], y2[k + 1]};
        const T lower = k == 0 ? -INFINITY : x[k];
        const T upper = k == n - 2 ? INFINITY : x[k + 1];
        const int next = internal::SplineRun(ik, q, out, i, ne, lower, upper, seg);
        sense.Ran(i, next);
        i = next;
    }
    if (ne > 0) {
        bracketLow = k;
        bracketHigh = k + 1;
    }
}

float Spline::Splint(int n, const float* x, const float* y, const float* secondDerivatives, float query) {
    return SplintAt<float>(n, x, y, secondDerivatives, query);
}

double Spline::Splint(int n, const double* x, const double* y, const double* secondDerivatives,
                      double query) {
    return SplintAt<double>(n, x, y, secondDerivatives, query);
}

template <class T, class Vec>
VELAErrorCodeTag Spline::InterpolateVector(Vec& result, const Vec& x, const Vec& y, const Vec& queries) {
    if (&result == &x || &result == &y) return VELAErrorInvalidInputParameter;
    const int ne = queries.GetSize();
    result.Resize(ne);
    const int n = x.GetSize();
    if (n != y.GetSize()) return VELAErrorSizeMismatch;
    if (n < 2) return VELAErrorInvalidInputParameter;
    // The object's rows, grown when needed, with the codes of the set-up's own allocations.
    std::vector<T>& y2Row = SecondDerivativeRow<T>();
    std::vector<T>& uRow = SetupRow<T>();
    if (!Grow(y2Row, n)) return VELAErrorSizeMismatch;
    if (!Grow(uRow, n)) return VELAErrorMemoryAlloc;
    T* y2 = y2Row.data();
    SolveSecondDerivatives(n, x.Data(), y.Data(), y2, uRow.data(), naturalThreshold, firstDerivativeStart,
                           firstDerivativeEnd);
    bracketLow = bracketHigh = 0;
    const T* xs = x.Data();
    const T* ys = y.Data();
    const T* q = queries.Data();
    T* out = result.Data();
    if (StrictlyAscendingNoNaN(xs, n)) {
        SplintRuns<T>(n, xs, ys, y2, ne, q, out);
    } else {
        for (int i = 0; i < ne; ++i)
            out[i] = SplintAt<T>(n, xs, ys, y2, q[i]);
    }
    return VELAErrorNone;
}

template <>
std::vector<double>& Spline::SecondDerivativeRow<double>() {
    return secondDerivatives64;
}
template <>
std::vector<float>& Spline::SecondDerivativeRow<float>() {
    return secondDerivatives32;
}
template <>
std::vector<double>& Spline::SetupRow<double>() {
    return setupRow64;
}
template <>
std::vector<float>& Spline::SetupRow<float>() {
    return setupRow32;
}

VELAErrorCodeTag Spline::Interpolate(VecReal64& result, const VecReal64& x, const VecReal64& y,
                                     const VecReal64& queries) {
    return InterpolateVector<double>(result, x, y, queries);
}

VELAErrorCodeTag Spline::Interpolate(VecReal32& result, const VecReal32& x, const VecReal32& y,
                                     const VecReal32& queries) {
    return InterpolateVector<float>(result, x, y, queries);
}

VELAErrorCodeTag Spline::Interpolate(double& result, const VecReal64& x, const VecReal64& y,
                                     const double& query) {
    splineQuery64.Resize(1);
    splineQuery64[0] = query;
    splineResult64.Resize(0);
    const VELAErrorCodeTag code = Interpolate(splineResult64, x, y, splineQuery64);
    if (splineResult64.GetSize() >= 1) result = splineResult64[0];
    return code;
}

VELAErrorCodeTag Spline::Interpolate(float& result, const VecReal32& x, const VecReal32& y, float query) {
    splineQuery32.Resize(1);
    splineQuery32[0] = query;
    splineResult32.Resize(0);
    const VELAErrorCodeTag code = Interpolate(splineResult32, x, y, splineQuery32);
    if (splineResult32.GetSize() >= 1) result = splineResult32[0];
    return code;
}

bool Spline::MakeSplineTable(VecReal32& table, const VecReal32& y, const VecReal32& x) {
    const int n = x.GetSize();
    if (n < 2 || y.GetSize() != n || &table == &x || &table == &y) return false;
    table.Resize(n);
    return SplineInit(n, x.Data(), y.Data(), table.Data());
}

float Spline::Interpolate(float query, const VecReal32& y, const VecReal32& x, const VecReal32& table) {
    const int n = x.GetSize();
    if (n < 2 || y.GetSize() < n || table.GetSize() < n) return NAN;
    return Splint(n, x.Data(), y.Data(), table.Data(), query);
}

bool Spline::Interpolate(VecReal32& result, const VecReal32& queries, const VecReal32& y, const VecReal32& x,
                         const VecReal32& table) {
    const int n = x.GetSize();
    const int ne = queries.GetSize();
    const bool usable = n >= 2 && y.GetSize() >= n && table.GetSize() >= n && &result != &x &&
                        &result != &y && &result != &table;
    if (!usable) {
        if (&result != &x && &result != &y && &result != &table) {
            result.Resize(ne);
            for (int i = 0; i < ne; ++i)
                result[i] = NAN;
        }
        return true;
    }
    result.Resize(ne);
    const float* xs = x.Data();
    const float* q = queries.Data();
    float* out = result.Data();
    if (StrictlyAscendingNoNaN(xs, n)) {
        SplintRuns<float>(n, xs, y.Data(), table.Data(), ne, q, out);
    } else {
        for (int i = 0; i < ne; ++i)
            out[i] = SplintAt<float>(n, xs, y.Data(), table.Data(), q[i]);
    }
    return true;
}

}  // namespace VELA
