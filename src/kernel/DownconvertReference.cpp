// Plain scalar reference of the downconverter kernels: the definition of what every optimised level
// computes. Built without auto-vectorisation; clarity over speed.
#include <cmath>

#include "kernel/DownconvertKernels.h"

namespace VELA::kern::reference {
namespace {

void Mix(const float* x, float* dI, float* dQ, int n, double w, int64_t count0, const double*) {
    for (int i = 0; i < n; ++i) {
        const double a = w * static_cast<double>(count0 + i);
        const double v = x[i];
        dI[i] = static_cast<float>(std::cos(a) * v);
        dQ[i] = static_cast<float>(std::sin(a) * v);
    }
}

float FoldOne(const float* r, const float* h, int pairs) {
    float acc = 0.0f;
    for (int k = 0; k < pairs; ++k)
        acc += h[k] * (r[k] + r[2 * pairs - k]);
    return acc + h[pairs] * r[pairs];
}

void FoldFir(const float* rI, const float* rQ, const float* h, int pairs, float* d) {
    if (pairs < 0) return;
    d[0] = FoldOne(rI, h, pairs);
    d[1] = FoldOne(rQ, h, pairs);
}

void Dot(const float* rI, const float* rQ, const float* h, int L, float* d) {
    double si = 0.0, sq = 0.0;
    for (int k = 0; k < L; ++k) {
        si += static_cast<double>(h[k] * rI[k]);
        sq += static_cast<double>(h[k] * rQ[k]);
    }
    d[0] = static_cast<float>(si);
    d[1] = static_cast<float>(sq);
}

}  // namespace

extern const DownconvertKernelTable kDownconvertTable;
const DownconvertKernelTable kDownconvertTable = {
    .name = "reference",
    .mix_real_f32 = Mix,
    .fold_fir_f32 = FoldFir,
    .dot_f32 = Dot,
};

}  // namespace VELA::kern::reference
