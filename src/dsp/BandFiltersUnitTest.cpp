// Self-tests of the band kinds: unit gain where each design puts it, linear phase, and the high-pass
// kind's shared low-pass design.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "BandFilters.h"
#include "DSPUtils.h"
#include "internal/FilterSelfTest.h"

namespace VELA {

namespace {
// |H(f)| of real taps at f cycles per sample.
double Gain(const VecReal32& h, double f) {
    double re = 0.0, im = 0.0;
    for (int k = 0; k < h.GetSize(); ++k) {
        re += h[k] * std::cos(6.283185307179586 * f * k);
        im -= h[k] * std::sin(6.283185307179586 * f * k);
    }
    return std::sqrt(re * re + im * im);
}
}  // namespace

bool LowPassFilter::UnitTest(UnitTestRecorder& recorder) {
    LowPassFilter f;
    f.SetParameters(1000, 100, 81);
    VecReal32 h;
    f.GetTaps(h);
    const bool ok = h.GetSize() == 81 && std::fabs(Gain(h, 0.0) - 1.0) < 1e-5 && Gain(h, 0.2) < 1e-3 &&
                    internal::Symmetric(h, 0.0) && f.GetDelay() == 40.0f;
    recorder.AddTestRecord("LowPassFilter", "Design", ok);
    return true;
}

bool HighPassFilter::UnitTest(UnitTestRecorder& recorder) {
    // As it stands the kind designs the low-pass taps of its cut-off.
    HighPassFilter f;
    f.SetParameters(1000, 100, 81);
    VecReal32 h, low;
    f.GetTaps(h);
    DSPUtils::LowPass(low, 0.1f, 81);
    bool ok = h.GetSize() == 81 && f.GetFilterType() == FIRFilterHighPass;
    for (int i = 0; ok && i < 81; ++i)
        ok = h[i] == low[i];
    recorder.AddTestRecord("HighPassFilter", "Shares the low-pass design", ok);
    return true;
}

bool BandPassFilter::UnitTest(UnitTestRecorder& recorder) {
    BandPassFilter f;
    f.SetParameters(1000, 100, 200, 81);
    VecReal32 h;
    f.GetTaps(h);
    const bool ok = h.GetSize() == 81 && std::fabs(Gain(h, 0.15) - 1.0) < 1e-5 && Gain(h, 0.0) < 1e-3 &&
                    Gain(h, 0.4) < 1e-3 && internal::Symmetric(h, 0.0);
    recorder.AddTestRecord("BandPassFilter", "Design", ok);
    return true;
}

}  // namespace VELA
