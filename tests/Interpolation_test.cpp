// Interpolation (piecewise linear), the shared scalar forms, CheckAscendingOrder, and the knot search
// behind the interpolators.
#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/Interpolation.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "internal/KnotSearch.h"
#include "support/InterpData.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

// The stated rule, written out plainly: extrapolate along the end segments, otherwise the segment of
// the largest k with x[k] <= q found by scanning down from the top.
std::vector<double> LinearRule(const std::vector<double>& x, const std::vector<double>& y,
                               const std::vector<double>& q) {
    const size_t n = x.size();
    std::vector<double> out;
    for (double v : q) {
        if (v <= x[0]) {
            out.push_back((v - x[0]) * ((y[1] - y[0]) / (x[1] - x[0])) + y[0]);
        } else if (v >= x[n - 1]) {
            out.push_back((v - x[n - 1]) * ((y[n - 1] - y[n - 2]) / (x[n - 1] - x[n - 2])) + y[n - 1]);
        } else {
            size_t k = n - 2;
            while (k > 0 && !(x[k] <= v))
                --k;
            out.push_back((v - x[k]) * ((y[k + 1] - y[k]) / (x[k + 1] - x[k])) + y[k]);
        }
    }
    return out;
}

}  // namespace

TEST(Interpolation, CommonCurveFigures) {
    CommonCurve c;
    Interpolation linear;
    VecReal64 r;
    ASSERT_EQ(linear.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(c.q)), VELAErrorNone);
    ASSERT_EQ(r.GetSize(), 143);
    EXPECT_NEAR(r[0], -0.05, 1e-8);
    EXPECT_NEAR(r[1], 0.0, 1e-8);
    EXPECT_NEAR(r[50], 0.125, 1e-8);
    EXPECT_NEAR(r[142], -1.0, 1e-8);
}

TEST(Interpolation, CommonCurveFiguresInFloat) {
    CommonCurve c;
    Interpolation linear;
    VecReal32 r;
    ASSERT_EQ(linear.Interpolate(r, MakeReal32(c.x), MakeReal32(c.y), MakeReal32(c.q)), VELAErrorNone);
    ASSERT_EQ(r.GetSize(), 143);
    // The queries themselves are rounded to float (15.1 becomes 15.1000004), and the end slopes are
    // up to 10: a few millionths are the float form's share.
    EXPECT_NEAR(r[0], -0.05, 1e-5);
    EXPECT_NEAR(r[1], 0.0, 1e-5);
    EXPECT_NEAR(r[50], 0.125, 1e-5);
    EXPECT_NEAR(r[142], -1.0, 1e-5);
}

TEST(Interpolation, MatchesScipyInterp1dWithExtrapolation) {
    RandomCurve c(300, 11);
    const std::vector<double> q = c.Queries(2000, 12);
    const std::vector<double> want = PyEval(
        "from scipy.interpolate import interp1d\n"
        "out = interp1d(a0, a1, fill_value='extrapolate', assume_sorted=True)(a2)",
        {c.x, c.y, q});
    Interpolation linear;
    VecReal64 r;
    ASSERT_EQ(linear.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), want, 1e-12));
}

TEST(Interpolation, FloatMatchesScipyOnTheSameFloats) {
    RandomCurve c(200, 21);
    const std::vector<double> x = RoundToFloat(c.x), y = RoundToFloat(c.y),
                              q = RoundToFloat(c.Queries(1500, 22));
    const std::vector<double> want = PyEval(
        "from scipy.interpolate import interp1d\n"
        "out = interp1d(a0, a1, fill_value='extrapolate', assume_sorted=True)(a2)",
        {x, y, q});
    Interpolation linear;
    VecReal32 r;
    ASSERT_EQ(linear.Interpolate(r, MakeReal32(x), MakeReal32(y), MakeReal32(q)), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), want, 2e-5));
}

// On ascending knots the segment is found by the bucket index; the values must be those of the rule,
// bit for bit, for sorted and unsorted queries, exact knots and points just beside them.
TEST(Interpolation, AscendingKnotsGiveExactlyTheValuesOfTheScanRule) {
    RandomCurve c(1000, 31);
    std::vector<double> q = c.Queries(5000, 32);
    for (double v : c.x) {
        q.push_back(v);
        q.push_back(std::nextafter(v, -INFINITY));
        q.push_back(std::nextafter(v, INFINITY));
    }
    Interpolation linear;
    VecReal64 r;
    ASSERT_EQ(linear.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    const std::vector<double> want = LinearRule(c.x, c.y, q);
    ASSERT_EQ(r.GetSize(), static_cast<int>(want.size()));
    for (size_t i = 0; i < want.size(); ++i)
        ASSERT_EQ(r[static_cast<int>(i)], want[i]) << "query " << q[i];
    std::sort(q.begin(), q.end());
    ASSERT_EQ(linear.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    const std::vector<double> sorted = LinearRule(c.x, c.y, q);
    for (size_t i = 0; i < sorted.size(); ++i)
        ASSERT_EQ(r[static_cast<int>(i)], sorted[i]) << "query " << q[i];
}

TEST(Interpolation, UnsortedKnotsFollowTheScanFromTheTop) {
    // Knots 0, 5, 3, 10. Scanning down, q = 4 and q = 6 stop at x[2] = 3; q = 1 only at x[0] = 0.
    const std::vector<double> x{0, 5, 3, 10}, y{0, 10, 6, 20};
    Interpolation linear;
    VecReal64 r;
    ASSERT_EQ(linear.Interpolate(r, MakeReal64(x), MakeReal64(y), MakeReal64({4, 6, 1, -1, 12})),
              VELAErrorNone);
    EXPECT_DOUBLE_EQ(r[0], 6 + 1 * 2.0);  // slope (20 - 6) / (10 - 3)
    EXPECT_DOUBLE_EQ(r[1], 6 + 3 * 2.0);
    EXPECT_DOUBLE_EQ(r[2], 0 + 1 * 2.0);   // slope (10 - 0) / 5
    EXPECT_DOUBLE_EQ(r[3], -1 * 2.0);      // first segment, extended
    EXPECT_DOUBLE_EQ(r[4], 20 + 2 * 2.0);  // last segment, extended
    // And on random unsorted knots, everywhere.
    const std::vector<double> ux = Uniform(50, 41, 0, 10), uy = Uniform(50, 42);
    const std::vector<double> q = Uniform(500, 43, -1, 11);
    ASSERT_EQ(linear.Interpolate(r, MakeReal64(ux), MakeReal64(uy), MakeReal64(q)), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), LinearRule(ux, uy, q), 0));
}

TEST(Interpolation, RepeatedKnotTakesTheUpperOfTheTwoValues) {
    // x[1] == x[2]: the largest k with x[k] <= 1 is 2, so the jump is taken at the knot.
    const std::vector<double> x{0, 1, 1, 2}, y{0, 1, 3, 4};
    Interpolation linear;
    VecReal64 r;
    ASSERT_EQ(linear.Interpolate(r, MakeReal64(x), MakeReal64(y), MakeReal64({0.5, 1.0, 1.5})),
              VELAErrorNone);
    EXPECT_DOUBLE_EQ(r[0], 0.5);
    EXPECT_DOUBLE_EQ(r[1], 3.0);
    EXPECT_DOUBLE_EQ(r[2], 3.5);
}

// Random knots with runs of repeated values (non-decreasing): away from the repeated knots themselves,
// where the rule takes the upper value and interp1d the lower, the two agree.
TEST(Interpolation, RepeatedKnotsMatchScipyAwayFromTheRepeats) {
    RandomCurve c(400, 51);
    const std::vector<double> pick = Uniform(c.x.size(), 52);
    // About one knot in seven repeats its neighbour; the end segments keep their width.
    for (size_t i = 2; i + 1 < c.x.size(); ++i)
        if (pick[i] < 0.15) c.x[i] = c.x[i - 1];
    ASSERT_NE(std::adjacent_find(c.x.begin(), c.x.end()), c.x.end());
    ASSERT_NE(c.x[1], c.x[0]);
    ASSERT_NE(c.x[c.x.size() - 1], c.x[c.x.size() - 2]);  // the end slopes are finite
    std::vector<double> q;
    for (double v : c.Queries(3000, 53))
        if (!std::binary_search(c.x.begin(), c.x.end(), v)) q.push_back(v);
    const std::vector<double> want = PyEval(
        "from scipy.interpolate import interp1d\n"
        "out = interp1d(a0, a1, fill_value='extrapolate', assume_sorted=True)(a2)",
        {c.x, c.y, q});
    Interpolation linear;
    VecReal64 r;
    ASSERT_EQ(linear.Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(r), want, 1e-12));
    EXPECT_TRUE(NearAbs(ToDoubles(r), LinearRule(c.x, c.y, q), 0));
}

TEST(Interpolation, ScalarFormsEqualTheVectorForms) {
    RandomCurve c(40, 51);
    const std::vector<double> q = c.Queries(30, 52);
    Interpolation linear;
    VecReal64 r64;
    VecReal32 r32;
    const VecReal64 x64 = MakeReal64(c.x), y64 = MakeReal64(c.y);
    const VecReal32 x32 = MakeReal32(c.x), y32 = MakeReal32(c.y);
    ASSERT_EQ(linear.Interpolate(r64, x64, y64, MakeReal64(q)), VELAErrorNone);
    ASSERT_EQ(linear.Interpolate(r32, x32, y32, MakeReal32(q)), VELAErrorNone);
    for (size_t i = 0; i < q.size(); ++i) {
        double d = 0;
        float f = 0;
        EXPECT_EQ(linear.Interpolate(d, x64, y64, q[i]), VELAErrorNone);
        EXPECT_EQ(linear.Interpolate(f, x32, y32, static_cast<float>(q[i])), VELAErrorNone);
        EXPECT_EQ(d, r64[static_cast<int>(i)]);
        EXPECT_EQ(f, r32[static_cast<int>(i)]);
    }
}

TEST(Interpolation, WorksInPlaceOnTheQueries) {
    RandomCurve c(100, 61);
    const std::vector<double> q = c.Queries(400, 62);
    Interpolation linear;
    VecReal64 expected, inPlace = MakeReal64(q);
    ASSERT_EQ(linear.Interpolate(expected, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(q)), VELAErrorNone);
    ASSERT_EQ(linear.Interpolate(inPlace, MakeReal64(c.x), MakeReal64(c.y), inPlace), VELAErrorNone);
    EXPECT_TRUE(NearAbs(ToDoubles(inPlace), ToDoubles(expected), 0));
}

TEST(Interpolation, RefusesAnOutputThatIsACurveVector) {
    VecReal64 x = MakeReal64({0, 1, 2}), y = MakeReal64({0, 1, 4});
    Interpolation linear;
    EXPECT_EQ(linear.Interpolate(x, x, y, MakeReal64({0.5})), VELAErrorInvalidInputParameter);
    EXPECT_EQ(linear.Interpolate(y, x, y, MakeReal64({0.5})), VELAErrorInvalidInputParameter);
    EXPECT_EQ(x.GetSize(), 3);
    EXPECT_EQ(y[2], 4.0);
}

TEST(Interpolation, NeedsTwoKnotsAndAValuePerKnot) {
    Interpolation linear;
    VecReal64 r;
    EXPECT_EQ(linear.Interpolate(r, MakeReal64({1}), MakeReal64({2}), MakeReal64({0.5})),
              VELAErrorInvalidInputParameter);
    EXPECT_EQ(linear.Interpolate(r, MakeReal64({}), MakeReal64({}), MakeReal64({0.5})),
              VELAErrorInvalidInputParameter);
    EXPECT_EQ(linear.Interpolate(r, MakeReal64({0, 1, 2}), MakeReal64({0, 1}), MakeReal64({0.5})),
              VELAErrorSizeMismatch);
    VecReal32 r32;
    EXPECT_EQ(linear.Interpolate(r32, MakeReal32({0, 1}), MakeReal32({0, 1, 2}), MakeReal32({0.5})),
              VELAErrorSizeMismatch);
    // The scalar form passes the code on and leaves its result alone.
    double d = 7;
    EXPECT_EQ(linear.Interpolate(d, MakeReal64({1}), MakeReal64({2}), 0.5), VELAErrorInvalidInputParameter);
    EXPECT_EQ(d, 7);
}

TEST(Interpolation, NaNQueryGivesNaNAndNaNKnotsDoNotCrash) {
    Interpolation linear;
    VecReal64 r;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    ASSERT_EQ(linear.Interpolate(r, MakeReal64({0, 1, 2}), MakeReal64({0, 1, 4}), MakeReal64({nan, 1.5})),
              VELAErrorNone);
    EXPECT_TRUE(std::isnan(r[0]));
    EXPECT_DOUBLE_EQ(r[1], 2.5);
    ASSERT_EQ(
        linear.Interpolate(r, MakeReal64({0, nan, 2, 3}), MakeReal64({0, 1, 4, 9}), MakeReal64({2.5, 0.5})),
        VELAErrorNone);
    EXPECT_DOUBLE_EQ(r[0], 6.5);
}

TEST(Interpolation, EmptyQueriesGiveAnEmptyResult) {
    Interpolation linear;
    VecReal64 r = MakeReal64({1, 2, 3});
    EXPECT_EQ(linear.Interpolate(r, MakeReal64({0, 1}), MakeReal64({0, 1}), MakeReal64({})), VELAErrorNone);
    EXPECT_EQ(r.GetSize(), 0);
}

TEST(Interpolation, CopiesAreIndependent) {
    Interpolation a;
    VecReal64 r;
    ASSERT_EQ(a.Interpolate(r, MakeReal64({0, 1, 2}), MakeReal64({0, 1, 4}), MakeReal64({1.5})),
              VELAErrorNone);
    Interpolation b(a), c;
    c = a;
    ASSERT_EQ(b.Interpolate(r, MakeReal64({0, 2}), MakeReal64({0, 2}), MakeReal64({1.0})), VELAErrorNone);
    EXPECT_DOUBLE_EQ(r[0], 1.0);
    ASSERT_EQ(c.Interpolate(r, MakeReal64({0, 1, 2}), MakeReal64({0, 1, 4}), MakeReal64({0.5})),
              VELAErrorNone);
    EXPECT_DOUBLE_EQ(r[0], 0.5);
}

TEST(Interpolation, CheckAscendingOrder) {
    EXPECT_TRUE(Interpolation::CheckAscendingOrder(VecReal64()));
    EXPECT_TRUE(Interpolation::CheckAscendingOrder(MakeReal64({3})));
    EXPECT_TRUE(Interpolation::CheckAscendingOrder(MakeReal64({-1, 0, 2.5})));
    EXPECT_FALSE(Interpolation::CheckAscendingOrder(MakeReal64({0, 1, 1, 2})));
    EXPECT_FALSE(Interpolation::CheckAscendingOrder(MakeReal64({0, 2, 1})));
    EXPECT_TRUE(Interpolation::CheckAscendingOrder(MakeReal32({0, NAN, -5})));  // a NaN passes
    EXPECT_FALSE(Interpolation::CheckAscendingOrder(MakeReal32({0, 1, 1})));
    EXPECT_TRUE(Interpolation::CheckAscendingOrder(MakeReal32({0, 1e-7f, 1})));
}

TEST(Interpolation, SelfTestPasses) {
    ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(Interpolation::UnitTest(recorder));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 1);
    EXPECT_EQ(recorder.GetFailedTests(), 0);
    EXPECT_NE(out.find("SUCCESS  :Interpolation :Interpolate"), std::string::npos) << out;
}

// ---------------------------------------------------------------- the knot search

namespace {
int UpperIndex(const std::vector<double>& v, double q) {
    return static_cast<int>(std::upper_bound(v.begin(), v.end(), q) - v.begin()) - 1;
}
}  // namespace

TEST(KnotLocator, FindsTheLargestKnotAtOrBelowOnAnyNonDecreasingKnots) {
    // Even, random, clustered (exponential) and repeated knots, with and without the bucket table.
    std::vector<std::vector<double>> sets;
    std::vector<double> even, clustered, repeated;
    for (int i = 0; i < 500; ++i) {
        even.push_back(i * 0.25);
        clustered.push_back(std::exp(i * 0.05));
        repeated.push_back(std::floor(i / 3.0));
    }
    RandomCurve random(700, 71);
    sets = {even, clustered, repeated, random.x, {1.0, 2.0}};
    for (const std::vector<double>& v : sets) {
        const int n = static_cast<int>(v.size());
        ASSERT_TRUE(internal::NonDecreasingNoNaN(v.data(), n));
        std::vector<double> q = Uniform(3000, 72, v.front() - 1, v.back() + 1);
        q.insert(q.end(), v.begin(), v.end());
        for (double e : v) {
            q.push_back(std::nextafter(e, -INFINITY));
            q.push_back(std::nextafter(e, INFINITY));
        }
        for (bool table : {false, true}) {
            internal::KnotLocator<double> locator(v.data(), n);
            std::vector<int32_t> storage;
            if (table) locator.Build(storage);
            for (double x : q)
                ASSERT_EQ(locator.Find(x), UpperIndex(v, x)) << "n " << n << " q " << x << " table " << table;
            EXPECT_EQ(locator.Find(NAN), -1);
        }
    }
}

TEST(KnotLocator, FloatKnots) {
    std::vector<float> v;
    for (int i = 0; i < 300; ++i)
        v.push_back(static_cast<float>(i * 0.1 - 7));
    internal::KnotLocator<float> locator(v.data(), 300);
    std::vector<int32_t> storage;
    locator.Build(storage);
    for (double d : Uniform(4000, 81, -8, 24)) {
        const float q = static_cast<float>(d);
        const int want = static_cast<int>(std::upper_bound(v.begin(), v.end(), q) - v.begin()) - 1;
        ASSERT_EQ(locator.Find(q), want) << q;
    }
}

TEST(KnotLocator, OrderChecks) {
    const double a[] = {0, 1, 1, 2}, b[] = {0, 1, 2, 3}, c[] = {0, NAN, 2}, d[] = {1, 0};
    EXPECT_TRUE(internal::NonDecreasingNoNaN(a, 4));
    EXPECT_FALSE(internal::StrictlyAscendingNoNaN(a, 4));
    EXPECT_TRUE(internal::StrictlyAscendingNoNaN(b, 4));
    EXPECT_FALSE(internal::NonDecreasingNoNaN(c, 3));
    EXPECT_FALSE(internal::StrictlyAscendingNoNaN(c, 3));
    EXPECT_FALSE(internal::NonDecreasingNoNaN(d, 2));
}

namespace {

// The plain definition: the largest k with v[k] <= q by a scan, -1 when there is none.
template <class T>
int PlainSearch(const std::vector<T>& v, T q) {
    int k = -1;
    for (int i = 0; i < static_cast<int>(v.size()); ++i)
        if (v[static_cast<size_t>(i)] <= q) k = i;
    return k;
}

// Queries that try a search: random ones over the knots and beyond, ascending and descending runs, every
// knot and both its neighbours, the infinities and NaN.
template <class T>
std::vector<T> SearchQueries(const std::vector<T>& v, unsigned seed) {
    const double lo = static_cast<double>(v.front()), hi = static_cast<double>(v.back());
    const double pad = hi > lo ? 0.2 * (hi - lo) : 1.0;
    std::vector<T> q;
    for (double d : Uniform(3000, seed, lo - pad, hi + pad))
        q.push_back(static_cast<T>(d));
    std::vector<T> run(q.begin(), q.begin() + 500);
    std::sort(run.begin(), run.end());
    q.insert(q.end(), run.begin(), run.end());
    q.insert(q.end(), run.rbegin(), run.rend());
    for (T e : v) {
        q.push_back(e);
        q.push_back(std::nextafter(e, -std::numeric_limits<T>::infinity()));
        q.push_back(std::nextafter(e, std::numeric_limits<T>::infinity()));
    }
    q.push_back(std::numeric_limits<T>::infinity());
    q.push_back(-std::numeric_limits<T>::infinity());
    q.push_back(std::numeric_limits<T>::quiet_NaN());
    q.push_back(static_cast<T>(lo - 1e6));
    q.push_back(static_cast<T>(hi + 1e6));
    return q;
}

template <class T>
void ExpectEveryFormEqualsThePlainSearch(const std::vector<T>& v, unsigned seed, int& widestProbes,
                                         std::vector<int>& probesSeen) {
    const int n = static_cast<int>(v.size());
    const std::vector<T> q = SearchQueries(v, seed);
    internal::KnotLocator<T> plain(v.data(), n);
    internal::KnotLocator<T> indexed(v.data(), n);
    std::vector<int32_t> storage;
    indexed.Build(storage);
    std::vector<int32_t> many(q.size(), -7);
    if (indexed.Indexed()) {
        indexed.FindMany(q.data(), static_cast<int>(q.size()), many.data());
        probesSeen.push_back(indexed.Probes());
        widestProbes = std::max(widestProbes, indexed.Probes());
    }
    // A locator that builds its table on its own after some searches, with the previous answer as a hint.
    std::vector<int32_t> lazyStorage;
    internal::KnotLocator<T> lazy(v.data(), n, &lazyStorage);
    int hint = -1;
    for (size_t i = 0; i < q.size(); ++i) {
        const int want = PlainSearch(v, q[i]);
        ASSERT_EQ(plain.Find(q[i]), want) << "n " << n << " q " << q[i];
        ASSERT_EQ(indexed.Find(q[i]), want) << "n " << n << " q " << q[i];
        if (indexed.Indexed()) {
            ASSERT_EQ(many[i], want) << "n " << n << " q " << q[i];
        }
        hint = lazy.FindAfter(hint, q[i]);
        ASSERT_EQ(hint, want) << "n " << n << " q " << q[i];
    }
}

}  // namespace

// The indexed search (one search at a time or many together) against a plain scan on knots of every
// spread: even, random gaps, clustered, repeated (short runs and one long run of equal knots), two knots
// and one knot, in double and in float.
TEST(KnotLocator, IndexedSearchesEqualAPlainScan) {
    std::vector<std::vector<double>> sets;
    std::vector<double> even, clustered, repeated, longRun, twoClusters;
    for (int i = 0; i < 400; ++i) {
        even.push_back(i * 0.25 - 30);
        clustered.push_back(std::exp(i * 0.05));
        repeated.push_back(std::floor(i / 3.0));
        longRun.push_back(i < 100 ? i : i < 300 ? 100.0 : i - 200.0);
        twoClusters.push_back(i < 200 ? i * 1e-6 : 1000 + i * 1e-6);
    }
    sets = {even,       clustered,   repeated, longRun,   twoClusters, RandomCurve(900, 91).x,
            {1.0, 2.0}, {-4.0, 4.0}, {3.0},    {2.0, 2.0}};
    int widest = 0;
    std::vector<int> probes;
    unsigned seed = 92;
    for (const std::vector<double>& v : sets) {
        ASSERT_TRUE(internal::NonDecreasingNoNaN(v.data(), static_cast<int>(v.size())));
        ExpectEveryFormEqualsThePlainSearch(v, seed++, widest, probes);
        std::vector<float> f(v.begin(), v.end());
        ExpectEveryFormEqualsThePlainSearch(f, seed++, widest, probes);
    }
    // The sets reach the counted windows and the bisected one.
    EXPECT_NE(std::find(probes.begin(), probes.end(), 2), probes.end());
    EXPECT_NE(std::find(probes.begin(), probes.end(), 4), probes.end());
    EXPECT_GT(widest, 8);
}

// Random knots of many sizes, each with its own queries: the table's window must cover every bucket.
TEST(KnotLocator, RandomKnotSetsOfManySizes) {
    int widest = 0;
    std::vector<int> probes;
    for (int n : {2, 3, 4, 5, 8, 9, 17, 33, 100, 257, 1000}) {
        for (unsigned seed = 0; seed < 4; ++seed) {
            std::vector<double> v = Uniform(static_cast<size_t>(n), 500 + 10 * n + seed, -5, 5);
            if (seed == 3)  // coarse values: many repeats
                for (double& e : v)
                    e = std::round(e);
            std::sort(v.begin(), v.end());
            ExpectEveryFormEqualsThePlainSearch(v, 700 + n + seed, widest, probes);
        }
    }
}

namespace {

// Each query of `q` on its own (a one-element call searches by bisection and evaluates that query
// alone), in the vector type Vec.
template <class Vec, class T>
std::vector<double> OneAtATime(Interpolation& method, const Vec& x, const Vec& y, const std::vector<T>& q) {
    std::vector<double> out;
    Vec one, r;
    for (T v : q) {
        one.Resize(1);
        one[0] = v;
        EXPECT_EQ(method.Interpolate(r, x, y, one), VELAErrorNone);
        out.push_back(r.GetSize() == 1 ? static_cast<double>(r[0]) : -999.0);
    }
    return out;
}

template <class Vec, class T>
void ExpectManyEqualOneAtATime(Interpolation& method, const std::vector<double>& xd,
                               const std::vector<double>& yd, const std::vector<T>& q, const char* what) {
    Vec x(static_cast<int>(xd.size())), y(static_cast<int>(yd.size())), qv(static_cast<int>(q.size()));
    for (size_t i = 0; i < xd.size(); ++i) {
        x[static_cast<int>(i)] = static_cast<T>(xd[i]);
        y[static_cast<int>(i)] = static_cast<T>(yd[i]);
    }
    for (size_t i = 0; i < q.size(); ++i)
        qv[static_cast<int>(i)] = q[i];
    const std::vector<double> want = OneAtATime(method, x, y, q);
    Vec r;
    ASSERT_EQ(method.Interpolate(r, x, y, qv), VELAErrorNone);
    ASSERT_EQ(r.GetSize(), static_cast<int>(q.size()));
    for (size_t i = 0; i < q.size(); ++i) {
        const double got = static_cast<double>(r[static_cast<int>(i)]);
        if (std::isnan(want[i])) {
            ASSERT_TRUE(std::isnan(got)) << what << " query " << q[i];
        } else {
            ASSERT_EQ(got, want[i]) << what << " query " << q[i];
        }
    }
    // In place: the same values.
    ASSERT_EQ(method.Interpolate(qv, x, y, qv), VELAErrorNone);
    for (size_t i = 0; i < q.size(); ++i) {
        const double got = static_cast<double>(qv[static_cast<int>(i)]);
        if (!std::isnan(want[i])) {
            ASSERT_EQ(got, want[i]) << what << " in place, query " << q[i];
        }
    }
}

}  // namespace

// Many queries in any order (random, then ascending and descending runs, knots, the infinities, NaN)
// are located in blocks through the bucket index once they stop forming runs; each must have the value
// it has when asked alone, bit for bit, for every method in both widths.
TEST(Interpolation, QueriesInAnyOrderHaveTheirOwnValues) {
    RandomCurve c(700, 95);
    std::vector<double> x = RoundToFloat(c.x), y = RoundToFloat(c.y);
    std::vector<double> q = SearchQueries(x, 96);
    std::vector<float> qf(q.begin(), q.end());
    Interpolation linear;
    Spline spline;
    CubicHermiteInterpolation pchip;
    NearestInterpolation nearest;
    Interpolation* methods[] = {&linear, &spline, &pchip, &nearest};
    const char* names[] = {"linear", "spline", "pchip", "nearest"};
    for (int m = 0; m < 4; ++m) {
        ExpectManyEqualOneAtATime<VecReal64>(*methods[m], x, y, q, names[m]);
        ExpectManyEqualOneAtATime<VecReal32>(*methods[m], x, y, qf, names[m]);
    }
}
