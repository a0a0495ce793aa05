// Every class's self-test entry point, each on a fresh recorder in a scratch directory: it records at
// least one case, none of them failed, it returns true, and the log holds every record.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <string>

#include "support/TestUtil.h"

using namespace VELA;

namespace {

struct EntryPoint {
    const char* name;
    bool (*run)(UnitTestRecorder&);
};

const EntryPoint kEntryPoints[] = {
    {"VecReal32", &VecReal32::UnitTest},
    {"VecReal64", &VecReal64::UnitTest},
    {"VecCplx32", &VecCplx32::UnitTest},
    {"VecCplx64", &VecCplx64::UnitTest},
    {"VecUInt8", &VecUInt8::UnitTest},
    {"VecInt16", &VecInt16::UnitTest},
    {"VecInt32", &VecInt32::UnitTest},
    {"BitVector", &BitVector::UnitTest},
    {"Checksum", &Checksum::UnitTest},
    {"FT", &FT::UnitTest},
    {"DFT", &DFT::UnitTest},
    {"FFT", &FFT::UnitTest},
    {"DSPUtils", &DSPUtils::UnitTest},
    {"DigitalSource", &DigitalSource::UnitTest},
    {"DigitalZoom", &DigitalZoom::UnitTest},
    {"SteppedSpectrum", &SteppedSpectrum::UnitTest},
    {"FIRFilter", &FIRFilter::UnitTest},
    {"SFIRFilter", &SFIRFilter::UnitTest},
    {"DecimationFilter", &DecimationFilter::UnitTest},
    {"RaisedCosineFilter", &RaisedCosineFilter::UnitTest},
    {"RootRaisedCosineFilter", &RootRaisedCosineFilter::UnitTest},
    {"GaussianFilter", &GaussianFilter::UnitTest},
    {"GaussRectFilter", &GaussRectFilter::UnitTest},
    {"RectangularFilter", &RectangularFilter::UnitTest},
    {"LowPassFilter", &LowPassFilter::UnitTest},
    {"HighPassFilter", &HighPassFilter::UnitTest},
    {"BandPassFilter", &BandPassFilter::UnitTest},
    {"C4FMReverseShapingFilter", &C4FMReverseShapingFilter::UnitTest},
    {"IS95ReferenceFilter", &IS95ReferenceFilter::UnitTest},
    {"IS95TXMeasurementFilter", &IS95TXMeasurementFilter::UnitTest},
    {"IS95TXEQMeasurementFilter", &IS95TXEQMeasurementFilter::UnitTest},
    {"FIRFilterFactory", &FIRFilterFactory::UnitTest},
    {"IntegralGaussianFilter", &IntegralGaussianFilter::UnitTest},
    {"IntegralRectFilter", &IntegralRectFilter::UnitTest},
    {"UserDefinedFilter", &UserDefinedFilter::UnitTest},
    {"IntegralUserDefinedFilter", &IntegralUserDefinedFilter::UnitTest},
    {"RBWFilter", &RBWFilter::UnitTest},
    {"IQTReader", &IQTReader::UnitTest},
    {"MatFileWriter", &MatFileWriter::UnitTest},
    {"MatFileReader", &MatFileReader::UnitTest},
    {"VSAFileWriter", &VSAFileWriter::UnitTest},
};

class UnitTestEntryPoints : public testing::TestWithParam<EntryPoint> {};

}  // namespace

TEST_P(UnitTestEntryPoints, RecordsCasesAndNoneFails) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    const bool result = GetParam().run(recorder);
    recorder.DisplayBriefSummary();
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(result);
    EXPECT_GT(recorder.GetTotalTests(), 0);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
    // Every case is recorded under the class's own name.
    const std::string prefix = std::string("  SUCCESS  :") + GetParam().name + " :";
    auto count = [&prefix](const std::string& text) {
        size_t n = 0;
        for (size_t at = text.find(prefix); at != std::string::npos; at = text.find(prefix, at + 1))
            ++n;
        return static_cast<int>(n);
    };
    EXPECT_EQ(count(console), recorder.GetTotalTests());
    EXPECT_EQ(count(corvane_test::ReadFile("VELAUnitTestRelease.log")), recorder.GetTotalTests());
}

TEST(UnitTestEntryPoints, LeakExerciseReturnsTrueAndRecordsNothing) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    EXPECT_TRUE(VecReal32::SimpleLeakTest(recorder));
    EXPECT_EQ(recorder.GetTotalTests(), 0);
}

// SteppedSpectrum's further entry points record under the class's own name too.
TEST(UnitTestEntryPoints, SteppedSpectrumTestVBWAndMemoryLeakTest) {
    for (auto run : {&SteppedSpectrum::TestVBW, &SteppedSpectrum::MemoryLeakTest}) {
        corvane_test::ScopedWorkDir dir;
        UnitTestRecorder recorder;
        testing::internal::CaptureStdout();
        EXPECT_TRUE(run(recorder));
        const std::string console = testing::internal::GetCapturedStdout();
        EXPECT_GT(recorder.GetTotalTests(), 0);
        EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
        size_t n = 0;
        for (size_t at = console.find("  SUCCESS  :SteppedSpectrum :"); at != std::string::npos;
             at = console.find("  SUCCESS  :SteppedSpectrum :", at + 1))
            ++n;
        EXPECT_EQ(static_cast<int>(n), recorder.GetTotalTests());
    }
}

INSTANTIATE_TEST_SUITE_P(AllClasses, UnitTestEntryPoints, testing::ValuesIn(kEntryPoints),
                         [](const testing::TestParamInfo<EntryPoint>& info) {
                             return std::string(info.param.name);
                         });
