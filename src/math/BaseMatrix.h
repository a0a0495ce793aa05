// BaseMatrix<T>: the base of the two-dimensional containers (matrices and bit tables).
//
// The block holds rows * cols elements row after row with no padding; `rowTable` has one pointer per
// row so that m[i][j] is the element access. Like the vectors, nothing is range-checked.
#pragma once
#include "VELAExport.h"
#include <cstring>
#include <new>

#include "VELAError.h"
#include "VELAMemory.h"

namespace VELA {

template <class T>
class VELA_API BaseMatrix {
  public:
    BaseMatrix() = default;
    // Records the shape and size = capacity = r * c; allocates nothing. The shape is checked as in
    // Resize.
    BaseMatrix(int r, int c) : rows(r), cols(c), size(Count(r, c)), capacity(size) {}
    // Shallow member-wise copies (the two objects then share a block and a row table).
    BaseMatrix(const BaseMatrix&) = default;
    BaseMatrix& operator=(const BaseMatrix&) = default;
    virtual ~BaseMatrix() { Del(); }

    // Row pointer: m[i][j] is element (i, j).
    T*& operator[](int row) { return rowTable[row]; }
    const T* operator[](int row) const { return rowTable[row]; }

    int GetSize() const { return size; }
    void GetSize(int& r, int& c) const {
        r = rows;
        c = cols;
    }
    int GetRows() const { return rows; }
    int GetCols() const { return cols; }
    int GetCapacity() const { return capacity; }
    T* Data() { return data; }
    const T* Data() const { return data; }

    void SetZero() {
        if (size > 0) std::memset(static_cast<void*>(data), 0, sizeof(T) * static_cast<size_t>(size));
    }

    // Within capacity the block is kept (contents stay) and the row table is rebuilt; a row table too
    // short for r rows is replaced by a longer one. Beyond capacity everything is released and exactly
    // r * c elements are allocated, contents undefined. A negative dimension fails as a negative count
    // does in the vectors ("memory allocation error"), and a product beyond int throws "invalid input
    // parameter"; both before anything changes.
    void Resize(int r, int c) {
        const int n = Count(r, c);
        if (n <= capacity) {
            if (n > 0 && r > rowTableRows) {
                T** table = new (std::nothrow) T*[r];
                if (!table) VELA_THROW(VELAErrorMemoryAlloc);
                delete[] rowTable;
                rowTable = table;
                rowTableRows = r;
            }
            size = n;
            rows = r;
            cols = c;
            data = base;
            SetupPoints();
            return;
        }
        Del();
        Create(r, c);
    }

  protected:
    // Sets the shape, allocates the block and row table through Alloc, and fills the row table.
    void Create(int r, int c) {
        const int n = Count(r, c);
        rows = r;
        cols = c;
        size = n;
        Alloc(size);
        data = base;
        capacity = size;
        SetupPoints();
    }
    void SetupPoints() {
        if (size == 0 || !rowTable) return;
        rowTable[0] = data;
        for (int i = 1; i < rows; ++i)
            rowTable[i] = rowTable[i - 1] + cols;
    }
    // Releases the block and row table and zeroes every field.
    void Del() {
        VELADelete(base);
        delete[] rowTable;
        data = base = nullptr;
        rowTable = nullptr;
        rowTableRows = rows = cols = size = capacity = 0;
    }
    // Releases the row table and block; nulls the row table only.
    void Dealloc() {
        delete[] rowTable;
        rowTable = nullptr;
        rowTableRows = 0;
        VELADelete(base);
    }
    // r * c as an element count, formed in 64 bits.
    static int Count(int r, int c) {
        if (r < 0 || c < 0) VELA_THROW(VELAErrorMemoryAlloc);
        const long long n = static_cast<long long>(r) * c;
        if (n > 2147483647LL) VELA_THROW(VELAErrorInvalidInputParameter);
        return static_cast<int>(n);
    }
    // data; a const container hands out read-only elements only.
    T* GetPtr() { return data; }
    const T* GetPtr() const { return data; }
    static constexpr int GetElementSize() { return static_cast<int>(sizeof(T)); }

    // Allocates the block of n elements and a row table of `rows` entries (n = 0: neither).
    virtual void Alloc(int) { VELA_THROW(VELAErrorUnexpectedSoftware); }

    // For the concrete classes' Alloc: the block from `allocator`, then the row table. On failure of
    // either, everything taken is given back, the matrix is left empty and "memory allocation error"
    // is thrown.
    template <class Allocator>
    void AllocBlockAndRows(int n, Allocator allocator) {
        if (n == 0) return;
        T* block = allocator(n);
        if (!block) {
            rows = cols = size = capacity = 0;
            VELA_THROW(VELAErrorMemoryAlloc);
        }
        T** table = rows > 0 ? new (std::nothrow) T*[rows] : nullptr;
        if (rows > 0 && !table) {
            VELADelete(block);
            rows = cols = size = capacity = 0;
            VELA_THROW(VELAErrorMemoryAlloc);
        }
        base = block;
        rowTable = table;
        rowTableRows = rows;
    }

    T* data = nullptr;
    T** rowTable = nullptr;
    int rows = 0;
    int cols = 0;
    int size = 0;
    T* base = nullptr;
    int capacity = 0;
    int rowTableRows = 0;  // entries in rowTable, so a Resize to more rows never writes past it
};

}  // namespace VELA
