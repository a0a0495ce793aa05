// Distances in units in the last place, for tests of the elementary functions.
#pragma once

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

namespace corvane_test {

// Number of representable values between a and b (0 when equal, also +0 vs -0, and when both are NaN);
// the maximum int64 when exactly one is NaN.
inline int64_t UlpSteps(float a, float b) {
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b) ? 0 : std::numeric_limits<int64_t>::max();
    auto ordered = [](float x) {
        const int32_t i = std::bit_cast<int32_t>(x);
        return i < 0 ? -static_cast<int64_t>(i & 0x7fffffff) : static_cast<int64_t>(i);
    };
    const int64_t d = ordered(a) - ordered(b);
    return d < 0 ? -d : d;
}
inline int64_t UlpSteps(double a, double b) {
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b) ? 0 : std::numeric_limits<int64_t>::max();
    auto ordered = [](double x) {
        const int64_t i = std::bit_cast<int64_t>(x);
        return i < 0 ? -(i & 0x7fffffffffffffffLL) : i;
    };
    // Both orderings fit in 63 bits plus sign, so the difference of two finite or infinite values fits
    // unless they straddle zero far out; clamp that case.
    const int64_t oa = ordered(a), ob = ordered(b);
    if ((oa > 0 && ob < 0 && oa > std::numeric_limits<int64_t>::max() + ob) ||
        (oa < 0 && ob > 0 && ob > std::numeric_limits<int64_t>::max() + oa))
        return std::numeric_limits<int64_t>::max();
    const int64_t d = oa - ob;
    return d < 0 ? -d : d;
}

// Error of `computed` against a more precise `exact`, in ulps of the narrow type at `exact` (the spacing
// of the narrow type's values around it, down to the smallest denormal spacing). Results that the narrow
// type cannot hold (an exact value beyond its largest finite) count as exact when `computed` is the
// infinity of that sign. NaN against NaN is 0; NaN against a number is infinite.
inline double UlpError(float computed, double exact) {
    if (std::isnan(computed) || std::isnan(exact))
        return std::isnan(computed) && std::isnan(exact) ? 0.0 : INFINITY;
    if (std::isinf(computed) || std::isinf(exact)) {
        // Beyond the largest float by at least half an ulp rounds to infinity.
        const double limit = static_cast<double>(FLT_MAX) + std::ldexp(1.0, 127 - 24);
        if (std::isinf(computed) && std::fabs(exact) >= limit &&
            std::signbit(computed) == std::signbit(exact))
            return 0.0;
        if (std::isinf(computed) && std::isinf(exact) && std::signbit(computed) == std::signbit(exact))
            return 0.0;
        return INFINITY;
    }
    const int e = exact == 0 ? -126 : std::max(std::ilogb(exact), -126);
    return std::fabs(static_cast<double>(computed) - exact) / std::ldexp(1.0, e - 23);
}
inline double UlpError(double computed, long double exact) {
    if (std::isnan(computed) || std::isnan(exact))
        return std::isnan(computed) && std::isnan(exact) ? 0.0 : INFINITY;
    if (std::isinf(computed) || std::isinf(exact)) {
        const long double limit = static_cast<long double>(DBL_MAX) + std::ldexp(1.0L, 1023 - 53);
        if (std::isinf(computed) && std::fabs(exact) >= limit &&
            std::signbit(computed) == std::signbit(exact))
            return 0.0;
        if (std::isinf(computed) && std::isinf(exact) && std::signbit(computed) == std::signbit(exact))
            return 0.0;
        return INFINITY;
    }
    const int e = exact == 0 ? -1022 : std::max(std::ilogb(exact), -1022);
    return static_cast<double>(std::fabs(static_cast<long double>(computed) - exact) /
                               std::ldexp(1.0L, e - 52));
}

}  // namespace corvane_test
