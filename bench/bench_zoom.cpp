// DigitalSource::Apply from a 25 MS/s record down to 1 MHz and 100 kHz spans, in input samples per
// second, beside a cascade of liquid-dsp half-band decimators (resamp2_crcf) doing the same number of
// halvings on the same data in the same run. The liquid stages match ours in work per output: m = 7
// (29 taps, 7 odd-lag pairs, 120 dB) for the 27-tap stages and m = 13 (53 taps, 13 pairs, 87 dB) for
// the 51-tap stage. Our figure includes the frequency shift to the new centre; liquid's does not.
//
// DigitalZoom::Apply at its self-test setting (1 MHz of a 25 MS/s record, 1 kHz resolution,
// Blackman-Harris: three 27-tap stages, the 51-tap stage, a 2969-point block, 1001 points) beside the
// sum of its parts' floors: a forward and an inverse raw FFTW transform of the chirp-Z's length, plus
// a memcpy moving as many bytes as the shift and the chain read and write.
//
// Also one 27-tap half-band step at every kernel level beside the scalar reference (input throughput).
#include <fftw3.h>

#include <complex>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

// liquid.h takes std::complex<float> for its complex type when <complex> comes first.
#include <liquid/liquid.h>

#include "BenchSummary.h"
#include <corvane/corvane.h>
#include "kernel/Dispatch.h"
#include "kernel/HalfBandKernels.h"

namespace {

using VELA::VecCplx32;
using VELA::VecReal32;

constexpr double kSrcCenter = 1e9, kSrcSpan = 20e6, kFs = 25e6;
constexpr int kTargetInput = 1 << 20;  // about a million input samples per call

VecCplx32 Random(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    VecCplx32 v(n);
    float* p = reinterpret_cast<float*>(v.Data());
    for (int i = 0; i < 2 * n; ++i)
        p[i] = u(gen);
    return v;
}

// The source tuned to `span`, with an input length near kTargetInput that gives whole outputs.
struct SourceSetup {
    VELA::DigitalSource src;
    int inLen = 0, outLen = 0, halvings = 0;
    bool last = false;
    explicit SourceSetup(double span) {
        src.SetSource(kSrcCenter, kSrcSpan, kFs);
        const int pad = src.SetParameters(kSrcCenter + 1.234e6, span);
        while ((kFs / src.GetSampFreq()) > (1 << halvings))
            ++halvings;
        // The pad tells whether the chain ends with the 51-tap stage: 38 * 2^h - 26 with it.
        last = pad == 38 * (1 << halvings) - 26;
        outLen = kTargetInput >> halvings;
        inLen = src.GetRequiredOrigDataLen(outLen);
    }
};

void DigitalSourceBench(benchmark::State& state, double span) {
    SourceSetup s(span);
    const VecCplx32 in = Random(s.inLen, 1);
    VecCplx32 out;
    s.src.Apply(out, in);  // scratch grows outside the timed loop
    for (auto _ : state) {
        s.src.Apply(out, in);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * s.inLen);
    bench::SetBytes(state, 8.0 * s.inLen);  // input bytes: the summary's rate is input throughput
    state.counters["halvings"] = s.halvings;
    state.counters["out"] = out.GetSize();
}

// The same halvings through liquid's half-band decimators, one call per output sample.
void LiquidBench(benchmark::State& state, double span) {
    SourceSetup s(span);
    const VecCplx32 in = Random(s.inLen, 1);
    std::vector<resamp2_crcf> stages;
    for (int k = 0; k < s.halvings; ++k) {
        const bool strong = s.last && k == s.halvings - 1;
        stages.push_back(resamp2_crcf_create(strong ? 13 : 7, 0.0f, strong ? 87.0f : 120.0f));
    }
    std::vector<std::vector<std::complex<float>>> buf(s.halvings + 1);
    buf[0].assign(reinterpret_cast<const std::complex<float>*>(in.Data()),
                  reinterpret_cast<const std::complex<float>*>(in.Data()) + s.inLen);
    for (int k = 1; k <= s.halvings; ++k)
        buf[k].resize(buf[k - 1].size() / 2);
    for (auto _ : state) {
        for (int k = 0; k < s.halvings; ++k) {
            std::complex<float>* x = buf[k].data();
            std::complex<float>* y = buf[k + 1].data();
            const size_t m = buf[k + 1].size();
            for (size_t i = 0; i < m; ++i)
                resamp2_crcf_decim_execute(stages[k], x + 2 * i, y + i);
        }
        benchmark::DoNotOptimize(buf[s.halvings].data());
        benchmark::ClobberMemory();
    }
    for (resamp2_crcf q : stages)
        resamp2_crcf_destroy(q);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * s.inLen);
    bench::SetBytes(state, 8.0 * s.inLen);
    state.counters["halvings"] = s.halvings;
}

// One 27-tap half-band step over kTargetInput samples at one kernel level, for the gain of each level.
void HalfBandLevelBench(benchmark::State& state, VELA::kern::Variant level) {
    const VELA::kern::HalfBandKernelTable* t = VELA::kern::HalfBandTableFor(level);
    if (!t) {
        state.SkipWithError("level not supported on this CPU");
        return;
    }
    const VecCplx32 in = Random(kTargetInput, 4);
    const int m = (kTargetInput - 25) >> 1;
    VecCplx32 out(m);
    for (auto _ : state) {
        t->decim2_c32(reinterpret_cast<const float*>(in.Data()), reinterpret_cast<float*>(out.Data()), m,
                      VELA::DigitalSource::halfBandFilterCoefs, 7);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kTargetInput);
    bench::SetBytes(state, 8.0 * kTargetInput);
}

// ---------------------------------------------------------------- DigitalZoom

struct ZoomSetup {
    VELA::DigitalZoom zoom{1e9, 1e7, 2.5e7};
    int len = 0, block = 0, fftLen = 0;
    double chainBytes = 0;  // bytes the shift and the half-band chain read plus write
    ZoomSetup() {
        len = zoom.SetParameters(1.003e9, 1e6, 1000, VELA::WindowTypeBlackmanHarris, 0);
        block =
            static_cast<int>(1.5625e6 / 1000 * VELA::BlackmanHarrisWindow().GetEffectiveRBWScaling() + 0.5);
        fftLen = VELA::ChirpZ(block, 1.5625e6, 1001, -5e5, 1000, false).GetFFTSize();
        // Shift: n in, n out. Each stage: its input in, (n - 25) / 2 or (n - 49) / 2 out.
        double n = len;
        chainBytes = 2 * 8.0 * n;
        for (int k = 0; k < 4; ++k) {
            const double o = (n - (k < 3 ? 25 : 49)) / 2;
            chainBytes += 8.0 * (n + o);
            n = o;
        }
    }
};

void ZoomBench(benchmark::State& state) {
    ZoomSetup s;
    const VecCplx32 in = Random(s.len, 2);
    VecReal32 out;
    double binWidth = 0;
    s.zoom.Apply(out, binWidth, in);
    for (auto _ : state) {
        s.zoom.Apply(out, binWidth, in);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    state.counters["in"] = s.len;
    state.counters["L"] = s.fftLen;
}

struct FloorParts {
    int fftLen;
    fftwf_complex *a, *b, *c;
    fftwf_plan fwd, inv;
    std::vector<char> src, dst;
    explicit FloorParts(const ZoomSetup& s) : fftLen(s.fftLen) {
        a = fftwf_alloc_complex(static_cast<size_t>(fftLen));
        b = fftwf_alloc_complex(static_cast<size_t>(fftLen));
        c = fftwf_alloc_complex(static_cast<size_t>(fftLen));
        // FFTW_MEASURE as the library's planner uses; out of place so the input never changes.
        fwd = fftwf_plan_dft_1d(fftLen, a, b, FFTW_FORWARD, FFTW_MEASURE);
        inv = fftwf_plan_dft_1d(fftLen, b, c, FFTW_BACKWARD, FFTW_MEASURE);
        VecCplx32 data = Random(fftLen, 3);
        std::memcpy(a, data.Data(), sizeof(fftwf_complex) * static_cast<size_t>(fftLen));
        // memcpy of B bytes reads B and writes B.
        src.assign(static_cast<size_t>(s.chainBytes / 2), 1);
        dst.assign(src.size(), 0);
    }
    ~FloorParts() {
        fftwf_destroy_plan(fwd);
        fftwf_destroy_plan(inv);
        fftwf_free(a);
        fftwf_free(b);
        fftwf_free(c);
    }
    void Fft() {
        fftwf_execute(fwd);
        fftwf_execute(inv);
        benchmark::DoNotOptimize(c);
    }
    void Copy() {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::DoNotOptimize(dst.data());
    }
};

void FloorBench(benchmark::State& state, int which) {  // 0 both, 1 FFTs, 2 memcpy
    ZoomSetup s;
    FloorParts f(s);
    for (auto _ : state) {
        if (which != 2) f.Fft();
        if (which != 1) f.Copy();
        benchmark::ClobberMemory();
    }
    state.counters["L"] = s.fftLen;
    state.counters["memcpyBytes"] = static_cast<double>(f.src.size());
}

}  // namespace

int main(int argc, char** argv) {
    bench::SummaryReporter reporter;
    using M = bench::SummaryReporter::Metric;
    for (auto [span, label] : {std::pair{1e6, "1MHz"}, std::pair{100e3, "100kHz"}}) {
        const std::string ours = std::string("DigitalSource/Apply/") + label;
        const std::string liquid = std::string("liquid/resamp2_crcf_cascade/") + label;
        benchmark::RegisterBenchmark(ours.c_str(), DigitalSourceBench, span)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(liquid.c_str(), LiquidBench, span)->Unit(benchmark::kMicrosecond);
        // Input throughput, ours over liquid's.
        reporter.Compare(ours, liquid, M::BandwidthRatio, 2.0);
    }
    for (VELA::kern::Variant v : {VELA::kern::Variant::Reference, VELA::kern::Variant::Sse2,
                                  VELA::kern::Variant::Avx2, VELA::kern::Variant::Avx512}) {
        const std::string name = std::string("HalfBand/decim2_27tap/") + VELA::kern::VariantName(v);
        benchmark::RegisterBenchmark(name.c_str(), HalfBandLevelBench, v)->Unit(benchmark::kMicrosecond);
        if (v != VELA::kern::Variant::Reference)
            reporter.Compare(name, "HalfBand/decim2_27tap/reference", M::BandwidthRatio, 0.0);
    }
    benchmark::RegisterBenchmark("DigitalZoom/Apply/selftest", ZoomBench)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Floor/TwoFFT+memcpy", FloorBench, 0)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Floor/TwoFFT", FloorBench, 1)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Floor/memcpy", FloorBench, 2)->Unit(benchmark::kMicrosecond);
    // Time per call over the floor: information, no goal.
    reporter.Compare("DigitalZoom/Apply/selftest", "Floor/TwoFFT+memcpy", M::TimeRatio, 0.0);
    return bench::RunAll(argc, argv, reporter);
}
