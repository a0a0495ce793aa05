// Self-test of EMIReceiver: the band table, a sine read alike by every detector, the IF filter 6 dB
// down at half its bandwidth, a stream read alike in blocks and in one piece, and refused input.
#include <algorithm>
#include <cmath>

#include "../infra/UnitTestRecorder.h"
#include "EMIReceiver.h"

namespace VELA {

namespace {

// A complex tone of magnitude `amp` at `freq` Hz, samples [start, start + n).
void Tone(VecCplx32& out, int n, long long start, double amp, double freq, double rate) {
    out.Resize(n);
    for (int i = 0; i < n; ++i) {
        const double ph = 2.0 * 3.14159265358979323846 * freq * static_cast<double>(start + i) / rate;
        out[i].re = static_cast<float>(amp * std::cos(ph));
        out[i].im = static_cast<float>(amp * std::sin(ph));
    }
}

double DB(double x) {
    return 20.0 * std::log10(x);
}

}  // namespace

bool EMIReceiver::UnitTest(UnitTestRecorder& recorder) {
    const char* cls = "EMIReceiver";
    bool all = true;
    auto record = [&](const char* name, bool ok) {
        recorder.AddTestRecord(cls, name, ok);
        all = all && ok;
    };

    {
        const EMIBandParameters a = GetBandParameters(EMIBand::A);
        const EMIBandParameters b = GetBandParameters(EMIBand::B);
        const EMIBandParameters c = GetBandParameters(EMIBand::CD);
        record("Band table", a.bandwidth6dB == 200.0 && a.chargeTC == 0.045 && a.dischargeTC == 0.5 &&
                                 a.meterTC == 0.16 && b.bandwidth6dB == 9000.0 && b.chargeTC == 0.001 &&
                                 b.dischargeTC == 0.16 && b.meterTC == 0.16 && c.bandwidth6dB == 120000.0 &&
                                 c.chargeTC == 0.001 && c.dischargeTC == 0.55 && c.meterTC == 0.1);
    }

    const double rate = 50000.0;
    {
        // A tone on the measuring frequency, and one B6/2 beside the second measuring frequency.
        EMIReceiver rx;
        VecReal64 scan(2);
        scan[0] = 0.0;
        scan[1] = 9000.0 / 2.0;
        rx.SetParameters(EMIBand::B, rate, scan);
        VecReal64 tuned;
        rx.GetTunedOffsets(tuned);
        VecCplx32 block;
        for (long long s = 0; s < 75000; s += 5000) {
            Tone(block, 5000, s, 1.0, 0.0, rate);
            rx.Process(block);
        }
        bool ok = true;
        for (EMIDetector d :
             {EMIDetector::Peak, EMIDetector::QuasiPeak, EMIDetector::Average, EMIDetector::RMSAverage}) {
            VecReal64 r;
            rx.GetReadings(r, d);
            ok = ok && std::fabs(DB(r[0] / std::sqrt(0.5))) < 0.1;
            if (d != EMIDetector::Average) continue;  // the others also see the tone switching on
            // The second frequency is tuned within B6/28 of B6/2 from the tone: the Gaussian there.
            const double sigma = 9000.0 / (2.0 * std::sqrt(2.0 * std::log(2.0)));
            const double expect = std::sqrt(0.5) * std::exp(-tuned[1] * tuned[1] / (2 * sigma * sigma));
            ok = ok && std::fabs(DB(r[1] / expect)) < 0.1 && std::fabs(tuned[1] - 4500.0) <= 9000.0 / 28;
        }
        record("Sine on every detector and the 6 dB point", ok);
    }

    {
        // A pulse train with a tone, in one piece and in uneven blocks.
        const int n = 30000;
        VecCplx32 all(n);
        for (int i = 0; i < n; ++i) {
            const double ph = 2.0 * 3.14159265358979323846 * 3000.0 * i / rate;
            all[i].re = static_cast<float>(0.01 * std::cos(ph) + (i % 500 == 7 ? 20.0 : 0.0));
            all[i].im = static_cast<float>(0.01 * std::sin(ph));
        }
        VecReal64 scan(3);
        scan[0] = -5000.0;
        scan[1] = 0.0;
        scan[2] = 3000.0;
        EMIReceiver one, cut;
        one.SetParameters(EMIBand::B, rate, scan);
        cut.SetParameters(EMIBand::B, rate, scan);
        one.Process(all);
        VecCplx32 part;
        int pos = 0, len = 0;
        while (pos < n) {
            len = (len * 7 + 13) % 1711;
            const int take = std::min(len, n - pos);
            part.Resize(take);
            for (int i = 0; i < take; ++i)
                part[i] = all[pos + i];
            cut.Process(part);
            pos += take;
        }
        bool ok = true;
        for (EMIDetector d :
             {EMIDetector::Peak, EMIDetector::QuasiPeak, EMIDetector::Average, EMIDetector::RMSAverage}) {
            VecReal64 a, b;
            one.GetReadings(a, d);
            cut.GetReadings(b, d);
            for (int k = 0; k < 3; ++k)
                ok = ok && a[k] == b[k] && a[k] > 0.0;
        }
        record("Blocks read as one piece", ok);
    }

    {
        int refused = 0;
        EMIReceiver rx;
        VecReal64 scan(1);
        scan[0] = 0.0;
        VecReal64 empty;
        VecCplx32 block(4);
        block.SetZero();
        auto refuses = [&](auto&& call) {
            try {
                call();
            } catch (const VELAException& e) {
                if (e.code == VELAErrorInvalidInputParameter) ++refused;
            }
        };
        refuses([&] { rx.Process(block); });
        refuses([&] { rx.SetParameters(static_cast<EMIBand>(7), rate, scan); });
        refuses([&] { rx.SetParameters(EMIBand::B, 20000.0, scan); });
        refuses([&] { rx.SetParameters(EMIBand::B, rate, empty); });
        refuses([&] { rx.SetParameters(EMIBand::B, std::nan(""), scan); });
        rx.SetParameters(EMIBand::B, rate, scan);
        block[2].im = std::nanf("");
        refuses([&] { rx.Process(block); });
        record("Invalid input", refused == 6 && rx.GetElapsedTime() == 0.0);
    }

    return all;
}

}  // namespace VELA
