// The display path of a persistence spectrum, one 1024 x 768 frame: colour mapping of density and hit
// data over every cell, and the stretch of an 801 x 256 bitmap (801 trace points, 256 levels) to the
// display, in each interpolation mode.
//
// Anchors in the same run:
// - the plain scalar loops: the kernels' reference level, forced for the timed loop (the colour map's
//   per-element formula; the stretch's per-pixel evaluation in double);
// - memcpy of the bytes the colour map reads and writes, for the bandwidth it could reach;
// - Pillow's Image.resize of the same bitmap to the same size with the same filter (NEAREST, BILINEAR,
//   BICUBIC, and BOX for the area average), timed by a python script this program runs first (CPU time,
//   median of 7 repeats; the faster of the "RGBA" and "RGBX" modes: RGBA makes Pillow premultiply
//   alpha, RGBX does not). --no-python skips it.
#include <benchmark/benchmark.h>
#include <corvane/dsp/PersistenceDisplay.h>
#include <unistd.h>

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
#include "kernel/Dispatch.h"

namespace fs = std::filesystem;
using namespace VELA;

namespace {

constexpr int kW = 1024, kH = 768, kCells = kW * kH;
constexpr int kSrcW = 801, kSrcH = 256;

struct Mode {
    const char* name;
    int mode;
    const char* pillowFilter;
};
const Mode kModes[] = {{"Nearest", StretchNearest, "NEAREST"},
                       {"Linear", StretchLinear, "BILINEAR"},
                       {"Cubic", StretchCubic, "BICUBIC"},
                       {"Super", StretchSuperSample, "BOX"}};

std::vector<float> Densities() {
    std::mt19937 gen(1);
    std::uniform_real_distribution<float> u(-0.1f, 1.1f);
    std::vector<float> d(kCells);
    for (auto& x : d)
        x = u(gen);
    return d;
}

std::vector<unsigned short> Hits() {
    std::mt19937 gen(2);
    std::uniform_int_distribution<int> u(0, 65535);
    std::vector<unsigned short> h(kCells);
    for (auto& x : h)
        x = static_cast<unsigned short>(u(gen));
    return h;
}

std::vector<uint8_t> Bitmap() {
    std::mt19937 gen(3);
    std::uniform_int_distribution<int> u(0, 255);
    std::vector<uint8_t> b(size_t(4) * kSrcW * kSrcH);
    for (auto& x : b)
        x = static_cast<uint8_t>(u(gen));
    return b;
}

// Runs `body` at one kernel level (the best, or the reference for the scalar anchor).
class Level {
  public:
    explicit Level(bool scalar) : saved_(kern::ActiveVariant()) {
        if (scalar) kern::SetVariant(kern::Variant::Reference);
    }
    ~Level() { kern::SetVariant(saved_); }

  private:
    kern::Variant saved_;
};

void MapDensity(benchmark::State& state, bool scalar) {
    const std::vector<float> d = Densities();
    std::vector<unsigned short> c(kCells);
    Level level(scalar);
    MapDensityDataToColorRange(d.data(), 0.0f, 1.0f, c.data(), kCells);  // the scratch array, once
    for (auto _ : state) {
        MapDensityDataToColorRange(d.data(), 0.0f, 1.0f, c.data(), kCells);
        benchmark::DoNotOptimize(c.data());
        benchmark::ClobberMemory();
    }
    // Reads the densities, writes the quotients and the colours.
    bench::SetBytes(state, kCells * (4.0 + 4.0 + 2.0));
}

void MapHits(benchmark::State& state, bool scalar) {
    const std::vector<unsigned short> h = Hits();
    std::vector<unsigned short> c(kCells);
    Level level(scalar);
    for (auto _ : state) {
        MapHitDataToColorRange(h.data(), 0.1f, 0.8f, c.data(), kCells);
        benchmark::DoNotOptimize(c.data());
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, kCells * (2.0 + 2.0));
}

void Memcpy(benchmark::State& state, size_t bytes) {
    std::vector<uint8_t> a(bytes, 1), b(bytes);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), bytes);
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 2.0 * bytes);
}

void Stretch(benchmark::State& state, int mode, bool scalar) {
    const std::vector<uint8_t> src = Bitmap();
    std::vector<uint8_t> dst(size_t(4) * kW * kH);
    Level level(scalar);
    auto run = [&] {
        return StretchBitmap(src.data(), IppiSize{kSrcW, kSrcH}, 4 * kSrcW, IppiRect{0, 0, kSrcW, kSrcH},
                             dst.data(), 4 * kW, IppiSize{kW, kH}, double(kW) / kSrcW, double(kH) / kSrcH,
                             0.0, 0.0, mode);
    };
    if (run() != 0) state.SkipWithError("StretchBitmap failed");
    for (auto _ : state) {
        benchmark::DoNotOptimize(run());
        benchmark::ClobberMemory();
    }
}

// ---------------------------------------------------------------- Pillow

const char* kPillowScript = R"(
import sys, time, timeit
from PIL import Image
path, w, h, dw, dh = sys.argv[1], *map(int, sys.argv[2:6])
data = open(path, 'rb').read()
for name in ('NEAREST', 'BILINEAR', 'BICUBIC', 'BOX'):
    f = getattr(Image.Resampling, name)
    best = None
    for mode in ('RGBA', 'RGBX'):
        im = Image.frombytes(mode, (w, h), data)
        im.resize((dw, dh), f)
        t = timeit.Timer(lambda: im.resize((dw, dh), f), timer=time.process_time)
        n, _ = t.autorange()
        n = max(1, int(n * 0.2 / max(t.timeit(n), 1e-9)))
        med = sorted(x / n for x in t.repeat(7, n))[3]
        if best is None or med < best[0]: best = (med, mode)
    print(name, best[0], best[1])
)";

struct Pillow {
    double sec = 0;
    std::string mode;
};

std::map<std::string, Pillow> RunPillow() {
    std::map<std::string, Pillow> figures;
    const fs::path dir = fs::temp_directory_path() / ("corvane_bench_display_" + std::to_string(getpid()));
    fs::create_directories(dir);
    {
        const std::vector<uint8_t> b = Bitmap();
        std::ofstream f(dir / "bitmap.raw", std::ios::binary);
        f.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
        std::ofstream s(dir / "pillow.py");
        s << kPillowScript;
    }
    const std::string cmd = "/usr/bin/python3 " + (dir / "pillow.py").string() + " " +
                            (dir / "bitmap.raw").string() + " " + std::to_string(kSrcW) + " " +
                            std::to_string(kSrcH) + " " + std::to_string(kW) + " " + std::to_string(kH);
    std::printf("Pillow anchor: %s\n", cmd.c_str());
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char line[256];
        while (std::fgets(line, sizeof line, p)) {
            std::istringstream is(line);
            std::string name;
            Pillow f;
            if (is >> name >> f.sec >> f.mode) figures[name] = f;
        }
        pclose(p);
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
    return figures;
}

std::string StretchName(const Mode& m, bool scalar) {
    return std::string(scalar ? "Scalar" : "Display") + "/Stretch_" + m.name + "/801x256_to_1024x768";
}

class Reporter : public bench::SummaryReporter {
  public:
    explicit Reporter(std::map<std::string, Pillow> pillow) : pillow_(std::move(pillow)) {}

    void Finalize() override {
        bench::SummaryReporter::Finalize();
        std::printf("\n%-44s %12s %14s %10s %s\n", "stretch 801x256 -> 1024x768", "ours", "Pillow",
                    "speed-up", "verdict (goal: faster than Pillow)");
        for (const Mode& m : kModes) {
            const Figures* ours = Find(StretchName(m, false));
            auto p = pillow_.find(m.pillowFilter);
            if (!ours || p == pillow_.end()) continue;
            const double pillowUs = p->second.sec * 1e6, oursUs = ours->ns * 1e-3;
            std::printf("%-44s %9.1f us %8.1f us %-4s %9.2fx %s\n",
                        (std::string(m.name) + " / " + m.pillowFilter).c_str(), oursUs, pillowUs,
                        p->second.mode.c_str(), pillowUs / oursUs, pillowUs > oursUs ? "met" : "MISSED");
        }
        const Figures* map = Find("Display/MapDensity/1024x768");
        for (const Mode& m : kModes) {
            const Figures* s = Find(StretchName(m, false));
            if (!map || !s) continue;
            const double frame = (map->ns + s->ns) * 1e-3;
            std::printf("display frame, MapDensity + Stretch_%-8s %9.1f us  (goal well inside 1000 us: %s)\n",
                        m.name, frame,
                        frame < 500 ? "met" : (frame < 1000 ? "inside, not well inside" : "MISSED"));
        }
        std::printf(
            "(CPU time per call; Pillow: median of 7 repeats, time.process_time, faster mode shown)\n");
        std::fflush(stdout);
    }

  private:
    std::map<std::string, Pillow> pillow_;
};

}  // namespace

int main(int argc, char** argv) {
    const bool python = !bench::TakeFlag(argc, argv, "--no-python");
    std::printf("kernel level: %s\n", kern::VariantName(kern::ActiveVariant()));
    Reporter reporter(python ? RunPillow() : std::map<std::string, Pillow>{});
    using M = bench::SummaryReporter::Metric;

    benchmark::RegisterBenchmark("Display/MapDensity/1024x768", MapDensity, false)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Scalar/MapDensity/1024x768", MapDensity, true)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("memcpy/3.75MiB", Memcpy, size_t(kCells) * 5)->Unit(benchmark::kMicrosecond);
    reporter.Compare("Display/MapDensity/1024x768", "Scalar/MapDensity/1024x768", M::TimeRatio, 0);
    reporter.Compare("Display/MapDensity/1024x768", "memcpy/3.75MiB", M::BandwidthRatio, 0);

    benchmark::RegisterBenchmark("Display/MapHits/1024x768", MapHits, false)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Scalar/MapHits/1024x768", MapHits, true)->Unit(benchmark::kMicrosecond);
    reporter.Compare("Display/MapHits/1024x768", "Scalar/MapHits/1024x768", M::TimeRatio, 0);

    for (const Mode& m : kModes) {
        benchmark::RegisterBenchmark(StretchName(m, false).c_str(), Stretch, m.mode, false)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(StretchName(m, true).c_str(), Stretch, m.mode, true)
            ->Unit(benchmark::kMicrosecond);
        reporter.Compare(StretchName(m, false), StretchName(m, true), M::TimeRatio, 0);
    }
    return bench::RunAll(argc, argv, reporter);
}
