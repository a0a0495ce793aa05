// The Kaiser taper in double, shared by KaiserWindow and the IQ downconverter's filter design.
// Internal to the library's sources: not installed.
#pragma once

#include <cmath>

namespace VELA::kaiser {

// e^-x I0(x) for x >= 0, the modified Bessel function of order 0 scaled so that it cannot overflow.
// Below 30 the power series sum (x/2)^2k / (k!)^2 (all terms positive, so no cancellation); above, the
// asymptotic series e^x / sqrt(2 pi x) * sum ((2k-1)!!)^2 / (k! (8x)^k), whose terms shrink fast
// there. Both are accurate to a few units of double rounding. NaN passes through.
inline double ScaledBesselI0(double x) {
    if (std::isnan(x)) return x;
    x = std::fabs(x);
    if (x <= 30.0) {
        const double q = 0.25 * x * x;
        double term = 1.0, sum = 1.0;
        for (int k = 1; k < 500 && term > 1e-17 * sum; ++k) {
            term *= q / (static_cast<double>(k) * k);
            sum += term;
        }
        return sum * std::exp(-x);
    }
    double term = 1.0, sum = 1.0;
    for (int k = 1; k < 200; ++k) {
        const double next = term * (2.0 * k - 1.0) * (2.0 * k - 1.0) / (8.0 * k * x);
        if (next < 1e-17 * sum || next > term) break;
        term = next;
        sum += term;
    }
    return sum / std::sqrt(2.0 * 3.141592653589793 * x);
}

// Multiplies n doubles by the Kaiser taper of parameter |alpha| (beta = alpha (n - 1) / 2):
// I0(alpha sqrt(((n-1)/2)^2 - (i-(n-1)/2)^2)) / I0(alpha (n-1)/2). The radicand is formed as the exact
// integer product i (n - 1 - i), so the two halves come out equal bit for bit.
inline void MulKaiser(double* d, int n, double alpha) {
    // The taper is even in alpha (I0 is even), so a negative parameter is the window of its magnitude;
    // taking the magnitude keeps the scaled-Bessel quotient below in its valid range (a <= b, both >= 0).
    alpha = std::fabs(alpha);
    const double b = alpha * (n - 1) / 2.0;
    const double i0b = ScaledBesselI0(b);
    for (int i = 0; i < n; ++i) {
        const double a = alpha * std::sqrt(static_cast<double>(i) * static_cast<double>(n - 1 - i));
        // I0(a) / I0(b) = (e^-a I0(a)) / (e^-b I0(b)) * e^(a - b), with a <= b.
        d[i] *= ScaledBesselI0(a) / i0b * std::exp(a - b);
    }
}

}  // namespace VELA::kaiser
