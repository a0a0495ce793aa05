// The C++ side of the Python overhead comparison: one 4096-point Spectrum call (complex float input,
// Blackman-Harris window, dB), the same call bench/python_overhead.py makes through the corvane module.
// Run it through that script, which times both in one run and prints the ratio.
#include <benchmark/benchmark.h>

#include <random>

#include "dsp/Spectrum.h"
#include "math/Vector.h"

namespace {

void SpectrumApply(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VELA::Spectrum sp(n, VELA::WindowTypeBlackmanHarris, 0.0f);
    VELA::VecCplx32 in(n);
    std::mt19937 gen(7);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < n; ++i)
        in[i] = VELA::Cplx32{u(gen), u(gen)};
    VELA::VecReal32 out;
    sp.Apply(out, in);  // plans the transform and sizes the scratch outside the timed loop
    for (auto _ : state) {
        sp.Apply(out, in);
        benchmark::DoNotOptimize(out.Data());
    }
}
BENCHMARK(SpectrumApply)->Arg(4096)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
