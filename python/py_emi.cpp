// Bindings of the EMI receiver for continuous IQ: EMIBand, EMIDetector, EMIReceiver.
#include <corvane/dsp/EMIReceiver.h>

#include "py_common.h"

namespace corvane_py {
namespace {

using cf = std::complex<float>;

struct PyEMIReceiver {
    std::mutex mu;
    VELA::EMIReceiver rx;
    VELA::VecReal64 scan, out;

    PyEMIReceiver(VELA::EMIBand band, double rate, const py::handle& freqs, py::object centre) {
        LoadVector(scan, freqs, "frequencies_hz");
        if (centre.is_none())
            rx.SetParameters(band, rate, scan);
        else
            rx.SetParameters(band, rate, centre.cast<double>(), scan);
    }

    void Process(const py::handle& obj) {
        ObjectLock lock(mu);
        py::array x = AsArray(obj, "x");
        CheckVector<cf>(x, "x");
        Borrowed<VELA::VecCplx32> in(x);
        Released([&] { rx.Process(in); });
    }

    py::array Readings(VELA::EMIDetector detector) {
        ObjectLock lock(mu);
        rx.GetReadings(out, detector);
        return ToNumpy(out);
    }
};

}  // namespace

void RegisterEMI(py::module_& m) {
    py::enum_<VELA::EMIBand>(m, "EMIBand",
                             "CISPR frequency bands: A 9-150 kHz, B 0.15-30 MHz, C/D 30-1000 MHz.")
        .value("A", VELA::EMIBand::A)
        .value("B", VELA::EMIBand::B)
        .value("CD", VELA::EMIBand::CD);

    py::enum_<VELA::EMIDetector>(m, "EMIDetector", "Detectors of the EMI receiver.")
        .value("PEAK", VELA::EMIDetector::Peak)
        .value("QUASI_PEAK", VELA::EMIDetector::QuasiPeak)
        .value("AVERAGE", VELA::EMIDetector::Average)
        .value("RMS_AVERAGE", VELA::EMIDetector::RMSAverage);

    py::class_<PyEMIReceiver>(
        m, "EMIReceiver",
        "An EMI measuring receiver on a continuous stream of complex samples: per measuring frequency a "
        "Gaussian IF filter of the band's 6 dB bandwidth, the envelope, and the peak, quasi-peak, average "
        "and RMS-average detectors with the band's time constants and meter.\n\n"
        "The samples are the complex envelope of the RF signal: a sine of amplitude A is a tone of "
        "magnitude A, an RF impulse of area a V s an impulse of area 2a. Readings are linear, the r.m.s. "
        "value of the equivalent sine in the unit of the samples, and the highest since construction or "
        "reset(). Feed the stream with process() in blocks of any length; state carries across them.")
        .def(py::init<VELA::EMIBand, double, const py::handle&, py::object>(), py::arg("band"),
             py::arg("sample_rate_hz"), py::arg("frequencies_hz"), py::kw_only(),
             py::arg("centre_hz") = py::none(),
             "frequencies_hz: float64 measuring frequencies, relative to the recording's centre, or absolute "
             "when centre_hz (the recording's centre frequency) is given.")
        .def("process", &PyEMIReceiver::Process, py::arg("x"),
             "Feeds the next complex64 block of the stream.")
        .def("readings", &PyEMIReceiver::Readings, py::arg("detector"),
             "The readings of one detector, float64, one per measuring frequency.")
        .def(
            "reset",
            [](PyEMIReceiver& self) {
                ObjectLock lock(self.mu);
                self.rx.Reset();
            },
            "Clears the detectors and the filter history; the configuration stays.")
        .def_property_readonly(
            "tuned_offsets_hz",
            [](PyEMIReceiver& self) {
                ObjectLock lock(self.mu);
                VELA::VecReal64 t;
                self.rx.GetTunedOffsets(t);
                return ToNumpy(t);
            },
            "The bin centres used, relative to the centre, Hz.")
        .def_property_readonly(
            "elapsed_s",
            [](PyEMIReceiver& self) {
                ObjectLock lock(self.mu);
                return self.rx.GetElapsedTime();
            },
            "Seconds of signal processed since construction or reset().")
        .def_static(
            "band_parameters",
            [](VELA::EMIBand band) {
                const VELA::EMIBandParameters p = VELA::EMIReceiver::GetBandParameters(band);
                return py::make_tuple(p.bandwidth6dB, p.chargeTC, p.dischargeTC, p.meterTC, p.rmsCornerHz);
            },
            py::arg("band"), "(B6 Hz, charge s, discharge s, meter s, RMS-average corner Hz) of a band.")
        .def_static("to_dbuv", &VELA::EMIReceiver::ToDBMicroVolt, py::arg("volts"),
                    "20 log10(volts / 1 uV); 0 gives -400.");
}

}  // namespace corvane_py
