// The self-test host: runs the UnitTest entry points of the library's classes on one recorder, prints
// the summary, and leaves "VELAUnitTestRelease.log" in the working directory.
//
// Usage: corvane-selftest [--list] [name...]
//   no names   run every entry point in the table, in table order (not those run only on request)
//   names      run only those, in the order given; an unknown name is an error (exit 2)
//   --list     print the names and exit
// Exit status: 0 when every case passed, 1 when any case failed (or the log could not be opened).
#include <corvane/corvane.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

using EntryPoint = bool (*)(VELA::UnitTestRecorder&);

struct Entry {
    const char* name;
    EntryPoint run;
};

// One line per entry point. To add a class, add its line here.
const Entry kRegistry[] = {
    {"VecReal32", &VELA::VecReal32::UnitTest},
    {"VecReal32::SimpleLeakTest", &VELA::VecReal32::SimpleLeakTest},
    {"VecReal64", &VELA::VecReal64::UnitTest},
    {"VecCplx32", &VELA::VecCplx32::UnitTest},
    {"VecCplx64", &VELA::VecCplx64::UnitTest},
    {"VecUInt8", &VELA::VecUInt8::UnitTest},
    {"VecInt16", &VELA::VecInt16::UnitTest},
    {"VecInt32", &VELA::VecInt32::UnitTest},
    {"BitVector", &VELA::BitVector::UnitTest},
    {"Checksum", &VELA::Checksum::UnitTest},
    {"MatReal32", &VELA::MatReal32::UnitTest},
    {"MatReal32::SimpleLeakTest", &VELA::MatReal32::SimpleLeakTest},
    {"MatReal64", &VELA::MatReal64::UnitTest},
    {"MathUtils", &VELA::MathUtils::UnitTest},
    {"Complex", &VELA::Complex::UnitTest},
    {"Interpolation", &VELA::Interpolation::UnitTest},
    {"NearestInterpolation", &VELA::NearestInterpolation::UnitTest},
    {"Spline", &VELA::Spline::UnitTest},
    {"CubicHermiteInterpolation", &VELA::CubicHermiteInterpolation::UnitTest},
    {"InterpolationFactory", &VELA::InterpolationFactory::UnitTest},
    {"FT", &VELA::FT::UnitTest},
    {"DFT", &VELA::DFT::UnitTest},
    {"FFT", &VELA::FFT::UnitTest},
    {"DSPUtils", &VELA::DSPUtils::UnitTest},
    {"Window", &VELA::Window::UnitTest},
    {"BlackmanHarrisWindow", &VELA::BlackmanHarrisWindow::UnitTest},
    {"FlatTopWindow", &VELA::FlatTopWindow::UnitTest},
    {"GaussWindow", &VELA::GaussWindow::UnitTest},
    {"HannWindow", &VELA::HannWindow::UnitTest},
    {"KaiserWindow", &VELA::KaiserWindow::UnitTest},
    {"CISPR6dBWindow", &VELA::CISPR6dBWindow::UnitTest},
    {"TaylorWindow", &VELA::TaylorWindow::UnitTest},
    {"WindowFactory", &VELA::WindowFactory::UnitTest},
    {"Spectrum", &VELA::Spectrum::UnitTest},
    {"ChirpZ", &VELA::ChirpZ::UnitTest},
    {"VideoBandwidth", &VELA::VideoBandwidth::UnitTest},
    {"CISPRDetector", &VELA::CISPRDetector::UnitTest},
    {"EMIReceiver", &VELA::EMIReceiver::UnitTest},
    {"DigitalSource", &VELA::DigitalSource::UnitTest},
    {"DigitalZoom", &VELA::DigitalZoom::UnitTest},
    {"DigitalIQDownconverter", &VELA::DigitalIQDownconverter::UnitTest},
    {"SteppedSpectrum", &VELA::SteppedSpectrum::UnitTest},
    {"SteppedSpectrum::TestVBW", &VELA::SteppedSpectrum::TestVBW},
    {"SteppedSpectrum::MemoryLeakTest", &VELA::SteppedSpectrum::MemoryLeakTest},
    {"WaveformGenerator", &VELA::WaveformGenerator::UnitTest},
    {"FIRFilter", &VELA::FIRFilter::UnitTest},
    {"SFIRFilter", &VELA::SFIRFilter::UnitTest},
    {"DecimationFilter", &VELA::DecimationFilter::UnitTest},
    {"RaisedCosineFilter", &VELA::RaisedCosineFilter::UnitTest},
    {"RootRaisedCosineFilter", &VELA::RootRaisedCosineFilter::UnitTest},
    {"GaussianFilter", &VELA::GaussianFilter::UnitTest},
    {"GaussRectFilter", &VELA::GaussRectFilter::UnitTest},
    {"RectangularFilter", &VELA::RectangularFilter::UnitTest},
    {"LowPassFilter", &VELA::LowPassFilter::UnitTest},
    {"HighPassFilter", &VELA::HighPassFilter::UnitTest},
    {"BandPassFilter", &VELA::BandPassFilter::UnitTest},
    {"C4FMReverseShapingFilter", &VELA::C4FMReverseShapingFilter::UnitTest},
    {"IS95ReferenceFilter", &VELA::IS95ReferenceFilter::UnitTest},
    {"IS95TXMeasurementFilter", &VELA::IS95TXMeasurementFilter::UnitTest},
    {"IS95TXEQMeasurementFilter", &VELA::IS95TXEQMeasurementFilter::UnitTest},
    {"FIRFilterFactory", &VELA::FIRFilterFactory::UnitTest},
    {"IntegralGaussianFilter", &VELA::IntegralGaussianFilter::UnitTest},
    {"IntegralRectFilter", &VELA::IntegralRectFilter::UnitTest},
    {"UserDefinedFilter", &VELA::UserDefinedFilter::UnitTest},
    {"IntegralUserDefinedFilter", &VELA::IntegralUserDefinedFilter::UnitTest},
    {"RBWFilter", &VELA::RBWFilter::UnitTest},
    {"OrrinLUMASupport", &VELA::OrrinLUMASupport::UnitTest},
    {"SorrelNexaSupport", &VELA::SorrelNexaSupport::UnitTest},
    {"QuillonNexaSupport", &VELA::QuillonNexaSupport::UnitTest},
    {"VELATimer", &VELA::VELATimer::UnitTest},
    {"MGraph", &VELA::MGraph::UnitTest},
    {"IQTReader", &VELA::IQTReader::UnitTest},
    {"MatFileWriter", &VELA::MatFileWriter::UnitTest},
    {"MatFileReader", &VELA::MatFileReader::UnitTest},
    {"VSAFileWriter", &VELA::VSAFileWriter::UnitTest},
    {"SigMFReader", &VELA::SigMFReader::UnitTest},
};

// Entry points run only when named: long timing runs that the default run leaves out.
const Entry kOnRequest[] = {
    {"FFT::UnitTimeTest", &VELA::FFT::UnitTimeTest},
};

const Entry* Find(const char* name) {
    for (const Entry& e : kRegistry)
        if (std::strcmp(e.name, name) == 0) return &e;
    for (const Entry& e : kOnRequest)
        if (std::strcmp(e.name, name) == 0) return &e;
    return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<const Entry*> selected;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--list") == 0) {
            for (const Entry& e : kRegistry)
                std::printf("%s\n", e.name);
            for (const Entry& e : kOnRequest)
                std::printf("%s (only when named)\n", e.name);
            return 0;
        }
        const Entry* e = Find(argv[i]);
        if (!e) {
            std::fprintf(stderr, "corvane-selftest: unknown class '%s' (--list shows the names)\n", argv[i]);
            return 2;
        }
        selected.push_back(e);
    }
    if (selected.empty())
        for (const Entry& e : kRegistry)
            selected.push_back(&e);

    VELA::UnitTestRecorder recorder;
    for (const Entry* e : selected) {
        // The entry points do not catch: an exception that escapes one is a failure of the run, so it is
        // reported and the remaining classes still run.
        try {
            e->run(recorder);
        } catch (const VELA::VELAException& x) {
            x.Print();
            recorder.AddTestRecord(e->name, "uncaught VELAException", false);
        } catch (...) {
            recorder.AddTestRecord(e->name, "uncaught exception", false);
        }
    }
    recorder.DisplaySummary();
    return recorder.GetFailedTests() == 0 ? 0 : 1;
}
