// Text files and console prints of the containers: the line formats of Dump to a file, Import back with
// and without an index column, the table form of Import, where reading stops, the console prints with
// their dots, and the text forms of the integer vectors, BitVector and the matrices.
#include <corvane/math/BitVector.h>
#include <corvane/math/IntVector.h>
#include <corvane/math/Vector.h>
#include <corvane/math/matrix.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/FileTestUtil.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::ReadFile;
using corvane_test::ScopedWorkDir;
using corvane_test::ThrownCode;
using corvane_test::WriteBytes;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

// Values with fractions that have no short decimal form, of both signs and several magnitudes.
double Value(int i) {
    return (i % 2 ? -1.0 : 1.0) * (std::sqrt(2.0 + i) * std::pow(10.0, i % 7 - 3));
}

template <class V>
V Reals(int n) {
    V v(n);
    for (int i = 0; i < n; ++i)
        v[i] = static_cast<decltype(v.Data()[0] + 0)>(Value(i));
    return v;
}
template <class V>
V Complexes(int n) {
    V v(n);
    for (int i = 0; i < n; ++i) {
        v[i].re = static_cast<decltype(v[i].re)>(Value(i));
        v[i].im = static_cast<decltype(v[i].im)>(Value(i + 3) * 0.5);
    }
    return v;
}

template <class V>
void ExpectRealsNear(const V& a, const V& b, double tol) {
    ASSERT_EQ(a.GetSize(), b.GetSize());
    for (int i = 0; i < a.GetSize(); ++i)
        EXPECT_NEAR(a[i], b[i], tol) << i;
}
template <class V>
void ExpectComplexNear(const V& a, const V& b, double tol) {
    ASSERT_EQ(a.GetSize(), b.GetSize());
    for (int i = 0; i < a.GetSize(); ++i) {
        EXPECT_NEAR(a[i].re, b[i].re, tol) << i;
        EXPECT_NEAR(a[i].im, b[i].im, tol) << i;
    }
}

}  // namespace

// ---------------------------------------------------------------- float vectors, files

TEST(VectorTextFiles, DumpThenImportWithIndexGivesTheVectorBackWithin9e6) {
    ScopedWorkDir dir;
    const auto r32 = Reals<VecReal32>(40);
    const auto r64 = Reals<VecReal64>(40);
    const auto c32 = Complexes<VecCplx32>(40);
    const auto c64 = Complexes<VecCplx64>(40);
    r32.Dump("r32.txt", false);
    r64.Dump("r64.txt", false);
    c32.Dump("c32.txt", false);
    c64.Dump("c64.txt", false);
    VecReal32 br32;
    VecReal64 br64;
    VecCplx32 bc32;
    VecCplx64 bc64;
    br32.Import("r32.txt", true);
    br64.Import("r64.txt", true);
    bc32.Import("c32.txt", true);
    bc64.Import("c64.txt", true);
    ExpectRealsNear(br32, r32, 9e-6);
    ExpectRealsNear(br64, r64, 9e-6);
    ExpectComplexNear(bc32, c32, 9e-6);
    ExpectComplexNear(bc64, c64, 9e-6);
    // "%.20f" carries every bit of a float, so the single-precision round trip is exact.
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(br32[i], r32[i]);
}

TEST(VectorTextFiles, LinesFollowTheFormatOfEachClass) {
    ScopedWorkDir dir;
    VecReal32 r32(2);
    r32[0] = 0.5f;
    r32[1] = -2.0f;
    r32.Dump("r32.txt", false);
    EXPECT_EQ(ReadFile("r32.txt"),
              "         0        0.50000000000000000000\n"
              "         1        -2.00000000000000000000\n");
    VecReal64 r64(2);
    r64[0] = 0.1;
    r64[1] = -1e300;
    r64.Dump("r64.txt", false);
    EXPECT_EQ(ReadFile("r64.txt"),
              "         0        0.1\n"
              "         1        -1e+300\n");
    VecCplx32 c32(1);
    c32[0] = {0.25f, -1.0f};
    c32.Dump("c32.txt", false);
    EXPECT_EQ(ReadFile("c32.txt"), "         0    0.25000000000000000000  -1.00000000000000000000\n");
    VecCplx64 c64(1);
    c64[0] = {1.0 / 3.0, 2.0};
    c64.Dump("c64.txt", false);
    EXPECT_EQ(ReadFile("c64.txt"), "         0    0.3333333333333333  2\n");
}

TEST(VectorTextFiles, VerboseDumpAnnouncesTheFileAfterClosingIt) {
    ScopedWorkDir dir;
    CaptureStdout();
    Reals<VecReal32>(3).Dump("a.txt", true);
    Complexes<VecCplx64>(3).Dump("b.txt", false);
    EXPECT_EQ(GetCapturedStdout(), "\n====a.txt saved");
}

TEST(VectorTextFiles, ImportWithoutIndexReadsPlainValuesAndPairs) {
    ScopedWorkDir dir;
    WriteBytes("plain.txt", "1.5\n-2.25\n3e2\n");
    VecReal32 r;
    r.Import("plain.txt", false);
    ASSERT_EQ(r.GetSize(), 3);
    EXPECT_EQ(r[0], 1.5f);
    EXPECT_EQ(r[1], -2.25f);
    EXPECT_EQ(r[2], 300.0f);
    VecReal64 d;
    d.Import("plain.txt", false);
    ASSERT_EQ(d.GetSize(), 3);
    EXPECT_EQ(d[2], 300.0);
    WriteBytes("pairs.txt", "1 2\n3 4\n");
    VecCplx32 c;
    c.Import("pairs.txt", false);
    ASSERT_EQ(c.GetSize(), 2);
    EXPECT_EQ(c[1].re, 3.0f);
    EXPECT_EQ(c[1].im, 4.0f);
    VecCplx64 z;
    z.Import("pairs.txt", false);
    ASSERT_EQ(z.GetSize(), 2);
    EXPECT_EQ(z[0].im, 2.0);
    // Read with an index, the same pairs are index and value.
    r.Import("pairs.txt", true);
    ASSERT_EQ(r.GetSize(), 2);
    EXPECT_EQ(r[0], 2.0f);
    EXPECT_EQ(r[1], 4.0f);
}

TEST(VectorTextFiles, ImportStopsAtTheFirstLineThatDoesNotParse) {
    ScopedWorkDir dir;
    WriteBytes("stop.txt", "0 1.0\n1 2.0\nnot a number\n3 4.0\n");
    VecReal32 r;
    r.Import("stop.txt", true);
    ASSERT_EQ(r.GetSize(), 2);
    EXPECT_EQ(r[1], 2.0f);
    WriteBytes("empty.txt", "");
    WriteBytes("words.txt", "hello world\nmore words\n");
    VecCplx64 c = Complexes<VecCplx64>(4);
    c.Import("empty.txt", true);
    EXPECT_EQ(c.GetSize(), 0);
    c.Import("words.txt", false);
    EXPECT_EQ(c.GetSize(), 0);
    // A last record that lacks a field is not counted.
    WriteBytes("half.txt", "0 1 2\n1 3\n");
    VecCplx32 h;
    h.Import("half.txt", true);
    EXPECT_EQ(h.GetSize(), 1);
}

TEST(VectorTextFiles, ImportReusesCapacity) {
    ScopedWorkDir dir;
    Reals<VecReal64>(5).Dump("r.txt", false);
    VecReal64 big(100);
    big.Import("r.txt", true);
    EXPECT_EQ(big.GetSize(), 5);
    EXPECT_EQ(big.GetCapacity(), 100);
}

TEST(VectorTextFiles, TableImportKeepsTheChosenColumn) {
    ScopedWorkDir dir;
    WriteBytes("t3.txt", "1 2 3\n4 5 6\n");
    WriteBytes("t2.txt", "1 2\n4 5\n");
    VecReal32 r;
    r.Import("t3.txt", 3, 1);
    ASSERT_EQ(r.GetSize(), 2);
    EXPECT_EQ(r[0], 2.0f);
    EXPECT_EQ(r[1], 5.0f);
    r.Import("t3.txt", 3, 2);
    EXPECT_EQ(r[1], 6.0f);
    r.Import("t3.txt", 3, 7);
    EXPECT_EQ(r[1], 4.0f);
    r.Import("t2.txt", 2, 1);
    EXPECT_EQ(r[1], 5.0f);
    r.Import("t2.txt", 2, 0);
    EXPECT_EQ(r[1], 4.0f);
    // Any other column count reads one number a line: the table becomes a flat list.
    r.Import("t2.txt", 5, 1);
    ASSERT_EQ(r.GetSize(), 4);
    EXPECT_EQ(r[3], 5.0f);
    VecReal64 d;
    d.Import("t3.txt", 3, 2);
    ASSERT_EQ(d.GetSize(), 2);
    EXPECT_EQ(d[0], 3.0);
    d.Import("t2.txt", 2, 1);
    EXPECT_EQ(d[1], 5.0);
    d.Import("t2.txt", 1, 0);
    EXPECT_EQ(d.GetSize(), 4);
}

TEST(VectorTextFiles, MissingFilesAndUnwritablePlacesFailWithOpeningError) {
    ScopedWorkDir dir;
    VecReal32 r;
    VecReal64 d;
    VecCplx32 c;
    VecCplx64 z;
    EXPECT_EQ(ThrownCode([&] { r.Import("missing.txt", true); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { r.Import("missing.txt", 3, 1); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { d.Import("missing.txt", false); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { d.Import("missing.txt", 2, 1); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { c.Import("missing.txt", true); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { z.Import("missing.txt", true); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { r.Dump("no/dir/r.txt", false); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { d.Dump("no/dir/r.txt", false); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { c.Dump("no/dir/r.txt", false); }), VELAErrorOpeningFile);
    const std::string ro = corvane_test::ReadOnlyDir() + "/z.txt";
    EXPECT_EQ(ThrownCode([&] { z.Dump(ro.c_str(), false); }), VELAErrorOpeningFile);
}

TEST(VectorTextFiles, TextWritesToAFullDeviceAreNotChecked) {
    EXPECT_EQ(ThrownCode([] { Reals<VecReal32>(2000).Dump("/dev/full", false); }), VELAErrorNone);
    VecInt16 v(2000);
    v.SetZero();
    EXPECT_EQ(ThrownCode([&] { v.Dump("/dev/full", false); }), VELAErrorNone);
}

// ---------------------------------------------------------------- float vectors, console

TEST(VectorTextFiles, ConsoleDumpPrintsAllOrTheEndsAroundDots) {
    VecReal32 r(5);
    VecReal64 d(5);
    VecCplx32 c(5);
    for (int i = 0; i < 5; ++i) {
        r[i] = static_cast<float>(i + 1);
        d[i] = i + 0.5;
        c[i] = {static_cast<float>(i), static_cast<float>(-i)};
    }
    VecReal32 r4 = r;
    r4.Truncate(0, 4);
    CaptureStdout();
    r4.Dump(2);
    EXPECT_EQ(GetCapturedStdout(), "\n [ 0]= 1\n [ 1]= 2\n [ 2]= 3\n [ 3]= 4");
    CaptureStdout();
    r.Dump(2);
    EXPECT_EQ(GetCapturedStdout(), "\n [ 0]= 1\n [ 1]= 2\n.................\n [ 3]= 4\n [ 4]= 5");
    CaptureStdout();
    d.Dump(2);
    EXPECT_EQ(GetCapturedStdout(),
              "\n [ 0]= 0.5\n [ 1]= 1.5\n.............................\n [ 3]= 3.5\n [ 4]= 4.5");
    CaptureStdout();
    c.Dump(1);
    EXPECT_EQ(GetCapturedStdout(), "\n [ 0]= 0  0 \n.................\n [ 4]= 4  -4 ");
    CaptureStdout();
    c.Dump(3);
    EXPECT_EQ(GetCapturedStdout(),
              "\n [ 0]= 0  0 \n [ 1]= 1  -1 \n [ 2]= 2  -2 \n [ 3]= 3  -3 \n [ 4]= 4  -4 ");
}

TEST(VectorTextFiles, ConsoleDumpOfVecCplx64UsesOneBlankInTheHeadOfAShortenedPrint) {
    VecCplx64 z(5);
    for (int i = 0; i < 5; ++i)
        z[i] = {static_cast<double>(i), 0.5};
    CaptureStdout();
    z.Dump(2);
    EXPECT_EQ(GetCapturedStdout(),
              "\n [ 0]= 0 0.5 \n [ 1]= 1 0.5 \n.................\n [ 3]= 3  0.5 \n [ 4]= 4  0.5 ");
    CaptureStdout();
    z.Dump(5);
    EXPECT_EQ(GetCapturedStdout(),
              "\n [ 0]= 0  0.5 \n [ 1]= 1  0.5 \n [ 2]= 2  0.5 \n [ 3]= 3  0.5 \n [ 4]= 4  0.5 ");
}

// ---------------------------------------------------------------- integer vectors

TEST(VectorTextFiles, VecInt16RoundTripsExactlyThroughItsIndexedFile) {
    ScopedWorkDir dir;
    VecInt16 v(6);
    const short values[6] = {0, 1, -1, 32767, -32768, 1234};
    for (int i = 0; i < 6; ++i)
        v[i] = values[i];
    v.Dump("i16.txt", false);
    EXPECT_EQ(ReadFile("i16.txt").substr(0, 40), "         0        0\n         1        1\n");
    VecInt16 back;
    back.Import("i16.txt", true);
    EXPECT_TRUE(back.IsEqual(v, 0));
}

TEST(VectorTextFiles, VecInt32AndVecUInt32WriteValuesAloneAndReadThemWithoutIndex) {
    ScopedWorkDir dir;
    VecInt32 a(4);
    a[0] = 0;
    a[1] = -5;
    a[2] = 2147483647;
    a[3] = -2147483647 - 1;
    a.Dump("i32.txt", false);
    EXPECT_EQ(ReadFile("i32.txt"), "0\n-5\n2147483647\n-2147483648\n");
    VecInt32 b;
    b.Import("i32.txt", false);
    EXPECT_TRUE(b.IsEqual(a, 0));
    VecUInt32 u(3);
    u[0] = 7;
    u[1] = 4294967295u;
    u[2] = 2147483648u;
    u.Dump("u32.txt", false);
    EXPECT_EQ(ReadFile("u32.txt"), "7\n4294967295\n2147483648\n");
    VecUInt32 ub;
    ub.Import("u32.txt", false);
    ASSERT_EQ(ub.GetSize(), 3);
    EXPECT_EQ(ub[0], 7u);
    EXPECT_EQ(ub[1], 4294967295u);
    EXPECT_EQ(ub[2], 2147483648u);
    // With an index the second number of each line is kept.
    WriteBytes("idx.txt", "0 10\n1 -20\n");
    b.Import("idx.txt", true);
    ASSERT_EQ(b.GetSize(), 2);
    EXPECT_EQ(b[1], -20);
}

TEST(VectorTextFiles, VerboseIntegerDumpAnnouncesTheFile) {
    ScopedWorkDir dir;
    VecInt32 a(1);
    a[0] = 3;
    CaptureStdout();
    a.Dump("x.txt", true);
    EXPECT_EQ(GetCapturedStdout(), "\n====x.txt saved");
}

TEST(VectorTextFiles, CopyConstructedVecInt32WithoutStorageImportsSafely) {
    ScopedWorkDir dir;
    WriteBytes("v.txt", "1\n2\n3\n");
    VecInt32 source(10);
    VecInt32 copy(source);  // records size 10 with no block behind it
    copy.Import("v.txt", false);
    ASSERT_EQ(copy.GetSize(), 3);
    EXPECT_NE(copy.Data(), nullptr);
    EXPECT_EQ(copy[2], 3);
    VecUInt32 us(10);
    VecUInt32 ucopy(us);
    EXPECT_EQ(ThrownCode([&] { ucopy.Dump("w.txt", false); }),
              VELAErrorNone);  // prints nothing, reads nothing
    EXPECT_EQ(ReadFile("w.txt"), "");
    ucopy.Import("v.txt", false);
    EXPECT_EQ(ucopy[1], 2u);
}

TEST(VectorTextFiles, IntegerImportOfMissingFileFailsWithOpeningError) {
    VecInt16 a;
    VecInt32 b;
    VecUInt32 c;
    EXPECT_EQ(ThrownCode([&] { a.Import("/no/such/file", true); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { b.Import("/no/such/file", false); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { c.Import("/no/such/file", false); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { a.Dump("/no/such/dir/f", false); }), VELAErrorOpeningFile);
}

// ---------------------------------------------------------------- BitVector

TEST(VectorTextFiles, BitVectorDumpAndImportGiveAnEqualTable) {
    ScopedWorkDir dir;
    BitVector b(5, 7);
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 7; ++j)
            b[i][j] = static_cast<unsigned char>((i * 3 + j * 5) % 2);
    b.Dump("b.txt", false);
    BitVector back;
    back.Import("b.txt", 7, false);
    EXPECT_TRUE(back.IsEqual(b));
    b.Dump("bi.txt", true);
    BitVector backi;
    backi.Import("bi.txt", 7, true);
    EXPECT_TRUE(backi.IsEqual(b));
}

TEST(VectorTextFiles, BitVectorFileHasOneRowALineWithAnOptionalRowNumber) {
    ScopedWorkDir dir;
    BitVector b(2, 3);
    b[0][0] = 1;
    b[1][2] = 255;
    b.Dump("b.txt", false);
    EXPECT_EQ(ReadFile("b.txt"), "1 0 0 \n0 0 x \n");
    CaptureStdout();
    b.Dump("bi.txt", true, true);
    EXPECT_EQ(GetCapturedStdout(), "\n====bi.txt saved");
    EXPECT_EQ(ReadFile("bi.txt"), "  0 1 0 0 \n  1 0 0 x \n");
}

TEST(VectorTextFiles, BitVectorImportStopsAtAnUnknownBitAndDropsAnIncompleteRow) {
    ScopedWorkDir dir;
    BitVector b(3, 2);
    b[0][0] = 1;
    b[1][1] = 255;  // written as 'x'
    b.Dump("b.txt", false);
    BitVector back;
    back.Import("b.txt", 2, false);
    EXPECT_EQ(back.GetCodeLen(), 1);  // the second row holds the 'x'
    EXPECT_EQ(back[0][0], 1);
    WriteBytes("part.txt", "1 0 1\n0 1\n");
    back.Import("part.txt", 3, false);
    EXPECT_EQ(back.GetCodeLen(), 1);
    EXPECT_EQ(back.GetCodeWordLen(), 3);
    EXPECT_EQ(ThrownCode([&] { back.Import("part.txt", 0, false); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { back.Import("missing.txt", 2, false); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { b.Dump("no/dir/b.txt", false); }), VELAErrorOpeningFile);
    // A column count far beyond the file reads no row and allocates nothing large.
    back.Import("part.txt", 2147483647, true);
    EXPECT_EQ(back.GetCodeLen(), 0);
}

// ---------------------------------------------------------------- matrices

TEST(VectorTextFiles, MatrixFileHasOneRowALineAndIsAlwaysAnnounced) {
    ScopedWorkDir dir;
    MatReal32 m(2, 3);
    const float v[6] = {1, 2.5f, -3, 4, 5, 6e10f};
    m.Import(v, 2, 3);
    CaptureStdout();
    m.Dump("m.txt");
    EXPECT_EQ(GetCapturedStdout(), "\n====m.txt saved");
    EXPECT_EQ(ReadFile("m.txt"), "1 2.5 -3 \n4 5 6e+10 \n");
    MatReal64 d(1, 2);
    const double w[2] = {0.125, -7};
    d.Import(w, 1, 2);
    CaptureStdout();
    d.Dump("d.txt");
    GetCapturedStdout();
    EXPECT_EQ(ReadFile("d.txt"), "0.125 -7 \n");
    EXPECT_EQ(ThrownCode([&] { d.Dump("no/dir/d.txt"); }), VELAErrorOpeningFile);
}

TEST(VectorTextFiles, MatrixConsoleDumpPrintsEveryRowOrTheFirstAndLastRows) {
    MatReal64 m(5, 2);
    for (int i = 0; i < 5; ++i) {
        m[i][0] = i;
        m[i][1] = -i;
    }
    CaptureStdout();
    m.Dump(2);
    EXPECT_EQ(GetCapturedStdout(), "\n0 0 \n1 -1 \n.................\n3 -3 \n4 -4 ");
    CaptureStdout();
    m.Dump(3);
    EXPECT_EQ(GetCapturedStdout(), "\n0 0 \n1 -1 \n2 -2 \n3 -3 \n4 -4 ");
    MatReal32 c(5, 1);
    for (int i = 0; i < 5; ++i)
        c[i][0] = static_cast<float>(i);
    CaptureStdout();
    c.Dump(1);
    EXPECT_EQ(GetCapturedStdout(), "\n0 \n.................\n4 ");
}

TEST(VectorTextFiles, FailuresNameTheSourceOfTheirClass) {
    using corvane_test::ThrownFile;
    VecReal32 r;
    VecCplx64 z;
    VecInt16 i;
    BitVector b;
    MatReal64 m(1, 1);
    EXPECT_EQ(ThrownFile([&] { r.Import("/no/such/file", true); }), "math/VecReal.cpp");
    EXPECT_EQ(ThrownFile([&] { z.Import("/no/such/file", true); }), "math/VecCplx.cpp");
    EXPECT_EQ(ThrownFile([&] { i.Import("/no/such/file", true); }), "math/IntVector.cpp");
    EXPECT_EQ(ThrownFile([&] { b.Import("/no/such/file", 2, false); }), "math/BitVector.cpp");
    EXPECT_EQ(ThrownFile([&] { m.Dump("/no/such/dir/m.txt"); }), "math/matrix.cpp");
}
