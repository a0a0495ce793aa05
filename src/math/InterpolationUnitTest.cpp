// Self-tests of the interpolators and their factory.
#include <cmath>
#include <memory>
#include <typeinfo>

#include "Interpolation.h"
#include "infra/UnitTestRecorder.h"

namespace VELA {
namespace {

// The common curve: knots 1, 3, 5, 9, 14, 15 with values 0, 1, -1, 4, 10, 0, and 143 queries
// 0.9, 1.0, ..., 15.1 (query i = i * 0.1 + 0.9).
struct Curve {
    VecReal64 x{6}, y{6}, q{143};
    Curve() {
        const double xs[] = {1, 3, 5, 9, 14, 15}, ys[] = {0, 1, -1, 4, 10, 0};
        for (int i = 0; i < 6; ++i) {
            x[i] = xs[i];
            y[i] = ys[i];
        }
        for (int i = 0; i < 143; ++i)
            q[i] = i * 0.1 + 0.9;
    }
};

struct Expect {
    int index;
    double value;
};

template <size_t N>
bool Check(const VecReal64& r, const Expect (&e)[N], double tol) {
    if (r.GetSize() != 143) return false;
    for (const Expect& x : e)
        if (!(std::fabs(r[x.index] - x.value) <= tol)) return false;
    return true;
}

// The Runge curve and the quarter sine on 21 knots x[i] = i/10 - 1, queried at q[k] = k/100 - 1.
template <class Vec, class T>
void HermiteCase(Vec& x, Vec& y, Vec& q, T (*curve)(T)) {
    x.Resize(21);
    y.Resize(21);
    q.Resize(101);
    for (int i = 0; i < 21; ++i) {
        x[i] = static_cast<T>(i / 10.0 - 1.0);
        y[i] = curve(x[i]);
    }
    for (int k = 0; k < 101; ++k)
        q[k] = static_cast<T>(k / 100.0 - 1.0);
}

double Runge(double x) {
    return 1.0 / (1.0 + 25.0 * x * x);
}
double Sine(double x) {
    return std::sin(x * 3.14159265358979323846 / 2.0);
}
float SineF(float x) {
    return static_cast<float>(std::sin(x * 3.14159265358979323846 / 2.0));
}

template <class Vec>
bool Near3(const Vec& r, double v0, double v1, double v99) {
    return r.GetSize() == 101 && std::fabs(r[0] - v0) <= 1e-5 && std::fabs(r[1] - v1) <= 1e-5 &&
           std::fabs(r[99] - v99) <= 1e-5;
}

}  // namespace

bool Interpolation::UnitTest(UnitTestRecorder& recorder) {
    Curve c;
    VecReal64 r;
    Interpolation linear;
    const VELAErrorCodeTag code = linear.Interpolate(r, c.x, c.y, c.q);
    const Expect e[] = {{0, -0.05}, {1, 0.0}, {50, 0.125}, {142, -1.0}};
    recorder.AddTestRecord("Interpolation", "Interpolate", code == VELAErrorNone && Check(r, e, 1e-8));
    return true;
}

bool NearestInterpolation::UnitTest(UnitTestRecorder& recorder) {
    Curve c;
    VecReal64 r;
    NearestInterpolation nearest;
    const VELAErrorCodeTag code = nearest.Interpolate(r, c.x, c.y, c.q);
    const Expect e[] = {{0, 0.0}, {1, 0.0}, {11, 1.0}, {50, -1.0}, {142, 0.0}};
    recorder.AddTestRecord("NearestInterpolation", "Interpolate", code == VELAErrorNone && Check(r, e, 1e-8));
    return true;
}

bool Spline::UnitTest(UnitTestRecorder& recorder) {
    Curve c;
    VecReal64 r;
    Spline spline;  // natural at both ends
    const VELAErrorCodeTag code = spline.Interpolate(r, c.x, c.y, c.q);
    const Expect e[] = {{0, -0.094367}, {50, -1.437648}, {142, -1.102918}};
    recorder.AddTestRecord("Spline", "Interpolate", code == VELAErrorNone && Check(r, e, 1e-6));
    return true;
}

bool CubicHermiteInterpolation::UnitTest(UnitTestRecorder& recorder) {
    const char* const cls = "CubicHermiteInterpolation";
    CubicHermiteInterpolation pchip;
    VecReal64 x, y, q, r;
    HermiteCase<VecReal64, double>(x, y, q, &Runge);
    VELAErrorCodeTag code = pchip.Interpolate(r, x, y, q);
    recorder.AddTestRecord(cls, "Interpolate-I",
                           code == VELAErrorNone && Near3(r, 0.0384615, 0.039181, 0.99655));

    HermiteCase<VecReal64, double>(x, y, q, &Sine);
    code = pchip.Interpolate(r, x, y, q);
    recorder.AddTestRecord(cls, "Interpolate-II",
                           code == VELAErrorNone && Near3(r, -1.0, -0.9998088, -0.01566099));

    VecReal32 x32, y32, q32, r32;
    HermiteCase<VecReal32, float>(x32, y32, q32, &SineF);
    code = pchip.Interpolate(r32, x32, y32, q32);
    recorder.AddTestRecord(cls, "Interpolate-II Real32",
                           code == VELAErrorNone && Near3(r32, -1.0, -0.9998088, -0.01566099));

    double v = 0;
    code = pchip.Interpolate(v, x, y, -0.99);
    recorder.AddTestRecord(cls, "Interpolate-II Scale",
                           code == VELAErrorNone && std::fabs(v + 0.9998088) <= 1e-5);
    return true;
}

bool InterpolationFactory::UnitTest(UnitTestRecorder& recorder) {
    InterpolationFactory factory;
    bool ok = true;
    const InterpolationType types[] = {InterpolationLinear, InterpolationSpline, InterpolationNearest,
                                       InterpolationCubicHermite};
    for (InterpolationType t : types) {
        std::unique_ptr<Interpolation> made(factory.MakeInterpolation(t));
        ok = ok && made && factory.GetType() == t;
        if (!made) continue;
        switch (t) {
            case InterpolationLinear:
                ok = ok && typeid(*made) == typeid(Interpolation);
                break;
            case InterpolationSpline:
                ok = ok && dynamic_cast<Spline*>(made.get()) != nullptr;
                break;
            case InterpolationNearest:
                ok = ok && dynamic_cast<NearestInterpolation*>(made.get()) != nullptr;
                break;
            case InterpolationCubicHermite:
                ok = ok && dynamic_cast<CubicHermiteInterpolation*>(made.get()) != nullptr;
                break;
        }
    }
    std::unique_ptr<Interpolation> none(factory.MakeInterpolation(static_cast<InterpolationType>(4)));
    ok = ok && !none && factory.GetType() == 4;
    recorder.AddTestRecord("InterpolationFactory", "MakeInterpolation", ok);
    return true;
}

}  // namespace VELA
