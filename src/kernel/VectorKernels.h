// The vector family of kernels: conversion, arithmetic, reductions and extremes on float, double and
// interleaved complex data. See Dispatch.h for how the levels are built and chosen.
//
// Conventions of all kernels:
// - they act on exactly `n` elements and do nothing for n <= 0;
// - complex data are interleaved (re, im) pairs and `n` counts complex elements;
// - in-place forms write their first argument: d[i] = d[i] op s[i] (the operand order matters for Sub
//   and Div);
// - statuses follow the vector library we replace: 0 no error, 6 a divide-by-zero warning (every element
//   was processed), -10 a divide-by-zero error (nothing written).
#pragma once
#include <cstdint>

#include "kernel/Dispatch.h"

namespace VELA::kern {

inline constexpr int kStsNoErr = 0;
inline constexpr int kStsDivByZero = 6;
inline constexpr int kStsDivByZeroErr = -10;

struct VectorKernelTable {
    const char* name;

    // ---- conversion and layout ----
    void (*convert_f32_f64)(const float* s, double* d, int n);
    void (*convert_f64_f32)(const double* s, float* d, int n);
    void (*real_to_cplx_f32)(const float* re, const float* im, float* d, int n);
    void (*real_to_cplx_f64)(const double* re, const double* im, double* d, int n);
    void (*cplx_real_f32)(const float* s, float* re, int n);
    void (*cplx_imag_f32)(const float* s, float* im, int n);
    void (*cplx_real_f64)(const double* s, double* re, int n);
    void (*cplx_imag_f64)(const double* s, double* im, int n);

    // ---- in-place arithmetic with a vector: d[i] = d[i] op s[i] ----
    void (*add_f32)(float* d, const float* s, int n);
    void (*sub_f32)(float* d, const float* s, int n);
    void (*mul_f32)(float* d, const float* s, int n);
    int (*div_f32)(float* d, const float* s, int n);  // 6 if any s[i] == 0
    void (*add_f64)(double* d, const double* s, int n);
    void (*sub_f64)(double* d, const double* s, int n);
    void (*mul_f64)(double* d, const double* s, int n);
    int (*div_f64)(double* d, const double* s, int n);
    void (*add_c32)(float* d, const float* s, int n);
    void (*sub_c32)(float* d, const float* s, int n);
    void (*mul_c32)(float* d, const float* s, int n);
    int (*div_c32)(float* d, const float* s, int n);  // 6 if any s[i] == 0 + 0i
    void (*add_c64)(double* d, const double* s, int n);
    void (*sub_c64)(double* d, const double* s, int n);
    void (*mul_c64)(double* d, const double* s, int n);
    int (*div_c64)(double* d, const double* s, int n);

    // ---- in-place arithmetic with a scalar: d[i] = d[i] op c ----
    void (*addc_f32)(float* d, float c, int n);
    void (*subc_f32)(float* d, float c, int n);
    void (*mulc_f32)(float* d, float c, int n);
    int (*divc_f32)(float* d, float c, int n);  // -10 and nothing written if c == 0
    void (*addc_f64)(double* d, double c, int n);
    void (*subc_f64)(double* d, double c, int n);
    void (*mulc_f64)(double* d, double c, int n);
    int (*divc_f64)(double* d, double c, int n);
    void (*addc_c32)(float* d, float re, float im, int n);
    void (*subc_c32)(float* d, float re, float im, int n);
    void (*mulc_c32)(float* d, float re, float im, int n);
    int (*divc_c32)(float* d, float re, float im, int n);
    void (*addc_c64)(double* d, double re, double im, int n);
    void (*subc_c64)(double* d, double re, double im, int n);
    void (*mulc_c64)(double* d, double re, double im, int n);
    int (*divc_c64)(double* d, double re, double im, int n);

    // ---- reductions (n >= 1; results for n <= 0 are 0 and carry no meaning) ----
    // Float sums accumulate in double and return it (the "accurate" hint of the library we replace).
    double (*sum_f32)(const float* s, int n);
    double (*sum_f64)(const double* s, int n);
    void (*sum_c32)(const float* s, int n, double* re, double* im);
    void (*sum_c64)(const double* s, int n, double* re, double* im);
    // Sample standard deviation (divides by n - 1).
    float (*stddev_f32)(const float* s, int n);
    double (*stddev_f64)(const double* s, int n);
    // Extremes; the index forms report the first index on ties.
    float (*max_f32)(const float* s, int n);
    float (*min_f32)(const float* s, int n);
    float (*maxindx_f32)(const float* s, int n, int* index);
    float (*minindx_f32)(const float* s, int n, int* index);
    double (*max_f64)(const double* s, int n);
    double (*min_f64)(const double* s, int n);
    double (*maxindx_f64)(const double* s, int n, int* index);
    double (*minindx_f64)(const double* s, int n, int* index);

    // ---- transforms support ----
    // Expands a packed half spectrum (bins 0..n/2 in place) to the full conjugate-symmetric n bins.
    void (*expand_ccs_c32)(float* d, int n);
    void (*expand_ccs_c64)(double* d, int n);
};

// The table of the active level.
const VectorKernelTable& K() noexcept;

// The table of one level, or null when the CPU cannot run it.
const VectorKernelTable* VectorTableFor(Variant v) noexcept;

}  // namespace VELA::kern
