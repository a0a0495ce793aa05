// C4FMReverseShapingFilter: the recommended length, the quoted taps, the frequency-domain design
// against numpy's inverse FFT of the same grid, the outer taps that are never designed, and bad input.
#include <corvane/dsp/C4FMReverseShapingFilter.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::PyEval;

namespace {
std::vector<double> Taps(const FIRBaseFilter& f) {
    VecReal32 t;
    f.GetTaps(t);
    std::vector<double> r;
    for (int i = 0; i < t.GetSize(); ++i)
        r.push_back(t[i]);
    return r;
}
}  // namespace

TEST(C4FMReverseShapingFilter, At19200And4800Recommends127Taps) {
    C4FMReverseShapingFilter f;
    EXPECT_EQ(f.GetRecommendedTapSize(19200, 4800, 0), 127);
}

TEST(C4FMReverseShapingFilter, TapsAtTheCentreAndEveryFourthPlaceAreWithin3PercentOfRQuarter) {
    C4FMReverseShapingFilter f;
    f.SetParameters(19200, 4800, 0, 127);
    const auto h = Taps(f);
    ASSERT_EQ(h.size(), 127u);
    const double r[6] = {1.17894, -0.0563992, -0.0129886, -0.00569371, -0.00318839, -0.00203696};
    for (int j = 0; j < 6; ++j)
        for (int side : {-1, 1}) {
            const double tap = h[63 + side * 4 * j];
            EXPECT_LE(std::fabs(tap - r[j] / 4), 0.03 * std::fabs(r[j])) << "offset " << side * 4 * j;
        }
}

TEST(C4FMReverseShapingFilter, DesignIsTheInverseFFTOfTheXOverSinXGrid) {
    for (int taps : {127, 63, 200}) {
        C4FMReverseShapingFilter f;
        f.SetParameters(48000, 4800, 0.7f, taps);
        const auto want = PyEval(R"(
taps = int(a0[0]); L = 2
while L < taps: L *= 2
osr = float(np.float32(1 / np.float32(4800))) / float(np.float32(1 / np.float32(48000)))
S = np.zeros(L, complex); S[0] = np.float32(osr); df = osr * 4800 / L
for k in range(1, L // 2):
    fk = k * df
    if fk >= 4800: break
    x = fk * np.pi / 4800
    S[k] = S[L - k] = np.float32(osr * np.sin(x) / x)
resp = np.fft.ifft(S).real
c = (taps - 1) // 2; n = float(int(osr + 0.5))
out = np.zeros(taps); out[c] = resp[0] / n
for i in range(1, c):
    out[c + i] = resp[i] / n; out[c - i] = resp[L - i] / n
)",
                                 {{static_cast<double>(taps)}});
        EXPECT_TRUE(NearAbs(Taps(f), want, 5e-7)) << taps;
        EXPECT_EQ(f.GetRoleoff(), 0.0f);
        EXPECT_EQ(f.GetSymbolRate(), 4800.0f);
        EXPECT_EQ(f.GetDelay(), static_cast<float>(taps - 1) * 0.5f);
    }
}

TEST(C4FMReverseShapingFilter, OuterTapsAreNotDesignedTheyKeepWhatTheVectorHeld) {
    C4FMReverseShapingFilter f;
    f.SetParameters(19200, 4800, 0, 127);
    auto h = Taps(f);
    EXPECT_EQ(h[0], 0.0);  // fresh storage: 0
    EXPECT_EQ(h[126], 0.0);
    // A shorter design in the same vector: its outermost taps are what the longer one left there.
    const auto longer = h;
    f.SetParameters(19200, 4800, 0, 63);
    h = Taps(f);
    ASSERT_EQ(h.size(), 63u);
    EXPECT_EQ(h[0], longer[0]);
    EXPECT_EQ(h[62], longer[62]);
    EXPECT_NE(h[62], 0.0);
}

TEST(C4FMReverseShapingFilter, RecommendedLengthsAndBadInput) {
    C4FMReverseShapingFilter f;
    EXPECT_EQ(f.GetRecommendedTapSize(4800, 4800, 0), 31);  // v 20: 32 - 1
    EXPECT_EQ(f.GetRecommendedTapSize(480, 4800, 0), 1);    // v 2
    EXPECT_EQ(f.GetRecommendedTapSize(4096, 1280, 0), 63);  // v 64: 64 - 1
    EXPECT_THROW(f.GetRecommendedTapSize(NAN, 4800, 0), VELAException);
    EXPECT_THROW(f.SetParameters(19200, 4800, 0, -1), VELAException);
    EXPECT_THROW(f.SetParameters(19200, NAN, 0, 7), VELAException);
    f.SetParameters(19200, 4800, 0, 0);
    EXPECT_EQ(f.GetNofTaps(), 0);
    f.SetParameters(19200, 4800, 0, 1);
    EXPECT_EQ(Taps(f).size(), 1u);
}
