#include "BlackmanHarrisWindow.h"

#include <cmath>

namespace VELA {

BlackmanHarrisWindow::BlackmanHarrisWindow() {
    rbwScaling = 1.9f;
}

BlackmanHarrisWindow::BlackmanHarrisWindow(int n) : BlackmanHarrisWindow() {
    para = 0.0f;
    BlackmanHarrisWindow::SetParameters(n, 0.0f);
}

void BlackmanHarrisWindow::SetParameters(int n) {
    // N = 1 divides by zero here and leaves a coefficient that is not a number (see Window.h).
    FillSymmetric(n, [n](int i) {
        const double t = i * kTwoPi / (n - 1);
        return 0.35875 - 0.48829 * std::cos(t) + 0.14128 * std::cos(2 * t) - 0.01168 * std::cos(3 * t);
    });
}

void BlackmanHarrisWindow::SetParameters(int n, float) {
    para = 0.0f;
    BlackmanHarrisWindow::SetParameters(n);
}

}  // namespace VELA
