// SFIRFilter: against scipy.signal.lfilter over streams cut into random block lengths (state carried),
// real and complex, 1 to 513 taps, at every kernel level; the transient skip, Flush, in-place use,
// views, the delay-line forms, shared copies, bad input, and a steady stream that allocates nothing.
#include <corvane/dsp/SFIRFilter.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/Memory.h"
#include "support/TestUtil.h"

namespace VELA {
// Reaches the delay-line forms, which are private.
struct SFIRFilterProbe {
    static void Set(SFIRFilter& f, const VecReal32& re) { f.SetFilterState(re); }
    static void Set(SFIRFilter& f, const VecReal32& re, const VecReal32& im) { f.SetFilterState(re, im); }
    static void Get(SFIRFilter& f, VecReal32& re) { f.GetFilterState(re); }
    static void Get(SFIRFilter& f, VecReal32& re, VecReal32& im) { f.GetFilterState(re, im); }
};
}  // namespace VELA

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::PyEval;
using corvane_test::Uniform;

namespace {

const int kTapCounts[] = {1,  2,  3,  4,  7,   8,   15,  16,  17,  31,  32,  33,  63,  64,
                          65, 95, 96, 97, 127, 128, 129, 255, 256, 257, 400, 511, 512, 513};
constexpr int kStream = 12000;

VecReal32 R32(const std::vector<double>& v, size_t from, size_t n) {
    VecReal32 r(static_cast<int>(n));
    for (size_t i = 0; i < n; ++i)
        r[static_cast<int>(i)] = static_cast<float>(v[from + i]);
    return r;
}
std::vector<double> Vals(const VecReal32& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i)
        r.push_back(v[i]);
    return r;
}
std::vector<double> Vals(const VecCplx32& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i) {
        r.push_back(v[i].re);
        r.push_back(v[i].im);
    }
    return r;
}
std::vector<double> Rounded(std::vector<double> v) {
    for (double& x : v)
        x = static_cast<float>(x);
    return v;
}
double AbsSum(const VecReal32& h) {
    double s = 0.0;
    for (int i = 0; i < h.GetSize(); ++i)
        s += std::fabs(h[i]);
    return s;
}

// Block lengths summing to n: many short ones (0, 1, below the tap count), some long.
std::vector<int> Cuts(int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<int> cuts;
    int left = n;
    while (left > 0) {
        int len;
        switch (rng() % 4) {
            case 0:
                len = static_cast<int>(rng() % 3);
                break;
            case 1:
                len = static_cast<int>(rng() % 600);
                break;
            default:
                len = static_cast<int>(rng() % 5000);
        }
        len = std::min(len, left);
        cuts.push_back(len);
        left -= len;
    }
    return cuts;
}

// All taps of kTapCounts, one after another, and the stream (real, then imaginary).
struct Data {
    std::vector<double> taps, x;
    std::vector<double> realWant, cplxWant;  // lfilter outputs, case after case
};

const Data& Reference() {
    static const Data data = [] {
        Data d;
        unsigned seed = 1;
        for (int t : kTapCounts) {
            auto h = Rounded(Uniform(t, seed++));
            d.taps.insert(d.taps.end(), h.begin(), h.end());
        }
        d.x = Rounded(Uniform(2 * kStream, 999));
        std::vector<double> counts(std::begin(kTapCounts), std::end(kTapCounts));
        const auto out = PyEval(R"(
from scipy.signal import lfilter
n = a2.size // 2
xr, xi = a2[:n], a2[n:]
res, at = [], 0
for t in a1.astype(int):
    h = a0[at:at + t]; at += t
    res.append(lfilter(h, 1.0, xr))
for t, start in zip(a1.astype(int), np.cumsum(np.r_[0, a1[:-1]]).astype(int)):
    h = a0[start:start + t]
    res.append(lfilter(h, 1.0, xr + 1j * xi).view(np.float64))
out = np.concatenate(res)
)",
                                {d.taps, counts, d.x});
        const size_t cases = std::size(kTapCounts);
        if (out.size() == cases * 3 * kStream) {
            d.realWant.assign(out.begin(), out.begin() + cases * kStream);
            d.cplxWant.assign(out.begin() + cases * kStream, out.end());
        }
        return d;
    }();
    return data;
}

}  // namespace

TEST(SFIRFilter, MatchesLfilterOverRandomBlocksRealAndComplexAtEveryLevel) {
    const Data& d = Reference();
    ASSERT_FALSE(d.realWant.empty());
    const size_t cases = std::size(kTapCounts);
    const kern::Variant saved = kern::ActiveVariant();
    for (kern::Variant level :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512}) {
        if (!kern::SetVariant(level)) continue;
        size_t tapAt = 0;
        for (size_t c = 0; c < cases; ++c) {
            const int t = kTapCounts[c];
            const VecReal32 h = R32(d.taps, tapAt, t);
            tapAt += t;
            // The reference level is slow on long filters: it runs the short ones only.
            if (level == kern::Variant::Reference && t > 64) continue;
            SFIRFilter real(h), cplx(h);
            std::vector<double> gotReal, gotCplx;
            int at = 0;
            for (int len : Cuts(kStream, 10 + static_cast<unsigned>(c))) {
                VecReal32 in = R32(d.x, at, len), out;
                real.Apply(out, in, false);
                ASSERT_EQ(out.GetSize(), len);
                for (int i = 0; i < len; ++i)
                    gotReal.push_back(out[i]);
                VecCplx32 cin(len), cout;
                for (int i = 0; i < len; ++i)
                    cin[i] = {static_cast<float>(d.x[at + i]), static_cast<float>(d.x[kStream + at + i])};
                cplx.Apply(cout, cin, false);
                ASSERT_EQ(cout.GetSize(), len);
                for (int i = 0; i < len; ++i) {
                    gotCplx.push_back(cout[i].re);
                    gotCplx.push_back(cout[i].im);
                }
                at += len;
            }
            const double tol = 2e-6 * AbsSum(h);
            const std::vector<double> wantReal(d.realWant.begin() + c * kStream,
                                               d.realWant.begin() + (c + 1) * kStream);
            const std::vector<double> wantCplx(d.cplxWant.begin() + 2 * c * kStream,
                                               d.cplxWant.begin() + 2 * (c + 1) * kStream);
            EXPECT_TRUE(NearAbs(gotReal, wantReal, tol)) << kern::VariantName(level) << " real, taps " << t;
            EXPECT_TRUE(NearAbs(gotCplx, wantCplx, tol))
                << kern::VariantName(level) << " complex, taps " << t;
        }
    }
    kern::SetVariant(saved);
}

TEST(SFIRFilter, InPlaceFormsGiveTheTwoVectorResults) {
    for (int t : {5, 300}) {
        const VecReal32 h = R32(Rounded(Uniform(t, 3)), 0, t);
        const auto xs = Rounded(Uniform(4000, 4));
        SFIRFilter a(h), b(h), c(h), e(h);
        for (bool skip : {false, true}) {
            VecReal32 in = R32(xs, 0, 2000), out, same = in;
            a.Apply(out, in, skip);
            b.Apply(same, skip);
            EXPECT_TRUE(NearAbs(Vals(same), Vals(out), 0.0)) << t;
            VecReal32 alias = in;
            SFIRFilter f(h);
            // The two-vector form given the same vector twice.
            SFIRFilter g(h);
            VecReal32 ref;
            g.Apply(ref, in, skip);
            f.Apply(alias, alias, skip);
            EXPECT_TRUE(NearAbs(Vals(alias), Vals(ref), 0.0)) << t;

            VecCplx32 cin(2000), cout;
            for (int i = 0; i < 2000; ++i)
                cin[i] = {static_cast<float>(xs[i]), static_cast<float>(xs[2000 + i])};
            VecCplx32 csame = cin;
            c.Apply(cout, cin, skip);
            e.Apply(csame, skip);
            EXPECT_TRUE(NearAbs(Vals(csame), Vals(cout), 0.0)) << t;
        }
    }
}

TEST(SFIRFilter, SkipTransientDropsTheFirstOutputsOfEveryCall) {
    const VecReal32 h = R32(Rounded(Uniform(9, 5)), 0, 9);
    const auto xs = Rounded(Uniform(200, 6));
    SFIRFilter plain(h), skipping(h);
    std::vector<double> all;
    for (int b = 0; b < 2; ++b) {
        VecReal32 in = R32(xs, 100 * b, 100), out;
        plain.Apply(out, in, false);
        const auto v = Vals(out);
        all.insert(all.end(), v.begin(), v.end());
    }
    for (int b = 0; b < 2; ++b) {
        VecReal32 in = R32(xs, 100 * b, 100), out;
        skipping.Apply(out, in, true);
        ASSERT_EQ(out.GetSize(), 92);
        // A view 8 outputs into the storage: the dropped ones are good samples of a running stream.
        const std::vector<double> want(all.begin() + 100 * b + 8, all.begin() + 100 * (b + 1));
        EXPECT_TRUE(NearAbs(Vals(out), want, 0.0)) << "block " << b;
        out.Resize(100);
        EXPECT_EQ(out[8], static_cast<float>(want[0]));
    }
}

TEST(SFIRFilter, ShortInputWithSkipGivesAnEmptyViewAndStillMovesTheDelayLine) {
    const VecReal32 h = R32({0.25, 0.5, 0.25, 0.125, 0.0625}, 0, 5);
    SFIRFilter a(h), b(h), c(h);
    VecReal32 in = R32({1, 2, 3}, 0, 3), out;
    a.Apply(out, in, true);
    EXPECT_EQ(out.GetSize(), 0);
    VecCplx32 cin(3), cout;
    for (int i = 0; i < 3; ++i)
        cin[i] = {in[i], -in[i]};
    c.Apply(cout, cin, true);
    EXPECT_EQ(cout.GetSize(), 0);
    // The line moved: the next block starts from those samples.
    VecReal32 next = R32({4, 5}, 0, 2), got, want, ref = R32({1, 2, 3, 4, 5}, 0, 5);
    a.Apply(got, next, false);
    b.Apply(want, ref, false);
    EXPECT_EQ(got[0], want[3]);
    EXPECT_EQ(got[1], want[4]);
    // An empty block is nothing at all.
    VecReal32 none, noneOut;
    a.Apply(noneOut, none, true);
    EXPECT_EQ(noneOut.GetSize(), 0);
}

TEST(SFIRFilter, AfterFlushARepeatedBlockGivesTheSameOutputWithoutFlushADifferentOne) {
    const VecReal32 h = R32(Rounded(Uniform(17, 7)), 0, 17);
    const VecReal32 block = R32(Rounded(Uniform(64, 8)), 0, 64);
    SFIRFilter f(h);
    VecReal32 first, second, third;
    f.Apply(first, block, false);
    f.Apply(second, block, false);
    EXPECT_FALSE(NearAbs(Vals(second), Vals(first), 1e-6));
    f.Flush();
    f.Apply(third, block, false);
    EXPECT_TRUE(NearAbs(Vals(third), Vals(first), 0.0));
}

TEST(SFIRFilter, FlushClearsBothRails) {
    const VecReal32 h = R32(Rounded(Uniform(5, 9)), 0, 5);
    VecCplx32 block(20), first, again;
    for (int i = 0; i < 20; ++i)
        block[i] = {static_cast<float>(i), static_cast<float>(20 - i)};
    SFIRFilter f(h);
    f.Apply(first, block, false);
    f.Flush();
    f.Apply(again, block, false);
    EXPECT_TRUE(NearAbs(Vals(again), Vals(first), 0.0));
}

TEST(SFIRFilter, AcceptsViewsAsInput) {
    const VecReal32 h = R32(Rounded(Uniform(7, 10)), 0, 7);
    const auto xs = Rounded(Uniform(50, 11));
    VecReal32 padded = R32(xs, 0, 50), direct = R32(xs, 5, 45), a, b;
    padded.ShiftLeft(5);
    SFIRFilter f(h), g(h);
    f.Apply(a, padded, false);
    g.Apply(b, direct, false);
    EXPECT_TRUE(NearAbs(Vals(a), Vals(b), 0.0));
    // In place on a view: the view keeps its place in the storage.
    SFIRFilter k(h);
    k.Apply(padded, false);
    EXPECT_TRUE(NearAbs(Vals(padded), Vals(b), 0.0));
}

TEST(SFIRFilter, DelayLineFormsWorkOnTheRealRail) {
    const VecReal32 h = R32({1, 0.5, 0.25}, 0, 3);
    SFIRFilter f(h);
    VecReal32 in = R32({1, 2, 3, 4}, 0, 4), out, line, line2;
    f.Apply(out, in, false);
    SFIRFilterProbe::Get(f, line);
    EXPECT_TRUE(NearAbs(Vals(line), {4, 3, 2}, 0.0));  // the newest input first
    // Both two-vector reads give the real rail's line.
    SFIRFilterProbe::Get(f, line, line2);
    EXPECT_TRUE(NearAbs(Vals(line2), {4, 3, 2}, 0.0));
    EXPECT_TRUE(NearAbs(Vals(line), {4, 3, 2}, 0.0));

    // A line set on a fresh filter continues the stream as if those inputs had been filtered.
    SFIRFilter g(h);
    SFIRFilterProbe::Set(g, line);
    VecReal32 more = R32({5, 6}, 0, 2), a, b;
    f.Apply(a, more, false);
    g.Apply(b, more, false);
    EXPECT_TRUE(NearAbs(Vals(b), Vals(a), 0.0));

    // The two-vector set writes re, then im, to the real rail; the imaginary rail stays as it was.
    SFIRFilter k(h);
    SFIRFilterProbe::Set(k, R32({9, 9, 9}, 0, 3), R32({1, 2, 3}, 0, 3));
    SFIRFilterProbe::Get(k, line);
    EXPECT_TRUE(NearAbs(Vals(line), {1, 2, 3}, 0.0));
    VecCplx32 zero(1), z;
    zero[0] = {0, 0};
    k.Apply(z, zero, false);
    EXPECT_EQ(z[0].re, 0.5f * 1 + 0.25f * 2);  // h[1] x[-1] + h[2] x[-2]
    EXPECT_EQ(z[0].im, 0.0f);

    // A line shorter than the taps is refused.
    EXPECT_THROW(SFIRFilterProbe::Set(k, R32({1, 2}, 0, 2)), VELAException);
}

TEST(SFIRFilter, CopiesShareTheDelayLinesAndMayAllBeDestroyed) {
    const VecReal32 h = R32({1, 1}, 0, 2);
    auto* a = new SFIRFilter(h);
    VecReal32 one = R32({5}, 0, 1), out;
    a->Apply(out, one, false);
    SFIRFilter b(*a);
    SFIRFilter c(R32({1}, 0, 1));
    c = *a;
    delete a;
    VecReal32 zero = R32({0}, 0, 1);
    b.Apply(out, zero, false);  // sees the 5 that a filtered
    EXPECT_EQ(out[0], 5.0f);
    c.Apply(out, zero, false);  // and c shares the same line, which b has moved on
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(c.GetTapCount(), 2);
}

TEST(SFIRFilter, EmptyTapsAreInvalidInput) {
    try {
        SFIRFilter f{VecReal32()};
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    }
}

TEST(SFIRFilter, SteadyStreamAllocatesNothingAfterTheFirstBlock) {
    for (int t : {16, 300}) {
        const VecReal32 h = R32(Rounded(Uniform(t, 12)), 0, t);
        SFIRFilter real(h), cplx(h);
        VecReal32 in = R32(Rounded(Uniform(4096, 13)), 0, 4096), out;
        VecCplx32 cin(4096), cout;
        for (int i = 0; i < 4096; ++i)
            cin[i] = {in[i], -in[i]};
        real.Apply(out, in, false);
        cplx.Apply(cout, cin, false);
        const long long before = kern::AllocationCount();
        for (int k = 0; k < 5; ++k) {
            real.Apply(out, in, k % 2 == 0);
            real.Apply(in, false);
            cplx.Apply(cout, cin, k % 2 == 0);
            cplx.Apply(cin, false);
        }
        EXPECT_EQ(kern::AllocationCount(), before) << "taps " << t;
    }
}
