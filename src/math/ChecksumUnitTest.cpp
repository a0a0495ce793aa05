// Self-test of Checksum.
#include <cstring>

#include "Checksum.h"
#include "Vector.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {
namespace {

// The definition, one byte at a time from the public table: the reference the fast paths must meet.
unsigned int BytewiseCRC(const unsigned char* p, int n, unsigned int previous) {
    unsigned int crc = ~previous;
    for (int i = 0; i < n; ++i)
        crc = (crc >> 8) ^ Checksum::CRC32LookupTable[(crc & 255u) ^ p[i]];
    return ~crc;
}

}  // namespace

bool Checksum::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "Checksum";

    recorder.AddTestRecord(cls, "Lookup table",
                           CRC32LookupTable[0] == 0u && CRC32LookupTable[1] == 0x77073096u &&
                               CRC32LookupTable[2] == 0xEE0E612Cu && CRC32LookupTable[255] == 0x2D02EF8Du);

    const char* text = "This is a test";
    recorder.AddTestRecord(cls, "CRC32 of text", ComputeCRC32(14, text, 0) == 0xC07A9F32u);
    unsigned int chained = 0;
    for (int i = 0; i < 14; ++i)
        chained = ComputeCRC32(1, text + i, chained);
    recorder.AddTestRecord(cls, "CRC32 byte by byte", chained == 0xC07A9F32u);
    // The check value of CRC-32/IEEE 802.3.
    recorder.AddTestRecord(cls, "CRC32 check value", ComputeCRC32(9, "123456789", 0) == 0xCBF43926u);
    recorder.AddTestRecord(cls, "Length 0", ComputeCRC32(0, text, 0x12345678u) == 0x12345678u);

    {
        const float pairs[10] = {0.92f, 0.93f, 0.73f, 0.92f, 0.17f, 0.73f, 0.4f, 0.17f, 0.93f, 0.4f};
        VecCplx32 v;
        v.Import(pairs, 5);
        recorder.AddTestRecord(
            cls, "CRC32 of VecCplx32",
            ComputeCRC32(40, v.Data(), 0) == 0xABF74045u && v.ComputeCRC32() == 0xABF74045u);
    }

    {
        // A buffer long enough for every path of the engine, checked whole and in uneven pieces against
        // the byte-wise definition.
        static unsigned char buffer[5000];
        unsigned int x = 2463534242u;
        for (unsigned char& b : buffer) {
            x ^= x << 13;
            x ^= x >> 17;
            x ^= x << 5;
            b = static_cast<unsigned char>(x);
        }
        bool whole = true;
        const int lengths[] = {1, 15, 16, 63, 64, 65, 255, 256, 257, 1000, 4097, 5000};
        for (int n : lengths)
            whole = whole && ComputeCRC32(n, buffer, 0) == BytewiseCRC(buffer, n, 0);
        recorder.AddTestRecord(cls, "CRC32 of long buffers", whole);

        const unsigned int expected = BytewiseCRC(buffer, 5000, 0);
        bool pieces = true;
        const int splits[] = {1, 7, 64, 300, 2049, 4999};
        for (int split : splits) {
            const unsigned int first = ComputeCRC32(split, buffer, 0);
            pieces = pieces && ComputeCRC32(5000 - split, buffer + split, first) == expected;
        }
        recorder.AddTestRecord(cls, "CRC32 chained pieces", pieces);
    }
    return true;
}

}  // namespace VELA
