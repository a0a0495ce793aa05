// DigitalSource: a wide IQ record turned into what a receiver tuned to a narrower span would deliver.
// Apply shifts the wanted centre to zero frequency and decimates by powers of two through a chain of
// half-band filters: m_numStages steps of a 27-tap filter, then, when the wanted span fills at most 40%
// of the rate reached, one step of a stronger 51-tap filter.
//
// No filter history is kept: every Apply stands alone, starts its frequency shift at phase 0 and
// returns only samples with the whole filter support behind them. The caller therefore supplies more
// input than output; GetRequiredOrigDataLen says how much. Each stage of the 27-tap filter turns n
// input samples into (n - 25) >> 1 outputs, the 51-tap stage into (n - 49) >> 1.
//
// Frequencies and rates are in Hz, lengths in complex samples. The scratch buffers live in the object,
// so steady calls of one length allocate nothing. Copies are deep (the class owns no pointers). One
// object serves one thread at a time.
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"

namespace VELA {

class UnitTestRecorder;

class VELA_API DigitalSource {
  public:
    // Source unset (-1.0 for its span, rate and centre); Apply throws until SetParameters has run.
    DigitalSource() = default;
    DigitalSource(const DigitalSource&) = default;
    DigitalSource& operator=(const DigitalSource&) = default;
    virtual ~DigitalSource() = default;

    // The record's centre, span and sample rate (Hz). Unchanged values do nothing; otherwise the wanted
    // centre and span return to 0.0, the 51-tap stage is cleared and the pad becomes -1 (no valid
    // setting until SetParameters).
    void SetSource(double srcCenter, double srcSpan, double srcSampFreq);

    // Tunes to `center` with `span` (Hz) and returns the pad: the input samples the chain consumes
    // beyond twice-per-stage scaling, GetRequiredOrigDataLen(0). A span equal to the source span
    // means no decimation (pad 0). A call that changes only the centre recomputes nothing.
    // Throws VELAException "invalid input parameter" when span is not a positive finite number, when
    // the source rate is not positive (source unset), or when the chain would need more samples than an
    // int holds; the object is then unchanged.
    int SetParameters(double center, double span);

    // sampFreq = output rate; outLen = the outputs `inLen` samples give by the formula
    // ((n >> 1) - 13 per 27-tap stage, then (n >> 1) - 25). The chain itself gives (n - 25) >> 1 and
    // (n - 49) >> 1: the same for the even stage inputs that GetRequiredOrigDataLen produces, one more
    // for an odd stage input. Negative results are passed on as computed.
    void GetOutputParameters(double& sampFreq, int& outLen, int inLen) const;
    // Output sample rate (Hz).
    double GetSampFreq() const { return m_decimFreq; }
    // The widest span (Hz) available when the output rate may not exceed sampFreq: a power-of-two ratio
    // source rate / sampFreq decimates by that power, any other ratio by the next lower power, and a
    // decimated stream offers 80% of its rate. Without decimation the source span. Throws "invalid
    // input parameter" for a sampFreq that is not positive and finite.
    double GetMaxSpanLimit(double sampFreq) const;
    // Input samples needed for outLen outputs. Throws "invalid input parameter" if that exceeds an int.
    int GetRequiredOrigDataLen(int outLen) const;
    // Settling delay of the chain in input samples: GetRequiredOrigDataLen(0) / 2.
    int GetPreChargeTime() const { return GetRequiredOrigDataLen(0) / 2; }

    // out = `in` shifted and decimated (out resized). Throws VELAException "invalid input parameter"
    // before a successful SetParameters (since construction or the last SetSource) and when `in` holds
    // fewer samples than the pad. An input of exactly the pad gives almost nothing: the caller asks
    // GetRequiredOrigDataLen for the length that gives the outputs it wants. out may be in: the block is
    // shifted into scratch before out is touched.
    void Apply(VecCplx32& out, const VecCplx32& in);

    // Self-test under "DigitalSource"; always returns true, the verdicts go into the recorder.
    static bool UnitTest(UnitTestRecorder& recorder);

    // The half-band filters of the chain, in float: the centre tap, then the taps at odd lags 1, 3, 5,
    // ... (every other even lag is zero). Each filter's taps sum to 1 (unity gain at zero frequency).
    static const int halfBandFilterTaps;             // 27
    static const float halfBandFilterCoefs[8];       // centre and 7 odd lags
    static const int halfBandLastFilterTaps;         // 51
    static const float halfBandLastFilterCoefs[14];  // centre and 13 odd lags

  private:
    // One half-band step: out gets (in.size - (taps - 1) + 1) >> 1 samples (none if in is too short).
    static void Decimator2(VecCplx32& out, const VecCplx32& in, int taps, const float* coefs);
    // The chain over m_bufA and m_bufB; the data enter and leave in m_bufA.
    void Decimate(int stages);

    double m_srcSpan = -1.0;
    double m_srcSampFreq = -1.0;
    double m_srcCenter = -1.0;
    double m_center = 0.0;
    double m_span = 0.0;
    int m_requiredPad = -1;  // -1: no valid setting yet
    int m_numStages = 0;
    double m_decimFreq = 0.0;
    VecCplx32 m_bufA, m_bufB;
    bool m_lastStage = false;
};

}  // namespace VELA
