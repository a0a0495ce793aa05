// UnitTestRecorder: the record of a self-test run, behind every class's static UnitTest.
//
// A test host creates one recorder and calls the entry points it wants; each case arrives through
// AddTestRecord, is echoed to the console and appended to the log "VELAUnitTestRelease.log" in the
// current directory, and the host asks for a summary at the end.
//
// The log is opened and closed for every record, so it is complete up to the last case even if the
// process dies in the middle of a self-test. A log that cannot be opened ends the process with exit
// code 1: a self-test run without a log is worthless.
//
// Labels are stored as given and not copied: a test that composes a label must keep its text alive as
// long as the recorder. Not thread-safe; self-tests run one after the other.
#pragma once
#include "../math/VELAExport.h"

#include <cstdio>
#include <list>

namespace VELA {

// One test case.
struct VELA_API UTRG {
    const char* className;  // class under test
    const char* testName;   // label naming the behaviour
    bool passed;
};

class VELA_API UnitTestRecorder {
  public:
    // Empty list, counters zero, append option off, log file "VELAUnitTestRelease.log".
    UnitTestRecorder();
    UnitTestRecorder(const UnitTestRecorder&) = default;
    UnitTestRecorder& operator=(const UnitTestRecorder&) = default;
    virtual ~UnitTestRecorder() = default;

    // With true, the first record of the run appends to an existing log instead of starting a new one.
    void SetLogFileAppendOption(bool append);

    // Appends the case, echoes it (numbered from 0) to the console and the log, counts it; returns true.
    bool AddTestRecord(const char* className, const char* testName, bool passed);

    // Prints "#nnn. status:class :label" to the console and the log; before the first record of a run
    // also the header line with the time. Opens and closes the log.
    void DisplayRecord(int number, UTRG record);
    // Totals, to the console and the log.
    void DisplayBriefSummary();
    // Totals, the failed cases (if any) and the finishing time.
    void DisplaySummary();
    // The failed cases, each under the number it had when it was recorded.
    void DumpFailure();
    // Every record again, then DisplaySummary.
    void Dump();

    // Local time by strftime: "%H:%M:%S %p" into `time`, "%B %d %Y %z" into `date`, each at most
    // `length` bytes including the terminator.
    void GetTimeStamp(char* time, char* date, int length);

    // Cases recorded so far, and how many of them failed (for a host's exit status).
    int GetTotalTests() const { return totalTests; }
    int GetFailedTests() const { return failedTests; }

  private:
    // Opens the log with `mode`; on failure prints "\n Open Log file <name> Error!" and exits with 1.
    FILE* OpenLog(const char* mode) const;

    std::list<UTRG> records;  // in order of arrival
    int totalTests;
    int failedTests;
    bool appendLog;
    char logFileName[80];
};

}  // namespace VELA
