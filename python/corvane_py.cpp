// The corvane extension module: the error class, the enumerations shared by several families, and the
// registration of the binding families (transforms, measurements, filters, IQ conversion,
// interpolation, files).
#include <corvane/dsp/DSPUtils.h>
#include <corvane/dsp/FT.h>
#include <corvane/dsp/Spectrum.h>
#include <corvane/dsp/Window.h>
#include <corvane/math/VELAError.h>

#include <pybind11/eval.h>

#include "py_common.h"

namespace py = pybind11;

namespace {

// corvane.Error, defined in Python so that it is an ordinary Exception subclass with `code` and
// `message` attributes that pickles and prints like any other.
const char* const kErrorSource = R"py(
class Error(Exception):
    """An error reported by the library.

    Attributes:
        code: the library's error code (an ErrorCode; 8005 is "invalid input parameter").
        message: the library's message text for the code.
    """

    def __init__(self, code, message):
        super().__init__(code, message)
        self.code = code
        self.message = message

    def __str__(self):
        return f"{self.message} (error code {int(self.code)})"
)py";

}  // namespace

PYBIND11_MODULE(_corvane, m) {
    m.doc() =
        "Corvane signal-processing classes: Fourier and chirp-Z transforms, windows, spectra, stepped "
        "spectra with video bandwidth and CISPR detectors, digital zoom and source, FIR filters, the "
        "digital IQ downconverter, interpolators, IQT capture files and MAT-files.\n\n"
        "Frequencies, spans and bandwidths are in Hz, lengths in samples, levels in dB unless a name says "
        "otherwise. Arrays go in and come out as numpy arrays of the stated dtype; no silent conversion.";

    py::enum_<VELA::VELAErrorCodeTag>(m, "ErrorCode", "The library's error codes.")
        .value("NONE", VELA::VELAErrorNone)
        .value("ABORT", VELA::VELAErrorAbort)
        .value("MEMORY_ALLOC", VELA::VELAErrorMemoryAlloc)
        .value("DIVIDE_BY_ZERO", VELA::VELAErrorDivideByZero)
        .value("SINGULAR_MATRIX", VELA::VELAErrorSingularMatrix)
        .value("INVALID_INPUT_PARAMETER", VELA::VELAErrorInvalidInputParameter)
        .value("OPENING_FILE", VELA::VELAErrorOpeningFile)
        .value("READING_FILE", VELA::VELAErrorReadingFile)
        .value("WRITING_FILE", VELA::VELAErrorWritingFile)
        .value("FILE_VERSION", VELA::VELAErrorFileVersion)
        .value("FILE_TYPE", VELA::VELAErrorFileType)
        .value("CLOSING_FILE", VELA::VELAErrorClosingFile)
        .value("MATLAB_ACCESS", VELA::VELAErrorMatlabAccess)
        .value("UNEXPECTED_SOFTWARE", VELA::VELAErrorUnexpectedSoftware)
        .value("SIZE_MISMATCH", VELA::VELAErrorSizeMismatch);

    py::dict ns;
    ns["__builtins__"] = py::module_::import("builtins");
    ns["__name__"] = "corvane";
    py::exec(kErrorSource, ns, ns);
    py::object error = ns["Error"];
    error.attr("__module__") = "corvane";
    m.attr("Error") = error;
    // The module keeps the class alive for the life of the process; the translator holds a borrowed
    // handle to it.
    static py::handle errorType = error.ptr();
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const VELA::VELAException& e) {
            py::object code = py::cast(e.code);
            py::str message(e.message ? e.message : "unknown error");
            PyErr_SetObject(errorType.ptr(), py::make_tuple(code, message).ptr());
        }
    });

    py::enum_<VELA::WindowType>(m, "WindowType", "Window kinds (the factory builds values 0..7).")
        .value("UNIFORM", VELA::WindowTypeUniform)
        .value("BLACKMAN_HARRIS", VELA::WindowTypeBlackmanHarris)
        .value("FLAT_TOP", VELA::WindowTypeFlatTop)
        .value("HANN", VELA::WindowTypeHann)
        .value("GAUSS", VELA::WindowTypeGauss)
        .value("CISPR_6DB", VELA::WindowTypeCISPR6dB)
        .value("CISPR_6DB_ALT", VELA::WindowTypeCISPR6dBAlt)
        .value("KAISER", VELA::WindowTypeKaiser);

    py::enum_<VELA::PowerUnit>(m, "PowerUnit", "Output scale of the spectrum measurements.")
        .value("DB", VELA::PowerUnitDB, "decibels, 20 log10 of the magnitude")
        .value("DB_PLUS_10", VELA::PowerUnitDBPlus10, "decibels plus 10 dB where a class honours it")
        .value("LINEAR", VELA::PowerUnitLinear, "linear magnitude (or power, as the class says)");

    py::enum_<VELA::DetectorType>(m, "DetectorType", "Trace detectors.")
        .value("AVERAGE", VELA::DetectorAve)
        .value("MAX", VELA::DetectorMax, "peak")
        .value("MIN", VELA::DetectorMin)
        .value("MAX_MIN", VELA::DetectorMaxMin, "maximum and minimum: two values per point")
        .value("RMS", VELA::DetectorRms)
        .value("SAMPLE", VELA::DetectorSample)
        .value("CISPR_QUASI_PEAK", VELA::DetectorCISPRQuasiPeak)
        .value("CISPR_AVERAGE", VELA::DetectorCISPRAverage)
        .value("CISPR_PEAK", VELA::DetectorCISPRPeak);

    py::enum_<VELA::VELAAlgorithm>(m, "Algorithm", "Transform algorithm hint.")
        .value("FAST", VELA::VELAAlgorithmFast)
        .value("ACCURATE", VELA::VELAAlgorithmAccurate);

    corvane_py::RegisterTransforms(m);
    corvane_py::RegisterMeasurements(m);
    corvane_py::RegisterFilters(m);
    corvane_py::RegisterConversion(m);
    corvane_py::RegisterInterpolation(m);
    corvane_py::RegisterFiles(m);
    corvane_py::RegisterEMI(m);
}
