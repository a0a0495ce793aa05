// The resampling of measured impulse responses behind the user-defined filters, against numpy.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "internal/UserTapResampling.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::NearL2;
using corvane_test::PyEval;
using corvane_test::ToDoubles;

namespace {

constexpr double kPi = 3.141592653589793;

// A band-limited pulse at `over` samples per symbol: a sinc of one symbol's width under a Gaussian
// taper, optionally with a second, smaller echo so that it is not symmetric. Real, or rotated by a
// fixed phase for a complex response.
VecCplx32 Pulse(int n, double centre, double over, bool echo, bool complex) {
    VecCplx32 h(n);
    for (int i = 0; i < n; ++i) {
        const double u = (i - centre) / over;
        const double sinc = u == 0 ? 1.0 : std::sin(kPi * 0.8 * u) / (kPi * 0.8 * u);
        double v = sinc * std::exp(-u * u / 8.0);
        if (echo) {
            const double e = (i - centre - 1.5 * over) / over;
            v += 0.4 * (e == 0 ? 1.0 : std::sin(kPi * 0.8 * e) / (kPi * 0.8 * e)) * std::exp(-e * e / 8.0);
        }
        h[i] = complex ? Cplx32{static_cast<float>(v * std::cos(0.7)), static_cast<float>(v * std::sin(0.7))}
                       : Cplx32{static_cast<float>(v), 0.0f};
    }
    return h;
}

double CentreOf(const std::vector<double>& interleaved) {
    double e = 0, m = 0;
    for (size_t i = 0; i < interleaved.size() / 2; ++i) {
        const double p =
            interleaved[2 * i] * interleaved[2 * i] + interleaved[2 * i + 1] * interleaved[2 * i + 1];
        e += p;
        m += static_cast<double>(i) * p;
    }
    return m / e;
}

// The plain resampling evaluated directly in numpy: every output is the full band-limited interpolant
// sum_m h[m] sinc(m - pos) (numpy's sinc, with the double pi, over all samples), divided by toRate.
const char* kImpulseScript = R"(
h = a0[0::2] + 1j * a0[1::2]
fromRate, toRate = a1[0], a1[1]
ratio = fromRate / toRate
n = len(h)
p = np.abs(h) ** 2
c = (np.arange(n) * p).sum() / p.sum()
L = max(c, n - 1 - c)
length = 2 * int(L / ratio) + 3
j = np.arange(length) - length // 2
pos = c - j * ratio
m = np.arange(n)
res = (h[None, :] * np.sinc(m[None, :] - pos[:, None])).sum(axis=1) / toRate
out = res
)";

// The step resampling spelled out point by point as described: internal points, each spread over one
// symbol in order (a point on a sample is set, replacing what was spread there before), running sums
// per group of k, scaled to end at magnitude 1.
const char* kStepScript = R"(
import math
h = a0[0::2] + 1j * a0[1::2]
fromRate, toRate = a1[0], a1[1]
ratio = fromRate / toRate
k = 1
while fromRate / ratio < 32:
    ratio /= 2
    k *= 2
n = len(h)
p2 = np.abs(h) ** 2
E = p2.sum()
c = (np.arange(n) * p2).sum() / E if E != 0 else (n - 1) * 0.5
L = max(c, n - 1 - c)
half = int(0.5 * k * toRate)
up = (int(L / ratio) + half) * 2 + 1
final = up // k
if final % 2 == 0:
    final += 1
    up = final * k + 1
C = (final // 2 + 1) * k - 1
internal = np.zeros(up, dtype=complex)
for q in range(up):
    pos = (q - 0.5 - C) * ratio + c
    near = int(math.copysign(math.floor(abs(pos) + 0.5), pos))
    if near < 0 or near >= n:
        continue
    if abs(pos - near) < 0.001:
        internal[q] = h[near]
        continue
    m = np.arange(max(near - 200, 0), min(near + 201, n))
    x = (m - pos) * math.pi
    v = (h[m] * np.sin(x) / x).sum()
    internal[max(q - half, 0):min(q + half, up - 1) + 1] += v
sums = np.cumsum(internal)[k - 1::k][:final]
out = sums / abs(sums[-1])
)";

std::vector<double> Rates(double from, double to) {
    return {from, to};
}

}  // namespace

TEST(UserTapResampling, EnergyCentre) {
    VecCplx32 h(5);
    for (int i = 0; i < 5; ++i)
        h[i] = {0.0f, 0.0f};
    // No energy: the middle.
    EXPECT_EQ(usertaps::EnergyCentre(h), 2.0);
    h[1] = {3.0f, 0.0f};
    h[4] = {0.0f, 3.0f};
    EXPECT_DOUBLE_EQ(usertaps::EnergyCentre(h), 2.5);
    VecCplx32 four(4);
    for (int i = 0; i < 4; ++i)
        four[i] = {0.0f, 0.0f};
    EXPECT_EQ(usertaps::EnergyCentre(four), 1.5);
}

TEST(UserTapResampling, ImpulseAt16To4MatchesTheBandLimitedInterpolant) {
    // Real and complex responses, symmetric and not, centred on and between samples.
    for (bool echo : {false, true})
        for (bool complex : {false, true})
            for (double centre : {48.0, 47.3}) {
                const VecCplx32 h = Pulse(97, centre, 16.0, echo, complex);
                VecCplx32 out;
                usertaps::ResampleImpulse(out, h, 16.0, 4.0);
                ASSERT_EQ(out.GetSize() % 2, 1);
                const std::vector<double> ref = PyEval(kImpulseScript, {ToDoubles(h), Rates(16, 4)});
                ASSERT_EQ(ref.size(), 2 * static_cast<size_t>(out.GetSize()));
                // The float pi of the kernel against numpy's double pi: a few 1e-7 of the peak.
                EXPECT_TRUE(NearAbs(ToDoubles(out), ref, 2e-6)) << echo << complex << centre;
            }
}

TEST(UserTapResampling, ImpulseAt16To4KeepsItsEnergyCentre) {
    for (bool echo : {false, true})
        for (double centre : {48.0, 47.3, 50.8}) {
            const VecCplx32 h = Pulse(97, centre, 16.0, echo, false);
            const double c = usertaps::EnergyCentre(h);
            VecCplx32 out;
            usertaps::ResampleImpulse(out, h, 16.0, 4.0);
            // Output k stands for the input time c - (k - len/2) * 4, so the centre maps to len/2 and
            // the output's own energy centre, read backwards, lies there too.
            const int len = out.GetSize();
            const double outCentre = CentreOf(ToDoubles(out));
            EXPECT_NEAR(outCentre, len / 2, 0.02) << echo << " " << centre << " c " << c;
            // Reversed in time: for the echo (later in the input), the output's tail is at the front.
        }
}

TEST(UserTapResampling, ImpulseLengthAndScale) {
    // A 33-tap response at its own rate with an integer centre: every position is an input sample, so
    // the taps are the input reversed, divided by toRate, with one extra tap at each end.
    VecCplx32 h(33);
    for (int i = 0; i < 33; ++i) {
        const int d = i < 32 - i ? i : 32 - i;  // symmetric about 16
        h[i] = {static_cast<float>(d + 1), 0.25f * static_cast<float>(d)};
    }
    ASSERT_EQ(usertaps::EnergyCentre(h), 16.0);
    VecCplx32 out;
    usertaps::ResampleImpulse(out, h, 2.0, 2.0);
    ASSERT_EQ(out.GetSize(), 35);
    for (int k = 1; k < 34; ++k) {
        EXPECT_EQ(out[k].re, h[33 - k].re / 2.0f) << k;
        EXPECT_EQ(out[k].im, h[33 - k].im / 2.0f) << k;
    }
    // The two extra ends are off the input: the kernel sums there vanish to float rounding.
    EXPECT_NEAR(out[0].re, 0.0, 1e-5);
    EXPECT_NEAR(out[34].re, 0.0, 1e-5);
}

TEST(UserTapResampling, ImpulseWithoutEnergyIsCentredInTheMiddle) {
    VecCplx32 h(9);
    for (int i = 0; i < 9; ++i)
        h[i] = {0.0f, 0.0f};
    VecCplx32 out;
    usertaps::ResampleImpulse(out, h, 8.0, 2.0);
    // c = 4, L = 4, ratio 4: h = 1, 5 taps, all zero.
    ASSERT_EQ(out.GetSize(), 5);
    for (int k = 0; k < 5; ++k)
        EXPECT_EQ(out[k].re, 0.0f);
}

TEST(UserTapResampling, RefusesBadInput) {
    VecCplx32 out(2);
    out[0] = {5.0f, 5.0f};
    VecCplx32 empty;
    EXPECT_THROW(usertaps::ResampleImpulse(out, empty, 16.0, 4.0), VELAException);
    EXPECT_THROW(usertaps::ResampleStep(out, empty, 16.0, 4.0), VELAException);
    VecCplx32 h = Pulse(33, 16.0, 8.0, false, false);
    for (auto [from, to] : std::vector<std::pair<double, double>>{{0, 4},
                                                                  {16, 0},
                                                                  {-16, 4},
                                                                  {16, -4},
                                                                  {NAN, 4},
                                                                  {16, NAN},
                                                                  {INFINITY, 4},
                                                                  {16, INFINITY},
                                                                  {1e300, 1e-300}}) {
        EXPECT_THROW(usertaps::ResampleImpulse(out, h, from, to), VELAException) << from << " " << to;
        EXPECT_THROW(usertaps::ResampleStep(out, h, from, to), VELAException) << from << " " << to;
    }
    // So many output taps that the length leaves int.
    EXPECT_THROW(usertaps::ResampleImpulse(out, h, 1.0, 1e9), VELAException);
    EXPECT_THROW(usertaps::ResampleStep(out, h, 1.0, 1e9), VELAException);
    // A rate so low that the internal rate of the step form cannot reach 32 points per symbol.
    EXPECT_THROW(usertaps::ResampleStep(out, h, 16.0, 1e-12), VELAException);
    h[3] = {std::numeric_limits<float>::quiet_NaN(), 0.0f};
    EXPECT_THROW(usertaps::ResampleImpulse(out, h, 16.0, 4.0), VELAException);
    h[3] = {0.0f, std::numeric_limits<float>::infinity()};
    EXPECT_THROW(usertaps::ResampleStep(out, h, 16.0, 4.0), VELAException);
    EXPECT_EQ(out.GetSize(), 2);
    EXPECT_EQ(out[0].re, 5.0f);
}

TEST(UserTapResampling, StepMatchesThePointByPointDescription) {
    // Rates that give k = 8 (16 -> 4), k = 1 (64 -> 32: every position on a sample when the centre is
    // an integer), and a ratio of 1.5 with a centre at .25, where some positions are on samples and
    // some are not.
    struct Case {
        double from, to, centre;
        int n;
        bool echo, complex;
    };
    for (const Case& c : std::vector<Case>{{16, 4, 16.0, 33, false, false},
                                           {16, 4, 15.3, 32, true, true},
                                           {64, 32, 40.0, 81, false, false},
                                           {48, 32, 40.25, 81, false, false},
                                           {6, 4, 20.0, 41, true, false}}) {
        VecCplx32 h = Pulse(c.n, c.centre, c.from, c.echo, c.complex);
        if (c.from == 48) {
            // Energy 3 : 1 at the samples 40 and 41 puts the centre at 40.25: the positions
            // (p - 0.5 - C) 1.5 + c then meet samples at every other point.
            for (int i = 0; i < c.n; ++i)
                h[i] = {0.0f, 0.0f};
            h[40] = {1.7320508f, 0.0f};
            h[41] = {1.0f, 0.0f};
            ASSERT_NEAR(usertaps::EnergyCentre(h), 40.25, 1e-6);
        }
        VecCplx32 out;
        usertaps::ResampleStep(out, h, c.from, c.to);
        ASSERT_EQ(out.GetSize() % 2, 1);
        const std::vector<double> ref = PyEval(kStepScript, {ToDoubles(h), Rates(c.from, c.to)});
        ASSERT_EQ(ref.size(), 2 * static_cast<size_t>(out.GetSize())) << c.from << " " << c.to;
        EXPECT_TRUE(NearAbs(ToDoubles(out), ref, 2e-6)) << c.from << " " << c.to << " " << c.centre;
        // It ends at magnitude 1.
        const Cplx32 last = out[out.GetSize() - 1];
        EXPECT_NEAR(std::hypot(last.re, last.im), 1.0, 1e-6);
    }
}

TEST(UserTapResampling, StepOfASymmetricImpulseIsHalfWayAtItsCentre) {
    // A rectangle of one symbol at 16 points per symbol, centred on a sample: the step response at 4
    // points per symbol rises about its middle tap, out[mid + d] + out[mid - d] = 1.
    VecCplx32 h(33);
    for (int i = 0; i < 33; ++i)
        h[i] = {i >= 8 && i <= 24 ? 1.0f : 0.0f, 0.0f};
    VecCplx32 out;
    usertaps::ResampleStep(out, h, 16.0, 4.0);
    const int mid = out.GetSize() / 2;
    for (int d = 0; d <= mid; ++d)
        EXPECT_NEAR(out[mid + d].re + out[mid - d].re, 1.0, 2e-3) << d;
    EXPECT_NEAR(out[0].re, 0.0, 1e-3);
}

TEST(UserTapResampling, StepThatEndsAtZeroIsRefused) {
    // A response without energy integrates to a step that ends at 0: there is no level to scale to.
    VecCplx32 h(17);
    for (int i = 0; i < 17; ++i)
        h[i] = {0.0f, 0.0f};
    VecCplx32 out(1);
    out[0] = {4.0f, 4.0f};
    EXPECT_THROW(usertaps::ResampleStep(out, h, 16.0, 4.0), VELAException);
    EXPECT_EQ(out.GetSize(), 1);
    EXPECT_EQ(out[0].re, 4.0f);
}

TEST(UserTapResampling, ResizeKeepsTheMiddleOrPads) {
    VecCplx32 t(7);
    for (int i = 0; i < 7; ++i)
        t[i] = {static_cast<float>(i + 1), static_cast<float>(-i)};
    VecCplx32 a(t);
    usertaps::ResizeTaps(a, 3, 7, false);
    ASSERT_EQ(a.GetSize(), 3);
    EXPECT_EQ(a[0].re, 3.0f);
    EXPECT_EQ(a[2].re, 5.0f);
    VecCplx32 b(t);
    usertaps::ResizeTaps(b, 4, 7, false);  // from (7 - 4) / 2 = 1
    ASSERT_EQ(b.GetSize(), 4);
    EXPECT_EQ(b[0].re, 2.0f);
    EXPECT_EQ(b[3].re, 5.0f);
    VecCplx32 c(t);
    usertaps::ResizeTaps(c, 12, 7, false);  // 2 zeros, 7 taps, 3 zeros
    ASSERT_EQ(c.GetSize(), 12);
    for (int i = 0; i < 12; ++i) {
        const float expected = i >= 2 && i < 9 ? static_cast<float>(i - 1) : 0.0f;
        EXPECT_EQ(c[i].re, expected) << i;
        EXPECT_EQ(c[i].im, i >= 2 && i < 9 ? static_cast<float>(-(i - 2)) : 0.0f) << i;
    }
    VecCplx32 d(t);
    usertaps::ResizeTaps(d, 12, 7, true);  // the tail holds the last tap
    for (int i = 0; i < 12; ++i) {
        const float expected = i < 2 ? 0.0f : i < 9 ? static_cast<float>(i - 1) : 7.0f;
        EXPECT_EQ(d[i].re, expected) << i;
    }
    EXPECT_EQ(d[11].im, -6.0f);
    VecCplx32 e(t);
    usertaps::ResizeTaps(e, 7, 7, true);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(e[i].re, t[i].re);
}

TEST(UserTapResampling, ResizeRefusesBadSizes) {
    VecCplx32 t(4);
    EXPECT_THROW(usertaps::ResizeTaps(t, 0, 4, false), VELAException);
    EXPECT_THROW(usertaps::ResizeTaps(t, -1, 4, false), VELAException);
    EXPECT_THROW(usertaps::ResizeTaps(t, 3, 5, false), VELAException);
    EXPECT_THROW(usertaps::ResizeTaps(t, 3, -1, true), VELAException);
    EXPECT_EQ(t.GetSize(), 4);
}
