#include "DigitalZoom.h"

#include <climits>
#include <cmath>
#include <cstdint>

#include "../math/MathUtils.h"
#include "../math/VELAError.h"
#include "ChirpZ.h"
#include "DSPUtils.h"
#include "kernel/SpectrumScalar.h"
#include "internal/HalfBandChain.h"

namespace VELA {

using halfband::kLn2Float;

const int DigitalZoom::halfBandFilterTaps = 27;
const float DigitalZoom::halfBandFilterCoefs[8] = {VELA_HALF_BAND_27_TAPS};
const int DigitalZoom::halfBandLastFilterTaps = 51;
const float DigitalZoom::halfBandLastFilterCoefs[14] = {VELA_HALF_BAND_51_TAPS};

DigitalZoom::DigitalZoom() : DigitalZoom(-1.0, -1.0, -1.0) {}

DigitalZoom::DigitalZoom(double srcCenter, double srcSpan, double srcSampFreq)
    : m_srcSpan(srcSpan),
      m_srcSampFreq(srcSampFreq),
      m_srcCenter(srcCenter),
      m_center(0.0),
      m_span(0.0),
      m_rbw(0.0),
      m_windowType(WindowTypeUniform),
      m_windowPara(0.0),
      m_unit(PowerUnitDB),
      m_requiredLen(0),
      m_chirpZ(nullptr),
      m_window(nullptr),
      m_valid(false),
      m_numStages(0),
      m_decimFreq(0.0),
      m_chirpPoints(0),
      m_blockLen(0),
      m_lastStage(false) {}

DigitalZoom::~DigitalZoom() {
    delete m_chirpZ;
    delete m_window;
}

void DigitalZoom::Clear() {
    delete m_chirpZ;
    delete m_window;
    m_chirpZ = nullptr;
    m_window = nullptr;
    m_valid = false;
    m_lastStage = false;
    m_unit = PowerUnitDB;
    m_requiredLen = 0;
    m_center = 0.0;
    m_span = 0.0;
    m_rbw = 0.0;
}

void DigitalZoom::SetSource(double srcCenter, double srcSpan, double srcSampFreq) {
    if (srcCenter == m_srcCenter && srcSpan == m_srcSpan && srcSampFreq == m_srcSampFreq) return;
    m_srcCenter = srcCenter;
    m_srcSpan = srcSpan;
    m_srcSampFreq = srcSampFreq;
    Clear();
}

int DigitalZoom::SetParameters(double center, double span, double rbw, WindowType window, double windowPara) {
    const double h = m_srcSpan * 0.5;
    const double r = span * 0.5;
    if (!(center - r + 1e-6 >= m_srcCenter - h && center + r <= 1e-6 + h + m_srcCenter)) {
        m_valid = false;
        return -1;
    }
    // What the steps below cannot turn into a chain, a block and a transform.
    if (!(span > 0.0) || !std::isfinite(span) || !(rbw > 0.0) || !std::isfinite(rbw) ||
        !(m_srcSampFreq > 0.0) || !std::isfinite(m_srcSampFreq) || static_cast<uint32_t>(window) > 7u)
        VELA_THROW(VELAErrorInvalidInputParameter);
    m_valid = true;
    if (span == m_span && rbw == m_rbw && window == m_windowType && windowPara == m_windowPara) {
        m_center = center;
        return m_requiredLen;
    }

    const double stages = std::trunc(std::log(m_srcSampFreq / span * 0.5) / kLn2Float);
    if (stages > 30.0) VELA_THROW(VELAErrorInvalidInputParameter);  // the length alone would exceed an int
    const int numStages = stages > 0.0 ? static_cast<int>(stages) : 0;
    double decimFreq = m_srcSampFreq / std::ldexp(1.0, numStages);
    bool lastStage = false;
    if (span != m_srcSpan) {
        lastStage = span / decimFreq <= 0.4;
        if (lastStage) decimFreq *= 0.5;
    }
    Window* newWindow = m_windowFactory.MakeWindow(window);
    const double block = std::trunc(decimFreq / rbw * newWindow->GetEffectiveRBWScaling() + 0.5);
    const double points = std::trunc(span / rbw + 1.0);
    int64_t n = block < 2.0 ? 2 : static_cast<int64_t>(block < 1e12 ? block : 1e12);
    const int blockLen = static_cast<int>(n < INT_MAX ? n : INT_MAX);
    if (lastStage) n = (25 + n) * 2;
    for (int i = 0; i < numStages; ++i)
        n = (n + 13) * 2;
    if (n > INT_MAX || points > INT_MAX) {
        delete newWindow;
        VELA_THROW(VELAErrorInvalidInputParameter);
    }
    const int chirpPoints = points < 1001.0 ? 1001 : static_cast<int>(points);
    ChirpZ* newChirpZ = nullptr;
    try {
        newChirpZ =
            new ChirpZ(blockLen, static_cast<float>(decimFreq), chirpPoints, static_cast<float>(span * -0.5),
                       static_cast<float>(span / (chirpPoints - 1)), false);
        m_windowFactory.SetParameters(newWindow, blockLen, static_cast<float>(windowPara));
    } catch (...) {
        delete newChirpZ;
        delete newWindow;
        throw;
    }

    delete m_chirpZ;
    delete m_window;
    m_chirpZ = newChirpZ;
    m_window = newWindow;
    m_numStages = numStages;
    m_decimFreq = decimFreq;
    m_lastStage = lastStage;
    m_blockLen = blockLen;
    m_chirpPoints = chirpPoints;
    m_requiredLen = static_cast<int>(n);
    m_center = center;
    m_span = span;
    m_rbw = rbw;
    m_windowType = window;
    m_windowPara = windowPara;
    return m_requiredLen;
}

void DigitalZoom::Apply(VecReal32& out, double& binWidth, const VecCplx32& in) {
    if (!m_chirpZ || !m_window || in.GetSize() < m_requiredLen) VELA_THROW(VELAErrorInvalidInputParameter);
    double s = (m_srcCenter - m_center) / m_srcSampFreq;
    if (s < 0.0) s += 1.0;
    DSPUtils::ShiftFreq(m_bufA, in, static_cast<float>(s), 0.0f);
    Decimate(m_numStages);
    m_window->Apply(m_bufB, m_bufA);
    m_chirpZ->Apply(m_bufA, m_bufB);
    DSPUtils::MagSqr(m_power, m_bufA);
    if (m_unit != PowerUnitDB) {
        MathUtils::Copy(out, m_power.GetSize(), m_power, 0);
    } else {
        m_power += kern::spectrum::kEpsilon;
        MathUtils::Log10(out, m_power);
        out *= 10.0f;
    }
    binWidth = m_span / (out.GetSize() - 1);
}

void DigitalZoom::Decimator2(VecCplx32& out, const VecCplx32& in, int taps, const float* coefs) {
    halfband::Decimate2(out, in, taps, coefs);
}

void DigitalZoom::Decimate(int stages) {
    // Settled behaviour: an even count without the 51-tap step still copies the longer block of the
    // last step but one over the result, and that block, at twice the rate, is what goes on.
    halfband::RunChain(Decimator2, m_bufA, m_bufB, stages, m_lastStage, true, halfBandFilterCoefs,
                       halfBandFilterTaps, halfBandLastFilterCoefs, halfBandLastFilterTaps);
}

}  // namespace VELA
