// DSPUtils: sampling and generation, magnitude and phase, frequency shifting, correlation, and the
// analysis operations (detection, unwrapping, phase folding, fits, interpolation, integration).
// Convolution is in DSPUtilsConv.cpp, FIR design in DSPUtilsFir.cpp, the members that stand on
// MathUtils in DSPUtilsMath.cpp and the self-test in DSPUtilsTest.cpp.
#include "DSPUtils.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include "kernel/MathKernels.h"
#include "kernel/SignalKernels.h"
#include "kernel/VectorKernels.h"
#include "internal/CheckedSize.h"
#include "internal/Aliasing.h"
#include "internal/ComplexView.h"

namespace VELA {

using kern::K;
using kern::MK;
using kern::SK;

namespace {

using internal::F;

template <class T>
void CopyElements(T* d, const T* s, int n) {
    if (n > 0 && d != s) std::memmove(static_cast<void*>(d), s, sizeof(T) * static_cast<size_t>(n));
}

// A sampling factor below 1 or a phase outside [0, factor) is refused by the sampling routines; we
// give such a request an empty output instead of dividing by zero or writing outside the vector.
bool SamplingValid(int factor, int phase) {
    return factor >= 1 && phase >= 0 && phase < factor;
}

// Downsampling reads ahead of what it writes (in[j * factor + phase] into out[j]), so it runs in place.
template <class V>
void DownsampleT(V& out, const V& in, int factor, int phase) {
    if (!SamplingValid(factor, phase)) {
        out.Resize(0);
        return;
    }
    internal::PrepareInPlace(out, in);
    const int n = in.GetSize();
    // Formed in 64 bits: factor + n overflows an int for a factor near INT_MAX.
    const int m = n > 0 ? static_cast<int>((int64_t{factor} - phase + n - 1) / factor) : 0;
    out.Resize(m);
    auto* d = out.Data();
    const auto* s = in.Data();
    for (int j = 0; j < m; ++j)
        d[j] = s[static_cast<int64_t>(j) * factor + phase];
}

template <class V>
void UpsampleT(V& out, const V& in, int factor, int phase) {
    if (!SamplingValid(factor, phase)) {
        out.Resize(0);
        return;
    }
    const internal::Unaliased<V> src(in, out);  // the output is longer than the input
    const int n = src->GetSize();
    out.Resize(internal::CheckedProduct(n, factor));
    out.SetZero();
    auto* d = out.Data();
    const auto* s = src->Data();
    for (int j = 0; j < n; ++j)
        d[static_cast<int64_t>(j) * factor + phase] = s[j];
}

template <class V>
void DuplicateT(V& out, const V& in, int factor) {
    if (factor < 1) {
        out.Resize(0);
        return;
    }
    const internal::Unaliased<V> src(in, out);  // the output is longer than the input
    const int n = src->GetSize();
    out.Resize(internal::CheckedProduct(n, factor));
    auto* d = out.Data();
    const auto* s = src->Data();
    for (int j = 0; j < n; ++j)
        for (int k = 0; k < factor; ++k)
            d[static_cast<int64_t>(j) * factor + k] = s[j];
}

template <class V>
void FFTShiftT(V& out, const V& in) {
    const internal::Unaliased<V> src(in, out);  // the halves trade places
    const int n = src->GetSize();
    const int h = n / 2 + (n & 1);
    out.Resize(n);
    CopyElements(out.Data(), src->Data() + h, n - h);
    CopyElements(out.Data() + (n - h), src->Data(), h);
}

// The generator behind Rand: a 32-bit linear congruential state with the PCG "RXS M XS" output
// permutation. Its whole state is one 32-bit word, so the caller's seed word can carry it between calls.
uint32_t NextRandom(uint32_t& state) {
    state = state * 747796405u + 2891336453u;
    const uint32_t word = ((state >> ((state >> 28u) + 4u)) ^ state) * 277803737u;
    return (word >> 22u) ^ word;
}

template <class T>
void CumSumT(T* d, const T* s, int n) {
    T t = 0;
    for (int i = 0; i < n; ++i) {
        t = static_cast<T>(t + s[i]);
        d[i] = t;
    }
}

template <class V, class T>
void MovingAverageT(V& out, const V& in, int w, double (*sum)(const T*, int)) {
    // Each output reads neighbours on both sides, some of them already written in place.
    const internal::Unaliased<V> src(in, out);
    const int n = src->GetSize();
    out.Resize(n);
    CopyElements(out.Data(), src->Data(), n);
    if (w < 1) return;
    const int first = (w % 2) ? (w - 1) / 2 : w / 2;
    const int last = (w % 2) ? n - (w - 1) / 2 - 1 : n - w / 2;
    const T* s = src->Data();
    T* d = out.Data();
    for (int i = first; i <= last && i < n; ++i)
        d[i] = static_cast<T>(sum(s + i - first, w) / w);
}

template <class T>
void LineFit(double& slope, double& intercept, const T* x, const T* y, int n) {
    double sx = 0, sxx = 0, sy = 0, sxy = 0;
    for (int i = 0; i < n; ++i) {
        const double a = x[i], b = y[i];
        sx += a;
        sxx += a * a;
        sy += b;
        sxy += a * b;
    }
    const double d = n * sxx - sx * sx;
    slope = (n * sxy - sy * sx) / d;
    intercept = (sxx * sy - sx * sxy) / d;
}

// One step of the outward unwrapping: brings d within half a period by whole periods and books them
// in corr, in the element type. A step that is not finite, or a period that is not positive, is left
// alone: no count of periods would bring it in. Very large steps are reduced in one go, since
// subtracting one period at a time could take forever (or never change d at all in float), and a step
// too large for the element type to resolve a period is left alone after that reduction.
template <class T>
void UnwrapStep(T& d, T& corr, T half, T period) {
    if (!(period > 0) || !std::isfinite(d)) return;
    if (std::fabs(d) > period * T(1 << 20)) {
        const T k = static_cast<T>(std::round(static_cast<double>(d) / static_cast<double>(period)));
        d = static_cast<T>(d - k * period);
        corr = static_cast<T>(corr - k * period);
        // At such magnitudes the element type may not resolve one period: then no loop below ends.
        if (!(std::fabs(d) <= period)) return;
    }
    while (d > half) {
        d = static_cast<T>(d - period);
        corr = static_cast<T>(corr - period);
    }
    while (d < -half) {
        d = static_cast<T>(d + period);
        corr = static_cast<T>(corr + period);
    }
}

template <class T>
void UnwrapOutward(T* x, int n, int ref, T refValue, T period) {
    if (ref < 0 || ref >= n) return;
    const T half = static_cast<T>(period * T(0.5));
    T prev = refValue, corr = 0;
    for (int i = ref; i < n; ++i) {
        T d = static_cast<T>(x[i] - prev);
        UnwrapStep(d, corr, half, period);
        prev = x[i];
        x[i] = static_cast<T>(x[i] + corr);
    }
    prev = x[ref];
    corr = 0;
    for (int i = ref - 1; i >= 0; --i) {
        T d = static_cast<T>(x[i] - prev);
        UnwrapStep(d, corr, half, period);
        prev = x[i];
        x[i] = static_cast<T>(x[i] + corr);
    }
}

template <class T>
void UnwrapForward(T* out, const T* in, int n, T period) {
    if (n <= 0) return;
    const T half = static_cast<T>(period * T(0.5));
    T corr = 0;
    T prev = in[0];
    out[0] = in[0];
    for (int i = 1; i < n; ++i) {
        const T cur = in[i];  // read before out[i] is written, so out may be in
        const T d = static_cast<T>(cur - prev);
        if (std::fabs(d) > half) corr = static_cast<T>(d > 0 ? corr - period : corr + period);
        out[i] = static_cast<T>(cur + corr);
        prev = cur;
    }
}

}  // namespace

// ============================== sampling and generation ==============================

void DSPUtils::Downsample(VecReal32& out, const VecReal32& in, int factor, int phase) {
    DownsampleT(out, in, factor, phase);
}
void DSPUtils::Downsample(VecReal64& out, const VecReal64& in, int factor, int phase) {
    DownsampleT(out, in, factor, phase);
}
void DSPUtils::Downsample(VecCplx32& out, const VecCplx32& in, int factor, int phase) {
    DownsampleT(out, in, factor, phase);
}
void DSPUtils::Downsample(VecCplx64& out, const VecCplx64& in, int factor, int phase) {
    DownsampleT(out, in, factor, phase);
}

void DSPUtils::Upsample(VecReal32& out, const VecReal32& in, int factor, int phase) {
    UpsampleT(out, in, factor, phase);
}
void DSPUtils::Upsample(VecReal64& out, const VecReal64& in, int factor, int phase) {
    UpsampleT(out, in, factor, phase);
}
void DSPUtils::Upsample(VecCplx32& out, const VecCplx32& in, int factor, int phase) {
    UpsampleT(out, in, factor, phase);
}

void DSPUtils::Upsample(VecCplx64& out, const VecCplx64& in, int factor, int phase) {
    if (!SamplingValid(factor, phase)) {
        out.Resize(0);
        return;
    }
    const internal::Unaliased<VecCplx64> src(in, out);
    const int n = src->GetSize();
    out.Resize(internal::CheckedProduct(n, factor));
    // The memory of both vectors is walked in 8-byte (32-bit complex) elements: n of them from `in`,
    // n * factor of them into `out`. Byte copies keep this free of type punning.
    constexpr size_t kElem = sizeof(Cplx32);
    auto* d = reinterpret_cast<unsigned char*>(out.Data());
    const auto* s = reinterpret_cast<const unsigned char*>(src->Data());
    const int64_t written = static_cast<int64_t>(n) * factor;
    if (written > 0) std::memset(d, 0, kElem * static_cast<size_t>(written));
    for (int j = 0; j < n; ++j)
        std::memcpy(d + kElem * static_cast<size_t>(static_cast<int64_t>(j) * factor + phase),
                    s + kElem * static_cast<size_t>(j), kElem);
}

void DSPUtils::Duplicate(VecReal32& out, const VecReal32& in, int factor) {
    DuplicateT(out, in, factor);
}
void DSPUtils::Duplicate(VecReal64& out, const VecReal64& in, int factor) {
    DuplicateT(out, in, factor);
}
void DSPUtils::Duplicate(VecCplx32& out, const VecCplx32& in, int factor) {
    DuplicateT(out, in, factor);
}
void DSPUtils::Duplicate(VecCplx64& out, const VecCplx64& in, int factor) {
    DuplicateT(out, in, factor);
}

void DSPUtils::Ramp(VecReal32& out, int n, float start, float slope) {
    out.Resize(n);
    float* d = out.Data();
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<float>(start + static_cast<double>(slope) * i);
}
void DSPUtils::Ramp(VecReal64& out, int n, double start, double slope) {
    out.Resize(n);
    double* d = out.Data();
    for (int i = 0; i < n; ++i)
        d[i] = start + i * slope;
}

void DSPUtils::Rand(VecReal32& out, int n, float low, float high) {
    // The vector's own address seeds the generator (its low 32 bits).
    unsigned int seed = static_cast<unsigned int>(reinterpret_cast<uintptr_t>(&out));
    Rand(out, seed, n, low, high);
}

void DSPUtils::Rand(VecReal32& out, unsigned int& seed, int n, float low, float high) {
    out.Resize(n);
    float* d = out.Data();
    uint32_t state = seed;
    const double span = static_cast<double>(high) - low;
    for (int i = 0; i < n; ++i) {
        const double u = (NextRandom(state) >> 8) * (1.0 / 16777216.0);  // [0, 1) in 2^-24 steps
        float v = static_cast<float>(low + span * u);
        // Rounding to float may land on `high` itself; keep the interval half-open.
        if (v >= high && high > low) v = std::nextafter(high, low);
        d[i] = v;
    }
    seed = state;
}

void DSPUtils::CumSum(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    CumSumT(out.Data(), in.Data(), in.GetSize());
}
void DSPUtils::CumSum(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    CumSumT(out.Data(), in.Data(), in.GetSize());
}

// ============================== magnitude, phase and form ==============================

void DSPUtils::Mag(VecReal32& out, const VecCplx32& in) {
    out.Resize(in.GetSize());
    MK().mag_c32(F(in.Data()), out.Data(), in.GetSize());
}
void DSPUtils::Mag(VecReal64& out, const VecCplx64& in) {
    out.Resize(in.GetSize());
    MK().mag_c64(F(in.Data()), out.Data(), in.GetSize());
}
void DSPUtils::Mag(VecReal32& out, const VecReal32& re, const VecReal32& im) {
    internal::PrepareInPlace(out, re);
    internal::PrepareInPlace(out, im);
    out.Resize(re.GetSize());
    SK().magnitude_f32(re.Data(), im.Data(), out.Data(), re.GetSize());
}
void DSPUtils::MagSqr(VecReal32& out, const VecCplx32& in) {
    out.Resize(in.GetSize());
    MK().power_c32(F(in.Data()), out.Data(), in.GetSize());
}
void DSPUtils::MagSqr(VecReal64& out, const VecCplx64& in) {
    out.Resize(in.GetSize());
    MK().power_c64(F(in.Data()), out.Data(), in.GetSize());
}
void DSPUtils::Phase(VecReal32& out, const VecCplx32& in) {
    out.Resize(in.GetSize());
    MK().phase_c32(F(in.Data()), out.Data(), in.GetSize());
}
void DSPUtils::Phase(VecReal64& out, const VecCplx64& in) {
    out.Resize(in.GetSize());
    MK().phase_c64(F(in.Data()), out.Data(), in.GetSize());
}
void DSPUtils::CartToPolar(VecReal32& mag, VecReal32& phase, const VecCplx32& in) {
    // One vector cannot hold both results: the phase would silently replace the magnitude.
    if (&mag == &phase) VELA_THROW(VELAErrorInvalidInputParameter);
    Mag(mag, in);
    Phase(phase, in);
}
void DSPUtils::PolarToCart(VecCplx32& out, const VecReal32& mag, const VecReal32& phase) {
    out.Resize(mag.GetSize());
    SK().polar_to_cart_c32(mag.Data(), phase.Data(), F(out.Data()), mag.GetSize());
}

float DSPUtils::Norm(const VecReal32& in) {
    return static_cast<float>(std::sqrt(SK().sumsq_f32(in.Data(), in.GetSize())));
}
double DSPUtils::Norm(const VecCplx32& in) {
    return std::sqrt(SK().sumsq_f32(F(in.Data()), 2 * in.GetSize()));
}
double DSPUtils::Norm(const VecCplx64& in) {
    return std::sqrt(SK().sumsq_f64(F(in.Data()), 2 * in.GetSize()));
}

float DSPUtils::PeakToAve(const VecReal32& in) {
    return in.Max() / in.Mean();
}

void DSPUtils::RotatePhase(VecCplx32& x, float angle) {
    const Cplx32 rot{static_cast<float>(std::cos(static_cast<double>(angle))),
                     static_cast<float>(std::sin(static_cast<double>(angle)))};
    x.Mul(rot);
}

void DSPUtils::FFTShift(VecReal32& out, const VecReal32& in) {
    FFTShiftT(out, in);
}
void DSPUtils::FFTShift(VecReal64& out, const VecReal64& in) {
    FFTShiftT(out, in);
}
void DSPUtils::FFTShift(VecInt32& out, const VecInt32& in) {
    FFTShiftT(out, in);
}

void DSPUtils::Max(VecReal32& out, const VecReal32& a, const VecReal32& b) {
    internal::PrepareInPlace(out, a);
    internal::PrepareInPlace(out, b);
    out.Resize(a.GetSize());
    SK().max_pair_f32(a.Data(), b.Data(), out.Data(), a.GetSize());
}
void DSPUtils::Max(VecReal64& out, const VecReal64& a, const VecReal64& b) {
    internal::PrepareInPlace(out, a);
    internal::PrepareInPlace(out, b);
    out.Resize(a.GetSize());
    SK().max_pair_f64(a.Data(), b.Data(), out.Data(), a.GetSize());
}

// ============================== frequency and correlation ==============================

void DSPUtils::ShiftFreq(VecCplx32& out, const VecCplx32& in, float freq, float phase) {
    internal::PrepareInPlace(out, in);
    const int n = in.GetSize();
    out.Resize(n);
    const double f = static_cast<double>(freq) - std::floor(static_cast<double>(freq));
    SK().tone_mul_c32(F(in.Data()), F(out.Data()), n, f, phase, false);
}

void DSPUtils::ShiftFreq(VecCplx32& x, float freq, float phase, bool up) {
    const double f = static_cast<double>(freq) - std::floor(static_cast<double>(freq));
    SK().tone_mul_c32(F(x.Data()), F(x.Data()), x.GetSize(), f, phase, !up);
}

void DSPUtils::CrossCorr(VecReal32& out, const VecReal32& a, const VecReal32& b) {
    // Every lag reads the whole of both inputs, and the output is longer than either.
    const internal::Unaliased<VecReal32> sa(a, out), sb(b, out);
    const VecReal32& a1 = *sa;
    const VecReal32& b1 = *sb;
    const int na = a1.GetSize(), nb = b1.GetSize();
    const int len = na >= nb ? 2 * na - 1 : 2 * nb - 1;
    out.Resize(len > 0 ? len : 0);
    if (len <= 0) return;
    if (na >= nb) {
        SK().xcorr_f32(b1.Data(), nb, a1.Data(), na, out.Data(), len, 1 - na);
    } else {
        SK().xcorr_f32(a1.Data(), na, b1.Data(), nb, out.Data(), len, 1 - nb);
        MK().flip_f32(out.Data(), out.Data(), len);
    }
}

void DSPUtils::CrossCorr(VecCplx32& out, const VecCplx32& a, const VecCplx32& b) {
    // Every lag reads the whole of both inputs, and the output is longer than either.
    const internal::Unaliased<VecCplx32> sa(a, out), sb(b, out);
    const VecCplx32& a1 = *sa;
    const VecCplx32& b1 = *sb;
    const int na = a1.GetSize(), nb = b1.GetSize();
    const int len = na >= nb ? 2 * na - 1 : 2 * nb - 1;
    out.Resize(len > 0 ? len : 0);
    if (len <= 0) return;
    if (na >= nb) {
        SK().xcorr_c32(F(b1.Data()), nb, F(a1.Data()), na, F(out.Data()), len, 1 - na);
    } else {
        // The correlation kernel conjugates its first operand; correlating (a, b) and then reversing
        // and conjugating gives the same sum as the other branch, conj(b) against a.
        SK().xcorr_c32(F(a1.Data()), na, F(b1.Data()), nb, F(out.Data()), len, 1 - nb);
        MK().conjflip_c32(F(out.Data()), F(out.Data()), len);
    }
}

void DSPUtils::CrossCorr2(VecCplx32& out, const VecCplx32& a, const VecCplx32& b) {
    const internal::Unaliased<VecCplx32> sa(a, out), sb(b, out);
    SK().xcorr_c32(F(sb->Data()), sb->GetSize(), F(sa->Data()), sa->GetSize(), F(out.Data()), out.GetSize(),
                   0);
}

// ============================== analysis ==============================

void DSPUtils::Derivative(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);  // out[i] is written after in[i] and in[i + 1] are read
    const int m = in.GetSize() > 0 ? in.GetSize() - 1 : 0;
    out.Resize(m);
    SK().diff_f32(in.Data(), out.Data(), m, 1);
}
void DSPUtils::Derivative(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);  // out[i] is written after in[i] and in[i + 1] are read
    const int m = in.GetSize() > 0 ? in.GetSize() - 1 : 0;
    out.Resize(m);
    SK().diff_f64(in.Data(), out.Data(), m, 1);
}
void DSPUtils::Derivative(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);  // out[i] is written after in[i] and in[i + 1] are read
    const int m = in.GetSize() > 0 ? in.GetSize() - 1 : 0;
    out.Resize(m);
    SK().diff_f32(F(in.Data()), F(out.Data()), 2 * m, 2);
}
void DSPUtils::Derivative(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);  // out[i] is written after in[i] and in[i + 1] are read
    const int m = in.GetSize() > 0 ? in.GetSize() - 1 : 0;
    out.Resize(m);
    SK().diff_f64(F(in.Data()), F(out.Data()), 2 * m, 2);
}

void DSPUtils::MovingAverage(VecReal32& out, const VecReal32& in, int w) {
    MovingAverageT<VecReal32, float>(out, in, w, K().sum_f32);
}
void DSPUtils::MovingAverage(VecReal64& out, const VecReal64& in, int w) {
    MovingAverageT<VecReal64, double>(out, in, w, K().sum_f64);
}

void DSPUtils::LinearLeastSquareFit(float& slope, float& intercept, const VecReal32& x, const VecReal32& y) {
    double s, c;
    LineFit(s, c, x.Data(), y.Data(), x.GetSize());
    slope = static_cast<float>(s);
    intercept = static_cast<float>(c);
}
void DSPUtils::LinearLeastSquareFit(double& slope, double& intercept, const VecReal64& x,
                                    const VecReal64& y) {
    LineFit(slope, intercept, x.Data(), y.Data(), x.GetSize());
}
void DSPUtils::LinearLeastSquareFit(double& slope, double& intercept, VecReal64& residual, const VecReal64& x,
                                    const VecReal64& y) {
    LineFit(slope, intercept, x.Data(), y.Data(), x.GetSize());
    // x is not read again; y is read element by element while the residual is written.
    internal::PrepareInPlace(residual, y);
    const int n = y.GetSize();
    residual.Resize(n);
    double* r = residual.Data();
    const double* yy = y.Data();
    for (int i = 0; i < n; ++i)
        r[i] = yy[i] - intercept - i * slope;
}

float DSPUtils::GetArbPointValue(const VecReal32& in, double pos) {
    const int n = in.GetSize();
    if (n <= 0) return 0.0f;
    const float* s = in.Data();
    if (n == 1) return s[0];
    const double whole = std::floor(pos);
    const float f = static_cast<float>(pos - whole);
    // Beyond the last pair (or before the first) the line through that pair is extended; t is the
    // position counted from the pair's first sample, so at the last pair it is f + 1, the usual form.
    if (whole >= n - 1) {
        const float t = f + static_cast<float>(whole - (n - 2));
        return s[n - 2] + t * (s[n - 1] - s[n - 2]);
    }
    if (whole < 0) {
        const float t = f + static_cast<float>(whole);
        return s[0] + t * (s[1] - s[0]);
    }
    const int i = static_cast<int>(whole);
    return s[i] + f * (s[i + 1] - s[i]);
}

double DSPUtils::Integrate(const VecReal32& in, double from, double to) {
    const int i0 = static_cast<int>(from);
    const int i1 = static_cast<int>(to);
    const float* s = in.Data();
    double sum = 0;
    // With i0 = 0 the partial piece from `from` to index 1 is not taken, so the sum starts at index 1:
    // the established behaviour, which figures computed with it rely on.
    if (i0 > 0) sum = (GetArbPointValue(in, from) + static_cast<double>(s[i0 + 1])) * ((i0 + 1) - from) * 0.5;
    sum += 0.5 * s[i0 + 1];
    for (int i = i0 + 2; i < i1; ++i)
        sum += s[i];
    sum += 0.5 * s[i1];
    if (i1 < in.GetSize() - 1)
        sum += (GetArbPointValue(in, to) + static_cast<double>(s[i1])) * (to - i1) * 0.5;
    return sum;
}

void DSPUtils::MapPhase(VecReal32& x) {
    // The folding constant is the double pi, the limits the float pi widened to double: a value that is
    // pi in float precision stays where it is.
    constexpr double kPi = 3.14159265358979;
    constexpr double kPiHi = 3.1415927410125732;
    constexpr double kTwoPi = 6.2831854820251465;
    float* d = x.Data();
    for (int i = 0; i < x.GetSize(); ++i) {
        float v = d[i];
        if (v > 0) v = static_cast<float>(v - static_cast<float>(2 * std::floor(v * 0.5 / kPi) * kPi));
        if (v < 0) v = static_cast<float>(v + static_cast<float>(2 * std::floor(-v * 0.5 / kPi) * kPi));
        if (v > kPiHi) v = static_cast<float>(v - kTwoPi);
        if (v < -kPiHi) v = static_cast<float>(v + kTwoPi);
        d[i] = v;
    }
}

void DSPUtils::MapPhase(VecReal64& x) {
    constexpr double kPi = 3.14159265358979;
    constexpr double kTwoPi = 6.28318530717958;
    double* d = x.Data();
    for (int i = 0; i < x.GetSize(); ++i) {
        double v = d[i];
        if (v > 0) v -= 2 * std::floor(v * 0.5 / kPi) * kPi;
        if (v < 0) v += 2 * std::floor(-v * 0.5 / kPi) * kPi;
        if (v > kPi) v -= kTwoPi;
        if (v < -kPi) v += kTwoPi;
        d[i] = v;
    }
}

void DSPUtils::Unwrap(VecReal32& out, const VecReal32& in, float period) {
    internal::PrepareInPlace(out, in);
    const int n = in.GetSize();
    out.Resize(n);
    UnwrapForward(out.Data(), in.Data(), n, period);
}
void DSPUtils::Unwrap(VecReal64& out, const VecReal64& in, double period) {
    internal::PrepareInPlace(out, in);
    const int n = in.GetSize();
    out.Resize(n);
    UnwrapForward(out.Data(), in.Data(), n, period);
}
void DSPUtils::Unwrap(VecReal32& x, int ref, float refValue, float period) {
    UnwrapOutward(x.Data(), x.GetSize(), ref, refValue, period);
}
void DSPUtils::Unwrap(VecReal64& x, int ref, double refValue, double period) {
    UnwrapOutward(x.Data(), x.GetSize(), ref, refValue, period);
}

void DSPUtils::Detect(VecReal32& out, const VecReal32& in, int n, DetectorType type) {
    const int size = in.GetSize();
    if (size < n) {
        out.Resize(0);
        return;
    }
    if (n < 1) return;  // no group size to divide by: nothing to do
    if (n == 1 && type != DetectorMaxMin) {
        // Resize and copy rather than assign, so a steady caller's output keeps its block; as a copy
        // this also runs in place.
        internal::PrepareInPlace(out, in);
        out.Resize(size);
        CopyElements(out.Data(), in.Data(), size);
        return;
    }
    // The group kernels do not run in place, and max-min may grow the output past the input's block:
    // an input that is the output is read from a copy.
    const internal::Unaliased<VecReal32> src(in, out);
    const float* s = src->Data();
    if (n == 1) {
        Duplicate(out, *src, 2);
        return;
    }
    const int m = size / n;
    switch (type) {
        case DetectorAve:
        case DetectorCISPRAverage:
            out.Resize(m);
            SK().group_mean_f32(s, n, m, out.Data());
            break;
        case DetectorMax:
        case DetectorCISPRPeak:
            out.Resize(m);
            SK().group_max_f32(s, n, m, out.Data());
            break;
        case DetectorMin:
            out.Resize(m);
            SK().group_min_f32(s, n, m, out.Data());
            break;
        case DetectorMaxMin:
            out.Resize(2 * m);
            SK().group_maxmin_f32(s, n, m, out.Data());
            break;
        case DetectorRms:
            out.Resize(m);
            SK().group_rms_f32(s, n, m, out.Data());
            break;
        case DetectorSample:
            Downsample(out, *src, n);
            // Downsample keeps a last partial group; a detector does not.
            if (size % n) out.Resize(m);
            break;
        default:
            break;  // the CISPR quasi-peak (and unknown values) leave out untouched
    }
}

}  // namespace VELA
