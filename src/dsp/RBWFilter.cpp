#include "RBWFilter.h"

#include <cmath>
#include <cstdint>

#include "../math/MathUtils.h"
#include "DSPUtils.h"
#include "GaussWindow.h"
#include "KaiserWindow.h"

namespace VELA {

namespace {

// The hardware filter's window length; longer designs pad it with zeros.
constexpr int kWindowTaps = 40;

// Above this fraction of the Nyquist band a filter at the widest rate takes the Gauss shape.
constexpr double kGaussThreshold = 0.19999099999968167;

// Doubling the decimation factor stops here: beyond 2^62 it would no longer fit a long long.
constexpr long long kLargestFactor = 1LL << 62;

bool FinitePositive(double v) {
    return std::isfinite(v) && v > 0.0;
}

// Doubles `factor` while keepGoing(factor) holds; refuses a factor that would pass 2^62.
template <class KeepGoing>
long long Doubled(KeepGoing keepGoing) {
    long long factor = 1;
    while (keepGoing(factor)) {
        if (factor >= kLargestFactor) VELA_THROW(VELAErrorInvalidInputParameter);
        factor *= 2;
    }
    return factor;
}

// round(tap * (2^(bits-1) - 1)), half away from zero, computed exactly: the float tap is m * 2^e with
// |m| < 2^24, so the product m * (2^(bits-1) - 1) fits 55 bits and the scaling by 2^e is a rounded
// shift. (A product in double would round once more for 31- and 32-bit words, and then a value just
// below a half could round up.) |tap| <= 1, so the result fits the width.
int64_t RoundedFraction(float tap, int bits) {
    if (tap == 0.0f) return 0;
    int e = 0;
    const float fraction = std::frexp(tap, &e);  // tap = fraction * 2^e, 0.5 <= |fraction| < 1
    const int64_t m = static_cast<int64_t>(std::ldexp(fraction, 24));
    const int shift = 24 - e;  // tap = m / 2^shift; shift >= 23 since |tap| <= 1
    const uint64_t magnitude = static_cast<uint64_t>(m < 0 ? -m : m) * ((uint64_t{1} << (bits - 1)) - 1);
    // magnitude < 2^55, so adding half of 2^shift cannot overflow for shift <= 63, and any larger shift
    // leaves less than a half.
    const uint64_t rounded = shift >= 64 ? 0 : (magnitude + (uint64_t{1} << (shift - 1))) >> shift;
    return m < 0 ? -static_cast<int64_t>(rounded) : static_cast<int64_t>(rounded);
}

}  // namespace

RBWFilter::RBWFilter(float r1, float maxRate)
    : rate1(r1), rate2(maxRate), tapCount(1), gaussWindow(nullptr), kaiserWindow(nullptr), gain(1.0f) {
    gaussWindow = factory.MakeWindow(WindowTypeGauss);
    kaiserWindow = factory.MakeWindow(WindowTypeKaiser);
}

RBWFilter::RBWFilter(const RBWFilter& o)
    : rate1(o.rate1),
      rate2(o.rate2),
      tapCount(o.tapCount),
      coef(o.coef),
      rawCoef(o.rawCoef),
      windowCoef(o.windowCoef),
      factory(o.factory),
      gaussWindow(new GaussWindow(*static_cast<const GaussWindow*>(o.gaussWindow))),
      kaiserWindow(new KaiserWindow(*static_cast<const KaiserWindow*>(o.kaiserWindow))),
      gain(o.gain) {}

RBWFilter& RBWFilter::operator=(const RBWFilter& o) {
    if (this == &o) return *this;
    // The windows are assigned in place: each object keeps owning its own.
    *static_cast<GaussWindow*>(gaussWindow) = *static_cast<const GaussWindow*>(o.gaussWindow);
    *static_cast<KaiserWindow*>(kaiserWindow) = *static_cast<const KaiserWindow*>(o.kaiserWindow);
    rate1 = o.rate1;
    rate2 = o.rate2;
    tapCount = o.tapCount;
    coef = o.coef;
    rawCoef = o.rawCoef;
    windowCoef = o.windowCoef;
    factory = o.factory;
    gain = o.gain;
    return *this;
}

RBWFilter::~RBWFilter() {
    delete gaussWindow;
    delete kaiserWindow;
}

float RBWFilter::GetMaxRBW() const {
    return rate2 * 0.4f;
}

float RBWFilter::GetMaxRBW(float span) const {
    return span == rate2 ? rate2 * 0.4f : span * 0.1f;
}

double RBWFilter::GetMaxRBW(double rate) {
    return rate * 0.4;
}

double RBWFilter::GetMaxRBW(double span, double rate) {
    return span == rate ? rate * 0.4 : span * 0.1;
}

void RBWFilter::GetDecimationFactor(long long& factor, double& outRate, double rate, double rbw,
                                    double maxRate) {
    if (!FinitePositive(rate) || !FinitePositive(rbw)) VELA_THROW(VELAErrorInvalidInputParameter);
    long long f = 1;
    if (rate == maxRate) {
        // At the widest rate a wide filter runs undecimated. Otherwise 5 % of the decimated rate must
        // come strictly below rbw: a quotient equal to rbw doubles once more.
        if (!(rbw > 0.05 * maxRate))
            f = Doubled([&](long long k) { return !(0.05 * rate / static_cast<double>(k) < rbw); });
    } else {
        // At any other rate a quotient equal to rbw is close enough.
        f = Doubled([&](long long k) { return 0.05 * rate / static_cast<double>(k) > rbw; });
    }
    factor = f;
    outRate = rate / static_cast<double>(f);
}

void RBWFilter::GetDecimationFactor(long long& factor, double& outRate, double rate, double rbw) {
    GetDecimationFactor(factor, outRate, rate, rbw, rate);
}

void RBWFilter::GetDecimationFactor(long long& factor, float& outRate, float rate, float rbw) const {
    if (!FinitePositive(rate) || !FinitePositive(rbw)) VELA_THROW(VELAErrorInvalidInputParameter);
    long long f = 1;
    if (rate == rate2) {
        if (!(rbw > 0.05f * rate2))
            f = Doubled([&](long long k) { return !(0.05f * rate / static_cast<float>(k) < rbw); });
    } else {
        f = Doubled([&](long long k) { return 0.05f * rate / static_cast<float>(k) > rbw; });
    }
    factor = f;
    outRate = rate / static_cast<float>(f);
}

float RBWFilter::GetKaiserPara(float x) {
    const double v = x;
    return static_cast<float>(1352.612060546875 * v * v + 2.19348406791687 * v - 1.0588929653167725);
}

float RBWFilter::GetGaussPara(float x) {
    const float w = x * 0.5f;
    if (w > 0.3) {
        const double d = w - 0.30000001192092896;
        return static_cast<float>(w * (625.0 * d * d * d + 75.5999984741211));
    }
    return static_cast<float>(w * 75.5999984741211);
}

void RBWFilter::Apply(VecReal32& taps, float rate, float rbw, int n) {
    if (!FinitePositive(rate) || !FinitePositive(rbw) || n < kWindowTaps)
        VELA_THROW(VELAErrorInvalidInputParameter);
    // The bandwidth as a fraction of the Nyquist band.
    const float x = rbw / (0.5f * rate);
    const bool gauss = rate == rate2 && x > kGaussThreshold;
    const float para = gauss ? GetGaussPara(x) : GetKaiserPara(x);
    if (!std::isfinite(para)) VELA_THROW(VELAErrorInvalidInputParameter);
    Window* w = gauss ? gaussWindow : kaiserWindow;
    w->SetParameters(kWindowTaps, para);
    w->GetCoefficients(windowCoef);
    // An extreme parameter leaves a window of zeros (normalised to 0/0) or infinities: no filter.
    float peak = 0.0f;
    for (int i = 0; i < windowCoef.GetSize(); ++i) {
        if (!std::isfinite(windowCoef[i])) VELA_THROW(VELAErrorInvalidInputParameter);
        peak = std::fmax(peak, windowCoef[i]);
    }
    if (!(peak > 0.0f)) VELA_THROW(VELAErrorInvalidInputParameter);

    // The window always has 40 points; a longer filter only has more zeros around it.
    taps.Resize(n);
    MathUtils::Set(taps, 0.0f);
    const int offset = (n - kWindowTaps) / 2;
    for (int i = 0; i < kWindowTaps; ++i)
        taps[offset + i] = windowCoef[i];
}

void RBWFilter::Apply(VecUInt32& words, float rate, float rbw, int n, int bits) {
    CheckBits(bits);
    Apply(rawCoef, rate, rbw, n);
    float g = 0.0f;
    GetFPGAGain(coef, g, rawCoef);
    QuantCoef(words, coef, bits);
    gain = g;
    tapCount = n;
}

void RBWFilter::GetDefaultCoef(VecReal32& taps, int n) {
    if (n < 1) VELA_THROW(VELAErrorInvalidInputParameter);
    taps.Resize(n);
    MathUtils::Set(taps, 0.0f);
    taps[0] = 1.0f;
}

void RBWFilter::GetDefaultCoef(VecUInt32& words, int n, int bits) {
    CheckBits(bits);
    GetDefaultCoef(coef, n);
    QuantCoef(words, coef, bits);
}

void RBWFilter::GetProperties(float& g, float& delay) const {
    g = gain;
    delay = static_cast<float>((tapCount - 1) * 0.5);
}

void RBWFilter::GetDefaultProperties(float& g, float& delay) {
    g = 1.0f;
    delay = 0.0f;
}

void RBWFilter::GetFPGAGain(VecReal32& out, float& g, const VecReal32& coefficients) {
    DSPUtils::GetFPGAGain(out, g, coefficients);
}

void RBWFilter::CheckBits(int bits) {
    if (bits < 2 || bits > 32) VELA_THROW(VELAErrorInvalidInputParameter);
}

void RBWFilter::QuantCoef(VecUInt32& words, const VecReal32& in, int bits) {
    CheckBits(bits);
    const int n = in.GetSize();
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(in[i]) <= 1.0f)) VELA_THROW(VELAErrorInvalidInputParameter);
    const int64_t full = int64_t{1} << bits;
    words.Resize(n);
    for (int i = 0; i < n; ++i) {
        const int64_t v = RoundedFraction(in[i], bits);
        // Two's complement within `bits` bits.
        words[i] = static_cast<unsigned int>(v < 0 ? v + full : v);
    }
}

}  // namespace VELA
