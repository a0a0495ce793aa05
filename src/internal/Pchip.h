// The PCHIP routines behind CubicHermiteInterpolation, for knots and queries of float or double
// (derivatives and all arithmetic in double; only the stores into fe round to the element type).
//
// They follow the published SLATEC/PCHIP code (spline_pchip_set, spline_pchip_val, chfev) including its
// failure behaviour: messages on standard output, and for the fatal cases exit() with the routine's
// code. They live here, rather than only as private members of the class, so that the tests can drive
// the fatal paths and compare the two evaluation strategies directly.
#pragma once

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "internal/KnotSearch.h"
#include "internal/InterpRuns.h"

namespace VELA::internal::pchip {

// 0 if either argument is zero, +1 for the same sign, -1 for opposite signs.
inline double pchst(double a, double b) {
    if (a == 0.0 || b == 0.0) return 0.0;
    const double sa = a < 0.0 ? -1.0 : 1.0;
    const double sb = b < 0.0 ? -1.0 : 1.0;
    return sa * sb;
}
inline double d_max(double a, double b) {
    return a < b ? b : a;
}
inline double d_min(double a, double b) {
    return a < b ? a : b;
}
inline int i_max(int a, int b) {
    return a < b ? b : a;
}

inline void Fatal(const char* routine, const char* what, int code) {
    std::printf("\n");
    std::printf("%s - Fatal error!\n", routine);
    std::printf("%s", what);
    std::exit(code);
}

// Derivatives d[0..n-1] at the knots. Fewer than two knots end the process with exit(-1).
template <class T>
void spline_pchip_set(int n, const T* x, const T* f, double* d) {
    if (n < 2) Fatal("SPLINE_PCHIP_SET", "  Number of data points less than 2.\n", -1);
    double h1 = static_cast<double>(x[1]) - static_cast<double>(x[0]);
    double del1 = (static_cast<double>(f[1]) - static_cast<double>(f[0])) / h1;
    if (n == 2) {
        d[0] = del1;
        d[1] = del1;
        return;
    }
    double h2 = static_cast<double>(x[2]) - static_cast<double>(x[1]);
    double del2 = (static_cast<double>(f[2]) - static_cast<double>(f[1])) / h2;
    double hsum = h1 + h2;

    // First end: the three-point formula, kept to the shape of the data.
    d[0] = ((h1 + hsum) / hsum) * del1 + (-h1 / hsum) * del2;
    if (pchst(d[0], del1) <= 0.0) {
        d[0] = 0.0;
    } else if (pchst(del1, del2) < 0.0) {
        const double dmax = 3.0 * del1;
        if (std::fabs(dmax) < std::fabs(d[0])) d[0] = dmax;
    }

    // Interior: Brodlie's weighted harmonic mean of the two slopes where they agree in sign, else a
    // flat point.
    for (int i = 1; i <= n - 2; ++i) {
        if (i > 1) {
            h1 = h2;
            h2 = static_cast<double>(x[i + 1]) - static_cast<double>(x[i]);
            hsum = h1 + h2;
            del1 = del2;
            del2 = (static_cast<double>(f[i + 1]) - static_cast<double>(f[i])) / h2;
        }
        d[i] = 0.0;
        if (pchst(del1, del2) > 0.0) {
            const double hsumt3 = 3.0 * hsum;
            const double w1 = (hsum + h1) / hsumt3;
            const double w2 = (hsum + h2) / hsumt3;
            const double dmax = d_max(std::fabs(del1), std::fabs(del2));
            const double dmin = d_min(std::fabs(del1), std::fabs(del2));
            const double drat1 = del1 / dmax;
            const double drat2 = del2 / dmax;
            d[i] = dmin / (w1 * drat1 + w2 * drat2);
        }
    }

    // Last end, as the first.
    d[n - 1] = (-h2 / hsum) * del1 + ((h2 + hsum) / hsum) * del2;
    if (pchst(d[n - 1], del2) <= 0.0) {
        d[n - 1] = 0.0;
    } else if (pchst(del1, del2) < 0.0) {
        const double dmax = 3.0 * del2;
        if (std::fabs(dmax) < std::fabs(d[n - 1])) d[n - 1] = dmax;
    }
}

// The cubic of one interval [x1, x2] at xe[xeOffset .. xeOffset+ne-1] into fe[feOffset ..]; next[0]
// and next[1] count the points left and right of the interval. Returns 0, or -1 for ne < 1 and -2 for
// an interval of zero length (after printing a message).
template <class T>
int chfev(double x1, double x2, double f1, double f2, double d1, double d2, int ne, const T* xe, int xeOffset,
          T* fe, int feOffset, int* next) {
    if (ne < 1) {
        std::printf("\n");
        std::printf("CHFEV - Fatal error!\n");
        std::printf("  Number of evaluation points is less than 1.\n");
        std::printf("  NE = %d\n", ne);
        return -1;
    }
    const double h = x2 - x1;
    if (h == 0.0) {
        std::printf("\n");
        std::printf("CHFEV - Fatal error!\n");
        std::printf("  The interval [X1,X2] is of zero length.\n");
        return -2;
    }
    next[0] = 0;
    next[1] = 0;
    const double xmi = d_min(0.0, h);
    const double xma = d_max(0.0, h);
    const double delta = (f2 - f1) / h;
    const double del1 = (d1 - delta) / h;
    const double del2 = (d2 - delta) / h;
    const double c2 = -(del1 + del1 + del2);
    const double c3 = (del1 + del2) / h;
    for (int i = 0; i < ne; ++i) {
        const double t = static_cast<double>(xe[xeOffset + i]) - x1;
        fe[feOffset + i] = static_cast<T>(f1 + t * (d1 + t * (c2 + t * c3)));
        if (t < xmi) next[0] = next[0] + 1;
        if (xma < t) next[1] = next[1] + 1;
    }
    return 0;
}

// The interval walk of the published code: queries need not be sorted; the walk backs up when a batch
// holds a query left of the current interval. Indices in the comments are 1-based, as in the loop.
// Preconditions (checked by spline_pchip_val): n >= 2, ne >= 1.
template <class T>
void PchipWalk(int n, const T* x, const T* f, const double* d, int ne, const T* xe, T* fe) {
    int next[2] = {0, 0};
    int jFirst = 1;
    int ir = 2;
    while (jFirst <= ne && ir <= n) {
        // The batch: from jFirst up to the first query at or right of x(ir); the last interval takes
        // every remaining query.
        int j = ne + 1;
        for (int k = jFirst; k <= ne; ++k)
            if (x[ir - 1] <= xe[k - 1]) {
                j = ir == n ? ne + 1 : k;
                break;
            }
        const int nj = j - jFirst;
        if (nj != 0) {
            const int ierc = chfev(static_cast<double>(x[ir - 2]), static_cast<double>(x[ir - 1]),
                                   static_cast<double>(f[ir - 2]), static_cast<double>(f[ir - 1]), d[ir - 2],
                                   d[ir - 1], nj, xe, jFirst - 1, fe, jFirst - 1, next);
            if (ierc < 0) Fatal("SPLINE_PCHIP_VAL", "  Error return from CHFEV.\n", -5);
            // Queries right of x(ir) can only have been in the batch of the last interval.
            if (next[1] != 0 && ir < n) Fatal("SPLINE_PCHIP_VAL", "  IR < N.\n", -5);
            if (next[0] != 0 && ir > 2) {
                // A query left of x(ir-1): restart from the first such query, on its own interval.
                int jNew = -1;
                for (int i = jFirst; i <= j - 1; ++i)
                    if (xe[i - 1] < x[ir - 2]) {
                        jNew = i;
                        break;
                    }
                if (jNew == -1) Fatal("SPLINE_PCHIP_VAL", "  Could not bracket the data point.\n", -5);
                j = jNew;
                int i = 1;
                for (; i <= ir - 1; ++i)
                    if (xe[j - 1] < x[i - 1]) break;
                // Either xe(j) < x(1) or x(i-1) <= xe(j) < x(i); ir is raised by one below.
                ir = i_max(1, i - 1);
            }
            jFirst = j;
        }
        ++ir;
    }
}

// The same values as PchipWalk: on strictly ascending knots without NaN, every query of the walk
// ends up evaluated on the interval of the largest knot at or below it (the first interval below the
// knots, the last one from x(n-1) on), with the arithmetic of chfev. Here each query's interval is
// found through the bucket index, and runs of queries that share an interval are evaluated together.
// When there are many queries, the interval coefficients are made once each into `coefficients`
// (the caller's storage; may be null) instead of once per run.
template <class T>
void PchipDirect(int n, const T* x, const T* f, const double* d, int ne, const T* xe, T* fe,
                 std::vector<int32_t>* index, std::vector<double>* coefficients = nullptr) {
    KnotLocator<T> locator(x, n, KnotTableWorthIt(n, ne) ? index : nullptr);
    // chfev's coefficients of interval k: c2 and c3 (x1, f1 and d1 are the knot's own).
    auto make = [&](int k, double& c2, double& c3) {
        const double x1 = static_cast<double>(x[k]);
        const double h = static_cast<double>(x[k + 1]) - x1;
        const double delta = (static_cast<double>(f[k + 1]) - static_cast<double>(f[k])) / h;
        const double del1 = (d[k] - delta) / h;
        const double del2 = (d[k + 1] - delta) / h;
        c2 = -(del1 + del1 + del2);
        c3 = (del1 + del2) / h;
    };
    const double* table = nullptr;
    if (coefficients && ne >= n) {
        try {
            coefficients->resize(2 * static_cast<size_t>(n));
            for (int k = 0; k + 1 < n; ++k)
                make(k, (*coefficients)[2 * static_cast<size_t>(k)],
                     (*coefficients)[2 * static_cast<size_t>(k) + 1]);
            table = coefficients->data();
        } catch (const std::bad_alloc&) {
            table = nullptr;
        }
    }
    const kern::InterpKernelTable& ik = kern::IK();
    // The cubic of interval k, as chfev has it.
    auto cubic = [&](int k, double* c) {
        c[0] = static_cast<double>(x[k]);
        c[1] = static_cast<double>(f[k]);
        c[2] = d[k];
        if (table) {
            c[3] = table[2 * static_cast<size_t>(k)];
            c[4] = table[2 * static_cast<size_t>(k) + 1];
        } else {
            make(k, c[3], c[4]);
        }
    };
    OrderSense sense;
    int k = -1;
    for (int i = 0; i < ne;) {
        if (sense.Scattered() && locator.EnsureIndex()) {
            i = sense.Block(locator, xe, fe, i, ne, k, [&](T q, int j) {
                double c[5];
                cubic(j < 0 ? 0 : j > n - 2 ? n - 2 : j, c);
                return kern::scalar::Hermite(q, c);
            });
            continue;
        }
        const T q = xe[i];
        k = locator.FindAfter(k, q);
        k = k < 0 ? 0 : k > n - 2 ? n - 2 : k;  // NaN: any interval gives NaN
        double c[5];
        cubic(k, c);
        const T lower = k == 0 ? -INFINITY : x[k];
        const T upper = k == n - 2 ? INFINITY : x[k + 1];
        const int next = HermiteRun(ik, xe, fe, i, ne, lower, upper, c);
        sense.Ran(i, next);
        i = next;
    }
}

// Values at ne queries. Fewer than two knots end the process with exit(-1); no queries print a message
// and return. `index` and `coefficients` (either may be null) are the caller's storage for the bucket
// index and the interval coefficients.
template <class T>
void spline_pchip_val(int n, const T* x, const T* f, const double* d, int ne, const T* xe, T* fe,
                      std::vector<int32_t>* index, std::vector<double>* coefficients = nullptr) {
    if (n < 2) Fatal("SPLINE_PCHIP_VAL", "  Number of data points less than 2.\n", -1);
    if (ne < 1) {
        std::printf("\n");
        std::printf("SPLINE_PCHIP_VAL - Fatal error!\n");
        std::printf("  Number of evaluation points less than 1.\n");
        return;
    }
    if (StrictlyAscendingNoNaN(x, n))
        PchipDirect(n, x, f, d, ne, xe, fe, index, coefficients);
    else
        PchipWalk(n, x, f, d, ne, xe, fe);
}

}  // namespace VELA::internal::pchip
