// VecReal64: as VecReal32, plus the one mixed assignment (from VecReal32, always a new block) and an
// IsEqual that does not compare sizes.
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "kernel/Memory.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

namespace {

VecReal64 Of(std::initializer_list<double> values) {
    VecReal64 v(static_cast<int>(values.size()));
    int i = 0;
    for (double x : values)
        v[i++] = x;
    return v;
}

VecReal64 Five() {
    return Of({0.92, 0.73, 0.17, 0.4, 0.93});
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction, copies, conversion

TEST(VecReal64, ConstructionFromVecReal32WidensExactly) {
    VecReal32 f(3);
    f[0] = 0.1f;
    f[1] = -3.0f;
    f[2] = 1e-40f;  // a denormal float survives the conversion
    const VecReal64 d(f);
    EXPECT_EQ(d.GetSize(), 3);
    EXPECT_EQ(d.GetCapacity(), 3);
    EXPECT_EQ(d[0], static_cast<double>(0.1f));
    EXPECT_EQ(d[1], -3.0);
    EXPECT_EQ(d[2], static_cast<double>(1e-40f));
    EXPECT_NE(d[2], 0.0);
}

TEST(VecReal64, MixedAssignmentIntoSufficientCapacityTakesANewBlock) {
    VecReal64 d(100);
    const double* old = d.Data();
    VecReal32 f(10);
    for (int i = 0; i < 10; ++i)
        f[i] = 0.5f * static_cast<float>(i);
    const long long before = kern::AllocationCount();
    d = f;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    // The new block is taken while the old one is still held, so the two must differ.
    EXPECT_NE(d.Data(), old);
    EXPECT_EQ(d.GetSize(), 10);
    EXPECT_EQ(d.GetCapacity(), 10);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(d[i], 0.5 * i);
}

TEST(VecReal64, MixedAssignmentIntoSmallCapacityAllocatesExactly) {
    VecReal64 d(2);
    VecReal32 f(50);
    for (int i = 0; i < 50; ++i)
        f[i] = static_cast<float>(-i);
    const long long before = kern::AllocationCount();
    d = f;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(d.GetCapacity(), 50);
    EXPECT_EQ(d[49], -49.0);
}

TEST(VecReal64, MixedAssignmentFromAViewConvertsTheWindow) {
    VecReal32 f(6);
    for (int i = 0; i < 6; ++i)
        f[i] = static_cast<float>(i);
    f.Truncate(2, 3);
    VecReal64 d;
    d = f;
    EXPECT_EQ(ToDoubles(d), (std::vector<double>{2, 3, 4}));
    EXPECT_EQ(d.GetCapacity(), 3);
}

namespace {

// Claims a capacity far beyond its block. A mixed assignment then takes the path on which the old block
// is kept while the new one is allocated, and that allocation fails: the same path that memory
// exhaustion takes with a genuine capacity.
class OverstatedCapacity : public VecReal64 {
  public:
    explicit OverstatedCapacity(int n) : VecReal64(n) { capacity = 536869912 + 10; }
    using VecReal64::operator=;
};

}  // namespace

TEST(VecReal64, FailedMixedAssignmentLeavesAValidEmptyVector) {
    ScopedWorkDir dir;  // the failure writes its report here
    OverstatedCapacity d(8);
    VecReal32 f(4);
    f.Truncate(0, 536869912);  // one above VELAAllocReal64's limit; never read, as the allocation fails
    try {
        d = f;
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
    }
    // The old block was released (the sanitizer build reports it otherwise) and nothing dangles.
    EXPECT_EQ(d.GetSize(), 0);
    EXPECT_EQ(d.GetCapacity(), 0);
    EXPECT_EQ(d.Data(), nullptr);
    f.Resize(4);
    f.SetZero();
    d = f;  // usable again
    EXPECT_EQ(d.GetCapacity(), 4);
    EXPECT_NE(ReadFile("VELAMemoryAllocError.txt").find("Failed VELAAllocReal64"), std::string::npos);
}

TEST(VecReal64, MixedAssignmentOfAnEmptyVectorAllocatesNothing) {
    VecReal64 d(4);
    const double* old = d.Data();
    const VecReal32 empty;
    const long long before = kern::AllocationCount();
    d = empty;
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(d.GetSize(), 0);
    EXPECT_EQ(d.GetCapacity(), 0);
    // Allocating zero elements leaves the block in place (it is still owned and released with the
    // vector); only the recorded capacity drops to the source's size.
    EXPECT_EQ(d.Data(), old);
}

TEST(VecReal64, SameTypeAssignmentReallocatesExactly) {
    VecReal64 d(100);
    const VecReal64 src = Five();
    const long long before = kern::AllocationCount();
    d = src;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(d.GetCapacity(), 5);
    EXPECT_EQ(ToDoubles(d), ToDoubles(src));
}

// ---------------------------------------------------------------------------------------------
// Arithmetic

TEST(VecReal64, SubAndDivTakeThisAsTheLeftOperand) {
    VecReal64 a = Of({10, 20, -3}), b = Of({4, 5, 2});
    a.Sub(b);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{6, 15, -5}));
    a = Of({10, 20, -3});
    a.Div(b);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2.5, 4, -1.5}));
    a = Of({10, 20, -3});
    a.Sub(4.0);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{6, 16, -7}));
    a = Of({10, 20, -3});
    a.Div(4.0);
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{2.5, 5, -0.75}));
}

TEST(VecReal64, AddAndMulWithVectorAndScalar) {
    VecReal64 a = Of({1, 2, 3}), b = Of({0.5, -1, 4});
    a += b;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{1.5, 1, 7}));
    a *= b;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{0.75, -1, 28}));
    a += 1.0;
    a *= 2.0;
    EXPECT_EQ(ToDoubles(a), (std::vector<double>{3.5, 0, 58}));
}

TEST(VecReal64, AddSubHalfAndMulDivTwoReturnToTheStart) {
    const VecReal64 start = Five();
    VecReal64 v = start;
    v += 0.5;
    v -= 0.5;
    EXPECT_TRUE(NearAbs(ToDoubles(v), ToDoubles(start), 9e-6));
    v *= 2.0;
    v /= 2.0;
    EXPECT_TRUE(NearAbs(ToDoubles(v), ToDoubles(start), 9e-6));
}

TEST(VecReal64, DivByVectorWithZeroWritesEveryElementThenThrows) {
    VecReal64 a = Of({1, 0, -2, 6}), b = Of({2, 0, 0, 3});
    try {
        a /= b;
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
        EXPECT_STREQ(e.message, "divide-by-zero error");
    }
    EXPECT_EQ(a[0], 0.5);
    EXPECT_TRUE(std::isnan(a[1]));
    EXPECT_EQ(a[2], -std::numeric_limits<double>::infinity());
    EXPECT_EQ(a[3], 2.0);
}

TEST(VecReal64, DivByZeroScalarThrowsAndLeavesTheVectorUnchanged) {
    VecReal64 a = Five();
    try {
        a /= 0.0;
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
    }
    EXPECT_EQ(ToDoubles(a), ToDoubles(Five()));
}

TEST(VecReal64, ArithmeticOnAViewTouchesOnlyTheWindow) {
    VecReal64 v = Of({1, 2, 3, 4, 5, 6, 7, 8});
    v.ShiftLeft(3);
    v.Truncate(0, 2);
    v -= 1.0;
    v.Resize(8);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{1, 2, 3, 3, 4, 6, 7, 8}));
}

// ---------------------------------------------------------------------------------------------
// Extremes and statistics

TEST(VecReal64, FiguresOfTheFiveValues) {
    const VecReal64 v = Five();
    EXPECT_NEAR(v.Sum(), 3.15, 1e-12);
    EXPECT_NEAR(v.Mean(), 0.63, 1e-12);
    EXPECT_EQ(v.Max(), 0.93);
    EXPECT_EQ(v.Min(), 0.17);
    double value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(value, 0.93);
    EXPECT_EQ(index, 4);
    v.Min(value, index);
    EXPECT_EQ(value, 0.17);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(v.Max(1, 3), 0.73);
    EXPECT_EQ(v.Min(1, 3), 0.17);
    v.Max(value, index, 1, 3);
    EXPECT_EQ(value, 0.73);
    EXPECT_EQ(index, 1);
    v.Min(value, index, 1, 3);
    EXPECT_EQ(index, 2);
    EXPECT_NEAR(v.StdDev(), 0.334888, 9e-6);
    EXPECT_EQ(v.Var(), v.StdDev() * v.StdDev());
}

TEST(VecReal64, IndexFormsReportTheFirstOfEqualExtremes) {
    VecReal64 v(4097);
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = (i * 7) % 11;
    v[2000] = 50;
    v[17] = 50;
    v[4096] = 50;
    v[600] = -50;
    v[599] = -50;
    double value = 0;
    int index = -1;
    v.Max(value, index);
    EXPECT_EQ(index, 17);
    v.Min(value, index);
    EXPECT_EQ(index, 599);
    v.Max(value, index, 18, 4000);
    EXPECT_EQ(index, 2000);
}

TEST(VecReal64, StatisticsAgreeWithNumpy) {
    const std::vector<int> lengths = {1, 7, 31, 1023, 4097};
    std::vector<std::vector<double>> inputs;
    for (size_t k = 0; k < lengths.size(); ++k)
        inputs.push_back(Uniform(static_cast<size_t>(lengths[k]), 200 + static_cast<unsigned>(k), -2, 3));
    const std::vector<double> ref = PyEval(
        "res = []\n"
        "for x in [a0, a1, a2, a3, a4]:\n"
        "    sd = x.std(ddof=1) if x.size > 1 else 0.0\n"
        "    res += [x.sum(), x.mean(), sd, x.max(), x.argmax(), x.min(), x.argmin(), np.abs(x).sum()]\n"
        "out = np.array(res)\n",
        inputs);
    ASSERT_EQ(ref.size(), 8 * lengths.size());
    for (size_t k = 0; k < lengths.size(); ++k) {
        SCOPED_TRACE("n = " + std::to_string(lengths[k]));
        const double* r = &ref[8 * k];
        const double absSum = r[7];
        const VecReal64 v = MakeReal64(inputs[k]);
        EXPECT_NEAR(v.Sum(), r[0], 1e-14 * absSum);
        EXPECT_NEAR(v.Mean(), r[1], 1e-14 * absSum / lengths[k]);
        if (lengths[k] > 1) {
            EXPECT_NEAR(v.StdDev(), r[2], 1e-13 * r[2]);
        }
        double value = 0;
        int index = -1;
        v.Max(value, index);
        EXPECT_EQ(value, r[3]);
        EXPECT_EQ(index, static_cast<int>(r[4]));
        EXPECT_EQ(v.Max(), r[3]);
        v.Min(value, index);
        EXPECT_EQ(value, r[5]);
        EXPECT_EQ(index, static_cast<int>(r[6]));
        EXPECT_EQ(v.Min(), r[5]);
    }
}

// ---------------------------------------------------------------------------------------------
// IsEqual

TEST(VecReal64, IsEqualWithToleranceZeroIsFalseAndPrints) {
    const VecReal64 a = Of({0.25, 1}), b = Of({0.25, 1});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 0.0f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n==>>0.250000000000000, Expected 0.250000000000000<<==");
}

TEST(VecReal64, IsEqualWalksThisSizeOnlySoALongerOtherCanBeEqual) {
    const VecReal64 a = Of({1, 2}), longer = Of({1, 2, 99});
    EXPECT_TRUE(a.IsEqual(longer, 1e-6f));
    // VecReal32 compares sizes first.
    const VecReal32 a32(a), longer32(longer);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a32.IsEqual(longer32, 1e-6f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(VecReal64, IsEqualComparesStrictlyBelowTheTolerance) {
    const VecReal64 a = Of({1.0}), b = Of({1.5});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 0.5f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n==>>1.000000000000000, Expected 1.500000000000000<<==");
    EXPECT_TRUE(a.IsEqual(b, 0.5001f));
}

TEST(VecReal64, IsEqualToleranceIsAFloat) {
    // 1e-60 is below 1e-50 in double, but 1e-50 as a float is 0, and nothing is below 0.
    const VecReal64 a = Of({1e-60}), b = Of({0.0});
    testing::internal::CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, static_cast<float>(1e-50)));
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(a.IsEqual(b, 1e-40f));  // a denormal float tolerance still counts
}

TEST(VecReal64, TwoEmptyVectorsAreEqual) {
    const VecReal64 a, b;
    EXPECT_TRUE(a.IsEqual(b, 0.0f));
}

// ---------------------------------------------------------------------------------------------
// Import and Export

TEST(VecReal64, ImportReusesCapacityWhileAssignmentDoesNot) {
    VecReal64 v(64);
    const double p[5] = {1, 2, 3, 4, 5};
    VecReal32 f(4);
    f.SetZero();
    long long before = kern::AllocationCount();
    v.Import(p, 5);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.GetCapacity(), 64);
    EXPECT_EQ(v.GetSize(), 5);
    const float pf[3] = {0.5f, 1.5f, 2.5f};
    v.Import(pf, 3);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(ToDoubles(v), (std::vector<double>{0.5, 1.5, 2.5}));
    v.Import(f);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.GetSize(), 4);
    const VecReal64 same(v);
    before = kern::AllocationCount();
    v = same;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(v.GetCapacity(), 4);
}

TEST(VecReal64, ExportCopiesTheCallersCount) {
    const VecReal64 v = Five();
    double d[6] = {-1, -1, -1, -1, -1, -1};
    v.Export(d, 2);
    EXPECT_EQ(d[1], 0.73);
    EXPECT_EQ(d[2], -1.0);
}
