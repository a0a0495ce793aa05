// MatFileWriter: every kind of variable read back by GNU Octave and by scipy.io.loadmat (class, shape,
// complexity, values), empty vectors as 0 by 1, the unsigned class of VecInt16, replacement of a name,
// the empty file, and the failures: a missing or read-only directory at construction, a full device or
// a full disk at completion (reported from the destructor, nothing half-written left), null names.
#include <corvane/infra/MatFileReader.h>
#include <corvane/infra/MatFileWriter.h>
#include <corvane/math/IntVector.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/FileTestUtil.h"
#include "support/MatFileCheck.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::Describe;
using corvane_test::DescribeText;
using corvane_test::Exists;
using corvane_test::MatDescription;
using corvane_test::ScopedWorkDir;
using corvane_test::ThrownCode;

namespace {

std::string Here(const std::string& name) {
    return (std::filesystem::current_path() / name).string();
}

// The variables of the "every kind" file and their expected descriptions.
struct Expected {
    std::vector<std::string> lines;
    std::string order;
};

Expected WriteEveryKind(const std::string& path) {
    const int n = 5;
    VecCplx64 c64(n);
    VecReal64 r64(n);
    VecCplx32 c32(n);
    VecReal32 r32(n);
    VecUInt8 u8(n);
    VecInt16 i16(n);
    std::vector<double> c64re, c64im, r64v, c32re, c32im, r32v, u8v, i16v;
    for (int i = 0; i < n; ++i) {
        c64[i] = {0.1 * (i + 1), -1.0 / (i + 3)};
        r64[i] = 1e300 / (i + 1) - 7.0;
        c32[i] = {0.3f * static_cast<float>(i + 1), -2.5f + static_cast<float>(i)};
        r32[i] = 1.0f / static_cast<float>(i + 7);
        u8[i] = static_cast<unsigned char>(250 + i);
        i16[i] = static_cast<short>(i == 0 ? -1 : i == 1 ? -32768 : i * 1000);
        c64re.push_back(c64[i].re);
        c64im.push_back(c64[i].im);
        r64v.push_back(r64[i]);
        c32re.push_back(c32[i].re);
        c32im.push_back(c32[i].im);
        r32v.push_back(r32[i]);
        u8v.push_back(u8[i]);
        // The 16 bits as an unsigned number: -1 is 65535.
        i16v.push_back(static_cast<unsigned short>(i16[i]));
    }
    {
        MatFileWriter w(path.c_str());
        w.WriteVector("c64", c64);
        w.WriteVector("r64", r64);
        w.WriteVector("c32", c32);
        w.WriteVector("r32", r32);
        w.WriteVector("u8", u8);
        w.WriteVector("i16", i16);
        w.WriteVector("text", "hello, world");
        w.WriteScalar("scalar", -2.5e-7);
        w.WriteVector("er64", VecReal64());
        w.WriteVector("er32", VecReal32());
        w.WriteVector("eu8", VecUInt8());
        w.WriteVector("ei16", VecInt16());
    }
    Expected e;
    e.order = "#order c64 r64 c32 r32 u8 i16 text scalar er64 er32 eu8 ei16";
    e.lines = {Describe("c64", "double", n, 1, true, c64re, c64im),
               Describe("r64", "double", n, 1, false, r64v, {}),
               Describe("c32", "single", n, 1, true, c32re, c32im),
               Describe("r32", "single", n, 1, false, r32v, {}),
               Describe("u8", "uint8", n, 1, false, u8v, {}),
               Describe("i16", "uint16", n, 1, false, i16v, {}),
               DescribeText("text", "hello, world"),
               Describe("scalar", "double", 1, 1, false, {-2.5e-7}, {}),
               Describe("er64", "double", 0, 1, false, {}, {}),
               Describe("er32", "single", 0, 1, false, {}, {}),
               Describe("eu8", "uint8", 0, 1, false, {}, {}),
               Describe("ei16", "uint16", 0, 1, false, {}, {})};
    return e;
}

void ExpectDescribes(const MatDescription& got, const Expected& e, const char* reader) {
    EXPECT_EQ(got.count("#order") ? got.at("#order") : "", e.order) << reader;
    for (const std::string& line : e.lines) {
        const std::string name = line.substr(0, line.find(' '));
        ASSERT_TRUE(got.count(name)) << reader << " has no " << name;
        EXPECT_EQ(got.at(name), line) << reader;
    }
}

}  // namespace

TEST(MatFileWriter, OctaveReadsEveryKindOfVariableWithItsClassShapeComplexityAndValues) {
    ScopedWorkDir dir;
    const Expected e = WriteEveryKind(Here("all.mat"));
    ExpectDescribes(corvane_test::ReadWithOctave(Here("all.mat")), e, "octave");
}

TEST(MatFileWriter, ScipyReadsEveryKindOfVariableWithItsClassShapeComplexityAndValues) {
    ScopedWorkDir dir;
    const Expected e = WriteEveryKind(Here("all.mat"));
    ExpectDescribes(corvane_test::ReadWithScipy(Here("all.mat")), e, "scipy");
}

TEST(MatFileWriter, EmptyComplexVectorsAreZeroByOneOfTheirClass) {
    ScopedWorkDir dir;
    {
        MatFileWriter w("e.mat");
        w.WriteVector("ec64", VecCplx64());
        w.WriteVector("ec32", VecCplx32());
        w.WriteVector("etext", "");
    }
    // Empty arrays carry no values, so the readers may drop the complex flag; class and shape stay.
    const std::string out = corvane_test::Python(R"(import scipy.io
for name, shape, cls in scipy.io.whosmat('e.mat'):
    print(name, shape, cls))");
    EXPECT_NE(out.find("ec64 (0, 1) double"), std::string::npos) << out;
    EXPECT_NE(out.find("ec32 (0, 1) single"), std::string::npos) << out;
    // scipy reports any empty text as (0,); Octave below shows the 0 by 0 of the file.
    EXPECT_NE(out.find("etext (0,"), std::string::npos) << out;
    EXPECT_NE(out.find(") char"), std::string::npos) << out;
    const std::string oct = corvane_test::Octave(R"(S = load('e.mat');
printf('%s %d %d|', class(S.ec64), size(S.ec64));
printf('%s %d %d|', class(S.ec32), size(S.ec32));
printf('%s %d %d|', class(S.etext), size(S.etext));)");
    EXPECT_EQ(oct, "double 0 1|single 0 1|char 0 0|");
}

TEST(MatFileWriter, WritingANameTwiceLeavesTheSecondValueOnce) {
    ScopedWorkDir dir;
    {
        MatFileWriter w("twice.mat");
        VecReal64 a(3), b(2);
        a.SetZero();
        b[0] = 7;
        b[1] = 8;
        w.WriteScalar("before", 1.0);
        w.WriteVector("x", a);
        w.WriteScalar("after", 2.0);
        w.WriteVector("x", b);
        w.WriteVector("t", "first");
        w.WriteVector("t", "second");
    }
    const MatDescription d = corvane_test::ReadWithScipy(Here("twice.mat"));
    EXPECT_EQ(d.at("#order"), "#order before after x t");
    EXPECT_EQ(d.at("x"), Describe("x", "double", 2, 1, false, {7, 8}, {}));
    EXPECT_EQ(d.at("t"), DescribeText("t", "second"));
    EXPECT_EQ(d.at("before"), Describe("before", "double", 1, 1, false, {1}, {}));
    const MatDescription o = corvane_test::ReadWithOctave(Here("twice.mat"));
    EXPECT_EQ(o.at("x"), Describe("x", "double", 2, 1, false, {7, 8}, {}));
}

TEST(MatFileWriter, WriterWithNoVariableLeavesAValidEmptyMatFile) {
    ScopedWorkDir dir;
    { MatFileWriter w("empty.mat"); }
    EXPECT_EQ(corvane_test::FileSize("empty.mat"), 128);  // the level-5 header alone
    EXPECT_EQ(corvane_test::Python("import scipy.io\nprint(len(scipy.io.whosmat('empty.mat')))"), "0\n");
    EXPECT_EQ(corvane_test::Octave("printf('%d', numel(whos('-file', 'empty.mat')));"), "0");
    MatFileReader r("empty.mat");  // our own reader accepts it too
}

TEST(MatFileWriter, VecInt16MinusOneReadsAs65535) {
    ScopedWorkDir dir;
    {
        MatFileWriter w("i16.mat");
        VecInt16 v(1);
        v[0] = -1;
        w.WriteVector("v", v);
    }
    EXPECT_EQ(corvane_test::Octave("S = load('i16.mat'); printf('%s %d', class(S.v), S.v);"), "uint16 65535");
}

TEST(MatFileWriter, ConstructionFailsWithOpeningErrorWhereNoFileCanBeMade) {
    ScopedWorkDir dir;
    EXPECT_EQ(ThrownCode([] { MatFileWriter w("no/such/dir/x.mat"); }), VELAErrorOpeningFile);
    const std::string ro = corvane_test::ReadOnlyDir() + "/x.mat";
    EXPECT_EQ(ThrownCode([&] { MatFileWriter w(ro.c_str()); }), VELAErrorOpeningFile);
    EXPECT_FALSE(Exists(ro));
    EXPECT_EQ(ThrownCode([] { MatFileWriter w(nullptr); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([] { MatFileWriter w(""); }), VELAErrorOpeningFile);
}

TEST(MatFileWriter, FullDeviceIsReportedFromTheDestructorAsClosingError) {
    auto write = [](int n) {
        MatFileWriter w("/dev/full");
        VecCplx32 v(n);
        v.SetZero();
        w.WriteVector("y", v);
    };
    for (int n : {0, 10, 200000}) {
        EXPECT_EQ(ThrownCode([&] { write(n); }), VELAErrorClosingFile) << n;
        EXPECT_EQ(corvane_test::ThrownMessage([&] { write(n); }), "error closing file");
    }
    // An empty file of 128 bytes does not fit either.
    EXPECT_EQ(ThrownCode([] { MatFileWriter w("/dev/full"); }), VELAErrorClosingFile);
    // A device that takes everything is a valid target.
    EXPECT_EQ(ThrownCode([&] {
                  MatFileWriter w("/dev/null");
                  w.WriteScalar("x", 1.0);
              }),
              VELAErrorNone);
}

TEST(MatFileWriter, FullDiskLeavesNoHalfWrittenFile) {
    ScopedWorkDir dir;
    // A file size limit makes every write beyond 64 KiB fail as on a full disk (SIGXFSZ ignored, so the
    // write reports EFBIG).
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    rlimit small = old;
    small.rlim_cur = 64 * 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const VELAErrorCodeTag code = ThrownCode([] {
        MatFileWriter w("big.mat");
        VecCplx64 v(100000);  // 1.6 MB
        v.SetZero();
        w.WriteVector("y", v);
    });
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(code, VELAErrorClosingFile);
    EXPECT_FALSE(Exists("big.mat"));
    // A file that fits is written whole under the same limit.
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const VELAErrorCodeTag fits = ThrownCode([] {
        MatFileWriter w("small.mat");
        w.WriteScalar("x", 3.0);
    });
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    EXPECT_EQ(fits, VELAErrorNone);
    EXPECT_TRUE(Exists("small.mat"));
}

TEST(MatFileWriter, NullNamesAndTextsAreInvalidInput) {
    ScopedWorkDir dir;
    MatFileWriter w("n.mat");
    EXPECT_EQ(ThrownCode([&] { w.WriteVector(nullptr, VecReal32(2)); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { w.WriteVector("t", static_cast<const char*>(nullptr)); }),
              VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { w.WriteScalar(nullptr, 1.0); }), VELAErrorInvalidInputParameter);
}

TEST(MatFileWriter, DestroyedWhileAnExceptionPassesItOnlyCleansUp) {
    ScopedWorkDir dir;
    // The destructor must not throw a second exception (that would end the program).
    EXPECT_THROW(
        {
            MatFileWriter w("/dev/full");
            throw std::runtime_error("first");
        },
        std::runtime_error);
}

TEST(MatFileWriter, TheTargetExistsEmptyFromConstructionAndIsCompleteAfterDestruction) {
    ScopedWorkDir dir;
    corvane_test::WriteBytes("old.mat", std::string(1000, 'x'));
    {
        MatFileWriter w("old.mat");
        EXPECT_EQ(corvane_test::FileSize("old.mat"), 0);
        w.WriteScalar("x", 1.0);
    }
    EXPECT_GT(corvane_test::FileSize("old.mat"), 128);
    EXPECT_EQ(corvane_test::ReadWithScipy(Here("old.mat")).at("x"),
              Describe("x", "double", 1, 1, false, {1}, {}));
}
