// VideoBandwidth: how much more data a measurement must acquire to reach the smoothness of a video
// filter of a given bandwidth, by averaging the power of several transforms instead of filtering.
//
// Two fitted steps: the ratio video/resolution bandwidth gives the standard deviation (dB) that such a
// filter leaves on a noise trace, and that deviation gives the factor on the amount of data. The fits
// are kept exactly, including their jumps at the joints and the absence of a clamp: they are trusted
// for ratios up to about 2 (at 3 the factor comes out as 0).
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"

namespace VELA {

class UnitTestRecorder;

class VELA_API VideoBandwidth {
  public:
    // Loads the four coefficient tables (highest power first).
    VideoBandwidth();
    virtual ~VideoBandwidth() = default;

    // Data factor for ratio = video bandwidth / resolution bandwidth.
    double GetSamples(double ratio) const;
    // trunc(GetSamples(ratio) * samples + 0.5): samples needed when one block has `samples`.
    int GetSamples(double ratio, int samples) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    static double GetSigma(const VecReal64& coef1, const VecReal64& coef2, double threshold, double ratio);
    static double GetRatio(const VecReal64& coef1, const VecReal64& coef2, double sigma);

    VecReal64 m_sigmaCoef1;  // ratios from 0.5 up
    VecReal64 m_sigmaCoef2;  // ratios from 0.0004 to below 0.5
    VecReal64 m_ratioCoef1;  // sigma above 3.45 up to 5.2
    VecReal64 m_ratioCoef2;  // sigma from 1.4 to 3.45
};

}  // namespace VELA
