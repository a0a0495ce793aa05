// VELATimer: arithmetic of the counts and conversions, and the formats of its own and FFT's timing
// records. No timing figure is asserted: only relations that hold on any machine.
#include <corvane/dsp/FT.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/infra/VELATimer.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cmath>
#include <cstdlib>
#include <regex>
#include <string>

#include "kernel/CpuClock.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::ReadFile;
using corvane_test::ScopedWorkDir;

namespace {
// Lets the counter run on by at least `cycles`. A count shorter than the read overhead would wrap
// (the overhead is taken off unsigned), so the tests below measure stretches far above it: about
// 10 ms, more than even a preempted calibration could make the overhead.
void Spin(uint64_t cycles) {
    const uint64_t t0 = kern::CpuClocks();
    while (kern::CpuClocks() - t0 < cycles) {
    }
}
}  // namespace

TEST(VELATimer, ClockRateIsMeasuredOnceInWholeMegahertz) {
    VELATimer a, b;
    const float f = a.GetCPUFreq();
    EXPECT_GE(f, 1.0f);
    EXPECT_EQ(f, std::floor(f));
    EXPECT_EQ(b.GetCPUFreq(), f);
    EXPECT_EQ(static_cast<float>(kern::CpuFreqMhz()), f);
}

TEST(VELATimer, OneMegahertzWorthOfCyclesIsOneMicrosecond) {
    VELATimer t;
    const uint64_t mhz = static_cast<uint64_t>(t.GetCPUFreq());
    EXPECT_EQ(t.ConvertTimeToUs(mhz), 1.0f);
    EXPECT_EQ(t.ConvertTimeToUs(mhz * 250), 250.0f);
    EXPECT_EQ(t.ConvertTimeToUs(0), 0.0f);
    // Counts are read as signed: a count that wrapped below zero converts to a negative time.
    EXPECT_EQ(t.ConvertTimeToUs(static_cast<uint64_t>(-static_cast<int64_t>(mhz))), -1.0f);
}

TEST(VELATimer, SuccessiveQueriesFromOneStartIncrease) {
    VELATimer t;
    t.StartTimer();
    Spin(50000000);
    const uint64_t first = t.GetElapsedTimeInCycle();
    const uint64_t second = t.GetElapsedTimeInCycle();
    const uint64_t third = t.GetElapsedTimeInCycle();
    EXPECT_LT(first, second);
    EXPECT_LT(second, third);
    const float us1 = t.GetElapsedTimeInUs();
    const float us2 = t.GetElapsedTimeInUs();
    EXPECT_LE(us1, us2);
}

TEST(VELATimer, StartReturnsTheLow32BitsOfTheCounter) {
    VELATimer t;
    const uint64_t before = kern::CpuClocks();
    const int low = t.StartTimer();
    const uint64_t after = kern::CpuClocks();
    // The counter did not move by 2^32 between the reads, so the low word lies between theirs
    // (modulo 2^32).
    const uint32_t l = static_cast<uint32_t>(low);
    EXPECT_LE(static_cast<uint32_t>(l - static_cast<uint32_t>(before)),
              static_cast<uint32_t>(static_cast<uint32_t>(after) - static_cast<uint32_t>(before)));
}

TEST(VELATimer, ElapsedCountsFromTheStartMinusTheOverhead) {
    // A copy carries the start along, so both measure the same stretch from one start.
    VELATimer t;
    const uint64_t c0 = kern::CpuClocks();
    t.StartTimer();
    Spin(50000000);
    VELATimer copy(t);
    const uint64_t e = copy.GetElapsedTimeInCycle();
    const uint64_t c1 = kern::CpuClocks();
    EXPECT_LE(e, c1 - c0);
    VELATimer assigned;
    assigned = t;
    EXPECT_GE(assigned.GetElapsedTimeInCycle(), e);
}

TEST(VELATimer, SelfTestRecordsTheFormattedFigure) {
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(VELATimer::UnitTest(recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
    EXPECT_TRUE(std::regex_search(
        out, std::regex("SUCCESS  :VELATimer :1K FFT [0-9]+ cycles or [0-9]+\\.[0-9]{3} in us")))
        << out;
    EXPECT_NE(ReadFile("VELAUnitTestRelease.log").find(":VELATimer :1K FFT "), std::string::npos);
}

// ---------------------------------------------------------------- FFT's timing entry points

TEST(FFTTiming, UnitTimeTestRecordsCountSizeAndMicroseconds) {
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    FFT::UnitTimeTest(recorder, 50, 8);
    FFT::UnitTimeTest(recorder, 3, 11);
    recorder.DumpFailure();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 2);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
    EXPECT_TRUE(std::regex_search(
        out, std::regex("SUCCESS  :FFT : Count=50 Size=256, Elapsed=[0-9]+\\.[0-9]{3} us/FFT")))
        << out;
    EXPECT_TRUE(std::regex_search(
        out, std::regex("SUCCESS  :FFT : Count=3 Size=2048, Elapsed=[0-9]+\\.[0-9]{3} us/FFT")))
        << out;
}

TEST(FFTTiming, RecordsShareOneTextSoAListingShowsTheLast) {
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    FFT::UnitTimeTest(recorder, 4, 6);
    FFT::UnitTimeTest(recorder, 2, 7);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    recorder.Dump();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.find("Count=4 Size=64"), std::string::npos) << out;
    size_t n = 0;
    for (size_t at = out.find("Count=2 Size=128"); at != std::string::npos;
         at = out.find("Count=2 Size=128", at + 1))
        ++n;
    EXPECT_EQ(n, 2u) << out;
}

// The whole table: transforms of 2^6 to 2^24 points. Large (about 400 MB) and slow (minutes, mostly
// planning the big transforms), so it runs only when CORVANE_LONG_TESTS is set in the environment.
TEST(FFTTiming, FullTableCoversOrders6To24) {
    if (!std::getenv("CORVANE_LONG_TESTS")) GTEST_SKIP() << "set CORVANE_LONG_TESTS=1 to run";
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(FFT::UnitTimeTest(recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 19);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
    EXPECT_NE(out.find("Count=62500 Size=64,"), std::string::npos);
    EXPECT_NE(out.find("Count=2 Size=16777216,"), std::string::npos);
}

// The load generator never returns. It runs in a child with its output in a file; once the file shows
// the loop running, the child is stopped with a signal (the planning of 2^24 points before the loop
// may take a while on a loaded machine, so that wait is long but bounded).
TEST(FFTTiming, LoopTestAnnouncesItselfAndRunsUntilStopped) {
    // Planning the 2^24-point transform (FFTW_MEASURE) takes minutes here, so this runs on request.
    if (!std::getenv("CORVANE_LONG_TESTS")) GTEST_SKIP() << "set CORVANE_LONG_TESTS=1 to run";
    ScopedWorkDir dir;
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (!std::freopen("console.txt", "w", stdout)) _exit(3);
        FFT::UnitLoopTest();
    }
    const std::string announced =
        "Preparing FFT, Size=16777216\nFFT infinite loop started.\nTo stop the program, hit Control+C "
        "twice.\n";
    bool seen = false;
    int status = 0;
    bool ended = false;
    for (int waited = 0; waited < 6000 && !seen; ++waited) {
        seen = ReadFile("console.txt") == announced;
        if (waitpid(child, &status, WNOHANG) == child) {
            ended = true;
            break;
        }
        if (!seen) usleep(100000);
    }
    EXPECT_TRUE(seen) << ReadFile("console.txt");
    EXPECT_FALSE(ended) << "the loop returned or died, status " << status;
    if (!ended) {
        usleep(200000);
        EXPECT_EQ(waitpid(child, &status, WNOHANG), 0) << "the loop ended by itself";
        kill(child, SIGTERM);
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    }
}
