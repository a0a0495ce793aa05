// LU factorisation and inversion, the LAPACK routines behind the matrix inverse.
//
// Matrices are column-major, n by n, with leading dimension lda (LAPACK's convention). A row-major
// block handed over as it lies is seen as its transpose; since the inverse of the transpose is the
// transpose of the inverse, inverting it in place leaves the row-major inverse. Each function returns
// LAPACK's `info`: 0 on success, i > 0 when U(i, i) is exactly zero (singular), -i when argument i was
// illegal.
#pragma once

namespace VELA::kern {

// LU factorisation with partial pivoting (sgetrf / dgetrf); `pivots` receives n row interchanges.
int LuFactor(int n, float* a, int lda, int* pivots) noexcept;
int LuFactor(int n, double* a, int lda, int* pivots) noexcept;

// The inverse from that factorisation, in place (sgetri / dgetri). `work` must hold `lwork` elements,
// with lwork >= max(1, n); LuInverseWorkLength(n) is the length the blocked routine works best with.
int LuInverse(int n, float* a, int lda, const int* pivots, float* work, int lwork) noexcept;
int LuInverse(int n, double* a, int lda, const int* pivots, double* work, int lwork) noexcept;

// 64 * n, the work length of the blocked inversion, or n when 64 * n does not fit an int.
int LuInverseWorkLength(int n) noexcept;

}  // namespace VELA::kern
