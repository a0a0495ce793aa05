#include "internal/UserTapResampling.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <vector>

#include "../math/VELAError.h"

namespace VELA::usertaps {

namespace {

// The interpolation kernel reaches 200 input samples either side of the nearest one.
constexpr int64_t kKernelReach = 200;

// A position this close to an input sample takes the sample itself.
constexpr double kOnSample = 0.001;

void CheckInput(const VecCplx32& in, double fromRate, double toRate) {
    if (in.GetSize() < 1) VELA_THROW(VELAErrorInvalidInputParameter);
    if (!(std::isfinite(fromRate) && fromRate > 0 && std::isfinite(toRate) && toRate > 0))
        VELA_THROW(VELAErrorInvalidInputParameter);
    const double ratio = fromRate / toRate;
    if (!(std::isfinite(ratio) && ratio > 0)) VELA_THROW(VELAErrorInvalidInputParameter);
    for (int i = 0; i < in.GetSize(); ++i)
        if (!std::isfinite(in[i].re) || !std::isfinite(in[i].im)) VELA_THROW(VELAErrorInvalidInputParameter);
}

// Rounded half away from zero. Positions are bounded by the checked lengths, so they fit 64 bits.
int64_t Nearest(double pos) {
    return static_cast<int64_t>(std::round(pos));
}

// sum over m of in[m] sin(x) / x, x = (m - pos) pi, for m within the kernel's reach of `near`.
void KernelSum(double& re, double& im, const VecCplx32& in, int64_t near, double pos, double pi) {
    const int64_t n = in.GetSize();
    const int64_t lo = near - kKernelReach > 0 ? near - kKernelReach : 0;
    const int64_t hi = near + kKernelReach + 1 < n ? near + kKernelReach + 1 : n;
    re = 0;
    im = 0;
    for (int64_t m = lo; m < hi; ++m) {
        const double x = (static_cast<double>(m) - pos) * pi;
        const double w = x == 0.0 ? 1.0 : std::sin(x) / x;
        re += in[static_cast<int>(m)].re * w;
        im += in[static_cast<int>(m)].im * w;
    }
}

// The greater distance, in input samples, from the energy centre to an end of the response.
double Reach(const VecCplx32& in, double c) {
    const double other = (in.GetSize() - 1) - c;
    return c > other ? c : other;
}

}  // namespace

double EnergyCentre(const VecCplx32& in) {
    const int n = in.GetSize();
    double e = 0, m = 0;
    for (int i = 0; i < n; ++i) {
        const double p = static_cast<double>(in[i].re) * in[i].re + static_cast<double>(in[i].im) * in[i].im;
        e += p;
        m += i * p;
    }
    return e == 0.0 ? (n - 1) * 0.5 : m / e;
}

void ResampleImpulse(VecCplx32& out, const VecCplx32& in, double fromRate, double toRate) {
    CheckInput(in, fromRate, toRate);
    const double ratio = fromRate / toRate;
    const int64_t n = in.GetSize();
    const double c = EnergyCentre(in);
    const double h = std::trunc(Reach(in, c) / ratio);
    if (!(h <= (INT_MAX - 3) / 2)) VELA_THROW(VELAErrorInvalidInputParameter);
    const int length = 2 * static_cast<int>(h) + 3;
    // The float pi, widened: the plain resampling has always used it.
    constexpr double kPi = 3.1415927410125732;

    out.Resize(length);
    for (int k = 0; k < length; ++k) {
        // Outputs run backwards in time about the centre: index k holds the response at c - j ratio.
        const int64_t j = k - length / 2;
        const double pos = c - static_cast<double>(j) * ratio;
        const int64_t near = Nearest(pos);
        double re, im;
        if (near >= 0 && near < n && std::fabs(pos - static_cast<double>(near)) < kOnSample) {
            re = in[static_cast<int>(near)].re;
            im = in[static_cast<int>(near)].im;
        } else {
            KernelSum(re, im, in, near, pos, kPi);
        }
        out[k] = {static_cast<float>(re / toRate), static_cast<float>(im / toRate)};
    }
}

void ResampleStep(VecCplx32& out, const VecCplx32& in, double fromRate, double toRate) {
    CheckInput(in, fromRate, toRate);
    const int64_t n = in.GetSize();
    // Work at k times the target rate, k the smallest power of two that gives 32 points per symbol.
    double ratio = fromRate / toRate;
    int64_t k = 1;
    while (fromRate / ratio < 32) {
        if (k >= (int64_t{1} << 30)) VELA_THROW(VELAErrorInvalidInputParameter);
        ratio *= 0.5;
        k *= 2;
    }
    const double c = EnergyCentre(in);
    const double halfD = std::trunc(0.5 * static_cast<double>(k) * toRate);  // half a symbol, internal points
    const double reachD = std::trunc(Reach(in, c) / ratio);
    if (!(halfD + reachD <= (INT_MAX - 1) / 4)) VELA_THROW(VELAErrorInvalidInputParameter);
    const int64_t half = static_cast<int64_t>(halfD);
    int64_t up = (static_cast<int64_t>(reachD) + half) * 2 + 1;
    int64_t final = up / k;
    if (final % 2 == 0) {
        ++final;
        up = final * k + 1;
    }
    if (up > INT_MAX) VELA_THROW(VELAErrorInvalidInputParameter);
    const int64_t centre = (final / 2 + 1) * k - 1;
    constexpr double kPi = 3.141592653589793;

    // Each internal point p interpolates the response at pos and spreads the value over the points
    // p - half .. p + half (the rectangle of one symbol). Spreading is summed through prefix sums of
    // the per-point values. A point on an input sample is set to it rather than spread, replacing what
    // earlier points spread there; later points still add to it.
    std::vector<double> spreadRe(static_cast<size_t>(up) + 1, 0.0),
        spreadIm(static_cast<size_t>(up) + 1, 0.0);
    std::vector<double> setRe(static_cast<size_t>(up), 0.0), setIm(static_cast<size_t>(up), 0.0);
    std::vector<char> isSet(static_cast<size_t>(up), 0);
    for (int64_t p = 0; p < up; ++p) {
        const double pos = (static_cast<double>(p) - 0.5 - static_cast<double>(centre)) * ratio + c;
        const int64_t near = Nearest(pos);
        double re = 0, im = 0;
        if (near >= 0 && near < n) {
            if (std::fabs(pos - static_cast<double>(near)) < kOnSample) {
                isSet[static_cast<size_t>(p)] = 1;
                setRe[static_cast<size_t>(p)] = in[static_cast<int>(near)].re;
                setIm[static_cast<size_t>(p)] = in[static_cast<int>(near)].im;
            } else {
                KernelSum(re, im, in, near, pos, kPi);
            }
        }
        // spread[p + 1] = sum of the values of points 0 .. p.
        spreadRe[static_cast<size_t>(p) + 1] = spreadRe[static_cast<size_t>(p)] + re;
        spreadIm[static_cast<size_t>(p) + 1] = spreadIm[static_cast<size_t>(p)] + im;
    }
    auto internalAt = [&](int64_t q, double& re, double& im) {
        const int64_t last = q + half < up - 1 ? q + half : up - 1;
        const int64_t first = q - half > 0 ? q - half : 0;
        const size_t hi = static_cast<size_t>(last) + 1;
        if (isSet[static_cast<size_t>(q)]) {
            re = setRe[static_cast<size_t>(q)] + (spreadRe[hi] - spreadRe[static_cast<size_t>(q) + 1]);
            im = setIm[static_cast<size_t>(q)] + (spreadIm[hi] - spreadIm[static_cast<size_t>(q) + 1]);
        } else {
            re = spreadRe[hi] - spreadRe[static_cast<size_t>(first)];
            im = spreadIm[hi] - spreadIm[static_cast<size_t>(first)];
        }
    };

    // Integrate: one output per k internal points, the running sums at the end of each group.
    std::vector<float> outRe(static_cast<size_t>(final)), outIm(static_cast<size_t>(final));
    double r = 0, i = 0;
    for (int64_t j = 0; j < final; ++j) {
        for (int64_t t = 0; t < k; ++t) {
            double re, im;
            internalAt(j * k + t, re, im);
            r += re;
            i += im;
        }
        outRe[static_cast<size_t>(j)] = static_cast<float>(r);
        outIm[static_cast<size_t>(j)] = static_cast<float>(i);
    }
    // The step response ends at magnitude 1. One that ends at 0 has no level to scale to.
    const double end = std::sqrt(r * r + i * i);
    if (!(end > 0) || !std::isfinite(end)) VELA_THROW(VELAErrorInvalidInputParameter);
    const double scale = 1.0 / end;
    out.Resize(static_cast<int>(final));
    for (int64_t j = 0; j < final; ++j)
        out[static_cast<int>(j)] = {static_cast<float>(outRe[static_cast<size_t>(j)] * scale),
                                    static_cast<float>(outIm[static_cast<size_t>(j)] * scale)};
}

void ResizeTaps(VecCplx32& taps, int newSize, int oldSize, bool holdLast) {
    if (newSize < 1 || oldSize < 0 || oldSize > taps.GetSize()) VELA_THROW(VELAErrorInvalidInputParameter);
    VecCplx32 old(oldSize);
    for (int i = 0; i < oldSize; ++i)
        old[i] = taps[i];
    taps.Resize(newSize);
    if (newSize <= oldSize) {
        const int start = (oldSize - newSize) / 2;
        for (int i = 0; i < newSize; ++i)
            taps[i] = old[start + i];
        return;
    }
    const int front = (newSize - oldSize) / 2;
    const Cplx32 tail = holdLast && oldSize > 0 ? old[oldSize - 1] : Cplx32{0.0f, 0.0f};
    for (int i = 0; i < front; ++i)
        taps[i] = {0.0f, 0.0f};
    for (int i = 0; i < oldSize; ++i)
        taps[front + i] = old[i];
    for (int i = front + oldSize; i < newSize; ++i)
        taps[i] = tail;
}

}  // namespace VELA::usertaps
