#include "kernel/CpuClock.h"

#include <time.h>

#include <cmath>
#include <cstdint>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#define CORVANE_HAVE_TSC 1
#endif

namespace VELA::kern {
namespace {

int64_t MonotonicNs() noexcept {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

#if CORVANE_HAVE_TSC
// A counter reading and the monotonic time it was taken at. Of a few attempts, the one with the
// narrowest pair of clock reads around the counter read wins, so that a preemption in between does
// not skew the rate.
void Sample(uint64_t& clocks, int64_t& ns) noexcept {
    int64_t best = INT64_MAX;
    for (int i = 0; i < 8; ++i) {
        const int64_t before = MonotonicNs();
        const uint64_t c = __rdtsc();
        const int64_t after = MonotonicNs();
        if (after - before < best) {
            best = after - before;
            clocks = c;
            ns = before + (after - before) / 2;
        }
    }
}

int Measure() noexcept {
    uint64_t c0 = 0, c1 = 0;
    int64_t t0 = 0, t1 = 0;
    Sample(c0, t0);
    // Sleeping is fine: the counter runs at a constant rate while the core idles.
    timespec wait{0, 20000000};
    while (nanosleep(&wait, &wait) != 0) {
    }
    Sample(c1, t1);
    const double mhz = static_cast<double>(c1 - c0) * 1e3 / static_cast<double>(t1 - t0);
    const long rounded = std::lround(mhz);
    return rounded < 1 ? 1 : rounded > INT32_MAX ? INT32_MAX : static_cast<int>(rounded);
}
#endif

}  // namespace

uint64_t CpuClocks() noexcept {
#if CORVANE_HAVE_TSC
    return __rdtsc();
#else
    return static_cast<uint64_t>(MonotonicNs());
#endif
}

int CpuFreqMhz() noexcept {
#if CORVANE_HAVE_TSC
    static const int mhz = Measure();
    return mhz;
#else
    return 1000;  // the fallback counter counts nanoseconds
#endif
}

}  // namespace VELA::kern
