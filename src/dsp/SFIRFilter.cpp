#include "SFIRFilter.h"

#include <algorithm>

#include "kernel/FIRState.h"

namespace VELA {

namespace {

// Drops the first taps - 1 of n outputs by moving the view; fewer outputs than that leave it empty.
void SkipTransient(VecReal32& v, int taps, int n) {
    const int k = std::min(taps - 1, n);
    v.Truncate(k, n - k);
}

}  // namespace

SFIRFilter::SFIRFilter(const VecReal32& taps) {
    Init(taps);
}

SFIRFilter::SFIRFilter(const SFIRFilter& other)
    : zeroDlyRe(other.zeroDlyRe),
      zeroDlyIm(other.zeroDlyIm),
      stateRe(other.stateRe),
      stateIm(other.stateIm),
      tapCount(other.tapCount),
      workRe(other.workRe),
      workIm(other.workIm) {
    if (stateRe) stateRe->Retain();
    if (stateIm) stateIm->Retain();
}

SFIRFilter& SFIRFilter::operator=(const SFIRFilter& other) {
    if (this == &other) return *this;
    zeroDlyRe = other.zeroDlyRe;
    zeroDlyIm = other.zeroDlyIm;
    workRe = other.workRe;
    workIm = other.workIm;
    if (other.stateRe) other.stateRe->Retain();
    if (other.stateIm) other.stateIm->Retain();
    Release();
    stateRe = other.stateRe;
    stateIm = other.stateIm;
    tapCount = other.tapCount;
    return *this;
}

SFIRFilter::~SFIRFilter() {
    Release();
}

void SFIRFilter::Release() {
    if (stateRe && stateRe->Release()) delete stateRe;
    if (stateIm && stateIm->Release()) delete stateIm;
    stateRe = stateIm = nullptr;
}

void SFIRFilter::Init(const VecReal32& taps) {
    const int n = taps.GetSize();
    if (n <= 0) VELA_THROW(VELAErrorInvalidInputParameter);
    tapCount = n;
    zeroDlyRe.Resize(n);
    zeroDlyRe.SetZero();
    zeroDlyIm.Resize(n);
    zeroDlyIm.SetZero();
    stateRe = kern::FIRState::Create(taps.Data(), n);
    stateIm = kern::FIRState::Create(taps.Data(), n);
    if (!stateRe || !stateIm) {
        Release();
        VELA_THROW(VELAErrorMemoryAlloc);
    }
    stateRe->SetDelayLine(zeroDlyRe.Data());
    stateIm->SetDelayLine(zeroDlyIm.Data());
}

void SFIRFilter::ApplyRe(VecReal32& data, bool skipTransient) {
    const int n = std::max(data.GetSize(), 0);
    stateRe->Filter(data.Data(), data.Data(), n);
    if (skipTransient) SkipTransient(data, tapCount, n);
}

void SFIRFilter::ApplyRe(VecReal32& out, const VecReal32& in, bool skipTransient) {
    if (&out == &in) {
        ApplyRe(out, skipTransient);
        return;
    }
    const int n = std::max(in.GetSize(), 0);
    out.Resize(n);
    stateRe->Filter(in.Data(), out.Data(), n);
    if (skipTransient) SkipTransient(out, tapCount, n);
}

void SFIRFilter::ApplyIm(VecReal32& data, bool skipTransient) {
    const int n = std::max(data.GetSize(), 0);
    stateIm->Filter(data.Data(), data.Data(), n);
    if (skipTransient) SkipTransient(data, tapCount, n);
}

void SFIRFilter::ApplyIm(VecReal32& out, const VecReal32& in, bool skipTransient) {
    if (&out == &in) {
        ApplyIm(out, skipTransient);
        return;
    }
    const int n = std::max(in.GetSize(), 0);
    out.Resize(n);
    stateIm->Filter(in.Data(), out.Data(), n);
    if (skipTransient) SkipTransient(out, tapCount, n);
}

void SFIRFilter::Apply(VecReal32& data, bool skipTransient) {
    ApplyRe(data, skipTransient);
}

void SFIRFilter::Apply(VecReal32& out, const VecReal32& in, bool skipTransient) {
    ApplyRe(out, in, skipTransient);
}

void SFIRFilter::Apply(VecCplx32& data, bool skipTransient) {
    Apply(data, data, skipTransient);
}

void SFIRFilter::Apply(VecCplx32& out, const VecCplx32& in, bool skipTransient) {
    // Split first: out may be in.
    in.GetReal(workRe);
    in.GetImag(workIm);
    ApplyRe(workRe, skipTransient);
    ApplyIm(workIm, skipTransient);
    out.Import(workRe.Data(), workIm.Data(), workRe.GetSize());
}

void SFIRFilter::Flush() {
    stateRe->SetDelayLine(zeroDlyRe.Data());
    stateIm->SetDelayLine(zeroDlyIm.Data());
}

void SFIRFilter::SetFilterState(const VecReal32& re) {
    if (re.GetSize() < tapCount) VELA_THROW(VELAErrorInvalidInputParameter);
    stateRe->SetDelayLine(re.Data());
}

void SFIRFilter::SetFilterState(const VecReal32& re, const VecReal32& im) {
    SetFilterState(re);
    SetFilterState(im);
}

void SFIRFilter::GetFilterState(VecReal32& re) {
    re.Resize(tapCount);
    stateRe->GetDelayLine(re.Data());
}

void SFIRFilter::GetFilterState(VecReal32& re, VecReal32& im) {
    GetFilterState(re);
    GetFilterState(im);
}

}  // namespace VELA
