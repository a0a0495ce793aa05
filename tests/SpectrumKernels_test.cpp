// The spectrum kernels: every level against the scalar reference (bit for bit, over lengths that hit the
// vector bodies, their tails and the empty case, from aligned and unaligned starts), and the reference
// against the exact 20 log10(|z| + eps) computed in long double.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/MathKernels.h"
#include "kernel/SpectrumKernels.h"
#include "kernel/SpectrumScalar.h"
#include "kernel/VectorKernels.h"
#include "support/TestUtil.h"

using namespace VELA;

namespace {

const int kLengths[] = {0, 1, 7, 63, 64, 65, 1023, 4097};
const int kOffsets[] = {0, 1, 3};

const kern::SpectrumKernelTable& Ref() {
    return *kern::SpectrumTableFor(kern::Variant::Reference);
}

std::vector<kern::Variant> OptimisedLevels() {
    std::vector<kern::Variant> v;
    for (kern::Variant l : {kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512})
        if (kern::VariantSupported(l)) v.push_back(l);
    return v;
}

// Floats whose data start `offset` elements past a 64-byte boundary; the slack is filled with a marker.
struct Buf {
    explicit Buf(size_t n, int offset = 0) : store(n + 32, -777.0f), off(offset) {}
    float* Data() {
        const auto addr = reinterpret_cast<uintptr_t>(store.data());
        return store.data() + ((64 - addr % 64) % 64) / sizeof(float) + off;
    }
    std::vector<float> store;
    int off;
};

// Complex values spread over many decades, with the awkward ones mixed in: zeros, denormals, values
// just inside and outside the fast range, huge values, infinities and NaN.
std::vector<float> Awkward(size_t pairs, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> logMag(-45.0, 38.0), u(-1.0, 1.0);
    const float specials[] = {0.0f,
                              -0.0f,
                              1e-40f,
                              1.4e-45f,
                              0x1p-50f,
                              0x1.0p-51f,
                              0x1p50f,
                              0x1p51f,
                              3e38f,
                              -3e38f,
                              1e-20f,
                              1.0f,
                              -1.0f,
                              0x1p-63f,
                              0x1p63f,
                              std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()};
    std::vector<float> v(2 * pairs);
    for (size_t i = 0; i < 2 * pairs; ++i) {
        if (gen() % 8 == 0)
            v[i] = specials[gen() % (sizeof specials / sizeof specials[0])];
        else
            v[i] = static_cast<float>(u(gen) * std::pow(10.0, logMag(gen)));
    }
    return v;
}

// Bit equality that takes every NaN as equal.
bool SameFloat(float a, float b) {
    return (std::isnan(a) && std::isnan(b)) || std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b);
}

// SameFloat over n values; the first that differs is named in the failure.
testing::AssertionResult SameFloats(const float* got, const float* want, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (!SameFloat(got[i], want[i]))
            return testing::AssertionFailure() << "i=" << i << ": " << got[i] << " vs " << want[i];
    return testing::AssertionSuccess();
}

}  // namespace

TEST(SpectrumKernels, EveryLevelMatchesTheReferenceBitForBit) {
    for (kern::Variant level : OptimisedLevels()) {
        const kern::SpectrumKernelTable& k = *kern::SpectrumTableFor(level);
        for (int n : kLengths) {
            for (int off : kOffsets) {
                SCOPED_TRACE(testing::Message() << k.name << " n=" << n << " offset=" << off);
                const std::vector<float> src =
                    Awkward(static_cast<size_t>(n), 17u + static_cast<unsigned>(n));
                Buf s(2 * static_cast<size_t>(n), off), w(2 * static_cast<size_t>(n), off);
                std::copy(src.begin(), src.end(), s.Data());
                for (int i = 0; i < 2 * n; ++i)
                    w.Data()[i] = static_cast<float>(0.5 + 0.001 * i);

                Buf got(static_cast<size_t>(n), off), want(static_cast<size_t>(n), off);
                k.mag_db_c32(s.Data(), got.Data(), n);
                Ref().mag_db_c32(s.Data(), want.Data(), n);
                ASSERT_TRUE(SameFloats(got.Data(), want.Data(), static_cast<size_t>(n))) << "mag_db";
                EXPECT_EQ(got.Data()[n], -777.0f);  // nothing written past the end

                Buf p(2 * static_cast<size_t>(n), off), q(2 * static_cast<size_t>(n), off);
                k.mul_f32(s.Data(), w.Data(), p.Data(), 2 * n);
                Ref().mul_f32(s.Data(), w.Data(), q.Data(), 2 * n);
                ASSERT_TRUE(SameFloats(p.Data(), q.Data(), static_cast<size_t>(2 * n))) << "mul";
                EXPECT_EQ(p.Data()[2 * n], -777.0f);
                // In place gives the same.
                k.mul_f32(s.Data(), w.Data(), s.Data(), 2 * n);
                ASSERT_TRUE(SameFloats(s.Data(), q.Data(), static_cast<size_t>(2 * n))) << "in place";
            }
        }
    }
}

TEST(SpectrumKernels, DecibelsAgreeWithTheExactValue) {
    // 20 log10(|z| + eps) in long double from the float inputs, against the reference. Inside the fast
    // range the float evaluation must hold 2e-5 dB; outside it (step by step: float magnitude, float
    // sum with eps, log10 rounded to float, times 20) within the float rounding of those steps.
    const std::vector<float> v = Awkward(200000, 5);
    const int n = static_cast<int>(v.size() / 2);
    std::vector<float> d(static_cast<size_t>(n));
    Ref().mag_db_c32(v.data(), d.data(), n);
    const long double eps =
        static_cast<long double>(std::bit_cast<float>(static_cast<uint32_t>(0x000116C2u)));
    double worstFast = 0, worstSlow = 0;
    for (int i = 0; i < n; ++i) {
        const long double re = v[2 * static_cast<size_t>(i)], im = v[2 * static_cast<size_t>(i) + 1];
        const long double m = std::sqrt(re * re + im * im);
        const long double exact = 20 * std::log10(m + eps);
        const float got = d[static_cast<size_t>(i)];
        if (std::isnan(static_cast<double>(exact))) {
            ASSERT_TRUE(std::isnan(got)) << i;
            continue;
        }
        if (std::isinf(static_cast<double>(exact))) {
            ASSERT_EQ(got, static_cast<float>(exact)) << i;
            continue;
        }
        if (m > static_cast<long double>(std::numeric_limits<float>::max())) {
            // The magnitude itself does not fit a float: it is +Inf, and so is its level.
            ASSERT_EQ(got, std::numeric_limits<float>::infinity()) << i;
            continue;
        }
        const double err = std::fabs(static_cast<double>(got - exact));
        // The kernel's own choice of form: re^2 + im^2 in float within [2^-100, 2^100].
        const float fre = v[2 * static_cast<size_t>(i)], fim = v[2 * static_cast<size_t>(i) + 1];
        const float p = fre * fre + fim * fim;
        if (p >= 0x1p-100f && p <= 0x1p100f) {
            worstFast = std::max(worstFast, err);
            ASSERT_LE(err, 2e-5) << "fast i=" << i << " re=" << fre << " im=" << fim;
        } else {
            // The magnitude and its sum with eps are rounded to float (where they are denormal, to a
            // spacing of 2^-149), then the logarithm: a relative error r of the sum is 8.69 r dB, plus a
            // few float ulps of the result (at -800 dB an ulp is 6e-5 dB).
            const double sum = static_cast<double>(m + eps);
            const double rel = std::max(0x1p-23, 0x1p-149 / sum);
            worstSlow = std::max(worstSlow, err);
            ASSERT_LE(err, 8.69 * rel + 4 * std::fabs(static_cast<double>(exact)) * 0x1p-24)
                << "slow i=" << i << " re=" << fre << " im=" << fim;
        }
    }
    RecordProperty("worst_fast_db", (testing::Message() << worstFast).GetString());
    RecordProperty("worst_slow_db", (testing::Message() << worstSlow).GetString());
}

TEST(SpectrumKernels, ZeroGivesTheEpsilonFloor) {
    const float z[4] = {0.0f, 0.0f, -0.0f, 0.0f};
    float d[2];
    kern::SPK().mag_db_c32(z, d, 2);
    const double floor = 20 * std::log10(static_cast<double>(1e-40f));
    EXPECT_NEAR(d[0], floor, 1e-4);
    EXPECT_EQ(d[0], d[1]);
    EXPECT_NEAR(d[0], -800.0, 0.01);
}

// The out-of-place complex product: every level (and the reference) gives, bit for bit, what a copy
// followed by the vector family's in-place product gives, from aligned and unaligned starts, in place
// as well; nothing is written past the end.
TEST(SpectrumKernels, ComplexProductEqualsCopyThenInPlaceProduct) {
    std::vector<kern::Variant> levels = OptimisedLevels();
    levels.insert(levels.begin(), kern::Variant::Reference);
    for (kern::Variant level : levels) {
        const kern::SpectrumKernelTable& k = *kern::SpectrumTableFor(level);
        for (int n : kLengths) {
            for (int off : kOffsets) {
                SCOPED_TRACE(testing::Message() << k.name << " n=" << n << " offset=" << off);
                const size_t floats = 2 * static_cast<size_t>(n);
                const std::vector<float> a = Awkward(static_cast<size_t>(n), 31u + static_cast<unsigned>(n));
                const std::vector<float> b = Awkward(static_cast<size_t>(n), 57u + static_cast<unsigned>(n));
                Buf pa(floats, off), pb(floats, off), got(floats, off), want(floats, off);
                std::copy(a.begin(), a.end(), pa.Data());
                std::copy(b.begin(), b.end(), pb.Data());
                std::copy(a.begin(), a.end(), want.Data());
                kern::K().mul_c32(want.Data(), pb.Data(), n);
                k.cmul_c32(pa.Data(), pb.Data(), got.Data(), n);
                ASSERT_TRUE(SameFloats(got.Data(), want.Data(), floats)) << "cmul_c32";
                EXPECT_EQ(got.Data()[floats], -777.0f);
                k.cmul_c32(pa.Data(), pb.Data(), pa.Data(), n);
                ASSERT_TRUE(SameFloats(pa.Data(), want.Data(), floats)) << "in place";

                std::vector<double> da(floats), db(floats), dgot(floats + 1, -777.0), dwant(floats);
                std::mt19937 gen(static_cast<unsigned>(n + off));
                std::uniform_real_distribution<double> u(-1e3, 1e3);
                for (size_t i = 0; i < floats; ++i) {
                    da[i] = u(gen);
                    db[i] = u(gen);
                }
                dwant = da;
                kern::K().mul_c64(dwant.data(), db.data(), n);
                k.cmul_c64(da.data(), db.data(), dgot.data(), n);
                for (size_t i = 0; i < floats; ++i)
                    ASSERT_EQ(std::bit_cast<uint64_t>(dgot[i]), std::bit_cast<uint64_t>(dwant[i]))
                        << "c64 i=" << i;
                EXPECT_EQ(dgot[floats], -777.0);
            }
        }
    }
}

// The window product with one coefficient per complex point: every level (and the reference) gives,
// bit for bit, the product of the data with each coefficient stored twice (the reference's plain
// float product, the form the window itself applies), over odd and even lengths, data, coefficients and
// result at different offsets from a 64-byte boundary, in place as well; nothing is written past the end.
TEST(SpectrumKernels, WindowProductEqualsTheDoubledCoefficientProduct) {
    std::vector<kern::Variant> levels = OptimisedLevels();
    levels.insert(levels.begin(), kern::Variant::Reference);
    const int lengths[] = {0, 1, 2, 3, 5, 7, 8, 15, 16, 17, 31, 33, 63, 64, 65, 1023, 4097};
    for (kern::Variant level : levels) {
        const kern::SpectrumKernelTable& k = *kern::SpectrumTableFor(level);
        for (int n : lengths) {
            for (int off : kOffsets) {
                const int woff = (off + 2) % 4;  // coefficients on a different offset from the data
                SCOPED_TRACE(testing::Message() << k.name << " n=" << n << " offset=" << off);
                const size_t floats = 2 * static_cast<size_t>(n);
                const std::vector<float> src =
                    Awkward(static_cast<size_t>(n), 71u + static_cast<unsigned>(n));
                std::mt19937 gen(static_cast<unsigned>(n) * 3u + static_cast<unsigned>(off));
                std::uniform_real_distribution<float> u(0.0f, 1.0f);
                Buf s(floats, off), w(static_cast<size_t>(n), woff), doubled(floats, off), got(floats, off),
                    want(floats, off);
                std::copy(src.begin(), src.end(), s.Data());
                for (int i = 0; i < n; ++i) {
                    w.Data()[i] = u(gen);
                    doubled.Data()[2 * i] = doubled.Data()[2 * i + 1] = w.Data()[i];
                }
                Ref().mul_f32(s.Data(), doubled.Data(), want.Data(), 2 * n);
                k.window_c32(s.Data(), w.Data(), got.Data(), n);
                ASSERT_TRUE(SameFloats(got.Data(), want.Data(), floats));
                EXPECT_EQ(got.Data()[floats], -777.0f);
                k.window_c32(s.Data(), w.Data(), s.Data(), n);
                ASSERT_TRUE(SameFloats(s.Data(), want.Data(), floats)) << "in place";
                EXPECT_EQ(s.Data()[floats], -777.0f);
            }
        }
    }
}

// The vector levels choose between the fast and the step-by-step form on the bits of the power; the
// reference compares floats. Zeros, denormals, infinities, NaNs of both signs and powers on and next to
// both ends of the fast range, each put at every lane position of a vector step (and in the scalar
// tail), give the reference's values bit for bit at every level. (On the ends themselves the two forms
// happen to give the same float, so there the test shows that nothing breaks, not which form ran.)
TEST(SpectrumKernels, FastRangeEdgesAgreeAtEveryLevel) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const float lo = 0x1p-50f, hi = 0x1p50f;
    // (re, im) pairs; the power of the first few is exactly 2^-100 or 2^100, or the next float out.
    const float edges[][2] = {{lo, 0.0f},
                              {std::nextafter(lo, 0.0f), 0.0f},
                              {std::nextafter(lo, 1.0f), 0.0f},
                              {0.0f, -lo},
                              {hi, 0.0f},
                              {std::nextafter(hi, inf), 0.0f},
                              {std::nextafter(hi, 0.0f), 0.0f},
                              {-hi, 0.0f},
                              {0x1p-51f, 0x1p-51f},  // power 2^-101: outside
                              {0x1p49f, 0x1p49f},    // power 2^99: inside
                              {0.0f, 0.0f},
                              {-0.0f, -0.0f},
                              {1.4e-45f, 0.0f},
                              {1e-40f, -1e-40f},
                              {inf, 1.0f},
                              {1.0f, -inf},
                              {nan, 1.0f},
                              {-nan, 1.0f},
                              {-nan, -nan},
                              {3e38f, 3e38f}};
    const int kEdges = static_cast<int>(sizeof edges / sizeof edges[0]);
    std::vector<kern::Variant> levels = OptimisedLevels();
    // A pair of steps, one single step and a scalar tail at every level (16, 8 and 4 lanes).
    const int n = 61;
    for (int e = 0; e < kEdges; ++e) {
        for (int pos = 0; pos < n; ++pos) {
            std::vector<float> s(2 * static_cast<size_t>(n));
            for (int i = 0; i < n; ++i) {  // ordinary in-range neighbours
                s[2 * static_cast<size_t>(i)] = 0.25f + 0.01f * static_cast<float>(i);
                s[2 * static_cast<size_t>(i) + 1] = -0.5f + 0.02f * static_cast<float>(i);
            }
            s[2 * static_cast<size_t>(pos)] = edges[e][0];
            s[2 * static_cast<size_t>(pos) + 1] = edges[e][1];
            std::vector<float> want(static_cast<size_t>(n));
            Ref().mag_db_c32(s.data(), want.data(), n);
            for (kern::Variant level : levels) {
                const kern::SpectrumKernelTable& k = *kern::SpectrumTableFor(level);
                std::vector<float> got(static_cast<size_t>(n));
                k.mag_db_c32(s.data(), got.data(), n);
                for (int i = 0; i < n; ++i)
                    ASSERT_TRUE(SameFloat(got[static_cast<size_t>(i)], want[static_cast<size_t>(i)]))
                        << k.name << " edge " << e << " at " << pos << ", element " << i << ": "
                        << got[static_cast<size_t>(i)] << " vs " << want[static_cast<size_t>(i)];
            }
        }
    }
}

// The vector levels test the range on the bits of the power (one unsigned compare, or two signed ones);
// the reference compares floats. The two tests agree on every float, negative ones, zeros and NaNs of
// either sign included: a sweep over the bit patterns and every pattern next to the two ends.
TEST(SpectrumKernels, RangeTestOnBitsEqualsTheFloatTest) {
    auto check = [](uint32_t b) {
        const float p = std::bit_cast<float>(b);
        ASSERT_EQ(kern::spectrum::FastRangeBits(b), kern::spectrum::FastRange(p)) << std::hex << b;
    };
    for (uint64_t b = 0; b <= 0xffffffffull; b += 4099)
        check(static_cast<uint32_t>(b));
    for (uint32_t edge : {kern::spectrum::kFastLowBits, kern::spectrum::kFastHighBits,
                          0x80000000u | 0x0d800000u, 0x7f800000u, 0x7fc00000u, 0xffc00000u, 0u, 0x80000000u})
        for (uint32_t d = 0; d < 5; ++d) {
            check(edge + d);
            check(edge - d);
        }
    EXPECT_TRUE(kern::spectrum::FastRange(0x1p-100f));
    EXPECT_TRUE(kern::spectrum::FastRange(0x1p100f));
    EXPECT_FALSE(kern::spectrum::FastRange(std::nextafter(0x1p-100f, 0.0f)));
    EXPECT_FALSE(kern::spectrum::FastRange(std::nextafter(0x1p100f, 1e31f)));
}

// The chirp-Z's fused passes: every level (and the reference) gives, bit for bit, what the separate steps
// give (the weights doubled and multiplied in, then the complex product; the vector family's product,
// then the math family's magnitude or power), over awkward values (zeros, denormals, values beyond the
// float magnitude's range, infinities, NaN), from aligned and unaligned starts; the weighted product in
// place as well; nothing is written past the end.
TEST(SpectrumKernels, ChirpZPassesEqualTheirStepsOneByOne) {
    std::vector<kern::Variant> levels = OptimisedLevels();
    levels.insert(levels.begin(), kern::Variant::Reference);
    for (kern::Variant level : levels) {
        const kern::SpectrumKernelTable& k = *kern::SpectrumTableFor(level);
        for (int n : kLengths) {
            for (int off : kOffsets) {
                for (bool awkward : {true, false}) {
                    SCOPED_TRACE(testing::Message()
                                 << k.name << " n=" << n << " offset=" << off << " awkward=" << awkward);
                    const size_t floats = 2 * static_cast<size_t>(n);
                    // Awkward values send most registers down the element-wise way; plain ones in [-1, 1)
                    // keep the register forms busy.
                    const auto data = [&](unsigned seed) {
                        std::vector<float> v = Awkward(static_cast<size_t>(n), seed);
                        if (!awkward) {
                            std::mt19937 gen(seed);
                            std::uniform_real_distribution<float> u(-1.0f, 1.0f);
                            for (float& f : v)
                                f = u(gen);
                        }
                        return v;
                    };
                    const std::vector<float> x = data(71u + static_cast<unsigned>(n));
                    const std::vector<float> c = data(93u + static_cast<unsigned>(n));
                    const std::vector<float> wv = data(11u + static_cast<unsigned>(n));
                    Buf px(floats, off), pc(floats, off), pw(static_cast<size_t>(n), off),
                        doubled(floats, off);
                    std::copy(x.begin(), x.end(), px.Data());
                    std::copy(c.begin(), c.end(), pc.Data());
                    for (int i = 0; i < n; ++i)
                        pw.Data()[i] = doubled.Data()[2 * i] = doubled.Data()[2 * i + 1] =
                            wv[static_cast<size_t>(i)];

                    // Window then pre-chirp.
                    Buf want(floats, off), got(floats, off);
                    Ref().mul_f32(px.Data(), doubled.Data(), want.Data(), 2 * n);
                    Ref().cmul_c32(want.Data(), pc.Data(), want.Data(), n);
                    k.wcmul_c32(px.Data(), pw.Data(), pc.Data(), got.Data(), n);
                    ASSERT_TRUE(SameFloats(got.Data(), want.Data(), floats)) << "wcmul_c32";
                    for (size_t i = floats; i < floats + 14; ++i)
                        ASSERT_EQ(got.Data()[i], -777.0f) << "past the end i=" << i;
                    Buf inPlace(floats, off);
                    std::copy(x.begin(), x.end(), inPlace.Data());
                    k.wcmul_c32(inPlace.Data(), pw.Data(), pc.Data(), inPlace.Data(), n);
                    ASSERT_TRUE(SameFloats(inPlace.Data(), want.Data(), floats)) << "wcmul_c32 in place";

                    // Post-chirp then magnitude, and then power.
                    Buf product(floats, off);
                    std::copy(x.begin(), x.end(), product.Data());
                    kern::K().mul_c32(product.Data(), pc.Data(), n);
                    Buf mag(static_cast<size_t>(n), off), pow(static_cast<size_t>(n), off);
                    kern::MK().mag_c32(product.Data(), mag.Data(), n);
                    kern::MK().power_c32(product.Data(), pow.Data(), n);
                    Buf gotMag(static_cast<size_t>(n), off), gotPow(static_cast<size_t>(n), off);
                    k.cmul_mag_c32(px.Data(), pc.Data(), gotMag.Data(), n);
                    k.cmul_pow_c32(px.Data(), pc.Data(), gotPow.Data(), n);
                    ASSERT_TRUE(SameFloats(gotMag.Data(), mag.Data(), static_cast<size_t>(n)))
                        << "cmul_mag_c32";
                    ASSERT_TRUE(SameFloats(gotPow.Data(), pow.Data(), static_cast<size_t>(n)))
                        << "cmul_pow_c32";
                    // Nothing written past the end, over the width of a register (a masked tail).
                    for (int i = n; i < n + 14; ++i) {
                        ASSERT_EQ(gotMag.Data()[i], -777.0f) << "past the end i=" << i;
                        ASSERT_EQ(gotPow.Data()[i], -777.0f) << "past the end i=" << i;
                    }
                }
            }
        }
    }
}
