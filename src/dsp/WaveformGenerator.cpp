#include "WaveformGenerator.h"

#include <cmath>
#include <cstring>

#include "kernel/MathKernels.h"

namespace VELA {

namespace {

constexpr float kPi = 3.14159274f;          // float pi
constexpr float kHalfPi = 1.57079637f;      // float pi / 2
constexpr float kQuarterPi = 0.785398185f;  // float pi / 4
constexpr double kTwoPiF = 6.2831854820251465;

// sin(x)/x, with the series 1 - x^2/6 inside |x| < (120 * 9e-6)^(1/4), where it is exact to float
// precision; this is MathUtils::Sinc with the tolerance 9e-6.
inline float Sinc(float x) {
    static const double limit = std::sqrt(std::sqrt(120.0 * static_cast<double>(9e-6f)));
    if (-limit < x && x < limit) return 1.0f - x * x / 6.0f;
    return static_cast<float>(std::sin(static_cast<double>(x)) / static_cast<double>(x));
}

inline float CosF(float x) {
    return static_cast<float>(std::cos(static_cast<double>(x)));
}

// Sizes `out` for `t` and returns where to read the times. When `out` is `t` seen through a view, the
// times are first moved to the start of the storage (where Resize puts the window), so every loop
// below may read element i and then write element i in place.
const float* Prepare(VecReal32& out, const VecReal32& t) {
    const int n = t.GetSize();
    const float* src = t.Data();
    out.Resize(n);
    if (&out == &t && src != out.Data() && n > 0)
        std::memmove(out.Data(), src, sizeof(float) * static_cast<size_t>(n));
    return &out == &t ? out.Data() : src;
}

// The two scans at the support limits: from the front, times at or below `lower` get `frontValue`; if
// that leaves nothing, the scan is over (hi == lo == n). Otherwise from the back, times at or above
// `upper` get `backValue`, down to the first time below it. [lo, hi) is what remains to compute.
void Scan(const float* src, float* dst, int n, float lower, float frontValue, float upper, float backValue,
          int& lo, int& hi) {
    lo = 0;
    while (lo < n && src[lo] <= lower)
        dst[lo++] = frontValue;
    hi = n;
    if (lo == n) return;
    while (hi > lo && src[hi - 1] >= upper) {
        --hi;
        dst[hi] = backValue;
    }
}

constexpr int kChunk = 256;

}  // namespace

void WaveformGenerator::RaisedCosinePulse(VecReal32& out, float rolloff, float T, const VecReal32& t) {
    const float* src = Prepare(out, t);
    float* dst = out.Data();
    const int n = out.GetSize();
    const float invT = 1.0f / T;
    const float twoR = 2.0f * rolloff;
    for (int i = 0; i < n; ++i) {
        const float u = src[i] * invT;
        const float a1 = Sinc(kPi * u);
        const float a2 = Sinc(kHalfPi * (twoR * u + 1.0f));
        const float a3 = Sinc(kHalfPi * (twoR * u - 1.0f));
        dst[i] = (a2 + a3) * a1 * kQuarterPi;
    }
}

void WaveformGenerator::RootRaisedCosinePulse(VecReal32& out, float rolloff, float T, const VecReal32& t) {
    const float* src = Prepare(out, t);
    float* dst = out.Data();
    const int n = out.GetSize();
    const float invT = 1.0f / T;
    const float r = rolloff;
    const float oneMinusR = 1.0f - r;
    const float scale = static_cast<float>(std::sqrt(1.0 / static_cast<double>(T)));
    for (int i = 0; i < n; ++i) {
        const float ti = src[i];
        const float u = ti * invT;
        const float c1 = CosF(kPi * (u + 0.25f));
        const float c2 = CosF(kPi * (u - 0.25f));
        const float s0 = Sinc(kPi * (ti * oneMinusR * invT));
        const float ru = r * u;
        const float s1 = Sinc(kPi * (ru + 0.25f));
        const float s2 = Sinc(kPi * (ru - 0.25f));
        dst[i] = (oneMinusR * s0 + r * (s1 * c1 + s2 * c2)) * scale;
    }
}

void WaveformGenerator::GaussianPulse(VecReal32& out, float B, const VecReal32& t) {
    const float* src = Prepare(out, t);
    float* dst = out.Data();
    const int n = out.GetSize();
    const float ln2 = static_cast<float>(std::log(2.0));
    const float root = static_cast<float>(std::sqrt(static_cast<double>(static_cast<float>(kTwoPiF / ln2))));
    const float k = root * B;
    const float e = static_cast<float>(B * (-19.739209900765786 * B) / ln2);
    for (int i = 0; i < n; ++i) {
        const float ti = src[i];
        const float arg = ti * e * ti;
        dst[i] = k * static_cast<float>(std::exp(static_cast<double>(arg)));
    }
}

void WaveformGenerator::SincPulse(VecReal32& out, float B, const VecReal32& t) {
    const float* src = Prepare(out, t);
    float* dst = out.Data();
    const int n = out.GetSize();
    const float w = 2.0f * B;
    const float wPi = static_cast<float>(w * 3.1415927410125732);
    for (int i = 0; i < n; ++i)
        dst[i] = w * Sinc(wPi * src[i]);
}

void WaveformGenerator::IntegralConvRect(VecReal32& out, float T, const VecReal32& t) {
    const float* src = Prepare(out, t);
    float* dst = out.Data();
    const int n = out.GetSize();
    const float half = T * 0.5f;
    int lo = 0, hi = 0;
    Scan(src, dst, n, -half, 0.0f, half, 1.0f, lo, hi);
    const float invT = 1.0f / T;
    for (int i = lo; i < hi; ++i)
        dst[i] = src[i] * invT + 0.5f;
}

void WaveformGenerator::ConvGauss(VecReal32& out, float T, float s, const VecReal32& t) {
    const float* src = Prepare(out, t);
    float* dst = out.Data();
    const int n = out.GetSize();
    const float lim = T * s * 20.0f;
    int lo = 0, hi = 0;
    Scan(src, dst, n, -lim, 0.0f, lim, 0.0f, lo, hi);

    const double Td = T, sd = s;
    const double halfT = Td / 2.0;
    const double c = 1.0 / (std::sqrt(2.0) * Td * sd);
    const double twoT = 2.0 * Td;
    // Each time needs two error functions; the chunk's arguments are gathered first so the vector erf
    // runs over whole arrays. The form per group keeps the two erf terms from cancelling where both are
    // near +-1.
    double x1[kChunk], x2[kChunk], e1[kChunk], e2[kChunk];
    bool minus[kChunk];
    for (int i0 = lo; i0 < hi; i0 += kChunk) {
        const int m = hi - i0 < kChunk ? hi - i0 : kChunk;
        for (int k = 0; k < m; ++k) {
            const double x = src[i0 + k];
            const double A = (x - halfT) * c;
            const double B = (x + halfT) * c;
            if (x <= -halfT) {
                x1[k] = -A, x2[k] = -B, minus[k] = true;
            } else if (x <= halfT) {
                x1[k] = B, x2[k] = -A, minus[k] = false;
            } else {
                x1[k] = B, x2[k] = A, minus[k] = true;
            }
        }
        kern::MK().erf_f64(x1, e1, m);
        kern::MK().erf_f64(x2, e2, m);
        for (int k = 0; k < m; ++k)
            dst[i0 + k] = static_cast<float>((minus[k] ? e1[k] - e2[k] : e1[k] + e2[k]) / twoT);
    }
}

void WaveformGenerator::IntegralConvGauss(VecReal32& out, float T, float s, const VecReal32& t) {
    const float* src = Prepare(out, t);
    float* dst = out.Data();
    const int n = out.GetSize();
    const float lim = T * s * 10.0f;
    int lo = 0, hi = 0;
    Scan(src, dst, n, -lim, 0.0f, lim, 1.0f, lo, hi);

    const double Td = T, sd = s;
    const double v = 2.0 * sd * sd * Td * Td;
    const double q = static_cast<float>(std::sqrt(2.0));
    const double D = q * sd * Td;
    const double g = -sd / std::sqrt(kTwoPiF);
    double xa[kChunk], xb[kChunk], ea[kChunk], eb[kChunk];
    for (int i0 = lo; i0 < hi; i0 += kChunk) {
        const int m = hi - i0 < kChunk ? hi - i0 : kChunk;
        for (int k = 0; k < m; ++k) {
            const double x = src[i0 + k];
            xa[k] = (x + Td / 2.0) / D;
            xb[k] = (x - Td / 2.0) / D;
        }
        kern::MK().erf_f64(xa, ea, m);
        kern::MK().erf_f64(xb, eb, m);
        for (int k = 0; k < m; ++k) {
            const double x = src[i0 + k];
            const double a = x + Td / 2.0, b = x - Td / 2.0;
            const double G = (std::exp(-a * a / v) - std::exp(-b * b / v)) * g;
            const double P = 1.0 + eb[k];
            const double Q = 1.0 + ea[k];
            dst[i0 + k] = static_cast<float>(P / 2.0 + (Q - P) * (x / Td + 0.5) / 2.0 - G);
        }
    }
}

}  // namespace VELA
