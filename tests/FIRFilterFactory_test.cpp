// FIRFilterFactory: every name to its tag, the exception for any other name, the kind built for each
// tag, and the tags that build nothing.
#include <corvane/dsp/FIRFilterFactory.h>
#include <corvane/dsp/ShapedFilters.h>
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
