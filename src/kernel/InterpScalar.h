// One element of each interpolation kernel, as the reference defines it. Shared by the reference, the
// tails of the optimised levels and the interpolators' own code for short runs, so that all of them
// perform the same operations. Contraction into fused multiply-adds must be off where this is used
// with FMA available (the optimised levels switch it off; the library's other code is built for the
// baseline, which has no FMA).
#pragma once

namespace VELA::kern::scalar {

inline double Linear(double q, double xk, double s, double yk) {
    return (q - xk) * s + yk;
}
inline float Linear(float q, float xk, float s, float yk) {
    return (q - xk) * s + yk;
}

inline double Spline(double q, const double* seg) {
    const double h = seg[1] - seg[0];
    const double a = (seg[1] - q) / h;
    const double b = (q - seg[0]) / h;
    return a * seg[2] + b * seg[3] + ((a * a * a - a) * seg[4] + (b * b * b - b) * seg[5]) * (h * h) / 6.0;
}
inline float Spline(float q, const float* seg) {
    const float h = seg[1] - seg[0];
    const float a = (seg[1] - q) / h;
    const float b = (q - seg[0]) / h;
    const float sum = a * seg[2] + b * seg[3];
    const float curve = ((a * a * a - a) * seg[4] + (b * b * b - b) * seg[5]) * (h * h);
    return static_cast<float>(static_cast<double>(sum) + static_cast<double>(curve) / 6.0);
}

inline double Hermite(double q, const double* c) {
    const double t = q - c[0];
    return c[1] + t * (c[2] + t * (c[3] + t * c[4]));
}
inline float Hermite(float q, const double* c) {
    const double t = static_cast<double>(q) - c[0];
    return static_cast<float>(c[1] + t * (c[2] + t * (c[3] + t * c[4])));
}

}  // namespace VELA::kern::scalar
