#include "internal/TestData.h"

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

// The install layout, relative to the module's directory: from the library directory (the shared
// library), from the program directory (a program linking the library statically), and from one level
// below the build tree's root (where both live in a build tree). The build system sets these.
#ifndef CORVANE_TESTDATA_FROM_LIBDIR
#define CORVANE_TESTDATA_FROM_LIBDIR "../share/corvane/testdata"
#endif
#ifndef CORVANE_TESTDATA_FROM_BINDIR
#define CORVANE_TESTDATA_FROM_BINDIR "../share/corvane/testdata"
#endif
#ifndef CORVANE_TESTDATA_IN_BUILD
#define CORVANE_TESTDATA_IN_BUILD "../share/corvane/testdata"
#endif

namespace VELA::testdata {

namespace {

bool IsFile(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::vector<std::string> Directories() {
    std::vector<std::string> dirs;
    const std::string module = ModuleDirectory();
    if (module.empty()) return dirs;
    for (const char* rel :
         {CORVANE_TESTDATA_FROM_LIBDIR, CORVANE_TESTDATA_FROM_BINDIR, CORVANE_TESTDATA_IN_BUILD}) {
        const std::string dir = module + "/" + rel;
        bool seen = false;
        for (const std::string& d : dirs)
            seen = seen || d == dir;
        if (!seen) dirs.push_back(dir);
    }
    return dirs;
}

}  // namespace

std::string ModuleDirectory() {
    // The kernel's map of this process names the file mapped at every address: the one holding this
    // function is the module, shared library or program, by its absolute path.
    const auto self = reinterpret_cast<uintptr_t>(&ModuleDirectory);
    FILE* maps = std::fopen("/proc/self/maps", "r");
    if (!maps) return {};
    std::string found;
    char line[4096 + 256];
    while (std::fgets(line, sizeof line, maps)) {
        unsigned long long lo = 0, hi = 0;
        int pathAt = 0;
        if (std::sscanf(line, "%llx-%llx %*s %*s %*s %*s %n", &lo, &hi, &pathAt) < 2 || pathAt == 0) continue;
        if (self < lo || self >= hi) continue;
        std::string path(line + pathAt);
        while (!path.empty() && (path.back() == '\n' || path.back() == ' '))
            path.pop_back();
        if (!path.empty() && path.front() == '/') found = path;
        break;
    }
    std::fclose(maps);
    const size_t slash = found.rfind('/');
    if (slash == std::string::npos) return {};
    return found.substr(0, slash);
}

std::string Find(const char* name) {
    for (const std::string& dir : Directories()) {
        const std::string path = dir + "/" + name;
        if (IsFile(path)) return path;
    }
    return {};
}

std::string SearchPath() {
    std::string all;
    for (const std::string& dir : Directories())
        all += (all.empty() ? "" : "; ") + dir;
    return all;
}

}  // namespace VELA::testdata
