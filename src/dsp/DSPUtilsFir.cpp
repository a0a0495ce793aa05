// DSPUtils FIR design: windowed ideal responses with the Hamming window, normalised to unit gain at the
// centre of the pass band. The design is always done in double; the float forms round the result.
#include <cmath>
#include <vector>

#include "DSPUtils.h"

namespace VELA {
namespace {

constexpr double kPi = 3.141592653589793238462643383279;

enum class Band { Low, High, Pass };

double Sinc(double x) {
    return x == 0 ? 1.0 : std::sin(kPi * x) / (kPi * x);
}

bool Valid(Band kind, double f1, double f2, int taps) {
    if (taps < 5) return false;
    // A symmetric filter of even length has a zero at half the sample rate, where a high-pass filter
    // would have to be normalised.
    if (kind == Band::High && taps % 2 == 0) return false;
    if (!(f1 > 0 && f1 < 0.5)) return false;
    if (kind == Band::Pass && !(f2 > f1 && f2 < 0.5)) return false;
    return true;
}

// h[n] = ideal(m) w[n] with m = n - (N - 1)/2 and the symmetric Hamming window w, then divided by the
// response at the frequency where the gain must be 1 (0, 0.5 or the band centre). The response is
// taken as sum h[n] cos(2 pi f m), the real amplitude of the linear-phase filter.
void Design(double* h, Band kind, double f1, double f2, int taps) {
    const double centre = (taps - 1) / 2.0;
    for (int n = 0; n < taps; ++n) {
        const double m = n - centre;
        double ideal = 0;
        switch (kind) {
            case Band::Low:
                ideal = 2 * f1 * Sinc(2 * f1 * m);
                break;
            case Band::High:
                ideal = Sinc(m) - 2 * f1 * Sinc(2 * f1 * m);
                break;
            case Band::Pass:
                ideal = 2 * f2 * Sinc(2 * f2 * m) - 2 * f1 * Sinc(2 * f1 * m);
                break;
        }
        const double window = 0.54 - 0.46 * std::cos(2 * kPi * n / (taps - 1));
        h[n] = ideal * window;
    }
    const double f0 = kind == Band::Low ? 0.0 : kind == Band::High ? 0.5 : 0.5 * (f1 + f2);
    double gain = 0;
    for (int n = 0; n < taps; ++n)
        gain += h[n] * std::cos(2 * kPi * f0 * (n - centre));
    for (int n = 0; n < taps; ++n)
        h[n] /= gain;
}

template <class V>
bool Reject(V& out, int taps) {
    out.Resize(taps > 0 ? taps : 0);
    out.SetZero();
    return false;
}

bool Make(VecReal64& out, Band kind, double f1, double f2, int taps) {
    if (!Valid(kind, f1, f2, taps)) return Reject(out, taps);
    out.Resize(taps);
    Design(out.Data(), kind, f1, f2, taps);
    return true;
}

bool Make(VecReal32& out, Band kind, double f1, double f2, int taps) {
    if (!Valid(kind, f1, f2, taps)) return Reject(out, taps);
    std::vector<double> h(static_cast<size_t>(taps));
    Design(h.data(), kind, f1, f2, taps);
    out.Resize(taps);
    for (int n = 0; n < taps; ++n)
        out[n] = static_cast<float>(h[static_cast<size_t>(n)]);
    return true;
}

}  // namespace

bool DSPUtils::LowPass(VecReal32& out, float cutoff, int taps) {
    return Make(out, Band::Low, cutoff, 0, taps);
}
bool DSPUtils::LowPass(VecReal64& out, double cutoff, int taps) {
    return Make(out, Band::Low, cutoff, 0, taps);
}
bool DSPUtils::HighPass(VecReal32& out, float cutoff, int taps) {
    return Make(out, Band::High, cutoff, 0, taps);
}
bool DSPUtils::HighPass(VecReal64& out, double cutoff, int taps) {
    return Make(out, Band::High, cutoff, 0, taps);
}
bool DSPUtils::BandPass(VecReal32& out, float low, float high, int taps) {
    return Make(out, Band::Pass, low, high, taps);
}
bool DSPUtils::BandPass(VecReal64& out, double low, double high, int taps) {
    return Make(out, Band::Pass, low, high, taps);
}

}  // namespace VELA
