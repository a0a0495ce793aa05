#include "TaylorWindow.h"

#include <cmath>

#include "../math/MathUtils.h"
#include "DSPUtils.h"

namespace VELA {

namespace {
constexpr float kDefaultSll = -30.0f;
constexpr int kDefaultNbar = 4;
// The largest nbar whose index squares, (nbar - 1)^2, fit an int.
constexpr int kMaxNbar = 46341;
// The float nearest pi: the Taylor figures of the library are defined with it.
constexpr float kPi = 3.1415927410125732f;
}  // namespace

TaylorWindow::TaylorWindow(int n) {
    para = kDefaultSll;
    rbwScaling = 0.0f;
    nbar = kDefaultNbar;
    TaylorWindow::SetParameters(n, kDefaultSll);
}

TaylorWindow::TaylorWindow(int n, float sll) {
    para = sll;
    nbar = kDefaultNbar;
    TaylorWindow::SetParameters(n, sll);
}

TaylorWindow::TaylorWindow(int n, float sll, int terms) {
    para = sll;
    TaylorWindow::SetParameters(n, sll, terms);
}

void TaylorWindow::SetParameters(int n) {
    rbwScaling = 0.0f;
    para = kDefaultSll;
    TaylorWindow::SetParameters(n, kDefaultSll);
}

void TaylorWindow::SetParameters(int n, float sll) {
    TaylorWindow::SetParameters(n, sll, kDefaultNbar);
}

float TaylorWindow::ComputeFm(int terms, float sigma2, float A, int m) {
    float num = 1.0f, den = 1.0f;
    const float q = static_cast<float>(m * m);
    const float a2 = A * A;
    for (int n = 1; n < terms; ++n) {
        const float h = static_cast<float>(n) - 0.5f;
        const float numFactor = 1.0f - q / sigma2 / (h * h + a2);
        num = num * numFactor;
        if (n != m) {
            const float denFactor = 1.0f - q / static_cast<float>(n * n);
            den = den * denFactor;
        }
    }
    return (m % 2 == 0) ? -0.5f * num / den : 0.5f * num / den;
}

void TaylorWindow::SetParameters(int n, float sll, int terms) {
    // The series squares its term indices (up to nbar - 1) as ints; beyond 46341 terms they would not
    // fit, so such a request is refused before anything is stored, as is a size without a window.
    if (terms > kMaxNbar) VELA_THROW(VELAErrorInvalidInputParameter);
    StoredLength(n);
    para = sll;
    nbar = terms;
    BeginFill(n);

    const float B = static_cast<float>(std::pow(10.0, static_cast<double>(-sll / 20.0f)));
    const float r = std::sqrt(B * B - 1.0f);
    // A level above 0 dB makes B < 1 and r not a number; the negated comparison catches that too.
    if (!(B + r > 0.0f)) VELA_THROW(VELAErrorInvalidInputParameter);
    const float A = std::log(B + r) / kPi;
    const float need = 2.0f * A * A + 0.5f;
    if (!(need <= static_cast<float>(terms))) VELA_THROW(VELAErrorInvalidInputParameter);
    const float nb = static_cast<float>(terms);
    const float half = nb - 0.5f;
    const float sigma2 = nb * nb / (A * A + half * half);

    // x runs from -(N - 1) / (2N) in steps of 1/N, symmetric about 0.
    VecReal32 sum(n);
    MathUtils::Set(sum, 1.0f);
    VecReal32 x, arg, term;
    const float start = -(static_cast<float>(n - 1) / static_cast<float>(n)) * 0.5f;
    DSPUtils::Ramp(x, n, start, 1.0f / static_cast<float>(n));
    for (int m = 1; m < terms; ++m) {
        const float Fm = ComputeFm(terms, sigma2, A, m);
        // 2 Fm cos(2 pi m x), in this order of float operations.
        arg = x;
        arg *= 2.0f;
        arg *= kPi;
        arg *= static_cast<float>(m);
        MathUtils::Cos(term, arg);
        term *= 2.0f;
        term *= Fm;
        sum += term;
    }
    FinishFill(sum);
}

}  // namespace VELA
