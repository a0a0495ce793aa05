// Self-tests of the pulse-shaping kinds: the taps of 7-tap designs against their quoted values.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "ShapedFilters.h"
#include "internal/FilterSelfTest.h"

namespace VELA {

using internal::CentredImpulseResponse;
using internal::Near;
using internal::Symmetric;

namespace {
// The seven taps from their first four (the designs are symmetric).
void Mirror(float (&full)[7], const float (&half)[4]) {
    for (int i = 0; i < 4; ++i)
        full[i] = full[6 - i] = half[i];
}
}  // namespace

bool RaisedCosineFilter::UnitTest(UnitTestRecorder& recorder) {
    RaisedCosineFilter f;
    f.SetParameters(10, 5, 0.5f, 7);
    VecReal32 out;
    CentredImpulseResponse(f, out);
    const float expected[7] = {-0.060021f, 0.0f, 0.3001054f, 0.5f, 0.3001054f, 0.0f, -0.060021f};
    recorder.AddTestRecord("RaisedCosineFilter", "Taps",
                           Near(out, expected, 7, 1e-6) && f.GetDelay() == 3.0f);
    const int n = f.GetRecommendedTapSize(10, 5, 0.0f);
    recorder.AddTestRecord("RaisedCosineFilter", "Recommended taps", n == 8749);
    return true;
}

bool RootRaisedCosineFilter::UnitTest(UnitTestRecorder& recorder) {
    RootRaisedCosineFilter f;
    f.SetParameters(20, 5, 0.5f, 7);
    VecReal32 out;
    CentredImpulseResponse(f, out);
    float expected[7];
    Mirror(expected, {0.039210666f, 0.1446581f, 0.24362384f, 0.28415495f});
    recorder.AddTestRecord("RootRaisedCosineFilter", "Taps", Near(out, expected, 7, 1e-6));
    recorder.AddTestRecord("RootRaisedCosineFilter", "Recommended taps",
                           f.GetRecommendedTapSize(20, 5, 0.5f) == 71);
    return true;
}

bool GaussianFilter::UnitTest(UnitTestRecorder& recorder) {
    GaussianFilter f;
    f.SetParameters(5, 1.6666666f, 0.3f, 7);
    VecReal32 out;
    CentredImpulseResponse(f, out);
    float expected[7];
    Mirror(expected, {0.0232052f, 0.09637616f, 0.22646458f, 0.30107674f});
    recorder.AddTestRecord("GaussianFilter", "Taps", Near(out, expected, 7, 1e-6));
    return true;
}

bool GaussRectFilter::UnitTest(UnitTestRecorder& recorder) {
    GaussRectFilter f;
    f.SetParameters(5, 1.6666666f, 0.3f, 7);
    VecReal32 out;
    CentredImpulseResponse(f, out);
    float expected[7];
    Mirror(expected, {0.042822957f, 0.11627697f, 0.20581393f, 0.24745956f});
    recorder.AddTestRecord("GaussRectFilter", "Taps",
                           Near(out, expected, 7, 1e-6) && internal::Sum(out) > 0.97);
    recorder.AddTestRecord("GaussRectFilter", "Flags",
                           f.IsIntegralFilter() && f.GetFilterType() == FIRFilterIntegralGaussian);
    return true;
}

bool RectangularFilter::UnitTest(UnitTestRecorder& recorder) {
    RectangularFilter f;
    f.SetParameters(10, 4, 7);
    VecReal32 out;
    CentredImpulseResponse(f, out);
    float expected[7];
    Mirror(expected, {-0.06236595f, 0.09354893f, 0.30273068f, 0.4f});
    recorder.AddTestRecord("RectangularFilter", "Taps", Near(out, expected, 7, 1e-6) && Symmetric(out, 1e-7));
    return true;
}

}  // namespace VELA
