#include "support/FileTestUtil.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace corvane_test {

void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!f) ADD_FAILURE() << "cannot write " << path;
}

int64_t FileSize(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return -1;
    return static_cast<int64_t>(st.st_size);
}

bool Exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

std::string ReadOnlyDir() {
    std::string dir;
    if (geteuid() == 0) {
        dir = "/sys";
    } else {
        dir = (fs::current_path() / "read-only").string();
        fs::create_directories(dir);
        chmod(dir.c_str(), 0555);
    }
    const std::string probe = dir + "/corvane-probe";
    const int fd = open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (fd >= 0) {
        close(fd);
        unlink(probe.c_str());
        ADD_FAILURE() << "creating a file in " << dir << " was not refused";
    }
    return dir;
}

RunResult Run(const std::string& command) {
    RunResult r;
    FILE* p = popen((command + " 2>&1").c_str(), "r");
    if (!p) return r;
    char buf[4096];
    size_t got;
    while ((got = std::fread(buf, 1, sizeof buf, p)) > 0)
        r.output.append(buf, got);
    const int rc = pclose(p);
    r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    return r;
}

namespace {

// Writes `text` to a fresh script file in the system's temporary directory and returns its path.
std::string ScriptFile(const std::string& suffix, const std::string& text) {
    static int counter = 0;
    const fs::path path = fs::temp_directory_path() / ("corvane_script_" + std::to_string(getpid()) + "_" +
                                                       std::to_string(counter++) + suffix);
    std::ofstream f(path);
    f << text;
    return path.string();
}

}  // namespace

std::string Octave(const std::string& code) {
    const std::string script = ScriptFile(".m", code + "\n");
    const RunResult r =
        Run("octave-cli -q --no-history --no-line-editing --no-window-system --norc " + script);
    fs::remove(script);
    if (r.status != 0)
        ADD_FAILURE() << "octave failed (" << r.status << "):\n" << r.output << "\ncode:\n" << code;
    return r.output;
}

std::string Python(const std::string& code) {
    const std::string script = ScriptFile(".py", "import numpy as np\n" + code + "\n");
    const RunResult r = Run(std::string(CORVANE_PYTHON) + " " + script);
    fs::remove(script);
    if (r.status != 0)
        ADD_FAILURE() << "python failed (" << r.status << "):\n" << r.output << "\ncode:\n" << code;
    return r.output;
}

}  // namespace corvane_test
