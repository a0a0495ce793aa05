// corvane-analyze, run as a child process on a generated recording (tests/support/make_analyze_recording.py):
// tone levels and frequencies with the flat-top window and the peak detector, the noise floor that the
// RBW implies with the mean detector, the same trace from raw cf32, SigMF cf32 and ci16 and .iqt, and
// an exit code and a one-line message for every bad argument and bad file, with no output left behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/IqtFile.h"
#include "support/TestUtil.h"

namespace {

namespace fs = std::filesystem;

struct RunResult {
    int code = -1;
    std::string out, err;
};

std::string ReadAll(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

// Runs the tool with `args` in the current directory; `path` replaces PATH when not empty.
RunResult RunTool(const std::vector<std::string>& args, const std::string& path = "") {
    const std::string outFile = fs::absolute("tool.stdout").string();
    const std::string errFile = fs::absolute("tool.stderr").string();
    std::vector<std::string> argv{CORVANE_ANALYZE_TOOL};
    argv.insert(argv.end(), args.begin(), args.end());
    const pid_t pid = fork();
    if (pid == 0) {
        const int o = ::open(outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int e = ::open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (o < 0 || e < 0) _exit(127);
        ::dup2(o, 1);
        ::dup2(e, 2);
        if (!path.empty()) ::setenv("PATH", path.c_str(), 1);
        std::vector<char*> cargs;
        for (std::string& a : argv)
            cargs.push_back(a.data());
        cargs.push_back(nullptr);
        ::execv(cargs[0], cargs.data());
        _exit(127);
    }
    RunResult r;
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid) return r;
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    r.out = ReadAll(outFile);
    r.err = ReadAll(errFile);
    fs::remove(outFile);
    fs::remove(errFile);
    return r;
}

struct CsvTrace {
    std::vector<double> freq;
    std::vector<std::vector<double>> columns;  // one per level column
};

CsvTrace ReadCsv(const std::string& text) {
    CsvTrace t;
    std::istringstream in(text);
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::istringstream l(line);
        std::string cell;
        std::getline(l, cell, ',');
        t.freq.push_back(std::stod(cell));
        size_t c = 0;
        while (std::getline(l, cell, ',')) {
            if (t.columns.size() <= c) t.columns.emplace_back();
            t.columns[c++].push_back(std::stod(cell));
        }
    }
    return t;
}

// The recording, written once for the suite into a directory of its own.
class CorvaneAnalyze : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        if (std::string(CORVANE_ANALYZE_TOOL).empty()) return;
        dir_ = fs::temp_directory_path() / ("corvane-analyze-test-" + std::to_string(::getpid()));
        fs::create_directories(dir_);
        const std::string cmd = std::string(CORVANE_PYTHON) + " " + CORVANE_TEST_DIR +
                                "/support/make_analyze_recording.py " + dir_.string();
        ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
        // The tones and the noise power, as the generator wrote them.
        std::ifstream j(dir_ / "rec.json");
        ASSERT_TRUE(j.good());
        const std::vector<double> v =
            corvane_test::PyEval("import json\nd = json.load(open('" + (dir_ / "rec.json").string() +
                                     "'))\nout = [d['rate'], d['center'], d['noise_power'], d['samples']] + "
                                     "[x for t in d['tones'] for x in t]",
                                 {});
        ASSERT_GE(v.size(), 4u);
        rate_ = v[0];
        center_ = v[1];
        noisePower_ = v[2];
        samples_ = static_cast<long long>(v[3]);
        tones_.clear();
        for (size_t k = 4; k + 1 < v.size(); k += 2)
            tones_.push_back({v[k], v[k + 1]});
        WriteIqt();
    }
    static void TearDownTestSuite() {
        if (!dir_.empty()) fs::remove_all(dir_);
    }
    void SetUp() override {
        if (std::string(CORVANE_ANALYZE_TOOL).empty()) GTEST_SKIP() << "built without the tools";
    }

    // The ci16 words as an .iqt capture: 1,024-sample frames, (Q, I) pairs, scaled so that a word of
    // 32768 reads 1.0, as the ci16 reader scales them.
    static void WriteIqt() {
        const std::string words = ReadAll((dir_ / "rec-ci16.sigmf-data").string());
        const size_t n = words.size() / 4;
        const int frames = static_cast<int>(n / 1024);
        char level[64], frameLength[64], centre[64];
        std::snprintf(level, sizeof level, "%.17g", 10.0 * std::log10(10.0 / std::pow(2.0, 30)));
        std::snprintf(frameLength, sizeof frameLength, "%.17g", 1024.0 / rate_);
        std::snprintf(centre, sizeof centre, "%.17g", center_);
        corvane_test::IqtFile f;
        f.headerText = corvane_test::HeaderText({{"FFTPoints", "1024"},
                                                 {"ValidFrames", std::to_string(frames)},
                                                 {"BlockSize", std::to_string(frames)},
                                                 {"FrameLength", frameLength},
                                                 {"CenterFrequency", centre},
                                                 {"MaxInputLevel", level},
                                                 {"LevelOffset", "0"},
                                                 {"GainOffset", "0"}});
        const int16_t* w = reinterpret_cast<const int16_t*>(words.data());
        for (int k = 0; k < frames; ++k) {
            f.frames.push_back(corvane_test::MakeRecord(corvane_test::IqtMark::IQ, [&](int i) {
                const size_t s = static_cast<size_t>(k) * 1024 + static_cast<size_t>(i);
                return corvane_test::IqtPair{w[2 * s + 1], w[2 * s]};
            }));
        }
        f.Write((dir_ / "rec.iqt").string());
    }

    static std::string Rec(const std::string& name) { return (dir_ / name).string(); }

    // The stepped measurement of the tests: 96..104 MHz in 801 points, 2.5 MHz tunings.
    static std::vector<std::string> Stepped(const std::string& input, std::vector<std::string> more) {
        std::vector<std::string> a{input,      "--start", "96M",          "--stop", "104M",
                                   "--points", "801",     "--tuner-span", "2.5M"};
        a.insert(a.end(), more.begin(), more.end());
        return a;
    }

    static fs::path dir_;
    static double rate_, center_, noisePower_;
    static long long samples_;
    static std::vector<std::pair<double, double>> tones_;  // offset Hz, level dB

    corvane_test::ScopedWorkDir work_;
};

fs::path CorvaneAnalyze::dir_;
double CorvaneAnalyze::rate_ = 0.0, CorvaneAnalyze::center_ = 0.0, CorvaneAnalyze::noisePower_ = 0.0;
long long CorvaneAnalyze::samples_ = 0;
std::vector<std::pair<double, double>> CorvaneAnalyze::tones_;

size_t Nearest(const std::vector<double>& freq, double f) {
    size_t best = 0;
    for (size_t k = 1; k < freq.size(); ++k)
        if (std::fabs(freq[k] - f) < std::fabs(freq[best] - f)) best = k;
    return best;
}

// The tuning centres the tool reports with --verbose.
std::vector<double> TuningCentres(const std::string& err) {
    std::vector<double> c;
    std::istringstream in(err);
    std::string line;
    while (std::getline(in, line)) {
        int i = 0;
        double f = 0.0;
        if (std::sscanf(line.c_str(), "tuning %d: %lf Hz", &i, &f) == 2) c.push_back(f);
    }
    return c;
}

TEST_F(CorvaneAnalyze, TonesReadTheirLevelWithFlatTopAndPeakIncludingTuningBoundaries) {
    const RunResult r =
        RunTool(Stepped(Rec("rec-cf32.sigmf-meta"),
                        {"--rbw", "30k", "--window", "flattop", "--detector", "peak", "-v", "-o", "t.csv"}));
    ASSERT_EQ(r.code, 0) << r.err;
    const CsvTrace t = ReadCsv(ReadAll("t.csv"));
    ASSERT_EQ(t.freq.size(), 801u);
    ASSERT_EQ(t.columns.size(), 1u);
    EXPECT_DOUBLE_EQ(t.freq.front(), 96e6);
    EXPECT_DOUBLE_EQ(t.freq.back(), 104e6);

    // The boundaries between tunings, from the tuning centres: the middle tunings contribute their
    // whole step span (the spacing of their centres), centred on them.
    const std::vector<double> c = TuningCentres(r.err);
    ASSERT_EQ(c.size(), 5u) << r.err;
    const double step = c[2] - c[1];
    std::vector<double> boundaries{c[1] - 0.5 * step};
    for (size_t i = 1; i + 1 < c.size(); ++i)
        boundaries.push_back(c[i] + 0.5 * step);
    const double grid = 8e6 / 800;
    int onBoundary = 0, nextToBoundary = 0;
    for (const auto& tone : tones_) {
        const double f = center_ + tone.first;
        for (double b : boundaries) {
            if (std::fabs(f - b) < 1.0) ++onBoundary;
            if (std::fabs(std::fabs(f - b) - grid) < 1.0) ++nextToBoundary;
        }
        const size_t k = Nearest(t.freq, f);
        EXPECT_NEAR(t.columns[0][k], tone.second, 0.1) << "tone at " << f << " Hz";
        // The tone is the trace's local maximum within the flat top's main lobe.
        for (size_t j = (k > 3 ? k - 3 : 0); j <= std::min(k + 3, t.freq.size() - 1); ++j)
            EXPECT_LE(t.columns[0][j], tone.second + 0.1) << "at " << t.freq[j];
    }
    EXPECT_GE(onBoundary, 2);
    EXPECT_GE(nextToBoundary, 2);
    // Away from the tones the trace lies far below the weakest tone.
    const size_t quiet = Nearest(t.freq, center_ - 2.2e6);
    EXPECT_LT(t.columns[0][quiet], -70.0);
}

TEST_F(CorvaneAnalyze, OneTuningAndSteppedTuningsAgreeOnToneLevels) {
    const RunResult r = RunTool({Rec("rec.cf32"), "--rate", "10M", "--center", "100M", "--span", "8M",
                                 "--points", "801", "--rbw", "30k", "-o", "t.csv"});
    ASSERT_EQ(r.code, 0) << r.err;
    const CsvTrace t = ReadCsv(ReadAll("t.csv"));
    ASSERT_EQ(t.freq.size(), 801u);
    for (const auto& tone : tones_)
        EXPECT_NEAR(t.columns[0][Nearest(t.freq, center_ + tone.first)], tone.second, 0.1);
}

TEST_F(CorvaneAnalyze, NoiseFloorWithMeanDetectorIsWhatTheRBWImplies) {
    const double rbw = 30e3;
    const RunResult r =
        RunTool(Stepped(Rec("rec.cf32"), {"--rate", "10M", "--center", "100M", "--rbw", "30k", "--window",
                                          "hann", "--detector", "mean", "-o", "n.csv"}));
    ASSERT_EQ(r.code, 0) << r.err;
    const CsvTrace t = ReadCsv(ReadAll("n.csv"));
    ASSERT_EQ(t.freq.size(), 801u);
    // Mean power in a bin of a Hann window whose taps sum to 1: the noise density times the window's
    // noise bandwidth. Against the RBW (the 3 dB width) that is ENBW / B3dB, computed here from the
    // window itself: 1.5 bins over the half-power width of its transform.
    const std::vector<double> ratio = corvane_test::PyEval(
        "L = 1024\nw = 0.5 - 0.5*np.cos(2*np.pi*np.arange(L)/L)\nenbw = L*np.sum(w**2)/np.sum(w)**2\n"
        "f = np.linspace(0, 1.5, 15001)\nk = np.arange(L)\n"
        "W = np.abs(np.exp(-2j*np.pi*np.outer(f, k)/L) @ w)**2\nW /= W[0]\n"
        "b3 = 2*f[np.argmax(W < 0.5)]\nout = [enbw / b3]",
        {});
    ASSERT_EQ(ratio.size(), 1u);
    const double expected = 10.0 * std::log10(noisePower_ / rate_ * rbw * ratio[0]);
    int checked = 0;
    // Stretches of trace at least 0.5 MHz (24 Hann bins) from every tone, where their leakage lies more
    // than 20 dB below the noise, and away from the centre of the tuning at 97.5 MHz: there the tuner's
    // half-band filter leaves the image of the -10 dB tone at 102.5 MHz (5 MHz away, the input's
    // Nyquist frequency), about 87 dB down, which is what a receiver with that filter shows.
    for (const auto& band : {std::pair<double, double>{-3.25e6, -2.7e6}, {-2.3e6, -1.75e6}}) {
        for (size_t k = 0; k < t.freq.size(); ++k) {
            const double off = t.freq[k] - center_;
            if (off < band.first || off > band.second) continue;
            EXPECT_NEAR(t.columns[0][k], expected, 0.5) << "at " << t.freq[k];
            ++checked;
        }
    }
    EXPECT_GT(checked, 100);
}

// The largest difference between two traces that the quantisation of 16-bit words can explain:
// amplitude differences of at most six standard deviations of the quantisation noise in the noise
// bandwidth of the flat-top window (at most 4 bins of the 628-sample blocks at 5 MHz).
double QuantisationAmplitude(double rate) {
    const double q = 1.0 / 32768.0;
    const double noise = 2.0 * q * q / 12.0;  // I and Q, uniform rounding error
    const double enbw = 4.0 * 5e6 / 628.0;
    return 6.0 * std::sqrt(noise / rate * enbw);
}

TEST_F(CorvaneAnalyze, SigMFCf32Ci16AndIqtGiveTheSameTraceWithinQuantisation) {
    std::map<std::string, CsvTrace> traces;
    for (const std::string name : {"rec.cf32", "rec-cf32.sigmf-meta", "rec-ci16.sigmf-data", "rec.iqt"}) {
        std::vector<std::string> more{"--rbw", "30k", "-o", "q.csv"};
        if (name == "rec.cf32") more.insert(more.end(), {"--rate", "10M", "--center", "100M"});
        const RunResult r = RunTool(Stepped(Rec(name), more));
        ASSERT_EQ(r.code, 0) << name << ": " << r.err;
        traces[name] = ReadCsv(ReadAll("q.csv"));
        ASSERT_EQ(traces[name].freq.size(), 801u) << name;
    }
    const CsvTrace& ref = traces["rec-cf32.sigmf-meta"];
    const double tol = QuantisationAmplitude(rate_);
    auto amp = [](double db) { return std::pow(10.0, db / 20.0); };
    // Raw cf32 and SigMF cf32 hold the same floats.
    for (size_t k = 0; k < ref.freq.size(); ++k)
        EXPECT_EQ(traces["rec.cf32"].columns[0][k], ref.columns[0][k]) << "at " << ref.freq[k];
    for (const std::string name : {"rec-ci16.sigmf-data", "rec.iqt"}) {
        const CsvTrace& t = traces[name];
        for (size_t k = 0; k < ref.freq.size(); ++k) {
            EXPECT_EQ(t.freq[k], ref.freq[k]);
            EXPECT_NEAR(amp(t.columns[0][k]), amp(ref.columns[0][k]), tol) << name << " at " << ref.freq[k];
        }
    }
    // .iqt and SigMF ci16 hold the same words with the same scale.
    for (size_t k = 0; k < ref.freq.size(); ++k)
        EXPECT_NEAR(traces["rec.iqt"].columns[0][k], traces["rec-ci16.sigmf-data"].columns[0][k], 1e-4);
}

TEST_F(CorvaneAnalyze, MaxMinGivesTwoColumnsThatBracketTheMean) {
    const RunResult a = RunTool(Stepped(Rec("rec-cf32.sigmf-meta"), {"--rbw", "30k", "--detector", "max-min",
                                                                     "--blocks", "200", "-o", "mm.csv"}));
    ASSERT_EQ(a.code, 0) << a.err;
    const RunResult b = RunTool(Stepped(Rec("rec-cf32.sigmf-meta"), {"--rbw", "30k", "--detector", "mean",
                                                                     "--blocks", "200", "-o", "m.csv"}));
    ASSERT_EQ(b.code, 0) << b.err;
    const CsvTrace mm = ReadCsv(ReadAll("mm.csv"));
    const CsvTrace m = ReadCsv(ReadAll("m.csv"));
    ASSERT_EQ(mm.columns.size(), 2u);
    ASSERT_EQ(mm.freq.size(), 801u);
    for (size_t k = 0; k < mm.freq.size(); ++k) {
        EXPECT_GE(mm.columns[0][k], m.columns[0][k] - 1e-3) << mm.freq[k];
        EXPECT_LE(mm.columns[1][k], m.columns[0][k] + 1e-3) << mm.freq[k];
    }
    for (const auto& tone : tones_) {
        const size_t k = Nearest(mm.freq, center_ + tone.first);
        EXPECT_NEAR(mm.columns[0][k], tone.second, 0.1);
    }
}

// The block detectors share the blocks of a tuning out among worker threads; the reduction still runs
// block by block in the recording's order, so the CSV is the same file for every thread count, for
// each kind of input (every worker opens its own handle) and for stepped and single tunings.
TEST_F(CorvaneAnalyze, EveryThreadCountGivesTheSameTraceFile) {
    struct Case {
        std::string name;
        std::vector<std::string> args;
    };
    const std::vector<Case> cases = {
        {"sigmf stepped", Stepped(Rec("rec-cf32.sigmf-meta"), {"--rbw", "30k", "--blocks", "150"})},
        {"iqt stepped", Stepped(Rec("rec.iqt"), {"--rbw", "30k", "--blocks", "70"})},
        {"raw one tuning", {Rec("rec.cf32"), "--rate", "10M", "--center", "100M", "--rbw", "20k"}},
    };
    for (const Case& c : cases) {
        for (const char* det : {"mean", "peak", "min", "max-min", "rms"}) {
            std::string first;
            for (const char* threads : {"1", "2", "3", "7"}) {
                std::vector<std::string> args = c.args;
                args.insert(args.end(), {"--detector", det, "--threads", threads, "-q", "-o", "t.csv"});
                const RunResult r = RunTool(args);
                ASSERT_EQ(r.code, 0) << c.name << " " << det << " threads " << threads << ": " << r.err;
                const std::string csv = ReadAll("t.csv");
                ASSERT_GT(csv.size(), 100u);
                if (first.empty())
                    first = csv;
                else
                    EXPECT_TRUE(csv == first)
                        << c.name << " " << det << ": threads " << threads << " differ from one thread";
            }
        }
    }
}

// Blocks too long to be read a chunk at a time are read one by one. Their transforms are long enough
// for plans measured by FFTW, which may round differently from one process to the next; with the plans
// fixed by a wisdom file, every thread count again gives the same file.
TEST_F(CorvaneAnalyze, LongBlocksReadOneByOneGiveTheSameTraceForEveryThreadCount) {
    for (const char* det : {"mean", "max-min"}) {
        std::string first;
        for (const char* threads : {"1", "2", "3"}) {
            const RunResult r =
                RunTool({Rec("rec.cf32"), "--rate", "10M", "--center", "100M", "--rbw", "200", "--detector",
                         det, "--threads", threads, "--fft-wisdom", "w.fftw", "-q", "-o", "t.csv"});
            ASSERT_EQ(r.code, 0) << det << " threads " << threads << ": " << r.err;
            const std::string csv = ReadAll("t.csv");
            ASSERT_EQ(ReadCsv(csv).freq.size(), 1001u);
            if (first.empty())
                first = csv;
            else
                EXPECT_TRUE(csv == first) << det << ": threads " << threads << " differ from one thread";
        }
    }
}

TEST_F(CorvaneAnalyze, MoreThreadsThanBlocksStillMeasure) {
    std::string traces[2];
    int k = 0;
    for (const char* threads : {"1", "8"}) {
        const RunResult r =
            RunTool(Stepped(Rec("rec-ci16.sigmf-meta"),
                            {"--rbw", "30k", "--blocks", "3", "--threads", threads, "-o", "t.csv"}));
        ASSERT_EQ(r.code, 0) << r.err;
        traces[k++] = ReadAll("t.csv");
    }
    ASSERT_EQ(ReadCsv(traces[0]).freq.size(), 801u);
    EXPECT_TRUE(traces[0] == traces[1]);
}

// One tuning on the recording's own centre at its own rate: the tuner passes the samples through.
// The max-min columns are the traces of the peak and min detectors, point for point.
TEST_F(CorvaneAnalyze, MaxMinOnTheRecordingsOwnCentreIsPeakAndMin) {
    const std::vector<std::string> band = {Rec("rec.cf32"), "--rate", "10M",      "--center", "100M",
                                           "--rbw",         "20k",    "--blocks", "40"};
    std::map<std::string, CsvTrace> t;
    for (const char* det : {"max-min", "peak", "min"}) {
        std::vector<std::string> args = band;
        args.insert(args.end(), {"--detector", det, "-o", "t.csv"});
        const RunResult r = RunTool(args);
        ASSERT_EQ(r.code, 0) << det << ": " << r.err;
        t[det] = ReadCsv(ReadAll("t.csv"));
    }
    ASSERT_EQ(t["max-min"].columns.size(), 2u);
    ASSERT_EQ(t["max-min"].freq.size(), 1001u);
    for (size_t k = 0; k < t["max-min"].freq.size(); ++k) {
        EXPECT_EQ(t["max-min"].columns[0][k], t["peak"].columns[0][k]) << t["peak"].freq[k];
        EXPECT_EQ(t["max-min"].columns[1][k], t["min"].columns[0][k]) << t["min"].freq[k];
    }
    for (const auto& tone : tones_) {
        const size_t k = Nearest(t["peak"].freq, center_ + tone.first);
        EXPECT_NEAR(t["peak"].columns[0][k], tone.second, 0.1) << tone.first;
    }
}

// A wisdom file is written by the first run that plans with it and read by the next, which then
// plans the same transforms: the same trace to the last bit. Measured plans differ from estimated
// ones by float rounding only.
TEST_F(CorvaneAnalyze, FftWisdomFileIsWrittenThenReusedAndChangesOnlyRounding) {
    const std::vector<std::string> base = {Rec("rec.cf32"), "--rate",   "10M",      "--center", "100M",
                                           "--rbw",         "50k",      "--points", "501",      "--detector",
                                           "mean",          "--blocks", "30"};
    auto run = [&](std::vector<std::string> more, const std::string& csv) {
        std::vector<std::string> args = base;
        args.insert(args.end(), more.begin(), more.end());
        args.insert(args.end(), {"-o", csv});
        const RunResult r = RunTool(args);
        EXPECT_EQ(r.code, 0) << r.err;
        return ReadAll(csv);
    };
    const std::string plain = run({}, "plain.csv");
    ASSERT_FALSE(fs::exists("w.fftw"));
    const std::string first = run({"--fft-wisdom", "w.fftw"}, "first.csv");
    ASSERT_TRUE(fs::exists("w.fftw"));
    const std::string wisdom = ReadAll("w.fftw");
    EXPECT_NE(wisdom.find("fftwf_wisdom"), std::string::npos);
    const std::string second = run({"--fft-wisdom", "w.fftw"}, "second.csv");
    EXPECT_TRUE(first == second);
    EXPECT_EQ(ReadAll("w.fftw"), wisdom);  // nothing new to learn
    const CsvTrace a = ReadCsv(plain), b = ReadCsv(first);
    ASSERT_EQ(a.freq.size(), 501u);
    ASSERT_EQ(b.freq.size(), 501u);
    // Rounding of a float transform is relative to the largest value it holds: compare amplitudes
    // against the strongest tone's (a relative error of a few float epsilons times log2 of the length).
    double peak = 0.0;
    for (double v : a.columns[0])
        peak = std::max(peak, std::pow(10.0, v / 20.0));
    for (size_t k = 0; k < a.freq.size(); ++k)
        EXPECT_NEAR(std::pow(10.0, a.columns[0][k] / 20.0), std::pow(10.0, b.columns[0][k] / 20.0),
                    2e-6 * peak)
            << a.freq[k];
    // No temporary file is left beside the wisdom.
    int files = 0;
    for (const auto& e : fs::directory_iterator("."))
        files += e.path().filename().string().find("w.fftw") != std::string::npos;
    EXPECT_EQ(files, 1);
}

TEST_F(CorvaneAnalyze, FftWisdomFileThatIsNotWisdomExitsWithCode3) {
    std::ofstream("bad.fftw") << "(not wisdom)\n";
    const RunResult r =
        RunTool({Rec("rec.cf32"), "--rate", "10M", "--fft-wisdom", "bad.fftw", "-o", "x.csv"});
    EXPECT_EQ(r.code, 3) << r.err;
    EXPECT_NE(r.err.find("bad.fftw"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists("x.csv"));
    EXPECT_EQ(ReadAll("bad.fftw"), "(not wisdom)\n");
}

TEST_F(CorvaneAnalyze, LinearUnitIsPowerOfTheDecibelTrace) {
    const RunResult a =
        RunTool(Stepped(Rec("rec-ci16.sigmf-meta"), {"--rbw", "30k", "--blocks", "50", "-o", "db.csv"}));
    const RunResult b = RunTool(Stepped(
        Rec("rec-ci16.sigmf-meta"), {"--rbw", "30k", "--blocks", "50", "--unit", "linear", "-o", "lin.csv"}));
    ASSERT_EQ(a.code, 0) << a.err;
    ASSERT_EQ(b.code, 0) << b.err;
    const CsvTrace db = ReadCsv(ReadAll("db.csv")), lin = ReadCsv(ReadAll("lin.csv"));
    ASSERT_EQ(db.freq.size(), lin.freq.size());
    for (size_t k = 0; k < db.freq.size(); ++k)
        EXPECT_NEAR(10.0 * std::log10(lin.columns[0][k] + 1e-40), db.columns[0][k], 1e-3);
}

TEST_F(CorvaneAnalyze, MatFileHoldsTheCsvTrace) {
    const RunResult r =
        RunTool(Stepped(Rec("rec.iqt"), {"--rbw", "30k", "--blocks", "20", "-o", "t.csv", "--mat", "t.mat"}));
    ASSERT_EQ(r.code, 0) << r.err;
    const CsvTrace t = ReadCsv(ReadAll("t.csv"));
    const std::vector<double> v = corvane_test::PyEval(
        "import scipy.io\nm = scipy.io.loadmat('" + fs::absolute("t.mat").string() +
            "')\nout = np.concatenate([m['frequency'].ravel(), m['level'].ravel(), m['rbw'].ravel()])",
        {});
    ASSERT_EQ(v.size(), 2 * t.freq.size() + 1);
    for (size_t k = 0; k < t.freq.size(); ++k) {
        EXPECT_NEAR(v[k], t.freq[k], 1e-3 * std::fabs(t.freq[k]) * 1e-6);
        EXPECT_NEAR(v[t.freq.size() + k], t.columns[0][k], 1e-5);
    }
    EXPECT_NEAR(v.back(), 30e3, 30.0);
}

TEST_F(CorvaneAnalyze, PngPlotIsWritten) {
    if (std::system("command -v octave-cli > /dev/null 2>&1") != 0) GTEST_SKIP() << "octave-cli not on PATH";
    const RunResult r =
        RunTool(Stepped(Rec("rec-ci16.sigmf-meta"), {"--rbw", "30k", "--blocks", "20", "--png", "t.png"}));
    ASSERT_EQ(r.code, 0) << r.err;
    const std::string png = ReadAll("t.png");
    ASSERT_GT(png.size(), 1000u);
    EXPECT_EQ(png.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
    for (const auto& e : fs::directory_iterator(fs::current_path()))
        EXPECT_EQ(e.path().filename().string().find(".part"), std::string::npos) << e.path();
}

TEST_F(CorvaneAnalyze, DemoRecordingWithNoInput) {
    const RunResult r = RunTool({"--points", "501"});
    ASSERT_EQ(r.code, 0) << r.err;
    const CsvTrace t = ReadCsv(r.out);
    EXPECT_EQ(t.freq.size(), 501u);
    // The demo's strongest tone: -10 dB at 100.1 MHz.
    size_t best = 0;
    for (size_t k = 1; k < t.freq.size(); ++k)
        if (t.columns[0][k] > t.columns[0][best]) best = k;
    EXPECT_NEAR(t.freq[best], 100.1e6, 2e3);
    EXPECT_NEAR(t.columns[0][best], -10.0, 0.1);
    EXPECT_NE(r.err.find("highest"), std::string::npos);
}

TEST_F(CorvaneAnalyze, HelpListsExitCodesAndExamples) {
    const RunResult r = RunTool({"--help"});
    EXPECT_EQ(r.code, 0);
    for (const char* s : {"Exit codes", "  2  ", "  3  ", "  4  ", "Examples", "--detector", "cispr-peak"})
        EXPECT_NE(r.out.find(s), std::string::npos) << s;
}

TEST_F(CorvaneAnalyze, BlockQuasiPeakRunsWithTheCisprWindowAndSaysWhenUnsettled) {
    const RunResult r = RunTool({Rec("rec-ci16.sigmf-meta"), "--center", "100M", "--span", "2M", "--points",
                                 "201", "--rbw", "120k", "--detector", "qp-block", "-o", "qp.csv"});
    ASSERT_EQ(r.code, 0) << r.err;
    // 0.21 s of recording against the 2.2 s the meter needs: a one-line note, then the result.
    EXPECT_NE(r.err.find("has not settled"), std::string::npos) << r.err;
    const CsvTrace t = ReadCsv(ReadAll("qp.csv"));
    EXPECT_EQ(t.freq.size(), 201u);
    const RunResult peak =
        RunTool({Rec("rec-ci16.sigmf-meta"), "--center", "100M", "--span", "2M", "--points", "201", "--rbw",
                 "120k", "--detector", "cispr-peak", "-o", "pk.csv"});
    ASSERT_EQ(peak.code, 0) << peak.err;
    const CsvTrace p = ReadCsv(ReadAll("pk.csv"));
    // The CISPR peak of a steady tone is its level; the unsettled quasi-peak lies below it.
    const size_t k = Nearest(p.freq, center_ - 0.5e6);
    EXPECT_NEAR(p.columns[0][k], -15.0, 0.5);
    EXPECT_LT(t.columns[0][k], p.columns[0][k]);
}

// The receiver path on a band B recording long enough for its meter (1.2 s against 0.8 s): a steady
// tone reads its amplitude on the quasi-peak, as it does on the peak detector of the block path, and a
// measuring frequency five bandwidths away sees nothing of it.
TEST_F(CorvaneAnalyze, ReceiverQuasiPeakOfASteadyToneIsItsLevel) {
    const double rate = 400e3, centre = 1e6, offset = 50e3, amplitude = 0.05;
    const int n = static_cast<int>(1.2 * rate);
    {
        std::vector<float> iq(2 * static_cast<size_t>(n));
        for (int k = 0; k < n; ++k) {
            const double ph = 2.0 * M_PI * offset * k / rate;
            iq[2 * static_cast<size_t>(k)] = static_cast<float>(amplitude * std::cos(ph));
            iq[2 * static_cast<size_t>(k) + 1] = static_cast<float>(amplitude * std::sin(ph));
        }
        std::ofstream("tone.cf32", std::ios::binary)
            .write(reinterpret_cast<const char*>(iq.data()),
                   static_cast<std::streamsize>(iq.size() * sizeof(float)));
    }
    const std::vector<std::string> common{"tone.cf32", "--rate", "400k", "--center", "1M", "--start",
                                          "0.9M",      "--stop", "1.1M", "--points", "41"};
    std::vector<std::string> qp = common;
    qp.insert(qp.end(), {"--detector", "qp", "-o", "qp.csv"});
    const RunResult r = RunTool(qp);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err.find("has not settled"), std::string::npos) << r.err;
    const CsvTrace t = ReadCsv(ReadAll("qp.csv"));
    ASSERT_EQ(t.freq.size(), 41u);
    const double level = 20.0 * std::log10(amplitude);
    const size_t k = Nearest(t.freq, centre + offset);
    EXPECT_NEAR(t.columns[0][k], level, 0.1);
    EXPECT_LT(t.columns[0][Nearest(t.freq, centre)], level - 40.0);

    std::vector<std::string> peak = common;
    peak.insert(peak.end(), {"--detector", "peak", "--rbw", "9k", "-o", "pk.csv"});
    const RunResult rp = RunTool(peak);
    ASSERT_EQ(rp.code, 0) << rp.err;
    const CsvTrace p = ReadCsv(ReadAll("pk.csv"));
    EXPECT_NEAR(p.columns[0][Nearest(p.freq, centre + offset)], t.columns[0][k], 0.2);

    // Half the recording: the meter has not settled, the note says so, and the reading lies below.
    std::vector<std::string> shortRun = common;
    shortRun.insert(shortRun.end(), {"--detector", "qp", "--blocks", "2", "-o", "short.csv"});
    const RunResult rs = RunTool(shortRun);
    ASSERT_EQ(rs.code, 0) << rs.err;
    EXPECT_NE(rs.err.find("has not settled"), std::string::npos) << rs.err;
    EXPECT_LT(ReadCsv(ReadAll("short.csv")).columns[0][k], level - 0.1);
}

// Every failure: its exit code, exactly one line on standard error, nothing on standard output, and no
// output file (nor a temporary) left in the directory.
void ExpectFailure(const RunResult& r, int code, const std::string& what) {
    EXPECT_EQ(r.code, code) << what << ": " << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << what << ": " << r.err;
    EXPECT_EQ(r.err.rfind("corvane-analyze: ", 0), 0u) << what << ": " << r.err;
    EXPECT_TRUE(r.out.empty()) << what;
    for (const auto& e : fs::directory_iterator(fs::current_path())) {
        const std::string f = e.path().filename().string();
        EXPECT_TRUE(f.find(".csv") == std::string::npos && f.find(".mat") == std::string::npos &&
                    f.find(".png") == std::string::npos && f.find(".part") == std::string::npos)
            << what << " left " << f;
    }
}

TEST_F(CorvaneAnalyze, BadArgumentsExitWithCode2AndOneLine) {
    const std::string meta = Rec("rec-ci16.sigmf-meta");
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
        {"unknown option", {meta, "--frobnicate", "-o", "x.csv"}},
        {"missing value", {meta, "-o", "x.csv", "--rbw"}},
        {"number", {meta, "--rbw", "abc", "-o", "x.csv"}},
        {"number suffix", {meta, "--rbw", "10x", "-o", "x.csv"}},
        {"negative rbw", {meta, "--rbw", "-5", "-o", "x.csv"}},
        {"infinite", {meta, "--span", "inf", "-o", "x.csv"}},
        {"one point", {meta, "--points", "1", "-o", "x.csv"}},
        {"points not a number", {meta, "--points", "12.5", "-o", "x.csv"}},
        {"window", {meta, "--window", "triangle", "-o", "x.csv"}},
        {"detector", {meta, "--detector", "average", "-o", "x.csv"}},
        {"unit", {meta, "--unit", "dBm", "-o", "x.csv"}},
        {"start alone", {meta, "--start", "99M", "-o", "x.csv"}},
        {"start and span", {meta, "--start", "99M", "--stop", "101M", "--span", "1M", "-o", "x.csv"}},
        {"stop below start", {meta, "--start", "101M", "--stop", "99M", "-o", "x.csv"}},
        {"outside the band", {meta, "--start", "90M", "--stop", "101M", "-o", "x.csv"}},
        {"tuner span above the rate", {meta, "--tuner-span", "20M", "-o", "x.csv"}},
        {"rbw too narrow for the recording", {meta, "--rbw", "1", "-o", "x.csv"}},
        {"qp with a window", {meta, "--detector", "qp", "--window", "hann", "-o", "x.csv"}},
        {"qp-block with another window", {meta, "--detector", "qp-block", "--window", "hann", "-o", "x.csv"}},
        {"qp with another band's bandwidth", {meta, "--detector", "qp", "--rbw", "9k", "-o", "x.csv"}},
        {"qp with a tuner span", {meta, "--detector", "qp", "--tuner-span", "2.5M", "-o", "x.csv"}},
        {"qp with a video bandwidth", {meta, "--detector", "qp", "--vbw", "1k", "-o", "x.csv"}},
        {"band without qp", {meta, "--band", "B", "-o", "x.csv"}},
        {"unknown band", {meta, "--detector", "qp", "--band", "E", "-o", "x.csv"}},
        {"qp filter outside the band",
         {meta, "--detector", "qp", "--start", "95.01M", "--stop", "96M", "-o", "x.csv"}},
        {"rate with SigMF", {meta, "--rate", "1M", "-o", "x.csv"}},
        {"rate with iqt", {Rec("rec.iqt"), "--rate", "1M", "-o", "x.csv"}},
        {"raw without rate", {Rec("rec.cf32"), "-o", "x.csv"}},
        {"two inputs", {meta, Rec("rec.iqt"), "-o", "x.csv"}},
        {"same output twice", {meta, "-o", "x.png", "--png", "x.png"}},
        {"blocks zero", {meta, "--blocks", "0", "-o", "x.csv"}},
        {"wisdom is the output", {meta, "--fft-wisdom", "x.csv", "-o", "x.csv"}},
        {"wisdom without a name", {meta, "-o", "x.csv", "--fft-wisdom", ""}},
        {"threads zero", {meta, "--threads", "0", "-o", "x.csv"}},
        {"threads too many", {meta, "--threads", "65", "-o", "x.csv"}},
        {"threads not a number", {meta, "--threads", "two", "-o", "x.csv"}},
    };
    for (const auto& c : cases)
        ExpectFailure(RunTool(c.second), 2, c.first);
}

TEST_F(CorvaneAnalyze, BadFilesExitWithCode3AndOneLine) {
    auto write = [](const std::string& name, const std::string& bytes) {
        std::ofstream(name, std::ios::binary) << bytes;
        return fs::absolute(name).string();
    };
    const std::string goodMeta = ReadAll(Rec("rec-ci16.sigmf-meta"));
    auto metaWith = [&](const std::string& from, const std::string& to) {
        std::string m = goodMeta;
        const size_t at = m.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        if (at != std::string::npos) m.replace(at, from.size(), to);
        return m;
    };
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
        {"missing file", {"no-such-file.cf32", "--rate", "1M", "-o", "x.csv"}},
        {"missing iqt", {"no-such-file.iqt", "-o", "x.csv"}},
        {"missing SigMF", {"no-such-file.sigmf-meta", "-o", "x.csv"}},
        {"directory", {fs::current_path().string(), "--rate", "1M", "-o", "x.csv"}},
        {"odd byte count", {write("odd.cf32", std::string(1001, '\0')), "--rate", "1M", "-o", "x.csv"}},
        {"empty raw", {write("empty.cf32", ""), "--rate", "1M", "-o", "x.csv"}},
        {"iqt garbage", {write("bad.iqt", "9999999999 not a header"), "-o", "x.csv"}},
        {"iqt no block size", {write("nobs.iqt", "212FFTPoints=16\r\nValidFrames=1\r\n"), "-o", "x.csv"}},
    };
    for (const auto& c : cases)
        ExpectFailure(RunTool(c.second), 3, c.first);

    // SigMF: metadata that is wrong, and data that does not match it.
    const std::string data = std::string(4000, '\0');
    struct SigCase {
        const char* what;
        std::string meta;
        std::string data;
    };
    const std::vector<SigCase> sig = {
        {"no sample rate", metaWith("\"core:sample_rate\": 10000000.0,", ""), data},
        {"unknown datatype", metaWith("ci16_le", "cq99_le"), data},
        {"not JSON", "{ \"global\": ", data},
        {"odd data size", goodMeta, std::string(4001, '\0')},
        {"negative rate", metaWith("10000000.0", "-1"), data},
    };
    for (const SigCase& s : sig) {
        write("s.sigmf-meta", s.meta);
        write("s.sigmf-data", s.data);
        ExpectFailure(RunTool({"s.sigmf-meta", "-o", "x.csv"}), 3, s.what);
    }
}

TEST_F(CorvaneAnalyze, OutputFailureExitsWithCode4AndLeavesNoFile) {
    const std::string meta = Rec("rec-ci16.sigmf-meta");
    // The CSV could be written, the MAT-file cannot: neither is left.
    ExpectFailure(RunTool({meta, "--blocks", "5", "-o", "x.csv", "--mat", "no-such-dir/x.mat"}), 4,
                  "mat dir");
    ExpectFailure(RunTool({meta, "--blocks", "5", "-o", "no-such-dir/x.csv"}), 4, "csv dir");
    // No plotting engine on PATH: the PNG fails, and the CSV beside it goes too.
    ExpectFailure(RunTool({meta, "--blocks", "5", "-o", "x.csv", "--png", "x.png"}, "/nonexistent"), 4,
                  "no octave");
}

TEST_F(CorvaneAnalyze, NoProgressBarWhenStandardErrorIsNotATerminal) {
    const RunResult r = RunTool(Stepped(Rec("rec-ci16.sigmf-meta"), {"--rbw", "30k", "-o", "t.csv"}));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err.find('\r'), std::string::npos);
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;  // the summary alone
    const RunResult q = RunTool(Stepped(Rec("rec-ci16.sigmf-meta"), {"--rbw", "30k", "-q", "-o", "t.csv"}));
    ASSERT_EQ(q.code, 0);
    EXPECT_TRUE(q.err.empty()) << q.err;
}

}  // namespace
