// EMIReceiver: a band B scan of 1 MHz at 4.5 kHz steps (223 measuring frequencies) over a 1.25 MS/s
// recording (noise, a tone and an impulse train), against real time and against the block-based CISPR
// chain (SteppedSpectrum with the CISPR window and the quasi-peak detector: one windowed block per
// acquisition, acquisitions one acquisition time apart) on the same recording.
//
//   "EMIReceiver/Scan":         the whole recording through Process, all four detectors
//   "SteppedSpectrumCISPR/Scan": the blocks that the CISPR plan acquires from the same recording, each
//                                through Apply1 and Apply3 (quasi-peak), then Apply2 for the trace
//   "EMIReceiver/Scan/<level>":  the receiver's scan with the kernels forced to one instruction-set
//                                level ("reference": the scalar detector loop)
//   "EMIDetector/Step/<level>":  the detector stage alone: one envelope step of all four detectors for
//                                the scan's 223 measuring frequencies, at each kernel level
//
// With --emi-pulse-response=FILE the program instead writes the quasi-peak pulse response of bands B
// A, B and C/D (relative equivalent level against repetition rate, reference 25 Hz in band A and 100 Hz
// in the others) as CSV, the data of
// docs/images/emi-pulse-response.png (bench/plot_emi_pulse_response.py draws it).
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "BenchSummary.h"
#include "kernel/Dispatch.h"
#include "kernel/EMIDetectorKernels.h"
#include <corvane/corvane.h>

namespace {

using namespace VELA;

constexpr double kRate = 1.25e6;
constexpr double kSeconds = 0.7;  // the CISPR plan acquires for four discharge time constants, 0.64 s
constexpr double kRealTimeGoal = 1.0;

const std::vector<Cplx32>& Recording() {
    static std::vector<Cplx32> rec;
    if (rec.empty()) {
        const size_t n = static_cast<size_t>(kRate * kSeconds);
        rec.resize(n);
        std::mt19937 gen(24);
        std::normal_distribution<float> noise(0.0f, 1e-4f);
        for (size_t i = 0; i < n; ++i) {
            const double ph =
                2.0 * 3.14159265358979323846 * std::fmod(123456.0 * static_cast<double>(i) / kRate, 1.0);
            rec[i].re = static_cast<float>(1e-3 * std::cos(ph)) + noise(gen);
            rec[i].im = static_cast<float>(1e-3 * std::sin(ph)) + noise(gen);
            if (i % 12500 == 100) rec[i].re += 0.5f;  // 100 Hz impulses
        }
    }
    return rec;
}

void ScanOffsets(VecReal64& offsets) {
    offsets.Resize(223);
    for (int k = 0; k < 223; ++k)
        offsets[k] = -499500.0 + 4500.0 * k;
}

void EMIReceiverScan(benchmark::State& state) {
    const std::vector<Cplx32>& rec = Recording();
    VecReal64 offsets, out;
    ScanOffsets(offsets);
    EMIReceiver rx;
    rx.SetParameters(EMIBand::B, kRate, offsets);
    const int block = 65536;
    VecCplx32 buf(block);
    for (auto _ : state) {
        rx.Reset();
        for (size_t s = 0; s < rec.size(); s += block) {
            const int n = static_cast<int>(std::min<size_t>(block, rec.size() - s));
            buf.Resize(n);
            std::memcpy(buf.Data(), rec.data() + s, sizeof(Cplx32) * static_cast<size_t>(n));
            rx.Process(buf);
        }
        rx.GetReadings(out, EMIDetector::QuasiPeak);
        benchmark::DoNotOptimize(out.Data());
    }
    state.counters["seconds"] = kSeconds;
    state.counters["frequencies"] = offsets.GetSize();
    state.counters["fft"] = rx.GetFFTLength();
    state.counters["hop"] = rx.GetHop();
}

// The scan with every kernel family forced to one level.
void EMIReceiverScanAt(benchmark::State& state, kern::Variant level) {
    const kern::Variant before = kern::ActiveVariant();
    if (!kern::SetVariant(level)) {
        state.SkipWithError("level not supported by this CPU");
        return;
    }
    EMIReceiverScan(state);
    kern::SetVariant(before);
}

// Mean over a carrier cycle of max(cos t - x, 0), the diode drive the receiver tabulates.
double DiodeDrive(double x) {
    if (x >= 1.0) return 0.0;
    const double phi = std::acos(x);
    return (std::sin(phi) - x * phi) / 3.14159265358979323846;
}

// One envelope step of the detectors of 223 frequencies, with band B's constants at the receiver's
// envelope interval (17 samples at 1.25 MS/s) and envelopes like the scan's: the magnitude of complex
// Gaussian noise on every frequency, a steady tone on one, an impulse on all once in 256 steps.
void DetectorStep(benchmark::State& state, kern::Variant level) {
    const kern::EMIDetectorKernelTable* t = kern::EMIDetectorTableFor(level);
    if (!t) {
        state.SkipWithError("level not supported by this CPU");
        return;
    }
    const int n = 223, steps = 256;
    std::vector<double> table(kern::kEMIDriveSteps + 1);
    for (int i = 0; i <= kern::kEMIDriveSteps; ++i) {
        const double sq = static_cast<double>(i) / kern::kEMIDriveSteps;
        table[static_cast<size_t>(i)] = DiodeDrive(1.0 - sq * sq);
    }
    const double dt = 17.0 / kRate;
    double rc = 0.0, steady = 0.0;
    EMIReceiver::QuasiPeakDiode(rc, steady, 0.001, 0.16);
    const kern::EMIDetectorConstants c = {std::exp(-dt / 0.16),
                                          dt / rc,
                                          1.0 / steady,
                                          -std::expm1(-dt / 0.16),
                                          -std::expm1(-dt * 2.0 * 3.14159265358979323846 * 10.0),
                                          table.data()};
    std::mt19937 gen(3);
    std::normal_distribution<double> noise(0.0, 1e-4);
    std::vector<double> env(static_cast<size_t>(n * steps));
    for (int s = 0; s < steps; ++s)
        for (int k = 0; k < n; ++k) {
            const double re = noise(gen) + (k == 138 ? 1e-3 : 0.0), im = noise(gen);
            env[static_cast<size_t>(s * n + k)] = std::sqrt(re * re + im * im) + (s == 5 ? 0.05 : 0.0);
        }
    std::vector<double> st(static_cast<size_t>(12 * n), 0.0);
    double* p = st.data();
    const kern::EMIDetectorState s = {p,         p + n,     p + 2 * n, p + 3 * n, p + 4 * n,  p + 5 * n,
                                      p + 6 * n, p + 7 * n, p + 8 * n, p + 9 * n, p + 10 * n, p + 11 * n};
    int step = 0;
    for (auto _ : state) {
        t->step_f64(env.data() + static_cast<size_t>(step * n), n, c, s);
        step = (step + 1) % steps;
        benchmark::ClobberMemory();
    }
    state.counters["frequencies"] = n;
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
}

void SteppedCISPRScan(benchmark::State& state) {
    const std::vector<Cplx32>& rec = Recording();
    SteppedSpectrum ss;
    VecReal64 freqSteps, acqSpans;
    VecInt32 numSamples, numPoints;
    double rbw = 0, vbw = 0;
    ss.Init(freqSteps, acqSpans, numSamples, numPoints, rbw, vbw, 1.0035e6, 10e6, 9000.0, WindowTypeCISPR6dB,
            223, 1.25e6, kRate, 0, DetectorCISPRQuasiPeak, false, 0.0, 0);
    const int acqNum = ss.GetCISPRAcqNum();
    const int n = numSamples[0];
    // Acquisitions one acquisition time apart, as the plan's hardware would take them.
    CISPRDetector probe(10e6);
    double acqTime = 0;
    int num = 0;
    probe.GetHWAcqParameters(acqTime, num, 10e6, 9000.0);
    const double step = acqTime * kRate;
    std::vector<VecCplx32> blocks;
    for (int a = 0; a < acqNum; ++a) {
        const size_t at = static_cast<size_t>(a * step);
        if (at + static_cast<size_t>(n) > rec.size()) break;
        blocks.emplace_back(n);
        std::memcpy(blocks.back().Data(), rec.data() + at, sizeof(Cplx32) * static_cast<size_t>(n));
    }
    const int used = static_cast<int>(blocks.size());
    VecReal32 mag, res, trace;
    for (auto _ : state) {
        for (int a = 0; a < used; ++a) {
            ss.Apply1(mag, blocks[static_cast<size_t>(a)], 0);
            ss.Apply3(res, mag, 0, a, DetectorCISPRQuasiPeak);
        }
        ss.Apply2(trace, res, 0, DetectorCISPRQuasiPeak);
        benchmark::DoNotOptimize(trace.Data());
    }
    state.counters["seconds"] = used * acqTime;
    state.counters["acquisitions"] = used;
    state.counters["planned"] = acqNum;
    state.counters["blockLen"] = n;
    state.counters["tunings"] = freqSteps.GetSize();
}

class Reporter : public bench::SummaryReporter {
  public:
    void Finalize() override {
        bench::SummaryReporter::Finalize();
        std::printf("\n%-28s %12s %12s %10s %s\n", "benchmark", "signal s", "CPU s", "x real", "verdict");
        for (const char* name : {"EMIReceiver/Scan", "SteppedSpectrumCISPR/Scan"}) {
            const Figures* f = Find(name);
            if (!f) continue;
            const double sig = f->counters.at("seconds");
            const double rt = sig / (f->ns * 1e-9);
            std::printf("%-28s %12.3f %12.4f %10.2f %s\n", name, sig, f->ns * 1e-9, rt,
                        std::strcmp(name, "EMIReceiver/Scan") == 0 ? (rt >= kRealTimeGoal ? "met" : "MISSED")
                                                                   : "(information)");
        }
        std::printf("(goal: the receiver faster than real time on one core; CPU time per pass)\n");
        std::fflush(stdout);
    }
};

// Quasi-peak reading of unit impulses at `rate` Hz, the first at 10 ms.
double PulseQP(EMIBand band, double fs, double rate, double seconds) {
    EMIReceiver rx;
    VecReal64 scan(1), out;
    scan[0] = 0.0;
    rx.SetParameters(band, fs, scan);
    const long long total = static_cast<long long>(seconds * fs);
    const double period = fs / rate, start = 0.01 * fs;
    VecCplx32 buf;
    for (long long s = 0; s < total; s += 65536) {
        const int n = static_cast<int>(std::min<long long>(65536, total - s));
        buf.Resize(n);
        buf.SetZero();
        for (int i = 0; i < n; ++i) {
            const double j = std::round((static_cast<double>(s + i) - start) / period);
            if (j >= 0 && std::llround(start + j * period) == s + i) buf[i].re = static_cast<float>(2.0 * fs);
        }
        rx.Process(buf);
    }
    rx.GetReadings(out, EMIDetector::QuasiPeak);
    return out[0];
}

int WritePulseResponse(const char* path) {
    FILE* f = std::fopen(path, "w");
    if (!f) return 1;
    std::fprintf(f, "band,rate_hz,level_db\n");
    struct B {
        const char* name;
        EMIBand band;
        double fs, discharge, reference;  // band A is referred to 25 Hz, the others to 100 Hz
    };
    const double rates[] = {1, 2, 5, 10, 20, 25, 50, 60, 100, 200, 500, 1000};
    for (B b : {B{"A", EMIBand::A, 2000.0, 0.5, 25.0}, B{"B", EMIBand::B, 50000.0, 0.16, 100.0},
                B{"CD", EMIBand::CD, 400000.0, 0.55, 100.0}}) {
        auto dwell = [&](double r) { return std::max(1.5, 6.0 / r + 10 * b.discharge); };
        const double ref = PulseQP(b.band, b.fs, b.reference, dwell(b.reference));
        for (double r : rates) {
            if (r > (b.band == EMIBand::A ? 100.0 : 1000.0)) continue;  // band A's pulses overlap beyond
            std::fprintf(f, "%s,%g,%.3f\n", b.name, r,
                         20.0 * std::log10(ref / PulseQP(b.band, b.fs, r, dwell(r))));
        }
        // An isolated pulse (rate 0 in the file).
        std::fprintf(f, "%s,0,%.3f\n", b.name,
                     20.0 * std::log10(ref / PulseQP(b.band, b.fs, 0.05, 3.0 + 10 * b.discharge)));
    }
    std::fclose(f);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const char* flag = "--emi-pulse-response=";
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], flag, std::strlen(flag)) == 0)
            return WritePulseResponse(argv[i] + std::strlen(flag));
    Recording();
    Reporter reporter;
    benchmark::RegisterBenchmark("EMIReceiver/Scan", EMIReceiverScan)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("SteppedSpectrumCISPR/Scan", SteppedCISPRScan)
        ->Unit(benchmark::kMillisecond);
    for (kern::Variant v :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512}) {
        const std::string level = kern::VariantName(v);
        benchmark::RegisterBenchmark(("EMIReceiver/Scan/" + level).c_str(), EMIReceiverScanAt, v)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("EMIDetector/Step/" + level).c_str(), DetectorStep, v)
            ->Unit(benchmark::kNanosecond);
    }
    reporter.Compare("EMIReceiver/Scan", "SteppedSpectrumCISPR/Scan",
                     bench::SummaryReporter::Metric::TimeRatio, 0.0);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
