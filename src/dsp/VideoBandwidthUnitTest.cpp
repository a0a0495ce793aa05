// Self-test of VideoBandwidth at the figures of the fitted curves.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "VideoBandwidth.h"

namespace VELA {

bool VideoBandwidth::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "VideoBandwidth";
    VideoBandwidth vbw;
    recorder.AddTestRecord(cls, "VBW Ratio", std::fabs(vbw.GetSamples(1.0) - 1.0537) < 1e-4);
    recorder.AddTestRecord(cls, "Ratio above fit", vbw.GetSamples(1.5) == 1.0);
    recorder.AddTestRecord(cls, "Ratio 0.1", std::fabs(vbw.GetSamples(0.1) - 3.74152) < 1e-4);
    recorder.AddTestRecord(cls, "Ratio 0.01", vbw.GetSamples(0.01) == 50.0);
    recorder.AddTestRecord(cls, "Ratio 0.0001", vbw.GetSamples(0.0001) == 2188.0);
    recorder.AddTestRecord(cls, "Samples", vbw.GetSamples(0.01, 1000) == 50000);
    return true;
}

}  // namespace VELA
