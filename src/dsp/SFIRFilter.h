// SFIRFilter: the streaming FIR filter. The delay line is kept from call to call, so consecutive
// blocks form one continuous signal:
//
//   y[n] = sum_{k < taps} h[k] x[n - k]   (as scipy.signal.lfilter(h, 1, x)),
//
// with the samples before the first block (and after Flush) taken as zero. Complex data are filtered
// as two independent real rails with the same taps, each with its own delay line.
//
// The transient skip: with skipTransient set, `out` becomes a view that drops the first taps - 1
// outputs of the call (its data pointer advances, its size shrinks; no copy). This is the pre-charge of
// a stream that starts at the call; it is applied in every call that asks for it, so on a running
// stream the dropped outputs are good samples the caller chose to lose. A call with fewer samples than
// taps still filters them (the delay line moves on) and leaves an empty view.
//
// The taps are fixed at construction. The filtering runs on a state of the kernel layer, which uses a
// vectorised direct form for short filters and FFT overlap-save blocks for long ones; the two agree to
// float rounding and carry the history exactly. Steady calls allocate nothing once the complex scratch
// has grown.
//
// Copies share the two delay-line states with their source (the scratch vectors are copied): filtering
// through either object moves the same delay lines, so the two must be used in turn by one thread.
// The states live until the last object sharing them is destroyed. One object (or set of sharing
// copies) serves one thread at a time.
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"

namespace VELA {

namespace kern {
class FIRState;
}
class UnitTestRecorder;
struct SFIRFilterProbe;

class VELA_API SFIRFilter {
  public:
    // The filter of `taps` (h[0] first) with zero delay lines. Empty taps are "invalid input
    // parameter"; a refused allocation is "memory allocation error".
    explicit SFIRFilter(const VecReal32& taps);
    SFIRFilter(const SFIRFilter& other);
    SFIRFilter& operator=(const SFIRFilter& other);
    virtual ~SFIRFilter();

    // The real rail, in place: `data` keeps its storage and window (then trimmed by the skip).
    void Apply(VecReal32& data, bool skipTransient);
    // The real rail: out gets in.size outputs (then trimmed by the skip). out may be in.
    void Apply(VecReal32& out, const VecReal32& in, bool skipTransient);
    // Both rails, in place: the result is written from the start of data's storage.
    void Apply(VecCplx32& data, bool skipTransient);
    // Both rails: the real parts through the real rail, the imaginary parts through the imaginary one;
    // out gets the (trimmed) outputs, at the start of its storage. out may be in.
    void Apply(VecCplx32& out, const VecCplx32& in, bool skipTransient);

    // Clears both delay lines, as at construction; the taps stay. For a break in the stream.
    void Flush();

    int GetTapCount() const { return tapCount; }

    // Self-test under "SFIRFilter": a stream cut into blocks against the whole block, Flush, the skip.
    // Returns true.
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct SFIRFilterProbe;  // test access to the delay-line forms below

    void Init(const VecReal32& taps);
    void ApplyRe(VecReal32& data, bool skipTransient);
    void ApplyRe(VecReal32& out, const VecReal32& in, bool skipTransient);
    void ApplyIm(VecReal32& data, bool skipTransient);
    void ApplyIm(VecReal32& out, const VecReal32& in, bool skipTransient);
    // The delay line, tapCount values with the most recent input first. The one-vector forms are the
    // real rail's. The two-vector forms work on the real rail too: SetFilterState(re, im) writes re and
    // then im to that one line (im wins), and GetFilterState(re, im) reads it into both. The imaginary
    // rail's line is reached only by Flush.
    void SetFilterState(const VecReal32& re);
    void SetFilterState(const VecReal32& re, const VecReal32& im);
    void GetFilterState(VecReal32& re);
    void GetFilterState(VecReal32& re, VecReal32& im);
    void Release();

    VecReal32 zeroDlyRe, zeroDlyIm;  // tapCount zeros: the lines loaded at start and at each Flush
    kern::FIRState* stateRe = nullptr;
    kern::FIRState* stateIm = nullptr;
    int tapCount = 0;
    VecReal32 workRe, workIm;  // the rails of the complex forms
};

}  // namespace VELA
