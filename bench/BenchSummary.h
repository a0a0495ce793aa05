// Shared by the benchmark programs: the usual console output, then a table that sets each benchmark
// beside its anchor (raw FFTW, memcpy, VOLK) and checks the ratio against a goal.
//
// Figures come from the median when repetitions ran, otherwise from the single run. Times are CPU time
// per iteration (the "CPU" column): on a shared machine wall-clock time also counts the time the
// benchmark waited for a core. Bandwidths are `bytes` (set with SetBytes) divided by that time.
//
// Benchmarks are registered by full name ("FT/Forward_C32/1024"), so the names given to Compare are the
// names printed.
#pragma once

#include <cstring>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace bench {

// Records the bytes one iteration reads plus writes, for the bandwidth columns of the summary.
inline void SetBytes(benchmark::State& state, double bytesPerIteration) {
    state.counters["bytes"] = benchmark::Counter(bytesPerIteration);
    state.SetBytesProcessed(
        static_cast<int64_t>(bytesPerIteration * static_cast<double>(state.iterations())));
}

class SummaryReporter : public benchmark::ConsoleReporter {
  public:
    enum class Metric {
        TimeRatio,      // subject time / anchor time; the goal is an upper bound
        BandwidthRatio  // subject bandwidth / anchor bandwidth; the goal is a lower bound
    };

    SummaryReporter() : benchmark::ConsoleReporter(OO_Tabular) {}

    // Adds a line to the closing table. `goal` <= 0 means "no goal, for information".
    void Compare(std::string subject, std::string anchor, Metric metric, double goal) {
        pairs_.push_back({std::move(subject), std::move(anchor), metric, goal});
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        benchmark::ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.error_occurred) continue;
            const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
            const bool single = r.run_type == Run::RT_Iteration && r.repetitions <= 1;
            if (!median && !single) continue;
            Figures f;
            f.ns = r.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(r.time_unit) * 1e9;
            auto it = r.counters.find("bytes");
            f.bytes = it == r.counters.end() ? 0.0 : it->second.value;
            for (const auto& [name, counter] : r.counters)
                f.counters[name] = counter.value;
            f.fromMedian = median;
            figures_[r.run_name.function_name] = f;
        }
    }

    void Finalize() override {
        benchmark::ConsoleReporter::Finalize();
        if (pairs_.empty()) return;
        std::printf("\n%-44s %-36s %12s %12s %10s %8s %s\n", "benchmark", "anchor", "value", "anchor",
                    "ratio", "goal", "verdict");
        for (const Pair& p : pairs_) {
            auto s = figures_.find(p.subject);
            auto a = figures_.find(p.anchor);
            if (s == figures_.end() || a == figures_.end()) continue;  // filtered out of this run
            double vs, va, ratio;
            const char* unit;
            if (p.metric == Metric::TimeRatio) {
                vs = s->second.ns;
                va = a->second.ns;
                unit = "ns";
            } else {
                vs = s->second.bytes / s->second.ns;  // bytes per ns = GB/s
                va = a->second.bytes / a->second.ns;
                unit = "GB/s";
            }
            ratio = vs / va;
            const char* verdict = "-";
            char goal[16] = "-";
            if (p.goal > 0) {
                const bool met = p.metric == Metric::TimeRatio ? ratio <= p.goal : ratio >= p.goal;
                verdict = met ? "met" : "MISSED";
                std::snprintf(goal, sizeof goal, "%s%.2f",
                              p.metric == Metric::TimeRatio ? "<=" : ">=", p.goal);
            }
            char sv[32], av[32];
            std::snprintf(sv, sizeof sv, "%.4g %s", vs, unit);
            std::snprintf(av, sizeof av, "%.4g %s", va, unit);
            std::printf("%-44s %-36s %12s %12s %10.3f %8s %s\n", p.subject.c_str(), p.anchor.c_str(), sv, av,
                        ratio, goal, verdict);
        }
        const bool anyMedian = !figures_.empty() && figures_.begin()->second.fromMedian;
        std::printf("(%s of CPU time per iteration)\n", anyMedian ? "medians" : "single runs");
        std::fflush(stdout);
    }

    // The figures of one benchmark (by full name) once it has run, or null.
    struct Figures {
        double ns = 0, bytes = 0;  // CPU time per iteration; bytes per iteration
        std::map<std::string, double> counters;
        bool fromMedian = false;
    };
    const Figures* Find(const std::string& name) const {
        auto it = figures_.find(name);
        return it == figures_.end() ? nullptr : &it->second;
    }

  private:
    struct Pair {
        std::string subject, anchor;
        Metric metric;
        double goal;
    };
    std::vector<Pair> pairs_;
    std::map<std::string, Figures> figures_;
};

// Initialise, run everything selected with `reporter` as the console output, shut down.
// Removes `flag` from the command line (before Google Benchmark reads it); true when it was there.
inline bool TakeFlag(int& argc, char** argv, const char* flag) {
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], flag) == 0) {
            for (int j = i; j + 1 < argc; ++j)
                argv[j] = argv[j + 1];
            --argc;
            return true;
        }
    return false;
}

inline int RunAll(int argc, char** argv, SummaryReporter& reporter) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

}  // namespace bench
