// Self-test of BitVector.
#include <cstdio>

#include "BitVector.h"
#include "IntVector.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {
namespace {

// True when the table has the given shape and bytes.
bool Holds(const BitVector& b, const unsigned char* bytes, int rows, int cols) {
    if (b.GetCodeLen() != rows || b.GetCodeWordLen() != cols) return false;
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j)
            if (b[i][j] != bytes[i * cols + j]) return false;
    return true;
}

}  // namespace

bool BitVector::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "BitVector";
    const short words[4] = {1, 3, 2, 0};
    VecInt16 v;
    v.Import(words, 4);
    const unsigned char rows01[8] = {0, 1, 1, 1, 1, 0, 0, 0};  // 01, 11, 10, 00

    const BitVector code(v, 2);
    recorder.AddTestRecord(cls, "Construct from VecInt16", Holds(code, rows01, 4, 2));
    {
        VecInt16 back;
        code.Export(back, 4);
        recorder.AddTestRecord(cls, "Export to VecInt16", back.IsEqual(v, 0));
        // A negative word keeps its two's complement bits: -2 in 4 bits is 1110.
        const short negative[1] = {-2};
        VecInt16 n;
        n.Import(negative, 1);
        BitVector four(n, 4);
        const unsigned char bits[4] = {1, 1, 1, 0};
        four.Export(back, 1);
        recorder.AddTestRecord(cls, "Import negative word", Holds(four, bits, 1, 4) && back[0] == 14);
    }

    {
        BitVector fresh(4, 2);
        const unsigned char zeros[8] = {};
        bool ok = Holds(fresh, zeros, 4, 2);
        fresh.Set(1);
        BitVector t(code);
        t.And(fresh);
        recorder.AddTestRecord(cls, "Construct, Set, And", ok && t.IsEqual(code));
        t.Or(fresh);
        const unsigned char ones[8] = {1, 1, 1, 1, 1, 1, 1, 1};
        recorder.AddTestRecord(cls, "Or", Holds(t, ones, 4, 2));
        BitVector x(code);
        x.Xor(fresh);
        x.Not();
        recorder.AddTestRecord(cls, "Xor, Not", x.IsEqual(code));

        BitVector out;
        out.And(out, code, fresh);
        ok = out.IsEqual(code);
        out.Xor(out, code, code);
        ok = ok && Holds(out, zeros, 4, 2);
        BitVector out2;
        out2.Or(out2, out, fresh);
        recorder.AddTestRecord(cls, "And, Or, Xor into an output", ok && Holds(out2, ones, 4, 2));
    }

    {
        // The two Not forms differ on purpose: only the in-place one is logical.
        const unsigned char mixed[3] = {0, 1, 255};
        BitVector m;
        m.Import(mixed, 1, 3);
        BitVector inPlace(m);
        inPlace.Not();
        const unsigned char logical[3] = {1, 0, 255};
        recorder.AddTestRecord(cls, "Not keeps unknown bits", Holds(inPlace, logical, 1, 3));
        BitVector complement;
        complement.Not(complement, m);
        const unsigned char bytewise[3] = {255, 254, 0};
        recorder.AddTestRecord(cls, "Not into an output is bytewise", Holds(complement, bytewise, 1, 3));
        BitVector and1(m), ones(1, 3);
        ones.Set(1);
        and1.And(ones);
        BitVector xor1(m);
        xor1.Xor(ones);
        recorder.AddTestRecord(cls, "Logic on unknown bits", and1[0][2] == 1 && xor1[0][2] == 254);
        recorder.AddTestRecord(cls, "Validate", m.Validate() && !xor1.Validate() && BitVector().Validate());
    }

    recorder.AddTestRecord(
        cls, "IsValidBit",
        code.IsValidBit(0) && code.IsValidBit(1) && code.IsValidBit(255) && !code.IsValidBit(2));
    recorder.AddTestRecord(
        cls, "GetPrintChar",
        code.GetPrintChar(0) == '0' && code.GetPrintChar(1) == '1' && code.GetPrintChar(255) == 'x');

    {
        BitVector c(code);
        BitVector a(10, 10);
        a = code;
        BitVector wide(4, 3);
        recorder.AddTestRecord(cls, "Copy",
                               c.IsEqual(code) && a.IsEqual(code) && a.GetCapacity() == 8 &&
                                   !wide.IsEqual(BitVector(4, 2)) && c.Data() != code.Data());
        unsigned char bytes[8] = {};
        code.Export(bytes, 3);
        BitVector imported;
        imported.Import(bytes, 3, 2);
        recorder.AddTestRecord(cls, "Import/Export bytes", Holds(imported, rows01, 3, 2) && bytes[6] == 0);
    }

    // ---- files: a table of 0 and 1 read back equal ----
    {
        bool passed = false;
        try {
            code.Dump("BitVectorUnitTest.txt", false);
            BitVector back;
            back.Import("BitVectorUnitTest.txt", code.GetCodeWordLen(), false);
            passed = back.IsEqual(code);
        } catch (const VELAException&) {
        }
        std::remove("BitVectorUnitTest.txt");
        recorder.AddTestRecord(cls, "Import/Dump", passed);
    }
    return true;
}

}  // namespace VELA
