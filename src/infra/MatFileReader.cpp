#include "MatFileReader.h"

#include <matio.h>

#include <cstdlib>
#include <exception>

#include "UnitTestRecorder.h"
#include "Utilities.h"
#include "math/VELAError.h"

namespace VELA {

MatFileReader::MatFileReader(const char* fileName) : matFile(nullptr) {
    if (fileName) matFile = Mat_Open(fileName, MAT_ACC_RDONLY);
    if (!matFile) VELA_THROW(VELAErrorOpeningFile);
}

MatFileReader::~MatFileReader() noexcept(false) {
    mat_t* mat = static_cast<mat_t*>(matFile);
    matFile = nullptr;
    if (mat && Mat_Close(mat) != 0 && std::uncaught_exceptions() == 0) VELA_THROW(VELAErrorClosingFile);
}

void MatFileReader::ReadVector(VecCplx32&, const char*) {}
void MatFileReader::ReadVector(VecCplx64&, const char*) {}
void MatFileReader::ReadVector(VecReal32&, const char*) {}
void MatFileReader::ReadVector(VecReal64&, const char*) {}
void MatFileReader::ReadVector(VecUInt8&, const char*) {}
void MatFileReader::ReadVector(VecInt16&, const char*) {}
void MatFileReader::ReadVector(char*, const char*) {}
void MatFileReader::ReadScalar(double&, const char*) {}

bool MatFileReader::UnitTest(UnitTestRecorder& recorder) {
    char* path = Utilities::GetAbsolutePath("test1.mat");
    std::free(path);
    recorder.AddTestRecord("MatFileReader", "Read", true);
    return true;
}

}  // namespace VELA
