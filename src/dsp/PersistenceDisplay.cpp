#include "PersistenceDisplay.h"

#include <cstddef>
#include <cstring>

#include "kernel/ColorMapKernels.h"
#include "kernel/Memory.h"
#include "kernel/ResizeKernels.h"
#include "kernel/VectorKernels.h"

namespace VELA {

namespace {

// Status codes, as the image and signal libraries define them.
constexpr int kStsNoErr = 0;
constexpr int kStsSizeErr = -6;
constexpr int kStsNullPtrErr = -8;
constexpr int kStsMemAllocErr = -9;
constexpr int kStsStepErr = -14;
constexpr int kStsInterpolationErr = -22;
constexpr int kStsResizeFactorErr = -23;

// The scratch array of MapDensityDataToColorRange. A block replaced by a change of length is not
// released: it stays linked behind the current one for the life of the process (reachable, so a leak
// checker sees memory that is kept, not lost).
struct ScratchHeader {
    ScratchHeader* previous;
};
constexpr std::size_t kScratchHeaderBytes = kern::kAlignment;  // keeps the floats aligned
ScratchHeader* g_scratch = nullptr;
int g_scratchLength = 0;

float* DensityScratch(int length) {
    if (!g_scratch || length != g_scratchLength) {
        auto* block = static_cast<ScratchHeader*>(
            kern::AlignedAlloc(kScratchHeaderBytes + sizeof(float) * static_cast<std::size_t>(length)));
        if (!block) return nullptr;
        block->previous = g_scratch;
        g_scratch = block;
        g_scratchLength = length;
    }
    return reinterpret_cast<float*>(reinterpret_cast<unsigned char*>(g_scratch) + kScratchHeaderBytes);
}

// truncate(v) toward zero as the processor's conversion does it: a value outside the int range, or NaN,
// gives the integer indefinite 0x80000000. Only the low 16 bits are used.
uint16_t Low16OfTruncation(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return 0;  // low 16 bits of 0x80000000
    return static_cast<uint16_t>(static_cast<uint32_t>(static_cast<int32_t>(v)));
}

}  // namespace

extern "C" {

int NormalizeDensity(float factor, float* density, int length) {
    if (!density) return kStsNullPtrErr;
    if (length <= 0) return kStsSizeErr;
    kern::K().mulc_f32(density, factor, length);
    return kStsNoErr;
}

int MapDensityDataToColorRange(const float* density, float low, float high, unsigned short* colour,
                               int length) {
    if (!density || !colour) return kStsNullPtrErr;
    if (length <= 0) return kStsSizeErr;
    float* scratch = DensityScratch(length);
    if (!scratch) return kStsMemAllocErr;
    kern::CMK().density_u16(density, low, high - low, scratch, colour, length);
    return kStsNoErr;
}

int MapHitDataToColorRange(const unsigned short* hits, float low, float high, unsigned short* colour,
                           int length) {
    if (!hits || !colour) return kStsNullPtrErr;
    if (length <= 0) return kStsSizeErr;
    // Casts truncate toward zero whatever the rounding mode, which therefore needs no saving.
    const uint16_t lowCount = Low16OfTruncation(low * 65535.0);
    uint16_t rangeCount = Low16OfTruncation((high - low) * 65535.0);
    if (rangeCount == 0) rangeCount = 1;
    kern::CMK().hits_u16(hits, lowCount, rangeCount, colour, length);
    return kStsNoErr;
}

int StretchBitmap(const Ipp8u* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRoi,
                  Ipp8u* destination, int destinationStep, IppiSize destinationRoiSize, double xFactor,
                  double yFactor, double xCenter, double yCenter, int interpolation) {
    if (!source || !destination) return kStsNullPtrErr;
    if (sourceSize.width <= 0 || sourceSize.height <= 0 || sourceRoi.width <= 0 || sourceRoi.height <= 0 ||
        destinationRoiSize.width <= 0 || destinationRoiSize.height <= 0)
        return kStsSizeErr;
    if (sourceStep <= 0 || destinationStep <= 0) return kStsStepErr;
    if (!(xFactor > 0) || !(yFactor > 0)) return kStsResizeFactorErr;
    if (interpolation != kern::kResizeNearest && interpolation != kern::kResizeLinear &&
        interpolation != kern::kResizeCubic && interpolation != kern::kResizeSuper)
        return kStsInterpolationErr;

    // The rectangle, clipped to the bitmap (in 64 bits: x + width may exceed the int range).
    const int64_t rx0 = sourceRoi.x, ry0 = sourceRoi.y;
    const int64_t rx1 = rx0 + sourceRoi.width - 1, ry1 = ry0 + sourceRoi.height - 1;
    const int64_t x0 = rx0 > 0 ? rx0 : 0, y0 = ry0 > 0 ? ry0 : 0;
    const int64_t x1 = rx1 < sourceSize.width - 1 ? rx1 : sourceSize.width - 1;
    const int64_t y1 = ry1 < sourceSize.height - 1 ? ry1 : sourceSize.height - 1;
    if (x0 > x1 || y0 > y1) return kStsNoErr;

    kern::ResizeJob job{};
    job.src = source + y0 * sourceStep + 4 * x0;
    job.srcStep = sourceStep;
    job.x0 = static_cast<int>(x0);
    job.y0 = static_cast<int>(y0);
    job.x1 = static_cast<int>(x1);
    job.y1 = static_cast<int>(y1);
    job.dst = destination;
    job.dstStep = destinationStep;
    job.dstWidth = destinationRoiSize.width;
    job.dstHeight = destinationRoiSize.height;
    job.xFactor = xFactor;
    job.yFactor = yFactor;
    job.xCenter = xCenter;
    job.yCenter = yCenter;
    job.mode = interpolation;

    // Reading the rectangle while the destination is written over it would read what was just
    // written: when the byte ranges meet, resize from a copy of the rectangle.
    const std::size_t rowBytes = 4 * static_cast<std::size_t>(x1 - x0 + 1);
    const auto srcBegin = reinterpret_cast<std::uintptr_t>(job.src);
    const auto srcEnd = srcBegin + static_cast<std::size_t>(y1 - y0) * sourceStep + rowBytes;
    const auto dstBegin = reinterpret_cast<std::uintptr_t>(destination);
    const auto dstEnd = dstBegin + static_cast<std::size_t>(destinationRoiSize.height - 1) * destinationStep +
                        4 * static_cast<std::size_t>(destinationRoiSize.width);
    if (srcBegin < dstEnd && dstBegin < srcEnd) {
        const std::size_t rows = static_cast<std::size_t>(y1 - y0 + 1);
        auto* copy = static_cast<Ipp8u*>(kern::AlignedAlloc(rowBytes * rows));
        if (!copy) return kStsMemAllocErr;
        for (std::size_t r = 0; r < rows; ++r)
            std::memcpy(copy + r * rowBytes, job.src + r * sourceStep, rowBytes);
        job.src = copy;
        job.srcStep = static_cast<std::ptrdiff_t>(rowBytes);
        const bool done = kern::RSK().resize_8u_c4(job);
        kern::AlignedFree(copy);
        return done ? kStsNoErr : kStsMemAllocErr;
    }
    return kern::RSK().resize_8u_c4(job) ? kStsNoErr : kStsMemAllocErr;
}

}  // extern "C"

}  // namespace VELA
