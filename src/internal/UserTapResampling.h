// Resampling of a measured impulse response (taps given at one oversampling) to the oversampling of a
// filter, shared by the two user-defined filter kinds. Not part of the library's interface.
//
// Rates are oversamplings: samples per symbol. Both forms centre the result on the energy centre of
// the input, c = sum i |h[i]|^2 / sum |h[i]|^2 ((n - 1) / 2 when the input has no energy), and evaluate
// the band-limited interpolant sum_m h[m] sinc(pi (m - pos)) with a 401-point unwindowed kernel.
#pragma once

#include "../math/Vector.h"

namespace VELA::usertaps {

// The energy centre of `in` in samples (see above). `in` must not be empty.
double EnergyCentre(const VecCplx32& in);

// Impulse response at fromRate -> impulse response at toRate, 2 trunc(L / ratio) + 3 taps (odd), with
// ratio = fromRate / toRate and L the longer distance from the energy centre to an end. The taps run
// in reverse order of time (as a convolution wants them), and are divided by toRate. A position within
// 0.001 of an input sample copies that sample. The kernel's pi is the float pi widened.
// Throws "invalid input parameter" for an empty or non-finite input, rates that are not finite and
// positive, or a length beyond int; `out` is then untouched. `out` may not be `in`.
void ResampleImpulse(VecCplx32& out, const VecCplx32& in, double fromRate, double toRate);

// Impulse response at fromRate -> step response at toRate. Works at an internal rate k toRate of at
// least 32 points per symbol (k a power of two), spreads every interpolated value over one symbol
// (half = trunc(0.5 k toRate) internal points either side), then integrates, taking one output per k
// internal points, and scales the result to end at magnitude 1. The output length is odd. A position
// within 0.001 of an input sample sets that internal point to the sample (replacing what earlier
// points spread onto it); a position that rounds outside the input adds nothing. The kernel's pi is
// the double pi. The same refusals as ResampleImpulse, and a step response that ends at 0 (nothing to
// scale by). `out` may not be `in`.
void ResampleStep(VecCplx32& out, const VecCplx32& in, double fromRate, double toRate);

// Resizes taps of which the first oldSize count to newSize: a shorter set keeps the middle newSize
// (from (oldSize - newSize) / 2 on); a longer one puts (newSize - oldSize) / 2 zeros in front and
// fills the tail with zeros, or, with holdLast, with the last old tap (a step response holds its
// level). newSize >= 1 and 0 <= oldSize <= taps.GetSize(), else "invalid input parameter".
void ResizeTaps(VecCplx32& taps, int newSize, int oldSize, bool holdLast);

}  // namespace VELA::usertaps
