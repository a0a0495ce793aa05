// Plain scalar reference of the colour-map kernels: the definition of what every optimised level
// computes. Built without auto-vectorisation.
#include "kernel/ColorMapKernels.h"

namespace VELA::kern::reference {
namespace {

void Density(const float* d, float low, float range, float* q, uint16_t* c, int n) {
    for (int i = 0; i < n; ++i) {
        q[i] = (d[i] - low) / range;
        c[i] = DensityToColour(q[i]);
    }
}

void Hits(const uint16_t* h, uint16_t lowCount, uint16_t rangeCount, uint16_t* c, int n) {
    for (int i = 0; i < n; ++i)
        c[i] = HitsToColour(h[i], lowCount, rangeCount);
}

}  // namespace

extern const ColorMapKernelTable kColorMapTable;
const ColorMapKernelTable kColorMapTable = {
    .name = "reference",
    .density_u16 = Density,
    .hits_u16 = Hits,
};

}  // namespace VELA::kern::reference
