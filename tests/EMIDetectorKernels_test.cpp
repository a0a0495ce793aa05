// The EMI detector kernels at every level (forced with SetVariant) against the scalar reference, bit for
// bit: scans of lengths that are not multiples of any vector width, envelopes that drive the quasi-peak
// table to both ends, a scan cut into random sub-ranges, and the meters against their closed forms.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "dsp/EMIReceiver.h"
#include "kernel/Dispatch.h"
#include "kernel/EMIDetectorKernels.h"

using namespace VELA;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kArrays = 12;

// Mean over a carrier cycle of max(cos t - x, 0): the drive the receiver tabulates, written out here
// from its closed form (the kernels take any table; these are the values it meets in use).
double Drive(double x) {
    if (x >= 1.0) return 0.0;
    const double phi = std::acos(x);
    return (std::sin(phi) - x * phi) / kPi;
}

struct Constants {
    std::vector<double> table;
    kern::EMIDetectorConstants c{};
};

// The constants of band B at an envelope interval dt (seconds).
Constants BandB(double dt) {
    Constants k;
    k.table.resize(kern::kEMIDriveSteps + 1);
    for (int i = 0; i <= kern::kEMIDriveSteps; ++i) {
        const double sq = static_cast<double>(i) / kern::kEMIDriveSteps;
        k.table[static_cast<size_t>(i)] = Drive(1.0 - sq * sq);
    }
    double rc = 0.0, steady = 0.0;
    EMIReceiver::QuasiPeakDiode(rc, steady, 0.001, 0.16);
    k.c = {std::exp(-dt / 0.16),
           dt / rc,
           1.0 / steady,
           -std::expm1(-dt / 0.16),
           -std::expm1(-dt * 2.0 * kPi * 10.0),
           k.table.data()};
    return k;
}

struct State {
    std::vector<double> a[kArrays];
    explicit State(int n) {
        for (std::vector<double>& v : a)
            v.assign(static_cast<size_t>(n), 0.0);
    }
    // The arrays from frequency `from` on.
    kern::EMIDetectorState At(int from) {
        double* p[kArrays];
        for (int j = 0; j < kArrays; ++j)
            p[j] = a[j].data() + from;
        return {p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9], p[10], p[11]};
    }
    bool operator==(const State& o) const {
        for (int j = 0; j < kArrays; ++j)
            if (std::memcmp(a[j].data(), o.a[j].data(), sizeof(double) * a[j].size()) != 0) return false;
        return true;
    }
};

// Envelopes of `steps` steps for n frequencies, each frequency with its own kind of signal: impulses
// (a large value now and then, zero between: the capacitor far below the envelope, the table's top
// end), a steady level (the capacitor close to it: the table's fine low end), noise, a level switching
// between two values, and silence.
std::vector<double> Envelopes(int n, int steps, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    std::vector<double> env(static_cast<size_t>(n) * static_cast<size_t>(steps));
    for (int t = 0; t < steps; ++t)
        for (int k = 0; k < n; ++k) {
            double e = 0.0;
            switch (k % 5) {
                case 0:
                    e = (t % 37 == 3) ? 1000.0 * (1.0 + k) : 0.0;
                    break;
                case 1:
                    e = 0.25 + 0.001 * k;
                    break;
                case 2:
                    e = u(rng) * 3.0;
                    break;
                case 3:
                    e = (t / 50) % 2 ? 2.0 : 0.5;
                    break;
                default:
                    e = 0.0;
            }
            // Quiet spells on every frequency at once: the envelope a tenth of its value, then nothing,
            // so that no diode conducts in a whole register for a while (the optimised levels skip the
            // division, roots and gathers for such a register).
            const int phase = t % 100;
            if (phase >= 60 && phase < 68) e *= 0.1;
            if (phase >= 68 && phase < 75) e = 0.0;
            env[static_cast<size_t>(t) * static_cast<size_t>(n) + static_cast<size_t>(k)] = e;
        }
    return env;
}

std::vector<kern::Variant> Levels() {
    std::vector<kern::Variant> v;
    for (kern::Variant l :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512})
        if (kern::VariantSupported(l)) v.push_back(l);
    return v;
}

struct RestoreVariant {
    kern::Variant before = kern::ActiveVariant();
    ~RestoreVariant() { kern::SetVariant(before); }
};

}  // namespace

TEST(EMIDetectorKernels, StepMatchesTheReferenceBitForBitAtEveryLevel) {
    RestoreVariant restore;
    const kern::EMIDetectorKernelTable& ref = *kern::EMIDetectorTableFor(kern::Variant::Reference);
    // The receiver's band B interval (17 samples at 1.25 MS/s) and a coarse one whose large gains move
    // the capacitor across the whole table within a few steps.
    for (double dt : {17.0 / 1.25e6, 2e-4}) {
        const Constants k = BandB(dt);
        for (int n : {1, 2, 3, 4, 7, 8, 9, 15, 16, 17, 31, 33, 223}) {
            const int steps = 600;
            const std::vector<double> env = Envelopes(n, steps, 100u + static_cast<unsigned>(n));
            State want(n);
            int quiet = 0, charging = 0;  // steps on which no diode conducts / some diode conducts
            for (int t = 0; t < steps; ++t) {
                const double* e = env.data() + static_cast<size_t>(t) * static_cast<size_t>(n);
                bool any = false;
                for (int f = 0; f < n; ++f)
                    any = any || e[f] > want.a[1][static_cast<size_t>(f)];
                ++(any ? charging : quiet);
                ref.step_f64(e, n, k.c, want.At(0));
            }
            EXPECT_GT(quiet, 20) << n;
            EXPECT_GT(charging, 10) << n;
            for (kern::Variant level : Levels()) {
                ASSERT_TRUE(kern::SetVariant(level));
                State got(n);
                for (int t = 0; t < steps; ++t)
                    kern::EDK().step_f64(env.data() + static_cast<size_t>(t) * static_cast<size_t>(n), n, k.c,
                                         got.At(0));
                EXPECT_TRUE(got == want) << kern::EDK().name << " n " << n << " dt " << dt;
            }
            // The run reached the interesting places: impulses charged the capacitor from far below
            // (table top), a steady level brought it close (table bottom), and every reading moved.
            if (n >= 2) {
                EXPECT_GT(want.a[1][0], 0.0);
                EXPECT_GT(want.a[1][1], 0.5 * (0.25 + 0.001));
            }
            for (int j : {0, 4, 7, 11})
                EXPECT_GT(want.a[j][0], 0.0);
        }
    }
}

TEST(EMIDetectorKernels, ScanCutIntoRandomSubRangesStepsAsOnePiece) {
    RestoreVariant restore;
    const Constants k = BandB(17.0 / 1.25e6);
    std::mt19937 rng(7);
    for (int n : {1, 3, 7, 17, 33}) {
        const int steps = 300;
        const std::vector<double> env = Envelopes(n, steps, 200u + static_cast<unsigned>(n));
        for (kern::Variant level : Levels()) {
            ASSERT_TRUE(kern::SetVariant(level));
            State one(n), cut(n);
            for (int t = 0; t < steps; ++t) {
                const double* e = env.data() + static_cast<size_t>(t) * static_cast<size_t>(n);
                kern::EDK().step_f64(e, n, k.c, one.At(0));
                // Sub-ranges of random length (0 included) starting anywhere, differently each step.
                std::uniform_int_distribution<int> len(0, 10);
                int from = 0;
                while (from < n) {
                    const int m = std::min(len(rng), n - from);
                    kern::EDK().step_f64(e + from, m, k.c, cut.At(from));
                    from += m;
                }
            }
            EXPECT_TRUE(one == cut) << kern::EDK().name << " n " << n;
        }
    }
}

TEST(EMIDetectorKernels, ZeroAndNegativeCountsTouchNothing) {
    RestoreVariant restore;
    const Constants k = BandB(17.0 / 1.25e6);
    for (kern::Variant level : Levels()) {
        ASSERT_TRUE(kern::SetVariant(level));
        State s(4);
        for (std::vector<double>& v : s.a)
            v.assign(4, 0.5);
        const State before = s;
        const double env[4] = {9.0, 9.0, 9.0, 9.0};
        kern::EDK().step_f64(env, 0, k.c, s.At(0));
        kern::EDK().step_f64(env, -3, k.c, s.At(0));
        EXPECT_TRUE(s == before) << kern::EDK().name;
        double out[4] = {-1.0, -1.0, -1.0, -1.0};
        const float spectrum[2] = {3.0f, 4.0f};
        const int32_t bins[1] = {0};
        kern::EDK().envelope_c32(spectrum, bins, out, 0);
        EXPECT_EQ(out[0], -1.0);
    }
}

// A steady envelope E from rest: the first meter stage reaches E (1 - a^N) after N steps and the
// second E (1 - a^N - N g a^N), a = 1 - g (the critically damped meter sampled); the peak is E at once.
TEST(EMIDetectorKernels, AverageMeterFollowsTheCriticallyDampedClosedFormAtEveryLevel) {
    RestoreVariant restore;
    const Constants k = BandB(17.0 / 1.25e6);
    const double g = k.c.meterGain, a = 1.0 - g, E = 0.7;
    const int n = 7, steps = 20000;
    const std::vector<double> env(n, E);
    for (kern::Variant level : Levels()) {
        ASSERT_TRUE(kern::SetVariant(level));
        State s(n);
        for (int t = 1; t <= steps; ++t) {
            kern::EDK().step_f64(env.data(), n, k.c, s.At(0));
            if (t % 997 != 0 && t != steps) continue;
            const double aN = std::pow(a, t);
            for (int f = 0; f < n; ++f) {
                EXPECT_NEAR(s.a[5][static_cast<size_t>(f)], E * (1.0 - aN), 1e-12) << t;
                EXPECT_NEAR(s.a[6][static_cast<size_t>(f)], E * (1.0 - aN - t * g * aN), 1e-12) << t;
                EXPECT_EQ(s.a[0][static_cast<size_t>(f)], E);
            }
        }
    }
}

TEST(EMIDetectorKernels, EnvelopeIsTheMagnitudeOfEachBinAtEveryLevel) {
    RestoreVariant restore;
    const int bins = 2048;
    std::mt19937 rng(11);
    std::normal_distribution<float> nd(0.0f, 1.0f);
    std::vector<float> spectrum(2 * bins);
    for (float& v : spectrum)
        v = nd(rng);
    spectrum[0] = 3.0f;  // bin 0 is (3, 4): magnitude 5 exactly
    spectrum[1] = 4.0f;
    std::uniform_int_distribution<int32_t> pick(0, bins - 1);
    for (int n : {1, 2, 3, 7, 8, 17, 33, 223}) {
        std::vector<int32_t> idx(static_cast<size_t>(n));
        for (int32_t& b : idx)
            b = pick(rng);
        idx[0] = 0;
        if (n > 1) idx.back() = bins - 1;  // the last bin, and duplicates below
        if (n > 2) idx[1] = idx.back();
        for (kern::Variant level : Levels()) {
            ASSERT_TRUE(kern::SetVariant(level));
            std::vector<double> env(static_cast<size_t>(n) + 1, -7.0);
            kern::EDK().envelope_c32(spectrum.data(), idx.data(), env.data(), n);
            for (int k = 0; k < n; ++k) {
                const double re = spectrum[2 * static_cast<size_t>(idx[static_cast<size_t>(k)])];
                const double im = spectrum[2 * static_cast<size_t>(idx[static_cast<size_t>(k)]) + 1];
                // The same double arithmetic written out: squares and sum in double, a correctly rounded
                // root.
                EXPECT_EQ(env[static_cast<size_t>(k)], std::sqrt(re * re + im * im))
                    << kern::EDK().name << " " << k;
            }
            EXPECT_EQ(env[0], 5.0);
            EXPECT_EQ(env[static_cast<size_t>(n)], -7.0) << "wrote past the end";
        }
    }
}

TEST(EMIDetectorKernels, ActiveTableFollowsSetVariant) {
    RestoreVariant restore;
    for (kern::Variant v : Levels()) {
        ASSERT_TRUE(kern::SetVariant(v));
        EXPECT_EQ(&kern::EDK(), kern::EMIDetectorTableFor(v));
    }
}
