// The SigMF metadata parser: any bytes as a ".sigmf-meta" file, beside two fixed data files (64 bytes,
// a whole number of samples of every datatype, and 40 bytes, which a cf64 recording cannot divide). The
// constructor either refuses the recording with a VELAException or gives a reader whose values can all be
// read and whose reads stay within the data.
//
// The reader needs the two names side by side, so a scratch directory holds links to in-memory files
// (memfd): refilling a file on disk for every run would make the run wait for the disk.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "FuzzFile.h"
#include "infra/SigMF.h"
#include "math/VELAError.h"
#include "math/Vector.h"

namespace {

// The scratch directory of links, made once per process and removed when it ends.
std::string g_dir;
const char* const kLinks[] = {"/a.sigmf-meta", "/a.sigmf-data", "/b.sigmf-meta", "/b.sigmf-data"};

void RemoveDir() {
    for (const char* name : kLinks)
        unlink((g_dir + name).c_str());
    rmdir(g_dir.c_str());
}

fuzz::InputFile& File(int i) {
    static fuzz::InputFile files[3];  // the metadata, data of 64 bytes, data of 40 bytes
    return files[i];
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
    std::atexit(RemoveDir);
    uint8_t data[64];
    for (int i = 0; i < 64; ++i)
        data[i] = static_cast<uint8_t>(i * 37 + 11);
    const std::string meta = File(0).Fill(nullptr, 0);
    const std::string a = File(1).Fill(data, 64);
    const std::string b = File(2).Fill(data, 40);
    const std::string targets[] = {meta, a, meta, b};
    for (int i = 0; i < 4; ++i)
        if (symlink(targets[i].c_str(), (g_dir + kLinks[i]).c_str()) != 0) return 1;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    File(0).Fill(data, size);
    Exercise(g_dir + "/a");
    Exercise(g_dir + "/b");
    return 0;
}
