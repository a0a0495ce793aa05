// Self-test of DecimationFilter: the 27-tap half-band in two stages, its lengths and a ramp through
// it.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "DecimationFilter.h"

namespace VELA {

bool DecimationFilter::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "DecimationFilter";
    const float odd[7] = {0.31062388f,  -0.08499213f,    0.033999402f,   -0.012833981f,
                          0.003986688f, -0.00089236535f, 0.000108955915f};
    VecReal32 taps(27);
    taps.SetZero();
    taps[13] = 0.5f;
    for (int j = 0; j < 7; ++j)
        taps[13 - 1 - 2 * j] = taps[13 + 1 + 2 * j] = odd[j];

    DecimationFilter d(2, taps);
    recorder.AddTestRecord(cls, "Charge time", d.GetFilterChargeTime() == 78);
    recorder.AddTestRecord(cls, "Required input", d.GetRequiredInputLength(10) == 118);

    VecReal32 ramp(118), out;
    for (int i = 0; i < 118; ++i)
        ramp[i] = static_cast<float>(i);
    d.Apply(out, ramp);
    recorder.AddTestRecord(cls, "Ramp", out.GetSize() == 10 && std::fabs(out[9] - 75.00013733) <= 1e-4);

    d.Flush();
    VecReal32 shortIn(20);
    shortIn.SetZero();
    d.Apply(out, shortIn);
    recorder.AddTestRecord(cls, "Too short", out.GetSize() == 0);
    return true;
}

}  // namespace VELA
