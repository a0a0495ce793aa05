// DigitalIQDownconverter::RequestAbort from other threads while Apply runs: the long call stops with
// code 1, what it wrote is a prefix of the uninterrupted result, a request made at a known sample (the
// processing thread stopped at a page fault while another thread asks) leaves no output reaching more
// than M samples past it, and after Flush the next stream is right. Built into the ordinary test binary
// and, with CORVANE_TSAN, under ThreadSanitizer, which reports any data race between the request and the
// polling loop.
#include <corvane/dsp/DigitalIQDownconverter.h>
#include <gtest/gtest.h>

#include <semaphore.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <thread>
#include <vector>

using namespace VELA;

namespace {

// Deterministic real "noise" and a tone, computed in double.
VecReal32 Record(int n, unsigned seed) {
    VecReal32 v(n);
    unsigned s = seed;
    for (int i = 0; i < n; ++i) {
        s = s * 1664525u + 1013904223u;
        v[i] = static_cast<float>(0.5 * std::cos(0.7 * i) + ((s >> 8) * (1.0 / 16777216.0) - 0.5));
    }
    return v;
}

DigitalIQDownconverter Make() {
    DigitalIQDownconverter dc;
    double outRate = 0.0, delay = 0.0;
    int required = 0;
    dc.SetParameters(outRate, required, delay, 2e9, 6.25e9, 1e9, 1000, false);  // M = 4, L = 81
    return dc;
}

std::vector<float> Flat(const VecCplx32& v, int count) {
    std::vector<float> r;
    for (int i = 0; i < count; ++i) {
        r.push_back(v[i].re);
        r.push_back(v[i].im);
    }
    return r;
}

}  // namespace

TEST(DigitalIQDownconverterAbort, LongApplyAbortedFromAnotherThreadReturnsOneWithAPrefixWritten) {
    // The requesters start asking once Apply is about to begin and keep asking until it returns: a
    // request that lands before Apply clears the flag is lost, the next one is not. Should the whole
    // call ever finish before any request lands (a thread not scheduled for its whole length), the
    // attempt is repeated.
    const int n = 1 << 23, M = 4;
    const VecReal32 in = Record(n, 1);
    const int capacity = n / M + 1;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    VecCplx32 out(capacity);
    DigitalIQDownconverter dc = Make();
    VELAErrorCodeTag code = VELAErrorNone;
    for (int attempt = 0; attempt < 5 && code != VELAErrorAbort; ++attempt) {
        dc.Flush();
        for (int i = 0; i < capacity; ++i)
            out[i] = {nan, nan};
        std::atomic<bool> started{false}, done{false};
        auto requester = [&dc, &started, &done] {
            while (!started.load())
                std::this_thread::yield();
            while (!done.load()) {
                dc.RequestAbort();
                std::this_thread::yield();
            }
        };
        // Two requesters at once: the request is a relaxed atomic flag, safe from any number of threads.
        std::thread t1(requester), t2(requester);
        started.store(true);
        code = dc.Apply(out, in);
        done.store(true);
        t1.join();
        t2.join();
    }
    ASSERT_EQ(code, VELAErrorAbort);

    // out keeps the segment's full size; the outputs made are a prefix, the rest untouched.
    ASSERT_EQ(out.GetSize(), capacity);
    int made = 0;
    while (made < capacity && !std::isnan(out[made].re))
        ++made;
    const int full = 1 + (n - 81) / M;
    EXPECT_LT(made, full);
    for (int i = made; i < capacity; ++i)
        ASSERT_TRUE(std::isnan(out[i].re) && std::isnan(out[i].im)) << i;
    VecCplx32 expected;
    ASSERT_EQ(Make().Apply(expected, in), VELAErrorNone);
    ASSERT_EQ(expected.GetSize(), full);
    EXPECT_EQ(Flat(out, made), Flat(expected, made));
    std::printf("[ info ] aborted after %d of %d outputs\n", made, full);

    // Flush, and a new stream comes out as from a fresh object.
    dc.Flush();
    const VecReal32 next = Record(5000, 2);
    VecCplx32 a, b;
    ASSERT_EQ(dc.Apply(a, next), VELAErrorNone);
    DigitalIQDownconverter fresh = Make();
    ASSERT_EQ(fresh.Apply(b, next), VELAErrorNone);
    ASSERT_EQ(a.GetSize(), b.GetSize());
    EXPECT_EQ(Flat(a, a.GetSize()), Flat(b, b.GetSize()));
}

namespace {

// A request made at a known point of the stream: one page of the input is made unreadable, and when the
// processing thread first touches it, the fault handler (on that thread) lets another thread request
// the abort, waits until it has, makes the page readable again and returns, so the interrupted load
// completes. The request thus happens-before everything Apply does after that sample was reached.
sem_t gFaulted, gRequested;
char* gPage = nullptr;
size_t gPageSize = 0;

void OnFault(int sig, siginfo_t* info, void*) {
    const int savedErrno = errno;
    char* at = static_cast<char*>(info->si_addr);
    if (gPage == nullptr || at < gPage || at >= gPage + gPageSize) {
        // Not ours: let the default action report it.
        signal(sig, SIG_DFL);
        errno = savedErrno;
        return;
    }
    sem_post(&gFaulted);
    while (sem_wait(&gRequested) != 0) {
    }
    mprotect(gPage, gPageSize, PROT_READ | PROT_WRITE);
    gPage = nullptr;
    errno = savedErrno;
}

}  // namespace

TEST(DigitalIQDownconverterAbort, RequestIsHonouredWithinMInputSamples) {
    const int n = 1 << 22, M = 4, L = 81;
    VecReal32 in = Record(n, 5);
    gPageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    // The page holding the samples from about the middle on; q is the first sample in it.
    const uintptr_t mid = reinterpret_cast<uintptr_t>(in.Data() + n / 2);
    char* page = reinterpret_cast<char*>(mid - mid % gPageSize);
    const int q =
        static_cast<int>((page - reinterpret_cast<char*>(in.Data())) / static_cast<long>(sizeof(float)));
    ASSERT_GT(q, L);

    DigitalIQDownconverter dc = Make();
    VecCplx32 expected;
    ASSERT_EQ(Make().Apply(expected, in), VELAErrorNone);
    const int capacity = n / M + 1;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    VecCplx32 out(capacity);
    for (int i = 0; i < capacity; ++i)
        out[i] = {nan, nan};

    ASSERT_EQ(sem_init(&gFaulted, 0, 0), 0);
    ASSERT_EQ(sem_init(&gRequested, 0, 0), 0);
    struct sigaction action = {}, previous = {};
    action.sa_sigaction = OnFault;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    ASSERT_EQ(sigaction(SIGSEGV, &action, &previous), 0);
    gPage = page;
    ASSERT_EQ(mprotect(page, gPageSize, PROT_NONE), 0);

    std::thread requester([&dc] {
        while (sem_wait(&gFaulted) != 0) {
        }
        dc.RequestAbort();
        sem_post(&gRequested);
    });
    const VELAErrorCodeTag code = dc.Apply(out, in);
    requester.join();
    sigaction(SIGSEGV, &previous, nullptr);
    sem_destroy(&gFaulted);
    sem_destroy(&gRequested);
    ASSERT_EQ(code, VELAErrorAbort);

    // No output has a window reaching more than M samples beyond the sample being read at the request.
    int made = 0;
    while (made < capacity && !std::isnan(out[made].re))
        ++made;
    const int bound = 1 + (q + M - L) / M;
    EXPECT_LE(made, bound);
    EXPECT_GT(made, 0);
    for (int i = made; i < capacity; ++i)
        ASSERT_TRUE(std::isnan(out[i].re)) << i;
    EXPECT_EQ(Flat(out, made), Flat(expected, made));
    std::printf("[ info ] request at sample %d: %d outputs made (at most %d allowed)\n", q, made, bound);
}

TEST(DigitalIQDownconverterAbort, RequestBeforeApplyBeginsIsLost) {
    // Apply clears the request when it starts: one made earlier does not stop it.
    const VecReal32 in = Record(3000, 3);
    DigitalIQDownconverter dc = Make();
    DigitalIQDownconverter ref = dc;
    dc.RequestAbort();
    VecCplx32 out, expected;
    EXPECT_EQ(dc.Apply(out, in), VELAErrorNone);
    ASSERT_EQ(ref.Apply(expected, in), VELAErrorNone);
    EXPECT_EQ(Flat(out, out.GetSize()), Flat(expected, expected.GetSize()));
}

TEST(DigitalIQDownconverterAbort, ObjectsOnTwoThreadsGiveWhatOneThreadGives) {
    // One object per thread, parameters set on each: the design and the dispatch tables are shared
    // read-only state.
    const VecReal32 in = Record(20000, 4);
    auto job = [&in](std::vector<float>* result) {
        DigitalIQDownconverter dc = Make();
        VecCplx32 out;
        if (dc.Apply(out, in) == VELAErrorNone) *result = Flat(out, out.GetSize());
    };
    std::vector<float> alone, r1, r2;
    job(&alone);
    std::thread a(job, &r1), b(job, &r2);
    a.join();
    b.join();
    ASSERT_FALSE(alone.empty());
    EXPECT_EQ(r1, alone);
    EXPECT_EQ(r2, alone);
}
