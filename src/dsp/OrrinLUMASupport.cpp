#include "OrrinLUMASupport.h"

#include <cmath>

#include "../math/MathUtils.h"
#include "../math/VELAError.h"
#include "../math/Vector.h"
#include "KaiserWindow.h"

namespace VELA {

namespace {

// 2 pi as the nearest float, widened: the NCO words of the block were defined with it.
constexpr double kTwoPiF = 6.2831854820251465;
// Full scale of the NCO words: pi as a float.
constexpr float kPiF = static_cast<float>(3.1415927410125732);
// Fixed phase offset of the NCO start, radians per sample (2^-10).
constexpr double kNcoStartOffset = 0.0009765625;
// Kaiser beta of the hardware window.
constexpr float kWindowBeta = 19.7f;
// No length or transform above this is representable in the block's 32-bit arithmetic.
constexpr int64_t kMaxLength = int64_t{1} << 30;

// truncate(v) as an int when v has an integer part in int range; false otherwise (NaN included).
bool TruncToInt(double v, int& out) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return false;
    out = static_cast<int>(v);
    return true;
}

// Smallest power of two >= n, for n in 1 .. 2^30 (n itself when it is one).
int64_t NextPow2(int64_t n) {
    int64_t p = 1;
    while (p < n)
        p <<= 1;
    return p;
}

int Log2(int64_t p) {
    int k = 0;
    while ((int64_t{1} << k) < p)
        ++k;
    return k;
}

}  // namespace

OrrinLUMASupport::OrrinLUMASupport() : OrrinLUMASupport(19) {}

OrrinLUMASupport::OrrinLUMASupport(int maxWindowOrder_)
    : windowBandwidthFactor(2.4023f), maxWindowOrder(maxWindowOrder_), minWindowLength(20) {}

bool OrrinLUMASupport::CompleteGrid(Grid& g, int oversample) {
    g.binStep = g.frequencyStep / oversample;
    g.totalPoints = static_cast<int64_t>(g.tracePoints) * oversample;
    if (g.totalPoints > kMaxLength) return false;
    // NextPowOf2(totalPoints - 1): a grid of 2^k + 1 points fits a 2^k transform.
    g.fftLength = NextPow2(g.totalPoints - 1);
    if (g.fftLength < 1024) g.fftLength = 1024;
    g.span = (g.tracePoints - 1) * g.frequencyStep;
    g.fullSpan = static_cast<double>(g.fftLength) * g.binStep;
    // Only the middle 80% of the transform is usable.
    while (0.8 * g.fullSpan < g.span) {
        if (g.fftLength >= kMaxLength) return false;  // also ends the loop for an infinite span
        g.fftLength *= 2;
        g.fullSpan = static_cast<double>(g.fftLength) * g.binStep;
    }
    return std::isfinite(g.fullSpan);
}

OrrinLUMASupportErrorTag OrrinLUMASupport::SetMeasurementParameters(double sampleRate, double startFrequency,
                                                                    double frequencyStep, int tracePoints,
                                                                    int oversample, float rbw,
                                                                    int dwellCount_, int windowTableSize,
                                                                    int reserved) {
    return SetMeasurementParameters(sampleRate, startFrequency, frequencyStep, tracePoints, oversample, rbw,
                                    dwellCount_, windowTableSize, reserved, false);
}

OrrinLUMASupportErrorTag OrrinLUMASupport::SetMeasurementParameters(double sampleRate, double startFrequency,
                                                                    double frequencyStep, int tracePoints,
                                                                    int oversample, float rbw,
                                                                    int dwellCount_, int windowTableSize,
                                                                    int /*reserved*/, bool stitchMode) {
    dwellCount = dwellCount_;
    if (tracePoints < 1 || oversample < 1) return LUMASupportParameterOutOfRange;

    Grid g{};
    g.startFrequency = startFrequency;
    g.frequencyStep = frequencyStep;
    g.tracePoints = tracePoints;
    if (stitchMode) {
        const int n = kDisplayPoints / tracePoints;
        stitchCount = n;
        if (tracePoints >= kDisplayPoints) return LUMASupportTooManyPoints;
        g.frequencyStep = frequencyStep / n;
        g.tracePoints = n * tracePoints;
        // The finer grid keeps the centre of the caller's.
        g.startFrequency = startFrequency - (n - 1) * g.frequencyStep * 0.5;
    } else {
        stitchCount = 0;
    }
    if (!CompleteGrid(g, oversample)) return LUMASupportParameterOutOfRange;

    const int fftOrder = Log2(g.fftLength);
    const double a = g.fullSpan * windowBandwidthFactor;
    int length = 0;
    if (!TruncToInt(a / rbw + 0.5, length) || length < minWindowLength || length > kMaxLength)
        return LUMASupportParameterOutOfRange;
    actualRBW = static_cast<float>(a / length);
    // The table is walked from end to end in exactly windowLength steps (20 fractional bits). In
    // double: 2^20 times a table size does not fit 32 bits.
    const double step = 1048576.0 * (windowTableSize - 1.0) / (length - 1.0) + 0.5;
    if (!(step >= 0.0 && step < 2147483648.0)) return LUMASupportParameterOutOfRange;
    windowStep = static_cast<int>(step);

    int transformOrder = Log2(NextPow2(length));
    if (transformOrder < fftOrder) transformOrder = fftOrder;
    // The limit is tested before the floor of 10 is applied. No limit above 30 is reachable.
    if (transformOrder > maxWindowOrder || transformOrder > 30) return LUMASupportParameterOutOfRange;
    if (transformOrder < 10) transformOrder = 10;
    const int m = 1 << (transformOrder - fftOrder);
    const int64_t perStep = static_cast<int64_t>(m) * oversample;
    if (perStep > 2147483647) return LUMASupportParameterOutOfRange;

    const double zoomedSpan =
        (g.binStep / m) * (static_cast<double>(m) * static_cast<double>(g.totalPoints) - 1);
    const double requiredBandwidth = g.fullSpan > zoomedSpan ? g.fullSpan : zoomedSpan;

    // Rate search: halve the rate until the fractional resampler (ratio 256/(256+k), k in 0..255) can
    // bring twice the rate down to the bandwidth needed.
    if (!(std::isfinite(sampleRate) && sampleRate > 0.0 && std::isfinite(requiredBandwidth) &&
          requiredBandwidth > 0.0))
        VELA_THROW(VELAErrorInvalidInputParameter);
    double x = sampleRate;
    int stages = 0;
    int enable = 0;
    int counter = -1;
    int k = 0;
    for (;;) {
        if (x < requiredBandwidth) {
            k = static_cast<int>(x * 2 * 256 / requiredBandwidth - 256 + 0.5);
            if (k < -1) VELA_THROW(VELAErrorInvalidInputParameter);  // the rate is too low for the span
            if (k == -1) {
                k = 0;
                break;
            }
            if (k <= 255) break;
        }
        ++counter;
        x *= 0.5;
        stages = counter;
        enable = 1;
    }
    decimationStages = stages;
    decimationEnable = enable;
    resamplerOffset = k;
    outputSampleRate = x * (256.0 / (k + 256)) * 2;

    // The NCO starts half a zoomed bin below the first bin of the first point's oversampled group. (M -
    // 1) / M is a real division: the half-bin offset of the zoomed grid.
    const double s1 = g.startFrequency - (oversample - 1) * g.binStep * 0.5;
    const double s2 = s1 - g.binStep * ((m - 1) / static_cast<double>(m)) * 0.5;
    const double c = s2 * -kTwoPiF / outputSampleRate - kNcoStartOffset;
    ncoStart = MathUtils::ToFixedPoint(static_cast<float>(c), kPiF, 32);
    const double stepRad = g.span * kTwoPiF /
                           (g.tracePoints * outputSampleRate * static_cast<double>(dwellCount)) /
                           (static_cast<double>(m) * oversample);
    ncoStep = MathUtils::ToFixedPoint(static_cast<float>(stepRad), kPiF, 32);

    KaiserWindow window(length, kWindowBeta);
    VecReal32 coef;
    window.GetCoefficients(coef);
    windowGain = (coef.Sum() / coef.Max()) / static_cast<float>(std::ldexp(1.0, transformOrder));

    pointsPerStep = static_cast<int>(perStep);
    zoomFactor = m;
    windowLength = length;
    transformOrderCode = transformOrder - 10;
    return LUMASupportSuccess;
}

void OrrinLUMASupport::FindRBWRange(float& minRBW, float& maxRBW, double startFrequency, double frequencyStep,
                                    int tracePoints, int oversample) {
    if (tracePoints < 1 || oversample < 1) VELA_THROW(VELAErrorInvalidInputParameter);
    Grid g{};
    g.startFrequency = startFrequency;
    g.frequencyStep = frequencyStep;
    g.tracePoints = tracePoints;
    // Always refined below 801 points. Above 801 the quotient is 0 and the grid stays as it is; at
    // exactly 801 it is 1, which changes nothing.
    if (tracePoints < kDisplayPoints) {
        const int n = kDisplayPoints / tracePoints;
        g.frequencyStep = frequencyStep / n;
        g.tracePoints = n * tracePoints;
    }
    if (!CompleteGrid(g, oversample)) VELA_THROW(VELAErrorInvalidInputParameter);
    const double a = g.fullSpan * windowBandwidthFactor;
    // Each quotient is rounded to float before its margin.
    minRBW = static_cast<float>(a / std::ldexp(1.0, maxWindowOrder)) * 1.01f;
    maxRBW = static_cast<float>(a / minWindowLength) * 0.99f;
}

void OrrinLUMASupport::GetFPGAParameters(int& pointsPerStep_, int& zoomFactor_, int& windowLength_,
                                         int& windowStep_, int& transformOrderCode_, int& resamplerOffset_,
                                         int& decimationStages_, int& decimationEnable_, int& ncoStart_,
                                         int& ncoStep_, float& windowGain_, double& outputSampleRate_,
                                         float& actualRBW_) const {
    pointsPerStep_ = pointsPerStep;
    zoomFactor_ = zoomFactor;
    windowLength_ = windowLength;
    windowStep_ = windowStep;
    transformOrderCode_ = transformOrderCode;
    resamplerOffset_ = resamplerOffset;
    decimationStages_ = decimationStages;
    decimationEnable_ = decimationEnable;
    ncoStart_ = ncoStart;
    ncoStep_ = ncoStep;
    windowGain_ = windowGain;
    outputSampleRate_ = outputSampleRate;
    actualRBW_ = actualRBW;
}

void OrrinLUMASupport::GetFPGAParameters(int& pointsPerStep_, int& zoomFactor_, int& stitchCount_,
                                         int& windowLength_, int& windowStep_, int& transformOrderCode_,
                                         int& resamplerOffset_, int& decimationStages_,
                                         int& decimationEnable_, int& ncoStart_, int& ncoStep_,
                                         float& windowGain_, double& outputSampleRate_,
                                         float& actualRBW_) const {
    GetFPGAParameters(pointsPerStep_, zoomFactor_, windowLength_, windowStep_, transformOrderCode_,
                      resamplerOffset_, decimationStages_, decimationEnable_, ncoStart_, ncoStep_,
                      windowGain_, outputSampleRate_, actualRBW_);
    stitchCount_ = stitchCount;
}

void OrrinLUMASupport::GetFPGAParameters(int& pointsPerStep_, int& zoomFactor_, int& stitchCount_,
                                         int& windowLength_, int& windowStep_, int& transformOrderCode_,
                                         int& resamplerOffset_, int& decimationStages_,
                                         int& decimationEnable_, int& ncoStart_, int& ncoStep_,
                                         int& dwellCount_, float& windowGain_, double& outputSampleRate_,
                                         float& actualRBW_) const {
    GetFPGAParameters(pointsPerStep_, zoomFactor_, stitchCount_, windowLength_, windowStep_,
                      transformOrderCode_, resamplerOffset_, decimationStages_, decimationEnable_, ncoStart_,
                      ncoStep_, windowGain_, outputSampleRate_, actualRBW_);
    dwellCount_ = dwellCount;
}

int OrrinLUMASupport::PathTestFunction() {
    return 123;
}

}  // namespace VELA
