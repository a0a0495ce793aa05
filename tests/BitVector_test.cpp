// BitVector: code words from and to 16-bit values, construction and copies, the byte-wise logic, the
// two different Not forms, validation, byte Import/Export, and the console Dump.
#include <corvane/math/BitVector.h>
#include <corvane/math/IntVector.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace VELA;

namespace {

VecInt16 Words(std::initializer_list<int> values) {
    VecInt16 v(static_cast<int>(values.size()));
    int i = 0;
    for (int x : values)
        v[i++] = static_cast<short>(x);
    return v;
}

// The table as text, one row per line: "01|11|10|00".
std::string Rows(const BitVector& b) {
    std::string s;
    for (int i = 0; i < b.GetCodeLen(); ++i) {
        if (i) s += '|';
        for (int j = 0; j < b.GetCodeWordLen(); ++j)
            s += b[i][j] == 255 ? 'x' : static_cast<char>('0' + b[i][j]);
    }
    return s;
}

BitVector Table(const std::vector<unsigned char>& bytes, int rows, int cols) {
    BitVector b;
    b.Import(bytes.data(), rows, cols);
    return b;
}

}  // namespace

TEST(BitVector, FromVecInt16WithWordLengthTwo) {
    const BitVector b(Words({1, 3, 2, 0}), 2);
    EXPECT_EQ(b.GetCodeLen(), 4);
    EXPECT_EQ(b.GetCodeWordLen(), 2);
    EXPECT_EQ(Rows(b), "01|11|10|00");
}

TEST(BitVector, ExportOfThoseRowsGivesTheValuesBack) {
    const BitVector b(Words({1, 3, 2, 0}), 2);
    VecInt16 out(10);
    b.Export(out, 4);
    EXPECT_EQ(out.GetSize(), 4);
    EXPECT_TRUE(out.IsEqual(Words({1, 3, 2, 0}), 0));
}

TEST(BitVector, WordsKeepTheirLowBitsAndNegativeValuesTheirTwosComplement) {
    // 13 in 3 bits is 101 (the high bit is dropped); -2 in 5 bits is 11110.
    EXPECT_EQ(Rows(BitVector(Words({13}), 3)), "101");
    EXPECT_EQ(Rows(BitVector(Words({-2}), 5)), "11110");
    EXPECT_EQ(Rows(BitVector(Words({-32768}), 16)), "1000000000000000");
}

TEST(BitVector, ExportWeightsAreSixteenBit) {
    VecInt16 out;
    // 15 columns: weights 2^14 down to 1, the plain value.
    BitVector(Words({12345, 16383}), 15).Export(out, 2);
    EXPECT_EQ(out[0], 12345);
    EXPECT_EQ(out[1], 16383);
    // 16 columns: column 0 weighs 2^15 truncated to a short, -32768, and halving keeps the sign, so every
    // weight is negative (-32768, -16384, ..., -1): a word reads back negated modulo 2^16.
    BitVector(Words({-32768, -1, 12345}), 16).Export(out, 3);
    EXPECT_EQ(out[0], -32768);
    EXPECT_EQ(out[1], 1);
    EXPECT_EQ(out[2], -12345);
    // 17 columns: the first weight, 2^16, truncates to 0, and every weight after it is half of 0.
    BitVector wide(1, 17);
    wide.Set(1);
    wide.Export(out, 1);
    EXPECT_EQ(out[0], 0);
}

TEST(BitVector, ImportWithStartUsesTheElementIndexAsTheRowIndex) {
    BitVector b(4, 2);  // the block has room for four rows
    b.Import(Words({3, 2, 1, 1}), 2, 2, 2);
    // Resize(2, 2) keeps the block; elements 2 and 3 go to rows 2 and 3, beyond the two visible rows.
    EXPECT_EQ(b.GetCodeLen(), 2);
    EXPECT_EQ(b.Data()[4], 0);
    EXPECT_EQ(b.Data()[5], 1);
    EXPECT_EQ(b.Data()[6], 0);
    EXPECT_EQ(b.Data()[7], 1);
    EXPECT_EQ(Rows(b), "00|00");
}

TEST(BitVector, FreshTableIsAllZeroAndAndWithAllOnesChangesNothing) {
    BitVector ones(4, 2);
    EXPECT_EQ(Rows(ones), "00|00|00|00");
    ones.Set(1);
    BitVector t(Words({1, 3, 2, 0}), 2);
    t.And(ones);
    EXPECT_EQ(Rows(t), "01|11|10|00");
}

TEST(BitVector, XorWithAllOnesThenNotGivesTheStart) {
    BitVector ones(4, 2);
    ones.Set(1);
    BitVector t(Words({1, 3, 2, 0}), 2);
    t.Xor(ones);
    EXPECT_EQ(Rows(t), "10|00|01|11");
    t.Not();
    EXPECT_EQ(Rows(t), "01|11|10|00");
}

TEST(BitVector, InPlaceNotLeavesUnknownBitsAndOutOfPlaceNotComplementsBytes) {
    const BitVector a = Table({0, 1, 255, 7}, 1, 4);
    BitVector inPlace(a);
    inPlace.Not();
    EXPECT_EQ(inPlace[0][0], 1);
    EXPECT_EQ(inPlace[0][1], 0);
    EXPECT_EQ(inPlace[0][2], 255);
    EXPECT_EQ(inPlace[0][3], 7);
    BitVector out;
    out.Not(out, a);
    EXPECT_EQ(out.GetCodeLen(), 1);
    EXPECT_EQ(out.GetCodeWordLen(), 4);
    EXPECT_EQ(out[0][0], 255);
    EXPECT_EQ(out[0][1], 254);
    EXPECT_EQ(out[0][2], 0);
    EXPECT_EQ(out[0][3], 248);
}

TEST(BitVector, LogicIsBytewiseOnUnknownBits) {
    BitVector u = Table({255, 255, 255}, 1, 3);
    const BitVector b = Table({1, 0, 255}, 1, 3);
    BitVector a(u), x(u), o = Table({0, 1, 0}, 1, 3);
    a.And(b);
    x.Xor(b);
    o.Or(b);
    EXPECT_EQ(a[0][0], 1);  // 255 AND 1
    EXPECT_EQ(a[0][1], 0);
    EXPECT_EQ(x[0][0], 254);  // 255 XOR 1
    EXPECT_EQ(x[0][2], 0);
    EXPECT_EQ(o[0][0], 1);
    EXPECT_EQ(o[0][2], 255);
}

TEST(BitVector, OutOfPlaceLogicTakesTheShapeOfTheFirstOperand) {
    const BitVector a = Table({1, 0, 1, 1, 0, 0}, 2, 3);
    const BitVector b = Table({1, 1, 0, 1, 0, 1}, 2, 3);
    BitVector out(7, 7);
    out.And(out, a, b);
    EXPECT_EQ(Rows(out), "100|100");
    out.Or(out, a, b);
    EXPECT_EQ(Rows(out), "111|101");
    BitVector other;
    other.Xor(out, a, b);  // `other` itself is not read or written
    EXPECT_EQ(Rows(out), "011|001");
    EXPECT_EQ(other.GetCodeLen(), 0);
}

TEST(BitVector, IsValidBit) {
    const BitVector b;
    EXPECT_TRUE(b.IsValidBit(0));
    EXPECT_TRUE(b.IsValidBit(1));
    EXPECT_TRUE(b.IsValidBit(255));
    EXPECT_FALSE(b.IsValidBit(2));
    EXPECT_FALSE(b.IsValidBit(254));
}

TEST(BitVector, IsEqualComparesShapeThenBytes) {
    const BitVector a = Table({1, 0, 1, 1}, 2, 2);
    EXPECT_TRUE(a.IsEqual(Table({1, 0, 1, 1}, 2, 2)));
    EXPECT_FALSE(a.IsEqual(Table({1, 0, 1, 0}, 2, 2)));
    EXPECT_FALSE(a.IsEqual(Table({1, 0, 1, 1}, 1, 4)));
    EXPECT_TRUE(BitVector().IsEqual(BitVector()));
}

TEST(BitVector, CopiesAreDeepAndExact) {
    const BitVector a = Table({1, 0, 255, 1, 0, 0}, 3, 2);
    const BitVector c(a);
    EXPECT_TRUE(c.IsEqual(a));
    EXPECT_NE(c.Data(), a.Data());
    EXPECT_EQ(c[2][0], 0);
    BitVector d(10, 10);
    d = a;
    EXPECT_TRUE(d.IsEqual(a));
    EXPECT_EQ(d.GetCapacity(), 6);
    EXPECT_EQ(d[1][0], 255);  // row table rebuilt for the new shape
    d = d;
    EXPECT_TRUE(d.IsEqual(a));
}

TEST(BitVector, ByteImportAndExport) {
    const std::vector<unsigned char> bytes = {1, 0, 0, 1, 1, 1};
    BitVector b(5, 5);
    b.Import(bytes.data(), 2, 3);
    EXPECT_EQ(b.GetCapacity(), 25);  // Resize within capacity
    EXPECT_EQ(Rows(b), "100|111");
    unsigned char out[6] = {9, 9, 9, 9, 9, 9};
    b.Export(out, 1);
    EXPECT_EQ(out[0], 1);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(out[3], 9);  // one word of three bytes only
}

TEST(BitVector, SetDoesNotValidate) {
    BitVector b(2, 2);
    b.Set(7);
    EXPECT_EQ(b[1][1], 7);
}

TEST(BitVector, NegativeShapeFailsAsMemoryAllocation) {
    try {
        BitVector b(-1, 3);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
    }
}

TEST(BitVector, DumpPrintsBitsAndUnknownsAsX) {
    const BitVector b = Table({0, 1, 255, 1, 1, 0, 0, 0, 1, 0, 1, 1}, 4, 3);
    testing::internal::CaptureStdout();
    b.Dump(2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n0 1 x \n1 1 0 \n0 0 1 \n0 1 1 ");
    testing::internal::CaptureStdout();
    b.Dump(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n0 1 x \n.................\n0 1 1 ");
}
