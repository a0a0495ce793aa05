// MatReal32, MatReal64: dense row-major matrices for small problems (least-squares fits and the like),
// not for signal blocks.
//
// The matrix is one block of rows * cols elements stored row after row, plus a table of row pointers,
// so m[i][j] is the element access and the block can be handed whole to a linear kernel. Element-wise
// operations run over this->size elements of the block; nothing compares shapes, and an operand of
// another shape is read as a flat block of this->size elements. Copies are deep and exact
// (operator= never reuses capacity); Resize reuses capacity (BaseMatrix.h).
//
// The matrix product, transpose, identity and inverse are static members of MathUtils.
#pragma once
#include "VELAExport.h"

#include "BaseMatrix.h"

namespace VELA {

class UnitTestRecorder;
class VecReal32;
class VecReal64;

class VELA_API MatReal32 : public BaseMatrix<float> {
  public:
    MatReal32() = default;
    // rows x cols, contents undefined; a matrix of no elements has neither block nor row table.
    MatReal32(int rows, int cols);
    MatReal32(const MatReal32& m);
    ~MatReal32() override = default;
    // Releases everything, then allocates exactly the source's shape and copies it.
    MatReal32& operator=(const MatReal32& m);

    void Add(const MatReal32& m);  // element-wise this + m
    void Add(const float& s);
    void Sub(const MatReal32& m);  // element-wise this - m
    void Sub(const float& s);
    void DotMul(const MatReal32& m);  // element-wise product (not the matrix product)
    void Mul(const float& s);
    // Element-wise this / m. A zero in m throws "divide-by-zero error" after every element was written.
    void Div(const MatReal32& m);
    // A zero scalar throws "divide-by-zero error" and leaves the matrix unchanged.
    void Div(const float& s);
    MatReal32& operator+=(const MatReal32& m) {
        Add(m);
        return *this;
    }
    MatReal32& operator-=(const MatReal32& m) {
        Sub(m);
        return *this;
    }
    // Element by element: the matrix product is MathUtils::Mul.
    MatReal32& operator*=(const MatReal32& m) {
        DotMul(m);
        return *this;
    }
    MatReal32& operator/=(const MatReal32& m) {
        Div(m);
        return *this;
    }
    MatReal32& operator+=(const float& s) {
        Add(s);
        return *this;
    }
    MatReal32& operator-=(const float& s) {
        Sub(s);
        return *this;
    }
    MatReal32& operator*=(const float& s) {
        Mul(s);
        return *this;
    }
    MatReal32& operator/=(const float& s) {
        Div(s);
        return *this;
    }

    // Resize(rows, cols), then rows * cols elements from p, which may point into this matrix's own block.
    void Import(const float* p, int rows, int cols);
    // v.size elements to the start of row `row`; no resize, no check (a longer v runs into the next rows).
    void Import(int row, const VecReal32& v);
    // The same into row 0.
    void Import(const VecReal32& v);
    // n elements from the start of the block.
    void Export(float* p, int n) const;

    // Shapes differ: false. Otherwise |a - b| < tolerance (strictly, the difference rounded to float)
    // for every element. Prints nothing.
    bool IsEqual(const MatReal32& m, float tolerance) const;

    // Console: each row after a line feed as "%g " per element; with more than 2 * n rows the first n
    // and the last n rows around a line of 17 dots.
    void Dump(int n) const;
    // Text file, each row as "%g " per element and a line feed; then "\n====<path> saved" on stdout,
    // always. "error opening file" if the file cannot be made; writes are not checked.
    void Dump(const char* path) const;

    static bool UnitTest(UnitTestRecorder& recorder);
    // Takes a 100 x 100 matrix through Resize(0, 0) and destruction, for a heap checker; always true.
    static bool SimpleLeakTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
};

class VELA_API MatReal64 : public BaseMatrix<double> {
  public:
    MatReal64() = default;
    MatReal64(int rows, int cols);
    MatReal64(const MatReal64& m);
    ~MatReal64() override = default;
    MatReal64& operator=(const MatReal64& m);

    void Add(const MatReal64& m);
    void Add(const double& s);
    void Sub(const MatReal64& m);
    void Sub(const double& s);
    void DotMul(const MatReal64& m);
    void Mul(const double& s);
    void Div(const MatReal64& m);
    void Div(const double& s);
    MatReal64& operator+=(const MatReal64& m) {
        Add(m);
        return *this;
    }
    MatReal64& operator-=(const MatReal64& m) {
        Sub(m);
        return *this;
    }
    MatReal64& operator*=(const MatReal64& m) {
        DotMul(m);
        return *this;
    }
    MatReal64& operator/=(const MatReal64& m) {
        Div(m);
        return *this;
    }
    MatReal64& operator+=(const double& s) {
        Add(s);
        return *this;
    }
    MatReal64& operator-=(const double& s) {
        Sub(s);
        return *this;
    }
    MatReal64& operator*=(const double& s) {
        Mul(s);
        return *this;
    }
    MatReal64& operator/=(const double& s) {
        Div(s);
        return *this;
    }

    void Import(const double* p, int rows, int cols);
    void Import(int row, const VecReal64& v);
    void Import(const VecReal64& v);
    void Export(double* p, int n) const;

    // As MatReal32::IsEqual, with a double tolerance and the difference in double.
    bool IsEqual(const MatReal64& m, double tolerance) const;

    void Dump(int n) const;  // as MatReal32
    void Dump(const char* path) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
};

}  // namespace VELA
