// FFT's timing entry points: throughput records for the self-test log, and an endless load.
#include <cstdio>
#include <cstdlib>

#include "FT.h"
#include "infra/UnitTestRecorder.h"
#include "infra/VELATimer.h"

namespace VELA {
namespace {

// Every record of UnitTimeTest points at this one text (the recorder keeps pointers, not copies).
char g_timeTestText[128];

// srand(123456), then the real and imaginary part of each point in turn from rand() / 32767.0.
void FillSeeded(VecCplx32& v) {
    std::srand(123456);
    for (int i = 0; i < v.GetSize(); ++i) {
        const float re = static_cast<float>(std::rand() / 32767.0);
        const float im = static_cast<float>(std::rand() / 32767.0);
        v[i] = Cplx32{re, im};
    }
}

int PowerOfTwo(int order) {
    int n = 1;
    for (int i = 0; i < order; ++i)
        n *= 2;
    return n;
}

}  // namespace

void FFT::UnitTimeTest(UnitTestRecorder& recorder, int count, int order) {
    if (order < 0 || order > 30) VELA_THROW(VELAErrorInvalidInputParameter);
    const int n = PowerOfTwo(order);
    VecCplx32 in(n), out(n);
    FillSeeded(in);
    VELATimer timer;
    FFT fft(order);
    timer.StartTimer();
    for (int i = 0; i < count; ++i)
        fft.Forward(out, in);
    const uint64_t cycles = timer.GetElapsedTimeInCycle();
    const double us = static_cast<double>(timer.ConvertTimeToUs(cycles)) / (count > 0 ? count : 1);
    std::snprintf(g_timeTestText, sizeof g_timeTestText, " Count=%d Size=%d, Elapsed=%.3f us/FFT", count, n,
                  us);
    recorder.AddTestRecord("FFT", g_timeTestText, true);
}

bool FFT::UnitTimeTest(UnitTestRecorder& recorder) {
    static const int kPlan[][2] = {{62500, 6}, {25000, 7}, {10000, 8}, {4000, 9}, {1600, 10}, {640, 11},
                                   {256, 12},  {102, 13},  {40, 14},   {16, 15},  {6, 16}};
    for (const auto& p : kPlan)
        UnitTimeTest(recorder, p[0], p[1]);
    for (int order = 17; order <= 24; ++order)
        UnitTimeTest(recorder, 2, order);
    return true;
}

void FFT::UnitLoopTest() {
    const int n = 0x1000000;
    VecCplx32 in(n), out(n);
    std::printf("Preparing FFT, Size=%d\n", n);
    FillSeeded(in);
    out.SetZero();
    FFT fft(24);
    std::printf("FFT infinite loop started.\n");
    std::printf("To stop the program, hit Control+C twice.\n");
    std::fflush(stdout);
    for (;;)
        fft.Forward(out, in);
}

}  // namespace VELA
