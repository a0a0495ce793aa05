// Links the installed library and checks one transform round trip.
#include <corvane/corvane.h>

#include <cmath>
#include <cstdio>

int main() {
    using namespace VELA;
    VecCplx32 x(8), spectrum, back;
    for (int i = 0; i < 8; ++i)
        x[i] = {float(i), float(-i)};
    FT ft;
    ft.Forward(spectrum, x);
    ft.Inverse(back, spectrum);
    const bool ok = back.IsEqual(x, 1e-5f) && std::fabs(spectrum[0].re - 28.0f) < 1e-4f;
    std::printf("consumer: transform round trip %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
