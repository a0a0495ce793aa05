// VSAFileWriter: the four variables of a recording, in their order, classes and shapes, read back by
// scipy.io.loadmat and GNU Octave; an empty block; a second WriteFile replacing the first; a zero
// sample rate; failures passing through from MatFileWriter.
#include <corvane/infra/VSAFileWriter.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "support/FileTestUtil.h"
#include "support/MatFileCheck.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::Describe;
using corvane_test::MatDescription;
using corvane_test::ScopedWorkDir;
using corvane_test::ThrownCode;

namespace {

std::string Here(const std::string& name) {
    return (std::filesystem::current_path() / name).string();
}

VecCplx32 Tone(int n) {
    VecCplx32 v(n);
    for (int k = 0; k < n; ++k)
        v[k] = {static_cast<float>(std::cos(k * 0.39269909262657166)),
                static_cast<float>(std::sin(k * 0.39269909262657166))};
    return v;
}

std::string DescribeY(const VecCplx32& y) {
    std::vector<double> re, im;
    for (int i = 0; i < y.GetSize(); ++i) {
        re.push_back(y[i].re);
        im.push_back(y[i].im);
    }
    return Describe("Y", "single", y.GetSize(), 1, true, re, im);
}

void ExpectRecording(const MatDescription& d, double center, double delta, const VecCplx32& y,
                     const char* reader) {
    EXPECT_EQ(d.at("#order"), "#order InputZoom InputCenter XDelta Y") << reader;
    EXPECT_EQ(d.at("InputZoom"), Describe("InputZoom", "uint8", 1, 1, false, {1}, {})) << reader;
    EXPECT_EQ(d.at("InputCenter"), Describe("InputCenter", "double", 1, 1, false, {center}, {})) << reader;
    EXPECT_EQ(d.at("XDelta"), Describe("XDelta", "double", 1, 1, false, {delta}, {})) << reader;
    if (y.GetSize() > 0) {
        EXPECT_EQ(d.at("Y"), DescribeY(y)) << reader;
    }
}

}  // namespace

TEST(VSAFileWriter, RecordingHoldsTheFourVariablesInOrderAsScipyAndOctaveReadThem) {
    ScopedWorkDir dir;
    const VecCplx32 y = Tone(10000);
    {
        VSAFileWriter w("rec.mat");
        w.WriteFile(1e9, 1e8, y);
    }
    ExpectRecording(corvane_test::ReadWithScipy(Here("rec.mat")), 1e9, 1.0 / 1e8, y, "scipy");
    ExpectRecording(corvane_test::ReadWithOctave(Here("rec.mat")), 1e9, 1.0 / 1e8, y, "octave");
    // XDelta is the sample period, 1e-8 s here.
    EXPECT_EQ(
        corvane_test::Python("import scipy.io\nprint(scipy.io.loadmat('rec.mat')['XDelta'][0, 0] == 1e-8)"),
        "True\n");
}

TEST(VSAFileWriter, EmptyBlockGivesZeroByOneYWithTheOtherVariablesInPlace) {
    ScopedWorkDir dir;
    {
        VSAFileWriter w("empty.mat");
        w.WriteFile(2.5e9, 4e6, VecCplx32());
    }
    const MatDescription d = corvane_test::ReadWithScipy(Here("empty.mat"));
    ExpectRecording(d, 2.5e9, 1.0 / 4e6, VecCplx32(), "scipy");
    const std::string y = corvane_test::Python(
        "import scipy.io\nfor n, s, c in scipy.io.whosmat('empty.mat'):\n"
        "    print(n, s, c)");
    EXPECT_NE(y.find("Y (0, 1) single"), std::string::npos) << y;
}

TEST(VSAFileWriter, SecondWriteFileReplacesTheFourVariables) {
    ScopedWorkDir dir;
    const VecCplx32 second = Tone(7);
    {
        VSAFileWriter w("twice.mat");
        w.WriteFile(1e9, 1e8, Tone(100));
        w.WriteFile(3e9, 2e6, second);
    }
    const MatDescription d = corvane_test::ReadWithScipy(Here("twice.mat"));
    ExpectRecording(d, 3e9, 1.0 / 2e6, second, "scipy");
    EXPECT_EQ(d.size(), 5u);  // four variables and the order line
}

TEST(VSAFileWriter, ZeroSampleRateGivesAnInfiniteXDelta) {
    ScopedWorkDir dir;
    {
        VSAFileWriter w("inf.mat");
        w.WriteFile(1e9, 0.0, Tone(3));
    }
    EXPECT_EQ(corvane_test::Octave("S = load('inf.mat'); printf('%d', isinf(S.XDelta) && S.XDelta > 0);"),
              "1");
}

TEST(VSAFileWriter, FailuresPassThroughFromTheMatFileLayer) {
    ScopedWorkDir dir;
    EXPECT_EQ(ThrownCode([] { VSAFileWriter w("no/such/dir/r.mat"); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([] {
                  VSAFileWriter w("/dev/full");
                  w.WriteFile(1e9, 1e8, Tone(1000));
              }),
              VELAErrorClosingFile);
}

TEST(VSAFileWriter, WriteFailuresLeaveNoHalfWrittenRecording) {
    ScopedWorkDir dir;
    const std::string ro = corvane_test::ReadOnlyDir() + "/r.mat";
    EXPECT_EQ(ThrownCode([&] { VSAFileWriter w(ro.c_str()); }), VELAErrorOpeningFile);
    EXPECT_FALSE(corvane_test::Exists(ro));
    EXPECT_FALSE(corvane_test::Exists("no/such/dir/r.mat"));
    // A file size limit of 64 KiB makes the writes of an 800 KB recording fail as on a full disk
    // (SIGXFSZ ignored, so the write reports EFBIG); the recording must not stay behind cut short.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    rlimit small = old;
    small.rlim_cur = 64 * 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const VELAErrorCodeTag code = ThrownCode([] {
        VSAFileWriter w("big.mat");
        w.WriteFile(1e9, 1e8, Tone(100000));
    });
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(code, VELAErrorClosingFile);
    EXPECT_FALSE(corvane_test::Exists("big.mat"));
}
