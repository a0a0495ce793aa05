// The uniform window and the rules every window kind shares: doubled storage, sum 1, the Apply forms,
// the noise-bandwidth figures, copying and destruction through the base.
#include <corvane/dsp/BlackmanHarrisWindow.h>
#include <corvane/dsp/FlatTopWindow.h>
#include <corvane/dsp/GaussWindow.h>
#include <corvane/dsp/HannWindow.h>
#include <corvane/dsp/KaiserWindow.h>
#include <corvane/dsp/TaylorWindow.h>
#include <corvane/dsp/Window.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include "kernel/Memory.h"
#include "support/VecData.h"
#include "support/TestUtil.h"
#include "support/WindowTestUtil.h"

using namespace VELA;
using corvane_test::Coefficients;
using corvane_test::Probe;

namespace {

// One maker per kind, each at its default parameter, plus a Taylor window (which has no WindowType).
struct Kind {
    const char* name;
    std::function<std::unique_ptr<Window>(int)> make;
};
std::vector<Kind> AllKinds() {
    return {
        {"Uniform", [](int n) { return std::make_unique<Window>(n, 0.0f); }},
        {"BlackmanHarris", [](int n) { return std::make_unique<BlackmanHarrisWindow>(n); }},
        {"FlatTop", [](int n) { return std::make_unique<FlatTopWindow>(n); }},
        {"Hann", [](int n) { return std::make_unique<HannWindow>(n); }},
        {"Gauss", [](int n) { return std::make_unique<GaussWindow>(n); }},
        {"CISPR6dB", [](int n) { return std::make_unique<CISPR6dBWindow>(n); }},
        {"Kaiser", [](int n) { return std::make_unique<KaiserWindow>(n); }},
        {"Taylor", [](int n) { return std::make_unique<TaylorWindow>(n); }},
    };
}

VecCplx32 RandomBlock(int n, unsigned seed) {
    return corvane_test::MakeCplx32(corvane_test::Uniform(2 * static_cast<size_t>(n), seed));
}

}  // namespace

TEST(Window, UniformTimesTenGivesTheDataBack) {
    Window w(10, 0.0f);
    const VecCplx32 data = RandomBlock(10, 11);
    VecCplx32 out;
    w.Apply(out, data);
    out *= 10.0f;
    EXPECT_TRUE(corvane_test::NearAbs(corvane_test::ToDoubles(out), corvane_test::ToDoubles(data), 1e-6));
    for (double c : Coefficients(w))
        EXPECT_EQ(c, static_cast<double>(0.1f));
}

TEST(Window, UniformCoefficientIsOneOverNRoundedToFloat) {
    for (int n : {1, 3, 7, 10, 1000, 4097}) {
        Window w(n, 0.0f);
        const auto c = Coefficients(w);
        ASSERT_EQ(c.size(), static_cast<size_t>(n));
        for (double v : c)
            ASSERT_EQ(v, static_cast<double>(static_cast<float>(1.0 / n))) << "N=" << n;
    }
}

TEST(Window, DefaultConstructorLeavesTheWindowEmpty) {
    Probe<Window> w;
    EXPECT_EQ(w.GetSize(), 0);
    EXPECT_EQ(w.Stored().GetSize(), 0);
    EXPECT_EQ(w.GetEffectiveRBWScaling(), 0.89f);
    EXPECT_EQ(w.Para(), 0.0f);  // left unset by the constructor, so value-initialised
    EXPECT_EQ(w.Reserved(), 0.0f);
}

TEST(Window, ConstructorStoresParaButTheFloatOverloadDoesNot) {
    Probe<Window> w(8, 3.0f);
    EXPECT_EQ(w.Para(), 3.0f);
    w.SetParameters(12, 5.0f);
    EXPECT_EQ(w.Para(), 3.0f);
    EXPECT_EQ(w.GetSize(), 12);
    EXPECT_EQ(Coefficients(w).size(), 12u);
}

TEST(Window, CoefficientsAreStoredTwiceOver) {
    for (const Kind& k : AllKinds()) {
        SCOPED_TRACE(k.name);
        auto w = k.make(33);
        // Through the public interface: windowing (1, 1) at every point gives (w_i, w_i).
        VecCplx32 ones(33);
        for (int i = 0; i < 33; ++i)
            ones[i] = {1.0f, 1.0f};
        w->Apply(ones);
        const auto c = Coefficients(*w);
        for (int i = 0; i < 33; ++i) {
            ASSERT_EQ(ones[i].re, static_cast<float>(c[static_cast<size_t>(i)]));
            ASSERT_EQ(ones[i].im, static_cast<float>(c[static_cast<size_t>(i)]));
        }
    }
}

TEST(Window, StoredVectorHoldsEachCoefficientTwice) {
    Probe<HannWindow> w(9);
    ASSERT_EQ(w.Stored().GetSize(), 18);
    const auto c = Coefficients(w);
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(w.Stored()[2 * i], static_cast<float>(c[static_cast<size_t>(i)]));
        EXPECT_EQ(w.Stored()[2 * i + 1], static_cast<float>(c[static_cast<size_t>(i)]));
    }
    // The protected scale factor is the sum of the N coefficients, which the normalisation made 1.
    EXPECT_NEAR(w.NBScaleFactor(), 1.0f, 1e-6);
}

TEST(Window, EveryKindSumsToOneAndSymmetricKindsMirror) {
    for (const Kind& k : AllKinds()) {
        for (int n : {2, 3, 4, 11, 64, 1000, 4097}) {
            if (std::string(k.name) == "Hann" && n == 2) continue;  // 0 / 0, see HannWindow_test
            SCOPED_TRACE(testing::Message() << k.name << " N=" << n);
            const auto c = Coefficients(*k.make(n));
            ASSERT_EQ(c.size(), static_cast<size_t>(n));
            EXPECT_NEAR(std::accumulate(c.begin(), c.end(), 0.0), 1.0, 2e-6);
            // Finite everywhere (the flat-top ends are slightly negative, which is part of its shape).
            for (double v : c)
                ASSERT_TRUE(std::isfinite(v));
            // Taylor's positions come from a float ramp, so its halves may differ in the last bit.
            const double tol = std::string(k.name) == "Taylor" ? 1e-6 * c[static_cast<size_t>(n / 2)] : 0.0;
            for (int i = 0; i < n / 2; ++i)
                ASSERT_NEAR(c[static_cast<size_t>(i)], c[static_cast<size_t>(n - 1 - i)], tol) << "i=" << i;
        }
    }
}

TEST(Window, ApplyFormsAgree) {
    KaiserWindow w(50);
    const auto c = Coefficients(w);
    const VecCplx32 in = RandomBlock(50, 7);
    VecCplx32 inPlace(in), outOfPlace;
    w.Apply(inPlace);
    w.Apply(outOfPlace, in);
    ASSERT_EQ(outOfPlace.GetSize(), 50);
    for (int i = 0; i < 50; ++i) {
        const float ci = static_cast<float>(c[static_cast<size_t>(i)]);
        ASSERT_EQ(inPlace[i].re, in[i].re * ci);
        ASSERT_EQ(inPlace[i].im, in[i].im * ci);
        ASSERT_EQ(outOfPlace[i].re, inPlace[i].re);
        ASSERT_EQ(outOfPlace[i].im, inPlace[i].im);
    }
    const VecReal32 re = corvane_test::MakeReal32(corvane_test::Uniform(50, 8));
    VecReal32 outRe;
    w.Apply(outRe, re);
    ASSERT_EQ(outRe.GetSize(), 50);
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(outRe[i], re[i] * static_cast<float>(c[static_cast<size_t>(i)]));
}

TEST(Window, ApplyInPlaceThroughTheOutOfPlaceForm) {
    HannWindow w(16);
    const VecCplx32 in = RandomBlock(16, 3);
    VecCplx32 a(in), b(in);
    w.Apply(a, a);
    w.Apply(b);
    EXPECT_EQ(corvane_test::ToDoubles(a), corvane_test::ToDoubles(b));
}

TEST(Window, LongerBlockKeepsItsTail) {
    HannWindow w(8);
    const VecCplx32 in = RandomBlock(12, 5);
    VecCplx32 out;
    w.Apply(out, in);
    ASSERT_EQ(out.GetSize(), 12);
    for (int i = 8; i < 12; ++i) {
        EXPECT_EQ(out[i].re, in[i].re);
        EXPECT_EQ(out[i].im, in[i].im);
    }
    const VecReal32 re = corvane_test::MakeReal32(corvane_test::Uniform(12, 6));
    VecReal32 outRe;
    w.Apply(outRe, re);
    ASSERT_EQ(outRe.GetSize(), 12);
    for (int i = 8; i < 12; ++i)
        EXPECT_EQ(outRe[i], re[i]);
}

TEST(Window, ApplyReusesTheOutputWithoutAllocating) {
    GaussWindow w(256);
    const VecCplx32 in = RandomBlock(256, 9);
    const VecReal32 re = corvane_test::MakeReal32(corvane_test::Uniform(256, 10));
    VecCplx32 out;
    VecReal32 outRe;
    w.Apply(out, in);
    w.Apply(outRe, re);
    const long long before = kern::AllocationCount();
    for (int k = 0; k < 10; ++k) {
        w.Apply(out, in);
        w.Apply(outRe, re);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
}

TEST(Window, NoiseBandwidthAndPowerAdjustMatchNumpy) {
    // numpy computes N sum(w^2) / (sum w)^2 from our coefficients, in double, independently of the
    // float arithmetic of GetENBW.
    std::vector<double> coefs, sizes, enbw, adjust;
    for (const Kind& k : AllKinds()) {
        for (int n : {2, 11, 64, 1000, 4097}) {
            // The two-point Hann window is 0 / 0 (see HannWindow_test).
            if (std::string(k.name) == "Hann" && n == 2) continue;
            auto w = k.make(n);
            const auto c = Coefficients(*w);
            coefs.insert(coefs.end(), c.begin(), c.end());
            sizes.push_back(n);
            enbw.push_back(w->GetENBW());
            adjust.push_back(w->GetPowerAdjustIndB());
        }
    }
    const auto ref = corvane_test::PyEval(R"(
res = []
at = 0
for n in a1.astype(int):
    w = a0[at:at + n]; at += n
    e = n * np.sum(w * w) / np.sum(w) ** 2
    res += [e, 10 * np.log10(e)]
out = np.array(res))",
                                          {coefs, sizes});
    ASSERT_EQ(ref.size(), 2 * sizes.size());
    for (size_t i = 0; i < sizes.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "case " << i << " N=" << sizes[i]);
        EXPECT_NEAR(enbw[i], ref[2 * i], 2e-6 * ref[2 * i]);
        EXPECT_NEAR(adjust[i], ref[2 * i + 1], 1e-5);
    }
    // Known points: the uniform window has exactly one bin, Hann about 1.5 bins for long windows.
    EXPECT_NEAR(Window(1000, 0.0f).GetENBW(), 1.0, 1e-5);
    EXPECT_NEAR(HannWindow(4097).GetENBW(), 1.5, 1e-3);
    EXPECT_NEAR(HannWindow(4097).GetPowerAdjustIndB(), 10 * std::log10(1.5), 3e-3);
}

TEST(Window, ZeroPointsGiveAnEmptyWindow) {
    Probe<HannWindow> w(0);
    EXPECT_EQ(w.GetSize(), 0);
    EXPECT_EQ(w.Stored().GetSize(), 0);
    EXPECT_EQ(w.NBScaleFactor(), 0.0f);
    Probe<Window> u(0, 0.0f);
    EXPECT_EQ(u.Stored().GetSize(), 0);
    // The noise bandwidth divides by the coefficient sum, 0 here: the vector division refuses it.
    try {
        (void)w.GetENBW();
        ADD_FAILURE() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
    }
}

TEST(Window, OnePointDividesByZeroInTheKindsThatUseNMinusOne) {
    EXPECT_TRUE(std::isnan(Coefficients(HannWindow(1))[0]));
    EXPECT_TRUE(std::isnan(Coefficients(BlackmanHarrisWindow(1))[0]));
    EXPECT_TRUE(std::isnan(Coefficients(FlatTopWindow(1))[0]));
    EXPECT_TRUE(std::isnan(Coefficients(KaiserWindow(1))[0]));
    // The Gauss window divides by N and the uniform one by nothing: both give the single coefficient 1.
    EXPECT_EQ(Coefficients(GaussWindow(1))[0], 1.0);
    EXPECT_EQ(Coefficients(Window(1, 0.0f))[0], 1.0);
}

TEST(Window, CopiesAreDeepAndCarryTheScalars) {
    Probe<KaiserWindow> a(16, KaiserWindowModeCISPR);
    Probe<KaiserWindow> b(a);
    a.SetParameters(32);
    EXPECT_EQ(b.GetSize(), 16);
    EXPECT_EQ(Coefficients(b).size(), 16u);
    EXPECT_EQ(b.Para(), 14.6f);
    EXPECT_EQ(b.Mode(), KaiserWindowModeCISPR);
    EXPECT_EQ(b.GetEffectiveRBWScaling(), 2.0859f);
    Probe<TaylorWindow> t(20, -25.0f, 5), u(8);
    u = t;
    EXPECT_EQ(u.Nbar(), 5);
    EXPECT_EQ(u.Para(), -25.0f);
    EXPECT_EQ(Coefficients(u), Coefficients(t));
}

TEST(Window, VirtualSlotsReachTheKindThroughTheBase) {
    std::unique_ptr<Window> w = std::make_unique<GaussWindow>();
    w->SetParameters(24);
    EXPECT_EQ(Coefficients(*w), Coefficients(GaussWindow(24)));
    w->SetParameters(24, 2.0f);
    GaussWindow two;
    two.SetParameters(24, 2.0f);
    EXPECT_EQ(Coefficients(*w), Coefficients(two));
    // Deleting through the base runs the kind's destructor (checked by the sanitizer build).
    w.reset();
    static_assert(std::has_virtual_destructor_v<Window>);
}

TEST(Window, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    Window::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 4);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}

TEST(Window, SizeWithoutAStoredFormIsRefusedBeforeAnythingIsWritten) {
    // A negative size (or one whose 2N floats are not an int) has no window: every kind refuses it,
    // through its constructor and its slots, and a window that had coefficients keeps them.
    for (const Kind& k : AllKinds()) {
        for (int n : {-1, -4, INT_MAX / 2 + 1, INT_MAX}) {
            EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { k.make(n); })) << k.name << " " << n;
            std::unique_ptr<Window> w = k.make(8);
            const auto before = Coefficients(*w);
            EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { w->SetParameters(n); })) << k.name << " " << n;
            EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { w->SetParameters(n, 0.5f); }))
                << k.name << " " << n;
            EXPECT_EQ(w->GetSize(), 8) << k.name;
            EXPECT_EQ(Coefficients(*w), before) << k.name;
            // The window still applies to its own 8 points, and nothing outside the block is touched.
            VecCplx32 data = RandomBlock(8, 3);
            w->Apply(data);
        }
    }
}
