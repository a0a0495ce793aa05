// Helpers of the file tests: the code of a thrown VELAException, raw file contents, places where writing
// fails (a full device, a directory that refuses new files, a missing directory), and runs of the real
// readers of our files (GNU Octave, scipy) on a script.
#pragma once

#include <corvane/math/VELAError.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace corvane_test {

// The code of the VELAException that `f` throws, or VELAErrorNone when it returns normally.
template <class F>
VELA::VELAErrorCodeTag ThrownCode(F&& f) {
    try {
        f();
    } catch (const VELA::VELAException& e) {
        return e.code;
    }
    return VELA::VELAErrorNone;
}

// The message of the VELAException that `f` throws ("" when it returns normally).
template <class F>
std::string ThrownMessage(F&& f) {
    try {
        f();
    } catch (const VELA::VELAException& e) {
        return e.message ? e.message : "";
    }
    return "";
}

// The source file named by the VELAException that `f` throws, relative to src/ ("" when it returns
// normally). The library's build strips its source directory from the names, but a compiler launcher
// that rewrites paths relative to the build directory (ccache with a base directory) leaves
// "../../src/" in front; either form comes back as "math/X.cpp".
template <class F>
std::string ThrownFile(F&& f) {
    try {
        f();
    } catch (const VELA::VELAException& e) {
        std::string file = e.file ? e.file : "";
        const size_t src = file.rfind("src/");
        if (src != std::string::npos && (src == 0 || file[src - 1] == '/')) file.erase(0, src + 4);
        return file;
    }
    return "";
}

// Writes `bytes` to `path` (replacing it); fails the test if that is not possible.
void WriteBytes(const std::string& path, const std::string& bytes);
// Size of a file in bytes, -1 if it does not exist.
int64_t FileSize(const std::string& path);
bool Exists(const std::string& path);

// A directory in which creating a file fails with a permission error: a fresh read-only directory
// below the current one, or, for root (whom permissions do not stop), /sys, which accepts no new files.
// The test fails if creation there is not refused.
std::string ReadOnlyDir();

// Output of a command (stdout and stderr together) and its exit status.
struct RunResult {
    int status = -1;
    std::string output;
};
RunResult Run(const std::string& command);

// Runs `code` in headless GNU Octave (octave-cli) and returns what it prints; fails the test on a
// non-zero exit. The code runs in the current directory.
std::string Octave(const std::string& code);
// Runs `code` in /usr/bin/python3 (numpy as np, scipy importable) and returns what it prints; fails the
// test on a non-zero exit.
std::string Python(const std::string& code);

}  // namespace corvane_test
