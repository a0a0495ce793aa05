// EMIReceiver: a CISPR 16-1-1 style EMI measuring receiver on a continuous stream of complex samples,
// for many measuring frequencies at once.
//
// Each measuring frequency gets the chain of an analogue EMI receiver: a Gaussian IF filter whose 6 dB
// bandwidth is the band's B6, the envelope, and four detectors that all run on every envelope sample:
//   - Peak: the highest envelope value.
//   - Quasi-peak: a diode detector on the IF carrier charging a capacitor through a resistance, the
//     capacitor discharging through the discharge time constant all the time, then a critically damped
//     meter (two equal first-order lags of the meter time constant); the reading is the highest meter
//     deflection. The diode conducts only near the carrier's crests, so its current is averaged over a
//     carrier cycle (the carrier is far faster than any time constant here), and the charge
//     resistance is set so that a sine switched on charges the capacitor to 63 % of its final voltage
//     in the band's charge time constant, which is how that constant is defined. Modelling the diode
//     as a plain envelope follower instead reads pulse trains of 10 Hz and below 2-3 dB too low
//     against their 100 Hz reading.
//   - Average: the envelope through the same meter; the highest deflection.
//   - RMS-average: the squared envelope through a first-order lowpass whose corner is the band's RMS
//     corner frequency (10 Hz in bands A and B, 100 Hz in C/D), its square root through the meter; the
//     highest deflection. Above the corner a pulse train reads in proportion to the square root of its
//     repetition rate (10 dB per decade), as the r.m.s. value does; well below it, the meter averages.
//
// The filter bank is a short-time FFT: every `hop` samples the last `windowLength` samples are weighted
// by a Gaussian window and transformed with `fftLength` points (zero padded). The magnitude of a bin is
// then the envelope at the output of a Gaussian bandpass centred on that bin, and the hop is chosen so
// that the envelope is sampled at eight times B6 or more (every sample when the rate is lower). A
// measuring frequency takes the nearest bin; the bin spacing is at most B6/14, so the tuning error is at
// most B6/28 (a sine there reads 0.031 dB low). GetTunedOffsets tells the bins taken.
//
// Level convention. The samples are the complex envelope of the RF signal: a sine of amplitude A (peak)
// is a complex tone of magnitude A, and an RF impulse of area a volt-seconds is a complex impulse of area
// 2a (its one-sided spectrum is 2a per hertz). Every detector is calibrated, as an EMI receiver is, to
// the r.m.s. value of an unmodulated sine: a complex tone of magnitude A reads A/sqrt(2) on all four.
// Readings are linear, in the unit of the samples (volts give volts r.m.s.; ToDBMicroVolt converts).
// Whether the samples stand for the source's e.m.f. or the voltage at the receiver's terminals (half the
// e.m.f. into a matched load) is the caller's choice; the receiver is linear up to its detectors, so the
// comparison of a pulse and a sine stated both in e.m.f. holds either way.
//
// Stream. Process takes blocks of any length (0 and 1 included) and carries every state across them, so
// a recording cut into blocks anywhere reads exactly as in one piece. The stream is taken as preceded
// by silence, so a pulse in the first sample is measured in full. Readings are the maxima since
// SetParameters or Reset.
//
// Dwell. A reading is only as good as the time it has seen:
//   - a steady sine: about five meter time constants (0.8 s in bands A and B, 0.5 s in C/D) for the
//     quasi-peak, average and RMS-average meters to come within 0.1 dB (GetSettlingTime);
//   - a pulse train on the quasi-peak: the capacitor settles over about five discharge time constants
//     (2.5 s in band A, 0.8 s in B, 2.75 s in C/D), and slow trains need a few periods besides: at
//     1 Hz, 4 s in band B and 6 s in C/D. Readings taken earlier are low, never high;
//   - an isolated pulse: two meter time constants after it, for the meter to reach its highest point.
// GetElapsedTime gives the time seen so far.
//
// Cost. Per envelope sample one transform of fftLength points (the power of two at or above
// 14 sampleRate/B6) and the detectors of every measuring frequency, which step together in vector
// registers (one lane per measuring frequency). With the envelope at about 8 B6,
// a second of signal costs about 112 sampleRate log2(fftLength) transform operations plus 8 B6 detector
// steps per measuring frequency: a band B scan of 223 frequencies over 1.25 MS/s runs several times
// faster than real time on one core. Only the memory of the transform grows with sampleRate/B6 (a
// band A scan of a 10 MS/s recording takes 1M-point transforms); decimate such recordings first.
//
// Scratch and state live in the object: after SetParameters, Process allocates nothing. Copying is not
// offered (the object owns an FFT plan). One object serves one thread.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

#include "../math/IntVector.h"
#include "../math/Vector.h"

namespace VELA {

namespace kern {
struct FFTPlan;
}
class UnitTestRecorder;

// CISPR frequency bands: A 9-150 kHz, B 0.15-30 MHz, C/D 30-1000 MHz.
enum class EMIBand : int32_t { A = 0, B = 1, CD = 2 };

// The detectors whose readings GetReadings returns.
enum class EMIDetector : int32_t { Peak = 0, QuasiPeak = 1, Average = 2, RMSAverage = 3 };

// The constants of a band.
struct VELA_API EMIBandParameters {
    double bandwidth6dB;  // B6, Hz
    double chargeTC;      // quasi-peak charge time constant, s
    double dischargeTC;   // quasi-peak discharge time constant, s
    double meterTC;       // time constant of the critically damped meter, s
    double rmsCornerHz;   // corner frequency of the RMS-average detector, Hz
};

class VELA_API EMIReceiver {
  public:
    EMIReceiver();
    EMIReceiver(const EMIReceiver&) = delete;
    EMIReceiver& operator=(const EMIReceiver&) = delete;
    virtual ~EMIReceiver();

    // Configures the receiver and resets it. `offsets` are the measuring frequencies relative to the
    // recording's centre, Hz (negative below it), any number >= 1, duplicates allowed. `sampleRate` in
    // samples per second. Each measuring frequency's IF filter must lie inside the recording's band down
    // to -40 dB: |offset| + 1.3 B6 <= sampleRate/2. Throws "invalid input parameter" for a band outside
    // the enumeration, a rate that is not finite and positive, an empty scan, a frequency that is not
    // finite or out of the band, or a filter bank too large for the library's vectors; the receiver is
    // then left unconfigured.
    void SetParameters(EMIBand band, double sampleRate, const VecReal64& offsets);
    // The same with absolute measuring frequencies and the recording's centre frequency, both in Hz.
    void SetParameters(EMIBand band, double sampleRate, double centreFrequency, const VecReal64& frequencies);

    // Feeds the next block of the stream. Throws "invalid input parameter" before SetParameters, or when
    // the block holds a sample that is not finite (the state is then left as it was before the call).
    void Process(const VecCplx32& block);

    // The readings of one detector, one per measuring frequency in the order given, linear, r.m.s. of
    // the equivalent sine in the unit of the samples; 0 before any sample. Throws "invalid input
    // parameter" before SetParameters or for a detector outside the enumeration.
    void GetReadings(VecReal64& out, EMIDetector detector) const;

    // Clears every detector and the filter history; the configuration stays.
    void Reset();

    // The measuring frequencies actually used (the bin centres), relative to the centre, Hz.
    void GetTunedOffsets(VecReal64& out) const;
    // Seconds of signal processed since SetParameters or Reset.
    double GetElapsedTime() const;
    // Rate at which the envelope is sampled and the detectors run, Hz.
    double GetEnvelopeRate() const;
    int GetHop() const { return m_hop; }
    int GetWindowLength() const { return m_windowLength; }
    int GetFFTLength() const { return m_fftLength; }

    // The band's constants; throws "invalid input parameter" for a band outside the enumeration.
    static EMIBandParameters GetBandParameters(EMIBand band);
    // The band that a frequency (Hz) falls in: below 150 kHz A, up to 30 MHz B, above C/D.
    static EMIBand BandOf(double frequency);
    // Seconds a steady signal needs for every detector's reading to settle within 0.1 dB (five meter
    // time constants). Pulse trains need more; see the class comment.
    static double GetSettlingTime(EMIBand band);
    // 20 log10(volts / 1 uV); a reading of 0 gives -400 dB.
    static double ToDBMicroVolt(double volts);

    static bool UnitTest(UnitTestRecorder& recorder);

    // The quasi-peak detector's diode circuit for the band's time constants (seconds): the product of
    // charge resistance and capacitance `rc` (s) that gives the charge time constant as the receiver's
    // definition measures it, and the capacitor voltage a steady unit sine settles at.
    static void QuasiPeakDiode(double& rc, double& steady, double charge, double discharge);

  private:
    void Configure(EMIBand band, double sampleRate, const double* offsets, int count);
    void Unconfigure();
    void RunFrame(int start);
    void Detect(const double* env);

    bool m_configured = false;
    EMIBand m_band = EMIBand::B;
    EMIBandParameters m_par{};
    double m_sampleRate = 0.0;
    int m_windowLength = 0;   // samples of the Gaussian window
    int m_fftLength = 0;      // points of the transform (>= window length)
    int m_hop = 0;            // samples between envelope samples
    int m_count = 0;          // measuring frequencies
    long long m_samples = 0;  // samples processed

    kern::FFTPlan* m_plan = nullptr;
    void* m_work = nullptr;

    VecReal32 m_window;            // Gaussian window of unit sum, each weight twice (re, im)
    VecCplx32 m_history;           // the last windowLength-1 samples, then the block's samples still to use
    int m_histFill = 0;            // samples held in m_history
    long long m_histStart = 0;     // stream index of m_history[0] (negative: the silence before)
    long long m_nextFrameEnd = 0;  // stream index of the last sample of the next frame
    VecCplx32 m_frame;             // windowed, zero-padded frame
    VecCplx32 m_spectrum;          // its transform
    VecInt32 m_bins;               // bin of each measuring frequency
    VecReal64 m_tuned;             // bin centre of each measuring frequency, Hz
    VecReal64 m_env;               // envelope of each measuring frequency at this step

    // Per-step constants.
    double m_dischargeDecay = 0.0;  // exp(-dt/discharge)
    double m_chargeGain = 0.0;      // dt / (charge resistance x capacitance)
    double m_sineScale = 0.0;       // 1 / steady capacitor voltage of a unit sine, so a sine reads itself
    VecReal64 m_drive;              // diode current over sqrt(1 - V/E), see DiodeDrive
    double m_meterGain = 0.0;       // 1 - exp(-dt/meter)
    double m_rmsGain = 0.0;         // 1 - exp(-dt 2 pi corner)

    // Detector state per measuring frequency (double: the meter's step is 1e-4 of its time constant or
    // less, and a float state would stall short of its input).
    VecReal64 m_peak;
    VecReal64 m_qpCap;  // capacitor voltage: a steady envelope E charges it to E / m_sineScale
    VecReal64 m_qpMeter1, m_qpMeter2, m_qpMax;
    VecReal64 m_avMeter1, m_avMeter2, m_avMax;
    VecReal64 m_rmsPower, m_rmsMeter1, m_rmsMeter2, m_rmsMax;
};

}  // namespace VELA
