// Self-test of SigMFReader and SigMFWriter: a short recording of every datatype the writer takes, written
// to the current directory and read back; a truncated data file and metadata without its sample rate
// refused. Every file it makes is removed again.
#include <cmath>
#include <cstdio>
#include <string>

#include "SigMF.h"
#include "UnitTestRecorder.h"
#include "math/VELAError.h"
#include "math/Vector.h"

namespace VELA {

namespace {

const char* const kBase = "SigMFUnitTest";
const char* const kMeta = "SigMFUnitTest.sigmf-meta";
const char* const kData = "SigMFUnitTest.sigmf-data";

void RemoveRecording() {
    std::remove(kMeta);
    std::remove(kData);
}

// A tone of amplitude 0.75 with a small offset, inside every integer type's range.
VecCplx32 TestSignal(int n) {
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = Cplx32{static_cast<float>(0.75 * std::cos(0.3 * i) + 0.01),
                      static_cast<float>(0.75 * std::sin(0.3 * i) - 0.02)};
    return v;
}

// Writes the test signal as `datatype`, reads it back in both precisions and compares within half a
// step of the type (`step`, 0 for the float types, which come back exactly).
bool RoundTrip(const char* datatype, double step) {
    const int n = 300;
    const VecCplx32 signal = TestSignal(n);
    bool ok = false;
    try {
        {
            SigMFWriter writer(kBase, datatype, 1.0e6, 2.4e9);
            writer.Write(signal);
            SigMFAnnotation note;
            note.sampleStart = 10;
            note.sampleCount = 20;
            note.label = "tone";
            writer.AddAnnotation(note);
            writer.Close();
        }
        const SigMFReader reader(kBase);
        VecCplx32 back;
        VecCplx64 back64;
        reader.Read(0, n, back);
        reader.Read(0, n, back64);
        ok = reader.GetDatatype() == datatype && reader.GetSampleRate() == 1.0e6 &&
             reader.GetCenterFrequency() == 2.4e9 && reader.GetSampleCount() == n &&
             reader.GetAnnotations().size() == 1 && reader.GetAnnotations()[0].label == "tone" &&
             back.GetSize() == n && back64.GetSize() == n;
        const double tolerance = step * 0.5 * (1.0 + 1e-9);
        for (int i = 0; ok && i < n; ++i) {
            ok = std::fabs(back[i].re - signal[i].re) <= tolerance &&
                 std::fabs(back[i].im - signal[i].im) <= tolerance &&
                 std::fabs(back64[i].re - signal[i].re) <= tolerance &&
                 std::fabs(back64[i].im - signal[i].im) <= tolerance;
        }
    } catch (const VELAException&) {
        ok = false;
    }
    RemoveRecording();
    return ok;
}

// Writes `meta` and `dataBytes` zero bytes as the recording.
bool WriteRecording(const char* meta, long dataBytes) {
    std::FILE* m = std::fopen(kMeta, "wb");
    std::FILE* d = std::fopen(kData, "wb");
    bool ok = m && d && std::fputs(meta, m) >= 0;
    for (long i = 0; ok && i < dataBytes; ++i)
        ok = std::fputc(0, d) == 0;
    if (m) ok = std::fclose(m) == 0 && ok;
    if (d) ok = std::fclose(d) == 0 && ok;
    return ok;
}

// True when the reader refuses the recording with `code`.
bool Refused(const char* meta, long dataBytes, VELAErrorCodeTag code) {
    bool ok = false;
    if (WriteRecording(meta, dataBytes)) {
        try {
            const SigMFReader reader(kBase);
        } catch (const VELAException& e) {
            ok = e.code == code;
        }
    }
    RemoveRecording();
    return ok;
}

// True when the reader accepts the recording, opened by its metadata file's name, with `samples` samples.
bool Accepted(const char* meta, long dataBytes, int64_t samples) {
    bool ok = false;
    if (WriteRecording(meta, dataBytes)) {
        try {
            ok = SigMFReader(kMeta).GetSampleCount() == samples;
        } catch (const VELAException&) {
        }
    }
    RemoveRecording();
    return ok;
}

}  // namespace

bool SigMFReader::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "SigMFReader";
    bool all = true;
    auto record = [&](const char* name, bool passed) {
        recorder.AddTestRecord(cls, name, passed);
        all = all && passed;
    };
    record("Write/Read cf32_le", RoundTrip("cf32_le", 0.0));
    record("Write/Read cf64_le", RoundTrip("cf64_le", 0.0));
    record("Write/Read ci16_le", RoundTrip("ci16_le", 1.0 / 32768.0));
    record("Write/Read ci8", RoundTrip("ci8", 1.0 / 128.0));
    record("Write/Read cu8", RoundTrip("cu8", 1.0 / 127.5));
    const char* good = R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 1000,
        "core:version": "1.0.0"}, "captures": [{"core:sample_start": 0}], "annotations": []})";
    record("Reading a valid recording", Accepted(good, 8 * 10, 10));
    record("Refusing a data file of odd length", Refused(good, 8 * 10 + 3, VELAErrorReadingFile));
    record("Refusing metadata without core:sample_rate",
           Refused(R"({"global": {"core:datatype": "cf32_le", "core:version": "1.0.0"}})", 80,
                   VELAErrorReadingFile));
    record("Refusing an unknown datatype",
           Refused(R"({"global": {"core:datatype": "xyz", "core:sample_rate": 1, "core:version": "1.0.0"}})",
                   80, VELAErrorFileType));
    return all;
}

}  // namespace VELA
