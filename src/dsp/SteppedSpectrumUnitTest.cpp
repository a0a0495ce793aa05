// Self-test of SteppedSpectrum: the named plans, both ways of processing, the CISPR sequence, the video
// bandwidth plans, and a long stitched sweep. The multi-tuning cases take their blocks from a
// DigitalSource stepped through a wide test record, as a tuner would deliver them.
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "../math/MathUtils.h"
#include "DigitalSource.h"
#include "SteppedSpectrum.h"
#include "VideoBandwidth.h"

namespace VELA {

namespace {

const char* const kClass = "SteppedSpectrum";

struct Req {
    double span = 10e6;
    double center = 5e9;
    double rbw = 100e3;
    WindowType window = WindowTypeFlatTop;
    int points = 1001;
    double acqSpan = 36e6;
    double sampFreq = 50e6;
    int acqSamples = 0;
    DetectorType detector = DetectorMax;
    bool estimateOnly = false;
    double vbw = 0.0;
    int cisprAcqBlocks = 0;
};

struct Out {
    VecReal64 freqSteps, acqSpans;
    VecInt32 numSamples, numPoints;
    double actualRBW = 0.0;
    double actualVBW = 0.0;
    int Sum() const {
        int s = 0;
        for (int i = 0; i < numPoints.GetSize(); ++i)
            s += numPoints[i];
        return s;
    }
};

void Plan(SteppedSpectrum& ss, Out& o, const Req& r) {
    ss.Init(o.freqSteps, o.acqSpans, o.numSamples, o.numPoints, o.actualRBW, o.actualVBW, r.span, r.center,
            r.rbw, r.window, r.points, r.acqSpan, r.sampFreq, r.acqSamples, r.detector, r.estimateOnly, r.vbw,
            r.cisprAcqBlocks);
}

// A simulated tuner: a wide record holding one unit tone at toneFreq, stepped to each tuning of the plan
// and decimated to the plan's sample rate. Returns the trace of one-call Apply (empty on a failure of
// the tuner to reach the plan's rate).
void SweepThroughTuner(VecReal32& trace, SteppedSpectrum& ss, const Out& o, double toneFreq, double center,
                       double sampFreq) {
    const double srcRate = sampFreq * 4.0;
    DigitalSource tuner;
    tuner.SetSource(center, srcRate * 0.8, srcRate);
    VecCplx32 wide, block;
    VecReal32 out, acc;
    trace.Resize(0);
    for (int i = 0; i < o.freqSteps.GetSize(); ++i) {
        tuner.SetParameters(o.freqSteps[i], o.acqSpans[i]);
        if (tuner.GetSampFreq() != sampFreq) {
            trace.Resize(0);
            return;
        }
        const int need = tuner.GetRequiredOrigDataLen(o.numSamples[i]);
        SteppedSpectrum::GenCW(wide, (toneFreq - center) / srcRate, need);
        tuner.Apply(block, wide);
        if (block.GetSize() < o.numSamples[i]) {
            trace.Resize(0);
            return;
        }
        block.Resize(o.numSamples[i]);
        ss.Apply(out, block, i);
        MathUtils::Append(acc, trace, out);
        MathUtils::Copy(trace, acc.GetSize(), acc, 0);
    }
}

// Peak of a trace and its index.
void Peak(const VecReal32& t, float& value, int& index) {
    value = -1e30f;
    index = -1;
    if (t.GetSize() > 0) t.Max(value, index);
}

// A multi-tuning plan driven through the tuner: the trace has the requested points and the tone reads
// 0 dB (within the flat top's and the tuner's ripple) at its grid point.
bool MultiToneCase(const Req& r, double toneFreq) {
    SteppedSpectrum ss;
    Out o;
    Plan(ss, o, r);
    VecReal32 trace;
    SweepThroughTuner(trace, ss, o, toneFreq, r.center, r.sampFreq);
    if (trace.GetSize() != r.points || o.Sum() != r.points) return false;
    float value = 0;
    int index = 0;
    Peak(trace, value, index);
    const double expected = (toneFreq - (r.center - r.span / 2)) / (r.span / (r.points - 1));
    return std::fabs(value) < 0.2f && std::fabs(index - expected) <= 1.0;
}

// The plan of "VBW Noise", or one of its variants with the hardware's block length: every trace has
// 8001 points in both ways.
bool VBWCase(bool vbw, int acqFactor, int fixed, int* wantedOut = nullptr) {
    Req r;
    r.span = 4e6;
    r.center = 5e8;
    r.rbw = 1e4;
    r.window = WindowTypeKaiser;
    r.points = 8001;
    r.acqSpan = 5e6;
    r.sampFreq = 6.25e6;
    r.vbw = vbw ? 1000.0 : 0.0;
    r.detector = DetectorAve;
    SteppedSpectrum ss;
    Out o;
    Plan(ss, o, r);
    const int wanted = o.numSamples[0];
    if (wantedOut) *wantedOut = wanted;
    if (acqFactor > 0 || fixed > 0) {
        r.acqSamples = fixed > 0 ? fixed : wanted * acqFactor;
        Plan(ss, o, r);
        if (o.numSamples[0] != r.acqSamples) return false;
    }
    VecCplx32 in;
    SteppedSpectrum::GenNoise(in, o.numSamples[0]);
    VecReal32 out, mag, out2;
    ss.Apply(out, in, 0);
    ss.Apply1(mag, in, 0);
    ss.Apply2(out2, mag, 0, DetectorAve);
    return out.GetSize() == 8001 && out2.GetSize() == 8001 && o.numPoints[0] == 8001;
}

bool CISPRCase(int less) {
    Req r;
    r.window = WindowTypeCISPR6dB;
    r.span = 4e6;
    r.center = 5e8;
    r.rbw = 120e3;
    r.points = 801;
    r.acqSpan = 5e6;
    r.sampFreq = 6.25e6;
    r.detector = DetectorCISPRPeak;
    SteppedSpectrum ss;
    Out o;
    Plan(ss, o, r);
    if (less > 0) {
        r.cisprAcqBlocks = ss.GetCISPRAcqNum() - less;
        Plan(ss, o, r);
    }
    VecCplx32 in;
    SteppedSpectrum::GenCW(in, 0.1, o.numSamples[0]);
    VecReal32 mag, peakRes, aveRes, plain, peak, ave;
    const int n = ss.GetCISPRAcqNum();
    for (int a = 0; a < n; ++a) {
        ss.Apply1(mag, in, 0);
        ss.Apply3(peakRes, mag, 0, a, DetectorCISPRPeak);
        ss.Apply3(aveRes, mag, 0, a, DetectorCISPRAverage);
    }
    ss.Apply2(plain, mag, 0, DetectorMax);
    ss.Apply2(peak, peakRes, 0, DetectorCISPRPeak);
    ss.Apply2(ave, aveRes, 0, DetectorCISPRAverage);
    return n > 0 && plain.GetSize() == 801 && peak.IsEqual(plain, 9e-6f) && ave.IsEqual(plain, 9e-6f);
}

// "1MHz Span": 3339 tunings, each given the same tone of amplitude 2; every point reads the same value.
bool OneMHzSpan() {
    Req r;
    r.span = 1e9;
    r.center = 1e9;
    r.rbw = 30e3;
    r.window = WindowTypeFlatTop;
    r.points = 801;
    r.acqSpan = 300e3;
    r.sampFreq = 781250;
    r.detector = DetectorMax;
    SteppedSpectrum ss;
    Out o;
    Plan(ss, o, r);
    int upsample = 0, stitch = 0;
    ss.GetUpsampleRate(upsample, stitch);
    if (stitch != 25 || o.freqSteps.GetSize() != 3339) return false;
    VecCplx32 in(o.numSamples[0]);
    for (int k = 0; k < in.GetSize(); ++k) {
        const double ph = 0.08042477416992187 * k;
        in[k].re = static_cast<float>(2.0 * std::cos(ph));
        in[k].im = static_cast<float>(2.0 * std::sin(ph));
    }
    VecReal32 out;
    int total = 0;
    bool ok = true;
    for (int i = 0; i < o.freqSteps.GetSize(); ++i) {
        ss.Apply(out, in, i);
        total += out.GetSize();
        for (int k = 0; k < out.GetSize(); ++k)
            ok = ok && std::fabs(out[k] - 6.0261125564575195) < 9e-6;
    }
    return ok && total == 801;
}

}  // namespace

bool SteppedSpectrum::UnitTest(UnitTestRecorder& recorder) {
    {
        SteppedSpectrum ss;
        Out o;
        Req r;
        Plan(ss, o, r);
        bool ok = o.freqSteps.GetSize() == 1 && o.freqSteps[0] == 5e9 && o.acqSpans[0] == 36e6 &&
                  o.numPoints[0] == 1001;
        VecCplx32 in;
        GenCW(in, 0.002, o.numSamples[0]);
        VecReal32 out;
        ss.Apply(out, in, 0);
        ok = ok && out.GetSize() == 1001 && std::fabs(out[510]) < 0.01f;
        recorder.AddTestRecord(kClass, "Single Tuning", ok);

        Out o2;
        o2.actualRBW = -1.0;
        r.center = 6e9;
        Plan(ss, o2, r);
        recorder.AddTestRecord(kClass, "Frequency stepping only",
                               o2.freqSteps.GetSize() == 1 && o2.freqSteps[0] == 6e9 &&
                                   o2.actualRBW == -1.0 && o2.numSamples[0] == o.numSamples[0] &&
                                   o2.numPoints[0] == 1001 && o2.acqSpans[0] == 36e6);
    }

    {
        // Hardware with a fixed block: 1000 samples is less than the window wants, 10000 more.
        const char* labels[] = {"Single -Not Alder I", "Single -Not Alder II"};
        const int acq[] = {1000, 10000};
        for (int c = 0; c < 2; ++c) {
            SteppedSpectrum ss;
            Out o;
            Req r;
            r.acqSamples = acq[c];
            Plan(ss, o, r);
            const double f = 3.77;  // flat top
            const double rbwWanted = c == 0 ? 50e6 / 1000 * f : 50e6 / 1885 * f;
            VecCplx32 in;
            GenCW(in, 0.002, o.numSamples[0]);
            VecReal32 out;
            ss.Apply(out, in, 0);
            recorder.AddTestRecord(kClass, labels[c],
                                   o.numSamples[0] == acq[c] && std::fabs(o.actualRBW - rbwWanted) < 1.0 &&
                                       out.GetSize() == 1001 && std::fabs(out[510]) < 0.05f);
        }
        const char* multi[] = {"Multi -Not Alder I", "Multi -Not Alder II"};
        for (int c = 0; c < 2; ++c) {
            Req r;
            r.span = 100e6;
            r.points = 101;
            r.acqSamples = acq[c];
            SteppedSpectrum ss;
            Out o;
            Plan(ss, o, r);
            recorder.AddTestRecord(
                kClass, multi[c],
                o.freqSteps.GetSize() == 3 && o.Sum() == 101 && MultiToneCase(r, 5e9 + 21e6));
        }
    }

    {
        Req r;
        r.span = 100e6;
        r.center = 1e9;
        r.rbw = 1e6;
        r.points = 501;
        r.acqSamples = 10000;
        SteppedSpectrum ss;
        Out o;
        Plan(ss, o, r);
        recorder.AddTestRecord(
            kClass, "Multi-Tuning-1",
            o.freqSteps.GetSize() == 3 && o.Sum() == 501 && MultiToneCase(r, 1e9 - 17.3e6));
    }

    {
        Req r;
        r.span = 167e6;
        r.center = 4.04e9;
        r.rbw = 1e6;
        r.window = WindowTypeBlackmanHarris;
        r.points = 801;
        r.acqSpan = 1.25e6;
        r.sampFreq = 1.5625e6;
        SteppedSpectrum ss;
        Out o;
        Plan(ss, o, r);
        int upsample = 0, stitch = 0;
        ss.GetUpsampleRate(upsample, stitch);
        const double s = 167e6 / 2402;
        const bool planOk = stitch == 3 && o.freqSteps.GetSize() == 151 && o.Sum() == 801 &&
                            std::fabs((o.freqSteps[76] - o.freqSteps[75]) / s - 16.0) < 1e-6;
        VecCplx32 in;
        VecReal32 out;
        int total = 0;
        for (int i = 0; i < o.freqSteps.GetSize(); ++i) {
            GenNoise(in, o.numSamples[i]);
            ss.Apply(out, in, i);
            total += out.GetSize();
        }
        recorder.AddTestRecord(kClass, "Stitch Upsample", planOk && total == 801);
    }

    {
        Req r;
        r.span = 13e9;
        r.center = 7.5e9;
        r.rbw = 100;
        r.window = WindowTypeKaiser;
        r.points = 801;
        r.acqSpan = 32e6;
        r.sampFreq = 50e6;
        r.acqSamples = 1114600;
        r.estimateOnly = true;
        SteppedSpectrum ss;
        Out o;
        Plan(ss, o, r);
        recorder.AddTestRecord(kClass, "13GHz Span", o.Sum() == 801 && o.freqSteps.GetSize() % 2 == 1);
    }

    {
        Req r;
        r.span = 8.6e9;
        r.center = 5e9;
        r.rbw = 1e6;
        r.window = WindowTypeKaiser;
        r.points = 801;
        r.acqSpan = 59.3e6;
        r.sampFreq = 80e6;
        SteppedSpectrum ss;
        Out o;
        Plan(ss, o, r);
        recorder.AddTestRecord(kClass, "Noise Marker",
                               std::fabs(ss.GetNoiseMarkerCorrection() + 60.2649) < 0.0002);
    }

    {
        // Method III: one transform, an RMS trace first, then the peak trace equals that of Apply.
        SteppedSpectrum ss;
        Out o;
        Plan(ss, o, Req{});
        VecCplx32 in;
        GenCW(in, 0.002, o.numSamples[0]);
        VecReal32 ref, mag, rms, peak;
        ss.Apply(ref, in, 0);
        ss.Apply1(mag, in, 0);
        ss.Apply2(rms, mag, 0, DetectorRms);
        ss.Apply2(peak, mag, 0, DetectorMax);
        recorder.AddTestRecord(kClass, "single Tuning (Method III)", peak.IsEqual(ref, 1e-4f));
    }

    {
        Req r;
        r.points = 101;
        r.detector = DetectorMaxMin;
        SteppedSpectrum ss;
        Out o;
        Plan(ss, o, r);
        VecCplx32 in;
        GenCW(in, 0.0, o.numSamples[0]);
        VecReal32 out;
        ss.Apply(out, in, 0);
        recorder.AddTestRecord(kClass, "ASingle Tuning-Max/Min",
                               out.GetSize() == 202 && std::fabs(out[100]) < 0.01f);
    }

    {
        Req r;
        r.span = 10e6;
        r.center = 1e9;
        r.window = WindowTypeBlackmanHarris;
        r.points = 801;
        r.acqSamples = 475;
        r.detector = DetectorSample;
        SteppedSpectrum ss;
        Out o;
        Plan(ss, o, r);
        VecCplx32 in;
        GenCW(in, 0.002, o.numSamples[0]);
        VecReal32 mag, out;
        ss.Apply1(mag, in, 0);
        ss.Apply2(out, mag, 0, DetectorSample);
        recorder.AddTestRecord(kClass, "Spectrogram", o.numSamples[0] == 475 && out.GetSize() == 801);
    }

    recorder.AddTestRecord(kClass, "CISPR Peak/Ave", CISPRCase(0));
    recorder.AddTestRecord(kClass, "CISPR limited Acq Blocks", CISPRCase(5000));
    return true;
}

bool SteppedSpectrum::TestVBW(UnitTestRecorder& recorder) {
    int wanted = 0;
    const bool noise = VBWCase(true, 0, 0, &wanted);
    recorder.AddTestRecord(kClass, "VBW Noise", noise && wanted == 5212);
    recorder.AddTestRecord(kClass, "VBW More Data", VBWCase(true, 2, 0));
    recorder.AddTestRecord(kClass, "VBW less Data-I", VBWCase(true, 0, 1000));
    recorder.AddTestRecord(kClass, "VBW less Data-II", VBWCase(true, 0, 2000));
    recorder.AddTestRecord(kClass, "RBW More Data", VBWCase(false, 2, 0));
    recorder.AddTestRecord(kClass, "RBW less Data", VBWCase(false, 0, 1000));
    VideoBandwidth vbw;
    recorder.AddTestRecord(kClass, "VBW Ratio", std::fabs(vbw.GetSamples(1.0) - 1.0537) < 0.0001);
    return true;
}

bool SteppedSpectrum::MemoryLeakTest(UnitTestRecorder& recorder) {
    // A full plan and a sweep over its 3339 tunings, then destruction: a heap checker around the host
    // sees whatever stays behind.
    recorder.AddTestRecord(kClass, "1MHz Span", OneMHzSpan());
    return true;
}

}  // namespace VELA
