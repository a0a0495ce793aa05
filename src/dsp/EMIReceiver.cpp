#include "EMIReceiver.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "../math/MathUtils.h"
#include "kernel/EMIDetectorKernels.h"
#include "kernel/FFTPlan.h"
#include "kernel/Memory.h"
#include "kernel/SpectrumKernels.h"

namespace VELA {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Envelope samples per B6 at least: a Gaussian pulse response sampled this densely peaks within 0.12 dB
// of its true maximum wherever the pulse falls.
constexpr double kEnvelopeOversampling = 8.0;
// Bin spacing at most B6/14: a measuring frequency lands within B6/28 of a bin centre.
constexpr double kBinsPerB6 = 14.0;
// The window spans +/-5 sigma of the Gaussian; the truncation is 1e-108/20 down.
constexpr double kWindowSigmas = 5.0;
// The IF filter must fit inside the recording's band down to -40 dB: a Gaussian of 6 dB bandwidth B6 is
// 40 dB down at 1.29 B6 from its centre.
constexpr double kFilterReach = 1.3;
// Samples taken into the history buffer per refill beyond the window.
constexpr int kChunk = 4096;
// Largest transform accepted: 2^24 points keep the object well inside memory and int sizes.
constexpr int64_t kMaxFFT = int64_t(1) << 24;

// Amplitude response of a Gaussian: exp(-f^2 / (2 s^2)); 6 dB down (a half, in amplitude, 20log10 = -6.02)
// at f = s sqrt(2 ln 2). So B6 = 2 s sqrt(2 ln 2), and the window's time-domain sigma is 1/(2 pi s).
double GaussSigmaHz(double b6) {
    return b6 / (2.0 * std::sqrt(2.0 * std::log(2.0)));
}

// Mean over a carrier cycle of max(cos t - x, 0): the charging current of a diode detector whose
// capacitor holds x times the carrier's crest, per unit crest and unit charge resistance. The diode
// conducts for |t| < phi with cos phi = x, so the mean is (sin phi - x phi) / pi: 1/pi for an empty
// capacitor, falling as (1 - x)^(3/2) near the crest.
double DiodeDrive(double x) {
    if (x >= 1.0) return 0.0;
    if (x <= -1.0) return -x;
    const double phi = std::acos(x);
    return (std::sin(phi) - x * phi) / kPi;
}

// Capacitor voltage, per unit crest, at which a steady carrier's charge balances the discharge:
// DiodeDrive(v) / rc = v / discharge.
double SteadyVoltage(double rc, double discharge) {
    double lo = 0.0, hi = 1.0;
    for (int i = 0; i < 80; ++i) {
        const double mid = 0.5 * (lo + hi);
        if (DiodeDrive(mid) / rc > mid / discharge)
            lo = mid;
        else
            hi = mid;
    }
    return 0.5 * (lo + hi);
}

// Time for a carrier switched on at t = 0 to charge the capacitor to 1 - 1/e of its steady voltage:
// the integral of dv / (DiodeDrive(v)/rc - v/discharge) from 0 there (Simpson's rule; the integrand
// is smooth and finite on that interval).
double ChargeTime(double rc, double discharge) {
    const double top = (1.0 - std::exp(-1.0)) * SteadyVoltage(rc, discharge);
    const int n = 2000;
    const double h = top / n;
    double sum = 0.0;
    for (int i = 0; i <= n; ++i) {
        const double v = i * h;
        const double w = (i == 0 || i == n) ? 1.0 : (i % 2 ? 4.0 : 2.0);
        sum += w / (DiodeDrive(v) / rc - v / discharge);
    }
    return sum * h / 3.0;
}

}  // namespace

// The charge time constant of an EMI receiver is defined by measurement: a sine switched on at the
// detector's input brings the output to 63 % of its final value in that time. The diode conducts only
// near the carrier's crests, so the resistance-capacitance product that meets it is about a quarter
// of the charge time constant; found here by bisection (the charge time grows with it).
void EMIReceiver::QuasiPeakDiode(double& rc, double& steady, double charge, double discharge) {
    double lo = charge * 1e-3, hi = charge;
    for (int i = 0; i < 60; ++i) {
        const double mid = std::sqrt(lo * hi);
        if (ChargeTime(mid, discharge) < charge)
            lo = mid;
        else
            hi = mid;
    }
    rc = std::sqrt(lo * hi);
    steady = SteadyVoltage(rc, discharge);
}

namespace {

bool AllFinite(const Cplx32* p, int n) {
    // 0 x is 0 for every finite x and NaN for an infinity or a NaN, so one pass with no branch tells
    // whether the block holds anything but finite samples.
    float acc = 0.0f;
    for (int i = 0; i < n; ++i)
        acc += 0.0f * p[i].re + 0.0f * p[i].im;
    return acc == 0.0f;
}

}  // namespace

EMIReceiver::EMIReceiver() = default;

EMIReceiver::~EMIReceiver() {
    Unconfigure();
}

EMIBandParameters EMIReceiver::GetBandParameters(EMIBand band) {
    switch (band) {
        case EMIBand::A:
            return {200.0, 0.045, 0.5, 0.16, 10.0};
        case EMIBand::B:
            return {9000.0, 0.001, 0.16, 0.16, 10.0};
        case EMIBand::CD:
            return {120000.0, 0.001, 0.55, 0.1, 100.0};
    }
    VELA_THROW(VELAErrorInvalidInputParameter);
}

EMIBand EMIReceiver::BandOf(double frequency) {
    if (!std::isfinite(frequency)) VELA_THROW(VELAErrorInvalidInputParameter);
    if (frequency < 150e3) return EMIBand::A;
    if (frequency <= 30e6) return EMIBand::B;
    return EMIBand::CD;
}

double EMIReceiver::GetSettlingTime(EMIBand band) {
    // The critically damped meter reaches 1 - (1 + t/T) exp(-t/T) of a step: 0.96 at 5 T, within 0.1 dB
    // of the final reading once the peak and quasi-peak stages have settled.
    return 5.0 * GetBandParameters(band).meterTC;
}

double EMIReceiver::ToDBMicroVolt(double volts) {
    if (!(volts > 0.0)) return -400.0;
    return 20.0 * std::log10(volts / 1e-6);
}

void EMIReceiver::Unconfigure() {
    m_configured = false;
    if (m_plan) kern::FFTDestroy(m_plan);
    m_plan = nullptr;
    kern::AlignedFree(m_work);
    m_work = nullptr;
}

void EMIReceiver::SetParameters(EMIBand band, double sampleRate, const VecReal64& offsets) {
    Configure(band, sampleRate, offsets.Data(), offsets.GetSize());
}

void EMIReceiver::SetParameters(EMIBand band, double sampleRate, double centreFrequency,
                                const VecReal64& frequencies) {
    if (!std::isfinite(centreFrequency)) {
        Unconfigure();
        VELA_THROW(VELAErrorInvalidInputParameter);
    }
    VecReal64 offsets(frequencies.GetSize() > 0 ? frequencies.GetSize() : 0);
    for (int i = 0; i < frequencies.GetSize(); ++i)
        offsets[i] = frequencies[i] - centreFrequency;
    Configure(band, sampleRate, offsets.Data(), offsets.GetSize());
}

void EMIReceiver::Configure(EMIBand band, double sampleRate, const double* offsets, int count) {
    Unconfigure();
    if (band != EMIBand::A && band != EMIBand::B && band != EMIBand::CD)
        VELA_THROW(VELAErrorInvalidInputParameter);
    if (!std::isfinite(sampleRate) || !(sampleRate > 0.0)) VELA_THROW(VELAErrorInvalidInputParameter);
    if (count <= 0 || offsets == nullptr) VELA_THROW(VELAErrorInvalidInputParameter);
    const EMIBandParameters par = GetBandParameters(band);
    const double b6 = par.bandwidth6dB;
    for (int i = 0; i < count; ++i) {
        if (!std::isfinite(offsets[i])) VELA_THROW(VELAErrorInvalidInputParameter);
        if (std::fabs(offsets[i]) + kFilterReach * b6 > 0.5 * sampleRate)
            VELA_THROW(VELAErrorInvalidInputParameter);
    }

    // Sizes in 64 bits, checked before anything is allocated.
    const double sigmaSamples = sampleRate / (2.0 * kPi * GaussSigmaHz(b6));
    const double halfSpan = std::ceil(kWindowSigmas * sigmaSamples);
    const double binTarget = std::ceil(kBinsPerB6 * sampleRate / b6);
    if (!(halfSpan < double(kMaxFFT)) || !(binTarget <= double(kMaxFFT)))
        VELA_THROW(VELAErrorInvalidInputParameter);
    const int64_t windowLength = 2 * static_cast<int64_t>(halfSpan) + 1;
    // A power of two: the plans are made without measuring (the library's planner default at these
    // sizes), and FFTW's estimated plans are several times faster for powers of two than for other
    // smooth lengths (2048 against 2250 points: 3x). Both operands are below 2^26 here.
    const int64_t fftLength = MathUtils::NextPowOf2(
        static_cast<int>(std::max<int64_t>(windowLength, static_cast<int64_t>(binTarget))));
    if (fftLength > kMaxFFT) VELA_THROW(VELAErrorInvalidInputParameter);
    const int64_t hop =
        std::max<int64_t>(1, static_cast<int64_t>(std::floor(sampleRate / (kEnvelopeOversampling * b6))));
    const int64_t historyCapacity = windowLength - 1 + std::max<int64_t>(hop, kChunk);
    if (historyCapacity > kMaxFFT * 2) VELA_THROW(VELAErrorInvalidInputParameter);

    const int L = static_cast<int>(windowLength);
    const int N = static_cast<int>(fftLength);

    kern::FFTPlan* plan = kern::FFTCreate(kern::FFTKind::C32, N, 8);
    if (!plan) VELA_THROW(VELAErrorMemoryAlloc);
    const size_t workBytes = std::max<size_t>(kern::FFTWorkBytes(plan), 64);
    void* work = kern::AlignedAlloc(workBytes);
    if (!work) {
        kern::FFTDestroy(plan);
        VELA_THROW(VELAErrorMemoryAlloc);
    }
    m_plan = plan;
    m_work = work;

    m_band = band;
    m_par = par;
    m_sampleRate = sampleRate;
    m_windowLength = L;
    m_fftLength = N;
    m_hop = static_cast<int>(hop);
    m_count = count;

    // Window normalised to unit sum: a tone of magnitude A on a bin centre gives |X| = A. Each weight is
    // held twice, for the real and the imaginary part of its sample, so that the frame is weighted by
    // one element-wise product of floats.
    m_window.Resize(2 * L);
    double sum = 0.0;
    const double centre = 0.5 * (L - 1);
    for (int i = 0; i < L; ++i) {
        const double x = (i - centre) / sigmaSamples;
        sum += std::exp(-0.5 * x * x);
    }
    for (int i = 0; i < L; ++i) {
        const double x = (i - centre) / sigmaSamples;
        const float w = static_cast<float>(std::exp(-0.5 * x * x) / sum);
        m_window[2 * i] = w;
        m_window[2 * i + 1] = w;
    }

    m_bins.Resize(count);
    m_tuned.Resize(count);
    for (int k = 0; k < count; ++k) {
        const long long b = std::llround(offsets[k] * N / sampleRate);
        m_tuned[k] = static_cast<double>(b) * sampleRate / N;
        m_bins[k] = static_cast<int32_t>(((b % N) + N) % N);
    }

    m_history.Resize(static_cast<int>(historyCapacity));
    m_frame.Resize(N);
    m_spectrum.Resize(N);
    m_env.Resize(count);

    const double dt = static_cast<double>(m_hop) / sampleRate;
    m_dischargeDecay = std::exp(-dt / par.dischargeTC);
    double rc = 0.0, steady = 0.0;
    QuasiPeakDiode(rc, steady, par.chargeTC, par.dischargeTC);
    m_chargeGain = dt / rc;
    m_sineScale = 1.0 / steady;
    m_drive.Resize(kern::kEMIDriveSteps + 1);
    for (int i = 0; i <= kern::kEMIDriveSteps; ++i) {
        const double sq = static_cast<double>(i) / kern::kEMIDriveSteps;
        m_drive[i] = DiodeDrive(1.0 - sq * sq);
    }
    m_meterGain = -std::expm1(-dt / par.meterTC);
    m_rmsGain = -std::expm1(-dt * 2.0 * kPi * par.rmsCornerHz);

    for (VecReal64* v : {&m_peak, &m_qpCap, &m_qpMeter1, &m_qpMeter2, &m_qpMax, &m_avMeter1, &m_avMeter2,
                         &m_avMax, &m_rmsPower, &m_rmsMeter1, &m_rmsMeter2, &m_rmsMax})
        v->Resize(count);

    m_configured = true;
    Reset();
}

void EMIReceiver::Reset() {
    if (!m_configured) return;
    // The stream is preceded by silence: the first frame ends on the first sample.
    m_history.SetZero();
    m_histFill = m_windowLength - 1;
    m_histStart = -(m_windowLength - 1);
    m_nextFrameEnd = 0;
    m_samples = 0;
    m_frame.SetZero();
    for (VecReal64* v : {&m_peak, &m_qpCap, &m_qpMeter1, &m_qpMeter2, &m_qpMax, &m_avMeter1, &m_avMeter2,
                         &m_avMax, &m_rmsPower, &m_rmsMeter1, &m_rmsMeter2, &m_rmsMax})
        v->SetZero();
}

void EMIReceiver::Process(const VecCplx32& block) {
    if (!m_configured) VELA_THROW(VELAErrorInvalidInputParameter);
    const int n = block.GetSize();
    if (n <= 0) return;
    const Cplx32* in = block.Data();
    if (!AllFinite(in, n)) VELA_THROW(VELAErrorInvalidInputParameter);

    const int capacity = m_history.GetSize();
    int pos = 0;
    while (pos < n) {
        const int take = std::min(n - pos, capacity - m_histFill);
        std::memcpy(m_history.Data() + m_histFill, in + pos, sizeof(Cplx32) * static_cast<size_t>(take));
        m_histFill += take;
        pos += take;
        m_samples += take;

        // Every frame whose last sample has arrived.
        const long long lastHeld = m_histStart + m_histFill - 1;
        while (m_nextFrameEnd <= lastHeld) {
            RunFrame(static_cast<int>(m_nextFrameEnd - (m_windowLength - 1) - m_histStart));
            m_nextFrameEnd += m_hop;
        }
        // Keep from the first sample of the next frame on.
        const long long keepFrom = m_nextFrameEnd - (m_windowLength - 1);
        const int drop = static_cast<int>(std::min<long long>(keepFrom - m_histStart, m_histFill));
        if (drop > 0) {
            std::memmove(m_history.Data(), m_history.Data() + drop,
                         sizeof(Cplx32) * static_cast<size_t>(m_histFill - drop));
            m_histFill -= drop;
            m_histStart += drop;
        }
    }
}

void EMIReceiver::RunFrame(int start) {
    const int L = m_windowLength;
    Cplx32* f = m_frame.Data();
    // The frame is the window times the held samples, formed in one pass from the history.
    kern::SPK().mul_f32(reinterpret_cast<const float*>(m_history.Data() + start), m_window.Data(),
                        reinterpret_cast<float*>(f), 2 * L);
    kern::FFTExecC32(m_plan, reinterpret_cast<const float*>(f), reinterpret_cast<float*>(m_spectrum.Data()),
                     true, m_work);
    const kern::EMIDetectorKernelTable& k = kern::EDK();
    k.envelope_c32(reinterpret_cast<const float*>(m_spectrum.Data()), m_bins.Data(), m_env.Data(), m_count);
    Detect(m_env.Data());
}

// Every measuring frequency's detectors take one envelope step, all frequencies at once in the kernel
// (one vector lane per frequency).
void EMIReceiver::Detect(const double* env) {
    const kern::EMIDetectorConstants c = {m_dischargeDecay, m_chargeGain, m_sineScale,
                                          m_meterGain,      m_rmsGain,    m_drive.Data()};
    const kern::EMIDetectorState s = {m_peak.Data(),      m_qpCap.Data(),     m_qpMeter1.Data(),
                                      m_qpMeter2.Data(),  m_qpMax.Data(),     m_avMeter1.Data(),
                                      m_avMeter2.Data(),  m_avMax.Data(),     m_rmsPower.Data(),
                                      m_rmsMeter1.Data(), m_rmsMeter2.Data(), m_rmsMax.Data()};
    kern::EDK().step_f64(env, m_count, c, s);
}

void EMIReceiver::GetReadings(VecReal64& out, EMIDetector detector) const {
    if (!m_configured) VELA_THROW(VELAErrorInvalidInputParameter);
    const VecReal64* src = nullptr;
    switch (detector) {
        case EMIDetector::Peak:
            src = &m_peak;
            break;
        case EMIDetector::QuasiPeak:
            src = &m_qpMax;
            break;
        case EMIDetector::Average:
            src = &m_avMax;
            break;
        case EMIDetector::RMSAverage:
            src = &m_rmsMax;
            break;
    }
    if (!src) VELA_THROW(VELAErrorInvalidInputParameter);
    // The envelope is the peak of the RF signal; a receiver is calibrated to the r.m.s. of a sine.
    const double rms = std::sqrt(0.5);
    out.Resize(m_count);
    for (int k = 0; k < m_count; ++k)
        out[k] = (*src)[k] * rms;
}

void EMIReceiver::GetTunedOffsets(VecReal64& out) const {
    if (!m_configured) VELA_THROW(VELAErrorInvalidInputParameter);
    out.Resize(m_count);
    for (int k = 0; k < m_count; ++k)
        out[k] = m_tuned[k];
}

double EMIReceiver::GetElapsedTime() const {
    return m_configured ? static_cast<double>(m_samples) / m_sampleRate : 0.0;
}

double EMIReceiver::GetEnvelopeRate() const {
    return m_configured ? m_sampleRate / m_hop : 0.0;
}

}  // namespace VELA
