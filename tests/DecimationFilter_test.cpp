// DecimationFilter: the quoted lengths and ramp of the 27-tap half-band, a plain filter-then-keep-even
// reference in double (real and complex, several stage counts), short inputs, no stages, bad input,
// Flush, in-place use, shared copies, and a steady stream that allocates nothing.
#include <corvane/dsp/DecimationFilter.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::NearL2;
using corvane_test::Uniform;

namespace {

VecReal32 HalfBand27() {
    const float odd[7] = {0.31062388f,  -0.08499213f,    0.033999402f,   -0.012833981f,
                          0.003986688f, -0.00089236535f, 0.000108955915f};
    VecReal32 taps(27);
    taps.SetZero();
    taps[13] = 0.5f;
    for (int j = 0; j < 7; ++j)
        taps[13 - 1 - 2 * j] = taps[13 + 1 + 2 * j] = odd[j];
    return taps;
}

VecReal32 R32(const std::vector<double>& v) {
    VecReal32 r(static_cast<int>(v.size()));
    for (size_t i = 0; i < v.size(); ++i)
        r[static_cast<int>(i)] = static_cast<float>(v[i]);
    return r;
}
std::vector<double> Vals(const VecReal32& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i)
        r.push_back(v[i]);
    return r;
}

// Each stage from a clean start: y[i] = sum h[k] x[i-k], drop the first taps - 1, keep 0, 2, 4, ...
std::vector<double> Reference(std::vector<double> x, const VecReal32& h, int stages) {
    const int t = h.GetSize();
    for (int s = 0; s < stages; ++s) {
        if (x.size() < static_cast<size_t>(t + 1)) return {};  // fewer than 2 outputs after the transient
        std::vector<double> kept;
        for (size_t i = t - 1, k = 0; i < x.size(); ++i, ++k) {
            if (k % 2) continue;
            double acc = 0.0;
            for (int j = 0; j < t; ++j)
                acc += static_cast<double>(h[j]) * x[i - j];
            kept.push_back(acc);
        }
        x = kept;
    }
    return x;
}

}  // namespace

TEST(DecimationFilter, HalfBandInTwoStagesNeeds78SamplesToChargeAnd118ForTenOutputs) {
    DecimationFilter d(2, HalfBand27());
    EXPECT_EQ(d.GetFilterChargeTime(), 78);
    EXPECT_EQ(d.GetRequiredInputLength(10), 118);
}

TEST(DecimationFilter, RampGivesExactlyTenOutputsEndingAt75) {
    DecimationFilter d(2, HalfBand27());
    VecReal32 ramp(118), out;
    for (int i = 0; i < 118; ++i)
        ramp[i] = static_cast<float>(i);
    d.Apply(out, ramp);
    ASSERT_EQ(out.GetSize(), 10);
    EXPECT_NEAR(out[9], 75.00013733, 1e-4);
}

TEST(DecimationFilter, MatchesFilterThenKeepEvenStageByStage) {
    for (int stages : {1, 2, 3, 4}) {
        for (const VecReal32& h : {HalfBand27(), R32(Uniform(10, 3)), R32(Uniform(33, 4))}) {
            DecimationFilter d(stages, h);
            const int n = d.GetRequiredInputLength(37) + 3;  // a few spare samples
            const auto x = Uniform(n, 5 + stages);
            const auto xi = Uniform(n, 50 + stages);
            VecReal32 in = R32(x), out;
            d.Apply(out, in);
            const auto want = Reference(x, h, stages);
            ASSERT_GE(want.size(), 37u);
            EXPECT_TRUE(NearL2(Vals(out), want, 1e-6)) << stages << " stages, taps " << h.GetSize();

            DecimationFilter c(stages, h);
            VecCplx32 cin(n), cout;
            for (int i = 0; i < n; ++i)
                cin[i] = {static_cast<float>(x[i]), static_cast<float>(xi[i])};
            c.Apply(cout, cin);
            const auto wantIm = Reference(xi, h, stages);
            ASSERT_EQ(cout.GetSize(), static_cast<int>(want.size()));
            std::vector<double> re, im;
            for (int i = 0; i < cout.GetSize(); ++i) {
                re.push_back(cout[i].re);
                im.push_back(cout[i].im);
            }
            EXPECT_TRUE(NearL2(re, want, 1e-6));
            EXPECT_TRUE(NearL2(im, wantIm, 1e-6));
        }
    }
}

TEST(DecimationFilter, TooShortAnInputGivesAnEmptyResultAndNoException) {
    DecimationFilter d(2, HalfBand27());
    for (int n : {0, 1, 20, 27, 28, 52}) {
        d.Flush();
        VecReal32 in(n), out(5);
        in.SetZero();
        EXPECT_NO_THROW(d.Apply(out, in));
        EXPECT_EQ(out.GetSize(), 0) << n;
        VecCplx32 cin(n), cout(5);
        cin.SetZero();
        EXPECT_NO_THROW(d.Apply(cout, cin));
        EXPECT_EQ(cout.GetSize(), 0) << n;
    }
    // 80 samples: 54 after the first stage's transient, 27 kept, then 1 after the second: empty.
    // 82 = GetRequiredInputLength(1) samples give the one output.
    for (int n : {80, 82}) {
        d.Flush();
        VecReal32 in(n), out;
        in.SetZero();
        d.Apply(out, in);
        EXPECT_EQ(out.GetSize(), n == 82 ? 1 : 0) << n;
    }
    EXPECT_EQ(d.GetRequiredInputLength(1), 82);
}

TEST(DecimationFilter, WithNoStageTheInputPassesThrough) {
    DecimationFilter d(0, HalfBand27());
    VecReal32 in = R32({1, 2, 3}), out;
    d.Apply(out, in);
    EXPECT_TRUE(NearAbs(Vals(out), {1, 2, 3}, 0.0));
    d.Apply(in, in);
    EXPECT_TRUE(NearAbs(Vals(in), {1, 2, 3}, 0.0));
    EXPECT_EQ(d.GetFilterChargeTime(), 0);
    EXPECT_EQ(d.GetRequiredInputLength(7), 7);
}

TEST(DecimationFilter, StageCountOutside0To30OrEmptyTapsAreInvalidInput) {
    for (auto make :
         {+[] { DecimationFilter d(-1, HalfBand27()); }, +[] { DecimationFilter d(2, VecReal32()); }}) {
        try {
            make();
            ADD_FAILURE() << "no exception";
        } catch (const VELAException& e) {
            EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
        }
    }
}

TEST(DecimationFilter, RequiredLengthBeyondAnIntIsInvalidInput) {
    DecimationFilter d(30, HalfBand27());
    EXPECT_THROW(d.GetRequiredInputLength(10), VELAException);
    EXPECT_THROW(d.GetFilterChargeTime(), VELAException);
}

TEST(DecimationFilter, EveryKeptOutputHasItsHistoryInTheBlockSoFlushChangesNothing) {
    // Each stage drops the outputs that reach back before its call, so what the delay lines hold from
    // an earlier block never reaches the result: a repeated block gives the same output, with or
    // without a Flush in between.
    DecimationFilter d(2, HalfBand27());
    const VecReal32 block = R32(Uniform(200, 9)), other = R32(Uniform(200, 19));
    VecReal32 first, second, third, between;
    d.Apply(first, block);
    d.Apply(between, other);
    d.Apply(second, block);
    EXPECT_TRUE(NearAbs(Vals(second), Vals(first), 0.0));
    d.Flush();
    d.Apply(third, block);
    EXPECT_TRUE(NearAbs(Vals(third), Vals(first), 0.0));
}

TEST(DecimationFilter, WorksInPlace) {
    const VecReal32 block = R32(Uniform(300, 10));
    DecimationFilter a(3, HalfBand27()), b(3, HalfBand27());
    VecReal32 out, same = block;
    a.Apply(out, block);
    b.Apply(same, same);
    EXPECT_TRUE(NearAbs(Vals(same), Vals(out), 0.0));
}

TEST(DecimationFilter, CopiesShareTheStagesAndMayAllBeDestroyed) {
    auto* a = new DecimationFilter(2, HalfBand27());
    const VecReal32 block = R32(Uniform(200, 11));
    VecReal32 first, fromCopy;
    a->Apply(first, block);
    DecimationFilter b(*a);
    DecimationFilter c(1, HalfBand27());
    c = b;
    delete a;
    b.Flush();  // clears the stages all three share
    c.Apply(fromCopy, block);
    EXPECT_TRUE(NearAbs(Vals(fromCopy), Vals(first), 0.0));
    EXPECT_EQ(c.GetStageCount(), 2);
}

TEST(DecimationFilter, SteadyStreamAllocatesNothingAfterTheFirstBlock) {
    DecimationFilter d(3, HalfBand27()), c(3, HalfBand27());
    const VecReal32 block = R32(Uniform(4096, 12));
    VecCplx32 cblock(4096), cout;
    for (int i = 0; i < 4096; ++i)
        cblock[i] = {block[i], -block[i]};
    VecReal32 out;
    d.Apply(out, block);
    c.Apply(cout, cblock);
    const long long before = kern::AllocationCount();
    for (int k = 0; k < 5; ++k) {
        d.Apply(out, block);
        c.Apply(cout, cblock);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(out.GetSize(), (((4096 - 26 + 1) / 2 - 26 + 1) / 2 - 26 + 1) / 2);
}
