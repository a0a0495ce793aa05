// Self-test of Complex. Products and quotients of two values are formed from the members themselves:
// a b = MulConj(a, Conj(b)), a / b = MulConj(a, Conj(Recip(b))).
#include <cmath>

#include "Complex.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {
namespace {

constexpr float kTol32 = 9e-6f;
constexpr double kTol64 = 1e-14;

bool Near(const Cplx32& c, double re, double im) {
    return std::fabs(c.re - re) < kTol32 && std::fabs(c.im - im) < kTol32;
}
bool Near(const Cplx64& c, double re, double im) {
    return std::fabs(c.re - re) < kTol64 && std::fabs(c.im - im) < kTol64;
}

}  // namespace

bool Complex::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "Complex";
    {
        const Cplx32 a = Cplx(1.0f, 2.0f), b = Cplx(3.0f, -1.0f);
        recorder.AddTestRecord(cls, "Cplx", a.re == 1.0f && a.im == 2.0f);
        recorder.AddTestRecord(cls, "Cplx phase", Near(Cplx(0.0f), 1, 0) && Near(Cplx(1.5707964f), 0, 1));
        recorder.AddTestRecord(cls, "Conj", Near(Conj(a), 1, -2));
        // (1 + 2i)(3 - i) = 5 + 5i; (1 + 2i)(3 + i) = 1 + 7i; (1 + 2i) / (3 - i) = (1 + 7i) / 10.
        recorder.AddTestRecord(cls, "a*b", Near(MulConj(a, Conj(b)), 5, 5));
        recorder.AddTestRecord(cls, "a*conj(b)", Near(MulConj(a, b), 1, 7));
        recorder.AddTestRecord(cls, "a/b", Near(MulConj(a, Conj(Recip(b))), 0.1, 0.7));
        const Cplx32 c = Cplx(3.0f, 4.0f);
        recorder.AddTestRecord(cls, "Mag", std::fabs(Mag(c) - 5.0f) < kTol32);
        recorder.AddTestRecord(cls, "MagSqr", std::fabs(MagSqr(c) - 25.0f) < kTol32);
        recorder.AddTestRecord(cls, "Phase", std::fabs(Phase(Cplx(2.0f, 1.0f)) - 0.4636476f) < kTol32);
        recorder.AddTestRecord(cls, "Recip", Near(Recip(c), 0.12, -0.16));
    }
    {
        const Cplx64 a = Cplx(1.0, 2.0), b = Cplx(3.0, -1.0);
        recorder.AddTestRecord(cls, "Cplx 64", a.re == 1.0 && a.im == 2.0);
        recorder.AddTestRecord(cls, "Cplx phase 64",
                               Near(Cplx(0.0), 1, 0) && Near(Cplx(1.5707963267948966), 0, 1));
        recorder.AddTestRecord(cls, "Conj 64", Near(Conj(a), 1, -2));
        recorder.AddTestRecord(cls, "a*b 64", Near(MulConj(a, Conj(b)), 5, 5));
        recorder.AddTestRecord(cls, "a*conj(b) 64", Near(MulConj(a, b), 1, 7));
        recorder.AddTestRecord(cls, "a/b 64", Near(MulConj(a, Conj(Recip(b))), 0.1, 0.7));
        const Cplx64 c = Cplx(3.0, 4.0);
        recorder.AddTestRecord(cls, "Mag 64", std::fabs(Mag(c) - 5.0) < kTol64);
        recorder.AddTestRecord(cls, "MagSqr 64", std::fabs(MagSqr(c) - 25.0) < kTol64);
        recorder.AddTestRecord(cls, "Phase 64",
                               std::fabs(Phase(Cplx(2.0, 1.0)) - 0.4636476090008061) < kTol64);
        recorder.AddTestRecord(cls, "Recip 64", Near(Recip(c), 0.12, -0.16));
    }
    return true;
}

}  // namespace VELA
