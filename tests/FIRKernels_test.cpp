// The FIR kernel at every level against the scalar reference (many lengths and tap counts, unaligned
// starts, in place), and the streaming state of the kernel layer: direct form and FFT blocks against a
// plain double-precision sum over streams cut at random places, the history carried across cuts and
// across changes of the way a block is filtered, and the delay-line forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/FIRKernels.h"
#include "kernel/FIRState.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::Uniform;

namespace {

std::vector<kern::Variant> SupportedLevels() {
    std::vector<kern::Variant> v;
    for (kern::Variant l :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512})
        if (kern::VariantSupported(l)) v.push_back(l);
    return v;
}

class LevelGuard {
  public:
    explicit LevelGuard(kern::Variant v) : saved_(kern::ActiveVariant()) { kern::SetVariant(v); }
    ~LevelGuard() { kern::SetVariant(saved_); }

  private:
    kern::Variant saved_;
};

std::vector<float> Floats(size_t n, unsigned seed) {
    std::vector<float> v;
    for (double x : Uniform(n, seed))
        v.push_back(static_cast<float>(x));
    return v;
}

// y[i] = sum_k h[k] x[i - k] in double, zero before the stream.
std::vector<double> Filter(const std::vector<float>& h, const std::vector<float>& x) {
    std::vector<double> y(x.size(), 0.0);
    for (size_t i = 0; i < x.size(); ++i)
        for (size_t k = 0; k < h.size() && k <= i; ++k)
            y[i] += static_cast<double>(h[k]) * x[i - k];
    return y;
}

double AbsSum(const std::vector<float>& h) {
    double s = 0.0;
    for (float v : h)
        s += std::fabs(v);
    return s;
}

struct StateDeleter {
    void operator()(kern::FIRState* s) const {
        if (s && s->Release()) delete s;
    }
};
using StatePtr = std::unique_ptr<kern::FIRState, StateDeleter>;

StatePtr MakeState(const std::vector<float>& h) {
    return StatePtr(kern::FIRState::Create(h.data(), static_cast<int>(h.size())));
}

}  // namespace

TEST(FIRKernels, EveryLevelMatchesTheReference) {
    const kern::FIRKernelTable& ref = *kern::FIRTableFor(kern::Variant::Reference);
    for (kern::Variant level : SupportedLevels()) {
        const kern::FIRKernelTable& k = *kern::FIRTableFor(level);
        for (int taps : {1, 2, 3, 7, 16, 27, 64, 95, 130}) {
            const std::vector<float> g = Floats(taps, 3 + taps);
            for (int n : {0, 1, 5, 15, 16, 17, 63, 127, 128, 129, 300, 1031}) {
                for (int offset : {0, 1, 3}) {
                    const std::vector<float> s = Floats(n + taps + offset, 11 + n);
                    std::vector<float> want(n + 1, -777.0f), got(n + 1, -777.0f);
                    ref.fir_f32(s.data() + offset, n, g.data(), taps, want.data());
                    k.fir_f32(s.data() + offset, n, g.data(), taps, got.data());
                    std::vector<double> w(want.begin(), want.end()), o(got.begin(), got.end());
                    ASSERT_TRUE(NearAbs(o, w, 1e-6 * AbsSum(g)))
                        << kern::VariantName(level) << " taps " << taps << " n " << n << " offset " << offset;
                    ASSERT_EQ(got[n], -777.0f) << "wrote past the end";
                }
            }
        }
    }
}

TEST(FIRKernels, EveryLevelWorksInPlaceOverTheNewestInputs) {
    // d == s + taps - 1: output i replaces input taps - 1 + i.
    for (kern::Variant level : SupportedLevels()) {
        const kern::FIRKernelTable& k = *kern::FIRTableFor(level);
        for (int taps : {1, 2, 9, 33, 200}) {
            const std::vector<float> g = Floats(taps, 5 + taps);
            for (int n : {1, 15, 16, 17, 129, 1000}) {
                const std::vector<float> s = Floats(n + taps - 1, 17 + n);
                std::vector<float> want(n);
                kern::FIRTableFor(kern::Variant::Reference)
                    ->fir_f32(s.data(), n, g.data(), taps, want.data());
                std::vector<float> buf = s;
                k.fir_f32(buf.data(), n, g.data(), taps, buf.data() + taps - 1);
                std::vector<double> w(want.begin(), want.end()), o(buf.begin() + taps - 1, buf.end());
                ASSERT_TRUE(NearAbs(o, w, 1e-6 * AbsSum(g)))
                    << kern::VariantName(level) << " taps " << taps << " n " << n;
            }
        }
    }
}

TEST(FIRState, DirectAndBlockWaysMatchThePlainSumOverRandomCuts) {
    std::mt19937 rng(7);
    for (int taps : {1, 5, 96, 97, 150, 300, 513}) {
        const std::vector<float> h = Floats(taps, 100 + taps);
        const std::vector<float> x = Floats(9000, 200 + taps);
        const std::vector<double> want = Filter(h, x);
        for (kern::FIRState::Mode mode :
             {kern::FIRState::Mode::Direct, kern::FIRState::Mode::Block, kern::FIRState::Mode::Auto}) {
            StatePtr s = MakeState(h);
            ASSERT_TRUE(s);
            s->SetMode(mode);
            std::vector<float> y(x.size());
            size_t at = 0;
            while (at < x.size()) {
                const size_t len =
                    std::min<size_t>(x.size() - at, rng() % 3 == 0 ? rng() % 40 : rng() % 5000);
                s->Filter(x.data() + at, y.data() + at, static_cast<int>(len));
                at += len;
            }
            std::vector<double> got(y.begin(), y.end());
            EXPECT_TRUE(NearAbs(got, want, 2e-6 * AbsSum(h)))
                << "taps " << taps << " mode " << static_cast<int>(mode);
        }
    }
}

TEST(FIRState, HistoryCarriesAcrossChangesOfWayAndInPlaceBlocks) {
    const int taps = 200;
    const std::vector<float> h = Floats(taps, 1);
    const std::vector<float> x = Floats(20000, 2);
    const std::vector<double> want = Filter(h, x);
    StatePtr s = MakeState(h);
    ASSERT_GT(s->BlockOutputs(), 0);
    std::vector<float> y = x;  // filtered in place, block by block
    const kern::FIRState::Mode modes[3] = {kern::FIRState::Mode::Direct, kern::FIRState::Mode::Block,
                                           kern::FIRState::Mode::Auto};
    const int lengths[] = {3, 199, 200, 201, 4000, 1, 7000, 50, 2500, 5846};
    size_t at = 0;
    int i = 0;
    for (int len : lengths) {
        s->SetMode(modes[i++ % 3]);
        s->Filter(y.data() + at, y.data() + at, len);
        at += len;
    }
    ASSERT_EQ(at, x.size());
    std::vector<double> got(y.begin(), y.end());
    EXPECT_TRUE(NearAbs(got, want, 2e-6 * AbsSum(h)));
}

TEST(FIRState, DelayLineHoldsTheLastInputsNewestFirst) {
    const std::vector<float> h = {0.5f, 0.25f, 0.125f, 1.0f};
    StatePtr s = MakeState(h);
    const std::vector<float> x = {1, 2, 3, 4, 5, 6};
    std::vector<float> y(6), dly(4);
    s->Filter(x.data(), y.data(), 6);
    s->GetDelayLine(dly.data());
    EXPECT_EQ(dly, (std::vector<float>{6, 5, 4, 3}));
    // Setting a line is the same as having filtered those inputs.
    StatePtr t = MakeState(h);
    t->SetDelayLine(dly.data());
    const std::vector<float> more = {-1, 0.5f, 2};
    std::vector<float> a(3), b(3);
    s->Filter(more.data(), a.data(), 3);
    t->Filter(more.data(), b.data(), 3);
    EXPECT_EQ(a, b);
    // A short block shifts the line by its length.
    s->GetDelayLine(dly.data());
    EXPECT_EQ(dly, (std::vector<float>{2, 0.5f, -1, 6}));
    s->Reset();
    s->GetDelayLine(dly.data());
    EXPECT_EQ(dly, (std::vector<float>(4, 0.0f)));
}

TEST(FIRState, RefusesEmptyTapsAndCountsItsOwners) {
    const float one = 1.0f;
    EXPECT_EQ(kern::FIRState::Create(&one, 0), nullptr);
    EXPECT_EQ(kern::FIRState::Create(nullptr, 3), nullptr);
    kern::FIRState* s = kern::FIRState::Create(&one, 1);
    ASSERT_NE(s, nullptr);
    s->Retain();
    EXPECT_FALSE(s->Release());
    EXPECT_TRUE(s->Release());
    delete s;
}
