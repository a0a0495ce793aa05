// FT::Forward on complex float beside raw FFTW executing a measured plan (FFTW_MEASURE) on the same kind
// of data (out of place, 64-byte aligned vectors). Two ratios: the library with its default planning
// (plan quality and the class's own cost), and with FFTPlanningMeasure (the class's own cost: plan
// lookup, alignment check, resize of the output and the scaling decision); and with
// FFTPlanningMeasureDirect, the cheaper measuring planner.
#include <fftw3.h>

#include <cstdio>
#include <random>
#include <string>

#include "BenchSummary.h"
#include <corvane/corvane.h>
#include "kernel/FFTPlan.h"

namespace {

using VELA::Cplx32;
using VELA::VecCplx32;

void Fill(VecCplx32& v, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = Cplx32{u(gen), u(gen)};
}

// The library's transform planned with `rigour` (the default: automatic).
void FTForward(benchmark::State& state, int n, VELA::FFTPlanningRigour rigour) {
    VELA::FFTPlanning::SetRigour(rigour, 0);
    VELA::FT ft;
    VecCplx32 in(n), out(n);
    Fill(in, 1);
    ft.Forward(out, in);  // plans outside the timed loop
    VELA::FFTPlanning::SetRigour(VELA::FFTPlanningAutomatic, 0);
    for (auto _ : state) {
        ft.Forward(out, in);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
}

void RawFftw(benchmark::State& state, int n) {
    VecCplx32 in(n), out(n);
    auto* i = reinterpret_cast<fftwf_complex*>(in.Data());
    auto* o = reinterpret_cast<fftwf_complex*>(out.Data());
    // FFTW at its best short of PATIENT: a measured plan (the anchor never replays our own rigour).
    fftwf_plan plan = fftwf_plan_dft_1d(n, i, o, FFTW_FORWARD, FFTW_MEASURE);
    if (!plan) {
        state.SkipWithError("FFTW refused the plan");
        return;
    }
    Fill(in, 1);  // planning may overwrite the arrays
    for (auto _ : state) {
        fftwf_execute(plan);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
}

}  // namespace

int main(int argc, char** argv) {
    bench::SummaryReporter reporter;
    // 64 points: the transform is short enough that the per-call cost of the class shows (no goal).
    for (int n : {64, 1024, 4096, 4099, 65536}) {
        const std::string subject = "FT/Forward_C32/" + std::to_string(n);
        const std::string measured = "FT/Forward_C32_measure/" + std::to_string(n);
        const std::string direct = "FT/Forward_C32_measure_direct/" + std::to_string(n);
        const std::string anchor = "FFTW/execute_C32_MEASURE/" + std::to_string(n);
        benchmark::RegisterBenchmark(subject.c_str(), FTForward, n, VELA::FFTPlanningAutomatic)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(measured.c_str(), FTForward, n, VELA::FFTPlanningMeasure)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(direct.c_str(), FTForward, n, VELA::FFTPlanningMeasureDirect)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(anchor.c_str(), RawFftw, n)->Unit(benchmark::kMicrosecond);
        reporter.Compare(subject, anchor, bench::SummaryReporter::Metric::TimeRatio, n == 64 ? 0.0 : 1.05);
        reporter.Compare(measured, anchor, bench::SummaryReporter::Metric::TimeRatio, n == 64 ? 0.0 : 1.05);
        reporter.Compare(direct, anchor, bench::SummaryReporter::Metric::TimeRatio, n == 64 ? 0.0 : 1.05);
    }
    return bench::RunAll(argc, argv, reporter);
}
