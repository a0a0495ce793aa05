// MathUtils: the matrix members (products, transpose, identity, inverse, row and column sums).
#include <cstdint>

#include "MathUtils.h"
#include "Vector.h"
#include "kernel/Lapack.h"
#include "kernel/MathKernels.h"
#include "matrix.h"
#include "internal/Aliasing.h"

namespace VELA {

using kern::MK;

namespace {

// Every output element reads a whole row of a and column of b, and the transpose moves every element:
// an operand that is also the output is read from a copy (Unaliased), taken before out is resized.
template <class T, class Mat>
void MatMul(Mat& out, const Mat& a, const Mat& b) {
    const internal::Unaliased<Mat> sa(a, out), sb(b, out);
    const Mat& x = *sa;
    const Mat& y = *sb;
    const int rows = x.GetRows(), inner = x.GetCols(), cols = y.GetCols();
    out.Resize(rows, cols);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) {
            // One rounding per element: the running sum is held in double in both precisions.
            double sum = 0;
            for (int k = 0; k < inner; ++k)
                sum += static_cast<double>(x[i][k]) * static_cast<double>(y[k][j]);
            out[i][j] = static_cast<T>(sum);
        }
}

template <class Mat>
void Transpose(Mat& out, const Mat& in) {
    const internal::Unaliased<Mat> src(in, out);
    const Mat& m = *src;
    const int rows = m.GetRows(), cols = m.GetCols();
    out.Resize(cols, rows);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j)
            out[j][i] = m[i][j];
}

template <class Mat>
void Identity(Mat& m, int n) {
    m.Resize(n, n);
    m.SetZero();
    for (int i = 0; i < n; ++i)
        m[i][i] = 1;
}

// LAPACK's element allocator for each precision (the pivots always take VELAAllocInt32).
float* AllocWork(float*, int n) {
    return VELAAllocReal32(n);
}
double* AllocWork(double*, int n) {
    return VELAAllocReal64(n);
}

// The inverse through LU factorisation. The row-major block is handed to the column-major routines as it
// lies: they see the transpose and leave the transpose of its inverse, which read row-major is the
// inverse. No transposition is needed either way.
template <class Mat, class T>
void Invert(Mat& out, const Mat& in) {
    out = in;  // a deep copy that allocates anew, by the rule of operator=
    const int n = in.GetRows();
    if (n == 0) return;

    // The work array gets the length we declare to the routine (the blocked routine's preferred 64 n).
    const int workLength = kern::LuInverseWorkLength(n);
    int* pivots = VELAAllocInt32(n);
    T* work = AllocWork(static_cast<T*>(nullptr), workLength);
    if (!pivots || !work) {
        VELADelete(pivots);
        VELADelete(work);
        VELA_THROW(VELAErrorMemoryAlloc);
    }
    // The routines read n * n elements: a block without them (a shape with fewer columns than rows, or
    // none at all) has no inverse to compute and must not be read past its end.
    if (static_cast<int64_t>(n) * n > out.GetSize()) {
        VELADelete(pivots);
        VELADelete(work);
        VELA_THROW(VELAErrorSingularMatrix);
    }
    T* block = out[0];
    // A non-zero info is an exact zero pivot (singular) or an illegal argument; neither has an inverse.
    // On a throw out keeps the partial factorisation.
    int info = kern::LuFactor(n, block, n, pivots);
    if (info == 0) info = kern::LuInverse(n, block, n, pivots, work, workLength);
    VELADelete(pivots);
    VELADelete(work);
    if (info != 0) VELA_THROW(VELAErrorSingularMatrix);
}

}  // namespace

void MathUtils::Mul(VecReal32& out, const MatReal32& m, const VecReal32& v) {
    // Every output reads all of v: a v that is the output is read from a copy.
    const internal::Unaliased<VecReal32> src(v, out);
    const int rows = m.GetRows(), stride = v.GetSize();
    out.Resize(rows);
    for (int i = 0; i < rows; ++i)
        out[i] = MK().dotprod_f32(src->Data(), m.Data() + static_cast<int64_t>(i) * stride, stride);
}
void MathUtils::Mul(VecReal64& out, const MatReal64& m, const VecReal64& v) {
    // Every output reads all of v: a v that is the output is read from a copy.
    const internal::Unaliased<VecReal64> src(v, out);
    const int rows = m.GetRows(), stride = v.GetSize();
    out.Resize(rows);
    for (int i = 0; i < rows; ++i)
        out[i] = MK().dotprod_f64(src->Data(), m.Data() + static_cast<int64_t>(i) * stride, stride);
}

void MathUtils::Mul(MatReal32& out, const MatReal32& a, const MatReal32& b) {
    MatMul<float>(out, a, b);
}
void MathUtils::Mul(MatReal64& out, const MatReal64& a, const MatReal64& b) {
    MatMul<double>(out, a, b);
}
void MathUtils::Trns(MatReal32& out, const MatReal32& in) {
    Transpose(out, in);
}
void MathUtils::Trns(MatReal64& out, const MatReal64& in) {
    Transpose(out, in);
}
void MathUtils::Eye(MatReal32& m, int n) {
    Identity(m, n);
}
void MathUtils::Eye(MatReal64& m, int n) {
    Identity(m, n);
}
void MathUtils::Inv(MatReal32& out, const MatReal32& in) {
    Invert<MatReal32, float>(out, in);
}
void MathUtils::Inv(MatReal64& out, const MatReal64& in) {
    Invert<MatReal64, double>(out, in);
}

float MathUtils::SumRow(MatReal32& m, int row) {
    const float* r = m[row];
    float sum = 0;
    for (int j = 0, n = m.GetCols(); j < n; ++j)
        sum += r[j];
    return sum;
}

float MathUtils::SumCol(MatReal32& m, int col) {
    float sum = 0;
    for (int i = 0, n = m.GetRows(); i < n; ++i)
        sum += m[i][col];
    return sum;
}

}  // namespace VELA
