// Checks shared by the self-tests of the filter family.
#pragma once

#include <cmath>

#include "../dsp/FIRBaseFilter.h"

namespace VELA::internal {

// A unit impulse at index `at` of n samples, filtered centred: for an odd filter of n taps with at =
// n / 2, the taps themselves.
inline void CentredImpulseResponse(FIRBaseFilter& filter, VecReal32& out, int n = 7, int at = 3) {
    VecReal32 impulse(n);
    impulse.SetZero();
    impulse[at] = 1.0f;
    filter.Apply(out, impulse, true);
}

// v has n elements, each within tol of expected.
inline bool Near(const VecReal32& v, const float* expected, int n, double tol) {
    if (v.GetSize() != n) return false;
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(static_cast<double>(v[i]) - expected[i]) <= tol)) return false;
    return true;
}

// v is symmetric around its centre to within tol.
inline bool Symmetric(const VecReal32& v, double tol) {
    const int n = v.GetSize();
    for (int i = 0; i < n / 2; ++i)
        if (!(std::fabs(static_cast<double>(v[i]) - v[n - 1 - i]) <= tol)) return false;
    return true;
}

inline double Sum(const VecReal32& v) {
    double s = 0.0;
    for (int i = 0; i < v.GetSize(); ++i)
        s += v[i];
    return s;
}

}  // namespace VELA::internal
