// The processor's cycle counter and its rate, for the cycle timer.
#pragma once
#include <cstdint>

namespace VELA::kern {

// A free-running 64-bit cycle count: the time-stamp counter on x86 (invariant on every processor this
// library targets, so it ticks at a constant rate whatever the core's clock does), nanoseconds of the
// monotonic clock elsewhere.
uint64_t CpuClocks() noexcept;

// The rate of CpuClocks in whole megahertz, measured once per process (against the monotonic clock,
// over about 20 ms, on first use) and the same for every later call. At least 1.
int CpuFreqMhz() noexcept;

}  // namespace VELA::kern
