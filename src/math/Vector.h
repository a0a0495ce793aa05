// VecReal32, VecReal64, VecCplx32, VecCplx64: the containers in which signal data moves.
//
// Contracts shared by all four:
// - Every operation acts on the visible window (Data(), GetSize()); a view made by ShiftLeft or
//   Truncate behaves as a shorter vector.
// - `this` is the destination of the in-place arithmetic and the length is always this->GetSize().
//   Operands are not compared in length: an operand shorter than `this` is read past its end, so
//   callers keep lengths equal.
// - Copies are deep and exact: the copy constructor and operator= allocate exactly the source's size
//   (operator= never reuses capacity), while Resize and Import reuse capacity.
// - An operand may be `this` itself (v.Add(v), v.Mul(v), ...), a view included: the operations are
//   element-wise and run in place; self-assignment changes nothing. Import and Export of the vector's
//   own element type may be given a pointer into its own block (v.Import(v.Data() + k, n - k) keeps
//   the tail): their copies are overlap-safe.
// - Div throws "divide-by-zero error": by a vector, after every element was written (a zero divisor
//   leaves +-Inf or NaN); by a zero scalar, with the vector unchanged.
// - Scratch-free: nothing allocates except constructors, operator=, and Resize/Import when growing.
//
// The member sets differ from class to class on purpose; nothing is added for symmetry.
#pragma once
#include "VELAExport.h"

#include "BaseVector.h"
#include "VELATypes.h"

namespace VELA {

class UnitTestRecorder;
class VecReal64;
class VecCplx64;

class VELA_API VecReal32 : public BaseVector<float> {
  public:
    VecReal32() = default;
    explicit VecReal32(int n);
    VecReal32(const VecReal32& v);
    explicit VecReal32(const VecReal64& v);
    ~VecReal32() override = default;
    VecReal32& operator=(const VecReal32& v);

    void Add(const VecReal32& v);
    void Sub(const VecReal32& v);  // this - v
    void Mul(const VecReal32& v);
    void Div(const VecReal32& v);  // this / v
    void Add(const float& s);
    void Sub(const float& s);
    void Mul(const float& s);
    void Div(const float& s);
    VecReal32& operator+=(const VecReal32& v) {
        Add(v);
        return *this;
    }
    VecReal32& operator-=(const VecReal32& v) {
        Sub(v);
        return *this;
    }
    VecReal32& operator*=(const VecReal32& v) {
        Mul(v);
        return *this;
    }
    VecReal32& operator/=(const VecReal32& v) {
        Div(v);
        return *this;
    }
    VecReal32& operator+=(const float& s) {
        Add(s);
        return *this;
    }
    VecReal32& operator-=(const float& s) {
        Sub(s);
        return *this;
    }
    VecReal32& operator*=(const float& s) {
        Mul(s);
        return *this;
    }
    VecReal32& operator/=(const float& s) {
        Div(s);
        return *this;
    }

    // Extremes; the index forms report the first index on ties. A window (start, length) searches
    // `length` elements from `start` and reports indices counted from element 0.
    float Max() const;
    float Min() const;
    void Max(float& value, int& index) const;
    void Min(float& value, int& index) const;
    float Max(int start, int length) const;
    float Min(int start, int length) const;
    void Max(float& value, int& index, int start, int length) const;
    void Min(float& value, int& index, int start, int length) const;

    float Sum() const;  // accumulated in double
    float Mean() const;
    float StdDev() const;  // sample standard deviation (divides by n - 1)
    float Var() const;     // StdDev() rounded to float, squared

    // Sizes differ: false, silently. Otherwise |this[i] - other[i]| < tolerance (strictly) for every i;
    // the first failure prints "\n==>>value, Expected other<<==" to stdout.
    bool IsEqual(const VecReal32& other, float tolerance) const;

    void Import(const float* p, int n);   // Resize(n), copy
    void Import(const double* p, int n);  // Resize(n), narrow
    void Import(const VecReal64& v);      // Resize(v.size), narrow
    void Export(float* p, int n) const;   // copies n elements out; n is the caller's
    void Export(double* p, int n) const;

    // ---- files and console; the formats are described at the end of this header ----
    // Console: "\n [%2d]= %g" per element, the first and last n around a line of 17 dots when there are
    // more than 2 * n.
    void Dump(int n) const;
    // Text file, "%10d        %.20f\n" per element (index, value). Writes are not checked. With verbose,
    // "\n====<path> saved" goes to stdout after the file is closed.
    void Dump(const char* path, bool verbose) const;
    // Reads a text file back: with hasIndex, lines of "index value" (the value kept), else one value a line.
    void Import(const char* path, bool hasIndex);
    // One number per line from a table: columns 3 keeps column 1 or 2 (anything else: 0), columns 2 keeps
    // column 1 (anything else: 0); any other columns reads one number a line.
    void Import(const char* path, int columns, int column);
    // Binary file, type code 103.
    void Store(const char* path) const;
    void Load(const char* path);

    static bool UnitTest(UnitTestRecorder& recorder);
    static bool SimpleLeakTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
};

class VELA_API VecReal64 : public BaseVector<double> {
  public:
    VecReal64() = default;
    explicit VecReal64(int n);
    VecReal64(const VecReal64& v);
    explicit VecReal64(const VecReal32& v);
    ~VecReal64() override = default;
    VecReal64& operator=(const VecReal64& v);
    // The one mixed assignment: always takes a fresh block of exactly v.size elements, even when the
    // old one was large enough (the old block is released after the new one is taken).
    VecReal64& operator=(const VecReal32& v);

    void Add(const VecReal64& v);
    void Sub(const VecReal64& v);
    void Mul(const VecReal64& v);
    void Div(const VecReal64& v);
    void Add(const double& s);
    void Sub(const double& s);
    void Mul(const double& s);
    void Div(const double& s);
    VecReal64& operator+=(const VecReal64& v) {
        Add(v);
        return *this;
    }
    VecReal64& operator-=(const VecReal64& v) {
        Sub(v);
        return *this;
    }
    VecReal64& operator*=(const VecReal64& v) {
        Mul(v);
        return *this;
    }
    VecReal64& operator/=(const VecReal64& v) {
        Div(v);
        return *this;
    }
    VecReal64& operator+=(const double& s) {
        Add(s);
        return *this;
    }
    VecReal64& operator-=(const double& s) {
        Sub(s);
        return *this;
    }
    VecReal64& operator*=(const double& s) {
        Mul(s);
        return *this;
    }
    VecReal64& operator/=(const double& s) {
        Div(s);
        return *this;
    }

    double Max() const;
    double Min() const;
    void Max(double& value, int& index) const;
    void Min(double& value, int& index) const;
    double Max(int start, int length) const;
    double Min(int start, int length) const;
    void Max(double& value, int& index, int start, int length) const;
    void Min(double& value, int& index, int start, int length) const;

    double Sum() const;
    double Mean() const;
    double StdDev() const;
    double Var() const;

    // As VecReal32::IsEqual, but without the size test: walks this->size elements of both.
    bool IsEqual(const VecReal64& other, float tolerance) const;

    void Import(const double* p, int n);
    void Import(const float* p, int n);
    void Import(const VecReal32& v);
    void Export(double* p, int n) const;

    // As VecReal32, with "%10d        %.16g\n" lines, "%lf" reading, and a line of 29 dots in the
    // console print. The table form of Import leaves its file open until the process ends (the one
    // import that does not close its stream).
    void Dump(int n) const;
    void Dump(const char* path, bool verbose) const;
    void Import(const char* path, bool hasIndex);
    void Import(const char* path, int columns, int column);
    // Binary file, type code 101.
    void Store(const char* path) const;
    void Load(const char* path);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
};

class VELA_API VecCplx32 : public BaseVector<Cplx32> {
  public:
    VecCplx32() = default;
    explicit VecCplx32(int n);
    VecCplx32(const VecCplx32& v);
    explicit VecCplx32(const VecCplx64& v);
    // re.size elements from two planes; im.size is not looked at.
    VecCplx32(const VecReal32& re, const VecReal32& im);
    // (v[i], 0).
    explicit VecCplx32(const VecReal32& v);
    ~VecCplx32() override = default;
    VecCplx32& operator=(const VecCplx32& v);

    void Add(const VecCplx32& v);
    void Sub(const VecCplx32& v);
    void Mul(const VecCplx32& v);
    void Div(const VecCplx32& v);
    void Add(const Cplx32& s);
    void Sub(const Cplx32& s);
    void Mul(const Cplx32& s);
    void Div(const Cplx32& s);
    // Scales real and imaginary parts alike.
    void Mul(const float& s);
    // this[dstStart + k] -= other[srcStart + k] for k < length; unchecked. other may be this, with
    // overlapping parts: every subtrahend is the value before the call.
    void Sub(const VecCplx32& other, int dstStart, int srcStart, int length);
    VecCplx32& operator+=(const VecCplx32& v) {
        Add(v);
        return *this;
    }
    VecCplx32& operator-=(const VecCplx32& v) {
        Sub(v);
        return *this;
    }
    VecCplx32& operator*=(const VecCplx32& v) {
        Mul(v);
        return *this;
    }
    VecCplx32& operator/=(const VecCplx32& v) {
        Div(v);
        return *this;
    }
    VecCplx32& operator+=(const Cplx32& s) {
        Add(s);
        return *this;
    }
    VecCplx32& operator-=(const Cplx32& s) {
        Sub(s);
        return *this;
    }
    VecCplx32& operator*=(const Cplx32& s) {
        Mul(s);
        return *this;
    }
    VecCplx32& operator/=(const Cplx32& s) {
        Div(s);
        return *this;
    }
    VecCplx32& operator*=(const float& s) {
        Mul(s);
        return *this;
    }

    // By squared magnitude (rounded to float), the earliest element winning ties; the element found is
    // returned whole. Max of all zeros gives index 0; an empty vector reads element 0 unchecked (a
    // vector that never had storage gives (0, 0) instead of dereferencing null).
    Cplx32 Max() const;
    Cplx32 Min() const;
    void Max(Cplx32& value, int& index) const;
    void Min(Cplx32& value, int& index) const;

    Cplx32 Sum() const;  // accumulated in double
    Cplx32 Mean() const;

    void GetReal(VecReal32& out) const;  // out.Resize(size), real parts
    void GetImag(VecReal32& out) const;

    // Real and imaginary parts must each differ by less than tolerance; sizes differ: false.
    bool IsEqual(const VecCplx32& other, float tolerance) const;

    void Import(const float* re, const float* im, int n);
    void Import(const double* re, const double* im, int n);
    void Import(const VecReal32& re, const VecReal32& im);  // re.size elements
    void Import(const VecReal32& v);                        // (v[i], 0)
    // n complex elements read as interleaved (re, im): 2 * n floats.
    void Import(const float* p, int n);
    void Import(const Cplx32* p, int n);
    void Export(float* re, float* im, int n) const;
    void Export(double* re, double* im, int n) const;
    void Export(Cplx32* p, int n) const;

    // Console: "\n [%2d]= %g  %g " per element, shortened as VecReal32::Dump.
    void Dump(int n) const;
    // Text file, "%10d    %.20f  %.20f\n" per element (index, re, im).
    void Dump(const char* path, bool verbose) const;
    // With hasIndex lines of "index re im", else "re im".
    void Import(const char* path, bool hasIndex);
    // Binary file, type code 102, with three free floats of the caller's in the header (zero in the first
    // form).
    void Store(const char* path) const;
    void Store(const char* path, float a, float b, float c) const;
    void Load(const char* path);
    // `count` elements from element `start` of the file; a range beyond its length is "error reading file"
    // and a negative start or count "invalid input parameter".
    void Load(const char* path, int start, int count);
    // Header only: the three floats (stored before anything is tested) and, once version and type passed,
    // the length. The vector itself is not touched.
    void Load(const char* path, int& length, float& a, float& b, float& c);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
    float Sqr(const Cplx32& c) const { return c.re * c.re + c.im * c.im; }
};

class VELA_API VecCplx64 : public BaseVector<Cplx64> {
  public:
    VecCplx64() = default;
    explicit VecCplx64(int n);
    VecCplx64(const VecCplx64& v);
    explicit VecCplx64(const VecCplx32& v);
    VecCplx64(const VecReal64& re, const VecReal64& im);
    explicit VecCplx64(const VecReal64& v);
    ~VecCplx64() override = default;
    VecCplx64& operator=(const VecCplx64& v);

    void Add(const VecCplx64& v);
    void Sub(const VecCplx64& v);
    void Mul(const VecCplx64& v);
    void Div(const VecCplx64& v);
    void Add(const Cplx64& s);
    void Sub(const Cplx64& s);
    void Mul(const Cplx64& s);
    void Div(const Cplx64& s);
    VecCplx64& operator+=(const VecCplx64& v) {
        Add(v);
        return *this;
    }
    VecCplx64& operator-=(const VecCplx64& v) {
        Sub(v);
        return *this;
    }
    VecCplx64& operator*=(const VecCplx64& v) {
        Mul(v);
        return *this;
    }
    VecCplx64& operator/=(const VecCplx64& v) {
        Div(v);
        return *this;
    }
    VecCplx64& operator+=(const Cplx64& s) {
        Add(s);
        return *this;
    }
    VecCplx64& operator-=(const Cplx64& s) {
        Sub(s);
        return *this;
    }
    VecCplx64& operator*=(const Cplx64& s) {
        Mul(s);
        return *this;
    }
    VecCplx64& operator/=(const Cplx64& s) {
        Div(s);
        return *this;
    }

    Cplx64 Max() const;
    Cplx64 Min() const;
    void Max(Cplx64& value, int& index) const;
    void Min(Cplx64& value, int& index) const;

    Cplx64 Sum() const;
    Cplx64 Mean() const;

    void GetReal(VecReal64& out) const;
    void GetImag(VecReal64& out) const;

    bool IsEqual(const VecCplx64& other, float tolerance) const;

    void Import(const double* re, const double* im, int n);
    void Import(const VecReal64& re, const VecReal64& im);
    void Import(const VecReal64& v);
    void Import(const double* p, int n);  // n complex elements, interleaved
    void Import(const Cplx64* p, int n);
    void Export(double* re, double* im, int n) const;
    void Export(Cplx64* p, int n) const;

    // As VecCplx32, with "%10d    %.16g  %.16g\n" lines and "%lf" reading. In a shortened console print
    // the first n elements use "\n [%2d]= %g %g " (one blank between the parts), the last n two blanks.
    void Dump(int n) const;
    void Dump(const char* path, bool verbose) const;
    void Import(const char* path, bool hasIndex);
    // Binary file, type code 100.
    void Store(const char* path) const;
    void Load(const char* path);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
    double Sqr(const Cplx64& c) const { return c.re * c.re + c.im * c.im; }
};

// Binary vector files (Store, Load). A 108-byte header, little-endian, then the visible window's elements
// as they lie in memory (a complex element is re then im):
//   0  char[64]  "VecCplx32, length=%d" (the class name and the element count), zero-filled
//   64 byte      0x1A, so that typing the file on a console stops after the line
//   68 int32     version, 1            72 int32  type: 100 VecCplx64, 101 VecReal64, 102 VecCplx32,
//   76 int32     element count                   103 VecReal32
//   80 float[3]  free parameters (VecCplx32::Store(path, a, b, c) only, else 0)
//   92 int32[3], 104 byte[3]: zero; bytes 65..67 and 107 are padding (written as zero, never read).
// Only version and type are checked on reading. Load first empties the vector (its capacity stays), so
// a failed load leaves it empty; the element count is compared with the bytes the file really holds
// before anything is allocated. Failures: "error opening file", "error reading file" (short header or
// data, a negative count, a range beyond the length), "file version error", "file type error";
// Store: "error opening file", "error writing file" (a short write or a failed close; the partial file
// stays on the disk).
//
// Text files (Dump to a path, Import): plain fprintf/fscanf, one element a line. Import reads the file
// twice, first counting the records that parse and stopping at the first that does not (an empty or
// non-numeric file gives an empty vector), then reading them. A file that cannot be opened is
// "error opening file"; text writes are not checked, so a full disk passes in silence.
}  // namespace VELA
