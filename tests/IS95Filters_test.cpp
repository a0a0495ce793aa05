// The IS-95 filters: lengths and delays by ratio, the quoted peaks, sums and pinned taps, symmetry of
// the reference, the lookup of the four-argument form, and ratios without a table.
#include <corvane/dsp/IS95Filters.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;

namespace {

std::vector<double> Taps(const FIRBaseFilter& f) {
    VecReal32 t;
    f.GetTaps(t);
    std::vector<double> r;
    for (int i = 0; i < t.GetSize(); ++i)
        r.push_back(t[i]);
    return r;
}
double Sum(const std::vector<double>& v) {
    double s = 0.0;
    for (double x : v)
        s += x;
    return s;
}
// Index 2 of the centred response to a unit impulse at index 3 of seven samples.
double Pinned(FIRBaseFilter& f) {
    VecReal32 impulse(7), out;
    impulse.SetZero();
    impulse[3] = 1.0f;
    f.Apply(out, impulse, true);
    EXPECT_EQ(out.GetSize(), 7);
    return out[2];
}

const int kRatios[4] = {2, 4, 8, 16};

}  // namespace

TEST(IS95Filters, AtOversampling2TheCentredImpulseGivesTheQuotedValuesAtIndex2) {
    IS95ReferenceFilter ref;
    IS95TXEQMeasurementFilter eq;
    IS95TXMeasurementFilter tx;
    for (IS95Filter* f : std::initializer_list<IS95Filter*>{&ref, &eq, &tx})
        f->SetParameters(2);
    EXPECT_NEAR(Pinned(ref), 1.2694892, 1e-6);
    EXPECT_NEAR(Pinned(eq), 0.30690706, 1e-6);
    EXPECT_NEAR(Pinned(tx), 0.32338271, 1e-6);
}

TEST(IS95Filters, ReferenceIsSymmetricWithTheQuotedCentresAndSumsAboutFour) {
    const int taps[4] = {103, 207, 415, 829}, delays[4] = {51, 103, 207, 414};
    const float centre[4] = {2.0016844f, 1.0003898f, 0.50013757f, 0.25008360f};
    IS95ReferenceFilter f;
    for (int i = 0; i < 4; ++i) {
        f.SetParameters(kRatios[i]);
        const auto h = Taps(f);
        ASSERT_EQ(static_cast<int>(h.size()), taps[i]);
        EXPECT_EQ(f.GetNofTaps(), taps[i]);
        EXPECT_EQ(f.GetDelay(), static_cast<float>(delays[i]));
        EXPECT_EQ(h[delays[i]], centre[i]);
        for (size_t k = 0; k < h.size(); ++k)
            ASSERT_EQ(h[k], h[h.size() - 1 - k]) << kRatios[i];
        EXPECT_NEAR(Sum(h), 4.0, 0.02 * 4.0) << kRatios[i];
        EXPECT_EQ(std::max_element(h.begin(), h.end()) - h.begin(), delays[i]);
    }
}

TEST(IS95Filters, MeasurementFiltersHaveTheQuotedPeaksSumAbout0p918AndAreNotSymmetric) {
    const int taps[4] = {81, 161, 321, 643}, delays[4] = {40, 80, 160, 321};
    const float txPeak[4] = {0.52488416f, 0.26244208f, 0.13122104f, 0.065610520f};
    const int txAt[4] = {40, 80, 160, 320};
    const float eqPeak[4] = {0.51987457f, 0.25993729f, 0.12996864f, 0.065056130f};
    const int eqAt[4] = {40, 80, 160, 321};
    IS95TXMeasurementFilter tx;
    IS95TXEQMeasurementFilter eq;
    for (int i = 0; i < 4; ++i) {
        for (IS95Filter* f : std::initializer_list<IS95Filter*>{&tx, &eq}) {
            f->SetParameters(kRatios[i]);
            const auto h = Taps(*f);
            ASSERT_EQ(static_cast<int>(h.size()), taps[i]);
            EXPECT_EQ(f->GetDelay(), static_cast<float>(delays[i]));
            EXPECT_NEAR(Sum(h), 0.918, 0.02 * 0.918) << kRatios[i];
            bool symmetric = true;
            for (size_t k = 0; k < h.size(); ++k)
                symmetric = symmetric && h[k] == h[h.size() - 1 - k];
            EXPECT_FALSE(symmetric);
            const int at = f == &tx ? txAt[i] : eqAt[i];
            EXPECT_EQ(h[at], f == &tx ? txPeak[i] : eqPeak[i]) << kRatios[i];
            EXPECT_EQ(std::max_element(h.begin(), h.end()) - h.begin(), at) << kRatios[i];
        }
    }
}

TEST(IS95Filters, FourArgumentFormAndRecommendationUseTheRoundedRatio) {
    IS95TXMeasurementFilter f;
    EXPECT_EQ(f.GetRecommendedTapSize(4.9e6f, 1.2288e6f, 0), 161);  // 3.99 rounds to 4
    EXPECT_EQ(f.GetRecommendedTapSize(19.66e6f, 1.2288e6f, 0), 643);
    EXPECT_EQ(f.GetRecommendedTapSize(3.7e6f, 1.2288e6f, 0), 0);  // 3: no table
    EXPECT_EQ(f.GetRecommendedTapSize(NAN, 1.2288e6f, 0), 0);
    f.SetParameters(9.8e6f, 1.2288e6f, 0.5f, 99);  // 7.98 rounds to 8; rolloff and tap count unused
    EXPECT_EQ(f.GetOversamplingRatio(), 8);
    EXPECT_EQ(f.GetNofTaps(), 321);
    IS95ReferenceFilter r;
    EXPECT_EQ(r.GetRecommendedTapSize(2.4576e6f, 1.2288e6f, 0), 103);
    EXPECT_EQ(r.GetRecommendedTapSize(19.6608e6f, 1.2288e6f, 0), 829);
}

TEST(IS95Filters, RatioWithoutATableLeavesTheFilterAsItWas) {
    IS95TXEQMeasurementFilter f;
    f.SetParameters(3);
    EXPECT_EQ(f.GetNofTaps(), 0);
    EXPECT_EQ(f.GetOversamplingRatio(), 0);
    f.SetParameters(4);
    const auto before = Taps(f);
    for (int r : {0, -4, 1, 5, 32, 1 << 30}) {
        f.SetParameters(r);
        EXPECT_EQ(f.GetOversamplingRatio(), 4);
        EXPECT_EQ(f.GetNofTaps(), 161);
        EXPECT_EQ(f.GetDelay(), 80.0f);
        EXPECT_EQ(Taps(f), before);
    }
    f.SetParameters(0.0f, 0.0f, 0, 0);  // a ratio that is not a number: no table
    EXPECT_EQ(f.GetOversamplingRatio(), 4);
}

TEST(IS95Filters, KindsCarryTheirTags) {
    EXPECT_EQ(IS95ReferenceFilter().GetFilterType(), FIRFilterIS95Reference);
    EXPECT_EQ(IS95TXMeasurementFilter().GetFilterType(), FIRFilterIS95TXMeasurement);
    EXPECT_EQ(IS95TXEQMeasurementFilter().GetFilterType(), FIRFilterIS95TXEQMeasurement);
}
