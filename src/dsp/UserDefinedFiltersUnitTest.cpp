// Self-tests of the user-defined kinds: the recommendation without taps, the order of the calls, one
// resampling for repeated rates, and the mirror-image edges of the integral kind.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "UserDefinedFilters.h"

namespace VELA {

namespace {

// 32 taps at 16 per symbol, 1 from the index 8 to 23: a rectangle of one symbol.
VecCplx32 OneSymbolRectangle() {
    VecCplx32 t(32);
    for (int i = 0; i < 32; ++i)
        t[i] = {i >= 8 && i <= 23 ? 1.0f : 0.0f, 0.0f};
    return t;
}

bool SameTaps(const VecCplx32& a, const VecCplx32& b) {
    if (a.GetSize() != b.GetSize()) return false;
    for (int i = 0; i < a.GetSize(); ++i)
        if (a[i].re != b[i].re || a[i].im != b[i].im) return false;
    return true;
}

}  // namespace

bool UserDefinedFilter::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "UserDefinedFilter";
    UserDefinedFilter f;
    recorder.AddTestRecord(cls, "Recommended taps without user taps",
                           f.GetRecommendedTapSize(1e6f, 250000, 0) == 1023);

    // Taps then rates, or rates then taps: the same filter.
    UserDefinedFilter g;
    f.SetUserTaps(OneSymbolRectangle(), 16);
    f.SetParameters(1e6f, 250000, 0, 0);
    g.SetParameters(1e6f, 250000, 0, 0);
    g.SetUserTaps(OneSymbolRectangle(), 16);
    VecCplx32 a, b;
    f.GetTaps(a);
    g.GetTaps(b);
    recorder.AddTestRecord(cls, "Either order", a.GetSize() > 0 && SameTaps(a, b) && f.IsComplexFilter());

    // The same rates again resample nothing: taps resized to 5 stay 5 when no size is asked for.
    f.SetParameters(1e6f, 250000, 0, 5);
    f.SetParameters(1e6f, 250000, 0, 0);
    recorder.AddTestRecord(cls, "Same rates resample once", f.GetNofTaps() == 5 && f.GetDelay() == 2.0f);
    return true;
}

bool IntegralUserDefinedFilter::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "IntegralUserDefinedFilter";
    IntegralUserDefinedFilter f;
    f.SetParameters(1e6f, 250000, 0, 0);
    f.SetUserTaps(OneSymbolRectangle(), 16);
    // Up-steps at every fourth sample from 0 to 508, down-steps from 512 to 1020: the edges come out
    // as a mirror image about the index 510.
    VecCplx32 in(1024), out;
    for (int i = 0; i < 1024; ++i)
        in[i] = {i % 4 == 0 ? (i <= 508 ? 1.0f : -1.0f) : 0.0f, 0.0f};
    f.Apply(out, in, true);
    bool mirror = out.GetSize() == 1024;
    const double tol = 0.001 * std::fabs(out[510].re);
    for (int d = 1; mirror && d <= 510; ++d)
        mirror = std::fabs(static_cast<double>(out[510 - d].re) - out[510 + d].re) <= tol;
    recorder.AddTestRecord(cls, "Mirror image", mirror && f.IsIntegralFilter());
    return true;
}

}  // namespace VELA
