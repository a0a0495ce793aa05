// A streaming real FIR filter: the delay line that lets consecutive blocks form one continuous
// signal, with the direct form (FIRKernels.h) for short filters and FFT overlap-save for long ones.
//
//   out[i] = sum_{k < taps} h[k] x[i - k]   (convolution, as scipy.signal.lfilter(h, 1, x)),
//
// where the samples before the block come from the delay line, which afterwards holds the last `taps`
// inputs. Both ways give the same outputs to float rounding, and the history is carried exactly (as
// the input floats) from block to block whichever way each block went.
//
// Everything is allocated and planned by Create; Filter allocates nothing. One state serves one thread
// at a time. Ownership may be shared: Retain adds an owner, Release drops one and reports the last.
#pragma once

#include <atomic>

namespace VELA::kern {

struct FFTPlan;

class FIRState {
  public:
    // How Filter divides the work. Auto: whole FFT blocks while enough input remains, when the filter
    // has at least FIRBlockMinTaps() taps, the rest direct. Direct and Block force one way (Block also
    // runs a short remainder as one partly filled block), for tests and measurements.
    enum class Mode { Auto, Direct, Block };

    // A state with `tapCount` taps (h[0] first) and a zero delay line, or null when tapCount <= 0, the
    // sizes do not fit, or memory is refused. Holds one owner. A long filter gets an FFT path of the
    // power-of-two length at or above fftFactor times its taps; fftFactor 0 is the measured default,
    // and with a factor given the FFT path is built whatever the tap count (for measurements).
    static FIRState* Create(const float* taps, int tapCount, int fftFactor = 0);
    FIRState(const FIRState&) = delete;
    FIRState& operator=(const FIRState&) = delete;

    int TapCount() const { return taps_; }

    // Filters n samples from `in` to `out` (n <= 0: nothing). `out` may be `in` itself; any other
    // overlap is not allowed.
    void Filter(const float* in, float* out, int n);

    // The delay line as tapCount values, the most recent input first: dly[k] = x[-1 - k].
    void SetDelayLine(const float* dly);
    void GetDelayLine(float* dly) const;
    // Clears the delay line.
    void Reset();

    void SetMode(Mode m) { mode_ = m; }
    // Outputs of one FFT block (0 when the state has no FFT path).
    int BlockOutputs() const { return blockOut_; }

    void Retain() noexcept { owners_.fetch_add(1, std::memory_order_relaxed); }
    // Drops one owner; true when it was the last, and the caller then deletes the state.
    bool Release() noexcept { return owners_.fetch_sub(1, std::memory_order_acq_rel) == 1; }

    ~FIRState();

  private:
    FIRState() = default;
    void Direct(const float* in, float* out, int n);
    void Block(const float* in, float* out, int n);

    int taps_ = 0;
    float* rev_ = nullptr;    // the taps in reverse order, as the direct kernel takes them
    float* stage_ = nullptr;  // [0, taps): the history, oldest first; then up to taps - 1 new inputs
    float* saved_ = nullptr;  // the next history, saved before an in-place block overwrites it
    Mode mode_ = Mode::Auto;
    std::atomic<int> owners_{1};

    // FFT overlap-save, when the filter is long enough to gain from it.
    FFTPlan* plan_ = nullptr;
    int fftLen_ = 0;
    int blockOut_ = 0;            // fftLen_ - taps_
    float* spectrumH_ = nullptr;  // the taps' spectrum divided by fftLen_, fftLen_/2 + 1 bins
    float* timeIn_ = nullptr;     // history then block inputs, zero-padded
    float* timeOut_ = nullptr;
    float* spectrum_ = nullptr;
    void* work_ = nullptr;
};

// The tap count from which Auto filters long inputs by FFT blocks.
int FIRBlockMinTaps();

}  // namespace VELA::kern
