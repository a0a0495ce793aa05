// FIRFilter: stateless FIR filtering of whole blocks, the engine behind the filter family
// (FIRBaseFilter.h). Each Apply convolves the block with the taps through DSPUtils::Conv (direct for
// short operands, FFT overlap-save for long ones) and leaves `out` as a view on its own storage:
//
// - The full convolution of taps.size + in.size - 1 points is formed in `out`'s storage.
// - center == false: the view is its first in.size points, so the filter's delay is in them.
// - center == true: the view starts taps.size / 2 points in (integer division) and has in.size points,
//   the part that lines up with the input: no delay at all for an odd tap count.
// The tail is cut off in both cases without a copy; the next Resize of `out` returns to the start of
// its storage. Samples before and after the block count as zero (no history, no pre-charge), so the
// first and last taps.size / 2 outputs of a centred call are edge transients: a caller that cares
// supplies more input.
//
// Empty taps or an empty input give an empty `out`. A convolution longer than an int can count is
// "invalid input parameter", before anything is written. `out` may be `in` (or the taps): the
// result is then formed in the object's scratch and copied.
//
// Complex data with real taps are filtered as two real rails; complex taps take four real
// convolutions (re = tr*xr - ti*xi, im = tr*xi + ti*xr). The scratch vectors live in the object and
// only grow, so steady calls of one shape allocate nothing. Copies copy the scratch. One object
// serves one thread at a time.
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"

namespace VELA {

class UnitTestRecorder;

class VELA_API FIRFilter {
  public:
    FIRFilter() = default;
    FIRFilter(const FIRFilter&) = default;
    FIRFilter& operator=(const FIRFilter&) = default;
    virtual ~FIRFilter() = default;

    // Real taps, real data: one convolution, straight into out.
    void Apply(VecReal32& out, const VecReal32& taps, const VecReal32& in, bool center);
    // Real taps, complex data: the real and the imaginary parts each convolved with the taps.
    void Apply(VecCplx32& out, const VecReal32& taps, const VecCplx32& in, bool center);
    // The same in double precision.
    void Apply(VecCplx64& out, const VecReal64& taps, const VecCplx64& in, bool center);
    // Complex taps, complex data: four real convolutions.
    void Apply(VecCplx32& out, const VecCplx32& taps, const VecCplx32& in, bool center);
    // Complex taps, real data: the real and the imaginary taps each convolved with the data.
    void Apply(VecCplx32& out, const VecCplx32& taps, const VecReal32& in, bool center);

    // Self-test under "FIRFilter": a centred 7-tap filter returns its taps from a unit impulse, and
    // the forms agree with each other. Returns true.
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    VecReal32 realIn32, imagIn32, realOut32, imagOut32;
    VecReal64 realIn64, imagIn64, realOut64, imagOut64;
    // The complex-tap forms split the taps as well, and need one more product.
    VecReal32 realTaps32, imagTaps32, product32;
};

}  // namespace VELA
