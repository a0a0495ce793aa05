// Self-tests of OrrinLUMASupport: a realtime request, and the stitch and trace-point cases that the
// block's change requests were about, each with the parameters they fixed.
#include <cstdio>

#include "../infra/UnitTestRecorder.h"
#include "OrrinLUMASupport.h"

namespace VELA {

namespace {

const char* const kGroup = "Orrin LUMA Support";

// Every case runs at 150 MHz with the transform limit 2^15 and an 8192-entry window table.
constexpr double kSampleRate = 1.5e8;
constexpr int kTableSize = 8192;
constexpr int kReserved = 32;

struct Params {
    int pointsPerStep, zoomFactor, stitchCount, windowLength, windowStep, transformOrderCode, resamplerOffset,
        decimationStages, decimationEnable, ncoStart, ncoStep, dwellCount;
    float windowGain, actualRBW;
    double outputSampleRate;
};

Params Read(const OrrinLUMASupport& luma) {
    Params p{};
    luma.GetFPGAParameters(p.pointsPerStep, p.zoomFactor, p.stitchCount, p.windowLength, p.windowStep,
                           p.transformOrderCode, p.resamplerOffset, p.decimationStages, p.decimationEnable,
                           p.ncoStart, p.ncoStep, p.dwellCount, p.windowGain, p.outputSampleRate,
                           p.actualRBW);
    return p;
}

}  // namespace

bool OrrinLUMASupport::UnitTest(UnitTestRecorder& recorder) {
    GeneralTest(recorder);
    UnitTestCR90305(recorder);
    UnitTestCR90692(recorder);
    UnitTestCR91425(recorder);
    UnitTestCR94528(recorder);
    UnitTestCR96006(recorder);
    return true;
}

// A full-span realtime request with the default transform limit. It shows the parameters; the record
// is a run marker and passes whatever they are.
bool OrrinLUMASupport::GeneralTest(UnitTestRecorder& recorder) {
    OrrinLUMASupport luma;
    float minRBW = 0, maxRBW = 0;
    luma.FindRBWRange(minRBW, maxRBW, -5e7, 125000.0, 801, 3);
    const OrrinLUMASupportErrorTag status =
        luma.SetMeasurementParameters(kSampleRate, -5e7, 125000.0, 801, 3, 1000.0f, 5, kTableSize, kReserved);
    if (status == LUMASupportSuccess) {
        const Params p = Read(luma);
        std::printf(
            "  RBW range %g .. %g Hz; points/step %d, zoom %d, window %d (step %d), order code %d, "
            "resampler %d, decimation %d/%d, NCO %d/%d, gain %g, output rate %.6f Hz, RBW %g Hz\n",
            minRBW, maxRBW, p.pointsPerStep, p.zoomFactor, p.windowLength, p.windowStep, p.transformOrderCode,
            p.resamplerOffset, p.decimationStages, p.decimationEnable, p.ncoStart, p.ncoStep, p.windowGain,
            p.outputSampleRate, p.actualRBW);
    } else {
        std::printf("  realtime request returned %d\n", static_cast<int>(status));
    }
    recorder.AddTestRecord(kGroup, "Realtime Mode", true);
    return true;
}

bool OrrinLUMASupport::UnitTestCR90305(UnitTestRecorder& recorder) {
    OrrinLUMASupport luma(15);
    const bool ok = luma.SetMeasurementParameters(kSampleRate, -49812736.0, 250315.25628140703, 399, 1, 5e6f,
                                                  300, kTableSize, kReserved, true) == LUMASupportSuccess;
    const Params p = Read(luma);
    recorder.AddTestRecord(kGroup, "Stitch Mode CR90285",
                           ok && p.pointsPerStep == 1 && p.transformOrderCode == 0);
    return true;
}

bool OrrinLUMASupport::UnitTestCR90692(UnitTestRecorder& recorder) {
    OrrinLUMASupport luma(15);
    const bool ok = luma.SetMeasurementParameters(kSampleRate, -49812736.0, 250315.25628140703, 399, 1, 1e6f,
                                                  300, kTableSize, kReserved, true) == LUMASupportSuccess;
    const Params p = Read(luma);
    recorder.AddTestRecord(kGroup, "Stitch Mode CR90692",
                           ok && p.pointsPerStep == 1 && p.zoomFactor == 1 && p.stitchCount == 2 &&
                               p.transformOrderCode == 0 && p.decimationEnable == 1);
    return true;
}

bool OrrinLUMASupport::UnitTestCR91425(UnitTestRecorder& recorder) {
    OrrinLUMASupport luma(15);
    const bool ok = luma.SetMeasurementParameters(kSampleRate, -54868912.0, 375814.4657534247, 293, 1, 1e6f,
                                                  300, kTableSize, kReserved, true) == LUMASupportSuccess;
    const Params p = Read(luma);
    recorder.AddTestRecord(kGroup, "Stitch Mode CR91425",
                           ok && p.pointsPerStep == 1 && p.zoomFactor == 1 && p.stitchCount == 2 &&
                               p.transformOrderCode == 0 && p.decimationEnable == 0 && p.dwellCount == 300);
    return true;
}

bool OrrinLUMASupport::UnitTestCR94528(UnitTestRecorder& recorder) {
    OrrinLUMASupport luma(15);
    const bool ok = luma.SetMeasurementParameters(kSampleRate, -5.5e7, 137500.0, 801, 5, 1e6f, 300,
                                                  kTableSize, kReserved, false) == LUMASupportSuccess;
    const Params p = Read(luma);
    recorder.AddTestRecord(kGroup, "4001 trace point test CR94528",
                           ok && p.pointsPerStep == 5 && p.zoomFactor == 1 && p.stitchCount == 0 &&
                               p.transformOrderCode == 3 && p.decimationEnable == 0 && p.dwellCount == 300);
    return true;
}

bool OrrinLUMASupport::UnitTestCR96006(UnitTestRecorder& recorder) {
    OrrinLUMASupport luma(15);
    const bool ok = luma.SetMeasurementParameters(kSampleRate, -54829588.0, 1612634.9411764706, 69, 1, 1e6f,
                                                  300, kTableSize, kReserved, true) == LUMASupportSuccess;
    const Params p = Read(luma);
    recorder.AddTestRecord(kGroup, "CR96006",
                           ok && p.pointsPerStep == 1 && p.zoomFactor == 1 && p.stitchCount == 11 &&
                               p.transformOrderCode == 0 && p.resamplerOffset == 0 &&
                               p.decimationStages == 0 && p.decimationEnable == 1 &&
                               p.outputSampleRate == kSampleRate);
    return true;
}

}  // namespace VELA
