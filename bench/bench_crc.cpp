// CRC-32: Checksum::ComputeCRC32 over 1 MiB beside zlib's crc32 over the same buffer, in one run. Each
// path of the CRC engine is also timed on its own, for information. Bandwidth is the bytes read.
#include <zlib.h>

#include <random>
#include <vector>

#include "BenchSummary.h"
#include "kernel/Crc32Kernels.h"
#include <corvane/corvane.h>

namespace {

using Metric = bench::SummaryReporter::Metric;

constexpr int kBytes = 1 << 20;

const std::vector<unsigned char>& Buffer() {
    static const std::vector<unsigned char> data = [] {
        std::vector<unsigned char> v(kBytes);
        std::mt19937 gen(1);
        for (auto& b : v)
            b = static_cast<unsigned char>(gen());
        return v;
    }();
    return data;
}

void Ours(benchmark::State& state) {
    const auto& data = Buffer();
    unsigned int crc = 0;
    for (auto _ : state) {
        crc = VELA::Checksum::ComputeCRC32(kBytes, data.data(), 0);
        benchmark::DoNotOptimize(crc);
    }
    bench::SetBytes(state, kBytes);
}

void Zlib(benchmark::State& state) {
    const auto& data = Buffer();
    uLong crc = 0;
    for (auto _ : state) {
        crc = crc32(0, data.data(), kBytes);
        benchmark::DoNotOptimize(crc);
    }
    bench::SetBytes(state, kBytes);
}

void Path(benchmark::State& state, VELA::kern::Crc32Path path) {
    const auto& data = Buffer();
    uint32_t reg = 0;
    for (auto _ : state) {
        reg = VELA::kern::Crc32UpdateWith(path, ~0u, data.data(), kBytes);
        benchmark::DoNotOptimize(reg);
    }
    bench::SetBytes(state, kBytes);
}

}  // namespace

int main(int argc, char** argv) {
    bench::SummaryReporter reporter;
    // Checked once here: a fast wrong answer is no result.
    const auto& data = Buffer();
    if (VELA::Checksum::ComputeCRC32(kBytes, data.data(), 0) != crc32(0, data.data(), kBytes)) {
        std::fprintf(stderr, "ComputeCRC32 disagrees with zlib\n");
        return 1;
    }
    benchmark::RegisterBenchmark("CRC32/ComputeCRC32/1MiB", Ours)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("CRC32/zlib_crc32/1MiB", Zlib)->Unit(benchmark::kMicrosecond);
    for (int k = 0; k < VELA::kern::kCrc32PathCount; ++k) {
        const auto path = static_cast<VELA::kern::Crc32Path>(k);
        if (!VELA::kern::Crc32PathSupported(path)) continue;
        const std::string name = std::string("CRC32/path_") + VELA::kern::Crc32PathName(path) + "/1MiB";
        benchmark::RegisterBenchmark(name.c_str(), Path, path)->Unit(benchmark::kMicrosecond);
        reporter.Compare(name, "CRC32/zlib_crc32/1MiB", Metric::BandwidthRatio, 0.0);
    }
    // The goal: at least as fast as zlib.
    reporter.Compare("CRC32/ComputeCRC32/1MiB", "CRC32/zlib_crc32/1MiB", Metric::BandwidthRatio, 1.0);
    return bench::RunAll(argc, argv, reporter);
}
