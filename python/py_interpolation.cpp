// Bindings of the interpolators: piecewise linear (Interpolation), cubic spline (Spline), nearest knot
// (NearestInterpolation), monotone cubic Hermite (CubicHermiteInterpolation) and InterpolationFactory.
//
// Knots, values and queries are one-dimensional arrays of one dtype, float32 or float64 (the library's
// two widths); a scalar query gives a Python float. The library's returned codes become corvane.Error.
#include <corvane/math/Interpolation.h>

#include <memory>
#include <string>

#include "py_common.h"

namespace corvane_py {
namespace {

// A real number as a query: Python's int and float, numpy's scalars, anything with __float__ (not str).
bool IsNumber(const py::handle& q) {
    return PyNumber_Check(q.ptr()) && !PyComplex_Check(q.ptr()) && py::hasattr(q, "__float__");
}

// One interpolator of any kind, owned by the Python object. Polymorphic, so that the factory's result
// reaches Python as the class of its kind.
struct PyInterp {
    PyInterp() : p(std::make_unique<VELA::Interpolation>()) {}
    explicit PyInterp(std::unique_ptr<VELA::Interpolation> q, bool isPchip = false)
        : p(std::move(q)), pchip(isPchip) {}
    virtual ~PyInterp() = default;
    PyInterp(const PyInterp&) = delete;
    PyInterp& operator=(const PyInterp&) = delete;

    std::mutex mu;
    std::unique_ptr<VELA::Interpolation> p;
    bool pchip = false;
    VELA::VecReal32 r32;
    VELA::VecReal64 r64;

    // The monotone cubic Hermite routines end the process for fewer than two knots and print to stdout
    // for no queries. Both are answered here first, in the order of the library's own checks (knot
    // order, lengths, knot count), so a Python caller gets an exception or an empty result instead.
    template <class Vec>
    bool PchipGuard(const Vec& x, const Vec& y, bool haveQueries) const {
        if (!pchip) return true;
        if (!VELA::Interpolation::CheckAscendingOrder(x)) VELA_THROW(VELA::VELAErrorInvalidInputParameter);
        if (x.GetSize() != y.GetSize()) VELA_THROW(VELA::VELAErrorSizeMismatch);
        if (x.GetSize() < 2) VELA_THROW(VELA::VELAErrorInvalidInputParameter);
        return haveQueries;
    }

    template <class T, class Vec>
    py::object Run(Vec& result, const py::array& xa, const py::array& ya, const py::handle& q) {
        CheckVector<T>(xa, "x");
        CheckVector<T>(ya, "y");
        Borrowed<Vec> x(xa), y(ya);
        if (!py::isinstance<py::array>(q)) {
            // A Python number: the scalar form.
            if (!IsNumber(q))
                throw py::type_error("queries: expected a numpy array or a number, got " +
                                     py::str(py::type::of(q).attr("__name__")).cast<std::string>());
            T query = static_cast<T>(py::float_(py::reinterpret_borrow<py::object>(q)).cast<double>());
            T value{};
            PchipGuard(x, y, true);
            VELA::VELAErrorCodeTag code = VELA::VELAErrorNone;
            Released([&] { code = p->Interpolate(value, x, y, query); });
            ThrowIfError(code);
            return py::float_(static_cast<double>(value));
        }
        py::array qa = py::reinterpret_borrow<py::array>(q);
        CheckVector<T>(qa, "queries");
        Borrowed<Vec> queries(qa);
        if (!PchipGuard(x, y, queries.GetSize() > 0)) return py::array_t<T>(0);
        VELA::VELAErrorCodeTag code = VELA::VELAErrorNone;
        Released([&] { code = p->Interpolate(result, x, y, queries); });
        ThrowIfError(code);
        return ToNumpy(result);
    }

    py::object Interpolate(const py::handle& xObj, const py::handle& yObj, const py::handle& q) {
        ObjectLock lock(mu);
        py::array x = AsArray(xObj, "x");
        py::array y = AsArray(yObj, "y");
        if (HasDtype<double>(x)) return Run<double>(r64, x, y, q);
        if (HasDtype<float>(x)) return Run<float>(r32, x, y, q);
        throw py::type_error("x: expected dtype float32 or float64, got " + DtypeName(x));
    }
};

// Each kind is built by its own class in Python, or adopts what the factory made.
struct PySpline : PyInterp {
    PySpline() : PyInterp(std::make_unique<VELA::Spline>()) {}
    explicit PySpline(std::unique_ptr<VELA::Interpolation> q) : PyInterp(std::move(q)) {}
    VELA::Spline& spline() { return static_cast<VELA::Spline&>(*p); }
};
struct PyNearest : PyInterp {
    PyNearest() : PyInterp(std::make_unique<VELA::NearestInterpolation>()) {}
    explicit PyNearest(std::unique_ptr<VELA::Interpolation> q) : PyInterp(std::move(q)) {}
};
struct PyPchip : PyInterp {
    PyPchip() : PyInterp(std::make_unique<VELA::CubicHermiteInterpolation>(), true) {}
    explicit PyPchip(std::unique_ptr<VELA::Interpolation> q) : PyInterp(std::move(q), true) {}
};

// The wrapper of the factory's product `q` of kind `type`.
std::unique_ptr<PyInterp> Adopt(VELA::InterpolationType type, std::unique_ptr<VELA::Interpolation> q) {
    switch (type) {
        case VELA::InterpolationLinear:
            return std::make_unique<PyInterp>(std::move(q));
        case VELA::InterpolationSpline:
            return std::make_unique<PySpline>(std::move(q));
        case VELA::InterpolationNearest:
            return std::make_unique<PyNearest>(std::move(q));
        case VELA::InterpolationCubicHermite:
            return std::make_unique<PyPchip>(std::move(q));
    }
    VELA_THROW(VELA::VELAErrorInvalidInputParameter);
}

struct PyFactory {
    std::mutex mu;
    VELA::InterpolationFactory f;
};

const char* const kInterpolateDoc =
    "interpolate(x, y, queries): the curve through knots x with values y at `queries`. x, y and an "
    "array of queries share one dtype, float32 or float64; a number as `queries` gives a float. Outside "
    "the knots the end pieces extrapolate. corvane.Error for fewer than two knots "
    "(INVALID_INPUT_PARAMETER) or x and y of different lengths (SIZE_MISMATCH).";

}  // namespace

void RegisterInterpolation(py::module_& m) {
    py::enum_<VELA::InterpolationType>(m, "InterpolationType", "Kinds made by InterpolationFactory.")
        .value("LINEAR", VELA::InterpolationLinear)
        .value("SPLINE", VELA::InterpolationSpline)
        .value("NEAREST", VELA::InterpolationNearest)
        .value("CUBIC_HERMITE", VELA::InterpolationCubicHermite);

    py::class_<PyInterp>(m, "Interpolation",
                         "Piecewise linear interpolation, and the base of the interpolators. Knots need not "
                         "be sorted: a query uses the segment of the largest knot at or below it, searched "
                         "from the top.")
        .def(py::init<>())
        .def("interpolate", &PyInterp::Interpolate, py::arg("x"), py::arg("y"), py::arg("queries"),
             kInterpolateDoc)
        .def_static(
            "check_ascending_order",
            [](const py::handle& obj) {
                py::array a = AsArray(obj, "x");
                if (HasDtype<double>(a)) {
                    CheckVector<double>(a, "x");
                    return VELA::Interpolation::CheckAscendingOrder(Borrowed<VELA::VecReal64>(a));
                }
                CheckVector<float>(a, "x");
                return VELA::Interpolation::CheckAscendingOrder(Borrowed<VELA::VecReal32>(a));
            },
            py::arg("x"),
            "Whether every element of x (float32 or float64) is strictly above the one before (a NaN "
            "passes any comparison).");

    py::class_<PySpline, PyInterp>(m, "Spline",
                                   "Cubic spline through the knots, natural (free ends) unless a first "
                                   "derivative is set for an end. Boundary conditions persist until set "
                                   "again.")
        .def(py::init<>())
        .def(
            "set_boundary_condition1",
            [](PySpline& s, double d) {
                ObjectLock lock(s.mu);
                s.spline().SetBoundaryCondition1(d);
            },
            py::arg("derivative"), "First derivative at the first knot (clamped start); above 1e30: free.")
        .def(
            "set_boundary_condition2",
            [](PySpline& s, double d) {
                ObjectLock lock(s.mu);
                s.spline().SetBoundaryCondition2(d);
            },
            py::arg("derivative"), "First derivative at the last knot (clamped end); above 1e30: free.")
        .def(
            "make_spline_table",
            [](PySpline& s, const py::handle& yObj, const py::handle& xObj) {
                ObjectLock lock(s.mu);
                py::array ya = AsArray(yObj, "y"), xa = AsArray(xObj, "x");
                CheckVector<float>(ya, "y");
                CheckVector<float>(xa, "x");
                Borrowed<VELA::VecReal32> y(ya), x(xa);
                VELA::VecReal32 table;
                bool ok = false;
                Released([&] { ok = s.spline().MakeSplineTable(table, y, x); });
                if (!ok) {
                    if (x.GetSize() != y.GetSize()) VELA_THROW(VELA::VELAErrorSizeMismatch);
                    if (x.GetSize() < 2) VELA_THROW(VELA::VELAErrorInvalidInputParameter);
                    VELA_THROW(VELA::VELAErrorMemoryAlloc);
                }
                return ToNumpy(table);
            },
            py::arg("y"), py::arg("x"),
            "The second derivatives (float32) of the spline through knots x with values y (note the order "
            "y, x), with the current boundary conditions, for repeated evaluation by interpolate_table. "
            "corvane.Error for fewer than two knots or lengths that differ.")
        .def(
            "interpolate_table",
            [](PySpline& s, const py::handle& q, const py::handle& yObj, const py::handle& xObj,
               const py::handle& tObj) -> py::object {
                ObjectLock lock(s.mu);
                py::array ya = AsArray(yObj, "y"), xa = AsArray(xObj, "x"), ta = AsArray(tObj, "table");
                CheckVector<float>(ya, "y");
                CheckVector<float>(xa, "x");
                CheckVector<float>(ta, "table");
                Borrowed<VELA::VecReal32> y(ya), x(xa), table(ta);
                if (!py::isinstance<py::array>(q)) {
                    if (!IsNumber(q)) throw py::type_error("queries: expected a numpy array or a number");
                    const float query =
                        static_cast<float>(py::float_(py::reinterpret_borrow<py::object>(q)).cast<double>());
                    float v = 0.0f;
                    Released([&] { v = s.spline().Interpolate(query, y, x, table); });
                    return py::float_(static_cast<double>(v));
                }
                py::array qa = py::reinterpret_borrow<py::array>(q);
                CheckVector<float>(qa, "queries");
                Borrowed<VELA::VecReal32> queries(qa);
                Released([&] { s.spline().Interpolate(s.r32, queries, y, x, table); });
                return ToNumpy(s.r32);
            },
            py::arg("queries"), py::arg("y"), py::arg("x"), py::arg("table"),
            "The spline at `queries` (float32 array, or a number for a float) from a table made by "
            "make_spline_table for the same y and x. NaN where y or the table is shorter than x, or x has "
            "fewer than two knots.")
        .def(
            "set_natural_spline",
            [](PySpline& s) {
                ObjectLock lock(s.mu);
                s.spline().SetNaturalSpline();
            },
            "Free ends at both sides (second derivative 0).");

    py::class_<PyNearest, PyInterp>(m, "NearestInterpolation",
                                    "Value of the nearest knot; a query on a midpoint takes the upper "
                                    "neighbour, except on the last midpoint, where it takes the lower one.")
        .def(py::init<>());

    py::class_<PyPchip, PyInterp>(m, "CubicHermiteInterpolation",
                                  "Monotone piecewise cubic Hermite interpolation (PCHIP, Fritsch-Butland "
                                  "derivatives): monotone data stay monotone. The knots must be strictly "
                                  "ascending (corvane.Error INVALID_INPUT_PARAMETER otherwise).")
        .def(py::init<>());

    py::class_<PyFactory>(m, "InterpolationFactory", "Makes interpolators by kind.")
        .def(py::init<>())
        .def(
            "make_interpolation",
            [](PyFactory& s, VELA::InterpolationType type) {
                ObjectLock lock(s.mu);
                std::unique_ptr<VELA::Interpolation> made(s.f.MakeInterpolation(type));
                // Null for a kind outside the enumeration (or no memory).
                if (!made) VELA_THROW(VELA::VELAErrorInvalidInputParameter);
                return Adopt(type, std::move(made));
            },
            py::arg("type"),
            "A new interpolator of `type` (an InterpolationType): Interpolation, Spline, "
            "NearestInterpolation or CubicHermiteInterpolation.")
        .def_property_readonly(
            "type",
            [](PyFactory& s) {
                ObjectLock lock(s.mu);
                return s.f.GetType();
            },
            "The kind last asked for (LINEAR before any).");
}

}  // namespace corvane_py
