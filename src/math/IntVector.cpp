// VecUInt8, VecInt16, VecInt32 and VecUInt32.
#include "IntVector.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "internal/TextIO.h"
#include "kernel/IntKernels.h"

namespace VELA {

using kern::IntK;

namespace {

// memmove, not memcpy: Import and Export may be handed a pointer into the vector's own block (a part
// of it moved to its start), and memmove costs the same when the two do not overlap.
template <class T>
void CopyElements(T* d, const T* s, int n) {
    if (n > 0) std::memmove(d, s, sizeof(T) * static_cast<size_t>(n));
}

// The console print shared by the integer vectors: every element, or the first and last n around a
// line of dots when there are more than 2 * n. Each element starts its own line; no line feed ends it.
template <class T>
void DumpElements(const T* data, int size, int n, const char* format) {
    if (size > 2 * n) {
        for (int i = 0; i < n; ++i)
            std::printf(format, i, data[i]);
        std::printf("\n.................");
        for (int i = size - n; i < size; ++i)
            std::printf(format, i, data[i]);
    } else {
        for (int i = 0; i < size; ++i)
            std::printf(format, i, data[i]);
    }
}

// The comparison of the 32-bit vectors, on signed values. The difference is formed in 64 bits so that
// values far apart (INT_MAX and -1) are not brought close by wrapping.
bool IsEqual32(const int* a, const int* b, int n, int tolerance) {
    for (int i = 0; i < n; ++i) {
        int64_t d = static_cast<int64_t>(a[i]) - static_cast<int64_t>(b[i]);
        if (d < 0) d = -d;
        if (d > tolerance) return false;
    }
    return true;
}

// One line per element with `format`, given the index first when `withIndex`; with verbose, the note
// on stdout after the close. False when the file cannot be opened.
template <class T>
bool DumpText(const char* path, bool verbose, const char* format, bool withIndex, const T* data, int size) {
    std::FILE* f = std::fopen(path, "w");
    if (!f) return false;
    if (!data) size = 0;  // a copy-constructed 32-bit vector has a size but no block yet
    for (int i = 0; i < size; ++i) {
        if (withIndex)
            std::fprintf(f, format, i, data[i]);
        else
            std::fprintf(f, format, data[i]);
    }
    std::fclose(f);
    if (verbose) std::printf("\n====%s saved", path);
    return true;
}

// Reads "%d %d" (second kept) or "%d" records into v, narrowing each value to T. `ensureStorage(n)`
// sizes v. Returns -1 for a file of more records than an int counts.
template <class T, class V, class Ensure>
int ImportInts(V& v, std::FILE* f, bool hasIndex, Ensure ensureStorage) {
    const int keep = hasIndex ? 1 : 0;
    const int n = internal::ImportRecords<int>(
        f, hasIndex ? "%d %d" : "%d", hasIndex ? 2 : 1, ensureStorage,
        [&v, keep](int i, const int* record) { v[i] = static_cast<T>(record[keep]); });
    if (n >= 0 && n < v.GetSize()) v.Resize(n);
    return n;
}

template <class Out>
Out SaturateSum(int64_t total, int64_t lo, int64_t hi) {
    if (total < lo) return static_cast<Out>(lo);
    if (total > hi) return static_cast<Out>(hi);
    return static_cast<Out>(total);
}

}  // namespace

// ============================== VecUInt8 ==============================

void VecUInt8::Alloc(int n) {
    if (n == 0) return;
    base = VELAAllocUInt8(n);
    if (!base) VELA_THROW(VELAErrorMemoryAlloc);
}

VecUInt8::VecUInt8(int n) : BaseVector<unsigned char>(n) {
    Create(n);
}

VecUInt8::VecUInt8(const VecUInt8& v) : BaseVector<unsigned char>(0) {
    Create(v.size);
    CopyElements(data, v.data, size);
}

VecUInt8& VecUInt8::operator=(const VecUInt8& v) {
    if (this == &v) return *this;
    Del();
    Create(v.size);
    CopyElements(data, v.data, size);
    return *this;
}

void VecUInt8::Import(const unsigned char* p, int n) {
    Resize(n);
    CopyElements(data, p, n);
}

void VecUInt8::Export(unsigned char* p, int n) const {
    CopyElements(p, data, n);
}

void VecUInt8::Dump(int n) const {
    DumpElements(data, size, n, "\n [%2d]= %d");
}

// ============================== VecInt16 ==============================

void VecInt16::Alloc(int n) {
    if (n == 0) return;
    base = VELAAllocInt16(n);
    if (!base) VELA_THROW(VELAErrorMemoryAlloc);
}

VecInt16::VecInt16(int n) : BaseVector<short>(n) {
    Create(n);
}

VecInt16::VecInt16(const VecInt16& v) : BaseVector<short>(0) {
    Create(v.size);
    CopyElements(data, v.data, size);
}

VecInt16& VecInt16::operator=(const VecInt16& v) {
    if (this == &v) return *this;
    Del();
    Create(v.size);
    CopyElements(data, v.data, size);
    return *this;
}

void VecInt16::Import(const short* p, int n) {
    Resize(n);
    CopyElements(data, p, n);
}

void VecInt16::Export(short* p, int n) const {
    CopyElements(p, data, n);
}

short VecInt16::Max() const {
    return IntK().max_16s(data, size);
}
short VecInt16::Min() const {
    return IntK().min_16s(data, size);
}
void VecInt16::Max(short& value, int& index) const {
    value = IntK().maxindx_16s(data, size, &index);
}
void VecInt16::Min(short& value, int& index) const {
    value = IntK().minindx_16s(data, size, &index);
}

short VecInt16::Sum() const {
    return SaturateSum<short>(IntK().sum_16s(data, size), -32768, 32767);
}

void VecInt16::Add(const VecInt16& v) {
    IntK().add_16s(data, v.data, size);
}
void VecInt16::Sub(const VecInt16& v) {
    IntK().sub_16s(data, v.data, size);
}
void VecInt16::Mul(const VecInt16& v) {
    IntK().mul_16s(data, v.data, size);
}
void VecInt16::Add(const short& s) {
    IntK().addc_16s(data, s, size);
}
void VecInt16::Sub(const short& s) {
    IntK().subc_16s(data, s, size);
}
void VecInt16::Mul(const short& s) {
    IntK().mulc_16s(data, s, size);
}

bool VecInt16::IsEqual(const VecInt16& other, int tolerance) const {
    if (size != other.size) return false;
    for (int i = 0; i < size; ++i) {
        int d = data[i] - other.data[i];
        if (d < 0) d = -d;
        if (d > tolerance) return false;
    }
    return true;
}

void VecInt16::Dump(int n) const {
    DumpElements(data, size, n, "\n [%2d]= %d");
}

void VecInt16::Dump(const char* path, bool verbose) const {
    if (!DumpText(path, verbose, "%10d        %d\n", true, data, size)) VELA_THROW(VELAErrorOpeningFile);
}

void VecInt16::Import(const char* path, bool hasIndex) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    if (ImportInts<short>(*this, f, hasIndex, [this](int n) { Resize(n); }) < 0)
        VELA_THROW(VELAErrorReadingFile);
}

// ============================== VecInt32 ==============================

void VecInt32::Alloc(int n) {
    if (n == 0) return;
    base = VELAAllocInt32(n);
    if (!base) VELA_THROW(VELAErrorMemoryAlloc);
}

VecInt32::VecInt32(int n) : BaseVector<int>(n) {
    Create(n);
}

// Records the size only; see the class comment.
VecInt32::VecInt32(const VecInt32& v) : BaseVector<int>(v.size) {}

VecInt32& VecInt32::operator=(const VecInt32& v) {
    if (this == &v) return *this;
    Del();
    Create(v.size);
    CopyElements(data, v.data, size);
    return *this;
}

int VecInt32::Max() const {
    return IntK().max_32s(data, size);
}
int VecInt32::Min() const {
    return IntK().min_32s(data, size);
}
void VecInt32::Max(int& value, int& index) const {
    value = IntK().maxindx_32s(data, size, &index);
}
void VecInt32::Min(int& value, int& index) const {
    value = IntK().minindx_32s(data, size, &index);
}

int VecInt32::Sum() const {
    return SaturateSum<int>(IntK().sum_32s(data, size), INT32_MIN, INT32_MAX);
}

// Deliberately empty: the vector forms and the scalar subtraction change nothing.
void VecInt32::Add(const VecInt32&) {}
void VecInt32::Sub(const VecInt32&) {}
void VecInt32::Sub(const int&) {}
void VecInt32::Mul(const VecInt32&) {}

// Wrapping arithmetic, done in unsigned so that an overflow is defined.
void VecInt32::Add(const int& s) {
    const unsigned int u = static_cast<unsigned int>(s);
    for (int i = 0; i < size; ++i)
        data[i] = static_cast<int>(static_cast<unsigned int>(data[i]) + u);
}
void VecInt32::Mul(const int& s) {
    const unsigned int u = static_cast<unsigned int>(s);
    for (int i = 0; i < size; ++i)
        data[i] = static_cast<int>(static_cast<unsigned int>(data[i]) * u);
}

bool VecInt32::IsEqual(const VecInt32& other, int tolerance) const {
    if (size != other.size) return false;
    return IsEqual32(data, other.data, size, tolerance);
}

void VecInt32::Dump(int n) const {
    DumpElements(data, size, n, "\n [%2d]= %d");
}

void VecInt32::Dump(const char* path, bool verbose) const {
    if (!DumpText(path, verbose, "%d\n", false, data, size)) VELA_THROW(VELAErrorOpeningFile);
}

void VecInt32::Import(const char* path, bool hasIndex) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    // A copy-constructed vector records a capacity with no block behind it, and a Resize within that
    // capacity would leave the data pointer null: such a vector gets a block of its own first.
    auto ensure = [this](int n) {
        if (!base && n > 0) Del();
        Resize(n);
    };
    if (ImportInts<int>(*this, f, hasIndex, ensure) < 0) VELA_THROW(VELAErrorReadingFile);
}

// ============================== VecUInt32 ==============================

void VecUInt32::Alloc(int n) {
    if (n == 0) return;
    base = reinterpret_cast<unsigned int*>(VELAAllocInt32(n));
    if (!base) VELA_THROW(VELAErrorMemoryAlloc);
}

VecUInt32::VecUInt32(int n) : BaseVector<unsigned int>(n) {
    Create(n);
}

VecUInt32::VecUInt32(const VecUInt32& v) : BaseVector<unsigned int>(v.size) {}

VecUInt32& VecUInt32::operator=(const VecUInt32& v) {
    if (this == &v) return *this;
    Del();
    Create(v.size);
    CopyElements(data, v.data, size);
    return *this;
}

bool VecUInt32::IsEqual(const VecUInt32& other, int tolerance) const {
    if (size != other.size) return false;
    return IsEqual32(reinterpret_cast<const int*>(data), reinterpret_cast<const int*>(other.data), size,
                     tolerance);
}

void VecUInt32::Dump(int n) const {
    DumpElements(data, size, n, "\n [%2d]= %u");
}

void VecUInt32::Dump(const char* path, bool verbose) const {
    if (!DumpText(path, verbose, "%u\n", false, data, size)) VELA_THROW(VELAErrorOpeningFile);
}

void VecUInt32::Import(const char* path, bool hasIndex) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    auto ensure = [this](int n) {
        if (!base && n > 0) Del();
        Resize(n);
    };
    if (ImportInts<unsigned int>(*this, f, hasIndex, ensure) < 0) VELA_THROW(VELAErrorReadingFile);
}

}  // namespace VELA
