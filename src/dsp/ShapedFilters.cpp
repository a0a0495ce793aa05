#include "ShapedFilters.h"

#include <cmath>

#include "WaveformGenerator.h"
#include "internal/FIRDesign.h"

namespace VELA {

using internal::CheckDesign;
using internal::DesignAxis;
using internal::OddTapCount;
using internal::RolloffFloor;

namespace {

// The deviation of ConvGauss, as a part of the symbol time, for a bandwidth-time product.
float GaussRectDeviation(float bt) {
    return static_cast<float>(0.8325546383857727 / (bt * 6.2831854820251465));
}

double RateRatio(float samplingRate, float symbolRate) {
    return static_cast<double>(samplingRate) / static_cast<double>(symbolRate);
}

}  // namespace

// ---------------------------------------------------------------- raised cosine

RaisedCosineFilter::RaisedCosineFilter() {
    filterType = FIRFilterRaisedCosine;
}

int RaisedCosineFilter::GetRecommendedTapSize(float fs, float symRate, float roll) {
    return OddTapCount(4.375 * RateRatio(fs, symRate) / RolloffFloor(roll));
}

void RaisedCosineFilter::SetParameters(float fs, float symRate, float roll, int n) {
    CheckDesign(n, fs, symRate, roll);
    samplingRate = fs;
    symbolRate = symRate;
    rolloff = roll;
    tapCount = n;
    const float dt = 1.0f / fs, T = 1.0f / symRate;
    VecReal32 t;
    DesignAxis(t, n, dt);
    WaveformGenerator::RaisedCosinePulse(taps, roll, T, t);
    taps.Mul(dt / T);
    delay = static_cast<float>(n - 1) * 0.5f;
}

// ---------------------------------------------------------------- root raised cosine

RootRaisedCosineFilter::RootRaisedCosineFilter() {
    filterType = FIRFilterRootRaisedCosine;
}

int RootRaisedCosineFilter::GetRecommendedTapSize(float fs, float symRate, float roll) {
    return OddTapCount(8.75 * RateRatio(fs, symRate) / RolloffFloor(roll));
}

void RootRaisedCosineFilter::SetParameters(float fs, float symRate, float roll, int n) {
    CheckDesign(n, fs, symRate, roll);
    samplingRate = fs;
    symbolRate = symRate;
    rolloff = roll;
    tapCount = n;
    const float dt = 1.0f / fs, T = 1.0f / symRate;
    VecReal32 t;
    DesignAxis(t, n, dt);
    WaveformGenerator::RootRaisedCosinePulse(taps, roll, T, t);
    taps.Mul(dt / std::sqrt(T));
    delay = static_cast<float>(n - 1) * 0.5f;
}

// ---------------------------------------------------------------- Gaussian

GaussianFilter::GaussianFilter() {
    filterType = FIRFilterGaussian;
}

int GaussianFilter::GetRecommendedTapSize(float fs, float symRate, float roll) {
    return OddTapCount(10.0 * RateRatio(fs, symRate) / RolloffFloor(roll));
}

void GaussianFilter::SetParameters(float fs, float symRate, float roll, int n) {
    CheckDesign(n, fs, symRate, roll);
    samplingRate = fs;
    symbolRate = symRate;
    rolloff = roll;
    tapCount = n;
    const float dt = 1.0f / fs, T = 1.0f / symRate;
    VecReal32 t;
    DesignAxis(t, n, dt);
    WaveformGenerator::GaussianPulse(taps, roll / T, t);
    taps.Mul(dt);
    delay = static_cast<float>(n - 1) * 0.5f;
}

// ---------------------------------------------------------------- Gaussian-smoothed rectangle

GaussRectFilter::GaussRectFilter() {
    // Deliberately the value of FIRFilterIntegralGaussian, whichever of its two tags made it.
    filterType = FIRFilterIntegralGaussian;
}

int GaussRectFilter::GetRecommendedTapSize(float fs, float symRate, float roll) {
    return OddTapCount(10.0 * RateRatio(fs, symRate) / RolloffFloor(roll));
}

void GaussRectFilter::SetParameters(float fs, float symRate, float roll, int n) {
    CheckDesign(n, fs, symRate, roll);
    samplingRate = fs;
    symbolRate = symRate;
    rolloff = roll;
    tapCount = n;
    const float dt = 1.0f / fs, T = 1.0f / symRate;
    VecReal32 t;
    DesignAxis(t, n, dt);
    WaveformGenerator::ConvGauss(taps, T, GaussRectDeviation(roll), t);
    taps.Mul(dt);
    delay = static_cast<float>(n - 1) * 0.5f;
}

// ---------------------------------------------------------------- rectangular

RectangularFilter::RectangularFilter() {
    filterType = FIRFilterRectangular;
}

int RectangularFilter::GetRecommendedTapSize(float fs, float cut, float) {
    return OddTapCount(10.0 * static_cast<double>(fs) / static_cast<double>(cut));
}

void RectangularFilter::SetParameters(float fs, float cut, float, int n) {
    SetParameters(fs, cut, n);
}

void RectangularFilter::SetParameters(float fs, float cut, int n) {
    CheckDesign(n, fs, cut);
    samplingRate = fs;
    cutoff = cut;
    tapCount = n;
    const float dt = 1.0f / fs;
    VecReal32 t;
    DesignAxis(t, n, dt);
    WaveformGenerator::SincPulse(taps, cut * 0.5f, t);
    taps.Mul(dt);
    delay = static_cast<float>(n - 1) * 0.5f;
}

}  // namespace VELA
