#include <corvane/dsp/Spectrum.h>
#include <corvane/dsp/WindowFactory.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <type_traits>
#include <vector>

#include "kernel/FFTPlan.h"
#include "kernel/Memory.h"
#include "support/TestUtil.h"
#include "support/VecData.h"
#include "support/WindowTestUtil.h"

using namespace VELA;
using corvane_test::ToDoubles;

namespace {

constexpr double kPi = 3.141592653589793;

// A complex tone of amplitude 1 at bin `bin` of n points.
VecCplx32 Tone(int n, int bin) {
    VecCplx32 x(n);
    for (int i = 0; i < n; ++i) {
        const double a = 2 * kPi * static_cast<double>((static_cast<long long>(bin) * i) % n) / n;
        x[i] = {static_cast<float>(std::cos(a)), static_cast<float>(std::sin(a))};
    }
    return x;
}

// Index at which display order puts transform bin `bin`: bins ceil(N/2) .. N-1 come first.
int DisplayIndex(int n, int bin) {
    return (bin - (n + 1) / 2 + n) % n;
}

int ArgMax(const VecReal32& v) {
    int best = 0;
    for (int i = 1; i < v.GetSize(); ++i)
        if (v[i] > v[best]) best = i;
    return best;
}

std::vector<double> WindowOf(int n, WindowType type) {
    WindowFactory f;
    std::unique_ptr<Window> w(f.MakeWindow(type, n, 0.0f));
    return corvane_test::Coefficients(*w);
}

}  // namespace

TEST(Spectrum, SevenPointRampThroughBlackmanHarris) {
    Spectrum s(7, WindowTypeBlackmanHarris, 0.0f);
    VecCplx32 in(7);
    for (int i = 0; i < 7; ++i)
        in[i] = {static_cast<float>(i), 0.0f};
    VecReal32 out;
    s.Apply(out, in);
    ASSERT_EQ(out.GetSize(), 7);
    EXPECT_NEAR(out[0], -12.994478225708008, 9e-6);
    EXPECT_NEAR(out[1], 0.20782308280467987, 9e-6);
    // A real block: the spectrum is symmetric about zero frequency at index 3, which holds the windowed
    // mean of the block, 3 (the window is symmetric and sums to 1).
    for (int j = 1; j <= 3; ++j)
        EXPECT_NEAR(out[3 - j], out[3 + j], 9e-6) << j;
    EXPECT_NEAR(out[3], 20 * std::log10(3.0), 1e-5);
}

TEST(Spectrum, MatchesNumpyOnRandomBlocks) {
    // 20 log10(|X| + eps) with X the unscaled FFT of the block times our window, rotated so that bins
    // k = ceil(N/2) .. N-1 come first. The rule is spelled out so that the oracle does not rest on
    // np.fft.fftshift, which the script checks to agree (for odd N too: fftshift of 0..6 is 4, 5, 6,
    // 0, 1, 2, 3). Checked where numpy's level is above -100 dB.
    std::vector<int> lengths;
    for (int n = 1; n <= 40; ++n)
        lengths.push_back(n);
    lengths.push_back(1000);
    lengths.push_back(4096);
    std::vector<double> data, coefs, desc, ours;
    unsigned seed = 100;
    for (int n : lengths) {
        // Cycle through the window kinds; one point is only defined for the uniform and Gauss windows.
        const WindowType type = n == 1 ? WindowTypeGauss : static_cast<WindowType>(n % 8);
        const auto w = WindowOf(n, type);
        for (int complexBlock = 0; complexBlock < 2; ++complexBlock) {
            Spectrum s(n, type, 0.0f);
            VecReal32 out;
            const auto x = corvane_test::RoundToFloat(
                corvane_test::Uniform(static_cast<size_t>(n) * (complexBlock ? 2 : 1), seed++));
            if (complexBlock)
                s.Apply(out, corvane_test::MakeCplx32(x));
            else
                s.Apply(out, corvane_test::MakeReal32(x));
            ASSERT_EQ(out.GetSize(), n);
            const auto o = ToDoubles(out);
            ours.insert(ours.end(), o.begin(), o.end());
            data.insert(data.end(), x.begin(), x.end());
            coefs.insert(coefs.end(), w.begin(), w.end());
            desc.insert(desc.end(), {static_cast<double>(n), static_cast<double>(complexBlock)});
        }
    }
    const auto ref = corvane_test::PyEval(R"(
eps = float(np.float32(1e-40))
res = []
pd = pw = 0
for k in range(0, len(a2), 2):
    n, cplx = int(a2[k]), int(a2[k + 1])
    if cplx:
        x = a0[pd:pd + 2 * n:2] + 1j * a0[pd + 1:pd + 2 * n:2]; pd += 2 * n
    else:
        x = a0[pd:pd + n]; pd += n
    w = a1[pw:pw + n]; pw += n
    X = np.abs(np.fft.fft(x * w))
    h = (n + 1) // 2
    shifted = np.concatenate((X[h:], X[:h]))
    assert np.array_equal(shifted, np.fft.fftshift(X))  # numpy rotates the same way, odd N included
    res.append(20 * np.log10(shifted + eps))
out = np.concatenate(res))",
                                          {data, coefs, desc});
    ASSERT_EQ(ref.size(), ours.size());
    size_t checked = 0;
    double worst = 0;
    for (size_t i = 0; i < ref.size(); ++i) {
        if (ref[i] <= -100) continue;
        ++checked;
        worst = std::max(worst, std::fabs(ours[i] - ref[i]));
        ASSERT_NEAR(ours[i], ref[i], 1e-4) << "element " << i;
    }
    RecordProperty("worst_db", (testing::Message() << worst).GetString());
    EXPECT_GT(checked, ref.size() * 9 / 10);
}

// A complex block of another length than N goes through the window's own Apply: a longer block has its
// first N points windowed and its tail kept, a shorter one is multiplied by the first coefficients; the
// transform then has the block's length. Checked against numpy, as above, with a block of length N in
// the same object between the others.
TEST(Spectrum, ComplexBlockOfAnotherLengthIsWindowedAsTheWindowDoes) {
    std::vector<double> data, coefs, desc, ours;
    unsigned seed = 300;
    for (int n : {16, 33, 1000}) {
        const WindowType type = n == 33 ? WindowTypeKaiser : WindowTypeBlackmanHarris;
        const auto w = WindowOf(n, type);
        Spectrum s(n, type, 0.0f);
        for (int m : {n + 5, n, n - 3, n}) {
            const auto x =
                corvane_test::RoundToFloat(corvane_test::Uniform(2 * static_cast<size_t>(m), seed++));
            VecReal32 out;
            s.Apply(out, corvane_test::MakeCplx32(x));
            ASSERT_EQ(out.GetSize(), m);
            const auto o = ToDoubles(out);
            ours.insert(ours.end(), o.begin(), o.end());
            data.insert(data.end(), x.begin(), x.end());
            coefs.insert(coefs.end(), w.begin(), w.end());
            desc.insert(desc.end(), {static_cast<double>(n), static_cast<double>(m)});
        }
    }
    const auto ref = corvane_test::PyEval(R"(
eps = float(np.float32(1e-40))
res = []
pd = pw = 0
for k in range(0, len(a2), 2):
    n, m = int(a2[k]), int(a2[k + 1])
    x = a0[pd:pd + 2 * m:2] + 1j * a0[pd + 1:pd + 2 * m:2]; pd += 2 * m
    w = a1[pw:pw + n]; pw += n
    y = x.copy()
    k = min(n, m)
    y[:k] = x[:k] * w[:k]
    X = np.abs(np.fft.fft(y))
    h = (m + 1) // 2
    res.append(20 * np.log10(np.concatenate((X[h:], X[:h])) + eps))
out = np.concatenate(res))",
                                          {data, coefs, desc});
    ASSERT_EQ(ref.size(), ours.size());
    size_t checked = 0;
    for (size_t i = 0; i < ref.size(); ++i) {
        if (ref[i] <= -100) continue;
        ++checked;
        ASSERT_NEAR(ours[i], ref[i], 1e-4) << "element " << i;
    }
    EXPECT_GT(checked, ref.size() * 9 / 10);
}

TEST(Spectrum, FullScaleToneReadsZeroDecibelsForEveryWindow) {
    for (int type = 0; type <= 7; ++type) {
        for (int n : {1024, 1001}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " N=" << n);
            Spectrum s(n, static_cast<WindowType>(type), 0.0f);
            VecReal32 out;
            s.Apply(out, Tone(n, 100));
            ASSERT_EQ(out.GetSize(), n);
            EXPECT_EQ(ArgMax(out), DisplayIndex(n, 100));
            EXPECT_NEAR(out[DisplayIndex(n, 100)], 0.0, 0.01);
        }
    }
}

TEST(Spectrum, EvenLengthPutsZeroFrequencyAtTheMiddle) {
    const int n = 64;
    Spectrum s(n, WindowTypeHann, 0.0f);
    VecReal32 out;
    VecCplx32 dc(n);
    for (int i = 0; i < n; ++i)
        dc[i] = {0.5f, 0.0f};
    s.Apply(out, dc);
    EXPECT_EQ(ArgMax(out), n / 2);
    EXPECT_NEAR(out[n / 2], 20 * std::log10(0.5), 1e-4);
    // The most negative frequency (bin N/2, the alternating sequence) stands at index 0.
    VecCplx32 nyquist(n);
    for (int i = 0; i < n; ++i)
        nyquist[i] = {i % 2 ? -1.0f : 1.0f, 0.0f};
    s.Apply(out, nyquist);
    EXPECT_EQ(ArgMax(out), 0);
    EXPECT_NEAR(out[0], 0.0, 1e-4);
}

TEST(Spectrum, OddLengthPutsZeroFrequencyAtFloorHalf) {
    const int n = 7;
    Spectrum s(n, WindowTypeUniform, 0.0f);
    s.SetUnit(PowerUnitLinear);
    // Bin b alone: display order 4, 5, 6, 0, 1, 2, 3.
    const int order[7] = {4, 5, 6, 0, 1, 2, 3};
    for (int j = 0; j < n; ++j) {
        VecReal32 out;
        s.Apply(out, Tone(n, order[j]));
        EXPECT_EQ(ArgMax(out), j) << "bin " << order[j];
        EXPECT_NEAR(out[j], 1.0, 1e-6);
    }
}

TEST(Spectrum, AllZeroBlockGivesTheEpsilonFloor) {
    for (int n : {8, 9}) {
        Spectrum s(n, WindowTypeBlackmanHarris, 0.0f);
        VecReal32 out;
        VecCplx32 zeros(n);
        zeros.SetZero();
        s.Apply(out, zeros);
        const double floor = 20 * std::log10(static_cast<double>(1e-40f));
        for (int i = 0; i < n; ++i) {
            ASSERT_TRUE(std::isfinite(out[i]));
            EXPECT_NEAR(out[i], floor, 1e-3);
            EXPECT_NEAR(out[i], -800.0, 0.01);
        }
        VecReal32 zr(n);
        zr.SetZero();
        s.Apply(out, zr);
        for (int i = 0; i < n; ++i)
            EXPECT_NEAR(out[i], floor, 1e-3);
    }
}

TEST(Spectrum, UnitOneIsLinearNotDecibelsPlusTen) {
    const int n = 256;
    const VecCplx32 x = corvane_test::MakeCplx32(corvane_test::Uniform(2 * n, 42));
    Spectrum dB(n, WindowTypeHann, 0.0f), one(n, WindowTypeHann, 0.0f), two(n, WindowTypeHann, 0.0f),
        other(n, WindowTypeHann, 0.0f);
    one.SetUnit(PowerUnitDBPlus10);
    two.SetUnit(PowerUnitLinear);
    other.SetUnit(static_cast<PowerUnit>(7));
    VecReal32 a, b, c, d;
    dB.Apply(a, x);
    one.Apply(b, x);
    two.Apply(c, x);
    other.Apply(d, x);
    EXPECT_EQ(ToDoubles(b), ToDoubles(c));
    EXPECT_EQ(ToDoubles(d), ToDoubles(c));
    for (int i = 0; i < n; ++i)
        EXPECT_NEAR(b[i], std::pow(10.0, a[i] / 20.0), 1e-5 * b[i]) << i;
}

TEST(Spectrum, SetUnitChangesOnlyTheNextApply) {
    const int n = 128;
    const VecCplx32 x = corvane_test::MakeCplx32(corvane_test::Uniform(2 * n, 43));
    Spectrum s(n, WindowTypeFlatTop, 0.0f), reference(n, WindowTypeFlatTop, 0.0f);
    VecReal32 first, second, expectedDb, expectedLin;
    s.Apply(first, x);
    s.SetUnit(PowerUnitLinear);
    s.Apply(second, x);
    reference.Apply(expectedDb, x);
    reference.SetUnit(PowerUnitLinear);
    reference.Apply(expectedLin, x);
    EXPECT_EQ(ToDoubles(first), ToDoubles(expectedDb));
    EXPECT_EQ(ToDoubles(second), ToDoubles(expectedLin));
    // And back: each Apply stands alone.
    s.SetUnit(PowerUnitDB);
    s.Apply(second, x);
    EXPECT_EQ(ToDoubles(second), ToDoubles(expectedDb));
}

TEST(Spectrum, WindowParameterDoesNotChangeTheTaper) {
    const int n = 64;
    const VecCplx32 x = corvane_test::MakeCplx32(corvane_test::Uniform(2 * n, 44));
    Spectrum a(n, WindowTypeGauss, 2.0f), b(n, WindowTypeGauss, 3.5f);
    Spectrum c(n, WindowTypeKaiser, 3.0f), d(n, WindowTypeKaiser, 16.71f);
    VecReal32 oa, ob, oc, od;
    a.Apply(oa, x);
    b.Apply(ob, x);
    c.Apply(oc, x);
    d.Apply(od, x);
    EXPECT_EQ(ToDoubles(oa), ToDoubles(ob));
    EXPECT_EQ(ToDoubles(oc), ToDoubles(od));
}

TEST(Spectrum, SteadyRunAllocatesNothing) {
    for (int n : {1000, 4096}) {
        Spectrum s(n, WindowTypeBlackmanHarris, 0.0f);
        const VecCplx32 x = corvane_test::MakeCplx32(corvane_test::Uniform(2 * static_cast<size_t>(n), 45));
        const VecReal32 r = corvane_test::MakeReal32(corvane_test::Uniform(static_cast<size_t>(n), 46));
        VecReal32 out;
        s.Apply(out, x);  // grows the scratch (the constructor planned the transforms)
        s.Apply(out, r);
        s.SetUnit(PowerUnitLinear);
        s.Apply(out, x);
        s.SetUnit(PowerUnitDB);
        const long long before = kern::AllocationCount();
        for (int k = 0; k < 20; ++k) {
            s.Apply(out, x);
            s.Apply(out, r);
        }
        s.SetUnit(PowerUnitLinear);
        for (int k = 0; k < 5; ++k)
            s.Apply(out, x);
        EXPECT_EQ(kern::AllocationCount(), before) << "N=" << n;
    }
}

// Both transforms of the block length are planned when the object is made, so that a measuring
// planner's time is spent there: no Apply plans, in either input form or unit.
TEST(Spectrum, ConstructorPlansAndApplyDoesNot) {
    for (int n : {2, 777, 1024, 4099}) {
        Spectrum s(n, WindowTypeBlackmanHarris, 0.0f);
        const VecCplx32 x = corvane_test::MakeCplx32(corvane_test::Uniform(2 * static_cast<size_t>(n), 48));
        const VecReal32 r = corvane_test::MakeReal32(corvane_test::Uniform(static_cast<size_t>(n), 49));
        const long long planned = kern::FFTPlannerCalls();
        VecReal32 out;
        s.Apply(out, x);
        s.Apply(out, r);
        s.SetUnit(PowerUnitLinear);
        s.Apply(out, x);
        s.Apply(out, r);
        EXPECT_EQ(kern::FFTPlannerCalls(), planned) << "N=" << n;
        EXPECT_EQ(out.GetSize(), n);
    }
}

TEST(Spectrum, RealAndComplexFormsAgreeOnRealData) {
    const int n = 333;
    const auto v = corvane_test::Uniform(n, 47);
    Spectrum s(n, WindowTypeKaiser, 0.0f);
    VecReal32 a, b;
    s.Apply(a, corvane_test::MakeReal32(v));
    s.Apply(b, VecCplx32(corvane_test::MakeReal32(v)));
    ASSERT_EQ(a.GetSize(), n);
    for (int i = 0; i < n; ++i)
        if (b[i] > -100) {
            EXPECT_NEAR(a[i], b[i], 1e-4) << i;
        }
}

TEST(Spectrum, SizeAndRefusedType) {
    Spectrum s(100, WindowTypeHann, 0.0f);
    EXPECT_EQ(s.GetSize(), 100);
    try {
        Spectrum bad(16, static_cast<WindowType>(8), 0.0f);
        ADD_FAILURE() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    }
    static_assert(!std::is_copy_constructible_v<Spectrum>);
    static_assert(!std::is_copy_assignable_v<Spectrum>);
    static_assert(std::has_virtual_destructor_v<Spectrum>);
    EXPECT_EQ(PowerUnitDB, 0);
    EXPECT_EQ(PowerUnitDBPlus10, 1);
    EXPECT_EQ(PowerUnitLinear, 2);
}

TEST(Spectrum, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    Spectrum::UnitTest(recorder);
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
    EXPECT_NE(log.find("Spectrum :Size=7"), std::string::npos) << log;
}
