// Bindings of the FIR filters: FIRFilter (the convolution engine), SFIRFilter (streaming),
// DecimationFilter, the filter family through FIRFilterFactory, and RBWFilter.
#include <corvane/dsp/DecimationFilter.h>
#include <corvane/dsp/FIRBaseFilter.h>
#include <corvane/dsp/FIRFilter.h>
#include <corvane/dsp/FIRFilterFactory.h>
#include <corvane/dsp/RBWFilter.h>
#include <corvane/dsp/SFIRFilter.h>

#include <memory>
#include <optional>

#include "py_common.h"

namespace corvane_py {
namespace {

using cf = std::complex<float>;
using cd = std::complex<double>;

struct PyFIR {
    std::mutex mu;
    VELA::FIRFilter f;
    VELA::VecReal32 tr, xr, yr;
    VELA::VecCplx32 tc, xc, yc;
    VELA::VecReal64 tr64;
    VELA::VecCplx64 xc64, yc64;

    py::array Apply(const py::handle& tapsObj, const py::handle& xObj, bool center) {
        ObjectLock lock(mu);
        py::array taps = AsArray(tapsObj, "taps");
        py::array x = AsArray(xObj, "x");
        if (HasDtype<float>(taps) && HasDtype<float>(x)) {
            CheckVector<float>(taps, "taps");
            CheckVector<float>(x, "x");
            CopyIn(tr, taps);
            CopyIn(xr, x);
            Released([&] { f.Apply(yr, tr, xr, center); });
            return ToNumpy(yr);
        }
        if (HasDtype<float>(taps) && HasDtype<cf>(x)) {
            CheckVector<float>(taps, "taps");
            CheckVector<cf>(x, "x");
            CopyIn(tr, taps);
            CopyIn(xc, x);
            Released([&] { f.Apply(yc, tr, xc, center); });
            return ToNumpy(yc);
        }
        if (HasDtype<double>(taps) && HasDtype<cd>(x)) {
            CheckVector<double>(taps, "taps");
            CheckVector<cd>(x, "x");
            CopyIn(tr64, taps);
            CopyIn(xc64, x);
            Released([&] { f.Apply(yc64, tr64, xc64, center); });
            return ToNumpy(yc64);
        }
        if (HasDtype<cf>(taps) && HasDtype<cf>(x)) {
            CheckVector<cf>(taps, "taps");
            CheckVector<cf>(x, "x");
            CopyIn(tc, taps);
            CopyIn(xc, x);
            Released([&] { f.Apply(yc, tc, xc, center); });
            return ToNumpy(yc);
        }
        if (HasDtype<cf>(taps) && HasDtype<float>(x)) {
            CheckVector<cf>(taps, "taps");
            CheckVector<float>(x, "x");
            CopyIn(tc, taps);
            CopyIn(xr, x);
            Released([&] { f.Apply(yc, tc, xr, center); });
            return ToNumpy(yc);
        }
        throw py::type_error("taps, x: unsupported dtypes " + DtypeName(taps) + ", " + DtypeName(x) +
                             " (float32 with float32 or complex64, complex64 with complex64 or float32, "
                             "float64 with complex128)");
    }
};

struct PySFIR {
    PySFIR(const VELA::VecReal32& taps) : f(taps) {}
    std::mutex mu;
    VELA::SFIRFilter f;
    VELA::VecReal32 r;
    VELA::VecCplx32 c;
};

struct PyDecim {
    PyDecim(int stages, const VELA::VecReal32& taps) : f(stages, taps) {}
    std::mutex mu;
    VELA::DecimationFilter f;
    VELA::VecReal32 r;
    VELA::VecCplx32 c;
};

// A filter of the family, owned by the Python object.
struct PyBaseFilter {
    std::mutex mu;
    std::unique_ptr<VELA::FIRBaseFilter> f;
    VELA::VecReal32 r, ro;
    VELA::VecCplx32 c, co;
};

struct PyRBW {
    PyRBW(float r1, float rMax) : f(r1, rMax) {}
    std::mutex mu;
    VELA::RBWFilter f;
};

VELA::VecReal32 TapsFrom(const py::handle& obj) {
    VELA::VecReal32 t;
    LoadVector(t, obj, "taps");
    return t;
}

}  // namespace

void RegisterFilters(py::module_& m) {
    py::enum_<VELA::FIRFilterTypeTag>(m, "FilterType", "Kinds of the FIR filter family.")
        .value("NONE", VELA::FIRFilterNone)
        .value("ROOT_RAISED_COSINE", VELA::FIRFilterRootRaisedCosine)
        .value("RAISED_COSINE", VELA::FIRFilterRaisedCosine)
        .value("GAUSSIAN", VELA::FIRFilterGaussian)
        .value("GAUSS_RECT", VELA::FIRFilterGaussRect)
        .value("HALF_SINE", VELA::FIRFilterHalfSine)
        .value("RECTANGULAR", VELA::FIRFilterRectangular)
        .value("EDGE", VELA::FIRFilterEdge)
        .value("IS95_TX_MEASUREMENT", VELA::FIRFilterIS95TXMeasurement)
        .value("IS95_TX_EQ_MEASUREMENT", VELA::FIRFilterIS95TXEQMeasurement)
        .value("IS95_REFERENCE", VELA::FIRFilterIS95Reference)
        .value("C4FM_REVERSE_SHAPING", VELA::FIRFilterC4FMReverseShaping)
        .value("LOW_PASS", VELA::FIRFilterLowPass)
        .value("HIGH_PASS", VELA::FIRFilterHighPass)
        .value("BAND_PASS", VELA::FIRFilterBandPass)
        .value("INTEGRAL_GAUSSIAN", VELA::FIRFilterIntegralGaussian)
        .value("INTEGRAL_RECT", VELA::FIRFilterIntegralRect)
        .value("GAUSS_RECT2", VELA::FIRFilterGaussRect2)
        .value("USER_DEFINED", VELA::FIRFilterUserDefined)
        .value("INTEGRAL_USER_DEFINED", VELA::FIRFilterIntegralUserDefined);

    py::class_<PyFIR>(m, "FIRFilter", "FIR convolution engine: the full convolution or its centred part.")
        .def(py::init<>())
        .def("apply", &PyFIR::Apply, py::arg("taps"), py::arg("x"), py::arg("center") = true,
             "x convolved with taps. center=True returns len(x) outputs delayed back by (len(taps)-1)//2; "
             "False the full len(x)+len(taps)-1. dtypes: float32 taps with float32 or complex64 x, complex64 "
             "taps with complex64 or float32 x, float64 taps with complex128 x.");

    py::class_<PySFIR>(m, "SFIRFilter", "Streaming FIR filter: the delay lines carry from block to block.")
        .def(py::init([](const py::handle& taps) { return MakeReleased<PySFIR>(TapsFrom(taps)); }),
             py::arg("taps"), "taps: float32, h[0] first.")
        .def(
            "apply",
            [](PySFIR& s, const py::handle& obj, bool skip) -> py::array {
                ObjectLock lock(s.mu);
                py::array x = AsArray(obj, "x");
                if (HasDtype<float>(x)) {
                    CheckVector<float>(x, "x");
                    CopyIn(s.r, x);
                    Released([&] { s.f.Apply(s.r, skip); });
                    return ToNumpy(s.r);
                }
                if (HasDtype<cf>(x)) {
                    CheckVector<cf>(x, "x");
                    CopyIn(s.c, x);
                    Released([&] { s.f.Apply(s.c, skip); });
                    return ToNumpy(s.c);
                }
                throw py::type_error("x: expected dtype float32 or complex64, got " + DtypeName(x));
            },
            py::arg("x"), py::arg("skip_transient") = false,
            "The next block of the stream (float32 or complex64; real and imaginary rails separate).")
        .def(
            "flush",
            [](PySFIR& s) {
                ObjectLock lock(s.mu);
                s.f.Flush();
            },
            "Clears the delay lines (a break in the stream).")
        .def_property_readonly(
            "tap_count", [](PySFIR& s) { return s.f.GetTapCount(); }, "Number of taps.");

    py::class_<PyDecim>(m, "DecimationFilter", "Stages of filter-and-halve with the same taps.")
        .def(py::init([](int stages, const py::handle& taps) {
                 return MakeReleased<PyDecim>(stages, TapsFrom(taps));
             }),
             py::arg("stage_count"), py::arg("taps"),
             "stage_count stages (each halves the rate) of float32 taps.")
        .def(
            "apply",
            [](PyDecim& s, const py::handle& obj) -> py::array {
                ObjectLock lock(s.mu);
                py::array x = AsArray(obj, "x");
                if (HasDtype<float>(x)) {
                    CheckVector<float>(x, "x");
                    CopyIn(s.r, x);
                    Released([&] { s.f.Apply(s.r, s.r); });
                    return ToNumpy(s.r);
                }
                if (HasDtype<cf>(x)) {
                    CheckVector<cf>(x, "x");
                    CopyIn(s.c, x);
                    Released([&] { s.f.Apply(s.c, s.c); });
                    return ToNumpy(s.c);
                }
                throw py::type_error("x: expected dtype float32 or complex64, got " + DtypeName(x));
            },
            py::arg("x"), "Filters and halves stage after stage (float32 or complex64).")
        .def(
            "flush",
            [](PyDecim& s) {
                ObjectLock lock(s.mu);
                s.f.Flush();
            },
            "Clears every stage's delay line.")
        .def(
            "required_input_length", [](PyDecim& s, int n) { return s.f.GetRequiredInputLength(n); },
            py::arg("output_length"),
            "Input samples that give output_length outputs with the transients dropped.")
        .def_property_readonly(
            "filter_charge_time", [](PyDecim& s) { return s.f.GetFilterChargeTime(); },
            "required_input_length(0), in input samples.")
        .def_property_readonly(
            "stage_count", [](PyDecim& s) { return s.f.GetStageCount(); }, "Number of halving stages.")
        .def_property_readonly(
            "tap_count", [](PyDecim& s) { return s.f.GetTapCount(); }, "Taps per stage.");

    py::class_<PyBaseFilter>(m, "FIRBaseFilter",
                             "A filter of the family (made by FIRFilterFactory.make_filter): design with "
                             "set_parameters, then apply.")
        .def(
            "recommended_tap_size",
            [](PyBaseFilter& s, float fs, float sr, float ro) {
                ObjectLock lock(s.mu);
                return s.f->GetRecommendedTapSize(fs, sr, ro);
            },
            py::kw_only(), py::arg("sampling_rate_hz"), py::arg("symbol_rate_hz"), py::arg("rolloff"),
            "The tap count the kind suggests.")
        .def(
            "set_parameters",
            [](PyBaseFilter& s, float fs, float sr, float ro, int taps) {
                ObjectLock lock(s.mu);
                s.f->SetParameters(fs, sr, ro, taps);
            },
            py::kw_only(), py::arg("sampling_rate_hz"), py::arg("symbol_rate_hz"), py::arg("rolloff"),
            py::arg("taps"),
            "Designs `taps` taps for the sample rate and the symbol rate (or cut-off), Hz, and the shape "
            "parameter (rolloff, BT product or upper cut-off, as the kind says).")
        .def(
            "apply",
            [](PyBaseFilter& s, const py::handle& obj, bool center) -> py::array {
                ObjectLock lock(s.mu);
                py::array x = AsArray(obj, "x");
                if (HasDtype<float>(x)) {
                    CheckVector<float>(x, "x");
                    CopyIn(s.r, x);
                    if (s.f->IsComplexFilter()) {
                        Released([&] { s.f->Apply(s.co, s.r, center); });
                        return ToNumpy(s.co);
                    }
                    Released([&] { s.f->Apply(s.ro, s.r, center); });
                    return ToNumpy(s.ro);
                }
                if (HasDtype<cf>(x)) {
                    CheckVector<cf>(x, "x");
                    CopyIn(s.c, x);
                    Released([&] { s.f->Apply(s.co, s.c, center); });
                    return ToNumpy(s.co);
                }
                throw py::type_error("x: expected dtype float32 or complex64, got " + DtypeName(x));
            },
            py::arg("x"), py::arg("center") = true,
            "x through the designed taps: float32 x gives float32 (complex64 for a complex kind), complex64 "
            "gives complex64.")
        .def_property_readonly(
            "is_integral_filter", [](PyBaseFilter& s) { return s.f->IsIntegralFilter(); },
            "Whether the kind shapes steps rather than filtering a waveform.")
        .def_property_readonly(
            "is_complex_filter", [](PyBaseFilter& s) { return s.f->IsComplexFilter(); },
            "Whether the kind filters with complex taps.")
        .def_property(
            "time_shift_s", [](PyBaseFilter& s) { return s.f->GetTimeShift(); },
            [](PyBaseFilter& s, float t) {
                ObjectLock lock(s.mu);
                s.f->SetTimeShift(t);
            },
            "Sub-sample time shift (seconds) of the integral kinds.")
        .def_property_readonly(
            "delay", [](PyBaseFilter& s) { return s.f->GetDelay(); }, "Group delay in samples.")
        .def_property_readonly(
            "tap_count", [](PyBaseFilter& s) { return s.f->GetNofTaps(); }, "Number of designed taps.")
        .def_property_readonly(
            "filter_type", [](PyBaseFilter& s) { return s.f->GetFilterType(); }, "The kind (FilterType).")
        .def_property_readonly(
            "taps",
            [](PyBaseFilter& s) {
                VELA::VecReal32 t;
                ObjectLock lock(s.mu);
                s.f->GetTaps(t);
                return ToNumpy(t);
            },
            "The real taps (float32).")
        .def_property_readonly(
            "complex_taps",
            [](PyBaseFilter& s) {
                VELA::VecCplx32 t;
                ObjectLock lock(s.mu);
                s.f->GetTaps(t);
                return ToNumpy(t);
            },
            "The complex taps (complex64; empty for a real kind).");

    py::class_<VELA::FIRFilterFactory>(m, "FIRFilterFactory", "Makes filters of the family.")
        .def(py::init<>())
        .def(
            "make_filter",
            [](VELA::FIRFilterFactory& f, VELA::FIRFilterTypeTag type) -> py::object {
                std::unique_ptr<VELA::FIRBaseFilter> made(f.MakeFilter(type));
                if (!made) return py::none();
                auto pf = std::make_unique<PyBaseFilter>();
                pf->f = std::move(made);
                return py::cast(std::move(pf));
            },
            py::arg("type"),
            "A new filter of `type` (no taps until set_parameters), or None for a kind with no filter.")
        .def_static(
            "filter_type_from_name",
            [](const std::string& name) { return VELA::FIRFilterFactory::toEnumFIRFilterType(name.c_str()); },
            py::arg("name"),
            "The FilterType of a name such as \"ROOT_RAISED_COSINE\" (corvane.Error for others).");

    py::class_<PyRBW>(m, "RBWFilter", "Design of the hardware resolution-bandwidth filters.")
        .def(py::init<float, float>(), py::arg("rate1_hz"), py::arg("max_rate_hz"),
             "max_rate_hz: the instrument's widest sample rate.")
        .def(
            "max_rbw",
            [](PyRBW& s, std::optional<float> span) { return span ? s.f.GetMaxRBW(*span) : s.f.GetMaxRBW(); },
            py::arg("span_hz") = py::none(),
            "The widest RBW (Hz): max_rate * 0.4, or span * 0.1 below max_rate.")
        .def_static(
            "decimation_factor",
            [](double rate, double rbw, std::optional<double> maxRate) {
                long long factor = 0;
                double outRate = 0;
                if (maxRate)
                    VELA::RBWFilter::GetDecimationFactor(factor, outRate, rate, rbw, *maxRate);
                else
                    VELA::RBWFilter::GetDecimationFactor(factor, outRate, rate, rbw);
                return py::make_tuple(factor, outRate);
            },
            py::arg("rate_hz"), py::arg("rbw_hz"), py::arg("max_rate_hz") = py::none(),
            "(power-of-two factor, decimated rate in Hz) for rbw_hz at rate_hz.")
        .def(
            "design",
            [](PyRBW& s, float rate, float rbw, int tapCount) {
                VELA::VecReal32 t;
                ObjectLock lock(s.mu);
                s.f.Apply(t, rate, rbw, tapCount);
                return ToNumpy(t);
            },
            py::kw_only(), py::arg("rate_hz"), py::arg("rbw_hz"), py::arg("tap_count"),
            "tap_count float32 taps (summing to 1) for bandwidth rbw_hz at rate_hz.")
        .def(
            "design_words",
            [](PyRBW& s, float rate, float rbw, int tapCount, int bits) {
                VELA::VecUInt32 w;
                ObjectLock lock(s.mu);
                s.f.Apply(w, rate, rbw, tapCount, bits);
                return ToNumpy(w);
            },
            py::kw_only(), py::arg("rate_hz"), py::arg("rbw_hz"), py::arg("tap_count"), py::arg("bits"),
            "The taps as hardware words of `bits` bits (uint32), scaled to a power-of-two gain.")
        .def(
            "default_taps",
            [](PyRBW& s, int n) {
                VELA::VecReal32 t;
                ObjectLock lock(s.mu);
                s.f.GetDefaultCoef(t, n);
                return ToNumpy(t);
            },
            py::arg("n"), "n taps passing the data unchanged.")
        .def_property_readonly(
            "properties",
            [](PyRBW& s) {
                float gain = 0, delay = 0;
                ObjectLock lock(s.mu);
                s.f.GetProperties(gain, delay);
                return py::make_tuple(gain, delay);
            },
            "(gain, delay in samples) of the last design_words.");
}

}  // namespace corvane_py
