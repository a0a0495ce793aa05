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

// Named requests shared by the stepped-spectrum tests.
inline Request SingleTuning() {
    return Request{};
}

inline Request VBWNoise() {
    Request r;
    r.span = 4e6;
    r.center = 5e8;
    r.rbw = 1e4;
    r.window = VELA::WindowTypeKaiser;
    r.points = 8001;
    r.acqSpan = 5e6;
    r.sampFreq = 6.25e6;
    r.vbw = 1000;
    r.detector = VELA::DetectorAve;
    return r;
}

inline Request CISPRPlan() {
    Request r;
    r.window = VELA::WindowTypeCISPR6dB;
    r.span = 4e6;
    r.center = 5e8;
    r.rbw = 120e3;
    r.points = 801;
    r.acqSpan = 5e6;
    r.sampFreq = 6.25e6;
    r.detector = VELA::DetectorCISPRPeak;
    return r;
}

// A small stitching plan: 51 points over 20 MHz with 1.25 MHz acquisitions: stitch rate 3, 21 tunings.
inline Request SmallStitch() {
    Request r;
    r.span = 20e6;
    r.center = 1e9;
    r.rbw = 100e3;
    r.window = VELA::WindowTypeBlackmanHarris;
    r.points = 51;
    r.acqSpan = 1.25e6;
    r.sampFreq = 1.5625e6;
    return r;
}

inline Request OneMHzSpan() {
    Request r;
    r.span = 1e9;
    r.center = 1e9;
    r.rbw = 30e3;
    r.window = VELA::WindowTypeFlatTop;
    r.points = 801;
    r.acqSpan = 300e3;
    r.sampFreq = 781250;
    r.detector = VELA::DetectorMax;
    return r;
}

}  // namespace corvane_test
