// MatFileWriter: vectors, texts and scalars as named variables of a MATLAB MAT-file (level 5, readable
// by MATLAB, GNU Octave and scipy.io.loadmat).
//
// One object is one file and one call is one variable. Every vector becomes a column, n rows by 1 (an
// empty vector 0 by 1), and complex data are stored as separate real and imaginary parts:
//
//   VecCplx64  double, complex     VecReal64  double      VecCplx32  single, complex
//   VecReal32  single              VecUInt8   uint8       VecInt16   uint16 (!)
//   text       char, 1 by length (0 by 0 when empty)      WriteScalar: double, 1 by 1
//
// VecInt16 goes to the unsigned 16-bit class on purpose: the 16 bits are stored as they are, so -1
// reads back as 65535 and a reader must reinterpret the values as signed.
//
// Writing a name a second time replaces the variable. Variables are collected in a working file and the
// target receives the finished file when the writer is destroyed: the contents are complete only after
// the destructor has returned, and a failure to complete them (a full device or disk) is reported from
// there as "error closing file", with nothing half-written left behind in a regular file (it is
// removed). The target is created, or emptied, at construction, as a file opened for writing is.
//
// One object belongs to one thread; writers of different files may run in parallel. Not copyable.
#pragma once
#include "../math/VELAExport.h"

namespace VELA {

class UnitTestRecorder;
class VecCplx32;
class VecCplx64;
class VecInt16;
class VecReal32;
class VecReal64;
class VecUInt8;
struct MatFileWriterState;

class VELA_API MatFileWriter {
  public:
    // Creates or empties `fileName`. "error opening file" when that is not possible (a missing
    // directory, no permission).
    explicit MatFileWriter(const char* fileName);
    MatFileWriter(const MatFileWriter&) = delete;
    MatFileWriter& operator=(const MatFileWriter&) = delete;
    // Completes the file; throws "error closing file" when it cannot (unless another exception is
    // already passing, when it only cleans up).
    virtual ~MatFileWriter() noexcept(false);

    // The vector as an n by 1 variable `name` (see the table above). "memory allocation error" when the
    // variable cannot be made; a null name or text is "invalid input parameter". A failure of the write
    // itself is not reported here but from the destructor.
    void WriteVector(const char* name, const VecCplx64& data);
    void WriteVector(const char* name, const VecReal64& data);
    void WriteVector(const char* name, const VecCplx32& data);
    void WriteVector(const char* name, const VecReal32& data);
    void WriteVector(const char* name, const VecUInt8& data);
    void WriteVector(const char* name, const VecInt16& data);
    void WriteVector(const char* name, const char* text);
    // A 1 by 1 double.
    void WriteScalar(const char* name, double value);

    // Self-test: creates and completes an empty "test.mat" beside the program (Utilities::GetAbsolutePath).
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    MatFileWriterState* matFile;  // the open working file and the target it will become
};

}  // namespace VELA
