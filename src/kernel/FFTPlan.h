// Discrete Fourier transform plans of any length, on FFTW.
//
// A plan is made for one kind (real or complex, 16/32/64-bit; the 16-bit kinds are planned in single
// precision since nothing in the library executes them) and one length, with a normalisation flag:
// 1 divides the forward transform by N, 2 the inverse by N, 4 both by sqrt(N), 8 neither.
// Forward is exp(-2 pi i k n / N), inverse exp(+2 pi i k n / N).
//
// Plan creation and destruction take one process-wide lock, because FFTW's planner is not thread-safe;
// execution takes none, so two threads may run two plans at once. Execution accepts any pointers:
// data whose alignment differs from the planner's (views into a block) run through a second plan made
// for unaligned data on first need, and in-place calls are staged through the caller's work buffer.
#pragma once

namespace VELA::kern {

enum class FFTKind { R16 = 0, C16 = 1, R32 = 2, C32 = 3, R64 = 4, C64 = 5 };

struct FFTPlan;

// A plan, or null when length <= 0 or FFTW refuses.
FFTPlan* FFTCreate(FFTKind kind, int length, int normFlag);
void FFTDestroy(FFTPlan* plan);

// The FFTW planner flags (the rigour: FFTW_ESTIMATE, FFTW_MEASURE, ...) used for plans of `kind` and
// `length` points. Benchmarks plan their raw-FFTW anchors with the same flags.
unsigned FFTPlannerFlags(FFTKind kind, int length);
// The same for complex float (FFTKind::C32).
unsigned FFTPlannerFlags(int length);

// Bytes of work buffer that execution may use (staging of in-place and real-inverse input).
int FFTWorkBytes(const FFTPlan* plan);

// Complex to complex: n complex points from `in` to `out` (interleaved re, im). in == out allowed.
void FFTExecC32(FFTPlan* plan, const float* in, float* out, bool forward, void* work);
void FFTExecC64(FFTPlan* plan, const double* in, double* out, bool forward, void* work);

// Real forward: n reals in, bins 0..n/2 out (n/2 + 1 complex points at the start of `out`).
void FFTExecR2C32(FFTPlan* plan, const float* in, float* out, void* work);
void FFTExecR2C64(FFTPlan* plan, const double* in, double* out, void* work);

// Real inverse: bins 0..n/2 read from `in` (which is left unchanged), n reals out.
void FFTExecC2R32(FFTPlan* plan, const float* in, float* out, void* work);
void FFTExecC2R64(FFTPlan* plan, const double* in, double* out, void* work);

}  // namespace VELA::kern
