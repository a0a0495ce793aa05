// The CRC-32 engine: a table path for every CPU and carry-less multiply folding where the CPU has it.
//
// Folding follows Intel's white paper "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ
// Instruction" (Gopal et al., 2009), in its bit-reflected form: 128-bit lanes of the message are
// multiplied by x^(D+32) and x^(D-32) mod P to move them D bits further along, where they are added to
// the data there; at the end one lane is reduced to 32 bits by a Barrett step. The folding constants are
// computed here at compile time from the polynomial, so each distance in use is derived, not copied.
#include <immintrin.h>

#include <array>

#include "kernel/Crc32Kernels.h"

namespace VELA::kern {
namespace {

// ---- tables for slicing by 16 ----
using Table = std::array<uint32_t, 256>;

constexpr std::array<Table, 16> MakeSliceTables() {
    std::array<Table, 16> t{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        t[0][i] = c;
    }
    for (int k = 1; k < 16; ++k)
        for (int i = 0; i < 256; ++i)
            t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFF];
    return t;
}
constexpr std::array<Table, 16> kSlice = MakeSliceTables();
static_assert(kSlice[0][1] == 0x77073096u && kSlice[0][2] == 0xEE0E612Cu);

inline uint32_t Load32(const unsigned char* p) {
    // x86 is little-endian; memcpy-free byte assembly keeps this portable and compiles to one load.
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

uint32_t Slice16(uint32_t crc, const unsigned char* p, size_t n) {
    const auto& t = kSlice;
    while (n >= 16) {
        const uint32_t a = Load32(p) ^ crc;
        const uint32_t b = Load32(p + 4);
        const uint32_t c = Load32(p + 8);
        const uint32_t d = Load32(p + 12);
        crc = t[15][a & 0xFF] ^ t[14][(a >> 8) & 0xFF] ^ t[13][(a >> 16) & 0xFF] ^ t[12][a >> 24] ^
              t[11][b & 0xFF] ^ t[10][(b >> 8) & 0xFF] ^ t[9][(b >> 16) & 0xFF] ^ t[8][b >> 24] ^
              t[7][c & 0xFF] ^ t[6][(c >> 8) & 0xFF] ^ t[5][(c >> 16) & 0xFF] ^ t[4][c >> 24] ^
              t[3][d & 0xFF] ^ t[2][(d >> 8) & 0xFF] ^ t[1][(d >> 16) & 0xFF] ^ t[0][d >> 24];
        p += 16;
        n -= 16;
    }
    while (n--)
        crc = (crc >> 8) ^ t[0][(crc ^ *p++) & 0xFF];
    return crc;
}

// ---- folding constants ----
// x^e mod P (P = 0x104C11DB7 in normal bit order), bit-reflected and shifted left by one: the form in
// which a reflected 64-bit lane is multiplied.
constexpr uint64_t FoldConstant(int e) {
    uint64_t r = 1;
    for (int i = 0; i < e; ++i) {
        r <<= 1;
        if (r & 0x100000000ull) r ^= 0x104C11DB7ull;
    }
    uint64_t reflected = 0;
    for (int b = 0; b < 32; ++b)
        if (r & (1ull << b)) reflected |= 1ull << (31 - b);
    return reflected << 1;
}
// Moving a 128-bit lane D bits on takes x^(D+32) for its low half and x^(D-32) for its high half.
constexpr uint64_t kFold128Lo = FoldConstant(128 + 32), kFold128Hi = FoldConstant(128 - 32);
constexpr uint64_t kFold512Lo = FoldConstant(512 + 32), kFold512Hi = FoldConstant(512 - 32);
constexpr uint64_t kFold2048Lo = FoldConstant(2048 + 32), kFold2048Hi = FoldConstant(2048 - 32);
constexpr uint64_t kFold64 = FoldConstant(64);
// The published constants of the white paper for the 128- and 512-bit distances.
static_assert(kFold512Lo == 0x154442bd4ull && kFold512Hi == 0x1c6e41596ull);
static_assert(kFold128Lo == 0x1751997d0ull && kFold128Hi == 0x0ccaa009eull);
static_assert(kFold64 == 0x163cd6124ull);
// Barrett reduction: the reflected polynomial (33 bits) and mu = floor(x^64 / P), reflected.
constexpr uint64_t kPolyReflected = 0x1DB710641ull;
constexpr uint64_t kBarrettMu = 0x1F7011641ull;

#define CRC_TARGET_CLMUL __attribute__((target("pclmul,sse4.1")))
#define CRC_TARGET_CLMUL512 \
    __attribute__((target("pclmul,sse4.1,avx2,avx512f,avx512bw,avx512vl,avx512dq,vpclmulqdq")))

CRC_TARGET_CLMUL inline __m128i Fold128(__m128i x, __m128i k, __m128i next) {
    const __m128i lo = _mm_clmulepi64_si128(x, k, 0x00);
    const __m128i hi = _mm_clmulepi64_si128(x, k, 0x11);
    return _mm_xor_si128(_mm_xor_si128(lo, hi), next);
}

// Folds four consecutive lanes into one.
CRC_TARGET_CLMUL inline __m128i Fold4To1(__m128i x1, __m128i x2, __m128i x3, __m128i x4) {
    const __m128i k = _mm_set_epi64x(static_cast<long long>(kFold128Hi), static_cast<long long>(kFold128Lo));
    x1 = Fold128(x1, k, x2);
    x1 = Fold128(x1, k, x3);
    return Fold128(x1, k, x4);
}

// Takes the running lane x over `len` more bytes (a multiple of 16), then reduces it to the register.
CRC_TARGET_CLMUL uint32_t FinishFold(__m128i x, const unsigned char* p, size_t len) {
    const __m128i k = _mm_set_epi64x(static_cast<long long>(kFold128Hi), static_cast<long long>(kFold128Lo));
    for (; len >= 16; len -= 16, p += 16)
        x = Fold128(x, k, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));

    // 128 bits to 64: the low half times x^96 (the high constant) lands on the high half.
    const __m128i mask32 = _mm_setr_epi32(-1, 0, -1, 0);
    __m128i t = _mm_clmulepi64_si128(x, k, 0x10);
    x = _mm_xor_si128(_mm_srli_si128(x, 8), t);
    // 64 bits to 32 plus a carry into the next 32.
    const __m128i k64 = _mm_set_epi64x(0, static_cast<long long>(kFold64));
    t = _mm_srli_si128(x, 4);
    x = _mm_clmulepi64_si128(_mm_and_si128(x, mask32), k64, 0x00);
    x = _mm_xor_si128(x, t);
    // Barrett reduction to 32 bits.
    const __m128i poly =
        _mm_set_epi64x(static_cast<long long>(kBarrettMu), static_cast<long long>(kPolyReflected));
    t = _mm_clmulepi64_si128(_mm_and_si128(x, mask32), poly, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, mask32), poly, 0x00);
    x = _mm_xor_si128(x, t);
    return static_cast<uint32_t>(_mm_extract_epi32(x, 1));
}

// n >= 64 and a multiple of 16.
CRC_TARGET_CLMUL uint32_t FoldClmul(uint32_t crc, const unsigned char* p, size_t n) {
    const auto* q = reinterpret_cast<const __m128i*>(p);
    __m128i x1 = _mm_xor_si128(_mm_loadu_si128(q), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = _mm_loadu_si128(q + 1);
    __m128i x3 = _mm_loadu_si128(q + 2);
    __m128i x4 = _mm_loadu_si128(q + 3);
    p += 64;
    n -= 64;
    const __m128i k = _mm_set_epi64x(static_cast<long long>(kFold512Hi), static_cast<long long>(kFold512Lo));
    for (; n >= 64; n -= 64, p += 64) {
        q = reinterpret_cast<const __m128i*>(p);
        x1 = Fold128(x1, k, _mm_loadu_si128(q));
        x2 = Fold128(x2, k, _mm_loadu_si128(q + 1));
        x3 = Fold128(x3, k, _mm_loadu_si128(q + 2));
        x4 = Fold128(x4, k, _mm_loadu_si128(q + 3));
    }
    return FinishFold(Fold4To1(x1, x2, x3, x4), p, n);
}

CRC_TARGET_CLMUL512 inline __m512i Fold512(__m512i z, __m512i k, __m512i next) {
    const __m512i lo = _mm512_clmulepi64_epi128(z, k, 0x00);
    const __m512i hi = _mm512_clmulepi64_epi128(z, k, 0x11);
    return _mm512_ternarylogic_epi64(lo, hi, next, 0x96);  // lo ^ hi ^ next
}

// The same 128-bit constant in every lane. (_mm512_broadcast_i32x4 trips a false uninitialised-use
// warning in GCC 12's headers.)
CRC_TARGET_CLMUL512 inline __m512i Broadcast128(uint64_t hi, uint64_t lo) {
    const auto h = static_cast<long long>(hi), l = static_cast<long long>(lo);
    return _mm512_set_epi64(h, l, h, l, h, l, h, l);
}

// n >= 256 and a multiple of 16.
CRC_TARGET_CLMUL512 uint32_t FoldClmul512(uint32_t crc, const unsigned char* p, size_t n) {
    const __m512i seed = _mm512_set_epi32(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, static_cast<int>(crc));
    __m512i z1 = _mm512_xor_si512(_mm512_loadu_si512(p), seed);
    __m512i z2 = _mm512_loadu_si512(p + 64);
    __m512i z3 = _mm512_loadu_si512(p + 128);
    __m512i z4 = _mm512_loadu_si512(p + 192);
    p += 256;
    n -= 256;
    const __m512i k2048 = Broadcast128(kFold2048Hi, kFold2048Lo);
    for (; n >= 256; n -= 256, p += 256) {
        z1 = Fold512(z1, k2048, _mm512_loadu_si512(p));
        z2 = Fold512(z2, k2048, _mm512_loadu_si512(p + 64));
        z3 = Fold512(z3, k2048, _mm512_loadu_si512(p + 128));
        z4 = Fold512(z4, k2048, _mm512_loadu_si512(p + 192));
    }
    // Four registers into one (each lane moves 512 bits on), then its four lanes into one.
    const __m512i k512 = Broadcast128(kFold512Hi, kFold512Lo);
    z1 = Fold512(z1, k512, z2);
    z1 = Fold512(z1, k512, z3);
    z1 = Fold512(z1, k512, z4);
    // (The zero-masking extract: the plain one trips the same GCC 12 warning as above.)
    const __m128i x =
        Fold4To1(_mm512_maskz_extracti32x4_epi32(0xF, z1, 0), _mm512_maskz_extracti32x4_epi32(0xF, z1, 1),
                 _mm512_maskz_extracti32x4_epi32(0xF, z1, 2), _mm512_maskz_extracti32x4_epi32(0xF, z1, 3));
    return FinishFold(x, p, n);
}

uint32_t UpdateClmul(uint32_t crc, const unsigned char* p, size_t n) {
    if (n < 64) return Slice16(crc, p, n);
    const size_t blocks = n & ~static_cast<size_t>(15);
    crc = FoldClmul(crc, p, blocks);
    return Slice16(crc, p + blocks, n - blocks);
}

uint32_t UpdateClmul512(uint32_t crc, const unsigned char* p, size_t n) {
    if (n < 256) return UpdateClmul(crc, p, n);
    const size_t blocks = n & ~static_cast<size_t>(15);
    crc = FoldClmul512(crc, p, blocks);
    return Slice16(crc, p + blocks, n - blocks);
}

Crc32Path BestPath() noexcept {
    if (Crc32PathSupported(Crc32Path::Clmul512)) return Crc32Path::Clmul512;
    if (Crc32PathSupported(Crc32Path::Clmul)) return Crc32Path::Clmul;
    return Crc32Path::Slice16;
}

using UpdateFn = uint32_t (*)(uint32_t, const unsigned char*, size_t);
constexpr UpdateFn kPaths[kCrc32PathCount] = {Slice16, UpdateClmul, UpdateClmul512};

// Chosen once, on first use (a function-local static, so no order of static initialisation matters).
Crc32Path Active() noexcept {
    static const Crc32Path active = BestPath();
    return active;
}
// Decide at load time rather than inside the first caller's loop.
[[maybe_unused]] const bool kChosenAtLoad = (Active(), true);

}  // namespace

bool Crc32PathSupported(Crc32Path path) noexcept {
    __builtin_cpu_init();
    switch (path) {
        case Crc32Path::Slice16:
            return true;
        case Crc32Path::Clmul:
            return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
        case Crc32Path::Clmul512:
            return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1") &&
                   __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                   __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
                   __builtin_cpu_supports("vpclmulqdq");
    }
    return false;
}

const char* Crc32PathName(Crc32Path path) noexcept {
    switch (path) {
        case Crc32Path::Slice16:
            return "slice16";
        case Crc32Path::Clmul:
            return "clmul";
        case Crc32Path::Clmul512:
            return "clmul512";
    }
    return "?";
}

Crc32Path Crc32ActivePath() noexcept {
    return Active();
}

uint32_t Crc32Update(uint32_t crc, const unsigned char* p, size_t n) noexcept {
    static const UpdateFn update = kPaths[static_cast<int>(Active())];
    return update(crc, p, n);
}

uint32_t Crc32UpdateWith(Crc32Path path, uint32_t crc, const unsigned char* p, size_t n) noexcept {
    return kPaths[static_cast<int>(path)](crc, p, n);
}

}  // namespace VELA::kern
