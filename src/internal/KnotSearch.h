// Locating a query among sorted knots, for the interpolators.
//
// The interpolators state their interval rules in terms of a scan or a bisection (the largest k with
// x[k] <= q, and so on). On knots that are non-decreasing and free of NaN every such rule names one
// index, whatever search finds it; KnotLocator finds it in constant time and without a data-dependent
// branch for evenly spread knots, so a million queries on ten thousand knots cost a few nanoseconds
// each instead of a scan or a bisection with a mispredicted branch per level.
//
// The index divides [v[0], v[n-1]] into 2n equal buckets. The bucket of a value is
// clamp(floor((value - v[0]) * scale), 0, buckets - 1), computed the same way for knots and queries;
// every step of it is monotone in the value, so a knot in a lower bucket than the query lies below
// it and a knot in a higher bucket lies above it, whatever the rounding. The table keeps, for each
// bucket, its first knot: the answer for a query is then one before that knot plus the number of the
// bucket's knots at or below the query. The most knots any bucket holds is known once the table is
// made, so that count is a fixed number of compares (a few independent ones, or a branch-free
// bisection for crowded buckets), the same for every query.
#pragma once

#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

#include "kernel/InterpKernels.h"

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
    // few times (or on EnsureIndex): sorted queries, which FindAfter serves from the previous
    // interval, never need it.
    KnotLocator(const T* v, int n, std::vector<int32_t>* storage) : v_(v), n_(n), lazy_(storage) {}

    // Builds the bucket table in `storage`. Worth it when the number of queries is not small against n.
    void Build(std::vector<int32_t>& storage) {
        table_ = nullptr;
        if (n_ < 2 || n_ > (1 << 29)) return;
        const double lo = static_cast<double>(v_[0]);
        const double span = static_cast<double>(v_[n_ - 1]) - lo;
        if (!(span > 0) || !(span < 1e300)) return;
        // Two buckets a knot: for evenly spread knots most buckets then hold at most one knot.
        const int m = 2 * n_;
        const double scale = m / span;
        if (!std::isfinite(scale)) return;
        try {
            if (storage.size() < static_cast<size_t>(m) + 1) storage.resize(static_cast<size_t>(m) + 1);
        } catch (const std::bad_alloc&) {
            return;
        }
        origin_ = lo;
        scale_ = scale;
        top_ = m - 1;
        // First knot of each bucket (n for a bucket above the last knot's), and the most knots that
        // one bucket holds.
        int32_t* first = storage.data();
        int i = 0, most = 0;
        for (int b = 0; b < m; ++b) {
            while (i < n_ && Bucket(v_[i]) < b)
                ++i;
            first[b] = i;
        }
        first[m] = n_;
        for (int b = 0; b < m; ++b)
            most = first[b + 1] - first[b] > most ? first[b + 1] - first[b] : most;
        // The answer for a query in bucket b lies in [first[b] - 1, first[b + 1] - 1]: `most` + 1
        // candidates. A few compares count them directly; more are bisected over a power of two.
        int probes = most <= 2 ? 2 : most <= 4 ? 4 : most <= 8 ? 8 : 0;
        if (probes == 0) {
            int w = 16;
            while (w - 1 < most)
                w *= 2;
            probes = w - 1;
        }
        if (probes > n_) return;
        // A window of `probes` knots from first[b], moved down so that it ends inside the array: the
        // knots it then takes in from lower buckets lie below the query and count as they should.
        for (int b = 0; b < m; ++b)
            first[b] = first[b] < n_ - probes ? first[b] : n_ - probes;
        probes_ = probes;
        table_ = first;
    }

    // Builds the table now if the locator was given storage for one and has none yet; true when a
    // table is in use.
    bool EnsureIndex() {
        if (!table_ && lazy_) {
            Build(*lazy_);
            lazy_ = nullptr;
        }
        return table_ != nullptr;
    }
    bool Indexed() const { return table_ != nullptr; }
    // Knots compared per indexed search (2, 4 or 8 counted, or 2^k - 1 bisected); 0 without a table.
    int Probes() const { return table_ ? probes_ : 0; }

    // The largest k in [0, n-1] with v[k] <= q; -1 when q is below v[0] or NaN.
    int Find(T q) {
        if (table_) return Indexed(q);
        if (!(q >= v_[0])) return -1;
        if (q >= v_[n_ - 1]) return n_ - 1;
        if (lazy_ && ++searches_ > kLazySearches) {
            Build(*lazy_);
            lazy_ = nullptr;
            if (table_) return Indexed(q);
        }
        int lo = 0, hi = n_ - 1;  // v[lo] <= q < v[hi]
        while (hi - lo > 1) {
            const int mid = lo + (hi - lo) / 2;
            if (v_[mid] <= q)
                lo = mid;
            else
                hi = mid;
        }
        return lo;
    }

    // Find(q), trying first the interval after `k` (where the next of sorted queries usually lies).
    int FindAfter(int k, T q) {
        if (k >= 0 && k + 2 < n_ && v_[k + 1] <= q && q < v_[k + 2]) return k + 1;
        return Find(q);
    }

    // Find for each of q[0 .. count) into k[0 .. count). Needs the table (Indexed()). The queries are
    // independent of one another, so their loads overlap.
    void FindMany(const T* q, int count, int32_t* k) const {
        // Whole registers through the kernels (the same steps, so the same answers); the rest here.
        const int done = FindManyVector(q, count, k);
        q += done;
        k += done;
        count -= done;
        switch (probes_) {
            case 2:
                for (int i = 0; i < count; ++i)
                    k[i] = Count<2>(q[i]);
                break;
            case 4:
                for (int i = 0; i < count; ++i)
                    k[i] = Count<4>(q[i]);
                break;
            case 8:
                for (int i = 0; i < count; ++i)
                    k[i] = Count<8>(q[i]);
                break;
            default:
                for (int i = 0; i < count; ++i)
                    k[i] = Bisect(q[i]);
                break;
        }
    }

  private:
    static constexpr int kLazySearches = 32;

    int FindManyVector(const double* q, int count, int32_t* k) const {
        return kern::IK().knot_find_f64(q, count, v_, table_, origin_, scale_, top_, probes_, k);
    }
    int FindManyVector(const float* q, int count, int32_t* k) const {
        return kern::IK().knot_find_f32(q, count, v_, table_, origin_, scale_, top_, probes_, k);
    }

    int Bucket(T value) const {
        double t = (static_cast<double>(value) - origin_) * scale_;
        t = t > 0 ? t : 0;  // and a NaN goes to the first bucket
        t = t < top_ ? t : top_;
        return static_cast<int>(t);
    }

    // The count over the bucket's window: queries below v[0] or NaN count none (-1), queries at or
    // above v[n-1] fall in the last bucket and count up to n - 1.
    template <int P>
    int Count(T q) const {
        const T* w = v_ + table_[Bucket(q)];
        int c = static_cast<int>(w - v_) - 1;
        for (int j = 0; j < P; ++j)
            c += w[j] <= q;
        return c;
    }
    int Bisect(T q) const {
        int base = table_[Bucket(q)] - 1;
        for (int step = (probes_ + 1) / 2; step > 0; step /= 2)
            base += step & -static_cast<int>(v_[base + step] <= q);
        return base;
    }
    int Indexed(T q) const {
        switch (probes_) {
            case 2:
                return Count<2>(q);
            case 4:
                return Count<4>(q);
            case 8:
                return Count<8>(q);
            default:
                return Bisect(q);
        }
    }

    const T* v_;
    int n_;
    std::vector<int32_t>* lazy_ = nullptr;
    int searches_ = 0;
    const int32_t* table_ = nullptr;
    int probes_ = 0;
    double top_ = 0;
    double origin_ = 0, scale_ = 0;
};

// Whether building the table pays for `queries` queries on n knots (bisection costs log2(n) steps a
// query, the table about two steps a knot once).
inline bool KnotTableWorthIt(int n, int queries) {
    return n >= 32 && static_cast<int64_t>(queries) * 8 >= n;
}

}  // namespace VELA::internal
