// Discrete Fourier transform plans of any length, on FFTW.
//
// A plan is made for one kind (real or complex, 16/32/64-bit; the 16-bit kinds are planned in single
// precision since nothing in the library executes them) and one length, with a normalisation flag:
// 1 divides the forward transform by N, 2 the inverse by N, 4 both by sqrt(N), 8 neither.
// Forward is exp(-2 pi i k n / N), inverse exp(+2 pi i k n / N).
//
// Plan creation and destruction take one process-wide lock, because FFTW's planner is not thread-safe;
// execution takes none, so two threads may run two plans at once. Execution accepts any pointers:
// in-place calls and inputs whose alignment differs from the planner's (views into a block) are staged
// through the caller's work buffer; only a misaligned output runs through a second plan, made with
// FFTW_ESTIMATE on first need.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace VELA::kern {

enum class FFTKind { R16 = 0, C16 = 1, R32 = 2, C32 = 3, R64 = 4, C64 = 5 };

struct FFTPlan;

// A plan, or null when length <= 0, length > FFTMaxLength(kind) or FFTW refuses.
FFTPlan* FFTCreate(FFTKind kind, int length, int normFlag);
// The longest transform of `kind`: the longest vector of its element type the allocators give.
int FFTMaxLength(FFTKind kind);
void FFTDestroy(FFTPlan* plan);

// How hard FFTW's planner works for plans made from now on. Automatic (the default): FFTW_ESTIMATE at
// every length, a few milliseconds per plan and the same plan in every process. The others apply their
// FFTW flag to every length. secondsPerPlan > 0 bounds each plan's planning time (FFTW then keeps the best
// plan found in time, at worst the ESTIMATE plan); anything else removes the bound. MeasureDirect:
// FFTW_MEASURE | FFTW_NO_INDIRECT_OP.
enum class FFTRigour : int32_t {
    Automatic = 0,
    Estimate = 1,
    Measure = 2,
    Patient = 3,
    Exhaustive = 4,
    MeasureDirect = 5
};
void SetFFTPlannerRigour(FFTRigour rigour, double secondsPerPlan);
FFTRigour GetFFTPlannerRigour();
double GetFFTPlannerTimeLimit();

// FFTW's wisdom (what its planner has learnt in this process, both precisions) as text, and back. An
// import that is not wisdom text of this FFTW changes nothing and returns false. The system wisdom
// is FFTW's own files (/etc/fftw/wisdom, /etc/fftw/wisdomf): true when either was read.
std::string FFTExportWisdom();
bool FFTImportWisdom(const std::string& text);
bool FFTImportSystemWisdom();
void FFTForgetWisdom();
// Whether the wisdom in the process holds a forward plan of `kind` and `length` for the current
// rigour (so that planning it again costs next to nothing).
bool FFTWisdomKnows(FFTKind kind, int length);

// The FFTW planner flags (the rigour: FFTW_ESTIMATE, FFTW_MEASURE, ...) used for plans of `kind` and
// `length` points (today the same for every kind and length).
unsigned FFTPlannerFlags(FFTKind kind, int length);

// Bytes of work buffer that execution may use (staging of in-place, misaligned and real-inverse input);
// the buffer must be 64-byte aligned. As a size_t: long double-precision transforms pass 2^31 bytes.
size_t FFTWorkBytes(const FFTPlan* plan);
// The same for a plan of `kind` and `length` (0 for length <= 0).
size_t FFTWorkBytes(FFTKind kind, int length);
// FFTW plans made in this process so far (each FFTCreate makes two; execution makes one only for a
// misaligned output).
long long FFTPlannerCalls();

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
