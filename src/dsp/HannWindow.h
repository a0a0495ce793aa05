// HannWindow: w(i) = 0.5 - 0.5 cos t,  t = 2 pi i / (N - 1) (the symmetric form).
//
// Symmetric, normalised to sum 1 and stored twice over, as every kind (Window.h). The shape has no
// parameter: the float form of SetParameters drops its argument and leaves para at 0.
#pragma once
#include "../math/VELAExport.h"

#include "Window.h"

namespace VELA {

class VELA_API HannWindow : public Window {
  public:
    // No coefficients yet; resolution-bandwidth figure 1.44 bins (3 dB main-lobe width).
    HannWindow();
    // Filled at once for N points.
    explicit HannWindow(int size);
    HannWindow(const HannWindow&) = default;
    HannWindow& operator=(const HannWindow&) = default;
    ~HannWindow() override = default;

    // Computes the N coefficients.
    void SetParameters(int size) override;
    // Sets para to 0 and computes as SetParameters(size): the float is ignored.
    void SetParameters(int size, float para) override;

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
