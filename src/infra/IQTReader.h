// IQTReader: reads ".iqt" capture files: IQ frames of the instrument with a text header that tells how to
// scale the raw 16-bit words and how the capture was set up, and one correction record.
//
// File layout (little-endian; no magic number, no version):
//   byte 0           one ASCII digit D: how many digits the header length has
//   bytes 1..D       the header length H, decimal
//   next H bytes     the header text: tokens separated by runs of blank, CR, TAB, LF and "=", paired
//                    in order as key, value, key, value (so "Key=Value", "Key = Value" and a line break
//                    all pair up; a value holding a blank splits in two and shifts every later pair)
//   data offset      (1 + D + H) ValidFrames frame records of 4,120 bytes, then one correction record
// A record is a 24-byte FrameHeader and 1,024 word pairs of two signed 16-bit words. In an IQ frame a
// pair is (Q, I), in an AP frame (phase, amplitude), in the correction record (amplitude, phase) in
// 1/128 units, the phase negated when decoded. Decoders use the first FFTPoints pairs of a record.
//
// The constructor parses the header once; every read opens the file anew and closes it before it
// returns, so the file must stay in place. The correction table is handed to the caller, never applied.
//
// Files are untrusted input. The constructor refuses, with "error reading file" and a message that names
// the file and the reason: a header length that is no number or runs past the end of the file, a
// missing or non-positive "BlockSize", a negative "ValidFrames", "FFTPoints" outside 0..1,024 (a record
// has 1,024 pairs), a count ("FFTPoints", "Bins", "BlockSize", "ValidFrames", "MultiFrames") whose
// number lies outside the range of int, and counts whose products (samples in a block or in the file)
// do not fit an int. Counts are read as atoi reads them otherwise: the leading number, 0 for none.
// A header of more than 100 tokens keeps its first 100 (50 pairs), the room the format provides; each
// token is cut to 60 characters, keys to 40. The reads refuse, with "invalid input parameter", frame
// ranges outside 0..ValidFrames, negative starts and counts, and requests that need more than one block;
// they never read or write outside the file's records or the caller's arrays. A file that is shorter than
// its header says is read as far as it goes: a frame that cannot be read whole leaves the previous
// frame's words in place (zeros before the first) and the read still returns true.
//
// The message of a refused file lives in storage of the calling thread until that thread's next refused
// file; the codes and the other messages are the library's usual static texts.
//
// Thread safety: an object is immutable after construction and every read uses its own file handle and
// locals only, so any number of threads may read from one object at once. Copies are deep.
#pragma once
#include "../math/VELAExport.h"

#include <string>
#include <vector>

namespace VELA {

class UnitTestRecorder;
class VecCplx32;
class VecCplx64;
class VecReal32;
class VecReal64;

// The 24 bytes in front of each frame. The reader fills it and hands it to the caller; only the two
// marks below mean anything to the library, the other bytes are the caller's.
struct VELA_API FrameHeader {
    unsigned char bytes[24];

    // Bytes 2..5 all 0xFF: the frame holds amplitude and phase.
    bool IsAPFrame() const;
    // Bytes 6..9 all 0xFF: the frame holds I and Q.
    bool IsIQFrame() const;
};

class VELA_API IQTReader {
  public:
    // Opens `fileName`, parses the header and closes the file. "error opening file" when it cannot be
    // opened or is no regular file, "error reading file" for an invalid file (see above), "memory
    // allocation error" when the header text does not fit in memory.
    explicit IQTReader(const char* fileName);
    IQTReader(const IQTReader&) = default;
    IQTReader& operator=(const IQTReader&) = default;
    ~IQTReader() = default;

    // ---- header ----
    // Copies the value of `key` (exact, case-sensitive; the first of duplicates) to `value`, which must
    // have room for 61 bytes (60 characters and the terminator), and returns true. An absent key stores
    // an empty string and returns false. Every pair of the file is there, also keys nothing here uses.
    bool GetHeader(const char* key, char* value) const;
    // Prints every pair as "key = value\n" to stdout, in file order.
    void ListHeader() const;

    // ---- values of the header (no file access) ----
    int GetDataOffset() const { return dataOffset; }  // bytes before the first frame
    int GetNofValidFrames() const { return validFrames; }
    int GetFFTPoints() const { return fftPoints; }  // samples decoded per frame
    int GetNofBins() const { return bins; }
    int GetNofMultiFrames() const { return multiFrames; }  // 1 when absent
    int GetNofBlocks() const { return nofBlocks; }         // ceil(ValidFrames / BlockSize)
    int GetBlockSize() const { return blockSize; }         // frames per block
    // Frames of the first block, which takes the remainder: ValidFrames - (blocks - 1) * BlockSize.
    int GetFirstBlockSize() const { return firstBlockSize; }
    double GetFrameLength() const { return frameLength; }  // s
    double GetUnitPeriod() const { return unitPeriod; }    // s
    double GetMaxInputLevel() const { return maxInputLevel; }
    double GetCenterFrequency() const { return centerFrequency; }  // Hz
    double GetSpan() const { return span; }                        // Hz
    // sqrt(2 * 10^((GainOffset + MaxInputLevel + LevelOffset) / 10) / 20): the peak voltage in a 50-ohm
    // system of the level in dBm, per unit of a raw word. The decoders multiply the words by it.
    double GetScalingFactor() const { return scalingFactor; }
    double GetSamplingFrequency() const;  // FFTPoints / FrameLength, Hz
    int GetNofSamplesInBlock() const;     // BlockSize * FFTPoints
    int GetNoflSamplesInFile() const;     // ValidFrames * FFTPoints
    // Both receive FFTPoints * BlockSize.
    void GetTrigPos(int& first, int& second);

    // ---- data; frame numbers count from 0, `headers` receives one record per frame ----
    // frameCount frames from firstFrame as complex samples, FFTPoints per frame: I, Q words minus
    // IOffset, QOffset, times the scaling factor (rounded to a float). After each frame with the AP
    // mark the whole of `data` so far is converted to (magnitude, phase) pairs, again at every further
    // AP frame.
    bool GetIQData(int firstFrame, int frameCount, FrameHeader* headers, VecCplx32& data) const;
    // The same frames, decoded by the mark of the last frame alone: IQ, or AP (amplitude and phase in
    // radians to cartesian, then IOffset and QOffset added to every sample, then scaled). A last frame
    // with neither mark is "error opening file".
    bool GetIQData2(int firstFrame, int frameCount, FrameHeader* headers, VecCplx32& data) const;
    // The raw words as numbers, the second word of each pair to `first`, the first word to `second`;
    // both sized FFTPoints * frameCount. Frames are laid out 1,024 elements apart, so the outputs are
    // meaningful only for FFTPoints 1,024 (with fewer points only what fits is written).
    bool GetRawIQAPData(int firstFrame, int frameCount, FrameHeader* headers, VecReal32& first,
                        VecReal32& second) const;
    // The correction record: FFTPoints amplitudes (word 0 / 128) and phases (-word 1 / 128).
    bool GetFlatness(FrameHeader* header, VecReal32& amplitude, VecReal32& phase) const;
    bool GetFlatness(FrameHeader* header, VecReal64& amplitude, VecReal64& phase) const;
    bool GetFlatness(VecReal32& amplitude, VecReal32& phase) const;
    // The correction record's words unscaled, with no change of sign.
    bool GetRawFlatness(FrameHeader* header, VecReal32& amplitude, VecReal32& phase) const;
    // `count` samples from sample `start` (GetIQData decoding); the frames they span must lie in one
    // block and in the file.
    bool ReadIQData(int start, int count, VecCplx32& data) const;
    bool ReadIQData(int start, int count, VecCplx64& data) const;
    // As above but returns the samples delivered: 0 when `start` lies beyond the valid frames (data
    // untouched) or beyond the first block (data emptied); a request that runs past the end of the first
    // block is cut there (frames past the valid ones, where a block is longer than the file, are refused
    // as above). `reserved` is ignored.
    int ReadIQData(int reserved, int start, int count, VecCplx32& data) const;
    int ReadIQData(int reserved, int start, int count, VecCplx64& data) const;

    // Self-test on the test capture "cdma2kfwd5mspan.iqt" (src/infra/testdata, found from the program).
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct IQTReaderTestPeer;

    struct HeaderEntry {
        char key[41];
        char value[61];
    };
    // State of the re-entrant tokeniser: a private copy of the text and the next unread character.
    struct ST_STR {
        char* copy;
        char* next;
    };

    // Self-test helpers: `value` within [expected - |tolerance|, expected + |tolerance|] (a NaN value
    // passes); the text form converts both texts first.
    static bool Compare(double value, double expected, double tolerance);
    static bool Compare(double value, const char* expected, const char* tolerance);
    // A number with a one-letter multiplier as its last character: G 1e9, M 1e6, K and k 1e3, m 1e-3,
    // u 1e-6, n 1e-9, p 1e-12, anything else 1; the number is atof of the whole text ("5MHz" is 5).
    static double Convert(const char* text);
    // The first character of `text` that is in `set`, or null.
    static char* StrPBrk(char* text, const char* set);
    // strtok over a private copy (made when `text` is not null); null after the last token, and also
    // when the copy cannot be made (then state->copy is null).
    static char* StrTok(char* text, const char* delimiters, ST_STR* state);
    static int InitStrTok(ST_STR* state);
    static int FreeStrTok(ST_STR* state);

    const HeaderEntry* Find(const char* key) const;
    // Throws "invalid input parameter" unless frames [firstFrame, firstFrame + frameCount) lie in the
    // valid frames and, when there are any, a header table was given for them.
    void CheckFrames(long long firstFrame, long long frameCount, bool haveHeaders) const;
    // The start of frame `frame` (frame ValidFrames is the correction record).
    long long FrameOffset(int frame) const;

    std::string fileName;
    int fftPoints = 0;
    int bins = 0;
    double maxInputLevel = 0.0;
    double levelOffset = 0.0;
    double centerFrequency = 0.0;
    double span = 0.0;
    int blockSize = 0;
    int firstBlockSize = 0;
    int validFrames = 0;
    double unitPeriod = 0.0;
    double frameLength = 0.0;
    double gainOffset = 0.0;
    int multiFrames = 1;
    double scalingFactor = 0.0;
    double iOffset = 0.0;
    double qOffset = 0.0;
    int dataOffset = 0;
    int nofBlocks = 0;
    std::vector<HeaderEntry> headerTable;  // every pair, in file order
};

}  // namespace VELA
