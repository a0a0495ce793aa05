// WaveformGenerator: the analytic pulses behind the shaped filters, evaluated at given times.
//
// Static functions only. Each takes a vector of times `t` (any unit, usually seconds; the pulse
// parameters are in the same unit) and resizes `out` to t's size. There is no sample rate or tap count
// here: the filter classes build the time axis, call one of these, and scale the result.
//
// Arithmetic is float, step by step in the order the comments give, so that the filter taps built on
// these come out the same on every machine; the integral pulses and ConvGauss form their inner part in
// double. sinc(x) below is sin(x)/x with the series 1 - x^2/6 for |x| < 0.1813 (MathUtils::Sinc with
// the tolerance 9e-6), so x = 0 gives 1. PI is the float nearest to pi.
//
// `out` may be `t` itself (also a view): every function works in place.
//
// Nothing is checked: a T or s of 0 divides by zero and gives infinities or NaN, and NaN parameters give
// NaN values. The scans of the integral pulses and ConvGauss take `t` as ascending.
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"

namespace VELA {

class UnitTestRecorder;

class VELA_API WaveformGenerator {
  public:
    // Raised-cosine pulse of symbol time T, 1 at t = 0 and no 1/T factor. With u = t/T:
    //   out = (sinc(PI/2 (2 rolloff u + 1)) + sinc(PI/2 (2 rolloff u - 1))) sinc(PI u) PI/4,
    // which equals cos(PI rolloff u) sinc(PI u) / (1 - (2 rolloff u)^2) and has no singular point.
    static void RaisedCosinePulse(VecReal32& out, float rolloff, float T, const VecReal32& t);

    // Root-raised-cosine pulse of symbol time T with unit energy (peak (1 - r + 4r/PI)/sqrt(T)). With
    // u = t/T and r = rolloff:
    //   out = ((1-r) sinc(PI (1-r) u) + r (sinc(PI (r u + 1/4)) cos(PI (u + 1/4))
    //                                    + sinc(PI (r u - 1/4)) cos(PI (u - 1/4)))) sqrt(1/T),
    // a form without the removable singularities at u = 0 and u = +-1/(4r).
    static void RootRaisedCosinePulse(VecReal32& out, float rolloff, float T, const VecReal32& t);

    // Gaussian pulse of 3 dB bandwidth B with unit area:
    //   out = sqrt(2 pi / ln 2) B exp(-2 pi^2 B^2 t^2 / ln 2).
    static void GaussianPulse(VecReal32& out, float B, const VecReal32& t);

    // Ideal low-pass impulse response of one-sided bandwidth B: out = 2B sinc(2B PI t).
    static void SincPulse(VecReal32& out, float B, const VecReal32& t);

    // A rectangle of width T and unit area convolved with a Gaussian of standard deviation s T:
    //   out = (erf((t + T/2) / (sqrt(2) s T)) - erf((t - T/2) / (sqrt(2) s T))) / (2T),
    // computed in double in the form of erf differences that suits the sign of each part. The support
    // is cut at 20 deviations: times at or beyond +-20 s T give 0 (for s below 0.025 that cut falls
    // inside the rectangle itself, and so be it).
    static void ConvGauss(VecReal32& out, float T, float s, const VecReal32& t);

    // The running integral of ConvGauss, rising from 0 to 1, in double:
    //   ((t + T/2) Phi((t + T/2)/(sT)) - (t - T/2) Phi((t - T/2)/(sT))) / T
    //     + s (phi((t + T/2)/(sT)) - phi((t - T/2)/(sT))),
    // Phi and phi the standard normal distribution and density. Times at or before -10 s T give 0 and
    // those at or after 10 s T give 1 without being computed.
    static void IntegralConvGauss(VecReal32& out, float T, float s, const VecReal32& t);

    // The running integral of a rectangle of width T and unit area: 0 at or before -T/2, 1 at or after
    // T/2, t/T + 1/2 in between (the two ends are found by scanning, without computing them).
    static void IntegralConvRect(VecReal32& out, float T, const VecReal32& t);

    // Self-test: ConvGauss with T 1 and s 0.4416839 on 1001 points from -5 in steps of 0.01 (unit area,
    // symmetric, peak as in closed form), recorded as "Waveform" under "ConvGauss". Returns true.
    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
