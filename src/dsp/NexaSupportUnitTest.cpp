// Self-tests of SorrelNexaSupport and QuillonNexaSupport: the NCO step of a known setting, the RBW range
// at a known rate, and the three tables of the FPGA setting against reference tables generated
// independently in double precision (test/unit/testdata, two levels above the working directory).
#include <cmath>
#include <cstdio>
#include <string>

#include "../infra/UnitTestRecorder.h"
#include "NexaSupport.h"

namespace VELA {

namespace {

// Where the self-test host finds the reference tables, relative to its working directory.
const char* const kTableDir = "../../test/unit/testdata/";
// Agreement with the reference tables, in units of the left-justified 32-bit word.
constexpr int kTableTolerance = 1000000;

// One decimal integer per line, as the integer vectors' text files hold them. A line that does not
// parse ends the table. False when the file cannot be opened.
bool ReadTable(VecInt32& out, const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "r");
    if (!f) {
        std::printf("  cannot open reference table %s\n", path.c_str());
        return false;
    }
    int count = 0, value = 0;
    while (std::fscanf(f, "%d", &value) == 1)
        ++count;
    out.Resize(count);
    std::rewind(f);
    for (int i = 0; i < count && std::fscanf(f, "%d", &value) == 1; ++i)
        out[i] = value;
    std::fclose(f);
    return true;
}

bool MatchesTable(const VecInt32& words, const char* name) {
    VecInt32 reference;
    if (!ReadTable(reference, std::string(kTableDir) + name)) return false;
    const bool equal = words.IsEqual(reference, kTableTolerance);
    if (!equal) std::printf("  %s differs from the reference table beyond %d units\n", name, kTableTolerance);
    return equal;
}

template <class Support>
void RunCases(UnitTestRecorder& recorder, const char* cls) {
    {
        Support nexa(501, 300, 24, 1024);
        const bool ok = nexa.SetMeasurementParameters(5e7f, 3.6e7f, 300000.0f, 300, WindowTypeKaiser) ==
                        NexaSupportSuccess;
        int start = 0, step = 0;
        nexa.GetNCOParameters(start, step);
        recorder.AddTestRecord(cls, "Engineering Symposium Setting", ok && step == 20575);
    }
    {
        float minRBW = 0, maxRBW = 0;
        const bool ok = Support::FindRBWRange(minRBW, maxRBW, 800000.0f, 501, 5, 1024, WindowTypeKaiser) ==
                        NexaSupportSuccess;
        recorder.AddTestRecord(
            cls, "FindRBWRange",
            ok && std::fabs(minRBW - 3184.58) <= 0.01 && std::fabs(maxRBW - 89168.0) <= 0.1);
    }
    {
        Support nexa(501, 5, 24, 1024);
        bool ok = nexa.SetMeasurementParameters(800000.0f, 800000.0f, 50000.0f, 5, WindowTypeKaiser) ==
                  NexaSupportSuccess;
        // 800 kHz / 50 kHz times the standard mode's 2.2292 rounds to a 36-point window.
        ok = ok && std::lround(800000.0 / nexa.GetActualRBW() * 2.2292) == 36;
        VecInt32 re, im;
        nexa.GetWnVector(re, im);
        ok = MatchesTable(re, "Wn_Real.txt") && MatchesTable(im, "Wn_Imag.txt") && ok;
        nexa.GetVrVector(re, im);
        ok = MatchesTable(re, "Vr_Real.txt") && MatchesTable(im, "Vr_Imag.txt") && ok;
        nexa.GetWkVector(re, im);
        ok = MatchesTable(re, "Wk_Real.txt") && MatchesTable(im, "Wk_Imag.txt") && ok;
        recorder.AddTestRecord(cls, "FPGA Parameters", ok && nexa.GetWindowGain() == 0x800000);
    }
}

}  // namespace

bool SorrelNexaSupport::UnitTest(UnitTestRecorder& recorder) {
    RunCases<SorrelNexaSupport>(recorder, "SorrelNexaSupport");
    return true;
}

bool QuillonNexaSupport::UnitTest(UnitTestRecorder& recorder) {
    RunCases<QuillonNexaSupport>(recorder, "QuillonNexaSupport");
    return true;
}

}  // namespace VELA
