// Every level of the signal kernels against the scalar reference, over lengths that hit the vector
// bodies, their tails and the empty case, from aligned and unaligned starts.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/SignalKernels.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::NearL2;
using corvane_test::Uniform;

namespace {

const int kLengths[] = {0, 1, 7, 31, 1023, 4097};
const int kOffsets[] = {0, 1, 3};

const kern::SignalKernelTable& Ref() {
    return *kern::SignalTableFor(kern::Variant::Reference);
}

std::vector<kern::Variant> OptimisedLevels() {
    std::vector<kern::Variant> v;
    for (kern::Variant l : {kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512})
        if (kern::VariantSupported(l)) v.push_back(l);
    return v;
}

// A float buffer whose data start `offset` elements past a 64-byte boundary.
struct Buf {
    Buf(const std::vector<double>& v, int offset) : store(v.size() + 32), off(offset) {
        float* p = Data();
        for (size_t i = 0; i < v.size(); ++i)
            p[i] = static_cast<float>(v[i]);
    }
    Buf(size_t n, int offset) : store(n + 32, -777.0f), off(offset) {}
    float* Data() {
        auto addr = reinterpret_cast<uintptr_t>(store.data());
        size_t skip = ((64 - addr % 64) % 64) / sizeof(float);
        return store.data() + skip + off;
    }
    std::vector<double> Get(size_t n) {
        const float* p = Data();
        return std::vector<double>(p, p + n);
    }
    std::vector<float> store;
    int off;
};

struct BufD {
    BufD(const std::vector<double>& v, int offset) : store(v.size() + 16), off(offset) {
        double* p = Data();
        for (size_t i = 0; i < v.size(); ++i)
            p[i] = v[i];
    }
    BufD(size_t n, int offset) : store(n + 16, -777.0), off(offset) {}
    double* Data() {
        auto addr = reinterpret_cast<uintptr_t>(store.data());
        size_t skip = ((64 - addr % 64) % 64) / sizeof(double);
        return store.data() + skip + off;
    }
    std::vector<double> Get(size_t n) {
        const double* p = Data();
        return std::vector<double>(p, p + n);
    }
    std::vector<double> store;
    int off;
};

class SignalKernelLevels : public ::testing::TestWithParam<kern::Variant> {
  protected:
    const kern::SignalKernelTable& T() { return *kern::SignalTableFor(GetParam()); }
};

TEST_P(SignalKernelLevels, ElementWiseKernelsMatchReferenceBitForBit) {
    for (int n : kLengths)
        for (int off : kOffsets) {
            SCOPED_TRACE(testing::Message() << "n=" << n << " offset=" << off);
            auto x = Uniform(2 * n + 2, 11 + n, -3, 3), y = Uniform(2 * n + 2, 13 + n, -3, 3);
            Buf a(x, off), b(y, off);
            Buf r1(2 * n + 2, off), r2(2 * n + 2, off);
            Ref().magnitude_f32(a.Data(), b.Data(), r1.Data(), n);
            T().magnitude_f32(a.Data(), b.Data(), r2.Data(), n);
            EXPECT_EQ(r1.Get(n + 1), r2.Get(n + 1)) << "magnitude_f32 (one past the end must stay untouched)";
            Ref().polar_to_cart_c32(a.Data(), b.Data(), r1.Data(), n);
            T().polar_to_cart_c32(a.Data(), b.Data(), r2.Data(), n);
            EXPECT_EQ(r1.Get(2 * n + 1), r2.Get(2 * n + 1)) << "polar_to_cart_c32";
            Ref().diff_f32(a.Data(), r1.Data(), n, 1);
            T().diff_f32(a.Data(), r2.Data(), n, 1);
            EXPECT_EQ(r1.Get(n + 1), r2.Get(n + 1)) << "diff_f32";
            Ref().diff_f32(a.Data(), r1.Data(), 2 * n, 2);
            T().diff_f32(a.Data(), r2.Data(), 2 * n, 2);
            EXPECT_EQ(r1.Get(2 * n), r2.Get(2 * n)) << "diff_f32 step 2";
            Ref().max_pair_f32(a.Data(), b.Data(), r1.Data(), n);
            T().max_pair_f32(a.Data(), b.Data(), r2.Data(), n);
            EXPECT_EQ(r1.Get(n + 1), r2.Get(n + 1)) << "max_pair_f32";

            BufD da(x, off), db(y, off), d1(2 * n + 2, off), d2(2 * n + 2, off);
            Ref().diff_f64(da.Data(), d1.Data(), 2 * n, 2);
            T().diff_f64(da.Data(), d2.Data(), 2 * n, 2);
            EXPECT_EQ(d1.Get(2 * n + 1), d2.Get(2 * n + 1)) << "diff_f64";
            Ref().max_pair_f64(da.Data(), db.Data(), d1.Data(), n);
            T().max_pair_f64(da.Data(), db.Data(), d2.Data(), n);
            EXPECT_EQ(d1.Get(n + 1), d2.Get(n + 1)) << "max_pair_f64";
        }
}

// The kernels whose output may be an input (the signal utilities run them in place on an output that is
// its own input) give, with d == s, exactly what they give into a separate buffer; reference level too.
void CheckInPlaceForms(const kern::SignalKernelTable& t) {
    for (int n : kLengths)
        for (int off : kOffsets) {
            SCOPED_TRACE(testing::Message() << t.name << " n=" << n << " offset=" << off);
            const auto x = Uniform(2 * n + 2, 21 + n, -3, 3), y = Uniform(2 * n + 2, 23 + n, -3, 3);
            for (int step : {1, 2}) {
                const int count = step == 1 ? n : 2 * n;
                Buf a(x, off), sep(2 * n + 2, off);
                t.diff_f32(a.Data(), sep.Data(), count, step);
                t.diff_f32(a.Data(), a.Data(), count, step);
                EXPECT_EQ(a.Get(count), sep.Get(count)) << "diff_f32 step " << step;
                BufD da(x, off), dsep(2 * n + 2, off);
                t.diff_f64(da.Data(), dsep.Data(), count, step);
                t.diff_f64(da.Data(), da.Data(), count, step);
                EXPECT_EQ(da.Get(count), dsep.Get(count)) << "diff_f64 step " << step;
            }
            for (bool intoFirst : {true, false}) {
                Buf a(x, off), b(y, off), sep(2 * n + 2, off);
                float* d = intoFirst ? a.Data() : b.Data();
                t.max_pair_f32(a.Data(), b.Data(), sep.Data(), n);
                t.max_pair_f32(a.Data(), b.Data(), d, n);
                EXPECT_EQ(intoFirst ? a.Get(n) : b.Get(n), sep.Get(n)) << "max_pair_f32";
                BufD da(x, off), db(y, off), dsep(2 * n + 2, off);
                double* dd = intoFirst ? da.Data() : db.Data();
                t.max_pair_f64(da.Data(), db.Data(), dsep.Data(), n);
                t.max_pair_f64(da.Data(), db.Data(), dd, n);
                EXPECT_EQ(intoFirst ? da.Get(n) : db.Get(n), dsep.Get(n)) << "max_pair_f64";
                Buf re(x, off), im(y, off), msep(2 * n + 2, off);
                float* md = intoFirst ? re.Data() : im.Data();
                t.magnitude_f32(re.Data(), im.Data(), msep.Data(), n);
                t.magnitude_f32(re.Data(), im.Data(), md, n);
                EXPECT_EQ(intoFirst ? re.Get(n) : im.Get(n), msep.Get(n)) << "magnitude_f32";
            }
        }
}

TEST(SignalKernels, InPlaceFormsMatchSeparateOutputAtEveryLevel) {
    CheckInPlaceForms(Ref());
    for (kern::Variant l : OptimisedLevels())
        CheckInPlaceForms(*kern::SignalTableFor(l));
}

TEST_P(SignalKernelLevels, MaxPairTakesSecondOperandOnTiesAndNaN) {
    const float nan = std::nanf("");
    float a[] = {1, 2, nan, 5, -0.0f}, b[] = {1, 3, 4, nan, 0.0f}, d[5];
    T().max_pair_f32(a, b, d, 5);
    EXPECT_EQ(d[0], 1);
    EXPECT_EQ(d[1], 3);
    EXPECT_EQ(d[2], 4);
    EXPECT_TRUE(std::isnan(d[3]));
    EXPECT_FALSE(std::signbit(d[4]));  // the tie -0 / +0 takes b, +0
}

TEST_P(SignalKernelLevels, SumOfSquaresMatchesReference) {
    for (int n : kLengths)
        for (int off : kOffsets) {
            auto x = Uniform(n, 21 + n, -2, 2);
            Buf a(x, off);
            BufD b(x, off);
            EXPECT_NEAR(T().sumsq_f32(a.Data(), n), Ref().sumsq_f32(a.Data(), n), 1e-12 * (n + 1));
            EXPECT_NEAR(T().sumsq_f64(b.Data(), n), Ref().sumsq_f64(b.Data(), n), 1e-12 * (n + 1));
        }
}

TEST_P(SignalKernelLevels, GroupedReductionsMatchReference) {
    const int groupSizes[] = {2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33};
    for (int g : groupSizes)
        for (int m : {0, 1, 7, 31, 1023})
            for (int off : kOffsets) {
                SCOPED_TRACE(testing::Message() << "group=" << g << " groups=" << m << " offset=" << off);
                auto x = Uniform(static_cast<size_t>(g) * m, 31 + g * m, -5, 5);
                Buf a(x, off), r1(2 * m + 1, 0), r2(2 * m + 1, 0);
                Ref().group_max_f32(a.Data(), g, m, r1.Data());
                T().group_max_f32(a.Data(), g, m, r2.Data());
                EXPECT_EQ(r1.Get(m + 1), r2.Get(m + 1)) << "max";
                Ref().group_min_f32(a.Data(), g, m, r1.Data());
                T().group_min_f32(a.Data(), g, m, r2.Data());
                EXPECT_EQ(r1.Get(m + 1), r2.Get(m + 1)) << "min";
                Ref().group_maxmin_f32(a.Data(), g, m, r1.Data());
                T().group_maxmin_f32(a.Data(), g, m, r2.Data());
                EXPECT_EQ(r1.Get(2 * m + 1), r2.Get(2 * m + 1)) << "maxmin";
                // Mean and RMS accumulate in double and round once: at most one float ulp apart.
                Ref().group_mean_f32(a.Data(), g, m, r1.Data());
                T().group_mean_f32(a.Data(), g, m, r2.Data());
                EXPECT_TRUE(NearAbs(r2.Get(m), r1.Get(m), 1e-6)) << "mean";
                Ref().group_rms_f32(a.Data(), g, m, r1.Data());
                T().group_rms_f32(a.Data(), g, m, r2.Data());
                EXPECT_TRUE(NearAbs(r2.Get(m), r1.Get(m), 1e-6)) << "rms";
            }
}

// The reference's comparison keeps a NaN first element and passes over a NaN anywhere else; groups of
// every length up to a few registers, with the data ending exactly at the last group (an exact-size heap
// block, so a read past it shows under AddressSanitizer).
TEST_P(SignalKernelLevels, GroupedMaxMinFollowReferenceOnNaNAndAtTheEnd) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (int g = 1; g <= 70; ++g)
        for (int m : {1, 2, 5}) {
            SCOPED_TRACE(testing::Message() << "group=" << g << " groups=" << m);
            auto x = Uniform(static_cast<size_t>(g) * m, 7 + g, -5, 5);
            std::vector<float> a(x.begin(), x.end());
            if (m > 1) a[static_cast<size_t>(g)] = nan;      // second group starts with NaN
            if (g > 2) a[static_cast<size_t>(g) / 2] = nan;  // first group has one inside
            std::vector<float> r1(2 * static_cast<size_t>(m)), r2(2 * static_cast<size_t>(m));
            auto same = [&](size_t count) {
                for (size_t i = 0; i < count; ++i) {
                    if (std::isnan(r1[i])) {
                        EXPECT_TRUE(std::isnan(r2[i])) << i;
                    } else {
                        EXPECT_EQ(r1[i], r2[i]) << i;
                    }
                }
            };
            Ref().group_max_f32(a.data(), g, m, r1.data());
            T().group_max_f32(a.data(), g, m, r2.data());
            same(m);
            if (m > 1) {
                EXPECT_TRUE(std::isnan(r2[1]));
            }
            if (g > 2) {
                EXPECT_FALSE(std::isnan(r2[0]));
            }
            Ref().group_min_f32(a.data(), g, m, r1.data());
            T().group_min_f32(a.data(), g, m, r2.data());
            same(m);
            Ref().group_maxmin_f32(a.data(), g, m, r1.data());
            T().group_maxmin_f32(a.data(), g, m, r2.data());
            same(2 * static_cast<size_t>(m));
        }
}

// Groups full of ties, at the group sizes whose results are the reference's bits (the others may give the
// other zero on a tie between -0 and +0): the reference keeps the first of equal extremes, so -0 and +0,
// equal values and infinities must come out with its bits (a float comparison would not see a -0 for +0).
TEST_P(SignalKernelLevels, GroupedMaxMinKeepTheReferencesBitsAmongTies) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const float pool[] = {-0.0f, 0.0f, 1.0f, -1.0f, 2.0f, -2.0f, inf, -inf, nan};
    std::mt19937 gen(5);
    for (int g : {2, 3, 4, 8, 16})
        for (int m : {1, 3, 64}) {
            SCOPED_TRACE(testing::Message() << "group=" << g << " groups=" << m);
            std::vector<float> a(static_cast<size_t>(g) * m);
            // Mostly zeros of both signs, so that ties between them decide many groups.
            for (float& x : a)
                x = gen() % 3 == 0 ? pool[gen() % 9] : pool[gen() % 2];
            std::vector<float> r1(2 * static_cast<size_t>(m)), r2(2 * static_cast<size_t>(m));
            auto same = [&](size_t count, const char* what) {
                for (size_t i = 0; i < count; ++i)
                    ASSERT_TRUE((std::isnan(r1[i]) && std::isnan(r2[i])) ||
                                std::bit_cast<uint32_t>(r1[i]) == std::bit_cast<uint32_t>(r2[i]))
                        << what << " i=" << i << ": " << r1[i] << " vs " << r2[i];
            };
            Ref().group_max_f32(a.data(), g, m, r1.data());
            T().group_max_f32(a.data(), g, m, r2.data());
            same(static_cast<size_t>(m), "max");
            Ref().group_min_f32(a.data(), g, m, r1.data());
            T().group_min_f32(a.data(), g, m, r2.data());
            same(static_cast<size_t>(m), "min");
            Ref().group_maxmin_f32(a.data(), g, m, r1.data());
            T().group_maxmin_f32(a.data(), g, m, r2.data());
            same(2 * static_cast<size_t>(m), "maxmin");
        }
}

TEST_P(SignalKernelLevels, ConvolutionMatchesReference) {
    for (int na : kLengths)
        for (int nb : {0, 1, 7, 31, 130}) {
            if (static_cast<long>(na) * nb > 600000) continue;
            for (int off : {0, 3}) {
                SCOPED_TRACE(testing::Message() << "na=" << na << " nb=" << nb << " offset=" << off);
                auto x = Uniform(na, 41 + na, -1, 1), y = Uniform(nb, 43 + nb, -1, 1);
                const int total = na > 0 && nb > 0 ? na + nb - 1 : 0;
                Buf a(x, off), b(y, off), r1(total + 1, off), r2(total + 1, off);
                Ref().conv_f32(a.Data(), na, b.Data(), nb, r1.Data());
                T().conv_f32(a.Data(), na, b.Data(), nb, r2.Data());
                EXPECT_TRUE(NearL2(r2.Get(total), r1.Get(total), 1e-6));
                EXPECT_EQ(r2.Get(total + 1)[total], -777.0) << "wrote past the end";
                // Operands in the other order give the same convolution.
                T().conv_f32(b.Data(), nb, a.Data(), na, r2.Data());
                EXPECT_TRUE(NearL2(r2.Get(total), r1.Get(total), 1e-6));
                BufD da(x, off), db(y, off), d1(total + 1, off), d2(total + 1, off);
                Ref().conv_f64(da.Data(), na, db.Data(), nb, d1.Data());
                T().conv_f64(da.Data(), na, db.Data(), nb, d2.Data());
                EXPECT_TRUE(NearL2(d2.Get(total), d1.Get(total), 1e-14));
                EXPECT_EQ(d2.Get(total + 1)[total], -777.0);
            }
        }
}

TEST_P(SignalKernelLevels, CorrelationMatchesReference) {
    for (int n1 : {0, 1, 7, 31, 1023})
        for (int n2 : {1, 7, 31, 200}) {
            const int lowLag = 1 - std::max(n1, n2), len = 2 * std::max(n1, n2) + 3;
            for (int off : {0, 1}) {
                SCOPED_TRACE(testing::Message() << "n1=" << n1 << " n2=" << n2 << " offset=" << off);
                auto x = Uniform(2 * n1, 51 + n1, -1, 1), y = Uniform(2 * n2, 53 + n2, -1, 1);
                Buf a(x, off), b(y, off), r1(2 * len, off), r2(2 * len, off);
                Ref().xcorr_f32(a.Data(), n1, b.Data(), n2, r1.Data(), len, lowLag - 2);
                T().xcorr_f32(a.Data(), n1, b.Data(), n2, r2.Data(), len, lowLag - 2);
                EXPECT_TRUE(NearL2(r2.Get(len), r1.Get(len), 1e-6)) << "real";
                Ref().xcorr_c32(a.Data(), n1, b.Data(), n2, r1.Data(), len, lowLag - 2);
                T().xcorr_c32(a.Data(), n1, b.Data(), n2, r2.Data(), len, lowLag - 2);
                EXPECT_TRUE(NearL2(r2.Get(2 * len), r1.Get(2 * len), 1e-6)) << "complex";
            }
        }
}

TEST_P(SignalKernelLevels, ToneMatchesReference) {
    for (int n : kLengths)
        for (double f : {0.0, 0.25, 0.1234567, 0.999})
            for (bool conj : {false, true}) {
                auto x = Uniform(2 * n, 61 + n, -1, 1);
                Buf a(x, 1), r1(2 * n + 1, 1), r2(2 * n + 1, 1);
                Ref().tone_mul_c32(a.Data(), r1.Data(), n, f, 0.3, conj);
                T().tone_mul_c32(a.Data(), r2.Data(), n, f, 0.3, conj);
                EXPECT_TRUE(NearAbs(r2.Get(2 * n + 1), r1.Get(2 * n + 1), 5e-7))
                    << "n=" << n << " f=" << f << " conj=" << conj;
                // In place gives the same.
                T().tone_mul_c32(a.Data(), a.Data(), n, f, 0.3, conj);
                EXPECT_EQ(a.Get(2 * n), r2.Get(2 * n));
            }
}

INSTANTIATE_TEST_SUITE_P(Levels, SignalKernelLevels, ::testing::ValuesIn(OptimisedLevels()),
                         [](const testing::TestParamInfo<kern::Variant>& info) {
                             return std::string(kern::VariantName(info.param));
                         });

TEST(SignalKernels, ReferenceConvolutionIsTheTextbookSum) {
    const float a[] = {1, 2, 3}, b[] = {0, 1, 0.5f};
    float d[5];
    Ref().conv_f32(a, 3, b, 3, d);
    const float expected[] = {0, 1, 2.5f, 4, 1.5f};
    for (int i = 0; i < 5; ++i)
        EXPECT_FLOAT_EQ(d[i], expected[i]);
}

TEST(SignalKernels, ReferenceComplexCorrelationConjugatesFirstOperand) {
    // d[0] = conj(s1[0]) s2[0] = (1 - 2i)(3 + 4i) = 11 - 2i.
    const float s1[] = {1, 2}, s2[] = {3, 4};
    float d[2];
    Ref().xcorr_c32(s1, 1, s2, 1, d, 1, 0);
    EXPECT_FLOAT_EQ(d[0], 11);
    EXPECT_FLOAT_EQ(d[1], -2);
}

TEST(SignalKernels, SetVariantSwitchesTheActiveTable) {
    const kern::Variant before = kern::ActiveVariant();
    ASSERT_TRUE(kern::SetVariant(kern::Variant::Reference));
    EXPECT_STREQ(kern::SK().name, "reference");
    ASSERT_TRUE(kern::SetVariant(kern::Variant::Sse2));
    EXPECT_STREQ(kern::SK().name, kern::SignalTableFor(kern::Variant::Sse2)->name);
    kern::SetVariant(before);
}

}  // namespace
