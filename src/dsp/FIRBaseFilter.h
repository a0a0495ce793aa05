// FIRBaseFilter: the abstract base of the pulse-shaping and band filters, and FIRFilterTypeTag, the
// names of the kinds. A kind turns its parameters into taps once (SetParameters) and then filters
// block after block through an FIRFilter (FIRFilter.h), centred or not.
//
// The kinds with plain taps are in ShapedFilters.h, BandFilters.h, C4FMReverseShapingFilter.h and
// IS95Filters.h; FIRFilterFactory.h makes any kind from its tag. A derived kind that overrides one
// Apply overload brings the others into scope with `using FIRBaseFilter::Apply;`.
//
// Units: rates and frequencies in Hz, delays in samples (`delay`) or seconds (`timeShift`).
// A filter has no taps until SetParameters; Apply before it filters with empty taps, which gives an
// empty output.
//
// Copies: the vectors are copied, and the FIRFilter engine is shared with the source (it holds only
// scratch), so a filter and its copy must be used in turn by one thread. The engine lives until the
// last filter sharing it is destroyed. One filter serves one thread at a time.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>
#include <memory>

#include "../math/Vector.h"

namespace VELA {

class FIRFilter;
class UnitTestRecorder;

// The kinds of filter. The values are part of the interface; 8 to 11 have no member. The underlying
// type is fixed so that any integer a caller casts to it is a valid value (FIRFilterFactory builds
// nothing for the values it does not know).
enum FIRFilterTypeTag : int32_t {
    FIRFilterNone = 0,
    FIRFilterRootRaisedCosine = 1,
    FIRFilterRaisedCosine = 2,
    FIRFilterGaussian = 3,
    FIRFilterGaussRect = 4,
    FIRFilterHalfSine = 5,  // a valid name, but no filter is built for it
    FIRFilterRectangular = 6,
    FIRFilterEdge = 7,  // a valid name, but no filter is built for it
    FIRFilterIS95TXMeasurement = 12,
    FIRFilterIS95TXEQMeasurement = 13,
    FIRFilterIS95Reference = 14,
    FIRFilterC4FMReverseShaping = 15,
    FIRFilterLowPass = 16,
    FIRFilterHighPass = 17,
    FIRFilterBandPass = 18,
    FIRFilterIntegralGaussian = 19,
    FIRFilterIntegralRect = 20,
    FIRFilterGaussRect2 = 21,
    FIRFilterUserDefined = 22,
    FIRFilterIntegralUserDefined = 23,
};

// Display names, indexed from 0; nothing in the library reads them, and their order is not that of
// FIRFilterTypeTag.
VELA_API extern const char* const FIRFilterDisplayNames[11];

class VELA_API FIRBaseFilter {
  public:
    // No taps, delay 0, time shift 0, type FIRFilterNone (each kind's constructor sets its own).
    FIRBaseFilter();
    FIRBaseFilter(const FIRBaseFilter& other);
    FIRBaseFilter& operator=(const FIRBaseFilter& other);
    virtual ~FIRBaseFilter();

    // The tap count the kind suggests for these rates (Hz) and shape parameter.
    virtual int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) = 0;
    // Designs `taps` taps for the sample rate, the symbol rate (or cut-off) and the shape parameter
    // (rolloff, bandwidth-time product or upper cut-off, as the kind says).
    virtual void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) = 0;

    // Real data through the complex taps (for the complex kinds: a kind with real taps convolves with
    // its empty complex taps and gives an empty output).
    virtual void Apply(VecCplx32& out, const VecReal32& in, bool center);
    // Complex data: through the complex taps when IsComplexFilter(), else through the real taps.
    virtual void Apply(VecCplx32& out, const VecCplx32& in, bool center);
    // Real data through the real taps.
    virtual void Apply(VecReal32& out, const VecReal32& in, bool center);
    // Whether the kind shapes steps rather than filtering a waveform.
    virtual bool IsIntegralFilter() const;
    // Whether the kind filters with complex taps.
    virtual bool IsComplexFilter() const;
    // Stores the sub-sample time shift (seconds) that the integral kinds place their steps with.
    virtual void SetTimeShift(float shift);

    // The group delay in samples, (taps - 1) / 2 as a rule.
    float GetDelay() const { return delay; }
    int GetNofTaps() const { return tapCount; }
    // Copies of the real and the complex taps.
    void GetTaps(VecReal32& out) const;
    void GetTaps(VecCplx32& out) const;
    FIRFilterTypeTag GetFilterType() const { return static_cast<FIRFilterTypeTag>(filterType); }
    float GetTimeShift() const { return timeShift; }

  protected:
    std::shared_ptr<FIRFilter> firFilter;  // the engine, made by the constructor
    int32_t filterType = FIRFilterNone;
    int32_t tapCount = 0;
    VecReal32 taps;
    VecCplx32 cplxTaps;  // filled by the complex kinds only
    float delay = 0.0f;
    float timeShift = 0.0f;
};

}  // namespace VELA
