#include "SigMF.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <nlohmann/json.hpp>

#include "math/VELAError.h"
#include "math/Vector.h"

namespace VELA {

namespace {

using Json = nlohmann::json;

static_assert(sizeof(Cplx32) == 8 && sizeof(Cplx64) == 16, "complex records are two packed components");

constexpr int64_t kMaxMetaBytes = int64_t{64} << 20;
// JSON nesting beyond this is refused before parsing: no valid recording comes near it, and it keeps the
// parser's and the destructor's work bounded on hostile input.
constexpr int kMaxDepth = 64;
// Bytes decoded per piece of a Read and encoded per piece of a Write.
constexpr int kChunkBytes = 1 << 15;

// Component encodings. Big-endian forms carry kBigEndian.
enum Format : int {
    kF32 = 1,
    kF64 = 2,
    kI16 = 3,
    kI8 = 4,
    kU8 = 5,
    kBigEndian = 0x100,
};

// Throws `code` with a message naming the file and the reason, kept in storage of the calling thread.
[[noreturn]] void Fail(VELAErrorCodeTag code, const std::string& file, const std::string& reason, int line) {
    thread_local char message[1600];
    std::snprintf(message, sizeof message, "%s: \"%.700s\": %.800s", VELAErrorMessage(code), file.c_str(),
                  reason.c_str());
    throw VELAException{code, message, __FILE__, line};
}

std::string Num(double v) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", v);
    return text;
}
std::string Num(int64_t v) {
    return std::to_string(v);
}
std::string ErrnoText(int error) {
    return std::strerror(error);
}

bool EndsWith(const std::string& s, const char* suffix) {
    const size_t n = std::strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

// "x.sigmf-meta" and "x.sigmf-data" name the recording "x"; anything else is taken as the base itself.
std::string BaseOf(const std::string& path) {
    for (const char* suffix : {".sigmf-meta", ".sigmf-data"})
        if (EndsWith(path, suffix)) return path.substr(0, path.size() - std::strlen(suffix));
    return path;
}

// The datatype's encoding and bytes per complex sample; false with the reason in `why` otherwise.
bool ParseDatatype(const std::string& dt, int& format, int& bytes, std::string& why) {
    static const struct {
        const char* name;
        int format;
        int bytes;
    } kTable[] = {
        {"cf32_le", kF32, 8},  {"cf32_be", kF32 | kBigEndian, 8},
        {"cf64_le", kF64, 16}, {"cf64_be", kF64 | kBigEndian, 16},
        {"ci16_le", kI16, 4},  {"ci16_be", kI16 | kBigEndian, 4},
        {"ci8", kI8, 2},       {"cu8", kU8, 2},
    };
    for (const auto& t : kTable)
        if (dt == t.name) {
            format = t.format;
            bytes = t.bytes;
            return true;
        }
    // Tell a well-formed SigMF type we do not read from a name that is no SigMF type at all.
    static const char* const kComponents[] = {"f64", "f32", "f16", "i32", "i16", "u32", "u16", "i8", "u8"};
    bool known = false;
    if (dt.size() >= 3 && (dt[0] == 'r' || dt[0] == 'c')) {
        for (const char* c : kComponents) {
            const std::string body = std::string(1, dt[0]) + c;
            const bool eightBit = c[1] == '8';
            if (dt == body && eightBit) known = true;
            if (dt == body + "_le" || dt == body + "_be") known = true;
        }
    }
    if (known && dt[0] == 'r')
        why = "core:datatype \"" + dt +
              "\" is real; only complex datatypes are supported (cf32, cf64, ci16 "
              "with _le or _be, ci8, cu8)";
    else if (known)
        why = "unsupported core:datatype \"" + dt +
              "\" (supported: cf32, cf64, ci16 with _le or _be, ci8, cu8)";
    else
        why = "unknown core:datatype \"" + dt.substr(0, 60) + "\"";
    return false;
}

// Deepest nesting of arrays and objects in `text`, counted outside strings; stops counting past `limit`.
int NestingDepth(const std::string& text, int limit) {
    int depth = 0, deepest = 0;
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
            if (deepest > limit) return deepest;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

// Closes a descriptor when it goes.
struct FdGuard {
    int fd;
    explicit FdGuard(int f) : fd(f) {}
    FdGuard(const FdGuard&) = delete;
    FdGuard& operator=(const FdGuard&) = delete;
    ~FdGuard() {
        if (fd >= 0) ::close(fd);
    }
};

// Field readers of the metadata. `where` names the object for the message ("global", "capture 2").
class Fields {
  public:
    Fields(const std::string& file, const Json& object, std::string where)
        : file_(file), obj_(object), where_(std::move(where)) {}

    const Json* Find(const char* key) const {
        const auto it = obj_.find(key);
        return it == obj_.end() ? nullptr : &*it;
    }
    bool Has(const char* key) const { return Find(key) != nullptr; }

    // A string; `required` refuses its absence, otherwise absence gives "" and false.
    bool String(const char* key, bool required, std::string& out) const {
        const Json* v = Find(key);
        if (!v) {
            if (required) Missing(key);
            out.clear();
            return false;
        }
        if (!v->is_string()) Wrong(key, "a string");
        out = v->get_ref<const std::string&>();
        return true;
    }
    // A finite number (integer or not).
    bool Number(const char* key, bool required, double& out) const {
        const Json* v = Find(key);
        if (!v) {
            if (required) Missing(key);
            return false;
        }
        if (!v->is_number()) Wrong(key, "a number");
        out = v->get<double>();
        if (!std::isfinite(out)) Wrong(key, "a finite number");
        return true;
    }
    // A non-negative integer within int64.
    bool Count(const char* key, bool required, int64_t& out) const {
        const Json* v = Find(key);
        if (!v) {
            if (required) Missing(key);
            return false;
        }
        if (v->is_number_unsigned()) {
            const uint64_t u = v->get<uint64_t>();
            if (u > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
                Fail(VELAErrorReadingFile, file_, where_ + ": " + key + " is too large", __LINE__);
            out = static_cast<int64_t>(u);
            return true;
        }
        if (v->is_number_integer() && v->get<int64_t>() >= 0) {
            out = v->get<int64_t>();
            return true;
        }
        Wrong(key, "a non-negative integer");
    }

    [[noreturn]] void Missing(const char* key) const {
        Fail(VELAErrorReadingFile, file_, "missing " + std::string(key) + " in " + where_, __LINE__);
    }
    [[noreturn]] void Wrong(const char* key, const char* what) const {
        Fail(VELAErrorReadingFile, file_, where_ + ": " + key + " must be " + what, __LINE__);
    }

  private:
    const std::string& file_;
    const Json& obj_;
    std::string where_;
};

// The whole of a regular file of at most `limit` bytes.
std::string ReadSmallFile(const std::string& path, int64_t limit) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) Fail(VELAErrorOpeningFile, path, "cannot be opened: " + ErrnoText(errno), __LINE__);
    FdGuard guard(fd);
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        Fail(VELAErrorOpeningFile, path, "is no regular file", __LINE__);
    if (st.st_size > limit) Fail(VELAErrorReadingFile, path, "metadata larger than 64 MiB", __LINE__);
    std::string text;
    try {
        text.resize(static_cast<size_t>(st.st_size));
    } catch (const std::bad_alloc&) {
        VELA_THROW(VELAErrorMemoryAlloc);
    }
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t r = ::read(fd, text.data() + done, text.size() - done);
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) Fail(VELAErrorReadingFile, path, "cannot be read: " + ErrnoText(errno), __LINE__);
        if (r == 0) break;  // became shorter since fstat: parse what is there
        done += static_cast<size_t>(r);
    }
    text.resize(done);
    return text;
}

// ---- decoding of raw components

inline uint16_t Load16(const unsigned char* p, bool big) {
    return big ? static_cast<uint16_t>(p[0] << 8 | p[1]) : static_cast<uint16_t>(p[1] << 8 | p[0]);
}
inline uint32_t Load32(const unsigned char* p, bool big) {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i)
        v |= static_cast<uint32_t>(p[big ? 3 - i : i]) << (8 * i);
    return v;
}
inline uint64_t Load64(const unsigned char* p, bool big) {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i)
        v |= static_cast<uint64_t>(p[big ? 7 - i : i]) << (8 * i);
    return v;
}

// One component at `p` as double (exact for every format: floats widen, integers scale by powers of two,
// and the cu8 quotient is rounded once).
inline double Component(const unsigned char* p, int format) {
    const bool big = (format & kBigEndian) != 0;
    switch (format & 0xFF) {
        case kF32:
            return static_cast<double>(std::bit_cast<float>(Load32(p, big)));
        case kF64:
            return std::bit_cast<double>(Load64(p, big));
        case kI16:
            return static_cast<int16_t>(Load16(p, big)) * (1.0 / 32768.0);
        case kI8:
            return static_cast<int8_t>(p[0]) * (1.0 / 128.0);
        default:
            return (static_cast<double>(p[0]) - 127.5) / 127.5;
    }
}

// Reads `bytes` bytes at `offset` in full; false when the file ends first.
bool ReadFully(int fd, void* dst, size_t bytes, int64_t offset, const std::string& path) {
    auto* d = static_cast<unsigned char*>(dst);
    size_t done = 0;
    while (done < bytes) {
        const ssize_t r = ::pread(fd, d + done, bytes - done, static_cast<off_t>(offset + done));
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) Fail(VELAErrorReadingFile, path, "cannot be read: " + ErrnoText(errno), __LINE__);
        if (r == 0) return false;
        done += static_cast<size_t>(r);
    }
    return true;
}

// Samples [first, first + count) of the data file into `dst`, converted (T = Cplx32 or Cplx64).
template <class T>
void ReadSamples(const std::string& path, int format, int sampleBytes, int64_t first, int count, T* dst) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) Fail(VELAErrorOpeningFile, path, "cannot be opened: " + ErrnoText(errno), __LINE__);
    FdGuard guard(fd);
    const int64_t offset = first * sampleBytes;
    const char* shrunk = "the data file has become shorter than when the recording was opened";
    // The file's own layout is the vector's: read straight into it.
    constexpr int native = std::endian::native == std::endian::little ? 0 : kBigEndian;
    const int direct = (std::is_same_v<T, Cplx32> ? kF32 : kF64) | native;
    if (format == direct) {
        if (!ReadFully(fd, dst, static_cast<size_t>(count) * sizeof(T), offset, path))
            Fail(VELAErrorReadingFile, path, shrunk, __LINE__);
        return;
    }
    using Real = decltype(T::re);
    alignas(16) unsigned char buffer[kChunkBytes];
    const int perChunk = kChunkBytes / sampleBytes;
    const int half = sampleBytes / 2;
    for (int done = 0; done < count;) {
        const int n = std::min(perChunk, count - done);
        if (!ReadFully(fd, buffer, static_cast<size_t>(n) * sampleBytes, offset + int64_t{done} * sampleBytes,
                       path))
            Fail(VELAErrorReadingFile, path, shrunk, __LINE__);
        for (int i = 0; i < n; ++i) {
            const unsigned char* p = buffer + static_cast<size_t>(i) * sampleBytes;
            dst[done + i].re = static_cast<Real>(Component(p, format));
            dst[done + i].im = static_cast<Real>(Component(p + half, format));
        }
        done += n;
    }
}

// ---- encoding for the writer

inline void Store32(unsigned char* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}
inline void Store64(unsigned char* p, uint64_t v) {
    for (int i = 0; i < 8; ++i)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}
// round(x * scale + shift) half to even, NaN as 0, saturated to [lo, hi].
inline int Quantise(double x, double scale, double shift, double lo, double hi) {
    if (std::isnan(x)) x = 0.0;
    const double v = std::nearbyint(x * scale + shift);  // the default rounding mode: half to even
    return static_cast<int>(std::clamp(v, lo, hi));
}
inline void Encode(unsigned char* p, double x, int format) {
    switch (format) {
        case kF32:
            Store32(p, std::bit_cast<uint32_t>(static_cast<float>(x)));
            break;
        case kF64:
            Store64(p, std::bit_cast<uint64_t>(x));
            break;
        case kI16: {
            const int v = Quantise(x, 32768.0, 0.0, -32768.0, 32767.0);
            p[0] = static_cast<unsigned char>(v & 0xFF);
            p[1] = static_cast<unsigned char>((v >> 8) & 0xFF);
            break;
        }
        case kI8:
            p[0] = static_cast<unsigned char>(Quantise(x, 128.0, 0.0, -128.0, 127.0) & 0xFF);
            break;
        default:
            p[0] = static_cast<unsigned char>(Quantise(x, 127.5, 127.5, 0.0, 255.0));
            break;
    }
}

bool WriteFully(int fd, const void* src, size_t bytes) {
    const auto* s = static_cast<const unsigned char*>(src);
    size_t done = 0;
    while (done < bytes) {
        const ssize_t w = ::write(fd, s + done, bytes - done);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) {
            if (w == 0) errno = ENOSPC;
            return false;
        }
        done += static_cast<size_t>(w);
    }
    return true;
}

// A fresh file beside `target` ("target.tmp-<pid>-<n>"), created exclusively with the usual permissions
// (0666 less the umask, as the final file would get). -1 and errno on failure.
int CreateTemporary(const std::string& target, std::string& name) {
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
        name = target + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
        const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) {
            if (fd < 0) name.clear();
            return fd;
        }
    }
    name.clear();
    errno = EEXIST;
    return -1;
}

}  // namespace

// ================================================================ reader

SigMFReader::SigMFReader(const std::string& path) {
    const std::string base = BaseOf(path);
    metaPath = base + ".sigmf-meta";
    dataPath = base + ".sigmf-data";
    if (EndsWith(path, ".sigmf") && ::access(metaPath.c_str(), F_OK) != 0)
        Fail(VELAErrorFileType, path,
             "SigMF archives (.sigmf) are not read; extract the .sigmf-meta and .sigmf-data files first",
             __LINE__);

    const std::string text = ReadSmallFile(metaPath, kMaxMetaBytes);
    if (NestingDepth(text, kMaxDepth) > kMaxDepth)
        Fail(VELAErrorReadingFile, metaPath,
             "JSON nested deeper than " + std::to_string(kMaxDepth) + " levels", __LINE__);
    Json root;
    try {
        root = Json::parse(text);
    } catch (const Json::exception& e) {
        Fail(VELAErrorReadingFile, metaPath, std::string("invalid JSON: ") + e.what(), __LINE__);
    } catch (const std::bad_alloc&) {
        VELA_THROW(VELAErrorMemoryAlloc);
    }

    try {
        if (!root.is_object())
            Fail(VELAErrorReadingFile, metaPath, "the metadata is no JSON object", __LINE__);
        const auto global = root.find("global");
        if (global == root.end()) Fail(VELAErrorReadingFile, metaPath, "missing global object", __LINE__);
        if (!global->is_object()) Fail(VELAErrorReadingFile, metaPath, "global must be an object", __LINE__);
        const Fields g(metaPath, *global, "global");

        g.String("core:datatype", true, datatype);
        if (!g.Number("core:sample_rate", false, sampleRate)) g.Missing("core:sample_rate");
        if (!(sampleRate > 0.0))
            Fail(VELAErrorReadingFile, metaPath,
                 "core:sample_rate must be a finite number > 0, not " + Num(sampleRate), __LINE__);
        g.String("core:version", true, version);
        int64_t channels = 1;
        if (g.Count("core:num_channels", false, channels) && channels != 1)
            Fail(channels == 0 ? VELAErrorReadingFile : VELAErrorFileType, metaPath,
                 "core:num_channels " + Num(channels) + ": only single-channel recordings are read",
                 __LINE__);
        if (g.Has("core:dataset"))
            Fail(VELAErrorReadingFile, metaPath,
                 "core:dataset (samples in a file other than .sigmf-data) is not supported", __LINE__);
        std::string why;
        if (!ParseDatatype(datatype, format, sampleBytes, why))
            Fail(VELAErrorFileType, metaPath, why, __LINE__);

        const auto caps = root.find("captures");
        if (caps != root.end()) {
            if (!caps->is_array())
                Fail(VELAErrorReadingFile, metaPath, "captures must be an array", __LINE__);
            for (size_t i = 0; i < caps->size(); ++i) {
                const Json& c = (*caps)[i];
                const std::string where = "capture " + std::to_string(i);
                if (!c.is_object())
                    Fail(VELAErrorReadingFile, metaPath, where + " must be an object", __LINE__);
                const Fields f(metaPath, c, where);
                SigMFCapture capture;
                f.Count("core:sample_start", true, capture.sampleStart);
                capture.hasFrequency = f.Number("core:frequency", false, capture.frequency);
                f.String("core:datetime", false, capture.datetime);
                int64_t headerBytes = 0;
                if (f.Count("core:header_bytes", false, headerBytes) && headerBytes != 0)
                    Fail(VELAErrorReadingFile, metaPath,
                         where + ": core:header_bytes (a header inside the data file) is not supported",
                         __LINE__);
                if (!captures.empty() && capture.sampleStart <= captures.back().sampleStart)
                    Fail(VELAErrorReadingFile, metaPath,
                         "captures out of order: " + where + " starts at sample " + Num(capture.sampleStart) +
                             ", not after " + Num(captures.back().sampleStart),
                         __LINE__);
                captures.push_back(std::move(capture));
            }
        }

        const auto notes = root.find("annotations");
        if (notes != root.end()) {
            if (!notes->is_array())
                Fail(VELAErrorReadingFile, metaPath, "annotations must be an array", __LINE__);
            for (size_t i = 0; i < notes->size(); ++i) {
                const Json& a = (*notes)[i];
                const std::string where = "annotation " + std::to_string(i);
                if (!a.is_object())
                    Fail(VELAErrorReadingFile, metaPath, where + " must be an object", __LINE__);
                const Fields f(metaPath, a, where);
                SigMFAnnotation note;
                f.Count("core:sample_start", true, note.sampleStart);
                if (!f.Count("core:sample_count", false, note.sampleCount)) note.sampleCount = -1;
                const bool lower = f.Number("core:freq_lower_edge", false, note.freqLowerEdge);
                const bool upper = f.Number("core:freq_upper_edge", false, note.freqUpperEdge);
                if (lower != upper)
                    Fail(VELAErrorReadingFile, metaPath,
                         where + ": core:freq_lower_edge and core:freq_upper_edge come together", __LINE__);
                if (lower && note.freqLowerEdge > note.freqUpperEdge)
                    Fail(VELAErrorReadingFile, metaPath,
                         where + ": core:freq_lower_edge above core:freq_upper_edge", __LINE__);
                note.hasFrequencyEdges = lower;
                f.String("core:label", false, note.label);
                f.String("core:comment", false, note.comment);
                if (!annotations.empty() && note.sampleStart < annotations.back().sampleStart)
                    Fail(VELAErrorReadingFile, metaPath,
                         "annotations out of order: " + where + " starts at sample " + Num(note.sampleStart) +
                             ", before " + Num(annotations.back().sampleStart),
                         __LINE__);
                annotations.push_back(std::move(note));
            }
        }
    } catch (const Json::exception& e) {
        // The checks above leave nothing for the library to throw; this is a second line of defence.
        Fail(VELAErrorReadingFile, metaPath, std::string("invalid metadata: ") + e.what(), __LINE__);
    } catch (const std::bad_alloc&) {
        VELA_THROW(VELAErrorMemoryAlloc);
    }

    // The data file: a whole number of samples, and as many as the metadata refers to.
    const int fd = ::open(dataPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) Fail(VELAErrorOpeningFile, dataPath, "cannot be opened: " + ErrnoText(errno), __LINE__);
    struct stat st {};
    const bool regular = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    ::close(fd);
    if (!regular) Fail(VELAErrorOpeningFile, dataPath, "is no regular file", __LINE__);
    const int64_t bytes = st.st_size;
    if (bytes % sampleBytes != 0)
        Fail(VELAErrorReadingFile, dataPath,
             "data file holds " + Num(bytes) + " bytes, not a whole number of " + datatype + " samples (" +
                 std::to_string(sampleBytes) + " bytes each)",
             __LINE__);
    sampleCount = bytes / sampleBytes;
    const std::string holds = "the data file holds " + Num(sampleCount) + " samples, but ";
    for (size_t i = 0; i < captures.size(); ++i) {
        // A capture names its first sample; only an empty recording may have one at sample 0 and no more.
        const int64_t s = captures[i].sampleStart;
        if (s > 0 && s >= sampleCount)
            Fail(VELAErrorReadingFile, dataPath,
                 holds + "capture " + std::to_string(i) + " starts at sample " + Num(s), __LINE__);
    }
    for (size_t i = 0; i < annotations.size(); ++i) {
        // An annotation without a count still points at its first sample.
        const int64_t s = annotations[i].sampleStart;
        const int64_t n = annotations[i].sampleCount < 0 ? 1 : annotations[i].sampleCount;
        if (s > sampleCount || n > sampleCount - s)
            Fail(VELAErrorReadingFile, dataPath,
                 holds + "annotation " + std::to_string(i) + " covers samples from " + Num(s) + " to " +
                     (n > std::numeric_limits<int64_t>::max() - s ? std::string("beyond") : Num(s + n)),
                 __LINE__);
    }
}

bool SigMFReader::HasCenterFrequency() const {
    return !captures.empty() && captures.front().hasFrequency;
}

double SigMFReader::GetCenterFrequency() const {
    return HasCenterFrequency() ? captures.front().frequency : 0.0;
}

namespace {
void CheckRange(const std::string& path, int64_t first, int count, int64_t total) {
    if (count < 0 || first < 0 || first > total || count > total - first)
        Fail(VELAErrorInvalidInputParameter, path,
             "samples from " + Num(first) + ", " + std::to_string(count) +
                 " of them, do not lie within the " + Num(total) + " samples of the recording",
             __LINE__);
}
}  // namespace

void SigMFReader::Read(int64_t first, int count, VecCplx32& out) const {
    CheckRange(dataPath, first, count, sampleCount);
    out.Resize(count);
    if (count > 0) ReadSamples(dataPath, format, sampleBytes, first, count, out.Data());
}

void SigMFReader::Read(int64_t first, int count, VecCplx64& out) const {
    CheckRange(dataPath, first, count, sampleCount);
    out.Resize(count);
    if (count > 0) ReadSamples(dataPath, format, sampleBytes, first, count, out.Data());
}

// ================================================================ writer

struct SigMFWriterState {
    std::string base, dataPath, metaPath;
    std::string dataTemp, metaTemp;  // "" once gone
    std::string datatype;
    int format = 0;
    int sampleBytes = 0;
    double sampleRate = 0.0;
    double centerFrequency = 0.0;
    std::string description;
    std::vector<SigMFAnnotation> annotations;
    std::vector<unsigned char> buffer;  // one piece of encoded samples
    int fd = -1;
    int64_t samples = 0;
    bool failed = false;
    bool closed = false;

    // Removes every temporary file.
    void Discard() {
        if (fd >= 0) ::close(fd);
        fd = -1;
        if (!dataTemp.empty()) ::unlink(dataTemp.c_str());
        if (!metaTemp.empty()) ::unlink(metaTemp.c_str());
        dataTemp.clear();
        metaTemp.clear();
    }
    // Discards and throws "error writing file"; the writer stays failed.
    [[noreturn]] void Abandon(const std::string& reason, int line) {
        Discard();
        failed = true;
        Fail(VELAErrorWritingFile, base, reason, line);
    }
    void CheckOpen() const {
        if (closed) Fail(VELAErrorInvalidInputParameter, base, "the recording is already closed", __LINE__);
        if (failed) Fail(VELAErrorWritingFile, base, "an earlier write of this recording failed", __LINE__);
    }

    template <class T>
    void Append(const T* data, int n) {
        CheckOpen();
        const int perChunk = static_cast<int>(buffer.size()) / sampleBytes;
        const int half = sampleBytes / 2;
        for (int done = 0; done < n;) {
            const int m = std::min(perChunk, n - done);
            for (int i = 0; i < m; ++i) {
                unsigned char* p = buffer.data() + static_cast<size_t>(i) * sampleBytes;
                Encode(p, static_cast<double>(data[done + i].re), format);
                Encode(p + half, static_cast<double>(data[done + i].im), format);
            }
            if (!WriteFully(fd, buffer.data(), static_cast<size_t>(m) * sampleBytes))
                Abandon("cannot write the samples: " + ErrnoText(errno), __LINE__);
            done += m;
        }
        samples += n;
    }
};

SigMFWriter::SigMFWriter(const std::string& basePath, const std::string& datatype, double sampleRate,
                         double centerFrequency)
    : state(nullptr) {
    int format = 0, bytes = 0;
    std::string why;
    const bool writable = datatype == "cf32_le" || datatype == "cf64_le" || datatype == "ci16_le" ||
                          datatype == "ci8" || datatype == "cu8";
    if (!writable || !ParseDatatype(datatype, format, bytes, why))
        Fail(VELAErrorFileType, basePath,
             "cannot write core:datatype \"" + datatype.substr(0, 60) +
                 "\" (cf32_le, cf64_le, ci16_le, ci8, cu8)",
             __LINE__);
    if (basePath.empty()) Fail(VELAErrorInvalidInputParameter, basePath, "empty file name", __LINE__);
    if (!(std::isfinite(sampleRate) && sampleRate > 0.0))
        Fail(VELAErrorInvalidInputParameter, basePath,
             "the sample rate must be a finite number > 0, not " + Num(sampleRate), __LINE__);
    if (!std::isfinite(centerFrequency))
        Fail(VELAErrorInvalidInputParameter, basePath, "the centre frequency must be finite", __LINE__);

    auto* s = new (std::nothrow) SigMFWriterState;
    if (!s) VELA_THROW(VELAErrorMemoryAlloc);
    try {
        s->base = BaseOf(basePath);
        s->dataPath = s->base + ".sigmf-data";
        s->metaPath = s->base + ".sigmf-meta";
        s->datatype = datatype;
        s->format = format;
        s->sampleBytes = bytes;
        s->sampleRate = sampleRate;
        s->centerFrequency = centerFrequency;
        s->buffer.resize(kChunkBytes);
    } catch (const std::bad_alloc&) {
        delete s;
        VELA_THROW(VELAErrorMemoryAlloc);
    }
    s->fd = CreateTemporary(s->dataPath, s->dataTemp);
    if (s->fd < 0) {
        const int error = errno;
        const std::string target = s->dataPath;
        delete s;
        Fail(VELAErrorWritingFile, target, "cannot create a file beside it: " + ErrnoText(error), __LINE__);
    }
    state = s;
}

SigMFWriter::~SigMFWriter() {
    if (!state->closed) state->Discard();
    delete state;
}

void SigMFWriter::Write(const VecCplx32& samples) {
    state->Append(samples.Data(), samples.GetSize());
}

void SigMFWriter::Write(const VecCplx64& samples) {
    state->Append(samples.Data(), samples.GetSize());
}

void SigMFWriter::AddAnnotation(const SigMFAnnotation& a) {
    state->CheckOpen();
    if (a.sampleStart < 0 || a.sampleCount < -1)
        Fail(VELAErrorInvalidInputParameter, state->base,
             "an annotation needs sampleStart >= 0, sampleCount >= -1", __LINE__);
    if (a.hasFrequencyEdges && !(std::isfinite(a.freqLowerEdge) && std::isfinite(a.freqUpperEdge) &&
                                 a.freqLowerEdge <= a.freqUpperEdge))
        Fail(VELAErrorInvalidInputParameter, state->base,
             "an annotation's edges must be finite, lower <= upper", __LINE__);
    state->annotations.push_back(a);
}

void SigMFWriter::SetDescription(const std::string& text) {
    state->CheckOpen();
    state->description = text;
}

int64_t SigMFWriter::GetSamplesWritten() const {
    return state->samples;
}

void SigMFWriter::Close() {
    SigMFWriterState& s = *state;
    if (s.closed) return;
    s.CheckOpen();
    // The reader refuses annotations beyond the data, so we do not write them; the caller may still add
    // samples and close again.
    for (const SigMFAnnotation& a : s.annotations) {
        const int64_t n = a.sampleCount < 0 ? 1 : a.sampleCount;
        if (a.sampleStart > s.samples || n > s.samples - a.sampleStart)
            Fail(VELAErrorInvalidInputParameter, s.base,
                 "an annotation from sample " + Num(a.sampleStart) + " reaches beyond the " + Num(s.samples) +
                     " samples written",
                 __LINE__);
    }

    std::string text;
    try {
        nlohmann::ordered_json meta;
        auto& global = meta["global"];
        global["core:datatype"] = s.datatype;
        global["core:sample_rate"] = s.sampleRate;
        global["core:version"] = "1.0.0";
        global["core:recorder"] = "corvane";
        if (!s.description.empty()) global["core:description"] = s.description;
        nlohmann::ordered_json capture;
        capture["core:sample_start"] = 0;
        capture["core:frequency"] = s.centerFrequency;
        meta["captures"] = nlohmann::ordered_json::array({capture});
        std::vector<SigMFAnnotation> sorted = s.annotations;
        std::stable_sort(
            sorted.begin(), sorted.end(),
            [](const SigMFAnnotation& x, const SigMFAnnotation& y) { return x.sampleStart < y.sampleStart; });
        auto& notes = meta["annotations"] = nlohmann::ordered_json::array();
        for (const SigMFAnnotation& a : sorted) {
            nlohmann::ordered_json n;
            n["core:sample_start"] = a.sampleStart;
            if (a.sampleCount >= 0) n["core:sample_count"] = a.sampleCount;
            if (a.hasFrequencyEdges) {
                n["core:freq_lower_edge"] = a.freqLowerEdge;
                n["core:freq_upper_edge"] = a.freqUpperEdge;
            }
            if (!a.label.empty()) n["core:label"] = a.label;
            if (!a.comment.empty()) n["core:comment"] = a.comment;
            notes.push_back(std::move(n));
        }
        // Texts that are no valid UTF-8 get U+FFFD instead of failing the whole recording.
        text = meta.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    } catch (const std::exception& e) {
        s.Abandon(std::string("cannot compose the metadata: ") + e.what(), __LINE__);
    }

    // Data first, on disk, then the metadata; both renamed only when both are complete.
    if (::fdatasync(s.fd) != 0) s.Abandon("cannot write the samples: " + ErrnoText(errno), __LINE__);
    const int closed = ::close(s.fd);
    s.fd = -1;
    if (closed != 0) s.Abandon("cannot write the samples: " + ErrnoText(errno), __LINE__);
    const int mfd = CreateTemporary(s.metaPath, s.metaTemp);
    if (mfd < 0) s.Abandon("cannot create the metadata file: " + ErrnoText(errno), __LINE__);
    s.fd = mfd;
    if (!WriteFully(mfd, text.data(), text.size()) || ::fdatasync(mfd) != 0)
        s.Abandon("cannot write the metadata: " + ErrnoText(errno), __LINE__);
    const int metaClosed = ::close(mfd);
    s.fd = -1;
    if (metaClosed != 0) s.Abandon("cannot write the metadata: " + ErrnoText(errno), __LINE__);
    if (::rename(s.dataTemp.c_str(), s.dataPath.c_str()) != 0)
        s.Abandon("cannot rename the data file into place: " + ErrnoText(errno), __LINE__);
    s.dataTemp.clear();
    if (::rename(s.metaTemp.c_str(), s.metaPath.c_str()) != 0) {
        const int error = errno;
        ::unlink(s.dataPath.c_str());  // a data file without its metadata is no recording
        s.Abandon("cannot rename the metadata file into place: " + ErrnoText(error), __LINE__);
    }
    s.metaTemp.clear();
    s.closed = true;
}

}  // namespace VELA
