// KaiserWindow and CISPR6dBWindow.
//
// Kaiser taper with beta = para: w(n) = I0(alpha sqrt(n (N - 1 - n))) / I0(alpha (N - 1) / 2), where
// alpha = 2 beta / (N - 1) is rounded to float before use, so the shape is that of the classic Kaiser
// window of beta' = alpha (N - 1) / 2 (beta up to float rounding). I0 is evaluated in double for all N
// points, then rounded to float. Normalised to sum 1 and stored twice over, as every kind (Window.h).
//
// The mode is a preset of beta and of the resolution-bandwidth figure; it does not change the formula.
// A Kaiser window built or reset with an explicit beta keeps whatever rbwScaling it had (0.89, the
// uniform window's, when built by KaiserWindow(int, float)): only the presets carry a figure.
#pragma once
#include "../math/VELAExport.h"

#include "Window.h"

namespace VELA {

class VELA_API KaiserWindow : public Window {
  public:
    // No coefficients yet; the mode's rbwScaling (2.2292 standard, 2.0859 CISPR).
    explicit KaiserWindow(KaiserWindowModeTag mode = KaiserWindowModeStandard);
    // Standard mode: beta 16.71, rbwScaling 2.2292, filled at once.
    explicit KaiserWindow(int size);
    // The mode's beta and rbwScaling, filled at once.
    KaiserWindow(int size, KaiserWindowModeTag mode);
    // Beta of the caller's choice, filled at once. rbwScaling stays 0.89 and the mode at standard.
    KaiserWindow(int size, float beta);
    KaiserWindow(const KaiserWindow&) = default;
    KaiserWindow& operator=(const KaiserWindow&) = default;
    ~KaiserWindow() override = default;

    // Back to the standard preset (beta 16.71, rbwScaling 2.2292, mode standard) and computes.
    void SetParameters(int size) override;
    // Stores beta and computes; rbwScaling and mode are left as they are.
    void SetParameters(int size, float beta) override;
    // Stores the mode (a value other than 1 counts as standard), takes its rbwScaling and beta, computes.
    void SetParameters(int size, KaiserWindowModeTag mode);

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    KaiserWindowModeTag mode{};
};

// The Kaiser window of the CISPR preset (beta 14.6), quoted at its 6 dB main-lobe width (2.9405 bins),
// since a CISPR receiver's bandwidth is defined at 6 dB.
class VELA_API CISPR6dBWindow : public KaiserWindow {
  public:
    // No coefficients yet; rbwScaling 2.9405, mode CISPR.
    CISPR6dBWindow();
    // Beta 14.6, filled at once.
    explicit CISPR6dBWindow(int size);
    CISPR6dBWindow(const CISPR6dBWindow&) = default;
    CISPR6dBWindow& operator=(const CISPR6dBWindow&) = default;
    ~CISPR6dBWindow() override = default;

    // Back to the preset (rbwScaling 2.9405, mode CISPR, beta 14.6) and computes.
    void SetParameters(int size) override;
    // Kaiser's: a beta of the caller's own, with rbwScaling kept at 2.9405.
    using KaiserWindow::SetParameters;

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
