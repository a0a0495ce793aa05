// Locating a query among sorted knots, for the interpolators.
//
// The interpolators state their interval rules in terms of a scan or a bisection (the largest k with
// x[k] <= q, and so on). On knots that are non-decreasing and free of NaN every such rule names one
// index, whatever search finds it; KnotLocator finds it in constant time for evenly spread knots, so a
// million queries on ten thousand knots cost a few nanoseconds each instead of a scan or a bisection
// with a mispredicted branch per level.
//
// The locator divides [v[0], v[n-1]] into 2n equal buckets and keeps, for each bucket edge, the largest
// index whose knot lies at or below it. A query's bucket then bounds the answer; a short bisection
// inside the bucket and a final check of both neighbours make the result exact whatever the rounding
// of the bucket arithmetic. Uneven knots only make the in-bucket bisection longer.
#pragma once

#include <cstdint>
#include <new>
#include <vector>

namespace VELA::internal {

// True when v[0] <= v[1] <= ... and no element is NaN (a NaN fails every comparison).
template <class T>
bool NonDecreasingNoNaN(const T* v, int n) {
    for (int i = 0; i < n; ++i)
        if (v[i] != v[i]) return false;
    for (int i = 1; i < n; ++i)
        if (!(v[i - 1] <= v[i])) return false;
    return true;
}

// True when v[0] < v[1] < ... and no element is NaN.
template <class T>
bool StrictlyAscendingNoNaN(const T* v, int n) {
    for (int i = 0; i < n; ++i)
        if (v[i] != v[i]) return false;
    for (int i = 1; i < n; ++i)
        if (!(v[i - 1] < v[i])) return false;
    return true;
}

// Search over a non-decreasing array without NaN. The bucket table lives in storage that the caller
// keeps (so repeated calls allocate nothing once it has grown); without a table (Build not called, or
// its allocation failed) Find bisects the whole array.
template <class T>
class KnotLocator {
  public:
    KnotLocator(const T* v, int n) : v_(v), n_(n) {}
    // With `storage` (may be null), the bucket table is built there once Find has had to search a
    // few times: sorted queries, which FindAfter serves from the previous interval, never need it.
    KnotLocator(const T* v, int n, std::vector<int32_t>* storage) : v_(v), n_(n), lazy_(storage) {}

    // Builds the bucket table in `storage`. Worth it when the number of queries is not small against n.
    void Build(std::vector<int32_t>& storage) {
        table_ = nullptr;
        if (n_ < 2 || n_ > (1 << 29)) return;
        const double lo = static_cast<double>(v_[0]);
        const double span = static_cast<double>(v_[n_ - 1]) - lo;
        if (!(span > 0) || !(span < 1e300)) return;
        // Two buckets a knot: for evenly spread knots most buckets then hold at most one knot, and
        // the search inside a bucket is a step or two without a branch.
        const int m = 2 * n_;
        try {
            if (storage.size() < static_cast<size_t>(m) + 1) storage.resize(static_cast<size_t>(m) + 1);
        } catch (const std::bad_alloc&) {
            return;
        }
        const double width = span / m;
        int k = 0;
        for (int b = 0; b <= m; ++b) {
            const double edge = b == m ? static_cast<double>(v_[n_ - 1]) : lo + b * width;
            while (k + 1 < n_ && static_cast<double>(v_[k + 1]) <= edge)
                ++k;
            storage[static_cast<size_t>(b)] = k;
        }
        table_ = storage.data();
        buckets_ = m;
        origin_ = lo;
        scale_ = m / span;
    }

    // The largest k in [0, n-1] with v[k] <= q; -1 when q is below v[0] or NaN.
    int Find(T q) {
        if (!(q >= v_[0])) return -1;
        if (q >= v_[n_ - 1]) return n_ - 1;
        if (lazy_ && ++searches_ > kLazySearches) {
            Build(*lazy_);
            lazy_ = nullptr;
        }
        int lo = 0, hi = n_ - 1;
        if (table_) {
            const double t = (static_cast<double>(q) - origin_) * scale_;
            const int b = t < 0 ? 0 : t >= buckets_ ? buckets_ - 1 : static_cast<int>(t);
            lo = table_[b];
            hi = table_[b + 1];
        }
        // Largest k in [lo, hi] with v[k] <= q (or lo when none is): bisect down to two candidates,
        // then step without branching.
        while (hi - lo > 2) {
            const int mid = lo + (hi - lo) / 2;
            if (v_[mid] <= q)
                lo = mid;
            else
                hi = mid - 1;
        }
        for (int step = 0; step < 2; ++step) {
            const int next = lo + (lo < hi);
            lo += (next != lo) & (v_[next] <= q);
        }
        // The bucket arithmetic is rounded: settle the last step by looking at the neighbours.
        while (lo > 0 && v_[lo] > q)
            --lo;
        while (lo + 1 < n_ && v_[lo + 1] <= q)
            ++lo;
        return lo;
    }

    // Find(q), trying first the interval after `k` (where the next of sorted queries usually lies).
    int FindAfter(int k, T q) {
        if (k >= 0 && k + 2 < n_ && v_[k + 1] <= q && q < v_[k + 2]) return k + 1;
        return Find(q);
    }

  private:
    static constexpr int kLazySearches = 32;

    const T* v_;
    int n_;
    std::vector<int32_t>* lazy_ = nullptr;
    int searches_ = 0;
    const int32_t* table_ = nullptr;
    int buckets_ = 0;
    double origin_ = 0, scale_ = 0;
};

// Whether building the table pays for `queries` queries on n knots (bisection costs log2(n) steps a
// query, the table about two steps a knot once).
inline bool KnotTableWorthIt(int n, int queries) {
    return n >= 32 && static_cast<int64_t>(queries) * 8 >= n;
}

}  // namespace VELA::internal
