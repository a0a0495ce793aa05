// Run-time choice of the instruction-set level of the kernel families.
//
// Each kernel family (vector arithmetic, integer, math, ...) is a table of function pointers with:
//   <Family>Kernels.h     the table type and its accessor, e.g. `const VectorKernelTable& K();`
//   <Family>Reference.cpp plain scalar loops, built without auto-vectorisation: the definition
//   <Family>Body.inc      the optimised bodies, defining `kTable` in namespace KERNEL_NS
//   <Family>Sse2.cpp, <Family>Avx2.cpp, <Family>Avx512.cpp
//                         three lines each (#define KERNEL_NS/KERNEL_NAME, #include the body); the
//                         build compiles files named *Sse2.cpp, *Avx2.cpp, *Avx512.cpp with
//                         -march=x86-64, x86-64-v3 (AVX2+FMA) and x86-64-v4 (AVX-512) respectively.
// The accessor returns Pick(tables), the table of the active level. The level is chosen once at load
// time; tests may force one with SetVariant to test every level on any CPU that runs it.
#pragma once

namespace VELA::kern {

enum class Variant { Reference = 0, Sse2 = 1, Avx2 = 2, Avx512 = 3 };
inline constexpr int kVariantCount = 4;

// The best level this CPU supports.
Variant BestVariant() noexcept;
// Whether this CPU can run the level.
bool VariantSupported(Variant v) noexcept;
// Makes `v` active for every family; false (and no change) if the CPU cannot run it. Not thread-safe
// with respect to running kernels: for tests.
bool SetVariant(Variant v) noexcept;
// The active level.
Variant ActiveVariant() noexcept;
const char* VariantName(Variant v) noexcept;

// A family's table for the active level; `tables` is indexed by Variant.
template <class Table>
inline const Table& Pick(const Table* const (&tables)[kVariantCount]) noexcept {
    return *tables[static_cast<int>(ActiveVariant())];
}

}  // namespace VELA::kern
