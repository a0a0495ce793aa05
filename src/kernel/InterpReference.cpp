// Reference level of the interpolation kernels: it evaluates nothing and leaves every query to the
// scalar forms of InterpScalar.h, which are the definition of what the optimised levels compute.
#include "kernel/InterpKernels.h"

namespace VELA::kern::reference {
namespace {

int LinearF64(const double*, double*, int, double, double, double, double, double) {
    return 0;
}
int LinearF32(const float*, float*, int, float, float, float, float, float) {
    return 0;
}
int SplineF64(const double*, double*, int, double, double, const double*) {
    return 0;
}
int SplineF32(const float*, float*, int, float, float, const float*) {
    return 0;
}
int HermiteF64(const double*, double*, int, double, double, const double*) {
    return 0;
}
int HermiteF32(const float*, float*, int, float, float, const double*) {
    return 0;
}

int KnotFindF64(const double*, int, const double*, const int32_t*, double, double, double, int, int32_t*) {
    return 0;
}
int KnotFindF32(const float*, int, const float*, const int32_t*, double, double, double, int, int32_t*) {
    return 0;
}

}  // namespace

extern const InterpKernelTable kInterpTable;
const InterpKernelTable kInterpTable = {
    .name = "reference",
    .linear_f64 = LinearF64,
    .linear_f32 = LinearF32,
    .spline_f64 = SplineF64,
    .spline_f32 = SplineF32,
    .hermite_f64 = HermiteF64,
    .hermite_f32 = HermiteF32,
    .knot_find_f64 = KnotFindF64,
    .knot_find_f32 = KnotFindF32,
};

}  // namespace VELA::kern::reference
