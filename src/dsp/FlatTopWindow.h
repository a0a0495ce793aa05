// FlatTopWindow: a five-term flat-top taper,
//   w(i) = 0.213283237831627 - 0.414006058783449 cos t + 0.279055911943775 cos 2t
//          - 0.0861666667911267 cos 3t + 0.00748812465002295 cos 4t,  t = 2 pi i / (N - 1).
// The main lobe is flat, so a tone between bins still reads close to its amplitude. The coefficient
// set is this library's own and differs slightly from the one in scipy's flattop.
//
// Symmetric, normalised to sum 1 and stored twice over, as every kind (Window.h). The shape has no
// parameter: the float form of SetParameters drops its argument and leaves para at 0.
#pragma once
#include "../math/VELAExport.h"

#include "Window.h"

namespace VELA {

class VELA_API FlatTopWindow : public Window {
  public:
    // No coefficients yet; resolution-bandwidth figure 3.77 bins (3 dB main-lobe width).
    FlatTopWindow();
    // Filled at once for N points.
    explicit FlatTopWindow(int size);
    FlatTopWindow(const FlatTopWindow&) = default;
    FlatTopWindow& operator=(const FlatTopWindow&) = default;
    ~FlatTopWindow() override = default;

    // Computes the N coefficients.
    void SetParameters(int size) override;
    // Sets para to 0 and computes as SetParameters(size): the float is ignored.
    void SetParameters(int size, float para) override;

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
