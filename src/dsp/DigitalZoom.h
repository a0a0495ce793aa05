// DigitalZoom: a fine spectrum of a narrow part of a wide block of IQ samples. Apply shifts the wanted
// centre to zero frequency, lowers the rate through a chain of half-band filters (m_numStages steps of
// a 27-tap filter, then one step of a 51-tap filter when the span fills at most 40% of the rate before
// it), windows the result and evaluates a chirp-Z transform at the output points across the span,
// then returns powers, in dB (unit 0) or linear (any other unit).
//
// Levels: the filters have unity gain in their passband and the window's coefficients sum to 1, so a
// complex tone of amplitude A on an output point reads A^2 (20 log10 A dB).
//
// No filter history is kept: each Apply stands alone and needs the number of input samples that
// SetParameters returns. Moving only the centre rebuilds nothing. The chain's scratch buffers, the
// window and the chirp-Z live in the object, so steady calls allocate nothing once the output has grown.
//
// One settled asymmetry: with an even, non-zero count of 27-tap stages and no 51-tap stage, the chain
// hands on the output of its last stage but one (twice as long and at twice the rate the chirp-Z is
// set up for); the window and the chirp-Z take its first block. A tone at offset 2d from the centre
// then reads at offset d. The odd counts, the 51-tap endings and DigitalSource do not do this.
//
// Copies share the window and the chirp-Z (flat pointer copy): an object has one owner, is not copied
// while in use, and after a copy only one of the two may be destroyed. One object serves one thread.
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"
#include "Spectrum.h"
#include "Window.h"
#include "WindowFactory.h"

namespace VELA {

class ChirpZ;
class UnitTestRecorder;

class VELA_API DigitalZoom {
  public:
    // Source unset (-1.0 for its centre, span and rate): SetSource must follow.
    DigitalZoom();
    // The source's centre, span and sample rate (Hz); no zoom set yet.
    DigitalZoom(double srcCenter, double srcSpan, double srcSampFreq);
    DigitalZoom(const DigitalZoom&) = default;
    DigitalZoom& operator=(const DigitalZoom&) = default;
    virtual ~DigitalZoom();

    // Unchanged values do nothing. Otherwise stores them and clears the zoom as the constructor does,
    // deleting the window and the chirp-Z; the unit returns to dB (0) as well.
    void SetSource(double srcCenter, double srcSpan, double srcSampFreq);

    // Zoom to `span` around `center` (Hz) with resolution bandwidth `rbw` (Hz) and the window `window`
    // with parameter `windowPara`. Returns the input samples one Apply needs, or -1 when the range
    // [center - span/2, center + span/2] is not inside the source (a 1e-6 Hz slack admits a range that
    // touches an edge); -1 changes nothing else, so an earlier zoom stays usable. The output has
    // trunc(span/rbw + 1) points, at least 1001; the block into window and chirp-Z at least 2 samples.
    // Throws VELAException "invalid input parameter" (object unchanged) for span or rbw not positive and
    // finite, a window type outside 0..7, or a zoom needing more samples than an int holds.
    int SetParameters(double center, double span, double rbw, WindowType window, double windowPara);

    // out = the spectrum across the span, low to high frequency; binWidth = its point spacing (Hz).
    // `in` holds the samples SetParameters asked for. Throws VELAException "invalid input parameter"
    // before a successful SetParameters (since construction or the last SetSource) and when `in` is
    // shorter than asked (the chain never pads, and the transform would read past its data).
    void Apply(VecReal32& out, double& binWidth, const VecCplx32& in);

    // 0: dB, 10 log10(power + eps) with eps the float 1e-40; any other value: linear power.
    void SetUnit(PowerUnit unit) { m_unit = unit; }

    // Self-test under "DigitalZoom"; always returns true, the verdicts go into the recorder.
    static bool UnitTest(UnitTestRecorder& recorder);

    // The half-band filters of the chain, in float: the centre tap, then the taps at odd lags 1, 3,
    // 5, ... (every other even lag is zero). DigitalSource holds its own tables with the same values.
    static const int halfBandFilterTaps;             // 27
    static const float halfBandFilterCoefs[8];       // centre and 7 odd lags
    static const int halfBandLastFilterTaps;         // 51
    static const float halfBandLastFilterCoefs[14];  // centre and 13 odd lags

  private:
    // One half-band step: out gets (in.size - (taps - 1) + 1) >> 1 samples (none if in is too short).
    static void Decimator2(VecCplx32& out, const VecCplx32& in, int taps, const float* coefs);
    // The chain over m_bufA and m_bufB; the data enter and leave in m_bufA.
    void Decimate(int stages);
    // Clears the zoom: what the constructors and a new source leave.
    void Clear();

    double m_srcSpan;
    double m_srcSampFreq;
    double m_srcCenter;
    double m_center;
    double m_span;
    double m_rbw;
    WindowType m_windowType;
    double m_windowPara;
    PowerUnit m_unit;
    int m_requiredLen;
    ChirpZ* m_chirpZ;  // owned
    Window* m_window;  // owned, made by m_windowFactory
    WindowFactory m_windowFactory;
    bool m_valid;
    int m_numStages;
    double m_decimFreq;
    int m_chirpPoints;
    int m_blockLen;
    VecCplx32 m_bufA, m_bufB;
    VecReal32 m_power;
    bool m_lastStage;
};

}  // namespace VELA
