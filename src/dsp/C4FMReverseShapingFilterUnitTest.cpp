// Self-test of C4FMReverseShapingFilter: the recommended length at 4 samples per symbol and the taps
// at the centre and every fourth place out to 20.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "C4FMReverseShapingFilter.h"

namespace VELA {

bool C4FMReverseShapingFilter::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "C4FMReverseShapingFilter";
    C4FMReverseShapingFilter f;
    const int n = f.GetRecommendedTapSize(19200, 4800, 0);
    const bool lengthOk = n == 127;
    recorder.AddTestRecord(cls, "Recommended taps", lengthOk);

    f.SetParameters(19200, 4800, 0, 127);
    VecReal32 h;
    f.GetTaps(h);
    const double r[6] = {1.17894, -0.0563992, -0.0129886, -0.00569371, -0.00318839, -0.00203696};
    bool tapsOk = h.GetSize() == 127;
    for (int j = 0; tapsOk && j < 6; ++j)
        for (int side : {-1, 1}) {
            const double tap = h[63 + side * 4 * j];
            tapsOk = tapsOk && std::fabs(tap - r[j] / 4) <= 0.03 * std::fabs(r[j]);
        }
    recorder.AddTestRecord(cls, "Taps", tapsOk);
    return lengthOk && tapsOk;
}

}  // namespace VELA
