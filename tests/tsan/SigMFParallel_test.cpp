// Reads may run in parallel on one SigMFReader: several threads reading stretches of one recording in
// both precisions, and being refused for reads past the end, get exactly what one thread alone gets.
// Built into the ordinary test binary and, with CORVANE_TSAN, under ThreadSanitizer, which reports any
// data race.
#include <corvane/infra/SigMF.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;

namespace {

// Everything one job reads, as plain numbers; a refused read adds its code and whether its message
// names the recording's sample count.
std::vector<double> Job(const SigMFReader& r, int job) {
    std::vector<double> out;
    VecCplx32 v;
    VecCplx64 w;
    const int64_t first = (job * 997) % 15000;
    r.Read(first, 3000 + job, v);
    for (int i = 0; i < v.GetSize(); ++i) {
        out.push_back(v[i].re);
        out.push_back(v[i].im);
    }
    r.Read(first / 2, 5000, w);
    for (int i = 0; i < w.GetSize(); ++i) {
        out.push_back(w[i].re);
        out.push_back(w[i].im);
    }
    try {
        r.Read(r.GetSampleCount() - job, job + 1, v);
    } catch (const VELAException& e) {
        out.push_back(e.code);
        out.push_back(std::string(e.message).find("within the 20000 samples") != std::string::npos);
    }
    return out;
}

}  // namespace

TEST(SigMFParallel, ThreadsReadingOneReaderGetWhatOneThreadGets) {
    corvane_test::ScopedWorkDir dir;
    {
        SigMFWriter writer("p", "ci16_le", 1e6, 1e8);
        VecCplx32 v(20000);
        for (int i = 0; i < 20000; ++i)
            v[i] = Cplx32{static_cast<float>(0.5 * std::cos(0.01 * i)),
                          static_cast<float>(0.5 * std::sin(0.013 * i))};
        writer.Write(v);
        writer.Close();
    }
    const SigMFReader reader("p");

    constexpr int kThreads = 6, kJobs = 6, kRounds = 5;
    std::vector<std::vector<double>> expected;
    for (int job = 0; job < kJobs; ++job)
        expected.push_back(Job(reader, job));
    for (const auto& e : expected)
        ASSERT_EQ(e.back(), 1.0);  // each job's last read was refused with its message

    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds; ++round) {
                const int job = (t + round) % kJobs;
                if (Job(reader, job) != expected[static_cast<size_t>(job)]) ++mismatches;
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(mismatches.load(), 0);
}
