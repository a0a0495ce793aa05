// Plain scalar reference of the resize kernel: every destination pixel evaluated on its own, in double
// precision, straight from the definitions in ResizeKernels.h. Built without auto-vectorisation;
// clarity over speed.
#include <cmath>
#include <cstring>
#include <new>

#include "kernel/ResizeKernels.h"

namespace VELA::kern::reference {
namespace {

constexpr int kMaxFixedTaps = 4;

// The taps of one axis at source coordinate s: indices (clamped to [lo, hi]) and weights. Returns the
// count. Super-sampling may need more than kMaxFixedTaps; it is handled by SuperTaps.
int FixedTaps(int mode, double s, int lo, int hi, int* idx, double* w) {
    auto clamp = [lo, hi](double j) { return j < lo ? lo : (j > hi ? hi : static_cast<int>(j)); };
    if (mode == kResizeNearest) {
        idx[0] = clamp(std::floor(s + 0.5));
        w[0] = 1.0;
        return 1;
    }
    const double i = std::floor(s);
    const double t = s - i;
    if (mode == kResizeLinear) {
        idx[0] = clamp(i);
        idx[1] = clamp(i + 1);
        w[0] = 1.0 - t;
        w[1] = t;
        return 2;
    }
    for (int k = 0; k < 4; ++k) {
        idx[k] = clamp(i - 1 + k);
        w[k] = CubicWeight(t - (k - 1));
    }
    return 4;
}

// Super-sampling taps: the pixels under [s - 0.5/f, s + 0.5/f] clipped to [lo - 0.5, hi + 0.5], by
// overlap, normalised. A footprint of no width (an infinite factor) takes the nearest pixel.
int SuperTaps(double s, double f, int lo, int hi, int* idx, double* w, int capacity) {
    double a = s - 0.5 / f, b = s + 0.5 / f;
    if (a < lo - 0.5) a = lo - 0.5;
    if (b > hi + 0.5) b = hi + 0.5;
    const double first = std::floor(a - 0.5) + 1, last = std::ceil(b + 0.5) - 1;
    const int jlo = first < lo ? lo : static_cast<int>(first);
    const int jhi = last > hi ? hi : static_cast<int>(last);
    int n = 0;
    double total = 0;
    for (int j = jlo; j <= jhi && n < capacity; ++j) {
        idx[n] = j;
        w[n] = PixelOverlap(j, a, b);
        total += w[n];
        ++n;
    }
    if (!(total > 0)) {
        const double nearest = std::floor(s + 0.5);
        idx[0] = nearest < lo ? lo : (nearest > hi ? hi : static_cast<int>(nearest));
        w[0] = 1.0;
        return 1;
    }
    for (int k = 0; k < n; ++k)
        w[k] /= total;
    return n;
}

bool Resize(const ResizeJob& job) {
    const int roiW = job.x1 - job.x0 + 1, roiH = job.y1 - job.y0 + 1;
    // Super-sampling taps are at most the rectangle's width or height; both lists live on the heap only
    // in that mode.
    const bool super = job.mode == kResizeSuper;
    int fixedIdxX[kMaxFixedTaps], fixedIdxY[kMaxFixedTaps];
    double fixedWX[kMaxFixedTaps], fixedWY[kMaxFixedTaps];
    int* idxX = fixedIdxX;
    int* idxY = fixedIdxY;
    double* wX = fixedWX;
    double* wY = fixedWY;
    if (super) {
        idxX = new (std::nothrow) int[roiW];
        idxY = new (std::nothrow) int[roiH];
        wX = new (std::nothrow) double[roiW];
        wY = new (std::nothrow) double[roiH];
        if (!idxX || !idxY || !wX || !wY) {
            delete[] idxX;
            delete[] idxY;
            delete[] wX;
            delete[] wY;
            return false;
        }
    }
    for (int yd = 0; yd < job.dstHeight; ++yd) {
        const double ys = MapToSource(yd, job.yCenter, job.yFactor);
        if (!(ys >= job.y0 && ys <= job.y1)) continue;
        const int ny = super ? SuperTaps(ys, job.yFactor, job.y0, job.y1, idxY, wY, roiH)
                             : FixedTaps(job.mode, ys, job.y0, job.y1, idxY, wY);
        uint8_t* out = job.dst + yd * job.dstStep;
        for (int xd = 0; xd < job.dstWidth; ++xd) {
            const double xs = MapToSource(xd, job.xCenter, job.xFactor);
            if (!(xs >= job.x0 && xs <= job.x1)) continue;
            const int nx = super ? SuperTaps(xs, job.xFactor, job.x0, job.x1, idxX, wX, roiW)
                                 : FixedTaps(job.mode, xs, job.x0, job.x1, idxX, wX);
            double acc[4] = {0, 0, 0, 0};
            for (int ky = 0; ky < ny; ++ky) {
                const uint8_t* row = job.src + (idxY[ky] - job.y0) * job.srcStep;
                for (int kx = 0; kx < nx; ++kx) {
                    const uint8_t* px = row + 4 * static_cast<std::ptrdiff_t>(idxX[kx] - job.x0);
                    const double w = wY[ky] * wX[kx];
                    for (int c = 0; c < 4; ++c)
                        acc[c] += w * px[c];
                }
            }
            for (int c = 0; c < 4; ++c) {
                const double v = std::floor(acc[c] + 0.5);
                out[4 * static_cast<std::ptrdiff_t>(xd) + c] =
                    static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
            }
        }
    }
    if (super) {
        delete[] idxX;
        delete[] idxY;
        delete[] wX;
        delete[] wY;
    }
    return true;
}

}  // namespace

extern const ResizeKernelTable kResizeTable;
const ResizeKernelTable kResizeTable = {
    .name = "reference",
    .resize_8u_c4 = Resize,
};

}  // namespace VELA::kern::reference
