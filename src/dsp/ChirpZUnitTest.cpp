// Self-test of ChirpZ: the zoom over the whole band must equal the plain transform.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "ChirpZ.h"
#include "DSPUtils.h"
#include "FT.h"

namespace VELA {

namespace {
constexpr float kTol = 5e-5f;
}

bool ChirpZ::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "ChirpZ";
    {
        VecCplx32 ramp(8), viaFT, viaCZT;
        for (int i = 0; i < 8; ++i)
            ramp[i] = {static_cast<float>(i), 0.0f};
        FT ft;
        ft.Forward(viaFT, ramp);
        ChirpZ czt(8, 1.0, 8, 0.0, 0.125, false);
        czt.Apply(viaCZT, ramp);
        recorder.AddTestRecord(cls, "Full band equals FT (32-bit)", viaCZT.IsEqual(viaFT, kTol));
        viaCZT.Resize(4);
        recorder.AddTestRecord(cls, "Resize returns to storage start", viaCZT.GetSize() == 4);
    }
    {
        VecCplx64 ramp(8), viaFT, viaCZT;
        for (int i = 0; i < 8; ++i)
            ramp[i] = {static_cast<double>(i), 0.0};
        FT ft;
        ft.Forward(viaFT, ramp);
        ChirpZ czt(8, 1.0, 8, 0.0, 0.125, true);
        czt.Apply(viaCZT, ramp);
        recorder.AddTestRecord(cls, "Full band equals FT (64-bit)", viaCZT.IsEqual(viaFT, kTol));
    }
    {
        ChirpZ wide(8, 1.0, 12, 0.0, 0.125, false);
        ChirpZ narrow(8, 1.0, 1, 0.0, 0.125, false);
        recorder.AddTestRecord(
            cls, "Table sizes",
            wide.GetChirpSize() == 19 && narrow.GetChirpSize() == 15 && narrow.GetFFTSize() == 8);
        // One output at the start frequency 0 is the plain sum of the block.
        VecCplx32 block(8), out;
        for (int i = 0; i < 8; ++i)
            block[i] = {1.0f, static_cast<float>(i)};
        narrow.Apply(out, block);
        recorder.AddTestRecord(
            cls, "Single output",
            out.GetSize() == 1 && std::fabs(out[0].re - 8.0f) < kTol && std::fabs(out[0].im - 28.0f) < kTol);
    }
    {
        // The weighted magnitude of a ramp under a triangle window: |sum_n n w[n]| at frequency 0, and
        // the values of weighting, Apply and the magnitude (power) one by one at every output.
        VecCplx32 ramp(8), weighted(8), spectrum;
        VecReal32 weights(8), mag, power, wantMag, wantPower;
        double sum = 0.0;
        for (int i = 0; i < 8; ++i) {
            ramp[i] = {static_cast<float>(i), 0.0f};
            weights[i] = static_cast<float>(i < 4 ? i + 1 : 8 - i) / 4.0f;
            weighted[i] = {ramp[i].re * weights[i], 0.0f};
            sum += static_cast<double>(i) * weights[i];
        }
        ChirpZ czt(8, 1.0, 5, 0.0, 0.1, false);
        czt.ApplyMagnitude(mag, ramp, weights);
        czt.ApplyPower(power, ramp, weights);
        czt.Apply(spectrum, weighted);
        DSPUtils::Mag(wantMag, spectrum);
        DSPUtils::MagSqr(wantPower, spectrum);
        bool same = mag.GetSize() == 5 && power.GetSize() == 5;
        for (int j = 0; same && j < 5; ++j)
            same = mag[j] == wantMag[j] && power[j] == wantPower[j];
        const float total = static_cast<float>(sum);
        recorder.AddTestRecord(cls, "Weighted magnitude and power",
                               same && std::fabs(mag[0] - total) < kTol * total);
    }
    return true;
}

}  // namespace VELA
