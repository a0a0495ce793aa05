#include <corvane/dsp/FT.h>
#include <gtest/gtest.h>

using namespace VELA;

TEST(FT, ComplexForwardOfRamp) {
    FT ft(2, VELAAlgorithmAccurate);
    VecCplx32 in(4), out;
    for (int i = 0; i < 4; ++i) in[i] = {float(i), 0};
    ft.Forward(out, in);
    const Cplx32 expected[] = {{6, 0}, {-2, 2}, {-2, 0}, {-2, -2}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(out[i].re, expected[i].re, 9e-6);
        EXPECT_NEAR(out[i].im, expected[i].im, 9e-6);
    }
}
