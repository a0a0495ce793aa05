// A direct O(n^2) discrete Fourier transform in double: an oracle that shares no code with FFTW, for
// lengths where the quadratic cost is negligible.
#pragma once

#include <cmath>
#include <vector>

namespace corvane_test {

// z holds n complex values interleaved (re, im). Forward: X[k] = sum z[j] exp(-2 pi i j k / n).
// Inverse: the conjugate kernel, divided by n. The angle is reduced (j k mod n) before the cosine so
// that large products lose no accuracy.
inline std::vector<double> NaiveDft(const std::vector<double>& z, bool inverse) {
    const size_t n = z.size() / 2;
    std::vector<double> out(2 * n, 0.0);
    const double sign = inverse ? 1.0 : -1.0;
    const double twoPi = 6.283185307179586476925286766559;
    for (size_t k = 0; k < n; ++k) {
        double re = 0, im = 0;
        for (size_t j = 0; j < n; ++j) {
            const double a = sign * twoPi * static_cast<double>((j * k) % n) / static_cast<double>(n);
            const double c = std::cos(a), s = std::sin(a);
            re += z[2 * j] * c - z[2 * j + 1] * s;
            im += z[2 * j] * s + z[2 * j + 1] * c;
        }
        if (inverse) {
            re /= static_cast<double>(n);
            im /= static_cast<double>(n);
        }
        out[2 * k] = re;
        out[2 * k + 1] = im;
    }
    return out;
}

// Real input widened to complex with zero imaginary parts.
inline std::vector<double> Complexify(const std::vector<double>& x) {
    std::vector<double> z(2 * x.size(), 0.0);
    for (size_t i = 0; i < x.size(); ++i)
        z[2 * i] = x[i];
    return z;
}

}  // namespace corvane_test
