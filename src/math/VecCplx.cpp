// VecCplx32 and VecCplx64.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Vector.h"
#include "internal/ComplexView.h"
#include "internal/TextIO.h"
#include "kernel/VectorKernels.h"

namespace VELA {

using kern::K;

namespace {

int FailedBytes(int n, int elementSize) {
    return static_cast<int>(static_cast<int64_t>(n) * elementSize);
}

// Interleaved views of the complex records for the kernels (a record is two plain scalars).
using internal::F;

// memmove, not memcpy: Import and Export may be handed a pointer into the vector's own block (a part
// of it moved to its start), and memmove costs the same when the two do not overlap.
template <class T>
void CopyElements(T* d, const T* s, int n) {
    if (n > 0)
        std::memmove(static_cast<void*>(d), static_cast<const void*>(s), sizeof(T) * static_cast<size_t>(n));
}

// Index of the element of largest (kMax) or smallest squared magnitude, the earliest on ties.
// Max starts from magnitude 0 at index 0; Min from element 0 (see the class comment).
template <class C, class R, bool kMax>
int ExtremeIndex(const C* d, int n) {
    int index = 0;
    if (kMax) {
        R best = 0;
        for (int i = 0; i < n; ++i) {
            const R m = d[i].re * d[i].re + d[i].im * d[i].im;
            if (m > best) {
                best = m;
                index = i;
            }
        }
    } else {
        if (n <= 0) return 0;
        R best = d[0].re * d[0].re + d[0].im * d[0].im;
        for (int i = 1; i < n; ++i) {
            const R m = d[i].re * d[i].re + d[i].im * d[i].im;
            if (m < best) {
                best = m;
                index = i;
            }
        }
    }
    return index;
}

template <class C>
C ElementOrZero(const C* d, int index) {
    return d ? d[index] : C{};
}

// One "index re im" line per element with `format`; with verbose, the note on stdout after the close.
// False when the file cannot be opened.
template <class C>
bool DumpText(const char* path, bool verbose, const char* format, const C* data, int size) {
    std::FILE* f = std::fopen(path, "w");
    if (!f) return false;
    for (int i = 0; i < size; ++i)
        std::fprintf(f, format, i, static_cast<double>(data[i].re), static_cast<double>(data[i].im));
    std::fclose(f);
    if (verbose) std::printf("\n====%s saved", path);
    return true;
}

// Reads records of `format` (index re im, or re im) into v; -1 for more records than an int counts.
template <class S, class V>
int ImportComplex(V& v, std::FILE* f, bool hasIndex, const char* withIndex, const char* plain) {
    const int first = hasIndex ? 1 : 0;
    const int n = internal::ImportRecords<S>(
        f, hasIndex ? withIndex : plain, hasIndex ? 3 : 2, [&v](int count) { v.Resize(count); },
        [&v, first](int i, const S* record) {
            v[i] = {record[first], record[first + 1]};
        });
    if (n >= 0 && n < v.GetSize()) v.Resize(n);
    return n;
}

}  // namespace

// ============================== VecCplx32 ==============================

void VecCplx32::Alloc(int n) {
    if (n == 0) return;
    base = VELAAllocCplx32(n);
    if (!base) {
        DumpVELAMemoryAllocError(FailedBytes(n, sizeof(Cplx32)), "Failed VELAAllocCplx32");
        VELA_THROW(VELAErrorMemoryAlloc);
    }
}

VecCplx32::VecCplx32(int n) : BaseVector<Cplx32>(n) {
    Create(n);
}

VecCplx32::VecCplx32(const VecCplx32& v) : BaseVector<Cplx32>(0) {
    Create(v.size);
    CopyElements(data, v.data, size);
}

VecCplx32::VecCplx32(const VecCplx64& v) : BaseVector<Cplx32>(0) {
    Create(v.GetSize());
    K().convert_f64_f32(F(v.Data()), F(data), 2 * size);
}

VecCplx32::VecCplx32(const VecReal32& re, const VecReal32& im) : BaseVector<Cplx32>(0) {
    Create(re.GetSize());
    Import(re.Data(), im.Data(), re.GetSize());
}

VecCplx32::VecCplx32(const VecReal32& v) : BaseVector<Cplx32>(0) {
    Create(v.GetSize());
    Import(v);
}

VecCplx32& VecCplx32::operator=(const VecCplx32& v) {
    if (this == &v) return *this;
    Del();
    Create(v.size);
    CopyElements(data, v.data, size);
    return *this;
}

void VecCplx32::Add(const VecCplx32& v) {
    K().add_c32(F(data), F(v.data), size);
}
void VecCplx32::Sub(const VecCplx32& v) {
    K().sub_c32(F(data), F(v.data), size);
}
void VecCplx32::Mul(const VecCplx32& v) {
    K().mul_c32(F(data), F(v.data), size);
}
void VecCplx32::Div(const VecCplx32& v) {
    if (K().div_c32(F(data), F(v.data), size) == kern::kStsDivByZero) VELA_THROW(VELAErrorDivideByZero);
}
void VecCplx32::Add(const Cplx32& s) {
    K().addc_c32(F(data), s.re, s.im, size);
}
void VecCplx32::Sub(const Cplx32& s) {
    K().subc_c32(F(data), s.re, s.im, size);
}
void VecCplx32::Mul(const Cplx32& s) {
    K().mulc_c32(F(data), s.re, s.im, size);
}
void VecCplx32::Div(const Cplx32& s) {
    if (K().divc_c32(F(data), s.re, s.im, size) == kern::kStsDivByZeroErr) VELA_THROW(VELAErrorDivideByZero);
}
void VecCplx32::Mul(const float& s) {
    K().mulc_f32(F(data), s, 2 * size);
}
void VecCplx32::Sub(const VecCplx32& other, int dstStart, int srcStart, int length) {
    // Two overlapping parts of this vector: the kernel would read elements it has already changed, so
    // the subtrahend is taken from a copy. Disjoint parts, or the same part, run in place.
    if (&other == this && dstStart != srcStart && length > 0 &&
        std::llabs(static_cast<long long>(dstStart) - srcStart) < length) {
        VecCplx32 part;
        part.Import(data + srcStart, length);
        K().sub_c32(F(data + dstStart), F(part.data), length);
        return;
    }
    K().sub_c32(F(data + dstStart), F(other.data + srcStart), length);
}

void VecCplx32::Max(Cplx32& value, int& index) const {
    index = ExtremeIndex<Cplx32, float, true>(data, size);
    value = ElementOrZero(data, index);
}
void VecCplx32::Min(Cplx32& value, int& index) const {
    index = ExtremeIndex<Cplx32, float, false>(data, size);
    value = ElementOrZero(data, index);
}
Cplx32 VecCplx32::Max() const {
    Cplx32 v;
    int i;
    Max(v, i);
    return v;
}
Cplx32 VecCplx32::Min() const {
    Cplx32 v;
    int i;
    Min(v, i);
    return v;
}

Cplx32 VecCplx32::Sum() const {
    double re = 0, im = 0;
    K().sum_c32(F(data), size, &re, &im);
    return {static_cast<float>(re), static_cast<float>(im)};
}
Cplx32 VecCplx32::Mean() const {
    if (size <= 0) return {0.0f, 0.0f};
    double re = 0, im = 0;
    K().sum_c32(F(data), size, &re, &im);
    return {static_cast<float>(re / size), static_cast<float>(im / size)};
}

void VecCplx32::GetReal(VecReal32& out) const {
    out.Resize(size);
    K().cplx_real_f32(F(data), out.Data(), size);
}
void VecCplx32::GetImag(VecReal32& out) const {
    out.Resize(size);
    K().cplx_imag_f32(F(data), out.Data(), size);
}

bool VecCplx32::IsEqual(const VecCplx32& other, float tolerance) const {
    if (size != other.size) return false;
    for (int i = 0; i < size; ++i) {
        const float dre = data[i].re - other.data[i].re;
        const float dim = data[i].im - other.data[i].im;
        if (!(std::fabs(dre) < tolerance) || !(std::fabs(dim) < tolerance)) {
            std::printf("\n==>>%.15f %.15f, Expected %.15f %.15f<<==", data[i].re, data[i].im,
                        other.data[i].re, other.data[i].im);
            return false;
        }
    }
    return true;
}

void VecCplx32::Import(const float* re, const float* im, int n) {
    Resize(n);
    K().real_to_cplx_f32(re, im, F(data), n);
}
void VecCplx32::Import(const double* re, const double* im, int n) {
    Resize(n);
    for (int i = 0; i < n; ++i)
        data[i] = {static_cast<float>(re[i]), static_cast<float>(im[i])};
}
void VecCplx32::Import(const VecReal32& re, const VecReal32& im) {
    Import(re.Data(), im.Data(), re.GetSize());
}
void VecCplx32::Import(const VecReal32& v) {
    const int n = v.GetSize();
    Resize(n);
    const float* s = v.Data();
    for (int i = 0; i < n; ++i)
        data[i] = {s[i], 0.0f};
}
void VecCplx32::Import(const float* p, int n) {
    Import(reinterpret_cast<const Cplx32*>(p), n);
}
void VecCplx32::Import(const Cplx32* p, int n) {
    Resize(n);
    CopyElements(data, p, n);
}
void VecCplx32::Export(float* re, float* im, int n) const {
    K().cplx_real_f32(F(data), re, n);
    K().cplx_imag_f32(F(data), im, n);
}
void VecCplx32::Export(double* re, double* im, int n) const {
    for (int i = 0; i < n; ++i) {
        re[i] = data[i].re;
        im[i] = data[i].im;
    }
}
void VecCplx32::Export(Cplx32* p, int n) const {
    CopyElements(p, data, n);
}

void VecCplx32::Dump(int n) const {
    internal::DumpHeadTail(size, n, "\n.................", [this](int i) {
        std::printf("\n [%2d]= %g  %g ", i, static_cast<double>(data[i].re), static_cast<double>(data[i].im));
    });
}

void VecCplx32::Dump(const char* path, bool verbose) const {
    if (!DumpText(path, verbose, "%10d    %.20f  %.20f\n", data, size)) VELA_THROW(VELAErrorOpeningFile);
}

void VecCplx32::Import(const char* path, bool hasIndex) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    if (ImportComplex<float>(*this, f, hasIndex, "%f %f %f", "%f %f") < 0) VELA_THROW(VELAErrorReadingFile);
}

// ============================== VecCplx64 ==============================

void VecCplx64::Alloc(int n) {
    if (n == 0) return;
    base = VELAAllocCplx64(n);
    if (!base) {
        DumpVELAMemoryAllocError(FailedBytes(n, sizeof(Cplx64)), "Failed VELAAllocCplx64");
        VELA_THROW(VELAErrorMemoryAlloc);
    }
}

VecCplx64::VecCplx64(int n) : BaseVector<Cplx64>(n) {
    Create(n);
}

VecCplx64::VecCplx64(const VecCplx64& v) : BaseVector<Cplx64>(0) {
    Create(v.size);
    CopyElements(data, v.data, size);
}

VecCplx64::VecCplx64(const VecCplx32& v) : BaseVector<Cplx64>(0) {
    Create(v.GetSize());
    K().convert_f32_f64(F(v.Data()), F(data), 2 * size);
}

VecCplx64::VecCplx64(const VecReal64& re, const VecReal64& im) : BaseVector<Cplx64>(0) {
    Create(re.GetSize());
    Import(re.Data(), im.Data(), re.GetSize());
}

VecCplx64::VecCplx64(const VecReal64& v) : BaseVector<Cplx64>(0) {
    Create(v.GetSize());
    Import(v);
}

VecCplx64& VecCplx64::operator=(const VecCplx64& v) {
    if (this == &v) return *this;
    Del();
    Create(v.size);
    CopyElements(data, v.data, size);
    return *this;
}

void VecCplx64::Add(const VecCplx64& v) {
    K().add_c64(F(data), F(v.data), size);
}
void VecCplx64::Sub(const VecCplx64& v) {
    K().sub_c64(F(data), F(v.data), size);
}
void VecCplx64::Mul(const VecCplx64& v) {
    K().mul_c64(F(data), F(v.data), size);
}
void VecCplx64::Div(const VecCplx64& v) {
    if (K().div_c64(F(data), F(v.data), size) == kern::kStsDivByZero) VELA_THROW(VELAErrorDivideByZero);
}
void VecCplx64::Add(const Cplx64& s) {
    K().addc_c64(F(data), s.re, s.im, size);
}
void VecCplx64::Sub(const Cplx64& s) {
    K().subc_c64(F(data), s.re, s.im, size);
}
void VecCplx64::Mul(const Cplx64& s) {
    K().mulc_c64(F(data), s.re, s.im, size);
}
void VecCplx64::Div(const Cplx64& s) {
    if (K().divc_c64(F(data), s.re, s.im, size) == kern::kStsDivByZeroErr) VELA_THROW(VELAErrorDivideByZero);
}

void VecCplx64::Max(Cplx64& value, int& index) const {
    index = ExtremeIndex<Cplx64, double, true>(data, size);
    value = ElementOrZero(data, index);
}
void VecCplx64::Min(Cplx64& value, int& index) const {
    index = ExtremeIndex<Cplx64, double, false>(data, size);
    value = ElementOrZero(data, index);
}
Cplx64 VecCplx64::Max() const {
    Cplx64 v;
    int i;
    Max(v, i);
    return v;
}
Cplx64 VecCplx64::Min() const {
    Cplx64 v;
    int i;
    Min(v, i);
    return v;
}

Cplx64 VecCplx64::Sum() const {
    Cplx64 s{0, 0};
    K().sum_c64(F(data), size, &s.re, &s.im);
    return s;
}
Cplx64 VecCplx64::Mean() const {
    if (size <= 0) return {0.0, 0.0};
    Cplx64 s = Sum();
    return {s.re / size, s.im / size};
}

void VecCplx64::GetReal(VecReal64& out) const {
    out.Resize(size);
    K().cplx_real_f64(F(data), out.Data(), size);
}
void VecCplx64::GetImag(VecReal64& out) const {
    out.Resize(size);
    K().cplx_imag_f64(F(data), out.Data(), size);
}

bool VecCplx64::IsEqual(const VecCplx64& other, float tolerance) const {
    if (size != other.size) return false;
    for (int i = 0; i < size; ++i) {
        if (!(std::fabs(data[i].re - other.data[i].re) < tolerance) ||
            !(std::fabs(data[i].im - other.data[i].im) < tolerance)) {
            std::printf("\n==>>%.15f %.15f, Expected %.15f %.15f<<==", data[i].re, data[i].im,
                        other.data[i].re, other.data[i].im);
            return false;
        }
    }
    return true;
}

void VecCplx64::Import(const double* re, const double* im, int n) {
    Resize(n);
    K().real_to_cplx_f64(re, im, F(data), n);
}
void VecCplx64::Import(const VecReal64& re, const VecReal64& im) {
    Import(re.Data(), im.Data(), re.GetSize());
}
void VecCplx64::Import(const VecReal64& v) {
    const int n = v.GetSize();
    Resize(n);
    const double* s = v.Data();
    for (int i = 0; i < n; ++i)
        data[i] = {s[i], 0.0};
}
void VecCplx64::Import(const double* p, int n) {
    Import(reinterpret_cast<const Cplx64*>(p), n);
}
void VecCplx64::Import(const Cplx64* p, int n) {
    Resize(n);
    CopyElements(data, p, n);
}
void VecCplx64::Export(double* re, double* im, int n) const {
    K().cplx_real_f64(F(data), re, n);
    K().cplx_imag_f64(F(data), im, n);
}
void VecCplx64::Export(Cplx64* p, int n) const {
    CopyElements(p, data, n);
}

void VecCplx64::Dump(int n) const {
    auto print = [this](int i) { std::printf("\n [%2d]= %g  %g ", i, data[i].re, data[i].im); };
    // The head of a shortened print has always had one blank between the parts; readers of these prints
    // expect it, so it stays.
    auto head = [this](int i) { std::printf("\n [%2d]= %g %g ", i, data[i].re, data[i].im); };
    internal::DumpHeadTail(size, n, "\n.................", print, head);
}

void VecCplx64::Dump(const char* path, bool verbose) const {
    if (!DumpText(path, verbose, "%10d    %.16g  %.16g\n", data, size)) VELA_THROW(VELAErrorOpeningFile);
}

void VecCplx64::Import(const char* path, bool hasIndex) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    if (ImportComplex<double>(*this, f, hasIndex, "%lf %lf %lf", "%lf %lf") < 0)
        VELA_THROW(VELAErrorReadingFile);
}

}  // namespace VELA
