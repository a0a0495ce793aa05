// Two threads may work on two filters: threads that each build and run their own streaming filters
// (long ones plan FFT blocks, with lengths that differ from thread to thread), decimators and designed
// filters of the family get exactly what one thread alone gets. Under ThreadSanitizer this also checks
// the shared FFT planner, the dispatch tables and the stored IS-95 tables.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

using namespace VELA;

namespace {

VecReal32 Series(int n, int seed) {
    VecReal32 v(n);
    unsigned s = 777u + static_cast<unsigned>(seed);
    for (int i = 0; i < n; ++i) {
        s = s * 1664525u + 1013904223u;
        v[i] = static_cast<float>((s >> 8) * (1.0 / 16777216.0) - 0.5 + 0.3 * std::sin(0.05 * i));
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

std::vector<float> StreamJob(int k) {
    // 100 + 37k taps: FFT blocks of different lengths per thread.
    SFIRFilter f(Series(100 + 37 * k, k));
    std::vector<float> all;
    VecCplx32 in(3000), out;
    const VecReal32 re = Series(3000, 10 + k), im = Series(3000, 20 + k);
    for (int i = 0; i < 3000; ++i)
        in[i] = {re[i], im[i]};
    for (int b = 0; b < 3; ++b) {
        f.Apply(out, in, b == 0);
        const auto part = ToStd(out);
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::vector<float> DecimationJob(int k) {
    DecimationFilter d(2 + k % 2, Series(27 + 2 * k, 30 + k));
    VecReal32 out;
    d.Apply(out, Series(d.GetRequiredInputLength(300), 40 + k));
    return ToStd(out);
}

std::vector<float> DesignJob(int k) {
    FIRFilterFactory factory;
    std::vector<float> all;
    for (FIRFilterTypeTag t : {FIRFilterRootRaisedCosine, FIRFilterGaussRect, FIRFilterC4FMReverseShaping,
                               FIRFilterIS95TXEQMeasurement, FIRFilterBandPass}) {
        std::unique_ptr<FIRBaseFilter> f(factory.MakeFilter(t));
        if (t == FIRFilterBandPass)
            f->SetParameters(48000, 3000 + 100 * k, 9000, 101);
        else
            f->SetParameters(19200 * 2, 4800, 0.35f,
                             f->GetRecommendedTapSize(19200 * 2, 4800, 0.35f) + 2 * k);
        VecReal32 out;
        f->Apply(out, Series(500, 50 + k), true);
        const auto part = ToStd(out);
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

using Job = std::function<std::vector<float>(int)>;

void RunConcurrently(const Job& job, int threads, int rounds) {
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

TEST(FilterThreads, StreamingFiltersPerThread) {
    RunConcurrently(StreamJob, 4, 3);
}

TEST(FilterThreads, DecimationFiltersPerThread) {
    RunConcurrently(DecimationJob, 4, 4);
}

TEST(FilterThreads, DesignedFiltersPerThread) {
    RunConcurrently(DesignJob, 4, 3);
}
