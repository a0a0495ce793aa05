// Bindings of the file classes: IQTReader (capture files in), MatFileWriter (MAT-file variables out) and
// MatFileReader (opens a MAT-file).
//
// The writer completes its file when the C++ object is destroyed, and reports a failure to do so from
// the destructor. Python cannot rely on when an object is destroyed, so the wrappers destroy it in
// close() (and on leaving a `with` block), where the error can be raised; an object that is collected
// unclosed still completes its file, but a failure then has nowhere to go and is written to stderr.
#include <corvane/infra/IQTReader.h>
#include <corvane/infra/MatFileReader.h>
#include <corvane/infra/MatFileWriter.h>
#include <corvane/math/IntVector.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "py_common.h"

namespace corvane_py {
namespace {

using cf = std::complex<float>;
using cd = std::complex<double>;

// A str or os.PathLike as a file name for the library; TypeError for anything else and ValueError for
// a name with a NUL character, which the C interfaces below would cut short.
std::string PathArg(const py::handle& obj, const char* what) {
    py::object fs = py::module_::import("os").attr("fspath");
    py::object p;
    try {
        p = fs(obj);
    } catch (py::error_already_set&) {
        throw py::type_error(std::string(what) + ": expected a str or os.PathLike, got " +
                             py::str(py::type::of(obj).attr("__name__")).cast<std::string>());
    }
    if (!py::isinstance<py::str>(p))
        throw py::type_error(std::string(what) + ": expected a str path, got " +
                             py::str(py::type::of(p).attr("__name__")).cast<std::string>());
    std::string s = p.cast<std::string>();
    if (s.find('\0') != std::string::npos)
        throw py::value_error(std::string(what) + ": embedded NUL character");
    return s;
}

std::string NameArg(const std::string& name, const char* what) {
    if (name.find('\0') != std::string::npos)
        throw py::value_error(std::string(what) + ": embedded NUL character");
    return name;
}

// Destroys the object now, letting its destructor's exception through: unique_ptr::reset is noexcept, so
// an exception thrown by the destructor under it would end the process.
template <class T>
void DestroyNow(std::unique_ptr<T>& p) {
    T* raw = p.release();
    delete raw;
}

// Frame headers as a (frames, 24) uint8 array.
py::array Headers(const std::vector<VELA::FrameHeader>& h) {
    py::array_t<uint8_t> a({static_cast<py::ssize_t>(h.size()), static_cast<py::ssize_t>(24)});
    if (!h.empty()) std::memcpy(a.mutable_data(), h.data(), h.size() * sizeof(VELA::FrameHeader));
    return a;
}

struct PyIQT {
    explicit PyIQT(const std::string& path) : r(path.c_str()) {}
    // The reader is immutable after construction and every read opens its own file handle, so reads
    // need no lock and may run from several threads at once.
    VELA::IQTReader r;

    // A header table for the frames when the range is one the reader can accept; otherwise none, and
    // the reader refuses the range itself (so a wild count never sizes an allocation).
    std::vector<VELA::FrameHeader> HeaderTable(int firstFrame, int frameCount) const {
        const long long end = static_cast<long long>(firstFrame) + frameCount;
        if (firstFrame < 0 || frameCount < 0 || end > r.GetNofValidFrames()) return {};
        return std::vector<VELA::FrameHeader>(static_cast<size_t>(frameCount));
    }

    template <bool second>
    py::tuple IQData(int firstFrame, int frameCount) const {
        auto h = HeaderTable(firstFrame, frameCount);
        VELA::VecCplx32 data;
        Released([&] {
            if (second)
                r.GetIQData2(firstFrame, frameCount, h.empty() ? nullptr : h.data(), data);
            else
                r.GetIQData(firstFrame, frameCount, h.empty() ? nullptr : h.data(), data);
        });
        return py::make_tuple(ToNumpy(data), Headers(h));
    }
};

struct PyMatWriter {
    explicit PyMatWriter(const std::string& path) : w(std::make_unique<VELA::MatFileWriter>(path.c_str())) {}
    ~PyMatWriter() {
        if (!w) return;
        try {
            DestroyNow(w);
        } catch (const VELA::VELAException& e) {
            std::fprintf(stderr,
                         "corvane.MatFileWriter: the file could not be completed: %s (error code %d)\n",
                         e.message ? e.message : "unknown error", static_cast<int>(e.code));
        }
    }
    PyMatWriter(const PyMatWriter&) = delete;
    PyMatWriter& operator=(const PyMatWriter&) = delete;

    std::mutex mu;
    std::unique_ptr<VELA::MatFileWriter> w;

    VELA::MatFileWriter& Open() {
        if (!w) throw py::value_error("MatFileWriter: the file is closed");
        return *w;
    }

    template <class Vec>
    void Write(const std::string& name, const py::array& a) {
        CheckVector<typename VecTraits<Vec>::Np>(a, "data");
        Borrowed<Vec> v(a);
        VELA::MatFileWriter& f = Open();
        Released([&] { f.WriteVector(name.c_str(), v); });
    }

    void WriteVector(const std::string& nameArg, const py::handle& obj) {
        ObjectLock lock(mu);
        const std::string name = NameArg(nameArg, "name");
        py::array a = AsArray(obj, "data");
        if (HasDtype<cd>(a)) return Write<VELA::VecCplx64>(name, a);
        if (HasDtype<double>(a)) return Write<VELA::VecReal64>(name, a);
        if (HasDtype<cf>(a)) return Write<VELA::VecCplx32>(name, a);
        if (HasDtype<float>(a)) return Write<VELA::VecReal32>(name, a);
        if (HasDtype<uint8_t>(a)) return Write<VELA::VecUInt8>(name, a);
        if (HasDtype<int16_t>(a)) return Write<VELA::VecInt16>(name, a);
        throw py::type_error(
            "data: expected dtype complex128, float64, complex64, float32, uint8 or int16, got " +
            DtypeName(a));
    }

    void Close() {
        ObjectLock lock(mu);
        if (!w) return;
        // Completing the file copies it to its target: no GIL needed for that. The object is gone
        // whether or not completing succeeded (the library cleans up either way).
        std::unique_ptr<VELA::MatFileWriter> done = std::move(w);
        Released([&] { DestroyNow(done); });
    }
};

struct PyMatReader {
    explicit PyMatReader(const std::string& path) : r(std::make_unique<VELA::MatFileReader>(path.c_str())) {}
    ~PyMatReader() {
        try {
            DestroyNow(r);
        } catch (const VELA::VELAException&) {
            // Closing a file opened for reading loses nothing; there is no one to tell.
        }
    }
    PyMatReader(const PyMatReader&) = delete;
    PyMatReader& operator=(const PyMatReader&) = delete;
    std::mutex mu;
    std::unique_ptr<VELA::MatFileReader> r;
};

}  // namespace

void RegisterFiles(py::module_& m) {
    py::class_<PyIQT>(m, "IQTReader",
                      "Reads an \".iqt\" capture file: IQ frames of 16-bit words with a text header that "
                      "tells how to scale them, and a correction record. The header is parsed once; each "
                      "read opens the file anew, so the file must stay in place. Reads release the GIL and "
                      "may run from several threads at once.")
        .def(py::init([](const py::handle& path) {
                 const std::string p = PathArg(path, "path");
                 std::unique_ptr<PyIQT> r;
                 {
                     py::gil_scoped_release release;
                     r = std::make_unique<PyIQT>(p);
                 }
                 return r;
             }),
             py::arg("path"),
             "Opens `path` (str or os.PathLike) and parses its header. corvane.Error OPENING_FILE when it "
             "cannot be opened, READING_FILE for an invalid file.")
        .def(
            "header",
            [](const PyIQT& s, const std::string& key) -> py::object {
                char value[61] = {};
                if (!s.r.GetHeader(NameArg(key, "key").c_str(), value)) return py::none();
                return py::str(value);
            },
            py::arg("key"), "The text of header entry `key` (exact, case-sensitive), or None when absent.")
        .def_property_readonly(
            "data_offset", [](const PyIQT& s) { return s.r.GetDataOffset(); },
            "Bytes before the first frame.")
        .def_property_readonly(
            "valid_frames", [](const PyIQT& s) { return s.r.GetNofValidFrames(); }, "Frames in the file.")
        .def_property_readonly(
            "fft_points", [](const PyIQT& s) { return s.r.GetFFTPoints(); }, "Samples decoded per frame.")
        .def_property_readonly(
            "bins", [](const PyIQT& s) { return s.r.GetNofBins(); }, "The header's Bins.")
        .def_property_readonly(
            "multi_frames", [](const PyIQT& s) { return s.r.GetNofMultiFrames(); },
            "The header's MultiFrames (1 when absent).")
        .def_property_readonly(
            "blocks", [](const PyIQT& s) { return s.r.GetNofBlocks(); }, "ceil(valid_frames / block_size).")
        .def_property_readonly(
            "block_size", [](const PyIQT& s) { return s.r.GetBlockSize(); }, "Frames per block.")
        .def_property_readonly(
            "first_block_size", [](const PyIQT& s) { return s.r.GetFirstBlockSize(); },
            "Frames of the first block, which takes the remainder.")
        .def_property_readonly(
            "frame_length_s", [](const PyIQT& s) { return s.r.GetFrameLength(); }, "Duration of a frame, s.")
        .def_property_readonly(
            "unit_period_s", [](const PyIQT& s) { return s.r.GetUnitPeriod(); },
            "The header's UnitPeriod, s.")
        .def_property_readonly(
            "max_input_level_dbm", [](const PyIQT& s) { return s.r.GetMaxInputLevel(); },
            "The header's MaxInputLevel, dBm.")
        .def_property_readonly(
            "center_frequency_hz", [](const PyIQT& s) { return s.r.GetCenterFrequency(); }, "Hz.")
        .def_property_readonly(
            "span_hz", [](const PyIQT& s) { return s.r.GetSpan(); }, "Hz.")
        .def_property_readonly(
            "scaling_factor", [](const PyIQT& s) { return s.r.GetScalingFactor(); },
            "Volts per raw word: sqrt(2 * 10^((GainOffset + MaxInputLevel + LevelOffset) / 10) / 20).")
        .def_property_readonly(
            "sampling_frequency_hz", [](const PyIQT& s) { return s.r.GetSamplingFrequency(); },
            "fft_points / frame_length_s, Hz.")
        .def_property_readonly(
            "samples_in_block", [](const PyIQT& s) { return s.r.GetNofSamplesInBlock(); },
            "block_size * fft_points.")
        .def_property_readonly(
            "samples_in_file", [](const PyIQT& s) { return s.r.GetNoflSamplesInFile(); },
            "valid_frames * fft_points.")
        .def("iq_data", &PyIQT::IQData<false>, py::arg("first_frame"), py::arg("frame_count"),
             "(samples complex64, headers uint8 of shape (frame_count, 24)) of frame_count frames from "
             "first_frame (counted from 0): (I - IOffset, Q - QOffset) times scaling_factor. After a frame "
             "marked amplitude/phase, everything so far is converted to (magnitude, phase) pairs. "
             "corvane.Error INVALID_INPUT_PARAMETER for frames outside the file.")
        .def("iq_data2", &PyIQT::IQData<true>, py::arg("first_frame"), py::arg("frame_count"),
             "As iq_data, but every frame decoded by the mark of the last frame alone (IQ, or amplitude and "
             "phase to cartesian).")
        .def(
            "raw_iq_ap_data",
            [](const PyIQT& s, int firstFrame, int frameCount) {
                auto h = s.HeaderTable(firstFrame, frameCount);
                VELA::VecReal32 first, second;
                Released([&] {
                    s.r.GetRawIQAPData(firstFrame, frameCount, h.empty() ? nullptr : h.data(), first, second);
                });
                return py::make_tuple(ToNumpy(first), ToNumpy(second), Headers(h));
            },
            py::arg("first_frame"), py::arg("frame_count"),
            "(second words, first words, headers): the raw words of each pair as float32 (in an IQ frame I "
            "and Q). Meaningful for fft_points 1024.")
        .def(
            "flatness",
            [](const PyIQT& s) {
                VELA::FrameHeader h{};
                VELA::VecReal64 amplitude, phase;
                Released([&] { s.r.GetFlatness(&h, amplitude, phase); });
                return py::make_tuple(ToNumpy(amplitude), ToNumpy(phase),
                                      Headers(std::vector<VELA::FrameHeader>{h}).attr("reshape")(24));
            },
            "(amplitude, phase, header) of the correction record: fft_points amplitudes (word / 128) and "
            "phases (-word / 128), float64. The table is for the caller; reads do not apply it.")
        .def(
            "raw_flatness",
            [](const PyIQT& s) {
                VELA::FrameHeader h{};
                VELA::VecReal32 amplitude, phase;
                Released([&] { s.r.GetRawFlatness(&h, amplitude, phase); });
                return py::make_tuple(ToNumpy(amplitude), ToNumpy(phase),
                                      Headers(std::vector<VELA::FrameHeader>{h}).attr("reshape")(24));
            },
            "The correction record's words unscaled, float32: (amplitude words, phase words, header).")
        .def(
            "read_iq_data",
            [](const PyIQT& s, int start, int count, const py::object& dtype) {
                const py::dtype dt = py::dtype::from_args(dtype);
                if (dt.equal(py::dtype::of<cd>())) {
                    VELA::VecCplx64 data;
                    Released([&] { s.r.ReadIQData(start, count, data); });
                    return ToNumpy(data);
                }
                if (!dt.equal(py::dtype::of<cf>()))
                    throw py::type_error("dtype: expected complex64 or complex128");
                VELA::VecCplx32 data;
                Released([&] { s.r.ReadIQData(start, count, data); });
                return ToNumpy(data);
            },
            py::arg("start"), py::arg("count"), py::arg("dtype") = py::dtype::of<cf>(),
            "`count` samples from sample `start` (decoded as iq_data) as complex64 or complex128; the frames "
            "they span must lie in one block and in the file (corvane.Error otherwise).")
        .def(
            "read_iq_samples",
            [](const PyIQT& s, int start, int count) {
                VELA::VecCplx32 data;
                Released([&] { s.r.ReadIQData(0, start, count, data); });
                return ToNumpy(data);
            },
            py::arg("start"), py::arg("count"),
            "Up to `count` samples from `start` within the first block: a request running past the block's "
            "end is cut there, one starting beyond it gives an empty array.");

    py::class_<PyMatWriter>(m, "MatFileWriter",
                            "Writes vectors, texts and scalars as named variables of a MAT-file (level 5; "
                            "scipy.io.loadmat, GNU Octave and MATLAB read it). Vectors become n x 1 columns "
                            "(complex128 and float64 as double, complex64 and float32 as single, uint8 as "
                            "uint8, int16 as uint16 with the bits kept). A name written again replaces the "
                            "variable. The file is complete after close() or the end of a `with` block.")
        .def(py::init(
                 [](const py::handle& path) { return std::make_unique<PyMatWriter>(PathArg(path, "path")); }),
             py::arg("path"),
             "Creates or empties `path`. corvane.Error OPENING_FILE when that is not possible.")
        .def("write_vector", &PyMatWriter::WriteVector, py::arg("name"), py::arg("data"),
             "Variable `name` holding the one-dimensional array `data`.")
        .def(
            "write_text",
            [](PyMatWriter& s, const std::string& name, const std::string& text) {
                ObjectLock lock(s.mu);
                const std::string n = NameArg(name, "name"), t = NameArg(text, "text");
                s.Open().WriteVector(n.c_str(), t.c_str());
            },
            py::arg("name"), py::arg("text"), "Variable `name` holding `text` as a 1 x len char array.")
        .def(
            "write_scalar",
            [](PyMatWriter& s, const std::string& name, double value) {
                ObjectLock lock(s.mu);
                const std::string n = NameArg(name, "name");
                s.Open().WriteScalar(n.c_str(), value);
            },
            py::arg("name"), py::arg("value"), "Variable `name` holding `value` as a 1 x 1 double.")
        .def("close", &PyMatWriter::Close,
             "Completes the file. corvane.Error CLOSING_FILE when it cannot be completed (nothing "
             "half-written is left). Further writes raise ValueError; a second close does nothing.")
        .def_property_readonly(
            "closed",
            [](PyMatWriter& s) {
                ObjectLock lock(s.mu);
                return !s.w;
            },
            "Whether close() has run.")
        .def("__enter__", [](py::object self) { return self; })
        .def(
            "__exit__",
            [](PyMatWriter& s, const py::object&, const py::object&, const py::object&) {
                s.Close();
                return false;
            },
            py::arg("exc_type"), py::arg("exc"), py::arg("tb"));

    py::class_<PyMatReader>(m, "MatFileReader",
                            "Opens a MAT-file for reading and holds it open until close(). It reads no "
                            "variables: load the data with scipy.io.loadmat.")
        .def(py::init(
                 [](const py::handle& path) { return std::make_unique<PyMatReader>(PathArg(path, "path")); }),
             py::arg("path"), "Opens `path`. corvane.Error OPENING_FILE when it is missing or no MAT-file.")
        .def(
            "close",
            [](PyMatReader& s) {
                ObjectLock lock(s.mu);
                std::unique_ptr<VELA::MatFileReader> done = std::move(s.r);
                DestroyNow(done);
            },
            "Closes the file (a second close does nothing). corvane.Error CLOSING_FILE if that fails.")
        .def_property_readonly(
            "closed",
            [](PyMatReader& s) {
                ObjectLock lock(s.mu);
                return !s.r;
            },
            "Whether close() has run.")
        .def("__enter__", [](py::object self) { return self; })
        .def(
            "__exit__",
            [](PyMatReader& s, const py::object&, const py::object&, const py::object&) {
                ObjectLock lock(s.mu);
                std::unique_ptr<VELA::MatFileReader> done = std::move(s.r);
                DestroyNow(done);
                return false;
            },
            py::arg("exc_type"), py::arg("exc"), py::arg("tb"));
}

}  // namespace corvane_py
