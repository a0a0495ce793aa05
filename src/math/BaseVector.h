// BaseVector<T>: the block-and-window base of every one-dimensional container.
//
// A vector owns at most one block (from the VELAAlloc* family) and shows a window on it: `data` and
// `size`. ShiftLeft and Truncate narrow the window without copying; Resize returns to the start of the
// block. Nothing here checks an index or a length: element access is a plain load or store.
#pragma once
#include "VELAExport.h"
#include <cstddef>
#include <cstring>

#include "Checksum.h"
#include "VELAError.h"
#include "VELAMemory.h"

namespace VELA {

template <class T>
class VELA_API BaseVector {
  public:
    // Records size = capacity = n and allocates nothing; a derived constructor allocates afterwards.
    explicit BaseVector(int n = 0) : data(nullptr), size(n), base(nullptr), capacity(n) {}
    // Shallow member-wise copies: the two objects then name one block. The derived classes copy deeply
    // and never use these for their own copying.
    BaseVector(const BaseVector&) = default;
    BaseVector& operator=(const BaseVector&) = default;
    // Releases the block (only `base` is ever released, since `data` may have moved).
    virtual ~BaseVector() {
        VELADelete(base);
        data = base = nullptr;
        size = capacity = 0;
    }

    T& operator[](int i) { return data[i]; }
    T operator[](int i) const { return data[i]; }

    int GetSize() const { return size; }
    int GetCapacity() const { return capacity; }
    // data[size - 1], unchecked (also on an empty vector).
    T GetLastValue() const { return data[size - 1]; }

    // First visible element. Operations of the library hand this to the kernels.
    T* Data() { return data; }
    const T* Data() const { return data; }

    // Clears the visible window only.
    void SetZero() {
        if (size > 0) std::memset(static_cast<void*>(data), 0, sizeof(T) * static_cast<size_t>(size));
    }

    // n <= capacity (signed): size = n, data = base; contents kept, the window reset, nothing allocated.
    // Otherwise the block is released and exactly n elements are allocated; the contents are undefined
    // (nothing is copied). If the allocation throws, the vector is left valid and empty.
    void Resize(int n) {
        if (n <= capacity) {
            size = n;
            data = base;
            return;
        }
        Del();
        Create(n);
    }

    // size -= n, data += n. Unchecked; always true.
    bool ShiftLeft(int n) {
        size -= n;
        data += n;
        return true;
    }

    // data += start, size = length. Unchecked (length may exceed what remains); always true.
    bool Truncate(int start, int length) {
        data += start;
        size = length;
        return true;
    }

    // Moves the visible window to the start of the block (data = base), keeping its size and the
    // elements it shows: what Resize(GetSize()) leaves, but with the view's own elements rather than the
    // ones it had hidden. Nothing is allocated, and a vector that is not a view is left as it is. An
    // operation whose output may be its input calls this first, so that its own Resize keeps the input
    // in place. A window that does not lie inside the block (a Truncate longer than what remains)
    // throws "invalid input parameter" and changes nothing.
    void MoveToFront() {
        if (size <= 0) {
            data = base;
            return;
        }
        const ptrdiff_t offset = data - base;
        if (offset < 0 || offset > static_cast<ptrdiff_t>(capacity) - size)
            VELA_THROW(VELAErrorInvalidInputParameter);
        if (offset > 0) std::memmove(static_cast<void*>(base), data, sizeof(T) * static_cast<size_t>(size));
        data = base;
    }

    // CRC-32 of the bytes of the visible window.
    unsigned int ComputeCRC32() const;

    // Releases the block and zeroes all four fields.
    void Del() {
        VELADelete(base);
        data = base = nullptr;
        size = capacity = 0;
    }

  protected:
    // Alloc(n), then capacity = size = n and data = base. An earlier block is not released.
    void Create(int n) {
        Alloc(n);
        capacity = size = n;
        data = base;
    }
    // Releases the block without touching any field.
    void Dealloc() { VELADelete(base); }
    // data; a const container hands out read-only elements only.
    T* GetPtr() { return data; }
    const T* GetPtr() const { return data; }
    static constexpr int GetElementSize() { return static_cast<int>(sizeof(T)); }

    // Sets `base` to a new block of n elements (n = 0: nothing). Every concrete class overrides it.
    virtual void Alloc(int) { VELA_THROW(VELAErrorUnexpectedSoftware); }

    T* data;
    int size;
    T* base;
    int capacity;
};

template <class T>
unsigned int BaseVector<T>::ComputeCRC32() const {
    return Checksum::ComputeCRC32(size * GetElementSize(), data, 0);
}

}  // namespace VELA
