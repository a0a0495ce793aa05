// Text vector files: any bytes as a file for every Import form of the vectors and BitVector. The
// VecReal64 table form is left out: it keeps its stream open by design, so a long run would use up the
// process's file descriptors; it shares its reading code with the VecReal32 table form, which is here.
#include <cstdint>

#include "FuzzFile.h"
#include "math/BitVector.h"
#include "math/IntVector.h"
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
    fuzz::Params p(data, size, 2);
    // One import per run, chosen by the first byte; the second gives the index flag, the table's
    // columns and column, and the bit table's width.
    const uint8_t op = p.Byte();
    const uint8_t choice = p.Byte();
    const char* path = file.Fill(data, size);
    const bool index = choice & 1;
    Try([&] {
        switch (op % 10) {
            case 0: {
                VELA::VecReal32 v;
                v.Import(path, index);
                break;
            }
            case 1: {
                VELA::VecReal32 v;
                v.Import(path, 1 + (choice >> 1) % 4, (choice >> 3) % 4);
                break;
            }
            case 2: {
                VELA::VecReal64 v;
                v.Import(path, index);
                break;
            }
            case 3: {
                VELA::VecCplx32 v;
                v.Import(path, index);
                break;
            }
            case 4: {
                VELA::VecCplx64 v;
                v.Import(path, index);
                break;
            }
            case 5: {
                VELA::VecInt16 v;
                v.Import(path, index);
                break;
            }
            case 6: {
                VELA::VecInt32 v;
                v.Import(path, index);
                break;
            }
            case 7: {
                VELA::VecUInt32 v;
                v.Import(path, index);
                break;
            }
            case 8: {
                VELA::BitVector v;
                v.Import(path, static_cast<int>(choice >> 1) - 1, index);
                break;
            }
            default: {
                // A vector that records a size without storage must be given storage, not written through
                // null.
                VELA::VecInt32 sized(8);
                VELA::VecInt32 hollow(sized);
                hollow.Import(path, index);
                break;
            }
        }
    });
    return 0;
}
