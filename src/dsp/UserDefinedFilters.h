// The user-defined kinds of the filter family: a measured impulse response, given at any oversampling
// (taps per symbol), resampled to the filter's own. See FIRBaseFilter.h.
//
// - UserDefinedFilter filters with the resampled impulse response (the base's Apply, complex taps).
// - IntegralUserDefinedFilter integrates it into a step response and shapes edges with it, as the
//   integral kinds of IntegralFilters.h do: its input is a sparse list of steps.
//
// A filter needs both its taps (SetUserTaps) and its rates (SetParameters), in either order: with no
// taps SetParameters only records the rates, with no rates SetUserTaps only records the taps, and the
// second of the two calls resamples. Resampling runs again only when the taps or the rates change:
// SetParameters with the rates it already has keeps the current taps (and a requested tap count
// resizes those). Clear() returns to the start, forgetting both, and keeps the vectors.
//
// Resampling is band-limited, about the energy centre c = sum i |h[i]|^2 / sum |h[i]|^2 of the user's
// taps h: output tap k is the interpolant sum_m h[m] sinc(pi (m - pos)) at pos = c - (k - len/2) ratio,
// ratio = tapRate / (samplingRate / symbolRate), so the taps run in reverse order of time, as a
// convolution wants them (see ComputeResampledFilterTaps).
//
// Refused with "invalid input parameter", leaving the filter as it was: empty taps, taps that are not
// finite, a tap rate or a rate that is not finite and positive, a negative tap count, a resampled
// length beyond int, and for the integral kind a step response that ends at 0.
#pragma once
#include "../math/VELAExport.h"

#include "FIRBaseFilter.h"

namespace VELA {

// What the two user-defined kinds share: the user's taps, the rates, the two flags and the order of
// the calls. The kinds differ in how they resample and resize.
class VELA_API UserTapsFilterBase : public FIRBaseFilter {
  public:
    // Without user taps: 1023. With them: SetParameters(samplingRate, symbolRate, 0, 0), so the query
    // itself resamples the filter, and the resulting tap count.
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    // Rates in Hz; `rolloff` is not used. With taps (and a change of rates, or the first time),
    // resamples them; then a `taps` above 0 that differs from the tap count resizes the taps to it.
    // delay = (tap count - 1) / 2 in integer division.
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    // The user's impulse response at `tapRate` taps per symbol, and resampling if the rates are known.
    void SetUserTaps(const VecCplx32& taps, float tapRate);
    // The same for real taps, written into the stored user taps with a zero imaginary component. The stored
    // vector keeps its size when it already holds at least taps.size values (its tail is kept), and
    // grows to taps.size otherwise. The filter counts as complex afterwards, as with the other form.
    void SetUserTaps(const VecReal32& taps, float tapRate);
    // Forgets taps and rates (the next SetParameters or SetUserTaps only records); keeps the vectors.
    void Clear();
    // Complex once user taps have been given.
    bool IsComplexFilter() const override { return complexTaps; }
    float GetSamplingRate() const { return samplingRate; }
    float GetSymbolRate() const { return symbolRate; }
    float GetTapRate() const { return tapRate; }

  protected:
    UserTapsFilterBase();
    // The kind's resampling and resizing.
    virtual void Resample(VecCplx32& out, const VecCplx32& in, float fromRate, float toRate) const = 0;
    virtual void Resize(VecCplx32& taps, int newSize, int oldSize) const = 0;

    float samplingRate = 0.0f, symbolRate = 0.0f;
    float tapRate = 0.0f;
    VecCplx32 userTaps;
    bool hasUserTaps = false;
    bool hasParameters = false;
    bool complexTaps = false;

  private:
    // Resamples `source` at the stored rates into cplxTaps and sets tapCount and delay; nothing is
    // changed if the resampling refuses.
    void ResampleFrom(const VecCplx32& source, float fromRate);
    static void CheckUserTaps(int n, float tapRate);
};

class VELA_API UserDefinedFilter : public UserTapsFilterBase {
  public:
    UserDefinedFilter();
    // Band-limited resampling of the impulse response `in` from `fromRate` to `toRate` taps per symbol
    // about its energy centre c (the middle when it has no energy): 2 trunc(L / ratio) + 3 taps,
    // ratio = fromRate / toRate, L the longer distance from c to an end of `in`. A position within
    // 0.001 of an input sample copies it; elsewhere 401 input samples about the nearest one are summed
    // with an unwindowed sinc kernel. Every tap is divided by toRate. `out` may not be `in`.
    static void ComputeResampledFilterTaps(VecCplx32& out, const VecCplx32& in, float fromRate, float toRate);
    // Keeps the middle newSize of the first oldSize taps (from (oldSize - newSize) / 2 on), or puts
    // them in the middle of newSize with (newSize - oldSize) / 2 zeros in front and zeros after.
    // newSize >= 1 and 0 <= oldSize <= taps.GetSize().
    static void ResizeFilterTaps(VecCplx32& taps, int newSize, int oldSize);
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    void Resample(VecCplx32& out, const VecCplx32& in, float fromRate, float toRate) const override;
    void Resize(VecCplx32& taps, int newSize, int oldSize) const override;
};

class VELA_API IntegralUserDefinedFilter : public UserTapsFilterBase {
  public:
    IntegralUserDefinedFilter();

    using FIRBaseFilter::Apply;
    // Real steps: every non-zero in[i] adds in[i] times the real part of the step response, placed
    // from the index i - s on (s = floor(samplingRate timeShift + delay + 0.5), the time shift and the
    // delay in whole samples), and the level reached at the end of the response is held to the end of
    // the block. The level is carried one sample per input sample from where the responses end, which
    // shows only when the time shift moves responses earlier by more than their length (s > t - 1, t
    // the tap count): the outputs after the index n - s + t - 1 then stay 0, and a step whose whole
    // response lies before the block adds nothing. `center` is not read. out gets in's size and may
    // be in.
    void Apply(VecReal32& out, const VecReal32& in, bool center) override;
    // The same with complex steps times the complex step response; both rails hold their level.
    void Apply(VecCplx32& out, const VecCplx32& in, bool center) override;
    bool IsIntegralFilter() const override { return true; }

    // Resampling as UserDefinedFilter's, integrated into a step response. Works at an internal rate of
    // k toRate taps per symbol, k the smallest power of two that gives at least 32; spreads each
    // interpolated value over one symbol (the rectangle of the integral), with the double pi in the
    // kernel; a position within 0.001 of an input sample sets its internal point to that sample, and a
    // position that rounds outside the input adds nothing. Then running sums, one output per k
    // internal points, an odd count, scaled so that the response ends at magnitude 1.
    static void ComputeResampledFilterTaps(VecCplx32& out, const VecCplx32& in, float fromRate, float toRate);
    // As UserDefinedFilter's, but a longer set holds the last tap to the end (a step response keeps
    // its level) instead of ending in zeros.
    static void ResizeFilterTaps(VecCplx32& taps, int newSize, int oldSize);
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    void Resample(VecCplx32& out, const VecCplx32& in, float fromRate, float toRate) const override;
    void Resize(VecCplx32& taps, int newSize, int oldSize) const override;

  private:
    // The first sample of a step's response relative to the step: the time shift and delay in samples.
    long long StepOffset(int n) const;
    VecReal32 realCopy;  // the input of an in-place real Apply
    VecCplx32 cplxCopy;  // the input of an in-place complex Apply
};

}  // namespace VELA
