// Checksum: the public table, the quoted figures, chaining, and ComputeCRC32 against zlib's crc32 on
// seeded random buffers of many lengths, offsets and split points, on every path of the CRC engine.
#include <corvane/math/Checksum.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <vector>

#include "kernel/Crc32Kernels.h"

using namespace VELA;

namespace {

std::vector<unsigned char> RandomBytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<unsigned char> v(n);
    for (auto& b : v)
        b = static_cast<unsigned char>(rng());
    return v;
}

unsigned int Zlib(const unsigned char* p, size_t n, unsigned int previous = 0) {
    return static_cast<unsigned int>(crc32(previous, p, static_cast<uInt>(n)));
}

const int kLengths[] = {0,   1,   2,   3,   7,    8,    15,   16,   17,   31,   32,
                        33,  63,  64,  65,  127,  128,  129,  191,  255,  256,  257,
                        271, 511, 512, 513, 1000, 1023, 1024, 4095, 4097, 65537};

}  // namespace

TEST(Checksum, TableIsTheStandardReflectedTable) {
    EXPECT_EQ(Checksum::CRC32LookupTable[0], 0u);
    EXPECT_EQ(Checksum::CRC32LookupTable[1], 0x77073096u);
    EXPECT_EQ(Checksum::CRC32LookupTable[2], 0xEE0E612Cu);
    // Every entry against zlib's own table.
    const z_crc_t* zt = get_crc_table();
    for (int i = 0; i < 256; ++i)
        EXPECT_EQ(Checksum::CRC32LookupTable[i], zt[i]) << i;
}

TEST(Checksum, TextOfFourteenBytes) {
    EXPECT_EQ(Checksum::ComputeCRC32(14, "This is a test", 0), 0xC07A9F32u);
}

TEST(Checksum, ByteByByteChainingGivesTheSameValue) {
    const char* text = "This is a test";
    unsigned int crc = 0;
    for (int i = 0; i < 14; ++i)
        crc = Checksum::ComputeCRC32(1, text + i, crc);
    EXPECT_EQ(crc, 0xC07A9F32u);
}

TEST(Checksum, VecCplx32OfFortyBytes) {
    const float pairs[10] = {0.92f, 0.93f, 0.73f, 0.92f, 0.17f, 0.73f, 0.4f, 0.17f, 0.93f, 0.4f};
    VecCplx32 v;
    v.Import(pairs, 5);
    EXPECT_EQ(Checksum::ComputeCRC32(40, v.Data(), 0), 0xABF74045u);
    EXPECT_EQ(v.ComputeCRC32(), 0xABF74045u);
}

TEST(Checksum, LengthZeroReturnsPrevious) {
    EXPECT_EQ(Checksum::ComputeCRC32(0, nullptr, 0), 0u);
    EXPECT_EQ(Checksum::ComputeCRC32(0, "abc", 0xDEADBEEFu), 0xDEADBEEFu);
}

TEST(Checksum, MatchesZlibOnRandomBuffersOfManyLengthsAndOffsets) {
    const auto data = RandomBytes(70000, 7);
    for (int n : kLengths)
        for (int offset : {0, 1, 3, 8, 13}) {
            const unsigned char* p = data.data() + offset;
            EXPECT_EQ(Checksum::ComputeCRC32(n, p, 0), Zlib(p, static_cast<size_t>(n)))
                << n << " at " << offset;
            // A non-zero previous value continues zlib's stream the same way.
            EXPECT_EQ(Checksum::ComputeCRC32(n, p, 0x12345678u),
                      Zlib(p, static_cast<size_t>(n), 0x12345678u));
        }
}

TEST(Checksum, ChainingAtAnySplitGivesTheCrcOfTheWhole) {
    const auto data = RandomBytes(5000, 11);
    const unsigned int whole = Zlib(data.data(), data.size());
    for (int split : {0, 1, 2, 15, 16, 17, 63, 64, 65, 255, 256, 257, 1000, 2500, 4095, 4999, 5000}) {
        const unsigned int first = Checksum::ComputeCRC32(split, data.data(), 0);
        EXPECT_EQ(Checksum::ComputeCRC32(5000 - split, data.data() + split, first), whole) << split;
    }
    // Many uneven pieces.
    std::mt19937 rng(3);
    unsigned int crc = 0;
    size_t at = 0;
    while (at < data.size()) {
        const size_t piece = std::min<size_t>(data.size() - at, rng() % 700);
        crc = Checksum::ComputeCRC32(static_cast<int>(piece), data.data() + at, crc);
        at += piece;
    }
    EXPECT_EQ(crc, whole);
}

TEST(Checksum, EveryEnginePathMatchesZlib) {
    const auto data = RandomBytes(70000, 5);
    for (int k = 0; k < kern::kCrc32PathCount; ++k) {
        const auto path = static_cast<kern::Crc32Path>(k);
        if (!kern::Crc32PathSupported(path)) {
            std::printf("CRC path %s not supported on this CPU, not tested\n", kern::Crc32PathName(path));
            continue;
        }
        SCOPED_TRACE(kern::Crc32PathName(path));
        for (int n : kLengths)
            for (int offset : {0, 5, 16}) {
                const unsigned char* p = data.data() + offset;
                const uint32_t reg = kern::Crc32UpdateWith(path, ~0x9E3779B9u, p, static_cast<size_t>(n));
                EXPECT_EQ(~reg, Zlib(p, static_cast<size_t>(n), 0x9E3779B9u)) << n << " at " << offset;
            }
    }
}

TEST(Checksum, AllZeroAndAllOneBuffers) {
    for (unsigned char fill : {0x00, 0xFF}) {
        const std::vector<unsigned char> data(9000, fill);
        for (int n : {1, 64, 256, 1024, 9000})
            EXPECT_EQ(Checksum::ComputeCRC32(n, data.data(), 0), Zlib(data.data(), static_cast<size_t>(n)));
    }
}
