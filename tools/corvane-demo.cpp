// A small tour of the library: builds vectors, does arithmetic, and takes forward and inverse
// transforms, printing each step.
#include <corvane/corvane.h>

#include <cstdio>

using namespace VELA;

static void Print(const char* label, const VecCplx32& v) {
    std::printf("%s:", label);
    for (int i = 0; i < v.GetSize(); ++i)
        std::printf(" (%.4f, %.4f)", v[i].re, v[i].im);
    std::printf("\n");
}

int main() {
    try {
        const float samples[] = {0.92f, 0.73f, 0.17f, 0.4f, 0.93f};
        VecReal32 a;
        a.Import(samples, 5);
        std::printf("a: Sum %.4f  Mean %.4f  StdDev %.6f  Max %.2f  Min %.2f\n", a.Sum(), a.Mean(),
                    a.StdDev(), a.Max(), a.Min());
        VecReal32 b(a);
        b *= 2.0f;
        b -= a;  // back to a
        std::printf("2a - a equals a: %s\n", b.IsEqual(a, 9e-6f) ? "yes" : "no");

        const float ramp[] = {0, 1, 2, 3};
        VecCplx32 x;
        VecReal32 re;
        re.Import(ramp, 4);
        x.Import(re);
        FT ft;
        VecCplx32 spectrum, back;
        ft.Forward(spectrum, x);
        ft.Inverse(back, spectrum);
        Print("x", x);
        Print("Forward(x)", spectrum);
        Print("Inverse(Forward(x))", back);

        VecReal32 real;
        ft.Inverse(real, spectrum);
        std::printf("real inverse:");
        for (int i = 0; i < real.GetSize(); ++i)
            std::printf(" %.4f", real[i]);
        std::printf("\n");

        VecReal32 zero(5);
        zero.SetZero();
        a.Div(zero);
    } catch (const VELAException& e) {
        std::printf("dividing by a zero vector raised, as it should:\n");
        e.Print();
        return 0;
    }
    return 1;
}
