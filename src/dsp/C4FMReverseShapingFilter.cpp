#include "C4FMReverseShapingFilter.h"

#include <cmath>
#include <cstdint>

#include "FT.h"
#include "internal/FIRDesign.h"

namespace VELA {

namespace {
constexpr double kC4FMSymbolRate = 4800.0;
}

C4FMReverseShapingFilter::C4FMReverseShapingFilter() {
    filterType = FIRFilterC4FMReverseShaping;
}

int C4FMReverseShapingFilter::GetRecommendedTapSize(float fs, float symRate, float) {
    const double v = std::trunc(static_cast<double>(fs) * 20.0 / static_cast<double>(symRate));
    if (std::isnan(v) || v > static_cast<double>(internal::kMaxDesignTaps))
        VELA_THROW(VELAErrorInvalidInputParameter);
    if (v < 3.0) return 1;
    int p = 1;
    while (p < v)
        p <<= 1;
    return p - 1;
}

void C4FMReverseShapingFilter::SetParameters(float fs, float symRate, float, int n) {
    internal::CheckDesign(n, fs, symRate);
    samplingRate = fs;
    symbolRate = symRate;
    tapCount = n;
    delay = static_cast<float>(n - 1) * 0.5f;
    C4FMFilterTap(1.0f / symRate, 1.0f / fs, n);
}

void C4FMReverseShapingFilter::C4FMFilterTap(float T, float dt, int count) {
    int L = 2, order = 1;
    while (L < count) {
        L <<= 1;
        ++order;
    }
    const double osr = static_cast<double>(T) / static_cast<double>(dt);
    VecCplx32 S(L);
    S.SetZero();
    S[0] = {static_cast<float>(osr), 0.0f};
    const double df = osr * kC4FMSymbolRate / L;
    for (int k = 1; k < L / 2; ++k) {
        const double f = k * df;
        if (f >= kC4FMSymbolRate) break;
        const double x = f * 3.141592653589793 / kC4FMSymbolRate;
        const float v = static_cast<float>(osr * std::sin(x) / x);
        S[k] = S[L - k] = {v, 0.0f};
    }
    FFT fft(order);
    VecCplx32 response;
    fft.Inverse(response, S);

    // Elements past the old size are new storage: they start at 0, the outermost ones stay so.
    const int old = taps.GetSize() > 0 ? taps.GetSize() : 0;
    const bool kept = count <= taps.GetCapacity();
    taps.Resize(count);
    for (int i = kept ? old : 0; i < count; ++i)
        taps[i] = 0.0f;
    if (count <= 0) return;
    const int c = (count - 1) / 2;
    // round(osr) without an int conversion, which a rate of 0 (an infinite ratio) would overflow.
    const float n = static_cast<float>(std::trunc(osr + 0.5));
    taps[c] = response[0].re / n;
    for (int i = 1; i <= c - 1; ++i) {
        taps[c + i] = response[i].re / n;
        taps[c - i] = response[L - i].re / n;
    }
}

}  // namespace VELA
