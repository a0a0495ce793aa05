#include "GaussWindow.h"

#include <cmath>

namespace VELA {

namespace {
constexpr float kDefaultA = 3.5f;
// The float nearest e, widened: the Gauss figures of the library are defined with this base.
constexpr double kE = 2.7182817459106445;
}  // namespace

GaussWindow::GaussWindow() {
    para = kDefaultA;
    rbwScaling = 1.86f;
}

GaussWindow::GaussWindow(int n) : GaussWindow() {
    GaussWindow::SetParameters(n, kDefaultA);
}

void GaussWindow::SetParameters(int n) {
    para = kDefaultA;
    GaussWindow::SetParameters(n, kDefaultA);
}

void GaussWindow::SetParameters(int n, float a) {
    para = a;
    const double a2 = static_cast<double>(a) * static_cast<double>(a);
    FillSymmetric(n, [n, a2](int i) {
        // Positions in floating point: (N - 1) / 2 is a half-integer for even N.
        const double v = (i - (n - 1) / 2.0) / n;
        return std::pow(kE, -2.0 * a2 * v * v);
    });
}

}  // namespace VELA
