// SigMFReader, SigMFWriter: IQ recordings in the Signal Metadata Format (SigMF 1.x) used by open SDR
// software: a JSON metadata file "name.sigmf-meta" beside the raw samples "name.sigmf-data".
//
// Datatypes (core:datatype), one complex sample = two components, I first:
//   cf32_le  cf32_be   32-bit float       read as they are
//   cf64_le  cf64_be   64-bit float       read as they are (rounded to float for VecCplx32)
//   ci16_le  ci16_be   signed 16-bit      read as x / 32768
//   ci8                signed 8-bit       read as x / 128
//   cu8                unsigned 8-bit     read as (x - 127.5) / 127.5
// Big-endian files are read with the bytes swapped; the writer writes the little-endian forms and ci8, cu8.
// Real datatypes ("rf32_le", "ri16_le", ...) and other complex ones ("ci32_le", "cu16_le", ...) are
// refused as unsupported, multi-channel recordings (core:num_channels > 1) as well.
//
// Recordings are untrusted input. The reader refuses, with a VELAException whose message names the file
// and what is wrong:
//   "error opening file"  a file that is missing, cannot be opened or is no regular file;
//   "error reading file"  metadata that is no valid JSON or larger than 64 MiB, whose root or "global" is
//                         no object, that lacks core:datatype, core:sample_rate or core:version, that holds
//                         a field read here with the wrong JSON type, a sample rate that is not a finite
//                         number > 0, captures or annotations out of order (by core:sample_start), a
//                         non-zero core:header_bytes or a core:dataset (data elsewhere); a data file that
//                         is not a whole number of samples, or shorter than a capture or an annotation
//                         implies;
//   "file type error"    an unknown or unsupported datatype (see above).
// Absent "captures" and "annotations" count as empty; fields this reader does not know are ignored.
//
// Thread safety: a reader is immutable after construction and keeps no file open; each Read opens the
// data file, reads with pread and closes it, so any number of threads may read from one reader at once.
// The data file must stay in place for the reader's life.
//
// The writer collects the samples in a temporary file beside the target and renames the data and then
// the metadata into place in Close, so a recording appears whole or not at all; a writer destroyed
// without Close, or one whose write fails, removes its temporary files. One writer belongs to one thread.
//
// The messages of refused files and failed writes live in storage of the calling thread until its next
// such failure.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>
#include <string>
#include <vector>

namespace VELA {

class UnitTestRecorder;
class VecCplx32;
class VecCplx64;
struct SigMFWriterState;

// One capture segment: where it starts in the data file and how the receiver was tuned from there on.
struct VELA_API SigMFCapture {
    int64_t sampleStart = 0;    // core:sample_start, samples from the start of the data file
    bool hasFrequency = false;  // core:frequency present
    double frequency = 0.0;     // core:frequency, Hz (centre of the recorded band)
    std::string datetime;       // core:datetime as written (ISO 8601), "" when absent
};

// One annotation: a stretch of samples (and optionally a band) that someone labelled.
struct VELA_API SigMFAnnotation {
    int64_t sampleStart = 0;         // core:sample_start
    int64_t sampleCount = -1;        // core:sample_count, -1 when absent
    bool hasFrequencyEdges = false;  // core:freq_lower_edge and core:freq_upper_edge both present
    double freqLowerEdge = 0.0;      // Hz
    double freqUpperEdge = 0.0;      // Hz
    std::string label, comment;      // core:label, core:comment, "" when absent
};

class VELA_API SigMFReader {
  public:
    // `path`: "name.sigmf-meta", "name.sigmf-data" or the base "name"; both files must exist. Parses and
    // checks the metadata and checks the data file's size against the datatype and against the samples
    // that captures and annotations refer to. Keeps no file open. Failures: see the file comment.
    explicit SigMFReader(const std::string& path);

    const std::string& GetDatatype() const { return datatype; }  // as written, e.g. "cf32_le"
    double GetSampleRate() const { return sampleRate; }          // Hz, finite and > 0
    const std::string& GetVersion() const { return version; }    // core:version as written
    int64_t GetSampleCount() const { return sampleCount; }       // complex samples in the data file
    bool HasCenterFrequency() const;                             // the first capture has core:frequency
    double GetCenterFrequency() const;  // Hz, core:frequency of the first capture, 0 when absent
    const std::vector<SigMFCapture>& GetCaptures() const { return captures; }  // by sampleStart
    const std::vector<SigMFAnnotation>& GetAnnotations() const { return annotations; }
    const std::string& GetMetaPath() const { return metaPath; }
    const std::string& GetDataPath() const { return dataPath; }

    // `count` complex samples from sample `first` into `out` (resized to count), scaled as the table in
    // the file comment says. "invalid input parameter" when count < 0 or [first, first + count) leaves
    // [0, GetSampleCount()); "error opening file" when the data file cannot be opened any more, "error
    // reading file" when it has become shorter. Allocates nothing but `out`'s growth.
    void Read(int64_t first, int count, VecCplx32& out) const;
    void Read(int64_t first, int count, VecCplx64& out) const;

    // Self-test: writes a small recording of every datatype to the current directory, reads it back and
    // compares; refuses a few broken recordings. Removes its files.
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    std::string metaPath;
    std::string dataPath;
    std::string datatype;
    std::string version;
    double sampleRate = 0.0;
    int64_t sampleCount = 0;
    int sampleBytes = 0;  // bytes of one complex sample
    int format = 0;       // the decoding of the datatype (SigMF.cpp)
    std::vector<SigMFCapture> captures;
    std::vector<SigMFAnnotation> annotations;
};

class VELA_API SigMFWriter {
  public:
    // Starts "basePath.sigmf-data" (written to a temporary name beside it) for `datatype` ("cf32_le",
    // "ci16_le", "cf64_le", "ci8", "cu8"). Integer datatypes take the samples scaled by the reader's
    // factors (x * 32768, x * 128, x * 127.5 + 127.5), rounded half to even and saturated; NaN is taken
    // as 0. "file type error" for another datatype, "invalid input parameter" for a sample rate that
    // is not finite and > 0 or a centre frequency that is not finite, "error writing file" when the
    // temporary file cannot be created (a missing or read-only directory).
    SigMFWriter(const std::string& basePath, const std::string& datatype, double sampleRate,
                double centerFrequency);
    SigMFWriter(const SigMFWriter&) = delete;
    SigMFWriter& operator=(const SigMFWriter&) = delete;
    // Without a successful Close: removes the temporary files and leaves nothing behind.
    ~SigMFWriter();

    // Appends the samples. "error writing file" when the write fails (a full device): the temporary file
    // is removed at once and every later Write or Close fails the same way. "invalid input parameter"
    // after Close.
    void Write(const VecCplx32& samples);
    void Write(const VecCplx64& samples);
    // Adds an annotation (written sorted by sampleStart). "invalid input parameter" for a negative
    // sampleStart, a sampleCount below -1, edges that are not finite or lower > upper.
    void AddAnnotation(const SigMFAnnotation& a);
    // core:description ("" leaves it out).
    void SetDescription(const std::string& text);
    // Writes "basePath.sigmf-meta" (core:version "1.0.0", core:recorder "corvane", one capture at sample 0
    // with the centre frequency) and renames both files into place, replacing an earlier recording of
    // that name. "invalid input parameter" (the writer stays open) when an annotation reaches beyond the
    // samples written; on any other failure "error writing file", and nothing is left behind. A second
    // Close after a successful one does nothing.
    void Close();

    int64_t GetSamplesWritten() const;

  private:
    SigMFWriterState* state;
};

}  // namespace VELA
