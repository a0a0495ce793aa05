// Plain scalar reference of the signal kernels: the definition of what every optimised level computes.
// Built without auto-vectorisation; clarity over speed.
#include <cmath>

#include "kernel/SignalKernels.h"

namespace VELA::kern::reference {
namespace {

constexpr double kTwoPi = 6.283185307179586476925286766559;

void MagnitudePlanes(const float* re, const float* im, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        const double r = re[i], q = im[i];
        d[i] = static_cast<float>(std::sqrt(r * r + q * q));
    }
}
void PolarToCart(const float* mag, const float* phase, float* d, int n) {
    for (int i = 0; i < n; ++i) {
        const double m = mag[i], p = phase[i];
        d[2 * i] = static_cast<float>(m * std::cos(p));
        d[2 * i + 1] = static_cast<float>(m * std::sin(p));
    }
}

template <class T>
double SumSq(const T* s, int n) {
    double t = 0;
    for (int i = 0; i < n; ++i)
        t += static_cast<double>(s[i]) * static_cast<double>(s[i]);
    return t;
}

void GroupMean(const float* s, int g, int m, float* d) {
    for (int j = 0; j < m; ++j) {
        double t = 0;
        for (int k = 0; k < g; ++k)
            t += s[j * g + k];
        d[j] = static_cast<float>(t / g);
    }
}
void GroupMax(const float* s, int g, int m, float* d) {
    for (int j = 0; j < m; ++j) {
        float b = s[j * g];
        for (int k = 1; k < g; ++k)
            b = s[j * g + k] > b ? s[j * g + k] : b;
        d[j] = b;
    }
}
void GroupMin(const float* s, int g, int m, float* d) {
    for (int j = 0; j < m; ++j) {
        float b = s[j * g];
        for (int k = 1; k < g; ++k)
            b = s[j * g + k] < b ? s[j * g + k] : b;
        d[j] = b;
    }
}
void GroupMaxMin(const float* s, int g, int m, float* d) {
    for (int j = 0; j < m; ++j) {
        float hi = s[j * g], lo = s[j * g];
        for (int k = 1; k < g; ++k) {
            const float v = s[j * g + k];
            hi = v > hi ? v : hi;
            lo = v < lo ? v : lo;
        }
        d[2 * j] = hi;
        d[2 * j + 1] = lo;
    }
}
void GroupRms(const float* s, int g, int m, float* d) {
    const double root = std::sqrt(static_cast<double>(g));
    for (int j = 0; j < m; ++j)
        d[j] = static_cast<float>(std::sqrt(SumSq(s + j * g, g)) / root);
}

template <class T>
void Conv(const T* a, int na, const T* b, int nb, T* d) {
    if (na <= 0 || nb <= 0) return;
    for (int k = 0; k < na + nb - 1; ++k) {
        T t = 0;
        for (int j = 0; j < na; ++j)
            if (k - j >= 0 && k - j < nb) t += a[j] * b[k - j];
        d[k] = t;
    }
}

void XCorrReal(const float* s1, int n1, const float* s2, int n2, float* d, int dlen, int lowLag) {
    for (int k = 0; k < dlen; ++k) {
        float t = 0;
        for (int i = 0; i < n1; ++i) {
            const int p = i + k + lowLag;
            if (p >= 0 && p < n2) t += s1[i] * s2[p];
        }
        d[k] = t;
    }
}
void XCorrCplx(const float* s1, int n1, const float* s2, int n2, float* d, int dlen, int lowLag) {
    for (int k = 0; k < dlen; ++k) {
        float re = 0, im = 0;
        for (int i = 0; i < n1; ++i) {
            const int p = i + k + lowLag;
            if (p < 0 || p >= n2) continue;
            const float ar = s1[2 * i], ai = s1[2 * i + 1], br = s2[2 * p], bi = s2[2 * p + 1];
            // conj(a) * b
            re += ar * br + ai * bi;
            im += ar * bi - ai * br;
        }
        d[2 * k] = re;
        d[2 * k + 1] = im;
    }
}

void ToneMul(const float* s, float* d, int n, double freq, double phase, bool conjugate) {
    for (int i = 0; i < n; ++i) {
        double x = freq * i;
        x -= std::floor(x);
        const double angle = kTwoPi * x + phase;
        const float c = static_cast<float>(std::cos(angle));
        const float t = static_cast<float>(conjugate ? -std::sin(angle) : std::sin(angle));
        const float a = s[2 * i], b = s[2 * i + 1];
        d[2 * i] = c * a - t * b;
        d[2 * i + 1] = c * b + t * a;
    }
}

template <class T>
void Diff(const T* s, T* d, int n, int step) {
    for (int k = 0; k < n; ++k)
        d[k] = s[k + step] - s[k];
}
template <class T>
void MaxPair(const T* a, const T* b, T* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = (b[i] < a[i]) ? a[i] : b[i];
}

}  // namespace

extern const SignalKernelTable kSignalTable;
const SignalKernelTable kSignalTable = {
    .name = "reference",
    .magnitude_f32 = MagnitudePlanes,
    .polar_to_cart_c32 = PolarToCart,
    .sumsq_f32 = SumSq<float>,
    .sumsq_f64 = SumSq<double>,
    .group_mean_f32 = GroupMean,
    .group_max_f32 = GroupMax,
    .group_min_f32 = GroupMin,
    .group_maxmin_f32 = GroupMaxMin,
    .group_rms_f32 = GroupRms,
    .conv_f32 = Conv<float>,
    .conv_f64 = Conv<double>,
    .xcorr_f32 = XCorrReal,
    .xcorr_c32 = XCorrCplx,
    .tone_mul_c32 = ToneMul,
    .diff_f32 = Diff<float>,
    .diff_f64 = Diff<double>,
    .max_pair_f32 = MaxPair<float>,
    .max_pair_f64 = MaxPair<double>,
};

}  // namespace VELA::kern::reference
