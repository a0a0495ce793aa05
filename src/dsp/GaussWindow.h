// GaussWindow: w(i) = e^(-2 a^2 v^2) with v = (i - (N - 1) / 2) / N and a = para (3.5 by default).
//
// The divisor of v is N, not N - 1, so the taper is a Gaussian of standard deviation N / (2a) samples
// whatever N is. The base is the float nearest e, widened (2.7182817459106445), which is part of the
// library's figures. Symmetric, normalised to sum 1 and stored twice over, as every kind (Window.h).
#pragma once
#include "../math/VELAExport.h"

#include "Window.h"

namespace VELA {

class VELA_API GaussWindow : public Window {
  public:
    // No coefficients yet; para 3.5, resolution-bandwidth figure 1.86 bins.
    GaussWindow();
    // Filled at once for N points with a = 3.5.
    explicit GaussWindow(int size);
    GaussWindow(const GaussWindow&) = default;
    GaussWindow& operator=(const GaussWindow&) = default;
    ~GaussWindow() override = default;

    // Resets a to the default 3.5 and computes.
    void SetParameters(int size) override;
    // Stores a (larger a: narrower taper, wider main lobe) and computes. rbwScaling keeps 1.86.
    void SetParameters(int size, float a) override;

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
