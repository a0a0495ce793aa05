// MatFileReader: opens MAT-files and refuses anything else; its read operations leave their outputs
// exactly as they were.
#include <corvane/infra/MatFileReader.h>
#include <corvane/infra/MatFileWriter.h>
#include <corvane/math/IntVector.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>

#include <cstring>

#include "support/FileTestUtil.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::ScopedWorkDir;
using corvane_test::ThrownCode;

TEST(MatFileReader, OpensAMatFileAndRefusesMissingOrForeignFiles) {
    ScopedWorkDir dir;
    {
        MatFileWriter w("a.mat");
        w.WriteScalar("x", 4.0);
    }
    EXPECT_EQ(ThrownCode([] { MatFileReader r("a.mat"); }), VELAErrorNone);
    EXPECT_EQ(ThrownCode([] { MatFileReader r("missing.mat"); }), VELAErrorOpeningFile);
    corvane_test::WriteBytes("text.mat", "not a MAT-file at all\n");
    EXPECT_EQ(ThrownCode([] { MatFileReader r("text.mat"); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([] { MatFileReader r(nullptr); }), VELAErrorOpeningFile);
}

TEST(MatFileReader, ReadOperationsLeaveTheirOutputsUnchanged) {
    ScopedWorkDir dir;
    VecCplx32 c32(2);
    VecCplx64 c64(2);
    VecReal32 r32(2);
    VecReal64 r64(2);
    VecUInt8 u8(2);
    VecInt16 i16(2);
    c32[0] = {1, 2};
    c64[1] = {3, 4};
    r32[0] = 5;
    r64[1] = 6;
    u8[0] = 7;
    i16[1] = 8;
    {
        MatFileWriter w("a.mat");
        w.WriteVector("c32", VecCplx32(9));
        w.WriteScalar("x", 4.0);
        w.WriteVector("t", "text");
    }
    MatFileReader r("a.mat");
    r.ReadVector(c32, "c32");
    r.ReadVector(c64, "c32");
    r.ReadVector(r32, "c32");
    r.ReadVector(r64, "c32");
    r.ReadVector(u8, "c32");
    r.ReadVector(i16, "c32");
    char text[16] = "unchanged";
    r.ReadVector(text, "t");
    double value = -1.5;
    r.ReadScalar(value, "x");
    EXPECT_EQ(c32.GetSize(), 2);
    EXPECT_EQ(c32[0].re, 1.0f);
    EXPECT_EQ(c64[1].im, 4.0);
    EXPECT_EQ(r32[0], 5.0f);
    EXPECT_EQ(r64[1], 6.0);
    EXPECT_EQ(u8[0], 7);
    EXPECT_EQ(i16[1], 8);
    EXPECT_STREQ(text, "unchanged");
    EXPECT_EQ(value, -1.5);
}
