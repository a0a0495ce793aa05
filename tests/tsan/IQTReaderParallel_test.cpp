// Reads may run in parallel on one IQTReader: several threads reading frames, samples and the correction
// table of one object at once, many rounds each, get exactly what one thread alone gets. Built into the
// ordinary test binary and, with CORVANE_TSAN, under ThreadSanitizer, which reports any data race.
#include <corvane/infra/IQTReader.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/IqtFile.h"
#include "support/TestUtil.h"

using namespace VELA;

namespace {

// Everything one round of one thread reads, as plain numbers.
std::vector<float> Round(const IQTReader& r, int job) {
    std::vector<float> out;
    auto append = [&out](const VecCplx32& v) {
        for (int i = 0; i < v.GetSize(); ++i) {
            out.push_back(v[i].re);
            out.push_back(v[i].im);
        }
    };
    const int first = (job * 7) % 28;
    std::vector<FrameHeader> headers(4);
    VecCplx32 data;
    r.GetIQData(first, 4, headers.data(), data);
    append(data);
    r.GetIQData2(first + 1, 3, headers.data(), data);
    append(data);
    VecReal32 a, b;
    r.GetRawIQAPData(first, 2, headers.data(), a, b);
    out.insert(out.end(), a.Data(), a.Data() + a.GetSize());
    r.GetFlatness(a, b);
    out.insert(out.end(), b.Data(), b.Data() + b.GetSize());
    r.ReadIQData(job * 333, 5000, data);
    append(data);
    out.push_back(static_cast<float>(r.ReadIQData(0, job * 1000, 40000, data)));
    append(data);
    for (const FrameHeader& h : headers)
        out.push_back(h.bytes[16]);
    return out;
}

}  // namespace

TEST(IQTReaderParallel, ThreadsReadingOneObjectGetWhatOneThreadGets) {
    corvane_test::ScopedWorkDir dir;
    corvane_test::IqtFile f =
        corvane_test::SimpleFile(1024, 32, 32, {{"GainOffset", "-60"}, {"IOffset", "3"}});
    f.Write("p.iqt");
    const IQTReader reader("p.iqt");

    constexpr int kThreads = 6, kJobs = 6, kRounds = 5;
    std::vector<std::vector<float>> expected;
    for (int job = 0; job < kJobs; ++job)
        expected.push_back(Round(reader, job));

    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds; ++round) {
                const int job = (t + round) % kJobs;
                if (Round(reader, job) != expected[static_cast<size_t>(job)]) ++mismatches;
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(mismatches.load(), 0);
}
