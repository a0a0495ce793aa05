// Vector kernels through the public classes (VecCplx32 Mul and Add, VecReal32 Sum), each beside memcpy
// of a vector of the same size and beside the matching VOLK kernel, in cache (4096 elements) and out of
// cache (16M elements).
//
// Bandwidth counts the bytes the operation must read plus the bytes it must write, once each:
//   Mul, Add (in place, this op= other): 2 reads + 1 write of the vector  = 3 x vector bytes
//   Sum:                                  1 read                          = 1 x vector bytes
//   memcpy of the vector:                 1 read + 1 write                = 2 x vector bytes
// Cache traffic the hardware adds on its own (reading a destination line before writing it) is not
// counted, for either side. The VOLK kernels run in place too (out == first input), so their traffic
// is the same as ours. Complex Add is anchored by VOLK's real add over the 2n floats (its name carries
// the float count).
#include <volk/volk.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "BenchSummary.h"
#include <corvane/corvane.h>

namespace {

using VELA::Cplx32;
using VELA::VecCplx32;
using VELA::VecReal32;
using Metric = bench::SummaryReporter::Metric;

constexpr int kInCache = 4096;
constexpr int kOutOfCache = 16 << 20;

// Unit-magnitude values, so that repeated in-place products neither overflow nor become denormal.
void FillUnit(VecCplx32& v, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(0.0f, 6.2831853f);
    for (int i = 0; i < v.GetSize(); ++i) {
        const float t = u(gen);
        v[i] = Cplx32{std::cos(t), std::sin(t)};
    }
}
void Fill(VecCplx32& v, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = Cplx32{u(gen), u(gen)};
}
void Fill(VecReal32& v, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = u(gen);
}
float* F(VecCplx32& v) {
    return reinterpret_cast<float*>(v.Data());
}
lv_32fc_t* L(VecCplx32& v) {
    return reinterpret_cast<lv_32fc_t*>(v.Data());
}

constexpr double kC32 = sizeof(Cplx32);
constexpr double kF32 = sizeof(float);

// ---- ours ----
void CplxMul(benchmark::State& state, int n) {
    VecCplx32 d(n), s(n);
    FillUnit(d, 1);
    FillUnit(s, 2);
    for (auto _ : state) {
        d.Mul(s);
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 3 * kC32 * n);
}
void CplxAdd(benchmark::State& state, int n) {
    VecCplx32 d(n), s(n);
    Fill(d, 1);
    Fill(s, 2);
    for (auto _ : state) {
        d.Add(s);
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 3 * kC32 * n);
}
void RealSum(benchmark::State& state, int n) {
    VecReal32 v(n);
    Fill(v, 1);
    for (auto _ : state) {
        float r = v.Sum();
        benchmark::DoNotOptimize(r);
    }
    bench::SetBytes(state, kF32 * n);
}

// ---- memcpy of a vector of the same size ----
void Memcpy(benchmark::State& state, int bytes) {
    VecReal32 a(bytes / 4), b(bytes / 4);
    Fill(a, 1);
    Fill(b, 2);
    for (auto _ : state) {
        std::memcpy(b.Data(), a.Data(), static_cast<size_t>(bytes));
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 2.0 * bytes);
}

// ---- VOLK ----
void VolkMul(benchmark::State& state, int n) {
    VecCplx32 d(n), s(n);
    FillUnit(d, 1);
    FillUnit(s, 2);
    for (auto _ : state) {
        volk_32fc_x2_multiply_32fc(L(d), L(d), L(s), static_cast<unsigned>(n));
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 3 * kC32 * n);
}
void VolkAdd(benchmark::State& state, int n) {
    VecCplx32 d(n), s(n);
    Fill(d, 1);
    Fill(s, 2);
    for (auto _ : state) {
        volk_32f_x2_add_32f(F(d), F(d), F(s), static_cast<unsigned>(2 * n));
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 3 * kC32 * n);
}
void VolkSum(benchmark::State& state, int n) {
    VecReal32 v(n);
    Fill(v, 1);
    for (auto _ : state) {
        float r = 0;
        volk_32f_accumulator_s32f(&r, v.Data(), static_cast<unsigned>(n));
        benchmark::DoNotOptimize(r);
    }
    bench::SetBytes(state, kF32 * n);
}

// "prefix/<n><suffix>", built by appending (GCC 12 warns falsely on literal + std::string at -O3).
std::string Name(const char* prefix, long n, const char* suffix = "") {
    std::string s(prefix);
    s.append("/").append(std::to_string(n)).append(suffix);
    return s;
}

void Register(const std::string& name, void (*fn)(benchmark::State&, int), int arg) {
    benchmark::RegisterBenchmark(name.c_str(), fn, arg)->Unit(benchmark::kMicrosecond);
}

}  // namespace

int main(int argc, char** argv) {
    bench::SummaryReporter reporter;
    for (int n : {kInCache, kOutOfCache}) {
        const bool inCache = n == kInCache;
        const std::string copyC = Name("memcpy", n * static_cast<long>(sizeof(Cplx32)), "B");
        const std::string copyF = Name("memcpy", n * static_cast<long>(sizeof(float)), "B");
        struct Case {
            std::string ours, volk, copy;
            void (*fnOurs)(benchmark::State&, int);
            void (*fnVolk)(benchmark::State&, int);
        };
        const Case cases[] = {
            {Name("VecCplx32/Mul", n), Name("volk_32fc_x2_multiply_32fc", n), copyC, CplxMul, VolkMul},
            {Name("VecCplx32/Add", n), Name("volk_32f_x2_add_32f", 2L * n), copyC, CplxAdd, VolkAdd},
            {Name("VecReal32/Sum", n), Name("volk_32f_accumulator_s32f", n), copyF, RealSum, VolkSum},
        };
        Register(copyC, Memcpy, n * static_cast<int>(sizeof(Cplx32)));
        Register(copyF, Memcpy, n * static_cast<int>(sizeof(float)));
        for (const Case& c : cases) {
            Register(c.ours, c.fnOurs, n);
            Register(c.volk, c.fnVolk, n);
            // In cache the goal is VOLK's speed; out of cache, 85% of the bandwidth of memcpy.
            reporter.Compare(c.ours, c.volk, Metric::TimeRatio, inCache ? 1.0 : 0.0);
            reporter.Compare(c.ours, c.copy, Metric::BandwidthRatio, inCache ? 0.0 : 0.85);
        }
    }
    return bench::RunAll(argc, argv, reporter);
}
