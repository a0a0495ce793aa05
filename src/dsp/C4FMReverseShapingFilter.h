// C4FMReverseShapingFilter: the receive-side shaping filter of C4FM (4-level FM at 4800 symbols/s),
// designed in the frequency domain as x / sin(x), x = pi f / 4800, up to 4800 Hz and zero above: the
// inverse of the sinc roll-off of the transmitter's shaping, band-limited to the symbol rate.
//
// The response is formed on the smallest power-of-two grid L at or above the tap count, transformed
// to an impulse response by an inverse FFT, and centred: with c = (taps - 1) / 2 and osr = the
// oversampling (sampling rate / symbol rate), taps[c +- i] = response[+-i] / round(osr) for
// i = 0 .. c - 1. That stops short of the outermost taps, which are not designed: they keep what the
// vector held from an earlier design of the same filter, and are 0 otherwise.
//
// 4800 is fixed: the symbol rate passed in sets only the oversampling. The rolloff is not used
// (GetRoleoff() gives 0). See FIRBaseFilter.h for the rest.
#pragma once
#include "../math/VELAExport.h"

#include "FIRBaseFilter.h"

namespace VELA {

class VELA_API C4FMReverseShapingFilter : public FIRBaseFilter {
  public:
    C4FMReverseShapingFilter();
    // v = trunc(samplingRate * 20 / symbolRate): 1 when v < 3, else the power of two at or above v,
    // minus 1 (127 at 19200 and 4800 Hz). "invalid input parameter" when v is not a number or above
    // 2^24.
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    // Stores the two rates and designs `taps` taps; the rolloff is dropped. A negative tap count, more
    // than 2^24 taps, or a rate that is not a number is "invalid input parameter".
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    float GetSamplingRate() const { return samplingRate; }
    float GetSymbolRate() const { return symbolRate; }
    float GetRoleoff() const { return 0.0f; }

    // Self-test under "C4FMReverseShapingFilter": the recommended length and the taps at the centre
    // and 4 to 20 places out. Returns false when a case failed.
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    float samplingRate = 0.0f, symbolRate = 0.0f;

  private:
    void C4FMFilterTap(float T, float dt, int count);
};

}  // namespace VELA
