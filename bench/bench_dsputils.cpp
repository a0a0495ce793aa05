// DSPUtils: Conv beside numpy.convolve and scipy.signal.fftconvolve on the same float32 data, timed in
// the same run by a python script (CPU time, median of repeats), and Detect beside memcpy.
//
// Also measures the two Conv paths (direct sums, FFT overlap-save) on both sides of the crossover, so
// the choice in DSPUtilsConv.cpp can be checked on the machine at hand:
//   bench_dsputils --benchmark_filter=Crossover
// The python anchors run once before the Google benchmarks; --no-python skips them.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "BenchSummary.h"
#include <corvane/corvane.h>
#include "internal/DSPUtilsConv.h"

namespace {

namespace fs = std::filesystem;
using VELA::DSPUtils;
using VELA::VecReal32;

struct ConvCase {
    int na, nb;
    double goal;  // required speed-up over the faster python anchor
};
const ConvCase kConvCases[] = {{4096, 64, 3.0}, {65536, 1024, 2.0}};

VecReal32 Random(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    VecReal32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = u(gen);
    return v;
}

std::string Name(const char* what, int na, int nb) {
    return std::string(what) + "/" + std::to_string(na) + "x" + std::to_string(nb);
}

// ---------------------------------------------------------------- python anchors

struct PyFigures {
    double numpySec = 0, scipySec = 0, relErr = -1;
};

const char* kTimingScript = R"(
import sys, time, timeit
import numpy as np
import scipy.signal
d = sys.argv[1]
for case in sys.argv[2:]:
    a = np.fromfile(f'{d}/{case}_a', dtype=np.float32)
    b = np.fromfile(f'{d}/{case}_b', dtype=np.float32)
    ours = np.fromfile(f'{d}/{case}_ours', dtype=np.float32).astype(np.float64)
    ref = np.convolve(a.astype(np.float64), b.astype(np.float64))
    err = np.linalg.norm(ours - ref) / np.linalg.norm(ref)
    res = []
    for stmt in ('np.convolve(a, b)', 'scipy.signal.fftconvolve(a, b)'):
        t = timeit.Timer(stmt, globals=globals(), timer=time.process_time)
        n, _ = t.autorange()
        n = max(1, int(n * 0.2 / max(t.timeit(n), 1e-9)))
        res.append(sorted(x / n for x in t.repeat(7, n))[3])
    print(case, res[0], res[1], err)
)";

std::map<std::string, PyFigures> RunPython() {
    std::map<std::string, PyFigures> figures;
    const fs::path dir = fs::temp_directory_path() / ("corvane_bench_dsp_" + std::to_string(getpid()));
    fs::create_directories(dir);
    std::string args;
    for (const ConvCase& c : kConvCases) {
        const std::string tag = std::to_string(c.na) + "x" + std::to_string(c.nb);
        VecReal32 a = Random(c.na, 1), b = Random(c.nb, 2), out;
        DSPUtils::Conv(out, a, b);
        auto dump = [&](const char* suffix, const VecReal32& v) {
            std::ofstream f(dir / (tag + suffix), std::ios::binary);
            f.write(reinterpret_cast<const char*>(v.Data()),
                    static_cast<std::streamsize>(sizeof(float) * v.GetSize()));
        };
        dump("_a", a);
        dump("_b", b);
        dump("_ours", out);
        args += " " + tag;
    }
    {
        std::ofstream f(dir / "timing.py");
        f << kTimingScript;
    }
    const std::string cmd = "/usr/bin/python3 " + (dir / "timing.py").string() + " " + dir.string() + args;
    std::printf("python anchors: %s\n", cmd.c_str());
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char line[512];
        while (std::fgets(line, sizeof line, p)) {
            std::istringstream is(line);
            std::string tag;
            PyFigures f;
            if (is >> tag >> f.numpySec >> f.scipySec >> f.relErr) figures[tag] = f;
        }
        pclose(p);
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
    return figures;
}

// ---------------------------------------------------------------- benchmarks

void ConvBench(benchmark::State& state, int na, int nb) {
    VecReal32 a = Random(na, 1), b = Random(nb, 2), out;
    DSPUtils::Conv(out, a, b);  // plans and scratch outside the timed loop
    for (auto _ : state) {
        DSPUtils::Conv(out, a, b);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
}

void ConvPath(benchmark::State& state, int na, int nb, bool fft) {
    VecReal32 a = Random(na, 1), b = Random(nb, 2), out(na + nb - 1);
    auto run = [&] {
        if (fft)
            VELA::convdetail::ByFFT(a.Data(), na, b.Data(), nb, out.Data());
        else
            VELA::convdetail::Direct(a.Data(), na, b.Data(), nb, out.Data());
    };
    run();
    for (auto _ : state) {
        run();
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
}

constexpr int kDetectN = 1 << 20;
constexpr int kGroup = 8;

void DetectBench(benchmark::State& state, VELA::DetectorType type, int n, int group) {
    VecReal32 in = Random(n, 3), out;
    DSPUtils::Detect(out, in, group, type);
    for (auto _ : state) {
        DSPUtils::Detect(out, in, group, type);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, sizeof(float) * (n + n / group));
}

void Memcpy(benchmark::State& state) {
    VecReal32 in = Random(kDetectN, 3), out(kDetectN);
    for (auto _ : state) {
        std::memcpy(out.Data(), in.Data(), sizeof(float) * kDetectN);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 2.0 * sizeof(float) * kDetectN);
}

// The summary of the base class, plus the table of Conv against the python anchors.
class Reporter : public bench::SummaryReporter {
  public:
    explicit Reporter(std::map<std::string, PyFigures> py) : py_(std::move(py)) {}

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
        if (py_.empty()) return;
        std::printf("\n%-26s %12s %14s %14s %10s %8s %s\n", "Conv (float32)", "DSPUtils", "numpy.convolve",
                    "fftconvolve", "speed-up", "goal", "verdict");
        for (const ConvCase& c : kConvCases) {
            const std::string tag = std::to_string(c.na) + "x" + std::to_string(c.nb);
            auto it = ns_.find(Name("DSPUtils/Conv", c.na, c.nb));
            auto p = py_.find(tag);
            if (it == ns_.end() || p == py_.end()) continue;
            const double ours = it->second * 1e-3, np = p->second.numpySec * 1e6,
                         sp = p->second.scipySec * 1e6;
            const double speedup = std::min(np, sp) / ours;
            std::printf("%-26s %9.2f us %11.2f us %11.2f us %9.2fx %7.1fx %s   (rel. L2 vs numpy %.1e)\n",
                        tag.c_str(), ours, np, sp, speedup, c.goal, speedup >= c.goal ? "met" : "MISSED",
                        p->second.relErr);
        }
        std::printf("(CPU time per call; python: median of 7 repeats, time.process_time)\n");
        std::printf("Conv takes the FFT path for %s and %s\n",
                    VELA::convdetail::UsesFFT(4096, 64, false) ? "4096x64" : "not 4096x64",
                    VELA::convdetail::UsesFFT(65536, 1024, false) ? "65536x1024" : "not 65536x1024");
        std::fflush(stdout);
    }

  private:
    std::map<std::string, PyFigures> py_;
    std::map<std::string, double> ns_;
};

}  // namespace

int main(int argc, char** argv) {
    const bool python = !bench::TakeFlag(argc, argv, "--no-python");
    Reporter reporter(python ? RunPython() : std::map<std::string, PyFigures>{});

    for (const ConvCase& c : kConvCases)
        benchmark::RegisterBenchmark(Name("DSPUtils/Conv", c.na, c.nb).c_str(), ConvBench, c.na, c.nb)
            ->Unit(benchmark::kMicrosecond);

    using M = bench::SummaryReporter::Metric;
    benchmark::RegisterBenchmark("memcpy/1M", Memcpy)->Unit(benchmark::kMicrosecond);
    const std::pair<const char*, VELA::DetectorType> detectors[] = {
        {"DSPUtils/Detect_Max/1M/8", VELA::DetectorMax},
        {"DSPUtils/Detect_Ave/1M/8", VELA::DetectorAve},
        {"DSPUtils/Detect_Rms/1M/8", VELA::DetectorRms}};
    for (auto [name, type] : detectors) {
        benchmark::RegisterBenchmark(name, DetectBench, type, kDetectN, kGroup)
            ->Unit(benchmark::kMicrosecond);
        reporter.Compare(name, "memcpy/1M", M::BandwidthRatio, 0.85);
    }
    // Groups of 15: a stepped sweep's upsampling, as one tuning's 91 bins and as a long trace.
    benchmark::RegisterBenchmark("DSPUtils/Detect_Max/1M/15", DetectBench, VELA::DetectorMax, kDetectN, 15)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("DSPUtils/Detect_MaxMin/1M/15", DetectBench, VELA::DetectorMaxMin, kDetectN,
                                 15)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("DSPUtils/Detect_Max/91/15", DetectBench, VELA::DetectorMax, 91, 15)
        ->Unit(benchmark::kMicrosecond);
    reporter.Compare("DSPUtils/Detect_Max/1M/15", "memcpy/1M", M::BandwidthRatio, 0.0);

    // Both Conv paths around the crossover (float32), for information.
    for (int na : {1024, 4096, 65536})
        for (int nb : {32, 64, 96, 128, 192, 256}) {
            const std::string d = Name("Crossover/direct", na, nb), f = Name("Crossover/fft", na, nb);
            benchmark::RegisterBenchmark(d.c_str(), ConvPath, na, nb, false)->Unit(benchmark::kMicrosecond);
            benchmark::RegisterBenchmark(f.c_str(), ConvPath, na, nb, true)->Unit(benchmark::kMicrosecond);
            reporter.Compare(d, f, M::TimeRatio, 0);
        }
    return bench::RunAll(argc, argv, reporter);
}
