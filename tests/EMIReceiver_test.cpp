// EMIReceiver against the figures of CISPR 16-1-1 (pulse response of the quasi-peak detector, the
// calibration pulse) and against closed forms (Gaussian IF filter, peak, average and r.m.s. of pulse
// trains), plus streaming, validation and allocation behaviour.
//
// Level convention of these tests: an RF impulse of area a volt-seconds (e.m.f.) is a complex impulse
// of area 2a; a sine of r.m.s. e.m.f. U is a complex tone of magnitude U sqrt(2). Both are e.m.f., so
// the comparison of the two does not depend on the source and load impedances.
#include <corvane/dsp/EMIReceiver.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;

namespace {

constexpr double kPi = 3.14159265358979323846;
const EMIDetector kAllDetectors[] = {EMIDetector::Peak, EMIDetector::QuasiPeak, EMIDetector::Average,
                                     EMIDetector::RMSAverage};

double DB(double x) {
    return 20.0 * std::log10(x);
}

// Sigma (Hz) of a Gaussian amplitude response exp(-f^2/(2 sigma^2)) that is 6 dB down at +/- b6/2.
double SigmaHz(double b6) {
    return b6 / (2.0 * std::sqrt(2.0 * std::log(2.0)));
}

struct Readings {
    std::map<EMIDetector, std::vector<double>> r;
    double At(EMIDetector d, int k = 0) const { return r.at(d)[k]; }
};

Readings Read(const EMIReceiver& rx) {
    Readings out;
    for (EMIDetector d : kAllDetectors) {
        VecReal64 v;
        rx.GetReadings(v, d);
        out.r[d].assign(v.Data(), v.Data() + v.GetSize());
    }
    return out;
}

// The stream as a function of the sample index, fed in blocks of `block` samples.
template <class Gen>
void Feed(EMIReceiver& rx, long long samples, int block, Gen gen) {
    VecCplx32 buf;
    for (long long s = 0; s < samples; s += block) {
        const int n = static_cast<int>(std::min<long long>(block, samples - s));
        buf.Resize(n);
        for (int i = 0; i < n; ++i)
            buf[i] = gen(s + i);
        rx.Process(buf);
    }
}

// A train of RF impulses of `area` V s (e.m.f.) at `rate` Hz, the first at `first` s, for `seconds`.
Readings PulseTrain(EMIBand band, double fs, double rate, double seconds, double area, double first = 0.01,
                    int block = 65536) {
    EMIReceiver rx;
    VecReal64 scan(1);
    scan[0] = 0.0;
    rx.SetParameters(band, fs, scan);
    const double period = fs / rate;
    const double start = first * fs;
    const float height = static_cast<float>(2.0 * area * fs);
    Feed(rx, static_cast<long long>(seconds * fs), block, [&](long long i) {
        const double j = std::round((static_cast<double>(i) - start) / period);
        const bool hit = j >= 0 && std::llround(start + j * period) == i;
        return Cplx32{hit ? height : 0.0f, 0.0f};
    });
    return Read(rx);
}

// A complex tone of magnitude `amp` at `freq` Hz.
Readings ToneRun(EMIBand band, double fs, double seconds, double amp, double freq, const VecReal64& scan) {
    EMIReceiver rx;
    rx.SetParameters(band, fs, scan);
    Feed(rx, static_cast<long long>(seconds * fs), 8192, [&](long long i) {
        const double ph = 2.0 * kPi * std::fmod(freq * static_cast<double>(i) / fs, 1.0);
        return Cplx32{static_cast<float>(amp * std::cos(ph)), static_cast<float>(amp * std::sin(ph))};
    });
    return Read(rx);
}

// Band B pulse trains of unit area at 50 kS/s, computed once for the tests that share them.
constexpr double kBandBRate = 50000.0;
const Readings& BandB(double rate) {
    static std::map<double, Readings> cache;
    auto it = cache.find(rate);
    if (it == cache.end()) {
        const double seconds = rate >= 100 ? 1.5 : rate >= 10 ? 3.0 : 5.0;
        it = cache.emplace(rate, PulseTrain(EMIBand::B, kBandBRate, rate, seconds, 1.0)).first;
    }
    return it->second;
}

// A tone of amplitude 0.1 at toneHz, complex noise of standard deviation 0.01 (seeded), and a pulse added
// to every sample whose index is `offset` modulo `period`.
std::vector<Cplx32> TonePulsesAndNoise(double fs, int n, double toneHz, unsigned seed, int period, int offset,
                                       Cplx32 pulse) {
    std::mt19937 rng(seed);
    std::normal_distribution<float> noise(0.0f, 0.01f);
    std::vector<Cplx32> sig(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const double ph = 2.0 * kPi * toneHz * i / fs;
        Cplx32& s = sig[static_cast<size_t>(i)];
        s = Cplx32{static_cast<float>(0.1 * std::cos(ph)) + noise(rng),
                   static_cast<float>(0.1 * std::sin(ph)) + noise(rng)};
        if (i % period == offset) {
            s.re += pulse.re;
            s.im += pulse.im;
        }
    }
    return sig;
}

// Feeds `sig` to rx in blocks of random lengths up to maxLength (lengths 0 and 1 among them every
// seventh block when `tiny`).
void FeedInRandomBlocks(EMIReceiver& rx, const std::vector<Cplx32>& sig, int maxLength, std::mt19937& rng,
                        bool tiny) {
    const int n = static_cast<int>(sig.size());
    std::uniform_int_distribution<int> len(0, maxLength);
    VecCplx32 part;
    for (int pos = 0, blocks = 0; pos < n; ++blocks) {
        const int take = std::min(tiny && blocks % 7 == 0 ? blocks % 2 : len(rng), n - pos);
        part.Resize(take);
        for (int i = 0; i < take; ++i)
            part[i] = sig[static_cast<size_t>(pos + i)];
        rx.Process(part);
        pos += take;
    }
}

}  // namespace

// Relative equivalent level of pulse: the input level that gives the 100 Hz reading, so the reading's
// fall from 100 Hz. Figures and tolerances of CISPR 16-1-1 for band B.
TEST(EMIReceiver, BandBQuasiPeakPulseResponseMeetsTheStandardFigures) {
    const double ref = BandB(100).At(EMIDetector::QuasiPeak);
    struct Row {
        double rate, level, tol;
    };
    for (Row row : {Row{1000, -4.5, 1.0}, Row{10, 10.0, 1.5}, Row{2, 20.5, 2.0}, Row{1, 22.5, 2.0}}) {
        const double level = DB(ref / BandB(row.rate).At(EMIDetector::QuasiPeak));
        std::printf("band B %6.0f Hz: %+6.2f dB (standard %+5.1f +/- %.1f)\n", row.rate, level, row.level,
                    row.tol);
        EXPECT_NEAR(level, row.level, row.tol) << "at " << row.rate << " Hz";
    }
}

TEST(EMIReceiver, BandCDQuasiPeakRisesBy28_5dBFrom100HzTo1Hz) {
    const double fs = 400000.0;
    const double r100 = PulseTrain(EMIBand::CD, fs, 100, 4.0, 1.0).At(EMIDetector::QuasiPeak);
    const double r1 = PulseTrain(EMIBand::CD, fs, 1, 6.0, 1.0).At(EMIDetector::QuasiPeak);
    const double level = DB(r100 / r1);
    std::printf("band C/D 1 Hz: %+6.2f dB (standard +28.5 +/- 2.0)\n", level);
    EXPECT_NEAR(level, 28.5, 2.0);
}

TEST(EMIReceiver, QuasiPeakRisesMonotonicallyWithRepetitionRate) {
    double last = 0.0;
    for (double rate : {1.0, 2.0, 10.0, 100.0, 1000.0}) {
        const double q = BandB(rate).At(EMIDetector::QuasiPeak);
        EXPECT_GT(q, last) << "at " << rate << " Hz";
        last = q;
    }
}

// 0.316 uV s at 100 Hz reads the quasi-peak of a sine of 2 mV (66 dBuV), both e.m.f.
TEST(EMIReceiver, BandBCalibrationPulseReadsAsA2mVSine) {
    const double pulse = PulseTrain(EMIBand::B, kBandBRate, 100, 1.5, 0.316e-6).At(EMIDetector::QuasiPeak);
    VecReal64 scan(1);
    scan[0] = 0.0;
    const double sine =
        ToneRun(EMIBand::B, kBandBRate, 1.5, 2e-3 * std::sqrt(2.0), 0.0, scan).At(EMIDetector::QuasiPeak);
    std::printf("band B 0.316 uVs at 100 Hz: %.2f dBuV; 2 mV sine: %.2f dBuV\n",
                EMIReceiver::ToDBMicroVolt(pulse), EMIReceiver::ToDBMicroVolt(sine));
    EXPECT_NEAR(EMIReceiver::ToDBMicroVolt(sine), 20.0 * std::log10(2e-3 / 1e-6), 0.05);
    EXPECT_NEAR(EMIReceiver::ToDBMicroVolt(pulse), EMIReceiver::ToDBMicroVolt(sine), 1.5);
}

// The spread of an isolated pulse's readings over where it falls against the envelope's sampling
// grid (here five samples a step) and against the blocks.
TEST(EMIReceiver, IsolatedPulseReadingDoesNotDependOnItsPosition) {
    const double fs = 400000.0;
    std::map<EMIDetector, std::pair<double, double>> range;
    for (int shift = 0; shift < 10; ++shift) {
        EMIReceiver rx;
        VecReal64 scan(1);
        scan[0] = 0.0;
        rx.SetParameters(EMIBand::B, fs, scan);
        ASSERT_GT(rx.GetHop(), 1);
        const long long at = 4093 * 5 - 3 + shift;  // around a block boundary of the 4093-sample blocks
        Feed(rx, static_cast<long long>(0.8 * fs), 4093, [&](long long i) {
            return Cplx32{i == at ? static_cast<float>(2.0 * fs) : 0.0f, 0.0f};
        });
        const Readings r = Read(rx);
        for (EMIDetector d : kAllDetectors) {
            auto& mm = range.try_emplace(d, std::numeric_limits<double>::max(), 0.0).first->second;
            mm.first = std::min(mm.first, r.At(d));
            mm.second = std::max(mm.second, r.At(d));
        }
    }
    for (EMIDetector d : kAllDetectors) {
        const double spread = DB(range[d].second / range[d].first);
        std::printf("isolated pulse, detector %d: spread %.3f dB\n", static_cast<int>(d), spread);
        EXPECT_LT(spread, 0.5) << "detector " << static_cast<int>(d);
    }
}

TEST(EMIReceiver, SineReadsItsRmsOnEveryDetectorInEveryBand) {
    struct Case {
        EMIBand band;
        double fs, offset;
    };
    for (Case c : {Case{EMIBand::A, 2000.0, 150.0}, Case{EMIBand::B, kBandBRate, -7000.0},
                   Case{EMIBand::CD, 400000.0, 20000.0}}) {
        EMIReceiver probe;
        VecReal64 scan(1), tuned;
        scan[0] = c.offset;
        probe.SetParameters(c.band, c.fs, scan);
        probe.GetTunedOffsets(tuned);
        const double seconds = 1.5;
        const Readings r = ToneRun(c.band, c.fs, seconds, 0.25, tuned[0], scan);
        for (EMIDetector d : kAllDetectors)
            EXPECT_NEAR(DB(r.At(d) / (0.25 / std::sqrt(2.0))), 0.0, 0.05)
                << "band " << static_cast<int>(c.band) << " detector " << static_cast<int>(d);
    }
}

// Tones beside a measuring frequency read the Gaussian response, 6 dB down at B6/2. Read on the
// average detector: the peak detector also catches the tone's switching on, which is broadband.
TEST(EMIReceiver, IFFilterIsGaussianWithTheBandsSixDecibelBandwidth) {
    const double b6 = 9000.0, sigma = SigmaHz(b6);
    VecReal64 scan(4), tuned;
    scan[0] = -1000.0;
    scan[1] = 0.0;
    scan[2] = 9000.0;
    scan[3] = 13500.0;
    EMIReceiver probe;
    probe.SetParameters(EMIBand::B, 100000.0, scan);
    probe.GetTunedOffsets(tuned);
    const double tone = b6 / 2.0;  // B6/2 above the second measuring frequency, which is tuned to 0
    ASSERT_EQ(tuned[1], 0.0);
    const Readings r = ToneRun(EMIBand::B, 100000.0, 2.0, 1.0, tone, scan);
    for (int k = 0; k < 4; ++k) {
        const double df = tuned[k] - tone;
        const double expect = std::exp(-df * df / (2.0 * sigma * sigma)) / std::sqrt(2.0);
        EXPECT_NEAR(DB(r.At(EMIDetector::Average, k) / expect), 0.0, 0.1) << "offset " << tuned[k];
        EXPECT_LE(std::fabs(tuned[k] - scan[k]), b6 / 28.0);
    }
    // 20 log10(1/2): the 6 dB point.
    EXPECT_NEAR(DB(r.At(EMIDetector::Average, 1) * std::sqrt(2.0)), -6.02, 0.05);
}

// Peak: the Gaussian filter's impulse response peaks at 2a times the impulse bandwidth sqrt(2 pi) sigma,
// whatever the rate. Average: the envelope's area is 2a per pulse, so the mean is 2a rate.
TEST(EMIReceiver, PeakIgnoresRateAndAverageFollowsIt) {
    const double bimp = std::sqrt(2.0 * kPi) * SigmaHz(9000.0);
    for (double rate : {1.0, 10.0, 100.0, 1000.0})
        EXPECT_NEAR(DB(BandB(rate).At(EMIDetector::Peak) / (2.0 * bimp / std::sqrt(2.0))), 0.0, 0.1) << rate;
    for (double rate : {100.0, 1000.0})
        EXPECT_NEAR(DB(BandB(rate).At(EMIDetector::Average) / (2.0 * rate / std::sqrt(2.0))), 0.0, 0.2)
            << rate;
    EXPECT_NEAR(DB(BandB(1000).At(EMIDetector::Average) / BandB(100).At(EMIDetector::Average)), 20.0, 0.3);
}

// RMS-average above its corner: the mean square of the envelope is rate (2a B_imp)^2 sigma_t sqrt(pi)
// for a Gaussian envelope of time sigma sigma_t = 1/(2 pi sigma); the reading is the r.m.s., so it
// rises 10 dB per decade of rate.
TEST(EMIReceiver, RmsAverageRisesTenDecibelsPerDecadeAboveItsCorner) {
    const double sigma = SigmaHz(9000.0), bimp = std::sqrt(2.0 * kPi) * sigma, st = 1.0 / (2.0 * kPi * sigma);
    const double r200 = PulseTrain(EMIBand::B, kBandBRate, 200, 1.5, 1.0).At(EMIDetector::RMSAverage);
    const double r2000 = PulseTrain(EMIBand::B, kBandBRate, 2000, 1.5, 1.0).At(EMIDetector::RMSAverage);
    const double expect2000 = std::sqrt(2000.0 * 4.0 * bimp * bimp * st * std::sqrt(kPi) / 2.0);
    EXPECT_NEAR(DB(r2000 / expect2000), 0.0, 0.3);
    EXPECT_NEAR(DB(r2000 / r200), 10.0, 0.5);
}

TEST(EMIReceiver, StreamCutIntoRandomBlocksReadsAsOnePiece) {
    const double fs = 200000.0;
    const int n = 200000;
    const std::vector<Cplx32> sig = TonePulsesAndNoise(fs, n, 31000.0, 24, 1999, 5, Cplx32{300.0f, 0.0f});
    std::mt19937 rng(25);  // the block lengths
    VecReal64 scan(5);
    for (int k = 0; k < 5; ++k)
        scan[k] = -60000.0 + 30000.0 * k;
    EMIReceiver one, cut;
    one.SetParameters(EMIBand::B, fs, scan);
    cut.SetParameters(EMIBand::B, fs, scan);
    Feed(one, n, n, [&](long long i) { return sig[static_cast<size_t>(i)]; });
    FeedInRandomBlocks(cut, sig, 3000, rng, true);
    const Readings a = Read(one), b = Read(cut);
    for (EMIDetector d : kAllDetectors)
        for (int k = 0; k < 5; ++k) {
            EXPECT_EQ(a.At(d, k), b.At(d, k)) << "detector " << static_cast<int>(d) << " frequency " << k;
            EXPECT_GT(a.At(d, k), 0.0);
        }
    EXPECT_EQ(one.GetElapsedTime(), cut.GetElapsedTime());
    EXPECT_DOUBLE_EQ(one.GetElapsedTime(), n / fs);
}

TEST(EMIReceiver, AbsoluteFrequenciesWithACentreEqualOffsets) {
    const double fs = 100000.0, centre = 1.2e6;
    VecReal64 offsets(3), absolute(3), t1, t2;
    for (int k = 0; k < 3; ++k) {
        offsets[k] = -20000.0 + 17000.0 * k;
        absolute[k] = centre + offsets[k];
    }
    EMIReceiver a, b;
    a.SetParameters(EMIBand::B, fs, offsets);
    b.SetParameters(EMIBand::B, fs, centre, absolute);
    a.GetTunedOffsets(t1);
    b.GetTunedOffsets(t2);
    for (int k = 0; k < 3; ++k)
        EXPECT_EQ(t1[k], t2[k]);
    EXPECT_EQ(EMIReceiver::BandOf(149999.0), EMIBand::A);
    EXPECT_EQ(EMIReceiver::BandOf(150e3), EMIBand::B);
    EXPECT_EQ(EMIReceiver::BandOf(30e6), EMIBand::B);
    EXPECT_EQ(EMIReceiver::BandOf(30.1e6), EMIBand::CD);
}

TEST(EMIReceiver, ResetClearsReadingsAndKeepsTheConfiguration) {
    EMIReceiver rx;
    VecReal64 scan(1), r;
    scan[0] = 0.0;
    rx.SetParameters(EMIBand::B, kBandBRate, scan);
    Feed(rx, 20000, 5000, [](long long) { return Cplx32{1.0f, 0.0f}; });
    rx.GetReadings(r, EMIDetector::Peak);
    EXPECT_GT(r[0], 0.5);
    rx.Reset();
    EXPECT_EQ(rx.GetElapsedTime(), 0.0);
    for (EMIDetector d : kAllDetectors) {
        rx.GetReadings(r, d);
        ASSERT_EQ(r.GetSize(), 1);
        EXPECT_EQ(r[0], 0.0);
    }
}

TEST(EMIReceiver, RefusesInvalidConfiguration) {
    EMIReceiver rx;
    VecReal64 scan(1), empty, r;
    scan[0] = 0.0;
    auto refused = [](auto&& call) {
        try {
            call();
        } catch (const VELAException& e) {
            return e.code == VELAErrorInvalidInputParameter;
        }
        return false;
    };
    VecCplx32 block(3);
    block.SetZero();
    EXPECT_TRUE(refused([&] { rx.Process(block); }));
    EXPECT_TRUE(refused([&] { rx.GetReadings(r, EMIDetector::Peak); }));
    EXPECT_TRUE(refused([&] { rx.SetParameters(static_cast<EMIBand>(3), kBandBRate, scan); }));
    EXPECT_TRUE(refused([&] { rx.SetParameters(static_cast<EMIBand>(-1), kBandBRate, scan); }));
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, 0.0, scan); }));
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, -1.0, scan); }));
    EXPECT_TRUE(
        refused([&] { rx.SetParameters(EMIBand::B, std::numeric_limits<double>::infinity(), scan); }));
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, std::nan(""), scan); }));
    // Too low a rate for B6: the filter would reach beyond the recording's band.
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, 23000.0, scan); }));
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::CD, 200000.0, scan); }));
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, kBandBRate, empty); }));
    VecReal64 bad(2);
    bad[0] = 0.0;
    bad[1] = std::nan("");
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, kBandBRate, bad); }));
    bad[1] = 20000.0;  // 20 kHz + 1.3 B6 is beyond 25 kHz
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, kBandBRate, bad); }));
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, kBandBRate, std::nan(""), scan); }));
    // A rate so high against B6 that the filter bank would not fit.
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::A, 1e12, scan); }));
    EXPECT_TRUE(refused([] { EMIReceiver::GetBandParameters(static_cast<EMIBand>(9)); }));
    EXPECT_TRUE(refused([] { EMIReceiver::BandOf(std::nan("")); }));
    // A failed configuration leaves the receiver unconfigured.
    rx.SetParameters(EMIBand::B, kBandBRate, scan);
    EXPECT_TRUE(refused([&] { rx.SetParameters(EMIBand::B, kBandBRate, empty); }));
    EXPECT_TRUE(refused([&] { rx.Process(block); }));
    rx.SetParameters(EMIBand::B, kBandBRate, scan);
    EXPECT_TRUE(refused([&] { rx.GetReadings(r, static_cast<EMIDetector>(4)); }));
}

// A block holding a NaN or an infinity is refused whole: the readings go on as if it never came.
TEST(EMIReceiver, RefusesNonFiniteSamplesAndKeepsItsState) {
    VecReal64 scan(2);
    scan[0] = 0.0;
    scan[1] = 5000.0;
    EMIReceiver clean, dirty;
    clean.SetParameters(EMIBand::B, kBandBRate, scan);
    dirty.SetParameters(EMIBand::B, kBandBRate, scan);
    auto gen = [](long long i) { return Cplx32{i % 977 == 0 ? 40.0f : 0.001f, 0.0f}; };
    Feed(clean, 60000, 3000, gen);
    VecCplx32 buf;
    for (long long s = 0; s < 60000; s += 3000) {
        buf.Resize(3000);
        for (int i = 0; i < 3000; ++i)
            buf[i] = gen(s + i);
        if (s == 30000) {
            VecCplx32 bad(buf.GetSize());
            for (int i = 0; i < bad.GetSize(); ++i)
                bad[i] = buf[i];
            bad[1234].im = std::numeric_limits<float>::quiet_NaN();
            EXPECT_THROW(dirty.Process(bad), VELAException);
            bad[1234].im = std::numeric_limits<float>::infinity();
            EXPECT_THROW(dirty.Process(bad), VELAException);
        }
        dirty.Process(buf);
    }
    const Readings a = Read(clean), b = Read(dirty);
    for (EMIDetector d : kAllDetectors)
        for (int k = 0; k < 2; ++k)
            EXPECT_EQ(a.At(d, k), b.At(d, k));
}

TEST(EMIReceiver, SteadyProcessingAllocatesNothing) {
    VecReal64 scan(50);
    for (int k = 0; k < 50; ++k)
        scan[k] = -100000.0 + 4000.0 * k;
    EMIReceiver rx;
    rx.SetParameters(EMIBand::B, 250000.0, scan);
    VecCplx32 block(7777);
    for (int i = 0; i < block.GetSize(); ++i)
        block[i] = Cplx32{static_cast<float>(i % 3), 0.5f};
    rx.Process(block);
    const long long before = kern::AllocationCount();
    for (int rep = 0; rep < 5; ++rep)
        rx.Process(block);
    EXPECT_EQ(kern::AllocationCount(), before);
}

// A sine burst one meter time constant long: the meter's highest deflection is the 35 % of the steady
// one by which the meter time constant is defined (1.582 constants after the start, (1.582 (e - 1) - 1)
// exp(-1.582) = 0.353, -9.04 dB). The RMS-average detector must read it between -9.4 and -6.4 dB below
// the steady sine (CISPR 16-1-1:2010 7.5.4, as quoted in Keysight's N9038A service guide, table 22-72).
TEST(EMIReceiver, BurstOfOneMeterTimeConstantReadsTheMetersDefinedFraction) {
    struct Case {
        EMIBand band;
        double fs;
    };
    const double x = 1.0 + 1.0 / (std::exp(1.0) - 1.0);
    const double fraction = std::exp(-x) * (x * (std::exp(1.0) - 1.0) - 1.0);
    for (Case c : {Case{EMIBand::B, kBandBRate}, Case{EMIBand::CD, 400000.0}}) {
        const double tm = EMIReceiver::GetBandParameters(c.band).meterTC;
        EMIReceiver rx;
        VecReal64 scan(1);
        scan[0] = 0.0;
        rx.SetParameters(c.band, c.fs, scan);
        const long long on = static_cast<long long>(0.05 * c.fs),
                        off = on + static_cast<long long>(tm * c.fs);
        Feed(rx, static_cast<long long>((0.1 + 6 * tm) * c.fs), 10000, [&](long long i) {
            return Cplx32{i >= on && i < off ? 1.0f : 0.0f, 0.0f};
        });
        const Readings r = Read(rx);
        const double steady = 1.0 / std::sqrt(2.0);
        const double rms = DB(r.At(EMIDetector::RMSAverage) / steady);
        std::printf("burst of %.2f s: average %.2f dB, RMS-average %.2f dB (closed form %.2f)\n", tm,
                    DB(r.At(EMIDetector::Average) / steady), rms, DB(fraction));
        EXPECT_NEAR(DB(r.At(EMIDetector::Average) / steady), DB(fraction), 0.1);
        EXPECT_GE(rms, -9.4);
        EXPECT_LE(rms, -6.4);
        EXPECT_NEAR(DB(r.At(EMIDetector::Peak) / steady), 0.0, 0.05);
    }
}

// The detectors run in the kernel layer, one vector lane per measuring frequency: every instruction-set
// level reads exactly as the scalar reference, for a scan whose length is no multiple of any vector
// width, fed in one piece or cut into random blocks.
TEST(EMIReceiver, ReadsTheSameAtEveryKernelLevelInOnePieceOrInRandomBlocks) {
    const kern::Variant before = kern::ActiveVariant();
    const double fs = 200000.0;
    const int n = 60000;
    const std::vector<Cplx32> sig = TonePulsesAndNoise(fs, n, 21000.0, 5, 2001, 7, Cplx32{0.0f, 200.0f});
    std::mt19937 rng(6);  // the block lengths
    for (int count : {1, 3, 7, 17, 33}) {
        VecReal64 scan(count);
        for (int k = 0; k < count; ++k)
            scan[k] = count == 1 ? 21000.0 : -80000.0 + 160000.0 * k / (count - 1);
        std::vector<Readings> levels;
        for (kern::Variant v :
             {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512}) {
            if (!kern::SetVariant(v)) continue;
            EMIReceiver one, cut;
            one.SetParameters(EMIBand::B, fs, scan);
            cut.SetParameters(EMIBand::B, fs, scan);
            Feed(one, n, n, [&](long long i) { return sig[static_cast<size_t>(i)]; });
            FeedInRandomBlocks(cut, sig, 2500, rng, false);
            const Readings a = Read(one), b = Read(cut);
            for (EMIDetector d : kAllDetectors)
                for (int k = 0; k < count; ++k) {
                    EXPECT_EQ(a.At(d, k), b.At(d, k))
                        << kern::VariantName(v) << " detector " << static_cast<int>(d);
                    EXPECT_GT(a.At(d, k), 0.0);
                    if (!levels.empty()) {
                        EXPECT_EQ(a.At(d, k), levels.front().At(d, k))
                            << kern::VariantName(v) << " against the reference, detector "
                            << static_cast<int>(d) << " frequency " << k << " of " << count;
                    }
                }
            levels.push_back(a);
        }
        EXPECT_GE(levels.size(), 2u);
    }
    kern::SetVariant(before);
}
