#include "FlatTopWindow.h"

#include <cmath>

namespace VELA {

FlatTopWindow::FlatTopWindow() {
    rbwScaling = 3.77f;
}

FlatTopWindow::FlatTopWindow(int n) : FlatTopWindow() {
    para = 0.0f;
    FlatTopWindow::SetParameters(n, 0.0f);
}

void FlatTopWindow::SetParameters(int n) {
    // N = 1 divides by zero here and leaves a coefficient that is not a number (see Window.h).
    FillSymmetric(n, [n](int i) {
        const double t = i * kTwoPi / (n - 1);
        return 0.213283237831627 - 0.414006058783449 * std::cos(t) + 0.279055911943775 * std::cos(2 * t) -
               0.0861666667911267 * std::cos(3 * t) + 0.00748812465002295 * std::cos(4 * t);
    });
}

void FlatTopWindow::SetParameters(int n, float) {
    para = 0.0f;
    FlatTopWindow::SetParameters(n);
}

}  // namespace VELA
