// VecUInt32: the copy constructor that allocates nothing, the deep assignment shared with VecInt32, and
// the comparison on signed values.
#include <corvane/math/IntVector.h>
#include <gtest/gtest.h>

using namespace VELA;

namespace {

VecUInt32 Of(std::initializer_list<unsigned int> values) {
    VecUInt32 v(static_cast<int>(values.size()));
    int i = 0;
    for (unsigned int x : values)
        v[i++] = x;
    return v;
}

}  // namespace

TEST(VecUInt32, CopyConstructorRecordsTheSizeOnly) {
    const VecUInt32 src = Of({1, 2, 3, 4, 5});
    VecUInt32 c(src);
    EXPECT_EQ(c.GetSize(), 5);
    EXPECT_EQ(c.GetCapacity(), 5);
    EXPECT_EQ(c.Data(), nullptr);
    c = src;
    ASSERT_NE(c.Data(), nullptr);
    EXPECT_NE(c.Data(), src.Data());
    EXPECT_EQ(c[4], 5u);
}

TEST(VecUInt32, AssignmentReallocatesExactly) {
    VecUInt32 dst(50);
    dst = Of({0xFFFFFFFFu, 7});
    EXPECT_EQ(dst.GetCapacity(), 2);
    EXPECT_EQ(dst[0], 0xFFFFFFFFu);
}

TEST(VecUInt32, IsEqualComparesAsSignedValues) {
    // 0 and 0xFFFFFFFF are 0 and -1 to the shared signed comparison: one apart.
    EXPECT_TRUE(Of({0}).IsEqual(Of({0xFFFFFFFFu}), 1));
    EXPECT_FALSE(Of({0}).IsEqual(Of({0xFFFFFFFFu}), 0));
    EXPECT_TRUE(Of({10, 20}).IsEqual(Of({10, 20}), 0));
    EXPECT_FALSE(Of({10, 20}).IsEqual(Of({10}), 100));
}

TEST(VecUInt32, DumpPrintsUnsignedValues) {
    testing::internal::CaptureStdout();
    Of({0xFFFFFFFFu, 3}).Dump(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n [ 0]= 4294967295\n [ 1]= 3");
}
