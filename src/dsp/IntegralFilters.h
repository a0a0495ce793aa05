// The integral kinds of the filter family with analytic step responses: the Gaussian-smoothed and the
// plain rectangle. See FIRBaseFilter.h; the user-defined integral kind is in UserDefinedFilters.h.
//
// An integral filter shapes edges. Its real input is not a waveform but a sparse list of steps: a
// non-zero sample at i says that the signal changes by that amount at sample i. The real Apply returns
// the sum of one step response placed at each step, shifted by the time shift (SetTimeShift, seconds)
// for sub-sample placement: out[j] = sum_i in[i] r((j - i) dt + timeShift), r rising from 0 to 1 over
// about one symbol T centred on 0, dt = 1 / samplingRate. Each step costs one evaluation of r over the
// whole block, so the cost grows with the number of steps: the filters are made for sparse input.
//
// SetParameters(samplingRate, symbolRate, rolloff, taps), rates in Hz: the taps (GetTaps) are the step
// response sampled on `taps` times centred on 0 in steps of dt, times dt, and delay = (taps - 1) / 2.
// The real Apply does not use them; the complex Apply overloads are the base's and convolve with them.
// Rates that are not finite and positive, a negative tap count, or (Gaussian) a bandwidth-time product
// that is not finite and positive are "invalid input parameter"; 0 taps give an empty tap set.
//
// The real Apply keeps its time axis and pulse in the object, so that steady calls of one length
// allocate nothing; `out` may be `in`. Apply before SetParameters is "invalid input parameter".
#pragma once
#include "../math/VELAExport.h"

#include "FIRBaseFilter.h"

namespace VELA {

// Step response: a rectangle of one symbol T and unit area smoothed by the Gaussian of bandwidth-time
// product `rolloff`, integrated (WaveformGenerator::IntegralConvGauss, with the deviation
// s T, s = 0.8325546383857727 / (rolloff 2 pi)). Recommends what GaussianFilter does.
class VELA_API IntegralGaussianFilter : public FIRBaseFilter {
  public:
    IntegralGaussianFilter();
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    using FIRBaseFilter::Apply;
    // The sum of step responses (see above). `center` is not read: the responses are centred on
    // their steps already. out gets in's size.
    void Apply(VecReal32& out, const VecReal32& in, bool center) override;
    bool IsIntegralFilter() const override { return true; }
    float GetSamplingRate() const { return samplingRate; }
    float GetSymbolRate() const { return symbolRate; }
    float GetRoleoff() const { return rolloff; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, symbolRate = 0.0f, rolloff = 0.0f;

  private:
    VecReal32 axis, times, pulse, input;  // scratch of Apply
};

// Step response: the running integral of a rectangle of one symbol T and unit area, a linear ramp
// from 0 at -T/2 to 1 at T/2 (WaveformGenerator::IntegralConvRect). The rolloff is stored and not
// used. Recommends what RectangularFilter does for the cut-off `symbolRate`.
class VELA_API IntegralRectFilter : public FIRBaseFilter {
  public:
    IntegralRectFilter();
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    using FIRBaseFilter::Apply;
    // As IntegralGaussianFilter's, with this step response.
    void Apply(VecReal32& out, const VecReal32& in, bool center) override;
    bool IsIntegralFilter() const override { return true; }
    float GetSamplingRate() const { return samplingRate; }
    float GetSymbolRate() const { return symbolRate; }
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, symbolRate = 0.0f, rolloff = 0.0f;

  private:
    VecReal32 axis, times, pulse, input;  // scratch of Apply
};

}  // namespace VELA
