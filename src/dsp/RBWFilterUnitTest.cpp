// Self-test of RBWFilter on an object for a 50 Hz widest rate: the decimation rules, a Gauss and a
// Kaiser design in hardware words, and the default filter.
#include <cmath>
#include <cstdint>

#include "../infra/UnitTestRecorder.h"
#include "RBWFilter.h"

namespace VELA {

namespace {

// A 32-bit word within 1e-5 of full scale of the expected one: the last bits of a 32-bit word follow
// the rounding of the taper's arithmetic (ours is 1.3e-6 of full scale from these two).
bool NearWord32(unsigned int actual, unsigned int expected) {
    const double diff = std::fabs(static_cast<double>(static_cast<int32_t>(actual)) -
                                  static_cast<double>(static_cast<int32_t>(expected)));
    return diff <= 1e-5 * 2147483647.0;
}

}  // namespace

bool RBWFilter::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "RBWFilter";
    RBWFilter filter(40.0f, 50.0f);

    {
        long long factor = 0;
        float outRate = 0;
        filter.GetDecimationFactor(factor, outRate, 25.0f, 1.0f);
        bool ok = factor == 2 && outRate == 12.5f;
        filter.GetDecimationFactor(factor, outRate, 50.0f, 2.4f);
        ok = ok && factor == 2 && outRate == 25.0f;
        filter.GetDecimationFactor(factor, outRate, 150.0f, 0.2f);
        ok = ok && factor == 64 && outRate == 2.34375f;
        recorder.AddTestRecord(cls, "GetDecimationFactor", ok);
    }
    {
        VecUInt32 words;
        filter.Apply(words, 50.0f, 20.0f, 40, 18);
        recorder.AddTestRecord(cls, "Gauss words", words.GetSize() == 40 && words[18] == 11675u);
    }
    {
        VecUInt32 words;
        filter.Apply(words, 25.0f, 2.0f, 128, 32);
        float gain = 0, delay = 0;
        filter.GetProperties(gain, delay);
        const bool ok = words.GetSize() == 128 && NearWord32(words[62], 0x6eec767fu) &&
                        NearWord32(words[63], 0x79212d7fu) && gain == 8.0f && delay == 63.5f;
        recorder.AddTestRecord(cls, "Kaiser words", ok);
        filter.Apply(words, 2.34375f, 0.2f, 128, 32);
        recorder.AddTestRecord(cls, "Kaiser words after decimation",
                               words.GetSize() == 128 && words[62] == 0x3a637b00u);
    }
    {
        VecUInt32 words;
        filter.GetDefaultCoef(words, 4, 16);
        float gain = 0, delay = 0;
        GetDefaultProperties(gain, delay);
        const bool ok = words.GetSize() == 4 && words[0] == 32767u && words[1] == 0u && words[3] == 0u &&
                        gain == 1.0f && delay == 0.0f;
        recorder.AddTestRecord(cls, "Default filter", ok);
    }
    return true;
}

}  // namespace VELA
