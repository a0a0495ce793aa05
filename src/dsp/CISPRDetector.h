// CISPRDetector: the three detectors of CISPR 16 EMI measurement (quasi-peak, average, peak) applied
// to every frequency bin of a spectrum at once, one spectrum per acquisition, plus the acquisition plan
// (time per acquisition and number of acquisitions) the hardware needs so that the slow quasi-peak
// meter settles.
//
// Quasi-peak model per bin: a charge filter (fast rise) or a discharge filter (slow exponential decay
// from the value held at the end of the last charge), followed by two equal first-order meter stages;
// the reading is the highest meter value of the run. Every filter step is evaluated in double and
// rounded to float, so results are exactly reproducible whatever the instruction set.
//
// The input is a linear magnitude, not decibels: the filters model the envelope detector.
//
// The detector owns its CISPR6dBWindow (used only for its RBW scaling). Copies are deep: a copy gets
// its own window, so either object may be destroyed first.
//
// One object serves one thread.
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"
#include "DSPUtils.h"

namespace VELA {

class CISPR6dBWindow;
class UnitTestRecorder;

class VELA_API CISPRDetector {
  public:
    // Takes the time constants of the band of `freq` and creates the window; every vector empty.
    explicit CISPRDetector(double freq);
    CISPRDetector(const CISPRDetector& other);
    CISPRDetector& operator=(const CISPRDetector& other);
    virtual ~CISPRDetector();

    // One acquisition: `in` is the spectrum, `index` counts acquisitions from 0, `count` is the number
    // planned. det 6 quasi-peak, 7 average (a running sum, divided by count at index count-1), 8 peak.
    // Any other det leaves `out` untouched. A spectrum whose length differs from the one the run
    // started with restarts that detector's run, as if index were 0. out may be in (a view included).
    void Apply(VecReal32& out, const VecReal32& in, int index, int count, DetectorType det);

    // The meter output of the last quasi-peak step, without the maximum hold.
    void GetQPBuf(VecReal32& out) const;

    static bool IsCISPRDetector(DetectorType det);
    // The band's nominal 6 dB bandwidth and its range; for quasi-peak (6) the range is the nominal alone.
    static void Get6dBBW(double& nominal, double& lowest, double& highest, double freq, DetectorType det);

    // Time per acquisition and number of acquisitions for `rbw` at `freq`. The filter constants stay
    // those of the constructor's frequency; only the stored frequency moves.
    void GetHWAcqParameters(double& acqTime, int& acqNum, double freq, double rbw);
    void GetHWAcqParameters(double& acqTime, int& acqNum, double rbw);
    void GetHWAcqParameters(int& acqNum, double rbw);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    static void GetTimeConstants(double& charge, double& discharge, double& meter, double freq);
    static void Get6dBRange(double& nominal, double& lowest, double& highest, double freq);
    static void EstimateAcqParas(double& acqTime, double& total, double charge, double discharge,
                                 double minTime);

    void GetQPChargeCoef(float& b0, float& b1, float& a0, float& a1, const double& tc, const double& dt);
    void GetQPDischargeCoef(float& b0, float& b1, float& a0, float& a1, const double& tc, const double& dt);
    void DoIIR(float& y, float& xOut, float& yOut, const float& b0, const float& b1, const float& a0,
               const float& a1, const float& x, const float& xPrev, const float& yPrev);
    void QPInit(const VecReal32& in);
    void ApplyQP(VecReal32& out, const VecReal32& in);

    double m_chargeTC;
    double m_dischargeTC;
    double m_meterTC;
    double m_freq;
    double m_rbw = 0.0;
    double m_acqTime = 0.0;  // sample period of every filter; set by GetHWAcqParameters
    int m_acqNum = 0;
    VecReal32 m_peakBuf;
    VecReal32 m_aveBuf;  // running sum, rounded to float
    VecReal64 m_aveSum;  // the running sum itself: a float sum loses ~1e-4 relative over 6000 steps
    CISPR6dBWindow* m_window = nullptr;

    float m_chargeB0 = 0, m_chargeB1 = 0, m_chargeA0 = 0, m_chargeA1 = 0;
    float m_dischargeB0 = 0, m_dischargeB1 = 0, m_dischargeA0 = 0, m_dischargeA1 = 0;
    float m_meterB0 = 0, m_meterB1 = 0, m_meterA0 = 0, m_meterA1 = 0;

    VecReal32 m_chargeX, m_chargeY;
    VecReal32 m_dischargeX, m_dischargeY;
    VecReal32 m_meter1X, m_meter1Y;
    VecReal32 m_meter2X, m_meter2Y;
    VecReal32 m_lastOut;    // last charge/discharge output, which the next input is compared with
    VecReal32 m_held;       // value the discharge filter decays from
    VecReal32 m_stageOut;   // charge/discharge output this step
    VecReal32 m_meter1Out;  // first meter stage output
    VecReal32 m_maxBuf;     // running maximum of the meter output
    VecReal32 m_qpBuf;      // meter output without the maximum
};

}  // namespace VELA
