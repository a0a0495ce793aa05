// Accuracy of the full-accuracy vector functions (MathUtils::Cos ... Pow) at every instruction-set
// level: over a million points per function, spread over its domain (with large arguments for the
// trigonometric functions, tiny and huge ones and denormals for the logarithms, the whole finite range of
// the exponential), the error against a more precise value must stay within 1 ulp.
//
// The more precise value comes from the C library one type wider: double for the float functions,
// long double (64-bit significand) for the double ones. Their own errors are far below an ulp of the
// narrow type, so the measured error is the function's own to within about 1e-3 ulp.
//
// The measured maxima are printed as a table ("max ulp").
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/MathKernels.h"
#include "support/UlpUtil.h"

using corvane_test::UlpError;
using VELA::kern::MathKernelTable;
using VELA::kern::MathTableFor;
using VELA::kern::Variant;

namespace {

constexpr double kPi = 3.14159265358979323846;
const Variant kLevels[] = {Variant::Reference, Variant::Sse2, Variant::Avx2, Variant::Avx512};

// Fixed-seed generators of test points.
class Points {
  public:
    explicit Points(unsigned seed) : rng_(seed) {}
    // `count` values uniform in [lo, hi).
    void Uniform(size_t count, double lo, double hi) {
        std::uniform_real_distribution<double> d(lo, hi);
        for (size_t i = 0; i < count; ++i)
            v.push_back(d(rng_));
    }
    // `count` values with log2 of the magnitude uniform in [lg2Lo, lg2Hi), positive or of random sign.
    void LogUniform(size_t count, double lg2Lo, double lg2Hi, bool positive) {
        std::uniform_real_distribution<double> d(lg2Lo, lg2Hi), coin(0, 1);
        for (size_t i = 0; i < count; ++i) {
            const double m = std::exp2(d(rng_));
            v.push_back(positive || coin(rng_) < 0.5 ? m : -m);
        }
    }
    // Values next to multiples of pi/2 (the hard cases of argument reduction), k up to kMax.
    template <class T>
    void NearHalfPiMultiples(size_t count, double kMax) {
        std::uniform_real_distribution<double> d(1, kMax);
        std::uniform_int_distribution<int> step(-4, 4);
        for (size_t i = 0; i < count; ++i) {
            T x = static_cast<T>(std::floor(d(rng_)) * kPi / 2);
            for (int s = step(rng_); s != 0; s += s > 0 ? -1 : 1)
                x = std::nextafter(
                    x, s > 0 ? std::numeric_limits<T>::infinity() : -std::numeric_limits<T>::infinity());
            v.push_back(static_cast<double>(x));
        }
    }
    std::vector<double> v;

  private:
    std::mt19937_64 rng_;
};

struct Row {
    std::string function;
    double maxUlp[4] = {-1, -1, -1, -1};  // by level; -1 when the level is not supported
    double worstInput[4] = {0, 0, 0, 0};
};
std::vector<Row>& Table() {
    static std::vector<Row> rows;
    return rows;
}

void PrintTable() {
    std::printf("\n%-12s %12s %12s %12s %12s   (max ulp over the points)\n", "function", "reference", "sse2",
                "avx2", "avx512");
    for (const Row& r : Table()) {
        std::printf("%-12s", r.function.c_str());
        for (double m : r.maxUlp)
            if (m < 0)
                std::printf(" %12s", "n/a");
            else
                std::printf(" %12.4f", m);
        std::printf("\n");
    }
}

// Evaluates `run(table, x, out)` at every level and records the maximum error against `exact`.
template <class T, class Exact>
void Measure(const std::string& name, const std::vector<T>& x, const std::vector<Exact>& exact,
             const std::function<void(const MathKernelTable&, const std::vector<T>&, std::vector<T>&)>& run) {
    Row row;
    row.function = name;
    for (int l = 0; l < 4; ++l) {
        const MathKernelTable* t = MathTableFor(kLevels[l]);
        if (!t) continue;
        std::vector<T> out(x.size());
        run(*t, x, out);
        double worst = 0;
        for (size_t i = 0; i < x.size(); ++i) {
            const double e = UlpError(out[i], exact[i]);
            if (!(e <= worst)) {
                worst = e;
                row.worstInput[l] = static_cast<double>(x[i]);
            }
        }
        row.maxUlp[l] = worst;
        EXPECT_LE(worst, 1.0) << name << " at level " << VELA::kern::VariantName(kLevels[l])
                              << ": worst input " << row.worstInput[l];
    }
    Table().push_back(row);
}

template <class T>
std::vector<T> Narrow(const std::vector<double>& v) {
    std::vector<T> r(v.size());
    for (size_t i = 0; i < v.size(); ++i)
        r[i] = static_cast<T>(v[i]);
    return r;
}

using F32Run = std::function<void(const MathKernelTable&, const std::vector<float>&, std::vector<float>&)>;
using F64Run = std::function<void(const MathKernelTable&, const std::vector<double>&, std::vector<double>&)>;

void Unary32(const std::string& name, const Points& p,
             void (*MathKernelTable::*fn)(const float*, float*, int), double (*exact)(double)) {
    const std::vector<float> x = Narrow<float>(p.v);
    std::vector<double> e(x.size());
    for (size_t i = 0; i < x.size(); ++i)
        e[i] = exact(static_cast<double>(x[i]));
    ASSERT_GE(x.size(), 1000000u);
    Measure<float, double>(
        name, x, e, [fn](const MathKernelTable& t, const std::vector<float>& in, std::vector<float>& out) {
            (t.*fn)(in.data(), out.data(), static_cast<int>(in.size()));
        });
}
void Unary64(const std::string& name, const Points& p,
             void (*MathKernelTable::*fn)(const double*, double*, int), long double (*exact)(long double)) {
    const std::vector<double>& x = p.v;
    std::vector<long double> e(x.size());
    for (size_t i = 0; i < x.size(); ++i)
        e[i] = exact(static_cast<long double>(x[i]));
    ASSERT_GE(x.size(), 1000000u);
    Measure<double, long double>(
        name, x, e, [fn](const MathKernelTable& t, const std::vector<double>& in, std::vector<double>& out) {
            (t.*fn)(in.data(), out.data(), static_cast<int>(in.size()));
        });
}

// The point sets, shared by both precisions where the ranges allow (log2 bounds are per precision).
Points TrigPoints(bool dbl) {
    Points p(11);
    p.Uniform(400000, -10, 10);
    p.LogUniform(300000, dbl ? -1074 : -149, 14, false);    // down to the denormals, where sin x = x
    p.LogUniform(300000, 14, dbl ? 1023.9 : 127.9, false);  // large arguments, up to the largest finite
    if (dbl)
        p.NearHalfPiMultiples<double>(100000, 1e9);
    else
        p.NearHalfPiMultiples<float>(100000, 1e5);
    return p;
}
Points AtanPoints(bool dbl) {
    Points p(12);
    p.Uniform(500000, -10, 10);
    p.LogUniform(500000, dbl ? -1074 : -149, dbl ? 1023.9 : 127.9, false);
    return p;
}
Points LogPoints(bool dbl) {
    Points p(13);
    p.Uniform(400000, 0.5, 2);  // near 1, where the logarithms are smallest and hardest
    p.Uniform(100000, 0.999, 1.001);
    p.LogUniform(500000, dbl ? -1074 : -149, dbl ? 1023.9 : 127.9, true);  // denormals to the largest
    return p;
}
Points ExpPoints(bool dbl) {
    Points p(14);
    p.Uniform(600000, dbl ? -745.1 : -103.9, dbl ? 709.7 : 88.7);  // results from denormal to the largest
    p.LogUniform(400000, dbl ? -200 : -100, 0, false);             // tiny arguments, results near 1
    return p;
}
Points ErfPoints(bool dbl) {
    Points p(15);
    p.Uniform(600000, dbl ? -6 : -4.5, dbl ? 6 : 4.5);
    p.LogUniform(400000, dbl ? -1074 : -149, 2.6, false);
    return p;
}

double Cos(double x) {
    return std::cos(x);
}
double Sin(double x) {
    return std::sin(x);
}
double Atan(double x) {
    return std::atan(x);
}
double Log10(double x) {
    return std::log10(x);
}
double Ln(double x) {
    return std::log(x);
}
double Exp(double x) {
    return std::exp(x);
}
double Erf(double x) {
    return std::erf(x);
}
long double CosL(long double x) {
    return std::cos(x);
}
long double SinL(long double x) {
    return std::sin(x);
}
long double AtanL(long double x) {
    return std::atan(x);
}
long double Log10L(long double x) {
    return std::log10(x);
}
long double LnL(long double x) {
    return std::log(x);
}
long double ExpL(long double x) {
    return std::exp(x);
}
long double ErfL(long double x) {
    return std::erf(x);
}

}  // namespace

TEST(MathUtilsAccuracy, FloatFunctionsWithinOneUlp) {
    Unary32("Cos f32", TrigPoints(false), &MathKernelTable::cos_f32, Cos);
    Unary32("Sin f32", TrigPoints(false), &MathKernelTable::sin_f32, Sin);
    Unary32("Atan f32", AtanPoints(false), &MathKernelTable::atan_f32, Atan);
    Unary32("Log10 f32", LogPoints(false), &MathKernelTable::log10_f32, Log10);
    Unary32("Ln f32", LogPoints(false), &MathKernelTable::ln_f32, Ln);
    Unary32("Exp f32", ExpPoints(false), &MathKernelTable::exp_f32, Exp);
    Unary32("Erf f32", ErfPoints(false), &MathKernelTable::erf_f32, Erf);

    // Atan2: both arguments over many magnitudes and all four quadrants.
    {
        Points py(16), px(17);
        py.LogUniform(800000, -100, 100, false);
        px.LogUniform(800000, -100, 100, false);
        py.Uniform(200000, -1, 1);
        px.Uniform(200000, -1, 1);
        const std::vector<float> y = Narrow<float>(py.v), x = Narrow<float>(px.v);
        std::vector<double> e(y.size());
        for (size_t i = 0; i < y.size(); ++i)
            e[i] = std::atan2(double(y[i]), double(x[i]));
        Measure<float, double>(
            "Atan2 f32", y, e,
            [&x](const MathKernelTable& t, const std::vector<float>& in, std::vector<float>& out) {
                t.atan2_f32(in.data(), x.data(), out.data(), static_cast<int>(in.size()));
            });
    }
    // Pow: 1000 exponents, each with 1024 bases, ranged so that results run from the denormals to
    // beyond the largest float.
    {
        std::mt19937_64 rng(18);
        std::uniform_real_distribution<double> ed(-12, 12), u(0, 1);
        std::vector<float> x, exps;
        std::vector<double> e;
        for (int c = 0; c < 1000; ++c) {
            float ex = static_cast<float>(ed(rng));
            if (c % 10 == 0) ex = std::round(ex);  // integral exponents too
            if (ex == 0) ex = 0.5f;
            const double span = 140.0 / std::fabs(ex);
            for (int k = 0; k < 1024; ++k) {
                const float b =
                    static_cast<float>(std::exp2(std::fmax(-149, std::fmin(127.9, (2 * u(rng) - 1) * span))));
                x.push_back(b);
                exps.push_back(ex);
                e.push_back(std::pow(double(b), double(ex)));
            }
        }
        Measure<float, double>(
            "Pow f32", x, e,
            [&exps](const MathKernelTable& t, const std::vector<float>& in, std::vector<float>& out) {
                for (size_t c = 0; c < in.size(); c += 1024)
                    t.powx_f32(in.data() + c, exps[c], out.data() + c, 1024);
            });
    }
    PrintTable();
    Table().clear();
}

TEST(MathUtilsAccuracy, DoubleFunctionsWithinOneUlp) {
    Unary64("Cos f64", TrigPoints(true), &MathKernelTable::cos_f64, CosL);
    Unary64("Sin f64", TrigPoints(true), &MathKernelTable::sin_f64, SinL);
    Unary64("Atan f64", AtanPoints(true), &MathKernelTable::atan_f64, AtanL);
    Unary64("Log10 f64", LogPoints(true), &MathKernelTable::log10_f64, Log10L);
    Unary64("Ln f64", LogPoints(true), &MathKernelTable::ln_f64, LnL);
    Unary64("Exp f64", ExpPoints(true), &MathKernelTable::exp_f64, ExpL);
    Unary64("Erf f64", ErfPoints(true), &MathKernelTable::erf_f64, ErfL);
    {
        Points py(26), px(27);
        py.LogUniform(800000, -1000, 1000, false);
        px.LogUniform(800000, -1000, 1000, false);
        py.Uniform(200000, -1, 1);
        px.Uniform(200000, -1, 1);
        std::vector<long double> e(py.v.size());
        for (size_t i = 0; i < py.v.size(); ++i)
            e[i] = std::atan2(static_cast<long double>(py.v[i]), static_cast<long double>(px.v[i]));
        const std::vector<double>& x = px.v;
        Measure<double, long double>(
            "Atan2 f64", py.v, e,
            [&x](const MathKernelTable& t, const std::vector<double>& in, std::vector<double>& out) {
                t.atan2_f64(in.data(), x.data(), out.data(), static_cast<int>(in.size()));
            });
    }
    {
        std::mt19937_64 rng(28);
        std::uniform_real_distribution<double> ed(-12, 12), u(0, 1);
        std::vector<double> x, exps;
        std::vector<long double> e;
        for (int c = 0; c < 1000; ++c) {
            // The double form takes its exponent widened from float.
            double ex = static_cast<float>(ed(rng));
            if (c % 10 == 0) ex = std::round(ex);
            if (ex == 0) ex = 0.5;
            const double span = 1080.0 / std::fabs(ex);
            for (int k = 0; k < 1024; ++k) {
                const double b = std::exp2(std::fmax(-1074, std::fmin(1023.9, (2 * u(rng) - 1) * span)));
                x.push_back(b);
                exps.push_back(ex);
                e.push_back(std::pow(static_cast<long double>(b), static_cast<long double>(ex)));
            }
        }
        Measure<double, long double>(
            "Pow f64", x, e,
            [&exps](const MathKernelTable& t, const std::vector<double>& in, std::vector<double>& out) {
                for (size_t c = 0; c < in.size(); c += 1024)
                    t.powx_f64(in.data() + c, exps[c], out.data() + c, 1024);
            });
    }
    PrintTable();
    Table().clear();
}
