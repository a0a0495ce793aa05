// corvane-analyze: a stitched, RBW-correct spectrum trace of an IQ recording, from the command line.
//
// The recording stands in for the receiver. For each tuning of the SteppedSpectrum plan a
// DigitalSource shifts the wanted centre to zero and decimates to the tuner's rate, exactly as a
// receiver of the tuner span would deliver it; SteppedSpectrum then windows, transforms and stitches.
// Every tuning reads only the blocks it needs (pread of one block at a time), so the peak memory
// depends on the resolution bandwidth and the plan, never on the length of the recording.
//
// Three measurement paths exist, chosen by the detector (see kDetectors):
// - the block average path: every tuning runs over consecutive blocks of the whole recording (or of
//   --blocks of them); the blocks are reduced bin by bin over time (mean power, maximum, minimum or
//   the first block), then the trace detector groups bins into points (Apply2);
// - the block-based quasi-peak path (qp-block, cispr-avg, cispr-peak): acquisitions spaced by the
//   CISPR detector's acquisition time go through its quasi-peak, average or peak state (Apply3): the
//   library's block quasi-peak, a pre-compliance reading;
// - the receiver path (qp): the whole recording streams through EMIReceiver, the CISPR measuring
//   receiver on the sample stream (Gaussian IF filter of the band's 6 dB bandwidth, envelope,
//   quasi-peak detector and critically damped meter), every trace point a measuring frequency.
//
// Outputs are written to a temporary name beside the target and renamed into place when complete,
// so a failure never leaves a half-written file.
#include <corvane/corvane.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#ifndef CORVANE_ANALYZE_DEMO_SOURCE
#define CORVANE_ANALYZE_DEMO_SOURCE ""
#endif
#ifndef CORVANE_ANALYZE_DEMO_INSTALLED
#define CORVANE_ANALYZE_DEMO_INSTALLED ""
#endif

using namespace VELA;

namespace {

// Exit codes; --help lists them.
constexpr int kExitOk = 0;
constexpr int kExitUsage = 2;    // bad or contradictory arguments, a measurement the recording cannot give
constexpr int kExitInput = 3;    // the input file cannot be opened or is not a valid recording
constexpr int kExitFailure = 4;  // processing failed or an output file could not be written

// Every failure travels as one of these to main, which prints one line and exits with `code`.
struct Failure {
    int code;
    std::string message;
};
[[noreturn]] void Fail(int code, const std::string& message) {
    throw Failure{code, message};
}

std::string VelaText(const VELAException& e) {
    return e.message ? e.message : "library error";
}

// ---------------------------------------------------------------------------------------------- inputs

// A recording: complex samples at `rate` around `center`, read by position.
class Recording {
  public:
    virtual ~Recording() = default;
    // `n` samples from sample `first` into `out` (resized to n); the range lies inside [0, count).
    virtual void Read(int64_t first, int n, VecCplx32& out) = 0;
    // A second handle on the same recording, for a worker thread: handles keep read scratch of their
    // own, so two handles may read at the same time.
    virtual std::unique_ptr<Recording> Reopen() const = 0;
    double rate = 0.0;
    double center = 0.0;
    int64_t count = 0;
    std::string kind;
};

// Interleaved little-endian float32 I, Q pairs with no header.
class RawCf32Recording : public Recording {
  public:
    RawCf32Recording(const std::string& path, double sampleRate, double centerFreq) : path_(path) {
        fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd_ < 0) Fail(kExitInput, path + ": cannot open (" + std::strerror(errno) + ")");
        struct stat st {};
        if (::fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode)) Fail(kExitInput, path + ": not a regular file");
        if (st.st_size % 8 != 0)
            Fail(kExitInput, path + ": holds " + std::to_string(st.st_size) +
                                 " bytes, not a whole number of cf32 samples (8 bytes each)");
        if (st.st_size == 0) Fail(kExitInput, path + ": holds no samples");
        count = st.st_size / 8;
        rate = sampleRate;
        center = centerFreq;
        kind = "raw cf32";
    }
    ~RawCf32Recording() override {
        if (fd_ >= 0) ::close(fd_);
    }
    std::unique_ptr<Recording> Reopen() const override {
        return std::make_unique<RawCf32Recording>(path_, rate, center);
    }
    void Read(int64_t first, int n, VecCplx32& out) override {
        out.Resize(n);
        char* dst = reinterpret_cast<char*>(out.Data());
        size_t want = static_cast<size_t>(n) * 8;
        off_t at = static_cast<off_t>(first) * 8;
        while (want > 0) {
            const ssize_t got = ::pread(fd_, dst, want, at);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) Fail(kExitInput, path_ + ": read failed at byte " + std::to_string(at));
            dst += got;
            at += got;
            want -= static_cast<size_t>(got);
        }
    }

  private:
    std::string path_;
    int fd_ = -1;
};

// An .iqt capture: frames of FFTPoints samples, read a frame range at a time.
class IqtRecording : public Recording {
  public:
    explicit IqtRecording(const std::string& path) : path_(path) {
        try {
            reader_ = std::make_unique<IQTReader>(path.c_str());
        } catch (const VELAException& e) {
            Fail(kExitInput, path + ": " + VelaText(e));
        }
        fftPoints_ = reader_->GetFFTPoints();
        count = static_cast<int64_t>(reader_->GetNofValidFrames()) * fftPoints_;
        if (fftPoints_ <= 0 || count <= 0) Fail(kExitInput, path + ": the capture holds no samples");
        if (!(reader_->GetFrameLength() > 0.0))
            Fail(kExitInput, path + ": \"FrameLength\" is missing or not positive, so the rate is unknown");
        rate = reader_->GetSamplingFrequency();
        center = reader_->GetCenterFrequency();
        if (!std::isfinite(rate) || !std::isfinite(center))
            Fail(kExitInput, path + ": the sample rate or centre frequency is not a finite number");
        kind = ".iqt";
    }
    std::unique_ptr<Recording> Reopen() const override { return std::make_unique<IqtRecording>(path_); }
    void Read(int64_t first, int n, VecCplx32& out) override {
        const int64_t f0 = first / fftPoints_;
        const int64_t f1 = (first + n - 1) / fftPoints_;
        const int frames = static_cast<int>(f1 - f0 + 1);
        if (static_cast<int>(headers_.size()) < frames) headers_.resize(static_cast<size_t>(frames));
        try {
            if (!reader_->GetIQData(static_cast<int>(f0), frames, headers_.data(), frameData_))
                Fail(kExitInput, path_ + ": frames " + std::to_string(f0) + " and on cannot be read");
        } catch (const VELAException& e) {
            Fail(kExitInput, path_ + ": " + VelaText(e));
        }
        const int skip = static_cast<int>(first - f0 * fftPoints_);
        out.Resize(n);
        std::memcpy(static_cast<void*>(out.Data()), frameData_.Data() + skip,
                    sizeof(Cplx32) * static_cast<size_t>(n));
    }

  private:
    std::string path_;
    std::unique_ptr<IQTReader> reader_;
    int fftPoints_ = 0;
    std::vector<FrameHeader> headers_;
    VecCplx32 frameData_;
};

// A SigMF recording: the reader converts every datatype to float as it reads.
class SigMFRecording : public Recording {
  public:
    explicit SigMFRecording(const std::string& path) : path_(path) {
        try {
            reader_ = std::make_unique<SigMFReader>(path);
        } catch (const VELAException& e) {
            Fail(kExitInput, path + ": " + VelaText(e));
        }
        count = reader_->GetSampleCount();
        if (count <= 0) Fail(kExitInput, path + ": the recording holds no samples");
        rate = reader_->GetSampleRate();
        center = reader_->GetCenterFrequency();
        kind = "SigMF " + reader_->GetDatatype();
    }
    std::unique_ptr<Recording> Reopen() const override { return std::make_unique<SigMFRecording>(path_); }
    void Read(int64_t first, int n, VecCplx32& out) override {
        try {
            reader_->Read(first, n, out);
        } catch (const VELAException& e) {
            Fail(kExitInput, path_ + ": " + VelaText(e));
        }
    }

  private:
    std::string path_;
    std::unique_ptr<SigMFReader> reader_;
};

bool EndsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

bool IsFile(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// ------------------------------------------------------------------------------------------- arguments

enum class MeasurementPath {
    BlockAverage,    // blocks reduced over time, then trace detection (Apply1, Apply2)
    BlockQuasiPeak,  // acquisitions through CISPRDetector's block quasi-peak/average/peak (Apply3)
    Receiver,        // the sample stream through EMIReceiver's quasi-peak chain
};

// How the blocks of one tuning are reduced, bin by bin, before the trace detector runs.
enum class TimeReduction { MeanPower, Maximum, Minimum, MaxAndMin, FirstBlock, Detector };

struct DetectorChoice {
    const char* name;
    DetectorType type;
    MeasurementPath path;
    TimeReduction reduction;
    const char* help;
};

const DetectorChoice kDetectors[] = {
    {"mean", DetectorAve, MeasurementPath::BlockAverage, TimeReduction::MeanPower,
     "mean power (noise measurements)"},
    {"peak", DetectorMax, MeasurementPath::BlockAverage, TimeReduction::Maximum, "maximum (max hold)"},
    {"min", DetectorMin, MeasurementPath::BlockAverage, TimeReduction::Minimum, "minimum (min hold)"},
    {"max-min", DetectorMaxMin, MeasurementPath::BlockAverage, TimeReduction::MaxAndMin,
     "maximum and minimum: two level columns"},
    {"rms", DetectorRms, MeasurementPath::BlockAverage, TimeReduction::MeanPower, "root mean square"},
    {"sample", DetectorSample, MeasurementPath::BlockAverage, TimeReduction::FirstBlock,
     "first bin of each point, first block only"},
    {"qp", DetectorCISPRQuasiPeak, MeasurementPath::Receiver, TimeReduction::Detector,
     "CISPR quasi-peak of a measuring receiver on the sample stream"},
    {"qp-block", DetectorCISPRQuasiPeak, MeasurementPath::BlockQuasiPeak, TimeReduction::Detector,
     "block-based CISPR quasi-peak (CISPR window)"},
    {"cispr-avg", DetectorCISPRAverage, MeasurementPath::BlockQuasiPeak, TimeReduction::Detector,
     "CISPR average over acquisitions"},
    {"cispr-peak", DetectorCISPRPeak, MeasurementPath::BlockQuasiPeak, TimeReduction::Detector,
     "CISPR peak over acquisitions"},
};

struct WindowChoice {
    const char* name;
    WindowType type;
};
const WindowChoice kWindows[] = {
    {"uniform", WindowTypeUniform}, {"blackman-harris", WindowTypeBlackmanHarris},
    {"flattop", WindowTypeFlatTop}, {"hann", WindowTypeHann},
    {"gauss", WindowTypeGauss},     {"cispr", WindowTypeCISPR6dB},
    {"kaiser", WindowTypeKaiser},
};

struct Options {
    std::string input;
    bool haveRate = false, haveCenter = false, haveSpan = false, haveStart = false, haveStop = false;
    double rate = 0.0, center = 0.0, span = 0.0, start = 0.0, stop = 0.0;
    double rbw = 0.0;  // 0: automatic
    double vbw = 0.0;
    double tunerSpan = 0.0;  // 0: the recording's rate (one tuning, no decimation)
    int points = 1001;
    bool haveWindow = false;
    WindowType window = WindowTypeFlatTop;
    const char* windowName = "flattop";
    const DetectorChoice* detector = &kDetectors[1];
    PowerUnit unit = PowerUnitDB;
    int64_t maxBlocks = 0;  // 0: all the recording holds
    int threads = 0;        // 0: automatic (DefaultThreads)
    bool haveBand = false;  // qp: the CISPR band, else the band of the span's centre
    EMIBand band = EMIBand::B;
    std::string csv, mat, png;
    std::string wisdom;  // FFTW wisdom file; empty: plans estimated afresh in every run
    bool quiet = false, verbose = false, help = false;
};

void PrintHelp() {
    std::printf(
        "Usage: corvane-analyze [INPUT] [options]\n"
        "\n"
        "Measures a spectrum trace of an IQ recording: stepped over tunings, stitched, with a real\n"
        "resolution bandwidth and a trace detector. Without INPUT it analyses the small demo recording\n"
        "that ships with Corvane.\n"
        "\n"
        "Input (chosen by name):\n"
        "  NAME.sigmf-meta | NAME.sigmf-data | NAME   SigMF recording (when NAME.sigmf-meta exists)\n"
        "  NAME.iqt                                   .iqt capture\n"
        "  anything else                              raw interleaved cf32 (float32 I, Q), which needs\n"
        "      --rate HZ         its sample rate\n"
        "      --center HZ       its centre frequency (default 0); also the measurement centre when\n"
        "                        --span is given\n"
        "\n"
        "Measurement (frequencies in Hz; suffixes k, M, G allowed: 2.5M):\n"
        "  --start HZ --stop HZ  the span by its edges, or\n"
        "  --center HZ --span HZ by centre and width (default: the recording's whole band)\n"
        "  --rbw HZ              resolution bandwidth (default span/500, widened if the recording is too\n"
        "                        short for one block)\n"
        "  --vbw HZ              video bandwidth (0: none, the default)\n"
        "  --points N            trace points (default 1001)\n"
        "  --window NAME         uniform, blackman-harris, flattop (default), hann, gauss, cispr, kaiser\n"
        "  --detector NAME       mean, peak (default), min, max-min, rms, sample, qp, qp-block,\n"
        "                        cispr-avg, cispr-peak. qp is a CISPR measuring receiver on the\n"
        "                        sample stream (its band's IF bandwidth, quasi-peak detector and meter,\n"
        "                        the whole recording); qp-block, cispr-avg and cispr-peak are the\n"
        "                        block-based CISPR detectors and use the cispr window\n"
        "  --band A|B|CD         qp: the CISPR band (default: the band of the span's centre; A 9-150 kHz\n"
        "                        B6 200 Hz, B 0.15-30 MHz 9 kHz, C/D 30-1000 MHz 120 kHz)\n"
        "  --unit dB|linear      level unit (default dB: 0 dB is a tone of amplitude 1.0)\n"
        "  --tuner-span HZ       span of one tuning (default: the recording's rate, one tuning); a smaller\n"
        "                        span steps a decimating tuner across the band\n"
        "  --blocks N            at most N blocks (acquisitions) per tuning (default: all the recording\n"
        "                        holds); qp: at most N blocks of 65536 samples\n"
        "  --threads N           worker threads for the block detectors (mean, peak, min, max-min, rms);\n"
        "                        default: the number of cores, at most 4. The trace is the same for\n"
        "                        every N and every run (with --fft-wisdom, for the plans kept in its\n"
        "                        file); the CISPR detectors and qp always run on one thread\n"
        "\n"
        "Output (without any, the CSV goes to standard output):\n"
        "  -o, --csv FILE        CSV: frequency_Hz,level (max-min: frequency_Hz,max,min)\n"
        "  --mat FILE            MAT-file with the variables frequency, level (and level_min), rbw, unit\n"
        "  --png FILE            plot of the trace (needs octave-cli on PATH)\n"
        "  --fft-wisdom FILE     keep the Fourier transforms' plans (FFTW wisdom) in FILE: read when it\n"
        "                        exists, and the plans are then measured, not estimated; written back when\n"
        "                        this run made new ones. A first run spends about a second per new\n"
        "                        transform length measuring; later runs transform faster (on this\n"
        "                        machine's FFTW only: the file is not portable)\n"
        "  -q, --quiet           no progress bar and no summary on standard error\n"
        "  -v, --verbose         the plan (tunings, RBW, blocks) on standard error\n"
        "  -h, --help            this text\n"
        "\n"
        "A progress bar is drawn on standard error when it is a terminal, and cleared at the end.\n"
        "\n"
        "Exit codes:\n"
        "  0  success\n"
        "  2  bad arguments, or a measurement the recording cannot give\n"
        "  3  the input cannot be opened or is not a valid recording\n"
        "  4  processing failed, or an output file could not be written (none is left behind)\n"
        "\n"
        "Examples:\n"
        "  corvane-analyze --png demo.png\n"
        "  corvane-analyze capture.sigmf-meta --center 100M --span 2M --rbw 1k -o trace.csv\n"
        "  corvane-analyze capture.iqt --detector mean --window hann --unit linear --mat trace.mat\n"
        "  corvane-analyze capture.cf32 --rate 10M --center 433.92M --start 431M --stop 437M \\\n"
        "      --tuner-span 2.5M --detector max-min -o trace.csv\n"
        "  corvane-analyze emi.sigmf-meta --start 30M --stop 300M --rbw 120k --detector qp --png qp.png\n");
}

// A frequency or bandwidth: a decimal number with an optional k, M or G; finite.
double ParseHz(const std::string& option, const char* text) {
    errno = 0;
    char* end = nullptr;
    double v = std::strtod(text, &end);
    if (end == text || errno == ERANGE) Fail(kExitUsage, option + ": \"" + text + "\" is not a number");
    if (*end == 'k' || *end == 'K') {
        v *= 1e3;
        ++end;
    } else if (*end == 'M') {
        v *= 1e6;
        ++end;
    } else if (*end == 'G') {
        v *= 1e9;
        ++end;
    }
    if (*end != '\0') Fail(kExitUsage, option + ": \"" + text + "\" is not a number");
    if (!std::isfinite(v)) Fail(kExitUsage, option + ": \"" + text + "\" is not finite");
    return v;
}

int64_t ParseCount(const std::string& option, const char* text, int64_t lo, int64_t hi) {
    errno = 0;
    char* end = nullptr;
    const long long v = std::strtoll(text, &end, 10);
    if (end == text || *end != '\0' || errno == ERANGE)
        Fail(kExitUsage, option + ": \"" + text + "\" is not a whole number");
    if (v < lo || v > hi)
        Fail(kExitUsage,
             option + ": " + text + " lies outside " + std::to_string(lo) + ".." + std::to_string(hi));
    return v;
}

Options ParseArguments(int argc, char** argv) {
    Options o;
    bool haveInput = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> const char* {
            if (i + 1 >= argc) Fail(kExitUsage, a + ": needs a value");
            return argv[++i];
        };
        if (a == "-h" || a == "--help") {
            o.help = true;
        } else if (a == "--rate") {
            o.rate = ParseHz(a, value());
            o.haveRate = true;
        } else if (a == "--center") {
            o.center = ParseHz(a, value());
            o.haveCenter = true;
        } else if (a == "--span") {
            o.span = ParseHz(a, value());
            o.haveSpan = true;
        } else if (a == "--start") {
            o.start = ParseHz(a, value());
            o.haveStart = true;
        } else if (a == "--stop") {
            o.stop = ParseHz(a, value());
            o.haveStop = true;
        } else if (a == "--rbw") {
            o.rbw = ParseHz(a, value());
            if (!(o.rbw > 0.0)) Fail(kExitUsage, "--rbw: must be positive");
        } else if (a == "--vbw") {
            o.vbw = ParseHz(a, value());
            if (o.vbw < 0.0) Fail(kExitUsage, "--vbw: must not be negative");
        } else if (a == "--tuner-span") {
            o.tunerSpan = ParseHz(a, value());
            if (!(o.tunerSpan > 0.0)) Fail(kExitUsage, "--tuner-span: must be positive");
        } else if (a == "--points") {
            o.points = static_cast<int>(ParseCount(a, value(), 2, 10000000));
        } else if (a == "--blocks") {
            o.maxBlocks = ParseCount(a, value(), 1, INT64_MAX);
        } else if (a == "--threads") {
            o.threads = static_cast<int>(ParseCount(a, value(), 1, 64));
        } else if (a == "--band") {
            const std::string v = value();
            if (v == "A" || v == "a")
                o.band = EMIBand::A;
            else if (v == "B" || v == "b")
                o.band = EMIBand::B;
            else if (v == "CD" || v == "cd" || v == "C/D" || v == "C" || v == "D")
                o.band = EMIBand::CD;
            else
                Fail(kExitUsage, "--band: unknown CISPR band \"" + v + "\" (A, B or CD)");
            o.haveBand = true;
        } else if (a == "--window") {
            const std::string v = value();
            const WindowChoice* found = nullptr;
            for (const WindowChoice& w : kWindows)
                if (v == w.name) found = &w;
            if (!found)
                Fail(kExitUsage, "--window: unknown window \"" + v +
                                     "\" (uniform, blackman-harris, flattop, hann, gauss, cispr, kaiser)");
            o.window = found->type;
            o.windowName = found->name;
            o.haveWindow = true;
        } else if (a == "--detector") {
            const std::string v = value();
            const DetectorChoice* found = nullptr;
            for (const DetectorChoice& d : kDetectors)
                if (v == d.name) found = &d;
            if (!found)
                Fail(kExitUsage, "--detector: unknown detector \"" + v +
                                     "\" (mean, peak, min, max-min, rms, sample, qp, qp-block, cispr-avg, "
                                     "cispr-peak)");
            o.detector = found;
        } else if (a == "--unit") {
            const std::string v = value();
            if (v == "dB" || v == "db")
                o.unit = PowerUnitDB;
            else if (v == "linear")
                o.unit = PowerUnitLinear;
            else
                Fail(kExitUsage, "--unit: unknown unit \"" + v + "\" (dB or linear)");
        } else if (a == "-o" || a == "--csv") {
            o.csv = value();
        } else if (a == "--mat") {
            o.mat = value();
        } else if (a == "--png") {
            o.png = value();
        } else if (a == "--fft-wisdom") {
            o.wisdom = value();
            if (o.wisdom.empty()) Fail(kExitUsage, "--fft-wisdom: needs a file name");
        } else if (a == "-q" || a == "--quiet") {
            o.quiet = true;
        } else if (a == "-v" || a == "--verbose") {
            o.verbose = true;
        } else if (a.size() > 1 && a[0] == '-') {
            Fail(kExitUsage, "unknown option \"" + a + "\" (see --help)");
        } else {
            if (haveInput) Fail(kExitUsage, "more than one input given (\"" + o.input + "\", \"" + a + "\")");
            o.input = a;
            haveInput = true;
        }
    }
    if (o.help) return o;
    if (o.haveStart != o.haveStop) Fail(kExitUsage, "--start and --stop go together");
    if (o.haveStart && o.haveSpan)
        Fail(kExitUsage, "give either --start/--stop or --center/--span, not both");
    if (o.haveStart && !(o.stop > o.start)) Fail(kExitUsage, "--stop must lie above --start");
    if (o.haveSpan && !(o.span > 0.0)) Fail(kExitUsage, "--span: must be positive");
    if (o.haveBand && o.detector->path != MeasurementPath::Receiver)
        Fail(kExitUsage, "--band applies to --detector qp only");
    if (o.detector->path == MeasurementPath::Receiver) {
        if (o.haveWindow)
            Fail(kExitUsage, "--detector qp filters with its band's IF filter; --window does not apply");
        if (o.vbw > 0.0) Fail(kExitUsage, "--detector qp has its own meter; --vbw does not apply");
        if (o.tunerSpan > 0.0)
            Fail(kExitUsage, "--detector qp reads the recording as it is; --tuner-span does not apply");
        o.windowName = "Gaussian IF";
    }
    if (o.detector->path == MeasurementPath::BlockQuasiPeak) {
        if (o.haveWindow && o.window != WindowTypeCISPR6dB)
            Fail(kExitUsage, std::string("--detector ") + o.detector->name + " needs --window cispr");
        o.window = WindowTypeCISPR6dB;
        o.windowName = "cispr";
    }
    const std::string* outs[] = {&o.csv, &o.mat, &o.png};
    for (const std::string* p : outs)
        if (p != outs[0] && !p->empty() && (*p == o.csv))
            Fail(kExitUsage, "two outputs name the same file \"" + *p + "\"");
    if (!o.mat.empty() && o.mat == o.png)
        Fail(kExitUsage, "two outputs name the same file \"" + o.mat + "\"");
    if (!o.wisdom.empty() && (o.wisdom == o.csv || o.wisdom == o.mat || o.wisdom == o.png))
        Fail(kExitUsage, "two outputs name the same file \"" + o.wisdom + "\"");
    return o;
}

// The demo recording: beside the source tree of the build, or installed beside the program.
std::string DemoRecording() {
    const std::string source = CORVANE_ANALYZE_DEMO_SOURCE;
    if (!source.empty() && IsFile(source)) return source;
    char self[4096];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        self[n] = '\0';
        std::string dir(self);
        dir = dir.substr(0, dir.rfind('/'));
        const std::string installed = dir + "/" + CORVANE_ANALYZE_DEMO_INSTALLED;
        if (IsFile(installed)) return installed;
    }
    Fail(kExitInput, "no input given and the demo recording is not installed");
}

std::unique_ptr<Recording> OpenRecording(Options& o) {
    std::string path = o.input.empty() ? DemoRecording() : o.input;
    if (EndsWith(path, ".iqt")) {
        if (o.haveRate) Fail(kExitUsage, "--rate applies to raw cf32 input only; the .iqt header gives it");
        return std::make_unique<IqtRecording>(path);
    }
    if (EndsWith(path, ".sigmf-meta") || EndsWith(path, ".sigmf-data") || IsFile(path + ".sigmf-meta")) {
        if (o.haveRate)
            Fail(kExitUsage, "--rate applies to raw cf32 input only; the SigMF metadata gives it");
        return std::make_unique<SigMFRecording>(path);
    }
    if (!o.haveRate) Fail(kExitUsage, "raw cf32 input needs --rate (its sample rate)");
    if (!(o.rate > 0.0)) Fail(kExitUsage, "--rate: must be positive");
    auto rec = std::make_unique<RawCf32Recording>(path, o.rate, o.haveCenter ? o.center : 0.0);
    return rec;
}

// ------------------------------------------------------------------------------------------- progress

// A one-line bar on standard error, drawn only when that is a terminal, at most ten times a second.
class Progress {
  public:
    Progress(bool enabled, int64_t total) : enabled_(enabled && ::isatty(2) && total > 0), total_(total) {}
    ~Progress() { Clear(); }
    void Step() {
        ++done_;
        if (!enabled_) return;
        const auto now = std::chrono::steady_clock::now();
        if (drawn_ && now - last_ < std::chrono::milliseconds(100) && done_ < total_) return;
        last_ = now;
        drawn_ = true;
        const int width = 40;
        const int filled = static_cast<int>(width * done_ / total_);
        char bar[width + 1];
        for (int i = 0; i < width; ++i)
            bar[i] = i < filled ? '#' : '.';
        bar[width] = '\0';
        std::fprintf(stderr, "\r[%s] %3d%% ", bar, static_cast<int>(100 * done_ / total_));
        std::fflush(stderr);
    }
    void Clear() {
        if (enabled_ && drawn_) {
            std::fprintf(stderr, "\r\033[K");
            std::fflush(stderr);
            drawn_ = false;
        }
    }

  private:
    bool enabled_;
    int64_t total_;
    int64_t done_ = 0;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point last_{};
};

// --------------------------------------------------------------------------------------- measurement

struct Trace {
    std::vector<double> frequency;
    std::vector<float> level;     // the detector's trace (max-min: the maxima)
    std::vector<float> levelMin;  // max-min only: the minima
    double actualRBW = 0.0;
    int tunings = 0;
    int64_t blocksPerTuning = 0;
    int64_t blocksWanted = 0;  // quasi-peak path: acquisitions the meter needs
};

// The measurement's plan and the tuner that serves it.
struct Plan {
    SteppedSpectrum spectrum;
    DigitalSource tuner;
    VecReal64 freqSteps, acqSpans;
    VecInt32 numSamples, numPoints;
    double actualRBW = 0.0;
    double tunerRate = 0.0;
    int64_t decimation = 1;
    double recordingCenter = 0.0;
};

// Plans the sweep; `cisprBlocks` > 0 limits the CISPR acquisitions per tuning.
void MakePlan(Plan& p, const Options& o, const Recording& rec, double start, double stop, double rbw,
              int cisprBlocks) {
    const double span = stop - start;
    const double center = 0.5 * (start + stop);
    // The tuner span is given to the plan in single precision (the plan rounds it so), and the tuner
    // must decimate for exactly that span.
    const double tunerSpan =
        static_cast<double>(static_cast<float>(o.tunerSpan > 0.0 ? o.tunerSpan : rec.rate));
    try {
        p.recordingCenter = rec.center;
        p.tuner.SetSource(rec.center, rec.rate, rec.rate);
        p.tuner.SetParameters(rec.center, tunerSpan);
        p.tunerRate = p.tuner.GetSampFreq();
        p.decimation = std::llround(rec.rate / p.tunerRate);
        // An estimate first: it says how many samples a block takes without designing the transform,
        // which for a resolution bandwidth far too narrow for the recording would be huge.
        double actualVBW = o.vbw;
        p.spectrum.Init(p.freqSteps, p.acqSpans, p.numSamples, p.numPoints, p.actualRBW, actualVBW, span,
                        center, rbw, o.window, o.points, tunerSpan, p.tunerRate, 0, o.detector->type, true,
                        o.vbw, cisprBlocks);
        int longest = 0;
        for (int i = 0; i < p.numSamples.GetSize(); ++i)
            longest = std::max(longest, p.numSamples[i]);
        const int64_t need = p.tuner.GetRequiredOrigDataLen(longest);
        if (need > rec.count)
            Fail(kExitUsage, "the recording holds " + std::to_string(rec.count) + " samples; RBW " +
                                 std::to_string(p.actualRBW) + " Hz needs " + std::to_string(need) +
                                 " per block: widen --rbw");
        actualVBW = o.vbw;
        p.spectrum.Init(p.freqSteps, p.acqSpans, p.numSamples, p.numPoints, p.actualRBW, actualVBW, span,
                        center, rbw, o.window, o.points, tunerSpan, p.tunerRate, 0, o.detector->type, false,
                        o.vbw, cisprBlocks);
        p.spectrum.SetUnit(o.unit);
    } catch (const VELAException& e) {
        Fail(kExitUsage, "the measurement cannot be planned: " + VelaText(e));
    }
}

// Input samples one block of tuning i takes, and the tuner set to that tuning.
int TuneTo(Plan& p, int i) {
    p.tuner.SetParameters(p.freqSteps[i], p.acqSpans[i]);
    return p.tuner.GetRequiredOrigDataLen(p.numSamples[i]);
}

// Tuning i's block from the recording's samples `raw`: shifted and decimated by the tuner into
// `block`, or `raw` itself when the tuning sits on the recording's centre without decimation (the
// tuner would only copy it, at the cost of a complex multiply per sample).
const VecCplx32& Tuned(Plan& p, int i, const VecCplx32& raw, VecCplx32& block) {
    if (p.decimation == 1 && p.freqSteps[i] == p.recordingCenter && raw.GetSize() == p.numSamples[i])
        return raw;
    p.tuner.Apply(block, raw);
    // The tuner may give one sample more than the plan asks (odd stage inputs).
    block.Resize(p.numSamples[i]);
    return block;
}

void CheckTuningsInBand(const Plan& p, const Recording& rec) {
    const double lo = rec.center - 0.5 * rec.rate, hi = rec.center + 0.5 * rec.rate;
    for (int i = 0; i < p.freqSteps.GetSize(); ++i) {
        if (p.freqSteps[i] < lo || p.freqSteps[i] > hi)
            Fail(kExitUsage, "tuning " + std::to_string(i) + " at " + std::to_string(p.freqSteps[i]) +
                                 " Hz lies outside the recording's band; narrow the span or --tuner-span");
    }
}

void Append(std::vector<float>& trace, const VecReal32& part) {
    for (int k = 0; k < part.GetSize(); ++k)
        trace.push_back(part[k]);
}

void PrintPlan(const Options& o, const Plan& p, const Trace& t) {
    if (!o.verbose) return;
    std::fprintf(stderr,
                 "plan: %d tunings, tuner rate %.17g Hz (decimation %lld), actual RBW %.17g Hz, %lld blocks "
                 "per tuning\n",
                 p.freqSteps.GetSize(), p.tunerRate, static_cast<long long>(p.decimation), p.actualRBW,
                 static_cast<long long>(t.blocksPerTuning));
    for (int i = 0; i < p.freqSteps.GetSize(); ++i)
        std::fprintf(stderr, "tuning %d: %.17g Hz, %d samples, %d points\n", i, p.freqSteps[i],
                     p.numSamples[i], p.numPoints[i]);
}

// The threads the block detectors use when --threads is not given: one per core, at most four (the
// workers share the recording's reads, and beyond a few cores the page cache's copying bounds them).
int DefaultThreads() {
    const unsigned cores = std::thread::hardware_concurrency();
    return static_cast<int>(std::clamp(cores, 1u, 4u));
}

// Adds block `b`'s magnitudes to the running reduction of its tuning: the first block starts it.
void ReduceBlock(std::vector<double>& acc, std::vector<double>& accMin, const float* mag, size_t m, int64_t b,
                 TimeReduction reduction) {
    if (b == 0) {
        acc.assign(m, 0.0);
        accMin.assign(m, 0.0);
        for (size_t k = 0; k < m; ++k) {
            const double v = mag[k];
            acc[k] = reduction == TimeReduction::MeanPower ? v * v : v;
            accMin[k] = v;
        }
        return;
    }
    switch (reduction) {
        case TimeReduction::MeanPower:
            for (size_t k = 0; k < m; ++k) {
                const double v = mag[k];
                acc[k] += v * v;
            }
            break;
        case TimeReduction::Maximum:
            for (size_t k = 0; k < m; ++k)
                acc[k] = std::max(acc[k], static_cast<double>(mag[k]));
            break;
        case TimeReduction::Minimum:
            for (size_t k = 0; k < m; ++k)
                acc[k] = std::min(acc[k], static_cast<double>(mag[k]));
            break;
        case TimeReduction::MaxAndMin:
            for (size_t k = 0; k < m; ++k) {
                acc[k] = std::max(acc[k], static_cast<double>(mag[k]));
                accMin[k] = std::min(accMin[k], static_cast<double>(mag[k]));
            }
            break;
        default:
            break;
    }
}

// One worker of the block average: a handle on the recording and a plan of its own (the transform's
// and the tuner's scratch live in their objects, which serve one thread at a time).
struct BlockWorker {
    std::unique_ptr<Recording> ownRec;
    std::unique_ptr<Plan> ownPlan;
    Recording* rec = nullptr;
    Plan* plan = nullptr;
    VecCplx32 span, raw, block;
    VecReal32 mag, spare;
};

// The most samples (8 bytes each) a worker reads at once for a chunk of blocks.
constexpr int64_t kChunkReadSamples = int64_t{1} << 17;

// The blocks of a tuning are cut into chunks of consecutive blocks. A worker claims the next chunk,
// transforms its blocks into one of a few slots, and hands it back; whoever hands back a chunk adds
// every finished chunk that is next in line to the shared reduction, block by block. So the sums are
// formed in the recording's order whatever the number of threads, and every thread count gives the
// same trace to the last bit. A worker waits only when the slots are all taken by chunks that wait
// for an earlier one, so a worker that the system holds back for a while does not stop the others.
class OrderedReduction {
  public:
    OrderedReduction(std::vector<double>& acc, std::vector<double>& accMin, TimeReduction reduction,
                     Progress& progress, int64_t chunks, int slots)
        : acc_(acc),
          accMin_(accMin),
          reduction_(reduction),
          progress_(progress),
          chunks_(chunks),
          slots_(static_cast<size_t>(slots)) {}

    struct Slot {
        std::vector<float> rows;  // `count` blocks of `m` magnitudes
        int64_t first = 0, count = 0;
        size_t m = 0;
        bool ready = false;
    };

    // The next chunk to transform and the slot for it, or -1 when all are taken or a worker failed.
    int64_t Claim(Slot*& slot) {
        std::unique_lock<std::mutex> lock(mutex_);
        turn_.wait(lock, [&] {
            return failed_ || claimed_ >= chunks_ || claimed_ - next_ < static_cast<int64_t>(slots_.size());
        });
        if (failed_ || claimed_ >= chunks_) return -1;
        slot = &slots_[static_cast<size_t>(claimed_ % static_cast<int64_t>(slots_.size()))];
        return claimed_++;
    }
    // Chunk `c`, transformed into its slot, joins the queue; the chunks next in line are reduced.
    void HandBack(int64_t c) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (failed_) return;
        slots_[static_cast<size_t>(c % static_cast<int64_t>(slots_.size()))].ready = true;
        for (;;) {
            Slot& s = slots_[static_cast<size_t>(next_ % static_cast<int64_t>(slots_.size()))];
            if (next_ >= claimed_ || !s.ready) break;
            if (s.first > 0 && acc_.size() != s.m) {
                // Every block of a tuning gives the same number of bins; anything else is a fault.
                failed_ = true;
                error_ =
                    std::make_exception_ptr(Failure{kExitFailure, "the blocks of a tuning differ in size"});
                break;
            }
            for (int64_t r = 0; r < s.count; ++r) {
                ReduceBlock(acc_, accMin_, s.rows.data() + static_cast<size_t>(r) * s.m, s.m, s.first + r,
                            reduction_);
                progress_.Step();
            }
            s.ready = false;
            ++next_;
        }
        turn_.notify_all();
    }
    void Fail(std::exception_ptr e) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!failed_) error_ = e;
        failed_ = true;
        turn_.notify_all();
    }
    void RethrowAnyFailure() {
        if (error_) std::rethrow_exception(error_);
    }

  private:
    std::vector<double>& acc_;
    std::vector<double>& accMin_;
    TimeReduction reduction_;
    Progress& progress_;
    const int64_t chunks_;
    std::vector<Slot> slots_;
    std::mutex mutex_;
    std::condition_variable turn_;
    int64_t claimed_ = 0;  // chunks handed out
    int64_t next_ = 0;     // the next chunk to reduce
    bool failed_ = false;
    std::exception_ptr error_;
};

// The block average path: consecutive blocks of the recording, reduced over time per bin.
void MeasureBlockAverage(Trace& t, const Options& o, Recording& rec, double start, double stop, double rbw) {
    const DetectorChoice& det = *o.detector;
    const bool twoTracks = det.reduction == TimeReduction::MaxAndMin;
    Plan p;
    MakePlan(p, o, rec, start, stop, rbw, 0);
    CheckTuningsInBand(p, rec);
    // The minimum track has its own plan, so that the carry between tunings of each trace comes from
    // that trace's own data.
    std::unique_ptr<Plan> minPlan;
    if (twoTracks) {
        minPlan = std::make_unique<Plan>();
        MakePlan(*minPlan, o, rec, start, stop, rbw, 0);
    }
    const int tunings = p.freqSteps.GetSize();
    t.actualRBW = p.actualRBW;
    t.tunings = tunings;

    // Blocks per tuning: every tuning reads the same stretch of the recording.
    std::vector<int> need(static_cast<size_t>(tunings));
    int64_t blocks = INT64_MAX;
    for (int i = 0; i < tunings; ++i) {
        need[static_cast<size_t>(i)] = TuneTo(p, i);
        const int64_t stride = static_cast<int64_t>(p.numSamples[i]) * p.decimation;
        if (rec.count < need[static_cast<size_t>(i)])
            Fail(kExitUsage, "the recording holds " + std::to_string(rec.count) + " samples; RBW " +
                                 std::to_string(p.actualRBW) + " Hz needs " +
                                 std::to_string(need[static_cast<size_t>(i)]) + " per block: widen --rbw");
        blocks = std::min(blocks, (rec.count - need[static_cast<size_t>(i)]) / stride + 1);
    }
    if (o.maxBlocks > 0) blocks = std::min(blocks, o.maxBlocks);
    if (det.reduction == TimeReduction::FirstBlock) blocks = 1;
    t.blocksPerTuning = blocks;
    PrintPlan(o, p, t);

    // Chunks of at most 16 blocks whose magnitudes take about 256 KB at most (four slots of them per
    // thread), so that chunks are reduced often and the memory stays small. A block gives fewer bins
    // than its samples and the trace's points together.
    int64_t binsMost = 1;
    for (int i = 0; i < tunings; ++i)
        binsMost = std::max<int64_t>(binsMost, int64_t{need[static_cast<size_t>(i)]} + o.points);
    const int64_t chunkBlocks = std::clamp<int64_t>((int64_t{1} << 16) / binsMost, 1, 16);
    const int64_t chunks = (blocks + chunkBlocks - 1) / chunkBlocks;
    const int threads =
        static_cast<int>(std::min<int64_t>(o.threads > 0 ? o.threads : DefaultThreads(), chunks));
    std::vector<BlockWorker> workers(static_cast<size_t>(threads));
    for (int w = 0; w < threads; ++w) {
        BlockWorker& wk = workers[static_cast<size_t>(w)];
        if (w == 0) {
            wk.rec = &rec;
            wk.plan = &p;
        } else {
            wk.ownRec = rec.Reopen();
            wk.ownPlan = std::make_unique<Plan>();
            MakePlan(*wk.ownPlan, o, rec, start, stop, rbw, 0);
            wk.rec = wk.ownRec.get();
            wk.plan = wk.ownPlan.get();
        }
    }

    Progress progress(!o.quiet, blocks * tunings);
    VecReal32 reduced, reducedMin, out;
    std::vector<double> acc, accMin;
    for (int i = 0; i < tunings; ++i) {
        const int64_t stride = static_cast<int64_t>(p.numSamples[i]) * p.decimation;
        for (BlockWorker& wk : workers)
            TuneTo(*wk.plan, i);
        const int n = need[static_cast<size_t>(i)];
        OrderedReduction reduction(acc, accMin, det.reduction, progress, chunks, 4 * threads);
        // Chunk c's blocks read, tuned and transformed into its slot, then handed back.
        auto transform = [&](BlockWorker& wk, int64_t c, OrderedReduction::Slot& slot) {
            slot.first = c * chunkBlocks;
            slot.count = std::min(chunkBlocks, blocks - slot.first);
            // The chunk's stretch of the recording in one read where it is small: a read costs a system
            // call, which here took as long as copying some 30 KB, and blocks are often that size.
            const int64_t span = (slot.count - 1) * stride + n;
            const bool oneRead = span <= kChunkReadSamples;
            if (oneRead) wk.rec->Read(slot.first * stride, static_cast<int>(span), wk.span);
            for (int64_t r = 0; r < slot.count; ++r) {
                const int64_t b = slot.first + r;
                if (oneRead) {
                    wk.raw.Resize(n);
                    std::memcpy(static_cast<void*>(wk.raw.Data()), wk.span.Data() + r * stride,
                                sizeof(Cplx32) * static_cast<size_t>(n));
                } else {
                    wk.rec->Read(b * stride, n, wk.raw);
                }
                const VecCplx32& tuned = Tuned(*wk.plan, i, wk.raw, wk.block);
                wk.plan->spectrum.Apply1(wk.mag, tuned, i);
                // Keeps the second plan's per-tuning state in step; its result is not used.
                if (minPlan && b == 0) minPlan->spectrum.Apply1(wk.spare, tuned, i);
                if (r == 0) {
                    slot.m = static_cast<size_t>(wk.mag.GetSize());
                    slot.rows.resize(slot.m * static_cast<size_t>(slot.count));
                } else if (static_cast<size_t>(wk.mag.GetSize()) != slot.m) {
                    Fail(kExitFailure, "the blocks of a tuning differ in size");
                }
                std::copy(wk.mag.Data(), wk.mag.Data() + slot.m,
                          slot.rows.data() + static_cast<size_t>(r) * slot.m);
            }
            reduction.HandBack(c);
        };
        constexpr int64_t kClaimFirst = -2;
        auto work = [&](int w, int64_t c, OrderedReduction::Slot* slot) {
            BlockWorker& wk = workers[static_cast<size_t>(w)];
            try {
                if (c == kClaimFirst) c = reduction.Claim(slot);
                for (; c >= 0; c = reduction.Claim(slot))
                    transform(wk, c, *slot);
            } catch (...) {
                reduction.Fail(std::current_exception());
            }
        };
        // The first chunk goes to the calling thread, whose plan then serves every tuning at least once.
        OrderedReduction::Slot* firstSlot = nullptr;
        const int64_t firstChunk = reduction.Claim(firstSlot);
        std::vector<std::thread> pool;
        for (int w = 1; w < threads; ++w) {
            try {
                pool.emplace_back(work, w, kClaimFirst, nullptr);
            } catch (const std::system_error&) {
                break;  // no more threads to be had: those running share the chunks
            }
        }
        work(0, firstChunk, firstSlot);
        for (std::thread& th : pool)
            th.join();
        reduction.RethrowAnyFailure();

        // Back to magnitudes, which Apply2 squares into power before it detects.
        const int m = static_cast<int>(acc.size());
        reduced.Resize(m);
        for (int k = 0; k < m; ++k)
            reduced[k] =
                static_cast<float>(det.reduction == TimeReduction::MeanPower
                                       ? std::sqrt(acc[static_cast<size_t>(k)] / static_cast<double>(blocks))
                                       : acc[static_cast<size_t>(k)]);
        p.spectrum.Apply2(out, reduced, i, twoTracks ? DetectorMax : det.type);
        Append(t.level, out);
        if (twoTracks) {
            reducedMin.Resize(m);
            for (int k = 0; k < m; ++k)
                reducedMin[k] = static_cast<float>(accMin[static_cast<size_t>(k)]);
            minPlan->spectrum.Apply2(out, reducedMin, i, DetectorMin);
            Append(t.levelMin, out);
        }
    }
}

// The block-based quasi-peak path: per tuning, acquisitions spaced by the CISPR detector's
// acquisition time pass through its state (Apply3); the last result becomes the trace (Apply2).
// When the recording is too short for the acquisitions the meter needs, it takes what the recording
// holds and says so: the quasi-peak reading then has not settled.
void MeasureBlockQuasiPeak(Trace& t, const Options& o, Recording& rec, double start, double stop,
                           double rbw) {
    const DetectorChoice& det = *o.detector;
    double acqTime = 0.0;
    int wanted = 0;
    {
        CISPRDetector probe(0.5 * (start + stop));
        probe.GetHWAcqParameters(acqTime, wanted, rbw);
    }
    Plan p;
    MakePlan(p, o, rec, start, stop, rbw, 0);
    CheckTuningsInBand(p, rec);
    const int tunings = p.freqSteps.GetSize();
    const int64_t spacing = std::max<int64_t>(1, std::llround(acqTime * rec.rate));
    int64_t fit = INT64_MAX;
    for (int i = 0; i < tunings; ++i) {
        const int n = TuneTo(p, i);
        if (rec.count < n)
            Fail(kExitUsage, "the recording holds " + std::to_string(rec.count) + " samples; RBW " +
                                 std::to_string(p.actualRBW) + " Hz needs " + std::to_string(n) +
                                 " per acquisition: widen --rbw");
        fit = std::min(fit, (rec.count - n) / spacing + 1);
    }
    int64_t acquisitions = p.spectrum.GetCISPRAcqNum();
    t.blocksWanted = acquisitions;
    if (o.maxBlocks > 0) fit = std::min(fit, o.maxBlocks);
    if (fit < acquisitions) {
        acquisitions = fit;
        MakePlan(p, o, rec, start, stop, rbw, static_cast<int>(fit));
        if (!o.quiet)
            std::fprintf(stderr,
                         "corvane-analyze: note: %lld acquisitions used of the %lld the CISPR meter needs "
                         "(%.3g s of recording); the %s reading has not settled\n",
                         static_cast<long long>(fit), static_cast<long long>(t.blocksWanted),
                         static_cast<double>(t.blocksWanted) * acqTime, det.name);
    }
    t.actualRBW = p.actualRBW;
    t.tunings = tunings;
    t.blocksPerTuning = acquisitions;
    PrintPlan(o, p, t);

    Progress progress(!o.quiet, acquisitions * tunings);
    VecCplx32 raw, block;
    VecReal32 mag, state, out;
    for (int i = 0; i < tunings; ++i) {
        const int n = TuneTo(p, i);
        for (int64_t a = 0; a < acquisitions; ++a) {
            rec.Read(a * spacing, n, raw);
            p.spectrum.Apply1(mag, Tuned(p, i, raw, block), i);
            p.spectrum.Apply3(state, mag, i, static_cast<int>(a), det.type);
            progress.Step();
        }
        p.spectrum.Apply2(out, state, i, det.type);
        Append(t.level, out);
    }
}

// The receiver path: every trace point is a measuring frequency of one EMIReceiver, and the recording
// streams through it in blocks, so the readings are those of a receiver that dwelt on every frequency
// for the whole recording. The reading is the r.m.s. of the equivalent sine; the trace gives it as the
// other paths give a tone (dB of the amplitude, or the amplitude squared), so a steady tone reads the
// same here as on the peak detector.
void MeasureReceiver(Trace& t, const Options& o, Recording& rec, double start, double stop) {
    const EMIBand band = o.haveBand ? o.band : EMIReceiver::BandOf(0.5 * (start + stop));
    const EMIBandParameters bp = EMIReceiver::GetBandParameters(band);
    const char* bandName = band == EMIBand::A ? "A" : band == EMIBand::B ? "B" : "C/D";
    if (o.rbw != 0.0 && std::fabs(o.rbw - bp.bandwidth6dB) > 0.01 * bp.bandwidth6dB)
        Fail(kExitUsage, std::string("--detector qp measures with band ") + bandName +
                             "'s 6 dB bandwidth of " +
                             std::to_string(static_cast<long long>(bp.bandwidth6dB)) +
                             " Hz; --rbw does not apply (or use --band)");
    VecReal64 freqs(o.points);
    for (int k = 0; k < o.points; ++k)
        freqs[k] = start + (stop - start) * k / (o.points - 1);
    EMIReceiver rx;
    try {
        rx.SetParameters(band, rec.rate, rec.center, freqs);
    } catch (const VELAException&) {
        Fail(kExitUsage, std::string("--detector qp: band ") + bandName + "'s IF filter (" +
                             std::to_string(static_cast<long long>(bp.bandwidth6dB)) +
                             " Hz) at every measuring frequency must fit inside the recording's band "
                             "(|offset| + 1.3 x bandwidth <= rate / 2)");
    }
    constexpr int64_t kBlock = 65536;
    int64_t blocks = (rec.count + kBlock - 1) / kBlock;
    if (o.maxBlocks > 0) blocks = std::min(blocks, o.maxBlocks);
    t.actualRBW = bp.bandwidth6dB;
    t.tunings = 1;
    t.blocksPerTuning = blocks;
    if (o.verbose)
        std::fprintf(stderr,
                     "receiver: band %s, B6 %.6g Hz, envelope at %.6g Hz, %lld blocks of %lld samples\n",
                     bandName, bp.bandwidth6dB, rx.GetEnvelopeRate(), static_cast<long long>(blocks),
                     static_cast<long long>(kBlock));
    {
        Progress progress(!o.quiet, blocks);
        VecCplx32 block;
        for (int64_t b = 0; b < blocks; ++b) {
            const int64_t first = b * kBlock;
            rec.Read(first, static_cast<int>(std::min(kBlock, rec.count - first)), block);
            rx.Process(block);
            progress.Step();
        }
    }
    // A steady signal needs the meter's settling time; pulse trains need more (see EMIReceiver.h).
    const double needed = EMIReceiver::GetSettlingTime(band);
    if (!o.quiet && rx.GetElapsedTime() < needed)
        std::fprintf(stderr,
                     "corvane-analyze: note: %.3g s of recording against the %.3g s the band %s meter needs "
                     "to settle; the qp reading has not settled\n",
                     rx.GetElapsedTime(), needed, bandName);
    VecReal64 readings;
    rx.GetReadings(readings, EMIDetector::QuasiPeak);
    t.level.resize(static_cast<size_t>(o.points));
    for (int k = 0; k < o.points; ++k) {
        const double amplitude = std::sqrt(2.0) * readings[k];
        t.level[static_cast<size_t>(k)] =
            o.unit == PowerUnitDB ? static_cast<float>(20.0 * std::log10(std::max(amplitude, 1e-20)))
                                  : static_cast<float>(amplitude * amplitude);
    }
}

Trace Measure(const Options& o, Recording& rec) {
    const double lo = rec.center - 0.5 * rec.rate, hi = rec.center + 0.5 * rec.rate;
    double start, stop;
    if (o.haveStart) {
        start = o.start;
        stop = o.stop;
    } else {
        const double c = o.haveCenter ? o.center : rec.center;
        const double s = o.haveSpan ? o.span : rec.rate;
        start = c - 0.5 * s;
        stop = c + 0.5 * s;
    }
    // A little slack for rounding in the edges given as centre and span.
    const double slack = 1e-9 * rec.rate;
    if (start < lo - slack || stop > hi + slack)
        Fail(kExitUsage, "the span " + std::to_string(start) + " .. " + std::to_string(stop) +
                             " Hz leaves the recording's band " + std::to_string(lo) + " .. " +
                             std::to_string(hi) + " Hz");
    if (o.tunerSpan > rec.rate) Fail(kExitUsage, "--tuner-span exceeds the recording's sample rate");
    double rbw = o.rbw;
    if (rbw == 0.0) {
        // The automatic RBW: span/500, but no narrower than four blocks of the recording allow.
        const double widestBlock = 4.5;  // the largest RBW scaling (bins) of the windows
        rbw = std::max((stop - start) / 500.0, 4.0 * widestBlock * rec.rate / static_cast<double>(rec.count));
    }
    Trace t;
    switch (o.detector->path) {
        case MeasurementPath::BlockAverage:
            MeasureBlockAverage(t, o, rec, start, stop, rbw);
            break;
        case MeasurementPath::BlockQuasiPeak:
            MeasureBlockQuasiPeak(t, o, rec, start, stop, rbw);
            break;
        case MeasurementPath::Receiver:
            MeasureReceiver(t, o, rec, start, stop);
            break;
    }
    if (static_cast<int>(t.level.size()) != o.points)
        Fail(kExitFailure,
             "the trace has " + std::to_string(t.level.size()) + " points, not " + std::to_string(o.points));
    t.frequency.resize(static_cast<size_t>(o.points));
    for (int k = 0; k < o.points; ++k)
        t.frequency[static_cast<size_t>(k)] = start + (stop - start) * k / (o.points - 1);
    return t;
}

// -------------------------------------------------------------------------------------------- outputs

// A temporary name beside `target` (same directory, so the rename stays on one file system) that
// keeps its extension, for writers that look at it.
std::string TempName(const std::string& target) {
    const size_t slash = target.rfind('/');
    const std::string dir = slash == std::string::npos ? "" : target.substr(0, slash + 1);
    const std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    const size_t dot = base.rfind('.');
    const std::string ext = dot == std::string::npos || dot == 0 ? "" : base.substr(dot);
    return dir + "." + base + ".part" + std::to_string(::getpid()) + ext;
}

// Removes the temporary file unless Commit renamed it into place.
class OutputFile {
  public:
    explicit OutputFile(const std::string& target) : target_(target), temp_(TempName(target)) {}
    ~OutputFile() {
        if (!committed_) ::unlink(temp_.c_str());
    }
    const std::string& Temp() const { return temp_; }
    void Commit() {
        if (std::rename(temp_.c_str(), target_.c_str()) != 0)
            Fail(kExitFailure, target_ + ": cannot be written (" + std::strerror(errno) + ")");
        committed_ = true;
    }

  private:
    std::string target_, temp_;
    bool committed_ = false;
};

void WriteCsvTo(FILE* f, const Trace& t, const Options& o) {
    const char* unit = o.unit == PowerUnitDB ? "dB" : "linear";
    if (t.levelMin.empty())
        std::fprintf(f, "frequency_Hz,level_%s\n", unit);
    else
        std::fprintf(f, "frequency_Hz,max_%s,min_%s\n", unit, unit);
    for (size_t k = 0; k < t.frequency.size(); ++k) {
        if (t.levelMin.empty())
            std::fprintf(f, "%.10g,%.9g\n", t.frequency[k], static_cast<double>(t.level[k]));
        else
            std::fprintf(f, "%.10g,%.9g,%.9g\n", t.frequency[k], static_cast<double>(t.level[k]),
                         static_cast<double>(t.levelMin[k]));
    }
}

void WriteCsv(OutputFile& out, const std::string& path, const Trace& t, const Options& o) {
    FILE* f = std::fopen(out.Temp().c_str(), "w");
    if (!f) Fail(kExitFailure, path + ": cannot be written (" + std::strerror(errno) + ")");
    WriteCsvTo(f, t, o);
    const bool ok = std::ferror(f) == 0;
    if (std::fclose(f) != 0 || !ok)
        Fail(kExitFailure, path + ": cannot be written (" + std::strerror(errno) + ")");
}

VecReal64 ToVec64(const std::vector<double>& v) {
    VecReal64 r;
    r.Resize(static_cast<int>(v.size()));
    for (size_t k = 0; k < v.size(); ++k)
        r[static_cast<int>(k)] = v[k];
    return r;
}
VecReal64 ToVec64(const std::vector<float>& v) {
    VecReal64 r;
    r.Resize(static_cast<int>(v.size()));
    for (size_t k = 0; k < v.size(); ++k)
        r[static_cast<int>(k)] = v[k];
    return r;
}

void WriteMat(OutputFile& out, const std::string& path, const Trace& t, const Options& o) {
    try {
        MatFileWriter mat(out.Temp().c_str());
        mat.WriteVector("frequency", ToVec64(t.frequency));
        mat.WriteVector("level", ToVec64(t.level));
        if (!t.levelMin.empty()) mat.WriteVector("level_min", ToVec64(t.levelMin));
        mat.WriteScalar("rbw", t.actualRBW);
        mat.WriteVector("unit", o.unit == PowerUnitDB ? "dB" : "linear");
        mat.WriteVector("detector", o.detector->name);
    } catch (const VELAException& e) {
        Fail(kExitFailure, path + ": cannot be written (" + VelaText(e) + ")");
    }
}

void WritePng(OutputFile& out, const std::string& path, const Trace& t, const Options& o,
              const std::string& source) {
    const size_t n = t.frequency.size();
    // Axis in the unit that keeps the numbers short.
    const double top = std::max(std::fabs(t.frequency.front()), std::fabs(t.frequency.back()));
    const double scale = top >= 1e9 ? 1e9 : top >= 1e6 ? 1e6 : top >= 1e3 ? 1e3 : 1.0;
    const char* unitName = top >= 1e9 ? "GHz" : top >= 1e6 ? "MHz" : top >= 1e3 ? "kHz" : "Hz";
    std::vector<double> x(n), y(n), y2(t.levelMin.size());
    for (size_t k = 0; k < n; ++k) {
        x[k] = t.frequency[k] / scale;
        y[k] = t.level[k];
    }
    for (size_t k = 0; k < t.levelMin.size(); ++k)
        y2[k] = t.levelMin[k];
    char title[512], xLabel[64], yLabel[64];
    std::snprintf(title, sizeof title, "%s detector, RBW %.4g Hz, %s window", o.detector->name, t.actualRBW,
                  o.windowName);
    std::snprintf(xLabel, sizeof xLabel, "Frequency (%s)", unitName);
    std::snprintf(yLabel, sizeof yLabel, "%s",
                  o.unit == PowerUnitDB ? "Level (dB, 0 dB = amplitude 1)" : "Level (power, linear)");
    try {
        MGraph graph(source.c_str());
        graph.Plot(x.data(), y.data(), static_cast<int>(n), 1, title, xLabel, yLabel);
        // The frequency axis ends where the trace ends.
        char limits[128];
        std::snprintf(limits, sizeof limits, "xlim([%.17g %.17g]);", x.front(), x.back());
        graph.Say(limits);
        if (!y2.empty()) {
            graph.Send("tMin", x.data(), y2.data(), static_cast<int>(n));
            graph.Say("hold on; plot(tMin(:,1), tMin(:,2), 'r'); legend('max', 'min'); hold off;");
        }
        if (!graph.SaveFigure(1, out.Temp().c_str()))
            Fail(kExitFailure, path + ": the plot could not be saved");
    } catch (const VELAException& e) {
        Fail(kExitFailure, path + ": no plot (" + VelaText(e) + "; is octave-cli on PATH?)");
    }
}

void PrintSummary(const Options& o, const Recording& rec, const Trace& t, const std::string& source) {
    if (o.quiet) return;
    size_t best = 0;
    for (size_t k = 1; k < t.level.size(); ++k)
        if (t.level[k] > t.level[best]) best = k;
    std::fprintf(stderr,
                 "%s (%s, %lld samples at %.6g Hz): %d points %.9g .. %.9g Hz, RBW %.6g Hz, %d tunings, "
                 "%lld blocks each; highest %.2f %s at %.9g Hz\n",
                 source.c_str(), rec.kind.c_str(), static_cast<long long>(rec.count), rec.rate, o.points,
                 t.frequency.front(), t.frequency.back(), t.actualRBW, t.tunings,
                 static_cast<long long>(t.blocksPerTuning), static_cast<double>(t.level[best]),
                 o.unit == PowerUnitDB ? "dB" : "(linear)", t.frequency[best]);
}

int Run(int argc, char** argv) {
    Options o = ParseArguments(argc, argv);
    if (o.help) {
        PrintHelp();
        return kExitOk;
    }
    std::unique_ptr<Recording> rec = OpenRecording(o);
    const std::string source = o.input.empty() ? "demo recording" : o.input;
    // With a wisdom file the plans are measured: the planner then times candidate algorithms, which
    // costs about a second per new transform length but gives faster transforms, and the file keeps
    // what it learnt for the next run.
    std::string wisdomBefore;
    if (!o.wisdom.empty()) {
        if (IsFile(o.wisdom) && !FFTPlanning::ImportWisdomFromFile(o.wisdom))
            Fail(kExitInput, o.wisdom + ": not FFTW wisdom of this machine's FFTW");
        FFTPlanning::SetRigour(FFTPlanningMeasure);
        wisdomBefore = FFTPlanning::ExportWisdom();
    }
    Trace t;
    try {
        t = Measure(o, *rec);
    } catch (const VELAException& e) {
        Fail(kExitFailure, "processing failed: " + VelaText(e));
    }
    // Every output is complete under its temporary name before any is renamed into place, so a
    // failure of one leaves none of them behind.
    std::vector<std::unique_ptr<OutputFile>> outputs;
    if (!o.csv.empty()) {
        outputs.push_back(std::make_unique<OutputFile>(o.csv));
        WriteCsv(*outputs.back(), o.csv, t, o);
    }
    if (!o.mat.empty()) {
        outputs.push_back(std::make_unique<OutputFile>(o.mat));
        WriteMat(*outputs.back(), o.mat, t, o);
    }
    if (!o.png.empty()) {
        outputs.push_back(std::make_unique<OutputFile>(o.png));
        WritePng(*outputs.back(), o.png, t, o, source);
    }
    if (!o.wisdom.empty() && FFTPlanning::ExportWisdom() != wisdomBefore &&
        !FFTPlanning::ExportWisdomToFile(o.wisdom))
        Fail(kExitFailure, o.wisdom + ": cannot be written");
    for (auto& out : outputs)
        out->Commit();
    if (o.csv.empty() && o.mat.empty() && o.png.empty()) {
        WriteCsvTo(stdout, t, o);
        if (std::fflush(stdout) != 0) Fail(kExitFailure, "standard output cannot be written");
    }
    PrintSummary(o, *rec, t, source);
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const Failure& f) {
        std::fprintf(stderr, "corvane-analyze: %s\n", f.message.c_str());
        return f.code;
    } catch (const VELAException& e) {
        std::fprintf(stderr, "corvane-analyze: %s\n", VelaText(e).c_str());
        return kExitFailure;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "corvane-analyze: out of memory\n");
        return kExitFailure;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "corvane-analyze: %s\n", e.what());
        return kExitFailure;
    }
}
