#include "NexaSupport.h"

#include <cmath>
#include <cstdint>

#include "../math/MathUtils.h"
#include "DSPUtils.h"
#include "FT.h"
#include "KaiserWindow.h"

namespace VELA {

namespace {

// pi and 2 pi as the nearest floats, widened: the block's chirp and NCO words were defined with them.
constexpr double kPiF = 3.1415927410125732;
constexpr double kTwoPiF = 6.2831854820251465;
// The chirp convolution's transform is of this order, whatever fftLength says.
constexpr int kConvolutionOrder = 10;
// A span may exceed the rate by this factor (rounding of the caller's figures).
constexpr double kSpanTolerance = 1.00001;
// The shortest window in either mode.
constexpr int kMinWindowLength = 4;

// truncate(sampleRate / rbw * f + 0.5), the quotient and product in float as the block's software forms
// them. A value beyond the int range saturates, so that it is refused like any other bad length.
int WindowLengthFor(float sampleRate, float rbw, float f) {
    float q = sampleRate / rbw;
    q = q * f;
    const double v = static_cast<double>(q) + 0.5;
    if (!(v < 2147483648.0)) return 2147483647;  // NaN included: refused as too long
    if (!(v > -2147483649.0)) return -2147483647 - 1;
    return static_cast<int>(v);
}

int Clamp32(int64_t v) {
    return v > 2147483647 ? 2147483647 : (v < -2147483647 - 1 ? -2147483647 - 1 : static_cast<int>(v));
}

}  // namespace

SorrelNexaSupport::SorrelNexaSupport(int points_, int dwell_, int fixedPointBits_, int fftLength_)
    : points(points_),
      dwell(dwell_),
      fftLength(fftLength_),
      fixedPointBits(fixedPointBits_),
      maxWindowLength(Clamp32(int64_t{fftLength_} - points_ + 1)),
      filterScale(1.0f) {}

SorrelNexaSupport::~SorrelNexaSupport() {
    delete window;
}

NexaSupportErrorTag SorrelNexaSupport::SetMeasurementParameters(float sampleRate_, float span_, float rbw,
                                                                int dwellCount_, WindowType windowType_) {
    if (kSpanTolerance * sampleRate_ < span_) return NexaSupportInvalidSpan;
    sampleRate = sampleRate_;
    span = span_;
    windowType = windowType_;
    requestedRBW = rbw;
    dwellCount = dwellCount_;
    startFrequency = static_cast<float>(-span * 0.5);
    stopFrequency = static_cast<float>(span * 0.5);

    delete window;
    window = nullptr;
    if (windowType != WindowTypeKaiser) return NexaSupportInvalidWindow;

    window = new KaiserWindow(KaiserWindowModeStandard);
    float f = window->GetEffectiveRBWScaling();
    windowLength = WindowLengthFor(sampleRate, rbw, f);
    actualRBW = sampleRate / static_cast<float>(windowLength) * f;
    if (windowLength < kMinWindowLength) return NexaSupportRBWOutOfRange;
    // The CISPR mode has the narrower RBW per length: taken only when the standard window is too long.
    if (windowLength > maxWindowLength) {
        delete window;
        window = new KaiserWindow(KaiserWindowModeCISPR);
        f = window->GetEffectiveRBWScaling();
        windowLength = WindowLengthFor(sampleRate, rbw, f);
        actualRBW = sampleRate / static_cast<float>(windowLength) * f;
    }
    if (windowLength < kMinWindowLength || windowLength > maxWindowLength) return NexaSupportRBWOutOfRange;
    // No output points leave no chirp to build (and a negative count no table size at all).
    if (fftLength != (1 << kConvolutionOrder) || points < 1) return NexaSupportRBWOutOfRange;

    GenerateWindowVector();
    generateWn();
    generateVr();
    generateWk();
    GenerateNCOParameters();
    return NexaSupportSuccess;
}

NexaSupportErrorTag SorrelNexaSupport::GenerateWindowParameter() {
    if (windowType != WindowTypeKaiser) return NexaSupportInvalidWindow;
    const float f = window ? window->GetEffectiveRBWScaling() : KaiserWindow().GetEffectiveRBWScaling();
    windowLength = WindowLengthFor(sampleRate, requestedRBW, f);
    actualRBW = sampleRate / static_cast<float>(windowLength) * f;
    if (windowLength < kMinWindowLength || windowLength > maxWindowLength) return NexaSupportRBWOutOfRange;
    return NexaSupportSuccess;
}

void SorrelNexaSupport::GenerateWindowVector() {
    // The length-only SetParameters is the window's standard preset: the taper is the standard Kaiser
    // window whichever mode chose its length.
    window->SetParameters(windowLength);
    VecReal32 w;
    window->GetCoefficients(w);
    w.Div(w.Max());
    // 523 is the block's constant (fftLength - points + 1 - 1 for its usual 1024 and 501), not a
    // function of the lengths.
    windowScale = static_cast<float>(int64_t{points} * 523) / (w.Sum() * static_cast<float>(fftLength));
    VecReal32 zeros(fftLength - windowLength);
    zeros.SetZero();
    MathUtils::Append(windowVector, w, zeros);
}

float SorrelNexaSupport::ChirpRate() const {
    return static_cast<float>(static_cast<double>(span) * kPiF / (points * static_cast<double>(sampleRate)));
}

void SorrelNexaSupport::Chirp(VecCplx32& out, const VecReal32& squares, float c, float sign) {
    VecReal32 phase(squares);
    phase.Mul(sign * c);
    MathUtils::Expj(out, phase);
}

namespace {

// m^2 for the n values start, start + step, ...: Ramp, then Pow with 2.
VecReal32 Squares(int n, float start, float step) {
    VecReal32 v;
    DSPUtils::Ramp(v, n, start, step);
    MathUtils::Pow(v, v, 2.0f);
    return v;
}

VecCplx32 Zeros(int n) {
    VecCplx32 z(n);
    z.SetZero();
    return z;
}

}  // namespace

void SorrelNexaSupport::generateWn() {
    const float c = ChirpRate();
    VecCplx32 e;
    Chirp(e, Squares(fftLength, 0.0f, 1.0f), c, -1.0f);
    wn = VecCplx32(windowVector);
    wn.Mul(e);
}

void SorrelNexaSupport::generateVr() {
    const float c = ChirpRate();
    VecCplx32 a, b;
    Chirp(a, Squares(points, 0.0f, 1.0f), c, 1.0f);
    // Negative lags windowLength - 2 .. 1 at the end, so the chirp is placed circularly.
    Chirp(b, Squares(windowLength - 2, static_cast<float>(windowLength - 2), -1.0f), c, 1.0f);
    VecCplx32 front, sequence;
    MathUtils::Append(front, a, Zeros(fftLength - windowLength - points + 2));
    MathUtils::Append(sequence, front, b);
    FFT fft(kConvolutionOrder);
    fft.Forward(vr, sequence);
    vr.Mul(0.015625f);
    VecReal32 power;
    DSPUtils::MagSqr(power, vr);
    // Largest magnitude 0.9801, just inside the full scale of the words.
    filterScale =
        static_cast<float>(static_cast<double>(0.9801f) / std::sqrt(static_cast<double>(power.Max())));
    vr.Mul(filterScale);
}

void SorrelNexaSupport::generateWk() {
    VecCplx32 e;
    Chirp(e, Squares(points, 0.0f, 1.0f), ChirpRate(), -1.0f);
    MathUtils::Append(wk, e, Zeros(fftLength - points));
}

void SorrelNexaSupport::GenerateNCOParameters() {
    ncoStart = static_cast<float>(startFrequency * kTwoPiF / sampleRate);
    ncoStep = static_cast<float>(
        kTwoPiF * span / (points * static_cast<double>(sampleRate) * static_cast<double>(dwellCount)));
}

NexaSupportErrorTag SorrelNexaSupport::FindRBWRange(float& minRBW, float& maxRBW, float sampleRate_,
                                                    int points_, int /*dwell*/, int fftLength_,
                                                    WindowType windowType_) {
    if (windowType_ != WindowTypeKaiser) return NexaSupportInvalidWindow;
    const float standard = KaiserWindow(KaiserWindowModeStandard).GetEffectiveRBWScaling();
    const float cispr = KaiserWindow(KaiserWindowModeCISPR).GetEffectiveRBWScaling();
    // The longest window in the mode of the narrower RBW, and a 20-sample window (stricter than the 4 the
    // measurement accepts) in the standard mode.
    minRBW = sampleRate_ / static_cast<float>(Clamp32(int64_t{fftLength_} - points_ + 1)) * cispr;
    maxRBW = static_cast<float>(sampleRate_ / 20.0 * standard);
    return NexaSupportSuccess;
}

double SorrelNexaSupport::GetGain1() const {
    return windowScale / 7.875;
}

double SorrelNexaSupport::GetGain2() const {
    return 7.875 / filterScale;
}

int SorrelNexaSupport::GetWindowGain() const {
    return 0x800000;
}

void SorrelNexaSupport::GetNCOParameters(int& start, int& step) const {
    const float pi = static_cast<float>(kPiF);
    start = MathUtils::ToFixedPoint(ncoStart, pi, fixedPointBits);
    step = MathUtils::ToFixedPoint(ncoStep, pi, 32);
}

void SorrelNexaSupport::ToWords(VecInt32& real, VecInt32& imaginary, const VecCplx32& table, int bits) {
    VecReal32 part;
    table.GetReal(part);
    MathUtils::ToFixedPoint(real, part, bits);
    table.GetImag(part);
    MathUtils::ToFixedPoint(imaginary, part, bits);
}

void SorrelNexaSupport::GetWnVector(VecInt32& real, VecInt32& imaginary) const {
    ToWords(real, imaginary, wn, fixedPointBits);
}

void SorrelNexaSupport::GetVrVector(VecInt32& real, VecInt32& imaginary) const {
    ToWords(real, imaginary, vr, fixedPointBits);
}

void SorrelNexaSupport::GetWkVector(VecInt32& real, VecInt32& imaginary) const {
    ToWords(real, imaginary, wk, fixedPointBits);
}

namespace {

// d = 10^floor(log10 x), with the floor taken as truncate(float(log10 x) + 100) - 100.
float Decade(float x) {
    const float lg = static_cast<float>(std::log10(static_cast<double>(x)));
    const int e = static_cast<int>(static_cast<double>(lg) + 100.0) - 100;
    return static_cast<float>(std::pow(10.0, e));
}

}  // namespace

float SorrelNexaSupport::RoundUpRBW(float x) {
    if (!(x > 0.0f) || std::isinf(x)) return x;  // no decade to round within
    const float d = Decade(x);
    if (x <= 2 * d) return 2 * d;
    if (x <= 3 * d) return 3 * d;
    if (x <= 5 * d) return 5 * d;
    return 10 * d;
}

float SorrelNexaSupport::RoundDownRBW(float x) {
    if (!(x > 0.0f) || std::isinf(x)) return x;
    const float d = Decade(x);
    if (x < 2 * d) return d;
    if (x < 3 * d) return 2 * d;
    if (x < 5 * d) return 3 * d;
    return 5 * d;
}

QuillonNexaSupport::QuillonNexaSupport(int points_, int dwell_, int fixedPointBits_, int fftLength_)
    : SorrelNexaSupport(points_, dwell_, fixedPointBits_, fftLength_) {}

}  // namespace VELA
