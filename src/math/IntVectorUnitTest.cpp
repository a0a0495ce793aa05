// Self-tests of VecUInt8, VecInt16 and VecInt32. Integer results are compared exactly (tolerance 0).
#include <climits>

#include "IntVector.h"
#include "infra/UnitTestRecorder.h"
#include "internal/FileSelfTest.h"

namespace VELA {
namespace {

template <class V, class T>
bool Holds(const V& v, const T* expected, int n) {
    if (v.GetSize() != n) return false;
    for (int i = 0; i < n; ++i)
        if (v[i] != expected[i]) return false;
    return true;
}

VecInt16 Int16Of(const short* p, int n) {
    VecInt16 v;
    v.Import(p, n);
    return v;
}

VecInt32 Int32Of(const int* p, int n) {
    VecInt32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = p[i];
    return v;
}

}  // namespace

bool VecUInt8::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "VecUInt8";
    const unsigned char bytes[6] = {0, 1, 127, 128, 254, 255};
    VecUInt8 v;
    v.Import(bytes, 6);
    recorder.AddTestRecord(cls, "Import", Holds(v, bytes, 6) && v.GetCapacity() == 6);

    VecUInt8 c(v);
    recorder.AddTestRecord(cls, "Copy", Holds(c, bytes, 6) && c.Data() != v.Data());
    VecUInt8 a(100);
    a = v;
    recorder.AddTestRecord(cls, "Assign", Holds(a, bytes, 6) && a.GetCapacity() == 6);

    unsigned char out[6] = {};
    v.Export(out, 6);
    bool ok = true;
    for (int i = 0; i < 6; ++i)
        ok = ok && out[i] == bytes[i];
    recorder.AddTestRecord(cls, "Export", ok);

    // Import reuses capacity; Resize within it keeps the contents.
    VecUInt8 big(50);
    const unsigned char* block = big.Data();
    big.Import(bytes, 6);
    ok = big.GetCapacity() == 50 && big.Data() == block && Holds(big, bytes, 6);
    big.Resize(3);
    recorder.AddTestRecord(cls, "Resize", ok && big.GetSize() == 3 && big[2] == 127 && big.Data() == block);

    v.Truncate(2, 3);
    recorder.AddTestRecord(cls, "Truncate",
                           v.GetSize() == 3 && v[0] == 127 && v.GetLastValue() == 254 &&
                               v.ComputeCRC32() == Checksum::ComputeCRC32(3, bytes + 2, 0));
    return true;
}

bool VecInt16::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "VecInt16";
    const short ramp[5] = {1, 2, 3, 4, 5};
    const VecInt16 v = Int16Of(ramp, 5);

    recorder.AddTestRecord(cls, "Sum", v.Sum() == 15);
    VecInt16 c(v);
    recorder.AddTestRecord(cls, "Copy", c.IsEqual(v, 0) && c.Data() != v.Data());
    VecInt16 a(100);
    a = v;
    recorder.AddTestRecord(cls, "Assign", a.IsEqual(v, 0) && a.GetCapacity() == 5);
    short out[5] = {};
    v.Export(out, 5);
    recorder.AddTestRecord(cls, "Import/Export", Holds(v, ramp, 5) && out[0] == 1 && out[4] == 5);

    {
        const short data[7] = {3, -7, 9, 9, -7, 0, 2};
        const VecInt16 t = Int16Of(data, 7);
        short value = 0;
        int index = -1;
        t.Max(value, index);
        bool ok = value == 9 && index == 2 && t.Max() == 9;
        t.Min(value, index);
        recorder.AddTestRecord(cls, "Max, Min", ok && value == -7 && index == 1 && t.Min() == -7);
    }

    {
        VecInt16 w(v);
        w += v;
        const short twice[5] = {2, 4, 6, 8, 10};
        bool ok = Holds(w, twice, 5);
        w -= v;
        ok = ok && w.IsEqual(v, 0);
        w *= v;
        const short squares[5] = {1, 4, 9, 16, 25};
        recorder.AddTestRecord(cls, "+= -= *= vector", ok && Holds(w, squares, 5));

        w = v;
        w += static_cast<short>(10);
        const short plus10[5] = {11, 12, 13, 14, 15};
        ok = Holds(w, plus10, 5);
        recorder.AddTestRecord(cls, "+= const", ok);
        w -= static_cast<short>(10);
        recorder.AddTestRecord(cls, "-= const", w.IsEqual(v, 0));
        w *= static_cast<short>(-3);
        const short times3[5] = {-3, -6, -9, -12, -15};
        recorder.AddTestRecord(cls, "*= const", Holds(w, times3, 5));
    }

    {
        // Saturation at the limits of a short.
        const short hi[4] = {32767, -32768, 30000, -30000};
        const short step[4] = {1, -1, 30000, 30000};
        VecInt16 s = Int16Of(hi, 4);
        s.Add(Int16Of(step, 4));
        const short added[4] = {32767, -32768, 32767, 0};
        bool ok = Holds(s, added, 4);
        s = Int16Of(hi, 4);
        s.Sub(Int16Of(step, 4));
        const short subtracted[4] = {32766, -32767, 0, -32768};
        ok = ok && Holds(s, subtracted, 4);
        s = Int16Of(hi, 4);
        s.Mul(Int16Of(step, 4));
        const short multiplied[4] = {32767, 32767, 32767, -32768};
        ok = ok && Holds(s, multiplied, 4);
        s = Int16Of(hi, 4);
        s.Mul(static_cast<short>(2));
        const short doubled[4] = {32767, -32768, 32767, -32768};
        recorder.AddTestRecord(cls, "Saturation", ok && Holds(s, doubled, 4));

        const short many[3] = {20000, 20000, 20000};
        const short negative[3] = {-20000, -20000, -20000};
        recorder.AddTestRecord(cls, "Sum saturation",
                               Int16Of(many, 3).Sum() == 32767 && Int16Of(negative, 3).Sum() == -32768);
    }

    {
        const short near[5] = {1, 2, 4, 4, 5};
        const VecInt16 n = Int16Of(near, 5);
        const VecInt16 shorter = Int16Of(ramp, 4);
        recorder.AddTestRecord(
            cls, "IsEqual",
            !v.IsEqual(n, 0) && v.IsEqual(n, 1) && !v.IsEqual(shorter, 100) && v.IsEqual(v, 0));
    }

    // ---- files: exact round trip through the indexed text form ----
    internal::RecordTextRoundTrip(recorder, cls, v, 0, true);
    return true;
}

bool VecInt32::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "VecInt32";
    const int ramp[5] = {1, 2, 3, 4, 5};
    const VecInt32 v = Int32Of(ramp, 5);

    {
        // The copy constructor records the size and nothing else.
        VecInt32 c(v);
        bool ok = c.GetSize() == 5 && c.GetCapacity() == 5 && c.Data() == nullptr;
        c.Resize(3);
        ok = ok && c.Data() == nullptr;
        c = v;
        recorder.AddTestRecord(cls, "Copy",
                               ok && c.IsEqual(v, 0) && c.Data() != nullptr && c.Data() != v.Data());
        VecInt32 d(v);
        d.Resize(6);
        recorder.AddTestRecord(cls, "Copy then grow", d.Data() != nullptr && d.GetCapacity() == 6);
    }
    {
        VecInt32 a(100);
        a = v;
        recorder.AddTestRecord(cls, "Assign", a.IsEqual(v, 0) && a.GetCapacity() == 5);
    }

    recorder.AddTestRecord(cls, "Sum", v.Sum() == 15);
    {
        const int data[6] = {-4, 11, 0, 11, -4, 7};
        const VecInt32 t = Int32Of(data, 6);
        int value = 0, index = -1;
        t.Max(value, index);
        bool ok = value == 11 && index == 1 && t.Max() == 11;
        t.Min(value, index);
        recorder.AddTestRecord(cls, "Max, Min", ok && value == -4 && index == 0 && t.Min() == -4);
        const int big[3] = {INT_MAX, INT_MAX, 5};
        recorder.AddTestRecord(cls, "Sum saturation", Int32Of(big, 3).Sum() == INT_MAX);
    }

    {
        VecInt32 w = Int32Of(ramp, 5);
        w -= 2;
        bool ok = w.IsEqual(v, 0);
        w.Sub(2);
        recorder.AddTestRecord(cls, "-= const", ok && w.IsEqual(v, 0));
        w += 2;
        const int plus2[5] = {3, 4, 5, 6, 7};
        recorder.AddTestRecord(cls, "+= const", Holds(w, plus2, 5));
        w = v;
        w *= 3;
        const int times3[5] = {3, 6, 9, 12, 15};
        recorder.AddTestRecord(cls, "*= const", Holds(w, times3, 5));

        w = v;
        w += v;
        w -= v;
        w *= v;
        w.Add(v);
        w.Sub(v);
        w.Mul(v);
        recorder.AddTestRecord(cls, "Vector arithmetic does nothing", w.IsEqual(v, 0));

        const int edge[2] = {INT_MAX, INT_MIN};
        VecInt32 wrap = Int32Of(edge, 2);
        wrap += 1;
        ok = wrap[0] == INT_MIN && wrap[1] == INT_MIN + 1;
        wrap = Int32Of(edge, 2);
        wrap *= 2;
        recorder.AddTestRecord(cls, "Wrapping", ok && wrap[0] == -2 && wrap[1] == 0);
    }

    {
        const int other[5] = {1, 2, 3, 4, 7};
        const VecInt32 o = Int32Of(other, 5);
        recorder.AddTestRecord(cls, "IsEqual",
                               !v.IsEqual(o, 1) && v.IsEqual(o, 2) && !v.IsEqual(Int32Of(ramp, 4), 9));
    }

    // ---- files: the values alone, read back without an index ----
    internal::RecordTextRoundTrip(recorder, cls, v, 0, false);
    return true;
}

}  // namespace VELA
