// UnitTestRecorder: the console and log texts byte for byte (time stamps masked, everything else
// exact), numbering, truncation and the append option, summaries, the failure list, Dump, and the
// process exit when the log cannot be opened.
#include <corvane/infra/UnitTestRecorder.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "support/TestUtil.h"

using namespace VELA;
using namespace corvane_test;

namespace {

const char kLog[] = "VELAUnitTestRelease.log";

// Time stamps as the recorder prints them: "%H:%M:%S %p" and "%B %d %Y %z" joined by ",  ", e.g.
// "13:05:09 PM,  November 22 2026 +0000". Matched by hand (std::regex trips a false
// maybe-uninitialized warning in GCC 12's headers under the sanitizer build).
bool Digits(const std::string& s, size_t& i, int n) {
    for (int k = 0; k < n; ++k, ++i)
        if (i >= s.size() || !std::isdigit(static_cast<unsigned char>(s[i]))) return false;
    return true;
}
bool Literal(const std::string& s, size_t& i, const char* text) {
    const size_t n = std::strlen(text);
    if (s.compare(i, n, text) != 0) return false;
    i += n;
    return true;
}
// "HH:MM:SS AM" or "... PM" at i; advances i past it.
bool MatchTime(const std::string& s, size_t& i) {
    return Digits(s, i, 2) && Literal(s, i, ":") && Digits(s, i, 2) && Literal(s, i, ":") &&
           Digits(s, i, 2) && Literal(s, i, " ") && (Literal(s, i, "AM") || Literal(s, i, "PM"));
}
// "Month DD YYYY +ZZZZ" at i; advances i past it.
bool MatchDate(const std::string& s, size_t& i) {
    if (i >= s.size() || !std::isupper(static_cast<unsigned char>(s[i]))) return false;
    ++i;
    while (i < s.size() && std::islower(static_cast<unsigned char>(s[i])))
        ++i;
    if (!(Literal(s, i, " ") && Digits(s, i, 2) && Literal(s, i, " ") && Digits(s, i, 4) &&
          Literal(s, i, " ")))
        return false;
    if (!(Literal(s, i, "+") || Literal(s, i, "-"))) return false;
    return Digits(s, i, 4);
}
bool MatchStamp(const std::string& s, size_t& i) {
    return MatchTime(s, i) && Literal(s, i, ",  ") && MatchDate(s, i);
}
bool Whole(bool (*match)(const std::string&, size_t&), const std::string& s) {
    size_t i = 0;
    return match(s, i) && i == s.size();
}

// Replaces every time stamp by <T>, so that the rest of a text can be compared exactly.
std::string Mask(const std::string& s) {
    std::string out;
    for (size_t i = 0; i < s.size();) {
        size_t j = i;
        if (MatchStamp(s, j)) {
            out += "<T>";
            i = j;
        } else {
            out += s[i++];
        }
    }
    return out;
}
bool HasStamp(const std::string& s) {
    return Mask(s) != s;
}

const char kHeader[] = "VELA UnitTest started at <T>";

void WriteFile(const std::string& name, const std::string& text) {
    std::ofstream f(name, std::ios::binary);
    f << text;
}

// Adds the three cases used throughout: pass, fail, pass.
void AddThree(UnitTestRecorder& r) {
    r.AddTestRecord("A", "one", true);
    r.AddTestRecord("A", "two", false);
    r.AddTestRecord("B", "three", true);
}

const char kThreeRecords[] =
    "\n#  0.   SUCCESS  :A :one"
    "\n#  1. **FAILURE**:A :two"
    "\n#  2.   SUCCESS  :B :three";

}  // namespace

// The masking helper itself: it replaces whole stamps and nothing else.
TEST(UnitTestRecorder, TestHelperMasksOnlyWholeTimeStamps) {
    EXPECT_EQ(Mask("at 13:05:09 PM,  November 22 2026 +0000."), "at <T>.");
    EXPECT_EQ(Mask("01:02:03 AM,  May 01 1999 -0130"), "<T>");
    EXPECT_EQ(Mask("13:05:09 PM, November 22 2026 +0000"), "13:05:09 PM, November 22 2026 +0000");
    EXPECT_EQ(Mask("13:05 PM,  November 22 2026 +0000"), "13:05 PM,  November 22 2026 +0000");
    EXPECT_FALSE(HasStamp("#  0.   SUCCESS  :A :one"));
}

TEST(UnitTestRecorder, FirstRecordPrintsHeaderAndNumberZero) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(r.AddTestRecord("VecReal32", "Max with window", true));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(HasStamp(out)) << out;
    EXPECT_EQ(Mask(out), std::string(kHeader) + "\n#  0.   SUCCESS  :VecReal32 :Max with window");
    // The log holds the same text, in the current directory under the default name.
    EXPECT_EQ(Mask(ReadFile(kLog)), Mask(out));
}

TEST(UnitTestRecorder, StatusTextsAndCounters) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    AddThree(r);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(Mask(out), std::string(kHeader) + kThreeRecords);
    EXPECT_EQ(Mask(ReadFile(kLog)), std::string(kHeader) + kThreeRecords);
    EXPECT_EQ(r.GetTotalTests(), 3);
    EXPECT_EQ(r.GetFailedTests(), 1);
}

TEST(UnitTestRecorder, NumbersUseAThreeDigitField) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    for (int i = 0; i < 1001; ++i)
        r.AddTestRecord("C", "x", true);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("\n#  9.   SUCCESS  :C :x\n# 10.   SUCCESS  :C :x"), std::string::npos);
    EXPECT_NE(out.find("\n# 99.   SUCCESS  :C :x\n#100.   SUCCESS  :C :x"), std::string::npos);
    // Beyond three digits the field simply grows.
    EXPECT_NE(out.find("\n#999.   SUCCESS  :C :x\n#1000.   SUCCESS  :C :x"), std::string::npos);
    // Only the first record carries the header.
    EXPECT_EQ(out.find("VELA UnitTest started"), 0u);
    EXPECT_EQ(out.find("VELA UnitTest started", 1), std::string::npos);
}

TEST(UnitTestRecorder, FirstRecordTruncatesAnEarlierLog) {
    ScopedWorkDir dir;
    WriteFile(kLog, "left from an earlier run\n");
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    r.AddTestRecord("A", "one", true);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Mask(ReadFile(kLog)), std::string(kHeader) + "\n#  0.   SUCCESS  :A :one");
}

TEST(UnitTestRecorder, AppendOptionKeepsTheEarlierLogAndStillWritesTheHeader) {
    ScopedWorkDir dir;
    WriteFile(kLog, "left from an earlier run\n");
    UnitTestRecorder r;
    r.SetLogFileAppendOption(true);
    testing::internal::CaptureStdout();
    r.AddTestRecord("A", "one", true);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(Mask(out), std::string(kHeader) + "\n#  0.   SUCCESS  :A :one");
    EXPECT_EQ(Mask(ReadFile(kLog)),
              std::string("left from an earlier run\n") + kHeader + "\n#  0.   SUCCESS  :A :one");
}

TEST(UnitTestRecorder, AppendOptionCanBeSwitchedOffAgain) {
    ScopedWorkDir dir;
    WriteFile(kLog, "old");
    UnitTestRecorder r;
    r.SetLogFileAppendOption(true);
    r.SetLogFileAppendOption(false);
    testing::internal::CaptureStdout();
    r.AddTestRecord("A", "one", true);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(ReadFile(kLog).find("old"), std::string::npos);
}

TEST(UnitTestRecorder, BriefSummaryAllPassed) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    r.AddTestRecord("A", "one", true);
    r.AddTestRecord("A", "two", true);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    r.DisplayBriefSummary();
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string expected = "\n================================\n Total Tests 2, ALL PASSED\n";
    EXPECT_EQ(out, expected);
    EXPECT_EQ(Mask(ReadFile(kLog)),
              std::string(kHeader) + "\n#  0.   SUCCESS  :A :one\n#  1.   SUCCESS  :A :two" + expected);
}

TEST(UnitTestRecorder, BriefSummaryWithFailures) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    AddThree(r);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    r.DisplayBriefSummary();
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string expected = "\n===============================\n 1 out of Tests 3 FAILED\n";
    EXPECT_EQ(out, expected);
    EXPECT_EQ(Mask(ReadFile(kLog)), std::string(kHeader) + kThreeRecords + expected);
}

TEST(UnitTestRecorder, SummaryAllPassedHasTotalAndNoFailureList) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    r.AddTestRecord("A", "one", true);
    r.AddTestRecord("A", "two", true);
    r.AddTestRecord("B", "three", true);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    r.DisplaySummary();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(HasStamp(out));
    EXPECT_EQ(Mask(out),
              "\n================================\n Total Tests 3, ALL PASSED\n \n Finished at <T>\n\n");
    // The log's finishing line has no leading blank.
    EXPECT_EQ(Mask(ReadFile(kLog)),
              std::string(kHeader) +
                  "\n#  0.   SUCCESS  :A :one\n#  1.   SUCCESS  :A :two\n#  2.   SUCCESS  :B :three"
                  "\n================================\n Total Tests 3, ALL PASSED\n"
                  "\n Finished at <T>\n\n");
}

TEST(UnitTestRecorder, SummaryOneFailedOfThreeListsItUnderItsFirstNumber) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    AddThree(r);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    r.DisplaySummary();
    // Read before anything flushes the streams: DumpFailure's last stream is never closed, so its two
    // line feeds are not in the file yet (collecting the captured output flushes every stream).
    const std::string log = ReadFile(kLog);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(Mask(out),
              "\n===============================\n 1 out of Tests 3 FAILED\n"
              "\nFailure Test cases----------------------"
              "\n#  1. **FAILURE**:A :two"
              "\n\n"
              " \n Finished at <T>\n\n");
    EXPECT_EQ(Mask(log), std::string(kHeader) + kThreeRecords +
                             "\n===============================\n 1 out of Tests 3 FAILED\n"
                             "\nFailure Test cases----------------------"
                             "\n#  1. **FAILURE**:A :two"
                             "\n Finished at <T>\n\n");
}

TEST(UnitTestRecorder, FailureListKeepsEachCaseNumber) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    r.AddTestRecord("A", "p0", true);
    r.AddTestRecord("A", "f1", false);
    r.AddTestRecord("A", "p2", true);
    r.AddTestRecord("B", "f3", false);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    r.DumpFailure();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(
        out,
        "\nFailure Test cases----------------------\n#  1. **FAILURE**:A :f1\n#  3. **FAILURE**:B :f3\n\n");
}

// The unclosed stream of DumpFailure reaches the log when the process ends. Checked in a forked child
// (the default death-test style, so it shares the working directory) that ends normally, after which
// the parent reads the log.
TEST(UnitTestRecorder, FailureListTrailingLineFeedsReachTheLogAtExit) {
    ScopedWorkDir dir;
    std::fflush(nullptr);  // nothing of ours is left in a buffer for the child to write again
    EXPECT_EXIT(
        {
            std::freopen("/dev/null", "w", stdout);
            UnitTestRecorder r;
            AddThree(r);
            r.DisplaySummary();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(Mask(ReadFile(kLog)), std::string(kHeader) + kThreeRecords +
                                        "\n===============================\n 1 out of Tests 3 FAILED\n"
                                        "\nFailure Test cases----------------------"
                                        "\n#  1. **FAILURE**:A :two"
                                        "\n Finished at <T>\n\n"
                                        "\n\n");
}

TEST(UnitTestRecorder, DumpOnAnEmptyRecorder) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    r.Dump();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(Mask(out),
              "\n\n---------Unit Test Result Dump----------------------"
              "\n================================\n Total Tests 0, ALL PASSED\n"
              " \n Finished at <T>\n\n");
    // The banner goes to the console only; no record, so no header either.
    EXPECT_EQ(Mask(ReadFile(kLog)),
              "\n================================\n Total Tests 0, ALL PASSED\n\n Finished at <T>\n\n");
}

TEST(UnitTestRecorder, DumpRepeatsEveryRecordInConsoleAndLog) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    r.AddTestRecord("A", "one", true);
    r.AddTestRecord("B", "two", true);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    r.Dump();
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string records = "\n#  0.   SUCCESS  :A :one\n#  1.   SUCCESS  :B :two";
    const std::string summary = "\n================================\n Total Tests 2, ALL PASSED\n";
    EXPECT_EQ(Mask(out), "\n\n---------Unit Test Result Dump----------------------" + records + summary +
                             " \n Finished at <T>\n\n");
    EXPECT_EQ(Mask(ReadFile(kLog)), kHeader + records + records + summary + "\n Finished at <T>\n\n");
}

TEST(UnitTestRecorder, LabelsAreStoredNotCopied) {
    ScopedWorkDir dir;
    char label[16] = "before";
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    r.AddTestRecord("A", label, false);
    std::strcpy(label, "after");
    r.DumpFailure();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("\n#  0. **FAILURE**:A :after"), std::string::npos) << out;
}

TEST(UnitTestRecorder, CopyCarriesListCountersAndOptions) {
    ScopedWorkDir dir;
    UnitTestRecorder r;
    testing::internal::CaptureStdout();
    AddThree(r);
    UnitTestRecorder copy(r);
    copy.AddTestRecord("C", "four", false);
    UnitTestRecorder assigned;
    assigned = copy;
    assigned.DumpFailure();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(copy.GetTotalTests(), 4);
    EXPECT_EQ(copy.GetFailedTests(), 2);
    EXPECT_EQ(r.GetTotalTests(), 3);
    // The copy goes on numbering from where the original was, appending to the same log.
    EXPECT_NE(out.find("\n#  3. **FAILURE**:C :four\nFailure Test cases"), std::string::npos) << out;
    EXPECT_NE(out.find("\n#  1. **FAILURE**:A :two\n#  3. **FAILURE**:C :four\n\n"), std::string::npos)
        << out;
    EXPECT_EQ(Mask(ReadFile(kLog)).find(std::string(kHeader) + kThreeRecords + "\n#  3. **FAILURE**:C :four"),
              0u);
}

TEST(UnitTestRecorder, TimeStampFormats) {
    UnitTestRecorder r;
    char time[80], date[80];
    r.GetTimeStamp(time, date, 80);
    EXPECT_TRUE(Whole(MatchTime, time)) << time;
    EXPECT_TRUE(Whole(MatchDate, date)) << date;
    // A buffer too short for the text is never overrun.
    char shortTime[6] = "xxxxx", shortDate[6] = "xxxxx";
    r.GetTimeStamp(shortTime, shortDate, 6);
    EXPECT_LT(std::strlen(shortTime), 6u);
    EXPECT_LT(std::strlen(shortDate), 6u);
}

TEST(UnitTestRecorder, UnopenableLogEndsTheProcessWithCode1) {
    ScopedWorkDir dir;
    // A directory under the log's name cannot be opened as a file.
    ASSERT_EQ(mkdir(kLog, 0755), 0);
    std::fflush(nullptr);  // nothing of ours is left in a buffer for the child to write again
    EXPECT_EXIT(
        {
            std::freopen("console.txt", "w", stdout);
            UnitTestRecorder r;
            r.AddTestRecord("A", "one", true);
            std::fprintf(stderr, "not reached");
        },
        testing::ExitedWithCode(1), "");
    EXPECT_EQ(ReadFile("console.txt"), "\n Open Log file VELAUnitTestRelease.log Error!");
}

TEST(UnitTestRecorder, UnopenableLogInASummaryEndsTheProcessWithCode1) {
    ScopedWorkDir dir;
    ASSERT_EQ(mkdir(kLog, 0755), 0);
    std::fflush(nullptr);  // nothing of ours is left in a buffer for the child to write again
    EXPECT_EXIT(
        {
            std::freopen("console.txt", "w", stdout);
            UnitTestRecorder r;
            r.DisplayBriefSummary();
        },
        testing::ExitedWithCode(1), "");
    EXPECT_EQ(ReadFile("console.txt"), "\n Open Log file VELAUnitTestRelease.log Error!");
}
