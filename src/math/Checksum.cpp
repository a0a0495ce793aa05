#include "Checksum.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "kernel/Crc32Kernels.h"

namespace VELA {
namespace {

constexpr std::array<unsigned int, 256> MakeTable() {
    std::array<unsigned int, 256> t{};
    for (unsigned int i = 0; i < 256; ++i) {
        unsigned int c = i;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        t[i] = c;
    }
    return t;
}
constexpr auto kTable = MakeTable();

}  // namespace

const unsigned int Checksum::CRC32LookupTable[256] = {
#define CRC_ROW(i)                                                                                       \
    kTable[i], kTable[i + 1], kTable[i + 2], kTable[i + 3], kTable[i + 4], kTable[i + 5], kTable[i + 6], \
        kTable[i + 7]
    CRC_ROW(0),   CRC_ROW(8),   CRC_ROW(16),  CRC_ROW(24),  CRC_ROW(32),  CRC_ROW(40),  CRC_ROW(48),
    CRC_ROW(56),  CRC_ROW(64),  CRC_ROW(72),  CRC_ROW(80),  CRC_ROW(88),  CRC_ROW(96),  CRC_ROW(104),
    CRC_ROW(112), CRC_ROW(120), CRC_ROW(128), CRC_ROW(136), CRC_ROW(144), CRC_ROW(152), CRC_ROW(160),
    CRC_ROW(168), CRC_ROW(176), CRC_ROW(184), CRC_ROW(192), CRC_ROW(200), CRC_ROW(208), CRC_ROW(216),
    CRC_ROW(224), CRC_ROW(232), CRC_ROW(240), CRC_ROW(248),
#undef CRC_ROW
};

// The byte-wise definition, crc = (crc >> 8) ^ CRC32LookupTable[(crc & 255) ^ b] from ~previous, runs
// in the kernel layer on the fastest path this CPU has (carry-less multiply folding where available);
// every path gives the same register as the table loop.
unsigned int Checksum::ComputeCRC32(int length, const void* data, unsigned int previous) {
    if (length <= 0) return previous;
    return ~kern::Crc32Update(~previous, static_cast<const unsigned char*>(data),
                              static_cast<size_t>(length));
}

}  // namespace VELA
