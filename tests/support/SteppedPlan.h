// A stepped-spectrum request with the fields of Init as named members (defaults: the "Single Tuning"
// plan with the peak detector), the plan it gives, and the call that makes it. Shared by the plan and
// processing tests.
#pragma once

#include <corvane/corvane.h>

namespace corvane_test {

struct Request {
    double span = 10e6;
    double center = 5e9;
    double rbw = 100e3;
    VELA::WindowType window = VELA::WindowTypeFlatTop;
    int points = 1001;
    double acqSpan = 36e6;
    double sampFreq = 50e6;
    int acqSamples = 0;
    VELA::DetectorType detector = VELA::DetectorMax;
    bool estimateOnly = false;
    double vbw = 0.0;
    int cisprAcqBlocks = 0;
};

struct Plan {
    VELA::VecReal64 freqSteps, acqSpans;
    VELA::VecInt32 numSamples, numPoints;
    double actualRBW = -1.0;
    double actualVBW = -1.0;
    int Tunings() const { return freqSteps.GetSize(); }
};

inline void MakePlan(VELA::SteppedSpectrum& ss, Plan& p, const Request& r) {
    ss.Init(p.freqSteps, p.acqSpans, p.numSamples, p.numPoints, p.actualRBW, p.actualVBW, r.span, r.center,
            r.rbw, r.window, r.points, r.acqSpan, r.sampFreq, r.acqSamples, r.detector, r.estimateOnly, r.vbw,
            r.cisprAcqBlocks);
}

}  // namespace corvane_test
