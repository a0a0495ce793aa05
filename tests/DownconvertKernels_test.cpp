// The downconverter kernels at every level against the scalar reference and against an oscillator in
// long double: many lengths, unaligned starts, oscillator counts far beyond an int, and the mixer's
// independence from where a call begins.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/DownconvertKernels.h"
#include "support/TestUtil.h"

using namespace VELA;

namespace {

std::vector<float> RandomFloats(size_t n, unsigned seed) {
    const std::vector<double> u = corvane_test::Uniform(n, seed);
    return std::vector<float>(u.begin(), u.end());
}

const kern::DownconvertKernelTable& Reference() {
    return *kern::DownconvertTableFor(kern::Variant::Reference);
}

std::vector<const kern::DownconvertKernelTable*> OptimisedLevels() {
    std::vector<const kern::DownconvertKernelTable*> levels;
    for (kern::Variant v : {kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512})
        if (const kern::DownconvertKernelTable* t = kern::DownconvertTableFor(v)) levels.push_back(t);
    return levels;
}

const double kOmegas[] = {-2.0106192982974678, 0.3, -1e-4, 3.0};
const int64_t kCounts[] = {0, 40, 255, 256, 1000003, (int64_t{1} << 31) + 5, (int64_t{1} << 40) + 7};

}  // namespace

TEST(DownconvertKernels, MixMatchesTheReferenceAtEveryLevel) {
    const std::vector<float> x = RandomFloats(1200, 1);
    std::vector<double> rot(2 * kern::kMixBlock);
    for (double w : kOmegas) {
        kern::MixRotationTable(w, rot.data());
        for (int64_t c0 : kCounts)
            for (int n : {0, 1, 3, 7, 16, 255, 256, 257, 600, 1100}) {
                for (int offset : {0, 1, 3}) {
                    std::vector<float> rI(n + 1), rQ(n + 1);
                    Reference().mix_real_f32(x.data() + offset, rI.data(), rQ.data(), n, w, c0, rot.data());
                    for (const kern::DownconvertKernelTable* t : OptimisedLevels()) {
                        std::vector<float> dI(n + 2, -9.0f), dQ(n + 2, -9.0f);
                        t->mix_real_f32(x.data() + offset, dI.data() + offset % 2, dQ.data() + offset % 2, n,
                                        w, c0, rot.data());
                        for (int i = 0; i < n; ++i) {
                            // One float rounding of the product, plus the double rounding of the angle,
                            // which grows with the count.
                            const double angle = std::fabs(w * static_cast<double>(c0 + i));
                            const double tol = std::fabs(x[offset + i]) * (1.2e-7 + 4e-16 * angle) + 1e-30;
                            ASSERT_NEAR(dI[offset % 2 + i], rI[i], tol)
                                << t->name << " w " << w << " c0 " << c0 << " n " << n << " i " << i;
                            ASSERT_NEAR(dQ[offset % 2 + i], rQ[i], tol)
                                << t->name << " w " << w << " c0 " << c0 << " n " << n << " i " << i;
                        }
                        EXPECT_EQ(dI[offset % 2 + n], -9.0f) << "wrote past the end";
                    }
                }
            }
    }
}

TEST(DownconvertKernels, MixAgreesWithALongDoubleOscillator) {
    const std::vector<float> x = RandomFloats(3000, 2);
    std::vector<double> rot(2 * kern::kMixBlock);
    for (double w : kOmegas) {
        kern::MixRotationTable(w, rot.data());
        for (int64_t c0 : {int64_t{40}, int64_t{1} << 33}) {
            std::vector<const kern::DownconvertKernelTable*> all = OptimisedLevels();
            all.push_back(&Reference());
            for (const kern::DownconvertKernelTable* t : all) {
                std::vector<float> dI(3000), dQ(3000);
                t->mix_real_f32(x.data(), dI.data(), dQ.data(), 3000, w, c0, rot.data());
                for (int i = 0; i < 3000; ++i) {
                    const long double a = static_cast<long double>(w) * static_cast<long double>(c0 + i);
                    const long double v = x[i];
                    // The double angle of the count is itself rounded: allow that, plus one float rounding.
                    const double tol = std::fabs(x[i]) * (7e-8 + 2.3e-16 * std::fabs(static_cast<double>(a)));
                    ASSERT_NEAR(dI[i], static_cast<double>(cosl(a) * v), tol) << t->name << " i " << i;
                    ASSERT_NEAR(dQ[i], static_cast<double>(sinl(a) * v), tol) << t->name << " i " << i;
                }
            }
        }
    }
}

TEST(DownconvertKernels, MixDoesNotDependOnWhereACallBegins) {
    const std::vector<float> x = RandomFloats(2000, 3);
    std::vector<double> rot(2 * kern::kMixBlock);
    const double w = -2.0106192982974678;
    kern::MixRotationTable(w, rot.data());
    for (const kern::DownconvertKernelTable* t : OptimisedLevels()) {
        std::vector<float> wholeI(2000), wholeQ(2000), partI(2000), partQ(2000);
        t->mix_real_f32(x.data(), wholeI.data(), wholeQ.data(), 2000, w, 40, rot.data());
        for (int cut : {1, 215, 216, 217, 471, 1999}) {
            t->mix_real_f32(x.data(), partI.data(), partQ.data(), cut, w, 40, rot.data());
            t->mix_real_f32(x.data() + cut, partI.data() + cut, partQ.data() + cut, 2000 - cut, w, 40 + cut,
                            rot.data());
            EXPECT_EQ(partI, wholeI) << t->name << " cut " << cut;
            EXPECT_EQ(partQ, wholeQ) << t->name << " cut " << cut;
        }
    }
}

TEST(DownconvertKernels, FoldedFilterMatchesTheReferenceAtEveryLevel) {
    const std::vector<float> r = RandomFloats(2 * 10240 + 8, 4);
    const std::vector<float> s = RandomFloats(2 * 10240 + 8, 5);
    const std::vector<float> h = RandomFloats(10240 + 8, 6);
    std::vector<int> pairCounts;
    for (int p = 0; p <= 70; ++p)
        pairCounts.push_back(p);
    for (int p : {80, 160, 640, 2560, 10240})
        pairCounts.push_back(p);
    for (int pairs : pairCounts)
        for (int offset : {0, 1, 5}) {
            float ref[2];
            Reference().fold_fir_f32(r.data() + offset, s.data() + offset, h.data(), pairs, ref);
            double scaleI = 0.0, scaleQ = 0.0;
            for (int k = 0; k <= 2 * pairs; ++k) {
                const int tap = k <= pairs ? k : 2 * pairs - k;
                scaleI += std::fabs(h[tap] * r[offset + k]);
                scaleQ += std::fabs(h[tap] * s[offset + k]);
            }
            for (const kern::DownconvertKernelTable* t : OptimisedLevels()) {
                float d[2];
                t->fold_fir_f32(r.data() + offset, s.data() + offset, h.data(), pairs, d);
                // Float accumulation in another order: a few roundings of the running size.
                const double tolI = 1.2e-7 * scaleI * (2.0 + std::sqrt(pairs)),
                             tolQ = 1.2e-7 * scaleQ * (2.0 + std::sqrt(pairs));
                EXPECT_NEAR(d[0], ref[0], tolI) << t->name << " pairs " << pairs << " offset " << offset;
                EXPECT_NEAR(d[1], ref[1], tolQ) << t->name << " pairs " << pairs << " offset " << offset;
            }
        }
}

TEST(DownconvertKernels, FoldedFilterOfASymmetricFilterIsThePlainDotProduct) {
    // With symmetric taps, the folded sum and the plain sum are the same filter.
    const int pairs = 40, L = 81;
    std::vector<float> h(L);
    const std::vector<float> half = RandomFloats(pairs + 1, 7);
    for (int k = 0; k <= pairs; ++k)
        h[k] = h[L - 1 - k] = half[k];
    const std::vector<float> r = RandomFloats(L, 8), s = RandomFloats(L, 9);
    std::vector<const kern::DownconvertKernelTable*> all = OptimisedLevels();
    all.push_back(&Reference());
    for (const kern::DownconvertKernelTable* t : all) {
        float folded[2], plain[2];
        t->fold_fir_f32(r.data(), s.data(), h.data(), pairs, folded);
        t->dot_f32(r.data(), s.data(), h.data(), L, plain);
        EXPECT_NEAR(folded[0], plain[0], 2e-6) << t->name;
        EXPECT_NEAR(folded[1], plain[1], 2e-6) << t->name;
    }
}

TEST(DownconvertKernels, DotProductMatchesTheReferenceAtEveryLevel) {
    const std::vector<float> r = RandomFloats(6000, 10), s = RandomFloats(6000, 11),
                             h = RandomFloats(6000, 12);
    for (int L : {0, 1, 7, 8, 9, 21, 81, 1281, 5121})
        for (int offset : {0, 3}) {
            float ref[2];
            Reference().dot_f32(r.data() + offset, s.data() + offset, h.data(), L, ref);
            for (const kern::DownconvertKernelTable* t : OptimisedLevels()) {
                float d[2];
                t->dot_f32(r.data() + offset, s.data() + offset, h.data(), L, d);
                // Sums in double in another order: the same float after the final rounding, or the next.
                EXPECT_NEAR(d[0], ref[0], 1.2e-7 * std::fabs(ref[0]) + 1e-12 * L) << t->name << " L " << L;
                EXPECT_NEAR(d[1], ref[1], 1.2e-7 * std::fabs(ref[1]) + 1e-12 * L) << t->name << " L " << L;
            }
        }
}

TEST(DownconvertKernels, ActiveTableFollowsSetVariant) {
    const kern::Variant before = kern::ActiveVariant();
    for (kern::Variant v :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512}) {
        if (!kern::SetVariant(v)) continue;
        EXPECT_EQ(&kern::DCK(), kern::DownconvertTableFor(v));
    }
    kern::SetVariant(before);
}
