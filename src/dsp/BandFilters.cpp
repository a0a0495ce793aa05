#include "BandFilters.h"

#include "DSPUtils.h"
#include "internal/FIRDesign.h"

namespace VELA {

using internal::CheckDesign;

LowPassFilter::LowPassFilter() {
    filterType = FIRFilterLowPass;
}

int LowPassFilter::GetRecommendedTapSize(float, float, float) {
    return 0;
}

void LowPassFilter::SetParameters(float fs, float cut, float, int n) {
    SetParameters(fs, cut, n);
}

void LowPassFilter::SetParameters(float fs, float cut, int n) {
    CheckDesign(n, fs, cut);
    samplingRate = fs;
    cutoff = cut;
    tapCount = n;
    delay = static_cast<float>(n - 1) * 0.5f;
    DSPUtils::LowPass(taps, cut / fs, n);
}

HighPassFilter::HighPassFilter() {
    filterType = FIRFilterHighPass;
}

BandPassFilter::BandPassFilter() {
    filterType = FIRFilterBandPass;
}

int BandPassFilter::GetRecommendedTapSize(float, float, float) {
    return 0;
}

void BandPassFilter::SetParameters(float fs, float low, float high, int n) {
    CheckDesign(n, fs, low, high);
    samplingRate = fs;
    lowCutoff = low;
    highCutoff = high;
    tapCount = n;
    delay = static_cast<float>(n - 1) * 0.5f;
    DSPUtils::BandPass(taps, low / fs, high / fs, n);
}

}  // namespace VELA
