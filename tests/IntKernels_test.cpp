// The integer kernel family: every instruction-set level this CPU runs, bit for bit against the
// reference, for lengths 0, 1, 7, 31, 1023, 4097 at aligned and unaligned starts.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "kernel/IntKernels.h"

using namespace VELA::kern;

namespace {

const int kLengths[] = {0, 1, 7, 31, 1023, 4097};
const int kOffsets[] = {0, 1, 3};
constexpr int kPad = 8;

// Data that reach the limits: a third of the values near +-32767, the rest small, so that sums,
// products and differences saturate often and extremes repeat (ties).
std::vector<short> Shorts(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<short> v(n);
    for (auto& x : v) {
        const unsigned r = rng();
        if (r % 3 == 0)
            x = static_cast<short>((r >> 8) % 2 ? 32767 - (r >> 16) % 40 : -32768 + (r >> 16) % 40);
        else
            x = static_cast<short>(static_cast<int>((r >> 8) % 401) - 200);
    }
    return v;
}
std::vector<int> Ints(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<int> v(n);
    for (auto& x : v) {
        const unsigned r = rng();
        x = r % 4 == 0 ? static_cast<int>(rng()) : static_cast<int>(r % 1001) - 500;
    }
    return v;
}
std::vector<unsigned char> Bytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<unsigned char> v(n);
    const unsigned char bits[4] = {0, 1, 255, 7};
    for (auto& x : v)
        x = bits[rng() % 4];
    return v;
}

class IntKernels : public testing::TestWithParam<Variant> {
  protected:
    const IntKernelTable& Ref() { return *IntTableFor(Variant::Reference); }
};

std::string Where(int n, int off) {
    return "n=" + std::to_string(n) + " offset=" + std::to_string(off);
}

}  // namespace

TEST_P(IntKernels, SaturatingArithmeticMatchesReference) {
    const IntKernelTable* t = IntTableFor(GetParam());
    if (!t) GTEST_SKIP() << VariantName(GetParam()) << " is not supported on this CPU";
    const auto a = Shorts(4097 + kPad, 1), b = Shorts(4097 + kPad, 2);
    using VecFn = void (*)(short*, const short*, int);
    using ConstFn = void (*)(short*, short, int);
    const std::pair<VecFn, VecFn> vecFns[] = {
        {t->add_16s, Ref().add_16s}, {t->sub_16s, Ref().sub_16s}, {t->mul_16s, Ref().mul_16s}};
    const std::pair<ConstFn, ConstFn> constFns[] = {
        {t->addc_16s, Ref().addc_16s}, {t->subc_16s, Ref().subc_16s}, {t->mulc_16s, Ref().mulc_16s}};
    for (int n : kLengths)
        for (int off : kOffsets) {
            for (const auto& [fn, ref] : vecFns) {
                auto got = a, want = a;
                fn(got.data() + off, b.data() + off, n);
                ref(want.data() + off, b.data() + off, n);
                EXPECT_EQ(got, want) << Where(n, off);  // also: nothing outside [off, off + n) written
            }
            for (short c : {short(0), short(1), short(-1), short(250), short(-32768), short(32767)})
                for (const auto& [fn, ref] : constFns) {
                    auto got = a, want = a;
                    fn(got.data() + off, c, n);
                    ref(want.data() + off, c, n);
                    EXPECT_EQ(got, want) << Where(n, off) << " c=" << c;
                }
        }
}

TEST_P(IntKernels, SaturatesAtTheLimitsOfAShort) {
    const IntKernelTable* t = IntTableFor(GetParam());
    if (!t) GTEST_SKIP() << VariantName(GetParam()) << " is not supported on this CPU";
    std::vector<short> d = {32767, -32768, 100, -100, 181, -182};
    const std::vector<short> s = {1, 1, 32767, -32768, 181, 181};
    auto sum = d, diff = d, prod = d;
    t->add_16s(sum.data(), s.data(), 6);
    t->sub_16s(diff.data(), s.data(), 6);
    t->mul_16s(prod.data(), s.data(), 6);
    EXPECT_EQ(sum, (std::vector<short>{32767, -32767, 32767, -32768, 362, -1}));
    EXPECT_EQ(diff, (std::vector<short>{32766, -32768, -32667, 32668, 0, -363}));
    EXPECT_EQ(prod, (std::vector<short>{32767, -32768, 32767, 32767, 32761, -32768}));
}

TEST_P(IntKernels, SumsAreExact) {
    const IntKernelTable* t = IntTableFor(GetParam());
    if (!t) GTEST_SKIP() << VariantName(GetParam()) << " is not supported on this CPU";
    const auto a = Shorts(70000, 3);
    const auto b = Ints(70000, 4);
    for (int n : {0, 1, 7, 31, 1023, 4097, 32768, 32769, 65537, 69990})
        for (int off : kOffsets) {
            int64_t want16 = 0, want32 = 0;
            for (int i = 0; i < n; ++i) {
                want16 += a[off + i];
                want32 += b[off + i];
            }
            EXPECT_EQ(t->sum_16s(a.data() + off, n), want16) << Where(n, off);
            EXPECT_EQ(t->sum_32s(b.data() + off, n), want32) << Where(n, off);
        }
    // 70000 times the largest value would overflow any 32-bit accumulator.
    const std::vector<short> top(70000, 32767);
    const std::vector<int> big(70000, INT_MAX);
    EXPECT_EQ(t->sum_16s(top.data(), 70000), int64_t{32767} * 70000);
    EXPECT_EQ(t->sum_32s(big.data(), 70000), int64_t{INT_MAX} * 70000);
}

TEST_P(IntKernels, ExtremesAndFirstIndexMatchReference) {
    const IntKernelTable* t = IntTableFor(GetParam());
    if (!t) GTEST_SKIP() << VariantName(GetParam()) << " is not supported on this CPU";
    const auto a = Shorts(4097 + kPad, 5);
    const auto b = Ints(4097 + kPad, 6);
    for (int n : kLengths)
        for (int off : kOffsets) {
            int gi = -1, ri = -2;
            EXPECT_EQ(t->max_16s(a.data() + off, n), Ref().max_16s(a.data() + off, n)) << Where(n, off);
            EXPECT_EQ(t->min_16s(a.data() + off, n), Ref().min_16s(a.data() + off, n)) << Where(n, off);
            EXPECT_EQ(t->maxindx_16s(a.data() + off, n, &gi), Ref().maxindx_16s(a.data() + off, n, &ri));
            EXPECT_EQ(gi, ri) << Where(n, off);
            EXPECT_EQ(t->minindx_16s(a.data() + off, n, &gi), Ref().minindx_16s(a.data() + off, n, &ri));
            EXPECT_EQ(gi, ri) << Where(n, off);
            EXPECT_EQ(t->max_32s(b.data() + off, n), Ref().max_32s(b.data() + off, n)) << Where(n, off);
            EXPECT_EQ(t->min_32s(b.data() + off, n), Ref().min_32s(b.data() + off, n)) << Where(n, off);
            EXPECT_EQ(t->maxindx_32s(b.data() + off, n, &gi), Ref().maxindx_32s(b.data() + off, n, &ri));
            EXPECT_EQ(gi, ri) << Where(n, off);
            EXPECT_EQ(t->minindx_32s(b.data() + off, n, &gi), Ref().minindx_32s(b.data() + off, n, &ri));
            EXPECT_EQ(gi, ri) << Where(n, off);
        }
}

TEST_P(IntKernels, TiesGoToTheFirstIndexAnywhereInTheVector) {
    const IntKernelTable* t = IntTableFor(GetParam());
    if (!t) GTEST_SKIP() << VariantName(GetParam()) << " is not supported on this CPU";
    for (int n : {2, 31, 100, 1023, 4097})
        for (int first : {0, 1, n / 3, n - 2}) {
            std::vector<short> s(n, 5);
            std::vector<int> w(n, -5);
            s[first] = s[n - 1] = 9;
            w[first] = w[n - 1] = -9;
            int index = -1;
            EXPECT_EQ(t->maxindx_16s(s.data(), n, &index), 9);
            EXPECT_EQ(index, first) << n;
            EXPECT_EQ(t->minindx_32s(w.data(), n, &index), -9);
            EXPECT_EQ(index, first) << n;
            // All equal: index 0.
            const std::vector<int> flat(n, 3);
            EXPECT_EQ(t->maxindx_32s(flat.data(), n, &index), 3);
            EXPECT_EQ(index, 0);
        }
}

TEST_P(IntKernels, ByteLogicMatchesReference) {
    const IntKernelTable* t = IntTableFor(GetParam());
    if (!t) GTEST_SKIP() << VariantName(GetParam()) << " is not supported on this CPU";
    const auto a = Bytes(4097 + kPad, 7), b = Bytes(4097 + kPad, 8);
    using BinFn = void (*)(const unsigned char*, const unsigned char*, unsigned char*, int);
    const std::pair<BinFn, BinFn> bin[] = {
        {t->and_8u, Ref().and_8u}, {t->or_8u, Ref().or_8u}, {t->xor_8u, Ref().xor_8u}};
    for (int n : kLengths)
        for (int off : kOffsets) {
            for (const auto& [fn, ref] : bin) {
                std::vector<unsigned char> got(a.size(), 0xAA), want(a.size(), 0xAA);
                fn(a.data() + off, b.data() + off, got.data() + off, n);
                ref(a.data() + off, b.data() + off, want.data() + off, n);
                EXPECT_EQ(got, want) << Where(n, off);
                // In place (output is the first operand).
                auto inGot = a, inWant = a;
                fn(inGot.data() + off, b.data() + off, inGot.data() + off, n);
                ref(inWant.data() + off, b.data() + off, inWant.data() + off, n);
                EXPECT_EQ(inGot, inWant) << Where(n, off);
            }
            std::vector<unsigned char> got(a.size(), 0xAA), want(a.size(), 0xAA);
            t->not_8u(a.data() + off, got.data() + off, n);
            Ref().not_8u(a.data() + off, want.data() + off, n);
            EXPECT_EQ(got, want) << Where(n, off);
            auto flipGot = a, flipWant = a;
            t->flip01_8u(flipGot.data() + off, n);
            Ref().flip01_8u(flipWant.data() + off, n);
            EXPECT_EQ(flipGot, flipWant) << Where(n, off);
            auto setGot = a, setWant = a;
            t->set_8u(setGot.data() + off, 0x5C, n);
            Ref().set_8u(setWant.data() + off, 0x5C, n);
            EXPECT_EQ(setGot, setWant) << Where(n, off);
        }
}

TEST_P(IntKernels, ByteLogicDefinitions) {
    const IntKernelTable* t = IntTableFor(GetParam());
    if (!t) GTEST_SKIP() << VariantName(GetParam()) << " is not supported on this CPU";
    const std::vector<unsigned char> a = {0, 1, 255, 255, 7, 0};
    const std::vector<unsigned char> b = {1, 1, 1, 0, 1, 0};
    std::vector<unsigned char> d(6);
    t->and_8u(a.data(), b.data(), d.data(), 6);
    EXPECT_EQ(d, (std::vector<unsigned char>{0, 1, 1, 0, 1, 0}));
    t->xor_8u(a.data(), b.data(), d.data(), 6);
    EXPECT_EQ(d, (std::vector<unsigned char>{1, 0, 254, 255, 6, 0}));
    t->not_8u(a.data(), d.data(), 6);
    EXPECT_EQ(d, (std::vector<unsigned char>{255, 254, 0, 0, 248, 255}));
    d = a;
    t->flip01_8u(d.data(), 6);
    EXPECT_EQ(d, (std::vector<unsigned char>{1, 0, 255, 255, 7, 1}));
}

TEST(IntKernelsDispatch, ActiveTableFollowsSetVariant) {
    const Variant before = ActiveVariant();
    for (int v = 0; v < kVariantCount; ++v) {
        const auto variant = static_cast<Variant>(v);
        if (!SetVariant(variant)) continue;
        EXPECT_EQ(&IntK(), IntTableFor(variant));
    }
    SetVariant(before);
}

INSTANTIATE_TEST_SUITE_P(AllLevels, IntKernels,
                         testing::Values(Variant::Reference, Variant::Sse2, Variant::Avx2, Variant::Avx512),
                         [](const testing::TestParamInfo<Variant>& info) {
                             return std::string(VariantName(info.param));
                         });
