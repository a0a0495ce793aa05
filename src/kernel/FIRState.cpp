#include "kernel/FIRState.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "kernel/FFTPlan.h"
#include "kernel/FIRKernels.h"
#include "kernel/Memory.h"
#include "kernel/VectorKernels.h"

namespace VELA::kern {

namespace {

// Measured on this machine (bench_fir --benchmark_filter=FIRPath, blocks of 4096, medians of 5):
// the AVX-512 direct form runs at about 75 GFLOP/s whatever the tap count, so its cost grows in
// proportion to the taps, while the FFT blocks grow only with the logarithm of their length. The direct
// form wins up to 64 taps (64: 7.0 us against 7.4 us for the best block length), the blocks from 80
// (80: 7.5 us against 8.8 us; 128: 8.0 against 14.1; 512: 14.7 against 58.8).
constexpr int kBlockMinTaps = 72;
// The FFT length is the power of two at or above this many times the tap count: 4 beat or equalled 8
// at every tap count from 80 to 512, and 16 was slower still.
constexpr int kBlockFactor = 4;
// No FFT beyond this length: a longer filter runs direct.
constexpr int64_t kMaxFFT = int64_t{1} << 26;

float* Floats(int64_t n) {
    return static_cast<float*>(AlignedAlloc(sizeof(float) * static_cast<size_t>(n)));
}

}  // namespace

int FIRBlockMinTaps() {
    return kBlockMinTaps;
}

FIRState* FIRState::Create(const float* taps, int tapCount, int fftFactor) {
    if (tapCount <= 0 || !taps) return nullptr;
    const int64_t T = tapCount;
    FIRState* s = new (std::nothrow) FIRState();
    if (!s) return nullptr;
    s->taps_ = tapCount;
    s->rev_ = Floats(T);
    s->stage_ = Floats(2 * T);
    s->saved_ = Floats(T);
    if (!s->rev_ || !s->stage_ || !s->saved_) {
        delete s;
        return nullptr;
    }
    for (int j = 0; j < tapCount; ++j)
        s->rev_[j] = taps[tapCount - 1 - j];
    std::memset(s->stage_, 0, sizeof(float) * static_cast<size_t>(2 * T));

    if (tapCount >= kBlockMinTaps || fftFactor > 0) {
        const int64_t factor = fftFactor > 1 ? fftFactor : kBlockFactor;
        int64_t L = 64;
        while (L < factor * T)
            L <<= 1;
        if (L <= kMaxFFT) {
            const int n = static_cast<int>(L);
            FFTPlan* plan = FFTCreate(FFTKind::R32, n, 8);
            if (plan) {
                s->plan_ = plan;
                s->fftLen_ = n;
                s->blockOut_ = n - tapCount;
                s->spectrumH_ = Floats(L + 2);
                s->spectrum_ = Floats(L + 2);
                s->timeIn_ = Floats(L);
                s->timeOut_ = Floats(L);
                s->work_ = AlignedAlloc(static_cast<size_t>(FFTWorkBytes(plan)));
                if (!s->spectrumH_ || !s->spectrum_ || !s->timeIn_ || !s->timeOut_ || !s->work_) {
                    delete s;
                    return nullptr;
                }
                std::memcpy(s->timeIn_, taps, sizeof(float) * static_cast<size_t>(T));
                std::memset(s->timeIn_ + T, 0, sizeof(float) * static_cast<size_t>(L - T));
                FFTExecR2C32(plan, s->timeIn_, s->spectrumH_, s->work_);
                // Scaled once here, so the inverse transforms need no scaling pass.
                K().mulc_f32(s->spectrumH_, static_cast<float>(1.0 / static_cast<double>(L)), n + 2);
            }
        }
    }
    return s;
}

FIRState::~FIRState() {
    if (plan_) FFTDestroy(plan_);
    AlignedFree(rev_);
    AlignedFree(stage_);
    AlignedFree(saved_);
    AlignedFree(spectrumH_);
    AlignedFree(spectrum_);
    AlignedFree(timeIn_);
    AlignedFree(timeOut_);
    AlignedFree(work_);
}

void FIRState::Filter(const float* in, float* out, int n) {
    if (n <= 0) return;
    if (plan_ && mode_ != Mode::Direct) {
        int blocked = n;
        if (mode_ == Mode::Auto) {
            blocked = n / blockOut_ * blockOut_;
            // A partly filled block costs a whole one. It pays when the direct form would spend more on
            // the remainder; the direct cost per sample grows with the taps, and equals the block cost
            // per sample at kBlockMinTaps taps.
            const int64_t rest = n - blocked;
            if (rest * taps_ >= static_cast<int64_t>(blockOut_) * kBlockMinTaps) blocked = n;
        }
        Block(in, out, blocked);
        in += blocked;
        out += blocked;
        n -= blocked;
    }
    Direct(in, out, n);
}

void FIRState::Direct(const float* in, float* out, int n) {
    if (n <= 0) return;
    const int T = taps_;
    const size_t tb = sizeof(float) * static_cast<size_t>(T);
    // Outputs T-1 .. n-1 read only this block's inputs. In place, the kernel forms them from the last
    // backward, so each output overwrites an input that no earlier output needs; the inputs 0 .. T-2
    // stay for the head, and the next history is saved first.
    if (n >= T) {
        std::memcpy(saved_, in + (n - T), tb);
        FK().fir_f32(in, n - T + 1, rev_, T, out + (T - 1));
    }
    // Outputs 0 .. h-1 reach back into the history.
    const int h = std::min(n, T - 1);
    if (h > 0) {
        std::memcpy(stage_ + T, in, sizeof(float) * static_cast<size_t>(h));
        FK().fir_f32(stage_ + 1, h, rev_, T, out);
    }
    if (n >= T)
        std::memcpy(stage_, saved_, tb);
    else
        std::memmove(stage_, stage_ + n, tb);
}

void FIRState::Block(const float* in, float* out, int n) {
    const int T = taps_;
    const size_t tb = sizeof(float) * static_cast<size_t>(T);
    const int bins = fftLen_ / 2 + 1;
    while (n > 0) {
        const int c = std::min(n, blockOut_);
        std::memcpy(timeIn_, stage_, tb);
        std::memcpy(timeIn_ + T, in, sizeof(float) * static_cast<size_t>(c));
        if (c < blockOut_)
            std::memset(timeIn_ + T + c, 0, sizeof(float) * static_cast<size_t>(blockOut_ - c));
        FFTExecR2C32(plan_, timeIn_, spectrum_, work_);
        K().mul_c32(spectrum_, spectrumH_, bins);
        FFTExecC2R32(plan_, spectrum_, timeOut_, work_);
        // Linear and circular convolution agree from index T - 1 on; output i is index T + i.
        std::memcpy(stage_, timeIn_ + c, tb);
        std::memcpy(out, timeOut_ + T, sizeof(float) * static_cast<size_t>(c));
        in += c;
        out += c;
        n -= c;
    }
}

void FIRState::SetDelayLine(const float* dly) {
    for (int k = 0; k < taps_; ++k)
        stage_[taps_ - 1 - k] = dly[k];
}

void FIRState::GetDelayLine(float* dly) const {
    for (int k = 0; k < taps_; ++k)
        dly[k] = stage_[taps_ - 1 - k];
}

void FIRState::Reset() {
    std::memset(stage_, 0, sizeof(float) * static_cast<size_t>(taps_));
}

}  // namespace VELA::kern
