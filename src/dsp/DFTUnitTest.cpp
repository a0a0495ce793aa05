// Self-test of DFT.
#include <cmath>

#include "FT.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {
namespace {

constexpr float kTol = 9e-6f;

bool Near(const Cplx32& c, double re, double im) {
    return std::fabs(c.re - re) < kTol && std::fabs(c.im - im) < kTol;
}

VecCplx32 Ramp(int n) {
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = Cplx32{static_cast<float>(i), 0.0f};
    return v;
}

}  // namespace

bool DFT::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "DFT";
    {
        DFT dft(3);
        VecCplx32 out;
        dft.Forward(out, Ramp(3));
        recorder.AddTestRecord(cls, "Forward length 3",
                               out.GetSize() == 3 && Near(out[0], 3, 0) && Near(out[1], -1.5, 0.8660254) &&
                                   Near(out[2], -1.5, -0.8660254));
        dft.Inverse(out, Ramp(3));
        recorder.AddTestRecord(cls, "Inverse length 3",
                               out.GetSize() == 3 && Near(out[0], 1, 0) && Near(out[1], -0.5, -0.28867513) &&
                                   Near(out[2], -0.5, 0.28867513));
        recorder.AddTestRecord(cls, "GetLength", dft.GetLength() == 3);
    }
    {
        DFT dft(4);
        VecCplx32 out;
        dft.Forward(out, Ramp(4));
        recorder.AddTestRecord(
            cls, "Forward length 4",
            Near(out[0], 6, 0) && Near(out[1], -2, 2) && Near(out[2], -2, 0) && Near(out[3], -2, -2));
        dft.Inverse(out, Ramp(4));
        recorder.AddTestRecord(cls, "Inverse length 4",
                               Near(out[0], 1.5, 0) && Near(out[1], -0.5, -0.5) && Near(out[2], -0.5, 0) &&
                                   Near(out[3], -0.5, 0.5));
    }
    {
        // A reused output of larger capacity is resized, not reallocated.
        DFT dft(100);
        VecCplx32 x(100), spectrum(500), back;
        const Cplx32* block = spectrum.Data();
        for (int i = 0; i < 100; ++i)
            x[i] = Cplx32{static_cast<float>(std::cos(0.3 * i)), 0.1f * (i % 7)};
        dft.Forward(spectrum, x);
        dft.Inverse(back, spectrum);
        recorder.AddTestRecord(
            cls, "Round trip",
            back.IsEqual(x, kTol) && spectrum.Data() == block && spectrum.GetSize() == 100);
    }
    return true;
}

}  // namespace VELA
