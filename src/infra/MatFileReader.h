// MatFileReader: the reading twin of MatFileWriter. It opens a MAT-file (level 5) for reading and holds
// it open until it is destroyed; its read operations are placeholders that return at once and leave
// their outputs unchanged, so that a later version can fill them in without changing the interface.
//
// One object belongs to one thread. Not copyable.
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

class VELA_API MatFileReader {
  public:
    // Opens `fileName`; "error opening file" when it does not exist or is no MAT-file.
    explicit MatFileReader(const char* fileName);
    MatFileReader(const MatFileReader&) = delete;
    MatFileReader& operator=(const MatFileReader&) = delete;
    // Closes the file; "error closing file" if that fails (not while another exception passes).
    virtual ~MatFileReader() noexcept(false);

    // Placeholders: each returns at once and leaves its output as it was.
    void ReadVector(VecCplx32& data, const char* name);
    void ReadVector(VecCplx64& data, const char* name);
    void ReadVector(VecReal32& data, const char* name);
    void ReadVector(VecReal64& data, const char* name);
    void ReadVector(VecUInt8& data, const char* name);
    void ReadVector(VecInt16& data, const char* name);
    void ReadVector(char* text, const char* name);
    void ReadScalar(double& value, const char* name);

    // Self-test: resolves the path of "test1.mat" beside the program and records "Read"; it opens
    // nothing.
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void* matFile;  // the open file (matio's handle)
};

}  // namespace VELA
