// The interpolation family of kernels: one piece of an interpolating curve evaluated at a run of
// queries that share it. The interpolators find the piece of a query, and while the queries that
// follow stay within the piece's range [lower, upper) (all of them when the queries are sorted, a
// hundred at a time for 1M queries on 10k knots) a kernel evaluates them a register at a time. See
// Dispatch.h for how the levels are built and chosen.
//
// Each kernel evaluates the leading queries of q[0 .. n) that lie in [lower, upper) (ordered
// comparisons: a NaN is outside) and returns how many that is: the length of the run, limited by n.
// The reference level evaluates none and returns 0, leaving every query to the scalar forms of
// InterpScalar.h, which are the definition; callers finish what a kernel leaves with those forms.
//
// Every level performs exactly the scalar forms' operations in their order with no fused multiply-
// add, so all levels agree bit for bit. `out` may be `q` itself.
#pragma once

#include <cstdint>

#include "kernel/Dispatch.h"

namespace VELA::kern {

struct InterpKernelTable {
    const char* name;

    // Straight segment: out = (q - xk) * s + yk, in the element type.
    int (*linear_f64)(const double* q, double* out, int n, double lower, double upper, double xk, double s,
                      double yk);
    int (*linear_f32)(const float* q, float* out, int n, float lower, float upper, float xk, float s,
                      float yk);

    // Cubic spline on one bracket, seg = {xl, xh, yl, yh, y2l, y2h} with xh != xl:
    //   h = xh - xl; a = (xh - q) / h; b = (q - xl) / h;
    //   out = a yl + b yh + ((a^3 - a) y2l + (b^3 - b) y2h) (h h) / 6.0.
    // In the float form h, a, b, the two sums and the product with h h are floats; the division by
    // 6.0 and the last addition are in double, rounded to float at the end.
    int (*spline_f64)(const double* q, double* out, int n, double lower, double upper, const double* seg);
    int (*spline_f32)(const float* q, float* out, int n, float lower, float upper, const float* seg);

    // Hermite cubic, c = {x1, f1, d1, c2, c3}: t = q - x1; out = f1 + t (d1 + t (c2 + t c3)), in
    // double (the float form widens q and rounds the result).
    int (*hermite_f64)(const double* q, double* out, int n, double lower, double upper, const double* c);
    int (*hermite_f32)(const float* q, float* out, int n, float lower, float upper, const double* c);

    // The bucket search of the interpolators' knot index (internal/KnotSearch.h) for the leading queries
    // of q[0 .. n), a register at a time; returns how many (the AVX-512 level only; the others none), the
    // caller searches the rest. For each query: b = clamp(floor((q - origin) * scale), 0, top) in double (0
    // for a NaN), w = table[b]; then with probes 2, 4 or 8 the answer is w - 1 plus the count of v[w .. w +
    // probes) at or below q, otherwise (probes = 2^m - 1) the branch-free bisection from w - 1 in steps
    // (probes + 1) / 2,
    // ..., 1 that adds a step where v[base + step] <= q. Comparisons in the knots' type.
    int (*knot_find_f64)(const double* q, int n, const double* v, const int32_t* table, double origin,
                         double scale, double top, int probes, int32_t* k);
    int (*knot_find_f32)(const float* q, int n, const float* v, const int32_t* table, double origin,
                         double scale, double top, int probes, int32_t* k);
};

// The table of the active level.
const InterpKernelTable& IK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const InterpKernelTable* InterpTableFor(Variant v) noexcept;

}  // namespace VELA::kern
