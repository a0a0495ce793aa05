#include "support/IqtFile.h"

#include <cstring>
#include <fstream>

namespace corvane_test {

IqtRecord MakeRecord(IqtMark mark, const std::function<IqtPair(int)>& pair, uint32_t tag) {
    IqtRecord r;
    if (mark == IqtMark::AP || mark == IqtMark::Both)
        for (int b = 2; b < 6; ++b)
            r.header[static_cast<size_t>(b)] = 0xFF;
    if (mark == IqtMark::IQ || mark == IqtMark::Both)
        for (int b = 6; b < 10; ++b)
            r.header[static_cast<size_t>(b)] = 0xFF;
    for (int b = 0; b < 4; ++b)
        r.header[static_cast<size_t>(16 + b)] = static_cast<unsigned char>(tag >> (8 * b));
    for (int i = 0; i < 1024; ++i)
        r.pairs[static_cast<size_t>(i)] = pair(i);
    return r;
}

std::string HeaderText(const std::vector<std::pair<std::string, std::string>>& pairs) {
    std::string text;
    for (const auto& [key, value] : pairs)
        text += key + "=" + value + "\r\n";
    return text;
}

namespace {

void AppendRecord(std::string& out, const IqtRecord& r) {
    out.append(reinterpret_cast<const char*>(r.header.data()), r.header.size());
    for (const IqtPair& p : r.pairs) {
        const uint16_t a = static_cast<uint16_t>(p.first), b = static_cast<uint16_t>(p.second);
        const char bytes[4] = {static_cast<char>(a & 0xFF), static_cast<char>(a >> 8),
                               static_cast<char>(b & 0xFF), static_cast<char>(b >> 8)};
        out.append(bytes, 4);
    }
}

}  // namespace

std::string IqtFile::Bytes() const {
    const std::string length = std::to_string(headerText.size());
    std::string out = std::to_string(length.size()) + length + headerText;
    for (const IqtRecord& r : frames)
        AppendRecord(out, r);
    if (withCorrection) AppendRecord(out, correction);
    return out;
}

void IqtFile::Write(const std::string& path) const {
    const std::string bytes = Bytes();
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

int SimpleI(int k, int i) {
    return static_cast<int16_t>(static_cast<uint16_t>(k * 1000 + i));
}
int SimpleQ(int k, int i) {
    return static_cast<int16_t>(static_cast<uint16_t>(-(k * 100 + i)));
}

IqtFile SimpleFile(int fftPoints, int frames, int blockSize,
                   const std::vector<std::pair<std::string, std::string>>& more) {
    std::vector<std::pair<std::string, std::string>> pairs = {{"FFTPoints", std::to_string(fftPoints)},
                                                              {"ValidFrames", std::to_string(frames)},
                                                              {"BlockSize", std::to_string(blockSize)}};
    pairs.insert(pairs.end(), more.begin(), more.end());
    IqtFile f;
    f.headerText = HeaderText(pairs);
    for (int k = 0; k < frames; ++k)
        f.frames.push_back(MakeRecord(
            IqtMark::IQ,
            [k](int i) {
                return IqtPair{static_cast<int16_t>(SimpleQ(k, i)), static_cast<int16_t>(SimpleI(k, i))};
            },
            static_cast<uint32_t>(k)));
    f.correction = MakeRecord(
        IqtMark::None,
        [](int i) {
            return IqtPair{static_cast<int16_t>(i - 512), static_cast<int16_t>(3 * i - 1000)};
        },
        0xC0);
    return f;
}

}  // namespace corvane_test
