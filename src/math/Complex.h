// Complex: arithmetic on single complex values (Cplx32, Cplx64). Static functions only, no state.
//
// Each member has a float and a double form, computed in the precision of its type. Phases are in
// radians.
#pragma once
#include "VELAExport.h"

#include "VELATypes.h"

namespace VELA {

class UnitTestRecorder;

class VELA_API Complex {
  public:
    Complex() = delete;

    // The value (re, im).
    static Cplx32 Cplx(float re, float im);
    static Cplx64 Cplx(double re, double im);
    // The unit phasor (cos phase, sin phase); Cplx(0.0f) is (1, 0).
    static Cplx32 Cplx(float phase);
    static Cplx64 Cplx(double phase);

    // (a.re, -a.im).
    static Cplx32 Conj(const Cplx32& a);
    static Cplx64 Conj(const Cplx64& a);
    // a times the conjugate of b.
    static Cplx32 MulConj(const Cplx32& a, const Cplx32& b);
    static Cplx64 MulConj(const Cplx64& a, const Cplx64& b);
    // sqrt(re^2 + im^2).
    static float Mag(const Cplx32& a);
    static double Mag(const Cplx64& a);
    // re^2 + im^2.
    static float MagSqr(const Cplx32& a);
    static double MagSqr(const Cplx64& a);
    // atan2(im, re), in (-pi, pi].
    static float Phase(const Cplx32& a);
    static double Phase(const Cplx64& a);
    // 1 / a = (re / m, -im / m) with m = MagSqr(a). Zero is not tested for: 1 / 0 gives non-finite parts.
    static Cplx32 Recip(const Cplx32& a);
    static Cplx64 Recip(const Cplx64& a);

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
