#include "IntegralFilters.h"

#include <cmath>

#include "../math/MathUtils.h"
#include "DSPUtils.h"
#include "WaveformGenerator.h"
#include "internal/FIRDesign.h"

namespace VELA {

using internal::CheckDesign;
using internal::DesignAxis;
using internal::OddTapCount;
using internal::RolloffFloor;

namespace {

bool FinitePositive(float v) {
    return std::isfinite(v) && v > 0.0f;
}

// The deviation of the smoothing Gaussian, as a part of the symbol time, for a bandwidth-time product.
float GaussDeviation(float bt) {
    return static_cast<float>(0.8325546383857727 / (bt * 6.2831854820251465));
}

// The rates of both kinds must be usable: the step response is laid out in symbols on a sample grid.
void CheckRates(float samplingRate, float symbolRate) {
    if (!FinitePositive(samplingRate) || !FinitePositive(symbolRate))
        VELA_THROW(VELAErrorInvalidInputParameter);
}

// out = sum over the non-zero in[i] of in[i] r(x - x[i] + timeShift), x the sample times of the block;
// `stepResponse(p, y)` evaluates r at the times y into p. A zero sample costs nothing, which is what
// makes sparse step lists cheap. `out` may be `in`: the input is then read from `copy`.
template <class StepResponse>
void SumOfSteps(VecReal32& out, const VecReal32& in, float samplingRate, float timeShift, VecReal32& axis,
                VecReal32& times, VecReal32& pulse, VecReal32& copy, StepResponse stepResponse) {
    const VecReal32* src = &in;
    if (&out == &in) {
        MathUtils::Copy(copy, in.GetSize(), in, 0);
        src = &copy;
    }
    const int n = src->GetSize();
    const float dt = 1.0f / samplingRate;
    DSPUtils::Ramp(axis, n, 0.0f, dt);
    times.Resize(n);
    out.Resize(n);
    MathUtils::Set(out, 0.0f);
    for (int i = 0; i < n; ++i) {
        const float step = (*src)[i];
        if (step == 0.0f) continue;
        const float origin = axis[i];
        for (int j = 0; j < n; ++j)
            times[j] = axis[j] - origin + timeShift;
        stepResponse(pulse, times);
        for (int j = 0; j < n; ++j)
            out[j] += step * pulse[j];
    }
}

}  // namespace

// ---------------------------------------------------------------- Gaussian-smoothed rectangle

IntegralGaussianFilter::IntegralGaussianFilter() {
    filterType = FIRFilterIntegralGaussian;
}

int IntegralGaussianFilter::GetRecommendedTapSize(float fs, float symRate, float roll) {
    return OddTapCount(10.0 * (static_cast<double>(fs) / static_cast<double>(symRate)) / RolloffFloor(roll));
}

void IntegralGaussianFilter::SetParameters(float fs, float symRate, float roll, int n) {
    CheckDesign(n, fs, symRate, roll);
    CheckRates(fs, symRate);
    // The deviation divides by the bandwidth-time product.
    if (!FinitePositive(roll)) VELA_THROW(VELAErrorInvalidInputParameter);
    samplingRate = fs;
    symbolRate = symRate;
    rolloff = roll;
    tapCount = n;
    const float dt = 1.0f / fs, T = 1.0f / symRate;
    VecReal32 t;
    DesignAxis(t, n, dt);
    WaveformGenerator::IntegralConvGauss(taps, T, GaussDeviation(roll), t);
    taps.Mul(dt);
    delay = static_cast<float>(n - 1) * 0.5f;
}

void IntegralGaussianFilter::Apply(VecReal32& out, const VecReal32& in, bool) {
    if (!FinitePositive(samplingRate)) VELA_THROW(VELAErrorInvalidInputParameter);
    const float T = 1.0f / symbolRate, s = GaussDeviation(rolloff);
    SumOfSteps(
        out, in, samplingRate, timeShift, axis, times, pulse, input,
        [T, s](VecReal32& p, const VecReal32& y) { WaveformGenerator::IntegralConvGauss(p, T, s, y); });
}

// ---------------------------------------------------------------- rectangle

IntegralRectFilter::IntegralRectFilter() {
    filterType = FIRFilterIntegralRect;
}

int IntegralRectFilter::GetRecommendedTapSize(float fs, float symRate, float) {
    return OddTapCount(10.0 * static_cast<double>(fs) / static_cast<double>(symRate));
}

void IntegralRectFilter::SetParameters(float fs, float symRate, float roll, int n) {
    CheckDesign(n, fs, symRate, roll);
    CheckRates(fs, symRate);
    samplingRate = fs;
    symbolRate = symRate;
    rolloff = roll;
    tapCount = n;
    const float dt = 1.0f / fs, T = 1.0f / symRate;
    VecReal32 t;
    DesignAxis(t, n, dt);
    WaveformGenerator::IntegralConvRect(taps, T, t);
    taps.Mul(dt);
    delay = static_cast<float>(n - 1) * 0.5f;
}

void IntegralRectFilter::Apply(VecReal32& out, const VecReal32& in, bool) {
    if (!FinitePositive(samplingRate)) VELA_THROW(VELAErrorInvalidInputParameter);
    const float T = 1.0f / symbolRate;
    SumOfSteps(out, in, samplingRate, timeShift, axis, times, pulse, input,
               [T](VecReal32& p, const VecReal32& y) { WaveformGenerator::IntegralConvRect(p, T, y); });
}

}  // namespace VELA
