// Self-test of VELATimer.
#include <cstdio>

#include "VELATimer.h"
#include "UnitTestRecorder.h"
#include "dsp/FT.h"

namespace VELA {
namespace {
// The recorder keeps a pointer to its label, so the text outlives this call.
char g_timerText[128];
}  // namespace

bool VELATimer::UnitTest(UnitTestRecorder& recorder) {
    const int n = 1024;
    VecCplx32 in(n), out(n);
    for (int i = 0; i < n; ++i)
        in[i] = Cplx32{static_cast<float>(i % 17), static_cast<float>(i % 5)};
    FT ft;
    ft.Forward(out, in);  // plan outside the measured loop
    VELATimer timer;
    timer.StartTimer();
    for (int i = 0; i < 100; ++i)
        ft.Forward(out, in);
    const uint64_t perTransform = timer.GetElapsedTimeInCycle() / 100;
    std::snprintf(g_timerText, sizeof g_timerText, "%dK FFT %d cycles or %.3f in us", 1,
                  static_cast<int>(perTransform), static_cast<double>(timer.ConvertTimeToUs(perTransform)));
    recorder.AddTestRecord("VELATimer", g_timerText, true);
    return true;
}

}  // namespace VELA
