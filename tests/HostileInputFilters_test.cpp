// The filter classes and the waveform generator given hostile values one argument at a time (0, -1,
// INT_MAX, INT_MIN, NaN, +/-Inf, 1e300 as rates, shape parameters and tap counts; empty, one-sample and
// view inputs; taps holding NaN or infinities), and then used. Each case runs in a child process of its
// own: it passes when the child returns cleanly or with a VELAException of a known code, and fails on a
// signal (a crash, a sanitizer's abort, a timeout) or any other exception.
#include <corvane/corvane.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;

namespace {

const std::vector<int> kInts = {0, -1, 1, 2, 3, INT_MAX, INT_MIN, 1 << 30};
const std::vector<float> kFloats = {0.0f,
                                    -1.0f,
                                    std::numeric_limits<float>::quiet_NaN(),
                                    std::numeric_limits<float>::infinity(),
                                    -std::numeric_limits<float>::infinity(),
                                    3e38f,
                                    1e-38f};

std::string RunIsolated(const std::function<void()>& body) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0) return "fork failed";
    if (pid == 0) {
        alarm(120);
        int code = 0;
        try {
            body();
        } catch (const VELAException& e) {
            code = VELAErrorMessage(e.code) ? 0 : 3;
        } catch (...) {
            code = 4;
        }
        std::fflush(stdout);
        _exit(code);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
    }
    if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) == 3) return "VELAException with an unknown code";
    if (WEXITSTATUS(status) == 4) return "an exception other than VELAException";
    return WEXITSTATUS(status) == 0 ? "" : "exit " + std::to_string(WEXITSTATUS(status));
}

struct Case {
    std::string name;
    std::function<void()> body;
};

void RunAll(const std::vector<Case>& cases) {
    corvane_test::ScopedWorkDir dir;
    for (const Case& c : cases)
        EXPECT_EQ(RunIsolated(c.body), "") << c.name;
}

std::string Str(double v) {
    char b[32];
    std::snprintf(b, sizeof b, "%g", v);
    return b;
}

// Empty, one sample, a plain block, views made by ShiftLeft and Truncate.
std::vector<VecReal32> RealInputs(int n) {
    std::vector<VecReal32> r;
    r.reserve(5);
    r.emplace_back();
    r.emplace_back(1);
    r.emplace_back(n);
    r.emplace_back(n + 3);
    r.back().ShiftLeft(3);
    r.emplace_back(n + 5);
    r.back().Truncate(1, n);
    for (VecReal32& v : r)
        for (int i = 0; i < v.GetSize(); ++i)
            v[i] = 0.25f * static_cast<float>(i % 7) - 0.5f;
    return r;
}
std::vector<VecCplx32> CplxInputs(int n) {
    std::vector<VecCplx32> r;
    r.reserve(4);
    r.emplace_back();
    r.emplace_back(1);
    r.emplace_back(n);
    r.emplace_back(n + 3);
    r.back().ShiftLeft(3);
    for (VecCplx32& v : r)
        for (int i = 0; i < v.GetSize(); ++i)
            v[i] = {0.25f * static_cast<float>(i % 7), -0.5f};
    return r;
}

VecReal32 Taps(int n, float fill) {
    VecReal32 t(n);
    for (int i = 0; i < n; ++i)
        t[i] = i == n / 2 ? fill : 0.1f;
    return t;
}

}  // namespace

TEST(HostileInputFilters, StreamingFilterAndDecimator) {
    std::vector<Case> cases;
    for (int n : {1, 2, 27, 200})
        for (float fill : {1.0f, kFloats[2], kFloats[3]})
            cases.push_back({"SFIRFilter(" + std::to_string(n) + " taps, " + Str(fill) + ")", [=] {
                                 SFIRFilter f(Taps(n, fill));
                                 for (bool skip : {false, true}) {
                                     for (VecReal32& in : RealInputs(300)) {
                                         VecReal32 out;
                                         f.Apply(out, in, skip);
                                         f.Apply(in, skip);
                                     }
                                     for (VecCplx32& in : CplxInputs(300)) {
                                         VecCplx32 out;
                                         f.Apply(out, in, skip);
                                         f.Apply(in, skip);
                                     }
                                     f.Flush();
                                 }
                             }});
    cases.push_back({"SFIRFilter(no taps)", [] { SFIRFilter f{VecReal32()}; }});
    for (int stages : kInts)
        for (int n : {0, 1, 27})
            cases.push_back(
                {"DecimationFilter(" + std::to_string(stages) + ", " + std::to_string(n) + " taps)", [=] {
                     DecimationFilter d(stages, Taps(n, 0.5f));
                     for (int len : kInts)
                         try {
                             d.GetRequiredInputLength(len);
                         } catch (const VELAException&) {
                         }
                     for (VecReal32& in : RealInputs(500)) {
                         VecReal32 out;
                         d.Apply(out, in);
                         d.Apply(in, in);
                     }
                     for (VecCplx32& in : CplxInputs(500)) {
                         VecCplx32 out;
                         d.Apply(out, in);
                     }
                 }});
    RunAll(cases);
}

TEST(HostileInputFilters, BlockFilter) {
    std::vector<Case> cases;
    for (int n : {0, 1, 7, 300})
        cases.push_back({"FIRFilter(" + std::to_string(n) + " taps)", [=] {
                             FIRFilter f;
                             const VecReal32 t = Taps(n, kFloats[3]);
                             VecCplx32 ct(n);
                             for (int i = 0; i < n; ++i)
                                 ct[i] = {t[i], -t[i]};
                             for (bool center : {false, true}) {
                                 for (VecReal32& in : RealInputs(100)) {
                                     VecReal32 out;
                                     VecCplx32 cout;
                                     f.Apply(out, t, in, center);
                                     f.Apply(cout, ct, in, center);
                                     f.Apply(in, t, in, center);
                                 }
                                 for (VecCplx32& in : CplxInputs(100)) {
                                     VecCplx32 out;
                                     f.Apply(out, t, in, center);
                                     f.Apply(out, ct, in, center);
                                 }
                             }
                         }});
    RunAll(cases);
}

TEST(HostileInputFilters, WaveformGenerator) {
    std::vector<Case> cases;
    for (float a : kFloats)
        for (float b : {1.0f, 0.35f})
            cases.push_back({"pulses(" + Str(a) + ", " + Str(b) + ")", [=] {
                                 for (VecReal32& t : RealInputs(50)) {
                                     if (t.GetSize() > 2) t[1] = kFloats[2], t[2] = kFloats[3];
                                     VecReal32 out;
                                     WaveformGenerator::RaisedCosinePulse(out, a, b, t);
                                     WaveformGenerator::RaisedCosinePulse(out, b, a, t);
                                     WaveformGenerator::RootRaisedCosinePulse(out, a, b, t);
                                     WaveformGenerator::RootRaisedCosinePulse(out, b, a, t);
                                     WaveformGenerator::GaussianPulse(out, a, t);
                                     WaveformGenerator::SincPulse(out, a, t);
                                     WaveformGenerator::ConvGauss(out, a, b, t);
                                     WaveformGenerator::ConvGauss(out, b, a, t);
                                     WaveformGenerator::IntegralConvGauss(out, a, b, t);
                                     WaveformGenerator::IntegralConvGauss(out, b, a, t);
                                     WaveformGenerator::IntegralConvRect(out, a, t);
                                     WaveformGenerator::IntegralConvRect(t, a, t);
                                 }
                             }});
    RunAll(cases);
}

TEST(HostileInputFilters, EveryKindOfTheFactory) {
    std::vector<Case> cases;
    const float good[3] = {19200.0f, 4800.0f, 0.35f};
    for (int type = -1; type <= 24; ++type) {
        // Each float argument in turn, then each tap count.
        for (int which = 0; which < 3; ++which)
            for (float v : kFloats) {
                float a[3] = {good[0], good[1], good[2]};
                a[which] = v;
                cases.push_back(
                    {"kind " + std::to_string(type) + " arg " + std::to_string(which) + " = " + Str(v), [=] {
                         FIRFilterFactory factory;
                         std::unique_ptr<FIRBaseFilter> f(
                             factory.MakeFilter(static_cast<FIRFilterTypeTag>(type)));
                         if (!f) return;
                         try {
                             f->GetRecommendedTapSize(a[0], a[1], a[2]);
                         } catch (const VELAException&) {
                         }
                         f->SetParameters(a[0], a[1], a[2], 31);
                         for (VecReal32& in : RealInputs(64)) {
                             VecReal32 out;
                             VecCplx32 cout;
                             f->Apply(out, in, true);
                             f->Apply(cout, in, false);
                         }
                         for (VecCplx32& in : CplxInputs(64)) {
                             VecCplx32 out;
                             f->Apply(out, in, true);
                         }
                     }});
            }
        for (int taps : kInts)
            cases.push_back({"kind " + std::to_string(type) + " taps " + std::to_string(taps), [=] {
                                 FIRFilterFactory factory;
                                 std::unique_ptr<FIRBaseFilter> f(
                                     factory.MakeFilter(static_cast<FIRFilterTypeTag>(type)));
                                 if (!f) return;
                                 f->SetParameters(good[0], good[1], good[2], taps);
                                 VecReal32 in(50), out;
                                 in.SetZero();
                                 f->Apply(out, in, true);
                             }});
    }
    // The user-defined kinds with hostile taps (empty, one tap, NaN, infinity, all zero) and tap
    // rates, given before and after the rates, and then used.
    for (int type : {22, 23})
        for (int n : {0, 1, 9})
            for (float fill : {1.0f, 0.0f, kFloats[2], kFloats[3]})
                for (float rate : kFloats)
                    cases.push_back({"kind " + std::to_string(type) + " user taps " + std::to_string(n) +
                                         " x " + Str(fill) + " at " + Str(rate),
                                     [=] {
                                         FIRFilterFactory factory;
                                         std::unique_ptr<FIRBaseFilter> f(
                                             factory.MakeFilter(static_cast<FIRFilterTypeTag>(type)));
                                         auto* u = dynamic_cast<UserTapsFilterBase*>(f.get());
                                         if (!u) std::abort();
                                         VecReal32 t = Taps(n, fill);
                                         VecCplx32 ct(n);
                                         for (int i = 0; i < n; ++i)
                                             ct[i] = {t[i], 0.5f * t[i]};
                                         for (int round = 0; round < 2; ++round) {
                                             try {
                                                 if (round == 0)
                                                     u->SetUserTaps(t, rate);
                                                 else
                                                     u->SetUserTaps(ct, rate);
                                             } catch (const VELAException&) {
                                             }
                                             try {
                                                 u->SetParameters(good[0], good[1], good[2], round ? 31 : 0);
                                             } catch (const VELAException&) {
                                             }
                                             for (VecReal32& in : RealInputs(64)) {
                                                 VecReal32 out;
                                                 VecCplx32 cout;
                                                 u->Apply(out, in, true);
                                                 u->Apply(cout, in, false);
                                             }
                                             for (VecCplx32& in : CplxInputs(64)) {
                                                 VecCplx32 out;
                                                 u->Apply(out, in, true);
                                             }
                                         }
                                     }});
    for (const char* name : {"", "x", "GAUSSIAN\t", "FILTER_NONE_"})
        cases.push_back({std::string("toEnumFIRFilterType(") + name + ")",
                         [=] { FIRFilterFactory::toEnumFIRFilterType(name); }});
    for (int r : kInts)
        cases.push_back({"IS95 SetParameters(" + std::to_string(r) + ")", [=] {
                             IS95ReferenceFilter f;
                             f.SetParameters(r);
                             VecReal32 in(10), out;
                             in.SetZero();
                             f.Apply(out, in, true);
                         }});
    RunAll(cases);
}
