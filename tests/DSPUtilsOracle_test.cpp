// DSPUtils against numpy and scipy on seeded random data. Each test batches all its cases into one
// python run (a start costs about 0.2 s); inputs are rounded to the library's precision before they are
// handed to python, so both sides compute on the same numbers.
#include <corvane/dsp/DSPUtils.h>
#include "internal/DSPUtilsConv.h"
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::NearL2;
using corvane_test::PyEval;
using corvane_test::Uniform;

namespace {

std::vector<double> RoundToFloat(std::vector<double> v) {
    for (double& x : v)
        x = static_cast<float>(x);
    return v;
}
VecReal32 ToR32(const std::vector<double>& v, size_t from, size_t n) {
    VecReal32 r(static_cast<int>(n));
    for (size_t i = 0; i < n; ++i)
        r[static_cast<int>(i)] = static_cast<float>(v[from + i]);
    return r;
}
VecReal64 ToR64(const std::vector<double>& v, size_t from, size_t n) {
    VecReal64 r(static_cast<int>(n));
    for (size_t i = 0; i < n; ++i)
        r[static_cast<int>(i)] = v[from + i];
    return r;
}
VecCplx32 ToC32(const std::vector<double>& v, size_t from, size_t n) {
    VecCplx32 r(static_cast<int>(n));
    for (size_t i = 0; i < n; ++i)
        r[static_cast<int>(i)] = {static_cast<float>(v[from + 2 * i]),
                                  static_cast<float>(v[from + 2 * i + 1])};
    return r;
}
template <class V>
std::vector<double> Vals(const V& v) {
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
std::vector<double> Slice(const std::vector<double>& v, size_t from, size_t n) {
    if (from + n > v.size()) return {};
    return std::vector<double>(v.begin() + static_cast<long>(from), v.begin() + static_cast<long>(from + n));
}

// ------------------------------------------------------------------ convolution

// Pairs (na, nb) across the crossover between the direct and FFT paths, lengths 1..5000 by 1..2000.
std::vector<std::pair<int, int>> ConvCases() {
    std::vector<std::pair<int, int>> cases;
    const int longs[] = {1, 5, 100, 255, 256, 257, 1000, 3001, 5000};
    const int shorts[] = {1, 2, 3, 7, 16, 47, 48, 49, 63, 64, 65, 100, 129, 200, 257, 511, 1000, 1500, 2000};
    for (int na : longs)
        for (int nb : shorts)
            cases.push_back({na, nb});
    return cases;
}

TEST(DSPUtilsOracle, ConvMatchesNumpyConvolveAcrossTheCrossover) {
    const auto cases = ConvCases();
    std::vector<double> a, b, shape;
    for (auto [na, nb] : cases) {
        auto x = RoundToFloat(Uniform(na, 100 + na + 7 * nb, -1, 1));
        auto y = RoundToFloat(Uniform(nb, 200 + nb + 3 * na, -1, 1));
        a.insert(a.end(), x.begin(), x.end());
        b.insert(b.end(), y.begin(), y.end());
        shape.push_back(na);
        shape.push_back(nb);
    }
    const auto expected = PyEval(R"(
pa = pb = 0
res = []
for k in range(0, len(a2), 2):
    na, nb = int(a2[k]), int(a2[k + 1])
    res.append(np.convolve(a0[pa:pa + na], a1[pb:pb + nb]))
    pa += na; pb += nb
out = np.concatenate(res))",
                                 {a, b, shape});
    size_t pa = 0, pb = 0, pe = 0;
    int viaFFT = 0, direct = 0;
    for (auto [na, nb] : cases) {
        SCOPED_TRACE(testing::Message() << "na=" << na << " nb=" << nb);
        const size_t total = static_cast<size_t>(na + nb - 1);
        const auto want = Slice(expected, pe, total);
        VecReal32 x = ToR32(a, pa, na), y = ToR32(b, pb, nb), out;
        DSPUtils::Conv(out, x, y);
        // Float sums of up to 2000 terms, or float FFTs: a few 1e-7 relative to the result's norm.
        EXPECT_TRUE(NearL2(Vals(out), want, 2e-6));
        DSPUtils::Conv(out, y, x);
        EXPECT_TRUE(NearL2(Vals(out), want, 2e-6)) << "operands exchanged";
        VecReal64 x64 = ToR64(a, pa, na), y64 = ToR64(b, pb, nb), o64;
        DSPUtils::Conv(o64, x64, y64);
        EXPECT_TRUE(NearL2(Vals(o64), want, 1e-12));
        (convdetail::UsesFFT(na, nb, false) ? viaFFT : direct)++;
        pa += static_cast<size_t>(na);
        pb += static_cast<size_t>(nb);
        pe += total;
    }
    // The sample really spans both paths.
    EXPECT_GT(viaFFT, 20);
    EXPECT_GT(direct, 20);
}

TEST(DSPUtilsOracle, DirectAndFFTPathsAgreeWithEachOtherOnTheSameData) {
    for (auto [na, nb] :
         {std::pair{1, 1}, {17, 5}, {64, 64}, {300, 65}, {4096, 64}, {5000, 2000}, {70, 3000}}) {
        auto x = Uniform(na, 7 + na, -1, 1), y = Uniform(nb, 9 + nb, -1, 1);
        std::vector<float> xf(x.begin(), x.end()), yf(y.begin(), y.end()), d1(na + nb - 1), d2(na + nb - 1);
        convdetail::Direct(xf.data(), na, yf.data(), nb, d1.data());
        convdetail::ByFFT(xf.data(), na, yf.data(), nb, d2.data());
        EXPECT_TRUE(NearL2(std::vector<double>(d2.begin(), d2.end()),
                           std::vector<double>(d1.begin(), d1.end()), 2e-6))
            << na << " x " << nb;
        std::vector<double> e1(na + nb - 1), e2(na + nb - 1);
        convdetail::Direct(x.data(), na, y.data(), nb, e1.data());
        convdetail::ByFFT(x.data(), na, y.data(), nb, e2.data());
        EXPECT_TRUE(NearL2(e2, e1, 1e-13)) << na << " x " << nb;
    }
}

// ------------------------------------------------------------------ correlation

TEST(DSPUtilsOracle, CrossCorrMatchesNumpyCorrelateInBothOrders) {
    // numpy.correlate(a, v, 'full')[k] = sum_n a[n + k] conj(v[n]) over lags -(nv - 1) .. na - 1: it
    // conjugates its second argument, as CrossCorr does. CrossCorr spans 2 max - 1 lags, so numpy's
    // result is padded with zeros on the side of the lags it lacks.
    const std::pair<int, int> cases[] = {{1, 1},  {3, 2},  {2, 3},    {7, 7},
                                         {31, 5}, {5, 31}, {100, 99}, {257, 1000}};
    std::vector<double> a, b, shape;
    for (auto [na, nb] : cases) {
        auto x = RoundToFloat(Uniform(2 * na, 300 + na, -1, 1));
        auto y = RoundToFloat(Uniform(2 * nb, 400 + nb, -1, 1));
        a.insert(a.end(), x.begin(), x.end());
        b.insert(b.end(), y.begin(), y.end());
        shape.push_back(na);
        shape.push_back(nb);
    }
    // Per case: real (a, b), real (b, a), complex (a, b), complex (b, a); the real data are the first
    // na (nb) values of each block.
    const auto expected = PyEval(R"(
def corr(x, y):
    L = max(len(x), len(y))
    c = np.correlate(x, y, 'full')
    if len(x) >= len(y):
        return np.concatenate([np.zeros(L - len(y), c.dtype), c])
    return np.concatenate([c, np.zeros(L - len(x), c.dtype)])
pa = pb = 0
res = []
for k in range(0, len(a2), 2):
    na, nb = int(a2[k]), int(a2[k + 1])
    xa, xb = a0[pa:pa + 2 * na], a1[pb:pb + 2 * nb]
    ra, rb = xa[:na], xb[:nb]
    ca, cb = xa[0::2] + 1j * xa[1::2], xb[0::2] + 1j * xb[1::2]
    res += [corr(ra, rb), corr(rb, ra), corr(ca, cb).view(np.float64), corr(cb, ca).view(np.float64)]
    pa += 2 * na; pb += 2 * nb
out = np.concatenate(res))",
                                 {a, b, shape});
    size_t pa = 0, pb = 0, pe = 0;
    for (auto [na, nb] : cases) {
        SCOPED_TRACE(testing::Message() << "na=" << na << " nb=" << nb);
        const size_t len = static_cast<size_t>(2 * std::max(na, nb) - 1);
        VecReal32 ra = ToR32(a, pa, na), rb = ToR32(b, pb, nb), out;
        VecCplx32 ca = ToC32(a, pa, na), cb = ToC32(b, pb, nb), cout;
        DSPUtils::CrossCorr(out, ra, rb);
        EXPECT_TRUE(NearL2(Vals(out), Slice(expected, pe, len), 1e-6)) << "real (a, b)";
        pe += len;
        DSPUtils::CrossCorr(out, rb, ra);
        EXPECT_TRUE(NearL2(Vals(out), Slice(expected, pe, len), 1e-6)) << "real (b, a)";
        pe += len;
        DSPUtils::CrossCorr(cout, ca, cb);
        EXPECT_TRUE(NearL2(Vals(cout), Slice(expected, pe, 2 * len), 1e-6)) << "complex (a, b)";
        pe += 2 * len;
        DSPUtils::CrossCorr(cout, cb, ca);
        EXPECT_TRUE(NearL2(Vals(cout), Slice(expected, pe, 2 * len), 1e-6)) << "complex (b, a)";
        pe += 2 * len;
        pa += static_cast<size_t>(2 * na);
        pb += static_cast<size_t>(2 * nb);
    }
    EXPECT_EQ(pe, expected.size());
}

TEST(DSPUtilsOracle, CrossCorr2IsTheNonNegativeLagsOfNumpyCorrelate) {
    const int na = 50, nb = 20, lags = 40;
    auto x = RoundToFloat(Uniform(2 * na, 501, -1, 1)), y = RoundToFloat(Uniform(2 * nb, 502, -1, 1));
    const auto expected = PyEval(R"(
a = a0[0::2] + 1j * a0[1::2]
b = a1[0::2] + 1j * a1[1::2]
c = np.correlate(a, b, 'full')
full = np.concatenate([c, np.zeros(100, complex)])
out = full[len(b) - 1:len(b) - 1 + 40])",
                                 {x, y});
    VecCplx32 out(lags);
    DSPUtils::CrossCorr2(out, ToC32(x, 0, na), ToC32(y, 0, nb));
    ASSERT_EQ(out.GetSize(), lags);
    EXPECT_TRUE(NearL2(Vals(out), expected, 1e-6));
}

// ------------------------------------------------------------------ FIR design

TEST(DSPUtilsOracle, FirDesignsMatchScipyFirwinHammingForOddTapCounts) {
    std::vector<double> designs;  // per odd N: N, low cut-off, band low, band high
    auto r = Uniform(800, 601, 0, 1);
    for (int n = 5, k = 0; n <= 401; n += 2, ++k) {
        const double fc = static_cast<float>(0.02 + 0.46 * r[4 * k]);
        const double f1 = static_cast<float>(0.02 + 0.3 * r[4 * k + 1]);
        const double f2 = static_cast<float>(f1 + 0.01 + (0.47 - f1) * r[4 * k + 2]);
        designs.insert(designs.end(), {double(n), fc, f1, f2});
    }
    const auto expected = PyEval(R"(
from scipy.signal import firwin
res = []
for k in range(0, len(a0), 4):
    n, fc, f1, f2 = int(a0[k]), a0[k + 1], a0[k + 2], a0[k + 3]
    res.append(firwin(n, fc, window='hamming', scale=True, fs=1.0))
    res.append(firwin(n, fc, window='hamming', scale=True, pass_zero=False, fs=1.0))
    res.append(firwin(n, [f1, f2], window='hamming', scale=True, pass_zero=False, fs=1.0))
out = np.concatenate(res))",
                                 {designs});
    size_t pe = 0;
    for (size_t k = 0; k < designs.size(); k += 4) {
        const int n = static_cast<int>(designs[k]);
        const double fc = designs[k + 1], f1 = designs[k + 2], f2 = designs[k + 3];
        SCOPED_TRACE(testing::Message() << "taps=" << n << " fc=" << fc << " band=" << f1 << ".." << f2);
        VecReal32 h;
        VecReal64 h64;
        ASSERT_TRUE(DSPUtils::LowPass(h, static_cast<float>(fc), n));
        EXPECT_TRUE(NearAbs(Vals(h), Slice(expected, pe, n), 1e-6)) << "low";
        ASSERT_TRUE(DSPUtils::LowPass(h64, fc, n));
        EXPECT_TRUE(NearAbs(Vals(h64), Slice(expected, pe, n), 1e-12)) << "low, double";
        pe += static_cast<size_t>(n);
        ASSERT_TRUE(DSPUtils::HighPass(h, static_cast<float>(fc), n));
        EXPECT_TRUE(NearAbs(Vals(h), Slice(expected, pe, n), 1e-6)) << "high";
        ASSERT_TRUE(DSPUtils::HighPass(h64, fc, n));
        EXPECT_TRUE(NearAbs(Vals(h64), Slice(expected, pe, n), 1e-12)) << "high, double";
        pe += static_cast<size_t>(n);
        ASSERT_TRUE(DSPUtils::BandPass(h, static_cast<float>(f1), static_cast<float>(f2), n));
        EXPECT_TRUE(NearAbs(Vals(h), Slice(expected, pe, n), 1e-6)) << "band";
        ASSERT_TRUE(DSPUtils::BandPass(h64, f1, f2, n));
        EXPECT_TRUE(NearAbs(Vals(h64), Slice(expected, pe, n), 1e-12)) << "band, double";
        pe += static_cast<size_t>(n);
    }
    EXPECT_EQ(pe, expected.size());
}

// ------------------------------------------------------------------ Detect

TEST(DSPUtilsOracle, DetectMatchesNumpyReductionsForEveryTypeAndGroupSize) {
    const int n = 203;  // leaves a partial last group for most sizes
    const auto x = RoundToFloat(Uniform(n, 701, -5, 5));
    // For g = 1..17: mean, max, min, max-min interleaved, rms, first sample.
    const auto expected = PyEval(R"(
res = []
for g in range(1, 18):
    m = len(a0) // g
    X = a0[:m * g].reshape(m, g)
    mx, mn = X.max(axis=1), X.min(axis=1)
    res += [X.mean(axis=1), mx, mn, np.stack([mx, mn], axis=1).ravel(),
            np.sqrt((X * X).mean(axis=1)), X[:, 0]]
out = np.concatenate(res))",
                                 {x});
    const VecReal32 in = ToR32(x, 0, n);
    size_t pe = 0;
    for (int g = 1; g <= 17; ++g) {
        const size_t m = static_cast<size_t>(n / g);
        SCOPED_TRACE(testing::Message() << "group=" << g);
        const std::pair<DetectorType, size_t> order[] = {{DetectorAve, m}, {DetectorMax, m},
                                                         {DetectorMin, m}, {DetectorMaxMin, 2 * m},
                                                         {DetectorRms, m}, {DetectorSample, m}};
        for (auto [type, len] : order) {
            VecReal32 out;
            DSPUtils::Detect(out, in, g, type);
            if (g == 1 && type == DetectorRms) {
                // A group of one is copied for every type, so the RMS keeps the sign that numpy drops.
                EXPECT_TRUE(NearAbs(Vals(out), Vals(in), 0));
            } else {
                EXPECT_TRUE(NearAbs(Vals(out), Slice(expected, pe, len), 2e-6)) << "type " << type;
            }
            if (type == DetectorAve) {
                DSPUtils::Detect(out, in, g, DetectorCISPRAverage);
                EXPECT_TRUE(NearAbs(Vals(out), Slice(expected, pe, len), 2e-6)) << "CISPR average";
            }
            if (type == DetectorMax) {
                DSPUtils::Detect(out, in, g, DetectorCISPRPeak);
                EXPECT_TRUE(NearAbs(Vals(out), Slice(expected, pe, len), 0)) << "CISPR peak";
            }
            pe += len;
        }
        // The quasi-peak leaves its output alone, except that a group of one copies, as for every type.
        VecReal32 keep(3);
        keep[0] = keep[1] = keep[2] = 42;
        DSPUtils::Detect(keep, in, g, DetectorCISPRQuasiPeak);
        if (g == 1) {
            EXPECT_TRUE(NearAbs(Vals(keep), Vals(in), 0));
        } else {
            EXPECT_TRUE(NearAbs(Vals(keep), {42, 42, 42}, 0));
        }
    }
    EXPECT_EQ(pe, expected.size());
}

// ------------------------------------------------------------------ FFTShift

TEST(DSPUtilsOracle, FFTShiftMatchesNumpyFftshiftForLengthsZeroToTwenty) {
    // The library moves the first n/2 + (n odd) elements to the back. numpy's fftshift rolls by n // 2,
    // which is the same permutation at every length (at an odd n both put the larger part at the back);
    // it is ifftshift that differs at odd n. Both are checked, so a change to either rule shows.
    std::vector<double> all;
    for (int n = 0; n <= 20; ++n)
        for (int i = 0; i < n; ++i)
            all.push_back(100 * n + i);
    const auto expected = PyEval(R"(
res = []; p = 0
for n in range(21):
    x = a0[p:p + n]; p += n
    res += [np.fft.fftshift(x), np.fft.ifftshift(x)]
out = np.concatenate(res))",
                                 {all});
    size_t p = 0, pe = 0;
    for (int n = 0; n <= 20; ++n) {
        VecReal32 in = ToR32(all, p, n), out;
        VecReal64 in64 = ToR64(all, p, n), out64;
        VecInt32 i32(n), oi;
        for (int i = 0; i < n; ++i)
            i32[i] = static_cast<int>(all[p + i]);
        DSPUtils::FFTShift(out, in);
        DSPUtils::FFTShift(out64, in64);
        DSPUtils::FFTShift(oi, i32);
        const auto shift = Slice(expected, pe, n), ishift = Slice(expected, pe + n, n);
        EXPECT_TRUE(NearAbs(Vals(out), shift, 0)) << "n=" << n;
        EXPECT_TRUE(NearAbs(Vals(out64), shift, 0)) << "n=" << n;
        EXPECT_TRUE(NearAbs(Vals(oi), shift, 0)) << "n=" << n;
        if (n % 2 && n > 1) {
            EXPECT_FALSE(NearAbs(Vals(out), ishift, 0)) << "n=" << n << " odd: not ifftshift";
        }
        // The library's own rule, independently of numpy.
        const int h = n / 2 + (n % 2);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(out[i], in[(i + h) % n]);
        p += static_cast<size_t>(n);
        pe += static_cast<size_t>(2 * n);
    }
}

// ------------------------------------------------------------------ Unwrap

TEST(DSPUtilsOracle, UnwrapMatchesNumpyUnwrapWhereTheRulesCoincide) {
    // numpy.unwrap removes as many periods as a step needs; Unwrap(out, in, period) removes one per step.
    // They agree when every step, less its whole periods, stays clear of half a period and no step
    // exceeds one and a half periods: steps u + k P with |u| <= 0.4 P and k in {-1, 0, 1}.
    const double P = 2 * M_PI;
    const int n = 500;
    auto u = Uniform(n, 801, -0.4 * P, 0.4 * P), k = Uniform(n, 802, -1.5, 1.5);
    std::vector<double> x(n);
    double acc = 0.3;
    for (int i = 0; i < n; ++i) {
        acc += u[i] + std::round(k[i]) * P;
        x[i] = static_cast<float>(acc);
    }
    // Large jumps for the outward form, which removes as many periods as needed.
    auto big = Uniform(n, 803, -6.5, 6.5);
    std::vector<double> y(n);
    acc = -1;
    for (int i = 0; i < n; ++i) {
        acc += u[i] + std::round(big[i]) * P;
        y[i] = static_cast<float>(acc);
    }
    const int ref = 321;
    const auto expected = PyEval(R"(
P = 2 * np.pi
fwd = np.unwrap(a0, period=P)
full = np.unwrap(a1, period=P)
r = 321
right = np.unwrap(a1[r:], period=P)
left = np.unwrap(a1[:r + 1][::-1], period=P)[::-1]
out = np.concatenate([fwd, full, left[:-1], right]))",
                                 {x, y});
    ASSERT_EQ(expected.size(), static_cast<size_t>(3 * n));
    VecReal64 out64, in64 = ToR64(x, 0, n);
    DSPUtils::Unwrap(out64, in64, P);
    EXPECT_TRUE(NearAbs(Vals(out64), Slice(expected, 0, n), 1e-9));
    VecReal32 out32;
    DSPUtils::Unwrap(out32, ToR32(x, 0, n), static_cast<float>(P));
    // Float corrections accumulate: about one float ulp of the running value per step.
    EXPECT_TRUE(NearL2(Vals(out32), Slice(expected, 0, n), 1e-5));

    VecReal64 y64 = ToR64(y, 0, n);
    DSPUtils::Unwrap(y64, 0, y[0], P);
    EXPECT_TRUE(NearAbs(Vals(y64), Slice(expected, n, n), 1e-9)) << "outward from 0";
    VecReal64 z64 = ToR64(y, 0, n);
    DSPUtils::Unwrap(z64, ref, y[ref], P);
    EXPECT_TRUE(NearAbs(Vals(z64), Slice(expected, 2 * n, n), 1e-9)) << "outward from " << ref;
    VecReal32 z32 = ToR32(y, 0, n);
    DSPUtils::Unwrap(z32, ref, static_cast<float>(y[ref]), static_cast<float>(P));
    EXPECT_TRUE(NearL2(Vals(z32), Slice(expected, 2 * n, n), 1e-5)) << "float, outward from " << ref;
    // And the one-period rule really differs on these large jumps.
    DSPUtils::Unwrap(out64, ToR64(y, 0, n), P);
    EXPECT_FALSE(NearAbs(Vals(out64), Slice(expected, n, n), 1e-3));
}

}  // namespace
