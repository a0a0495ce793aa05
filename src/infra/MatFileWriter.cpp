#include "MatFileWriter.h"

#include <fcntl.h>
#include <matio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "UnitTestRecorder.h"
#include "Utilities.h"
#include "math/IntVector.h"
#include "math/Vector.h"

namespace VELA {

// matio buffers its writes and does not report a failed final flush, so the variables go to a working
// file of our own first. The destructor closes it, checks that it holds every variable whole, and
// copies it into the target with unbuffered, checked writes: a full device or disk is then seen, and
// reported, instead of leaving a truncated MAT-file that looks complete.
struct MatFileWriterState {
    mat_t* mat = nullptr;
    std::string workPath;
    std::string targetPath;
    int targetFd = -1;
    bool targetRegular = false;
    bool targetExisted = false;
    std::set<std::string> names;  // variables in the working file
    bool failed = false;          // a write or replace of the working file failed
};

namespace {

// Deletes a matio variable (not its data, which the callers keep) when the scope ends.
struct VarFree {
    void operator()(matvar_t* v) const { Mat_VarFree(v); }
};
using VarPtr = std::unique_ptr<matvar_t, VarFree>;

// A new empty file in the system's temporary directory; "" when none can be made.
std::string MakeWorkFile() {
    std::error_code ec;
    std::filesystem::path dir = std::filesystem::temp_directory_path(ec);
    if (ec) dir = "/tmp";
    std::string path = (dir / "corvane-mat-XXXXXX").string();
    const int fd = mkostemp(path.data(), O_CLOEXEC);
    if (fd < 0) return std::string();
    close(fd);
    return path;
}

bool WriteAll(int fd, const unsigned char* p, size_t n) {
    while (n > 0) {
        const ssize_t w = write(fd, p, n);
        if (w < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        p += w;
        n -= static_cast<size_t>(w);
    }
    return true;
}

// Reads the tag of a data element at `at`: its type, its payload size, and the bytes it occupies in the
// file (8 for the small element form that packs up to four bytes into the tag). False at end of file.
bool ReadTag(int fd, int64_t at, uint32_t& type, uint32_t& bytes, int64_t& span) {
    unsigned char tag[8];
    if (pread(fd, tag, 8, at) != 8) return false;
    uint32_t first;
    std::memcpy(&first, tag, 4);
    std::memcpy(&bytes, tag + 4, 4);
    if (first >> 16) {  // small element: size in the upper half of the first word
        type = first & 0xFFFF;
        bytes = first >> 16;
        span = 8;
    } else {
        type = first;
        span = 8 + ((static_cast<int64_t>(bytes) + 7) & ~int64_t{7});
    }
    return true;
}

// True when `path` is a level-5 MAT-file of exactly `count` whole variables: the 128-byte header with
// its version and byte-order mark, then one matrix element per variable whose sub-elements (flags,
// dimensions, name, data) exactly fill it, the last one ending at the end of the file. A write that
// failed inside matio leaves a file that fails this (matio fixes up the element's size from its file
// position, so the outer size alone would still look right).
bool WellFormed(const std::string& path, size_t count) {
    constexpr uint32_t kMatrix = 14;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st;
    bool ok = fstat(fd, &st) == 0 && st.st_size >= 128;
    unsigned char header[128];
    ok = ok && pread(fd, header, 128, 0) == 128 && header[126] == 'I' && header[127] == 'M' &&
         header[124] == 0 && header[125] == 1;
    int64_t at = 128;
    size_t found = 0;
    while (ok && at < st.st_size) {
        uint32_t type, bytes;
        int64_t span;
        ok = ReadTag(fd, at, type, bytes, span) && type == kMatrix && at + span <= st.st_size;
        // The sub-elements must tile the matrix's payload: at least flags, dimensions, name and data.
        int64_t sub = at + 8;
        const int64_t end = at + 8 + bytes;
        int parts = 0;
        while (ok && sub < end) {
            uint32_t subType, subBytes;
            int64_t subSpan;
            ok = ReadTag(fd, sub, subType, subBytes, subSpan);
            sub += subSpan;
            ++parts;
        }
        ok = ok && sub == end && parts >= 4;
        at += span;
        ++found;
    }
    close(fd);
    return ok && at == st.st_size && found == count;
}

// Copies the working file into the target; false on any failure.
bool CopyInto(const std::string& from, int to) {
    const int fd = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    std::vector<unsigned char> buffer(1 << 16);
    bool ok = true;
    for (;;) {
        const ssize_t r = read(fd, buffer.data(), buffer.size());
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) {
            ok = r == 0;
            break;
        }
        if (!WriteAll(to, buffer.data(), static_cast<size_t>(r))) {
            ok = false;
            break;
        }
    }
    close(fd);
    return ok;
}

// Removes what a failed writer leaves: the working file, and the target when `removeTarget` (a regular
// file emptied at construction, so nothing of value is lost; devices and pipes stay, of course).
void Discard(const std::string& work, const std::string& target, bool removeTarget) {
    if (!work.empty()) unlink(work.c_str());
    if (removeTarget) unlink(target.c_str());
}

// Stores `made` in the working file under its name, replacing an earlier variable of that name. A null
// `made` (matio could not make it) is "memory allocation error".
void Put(MatFileWriterState& s, matvar_t* made) {
    VarPtr var(made);
    if (!var) VELA_THROW(VELAErrorMemoryAlloc);
    std::string name;
    try {
        name = var->name;
        if (s.names.count(name)) {
            // matio refuses a second variable of one name; it replaces by deleting the first.
            if (Mat_VarDelete(s.mat, name.c_str()) != 0) s.failed = true;
            s.names.erase(name);
        }
        if (Mat_VarWrite(s.mat, var.get(), MAT_COMPRESSION_NONE) != 0)
            s.failed = true;
        else
            s.names.insert(name);
    } catch (const std::bad_alloc&) {
        VELA_THROW(VELAErrorMemoryAlloc);
    }
}

}  // namespace

MatFileWriter::MatFileWriter(const char* fileName) : matFile(nullptr) {
    if (!fileName || !*fileName) VELA_THROW(VELAErrorOpeningFile);
    MatFileWriterState* s = new (std::nothrow) MatFileWriterState;
    if (!s) VELA_THROW(VELAErrorMemoryAlloc);
    std::unique_ptr<MatFileWriterState> owner(s);
    try {
        s->targetPath = fileName;
    } catch (const std::bad_alloc&) {
        VELA_THROW(VELAErrorMemoryAlloc);
    }
    struct stat before;
    s->targetExisted = lstat(fileName, &before) == 0;
    s->targetFd = open(fileName, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (s->targetFd < 0) VELA_THROW(VELAErrorOpeningFile);
    struct stat st;
    s->targetRegular = fstat(s->targetFd, &st) == 0 && S_ISREG(st.st_mode);
    s->workPath = MakeWorkFile();
    if (!s->workPath.empty()) s->mat = Mat_CreateVer(s->workPath.c_str(), nullptr, MAT_FT_MAT5);
    if (!s->mat) {
        close(s->targetFd);
        Discard(s->workPath, s->targetPath, s->targetRegular && !s->targetExisted);
        VELA_THROW(VELAErrorOpeningFile);
    }
    matFile = owner.release();
}

MatFileWriter::~MatFileWriter() noexcept(false) {
    std::unique_ptr<MatFileWriterState> s(matFile);
    matFile = nullptr;
    if (!s) return;
    bool ok = Mat_Close(s->mat) == 0 && !s->failed;
    ok = ok && WellFormed(s->workPath, s->names.size());
    ok = ok && CopyInto(s->workPath, s->targetFd);
    if (!ok && s->targetRegular) (void)ftruncate(s->targetFd, 0);
    ok = close(s->targetFd) == 0 && ok;
    // A regular target that could not be completed goes, unless it is no longer the file we opened.
    bool removeTarget = false;
    if (!ok && s->targetRegular) {
        struct stat st;
        removeTarget = lstat(s->targetPath.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size == 0;
    }
    Discard(s->workPath, s->targetPath, removeTarget);
    // Throwing while another exception unwinds the stack would end the program.
    if (!ok && std::uncaught_exceptions() == 0) VELA_THROW(VELAErrorClosingFile);
}

namespace {

// One n by 1 column of class `cls` from `re` (and `im` when complex); the arrays are the caller's and
// must live until the variable is written.
matvar_t* Column(const char* name, matio_classes cls, matio_types type, void* re, mat_complex_split_t* z,
                 int n) {
    size_t dims[2] = {static_cast<size_t>(n), 1};
    if (z) return Mat_VarCreate(name, cls, type, 2, dims, z, MAT_F_COMPLEX | MAT_F_DONT_COPY_DATA);
    return Mat_VarCreate(name, cls, type, 2, dims, re, MAT_F_DONT_COPY_DATA);
}

int CheckedLength(const char* name, int n) {
    if (!name || n < 0) VELA_THROW(VELAErrorInvalidInputParameter);
    return n;
}

// Separate real and imaginary planes of a complex vector, for matio's split storage.
template <class R, class V>
void Split(const V& data, int n, std::vector<R>& re, std::vector<R>& im) {
    try {
        re.resize(static_cast<size_t>(n));
        im.resize(static_cast<size_t>(n));
    } catch (const std::bad_alloc&) {
        VELA_THROW(VELAErrorMemoryAlloc);
    }
    for (int i = 0; i < n; ++i) {
        re[static_cast<size_t>(i)] = data[i].re;
        im[static_cast<size_t>(i)] = data[i].im;
    }
}

}  // namespace

void MatFileWriter::WriteVector(const char* name, const VecCplx64& data) {
    const int n = CheckedLength(name, data.GetSize());
    std::vector<double> re, im;
    Split(data, n, re, im);
    mat_complex_split_t z{re.data(), im.data()};
    Put(*matFile, Column(name, MAT_C_DOUBLE, MAT_T_DOUBLE, nullptr, &z, n));
}

void MatFileWriter::WriteVector(const char* name, const VecReal64& data) {
    const int n = CheckedLength(name, data.GetSize());
    Put(*matFile, Column(name, MAT_C_DOUBLE, MAT_T_DOUBLE, const_cast<double*>(data.Data()), nullptr, n));
}

void MatFileWriter::WriteVector(const char* name, const VecCplx32& data) {
    const int n = CheckedLength(name, data.GetSize());
    std::vector<float> re, im;
    Split(data, n, re, im);
    mat_complex_split_t z{re.data(), im.data()};
    Put(*matFile, Column(name, MAT_C_SINGLE, MAT_T_SINGLE, nullptr, &z, n));
}

void MatFileWriter::WriteVector(const char* name, const VecReal32& data) {
    const int n = CheckedLength(name, data.GetSize());
    Put(*matFile, Column(name, MAT_C_SINGLE, MAT_T_SINGLE, const_cast<float*>(data.Data()), nullptr, n));
}

void MatFileWriter::WriteVector(const char* name, const VecUInt8& data) {
    const int n = CheckedLength(name, data.GetSize());
    Put(*matFile,
        Column(name, MAT_C_UINT8, MAT_T_UINT8, const_cast<unsigned char*>(data.Data()), nullptr, n));
}

void MatFileWriter::WriteVector(const char* name, const VecInt16& data) {
    const int n = CheckedLength(name, data.GetSize());
    // The bits as they are, in the unsigned class: see the class comment.
    Put(*matFile, Column(name, MAT_C_UINT16, MAT_T_UINT16, const_cast<short*>(data.Data()), nullptr, n));
}

void MatFileWriter::WriteVector(const char* name, const char* text) {
    if (!name || !text) VELA_THROW(VELAErrorInvalidInputParameter);
    const size_t length = std::strlen(text);
    // A text is a row; the empty text is 0 by 0, as MATLAB makes it.
    size_t dims[2] = {length ? 1u : 0u, length};
    Put(*matFile,
        Mat_VarCreate(name, MAT_C_CHAR, MAT_T_UINT8, 2, dims, const_cast<char*>(text), MAT_F_DONT_COPY_DATA));
}

void MatFileWriter::WriteScalar(const char* name, double value) {
    if (!name) VELA_THROW(VELAErrorInvalidInputParameter);
    Put(*matFile, Column(name, MAT_C_DOUBLE, MAT_T_DOUBLE, &value, nullptr, 1));
}

bool MatFileWriter::UnitTest(UnitTestRecorder& recorder) {
    char* path = Utilities::GetAbsolutePath("test.mat");
    bool passed = path != nullptr;
    try {
        if (path) {
            MatFileWriter writer(path);
        }
    } catch (const VELAException&) {
        passed = false;
    }
    std::free(path);
    recorder.AddTestRecord("MatFileWriter", "Write", passed);
    return true;
}

}  // namespace VELA
