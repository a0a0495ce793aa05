// The math kernel family: every entry of every optimised level against the scalar reference, over
// awkward lengths and unaligned starts, out of place and in place, with special values mixed into the
// data; and checks that nothing outside the n elements is written.
//
// The elementary functions of the optimised levels (SLEEF) and of the reference (the C library in a
// wider type) are each within an ulp of the exact value, so they may differ by one representable step:
// that is the tolerance. The other element-wise kernels perform the same IEEE operations at every level
// and must match bit for bit. Dot products sum in another order and get a rounding-level tolerance.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/MathKernels.h"
#include "support/UlpUtil.h"

using corvane_test::UlpSteps;
using VELA::kern::MathKernelTable;
using VELA::kern::MathTableFor;
using VELA::kern::Variant;

// A kernel added to the table needs its case below; this fails to compile until the count is updated.
static_assert(sizeof(MathKernelTable) == (1 + 44) * sizeof(void*), "a new math kernel needs a test here");

namespace {

const int kLengths[] = {0, 1, 7, 31, 1023, 4097};
// (destination, source) start offsets in elements, so that no start shares the block's alignment.
const int kOffsets[][2] = {{0, 0}, {1, 2}, {3, 1}, {2, 3}};
constexpr int kGuard = 9;  // elements after the output that must stay untouched

const MathKernelTable& Ref() {
    return *MathTableFor(Variant::Reference);
}

std::string Where(const char* name, int n, int od, int os) {
    return std::string(name) + " n=" + std::to_string(n) + " offsets=" + std::to_string(od) + "," +
           std::to_string(os);
}

// Values every function must treat alike at every level.
template <class T>
std::vector<T> Specials() {
    using L = std::numeric_limits<T>;
    return {L::quiet_NaN(), L::infinity(), -L::infinity(), T(0),  -T(0),    L::denorm_min(), -L::denorm_min(),
            L::max(),       L::lowest(),   T(1),           T(-1), L::min(), T(0.5)};
}

// Fixed-seed data: uniform in [lo, hi) for the first half of each stretch, log-uniform magnitudes in
// [10^lgLo, 10^lgHi) with random sign (or positive) for the other, and a special value every 61st element.
struct Domain {
    double lo, hi;
    double lgLo, lgHi;
    bool positive;
};
template <class T>
std::vector<T> Data(size_t count, unsigned seed, const Domain& dom) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> uni(dom.lo, dom.hi), lg(dom.lgLo, dom.lgHi), coin(0, 1);
    const std::vector<T> specials = Specials<T>();
    std::vector<T> v(count);
    for (size_t i = 0; i < count; ++i) {
        if (i % 61 == 60) {
            v[i] = specials[(i / 61) % specials.size()];
        } else if (coin(rng) < 0.5) {
            v[i] = static_cast<T>(uni(rng));
        } else {
            const double m = std::pow(10.0, lg(rng));
            v[i] = static_cast<T>(dom.positive || coin(rng) < 0.5 ? m : -m);
        }
    }
    return v;
}

template <class T>
::testing::AssertionResult WithinSteps(const std::vector<T>& actual, const std::vector<T>& expected,
                                       const std::vector<T>& input, int inWidth, int outWidth, int od, int os,
                                       int64_t steps) {
    if (actual.size() != expected.size()) return ::testing::AssertionFailure() << "sizes differ";
    for (size_t i = 0; i < actual.size(); ++i) {
        if (UlpSteps(actual[i], expected[i]) <= steps) continue;
        auto f = ::testing::AssertionFailure();
        f << "at [" << i << "]: " << actual[i] << " vs reference " << expected[i];
        const long k = (static_cast<long>(i) - od) / outWidth;
        if (static_cast<long>(i) >= od && os + k * inWidth < static_cast<long>(input.size()))
            f << " (input " << input[os + k * inWidth] << ")";
        return f;
    }
    return ::testing::AssertionSuccess();
}

// Runs `call(table, src, dst, n)` for the level and the reference over every length and offset, out of
// place and (when the shapes allow) in place, and compares within `steps`.
template <class T, class Call>
void CheckMap(const MathKernelTable& level, const char* name, int inWidth, int outWidth, int64_t steps,
              const Domain& dom, Call call) {
    unsigned seed = 100;
    for (int n : kLengths)
        for (const auto& off : kOffsets) {
            const int od = off[0], os = off[1];
            const std::vector<T> in = Data<T>(os + n * inWidth + 3, ++seed, dom);
            const T sentinel = T(-12345.25);
            std::vector<T> expected(od + n * outWidth + kGuard, sentinel), actual = expected;
            call(Ref(), in.data() + os, expected.data() + od, n);
            call(level, in.data() + os, actual.data() + od, n);
            EXPECT_TRUE(WithinSteps(actual, expected, in, inWidth, outWidth, od, os, steps))
                << Where(name, n, od, os);
            if (inWidth == outWidth) {
                std::vector<T> inPlace(od + n * outWidth + kGuard, sentinel);
                std::memcpy(inPlace.data() + od, in.data() + os, sizeof(T) * n * inWidth);
                call(level, inPlace.data() + od, inPlace.data() + od, n);
                EXPECT_TRUE(WithinSteps(inPlace, expected, in, inWidth, outWidth, od, os, steps))
                    << Where(name, n, od, os) << " in place";
            }
        }
}

// Two-input form (atan2): y and x from different seeds and domains.
template <class T, class Call>
void CheckMap2(const MathKernelTable& level, const char* name, int64_t steps, const Domain& dom, Call call) {
    unsigned seed = 700;
    for (int n : kLengths)
        for (const auto& off : kOffsets) {
            const int od = off[0], os = off[1];
            const std::vector<T> y = Data<T>(os + n + 3, ++seed, dom),
                                 x = Data<T>(os + n + 3, seed * 7 + 1, dom);
            std::vector<T> expected(od + n + kGuard, T(-12345.25)), actual = expected;
            call(Ref(), y.data() + os, x.data() + os, expected.data() + od, n);
            call(level, y.data() + os, x.data() + os, actual.data() + od, n);
            EXPECT_TRUE(WithinSteps(actual, expected, y, 1, 1, od, os, steps)) << Where(name, n, od, os);
        }
}

class MathKernelsLevel : public ::testing::TestWithParam<Variant> {
  protected:
    void SetUp() override {
        table_ = MathTableFor(GetParam());
        if (!table_) GTEST_SKIP() << VELA::kern::VariantName(GetParam()) << " is not supported by this CPU";
    }
    const MathKernelTable& L() const { return *table_; }

  private:
    const MathKernelTable* table_ = nullptr;
};

const Domain kTrig{-10, 10, -30, 8, false};
const Domain kTrigD{-10, 10, -300, 300, false};
const Domain kAtan{-10, 10, -30, 30, false};
const Domain kAtanD{-10, 10, -300, 300, false};
const Domain kLog{0.5, 2, -44, 38, true};
const Domain kLogD{0.5, 2, -320, 308, true};
const Domain kExp{-104, 89, -30, 1.9, false};
const Domain kExpD{-746, 710, -300, 2.8, false};
const Domain kErf{-6, 6, -30, 1, false};
const Domain kErfD{-7, 7, -300, 1, false};
const Domain kPow{0, 4, -15, 15, true};
const Domain kPowD{0, 4, -100, 100, true};
const Domain kAny{-4, 4, -20, 20, false};
const Domain kAnyD{-4, 4, -150, 150, false};

}  // namespace

// ---------------------------------------------------------------- elementary functions

TEST_P(MathKernelsLevel, FloatElementaryFunctionsAgreeWithReferenceWithinOneStep) {
    struct Fn {
        const char* name;
        void (*MathKernelTable::*fn)(const float*, float*, int);
        Domain dom;
    };
    const Fn fns[] = {
        {"cos_f32", &MathKernelTable::cos_f32, kTrig},   {"sin_f32", &MathKernelTable::sin_f32, kTrig},
        {"atan_f32", &MathKernelTable::atan_f32, kAtan}, {"log10_f32", &MathKernelTable::log10_f32, kLog},
        {"ln_f32", &MathKernelTable::ln_f32, kLog},      {"exp_f32", &MathKernelTable::exp_f32, kExp},
        {"erf_f32", &MathKernelTable::erf_f32, kErf}};
    for (const Fn& f : fns)
        CheckMap<float>(
            L(), f.name, 1, 1, 1, f.dom,
            [&](const MathKernelTable& t, const float* s, float* d, int n) { (t.*f.fn)(s, d, n); });
    CheckMap2<float>(L(), "atan2_f32", 1, kAtan,
                     [](const MathKernelTable& t, const float* y, const float* x, float* d, int n) {
                         t.atan2_f32(y, x, d, n);
                     });
    for (float e : {2.5f, -1.5f, 3.0f, 0.5f, -2.0f, 0.0f, 1.0f / 3.0f})
        CheckMap<float>(
            L(), ("powx_f32 e=" + std::to_string(e)).c_str(), 1, 1, 1, kPow,
            [e](const MathKernelTable& t, const float* s, float* d, int n) { t.powx_f32(s, e, d, n); });
}

TEST_P(MathKernelsLevel, DoubleElementaryFunctionsAgreeWithReferenceWithinOneStep) {
    struct Fn {
        const char* name;
        void (*MathKernelTable::*fn)(const double*, double*, int);
        Domain dom;
    };
    const Fn fns[] = {
        {"cos_f64", &MathKernelTable::cos_f64, kTrigD},   {"sin_f64", &MathKernelTable::sin_f64, kTrigD},
        {"atan_f64", &MathKernelTable::atan_f64, kAtanD}, {"log10_f64", &MathKernelTable::log10_f64, kLogD},
        {"ln_f64", &MathKernelTable::ln_f64, kLogD},      {"exp_f64", &MathKernelTable::exp_f64, kExpD},
        {"erf_f64", &MathKernelTable::erf_f64, kErfD}};
    for (const Fn& f : fns)
        CheckMap<double>(
            L(), f.name, 1, 1, 1, f.dom,
            [&](const MathKernelTable& t, const double* s, double* d, int n) { (t.*f.fn)(s, d, n); });
    CheckMap2<double>(L(), "atan2_f64", 1, kAtanD,
                      [](const MathKernelTable& t, const double* y, const double* x, double* d, int n) {
                          t.atan2_f64(y, x, d, n);
                      });
    for (double e : {2.5, -1.5, 3.0, 0.5, -2.0, 0.0, 1.0 / 3.0})
        CheckMap<double>(
            L(), ("powx_f64 e=" + std::to_string(e)).c_str(), 1, 1, 1, kPowD,
            [e](const MathKernelTable& t, const double* s, double* d, int n) { t.powx_f64(s, e, d, n); });
}

// ---------------------------------------------------------------- exact element-wise kernels

static void CheckRealElementWise(const MathKernelTable& level) {
    auto L = [&level]() -> const MathKernelTable& { return level; };
    CheckMap<float>(L(), "abs_f32", 1, 1, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.abs_f32(s, d, n); });
    CheckMap<double>(L(), "abs_f64", 1, 1, 0, kAnyD,
                     [](const MathKernelTable& t, const double* s, double* d, int n) { t.abs_f64(s, d, n); });
    CheckMap<float>(L(), "sqr_f32", 1, 1, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.sqr_f32(s, d, n); });
    CheckMap<double>(L(), "sqr_f64", 1, 1, 0, kAnyD,
                     [](const MathKernelTable& t, const double* s, double* d, int n) { t.sqr_f64(s, d, n); });
    CheckMap<float>(L(), "sqrt_f32", 1, 1, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.sqrt_f32(s, d, n); });
    CheckMap<double>(
        L(), "sqrt_f64", 1, 1, 0, kAnyD,
        [](const MathKernelTable& t, const double* s, double* d, int n) { t.sqrt_f64(s, d, n); });
    CheckMap<float>(L(), "flip_f32", 1, 1, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.flip_f32(s, d, n); });
    CheckMap<double>(
        L(), "flip_f64", 1, 1, 0, kAnyD,
        [](const MathKernelTable& t, const double* s, double* d, int n) { t.flip_f64(s, d, n); });
}

static void CheckComplexElementWise(const MathKernelTable& level) {
    auto L = [&level]() -> const MathKernelTable& { return level; };
    CheckMap<float>(L(), "mag_c32", 2, 1, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.mag_c32(s, d, n); });
    CheckMap<double>(L(), "mag_c64", 2, 1, 0, kAnyD,
                     [](const MathKernelTable& t, const double* s, double* d, int n) { t.mag_c64(s, d, n); });
    CheckMap<float>(L(), "power_c32", 2, 1, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.power_c32(s, d, n); });
    CheckMap<double>(
        L(), "power_c64", 2, 1, 0, kAnyD,
        [](const MathKernelTable& t, const double* s, double* d, int n) { t.power_c64(s, d, n); });
    CheckMap<float>(L(), "sqr_c32", 2, 2, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.sqr_c32(s, d, n); });
    CheckMap<double>(L(), "sqr_c64", 2, 2, 0, kAnyD,
                     [](const MathKernelTable& t, const double* s, double* d, int n) { t.sqr_c64(s, d, n); });
    CheckMap<float>(L(), "sqrt_c32", 2, 2, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.sqrt_c32(s, d, n); });
    CheckMap<double>(
        L(), "sqrt_c64", 2, 2, 0, kAnyD,
        [](const MathKernelTable& t, const double* s, double* d, int n) { t.sqrt_c64(s, d, n); });
    CheckMap<float>(L(), "conj_c32", 2, 2, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.conj_c32(s, d, n); });
    CheckMap<double>(
        L(), "conj_c64", 2, 2, 0, kAnyD,
        [](const MathKernelTable& t, const double* s, double* d, int n) { t.conj_c64(s, d, n); });
    CheckMap<float>(L(), "flip_c32", 2, 2, 0, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.flip_c32(s, d, n); });
    CheckMap<double>(
        L(), "flip_c64", 2, 2, 0, kAnyD,
        [](const MathKernelTable& t, const double* s, double* d, int n) { t.flip_c64(s, d, n); });
    CheckMap<float>(
        L(), "conjflip_c32", 2, 2, 0, kAny,
        [](const MathKernelTable& t, const float* s, float* d, int n) { t.conjflip_c32(s, d, n); });
    CheckMap<double>(
        L(), "conjflip_c64", 2, 2, 0, kAnyD,
        [](const MathKernelTable& t, const double* s, double* d, int n) { t.conjflip_c64(s, d, n); });
}

TEST_P(MathKernelsLevel, RealElementWiseKernelsMatchReferenceBitForBit) {
    CheckRealElementWise(L());
}

TEST_P(MathKernelsLevel, ComplexKernelsMatchReferenceBitForBit) {
    CheckComplexElementWise(L());
}

// With the threshold at 0 every output goes through the streaming path: the head up to an aligned
// destination, whole blocks (4097 elements are several), the tail, and complex destinations offset by one
// float, which no element boundary aligns.
TEST_P(MathKernelsLevel, StreamedOutputsMatchReferenceBitForBit) {
    const size_t before = VELA::kern::MathStreamThreshold();
    VELA::kern::SetMathStreamThreshold(0);
    CheckRealElementWise(L());
    CheckComplexElementWise(L());
    VELA::kern::SetMathStreamThreshold(before);
}

// A magnitude whose output (34 MB) exceeds the default threshold, at the active level.
TEST(MathKernels, LargeOutputsAtTheDefaultThresholdMatchTheReference) {
    const int n = 8500000;
    std::vector<float> in(2 * static_cast<size_t>(n)), ref(n), out(n + 1);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-3, 3);
    for (float& x : in)
        x = u(rng);
    ASSERT_GE(sizeof(float) * n, VELA::kern::MathStreamThreshold());
    Ref().mag_c32(in.data(), ref.data(), n);
    VELA::kern::MK().mag_c32(in.data(), out.data() + 1, n);
    EXPECT_EQ(std::memcmp(out.data() + 1, ref.data(), sizeof(float) * n), 0);
    EXPECT_EQ(out[0], 0.0f);
}

// The magnitude may be taken in place (output over the first half of the input), below and above the
// streaming size, with values that take the float formula and values that need double.
TEST_P(MathKernelsLevel, MagnitudeInPlaceMatchesReference) {
    const size_t before = VELA::kern::MathStreamThreshold();
    for (size_t threshold : {before, size_t(0)}) {
        VELA::kern::SetMathStreamThreshold(threshold);
        for (int n : {1, 7, 15, 16, 17, 91, 1000, 4099}) {
            std::vector<float> in(2 * static_cast<size_t>(n)), ref(n);
            std::mt19937 rng(static_cast<unsigned>(n));
            std::uniform_real_distribution<float> u(-3, 3);
            for (float& x : in)
                x = u(rng);
            in[in.size() / 2] = 3e30f;  // needs the double formula
            Ref().mag_c32(in.data(), ref.data(), n);
            L().mag_c32(in.data(), in.data(), n);
            EXPECT_EQ(std::memcmp(in.data(), ref.data(), sizeof(float) * n), 0)
                << "n=" << n << " threshold=" << threshold;
        }
    }
    VELA::kern::SetMathStreamThreshold(before);
}

TEST_P(MathKernelsLevel, PhaseAgreesWithReferenceWithinOneStep) {
    CheckMap<float>(L(), "phase_c32", 2, 1, 1, kAny,
                    [](const MathKernelTable& t, const float* s, float* d, int n) { t.phase_c32(s, d, n); });
    CheckMap<double>(
        L(), "phase_c64", 2, 1, 1, kAnyD,
        [](const MathKernelTable& t, const double* s, double* d, int n) { t.phase_c64(s, d, n); });
}

TEST_P(MathKernelsLevel, DotProductsAgreeWithReferenceToRounding) {
    unsigned seed = 900;
    for (int n : kLengths)
        for (const auto& off : kOffsets) {
            const int oa = off[0], ob = off[1];
            const std::vector<float> a = Data<float>(oa + n + 1, ++seed, {-4, 4, -3, 3, false}),
                                     b = Data<float>(ob + n + 1, seed + 5000, {-4, 4, -3, 3, false});
            const std::vector<double> ad = Data<double>(oa + n + 1, seed + 1, {-4, 4, -3, 3, false}),
                                      bd = Data<double>(ob + n + 1, seed + 5001, {-4, 4, -3, 3, false});
            // No specials here: a NaN, an infinity or the largest value would make the sums non-finite.
            auto finite = [](auto v) {
                for (auto& x : v)
                    if (!(std::fabs(x) < 1e6)) x = 1;
                return v;
            };
            const auto af = finite(a), bf = finite(b);
            const auto adf = finite(ad), bdf = finite(bd);
            double scaleF = 0, scaleD = 0;
            for (int i = 0; i < n; ++i) {
                scaleF += std::fabs(double(af[oa + i]) * double(bf[ob + i]));
                scaleD += std::fabs(adf[oa + i] * bdf[ob + i]);
            }
            const float rf = Ref().dotprod_f32(af.data() + oa, bf.data() + ob, n);
            const float lf = L().dotprod_f32(af.data() + oa, bf.data() + ob, n);
            // Both sum exactly representable products in double and round once to float: one float step
            // at most, plus the double summation error.
            EXPECT_LE(std::fabs(double(lf) - double(rf)),
                      std::fabs(double(rf)) * FLT_EPSILON + scaleF * 4 * n * DBL_EPSILON)
                << Where("dotprod_f32", n, oa, ob);
            const double rd = Ref().dotprod_f64(adf.data() + oa, bdf.data() + ob, n);
            const double ld = L().dotprod_f64(adf.data() + oa, bdf.data() + ob, n);
            EXPECT_LE(std::fabs(ld - rd), scaleD * 2 * (n + 1) * DBL_EPSILON)
                << Where("dotprod_f64", n, oa, ob);
        }
}

INSTANTIATE_TEST_SUITE_P(Levels, MathKernelsLevel,
                         ::testing::Values(Variant::Sse2, Variant::Avx2, Variant::Avx512),
                         [](const ::testing::TestParamInfo<Variant>& info) {
                             return std::string(VELA::kern::VariantName(info.param));
                         });

TEST(MathKernels, ActiveTableIsTheBestLevelOfThisCpu) {
    EXPECT_EQ(&VELA::kern::MK(), MathTableFor(VELA::kern::ActiveVariant()));
    EXPECT_STREQ(MathTableFor(Variant::Reference)->name, "reference");
}

TEST(MathKernels, KernelsDoNothingForNonPositiveLengths) {
    for (Variant v : {Variant::Reference, Variant::Sse2, Variant::Avx2, Variant::Avx512}) {
        const MathKernelTable* t = MathTableFor(v);
        if (!t) continue;
        float f[4] = {1, 2, 3, 4};
        double d[4] = {1, 2, 3, 4};
        t->sin_f32(f, f, -3);
        t->exp_f64(d, d, -1);
        t->mag_c32(f, f, -2);
        t->flip_f64(d, d, -5);
        EXPECT_EQ(f[0], 1.0f);
        EXPECT_EQ(f[3], 4.0f);
        EXPECT_EQ(d[0], 1.0);
        EXPECT_EQ(d[3], 4.0);
        EXPECT_EQ(t->dotprod_f32(f, f, 0), 0.0f);
    }
}
