#include "UserDefinedFilters.h"

#include <cmath>

#include "../math/MathUtils.h"
#include "internal/UserTapResampling.h"

namespace VELA {

namespace {

bool FinitePositive(float v) {
    return std::isfinite(v) && v > 0.0f;
}

// The filter's own oversampling, taps per symbol.
float Oversampling(float samplingRate, float symbolRate) {
    return samplingRate / symbolRate;
}

}  // namespace

// ---------------------------------------------------------------- shared part

UserTapsFilterBase::UserTapsFilterBase() {
    Clear();
}

void UserTapsFilterBase::Clear() {
    hasUserTaps = false;
    hasParameters = false;
}

int UserTapsFilterBase::GetRecommendedTapSize(float fs, float symRate, float) {
    if (!hasUserTaps) return 1023;
    SetParameters(fs, symRate, 0.0f, 0);
    return tapCount;
}

void UserTapsFilterBase::CheckUserTaps(int n, float rate) {
    if (n < 1 || !FinitePositive(rate)) VELA_THROW(VELAErrorInvalidInputParameter);
}

void UserTapsFilterBase::ResampleFrom(const VecCplx32& source, float fromRate) {
    // Into a fresh vector first, so that a refused resampling leaves the taps as they were.
    VecCplx32 resampled;
    Resample(resampled, source, fromRate, Oversampling(samplingRate, symbolRate));
    MathUtils::Copy(cplxTaps, resampled.GetSize(), resampled, 0);
    tapCount = cplxTaps.GetSize();
    delay = static_cast<float>((tapCount - 1) / 2);
}

void UserTapsFilterBase::SetParameters(float fs, float symRate, float, int n) {
    if (!FinitePositive(fs) || !FinitePositive(symRate) || n < 0) VELA_THROW(VELAErrorInvalidInputParameter);
    // The filter's oversampling must itself be a usable rate.
    if (!FinitePositive(Oversampling(fs, symRate))) VELA_THROW(VELAErrorInvalidInputParameter);
    if (!hasUserTaps) {
        samplingRate = fs;
        symbolRate = symRate;
        hasParameters = true;
        return;
    }
    // Resampling is the costly part: skip it when the rates are the ones the taps were made for.
    if (!(hasParameters && fs == samplingRate && symRate == symbolRate)) {
        const float oldFs = samplingRate, oldSym = symbolRate;
        samplingRate = fs;
        symbolRate = symRate;
        try {
            ResampleFrom(userTaps, tapRate);
        } catch (const VELAException&) {
            samplingRate = oldFs;
            symbolRate = oldSym;
            throw;
        }
    }
    if (n > 0 && n != tapCount) {
        Resize(cplxTaps, n, tapCount);
        tapCount = n;
    }
    delay = static_cast<float>((tapCount - 1) / 2);
    samplingRate = fs;
    symbolRate = symRate;
    hasParameters = true;
}

void UserTapsFilterBase::SetUserTaps(const VecCplx32& t, float rate) {
    const int n = t.GetSize();
    CheckUserTaps(n, rate);
    if (hasParameters) ResampleFrom(t, rate);  // refuses empty or non-finite taps before any change
    MathUtils::Copy(userTaps, n, t, 0);
    tapRate = rate;
    complexTaps = true;
    hasUserTaps = true;
}

void UserTapsFilterBase::SetUserTaps(const VecReal32& t, float rate) {
    const int n = t.GetSize();
    CheckUserTaps(n, rate);
    // The real taps overwrite the front of the stored ones, which keep their size; stored taps too short
    // to take them (none at all, the first time) grow to their length first.
    const int size = userTaps.GetSize() >= n ? userTaps.GetSize() : n;
    VecCplx32 merged(size);
    for (int i = 0; i < n; ++i)
        merged[i] = {t[i], 0.0f};
    for (int i = n; i < size; ++i)
        merged[i] = userTaps[i];
    if (hasParameters) ResampleFrom(merged, rate);
    MathUtils::Copy(userTaps, size, merged, 0);
    tapRate = rate;
    complexTaps = true;
    hasUserTaps = true;
}

// ---------------------------------------------------------------- plain

UserDefinedFilter::UserDefinedFilter() {
    filterType = FIRFilterUserDefined;
}

void UserDefinedFilter::ComputeResampledFilterTaps(VecCplx32& out, const VecCplx32& in, float fromRate,
                                                   float toRate) {
    usertaps::ResampleImpulse(out, in, fromRate, toRate);
}

void UserDefinedFilter::ResizeFilterTaps(VecCplx32& t, int newSize, int oldSize) {
    usertaps::ResizeTaps(t, newSize, oldSize, false);
}

void UserDefinedFilter::Resample(VecCplx32& out, const VecCplx32& in, float fromRate, float toRate) const {
    ComputeResampledFilterTaps(out, in, fromRate, toRate);
}

void UserDefinedFilter::Resize(VecCplx32& t, int newSize, int oldSize) const {
    ResizeFilterTaps(t, newSize, oldSize);
}

// ---------------------------------------------------------------- integral

IntegralUserDefinedFilter::IntegralUserDefinedFilter() {
    filterType = FIRFilterIntegralUserDefined;
}

void IntegralUserDefinedFilter::ComputeResampledFilterTaps(VecCplx32& out, const VecCplx32& in,
                                                           float fromRate, float toRate) {
    usertaps::ResampleStep(out, in, fromRate, toRate);
}

void IntegralUserDefinedFilter::ResizeFilterTaps(VecCplx32& t, int newSize, int oldSize) {
    usertaps::ResizeTaps(t, newSize, oldSize, true);
}

void IntegralUserDefinedFilter::Resample(VecCplx32& out, const VecCplx32& in, float fromRate,
                                         float toRate) const {
    ComputeResampledFilterTaps(out, in, fromRate, toRate);
}

void IntegralUserDefinedFilter::Resize(VecCplx32& t, int newSize, int oldSize) const {
    ResizeFilterTaps(t, newSize, oldSize);
}

long long IntegralUserDefinedFilter::StepOffset(int n) const {
    const double s = std::floor(static_cast<double>(samplingRate) * timeShift + delay + 0.5);
    if (std::isnan(s)) VELA_THROW(VELAErrorInvalidInputParameter);
    // Beyond these bounds every step falls wholly before or after the block, as for any larger shift.
    const double lo = -static_cast<double>(n) - 1, hi = static_cast<double>(n) + tapCount + 1;
    return static_cast<long long>(s < lo ? lo : s > hi ? hi : s);
}

namespace {

bool IsZero(float v) {
    return v == 0.0f;
}
bool IsZero(Cplx32 v) {
    return v.re == 0.0f && v.im == 0.0f;
}
// in times the real rail of a tap, or times the complex tap.
float StepTimesTap(float in, Cplx32 tap) {
    return in * tap.re;
}
Cplx32 StepTimesTap(Cplx32 in, Cplx32 tap) {
    return {in.re * tap.re - in.im * tap.im, in.re * tap.im + in.im * tap.re};
}
void Accumulate(float& out, float v) {
    out += v;
}
void Accumulate(Cplx32& out, Cplx32 v) {
    out.re += v.re;
    out.im += v.im;
}

// The held-step scheme of both Apply forms. Step i adds in[i] times the response from the index i - s
// on, starting in the response at max(s - i, 0), up to e = min(n - 1, i - s + t - 1); then, for zero
// samples too, the level at e is carried to e + 1, so that every response holds its last level to the
// end of the block. `out` holds n zeros on entry.
template <class T>
void HeldSteps(T* out, const T* in, int n, const Cplx32* taps, int t, long long s) {
    for (int i = 0; i < n; ++i) {
        const long long start = static_cast<long long>(i) - s;  // where the response's tap 0 falls
        const long long last = start + t - 1;
        const long long e = last < n - 1 ? last : n - 1;
        if (e < 0) continue;
        if (!IsZero(in[i]))
            for (long long j = start > 0 ? start : 0; j <= e; ++j)
                Accumulate(out[j], StepTimesTap(in[i], taps[j - start]));
        if (e < n - 1) out[e + 1] = out[e];
    }
}

}  // namespace

void IntegralUserDefinedFilter::Apply(VecReal32& out, const VecReal32& in, bool) {
    const VecReal32* src = &in;
    if (&out == &in) {
        MathUtils::Copy(realCopy, in.GetSize(), in, 0);
        src = &realCopy;
    }
    const int n = src->GetSize();
    const long long s = StepOffset(n);
    out.Resize(n);
    MathUtils::Set(out, 0.0f);
    HeldSteps(out.Data(), src->Data(), n, cplxTaps.Data(), cplxTaps.GetSize(), s);
}

void IntegralUserDefinedFilter::Apply(VecCplx32& out, const VecCplx32& in, bool) {
    const VecCplx32* src = &in;
    if (&out == &in) {
        MathUtils::Copy(cplxCopy, in.GetSize(), in, 0);
        src = &cplxCopy;
    }
    const int n = src->GetSize();
    const long long s = StepOffset(n);
    out.Resize(n);
    MathUtils::Set(out, Cplx32{0.0f, 0.0f});
    HeldSteps(out.Data(), src->Data(), n, cplxTaps.Data(), cplxTaps.GetSize(), s);
}

}  // namespace VELA
