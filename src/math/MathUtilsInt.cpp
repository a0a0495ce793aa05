// MathUtils: the members that take integer vectors (filling, index lists, mixed copies); the vector
// fixed-point conversion is beside its scalar form in MathUtils.cpp.
#include "IntVector.h"
#include "MathUtils.h"
#include "Vector.h"
#include "internal/Aliasing.h"

namespace VELA {

namespace {

template <class Vec, class T>
void SetAll(Vec& v, T value) {
    T* d = v.Data();
    for (int i = 0, n = v.GetSize(); i < n; ++i)
        d[i] = value;
}

template <class Vec>
void CopyByLoop(Vec& dst, int length, const Vec& src, int srcStart) {
    // A part of the vector itself: in place when it fits the block, from a copy otherwise (see the
    // float forms in MathUtils.cpp).
    if (&dst == &src && length > dst.GetCapacity()) {
        const internal::Unaliased<Vec> s(src, dst);
        CopyByLoop(dst, length, *s, srcStart);
        return;
    }
    internal::PrepareInPlace(dst, src);
    dst.Resize(length);
    auto* d = dst.Data();
    const auto* s = src.Data() + srcStart;
    if (d == s) return;
    // Forward element by element: a source further along in the same block is read before it is
    // overwritten.
    for (int i = 0; i < length; ++i)
        d[i] = s[i];
}

template <class IntVec>
void WidenToDouble(VecReal64& dst, int length, const IntVec& src, int srcStart) {
    dst.Resize(length);
    double* d = dst.Data();
    const auto* s = src.Data() + srcStart;
    for (int i = 0; i < length; ++i)
        d[i] = static_cast<double>(s[i]);
}

template <class Vec>
void DeleteAt(Vec& v, const VecInt32& indices) {
    // The final Resize returns to the start of the block: a view is moved there first, so that what
    // remains is the view's elements.
    v.MoveToFront();
    const int n = v.GetSize(), m = indices.GetSize();
    auto* d = v.Data();
    const int* idx = indices.Data();
    int j = 0, w = 0;
    for (int i = 0; i < n; ++i) {
        if (j < m && i == idx[j])
            ++j;
        else
            d[w++] = d[i];
    }
    // Shortened by the number of indices, not by the number of elements dropped.
    v.Resize(n - m);
}

}  // namespace

void MathUtils::Set(VecInt16& v, short value) {
    SetAll(v, value);
}
void MathUtils::Set(VecInt32& v, int value) {
    SetAll(v, value);
}

void MathUtils::Copy(VecInt32& dst, int length, const VecInt32& src, int srcStart) {
    CopyByLoop(dst, length, src, srcStart);
}
void MathUtils::Copy(VecUInt32& dst, int length, const VecUInt32& src, int srcStart) {
    CopyByLoop(dst, length, src, srcStart);
}
void MathUtils::Copy(VecReal64& dst, int length, const VecInt32& src, int srcStart) {
    WidenToDouble(dst, length, src, srcStart);
}
void MathUtils::Copy(VecReal64& dst, int length, const VecUInt32& src, int srcStart) {
    WidenToDouble(dst, length, src, srcStart);
}

void MathUtils::DeleteElement(VecReal32& v, const VecInt32& indices) {
    DeleteAt(v, indices);
}
void MathUtils::DeleteElement(VecReal64& v, const VecInt32& indices) {
    DeleteAt(v, indices);
}

}  // namespace VELA
