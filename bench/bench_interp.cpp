// Interpolation of 1M queries on 10k knots (linear, natural spline, PCHIP; double) beside scipy's
// interp1d, CubicSpline and PchipInterpolator on the same data, timed in the same run by a python
// script (CPU time, median of repeats). Each side does a whole call: set-up on the knots plus every
// query. Queries come sorted (resampling a curve onto a new grid) and in random order.
//
// The python anchors run once before the Google benchmarks; --no-python skips them. The script also
// reports the largest difference between our results and scipy's.
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

namespace {

namespace fs = std::filesystem;
using VELA::VecReal64;

constexpr int kKnots = 10000;
constexpr int kQueries = 1000000;
constexpr double kGoal = 10.0;  // required speed-up over scipy

// Knots with random gaps, values of a smooth curve with noise; queries over the knots and 5% beyond.
struct Data {
    VecReal64 x{kKnots}, y{kKnots}, sorted{kQueries}, random{kQueries};
    Data() {
        std::mt19937_64 gen(7);
        std::uniform_real_distribution<double> gap(0.05, 1.05), noise(-0.1, 0.1);
        double at = 0;
        for (int i = 0; i < kKnots; ++i) {
            x[i] = at;
            y[i] = std::sin(at * 0.05) + noise(gen);
            at += gap(gen);
        }
        const double lo = x[0] - 0.05 * (x[kKnots - 1] - x[0]),
                     hi = x[kKnots - 1] + 0.05 * (x[kKnots - 1] - x[0]);
        std::uniform_real_distribution<double> q(lo, hi);
        for (int i = 0; i < kQueries; ++i)
            random[i] = q(gen);
        for (int i = 0; i < kQueries; ++i)
            sorted[i] = lo + (hi - lo) * i / (kQueries - 1);
    }
};
const Data& TheData() {
    static const Data d;
    return d;
}

const char* const kMethods[] = {"linear", "spline", "pchip"};
const char* const kOrders[] = {"sorted", "random"};

std::unique_ptr<VELA::Interpolation> Make(const std::string& method) {
    if (method == "linear") return std::make_unique<VELA::Interpolation>();
    if (method == "spline") return std::make_unique<VELA::Spline>();
    return std::make_unique<VELA::CubicHermiteInterpolation>();
}

std::string Name(const std::string& method, const std::string& order) {
    return "Interpolate/" + method + "/" + order + "/10k_knots/1M_queries";
}

// ---------------------------------------------------------------- python anchors

struct PyFigures {
    double seconds = 0, maxAbsDiff = -1;
};

const char* kTimingScript = R"(
import sys, time, timeit
import numpy as np
from scipy.interpolate import interp1d, CubicSpline, PchipInterpolator
d = sys.argv[1]
x = np.fromfile(f'{d}/x'); y = np.fromfile(f'{d}/y')
make = {
    'linear': lambda: interp1d(x, y, fill_value='extrapolate', assume_sorted=True),
    'spline': lambda: CubicSpline(x, y, bc_type='natural'),
    'pchip': lambda: PchipInterpolator(x, y),
}
for order in ('sorted', 'random'):
    q = np.fromfile(f'{d}/q_{order}')
    for method, mk in make.items():
        ours = np.fromfile(f'{d}/{method}_{order}')
        diff = np.max(np.abs(mk()(q) - ours))
        t = timeit.Timer(lambda: mk()(q), timer=time.process_time)
        n, _ = t.autorange()
        n = max(1, int(n * 0.2 / max(t.timeit(n), 1e-9)))
        print(method, order, sorted(v / n for v in t.repeat(7, n))[3], diff)
)";

void Dump(const fs::path& p, const VecReal64& v) {
    std::ofstream f(p, std::ios::binary);
    f.write(reinterpret_cast<const char*>(v.Data()),
            static_cast<std::streamsize>(sizeof(double) * v.GetSize()));
}

std::map<std::string, PyFigures> RunPython() {
    std::map<std::string, PyFigures> figures;
    const fs::path dir = fs::temp_directory_path() / ("corvane_bench_interp_" + std::to_string(getpid()));
    fs::create_directories(dir);
    const Data& d = TheData();
    Dump(dir / "x", d.x);
    Dump(dir / "y", d.y);
    for (const char* order : kOrders) {
        const VecReal64& q = std::string(order) == "sorted" ? d.sorted : d.random;
        Dump(dir / (std::string("q_") + order), q);
        for (const char* method : kMethods) {
            VecReal64 out;
            Make(method)->Interpolate(out, d.x, d.y, q);
            Dump(dir / (std::string(method) + "_" + order), out);
        }
    }
    {
        std::ofstream f(dir / "timing.py");
        f << kTimingScript;
    }
    const std::string cmd = "/usr/bin/python3 " + (dir / "timing.py").string() + " " + dir.string();
    std::printf("python anchors: %s\n", cmd.c_str());
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char line[512];
        while (std::fgets(line, sizeof line, p)) {
            std::istringstream is(line);
            std::string method, order;
            PyFigures f;
            if (is >> method >> order >> f.seconds >> f.maxAbsDiff) figures[method + "/" + order] = f;
        }
        pclose(p);
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
    return figures;
}

// ---------------------------------------------------------------- benchmarks

void InterpBench(benchmark::State& state, std::string method, std::string order) {
    const Data& d = TheData();
    const VecReal64& q = order == "sorted" ? d.sorted : d.random;
    auto interp = Make(method);
    VecReal64 out;
    interp->Interpolate(out, d.x, d.y, q);  // output storage and index grown outside the loop
    for (auto _ : state) {
        interp->Interpolate(out, d.x, d.y, q);
        benchmark::DoNotOptimize(out.Data());
        benchmark::ClobberMemory();
    }
    state.counters["ns/query"] =
        benchmark::Counter(static_cast<double>(kQueries),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

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
        std::printf("\n%-16s %12s %12s %10s %8s %8s %s\n", "1M on 10k", "Corvane", "scipy", "speed-up",
                    "goal", "verdict", "max |ours - scipy|");
        for (const char* order : kOrders)
            for (const char* method : kMethods) {
                const std::string key = std::string(method) + "/" + order;
                auto it = ns_.find(Name(method, order));
                auto p = py_.find(key);
                if (it == ns_.end() || p == py_.end()) continue;
                const double ours = it->second * 1e-6, sp = p->second.seconds * 1e3;
                const double speedup = sp / ours;
                std::printf("%-16s %9.2f ms %9.2f ms %9.1fx %7.0fx %8s %.2e\n", key.c_str(), ours, sp,
                            speedup, kGoal, speedup >= kGoal ? "met" : "MISSED", p->second.maxAbsDiff);
            }
        std::printf("(CPU time per whole call; python: median of 7 repeats, time.process_time)\n");
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
    for (const char* order : kOrders)
        for (const char* method : kMethods)
            benchmark::RegisterBenchmark(Name(method, order).c_str(), InterpBench, std::string(method),
                                         std::string(order))
                ->Unit(benchmark::kMillisecond);
    return bench::RunAll(argc, argv, reporter);
}
