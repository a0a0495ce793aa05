// The resize family of kernels: four-channel 8-bit bitmaps resized about a fixed point. See Dispatch.h
// for how the levels are built and chosen.
//
// The geometry (one convention for every level):
// - Source and destination share one pixel grid; pixel (x, y) of each bitmap sits on the node (x, y)
//   counted from its first pixel (no half-pixel offset).
// - Destination pixel (xd, yd) takes the source at xs = MapToSource(xd, xCenter, xFactor), likewise ys.
// - Only pixels whose (xs, ys) lies in the source rectangle [x0, x1] x [y0, y1] (nodes, edges included)
//   are written; the rest of the destination is left as it was. Since xs grows with xd, the written
//   pixels form one rectangle.
// - Taps beyond the rectangle repeat its edge pixels (clamped indices).
// - Each channel is rounded half up and saturated to 0..255.
//
// Interpolation, per axis, with i = floor(s) and t = s - i:
//   nearest (1)   the pixel floor(s + 0.5)
//   linear (2)    pixels i, i+1 with weights 1 - t, t
//   cubic (4)     pixels i-1 .. i+2 with the Catmull-Rom weights (Keys' kernel with a = -0.5)
//   super (8)     the pixels under the footprint [s - 0.5/f, s + 0.5/f], each pixel a unit interval
//                 about its node, clipped to [x0 - 0.5, x1 + 0.5], weighted by overlap and normalised
// The two axes combine as a product (separable), in every mode.
//
// The reference evaluates every destination pixel on its own in double precision. The optimised levels
// resample rows first and then columns, in float; they agree with the reference exactly in nearest mode
// and at factors of 1, and otherwise within one unit where the exact value lies next to a half.
#pragma once
#include <cstddef>
#include <cstdint>

#include "kernel/Dispatch.h"

namespace VELA::kern {

enum ResizeMode : int { kResizeNearest = 1, kResizeLinear = 2, kResizeCubic = 4, kResizeSuper = 8 };

struct ResizeJob {
    // Pixel (x0, y0) of the source; pixel (x, y) of the rectangle is at src + (y - y0) * srcStep + 4 (x -
    // x0).
    const uint8_t* src;
    std::ptrdiff_t srcStep;   // bytes, > 0
    int x0, y0, x1, y1;       // the source rectangle, inclusive, x0 <= x1 and y0 <= y1
    uint8_t* dst;             // pixel (0, 0) of the destination
    std::ptrdiff_t dstStep;   // bytes, > 0
    int dstWidth, dstHeight;  // > 0
    double xFactor, yFactor;  // > 0
    double xCenter, yCenter;
    int mode;  // a ResizeMode
};

struct ResizeKernelTable {
    const char* name;
    // Resizes as described above. Returns false, with nothing written, only when an optimised level
    // cannot get its scratch memory.
    bool (*resize_8u_c4)(const ResizeJob& job);
};

// The table of the active level.
const ResizeKernelTable& RSK() noexcept;

// The table of one level, or null when the CPU cannot run it.
const ResizeKernelTable* ResizeTableFor(Variant v) noexcept;

// Source coordinate of destination coordinate d. A factor of exactly 1 is the identity, so that the
// rectangle is reproduced exactly whatever the centre (center + (d - center) need not round back to d).
inline double MapToSource(int d, double center, double factor) {
    if (factor == 1.0) return d;
    return center + (d - center) / factor;
}

// Catmull-Rom weight of a tap at distance x (Keys' cubic convolution kernel, a = -0.5).
inline double CubicWeight(double x) {
    constexpr double a = -0.5;
    if (x < 0) x = -x;
    if (x <= 1.0) return ((a + 2.0) * x - (a + 3.0)) * x * x + 1.0;
    if (x < 2.0) return ((a * x - 5.0 * a) * x + 8.0 * a) * x - 4.0 * a;
    return 0.0;
}

// Overlap of source pixel j (the interval [j - 0.5, j + 0.5]) with [lo, hi].
inline double PixelOverlap(int j, double lo, double hi) {
    const double a = lo > j - 0.5 ? lo : j - 0.5;
    const double b = hi < j + 0.5 ? hi : j + 0.5;
    return b > a ? b - a : 0.0;
}

// Per-thread scratch of the optimised levels: a block of at least `bytes` bytes aligned to 64, kept
// and reused by later calls on the same thread, or null when it cannot be had. Freed at thread exit.
void* ResizeScratch(std::size_t bytes) noexcept;

}  // namespace VELA::kern
