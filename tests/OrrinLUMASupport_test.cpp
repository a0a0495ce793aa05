#include <corvane/dsp/OrrinLUMASupport.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/VELAError.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::PyEval;

namespace {

constexpr double kRate = 1.5e8;
constexpr int kTable = 8192;

struct Params {
    int pointsPerStep, zoomFactor, stitchCount, windowLength, windowStep, transformOrderCode, resamplerOffset,
        decimationStages, decimationEnable, ncoStart, ncoStep, dwellCount;
    float windowGain, actualRBW;
    double outputSampleRate;
};

Params Read(const OrrinLUMASupport& luma) {
    Params p{};
    luma.GetFPGAParameters(p.pointsPerStep, p.zoomFactor, p.stitchCount, p.windowLength, p.windowStep,
                           p.transformOrderCode, p.resamplerOffset, p.decimationStages, p.decimationEnable,
                           p.ncoStart, p.ncoStep, p.dwellCount, p.windowGain, p.outputSampleRate,
                           p.actualRBW);
    return p;
}

struct Request {
    double start, step;
    int points, oversample;
    float rbw;
    int dwell;
    bool stitch;
    int maxOrder;
};

// The named cases of the block's change requests (limit 15) and a few more grids: a realtime request at
// the default limit, zoomed transforms, several rate halvings, oversampled stitching.
const Request kRequests[] = {
    {-49812736.0, 250315.25628140703, 399, 1, 5e6f, 300, true, 15},  // CR90285
    {-49812736.0, 250315.25628140703, 399, 1, 1e6f, 300, true, 15},  // CR90692
    {-54868912.0, 375814.4657534247, 293, 1, 1e6f, 300, true, 15},   // CR91425
    {-5.5e7, 137500.0, 801, 5, 1e6f, 300, false, 15},                // CR94528
    {-54829588.0, 1612634.9411764706, 69, 1, 1e6f, 300, true, 15},   // CR96006
    {-5e7, 125000.0, 801, 3, 1000.0f, 5, false, 19},                 // realtime, default limit
    {-5.5e7, 137500.0, 801, 5, 10000.0f, 300, false, 19},            // zoom 32
    {1e6, 1000.0, 801, 1, 30.0f, 7, false, 19},                      // narrow span: many halvings
    {2.4e9, 12500.0, 101, 2, 3000.0f, 11, true, 17},                 // stitched and oversampled
    {-1e5, 250.0, 2001, 4, 100.0f, 1, false, 19},                    // more than 801 points
};

// The whole calculation, step by step in double (float where the block rounds), from the documented
// formulas: an oracle independent of the C++ code. Returns status then the 12 integers, then gain,
// output rate and actual RBW, 16 figures per request (zeros after a status of 1, 3 or 8005).
const char* const kLumaModel = R"(
import math
f32 = lambda v: float(np.float32(v))
PI32 = f32(3.1415927410125732)
def fix(x):
    x = f32(x)
    if x > PI32: x = PI32
    if x < -PI32: x = -PI32
    s = math.trunc((2**31 - 1) * (x / PI32) + (0.5 if x > 0 else -0.5))
    return s
def nextpow2(n):
    p = 1
    while p < n: p *= 2
    return p
def luma(rate, start, step, tp, ov, rbw, dwell, table, stitch, maxorder):
    stitchCount = 0
    if stitch:
        n = 801 // tp
        stitchCount = n
        if tp >= 801: return [3]
        step = step / n; tp = n * tp; start = start - (n - 1) * step * 0.5
    binStep = step / ov; total = tp * ov
    fft = max(nextpow2(total - 1), 1024)
    span = (tp - 1) * step; full = fft * binStep
    while 0.8 * full < span:
        fft *= 2; full = fft * binStep
    fftOrder = int(math.log2(fft))
    A = full * f32(2.4023)
    L = math.trunc(A / f32(rbw) + 0.5)
    if L < 20: return [1]
    actual = f32(A / L)
    wstep = math.trunc(1048576.0 * (table - 1.0) / (L - 1.0) + 0.5)
    order = max(int(math.log2(nextpow2(L))), fftOrder)
    if order > maxorder: return [1]
    order = max(order, 10)
    M = 2 ** (order - fftOrder)
    rb = max(full, (binStep / M) * (M * total - 1))
    x = rate; stages = 0; enable = 0; counter = -1
    while True:
        if x < rb:
            k = math.trunc(x * 2 * 256 / rb - 256 + 0.5)
            if k < -1: return [8005]
            if k == -1:
                k = 0; break
            if k <= 255: break
        counter += 1; x = x / 2; stages = counter; enable = 1
    osr = x * (256.0 / (k + 256)) * 2
    a = start - (ov - 1) * binStep * 0.5
    b = a - binStep * ((M - 1) / M) * 0.5
    c = b * -6.2831854820251465 / osr - 0.0009765625
    step_rad = span * 6.2831854820251465 / (tp * osr * dwell) / (M * ov)
    alpha = f32(2 * f32(19.7) / (L - 1))
    w = np.kaiser(L, alpha * (L - 1) / 2)
    gain = (w.sum() / w.max()) / 2.0 ** order
    return [4, M * ov, M, stitchCount, L, wstep, order - 10, k, stages, enable, fix(c), fix(step_rad), dwell,
            gain, osr, actual]
res = []
for r in a0.reshape(-1, 10):
    v = luma(r[0], r[1], r[2], int(r[3]), int(r[4]), r[5], int(r[6]), int(r[7]), r[8] != 0, int(r[9]))
    res.append(v + [0.0] * (16 - len(v)))
out = np.array(res, dtype=float)
)";

// The model's 16 figures for each request, in one python run.
std::vector<std::vector<double>> Model(const std::vector<Request>& requests) {
    std::vector<double> in;
    for (const Request& q : requests)
        in.insert(in.end(), {kRate, q.start, q.step, double(q.points), double(q.oversample), double(q.rbw),
                             double(q.dwell), double(kTable), q.stitch ? 1.0 : 0.0, double(q.maxOrder)});
    const std::vector<double> flat = PyEval(kLumaModel, {in});
    std::vector<std::vector<double>> out;
    for (size_t i = 0; i + 16 <= flat.size(); i += 16)
        out.emplace_back(flat.begin() + i, flat.begin() + i + 16);
    return out;
}

}  // namespace

TEST(OrrinLUMASupport, EveryParameterMatchesAnIndependentModelOfTheCalculation) {
    const std::vector<Request> requests(std::begin(kRequests), std::end(kRequests));
    const std::vector<std::vector<double>> model = Model(requests);
    ASSERT_EQ(model.size(), requests.size());
    for (size_t c = 0; c < requests.size(); ++c) {
        const Request& q = requests[c];
        SCOPED_TRACE(testing::Message()
                     << "start " << q.start << " step " << q.step << " points " << q.points);
        const std::vector<double>& m = model[c];
        ASSERT_EQ(m[0], 4.0) << "the model refused the request";
        OrrinLUMASupport luma(q.maxOrder);
        ASSERT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, q.rbw,
                                                q.dwell, kTable, 32, q.stitch),
                  LUMASupportSuccess);
        const Params p = Read(luma);
        const int got[12] = {p.pointsPerStep,    p.zoomFactor,         p.stitchCount,     p.windowLength,
                             p.windowStep,       p.transformOrderCode, p.resamplerOffset, p.decimationStages,
                             p.decimationEnable, p.ncoStart,           p.ncoStep,         p.dwellCount};
        const char* names[12] = {"pointsPerStep",   "zoomFactor",       "stitchCount",
                                 "windowLength",    "windowStep",       "transformOrderCode",
                                 "resamplerOffset", "decimationStages", "decimationEnable",
                                 "ncoStart",        "ncoStep",          "dwellCount"};
        for (int i = 0; i < 12; ++i)
            EXPECT_EQ(got[i], static_cast<int>(m[1 + i])) << names[i];
        EXPECT_NEAR(p.windowGain, m[13], 2e-6 * m[13]);
        EXPECT_EQ(p.outputSampleRate, m[14]);
        EXPECT_EQ(p.actualRBW, static_cast<float>(m[15]));
    }
}

TEST(OrrinLUMASupport, NamedChangeRequestCasesGiveTheirParameters) {
    struct Expect {
        int pointsPerStep, zoomFactor, stitchCount, transformOrderCode, resamplerOffset, decimationStages,
            decimationEnable, dwellCount;  // -1: not named by the case
    };
    const Expect expect[5] = {
        {1, -1, -1, 0, -1, -1, -1, -1},  // Stitch Mode CR90285
        {1, 1, 2, 0, -1, -1, 1, -1},     // Stitch Mode CR90692
        {1, 1, 2, 0, -1, -1, 0, 300},    // Stitch Mode CR91425
        {5, 1, 0, 3, -1, -1, 0, 300},    // 4001 trace point test CR94528
        {1, 1, 11, 0, 0, 0, 1, -1},      // CR96006
    };
    for (int c = 0; c < 5; ++c) {
        const Request& q = kRequests[c];
        OrrinLUMASupport luma(15);
        ASSERT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, q.rbw,
                                                q.dwell, kTable, 32, q.stitch),
                  LUMASupportSuccess)
            << "case " << c;
        const Params p = Read(luma);
        const Expect& e = expect[c];
        const std::pair<int, int> pairs[] = {
            {e.pointsPerStep, p.pointsPerStep},       {e.zoomFactor, p.zoomFactor},
            {e.stitchCount, p.stitchCount},           {e.transformOrderCode, p.transformOrderCode},
            {e.resamplerOffset, p.resamplerOffset},   {e.decimationStages, p.decimationStages},
            {e.decimationEnable, p.decimationEnable}, {e.dwellCount, p.dwellCount}};
        for (int i = 0; i < 8; ++i)
            if (pairs[i].first >= 0) {
                EXPECT_EQ(pairs[i].second, pairs[i].first) << "case " << c << " field " << i;
            }
    }
}

TEST(OrrinLUMASupport, CR96006HalvesOnceWhenTheFirstPassGivesK256) {
    const Request& q = kRequests[4];
    OrrinLUMASupport luma(15);
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, q.rbw, q.dwell,
                                            kTable, 32, true),
              LUMASupportSuccess);
    const Params p = Read(luma);
    EXPECT_EQ(p.resamplerOffset, 0);
    EXPECT_EQ(p.decimationStages, 0);
    EXPECT_EQ(p.decimationEnable, 1);
    // Halved once, then the resampler at 256/256 and the factor 2 bring the rate back exactly.
    EXPECT_EQ(p.outputSampleRate, kRate);
    // The first pass: the rate was not below the bandwidth needed, or k came out at 256 or more. Here the
    // needed bandwidth is just above the rate and k rounds to 256.
    const double grid = q.step / 11;  // stitched step
    const double full = 1024 * grid;
    EXPECT_LT(kRate, full);
    EXPECT_EQ(static_cast<int>(kRate * 2 * 256 / full - 256 + 0.5), 256);
}

TEST(OrrinLUMASupport, EnableFlagNotCountTellsOneHalvingFromNone) {
    OrrinLUMASupport luma(15);
    const Request& once = kRequests[1];  // CR90692: one halving
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, once.start, once.step, once.points, 1, once.rbw, 300,
                                            kTable, 32, true),
              LUMASupportSuccess);
    Params p = Read(luma);
    EXPECT_EQ(p.decimationStages, 0);
    EXPECT_EQ(p.decimationEnable, 1);
    const Request& none = kRequests[2];  // CR91425: no halving
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, none.start, none.step, none.points, 1, none.rbw, 300,
                                            kTable, 32, true),
              LUMASupportSuccess);
    p = Read(luma);
    EXPECT_EQ(p.decimationStages, 0);
    EXPECT_EQ(p.decimationEnable, 0);
    // And several halvings count from 0: the narrow-span request halves seven times or more.
    const Request& many = kRequests[7];
    OrrinLUMASupport deep;  // its window needs a 2^17 transform
    ASSERT_EQ(deep.SetMeasurementParameters(kRate, many.start, many.step, many.points, 1, many.rbw, 7, kTable,
                                            32, false),
              LUMASupportSuccess);
    p = Read(deep);
    EXPECT_EQ(p.decimationEnable, 1);
    EXPECT_GE(p.decimationStages, 7);
    EXPECT_NEAR(p.outputSampleRate,
                kRate / std::ldexp(1.0, p.decimationStages + 1) * 2 * 256 / (256 + p.resamplerOffset), 1e-6);
}

TEST(OrrinLUMASupport, DefaultLimit19PassesWhereLimit15NeedsTooLongAWindow) {
    OrrinLUMASupport limited(15), standard;
    EXPECT_EQ(limited.SetMeasurementParameters(kRate, -5e7, 125000.0, 801, 3, 1000.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
    ASSERT_EQ(standard.SetMeasurementParameters(kRate, -5e7, 125000.0, 801, 3, 1000.0f, 5, kTable, 32),
              LUMASupportSuccess);
    const Params p = Read(standard);
    EXPECT_GT(p.windowLength, 400000);
    EXPECT_EQ(p.transformOrderCode, 9);  // 2^19
    // The realtime overload is stitch mode off.
    EXPECT_EQ(p.stitchCount, 0);
}

TEST(OrrinLUMASupport, StitchModeRefuses801PointsWhileFindRBWRangeTakesThem) {
    OrrinLUMASupport luma(15);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, -5.5e7, 137500.0, 801, 5, 1e6f, 300, kTable, 32, true),
              LUMASupportTooManyPoints);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, -5.5e7, 137500.0, 900, 5, 1e6f, 300, kTable, 32, true),
              LUMASupportTooManyPoints);
    float lo = 0, hi = 0;
    luma.FindRBWRange(lo, hi, -5.5e7, 137500.0, 801, 5);
    // 801 points, oversample 5: 4005 bins of 27500 Hz. 4096 of them are not enough, as only 80% of a
    // transform is usable, so the transform has 8192.
    const double a = 8192 * 27500.0 * static_cast<double>(2.4023f);
    EXPECT_EQ(lo, static_cast<float>(a / 32768) * 1.01f);
    EXPECT_EQ(hi, static_cast<float>(a / 20) * 0.99f);
}

TEST(OrrinLUMASupport, FindRBWRangeAbove801PointsLeavesTheGridAlone) {
    OrrinLUMASupport luma;
    float lo = 0, hi = 0;
    luma.FindRBWRange(lo, hi, 0.0, 1000.0, 2001, 1);
    // 2001 points: transform 2048, but its 80% (1638 bins) is short of the 2000-step span: 4096.
    const double a = 4096 * 1000.0 * static_cast<double>(2.4023f);
    EXPECT_EQ(lo, static_cast<float>(a / 524288) * 1.01f);
    EXPECT_EQ(hi, static_cast<float>(a / 20) * 0.99f);
    // Below 801 it refines: 100 points become 800 at an eighth of the step, transform 1024.
    luma.FindRBWRange(lo, hi, 0.0, 8000.0, 100, 1);
    EXPECT_EQ(hi, static_cast<float>(1024 * 1000.0 * static_cast<double>(2.4023f) / 20) * 0.99f);
}

TEST(OrrinLUMASupport, FindRBWRangeMarginsKeepTheLimitsAcceptable) {
    for (const Request& q : kRequests) {
        if (q.points >= 801 && q.stitch) continue;
        OrrinLUMASupport luma(q.maxOrder);
        float lo = 0, hi = 0;
        luma.FindRBWRange(lo, hi, q.start, q.step, q.points, q.oversample);
        ASSERT_LT(lo, hi);
        // FindRBWRange always refines short grids, so compare against stitch mode for those.
        const bool stitch = q.points < 801;
        EXPECT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, lo, 5, kTable,
                                                32, stitch),
                  LUMASupportSuccess);
        EXPECT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, hi, 5, kTable,
                                                32, stitch),
                  LUMASupportSuccess);
        // Well outside the margins the request is refused.
        EXPECT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, lo * 0.9f, 5,
                                                kTable, 32, stitch),
                  LUMASupportParameterOutOfRange);
        EXPECT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, hi * 1.1f, 5,
                                                kTable, 32, stitch),
                  LUMASupportParameterOutOfRange);
    }
}

TEST(OrrinLUMASupport, SampleRateTooLowForTheSpanThrowsInvalidInputParameter) {
    OrrinLUMASupport luma(15);
    try {
        // 1.1e8 Hz of span needs a bandwidth of 1.4e8; 2e7 Hz of sample rate cannot reach half of it.
        luma.SetMeasurementParameters(2e7, -5.5e7, 137500.0, 801, 5, 1e6f, 300, kTable, 32);
        FAIL() << "no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
        EXPECT_STREQ(e.message, "invalid input parameter");
    }
    // The bandwidth needed is the full transform span, 8192 bins of 27500 Hz. At 254/512 of it the
    // search gives k = trunc(254 - 255.5) = -1, which is taken as 0; at 253/512 it gives -2 and throws.
    const double full = 8192 * 27500.0;
    EXPECT_EQ(
        luma.SetMeasurementParameters(full * 254 / 512, -5.5e7, 137500.0, 801, 5, 1e6f, 300, kTable, 32),
        LUMASupportSuccess);
    EXPECT_EQ(Read(luma).resamplerOffset, 0);
    EXPECT_EQ(Read(luma).decimationEnable, 0);
    EXPECT_EQ(Read(luma).outputSampleRate, full * 254 / 512 * 2);
    EXPECT_THROW(
        luma.SetMeasurementParameters(full * 253 / 512, -5.5e7, 137500.0, 801, 5, 1e6f, 300, kTable, 32),
        VELAException);
}

TEST(OrrinLUMASupport, AFailureKeepsWhatWasWrittenBeforeIt) {
    OrrinLUMASupport luma(15);
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, -5.5e7, 137500.0, 801, 5, 1e6f, 300, kTable, 32),
              LUMASupportSuccess);
    const Params before = Read(luma);
    // Too many points: dwellCount and stitchCount (801 / 801 = 1) are written, nothing else.
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, -5.5e7, 137500.0, 801, 5, 1e6f, 77, kTable, 32, true),
              LUMASupportTooManyPoints);
    Params p = Read(luma);
    EXPECT_EQ(p.dwellCount, 77);
    EXPECT_EQ(p.stitchCount, 1);
    EXPECT_EQ(p.windowLength, before.windowLength);
    EXPECT_EQ(p.actualRBW, before.actualRBW);
    // Transform beyond the limit: actualRBW and windowStep of the refused window are written.
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, -5e7, 125000.0, 801, 3, 1000.0f, 9, kTable, 32),
              LUMASupportParameterOutOfRange);
    p = Read(luma);
    EXPECT_EQ(p.dwellCount, 9);
    EXPECT_EQ(p.stitchCount, 0);
    EXPECT_NE(p.actualRBW, before.actualRBW);
    EXPECT_NEAR(p.actualRBW, 1000.0f, 1.0f);
    EXPECT_NE(p.windowStep, before.windowStep);
    EXPECT_EQ(p.windowLength, before.windowLength);
    // The object can be measured again.
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, -5.5e7, 137500.0, 801, 5, 1e6f, 300, kTable, 32),
              LUMASupportSuccess);
    EXPECT_EQ(Read(luma).ncoStart, before.ncoStart);
}

TEST(OrrinLUMASupport, RBWTooWideForTheMinimumWindowIsOutOfRange) {
    OrrinLUMASupport luma(15);
    // CR94528's grid: A = 8192 * 27500 * 2.4023 = 5.41e8, so from about 2.78e7 Hz the window is under 20.
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, -5.5e7, 137500.0, 801, 5, 2.8e7f, 300, kTable, 32),
              LUMASupportParameterOutOfRange);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, -5.5e7, 137500.0, 801, 5, 2.6e7f, 300, kTable, 32),
              LUMASupportSuccess);
    EXPECT_EQ(Read(luma).windowLength, 21);
}

TEST(OrrinLUMASupport, ThreeGetterOverloadsAgree) {
    OrrinLUMASupport luma;
    const Request& q = kRequests[8];
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, q.rbw, q.dwell,
                                            kTable, 32, q.stitch),
              LUMASupportSuccess);
    const Params all = Read(luma);
    int v10[10], v11[11];
    float g10, g11, r10, r11;
    double o10, o11;
    luma.GetFPGAParameters(v10[0], v10[1], v10[2], v10[3], v10[4], v10[5], v10[6], v10[7], v10[8], v10[9],
                           g10, o10, r10);
    luma.GetFPGAParameters(v11[0], v11[1], v11[2], v11[3], v11[4], v11[5], v11[6], v11[7], v11[8], v11[9],
                           v11[10], g11, o11, r11);
    const int want10[10] = {all.pointsPerStep,    all.zoomFactor,         all.windowLength,
                            all.windowStep,       all.transformOrderCode, all.resamplerOffset,
                            all.decimationStages, all.decimationEnable,   all.ncoStart,
                            all.ncoStep};
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(v10[i], want10[i]) << i;
    EXPECT_EQ(v11[0], all.pointsPerStep);
    EXPECT_EQ(v11[1], all.zoomFactor);
    EXPECT_EQ(v11[2], all.stitchCount);
    for (int i = 3; i < 11; ++i)
        EXPECT_EQ(v11[i], want10[i - 1]) << i;
    EXPECT_EQ(all.stitchCount, 801 / 101);
    EXPECT_EQ(all.dwellCount, 11);
    EXPECT_EQ(g10, all.windowGain);
    EXPECT_EQ(g11, all.windowGain);
    EXPECT_EQ(o10, all.outputSampleRate);
    EXPECT_EQ(o11, all.outputSampleRate);
    EXPECT_EQ(r10, all.actualRBW);
    EXPECT_EQ(r11, all.actualRBW);
}

TEST(OrrinLUMASupport, CopiesCarryEveryParameter) {
    OrrinLUMASupport luma;
    const Request& q = kRequests[6];
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, q.start, q.step, q.points, q.oversample, q.rbw, q.dwell,
                                            kTable, 32, q.stitch),
              LUMASupportSuccess);
    const OrrinLUMASupport copy(luma);
    OrrinLUMASupport assigned(15);
    assigned = luma;
    for (const OrrinLUMASupport* other : {&copy, static_cast<const OrrinLUMASupport*>(&assigned)}) {
        const Params a = Read(luma), b = Read(*other);
        EXPECT_EQ(0, std::memcmp(&a, &b, sizeof a));
    }
    // The limit is copied too: the copy of a 15-limited object refuses what the default accepts.
    OrrinLUMASupport limited(15);
    OrrinLUMASupport limitedCopy(limited);
    EXPECT_EQ(limitedCopy.SetMeasurementParameters(kRate, -5e7, 125000.0, 801, 3, 1000.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
}

TEST(OrrinLUMASupport, PathTestFunctionReturns123) {
    OrrinLUMASupport luma;
    EXPECT_EQ(luma.PathTestFunction(), 123);
}

TEST(OrrinLUMASupport, NcoWordsFollowTheirFormulas) {
    // CR94528: no zoom, no decimation, k from the rate search; the words by the formulas in double.
    OrrinLUMASupport luma(15);
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, -5.5e7, 137500.0, 801, 5, 1e6f, 300, kTable, 32),
              LUMASupportSuccess);
    const Params p = Read(luma);
    const double binStep = 27500.0;
    const double b = -5.5e7 - 4 * binStep * 0.5;  // M = 1: no half-bin offset
    const double c = b * -6.2831854820251465 / p.outputSampleRate - 0.0009765625;
    const double pi = static_cast<double>(3.14159274f);
    EXPECT_NEAR(p.ncoStart, std::round(static_cast<float>(c) / pi * 2147483647.0), 0.5);
    const double step = 800 * 137500.0 * 6.2831854820251465 / (801 * p.outputSampleRate * 300) / 5;
    EXPECT_NEAR(p.ncoStep, std::round(static_cast<float>(step) / pi * 2147483647.0), 0.5);
    // The window walks the 8192-entry table end to end: (windowLength - 1) steps reach 8191.
    EXPECT_NEAR((p.windowLength - 1) * (p.windowStep / 1048576.0), 8191.0, (p.windowLength - 1) / 1048576.0);
}

TEST(OrrinLUMASupport, InputsNoGridCanHaveAreRefusedWithoutACrash) {
    OrrinLUMASupport luma;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, 1000, 0, 1, 100.0f, 5, kTable, 32, true),
              LUMASupportParameterOutOfRange);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, 1000, 0, 1, 100.0f, 5, kTable, 32, false),
              LUMASupportParameterOutOfRange);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, 1000, -5, 1, 100.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, 1000, 801, 0, 100.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
    for (float rbw : {0.0f, -100.0f, std::numeric_limits<float>::quiet_NaN(), 1e-30f})
        EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, 1000, 801, 1, rbw, 5, kTable, 32),
                  LUMASupportParameterOutOfRange)
            << rbw;
    for (int table : {0, -8192, 2147483647})
        EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, 1000, 801, 1, 100.0f, 5, table, 32),
                  LUMASupportParameterOutOfRange)
            << table;
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, inf, 801, 1, 100.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, 1000, 2000000, 1000, 100.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
    for (double rate : {nan, inf, 0.0, -1e8})
        EXPECT_THROW(luma.SetMeasurementParameters(rate, 0, 1000, 801, 1, 100.0f, 5, kTable, 32),
                     VELAException)
            << rate;
    // A negative step: no transform covers a span that shrinks as it grows. A zero step: no window.
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, -1000, 801, 1, -100.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, 0, 801, 1, 100.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
    EXPECT_EQ(luma.SetMeasurementParameters(kRate, 0, nan, 801, 1, 100.0f, 5, kTable, 32),
              LUMASupportParameterOutOfRange);
    float lo = 0, hi = 0;
    EXPECT_THROW(luma.FindRBWRange(lo, hi, 0, 1000, 0, 1), VELAException);
    EXPECT_THROW(luma.FindRBWRange(lo, hi, 0, 1000, 801, 0), VELAException);
    EXPECT_THROW(luma.FindRBWRange(lo, hi, 0, inf, 801, 1), VELAException);
    EXPECT_THROW(luma.FindRBWRange(lo, hi, 0, nan, 801, 1), VELAException);
    // A table of one entry stands still (step 0); two entries walk it once.
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, -5e7, 125000.0, 801, 1, 100000.0f, 5, 1, 32),
              LUMASupportSuccess);
    EXPECT_EQ(Read(luma).windowStep, 0);
    // A dwell count of 0 saturates the NCO step rather than dividing into undefined behaviour.
    ASSERT_EQ(luma.SetMeasurementParameters(kRate, -5e7, 125000.0, 801, 1, 100000.0f, 0, kTable, 32),
              LUMASupportSuccess);
    EXPECT_EQ(Read(luma).ncoStep, 2147483647);
}
