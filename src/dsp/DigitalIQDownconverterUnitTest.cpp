// Self-test of DigitalIQDownconverter: the span bound, the parameters of a 6.25 GS/s setting, and a
// test record through the stream in one piece and in two segments, against a reference output
// computed independently in double precision (src/dsp/testdata/make_iqcvt_testdata.py).
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "../infra/UnitTestRecorder.h"
#include "DigitalIQDownconverter.h"
#include "internal/TestData.h"

namespace VELA {

namespace {

constexpr float kTolerance = 9e-6f;

// Reads a text vector dump: one element per line, an index first, then `values` numbers. False when
// the file is missing or a line does not parse.
bool ReadColumns(const char* name, int values, std::vector<double>& data) {
    data.clear();
    const std::string path = testdata::Find(name);
    FILE* f = path.empty() ? nullptr : std::fopen(path.c_str(), "r");
    if (!f) {
        std::fprintf(stderr, "\nDigitalIQDownconverter self-test: %s not found (looked in %s)\n", name,
                     testdata::SearchPath().c_str());
        return false;
    }
    bool ok = true;
    char line[256];
    while (ok && std::fgets(line, sizeof line, f)) {
        int index = 0;
        double a = 0.0, b = 0.0;
        const int got = std::sscanf(line, "%d %lf %lf", &index, &a, &b);
        if (got <= 0) continue;  // blank line
        ok = got == 1 + values && index == static_cast<int>(data.size()) / values;
        data.push_back(a);
        if (values == 2) data.push_back(b);
    }
    std::fclose(f);
    return ok && !data.empty();
}

bool NearOutputs(const VecCplx32& a, const VecCplx32& b) {
    if (a.GetSize() != b.GetSize()) return false;
    for (int i = 0; i < a.GetSize(); ++i)
        if (!(std::fabs(a[i].re - b[i].re) <= kTolerance && std::fabs(a[i].im - b[i].im) <= kTolerance))
            return false;
    return true;
}

// The record in two Apply calls, cut after `cut` samples, with Flush before the pair.
bool SegmentsMatch(DigitalIQDownconverter& dc, const VecReal32& record, const VecCplx32& whole, int cut) {
    if (record.GetSize() <= cut) return false;
    VecReal32 first(cut), second(record.GetSize() - cut);
    for (int i = 0; i < cut; ++i)
        first[i] = record[i];
    for (int i = cut; i < record.GetSize(); ++i)
        second[i - cut] = record[i];
    VecCplx32 a, b;
    dc.Flush();
    if (dc.Apply(a, first) != VELAErrorNone || dc.Apply(b, second) != VELAErrorNone) return false;
    VecCplx32 joined(a.GetSize() + b.GetSize());
    for (int i = 0; i < a.GetSize(); ++i)
        joined[i] = a[i];
    for (int i = 0; i < b.GetSize(); ++i)
        joined[a.GetSize() + i] = b[i];
    return NearOutputs(joined, whole);
}

}  // namespace

bool DigitalIQDownconverter::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "DigitalIQDownconverter";
    const double center = 2e9, rate = 6.25e9, span = 1e9;
    const int numOutput = 49980;
    {
        // The minimum span keeps the filter within its bound (decimation 2^22, 83886081 taps): an
        // estimate for as many outputs as an int length allows goes through, and one for 49980 outputs,
        // whose length would exceed an int, is refused with the parameter code rather than wrapped.
        DigitalIQDownconverter dc;
        const double minSpan = dc.GetMinRequiredSpan(rate);
        double outRate = 0.0, delay = 0.0;
        int required = 0;
        bool ok = std::fabs(minSpan - rate / 6710886.0 * 0.8) <= 1e-9 * minSpan;
        try {
            // 491 * 4194304 + 83886080 = 2143289344; one output more would pass 2^31 - 1.
            dc.SetParameters(outRate, required, delay, center, rate, minSpan, 491, true);
            ok = ok && outRate == rate / 4194304.0 && delay == 41943040.0 && required == 2143289344;
        } catch (const VELAException&) {
            ok = false;
        }
        bool refused = false;
        try {
            dc.SetParameters(outRate, required, delay, center, rate, minSpan, numOutput, true);
        } catch (const VELAException& e) {
            refused = e.code == VELAErrorInvalidInputParameter;
        }
        recorder.AddTestRecord(cls, "GetMinRequiredSpan", ok && refused);
    }

    DigitalIQDownconverter dc;
    {
        // Rate over the span's 80% share is 5, so M = 4 and L = 81.
        double outRate = 0.0, delay = 0.0;
        int required = 0;
        dc.SetParameters(outRate, required, delay, center, rate, span, numOutput, false);
        recorder.AddTestRecord(cls, "Parameters", outRate == 1.5625e9 && delay == 40.0 && required == 200000);
    }

    std::vector<double> recordData, goldData;
    const bool haveRecord = ReadColumns("VData.txt", 1, recordData);
    const bool haveGold = ReadColumns("VDataIQCvtGold.txt", 2, goldData);
    VecReal32 record(static_cast<int>(recordData.size()));
    for (int i = 0; i < record.GetSize(); ++i)
        record[i] = static_cast<float>(recordData[i]);
    VecCplx32 gold(static_cast<int>(goldData.size() / 2));
    for (int i = 0; i < gold.GetSize(); ++i)
        gold[i] = {static_cast<float>(goldData[2 * i]), static_cast<float>(goldData[2 * i + 1])};

    VecCplx32 whole;
    const bool ran = haveRecord && dc.Apply(whole, record) == VELAErrorNone;
    recorder.AddTestRecord(cls, "Apply()-length", ran && whole.GetSize() == 230);
    recorder.AddTestRecord(cls, "Apply()-Data", ran && haveGold && NearOutputs(whole, gold));

    // Cuts at different phases of the count towards the next output (M = 4).
    recorder.AddTestRecord(cls, "Segment data-I", ran && SegmentsMatch(dc, record, whole, 400));
    recorder.AddTestRecord(cls, "Segment data-II", ran && SegmentsMatch(dc, record, whole, 399));
    recorder.AddTestRecord(cls, "Segment data-III", ran && SegmentsMatch(dc, record, whole, 394));
    return true;
}

}  // namespace VELA
