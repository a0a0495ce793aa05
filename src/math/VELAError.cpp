#include "VELAError.h"

#include <iostream>

namespace VELA {

const char* VELAErrorMessage(VELAErrorCodeTag code) noexcept {
    switch (code) {
        case VELAErrorAbort:
            return "Abort";
        case VELAErrorMemoryAlloc:
            return "memory allocation error";
        case VELAErrorDivideByZero:
            return "divide-by-zero error";
        case VELAErrorSingularMatrix:
            return "singular matrix";
        case VELAErrorInvalidInputParameter:
            return "invalid input parameter";
        case VELAErrorOpeningFile:
            return "error opening file";
        case VELAErrorReadingFile:
            return "error reading file";
        case VELAErrorWritingFile:
            return "error writing file";
        case VELAErrorFileVersion:
            return "file version error";
        case VELAErrorFileType:
            return "file type error";
        case VELAErrorClosingFile:
            return "error closing file";
        case VELAErrorMatlabAccess:
            return "MATLAB access error";
        case VELAErrorUnexpectedSoftware:
            return "unexpected software error";
        case VELAErrorNone:
        case VELAErrorSizeMismatch:
            break;
    }
    return nullptr;
}

void VELAException::Print() const {
    std::cerr << "\nEXCEPTION: " << (message ? message : "") << ", VELAErrorCode: " << static_cast<int>(code)
              << "\nFile: " << (file ? file : "") << ",  Line: " << line << "\n";
}

}  // namespace VELA
