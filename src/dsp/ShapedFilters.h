// The pulse-shaping kinds of the filter family: raised cosine, root raised cosine, Gaussian, the
// Gaussian-smoothed rectangle, and the rectangular (ideal low-pass) filter. See FIRBaseFilter.h.
//
// SetParameters(samplingRate, symbolRate, rolloff, taps), rates in Hz:
//   dt = 1/samplingRate and T = 1/symbolRate, each rounded to float; the taps are a pulse of
//   WaveformGenerator (WaveformGenerator.h) sampled on `taps` times centred on 0 in steps of dt, then
//   scaled; delay = (taps - 1) / 2.
// A negative tap count, more than 2^24 taps, or a parameter that is not a number is "invalid input
// parameter"; 0 taps give an empty filter. Rates of 0 are not refused: they divide by zero, which shows in the taps.
//
// GetRecommendedTapSize works with R = samplingRate / symbolRate (double) and rolloff' = the rolloff,
// or 0.001 when it is smaller, and returns odd(x): x truncated to an int with its lowest bit set. A
// result that does not fit an int is "invalid input parameter".
#pragma once
#include "../math/VELAExport.h"

#include "FIRBaseFilter.h"

namespace VELA {

// Raised cosine (Nyquist) filter: taps = RaisedCosinePulse(rolloff, T) dt / T, so they sum to about
// 1. Recommends odd(4.375 R / rolloff').
class VELA_API RaisedCosineFilter : public FIRBaseFilter {
  public:
    RaisedCosineFilter();
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    float GetSamplingRate() const { return samplingRate; }
    float GetSymbolRate() const { return symbolRate; }
    float GetRoleoff() const { return rolloff; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, symbolRate = 0.0f, rolloff = 0.0f;
};

// Root raised cosine filter: taps = RootRaisedCosinePulse(rolloff, T) dt / sqrt(T), so that two in a
// row make a raised cosine. Recommends odd(8.75 R / rolloff').
class VELA_API RootRaisedCosineFilter : public FIRBaseFilter {
  public:
    RootRaisedCosineFilter();
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    float GetSamplingRate() const { return samplingRate; }
    float GetSymbolRate() const { return symbolRate; }
    float GetRoleoff() const { return rolloff; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, symbolRate = 0.0f, rolloff = 0.0f;
};

// Gaussian filter with the bandwidth-time product `rolloff`: taps = GaussianPulse(rolloff / T) dt,
// unit area. Recommends odd(10 R / rolloff').
class VELA_API GaussianFilter : public FIRBaseFilter {
  public:
    GaussianFilter();
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    float GetSamplingRate() const { return samplingRate; }
    float GetSymbolRate() const { return symbolRate; }
    float GetRoleoff() const { return rolloff; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, symbolRate = 0.0f, rolloff = 0.0f;
};

// A rectangle of one symbol smoothed by the Gaussian of bandwidth-time product `rolloff`:
// taps = ConvGauss(T, s) dt with s = 0.8325546383857727 / (rolloff 2 pi), the deviation as a part of
// T (0.8325546 = sqrt(2 ln 2)). Its filterType is FIRFilterIntegralGaussian (19) whichever tag it was
// made from, and IsIntegralFilter() says true, though it filters as the base does. Recommends what
// GaussianFilter does.
class VELA_API GaussRectFilter : public FIRBaseFilter {
  public:
    GaussRectFilter();
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    bool IsIntegralFilter() const override { return true; }
    float GetSamplingRate() const { return samplingRate; }
    float GetSymbolRate() const { return symbolRate; }
    float GetRoleoff() const { return rolloff; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, symbolRate = 0.0f, rolloff = 0.0f;
};

// Ideal low-pass of the two-sided width `cutoff` (Hz): taps = SincPulse(cutoff / 2) dt. The four-
// argument SetParameters takes the cut-off from the second argument and ignores the third.
// Recommends odd(10 samplingRate / cutoff).
class VELA_API RectangularFilter : public FIRBaseFilter {
  public:
    RectangularFilter();
    int GetRecommendedTapSize(float samplingRate, float cutoff, float unused) override;
    void SetParameters(float samplingRate, float cutoff, float unused, int taps) override;
    void SetParameters(float samplingRate, float cutoff, int taps);
    float GetSamplingRate() const { return samplingRate; }
    float GetCutoffFrequency() const { return cutoff; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, cutoff = 0.0f;
};

}  // namespace VELA
