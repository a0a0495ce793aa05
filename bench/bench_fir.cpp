// The FIR engine: SFIRFilter (real and complex data, 16, 64 and 256 taps, blocks of 4096) beside
// liquid-dsp's firfilt_rrrf / firfilt_crcf, DecimationFilter (the 27-tap half-band in 3 stages, complex)
// beside liquid-dsp's firdecim_crcf with the same taps and resamp2_crcf, and both beside
// scipy.signal.lfilter, timed in the same run by a python script (CPU time, median of repeats).
//
// Also the two ways of the streaming state (direct form, FFT blocks of 4, 8 or 16 times the taps) on
// both sides of the crossover, to check the choice in kernel/FIRState.cpp on the machine at hand:
//   bench_fir --no-python --benchmark_filter=FIRPath
// The python anchors run once before the Google benchmarks; --no-python skips them.
#include <immintrin.h>
#include <liquid/liquid.h>
#include <unistd.h>

#include <cmath>
#include <complex>
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
#include "kernel/FIRState.h"

namespace {

namespace fs = std::filesystem;
using VELA::DecimationFilter;
using VELA::SFIRFilter;
using VELA::VecCplx32;
using VELA::VecReal32;

constexpr int kBlock = 4096;
const int kTapCounts[] = {16, 64, 256};
constexpr int kStages = 3;
constexpr int kDecimOut = 4096;  // outputs per decimator call

std::vector<float> Random(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = u(gen);
    return v;
}
VecReal32 Vec(const std::vector<float>& v) {
    VecReal32 r;
    r.Import(v.data(), static_cast<int>(v.size()));
    return r;
}
std::vector<float> HalfBand27() {
    const float odd[7] = {0.31062388f,  -0.08499213f,    0.033999402f,   -0.012833981f,
                          0.003986688f, -0.00089236535f, 0.000108955915f};
    std::vector<float> h(27, 0.0f);
    h[13] = 0.5f;
    for (int j = 0; j < 7; ++j)
        h[13 - 1 - 2 * j] = h[13 + 1 + 2 * j] = odd[j];
    return h;
}
// "prefix/number", formatted without std::string concatenation (GCC 12 warns falsely on it).
std::string Name(const char* prefix, int n) {
    char buf[96];
    std::snprintf(buf, sizeof buf, "%s/%d", prefix, n);
    return buf;
}

int DecimInput() {
    DecimationFilter d(kStages, Vec(HalfBand27()));
    return d.GetRequiredInputLength(kDecimOut);
}

// Samples per second and GFLOP/s (one multiply-add = 2 flops per tap and real rail).
void SetRates(benchmark::State& state, double samples, double flops) {
    state.counters["Msamples/s"] =
        benchmark::Counter(samples / 1e6, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["GFLOP/s"] =
        benchmark::Counter(flops / 1e9, benchmark::Counter::kIsIterationInvariantRate);
}

// ---------------------------------------------------------------- ours

void SfirReal(benchmark::State& state, int taps) {
    SFIRFilter f(Vec(Random(taps, 1)));
    VecReal32 in = Vec(Random(kBlock, 2)), out;
    f.Apply(out, in, false);
    for (auto _ : state) {
        f.Apply(out, in, false);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    SetRates(state, kBlock, 2.0 * taps * kBlock);
}

void SfirComplex(benchmark::State& state, int taps) {
    SFIRFilter f(Vec(Random(taps, 1)));
    const auto x = Random(2 * kBlock, 3);
    VecCplx32 in, out;
    in.Import(x.data(), kBlock);
    f.Apply(out, in, false);
    for (auto _ : state) {
        f.Apply(out, in, false);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    SetRates(state, kBlock, 4.0 * taps * kBlock);
}

void Decimator(benchmark::State& state) {
    DecimationFilter d(kStages, Vec(HalfBand27()));
    const int n = DecimInput();
    const auto x = Random(2 * n, 4);
    VecCplx32 in, out;
    in.Import(x.data(), n);
    d.Apply(out, in);
    if (out.GetSize() != kDecimOut) state.SkipWithError("unexpected output length");
    for (auto _ : state) {
        d.Apply(out, in);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    // Filtering every stage input in full: n + n/2 + n/4 samples, 27 taps, two rails.
    SetRates(state, n, 4.0 * 27 * (n + n / 2.0 + n / 4.0));
}

// The two ways of the kernel state on one block.
void Path(benchmark::State& state, int taps, int factor) {
    const auto h = Random(taps, 5);
    VELA::kern::FIRState* s = VELA::kern::FIRState::Create(h.data(), taps, factor > 0 ? factor : 8);
    s->SetMode(factor > 0 ? VELA::kern::FIRState::Mode::Block : VELA::kern::FIRState::Mode::Direct);
    const auto x = Random(kBlock, 6);
    std::vector<float> y(kBlock);
    s->Filter(x.data(), y.data(), kBlock);
    for (auto _ : state) {
        s->Filter(x.data(), y.data(), kBlock);
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
    if (s->Release()) delete s;
    SetRates(state, kBlock, 2.0 * taps * kBlock);
}

// ---------------------------------------------------------------- liquid-dsp

void LiquidReal(benchmark::State& state, int taps) {
    auto h = Random(taps, 1);
    firfilt_rrrf q = firfilt_rrrf_create(h.data(), static_cast<unsigned>(taps));
    auto x = Random(kBlock, 2);
    std::vector<float> y(kBlock);
    firfilt_rrrf_execute_block(q, x.data(), kBlock, y.data());
    for (auto _ : state) {
        firfilt_rrrf_execute_block(q, x.data(), kBlock, y.data());
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
    firfilt_rrrf_destroy(q);
    SetRates(state, kBlock, 2.0 * taps * kBlock);
}

void LiquidComplex(benchmark::State& state, int taps) {
    auto h = Random(taps, 1);
    firfilt_crcf q = firfilt_crcf_create(h.data(), static_cast<unsigned>(taps));
    const auto xs = Random(2 * kBlock, 3);
    std::vector<liquid_float_complex> x(kBlock), y(kBlock);
    std::memcpy(x.data(), xs.data(), sizeof(float) * 2 * kBlock);
    firfilt_crcf_execute_block(q, x.data(), kBlock, y.data());
    for (auto _ : state) {
        firfilt_crcf_execute_block(q, x.data(), kBlock, y.data());
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
    firfilt_crcf_destroy(q);
    SetRates(state, kBlock, 4.0 * taps * kBlock);
}

// Three firdecim_crcf stages with the same 27 taps: each computes only the outputs it keeps.
void LiquidFirdecim(benchmark::State& state) {
    auto h = HalfBand27();
    firdecim_crcf q[kStages];
    for (auto& s : q)
        s = firdecim_crcf_create(2, h.data(), 27);
    const int n = DecimInput();
    const auto xs = Random(2 * n, 4);
    std::vector<liquid_float_complex> a(n), b(n);
    std::memcpy(a.data(), xs.data(), sizeof(float) * 2 * n);
    auto run = [&] {
        int len = n;
        liquid_float_complex* src = a.data();
        liquid_float_complex* dst = b.data();
        for (auto& s : q) {
            firdecim_crcf_execute_block(s, src, static_cast<unsigned>(len / 2), dst);
            len /= 2;
            src = dst;
            dst = dst == b.data() ? a.data() + n / 2 : b.data();
        }
    };
    std::vector<liquid_float_complex> keep = a;
    run();
    for (auto _ : state) {
        std::memcpy(a.data(), keep.data(), sizeof(float) * 2 * n);
        run();
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
    for (auto& s : q)
        firdecim_crcf_destroy(s);
    SetRates(state, n, 4.0 * 27 * (n + n / 2.0 + n / 4.0) / 2.0);
}

// Three resamp2_crcf half-band stages (its own design: m = 7, 29 taps, 60 dB).
void LiquidResamp2(benchmark::State& state) {
    resamp2_crcf q[kStages];
    for (auto& s : q)
        s = resamp2_crcf_create(7, 0.0f, 60.0f);
    const int n = DecimInput();
    const auto xs = Random(2 * n, 4);
    std::vector<liquid_float_complex> x(n), y(n / 2 + 1), z(n / 4 + 1), w(n / 8 + 1);
    std::memcpy(x.data(), xs.data(), sizeof(float) * 2 * n);
    auto run = [&] {
        for (int i = 0; i + 1 < n; i += 2)
            resamp2_crcf_decim_execute(q[0], &x[i], &y[i / 2]);
        for (int i = 0; i + 1 < n / 2; i += 2)
            resamp2_crcf_decim_execute(q[1], &y[i], &z[i / 2]);
        for (int i = 0; i + 1 < n / 4; i += 2)
            resamp2_crcf_decim_execute(q[2], &z[i], &w[i / 2]);
    };
    run();
    for (auto _ : state) {
        run();
        benchmark::DoNotOptimize(w.data());
        benchmark::ClobberMemory();
    }
    for (auto& s : q)
        resamp2_crcf_destroy(s);
    SetRates(state, n, 0);
}

// The core's multiply-add peak in float: twelve independent chains of AVX-512 fused multiply-adds
// (enough to cover the latency on two pipes), 16 lanes, 2 flops each.
__attribute__((target("avx512f,fma"), noinline)) void FmaLoop(float* out, long iterations) {
    __m512 acc[12];
    for (int r = 0; r < 12; ++r)
        acc[r] = _mm512_set1_ps(static_cast<float>(r));
    const __m512 a = _mm512_set1_ps(0.999999f), b = _mm512_set1_ps(1e-7f);
    for (long i = 0; i < iterations; ++i)
        for (int r = 0; r < 12; ++r)
            acc[r] = _mm512_fmadd_ps(acc[r], a, b);
    __m512 s = acc[0];
    for (int r = 1; r < 12; ++r)
        s = _mm512_add_ps(s, acc[r]);
    _mm512_storeu_ps(out, s);
}

void FmaPeak(benchmark::State& state) {
    alignas(64) float out[16];
    constexpr long kIter = 100000;
    for (auto _ : state) {
        FmaLoop(out, kIter);
        benchmark::DoNotOptimize(out);
    }
    SetRates(state, 0, 2.0 * 16 * 12 * kIter);
}

void Memcpy(benchmark::State& state) {
    const auto x = Random(2 * kBlock, 7);
    std::vector<float> y(2 * kBlock);
    for (auto _ : state) {
        std::memcpy(y.data(), x.data(), sizeof(float) * 2 * kBlock);
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
}

// ---------------------------------------------------------------- scipy

const char* kTimingScript = R"(
import sys, time, timeit
import numpy as np
from scipy.signal import lfilter
rng = np.random.default_rng(1)
def med(stmt, g):
    t = timeit.Timer(stmt, globals=g, timer=time.process_time)
    n, _ = t.autorange()
    n = max(1, int(n * 0.2 / max(t.timeit(n), 1e-9)))
    return sorted(x / n for x in t.repeat(7, n))[3]
block, n_dec = int(sys.argv[1]), int(sys.argv[2])
for taps in map(int, sys.argv[3:]):
    h = rng.uniform(-1, 1, taps).astype(np.float32)
    x = rng.uniform(-1, 1, block).astype(np.float32)
    xc = (rng.uniform(-1, 1, block) + 1j * rng.uniform(-1, 1, block)).astype(np.complex64)
    zi = np.zeros(taps - 1, np.float32); zc = np.zeros(taps - 1, np.complex64)
    g = dict(lfilter=lfilter, h=h, x=x, xc=xc, zi=zi, zc=zc)
    print('real', taps, med('lfilter(h, 1.0, x, zi=zi)', g))
    print('complex', taps, med('lfilter(h, 1.0, xc, zi=zc)', g))
odd = [0.31062388, -0.08499213, 0.033999402, -0.012833981, 0.003986688, -0.00089236535, 0.000108955915]
h = np.zeros(27, np.float32); h[13] = 0.5
for j, v in enumerate(odd): h[12 - 2 * j] = h[14 + 2 * j] = v
xc = (rng.uniform(-1, 1, n_dec) + 1j * rng.uniform(-1, 1, n_dec)).astype(np.complex64)
def decim(x):
    for _ in range(3):
        x = lfilter(h, 1.0, x)[26::2]
    return x
print('decim', 27, med('decim(xc)', dict(decim=decim, xc=xc)))
)";

std::map<std::string, double> RunPython() {
    std::map<std::string, double> seconds;
    const fs::path dir = fs::temp_directory_path() / ("corvane_bench_fir_" + std::to_string(getpid()));
    fs::create_directories(dir);
    {
        std::ofstream f(dir / "timing.py");
        f << kTimingScript;
    }
    char args[128];
    std::snprintf(args, sizeof args, " %d %d %d %d %d", kBlock, DecimInput(), kTapCounts[0], kTapCounts[1],
                  kTapCounts[2]);
    std::string cmd = "/usr/bin/python3 ";
    cmd += (dir / "timing.py").string();
    cmd += args;
    std::printf("python anchors: %s\n", cmd.c_str());
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char line[256];
        while (std::fgets(line, sizeof line, p)) {
            std::istringstream is(line);
            std::string kind;
            int taps;
            double sec;
            if (is >> kind >> taps >> sec) seconds[Name(kind.c_str(), taps)] = sec;
        }
        pclose(p);
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
    return seconds;
}

class Reporter : public bench::SummaryReporter {
  public:
    explicit Reporter(std::map<std::string, double> py) : py_(std::move(py)) {}
    void Finalize() override {
        bench::SummaryReporter::Finalize();
        if (py_.empty()) return;
        std::printf("\n%-30s %14s %16s %10s\n", "against scipy.signal.lfilter", "ours", "lfilter",
                    "speed-up");
        auto line = [&](const std::string& ours, const std::string& key) {
            const Figures* f = Find(ours);
            auto it = py_.find(key);
            if (!f || it == py_.end()) return;
            std::printf("%-30s %11.2f us %13.2f us %9.1fx\n", ours.c_str(), f->ns / 1e3, it->second * 1e6,
                        it->second * 1e9 / f->ns);
        };
        for (int t : kTapCounts) {
            line(Name("SFIRFilter/Real", t), Name("real", t));
            line(Name("SFIRFilter/Complex", t), Name("complex", t));
        }
        line("DecimationFilter/3x27", "decim/27");
        std::printf("(CPU time per call; python: median of 7 repeats, time.process_time)\n");
    }

  private:
    std::map<std::string, double> py_;
};

}  // namespace

int main(int argc, char** argv) {
    const bool python = !bench::TakeFlag(argc, argv, "--no-python");
    Reporter reporter(python ? RunPython() : std::map<std::string, double>{});
    using M = bench::SummaryReporter::Metric;
    for (int t : kTapCounts) {
        benchmark::RegisterBenchmark(Name("SFIRFilter/Real", t).c_str(), SfirReal, t)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(Name("Liquid/firfilt_rrrf", t).c_str(), LiquidReal, t)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(Name("SFIRFilter/Complex", t).c_str(), SfirComplex, t)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(Name("Liquid/firfilt_crcf", t).c_str(), LiquidComplex, t)
            ->Unit(benchmark::kMicrosecond);
        reporter.Compare(Name("SFIRFilter/Real", t), Name("Liquid/firfilt_rrrf", t), M::TimeRatio, 0.5);
        reporter.Compare(Name("SFIRFilter/Complex", t), Name("Liquid/firfilt_crcf", t), M::TimeRatio, 0.5);
    }
    benchmark::RegisterBenchmark("DecimationFilter/3x27", Decimator)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Liquid/firdecim_crcf/3x27", LiquidFirdecim)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Liquid/resamp2_crcf/3x29", LiquidResamp2)->Unit(benchmark::kMicrosecond);
    reporter.Compare("DecimationFilter/3x27", "Liquid/firdecim_crcf/3x27", M::TimeRatio, 0.5);
    reporter.Compare("DecimationFilter/3x27", "Liquid/resamp2_crcf/3x29", M::TimeRatio, 0.5);
    benchmark::RegisterBenchmark("memcpy/32KiB", Memcpy)->Unit(benchmark::kMicrosecond);
    if (__builtin_cpu_supports("avx512f"))
        benchmark::RegisterBenchmark("FMAPeak/avx512", FmaPeak)->Unit(benchmark::kMicrosecond);

    for (int taps : {16, 32, 48, 64, 80, 96, 128, 160, 192, 256, 384, 512}) {
        const std::string d = Name("FIRPath/Direct", taps);
        benchmark::RegisterBenchmark(d.c_str(), Path, taps, 0)->Unit(benchmark::kMicrosecond);
        for (int factor : {4, 8, 16}) {
            char prefix[32];
            std::snprintf(prefix, sizeof prefix, "FIRPath/Block%d", factor);
            const std::string b = Name(prefix, taps);
            benchmark::RegisterBenchmark(b.c_str(), Path, taps, factor)->Unit(benchmark::kMicrosecond);
            if (factor == 4) reporter.Compare(d, b, M::TimeRatio, 0);
        }
    }
    return bench::RunAll(argc, argv, reporter);
}
