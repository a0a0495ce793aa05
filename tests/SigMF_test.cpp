// SigMFReader and SigMFWriter: recordings written by the writer and read back for every datatype, the
// files checked independently with Python's json module and numpy; recordings written by numpy read with
// the right scaling; every kind of broken recording refused with its code and reason; reads at and past
// the end and beyond 4 GiB; write failures that leave nothing behind.
#include <corvane/infra/SigMF.h>
#include <corvane/math/Vector.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "support/FileTestUtil.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::Exists;
using corvane_test::NearAbs;
using corvane_test::PyEval;
using corvane_test::ScopedWorkDir;
using corvane_test::ThrownCode;
using corvane_test::ThrownMessage;
using corvane_test::WriteBytes;

namespace fs = std::filesystem;

namespace {

// Files in the current directory, sorted.
std::vector<std::string> Listing(const std::string& dir = ".") {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// Interleaved re, im of the samples.
std::vector<double> Flat(const VecCplx32& v) {
    std::vector<double> out;
    for (int i = 0; i < v.GetSize(); ++i) {
        out.push_back(v[i].re);
        out.push_back(v[i].im);
    }
    return out;
}
std::vector<double> Flat(const VecCplx64& v) {
    std::vector<double> out;
    for (int i = 0; i < v.GetSize(); ++i) {
        out.push_back(v[i].re);
        out.push_back(v[i].im);
    }
    return out;
}

// Samples that exercise every integer type: a random part within [-1, 1), values beyond full scale
// (saturation), and exact half steps of each type (rounding half to even).
VecCplx64 TestSamples() {
    const std::vector<double> u = corvane_test::Uniform(2 * 400, 23, -1.0, 1.0);
    std::vector<double> special = {1.0,
                                   -1.0,
                                   1.5,
                                   -1.5,
                                   1e30,
                                   -1e30,
                                   0.5 / 32768,
                                   1.5 / 32768,
                                   -0.5 / 32768,
                                   -2.5 / 32768,
                                   0.5 / 128,
                                   1.5 / 128,
                                   -2.5 / 128,
                                   32767.5 / 32768,
                                   -32768.5 / 32768,
                                   127.5 / 128,
                                   0.5 / 127.5,
                                   -0.5 / 127.5,
                                   1.5 / 127.5,
                                   127.5 / 127.5,
                                   -127.5 / 127.5,
                                   0.0};
    VecCplx64 v(static_cast<int>(u.size() / 2 + special.size()));
    int k = 0;
    for (size_t i = 0; i < u.size(); i += 2)
        v[k++] = Cplx64{u[i], u[i + 1]};
    for (size_t i = 0; i < special.size(); ++i)
        v[k++] = Cplx64{special[i], special[special.size() - 1 - i]};
    return v;
}

// numpy reading of a data file: the numpy dtype and the scaling of each datatype.
std::string NumpyDecode(const std::string& datatype) {
    if (datatype == "cf32_le") return "raw = np.fromfile(p, '<f4').astype(np.float64)\n";
    if (datatype == "cf32_be") return "raw = np.fromfile(p, '>f4').astype(np.float64)\n";
    if (datatype == "cf64_le") return "raw = np.fromfile(p, '<f8')\n";
    if (datatype == "cf64_be") return "raw = np.fromfile(p, '>f8')\n";
    if (datatype == "ci16_le") return "raw = np.fromfile(p, '<i2') / 32768.0\n";
    if (datatype == "ci16_be") return "raw = np.fromfile(p, '>i2') / 32768.0\n";
    if (datatype == "ci8") return "raw = np.fromfile(p, 'i1') / 128.0\n";
    return "raw = (np.fromfile(p, 'u1') - 127.5) / 127.5\n";
}

// What the writer must store for the input a0 (interleaved), as numpy computes it: float rounding, or
// round half to even (np.round) and saturation, then the reader's scaling.
std::string NumpyQuantise(const std::string& datatype) {
    if (datatype == "cf32_le") return "want = a0.astype(np.float32).astype(np.float64)\n";
    if (datatype == "cf64_le") return "want = a0\n";
    if (datatype == "ci16_le") return "want = np.clip(np.round(a0 * 32768), -32768, 32767) / 32768.0\n";
    if (datatype == "ci8") return "want = np.clip(np.round(a0 * 128), -128, 127) / 128.0\n";
    return "want = (np.clip(np.round(a0 * 127.5 + 127.5), 0, 255) - 127.5) / 127.5\n";
}

class SigMFRoundTrip : public ::testing::TestWithParam<const char*> {};

}  // namespace

// The writer's files are valid SigMF as Python's json module and numpy read them, and the reader gives
// back what numpy decodes, in both precisions.
TEST_P(SigMFRoundTrip, WrittenRecordingIsValidSigMFAndReadsBack) {
    const std::string datatype = GetParam();
    ScopedWorkDir dir;
    const VecCplx64 samples = TestSamples();
    const int n = samples.GetSize();
    const int half = n / 2;
    {
        SigMFWriter w("rec", datatype, 2.5e6, 915.25e6);
        // The first half through the float form, the rest through the double form.
        VecCplx32 first(half);
        VecCplx64 second(n - half);
        for (int i = 0; i < half; ++i)
            first[i] = Cplx32{static_cast<float>(samples[i].re), static_cast<float>(samples[i].im)};
        for (int i = half; i < n; ++i)
            second[i - half] = samples[i];
        w.Write(first);
        w.Write(second);
        SigMFAnnotation late, early;
        late.sampleStart = 300;
        late.sampleCount = 100;
        late.hasFrequencyEdges = true;
        late.freqLowerEdge = 915.0e6;
        late.freqUpperEdge = 915.5e6;
        late.label = "burst";
        late.comment = "second";
        early.sampleStart = 5;
        early.label = "start \"quoted\" \xC3\xA9";
        w.AddAnnotation(late);
        w.AddAnnotation(early);
        w.SetDescription("round trip of " + datatype);
        EXPECT_EQ(w.GetSamplesWritten(), n);
        w.Close();
    }
    EXPECT_EQ(Listing(), (std::vector<std::string>{"rec.sigmf-data", "rec.sigmf-meta"}));

    // The metadata as the json module reads it: each key checked, a mismatch raises.
    std::vector<double> in;
    for (int i = 0; i < n; ++i) {
        in.push_back(samples[i].re);
        in.push_back(samples[i].im);
    }
    // The float half reached the writer rounded to float.
    for (int i = 0; i < 2 * half; ++i)
        in[i] = static_cast<float>(in[i]);
    const std::string check =
        "import json\n"
        "m = json.load(open('rec.sigmf-meta', encoding='utf-8'))\n"
        "g = m['global']\n"
        "assert set(m) == {'global', 'captures', 'annotations'}, m.keys()\n"
        "assert g['core:datatype'] == '" +
        datatype +
        "', g\n"
        "assert g['core:sample_rate'] == 2.5e6 and g['core:version'] == '1.0.0', g\n"
        "assert g['core:recorder'] == 'corvane' and g['core:description'] == 'round trip of " +
        datatype +
        "', g\n"
        "assert m['captures'] == [{'core:sample_start': 0, 'core:frequency': 915.25e6}], m['captures']\n"
        "a = m['annotations']\n"
        "assert a[0] == {'core:sample_start': 5, 'core:label': 'start \"quoted\" \\u00e9'}, a\n"
        "assert a[1] == {'core:sample_start': 300, 'core:sample_count': 100, 'core:freq_lower_edge': 915e6,\n"
        "                'core:freq_upper_edge': 915.5e6, 'core:label': 'burst', 'core:comment': 'second'}, "
        "a\n"
        "assert len(a) == 2\n"
        "p = 'rec.sigmf-data'\n" +
        NumpyDecode(datatype) + NumpyQuantise(datatype) + "out = np.concatenate([raw, want])\n";
    const std::vector<double> py = PyEval(check, {in});
    ASSERT_EQ(py.size(), 4u * n);
    const std::vector<double> file(py.begin(), py.begin() + 2 * n), want(py.begin() + 2 * n, py.end());
    EXPECT_TRUE(NearAbs(file, want, 0.0)) << "the data file differs from numpy's quantisation";

    const SigMFReader r("rec");
    EXPECT_EQ(r.GetDatatype(), datatype);
    EXPECT_EQ(r.GetVersion(), "1.0.0");
    EXPECT_EQ(r.GetSampleRate(), 2.5e6);
    EXPECT_TRUE(r.HasCenterFrequency());
    EXPECT_EQ(r.GetCenterFrequency(), 915.25e6);
    EXPECT_EQ(r.GetSampleCount(), n);
    ASSERT_EQ(r.GetAnnotations().size(), 2u);
    EXPECT_EQ(r.GetAnnotations()[0].sampleStart, 5);
    EXPECT_EQ(r.GetAnnotations()[0].sampleCount, -1);
    EXPECT_FALSE(r.GetAnnotations()[0].hasFrequencyEdges);
    EXPECT_EQ(r.GetAnnotations()[0].label, "start \"quoted\" \xC3\xA9");
    EXPECT_EQ(r.GetAnnotations()[1].sampleCount, 100);
    EXPECT_TRUE(r.GetAnnotations()[1].hasFrequencyEdges);
    EXPECT_EQ(r.GetAnnotations()[1].freqLowerEdge, 915.0e6);
    EXPECT_EQ(r.GetAnnotations()[1].freqUpperEdge, 915.5e6);
    EXPECT_EQ(r.GetAnnotations()[1].comment, "second");
    VecCplx64 back64;
    r.Read(0, n, back64);
    EXPECT_TRUE(NearAbs(Flat(back64), file, 0.0));
    VecCplx32 back32;
    r.Read(0, n, back32);
    std::vector<double> file32(file.size());
    for (size_t i = 0; i < file.size(); ++i)
        file32[i] = static_cast<float>(file[i]);
    EXPECT_TRUE(NearAbs(Flat(back32), file32, 0.0));
    // A stretch from the middle is the same stretch of the whole.
    r.Read(123, 77, back64);
    EXPECT_TRUE(NearAbs(Flat(back64), std::vector<double>(file.begin() + 246, file.begin() + 400), 0.0));
}

INSTANTIATE_TEST_SUITE_P(EveryWritableDatatype, SigMFRoundTrip,
                         ::testing::Values("cf32_le", "cf64_le", "ci16_le", "ci8", "cu8"),
                         [](const ::testing::TestParamInfo<const char*>& i) { return std::string(i.param); });

// Recordings made by numpy and Python's json module (not by our writer), in every datatype the reader
// takes, big-endian ones included: the samples come back with the datatype's scaling.
TEST(SigMFReader, NumpyWrittenRecordingsReadWithTheirScaling) {
    ScopedWorkDir dir;
    for (const char* datatype :
         {"cf32_le", "cf32_be", "cf64_le", "cf64_be", "ci16_le", "ci16_be", "ci8", "cu8"}) {
        SCOPED_TRACE(datatype);
        const std::string dt = datatype;
        std::string dtype = dt == "cf32_le"   ? "'<f4'"
                            : dt == "cf32_be" ? "'>f4'"
                            : dt == "cf64_le" ? "'<f8'"
                            : dt == "cf64_be" ? "'>f8'"
                            : dt == "ci16_le" ? "'<i2'"
                            : dt == "ci16_be" ? "'>i2'"
                            : dt == "ci8"     ? "'i1'"
                                              : "'u1'";
        const std::string code =
            "import json\n"
            "rng = np.random.default_rng(7)\n"
            "dt = np.dtype(" +
            dtype +
            ")\n"
            "if dt.kind == 'f':\n"
            "    v = rng.standard_normal(2 * 1000).astype(dt)\n"
            "else:\n"
            "    info = np.iinfo(dt)\n"
            "    v = rng.integers(info.min, info.max + 1, 2 * 1000).astype(dt)\n"
            "    v[:4] = [info.min, info.max, 0, 1]\n"
            "v.tofile('np.sigmf-data')\n"
            "json.dump({'global': {'core:datatype': '" +
            dt +
            "', 'core:sample_rate': 48000,\n"
            "           'core:version': '1.0.0', 'core:author': 'numpy'},\n"
            "           'captures': [{'core:sample_start': 0, 'core:frequency': 1.5e8,\n"
            "                         'core:datetime': '2026-11-24T05:30:00Z'},\n"
            "                        {'core:sample_start': 600, 'core:frequency': 1.6e8}],\n"
            "           'annotations': [{'core:sample_start': 10, 'core:sample_count': 990}]},\n"
            "          open('np.sigmf-meta', 'w'))\n"
            "p = 'np.sigmf-data'\n" +
            NumpyDecode(dt) + "out = raw\n";
        const std::vector<double> want = PyEval(code, {});
        ASSERT_EQ(want.size(), 2000u);
        const SigMFReader r("np.sigmf-data");
        EXPECT_EQ(r.GetSampleCount(), 1000);
        EXPECT_EQ(r.GetSampleRate(), 48000.0);
        EXPECT_EQ(r.GetCenterFrequency(), 1.5e8);
        ASSERT_EQ(r.GetCaptures().size(), 2u);
        EXPECT_EQ(r.GetCaptures()[0].datetime, "2026-11-24T05:30:00Z");
        EXPECT_EQ(r.GetCaptures()[1].sampleStart, 600);
        EXPECT_EQ(r.GetCaptures()[1].frequency, 1.6e8);
        VecCplx64 v64;
        r.Read(0, 1000, v64);
        EXPECT_TRUE(NearAbs(Flat(v64), want, 0.0));
        VecCplx32 v32;
        r.Read(0, 1000, v32);
        std::vector<double> want32(want.size());
        for (size_t i = 0; i < want.size(); ++i)
            want32[i] = static_cast<float>(want[i]);
        EXPECT_TRUE(NearAbs(Flat(v32), want32, 0.0));
    }
}

namespace {

struct Broken {
    const char* what;
    std::string meta;
    int64_t dataBytes;
    VELAErrorCodeTag code;
    const char* reason;  // a part of the message
};

std::string Meta(const std::string& global, const std::string& rest = "") {
    return "{\"global\": {" + global + "}" + (rest.empty() ? "" : ", " + rest) + "}";
}
const std::string kCore =
    "\"core:datatype\": \"cf32_le\", \"core:sample_rate\": 1e6, \"core:version\": \"1.0.0\"";

}  // namespace

// Each broken recording is refused with its code and a message that names the file and what is wrong.
TEST(SigMFReader, BrokenRecordingsAreRefusedWithCodeAndReason) {
    ScopedWorkDir dir;
    const auto E = VELAErrorReadingFile;
    const auto T = VELAErrorFileType;
    const std::vector<Broken> cases = {
        {"invalid JSON", "{\"global\": {", 80, E, "invalid JSON"},
        {"NaN is no JSON",
         Meta("\"core:datatype\": \"cf32_le\", \"core:sample_rate\": NaN, \"core:version\": \"1\""), 80, E,
         "invalid JSON"},
        {"overflowing number",
         Meta("\"core:datatype\": \"cf32_le\", \"core:sample_rate\": 1e999, \"core:version\": \"1\""), 80, E,
         "invalid JSON"},
        {"empty metadata", "", 80, E, "invalid JSON"},
        {"invalid UTF-8",
         Meta(kCore, "\"annotations\": [{\"core:sample_start\": 0, \"core:label\": \"\xff\"}]"), 80, E,
         "invalid JSON"},
        {"array root", "[1, 2]", 80, E, "no JSON object"},
        {"number root", "42", 80, E, "no JSON object"},
        {"no global", "{\"captures\": []}", 80, E, "missing global"},
        {"global no object", "{\"global\": [1]}", 80, E, "global must be an object"},
        {"no datatype", Meta("\"core:sample_rate\": 1e6, \"core:version\": \"1.0.0\""), 80, E,
         "missing core:datatype"},
        {"no sample rate", Meta("\"core:datatype\": \"cf32_le\", \"core:version\": \"1.0.0\""), 80, E,
         "missing core:sample_rate"},
        {"no version", Meta("\"core:datatype\": \"cf32_le\", \"core:sample_rate\": 1e6"), 80, E,
         "missing core:version"},
        {"datatype no string",
         Meta("\"core:datatype\": 5, \"core:sample_rate\": 1e6, \"core:version\": \"1\""), 80, E,
         "core:datatype must be a string"},
        {"rate a string",
         Meta("\"core:datatype\": \"cf32_le\", \"core:sample_rate\": \"1e6\", \"core:version\": \"1\""), 80,
         E, "core:sample_rate must be a number"},
        {"rate null",
         Meta("\"core:datatype\": \"cf32_le\", \"core:sample_rate\": null, \"core:version\": \"1\""), 80, E,
         "core:sample_rate must be a number"},
        {"version no string",
         Meta("\"core:datatype\": \"cf32_le\", \"core:sample_rate\": 1e6, \"core:version\": 1"), 80, E,
         "core:version must be a string"},
        {"zero rate",
         Meta("\"core:datatype\": \"cf32_le\", \"core:sample_rate\": 0, \"core:version\": \"1\""), 80, E,
         "core:sample_rate must be a finite number > 0, not 0"},
        {"negative rate",
         Meta("\"core:datatype\": \"cf32_le\", \"core:sample_rate\": -48000, \"core:version\": \"1\""), 80, E,
         "not -48000"},
        {"unknown datatype",
         Meta("\"core:datatype\": \"complex64\", \"core:sample_rate\": 1, \"core:version\": \"1\""), 80, T,
         "unknown core:datatype \"complex64\""},
        {"real datatype",
         Meta("\"core:datatype\": \"rf32_le\", \"core:sample_rate\": 1, \"core:version\": \"1\""), 80, T,
         "is real; only complex datatypes are supported"},
        {"real 8-bit datatype",
         Meta("\"core:datatype\": \"ri8\", \"core:sample_rate\": 1, \"core:version\": \"1\""), 80, T,
         "is real; only complex"},
        {"unsupported complex datatype",
         Meta("\"core:datatype\": \"ci32_le\", \"core:sample_rate\": 1, \"core:version\": \"1\""), 80, T,
         "unsupported core:datatype \"ci32_le\""},
        {"16-bit type without byte order",
         Meta("\"core:datatype\": \"ci16\", \"core:sample_rate\": 1, \"core:version\": \"1\""), 80, T,
         "unknown core:datatype"},
        {"two channels", Meta(kCore + ", \"core:num_channels\": 2"), 80, T, "only single-channel"},
        {"channels a string", Meta(kCore + ", \"core:num_channels\": \"1\""), 80, E,
         "core:num_channels must be a non-negative integer"},
        {"dataset elsewhere", Meta(kCore + ", \"core:dataset\": \"x.bin\""), 80, E, "core:dataset"},
        {"captures no array", Meta(kCore, "\"captures\": {}"), 80, E, "captures must be an array"},
        {"capture no object", Meta(kCore, "\"captures\": [3]"), 80, E, "capture 0 must be an object"},
        {"capture without start", Meta(kCore, "\"captures\": [{\"core:frequency\": 1}]"), 80, E,
         "missing core:sample_start in capture 0"},
        {"negative start", Meta(kCore, "\"captures\": [{\"core:sample_start\": -1}]"), 80, E,
         "capture 0: core:sample_start must be a non-negative integer"},
        {"fractional start", Meta(kCore, "\"captures\": [{\"core:sample_start\": 1.5}]"), 80, E,
         "non-negative integer"},
        {"start a string", Meta(kCore, "\"captures\": [{\"core:sample_start\": \"0\"}]"), 80, E,
         "non-negative integer"},
        {"start beyond int64", Meta(kCore, "\"captures\": [{\"core:sample_start\": 18446744073709551615}]"),
         80, E, "too large"},
        {"frequency a string",
         Meta(kCore, "\"captures\": [{\"core:sample_start\": 0, \"core:frequency\": \"x\"}]"), 80, E,
         "core:frequency must be a number"},
        {"datetime a number", Meta(kCore, "\"captures\": [{\"core:sample_start\": 0, \"core:datetime\": 5}]"),
         80, E, "core:datetime must be a string"},
        {"header bytes", Meta(kCore, "\"captures\": [{\"core:sample_start\": 0, \"core:header_bytes\": 16}]"),
         80, E, "core:header_bytes"},
        {"captures out of order",
         Meta(kCore, "\"captures\": [{\"core:sample_start\": 5}, {\"core:sample_start\": 2}]"), 80, E,
         "captures out of order: capture 1 starts at sample 2, not after 5"},
        {"two captures at one sample",
         Meta(kCore, "\"captures\": [{\"core:sample_start\": 0}, {\"core:sample_start\": 0}]"), 80, E,
         "captures out of order"},
        {"annotations no array", Meta(kCore, "\"annotations\": \"x\""), 80, E,
         "annotations must be an array"},
        {"annotation no object", Meta(kCore, "\"annotations\": [null]"), 80, E,
         "annotation 0 must be an object"},
        {"annotation without start", Meta(kCore, "\"annotations\": [{\"core:sample_count\": 1}]"), 80, E,
         "missing core:sample_start in annotation 0"},
        {"negative count",
         Meta(kCore, "\"annotations\": [{\"core:sample_start\": 0, \"core:sample_count\": -2}]"), 80, E,
         "core:sample_count must be a non-negative integer"},
        {"label a number", Meta(kCore, "\"annotations\": [{\"core:sample_start\": 0, \"core:label\": 7}]"),
         80, E, "core:label must be a string"},
        {"comment an array",
         Meta(kCore, "\"annotations\": [{\"core:sample_start\": 0, \"core:comment\": []}]"), 80, E,
         "core:comment must be a string"},
        {"edge a string",
         Meta(kCore,
              "\"annotations\": [{\"core:sample_start\": 0, \"core:freq_lower_edge\": \"a\", "
              "\"core:freq_upper_edge\": 2}]"),
         80, E, "core:freq_lower_edge must be a number"},
        {"one edge only",
         Meta(kCore, "\"annotations\": [{\"core:sample_start\": 0, \"core:freq_upper_edge\": 2}]"), 80, E,
         "come together"},
        {"edges swapped",
         Meta(kCore,
              "\"annotations\": [{\"core:sample_start\": 0, \"core:freq_lower_edge\": 3, "
              "\"core:freq_upper_edge\": 2}]"),
         80, E, "above"},
        {"annotations out of order",
         Meta(kCore, "\"annotations\": [{\"core:sample_start\": 4}, {\"core:sample_start\": 3}]"), 80, E,
         "annotations out of order: annotation 1 starts at sample 3, before 4"},
        {"odd data length", Meta(kCore), 1001, E,
         "data file holds 1001 bytes, not a whole number of cf32_le samples (8 bytes each)"},
        {"odd ci16 length",
         Meta("\"core:datatype\": \"ci16_le\", \"core:sample_rate\": 1, \"core:version\": \"1\""), 6, E,
         "holds 6 bytes, not a whole number of ci16_le samples"},
        {"capture beyond the data", Meta(kCore, "\"captures\": [{\"core:sample_start\": 10}]"), 80, E,
         "the data file holds 10 samples, but capture 0 starts at sample 10"},
        {"annotation beyond the data",
         Meta(kCore, "\"annotations\": [{\"core:sample_start\": 5, \"core:sample_count\": 6}]"), 80, E,
         "the data file holds 10 samples, but annotation 0 covers samples from 5 to 11"},
        {"annotation start beyond the data", Meta(kCore, "\"annotations\": [{\"core:sample_start\": 10}]"),
         80, E, "annotation 0 covers samples from 10"},
        {"annotation end overflowing",
         Meta(kCore,
              "\"annotations\": [{\"core:sample_start\": 9223372036854775807, "
              "\"core:sample_count\": 9223372036854775807}]"),
         80, E, "annotation 0"},
        {"empty data with an annotation", Meta(kCore, "\"annotations\": [{\"core:sample_start\": 0}]"), 0, E,
         "holds 0 samples"},
    };
    for (const Broken& c : cases) {
        SCOPED_TRACE(c.what);
        WriteBytes("bad.sigmf-meta", c.meta);
        WriteBytes("bad.sigmf-data", std::string(static_cast<size_t>(c.dataBytes), '\0'));
        EXPECT_EQ(ThrownCode([] { SigMFReader r("bad"); }), c.code);
        const std::string message = ThrownMessage([] { SigMFReader r("bad"); });
        EXPECT_NE(message.find(c.reason), std::string::npos) << message;
        EXPECT_NE(message.find("bad.sigmf-"), std::string::npos) << message;
        EXPECT_EQ(message.find(VELAErrorMessage(c.code)), 0u) << message;
    }
}

TEST(SigMFReader, DeepNestingAndHugeMetadataAreRefusedBeforeParsing) {
    ScopedWorkDir dir;
    WriteBytes("deep.sigmf-data", "");
    WriteBytes("deep.sigmf-meta",
               Meta(kCore, "\"x\": " + std::string(100000, '[') + std::string(100000, ']')));
    EXPECT_EQ(ThrownCode([] { SigMFReader r("deep"); }), VELAErrorReadingFile);
    EXPECT_NE(ThrownMessage([] { SigMFReader r("deep"); }).find("nested deeper than 64"), std::string::npos);
    // Nesting inside a string is text, not structure.
    WriteBytes("deep.sigmf-meta", Meta(kCore + ", \"core:description\": \"" + std::string(1000, '[') + "\""));
    EXPECT_EQ(SigMFReader("deep").GetSampleCount(), 0);
    // A sparse metadata file one byte over 64 MiB.
    {
        WriteBytes("huge.sigmf-data", "");
        WriteBytes("huge.sigmf-meta", "");
        ASSERT_EQ(truncate("huge.sigmf-meta", (int64_t{64} << 20) + 1), 0);
    }
    EXPECT_EQ(ThrownCode([] { SigMFReader r("huge"); }), VELAErrorReadingFile);
    EXPECT_NE(ThrownMessage([] { SigMFReader r("huge"); }).find("larger than 64 MiB"), std::string::npos);
}

TEST(SigMFReader, MissingFilesDirectoriesAndArchivesAreRefused) {
    ScopedWorkDir dir;
    EXPECT_EQ(ThrownCode([] { SigMFReader r("none"); }), VELAErrorOpeningFile);
    EXPECT_NE(ThrownMessage([] { SigMFReader r("none"); }).find("none.sigmf-meta\": cannot be opened"),
              std::string::npos);
    WriteBytes("m.sigmf-meta", Meta(kCore));
    EXPECT_EQ(ThrownCode([] { SigMFReader r("m"); }), VELAErrorOpeningFile);  // no data file
    EXPECT_NE(ThrownMessage([] { SigMFReader r("m"); }).find("m.sigmf-data"), std::string::npos);
    fs::create_directory("m.sigmf-data");
    EXPECT_EQ(ThrownCode([] { SigMFReader r("m"); }), VELAErrorOpeningFile);
    fs::create_directory("d.sigmf-meta");
    EXPECT_EQ(ThrownCode([] { SigMFReader r("d"); }), VELAErrorOpeningFile);
    WriteBytes("a.sigmf", "tar");
    EXPECT_EQ(ThrownCode([] { SigMFReader r("a.sigmf"); }), VELAErrorFileType);
    EXPECT_NE(ThrownMessage([] { SigMFReader r("a.sigmf"); }).find("archives"), std::string::npos);
}

TEST(SigMFReader, OpensByMetaNameDataNameOrBase) {
    ScopedWorkDir dir;
    WriteBytes("x.y.sigmf-meta", Meta(kCore));
    WriteBytes("x.y.sigmf-data", std::string(24, '\0'));
    for (const char* name : {"x.y", "x.y.sigmf-meta", "x.y.sigmf-data"}) {
        const SigMFReader r(name);
        EXPECT_EQ(r.GetSampleCount(), 3);
        EXPECT_EQ(r.GetMetaPath(), "x.y.sigmf-meta");
        EXPECT_EQ(r.GetDataPath(), "x.y.sigmf-data");
        EXPECT_FALSE(r.HasCenterFrequency());
        EXPECT_EQ(r.GetCenterFrequency(), 0.0);
        EXPECT_TRUE(r.GetCaptures().empty());
        EXPECT_TRUE(r.GetAnnotations().empty());
    }
}

TEST(SigMFReader, UnknownFieldsAreIgnoredAndAnEmptyRecordingIsValid) {
    ScopedWorkDir dir;
    WriteBytes(
        "e.sigmf-meta",
        Meta(kCore + ", \"core:author\": 3, \"ext:thing\": {\"a\": [1]}",
             "\"captures\": [{\"core:sample_start\": 0, \"core:global_index\": 9}], \"annotations\": [], "
             "\"extra\": null"));
    WriteBytes("e.sigmf-data", "");
    const SigMFReader r("e");
    EXPECT_EQ(r.GetSampleCount(), 0);
    ASSERT_EQ(r.GetCaptures().size(), 1u);
    EXPECT_FALSE(r.GetCaptures()[0].hasFrequency);
    VecCplx32 v(5);
    r.Read(0, 0, v);
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(ThrownCode([&] { r.Read(0, 1, v); }), VELAErrorInvalidInputParameter);
}

// Reads that end at the last sample work; any that start or end outside, or overflow, are refused.
TEST(SigMFReader, ReadsAtTheEndWorkAndReadsBeyondAreRefused) {
    ScopedWorkDir dir;
    std::string bytes;
    for (int i = 0; i < 20; ++i)
        bytes.push_back(static_cast<char>(i - 10));  // ci8: 10 samples
    WriteBytes("r.sigmf-meta",
               Meta("\"core:datatype\": \"ci8\", \"core:sample_rate\": 8, \"core:version\": \"1\""));
    WriteBytes("r.sigmf-data", bytes);
    const SigMFReader r("r");
    ASSERT_EQ(r.GetSampleCount(), 10);
    VecCplx32 v;
    r.Read(9, 1, v);
    ASSERT_EQ(v.GetSize(), 1);
    EXPECT_EQ(v[0].re, 8.0f / 128);
    EXPECT_EQ(v[0].im, 9.0f / 128);
    r.Read(10, 0, v);
    EXPECT_EQ(v.GetSize(), 0);
    const int64_t big = std::numeric_limits<int64_t>::max();
    for (auto range : std::vector<std::pair<int64_t, int>>{
             {10, 1}, {9, 2}, {11, 0}, {-1, 1}, {0, -1}, {0, 11}, {big, 1}, {big, 0}, {-big, 5}}) {
        SCOPED_TRACE(std::to_string(range.first) + " " + std::to_string(range.second));
        VecCplx32 out(3);
        VecCplx64 out64(3);
        EXPECT_EQ(ThrownCode([&] { r.Read(range.first, range.second, out); }),
                  VELAErrorInvalidInputParameter);
        EXPECT_EQ(ThrownCode([&] { r.Read(range.first, range.second, out64); }),
                  VELAErrorInvalidInputParameter);
        EXPECT_EQ(out.GetSize(), 3);  // untouched
    }
    EXPECT_NE(ThrownMessage([&] { r.Read(9, 2, v); }).find("do not lie within the 10 samples"),
              std::string::npos);
}

TEST(SigMFReader, DataFileThatShrinksOrGoesAfterOpeningIsReported) {
    ScopedWorkDir dir;
    WriteBytes("s.sigmf-meta", Meta(kCore));
    WriteBytes("s.sigmf-data", std::string(8 * 5000, '\0'));
    const SigMFReader r("s");
    ASSERT_EQ(truncate("s.sigmf-data", 8 * 100), 0);
    VecCplx32 v;
    r.Read(0, 100, v);  // still there
    EXPECT_EQ(ThrownCode([&] { r.Read(50, 100, v); }), VELAErrorReadingFile);
    VecCplx64 w;
    EXPECT_EQ(ThrownCode([&] { r.Read(50, 4000, w); }), VELAErrorReadingFile);  // through the decoder
    fs::remove("s.sigmf-data");
    EXPECT_EQ(ThrownCode([&] { r.Read(0, 1, v); }), VELAErrorOpeningFile);
}

// Sample numbers and byte offsets beyond 32 bits: a sparse ci8 recording of 2.5e9 samples (5 GB) read
// near its end.
TEST(SigMFReader, ReadsBeyondFourGigabytes) {
    ScopedWorkDir dir;
    const int64_t samples = 2500000000LL;
    WriteBytes("big.sigmf-meta",
               Meta("\"core:datatype\": \"ci8\", \"core:sample_rate\": 1e9, \"core:version\": \"1.0.0\"",
                    "\"annotations\": [{\"core:sample_start\": 2499999999, \"core:sample_count\": 1}]"));
    WriteBytes("big.sigmf-data", "");
    ASSERT_EQ(truncate("big.sigmf-data", 2 * samples), 0);
    const int fd = open("big.sigmf-data", O_WRONLY);
    ASSERT_GE(fd, 0);
    const signed char mark[4] = {5, -6, 7, -8};
    ASSERT_EQ(pwrite(fd, mark, 4, static_cast<off_t>(2 * (samples - 2))), 4);
    close(fd);
    const SigMFReader r("big");
    EXPECT_EQ(r.GetSampleCount(), samples);
    VecCplx32 v;
    r.Read(samples - 3, 3, v);
    ASSERT_EQ(v.GetSize(), 3);
    EXPECT_EQ(v[0].re, 0.0f);
    EXPECT_EQ(v[1].re, 5.0f / 128);
    EXPECT_EQ(v[1].im, -6.0f / 128);
    EXPECT_EQ(v[2].re, 7.0f / 128);
    EXPECT_EQ(v[2].im, -8.0f / 128);
    EXPECT_EQ(ThrownCode([&] { r.Read(samples - 1, 2, v); }), VELAErrorInvalidInputParameter);
}

// ---------------------------------------------------------------- writer

TEST(SigMFWriter, InvalidArgumentsAreRefusedAndCreateNothing) {
    ScopedWorkDir dir;
    for (const char* dt : {"rf32_le", "cf32_be", "ci16", "", "cf32"})
        EXPECT_EQ(ThrownCode([&] { SigMFWriter w("w", dt, 1e6, 0); }), VELAErrorFileType) << dt;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (double rate : {0.0, -1.0, nan, inf})
        EXPECT_EQ(ThrownCode([&] { SigMFWriter w("w", "cf32_le", rate, 0); }),
                  VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { SigMFWriter w("w", "cf32_le", 1e6, nan); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { SigMFWriter w("w", "cf32_le", 1e6, -inf); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { SigMFWriter w("", "cf32_le", 1e6, 0); }), VELAErrorInvalidInputParameter);
    SigMFWriter w("w", "ci8", 1e6, 0);
    SigMFAnnotation a;
    a.sampleStart = -1;
    EXPECT_EQ(ThrownCode([&] { w.AddAnnotation(a); }), VELAErrorInvalidInputParameter);
    a.sampleStart = 0;
    a.sampleCount = -2;
    EXPECT_EQ(ThrownCode([&] { w.AddAnnotation(a); }), VELAErrorInvalidInputParameter);
    a.sampleCount = 1;
    a.hasFrequencyEdges = true;
    a.freqLowerEdge = 2;
    a.freqUpperEdge = 1;
    EXPECT_EQ(ThrownCode([&] { w.AddAnnotation(a); }), VELAErrorInvalidInputParameter);
    a.freqUpperEdge = inf;
    EXPECT_EQ(ThrownCode([&] { w.AddAnnotation(a); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(Listing().size(), 1u);  // the one temporary data file of `w`
}

TEST(SigMFWriter, WriterDestroyedWithoutCloseLeavesNothing) {
    ScopedWorkDir dir;
    {
        SigMFWriter w("gone", "cf32_le", 1e6, 1e9);
        VecCplx32 v(1000);
        w.Write(v);
        EXPECT_EQ(Listing().size(), 1u);
    }
    EXPECT_TRUE(Listing().empty());
}

TEST(SigMFWriter, ClosingReplacesAnEarlierRecordingAndASecondCloseDoesNothing) {
    ScopedWorkDir dir;
    WriteBytes("old.sigmf-meta", "not json");
    WriteBytes("old.sigmf-data", "xyz");
    VecCplx32 v(7);
    for (int i = 0; i < 7; ++i)
        v[i] = Cplx32{0.5f, -0.25f};
    SigMFWriter w("old.sigmf-meta", "ci16_le", 1e6, 0);  // a file name of the recording names it too
    w.Write(v);
    w.Close();
    w.Close();
    EXPECT_EQ(Listing(), (std::vector<std::string>{"old.sigmf-data", "old.sigmf-meta"}));
    EXPECT_EQ(ThrownCode([&] { w.Write(v); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { w.SetDescription("x"); }), VELAErrorInvalidInputParameter);
    const SigMFReader r("old");
    EXPECT_EQ(r.GetSampleCount(), 7);
    VecCplx32 back;
    r.Read(0, 7, back);
    EXPECT_EQ(back[6].re, 0.5f);
    EXPECT_EQ(back[6].im, -0.25f);
}

TEST(SigMFWriter, AnnotationBeyondTheSamplesKeepsTheWriterOpen) {
    ScopedWorkDir dir;
    SigMFWriter w("a", "cu8", 1e3, 0);
    VecCplx32 v(10);
    w.Write(v);
    SigMFAnnotation a;
    a.sampleStart = 8;
    a.sampleCount = 5;
    w.AddAnnotation(a);
    EXPECT_EQ(ThrownCode([&] { w.Close(); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(Listing().size(), 1u);
    w.Write(v);
    w.Close();
    EXPECT_EQ(SigMFReader("a").GetAnnotations().at(0).sampleCount, 5);
}

// NaN becomes 0 in the integer types (cu8's 0 is the code 128: 127.5 rounds half to even).
TEST(SigMFWriter, NaNIsWrittenAsZeroInIntegerTypes) {
    ScopedWorkDir dir;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    VecCplx32 v(1);
    v[0] = Cplx32{nan, -nan};
    for (const char* dt : {"ci16_le", "ci8", "cu8"}) {
        SigMFWriter w("n", dt, 1, 0);
        w.Write(v);
        w.Close();
        const std::string raw = corvane_test::ReadFile("n.sigmf-data");
        const std::string zero = std::string(dt) == "ci16_le" ? std::string(4, '\0')
                                 : std::string(dt) == "ci8"   ? std::string(2, '\0')
                                                              : std::string(2, '\x80');
        EXPECT_EQ(raw, zero) << dt;
    }
}

TEST(SigMFWriter, MissingOrReadOnlyDirectoryGivesWritingErrorAndLeavesNothing) {
    ScopedWorkDir dir;
    EXPECT_EQ(ThrownCode([] { SigMFWriter w("no/such/dir/r", "cf32_le", 1e6, 0); }), VELAErrorWritingFile);
    EXPECT_NE(ThrownMessage([] { SigMFWriter w("no/such/dir/r", "cf32_le", 1e6, 0); }).find("r.sigmf-data"),
              std::string::npos);
    const std::string ro = corvane_test::ReadOnlyDir();
    const std::vector<std::string> before = Listing(ro);
    EXPECT_EQ(ThrownCode([&] { SigMFWriter w(ro + "/r", "cf32_le", 1e6, 0); }), VELAErrorWritingFile);
    EXPECT_EQ(Listing(ro), before);
    EXPECT_FALSE(Exists(ro + "/r.sigmf-data"));
    EXPECT_FALSE(Exists(ro + "/r.sigmf-meta"));
}

namespace {

// Runs `f` with the file size limited to `bytes` (writes past it fail with EFBIG, as on a full device).
template <class F>
VELAErrorCodeTag CodeWithFileLimit(rlim_t bytes, F&& f) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit small = old;
    small.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &small);
    const VELAErrorCodeTag code = ThrownCode(f);
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_DFL);
    return code;
}

}  // namespace

// A full device: the samples' write fails, the temporary goes at once, and the writer stays failed.
TEST(SigMFWriter, FullDeviceWhileWritingSamplesLeavesNothing) {
    ScopedWorkDir dir;
    VecCplx32 v(100000);
    SigMFWriter w("full", "cf32_le", 1e6, 0);
    EXPECT_EQ(CodeWithFileLimit(64 * 1024, [&] { w.Write(v); }), VELAErrorWritingFile);
    EXPECT_TRUE(Listing().empty());
    EXPECT_NE(ThrownMessage([&] { w.Write(v); }).find("an earlier write"), std::string::npos);
    EXPECT_EQ(ThrownCode([&] { w.Write(v); }), VELAErrorWritingFile);
    EXPECT_EQ(ThrownCode([&] { w.Close(); }), VELAErrorWritingFile);
    EXPECT_TRUE(Listing().empty());
}

// A full device when the metadata is written: nothing is left, an earlier recording of the name neither.
TEST(SigMFWriter, FullDeviceWhileClosingLeavesNothing) {
    ScopedWorkDir dir;
    VecCplx32 v(100);  // 800 bytes of samples fit under the limit; the metadata of 2 kB does not
    SigMFWriter w("full", "cf32_le", 1e6, 0);
    w.SetDescription(std::string(2000, 'd'));
    EXPECT_EQ(CodeWithFileLimit(900,
                                [&] {
                                    w.Write(v);
                                    w.Close();
                                }),
              VELAErrorWritingFile);
    EXPECT_TRUE(Listing().empty());
}

TEST(SigMFWriter, RecordingWithoutSamplesIsValid) {
    ScopedWorkDir dir;
    {
        SigMFWriter w("empty", "cf64_le", 3e3, -5e3);
        w.Close();
    }
    const SigMFReader r("empty");
    EXPECT_EQ(r.GetSampleCount(), 0);
    EXPECT_EQ(r.GetCenterFrequency(), -5e3);
    EXPECT_EQ(r.GetCaptures().size(), 1u);
}
