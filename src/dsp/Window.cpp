#include "Window.h"

#include <cmath>
#include <cstring>

#include "../math/MathUtils.h"
#include "DSPUtils.h"
#include "internal/CheckedSize.h"
#include "internal/Aliasing.h"
#include "kernel/SpectrumKernels.h"

namespace VELA {

Window::Window() : rbwScaling(0.89f), reserved(0.0f) {}

Window::Window(int n, float p) : Window() {
    para = p;
    Window::SetParameters(n, p);
}

void Window::SetParameters(int n) {
    const int stored = StoredLength(n);
    size = n;
    coefficients.Resize(stored);
    // Rounded once to float, so the N coefficients sum to 1 within float rounding.
    MathUtils::Set(coefficients, n > 0 ? 1.0f / static_cast<float>(n) : 0.0f);
}

// The uniform window has no shape parameter; the float is deliberately not stored here.
void Window::SetParameters(int n, float) {
    Window::SetParameters(n);
}

namespace {
// Multiplies the first min(N, points) complex points of `s` by the doubled coefficients into `d` and
// copies any further points unchanged. One pass: the same values as a copy followed by an in-place
// product.
void ApplyDoubled(const float* coef, int size, const Cplx32* s, Cplx32* d, int points) {
    const int m = points < size ? points : size;
    kern::SPK().mul_f32(reinterpret_cast<const float*>(s), coef, reinterpret_cast<float*>(d), 2 * m);
    if (points > m && d != s) std::memcpy(d + m, s + m, sizeof(Cplx32) * static_cast<size_t>(points - m));
}
}  // namespace

void Window::Apply(VecCplx32& data) {
    // Interleaved (re, im) times the doubled coefficients: one real multiplication of 2N floats.
    ApplyDoubled(coefficients.Data(), size, data.Data(), data.Data(), data.GetSize());
}

void Window::Apply(VecCplx32& out, const VecCplx32& in) {
    // Resize rather than operator=, which would reallocate on every call. Element by element, so out
    // may be in.
    internal::PrepareInPlace(out, in);
    out.Resize(in.GetSize());
    ApplyDoubled(coefficients.Data(), size, in.Data(), out.Data(), in.GetSize());
}

void Window::Apply(VecReal32& out, const VecReal32& in) {
    // Every second stored float is one coefficient. Reading them in place gives the same products as
    // taking GetCoefficients into a temporary and multiplying, without allocating on the data path.
    // A block longer than the window keeps its tail unchanged, as in the complex forms.
    internal::PrepareInPlace(out, in);
    const int n = in.GetSize();
    out.Resize(n);
    const int m = n < size ? n : size;
    const float* c = coefficients.Data();
    const float* s = in.Data();
    float* d = out.Data();
    for (int i = 0; i < m; ++i)
        d[i] = s[i] * c[2 * i];
    for (int i = m; i < n; ++i)
        d[i] = s[i];
}

void Window::GetCoefficients(VecReal32& out) const {
    DSPUtils::Downsample(out, coefficients, 2);
}

float Window::GetENBW() const {
    VecReal32 w;
    GetCoefficients(w);
    const float s = w.Sum();
    w /= s;
    MathUtils::Sqr(w);
    return static_cast<float>(static_cast<double>(size) * static_cast<double>(w.Sum()));
}

float Window::GetPowerAdjustIndB() const {
    return static_cast<float>(10.0 * std::log10(static_cast<double>(GetENBW())));
}

float Window::GetNBScaleFactor() const {
    return coefficients.Sum() * 0.5f;
}

int Window::StoredLength(int n) {
    // 2N floats: a negative N, or one whose doubled form is not an int, is refused before anything
    // is written (a negative size would make Apply write before the data).
    return internal::CheckedProduct(n, 2);
}

void Window::BeginFill(int n) {
    const int stored = StoredLength(n);
    size = n;
    coefficients.Resize(stored);
    MathUtils::Set(coefficients, 1.0f);
}

void Window::FinishFill(const VecReal32& coef) {
    DSPUtils::Duplicate(coefficients, coef, 2);
    const float s = GetNBScaleFactor();
    coefficients *= 1.0f / s;
}

}  // namespace VELA
