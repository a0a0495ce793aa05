// SorrelNexaSupport and QuillonNexaSupport: host-side calculators of the NEXA chirp-Z FPGA block.
//
// The block computes a windowed spectrum of `points` output bins over a span by a chirp-Z transform:
// it multiplies the input by the table Wn (the input chirp with the window folded in), convolves it
// through a hardware FFT of `fftLength` points with the spectrum Vr of the convolution chirp, multiplies
// by the output chirp Wk, and sweeps an NCO across the span. The block cannot compute these tables: from
// sample rate, span and RBW this class fixes the window and generates the three complex tables, the
// gains and the NCO words, all returned as fixed-point words for the caller to load.
//
// Tables are kept in single precision; fixed-point conversion happens in the getters: signed fractions
// of `fixedPointBits` bits, full scale 1.0 (pi radians per sample for the NCO words), left-justified in
// 32 bits (MathUtils::ToFixedPoint). With 24 bits, 1.0 becomes (2^23 - 1) << 8.
//
// The chirp convolution is transformed with a 1,024-point FFT, so the class works with an fftLength of
// 1,024 only (other lengths are refused by SetMeasurementParameters).
//
// Ownership: the object owns its KaiserWindow. Copies and assignment copy the window pointer as it
// stands, with no new window: after such a copy of an object that has a window, only one of the two may
// be destroyed or measured again. Set-up code: SetMeasurementParameters allocates freely. One object
// serves one thread at a time; FindRBWRange keeps no state.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

#include "../math/IntVector.h"
#include "../math/Vector.h"
#include "Window.h"

namespace VELA {

class UnitTestRecorder;
class KaiserWindow;

enum NexaSupportErrorTag : int32_t {
    NexaSupportInvalidSpan = 0,    // the span exceeds the sample rate
    NexaSupportRBWOutOfRange = 1,  // no window length fits
    NexaSupportInvalidWindow = 2,  // window type other than Kaiser
    NexaSupportSuccess = 3,
};

class VELA_API SorrelNexaSupport {
  public:
    // points: output bins of the chirp transform; dwell: kept and copied, used by nothing;
    // fixedPointBits: word width of the tables and the NCO start (1..32); fftLength: hardware FFT length.
    // Note the order: the width comes before the FFT length. No window yet, empty tables.
    SorrelNexaSupport(int points, int dwell, int fixedPointBits, int fftLength);
    SorrelNexaSupport(const SorrelNexaSupport& other) = default;  // shares the window pointer
    SorrelNexaSupport& operator=(const SorrelNexaSupport& other) = default;
    virtual ~SorrelNexaSupport();

    // Fixes the window for sampleRate and rbw (Hz) and generates every table and word for the span
    // (Hz, centred on 0) and dwellCount. Returns:
    //   NexaSupportInvalidSpan    span above 1.00001 sampleRate; nothing changes
    //   NexaSupportInvalidWindow  windowType not WindowTypeKaiser; the old window is gone (none now)
    //   NexaSupportRBWOutOfRange  no window of 4 .. fftLength - points + 1 samples gives the rbw in
    //                             either Kaiser mode (the standard one first, the CISPR one, of the
    //                             narrower RBW per length, when the standard window is too long); also
    //                             an fftLength other than 1,024, and a points count below 1
    //   NexaSupportSuccess
    // After a result other than success the tables keep their former contents while the scalar
    // parameters have moved on: the getters must not be used.
    NexaSupportErrorTag SetMeasurementParameters(float sampleRate, float span, float rbw, int dwellCount,
                                                 WindowType windowType);

    // The RBW limits (Hz) at a sample rate: the longest window (fftLength - points + 1) in the CISPR
    // mode, a 20-sample window in the standard mode. `dwell` is ignored. NexaSupportInvalidWindow for a
    // type other than Kaiser, else NexaSupportSuccess.
    static NexaSupportErrorTag FindRBWRange(float& minRBW, float& maxRBW, float sampleRate, int points,
                                            int dwell, int fftLength, WindowType windowType);

    // RBW (Hz) of the chosen window.
    float GetActualRBW() const { return actualRBW; }
    // windowScale / 7.875 and 7.875 / filterScale: the level corrections the caller applies.
    double GetGain1() const;
    double GetGain2() const;
    // The window peak word: 0x800000 (2^23), whatever the window.
    int GetWindowGain() const;
    // NCO start (fixedPointBits wide) and step (always 32 bits), full scale pi radians per sample.
    void GetNCOParameters(int& start, int& step) const;
    // The tables as fixed-point words, real and imaginary parts, fftLength entries each.
    void GetWnVector(VecInt32& real, VecInt32& imaginary) const;
    void GetVrVector(VecInt32& real, VecInt32& imaginary) const;
    void GetWkVector(VecInt32& real, VecInt32& imaginary) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    // Window length and actual RBW from the current window's RBW factor; the status as
    // SetMeasurementParameters gives it. SetMeasurementParameters does this work itself.
    NexaSupportErrorTag GenerateWindowParameter();
    // The window at windowLength, peak 1, zero-padded to fftLength; windowScale.
    void GenerateWindowVector();
    void GenerateNCOParameters();
    void generateWn();
    void generateVr();
    void generateWk();
    // RBW ladders 1, 2, 3, 5, 10 per decade. RoundUpRBW of an exact decade gives twice that decade.
    static float RoundUpRBW(float x);
    static float RoundDownRBW(float x);

    int points;
    int dwell;
    int fftLength;
    int reserved1{};  // never set, only copied
    int fixedPointBits;
    int maxWindowLength;  // fftLength - points + 1
    float sampleRate{};
    float span{};
    float requestedRBW{};
    float actualRBW{};
    int dwellCount{};
    WindowType windowType{WindowTypeKaiser};
    float startFrequency{};
    float stopFrequency{};
    KaiserWindow* window{};
    float reserved2{};  // never set, only copied
    int windowLength{};
    VecReal32 windowVector;
    float windowScale{};
    VecCplx32 wn;
    VecCplx32 vr;
    float reserved3{};  // never set, only copied
    VecCplx32 wk;
    float ncoStep{};
    float ncoStart{};
    float filterScale;

  private:
    // The three chirp pieces: exp(sign j c m^2) for the n values m of `squares` (already m^2).
    static void Chirp(VecCplx32& out, const VecReal32& squares, float c, float sign);
    // c = span pi / (points sampleRate), rounded to float.
    float ChirpRate() const;
    static void ToWords(VecInt32& real, VecInt32& imaginary, const VecCplx32& table, int bits);
};

// The calculator of the later generation of the block: the same tables, its own self-test.
class VELA_API QuillonNexaSupport : public SorrelNexaSupport {
  public:
    QuillonNexaSupport(int points, int dwell, int fixedPointBits, int fftLength);
    QuillonNexaSupport(const QuillonNexaSupport& other) = default;
    QuillonNexaSupport& operator=(const QuillonNexaSupport& other) = default;
    ~QuillonNexaSupport() override = default;

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace VELA
