// The SigMF metadata parser: any bytes as a ".sigmf-meta" file, beside two fixed data files (64 bytes,
// a whole number of samples of every datatype, and 40 bytes, which a cf64 recording cannot divide). The
// constructor either refuses the recording with a VELAException or gives a reader whose values can all be
// read and whose reads stay within the data.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "infra/SigMF.h"
#include "math/VELAError.h"
#include "math/Vector.h"

namespace {

// A scratch directory with the two data files, made once per process and removed when it ends.
std::string g_dir;

void RemoveDir() {
    for (const char* name : {"/a.sigmf-meta", "/a.sigmf-data", "/b.sigmf-meta", "/b.sigmf-data"})
        unlink((g_dir + name).c_str());
    rmdir(g_dir.c_str());
}

void WriteFile(const std::string& path, const uint8_t* data, size_t size) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) std::abort();
    size_t done = 0;
    while (done < size) {
        const ssize_t w = write(fd, data + done, size - done);
        if (w <= 0) std::abort();
        done += static_cast<size_t>(w);
    }
    close(fd);
}

void Exercise(const std::string& base) {
    try {
        const VELA::SigMFReader reader(base);
        volatile double sink = reader.GetSampleRate() + reader.GetCenterFrequency() +
                               static_cast<double>(reader.GetSampleCount()) + reader.HasCenterFrequency() +
                               static_cast<double>(reader.GetDatatype().size() + reader.GetVersion().size());
        for (const VELA::SigMFCapture& c : reader.GetCaptures())
            sink = sink + static_cast<double>(c.sampleStart) + c.frequency +
                   static_cast<double>(c.datetime.size());
        for (const VELA::SigMFAnnotation& a : reader.GetAnnotations())
            sink = sink + static_cast<double>(a.sampleStart + a.sampleCount) + a.freqLowerEdge +
                   a.freqUpperEdge + static_cast<double>(a.label.size() + a.comment.size());
        (void)sink;
        const int64_t n = reader.GetSampleCount();
        VELA::VecCplx32 v;
        VELA::VecCplx64 w;
        reader.Read(0, static_cast<int>(n), v);
        reader.Read(0, static_cast<int>(n), w);
        // Reads at the edges and past them: the refused ones must throw, never touch memory.
        for (int64_t first : {int64_t{0}, n - 1, n, n + 1, int64_t{-1}}) {
            for (int count : {0, 1, 2}) {
                try {
                    reader.Read(first, count, v);
                } catch (const VELA::VELAException&) {
                }
            }
        }
    } catch (const VELA::VELAException&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char tmpl[] = "/tmp/corvane-fuzz-sigmf-XXXXXX";
    if (!mkdtemp(tmpl)) return 1;
    g_dir = tmpl;
    uint8_t data[64];
    for (int i = 0; i < 64; ++i)
        data[i] = static_cast<uint8_t>(i * 37 + 11);
    WriteFile(g_dir + "/a.sigmf-data", data, 64);
    WriteFile(g_dir + "/b.sigmf-data", data, 40);
    std::atexit(RemoveDir);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (const char* base : {"/a", "/b"}) {
        WriteFile(g_dir + base + ".sigmf-meta", data, size);
        Exercise(g_dir + base);
    }
    return 0;
}
