// Binary vector files: any bytes as a file for the Load of each of the four vector types, the range
// load and the header-only load of VecCplx32. The first 9 bytes of the input choose the load and give
// the range's start and count.
#include <cstdint>

#include "FuzzFile.h"
#include "math/VELAError.h"
#include "math/Vector.h"

namespace {

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
    fuzz::Params p(data, size, 9);
    // One load per run, chosen by the first byte (each load opens the file).
    const uint8_t op = p.Byte();
    const int start = p.Int();
    const int count = p.Int();
    const char* path = file.Fill(data, size);
    VELA::VecReal32 r32;
    VELA::VecReal64 r64;
    VELA::VecCplx32 c32;
    VELA::VecCplx64 c64;
    int length = 0;
    float a = 0, b = 0, c = 0;
    Try([&] {
        switch (op % 7) {
            case 0:
                r32.Load(path);
                break;
            case 1:
                r64.Load(path);
                break;
            case 2:
                c32.Load(path);
                break;
            case 3:
                c64.Load(path);
                break;
            case 4:
                c32.Load(path, start, count);
                break;
            case 5:
                c32.Load(path, start & 0xFFFF, count & 0xFFFF);
                break;
            default:
                c32.Load(path, length, a, b, c);
                break;
        }
    });
    return 0;
}
