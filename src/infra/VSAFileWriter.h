// VSAFileWriter: a block of complex baseband samples as a recording that the Agilent 89600 vector
// signal analysis software loads: a MAT-file of exactly four variables, written in this order:
//
//   "InputZoom"    uint8 1 by 1    1
//   "InputCenter"  double 1 by 1   centre frequency, Hz, as given
//   "XDelta"       double 1 by 1   sample period, s: 1 / sample rate (a rate of 0 gives Inf, no error)
//   "Y"            single complex, n by 1: the samples (an empty block gives 0 by 1)
//
// The file is open from construction to destruction and complete only after the destructor has returned;
// failures are those of MatFileWriter and pass through unchanged ("error opening file" from the
// constructor, "error closing file" from the destructor, "memory allocation error" from WriteFile).
// One object belongs to one thread. Not copyable.
#pragma once
#include "../math/VELAExport.h"

#include "../math/IntVector.h"

namespace VELA {

class MatFileWriter;
class UnitTestRecorder;
class VecCplx32;

class VELA_API VSAFileWriter {
  public:
    // Creates or empties `fileName` (see MatFileWriter).
    explicit VSAFileWriter(const char* fileName);
    VSAFileWriter(const VSAFileWriter&) = delete;
    VSAFileWriter& operator=(const VSAFileWriter&) = delete;
    virtual ~VSAFileWriter() noexcept(false);

    // Writes the four variables; a second call replaces them.
    void WriteFile(double centerFrequency, double sampleRate, const VecCplx32& data);

    // Self-test: a 10,000-sample tone (pi/8 per sample) at 1 GHz centre and 100 MHz sample rate to
    // "test89600.mat" in the current directory, read back and checked; records "Write".
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    MatFileWriter* matFileWriter;  // owned
    VecUInt8 inputZoom;            // the one element 1, set by each WriteFile
};

}  // namespace VELA
