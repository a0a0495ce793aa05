// Every class's self-test entry point, each on a fresh recorder in a scratch directory: it records at
// least one case, none of them failed, it returns true, and the log holds every record.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

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
    {"DigitalIQDownconverter", &DigitalIQDownconverter::UnitTest},
    {"SteppedSpectrum", &SteppedSpectrum::UnitTest},
    {"EMIReceiver", &EMIReceiver::UnitTest},
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
    {"Interpolation", &Interpolation::UnitTest},
    {"NearestInterpolation", &NearestInterpolation::UnitTest},
    {"Spline", &Spline::UnitTest},
    {"CubicHermiteInterpolation", &CubicHermiteInterpolation::UnitTest},
    {"InterpolationFactory", &InterpolationFactory::UnitTest},
    {"VELATimer", &VELATimer::UnitTest},
    {"MGraph", &MGraph::UnitTest},  // through the Octave server, which the test set-up installs
    {"IQTReader", &IQTReader::UnitTest},
    {"MatFileWriter", &MatFileWriter::UnitTest},
    {"MatFileReader", &MatFileReader::UnitTest},
    {"VSAFileWriter", &VSAFileWriter::UnitTest},
    {"SigMFReader", &SigMFReader::UnitTest},
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

// The LUMA calculator records all its cases under its group name, the first ("Realtime Mode") whatever
// the result.
TEST(UnitTestEntryPoints, OrrinLUMASupportRecordsUnderItsGroup) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(OrrinLUMASupport::UnitTest(recorder));
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetTotalTests(), 6);
    EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
    for (const char* name : {"Realtime Mode", "Stitch Mode CR90285", "Stitch Mode CR90692",
                             "Stitch Mode CR91425", "4001 trace point test CR94528", "CR96006"})
        EXPECT_NE(console.find(std::string("  SUCCESS  :Orrin LUMA Support :") + name), std::string::npos)
            << name;
}

// The NEXA calculators read their reference tables from ../../test/unit/testdata: the scratch directory
// gets that layout, as the self-test host has it two levels below the source tree.
TEST(UnitTestEntryPoints, NexaSupportPassesWithItsReferenceTables) {
    namespace fs = std::filesystem;
    for (auto [name, run] : {std::pair{"SorrelNexaSupport", &SorrelNexaSupport::UnitTest},
                             std::pair{"QuillonNexaSupport", &QuillonNexaSupport::UnitTest}}) {
        corvane_test::ScopedWorkDir dir;
        fs::create_directories("host/run");
        fs::create_directory_symlink(CORVANE_SELFTEST_DATA_DIR, "test");
        fs::current_path("host/run");
        UnitTestRecorder recorder;
        testing::internal::CaptureStdout();
        EXPECT_TRUE(run(recorder));
        const std::string console = testing::internal::GetCapturedStdout();
        EXPECT_EQ(recorder.GetTotalTests(), 3);
        EXPECT_EQ(recorder.GetFailedTests(), 0) << console;
        for (const char* label : {"Engineering Symposium Setting", "FindRBWRange", "FPGA Parameters"})
            EXPECT_NE(console.find(std::string("  SUCCESS  :") + name + " :" + label), std::string::npos)
                << label;
        fs::current_path(dir.Path());
    }
}

INSTANTIATE_TEST_SUITE_P(AllClasses, UnitTestEntryPoints, testing::ValuesIn(kEntryPoints),
                         [](const testing::TestParamInfo<EntryPoint>& info) {
                             return std::string(info.param.name);
                         });
