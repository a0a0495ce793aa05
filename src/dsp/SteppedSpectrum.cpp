// SteppedSpectrum, the plan: which tunings to visit, how many samples each needs, how many trace points
// each delivers, and the resolution bandwidth that results. The processing is in SteppedSpectrumApply.cpp.
#include "SteppedSpectrum.h"

#include <climits>
#include <cmath>

#include "../math/MathUtils.h"
#include "CISPRDetector.h"
#include "ChirpZ.h"
#include "internal/CheckedSize.h"

namespace VELA {

namespace {

double ToFloat(double x) {
    return static_cast<double>(static_cast<float>(x));
}

// The nominal 6 dB bandwidth differs from band to band, so it names the band of a frequency.
double CISPRBand(double freq) {
    double nominal = 0, lowest = 0, highest = 0;
    CISPRDetector::Get6dBBW(nominal, lowest, highest, freq, DetectorCISPRPeak);
    return nominal;
}

}  // namespace

SteppedSpectrum::SteppedSpectrum()
    : m_window(nullptr),
      m_chirpZ(nullptr),
      m_cispr(nullptr),
      m_unit(PowerUnitDB),
      m_span(0.0),
      m_centerFreq(0.0),
      m_rbw(0.0),
      m_vbwRequest(0.0),
      m_windowType(WindowTypeBlackmanHarris),
      m_numPoints(0),
      m_acqSpan(0.0),
      m_sampFreq(0.0),
      m_cisprAcqLimit(0),
      m_estimateOnly(false),
      m_stepSpan(0.0),
      m_stepPoints(0),
      m_upsample(1),
      m_stitchRate(1),
      m_detector(DetectorMax),
      m_initDetector(DetectorMax),
      m_subBlocks(false),
      m_averageBlocks(false),
      m_blockLen(0),
      m_acqSamples(0),
      m_subBlockLen(0),
      m_numSubBlocks(1),
      m_lastIndex(-1),
      m_czPoints(0),
      m_cisprAcqNum(0),
      m_planned(false) {}

SteppedSpectrum::~SteppedSpectrum() {
    delete m_window;
    delete m_chirpZ;
    delete m_cispr;
}

bool SteppedSpectrum::IsCISPRDetector(DetectorType det) {
    return det == DetectorCISPRQuasiPeak || det == DetectorCISPRAverage || det == DetectorCISPRPeak;
}

void SteppedSpectrum::GetUpsampleRate(int& upsample, int& stitchRate) const {
    upsample = m_upsample;
    stitchRate = m_stitchRate;
}

double SteppedSpectrum::GetNoiseMarkerCorrection() const {
    // The window has coefficients only once a plan for processing was made.
    if (!m_window || m_window->GetSize() <= 0 || m_blockLen <= 0) VELA_THROW(VELAErrorInvalidInputParameter);
    const double enbw = static_cast<double>(m_window->GetENBW());
    return -10.0 * std::log10(enbw * (m_sampFreq / m_blockLen));
}

void SteppedSpectrum::Init(VecReal64& freqSteps, VecReal64& acqSpans, VecInt32& numSamples,
                           VecInt32& numPoints, double& actualRBW, double span, double centerFreq, double rbw,
                           WindowType window, int points, double acqSpan, double sampFreq, int acqSamples,
                           DetectorType detector, bool estimateOnly, double vbw) {
    double actualVBW = 0.0;
    Init(freqSteps, acqSpans, numSamples, numPoints, actualRBW, actualVBW, span, centerFreq, rbw, window,
         points, acqSpan, sampFreq, acqSamples, detector, estimateOnly, vbw, 0);
}

void SteppedSpectrum::Init(VecReal64& freqSteps, VecReal64& acqSpans, VecInt32& numSamples,
                           VecInt32& numPoints, double& actualRBW, double& actualVBW, double span,
                           double centerFreq, double rbw, WindowType window, int points, double acqSpan,
                           double sampFreq, int acqSamples, DetectorType detector, bool estimateOnly,
                           double vbw, int cisprAcqBlocks) {
    // Requests without a meaning are refused before anything is touched (written so that NaN fails).
    if (!(rbw > 0.0) || !(acqSpan > 0.0) || !(sampFreq > 0.0) || !(span >= 0.0) || points < 2 ||
        acqSamples < 0 || static_cast<uint32_t>(window) > 7u || static_cast<uint32_t>(detector) > 8u ||
        !std::isfinite(centerFreq) || !std::isfinite(span) || !std::isfinite(rbw) ||
        !std::isfinite(acqSpan) || !std::isfinite(sampFreq) || std::isnan(vbw))
        VELA_THROW(VELAErrorInvalidInputParameter);

    const bool othersEqual = span == m_span && rbw == m_rbw && window == m_windowType &&
                             points == m_numPoints && acqSpan == m_acqSpan && sampFreq == m_sampFreq &&
                             acqSamples == m_acqSamples && detector == m_initDetector &&
                             estimateOnly == m_estimateOnly && vbw == m_vbwRequest &&
                             cisprAcqBlocks == m_cisprAcqLimit;
    if (m_planned && othersEqual) {
        if (centerFreq != m_centerFreq && span <= acqSpan) {
            // A pure frequency step of a single tuning: window, chirp-Z and block length stay. A CISPR
            // plan whose centre moves into another band needs other time constants, so it is rebuilt.
            const bool bandChange = m_cispr && CISPRBand(centerFreq) != CISPRBand(m_centerFreq);
            if (!bandChange) {
                m_centerFreq = centerFreq;
                m_freqSteps[0] = centerFreq;
                OutputStage(freqSteps, acqSpans, numSamples, numPoints);
                return;
            }
        } else if (centerFreq == m_centerFreq) {
            OutputStage(freqSteps, acqSpans, numSamples, numPoints);
            return;
        }
    }

    m_span = span;
    m_centerFreq = centerFreq;
    m_rbw = rbw;
    m_windowType = window;
    m_numPoints = points;
    m_acqSpan = acqSpan;
    m_sampFreq = sampFreq;
    m_acqSamples = acqSamples;
    m_initDetector = detector;
    m_detector = detector;
    m_estimateOnly = estimateOnly;
    m_vbwRequest = vbw;
    m_cisprAcqLimit = cisprAcqBlocks;
    Reset();

    if (acqSpan >= span)
        PlanSingle(actualRBW, actualVBW);
    else
        PlanMultiple(actualRBW, actualVBW);

    OutputStage(freqSteps, acqSpans, numSamples, numPoints);
    if (!estimateOnly) m_planned = true;
}

void SteppedSpectrum::Reset() {
    m_upsample = 1;
    m_stitchRate = 1;
    m_subBlocks = false;
    m_averageBlocks = false;
    m_planned = false;
    delete m_window;
    m_window = nullptr;
    delete m_chirpZ;
    m_chirpZ = nullptr;
    delete m_cispr;
    m_cispr = nullptr;
    m_cisprAcqNum = 0;
    m_numSubBlocks = 1;
    m_lastIndex = -1;
    m_czPoints = 0;
    m_stitchCarry.Resize(0);
    m_stitchCarryLo.Resize(0);
    m_carry.Resize(0);
    m_carryPrev.Resize(0);
}

void SteppedSpectrum::PlanMultiple(double& actualRBW, double& actualVBW) {
    int P = m_numPoints;
    double s = m_span / (P - 1);
    m_stepPoints = static_cast<int>(std::trunc(m_acqSpan / s)) + 1;
    if (m_stepPoints < 7) {
        // Too few grid points per acquisition to stitch: a finer internal grid, six intervals per
        // acquisition at least, delivered in odd groups of stitchRate points.
        const double n = std::trunc(std::ceil(m_span / (m_acqSpan / 6.0))) + 1.0;
        // The finer grid must stay an int count of points (and its stitch buffer of 4 groups too).
        const double rate = std::ceil(n / P);
        if (!(rate <= static_cast<double>(INT_MAX / 4))) VELA_THROW(VELAErrorInvalidInputParameter);
        m_stitchRate = static_cast<int>(rate);
        if (m_stitchRate % 2 == 0) ++m_stitchRate;
        P = internal::CheckedProduct(P, m_stitchRate);
        s = m_span / (P - 1);
        m_stepPoints = static_cast<int>(std::trunc(m_acqSpan / s)) + 1;
        m_stitchBuf.Resize(4 * m_stitchRate);
        m_stitchBuf.Resize(0);
        m_stitchCarry.Resize(m_stitchRate);
        m_stitchCarry.Resize(0);
    }
    if (m_stepPoints % 2 == 0) --m_stepPoints;
    m_stepSpan = s * (m_stepPoints - 1);
    // The tuning count, formed in double: a request whose tunings would not fit an int is refused.
    const double halfTunings = std::ceil(((m_span - m_stepSpan) * 0.5) / m_stepSpan);
    if (!(halfTunings >= 0.0 && halfTunings <= static_cast<double>((INT_MAX - 1) / 2)))
        VELA_THROW(VELAErrorInvalidInputParameter);
    const int T = 2 * static_cast<int>(halfTunings) + 1;
    m_freqSteps.Resize(T);
    m_acqSpans.Resize(T);
    m_numSamples.Resize(T);
    m_tuningPoints.Resize(T);

    CommonSteps(actualRBW, actualVBW, m_stepSpan, m_stepPoints);
    if (!m_estimateOnly) {
        m_czPoints = internal::CheckedLength(int64_t{m_stepPoints - 1} * m_upsample + 1);
        const double start = ToFloat(m_stepSpan * -0.5);
        const double step = ToFloat(m_stepSpan) / (m_czPoints - 1);
        m_chirpZ = new ChirpZ(m_blockLen, m_sampFreq, m_czPoints, start, step, false);
    }

    const double acq = ToFloat(m_acqSpan);
    const int samples = m_acqSamples != 0 ? m_acqSamples : m_subBlockLen;
    const double start = m_centerFreq - m_span * 0.5;
    const double stop = m_span * 0.5 + m_centerFreq;
    const int mid = (T - 1) / 2;
    const int first = (P - (T - 2) * (m_stepPoints - 1) - 1) / 2;
    for (int i = 0; i < T; ++i) {
        m_acqSpans[i] = acq;
        m_numSamples[i] = samples;
        m_freqSteps[i] = ToFloat((i - mid) * m_stepSpan) + m_centerFreq;
        m_tuningPoints[i] = m_stepPoints - 1;
    }
    m_freqSteps[0] = ToFloat(m_stepSpan * 0.5 + start);
    m_freqSteps[T - 1] = ToFloat(stop - m_stepSpan * 0.5);
    m_tuningPoints[0] = first;
    // For an odd grid this is first + 1; an even one gives the last tuning the remainder, so that the
    // counts always sum to the grid.
    m_tuningPoints[T - 1] = P - first - (T - 2) * (m_stepPoints - 1);
}

void SteppedSpectrum::PlanSingle(double& actualRBW, double& actualVBW) {
    m_stepSpan = m_span;
    m_freqSteps.Resize(1);
    m_acqSpans.Resize(1);
    m_numSamples.Resize(1);
    m_tuningPoints.Resize(1);
    m_freqSteps[0] = m_centerFreq;
    m_acqSpans[0] = m_acqSpan;
    m_tuningPoints[0] = m_numPoints;
    CommonSteps(actualRBW, actualVBW, m_span, m_numPoints);
    m_stepPoints = m_numPoints;
    if (!m_estimateOnly) {
        m_czPoints = internal::CheckedProduct(m_upsample, m_numPoints);
        m_chirpZ =
            new ChirpZ(m_blockLen, m_sampFreq, m_czPoints, m_span * -0.5, m_span / (m_czPoints - 1), false);
    }
    m_numSamples[0] = m_acqSamples != 0 ? m_acqSamples : m_subBlockLen;
}

void SteppedSpectrum::CommonSteps(double& actualRBW, double& actualVBW, double W, int Q) {
    // W1: the window, without coefficients yet; its factor between bin width and resolution bandwidth.
    m_window = m_windowFactory.MakeWindow(m_windowType);
    const double f = static_cast<double>(m_window->GetEffectiveRBWScaling());

    // W2: the block length that gives the requested resolution bandwidth.
    const double len = std::trunc(m_sampFreq / m_rbw * f + 0.5);
    if (!(len >= 2.0) || len > static_cast<double>(INT_MAX)) VELA_THROW(VELAErrorInvalidInputParameter);
    m_blockLen = static_cast<int>(len);
    int samples = m_blockLen;

    // W3: a video bandwidth is reached by averaging the power of more blocks. Beyond the fitted range the
    // factor can fall below one; one block is the least that can be measured.
    if (m_vbwRequest > 0.0) {
        samples = m_vbw.GetSamples(m_vbwRequest / m_rbw, m_blockLen);
        if (samples < m_blockLen) samples = m_blockLen;
        if (samples > m_blockLen) m_averageBlocks = true;
    }

    // W4.
    actualRBW = m_sampFreq / m_blockLen * f;

    // W5: the block length the hardware really delivers overrides the plan.
    if (m_acqSamples != 0 && m_acqSamples != samples && !m_estimateOnly) {
        if (m_acqSamples > samples) {
            if (m_vbwRequest == 0.0) {
                m_subBlocks = true;
                actualVBW = 0.0;
            } else if (m_vbwRequest > 0.0) {
                m_averageBlocks = true;
                actualVBW = 0.0;
            }
            // A negative vbw keeps everything: the first blockLen samples are transformed.
        } else if (m_acqSamples > m_blockLen) {
            if (m_vbwRequest > 0.0) {
                m_averageBlocks = true;
                actualVBW = 0.0;
            }
        } else {
            // Less data than the window wants: a shorter window and a wider resolution bandwidth.
            m_averageBlocks = false;
            m_blockLen = m_acqSamples;
            actualVBW = 0.0;
            actualRBW = m_sampFreq / m_acqSamples * f;
            samples = m_acqSamples;
            if (m_blockLen < 2) VELA_THROW(VELAErrorInvalidInputParameter);
        }
    }
    // W5b.
    m_subBlockLen = samples;

    // W6: chirp-Z bins per grid point so that the grid is at least as fine as the window resolves.
    const double v = std::trunc(std::ceil(m_blockLen * W / m_acqSpan)) + 1.0;
    if (v > Q) {
        const double upsample = std::ceil(v / Q);
        if (!(upsample <= static_cast<double>(INT_MAX))) VELA_THROW(VELAErrorInvalidInputParameter);
        m_upsample = static_cast<int>(upsample);
    }
    if (!m_estimateOnly) {
        m_window->SetParameters(m_blockLen);
        // The chirp-Z applies the window itself (one coefficient per point), in the pass of its pre-chirp.
        m_window->GetCoefficients(m_weights);
    }
    if (m_windowType == WindowTypeCISPR6dB && !m_estimateOnly) {
        m_cispr = new CISPRDetector(m_centerFreq);
        m_cispr->GetHWAcqParameters(m_cisprAcqNum, m_rbw);
        if (m_cisprAcqLimit > 0) m_cisprAcqNum = m_cisprAcqLimit;
    }
}

void SteppedSpectrum::OutputStage(VecReal64& freqSteps, VecReal64& acqSpans, VecInt32& numSamples,
                                  VecInt32& numPoints) {
    const int T = m_freqSteps.GetSize();
    MathUtils::Copy(freqSteps, T, m_freqSteps, 0);
    MathUtils::Copy(numSamples, T, m_numSamples, 0);
    MathUtils::Copy(acqSpans, T, m_acqSpans, 0);
    MathUtils::Copy(numPoints, T, m_tuningPoints, 0);
    if (m_stitchRate >= 2) {
        // Count delivered points: each tuning completes (carry + its grid points) / stitchRate groups.
        int c = 0;
        for (int i = 0; i < T; ++i) {
            const int a = c + m_tuningPoints[i];
            numPoints[i] = a / m_stitchRate;
            c = a % m_stitchRate;
        }
    }
}

}  // namespace VELA
