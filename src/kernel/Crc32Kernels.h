// CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320) over a byte stream: the engine behind
// Checksum::ComputeCRC32.
//
// The functions take and return the raw register, i.e. without the initial and final inversions: the
// caller passes ~previous and inverts the result. Three paths compute the same value:
// - Slice16: table-driven, 16 bytes per step (tables built at compile time); runs everywhere;
// - Clmul: carry-less multiply folding of 64 bytes per step (PCLMULQDQ, SSE4.1);
// - Clmul512: the same folding over 256 bytes per step in 512-bit registers (VPCLMULQDQ, AVX-512).
// The best path the CPU supports is chosen once at load time.
#pragma once
#include <cstddef>
#include <cstdint>

namespace VELA::kern {

enum class Crc32Path { Slice16 = 0, Clmul = 1, Clmul512 = 2 };
inline constexpr int kCrc32PathCount = 3;

// Whether this CPU can run the path.
bool Crc32PathSupported(Crc32Path path) noexcept;
const char* Crc32PathName(Crc32Path path) noexcept;
// The path chosen at load time.
Crc32Path Crc32ActivePath() noexcept;

// Advances the register over n bytes with the chosen path / with a given path (which must be
// supported).
uint32_t Crc32Update(uint32_t crc, const unsigned char* p, size_t n) noexcept;
uint32_t Crc32UpdateWith(Crc32Path path, uint32_t crc, const unsigned char* p, size_t n) noexcept;

}  // namespace VELA::kern
