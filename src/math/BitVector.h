// BitVector: a table of code words, one word to a row, one byte to a bit.
//
// Not bit-packed: a byte holds 0, 1, or 255, the last meaning an unknown or don't-care bit. Column 0 of
// a row is the most significant bit of the word. The logic operations work byte by byte over the whole
// table, so 255 is a byte like any other for And, Or, Xor and the out-of-place Not; only the in-place
// Not is a logical inversion that leaves unknown bits unknown. The two Not forms differ on purpose.
// Nothing compares the shapes of two operands: operations run over this table's bytes.
#pragma once
#include "VELAExport.h"

#include "BaseMatrix.h"

namespace VELA {

class UnitTestRecorder;
class VecInt16;

class VELA_API BitVector : public BaseMatrix<unsigned char> {
  public:
    BitVector() = default;
    // rows words of cols bits, all 0.
    BitVector(int rows, int cols);
    BitVector(const BitVector& b);
    // v.size words of wordLength bits, filled as Import(v, wordLength).
    BitVector(const VecInt16& v, int wordLength);
    ~BitVector() override = default;
    BitVector& operator=(const BitVector& b);  // deep, exactly b's shape

    int GetCodeLen() const { return rows; }      // number of words
    int GetCodeWordLen() const { return cols; }  // bits per word

    // 0, 1 and 255 are bits; anything else is not.
    bool IsValidBit(unsigned char b) const;
    // Same shape and every byte equal.
    bool IsEqual(const BitVector& b) const;

    // Every byte becomes b (not validated).
    void Set(unsigned char b);

    // In place, byte by byte over this->size bytes: 255 AND 1 is 1, 255 XOR 1 is 254.
    void And(const BitVector& b);
    void Or(const BitVector& b);
    void Xor(const BitVector& b);
    // out.Resize(a's shape), then out = a op b byte by byte. They read only their arguments.
    void And(BitVector& out, const BitVector& a, const BitVector& b) const;
    void Or(BitVector& out, const BitVector& a, const BitVector& b) const;
    void Xor(BitVector& out, const BitVector& a, const BitVector& b) const;
    // In place, logical: 1 becomes 0, 0 becomes 1, other bytes (unknown bits) stay.
    void Not();
    // out.Resize(a's shape), then the bytewise complement of a: 0 becomes 255 and 1 becomes 254.
    void Not(BitVector& out, const BitVector& a) const;

    // Resize(rows, cols), then rows * cols bytes from p, which may point into this table's own block.
    void Import(const unsigned char* p, int rows, int cols);
    // The first `words` rows (cols * words bytes) to p.
    void Export(unsigned char* p, int words) const;
    // Resize(count, wordLength); then element v[i] becomes row i for i in [start, start + count), the
    // least significant bit in the last column. Row and element share the index, so a start other than
    // 0 needs a block that already has room for row start + count - 1; rows beyond the block are not
    // written.
    void Import(const VecInt16& v, int count, int start, int wordLength);
    // Import(v, v.size, 0, wordLength).
    void Import(const VecInt16& v, int wordLength);
    // out.Resize(words); each of the first `words` rows as a value, column 0 weighing 2^(cols - 1)
    // truncated to 16 bits and each next column half as much, summed in 16-bit arithmetic.
    void Export(VecInt16& out, int words) const;

    // Console print: each row after a line feed, each bit as "0 ", "1 " or "x "; with more than 2 * n
    // rows the first and last n rows around a line of dots.
    void Dump(int n) const;
    // Text file, one row a line: with withIndex the row number as "%3d " first, then each bit as "%c "
    // ('0', '1', 'x'). With verbose, "\n====<path> saved" on stdout after the close. "error opening file"
    // if the file cannot be made; writes are not checked.
    void Dump(const char* path, bool withIndex, bool verbose = false) const;
    // Reads such a file back as decimal integers, `cols` to a row (one more, the row number, first when
    // hasIndex). Rows are counted first and an incomplete last row is dropped; reading stops at anything
    // that is not a number, such as the 'x' of an unknown bit. Each value is stored as a byte. A cols
    // below 1 is "invalid input parameter", a table of more bytes than an int counts "error reading file".
    void Import(const char* path, int cols, bool hasIndex);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Alloc(int n) override;
    char GetPrintChar(unsigned char b) const;  // '0', '1', or 'x' for anything else
    bool Validate() const;                     // every byte 0, 1 or 255; an empty table is valid
};

}  // namespace VELA
