// The band kinds: the low-pass and band-pass designs against scipy.signal.firwin (Hamming, scaled), the
// high-pass kind's shared low-pass design, the three- and four-argument forms, and refused designs.
#include <corvane/dsp/BandFilters.h>
#include <corvane/dsp/DSPUtils.h>
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

TEST(BandFilters, LowPassAndBandPassMatchScipyFirwin) {
    LowPassFilter lp;
    lp.SetParameters(1000, 120, 81);
    BandPassFilter bp;
    bp.SetParameters(1000, 80, 230, 63);
    const auto want = PyEval(R"(
from scipy.signal import firwin
out = np.concatenate([firwin(81, np.float32(120) / np.float32(1000), window='hamming', fs=1.0),
                      firwin(63, [np.float32(80) / np.float32(1000), np.float32(230) / np.float32(1000)],
                             pass_zero=False, window='hamming', fs=1.0)])
)",
                             {});
    ASSERT_EQ(want.size(), 144u);
    EXPECT_TRUE(NearAbs(Taps(lp), std::vector<double>(want.begin(), want.begin() + 81), 1e-7));
    EXPECT_TRUE(NearAbs(Taps(bp), std::vector<double>(want.begin() + 81, want.end()), 1e-7));
    EXPECT_EQ(lp.GetDelay(), 40.0f);
    EXPECT_EQ(bp.GetDelay(), 31.0f);
    EXPECT_EQ(bp.GetLowCutoffFrequency(), 80.0f);
    EXPECT_EQ(bp.GetHighCutoffFrequency(), 230.0f);
    EXPECT_EQ(lp.GetCutoffFrequency(), 120.0f);
}

TEST(BandFilters, HighPassKindDesignsTheSameLowPassTapsAsItStands) {
    HighPassFilter hp;
    LowPassFilter lp;
    hp.SetParameters(1000, 120, 81);
    lp.SetParameters(1000, 120, 81);
    EXPECT_EQ(hp.GetFilterType(), FIRFilterHighPass);
    EXPECT_EQ(lp.GetFilterType(), FIRFilterLowPass);
    EXPECT_TRUE(NearAbs(Taps(hp), Taps(lp), 0.0));
    double dc = 0.0;
    for (double v : Taps(hp))
        dc += v;
    EXPECT_NEAR(dc, 1.0, 1e-6);  // a low-pass response: unit gain at zero frequency
}

TEST(BandFilters, FourArgumentFormsTakeTheCutoffFromTheSecondArgument) {
    LowPassFilter a, b;
    a.SetParameters(1000, 120, 0.77f, 41);
    b.SetParameters(1000, 120, 41);
    EXPECT_TRUE(NearAbs(Taps(a), Taps(b), 0.0));
    HighPassFilter h;
    h.SetParameters(1000, 120, 0.77f, 41);
    EXPECT_TRUE(NearAbs(Taps(h), Taps(b), 0.0));
    EXPECT_EQ(a.GetRecommendedTapSize(1000, 120, 0), 0);
    BandPassFilter bp;
    EXPECT_EQ(bp.GetRecommendedTapSize(1000, 100, 200), 0);
}

TEST(BandFilters, RefusedDesignsLeaveZerosAndBadArgumentsThrow) {
    LowPassFilter lp;
    lp.SetParameters(1000, 120, 3);  // too few taps for the design: zeros
    EXPECT_TRUE(NearAbs(Taps(lp), {0, 0, 0}, 0.0));
    lp.SetParameters(1000, 600, 21);  // cut-off above half the rate
    EXPECT_EQ(Taps(lp).size(), 21u);
    EXPECT_TRUE(NearAbs(Taps(lp), std::vector<double>(21, 0.0), 0.0));
    lp.SetParameters(1000, 120, 0);
    EXPECT_EQ(lp.GetNofTaps(), 0);
    EXPECT_TRUE(Taps(lp).empty());
    EXPECT_THROW(lp.SetParameters(1000, 120, -5), VELAException);
    EXPECT_THROW(lp.SetParameters(NAN, 120, 21), VELAException);
    BandPassFilter bp;
    EXPECT_THROW(bp.SetParameters(1000, NAN, 200, 21), VELAException);
    EXPECT_THROW(bp.SetParameters(1000, 100, 200, -1), VELAException);
}
