// BaseVector<T>: the block-and-window contract (Resize, ShiftLeft, Truncate, copies) that every output
// argument of the library relies on. Exercised through the concrete vectors and through small test
// classes derived from the template.
#include <corvane/math/BaseVector.h>
#include <corvane/math/Checksum.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::ReadFile;
using corvane_test::ScopedWorkDir;

namespace {

// A concrete vector whose Alloc fills every new block with a marker, so a test can see which elements
// came from a fresh block and which were carried over.
class MarkedVector : public BaseVector<float> {
  public:
    static constexpr float kMarker = -7.25f;
    explicit MarkedVector(int n) : BaseVector<float>(n) { Create(n); }
    ~MarkedVector() override = default;
    float* Base() const { return base; }
    using BaseVector<float>::GetElementSize;
    int allocs = 0;

  private:
    void Alloc(int n) override {
        if (n == 0) return;
        base = VELAAllocReal32(n);
        if (!base) VELA_THROW(VELAErrorMemoryAlloc);
        for (int i = 0; i < n; ++i)
            base[i] = kMarker;
        ++allocs;
    }
};

// A vector that forgets to supply Alloc: the template's own must refuse to run.
class NoAllocVector : public BaseVector<double> {
  public:
    explicit NoAllocVector(int n) : BaseVector<double>(n) { Create(n); }
};

template <class T>
class ElementSize : public BaseVector<T> {
  public:
    static int Get() { return BaseVector<T>::GetElementSize(); }
};

// Bitwise CRC-32 (IEEE 802.3, reflected), written independently of the table-driven library version.
uint32_t BitwiseCrc32(const void* data, size_t n) {
    const auto* p = static_cast<const unsigned char*>(data);
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int b = 0; b < 8; ++b)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

VecReal32 Ramp(int n) {
    VecReal32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = static_cast<float>(i);
    return v;
}

}  // namespace

TEST(BaseVector, DefaultVectorOwnsNothing) {
    VecReal32 v;
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(v.GetCapacity(), 0);
    EXPECT_EQ(v.Data(), nullptr);
}

TEST(BaseVector, CountConstructorAllocatesExactlyThatCount) {
    const long long before = kern::AllocationCount();
    VecCplx32 v(37);
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(v.GetSize(), 37);
    EXPECT_EQ(v.GetCapacity(), 37);
    ASSERT_NE(v.Data(), nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(v.Data()) % 64, 0u);
}

TEST(BaseVector, ZeroCountAllocatesNothing) {
    const long long before = kern::AllocationCount();
    VecReal64 v(0);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.Data(), nullptr);
    EXPECT_EQ(v.GetCapacity(), 0);
}

TEST(BaseVector, ElementSizesAreThoseOfTheElements) {
    EXPECT_EQ(ElementSize<unsigned char>::Get(), 1);
    EXPECT_EQ(ElementSize<short>::Get(), 2);
    EXPECT_EQ(ElementSize<int>::Get(), 4);
    EXPECT_EQ(ElementSize<float>::Get(), 4);
    EXPECT_EQ(ElementSize<double>::Get(), 8);
    EXPECT_EQ(ElementSize<Cplx32>::Get(), 8);
    EXPECT_EQ(ElementSize<Cplx64>::Get(), 16);
}

TEST(BaseVector, ConstIndexGivesTheElementByValue) {
    static_assert(std::is_same_v<decltype(std::declval<const VecReal32&>()[0]), float>);
    static_assert(std::is_same_v<decltype(std::declval<const VecCplx32&>()[0]), Cplx32>);
    static_assert(std::is_same_v<decltype(std::declval<const VecCplx64&>()[0]), Cplx64>);
    static_assert(std::is_same_v<decltype(std::declval<VecReal32&>()[0]), float&>);
    VecReal32 v = Ramp(3);
    v[1] = 9.0f;
    EXPECT_EQ(std::as_const(v)[1], 9.0f);
}

TEST(BaseVector, GetLastValueReadsTheLastVisibleElement) {
    VecReal32 v = Ramp(8);
    EXPECT_EQ(v.GetLastValue(), 7.0f);
    v.Truncate(2, 3);
    EXPECT_EQ(v.GetLastValue(), 4.0f);
}

TEST(BaseVector, ResizeZeroKeepsBlockAndCapacity) {
    VecReal32 v = Ramp(16);
    const float* block = v.Data();
    const long long before = kern::AllocationCount();
    v.Resize(0);
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(v.GetCapacity(), 16);
    EXPECT_EQ(v.Data(), block);  // data == base
    EXPECT_EQ(kern::AllocationCount(), before);
    v.Resize(16);
    EXPECT_EQ(v[15], 15.0f);  // contents stayed where they were
}

TEST(BaseVector, ShiftLeftHidesLeadingElementsAndResizeBringsThemBack) {
    VecReal32 v = Ramp(8);
    const float* block = v.Data();
    EXPECT_TRUE(v.ShiftLeft(2));
    EXPECT_EQ(v.GetSize(), 6);
    EXPECT_EQ(v.GetCapacity(), 8);
    EXPECT_EQ(v[0], 2.0f);
    EXPECT_EQ(v.Data(), block + 2);
    const long long before = kern::AllocationCount();
    v.Resize(8);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.Data(), block);
    EXPECT_EQ(v.GetSize(), 8);
    EXPECT_EQ(v[0], 0.0f);
    EXPECT_EQ(v[7], 7.0f);
}

TEST(BaseVector, ShiftLeftAccumulates) {
    VecReal32 v = Ramp(8);
    v.ShiftLeft(1);
    v.ShiftLeft(3);
    EXPECT_EQ(v.GetSize(), 4);
    EXPECT_EQ(v[0], 4.0f);
}

TEST(BaseVector, TruncateNarrowsTheWindowAndKeepsCapacity) {
    VecReal32 v = Ramp(8);
    EXPECT_TRUE(v.Truncate(1, 3));
    EXPECT_EQ(v.GetSize(), 3);
    EXPECT_EQ(v.GetCapacity(), 8);
    EXPECT_EQ(v[0], 1.0f);
    EXPECT_EQ(v[2], 3.0f);
}

TEST(BaseVector, SetZeroAfterTruncateClearsOnlyTheWindow) {
    VecReal32 v = Ramp(8);
    for (int i = 0; i < 8; ++i)
        v[i] += 1.0f;  // no zeros anywhere to begin with
    v.Truncate(1, 3);
    v.SetZero();
    v.Resize(8);
    const float expected[] = {1, 0, 0, 0, 5, 6, 7, 8};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(v[i], expected[i]) << i;
}

TEST(BaseVector, TruncateAcceptsALengthBeyondWhatRemains) {
    VecReal32 v = Ramp(8);
    EXPECT_TRUE(v.Truncate(6, 10));
    EXPECT_EQ(v.GetSize(), 10);  // size > capacity is the caller's business
    EXPECT_EQ(v.GetCapacity(), 8);
    EXPECT_EQ(v[1], 7.0f);
    v.Resize(8);
    EXPECT_EQ(v.GetSize(), 8);
}

TEST(BaseVector, Crc32CoversTheVisibleWindowOnly) {
    VecReal32 v(8);
    for (int i = 0; i < 8; ++i)
        v[i] = 0.5f * static_cast<float>(i) - 1.0f;
    EXPECT_EQ(v.ComputeCRC32(), BitwiseCrc32(v.Data(), 8 * sizeof(float)));
    const float* block = v.Data();
    v.Truncate(1, 3);
    EXPECT_EQ(v.ComputeCRC32(), BitwiseCrc32(block + 1, 3 * sizeof(float)));
    EXPECT_NE(v.ComputeCRC32(), BitwiseCrc32(block, 8 * sizeof(float)));
    // The same three values in a vector of their own give the same CRC.
    VecReal32 w(3);
    for (int i = 0; i < 3; ++i)
        w[i] = v[i];
    EXPECT_EQ(v.ComputeCRC32(), w.ComputeCRC32());
}

TEST(BaseVector, Crc32OfComplexWindowCoversBothParts) {
    VecCplx64 v(4);
    for (int i = 0; i < 4; ++i)
        v[i] = {1.0 + i, -2.0 * i};
    v.ShiftLeft(1);
    EXPECT_EQ(v.ComputeCRC32(), BitwiseCrc32(v.Data(), 3 * sizeof(Cplx64)));
}

TEST(BaseVector, GrowingTakesAFreshExactBlockAndCopiesNothing) {
    MarkedVector v(8);
    for (int i = 0; i < 8; ++i)
        v[i] = static_cast<float>(i);
    const long long before = kern::AllocationCount();
    v.Resize(9);  // one element more than the capacity
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(v.allocs, 2);
    EXPECT_EQ(v.GetSize(), 9);
    EXPECT_EQ(v.GetCapacity(), 9);  // no growth factor
    EXPECT_EQ(v.Data(), v.Base());
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(v[i], MarkedVector::kMarker) << "element " << i << " was carried over";
}

TEST(BaseVector, GrowingFromAViewStartsAtTheNewBlock) {
    MarkedVector v(8);
    v.ShiftLeft(3);
    v.Resize(20);
    EXPECT_EQ(v.Data(), v.Base());
    EXPECT_EQ(v.GetSize(), 20);
    EXPECT_EQ(v.GetCapacity(), 20);
}

TEST(BaseVector, FailedGrowthLeavesAValidEmptyVector) {
    ScopedWorkDir dir;  // the float vector writes its report here
    VecReal32 v = Ramp(8);
    try {
        v.Resize(1073740824);  // one above VELAAllocReal32's limit
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
    }
    // The old block was released before the allocation was tried.
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(v.GetCapacity(), 0);
    EXPECT_EQ(v.Data(), nullptr);
    v.Resize(4);  // and the vector is usable again
    EXPECT_EQ(v.GetCapacity(), 4);
}

TEST(BaseVector, ResizeMinusOneIsAcceptedAndLeavesANegativeSize) {
    VecReal32 v = Ramp(4);
    const long long before = kern::AllocationCount();
    v.Resize(-1);  // passes the capacity test
    EXPECT_EQ(v.GetSize(), -1);
    EXPECT_EQ(v.GetCapacity(), 4);
    EXPECT_EQ(kern::AllocationCount(), before);
    v.Resize(4);
    EXPECT_EQ(v[3], 3.0f);
}

TEST(BaseVector, ResizeWithinCapacityNeverAllocates) {
    VecCplx64 v(100);
    const long long before = kern::AllocationCount();
    for (int n : {100, 1, 50, 0, 99, 100, 73}) {
        v.Resize(n);
        EXPECT_EQ(v.GetSize(), n);
        EXPECT_EQ(v.GetCapacity(), 100);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
}

TEST(BaseVector, NegativeCountThrowsMemoryAllocationErrorAfterWritingTheReport) {
    ScopedWorkDir dir;
    try {
        VecReal64 v(-3);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
        EXPECT_STREQ(e.message, "memory allocation error");
    }
    const std::string report = ReadFile("VELAMemoryAllocError.txt");
    EXPECT_EQ(report.rfind("System tried to allocate -24 bytes.\nFailed VELAAllocReal64 \n", 0), 0u)
        << report;
}

TEST(BaseVector, EveryFloatAndComplexVectorReportsItsOwnAllocator) {
    ScopedWorkDir dir;
    EXPECT_THROW(VecCplx32(-2), VELAException);
    EXPECT_NE(ReadFile("VELAMemoryAllocError.txt").find("Failed VELAAllocCplx32 \n"), std::string::npos);
    EXPECT_THROW(VecCplx64(-2), VELAException);
    EXPECT_NE(ReadFile("VELAMemoryAllocError.txt").find("Failed VELAAllocCplx64 \n"), std::string::npos);
    EXPECT_THROW(VecReal32(-2), VELAException);
    EXPECT_NE(ReadFile("VELAMemoryAllocError.txt").find("Failed VELAAllocReal32 \n"), std::string::npos);
}

TEST(BaseVector, FailedResizeOfAVectorWritesTheReportToo) {
    ScopedWorkDir dir;
    VecCplx32 v;
    EXPECT_THROW(v.Resize(536869912), VELAException);
    EXPECT_EQ(ReadFile("VELAMemoryAllocError.txt").rfind("System tried to allocate -8000 bytes.\n", 0), 0u);
}

TEST(BaseVector, TheTemplatesOwnAllocRefusesToRun) {
    try {
        NoAllocVector v(4);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorUnexpectedSoftware);
        EXPECT_STREQ(e.message, "unexpected software error");
    }
}

TEST(BaseVector, AssigningTenIntoCapacityHundredLeavesCapacityTen) {
    VecReal32 big(100);
    const VecReal32 ten = Ramp(10);
    const long long before = kern::AllocationCount();
    big = ten;
    EXPECT_EQ(kern::AllocationCount(), before + 1);  // assignment always reallocates, exactly
    EXPECT_EQ(big.GetSize(), 10);
    EXPECT_EQ(big.GetCapacity(), 10);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(big[i], static_cast<float>(i));
}

TEST(BaseVector, AssignmentOfASameSizedVectorStillReallocates) {
    VecCplx32 a(10), b(10);
    for (int i = 0; i < 10; ++i)
        b[i] = {float(i), -float(i)};
    const long long before = kern::AllocationCount();
    a = b;
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_NE(a.Data(), b.Data());
    EXPECT_EQ(a[9].im, -9.0f);
}

TEST(BaseVector, AssignmentCopiesTheSourcesWindowOnly) {
    VecReal64 src(8), dst;
    for (int i = 0; i < 8; ++i)
        src[i] = i;
    src.Truncate(2, 4);
    dst = src;
    EXPECT_EQ(dst.GetSize(), 4);
    EXPECT_EQ(dst.GetCapacity(), 4);
    EXPECT_EQ(dst[0], 2.0);
    EXPECT_EQ(dst[3], 5.0);
}

TEST(BaseVector, SelfAssignmentKeepsTheBlock) {
    VecReal32 v = Ramp(5);
    const float* block = v.Data();
    const long long before = kern::AllocationCount();
    VecReal32& alias = v;
    v = alias;
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.Data(), block);
    EXPECT_EQ(v[4], 4.0f);
}

TEST(BaseVector, AssigningAnEmptyVectorReleasesTheBlock) {
    VecReal32 v = Ramp(5);
    const VecReal32 empty;
    v = empty;
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(v.GetCapacity(), 0);
    EXPECT_EQ(v.Data(), nullptr);
}

TEST(BaseVector, CopyConstructorTakesAnExactBlockOfTheVisibleWindow) {
    VecReal32 v = Ramp(8);
    v.ShiftLeft(2);
    const long long before = kern::AllocationCount();
    VecReal32 c(v);
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(c.GetSize(), 6);
    EXPECT_EQ(c.GetCapacity(), 6);
    EXPECT_NE(c.Data(), v.Data());
    EXPECT_EQ(c[0], 2.0f);
    c[0] = 100.0f;  // deep: the source does not see it
    EXPECT_EQ(v[0], 2.0f);
}

TEST(BaseVector, DelReleasesAndZeroesAllFields) {
    VecCplx64 v(5);
    v.ShiftLeft(1);
    v.Del();
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(v.GetCapacity(), 0);
    EXPECT_EQ(v.Data(), nullptr);
}

TEST(BaseVector, BaseClassCopiesAreShallow) {
    VecReal32 v = Ramp(4);
    BaseVector<float> shallow(v);  // the template's own copy: the same block
    EXPECT_EQ(shallow.Data(), v.Data());
    EXPECT_EQ(shallow.GetSize(), 4);
    EXPECT_EQ(shallow.GetCapacity(), 4);
    shallow[0] = 42.0f;
    EXPECT_EQ(v[0], 42.0f);
    BaseVector<float> assigned;
    assigned = v;
    EXPECT_EQ(assigned.Data(), v.Data());
    // Only `v` may release the block: hand the copies empty fields before they are destroyed.
    shallow = BaseVector<float>();
    assigned = BaseVector<float>();
    EXPECT_EQ(shallow.Data(), nullptr);
}

TEST(BaseVector, BaseConstructorRecordsTheCountWithoutAllocating) {
    const long long before = kern::AllocationCount();
    BaseVector<double> b(12);
    EXPECT_EQ(b.GetSize(), 12);
    EXPECT_EQ(b.GetCapacity(), 12);
    EXPECT_EQ(b.Data(), nullptr);
    EXPECT_EQ(kern::AllocationCount(), before);
}
