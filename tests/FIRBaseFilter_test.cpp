// FIRBaseFilter through a kind with plain taps: the three Apply overloads (the complex-taps one on a
// real kind convolves with empty taps), filtering before SetParameters, the time shift, copies that share
// the engine, and the display names.
#include <corvane/dsp/FIRBaseFilter.h>
#include <corvane/dsp/ShapedFilters.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;

namespace {
std::vector<double> Vals(const VecReal32& v) {
    std::vector<double> r;
    for (int i = 0; i < v.GetSize(); ++i)
        r.push_back(v[i]);
    return r;
}

// A minimal complex kind: fixed complex taps.
class TwoTapComplex : public FIRBaseFilter {
  public:
    int GetRecommendedTapSize(float, float, float) override { return 2; }
    void SetParameters(float, float, float, int) override {
        cplxTaps.Resize(2);
        cplxTaps[0] = {1.0f, 0.0f};
        cplxTaps[1] = {0.0f, 1.0f};
        tapCount = 2;
    }
    bool IsComplexFilter() const override { return true; }
};
}  // namespace

TEST(FIRBaseFilter, RealApplyFiltersWithTheRealTapsAndComplexDataRailByRail) {
    RectangularFilter f;
    f.SetParameters(10, 4, 7);
    VecReal32 taps, in(9), out;
    f.GetTaps(taps);
    in.SetZero();
    in[4] = 2.0f;
    f.Apply(out, in, true);
    ASSERT_EQ(out.GetSize(), 9);
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(out[i + 1], 2.0f * taps[i]);
    VecCplx32 cin(9), cout;
    for (int i = 0; i < 9; ++i)
        cin[i] = {in[i], -in[i]};
    f.Apply(cout, cin, true);
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(cout[i].re, out[i]);
        EXPECT_EQ(cout[i].im, -out[i]);
    }
}

TEST(FIRBaseFilter, ComplexTapsOverloadOnARealKindGivesAnEmptyOutput) {
    GaussianFilter f;
    f.SetParameters(5, 1.6666666f, 0.3f, 7);
    VecReal32 in(7);
    in.SetZero();
    VecCplx32 out(3);
    f.Apply(out, in, true);
    EXPECT_EQ(out.GetSize(), 0);
    VecCplx32 taps(4);
    f.GetTaps(taps);
    EXPECT_EQ(taps.GetSize(), 0);
}

TEST(FIRBaseFilter, ComplexKindsFilterComplexAndRealDataWithTheirComplexTaps) {
    TwoTapComplex f;
    f.SetParameters(0, 0, 0, 0);
    VecCplx32 in(3), out;
    in[0] = {1, 0};
    in[1] = {0, 0};
    in[2] = {0, 0};
    f.Apply(out, in, false);
    ASSERT_EQ(out.GetSize(), 3);
    EXPECT_EQ(out[0].re, 1.0f);
    EXPECT_EQ(out[1].im, 1.0f);
    VecReal32 rin(3);
    rin.SetZero();
    rin[0] = 2.0f;
    f.Apply(out, rin, false);
    EXPECT_EQ(out[0].re, 2.0f);
    EXPECT_EQ(out[1].im, 2.0f);
}

TEST(FIRBaseFilter, ApplyBeforeSetParametersFiltersWithEmptyTaps) {
    RaisedCosineFilter f;
    EXPECT_EQ(f.GetNofTaps(), 0);
    EXPECT_EQ(f.GetDelay(), 0.0f);
    VecReal32 in(5), out(2);
    in.SetZero();
    f.Apply(out, in, true);
    EXPECT_EQ(out.GetSize(), 0);
    VecCplx32 cin(5), cout(2);
    cin.SetZero();
    f.Apply(cout, cin, false);
    EXPECT_EQ(cout.GetSize(), 0);
}

TEST(FIRBaseFilter, TimeShiftStartsAtZeroAndIsStored) {
    GaussianFilter f;
    EXPECT_EQ(f.GetTimeShift(), 0.0f);
    f.SetTimeShift(1.5e-6f);
    EXPECT_EQ(f.GetTimeShift(), 1.5e-6f);
    EXPECT_FALSE(f.IsIntegralFilter());
    EXPECT_FALSE(f.IsComplexFilter());
}

TEST(FIRBaseFilter, CopiesCopyTheTapsAndShareTheEngineAndMayAllBeDestroyed) {
    auto* a = new RootRaisedCosineFilter();
    a->SetParameters(20, 5, 0.5f, 7);
    RootRaisedCosineFilter b(*a);
    RootRaisedCosineFilter c;
    c = *a;
    VecReal32 ta;
    a->GetTaps(ta);
    delete a;
    VecReal32 tb, tc, in(7), ob, oc;
    b.GetTaps(tb);
    c.GetTaps(tc);
    EXPECT_TRUE(NearAbs(Vals(tb), Vals(ta), 0.0));
    EXPECT_TRUE(NearAbs(Vals(tc), Vals(ta), 0.0));
    in.SetZero();
    in[3] = 1.0f;
    b.Apply(ob, in, true);
    c.Apply(oc, in, true);
    EXPECT_TRUE(NearAbs(Vals(ob), Vals(ta), 0.0));
    EXPECT_TRUE(NearAbs(Vals(oc), Vals(ta), 0.0));
    // A later design of the copy leaves the others' taps alone.
    c.SetParameters(20, 5, 0.25f, 9);
    b.GetTaps(tb);
    EXPECT_EQ(tb.GetSize(), 7);
    EXPECT_EQ(c.GetNofTaps(), 9);
}

TEST(FIRBaseFilter, DisplayNamesAreTheElevenOfTheTable) {
    const char* const want[11] = {"NULL",      "root nyquist", "nyquist",    "gauss",
                                  "half sine", "rectangular",  "EDGE",       "s rectangle",
                                  "s rcwrctg", "s rcwrcrc",    "s rectangle"};
    for (int i = 0; i < 11; ++i)
        EXPECT_STREQ(FIRFilterDisplayNames[i], want[i]);
}
