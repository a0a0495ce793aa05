// The vector kernel family: every entry of every instruction-set level against the scalar reference,
// over awkward lengths and unaligned starts; then a few class-level operations with each level forced.
//
// Element-wise kernels must match the reference bit for bit (floating-point contraction is off and the
// element operations are the same IEEE operations in any width). Reductions may sum in another order,
// so they are held to a tight relative tolerance; extremes are selections and must match exactly.
#include <corvane/dsp/FT.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/VectorKernels.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using kern::Variant;
using kern::VectorKernelTable;

// A kernel added to the table needs its case below; this fails to compile until the count is updated.
static_assert(sizeof(VectorKernelTable) == (1 + 56) * sizeof(void*), "a new vector kernel needs a test here");

namespace {

const int kLengths[] = {0, 1, 7, 31, 1023, 4097};
// (destination, source) start offsets in elements, so that no start shares the block's alignment.
const int kOffsets[][2] = {{0, 0}, {1, 2}, {2, 3}, {3, 1}, {1, 1}};

const VectorKernelTable& Ref() {
    return *kern::VectorTableFor(Variant::Reference);
}

std::string Where(const char* name, int n, int od, int os) {
    return std::string(name) + " n=" + std::to_string(n) + " offsets=" + std::to_string(od) + "," +
           std::to_string(os);
}

// Random values in [-4, 4), with a share of exact zeros when `zeros` (divisors and dividends), from a
// fixed seed.
template <class T>
std::vector<T> Random(size_t count, unsigned seed, bool zeros = false) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> dist(-4.0, 4.0);
    std::vector<T> v(count);
    for (auto& x : v)
        x = static_cast<T>(dist(rng));
    if (zeros)
        for (size_t i = 0; i < count; i += 1 + rng() % 9)
            v[i] = T(0);
    return v;
}

// Small integers, so that equal values (ties) are everywhere.
template <class T>
std::vector<T> Ties(size_t count, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<T> v(count);
    for (auto& x : v)
        x = static_cast<T>(static_cast<int>(rng() % 7) - 3);
    return v;
}

template <class T>
::testing::AssertionResult SameBits(const std::vector<T>& actual, const std::vector<T>& expected) {
    if (actual.size() != expected.size()) return ::testing::AssertionFailure() << "sizes differ";
    for (size_t i = 0; i < actual.size(); ++i)
        if (std::memcmp(&actual[i], &expected[i], sizeof(T)) != 0)
            return ::testing::AssertionFailure()
                   << "first difference at [" << i << "]: " << actual[i] << " vs reference " << expected[i];
    return ::testing::AssertionSuccess();
}

// |a - b| <= tol, or both NaN (the standard deviation of one element divides 0 by 0 in both).
::testing::AssertionResult Close(double actual, double expected, double tol) {
    if (std::isnan(actual) && std::isnan(expected)) return ::testing::AssertionSuccess();
    if (std::fabs(actual - expected) <= tol) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << actual << " vs reference " << expected << " (tolerance " << tol << ")";
}

template <class T>
double AbsSum(const T* s, int count) {
    double t = 0;
    for (int i = 0; i < count; ++i)
        t += std::fabs(static_cast<double>(s[i]));
    return t;
}

class VectorKernelLevel : public ::testing::TestWithParam<Variant> {
  protected:
    void SetUp() override {
        table_ = kern::VectorTableFor(GetParam());
        if (!table_)
            GTEST_SKIP() << "this CPU cannot run the " << kern::VariantName(GetParam()) << " kernels";
    }
    const VectorKernelTable& Lev() const { return *table_; }

    // s -> d, `inPer` source and `outPer` destination values per element.
    template <class S, class D>
    void CheckMap(void (*VectorKernelTable::*fn)(const S*, D*, int), const char* name, int inPer,
                  int outPer) {
        for (int n : kLengths)
            for (const auto& off : kOffsets) {
                const int od = off[0], os = off[1];
                const auto s = Random<S>(static_cast<size_t>(os + inPer * n), 1u + static_cast<unsigned>(n));
                auto a = Random<D>(static_cast<size_t>(od + outPer * n), 2u);
                auto b = a;
                (Ref().*fn)(s.data() + os, a.data() + od, n);
                (Lev().*fn)(s.data() + os, b.data() + od, n);
                EXPECT_TRUE(SameBits(b, a)) << Where(name, n, od, os);
            }
    }

    template <class T>
    void CheckZip(void (*VectorKernelTable::*fn)(const T*, const T*, T*, int), const char* name) {
        for (int n : kLengths)
            for (const auto& off : kOffsets) {
                const int od = off[0], os = off[1];
                const auto re = Random<T>(static_cast<size_t>(os + n), 3u);
                const auto im = Random<T>(static_cast<size_t>(od + n), 4u);  // a third start
                auto a = Random<T>(static_cast<size_t>(od + 2 * n), 5u);
                auto b = a;
                (Ref().*fn)(re.data() + os, im.data() + od, a.data() + od, n);
                (Lev().*fn)(re.data() + os, im.data() + od, b.data() + od, n);
                EXPECT_TRUE(SameBits(b, a)) << Where(name, n, od, os);
            }
    }

    // d[i] = d[i] op s[i] over `per` values per element; R is void or the int status.
    template <class R, class T>
    void CheckInPlace(R (*VectorKernelTable::*fn)(T*, const T*, int), const char* name, int per, bool zeros) {
        for (int n : kLengths)
            for (const auto& off : kOffsets) {
                const int od = off[0], os = off[1];
                const auto s =
                    Random<T>(static_cast<size_t>(os + per * n), 6u + static_cast<unsigned>(n), zeros);
                auto a = Random<T>(static_cast<size_t>(od + per * n), 7u, zeros);
                auto b = a;
                if constexpr (std::is_void_v<R>) {
                    (Ref().*fn)(a.data() + od, s.data() + os, n);
                    (Lev().*fn)(b.data() + od, s.data() + os, n);
                } else {
                    const R ra = (Ref().*fn)(a.data() + od, s.data() + os, n);
                    const R rb = (Lev().*fn)(b.data() + od, s.data() + os, n);
                    EXPECT_EQ(rb, ra) << "status of " << Where(name, n, od, os);
                }
                EXPECT_TRUE(SameBits(b, a)) << Where(name, n, od, os);
            }
    }

    // d[i] = d[i] op c for each c in `scalars`.
    template <class R, class T>
    void CheckScalar(R (*VectorKernelTable::*fn)(T*, T, int), const char* name, std::vector<T> scalars) {
        for (T c : scalars)
            for (int n : kLengths)
                for (int od : {0, 1, 2, 3}) {
                    auto a = Random<T>(static_cast<size_t>(od + n), 8u + static_cast<unsigned>(n), true);
                    auto b = a;
                    const std::string where = Where(name, n, od, od) + " c=" + std::to_string(c);
                    if constexpr (std::is_void_v<R>) {
                        (Ref().*fn)(a.data() + od, c, n);
                        (Lev().*fn)(b.data() + od, c, n);
                    } else {
                        const R ra = (Ref().*fn)(a.data() + od, c, n);
                        const R rb = (Lev().*fn)(b.data() + od, c, n);
                        EXPECT_EQ(rb, ra) << "status of " << where;
                    }
                    EXPECT_TRUE(SameBits(b, a)) << where;
                }
    }

    template <class R, class T>
    void CheckScalarCplx(R (*VectorKernelTable::*fn)(T*, T, T, int), const char* name,
                         std::vector<std::pair<T, T>> scalars) {
        for (const auto& [re, im] : scalars)
            for (int n : kLengths)
                for (int od : {0, 1, 2, 3}) {
                    auto a =
                        Random<T>(static_cast<size_t>(2 * (od + n)), 9u + static_cast<unsigned>(n), true);
                    auto b = a;
                    const std::string where =
                        Where(name, n, od, od) + " c=(" + std::to_string(re) + "," + std::to_string(im) + ")";
                    if constexpr (std::is_void_v<R>) {
                        (Ref().*fn)(a.data() + 2 * od, re, im, n);
                        (Lev().*fn)(b.data() + 2 * od, re, im, n);
                    } else {
                        const R ra = (Ref().*fn)(a.data() + 2 * od, re, im, n);
                        const R rb = (Lev().*fn)(b.data() + 2 * od, re, im, n);
                        EXPECT_EQ(rb, ra) << "status of " << where;
                    }
                    EXPECT_TRUE(SameBits(b, a)) << where;
                }
    }

    template <class T>
    void CheckSum(double (*VectorKernelTable::*fn)(const T*, int), const char* name) {
        for (int n : kLengths)
            for (int os : {0, 1, 2, 3}) {
                const auto s = Random<T>(static_cast<size_t>(os + n), 10u + static_cast<unsigned>(n));
                const double ra = (Ref().*fn)(s.data() + os, n);
                const double rb = (Lev().*fn)(s.data() + os, n);
                EXPECT_TRUE(Close(rb, ra, 1e-13 * AbsSum(s.data() + os, n))) << Where(name, n, 0, os);
            }
    }

    template <class T>
    void CheckSumCplx(void (*VectorKernelTable::*fn)(const T*, int, double*, double*), const char* name) {
        for (int n : kLengths)
            for (int os : {0, 1, 2, 3}) {
                const auto s = Random<T>(static_cast<size_t>(2 * (os + n)), 11u + static_cast<unsigned>(n));
                double rea = -1, ima = -1, reb = -2, imb = -2;
                (Ref().*fn)(s.data() + 2 * os, n, &rea, &ima);
                (Lev().*fn)(s.data() + 2 * os, n, &reb, &imb);
                const double tol = 1e-13 * AbsSum(s.data() + 2 * os, 2 * n);
                EXPECT_TRUE(Close(reb, rea, tol)) << "re of " << Where(name, n, 0, os);
                EXPECT_TRUE(Close(imb, ima, tol)) << "im of " << Where(name, n, 0, os);
            }
    }

    template <class R, class T>
    void CheckStdDev(R (*VectorKernelTable::*fn)(const T*, int), const char* name, double relTol) {
        for (int n : kLengths)
            for (int os : {0, 1, 2, 3}) {
                const auto s = Random<T>(static_cast<size_t>(os + n), 12u + static_cast<unsigned>(n));
                const double ra = (Ref().*fn)(s.data() + os, n);
                const double rb = (Lev().*fn)(s.data() + os, n);
                EXPECT_TRUE(Close(rb, ra, relTol * std::fabs(ra))) << Where(name, n, 0, os);
            }
    }

    // Data sets for the extremes: random, tie-heavy, constant, rising (extreme in the tail) and falling.
    template <class T>
    std::vector<std::vector<T>> ExtremeData(int n, int os) {
        const size_t count = static_cast<size_t>(os + n);
        std::vector<std::vector<T>> sets = {Random<T>(count, 13u + static_cast<unsigned>(n)),
                                            Ties<T>(count, 14u + static_cast<unsigned>(n)),
                                            std::vector<T>(count, T(2.5))};
        std::vector<T> rising(count), falling(count);
        for (size_t i = 0; i < count; ++i) {
            rising[i] = static_cast<T>(i);
            falling[i] = -static_cast<T>(i);
        }
        sets.push_back(rising);
        sets.push_back(falling);
        return sets;
    }

    template <class T>
    void CheckExtreme(T (*VectorKernelTable::*fn)(const T*, int), const char* name) {
        for (int n : kLengths)
            for (int os : {0, 1, 2, 3})
                for (const auto& s : ExtremeData<T>(n, os)) {
                    const T ra = (Ref().*fn)(s.data() + os, n);
                    const T rb = (Lev().*fn)(s.data() + os, n);
                    EXPECT_EQ(rb, ra) << Where(name, n, 0, os);
                }
    }

    template <class T>
    void CheckExtremeIndex(T (*VectorKernelTable::*fn)(const T*, int, int*), const char* name) {
        for (int n : kLengths)
            for (int os : {0, 1, 2, 3})
                for (const auto& s : ExtremeData<T>(n, os)) {
                    int ia = -5, ib = -6;
                    const T ra = (Ref().*fn)(s.data() + os, n, &ia);
                    const T rb = (Lev().*fn)(s.data() + os, n, &ib);
                    EXPECT_EQ(rb, ra) << Where(name, n, 0, os);
                    EXPECT_EQ(ib, ia) << "index of " << Where(name, n, 0, os);
                }
    }

    // Bins 0..n/2 hold a half spectrum; the upper bins are overwritten by the expansion.
    template <class T>
    void CheckExpand(void (*VectorKernelTable::*fn)(T*, int), const char* name) {
        for (int n : {0, 1, 2, 3, 4, 7, 8, 31, 1023, 1024, 4097})
            for (int od : {0, 1, 2, 3}) {
                auto a = Random<T>(static_cast<size_t>(2 * (od + n)), 15u + static_cast<unsigned>(n));
                auto b = a;
                (Ref().*fn)(a.data() + 2 * od, n);
                (Lev().*fn)(b.data() + 2 * od, n);
                EXPECT_TRUE(SameBits(b, a)) << Where(name, n, od, od);
            }
    }

  private:
    const VectorKernelTable* table_ = nullptr;
};

}  // namespace

TEST_P(VectorKernelLevel, TableIsNamedAndComplete) {
    ASSERT_NE(Lev().name, nullptr);
    EXPECT_STRNE(Lev().name, "");
    const auto* slots = reinterpret_cast<void* const*>(&Lev());
    for (size_t i = 1; i < sizeof(VectorKernelTable) / sizeof(void*); ++i)
        EXPECT_NE(slots[i], nullptr) << "entry " << i << " of " << Lev().name << " is empty";
}

TEST_P(VectorKernelLevel, ConversionAndLayoutMatchTheReferenceBitForBit) {
    CheckMap(&VectorKernelTable::convert_f32_f64, "convert_f32_f64", 1, 1);
    CheckMap(&VectorKernelTable::convert_f64_f32, "convert_f64_f32", 1, 1);
    CheckMap(&VectorKernelTable::cplx_real_f32, "cplx_real_f32", 2, 1);
    CheckMap(&VectorKernelTable::cplx_imag_f32, "cplx_imag_f32", 2, 1);
    CheckMap(&VectorKernelTable::cplx_real_f64, "cplx_real_f64", 2, 1);
    CheckMap(&VectorKernelTable::cplx_imag_f64, "cplx_imag_f64", 2, 1);
    CheckZip(&VectorKernelTable::real_to_cplx_f32, "real_to_cplx_f32");
    CheckZip(&VectorKernelTable::real_to_cplx_f64, "real_to_cplx_f64");
}

TEST_P(VectorKernelLevel, VectorArithmeticMatchesTheReferenceBitForBit) {
    CheckInPlace(&VectorKernelTable::add_f32, "add_f32", 1, false);
    CheckInPlace(&VectorKernelTable::sub_f32, "sub_f32", 1, false);
    CheckInPlace(&VectorKernelTable::mul_f32, "mul_f32", 1, false);
    CheckInPlace(&VectorKernelTable::add_f64, "add_f64", 1, false);
    CheckInPlace(&VectorKernelTable::sub_f64, "sub_f64", 1, false);
    CheckInPlace(&VectorKernelTable::mul_f64, "mul_f64", 1, false);
    CheckInPlace(&VectorKernelTable::add_c32, "add_c32", 2, false);
    CheckInPlace(&VectorKernelTable::sub_c32, "sub_c32", 2, false);
    CheckInPlace(&VectorKernelTable::mul_c32, "mul_c32", 2, false);
    CheckInPlace(&VectorKernelTable::add_c64, "add_c64", 2, false);
    CheckInPlace(&VectorKernelTable::sub_c64, "sub_c64", 2, false);
    CheckInPlace(&VectorKernelTable::mul_c64, "mul_c64", 2, false);
}

TEST_P(VectorKernelLevel, VectorDivisionMatchesTheReferenceWithAndWithoutZeros) {
    for (bool zeros : {false, true}) {
        CheckInPlace(&VectorKernelTable::div_f32, "div_f32", 1, zeros);
        CheckInPlace(&VectorKernelTable::div_f64, "div_f64", 1, zeros);
        CheckInPlace(&VectorKernelTable::div_c32, "div_c32", 2, zeros);
        CheckInPlace(&VectorKernelTable::div_c64, "div_c64", 2, zeros);
    }
}

TEST_P(VectorKernelLevel, ScalarArithmeticMatchesTheReferenceBitForBit) {
    CheckScalar(&VectorKernelTable::addc_f32, "addc_f32", {1.75f, -0.3f});
    CheckScalar(&VectorKernelTable::subc_f32, "subc_f32", {1.75f, -0.3f});
    CheckScalar(&VectorKernelTable::mulc_f32, "mulc_f32", {1.75f, -0.3f, 0.0f});
    CheckScalar(&VectorKernelTable::divc_f32, "divc_f32", {1.75f, -0.3f, 0.0f, -0.0f});
    CheckScalar(&VectorKernelTable::addc_f64, "addc_f64", {1.75, -0.3});
    CheckScalar(&VectorKernelTable::subc_f64, "subc_f64", {1.75, -0.3});
    CheckScalar(&VectorKernelTable::mulc_f64, "mulc_f64", {1.75, -0.3, 0.0});
    CheckScalar(&VectorKernelTable::divc_f64, "divc_f64", {1.75, -0.3, 0.0, -0.0});
    const std::vector<std::pair<float, float>> cf = {{1.5f, -0.5f}, {0.0f, 2.0f}, {-3.0f, 0.0f}};
    std::vector<std::pair<float, float>> cfZero = cf;
    cfZero.push_back({0.0f, 0.0f});
    CheckScalarCplx(&VectorKernelTable::addc_c32, "addc_c32", cf);
    CheckScalarCplx(&VectorKernelTable::subc_c32, "subc_c32", cf);
    CheckScalarCplx(&VectorKernelTable::mulc_c32, "mulc_c32", cf);
    CheckScalarCplx(&VectorKernelTable::divc_c32, "divc_c32", cfZero);
    const std::vector<std::pair<double, double>> cd = {{1.5, -0.5}, {0.0, 2.0}, {-3.0, 0.0}};
    std::vector<std::pair<double, double>> cdZero = cd;
    cdZero.push_back({0.0, 0.0});
    CheckScalarCplx(&VectorKernelTable::addc_c64, "addc_c64", cd);
    CheckScalarCplx(&VectorKernelTable::subc_c64, "subc_c64", cd);
    CheckScalarCplx(&VectorKernelTable::mulc_c64, "mulc_c64", cd);
    CheckScalarCplx(&VectorKernelTable::divc_c64, "divc_c64", cdZero);
}

TEST_P(VectorKernelLevel, SumsAgreeWithTheReferenceWithinRounding) {
    CheckSum(&VectorKernelTable::sum_f32, "sum_f32");
    CheckSum(&VectorKernelTable::sum_f64, "sum_f64");
    CheckSumCplx(&VectorKernelTable::sum_c32, "sum_c32");
    CheckSumCplx(&VectorKernelTable::sum_c64, "sum_c64");
}

TEST_P(VectorKernelLevel, StandardDeviationsAgreeWithTheReferenceWithinRounding) {
    // The float result is the double one rounded, so it may differ by the last float bit.
    CheckStdDev(&VectorKernelTable::stddev_f32, "stddev_f32", 1.2e-7);
    CheckStdDev(&VectorKernelTable::stddev_f64, "stddev_f64", 1e-13);
}

TEST_P(VectorKernelLevel, ExtremesAndTheirFirstIndexMatchTheReferenceExactly) {
    CheckExtreme(&VectorKernelTable::max_f32, "max_f32");
    CheckExtreme(&VectorKernelTable::min_f32, "min_f32");
    CheckExtreme(&VectorKernelTable::max_f64, "max_f64");
    CheckExtreme(&VectorKernelTable::min_f64, "min_f64");
    CheckExtremeIndex(&VectorKernelTable::maxindx_f32, "maxindx_f32");
    CheckExtremeIndex(&VectorKernelTable::minindx_f32, "minindx_f32");
    CheckExtremeIndex(&VectorKernelTable::maxindx_f64, "maxindx_f64");
    CheckExtremeIndex(&VectorKernelTable::minindx_f64, "minindx_f64");
}

TEST_P(VectorKernelLevel, SpectrumExpansionMatchesTheReferenceBitForBit) {
    CheckExpand(&VectorKernelTable::expand_ccs_c32, "expand_ccs_c32");
    CheckExpand(&VectorKernelTable::expand_ccs_c64, "expand_ccs_c64");
}

INSTANTIATE_TEST_SUITE_P(Levels, VectorKernelLevel,
                         ::testing::Values(Variant::Sse2, Variant::Avx2, Variant::Avx512),
                         [](const ::testing::TestParamInfo<Variant>& info) {
                             return std::string(kern::VariantName(info.param));
                         });

// ---------------------------------------------------------------------------------------------
// The reference itself, on points worked by hand.

TEST(VectorKernelReference, StatusesAndTieRuleOnWorkedPoints) {
    const VectorKernelTable& r = Ref();
    float d[3] = {1, 0, 4};
    const float s[3] = {2, 0, -2};
    EXPECT_EQ(r.div_f32(d, s, 3), kern::kStsDivByZero);
    EXPECT_EQ(d[0], 0.5f);
    EXPECT_TRUE(std::isnan(d[1]));
    EXPECT_EQ(d[2], -2.0f);
    float e[2] = {1, 2};
    EXPECT_EQ(r.divc_f32(e, 0.0f, 2), kern::kStsDivByZeroErr);
    EXPECT_EQ(e[1], 2.0f);
    EXPECT_EQ(r.divc_f32(e, 2.0f, 2), kern::kStsNoErr);
    const double t[6] = {1, 3, 0, 3, 3, -1};
    int index = -1;
    EXPECT_EQ(r.maxindx_f64(t, 6, &index), 3.0);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(r.minindx_f64(t, 6, &index), -1.0);
    EXPECT_EQ(index, 5);
    // 1, 3, 0, 3: mean 1.75, squared deviations sum to 6.75, divided by n - 1 = 3 gives 2.25.
    EXPECT_DOUBLE_EQ(r.stddev_f64(t, 4), 1.5);
}

// ---------------------------------------------------------------------------------------------
// Class-level operations with each level forced.

namespace {

class ForcedLevel : public ::testing::TestWithParam<Variant> {
  protected:
    void SetUp() override {
        if (!kern::SetVariant(GetParam()))
            GTEST_SKIP() << "this CPU cannot run the " << kern::VariantName(GetParam()) << " kernels";
    }
    void TearDown() override { kern::SetVariant(kern::BestVariant()); }
};

}  // namespace

TEST_P(ForcedLevel, TheForcedTableIsTheOneInUse) {
    EXPECT_EQ(kern::ActiveVariant(), GetParam());
    EXPECT_STREQ(kern::K().name, kern::VectorTableFor(GetParam())->name);
}

TEST_P(ForcedLevel, RealVectorStatisticsAndTies) {
    const std::vector<double> x = corvane_test::RoundToFloat(corvane_test::Uniform(1023, 77, -1, 1));
    VecReal32 v = corvane_test::MakeReal32(x);
    double sum = 0;
    for (double e : x)
        sum += e;
    EXPECT_NEAR(v.Sum(), sum, 6e-8 * std::fabs(sum) + 1e-12);
    v[400] = 5;
    v[900] = 5;
    v[13] = -5;
    v[14] = -5;
    float value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 400);
    v.Min(value, index);
    EXPECT_EQ(index, 13);
    v.ShiftLeft(3);  // unaligned view
    v.Max(value, index);
    EXPECT_EQ(index, 397);
}

TEST_P(ForcedLevel, DivisionStatusesReachTheClasses) {
    VecReal64 a(33), b(33);
    for (int i = 0; i < 33; ++i) {
        a[i] = i + 1;
        b[i] = 2;
    }
    b[31] = 0;
    EXPECT_THROW(a.Div(b), VELAException);
    EXPECT_EQ(a[32], 16.5);  // written after the zero
    EXPECT_THROW(a.Div(0.0), VELAException);
    EXPECT_EQ(a[32], 16.5);
    VecCplx32 c(17), z(17);
    for (int i = 0; i < 17; ++i) {
        c[i] = {1, 1};
        z[i] = {0, 1};
    }
    z[16] = {0, 0};
    EXPECT_THROW(c.Div(z), VELAException);
    EXPECT_EQ(c[15].re, 1.0f);  // (1+i)/i = 1-i
    EXPECT_EQ(c[15].im, -1.0f);
}

TEST_P(ForcedLevel, ComplexArithmeticOnAView) {
    VecCplx64 a(40), b(37);
    for (int i = 0; i < 40; ++i)
        a[i] = {static_cast<double>(i), 1.0};
    for (int i = 0; i < 37; ++i)
        b[i] = {0.0, 2.0};
    a.Truncate(3, 37);
    a.Mul(b);  // (i + 1j)(2j) = -2 + 2i j
    a.Resize(40);
    EXPECT_EQ(a[2].re, 2.0);
    EXPECT_EQ(a[3].re, -2.0);
    EXPECT_EQ(a[3].im, 6.0);
    EXPECT_EQ(a[39].im, 78.0);
}

TEST_P(ForcedLevel, RealTransformRoundTrip) {
    // The transforms scale and expand spectra with the vector kernels.
    const std::vector<double> x = corvane_test::RoundToFloat(corvane_test::Uniform(1000, 78));
    const VecReal32 in = corvane_test::MakeReal32(x);
    FT ft;
    VecCplx32 spectrum;
    VecReal32 back;
    ft.Forward(spectrum, in);
    ft.Inverse(back, spectrum);
    EXPECT_TRUE(corvane_test::NearL2(corvane_test::ToDoubles(back), x, 1e-6));
    // The upper half is the mirror image of the lower.
    EXPECT_EQ(spectrum[999].re, spectrum[1].re);
    EXPECT_EQ(spectrum[999].im, -spectrum[1].im);
}

INSTANTIATE_TEST_SUITE_P(Levels, ForcedLevel,
                         ::testing::Values(Variant::Reference, Variant::Sse2, Variant::Avx2, Variant::Avx512),
                         [](const ::testing::TestParamInfo<Variant>& info) {
                             return std::string(kern::VariantName(info.param));
                         });
