// The .iqt frame reads: the first 24 bytes of the input choose the requests, the rest is the capture
// file. Every read form runs on whatever reader the file gives; requests outside the file or the caller's
// arrays must be refused with a VELAException, never read or written out of bounds.
#include <cstdint>
#include <cstdio>

#include "FuzzFile.h"
#include "infra/IQTReader.h"
#include "math/VELAError.h"
#include "math/Vector.h"

namespace {

// Runs one read, swallowing the library's refusals.
template <class F>
void Try(F&& f) {
    try {
        f();
    } catch (const VELA::VELAException&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::InputFile file;
    fuzz::Params p(data, size, 15);
    // One read per run, chosen by the first byte: each read opens the file, so running them all would
    // multiply the cost of a run without adding paths. Frame numbers and sample starts come as they are
    // (negative and huge included); the counts are bounded, since a caller asking for billions of
    // samples is asking for that memory.
    const uint8_t op = p.Byte();
    const bool small = p.Byte() & 1;
    const int rawFirst = p.Int();
    const int frameCount = static_cast<int>(p.Byte() % 12) - 1;
    const int rawStart = p.Int();
    const int count = static_cast<int>(static_cast<uint32_t>(p.Int()) % 20000) - 1;
    const int first = small ? rawFirst & 15 : rawFirst;
    const int start = small ? rawStart & 0x3FFF : rawStart;
    const char* path = file.Fill(data, size);

    VELA::IQTReader* reader = nullptr;
    try {
        reader = new VELA::IQTReader(path);
    } catch (const VELA::VELAException&) {
        return 0;
    }
    VELA::FrameHeader headers[12];
    VELA::VecCplx32 c32;
    VELA::VecCplx64 c64;
    VELA::VecReal32 a, b;
    VELA::VecReal64 a64, b64;
    Try([&] {
        switch (op % 11) {
            case 0:
                reader->GetIQData(first, frameCount, headers, c32);
                break;
            case 1:
                reader->GetIQData2(first, frameCount, headers, c32);
                break;
            case 2:
                reader->GetRawIQAPData(first, frameCount, headers, a, b);
                break;
            case 3:
                reader->GetFlatness(headers, a, b);
                break;
            case 4:
                reader->GetFlatness(headers, a64, b64);
                break;
            case 5:
                reader->GetFlatness(a, b);
                break;
            case 6:
                reader->GetRawFlatness(nullptr, a, b);
                break;
            case 7:
                reader->ReadIQData(start, count, c32);
                break;
            case 8:
                reader->ReadIQData(start, count, c64);
                break;
            case 9:
                reader->ReadIQData(0, start, count, c32);
                break;
            default:
                reader->ReadIQData(0, start, count, c64);
                break;
        }
    });
    delete reader;
    return 0;
}
