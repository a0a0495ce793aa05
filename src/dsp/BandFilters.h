// The band kinds of the filter family: windowed-sinc low-pass and band-pass designs (DSPUtils::LowPass,
// DSPUtils::BandPass: Hamming window, unit gain in the pass band). See FIRBaseFilter.h.
//
// They recommend no length (GetRecommendedTapSize gives 0): the caller chooses it. A design that
// DSPUtils refuses (fewer than 5 taps, a cut-off outside (0, 0.5) of the sample rate) leaves `taps`
// zeros; a negative tap count, more than 2^24 taps, or a parameter that is not a number is "invalid
// input parameter".
#pragma once
#include "../math/VELAExport.h"

#include "FIRBaseFilter.h"

namespace VELA {

// Low-pass with the cut-off `cutoff` (Hz). The four-argument SetParameters takes the cut-off from the
// second argument and ignores the third.
class VELA_API LowPassFilter : public FIRBaseFilter {
  public:
    LowPassFilter();
    int GetRecommendedTapSize(float samplingRate, float cutoff, float unused) override;
    void SetParameters(float samplingRate, float cutoff, float unused, int taps) override;
    void SetParameters(float samplingRate, float cutoff, int taps);
    float GetSamplingRate() const { return samplingRate; }
    float GetCutoffFrequency() const { return cutoff; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, cutoff = 0.0f;
};

// Carries the high-pass tag, but shares LowPassFilter's design: as it stands it designs the same
// low-pass taps (DSPUtils::HighPass is not reached from here). Callers that want a high-pass response
// design it with DSPUtils::HighPass.
class VELA_API HighPassFilter : public LowPassFilter {
  public:
    HighPassFilter();
    static bool UnitTest(UnitTestRecorder& recorder);
};

// Band-pass between `low` and `high` (Hz).
class VELA_API BandPassFilter : public FIRBaseFilter {
  public:
    BandPassFilter();
    int GetRecommendedTapSize(float samplingRate, float low, float high) override;
    void SetParameters(float samplingRate, float low, float high, int taps) override;
    float GetSamplingRate() const { return samplingRate; }
    float GetLowCutoffFrequency() const { return lowCutoff; }
    float GetHighCutoffFrequency() const { return highCutoff; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, lowCutoff = 0.0f, highCutoff = 0.0f;
};

}  // namespace VELA
