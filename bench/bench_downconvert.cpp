// DigitalIQDownconverter::Apply on a steady stream of real samples (centre 2 GHz at 6.25 GS/s), in
// input samples per second, for decimations M = 4, 16 and 256 (L = 81, 321 and 5121 taps), beside
// liquid-dsp doing the same mix, filter and decimate in the same run: nco_crcf_mix_block_down over the
// block, then firdecim_crcf_execute_block with a Kaiser design of the same length (2 M 10 + 1 taps).
// liquid has no real-input mixer, so its input is the record as complex samples with zero imaginary
// parts, converted outside the timed loop. Both oscillator kinds of liquid run: LIQUID_NCO (a phase
// accumulator with a sine table, liquid's fast one) and LIQUID_VCO (sinf/cosf per sample, its precise
// one). Ours evaluates the oscillator in double from the exact count (one sincos per 256 samples,
// rotated by a table); a line of the output gives each oscillator's largest error.
//
// Also the downconverter at every kernel level for M = 4 and 256, beside the scalar reference.
#include <complex>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

// liquid.h takes std::complex<float> for its complex type when <complex> comes first.
#include <liquid/liquid.h>

#include "BenchSummary.h"
#include <corvane/corvane.h>
#include "kernel/Dispatch.h"
#include "kernel/DownconvertKernels.h"

namespace {

using VELA::VecCplx32;
using VELA::VecReal32;

constexpr double kRate = 6.25e9, kCenter = 2e9;
constexpr int kInput = 1 << 20;  // input samples per call

VecReal32 Random(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    VecReal32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = u(gen);
    return v;
}

// The span that decimates by M.
double SpanFor(int M) {
    return 0.8 * kRate / (M + 0.5);
}

void OursBench(benchmark::State& state, int M, int level) {
    const VELA::kern::Variant before = VELA::kern::ActiveVariant();
    if (level >= 0 && !VELA::kern::SetVariant(static_cast<VELA::kern::Variant>(level))) {
        state.SkipWithError("level not supported on this CPU");
        return;
    }
    VELA::DigitalIQDownconverter dc;
    double outRate = 0, delay = 0;
    int required = 0;
    dc.SetParameters(outRate, required, delay, kCenter, kRate, SpanFor(M), 1000, false);
    const VecReal32 in = Random(kInput, 1);
    VecCplx32 out;
    dc.Apply(out, in);  // the first segment fills the filter and sizes out
    for (auto _ : state) {
        dc.Apply(out, in);  // the stream goes on
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    VELA::kern::SetVariant(before);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kInput);
    bench::SetBytes(state, 4.0 * kInput);  // input bytes: the summary's rate is input throughput
    state.counters["taps"] = 20 * M + 1;
    state.counters["out"] = out.GetSize();
}

void LiquidBench(benchmark::State& state, int M, liquid_ncotype type) {
    const VecReal32 in = Random(kInput, 1);
    std::vector<std::complex<float>> x(kInput), mixed(kInput), y(kInput / M);
    for (int i = 0; i < kInput; ++i)
        x[i] = {in[i], 0.0f};
    nco_crcf nco = nco_crcf_create(type);
    nco_crcf_set_frequency(nco, static_cast<float>(2.0 * M_PI * kCenter / kRate));
    // Kaiser design, 2 M m + 1 taps with m = 10: the length of ours; 60 dB stop band.
    firdecim_crcf dec = firdecim_crcf_create_kaiser(static_cast<unsigned>(M), 10, 60.0f);
    for (auto _ : state) {
        nco_crcf_mix_block_down(nco, x.data(), mixed.data(), kInput);
        firdecim_crcf_execute_block(dec, mixed.data(), static_cast<unsigned>(kInput / M), y.data());
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
    nco_crcf_destroy(nco);
    firdecim_crcf_destroy(dec);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kInput);
    bench::SetBytes(state, 4.0 * kInput);
    state.counters["taps"] = 20 * M + 1;
}

// Largest error of each oscillator's cosine and sine over a million samples, against long double.
void PrintOscillatorErrors() {
    const int n = kInput;
    const double w = kCenter * -6.28318530717958 / kRate;
    std::vector<float> one(n, 1.0f), c(n), s(n);
    std::vector<double> rot(2 * VELA::kern::kMixBlock);
    VELA::kern::MixRotationTable(w, rot.data());
    VELA::kern::DCK().mix_real_f32(one.data(), c.data(), s.data(), n, w, 40, rot.data());
    double ours = 0;
    for (int i = 0; i < n; ++i) {
        const long double a = static_cast<long double>(w) * (40 + i);
        ours = std::max(ours, static_cast<double>(std::fabs(c[i] - cosl(a))));
        ours = std::max(ours, static_cast<double>(std::fabs(s[i] - sinl(a))));
    }
    std::printf("oscillator max error over %d samples: ours (%s) %.3g", n, VELA::kern::DCK().name, ours);
    for (auto [type, name] : {std::pair{LIQUID_NCO, "LIQUID_NCO"}, std::pair{LIQUID_VCO, "LIQUID_VCO"}}) {
        nco_crcf nco = nco_crcf_create(type);
        const double f = 2.0 * M_PI * kCenter / kRate;
        nco_crcf_set_frequency(nco, static_cast<float>(f));
        double err = 0;
        for (int i = 0; i < n; ++i) {
            float si = 0, co = 0;
            nco_crcf_sincos(nco, &si, &co);
            // liquid's frequency is a float: compare with its own step, so only the oscillator counts.
            const long double a = static_cast<long double>(static_cast<float>(f)) * i;
            err = std::max(err, static_cast<double>(std::fabs(co - cosl(a))));
            err = std::max(err, static_cast<double>(std::fabs(si - sinl(a))));
            nco_crcf_step(nco);
        }
        nco_crcf_destroy(nco);
        std::printf(", %s %.3g", name, err);
    }
    std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
    bench::SummaryReporter reporter;
    using Metric = bench::SummaryReporter::Metric;
    for (int M : {4, 16, 256}) {
        const std::string tag = "/M" + std::to_string(M);
        const std::string ours = "DigitalIQDownconverter/Apply" + tag;
        const std::string nco = "liquid/nco+firdecim_crcf" + tag;
        const std::string vco = "liquid/vco+firdecim_crcf" + tag;
        benchmark::RegisterBenchmark(ours.c_str(), OursBench, M, -1)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(nco.c_str(), LiquidBench, M, LIQUID_NCO)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(vco.c_str(), LiquidBench, M, LIQUID_VCO)->Unit(benchmark::kMicrosecond);
        // Input throughput, ours over liquid's fast oscillator (the goal) and its precise one.
        reporter.Compare(ours, nco, Metric::BandwidthRatio, 2.0);
        reporter.Compare(ours, vco, Metric::BandwidthRatio, 0.0);
    }
    for (int M : {4, 256})
        for (VELA::kern::Variant v : {VELA::kern::Variant::Reference, VELA::kern::Variant::Sse2,
                                      VELA::kern::Variant::Avx2, VELA::kern::Variant::Avx512}) {
            const std::string name =
                "DigitalIQDownconverter/level/M" + std::to_string(M) + "/" + VELA::kern::VariantName(v);
            benchmark::RegisterBenchmark(name.c_str(), OursBench, M, static_cast<int>(v))
                ->Unit(benchmark::kMicrosecond);
            if (v != VELA::kern::Variant::Reference)
                reporter.Compare(name, "DigitalIQDownconverter/level/M" + std::to_string(M) + "/reference",
                                 Metric::BandwidthRatio, 0.0);
        }
    PrintOscillatorErrors();
    return bench::RunAll(argc, argv, reporter);
}
