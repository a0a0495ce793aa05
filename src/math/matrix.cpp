// MatReal32 and MatReal64.
#include "matrix.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "Vector.h"
#include "kernel/VectorKernels.h"

namespace VELA {

using kern::K;

namespace {

// memmove, not memcpy: Import and Export may be handed a pointer into the vector's own block (a part
// of it moved to its start), and memmove costs the same when the two do not overlap.
template <class T>
void CopyElements(T* d, const T* s, int n) {
    if (n > 0) std::memmove(d, s, sizeof(T) * static_cast<size_t>(n));
}

// Row i as "%g " per element, to `f`.
template <class T>
void PrintRow(std::FILE* f, const T* data, int cols, int i) {
    const T* row = data + static_cast<int64_t>(i) * cols;
    for (int j = 0; j < cols; ++j)
        std::fprintf(f, "%g ", static_cast<double>(row[j]));
}

// Console print: every row after a line feed, or with more than 2 * n rows the first n and the last n
// rows around a line of dots. (The tail is the last n rows: counting it from the element count instead
// would run past the row table of any matrix of more than one column.)
template <class T>
void DumpRows(const T* data, int rows, int cols, int n) {
    auto row = [&](int i) {
        std::printf("\n");
        PrintRow(stdout, data, cols, i);
    };
    if (static_cast<int64_t>(rows) <= 2 * static_cast<int64_t>(n)) {
        for (int i = 0; i < rows; ++i)
            row(i);
        return;
    }
    for (int i = 0; i < n; ++i)
        row(i);
    std::printf("\n.................");
    for (int i = rows - n; i < rows; ++i)
        row(i);
}

// Text file, one row a line; "\n====<path> saved" on stdout after the close. False when the file cannot
// be made.
template <class T>
bool DumpFile(const char* path, const T* data, int rows, int cols) {
    std::FILE* f = std::fopen(path, "w");
    if (!f) return false;
    for (int i = 0; i < rows; ++i) {
        PrintRow(f, data, cols, i);
        std::fprintf(f, "\n");
    }
    std::fclose(f);
    std::printf("\n====%s saved", path);
    return true;
}

}  // namespace

// ============================== MatReal32 ==============================

void MatReal32::Alloc(int n) {
    AllocBlockAndRows(n, VELAAllocReal32);
}

MatReal32::MatReal32(int rows, int cols) : BaseMatrix<float>() {
    Create(rows, cols);
}

MatReal32::MatReal32(const MatReal32& m) : BaseMatrix<float>() {
    Create(m.rows, m.cols);
    CopyElements(data, m.data, size);
}

MatReal32& MatReal32::operator=(const MatReal32& m) {
    if (this == &m) return *this;
    Del();
    Create(m.rows, m.cols);
    CopyElements(data, m.data, size);
    return *this;
}

void MatReal32::Add(const MatReal32& m) {
    K().add_f32(data, m.data, size);
}
void MatReal32::Add(const float& s) {
    K().addc_f32(data, s, size);
}
void MatReal32::Sub(const MatReal32& m) {
    K().sub_f32(data, m.data, size);
}
void MatReal32::Sub(const float& s) {
    K().subc_f32(data, s, size);
}
void MatReal32::DotMul(const MatReal32& m) {
    K().mul_f32(data, m.data, size);
}
void MatReal32::Mul(const float& s) {
    K().mulc_f32(data, s, size);
}
void MatReal32::Div(const MatReal32& m) {
    if (K().div_f32(data, m.data, size) == kern::kStsDivByZero) VELA_THROW(VELAErrorDivideByZero);
}
void MatReal32::Div(const float& s) {
    if (K().divc_f32(data, s, size) == kern::kStsDivByZeroErr) VELA_THROW(VELAErrorDivideByZero);
}

void MatReal32::Import(const float* p, int r, int c) {
    Resize(r, c);
    CopyElements(data, p, r * c);
}
void MatReal32::Import(int row, const VecReal32& v) {
    CopyElements(rowTable[row], v.Data(), v.GetSize());
}
void MatReal32::Import(const VecReal32& v) {
    Import(0, v);
}
void MatReal32::Export(float* p, int n) const {
    CopyElements(p, data, n);
}

bool MatReal32::IsEqual(const MatReal32& m, float tolerance) const {
    if (rows != m.rows || cols != m.cols) return false;
    for (int i = 0; i < size; ++i) {
        const float diff = data[i] - m.data[i];
        if (!(std::fabs(diff) < tolerance)) return false;
    }
    return true;
}

void MatReal32::Dump(int n) const {
    DumpRows(data, rows, cols, n);
}
void MatReal32::Dump(const char* path) const {
    if (!DumpFile(path, data, rows, cols)) VELA_THROW(VELAErrorOpeningFile);
}

// ============================== MatReal64 ==============================

void MatReal64::Alloc(int n) {
    AllocBlockAndRows(n, VELAAllocReal64);
}

MatReal64::MatReal64(int rows, int cols) : BaseMatrix<double>() {
    Create(rows, cols);
}

MatReal64::MatReal64(const MatReal64& m) : BaseMatrix<double>() {
    Create(m.rows, m.cols);
    CopyElements(data, m.data, size);
}

MatReal64& MatReal64::operator=(const MatReal64& m) {
    if (this == &m) return *this;
    Del();
    Create(m.rows, m.cols);
    CopyElements(data, m.data, size);
    return *this;
}

void MatReal64::Add(const MatReal64& m) {
    K().add_f64(data, m.data, size);
}
void MatReal64::Add(const double& s) {
    K().addc_f64(data, s, size);
}
void MatReal64::Sub(const MatReal64& m) {
    K().sub_f64(data, m.data, size);
}
void MatReal64::Sub(const double& s) {
    K().subc_f64(data, s, size);
}
void MatReal64::DotMul(const MatReal64& m) {
    K().mul_f64(data, m.data, size);
}
void MatReal64::Mul(const double& s) {
    K().mulc_f64(data, s, size);
}
void MatReal64::Div(const MatReal64& m) {
    if (K().div_f64(data, m.data, size) == kern::kStsDivByZero) VELA_THROW(VELAErrorDivideByZero);
}
void MatReal64::Div(const double& s) {
    if (K().divc_f64(data, s, size) == kern::kStsDivByZeroErr) VELA_THROW(VELAErrorDivideByZero);
}

void MatReal64::Import(const double* p, int r, int c) {
    Resize(r, c);
    CopyElements(data, p, r * c);
}
void MatReal64::Import(int row, const VecReal64& v) {
    CopyElements(rowTable[row], v.Data(), v.GetSize());
}
void MatReal64::Import(const VecReal64& v) {
    Import(0, v);
}
void MatReal64::Export(double* p, int n) const {
    CopyElements(p, data, n);
}

bool MatReal64::IsEqual(const MatReal64& m, double tolerance) const {
    if (rows != m.rows || cols != m.cols) return false;
    for (int i = 0; i < size; ++i)
        if (!(std::fabs(data[i] - m.data[i]) < tolerance)) return false;
    return true;
}

void MatReal64::Dump(int n) const {
    DumpRows(data, rows, cols, n);
}
void MatReal64::Dump(const char* path) const {
    if (!DumpFile(path, data, rows, cols)) VELA_THROW(VELAErrorOpeningFile);
}

}  // namespace VELA
