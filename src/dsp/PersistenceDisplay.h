// The display path of a persistence spectrum: what the application does with the density or hit arrays
// that the FPGA block returns. Four plain functions with C linkage (unmangled names, callable from C):
// scale a density array, map density or hit counts onto 16-bit colour indices, and stretch a
// four-channel bitmap about a fixed point.
//
// Status codes (int, 0 for success, negative for an error that wrote nothing):
//   -6  a length, width or height <= 0
//   -8  a null pointer
//   -9  the scratch array of MapDensityDataToColorRange could not be allocated
//   -14 a bitmap row step <= 0
//   -22 an interpolation mode that is not one of 1, 2, 4, 8
//   -23 a stretch factor <= 0 (or not a number)
//
// Data, one element per display cell: densities are float, hit counts unsigned 16-bit, colour indices
// unsigned 16-bit from 0 (bottom of the chosen range) to 65535 (its top). A bitmap has four 8-bit
// channels per pixel, interleaved, and rows `step` bytes apart.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

namespace VELA {

// Bitmap size and rectangle records, in pixels; the layout of the image library's own.
struct VELA_API IppiSize {
    int width;
    int height;
};
struct VELA_API IppiRect {
    int x;
    int y;
    int width;
    int height;
};
typedef unsigned char Ipp8u;

// Interpolation modes of StretchBitmap.
enum : int32_t {
    StretchNearest = 1,      // the source pixel nearest the mapped position
    StretchLinear = 2,       // bilinear
    StretchCubic = 4,        // bicubic, Catmull-Rom (Keys, a = -0.5)
    StretchSuperSample = 8,  // area average of the source over the destination pixel's footprint
};

extern "C" {

// density[i] *= factor for i < length, in place. Status 0, -8 (null), -6 (length <= 0).
VELA_API int NormalizeDensity(float factor, float* density, int length);

// colour[i] = saturate(round_half_even(65536 * q)) with q = (density[i] - low) / (high - low) formed
// in float; so low maps to 0 and everything from high up to 65535. A NaN quotient (high == low at
// density == low, or NaN data) gives 0; high == low otherwise gives 0 or 65535 by the sign.
//
// The quotients go through a scratch array held in static storage: it is allocated when the length
// first differs from the last one and then reused, so a steady display allocates nothing. An array
// left behind by a change of length is kept, not released, until the process ends. Not thread-safe:
// one thread at a time may be inside this function.
// Status 0, -8 (density or colour null), -6 (length <= 0), -9 (scratch allocation failed); nothing is
// written on an error.
VELA_API int MapDensityDataToColorRange(const float* density, float low, float high, unsigned short* colour,
                                        int length);

// low and high are fractions of the 16-bit range. With lowCount = the low 16 bits of
// truncate(low * 65535.0) and rangeCount likewise of (high - low) * 65535.0 (1 if that is 0):
// colour[i] = saturate(round_half_even(65536 * max(hits[i] - lowCount, 0) / rangeCount)). The
// truncations go toward zero whatever rounding mode is set, and leave the mode unchanged; a product
// beyond the int range (or NaN) counts as 0x80000000, whose low 16 bits are 0.
// Status 0, -8 (null), -6 (length <= 0); nothing written on an error.
VELA_API int MapHitDataToColorRange(const unsigned short* hits, float low, float high, unsigned short* colour,
                                    int length);

// Resizes the source rectangle `sourceRoi` of a four-channel 8-bit bitmap into `destination` by the
// factors xFactor, yFactor (above 1 enlarges) about the fixed point (xCenter, yCenter).
//
// Coordinates: source and destination share one pixel grid, with pixel (x, y) of each bitmap at the
// node (x, y) counted from its first pixel; `destination` holds destinationRoiSize pixels from (0, 0).
// Destination pixel (xd, yd) takes the source at
//     xs = xCenter + (xd - xCenter) / xFactor,  ys = yCenter + (yd - yCenter) / yFactor
// (a factor of exactly 1 maps a coordinate to itself). Only destination pixels whose (xs, ys) lies in
// the source rectangle (clipped to the bitmap), edges included, are written; the others keep their
// contents. Interpolation taps beyond the rectangle repeat its edge pixels. Each channel is rounded
// half up and saturated to 0..255. With both factors 1 the rectangle is copied exactly in every mode.
//
// Modes: 1 nearest (the pixel at floor(xs + 0.5), floor(ys + 0.5)); 2 bilinear; 4 bicubic with the
// Catmull-Rom kernel (Keys, a = -0.5); 8 super-sampling, the area average of the source pixels (as unit
// squares about their nodes) under the destination pixel's footprint, a box of 1/xFactor by 1/yFactor
// about (xs, ys), clipped to the rectangle.
//
// `source` must hold sourceSize.height rows of sourceStep bytes (the last row at least 4 * width
// bytes), `destination` destinationRoiSize.height rows of destinationStep bytes. The two may overlap:
// the source rectangle is then read from a copy.
//
// Status: the first failing test in the order null pointer (-8), width or height <= 0 of any of the
// three sizes (-6), step <= 0 (-14), factor not > 0 (-23), mode (-22); otherwise 0. A rectangle that
// misses the bitmap writes nothing and returns 0. A needed copy that cannot be allocated returns -9.
VELA_API int StretchBitmap(const Ipp8u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRoi,
                           Ipp8u* destination, int destinationStep, IppiSize destinationRoiSize,
                           double xFactor, double yFactor, double xCenter, double yCenter, int interpolation);

}  // extern "C"

}  // namespace VELA
