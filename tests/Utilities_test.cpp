// Utilities: absolute paths relative to the running program (the test binary, through /proc/self/exe,
// resolved here independently with std::filesystem), with both separators, climbing "..", the quirk of
// mixed separators, and the forms that are already absolute; the time stamp's text.
#include <corvane/infra/Utilities.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>

#include "support/TestUtil.h"

using namespace VELA;
namespace fs = std::filesystem;

namespace {

// The result of GetAbsolutePath as a string, released as the interface asks.
std::string Abs(const char* path) {
    char* p = Utilities::GetAbsolutePath(path);
    EXPECT_NE(p, nullptr);
    std::string s = p ? p : "";
    std::free(p);
    return s;
}

// The parent of the directory that holds this test program.
fs::path Base() {
    return fs::read_symlink("/proc/self/exe").parent_path().parent_path();
}

}  // namespace

TEST(Utilities, AbsolutePathsComeBackUnchanged) {
    EXPECT_EQ(Abs("/x"), "/x");
    EXPECT_EQ(Abs("/a/b/../c"), "/a/b/../c");
    EXPECT_EQ(Abs("\\x"), "\\x");
    EXPECT_EQ(Abs("\\\\server\\x"), "\\\\server\\x");
    EXPECT_EQ(Abs("C:\\x"), "C:\\x");
}

TEST(Utilities, RelativePathIsTakenFromTheParentOfTheProgramsDirectory) {
    EXPECT_EQ(Abs("x"), (Base() / "x").string());
    EXPECT_EQ(Abs("a/b"), (Base() / "a" / "b").string());
    EXPECT_EQ(Abs("a\\b"), (Base() / "a" / "b").string());
    EXPECT_EQ(Abs(""), Base().string() + "/");
}

TEST(Utilities, EachLeadingDotDotClimbsOneLevelMore) {
    EXPECT_EQ(Abs("..\\..\\test\\unit\\testdata\\x.txt"),
              (Base().parent_path().parent_path() / "test/unit/testdata/x.txt").string());
    EXPECT_EQ(Abs("../y/z"), (Base().parent_path() / "y/z").string());
    EXPECT_EQ(Abs("..\\y"), (Base().parent_path() / "y").string());
    // Only leading steps climb; ".." later in the path is kept as text.
    EXPECT_EQ(Abs("a/../b"), (Base() / "a/../b").string());
}

TEST(Utilities, MixedSeparatorsDropUpToTheFirstBackslash) {
    // "../d\e": the step ends at the first backslash anywhere, so "d" goes with it.
    EXPECT_EQ(Abs("../d\\e"), (Base().parent_path() / "e").string());
}

TEST(Utilities, ClimbingAboveTheRootStopsAtTheRoot) {
    std::string deep;
    for (int i = 0; i < 60; ++i)
        deep += "../";
    EXPECT_EQ(Abs((deep + "x").c_str()), "/x");
}

TEST(Utilities, NullPathIsTakenAsEmpty) {
    EXPECT_EQ(Abs(nullptr), Base().string() + "/");
}

TEST(Utilities, TimeStampOfNullStreamDoesNothing) {
    testing::internal::CaptureStdout();
    Utilities::TimeStamp(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Utilities, TimeStampWritesTheLocalTimeAsADateLineAndALineWithOneBlank) {
    corvane_test::ScopedWorkDir dir;
    const std::time_t before = std::time(nullptr);
    FILE* f = std::fopen("stamp.txt", "w");
    ASSERT_NE(f, nullptr);
    Utilities::TimeStamp(f);
    std::fclose(f);
    const std::time_t after = std::time(nullptr);
    const std::string text = corvane_test::ReadFile("stamp.txt");
    EXPECT_TRUE(std::regex_match(
        text,
        std::regex(R"([A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\n \n)")))
        << text;
    // The stamp is one of the seconds the call spanned, in local time.
    bool matches = false;
    for (std::time_t t = before; t <= after; ++t) {
        char expected[64];
        std::tm local;
        localtime_r(&t, &local);
        std::strftime(expected, sizeof expected, "%a %b %e %H:%M:%S %Y\n \n", &local);
        matches = matches || text == expected;
    }
    EXPECT_TRUE(matches) << text;
}
