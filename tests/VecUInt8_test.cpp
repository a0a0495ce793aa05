// VecUInt8: construction, deep copies, Import/Export, the window contracts, and the console Dump.
#include <corvane/math/IntVector.h>
#include <gtest/gtest.h>

#include <string>

using namespace VELA;

namespace {

VecUInt8 Of(std::initializer_list<int> values) {
    VecUInt8 v(static_cast<int>(values.size()));
    int i = 0;
    for (int x : values)
        v[i++] = static_cast<unsigned char>(x);
    return v;
}

}  // namespace

TEST(VecUInt8, DefaultIsEmptyAndCountAllocatesExactly) {
    VecUInt8 e;
    EXPECT_EQ(e.GetSize(), 0);
    EXPECT_EQ(e.GetCapacity(), 0);
    EXPECT_EQ(e.Data(), nullptr);
    VecUInt8 v(17);
    EXPECT_EQ(v.GetSize(), 17);
    EXPECT_EQ(v.GetCapacity(), 17);
    EXPECT_NE(v.Data(), nullptr);
    VecUInt8 z(0);
    EXPECT_EQ(z.Data(), nullptr);
}

TEST(VecUInt8, NegativeCountFailsAsMemoryAllocation) {
    try {
        VecUInt8 v(-1);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
        EXPECT_STREQ(e.message, "memory allocation error");
    }
}

TEST(VecUInt8, CopyIsDeepAndHoldsOnlyTheWindow) {
    VecUInt8 v = Of({1, 2, 3, 4, 5});
    v.Truncate(1, 3);
    const VecUInt8 c(v);
    EXPECT_EQ(c.GetSize(), 3);
    EXPECT_EQ(c.GetCapacity(), 3);
    EXPECT_NE(c.Data(), v.Data());
    EXPECT_EQ(c[0], 2);
    EXPECT_EQ(c[2], 4);
}

TEST(VecUInt8, AssignmentReallocatesExactly) {
    const VecUInt8 src = Of({9, 8, 7});
    VecUInt8 dst(100);
    dst = src;
    EXPECT_EQ(dst.GetCapacity(), 3);
    EXPECT_EQ(dst[2], 7);
    dst = dst;  // self-assignment keeps everything
    EXPECT_EQ(dst.GetSize(), 3);
    EXPECT_EQ(dst[0], 9);
}

TEST(VecUInt8, ImportReusesCapacityAndExportCopiesTheCallersCount) {
    VecUInt8 v(64);
    const unsigned char* block = v.Data();
    const unsigned char bytes[4] = {0, 128, 255, 1};
    v.Import(bytes, 4);
    EXPECT_EQ(v.GetCapacity(), 64);
    EXPECT_EQ(v.Data(), block);
    EXPECT_EQ(v.GetSize(), 4);
    EXPECT_EQ(v[2], 255);
    unsigned char out[4] = {};
    v.Export(out, 2);
    EXPECT_EQ(out[1], 128);
    EXPECT_EQ(out[2], 0);  // only the two asked for
}

TEST(VecUInt8, CrcCoversTheWindowOnly) {
    VecUInt8 v = Of({10, 20, 30, 40, 50, 60});
    const unsigned char window[3] = {20, 30, 40};
    v.Truncate(1, 3);
    EXPECT_EQ(v.ComputeCRC32(), Checksum::ComputeCRC32(3, window, 0));
}

TEST(VecUInt8, DumpPrintsEveryElementOrBothEnds) {
    VecUInt8 v = Of({1, 2, 3, 4, 5});
    testing::internal::CaptureStdout();
    v.Dump(3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n [ 0]= 1\n [ 1]= 2\n [ 2]= 3\n [ 3]= 4\n [ 4]= 5");
    testing::internal::CaptureStdout();
    v.Dump(2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n [ 0]= 1\n [ 1]= 2\n.................\n [ 3]= 4\n [ 4]= 5");
}
