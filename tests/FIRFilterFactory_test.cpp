// FIRFilterFactory: every name to its tag, the exception for any other name, the kind built for each
// tag, and the tags that build nothing.
#include <corvane/dsp/FIRFilterFactory.h>
#include <corvane/dsp/IntegralFilters.h>
#include <corvane/dsp/ShapedFilters.h>
#include <corvane/dsp/UserDefinedFilters.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace VELA;

TEST(FIRFilterFactory, EveryNameGivesItsTag) {
    const std::pair<const char*, FIRFilterTypeTag> names[] = {
        {"FILTER_NONE", FIRFilterNone},
        {"ROOT_NYQUIST", FIRFilterRootRaisedCosine},
        {"ROOT_RAISED_COSINE", FIRFilterRootRaisedCosine},
        {"NYQUIST", FIRFilterRaisedCosine},
        {"RAISED_COSINE", FIRFilterRaisedCosine},
        {"GAUSSIAN", FIRFilterGaussian},
        {"HALF_SINE", FIRFilterHalfSine},
        {"RECTANGULAR", FIRFilterRectangular},
        {"EDGE", FIRFilterEdge},
        {"IS95TX_MEA", FIRFilterIS95TXMeasurement},
        {"IS95TXEQ_MEA", FIRFilterIS95TXEQMeasurement},
        {"IS95_REF", FIRFilterIS95Reference},
        {"C4FM_REV_SH", FIRFilterC4FMReverseShaping},
    };
    for (const auto& [name, tag] : names)
        EXPECT_EQ(FIRFilterFactory::toEnumFIRFilterType(name), tag) << name;
}

TEST(FIRFilterFactory, RaisedCosineAndNyquistGiveOneTagAndLowerCaseThrows8005) {
    EXPECT_EQ(FIRFilterFactory::toEnumFIRFilterType("RAISED_COSINE"),
              FIRFilterFactory::toEnumFIRFilterType("NYQUIST"));
    try {
        FIRFilterFactory::toEnumFIRFilterType("raised_cosine");
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, 8005);
        EXPECT_STREQ(e.message, "invalid input parameter");
        EXPECT_NE(std::string(e.file).find("FIRFilterFactory"), std::string::npos);
    }
}

TEST(FIRFilterFactory, OtherNamesAndNullThrowInvalidInput) {
    for (const char* name : {"", "GAUSS", "RAISED_COSINE ", "IS95_REF\n", "GAUSSRECT", "LOWPASS"})
        EXPECT_THROW(FIRFilterFactory::toEnumFIRFilterType(name), VELAException) << name;
    EXPECT_THROW(FIRFilterFactory::toEnumFIRFilterType(nullptr), VELAException);
}

TEST(FIRFilterFactory, MakeFilterBuildsTheKindOfEachRowWithoutTaps) {
    FIRFilterFactory factory;
    const std::pair<FIRFilterTypeTag, FIRFilterTypeTag> rows[] = {
        {FIRFilterRootRaisedCosine, FIRFilterRootRaisedCosine},
        {FIRFilterRaisedCosine, FIRFilterRaisedCosine},
        {FIRFilterGaussian, FIRFilterGaussian},
        {FIRFilterGaussRect, FIRFilterIntegralGaussian},  // GaussRectFilter says 19 either way
        {FIRFilterGaussRect2, FIRFilterIntegralGaussian},
        {FIRFilterRectangular, FIRFilterRectangular},
        {FIRFilterIS95TXMeasurement, FIRFilterIS95TXMeasurement},
        {FIRFilterIS95TXEQMeasurement, FIRFilterIS95TXEQMeasurement},
        {FIRFilterIS95Reference, FIRFilterIS95Reference},
        {FIRFilterC4FMReverseShaping, FIRFilterC4FMReverseShaping},
        {FIRFilterLowPass, FIRFilterLowPass},
        {FIRFilterHighPass, FIRFilterHighPass},
        {FIRFilterBandPass, FIRFilterBandPass},
        {FIRFilterIntegralGaussian, FIRFilterIntegralGaussian},
        {FIRFilterIntegralRect, FIRFilterIntegralRect},
        {FIRFilterUserDefined, FIRFilterUserDefined},
        {FIRFilterIntegralUserDefined, FIRFilterIntegralUserDefined},
    };
    for (const auto& [tag, type] : rows) {
        std::unique_ptr<FIRBaseFilter> f(factory.MakeFilter(tag));
        ASSERT_TRUE(f) << tag;
        EXPECT_EQ(f->GetFilterType(), type) << tag;
        EXPECT_EQ(f->GetNofTaps(), 0) << tag;
    }
    std::unique_ptr<FIRBaseFilter> g(factory.MakeFilter(FIRFilterGaussRect2));
    EXPECT_NE(dynamic_cast<GaussRectFilter*>(g.get()), nullptr);
}

// Tag 19 is shared by GaussRectFilter's own type and the integral Gaussian row: the factory must
// build the integral kind for it, and the kinds of 20, 22 and 23, each with its own flags.
TEST(FIRFilterFactory, IntegralAndUserDefinedTagsBuildTheirOwnKinds) {
    FIRFilterFactory factory;
    std::unique_ptr<FIRBaseFilter> ig(factory.MakeFilter(FIRFilterIntegralGaussian));
    std::unique_ptr<FIRBaseFilter> ir(factory.MakeFilter(FIRFilterIntegralRect));
    std::unique_ptr<FIRBaseFilter> ud(factory.MakeFilter(FIRFilterUserDefined));
    std::unique_ptr<FIRBaseFilter> iud(factory.MakeFilter(static_cast<FIRFilterTypeTag>(23)));
    ASSERT_NE(dynamic_cast<IntegralGaussianFilter*>(ig.get()), nullptr);
    EXPECT_EQ(dynamic_cast<GaussRectFilter*>(ig.get()), nullptr);
    ASSERT_NE(dynamic_cast<IntegralRectFilter*>(ir.get()), nullptr);
    ASSERT_NE(dynamic_cast<UserDefinedFilter*>(ud.get()), nullptr);
    ASSERT_NE(dynamic_cast<IntegralUserDefinedFilter*>(iud.get()), nullptr);
    EXPECT_TRUE(ig->IsIntegralFilter());
    EXPECT_TRUE(ir->IsIntegralFilter());
    EXPECT_FALSE(ud->IsIntegralFilter());
    EXPECT_TRUE(iud->IsIntegralFilter());
    // No user taps yet, so neither user-defined kind is complex until it is given some.
    EXPECT_FALSE(ud->IsComplexFilter());
    EXPECT_FALSE(iud->IsComplexFilter());

    // What the factory made works like one constructed directly: the same taps from the same call.
    IntegralGaussianFilter direct;
    direct.SetParameters(8.0f, 1.0f, 0.5f, 33);
    ig->SetParameters(8.0f, 1.0f, 0.5f, 33);
    VecReal32 a, b;
    direct.GetTaps(a);
    ig->GetTaps(b);
    ASSERT_EQ(a.GetSize(), 33);
    ASSERT_EQ(b.GetSize(), 33);
    for (int i = 0; i < 33; ++i)
        EXPECT_EQ(a[i], b[i]) << i;
}

TEST(FIRFilterFactory, HalfSineAndEdgeBuildNothingThoughTheirNamesAreValid) {
    FIRFilterFactory factory;
    EXPECT_EQ(factory.MakeFilter(FIRFilterFactory::toEnumFIRFilterType("HALF_SINE")), nullptr);
    EXPECT_EQ(factory.MakeFilter(FIRFilterFactory::toEnumFIRFilterType("EDGE")), nullptr);
}

TEST(FIRFilterFactory, NoneUnassignedAndUnknownValuesBuildNothing) {
    FIRFilterFactory factory;
    for (int t : {0, 8, 9, 10, 11, 24, 100, -1, INT32_MIN})
        EXPECT_EQ(factory.MakeFilter(static_cast<FIRFilterTypeTag>(t)), nullptr) << t;
}
