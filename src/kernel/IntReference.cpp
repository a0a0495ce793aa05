// Plain scalar reference of the integer kernels: the definition of what every optimised level must
// compute. Built without auto-vectorisation; clarity over speed.
#include "kernel/IntKernels.h"

namespace VELA::kern::reference {
namespace {

short Saturate16(int v) {
    if (v > 32767) return 32767;
    if (v < -32768) return -32768;
    return static_cast<short>(v);
}

void Add16s(short* d, const short* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = Saturate16(d[i] + s[i]);
}
void Sub16s(short* d, const short* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = Saturate16(d[i] - s[i]);
}
void Mul16s(short* d, const short* s, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = Saturate16(d[i] * s[i]);
}
void AddC16s(short* d, short c, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = Saturate16(d[i] + c);
}
void SubC16s(short* d, short c, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = Saturate16(d[i] - c);
}
void MulC16s(short* d, short c, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = Saturate16(d[i] * c);
}

template <class T>
int64_t Sum(const T* s, int n) {
    int64_t t = 0;
    for (int i = 0; i < n; ++i)
        t += s[i];
    return t;
}

template <class T, bool kMax>
T ExtremeIndex(const T* s, int n, int* index) {
    if (index) *index = 0;
    if (n <= 0) return T(0);
    T best = s[0];
    for (int i = 1; i < n; ++i) {
        if (kMax ? (s[i] > best) : (s[i] < best)) {
            best = s[i];
            if (index) *index = i;
        }
    }
    return best;
}
template <class T, bool kMax>
T Extreme(const T* s, int n) {
    return ExtremeIndex<T, kMax>(s, n, nullptr);
}

void And8u(const unsigned char* a, const unsigned char* b, unsigned char* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<unsigned char>(a[i] & b[i]);
}
void Or8u(const unsigned char* a, const unsigned char* b, unsigned char* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<unsigned char>(a[i] | b[i]);
}
void Xor8u(const unsigned char* a, const unsigned char* b, unsigned char* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<unsigned char>(a[i] ^ b[i]);
}
void Not8u(const unsigned char* s, unsigned char* d, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = static_cast<unsigned char>(~s[i]);
}
void Flip01(unsigned char* d, int n) {
    for (int i = 0; i < n; ++i) {
        if (d[i] == 1)
            d[i] = 0;
        else if (d[i] == 0)
            d[i] = 1;
    }
}
void Set8u(unsigned char* d, unsigned char value, int n) {
    for (int i = 0; i < n; ++i)
        d[i] = value;
}

}  // namespace

extern const IntKernelTable kIntTable;
const IntKernelTable kIntTable = {
    .name = "reference",
    .add_16s = Add16s,
    .sub_16s = Sub16s,
    .mul_16s = Mul16s,
    .addc_16s = AddC16s,
    .subc_16s = SubC16s,
    .mulc_16s = MulC16s,
    .sum_16s = Sum<short>,
    .sum_32s = Sum<int>,
    .max_16s = Extreme<short, true>,
    .min_16s = Extreme<short, false>,
    .maxindx_16s = ExtremeIndex<short, true>,
    .minindx_16s = ExtremeIndex<short, false>,
    .max_32s = Extreme<int, true>,
    .min_32s = Extreme<int, false>,
    .maxindx_32s = ExtremeIndex<int, true>,
    .minindx_32s = ExtremeIndex<int, false>,
    .and_8u = And8u,
    .or_8u = Or8u,
    .xor_8u = Xor8u,
    .not_8u = Not8u,
    .flip01_8u = Flip01,
    .set_8u = Set8u,
};

}  // namespace VELA::kern::reference
