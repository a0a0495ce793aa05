// VecInt16: copies, Import/Export, extremes with the first-index tie rule, the exact sum saturated once,
// saturating arithmetic in the operand order this - other, IsEqual with <=, and the console Dump.
#include <corvane/math/IntVector.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

using namespace VELA;

namespace {

VecInt16 Of(std::initializer_list<int> values) {
    VecInt16 v(static_cast<int>(values.size()));
    int i = 0;
    for (int x : values)
        v[i++] = static_cast<short>(x);
    return v;
}

std::vector<int> Values(const VecInt16& v) {
    std::vector<int> out;
    for (int i = 0; i < v.GetSize(); ++i)
        out.push_back(v[i]);
    return out;
}

int Saturate(long long x) {
    return x > 32767 ? 32767 : x < -32768 ? -32768 : static_cast<int>(x);
}

}  // namespace

TEST(VecInt16, SumOfOneToFiveIsFifteenAndACopyIsEqualWithToleranceZero) {
    const VecInt16 v = Of({1, 2, 3, 4, 5});
    EXPECT_EQ(v.Sum(), 15);
    const VecInt16 c(v);
    EXPECT_TRUE(c.IsEqual(v, 0));
    EXPECT_NE(c.Data(), v.Data());
    EXPECT_EQ(c.GetCapacity(), 5);
}

TEST(VecInt16, AssignmentReallocatesExactlyAndImportReusesCapacity) {
    VecInt16 dst(100);
    dst = Of({4, 5});
    EXPECT_EQ(dst.GetCapacity(), 2);
    VecInt16 big(100);
    const short* block = big.Data();
    const short p[3] = {-1, 0, 1};
    big.Import(p, 3);
    EXPECT_EQ(big.GetCapacity(), 100);
    EXPECT_EQ(big.Data(), block);
    EXPECT_EQ(Values(big), (std::vector<int>{-1, 0, 1}));
    short out[3] = {};
    big.Export(out, 3);
    EXPECT_EQ(out[0], -1);
    EXPECT_EQ(out[2], 1);
}

TEST(VecInt16, ExtremesReportTheFirstIndexOnTies) {
    const VecInt16 v = Of({3, -7, 9, 9, -7, 0});
    short value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(value, 9);
    EXPECT_EQ(index, 2);
    v.Min(value, index);
    EXPECT_EQ(value, -7);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(v.Max(), 9);
    EXPECT_EQ(v.Min(), -7);
}

TEST(VecInt16, SumIsExactThenSaturatedOnce) {
    // 20000 + 20000 - 30000 = 10000: an accumulator that saturated along the way would give 2767.
    EXPECT_EQ(Of({20000, 20000, -30000}).Sum(), 10000);
    EXPECT_EQ(Of({20000, 20000, 20000}).Sum(), 32767);
    EXPECT_EQ(Of({-20000, -20000, -20000}).Sum(), -32768);
    VecInt16 many(70000);
    for (int i = 0; i < many.GetSize(); ++i)
        many[i] = static_cast<short>(i % 2 ? 32767 : -32767);
    EXPECT_EQ(many.Sum(), 0);
}

TEST(VecInt16, VectorArithmeticSaturatesInTheOrderThisMinusOther) {
    const VecInt16 a = Of({32767, -32768, 30000, -30000, 5, 200});
    const VecInt16 b = Of({1, 1, 30000, 30000, 7, -200});
    VecInt16 s(a);
    s += b;
    EXPECT_EQ(Values(s), (std::vector<int>{32767, -32767, 32767, 0, 12, 0}));
    s = a;
    s -= b;
    EXPECT_EQ(Values(s), (std::vector<int>{32766, -32768, 0, -32768, -2, 400}));
    s = a;
    s *= b;
    EXPECT_EQ(Values(s), (std::vector<int>{32767, -32768, 32767, -32768, 35, -32768}));
}

TEST(VecInt16, ScalarArithmeticSaturates) {
    const VecInt16 a = Of({32767, -32768, 100, -5});
    VecInt16 s(a);
    s += static_cast<short>(1);
    EXPECT_EQ(Values(s), (std::vector<int>{32767, -32767, 101, -4}));
    s = a;
    s -= static_cast<short>(1);
    EXPECT_EQ(Values(s), (std::vector<int>{32766, -32768, 99, -6}));
    s = a;
    s *= static_cast<short>(-1);
    EXPECT_EQ(Values(s), (std::vector<int>{-32767, 32767, -100, 5}));
}

TEST(VecInt16, ArithmeticMatchesExactSaturationOnRandomData) {
    std::mt19937 rng(42);
    const int n = 1000;
    VecInt16 a(n), b(n);
    for (int i = 0; i < n; ++i) {
        a[i] = static_cast<short>(rng());
        b[i] = static_cast<short>(rng() % 512);
    }
    VecInt16 sum(a), diff(a), prod(a);
    sum.Add(b);
    diff.Sub(b);
    prod.Mul(b);
    for (int i = 0; i < n; ++i) {
        EXPECT_EQ(sum[i], Saturate(a[i] + b[i]));
        EXPECT_EQ(diff[i], Saturate(a[i] - b[i]));
        EXPECT_EQ(prod[i], Saturate(static_cast<long long>(a[i]) * b[i]));
    }
}

TEST(VecInt16, ArithmeticWorksOnTheWindow) {
    VecInt16 v = Of({1, 2, 3, 4, 5, 6});
    v.Truncate(2, 2);
    v += static_cast<short>(100);
    v.Resize(6);
    EXPECT_EQ(Values(v), (std::vector<int>{1, 2, 103, 104, 5, 6}));
}

TEST(VecInt16, IsEqualUsesLessOrEqualAndComparesSizes) {
    const VecInt16 v = Of({1, 2, 3});
    EXPECT_TRUE(v.IsEqual(Of({1, 2, 3}), 0));
    EXPECT_FALSE(v.IsEqual(Of({1, 2, 4}), 0));
    EXPECT_TRUE(v.IsEqual(Of({1, 2, 4}), 1));
    EXPECT_TRUE(v.IsEqual(Of({-1, 4, 3}), 2));
    EXPECT_FALSE(v.IsEqual(Of({1, 2}), 100));
    EXPECT_TRUE(Of({}).IsEqual(Of({}), 0));
    // Extremes of the type do not overflow the difference.
    EXPECT_TRUE(Of({32767}).IsEqual(Of({-32768}), 65535));
    EXPECT_FALSE(Of({32767}).IsEqual(Of({-32768}), 65534));
    testing::internal::CaptureStdout();
    v.IsEqual(Of({9, 9, 9}), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // prints nothing
}

TEST(VecInt16, DumpShowsBothEndsAroundALineOfDots) {
    const VecInt16 v = Of({-1, 2, -3, 4, -5, 6, -7});
    testing::internal::CaptureStdout();
    v.Dump(2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n [ 0]= -1\n [ 1]= 2\n.................\n [ 5]= 6\n [ 6]= -7");
    testing::internal::CaptureStdout();
    Of({}).Dump(3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}
