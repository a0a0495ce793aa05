// The interpolation kernels at every level, bit for bit against the scalar reference, for many run
// lengths, unaligned starts and in place; and the interpolators' results with every level forced.
#include <corvane/math/Interpolation.h>
#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

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
