// VecReal32 and VecReal64.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "Vector.h"
#include "internal/TextIO.h"
#include "kernel/VectorKernels.h"

namespace VELA {

using kern::K;

namespace {

// Byte count of a failed request, formed in 64 bits and reported as the int the report takes.
int FailedBytes(int n, int elementSize) {
    return static_cast<int>(static_cast<int64_t>(n) * elementSize);
}

// memmove, not memcpy: Import and Export may be handed a pointer into the vector's own block (a part
// of it moved to its start), and memmove costs the same when the two do not overlap.
template <class T>
void CopyElements(T* d, const T* s, int n) {
    if (n > 0) std::memmove(d, s, sizeof(T) * static_cast<size_t>(n));
}

// Writes one line per element with `format` (index, value); with verbose, the note on stdout after the
// close. False when the file cannot be opened.
template <class T>
bool DumpText(const char* path, bool verbose, const char* format, const T* data, int size) {
    std::FILE* f = std::fopen(path, "w");
    if (!f) return false;
    for (int i = 0; i < size; ++i)
        std::fprintf(f, format, i, data[i]);
    std::fclose(f);
    if (verbose) std::printf("\n====%s saved", path);
    return true;
}

// Reads the kept field `keep` of each record of `format` into v. -1 for a file of more records than an
// int counts.
template <class S, class V>
int ImportColumn(V& v, std::FILE* f, const char* format, int fields, int keep) {
    const int n = internal::ImportRecords<S>(
        f, format, fields, [&v](int count) { v.Resize(count); },
        [&v, keep](int i, const S* record) { v[i] = record[keep]; });
    if (n >= 0 && n < v.GetSize()) v.Resize(n);
    return n;
}

// The table form's choice of format and kept field.
struct TableForm {
    const char* format;
    int fields;
    int keep;
};
TableForm TableFormOf(int columns, int column, const char* f1, const char* f2, const char* f3) {
    if (columns == 3) return {f3, 3, column == 1 || column == 2 ? column : 0};
    if (columns == 2) return {f2, 2, column == 1 ? 1 : 0};
    return {f1, 1, 0};
}

}  // namespace

// ============================== VecReal32 ==============================

void VecReal32::Alloc(int n) {
    if (n == 0) return;
    base = VELAAllocReal32(n);
    if (!base) {
        DumpVELAMemoryAllocError(FailedBytes(n, sizeof(float)), "Failed VELAAllocReal32");
        VELA_THROW(VELAErrorMemoryAlloc);
    }
}

VecReal32::VecReal32(int n) : BaseVector<float>(n) {
    Create(n);
}

VecReal32::VecReal32(const VecReal32& v) : BaseVector<float>(0) {
    Create(v.size);
    CopyElements(data, v.data, size);
}

VecReal32::VecReal32(const VecReal64& v) : BaseVector<float>(0) {
    Create(v.GetSize());
    K().convert_f64_f32(v.Data(), data, size);
}

VecReal32& VecReal32::operator=(const VecReal32& v) {
    if (this == &v) return *this;
    Del();
    Create(v.size);
    CopyElements(data, v.data, size);
    return *this;
}

void VecReal32::Add(const VecReal32& v) {
    K().add_f32(data, v.data, size);
}
void VecReal32::Sub(const VecReal32& v) {
    K().sub_f32(data, v.data, size);
}
void VecReal32::Mul(const VecReal32& v) {
    K().mul_f32(data, v.data, size);
}
void VecReal32::Div(const VecReal32& v) {
    if (K().div_f32(data, v.data, size) == kern::kStsDivByZero) VELA_THROW(VELAErrorDivideByZero);
}
void VecReal32::Add(const float& s) {
    K().addc_f32(data, s, size);
}
void VecReal32::Sub(const float& s) {
    K().subc_f32(data, s, size);
}
void VecReal32::Mul(const float& s) {
    K().mulc_f32(data, s, size);
}
void VecReal32::Div(const float& s) {
    if (K().divc_f32(data, s, size) == kern::kStsDivByZeroErr) VELA_THROW(VELAErrorDivideByZero);
}

float VecReal32::Max() const {
    return K().max_f32(data, size);
}
float VecReal32::Min() const {
    return K().min_f32(data, size);
}
void VecReal32::Max(float& value, int& index) const {
    value = K().maxindx_f32(data, size, &index);
}
void VecReal32::Min(float& value, int& index) const {
    value = K().minindx_f32(data, size, &index);
}
float VecReal32::Max(int start, int length) const {
    return K().max_f32(data + start, length);
}
float VecReal32::Min(int start, int length) const {
    return K().min_f32(data + start, length);
}
void VecReal32::Max(float& value, int& index, int start, int length) const {
    value = K().maxindx_f32(data + start, length, &index);
    index += start;
}
void VecReal32::Min(float& value, int& index, int start, int length) const {
    value = K().minindx_f32(data + start, length, &index);
    index += start;
}

float VecReal32::Sum() const {
    return static_cast<float>(K().sum_f32(data, size));
}
float VecReal32::Mean() const {
    return size > 0 ? static_cast<float>(K().sum_f32(data, size) / size) : 0.0f;
}
float VecReal32::StdDev() const {
    return K().stddev_f32(data, size);
}
float VecReal32::Var() const {
    const float s = StdDev();
    return s * s;
}

bool VecReal32::IsEqual(const VecReal32& other, float tolerance) const {
    if (size != other.size) return false;
    for (int i = 0; i < size; ++i) {
        const float diff = data[i] - other.data[i];
        if (!(std::fabs(diff) < tolerance)) {
            std::printf("\n==>>%.15f, Expected %.15f<<==", data[i], other.data[i]);
            return false;
        }
    }
    return true;
}

void VecReal32::Import(const float* p, int n) {
    Resize(n);
    CopyElements(data, p, n);
}
void VecReal32::Import(const double* p, int n) {
    Resize(n);
    K().convert_f64_f32(p, data, n);
}
void VecReal32::Import(const VecReal64& v) {
    Resize(v.GetSize());
    K().convert_f64_f32(v.Data(), data, size);
}
void VecReal32::Export(float* p, int n) const {
    CopyElements(p, data, n);
}
void VecReal32::Dump(int n) const {
    internal::DumpHeadTail(size, n, "\n.................",
                           [this](int i) { std::printf("\n [%2d]= %g", i, static_cast<double>(data[i])); });
}

void VecReal32::Dump(const char* path, bool verbose) const {
    if (!DumpText(path, verbose, "%10d        %.20f\n", data, size)) VELA_THROW(VELAErrorOpeningFile);
}

void VecReal32::Import(const char* path, bool hasIndex) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    const int n =
        hasIndex ? ImportColumn<float>(*this, f, "%f %f", 2, 1) : ImportColumn<float>(*this, f, "%f", 1, 0);
    if (n < 0) VELA_THROW(VELAErrorReadingFile);
}

void VecReal32::Import(const char* path, int columns, int column) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    const TableForm form = TableFormOf(columns, column, "%f", "%f %f", "%f %f %f");
    if (ImportColumn<float>(*this, f, form.format, form.fields, form.keep) < 0)
        VELA_THROW(VELAErrorReadingFile);
}

void VecReal32::Export(double* p, int n) const {
    for (int i = 0; i < n; ++i)
        p[i] = data[i];
}

// ============================== VecReal64 ==============================

void VecReal64::Alloc(int n) {
    if (n == 0) return;
    base = VELAAllocReal64(n);
    if (!base) {
        DumpVELAMemoryAllocError(FailedBytes(n, sizeof(double)), "Failed VELAAllocReal64");
        VELA_THROW(VELAErrorMemoryAlloc);
    }
}

VecReal64::VecReal64(int n) : BaseVector<double>(n) {
    Create(n);
}

VecReal64::VecReal64(const VecReal64& v) : BaseVector<double>(0) {
    Create(v.size);
    CopyElements(data, v.data, size);
}

VecReal64::VecReal64(const VecReal32& v) : BaseVector<double>(0) {
    Create(v.GetSize());
    K().convert_f32_f64(v.Data(), data, size);
}

VecReal64& VecReal64::operator=(const VecReal64& v) {
    if (this == &v) return *this;
    Del();
    Create(v.size);
    CopyElements(data, v.data, size);
    return *this;
}

VecReal64& VecReal64::operator=(const VecReal32& v) {
    const int n = v.GetSize();
    if (capacity < n) Del();
    // A fresh block is taken even when the old one would do. The old block is released only once the
    // new one is in place, so it is never leaked and the two are never the same.
    double* old = base;
    try {
        Alloc(n);
    } catch (...) {
        // Alloc has already dropped `base`: release the old block too and leave a valid empty vector,
        // not a window on a block that nothing owns any more.
        VELADelete(old);
        data = base = nullptr;
        size = capacity = 0;
        throw;
    }
    if (base != old) VELADelete(old);
    data = base;
    size = capacity = n;
    K().convert_f32_f64(v.Data(), data, n);
    return *this;
}

void VecReal64::Add(const VecReal64& v) {
    K().add_f64(data, v.data, size);
}
void VecReal64::Sub(const VecReal64& v) {
    K().sub_f64(data, v.data, size);
}
void VecReal64::Mul(const VecReal64& v) {
    K().mul_f64(data, v.data, size);
}
void VecReal64::Div(const VecReal64& v) {
    if (K().div_f64(data, v.data, size) == kern::kStsDivByZero) VELA_THROW(VELAErrorDivideByZero);
}
void VecReal64::Add(const double& s) {
    K().addc_f64(data, s, size);
}
void VecReal64::Sub(const double& s) {
    K().subc_f64(data, s, size);
}
void VecReal64::Mul(const double& s) {
    K().mulc_f64(data, s, size);
}
void VecReal64::Div(const double& s) {
    if (K().divc_f64(data, s, size) == kern::kStsDivByZeroErr) VELA_THROW(VELAErrorDivideByZero);
}

double VecReal64::Max() const {
    return K().max_f64(data, size);
}
double VecReal64::Min() const {
    return K().min_f64(data, size);
}
void VecReal64::Max(double& value, int& index) const {
    value = K().maxindx_f64(data, size, &index);
}
void VecReal64::Min(double& value, int& index) const {
    value = K().minindx_f64(data, size, &index);
}
double VecReal64::Max(int start, int length) const {
    return K().max_f64(data + start, length);
}
double VecReal64::Min(int start, int length) const {
    return K().min_f64(data + start, length);
}
void VecReal64::Max(double& value, int& index, int start, int length) const {
    value = K().maxindx_f64(data + start, length, &index);
    index += start;
}
void VecReal64::Min(double& value, int& index, int start, int length) const {
    value = K().minindx_f64(data + start, length, &index);
    index += start;
}

double VecReal64::Sum() const {
    return K().sum_f64(data, size);
}
double VecReal64::Mean() const {
    return size > 0 ? K().sum_f64(data, size) / size : 0.0;
}
double VecReal64::StdDev() const {
    return K().stddev_f64(data, size);
}
double VecReal64::Var() const {
    const double s = StdDev();
    return s * s;
}

bool VecReal64::IsEqual(const VecReal64& other, float tolerance) const {
    for (int i = 0; i < size; ++i) {
        if (!(std::fabs(data[i] - other.data[i]) < tolerance)) {
            std::printf("\n==>>%.15f, Expected %.15f<<==", data[i], other.data[i]);
            return false;
        }
    }
    return true;
}

void VecReal64::Import(const double* p, int n) {
    Resize(n);
    CopyElements(data, p, n);
}
void VecReal64::Import(const float* p, int n) {
    Resize(n);
    K().convert_f32_f64(p, data, n);
}
void VecReal64::Import(const VecReal32& v) {
    Resize(v.GetSize());
    K().convert_f32_f64(v.Data(), data, size);
}
void VecReal64::Export(double* p, int n) const {
    CopyElements(p, data, n);
}

void VecReal64::Dump(int n) const {
    internal::DumpHeadTail(size, n, "\n.............................",
                           [this](int i) { std::printf("\n [%2d]= %g", i, data[i]); });
}

void VecReal64::Dump(const char* path, bool verbose) const {
    if (!DumpText(path, verbose, "%10d        %.16g\n", data, size)) VELA_THROW(VELAErrorOpeningFile);
}

void VecReal64::Import(const char* path, bool hasIndex) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    const int n = hasIndex ? ImportColumn<double>(*this, f, "%lf %lf", 2, 1)
                           : ImportColumn<double>(*this, f, "%lf", 1, 0);
    if (n < 0) VELA_THROW(VELAErrorReadingFile);
}

// Unlike every other import, this form does not close its stream: the file stays open until the process
// ends. That is its established behaviour, and it is kept.
void VecReal64::Import(const char* path, int columns, int column) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    const TableForm form = TableFormOf(columns, column, "%lf", "%lf %lf", "%lf %lf %lf");
    if (ImportColumn<double>(*this, f, form.format, form.fields, form.keep) < 0)
        VELA_THROW(VELAErrorReadingFile);
}

}  // namespace VELA
