// Every public constructor and setter of the measurement, transform, window, IQ and container classes,
// given hostile values one argument at a time (0, -1, INT_MAX, INT_MIN, NaN, +/-Inf, 1e300, empty
// vectors, views made by ShiftLeft and Truncate), and then used once. Each case runs in a child process
// of its own: the case passes when the child returns cleanly or with a VELAException of a known code,
// and fails on a signal (a crash, a sanitizer's abort, a timeout) or any other exception.
#include <corvane/corvane.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const std::vector<int> kInts = {0, -1, 1, 2, 3, INT_MAX, INT_MIN, 1 << 30};
const std::vector<double> kDoubles = {0.0, -1.0, kNaN, kInf, -kInf, 1e300, -1e300, 1e-300};

bool KnownCode(VELAErrorCodeTag c) {
    return VELAErrorMessage(c) != nullptr;
}

// Exit codes of the child.
constexpr int kClean = 0;
constexpr int kUnknownCode = 3;
constexpr int kOtherException = 4;
constexpr int kSecondsPerCase = 120;

// Runs `body` in a child process and returns "" when it ended cleanly (normal return or a
// VELAException with a known code), otherwise how it ended.
std::string RunIsolated(const std::function<void()>& body) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0) return "fork failed";
    if (pid == 0) {
        alarm(kSecondsPerCase);
        int code = kClean;
        try {
            body();
        } catch (const VELAException& e) {
            code = KnownCode(e.code) ? kClean : kUnknownCode;
        } catch (...) {
            code = kOtherException;
        }
        std::fflush(stdout);
        _exit(code);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
    }
    if (WIFSIGNALED(status)) {
        const int sig = WTERMSIG(status);
        return sig == SIGALRM ? "timeout" : "signal " + std::to_string(sig);
    }
    const int code = WEXITSTATUS(status);
    if (code == kUnknownCode) return "VELAException with an unknown code";
    if (code == kOtherException) return "an exception other than VELAException";
    if (code != kClean) return "exit " + std::to_string(code);
    return "";
}

struct Case {
    std::string name;
    std::function<void()> body;
};

void RunAll(const std::vector<Case>& cases) {
    corvane_test::ScopedWorkDir dir;  // allocation failure reports land here
    for (const Case& c : cases) {
        const std::string how = RunIsolated(c.body);
        EXPECT_EQ(how, "") << c.name;
    }
}

std::string Str(double v) {
    char b[32];
    std::snprintf(b, sizeof b, "%g", v);
    return b;
}

// Inputs for the Apply after a setter: empty, one sample, plain blocks, and views into a block.
std::vector<VecCplx32> CplxInputs(int n) {
    std::vector<VecCplx32> r;
    r.reserve(5);  // copies of a view are plain vectors: the views must never be moved by a regrowth
    r.emplace_back();
    r.emplace_back(1);
    if (n > 0 && n < (1 << 22)) {
        r.emplace_back(n);
        r.emplace_back(n + 3);
        r.back().ShiftLeft(3);  // a view starting three elements into its block
        r.emplace_back(n + 5);
        r.back().Truncate(1, n);  // a view inside its block
    }
    for (VecCplx32& v : r)
        for (int i = 0; i < v.GetSize(); ++i)
            v[i] = {0.25f * static_cast<float>(i % 7), -0.5f};
    return r;
}

}  // namespace

TEST(HostileInput, Containers) {
    std::vector<Case> cases;
    for (int n : kInts) {
        const std::string s = std::to_string(n);
        cases.push_back({"VecReal32(" + s + ")", [n] {
                             VecReal32 v(n);
                             v.SetZero();
                         }});
        cases.push_back({"VecReal64(" + s + ")", [n] {
                             VecReal64 v(n);
                             v.SetZero();
                         }});
        cases.push_back({"VecCplx32(" + s + ")", [n] {
                             VecCplx32 v(n);
                             v.SetZero();
                         }});
        cases.push_back({"VecCplx64(" + s + ")", [n] {
                             VecCplx64 v(n);
                             v.SetZero();
                         }});
        cases.push_back({"VecInt16(" + s + ")", [n] {
                             VecInt16 v(n);
                             v.SetZero();
                         }});
        cases.push_back({"VecInt32(" + s + ")", [n] {
                             VecInt32 v(n);
                             v.SetZero();
                         }});
        cases.push_back({"VecUInt32(" + s + ")", [n] {
                             VecUInt32 v(n);
                             v.SetZero();
                         }});
        cases.push_back({"VecReal32::Resize(" + s + ")", [n] {
                             VecReal32 v(4);
                             v.Resize(n);
                         }});
        cases.push_back({"VecCplx32::Resize(" + s + ")", [n] {
                             VecCplx32 v(4);
                             v.Resize(n);
                         }});
        for (int m : {0, -1, 3, INT_MAX, 65536}) {
            const std::string rc = s + ", " + std::to_string(m);
            cases.push_back({"MatReal32(" + rc + ")", [n, m] {
                                 MatReal32 a(n, m);
                                 a.SetZero();
                             }});
            cases.push_back({"MatReal64(" + rc + ")", [n, m] {
                                 MatReal64 a(n, m);
                                 a.SetZero();
                             }});
            cases.push_back({"BitVector(" + rc + ")", [n, m] { BitVector b(n, m); }});
            cases.push_back({"MatReal32::Resize(" + rc + ")", [n, m] {
                                 MatReal32 a(2, 2);
                                 a.Resize(n, m);
                             }});
        }
    }
    RunAll(cases);
}

TEST(HostileInput, Transforms) {
    std::vector<Case> cases;
    for (int n : kInts) {
        const std::string s = std::to_string(n);
        cases.push_back({"DFT(" + s + ")", [n] {
                             DFT d(n);
                             for (VecCplx32& in : CplxInputs(n > 0 && n < 4096 ? n : 8)) {
                                 VecCplx32 out;
                                 if (n > 0 && n < 4096 && in.GetSize() == n) d.Forward(out, in);
                             }
                         }});
        cases.push_back({"FFT(" + s + ")", [n] { FFT f(n); }});
        cases.push_back({"FT(" + s + ", 2)", [n] {
                             FT ft(n, static_cast<VELAAlgorithm>(n));
                             for (VecCplx32& in : CplxInputs(9)) {
                                 VecCplx32 out;
                                 ft.Forward(out, in);
                                 ft.Inverse(out, in);
                             }
                         }});
    }
    // ChirpZ: each argument in turn.
    auto chirp = [](int n, double fs, int m, double start, double step, bool wide) {
        ChirpZ cz(n, fs, m, start, step, wide);
        for (VecCplx32& in : CplxInputs(n)) {
            VecCplx32 out;
            if (!wide) {
                try {
                    cz.Apply(out, in);
                } catch (const VELAException&) {
                }
            }
        }
        VecCplx64 in64(n > 0 && n < (1 << 22) ? n : 1), out64;
        in64.SetZero();
        cz.Apply(out64, in64);
    };
    for (bool wide : {false, true}) {
        for (int v : kInts) {
            cases.push_back(
                {"ChirpZ(N=" + std::to_string(v) + ")", [=] { chirp(v, 1e6, 16, 0.0, 100.0, wide); }});
            cases.push_back(
                {"ChirpZ(M=" + std::to_string(v) + ")", [=] { chirp(16, 1e6, v, 0.0, 100.0, wide); }});
        }
        for (double d : kDoubles) {
            cases.push_back({"ChirpZ(fs=" + Str(d) + ")", [=] { chirp(16, d, 16, 0.0, 100.0, wide); }});
            cases.push_back({"ChirpZ(start=" + Str(d) + ")", [=] { chirp(16, 1e6, 16, d, 100.0, wide); }});
            cases.push_back({"ChirpZ(step=" + Str(d) + ")", [=] { chirp(16, 1e6, 16, 0.0, d, wide); }});
        }
    }
    RunAll(cases);
}

TEST(HostileInput, Windows) {
    std::vector<Case> cases;
    std::vector<std::pair<std::string, std::function<Window*()>>> kinds = {
        {"Window", [] { return new Window(); }},
        {"BlackmanHarris", [] { return new BlackmanHarrisWindow(); }},
        {"FlatTop", [] { return new FlatTopWindow(); }},
        {"Hann", [] { return new HannWindow(); }},
        {"Gauss", [] { return new GaussWindow(); }},
        {"Kaiser", [] { return new KaiserWindow(); }},
        {"CISPR6dB", [] { return new CISPR6dBWindow(); }},
        {"Taylor", [] { return new TaylorWindow(8); }},
    };
    auto use = [](Window& w) {
        const int n = w.GetSize();
        for (VecCplx32& in : CplxInputs(n > 0 && n < (1 << 22) ? n : 4)) {
            VecCplx32 out;
            w.Apply(out, in);
            w.Apply(in);
        }
        VecReal32 r(3), ro;
        r.SetZero();
        w.Apply(ro, r);
        if (n >= 0 && n < (1 << 22)) {
            w.GetENBW();
            w.GetPowerAdjustIndB();
        }
    };
    for (auto& [name, make] : kinds) {
        for (int n : kInts) {
            for (double p : {0.0, -1.0, kNaN, kInf, -kInf, 1e300, 3.5}) {
                const float para = static_cast<float>(p);
                cases.push_back({name + "::SetParameters(" + std::to_string(n) + ", " + Str(p) + ")", [=] {
                                     Window* w = make();
                                     try {
                                         w->SetParameters(n, para);
                                     } catch (const VELAException&) {
                                         use(*w);
                                         delete w;
                                         throw;
                                     }
                                     use(*w);
                                     delete w;
                                 }});
            }
            cases.push_back({name + "::SetParameters(" + std::to_string(n) + ")", [=] {
                                 Window* w = make();
                                 w->SetParameters(n);
                                 use(*w);
                                 delete w;
                             }});
        }
    }
    for (int nbar : {0, -1, 1, 2, 100, 46341, 46342, INT_MAX, INT_MIN})
        for (double sll : {-30.0, 0.0, 10.0, kNaN, -kInf, -1e300})
            cases.push_back({"TaylorWindow(16, " + Str(sll) + ", " + std::to_string(nbar) + ")", [=] {
                                 TaylorWindow w(nbar > 1000 ? 3 : 16, static_cast<float>(sll), nbar);
                                 use(w);
                             }});
    for (int t : {-1, 0, 7, 8, 9, INT_MAX, INT_MIN})
        for (int n : {0, -1, 16, INT_MAX})
            cases.push_back({"WindowFactory(" + std::to_string(t) + ", " + std::to_string(n) + ")", [=] {
                                 WindowFactory f;
                                 Window* w = f.MakeWindow(static_cast<WindowType>(t), n, 2.0f);
                                 if (w) use(*w);
                                 f.SetParameters(w, 8, 1.0f);
                                 f.SetParameters(w, 8);
                                 Window* e = f.MakeWindow(static_cast<WindowType>(t));
                                 f.SetParameters(e, n);
                                 if (e && e != w) use(*e);
                                 delete w;
                                 if (e != w) delete e;
                             }});
    RunAll(cases);
}

TEST(HostileInput, Measurements) {
    std::vector<Case> cases;
    // Spectrum
    for (int n : kInts)
        for (int t : {0, 2, 5, 8, -1})
            cases.push_back({"Spectrum(" + std::to_string(n) + ", " + std::to_string(t) + ")", [=] {
                                 Spectrum s(n, static_cast<WindowType>(t), 0.0f);
                                 for (VecCplx32& in : CplxInputs(n)) {
                                     VecReal32 out;
                                     if (in.GetSize() == n) s.Apply(out, in);
                                 }
                             }});
    // VideoBandwidth
    for (double r : kDoubles)
        for (int n : kInts)
            cases.push_back({"VideoBandwidth(" + Str(r) + ", " + std::to_string(n) + ")", [=] {
                                 VideoBandwidth v;
                                 v.GetSamples(r);
                                 v.GetSamples(r, n);
                             }});
    // CISPRDetector
    for (double f : kDoubles)
        for (double rbw : {9e3, 0.0, -1.0, kNaN, kInf, 1e300})
            cases.push_back({"CISPRDetector(" + Str(f) + ", rbw " + Str(rbw) + ")", [=] {
                                 CISPRDetector det(f);
                                 double acqTime = 0;
                                 int acqNum = 0;
                                 det.GetHWAcqParameters(acqTime, acqNum, f, rbw);
                                 VecReal32 in(5), out;
                                 in.SetZero();
                                 for (int d = 5; d <= 9; ++d)
                                     for (int k = 0; k < 3; ++k)
                                         det.Apply(out, in, k, 3, static_cast<DetectorType>(d));
                                 VecReal32 empty;
                                 det.Apply(out, empty, 0, 1, DetectorCISPRQuasiPeak);
                                 det.GetQPBuf(out);
                             }});
    // DigitalSource and DigitalZoom: each argument of the source and of the tuning in turn.
    const double src[3] = {1e9, 10e6, 25e6};
    const double tune[2] = {1.0005e9, 1e6};
    for (int which = 0; which < 5; ++which)
        for (double d : kDoubles) {
            double a[5] = {src[0], src[1], src[2], tune[0], tune[1]};
            a[which] = d;
            cases.push_back({"DigitalSource arg " + std::to_string(which) + " = " + Str(d), [=] {
                                 DigitalSource s;
                                 s.SetSource(a[0], a[1], a[2]);
                                 s.SetParameters(a[3], a[4]);
                                 const int need = s.GetRequiredOrigDataLen(100);
                                 for (VecCplx32& in : CplxInputs(need)) {
                                     VecCplx32 out;
                                     try {
                                         s.Apply(out, in);
                                     } catch (const VELAException&) {
                                     }
                                 }
                             }});
            cases.push_back({"DigitalZoom arg " + std::to_string(which) + " = " + Str(d), [=] {
                                 DigitalZoom z(a[0], a[1], a[2]);
                                 const int need = z.SetParameters(a[3], a[4], 1000.0, WindowTypeFlatTop, 0.0);
                                 for (VecCplx32& in : CplxInputs(need)) {
                                     VecReal32 out;
                                     double bin = 0;
                                     try {
                                         z.Apply(out, bin, in);
                                     } catch (const VELAException&) {
                                     }
                                 }
                             }});
        }
    for (double rbw : kDoubles)
        for (int t : {0, 7, 8, -1, INT_MAX})
            cases.push_back({"DigitalZoom rbw " + Str(rbw) + " window " + std::to_string(t), [=] {
                                 DigitalZoom z(1e9, 10e6, 25e6);
                                 z.SetParameters(1.001e9, 1e6, rbw, static_cast<WindowType>(t), rbw);
                             }});
    RunAll(cases);
}

TEST(HostileInput, DigitalIQDownconverter) {
    // Each argument of SetParameters in turn, estimated and built, then a stream of real inputs of
    // several lengths and layouts (empty, one sample, the filter's need, views), ending with an abort
    // request and Flush.
    std::vector<Case> cases;
    auto run = [](double center, double rate, double span, int numOutput, bool estimate) {
        DigitalIQDownconverter dc;
        double outRate = 0, delay = 0;
        int required = 0;
        try {
            dc.SetParameters(outRate, required, delay, center, rate, span, numOutput, estimate);
        } catch (const VELAException&) {
        }
        const int need = required > 0 && required < (1 << 20) ? required : 200;
        for (int n : {need, 0, 1, 81, need + 3}) {
            std::vector<VecReal32> inputs;
            inputs.reserve(3);
            inputs.emplace_back(n);
            inputs.emplace_back(n + 3);
            inputs.back().ShiftLeft(3);
            inputs.emplace_back(n + 5);
            inputs.back().Truncate(1, n);
            for (VecReal32& in : inputs) {
                for (int i = 0; i < in.GetSize(); ++i)
                    in[i] = 0.25f * static_cast<float>(i % 7) - 0.5f;
                VecCplx32 out;
                dc.Apply(out, in);
            }
        }
        dc.RequestAbort();
        dc.Flush();
        VecReal32 in(need);
        in.SetZero();
        VecCplx32 out;
        dc.Apply(out, in);
    };
    for (double d : kDoubles)
        for (bool estimate : {true, false}) {
            const std::string e = estimate ? " (estimate)" : "";
            cases.push_back(
                {"DigitalIQDownconverter center " + Str(d) + e, [=] { run(d, 6.25e9, 1e9, 100, estimate); }});
            cases.push_back(
                {"DigitalIQDownconverter rate " + Str(d) + e, [=] { run(2e9, d, 1e9, 100, estimate); }});
            cases.push_back(
                {"DigitalIQDownconverter span " + Str(d) + e, [=] { run(2e9, 6.25e9, d, 100, estimate); }});
        }
    for (int n : kInts)
        for (bool estimate : {true, false})
            cases.push_back(
                {"DigitalIQDownconverter numOutput " + std::to_string(n) + (estimate ? " (estimate)" : ""),
                 [=] { run(2e9, 6.25e9, 1e9, n, estimate); }});
    RunAll(cases);
}

TEST(HostileInput, SteppedSpectrum) {
    std::vector<Case> cases;
    struct Args {
        double span = 10e6, center = 1e9, rbw = 100e3;
        int window = WindowTypeFlatTop, points = 101;
        double acqSpan = 36e6, sampFreq = 50e6;
        int acqSamples = 0, detector = DetectorMax;
        double vbw = 0.0;
        int cisprBlocks = 0;
    };
    auto run = [](const Args& a) {
        SteppedSpectrum ss;
        VecReal64 freqs, spans;
        VecInt32 samples, points;
        double rbw = 0, vbw = 0;
        ss.Init(freqs, spans, samples, points, rbw, vbw, a.span, a.center, a.rbw,
                static_cast<WindowType>(a.window), a.points, a.acqSpan, a.sampFreq, a.acqSamples,
                static_cast<DetectorType>(a.detector), false, a.vbw, a.cisprBlocks);
        const int tunings = freqs.GetSize();
        VecReal32 out, mag;
        for (int i = 0; i < tunings && i < 3; ++i)
            for (VecCplx32& in : CplxInputs(samples[i])) {
                try {
                    ss.Apply(out, in, i);
                    ss.Apply1(mag, in, i);
                    ss.Apply2(out, mag, i, DetectorAve);
                } catch (const VELAException&) {
                }
            }
        VecCplx32 none;
        ss.Apply(out, none, -1);
    };
    const Args base;
    for (double d : kDoubles) {
        Args a = base;
        a.span = d;
        cases.push_back({"span " + Str(d), [=] { run(a); }});
        a = base;
        a.center = d;
        cases.push_back({"center " + Str(d), [=] { run(a); }});
        a = base;
        a.rbw = d;
        cases.push_back({"rbw " + Str(d), [=] { run(a); }});
        a = base;
        a.acqSpan = d;
        cases.push_back({"acqSpan " + Str(d), [=] { run(a); }});
        a = base;
        a.sampFreq = d;
        cases.push_back({"sampFreq " + Str(d), [=] { run(a); }});
        a = base;
        a.vbw = d;
        cases.push_back({"vbw " + Str(d), [=] { run(a); }});
    }
    for (int v : kInts) {
        Args a = base;
        a.points = v;
        cases.push_back({"points " + std::to_string(v), [=] { run(a); }});
        a = base;
        a.window = v;
        cases.push_back({"window " + std::to_string(v), [=] { run(a); }});
        a = base;
        a.acqSamples = v;
        cases.push_back({"acqSamples " + std::to_string(v), [=] { run(a); }});
        a = base;
        a.detector = v;
        cases.push_back({"detector " + std::to_string(v), [=] { run(a); }});
        a = base;
        a.window = WindowTypeCISPR6dB;
        a.detector = DetectorCISPRPeak;
        a.cisprBlocks = v;
        cases.push_back({"cisprBlocks " + std::to_string(v), [=] { run(a); }});
    }
    // Wide spans with few points (stitching) and narrow acquisitions (many tunings).
    for (double span : {1e9, 1e12, 1e15})
        for (int points : {2, 1001, 1 << 20}) {
            Args a = base;
            a.span = span;
            a.points = points;
            a.acqSpan = 1e6;
            a.sampFreq = 1.25e6;
            a.rbw = 10e3;
            cases.push_back(
                {"stitch span " + Str(span) + " points " + std::to_string(points), [=] { run(a); }});
        }
    RunAll(cases);
}

// The persistence calculators: every constructor argument, and every argument of the setters, hostile
// one at a time, then every getter.
TEST(HostileInput, PersistenceCalculators) {
    std::vector<Case> cases;
    auto nexa = [](int points, int dwell, int bits, int fft, float rate, float span, float rbw,
                   int dwellCount) {
        SorrelNexaSupport n(points, dwell, bits, fft);
        n.SetMeasurementParameters(rate, span, rbw, dwellCount, WindowTypeKaiser);
        VecInt32 re, im;
        n.GetWnVector(re, im);
        n.GetVrVector(re, im);
        n.GetWkVector(re, im);
        int start = 0, step = 0;
        n.GetNCOParameters(start, step);
        n.GetGain1();
        n.GetGain2();
        float lo = 0, hi = 0;
        SorrelNexaSupport::FindRBWRange(lo, hi, rate, points, dwell, fft, WindowTypeKaiser);
    };
    for (int v : kInts) {
        const std::string s = std::to_string(v);
        cases.push_back(
            {"SorrelNexaSupport points " + s, [=] { nexa(v, 5, 24, 1024, 8e5f, 8e5f, 5e4f, 5); }});
        cases.push_back({"SorrelNexaSupport bits " + s, [=] { nexa(501, 5, v, 1024, 8e5f, 8e5f, 5e4f, 5); }});
        cases.push_back({"SorrelNexaSupport fft " + s, [=] { nexa(501, 5, 24, v, 8e5f, 8e5f, 5e4f, 5); }});
        cases.push_back(
            {"SorrelNexaSupport dwell " + s, [=] { nexa(501, 5, 24, 1024, 8e5f, 8e5f, 5e4f, v); }});
    }
    for (double d : kDoubles) {
        const float f = static_cast<float>(d);
        cases.push_back(
            {"SorrelNexaSupport rate " + Str(d), [=] { nexa(501, 5, 24, 1024, f, 8e5f, 5e4f, 5); }});
        cases.push_back(
            {"SorrelNexaSupport span " + Str(d), [=] { nexa(501, 5, 24, 1024, 8e5f, f, 5e4f, 5); }});
        cases.push_back(
            {"SorrelNexaSupport rbw " + Str(d), [=] { nexa(501, 5, 24, 1024, 8e5f, 8e5f, f, 5); }});
    }
    auto luma = [](int maxOrder, double rate, double start, double step, int points, int oversample,
                   float rbw, int dwell, int table, bool stitch) {
        OrrinLUMASupport l(maxOrder);
        float lo = 0, hi = 0;
        l.FindRBWRange(lo, hi, start, step, points, oversample);
        if (l.SetMeasurementParameters(rate, start, step, points, oversample, rbw, dwell, table, 32,
                                       stitch) == LUMASupportSuccess) {
            int a[12];
            float g = 0, r = 0;
            double o = 0;
            l.GetFPGAParameters(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9], a[10], a[11], g,
                                o, r);
        }
    };
    for (bool stitch : {false, true}) {
        const std::string m = stitch ? " stitch" : "";
        for (int v : kInts) {
            const std::string s = std::to_string(v) + m;
            cases.push_back({"OrrinLUMASupport order " + s,
                             [=] { luma(v, 1.5e8, -5e7, 125000.0, 801, 1, 1e5f, 5, 8192, stitch); }});
            cases.push_back({"OrrinLUMASupport points " + s,
                             [=] { luma(15, 1.5e8, -5e7, 125000.0, v, 1, 1e5f, 5, 8192, stitch); }});
            cases.push_back({"OrrinLUMASupport oversample " + s,
                             [=] { luma(15, 1.5e8, -5e7, 125000.0, 801, v, 1e5f, 5, 8192, stitch); }});
            cases.push_back({"OrrinLUMASupport dwell " + s,
                             [=] { luma(15, 1.5e8, -5e7, 125000.0, 801, 1, 1e5f, v, 8192, stitch); }});
            cases.push_back({"OrrinLUMASupport table " + s,
                             [=] { luma(15, 1.5e8, -5e7, 125000.0, 801, 1, 1e5f, 5, v, stitch); }});
        }
        for (double d : kDoubles) {
            const std::string s = Str(d) + m;
            cases.push_back({"OrrinLUMASupport rate " + s,
                             [=] { luma(15, d, -5e7, 125000.0, 801, 1, 1e5f, 5, 8192, stitch); }});
            cases.push_back({"OrrinLUMASupport start " + s,
                             [=] { luma(15, 1.5e8, d, 125000.0, 801, 1, 1e5f, 5, 8192, stitch); }});
            cases.push_back({"OrrinLUMASupport step " + s,
                             [=] { luma(15, 1.5e8, -5e7, d, 801, 1, 1e5f, 5, 8192, stitch); }});
            cases.push_back(
                {"OrrinLUMASupport rbw " + s,
                 [=] { luma(15, 1.5e8, -5e7, 125000.0, 801, 1, static_cast<float>(d), 5, 8192, stitch); }});
        }
    }
    RunAll(cases);
}

TEST(HostileInput, RecorderAndUtilities) {
    std::vector<Case> cases;
    cases.push_back({"UnitTestRecorder", [] {
                         UnitTestRecorder r;
                         r.SetLogFileAppendOption(true);
                         r.AddTestRecord("", "", false);
                         r.AddTestRecord("x", "y", true);
                         r.DisplaySummary();
                     }});
    for (int n : kInts)
        cases.push_back({"MathUtils::NextPowOf2(" + std::to_string(n) + ")", [n] {
                             MathUtils::NextPowOf2(n);
                             MathUtils::PowOf2(n);
                             MathUtils::Pow2(n);
                         }});
    for (int f : kInts)
        cases.push_back({"DSPUtils sampling factor " + std::to_string(f), [f] {
                             VecReal32 in(5), out;
                             in.SetZero();
                             DSPUtils::Downsample(out, in, f, 0);
                             DSPUtils::Upsample(out, in, f, 0);
                             DSPUtils::Duplicate(out, in, f);
                             DSPUtils::MovingAverage(out, in, f);
                             DSPUtils::Ramp(out, f > 0 && f < 100000 ? f : 3, 0.0f, 1.0f);
                         }});
    RunAll(cases);
}
