// DSPUtils members that stand on MathUtils: the dB magnitude, the normal-equation fit and the FPGA
// gain rule.
#include <cmath>

#include "../math/MathUtils.h"
#include "DSPUtils.h"
#include "internal/Aliasing.h"

namespace VELA {

namespace {

// Below this tap sum (or response) there is no power-of-two gain to speak of, and the integer steps
// of the rule would overflow; the taps are then only normalised and the gain reported as 0.
constexpr float kSmallestSum = 1.0f / (1 << 29);
constexpr float kLargestSum = static_cast<float>(1 << 29);

bool SumUsable(float s) {
    return s >= kSmallestSum && s <= kLargestSum;
}

float NextPow2Of(float s) {
    return static_cast<float>(MathUtils::NextPowOf2(static_cast<int>(std::ceil(s))));
}

// out = coefficients / peak, with the largest tap at 1.
void Normalise(VecReal32& out, const VecReal32& coefficients, float peak) {
    internal::PrepareInPlace(out, coefficients);  // element by element: runs in place
    const int n = coefficients.GetSize();
    out.Resize(n);
    for (int i = 0; i < n; ++i)
        out[i] = coefficients[i];
    out /= peak;
}

}  // namespace

void DSPUtils::MagdB(VecReal32& out, const VecCplx32& in) {
    MagSqr(out, in);
    // The guarded logarithm keeps a zero sample finite (about -400 dB) for the traces built on this.
    MathUtils::Log10(out);
    out *= 10.0f;
}

void DSPUtils::MagdB(VecReal64& out, const VecCplx64& in) {
    MagSqr(out, in);
    MathUtils::Log10(out);
    out *= 10.0;
}

void DSPUtils::LinearLeastSquareFit(MatReal64& beta, const MatReal64& y, const MatReal64& A) {
    MatReal64 at, ata, inverse, aty;
    MathUtils::Trns(at, A);
    MathUtils::Mul(ata, at, A);
    MathUtils::Inv(inverse, ata);
    MathUtils::Mul(aty, at, y);
    MathUtils::Mul(beta, inverse, aty);
}

void DSPUtils::GetFPGAGain(VecReal32& out, float& gain, const VecReal32& coefficients) {
    const float peak = coefficients.Max();
    Normalise(out, coefficients, peak);
    const float s = out.Sum();
    if (!SumUsable(s)) {
        gain = 0;
        return;
    }
    const float g = NextPow2Of(s);
    if (g == s) {
        gain = g;
        return;
    }
    gain = g * 0.5f;
    out *= gain / s;
}

void DSPUtils::GetFPGAGain(VecReal32& out, float& gain, const VecReal32& coefficients, float refFreq) {
    const float peak = coefficients.Max();
    // The gain that matters is the magnitude of the response at refFreq. The taps are taken before out
    // is written, since out may be the coefficients themselves.
    VecCplx32 c(coefficients);
    Normalise(out, coefficients, peak);
    c /= Cplx32{peak, 0.0f};
    ShiftFreq(c, refFreq, 0.0f, true);
    const Cplx32 sum = c.Sum();
    const float s = std::sqrt(sum.re * sum.re + sum.im * sum.im);
    if (!SumUsable(s)) {
        gain = 0;
        return;
    }
    const float g = NextPow2Of(s);
    if (g == s) {
        gain = g;
        return;
    }
    gain = g * 0.5f;
    float r = gain / s;
    // A response below one half would need taps above 1: lower the gain by a further power of two so
    // that no tap exceeds the peak.
    if (r > 1) {
        const float p = NextPow2Of(r);
        r /= p;
        gain /= p;
    }
    out *= r;
}

}  // namespace VELA
