// Bindings of the streaming IQ conversion: DigitalIQDownconverter, real digitiser samples to complex
// baseband at a lower rate.
#include <corvane/dsp/DigitalIQDownconverter.h>

#include <cmath>
#include <string>

#include "py_common.h"

namespace corvane_py {
namespace {

// What SetParameters works out, as one small result object.
struct DownconverterSetup {
    double out_samp_freq_hz{};
    int required_len{};
    double filter_delay{};
};

struct PyDownconverter {
    std::mutex mu;
    VELA::DigitalIQDownconverter d;
    VELA::VecCplx32 out;

    DownconverterSetup SetParameters(double centerFreq, double sampFreq, double span, int numOutput,
                                     bool estimateOnly) {
        ObjectLock lock(mu);
        DownconverterSetup r;
        // Building a filter of up to 2^27 taps takes long enough to be worth giving the GIL away.
        Released([&] {
            d.SetParameters(r.out_samp_freq_hz, r.required_len, r.filter_delay, centerFreq, sampFreq, span,
                            numOutput, estimateOnly);
        });
        return r;
    }

    py::array Apply(const py::handle& obj) {
        ObjectLock lock(mu);
        py::array x = AsArray(obj, "x");
        CheckVector<float>(x, "x");
        Borrowed<VELA::VecReal32> in(x);
        VELA::VELAErrorCodeTag code = VELA::VELAErrorNone;
        Released([&] { code = d.Apply(out, in); });
        // The library answers with a code rather than a throw; an abort leaves a partial segment that
        // a caller cannot continue from (the stream must be flushed), so it is an error here too.
        ThrowIfError(code);
        return ToNumpy(out);
    }
};

}  // namespace

void RegisterConversion(py::module_& m) {
    py::class_<DownconverterSetup>(m, "DownconverterSetup",
                                   "What DigitalIQDownconverter.set_parameters works out.")
        .def_readonly("out_samp_freq_hz", &DownconverterSetup::out_samp_freq_hz,
                      "Output sample rate: samp_freq_hz / M, Hz (M the decimation, a power of two).")
        .def_readonly("required_len", &DownconverterSetup::required_len,
                      "Input samples of a first segment that gives num_output outputs: M num_output + L - 1.")
        .def_readonly("filter_delay", &DownconverterSetup::filter_delay,
                      "Delay of the filter, (L - 1) / 2 input samples.")
        .def_property_readonly(
            "decimation",
            [](const DownconverterSetup& s) { return static_cast<int>(std::lround(s.filter_delay / 10.0)); },
            "M, the decimation (from L = 20 M + 1 taps).")
        .def("__repr__", [](const DownconverterSetup& s) {
            return "DownconverterSetup(out_samp_freq_hz=" + std::to_string(s.out_samp_freq_hz) +
                   ", required_len=" + std::to_string(s.required_len) +
                   ", filter_delay=" + std::to_string(s.filter_delay) + ")";
        });

    py::class_<PyDownconverter>(
        m, "DigitalIQDownconverter",
        "Real digitiser samples (float32) to complex baseband (complex64) at a lower rate: mixed down by "
        "center_freq_hz, low-pass filtered (a Kaiser-windowed sinc of L = 20 M + 1 taps) and decimated by "
        "M, a power of two. A stream: successive apply() calls continue one record, so a record cut "
        "anywhere gives the outputs of the record in one piece. A real sine of amplitude A comes out as a "
        "complex tone of amplitude A.")
        .def(py::init<>(), "No parameters yet: apply() raises corvane.Error until set_parameters().")
        .def("set_parameters", &PyDownconverter::SetParameters, py::kw_only(), py::arg("center_freq_hz"),
             py::arg("samp_freq_hz"), py::arg("span_hz"), py::arg("num_output") = 0,
             py::arg("estimate_only") = false,
             "Chooses the decimation M (the largest power of two with samp_freq_hz / M >= span_hz / 0.8) and "
             "builds the filter; returns a DownconverterSetup. With estimate_only nothing changes. The "
             "same parameters again keep the stream going; different ones restart it. corvane.Error for a "
             "rate or span that is not positive, a span above 0.8 samp_freq_hz or below "
             "min_required_span(samp_freq_hz), or a negative num_output.")
        .def("apply", &PyDownconverter::Apply, py::arg("x"),
             "The next segment of the stream (float32 samples); returns its outputs (complex64). The first "
             "segment after set_parameters or flush needs at least L samples. corvane.Error without "
             "parameters, for too short a first segment, and (code ABORT) when request_abort() stopped "
             "it; flush() before a new stream after an abort.")
        .def(
            "request_abort", [](PyDownconverter& s) { s.d.RequestAbort(); },
            "Asks a running apply() (from another thread) to stop; a request made before apply() starts "
            "is forgotten when it starts.")
        .def(
            "flush",
            [](PyDownconverter& s) {
                ObjectLock lock(s.mu);
                s.d.Flush();
            },
            "Back to the start of a stream with the same filter.")
        .def_static("min_required_span", &VELA::DigitalIQDownconverter::GetMinRequiredSpan,
                    py::arg("samp_freq_hz"),
                    "The narrowest span (Hz) whose filter stays within the tap limit at samp_freq_hz.");
}

}  // namespace corvane_py
