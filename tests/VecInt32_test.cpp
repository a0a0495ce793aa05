// VecInt32: the copy constructor that allocates nothing, the do-nothing members, the working scalar
// Add/Mul with wrapping, extremes, the exact saturated sum, IsEqual, and the console Dump.
#include <corvane/math/IntVector.h>
#include <gtest/gtest.h>

#include <climits>
#include <vector>

using namespace VELA;

namespace {

VecInt32 Of(std::initializer_list<int> values) {
    VecInt32 v(static_cast<int>(values.size()));
    int i = 0;
    for (int x : values)
        v[i++] = x;
    return v;
}

std::vector<int> Values(const VecInt32& v) {
    return std::vector<int>(v.Data(), v.Data() + v.GetSize());
}

}  // namespace

TEST(VecInt32, CopyConstructedFromFiveReportsSizeFiveWithNoStorage) {
    const VecInt32 src = Of({1, 2, 3, 4, 5});
    VecInt32 c(src);
    EXPECT_EQ(c.GetSize(), 5);
    EXPECT_EQ(c.GetCapacity(), 5);
    EXPECT_EQ(c.Data(), nullptr);
}

TEST(VecInt32, ResizeWithinTheRecordedCapacityLeavesDataNull) {
    const VecInt32 src = Of({1, 2, 3, 4, 5});
    VecInt32 c(src);
    c.Resize(5);
    EXPECT_EQ(c.Data(), nullptr);
    c.Resize(2);
    EXPECT_EQ(c.Data(), nullptr);
    EXPECT_EQ(c.GetSize(), 2);
}

TEST(VecInt32, CopyGetsStorageFromAssignmentOrAGrowingResize) {
    const VecInt32 src = Of({1, 2, 3, 4, 5});
    VecInt32 a(src);
    a = src;
    EXPECT_NE(a.Data(), nullptr);
    EXPECT_NE(a.Data(), src.Data());
    EXPECT_EQ(Values(a), Values(src));
    VecInt32 b(src);
    b.Resize(6);
    EXPECT_NE(b.Data(), nullptr);
    EXPECT_EQ(b.GetCapacity(), 6);
    b[5] = 7;  // usable
    EXPECT_EQ(b[5], 7);
}

TEST(VecInt32, AssignmentIsDeepAndExact) {
    VecInt32 dst(100);
    dst = Of({4, 5, 6});
    EXPECT_EQ(dst.GetCapacity(), 3);
    EXPECT_EQ(Values(dst), (std::vector<int>{4, 5, 6}));
    dst = dst;
    EXPECT_EQ(Values(dst), (std::vector<int>{4, 5, 6}));
}

TEST(VecInt32, MinusEqualsConstantLeavesTheVectorUnchanged) {
    VecInt32 v = Of({1, 2, 3});
    v -= 2;
    EXPECT_EQ(Values(v), (std::vector<int>{1, 2, 3}));
    v.Sub(2);
    EXPECT_EQ(Values(v), (std::vector<int>{1, 2, 3}));
}

TEST(VecInt32, PlusEqualsConstantAddsAndTimesEqualsMultiplies) {
    VecInt32 v = Of({1, 2, 3});
    v += 2;
    EXPECT_EQ(Values(v), (std::vector<int>{3, 4, 5}));
    v *= -3;
    EXPECT_EQ(Values(v), (std::vector<int>{-9, -12, -15}));
    v.Add(1);
    v.Mul(2);
    EXPECT_EQ(Values(v), (std::vector<int>{-16, -22, -28}));
}

TEST(VecInt32, VectorMembersDoNothingAndReturnThis) {
    VecInt32 v = Of({1, 2, 3});
    const VecInt32 o = Of({10, 20, 30});
    EXPECT_EQ(&(v += o), &v);
    EXPECT_EQ(&(v -= o), &v);
    EXPECT_EQ(&(v *= o), &v);
    EXPECT_EQ(&(v -= 5), &v);
    v.Add(o);
    v.Sub(o);
    v.Mul(o);
    EXPECT_EQ(Values(v), (std::vector<int>{1, 2, 3}));
}

TEST(VecInt32, ScalarArithmeticWrapsModulo2To32) {
    VecInt32 v = Of({INT_MAX, INT_MIN, -1});
    v += 1;
    EXPECT_EQ(Values(v), (std::vector<int>{INT_MIN, INT_MIN + 1, 0}));
    v = Of({INT_MAX, INT_MIN, 0x10000});
    v *= 0x10000;
    EXPECT_EQ(Values(v), (std::vector<int>{-65536, 0, 0}));
}

TEST(VecInt32, ExtremesReportTheFirstIndexOnTies) {
    const VecInt32 v = Of({-4, 11, 0, 11, -4, INT_MIN});
    int value = 0, index = -1;
    v.Max(value, index);
    EXPECT_EQ(value, 11);
    EXPECT_EQ(index, 1);
    v.Min(value, index);
    EXPECT_EQ(value, INT_MIN);
    EXPECT_EQ(index, 5);
    EXPECT_EQ(v.Max(), 11);
    EXPECT_EQ(v.Min(), INT_MIN);
}

TEST(VecInt32, SumIsExactThenSaturated) {
    EXPECT_EQ(Of({1, 2, 3, 4, 5}).Sum(), 15);
    EXPECT_EQ(Of({INT_MAX, INT_MAX, -INT_MAX}).Sum(), INT_MAX);  // exact: INT_MAX, no saturation on the way
    EXPECT_EQ(Of({INT_MAX, 1}).Sum(), INT_MAX);
    EXPECT_EQ(Of({INT_MIN, -1}).Sum(), INT_MIN);
}

TEST(VecInt32, IsEqualUsesLessOrEqualWithoutOverflow) {
    const VecInt32 v = Of({1, 2, 3});
    EXPECT_TRUE(v.IsEqual(Of({1, 2, 3}), 0));
    EXPECT_FALSE(v.IsEqual(Of({1, 2, 5}), 1));
    EXPECT_TRUE(v.IsEqual(Of({1, 2, 5}), 2));
    EXPECT_FALSE(v.IsEqual(Of({1, 2}), 1000));
    // INT_MAX and -1 are 2^31 apart, not 2^31 wrapped to a negative difference.
    EXPECT_FALSE(Of({INT_MAX}).IsEqual(Of({-1}), INT_MAX));
    EXPECT_TRUE(Of({INT_MAX}).IsEqual(Of({0}), INT_MAX));
}

TEST(VecInt32, DumpPrintsSignedValues) {
    testing::internal::CaptureStdout();
    Of({-5, 12}).Dump(5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n [ 0]= -5\n [ 1]= 12");
}
