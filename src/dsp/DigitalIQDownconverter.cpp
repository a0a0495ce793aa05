#include "DigitalIQDownconverter.h"

#include <climits>
#include <cmath>
#include <cstring>

#include "internal/Kaiser.h"
#include "kernel/DownconvertKernels.h"

namespace VELA {

namespace {

// The usable share of a decimated rate: a span fills at most 80% of the output rate.
constexpr double kUsableShare = 0.8;
// Taps per unit of decimation: L = 20 M + 1.
constexpr int64_t kTapsPerDecimation = 20;
// The longest filter, and the decimation bound behind it (20 * 6710886 + 1 is the last L below it).
constexpr int64_t kMaxFilterLen = 0x7FFFFFF;
constexpr double kMaxDecimation = 6710886.0;
// Kaiser shape parameter (beta) of the filter's window, the same for every L.
constexpr double kKaiserBeta = 6.0;
// pi as a float, the constant of the sinc's argument.
constexpr double kPiFloat = 3.1415927410125732;
// 2 pi of the oscillator, as the design has always had it (a double a little short of 2 pi).
constexpr double kTwoPiOscillator = 6.28318530717958;
// Samples mixed into the ring in one go, beyond the L - 1 kept for the pending output.
constexpr int kRingBatch = 2048;

}  // namespace

double DigitalIQDownconverter::GetMinRequiredSpan(double sampFreq) {
    return sampFreq / kMaxDecimation * kUsableShare;
}

void DigitalIQDownconverter::SetParameters(double& outSampFreq, int& requiredLen, double& filterDelay,
                                           double centerFreq, double sampFreq, double span, int numOutput,
                                           bool estimateOnly) {
    if (!estimateOnly) {
        // Unchanged values leave a stream in progress alone. An object whose last change failed has no
        // filter to keep, so the same values rebuild it.
        if (m_ready && centerFreq == m_centerFreq && sampFreq == m_sampFreq && span == m_span &&
            numOutput == m_numOutput) {
            outSampFreq = m_outSampFreq;
            requiredLen = static_cast<int>(m_requiredLen);
            filterDelay = m_filterDelay;
            return;
        }
        m_ready = false;
    }

    if (!(sampFreq > 0.0) || !std::isfinite(sampFreq) || !(span > 0.0) || !std::isfinite(span) ||
        !std::isfinite(centerFreq) || numOutput < 0)
        VELA_THROW(VELAErrorInvalidInputParameter);
    // Rate over the span's share; below 1 (a span above 80% of the rate) there is no power of two to
    // decimate by. The upper test keeps the conversion defined; such ratios fail the length bound anyway.
    const double ratio = std::floor(sampFreq / (span / kUsableShare));
    if (!(ratio >= 1.0) || !(ratio < 0x1p62)) VELA_THROW(VELAErrorInvalidInputParameter);

    // The largest power of two not above n: halve n while doubling a counter, then take half of it.
    int64_t n = static_cast<int64_t>(ratio);
    int64_t counter = 1;
    while (n > 0) {
        n >>= 1;
        counter <<= 1;
    }
    const int64_t M = counter >> 1;
    const double outRate = sampFreq / static_cast<double>(M);

    const int64_t L = kTapsPerDecimation * M + 1;
    if (L > kMaxFilterLen) VELA_THROW(VELAErrorInvalidInputParameter);
    // A length an int cannot hold is refused rather than wrapped (near the minimum span this happens
    // for a few hundred outputs already).
    const int64_t required = M * static_cast<int64_t>(numOutput) + L - 1;
    if (required > INT_MAX) VELA_THROW(VELAErrorInvalidInputParameter);
    const double delay = static_cast<double>((L - 1) / 2);

    if (estimateOnly) {
        outSampFreq = outRate;
        requiredLen = static_cast<int>(required);
        filterDelay = delay;
        return;
    }

    const int taps = static_cast<int>(L);
    m_centerFreq = centerFreq;
    m_sampFreq = sampFreq;
    m_span = span;
    m_numOutput = numOutput;
    m_outSampFreq = outRate;
    m_requiredLen = static_cast<double>(required);
    m_filterDelay = delay;
    m_filterLen = taps;
    m_decimation = M;
    m_ringSize = taps - 1 + kRingBatch;
    m_ringI.Resize(m_ringSize + taps - 1);
    m_ringQ.Resize(m_ringSize + taps - 1);

    // Kaiser window: alpha = 2 * 6 / (L - 1) rounded to float, i.e. beta 6 for every L. Computed in
    // double throughout and rounded once, which holds for any L (there is no single-precision range to
    // fall out of).
    VecReal64 kaiser(taps);
    for (int i = 0; i < taps; ++i)
        kaiser[i] = 1.0;
    const float alpha = static_cast<float>(2.0 * (kKaiserBeta / static_cast<double>(taps - 1)));
    kaiser::MulKaiser(kaiser.Data(), taps, static_cast<double>(alpha));

    // sin(x) / x over x = t * (float)(pi / M), t = -(L-1)/2 .. (L-1)/2, the argument rounded to float,
    // times the window; then scaled so that the taps sum to 2 (unit gain from a real sine to a complex
    // tone).
    m_filter.Resize(taps);
    const float step = static_cast<float>(kPiFloat / static_cast<double>(M));
    const int half = (taps - 1) / 2;
    double sum = 0.0;
    for (int i = 0; i < taps; ++i) {
        const float x = static_cast<float>(i - half) * step;
        const double xd = x;
        const float sinc = x == 0.0f ? 1.0f : static_cast<float>(std::sin(xd) / xd);
        const float tap = sinc * static_cast<float>(kaiser[i]);
        m_filter[i] = tap;
        sum += tap;
    }
    const double scale = sum * 0.5;
    for (int i = 0; i < taps; ++i)
        m_filter[i] = static_cast<float>(m_filter[i] / scale);

    m_omega = centerFreq * -kTwoPiOscillator / sampFreq;
    m_rotation.Resize(2 * kern::kMixBlock);
    kern::MixRotationTable(m_omega, m_rotation.Data());

    Flush();
    m_ready = true;
    outSampFreq = outRate;
    requiredLen = static_cast<int>(required);
    filterDelay = delay;
}

void DigitalIQDownconverter::Flush() {
    if (m_sampFreq == -1.0) return;
    m_inCount = 0;
    m_nextStart = 0;
    m_writePos = 0;
    m_nextPos = 0;
    m_phaseCount = static_cast<int64_t>(std::trunc(m_filterDelay));
}

VELAErrorCodeTag DigitalIQDownconverter::Apply(VecCplx32& out, const VecReal32& in) {
    m_abort.Clear();
    try {
        ApplyInternal(out, in);
    } catch (const VELAException& e) {
        return e.code;
    }
    return VELAErrorNone;
}

void DigitalIQDownconverter::MixIntoRing(const float* x, int count) {
    const kern::DownconvertKernelTable& k = kern::DCK();
    float* ringI = m_ringI.Data();
    float* ringQ = m_ringQ.Data();
    const int mirror = m_filterLen - 1;
    while (count > 0) {
        const int q = m_writePos;
        const int len = count < m_ringSize - q ? count : m_ringSize - q;
        k.mix_real_f32(x, ringI + q, ringQ + q, len, m_omega, m_phaseCount, m_rotation.Data());
        // The ring's first L - 1 entries are repeated after its end.
        if (q < mirror) {
            const int m = (q + len < mirror ? q + len : mirror) - q;
            std::memcpy(ringI + m_ringSize + q, ringI + q, sizeof(float) * static_cast<size_t>(m));
            std::memcpy(ringQ + m_ringSize + q, ringQ + q, sizeof(float) * static_cast<size_t>(m));
        }
        m_writePos = q + len == m_ringSize ? 0 : q + len;
        m_inCount += len;
        m_phaseCount += len;
        x += len;
        count -= len;
    }
}

void DigitalIQDownconverter::ApplyInternal(VecCplx32& out, const VecReal32& in) {
    if (!m_ready) VELA_THROW(VELAErrorInvalidInputParameter);
    const int n = in.GetSize();
    const int L = m_filterLen;
    // The first segment of a stream must fill the filter.
    if (m_inCount == 0 && n < L) VELA_THROW(VELAErrorInvalidInputParameter);

    // The most outputs a segment can give: with s < M samples carried towards the next output,
    // (s + n) / M <= n / M + 1.
    const int capacity = static_cast<int>(n / m_decimation + 1);
    out.Resize(capacity);
    const kern::DownconvertKernelTable& k = kern::DCK();
    const float* ringI = m_ringI.Data();
    const float* ringQ = m_ringQ.Data();
    const float* h = m_filter.Data();
    const int pairs = (L - 1) / 2;
    const int M = static_cast<int>(m_decimation);
    float* dst = reinterpret_cast<float*>(out.Data());
    const float* src = in.Data();
    int pos = 0, made = 0;
    for (;;) {
        // Every output whose window is complete; the abort request is read again before each one.
        while (m_nextStart + L <= m_inCount) {
            if (m_abort.IsSet()) VELA_THROW(VELAErrorAbort);
            if (made >= capacity) VELA_THROW(VELAErrorInvalidInputParameter);
            const int p = m_nextPos;
            if (m_nextStart == 0)
                k.dot_f32(ringI + p, ringQ + p, h, L, dst + 2 * made);
            else
                k.fold_fir_f32(ringI + p, ringQ + p, h, pairs, dst + 2 * made);
            ++made;
            m_nextStart += M;
            m_nextPos = m_nextPos + M >= m_ringSize ? m_nextPos + M - m_ringSize : m_nextPos + M;
        }
        if (pos == n) break;
        if (m_abort.IsSet()) VELA_THROW(VELAErrorAbort);
        // Room up to the oldest sample the next output still needs; at least kRingBatch.
        const int64_t room = m_ringSize - (m_inCount - m_nextStart);
        const int batch = n - pos < room ? n - pos : static_cast<int>(room);
        MixIntoRing(src + pos, batch);
        pos += batch;
    }
    out.Resize(made);
}

}  // namespace VELA
