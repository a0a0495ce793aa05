// Full-accuracy vector mathematics through MathUtils (Log10, Sin, Atan2, Exp, Erf on 4096 floats, out of
// place), each beside a loop over the standard library's float function on the same data and, where
// VOLK has a kernel of the same kind, beside VOLK's (log2 for Log10, sin, atan and complex atan2 for
// Atan2, exp). Figures are ns per element; the goal is at least 8x the speed of the std:: loop.
// Before the runs the maximum error of our results on the timed data is printed, in ulps against the
// double-precision C library.
//
// Then two memory-bound operations on a VecCplx32 of 16M elements, beside memcpy: the magnitude
// (MathUtils::Abs into a VecReal32: reads 8 bytes, writes 4 per element) and the complex square
// (MathUtils::Sqr: reads 8, writes 8). Bandwidth counts those bytes once each, and memcpy its read plus
// its write; the goal is 85% of memcpy's bandwidth.
#include <volk/volk.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "BenchSummary.h"
#include <corvane/corvane.h>

namespace {

using VELA::Cplx32;
using VELA::MathUtils;
using VELA::VecCplx32;
using VELA::VecReal32;
using Metric = bench::SummaryReporter::Metric;

constexpr int kN = 4096;
constexpr int kBig = 16 << 20;

VecReal32 Uniform(int n, unsigned seed, float lo, float hi) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(lo, hi);
    VecReal32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = u(gen);
    return v;
}

// The inputs of each function: Log10 over (0, 1000], Sin over [-100, 100], Atan2 over the square
// [-1, 1]^2, Exp over [-80, 80], Erf over [-4, 4].
struct Inputs {
    VecReal32 logIn = Uniform(kN, 1, 1e-3f, 1000.0f);
    VecReal32 sinIn = Uniform(kN, 2, -100.0f, 100.0f);
    VecReal32 y = Uniform(kN, 3, -1.0f, 1.0f);
    VecReal32 x = Uniform(kN, 4, -1.0f, 1.0f);
    VecReal32 expIn = Uniform(kN, 5, -80.0f, 80.0f);
    VecReal32 erfIn = Uniform(kN, 6, -4.0f, 4.0f);
    VecCplx32 yx{VecReal32(x), VecReal32(y)};  // (re, im) = (x, y) for the complex atan2
};
const Inputs& In() {
    static const Inputs inputs;
    return inputs;
}

void PerElement(benchmark::State& state, int n) {
    state.counters["ns/elem"] = benchmark::Counter(
        static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// ---- ours ----
void OursLog10(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        MathUtils::Log10(out, In().logIn);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
void OursSin(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        MathUtils::Sin(out, In().sinIn);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
void OursAtan2(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        MathUtils::Atan2(out, In().y, In().x);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
void OursExp(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        MathUtils::Exp(out, In().expIn);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
void OursErf(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        MathUtils::Erf(out, In().erfIn);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}

// ---- the standard library, one float call per element ----
template <float (*F)(float)>
void StdLoop(benchmark::State& state, const VecReal32& in) {
    VecReal32 out(kN);
    const float* s = in.Data();
    float* d = out.Data();
    for (auto _ : state) {
        for (int i = 0; i < kN; ++i)
            d[i] = F(s[i]);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
float StdLog10(float x) {
    return std::log10(x);
}
float StdSin(float x) {
    return std::sin(x);
}
float StdExp(float x) {
    return std::exp(x);
}
float StdErf(float x) {
    return std::erf(x);
}
void StdLog10Loop(benchmark::State& s) {
    StdLoop<StdLog10>(s, In().logIn);
}
void StdSinLoop(benchmark::State& s) {
    StdLoop<StdSin>(s, In().sinIn);
}
void StdExpLoop(benchmark::State& s) {
    StdLoop<StdExp>(s, In().expIn);
}
void StdErfLoop(benchmark::State& s) {
    StdLoop<StdErf>(s, In().erfIn);
}
void StdAtan2Loop(benchmark::State& state) {
    VecReal32 out(kN);
    const float *y = In().y.Data(), *x = In().x.Data();
    float* d = out.Data();
    for (auto _ : state) {
        for (int i = 0; i < kN; ++i)
            d[i] = std::atan2(y[i], x[i]);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}

// ---- VOLK, dispatched to its best kernel ----
void VolkLog2(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        volk_32f_log2_32f(out.Data(), In().logIn.Data(), kN);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
void VolkSin(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        volk_32f_sin_32f(out.Data(), In().sinIn.Data(), kN);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
void VolkAtan(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        volk_32f_atan_32f(out.Data(), In().y.Data(), kN);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
void VolkAtan2(benchmark::State& state) {
    VecReal32 out(kN);
    const auto* in = reinterpret_cast<const lv_32fc_t*>(In().yx.Data());
    for (auto _ : state) {
        volk_32fc_s32f_atan2_32f(out.Data(), in, 1.0f, kN);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}
void VolkExp(benchmark::State& state) {
    VecReal32 out(kN);
    for (auto _ : state) {
        volk_32f_exp_32f(out.Data(), In().expIn.Data(), kN);
        benchmark::ClobberMemory();
    }
    PerElement(state, kN);
}

// ---- memory-bound complex operations, 16M elements ----
VecCplx32 BigInput() {
    std::mt19937 gen(7);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    VecCplx32 v(kBig);
    for (int i = 0; i < kBig; ++i)
        v[i] = Cplx32{u(gen), u(gen)};
    return v;
}
void BigAbs(benchmark::State& state) {
    const VecCplx32 in = BigInput();
    VecReal32 out(kBig);
    MathUtils::Abs(out, in);  // the output's pages are touched before the timing, as in steady use
    for (auto _ : state) {
        MathUtils::Abs(out, in);
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, (sizeof(Cplx32) + sizeof(float)) * double(kBig));
}
void BigSqr(benchmark::State& state) {
    const VecCplx32 in = BigInput();
    VecCplx32 out(kBig);
    MathUtils::Sqr(out, in);
    for (auto _ : state) {
        MathUtils::Sqr(out, in);
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 2 * sizeof(Cplx32) * double(kBig));
}
void BigMemcpy(benchmark::State& state) {
    const VecCplx32 in = BigInput();
    VecCplx32 out(kBig);
    std::memcpy(out.Data(), in.Data(), sizeof(Cplx32) * static_cast<size_t>(kBig));
    for (auto _ : state) {
        std::memcpy(out.Data(), in.Data(), sizeof(Cplx32) * static_cast<size_t>(kBig));
        benchmark::ClobberMemory();
    }
    bench::SetBytes(state, 2 * sizeof(Cplx32) * double(kBig));
}

// Maximum error in ulps of float results against the double C library at double precision.
double MaxUlp(const VecReal32& got, const VecReal32& a, const VecReal32* b, double (*exact1)(double),
              double (*exact2)(double, double)) {
    double worst = 0;
    for (int i = 0; i < got.GetSize(); ++i) {
        const double e = b ? exact2(a[i], (*b)[i]) : exact1(a[i]);
        const int ex = e == 0 ? -126 : std::max(std::ilogb(e), -126);
        worst = std::max(worst, std::fabs(double(got[i]) - e) / std::ldexp(1.0, ex - 23));
    }
    return worst;
}
double Log10D(double x) {
    return std::log10(x);
}
double SinD(double x) {
    return std::sin(x);
}
double ExpD(double x) {
    return std::exp(x);
}
double ErfD(double x) {
    return std::erf(x);
}
double Atan2D(double y, double x) {
    return std::atan2(y, x);
}

void PrintAccuracy() {
    VecReal32 out;
    std::printf("max error on the timed data (ulp): ");
    MathUtils::Log10(out, In().logIn);
    std::printf("Log10 %.3f", MaxUlp(out, In().logIn, nullptr, Log10D, nullptr));
    MathUtils::Sin(out, In().sinIn);
    std::printf(", Sin %.3f", MaxUlp(out, In().sinIn, nullptr, SinD, nullptr));
    MathUtils::Atan2(out, In().y, In().x);
    std::printf(", Atan2 %.3f", MaxUlp(out, In().y, &In().x, nullptr, Atan2D));
    MathUtils::Exp(out, In().expIn);
    std::printf(", Exp %.3f", MaxUlp(out, In().expIn, nullptr, ExpD, nullptr));
    MathUtils::Erf(out, In().erfIn);
    std::printf(", Erf %.3f\n", MaxUlp(out, In().erfIn, nullptr, ErfD, nullptr));
}

void Register(const char* name, void (*fn)(benchmark::State&), benchmark::TimeUnit unit) {
    benchmark::RegisterBenchmark(name, fn)->Unit(unit)->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
    PrintAccuracy();
    bench::SummaryReporter reporter;
    struct Case {
        const char *ours, *std, *volk;
        void (*fnOurs)(benchmark::State&);
        void (*fnStd)(benchmark::State&);
        void (*fnVolk)(benchmark::State&);
    };
    const Case cases[] = {
        {"MathUtils/Log10_F32/4096", "std/log10f_loop/4096", "volk_32f_log2_32f/4096", OursLog10,
         StdLog10Loop, VolkLog2},
        {"MathUtils/Sin_F32/4096", "std/sinf_loop/4096", "volk_32f_sin_32f/4096", OursSin, StdSinLoop,
         VolkSin},
        {"MathUtils/Atan2_F32/4096", "std/atan2f_loop/4096", "volk_32fc_s32f_atan2_32f/4096", OursAtan2,
         StdAtan2Loop, VolkAtan2},
        {"MathUtils/Exp_F32/4096", "std/expf_loop/4096", "volk_32f_exp_32f/4096", OursExp, StdExpLoop,
         VolkExp},
        {"MathUtils/Erf_F32/4096", "std/erff_loop/4096", nullptr, OursErf, StdErfLoop, nullptr},
    };
    for (const Case& c : cases) {
        Register(c.ours, c.fnOurs, benchmark::kMicrosecond);
        Register(c.std, c.fnStd, benchmark::kMicrosecond);
        // Goal: 8x the speed of the std:: loop, i.e. at most 1/8 of its time.
        reporter.Compare(c.ours, c.std, Metric::TimeRatio, 0.125);
        if (c.volk) {
            Register(c.volk, c.fnVolk, benchmark::kMicrosecond);
            reporter.Compare(c.ours, c.volk, Metric::TimeRatio, 0.0);
        }
    }
    Register("volk_32f_atan_32f/4096", VolkAtan, benchmark::kMicrosecond);
    reporter.Compare("MathUtils/Atan2_F32/4096", "volk_32f_atan_32f/4096", Metric::TimeRatio, 0.0);

    Register("MathUtils/Abs_C32/16777216", BigAbs, benchmark::kMillisecond);
    Register("MathUtils/Sqr_C32/16777216", BigSqr, benchmark::kMillisecond);
    Register("memcpy/134217728B", BigMemcpy, benchmark::kMillisecond);
    reporter.Compare("MathUtils/Abs_C32/16777216", "memcpy/134217728B", Metric::BandwidthRatio, 0.85);
    reporter.Compare("MathUtils/Sqr_C32/16777216", "memcpy/134217728B", Metric::BandwidthRatio, 0.85);
    return bench::RunAll(argc, argv, reporter);
}
