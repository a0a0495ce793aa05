#include "DigitalSource.h"

#include <climits>
#include <cmath>
#include <cstdint>

#include "../math/MathUtils.h"
#include "../math/VELAError.h"
#include "DSPUtils.h"
#include "internal/HalfBandChain.h"

namespace VELA {

using halfband::kLn2Float;

const int DigitalSource::halfBandFilterTaps = 27;
const float DigitalSource::halfBandFilterCoefs[8] = {VELA_HALF_BAND_27_TAPS};
const int DigitalSource::halfBandLastFilterTaps = 51;
const float DigitalSource::halfBandLastFilterCoefs[14] = {VELA_HALF_BAND_51_TAPS};

void DigitalSource::SetSource(double srcCenter, double srcSpan, double srcSampFreq) {
    if (srcCenter == m_srcCenter && srcSpan == m_srcSpan && srcSampFreq == m_srcSampFreq) return;
    m_srcCenter = srcCenter;
    m_srcSpan = srcSpan;
    m_srcSampFreq = srcSampFreq;
    m_lastStage = false;
    m_requiredPad = -1;
    m_center = 0.0;
    m_span = 0.0;
}

int DigitalSource::SetParameters(double center, double span) {
    // A span of zero or less has no stage count, and an unset source no rate to divide.
    if (!(span > 0.0) || !std::isfinite(span) || !(m_srcSampFreq > 0.0) || !std::isfinite(m_srcSampFreq))
        VELA_THROW(VELAErrorInvalidInputParameter);
    if (span == m_srcSpan) {
        m_decimFreq = m_srcSampFreq;
        m_numStages = 0;
        m_lastStage = false;
        m_requiredPad = 0;
        m_center = center;
        m_span = span;
        return 0;
    }
    // A pad of -1 means the last setting was cleared by SetSource, whose stored span of 0.0 never
    // equals a valid one, so the chain is always recomputed then.
    if (span != m_span) {
        const double stages = std::trunc(std::log(m_srcSampFreq / span * 0.5) / kLn2Float);
        // Beyond 30 stages the pad alone exceeds an int.
        if (stages > 30.0) VELA_THROW(VELAErrorInvalidInputParameter);
        const int numStages = stages > 0.0 ? static_cast<int>(stages) : 0;
        double decimFreq = m_srcSampFreq / std::ldexp(1.0, numStages);
        const bool lastStage = span / decimFreq <= 0.4;
        if (lastStage) decimFreq *= 0.5;
        int64_t pad = lastStage ? 50 : 0;
        for (int i = 0; i < numStages; ++i)
            pad = (pad + 13) * 2;
        if (pad > INT_MAX) VELA_THROW(VELAErrorInvalidInputParameter);
        m_numStages = numStages;
        m_decimFreq = decimFreq;
        m_lastStage = lastStage;
        m_requiredPad = static_cast<int>(pad);
    }
    m_center = center;
    m_span = span;
    return m_requiredPad;
}

void DigitalSource::GetOutputParameters(double& sampFreq, int& outLen, int inLen) const {
    sampFreq = m_decimFreq;
    outLen = inLen;
    for (int i = 0; i < m_numStages; ++i)
        outLen = (outLen >> 1) - 13;
    if (m_lastStage) outLen = (outLen >> 1) - 25;
}

double DigitalSource::GetMaxSpanLimit(double sampFreq) const {
    // The doubling below would never end for a rate of zero or less.
    if (!(sampFreq > 0.0) || !std::isfinite(sampFreq)) VELA_THROW(VELAErrorInvalidInputParameter);
    const double q = m_srcSampFreq / sampFreq;
    double k = 1.0;
    if (q > 1.0) {
        while (k < q)
            k *= 2.0;
        if (k > 1.0 && std::fabs(q - std::trunc(q)) > 1e-40) k *= 0.5;
    }
    if (k > 1.0) return m_srcSampFreq * 0.8 / k;
    return m_srcSpan / k;
}

int DigitalSource::GetRequiredOrigDataLen(int outLen) const {
    int64_t n = outLen;
    if (m_lastStage) n = (25 + n) * 2;
    for (int i = 0; i < m_numStages; ++i)
        n = (n + 13) * 2;
    if (n > INT_MAX || n < INT_MIN) VELA_THROW(VELAErrorInvalidInputParameter);
    return static_cast<int>(n);
}

void DigitalSource::Apply(VecCplx32& out, const VecCplx32& in) {
    // Without a setting there is no chain to run; the pad test is the one check on the data.
    if (m_requiredPad < 0 || in.GetSize() < m_requiredPad) VELA_THROW(VELAErrorInvalidInputParameter);
    double s = (m_srcCenter - m_center) / m_srcSampFreq;
    s -= std::trunc(s);
    if (s < 0.0) s += 1.0;
    if (s > 1.0) s -= 1.0;
    DSPUtils::ShiftFreq(m_bufA, in, static_cast<float>(s), 0.0f);
    Decimate(m_numStages);
    MathUtils::Copy(out, m_bufA.GetSize(), m_bufA, 0);
}

void DigitalSource::Decimator2(VecCplx32& out, const VecCplx32& in, int taps, const float* coefs) {
    halfband::Decimate2(out, in, taps, coefs);
}

void DigitalSource::Decimate(int stages) {
    // Unlike the zoom's chain, an even count without the 51-tap step leaves the result where it is.
    halfband::RunChain(Decimator2, m_bufA, m_bufB, stages, m_lastStage, false, halfBandFilterCoefs,
                       halfBandFilterTaps, halfBandLastFilterCoefs, halfBandLastFilterTaps);
}

}  // namespace VELA
