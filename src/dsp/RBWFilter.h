// RBWFilter: designs the coefficients of the acquisition hardware's resolution-bandwidth filter, and
// the decimation that brings a sample rate down near a requested resolution bandwidth.
//
// The filter shape is always a 40-point window: a Kaiser window for narrow filters and a Gauss window
// for wide ones. The Gauss shape is taken only at the instrument's widest rate (the `maxRate` of the
// constructor) and for a bandwidth above about a fifth of the Nyquist band; everywhere else, however
// wide, the Kaiser window is used. A design of more than 40 taps is the same window with zeros around it.
//
// Hardware words are the taps normalised to a peak of 1, scaled so that their sum is a power of two
// (the gain, which the hardware applies as a shift), then rounded half away from zero to signed
// fractions of `bits` bits, full scale 2^(bits-1) - 1, and stored in two's complement within `bits`
// bits (a negative value v is stored as v + 2^bits). The rounding is exact for every width up to 32.
//
// The object holds no samples; each Apply rewrites its windows, its coefficient vectors and the gain.
// One object serves one thread at a time.
#pragma once
#include "../math/VELAExport.h"

#include "../math/IntVector.h"
#include "../math/Vector.h"
#include "Window.h"
#include "WindowFactory.h"

namespace VELA {

class UnitTestRecorder;
struct RBWFilterTestAccess;

class VELA_API RBWFilter {
  public:
    // rate1 is stored and otherwise unused; maxRate is the instrument's widest sample rate, the one that
    // the Gauss shape and the decimation's first test compare a rate with (Hz). Both are kept as given.
    RBWFilter(float rate1, float maxRate);
    // Copies are independent: each owns windows of its own (a copy clones them).
    RBWFilter(const RBWFilter& other);
    RBWFilter& operator=(const RBWFilter& other);
    virtual ~RBWFilter();

    // The widest resolution bandwidth at the widest rate: maxRate * 0.4 (the float 0.4).
    float GetMaxRBW() const;
    // maxRate * 0.4 when `span` equals maxRate, otherwise span * 0.1 (float constants).
    float GetMaxRBW(float span) const;
    // rate * 0.4.
    static double GetMaxRBW(double rate);
    // rate * 0.4 when span equals rate, otherwise span * 0.1.
    static double GetMaxRBW(double span, double rate);

    // The power-of-two decimation factor that brings 5 % of the decimated rate to or below `rbw`, and
    // the decimated rate outRate = rate / factor (Hz). Two tests, which differ at equality on purpose:
    // - rate == maxRate: a bandwidth above 5 % of maxRate needs no decimation (factor 1); otherwise the
    //   factor doubles until 0.05 rate / factor is strictly below rbw (equality doubles once more).
    // - rate != maxRate: the factor doubles while 0.05 rate / factor is strictly above rbw.
    // rate and rbw must be finite and positive, and the factor must stay within 2^62; otherwise
    // VELAException "invalid input parameter" and the outputs are left alone.
    static void GetDecimationFactor(long long& factor, double& outRate, double rate, double rbw,
                                    double maxRate);
    // The same with maxRate = rate.
    static void GetDecimationFactor(long long& factor, double& outRate, double rate, double rbw);
    // The same with the object's maxRate as the limit, computed in single precision.
    void GetDecimationFactor(long long& factor, float& outRate, float rate, float rbw) const;

    // Designs `tapCount` float taps for a filter of bandwidth `rbw` at sample rate `rate` (Hz): the
    // 40 window coefficients (summing to 1) at the offset (tapCount - 40) / 2, zeros elsewhere. taps is
    // resized. rate and rbw must be finite and positive and tapCount at least 40, and the design must
    // give finite coefficients (an extreme bandwidth can leave a window of zeros); otherwise
    // VELAException "invalid input parameter" and taps is left alone.
    void Apply(VecReal32& taps, float rate, float rbw, int tapCount);
    // Designs the hardware words: the taps above, scaled to a power-of-two gain (GetProperties) and
    // quantised to `bits` bits, 2 <= bits <= 32. The same refusals as above, and bits outside 2..32;
    // a refused call changes neither words nor the object's state.
    void Apply(VecUInt32& words, float rate, float rbw, int tapCount, int bits);

    // n taps passing the data unchanged: 1 at index 0, zeros after. n must be at least 1.
    void GetDefaultCoef(VecReal32& taps, int n);
    // The same taps as words of `bits` bits (the first word is 2^(bits-1) - 1). n >= 1, 2 <= bits <= 32.
    // GetProperties keeps describing the last designed filter.
    void GetDefaultCoef(VecUInt32& words, int n, int bits);

    // The gain (a power of two) of the last Apply with words, and its delay (tapCount - 1) / 2 in
    // samples. Before any such Apply: gain 1 and delay 0, the properties of the default filter.
    void GetProperties(float& gain, float& delay) const;
    // The properties of the default filter: gain 1, delay 0.
    static void GetDefaultProperties(float& gain, float& delay);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    // Lets the test suite reach the design steps below, which have no public form.
    friend struct RBWFilterTestAccess;

    // Kaiser beta for a bandwidth x (a fraction of the Nyquist band): a quadratic fit.
    static float GetKaiserPara(float x);
    // Gauss window parameter for a bandwidth x: linear in x / 2 up to 0.3, with a cubic rise above.
    static float GetGaussPara(float x);
    // Normalises the taps to a peak of 1 and scales them so that they sum to a power of two (the gain).
    static void GetFPGAGain(VecReal32& out, float& gain, const VecReal32& coefficients);
    // Rounds each tap times 2^(bits-1) - 1 half away from zero and stores it in two's complement of
    // `bits` bits. Taps must be finite and within [-1, 1].
    static void QuantCoef(VecUInt32& words, const VecReal32& in, int bits);
    // Throws unless 2 <= bits <= 32.
    static void CheckBits(int bits);

    float rate1;
    float rate2;  // the widest rate, maxRate
    int tapCount;
    VecReal32 coef;        // taps after the gain scaling
    VecReal32 rawCoef;     // taps before it
    VecReal32 windowCoef;  // the 40 coefficients of the last window
    WindowFactory factory;
    Window* gaussWindow;   // owned
    Window* kaiserWindow;  // owned
    float gain;
};

}  // namespace VELA
