// TaylorWindow: the Taylor taper of `nbar` terms for a sidelobe level `sll` in dB (negative),
//   w(x) = 1 + 2 sum_{m=1}^{nbar-1} F_m cos(2 pi m x),  x = (i - (N - 1) / 2) / N,
// normalised to sum 1 and stored twice over, as every kind (Window.h).
//
// Everything is computed in float, rounded at each step, with the float nearest pi; the positions x
// come from a float ramp, so the two halves can differ in the last bit. A deeper sidelobe level needs
// more terms: the level is refused unless 2 A^2 + 0.5 <= nbar (A = acosh(10^(-sll/20)) / pi), so -30 dB
// just passes with the default nbar of 4.
//
// A Taylor window has no resolution-bandwidth figure of its own: rbwScaling is 0 after the preset
// (TaylorWindow(int), SetParameters(int)) and keeps the base's 0.89 when built with an explicit level.
// There is no WindowType for it; only direct construction makes one.
#pragma once
#include "../math/VELAExport.h"

#include "Window.h"

namespace VELA {

class VELA_API TaylorWindow : public Window {
  public:
    // sll -30 dB, nbar 4, rbwScaling 0.
    explicit TaylorWindow(int size);
    // The caller's sll, nbar 4; rbwScaling stays 0.89. Throws as SetParameters(int, float, int).
    TaylorWindow(int size, float sll);
    // The caller's sll and nbar; rbwScaling stays 0.89. Throws as SetParameters(int, float, int).
    TaylorWindow(int size, float sll, int nbar);
    TaylorWindow(const TaylorWindow&) = default;
    TaylorWindow& operator=(const TaylorWindow&) = default;
    ~TaylorWindow() override = default;

    // The preset: rbwScaling 0, sll -30 dB, nbar 4.
    void SetParameters(int size) override;
    // sll with nbar 4.
    void SetParameters(int size, float sll) override;
    // Stores N, sll (as para) and nbar, then computes. A level above 0 dB, or one too deep for nbar,
    // throws VELAException "invalid input parameter" (VELAErrorInvalidInputParameter); the window is then
    // left with the new N, sll and nbar and all coefficients 1.0 (no rollback). An nbar above 46341
    // (whose index squares leave int range) or a size refused by the base throws the same before
    // anything is stored.
    void SetParameters(int size, float sll, int nbar);

    // Coefficient F_m of term m, in float: +-0.5 prod_n (1 - m^2 / sigma2 / ((n - 1/2)^2 + A^2)) /
    // prod_{n != m} (1 - m^2 / n^2), n = 1 .. nbar - 1, positive for odd m and negative for even m.
    static float ComputeFm(int nbar, float sigma2, float A, int m);

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    int nbar{};  // number of terms of the series (nbar - 1 cosines)
};

}  // namespace VELA
