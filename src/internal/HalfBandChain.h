// What the two decimation chains, DigitalSource's and DigitalZoom's, share: the divisor of their stage
// count, the two half-band designs, the decimate-by-two step and the chain of such steps. Internal to
// the library's sources: not installed.
#pragma once

#include "../math/MathUtils.h"
#include "../math/Vector.h"
#include "kernel/HalfBandKernels.h"

// The designs as the centre tap followed by the odd lags (the even lags of a half-band filter are
// zero): 27 taps for every stage but the chain's last, 51 for the last. Each class publishes them as
// its own static members, defined from these lists.
#define VELA_HALF_BAND_27_TAPS                                                                       \
    0.5f, 0.3106238842010498f, -0.08499213308095932f, 0.033999402076005936f, -0.012833980843424797f, \
        0.003986687865108252f, -0.000892365351319313f, 0.00010895591549342498f
#define VELA_HALF_BAND_51_TAPS                                                                             \
    0.5f, 0.3165855407714844f, -0.1010282039642334f, 0.055518925189971924f, -0.034698665142059326f,        \
        0.022507071495056152f, -0.014587938785552979f, 0.009243309497833252f, -0.005630970001220703f,      \
        0.0032446980476379395f, -0.0017337203025817871f, 0.0008341670036315918f, -0.00034296512603759766f, \
        0.00011074542999267578f

namespace VELA::halfband {

// ln 2 rounded to float: the stage count is defined with this divisor, and for ratios just below a
// power of two it decides between two counts.
inline constexpr double kLn2Float = 0.6931471824645996;

// out = every second output of the `taps`-tap half-band filter over `in`, from the first output whose
// taps all lie inside `in` (so (N - taps + 2) / 2 outputs, none for a shorter block).
inline void Decimate2(VecCplx32& out, const VecCplx32& in, int taps, const float* coefs) {
    const int c = (taps - 1) / 2;
    const int n = in.GetSize();
    const int m = n - 2 * c + 1 > 0 ? (n - 2 * c + 1) >> 1 : 0;
    out.Resize(m);
    kern::HBK().decim2_c32(reinterpret_cast<const float*>(in.Data()), reinterpret_cast<float*>(out.Data()), m,
                           coefs, (taps + 1) / 4);
}

// The chain on the block in `a`, each step made by `step` (the class's own decimate-by-two, which runs
// Decimate2): `stages` steps of the 27-tap design, then, with `last`, one of the 51-tap design, each
// step writing into the other buffer; the result is left in `a`. The one difference between the two
// chains is settled behaviour of the zoom's: after an even number of 27-tap steps without the 51-tap
// step it still copies `b` (the output of the last step but one, twice as long and at twice the rate)
// over `a`; `copyAfterEven` selects that.
using Step = void (*)(VecCplx32& out, const VecCplx32& in, int taps, const float* coefs);
inline void RunChain(Step step, VecCplx32& a, VecCplx32& b, int stages, bool last, bool copyAfterEven,
                     const float* first, int firstTaps, const float* lastCoefs, int lastTaps) {
    if (stages == 0) {
        if (last) {
            step(b, a, lastTaps, lastCoefs);
            MathUtils::Copy(a, b.GetSize(), b, 0);
        }
    } else if (stages % 2 == 1) {
        step(b, a, firstTaps, first);
        for (int i = 0; i < (stages - 1) / 2; ++i) {
            step(a, b, firstTaps, first);
            step(b, a, firstTaps, first);
        }
        if (last)
            step(a, b, lastTaps, lastCoefs);
        else
            MathUtils::Copy(a, b.GetSize(), b, 0);
    } else {
        for (int i = 0; i < stages / 2; ++i) {
            step(b, a, firstTaps, first);
            step(a, b, firstTaps, first);
        }
        if (last) step(b, a, lastTaps, lastCoefs);
        if (last || copyAfterEven) MathUtils::Copy(a, b.GetSize(), b, 0);
    }
}

}  // namespace VELA::halfband
