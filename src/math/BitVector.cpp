#include "BitVector.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "IntVector.h"
#include "internal/TextIO.h"
#include "kernel/IntKernels.h"

namespace VELA {

using kern::IntK;

void BitVector::Alloc(int n) {
    AllocBlockAndRows(n, VELAAllocBit);
}

BitVector::BitVector(int rows, int cols) : BaseMatrix<unsigned char>(rows, cols) {
    Create(rows, cols);
    if (size != 0) IntK().set_8u(data, 0, size);
}

BitVector::BitVector(const BitVector& b) : BaseMatrix<unsigned char>() {
    Create(b.rows, b.cols);
    if (size > 0) std::memcpy(data, b.data, static_cast<size_t>(size));
}

BitVector::BitVector(const VecInt16& v, int wordLength) : BaseMatrix<unsigned char>() {
    Import(v, wordLength);
}

BitVector& BitVector::operator=(const BitVector& b) {
    if (this == &b) return *this;
    Del();
    Create(b.rows, b.cols);
    if (size > 0) std::memcpy(data, b.data, static_cast<size_t>(size));
    return *this;
}

bool BitVector::IsValidBit(unsigned char b) const {
    return b == 0 || b == 1 || b == 255;
}

char BitVector::GetPrintChar(unsigned char b) const {
    if (b == 0) return '0';
    if (b == 1) return '1';
    return 'x';
}

bool BitVector::Validate() const {
    for (int i = 0; i < size; ++i)
        if (data[i] > 1 && data[i] < 255) return false;
    return true;
}

bool BitVector::IsEqual(const BitVector& b) const {
    if (rows != b.rows || cols != b.cols) return false;
    return size <= 0 || std::memcmp(data, b.data, static_cast<size_t>(size)) == 0;
}

void BitVector::Set(unsigned char b) {
    IntK().set_8u(data, b, size);
}

void BitVector::And(const BitVector& b) {
    IntK().and_8u(data, b.data, data, size);
}
void BitVector::Or(const BitVector& b) {
    IntK().or_8u(data, b.data, data, size);
}
void BitVector::Xor(const BitVector& b) {
    IntK().xor_8u(data, b.data, data, size);
}

void BitVector::And(BitVector& out, const BitVector& a, const BitVector& b) const {
    out.Resize(a.rows, a.cols);
    IntK().and_8u(a.data, b.data, out.data, out.size);
}
void BitVector::Or(BitVector& out, const BitVector& a, const BitVector& b) const {
    out.Resize(a.rows, a.cols);
    IntK().or_8u(a.data, b.data, out.data, out.size);
}
void BitVector::Xor(BitVector& out, const BitVector& a, const BitVector& b) const {
    out.Resize(a.rows, a.cols);
    IntK().xor_8u(a.data, b.data, out.data, out.size);
}

void BitVector::Not() {
    IntK().flip01_8u(data, size);
}

void BitVector::Not(BitVector& out, const BitVector& a) const {
    out.Resize(a.rows, a.cols);
    IntK().not_8u(a.data, out.data, out.size);
}

void BitVector::Import(const unsigned char* p, int r, int c) {
    Resize(r, c);
    if (size > 0) std::memmove(data, p, static_cast<size_t>(size));  // p may lie in this block
}

void BitVector::Export(unsigned char* p, int words) const {
    const long long n = static_cast<long long>(cols) * words;
    if (n > 0) std::memmove(p, data, static_cast<size_t>(n));
}

void BitVector::Import(const VecInt16& v, int count, int start, int wordLength) {
    Resize(count, wordLength);
    // Rows are addressed in the block rather than through the row table, so that a start other than 0
    // reaches the rows the block has room for, and no further.
    for (int i = start; i < start + count; ++i) {
        if (static_cast<long long>(i + 1) * cols > capacity) break;
        unsigned char* row = base + static_cast<long long>(i) * cols;
        short value = v[i];
        for (int j = cols - 1; j >= 0; --j) {
            row[j] = static_cast<unsigned char>(value & 1);
            value = static_cast<short>(value >> 1);  // arithmetic on 16 bits
        }
    }
}

void BitVector::Import(const VecInt16& v, int wordLength) {
    Import(v, v.GetSize(), 0, wordLength);
}

void BitVector::Export(VecInt16& out, int words) const {
    out.Resize(words);
    // 2^(cols - 1) truncated to 16 bits: 2^15 becomes -32768, and 2^16 and above become 0.
    const short top = cols >= 1 && cols <= 16 ? static_cast<short>(1 << (cols - 1)) : 0;
    for (int i = 0; i < words; ++i) {
        const unsigned char* row = data + static_cast<long long>(i) * cols;
        short value = 0;
        short weight = top;
        for (int j = 0; j < cols; ++j) {
            value = static_cast<short>(value + row[j] * weight);
            weight = static_cast<short>(weight / 2);
        }
        out[i] = value;
    }
}

void BitVector::Dump(int n) const {
    auto row = [this](int i) {
        std::printf("\n");
        for (int j = 0; j < cols; ++j)
            std::printf("%c ", GetPrintChar(data[static_cast<long long>(i) * cols + j]));
    };
    if (rows > 2 * n) {
        for (int i = 0; i < n; ++i)
            row(i);
        std::printf("\n.................");
        for (int i = rows - n; i < rows; ++i)
            row(i);
    } else {
        for (int i = 0; i < rows; ++i)
            row(i);
    }
}

void BitVector::Dump(const char* path, bool withIndex, bool verbose) const {
    std::FILE* f = std::fopen(path, "w");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    for (int i = 0; i < rows; ++i) {
        if (withIndex) std::fprintf(f, "%3d ", i);
        for (int j = 0; j < cols; ++j)
            std::fprintf(f, "%c ", GetPrintChar(data[static_cast<long long>(i) * cols + j]));
        std::fprintf(f, "\n");
    }
    std::fclose(f);
    if (verbose) std::printf("\n====%s saved", path);
}

void BitVector::Import(const char* path, int cols, bool hasIndex) {
    if (cols < 1) VELA_THROW(VELAErrorInvalidInputParameter);
    std::FILE* f = std::fopen(path, "r");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    // One number of a row; `out` may be null (counting, or the row number).
    auto number = [f](unsigned char* out) {
        int v = 0;
        if (std::fscanf(f, "%d ", &v) != 1) return false;
        if (out) *out = static_cast<unsigned char>(v);
        return true;
    };
    // Reads one row, storing its bits at `row` unless it is null; false when a number is missing.
    auto readRow = [&](unsigned char* row) {
        if (hasIndex && !number(nullptr)) return false;
        for (int j = 0; j < cols; ++j)
            if (!number(row ? row + j : nullptr)) return false;
        return true;
    };
    int64_t count = 0;
    while (readRow(nullptr))
        if ((++count) * cols > INT_MAX) VELA_THROW(VELAErrorReadingFile);
    Resize(static_cast<int>(count), cols);
    std::rewind(f);
    int stored = 0;
    while (stored < count && readRow(data + static_cast<int64_t>(stored) * cols))
        ++stored;
    if (stored < count) Resize(stored, cols);
}

}  // namespace VELA
