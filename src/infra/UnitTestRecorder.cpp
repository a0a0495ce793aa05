#include "UnitTestRecorder.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace VELA {
namespace {

const char kDefaultLogFileName[] = "VELAUnitTestRelease.log";

// The same text to the console and to the log.
[[gnu::format(printf, 2, 3)]] void WriteBoth(FILE* log, const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    std::vprintf(format, args);
    std::vfprintf(log, format, copy);
    va_end(copy);
    va_end(args);
}

}  // namespace

UnitTestRecorder::UnitTestRecorder() : totalTests(0), failedTests(0), appendLog(false), logFileName{} {
    std::strcpy(logFileName, kDefaultLogFileName);
}

void UnitTestRecorder::SetLogFileAppendOption(bool append) {
    appendLog = append;
}

FILE* UnitTestRecorder::OpenLog(const char* mode) const {
    FILE* log = std::fopen(logFileName, mode);
    if (!log) {
        std::printf("\n Open Log file %s Error!", logFileName);
        std::exit(1);
    }
    return log;
}

bool UnitTestRecorder::AddTestRecord(const char* className, const char* testName, bool passed) {
    const UTRG record{className, testName, passed};
    records.push_back(record);
    DisplayRecord(totalTests, record);
    if (!passed) ++failedTests;
    ++totalTests;
    return true;
}

void UnitTestRecorder::DisplayRecord(int number, UTRG record) {
    // The first record of a run starts a new log unless the caller asked to append.
    FILE* log = OpenLog(totalTests != 0 || appendLog ? "a" : "w");
    if (totalTests == 0) {
        char time[80];
        char date[80];
        GetTimeStamp(time, date, 80);
        WriteBoth(log, "VELA UnitTest started at %s,  %s", time, date);
    }
    // Both status texts are 11 characters wide so that the columns line up.
    WriteBoth(log, "\n#%3d. %s:%s :%s", number, record.passed ? "  SUCCESS  " : "**FAILURE**",
              record.className, record.testName);
    std::fclose(log);
}

void UnitTestRecorder::DisplayBriefSummary() {
    FILE* log = OpenLog("a");
    if (failedTests != 0) {
        WriteBoth(log, "\n===============================");
        WriteBoth(log, "\n %d out of Tests %d FAILED\n", failedTests, totalTests);
    } else {
        WriteBoth(log, "\n================================");
        WriteBoth(log, "\n Total Tests %d, ALL PASSED\n", totalTests);
    }
    std::fclose(log);
}

void UnitTestRecorder::DisplaySummary() {
    DisplayBriefSummary();
    if (failedTests != 0) DumpFailure();
    FILE* log = OpenLog("a");
    char time[80];
    char date[80];
    GetTimeStamp(time, date, 80);
    std::printf(" \n Finished at %s,  %s\n\n", time, date);
    std::fprintf(log, "\n Finished at %s,  %s\n\n", time, date);
    std::fclose(log);
}

void UnitTestRecorder::DumpFailure() {
    FILE* log = OpenLog("a");
    WriteBoth(log, "\nFailure Test cases----------------------");
    std::fclose(log);
    int index = 0;
    for (const UTRG& record : records) {
        if (!record.passed) DisplayRecord(index, record);
        ++index;
    }
    // This stream is deliberately left open: its two line feeds reach the log when the streams are
    // flushed at process end, after anything written in between by other opens of the log.
    log = OpenLog("a");
    WriteBoth(log, "\n\n");
}

void UnitTestRecorder::Dump() {
    std::printf("\n\n---------Unit Test Result Dump----------------------");
    int index = 0;
    for (const UTRG& record : records)
        DisplayRecord(index++, record);
    DisplaySummary();
}

void UnitTestRecorder::GetTimeStamp(char* time, char* date, int length) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const size_t n = length > 0 ? static_cast<size_t>(length) : 0;
    if (n == 0) return;
    if (std::strftime(time, n, "%H:%M:%S %p", &local) == 0) time[0] = '\0';
    if (std::strftime(date, n, "%B %d %Y %z", &local) == 0) date[0] = '\0';
}

}  // namespace VELA
