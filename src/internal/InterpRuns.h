// Runs of queries that share one piece of a curve, for the interpolators: the run that starts at a
// query is evaluated through the vector kernels while they can take it, then element by element with
// the same scalar forms (which give the same bits). Queries in no particular order make runs of one;
// once they do for a while, they are taken in blocks instead: all the searches of a block first, then
// all the evaluations, so that the searches' loads overlap and no branch depends on the data.
#pragma once

#include <cstdint>

#include "internal/KnotSearch.h"
#include "kernel/InterpKernels.h"
#include "kernel/InterpScalar.h"

namespace VELA::internal {

// Tells a run-by-run loop when its queries have stopped forming runs, and when a block shows they
// form runs again.
class OrderSense {
  public:
    static constexpr int kBlock = 128;

    // After a run from query `from` up to `to`.
    void Ran(int from, int to) { singles_ = to == from + 1 ? singles_ + 1 : 0; }
    bool Scattered() const { return singles_ >= kScattered; }

    // Evaluates queries i .. i + kBlock (limited by ne) in a block: their intervals through
    // locator.FindMany into `k` (the raw answers: -1 below the knots or NaN, up to n - 1), then
    // out[j] = eval(q[j], k). Returns the index after the block; `last` is the last query's answer.
    // Queries are all read before results are written, so `out` may be `q`.
    template <class T, class Eval>
    int Block(const KnotLocator<T>& locator, const T* q, T* out, int i, int ne, int& last, Eval eval) {
        int32_t k[kBlock];
        const int count = ne - i < kBlock ? ne - i : kBlock;
        locator.FindMany(q + i, count, k);
        int same = 0;
        for (int j = 0; j < count; ++j) {
            out[i + j] = eval(q[i + j], k[j]);
            same += j > 0 && k[j] == k[j - 1];
        }
        last = k[count - 1];
        // Neighbours on one interval in a quarter of the block or more: back to runs.
        if (4 * same >= count) singles_ = 0;
        return i + count;
    }

  private:
    static constexpr int kScattered = 16;
    int singles_ = 0;
};

// Evaluates the run of queries that starts at q[i] and stays in [lower, upper), which holds q[i]
// unless q[i] is NaN or infinite (then q[i] alone is evaluated). `kernel(q, out, n)` evaluates a
// leading part of q[0 .. n) in [lower, upper) and returns its length; `scalar(v)` evaluates one query.
// Returns the index after the run. The next query is looked at first, so random queries (runs of
// one) cost no kernel call.
template <class T, class Kernel, class Scalar>
int EvaluateRun(const T* q, T* out, int i, int ne, T lower, T upper, Kernel kernel, Scalar scalar) {
    auto in = [lower, upper](T v) { return v >= lower && v < upper; };
    if (i + 1 < ne && in(q[i]) && in(q[i + 1])) {
        int j = i + kernel(q + i, out + i, ne - i);
        for (; j < ne && in(q[j]); ++j)
            out[j] = scalar(q[j]);
        return j;
    }
    out[i] = scalar(q[i]);
    return i + 1;
}

inline int LinearRun(const kern::InterpKernelTable& k, const double* q, double* out, int i, int ne,
                     double lower, double upper, double xk, double s, double yk) {
    return EvaluateRun(
        q, out, i, ne, lower, upper,
        [&](const double* p, double* o, int n) { return k.linear_f64(p, o, n, lower, upper, xk, s, yk); },
        [&](double v) { return kern::scalar::Linear(v, xk, s, yk); });
}
inline int LinearRun(const kern::InterpKernelTable& k, const float* q, float* out, int i, int ne, float lower,
                     float upper, float xk, float s, float yk) {
    return EvaluateRun(
        q, out, i, ne, lower, upper,
        [&](const float* p, float* o, int n) { return k.linear_f32(p, o, n, lower, upper, xk, s, yk); },
        [&](float v) { return kern::scalar::Linear(v, xk, s, yk); });
}

inline int SplineRun(const kern::InterpKernelTable& k, const double* q, double* out, int i, int ne,
                     double lower, double upper, const double* seg) {
    return EvaluateRun(
        q, out, i, ne, lower, upper,
        [&](const double* p, double* o, int n) { return k.spline_f64(p, o, n, lower, upper, seg); },
        [&](double v) { return kern::scalar::Spline(v, seg); });
}
inline int SplineRun(const kern::InterpKernelTable& k, const float* q, float* out, int i, int ne, float lower,
                     float upper, const float* seg) {
    return EvaluateRun(
        q, out, i, ne, lower, upper,
        [&](const float* p, float* o, int n) { return k.spline_f32(p, o, n, lower, upper, seg); },
        [&](float v) { return kern::scalar::Spline(v, seg); });
}

inline int HermiteRun(const kern::InterpKernelTable& k, const double* q, double* out, int i, int ne,
                      double lower, double upper, const double* c) {
    return EvaluateRun(
        q, out, i, ne, lower, upper,
        [&](const double* p, double* o, int n) { return k.hermite_f64(p, o, n, lower, upper, c); },
        [&](double v) { return kern::scalar::Hermite(v, c); });
}
inline int HermiteRun(const kern::InterpKernelTable& k, const float* q, float* out, int i, int ne,
                      float lower, float upper, const double* c) {
    return EvaluateRun(
        q, out, i, ne, lower, upper,
        [&](const float* p, float* o, int n) { return k.hermite_f32(p, o, n, lower, upper, c); },
        [&](float v) { return kern::scalar::Hermite(v, c); });
}

}  // namespace VELA::internal
