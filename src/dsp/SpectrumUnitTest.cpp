// Self-test of Spectrum: a 7-point ramp through the Blackman-Harris window, in dB.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "Spectrum.h"

namespace VELA {

bool Spectrum::UnitTest(UnitTestRecorder& recorder) {
    bool passed = false;
    try {
        Spectrum s(7, WindowTypeBlackmanHarris, 0.0f);
        VecCplx32 in(7);
        for (int i = 0; i < 7; ++i)
            in[i] = {static_cast<float>(i), 0.0f};
        VecReal32 out;
        s.Apply(out, in);
        const float tol = 9e-6f;
        passed = out.GetSize() == 7 && std::fabs(out[0] - -12.994478225708008) < tol &&
                 std::fabs(out[1] - 0.20782308280467987) < tol;
    } catch (const VELAException&) {
        passed = false;
    }
    recorder.AddTestRecord("Spectrum", "Size=7", passed);
    return true;
}

}  // namespace VELA
