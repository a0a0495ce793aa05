#include "KaiserWindow.h"

#include <cmath>

#include "../math/MathUtils.h"
#include "internal/Kaiser.h"

namespace VELA {

namespace {

constexpr float kStandardBeta = 16.71f;
constexpr float kStandardRbw = 2.2292f;
constexpr float kCISPRBeta = 14.6f;
constexpr float kCISPRRbw = 2.0859f;
constexpr float kCISPR6dBRbw = 2.9405f;

KaiserWindowModeTag Normalised(KaiserWindowModeTag m) {
    return m == KaiserWindowModeCISPR ? KaiserWindowModeCISPR : KaiserWindowModeStandard;
}

}  // namespace

KaiserWindow::KaiserWindow(KaiserWindowModeTag m) : mode(Normalised(m)) {
    rbwScaling = mode == KaiserWindowModeCISPR ? kCISPRRbw : kStandardRbw;
}

KaiserWindow::KaiserWindow(int n) {
    para = kStandardBeta;
    rbwScaling = kStandardRbw;
    mode = KaiserWindowModeStandard;
    KaiserWindow::SetParameters(n, kStandardBeta);
}

KaiserWindow::KaiserWindow(int n, KaiserWindowModeTag m) {
    KaiserWindow::SetParameters(n, m);
}

KaiserWindow::KaiserWindow(int n, float beta) {
    para = beta;
    KaiserWindow::SetParameters(n, beta);
}

void KaiserWindow::SetParameters(int n) {
    rbwScaling = kStandardRbw;
    para = kStandardBeta;
    mode = KaiserWindowModeStandard;
    KaiserWindow::SetParameters(n, kStandardBeta);
}

void KaiserWindow::SetParameters(int n, KaiserWindowModeTag m) {
    mode = Normalised(m);
    rbwScaling = mode == KaiserWindowModeCISPR ? kCISPRRbw : kStandardRbw;
    const float beta = mode == KaiserWindowModeCISPR ? kCISPRBeta : kStandardBeta;
    para = beta;
    KaiserWindow::SetParameters(n, beta);
}

void KaiserWindow::SetParameters(int n, float beta) {
    para = beta;
    BeginFill(n);
    // alpha rounded to float, as the taper has always been parameterised: the shape is that of
    // beta' = alpha (N - 1) / 2, which differs from beta by float rounding. N = 1 divides by zero and
    // leaves a coefficient that is not a number (see Window.h).
    const float alpha = 2.0f * (beta / static_cast<float>(n - 1));
    // Computed in double for every point and rounded once to float.
    VecReal64 wide(n);
    MathUtils::Set(wide, 1.0);
    kaiser::MulKaiser(wide.Data(), n, static_cast<double>(alpha));
    VecReal32 coef;
    coef.Import(wide);
    FinishFill(coef);
}

CISPR6dBWindow::CISPR6dBWindow() : KaiserWindow(KaiserWindowModeCISPR) {
    rbwScaling = kCISPR6dBRbw;
}

CISPR6dBWindow::CISPR6dBWindow(int n) : KaiserWindow(KaiserWindowModeCISPR) {
    para = kCISPRBeta;
    rbwScaling = kCISPR6dBRbw;
    CISPR6dBWindow::SetParameters(n);
}

void CISPR6dBWindow::SetParameters(int n) {
    rbwScaling = kCISPR6dBRbw;
    mode = KaiserWindowModeCISPR;
    para = kCISPRBeta;
    KaiserWindow::SetParameters(n, kCISPRBeta);
}

}  // namespace VELA
