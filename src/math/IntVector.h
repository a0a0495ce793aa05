// VecUInt8, VecInt16, VecInt32, VecUInt32: integer containers for raw bytes, 16-bit samples and
// counters, and index lists.
//
// They are far thinner and less even than the float vectors: each class has exactly the members listed
// below, and nothing is added for symmetry. Shared contracts:
// - every operation acts on the visible window (Data(), GetSize()) and on this->GetSize() elements;
//   second operands are not compared in length;
// - copies are deep and exact, operator= never reuses capacity, Import reuses it through Resize
//   (except the copy constructors of VecInt32 and VecUInt32, see there); Import and Export may be given
//   a pointer into the vector's own block (their copies are overlap-safe), and an operand may be the
//   vector itself;
// - an allocation failure throws "memory allocation error" (no report file for these classes).
//
// VecInt32 and VecUInt32 are incomplete on purpose: their copy constructors allocate nothing and most
// of VecInt32's arithmetic does nothing. Code that relies on these classes depends on that exact shape.
#pragma once
#include "VELAExport.h"

#include "BaseVector.h"

namespace VELA {

class UnitTestRecorder;

// Bytes.
class VELA_API VecUInt8 : public BaseVector<unsigned char> {
  public:
    VecUInt8() = default;
    explicit VecUInt8(int n);  // n elements, contents undefined; n = 0 allocates nothing
    VecUInt8(const VecUInt8& v);
    ~VecUInt8() override = default;
    VecUInt8& operator=(const VecUInt8& v);

    void Import(const unsigned char* p, int n);  // Resize(n), copy n bytes
    void Export(unsigned char* p, int n) const;  // copies n bytes out; n is the caller's

    // Console print: every element as "\n [%2d]= %d", or the first and last n around a line of dots
    // when there are more than 2 * n.
    void Dump(int n) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
};

// 16-bit samples. Arithmetic saturates at -32768 and 32767.
class VELA_API VecInt16 : public BaseVector<short> {
  public:
    VecInt16() = default;
    explicit VecInt16(int n);
    VecInt16(const VecInt16& v);
    ~VecInt16() override = default;
    VecInt16& operator=(const VecInt16& v);

    void Import(const short* p, int n);  // Resize(n), copy
    void Export(short* p, int n) const;

    // Extremes; the index forms report the first index on ties.
    short Max() const;
    void Max(short& value, int& index) const;
    short Min() const;
    void Min(short& value, int& index) const;
    // Exact sum, saturated once to a short.
    short Sum() const;

    void Add(const VecInt16& v);  // this = sat(this + v)
    void Sub(const VecInt16& v);  // this = sat(this - v)
    void Mul(const VecInt16& v);  // this = sat(this * v)
    void Add(const short& s);
    void Sub(const short& s);
    void Mul(const short& s);
    VecInt16& operator+=(const VecInt16& v) {
        Add(v);
        return *this;
    }
    VecInt16& operator-=(const VecInt16& v) {
        Sub(v);
        return *this;
    }
    VecInt16& operator*=(const VecInt16& v) {
        Mul(v);
        return *this;
    }
    VecInt16& operator+=(const short& s) {
        Add(s);
        return *this;
    }
    VecInt16& operator-=(const short& s) {
        Sub(s);
        return *this;
    }
    VecInt16& operator*=(const short& s) {
        Mul(s);
        return *this;
    }

    // Sizes differ: false. Otherwise |this[i] - other[i]| <= tolerance for every i (note <=, so 0 is
    // exact equality). Prints nothing.
    bool IsEqual(const VecInt16& other, int tolerance) const;

    void Dump(int n) const;  // as VecUInt8::Dump
    // Text file, "%10d        %d\n" per element (index, value); writes are not checked. With verbose,
    // "\n====<path> saved" goes to stdout after the close. "error opening file" if it cannot be made.
    void Dump(const char* path, bool verbose) const;
    // Reads a text file: with hasIndex lines of "index value" (the value kept, narrowed to 16 bits), else
    // one value a line. Two passes: the records that parse are counted, stopping at the first that does
    // not, then read. "error opening file" if the file cannot be opened.
    void Import(const char* path, bool hasIndex);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
};

// 32-bit integers.
class VELA_API VecInt32 : public BaseVector<int> {
  public:
    VecInt32() = default;
    explicit VecInt32(int n);
    // Allocates and copies nothing: the new vector records size = capacity = v.size with no storage
    // behind it. It must be given storage by operator= or by a Resize above that capacity before use;
    // a Resize within it leaves the data pointer null.
    VecInt32(const VecInt32& v);
    ~VecInt32() override = default;
    VecInt32& operator=(const VecInt32& v);  // deep

    int Max() const;
    void Max(int& value, int& index) const;
    int Min() const;
    void Min(int& value, int& index) const;
    // Exact sum, saturated once to an int.
    int Sum() const;

    // These four do nothing, and the operators built on them neither.
    void Add(const VecInt32& v);
    void Sub(const VecInt32& v);
    void Sub(const int& s);
    void Mul(const VecInt32& v);
    // These two work: every element plus / times s, wrapping modulo 2^32.
    void Add(const int& s);
    void Mul(const int& s);
    VecInt32& operator+=(const VecInt32& v) {
        Add(v);
        return *this;
    }
    VecInt32& operator-=(const VecInt32& v) {
        Sub(v);
        return *this;
    }
    VecInt32& operator*=(const VecInt32& v) {
        Mul(v);
        return *this;
    }
    VecInt32& operator+=(const int& s) {
        Add(s);
        return *this;
    }
    VecInt32& operator-=(const int& s) {
        Sub(s);
        return *this;
    }
    VecInt32& operator*=(const int& s) {
        Mul(s);
        return *this;
    }

    // Sizes differ: false. Otherwise |this[i] - other[i]| <= tolerance for every i, the difference
    // formed exactly in 64 bits. Prints nothing.
    bool IsEqual(const VecInt32& other, int tolerance) const;

    void Dump(int n) const;  // as VecUInt8::Dump
    // Text file of the values alone, "%d\n" each; otherwise as VecInt16's. Read back with hasIndex false.
    void Dump(const char* path, bool verbose) const;
    // As VecInt16::Import. A vector without storage (see the copy constructor) is given storage first.
    void Import(const char* path, bool hasIndex);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
};

// 32-bit unsigned integers: storage, assignment, comparison and print only.
class VELA_API VecUInt32 : public BaseVector<unsigned int> {
  public:
    VecUInt32() = default;
    explicit VecUInt32(int n);
    // Allocates and copies nothing, as VecInt32's copy constructor.
    VecUInt32(const VecUInt32& v);
    ~VecUInt32() override = default;
    VecUInt32& operator=(const VecUInt32& v);  // deep; the same code as VecInt32's

    // VecInt32's comparison: the elements are compared as signed 32-bit values, so 0 and 0xFFFFFFFF
    // differ by 1.
    bool IsEqual(const VecUInt32& other, int tolerance) const;

    void Dump(int n) const;  // as VecUInt8::Dump, elements printed unsigned
    // Text file of the values alone, "%u\n" each. Read back with hasIndex false.
    void Dump(const char* path, bool verbose) const;
    // As VecInt32::Import ("%d" reading: a value above INT_MAX comes back through the C library's
    // conversion of the decimal text, which keeps the 32 bits).
    void Import(const char* path, bool hasIndex);

  private:
    void Alloc(int n) override;
};

}  // namespace VELA
