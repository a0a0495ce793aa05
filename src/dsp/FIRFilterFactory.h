// FIRFilterFactory: makes a filter of the family from its FIRFilterTypeTag, and turns a filter's name
// in text into its tag.
//
// MakeFilter returns a new, default-constructed filter (no taps until SetParameters) that the caller
// owns and deletes through FIRBaseFilter's virtual destructor, or null: for FIRFilterNone, for the
// names that have no filter (FIRFilterHalfSine, FIRFilterEdge, the values 8 to 11) and for any value
// it does not know. FIRFilterGaussRect and FIRFilterGaussRect2 both make a GaussRectFilter; the
// integral and user-defined tags (19, 20, 22, 23) make the kinds of IntegralFilters.h and
// UserDefinedFilters.h.
#pragma once
#include "../math/VELAExport.h"

#include "FIRBaseFilter.h"

namespace VELA {

class VELA_API FIRFilterFactory {
  public:
    FIRFilterFactory() = default;
    FIRFilterFactory(const FIRFilterFactory&) = default;
    FIRFilterFactory& operator=(const FIRFilterFactory&) = default;
    virtual ~FIRFilterFactory() = default;

    FIRBaseFilter* MakeFilter(FIRFilterTypeTag type);

    // The tag of a name, compared case-sensitively and exactly with "FILTER_NONE", "ROOT_NYQUIST",
    // "ROOT_RAISED_COSINE", "NYQUIST", "RAISED_COSINE", "GAUSSIAN", "HALF_SINE", "RECTANGULAR",
    // "EDGE", "IS95TX_MEA", "IS95TXEQ_MEA", "IS95_REF", "C4FM_REV_SH" in that order. Any other name,
    // or null, is "invalid input parameter".
    static FIRFilterTypeTag toEnumFIRFilterType(const char* name);

    // Self-test under "FIRFilterFactory": names to tags, the kinds made and the nulls. Returns true.
    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
