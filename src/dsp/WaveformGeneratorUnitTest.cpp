// Self-test of WaveformGenerator: ConvGauss over a wide axis, checked for unit area, symmetry and the
// closed-form peak.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "DSPUtils.h"
#include "WaveformGenerator.h"

namespace VELA {

bool WaveformGenerator::UnitTest(UnitTestRecorder& recorder) {
    const float T = 1.0f, s = 0.4416839f;
    VecReal32 t, p;
    DSPUtils::Ramp(t, 1001, -5.0f, 0.01f);
    ConvGauss(p, T, s, t);

    bool ok = p.GetSize() == 1001;
    double area = 0.0;
    for (int i = 0; ok && i < 1001; ++i) {
        area += p[i] * 0.01;
        ok = std::isfinite(p[i]) && std::fabs(p[i] - p[1000 - i]) <= 1e-6f;
    }
    // The rectangle of unit area keeps its area through the convolution; at t = 0 the value is
    // erf((T/2) / (sqrt(2) s T)) / T.
    const double peak = std::erf(0.5 / (std::sqrt(2.0) * static_cast<double>(s)));
    ok = ok && std::fabs(area - 1.0) <= 1e-4 && std::fabs(p[500] - peak) <= 1e-6;
    recorder.AddTestRecord("ConvGauss", "Waveform", ok);
    return true;
}

}  // namespace VELA
