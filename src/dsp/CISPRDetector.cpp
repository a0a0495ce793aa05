#include "CISPRDetector.h"

#include <cmath>

#include "KaiserWindow.h"
#include "internal/CopyInto.h"
#include "internal/Aliasing.h"

namespace VELA {

namespace {

// One first-order IIR step, y = b1 xPrev + b0 x - a1 yPrev, in double and rounded to float. The float
// products are exact in double, so contraction into FMA cannot change the result either.
inline float IirStep(float b0, float b1, float a1, float x, float xPrev, float yPrev) {
    const double y =
        static_cast<double>(b1) * xPrev + static_cast<double>(x) * b0 - static_cast<double>(a1) * yPrev;
    return static_cast<float>(y);
}

// Coefficients of the quasi-peak run, passed by value so the hot loop keeps them in registers.
struct QPCoef {
    float cb0, cb1, ca1;  // charge
    float db0, db1, da1;  // discharge
    float mb0, mb1, ma1;  // both meter stages
};

// Per-bin state arrays of the quasi-peak run.
struct QPState {
    float* chargeX;
    float* chargeY;
    float* dischargeX;
    float* dischargeY;
    float* meter1X;
    float* meter1Y;
    float* meter2X;
    float* meter2Y;
    float* lastOut;
    float* held;
    float* stageOut;
    float* meter1Out;
    float* maxBuf;
    float* qpBuf;
};

// The hot loop: every bin is independent, so this is one pass over plain arrays. Both the charge and
// the discharge step are computed and one is selected, since with noisy spectra the choice is close
// to random from bin to bin and a branch would be mispredicted half the time.
void QPRun(float* out, const float* in, int n, const QPCoef c, const QPState s) {
    for (int i = 0; i < n; ++i) {
        const float x = in[i];
        const float h = s.held[i];
        const bool charging = s.lastOut[i] < x;
        // Charging follows the input with the charge constant; discharging keeps the filter's input at
        // the held value, so that its output decays as a^n.
        const float cy = IirStep(c.cb0, c.cb1, c.ca1, x, s.chargeX[i], s.chargeY[i]);
        const float dy = IirStep(c.db0, c.db1, c.da1, h, s.dischargeX[i], s.dischargeY[i]);
        const float stage = charging ? cy : dy;
        s.chargeX[i] = charging ? x : 0.0f;
        s.chargeY[i] = stage;
        s.dischargeX[i] = charging ? 0.0f : h;  // a new charge restarts the discharge from zero state
        s.dischargeY[i] = charging ? 0.0f : stage;
        s.held[i] = charging ? stage : h;
        s.lastOut[i] = stage;
        s.stageOut[i] = stage;

        const float m1 = IirStep(c.mb0, c.mb1, c.ma1, stage, s.meter1X[i], s.meter1Y[i]);
        s.meter1X[i] = stage;
        s.meter1Y[i] = m1;
        s.meter1Out[i] = m1;

        const float m2 = IirStep(c.mb0, c.mb1, c.ma1, m1, s.meter2X[i], s.meter2Y[i]);
        s.meter2X[i] = m1;
        s.meter2Y[i] = m2;
        s.qpBuf[i] = m2;

        // The reading is the highest meter value of the run.
        const float mx = s.maxBuf[i] < m2 ? m2 : s.maxBuf[i];
        s.maxBuf[i] = mx;
        out[i] = mx;
    }
}

}  // namespace

CISPRDetector::CISPRDetector(double freq) : m_freq(freq) {
    GetTimeConstants(m_chargeTC, m_dischargeTC, m_meterTC, freq);
    m_window = new CISPR6dBWindow();
}

CISPRDetector::CISPRDetector(const CISPRDetector& other)
    : m_chargeTC(other.m_chargeTC),
      m_dischargeTC(other.m_dischargeTC),
      m_meterTC(other.m_meterTC),
      m_freq(other.m_freq),
      m_rbw(other.m_rbw),
      m_acqTime(other.m_acqTime),
      m_acqNum(other.m_acqNum),
      m_peakBuf(other.m_peakBuf),
      m_aveBuf(other.m_aveBuf),
      m_aveSum(other.m_aveSum),
      m_window(new CISPR6dBWindow(*other.m_window)),
      m_chargeB0(other.m_chargeB0),
      m_chargeB1(other.m_chargeB1),
      m_chargeA0(other.m_chargeA0),
      m_chargeA1(other.m_chargeA1),
      m_dischargeB0(other.m_dischargeB0),
      m_dischargeB1(other.m_dischargeB1),
      m_dischargeA0(other.m_dischargeA0),
      m_dischargeA1(other.m_dischargeA1),
      m_meterB0(other.m_meterB0),
      m_meterB1(other.m_meterB1),
      m_meterA0(other.m_meterA0),
      m_meterA1(other.m_meterA1),
      m_chargeX(other.m_chargeX),
      m_chargeY(other.m_chargeY),
      m_dischargeX(other.m_dischargeX),
      m_dischargeY(other.m_dischargeY),
      m_meter1X(other.m_meter1X),
      m_meter1Y(other.m_meter1Y),
      m_meter2X(other.m_meter2X),
      m_meter2Y(other.m_meter2Y),
      m_lastOut(other.m_lastOut),
      m_held(other.m_held),
      m_stageOut(other.m_stageOut),
      m_meter1Out(other.m_meter1Out),
      m_maxBuf(other.m_maxBuf),
      m_qpBuf(other.m_qpBuf) {}

CISPRDetector& CISPRDetector::operator=(const CISPRDetector& other) {
    if (this == &other) return *this;
    // Copy-and-swap of the window only: the vectors copy themselves deeply.
    CISPR6dBWindow* window = new CISPR6dBWindow(*other.m_window);
    delete m_window;
    m_window = window;
    m_chargeTC = other.m_chargeTC;
    m_dischargeTC = other.m_dischargeTC;
    m_meterTC = other.m_meterTC;
    m_freq = other.m_freq;
    m_rbw = other.m_rbw;
    m_acqTime = other.m_acqTime;
    m_acqNum = other.m_acqNum;
    m_peakBuf = other.m_peakBuf;
    m_aveBuf = other.m_aveBuf;
    m_aveSum = other.m_aveSum;
    m_chargeB0 = other.m_chargeB0;
    m_chargeB1 = other.m_chargeB1;
    m_chargeA0 = other.m_chargeA0;
    m_chargeA1 = other.m_chargeA1;
    m_dischargeB0 = other.m_dischargeB0;
    m_dischargeB1 = other.m_dischargeB1;
    m_dischargeA0 = other.m_dischargeA0;
    m_dischargeA1 = other.m_dischargeA1;
    m_meterB0 = other.m_meterB0;
    m_meterB1 = other.m_meterB1;
    m_meterA0 = other.m_meterA0;
    m_meterA1 = other.m_meterA1;
    m_chargeX = other.m_chargeX;
    m_chargeY = other.m_chargeY;
    m_dischargeX = other.m_dischargeX;
    m_dischargeY = other.m_dischargeY;
    m_meter1X = other.m_meter1X;
    m_meter1Y = other.m_meter1Y;
    m_meter2X = other.m_meter2X;
    m_meter2Y = other.m_meter2Y;
    m_lastOut = other.m_lastOut;
    m_held = other.m_held;
    m_stageOut = other.m_stageOut;
    m_meter1Out = other.m_meter1Out;
    m_maxBuf = other.m_maxBuf;
    m_qpBuf = other.m_qpBuf;
    return *this;
}

CISPRDetector::~CISPRDetector() {
    delete m_window;
    m_window = nullptr;
}

bool CISPRDetector::IsCISPRDetector(DetectorType det) {
    return det == DetectorCISPRQuasiPeak || det == DetectorCISPRAverage || det == DetectorCISPRPeak;
}

void CISPRDetector::GetTimeConstants(double& charge, double& discharge, double& meter, double freq) {
    if (freq < 150e3) {
        charge = 0.045;
        discharge = 0.5;
        meter = 0.16;
    } else if (freq <= 30e6) {
        charge = 0.001;
        discharge = 0.16;
        meter = 0.16;
    } else {
        // Above 30 MHz both CISPR bands share the constants.
        charge = 0.001;
        discharge = 0.55;
        meter = 0.1;
    }
}

void CISPRDetector::Get6dBRange(double& nominal, double& lowest, double& highest, double freq) {
    if (freq < 150e3) {
        nominal = 200;
        lowest = 10;
        highest = 1000;
    } else if (freq <= 30e6) {
        nominal = 9000;
        lowest = 1000;
        highest = 10000;
    } else if (freq <= 1e9) {
        nominal = 120000;
        lowest = 10000;
        highest = 500000;
    } else {
        nominal = 1e6;
        lowest = 100000;
        highest = 1e7;
    }
}

void CISPRDetector::Get6dBBW(double& nominal, double& lowest, double& highest, double freq,
                             DetectorType det) {
    Get6dBRange(nominal, lowest, highest, freq);
    // Quasi-peak is defined at the nominal bandwidth alone; peak and average may use the band's range.
    if (det == DetectorCISPRQuasiPeak) {
        lowest = nominal;
        highest = nominal;
    }
}

void CISPRDetector::EstimateAcqParas(double& acqTime, double& total, double charge, double discharge,
                                     double minTime) {
    // About a third of the charge constant per step (but no shorter than one block), and a run of four
    // discharge constants.
    const double t = 0.34557519963884786 * charge;
    acqTime = t < minTime ? minTime : t;
    total = 4.0 * discharge;
}

void CISPRDetector::GetHWAcqParameters(double& acqTime, int& acqNum, double freq, double rbw) {
    m_rbw = rbw;
    m_freq = freq;
    double charge = 0, discharge = 0, meter = 0;
    GetTimeConstants(charge, discharge, meter, freq);
    const double minTime = static_cast<double>(m_window->GetEffectiveRBWScaling()) / rbw;
    double total = 0;
    EstimateAcqParas(acqTime, total, charge, discharge, minTime);
    acqNum = static_cast<int>(std::trunc(total / acqTime + 1.0));
    m_acqTime = acqTime;
    m_acqNum = acqNum;
}

void CISPRDetector::GetHWAcqParameters(double& acqTime, int& acqNum, double rbw) {
    GetHWAcqParameters(acqTime, acqNum, m_freq, rbw);
}

void CISPRDetector::GetHWAcqParameters(int& acqNum, double rbw) {
    double acqTime = 0;
    GetHWAcqParameters(acqTime, acqNum, m_freq, rbw);
}

void CISPRDetector::GetQPChargeCoef(float& b0, float& b1, float& a0, float& a1, const double& tc,
                                    const double& dt) {
    const float a = static_cast<float>(std::exp(-dt / tc));
    b0 = 1.0f - a;
    b1 = 0.0f;
    a0 = 1.0f;
    a1 = -a;
}

void CISPRDetector::GetQPDischargeCoef(float& b0, float& b1, float& a0, float& a1, const double& tc,
                                       const double& dt) {
    const float a = static_cast<float>(std::exp(-dt / tc));
    b0 = a;
    b1 = -a;
    a0 = 1.0f;
    a1 = -a;
}

void CISPRDetector::DoIIR(float& y, float& xOut, float& yOut, const float& b0, const float& b1,
                          const float& a0, const float& a1, const float& x, const float& xPrev,
                          const float& yPrev) {
    (void)a0;  // a first-order section normalised to a0 = 1
    const float xv = x;
    const float r = IirStep(b0, b1, a1, xv, xPrev, yPrev);
    y = r;
    yOut = r;
    xOut = xv;
}

void CISPRDetector::QPInit(const VecReal32& in) {
    GetQPChargeCoef(m_chargeB0, m_chargeB1, m_chargeA0, m_chargeA1, m_chargeTC, m_acqTime);
    GetQPDischargeCoef(m_dischargeB0, m_dischargeB1, m_dischargeA0, m_dischargeA1, m_dischargeTC, m_acqTime);
    GetQPChargeCoef(m_meterB0, m_meterB1, m_meterA0, m_meterA1, m_meterTC, m_acqTime);
    const int n = in.GetSize();
    VecReal32* state[] = {&m_chargeX,  &m_chargeY,   &m_dischargeX, &m_dischargeY, &m_meter1X,
                          &m_meter1Y,  &m_meter2X,   &m_meter2Y,    &m_lastOut,    &m_held,
                          &m_stageOut, &m_meter1Out, &m_maxBuf,     &m_qpBuf};
    for (VecReal32* v : state) {
        v->Resize(n);
        v->SetZero();
    }
}

void CISPRDetector::ApplyQP(VecReal32& out, const VecReal32& in) {
    const int n = in.GetSize();
    out.Resize(n);
    const QPCoef c{m_chargeB0,    m_chargeB1, m_chargeA1, m_dischargeB0, m_dischargeB1,
                   m_dischargeA1, m_meterB0,  m_meterB1,  m_meterA1};
    const QPState s{m_chargeX.Data(), m_chargeY.Data(), m_dischargeX.Data(), m_dischargeY.Data(),
                    m_meter1X.Data(), m_meter1Y.Data(), m_meter2X.Data(),    m_meter2Y.Data(),
                    m_lastOut.Data(), m_held.Data(),    m_stageOut.Data(),   m_meter1Out.Data(),
                    m_maxBuf.Data(),  m_qpBuf.Data()};
    QPRun(out.Data(), in.Data(), n, c, s);
}

void CISPRDetector::Apply(VecReal32& out, const VecReal32& in, int index, int count, DetectorType det) {
    // Every detector works bin by bin, reading in[i] before out[i] is written, so out may be in; a view
    // is moved to the start of its block first, where the Resize of out leaves it. Other values of det
    // leave out as it is.
    if (IsCISPRDetector(det)) internal::PrepareInPlace(out, in);
    const int n = in.GetSize();
    switch (det) {
        case DetectorCISPRQuasiPeak:
            // A spectrum of another length would run past the state arrays: start a new run instead.
            if (index == 0 || m_qpBuf.GetSize() != n) QPInit(in);
            ApplyQP(out, in);
            break;
        case DetectorCISPRAverage: {
            // The sum is kept in double and rounded on output: a float sum over thousands of
            // acquisitions drifts by far more than the meter's resolution.
            if (index == 0 || m_aveSum.GetSize() != n) {
                m_aveSum.Resize(n);
                double* sum = m_aveSum.Data();
                const float* x = in.Data();
                for (int i = 0; i < n; ++i)
                    sum[i] = x[i];
                internal::CopyInto(m_aveBuf, in);
                internal::CopyInto(out, m_aveBuf);
                break;
            }
            double* sum = m_aveSum.Data();
            const float* x = in.Data();
            m_aveBuf.Resize(n);
            float* ave = m_aveBuf.Data();
            for (int i = 0; i < n; ++i) {
                sum[i] += x[i];
                ave[i] = static_cast<float>(sum[i]);
            }
            out.Resize(n);
            float* o = out.Data();
            if (index == count - 1) {
                const double dc = static_cast<double>(count);
                for (int i = 0; i < n; ++i)
                    o[i] = static_cast<float>(sum[i] / dc);
            } else {
                for (int i = 0; i < n; ++i)
                    o[i] = ave[i];
            }
            break;
        }
        case DetectorCISPRPeak:
            // Copies into the held storage (operator= would reallocate at every acquisition).
            if (index == 0 || m_peakBuf.GetSize() != n) {
                internal::CopyInto(m_peakBuf, in);
                internal::CopyInto(out, in);
            } else {
                DSPUtils::Max(m_peakBuf, m_peakBuf, in);
                internal::CopyInto(out, m_peakBuf);
            }
            break;
        default:
            break;
    }
}

void CISPRDetector::GetQPBuf(VecReal32& out) const {
    internal::CopyInto(out, m_qpBuf);
}

}  // namespace VELA
