#include "kernel/Lapack.h"

#include <climits>

// The Fortran entry points of LAPACK: every argument by reference, no hidden arguments (none of these
// routines takes a character argument).
extern "C" {
void sgetrf_(const int* m, const int* n, float* a, const int* lda, int* ipiv, int* info);
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);
void sgetri_(const int* n, float* a, const int* lda, const int* ipiv, float* work, const int* lwork,
             int* info);
void dgetri_(const int* n, double* a, const int* lda, const int* ipiv, double* work, const int* lwork,
             int* info);
}

namespace VELA::kern {

int LuFactor(int n, float* a, int lda, int* pivots) noexcept {
    int info = 0;
    sgetrf_(&n, &n, a, &lda, pivots, &info);
    return info;
}

int LuFactor(int n, double* a, int lda, int* pivots) noexcept {
    int info = 0;
    dgetrf_(&n, &n, a, &lda, pivots, &info);
    return info;
}

int LuInverse(int n, float* a, int lda, const int* pivots, float* work, int lwork) noexcept {
    int info = 0;
    sgetri_(&n, a, &lda, pivots, work, &lwork, &info);
    return info;
}

int LuInverse(int n, double* a, int lda, const int* pivots, double* work, int lwork) noexcept {
    int info = 0;
    dgetri_(&n, a, &lda, pivots, work, &lwork, &info);
    return info;
}

int LuInverseWorkLength(int n) noexcept {
    return n <= INT_MAX / 64 ? 64 * n : n;
}

}  // namespace VELA::kern
