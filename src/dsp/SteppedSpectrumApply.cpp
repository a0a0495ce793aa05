// SteppedSpectrum, the processing: one tuning's block to its slice of the trace, in the one-call way
// (Apply) and the two-stage way (Apply1, then Apply2 per trace, with Apply3 between for CISPR).
//
// Every step writes member scratch through Resize, Copy, Detect and Append, which reuse capacity, so once
// a sweep has run, the next sweep of the same plan allocates nothing.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "../math/MathUtils.h"
#include "CISPRDetector.h"
#include "ChirpZ.h"
#include "internal/CheckedSize.h"
#include "SteppedSpectrum.h"

namespace VELA {

namespace {

// Added before every logarithm so that an empty bin reads about -800 dB (magnitude) or -400 dB (power)
// and never minus infinity. It is a denormal: nothing in the library flushes denormals to zero.
constexpr float kEpsilon = 1e-40f;

bool ValidDetector(DetectorType det) {
    return static_cast<unsigned>(det) <= 8u;
}

}  // namespace

void SteppedSpectrum::CheckProcessing(int index) const {
    // Before a plan for processing exists (no Init, or only an estimate), or for a tuning the plan does
    // not have, there is nothing defined to compute.
    if (!m_planned || !m_window || !m_chirpZ || index < 0 || index >= m_tuningPoints.GetSize())
        VELA_THROW(VELAErrorInvalidInputParameter);
}

void SteppedSpectrum::StageA(const VecCplx32& in, bool binMajor) {
    const int size = in.GetSize();
    if (m_subBlocks) {
        // One transform per sub-block. For Apply1 the B magnitudes of a bin lie side by side (bin-major),
        // the layout Apply2 reduces; Apply reduces across sub-blocks itself and keeps one row per
        // sub-block, which avoids the strided scatter.
        const int B = size / m_subBlockLen;
        if (B < 1) VELA_THROW(VELAErrorInvalidInputParameter);
        m_numSubBlocks = B;
        m_blockMat.Resize(internal::CheckedProduct(m_czPoints, B));
        float* mat = m_blockMat.Data();
        for (int b = 0; b < B; ++b) {
            MathUtils::Copy(m_block, m_subBlockLen, in, b * m_subBlockLen);
            m_chirpZ->ApplyMagnitude(m_blockMag, m_block, m_weights);
            const float* mag = m_blockMag.Data();
            if (binMajor) {
                for (int k = 0; k < m_czPoints; ++k)
                    mat[static_cast<size_t>(k) * B + b] = mag[k];
            } else {
                std::memcpy(mat + static_cast<size_t>(b) * m_czPoints, mag, sizeof(float) * m_czPoints);
            }
        }
        return;
    }
    m_numSubBlocks = 1;
    if (size < m_blockLen) VELA_THROW(VELAErrorInvalidInputParameter);
    if (!m_averageBlocks) {
        m_chirpZ->ApplyMagnitude(m_mag, in, m_weights);
        return;
    }
    // Video bandwidth: the power of B blocks averaged; the last block ends at the end of the data, so it
    // may overlap its neighbour.
    const int B = static_cast<int>((int64_t{size} + m_blockLen - 1) / m_blockLen);
    int o = 0;
    for (int b = 0; b < B; ++b) {
        MathUtils::Copy(m_block, m_blockLen, in, o);
        // The first block's powers start the sum (the same as adding them to zeros).
        if (b == 0) {
            m_chirpZ->ApplyPower(m_blockMat, m_block, m_weights);
        } else {
            m_chirpZ->ApplyPower(m_blockMag, m_block, m_weights);
            m_blockMat.Add(m_blockMag);
        }
        if (b == B - 2)
            o = size - m_blockLen;
        else
            o += m_blockLen;
    }
    m_blockMat.Div(static_cast<float>(B));
    MathUtils::Sqrt(m_mag, m_blockMat);
}

// Per bin across the sub-block rows of m_blockMat, what DSPUtils::Detect does to a group of B values:
// maximum and minimum by the same comparisons, mean and RMS accumulated in double, sample the first.
void SteppedSpectrum::ReduceSubBlocks(VecReal32& out, DetectorType det) {
    const int B = m_numSubBlocks, M = m_czPoints;
    const float* mat = m_blockMat.Data();
    out.Resize(M);
    float* d = out.Data();
    std::memcpy(d, mat, sizeof(float) * M);
    if (B == 1) return;
    switch (det) {
        case DetectorMax:
        case DetectorCISPRPeak:
            for (int b = 1; b < B; ++b) {
                const float* row = mat + static_cast<size_t>(b) * M;
                for (int k = 0; k < M; ++k)
                    d[k] = row[k] > d[k] ? row[k] : d[k];
            }
            break;
        case DetectorMin:
            for (int b = 1; b < B; ++b) {
                const float* row = mat + static_cast<size_t>(b) * M;
                for (int k = 0; k < M; ++k)
                    d[k] = row[k] < d[k] ? row[k] : d[k];
            }
            break;
        case DetectorAve:
        case DetectorCISPRAverage:
        case DetectorRms: {
            const bool rms = det == DetectorRms;
            m_accum.Resize(M);
            double* acc = m_accum.Data();
            for (int k = 0; k < M; ++k)
                acc[k] = 0.0;
            for (int b = 0; b < B; ++b) {
                const float* row = mat + static_cast<size_t>(b) * M;
                for (int k = 0; k < M; ++k) {
                    const double v = row[k];
                    acc[k] += rms ? v * v : v;
                }
            }
            const double root = std::sqrt(static_cast<double>(B));
            for (int k = 0; k < M; ++k)
                d[k] = static_cast<float>(rms ? std::sqrt(acc[k]) / root : acc[k] / B);
            break;
        }
        default:  // sample: the first sub-block
            break;
    }
}

// One detector's way from the magnitudes of stage A to the stitched magnitudes of this tuning. `det` is
// a single-output detector. `pre` receives the tuning's own points, `carry` holds the stitch remainder.
// Returns the vector that holds the result.
const VecReal32& SteppedSpectrum::TrackApply(VecReal32& pre, VecReal32& post, DetectorType det, int index,
                                             VecReal32& carry) {
    const int T = m_tuningPoints.GetSize();
    const int u = m_upsample;
    const VecReal32* src = &m_mag;
    if (m_subBlocks) {
        ReduceSubBlocks(m_powerBuf, det);
        src = &m_powerBuf;
    }

    // Stage B: this tuning's share of the bins, detected by u.
    if (T == 1) {
        DSPUtils::Detect(pre, *src, u, det);
    } else if (index == 0) {
        MathUtils::Copy(m_edgeBuf, m_tuningPoints[0] * u, *src, 0);
        DSPUtils::Detect(pre, m_edgeBuf, u, det);
    } else if (index < T - 1) {
        // All bins but the last, which the next tuning supplies: a tail shorter than u falls away in the
        // detection, and with one bin per point it is left out explicitly.
        if (u == 1)
            MathUtils::Copy(pre, src->GetSize() - 1, *src, 0);
        else
            DSPUtils::Detect(pre, *src, u, det);
    } else {
        int count = (m_tuningPoints[T - 1] - 1) * u + 1;
        if (count > src->GetSize()) count = src->GetSize();
        MathUtils::Copy(m_edgeBuf, count, *src, src->GetSize() - count);
        DSPUtils::Detect(m_detMain, m_edgeBuf, u, det);
        const int r = count % u;
        if (r >= 1) {
            MathUtils::Copy(m_tailBuf, r, m_edgeBuf, count - r);
            DSPUtils::Detect(m_detTail, m_tailBuf, r, det);
            MathUtils::Append(pre, m_detMain, m_detTail);
        } else {
            MathUtils::Copy(pre, m_detMain.GetSize(), m_detMain, 0);
        }
    }
    if (m_stitchRate == 1) return pre;

    // Stage C: groups of stitchRate points across tuning edges; the remainder waits for the next tuning.
    if (index == 0) carry.Resize(0);
    MathUtils::Append(m_stitchBuf, carry, pre);
    const int size = m_stitchBuf.GetSize();
    if (size < m_stitchRate) {
        MathUtils::Copy(carry, size, m_stitchBuf, 0);
        post.Resize(0);
        return post;
    }
    DSPUtils::Detect(post, m_stitchBuf, m_stitchRate, det);
    const int start = (size / m_stitchRate) * m_stitchRate;
    MathUtils::Copy(carry, size - start, m_stitchBuf, start);
    return post;
}

void SteppedSpectrum::Apply(VecReal32& out, const VecCplx32& in, int index) {
    CheckProcessing(index);
    StageA(in, false);
    // The CISPR detectors work across acquisitions (Apply3); in one call only the peak over the grid
    // remains.
    const DetectorType det = IsCISPRDetector(m_detector) ? DetectorMax : m_detector;
    if (det == DetectorMaxMin) {
        const VecReal32& hi = TrackApply(m_tuningTrace, m_pointsHi, DetectorMax, index, m_stitchCarry);
        const VecReal32& lo = TrackApply(m_traceLo, m_pointsLo, DetectorMin, index, m_stitchCarryLo);
        MathUtils::Interleave(m_interleaved, hi, lo);
        ConvertUnitMag(out, m_interleaved, m_unit);
        return;
    }
    const VecReal32& trace = TrackApply(m_tuningTrace, m_pointsHi, det, index, m_stitchCarry);
    ConvertUnitMag(out, const_cast<VecReal32&>(trace), m_unit);
}

void SteppedSpectrum::Apply1(VecReal32& out, const VecCplx32& in, int index) {
    CheckProcessing(index);
    if (index == 0) m_lastIndex = -1;
    StageA(in, true);
    const int T = m_tuningPoints.GetSize();
    const int B = m_numSubBlocks;
    const VecReal32& src = m_subBlocks ? m_blockMat : m_mag;
    const int size = src.GetSize();
    if (T == 1) {
        MathUtils::Copy(out, size, src, 0);
    } else if (index == 0) {
        MathUtils::Copy(out, m_tuningPoints[0] * m_upsample * B, src, 0);
    } else if (index < T - 1) {
        MathUtils::Copy(out, size - B, src, 0);  // less the extra last bin
    } else if (!m_subBlocks) {
        int count = (m_tuningPoints[T - 1] - 1) * m_upsample + 1;
        if (count > size) count = size;
        MathUtils::Copy(out, count, src, size - count);
    } else {
        MathUtils::Copy(out, size, src, 0);  // Apply2 trims it after the sub-block reduction
    }
}

// One detector's way from the stitch buffer of powers to the delivered points.
const VecReal32& SteppedSpectrum::TrackApply2(VecReal32& points, VecReal32& post, const VecReal32& stitch,
                                              DetectorType det) {
    const VecReal32* src = &stitch;
    if (m_subBlocks && m_numSubBlocks > 1) {
        DSPUtils::Detect(m_powerBuf, stitch, m_numSubBlocks, det);
        src = &m_powerBuf;
    }
    const int u = m_upsample;
    DSPUtils::Detect(m_detMain, *src, u, det);
    const int r = src->GetSize() % u;
    if (r >= 1) {
        MathUtils::Copy(m_tailBuf, r, *src, src->GetSize() - r);
        DSPUtils::Detect(m_detTail, m_tailBuf, r, det);
        MathUtils::Append(points, m_detMain, m_detTail);
    } else {
        MathUtils::Copy(points, m_detMain.GetSize(), m_detMain, 0);
    }
    if (m_stitchRate == 1) return points;
    DSPUtils::Detect(post, points, m_stitchRate, det);
    return post;
}

void SteppedSpectrum::Apply2(VecReal32& out, const VecReal32& in, int index, DetectorType det) {
    if (!m_planned || index < 0 || index >= m_tuningPoints.GetSize() || !ValidDetector(det))
        VELA_THROW(VELAErrorInvalidInputParameter);
    const int T = m_tuningPoints.GetSize();
    m_detector = IsCISPRDetector(det) ? DetectorMax : det;
    const int B = m_subBlocks ? m_numSubBlocks : 1;
    if (B < 1) VELA_THROW(VELAErrorInvalidInputParameter);

    // Powers; with sub-blocks the last tuning keeps only its share of the bins.
    MathUtils::Sqr(m_subPower, in);
    if (m_subBlocks && T > 1 && index == T - 1) {
        const int keep = ((m_tuningPoints[index] - 1) * m_upsample + 1) * B;
        if (m_subPower.GetSize() > keep) m_subPower.ShiftLeft(m_subPower.GetSize() - keep);
    }

    // The carry is held before the sub-block reduction, so that every detector of a tuning starts from
    // the same data and gives what a run with that detector alone gives.
    const bool first = m_lastIndex != index;
    if (first) {
        if (index == 0)
            m_carryPrev.Resize(0);
        else
            MathUtils::Copy(m_carryPrev, m_carry.GetSize(), m_carry, 0);
    }
    const VecReal32* stitch = &m_subPower;
    if (m_carryPrev.GetSize() > 0) {
        MathUtils::Append(m_stitchBuf, m_carryPrev, m_subPower);
        stitch = &m_stitchBuf;
    }

    if (m_detector == DetectorMaxMin) {
        const VecReal32& hi = TrackApply2(m_mag, m_pointsHi, *stitch, DetectorMax);
        const VecReal32& lo = TrackApply2(m_traceLo, m_pointsLo, *stitch, DetectorMin);
        MathUtils::Interleave(m_interleaved, hi, lo);
        ConvertUnit(out, m_interleaved, m_unit);
    } else {
        const VecReal32& res = TrackApply2(m_mag, m_stitched, *stitch, m_detector);
        ConvertUnit(out, const_cast<VecReal32&>(res), m_unit);
    }

    if (first && index != T - 1) {
        const int g = m_stitchRate * m_upsample;
        const int bins = stitch->GetSize() / B;
        const int full = (bins / g) * g;
        MathUtils::Copy(m_carry, (bins - full) * B, *stitch, full * B);
    }
    m_lastIndex = index;
}

void SteppedSpectrum::Apply3(VecReal32& out, const VecReal32& in, int index, int acqIndex, DetectorType det) {
    (void)index;  // the detector's state is per acquisition run, not per tuning
    if (!m_planned || !m_cispr) VELA_THROW(VELAErrorInvalidInputParameter);
    m_cispr->Apply(out, in, acqIndex, m_cisprAcqNum, det);
}

namespace {
// The unit conversion of both ConvertUnit forms: `factor` 10 for powers, 20 for magnitudes. The choice
// between linear and decibels follows `unit`, the +10 dB of the second unit follows `current` (the
// object's unit; every caller passes it as `unit` too). Adds epsilon to `in` in place.
void ToUnit(VecReal32& out, VecReal32& in, PowerUnit unit, PowerUnit current, float factor) {
    if (in.GetSize() == 0) {
        out.Resize(0);
        return;
    }
    if (unit != PowerUnitDB && unit != PowerUnitDBPlus10) {
        MathUtils::Copy(out, in.GetSize(), in, 0);
        return;
    }
    in.Add(kEpsilon);
    MathUtils::Log10(out, in);
    out.Mul(factor);
    if (current == PowerUnitDBPlus10) out.Add(10.0f);
}
}  // namespace

void SteppedSpectrum::ConvertUnit(VecReal32& out, VecReal32& in, PowerUnit unit) {
    ToUnit(out, in, unit, m_unit, 10.0f);
}

void SteppedSpectrum::ConvertUnitMag(VecReal32& out, VecReal32& in, PowerUnit unit) {
    ToUnit(out, in, unit, m_unit, 20.0f);
}

void SteppedSpectrum::GenCW(VecCplx32& out, double normFreq, int n) {
    out.Resize(n < 0 ? 0 : n);
    const double w = normFreq * 6.2831854820251465;
    for (int k = 0; k < n; ++k) {
        const double phase = k * w;
        out[k].re = static_cast<float>(std::cos(phase));
        out[k].im = static_cast<float>(std::sin(phase));
    }
}

void SteppedSpectrum::GenNoise(VecCplx32& out, int n) {
    unsigned int seed = 0;
    VecReal32 re, im;
    DSPUtils::Rand(re, seed, n, -0.5f, 0.5f);
    DSPUtils::Rand(im, seed, n, -0.5f, 0.5f);
    out.Import(re, im);
}

}  // namespace VELA
