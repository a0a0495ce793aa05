// MathUtils: scalar helpers, element-wise mathematics, composite operations and the copy family on the
// float vectors. The matrix members are in MathUtilsMatrix.cpp, the members on integer vectors in
// MathUtilsInt.cpp, the self-test in MathUtilsSelfTest.cpp.
#include "MathUtils.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <memory>

#include "IntVector.h"
#include "Vector.h"
#include "kernel/MathKernels.h"
#include "kernel/VectorKernels.h"
#include "internal/Aliasing.h"
#include "internal/ComplexView.h"

namespace VELA {

using kern::K;
using kern::MK;

namespace {

// The in-place logarithms' guard: the float nearest to 1e-40, as a double.
constexpr double kLogGuard = 9.99994610111476e-41;

// A float-precision ln 2 held as a double; PowOf2 repairs the quotient it gives, so the exact constant
// would buy nothing.
constexpr double kLn2Float = 0.6931471824645996;

using internal::F;

// Overlap-safe element copy (a part may be copied within one vector).
template <class T>
void MoveElements(T* d, const T* s, int n) {
    if (n > 0)
        std::memmove(static_cast<void*>(d), static_cast<const void*>(s), sizeof(T) * static_cast<size_t>(n));
}

// Steps 2 to 4 of the fixed-point conversion for a value already divided by its full scale: scale by
// 2^(bits-1) - 1 (formed in 64 bits, so 32 bits work), round half away from zero on the sign of x, and
// shift left as an unsigned word, so nothing overflows whatever x is.
int FixedPointWord(double ratio, bool positive, int bits) {
    if (bits < 1 || bits > 32) return 0;
    const double scale = static_cast<double>((int64_t{1} << (bits - 1)) - 1);
    const double s = std::trunc(scale * ratio + (positive ? 0.5 : -0.5));
    if (std::isnan(s)) return 0;
    // Values beyond what any width can hold wrap like everything else once clamped into int64.
    const double clamped = std::fmin(std::fmax(s, -9.2e18), 9.2e18);
    const uint32_t word = static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(clamped)));
    return static_cast<int>(word << (32 - bits));
}

template <class Vec, class T>
void SetAll(Vec& v, T value) {
    T* d = v.Data();
    for (int i = 0, n = v.GetSize(); i < n; ++i)
        d[i] = value;
}

template <class T>
void SincLoop(T* d, const T* s, int n, float eps) {
    const double limit = std::sqrt(std::sqrt(120.0 * static_cast<double>(eps)));
    for (int i = 0; i < n; ++i) {
        const T x = s[i];
        if (-limit < x && x < limit)
            d[i] = T(1) - x * x / T(6);
        else
            d[i] = static_cast<T>(std::sin(static_cast<double>(x)) / static_cast<double>(x));
    }
}

template <class Vec>
void CopyPart(Vec& dst, int dstStart, int length, const Vec& src, int srcStart) {
    MoveElements(dst.Data() + dstStart, src.Data() + srcStart, length);
}
// A part of a vector copied to its own start runs in place when it fits the block; a longer part
// reaches past the vector anyway, and is taken from a copy so that the growth cannot release it.
template <class Vec>
void CopyResized(Vec& dst, int length, const Vec& src, int srcStart) {
    if (&dst == &src && length > dst.GetCapacity()) {
        const internal::Unaliased<Vec> s(src, dst);
        CopyResized(dst, length, *s, srcStart);
        return;
    }
    internal::PrepareInPlace(dst, src);
    dst.Resize(length);
    MoveElements(dst.Data(), src.Data() + srcStart, length);
}
template <class Vec>
void AppendParts(Vec& out, const Vec& a, int aStart, int aLength, const Vec& b, int bStart, int bLength) {
    const internal::Unaliased<Vec> sa(a, out), sb(b, out);
    out.Resize(aLength + bLength);
    MoveElements(out.Data(), sa->Data() + aStart, aLength);
    MoveElements(out.Data() + aLength, sb->Data() + bStart, bLength);
}
template <class Vec>
void InterleaveElements(Vec& out, const Vec& a, const Vec& b) {
    const internal::Unaliased<Vec> sa(a, out), sb(b, out);
    const int n = a.GetSize();
    out.Resize(2 * n);
    auto* d = out.Data();
    const auto* pa = sa->Data();
    const auto* pb = sb->Data();
    for (int i = 0; i < n; ++i) {
        d[2 * i] = pa[i];
        d[2 * i + 1] = pb[i];
    }
}
template <class Vec>
void DiffLoop(Vec& out, const Vec& in) {
    const int n = in.GetSize();
    out.Resize(n - 1);
    auto* d = out.Data();
    const auto* s = in.Data();
    for (int i = 0; i + 1 < n; ++i)
        d[i] = s[i + 1] - s[i];
}

}  // namespace

// ============================================================ scalar helpers

int MathUtils::Pow2(int n) {
    // Doubling 1 n times in 32 bits wraps to 0 from n = 32 on; a negative count wraps through the whole
    // counter and ends at 0 too.
    if (n < 0 || n >= 32) return 0;
    return static_cast<int>(uint32_t{1} << n);
}

int64_t MathUtils::Pow2(int64_t n) {
    if (n < 0 || n >= 32) return 0;
    return static_cast<int64_t>(static_cast<int32_t>(uint32_t{1} << n));
}

int MathUtils::PowOf2(int n) {
    if (n <= 0) return -1;
    const int k = static_cast<int>(std::log(static_cast<double>(n)) / kLn2Float);
    if (n == Pow2(k)) return k;
    if (n == Pow2(k + 1)) return k + 1;
    return -1;
}

int MathUtils::NextPowOf2(int n) {
    if (n <= 0) return 0;
    // Above 2^30 the next power of two is not an int.
    if (n > (1 << 30)) VELA_THROW(VELAErrorInvalidInputParameter);
    int bits = 0;
    for (int m = n; m != 0; m >>= 1)
        ++bits;
    const uint32_t p = uint32_t{1} << (bits - 1);
    if (static_cast<int>(p) == n) return n;
    return static_cast<int>(2 * p);
}

int MathUtils::Sqrt(int n) {
    if (n <= 0) return 0;
    const int r = static_cast<int>(std::sqrt(static_cast<double>(n)));
    // Repairs a root that came out just below an exact integer.
    if (static_cast<int64_t>(r + 1) * (r + 1) == n) return r + 1;
    return r;
}

float MathUtils::Erf(float x) {
    if (x == 0.0f || std::isnan(x)) return 0.0f;
    const double a = std::fabs(static_cast<double>(x));
    const double t = 1.0 / (1.0 + 0.3275911 * a);
    const float e = static_cast<float>(std::exp(-static_cast<double>(x) * static_cast<double>(x)));
    const double r =
        1.0 -
        e * t * ((((1.061405429 * t - 1.453152027) * t + 1.421413741) * t - 0.284496736) * t + 0.254829592);
    return static_cast<float>(x > 0 ? r : -r);
}

int MathUtils::ToFixedPoint(float x, float fullScale, int bits) {
    if (x > fullScale) x = fullScale;
    if (x < -fullScale) x = -fullScale;
    return FixedPointWord(static_cast<double>(x) / static_cast<double>(fullScale), x > 0, bits);
}

int MathUtils::ToFixedPoint(float x, int bits) {
    return ToFixedPoint(x, 1.0f, bits);
}

void MathUtils::ToFixedPoint(VecInt32& out, const VecReal32& in, int bits) {
    const int n = in.GetSize();
    out.Resize(n);
    const float* s = in.Data();
    int* d = out.Data();
    // Full scale 1 without the clamp: a value beyond +-1 wraps in the 32-bit word.
    for (int i = 0; i < n; ++i)
        d[i] = FixedPointWord(static_cast<double>(s[i]), s[i] > 0, bits);
}

void MathUtils::Polyval(float& y, float x, const VecReal32& c) {
    const float* p = c.Data();
    y = p[0];
    for (int i = 1, n = c.GetSize(); i < n; ++i)
        y = y * x + p[i];
}

void MathUtils::Polyval(double& y, double x, const VecReal64& c) {
    const double* p = c.Data();
    y = p[0];
    for (int i = 1, n = c.GetSize(); i < n; ++i)
        y = y * x + p[i];
}

// ============================================================ filling

void MathUtils::Set(VecReal32& v, float value) {
    SetAll(v, value);
}
void MathUtils::Set(VecReal64& v, double value) {
    SetAll(v, value);
}
void MathUtils::Set(VecCplx32& v, Cplx32 value) {
    SetAll(v, value);
}
void MathUtils::Set(VecCplx64& v, Cplx64 value) {
    SetAll(v, value);
}

// ============================================================ in place

void MathUtils::Abs(VecReal32& v) {
    MK().abs_f32(v.Data(), v.Data(), v.GetSize());
}
void MathUtils::Abs(VecReal64& v) {
    MK().abs_f64(v.Data(), v.Data(), v.GetSize());
}
void MathUtils::Sqr(VecReal32& v) {
    MK().sqr_f32(v.Data(), v.Data(), v.GetSize());
}
void MathUtils::Sqr(VecReal64& v) {
    MK().sqr_f64(v.Data(), v.Data(), v.GetSize());
}
void MathUtils::Sqrt(VecReal32& v) {
    MK().sqrt_f32(v.Data(), v.Data(), v.GetSize());
}
void MathUtils::Sqrt(VecReal64& v) {
    MK().sqrt_f64(v.Data(), v.Data(), v.GetSize());
}
void MathUtils::Flip(VecReal32& v) {
    MK().flip_f32(v.Data(), v.Data(), v.GetSize());
}
void MathUtils::Flip(VecReal64& v) {
    MK().flip_f64(v.Data(), v.Data(), v.GetSize());
}
void MathUtils::Conj(VecCplx32& v) {
    MK().conj_c32(F(v.Data()), F(v.Data()), v.GetSize());
}
void MathUtils::Conj(VecCplx64& v) {
    v.Resize(v.GetSize());
    MK().conj_c64(F(v.Data()), F(v.Data()), v.GetSize());
}

void MathUtils::Log10(VecReal32& v) {
    float* d = v.Data();
    for (int i = 0, n = v.GetSize(); i < n; ++i) {
        const float guarded = static_cast<float>(static_cast<double>(d[i]) + kLogGuard);
        d[i] = static_cast<float>(std::log10(static_cast<double>(guarded)));
    }
}
void MathUtils::Log10(VecReal64& v) {
    double* d = v.Data();
    for (int i = 0, n = v.GetSize(); i < n; ++i)
        d[i] = std::log10(d[i] + kLogGuard);
}
void MathUtils::Ln(VecReal32& v) {
    float* d = v.Data();
    for (int i = 0, n = v.GetSize(); i < n; ++i) {
        const float guarded = static_cast<float>(static_cast<double>(d[i]) + kLogGuard);
        d[i] = static_cast<float>(std::log(static_cast<double>(guarded)));
    }
}
void MathUtils::Ln(VecReal64& v) {
    double* d = v.Data();
    for (int i = 0, n = v.GetSize(); i < n; ++i)
        d[i] = std::log(d[i] + kLogGuard);
}
void MathUtils::Pow10(VecReal32& v) {
    Pow10(v, v);
}
void MathUtils::Pow10(VecReal64& v) {
    Pow10(v, v);
}

// ============================================================ out of place

void MathUtils::Abs(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().abs_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Abs(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().abs_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Abs(VecReal32& out, const VecCplx32& in) {
    out.Resize(in.GetSize());
    MK().mag_c32(F(in.Data()), out.Data(), in.GetSize());
}
void MathUtils::Abs(VecReal64& out, const VecCplx64& in) {
    out.Resize(in.GetSize());
    MK().mag_c64(F(in.Data()), out.Data(), in.GetSize());
}
void MathUtils::Sqr(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sqr_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Sqr(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sqr_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Sqr(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sqr_c32(F(in.Data()), F(out.Data()), in.GetSize());
}
void MathUtils::Sqr(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sqr_c64(F(in.Data()), F(out.Data()), in.GetSize());
}
void MathUtils::Sqrt(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sqrt_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Sqrt(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sqrt_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Sqrt(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sqrt_c32(F(in.Data()), F(out.Data()), in.GetSize());
}
void MathUtils::Sqrt(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sqrt_c64(F(in.Data()), F(out.Data()), in.GetSize());
}

void MathUtils::Floor(float* d, const float* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<float>(std::floor(static_cast<double>(s[i])));
}
void MathUtils::Floor(double* d, const double* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = std::floor(s[i]);
}
void MathUtils::Ceil(float* d, const float* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<float>(std::ceil(static_cast<double>(s[i])));
}
void MathUtils::Ceil(double* d, const double* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = std::ceil(s[i]);
}
void MathUtils::Floor(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    Floor(out.Data(), in.Data(), in.GetSize());
}
void MathUtils::Floor(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    Floor(out.Data(), in.Data(), in.GetSize());
}
void MathUtils::Floor(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    Floor(F(out.Data()), F(in.Data()), 2 * in.GetSize());
}
void MathUtils::Floor(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    Floor(F(out.Data()), F(in.Data()), 2 * in.GetSize());
}
void MathUtils::Ceil(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    Ceil(out.Data(), in.Data(), in.GetSize());
}
void MathUtils::Ceil(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    Ceil(out.Data(), in.Data(), in.GetSize());
}
void MathUtils::Ceil(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    Ceil(F(out.Data()), F(in.Data()), 2 * in.GetSize());
}
void MathUtils::Ceil(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    Ceil(F(out.Data()), F(in.Data()), 2 * in.GetSize());
}

void MathUtils::Cos(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().cos_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Cos(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().cos_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Sin(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sin_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Sin(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().sin_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Atan(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().atan_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Atan(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().atan_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Atan2(VecReal32& out, const VecReal32& y, const VecReal32& x) {
    internal::PrepareInPlace(out, y);
    internal::PrepareInPlace(out, x);
    out.Resize(y.GetSize());
    MK().atan2_f32(y.Data(), x.Data(), out.Data(), y.GetSize());
}
void MathUtils::Atan2(VecReal64& out, const VecReal64& y, const VecReal64& x) {
    internal::PrepareInPlace(out, y);
    internal::PrepareInPlace(out, x);
    out.Resize(y.GetSize());
    MK().atan2_f64(y.Data(), x.Data(), out.Data(), y.GetSize());
}
void MathUtils::Log10(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().log10_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Log10(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().log10_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Ln(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().ln_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Ln(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().ln_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Exp(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().exp_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Exp(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().exp_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Erf(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().erf_f32(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Erf(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().erf_f64(in.Data(), out.Data(), in.GetSize());
}
void MathUtils::Pow(VecReal32& out, const VecReal32& in, float e) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().powx_f32(in.Data(), e, out.Data(), in.GetSize());
}
void MathUtils::Pow(VecReal64& out, const VecReal64& in, float e) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().powx_f64(in.Data(), static_cast<double>(e), out.Data(), in.GetSize());
}
void MathUtils::Pow10(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    const int n = in.GetSize();
    out.Resize(n);
    const float* s = in.Data();
    float* d = out.Data();
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<float>(std::pow(10.0, static_cast<double>(s[i])));
}
void MathUtils::Pow10(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    const int n = in.GetSize();
    out.Resize(n);
    const double* s = in.Data();
    double* d = out.Data();
    for (int i = 0; i < n; ++i)
        d[i] = std::pow(10.0, s[i]);
}
void MathUtils::Conj(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().conj_c32(F(in.Data()), F(out.Data()), in.GetSize());
}
void MathUtils::Conj(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().conj_c64(F(in.Data()), F(out.Data()), in.GetSize());
}
void MathUtils::ConjFlip(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().conjflip_c32(F(in.Data()), F(out.Data()), in.GetSize());
}
void MathUtils::ConjFlip(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().conjflip_c64(F(in.Data()), F(out.Data()), in.GetSize());
}
void MathUtils::Flip(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().flip_c32(F(in.Data()), F(out.Data()), in.GetSize());
}
void MathUtils::Flip(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    MK().flip_c64(F(in.Data()), F(out.Data()), in.GetSize());
}

// ============================================================ composite

void MathUtils::Mul(VecCplx32& c, const VecReal32& r) {
    K().mul_f32(F(c.Data()), r.Data(), r.GetSize());
}

void MathUtils::Ave(VecReal32& out, const VecReal32& a, const VecReal32& b) {
    // out = a would overwrite b when b is the output.
    const internal::Unaliased<VecReal32> sb(b, out);
    out = a;
    out += *sb;
    out /= 2.0f;
}
void MathUtils::Ave(VecReal64& out, const VecReal64& a, const VecReal64& b) {
    const internal::Unaliased<VecReal64> sb(b, out);
    out = a;
    out += *sb;
    out /= 2.0;
}

void MathUtils::Convert(VecCplx64& out, const VecCplx32& in) {
    out.Resize(in.GetSize());
    K().convert_f32_f64(F(in.Data()), F(out.Data()), 2 * in.GetSize());
}

void MathUtils::Expj(VecCplx32& out, const VecReal32& phase) {
    const int n = phase.GetSize();
    out.Resize(n);
    VecReal32 cosines(n), sines(n);
    MK().cos_f32(phase.Data(), cosines.Data(), n);
    MK().sin_f32(phase.Data(), sines.Data(), n);
    out.Import(cosines, sines);
}
void MathUtils::Expj(VecCplx64& out, const VecReal64& phase) {
    const int n = phase.GetSize();
    out.Resize(n);
    const std::unique_ptr<double[]> cosines(new double[n > 0 ? n : 0]);
    const std::unique_ptr<double[]> sines(new double[n > 0 ? n : 0]);
    MK().cos_f64(phase.Data(), cosines.get(), n);
    MK().sin_f64(phase.Data(), sines.get(), n);
    out.Import(cosines.get(), sines.get(), n);
}

void MathUtils::Diff(VecReal32& out, const VecReal32& in) {
    internal::PrepareInPlace(out, in);
    DiffLoop(out, in);
}
void MathUtils::Diff(VecReal64& out, const VecReal64& in) {
    internal::PrepareInPlace(out, in);
    DiffLoop(out, in);
}

void MathUtils::Polyval(VecReal32& out, const VecReal32& x, const VecReal32& c) {
    // Every output reads all of c, so c is copied when it is the output; x is read element by element.
    const internal::Unaliased<VecReal32> coef(c, out);
    internal::PrepareInPlace(out, x);
    const int n = x.GetSize();
    out.Resize(n);
    for (int i = 0; i < n; ++i)
        Polyval(out[i], x[i], *coef);
}
void MathUtils::Polyval(VecReal64& out, const VecReal64& x, const VecReal64& c) {
    // Every output reads all of c, so c is copied when it is the output; x is read element by element.
    const internal::Unaliased<VecReal64> coef(c, out);
    internal::PrepareInPlace(out, x);
    const int n = x.GetSize();
    out.Resize(n);
    for (int i = 0; i < n; ++i)
        Polyval(out[i], x[i], *coef);
}

void MathUtils::Sinc(VecReal32& out, const VecReal32& in, float eps) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    SincLoop(out.Data(), in.Data(), in.GetSize(), eps);
}
void MathUtils::Sinc(VecReal64& out, const VecReal64& in, float eps) {
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    SincLoop(out.Data(), in.Data(), in.GetSize(), eps);
}

// ============================================================ copying parts

void MathUtils::Copy(VecReal32& dst, int dstStart, int length, const VecReal32& src, int srcStart) {
    CopyPart(dst, dstStart, length, src, srcStart);
}
void MathUtils::Copy(VecReal64& dst, int dstStart, int length, const VecReal64& src, int srcStart) {
    CopyPart(dst, dstStart, length, src, srcStart);
}
void MathUtils::Copy(VecCplx32& dst, int dstStart, int length, const VecCplx32& src, int srcStart) {
    CopyPart(dst, dstStart, length, src, srcStart);
}
void MathUtils::Copy(VecCplx64& dst, int dstStart, int length, const VecCplx64& src, int srcStart) {
    CopyPart(dst, dstStart, length, src, srcStart);
}
void MathUtils::Copy(int dstStart, VecCplx32& dst, int length, int srcStart, const VecCplx32& src) {
    CopyPart(dst, dstStart, length, src, srcStart);
}

void MathUtils::Copy(VecReal32& dst, int length, const VecReal32& src, int srcStart) {
    CopyResized(dst, length, src, srcStart);
}
void MathUtils::Copy(VecReal64& dst, int length, const VecReal64& src, int srcStart) {
    CopyResized(dst, length, src, srcStart);
}
void MathUtils::Copy(VecCplx32& dst, int length, const VecCplx32& src, int srcStart) {
    CopyResized(dst, length, src, srcStart);
}
void MathUtils::Copy(VecCplx64& dst, int length, const VecCplx64& src, int srcStart) {
    CopyResized(dst, length, src, srcStart);
}

void MathUtils::Copy(VecReal32& dst, const VecReal32& src, int srcStart) {
    Copy(dst, src.GetSize() - srcStart, src, srcStart);
}
void MathUtils::Copy(VecReal64& dst, const VecReal64& src, int srcStart) {
    Copy(dst, src.GetSize() - srcStart, src, srcStart);
}
void MathUtils::Copy(VecCplx32& dst, const VecCplx32& src, int srcStart) {
    Copy(dst, src.GetSize() - srcStart, src, srcStart);
}
void MathUtils::Copy(VecCplx64& dst, const VecCplx64& src, int srcStart) {
    Copy(dst, src.GetSize() - srcStart, src, srcStart);
}

void MathUtils::Append(VecReal32& out, const VecReal32& a, int aStart, int aLength, const VecReal32& b,
                       int bStart, int bLength) {
    AppendParts(out, a, aStart, aLength, b, bStart, bLength);
}
void MathUtils::Append(VecReal64& out, const VecReal64& a, int aStart, int aLength, const VecReal64& b,
                       int bStart, int bLength) {
    AppendParts(out, a, aStart, aLength, b, bStart, bLength);
}
void MathUtils::Append(VecCplx32& out, const VecCplx32& a, int aStart, int aLength, const VecCplx32& b,
                       int bStart, int bLength) {
    AppendParts(out, a, aStart, aLength, b, bStart, bLength);
}
void MathUtils::Append(VecCplx64& out, const VecCplx64& a, int aStart, int aLength, const VecCplx64& b,
                       int bStart, int bLength) {
    AppendParts(out, a, aStart, aLength, b, bStart, bLength);
}
void MathUtils::Append(VecReal32& out, const VecReal32& a, const VecReal32& b) {
    Append(out, a, 0, a.GetSize(), b, 0, b.GetSize());
}
void MathUtils::Append(VecReal64& out, const VecReal64& a, const VecReal64& b) {
    Append(out, a, 0, a.GetSize(), b, 0, b.GetSize());
}
void MathUtils::Append(VecCplx32& out, const VecCplx32& a, const VecCplx32& b) {
    Append(out, a, 0, a.GetSize(), b, 0, b.GetSize());
}
void MathUtils::Append(VecCplx64& out, const VecCplx64& a, const VecCplx64& b) {
    Append(out, a, 0, a.GetSize(), b, 0, b.GetSize());
}

void MathUtils::Interleave(VecReal32& out, const VecReal32& a, const VecReal32& b) {
    InterleaveElements(out, a, b);
}
void MathUtils::Interleave(VecReal64& out, const VecReal64& a, const VecReal64& b) {
    InterleaveElements(out, a, b);
}
void MathUtils::Interleave(VecCplx32& out, const VecCplx32& a, const VecCplx32& b) {
    InterleaveElements(out, a, b);
}
void MathUtils::Interleave(VecCplx64& out, const VecCplx64& a, const VecCplx64& b) {
    InterleaveElements(out, a, b);
}

}  // namespace VELA
