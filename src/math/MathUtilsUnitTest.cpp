// Self-test of MathUtils. The matrix cases record under "MatUtils", all others under "MathUtils".
// Expected values are worked by hand or are textbook constants.
#include <climits>
#include <cmath>
#include <cstdint>
#include <initializer_list>

#include "IntVector.h"
#include "MathUtils.h"
#include "Vector.h"
#include "infra/UnitTestRecorder.h"
#include "matrix.h"

namespace VELA {
namespace {

constexpr float kTol32 = 9e-6f;
constexpr double kTol64 = 1e-14;
constexpr double kPi = 3.14159265358979323846;

VecReal32 R32(std::initializer_list<float> x) {
    VecReal32 v;
    v.Import(x.begin(), static_cast<int>(x.size()));
    return v;
}
VecReal64 R64(std::initializer_list<double> x) {
    VecReal64 v;
    v.Import(x.begin(), static_cast<int>(x.size()));
    return v;
}
VecCplx32 C32(std::initializer_list<Cplx32> x) {
    VecCplx32 v;
    v.Import(x.begin(), static_cast<int>(x.size()));
    return v;
}
VecCplx64 C64(std::initializer_list<Cplx64> x) {
    VecCplx64 v;
    v.Import(x.begin(), static_cast<int>(x.size()));
    return v;
}
VecInt32 I32(std::initializer_list<int> x) {
    VecInt32 v(static_cast<int>(x.size()));
    int i = 0;
    for (int e : x)
        v[i++] = e;
    return v;
}

// Size and every element within the precision's tolerance (NaN never passes).
bool Holds(const VecReal32& v, std::initializer_list<double> e) {
    if (v.GetSize() != static_cast<int>(e.size())) return false;
    int i = 0;
    for (double x : e)
        if (!(std::fabs(v[i++] - x) < kTol32)) return false;
    return true;
}
bool Holds(const VecReal64& v, std::initializer_list<double> e) {
    if (v.GetSize() != static_cast<int>(e.size())) return false;
    int i = 0;
    for (double x : e)
        if (!(std::fabs(v[i++] - x) < kTol64)) return false;
    return true;
}
bool Holds(const VecCplx32& v, std::initializer_list<Cplx64> e) {
    if (v.GetSize() != static_cast<int>(e.size())) return false;
    int i = 0;
    for (const Cplx64& x : e) {
        const Cplx32 c = v[i++];
        if (!(std::fabs(c.re - x.re) < kTol32 && std::fabs(c.im - x.im) < kTol32)) return false;
    }
    return true;
}
bool Holds(const VecCplx64& v, std::initializer_list<Cplx64> e) {
    if (v.GetSize() != static_cast<int>(e.size())) return false;
    int i = 0;
    for (const Cplx64& x : e) {
        const Cplx64 c = v[i++];
        if (!(std::fabs(c.re - x.re) < kTol64 && std::fabs(c.im - x.im) < kTol64)) return false;
    }
    return true;
}
template <class IntVec>
bool HoldsInts(const IntVec& v, std::initializer_list<int64_t> e) {
    if (v.GetSize() != static_cast<int>(e.size())) return false;
    int i = 0;
    for (int64_t x : e)
        if (static_cast<int64_t>(v[i++]) != x) return false;
    return true;
}

bool HoldsMat(const MatReal32& m, int rows, int cols, std::initializer_list<double> e) {
    if (m.GetRows() != rows || m.GetCols() != cols) return false;
    int k = 0;
    for (double x : e) {
        if (!(std::fabs(m[k / cols][k % cols] - x) < kTol32)) return false;
        ++k;
    }
    return true;
}
bool HoldsMat(const MatReal64& m, int rows, int cols, std::initializer_list<double> e) {
    if (m.GetRows() != rows || m.GetCols() != cols) return false;
    int k = 0;
    for (double x : e) {
        if (!(std::fabs(m[k / cols][k % cols] - x) < kTol64)) return false;
        ++k;
    }
    return true;
}

void ScalarCases(UnitTestRecorder& r, const char* cls) {
    r.AddTestRecord(cls, "Pow2",
                    MathUtils::Pow2(0) == 1 && MathUtils::Pow2(10) == 1024 &&
                        MathUtils::Pow2(31) == INT_MIN && MathUtils::Pow2(32) == 0 &&
                        MathUtils::Pow2(-1) == 0);
    r.AddTestRecord(cls, "Pow2 64-bit",
                    MathUtils::Pow2(int64_t{5}) == 32 && MathUtils::Pow2(int64_t{31}) < 0 &&
                        MathUtils::Pow2(int64_t{32}) == 0);
    r.AddTestRecord(cls, "PowOf2",
                    MathUtils::PowOf2(64) == 6 && MathUtils::PowOf2(14) < 0 && MathUtils::PowOf2(1) == 0 &&
                        MathUtils::PowOf2(1 << 30) == 30 && MathUtils::PowOf2(0) == -1);
    r.AddTestRecord(cls, "NextPowOf2",
                    MathUtils::NextPowOf2(1) == 1 && MathUtils::NextPowOf2(3) == 4 &&
                        MathUtils::NextPowOf2(4) == 4 && MathUtils::NextPowOf2(0) == 0 &&
                        MathUtils::NextPowOf2(1000) == 1024);
    r.AddTestRecord(cls, "Sqrt integer",
                    MathUtils::Sqrt(0) == 0 && MathUtils::Sqrt(15) == 3 && MathUtils::Sqrt(16) == 4 &&
                        MathUtils::Sqrt(2147395600) == 46340 && MathUtils::Sqrt(INT_MAX) == 46340);
    r.AddTestRecord(cls, "Erf scalar",
                    std::fabs(MathUtils::Erf(-1.2f) + 0.9103140f) < kTol32 && MathUtils::Erf(0.0f) == 0.0f &&
                        std::fabs(MathUtils::Erf(0.7f) - 0.6778012f) < kTol32);
    const float pi = 3.1415927f;
    r.AddTestRecord(cls, "ToFixedPoint",
                    MathUtils::ToFixedPoint(pi, pi, 31) == 0x7ffffffe &&
                        MathUtils::ToFixedPoint(-pi, pi, 31) == static_cast<int>(0x80000002u) &&
                        MathUtils::ToFixedPoint(2 * pi, pi, 31) == 0x7ffffffe &&
                        MathUtils::ToFixedPoint(-2 * pi, pi, 31) == static_cast<int>(0x80000002u) &&
                        MathUtils::ToFixedPoint(0.0f, 31) == 0 &&
                        MathUtils::ToFixedPoint(0.5f, 16) == 0x40000000);
    {
        VecInt32 words;
        MathUtils::ToFixedPoint(words, R32({1, -1, 0, 0.5f}), 31);
        r.AddTestRecord(cls, "ToFixedPoint vector",
                        HoldsInts(words, {0x7ffffffe, static_cast<int>(0x80000002u), 0, 0x40000000}));
    }
    {
        float y32 = 0;
        double y64 = 0;
        MathUtils::Polyval(y32, 2.0f, R32({2, -3, 1}));
        MathUtils::Polyval(y64, 0.5, R64({4, 0, -1, 2}));
        VecReal32 out;
        MathUtils::Polyval(out, R32({0, 1, -1}), R32({2, -3, 1}));
        r.AddTestRecord(cls, "Polyval",
                        y32 == 3.0f && std::fabs(y64 - 2.0) < kTol64 && Holds(out, {1, 0, 6}));
    }
}

void ElementCases(UnitTestRecorder& r, const char* cls) {
    {
        VecReal32 a = R32({0, 0, 0});
        MathUtils::Set(a, 2.5f);
        VecCplx64 c(2);
        MathUtils::Set(c, Cplx64{1, -1});
        VecInt16 s(3);
        MathUtils::Set(s, short{-7});
        VecInt32 w(2);
        MathUtils::Set(w, 9);
        r.AddTestRecord(cls, "Set",
                        Holds(a, {2.5, 2.5, 2.5}) && Holds(c, {{1, -1}, {1, -1}}) &&
                            HoldsInts(s, {-7, -7, -7}) && HoldsInts(w, {9, 9}));
    }
    {
        VecReal32 a = R32({-1.5f, 2, -3});
        MathUtils::Abs(a);
        VecReal64 b = R64({-1.5, 2, -3});
        MathUtils::Abs(b);
        r.AddTestRecord(cls, "Abs in place", Holds(a, {1.5, 2, 3}) && Holds(b, {1.5, 2, 3}));
        MathUtils::Sqr(a);
        MathUtils::Sqr(b);
        r.AddTestRecord(cls, "Sqr in place", Holds(a, {2.25, 4, 9}) && Holds(b, {2.25, 4, 9}));
        MathUtils::Sqrt(a);
        MathUtils::Sqrt(b);
        r.AddTestRecord(cls, "Sqrt in place", Holds(a, {1.5, 2, 3}) && Holds(b, {1.5, 2, 3}));
        MathUtils::Flip(a);
        MathUtils::Flip(b);
        r.AddTestRecord(cls, "Flip in place", Holds(a, {3, 2, 1.5}) && Holds(b, {3, 2, 1.5}));
    }
    {
        VecCplx32 c = C32({{1, 2}, {3, -4}});
        MathUtils::Conj(c);
        VecCplx64 d = C64({{1, 2}, {3, -4}});
        MathUtils::Conj(d);
        r.AddTestRecord(cls, "Conj in place", Holds(c, {{1, -2}, {3, 4}}) && Holds(d, {{1, -2}, {3, 4}}));
    }
    {
        // The guard keeps 0 finite: log10 of the float nearest 1e-40 is about -40.
        VecReal32 a = R32({100, 0.001f, 0});
        MathUtils::Log10(a);
        VecReal64 b = R64({100, 0});
        MathUtils::Log10(b);
        r.AddTestRecord(cls, "Log10 in place",
                        std::fabs(a[0] - 2) < kTol32 && std::fabs(a[1] + 3) < kTol32 &&
                            std::fabs(a[2] + 40) < 1e-5 && std::fabs(b[0] - 2) < kTol64 &&
                            std::fabs(b[1] + 40) < 1e-5);
        VecReal32 c = R32({1, static_cast<float>(std::exp(1.0)), 0});
        MathUtils::Ln(c);
        r.AddTestRecord(cls, "Ln in place",
                        std::fabs(c[0]) < kTol32 && std::fabs(c[1] - 1) < kTol32 &&
                            std::fabs(c[2] + 40 * std::log(10.0)) < 1e-4);
        VecReal32 d = R32({2, -1});
        MathUtils::Pow10(d);
        r.AddTestRecord(cls, "Pow10 in place", Holds(d, {100, 0.1}));
    }
    {
        VecReal32 out;
        MathUtils::Log10(out, R32({1000, 0}));
        VecReal64 out64;
        MathUtils::Log10(out64, R64({1000, 0}));
        r.AddTestRecord(cls, "Log10",
                        std::fabs(out[0] - 3) < kTol32 && std::isinf(out[1]) && out[1] < 0 &&
                            std::fabs(out64[0] - 3) < kTol64 && std::isinf(out64[1]) && out64[1] < 0);
        MathUtils::Ln(out, R32({1, 0.5f}));
        r.AddTestRecord(cls, "Ln", Holds(out, {0, -0.69314718}));
        MathUtils::Exp(out, R32({0, 1, -1}));
        MathUtils::Exp(out64, R64({0, 1}));
        r.AddTestRecord(cls, "Exp",
                        Holds(out, {1, 2.7182818, 0.36787944}) && Holds(out64, {1, 2.718281828459045}));
        MathUtils::Erf(out, R32({0.5f, -1.2f}));
        MathUtils::Erf(out64, R64({0.5, -1.2}));
        r.AddTestRecord(
            cls, "Erf",
            Holds(out, {0.52049988, -0.91031398}) && Holds(out64, {0.5204998778130465, -0.9103139782296353}));
        MathUtils::Pow(out, R32({4, 9, 2}), 0.5f);
        MathUtils::Pow(out64, R64({4, 9}), 1.5f);
        r.AddTestRecord(cls, "Pow", Holds(out, {2, 3, 1.4142136}) && Holds(out64, {8, 27}));
        MathUtils::Pow10(out, R32({-2, 0, 1.5f}));
        MathUtils::Pow10(out64, R64({-2, 3}));
        r.AddTestRecord(cls, "Pow10", Holds(out, {0.01, 1, 31.622777}) && Holds(out64, {0.01, 1000}));
    }
    {
        const float half = static_cast<float>(kPi / 2);
        VecReal32 out;
        VecReal64 out64;
        MathUtils::Cos(out, R32({0, half, 2 * half}));
        MathUtils::Cos(out64, R64({0, kPi}));
        r.AddTestRecord(cls, "Cos", Holds(out, {1, 0, -1}) && Holds(out64, {1, -1}));
        MathUtils::Sin(out, R32({0, half, 2 * half}));
        MathUtils::Sin(out64, R64({0, kPi / 2}));
        r.AddTestRecord(cls, "Sin", Holds(out, {0, 1, 0}) && Holds(out64, {0, 1}));
        MathUtils::Atan(out, R32({1, -1}));
        MathUtils::Atan(out64, R64({1}));
        r.AddTestRecord(cls, "Atan", Holds(out, {kPi / 4, -kPi / 4}) && Holds(out64, {kPi / 4}));
        MathUtils::Atan2(out, R32({1, 1, -1}), R32({-1, 0, 0}));
        MathUtils::Atan2(out64, R64({1}), R64({-1}));
        r.AddTestRecord(cls, "Atan2",
                        Holds(out, {3 * kPi / 4, kPi / 2, -kPi / 2}) && Holds(out64, {3 * kPi / 4}));
    }
    {
        VecReal32 out;
        VecReal64 out64;
        MathUtils::Abs(out, R32({-2, 3}));
        MathUtils::Abs(out64, C64({{3, 4}, {-5, 12}}));
        VecReal32 mag;
        MathUtils::Abs(mag, C32({{3, 4}, {0, -2}}));
        r.AddTestRecord(cls, "Abs", Holds(out, {2, 3}) && Holds(out64, {5, 13}) && Holds(mag, {5, 2}));
        MathUtils::Sqr(out, R32({-3, 0.5f}));
        VecCplx32 c;
        MathUtils::Sqr(c, C32({{1, 2}, {0, 1}}));
        r.AddTestRecord(cls, "Sqr", Holds(out, {9, 0.25}) && Holds(c, {{-3, 4}, {-1, 0}}));
        MathUtils::Sqrt(out, R32({9, 2}));
        VecCplx64 c64;
        MathUtils::Sqrt(c64, C64({{-4, 0}, {3, 4}, {0, -2}}));
        r.AddTestRecord(cls, "Sqrt", Holds(out, {3, 1.4142136}) && Holds(c64, {{0, 2}, {2, 1}, {1, -1}}));
        MathUtils::Floor(out, R32({1.5f, -1.5f, 2}));
        MathUtils::Floor(c, C32({{1.5f, -1.5f}}));
        r.AddTestRecord(cls, "Floor", Holds(out, {1, -2, 2}) && Holds(c, {{1, -2}}));
        MathUtils::Ceil(out64, R64({1.5, -1.5}));
        MathUtils::Ceil(c64, C64({{0.25, -0.75}}));
        r.AddTestRecord(cls, "Ceil", Holds(out64, {2, -1}) && Holds(c64, {{1, 0}}));
    }
    {
        const VecCplx32 in = C32({{1, 2}, {3, 4}, {5, 6}});
        VecCplx32 out;
        MathUtils::Conj(out, in);
        const bool conj = Holds(out, {{1, -2}, {3, -4}, {5, -6}});
        MathUtils::ConjFlip(out, in);
        const bool conjFlip = Holds(out, {{5, -6}, {3, -4}, {1, -2}});
        MathUtils::Flip(out, in);
        r.AddTestRecord(cls, "Conj/ConjFlip/Flip", conj && conjFlip && Holds(out, {{5, 6}, {3, 4}, {1, 2}}));
    }
}

void CompositeCases(UnitTestRecorder& r, const char* cls) {
    {
        // Real factors run over the interleaved floats, not over whole complex elements.
        VecCplx32 c = C32({{1, 2}, {3, 4}});
        MathUtils::Mul(c, R32({2, 3, 4, 5}));
        VecCplx32 d = C32({{1, 2}, {3, 4}});
        MathUtils::Mul(d, R32({2, 3}));
        r.AddTestRecord(cls, "Mul complex by real",
                        Holds(c, {{2, 6}, {12, 20}}) && Holds(d, {{2, 6}, {3, 4}}));
    }
    {
        VecReal32 out;
        MathUtils::Ave(out, R32({1, 2}), R32({3, 6}));
        VecReal64 out64;
        MathUtils::Ave(out64, R64({1, 2}), R64({2, 2}));
        r.AddTestRecord(cls, "Ave", Holds(out, {2, 4}) && Holds(out64, {1.5, 2}));
    }
    {
        VecCplx64 out;
        MathUtils::Convert(out, C32({{0.5f, -2}, {3, 0.25f}}));
        r.AddTestRecord(cls, "Convert", Holds(out, {{0.5, -2}, {3, 0.25}}));
    }
    {
        VecCplx32 out;
        MathUtils::Expj(out, R32({0, static_cast<float>(kPi / 2), static_cast<float>(kPi)}));
        VecCplx64 out64;
        MathUtils::Expj(out64, R64({0, kPi / 2}));
        r.AddTestRecord(cls, "Expj", Holds(out, {{1, 0}, {0, 1}, {-1, 0}}) && Holds(out64, {{1, 0}, {0, 1}}));
    }
    {
        VecReal32 out;
        MathUtils::Diff(out, R32({1, 4, 9, 16}));
        VecReal64 out64;
        MathUtils::Diff(out64, R64({0.5, 0.25}));
        r.AddTestRecord(cls, "Diff", Holds(out, {3, 5, 7}) && Holds(out64, {-0.25}));
    }
    {
        // With eps 9e-6 the series covers |x| < (120 eps)^(1/4) = 0.1813.
        VecReal32 out;
        MathUtils::Sinc(out, R32({0, 0.1f, 2}), 9e-6f);
        VecReal64 out64;
        MathUtils::Sinc(out64, R64({0, 2}), 9e-6f);
        const double series = 1 - static_cast<double>(0.1f) * static_cast<double>(0.1f) / 6;
        r.AddTestRecord(cls, "Sinc",
                        Holds(out, {1, series, 0.45464871}) && Holds(out64, {1, std::sin(2.0) / 2}));
    }
}

void CopyCases(UnitTestRecorder& r, const char* cls) {
    const VecReal32 src = R32({1, 2, 3, 4, 5});
    {
        VecReal32 dst = R32({0, 0, 0, 0});
        MathUtils::Copy(dst, 1, 2, src, 3);
        VecCplx32 c = C32({{0, 0}, {0, 0}, {0, 0}});
        MathUtils::Copy(2, c, 1, 0, C32({{7, 8}}));
        r.AddTestRecord(cls, "Copy part", Holds(dst, {0, 4, 5, 0}) && Holds(c, {{0, 0}, {0, 0}, {7, 8}}));
    }
    {
        VecReal32 dst;
        MathUtils::Copy(dst, 3, src, 1);
        VecReal32 rest;
        MathUtils::Copy(rest, src, 2);
        VecCplx64 c;
        MathUtils::Copy(c, C64({{1, 1}, {2, 2}, {3, 3}}), 1);
        r.AddTestRecord(cls, "Copy resize",
                        Holds(dst, {2, 3, 4}) && Holds(rest, {3, 4, 5}) && Holds(c, {{2, 2}, {3, 3}}));
    }
    {
        VecInt32 d32;
        MathUtils::Copy(d32, 2, I32({5, -6, 7}), 1);
        VecUInt32 u(3), du;
        u[0] = 1;
        u[1] = 0x80000000u;
        u[2] = 3;
        MathUtils::Copy(du, 2, u, 0);
        VecReal64 mixed, mixedU;
        MathUtils::Copy(mixed, 2, I32({-1, 2, 3}), 0);
        MathUtils::Copy(mixedU, 1, u, 1);
        r.AddTestRecord(cls, "Copy integer", HoldsInts(d32, {-6, 7}) && HoldsInts(du, {1, 0x80000000LL}));
        r.AddTestRecord(cls, "Copy Mixed", Holds(mixed, {-1, 2}) && Holds(mixedU, {2147483648.0}));
    }
    {
        VecReal32 out;
        MathUtils::Append(out, R32({1, 2}), R32({3, 4, 5}));
        VecReal64 part;
        MathUtils::Append(part, R64({1, 2, 3}), 1, 2, R64({4, 5, 6}), 2, 1);
        r.AddTestRecord(cls, "Append", Holds(out, {1, 2, 3, 4, 5}) && Holds(part, {2, 3, 6}));
    }
    {
        VecReal32 out;
        MathUtils::Interleave(out, R32({1, 2}), R32({3, 4}));
        VecCplx32 c;
        MathUtils::Interleave(c, C32({{1, 1}}), C32({{2, 2}}));
        r.AddTestRecord(cls, "Interleave", Holds(out, {1, 3, 2, 4}) && Holds(c, {{1, 1}, {2, 2}}));
    }
    {
        VecReal32 v = R32({1, 9, 2, 9, 5});
        MathUtils::DeleteElement(v, I32({1, 3}));
        VecReal64 w = R64({1, 2, 3});
        MathUtils::DeleteElement(w, I32({0}));
        r.AddTestRecord(cls, "DeleteElement", Holds(v, {1, 2, 5}) && Holds(w, {2, 3}));
    }
}

void MatrixCases(UnitTestRecorder& r, const char* cls) {
    MatReal32 a;
    const float pa[6] = {1, 2, 3, 4, 5, 6};
    a.Import(pa, 2, 3);
    MatReal64 a64;
    const double pa64[6] = {1, 2, 3, 4, 5, 6};
    a64.Import(pa64, 2, 3);
    {
        VecReal32 out;
        MathUtils::Mul(out, a, R32({1, 0, -1}));
        VecReal64 out64;
        MathUtils::Mul(out64, a64, R64({0.5, 1, 2}));
        r.AddTestRecord(cls, "Mul matrix-vector", Holds(out, {-2, -2}) && Holds(out64, {8.5, 19}));
    }
    {
        MatReal32 b, out;
        const float pb[6] = {1, 0, 0, 1, 2, -1};  // 3 x 2
        b.Import(pb, 3, 2);
        MathUtils::Mul(out, a, b);
        MatReal64 b64, out64;
        const double pb64[6] = {1, 0, 0, 1, 2, -1};
        b64.Import(pb64, 3, 2);
        MathUtils::Mul(out64, a64, b64);
        r.AddTestRecord(cls, "Mul matrix-matrix",
                        HoldsMat(out, 2, 2, {7, -1, 16, -1}) && HoldsMat(out64, 2, 2, {7, -1, 16, -1}));
    }
    {
        MatReal32 t;
        MathUtils::Trns(t, a);
        MatReal64 t64;
        MathUtils::Trns(t64, a64);
        r.AddTestRecord(cls, "Trns",
                        HoldsMat(t, 3, 2, {1, 4, 2, 5, 3, 6}) && HoldsMat(t64, 3, 2, {1, 4, 2, 5, 3, 6}));
    }
    {
        MatReal32 e(4, 4);
        MathUtils::Eye(e, 3);
        MatReal64 e64;
        MathUtils::Eye(e64, 2);
        r.AddTestRecord(cls, "Eye",
                        HoldsMat(e, 3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1}) && e.GetCapacity() == 16 &&
                            HoldsMat(e64, 2, 2, {1, 0, 0, 1}));
    }
    {
        MatReal32 m, inv;
        const float pm[4] = {4, 7, 2, 6};
        m.Import(pm, 2, 2);
        MathUtils::Inv(inv, m);
        MatReal64 m64, inv64;
        const double pm64[4] = {4, 7, 2, 6};
        m64.Import(pm64, 2, 2);
        MathUtils::Inv(inv64, m64);
        r.AddTestRecord(
            cls, "Inv",
            HoldsMat(inv, 2, 2, {0.6, -0.7, -0.2, 0.4}) && HoldsMat(inv64, 2, 2, {0.6, -0.7, -0.2, 0.4}));
    }
    {
        // Not symmetric, so a transposed result would show.
        MatReal32 m, inv, prod, eye;
        const float pm[9] = {2, -1, 0, 1, 3, 1, 0, 2, 4};
        m.Import(pm, 3, 3);
        MathUtils::Inv(inv, m);
        MathUtils::Mul(prod, m, inv);
        MathUtils::Eye(eye, 3);
        MatReal64 m64, inv64, prod64, eye64;
        const double pm64[9] = {2, -1, 0, 1, 3, 1, 0, 2, 4};
        m64.Import(pm64, 3, 3);
        MathUtils::Inv(inv64, m64);
        MathUtils::Mul(prod64, inv64, m64);
        MathUtils::Eye(eye64, 3);
        r.AddTestRecord(cls, "Mul by Inv is Eye", prod.IsEqual(eye, kTol32) && prod64.IsEqual(eye64, kTol64));
    }
    {
        r.AddTestRecord(cls, "SumRow", MathUtils::SumRow(a, 1) == 15.0f && MathUtils::SumRow(a, 0) == 6.0f);
        r.AddTestRecord(cls, "SumCol", MathUtils::SumCol(a, 2) == 9.0f && MathUtils::SumCol(a, 0) == 5.0f);
    }
}

}  // namespace

bool MathUtils::UnitTest(UnitTestRecorder& recorder) {
    ScalarCases(recorder, "MathUtils");
    ElementCases(recorder, "MathUtils");
    CompositeCases(recorder, "MathUtils");
    CopyCases(recorder, "MathUtils");
    MatrixCases(recorder, "MatUtils");
    return true;
}

}  // namespace VELA
