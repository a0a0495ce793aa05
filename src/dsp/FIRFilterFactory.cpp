#include "FIRFilterFactory.h"

#include <cstring>

#include "BandFilters.h"
#include "C4FMReverseShapingFilter.h"
#include "IS95Filters.h"
#include "IntegralFilters.h"
#include "ShapedFilters.h"
#include "UserDefinedFilters.h"

namespace VELA {

FIRBaseFilter* FIRFilterFactory::MakeFilter(FIRFilterTypeTag type) {
    switch (type) {
        case FIRFilterRootRaisedCosine:
            return new RootRaisedCosineFilter();
        case FIRFilterRaisedCosine:
            return new RaisedCosineFilter();
        case FIRFilterGaussian:
            return new GaussianFilter();
        case FIRFilterGaussRect:
        case FIRFilterGaussRect2:
            return new GaussRectFilter();
        case FIRFilterRectangular:
            return new RectangularFilter();
        case FIRFilterIS95TXMeasurement:
            return new IS95TXMeasurementFilter();
        case FIRFilterIS95TXEQMeasurement:
            return new IS95TXEQMeasurementFilter();
        case FIRFilterIS95Reference:
            return new IS95ReferenceFilter();
        case FIRFilterC4FMReverseShaping:
            return new C4FMReverseShapingFilter();
        case FIRFilterLowPass:
            return new LowPassFilter();
        case FIRFilterHighPass:
            return new HighPassFilter();
        case FIRFilterBandPass:
            return new BandPassFilter();
        case FIRFilterIntegralGaussian:
            return new IntegralGaussianFilter();
        case FIRFilterIntegralRect:
            return new IntegralRectFilter();
        case FIRFilterUserDefined:
            return new UserDefinedFilter();
        case FIRFilterIntegralUserDefined:
            return new IntegralUserDefinedFilter();
        default:
            return nullptr;
    }
}

FIRFilterTypeTag FIRFilterFactory::toEnumFIRFilterType(const char* name) {
    struct Name {
        const char* text;
        FIRFilterTypeTag tag;
    };
    static const Name kNames[] = {
        {"FILTER_NONE", FIRFilterNone},
        {"ROOT_NYQUIST", FIRFilterRootRaisedCosine},
        {"ROOT_RAISED_COSINE", FIRFilterRootRaisedCosine},
        {"NYQUIST", FIRFilterRaisedCosine},
        {"RAISED_COSINE", FIRFilterRaisedCosine},
        {"GAUSSIAN", FIRFilterGaussian},
        {"HALF_SINE", FIRFilterHalfSine},
        {"RECTANGULAR", FIRFilterRectangular},
        {"EDGE", FIRFilterEdge},
        {"IS95TX_MEA", FIRFilterIS95TXMeasurement},
        {"IS95TXEQ_MEA", FIRFilterIS95TXEQMeasurement},
        {"IS95_REF", FIRFilterIS95Reference},
        {"C4FM_REV_SH", FIRFilterC4FMReverseShaping},
    };
    if (name)
        for (const Name& n : kNames)
            if (std::strcmp(name, n.text) == 0) return n.tag;
    VELA_THROW(VELAErrorInvalidInputParameter);
}

}  // namespace VELA
