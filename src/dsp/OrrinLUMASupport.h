// OrrinLUMASupport: the host-side calculator of the LUMA persistence-spectrum FPGA block.
//
// Given a sample rate, a frequency grid (start, step, trace points, oversampling) and a requested
// resolution bandwidth, it derives the integers the block runs on: transform size and zoom, window
// length and the step through the hardware window table, decimation and fractional-resampler settings,
// and the fixed-point start and step of the sweeping NCO. Nothing is sent anywhere: the caller reads the
// numbers back with GetFPGAParameters and writes them to the hardware.
//
// Two modes. Realtime mode runs one pass over the caller's grid. Stitch mode splits each trace point
// into n = 801 / tracePoints finer points (the grid keeps its centre), so that a short trace still fills
// the 801-point display; it refuses 801 points or more.
//
// Units: frequencies, steps, spans, rates and bandwidths in Hz. NCO words are signed fractions of pi
// radians per sample, left-justified in 32 bits (MathUtils::ToFixedPoint).
//
// The object owns no memory; copies are plain member copies. One object serves one thread at a time.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

namespace VELA {

class UnitTestRecorder;

// Result of OrrinLUMASupport::SetMeasurementParameters. 0 and 2 are never produced.
enum OrrinLUMASupportErrorTag : int32_t {
    LUMASupportParameterOutOfRange = 1,  // window shorter than the minimum, or transform beyond the limit
    LUMASupportTooManyPoints = 3,        // stitch mode asked for 801 or more trace points
    LUMASupportSuccess = 4,
};

class VELA_API OrrinLUMASupport {
  public:
    // The widest trace the display shows; stitch mode fills it.
    static constexpr int kDisplayPoints = 801;

    // Transform limit 2^19 (maxWindowOrder 19).
    OrrinLUMASupport();
    // Transform limit 2^maxWindowOrder.
    explicit OrrinLUMASupport(int maxWindowOrder);
    OrrinLUMASupport(const OrrinLUMASupport&) = default;
    OrrinLUMASupport& operator=(const OrrinLUMASupport&) = default;
    virtual ~OrrinLUMASupport() = default;

    // Derives every FPGA parameter of the grid (startFrequency, frequencyStep in Hz, tracePoints,
    // oversample bins per point) for the requested rbw (Hz), sampleRate (Hz), dwellCount, and a hardware
    // window table of windowTableSize entries. `reserved` is accepted and ignored.
    //
    // Returns LUMASupportSuccess, LUMASupportTooManyPoints (stitch mode, tracePoints >= 801) or
    // LUMASupportParameterOutOfRange (rbw too wide for the minimum window, or too narrow for the
    // transform limit). Throws VELAException "invalid input parameter" when the sample rate is too low
    // for the span (below about half the bandwidth needed).
    //
    // Inputs that no grid can have are refused the same way instead of running into undefined
    // arithmetic: tracePoints or oversample below 1, a step that is not finite or whose span shrinks as
    // the transform grows (negative), a window table size that gives no step in 0..2^31-1 (including
    // sizes below 1), a window or transform length beyond 2^30, or an rbw that is not a positive number
    // all give LUMASupportParameterOutOfRange; a sample rate or a needed bandwidth that
    // is not a positive finite number throws "invalid input parameter", as a too-low rate does.
    //
    // dwellCount is stored before anything is tested; after a failure the parameters must not be read.
    OrrinLUMASupportErrorTag SetMeasurementParameters(double sampleRate, double startFrequency,
                                                      double frequencyStep, int tracePoints, int oversample,
                                                      float rbw, int dwellCount, int windowTableSize,
                                                      int reserved, bool stitchMode);
    // Realtime mode (stitchMode false).
    OrrinLUMASupportErrorTag SetMeasurementParameters(double sampleRate, double startFrequency,
                                                      double frequencyStep, int tracePoints, int oversample,
                                                      float rbw, int dwellCount, int windowTableSize,
                                                      int reserved);

    // The rbw range (Hz) that SetMeasurementParameters accepts for this grid, with a 1% margin inside
    // each limit. The grid is always refined as in stitch mode when it has fewer than 801 points.
    // Throws "invalid input parameter" when tracePoints or oversample is below 1, the step is not
    // finite, or the grid needs a transform beyond 2^30 points.
    void FindRBWRange(float& minRBW, float& maxRBW, double startFrequency, double frequencyStep,
                      int tracePoints, int oversample);

    // The parameters of the last successful SetMeasurementParameters. Integer lists, in order:
    //   10: pointsPerStep, zoomFactor, windowLength, windowStep, transformOrderCode, resamplerOffset,
    //       decimationStages, decimationEnable, ncoStart, ncoStep
    //   11: pointsPerStep, zoomFactor, stitchCount, then as the 10 from windowLength on
    //   12: the 11, then dwellCount
    // then windowGain, outputSampleRate (Hz) and actualRBW (Hz).
    void GetFPGAParameters(int& pointsPerStep, int& zoomFactor, int& windowLength, int& windowStep,
                           int& transformOrderCode, int& resamplerOffset, int& decimationStages,
                           int& decimationEnable, int& ncoStart, int& ncoStep, float& windowGain,
                           double& outputSampleRate, float& actualRBW) const;
    void GetFPGAParameters(int& pointsPerStep, int& zoomFactor, int& stitchCount, int& windowLength,
                           int& windowStep, int& transformOrderCode, int& resamplerOffset,
                           int& decimationStages, int& decimationEnable, int& ncoStart, int& ncoStep,
                           float& windowGain, double& outputSampleRate, float& actualRBW) const;
    void GetFPGAParameters(int& pointsPerStep, int& zoomFactor, int& stitchCount, int& windowLength,
                           int& windowStep, int& transformOrderCode, int& resamplerOffset,
                           int& decimationStages, int& decimationEnable, int& ncoStart, int& ncoStep,
                           int& dwellCount, float& windowGain, double& outputSampleRate,
                           float& actualRBW) const;

    // Always 123: proves that a caller has loaded the library and can reach the class.
    int PathTestFunction();

    // Self-tests, recorded under "Orrin LUMA Support". UnitTest runs GeneralTest and the five CR cases.
    static bool UnitTest(UnitTestRecorder& recorder);
    static bool GeneralTest(UnitTestRecorder& recorder);
    static bool UnitTestCR90305(UnitTestRecorder& recorder);
    static bool UnitTestCR90692(UnitTestRecorder& recorder);
    static bool UnitTestCR91425(UnitTestRecorder& recorder);
    static bool UnitTestCR94528(UnitTestRecorder& recorder);
    static bool UnitTestCR96006(UnitTestRecorder& recorder);

  private:
    // The grid after refinement, shared by SetMeasurementParameters and FindRBWRange.
    struct Grid {
        double startFrequency;
        double frequencyStep;
        int tracePoints;
        double binStep;       // frequencyStep / oversample
        int64_t totalPoints;  // tracePoints * oversample
        int64_t fftLength;    // power of two >= 1024 whose 80% covers the span
        double span;          // (tracePoints - 1) * frequencyStep
        double fullSpan;      // fftLength * binStep
    };
    // Steps 3 to 6 of the grid (binStep onwards) on an already refined grid; false when the transform
    // would need more than 2^30 points or the grid is not finite.
    static bool CompleteGrid(Grid& g, int oversample);

    float windowBandwidthFactor;  // window RBW in units of sample rate / window length
    int maxWindowOrder;           // log2 of the largest transform
    int minWindowLength;          // samples
    float actualRBW{};            // Hz, what the chosen window length gives
    double outputSampleRate{};    // Hz, after decimation and fractional resampling
    // The eleven integers of the FPGA block, kept together in this order.
    int pointsPerStep{};       // zoomFactor * oversample
    int zoomFactor{};          // 2^(transformOrder - fftOrder)
    int windowLength{};        // samples
    int transformOrderCode{};  // transformOrder - 10
    int resamplerOffset{};     // k: the resampler runs at 256 / (256 + k)
    int decimationStages{};    // rate halvings minus one (0 for none or one)
    int decimationEnable{};    // 1 when the rate was halved at least once
    int ncoStart{};            // pi radians per sample, 32-bit fixed point
    int ncoStep{};             // same format
    int dwellCount{};          // the caller's, unchanged
    int windowStep{};          // unsigned fraction, 20 fractional bits
    float windowGain{};        // (window sum / window peak) / 2^transformOrder
    int stitchCount{};         // trace-point multiplier in stitch mode, 0 in realtime mode
};

}  // namespace VELA
