// The Octave carrier of the plotting engine: the four operations over the pipes, exact data, and the
// failure forms when the server is missing, silent, or dies.
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "internal/MatlabEngine.h"
#include "support/TestUtil.h"

using namespace VELA;
using namespace corvane_test;

namespace {

bool HaveOctave() {
    static const bool have = std::system("command -v octave-cli >/dev/null 2>&1") == 0;
    return have;
}

#define REQUIRE_OCTAVE() \
    if (!HaveOctave()) GTEST_FAIL() << "octave-cli is not on PATH (scripts/install-deps.sh installs it)"

// Processes whose process group is `group` (the server and the gnuplot it started).
int CountGroup(pid_t group) {
    int n = 0;
    DIR* d = opendir("/proc");
    if (!d) return -1;
    while (dirent* e = readdir(d)) {
        const int pid = std::atoi(e->d_name);
        if (pid <= 0) continue;
        std::ifstream f("/proc/" + std::string(e->d_name) + "/stat");
        std::string stat((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
        const size_t close = stat.rfind(')');
        if (close == std::string::npos) continue;
        char state = 0;
        int ppid = 0, pgrp = 0;
        if (std::sscanf(stat.c_str() + close + 1, " %c %d %d", &state, &ppid, &pgrp) == 3 && pgrp == group)
            ++n;
    }
    closedir(d);
    return n;
}

// Waits up to two seconds for the group to empty (a killed process takes a moment to go).
bool GroupGone(pid_t group) {
    for (int i = 0; i < 200; ++i) {
        if (CountGroup(group) == 0) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

bool Reaped(pid_t pid) {
    return waitpid(pid, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

// A script standing in for the server program.
std::string FakeServer(const ScopedWorkDir& dir, const char* name, const char* body) {
    const std::string path = dir.Path() + "/" + name;
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    chmod(path.c_str(), 0755);
    return path;
}

}  // namespace

TEST(MatlabEngine, ExecutesAndReadsBack) {
    REQUIRE_OCTAVE();
    CMatlabEngine engine(false);
    ASSERT_TRUE(engine.IsConnected()) << engine.GetLastResult();
    EXPECT_EQ(engine.Execute("a = 6 * 7;"), 0);
    std::vector<double> re;
    EXPECT_EQ(engine.GetFullMatrix("a", 1, 1, re), 0);
    EXPECT_EQ(re, std::vector<double>{42});
    // Output and errors of a command come back as text; a rejected command still answers 0.
    EXPECT_EQ(engine.Execute("disp(1234567)"), 0);
    EXPECT_NE(engine.GetLastOutput().find("1234567"), std::string::npos) << engine.GetLastOutput();
    EXPECT_EQ(engine.Execute("set(gcf,'DoubleBuffer','on'"), 0);
    EXPECT_NE(engine.GetLastOutput().find("error: parse error"), std::string::npos) << engine.GetLastOutput();
    EXPECT_EQ(engine.Execute("undefined_function_xyz(3)"), 0);
    EXPECT_NE(engine.GetLastOutput().find("error:"), std::string::npos);
    // Quotes, newlines and other bytes arrive intact.
    EXPECT_EQ(engine.Execute("s = 'it''s';\nt = [s char(9) \"x\\ty\"];"), 0);
    std::vector<double> t;
    EXPECT_EQ(engine.GetFullMatrix("t", 1, 1, t), engine::kException);  // a char array is not numeric
    EXPECT_EQ(engine.Execute("u = double(t);"), 0);
    // Octave's double-quoted strings take backslash escapes: "x\ty" is x, tab, y.
    EXPECT_EQ(engine.GetFullMatrix("u", 1, 8, t), 0);
    const std::string want = "it's\tx\ty";
    ASSERT_EQ(t.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i)
        EXPECT_EQ(t[i], static_cast<unsigned char>(want[i])) << i;
}

TEST(MatlabEngine, PutFillsRowsAndGetReturnsColumns) {
    REQUIRE_OCTAVE();
    CMatlabEngine engine(false);
    ASSERT_TRUE(engine.IsConnected());
    const std::vector<double> src{1, 2, 3, 4, 5, 6, 99};  // one more than needed
    EXPECT_EQ(engine.PutFullMatrix("m", src, 2, 3), 0);
    EXPECT_EQ(engine.Execute("ok = isequal(m, [1 2 3; 4 5 6]);"), 0);
    std::vector<double> ok;
    EXPECT_EQ(engine.GetFullMatrix("ok", 1, 1, ok), 0);
    EXPECT_EQ(ok, std::vector<double>{1});
    std::vector<double> back;
    EXPECT_EQ(engine.GetFullMatrix("m", 2, 3, back), 0);
    EXPECT_EQ(back, (std::vector<double>{1, 4, 2, 5, 3, 6}));
    // Sizes that do not match the variable are the server's refusal.
    EXPECT_EQ(engine.GetFullMatrix("m", 3, 2, back), engine::kException);
    EXPECT_EQ(engine.GetFullMatrix("nothing_here", 1, 1, back), engine::kException);
    EXPECT_EQ(engine.GetLastResult(), engine::kException);
    // GetMatrix asks for the size first.
    int rows = 0, columns = 0;
    std::vector<double> im;
    EXPECT_EQ(engine.GetMatrix("m", &rows, &columns, back, &im), 0);
    EXPECT_EQ(rows, 2);
    EXPECT_EQ(columns, 3);
    EXPECT_EQ(back, (std::vector<double>{1, 4, 2, 5, 3, 6}));
    EXPECT_EQ(im, std::vector<double>(6, 0.0));
    EXPECT_EQ(engine.GetMatrix("nothing_here", &rows, &columns, back, nullptr), engine::kException);
}

TEST(MatlabEngine, DataTravelExactly) {
    REQUIRE_OCTAVE();
    CMatlabEngine engine(false);
    ASSERT_TRUE(engine.IsConnected());
    std::vector<double> re = Uniform(30000, 311, -1e6, 1e6), im = Uniform(30000, 312);
    re[0] = std::numeric_limits<double>::quiet_NaN();
    re[1] = INFINITY;
    re[2] = -INFINITY;
    re[3] = -0.0;
    re[4] = std::numeric_limits<double>::denorm_min();
    re[5] = std::numeric_limits<double>::max();
    im[6] = 1e-300;
    EXPECT_EQ(engine.PutFullMatrix("z", re, im, 30000, 1), 0);
    std::vector<double> r2, i2;
    EXPECT_EQ(engine.GetFullMatrix("z", 30000, 1, r2, i2), 0);
    ASSERT_EQ(r2.size(), re.size());
    EXPECT_EQ(std::memcmp(r2.data(), re.data(), re.size() * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(i2.data(), im.data(), im.size() * sizeof(double)), 0);
    // The real-only read of a complex variable gives its real parts.
    EXPECT_EQ(engine.GetFullMatrix("z", 30000, 1, r2), 0);
    EXPECT_EQ(std::memcmp(r2.data(), re.data(), re.size() * sizeof(double)), 0);
    // Empty arrays.
    EXPECT_EQ(engine.PutFullMatrix("e", std::vector<double>{}, 0, 1), 0);
    EXPECT_EQ(engine.GetFullMatrix("e", 0, 1, r2), 0);
    EXPECT_TRUE(r2.empty());
}

TEST(MatlabEngine, RefusalsOfTheEngineItself) {
    REQUIRE_OCTAVE();
    CMatlabEngine engine(false);
    ASSERT_TRUE(engine.IsConnected());
    const std::vector<double> three{1, 2, 3}, two{1, 2};
    EXPECT_EQ(engine.PutFullMatrix("a", three, two, 2, 1), engine::kRefused);  // sizes differ
    EXPECT_EQ(engine.PutFullMatrix("a", three, 2, 2), engine::kRefused);       // 4 > 3
    EXPECT_EQ(engine.GetLastResult(), engine::kRefused);
    EXPECT_EQ(engine.PutFullMatrix("1bad", three, 3, 1), engine::kInvalidArgument);
    EXPECT_EQ(engine.PutFullMatrix("a; system('true')", three, 3, 1), engine::kInvalidArgument);
    std::vector<double> out;
    EXPECT_EQ(engine.GetFullMatrix("a b", 1, 1, out), engine::kInvalidArgument);
    // Three dimensions are not a full matrix.
    EXPECT_EQ(engine.Execute("c = zeros(2, 2, 2);"), 0);
    EXPECT_EQ(engine.GetFullMatrix("c", 2, 4, out), engine::kRefused);
}

TEST(MatlabEngine, QuitEndsAndReapsTheServerAndItsGroup) {
    REQUIRE_OCTAVE();
    ScopedWorkDir dir;
    CMatlabEngine engine(false);
    ASSERT_TRUE(engine.IsConnected());
    const pid_t server = engine.GetServerProcessId();
    // Start gnuplot inside the group by printing a figure.
    EXPECT_EQ(engine.Execute("figure(1); plot(1:5); print(1, '-dpng', 'q.png');"), 0);
    EXPECT_EQ(engine.Quit(), 0);
    EXPECT_TRUE(Reaped(server));
    EXPECT_TRUE(GroupGone(server));
    EXPECT_EQ(engine.GetServerProcessId(), -1);
    EXPECT_EQ(engine.Execute("a = 1;"), engine::kRefused);
    std::vector<double> out;
    EXPECT_EQ(engine.GetFullMatrix("a", 1, 1, out), engine::kRefused);
}

TEST(MatlabEngine, DestructionWithoutQuitLeavesNoProcess) {
    REQUIRE_OCTAVE();
    pid_t server = -1;
    {
        CMatlabEngine engine(true);
        ASSERT_TRUE(engine.IsConnected());
        server = engine.GetServerProcessId();
        EXPECT_EQ(engine.Execute("x = 1;"), 0);
    }
    EXPECT_TRUE(Reaped(server));
    EXPECT_TRUE(GroupGone(server));
}

TEST(MatlabEngine, ServerKilledMidSession) {
    REQUIRE_OCTAVE();
    CMatlabEngine engine(false);
    ASSERT_TRUE(engine.IsConnected());
    const pid_t server = engine.GetServerProcessId();
    ASSERT_EQ(kill(server, SIGKILL), 0);
    const int32_t r = engine.Execute("a = 1;");
    EXPECT_EQ(r, engine::kServerUnavailable);
    EXPECT_TRUE(Reaped(server));
    EXPECT_EQ(engine.Execute("a = 1;"), engine::kRefused);
    EXPECT_EQ(engine.PutFullMatrix("a", std::vector<double>{1}, 1, 1), engine::kRefused);
    EXPECT_EQ(engine.Quit(), engine::kRefused);
}

TEST(MatlabEngine, ServerThatExitsByCommand) {
    REQUIRE_OCTAVE();
    CMatlabEngine engine(false);
    ASSERT_TRUE(engine.IsConnected());
    const pid_t server = engine.GetServerProcessId();
    EXPECT_EQ(engine.Execute("exit(3)"), engine::kServerUnavailable);
    EXPECT_TRUE(Reaped(server));
}

TEST(MatlabEngine, MissingProgram) {
    OctaveServerOptions o;
    o.program = "/nonexistent/octave-cli";
    CMatlabEngine engine(false, o);
    EXPECT_FALSE(engine.IsConnected());
    EXPECT_EQ(engine.GetLastResult(), engine::kNotRegistered);
    EXPECT_EQ(engine.GetServerProcessId(), -1);
    EXPECT_EQ(engine.Execute("a = 1;"), engine::kRefused);
    o.program = "no-such-octave-program-anywhere";
    CMatlabEngine onPath(false, o);
    EXPECT_FALSE(onPath.IsConnected());
    EXPECT_EQ(onPath.GetLastResult(), engine::kNotRegistered);
}

TEST(MatlabEngine, ServerThatNeverAnswersIsStoppedAfterTheWait) {
    ScopedWorkDir dir;
    OctaveServerOptions o;
    o.program = FakeServer(dir, "silent", "exec sleep 600");
    o.startTimeoutMs = 1500;
    const auto start = std::chrono::steady_clock::now();
    CMatlabEngine engine(false, o);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_FALSE(engine.IsConnected());
    EXPECT_EQ(engine.GetLastResult(), engine::kTimeout);
    EXPECT_GE(took, std::chrono::milliseconds(1400));
    EXPECT_LT(took, std::chrono::seconds(60));
    EXPECT_EQ(engine.GetServerProcessId(), -1);
}

TEST(MatlabEngine, ServerThatEchoesIsNotMistakenForAnAnswer) {
    ScopedWorkDir dir;
    OctaveServerOptions o;
    o.program = FakeServer(dir, "echo", "exec cat");
    o.startTimeoutMs = 1000;
    CMatlabEngine engine(false, o);
    EXPECT_FALSE(engine.IsConnected());
    EXPECT_EQ(engine.GetLastResult(), engine::kTimeout);
}

TEST(MatlabEngine, ServerThatDiesAtStart) {
    ScopedWorkDir dir;
    OctaveServerOptions o;
    o.program = FakeServer(dir, "dies", "exit 3");
    CMatlabEngine engine(false, o);
    EXPECT_FALSE(engine.IsConnected());
    EXPECT_EQ(engine.GetLastResult(), engine::kServerUnavailable);
    EXPECT_EQ(engine.GetServerProcessId(), -1);
}

TEST(MatlabEngine, AServerThatStopsAnsweringMidSessionTimesOut) {
    REQUIRE_OCTAVE();
    OctaveServerOptions o;
    o.callTimeoutMs = 1500;
    CMatlabEngine engine(false, o);
    ASSERT_TRUE(engine.IsConnected());
    const pid_t server = engine.GetServerProcessId();
    ASSERT_EQ(kill(server, SIGSTOP), 0);  // alive but frozen
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(engine.Execute("a = 1;"), engine::kTimeout);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_TRUE(Reaped(server));
    EXPECT_TRUE(GroupGone(server));
}
