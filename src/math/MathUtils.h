// MathUtils: the element-wise mathematics on vectors, small integer helpers, sub-vector copying, a few
// composite operations, and the matrix product, transpose, identity and inverse. Static functions only,
// no state; every function touches only its arguments, so all are re-entrant.
//
// Conventions:
// - The first non-const reference is the output. Out-of-place forms Op(out, in) first do
//   out.Resize(in.GetSize()) and then write that many elements. Resize drops a ShiftLeft/Truncate
//   window, so an output that is only an output always starts at the beginning of its block.
// - Aliasing: every output may be the same object as any input of its type, a view included, and the
//   result is the one a separate output would get, bit for bit. The element-wise functions (and Diff,
//   Sinc, Polyval's x, Atan2, Flip, ConjFlip, the Copy family) then run in place without allocating: a
//   view's elements are first moved to the start of its block, so the Resize keeps them. The others
//   (Append, Interleave, Ave's b, Polyval's c, the matrix products and Trns) read such an input from a
//   temporary copy. A call with separate operands costs nothing extra.
// - Nothing checks ranges or compares lengths: callers keep operands long enough.
// - The transcendental functions (Cos ... Pow, Expj) are the full-accuracy ones: within 1 ulp of the exact
//   result in the vector's precision. Out-of-domain inputs give the IEEE results (NaN, +-Inf).
// - The in-place Log10 and Ln add a tiny guard so that 0 stays finite; the out-of-place forms do not, and
//   give -Inf at 0. The difference is deliberate: a caller who wants a finite floor uses the in-place form.
#pragma once
#include "VELAExport.h"

#include <cstdint>

#include "VELATypes.h"

namespace VELA {

class UnitTestRecorder;
class VecReal32;
class VecReal64;
class VecCplx32;
class VecCplx64;
class VecInt16;
class VecInt32;
class VecUInt32;
class MatReal32;
class MatReal64;

class VELA_API MathUtils {
  public:
    MathUtils() = delete;

    // ---------------------------------------------------------------- scalar helpers
    // 2^n by doubling in 32 bits: Pow2(31) is INT_MIN (the doubling wraps); n < 0 or n >= 32 gives 0.
    static int Pow2(int n);
    // The same 32-bit doubling, sign-extended to 64 bits: Pow2(31) is negative and Pow2(32) is 0.
    static int64_t Pow2(int64_t n);
    // k with n == 2^k, or -1 when n is not a power of two (also for n <= 0).
    static int PowOf2(int n);
    // Smallest power of two not below n; NextPowOf2(0) is 0. Above 2^30 (no such int) it throws
    // "invalid input parameter".
    // n must not be negative (the result is then 0).
    static int NextPowOf2(int n);
    // Integer square root, floor(sqrt(n)); 0 for n <= 0.
    static int Sqrt(int n);
    // erf(x) by the rational approximation 7.1.26 of Abramowitz and Stegun (|error| < 1.5e-7); 0 for
    // x == 0 and for NaN. Not the vector Erf, which is full-accuracy: the two differ in the last digits.
    static float Erf(float x);
    // x as a signed fraction of `bits` bits (1..32) of fullScale, left-justified in a 32-bit word: x is
    // clamped to [-fullScale, fullScale], scaled by 2^(bits-1) - 1, rounded half away from zero (0 goes
    // to 0) and shifted left by 32 - bits. With 31 bits, fullScale gives 0x7ffffffe and -fullScale
    // 0x80000002. Other widths give 0.
    static int ToFixedPoint(float x, float fullScale, int bits);
    static int ToFixedPoint(float x, int bits);  // fullScale 1
    // Horner evaluation; c[0] is the coefficient of the highest power. c must not be empty. The float
    // form rounds to float after every step.
    static void Polyval(float& y, float x, const VecReal32& c);
    static void Polyval(double& y, double x, const VecReal64& c);

    // ---------------------------------------------------------------- filling
    static void Set(VecInt16& v, short value);
    static void Set(VecInt32& v, int value);
    static void Set(VecReal32& v, float value);
    static void Set(VecReal64& v, double value);
    static void Set(VecCplx32& v, Cplx32 value);
    static void Set(VecCplx64& v, Cplx64 value);

    // ---------------------------------------------------------------- in place, over v.size elements
    static void Abs(VecReal32& v);
    static void Abs(VecReal64& v);
    static void Sqr(VecReal32& v);
    static void Sqr(VecReal64& v);
    static void Sqrt(VecReal32& v);
    static void Sqrt(VecReal64& v);
    static void Flip(VecReal32& v);  // reversal
    static void Flip(VecReal64& v);
    static void Conj(VecCplx32& v);
    // Resize(size) first, which resets a ShiftLeft/Truncate window before conjugating: on a view this
    // conjugates the first size elements of the block, not the view (kept as it has always behaved).
    static void Conj(VecCplx64& v);
    // log10(x + g) with the guard g = 9.99994610111476e-41 (the float nearest 1e-40), so that 0 gives
    // about -40 instead of -Inf. In VecReal32 x + g is rounded to float first, where the guard survives
    // only for x of its own order (it is a denormal, which is why nothing here flushes denormals).
    static void Log10(VecReal32& v);
    static void Log10(VecReal64& v);
    // log(x + g), the same guard.
    static void Ln(VecReal32& v);
    static void Ln(VecReal64& v);
    // 10^x, as Pow10(v, v).
    static void Pow10(VecReal32& v);
    static void Pow10(VecReal64& v);

    // ---------------------------------------------------------------- out of place, element-wise
    static void Abs(VecReal32& out, const VecReal32& in);
    static void Abs(VecReal64& out, const VecReal64& in);
    // Magnitude sqrt(re^2 + im^2).
    static void Abs(VecReal32& out, const VecCplx32& in);
    static void Abs(VecReal64& out, const VecCplx64& in);
    static void Sqr(VecReal32& out, const VecReal32& in);
    static void Sqr(VecReal64& out, const VecReal64& in);
    // The complex square (re^2 - im^2, 2 re im), not the squared magnitude.
    static void Sqr(VecCplx32& out, const VecCplx32& in);
    static void Sqr(VecCplx64& out, const VecCplx64& in);
    static void Sqrt(VecReal32& out, const VecReal32& in);
    static void Sqrt(VecReal64& out, const VecReal64& in);
    // Principal square root (real part >= 0).
    static void Sqrt(VecCplx32& out, const VecCplx32& in);
    static void Sqrt(VecCplx64& out, const VecCplx64& in);
    // floor and ceil of every part (both parts of a complex element); the float forms go through double.
    static void Floor(VecReal32& out, const VecReal32& in);
    static void Floor(VecReal64& out, const VecReal64& in);
    static void Floor(VecCplx32& out, const VecCplx32& in);
    static void Floor(VecCplx64& out, const VecCplx64& in);
    static void Ceil(VecReal32& out, const VecReal32& in);
    static void Ceil(VecReal64& out, const VecReal64& in);
    static void Ceil(VecCplx32& out, const VecCplx32& in);
    static void Ceil(VecCplx64& out, const VecCplx64& in);
    // Full-accuracy functions, radians.
    static void Cos(VecReal32& out, const VecReal32& in);
    static void Cos(VecReal64& out, const VecReal64& in);
    static void Sin(VecReal32& out, const VecReal32& in);
    static void Sin(VecReal64& out, const VecReal64& in);
    static void Atan(VecReal32& out, const VecReal32& in);
    static void Atan(VecReal64& out, const VecReal64& in);
    // atan2(y[i], x[i]); out is sized by y.
    static void Atan2(VecReal32& out, const VecReal32& y, const VecReal32& x);
    static void Atan2(VecReal64& out, const VecReal64& y, const VecReal64& x);
    // No guard: 0 gives -Inf, a negative input NaN.
    static void Log10(VecReal32& out, const VecReal32& in);
    static void Log10(VecReal64& out, const VecReal64& in);
    static void Ln(VecReal32& out, const VecReal32& in);
    static void Ln(VecReal64& out, const VecReal64& in);
    static void Exp(VecReal32& out, const VecReal32& in);
    static void Exp(VecReal64& out, const VecReal64& in);
    static void Erf(VecReal32& out, const VecReal32& in);
    static void Erf(VecReal64& out, const VecReal64& in);
    // in[i] to the power e; the double form widens e from float.
    static void Pow(VecReal32& out, const VecReal32& in, float e);
    static void Pow(VecReal64& out, const VecReal64& in, float e);
    // 10^x by the standard library's pow(10.0, x) (the float form in double, rounded once).
    static void Pow10(VecReal32& out, const VecReal32& in);
    static void Pow10(VecReal64& out, const VecReal64& in);
    static void Conj(VecCplx32& out, const VecCplx32& in);
    static void Conj(VecCplx64& out, const VecCplx64& in);
    // out[i] = conj(in[n - 1 - i]).
    static void ConjFlip(VecCplx32& out, const VecCplx32& in);
    static void ConjFlip(VecCplx64& out, const VecCplx64& in);
    // out[i] = in[n - 1 - i].
    static void Flip(VecCplx32& out, const VecCplx32& in);
    static void Flip(VecCplx64& out, const VecCplx64& in);

    // ---------------------------------------------------------------- composite
    // Multiplies r.size floats at the start of c, c's data taken as interleaved floats (re, im, re, ...),
    // by r. This is not "each complex element times one real": for that, r holds each factor twice and is
    // twice as long as c (the form windows are applied with).
    static void Mul(VecCplx32& c, const VecReal32& r);
    // out = (a + b) / 2, by out = a (a fresh block), out += b, out /= 2.
    static void Ave(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void Ave(VecReal64& out, const VecReal64& a, const VecReal64& b);
    static void Convert(VecCplx64& out, const VecCplx32& in);
    // out[i] = (cos phase[i], sin phase[i]), full accuracy; takes two temporary arrays.
    static void Expj(VecCplx32& out, const VecReal32& phase);
    static void Expj(VecCplx64& out, const VecReal64& phase);
    // out[i] = in[i + 1] - in[i]; out has in.size - 1 elements.
    static void Diff(VecReal32& out, const VecReal32& in);
    static void Diff(VecReal64& out, const VecReal64& in);
    // The scalar Polyval at every x[i].
    static void Polyval(VecReal32& out, const VecReal32& x, const VecReal32& c);
    static void Polyval(VecReal64& out, const VecReal64& x, const VecReal64& c);
    // Unnormalised sinc sin(x)/x. Inside |x| < (120 eps)^(1/4) the series 1 - x^2/6 is used (so x = 0
    // gives 1); with eps = 0 that interval is empty and x = 0 gives 0/0.
    static void Sinc(VecReal32& out, const VecReal32& in, float eps);
    static void Sinc(VecReal64& out, const VecReal64& in, float eps);
    // ToFixedPoint(in[i], bits) without the clamp to [-1, 1]: values beyond it wrap in the 32-bit word.
    static void ToFixedPoint(VecInt32& out, const VecReal32& in, int bits);
    // Sum of row `row` (column `col`), in order from index 0, with a float running total.
    static float SumRow(MatReal32& m, int row);
    static float SumCol(MatReal32& m, int col);

    // ---------------------------------------------------------------- copying parts; nothing checks a range
    // length elements from src[srcStart] to dst[dstStart]; no resize.
    static void Copy(VecReal32& dst, int dstStart, int length, const VecReal32& src, int srcStart);
    static void Copy(VecReal64& dst, int dstStart, int length, const VecReal64& src, int srcStart);
    static void Copy(VecCplx32& dst, int dstStart, int length, const VecCplx32& src, int srcStart);
    static void Copy(VecCplx64& dst, int dstStart, int length, const VecCplx64& src, int srcStart);
    // The same operation with the arguments in this order.
    static void Copy(int dstStart, VecCplx32& dst, int length, int srcStart, const VecCplx32& src);
    // dst.Resize(length), then length elements from src[srcStart] to dst[0]. With src == dst this keeps
    // a part of the vector (of a view: of what the view shows), in place.
    static void Copy(VecReal32& dst, int length, const VecReal32& src, int srcStart);
    static void Copy(VecReal64& dst, int length, const VecReal64& src, int srcStart);
    static void Copy(VecCplx32& dst, int length, const VecCplx32& src, int srcStart);
    static void Copy(VecCplx64& dst, int length, const VecCplx64& src, int srcStart);
    static void Copy(VecInt32& dst, int length, const VecInt32& src, int srcStart);
    static void Copy(VecUInt32& dst, int length, const VecUInt32& src, int srcStart);
    // The form above with length = src.size - srcStart.
    static void Copy(VecReal32& dst, const VecReal32& src, int srcStart);
    static void Copy(VecReal64& dst, const VecReal64& src, int srcStart);
    static void Copy(VecCplx32& dst, const VecCplx32& src, int srcStart);
    static void Copy(VecCplx64& dst, const VecCplx64& src, int srcStart);
    // dst.Resize(length), each element converted to double (unsigned values stay non-negative).
    static void Copy(VecReal64& dst, int length, const VecInt32& src, int srcStart);
    static void Copy(VecReal64& dst, int length, const VecUInt32& src, int srcStart);

    // out = a[aStart .. aStart + aLength) followed by b[bStart .. bStart + bLength). out may be a or b
    // (they are then read from a copy).
    static void Append(VecReal32& out, const VecReal32& a, int aStart, int aLength, const VecReal32& b,
                       int bStart, int bLength);
    static void Append(VecReal64& out, const VecReal64& a, int aStart, int aLength, const VecReal64& b,
                       int bStart, int bLength);
    static void Append(VecCplx32& out, const VecCplx32& a, int aStart, int aLength, const VecCplx32& b,
                       int bStart, int bLength);
    static void Append(VecCplx64& out, const VecCplx64& a, int aStart, int aLength, const VecCplx64& b,
                       int bStart, int bLength);
    // The whole of a, then the whole of b.
    static void Append(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void Append(VecReal64& out, const VecReal64& a, const VecReal64& b);
    static void Append(VecCplx32& out, const VecCplx32& a, const VecCplx32& b);
    static void Append(VecCplx64& out, const VecCplx64& a, const VecCplx64& b);

    // out[2i] = a[i], out[2i + 1] = b[i] (a complex element stays whole); 2 * a.size elements, b.size is
    // not looked at.
    static void Interleave(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void Interleave(VecReal64& out, const VecReal64& a, const VecReal64& b);
    static void Interleave(VecCplx32& out, const VecCplx32& a, const VecCplx32& b);
    static void Interleave(VecCplx64& out, const VecCplx64& a, const VecCplx64& b);

    // Removes the elements at the listed positions (ascending, no repeats), keeping the order of the rest.
    // The new size is v.size - indices.size whatever the indices are, so an index out of range or out of
    // order still shortens the vector by one. A view is first moved to the start of its block, where the
    // result then stands.
    static void DeleteElement(VecReal32& v, const VecInt32& indices);
    static void DeleteElement(VecReal64& v, const VecInt32& indices);

    // ---------------------------------------------------------------- matrices
    // out[i] = dot(v, row i), rows read with the stride v.size (which must equal m's columns).
    static void Mul(VecReal32& out, const MatReal32& m, const VecReal32& v);
    static void Mul(VecReal64& out, const MatReal64& m, const VecReal64& v);
    // The matrix product a b, each element summed in double over a's columns. out may be a or b.
    static void Mul(MatReal32& out, const MatReal32& a, const MatReal32& b);
    static void Mul(MatReal64& out, const MatReal64& a, const MatReal64& b);
    // out = in transposed (cols x rows). out may be in.
    static void Trns(MatReal32& out, const MatReal32& in);
    static void Trns(MatReal64& out, const MatReal64& in);
    // m = the n x n identity (by Resize, so a larger capacity is kept).
    static void Eye(MatReal32& m, int n);
    static void Eye(MatReal64& m, int n);
    // out = in^-1 by LU factorisation with partial pivoting. `in` is taken to be square (in.rows
    // decides). Throws "singular matrix" for an exactly singular matrix, leaving out holding the partial
    // factorisation, and "memory allocation error" when the pivot or work array cannot be had. An empty
    // matrix inverts to an empty matrix.
    static void Inv(MatReal32& out, const MatReal32& in);
    static void Inv(MatReal64& out, const MatReal64& in);

    // Self-test; the matrix cases record under "MatUtils", the others under "MathUtils".
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    static void Floor(float* d, const float* s, int n);
    static void Floor(double* d, const double* s, int n);
    static void Ceil(float* d, const float* s, int n);
    static void Ceil(double* d, const double* s, int n);
};

}  // namespace VELA
