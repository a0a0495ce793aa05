// Self-tests of the window family: the coefficients of 11-point windows at the centre and at index 7,
// the symmetry of the halves, and each kind's particular rules (parameters dropped or kept, the
// Taylor refusals, the factory's defaults).
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "BlackmanHarrisWindow.h"
#include "FlatTopWindow.h"
#include "GaussWindow.h"
#include "HannWindow.h"
#include "KaiserWindow.h"
#include "TaylorWindow.h"
#include "WindowFactory.h"

namespace VELA {

namespace {

constexpr float kTol = 9e-6f;

bool Near(float a, double b) {
    return std::fabs(static_cast<double>(a) - b) < kTol;
}

float Coef(const Window& w, int i) {
    VecReal32 c;
    w.GetCoefficients(c);
    return i < c.GetSize() ? c[i] : NAN;
}

// Centre (index 5) and index 7 of an 11-point window, and indexes 4 and 6 equal.
void RecordEleven(UnitTestRecorder& r, const char* cls, const Window& w, double centre, double seven) {
    VecReal32 c;
    w.GetCoefficients(c);
    const bool sized = c.GetSize() == 11;
    r.AddTestRecord(cls, "Size=11 centre", sized && Near(c[5], centre));
    r.AddTestRecord(cls, "Size=11 index 7", sized && Near(c[7], seven));
    r.AddTestRecord(cls, "Size=11 symmetric", sized && Near(c[4], c[6]));
}

bool SameCoefficients(const Window& a, const Window& b) {
    VecReal32 ca, cb;
    a.GetCoefficients(ca);
    b.GetCoefficients(cb);
    return ca.GetSize() == cb.GetSize() && ca.IsEqual(cb, kTol);
}

// The exception code of f(), or 0 when it does not throw.
template <class F>
int ThrownCode(F f) {
    try {
        f();
    } catch (const VELAException& e) {
        return e.code;
    }
    return 0;
}

}  // namespace

bool Window::UnitTest(UnitTestRecorder& r) {
    const char* cls = "Window";
    Window w(10, 0.0f);
    VecCplx32 data(10), out;
    for (int i = 0; i < 10; ++i)
        data[i] = {static_cast<float>(i + 1), -0.5f * static_cast<float>(i)};
    w.Apply(out, data);
    out *= 10.0f;
    r.AddTestRecord(cls, "Size=10 times 10 gives the data", out.IsEqual(data, kTol));
    r.AddTestRecord(cls, "Size=10 coefficient", Near(Coef(w, 3), 0.1));
    r.AddTestRecord(cls, "Size=10 ENBW", Near(w.GetENBW(), 1.0));
    r.AddTestRecord(cls, "RBW scaling", w.GetEffectiveRBWScaling() == 0.89f);
    return true;
}

bool BlackmanHarrisWindow::UnitTest(UnitTestRecorder& r) {
    RecordEleven(r, "BlackmanHarrisWindow", BlackmanHarrisWindow(11), 0.27874097, 0.10756410);
    return true;
}

bool FlatTopWindow::UnitTest(UnitTestRecorder& r) {
    RecordEleven(r, "FlatTopWindow", FlatTopWindow(11), 0.46893606, 0.022537457);
    return true;
}

bool GaussWindow::UnitTest(UnitTestRecorder& r) {
    const char* cls = "GaussWindow";
    RecordEleven(r, cls, GaussWindow(11), 0.25396699, 0.11298800);
    GaussWindow g(11);
    g.SetParameters(11, 2.0f);
    g.SetParameters(11);
    r.AddTestRecord(cls, "SetParameters(int) restores 3.5",
                    g.para == 3.5f && SameCoefficients(g, GaussWindow(11)));
    return true;
}

bool HannWindow::UnitTest(UnitTestRecorder& r) {
    const char* cls = "HannWindow";
    RecordEleven(r, cls, HannWindow(11), 0.2, 0.13090169);
    HannWindow a(11), b(11);
    b.SetParameters(11, 7.0f);
    r.AddTestRecord(cls, "SetParameters(int, float) drops the float",
                    b.para == 0.0f && SameCoefficients(a, b));
    return true;
}

bool KaiserWindow::UnitTest(UnitTestRecorder& r) {
    const char* cls = "KaiserWindow";
    // 0.15351500 is the long-standing self-test figure, which carries the float noise of a
    // single-precision evaluation; the formula in double gives 0.15352041, 5.4e-6 away, inside 9e-6.
    RecordEleven(r, cls, KaiserWindow(11, 3.5f), 0.15351500, 0.12035700);
    KaiserWindow k(11, 3.5f);
    r.AddTestRecord(cls, "Explicit beta keeps 0.89", k.GetEffectiveRBWScaling() == 0.89f);
    KaiserWindow c(11, KaiserWindowModeCISPR);
    r.AddTestRecord(cls, "CISPR mode", c.para == 14.6f && c.GetEffectiveRBWScaling() == 2.0859f);
    c.SetParameters(11);
    r.AddTestRecord(
        cls, "SetParameters(int) standard preset",
        c.para == 16.71f && c.mode == KaiserWindowModeStandard && c.GetEffectiveRBWScaling() == 2.2292f);
    return true;
}

bool CISPR6dBWindow::UnitTest(UnitTestRecorder& r) {
    const char* cls = "CISPR6dBWindow";
    RecordEleven(r, cls, CISPR6dBWindow(11), 0.30759001, 0.09504200);
    CISPR6dBWindow w(11);
    w.SetParameters(11, 10.0f);
    r.AddTestRecord(cls, "Own beta keeps 2.9405", w.GetEffectiveRBWScaling() == 2.9405f && w.para == 10.0f);
    return true;
}

bool TaylorWindow::UnitTest(UnitTestRecorder& r) {
    const char* cls = "TaylorWindow";
    TaylorWindow t(5, -30.0f);
    VecReal32 c;
    t.GetCoefficients(c);
    r.AddTestRecord(
        cls, "Size=5 -30 dB",
        c.GetSize() == 5 && Near(c[0], 0.103613153) && Near(c[1], 0.240576223) && Near(c[2], 0.311621308));
    r.AddTestRecord(cls, "-60 dB nbar 4 refused",
                    ThrownCode([] { TaylorWindow(16, -60.0f, 4); }) == VELAErrorInvalidInputParameter);
    r.AddTestRecord(cls, "Positive level refused",
                    ThrownCode([] { TaylorWindow(16, 3.0f); }) == VELAErrorInvalidInputParameter);
    return true;
}

bool WindowFactory::UnitTest(UnitTestRecorder& r) {
    const char* cls = "WindowFactory";
    WindowFactory f;
    Window* g = f.MakeWindow(WindowTypeGauss, 32, 2.0f);
    GaussWindow two;
    two.SetParameters(32, 2.0f);
    r.AddTestRecord(cls, "Gauss built with 3.5",
                    g && SameCoefficients(*g, GaussWindow(32)) && f.GetPara() == 2.0f);
    if (g) f.SetParameters(g, 32, 2.0f);
    r.AddTestRecord(cls, "Gauss 2.0 through SetParameters", g && SameCoefficients(*g, two));
    delete g;
    Window* alt = f.MakeWindow(WindowTypeCISPR6dBAlt, 11, 0.0f);
    r.AddTestRecord(
        cls, "Type 6 is CISPR 6 dB",
        dynamic_cast<CISPR6dBWindow*>(alt) != nullptr && SameCoefficients(*alt, CISPR6dBWindow(11)));
    WindowFactory fresh;
    r.AddTestRecord(cls, "Type 8 builds nothing",
                    fresh.MakeWindow(static_cast<WindowType>(8), 11, 0.0f) == nullptr &&
                        f.MakeWindow(static_cast<WindowType>(8), 11, 0.0f) == alt);
    delete alt;
    return true;
}

}  // namespace VELA
