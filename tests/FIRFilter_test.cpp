// FIRFilter: every form against numpy.convolve (centred and uncentred views, tap counts on both sides
// of the direct/FFT crossover of DSPUtils::Conv), the views on the output's own storage, in-place use,
// empty operands, and a convolution too long for an int.
#include <corvane/dsp/FIRFilter.h>
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::NearL2;
using corvane_test::PyEval;
using corvane_test::Uniform;

namespace {

std::vector<double> Rounded(std::vector<double> v) {
    for (double& x : v)
        x = static_cast<float>(x);
    return v;
}
VecReal32 R32(const std::vector<double>& v, size_t from, size_t n) {
    VecReal32 r(static_cast<int>(n));
    for (size_t i = 0; i < n; ++i)
        r[static_cast<int>(i)] = static_cast<float>(v[from + i]);
    return r;
}
VecCplx32 C32(const std::vector<double>& v, size_t from, size_t n) {
    VecCplx32 r(static_cast<int>(n));
    for (size_t i = 0; i < n; ++i)
        r[static_cast<int>(i)] = {static_cast<float>(v[from + 2 * i]),
                                  static_cast<float>(v[from + 2 * i + 1])};
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
std::vector<double> Vals(const VecCplx64& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i) {
        r.push_back(v[i].re);
        r.push_back(v[i].im);
    }
    return r;
}

struct Case {
    int taps, n;
};
const Case kCases[] = {{1, 50},    {7, 7},      {8, 100},    {27, 1000},
                       {64, 3000}, {129, 2000}, {300, 5000}, {1000, 700}};

}  // namespace

TEST(FIRFilter, CentredSevenTapsOnAUnitImpulseReturnTheTaps) {
    VecReal32 taps = R32({0.1, -0.2, 0.3, 0.9, 0.35, -0.25, 0.15}, 0, 7), impulse(7), out;
    impulse.SetZero();
    impulse[3] = 1.0f;
    FIRFilter f;
    f.Apply(out, taps, impulse, true);
    EXPECT_TRUE(NearAbs(Vals(out), Vals(taps), 0.0));
}

TEST(FIRFilter, EveryFormMatchesNumpyConvolveCentredAndNot) {
    // One python run for all cases: taps and data of each case are drawn from two long series.
    const auto tapsRe = Rounded(Uniform(2000, 1)), tapsIm = Rounded(Uniform(2000, 2));
    const auto dataRe = Rounded(Uniform(6000, 3)), dataIm = Rounded(Uniform(6000, 4));
    std::vector<double> shape;
    for (const Case& c : kCases) {
        shape.push_back(c.taps);
        shape.push_back(c.n);
    }
    const auto want = PyEval(R"(
res = []
for t, n in a4.reshape(-1, 2).astype(int):
    tr, ti, xr, xi = a0[:t], a1[:t], a2[:n], a3[:n]
    res += [np.convolve(tr, xr), np.convolve(tr, xr + 1j * xi).view(np.float64),
            np.convolve(tr + 1j * ti, xr + 1j * xi).view(np.float64), np.convolve(tr + 1j * ti, xr).view(np.float64)]
out = np.concatenate(res)
)",
                             {tapsRe, tapsIm, dataRe, dataIm, shape});
    size_t at = 0;
    FIRFilter f;
    for (const Case& c : kCases) {
        const size_t len = c.taps + c.n - 1;
        const std::vector<double> realReal(want.begin() + at, want.begin() + at + len);
        at += len;
        const std::vector<double> realCplx(want.begin() + at, want.begin() + at + 2 * len);
        at += 2 * len;
        const std::vector<double> cplxCplx(want.begin() + at, want.begin() + at + 2 * len);
        at += 2 * len;
        const std::vector<double> cplxReal(want.begin() + at, want.begin() + at + 2 * len);
        at += 2 * len;
        ASSERT_LE(at, want.size());

        VecReal32 tr = R32(tapsRe, 0, c.taps), xr = R32(dataRe, 0, c.n), out;
        VecCplx32 tc(c.taps), xc(c.n), cout;
        for (int i = 0; i < c.taps; ++i)
            tc[i] = {static_cast<float>(tapsRe[i]), static_cast<float>(tapsIm[i])};
        for (int i = 0; i < c.n; ++i)
            xc[i] = {static_cast<float>(dataRe[i]), static_cast<float>(dataIm[i])};
        for (bool center : {false, true}) {
            const size_t from = center ? c.taps / 2 : 0;
            auto slice = [&](const std::vector<double>& v, int k) {
                return std::vector<double>(v.begin() + k * from, v.begin() + k * (from + c.n));
            };
            const double tol = 1e-6;
            f.Apply(out, tr, xr, center);
            ASSERT_EQ(out.GetSize(), c.n);
            EXPECT_TRUE(NearL2(Vals(out), slice(realReal, 1), tol)) << c.taps << " x " << c.n;
            f.Apply(cout, tr, xc, center);
            EXPECT_TRUE(NearL2(Vals(cout), slice(realCplx, 2), tol)) << c.taps << " x " << c.n;
            f.Apply(cout, tc, xc, center);
            EXPECT_TRUE(NearL2(Vals(cout), slice(cplxCplx, 2), tol)) << c.taps << " x " << c.n;
            f.Apply(cout, tc, xr, center);
            EXPECT_TRUE(NearL2(Vals(cout), slice(cplxReal, 2), tol)) << c.taps << " x " << c.n;
            // The double form against the same numbers.
            VecReal64 t64(c.taps);
            VecCplx64 x64(c.n), out64;
            for (int i = 0; i < c.taps; ++i)
                t64[i] = tapsRe[i];
            for (int i = 0; i < c.n; ++i)
                x64[i] = {dataRe[i], dataIm[i]};
            f.Apply(out64, t64, x64, center);
            EXPECT_TRUE(NearL2(Vals(out64), slice(realCplx, 2), 1e-12)) << c.taps << " x " << c.n;
        }
    }
}

TEST(FIRFilter, ResultIsAViewOnTheOutputsOwnStorage) {
    VecReal32 taps = R32({1, 2, 3, 4, 5}, 0, 5), in = R32({1, 0, 0, 0, 0, 0}, 0, 6), out;
    FIRFilter f;
    f.Apply(out, taps, in, true);
    const float* start = out.Data() - 2;  // taps / 2 = 2 points in
    EXPECT_EQ(out.GetSize(), 6);
    EXPECT_EQ(out[0], 3.0f);
    // The next Resize returns to the start of the storage, which holds the whole convolution.
    out.Resize(10);
    EXPECT_EQ(out.Data(), start);
    EXPECT_TRUE(NearAbs(Vals(out), {1, 2, 3, 4, 5, 0, 0, 0, 0, 0}, 0.0));
    f.Apply(out, taps, in, false);
    EXPECT_EQ(out.Data(), start);
    EXPECT_TRUE(NearAbs(Vals(out), {1, 2, 3, 4, 5, 0}, 0.0));
}

TEST(FIRFilter, WorksInPlace) {
    const auto x = Rounded(Uniform(300, 5)), h = Rounded(Uniform(40, 6));
    FIRFilter f;
    for (bool center : {false, true}) {
        VecReal32 taps = R32(h, 0, 40), in = R32(x, 0, 300), want;
        f.Apply(want, taps, in, center);
        f.Apply(in, taps, in, center);
        EXPECT_TRUE(NearAbs(Vals(in), Vals(want), 0.0));
        VecReal32 taps2 = taps, data = R32(x, 0, 300);
        f.Apply(taps2, taps2, data, center);  // the output may be the taps, too
        EXPECT_TRUE(NearAbs(Vals(taps2), Vals(want), 0.0));

        VecCplx32 cin = C32(x, 0, 150), cwant;
        f.Apply(cwant, taps, cin, center);
        f.Apply(cin, taps, cin, center);
        EXPECT_TRUE(NearAbs(Vals(cin), Vals(cwant), 0.0));
        VecCplx32 ctaps = C32(h, 0, 20), cin2 = C32(x, 0, 150);
        f.Apply(cwant, ctaps, cin2, center);
        f.Apply(cin2, ctaps, cin2, center);
        EXPECT_TRUE(NearAbs(Vals(cin2), Vals(cwant), 0.0));
    }
}

TEST(FIRFilter, EmptyTapsOrEmptyInputGiveAnEmptyOutput) {
    FIRFilter f;
    VecReal32 none, some = R32({1, 2, 3}, 0, 3), out(4);
    f.Apply(out, none, some, true);
    EXPECT_EQ(out.GetSize(), 0);
    out.Resize(4);
    f.Apply(out, some, none, false);
    EXPECT_EQ(out.GetSize(), 0);
    VecCplx32 cnone, csome(3), cout(4);
    csome.SetZero();
    f.Apply(cout, cnone, csome, true);
    EXPECT_EQ(cout.GetSize(), 0);
    cout.Resize(4);
    f.Apply(cout, cnone, some, true);
    EXPECT_EQ(cout.GetSize(), 0);
    cout.Resize(4);
    f.Apply(cout, some, cnone, true);
    EXPECT_EQ(cout.GetSize(), 0);
    VecReal64 t64;
    VecCplx64 x64(3), o64(2);
    f.Apply(o64, t64, x64, false);
    EXPECT_EQ(o64.GetSize(), 0);
}

TEST(FIRFilter, ConvolutionLongerThanAnIntIsInvalidInput) {
    // A window claiming INT_MAX samples (never read): taps + n - 1 does not fit an int.
    VecReal32 taps = R32({1, 2}, 0, 2), in(4), out;
    in.SetZero();
    in.Truncate(0, INT_MAX);
    FIRFilter f;
    try {
        f.Apply(out, taps, in, true);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    }
    VecCplx32 cin(4), cout;
    cin.Truncate(0, INT_MAX);
    EXPECT_THROW(f.Apply(cout, taps, cin, false), VELAException);
}

TEST(FIRFilter, SteadyCallsOfOneShapeAllocateNothing) {
    const auto x = Rounded(Uniform(2000, 7)), h = Rounded(Uniform(300, 8));
    FIRFilter f;
    VecReal32 taps = R32(h, 0, 31), in = R32(x, 0, 2000), out;
    VecCplx32 cin = C32(x, 0, 1000), cout;
    f.Apply(out, taps, in, true);
    f.Apply(cout, taps, cin, true);
    const long long before = kern::AllocationCount();
    for (int k = 0; k < 3; ++k) {
        f.Apply(out, taps, in, k % 2 == 0);
        f.Apply(cout, taps, cin, k % 2 == 0);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
}
