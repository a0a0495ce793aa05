#include <corvane/dsp/KaiserWindow.h>
#include <corvane/dsp/NexaSupport.h>
#include <corvane/infra/UnitTestRecorder.h>
#include <corvane/math/MathUtils.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::PyEval;

namespace {

// Reaches the protected members the tests look at.
class Probe : public SorrelNexaSupport {
  public:
    using SorrelNexaSupport::GenerateWindowParameter;
    using SorrelNexaSupport::RoundDownRBW;
    using SorrelNexaSupport::RoundUpRBW;
    using SorrelNexaSupport::SorrelNexaSupport;
    KaiserWindow* Window() const { return window; }
    void ForgetWindow() { window = nullptr; }
    int WindowLength() const { return windowLength; }
    const VecReal32& WindowVector() const { return windowVector; }
    float WindowScale() const { return windowScale; }
    float FilterScale() const { return filterScale; }
    void SetRequest(float rate, float rbw, WindowType type) {
        sampleRate = rate;
        requestedRBW = rbw;
        windowType = type;
    }
};

const std::string kDataDir = std::string(CORVANE_SELFTEST_DATA_DIR) + "/unit/testdata/";

std::vector<int> ReadTable(const std::string& path) {
    std::vector<int> v;
    FILE* f = std::fopen(path.c_str(), "r");
    if (!f) return v;
    int x = 0;
    while (std::fscanf(f, "%d", &x) == 1)
        v.push_back(x);
    std::fclose(f);
    return v;
}

std::vector<int> ToVector(const VecInt32& v) {
    return std::vector<int>(v.Data(), v.Data() + v.GetSize());
}

// The FPGA setting of the reference tables.
void MeasureFpgaSetting(SorrelNexaSupport& nexa) {
    ASSERT_EQ(nexa.SetMeasurementParameters(800000.0f, 800000.0f, 50000.0f, 5, WindowTypeKaiser),
              NexaSupportSuccess);
}

struct Tables {
    VecInt32 t[6];
};

Tables Words(const SorrelNexaSupport& nexa) {
    Tables w;
    nexa.GetWnVector(w.t[0], w.t[1]);
    nexa.GetVrVector(w.t[2], w.t[3]);
    nexa.GetWkVector(w.t[4], w.t[5]);
    return w;
}

const char* const kTableNames[6] = {"Wn_Real.txt", "Wn_Imag.txt", "Vr_Real.txt",
                                    "Vr_Imag.txt", "Wk_Real.txt", "Wk_Imag.txt"};

}  // namespace

TEST(NexaSupport, FixedPointWordsOfFullScale) {
    EXPECT_EQ(MathUtils::ToFixedPoint(1.0f, 31), 0x7FFFFFFE);
    EXPECT_EQ(MathUtils::ToFixedPoint(-1.0f, 31), static_cast<int>(0x80000002u));
    const float pi = 3.14159274f;
    EXPECT_EQ(MathUtils::ToFixedPoint(pi, pi, 31), 0x7FFFFFFE);
    EXPECT_EQ(MathUtils::ToFixedPoint(-pi, pi, 31), static_cast<int>(0x80000002u));
    EXPECT_EQ(MathUtils::ToFixedPoint(0.0f, 31), 0);
    EXPECT_EQ(MathUtils::ToFixedPoint(0.0f, pi, 24), 0);
    VecReal32 in(2);
    in[0] = 1.0f;
    in[1] = -1.0f;
    VecInt32 out;
    MathUtils::ToFixedPoint(out, in, 31);
    ASSERT_EQ(out.GetSize(), 2);
    EXPECT_EQ(out[0], 0x7FFFFFFE);
    EXPECT_EQ(out[1], static_cast<int>(0x80000002u));
    // 24 bits: 1.0 is (2^23 - 1) shifted left by 8.
    EXPECT_EQ(MathUtils::ToFixedPoint(1.0f, 24), ((1 << 23) - 1) << 8);
}

TEST(NexaSupport, EngineeringSymposiumSettingGivesNcoStep20575) {
    SorrelNexaSupport nexa(501, 300, 24, 1024);
    ASSERT_EQ(nexa.SetMeasurementParameters(5e7f, 3.6e7f, 300000.0f, 300, WindowTypeKaiser),
              NexaSupportSuccess);
    int start = 0, step = 0;
    nexa.GetNCOParameters(start, step);
    EXPECT_EQ(step, 20575);
    // The start is minus half the span, in a 24-bit word: -0.36 pi radians per sample.
    const double startRad = -1.8e7 * 6.2831854820251465 / 5e7;
    const double pi = static_cast<double>(3.14159274f);
    EXPECT_EQ(start, static_cast<int>(std::lround(static_cast<float>(startRad) / pi * 8388607.0)) << 8);
}

TEST(NexaSupport, FindRBWRangeAt800kHz) {
    float lo = 0, hi = 0;
    ASSERT_EQ(SorrelNexaSupport::FindRBWRange(lo, hi, 800000.0f, 501, 5, 1024, WindowTypeKaiser),
              NexaSupportSuccess);
    EXPECT_NEAR(lo, 3184.58, 0.01);
    EXPECT_NEAR(hi, 89168.0, 0.1);
    // dwell is ignored.
    float lo2 = 0, hi2 = 0;
    QuillonNexaSupport::FindRBWRange(lo2, hi2, 800000.0f, 501, 12345, 1024, WindowTypeKaiser);
    EXPECT_EQ(lo2, lo);
    EXPECT_EQ(hi2, hi);
    // Any type but Kaiser is refused, and the outputs are left alone.
    lo2 = hi2 = -1;
    for (WindowType t : {WindowTypeUniform, WindowTypeHann, WindowTypeCISPR6dB, static_cast<WindowType>(99)})
        EXPECT_EQ(SorrelNexaSupport::FindRBWRange(lo2, hi2, 800000.0f, 501, 5, 1024, t),
                  NexaSupportInvalidWindow);
    EXPECT_EQ(lo2, -1);
    EXPECT_EQ(hi2, -1);
}

TEST(NexaSupport, FpgaParametersMatchTheReferenceTables) {
    Probe nexa(501, 5, 24, 1024);
    MeasureFpgaSetting(nexa);
    EXPECT_EQ(nexa.WindowLength(), 36);
    EXPECT_EQ(nexa.GetWindowGain(), 0x800000);
    const Tables w = Words(nexa);
    for (int i = 0; i < 6; ++i) {
        const std::vector<int> ref = ReadTable(kDataDir + kTableNames[i]);
        ASSERT_EQ(ref.size(), 1024u) << kTableNames[i];
        const std::vector<int> got = ToVector(w.t[i]);
        ASSERT_EQ(got.size(), 1024u);
        long long worst = 0;
        for (size_t k = 0; k < got.size(); ++k)
            worst = std::max(worst, std::llabs(static_cast<long long>(got[k]) - ref[k]));
        EXPECT_LE(worst, 1000000) << kTableNames[i];
        // The difference is float rounding of phases up to 1,500 rad: far inside the tolerance.
        EXPECT_LE(worst, 300000) << kTableNames[i];
        std::printf("  %s: largest difference %lld units\n", kTableNames[i], worst);
    }
    // And the library's own comparison, as the self-test makes it.
    VecInt32 ref;
    ref.Resize(1024);
    const std::vector<int> wnReal = ReadTable(kDataDir + "Wn_Real.txt");
    for (int k = 0; k < 1024; ++k)
        ref[k] = wnReal[k];
    EXPECT_TRUE(w.t[0].IsEqual(ref, 1000000));
}

TEST(NexaSupport, CommittedTablesAreWhatTheirScriptWrites) {
    corvane_test::ScopedWorkDir dir;
    const std::string cmd =
        std::string(CORVANE_PYTHON) + " " + kDataDir + "make_nexa_tables.py " + dir.Path() + " > /dev/null";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    for (const char* name : kTableNames)
        EXPECT_EQ(ReadTable(dir.Path() + "/" + name), ReadTable(kDataDir + name)) << name;
}

TEST(NexaSupport, QuillonGivesTheSameTablesAsSorrel) {
    SorrelNexaSupport sorrel(501, 5, 24, 1024);
    QuillonNexaSupport quillon(501, 5, 24, 1024);
    MeasureFpgaSetting(sorrel);
    MeasureFpgaSetting(quillon);
    const Tables a = Words(sorrel), b = Words(quillon);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(ToVector(a.t[i]), ToVector(b.t[i])) << kTableNames[i];
    EXPECT_EQ(sorrel.GetGain1(), quillon.GetGain1());
    EXPECT_EQ(sorrel.GetGain2(), quillon.GetGain2());
    EXPECT_EQ(sorrel.GetActualRBW(), quillon.GetActualRBW());
}

TEST(NexaSupport, TablesHaveTheirShapes) {
    Probe nexa(501, 5, 24, 1024);
    MeasureFpgaSetting(nexa);
    const Tables w = Words(nexa);
    // Wn is zero beyond the window, Wk beyond the points; Vr peaks at 0.9801 of full scale.
    for (int k = 36; k < 1024; ++k) {
        EXPECT_EQ(w.t[0][k], 0) << k;
        EXPECT_EQ(w.t[1][k], 0) << k;
    }
    for (int k = 501; k < 1024; ++k) {
        EXPECT_EQ(w.t[4][k], 0) << k;
        EXPECT_EQ(w.t[5][k], 0) << k;
    }
    // Wk[0] = 1: full scale in 24 bits.
    EXPECT_EQ(w.t[4][0], ((1 << 23) - 1) << 8);
    double peak = 0;
    for (int k = 0; k < 1024; ++k)
        peak = std::max(peak, std::hypot(static_cast<double>(w.t[2][k]), static_cast<double>(w.t[3][k])));
    EXPECT_NEAR(peak / (static_cast<double>((1 << 23) - 1) * 256), 0.9801, 2e-6);
}

TEST(NexaSupport, GainsFollowTheWindowAndTheFilterScale) {
    Probe nexa(501, 5, 24, 1024);
    MeasureFpgaSetting(nexa);
    // Independent: numpy's Kaiser window of the standard beta, peak 1, and the convolution chirp's
    // transform in double.
    const std::vector<double> ref = PyEval(R"(
L, P, N = 36, 501, 1024
w = np.kaiser(L, 16.71); w = w / w.max()
c = float(np.float32(800000.0 * 3.1415927410125732 / (P * 800000.0)))
m = np.arange(P); lags = np.arange(L - 2, 0, -1)
seq = np.concatenate([np.exp(1j * c * m**2), np.zeros(N - L - P + 2), np.exp(1j * c * lags**2)])
vr = np.fft.fft(seq) / 64
out = np.array([P * 523 / (w.sum() * N) / 7.875, 7.875 / (0.9800999760627747 / np.abs(vr).max())])
)",
                                           {});
    ASSERT_EQ(ref.size(), 2u);
    EXPECT_NEAR(nexa.GetGain1(), ref[0], 2e-6 * ref[0]);
    EXPECT_NEAR(nexa.GetGain2(), ref[1], 2e-5 * ref[1]);
    EXPECT_EQ(nexa.GetGain1(), nexa.WindowScale() / 7.875);
    EXPECT_EQ(nexa.GetGain2(), 7.875 / nexa.FilterScale());
    // The window vector: peak 1, zero-padded to the FFT length.
    EXPECT_EQ(nexa.WindowVector().GetSize(), 1024);
    EXPECT_EQ(nexa.WindowVector().Max(), 1.0f);
}

TEST(NexaSupport, SpanOfTheRateTimes1Point00001IsAcceptedAndMoreIsNot) {
    Probe nexa(501, 5, 24, 1024);
    // 1.00001 * 1e6 = 1000010 is a float exactly.
    EXPECT_EQ(nexa.SetMeasurementParameters(1e6f, 1000010.0f, 50000.0f, 5, WindowTypeKaiser),
              NexaSupportSuccess);
    const float rbw = nexa.GetActualRBW();
    const Tables before = Words(nexa);
    const float more = std::nextafter(1000010.0f, 2e6f);
    EXPECT_EQ(nexa.SetMeasurementParameters(1e6f, more, 20000.0f, 5, WindowTypeKaiser),
              NexaSupportInvalidSpan);
    // Nothing changed: not the RBW, not the window, not the tables.
    EXPECT_EQ(nexa.GetActualRBW(), rbw);
    EXPECT_NE(nexa.Window(), nullptr);
    const Tables after = Words(nexa);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(ToVector(before.t[i]), ToVector(after.t[i]));
}

TEST(NexaSupport, NonKaiserWindowIsRefusedAfterTheOldWindowIsGone) {
    Probe nexa(501, 5, 24, 1024);
    MeasureFpgaSetting(nexa);
    ASSERT_NE(nexa.Window(), nullptr);
    for (WindowType t : {WindowTypeHann, WindowTypeUniform, static_cast<WindowType>(-3)}) {
        EXPECT_EQ(nexa.SetMeasurementParameters(800000.0f, 800000.0f, 50000.0f, 5, t),
                  NexaSupportInvalidWindow);
        EXPECT_EQ(nexa.Window(), nullptr);
    }
    // And it recovers on the next good request.
    MeasureFpgaSetting(nexa);
    EXPECT_NE(nexa.Window(), nullptr);
}

TEST(NexaSupport, StandardWindowOneSampleTooLongFallsToTheCisprMode) {
    Probe nexa(501, 5, 24, 1024);  // longest window 524
    const float rate = 1e6f;
    const float fStd = KaiserWindow(KaiserWindowModeStandard).GetEffectiveRBWScaling();
    const float fCispr = KaiserWindow(KaiserWindowModeCISPR).GetEffectiveRBWScaling();
    // An rbw whose standard window is 525 samples.
    const float rbw = rate * fStd / 525.0f;
    ASSERT_EQ(static_cast<int>(static_cast<double>(rate / rbw * fStd) + 0.5), 525);
    ASSERT_EQ(nexa.SetMeasurementParameters(rate, 400000.0f, rbw, 5, WindowTypeKaiser), NexaSupportSuccess);
    const int length = static_cast<int>(static_cast<double>(rate / rbw * fCispr) + 0.5);
    EXPECT_EQ(nexa.WindowLength(), length);
    EXPECT_LT(length, 524);
    EXPECT_EQ(nexa.GetActualRBW(), rate / static_cast<float>(length) * fCispr);
    EXPECT_EQ(nexa.Window()->GetEffectiveRBWScaling(), 2.2292f)
        << "the length-only SetParameters puts the window back to its standard preset";
    // The taper is the standard Kaiser window of that length (see GenerateWindowVector).
    VecReal32 standard;
    KaiserWindow(length, KaiserWindowModeStandard).GetCoefficients(standard);
    const float peak = standard.Max();
    for (int i = 0; i < length; ++i)
        EXPECT_NEAR(nexa.WindowVector()[i], standard[i] / peak, 1e-6f) << i;
    // 524 itself stays in the standard mode.
    const float rbw524 = rate * fStd / 524.0f;
    ASSERT_EQ(nexa.SetMeasurementParameters(rate, 400000.0f, rbw524, 5, WindowTypeKaiser),
              NexaSupportSuccess);
    EXPECT_EQ(nexa.WindowLength(), 524);
    EXPECT_EQ(nexa.GetActualRBW(), rate / 524.0f * fStd);
}

TEST(NexaSupport, RBWOutsideBothModesIsOutOfRange) {
    Probe nexa(501, 5, 24, 1024);
    // Too wide: a window of 3 samples.
    EXPECT_EQ(nexa.SetMeasurementParameters(1e6f, 1e6f, 1e6f * 2.2292f / 3.0f, 5, WindowTypeKaiser),
              NexaSupportRBWOutOfRange);
    // 4 samples is the shortest accepted.
    EXPECT_EQ(nexa.SetMeasurementParameters(1e6f, 1e6f, 1e6f * 2.2292f / 4.0f, 5, WindowTypeKaiser),
              NexaSupportSuccess);
    EXPECT_EQ(nexa.WindowLength(), 4);
    // Too narrow even for the CISPR mode.
    EXPECT_EQ(nexa.SetMeasurementParameters(1e6f, 1e6f, 1e6f * 2.0859f / 600.0f, 5, WindowTypeKaiser),
              NexaSupportRBWOutOfRange);
    // Nonsense requests are refused the same way, without a crash.
    for (float rbw :
         {0.0f, -5.0f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()})
        EXPECT_EQ(nexa.SetMeasurementParameters(1e6f, 1e6f, rbw, 5, WindowTypeKaiser),
                  NexaSupportRBWOutOfRange)
            << rbw;
}

TEST(NexaSupport, AnFftLengthOtherThan1024IsRefused) {
    for (int fft : {512, 2048, 1000}) {
        SorrelNexaSupport nexa(101, 5, 24, fft);
        EXPECT_EQ(nexa.SetMeasurementParameters(800000.0f, 800000.0f, 50000.0f, 5, WindowTypeKaiser),
                  NexaSupportRBWOutOfRange)
            << fft;
    }
    // More points than the transform holds leaves no window length at all.
    SorrelNexaSupport tooMany(1100, 5, 24, 1024);
    EXPECT_EQ(tooMany.SetMeasurementParameters(800000.0f, 800000.0f, 50000.0f, 5, WindowTypeKaiser),
              NexaSupportRBWOutOfRange);
    // No output points, or a negative count, leaves no chirp to build: refused, not a crash.
    for (int points : {0, -1, -2147483647 - 1}) {
        SorrelNexaSupport none(points, 5, 24, 1024);
        EXPECT_EQ(none.SetMeasurementParameters(800000.0f, 800000.0f, 50000.0f, 5, WindowTypeKaiser),
                  NexaSupportRBWOutOfRange)
            << points;
    }
}

TEST(NexaSupport, NcoWordsHaveTheirTwoWidths) {
    SorrelNexaSupport nexa(501, 5, 24, 1024);
    ASSERT_EQ(nexa.SetMeasurementParameters(2e7f, 1.5e7f, 200000.0f, 7, WindowTypeKaiser),
              NexaSupportSuccess);
    int start = 0, step = 0;
    nexa.GetNCOParameters(start, step);
    const double pi = static_cast<double>(3.14159274f);
    const float startRad = static_cast<float>(-7.5e6 * 6.2831854820251465 / 2e7);
    const float stepRad = static_cast<float>(6.2831854820251465 * 1.5e7 / (501 * 2e7 * 7));
    EXPECT_EQ(start & 0xFF, 0);  // 24 bits, left-justified
    EXPECT_EQ(start, static_cast<int>(std::lround(startRad / pi * 8388607.0)) << 8);
    EXPECT_EQ(step, static_cast<int>(std::lround(stepRad / pi * 2147483647.0)));
    // A dwell count of 0 saturates the step word.
    ASSERT_EQ(nexa.SetMeasurementParameters(2e7f, 1.5e7f, 200000.0f, 0, WindowTypeKaiser),
              NexaSupportSuccess);
    nexa.GetNCOParameters(start, step);
    EXPECT_EQ(step, 2147483647);
}

TEST(NexaSupport, RoundingLaddersStepThrough1235) {
    struct Case {
        float x, up, down;
    };
    const Case cases[] = {
        {1000.0f, 2000.0f, 1000.0f},  // an exact decade rounds up to twice itself
        {1500.0f, 2000.0f, 1000.0f},       {2000.0f, 2000.0f, 2000.0f}, {2500.0f, 3000.0f, 2000.0f},
        {3000.0f, 3000.0f, 3000.0f},       {4000.0f, 5000.0f, 3000.0f}, {5000.0f, 5000.0f, 5000.0f},
        {7000.0f, 10000.0f, 5000.0f},      {0.03f, 0.03f, 0.03f},       {0.045f, 0.05f, 0.03f},
        {120000.0f, 200000.0f, 100000.0f},
    };
    for (const Case& c : cases) {
        EXPECT_FLOAT_EQ(Probe::RoundUpRBW(c.x), c.up) << c.x;
        EXPECT_FLOAT_EQ(Probe::RoundDownRBW(c.x), c.down) << c.x;
    }
    // No decade to round within: returned as given, without undefined conversions.
    EXPECT_EQ(Probe::RoundUpRBW(0.0f), 0.0f);
    EXPECT_EQ(Probe::RoundDownRBW(-3.0f), -3.0f);
    EXPECT_TRUE(std::isnan(Probe::RoundUpRBW(std::numeric_limits<float>::quiet_NaN())));
}

TEST(NexaSupport, GenerateWindowParameterUsesTheCurrentWindowsFactor) {
    Probe nexa(501, 5, 24, 1024);
    MeasureFpgaSetting(nexa);
    nexa.SetRequest(800000.0f, 25000.0f, WindowTypeKaiser);
    EXPECT_EQ(nexa.GenerateWindowParameter(), NexaSupportSuccess);
    EXPECT_EQ(nexa.WindowLength(), 71);  // 32 * 2.2292 = 71.3
    nexa.SetRequest(800000.0f, 500.0f, WindowTypeKaiser);
    EXPECT_EQ(nexa.GenerateWindowParameter(), NexaSupportRBWOutOfRange);
    nexa.SetRequest(800000.0f, 25000.0f, WindowTypeGauss);
    EXPECT_EQ(nexa.GenerateWindowParameter(), NexaSupportInvalidWindow);
}

TEST(NexaSupport, AFailureKeepsTheTablesAndMeasuringAgainRegenerates) {
    SorrelNexaSupport nexa(501, 5, 24, 1024);
    MeasureFpgaSetting(nexa);
    const Tables first = Words(nexa);
    EXPECT_EQ(nexa.SetMeasurementParameters(800000.0f, 800000.0f, 1.0f, 5, WindowTypeKaiser),
              NexaSupportRBWOutOfRange);
    const Tables kept = Words(nexa);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(ToVector(first.t[i]), ToVector(kept.t[i]));
    ASSERT_EQ(nexa.SetMeasurementParameters(800000.0f, 400000.0f, 50000.0f, 5, WindowTypeKaiser),
              NexaSupportSuccess);
    const Tables second = Words(nexa);
    EXPECT_NE(ToVector(first.t[5]), ToVector(second.t[5]));  // another chirp rate
    MeasureFpgaSetting(nexa);
    const Tables again = Words(nexa);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(ToVector(first.t[i]), ToVector(again.t[i]));
}

TEST(NexaSupport, CopiesShareTheWindowPointer) {
    Probe nexa(501, 5, 24, 1024);
    {
        // Before any window, a copy is independent and safe.
        Probe copy(nexa);
        EXPECT_EQ(copy.Window(), nullptr);
    }
    MeasureFpgaSetting(nexa);
    Probe copy(nexa);
    EXPECT_EQ(copy.Window(), nexa.Window());  // the same object: only one of the two may release it
    const Tables a = Words(nexa), b = Words(copy);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(ToVector(a.t[i]), ToVector(b.t[i]));
    copy.ForgetWindow();
}

TEST(NexaSupport, SelfTestFailsWithoutTheReferenceTables) {
    corvane_test::ScopedWorkDir dir;
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    SorrelNexaSupport::UnitTest(recorder);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_EQ(recorder.GetFailedTests(), 1) << console;
    EXPECT_NE(console.find("cannot open reference table"), std::string::npos);
}
