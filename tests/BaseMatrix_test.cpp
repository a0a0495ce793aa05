// BaseMatrix<T>: block, row table and Resize. No concrete float matrix is needed for this: a small
// test class supplies Alloc the way the concrete matrices do.
#include <corvane/math/BaseMatrix.h>
#include <gtest/gtest.h>

#include <climits>
#include <type_traits>
#include <utility>

#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;

namespace {

class TestMatrix : public BaseMatrix<float> {
  public:
    TestMatrix() = default;
    TestMatrix(int r, int c) : BaseMatrix<float>(r, c) { Create(r, c); }
    ~TestMatrix() override = default;

    float** RowTable() const { return rowTable; }
    float* Base() const { return base; }
    // Releases through the protected Dealloc, then forgets the released block so that the destructor
    // does not release it again.
    void DeallocAndForget() {
        Dealloc();
        base = data = nullptr;
    }

  private:
    void Alloc(int n) override { AllocBlockAndRows(n, VELAAllocReal32); }
};

// A matrix that forgets to supply Alloc.
class NoAllocMatrix : public BaseMatrix<double> {
  public:
    NoAllocMatrix(int r, int c) { Create(r, c); }
};

void FillRowMajor(TestMatrix& m) {
    for (int i = 0; i < m.GetRows(); ++i)
        for (int j = 0; j < m.GetCols(); ++j)
            m[i][j] = static_cast<float>(100 * i + j);
}

// Every row pointer lies in the block, cols elements after the previous one.
void ExpectRowsTileTheBlock(const TestMatrix& m) {
    ASSERT_NE(m.RowTable(), nullptr);
    for (int i = 0; i < m.GetRows(); ++i)
        EXPECT_EQ(m.RowTable()[i], m.Base() + static_cast<ptrdiff_t>(i) * m.GetCols()) << "row " << i;
}

}  // namespace

TEST(BaseMatrix, DefaultMatrixIsEmpty) {
    TestMatrix m;
    EXPECT_EQ(m.GetRows(), 0);
    EXPECT_EQ(m.GetCols(), 0);
    EXPECT_EQ(m.GetSize(), 0);
    EXPECT_EQ(m.GetCapacity(), 0);
    EXPECT_EQ(m.Data(), nullptr);
    EXPECT_EQ(m.RowTable(), nullptr);
}

TEST(BaseMatrix, ShapeConstructorRecordsWithoutAllocating) {
    const long long before = kern::AllocationCount();
    BaseMatrix<float> m(3, 4);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(m.GetRows(), 3);
    EXPECT_EQ(m.GetCols(), 4);
    EXPECT_EQ(m.GetSize(), 12);
    EXPECT_EQ(m.GetCapacity(), 12);
    EXPECT_EQ(m.Data(), nullptr);
}

TEST(BaseMatrix, CreateAllocatesOneBlockAndARowTable) {
    const long long before = kern::AllocationCount();
    TestMatrix m(3, 5);
    EXPECT_EQ(kern::AllocationCount(), before + 1);  // the row table comes from new[], not the allocators
    EXPECT_EQ(m.GetSize(), 15);
    EXPECT_EQ(m.GetCapacity(), 15);
    EXPECT_EQ(m.Data(), m.Base());
    ExpectRowsTileTheBlock(m);
    int r = 0, c = 0;
    m.GetSize(r, c);
    EXPECT_EQ(r, 3);
    EXPECT_EQ(c, 5);
}

TEST(BaseMatrix, ElementsAreStoredRowAfterRowWithoutPadding) {
    TestMatrix m(3, 5);
    FillRowMajor(m);
    const float* d = m.Data();
    EXPECT_EQ(d[0], 0.0f);
    EXPECT_EQ(d[4], 4.0f);
    EXPECT_EQ(d[5], 100.0f);
    EXPECT_EQ(d[14], 204.0f);
}

TEST(BaseMatrix, ConstRowAccessGivesThePointer) {
    TestMatrix m(2, 3);
    FillRowMajor(m);
    static_assert(std::is_same_v<decltype(std::declval<const TestMatrix&>()[0]), const float*>);
    static_assert(std::is_same_v<decltype(std::declval<TestMatrix&>()[0]), float*&>);
    const TestMatrix& cm = m;
    EXPECT_EQ(cm[1], m.Data() + 3);
    EXPECT_EQ(cm[1][2], 102.0f);
}

TEST(BaseMatrix, ZeroByNHasNoRowTable) {
    const long long before = kern::AllocationCount();
    TestMatrix m(0, 5);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(m.GetSize(), 0);
    EXPECT_EQ(m.GetCapacity(), 0);
    EXPECT_EQ(m.Data(), nullptr);
    EXPECT_EQ(m.RowTable(), nullptr);
    m.Resize(0, 9);  // SetupPoints must not touch the missing table
    EXPECT_EQ(m.RowTable(), nullptr);
    EXPECT_EQ(m.GetCols(), 9);
}

TEST(BaseMatrix, NByZeroHasNoRowTableEither) {
    TestMatrix m(4, 0);
    EXPECT_EQ(m.GetSize(), 0);
    EXPECT_EQ(m.Data(), nullptr);
    EXPECT_EQ(m.RowTable(), nullptr);
}

TEST(BaseMatrix, ResizeWithinCapacityKeepsBlockAndContents) {
    TestMatrix m(4, 6);
    FillRowMajor(m);
    const float* block = m.Data();
    const long long before = kern::AllocationCount();
    m.Resize(3, 8);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(m.Data(), block);
    EXPECT_EQ(m.GetCapacity(), 24);
    EXPECT_EQ(m.GetSize(), 24);
    ExpectRowsTileTheBlock(m);
    // The same block read with the new shape: element 8 of the old layout (row 1, col 2).
    EXPECT_EQ(m[1][0], 102.0f);
}

TEST(BaseMatrix, ResizeToFewerElementsKeepsCapacity) {
    TestMatrix m(4, 6);
    m.Resize(2, 2);
    EXPECT_EQ(m.GetSize(), 4);
    EXPECT_EQ(m.GetCapacity(), 24);
    ExpectRowsTileTheBlock(m);
}

// The row table of the last allocation has fewer entries than the new shape needs: it is replaced
// (the sanitizer build sees any write past the old one).
TEST(BaseMatrix, ResizeWithinCapacityToMoreRowsReplacesTheRowTable) {
    TestMatrix m(2, 12);
    FillRowMajor(m);
    const float* block = m.Data();
    const long long before = kern::AllocationCount();
    m.Resize(6, 4);
    EXPECT_EQ(kern::AllocationCount(), before);  // the block is kept
    EXPECT_EQ(m.Data(), block);
    EXPECT_EQ(m.GetCapacity(), 24);
    EXPECT_EQ(m.GetRows(), 6);
    ExpectRowsTileTheBlock(m);
    EXPECT_EQ(m[3][0], 100.0f);  // old element (1, 0) is element 12 of the block
    m.Resize(24, 1);             // and again, to one row per element
    ExpectRowsTileTheBlock(m);
    EXPECT_EQ(m[23][0], 111.0f);
    m.Resize(1, 24);  // back to fewer rows: the longer table serves
    ExpectRowsTileTheBlock(m);
    m.Resize(12, 2);
    ExpectRowsTileTheBlock(m);
}

TEST(BaseMatrix, ResizeFromZeroRowsWithinCapacityGetsARowTable) {
    TestMatrix m(3, 4);
    m.Resize(0, 4);
    EXPECT_EQ(m.GetSize(), 0);
    m.Resize(4, 3);
    ExpectRowsTileTheBlock(m);
}

TEST(BaseMatrix, ResizeBeyondCapacityReallocatesExactly) {
    TestMatrix m(2, 2);
    const long long before = kern::AllocationCount();
    m.Resize(3, 3);
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    EXPECT_EQ(m.GetCapacity(), 9);
    EXPECT_EQ(m.GetSize(), 9);
    EXPECT_EQ(m.GetRows(), 3);
    ExpectRowsTileTheBlock(m);
}

TEST(BaseMatrix, ResizeOfAnEmptyMatrixAllocates) {
    TestMatrix m;
    m.Resize(2, 7);
    EXPECT_EQ(m.GetCapacity(), 14);
    ExpectRowsTileTheBlock(m);
    m[1][6] = 3.0f;
    EXPECT_EQ(m.Data()[13], 3.0f);
}

TEST(BaseMatrix, SetZeroClearsSizeElementsOnly) {
    TestMatrix m(3, 4);
    for (int i = 0; i < 12; ++i)
        m.Data()[i] = 1.0f;
    m.Resize(2, 3);
    m.SetZero();
    m.Resize(3, 4);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(m.Data()[i], i < 6 ? 0.0f : 1.0f) << i;
}

TEST(BaseMatrix, FailedAllocationLeavesAnEmptyMatrix) {
    TestMatrix m(2, 2);
    try {
        m.Resize(1, 1073740824);  // one above VELAAllocReal32's limit
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
    }
    EXPECT_EQ(m.GetRows(), 0);
    EXPECT_EQ(m.GetCols(), 0);
    EXPECT_EQ(m.GetSize(), 0);
    EXPECT_EQ(m.GetCapacity(), 0);
    EXPECT_EQ(m.Data(), nullptr);
    EXPECT_EQ(m.RowTable(), nullptr);
    m.Resize(2, 2);
    ExpectRowsTileTheBlock(m);
}

TEST(BaseMatrix, NegativeShapeFailsWithMemoryAllocationError) {
    try {
        TestMatrix m(-1, 5);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
        EXPECT_STREQ(e.message, "memory allocation error");
    }
}

TEST(BaseMatrix, TheTemplatesOwnAllocRefusesToRun) {
    try {
        NoAllocMatrix m(2, 2);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorUnexpectedSoftware);
    }
}

TEST(BaseMatrix, DeallocReleasesAndNullsTheRowTableOnly) {
    TestMatrix m(2, 3);
    m.DeallocAndForget();
    EXPECT_EQ(m.RowTable(), nullptr);
    EXPECT_EQ(m.GetRows(), 2);  // the shape fields are untouched
    EXPECT_EQ(m.GetSize(), 6);
    EXPECT_EQ(m.GetCapacity(), 6);
}

TEST(BaseMatrix, BaseClassCopiesAreShallow) {
    TestMatrix m(2, 3);
    FillRowMajor(m);
    BaseMatrix<float> shallow(m);
    EXPECT_EQ(shallow.Data(), m.Data());
    EXPECT_EQ(shallow[1], m[1]);
    shallow[1][1] = -1.0f;
    EXPECT_EQ(m[1][1], -1.0f);
    BaseMatrix<float> assigned;
    assigned = m;
    EXPECT_EQ(assigned.Data(), m.Data());
    // Only `m` may release the block and table.
    shallow = BaseMatrix<float>();
    assigned = BaseMatrix<float>();
    EXPECT_EQ(shallow.Data(), nullptr);
}

TEST(BaseMatrix, ShapeWhoseProductLeavesIntIsRefusedBeforeAnythingChanges) {
    // 65536 x 65536 elements is not an int count: a defined error, not a wrapped size of 0.
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([] { TestMatrix m(65536, 65536); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([] { TestMatrix m(INT_MAX, 2); }));
    TestMatrix m(2, 3);
    FillRowMajor(m);
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { m.Resize(65536, 65537); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { m.Resize(46341, 46341); }));
    EXPECT_EQ(m.GetRows(), 2);
    EXPECT_EQ(m.GetCols(), 3);
    EXPECT_EQ(m[1][2], 102.0f);
    ExpectRowsTileTheBlock(m);
}

TEST(BaseMatrix, NegativeDimensionInResizeFailsBeforeAnythingChanges) {
    // Both dimensions negative would make a positive product; either one negative is refused as the
    // negative counts of the vectors are.
    TestMatrix m(2, 3);
    FillRowMajor(m);
    EXPECT_TRUE(corvane_test::ThrowsVELA([&] { m.Resize(-1, 3); }, VELAErrorMemoryAlloc));
    EXPECT_TRUE(corvane_test::ThrowsVELA([&] { m.Resize(-2, -3); }, VELAErrorMemoryAlloc));
    EXPECT_TRUE(corvane_test::ThrowsVELA([] { TestMatrix t(-2, -3); }, VELAErrorMemoryAlloc));
    EXPECT_EQ(m.GetRows(), 2);
    EXPECT_EQ(m[1][2], 102.0f);
}
