// Shared helpers of the Python bindings: strict numpy argument checking, copies between numpy arrays
// and the library's vectors, and the per-object lock.
//
// Arrays are checked, never converted: a wrong dtype is a TypeError and a wrong shape or a
// non-contiguous array a ValueError, each naming the argument, so that a float64 block handed to a
// complex64 method fails loudly instead of being silently reinterpreted or cast.
//
// Every wrapper object carries a mutex, held by each method from start to end. Long calls release the
// GIL, so two Python threads could otherwise enter one C++ object at once; the library's objects serve
// one thread at a time, and the lock turns such misuse into waiting instead of a data race.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <complex>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

#include <corvane/math/IntVector.h>
#include <corvane/math/VELAError.h>
#include <corvane/math/Vector.h>

namespace corvane_py {

namespace py = pybind11;

// The dtype name of an array, for messages.
inline std::string DtypeName(const py::array& a) {
    return py::str(a.dtype()).cast<std::string>();
}

// `obj` as a numpy array, or a TypeError naming `what`.
inline py::array AsArray(const py::handle& obj, const char* what) {
    if (!py::isinstance<py::array>(obj))
        throw py::type_error(std::string(what) + ": expected a numpy array, got " +
                             py::str(py::type::of(obj).attr("__name__")).cast<std::string>());
    return py::reinterpret_borrow<py::array>(obj);
}

template <class T>
const char* DtypeLabel();
template <>
inline const char* DtypeLabel<float>() {
    return "float32";
}
template <>
inline const char* DtypeLabel<double>() {
    return "float64";
}
template <>
inline const char* DtypeLabel<std::complex<float>>() {
    return "complex64";
}
template <>
inline const char* DtypeLabel<std::complex<double>>() {
    return "complex128";
}
template <>
inline const char* DtypeLabel<uint8_t>() {
    return "uint8";
}
template <>
inline const char* DtypeLabel<int16_t>() {
    return "int16";
}

// Whether `a` holds elements of type T.
template <class T>
bool HasDtype(const py::array& a) {
    return a.dtype().is(py::dtype::of<T>()) || a.dtype().equal(py::dtype::of<T>());
}

// Checks that `a` is a one-dimensional, C-contiguous array of T that fits an int length.
template <class T>
void CheckVector(const py::array& a, const char* what) {
    if (!HasDtype<T>(a))
        throw py::type_error(std::string(what) + ": expected dtype " + DtypeLabel<T>() + ", got " +
                             DtypeName(a) + " (convert with .astype(numpy." + DtypeLabel<T>() + "))");
    if (a.ndim() != 1)
        throw py::value_error(std::string(what) + ": expected a one-dimensional array, got " +
                              std::to_string(a.ndim()) + " dimensions");
    if (!(a.flags() & py::array::c_style))
        throw py::value_error(std::string(what) +
                              ": array is not contiguous (pass numpy.ascontiguousarray(...))");
    if (a.shape(0) > static_cast<py::ssize_t>(INT32_MAX / 2))
        throw py::value_error(std::string(what) + ": array too long for the library (at most 2^30 elements)");
}

// Element type of the library's vectors as numpy sees it.
template <class Vec>
struct VecTraits;
template <>
struct VecTraits<VELA::VecReal32> {
    using Np = float;
};
template <>
struct VecTraits<VELA::VecReal64> {
    using Np = double;
};
template <>
struct VecTraits<VELA::VecCplx32> {
    using Np = std::complex<float>;
};
template <>
struct VecTraits<VELA::VecCplx64> {
    using Np = std::complex<double>;
};
template <>
struct VecTraits<VELA::VecInt32> {
    using Np = int32_t;
};
template <>
struct VecTraits<VELA::VecUInt32> {
    using Np = uint32_t;
};
template <>
struct VecTraits<VELA::VecUInt8> {
    using Np = uint8_t;
};
template <>
struct VecTraits<VELA::VecInt16> {
    using Np = int16_t;
};

// Copies a checked array into `dst` (Resize + copy, so a reused vector does not reallocate).
template <class Vec>
void CopyIn(Vec& dst, const py::array& a) {
    const int n = static_cast<int>(a.shape(0));
    dst.Resize(n);
    if (n > 0)
        std::memcpy(static_cast<void*>(dst.Data()), a.data(), sizeof(*dst.Data()) * static_cast<size_t>(n));
}

// Checks `obj` as a vector of the element type of Vec and copies it into `dst`.
template <class Vec>
void LoadVector(Vec& dst, const py::handle& obj, const char* what) {
    py::array a = AsArray(obj, what);
    CheckVector<typename VecTraits<Vec>::Np>(a, what);
    CopyIn(dst, a);
}

// A read-only view of a checked numpy array as one of the library's vectors, without a copy: the
// vector's window points into the array's buffer and it owns no block (base null, capacity 0), the
// same shape as the library's own views. Only for arguments the library takes as const and never
// resizes; the caller keeps the array alive (it holds a reference) for as long as the view is used.
template <class Vec>
class Borrowed : public Vec {
  public:
    using Elem = std::remove_reference_t<decltype(*std::declval<Vec&>().Data())>;
    explicit Borrowed(const py::array& a) : Borrowed(a.data(), static_cast<int>(a.shape(0))) {}
    // n elements from p: one row of a checked two-dimensional array.
    Borrowed(const void* p, int n) {
        this->data = const_cast<Elem*>(static_cast<const Elem*>(p));
        this->size = n;
        this->base = nullptr;
        this->capacity = 0;
    }
    // Forget the borrowed buffer before the base class releases its (absent) block.
    ~Borrowed() override {
        this->data = this->base = nullptr;
        this->size = this->capacity = 0;
    }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
};

// A new numpy array holding the visible elements of `src`. Needs the GIL.
template <class Vec>
py::array ToNumpy(const Vec& src) {
    using Np = typename VecTraits<Vec>::Np;
    const int n = src.GetSize();
    py::array_t<Np> out(n);
    if (n > 0)
        std::memcpy(out.mutable_data(), static_cast<const void*>(src.Data()),
                    sizeof(Np) * static_cast<size_t>(n));
    return out;
}

// Holds an object's lock for the whole of a method (argument copies, the call, the result copies).
// The lock is only ever waited for with the GIL released: a thread holding the lock may need the GIL
// back, so waiting for the lock while holding the GIL could deadlock.
class ObjectLock {
  public:
    explicit ObjectLock(std::mutex& m) : mu(m) {
        if (mu.try_lock()) return;
        py::gil_scoped_release release;
        mu.lock();
    }
    ~ObjectLock() { mu.unlock(); }
    ObjectLock(const ObjectLock&) = delete;
    ObjectLock& operator=(const ObjectLock&) = delete;

  private:
    std::mutex& mu;
};

// Runs `f` with the GIL released (the caller holds the object's lock).
template <class F>
void Released(F&& f) {
    py::gil_scoped_release release;
    f();
}

// Builds a T with the GIL released: constructors that plan transforms or design filters can take long
// (FFTW's measuring planner takes seconds for long transforms), and another Python thread should not
// wait for them. The arguments must be plain C++ values, never Python objects.
template <class T, class... Args>
std::unique_ptr<T> MakeReleased(Args&&... args) {
    py::gil_scoped_release release;
    return std::make_unique<T>(std::forward<Args>(args)...);
}

// Turns a returned error code of the library into corvane.Error, as if the call had thrown it.
inline void ThrowIfError(VELA::VELAErrorCodeTag code) {
    if (code != VELA::VELAErrorNone) VELA_THROW(code);
}

// Registration functions of the binding families (one source each).
void RegisterTransforms(py::module_& m);
void RegisterMeasurements(py::module_& m);
void RegisterFilters(py::module_& m);
void RegisterConversion(py::module_& m);
void RegisterInterpolation(py::module_& m);
void RegisterFiles(py::module_& m);
void RegisterEMI(py::module_& m);

}  // namespace corvane_py
