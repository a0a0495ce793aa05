// ChirpZ against the plain transform, against scipy.signal.czt, and at large sizes in single precision.
#include <corvane/dsp/ChirpZ.h>
#include <corvane/dsp/DSPUtils.h>
#include <corvane/dsp/FT.h>
#include <corvane/dsp/WindowFactory.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/MathUtils.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <sstream>

#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearL2;
using corvane_test::PyEval;
using corvane_test::ScopedWorkDir;
using corvane_test::Uniform;

namespace {

constexpr double kTwoPiF = 6.2831854820251465;  // the float nearest to 2pi, widened

template <class V>
std::vector<double> Flat(const V& v) {
    std::vector<double> out;
    for (int i = 0; i < v.GetSize(); ++i) {
        out.push_back(v[i].re);
        out.push_back(v[i].im);
    }
    return out;
}

template <class V>
V Random(int n, unsigned seed) {
    std::vector<double> u = Uniform(2 * static_cast<size_t>(n), seed);
    V v(n);
    for (int i = 0; i < n; ++i) {
        v[i].re = static_cast<decltype(v[i].re)>(u[2 * i]);
        v[i].im = static_cast<decltype(v[i].im)>(u[2 * i + 1]);
    }
    return v;
}

// Python that evaluates scipy's czt for each case described by the rows of a1 (n, m, fs, f0, df),
// reading the inputs one after the other from a0 (interleaved re, im) and concatenating the outputs.
const char* kCztScript = R"(
from scipy.signal import czt
TWO_PI = 6.2831854820251465
x = a0[0::2] + 1j * a0[1::2]
cases = a1.reshape(-1, 5)
pos, res = 0, []
for n, m, fs, f0, df in cases:
    n, m = int(n), int(m)
    w = np.exp(-1j * TWO_PI * df / fs)
    a = np.exp(1j * TWO_PI * f0 / fs)
    res.append(czt(x[pos:pos + n], m, w, a))
    pos += n
out = np.concatenate(res)
)";

}  // namespace

TEST(ChirpZ, FullBandEqualsForwardTransform32) {
    VecCplx32 ramp(8), viaFT, viaCZT;
    for (int i = 0; i < 8; ++i)
        ramp[i] = {float(i), 0};
    FT ft;
    ft.Forward(viaFT, ramp);
    ChirpZ czt(8, 1.0, 8, 0.0, 0.125, false);
    czt.Apply(viaCZT, ramp);
    ASSERT_EQ(viaCZT.GetSize(), 8);
    EXPECT_TRUE(corvane_test::NearAbs(Flat(viaCZT), Flat(viaFT), 5e-5));
}

TEST(ChirpZ, FullBandEqualsForwardTransform64) {
    VecCplx64 ramp(8), viaFT, viaCZT;
    for (int i = 0; i < 8; ++i)
        ramp[i] = {double(i), 0};
    FT ft;
    ft.Forward(viaFT, ramp);
    ChirpZ czt(8, 1.0, 8, 0.0, 0.125, true);
    czt.Apply(viaCZT, ramp);
    EXPECT_TRUE(corvane_test::NearAbs(Flat(viaCZT), Flat(viaFT), 5e-5));
}

TEST(ChirpZ, ChirpLengthFollowsTheLargerOfInputAndOutput) {
    ChirpZ more(8, 1.0, 12, 0.0, 0.1, false);  // M > N: K = N + M - 1
    EXPECT_EQ(more.GetChirpSize(), 19);
    EXPECT_EQ(more.GetFFTSize(), 32);
    ChirpZ one(8, 1.0, 1, 0.0, 0.1, false);  // M < N: K = 2N - 1 exceeds L
    EXPECT_EQ(one.GetChirpSize(), 15);
    EXPECT_EQ(one.GetFFTSize(), 8);
    VecCplx32 block = Random<VecCplx32>(8, 3), out;
    one.Apply(out, block);  // tables filled each to its own size: no overrun (checked under ASan)
    ASSERT_EQ(out.GetSize(), 1);
    double re = 0, im = 0;
    for (int i = 0; i < 8; ++i) {
        re += block[i].re;
        im += block[i].im;
    }
    EXPECT_NEAR(out[0].re, re, 5e-5);
    EXPECT_NEAR(out[0].im, im, 5e-5);
}

TEST(ChirpZ, OutputIsAViewIntoTheTailOfItsStorage) {
    const int n = 8, m = 5;
    ChirpZ czt(n, 1.0, m, 0.1, 0.05, false);
    VecCplx32 block = Random<VecCplx32>(n, 4), out;
    czt.Apply(out, block);
    EXPECT_EQ(out.GetSize(), m);
    EXPECT_EQ(out.GetCapacity(), czt.GetFFTSize());
    const Cplx32 first = out[0];
    out.Resize(n + 1);  // back to the start of the storage, nothing allocated
    EXPECT_EQ(out.GetCapacity(), czt.GetFFTSize());
    EXPECT_EQ(out[n - 1].re, first.re);
    EXPECT_EQ(out[n - 1].im, first.im);
}

TEST(ChirpZ, SteadyApplyAllocatesNothing) {
    ChirpZ czt(1000, 1.0, 700, 0.2, 1e-4, false);
    VecCplx32 block = Random<VecCplx32>(1000, 5), out;
    czt.Apply(out, block);
    const long long before = kern::AllocationCount();
    for (int i = 0; i < 5; ++i)
        czt.Apply(out, block);
    EXPECT_EQ(kern::AllocationCount(), before);
}

TEST(ChirpZ, CopySharesTheTransformAndGivesTheSameResult) {
    // A copy shares the transform object, so only one of the two may be destroyed: the source is kept
    // alive (and reachable) for the rest of the process, the copy is destroyed at the end of the test.
    static ChirpZ* source = new ChirpZ(64, 2.0, 40, -0.5, 0.01, false);
    ChirpZ copy(*source);
    VecCplx32 block = Random<VecCplx32>(64, 6), ra, rb;
    source->Apply(ra, block);
    copy.Apply(rb, block);
    EXPECT_TRUE(rb.IsEqual(ra, 1e-7f));
}

TEST(ChirpZ, MatchesScipyCztAcrossSizes) {
    const int sizes[] = {1, 2, 7, 64, 100, 1000, 4099};
    for (bool wide : {false, true}) {
        std::vector<double> data, params, ours;
        unsigned seed = 100;
        for (int n : sizes)
            for (int m : sizes) {
                const double fs = 1e6, f0 = -2.1e5 + 37.0 * n, df = 0.73e6 / m;
                params.insert(params.end(), {double(n), double(m), fs, f0, df});
                ChirpZ czt(n, fs, m, f0, df, wide);
                if (wide) {
                    VecCplx64 x = Random<VecCplx64>(n, seed++), out;
                    czt.Apply(out, x);
                    auto fx = Flat(x), fo = Flat(out);
                    data.insert(data.end(), fx.begin(), fx.end());
                    ours.insert(ours.end(), fo.begin(), fo.end());
                } else {
                    VecCplx32 x = Random<VecCplx32>(n, seed++), out;
                    czt.Apply(out, x);
                    auto fx = Flat(x), fo = Flat(out);
                    data.insert(data.end(), fx.begin(), fx.end());
                    ours.insert(ours.end(), fo.begin(), fo.end());
                }
            }
        std::vector<double> ref = PyEval(kCztScript, {data, params});
        // Double: the chirp angles n^2 phi / 2 reach ~4e7 rad for these cases, so both sides carry
        // ~1e-9 rad of rounding in their tables; 1e-8 relative is the honest floor, not 1e-13.
        ASSERT_EQ(ref.size(), ours.size());
        // Compare case by case so a failure names its sizes.
        size_t pos = 0;
        for (size_t c = 0; c < params.size() / 5; ++c) {
            const int n = int(params[5 * c]), m = int(params[5 * c + 1]);
            std::vector<double> a(ours.begin() + pos, ours.begin() + pos + 2 * m);
            std::vector<double> b(ref.begin() + pos, ref.begin() + pos + 2 * m);
            EXPECT_TRUE(NearL2(a, b, wide ? 1e-8 : 2e-6)) << "N=" << n << " M=" << m << " wide=" << wide;
            pos += 2 * m;
        }
    }
}

// Long chirps in single precision: the tables come from double angles, so the error stays at the
// level of float arithmetic even when n^2 phi is in the hundreds of thousands of radians.
class ChirpZAtScale : public ::testing::TestWithParam<std::tuple<int, bool>> {};

TEST_P(ChirpZAtScale, SinglePrecisionStaysAccurate) {
    const int n = std::get<0>(GetParam());
    const bool narrow = std::get<1>(GetParam());
    const double fs = 1.0, f0 = narrow ? 0.1234 : -0.5, df = narrow ? 1e-3 / n : 1.0 / n;
    ChirpZ czt(n, fs, n, f0, df, false);
    VecCplx32 x = Random<VecCplx32>(n, 77), out;
    czt.Apply(out, x);
    std::vector<double> params = {double(n), double(n), fs, f0, df};
    std::vector<double> ref = PyEval(kCztScript, {Flat(x), params});
    const std::vector<double> ours = Flat(out);
    RecordProperty("relative_l2_error", std::to_string(corvane_test::Compare(ours, ref).relL2));
    std::printf("ChirpZ N=M=%d %s: relative L2 error %.3g\n", n, narrow ? "narrow zoom" : "full band",
                corvane_test::Compare(ours, ref).relL2);
    EXPECT_TRUE(NearL2(ours, ref, 1e-5)) << "N=M=" << n << (narrow ? " narrow zoom" : " full band");
}

INSTANTIATE_TEST_SUITE_P(Sizes, ChirpZAtScale,
                         ::testing::Combine(::testing::Values(65536, 262144), ::testing::Bool()));

TEST(ChirpZ, SelfTestPasses) {
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    ChirpZ::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_GT(recorder.GetTotalTests(), 0);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}

TEST(ChirpZ, SizesWithoutATransformAreRefused) {
    using corvane_test::ThrowsInvalidInput;
    for (bool wide : {false, true}) {
        EXPECT_TRUE(ThrowsInvalidInput([&] { ChirpZ(0, 1.0, 8, 0.0, 0.1, wide); }));
        EXPECT_TRUE(ThrowsInvalidInput([&] { ChirpZ(8, 1.0, 0, 0.0, 0.1, wide); }));
        EXPECT_TRUE(ThrowsInvalidInput([&] { ChirpZ(-5, 1.0, 8, 0.0, 0.1, wide); }));
        EXPECT_TRUE(ThrowsInvalidInput([&] { ChirpZ(8, 1.0, -1, 0.0, 0.1, wide); }));
        // N + M - 1 beyond int, and a transform length beyond 2^30.
        EXPECT_TRUE(ThrowsInvalidInput([&] { ChirpZ(INT_MAX, 1.0, INT_MAX, 0.0, 0.1, wide); }));
        EXPECT_TRUE(ThrowsInvalidInput([&] { ChirpZ((1 << 30) - 5, 1.0, 100, 0.0, 0.1, wide); }));
        // N + max(N, M) - 1 beyond int while N + M - 1 is fine is impossible; but 2N - 1 near the limit:
        EXPECT_TRUE(ThrowsInvalidInput([&] { ChirpZ(INT_MAX / 2 + 10, 1.0, 1, 0.0, 0.1, wide); }));
    }
}

TEST(ChirpZ, ApplyOfTheOtherWidthOrAShortBlockIsRefused) {
    ChirpZ narrow(8, 1.0, 8, 0.0, 0.125, false);
    ChirpZ wide(8, 1.0, 8, 0.0, 0.125, true);
    VecCplx32 in32(8), out32(3);
    VecCplx64 in64(8), out64(3);
    in32.SetZero();
    in64.SetZero();
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { narrow.Apply(out64, in64); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { wide.Apply(out32, in32); }));
    VecCplx32 short32(7);
    short32.SetZero();
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { narrow.Apply(out32, short32); }));
    in32.ShiftLeft(1);  // a view of 7 points
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { narrow.Apply(out32, in32); }));
    EXPECT_EQ(out32.GetSize(), 3);
    EXPECT_EQ(out64.GetSize(), 3);
    // The right width with enough points works, and a longer block reads its first N points.
    VecCplx32 longer(20);
    longer.SetZero();
    narrow.Apply(out32, longer);
    EXPECT_EQ(out32.GetSize(), 8);
}

namespace {
bool SameBits(float a, float b) {
    uint32_t x, y;
    std::memcpy(&x, &a, sizeof x);
    std::memcpy(&y, &b, sizeof y);
    return x == y;
}
}  // namespace

// The weighted forms give, bit for bit, what windowing the block, Apply and the magnitude (power) give:
// prime sizes, one point, the sweep's own 98 -> 97 on a 256-point transform, a block longer than N, a
// view made by ShiftLeft, a real window and random weights of both signs.
TEST(ChirpZ, WeightedMagnitudeAndPowerEqualWindowApplyAndMagnitude) {
    struct Case {
        int n, m;
        double fs, f0, df;
        int extra, shift;
    };
    const Case cases[] = {{97, 101, 1.0, -0.3, 0.004, 0, 0},        {1, 1, 2.0, 0.1, 0.5, 0, 0},
                          {98, 97, 781250.0, -150e3, 3125.0, 0, 0}, {200, 64, 1.0, 0.0, 1.0 / 64, 13, 0},
                          {61, 300, 5.0, -2.5, 5.0 / 300, 0, 3},    {1000, 700, 1.0, 0.2, 1e-4, 0, 0}};
    WindowFactory factory;
    for (const Case& c : cases) {
        for (int kind = 0; kind < 2; ++kind) {
            SCOPED_TRACE(testing::Message() << "n=" << c.n << " m=" << c.m << " kind=" << kind);
            ChirpZ czt(c.n, c.fs, c.m, c.f0, c.df, false);
            VecCplx32 block = Random<VecCplx32>(c.n + c.extra + c.shift, 40u + static_cast<unsigned>(c.n));
            block.ShiftLeft(c.shift);
            VecReal32 weights;
            Window* window = nullptr;
            if (kind == 0) {
                window = factory.MakeWindow(WindowTypeFlatTop, c.n, 0.0f);
                window->GetCoefficients(weights);
            } else {
                const std::vector<double> u =
                    Uniform(static_cast<size_t>(c.n), 90u + static_cast<unsigned>(c.n));
                weights.Resize(c.n);
                for (int i = 0; i < c.n; ++i)
                    weights[i] = static_cast<float>(4.0 * u[static_cast<size_t>(i)] - 2.0);
                window = factory.MakeWindow(WindowTypeFlatTop, c.n, 0.0f);
            }
            // The reference path: the block weighted point by point (a window's own product when the
            // weights are its coefficients), the transform, then magnitudes and powers.
            VecCplx32 weighted(block.GetSize());
            if (kind == 0) {
                window->Apply(weighted, block);
            } else {
                for (int i = 0; i < block.GetSize(); ++i)
                    weighted[i] =
                        i < c.n ? Cplx32{block[i].re * weights[i], block[i].im * weights[i]} : block[i];
            }
            delete window;
            VecCplx32 spectrum;
            czt.Apply(spectrum, weighted);
            VecReal32 wantMag, wantPow, gotMag, gotPow;
            DSPUtils::Mag(wantMag, spectrum);
            DSPUtils::MagSqr(wantPow, spectrum);
            czt.ApplyMagnitude(gotMag, block, weights);
            czt.ApplyPower(gotPow, block, weights);
            ASSERT_EQ(gotMag.GetSize(), c.m);
            ASSERT_EQ(gotPow.GetSize(), c.m);
            for (int j = 0; j < c.m; ++j) {
                ASSERT_TRUE(SameBits(gotMag[j], wantMag[j])) << "magnitude j=" << j;
                ASSERT_TRUE(SameBits(gotPow[j], wantPow[j])) << "power j=" << j;
            }
            // Apply between the weighted calls leaves them unchanged, and they leave Apply unchanged.
            VecCplx32 again;
            czt.Apply(again, weighted);
            for (int j = 0; j < c.m; ++j)
                ASSERT_TRUE(SameBits(again[j].re, spectrum[j].re) && SameBits(again[j].im, spectrum[j].im));
        }
    }
}

TEST(ChirpZ, WeightedFormsRefuseTheOtherWidthShortBlocksAndShortWeights) {
    ChirpZ narrow(8, 1.0, 5, 0.0, 0.125, false);
    ChirpZ wide(8, 1.0, 5, 0.0, 0.125, true);
    VecCplx32 in(8), shortBlock(7);
    in.SetZero();
    shortBlock.SetZero();
    VecReal32 weights(8), shortWeights(7), out(3);
    MathUtils::Set(weights, 1.0f);
    MathUtils::Set(shortWeights, 1.0f);
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { wide.ApplyMagnitude(out, in, weights); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { wide.ApplyPower(out, in, weights); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { narrow.ApplyMagnitude(out, shortBlock, weights); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { narrow.ApplyPower(out, in, shortWeights); }));
    EXPECT_EQ(out.GetSize(), 3);
    narrow.ApplyMagnitude(out, in, weights);
    EXPECT_EQ(out.GetSize(), 5);
    for (int j = 0; j < 5; ++j)
        EXPECT_EQ(out[j], 0.0f);
}

TEST(ChirpZ, SteadyWeightedCallsAllocateNothing) {
    ChirpZ czt(98, 781250.0, 97, -150e3, 3125.0, false);
    VecCplx32 block = Random<VecCplx32>(98, 8);
    VecReal32 weights(98), mag, pow;
    MathUtils::Set(weights, 0.5f);
    czt.ApplyMagnitude(mag, block, weights);
    czt.ApplyPower(pow, block, weights);
    const long long before = kern::AllocationCount();
    for (int i = 0; i < 5; ++i) {
        czt.ApplyMagnitude(mag, block, weights);
        czt.ApplyPower(pow, block, weights);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
}
