// Spectrum::Apply on complex float blocks beside raw FFTW of the same length (the planner flags the
// library uses, out of place, aligned), and beside numpy evaluating the same measurement,
// 20 log10(|fftshift(fft(x w))| + eps), on the same data with the same window, timed in the same run by
// a python script (CPU time, median of repeats).
//
// The stages of Apply are timed one by one as well (Stage/*), so a miss can be traced to its pass.
// The python anchor runs once before the Google benchmarks; --no-python skips it.
#include <fftw3.h>
#include <unistd.h>

#include <cmath>
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
#include "kernel/FFTPlan.h"
#include "kernel/SpectrumKernels.h"

namespace {

namespace fs = std::filesystem;
using VELA::Cplx32;
using VELA::VecCplx32;
using VELA::VecReal32;

const int kSizes[] = {1024, 4096, 65536};
constexpr VELA::WindowType kWindow = VELA::WindowTypeBlackmanHarris;

VecCplx32 Random(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = Cplx32{u(gen), u(gen)};
    return v;
}

std::string Name(const char* what, int n) {
    return std::string(what) + "/" + std::to_string(n);
}

// ---------------------------------------------------------------- python anchor

struct PyFigures {
    double sec = 0, maxDiffDb = -1;
};

const char* kTimingScript = R"(
import sys, time, timeit
import numpy as np
d = sys.argv[1]
eps = np.float32(1e-40)
for case in sys.argv[2:]:
    x = np.fromfile(f'{d}/{case}_x', dtype=np.complex64)
    w = np.fromfile(f'{d}/{case}_w', dtype=np.float32)
    ours = np.fromfile(f'{d}/{case}_ours', dtype=np.float32).astype(np.float64)
    ref = 20 * np.log10(np.abs(np.fft.fftshift(np.fft.fft(x.astype(np.complex128) * w))) + float(eps))
    diff = np.max(np.abs(ours - ref)[ref > -100])
    t = timeit.Timer('20 * np.log10(np.abs(np.fft.fftshift(np.fft.fft(x * w))) + eps)', globals=globals(),
                     timer=time.process_time)
    n, _ = t.autorange()
    n = max(1, int(n * 0.2 / max(t.timeit(n), 1e-9)))
    print(case, sorted(s / n for s in t.repeat(7, n))[3], diff)
)";

std::map<int, PyFigures> RunPython() {
    std::map<int, PyFigures> figures;
    const fs::path dir = fs::temp_directory_path() / ("corvane_bench_spectrum_" + std::to_string(getpid()));
    fs::create_directories(dir);
    std::string args;
    for (int n : kSizes) {
        const std::string tag = std::to_string(n);
        VELA::Spectrum s(n, kWindow, 0.0f);
        const VecCplx32 x = Random(n, 1);
        VecReal32 out, w;
        s.Apply(out, x);
        VELA::WindowFactory f;
        std::unique_ptr<VELA::Window> win(f.MakeWindow(kWindow, n, 0.0f));
        win->GetCoefficients(w);
        auto dump = [&](const char* suffix, const void* p, size_t bytes) {
            std::ofstream o(dir / (tag + suffix), std::ios::binary);
            o.write(static_cast<const char*>(p), static_cast<std::streamsize>(bytes));
        };
        dump("_x", x.Data(), sizeof(Cplx32) * static_cast<size_t>(n));
        dump("_w", w.Data(), sizeof(float) * static_cast<size_t>(n));
        dump("_ours", out.Data(), sizeof(float) * static_cast<size_t>(n));
        args += " " + tag;
    }
    {
        std::ofstream f(dir / "timing.py");
        f << kTimingScript;
    }
    const std::string cmd = "/usr/bin/python3 " + (dir / "timing.py").string() + " " + dir.string() + args;
    std::printf("python anchor: %s\n", cmd.c_str());
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char line[512];
        while (std::fgets(line, sizeof line, p)) {
            std::istringstream is(line);
            int n = 0;
            PyFigures f;
            if (is >> n >> f.sec >> f.maxDiffDb) figures[n] = f;
        }
        pclose(p);
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
    return figures;
}

// ---------------------------------------------------------------- benchmarks

// `rigour` is the planner setting the constructor plans under: the default, or measured plans as the
// anchor's, which leaves the class's own cost beside the same transform.
void SpectrumApply(benchmark::State& state, int n, VELA::FFTPlanningRigour rigour) {
    VELA::FFTPlanning::SetRigour(rigour, 0);
    VELA::Spectrum s(n, kWindow, 0.0f);
    const VecCplx32 x = Random(n, 1);
    VecReal32 out;
    s.Apply(out, x);  // grows the scratch outside the timed loop
    VELA::FFTPlanning::SetRigour(VELA::FFTPlanningAutomatic, 0);
    for (auto _ : state) {
        s.Apply(out, x);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
}

void RawFftw(benchmark::State& state, int n) {
    VecCplx32 in(n), out(n);
    auto* i = reinterpret_cast<fftwf_complex*>(in.Data());
    auto* o = reinterpret_cast<fftwf_complex*>(out.Data());
    fftwf_plan plan = fftwf_plan_dft_1d(n, i, o, FFTW_FORWARD, FFTW_MEASURE);  // FFTW at its best
    if (!plan) {
        state.SkipWithError("FFTW refused the plan");
        return;
    }
    in = Random(n, 1);  // planning may overwrite the arrays (operator= keeps the 64-byte alignment)
    i = reinterpret_cast<fftwf_complex*>(in.Data());
    for (auto _ : state) {
        fftwf_execute_dft(plan, i, o);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}

// Whether the transform could run in place (the window pass writing straight into the transform's
// buffer, one block less in the cache): the block copied into the buffer and transformed there, beside
// the same copy followed by the out-of-place transform. Both plans FFTW_MEASURE.
void RawFftwCopied(benchmark::State& state, int n, bool inPlace) {
    VecCplx32 in = Random(n, 1), buf(n), out(n);
    auto* b = reinterpret_cast<fftwf_complex*>(buf.Data());
    auto* o = inPlace ? b : reinterpret_cast<fftwf_complex*>(out.Data());
    fftwf_plan plan = fftwf_plan_dft_1d(n, b, o, FFTW_FORWARD, FFTW_MEASURE);
    if (!plan) {
        state.SkipWithError("FFTW refused the plan");
        return;
    }
    for (auto _ : state) {
        std::memcpy(buf.Data(), in.Data(), sizeof(in[0]) * static_cast<size_t>(n));
        fftwf_execute_dft(plan, b, o);
        benchmark::DoNotOptimize(o);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}

// The passes of Apply one at a time, on the library's own operations, to see where the time goes.
void Stage(benchmark::State& state, int n, int stage) {
    VELA::BlackmanHarrisWindow win(n);
    VELA::FT ft;
    const VecCplx32 x = Random(n, 1);
    VecCplx32 windowed, spectrum;
    VecReal32 mag, shifted, out, taper;
    win.GetCoefficients(taper);
    win.Apply(windowed, x);
    ft.Forward(spectrum, windowed);
    VELA::DSPUtils::Mag(mag, spectrum);
    VELA::DSPUtils::FFTShift(shifted, mag);
    VELA::MathUtils::Log10(out, shifted);
    for (auto _ : state) {
        switch (stage) {
            case 0:
                win.Apply(windowed, x);
                break;
            case 1:
                ft.Forward(spectrum, windowed);
                break;
            case 2:
                VELA::DSPUtils::Mag(mag, spectrum);
                break;
            case 3:
                VELA::DSPUtils::FFTShift(shifted, mag);
                break;
            case 4:
                shifted += 1e-40f;
                break;
            case 5:
                VELA::MathUtils::Log10(out, shifted);
                break;
            case 6:
                out *= 20.0f;
                break;
            case 7:
                // What Apply runs in dB instead of stages 2 to 6.
                VELA::kern::SPK().mag_db_c32(reinterpret_cast<const float*>(spectrum.Data()), out.Data(), n);
                break;
            case 8:
                // What Apply runs instead of stage 0: one coefficient per complex point.
                VELA::kern::SPK().window_c32(reinterpret_cast<const float*>(x.Data()), taper.Data(),
                                             reinterpret_cast<float*>(windowed.Data()), n);
                break;
        }
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
}
const char* const kStageNames[] = {"window", "transform", "magnitude", "shift", "epsilon",
                                   "log10",  "scale",     "fused_dB",  "taper"};
constexpr int kStages = 9;

// The summary of the base class, plus the table against numpy.
class Reporter : public bench::SummaryReporter {
  public:
    explicit Reporter(std::map<int, PyFigures> py) : py_(std::move(py)) {}

    void Finalize() override {
        bench::SummaryReporter::Finalize();
        if (py_.empty()) return;
        std::printf("\n%-24s %12s %12s %10s %s\n", "Spectrum (complex64)", "Spectrum", "numpy", "speed-up",
                    "max |diff| above -100 dB");
        for (int n : kSizes) {
            const Figures* f = Find(Name("Spectrum/Apply_C32", n));
            auto p = py_.find(n);
            if (!f || p == py_.end()) continue;
            const double ours = f->ns * 1e-3, np = p->second.sec * 1e6;
            std::printf("%-24d %9.2f us %9.2f us %9.2fx %.2e dB\n", n, ours, np, np / ours,
                        p->second.maxDiffDb);
        }
        std::printf("(CPU time per call; python: median of 7 repeats, time.process_time)\n");
        std::fflush(stdout);
    }

  private:
    std::map<int, PyFigures> py_;
};

}  // namespace

int main(int argc, char** argv) {
    const bool python = !bench::TakeFlag(argc, argv, "--no-python");
    Reporter reporter(python ? RunPython() : std::map<int, PyFigures>{});
    using M = bench::SummaryReporter::Metric;
    for (int n : kSizes) {
        const std::string subject = Name("Spectrum/Apply_C32", n), anchor = Name("FFTW/execute_C32", n);
        const std::string measured = Name("Spectrum/Apply_C32_MeasuredPlan", n);
        benchmark::RegisterBenchmark(subject.c_str(), SpectrumApply, n, VELA::FFTPlanningAutomatic)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(measured.c_str(), SpectrumApply, n, VELA::FFTPlanningMeasure)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(anchor.c_str(), RawFftw, n)->Unit(benchmark::kMicrosecond);
        reporter.Compare(subject, anchor, M::TimeRatio, n == 1024 ? 0.0 : 1.8);
        // The class's own cost: its transform planned as the anchor's.
        reporter.Compare(measured, anchor, M::TimeRatio, 1.5);
        const std::string inPlace = Name("FFTW/copy_execute_C32_InPlace", n);
        const std::string outOfPlace = Name("FFTW/copy_execute_C32_OutOfPlace", n);
        benchmark::RegisterBenchmark(inPlace.c_str(), RawFftwCopied, n, true)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(outOfPlace.c_str(), RawFftwCopied, n, false)
            ->Unit(benchmark::kMicrosecond);
        reporter.Compare(inPlace, outOfPlace, M::TimeRatio, 0.0);
    }
    for (int n : kSizes)
        for (int s = 0; s < kStages; ++s)
            benchmark::RegisterBenchmark(
                ("Stage/" + std::string(kStageNames[s]) + "/" + std::to_string(n)).c_str(), Stage, n, s)
                ->Unit(benchmark::kMicrosecond);
    return bench::RunAll(argc, argv, reporter);
}
