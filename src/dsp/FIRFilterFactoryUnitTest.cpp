// Self-test of FIRFilterFactory: names to tags, the kinds it makes, and the nulls.
#include <memory>

#include "../infra/UnitTestRecorder.h"
#include "FIRFilterFactory.h"

namespace VELA {

bool FIRFilterFactory::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "FIRFilterFactory";
    bool ok = toEnumFIRFilterType("RAISED_COSINE") == FIRFilterRaisedCosine &&
              toEnumFIRFilterType("NYQUIST") == FIRFilterRaisedCosine &&
              toEnumFIRFilterType("ROOT_NYQUIST") == FIRFilterRootRaisedCosine &&
              toEnumFIRFilterType("C4FM_REV_SH") == FIRFilterC4FMReverseShaping;
    bool threw = false;
    try {
        toEnumFIRFilterType("raised_cosine");
    } catch (const VELAException& e) {
        threw = e.code == VELAErrorInvalidInputParameter;
    }
    recorder.AddTestRecord(cls, "toEnumFIRFilterType", ok && threw);

    FIRFilterFactory factory;
    ok = true;
    for (FIRFilterTypeTag t : {FIRFilterRootRaisedCosine, FIRFilterRaisedCosine, FIRFilterGaussian,
                               FIRFilterRectangular, FIRFilterIS95TXMeasurement, FIRFilterIS95TXEQMeasurement,
                               FIRFilterIS95Reference, FIRFilterC4FMReverseShaping, FIRFilterLowPass,
                               FIRFilterHighPass, FIRFilterBandPass, FIRFilterIntegralGaussian,
                               FIRFilterIntegralRect, FIRFilterUserDefined, FIRFilterIntegralUserDefined}) {
        std::unique_ptr<FIRBaseFilter> f(factory.MakeFilter(t));
        ok = ok && f && f->GetFilterType() == t && f->GetNofTaps() == 0;
    }
    for (FIRFilterTypeTag t : {FIRFilterGaussRect, FIRFilterGaussRect2}) {
        std::unique_ptr<FIRBaseFilter> f(factory.MakeFilter(t));
        ok = ok && f && f->GetFilterType() == FIRFilterIntegralGaussian && f->IsIntegralFilter();
    }
    recorder.AddTestRecord(cls, "MakeFilter", ok);

    ok = true;
    for (int t : {0, 5, 7, 8, 9, 10, 11, 24, -1}) {
        std::unique_ptr<FIRBaseFilter> f(factory.MakeFilter(static_cast<FIRFilterTypeTag>(t)));
        ok = ok && !f;
    }
    recorder.AddTestRecord(cls, "MakeFilter null", ok);
    return true;
}

}  // namespace VELA
