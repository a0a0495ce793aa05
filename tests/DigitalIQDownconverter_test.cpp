// DigitalIQDownconverter: parameters and their refusals, the stream against a numpy model of mixing,
// filtering and decimating (at every kernel level), the self-test's record and reference output,
// segmentation at every phase of the decimation and at random, tones through the filter measured
// against its design, and a steady stream that allocates nothing.
#include <corvane/dsp/DigitalIQDownconverter.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/VELAError.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::NearL2;
using corvane_test::PyEval;

namespace {

constexpr double kRate = 6.25e9, kCenter = 2e9, kSpan = 1e9;
constexpr int kNumOutput = 49980;

struct Params {
    double outRate = 0.0, delay = 0.0;
    int required = 0;
};

Params Set(DigitalIQDownconverter& dc, double center, double rate, double span, int numOutput = 100,
           bool estimate = false) {
    Params p;
    dc.SetParameters(p.outRate, p.required, p.delay, center, rate, span, numOutput, estimate);
    return p;
}

DigitalIQDownconverter Make(double center, double rate, double span) {
    DigitalIQDownconverter dc;
    Set(dc, center, rate, span);
    return dc;
}

// A span that gives the rate ratio r exactly: floor(rate / (span / 0.8)) = r.
double SpanForRatio(double rate, double r) {
    return 0.8 * rate / (r + 0.5);
}

VecReal32 RandomRecord(int n, unsigned seed) {
    const std::vector<double> u = corvane_test::Uniform(static_cast<size_t>(n), seed);
    VecReal32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = static_cast<float>(u[i]);
    return v;
}

VecReal32 Part(const VecReal32& v, int start, int length) {
    VecReal32 r(length);
    for (int i = 0; i < length; ++i)
        r[i] = v[start + i];
    return r;
}

std::vector<double> Flat(const VecCplx32& v) {
    std::vector<double> out;
    for (int i = 0; i < v.GetSize(); ++i) {
        out.push_back(v[i].re);
        out.push_back(v[i].im);
    }
    return out;
}
std::vector<double> Flat(const VecReal32& v) {
    return std::vector<double>(v.Data(), v.Data() + v.GetSize());
}

void Append(std::vector<double>& all, const VecCplx32& v) {
    const std::vector<double> f = Flat(v);
    all.insert(all.end(), f.begin(), f.end());
}

std::vector<double> RunWhole(DigitalIQDownconverter dc, const VecReal32& record) {
    VecCplx32 out;
    EXPECT_EQ(dc.Apply(out, record), VELAErrorNone);
    return Flat(out);
}

// The record through the stream in segments of the given lengths (their sum is the record's length).
std::vector<double> RunSegments(DigitalIQDownconverter dc, const VecReal32& record,
                                const std::vector<int>& lengths) {
    std::vector<double> all;
    int at = 0;
    VecCplx32 out;
    for (int len : lengths) {
        EXPECT_EQ(dc.Apply(out, Part(record, at, len)), VELAErrorNone) << "segment at " << at;
        Append(all, out);
        at += len;
    }
    EXPECT_EQ(at, record.GetSize());
    return all;
}

// Expects VELAException 8005 "invalid input parameter".
template <class F>
void ExpectInvalidInput(F&& f) {
    try {
        f();
        ADD_FAILURE() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
        EXPECT_STREQ(e.message, "invalid input parameter");
    }
}

// The design and the stream in numpy, double precision, from the description: decimation, Kaiser
// window (alpha = 2 * 6 / (L - 1) in float), sinc over the float-rounded step pi / M, taps summing to 2,
// oscillator count starting at (L - 1) / 2, output k over samples k M .. k M + L - 1.
const char* kPyDesign = R"(
fs, fc, span = a1[0], a1[1], a1[2]
ratio = int(np.floor(fs / (span / 0.8)))
M = 1 << (ratio.bit_length() - 1)
L = 20 * M + 1
D = (L - 1) // 2
alpha = float(np.float32(2.0 * (6.0 / (L - 1))))
win = np.kaiser(L, alpha * (L - 1) / 2.0)
step = float(np.float32(3.1415927410125732 / M))
arg = np.arange(-D, D + 1) * step
sinc = np.ones(L)
nz = arg != 0
sinc[nz] = np.sin(arg[nz]) / arg[nz]
h = sinc * win
h = h / (h.sum() * 0.5)
w = fc * -6.28318530717958 / fs
def H0(f):  # zero-phase response at f Hz of the input rate
    t = np.arange(L) - D
    return float(np.sum(h * np.cos(2 * np.pi * f / fs * t)))
)";

std::vector<double> NumpyStream(const VecReal32& record, double center, double rate, double span) {
    const std::string code = std::string(kPyDesign) + R"(
x = a0
mixed = x * np.exp(1j * w * (np.arange(len(x)) + D))
out = np.convolve(mixed, h[::-1], 'valid')[::M]
)";
    return PyEval(code, {Flat(record), {rate, center, span}});
}

std::string DataDir() {
    return std::string(CORVANE_TEST_DIR) + "/../src/dsp/testdata";
}

bool ReadDump(const std::string& path, int values, std::vector<double>& data) {
    FILE* f = std::fopen(path.c_str(), "r");
    if (!f) return false;
    int index = 0;
    double a = 0, b = 0;
    while (true) {
        const int got =
            values == 1 ? std::fscanf(f, "%d %lf", &index, &a) : std::fscanf(f, "%d %lf %lf", &index, &a, &b);
        if (got != 1 + values) break;
        data.push_back(a);
        if (values == 2) data.push_back(b);
    }
    std::fclose(f);
    return !data.empty();
}

VecReal32 TestRecord() {
    std::vector<double> d;
    EXPECT_TRUE(ReadDump(DataDir() + "/VData.txt", 1, d));
    VecReal32 v(static_cast<int>(d.size()));
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = static_cast<float>(d[i]);
    return v;
}

// Every kernel level this CPU runs, restoring the active one at the end.
template <class F>
void AtEveryLevel(F&& f) {
    const kern::Variant before = kern::ActiveVariant();
    for (kern::Variant v :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512}) {
        if (!kern::SetVariant(v)) continue;
        SCOPED_TRACE(kern::VariantName(v));
        f();
    }
    kern::SetVariant(before);
}

}  // namespace

// ---------------------------------------------------------------- parameters

TEST(DigitalIQDownconverter, GetMinRequiredSpanIsTheRateOver6710886Times0_8) {
    for (double rate : {6.25e9, 1e6, 3.0, 1e12})
        EXPECT_EQ(DigitalIQDownconverter::GetMinRequiredSpan(rate), rate / 6710886.0 * 0.8);
}

TEST(DigitalIQDownconverter, MinimumSpanStaysWithinTheFilterBound) {
    // The named case: at 6.25e9 the minimum span, with centre 2e9 and an estimate, passes the tap bound
    // (M = 2^22, 83886081 taps). Its length for 49980 outputs is left to the next test; here a count
    // whose length fits.
    for (double rate : {6.25e9, 1e9, 25e6}) {
        DigitalIQDownconverter dc;
        const Params p = Set(dc, kCenter, rate, DigitalIQDownconverter::GetMinRequiredSpan(rate), 0, true);
        EXPECT_EQ(p.outRate, rate / 4194304.0);
        EXPECT_EQ(p.delay, 41943040.0);
        EXPECT_EQ(p.required, 83886080);
    }
}

TEST(DigitalIQDownconverter, LengthBeyondAnIntIsRefusedNotWrapped) {
    DigitalIQDownconverter dc;
    const double minSpan = DigitalIQDownconverter::GetMinRequiredSpan(kRate);
    // 491 * 2^22 + 83886080 = 2143289344 fits; 492 outputs would need 2^31.
    EXPECT_EQ(Set(dc, kCenter, kRate, minSpan, 491, true).required, 2143289344);
    ExpectInvalidInput([&] { Set(dc, kCenter, kRate, minSpan, 492, true); });
    ExpectInvalidInput([&] { Set(dc, kCenter, kRate, minSpan, kNumOutput, true); });
    ExpectInvalidInput([&] { Set(dc, kCenter, kRate, minSpan, kNumOutput, false); });
    ExpectInvalidInput([&] { Set(dc, kCenter, kRate, kSpan, std::numeric_limits<int>::max(), true); });
}

TEST(DigitalIQDownconverter, ParametersOfTheNamedSetting) {
    // rate / (span / 0.8) = 5: M = 4, L = 81.
    for (bool estimate : {true, false}) {
        DigitalIQDownconverter dc;
        const Params p = Set(dc, kCenter, kRate, kSpan, kNumOutput, estimate);
        EXPECT_EQ(p.outRate, 1.5625e9);
        EXPECT_EQ(p.delay, 40.0);
        EXPECT_EQ(p.required, 200000);
    }
}

TEST(DigitalIQDownconverter, DecimationIsTheLargestPowerOfTwoNotAboveTheRatio) {
    DigitalIQDownconverter dc;
    for (int r = 1; r <= 70000; r += (r < 300 ? 1 : 97)) {
        const double rate = 1e8;
        const Params p = Set(dc, 0.0, rate, SpanForRatio(rate, r), 7, true);
        const int64_t M = static_cast<int64_t>(std::bit_floor(static_cast<uint64_t>(r)));
        ASSERT_EQ(p.outRate, rate / static_cast<double>(M)) << "ratio " << r;
        ASSERT_EQ(p.delay, 10.0 * static_cast<double>(M)) << "ratio " << r;
        ASSERT_EQ(p.required, 7 * M + 20 * M) << "ratio " << r;
    }
}

TEST(DigitalIQDownconverter, FilterBeyond134217727TapsIsRefused) {
    const double rate = 1e9;
    DigitalIQDownconverter dc;
    // Ratio 2^23 - 1 still decimates by 2^22 (83886081 taps); 2^23 would need 167772161.
    EXPECT_EQ(Set(dc, 0.0, rate, SpanForRatio(rate, 8388607.0), 0, true).delay, 41943040.0);
    ExpectInvalidInput([&] { Set(dc, 0.0, rate, SpanForRatio(rate, 8388608.0), 0, true); });
    ExpectInvalidInput([&] { Set(dc, 0.0, rate, 1e-300, 0, true); });
    // Not an estimate: the object is left without parameters.
    Set(dc, kCenter, kRate, kSpan);
    ExpectInvalidInput([&] { Set(dc, 0.0, rate, SpanForRatio(rate, 8388608.0), 0, false); });
    VecCplx32 out;
    EXPECT_EQ(dc.Apply(out, RandomRecord(200, 1)), VELAErrorInvalidInputParameter);
}

TEST(DigitalIQDownconverter, InvalidParametersAreRefused) {
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 inf = std::numeric_limits<double>::infinity();
    struct Case {
        double center, rate, span;
        int numOutput;
    };
    const Case cases[] = {
        {kCenter, 0.0, kSpan, 10},
        {kCenter, -kRate, kSpan, 10},
        {kCenter, nan, kSpan, 10},
        {kCenter, inf, kSpan, 10},
        {kCenter, kRate, 0.0, 10},
        {kCenter, kRate, -kSpan, 10},
        {kCenter, kRate, nan, 10},
        {kCenter, kRate, inf, 10},
        {nan, kRate, kSpan, 10},
        {inf, kRate, kSpan, 10},
        {kCenter, kRate, kSpan, -1},
        // A span above 80% of the rate leaves nothing to decimate by.
        {kCenter, kRate, 0.81 * kRate, 10},
        {kCenter, kRate, kRate, 10},
    };
    for (const Case& c : cases)
        for (bool estimate : {true, false}) {
            SCOPED_TRACE(testing::Message()
                         << c.center << " " << c.rate << " " << c.span << " " << c.numOutput);
            DigitalIQDownconverter dc;
            ExpectInvalidInput([&] { Set(dc, c.center, c.rate, c.span, c.numOutput, estimate); });
        }
    // Exactly 80% decimates by one.
    DigitalIQDownconverter dc;
    EXPECT_EQ(Set(dc, kCenter, kRate, 0.8 * kRate, 10, true).outRate, kRate);
}

TEST(DigitalIQDownconverter, EstimateTouchesNoMember) {
    const VecReal32 record = RandomRecord(3000, 2);
    DigitalIQDownconverter ref = Make(1.3e6, 10e6, 1e6);
    const std::vector<double> whole = RunWhole(ref, record);

    DigitalIQDownconverter dc = Make(1.3e6, 10e6, 1e6);
    std::vector<double> all;
    VecCplx32 out;
    ASSERT_EQ(dc.Apply(out, Part(record, 0, 1000)), VELAErrorNone);
    Append(all, out);
    const Params p = Set(dc, 0.2e6, 10e6, 0.3e6, 5, true);  // another setting, estimated only
    EXPECT_EQ(p.outRate, 10e6 / 16.0);
    ASSERT_EQ(dc.Apply(out, Part(record, 1000, 2000)), VELAErrorNone);
    Append(all, out);
    EXPECT_EQ(all, whole);

    // An estimate does not make a new object ready.
    DigitalIQDownconverter fresh;
    Set(fresh, kCenter, kRate, kSpan, 10, true);
    EXPECT_EQ(fresh.Apply(out, record), VELAErrorInvalidInputParameter);
}

TEST(DigitalIQDownconverter, UnchangedParametersLeaveTheStreamAlone) {
    const VecReal32 record = RandomRecord(3000, 3);
    const std::vector<double> whole = RunWhole(Make(1.3e6, 10e6, 1e6), record);
    DigitalIQDownconverter dc;
    const Params first = Set(dc, 1.3e6, 10e6, 1e6, 100);
    std::vector<double> all;
    VecCplx32 out;
    ASSERT_EQ(dc.Apply(out, Part(record, 0, 1234)), VELAErrorNone);
    Append(all, out);
    const Params again = Set(dc, 1.3e6, 10e6, 1e6, 100);
    EXPECT_EQ(again.outRate, first.outRate);
    EXPECT_EQ(again.required, first.required);
    EXPECT_EQ(again.delay, first.delay);
    ASSERT_EQ(dc.Apply(out, Part(record, 1234, 1766)), VELAErrorNone);
    Append(all, out);
    EXPECT_EQ(all, whole);
}

TEST(DigitalIQDownconverter, ChangedParametersRebuildAndFlush) {
    const VecReal32 record = RandomRecord(3000, 4);
    DigitalIQDownconverter dc = Make(1.3e6, 10e6, 1e6);
    VecCplx32 out;
    ASSERT_EQ(dc.Apply(out, Part(record, 0, 1500)), VELAErrorNone);
    // Only the output count differs: the filter is rebuilt and the stream starts again.
    const Params p = Set(dc, 1.3e6, 10e6, 1e6, 101);
    EXPECT_EQ(p.required, 8 * 101 + 160);
    EXPECT_EQ(dc.Apply(out, Part(record, 0, 160)), VELAErrorInvalidInputParameter);  // L = 161
    EXPECT_EQ(RunWhole(dc, record), RunWhole(Make(1.3e6, 10e6, 1e6), record));
    // A new centre, a new design.
    Set(dc, -2.2e6, 10e6, 0.5e6);
    EXPECT_EQ(RunWhole(dc, record), RunWhole(Make(-2.2e6, 10e6, 0.5e6), record));
}

TEST(DigitalIQDownconverter, FailedChangeLeavesNoParametersUntilASuccessfulCall) {
    DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);
    ExpectInvalidInput([&] { Set(dc, kCenter, kRate, 2 * kRate); });
    VecCplx32 out;
    const VecReal32 record = RandomRecord(500, 5);
    EXPECT_EQ(dc.Apply(out, record), VELAErrorInvalidInputParameter);
    // The earlier values again: rebuilt, not taken as unchanged.
    Set(dc, kCenter, kRate, kSpan);
    EXPECT_EQ(RunWhole(dc, record), RunWhole(Make(kCenter, kRate, kSpan), record));
}

// ---------------------------------------------------------------- refusals of Apply

TEST(DigitalIQDownconverter, ApplyWithoutParametersReturnsInvalidInputAndLeavesOut) {
    DigitalIQDownconverter dc;
    VecCplx32 out(3);
    out[0] = {7.0f, 8.0f};
    EXPECT_EQ(dc.Apply(out, RandomRecord(1000, 6)), VELAErrorInvalidInputParameter);
    EXPECT_EQ(out.GetSize(), 3);
    EXPECT_EQ(out[0].re, 7.0f);
    dc.Flush();  // nothing to flush: still without parameters
    EXPECT_EQ(dc.Apply(out, RandomRecord(1000, 6)), VELAErrorInvalidInputParameter);
}

TEST(DigitalIQDownconverter, FirstSegmentShorterThanTheFilterIsRefused) {
    const VecReal32 record = RandomRecord(81, 7);
    DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);  // L = 81
    VecCplx32 out(2);
    out[0] = {7.0f, 8.0f};
    EXPECT_EQ(dc.Apply(out, Part(record, 0, 80)), VELAErrorInvalidInputParameter);
    EXPECT_EQ(out.GetSize(), 2);
    EXPECT_EQ(out[0].re, 7.0f);
    EXPECT_EQ(dc.Apply(out, VecReal32()), VELAErrorInvalidInputParameter);
    // The refusals took nothing: L samples now give the first output.
    ASSERT_EQ(dc.Apply(out, record), VELAErrorNone);
    ASSERT_EQ(out.GetSize(), 1);
    EXPECT_TRUE(NearAbs(Flat(out), NumpyStream(record, kCenter, kRate, kSpan), 2e-6));
}

TEST(DigitalIQDownconverter, EmptySegmentMidStreamChangesNothing) {
    const VecReal32 record = RandomRecord(1000, 8);
    DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);
    EXPECT_EQ(RunSegments(dc, record, {100, 0, 0, 450, 0, 450}), RunWhole(dc, record));
    VecCplx32 out(5);
    ASSERT_EQ(dc.Apply(out, Part(record, 0, 300)), VELAErrorNone);
    ASSERT_EQ(dc.Apply(out, VecReal32()), VELAErrorNone);
    EXPECT_EQ(out.GetSize(), 0);
}

// ---------------------------------------------------------------- the stream's values

TEST(DigitalIQDownconverter, MatchesNumpyAtEveryKernelLevel) {
    struct Setting {
        double center, rate, span;
        int L;
    };
    const Setting settings[] = {
        {kCenter, kRate, kSpan, 81},                         // M = 4
        {0.31e6, 1e6, SpanForRatio(1e6, 1.0), 21},           // M = 1
        {-0.17e6, 1e6, SpanForRatio(1e6, 3.0), 41},          // M = 2, negative centre
        {12.345e6, 100e6, SpanForRatio(100e6, 20.0), 321},   // M = 16
        {0.0, 100e6, SpanForRatio(100e6, 100.0), 1281},      // M = 64, no shift
        {2.4e9, 6.25e9, SpanForRatio(6.25e9, 300.0), 5121},  // M = 256
    };
    unsigned seed = 10;
    for (const Setting& s : settings) {
        SCOPED_TRACE(testing::Message() << "L=" << s.L);
        const VecReal32 record = RandomRecord(3 * s.L + 1777, seed++);
        const std::vector<double> expected = NumpyStream(record, s.center, s.rate, s.span);
        ASSERT_FALSE(expected.empty());
        AtEveryLevel([&] {
            DigitalIQDownconverter dc = Make(s.center, s.rate, s.span);
            const std::vector<double> got = RunWhole(dc, record);
            ASSERT_EQ(got.size(), expected.size());
            EXPECT_TRUE(NearL2(got, expected, 2e-6));
            EXPECT_TRUE(NearAbs(got, expected, 3e-5));
        });
    }
}

TEST(DigitalIQDownconverter, TestRecordGivesTheReferenceOutput) {
    const VecReal32 record = TestRecord();
    ASSERT_EQ(record.GetSize(), 1000);
    std::vector<double> gold;
    ASSERT_TRUE(ReadDump(DataDir() + "/VDataIQCvtGold.txt", 2, gold));
    AtEveryLevel([&] {
        DigitalIQDownconverter dc;
        Set(dc, kCenter, kRate, kSpan, kNumOutput);
        const std::vector<double> got = RunWhole(dc, record);
        ASSERT_EQ(got.size(), 2u * 230u);
        EXPECT_TRUE(NearAbs(got, gold, 9e-6));
        // The named cuts at three phases of M, with Flush before each pair.
        for (int cut : {400, 399, 394}) {
            dc.Flush();
            EXPECT_EQ(RunSegments(dc, record, {cut, 1000 - cut}), got) << "cut " << cut;
        }
    });
}

TEST(DigitalIQDownconverter, CommittedTestDataAreWhatTheirGeneratorWrites) {
    corvane_test::ScopedWorkDir dir;
    const std::string cmd = std::string(CORVANE_PYTHON) + " " + DataDir() + "/make_iqcvt_testdata.py .";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    for (const char* name : {"VData.txt", "VDataIQCvtGold.txt"}) {
        const std::string written = corvane_test::ReadFile(name);
        EXPECT_FALSE(written.empty()) << name;
        EXPECT_EQ(written, corvane_test::ReadFile(DataDir() + "/" + name)) << name;
    }
}

// ---------------------------------------------------------------- segmentation

TEST(DigitalIQDownconverter, EveryCutOfOneCycleOfMMatchesOnePiece) {
    struct Setting {
        double center, rate, span;
        int M, L;
    };
    const Setting settings[] = {{kCenter, kRate, kSpan, 4, 81},
                                {12.345e6, 100e6, SpanForRatio(100e6, 20.0), 16, 321}};
    for (const Setting& s : settings) {
        const VecReal32 record = RandomRecord(4 * s.L + 3001, 20);
        AtEveryLevel([&] {
            DigitalIQDownconverter dc = Make(s.center, s.rate, s.span);
            const std::vector<double> whole = RunWhole(dc, record);
            // Cuts through one whole cycle of M, right after the first output and far into the stream,
            // and the first segment exactly L.
            for (int base : {s.L, s.L + 1000}) {
                for (int c = base; c < base + s.M; ++c) {
                    EXPECT_EQ(RunSegments(dc, record, {c, record.GetSize() - c}), whole)
                        << "M " << s.M << " cut " << c;
                    // and three pieces: a second cut one cycle later, plus a little
                    const int c2 = c + s.M + 1 + (c % 3);
                    EXPECT_EQ(RunSegments(dc, record, {c, c2 - c, record.GetSize() - c2}), whole)
                        << "M " << s.M << " cuts " << c << ", " << c2;
                }
            }
        });
    }
}

TEST(DigitalIQDownconverter, RandomSegmentsMatchOnePiece) {
    std::mt19937 gen(31);
    struct Setting {
        double center, rate, span;
        int M, L;
    };
    const Setting settings[] = {{kCenter, kRate, kSpan, 4, 81},
                                {0.31e6, 1e6, SpanForRatio(1e6, 1.0), 1, 21},
                                {2.4e9, 6.25e9, SpanForRatio(6.25e9, 300.0), 256, 5121}};
    for (const Setting& s : settings) {
        const VecReal32 record = RandomRecord(40000, 32);
        AtEveryLevel([&] {
            DigitalIQDownconverter dc = Make(s.center, s.rate, s.span);
            const std::vector<double> whole = RunWhole(dc, record);
            for (int trial = 0; trial < 5; ++trial) {
                std::vector<int> lengths;
                int left = record.GetSize();
                // The first segment fills the filter; later ones are short (often under M, sometimes
                // empty) or long (beyond the ring's batch).
                const int first = s.L + static_cast<int>(gen() % 300);
                lengths.push_back(first);
                left -= first;
                while (left > 0) {
                    const int kind = static_cast<int>(gen() % 10);
                    int len = kind == 0  ? 0
                              : kind < 7 ? static_cast<int>(gen() % (3 * s.M + 2))
                                         : static_cast<int>(gen() % 6000);
                    len = len < left ? len : left;
                    lengths.push_back(len);
                    left -= len;
                }
                EXPECT_EQ(RunSegments(dc, record, lengths), whole) << "M " << s.M << " trial " << trial;
            }
        });
    }
}

TEST(DigitalIQDownconverter, OutputCountsFollowTheStreamCount) {
    // n samples of a stream give 1 + (n - L) / M outputs in all, however they are cut.
    const VecReal32 record = RandomRecord(5000, 40);
    DigitalIQDownconverter dc = Make(12.345e6, 100e6, SpanForRatio(100e6, 20.0));  // M 16, L 321
    std::mt19937 gen(41);
    int fed = 0, outputs = 0;
    VecCplx32 out;
    int len = 321 + 5;
    while (fed < record.GetSize()) {
        len = len < record.GetSize() - fed ? len : record.GetSize() - fed;
        ASSERT_EQ(dc.Apply(out, Part(record, fed, len)), VELAErrorNone);
        fed += len;
        outputs += out.GetSize();
        EXPECT_EQ(outputs, 1 + (fed - 321) / 16) << "after " << fed;
        len = static_cast<int>(gen() % 40);
    }
}

TEST(DigitalIQDownconverter, SecondApplyWithoutFlushContinuesTheStream) {
    const VecReal32 a = RandomRecord(700, 50), b = RandomRecord(500, 51);
    VecReal32 ab(1200);
    for (int i = 0; i < 700; ++i)
        ab[i] = a[i];
    for (int i = 0; i < 500; ++i)
        ab[700 + i] = b[i];
    DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);
    VecCplx32 first, second;
    ASSERT_EQ(dc.Apply(first, a), VELAErrorNone);
    ASSERT_EQ(dc.Apply(second, b), VELAErrorNone);  // a "new record", but the stream goes on
    std::vector<double> joined = Flat(first);
    Append(joined, second);
    EXPECT_EQ(joined, RunWhole(Make(kCenter, kRate, kSpan), ab));
    EXPECT_NE(Flat(second), RunWhole(Make(kCenter, kRate, kSpan), b));
}

TEST(DigitalIQDownconverter, FlushStartsANewStreamWithTheSameFilter) {
    const VecReal32 a = RandomRecord(1333, 52), b = RandomRecord(900, 53);
    DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);
    VecCplx32 out;
    ASSERT_EQ(dc.Apply(out, a), VELAErrorNone);
    dc.Flush();
    EXPECT_EQ(dc.Apply(out, Part(b, 0, 80)), VELAErrorInvalidInputParameter);
    EXPECT_EQ(RunWhole(dc, b), RunWhole(Make(kCenter, kRate, kSpan), b));
}

TEST(DigitalIQDownconverter, CopyCarriesTheStreamOn) {
    const VecReal32 record = RandomRecord(3000, 54);
    DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);
    VecCplx32 out;
    ASSERT_EQ(dc.Apply(out, Part(record, 0, 1001)), VELAErrorNone);
    DigitalIQDownconverter copy(dc);
    DigitalIQDownconverter assigned;
    assigned = dc;
    VecCplx32 a, b, c;
    ASSERT_EQ(dc.Apply(a, Part(record, 1001, 1999)), VELAErrorNone);
    ASSERT_EQ(copy.Apply(b, Part(record, 1001, 1999)), VELAErrorNone);
    ASSERT_EQ(assigned.Apply(c, Part(record, 1001, 1999)), VELAErrorNone);
    EXPECT_EQ(Flat(a), Flat(b));
    EXPECT_EQ(Flat(a), Flat(c));
}

// ---------------------------------------------------------------- tones against the design

namespace {

// A real sine of amplitude A at f0 Hz sampled at rate, phase phi at sample 0; computed in double.
VecReal32 Sine(int n, double f0, double rate, double A, double phi) {
    VecReal32 v(n);
    for (int i = 0; i < n; ++i) {
        double cycles = f0 / rate * i;
        cycles -= std::floor(cycles);
        v[i] = static_cast<float>(A * std::cos(2.0 * M_PI * cycles + phi));
    }
    return v;
}

// Fits each output as a e^{j 2 pi nu_w k} + b e^{j 2 pi nu_i k}, the wanted tone at f0 - fc and its
// image at -(f0 + fc) (Hz of the input rate, folded by the decimation), and returns for each |a|, |b|,
// arg a (at output 0), and the design's zero-phase responses H0(f0 - fc), H0(-(f0 + fc)): five values
// per output, in the order given. All outputs have the same length.
std::vector<double> FitTones(const std::vector<VecCplx32>& outs, const std::vector<double>& f0s,
                             double center, double rate, double span) {
    std::vector<double> flat;
    for (const VecCplx32& out : outs)
        Append(flat, out);
    const std::string code = std::string(kPyDesign) + R"(
res = []
for y2, f0 in zip(a0.reshape(len(a2), -1), a2):
    y = y2[0::2] + 1j * y2[1::2]
    k = np.arange(len(y))
    fw = f0 - fc
    fi = -(f0 + fc)
    A = np.stack([np.exp(2j * np.pi * fw * M / fs * k), np.exp(2j * np.pi * fi * M / fs * k)], axis=1)
    coef = np.linalg.lstsq(A, y, rcond=None)[0]
    res += [abs(coef[0]), abs(coef[1]), np.angle(coef[0]), H0(fw), H0(fi)]
out = np.array(res)
)";
    return PyEval(code, {flat, {rate, center, span}, f0s});
}
std::vector<double> FitTone(const VecCplx32& out, double f0, double center, double rate, double span) {
    return FitTones({out}, {f0}, center, rate, span);
}

}  // namespace

TEST(DigitalIQDownconverter, RealSineComesOutAsAComplexToneOfTheSameAmplitude) {
    // 137.5 MHz above the centre: 0.088 of the output rate, well inside the pass band.
    const double A = 0.7, phi = 0.4, delta = 137.5e6, f0 = kCenter + delta;
    const VecReal32 x = Sine(4081, f0, kRate, A, phi);
    DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);
    VecCplx32 out;
    ASSERT_EQ(dc.Apply(out, x), VELAErrorNone);
    ASSERT_EQ(out.GetSize(), 1001);
    const std::vector<double> fit = FitTone(out, f0, kCenter, kRate, kSpan);
    ASSERT_EQ(fit.size(), 5u);
    const double designGain = fit[3] / 2.0;  // taps sum to 2: a real sine of A gives A H0 / 2
    EXPECT_NEAR(designGain, 1.0, 1e-3);
    EXPECT_NEAR(fit[0], A * designGain, 2e-6);
    // Phase at output 0: the input's phase at the filter centre (sample 40) less the oscillator's turn
    // over the delay counted twice (its count starts at the delay): phi + 2 pi (f0 40 - fc 80) / rate.
    const double expectedPhase =
        std::remainder(phi + 2.0 * M_PI * (f0 * 40.0 - kCenter * 80.0) / kRate, 2.0 * M_PI);
    EXPECT_NEAR(std::remainder(fit[2] - expectedPhase, 2.0 * M_PI), 0.0, 1e-5);
    // Sample by sample: every output within the image's leakage of the ideal tone.
    const double leak = fit[1] + 1e-5;
    for (int k = 0; k < out.GetSize(); ++k) {
        const double ph = expectedPhase + 2.0 * M_PI * delta * 4.0 / kRate * k;
        ASSERT_NEAR(out[k].re, fit[0] * std::cos(ph), leak) << k;
        ASSERT_NEAR(out[k].im, fit[0] * std::sin(ph), leak) << k;
    }
}

TEST(DigitalIQDownconverter, ImageRejectionMatchesTheDesign) {
    // The image of a real input, at -(f0 + fc), meets the filter's stop band; its level in the output is
    // what the design's response there says.
    const double A = 0.9;
    const std::vector<double> f0s = {2.25e9, 1.7e9, 2.6e9};
    std::vector<VecCplx32> outs;
    for (double f0 : f0s) {
        DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);
        outs.emplace_back();
        ASSERT_EQ(dc.Apply(outs.back(), Sine(8081, f0, kRate, A, 1.0)), VELAErrorNone);
    }
    const std::vector<double> fit = FitTones(outs, f0s, kCenter, kRate, kSpan);
    ASSERT_EQ(fit.size(), 5 * f0s.size());
    for (size_t t = 0; t < f0s.size(); ++t) {
        const double* f = &fit[5 * t];
        const double measuredDb = 20.0 * std::log10(f[1] / (A / 2.0));
        const double designDb = 20.0 * std::log10(std::fabs(f[4]));
        EXPECT_NEAR(measuredDb, designDb, 0.5) << f0s[t];
        // Kaiser beta 6 over 81 taps: the stop band lies below -55 dB.
        EXPECT_LT(designDb, -55.0) << f0s[t];
        std::printf("[ info ] f0 %.4g Hz: image %.2f dB below the tone (design %.2f dB)\n", f0s[t],
                    20.0 * std::log10(f[0] / f[1]), 20.0 * std::log10(std::fabs(f[3] / f[4])));
    }
}

TEST(DigitalIQDownconverter, PassbandRippleMatchesTheDesign) {
    // Tones across the usable 80% of the output rate (+-625 MHz at M = 4), each measured by its fitted
    // amplitude against the design's response at its frequency.
    const double A = 0.5, outRate = kRate / 4.0;
    std::vector<double> f0s;
    std::vector<VecCplx32> outs;
    for (int i = -8; i <= 8; ++i) {
        const double f0 = kCenter + 0.4 * outRate * i / 8.0 + 1.234e6;  // off the exact grid
        f0s.push_back(f0);
        DigitalIQDownconverter dc = Make(kCenter, kRate, kSpan);
        outs.emplace_back();
        ASSERT_EQ(dc.Apply(outs.back(), Sine(6081, f0, kRate, A, 0.25 * i)), VELAErrorNone);
    }
    const std::vector<double> fit = FitTones(outs, f0s, kCenter, kRate, kSpan);
    ASSERT_EQ(fit.size(), 5 * f0s.size());
    double lo = 1e9, hi = -1e9, designLo = 1e9, designHi = -1e9;
    for (size_t t = 0; t < f0s.size(); ++t) {
        const double measuredDb = 20.0 * std::log10(fit[5 * t] / A);
        const double designDb = 20.0 * std::log10(fit[5 * t + 3] / 2.0);
        EXPECT_NEAR(measuredDb, designDb, 2e-4) << "f0 " << f0s[t];
        lo = std::min(lo, measuredDb);
        hi = std::max(hi, measuredDb);
        designLo = std::min(designLo, designDb);
        designHi = std::max(designHi, designDb);
    }
    std::printf(
        "[ info ] pass band +-0.4 of the output rate: gain %.4f .. %.4f dB (design %.4f .. %.4f dB)\n", lo,
        hi, designLo, designHi);
    EXPECT_NEAR(hi - lo, designHi - designLo, 4e-4);
}

// ---------------------------------------------------------------- allocation

TEST(DigitalIQDownconverter, SteadyStreamAllocatesNothingAfterTheFirstSegment) {
    for (double ratio : {5.0, 300.0}) {
        DigitalIQDownconverter dc = Make(kCenter, kRate, SpanForRatio(kRate, ratio));
        const VecReal32 record = RandomRecord(60000, 60);
        VecCplx32 out;
        ASSERT_EQ(dc.Apply(out, Part(record, 0, 12000)), VELAErrorNone);
        std::vector<VecReal32> segments;
        std::mt19937 gen(61);
        for (int i = 0; i < 20; ++i)
            segments.push_back(Part(record, 12000, static_cast<int>(gen() % 12001)));
        const long long before = kern::AllocationCount();
        for (const VecReal32& s : segments)
            ASSERT_EQ(dc.Apply(out, s), VELAErrorNone);
        EXPECT_EQ(kern::AllocationCount(), before) << "ratio " << ratio;
    }
}
