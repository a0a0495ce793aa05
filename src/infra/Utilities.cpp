#include "Utilities.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace VELA {

namespace {

bool IsSeparator(char c) {
    return c == '/' || c == '\\';
}

// Cuts `s` at its last separator (the separator goes too); a string without one becomes empty, which
// stands for the root once a "/" is appended.
void CutAtLastSeparator(std::string& s) {
    const size_t at = s.find_last_of('/');
    s.resize(at == std::string::npos ? 0 : at);
}

// The full path of the running program, "" if the system does not tell.
std::string ProgramPath() {
    std::string buffer(PATH_MAX, '\0');
    for (;;) {
        const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n < 0) return std::string();
        if (static_cast<size_t>(n) < buffer.size()) {
            buffer.resize(static_cast<size_t>(n));
            return buffer;
        }
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace

char* Utilities::GetAbsolutePath(const char* path) {
    if (!path) path = "";
    if (path[0] == '/' || path[0] == '\\' || (path[0] != '\0' && path[1] == ':')) return strdup(path);

    // The parent of the program's directory: the file name and the directory that holds it go.
    std::string base = ProgramPath();
    CutAtLastSeparator(base);
    CutAtLastSeparator(base);

    const char* rest = path;
    while (rest[0] == '.' && rest[1] == '.' && IsSeparator(rest[2])) {
        CutAtLastSeparator(base);
        // By the first backslash anywhere, else the first slash (see the header for what that implies).
        const char* next = std::strchr(rest, '\\');
        if (!next) next = std::strchr(rest, '/');
        rest = next + 1;
    }
    std::string result = base + "/" + rest;
    for (char& c : result)
        if (c == '\\') c = '/';
    return strdup(result.c_str());
}

void Utilities::TimeStamp(std::FILE* stream) {
    if (!stream) return;
    const std::time_t now = std::time(nullptr);
    std::tm local;
    char text[64];  // asctime_r needs 26 bytes
    if (!localtime_r(&now, &local) || !asctime_r(&local, text)) return;
    std::fprintf(stream, "%s \n", text);
}

}  // namespace VELA
