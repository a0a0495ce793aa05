// Self-test of DigitalZoom: a 1 MHz zoom out of a 10 MHz capture reads a tone's level on its point.
#include <cmath>
#include <random>

#include "../infra/UnitTestRecorder.h"
#include "DigitalZoom.h"

namespace VELA {

namespace {

// Five tones around 1 GHz as a receiver at 1 GHz sampling at 25 MS/s sees them, plus white noise of
// 0.001 per component from a fixed seed.
void MakeSignal(VecCplx32& out, int n) {
    const double freq[5] = {9.99e8, 9.95999e8, 9.95998e8, 1.00256e9, 1.00345e9};
    const double amp[5] = {0.5, 0.05, 0.0125, 1.0, 1.0};
    std::mt19937 rng(20261122u);
    std::normal_distribution<double> noise(0.0, 0.001);
    out.Resize(n);
    for (int i = 0; i < n; ++i) {
        double re = noise(rng), im = noise(rng);
        for (int t = 0; t < 5; ++t) {
            const double cycles = (freq[t] - 1e9) / 2.5e7 * i;
            const double a = 6.283185307179586 * (cycles - std::floor(cycles));
            re += amp[t] * std::cos(a);
            im += amp[t] * std::sin(a);
        }
        out[i] = {static_cast<float>(re), static_cast<float>(im)};
    }
}

// Zoom 1.0025 .. 1.0035 GHz, 1 kHz points, Blackman-Harris: three 27-tap stages and the 51-tap stage.
// The point 950 kHz from the left edge is the unit tone at 1.00345 GHz: 0 dB.
void Run(UnitTestRecorder& recorder, DigitalZoom& zoom, const char* compat, const char* apply) {
    const char* cls = "DigitalZoom";
    const int len = zoom.SetParameters(1.003e9, 1e6, 1000, WindowTypeBlackmanHarris, 0);
    recorder.AddTestRecord(cls, compat, len > 0);
    if (len <= 0) {
        recorder.AddTestRecord(cls, apply, false);
        return;
    }
    VecCplx32 in;
    MakeSignal(in, len);
    VecReal32 out;
    double binWidth = 0.0;
    zoom.Apply(out, binWidth, in);
    const bool ok =
        out.GetSize() == 1001 && std::fabs(binWidth - 1000.0) < 1e-9 && std::fabs(out[950]) < 0.1f;
    recorder.AddTestRecord(cls, apply, ok);
}

}  // namespace

bool DigitalZoom::UnitTest(UnitTestRecorder& recorder) {
    {
        DigitalZoom zoom(1e9, 1e7, 2.5e7);
        Run(recorder, zoom, "1-Compatility", "1-Apply");
    }
    {
        DigitalZoom zoom;
        zoom.SetSource(1e9, 1e7, 2.5e7);
        Run(recorder, zoom, "2-Compatility", "2-Apply");
    }
    return true;
}

}  // namespace VELA
