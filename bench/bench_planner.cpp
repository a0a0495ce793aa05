// How hard FFTW's planner should work: plan time and execution time of complex forward transforms
// (float and double) planned with FFTW_ESTIMATE, FFTW_MEASURE and, for short lengths, FFTW_PATIENT.
// The figures behind PlannerFlags() in src/kernel/FFTPlan.cpp.
//
// Every plan is made once, after forgetting all wisdom, so its planning time is the cost a process
// pays the first time it meets that length (later plans of the same length reuse the wisdom and are
// cheap). Planning time is the CPU time of the planning thread. Execution runs the plan out of place
// on 64-byte aligned arrays, as the library's plans run.
#include <fftw3.h>

#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <tuple>

#include "BenchSummary.h"

namespace {

constexpr int kLengths[] = {1000, 1024, 1536, 4096, 4099, 6000, 65536, 1 << 17, 1 << 18, 1 << 19, 1 << 20};
// FFTW_PATIENT plans take about ten times as long as FFTW_MEASURE's (about 1 s for 1024 points and
// 90 s for the prime 4099 here), so it is measured on the short composite lengths only.
constexpr int kPatientMax = 4096;

struct Rigour {
    const char* name;
    unsigned flags;
    double limitSeconds;  // FFTW's planner time limit, negative for none
};
// MEASURE_NO_INDIRECT: FFTW_MEASURE without the solvers that copy the data into another layout first
// (FFTW's own FFTW_NO_INDIRECT_OP flag), a cheaper measuring planner. The _50MS rows are the two
// measuring planners under FFTW's time limit of 50 ms per plan: what a measuring default could get
// within the planning bound the library keeps for a new length.
constexpr Rigour kRigours[] = {{"ESTIMATE", FFTW_ESTIMATE, -1.0},
                               {"MEASURE", FFTW_MEASURE, -1.0},
                               {"PATIENT", FFTW_PATIENT, -1.0},
                               {"MEASURE_NO_INDIRECT", FFTW_MEASURE | FFTW_NO_INDIRECT_OP, -1.0},
                               {"MEASURE_50MS", FFTW_MEASURE, 0.05},
                               {"MEASURE_NO_INDIRECT_50MS", FFTW_MEASURE | FFTW_NO_INDIRECT_OP, 0.05}};

double ThreadCpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// One plan with its arrays, made on first use and kept for the repetitions that follow.
template <class T>
struct Planned;
template <>
struct Planned<float> {
    fftwf_complex *in = nullptr, *out = nullptr;
    fftwf_plan plan = nullptr;
    double planSeconds = 0;
    Planned(int n, unsigned flags, double limit) {
        in = fftwf_alloc_complex(static_cast<size_t>(n));
        out = fftwf_alloc_complex(static_cast<size_t>(n));
        fftwf_forget_wisdom();
        fftwf_set_timelimit(limit);
        const double t0 = ThreadCpuSeconds();
        plan = fftwf_plan_dft_1d(n, in, out, FFTW_FORWARD, flags);
        planSeconds = ThreadCpuSeconds() - t0;
        fftwf_set_timelimit(FFTW_NO_TIMELIMIT);
        for (int i = 0; i < n; ++i)
            in[i][0] = in[i][1] = static_cast<float>(i % 17) - 8.0f;
    }
    ~Planned() {
        if (plan) fftwf_destroy_plan(plan);
        fftwf_free(in);
        fftwf_free(out);
    }
    void Execute() { fftwf_execute(plan); }
};
template <>
struct Planned<double> {
    fftw_complex *in = nullptr, *out = nullptr;
    fftw_plan plan = nullptr;
    double planSeconds = 0;
    Planned(int n, unsigned flags, double limit) {
        in = fftw_alloc_complex(static_cast<size_t>(n));
        out = fftw_alloc_complex(static_cast<size_t>(n));
        fftw_forget_wisdom();
        fftw_set_timelimit(limit);
        const double t0 = ThreadCpuSeconds();
        plan = fftw_plan_dft_1d(n, in, out, FFTW_FORWARD, flags);
        planSeconds = ThreadCpuSeconds() - t0;
        fftw_set_timelimit(FFTW_NO_TIMELIMIT);
        for (int i = 0; i < n; ++i)
            in[i][0] = in[i][1] = static_cast<double>(i % 17) - 8.0;
    }
    ~Planned() {
        if (plan) fftw_destroy_plan(plan);
        fftw_free(in);
        fftw_free(out);
    }
    void Execute() { fftw_execute(plan); }
};

template <class T>
Planned<T>& PlanFor(int n, const Rigour* r) {
    static std::map<std::pair<int, const Rigour*>, std::unique_ptr<Planned<T>>> cache;
    auto& slot = cache[{n, r}];
    if (!slot) slot = std::make_unique<Planned<T>>(n, r->flags, r->limitSeconds);
    return *slot;
}

template <class T>
void Execute(benchmark::State& state, int n, const Rigour* r) {
    Planned<T>& p = PlanFor<T>(n, r);
    if (!p.plan) {
        state.SkipWithError("FFTW refused the plan");
        return;
    }
    for (auto _ : state) {
        p.Execute();
        benchmark::ClobberMemory();
    }
    state.counters["plan_ms"] = 1e3 * p.planSeconds;
}

std::string Name(const char* kind, const char* rigour, int n) {
    std::string s("FFTW/");
    s.append(kind).append("/").append(rigour).append("/").append(std::to_string(n));
    return s;
}

}  // namespace

int main(int argc, char** argv) {
    bench::SummaryReporter reporter;
    for (const char* kind : {"C32", "C64"}) {
        const bool isFloat = kind[1] == '3';
        for (int n : kLengths)
            for (const Rigour& r : kRigours) {
                if (r.flags == FFTW_PATIENT && n > kPatientMax) continue;
                auto* b =
                    isFloat
                        ? benchmark::RegisterBenchmark(Name(kind, r.name, n).c_str(), Execute<float>, n, &r)
                        : benchmark::RegisterBenchmark(Name(kind, r.name, n).c_str(), Execute<double>, n, &r);
                b->Unit(benchmark::kMicrosecond);
            }
    }
    const int rc = bench::RunAll(argc, argv, reporter);

    // Plan time against execution time, and after how many transforms the planning pays for itself.
    std::printf("\n%-4s %8s | %11s %11s %11s | %11s %11s %11s | %9s %11s\n", "kind", "N", "plan E ms",
                "plan M ms", "plan P ms", "exec E us", "exec M us", "exec P us", "M/E exec", "M pays after");
    for (const char* kind : {"C32", "C64"})
        for (int n : kLengths) {
            const auto* e = reporter.Find(Name(kind, "ESTIMATE", n));
            const auto* m = reporter.Find(Name(kind, "MEASURE", n));
            const auto* p = reporter.Find(Name(kind, "PATIENT", n));
            if (!e || !m) continue;
            auto plan = [](const bench::SummaryReporter::Figures* f) {
                auto it = f->counters.find("plan_ms");
                return it == f->counters.end() ? 0.0 : it->second;
            };
            char pp[16] = "-", pe[16] = "-", pays[24] = "never";
            if (p) {
                std::snprintf(pp, sizeof pp, "%.1f", plan(p));
                std::snprintf(pe, sizeof pe, "%.3f", p->ns / 1e3);
            }
            const double gain = e->ns - m->ns;  // ns saved per transform
            if (gain > 0) std::snprintf(pays, sizeof pays, "%.0f", (plan(m) - plan(e)) * 1e6 / gain);
            std::printf("%-4s %8d | %11.2f %11.1f %11s | %11.3f %11.3f %11s | %9.3f %11s\n", kind, n, plan(e),
                        plan(m), pp, e->ns / 1e3, m->ns / 1e3, pe, m->ns / e->ns, pays);
        }

    // The cheaper measuring planner against FFTW_MEASURE: its planning time and its plan's speed.
    std::printf("\n%-4s %8s | %11s %11s | %11s %11s | %9s\n", "kind", "N", "plan M ms", "plan MNI ms",
                "exec M us", "exec MNI us", "MNI/M");
    for (const char* kind : {"C32", "C64"})
        for (int n : kLengths) {
            const auto* m = reporter.Find(Name(kind, "MEASURE", n));
            const auto* q = reporter.Find(Name(kind, "MEASURE_NO_INDIRECT", n));
            if (!m || !q) continue;
            auto plan = [](const bench::SummaryReporter::Figures* f) {
                auto it = f->counters.find("plan_ms");
                return it == f->counters.end() ? 0.0 : it->second;
            };
            std::printf("%-4s %8d | %11.1f %11.1f | %11.3f %11.3f | %9.3f\n", kind, n, plan(m), plan(q),
                        m->ns / 1e3, q->ns / 1e3, q->ns / m->ns);
        }

    // Measuring under the 50 ms limit: planning time and the plan's speed over FFTW_MEASURE's.
    std::printf("\n%-4s %8s | %11s %11s | %11s %11s | %9s %9s\n", "kind", "N", "plan M50 ms", "plan MNI50 ms",
                "exec M us", "exec E us", "M50/M", "MNI50/M");
    for (const char* kind : {"C32", "C64"})
        for (int n : kLengths) {
            const auto* m = reporter.Find(Name(kind, "MEASURE", n));
            const auto* e = reporter.Find(Name(kind, "ESTIMATE", n));
            const auto* a = reporter.Find(Name(kind, "MEASURE_50MS", n));
            const auto* b = reporter.Find(Name(kind, "MEASURE_NO_INDIRECT_50MS", n));
            if (!m || !e || !a || !b) continue;
            auto plan = [](const bench::SummaryReporter::Figures* f) {
                auto it = f->counters.find("plan_ms");
                return it == f->counters.end() ? 0.0 : it->second;
            };
            std::printf("%-4s %8d | %11.1f %11.1f | %11.3f %11.3f | %9.3f %9.3f\n", kind, n, plan(a), plan(b),
                        m->ns / 1e3, e->ns / 1e3, a->ns / m->ns, b->ns / m->ns);
        }
    std::fflush(stdout);
    return rc;
}
