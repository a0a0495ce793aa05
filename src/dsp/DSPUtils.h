// DSPUtils: the small signal operations that the rest of the library shares (trace detection, phase
// unwrapping and folding, frequency shifting, correlation, convolution, FIR design, the FPGA gain
// rule, sampling, and measures of complex data).
//
// Static functions only; the class has no state. Conventions:
// - the first non-const reference is the output; an operation resizes it with the vector's Resize,
//   so an output vector is reused without allocation once it has grown (a view on it is dropped);
// - an output may be the same object as an input of its type, a view included, and gets what a
//   separate output would get, bit for bit. Element-wise and forward-scanning operations (Downsample,
//   CumSum, Mag of planes, Max, ShiftFreq, Derivative, Unwrap, Detect with n = 1, the residual of
//   LinearLeastSquareFit, GetFPGAGain) then run in place without allocating; the others (Upsample,
//   Duplicate, FFTShift, CrossCorr, CrossCorr2, Conv, MovingAverage, Detect with groups) read such
//   an input from a temporary copy;
// - lengths are not compared: a two-input operation takes the length of the input that its comment
//   names, and a shorter second operand is read past its end;
// - frequencies are fractions of the sample rate (cycles per sample), phases and angles in radians;
// - nothing here throws of its own; the vector operators it uses may (a zero peak in GetFPGAGain is a
//   "divide-by-zero error").
// Conv keeps FFT plans and scratch per thread for its long-operand path, so a steady series of
// convolutions of one shape allocates nothing after the first; everything else works in its outputs.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

#include "../math/IntVector.h"
#include "../math/Vector.h"
#include "../math/matrix.h"

namespace VELA {

class UnitTestRecorder;

// What Detect makes of each group of samples. The values are shared with the trace detectors of the
// spectrum measurements.
enum DetectorType : int32_t {
    DetectorAve = 0,             // mean of each group
    DetectorMax = 1,             // maximum of each group
    DetectorMin = 2,             // minimum of each group
    DetectorMaxMin = 3,          // maximum, then minimum: two outputs per group
    DetectorRms = 4,             // root mean square of each group
    DetectorSample = 5,          // first sample of each group
    DetectorCISPRQuasiPeak = 6,  // Detect leaves its output alone (the CISPR detector does this work)
    DetectorCISPRAverage = 7,    // in Detect, as DetectorAve
    DetectorCISPRPeak = 8,       // in Detect, as DetectorMax
};

class VELA_API DSPUtils {
  public:
    // ---------------- sampling and generation ----------------
    // out[j] = in[j * factor + phase]; out gets (factor - phase + in.size - 1) / factor elements.
    // A factor below 1 or a phase outside [0, factor) is refused: out is left with 0 elements.
    static void Downsample(VecReal32& out, const VecReal32& in, int factor, int phase = 0);
    static void Downsample(VecReal64& out, const VecReal64& in, int factor, int phase = 0);
    static void Downsample(VecCplx32& out, const VecCplx32& in, int factor, int phase = 0);
    static void Downsample(VecCplx64& out, const VecCplx64& in, int factor, int phase = 0);
    // out gets in.size * factor elements: in[j] at j * factor + phase, zeros elsewhere. Refused
    // arguments (as in Downsample) leave out with 0 elements.
    static void Upsample(VecReal32& out, const VecReal32& in, int factor, int phase = 0);
    static void Upsample(VecReal64& out, const VecReal64& in, int factor, int phase = 0);
    static void Upsample(VecCplx32& out, const VecCplx32& in, int factor, int phase = 0);
    // Kept as it has always behaved: the routine of the 32-bit complex form runs over the 64-bit
    // vector's memory, taking it as in.size 32-bit complex elements and writing in.size * factor such
    // elements, i.e. the first half of out's in.size * factor 64-bit elements; the second half is left
    // as it was. Only the VecCplx32 form gives a correct signal.
    static void Upsample(VecCplx64& out, const VecCplx64& in, int factor, int phase = 0);
    // Each element `factor` times in a row; out has in.size * factor elements (0 for a factor below 1).
    static void Duplicate(VecReal32& out, const VecReal32& in, int factor);
    static void Duplicate(VecReal64& out, const VecReal64& in, int factor);
    static void Duplicate(VecCplx32& out, const VecCplx32& in, int factor);
    static void Duplicate(VecCplx64& out, const VecCplx64& in, int factor);
    // out[i] = start + i * slope for i < n (formed in double, then rounded in the float form).
    static void Ramp(VecReal32& out, int n, float start, float slope);
    static void Ramp(VecReal64& out, int n, double start, double slope);
    // n values uniform in [low, high). The seed is the address of `out`, so one vector object repeats
    // its sequence from call to call and two objects differ.
    static void Rand(VecReal32& out, int n, float low, float high);
    // The same with the caller's seed word as the generator state; it is advanced, so consecutive calls
    // continue one sequence and a saved seed replays it.
    static void Rand(VecReal32& out, unsigned int& seed, int n, float low, float high);
    // Running sum, rounded to the element type at each step.
    static void CumSum(VecReal32& out, const VecReal32& in);
    static void CumSum(VecReal64& out, const VecReal64& in);

    // ---------------- magnitude, phase and form ----------------
    static void Mag(VecReal32& out, const VecCplx32& in);  // sqrt(re^2 + im^2)
    static void Mag(VecReal64& out, const VecCplx64& in);
    // From separate planes; the length is that of re.
    static void Mag(VecReal32& out, const VecReal32& re, const VecReal32& im);
    static void MagSqr(VecReal32& out, const VecCplx32& in);  // re^2 + im^2
    static void MagSqr(VecReal64& out, const VecCplx64& in);
    // 10 log10(re^2 + im^2) in dB, through the guarded in-place logarithm of MathUtils: a zero sample
    // gives about -400 dB instead of minus infinity.
    static void MagdB(VecReal32& out, const VecCplx32& in);
    static void MagdB(VecReal64& out, const VecCplx64& in);
    static void Phase(VecReal32& out, const VecCplx32& in);  // atan2(im, re), radians
    static void Phase(VecReal64& out, const VecCplx64& in);
    // Both outputs resized to in.size. mag and phase must be two vectors: one vector for both throws
    // "invalid input parameter".
    static void CartToPolar(VecReal32& mag, VecReal32& phase, const VecCplx32& in);
    // The length is that of mag.
    static void PolarToCart(VecCplx32& out, const VecReal32& mag, const VecReal32& phase);
    // L2 norms, accumulated in double.
    static float Norm(const VecReal32& in);
    static double Norm(const VecCplx32& in);
    static double Norm(const VecCplx64& in);
    // max / mean, a plain ratio (not dB).
    static float PeakToAve(const VecReal32& in);
    // x *= (cos angle, sin angle), each rounded to float.
    static void RotatePhase(VecCplx32& x, float angle);
    // Swaps the halves: with h = n/2 + (n odd), the first h elements (the larger part at an odd n) go
    // to the back.
    static void FFTShift(VecReal32& out, const VecReal32& in);
    static void FFTShift(VecReal64& out, const VecReal64& in);
    static void FFTShift(VecInt32& out, const VecInt32& in);
    // out[i] = (b[i] < a[i]) ? a[i] : b[i]: a tie or a NaN takes b. The length is that of a.
    static void Max(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void Max(VecReal64& out, const VecReal64& a, const VecReal64& b);

    // ---------------- frequency and correlation ----------------
    // out[i] = in[i] exp(j (2 pi freq i + phase)); freq in cycles per sample. A freq outside [0, 1) is
    // taken modulo 1, which is the same tone at the sample instants.
    static void ShiftFreq(VecCplx32& out, const VecCplx32& in, float freq, float phase);
    // In place: x[i] *= exp(j (2 pi freq i + phase)) when up, else by its conjugate (which negates the
    // phase as well).
    static void ShiftFreq(VecCplx32& x, float freq, float phase, bool up);
    // Cross-correlation over every lag: out gets 2 max(a.size, b.size) - 1 elements, the centre one being
    // lag 0: out[k] = sum_i conj(b[i]) a[i + k - (L - 1)] with L = max(a.size, b.size) (no conjugation
    // for real data). Exchanging the arguments reverses the real result.
    static void CrossCorr(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void CrossCorr(VecCplx32& out, const VecCplx32& a, const VecCplx32& b);
    // Lags 0 .. out.size - 1 only; out is not resized, its size sets the number of lags:
    // out[k] = sum_i conj(b[i]) a[i + k].
    static void CrossCorr2(VecCplx32& out, const VecCplx32& a, const VecCplx32& b);
    // Full linear convolution, a.size + b.size - 1 elements (none when either is empty). Direct for a
    // short operand, by FFT overlap-save for long ones; the two agree to rounding.
    static void Conv(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void Conv(VecReal64& out, const VecReal64& a, const VecReal64& b);

    // ---------------- FIR design ----------------
    // Linear-phase FIR of `taps` coefficients: the ideal response times a Hamming window, normalised to
    // unit gain at 0 (LowPass), at half the sample rate (HighPass) or at the band centre (BandPass).
    // Cut-offs are fractions of the sample rate. The float forms design in double and round.
    // Valid designs need taps >= 5 and 0 < cutoff < 0.5 (0 < low < high < 0.5); HighPass also needs an
    // odd tap count, since a symmetric even-length filter is always zero at half the sample rate. Any
    // other request returns false and leaves `taps` zeros in out (0 elements for a negative count).
    static bool LowPass(VecReal32& out, float cutoff, int taps);
    static bool LowPass(VecReal64& out, double cutoff, int taps);
    static bool HighPass(VecReal32& out, float cutoff, int taps);
    static bool HighPass(VecReal64& out, double cutoff, int taps);
    static bool BandPass(VecReal32& out, float low, float high, int taps);
    static bool BandPass(VecReal64& out, double low, double high, int taps);

    // ---------------- analysis ----------------
    // out[i] = in[i + 1] - in[i], in.size - 1 elements (0 for an empty input); no division by a step.
    static void Derivative(VecReal32& out, const VecReal32& in);
    static void Derivative(VecReal64& out, const VecReal64& in);
    static void Derivative(VecCplx32& out, const VecCplx32& in);
    static void Derivative(VecCplx64& out, const VecCplx64& in);
    // Centred moving average over w samples; the edges, where the window does not fit, keep their input
    // values. For an even w the window of output i is in[i - w/2 .. i + w/2 - 1].
    static void MovingAverage(VecReal32& out, const VecReal32& in, int w);
    static void MovingAverage(VecReal64& out, const VecReal64& in, int w);
    // Least-squares line y = slope x + intercept over x.size points, sums in double.
    static void LinearLeastSquareFit(float& slope, float& intercept, const VecReal32& x, const VecReal32& y);
    static void LinearLeastSquareFit(double& slope, double& intercept, const VecReal64& x,
                                     const VecReal64& y);
    // As above, then residual[i] = y[i] - intercept - i slope: the line is evaluated at the index i, not at
    // x[i], which is what the callers of this form rely on.
    static void LinearLeastSquareFit(double& slope, double& intercept, VecReal64& residual,
                                     const VecReal64& x, const VecReal64& y);
    // Normal equations: beta = inv(A^T A) A^T y, beta resized to (columns of A) x 1. y is rows x 1.
    // A singular A^T A throws "singular matrix" from MathUtils::Inv.
    static void LinearLeastSquareFit(MatReal64& beta, const MatReal64& y, const MatReal64& A);
    // Linear interpolation at the fractional index pos. Beyond the last pair the line through the last
    // two samples is extended (and before the first pair, the line through the first two). A vector of
    // one sample gives that sample; an empty one gives 0.
    static float GetArbPointValue(const VecReal32& in, double pos);
    // Trapezoid sum between the fractional indices from and to (see the body for the exact pieces; a
    // `from` below 1 skips the partial first piece).
    static double Integrate(const VecReal32& in, double from, double to);
    // Folds every element into (-pi, pi], in place.
    static void MapPhase(VecReal32& x);
    static void MapPhase(VecReal64& x);
    // Removes jumps of one period between neighbours: a step larger than half a period adds or removes
    // one period from everything after it (one period per step, however large the step).
    static void Unwrap(VecReal32& out, const VecReal32& in, float period);
    static void Unwrap(VecReal64& out, const VecReal64& in, double period);
    // In place, outward from index ref whose neighbour value is taken to be refValue: each step is
    // brought within half a period by as many periods as needed, forward to the end, then backward from
    // ref - 1 to 0 starting at the corrected x[ref].
    static void Unwrap(VecReal32& x, int ref, float refValue, float period);
    static void Unwrap(VecReal64& x, int ref, double refValue, double period);
    // Reduces each group of n samples to one value (two for DetectorMaxMin: maximum then minimum).
    // in.size < n: out gets 0 elements. n == 1: out is a copy of in (each sample twice for
    // DetectorMaxMin), for every type. Otherwise trailing samples that do not fill a group are dropped,
    // and DetectorCISPRQuasiPeak or a value above 8 leaves out untouched. n must not be 0.
    static void Detect(VecReal32& out, const VecReal32& in, int n, DetectorType type);
    // Scales FIR taps for a hardware filter whose gain is a power of two: out = coefficients / peak
    // (largest tap 1), then, unless their sum is already a power of two, scaled so that the sum is the
    // power of two below it; `gain` is that power of two. A tap sum <= 0 (no such gain) leaves out
    // normalised to the peak and gain 0.
    static void GetFPGAGain(VecReal32& out, float& gain, const VecReal32& coefficients);
    // The same for the gain at refFreq (cycles per sample): the sum is the magnitude of the response
    // there, and a response below one half is raised by a further power of two.
    static void GetFPGAGain(VecReal32& out, float& gain, const VecReal32& coefficients, float refFreq);

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
