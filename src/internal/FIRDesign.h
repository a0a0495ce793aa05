// Helpers shared by the tap designs of the filter family (FIRBaseFilter and its kinds).
#pragma once

#include <climits>
#include <cmath>

#include "../dsp/DSPUtils.h"
#include "../math/VELAError.h"

namespace VELA::internal {

// The time axis of a design: `taps` times from dt (taps - 1) * -0.5 in steps of dt, centred on 0.
inline void DesignAxis(VecReal32& t, int taps, float dt) {
    DSPUtils::Ramp(t, taps, dt * static_cast<float>(taps - 1) * -0.5f, dt);
}

// x truncated to an int with its lowest bit set: the odd tap counts the kinds recommend. A value that
// is not a number or does not fit an int is "invalid input parameter".
inline int OddTapCount(double x) {
    if (!(x > static_cast<double>(INT_MIN) && x < static_cast<double>(INT_MAX)))
        VELA_THROW(VELAErrorInvalidInputParameter);
    return static_cast<int>(x) | 1;
}

// A rolloff (or bandwidth-time product) below the float 0.001 is taken as 0.001, so that the
// recommended length stays finite.
inline double RolloffFloor(float rolloff) {
    const double floor = 0.0010000000474974513;
    return rolloff < floor ? floor : static_cast<double>(rolloff);
}

// The longest filter a design makes: 2^24 taps. Longer requests are refused rather than spending
// gigabytes and minutes on a filter no measurement could run.
inline constexpr int kMaxDesignTaps = 1 << 24;

// Arguments a design refuses with "invalid input parameter": a negative tap count or one above
// kMaxDesignTaps, or a parameter that is not a number. (A rate of 0 is not refused: it divides by zero
// and shows in the taps.)
inline void CheckDesign(int taps, float a, float b = 0.0f, float c = 0.0f) {
    if (taps < 0 || taps > kMaxDesignTaps || std::isnan(a) || std::isnan(b) || std::isnan(c))
        VELA_THROW(VELAErrorInvalidInputParameter);
}

}  // namespace VELA::internal
