// Bindings of the transforms and windows: FT, Window (one class for every kind), WindowFactory, ChirpZ.
#include <corvane/dsp/ChirpZ.h>
#include <corvane/dsp/FT.h>
#include <corvane/dsp/Window.h>
#include <corvane/dsp/WindowFactory.h>

#include <memory>
#include <optional>

#include "py_common.h"

namespace corvane_py {
namespace {

using cf = std::complex<float>;
using cd = std::complex<double>;

struct PyFT {
    PyFT(int normFlag, VELA::VELAAlgorithm algorithm) : ft(normFlag, algorithm) {}
    std::mutex mu;
    VELA::FT ft;
    VELA::VecCplx32 c32in, c32out;
    VELA::VecReal32 r32;
    VELA::VecCplx64 c64in, c64out;
    VELA::VecReal64 r64;

    py::array Forward(const py::handle& obj) {
        ObjectLock lock(mu);
        py::array x = AsArray(obj, "x");
        if (HasDtype<cf>(x)) {
            CheckVector<cf>(x, "x");
            CopyIn(c32in, x);
            Released([&] { ft.Forward(c32out, c32in); });
            return ToNumpy(c32out);
        }
        if (HasDtype<cd>(x)) {
            CheckVector<cd>(x, "x");
            CopyIn(c64in, x);
            Released([&] { ft.Forward(c64out, c64in); });
            return ToNumpy(c64out);
        }
        if (HasDtype<float>(x)) {
            CheckVector<float>(x, "x");
            CopyIn(r32, x);
            Released([&] { ft.Forward(c32out, r32); });
            return ToNumpy(c32out);
        }
        if (HasDtype<double>(x)) {
            CheckVector<double>(x, "x");
            CopyIn(r64, x);
            Released([&] { ft.Forward(c64out, r64); });
            return ToNumpy(c64out);
        }
        throw py::type_error("x: expected dtype complex64, complex128, float32 or float64, got " +
                             DtypeName(x));
    }

    py::array Inverse(const py::handle& obj, bool realOutput) {
        ObjectLock lock(mu);
        py::array x = AsArray(obj, "x");
        if (HasDtype<cf>(x)) {
            CheckVector<cf>(x, "x");
            CopyIn(c32in, x);
            if (realOutput) {
                Released([&] { ft.Inverse(r32, c32in); });
                return ToNumpy(r32);
            }
            Released([&] { ft.Inverse(c32out, c32in); });
            return ToNumpy(c32out);
        }
        if (HasDtype<cd>(x)) {
            CheckVector<cd>(x, "x");
            CopyIn(c64in, x);
            if (realOutput) {
                Released([&] { ft.Inverse(r64, c64in); });
                return ToNumpy(r64);
            }
            Released([&] { ft.Inverse(c64out, c64in); });
            return ToNumpy(c64out);
        }
        throw py::type_error("x: expected dtype complex64 or complex128, got " + DtypeName(x));
    }
};

}  // namespace

// A window of any kind, owned by the Python object.
struct PyWindow {
    std::mutex mu;
    std::unique_ptr<VELA::Window> w;
    VELA::WindowType type{VELA::WindowTypeUniform};
    VELA::VecCplx32 c;
    VELA::VecReal32 r;

    py::array Apply(const py::handle& obj) {
        ObjectLock lock(mu);
        py::array x = AsArray(obj, "x");
        if (HasDtype<cf>(x)) {
            CheckVector<cf>(x, "x");
            CopyIn(c, x);
            Released([&] { w->Apply(c, c); });
            return ToNumpy(c);
        }
        if (HasDtype<float>(x)) {
            CheckVector<float>(x, "x");
            CopyIn(r, x);
            Released([&] { w->Apply(r, r); });
            return ToNumpy(r);
        }
        throw py::type_error("x: expected dtype complex64 or float32, got " + DtypeName(x));
    }
};

namespace {

std::unique_ptr<PyWindow> MakePyWindow(VELA::WindowFactory& factory, VELA::WindowType type, int size,
                                       std::optional<float> para) {
    if (static_cast<uint32_t>(type) > 7u) throw py::value_error("type: not a window kind (0..7)");
    auto pw = std::make_unique<PyWindow>();
    pw->w.reset(factory.MakeWindow(type, size, para.value_or(0.0f)));
    if (!pw->w) throw py::value_error("type: not a window kind (0..7)");
    if (para) factory.SetParameters(pw->w.get(), size, *para);
    pw->type = type;
    return pw;
}

}  // namespace

void RegisterTransforms(py::module_& m) {
    py::class_<PyFT>(m, "FT",
                     "Fourier transform of any length (FFTW plans cached per object).\n\n"
                     "Scaling by norm_flag: 1 divides the forward by N, 2 (default) the inverse, 4 both by "
                     "sqrt(N), 8 neither. One plan per (length, kind) is kept for the object's life.")
        .def(py::init<int, VELA::VELAAlgorithm>(), py::arg("norm_flag") = 2,
             py::arg("algorithm") = VELA::VELAAlgorithmFast)
        .def("forward", &PyFT::Forward, py::arg("x"),
             "Forward transform of a 1-D array. complex64 or float32 gives complex64, complex128 or "
             "float64 gives complex128 (real input: the full N-bin spectrum).")
        .def("inverse", &PyFT::Inverse, py::arg("x"), py::arg("real_output") = false,
             "Inverse transform of a complex64/complex128 array. real_output=True reads bins 0..N/2 and "
             "returns N real samples (float32/float64).")
        .def_property_readonly(
            "plan_count", [](PyFT& s) { return s.ft.GetPlanCount(); }, "Number of cached plans.");

    py::class_<PyWindow>(m, "Window",
                         "A window (taper) of N points; coefficients sum to 1, symmetric except the "
                         "uniform kind.")
        .def(py::init([](VELA::WindowType type, int size, std::optional<float> para) {
                 VELA::WindowFactory f;
                 return MakePyWindow(f, type, size, para);
             }),
             py::arg("type"), py::arg("size"), py::arg("para") = py::none(),
             "A window of `type` with `size` points (samples). `para` (the kind's shape parameter: Gauss "
             "factor, Kaiser beta, Taylor sidelobe level in dB) replaces the kind's default when given.")
        .def(
            "set_parameters",
            [](PyWindow& s, int size, std::optional<float> para) {
                ObjectLock lock(s.mu);
                if (para)
                    s.w->SetParameters(size, *para);
                else
                    s.w->SetParameters(size);
            },
            py::arg("size"), py::arg("para") = py::none(), "Recomputes the coefficients for `size` points.")
        .def("apply", &PyWindow::Apply, py::arg("x"),
             "Returns x (complex64 or float32) multiplied by the coefficients (the first N points; a "
             "longer block keeps its tail).")
        .def_property_readonly(
            "coefficients",
            [](PyWindow& s) {
                VELA::VecReal32 c;
                ObjectLock lock(s.mu);
                s.w->GetCoefficients(c);
                return ToNumpy(c);
            },
            "The N coefficients (float32, sum 1).")
        .def_property_readonly(
            "enbw",
            [](PyWindow& s) {
                ObjectLock lock(s.mu);
                return s.w->GetENBW();
            },
            "Equivalent noise bandwidth in bins.")
        .def_property_readonly(
            "power_adjust_db",
            [](PyWindow& s) {
                ObjectLock lock(s.mu);
                return s.w->GetPowerAdjustIndB();
            },
            "10 log10(enbw) in dB.")
        .def_property_readonly(
            "effective_rbw_scaling", [](PyWindow& s) { return s.w->GetEffectiveRBWScaling(); },
            "Main-lobe width in bins at 3 dB down (6 dB for the CISPR window).")
        .def_property_readonly(
            "size", [](PyWindow& s) { return s.w->GetSize(); }, "N (samples).")
        .def_property_readonly(
            "type", [](PyWindow& s) { return s.type; }, "The window kind.");

    py::class_<VELA::WindowFactory>(m, "WindowFactory",
                                    "Makes windows from a WindowType, as the measurement classes do: the "
                                    "kind's default parameter, `para` only remembered.")
        .def(py::init<>())
        .def(
            "make_window",
            [](VELA::WindowFactory& f, VELA::WindowType type, int size, float para) {
                if (static_cast<uint32_t>(type) > 7u) throw py::value_error("type: not a window kind (0..7)");
                auto pw = std::make_unique<PyWindow>();
                pw->w.reset(f.MakeWindow(type, size, para));
                if (!pw->w) throw py::value_error("type: not a window kind (0..7)");
                pw->type = type;
                return pw;
            },
            py::arg("type"), py::arg("size"), py::arg("para") = 0.0f,
            "A window of `type` and `size` points with the kind's default parameter; `para` is stored "
            "(see `para`) but does not shape the taper.")
        .def(
            "set_parameters",
            [](VELA::WindowFactory& f, PyWindow& w, int size, std::optional<float> para) {
                ObjectLock lock(w.mu);
                if (para)
                    f.SetParameters(w.w.get(), size, *para);
                else
                    f.SetParameters(w.w.get(), size);
            },
            py::arg("window"), py::arg("size"), py::arg("para") = py::none(),
            "Re-sizes `window` (and sets its parameter when `para` is given).")
        .def_property_readonly("para", &VELA::WindowFactory::GetPara,
                               "The para of the last make_window or set_parameters.");

    struct PyChirpZ {
        PyChirpZ(int n, double fs, int mOut, double f0, double df, bool wide)
            : cz(n, fs, mOut, f0, df, wide), use64(wide) {}
        std::mutex mu;
        VELA::ChirpZ cz;
        bool use64;
        VELA::VecCplx32 in32, out32;
        VELA::VecCplx64 in64, out64;
        VELA::VecReal32 weights, result;
    };
    // |X[j]| or |X[j]|^2 of the block weighted point by point (complex64 objects only).
    auto weighted = [](PyChirpZ& s, const py::handle& obj, const py::handle& w, bool power) -> py::array {
        ObjectLock lock(s.mu);
        LoadVector(s.in32, obj, "x");
        LoadVector(s.weights, w, "weights");
        Released([&] {
            if (power)
                s.cz.ApplyPower(s.result, s.in32, s.weights);
            else
                s.cz.ApplyMagnitude(s.result, s.in32, s.weights);
        });
        return ToNumpy(s.result);
    };
    py::class_<PyChirpZ>(
        m, "ChirpZ",
        "Chirp-Z transform: X[j] = sum_n x[n] exp(-i 2pi n (start_freq_hz + j freq_step_hz) / "
        "sample_rate_hz), j = 0..output_size-1, unscaled.")
        .def(py::init([](int n, double fs, int mOut, double f0, double df, bool wide) {
                 return MakeReleased<PyChirpZ>(n, fs, mOut, f0, df, wide);
             }),
             py::arg("input_size"), py::arg("sample_rate_hz"), py::arg("output_size"),
             py::arg("start_freq_hz"), py::arg("freq_step_hz"), py::arg("use64") = false,
             "input_size N samples per block, output_size M points; use64 selects complex128 tables and "
             "input.")
        .def(
            "apply",
            [](PyChirpZ& s, const py::handle& obj) -> py::array {
                ObjectLock lock(s.mu);
                py::array x = AsArray(obj, "x");
                if (s.use64) {
                    CheckVector<cd>(x, "x");
                    CopyIn(s.in64, x);
                    Released([&] { s.cz.Apply(s.out64, s.in64); });
                    return ToNumpy(s.out64);
                }
                CheckVector<cf>(x, "x");
                CopyIn(s.in32, x);
                Released([&] { s.cz.Apply(s.out32, s.in32); });
                return ToNumpy(s.out32);
            },
            py::arg("x"),
            "The M outputs for a block of at least N samples (complex64, or complex128 with use64).")
        .def(
            "apply_magnitude",
            [weighted](PyChirpZ& s, const py::handle& x, const py::handle& w) {
                return weighted(s, x, w, false);
            },
            py::arg("x"), py::arg("weights"),
            "|X[j]| (float32, M points) of the block x[n] * weights[n] (complex64 x and float32 weights, at "
            "least N of each; a window's coefficients, say), in one call: the values of weighting, apply and "
            "abs. Objects made with use64 raise corvane.Error.")
        .def(
            "apply_power",
            [weighted](PyChirpZ& s, const py::handle& x, const py::handle& w) {
                return weighted(s, x, w, true);
            },
            py::arg("x"), py::arg("weights"),
            "|X[j]|^2 (float32, M points) of the weighted block, as apply_magnitude.")
        .def_property_readonly(
            "input_size", [](PyChirpZ& s) { return s.cz.GetInputSize(); }, "N, samples read from each block.")
        .def_property_readonly(
            "output_size", [](PyChirpZ& s) { return s.cz.GetOutputSize(); }, "M, output points.")
        .def_property_readonly(
            "fft_size", [](PyChirpZ& s) { return s.cz.GetFFTSize(); },
            "Length of the power-of-two transforms used.");
}

}  // namespace corvane_py
