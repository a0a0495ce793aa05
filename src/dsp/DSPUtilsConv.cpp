// DSPUtils::Conv: direct sums for a short operand, FFT overlap-save for long ones.
//
// Overlap-save with real transforms of a power-of-two length L: the shorter operand's spectrum is taken
// once (scaled by 1/L, so the inverse transforms need no scaling pass), then every block of
// L - nb + 1 outputs costs one forward and one inverse transform of the matching stretch of the
// longer operand. L grows with the shorter operand but never beyond what a single block needs.
//
// DSPUtils has no state that a caller can see, but FFTW plans are far too costly to make per call
// (planning measures the machine), so each thread keeps the plans and scratch of the lengths it has
// used. A steady series of convolutions therefore allocates nothing after the first call.
#include "internal/DSPUtilsConv.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "DSPUtils.h"
#include "internal/Aliasing.h"
#include "kernel/FFTPlan.h"
#include "kernel/Memory.h"
#include "kernel/SignalKernels.h"
#include "kernel/VectorKernels.h"

namespace VELA {
namespace convdetail {
namespace {

// The crossover, measured on this machine (AVX-512 direct kernel against FFTW real transforms, both
// paths timed on the same data, see bench_dsputils --benchmark_filter=Crossover): with a long operand the
// direct sums win while the shorter one has at most about 128 elements in float and 80 in double,
// whatever the longer length. When everything fits one small transform (at most kSmallTotal outputs)
// the FFT already wins from about 64 elements.
constexpr int kDirectMaxShortF32 = 128;
constexpr int kDirectMaxShortF64 = 80;
constexpr int kSmallTotal = 512;
constexpr int kSmallDirectMaxShort = 64;
// The FFT block is about this many times the shorter operand (then rounded up to a power of two).
constexpr int kBlockFactor = 8;
constexpr int kMinFFT = 64;

int NextPow2(int64_t n) {
    int p = 1;
    while (p < n && p < (1 << 30))
        p <<= 1;
    return p;
}

class ConvScratch {
  public:
    ConvScratch() = default;
    ConvScratch(const ConvScratch&) = delete;
    ConvScratch& operator=(const ConvScratch&) = delete;
    ~ConvScratch() {
        for (const Entry& e : plans_)
            kern::FFTDestroy(e.plan);
        for (Slot& b : slots_)
            kern::AlignedFree(b.p);
    }

    // The plan of a real transform of length n (flag 8: no scaling), made on first need; null if FFTW
    // refuses.
    kern::FFTPlan* Plan(kern::FFTKind kind, int n) {
        for (const Entry& e : plans_)
            if (e.kind == kind && e.n == n) return e.plan;
        kern::FFTPlan* p = kern::FFTCreate(kind, n, 8);
        if (p) plans_.push_back({kind, n, p});
        return p;
    }

    // Scratch buffer `slot` of at least `bytes` bytes, aligned for the transforms; grows only.
    void* Buffer(int slot, size_t bytes) {
        Slot& b = slots_[slot];
        if (b.bytes < bytes) {
            void* fresh = kern::AlignedAlloc(bytes);
            if (!fresh) VELA_THROW(VELAErrorMemoryAlloc);
            kern::AlignedFree(b.p);
            b.p = fresh;
            b.bytes = bytes;
        }
        return b.p;
    }

  private:
    struct Entry {
        kern::FFTKind kind;
        int n;
        kern::FFTPlan* plan;
    };
    struct Slot {
        void* p = nullptr;
        size_t bytes = 0;
    };
    std::vector<Entry> plans_;
    Slot slots_[4];
};

ConvScratch& Scratch() {
    thread_local ConvScratch scratch;
    return scratch;
}

template <class T>
struct Fft;
template <>
struct Fft<float> {
    static constexpr kern::FFTKind kind = kern::FFTKind::R32;
    static void Forward(kern::FFTPlan* p, const float* in, float* out, void* w) {
        kern::FFTExecR2C32(p, in, out, w);
    }
    static void Inverse(kern::FFTPlan* p, const float* in, float* out, void* w) {
        kern::FFTExecC2R32(p, in, out, w);
    }
    static void Mul(float* d, const float* s, int n) { kern::K().mul_c32(d, s, n); }
    static void Scale(float* d, float c, int n) { kern::K().mulc_f32(d, c, n); }
};
template <>
struct Fft<double> {
    static constexpr kern::FFTKind kind = kern::FFTKind::R64;
    static void Forward(kern::FFTPlan* p, const double* in, double* out, void* w) {
        kern::FFTExecR2C64(p, in, out, w);
    }
    static void Inverse(kern::FFTPlan* p, const double* in, double* out, void* w) {
        kern::FFTExecC2R64(p, in, out, w);
    }
    static void Mul(double* d, const double* s, int n) { kern::K().mul_c64(d, s, n); }
    static void Scale(double* d, double c, int n) { kern::K().mulc_f64(d, c, n); }
};

void DirectT(const float* a, int na, const float* b, int nb, float* d) {
    kern::SK().conv_f32(a, na, b, nb, d);
}
void DirectT(const double* a, int na, const double* b, int nb, double* d) {
    kern::SK().conv_f64(a, na, b, nb, d);
}

template <class T>
void OverlapSave(const T* a, int na, const T* b, int nb, T* d) {
    if (na <= 0 || nb <= 0) return;
    if (na < nb) {
        std::swap(a, b);
        std::swap(na, nb);
    }
    const int L = FFTLength(na, nb);
    ConvScratch& scratch = Scratch();
    kern::FFTPlan* plan = scratch.Plan(Fft<T>::kind, L);
    if (!plan) {
        DirectT(a, na, b, nb, d);
        return;
    }
    const int bins = L / 2 + 1;
    const size_t spectrumBytes = sizeof(T) * 2 * static_cast<size_t>(bins);
    T* time = static_cast<T*>(scratch.Buffer(0, sizeof(T) * static_cast<size_t>(L)));
    T* filter = static_cast<T*>(scratch.Buffer(1, spectrumBytes));
    T* spectrum = static_cast<T*>(scratch.Buffer(2, spectrumBytes));
    void* work = scratch.Buffer(3, kern::FFTWorkBytes(plan));

    std::memcpy(time, b, sizeof(T) * static_cast<size_t>(nb));
    std::memset(time + nb, 0, sizeof(T) * static_cast<size_t>(L - nb));
    Fft<T>::Forward(plan, time, filter, work);
    Fft<T>::Scale(filter, static_cast<T>(1.0 / L), 2 * bins);

    const int total = na + nb - 1;
    const int step = L - nb + 1;
    for (int p = 0; p < total; p += step) {
        // Block p needs a[p - (nb - 1)] .. a[p - (nb - 1) + L - 1], zero outside the operand.
        const int64_t start = static_cast<int64_t>(p) - (nb - 1);
        const int64_t lo = std::max<int64_t>(start, 0);
        const int64_t hi = std::min<int64_t>(start + L, na);
        const int head = static_cast<int>(lo - start);
        const int count = hi > lo ? static_cast<int>(hi - lo) : 0;
        if (head > 0) std::memset(time, 0, sizeof(T) * static_cast<size_t>(head));
        if (count > 0) std::memcpy(time + head, a + lo, sizeof(T) * static_cast<size_t>(count));
        const int tail = L - head - count;
        if (tail > 0) std::memset(time + head + count, 0, sizeof(T) * static_cast<size_t>(tail));

        Fft<T>::Forward(plan, time, spectrum, work);
        Fft<T>::Mul(spectrum, filter, bins);
        Fft<T>::Inverse(plan, spectrum, time, work);
        // The first nb - 1 results of a block are wrapped around; the rest are outputs p, p + 1, ...
        const int keep = std::min(step, total - p);
        std::memcpy(d + p, time + (nb - 1), sizeof(T) * static_cast<size_t>(keep));
    }
}

}  // namespace

bool UsesFFT(int na, int nb, bool isDouble) {
    const int shorter = std::min(na, nb);
    if (shorter <= 0) return false;
    if (static_cast<int64_t>(na) + nb - 1 <= kSmallTotal) return shorter > kSmallDirectMaxShort;
    return shorter > (isDouble ? kDirectMaxShortF64 : kDirectMaxShortF32);
}

int FFTLength(int na, int nb) {
    const int shorter = std::min(na, nb);
    const int single = NextPow2(static_cast<int64_t>(na) + nb - 1);
    const int blocked = std::max(NextPow2(static_cast<int64_t>(kBlockFactor) * shorter), kMinFFT);
    return std::min(single, blocked);
}

void Direct(const float* a, int na, const float* b, int nb, float* d) {
    DirectT(a, na, b, nb, d);
}
void Direct(const double* a, int na, const double* b, int nb, double* d) {
    DirectT(a, na, b, nb, d);
}
void ByFFT(const float* a, int na, const float* b, int nb, float* d) {
    OverlapSave(a, na, b, nb, d);
}
void ByFFT(const double* a, int na, const double* b, int nb, double* d) {
    OverlapSave(a, na, b, nb, d);
}

}  // namespace convdetail

namespace {
template <class V>
void ConvT(V& out, const V& a, const V& b, bool isDouble) {
    const int na = a.GetSize(), nb = b.GetSize();
    if (na <= 0 || nb <= 0) {
        out.Resize(0);
        return;
    }
    // Both ways need outputs that do not overlap the operands: an operand that is the output is read
    // from a copy.
    const internal::Unaliased<V> sa(a, out), sb(b, out);
    out.Resize(na + nb - 1);
    if (convdetail::UsesFFT(na, nb, isDouble))
        convdetail::ByFFT(sa->Data(), na, sb->Data(), nb, out.Data());
    else
        convdetail::Direct(sa->Data(), na, sb->Data(), nb, out.Data());
}
}  // namespace

void DSPUtils::Conv(VecReal32& out, const VecReal32& a, const VecReal32& b) {
    ConvT(out, a, b, false);
}
void DSPUtils::Conv(VecReal64& out, const VecReal64& a, const VecReal64& b) {
    ConvT(out, a, b, true);
}

}  // namespace VELA
