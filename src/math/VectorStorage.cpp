// Binary vector files: Store and Load of VecReal32, VecReal64, VecCplx32 and VecCplx64 (the format is
// described at the end of Vector.h).
//
// Load treats the file as untrusted: the element count of the header is checked against the bytes the
// file really holds before anything is allocated, so a corrupt or hostile header costs no memory.
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Vector.h"
#include "internal/TextIO.h"

namespace VELA {

namespace {

constexpr int32_t kVersion = 1;
constexpr int32_t kTypeCplx64 = 100;
constexpr int32_t kTypeReal64 = 101;
constexpr int32_t kTypeCplx32 = 102;
constexpr int32_t kTypeReal32 = 103;
constexpr unsigned char kEndMark = 0x1A;

// The 108-byte header as it lies in the file; natural alignment gives exactly the file's offsets.
struct StoreHeader {
    char text[64];
    unsigned char endMark;
    unsigned char pad1[3];
    int32_t version;
    int32_t type;
    int32_t length;
    float parameters[3];
    int32_t reservedInts[3];
    unsigned char reservedBytes[3];
    unsigned char pad2;
};
static_assert(sizeof(StoreHeader) == 108);
static_assert(offsetof(StoreHeader, endMark) == 64);
static_assert(offsetof(StoreHeader, version) == 68);
static_assert(offsetof(StoreHeader, type) == 72);
static_assert(offsetof(StoreHeader, length) == 76);
static_assert(offsetof(StoreHeader, parameters) == 80);
static_assert(offsetof(StoreHeader, reservedInts) == 92);
static_assert(offsetof(StoreHeader, reservedBytes) == 104);

const char* TypeName(int32_t type) {
    switch (type) {
        case kTypeCplx64:
            return "VecCplx64";
        case kTypeReal64:
            return "VecReal64";
        case kTypeCplx32:
            return "VecCplx32";
        default:
            return "VecReal32";
    }
}

// Writes header and elements. Every failure throws; a partial file stays where it was written.
void StoreFile(const char* path, int32_t type, const void* data, int length, size_t elementSize, float a,
               float b, float c) {
    StoreHeader h;
    std::memset(&h, 0, sizeof h);
    std::snprintf(h.text, sizeof h.text, "%s, length=%d", TypeName(type), length);
    h.endMark = kEndMark;
    h.version = kVersion;
    h.type = type;
    h.length = length;
    h.parameters[0] = a;
    h.parameters[1] = b;
    h.parameters[2] = c;

    std::FILE* f = std::fopen(path, "wb");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    if (std::fwrite(&h, sizeof h, 1, f) != 1) {
        std::fclose(f);
        VELA_THROW(VELAErrorWritingFile);
    }
    const size_t bytes = length > 0 ? static_cast<size_t>(length) * elementSize : 0;
    if (bytes > 0 && std::fwrite(data, bytes, 1, f) != 1) {
        std::fclose(f);
        VELA_THROW(VELAErrorWritingFile);
    }
    // The stream buffers: on a full device the failure shows only when the last block is flushed here.
    if (std::fclose(f) != 0) VELA_THROW(VELAErrorWritingFile);
}

// Opens `path` and reads its header, checking version and type. Throws as the file format says; the
// stream is closed on every failure.
std::FILE* OpenAndCheck(const char* path, int32_t type, StoreHeader& h) {
    std::FILE* f = std::fopen(path, "rb");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    if (std::fread(&h, sizeof h, 1, f) != 1) VELA_THROW(VELAErrorReadingFile);
    if (h.version != kVersion) VELA_THROW(VELAErrorFileVersion);
    if (h.type != type) VELA_THROW(VELAErrorFileType);
    closer.Release();
    return f;
}

// Bytes left in a regular file behind the current position; -1 when the stream is no regular file
// (a pipe, a device) and its size cannot be known in advance.
int64_t BytesLeft(std::FILE* f) {
    struct stat st;
    if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
    const long at = std::ftell(f);
    if (at < 0) return -1;
    return static_cast<int64_t>(st.st_size) - at;
}

// Reads `count` elements of `elementSize` bytes into v (resized to count). A file that holds fewer
// bytes leaves v empty and throws "error reading file", before any allocation where the file's size is
// known; from a pipe the data are staged in pieces, so that memory grows only with what really arrives.
template <class V>
void ReadElements(V& v, std::FILE* f, int64_t count, size_t elementSize) {
    const int64_t bytes = count * static_cast<int64_t>(elementSize);
    const int64_t left = BytesLeft(f);
    if (left >= 0) {
        if (bytes > left) VELA_THROW(VELAErrorReadingFile);
        v.Resize(static_cast<int>(count));
        if (bytes > 0 && std::fread(v.Data(), static_cast<size_t>(bytes), 1, f) != 1) {
            v.Resize(0);
            VELA_THROW(VELAErrorReadingFile);
        }
        return;
    }
    std::vector<unsigned char> staged;
    constexpr size_t kPiece = 1 << 20;
    while (static_cast<int64_t>(staged.size()) < bytes) {
        const size_t want =
            static_cast<size_t>(std::min<int64_t>(kPiece, bytes - static_cast<int64_t>(staged.size())));
        const size_t at = staged.size();
        staged.resize(at + want);
        if (std::fread(staged.data() + at, 1, want, f) != want) VELA_THROW(VELAErrorReadingFile);
    }
    v.Resize(static_cast<int>(count));
    if (bytes > 0) std::memcpy(static_cast<void*>(v.Data()), staged.data(), static_cast<size_t>(bytes));
}

// The whole-vector load shared by the four classes.
template <class V>
void LoadFile(V& v, const char* path, int32_t type) {
    v.Resize(0);
    StoreHeader h;
    std::FILE* f = OpenAndCheck(path, type, h);
    internal::FileCloser closer(f);
    if (h.length < 0) VELA_THROW(VELAErrorReadingFile);
    ReadElements(v, f, h.length, sizeof(v[0]));
}

}  // namespace

void VecReal32::Store(const char* path) const {
    StoreFile(path, kTypeReal32, data, size, sizeof(float), 0.0f, 0.0f, 0.0f);
}
void VecReal64::Store(const char* path) const {
    StoreFile(path, kTypeReal64, data, size, sizeof(double), 0.0f, 0.0f, 0.0f);
}
void VecCplx32::Store(const char* path) const {
    StoreFile(path, kTypeCplx32, data, size, sizeof(Cplx32), 0.0f, 0.0f, 0.0f);
}
void VecCplx32::Store(const char* path, float a, float b, float c) const {
    StoreFile(path, kTypeCplx32, data, size, sizeof(Cplx32), a, b, c);
}
void VecCplx64::Store(const char* path) const {
    StoreFile(path, kTypeCplx64, data, size, sizeof(Cplx64), 0.0f, 0.0f, 0.0f);
}

void VecReal32::Load(const char* path) {
    LoadFile(*this, path, kTypeReal32);
}
void VecReal64::Load(const char* path) {
    LoadFile(*this, path, kTypeReal64);
}
void VecCplx32::Load(const char* path) {
    LoadFile(*this, path, kTypeCplx32);
}
void VecCplx64::Load(const char* path) {
    LoadFile(*this, path, kTypeCplx64);
}

void VecCplx32::Load(const char* path, int start, int count) {
    Resize(0);
    StoreHeader h;
    std::FILE* f = OpenAndCheck(path, kTypeCplx32, h);
    internal::FileCloser closer(f);
    if (start < 0 || count < 0) VELA_THROW(VELAErrorInvalidInputParameter);
    if (h.length < 0 || static_cast<int64_t>(start) + count > h.length) VELA_THROW(VELAErrorReadingFile);
    // Seek by reading forward when the stream cannot seek (a pipe); a short skip is a short file.
    const int64_t skip = static_cast<int64_t>(start) * static_cast<int64_t>(sizeof(Cplx32));
    if (std::fseek(f, static_cast<long>(skip), SEEK_CUR) != 0) {
        unsigned char sink[4096];
        for (int64_t left = skip; left > 0;) {
            const size_t want = static_cast<size_t>(std::min<int64_t>(left, sizeof sink));
            if (std::fread(sink, 1, want, f) != want) VELA_THROW(VELAErrorReadingFile);
            left -= static_cast<int64_t>(want);
        }
    }
    ReadElements(*this, f, count, sizeof(Cplx32));
}

void VecCplx32::Load(const char* path, int& length, float& a, float& b, float& c) {
    std::FILE* f = std::fopen(path, "rb");
    if (!f) VELA_THROW(VELAErrorOpeningFile);
    internal::FileCloser closer(f);
    StoreHeader h;
    if (std::fread(&h, sizeof h, 1, f) != 1) VELA_THROW(VELAErrorReadingFile);
    // The parameters are handed over before anything is tested, so a caller sees them even from a file
    // of another version or type.
    a = h.parameters[0];
    b = h.parameters[1];
    c = h.parameters[2];
    if (h.version != kVersion) VELA_THROW(VELAErrorFileVersion);
    if (h.type != kTypeCplx32) VELA_THROW(VELAErrorFileType);
    length = h.length;
}

}  // namespace VELA
