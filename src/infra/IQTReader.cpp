#include "IQTReader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "dsp/DSPUtils.h"
#include "math/Vector.h"

namespace VELA {

namespace {

constexpr int kRecordBytes = 4120;  // a frame header and 1,024 word pairs
constexpr int kHeaderBytes = 24;
constexpr int kDataBytes = 4096;
constexpr int kPairs = 1024;
constexpr int kMaxTokens = 100;                // the format's header table: 50 pairs
constexpr int kTokenChars = 60;                // tokens and values are cut to this many characters
constexpr int kKeyChars = 40;                  // keys to this many
constexpr double kCorrectionUnit = 0.0078125;  // 1/128
const char* const kDelimiters = " \r\t\n=";

// Throws `code` with a message that names the file and the reason. The text lives in storage of the
// calling thread (see the header).
[[noreturn]] void Refuse(VELAErrorCodeTag code, const std::string& fileName, const char* reason, int line) {
    thread_local char message[1400];
    std::snprintf(message, sizeof message, "%s: \"%.1200s\": %s", VELAErrorMessage(code), fileName.c_str(),
                  reason);
    throw VELAException{code, message, __FILE__, line};
}

// atoi without its undefined overflow: the leading number of `text` (0 when there is none; what follows
// it is ignored, as atoi does). False when that number lies outside the range of int.
bool ParseInt(const char* text, int& value) {
    errno = 0;
    const long long v = std::strtoll(text, nullptr, 10);
    if (errno == ERANGE || v > INT_MAX || v < INT_MIN) return false;
    value = static_cast<int>(v);
    return true;
}

// The 16-bit word at byte `at` of a record's data.
inline int Word(const unsigned char* data, int at) {
    return static_cast<int16_t>(static_cast<uint16_t>(data[at] | (data[at + 1] << 8)));
}

// Copies at most `n` characters of `src` to `dst` and terminates it (dst has room for n + 1).
void CopyCut(char* dst, const char* src, size_t n) {
    const size_t length = strnlen(src, n);
    std::memcpy(dst, src, length);
    dst[length] = '\0';
}

bool AllFF(const unsigned char* p, int n) {
    for (int i = 0; i < n; ++i)
        if (p[i] != 0xFF) return false;
    return true;
}

// One read of a capture: its own handle, opened on construction and closed when it goes. A frame that
// cannot be read whole leaves the caller's header record and the word buffer as they were.
class RecordReader {
  public:
    RecordReader(const std::string& fileName, long long offset) : f_(std::fopen(fileName.c_str(), "rb")) {
        if (!f_) Refuse(VELAErrorOpeningFile, fileName, "cannot be opened", __LINE__);
        // A seek beyond the end succeeds and the reads that follow come up short.
        if (fseeko(f_, static_cast<off_t>(offset), SEEK_SET) != 0) eof_ = true;
    }
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;
    ~RecordReader() { std::fclose(f_); }

    // Reads the next record: its header into *header, its 4,096 data bytes into `data`.
    void Next(FrameHeader* header, unsigned char* data) {
        unsigned char head[kHeaderBytes];
        unsigned char body[kDataBytes];
        if (!eof_ && std::fread(head, 1, sizeof head, f_) == sizeof head)
            std::memcpy(header->bytes, head, sizeof head);
        else
            eof_ = true;
        if (!eof_ && std::fread(body, 1, sizeof body, f_) == sizeof body)
            std::memcpy(data, body, sizeof body);
        else
            eof_ = true;
    }

  private:
    std::FILE* f_;
    bool eof_ = false;
};

// Copies `count` samples from `from` + `at` into `to`, resized to count.
void CopySamples(VecCplx32& to, const VecCplx32& from, int at, int count) {
    to.Resize(count);
    if (count > 0)
        std::memcpy(static_cast<void*>(to.Data()), from.Data() + at,
                    sizeof(Cplx32) * static_cast<size_t>(count));
}

void Widen(VecCplx64& to, const VecCplx32& from) {
    to.Resize(from.GetSize());
    for (int i = 0; i < from.GetSize(); ++i)
        to[i] = {from[i].re, from[i].im};
}

}  // namespace

bool FrameHeader::IsAPFrame() const {
    return AllFF(bytes + 2, 4);
}
bool FrameHeader::IsIQFrame() const {
    return AllFF(bytes + 6, 4);
}

// ---------------------------------------------------------------- tokeniser and conversions

int IQTReader::InitStrTok(ST_STR* state) {
    state->copy = nullptr;
    state->next = nullptr;
    return 0;
}

int IQTReader::FreeStrTok(ST_STR* state) {
    std::free(state->copy);
    state->copy = nullptr;
    state->next = nullptr;
    return 0;
}

char* IQTReader::StrPBrk(char* text, const char* set) {
    for (; *text; ++text)
        if (std::strchr(set, *text)) return text;
    return nullptr;
}

char* IQTReader::StrTok(char* text, const char* delimiters, ST_STR* state) {
    if (text) {
        std::free(state->copy);
        state->copy = strdup(text);
        state->next = state->copy;
    }
    char* p = state->next;
    if (!p) return nullptr;
    while (*p && std::strchr(delimiters, *p))
        ++p;
    if (!*p) {
        state->next = nullptr;
        return nullptr;
    }
    char* end = StrPBrk(p, delimiters);
    if (end) {
        *end = '\0';
        state->next = end + 1;
    } else {
        state->next = nullptr;  // the last token has no delimiter behind it
    }
    return p;
}

double IQTReader::Convert(const char* text) {
    if (!text) return 0.0;
    const size_t n = std::strlen(text);
    double multiplier = 1.0;
    switch (n ? text[n - 1] : '\0') {
        case 'G':
            multiplier = 1e9;
            break;
        case 'M':
            multiplier = 1e6;
            break;
        case 'K':
        case 'k':
            multiplier = 1000.0;
            break;
        case 'm':
            multiplier = 0.001;
            break;
        case 'u':
            multiplier = 1e-6;
            break;
        case 'n':
            multiplier = 1e-9;
            break;
        case 'p':
            multiplier = 1e-12;
            break;
        default:
            break;
    }
    return std::atof(text) * multiplier;
}

bool IQTReader::Compare(double value, double expected, double tolerance) {
    const double t = std::fabs(tolerance);
    return !(value < expected - t || value > expected + t);
}

bool IQTReader::Compare(double value, const char* expected, const char* tolerance) {
    return Compare(value, Convert(expected), Convert(tolerance));
}

// ---------------------------------------------------------------- construction

IQTReader::IQTReader(const char* name) {
    if (!name) VELA_THROW(VELAErrorOpeningFile);
    fileName = name;
    std::FILE* f = std::fopen(name, "rb");
    if (!f) Refuse(VELAErrorOpeningFile, fileName, "cannot be opened", __LINE__);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> closer(f, &std::fclose);
    struct stat st;
    if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode))
        Refuse(VELAErrorOpeningFile, fileName, "is not a regular file", __LINE__);
    const long long fileSize = st.st_size;

    // The header length: one digit D, then D digits.
    const int d = std::fgetc(f);
    if (d < '0' || d > '9') Refuse(VELAErrorReadingFile, fileName, "does not begin with a digit", __LINE__);
    const int digits = d - '0';
    char lengthText[10] = {};
    if (std::fread(lengthText, 1, static_cast<size_t>(digits), f) != static_cast<size_t>(digits))
        Refuse(VELAErrorReadingFile, fileName, "ends inside the header length", __LINE__);
    for (int i = 0; i < digits; ++i)
        if (lengthText[i] < '0' || lengthText[i] > '9')
            Refuse(VELAErrorReadingFile, fileName, "header length is not a number", __LINE__);
    int headerLength = 0;  // at most 999,999,999: always fits
    if (digits) ParseInt(lengthText, headerLength);
    dataOffset = headerLength + digits + 1;
    if (dataOffset > fileSize)
        Refuse(VELAErrorReadingFile, fileName, "is shorter than its header length says", __LINE__);

    std::unique_ptr<char[]> text(new (std::nothrow) char[static_cast<size_t>(headerLength) + 1]);
    if (!text) VELA_THROW(VELAErrorMemoryAlloc);
    if (std::fread(text.get(), 1, static_cast<size_t>(headerLength), f) != static_cast<size_t>(headerLength))
        Refuse(VELAErrorReadingFile, fileName, "header cannot be read", __LINE__);
    text[headerLength] = '\0';
    closer.reset();

    // Tokens, each cut to 60 characters; the first 100 of them.
    char tokens[kMaxTokens][kTokenChars + 1];
    int count = 0;
    ST_STR state;
    InitStrTok(&state);
    for (char* t = StrTok(text.get(), kDelimiters, &state); t && count < kMaxTokens;
         t = StrTok(nullptr, kDelimiters, &state)) {
        CopyCut(tokens[count], t, kTokenChars);
        ++count;
    }
    const bool copied = state.copy != nullptr;
    FreeStrTok(&state);
    if (!copied) VELA_THROW(VELAErrorMemoryAlloc);
    try {
        headerTable.resize(static_cast<size_t>((count + 1) / 2));
    } catch (const std::bad_alloc&) {
        VELA_THROW(VELAErrorMemoryAlloc);
    }
    for (int i = 0; i < count; i += 2) {
        HeaderEntry& e = headerTable[static_cast<size_t>(i / 2)];
        CopyCut(e.key, tokens[i], kKeyChars);
        // With an odd number of tokens the last key has no value: it reads as empty.
        CopyCut(e.value, i + 1 < count ? tokens[i + 1] : "", kTokenChars);
    }

    // A count beyond the range of int is refused rather than cut to the nearest int: cut, a block size
    // of "9999999999" would pass for 2,147,483,647 frames and every figure derived from it would be
    // made up.
    auto integer = [this](const char* key, int absent) {
        const HeaderEntry* e = Find(key);
        int value = absent;
        if (e && !ParseInt(e->value, value)) {
            char reason[80];
            std::snprintf(reason, sizeof reason, "\"%s\" does not fit an int", key);
            Refuse(VELAErrorReadingFile, fileName, reason, __LINE__);
        }
        return value;
    };
    auto real = [this](const char* key) {
        const HeaderEntry* e = Find(key);
        return e ? std::atof(e->value) : 0.0;
    };
    auto converted = [this](const char* key) {
        const HeaderEntry* e = Find(key);
        return e ? Convert(e->value) : 0.0;
    };
    fftPoints = integer("FFTPoints", 0);
    bins = integer("Bins", 0);
    blockSize = integer("BlockSize", 0);
    validFrames = integer("ValidFrames", 0);
    multiFrames = integer("MultiFrames", 1);
    maxInputLevel = real("MaxInputLevel");
    levelOffset = real("LevelOffset");
    gainOffset = real("GainOffset");
    iOffset = real("IOffset");
    qOffset = real("QOffset");
    centerFrequency = converted("CenterFrequency");
    span = converted("Span");
    unitPeriod = converted("UnitPeriod");
    frameLength = converted("FrameLength");

    if (blockSize <= 0)
        Refuse(VELAErrorReadingFile, fileName, "\"BlockSize\" is missing or not positive", __LINE__);
    if (validFrames < 0) Refuse(VELAErrorReadingFile, fileName, "\"ValidFrames\" is negative", __LINE__);
    if (fftPoints < 0 || fftPoints > kPairs)
        Refuse(VELAErrorReadingFile, fileName, "\"FFTPoints\" lies outside 0..1024, the pairs of a frame",
               __LINE__);
    if (static_cast<long long>(validFrames) * fftPoints > INT_MAX ||
        static_cast<long long>(blockSize) * fftPoints > INT_MAX)
        Refuse(VELAErrorReadingFile, fileName, "sample counts do not fit an int", __LINE__);

    scalingFactor = std::sqrt(2.0 * std::pow(10.0, (gainOffset + maxInputLevel + levelOffset) / 10.0) / 20.0);
    // The first block takes the remainder.
    const long long blocks = (static_cast<long long>(validFrames) + blockSize - 1) / blockSize;
    nofBlocks = static_cast<int>(blocks);
    firstBlockSize = static_cast<int>(validFrames - (blocks - 1) * blockSize);
}

const IQTReader::HeaderEntry* IQTReader::Find(const char* key) const {
    if (!key) return nullptr;
    for (const HeaderEntry& e : headerTable)
        if (std::strcmp(e.key, key) == 0) return &e;
    return nullptr;
}

// ---------------------------------------------------------------- header and values

bool IQTReader::GetHeader(const char* key, char* value) const {
    const HeaderEntry* e = Find(key);
    if (value) std::strcpy(value, e ? e->value : "");
    return e != nullptr;
}

void IQTReader::ListHeader() const {
    for (const HeaderEntry& e : headerTable)
        std::printf("%s = %s\n", e.key, e.value);
}

double IQTReader::GetSamplingFrequency() const {
    return fftPoints / frameLength;
}
int IQTReader::GetNofSamplesInBlock() const {
    return blockSize * fftPoints;  // fits: checked on construction
}
int IQTReader::GetNoflSamplesInFile() const {
    return validFrames * fftPoints;
}
void IQTReader::GetTrigPos(int& first, int& second) {
    first = second = fftPoints * blockSize;
}

// ---------------------------------------------------------------- data

void IQTReader::CheckFrames(long long firstFrame, long long frameCount, bool haveHeaders) const {
    if (firstFrame < 0 || frameCount < 0 || firstFrame + frameCount > validFrames ||
        (frameCount > 0 && !haveHeaders))
        VELA_THROW(VELAErrorInvalidInputParameter);
}

long long IQTReader::FrameOffset(int frame) const {
    return dataOffset + static_cast<long long>(kRecordBytes) * frame;
}

bool IQTReader::GetIQData(int firstFrame, int frameCount, FrameHeader* headers, VecCplx32& data) const {
    CheckFrames(firstFrame, frameCount, headers != nullptr);
    const int n = fftPoints;
    RecordReader file(fileName, FrameOffset(firstFrame));
    data.Resize(n * frameCount);
    // Zeroed so that the conversion of an AP frame, which takes the whole vector, never reads
    // uninitialised samples of frames still to come (they are overwritten when they arrive).
    data.SetZero();
    const float scale = static_cast<float>(scalingFactor);
    unsigned char words[kDataBytes] = {};
    VecReal32 magnitude, phase;
    for (int k = 0; k < frameCount; ++k) {
        file.Next(&headers[k], words);
        Cplx32* out = data.Data() + static_cast<long long>(k) * n;
        for (int i = 0; i < n; ++i) {
            out[i].re = static_cast<float>((Word(words, 4 * i + 2) - iOffset) * scale);
            out[i].im = static_cast<float>((Word(words, 4 * i) - qOffset) * scale);
        }
        if (headers[k].IsAPFrame()) {
            DSPUtils::CartToPolar(magnitude, phase, data);
            for (int i = 0; i < data.GetSize(); ++i)
                data[i] = {magnitude[i], phase[i]};
        }
    }
    return true;
}

bool IQTReader::GetIQData2(int firstFrame, int frameCount, FrameHeader* headers, VecCplx32& data) const {
    CheckFrames(firstFrame, frameCount, headers != nullptr);
    const int n = fftPoints;
    RecordReader file(fileName, FrameOffset(firstFrame));
    VecReal32 first(n * frameCount), second(n * frameCount);
    unsigned char words[kDataBytes] = {};
    for (int k = 0; k < frameCount; ++k) {
        file.Next(&headers[k], words);
        float* a = first.Data() + static_cast<long long>(k) * n;
        float* b = second.Data() + static_cast<long long>(k) * n;
        for (int i = 0; i < n; ++i) {
            a[i] = static_cast<float>(Word(words, 4 * i + 2));
            b[i] = static_cast<float>(Word(words, 4 * i));
        }
    }
    if (frameCount == 0) {
        data.Resize(0);
        return true;
    }
    // The last frame's mark decides for all of them.
    const FrameHeader& last = headers[frameCount - 1];
    const float scale = static_cast<float>(scalingFactor);
    if (last.IsIQFrame()) {
        first.Sub(static_cast<float>(iOffset));
        second.Sub(static_cast<float>(qOffset));
        first.Mul(scale);
        second.Mul(scale);
        data.Import(first, second);
    } else if (last.IsAPFrame()) {
        // Here the offsets are added after the conversion, to every sample, not subtracted before it.
        DSPUtils::PolarToCart(data, first, second);
        data.Add(Cplx32{static_cast<float>(iOffset), static_cast<float>(qOffset)});
        data.GetReal(first);
        data.GetImag(second);
        first.Mul(scale);
        second.Mul(scale);
        data.Import(first, second);
    } else {
        VELA_THROW(VELAErrorOpeningFile);  // the code and text that have always gone with this failure
    }
    return true;
}

bool IQTReader::GetRawIQAPData(int firstFrame, int frameCount, FrameHeader* headers, VecReal32& first,
                               VecReal32& second) const {
    CheckFrames(firstFrame, frameCount, headers != nullptr);
    const int size = fftPoints * frameCount;
    RecordReader file(fileName, FrameOffset(firstFrame));
    first.Resize(size);
    second.Resize(size);
    unsigned char words[kDataBytes] = {};
    for (int k = 0; k < frameCount; ++k) {
        file.Next(&headers[k], words);
        // All 1,024 pairs at a stride of 1,024 per frame, as far as the outputs reach.
        const long long at = static_cast<long long>(k) * kPairs;
        const int pairs = static_cast<int>(std::min<long long>(kPairs, size - at));
        for (int i = 0; i < pairs; ++i) {
            first[static_cast<int>(at) + i] = static_cast<float>(Word(words, 4 * i + 2));
            second[static_cast<int>(at) + i] = static_cast<float>(Word(words, 4 * i));
        }
    }
    return true;
}

namespace {

// The correction record after the last valid frame: word 0 and word 1 of each point, each times its own
// factor (its sign included), rounded to float.
void ReadCorrection(const std::string& fileName, long long offset, int n, FrameHeader* header,
                    double ampFactor, double phaseFactor, VecReal32& amplitude, VecReal32& phase) {
    FrameHeader own;
    if (!header) header = &own;
    unsigned char words[kDataBytes] = {};
    {
        RecordReader file(fileName, offset);
        file.Next(header, words);
    }
    amplitude.Resize(n);
    phase.Resize(n);
    for (int i = 0; i < n; ++i) {
        amplitude[i] = static_cast<float>(Word(words, 4 * i) * ampFactor);
        phase[i] = static_cast<float>(Word(words, 4 * i + 2) * phaseFactor);
    }
}

}  // namespace

bool IQTReader::GetFlatness(FrameHeader* header, VecReal32& amplitude, VecReal32& phase) const {
    ReadCorrection(fileName, FrameOffset(validFrames), fftPoints, header, kCorrectionUnit, -kCorrectionUnit,
                   amplitude, phase);
    return true;
}

bool IQTReader::GetFlatness(FrameHeader* header, VecReal64& amplitude, VecReal64& phase) const {
    VecReal32 a, p;
    GetFlatness(header, a, p);
    amplitude.Import(a);
    phase.Import(p);
    return true;
}

bool IQTReader::GetFlatness(VecReal32& amplitude, VecReal32& phase) const {
    FrameHeader discarded;
    return GetFlatness(&discarded, amplitude, phase);
}

bool IQTReader::GetRawFlatness(FrameHeader* header, VecReal32& amplitude, VecReal32& phase) const {
    ReadCorrection(fileName, FrameOffset(validFrames), fftPoints, header, 1.0, 1.0, amplitude, phase);
    return true;
}

bool IQTReader::ReadIQData(int start, int count, VecCplx32& data) const {
    const int n = fftPoints;
    if (start < 0 || count < 0 || n <= 0) VELA_THROW(VELAErrorInvalidInputParameter);
    if (count == 0) {
        data.Resize(0);
        return true;
    }
    const int firstFrame = start / n;
    const long long lastFrame = (static_cast<long long>(start) + count - 1) / n;
    const long long frames = lastFrame - firstFrame + 1;
    // The frames of one request go through a table of one block's headers.
    if (frames > blockSize) VELA_THROW(VELAErrorInvalidInputParameter);
    CheckFrames(firstFrame, frames, true);  // before anything is allocated for them
    std::vector<FrameHeader> headers(static_cast<size_t>(frames));
    VecCplx32 scratch;
    const bool result = GetIQData(firstFrame, static_cast<int>(frames), headers.data(), scratch);
    CopySamples(data, scratch, start - n * firstFrame, count);
    return result;
}

bool IQTReader::ReadIQData(int start, int count, VecCplx64& data) const {
    VecCplx32 narrow;
    const bool result = ReadIQData(start, count, narrow);
    Widen(data, narrow);
    return result;
}

int IQTReader::ReadIQData(int /*reserved*/, int start, int count, VecCplx32& data) const {
    const int n = fftPoints;
    if (start < 0 || count < 0 || n <= 0) VELA_THROW(VELAErrorInvalidInputParameter);
    const int firstFrame = start / n;
    long long lastFrame = (static_cast<long long>(start) + count - 1) / n;
    // The limit here is the valid frames, and below the block size: they differ, on purpose.
    if (firstFrame >= validFrames) return 0;
    long long delivered = count;
    if (lastFrame >= blockSize) {
        lastFrame = blockSize - 1;
        delivered = static_cast<long long>(n) * blockSize - start;
    }
    if (delivered <= 0) {
        data.Resize(0);
        return 0;
    }
    const int frames = static_cast<int>(lastFrame - firstFrame + 1);
    CheckFrames(firstFrame, frames, true);
    std::vector<FrameHeader> headers(static_cast<size_t>(frames));
    VecCplx32 scratch;
    if (!GetIQData(firstFrame, frames, headers.data(), scratch)) return -1;
    CopySamples(data, scratch, start - n * firstFrame, static_cast<int>(delivered));
    return static_cast<int>(delivered);
}

int IQTReader::ReadIQData(int reserved, int start, int count, VecCplx64& data) const {
    // A start beyond the valid frames leaves data untouched, as in the single-precision form.
    if (start >= 0 && fftPoints > 0 && start / fftPoints >= validFrames) return 0;
    VecCplx32 narrow;
    const int delivered = ReadIQData(reserved, start, count, narrow);
    Widen(data, narrow);
    return delivered;
}

}  // namespace VELA
