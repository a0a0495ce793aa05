// BlackmanHarrisWindow: the four-term Blackman-Harris taper,
//   w(i) = 0.35875 - 0.48829 cos t + 0.14128 cos 2t - 0.01168 cos 3t,  t = 2 pi i / (N - 1),
// sidelobes below -92 dB.
//
// Symmetric, normalised to sum 1 and stored twice over, as every kind (Window.h). The shape has no
// parameter: the float form of SetParameters drops its argument and leaves para at 0.
#pragma once
#include "../math/VELAExport.h"

#include "Window.h"

namespace VELA {

class VELA_API BlackmanHarrisWindow : public Window {
  public:
    // No coefficients yet; resolution-bandwidth figure 1.9 bins (3 dB main-lobe width).
    BlackmanHarrisWindow();
    // Filled at once for N points.
    explicit BlackmanHarrisWindow(int size);
    BlackmanHarrisWindow(const BlackmanHarrisWindow&) = default;
    BlackmanHarrisWindow& operator=(const BlackmanHarrisWindow&) = default;
    ~BlackmanHarrisWindow() override = default;

    // Computes the N coefficients.
    void SetParameters(int size) override;
    // Sets para to 0 and computes as SetParameters(size): the float is ignored.
    void SetParameters(int size, float para) override;

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
