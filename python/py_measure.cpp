// Bindings of the measurements and IQ conditioning: Spectrum, SteppedSpectrum (with its plan, the sweep
// and the CISPR sequence), VideoBandwidth, CISPRDetector, DigitalZoom, DigitalSource.
#include <corvane/dsp/CISPRDetector.h>
#include <corvane/dsp/DigitalSource.h>
#include <corvane/dsp/DigitalZoom.h>
#include <corvane/dsp/Spectrum.h>
#include <corvane/dsp/SteppedSpectrum.h>
#include <corvane/dsp/VideoBandwidth.h>
#include <corvane/math/VELAError.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "py_common.h"

namespace corvane_py {
namespace {

using cf = std::complex<float>;

struct PySpectrum {
    PySpectrum(int size, VELA::WindowType window, float para) : s(size, window, para) {}
    std::mutex mu;
    VELA::Spectrum s;
    VELA::VecReal32 out;

    // One block (shape (N,)) or a batch of blocks (shape (B, N), one block per row). A batch is the way to
    // run many short spectra from several Python threads: the GIL is given away once per batch instead
    // of once per block, and on a 4096-point block the hand-over to a waiting thread costs about as much
    // as the spectrum itself. A lone block below kKeepGilBelow points keeps the GIL for that reason.
    py::array Apply(const py::handle& obj) {
        ObjectLock lock(mu);
        py::array x = AsArray(obj, "x");
        if (x.ndim() == 2) return ApplyRows(x);
        if (x.ndim() != 1)
            throw py::value_error("x: expected one block (N,) or a batch (B, N), got " +
                                  std::to_string(x.ndim()) + " dimensions");
        // The library reads exactly GetSize() samples without checking, so the length is checked here.
        if (x.shape(0) != s.GetSize())
            throw py::value_error("x: expected " + std::to_string(s.GetSize()) + " samples, got " +
                                  std::to_string(x.shape(0)));
        const bool release = s.GetSize() >= kKeepGilBelow;
        if (HasDtype<cf>(x)) {
            CheckVector<cf>(x, "x");
            Borrowed<VELA::VecCplx32> in(x);
            MaybeReleased(release, [&] { s.Apply(out, in); });
        } else if (HasDtype<float>(x)) {
            CheckVector<float>(x, "x");
            Borrowed<VELA::VecReal32> in(x);
            MaybeReleased(release, [&] { s.Apply(out, in); });
        } else {
            throw py::type_error("x: expected dtype complex64 or float32, got " + DtypeName(x));
        }
        return ToNumpy(out);
    }

    // Below this many points one spectrum takes less time than handing the GIL to another thread and
    // getting it back (bench/python_threads.py --work spectrum).
    static constexpr int kKeepGilBelow = 16384;

  private:
    template <class F>
    static void MaybeReleased(bool release, F&& f) {
        if (release)
            Released(f);
        else
            f();
    }

    template <class T, class Vec>
    py::array Rows(const py::array& x) {
        const int n = s.GetSize();
        const auto rows = x.shape(0);
        const T* src = static_cast<const T*>(x.data());
        // Every row gives N values (the complex spectrum in display order, or the full real spectrum);
        // the result is allocated with the GIL held, then filled without it.
        py::array_t<float> result({rows, static_cast<py::ssize_t>(n)});
        float* dst = result.mutable_data();
        Released([&] {
            for (py::ssize_t r = 0; r < rows; ++r) {
                Borrowed<Vec> in(src + r * n, n);
                s.Apply(out, in);
                std::memcpy(dst + r * n, out.Data(), sizeof(float) * static_cast<size_t>(out.GetSize()));
            }
        });
        return result;
    }

    py::array ApplyRows(const py::array& x) {
        const int n = s.GetSize();
        if (x.shape(1) != n)
            throw py::value_error("x: expected rows of " + std::to_string(n) + " samples, got " +
                                  std::to_string(x.shape(1)));
        if (!(x.flags() & py::array::c_style))
            throw py::value_error("x: array is not contiguous (pass numpy.ascontiguousarray(...))");
        if (HasDtype<cf>(x)) return Rows<cf, VELA::VecCplx32>(x);
        if (HasDtype<float>(x)) return Rows<float, VELA::VecReal32>(x);
        throw py::type_error("x: expected dtype complex64 or float32, got " + DtypeName(x));
    }
};

// The plan of a stepped measurement, as Init returns it.
struct SweepPlan {
    py::array freq_steps_hz, acq_spans_hz, num_samples, num_points;
    double actual_rbw_hz{}, actual_vbw_hz{};
    int upsample{}, stitch_rate{}, cispr_acq_num{};
    double noise_marker_correction_db{};
    int tunings() const { return static_cast<int>(freq_steps_hz.shape(0)); }
};

struct PyStepped {
    std::mutex mu;
    VELA::SteppedSpectrum ss;
    std::atomic<bool> abort{false};
    int tunings = 0;
    VELA::VecCplx32 block;
    VELA::VecReal32 mag, out, res;
    // Stitched traces of sweep() and sweep_detectors(), kept so that their capacity is reused.
    std::vector<float> trace;
    std::vector<std::vector<float>> traces;

    SweepPlan Init(double span, double center, double rbw, VELA::WindowType window, int points,
                   double acqSpan, double sampFreq, int acqSamples, VELA::DetectorType detector,
                   bool estimateOnly, double vbw, int cisprAcqBlocks) {
        ObjectLock lock(mu);
        VELA::VecReal64 freqSteps, acqSpans;
        VELA::VecInt32 numSamples, numPoints;
        double actualRBW = 0.0, actualVBW = vbw;
        SweepPlan p;
        Released([&] {
            ss.Init(freqSteps, acqSpans, numSamples, numPoints, actualRBW, actualVBW, span, center, rbw,
                    window, points, acqSpan, sampFreq, acqSamples, detector, estimateOnly, vbw,
                    cisprAcqBlocks);
            ss.GetUpsampleRate(p.upsample, p.stitch_rate);
            p.cispr_acq_num = ss.GetCISPRAcqNum();
            p.noise_marker_correction_db = ss.GetNoiseMarkerCorrection();
        });
        tunings = estimateOnly ? 0 : freqSteps.GetSize();
        p.freq_steps_hz = ToNumpy(freqSteps);
        p.acq_spans_hz = ToNumpy(acqSpans);
        p.num_samples = ToNumpy(numSamples);
        p.num_points = ToNumpy(numPoints);
        p.actual_rbw_hz = actualRBW;
        p.actual_vbw_hz = actualVBW;
        return p;
    }

    void CheckIndex(int index) const {
        // Without a plan the library itself refuses the call, with its own error.
        if (tunings > 0 && (index < 0 || index >= tunings))
            throw py::value_error("index: tuning " + std::to_string(index) + " outside the plan (0.." +
                                  std::to_string(tunings - 1) + ")");
    }

    void CheckAbort() {
        if (abort.exchange(false)) VELA_THROW(VELA::VELAErrorAbort);
    }

    py::array Apply(const py::handle& obj, int index) {
        ObjectLock lock(mu);
        CheckIndex(index);
        LoadVector(block, obj, "block");
        Released([&] { ss.Apply(out, block, index); });
        return ToNumpy(out);
    }
    py::array Apply1(const py::handle& obj, int index) {
        ObjectLock lock(mu);
        CheckIndex(index);
        LoadVector(block, obj, "block");
        Released([&] { ss.Apply1(mag, block, index); });
        return ToNumpy(mag);
    }
    py::array Apply2(const py::handle& obj, int index, VELA::DetectorType det) {
        ObjectLock lock(mu);
        CheckIndex(index);
        LoadVector(mag, obj, "magnitudes");
        Released([&] { ss.Apply2(out, mag, index, det); });
        return ToNumpy(out);
    }
    py::array Apply3(const py::handle& obj, int index, int acqIndex, VELA::DetectorType det) {
        ObjectLock lock(mu);
        CheckIndex(index);
        if (!VELA::CISPRDetector::IsCISPRDetector(det))
            throw py::value_error(
                "detector: expected a CISPR detector (CISPR_QUASI_PEAK, CISPR_AVERAGE, CISPR_PEAK)");
        LoadVector(mag, obj, "magnitudes");
        Released([&] { ss.Apply3(res, mag, index, acqIndex, det); });
        return ToNumpy(res);
    }

    // Views of the caller's blocks, one per tuning, checked and without a copy; `keep` holds the
    // arrays for as long as the views are used (and is released with the GIL held, by the caller).
    std::vector<std::unique_ptr<Borrowed<VELA::VecCplx32>>> BorrowBlocks(const py::sequence& blocks,
                                                                         std::vector<py::array>& keep) {
        const size_t n = py::len(blocks);
        if (static_cast<int>(n) != tunings)
            throw py::value_error("blocks: expected " + std::to_string(tunings) +
                                  " blocks (one per tuning), got " + std::to_string(n));
        std::vector<std::unique_ptr<Borrowed<VELA::VecCplx32>>> views;
        views.reserve(n);
        keep.reserve(n);
        for (size_t i = 0; i < n; ++i) {
            keep.push_back(AsArray(blocks[i], "blocks[i]"));
            CheckVector<cf>(keep.back(), "blocks[i]");
            views.push_back(std::make_unique<Borrowed<VELA::VecCplx32>>(keep.back()));
        }
        return views;
    }

    // One block per tuning through the one-call way; the traces concatenated.
    //
    // A sweep neither copies the blocks nor grows fresh buffers: it reads the caller's arrays in place
    // and stitches into a trace buffer that the object keeps. Per-sweep copies of a few megabytes were
    // what kept two threads from running side by side: glibc gives each thread its own arena and hands
    // a freed arena's top back to the kernel, so every sweep in a thread faulted its buffers in again
    // (about a hundred page faults a sweep), and those faults serialise on the process's page tables.
    py::array Sweep(const py::sequence& blocks) {
        ObjectLock lock(mu);
        std::vector<py::array> keep;
        auto in = BorrowBlocks(blocks, keep);
        trace.clear();
        abort = false;
        Released([&] {
            for (size_t i = 0; i < in.size(); ++i) {
                CheckAbort();
                ss.Apply(out, *in[i], static_cast<int>(i));
                trace.insert(trace.end(), out.Data(), out.Data() + out.GetSize());
            }
        });
        py::array_t<float> result(static_cast<py::ssize_t>(trace.size()));
        if (!trace.empty()) std::memcpy(result.mutable_data(), trace.data(), trace.size() * sizeof(float));
        return result;
    }

    // One block per tuning through Apply1 and, per detector, Apply2; one trace per detector.
    py::list SweepDetectors(const py::sequence& blocks, const std::vector<VELA::DetectorType>& dets) {
        ObjectLock lock(mu);
        if (dets.empty()) throw py::value_error("detectors: at least one detector");
        std::vector<py::array> keep;
        auto in = BorrowBlocks(blocks, keep);
        if (traces.size() < dets.size()) traces.resize(dets.size());
        for (auto& t : traces)
            t.clear();
        abort = false;
        Released([&] {
            for (size_t i = 0; i < in.size(); ++i) {
                CheckAbort();
                ss.Apply1(mag, *in[i], static_cast<int>(i));
                for (size_t d = 0; d < dets.size(); ++d) {
                    ss.Apply2(out, mag, static_cast<int>(i), dets[d]);
                    traces[d].insert(traces[d].end(), out.Data(), out.Data() + out.GetSize());
                }
            }
        });
        py::list result;
        for (size_t d = 0; d < dets.size(); ++d) {
            const auto& t = traces[d];
            py::array_t<float> a(static_cast<py::ssize_t>(t.size()));
            if (!t.empty()) std::memcpy(a.mutable_data(), t.data(), t.size() * sizeof(float));
            result.append(a);
        }
        return result;
    }

    // The CISPR sequence: per tuning, GetCISPRAcqNum() acquisitions each through Apply1 and, per CISPR
    // detector, Apply3; then Apply2 of each detector's result. `source` is either a sequence with one
    // block per tuning (a stationary signal: the block is reused for every acquisition) or a callable
    // source(tuning, acquisition) returning the block of that acquisition.
    py::list CISPRSweep(const py::object& source, const std::vector<VELA::DetectorType>& dets) {
        if (dets.empty()) throw py::value_error("detectors: at least one detector");
        for (auto d : dets)
            if (!VELA::CISPRDetector::IsCISPRDetector(d))
                throw py::value_error(
                    "detectors: expected CISPR detectors (CISPR_QUASI_PEAK, CISPR_AVERAGE, CISPR_PEAK)");
        const bool callable = PyCallable_Check(source.ptr()) != 0;
        std::vector<VELA::VecCplx32> fixed;
        if (!callable) {
            if (!py::isinstance<py::sequence>(source))
                throw py::type_error(
                    "source: expected a sequence of blocks or a callable(tuning, acquisition)");
            py::sequence seq = py::reinterpret_borrow<py::sequence>(source);
            if (static_cast<int>(py::len(seq)) != tunings)
                throw py::value_error("source: expected " + std::to_string(tunings) +
                                      " blocks (one per tuning)");
            fixed.resize(py::len(seq));
            for (size_t i = 0; i < fixed.size(); ++i)
                LoadVector(fixed[i], seq[i], "source[i]");
        }
        VELA::VecCplx32 callBlock;
        int acqNum = 0;
        {
            ObjectLock lock(mu);
            acqNum = ss.GetCISPRAcqNum();
        }
        std::vector<VELA::VecReal32> results(dets.size());
        std::vector<std::vector<float>> traces(dets.size());
        abort = false;
        for (int i = 0; i < tunings; ++i) {
            for (int a = 0; a < acqNum; ++a) {
                // The callable runs without the object's lock, so it may itself use this object's
                // getters; its block goes into a local vector for the same reason.
                if (callable) LoadVector(callBlock, source(i, a), "source(tuning, acquisition)");
                const VELA::VecCplx32& in = callable ? callBlock : fixed[static_cast<size_t>(i)];
                ObjectLock lock(mu);
                Released([&] {
                    CheckAbort();
                    ss.Apply1(mag, in, i);
                    for (size_t d = 0; d < dets.size(); ++d)
                        ss.Apply3(results[d], mag, i, a, dets[d]);
                });
            }
            ObjectLock lock(mu);
            Released([&] {
                for (size_t d = 0; d < dets.size(); ++d) {
                    ss.Apply2(out, results[d], i, dets[d]);
                    traces[d].insert(traces[d].end(), out.Data(), out.Data() + out.GetSize());
                }
            });
        }
        py::list result;
        for (auto& t : traces) {
            py::array_t<float> arr(static_cast<py::ssize_t>(t.size()));
            if (!t.empty()) std::memcpy(arr.mutable_data(), t.data(), t.size() * sizeof(float));
            result.append(arr);
        }
        return result;
    }
};

struct PyCISPR {
    explicit PyCISPR(double f) : d(f) {}
    std::mutex mu;
    VELA::CISPRDetector d;
    VELA::VecReal32 in, out;
};

struct PyZoom {
    std::mutex mu;
    VELA::DigitalZoom z;
    VELA::VecCplx32 in;
    VELA::VecReal32 out;
};

struct PySource {
    std::mutex mu;
    VELA::DigitalSource s;
    VELA::VecCplx32 in, out;
};

}  // namespace

void RegisterMeasurements(py::module_& m) {
    py::class_<PySpectrum>(m, "Spectrum",
                           "Single-shot magnitude spectrum of one block in display order (zero frequency at "
                           "index N//2). A complex tone of amplitude A on a bin centre reads A (0 dB for 1).")
        .def(py::init([](int size, VELA::WindowType window, float para) {
                 return MakeReleased<PySpectrum>(size, window, para);
             }),
             py::arg("size"), py::arg("window") = VELA::WindowTypeHann, py::arg("window_para") = 0.0f,
             "size: N points (samples); window: the taper (built with its kind's default parameter).")
        .def("apply", &PySpectrum::Apply, py::arg("x"),
             "Spectrum of exactly N samples (complex64, or float32 for the full N-bin real spectrum); "
             "float32 out, dB or linear magnitude by `unit`. A two-dimensional x of shape (B, N) is a "
             "batch of B blocks, one per row, giving a (B, N) result: the GIL is released once for the "
             "whole batch, so threads running batches of short spectra work in parallel.")
        .def_property_readonly(
            "size", [](PySpectrum& s) { return s.s.GetSize(); }, "N (samples).")
        .def_property(
            "unit", [](PySpectrum&) -> py::object { return py::none(); },
            [](PySpectrum& s, VELA::PowerUnit u) {
                ObjectLock lock(s.mu);
                s.s.SetUnit(u);
            },
            "Output unit (write-only): PowerUnit.DB, anything else is linear magnitude.");

    py::class_<SweepPlan>(m, "SweepPlan", "The plan of a stepped measurement.")
        .def_readonly("freq_steps_hz", &SweepPlan::freq_steps_hz,
                      "Tuning (centre) frequency of each step, Hz.")
        .def_readonly("acq_spans_hz", &SweepPlan::acq_spans_hz, "Span acquired at each tuning, Hz.")
        .def_readonly("num_samples", &SweepPlan::num_samples, "Complex samples to acquire at each tuning.")
        .def_readonly("num_points", &SweepPlan::num_points, "Trace points each tuning delivers.")
        .def_readonly("actual_rbw_hz", &SweepPlan::actual_rbw_hz,
                      "Resolution bandwidth of the block length, Hz.")
        .def_readonly("actual_vbw_hz", &SweepPlan::actual_vbw_hz,
                      "Video bandwidth, Hz (0 where the hardware block length overrides it).")
        .def_readonly("upsample", &SweepPlan::upsample, "Chirp-Z bins per grid point.")
        .def_readonly("stitch_rate", &SweepPlan::stitch_rate, "Grid points per delivered point.")
        .def_readonly("cispr_acq_num", &SweepPlan::cispr_acq_num,
                      "Acquisitions per tuning with a CISPR detector.")
        .def_readonly("noise_marker_correction_db", &SweepPlan::noise_marker_correction_db,
                      "dB taking a noise reading to a 1 Hz bandwidth.")
        .def_property_readonly("tunings", &SweepPlan::tunings, "Number of tunings.")
        .def("__repr__", [](const SweepPlan& p) {
            return "SweepPlan(tunings=" + std::to_string(p.tunings()) +
                   ", actual_rbw_hz=" + std::to_string(p.actual_rbw_hz) + ")";
        });

    py::class_<PyStepped>(m, "SteppedSpectrum",
                          "Spectrum over a span wider than one acquisition, measured tuning by tuning and "
                          "stitched into one trace. Call init() for a plan, acquire plan.num_samples[i] "
                          "complex64 samples at plan.freq_steps_hz[i], and feed them in plan order.")
        .def(py::init<>())
        .def("init", &PyStepped::Init, py::kw_only(), py::arg("span_hz"), py::arg("center_freq_hz"),
             py::arg("rbw_hz"), py::arg("window") = VELA::WindowTypeGauss, py::arg("points"),
             py::arg("acq_span_hz"), py::arg("samp_freq_hz"), py::arg("acq_samples") = 0,
             py::arg("detector") = VELA::DetectorMax, py::arg("estimate_only") = false,
             py::arg("vbw_hz") = 0.0, py::arg("cispr_acq_blocks") = 0,
             "Plans the measurement and returns a SweepPlan. acq_span_hz and samp_freq_hz describe one "
             "acquisition of the hardware; acq_samples 0 lets the plan choose the block length; vbw_hz 0 "
             "means no video bandwidth; cispr_acq_blocks > 0 replaces the computed CISPR acquisition count.")
        .def("apply", &PyStepped::Apply, py::arg("block"), py::arg("index"),
             "One tuning's block (complex64) -> its display points with the init detector (float32).")
        .def("apply1", &PyStepped::Apply1, py::arg("block"), py::arg("index"),
             "First stage: raw magnitudes of this tuning's bins (input of apply2/apply3).")
        .def("apply2", &PyStepped::Apply2, py::arg("magnitudes"), py::arg("index"), py::arg("detector"),
             "Second stage: display points of this tuning with `detector`, which also becomes the "
             "detector of a later apply() or sweep().")
        .def("apply3", &PyStepped::Apply3, py::arg("magnitudes"), py::arg("index"), py::arg("acq_index"),
             py::arg("detector"), "CISPR stage: acquisition acq_index through a CISPR detector.")
        .def("sweep", &PyStepped::Sweep, py::arg("blocks"),
             "A whole sweep, one block per tuning, with the init detector (or the detector of the last "
             "apply2 or sweep_detectors, which replaces it); the concatenated trace. The blocks are read in "
             "place, with the GIL released for the processing.")
        .def("sweep_detectors", &PyStepped::SweepDetectors, py::arg("blocks"), py::arg("detectors"),
             "A whole sweep by the two-stage way: one trace per detector in `detectors`. The last of them "
             "becomes the detector of a later sweep() or apply(), as with apply2.")
        .def("cispr_sweep", &PyStepped::CISPRSweep, py::arg("source"), py::arg("detectors"),
             "The CISPR sequence: per tuning plan.cispr_acq_num acquisitions through each CISPR detector, "
             "then the display points. `source` is a sequence of one block per tuning (reused for every "
             "acquisition) or a callable source(tuning, acquisition) -> block. One trace per detector.")
        .def(
            "request_abort", [](PyStepped& s) { s.abort = true; },
            "Asks a running sweep (from another thread) to stop before its next block; it raises "
            "corvane.Error with code ErrorCode.ABORT.")
        .def(
            "set_unit",
            [](PyStepped& s, VELA::PowerUnit u) {
                ObjectLock lock(s.mu);
                s.ss.SetUnit(u);
            },
            py::arg("unit"), "Output unit: DB, DB_PLUS_10 or LINEAR.")
        .def_static(
            "gen_cw",
            [](double normFreq, int n) {
                if (n < 0) throw py::value_error("n: must not be negative");
                VELA::VecCplx32 v;
                VELA::SteppedSpectrum::GenCW(v, normFreq, n);
                return ToNumpy(v);
            },
            py::arg("norm_freq"), py::arg("n"),
            "Unit complex tone of norm_freq cycles per sample, n samples.")
        .def_static(
            "gen_noise",
            [](int n) {
                if (n < 0) throw py::value_error("n: must not be negative");
                VELA::VecCplx32 v;
                VELA::SteppedSpectrum::GenNoise(v, n);
                return ToNumpy(v);
            },
            py::arg("n"), "Uniform noise in [-0.5, 0.5) per part, n samples, the same at every call.");

    py::class_<VELA::VideoBandwidth>(m, "VideoBandwidth", "Data factor of a video bandwidth.")
        .def(py::init<>())
        .def(
            "samples", [](const VELA::VideoBandwidth& v, double ratio) { return v.GetSamples(ratio); },
            py::arg("ratio"), "Data factor for ratio = video bandwidth / resolution bandwidth.")
        .def(
            "samples_for_block",
            [](const VELA::VideoBandwidth& v, double ratio, int samples) {
                return v.GetSamples(ratio, samples);
            },
            py::arg("ratio"), py::arg("samples"),
            "Samples needed when one block has `samples`: trunc(samples(ratio) * samples + 0.5).");

    py::class_<PyCISPR>(m, "CISPRDetector",
                        "CISPR quasi-peak, average and peak detection over successive spectra.")
        .def(py::init<double>(), py::arg("freq_hz"), "Takes the time constants of the band of freq_hz.")
        .def(
            "apply",
            [](PyCISPR& s, const py::handle& spectrum, int index, int count, VELA::DetectorType det) {
                ObjectLock lock(s.mu);
                if (!VELA::CISPRDetector::IsCISPRDetector(det))
                    throw py::value_error(
                        "detector: expected a CISPR detector (CISPR_QUASI_PEAK, CISPR_AVERAGE, CISPR_PEAK)");
                LoadVector(s.in, spectrum, "spectrum");
                Released([&] { s.d.Apply(s.out, s.in, index, count, det); });
                return ToNumpy(s.out);
            },
            py::arg("spectrum"), py::arg("index"), py::arg("count"), py::arg("detector"),
            "One acquisition: `spectrum` (float32), acquisition `index` of `count`; returns the detector "
            "output so far.")
        .def_property_readonly(
            "qp_buffer",
            [](PyCISPR& s) {
                VELA::VecReal32 v;
                ObjectLock lock(s.mu);
                s.d.GetQPBuf(v);
                return ToNumpy(v);
            },
            "Meter output of the last quasi-peak step (without the maximum hold).")
        .def_static("is_cispr_detector", &VELA::CISPRDetector::IsCISPRDetector, py::arg("detector"),
                    "Whether `detector` is one of the three CISPR detectors.")
        .def_static(
            "six_db_bandwidth",
            [](double freq, VELA::DetectorType det) {
                double nominal = 0, lo = 0, hi = 0;
                VELA::CISPRDetector::Get6dBBW(nominal, lo, hi, freq, det);
                return py::make_tuple(nominal, lo, hi);
            },
            py::arg("freq_hz"), py::arg("detector"),
            "(nominal, lowest, highest) 6 dB bandwidth in Hz of the band of freq_hz.")
        .def(
            "hw_acq_parameters",
            [](PyCISPR& s, double rbw, std::optional<double> freq) {
                double t = 0;
                int num = 0;
                ObjectLock lock(s.mu);
                if (freq)
                    s.d.GetHWAcqParameters(t, num, *freq, rbw);
                else
                    s.d.GetHWAcqParameters(t, num, rbw);
                return py::make_tuple(t, num);
            },
            py::arg("rbw_hz"), py::arg("freq_hz") = py::none(),
            "(time per acquisition in s, number of acquisitions) for rbw_hz.");

    py::class_<PyZoom>(m, "DigitalZoom", "Zoomed spectrum of a span inside a wider complex capture.")
        .def(py::init([](double c, double sp, double fs) {
                 auto z = std::make_unique<PyZoom>();
                 Released([&] { z->z.SetSource(c, sp, fs); });
                 return z;
             }),
             py::kw_only(), py::arg("src_center_hz"), py::arg("src_span_hz"), py::arg("src_samp_freq_hz"),
             "The source's centre, span and sample rate (Hz).")
        .def(
            "set_source",
            [](PyZoom& s, double c, double sp, double fs) {
                ObjectLock lock(s.mu);
                Released([&] { s.z.SetSource(c, sp, fs); });
            },
            py::kw_only(), py::arg("src_center_hz"), py::arg("src_span_hz"), py::arg("src_samp_freq_hz"),
            "A new source (Hz); a change clears the zoom and returns the unit to dB.")
        .def(
            "set_parameters",
            [](PyZoom& s, double c, double sp, double rbw, VELA::WindowType w, double para) {
                ObjectLock lock(s.mu);
                int n = 0;
                // Plans the zoom's chirp-Z transform.
                Released([&] { n = s.z.SetParameters(c, sp, rbw, w, para); });
                return n;
            },
            py::kw_only(), py::arg("center_hz"), py::arg("span_hz"), py::arg("rbw_hz"),
            py::arg("window") = VELA::WindowTypeGauss, py::arg("window_para") = 0.0,
            "Zoom to span_hz around center_hz; returns the input samples apply() needs, or -1 when the "
            "range is outside the source (the earlier zoom stays).")
        .def(
            "apply",
            [](PyZoom& s, const py::handle& x) {
                ObjectLock lock(s.mu);
                LoadVector(s.in, x, "x");
                double bw = 0;
                Released([&] { s.z.Apply(s.out, bw, s.in); });
                return py::make_tuple(ToNumpy(s.out), bw);
            },
            py::arg("x"), "(spectrum float32 low to high frequency, bin width in Hz) of a complex64 block.")
        .def(
            "set_unit",
            [](PyZoom& s, VELA::PowerUnit u) {
                ObjectLock lock(s.mu);
                s.z.SetUnit(u);
            },
            py::arg("unit"), "DB: 10 log10(power); anything else: linear power.");

    py::class_<PySource>(m, "DigitalSource", "Shifts and decimates a complex capture to a narrower span.")
        .def(py::init([](double c, double sp, double fs) {
                 auto z = std::make_unique<PySource>();
                 Released([&] { z->s.SetSource(c, sp, fs); });
                 return z;
             }),
             py::kw_only(), py::arg("src_center_hz"), py::arg("src_span_hz"), py::arg("src_samp_freq_hz"))
        .def(
            "set_source",
            [](PySource& s, double c, double sp, double fs) {
                ObjectLock lock(s.mu);
                Released([&] { s.s.SetSource(c, sp, fs); });
            },
            py::kw_only(), py::arg("src_center_hz"), py::arg("src_span_hz"), py::arg("src_samp_freq_hz"),
            "A new source (Hz); a change clears the setting until set_parameters.")
        .def(
            "set_parameters",
            [](PySource& s, double c, double sp) {
                ObjectLock lock(s.mu);
                int pad = 0;
                // Designs the source's filters.
                Released([&] { pad = s.s.SetParameters(c, sp); });
                return pad;
            },
            py::kw_only(), py::arg("center_hz"), py::arg("span_hz"),
            "Tunes to center_hz with span_hz; returns the pad (input samples consumed by the chain).")
        .def(
            "output_parameters",
            [](PySource& s, int inLen) {
                double fs = 0;
                int n = 0;
                ObjectLock lock(s.mu);
                s.s.GetOutputParameters(fs, n, inLen);
                return py::make_tuple(fs, n);
            },
            py::arg("in_len"), "(output sample rate in Hz, outputs) for in_len input samples.")
        .def_property_readonly(
            "samp_freq_hz", [](PySource& s) { return s.s.GetSampFreq(); }, "Output sample rate (Hz).")
        .def(
            "max_span_limit",
            [](PySource& s, double fs) {
                ObjectLock lock(s.mu);
                return s.s.GetMaxSpanLimit(fs);
            },
            py::arg("samp_freq_hz"), "The widest span (Hz) when the output rate may not exceed samp_freq_hz.")
        .def(
            "required_input_length",
            [](PySource& s, int outLen) {
                ObjectLock lock(s.mu);
                return s.s.GetRequiredOrigDataLen(outLen);
            },
            py::arg("out_len"), "Input samples needed for out_len outputs.")
        .def(
            "apply",
            [](PySource& s, const py::handle& x) {
                ObjectLock lock(s.mu);
                LoadVector(s.in, x, "x");
                Released([&] { s.s.Apply(s.out, s.in); });
                return ToNumpy(s.out);
            },
            py::arg("x"), "The block (complex64) shifted and decimated (complex64).");
}

}  // namespace corvane_py
