// Error codes and the library's one exception type.
#pragma once
#include "VELAExport.h"
#include <cstdint>

namespace VELA {

// Values are part of the interface; the gaps are unassigned.
enum VELAErrorCodeTag : int32_t {
    VELAErrorNone = 0,
    VELAErrorAbort = 1,
    VELAErrorMemoryAlloc = 8000,
    VELAErrorDivideByZero = 8001,
    VELAErrorSingularMatrix = 8004,
    VELAErrorInvalidInputParameter = 8005,
    VELAErrorOpeningFile = 8027,
    VELAErrorReadingFile = 8028,
    VELAErrorWritingFile = 8029,
    VELAErrorFileVersion = 8030,
    VELAErrorFileType = 8031,
    VELAErrorClosingFile = 8032,
    VELAErrorMatlabAccess = 8044,
    VELAErrorUnexpectedSoftware = 8045,
    VELAErrorSizeMismatch = 8046,
};

// The static message text of a code ("memory allocation error", ...); null for codes without one.
VELA_API const char* VELAErrorMessage(VELAErrorCodeTag code) noexcept;

// A plain record, thrown by value. It deliberately has no base class (a handler for std::exception
// does not catch it) and owns nothing: message and file point to static texts, so copying is trivial
// and a throw allocates nothing of its own.
struct VELA_API VELAException {
    VELAErrorCodeTag code;
    const char* message;  // static text of `code`
    const char* file;     // source file of the throw, relative to the library's source root
    int32_t line;         // source line of the throw

    // Writes "\nEXCEPTION: <message>, VELAErrorCode: <code>\nFile: <file>,  Line: <line>\n" to stderr.
    void Print() const;
};

}  // namespace VELA

// Throws a VELAException carrying `code`, its message, and the file and line of this use.
#define VELA_THROW(code)                                                                 \
    throw ::VELA::VELAException {                                                        \
        (code), ::VELA::VELAErrorMessage(code), __FILE__, static_cast<int32_t>(__LINE__) \
    }
