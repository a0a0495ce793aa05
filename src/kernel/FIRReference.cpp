// Plain scalar reference of the FIR kernels: the definition of what every optimised level computes.
// Built without auto-vectorisation; clarity over speed.
#include "kernel/FIRKernels.h"

namespace VELA::kern::reference {
namespace {

// From the last output backward, which is what makes d == s + taps - 1 work.
void Fir(const float* s, int n, const float* g, int taps, float* d) {
    for (int i = n - 1; i >= 0; --i) {
        float acc = 0.0f;
        for (int j = 0; j < taps; ++j)
            acc += g[j] * s[i + j];
        d[i] = acc;
    }
}

}  // namespace

extern const FIRKernelTable kFIRTable;
const FIRKernelTable kFIRTable = {
    .name = "reference",
    .fir_f32 = Fir,
};

}  // namespace VELA::kern::reference
