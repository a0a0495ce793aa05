#include "FIRBaseFilter.h"

#include <cstring>

#include "FIRFilter.h"

namespace VELA {

const char* const FIRFilterDisplayNames[11] = {"NULL",      "root nyquist", "nyquist",    "gauss",
                                               "half sine", "rectangular",  "EDGE",       "s rectangle",
                                               "s rcwrctg", "s rcwrcrc",    "s rectangle"};

FIRBaseFilter::FIRBaseFilter() : firFilter(std::make_shared<FIRFilter>()) {}

FIRBaseFilter::FIRBaseFilter(const FIRBaseFilter& other) = default;

FIRBaseFilter& FIRBaseFilter::operator=(const FIRBaseFilter& other) = default;

FIRBaseFilter::~FIRBaseFilter() = default;

void FIRBaseFilter::Apply(VecCplx32& out, const VecReal32& in, bool center) {
    firFilter->Apply(out, cplxTaps, in, center);
}

void FIRBaseFilter::Apply(VecCplx32& out, const VecCplx32& in, bool center) {
    if (IsComplexFilter())
        firFilter->Apply(out, cplxTaps, in, center);
    else
        firFilter->Apply(out, taps, in, center);
}

void FIRBaseFilter::Apply(VecReal32& out, const VecReal32& in, bool center) {
    firFilter->Apply(out, taps, in, center);
}

bool FIRBaseFilter::IsIntegralFilter() const {
    return false;
}

bool FIRBaseFilter::IsComplexFilter() const {
    return false;
}

void FIRBaseFilter::SetTimeShift(float shift) {
    timeShift = shift;
}

void FIRBaseFilter::GetTaps(VecReal32& out) const {
    out.Import(taps.Data(), taps.GetSize());
}

void FIRBaseFilter::GetTaps(VecCplx32& out) const {
    out.Import(cplxTaps.Data(), cplxTaps.GetSize());
}

}  // namespace VELA
