// Plain scalar reference of the half-band kernels: the definition of what every optimised level
// computes. Built without auto-vectorisation; clarity over speed.
#include "kernel/HalfBandKernels.h"

namespace VELA::kern::reference {
namespace {

void Decim2(const float* s, float* d, int m, const float* coefs, int pairs) {
    if (pairs <= 0) return;
    const int c = 2 * pairs - 1;
    for (int o = 0; o < m; ++o) {
        const int p = c + 2 * o;
        for (int part = 0; part < 2; ++part) {
            const float* x = s + part;  // every second float: the real or the imaginary plane
            float acc = static_cast<float>(static_cast<double>(coefs[0]) * static_cast<double>(x[2 * p]));
            for (int j = 0; j < pairs; ++j) {
                const double pairSum =
                    static_cast<double>(x[2 * (p - 1 - 2 * j)]) + static_cast<double>(x[2 * (p + 1 + 2 * j)]);
                acc = static_cast<float>(static_cast<double>(acc) +
                                         static_cast<double>(coefs[j + 1]) * pairSum);
            }
            d[2 * o + part] = acc;
        }
    }
}

}  // namespace

extern const HalfBandKernelTable kHalfBandTable;
const HalfBandKernelTable kHalfBandTable = {
    .name = "reference",
    .decim2_c32 = Decim2,
};

}  // namespace VELA::kern::reference
