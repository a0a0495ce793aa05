// A small writer of ".iqt" capture files for the tests: a header text, frame records of 24 header bytes
// and 1,024 word pairs, and a correction record, laid out as the reader expects.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace corvane_test {

// A word pair as it lies in a record: the word at offset 0 and the word at offset 2 (in an IQ frame Q
// and I, in an AP frame phase and amplitude, in the correction record amplitude and phase).
struct IqtPair {
    int16_t first;
    int16_t second;
};

// Which mark a record's header carries: bytes 6..9 all 0xFF (IQ), bytes 2..5 (AP), both, or neither.
enum class IqtMark { IQ, AP, Both, None };

struct IqtRecord {
    std::array<unsigned char, 24> header{};
    std::array<IqtPair, 1024> pairs{};
};

// A record with `mark`, pair i given by pair(i), and `tag` in header bytes 16..19 (meaningless to the
// reader; lets a test see which record's header it got).
IqtRecord MakeRecord(IqtMark mark, const std::function<IqtPair(int)>& pair, uint32_t tag = 0);

// "Key=Value\r\n" for each pair, in order.
std::string HeaderText(const std::vector<std::pair<std::string, std::string>>& pairs);

struct IqtFile {
    std::string headerText;
    std::vector<IqtRecord> frames;
    IqtRecord correction;
    bool withCorrection = true;

    // The digit of the header length, the length, the text, the frames, the correction record.
    std::string Bytes() const;
    void Write(const std::string& path) const;
};

// A file of `frames` IQ frames of `fftPoints` points with the given header pairs appended to FFTPoints,
// ValidFrames and BlockSize; pair i of frame k is (Q, I) = (-(k * 100 + i), k * 1000 + i) with the
// words kept in 16 bits, and the correction record holds (i - 512, 3 * i - 1000).
IqtFile SimpleFile(int fftPoints, int frames, int blockSize,
                   const std::vector<std::pair<std::string, std::string>>& more = {});
// The I and Q words of SimpleFile's frame k, pair i.
int SimpleI(int k, int i);
int SimpleQ(int k, int i);

}  // namespace corvane_test
