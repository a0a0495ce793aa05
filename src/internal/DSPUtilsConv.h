// The two ways DSPUtils::Conv computes a full linear convolution, and the rule that picks one. Not
// part of the interface of the library: the tests use it to check both paths on the same data, and the
// benchmarks to measure where one overtakes the other.
#pragma once

namespace VELA::convdetail {

// True when Conv of lengths na and nb (in any order) goes the FFT way.
bool UsesFFT(int na, int nb, bool isDouble);

// Direct sums (the signal kernel) and FFT overlap-save; both write na + nb - 1 outputs to d, which must
// not overlap the inputs. The FFT forms plan and grow their scratch per thread on first need.
void Direct(const float* a, int na, const float* b, int nb, float* d);
void Direct(const double* a, int na, const double* b, int nb, double* d);
void ByFFT(const float* a, int na, const float* b, int nb, float* d);
void ByFFT(const double* a, int na, const double* b, int nb, double* d);

// The FFT length that ByFFT uses for these lengths.
int FFTLength(int na, int nb);

}  // namespace VELA::convdetail
