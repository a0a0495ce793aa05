// FT: the general transform (any length, real and complex, 32 and 64 bit, plans cached per object).
#include <corvane/dsp/FT.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "kernel/FFTPlan.h"
#include "kernel/Memory.h"
#include "support/NaiveDft.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

// {0, 1, 2, 3} and its transforms with the flag 2: forward unscaled, inverse divided by 4.
const std::vector<double> kRamp = {0, 1, 2, 3};
const std::vector<double> kRampForward = {6, 0, -2, 2, -2, 0, -2, -2};
const std::vector<double> kRampInverse = {1.5, 0, -0.5, -0.5, -0.5, 0, -0.5, 0.5};

// Interleaved complex random data of n points.
std::vector<double> RandomComplex(int n, unsigned seed) {
    return Uniform(2 * static_cast<size_t>(n), seed);
}

// A complex vector of either precision from interleaved data.
template <class Vec>
Vec MakeComplex(const std::vector<double>& z) {
    if constexpr (std::is_same_v<Vec, VecCplx32>)
        return MakeCplx32(z);
    else
        return MakeCplx64(z);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Worked figures

TEST(FT, ComplexForwardOfRamp) {
    FT ft(2, VELAAlgorithmAccurate);
    VecCplx32 in(4), out;
    for (int i = 0; i < 4; ++i)
        in[i] = {float(i), 0};
    ft.Forward(out, in);
    const Cplx32 expected[] = {{6, 0}, {-2, 2}, {-2, 0}, {-2, -2}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(out[i].re, expected[i].re, 9e-6);
        EXPECT_NEAR(out[i].im, expected[i].im, 9e-6);
    }
}

TEST(FT, ComplexInverseOfRampIsDividedByTheLength) {
    FT ft(2, VELAAlgorithmAccurate);
    VecCplx32 out;
    ft.Inverse(out, MakeCplx32(Complexify(kRamp)));
    EXPECT_TRUE(NearAbs(ToDoubles(out), kRampInverse, 9e-6));
}

TEST(FT, DoubleComplexTransformsOfRamp) {
    FT ft(2, VELAAlgorithmAccurate);
    VecCplx64 fwd, inv;
    ft.Forward(fwd, MakeCplx64(Complexify(kRamp)));
    ft.Inverse(inv, MakeCplx64(Complexify(kRamp)));
    EXPECT_TRUE(NearAbs(ToDoubles(fwd), kRampForward, 1e-14));
    EXPECT_TRUE(NearAbs(ToDoubles(inv), kRampInverse, 1e-14));
}

TEST(FT, RealForwardGivesTheFullFourPointSpectrum) {
    FT ft(2, VELAAlgorithmAccurate);
    VecCplx32 out32;
    ft.Forward(out32, MakeReal32(kRamp));
    EXPECT_EQ(out32.GetSize(), 4);
    EXPECT_TRUE(NearAbs(ToDoubles(out32), kRampForward, 9e-6));
    VecCplx64 out64;
    ft.Forward(out64, MakeReal64(kRamp));
    EXPECT_TRUE(NearAbs(ToDoubles(out64), kRampForward, 1e-14));
}

TEST(FT, RealInverseOfTheSpectrumGivesTheRampBack) {
    FT ft(2, VELAAlgorithmAccurate);
    VecReal32 back32;
    ft.Inverse(back32, MakeCplx32(kRampForward));
    EXPECT_EQ(back32.GetSize(), 4);
    EXPECT_TRUE(NearAbs(ToDoubles(back32), kRamp, 9e-6));
    VecReal64 back64;
    ft.Inverse(back64, MakeCplx64(kRampForward));
    EXPECT_TRUE(NearAbs(ToDoubles(back64), kRamp, 1e-14));
}

TEST(FT, RealInverseIgnoresTheUpperHalf) {
    FT ft;
    std::vector<double> spectrum = kRampForward;
    spectrum[6] = 123;  // bin 3, above n/2: not read
    spectrum[7] = -77;
    VecReal32 back;
    ft.Inverse(back, MakeCplx32(spectrum));
    EXPECT_TRUE(NearAbs(ToDoubles(back), kRamp, 9e-6));
}

TEST(FT, DefaultObjectUsesFlagTwo) {
    FT ft;
    VecCplx32 fwd, inv;
    ft.Forward(fwd, MakeCplx32(Complexify(kRamp)));
    ft.Inverse(inv, MakeCplx32(Complexify(kRamp)));
    EXPECT_TRUE(NearAbs(ToDoubles(fwd), kRampForward, 9e-6));
    EXPECT_TRUE(NearAbs(ToDoubles(inv), kRampInverse, 9e-6));
}

TEST(FT, OtherNormalisationFlagsScaleAsDocumented) {
    const VecCplx64 in = MakeCplx64(Complexify(kRamp));
    auto scaled = [](const std::vector<double>& v, double c) {
        std::vector<double> r = v;
        for (auto& e : r)
            e *= c;
        return r;
    };
    VecCplx64 fwd, inv;
    FT divideForward(1, VELAAlgorithmAccurate);
    divideForward.Forward(fwd, in);
    divideForward.Inverse(inv, in);
    EXPECT_TRUE(NearAbs(ToDoubles(fwd), scaled(kRampForward, 0.25), 1e-14));
    EXPECT_TRUE(NearAbs(ToDoubles(inv), scaled(kRampInverse, 4.0), 1e-14));
    FT divideBoth(4, VELAAlgorithmAccurate);
    divideBoth.Forward(fwd, in);
    divideBoth.Inverse(inv, in);
    EXPECT_TRUE(NearAbs(ToDoubles(fwd), scaled(kRampForward, 0.5), 1e-14));
    EXPECT_TRUE(NearAbs(ToDoubles(inv), scaled(kRampInverse, 2.0), 1e-14));
    FT divideNeither(8, VELAAlgorithmAccurate);
    divideNeither.Forward(fwd, in);
    divideNeither.Inverse(inv, in);
    EXPECT_TRUE(NearAbs(ToDoubles(fwd), kRampForward, 1e-14));
    EXPECT_TRUE(NearAbs(ToDoubles(inv), scaled(kRampInverse, 4.0), 1e-14));
}

// ---------------------------------------------------------------------------------------------
// Plans and the work buffer

TEST(FT, EnumerationsHoldAnyThirtyTwoBitValue) {
    // Callers pass other values through (the algorithm hint is handed on unread): a fixed underlying
    // type makes every int32 value a valid value of the enumeration.
    static_assert(std::is_same_v<std::underlying_type_t<FTType>, int32_t>);
    static_assert(std::is_same_v<std::underlying_type_t<VELAAlgorithm>, int32_t>);
    FT ft(2, static_cast<VELAAlgorithm>(1000));
    VecCplx32 in(4), out;
    in.SetZero();
    in[0] = {1.0f, 0.0f};
    ft.Forward(out, in);
    ASSERT_EQ(out.GetSize(), 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(out[i].re, 1.0f);
}

TEST(FT, NoPlanBeforeTheFirstTransform) {
    FT ft;
    EXPECT_EQ(ft.GetPlanCount(), 0);
    EXPECT_EQ(ft.GetWorkBufferSize(), 0u);
}

TEST(FT, TwoAlternatingLengthsMakeTwoPlans) {
    FT ft;
    const VecCplx32 a = MakeCplx32(RandomComplex(64, 1)), b = MakeCplx32(RandomComplex(100, 2));
    VecCplx32 out;
    for (int round = 0; round < 5; ++round) {
        ft.Forward(out, a);
        ft.Forward(out, b);
        ft.Inverse(out, a);  // the inverse shares the length's plan
        ft.Inverse(out, b);
    }
    EXPECT_EQ(ft.GetPlanCount(), 2);
}

TEST(FT, ThirtyTwoAndSixtyFourBitOfOneLengthMakeTwoPlans) {
    FT ft;
    VecCplx32 out32;
    VecCplx64 out64;
    ft.Forward(out32, MakeCplx32(RandomComplex(48, 3)));
    ft.Forward(out64, MakeCplx64(RandomComplex(48, 3)));
    ft.Forward(out32, MakeCplx32(RandomComplex(48, 4)));
    EXPECT_EQ(ft.GetPlanCount(), 2);
}

TEST(FT, RealAndComplexOfOneLengthMakeTwoPlans) {
    FT ft;
    VecCplx32 spectrum;
    VecReal32 back;
    ft.Forward(spectrum, MakeReal32(Uniform(48, 5)));
    ft.Inverse(back, spectrum);  // the real inverse shares the real plan
    EXPECT_EQ(ft.GetPlanCount(), 1);
    ft.Forward(spectrum, spectrum);
    EXPECT_EQ(ft.GetPlanCount(), 2);
}

TEST(FT, WorkBufferGrowsAndNeverShrinks) {
    FT ft;
    VecCplx32 out;
    ft.Forward(out, MakeCplx32(RandomComplex(1000, 6)));
    const size_t afterLong = ft.GetWorkBufferSize();
    EXPECT_GT(afterLong, 0);
    const VecCplx32 shortIn = MakeCplx32(RandomComplex(10, 7));
    ft.Forward(out, shortIn);  // runs in the larger buffer
    EXPECT_EQ(ft.GetWorkBufferSize(), afterLong);
    EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(ToDoubles(shortIn), false), 1e-6));
    ft.Forward(out, MakeCplx32(RandomComplex(4000, 8)));
    const size_t afterLonger = ft.GetWorkBufferSize();
    EXPECT_GT(afterLonger, afterLong);
    ft.Forward(out, MakeCplx32(RandomComplex(1000, 9)));
    EXPECT_EQ(ft.GetWorkBufferSize(), afterLonger);
}

TEST(FT, SteadyTransformsAllocateNothing) {
    FT ft;
    const VecCplx32 c = MakeCplx32(RandomComplex(512, 10));
    VecReal32 r = MakeReal32(Uniform(512, 11));
    VecCplx32 out;
    VecReal32 back;
    ft.Forward(out, c);
    ft.Inverse(out, c);
    ft.Forward(out, r);
    ft.Inverse(back, out);
    const long long before = kern::AllocationCount();
    for (int i = 0; i < 10; ++i) {
        ft.Forward(out, c);
        ft.Inverse(out, c);
        ft.Forward(out, r);
        ft.Inverse(back, out);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
}

// ---------------------------------------------------------------------------------------------
// Output sizing, lengths without a special path

TEST(FT, OutputIsResizedToTheInputLength) {
    FT ft;
    VecCplx32 big(100);
    ft.Forward(big, MakeCplx32(RandomComplex(10, 12)));
    EXPECT_EQ(big.GetSize(), 10);
    EXPECT_EQ(big.GetCapacity(), 100);
    VecCplx32 small(2);
    ft.Forward(small, MakeCplx32(RandomComplex(10, 12)));
    EXPECT_EQ(small.GetSize(), 10);
    EXPECT_EQ(small.GetCapacity(), 10);
}

TEST(FT, AViewAsOutputIsResetToTheStartOfItsStorage) {
    FT ft;
    VecCplx32 out(16);
    const Cplx32* block = out.Data();
    out.ShiftLeft(3);
    ft.Forward(out, MakeCplx32(RandomComplex(16, 13)));
    EXPECT_EQ(out.Data(), block);
    EXPECT_EQ(out.GetSize(), 16);
}

TEST(FT, LengthOneIsTheIdentity) {
    FT ft;
    VecCplx32 c(1), out;
    c[0] = {2.5f, -1.5f};
    ft.Forward(out, c);
    EXPECT_EQ(out[0].re, 2.5f);
    EXPECT_EQ(out[0].im, -1.5f);
    ft.Inverse(out, c);
    EXPECT_EQ(out[0].re, 2.5f);
    EXPECT_EQ(out[0].im, -1.5f);
    VecReal64 r(1);
    r[0] = -4;
    VecCplx64 spectrum;
    ft.Forward(spectrum, r);
    EXPECT_EQ(spectrum.GetSize(), 1);
    EXPECT_EQ(spectrum[0].re, -4.0);
    EXPECT_EQ(spectrum[0].im, 0.0);
    VecReal64 back;
    ft.Inverse(back, spectrum);
    EXPECT_EQ(back[0], -4.0);
}

TEST(FT, SmallPrimeLengthsMatchADirectTransform) {
    FT ft;
    for (int n : {2, 3, 5, 7, 11, 13, 17, 97, 251}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const std::vector<double> z = RandomComplex(n, 20 + static_cast<unsigned>(n));
        VecCplx64 fwd, inv;
        ft.Forward(fwd, MakeCplx64(z));
        ft.Inverse(inv, MakeCplx64(z));
        EXPECT_TRUE(NearL2(ToDoubles(fwd), NaiveDft(z, false), 1e-13));
        EXPECT_TRUE(NearL2(ToDoubles(inv), NaiveDft(z, true), 1e-13));
        const std::vector<double> x =
            RoundToFloat(Uniform(static_cast<size_t>(n), 40 + static_cast<unsigned>(n)));
        VecCplx32 spectrum;
        ft.Forward(spectrum, MakeReal32(x));
        EXPECT_TRUE(NearL2(ToDoubles(spectrum), NaiveDft(Complexify(x), false), 1e-6));
    }
}

TEST(FT, EnergyIsConservedUpToTheLength) {
    // Parseval: sum |X|^2 = n sum |x|^2 with the unscaled forward transform.
    FT ft;
    for (int n : {64, 1000, 4099}) {
        const std::vector<double> z = RoundToFloat(RandomComplex(n, 50 + static_cast<unsigned>(n)));
        VecCplx32 out;
        ft.Forward(out, MakeCplx32(z));
        double ex = 0, eX = 0;
        for (double v : z)
            ex += v * v;
        for (double v : ToDoubles(out))
            eX += v * v;
        EXPECT_NEAR(eX / (n * ex), 1.0, 2e-6) << "n = " << n;
    }
}

// A long transform; the input is an unaligned view, so it is staged through the work buffer.
TEST(FT, LargeTransformOfAViewMatchesDirectSumsAndRoundTrips) {
    const int n = 1 << 18;
    const std::vector<double> z = RoundToFloat(RandomComplex(n + 1, 80));
    VecCplx32 in = MakeCplx32(z);
    in.ShiftLeft(1);
    FT ft;
    VecCplx32 spectrum, back;
    ft.Forward(spectrum, in);
    for (int k : {0, 1, 12345, n / 2, n - 1}) {
        double re = 0, im = 0;
        for (int j = 0; j < n; ++j) {
            const double a = -2.0 * M_PI * static_cast<double>((static_cast<long long>(j) * k) % n) / n;
            const double x = z[2 * static_cast<size_t>(j + 1)], y = z[2 * static_cast<size_t>(j + 1) + 1];
            re += x * std::cos(a) - y * std::sin(a);
            im += x * std::sin(a) + y * std::cos(a);
        }
        // Each bin sums n terms of size ~1: compare with the size of the whole spectrum, sqrt(n) per bin.
        EXPECT_NEAR(spectrum[k].re, re, 1e-5 * std::sqrt(static_cast<double>(n))) << "bin " << k;
        EXPECT_NEAR(spectrum[k].im, im, 1e-5 * std::sqrt(static_cast<double>(n))) << "bin " << k;
    }
    ft.Inverse(back, spectrum);
    const std::vector<double> window(z.begin() + 2, z.end());
    EXPECT_TRUE(NearL2(ToDoubles(back), window, 1e-6));
}

// ---------------------------------------------------------------------------------------------
// Views and in-place calls

TEST(FT, ComplexTransformsOfUnalignedViews) {
    FT ft;
    const int n = 1000;
    const std::vector<double> z = RoundToFloat(RandomComplex(n + 8, 60));
    // Starts 8, 16 and 24 bytes into the block: unaligned for SIMD, and 16-byte but not 32-byte aligned.
    for (int shift : {1, 2, 3}) {
        SCOPED_TRACE("shift " + std::to_string(shift));
        VecCplx32 in = MakeCplx32(z);
        in.ShiftLeft(shift);
        in.Truncate(0, n);
        const std::vector<double> window(z.begin() + 2 * shift, z.begin() + 2 * (shift + n));
        VecCplx32 out;
        ft.Forward(out, in);
        EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(window, false), 1e-6));
        ft.Inverse(out, in);
        EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(window, true), 1e-6));
        VecCplx64 in64 = MakeCplx64(z);
        in64.Truncate(shift, n);
        VecCplx64 out64;
        ft.Forward(out64, in64);
        EXPECT_TRUE(NearL2(ToDoubles(out64), NaiveDft(window, false), 1e-13));
    }
    // One plan per kind and length, whatever the alignment of the data.
    EXPECT_EQ(ft.GetPlanCount(), 2);
}

TEST(FT, RealTransformsOfUnalignedViews) {
    FT ft;
    const int n = 999;
    const std::vector<double> x = RoundToFloat(Uniform(n + 4, 61));
    for (int shift : {1, 2, 4}) {
        SCOPED_TRACE("shift " + std::to_string(shift));
        const std::vector<double> window(x.begin() + shift, x.begin() + shift + n);
        VecReal32 in = MakeReal32(x);
        in.ShiftLeft(shift);
        in.Truncate(0, n);
        VecCplx32 spectrum;
        ft.Forward(spectrum, in);
        const std::vector<double> expected = NaiveDft(Complexify(window), false);
        EXPECT_TRUE(NearL2(ToDoubles(spectrum), expected, 1e-6));
        // The inverse from a view of the spectrum.
        VecCplx32 padded(n + shift);
        for (int i = 0; i < n; ++i)
            padded[i + shift] = spectrum[i];
        padded.ShiftLeft(shift);
        VecReal32 back;
        ft.Inverse(back, padded);
        EXPECT_TRUE(NearL2(ToDoubles(back), window, 1e-6));
        VecReal64 in64 = MakeReal64(x);
        in64.Truncate(shift, n);
        VecCplx64 spectrum64;
        ft.Forward(spectrum64, in64);
        EXPECT_TRUE(NearL2(ToDoubles(spectrum64), expected, 1e-13));
    }
}

TEST(FT, ViewsAreTransformedWithoutPlanningOnTheDataPath) {
    // A view's input is staged into the aligned work buffer, so the plans made when the length was
    // first met serve it: the data path never calls the planner (which would take seconds for a long
    // transform measured there).
    FT ft;
    const int n = 4096;
    const std::vector<double> z = RoundToFloat(RandomComplex(n + 8, 62));
    VecCplx32 aligned = MakeCplx32(z), out;
    VecReal32 real = MakeReal32(std::vector<double>(z.begin(), z.begin() + n + 3));
    VecCplx64 aligned64 = MakeCplx64(z), out64;
    VecReal64 real64 = MakeReal64(std::vector<double>(z.begin(), z.begin() + n + 3));
    aligned.Truncate(0, n);
    aligned64.Truncate(0, n);
    ft.Forward(out, aligned);
    ft.Inverse(out, aligned);
    ft.Forward(out64, aligned64);
    ft.Inverse(out64, aligned64);
    real.Truncate(0, n);
    real64.Truncate(0, n);
    VecReal32 back;
    VecReal64 back64;
    ft.Forward(out, real);
    ft.Inverse(back, out);
    ft.Forward(out64, real64);
    ft.Inverse(back64, out64);
    const long long planned = kern::FFTPlannerCalls();
    for (int shift : {1, 2, 3}) {
        VecCplx32 view = MakeCplx32(z);
        view.Truncate(shift, n);
        ft.Forward(out, view);
        ft.Inverse(out, view);
        ft.Forward(view, view);  // in place on a view
        VecCplx64 view64 = MakeCplx64(z);
        view64.Truncate(shift, n);
        ft.Forward(out64, view64);
        VecReal32 rview = MakeReal32(std::vector<double>(z.begin(), z.begin() + n + 3));
        rview.Truncate(shift, n);
        ft.Forward(out, rview);
        VecReal64 rview64 = MakeReal64(std::vector<double>(z.begin(), z.begin() + n + 3));
        rview64.Truncate(shift, n);
        ft.Forward(out64, rview64);
    }
    EXPECT_EQ(kern::FFTPlannerCalls(), planned);
}

TEST(FT, WorkBufferSizeOfLongTransformsIsNotAnInt) {
    // 2^28 double-precision complex points need 2^32 bytes of work buffer: the size must not wrap to 0
    // (a buffer that never grows, and a staging copy that overruns it).
    EXPECT_EQ(kern::FFTWorkBytes(kern::FFTKind::C64, 1 << 28), size_t{1} << 32);
    EXPECT_EQ(kern::FFTWorkBytes(kern::FFTKind::C32, INT_MAX), size_t{8} * INT_MAX);
    EXPECT_EQ(kern::FFTWorkBytes(kern::FFTKind::R64, 1 << 27), size_t{1} << 31);
    EXPECT_EQ(kern::FFTWorkBytes(kern::FFTKind::C32, 0), 0u);
}

TEST(FT, InPlaceComplexTransformsMatchOutOfPlace) {
    FT ft;
    for (int n : {1, 7, 64, 1000}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const std::vector<double> z = RoundToFloat(RandomComplex(n, 70 + static_cast<unsigned>(n)));
        VecCplx32 v = MakeCplx32(z);
        ft.Forward(v, v);
        EXPECT_TRUE(NearL2(ToDoubles(v), NaiveDft(z, false), 1e-6));
        ft.Inverse(v, v);
        EXPECT_TRUE(NearL2(ToDoubles(v), z, 1e-6));
        VecCplx64 w = MakeCplx64(z);
        ft.Inverse(w, w);
        EXPECT_TRUE(NearL2(ToDoubles(w), NaiveDft(z, true), 1e-13));
        ft.Forward(w, w);
        EXPECT_TRUE(NearL2(ToDoubles(w), z, 1e-13));
    }
}

// ---------------------------------------------------------------------------------------------
// Against numpy.fft: random data, awkward lengths, both directions. One python run per kind.

namespace {

const std::vector<int> kNumpyLengths = {1, 2, 3, 7, 64, 1000, 4099, 65536};

std::string NumpyList() {
    std::string s = "[";
    for (size_t i = 0; i < kNumpyLengths.size(); ++i)
        s += (i ? ", a" : "a") + std::to_string(i);
    return s + "]";
}

// Complex inputs of every length; numpy's forward and inverse (ifft divides by n) of each, in order.
template <class Vec>
void CheckComplexAgainstNumpy(bool isFloat, double tol) {
    std::vector<std::vector<double>> inputs;
    for (size_t k = 0; k < kNumpyLengths.size(); ++k) {
        auto z = RandomComplex(kNumpyLengths[k], 1000 + static_cast<unsigned>(k));
        inputs.push_back(isFloat ? RoundToFloat(z) : z);
    }
    const std::vector<double> ref = PyEval(
        "res = []\n"
        "for a in " +
            NumpyList() +
            ":\n"
            "    z = a[0::2] + 1j * a[1::2]\n"
            "    res += [np.fft.fft(z), np.fft.ifft(z)]\n"
            "out = np.concatenate(res)\n",
        inputs);
    FT ft;
    size_t at = 0;
    for (size_t k = 0; k < kNumpyLengths.size(); ++k) {
        const int n = kNumpyLengths[k];
        SCOPED_TRACE("n = " + std::to_string(n));
        const size_t len = 2 * static_cast<size_t>(n);
        ASSERT_GE(ref.size(), at + 2 * len);
        const std::vector<double> fwd(ref.begin() + at, ref.begin() + at + len);
        const std::vector<double> inv(ref.begin() + at + len, ref.begin() + at + 2 * len);
        at += 2 * len;
        const Vec in = MakeComplex<Vec>(inputs[k]);
        Vec out;
        ft.Forward(out, in);
        EXPECT_TRUE(NearL2(ToDoubles(out), fwd, tol)) << "forward";
        ft.Inverse(out, in);
        EXPECT_TRUE(NearL2(ToDoubles(out), inv, tol)) << "inverse";
    }
    EXPECT_EQ(at, ref.size());
}

// Real forward of real data against numpy's full spectrum; real inverse of a full-layout spectrum,
// whose upper half is noise that must be ignored, against irfft of bins 0..n/2.
template <class Real, class Cplx>
void CheckRealAgainstNumpy(bool isFloat, double tol) {
    std::vector<std::vector<double>> inputs;
    std::vector<std::vector<double>> spectra;
    for (size_t k = 0; k < kNumpyLengths.size(); ++k) {
        const size_t n = static_cast<size_t>(kNumpyLengths[k]);
        auto x = Uniform(n, 2000 + static_cast<unsigned>(k));
        auto y = Uniform(2 * n, 3000 + static_cast<unsigned>(k), -10, 10);
        inputs.push_back(isFloat ? RoundToFloat(x) : x);
        spectra.push_back(isFloat ? RoundToFloat(y) : y);
    }
    std::vector<std::vector<double>> all = inputs;
    all.insert(all.end(), spectra.begin(), spectra.end());
    std::string spectraList = "[";
    for (size_t i = 0; i < kNumpyLengths.size(); ++i)
        spectraList += (i ? ", a" : "a") + std::to_string(kNumpyLengths.size() + i);
    spectraList += "]";
    const std::vector<double> ref = PyEval(
        "res = []\n"
        "for x, y in zip(" +
            NumpyList() + ", " + spectraList +
            "):\n"
            "    n = x.size\n"
            "    h = (y[0::2] + 1j * y[1::2])[:n // 2 + 1]\n"
            "    res += [np.fft.fft(x), np.fft.irfft(h, n).astype(complex)]\n"
            "out = np.concatenate(res)\n",
        all);
    FT ft;
    size_t at = 0;
    for (size_t k = 0; k < kNumpyLengths.size(); ++k) {
        const int n = kNumpyLengths[k];
        SCOPED_TRACE("n = " + std::to_string(n));
        const size_t len = static_cast<size_t>(n);
        ASSERT_GE(ref.size(), at + 4 * len);
        const std::vector<double> fwd(ref.begin() + at, ref.begin() + at + 2 * len);
        std::vector<double> inv(len);
        for (size_t i = 0; i < len; ++i)
            inv[i] = ref[at + 2 * len + 2 * i];  // real parts
        at += 4 * len;
        Real in, back;
        in.Import(inputs[k].data(), n);
        Cplx spectrum;
        ft.Forward(spectrum, in);
        EXPECT_TRUE(NearL2(ToDoubles(spectrum), fwd, tol)) << "forward";
        const Cplx given = MakeComplex<Cplx>(spectra[k]);
        ft.Inverse(back, given);
        EXPECT_TRUE(NearL2(ToDoubles(back), inv, tol)) << "inverse";
    }
    EXPECT_EQ(at, ref.size());
}

}  // namespace

TEST(FT, ComplexFloatTransformsAgreeWithNumpy) {
    CheckComplexAgainstNumpy<VecCplx32>(true, 1e-6);
}
TEST(FT, ComplexDoubleTransformsAgreeWithNumpy) {
    CheckComplexAgainstNumpy<VecCplx64>(false, 1e-13);
}
TEST(FT, RealFloatTransformsAgreeWithNumpy) {
    CheckRealAgainstNumpy<VecReal32, VecCplx32>(true, 1e-6);
}
TEST(FT, RealDoubleTransformsAgreeWithNumpy) {
    CheckRealAgainstNumpy<VecReal64, VecCplx64>(false, 1e-13);
}

// ---------------------------------------------------------------------------------------------
// Threads: two objects on two threads, planning and transforming at once.

TEST(FT, TwoThreadsWithTheirOwnObjectsTransformCorrectly) {
    std::vector<int> lengths;
    for (int n = 1; n <= 40; ++n)
        lengths.push_back(n);
    for (int n : {64, 97, 100, 127, 128, 200, 243, 256})
        lengths.push_back(n);
    // Inputs and direct transforms are prepared here; the threads only transform and measure.
    std::vector<std::vector<double>> inputs, expected;
    for (int n : lengths) {
        inputs.push_back(RoundToFloat(RandomComplex(n, 5000 + static_cast<unsigned>(n))));
        expected.push_back(NaiveDft(inputs.back(), false));
    }
    const int rounds = 3;
    auto work = [&](int thread, std::vector<double>* worst) {
        for (int round = 0; round < rounds; ++round) {
            FT ft;  // a new object each round: its plans are made while the other thread plans too
            for (size_t k = 0; k < lengths.size(); ++k) {
                // The two threads walk the lengths in opposite orders.
                const size_t i = thread == 0 ? k : lengths.size() - 1 - k;
                const VecCplx32 in32 = MakeCplx32(inputs[i]);
                const VecCplx64 in64 = MakeCplx64(inputs[i]);
                VecCplx32 out32;
                VecCplx64 out64;
                ft.Forward(out32, in32);
                ft.Forward(out64, in64);
                const double e32 = Compare(ToDoubles(out32), expected[i]).relL2;
                const double e64 = Compare(ToDoubles(out64), expected[i]).relL2;
                (*worst)[2 * i] = std::max((*worst)[2 * i], e32);
                (*worst)[2 * i + 1] = std::max((*worst)[2 * i + 1], e64);
            }
        }
    };
    std::vector<double> worst0(2 * lengths.size(), 0.0), worst1(2 * lengths.size(), 0.0);
    std::thread t0(work, 0, &worst0), t1(work, 1, &worst1);
    t0.join();
    t1.join();
    for (size_t i = 0; i < lengths.size(); ++i) {
        SCOPED_TRACE("n = " + std::to_string(lengths[i]));
        EXPECT_LE(worst0[2 * i], 1e-6);
        EXPECT_LE(worst1[2 * i], 1e-6);
        EXPECT_LE(worst0[2 * i + 1], 1e-13);
        EXPECT_LE(worst1[2 * i + 1], 1e-13);
    }
}
