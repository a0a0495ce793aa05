#include "HannWindow.h"

#include <cmath>

namespace VELA {

HannWindow::HannWindow() {
    rbwScaling = 1.44f;
}

HannWindow::HannWindow(int n) : HannWindow() {
    para = 0.0f;
    HannWindow::SetParameters(n, 0.0f);
}

void HannWindow::SetParameters(int n) {
    // N = 1 divides by zero here and leaves a coefficient that is not a number (see Window.h).
    FillSymmetric(n, [n](int i) {
        const double t = i * kTwoPi / (n - 1);
        return 0.5 - 0.5 * std::cos(t);
    });
}

void HannWindow::SetParameters(int n, float) {
    para = 0.0f;
    HannWindow::SetParameters(n);
}

}  // namespace VELA
