// SteppedSpectrum: a spectrum over a span wider than one acquisition, measured tuning by tuning and
// stitched into one trace.
//
// Init turns the request (span, centre, resolution and video bandwidth, trace points, window, detector)
// and the hardware's limits (acquisition span and sample rate of one tuning) into a plan: the tuning
// frequencies, the samples to acquire at each, the trace points each delivers, and the resolution
// bandwidth the block length really gives. The caller tunes, acquires numSamples[i] complex samples
// and feeds them in plan order:
//
//   one call:   Apply(out, block, i)                       -> display points of the Init detector
//   two stages: Apply1(mag, block, i); Apply2(out, mag, i, det) once per trace, each with its own det
//   CISPR:      per acquisition Apply1 then Apply3(res, mag, i, a, det) per detector; then Apply2
//
// Inside: window, chirp-Z over exactly this tuning's grid (upsample bins per grid point), magnitude (or
// a power average of several blocks for a video bandwidth, or per-sub-block magnitudes for a block
// longer than the window), this tuning's share of the bins, detection by upsample, detection across
// tuning edges by stitchRate with the remainder carried to the next tuning, and the unit (PowerUnit).
// Concatenating the outputs of a sweep gives the requested number of points (twice that for the
// max-min detector, which gives a maximum and a minimum per point).
//
// Choices of this implementation that callers may notice:
// - Init throws VELAException "invalid input parameter" for a request that has no meaning: rbw,
//   acqSpan or sampFreq not positive, points below 2, a negative span or acqSamples, a window type
//   outside 0..7, a frequency, span or rate that is not finite, a block length outside 2 .. INT_MAX,
//   or a plan whose counts (stitched grid points, tunings, chirp-Z points) would not fit an int. A
//   request refused after the checks at the top leaves the object without a plan (Apply refuses
//   until the next good Init); the caller's output vectors are untouched either way.
// - Apply, Apply1, Apply2 and Apply3 throw the same before a usable plan exists (no Init, or only an
//   estimate), for an index outside the plan, and for a block shorter than the plan needs; Apply3 also
//   when the plan has no CISPR detector.
// - A video bandwidth so wide that the fitted data factor falls below 1 acquires one block.
// - The stitch remainder of the one-call way is kept in its own buffer, so it is never lost.
// - Max-min runs as two tracks (maximum and minimum, each with its own stitch remainder), interleaved at
//   the end: two values per point in every mode, with and without stitching or sub-blocks.
// - The two-stage way carries the remainder between tunings before the sub-block reduction, so every
//   detector of a tuning sees the same carry and each trace equals a run with that detector alone.
// - A CISPR detector in the one-call way detects with the maximum, as Apply2 does.
//
// The object owns its window, chirp-Z and CISPR detector; copying is refused. Scratch lives in the
// object: after the first sweep of a plan, a sweep allocates nothing. One object serves one thread.
#pragma once
#include "../math/VELAExport.h"

#include "../math/IntVector.h"
#include "../math/Vector.h"
#include "DSPUtils.h"
#include "Spectrum.h"
#include "VideoBandwidth.h"
#include "Window.h"
#include "WindowFactory.h"

namespace VELA {

class ChirpZ;
class CISPRDetector;
class UnitTestRecorder;

class VELA_API SteppedSpectrum {
  public:
    SteppedSpectrum();
    SteppedSpectrum(const SteppedSpectrum&) = delete;
    SteppedSpectrum& operator=(const SteppedSpectrum&) = delete;
    virtual ~SteppedSpectrum();

    // The plan. freqSteps, acqSpans, numSamples and numPoints get one element per tuning; actualRBW is
    // the resolution bandwidth of the block length; actualVBW is set to 0.0 only where the hardware's
    // block length (acqSamples) overrides what the video bandwidth wanted, else left as passed.
    // acqSamples 0: the hardware delivers what the plan asks. vbw 0: none. cisprAcqBlocks > 0 replaces
    // the computed number of CISPR acquisitions. estimateOnly: the numbers without the processing
    // objects (no Apply possible afterwards).
    void Init(VecReal64& freqSteps, VecReal64& acqSpans, VecInt32& numSamples, VecInt32& numPoints,
              double& actualRBW, double& actualVBW, double span, double centerFreq, double rbw,
              WindowType window, int points, double acqSpan, double sampFreq, int acqSamples,
              DetectorType detector, bool estimateOnly, double vbw, int cisprAcqBlocks);
    void Init(VecReal64& freqSteps, VecReal64& acqSpans, VecInt32& numSamples, VecInt32& numPoints,
              double& actualRBW, double span, double centerFreq, double rbw, WindowType window, int points,
              double acqSpan, double sampFreq, int acqSamples, DetectorType detector, bool estimateOnly,
              double vbw);

    // Chirp-Z bins per grid point, and grid points per delivered point.
    void GetUpsampleRate(int& upsample, int& stitchRate) const;
    // Acquisitions per tuning when a CISPR detector runs.
    int GetCISPRAcqNum() const { return m_cisprAcqNum; }
    // dB that take a noise reading to a 1 Hz bandwidth: -10 log10(ENBW * sampFreq / blockLen).
    double GetNoiseMarkerCorrection() const;

    // One call per tuning: `out` gets this tuning's display points (possibly none while stitching has
    // not completed a group), in the unit set by SetUnit.
    void Apply(VecReal32& out, const VecCplx32& in, int index);
    // First stage: raw magnitudes of this tuning's share of the bins (sub-block magnitudes side by side
    // per bin in the sub-block mode). Input of Apply2 or Apply3.
    void Apply1(VecReal32& out, const VecCplx32& in, int index);
    // Second stage: display points with detector `det`; may run several times per tuning. out may be in:
    // the input is read in full before out is written.
    void Apply2(VecReal32& out, const VecReal32& in, int index, DetectorType det);
    // CISPR stage between the two: acquisition acqIndex of GetCISPRAcqNum() through the detector. out
    // may be in, as in CISPRDetector::Apply.
    void Apply3(VecReal32& out, const VecReal32& in, int index, int acqIndex, DetectorType det);

    // Unit of every later conversion: 0 dB, 1 dB plus 10, anything else linear.
    void SetUnit(PowerUnit unit) { m_unit = unit; }

    // Test signals: a unit complex tone of normFreq cycles per sample (phase formed in double with the
    // float value of 2 pi), and uniform noise in [-0.5, 0.5) per part, the same at every call.
    static void GenCW(VecCplx32& out, double normFreq, int n);
    static void GenNoise(VecCplx32& out, int n);

    static bool TestVBW(UnitTestRecorder& recorder);
    static bool MemoryLeakTest(UnitTestRecorder& recorder);
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    static bool IsCISPRDetector(DetectorType det);
    void Reset();
    void PlanMultiple(double& actualRBW, double& actualVBW);
    void PlanSingle(double& actualRBW, double& actualVBW);
    // Steps shared by both branches: window, block length, video bandwidth, the hardware's block length,
    // upsampling; W is the span one tuning covers, Q its grid points.
    void CommonSteps(double& actualRBW, double& actualVBW, double W, int Q);
    void OutputStage(VecReal64& freqSteps, VecReal64& acqSpans, VecInt32& numSamples, VecInt32& numPoints);

    void CheckProcessing(int index) const;
    // Stage A: the block to magnitudes per chirp-Z bin (m_mag), or the sub-block matrix (m_blockMat),
    // bin-major for Apply1, one row per sub-block for Apply.
    void StageA(const VecCplx32& in, bool binMajor);
    // Apply's reduction of the sub-block rows to one value per bin.
    void ReduceSubBlocks(VecReal32& out, DetectorType det);
    // One single-output detector's way through the rest of Apply / Apply2; the result is returned.
    const VecReal32& TrackApply(VecReal32& pre, VecReal32& post, DetectorType det, int index,
                                VecReal32& carry);
    const VecReal32& TrackApply2(VecReal32& points, VecReal32& post, const VecReal32& stitch,
                                 DetectorType det);
    void ConvertUnit(VecReal32& out, VecReal32& in, PowerUnit unit);
    void ConvertUnitMag(VecReal32& out, VecReal32& in, PowerUnit unit);

    Window* m_window;
    ChirpZ* m_chirpZ;
    CISPRDetector* m_cispr;
    VideoBandwidth m_vbw;
    PowerUnit m_unit;
    double m_span, m_centerFreq, m_rbw, m_vbwRequest;
    WindowType m_windowType;
    int m_numPoints;
    double m_acqSpan, m_sampFreq;
    int m_cisprAcqLimit;
    VecReal64 m_freqSteps;
    VecReal64 m_acqSpans;
    VecInt32 m_numSamples;
    VecInt32 m_tuningPoints;
    bool m_estimateOnly;
    VecReal32 m_weights;  // the window's coefficients, one per block point
    VecReal32 m_edgeBuf, m_tuningTrace, m_stitchBuf, m_powerBuf, m_tailBuf;
    WindowFactory m_windowFactory;
    double m_stepSpan;
    int m_stepPoints;
    int m_upsample;
    int m_stitchRate;
    DetectorType m_detector;      // detector of the processing; Apply2 overwrites it
    DetectorType m_initDetector;  // detector of the request, for the short cuts
    VecReal32 m_mag, m_detMain, m_detTail;
    bool m_subBlocks;
    bool m_averageBlocks;
    int m_blockLen;
    int m_acqSamples;
    int m_subBlockLen;
    VecReal32 m_blockMat;
    VecCplx32 m_block;
    VecReal32 m_blockMag;
    int m_numSubBlocks;
    VecReal32 m_stitched, m_carry, m_carryPrev;
    int m_lastIndex;
    int m_czPoints;
    VecReal32 m_subPower;
    int m_cisprAcqNum;
    bool m_planned;

    // Stitch remainders of the one-call way (maximum track; minimum track of max-min), and the scratch
    // of the second track and of the interleaving.
    VecReal32 m_stitchCarry, m_stitchCarryLo;
    VecReal32 m_traceLo, m_pointsHi, m_pointsLo, m_interleaved;
    VecReal64 m_accum;  // per-bin sums of the sub-block reduction
};

}  // namespace VELA
