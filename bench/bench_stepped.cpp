// SteppedSpectrum: full sweeps of three plans from prepared blocks (one-call Apply per tuning), beside
// their floor, the raw FFTW transforms the plan's chirp-Z performs (a forward and an inverse transform
// of its power-of-two length L per chirp-Z, FFTW_MEASURE plans), and the input rate beside the plan's
// sample rate (real time).
//
//   "Multi-Tuning-1": 100 MHz in 3 tunings, 10000-sample blocks cut into 53 sub-blocks of 188
//   "1MHz Span":      1 GHz in 3339 tunings of 98 samples, stitched by 25
//   "VBW Noise":      one tuning, 8001 points, 5212 samples averaged in blocks of 1393 (video bandwidth)
#include <fftw3.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "BenchSummary.h"
#include <corvane/corvane.h>

namespace {

using namespace VELA;

constexpr double kFloorGoal = 1.5;     // sweep time / FFT floor, upper bound
constexpr double kRealTimeGoal = 2.0;  // input samples per second / sample rate, lower bound

struct Request {
    const char* name;
    double span, center, rbw;
    WindowType window;
    int points;
    double acqSpan, sampFreq;
    int acqSamples;
    DetectorType detector;
    double vbw;
};

const Request kPlans[] = {
    {"Multi-Tuning-1", 100e6, 1e9, 1e6, WindowTypeFlatTop, 501, 36e6, 50e6, 10000, DetectorMax, 0.0},
    {"1MHz Span", 1e9, 1e9, 30e3, WindowTypeFlatTop, 801, 300e3, 781250, 0, DetectorMax, 0.0},
    {"VBW Noise", 4e6, 5e8, 1e4, WindowTypeKaiser, 8001, 5e6, 6.25e6, 0, DetectorAve, 1000.0},
};

struct Prepared {
    SteppedSpectrum ss;
    VecReal64 freqSteps, acqSpans;
    VecInt32 numSamples, numPoints;
    std::vector<VecCplx32> blocks;
    long long samplesPerSweep = 0;
    int transformsPerSweep = 0;
    int fftLength = 0;
    int blockLen = 0;
    int czPoints = 0;
};

// The chirp-Z of the plan and how many it runs per sweep, from the plan's own rules: block length from
// the window's bandwidth factor, bins per tuning from the upsampling; sub-blocks and video-bandwidth
// blocks each take one transform.
void Prepare(Prepared& p, const Request& r) {
    double rbw = 0, vbw = 0;
    p.ss.Init(p.freqSteps, p.acqSpans, p.numSamples, p.numPoints, rbw, vbw, r.span, r.center, r.rbw, r.window,
              r.points, r.acqSpan, r.sampFreq, r.acqSamples, r.detector, false, r.vbw, 0);
    WindowFactory factory;
    Window* w = factory.MakeWindow(r.window);
    const int blockLen = static_cast<int>(std::trunc(r.sampFreq / r.rbw * w->GetEffectiveRBWScaling() + 0.5));
    delete w;
    int upsample = 0, stitch = 0;
    p.ss.GetUpsampleRate(upsample, stitch);
    const int T = p.freqSteps.GetSize();
    int czPoints;
    if (T == 1) {
        czPoints = upsample * r.points;
    } else {
        const int grid = r.points * stitch;
        int stepPoints = static_cast<int>(std::trunc(r.acqSpan / (r.span / (grid - 1)))) + 1;
        if (stepPoints % 2 == 0) --stepPoints;
        czPoints = (stepPoints - 1) * upsample + 1;
    }
    p.fftLength = ChirpZ(blockLen, r.sampFreq, czPoints, 0.0, 1.0, false).GetFFTSize();
    p.blockLen = blockLen;
    p.czPoints = czPoints;
    std::mt19937 gen(7);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    p.blocks.resize(static_cast<size_t>(T));
    p.samplesPerSweep = 0;
    p.transformsPerSweep = 0;
    for (int i = 0; i < T; ++i) {
        const int n = p.numSamples[i];
        VecCplx32& b = p.blocks[static_cast<size_t>(i)];
        SteppedSpectrum::GenCW(b, 0.01, n);
        for (int k = 0; k < n; ++k) {
            b[k].re += u(gen);
            b[k].im += u(gen);
        }
        p.samplesPerSweep += n;
        p.transformsPerSweep += n > blockLen ? (r.vbw > 0 ? (n + blockLen - 1) / blockLen : n / blockLen) : 1;
    }
}

void SweepBench(benchmark::State& state, const Request* r) {
    Prepared p;
    Prepare(p, *r);
    VecReal32 out;
    const int T = p.freqSteps.GetSize();
    for (int i = 0; i < T; ++i)  // first sweep outside the timed loop: scratch grows here
        p.ss.Apply(out, p.blocks[static_cast<size_t>(i)], i);
    for (auto _ : state) {
        for (int i = 0; i < T; ++i) {
            p.ss.Apply(out, p.blocks[static_cast<size_t>(i)], i);
            benchmark::DoNotOptimize(out.Data());
        }
        benchmark::ClobberMemory();
    }
    state.counters["tunings"] = T;
    state.counters["transforms"] = p.transformsPerSweep;
    state.counters["L"] = p.fftLength;
    state.counters["samples"] = static_cast<double>(p.samplesPerSweep);
    state.counters["sampFreq"] = r->sampFreq;
}

// The floor: the sweep's count of forward-and-inverse FFTW transforms of length L.
void FloorBench(benchmark::State& state, const Request* r) {
    Prepared p;
    Prepare(p, *r);
    const int l = p.fftLength;
    fftwf_complex* a = fftwf_alloc_complex(static_cast<size_t>(l));
    fftwf_complex* b = fftwf_alloc_complex(static_cast<size_t>(l));
    fftwf_complex* c = fftwf_alloc_complex(static_cast<size_t>(l));
    fftwf_plan fwd = fftwf_plan_dft_1d(l, a, b, FFTW_FORWARD, FFTW_MEASURE);
    fftwf_plan inv = fftwf_plan_dft_1d(l, b, c, FFTW_BACKWARD, FFTW_MEASURE);
    for (int i = 0; i < l; ++i) {
        a[i][0] = std::cos(0.1f * i);
        a[i][1] = std::sin(0.1f * i);
    }
    const int n = p.transformsPerSweep;
    for (auto _ : state) {
        for (int k = 0; k < n; ++k) {
            fftwf_execute(fwd);
            fftwf_execute(inv);
        }
        benchmark::DoNotOptimize(c);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(fwd);
    fftwf_destroy_plan(inv);
    fftwf_free(a);
    fftwf_free(b);
    fftwf_free(c);
    state.counters["L"] = l;
    state.counters["transforms"] = n;
}

// The chirp-Z objects alone: the sweep's count of ChirpZ::Apply of the plan's sizes, to show how much of
// the distance to the floor lies in the transform itself.
void ChirpZBench(benchmark::State& state, const Request* r) {
    Prepared p;
    Prepare(p, *r);
    ChirpZ czt(p.blockLen, r->sampFreq, p.czPoints, r->acqSpan * -0.5, r->acqSpan / (p.czPoints - 1), false);
    VecCplx32 in, out;
    SteppedSpectrum::GenCW(in, 0.01, p.blockLen);
    czt.Apply(out, in);
    const int n = p.transformsPerSweep;
    for (auto _ : state) {
        for (int k = 0; k < n; ++k) {
            czt.Apply(out, in);
            benchmark::DoNotOptimize(out.Data());
        }
        benchmark::ClobberMemory();
    }
}

// The measurement's chirp-Z alone over the sweep's own blocks, as the sweep calls it: windowed, reduced
// to magnitudes, one block after another (for plans with one transform per tuning). What remains
// between this and the sweep is the detection, stitching and unit conversion of each tuning.
void BlocksBench(benchmark::State& state, const Request* r) {
    Prepared p;
    Prepare(p, *r);
    ChirpZ czt(p.blockLen, r->sampFreq, p.czPoints, r->acqSpan * -0.5, r->acqSpan / (p.czPoints - 1), false);
    WindowFactory factory;
    Window* w = factory.MakeWindow(r->window);
    w->SetParameters(p.blockLen);
    VecReal32 weights, out;
    w->GetCoefficients(weights);
    delete w;
    for (const VecCplx32& b : p.blocks)
        czt.ApplyMagnitude(out, b, weights);
    for (auto _ : state) {
        for (const VecCplx32& b : p.blocks) {
            czt.ApplyMagnitude(out, b, weights);
            benchmark::DoNotOptimize(out.Data());
        }
        benchmark::ClobberMemory();
    }
}

std::string BlocksName(const Request& r) {
    return std::string("ChirpZ/SweepBlocksMagnitude/") + r.name;
}

std::string ChirpZName(const Request& r) {
    return std::string("ChirpZ/SweepTransforms/") + r.name;
}

std::string SweepName(const Request& r) {
    return std::string("SteppedSpectrum/Sweep/") + r.name;
}
std::string FloorName(const Request& r) {
    return std::string("FFTW/SweepFloor/") + r.name;
}

class Reporter : public bench::SummaryReporter {
  public:
    void Finalize() override {
        bench::SummaryReporter::Finalize();
        std::printf("\n%-16s %8s %8s %6s %12s %12s %12s %7s %14s %12s %9s %s\n", "plan", "tunings", "czt",
                    "L", "sweep", "chirp-Z", "floor", "ratio", "samples/s", "sampFreq", "x real", "verdict");
        for (const Request& r : kPlans) {
            const Figures* s = Find(SweepName(r));
            const Figures* f = Find(FloorName(r));
            const Figures* c = Find(ChirpZName(r));
            if (!s || !f) continue;
            const double ratio = s->ns / f->ns;
            const double rate = s->counters.at("samples") / (s->ns * 1e-9);
            const double rt = rate / r.sampFreq;
            std::printf("%-16s %8.0f %8.0f %6.0f %9.1f us %9.1f us %9.1f us %7.3f %14.4g %12.4g %9.2f %s\n",
                        r.name, s->counters.at("tunings"), s->counters.at("transforms"), s->counters.at("L"),
                        s->ns * 1e-3, c ? c->ns * 1e-3 : 0.0, f->ns * 1e-3, ratio, rate, r.sampFreq, rt,
                        (ratio <= kFloorGoal && rt >= kRealTimeGoal) ? "met" : "MISSED");
        }
        std::printf(
            "(goals: sweep <= %.1fx floor, input rate >= %.1fx the sample rate; CPU time per sweep)\n",
            kFloorGoal, kRealTimeGoal);
        for (const Request& r : kPlans) {
            const Figures* b = Find(BlocksName(r));
            const Figures* f = Find(FloorName(r));
            const Figures* s = Find(SweepName(r));
            if (!b || !f || !s) continue;
            std::printf(
                "%-16s weighted chirp-Z magnitudes over the sweep's blocks %9.1f us = %.3fx floor, "
                "%.3fx of the sweep\n",
                r.name, b->ns * 1e-3, b->ns / f->ns, b->ns / s->ns);
        }
        std::fflush(stdout);
    }
};

}  // namespace

int main(int argc, char** argv) {
    // --measured-plans: the library plans with FFTW_MEASURE as the floor does, which leaves the sweep's
    // own cost (per-tuning work, detectors, stitching) beside the same transforms.
    if (bench::TakeFlag(argc, argv, "--measured-plans")) {
        FFTPlanning::SetRigour(FFTPlanningMeasure, 0);
        std::printf("library plans: FFTW_MEASURE\n");
    }
    Reporter reporter;
    using M = bench::SummaryReporter::Metric;
    for (const Request& r : kPlans) {
        const std::string sweep = SweepName(r), floor = FloorName(r);
        benchmark::RegisterBenchmark(sweep.c_str(), SweepBench, &r)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(floor.c_str(), FloorBench, &r)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(ChirpZName(r).c_str(), ChirpZBench, &r)->Unit(benchmark::kMicrosecond);
        if (r.acqSamples == 0 && r.vbw == 0.0)  // one transform per tuning
            benchmark::RegisterBenchmark(BlocksName(r).c_str(), BlocksBench, &r)
                ->Unit(benchmark::kMicrosecond);
        reporter.Compare(sweep, floor, M::TimeRatio, kFloorGoal);
    }
    return bench::RunAll(argc, argv, reporter);
}
