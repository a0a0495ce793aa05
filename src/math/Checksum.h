// CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320).
#pragma once
#include "VELAExport.h"

namespace VELA {

class UnitTestRecorder;

class VELA_API Checksum {
  public:
    // The standard reflected CRC-32 table, a constant of the data: 0, 0x77073096, 0xEE0E612C, ...
    static const unsigned int CRC32LookupTable[256];

    // CRC of `length` bytes at `data`, continuing from `previous` (0 to start). Chains: the CRC of
    // piece one passed as `previous` for piece two gives the CRC of both. length 0 returns `previous`.
    static unsigned int ComputeCRC32(int length, const void* data, unsigned int previous);

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
