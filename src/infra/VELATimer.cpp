#include "VELATimer.h"

#include "kernel/CpuClock.h"

namespace VELA {

VELATimer::VELATimer() {
    overhead = MeasOverhead();
    cpuFreqMHz = static_cast<uint64_t>(GetCPUFreq());
}

int VELATimer::StartTimer() {
    startTime = kern::CpuClocks();
    return static_cast<int32_t>(static_cast<uint32_t>(startTime));
}

uint64_t VELATimer::GetElapsedTimeInCycle() {
    stopTime = kern::CpuClocks();
    return stopTime - startTime - overhead;
}

float VELATimer::GetElapsedTimeInUs() {
    const uint64_t cycles = GetElapsedTimeInCycle();
    return static_cast<float>(static_cast<double>(static_cast<int64_t>(cycles)) /
                              static_cast<double>(cpuFreqMHz));
}

float VELATimer::ConvertTimeToUs(uint64_t cycles) {
    return static_cast<float>(static_cast<double>(static_cast<int64_t>(cycles)) /
                              static_cast<double>(cpuFreqMHz));
}

float VELATimer::GetCPUFreq() {
    return static_cast<float>(kern::CpuFreqMhz());
}

uint64_t VELATimer::MeasOverhead() {
    int64_t sum = 0;
    for (int i = 0; i < 10; ++i) {
        const int64_t a = StartTimer();
        const int64_t b = StartTimer();
        sum += b - a;
    }
    return static_cast<uint64_t>(sum / 10);
}

}  // namespace VELA
