// IQTReader: the header tokeniser and table, Convert and Compare, the scaling factor and the block
// arithmetic, every read form with its AP/IQ rules and limits, the test capture decoded independently by
// numpy, and the reaction to invalid files and requests (no crash, no access outside the data, no
// unbounded allocation).
#include <corvane/infra/IQTReader.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <filesystem>
#include <memory>
#include <limits>
#include <string>
#include <vector>

#include "kernel/Memory.h"
#include "support/FileTestUtil.h"
#include "support/IqtFile.h"
#include "support/TestUtil.h"

namespace VELA {
// Reaches the private static helpers that the self-test uses.
struct IQTReaderTestPeer {
    static bool Compare(double v, double e, double t) { return IQTReader::Compare(v, e, t); }
    static bool Compare(double v, const char* e, const char* t) { return IQTReader::Compare(v, e, t); }
    static double Convert(const char* t) { return IQTReader::Convert(t); }
    static std::vector<std::string> Tokens(const char* text, const char* delimiters) {
        IQTReader::ST_STR state;
        IQTReader::InitStrTok(&state);
        std::vector<std::string> out;
        for (char* t = IQTReader::StrTok(const_cast<char*>(text), delimiters, &state); t;
             t = IQTReader::StrTok(nullptr, delimiters, &state))
            out.emplace_back(t);
        IQTReader::FreeStrTok(&state);
        return out;
    }
    static char* StrPBrk(char* text, const char* set) { return IQTReader::StrPBrk(text, set); }
};
}  // namespace VELA

using namespace VELA;
using corvane_test::HeaderText;
using corvane_test::IqtFile;
using corvane_test::IqtMark;
using corvane_test::IqtPair;
using corvane_test::MakeRecord;
using corvane_test::ScopedWorkDir;
using corvane_test::SimpleFile;
using corvane_test::SimpleI;
using corvane_test::SimpleQ;
using corvane_test::ThrownCode;
using corvane_test::ThrownMessage;
using Peer = VELA::IQTReaderTestPeer;

namespace {

const std::string kCapture = std::string(CORVANE_TEST_DIR) + "/../src/infra/testdata/cdma2kfwd5mspan.iqt";

// A file holding just this header text (and, when asked, some frames).
std::string WriteHeader(const std::string& path, const std::string& text) {
    IqtFile f;
    f.headerText = text;
    f.withCorrection = false;
    f.Write(path);
    return path;
}

std::string Value(const IQTReader& r, const char* key) {
    char v[61];
    r.GetHeader(key, v);
    return v;
}

double Scale(double gain, double level, double offset) {
    return std::sqrt(2.0 * std::pow(10.0, (gain + level + offset) / 10.0) / 20.0);
}

std::vector<FrameHeader> Headers(int n) {
    std::vector<FrameHeader> h(static_cast<size_t>(n));
    for (FrameHeader& x : h)
        std::memset(x.bytes, 0xAB, sizeof x.bytes);  // a sentinel the reader must overwrite or keep
    return h;
}

uint32_t Tag(const FrameHeader& h) {
    return h.bytes[16] | (h.bytes[17] << 8) | (h.bytes[18] << 16) |
           (static_cast<uint32_t>(h.bytes[19]) << 24);
}

}  // namespace

// ---------------------------------------------------------------- the test capture

TEST(IQTReader, TestCaptureHeaderGivesTheValuesItWasMadeWith) {
    IQTReader r(kCapture.c_str());
    EXPECT_EQ(r.GetFFTPoints(), 1024);
    EXPECT_EQ(r.GetNofBins(), 801);
    EXPECT_EQ(r.GetNofValidFrames(), 125);
    EXPECT_EQ(r.GetBlockSize(), 125);
    EXPECT_EQ(r.GetNofMultiFrames(), 1);
    EXPECT_EQ(r.GetNofBlocks(), 1);
    EXPECT_EQ(r.GetFirstBlockSize(), 125);
    EXPECT_TRUE(Peer::Compare(r.GetFrameLength(), 0.00016, 1e-10));
    EXPECT_TRUE(Peer::Compare(r.GetUnitPeriod(), "160u", "1e-10"));
    EXPECT_TRUE(Peer::Compare(r.GetCenterFrequency(), "2.1175G", "100"));
    EXPECT_TRUE(Peer::Compare(r.GetSpan(), "5M", "1"));
    EXPECT_TRUE(Peer::Compare(r.GetMaxInputLevel(), -20.0, 0.0001));
    EXPECT_EQ(r.GetNofSamplesInBlock(), 128000);
    EXPECT_EQ(r.GetNoflSamplesInFile(), 128000);
    EXPECT_DOUBLE_EQ(r.GetSamplingFrequency(), 1024 / 0.00016);
    EXPECT_DOUBLE_EQ(r.GetScalingFactor(), Scale(-90.309, -20.0, 0.0));
    EXPECT_EQ(r.GetDataOffset(), 1 + 3 + 309);
    EXPECT_EQ(Value(r, "TriggerMode"), "FreeRun");  // a key of the tail that nothing here uses
}

TEST(IQTReader, ReadOfTheWholeBlockFromSample100IsCutAtTheEndOfTheBlock) {
    IQTReader r(kCapture.c_str());
    VecCplx32 data;
    EXPECT_EQ(r.ReadIQData(0, 100, 128000, data), 127900);
    EXPECT_EQ(data.GetSize(), 127900);
}

TEST(IQTReader, TestCaptureDecodesAsNumpyDecodesTheRawFile) {
    IQTReader r(kCapture.c_str());
    std::vector<FrameHeader> headers(125);
    VecCplx32 data;
    ASSERT_TRUE(r.GetIQData(0, 125, headers.data(), data));
    ASSERT_EQ(data.GetSize(), 128000);
    // numpy: the records from the data offset, the words of each pair as (Q, I), scaled by the factor
    // rounded to float32, the product taken in double and rounded to float32.
    const std::vector<double> expected = corvane_test::PyEval("b = open(r'" + kCapture + R"(', 'rb').read()
d = int(b[0:1]); h = int(b[1:1 + d]); off = 1 + d + h
rec = np.frombuffer(b[off:off + 125 * 4120], dtype=np.uint8).reshape(125, 4120)[:, 24:].copy()
w = rec.view('<i2').reshape(125, 1024, 2).astype(np.float64)
scale = float(np.float32(np.sqrt(2 * 10 ** ((-90.309 - 20.0 + 0.0) / 10) / 20)))
out = ((w[:, :, 1] * scale).astype(np.float32) + 1j * (w[:, :, 0] * scale).astype(np.float32)).ravel())",
                                                              {});
    ASSERT_EQ(expected.size(), 256000u);
    int mismatches = 0;
    for (int i = 0; i < 128000; ++i)
        if (data[i].re != static_cast<float>(expected[2 * i]) ||
            data[i].im != static_cast<float>(expected[2 * i + 1]))
            ++mismatches;
    EXPECT_EQ(mismatches, 0);
    for (int k = 0; k < 125; ++k) {
        EXPECT_TRUE(headers[k].IsIQFrame());
        EXPECT_EQ(Tag(headers[k]), static_cast<uint32_t>(k));  // the caller's bytes, kept as they were
    }
}

TEST(IQTReader, TestCaptureCorrectionTableDecodesAsNumpyDecodesIt) {
    IQTReader r(kCapture.c_str());
    VecReal32 amplitude, phase;
    ASSERT_TRUE(r.GetFlatness(amplitude, phase));
    const std::vector<double> expected = corvane_test::PyEval("b = open(r'" + kCapture + R"(', 'rb').read()
off = 1 + 3 + 309 + 125 * 4120 + 24
w = np.frombuffer(b[off:off + 4096], dtype='<i2').reshape(1024, 2).astype(np.float64)
out = np.concatenate([w[:, 0] / 128, -w[:, 1] / 128]))",
                                                              {});
    ASSERT_EQ(expected.size(), 2048u);
    for (int i = 0; i < 1024; ++i) {
        EXPECT_EQ(amplitude[i], static_cast<float>(expected[static_cast<size_t>(i)]));
        EXPECT_EQ(phase[i], static_cast<float>(expected[static_cast<size_t>(1024 + i)]));
    }
}

TEST(IQTReader, CommittedCaptureIsWhatItsGeneratorWrites) {
    ScopedWorkDir dir;
    const std::string out = corvane_test::Python(
        "import subprocess, sys\nsubprocess.run([sys.executable, r'" + std::string(CORVANE_TEST_DIR) +
        "/../src/infra/testdata/make_cdma2kfwd5mspan.py', 'regen.iqt'], "
        "check=True)\nprint('ok')");
    ASSERT_EQ(out, "ok\n");
    const std::string a = corvane_test::ReadFile("regen.iqt"), b = corvane_test::ReadFile(kCapture);
    ASSERT_EQ(a.size(), b.size());
    // Header and frame headers byte for byte; the words within one step of rounding, in case the
    // platform's sine differs in its last bit.
    const size_t off = 1 + 3 + 309;
    EXPECT_EQ(a.substr(0, off), b.substr(0, off));
    int largest = 0;
    for (size_t rec = 0; rec < 126; ++rec) {
        const size_t at = off + rec * 4120;
        EXPECT_EQ(a.substr(at, 24), b.substr(at, 24));
        for (size_t w = 0; w < 2048; ++w) {
            int16_t x, y;
            std::memcpy(&x, a.data() + at + 24 + 2 * w, 2);
            std::memcpy(&y, b.data() + at + 24 + 2 * w, 2);
            largest = std::max(largest, std::abs(x - y));
        }
    }
    EXPECT_LE(largest, 1);
}

// ---------------------------------------------------------------- header text

TEST(IQTReader, TokensPairUpAcrossEveryKindOfSeparator) {
    ScopedWorkDir dir;
    WriteHeader("h.iqt", "A=1\r\nB = 2\nC\n3\tD==4  E\t=\t5\r\nBlockSize 7");
    IQTReader r("h.iqt");
    EXPECT_EQ(Value(r, "A"), "1");
    EXPECT_EQ(Value(r, "B"), "2");
    EXPECT_EQ(Value(r, "C"), "3");
    EXPECT_EQ(Value(r, "D"), "4");
    EXPECT_EQ(Value(r, "E"), "5");
    EXPECT_EQ(r.GetBlockSize(), 7);
}

TEST(IQTReader, ValueWithABlankShiftsEveryLaterPair) {
    ScopedWorkDir dir;
    WriteHeader("h.iqt", HeaderText({{"BlockSize", "5"}, {"Name", "two words"}, {"Span", "5M"}}));
    IQTReader r("h.iqt");
    EXPECT_EQ(Value(r, "Name"), "two");
    char v[61];
    EXPECT_TRUE(r.GetHeader("words", v));
    EXPECT_STREQ(v, "Span");
    EXPECT_FALSE(r.GetHeader("Span", v));
    EXPECT_STREQ(v, "");
    EXPECT_EQ(r.GetSpan(), 0.0);
}

TEST(IQTReader, KeysCompareExactlyAndTheFirstOfDuplicatesWins) {
    ScopedWorkDir dir;
    WriteHeader("h.iqt",
                HeaderText({{"BlockSize", "5"}, {"Key", "first"}, {"key", "lower"}, {"Key", "second"}}));
    IQTReader r("h.iqt");
    EXPECT_EQ(Value(r, "Key"), "first");
    EXPECT_EQ(Value(r, "key"), "lower");
    EXPECT_EQ(Value(r, "KEY"), "");
    char v[61] = "x";
    EXPECT_FALSE(r.GetHeader(nullptr, v));
    EXPECT_STREQ(v, "");
}

TEST(IQTReader, TokensAreCutTo60AndKeysTo40Characters) {
    ScopedWorkDir dir;
    const std::string longKey(70, 'k'), longValue(80, 'v');
    WriteHeader("h.iqt", HeaderText({{"BlockSize", "5"}, {longKey, longValue}}));
    IQTReader r("h.iqt");
    char v[61];
    EXPECT_TRUE(r.GetHeader(std::string(40, 'k').c_str(), v));
    EXPECT_EQ(std::string(v), std::string(60, 'v'));
    EXPECT_FALSE(r.GetHeader(std::string(60, 'k').c_str(), v));
}

TEST(IQTReader, OddNumberOfTokensGivesTheLastKeyAnEmptyValue) {
    ScopedWorkDir dir;
    WriteHeader("h.iqt", "BlockSize=3\r\nLonely");
    IQTReader r("h.iqt");
    char v[61] = "x";
    EXPECT_TRUE(r.GetHeader("Lonely", v));
    EXPECT_STREQ(v, "");
}

TEST(IQTReader, HeaderOfMoreThan100TokensKeepsTheFirst100) {
    ScopedWorkDir dir;
    std::vector<std::pair<std::string, std::string>> pairs = {{"BlockSize", "4"}, {"FFTPoints", "8"}};
    for (int i = 2; i < 80; ++i)
        pairs.emplace_back(std::string("K").append(std::to_string(i)), std::to_string(i));
    WriteHeader("h.iqt", HeaderText(pairs));
    IQTReader r("h.iqt");
    EXPECT_EQ(r.GetBlockSize(), 4);
    EXPECT_EQ(r.GetFFTPoints(), 8);
    EXPECT_EQ(Value(r, "K49"), "49");  // pair 50, tokens 99 and 100
    char v[61];
    EXPECT_FALSE(r.GetHeader("K50", v));
    testing::internal::CaptureStdout();
    r.ListHeader();
    const std::string listed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::count(listed.begin(), listed.end(), '\n'), 50);
}

TEST(IQTReader, ListHeaderPrintsEveryPairInFileOrder) {
    ScopedWorkDir dir;
    WriteHeader("h.iqt", HeaderText({{"BlockSize", "5"}, {"Zeta", "1"}, {"Alpha", "two"}}));
    IQTReader r("h.iqt");
    testing::internal::CaptureStdout();
    r.ListHeader();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "BlockSize = 5\nZeta = 1\nAlpha = two\n");
}

TEST(IQTReader, AbsentKeysTakeTheirDefaults) {
    ScopedWorkDir dir;
    WriteHeader("h.iqt", "BlockSize=2");
    IQTReader r("h.iqt");
    EXPECT_EQ(r.GetFFTPoints(), 0);
    EXPECT_EQ(r.GetNofBins(), 0);
    EXPECT_EQ(r.GetNofValidFrames(), 0);
    EXPECT_EQ(r.GetNofMultiFrames(), 1);
    EXPECT_EQ(r.GetMaxInputLevel(), 0.0);
    EXPECT_EQ(r.GetCenterFrequency(), 0.0);
    EXPECT_EQ(r.GetSpan(), 0.0);
    EXPECT_EQ(r.GetUnitPeriod(), 0.0);
    EXPECT_EQ(r.GetFrameLength(), 0.0);
    EXPECT_DOUBLE_EQ(r.GetScalingFactor(), std::sqrt(0.1));
}

TEST(IQTReader, TokeniserSkipsDelimiterRunsAndEndsAfterTheLastToken) {
    EXPECT_EQ(Peer::Tokens("  a==b \r\n c", " =\r\n"), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(Peer::Tokens("", " "), std::vector<std::string>{});
    EXPECT_EQ(Peer::Tokens(" = ", " ="), std::vector<std::string>{});
    EXPECT_EQ(Peer::Tokens("last", " "), std::vector<std::string>{"last"});
    char text[] = "abc=d";
    EXPECT_EQ(Peer::StrPBrk(text, "=x"), text + 3);
    EXPECT_EQ(Peer::StrPBrk(text, "xyz"), nullptr);
}

// ---------------------------------------------------------------- Convert and Compare

TEST(IQTReader, ConvertTakesTheMultiplierFromTheLastCharacterOnly) {
    EXPECT_DOUBLE_EQ(Peer::Convert("2.1175G"), 2.1175 * 1e9);
    EXPECT_DOUBLE_EQ(Peer::Convert("5M"), 5e6);
    EXPECT_EQ(Peer::Convert("5K"), Peer::Convert("5k"));
    EXPECT_DOUBLE_EQ(Peer::Convert("5k"), 5000.0);
    EXPECT_DOUBLE_EQ(Peer::Convert("3m"), 3 * 0.001);
    EXPECT_DOUBLE_EQ(Peer::Convert("160u"), 160 * 1e-6);
    EXPECT_DOUBLE_EQ(Peer::Convert("7n"), 7 * 1e-9);
    EXPECT_DOUBLE_EQ(Peer::Convert("9p"), 9 * 1e-12);
    EXPECT_EQ(Peer::Convert("5MHz"), 5.0);  // a unit behind the suffix hides it
    EXPECT_EQ(Peer::Convert("0.00016"), 0.00016);
    EXPECT_EQ(Peer::Convert("-12.5"), -12.5);
    EXPECT_EQ(Peer::Convert(""), 0.0);
    EXPECT_EQ(Peer::Convert(nullptr), 0.0);
}

TEST(IQTReader, HeaderValuesGoThroughConvert) {
    ScopedWorkDir dir;
    WriteHeader("h.iqt", HeaderText({{"BlockSize", "1"},
                                     {"CenterFrequency", "1.5G"},
                                     {"Span", "40k"},
                                     {"UnitPeriod", "2u"},
                                     {"FrameLength", "5MHz"}}));
    IQTReader r("h.iqt");
    EXPECT_DOUBLE_EQ(r.GetCenterFrequency(), 1.5e9);
    EXPECT_DOUBLE_EQ(r.GetSpan(), 40000.0);
    EXPECT_DOUBLE_EQ(r.GetUnitPeriod(), 2e-6);
    EXPECT_EQ(r.GetFrameLength(), 5.0);
}

TEST(IQTReader, CompareIsAClosedIntervalWhateverTheToleranceSign) {
    EXPECT_TRUE(Peer::Compare(1.0, 2.0, -1.5));
    EXPECT_TRUE(Peer::Compare(1.0, 2.0, 1.0));
    EXPECT_TRUE(Peer::Compare(3.0, 2.0, -1.0));
    EXPECT_FALSE(Peer::Compare(0.999, 2.0, 1.0));
    EXPECT_FALSE(Peer::Compare(3.001, 2.0, -1.0));
    EXPECT_TRUE(Peer::Compare(std::numeric_limits<double>::quiet_NaN(), 2.0, 0.0));
    EXPECT_TRUE(Peer::Compare(0.00016, "160u", "1e-10"));
    EXPECT_FALSE(Peer::Compare(0.00017, "160u", "1e-10"));
}

// ---------------------------------------------------------------- values and block arithmetic

TEST(IQTReader, ScalingFactorIsThePeakVoltageOfTheSummedLevels) {
    ScopedWorkDir dir;
    WriteHeader(
        "h.iqt",
        HeaderText(
            {{"BlockSize", "1"}, {"MaxInputLevel", "-10"}, {"LevelOffset", "2.5"}, {"GainOffset", "-80"}}));
    IQTReader r("h.iqt");
    EXPECT_DOUBLE_EQ(r.GetScalingFactor(), Scale(-80, -10, 2.5));
    EXPECT_EQ(r.GetMaxInputLevel(), -10.0);
}

TEST(IQTReader, FirstBlockTakesTheRemainder) {
    ScopedWorkDir dir;
    WriteHeader("a.iqt", HeaderText({{"BlockSize", "100"}, {"ValidFrames", "250"}, {"FFTPoints", "16"}}));
    IQTReader a("a.iqt");
    EXPECT_EQ(a.GetNofBlocks(), 3);
    EXPECT_EQ(a.GetFirstBlockSize(), 50);
    EXPECT_EQ(a.GetNofSamplesInBlock(), 1600);
    EXPECT_EQ(a.GetNoflSamplesInFile(), 4000);
    int first = 0, second = 0;
    a.GetTrigPos(first, second);
    EXPECT_EQ(first, 1600);
    EXPECT_EQ(second, 1600);
    WriteHeader("b.iqt", HeaderText({{"BlockSize", "100"}, {"ValidFrames", "300"}}));
    IQTReader b("b.iqt");
    EXPECT_EQ(b.GetNofBlocks(), 3);
    EXPECT_EQ(b.GetFirstBlockSize(), 100);
    // No frames: no block, and the formula leaves a first block of BlockSize.
    WriteHeader("c.iqt", HeaderText({{"BlockSize", "8"}, {"ValidFrames", "0"}}));
    IQTReader c("c.iqt");
    EXPECT_EQ(c.GetNofBlocks(), 0);
    EXPECT_EQ(c.GetFirstBlockSize(), 8);
}

TEST(IQTReader, DataOffsetCountsTheDigitTheLengthAndTheText) {
    ScopedWorkDir dir;
    const std::string text = HeaderText({{"BlockSize", "1"}});
    WriteHeader("h.iqt", text);
    IQTReader r("h.iqt");
    EXPECT_EQ(r.GetDataOffset(),
              1 + static_cast<int>(std::to_string(text.size()).size()) + static_cast<int>(text.size()));
}

// ---------------------------------------------------------------- frame reads

TEST(IQTReader, GetIQDataScalesTheWordsAfterSubtractingTheOffsets) {
    ScopedWorkDir dir;
    SimpleFile(16, 4, 4, {{"IOffset", "2.5"}, {"QOffset", "-1"}, {"GainOffset", "-3"}}).Write("s.iqt");
    IQTReader r("s.iqt");
    const float scale = static_cast<float>(Scale(-3, 0, 0));
    std::vector<FrameHeader> h = Headers(2);
    VecCplx32 data;
    ASSERT_TRUE(r.GetIQData(1, 2, h.data(), data));
    ASSERT_EQ(data.GetSize(), 32);
    for (int k = 0; k < 2; ++k) {
        EXPECT_EQ(Tag(h[static_cast<size_t>(k)]), static_cast<uint32_t>(k + 1));
        for (int i = 0; i < 16; ++i) {
            EXPECT_EQ(data[k * 16 + i].re, static_cast<float>((SimpleI(k + 1, i) - 2.5) * scale));
            EXPECT_EQ(data[k * 16 + i].im, static_cast<float>((SimpleQ(k + 1, i) + 1.0) * scale));
        }
    }
    VecCplx32 none;
    EXPECT_TRUE(r.GetIQData(4, 0, nullptr, none));
    EXPECT_EQ(none.GetSize(), 0);
}

TEST(IQTReader, GetIQDataConvertsEverythingReadSoFarAtEachAPFrame) {
    ScopedWorkDir dir;
    IqtFile f = SimpleFile(8, 3, 3);
    auto pair = [](int k) {
        return [k](int i) {
            return IqtPair{static_cast<int16_t>(i + 1 + k), static_cast<int16_t>(3 * i - 7 + k)};
        };
    };
    f.frames[0] = MakeRecord(IqtMark::IQ, pair(0));
    f.frames[1] = MakeRecord(IqtMark::AP, pair(1));
    f.frames[2] = MakeRecord(IqtMark::AP, pair(2));
    f.Write("ap.iqt");
    IQTReader r("ap.iqt");
    const double scale = static_cast<float>(r.GetScalingFactor());
    std::vector<FrameHeader> h = Headers(3);
    VecCplx32 data;
    ASSERT_TRUE(r.GetIQData(0, 3, h.data(), data));
    // Expected: frame values (second word, first word) times scale; after frame 1 frames 0 and 1 become
    // (magnitude, phase); after frame 2 frames 0..2 are converted again (so 0 and 1 twice).
    std::vector<std::complex<double>> x;
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < 8; ++i)
            x.emplace_back(static_cast<float>((3 * i - 7 + k) * scale),
                           static_cast<float>((i + 1 + k) * scale));
    auto polar = [&x](size_t upto) {
        for (size_t j = 0; j < upto; ++j)
            x[j] = {std::abs(x[j]), std::arg(x[j])};
    };
    polar(16);
    polar(24);
    for (int j = 0; j < 24; ++j) {
        EXPECT_NEAR(data[j].re, x[static_cast<size_t>(j)].real(),
                    1e-5 * (1 + std::abs(x[static_cast<size_t>(j)].real())))
            << j;
        EXPECT_NEAR(data[j].im, x[static_cast<size_t>(j)].imag(), 1e-5) << j;
    }
    EXPECT_TRUE(h[1].IsAPFrame());
    EXPECT_FALSE(h[0].IsAPFrame());
}

TEST(IQTReader, GetIQData2DecodesIQFramesBySubtractingOffsetsThenScaling) {
    ScopedWorkDir dir;
    SimpleFile(8, 3, 3, {{"IOffset", "1.5"}, {"QOffset", "-2"}, {"GainOffset", "-6"}}).Write("iq.iqt");
    IQTReader r("iq.iqt");
    const float scale = static_cast<float>(r.GetScalingFactor());
    std::vector<FrameHeader> h = Headers(3);
    VecCplx32 data;
    ASSERT_TRUE(r.GetIQData2(0, 3, h.data(), data));
    ASSERT_EQ(data.GetSize(), 24);
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(data[k * 8 + i].re, (static_cast<float>(SimpleI(k, i)) - 1.5f) * scale);
            EXPECT_EQ(data[k * 8 + i].im, (static_cast<float>(SimpleQ(k, i)) + 2.0f) * scale);
        }
}

TEST(IQTReader, GetIQData2DecodesAPFramesToCartesianThenAddsTheOffsetsToEverySample) {
    ScopedWorkDir dir;
    IqtFile f = SimpleFile(8, 2, 2, {{"IOffset", "1.5"}, {"QOffset", "-2"}});
    // An AP pair is (phase, amplitude); the phase word is taken as radians.
    for (int k = 0; k < 2; ++k)
        f.frames[static_cast<size_t>(k)] = MakeRecord(IqtMark::AP, [k](int i) {
            return IqtPair{static_cast<int16_t>(i - 3 + k), static_cast<int16_t>(100 + 10 * i)};
        });
    f.Write("ap.iqt");
    IQTReader r("ap.iqt");
    const double scale = static_cast<float>(r.GetScalingFactor());
    std::vector<FrameHeader> h = Headers(2);
    VecCplx32 data;
    ASSERT_TRUE(r.GetIQData2(0, 2, h.data(), data));
    ASSERT_EQ(data.GetSize(), 16);
    for (int k = 0; k < 2; ++k)
        for (int i = 0; i < 8; ++i) {
            const double a = 100 + 10 * i, p = i - 3 + k;
            EXPECT_NEAR(data[k * 8 + i].re, (a * std::cos(p) + 1.5) * scale, 2e-4) << k << " " << i;
            EXPECT_NEAR(data[k * 8 + i].im, (a * std::sin(p) - 2.0) * scale, 2e-4) << k << " " << i;
        }
}

TEST(IQTReader, GetIQData2TakesTheLastFramesMarkForAllAndRefusesAFrameWithNeither) {
    ScopedWorkDir dir;
    IqtFile f = SimpleFile(8, 3, 3);
    f.frames[0].header[6] = 0;  // the first frame has no mark: only the last frame counts
    f.frames[2] = MakeRecord(IqtMark::None, [](int i) { return IqtPair{static_cast<int16_t>(i), 1}; });
    f.frames[1] = MakeRecord(IqtMark::Both, [](int i) { return IqtPair{static_cast<int16_t>(i), 2}; });
    f.Write("m.iqt");
    IQTReader r("m.iqt");
    std::vector<FrameHeader> h = Headers(3);
    VecCplx32 data;
    EXPECT_TRUE(r.GetIQData2(0, 2, h.data(), data));  // frame 1 carries both marks: IQ wins
    EXPECT_EQ(data[8].re, 2.0f * static_cast<float>(r.GetScalingFactor()));
    EXPECT_EQ(ThrownCode([&] { r.GetIQData2(0, 3, h.data(), data); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownMessage([&] { r.GetIQData2(1, 2, h.data(), data); }), "error opening file");
    EXPECT_TRUE(r.GetIQData2(0, 0, nullptr, data));
    EXPECT_EQ(data.GetSize(), 0);
}

TEST(IQTReader, GetRawIQAPDataGivesTheWordsUnscaled) {
    ScopedWorkDir dir;
    SimpleFile(1024, 3, 3, {{"IOffset", "7"}, {"GainOffset", "-30"}}).Write("raw.iqt");
    IQTReader r("raw.iqt");
    std::vector<FrameHeader> h = Headers(2);
    VecReal32 first, second;
    ASSERT_TRUE(r.GetRawIQAPData(1, 2, h.data(), first, second));
    ASSERT_EQ(first.GetSize(), 2048);
    ASSERT_EQ(second.GetSize(), 2048);
    for (int k = 0; k < 2; ++k)
        for (int i = 0; i < 1024; ++i) {
            EXPECT_EQ(first[k * 1024 + i], static_cast<float>(SimpleI(k + 1, i)));
            EXPECT_EQ(second[k * 1024 + i], static_cast<float>(SimpleQ(k + 1, i)));
        }
}

TEST(IQTReader, GetRawIQAPDataWithFewerPointsWritesOnlyWhatFitsAtItsFrameStride) {
    ScopedWorkDir dir;
    SimpleFile(16, 3, 3).Write("raw.iqt");
    IQTReader r("raw.iqt");
    std::vector<FrameHeader> h = Headers(3);
    VecReal32 first(5000), second;
    ASSERT_TRUE(r.GetRawIQAPData(0, 3, h.data(), first, second));
    ASSERT_EQ(first.GetSize(), 48);
    ASSERT_EQ(second.GetSize(), 48);
    // Frame 0's pairs fill the whole output; frames 1 and 2 would start at 1,024 and 2,048.
    for (int i = 0; i < 48; ++i) {
        EXPECT_EQ(first[i], static_cast<float>(SimpleI(0, i)));
        EXPECT_EQ(second[i], static_cast<float>(SimpleQ(0, i)));
    }
    EXPECT_EQ(Tag(h[2]), 2u);
}

TEST(IQTReader, FlatnessIsTheCorrectionRecordScaledBy1Over128WithThePhaseNegated) {
    ScopedWorkDir dir;
    SimpleFile(32, 2, 2).Write("c.iqt");
    IQTReader r("c.iqt");
    FrameHeader h;
    VecReal32 a, p, ra, rp;
    VecReal64 a64, p64;
    ASSERT_TRUE(r.GetFlatness(&h, a, p));
    EXPECT_EQ(Tag(h), 0xC0u);
    ASSERT_TRUE(r.GetFlatness(&h, a64, p64));
    ASSERT_TRUE(r.GetRawFlatness(&h, ra, rp));
    ASSERT_EQ(a.GetSize(), 32);
    ASSERT_EQ(p64.GetSize(), 32);
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(a[i], static_cast<float>((i - 512) / 128.0));
        EXPECT_EQ(p[i], static_cast<float>(-(3 * i - 1000) / 128.0));
        EXPECT_EQ(a64[i], static_cast<double>(a[i]));
        EXPECT_EQ(p64[i], static_cast<double>(p[i]));
        EXPECT_EQ(ra[i], static_cast<float>(i - 512));
        EXPECT_EQ(rp[i], static_cast<float>(3 * i - 1000));
    }
    VecReal32 a2, p2;
    ASSERT_TRUE(r.GetFlatness(a2, p2));
    ASSERT_EQ(a2.GetSize(), 32);
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(a2[i], a[i]);
        EXPECT_EQ(p2[i], p[i]);
    }
}

TEST(IQTReader, WithNoValidFramesTheCorrectionRecordFollowsTheHeader) {
    ScopedWorkDir dir;
    SimpleFile(16, 0, 4).Write("z.iqt");
    IQTReader r("z.iqt");
    VecReal32 a, p;
    ASSERT_TRUE(r.GetRawFlatness(nullptr, a, p));
    ASSERT_EQ(a.GetSize(), 16);
    EXPECT_EQ(a[0], -512.0f);
    EXPECT_EQ(p[15], 3.0f * 15 - 1000);
    std::vector<FrameHeader> h = Headers(1);
    VecCplx32 data;
    EXPECT_EQ(ThrownCode([&] { r.GetIQData(0, 1, h.data(), data); }), VELAErrorInvalidInputParameter);
}

TEST(IQTReader, ReadIQDataOfOneSampleAtTheEndOfAFrameReadsThatFrameAndAtTheNextStartTheNext) {
    ScopedWorkDir dir;
    SimpleFile(16, 4, 4).Write("s.iqt");
    IQTReader r("s.iqt");
    const float scale = static_cast<float>(r.GetScalingFactor());
    VecCplx32 data;
    ASSERT_TRUE(r.ReadIQData(15, 1, data));
    ASSERT_EQ(data.GetSize(), 1);
    EXPECT_EQ(data[0].re, static_cast<float>(SimpleI(0, 15) * static_cast<double>(scale)));
    ASSERT_TRUE(r.ReadIQData(16, 1, data));
    EXPECT_EQ(data[0].re, static_cast<float>(SimpleI(1, 0) * static_cast<double>(scale)));
    EXPECT_EQ(r.ReadIQData(0, 16, 1, data), 1);
    EXPECT_EQ(data[0].im, static_cast<float>(SimpleQ(1, 0) * static_cast<double>(scale)));
}

TEST(IQTReader, ReadIQDataCopiesTheRangeAcrossFramesAndWidensForDoublePrecision) {
    ScopedWorkDir dir;
    SimpleFile(16, 4, 4).Write("s.iqt");
    IQTReader r("s.iqt");
    std::vector<FrameHeader> h = Headers(4);
    VecCplx32 frames, data;
    ASSERT_TRUE(r.GetIQData(0, 4, h.data(), frames));
    ASSERT_TRUE(r.ReadIQData(5, 40, data));
    ASSERT_EQ(data.GetSize(), 40);
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(data[i].re, frames[5 + i].re);
        EXPECT_EQ(data[i].im, frames[5 + i].im);
    }
    VecCplx64 wide;
    ASSERT_TRUE(r.ReadIQData(5, 40, wide));
    ASSERT_EQ(wide.GetSize(), 40);
    EXPECT_EQ(wide[39].re, static_cast<double>(frames[44].re));
    VecCplx64 wideInt;
    EXPECT_EQ(r.ReadIQData(0, 5, 40, wideInt), 40);
    EXPECT_EQ(wideInt[39].im, static_cast<double>(frames[44].im));
    ASSERT_TRUE(r.ReadIQData(7, 0, data));
    EXPECT_EQ(data.GetSize(), 0);
}

TEST(IQTReader, ReadIQDataReturnsZeroAndLeavesDataAloneBeyondTheValidFrames) {
    ScopedWorkDir dir;
    SimpleFile(16, 4, 4).Write("s.iqt");
    IQTReader r("s.iqt");
    VecCplx32 data(3);
    data[0] = {9, 9};
    EXPECT_EQ(r.ReadIQData(0, 64, 10, data), 0);
    EXPECT_EQ(data.GetSize(), 3);
    EXPECT_EQ(data[0].re, 9.0f);
    VecCplx64 wide(2);
    wide[1] = {5, 5};
    EXPECT_EQ(r.ReadIQData(0, 1000, 1, wide), 0);
    EXPECT_EQ(wide.GetSize(), 2);
    EXPECT_EQ(wide[1].re, 5.0);
}

TEST(IQTReader, ReadIQDataOfAMultiBlockFileIsLimitedToTheFirstBlock) {
    ScopedWorkDir dir;
    SimpleFile(16, 10, 4).Write("b.iqt");  // blocks of 4 frames: 64 samples each
    IQTReader r("b.iqt");
    VecCplx32 data;
    EXPECT_EQ(r.ReadIQData(0, 10, 100, data), 54);  // cut at the end of the first block
    EXPECT_EQ(data.GetSize(), 54);
    data.Resize(7);
    EXPECT_EQ(r.ReadIQData(0, 70, 5, data), 0);  // within the valid frames but beyond the first block
    EXPECT_EQ(data.GetSize(), 0);
    // The single-precision form refuses a request that needs more than one block of frames.
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(0, 80, data); }), VELAErrorInvalidInputParameter);
    EXPECT_TRUE(r.ReadIQData(64, 64, data));  // four frames, wherever they lie
}

TEST(IQTReader, RequestsOutsideTheFileOrTheCallersArraysAreInvalidInput) {
    ScopedWorkDir dir;
    SimpleFile(16, 4, 4).Write("s.iqt");
    IQTReader r("s.iqt");
    std::vector<FrameHeader> h = Headers(8);
    VecCplx32 data;
    VecReal32 a, b;
    const VELAErrorCodeTag bad = VELAErrorInvalidInputParameter;
    EXPECT_EQ(ThrownCode([&] { r.GetIQData(-1, 1, h.data(), data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.GetIQData(3, 2, h.data(), data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.GetIQData(0, -1, h.data(), data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.GetIQData(0, 1, nullptr, data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.GetIQData(4, 0x7fffffff, h.data(), data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.GetIQData2(2, 3, h.data(), data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.GetRawIQAPData(0, 5, h.data(), a, b); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(-1, 1, data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(0, -1, 1, data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(0, -5, data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(60, 5, data); }), bad);  // past the last valid frame
    const long long before = kern::AllocationCount();
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(0, 0x7fffffff, data); }), bad);
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(0x7ffffff0, 0x7fffffff, data); }), bad);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(r.ReadIQData(0, 0x7ffffff0, 0x7fffffff, data), 0);
}

TEST(IQTReader, RequestsOnAFileWithoutPointsAreInvalidOrEmpty) {
    ScopedWorkDir dir;
    SimpleFile(0, 2, 2).Write("p.iqt");
    IQTReader r("p.iqt");
    VecCplx32 data(4);
    std::vector<FrameHeader> h = Headers(2);
    EXPECT_TRUE(r.GetIQData(0, 2, h.data(), data));
    EXPECT_EQ(data.GetSize(), 0);
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(0, 1, data); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(0, 0, 1, data); }), VELAErrorInvalidInputParameter);
}

// ---------------------------------------------------------------- short and changing files

TEST(IQTReader, FileShorterThanItsHeaderSaysReadsAsFarAsItGoes) {
    ScopedWorkDir dir;
    IqtFile f = SimpleFile(16, 4, 4);
    std::string bytes = f.Bytes();
    const int offset = 1 + static_cast<int>(std::to_string(f.headerText.size()).size()) +
                       static_cast<int>(f.headerText.size());
    bytes.resize(static_cast<size_t>(offset + 4120 + 24 + 100));  // frame 1 has its header and a little data
    corvane_test::WriteBytes("short.iqt", bytes);
    IQTReader r("short.iqt");
    std::vector<FrameHeader> h = Headers(4);
    VecCplx32 data;
    ASSERT_TRUE(r.GetIQData(0, 4, h.data(), data));
    ASSERT_EQ(data.GetSize(), 64);
    // Frames 1..3 keep frame 0's words; the missing headers keep the caller's bytes.
    for (int k = 1; k < 4; ++k)
        for (int i = 0; i < 16; ++i)
            EXPECT_EQ(data[k * 16 + i].re, data[i].re);
    EXPECT_EQ(Tag(h[1]), 1u);
    EXPECT_EQ(h[2].bytes[0], 0xAB);
    EXPECT_EQ(h[3].bytes[23], 0xAB);
    // Nothing of the frames at all: zeros, true.
    bytes.resize(static_cast<size_t>(offset));
    corvane_test::WriteBytes("none.iqt", bytes);
    IQTReader n("none.iqt");
    ASSERT_TRUE(n.GetIQData(2, 2, h.data(), data));
    EXPECT_EQ(data[31].re, 0.0f);
    VecReal32 a, p;
    ASSERT_TRUE(n.GetFlatness(a, p));
    EXPECT_EQ(a.GetSize(), 16);
    EXPECT_EQ(a[3], 0.0f);
}

TEST(IQTReader, ReadsOpenTheFileAnewAndFailWhenItIsGone) {
    ScopedWorkDir dir;
    SimpleFile(16, 2, 2).Write("gone.iqt");
    IQTReader r("gone.iqt");
    ASSERT_EQ(unlink("gone.iqt"), 0);
    std::vector<FrameHeader> h = Headers(1);
    VecCplx32 data;
    VecReal32 a, p;
    EXPECT_EQ(ThrownCode([&] { r.GetIQData(0, 1, h.data(), data); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { r.GetFlatness(a, p); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([&] { r.ReadIQData(0, 4, data); }), VELAErrorOpeningFile);
    // The header stays readable.
    EXPECT_EQ(r.GetFFTPoints(), 16);
}

TEST(IQTReader, CopiesAreDeepAndOutliveTheOriginal) {
    ScopedWorkDir dir;
    SimpleFile(16, 2, 2, {{"Extra", "value"}}).Write("c.iqt");
    auto* original = new IQTReader("c.iqt");
    IQTReader copy(*original);
    IQTReader assigned(kCapture.c_str());
    assigned = *original;
    delete original;
    EXPECT_EQ(Value(copy, "Extra"), "value");
    EXPECT_EQ(Value(assigned, "Extra"), "value");
    VecCplx32 data;
    EXPECT_TRUE(assigned.ReadIQData(3, 4, data));
    EXPECT_EQ(data.GetSize(), 4);
}

// ---------------------------------------------------------------- invalid files

TEST(IQTReader, MissingFileOrADirectoryCannotBeOpenedAndTheMessageNamesIt) {
    ScopedWorkDir dir;
    EXPECT_EQ(ThrownCode([] { IQTReader r("missing.iqt"); }), VELAErrorOpeningFile);
    const std::string m = ThrownMessage([] { IQTReader r("missing.iqt"); });
    EXPECT_NE(m.find("error opening file"), std::string::npos) << m;
    EXPECT_NE(m.find("missing.iqt"), std::string::npos) << m;
    EXPECT_EQ(ThrownCode([] { IQTReader r("."); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownCode([] { IQTReader r(nullptr); }), VELAErrorOpeningFile);
}

TEST(IQTReader, InvalidFilesAreRefusedWithAReason) {
    ScopedWorkDir dir;
    struct Case {
        std::string bytes;
        const char* reason;
    };
    const std::string good = HeaderText({{"BlockSize", "4"}, {"FFTPoints", "16"}, {"ValidFrames", "2"}});
    auto file = [](const std::string& text) {
        return std::to_string(std::to_string(text.size()).size()) + std::to_string(text.size()) + text;
    };
    const Case cases[] = {
        {"", "begin with a digit"},
        {"x12", "begin with a digit"},
        {"3", "ends inside the header length"},
        {"21", "ends inside the header length"},
        {"2a5BlockSize=1", "not a number"},
        {"3999BlockSize=1", "shorter than its header length"},
        {"9999999999", "shorter than its header length"},
        {file(HeaderText({{"FFTPoints", "16"}})), "\"BlockSize\" is missing"},
        {file(HeaderText({{"BlockSize", "0"}})), "\"BlockSize\" is missing"},
        {file(HeaderText({{"BlockSize", "-3"}})), "\"BlockSize\" is missing"},
        {file(HeaderText({{"BlockSize", "abc"}})), "\"BlockSize\" is missing"},
        {file(HeaderText({{"BlockSize", "4"}, {"ValidFrames", "-1"}})), "\"ValidFrames\" is negative"},
        {file(HeaderText({{"BlockSize", "4"}, {"FFTPoints", "2048"}})), "\"FFTPoints\" lies outside"},
        {file(HeaderText({{"BlockSize", "4"}, {"FFTPoints", "-16"}})), "\"FFTPoints\" lies outside"},
        {file(HeaderText({{"BlockSize", "4"}, {"FFTPoints", "1024"}, {"ValidFrames", "3000000"}})),
         "do not fit"},
        {file(HeaderText({{"BlockSize", "99999999999"}, {"FFTPoints", "1024"}})),
         "\"BlockSize\" does not fit an int"},
        {file(HeaderText({{"BlockSize", "2147483648"}})), "\"BlockSize\" does not fit an int"},
        {file(HeaderText({{"BlockSize", "4"}, {"FFTPoints", "-99999999999"}})),
         "\"FFTPoints\" does not fit an int"},
        {file(HeaderText({{"BlockSize", "4"}, {"ValidFrames", "4294967297"}})),
         "\"ValidFrames\" does not fit an int"},
        {file(HeaderText({{"BlockSize", "4"}, {"Bins", "99999999999999999999999"}})),
         "\"Bins\" does not fit an int"},
        {file(HeaderText({{"BlockSize", "4"}, {"MultiFrames", "-2147483649"}})),
         "\"MultiFrames\" does not fit an int"},
        {"0", "\"BlockSize\" is missing"},
    };
    for (const Case& c : cases) {
        corvane_test::WriteBytes("bad.iqt", c.bytes);
        EXPECT_EQ(ThrownCode([] { IQTReader r("bad.iqt"); }), VELAErrorReadingFile) << c.bytes;
        const std::string m = ThrownMessage([] { IQTReader r("bad.iqt"); });
        EXPECT_NE(m.find(c.reason), std::string::npos) << c.bytes << " -> " << m;
        EXPECT_NE(m.find("bad.iqt"), std::string::npos) << m;
        EXPECT_EQ(m.rfind("error reading file", 0), 0u) << m;
    }
    corvane_test::WriteBytes("good.iqt", file(good));
    EXPECT_EQ(ThrownCode([] { IQTReader r("good.iqt"); }), VELAErrorNone);
}

TEST(IQTReader, HugeHeaderLengthIsRefusedBeforeAnythingIsAllocated) {
    ScopedWorkDir dir;
    corvane_test::WriteBytes("huge.iqt", "9999999999BlockSize=1\n");
    const long long before = kern::AllocationCount();
    EXPECT_EQ(ThrownCode([] { IQTReader r("huge.iqt"); }), VELAErrorReadingFile);
    EXPECT_EQ(kern::AllocationCount(), before);
}

TEST(IQTReader, CountsAtTheLimitsOfIntAreTakenAsTheyStand) {
    ScopedWorkDir dir;
    WriteHeader("edge.iqt", HeaderText({{"BlockSize", "2147483647"},
                                        {"Bins", "-2147483648"},
                                        {"MultiFrames", "2147483647xyz"},
                                        {"ValidFrames", "7frames"}}));
    const IQTReader r("edge.iqt");
    EXPECT_EQ(r.GetBlockSize(), 2147483647);
    EXPECT_EQ(r.GetNofBins(), -2147483648);
    EXPECT_EQ(r.GetNofMultiFrames(), 2147483647);  // the leading number, as atoi takes it
    EXPECT_EQ(r.GetNofValidFrames(), 7);
    EXPECT_EQ(r.GetNofBlocks(), 1);
    EXPECT_EQ(r.GetFirstBlockSize(), 7);
}

// Inputs that a fuzzing run reported as failures are kept in the harness's corpus under names beginning with
// "crash-". Each must be refused with a reason or give a reader on which every read form either works
// or refuses the request.
TEST(IQTReader, InputsKeptFromFuzzingAreRefusedOrReadSafely) {
    const std::string corpus = std::string(CORVANE_TEST_DIR) + "/../fuzz/corpus/iqt_header";
    int seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
        if (entry.path().filename().string().rfind("crash-", 0) != 0) continue;
        ++seen;
        const std::string path = entry.path().string();
        std::unique_ptr<IQTReader> r;
        const VELAErrorCodeTag code = ThrownCode([&] { r = std::make_unique<IQTReader>(path.c_str()); });
        if (!r) {
            EXPECT_EQ(code, VELAErrorReadingFile) << path;
            continue;
        }
        std::vector<FrameHeader> headers(4);
        VecCplx32 c;
        VecCplx64 z;
        VecReal32 a, b;
        for (int first : {-1, 0, 1, 1 << 30})
            for (int count : {-1, 0, 1, 4}) {
                const auto ok = [](VELAErrorCodeTag e) {
                    return e == VELAErrorNone || e == VELAErrorInvalidInputParameter ||
                           e == VELAErrorOpeningFile;
                };
                EXPECT_TRUE(ok(ThrownCode([&] { r->GetIQData(first, count, headers.data(), c); }))) << path;
                EXPECT_TRUE(ok(ThrownCode([&] { r->GetIQData2(first, count, headers.data(), c); }))) << path;
                EXPECT_TRUE(ok(ThrownCode([&] { r->GetRawIQAPData(first, count, headers.data(), a, b); })))
                    << path;
                EXPECT_TRUE(ok(ThrownCode([&] { r->ReadIQData(first, count * 1000, c); }))) << path;
                EXPECT_TRUE(ok(ThrownCode([&] { r->ReadIQData(0, first, count * 1000, z); }))) << path;
            }
        EXPECT_TRUE(r->GetFlatness(a, b));
    }
    EXPECT_GE(seen, 1);
}

// The first such input: a "BlockSize" of 9999999999242 (cut to the largest int, it passed for a real
// count) beside a mutilated pair list and frames of a small capture. Its block size is now refused.
TEST(IQTReader, BlockSizeBeyondIntFromTheFuzzingCorpusIsRefused) {
    const std::string path =
        std::string(CORVANE_TEST_DIR) + "/../fuzz/corpus/iqt_header/crash-092f0407-blocksize-beyond-int";
    const std::string m = ThrownMessage([&] { IQTReader r(path.c_str()); });
    EXPECT_NE(m.find("\"BlockSize\" does not fit an int"), std::string::npos) << m;
    EXPECT_EQ(ThrownCode([&] { IQTReader r(path.c_str()); }), VELAErrorReadingFile);
}
