#include <corvane/dsp/BlackmanHarrisWindow.h>
#include <corvane/dsp/FlatTopWindow.h>
#include <corvane/dsp/GaussWindow.h>
#include <corvane/dsp/HannWindow.h>
#include <corvane/dsp/KaiserWindow.h>
#include <corvane/dsp/WindowFactory.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

#include "support/TestUtil.h"
#include "support/WindowTestUtil.h"

using namespace VELA;
using corvane_test::Coefficients;

namespace {

struct Row {
    WindowType type;
    const std::type_info& cls;
    float rbw;
};
const Row kRows[] = {
    {WindowTypeUniform, typeid(Window), 0.89f},
    {WindowTypeBlackmanHarris, typeid(BlackmanHarrisWindow), 1.9f},
    {WindowTypeFlatTop, typeid(FlatTopWindow), 3.77f},
    {WindowTypeHann, typeid(HannWindow), 1.44f},
    {WindowTypeGauss, typeid(GaussWindow), 1.86f},
    {WindowTypeCISPR6dB, typeid(CISPR6dBWindow), 2.9405f},
    {WindowTypeCISPR6dBAlt, typeid(CISPR6dBWindow), 2.9405f},
    {WindowTypeKaiser, typeid(KaiserWindow), 2.2292f},
};

}  // namespace

TEST(WindowFactory, EnumValuesAreFixed) {
    EXPECT_EQ(WindowTypeUniform, 0);
    EXPECT_EQ(WindowTypeBlackmanHarris, 1);
    EXPECT_EQ(WindowTypeFlatTop, 2);
    EXPECT_EQ(WindowTypeHann, 3);
    EXPECT_EQ(WindowTypeGauss, 4);
    EXPECT_EQ(WindowTypeCISPR6dB, 5);
    EXPECT_EQ(WindowTypeCISPR6dBAlt, 6);
    EXPECT_EQ(WindowTypeKaiser, 7);
    EXPECT_EQ(KaiserWindowModeStandard, 0);
    EXPECT_EQ(KaiserWindowModeCISPR, 1);
}

TEST(WindowFactory, BuildsEachRowFilled) {
    for (const Row& r : kRows) {
        SCOPED_TRACE(testing::Message() << "type " << r.type);
        WindowFactory f;
        std::unique_ptr<Window> w(f.MakeWindow(r.type, 40, 1.25f));
        ASSERT_NE(w, nullptr);
        EXPECT_EQ(typeid(*w), r.cls);
        EXPECT_EQ(w->GetSize(), 40);
        EXPECT_EQ(Coefficients(*w).size(), 40u);
        EXPECT_EQ(w->GetEffectiveRBWScaling(), r.rbw);
        EXPECT_EQ(f.GetPara(), 1.25f);
    }
}

TEST(WindowFactory, TypeSixIsTheSameWindowAsFive) {
    WindowFactory f;
    std::unique_ptr<Window> five(f.MakeWindow(WindowTypeCISPR6dB, 33, 0.0f));
    std::unique_ptr<Window> six(f.MakeWindow(WindowTypeCISPR6dBAlt, 33, 0.0f));
    EXPECT_EQ(Coefficients(*five), Coefficients(*six));
    EXPECT_EQ(Coefficients(*five), Coefficients(CISPR6dBWindow(33)));
}

TEST(WindowFactory, ParameterOnlyReachesTheWindowThroughSetParameters) {
    WindowFactory f;
    std::unique_ptr<Window> g(f.MakeWindow(WindowTypeGauss, 32, 2.0f));
    // Built with its default 3.5, not 2.0.
    EXPECT_EQ(Coefficients(*g), Coefficients(GaussWindow(32)));
    EXPECT_EQ(f.GetPara(), 2.0f);
    f.SetParameters(g.get(), 32, 2.0f);
    GaussWindow two;
    two.SetParameters(32, 2.0f);
    EXPECT_EQ(Coefficients(*g), Coefficients(two));
    // The int form calls slot 1, which restores the default.
    f.SetParameters(g.get(), 32);
    EXPECT_EQ(Coefficients(*g), Coefficients(GaussWindow(32)));

    std::unique_ptr<Window> k(f.MakeWindow(WindowTypeKaiser, 32, 5.0f));
    EXPECT_EQ(Coefficients(*k), Coefficients(KaiserWindow(32, 16.71f)));
    f.SetParameters(k.get(), 32, 5.0f);
    EXPECT_EQ(Coefficients(*k), Coefficients(KaiserWindow(32, 5.0f)));
    EXPECT_EQ(k->GetEffectiveRBWScaling(), 2.2292f);  // slot 2 keeps the preset's figure
}

TEST(WindowFactory, DefaultConstructorFormsAreEmpty) {
    for (const Row& r : kRows) {
        SCOPED_TRACE(testing::Message() << "type " << r.type);
        WindowFactory f;
        std::unique_ptr<Window> w(f.MakeWindow(r.type));
        ASSERT_NE(w, nullptr);
        EXPECT_EQ(typeid(*w), r.cls);
        EXPECT_EQ(w->GetSize(), 0);
        EXPECT_EQ(Coefficients(*w).size(), 0u);
        EXPECT_EQ(w->GetEffectiveRBWScaling(), r.rbw);
        // Becomes usable at the first SetParameters through the factory.
        f.SetParameters(w.get(), 17);
        EXPECT_EQ(w->GetSize(), 17);
        EXPECT_EQ(Coefficients(*w).size(), 17u);
    }
}

TEST(WindowFactory, TypesAboveSevenBuildNothing) {
    WindowFactory fresh;
    EXPECT_EQ(fresh.MakeWindow(static_cast<WindowType>(8), 16, 0.0f), nullptr);
    EXPECT_EQ(fresh.MakeWindow(static_cast<WindowType>(100)), nullptr);
    EXPECT_EQ(fresh.MakeWindow(static_cast<WindowType>(-1), 16, 0.0f), nullptr);

    WindowFactory f;
    std::unique_ptr<Window> last(f.MakeWindow(WindowTypeHann, 16, 0.0f));
    EXPECT_EQ(f.MakeWindow(static_cast<WindowType>(9), 32, 3.0f), last.get());
    EXPECT_EQ(f.GetPara(), 3.0f);
    // The factory's type is now 9: SetParameters stores but calls nothing.
    f.SetParameters(last.get(), 64, 4.0f);
    EXPECT_EQ(f.GetPara(), 4.0f);
    EXPECT_EQ(last->GetSize(), 16);
    f.SetParameters(last.get(), 64);
    EXPECT_EQ(last->GetSize(), 16);
}

TEST(WindowFactory, NullWindowIsLeftAlone) {
    WindowFactory f;
    f.SetParameters(nullptr, 16, 1.0f);
    f.SetParameters(nullptr, 16);
    EXPECT_EQ(f.GetPara(), 1.0f);
}

TEST(WindowFactory, DoesNotOwnWhatItMakesAndCopiesShareThePointer) {
    Window* w = nullptr;
    {
        WindowFactory f;
        w = f.MakeWindow(WindowTypeKaiser, 16, 0.0f);
        WindowFactory copy(f);
        EXPECT_EQ(copy.MakeWindow(static_cast<WindowType>(8), 0, 0.0f), w);
        WindowFactory assigned;
        assigned = f;
        EXPECT_EQ(assigned.MakeWindow(static_cast<WindowType>(8), 0, 0.0f), w);
    }
    // Still alive after the factories are gone; deleted through the base (checked by the sanitizers).
    EXPECT_EQ(w->GetSize(), 16);
    delete w;
}

TEST(WindowFactory, SelfTestPasses) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    WindowFactory::UnitTest(recorder);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 4);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
}
