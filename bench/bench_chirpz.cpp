// ChirpZ beside its floor, two raw FFTW transforms of the same power-of-two length L (one forward, one
// inverse, the planner flags of the library), and beside scipy.signal.czt on the same complex64 data,
// timed in the same run by a python script (CPU time, median of repeats). Also the CISPR quasi-peak
// detector on a full 8001-bin spectrum, quoted per bin.
//
// The python anchors run once before the Google benchmarks; --no-python skips them.
#include <fftw3.h>

#include "kernel/FFTPlan.h"
#include <unistd.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "BenchSummary.h"
#include <corvane/corvane.h>

namespace {

namespace fs = std::filesystem;
using VELA::ChirpZ;
using VELA::DSPUtils;
using VELA::FFTPlanning;
using VELA::FFTPlanningAutomatic;
using VELA::FFTPlanningMeasure;
using VELA::FFTPlanningRigour;
using VELA::VecCplx32;
using VELA::VecReal32;
using VELA::Window;
using VELA::WindowFactory;
using VELA::WindowTypeFlatTop;

const int kSizes[] = {1000, 8192, 65536};
constexpr double kFs = 1.0;
constexpr double kStart = 0.1;  // zoom on [0.1, 0.4) of the sample rate
constexpr double kSpan = 0.3;
constexpr double kFloorGoal = 1.4;      // ChirpZ time / two-FFT time, upper bound
constexpr double kMeasuredGoal = 1.25;  // the same with the object's transforms planned as the anchor's
constexpr double kScipyGoal = 10.0;     // scipy time / ChirpZ time, lower bound
constexpr int kBins = 8001;

double Step(int m) {
    return kSpan / m;
}

VecCplx32 Random(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    VecCplx32 v(n);
    float* p = reinterpret_cast<float*>(v.Data());
    for (int i = 0; i < 2 * n; ++i)
        p[i] = u(gen);
    return v;
}

std::string Name(const char* what, int n) {
    return std::string(what) + "/" + std::to_string(n);
}

// ---------------------------------------------------------------- python anchor

struct PyFigures {
    double scipySec = 0, relErr = -1;
};

const char* kTimingScript = R"(
import sys, time, timeit
import numpy as np
import scipy.signal
d = sys.argv[1]
fs, f0, span = float(sys.argv[2]), float(sys.argv[3]), float(sys.argv[4])
for n in sys.argv[5:]:
    n = int(n)
    m = n
    x = np.fromfile(f'{d}/{n}_in', dtype=np.complex64)
    ours = np.fromfile(f'{d}/{n}_ours', dtype=np.complex64).astype(np.complex128)
    twopi = 6.2831854820251465  # the 2pi of ChirpZ (float-nearest), so both compute the same transform
    w = np.exp(-1j * twopi * (span / m) / fs)
    a = np.exp(1j * twopi * f0 / fs)
    ref = scipy.signal.czt(x.astype(np.complex128), m, w, a)
    err = np.linalg.norm(ours - ref) / np.linalg.norm(ref)
    t = timeit.Timer('scipy.signal.czt(x, m, w, a)', globals=globals(), timer=time.process_time)
    k, _ = t.autorange()
    k = max(1, int(k * 0.2 / max(t.timeit(k), 1e-9)))
    print(n, sorted(v / k for v in t.repeat(7, k))[3], err)
)";

std::map<int, PyFigures> RunPython() {
    std::map<int, PyFigures> figures;
    const fs::path dir = fs::temp_directory_path() / ("corvane_bench_czt_" + std::to_string(getpid()));
    fs::create_directories(dir);
    std::string args;
    for (int n : kSizes) {
        VecCplx32 in = Random(n, 1), out;
        ChirpZ czt(n, kFs, n, kStart, Step(n), false);
        czt.Apply(out, in);
        auto dump = [&](const char* suffix, const VecCplx32& v) {
            std::ofstream f(dir / (std::to_string(n) + suffix), std::ios::binary);
            f.write(reinterpret_cast<const char*>(v.Data()), static_cast<std::streamsize>(8 * v.GetSize()));
        };
        dump("_in", in);
        dump("_ours", out);
        args.push_back(' ');
        args.append(std::to_string(n));
    }
    {
        std::ofstream f(dir / "timing.py");
        f << kTimingScript;
    }
    char head[128];
    std::snprintf(head, sizeof head, " %.17g %.17g %.17g", kFs, kStart, kSpan);
    const std::string cmd =
        "/usr/bin/python3 " + (dir / "timing.py").string() + " " + dir.string() + head + args;
    std::printf("python anchor: %s\n", cmd.c_str());
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char line[512];
        while (std::fgets(line, sizeof line, p)) {
            std::istringstream is(line);
            int n = 0;
            PyFigures f;
            if (is >> n >> f.scipySec >> f.relErr) figures[n] = f;
        }
        pclose(p);
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
    return figures;
}

// ---------------------------------------------------------------- benchmarks

// `rigour` is the planner setting the object is built under: the default, or measured plans as the
// anchor's, which leaves the class's own cost beside the same transforms.
void ChirpZBench(benchmark::State& state, int n, FFTPlanningRigour rigour) {
    VecCplx32 in = Random(n, 1), out;
    FFTPlanning::SetRigour(rigour, 0);
    ChirpZ czt(n, kFs, n, kStart, Step(n), false);
    FFTPlanning::SetRigour(FFTPlanningAutomatic, 0);
    czt.Apply(out, in);  // scratch grows outside the timed loop
    for (auto _ : state) {
        czt.Apply(out, in);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    state.counters["L"] = czt.GetFFTSize();
}

// The floor: a forward and an inverse transform of length L, as the algorithm needs at least.
void TwoFFTBench(benchmark::State& state, int n) {
    const int l = ChirpZ(n, kFs, n, kStart, Step(n), false).GetFFTSize();
    // Measured plans: FFTW at its best short of PATIENT, whatever the library's own planner chooses.
    // Out of place into a third buffer, so the input never changes and no rescaling is needed.
    fftwf_complex* a = fftwf_alloc_complex(static_cast<size_t>(l));
    fftwf_complex* b = fftwf_alloc_complex(static_cast<size_t>(l));
    fftwf_complex* c = fftwf_alloc_complex(static_cast<size_t>(l));
    const unsigned flags = FFTW_MEASURE;
    fftwf_plan fwd = fftwf_plan_dft_1d(l, a, b, FFTW_FORWARD, flags);
    fftwf_plan inv = fftwf_plan_dft_1d(l, b, c, FFTW_BACKWARD, flags);
    VecCplx32 data = Random(l, 1);
    std::memcpy(a, data.Data(), sizeof(fftwf_complex) * static_cast<size_t>(l));
    for (auto _ : state) {
        fftwf_execute(fwd);
        fftwf_execute(inv);
        benchmark::DoNotOptimize(c);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(fwd);
    fftwf_destroy_plan(inv);
    fftwf_free(a);
    fftwf_free(b);
    fftwf_free(c);
    state.counters["L"] = l;
}

// The stepped sweep's chirp-Z ("1MHz Span": 98 samples to 97 bins on 256-point transforms, measured
// plans) over as many distinct blocks as the sweep has tunings, so that each block comes from memory as
// in a sweep: the magnitudes of the flat-top windowed block, as separate steps (window, Apply, magnitude)
// or as the one weighted call. Same values bit for bit.
constexpr int kSweepBlocks = 3339, kSweepN = 98, kSweepM = 97;
constexpr double kSweepFs = 781250.0;
void SweepChirpZBench(benchmark::State& state, bool fused) {
    std::vector<VecCplx32> blocks;
    for (int i = 0; i < kSweepBlocks; ++i)
        blocks.push_back(Random(kSweepN, 100u + static_cast<unsigned>(i)));
    FFTPlanning::SetRigour(FFTPlanningMeasure, 0);
    ChirpZ czt(kSweepN, kSweepFs, kSweepM, -150e3, 300e3 / (kSweepM - 1), false);
    FFTPlanning::SetRigour(FFTPlanningAutomatic, 0);
    WindowFactory factory;
    std::unique_ptr<Window> window(factory.MakeWindow(WindowTypeFlatTop, kSweepN, 0.0f));
    VecReal32 weights, mag;
    window->GetCoefficients(weights);
    VecCplx32 windowed, out;
    auto one = [&](const VecCplx32& b) {
        if (fused) {
            czt.ApplyMagnitude(mag, b, weights);
        } else {
            window->Apply(windowed, b);
            czt.Apply(out, windowed);
            DSPUtils::Mag(mag, out);
        }
    };
    one(blocks[0]);  // scratch grows outside the timed loop
    for (auto _ : state) {
        for (const VecCplx32& b : blocks)
            one(b);
        benchmark::DoNotOptimize(mag.Data());
        benchmark::ClobberMemory();
    }
    state.counters["blocks"] = kSweepBlocks;
}

void CISPRQuasiPeakBench(benchmark::State& state) {
    // Sixteen noisy spectra in turn, so the charge/discharge branch varies from bin to bin.
    std::mt19937 gen(5);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    std::vector<VecReal32> spectra;
    for (int s = 0; s < 16; ++s) {
        VecReal32 v(kBins);
        for (int i = 0; i < kBins; ++i)
            v[i] = u(gen) * u(gen);
        spectra.push_back(v);
    }
    VELA::CISPRDetector det(1e9);
    int acqNum = 0;
    det.GetHWAcqParameters(acqNum, 120000.0);
    VecReal32 out;
    det.Apply(out, spectra[0], 0, acqNum, VELA::DetectorCISPRQuasiPeak);
    int index = 1;
    for (auto _ : state) {
        det.Apply(out, spectra[static_cast<size_t>(index & 15)], index, acqNum, VELA::DetectorCISPRQuasiPeak);
        ++index;
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kBins);
}

class Reporter : public bench::SummaryReporter {
  public:
    explicit Reporter(std::map<int, PyFigures> py) : py_(std::move(py)) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        bench::SummaryReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
            const bool single = r.run_type == Run::RT_Iteration && r.repetitions <= 1;
            if (r.error_occurred || (!median && !single)) continue;
            ns_[r.run_name.function_name] =
                r.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(r.time_unit) * 1e9;
        }
    }

    void Finalize() override {
        bench::SummaryReporter::Finalize();
        if (!py_.empty()) {
            std::printf("\n%-14s %12s %16s %10s %8s %s\n", "ChirpZ (c64)", "ChirpZ", "scipy.signal.czt",
                        "speed-up", "goal", "verdict");
            for (int n : kSizes) {
                auto it = ns_.find(Name("ChirpZ/Apply_C32", n));
                auto p = py_.find(n);
                if (it == ns_.end() || p == py_.end()) continue;
                const double ours = it->second * 1e-3, sp = p->second.scipySec * 1e6;
                const double speedup = sp / ours;
                std::printf("N=M=%-10d %9.2f us %13.2f us %9.2fx %7.1fx %s   (rel. L2 vs scipy %.1e)\n", n,
                            ours, sp, speedup, kScipyGoal, speedup >= kScipyGoal ? "met" : "MISSED",
                            p->second.relErr);
            }
            std::printf("(CPU time per call; python: median of 7 repeats, time.process_time)\n");
        }
        auto q = ns_.find("CISPRDetector/Apply_QP/8001");
        if (q != ns_.end())
            std::printf("\nCISPRDetector quasi-peak: %.2f us per 8001-bin spectrum, %.2f ns per bin\n",
                        q->second * 1e-3, q->second / kBins);
        std::fflush(stdout);
    }

  private:
    std::map<int, PyFigures> py_;
    std::map<std::string, double> ns_;
};

}  // namespace

int main(int argc, char** argv) {
    const bool python = !bench::TakeFlag(argc, argv, "--no-python");
    Reporter reporter(python ? RunPython() : std::map<int, PyFigures>{});

    using M = bench::SummaryReporter::Metric;
    for (int n : kSizes) {
        const std::string czt = Name("ChirpZ/Apply_C32", n), floor = Name("FFTW/TwoFFT_C32_L_of", n);
        const std::string measured = Name("ChirpZ/Apply_C32_MeasuredPlans", n);
        benchmark::RegisterBenchmark(czt.c_str(), ChirpZBench, n, FFTPlanningAutomatic)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(measured.c_str(), ChirpZBench, n, FFTPlanningMeasure)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(floor.c_str(), TwoFFTBench, n)->Unit(benchmark::kMicrosecond);
        reporter.Compare(czt, floor, M::TimeRatio, kFloorGoal);
        reporter.Compare(measured, floor, M::TimeRatio, kMeasuredGoal);
    }
    benchmark::RegisterBenchmark("ChirpZ/SweepBlocks_WindowApplyMag/98to97", SweepChirpZBench, false)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("ChirpZ/SweepBlocks_ApplyMagnitude/98to97", SweepChirpZBench, true)
        ->Unit(benchmark::kMicrosecond);
    reporter.Compare("ChirpZ/SweepBlocks_ApplyMagnitude/98to97", "ChirpZ/SweepBlocks_WindowApplyMag/98to97",
                     M::TimeRatio, 1.0);
    benchmark::RegisterBenchmark("CISPRDetector/Apply_QP/8001", CISPRQuasiPeakBench)
        ->Unit(benchmark::kMicrosecond);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
