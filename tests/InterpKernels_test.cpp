// The interpolation kernels at every level, bit for bit against the scalar reference, for many run
// lengths, unaligned starts and in place; and the interpolators' results with every level forced.
#include <corvane/math/Interpolation.h>
#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "internal/KnotSearch.h"
#include "kernel/Dispatch.h"
#include "kernel/InterpKernels.h"
#include "kernel/InterpScalar.h"
#include "support/InterpData.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

std::vector<kern::Variant> SupportedLevels() {
    std::vector<kern::Variant> v;
    for (kern::Variant l :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512})
        if (kern::VariantSupported(l)) v.push_back(l);
    return v;
}

template <class T>
bool SameBits(const std::vector<T>& a, const std::vector<T>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// Restores the level chosen at load time.
struct LevelGuard {
    kern::Variant saved = kern::ActiveVariant();
    ~LevelGuard() { kern::SetVariant(saved); }
};

}  // namespace

namespace {

// The register width of a level's kernels, in elements of the given size (0 for the reference).
int Width(kern::Variant v, size_t element) {
    switch (v) {
        case kern::Variant::Sse2:
            return static_cast<int>(16 / element);
        case kern::Variant::Avx2:
            return static_cast<int>(32 / element);
        case kern::Variant::Avx512:
            return static_cast<int>(64 / element);
        default:
            return 0;
    }
}

// Checks one kernel call: it evaluated the whole run (the first `run` queries lie in range), limited by
// n, or nothing at the reference level (w == 0); those m equal the scalar form bit for bit and nothing
// after them was written.
template <class T, class Scalar>
void CheckRun(const char* what, kern::Variant level, int w, int m, int n, int run, const T* q,
              const std::vector<T>& out, Scalar scalar) {
    const int limit = std::min(n, run);
    SCOPED_TRACE(std::string(what) + " " + kern::VariantName(level) + " n " + std::to_string(n) + " run " +
                 std::to_string(run));
    EXPECT_EQ(m, w == 0 ? 0 : limit);
    for (int i = 0; i < m; ++i) {
        const T want = scalar(q[i]);
        ASSERT_EQ(std::memcmp(&out[static_cast<size_t>(i)], &want, sizeof(T)), 0) << i;
    }
    for (size_t i = static_cast<size_t>(std::max(m, 0)); i < out.size(); ++i)
        ASSERT_EQ(out[i], T(7)) << i;
}

}  // namespace

TEST(InterpKernels, EveryLevelEvaluatesTheRunLikeTheScalarForms) {
    // Sorted queries in [0, 1); the run is cut by a value outside at position `run` (or a NaN).
    const std::vector<double> u = Uniform(400, 401, 0, 1);
    const double segD[6] = {-0.25, 1.75, -0.5, 2.0, 3.5, -7.25};
    const float segF[6] = {-0.25f, 1.75f, -0.5f, 2.0f, 3.5f, -7.25f};
    const double coef[5] = {0.3, -1.2, 0.7, 2.5, -0.9};
    for (kern::Variant level : SupportedLevels()) {
        const kern::InterpKernelTable& k = *kern::InterpTableFor(level);
        for (int n : {0, 1, 2, 3, 7, 8, 9, 16, 17, 33, 100, 257}) {
            for (int run : {0, 1, 5, 8, 15, 16, 40, 300}) {
                for (int offset : {0, 1}) {
                    for (bool nanCut : {false, true}) {
                        std::vector<double> qd(u.begin(), u.end());
                        if (run < static_cast<int>(qd.size()) - offset)
                            qd[static_cast<size_t>(run + offset)] = nanCut ? NAN : 1.5;
                        const std::vector<float> qf(qd.begin(), qd.end());
                        const double* q = qd.data() + offset;
                        const float* q32 = qf.data() + offset;
                        std::vector<double> o(static_cast<size_t>(n), 7.0);
                        std::vector<float> of(static_cast<size_t>(n), 7.0f);
                        int m = k.linear_f64(q, o.data(), n, 0.0, 1.0, 0.4, -1.3, 2.2);
                        CheckRun("linear_f64", level, Width(level, 8), m, n, run, q, o,
                                 [](double v) { return kern::scalar::Linear(v, 0.4, -1.3, 2.2); });
                        m = k.linear_f32(q32, of.data(), n, 0.0f, 1.0f, 0.4f, -1.3f, 2.2f);
                        CheckRun("linear_f32", level, Width(level, 4), m, n, run, q32, of,
                                 [](float v) { return kern::scalar::Linear(v, 0.4f, -1.3f, 2.2f); });
                        o.assign(o.size(), 7.0);
                        of.assign(of.size(), 7.0f);
                        m = k.spline_f64(q, o.data(), n, 0.0, 1.0, segD);
                        CheckRun("spline_f64", level, Width(level, 8), m, n, run, q, o,
                                 [&](double v) { return kern::scalar::Spline(v, segD); });
                        m = k.spline_f32(q32, of.data(), n, 0.0f, 1.0f, segF);
                        CheckRun("spline_f32", level, Width(level, 8), m, n, run, q32, of,
                                 [&](float v) { return kern::scalar::Spline(v, segF); });
                        o.assign(o.size(), 7.0);
                        of.assign(of.size(), 7.0f);
                        m = k.hermite_f64(q, o.data(), n, 0.0, 1.0, coef);
                        CheckRun("hermite_f64", level, Width(level, 8), m, n, run, q, o,
                                 [&](double v) { return kern::scalar::Hermite(v, coef); });
                        m = k.hermite_f32(q32, of.data(), n, 0.0f, 1.0f, coef);
                        CheckRun("hermite_f32", level, Width(level, 8), m, n, run, q32, of,
                                 [&](float v) { return kern::scalar::Hermite(v, coef); });
                    }
                }
            }
        }
        // In place.
        std::vector<double> inPlace(u.begin(), u.begin() + 64);
        const int m = k.spline_f64(inPlace.data(), inPlace.data(), 64, 0.0, 1.0, segD);
        for (int i = 0; i < m; ++i)
            EXPECT_EQ(inPlace[static_cast<size_t>(i)], kern::scalar::Spline(u[static_cast<size_t>(i)], segD));
        for (int i = m; i < 64; ++i)
            EXPECT_EQ(inPlace[static_cast<size_t>(i)], u[static_cast<size_t>(i)]);
    }
}

TEST(InterpKernels, ScalarFormsComputeTheStatedFormulas) {
    EXPECT_EQ(kern::scalar::Linear(1.0, 0.5, 2.0, 1.0), 2.0);
    // Hermite: f1 + t (d1 + t (c2 + t c3)) with t = q - x1.
    const double c[5] = {1.0, 2.0, 3.0, 4.0, 5.0};
    EXPECT_EQ(kern::scalar::Hermite(1.0, c), 2.0);
    EXPECT_DOUBLE_EQ(kern::scalar::Hermite(2.5, c), 2.0 + 1.5 * (3.0 + 1.5 * (4.0 + 1.5 * 5.0)));
    // Spline with zero second derivatives is the chord; at the ends it is the end values exactly.
    const double seg[6] = {0.0, 2.0, 1.0, 5.0, 0.0, 0.0};
    EXPECT_DOUBLE_EQ(kern::scalar::Spline(1.0, seg), 3.0);
    const double curved[6] = {0.3, 1.7, -2.0, 5.0, 11.0, -4.0};
    EXPECT_EQ(kern::scalar::Spline(0.3, curved), -2.0);
    EXPECT_EQ(kern::scalar::Spline(1.7, curved), 5.0);
    const float curvedF[6] = {0.3f, 1.7f, -2.0f, 5.0f, 11.0f, -4.0f};
    EXPECT_EQ(kern::scalar::Spline(0.3f, curvedF), -2.0f);
    EXPECT_EQ(kern::scalar::Spline(1.7f, curvedF), 5.0f);
    // Halfway with y2 = 6 at both ends: a = b = 1/2, so the curve term is 2 (1/8 - 1/2) 6 h^2 / 6.
    const double mid[6] = {0.0, 2.0, 0.0, 0.0, 6.0, 6.0};
    EXPECT_DOUBLE_EQ(kern::scalar::Spline(1.0, mid), 2 * (0.125 - 0.5) * 6 * 4 / 6.0);
}

// The interpolators give the same bits at every level, for sorted queries (long runs through the
// kernels) and random ones (short runs, evaluated in place).
TEST(InterpKernels, InterpolatorsAgreeAtEveryLevel) {
    LevelGuard guard;
    RandomCurve c(400, 411);
    std::vector<double> random = c.Queries(20000, 412), sorted = random;
    std::sort(sorted.begin(), sorted.end());
    std::vector<std::vector<double>> first;
    bool haveFirst = false;
    for (kern::Variant level : SupportedLevels()) {
        ASSERT_TRUE(kern::SetVariant(level));
        std::vector<std::vector<double>> results;
        for (const std::vector<double>* q : {&random, &sorted}) {
            Interpolation linear;
            Spline spline;
            CubicHermiteInterpolation pchip;
            for (Interpolation* m :
                 {&linear, static_cast<Interpolation*>(&spline), static_cast<Interpolation*>(&pchip)}) {
                VecReal64 r;
                VecReal32 r32;
                ASSERT_EQ(m->Interpolate(r, MakeReal64(c.x), MakeReal64(c.y), MakeReal64(*q)), VELAErrorNone);
                ASSERT_EQ(m->Interpolate(r32, MakeReal32(c.x), MakeReal32(c.y), MakeReal32(*q)),
                          VELAErrorNone);
                results.push_back(ToDoubles(r));
                results.push_back(ToDoubles(r32));
            }
        }
        if (!haveFirst) {
            first = results;
            haveFirst = true;
            continue;
        }
        for (size_t i = 0; i < results.size(); ++i)
            EXPECT_TRUE(SameBits(results[i], first[i])) << kern::VariantName(level) << " result set " << i;
    }
}

// The spline's optimised levels divide through the reciprocal with a correction step where the operands
// allow it; the results must still be the divisions' bits. Random pieces over a wide range of scales
// (knots from 2^-320 to 2^320, zero, pieces straddling zero), inner and outer pieces, queries inside,
// on the knots, at -0, tiny, huge and infinite, and curve terms that vanish.
TEST(InterpKernels, SplineLevelsKeepTheDivisionsBitsAtEveryScale) {
    std::mt19937_64 gen(2024);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    auto scale = [&](int maxExp) {
        return std::ldexp(0.5 + unit(gen), static_cast<int>(unit(gen) * 2 * maxExp) - maxExp);
    };
    const int n = 67;
    for (kern::Variant level : SupportedLevels()) {
        const kern::InterpKernelTable& k = *kern::InterpTableFor(level);
        SCOPED_TRACE(kern::VariantName(level));
        for (int trial = 0; trial < 3000; ++trial) {
            const int maxExp = trial % 3 == 0 ? 330 : trial % 3 == 1 ? 40 : 4;
            double xl = scale(maxExp) * (unit(gen) < 0.3 ? -1 : 1);
            if (trial % 17 == 0) xl = 0.0;
            const double h = unit(gen) < 0.3 ? std::fabs(xl) * (0.01 + unit(gen)) + 1e-300 : scale(maxExp);
            const double xh = xl + h;
            if (!(xh > xl) || !std::isfinite(xh)) continue;
            const bool zeroCurve = trial % 11 == 0;
            const double segD[6] = {xl,
                                    xh,
                                    unit(gen) * 4 - 2,
                                    trial % 13 == 0 ? 0.0 : unit(gen) * 4 - 2,
                                    zeroCurve ? 0.0 : (unit(gen) - 0.5) * 100,
                                    zeroCurve ? -0.0 : (unit(gen) - 0.5) * 100};
            const float segF[6] = {static_cast<float>(segD[0]), static_cast<float>(segD[1]),
                                   static_cast<float>(segD[2]), static_cast<float>(segD[3]),
                                   static_cast<float>(segD[4]), static_cast<float>(segD[5])};
            const int where =
                trial % 3;  // inner piece, first piece (no lower end), last piece (no upper end)
            const double lower = where == 1 ? -INFINITY : xl, upper = where == 2 ? INFINITY : xh;
            std::vector<double> q(n);
            for (int i = 0; i < n; ++i) {
                const double u = unit(gen);
                double v = xl + h * u;
                if (i % 9 == 0) v = xl;
                if (i % 23 == 5) v = std::nextafter(xh, xl);
                if (where == 1 && i % 7 == 3) v = xl - scale(maxExp) * (i % 2 ? 1.0 : 1e10);
                if (where == 2 && i % 7 == 3) v = xh + scale(maxExp) * (i % 2 ? 1.0 : 1e10);
                if (where == 1 && i == 40) v = -INFINITY;
                if (xl == 0.0 && i % 5 == 1) v = i % 10 == 1 ? -0.0 : 1e-310 * (i % 3);
                q[static_cast<size_t>(i)] = v;
            }
            std::sort(q.begin(), q.end());
            const float lowerF = static_cast<float>(lower), upperF = static_cast<float>(upper);
            std::vector<float> qf(q.begin(), q.end());
            std::vector<double> o(static_cast<size_t>(n), 7.0);
            std::vector<float> of(static_cast<size_t>(n), 7.0f);
            const int m = k.spline_f64(q.data(), o.data(), n, lower, upper, segD);
            for (int i = 0; i < m; ++i) {
                const double want = kern::scalar::Spline(q[static_cast<size_t>(i)], segD);
                ASSERT_EQ(std::memcmp(&o[static_cast<size_t>(i)], &want, sizeof want), 0)
                    << "trial " << trial << " query " << std::hexfloat << q[static_cast<size_t>(i)] << " got "
                    << o[static_cast<size_t>(i)] << " want " << want;
            }
            if (!(segF[1] > segF[0]) || !std::isfinite(segF[0]) || !std::isfinite(segF[1])) continue;
            const int mf = k.spline_f32(qf.data(), of.data(), n, lowerF, upperF, segF);
            for (int i = 0; i < mf; ++i) {
                const float want = kern::scalar::Spline(qf[static_cast<size_t>(i)], segF);
                ASSERT_EQ(std::memcmp(&of[static_cast<size_t>(i)], &want, sizeof want), 0)
                    << "trial " << trial << " query " << std::hexfloat << qf[static_cast<size_t>(i)]
                    << " got " << of[static_cast<size_t>(i)] << " want " << want;
            }
        }
    }
}

// The knot search of many queries at every level against a plain scan: knot sets whose buckets hold up
// to 2, 4 or 8 knots (counted) or more (bisected), in double and float, with queries on and beside the
// knots, beyond both ends, infinite and NaN spread through the registers, and counts that leave tails.
template <class T>
void ExpectFindManyAtEveryLevel(const std::vector<T>& v, unsigned seed) {
    const int n = static_cast<int>(v.size());
    std::mt19937 gen(seed);
    std::vector<T> q;
    std::uniform_real_distribution<double> u(static_cast<double>(v.front()) - 3,
                                             static_cast<double>(v.back()) + 3);
    for (int i = 0; i < 600; ++i)
        q.push_back(static_cast<T>(u(gen)));
    for (T e : v) {
        q.push_back(e);
        q.push_back(std::nextafter(e, -std::numeric_limits<T>::infinity()));
    }
    for (int i = 0; i < 5; ++i) {
        q.push_back(std::numeric_limits<T>::infinity());
        q.push_back(-std::numeric_limits<T>::infinity());
        q.push_back(std::numeric_limits<T>::quiet_NaN());
    }
    std::shuffle(q.begin(), q.end(), gen);
    std::vector<int32_t> storage;
    internal::KnotLocator<T> locator(v.data(), n);
    locator.Build(storage);
    ASSERT_TRUE(locator.Indexed());
    LevelGuard guard;
    for (kern::Variant level : SupportedLevels()) {
        ASSERT_TRUE(kern::SetVariant(level));
        for (int count : {1, 7, 8, 9, 17, static_cast<int>(q.size())}) {
            for (int offset : {0, 3}) {
                std::vector<int32_t> k(static_cast<size_t>(count), -7);
                locator.FindMany(q.data() + offset, count, k.data());
                for (int i = 0; i < count; ++i) {
                    const T x = q[static_cast<size_t>(i + offset)];
                    int want = -1;
                    for (int j = 0; j < n; ++j)
                        if (v[static_cast<size_t>(j)] <= x) want = j;
                    ASSERT_EQ(k[static_cast<size_t>(i)], want)
                        << kern::VariantName(level) << " probes " << locator.Probes() << " q " << x;
                }
            }
        }
    }
}

TEST(InterpKernels, KnotSearchOfManyQueriesEqualsAPlainScanAtEveryLevel) {
    std::vector<int> probes;
    for (int crowd : {1, 3, 7, 12, 40}) {
        // Knots evenly spread but for one crowd of `crowd` equal-ish knots, so the widest bucket decides
        // between counting (2, 4, 8 probes) and bisection.
        std::vector<double> d;
        for (int i = 0; i < 300; ++i)
            d.push_back(i * 0.5);
        for (int c = 0; c < crowd; ++c)
            d.push_back(75.1 + c * 1e-4);
        std::sort(d.begin(), d.end());
        std::vector<float> f(d.begin(), d.end());
        ExpectFindManyAtEveryLevel(d, 11u + static_cast<unsigned>(crowd));
        ExpectFindManyAtEveryLevel(f, 21u + static_cast<unsigned>(crowd));
        std::vector<int32_t> storage;
        internal::KnotLocator<double> l(d.data(), static_cast<int>(d.size()));
        l.Build(storage);
        probes.push_back(l.Probes());
    }
    // Every search form was taken: 2, 4 and 8 compares and a bisection.
    for (int p : {2, 4, 8})
        EXPECT_NE(std::find(probes.begin(), probes.end(), p), probes.end()) << p;
    EXPECT_TRUE(std::any_of(probes.begin(), probes.end(), [](int p) { return p > 8; }));
}
