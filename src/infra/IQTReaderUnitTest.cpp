// Self-test of IQTReader on the test capture "cdma2kfwd5mspan.iqt" (written by
// testdata/make_cdma2kfwd5mspan.py): the header values it was made with, the correction record, and the
// data of its one block.
#include <cmath>
#include <cstdlib>
#include <vector>

#include "IQTReader.h"
#include "UnitTestRecorder.h"
#include "Utilities.h"
#include "math/Vector.h"

namespace VELA {

namespace {

// Where the capture lies seen from the self-test host (build/tools/corvane-selftest in a build
// directory at the top of the source tree).
const char* const kCapture = "..\\src\\infra\\testdata\\cdma2kfwd5mspan.iqt";

// The capture's mean power in dBm: its signal was made with an RMS of 4,000 raw words plus a tone of a
// tenth of that, and a raw word of 32,768 is the peak voltage of -20 dBm (50 ohms).
double DesignedPowerDbm() {
    const double rmsWords = 4000.0 * std::sqrt(1.0 + 0.1 * 0.1);
    return 20.0 * std::log10(rmsWords / 32768.0) - 20.0;
}

// The scaled table is the raw one times 1/128, the phase with its sign turned.
bool CorrectionTableHolds(const IQTReader& reader) {
    FrameHeader header;
    VecReal32 amplitude, phase, rawAmplitude, rawPhase;
    if (!reader.GetFlatness(&header, amplitude, phase)) return false;
    if (!reader.GetRawFlatness(&header, rawAmplitude, rawPhase)) return false;
    if (amplitude.GetSize() != 1024 || phase.GetSize() != 1024 || rawAmplitude.GetSize() != 1024)
        return false;
    bool nonzero = false;
    for (int i = 0; i < 1024; ++i) {
        if (amplitude[i] != rawAmplitude[i] / 128.0f || phase[i] != -rawPhase[i] / 128.0f) return false;
        nonzero = nonzero || rawAmplitude[i] != 0.0f;
    }
    return nonzero && !header.IsIQFrame() && !header.IsAPFrame();
}

// A request of 128,000 samples from sample 100 is cut at the end of the block: 127,900 samples, the
// frames' own samples from position 100 on, at the power the capture was made with.
bool DataHolds(const IQTReader& reader) {
    VecCplx32 data, frames;
    if (reader.ReadIQData(0, 100, 128000, data) != 127900 || data.GetSize() != 127900) return false;
    std::vector<FrameHeader> headers(125);
    if (!reader.GetIQData(0, 125, headers.data(), frames) || frames.GetSize() != 128000) return false;
    double power = 0.0;
    for (int i = 0; i < 127900; ++i) {
        if (data[i].re != frames[i + 100].re || data[i].im != frames[i + 100].im) return false;
        power += static_cast<double>(data[i].re) * data[i].re + static_cast<double>(data[i].im) * data[i].im;
    }
    for (const FrameHeader& h : headers)
        if (!h.IsIQFrame()) return false;
    // Mean power of a complex envelope in volts peak: |x|^2 / (2 * 50 ohms), in dBm.
    const double dbm = 10.0 * std::log10(power / 127900 / 100.0 * 1000.0);
    return std::fabs(dbm - DesignedPowerDbm()) < 0.1;
}

}  // namespace

bool IQTReader::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "IQTReader";
    char* path = Utilities::GetAbsolutePath(kCapture);
    bool header = false, correction = false, data = false;
    try {
        IQTReader reader(path ? path : "");
        int first = 0, second = 0;
        reader.GetTrigPos(first, second);
        header = reader.GetFFTPoints() == 1024 && reader.GetNofBins() == 801 &&
                 reader.GetNofValidFrames() == 125 && reader.GetBlockSize() == 125 &&
                 reader.GetNofMultiFrames() == 1 && reader.GetNofBlocks() == 1 &&
                 reader.GetFirstBlockSize() == 125 && Compare(reader.GetFrameLength(), 0.00016, 1e-10) &&
                 Compare(reader.GetUnitPeriod(), "160u", "1e-10") &&
                 Compare(reader.GetCenterFrequency(), "2.1175G", "100") &&
                 Compare(reader.GetSpan(), "5M", "1") && Compare(reader.GetMaxInputLevel(), -20.0, 0.0001) &&
                 reader.GetNofSamplesInBlock() == 128000 && reader.GetNoflSamplesInFile() == 128000 &&
                 first == 128000 && second == 128000 && Compare(reader.GetSamplingFrequency(), 6.4e6, 1e-3);
        correction = CorrectionTableHolds(reader);
        data = DataHolds(reader);
    } catch (const VELAException& e) {
        e.Print();
    }
    std::free(path);
    recorder.AddTestRecord(cls, "Reading IQT File and parsing Header", header);
    recorder.AddTestRecord(cls, "Extracting Correction Table", correction);
    recorder.AddTestRecord(cls, "Extracting Data", data);
    return true;
}

}  // namespace VELA
