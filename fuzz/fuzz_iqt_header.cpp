// The .iqt header parser: any bytes as a capture file. The constructor either refuses the file with a
// VELAException or gives a reader whose header table and values can all be read.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "FuzzFile.h"
#include "infra/IQTReader.h"
#include "math/VELAError.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // ListHeader prints the table; keep the console quiet.
    if (!std::freopen("/dev/null", "w", stdout)) return 1;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::InputFile file;
    const char* path = file.Fill(data, size);
    try {
        VELA::IQTReader reader(path);
        // Every value, summed so that nothing is optimised away (unsigned: the sum may wrap).
        volatile double sink = reader.GetScalingFactor() + reader.GetSamplingFrequency() +
                               reader.GetCenterFrequency() + reader.GetSpan() + reader.GetUnitPeriod() +
                               reader.GetFrameLength() + reader.GetMaxInputLevel();
        int first = 0, second = 0;
        reader.GetTrigPos(first, second);
        const int counts[] = {reader.GetDataOffset(),
                              reader.GetNofValidFrames(),
                              reader.GetFFTPoints(),
                              reader.GetNofBins(),
                              reader.GetNofMultiFrames(),
                              reader.GetNofBlocks(),
                              reader.GetBlockSize(),
                              reader.GetFirstBlockSize(),
                              reader.GetNofSamplesInBlock(),
                              reader.GetNoflSamplesInFile(),
                              first,
                              second};
        volatile unsigned total = 0;
        for (int c : counts)
            total = total + static_cast<unsigned>(c);
        (void)sink;
        char value[61];
        for (const char* key : {"FFTPoints", "BlockSize", "ValidFrames", "Span", "", "K"})
            reader.GetHeader(key, value);
        // A key taken from the input itself, so that lookups of present keys are exercised too.
        const size_t n = size < 40 ? size : 40;
        std::string key(reinterpret_cast<const char*>(data), n);
        reader.GetHeader(key.c_str(), value);
        reader.ListHeader();
        VELA::IQTReader copy(reader);
        copy.GetHeader("BlockSize", value);
    } catch (const VELA::VELAException&) {
    }
    return 0;
}
