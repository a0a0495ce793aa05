#include "KaiserWindow.h"

#include <cmath>

#include "../math/MathUtils.h"

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

// e^-x I0(x) for x >= 0, the modified Bessel function of order 0 scaled so that it cannot overflow.
// Below 30 the power series sum (x/2)^2k / (k!)^2 (all terms positive, so no cancellation); above, the
// asymptotic series e^x / sqrt(2 pi x) * sum ((2k-1)!!)^2 / (k! (8x)^k), whose terms shrink fast
// there. Both are accurate to a few units of double rounding. NaN passes through.
double ScaledBesselI0(double x) {
    if (std::isnan(x)) return x;
    x = std::fabs(x);
    if (x <= 30.0) {
        const double q = 0.25 * x * x;
        double term = 1.0, sum = 1.0;
        for (int k = 1; k < 500 && term > 1e-17 * sum; ++k) {
            term *= q / (static_cast<double>(k) * k);
            sum += term;
        }
        return sum * std::exp(-x);
    }
    double term = 1.0, sum = 1.0;
    for (int k = 1; k < 200; ++k) {
        const double next = term * (2.0 * k - 1.0) * (2.0 * k - 1.0) / (8.0 * k * x);
        if (next < 1e-17 * sum || next > term) break;
        term = next;
        sum += term;
    }
    return sum / std::sqrt(2.0 * 3.141592653589793 * x);
}

// Multiplies n doubles by the Kaiser taper of parameter alpha (beta = alpha (n - 1) / 2):
// I0(alpha sqrt(((n-1)/2)^2 - (i-(n-1)/2)^2)) / I0(alpha (n-1)/2). The radicand is formed as the exact
// integer product i (n - 1 - i), so the two halves come out equal bit for bit.
void MulKaiser(double* d, int n, double alpha) {
    // I0 is even, so a negative beta gives the taper of |beta|; the scaled form below needs a <= b >= 0.
    alpha = std::fabs(alpha);
    const double b = alpha * (n - 1) / 2.0;
    const double i0b = ScaledBesselI0(b);
    for (int i = 0; i < n; ++i) {
        const double a = alpha * std::sqrt(static_cast<double>(i) * static_cast<double>(n - 1 - i));
        // I0(a) / I0(b) = (e^-a I0(a)) / (e^-b I0(b)) * e^(a - b), with a <= b.
        d[i] *= ScaledBesselI0(a) / i0b * std::exp(a - b);
    }
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
    MulKaiser(wide.Data(), n, static_cast<double>(alpha));
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
