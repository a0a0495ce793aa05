// Fourier transforms: FT (any length, four data kinds, plans cached per object), DFT (fixed length,
// complex float) and FFT (fixed power-of-two order, complex float).
//
// Scaling with the normalisation flag 2, the one the library uses: Forward is the plain sum
// X[k] = sum x[n] exp(-2 pi i k n / N), Inverse divides by N.
// Every transform resizes `out` to the length of `in` (which resets any view on `out`); the length of
// the transform is the length of `in`. Inputs may be views (ShiftLeft/Truncate) at any alignment. The
// complex transforms run in place when `out` is `in` (a view's elements are first moved to the start
// of its block), with the same result as into a separate vector.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

#include "../math/Vector.h"

namespace VELA {

namespace kern {
struct FFTPlan;
}
class UnitTestRecorder;

// The kind of data of a plan. Only 2 to 5 are reachable through FT's public operations; the 16-bit
// kinds can still be planned and freed.
enum FTType : int32_t {
    FT_R_16S = 0,
    FT_C_16SC = 1,
    FT_R_32F = 2,
    FT_C_32FC = 3,
    FT_R_64F = 4,
    FT_C_64FC = 5
};

// Algorithm hint, passed on to the plans unread.
enum VELAAlgorithm : int32_t { VELAAlgorithmFast = 1, VELAAlgorithmAccurate = 2 };

// One cached plan of an FT.
struct VELA_API FTSpecNode {
    int normFlag;
    VELAAlgorithm algorithm;
    FTType type;
    int length;
    FTSpecNode* next;
    kern::FFTPlan* spec;
};

// General transform. Keeps one plan per (length, kind) for its whole life and one work buffer that
// only grows, so a repeated transform allocates nothing. One object serves one thread at a time.
class VELA_API FT {
  public:
    // Hint 1 (fast), flag 2 (inverse divided by N).
    FT();
    // normFlag: 1 divides the forward by N, 2 the inverse, 4 both by sqrt(N), 8 neither.
    FT(int normFlag, VELAAlgorithm algorithm);
    FT(const FT&) = delete;
    FT& operator=(const FT&) = delete;
    ~FT();

    void Forward(VecCplx32& out, const VecCplx32& in);
    void Inverse(VecCplx32& out, const VecCplx32& in);
    void Forward(VecCplx64& out, const VecCplx64& in);
    void Inverse(VecCplx64& out, const VecCplx64& in);
    // Real forward: the full spectrum of in.size complex points (negative frequencies in the upper
    // half, the conjugates of the lower).
    void Forward(VecCplx32& out, const VecReal32& in);
    void Forward(VecCplx64& out, const VecReal64& in);
    // Real inverse: reads bins 0..N/2 of a full spectrum of N points; the upper half is ignored.
    void Inverse(VecReal32& out, const VecCplx32& in);
    void Inverse(VecReal64& out, const VecCplx64& in);

    // Number of cached plans (one per length and kind used so far).
    int GetPlanCount() const;
    // Size in bytes of the shared work buffer.
    size_t GetWorkBufferSize() const { return workBufSize; }

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    // The chirp-Z transform and the spectrum plan their lengths when they are made (GetSpec); the
    // chirp-Z then runs its one length through the plan directly, without the lookup per call.
    friend class ChirpZ;
    friend class Spectrum;
    kern::FFTPlan* GetSpec(int length, FTType type);
    void ResizeBuf(size_t size);
    void ComputeFT(const float* in, Cplx32* out, int length);
    void ComputeFT(const Cplx32* in, float* out, int length);
    void ComputeFT(const Cplx32* in, Cplx32* out, int length, int forward);
    void ComputeFT(const double* in, Cplx64* out, int length);
    void ComputeFT(const Cplx64* in, double* out, int length);
    void ComputeFT(const Cplx64* in, Cplx64* out, int length, int forward);
    void* PrepareBuffer(kern::FFTPlan* plan);

    VELAAlgorithm algorithm;
    int normFlag;
    void* workBuf = nullptr;
    size_t workBufSize = 0;
    FTSpecNode* specList = nullptr;
};

// Fixed-length complex float transform (flag 2, hint 2). The length of `in` must equal the plan's: any
// other length, or a transform on an object whose length has no plan (not positive, or longer than a
// VecCplx32 can be), throws "invalid input parameter" and leaves `out` alone. Construction never
// throws for a bad length; it leaves the object without a plan. operator= copies the plan and buffer pointers
// flat: afterwards the two objects share them and only one of the two may be destroyed. The target's old plan
// is not released.
class VELA_API DFT {
  public:
    explicit DFT(int length);
    DFT(const DFT&) = delete;
    DFT& operator=(const DFT&) = default;
    ~DFT();
    void Forward(VecCplx32& out, const VecCplx32& in);
    void Inverse(VecCplx32& out, const VecCplx32& in);
    int GetLength() const { return length; }

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    kern::FFTPlan* spec;
    void* workBuf;
    int length;
};

// Complex float transform of 2^order points (flag 2, hint 2); FFT(2) transforms 4 points.
// Same flat assignment and the same length rule as DFT.
class VELA_API FFT {
  public:
    explicit FFT(int order);
    FFT(const FFT&) = delete;
    FFT& operator=(const FFT&) = default;
    ~FFT();
    void Forward(VecCplx32& out, const VecCplx32& in);
    void Inverse(VecCplx32& out, const VecCplx32& in);
    int GetOrder() const { return order; }

    static bool UnitTest(UnitTestRecorder& recorder);

    // Timing on VELATimer. Times `count` forward transforms of 2^order points of seeded random data
    // (srand(123456), rand()/32767.0) and records " Count=<count> Size=<n>, Elapsed=<us> us/FFT" under
    // "FFT". All records of this function share one static text, so a later listing shows the last
    // text for each of them.
    static void UnitTimeTest(UnitTestRecorder& recorder, int count, int order);
    // The form above for (count, order) = (62500, 6), (25000, 7), ..., (6, 16), then (2, 17..24).
    // Takes minutes and about 400 MB for the largest orders. Returns true.
    static bool UnitTimeTest(UnitTestRecorder& recorder);
    // A load generator: forward transforms of 2^24 points for ever (stop it with a signal).
    [[noreturn]] static void UnitLoopTest();

  private:
    kern::FFTPlan* spec;
    void* workBuf;
    int order;
};

}  // namespace VELA
