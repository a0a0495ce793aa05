// ChirpZ: the spectrum of a block at M equally spaced frequencies anywhere in the band (a zoom), by
// Bluestein's algorithm on power-of-two transforms.
//
//   X[j] = sum_{n<N} x[n] exp(-i 2pi n (startFreq + j freqStep) / Fs),  j = 0 .. M-1, unscaled.
//
// 2pi here is 6.2831854820251465, the float nearest to 2pi widened to double, on purpose: measurements
// built on this class quote their figures with that constant. All tables are computed from
// double-precision angles; the 32-bit set only rounds the results, which is what keeps long chirps
// (N, M in the hundreds of thousands) accurate in single precision.
//
// The object is planned once for fixed sizes and frequencies. Apply allocates nothing once `out` has
// grown: scratch lives in the object. One object serves one thread at a time.
//
// Copies share the transform object (flat pointer copy): after a copy only one of the two may be
// destroyed.
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"

namespace VELA {

namespace kern {
struct FFTPlan;
}
class FT;
class UnitTestRecorder;

class VELA_API ChirpZ {
  public:
    // inputSize N (points read from each block), sampleRate Fs, outputSize M, startFreq and freqStep in
    // the unit of Fs. use64 picks the double-precision tables (and Apply overload). N or M below 1, or
    // N + M - 1 above 2^30, throws "invalid input parameter" before anything is allocated.
    ChirpZ(int inputSize, double sampleRate, int outputSize, double startFreq, double freqStep, bool use64);
    ChirpZ(const ChirpZ& other);
    ChirpZ& operator=(const ChirpZ& other);
    virtual ~ChirpZ();

    // `in` holds at least N points. On return `out` holds the M outputs as a view into the tail of its
    // own storage (its data pointer advanced by N-1); the next Resize of `out` returns to the start.
    // The 32-bit form needs use64 false, the 64-bit form use64 true; the other width, or a block of
    // fewer than N points, throws "invalid input parameter" and leaves `out` alone. out may be in (a
    // view included): the block is read in full before out is touched.
    void Apply(VecCplx32& out, const VecCplx32& in);
    void Apply(VecCplx64& out, const VecCplx64& in);
    // out = |X[j]| (ApplyMagnitude) or |X[j]|^2 (ApplyPower), j = 0 .. M-1, of the block `in` weighted
    // point by point: x[n] weights[n] for n < N, one real weight per point (a window's coefficients).
    // The values, bit for bit, of windowing the block (Window::Apply with those coefficients), Apply and
    // DSPUtils::Mag (MagSqr), in one call without the complex intermediates. 32-bit objects only; a
    // 64-bit object, a block of fewer than N points or fewer than N weights throws "invalid input
    // parameter" and leaves `out` alone.
    void ApplyMagnitude(VecReal32& out, const VecCplx32& in, const VecReal32& weights);
    void ApplyPower(VecReal32& out, const VecCplx32& in, const VecReal32& weights);

    int GetInputSize() const { return inputSize; }
    int GetOutputSize() const { return outputSize; }
    int GetFFTSize() const { return fftSize; }
    int GetChirpSize() const { return chirpSize; }

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void CheckApply(bool wide, int inSize) const;
    void RunWeighted(VecReal32& out, const VecCplx32& in, const VecReal32& weights, bool power);
    template <class Vec>
    void Run(Vec& out, const Vec& in, Vec& preChirp, Vec& impulseSpectrum, Vec& work, Vec& workSpectrum,
             Vec& postChirp);

    VecCplx64 preChirp64, impulse64, impulseSpectrum64, work64, workSpectrum64, postChirp64;
    VecCplx32 preChirp32, impulse32, impulseSpectrum32, work32, workSpectrum32, postChirp32;
    VecCplx32 inverse32;  // the inverse transform of the weighted forms (L points)
    // The transform object's plan of L points and its work buffer, for the weighted forms' two
    // transforms (the object never plans another length, so neither changes after construction).
    kern::FFTPlan* plan32 = nullptr;
    void* planWork32 = nullptr;
    int inputSize;
    int outputSize;
    int fftSize;    // L: power of two at or above N + M - 1
    int chirpSize;  // K = N + max(N, M) - 1
    bool use64;
    FT* ft;
};

}  // namespace VELA
