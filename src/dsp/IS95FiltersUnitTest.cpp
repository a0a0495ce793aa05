// Self-tests of the IS-95 kinds: lengths and delays at every ratio, and the taps pinned at 2 samples
// per chip.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "IS95Filters.h"
#include "internal/FilterSelfTest.h"

namespace VELA {

namespace {

// The table sizes at 2, 4, 8, 16, the peak index and value at 2, and the value at index 2 of the
// centred response to an impulse at index 3 of seven samples.
bool Check(IS95Filter& f, const int (&counts)[4], const int (&delays)[4], float peak, float pinned) {
    const int ratios[4] = {2, 4, 8, 16};
    bool ok = true;
    for (int i = 0; i < 4; ++i) {
        ok = ok && f.GetRecommendedTapSize(1.2288e6f * ratios[i], 1.2288e6f, 0) == counts[i];
        f.SetParameters(1.2288e6f * ratios[i], 1.2288e6f, 0, 0);
        ok = ok && f.GetNofTaps() == counts[i] && f.GetDelay() == delays[i] &&
             f.GetOversamplingRatio() == ratios[i];
    }
    ok = ok && f.GetRecommendedTapSize(3, 1, 0) == 0;
    f.SetParameters(3);  // no table: nothing changes
    ok = ok && f.GetOversamplingRatio() == 16;
    f.SetParameters(2);
    VecReal32 h, out;
    f.GetTaps(h);
    internal::CentredImpulseResponse(f, out);
    return ok && h[delays[0]] == peak && out.GetSize() == 7 && std::fabs(out[2] - pinned) <= 1e-6f;
}

}  // namespace

bool IS95ReferenceFilter::UnitTest(UnitTestRecorder& recorder) {
    IS95ReferenceFilter f;
    const bool ok = Check(f, {103, 207, 415, 829}, {51, 103, 207, 414}, 2.0016844f, 1.2694892f);
    VecReal32 h;
    f.GetTaps(h);
    recorder.AddTestRecord("IS95ReferenceFilter", "Tables",
                           ok && internal::Symmetric(h, 0.0) && std::fabs(internal::Sum(h) - 4.0) < 0.08);
    return true;
}

bool IS95TXMeasurementFilter::UnitTest(UnitTestRecorder& recorder) {
    IS95TXMeasurementFilter f;
    const bool ok = Check(f, {81, 161, 321, 643}, {40, 80, 160, 321}, 0.52488416f, 0.32338271f);
    VecReal32 h;
    f.GetTaps(h);
    recorder.AddTestRecord("IS95TXMeasurementFilter", "Tables",
                           ok && std::fabs(internal::Sum(h) - 0.918) < 0.018);
    return true;
}

bool IS95TXEQMeasurementFilter::UnitTest(UnitTestRecorder& recorder) {
    IS95TXEQMeasurementFilter f;
    const bool ok = Check(f, {81, 161, 321, 643}, {40, 80, 160, 321}, 0.51987457f, 0.30690706f);
    VecReal32 h;
    f.GetTaps(h);
    recorder.AddTestRecord("IS95TXEQMeasurementFilter", "Tables",
                           ok && std::fabs(internal::Sum(h) - 0.918) < 0.018);
    return true;
}

}  // namespace VELA
