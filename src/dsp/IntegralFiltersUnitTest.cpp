// Self-tests of the integral kinds: a unit step in seven samples through each.
#include "../infra/UnitTestRecorder.h"
#include "IntegralFilters.h"
#include "internal/FilterSelfTest.h"

namespace VELA {

using internal::CentredImpulseResponse;
using internal::Near;

bool IntegralGaussianFilter::UnitTest(UnitTestRecorder& recorder) {
    IntegralGaussianFilter f;
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 7);
    VecReal32 out;
    CentredImpulseResponse(f, out);
    const float expected[7] = {0.0283987f, 0.104705f, 0.266884f, 0.5f, 0.733116f, 0.895295f, 0.971601f};
    recorder.AddTestRecord("IntegralGaussianFilter", "Unit step", Near(out, expected, 7, 1e-6));
    recorder.AddTestRecord("IntegralGaussianFilter", "Flags",
                           f.IsIntegralFilter() && !f.IsComplexFilter() && f.GetDelay() == 3.0f);
    return true;
}

bool IntegralRectFilter::UnitTest(UnitTestRecorder& recorder) {
    IntegralRectFilter f;
    f.SetParameters(5.0f, 1.6666666f, 0.3f, 7);
    VecReal32 out;
    CentredImpulseResponse(f, out);
    const float expected[7] = {0.0f, 0.0f, 0.166667f, 0.5f, 0.833333f, 1.0f, 1.0f};
    recorder.AddTestRecord("IntegralRectFilter", "Unit step", Near(out, expected, 7, 1e-6));
    recorder.AddTestRecord("IntegralRectFilter", "Flags",
                           f.IsIntegralFilter() && !f.IsComplexFilter() && f.GetDelay() == 3.0f);
    return true;
}

}  // namespace VELA
