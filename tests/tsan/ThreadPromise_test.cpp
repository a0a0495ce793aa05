// Two threads may work on two objects: threads that each construct, plan and run their own measurement
// objects, many rounds at once, get exactly what one thread alone gets. Built into the ordinary test
// binary and, with CORVANE_TSAN, under ThreadSanitizer, which reports any data race on shared state
// (the FFT planner, dispatch tables, static tables of the windows and filters).
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <thread>
#include <vector>

#include "support/SteppedPlan.h"

using namespace VELA;
using corvane_test::MakePlan;
using corvane_test::Plan;
using corvane_test::Request;

namespace {

// A few tones and a little deterministic "noise", computed in double.
VecCplx32 Signal(int n, int seed) {
    VecCplx32 v(n);
    unsigned s = 12345u + static_cast<unsigned>(seed);
    for (int i = 0; i < n; ++i) {
        s = s * 1664525u + 1013904223u;
        const double noise = (s >> 8) * (1.0 / 16777216.0) - 0.5;
        const double a = 2.0 * M_PI * (0.0371 * i) + 0.3 * seed;
        v[i] = {static_cast<float>(std::cos(a) + 0.01 * noise),
                static_cast<float>(std::sin(a) - 0.5 * std::sin(0.211 * i))};
    }
    return v;
}

std::vector<float> ToStd(const VecReal32& v) {
    return std::vector<float>(v.Data(), v.Data() + v.GetSize());
}
std::vector<float> ToStd(const VecCplx32& v) {
    std::vector<float> r;
    for (int i = 0; i < v.GetSize(); ++i) {
        r.push_back(v[i].re);
        r.push_back(v[i].im);
    }
    return r;
}

// Each job builds its objects from nothing (planning included) and returns what they computed.
// The lengths differ between jobs so that several threads plan new transforms at once.
std::vector<float> SpectrumJob(int k) {
    const int n = 1000 + 24 * k;
    Spectrum s(n, WindowTypeBlackmanHarris, 0.0f);
    VecReal32 out;
    s.Apply(out, Signal(n, k));
    return ToStd(out);
}

std::vector<float> ChirpZJob(int k) {
    const int n = 900 + 10 * k;
    ChirpZ cz(n, 1e6, 401 + k, -2e5, 1e3, false);
    VecCplx32 out;
    cz.Apply(out, Signal(n, k));
    return ToStd(out);
}

std::vector<float> SteppedCISPRJob(int k) {
    SteppedSpectrum ss;
    Plan p;
    Request r = corvane_test::CISPRPlan();
    r.cisprAcqBlocks = 3;
    r.center = 5e8 + 1e5 * k;
    MakePlan(ss, p, r);
    std::vector<float> all;
    VecReal32 mag, qp, out;
    for (int t = 0; t < p.Tunings(); ++t) {
        const VecCplx32 in = Signal(p.numSamples[t], k + t);
        for (int a = 0; a < ss.GetCISPRAcqNum(); ++a) {
            ss.Apply1(mag, in, t);
            ss.Apply3(qp, mag, t, a, DetectorCISPRPeak);
        }
        ss.Apply2(out, qp, t, DetectorCISPRPeak);
        const std::vector<float> part = ToStd(out);
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::vector<float> ZoomJob(int k) {
    DigitalZoom zoom(1e9, 1e7, 2.5e7);
    const int len = zoom.SetParameters(1.001e9 + 1e4 * k, 1e6, 3000, WindowTypeFlatTop, 0);
    VecReal32 out;
    double binWidth = 0;
    zoom.Apply(out, binWidth, Signal(len, k));
    std::vector<float> r = ToStd(out);
    r.push_back(static_cast<float>(binWidth));
    return r;
}

std::vector<float> SourceJob(int k) {
    DigitalSource src;
    src.SetSource(1e9, 10e6, 25e6);
    src.SetParameters(999e6 + 1e4 * k, 1e6);
    VecCplx32 out;
    src.Apply(out, Signal(src.GetRequiredOrigDataLen(500 + k), k));
    return ToStd(out);
}

using Job = std::function<std::vector<float>(int)>;

void RunConcurrently(const Job& job, int threads, int rounds) {
    // The expected results, one thread alone.
    std::vector<std::vector<float>> expected;
    for (int k = 0; k < threads; ++k) {
        expected.push_back(job(k));
        EXPECT_GT(expected.back().size(), 100u) << "job " << k << " computed almost nothing";
    }
    std::vector<int> mismatches(threads, 0);
    std::vector<std::thread> pool;
    for (int k = 0; k < threads; ++k)
        pool.emplace_back([&, k] {
            for (int r = 0; r < rounds; ++r)
                if (job(k) != expected[k]) ++mismatches[k];
        });
    for (std::thread& t : pool)
        t.join();
    for (int k = 0; k < threads; ++k)
        EXPECT_EQ(mismatches[k], 0) << "thread " << k;
}

}  // namespace

TEST(ThreadPromise, SpectrumPerThread) {
    RunConcurrently(SpectrumJob, 4, 6);
}

TEST(ThreadPromise, ChirpZPerThread) {
    RunConcurrently(ChirpZJob, 4, 6);
}

TEST(ThreadPromise, SteppedSpectrumWithCISPRPerThread) {
    RunConcurrently(SteppedCISPRJob, 3, 2);
}

TEST(ThreadPromise, DigitalZoomPerThread) {
    RunConcurrently(ZoomJob, 4, 4);
}

TEST(ThreadPromise, DigitalSourcePerThread) {
    RunConcurrently(SourceJob, 4, 6);
}

// All kinds at once: different classes share the planner and static tables.
TEST(ThreadPromise, MixedClassesAtOnce) {
    const std::vector<Job> jobs = {SpectrumJob, ChirpZJob, SteppedCISPRJob, ZoomJob, SourceJob};
    std::vector<std::vector<float>> expected;
    for (size_t j = 0; j < jobs.size(); ++j)
        expected.push_back(jobs[j](static_cast<int>(j) + 7));
    std::vector<int> bad(jobs.size(), 0);
    std::vector<std::thread> pool;
    for (size_t j = 0; j < jobs.size(); ++j)
        pool.emplace_back([&, j] {
            for (int r = 0; r < 2; ++r)
                if (jobs[j](static_cast<int>(j) + 7) != expected[j]) ++bad[j];
        });
    for (std::thread& t : pool)
        t.join();
    for (size_t j = 0; j < jobs.size(); ++j)
        EXPECT_EQ(bad[j], 0) << "job " << j;
}
