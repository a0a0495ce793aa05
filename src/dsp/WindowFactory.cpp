#include "WindowFactory.h"

#include "BlackmanHarrisWindow.h"
#include "FlatTopWindow.h"
#include "GaussWindow.h"
#include "HannWindow.h"
#include "KaiserWindow.h"

namespace VELA {

Window* WindowFactory::MakeWindow(WindowType t, int n, float p) {
    type = t;
    size = n;
    para = p;
    switch (t) {
        case WindowTypeUniform:
            window = new Window(n, 0.0f);
            break;
        case WindowTypeBlackmanHarris:
            window = new BlackmanHarrisWindow(n);
            break;
        case WindowTypeFlatTop:
            window = new FlatTopWindow(n);
            break;
        case WindowTypeHann:
            window = new HannWindow(n);
            break;
        case WindowTypeGauss:
            window = new GaussWindow(n);
            break;
        case WindowTypeCISPR6dB:
        case WindowTypeCISPR6dBAlt:
            window = new CISPR6dBWindow(n);
            break;
        case WindowTypeKaiser:
            window = new KaiserWindow(n);
            break;
        default:
            break;
    }
    return window;
}

Window* WindowFactory::MakeWindow(WindowType t) {
    type = t;
    switch (t) {
        case WindowTypeUniform:
            window = new Window();
            break;
        case WindowTypeBlackmanHarris:
            window = new BlackmanHarrisWindow();
            break;
        case WindowTypeFlatTop:
            window = new FlatTopWindow();
            break;
        case WindowTypeHann:
            window = new HannWindow();
            break;
        case WindowTypeGauss:
            window = new GaussWindow();
            break;
        case WindowTypeCISPR6dB:
        case WindowTypeCISPR6dBAlt:
            window = new CISPR6dBWindow();
            break;
        case WindowTypeKaiser:
            window = new KaiserWindow(KaiserWindowModeStandard);
            break;
        default:
            break;
    }
    return window;
}

void WindowFactory::SetParameters(Window* w, int n, float p) {
    size = n;
    para = p;
    if (Buildable(type) && w) w->SetParameters(n, p);
}

void WindowFactory::SetParameters(Window* w, int n) {
    size = n;
    if (Buildable(type) && w) w->SetParameters(n);
}

}  // namespace VELA
