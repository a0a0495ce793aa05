// VELATimer: a stopwatch in processor clock cycles.
//
// The counter is the processor's time-stamp counter; its rate, in whole megahertz, is measured once
// per process (about 20 ms on the first timer constructed) and converts cycles to microseconds. The
// mean cost of one counter read, measured at construction from ten pairs of reads, is taken off every
// elapsed count.
//
// There is no running or stopped state: StartTimer records the counter, and each elapsed query
// measures from that same start, as often as it is asked. A query before any StartTimer measures
// from the last read of the construction.
//
// Copies carry the calibration and a running measurement along. A timer belongs to one thread (the
// counters of different processors need not agree).
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

namespace VELA {

class UnitTestRecorder;

class VELA_API VELATimer {
  public:
    // Measures the read overhead, then takes the clock rate.
    VELATimer();
    VELATimer(const VELATimer&) = default;
    VELATimer& operator=(const VELATimer&) = default;
    virtual ~VELATimer() = default;

    // Records the counter as the start; returns its low 32 bits as a signed number.
    int StartTimer();
    // Counter now, minus the start, minus the read overhead (wrapping modulo 2^64: a count below the
    // overhead comes out huge).
    uint64_t GetElapsedTimeInCycle();
    // The same count, read as signed, in microseconds.
    float GetElapsedTimeInUs();
    // `cycles`, read as signed, in microseconds at this timer's clock rate.
    float ConvertTimeToUs(uint64_t cycles);
    // The clock rate in whole megahertz, as a float.
    float GetCPUFreq();

    // Records one case: 100 transforms of 1024 points timed, as "1K FFT <cycles> cycles or <us> in us".
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    // Mean of ten differences between two successive StartTimer results (sign-extended from 32 bits;
    // a wrap of the low 32 bits between the two reads goes into the mean as it falls).
    uint64_t MeasOverhead();

    uint64_t overhead = 0;
    uint64_t startTime = 0;
    uint64_t stopTime = 0;
    uint64_t cpuFreqMHz = 0;
};

}  // namespace VELA
