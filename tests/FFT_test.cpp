// FFT: the complex float transform of 2^order points (flag 2: inverse divided by the length).
#include <corvane/dsp/FT.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "support/NaiveDft.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

TEST(FFT, OrderTwoTransformsFourPointsOfTheRamp) {
    FFT fft(2);
    EXPECT_EQ(fft.GetOrder(), 2);
    const VecCplx32 ramp = MakeCplx32({0, 0, 1, 0, 2, 0, 3, 0});
    VecCplx32 out;
    fft.Forward(out, ramp);
    EXPECT_EQ(out.GetSize(), 4);
    EXPECT_TRUE(NearAbs(ToDoubles(out), {6, 0, -2, 2, -2, 0, -2, -2}, 9e-6));
    fft.Inverse(out, ramp);
    EXPECT_TRUE(NearAbs(ToDoubles(out), {1.5, 0, -0.5, -0.5, -0.5, 0, -0.5, 0.5}, 9e-6));
}

TEST(FFT, OrderZeroIsTheIdentity) {
    FFT fft(0);
    VecCplx32 in(1), out;
    in[0] = {3, -2};
    fft.Forward(out, in);
    EXPECT_EQ(out[0].re, 3.0f);
    EXPECT_EQ(out[0].im, -2.0f);
}

TEST(FFT, MatchesADirectTransform) {
    for (int order : {1, 3, 6, 10}) {
        const int n = 1 << order;
        SCOPED_TRACE("n = " + std::to_string(n));
        const std::vector<double> z =
            RoundToFloat(Uniform(2 * static_cast<size_t>(n), 50 + static_cast<unsigned>(n)));
        FFT fft(order);
        VecCplx32 out;
        fft.Forward(out, MakeCplx32(z));
        EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(z, false), 1e-6));
        fft.Inverse(out, MakeCplx32(z));
        EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(z, true), 1e-6));
    }
}

TEST(FFT, InPlaceAndUnalignedCalls) {
    const int order = 9, n = 1 << order;
    const std::vector<double> z = RoundToFloat(Uniform(2 * (n + 3), 60));
    const std::vector<double> window(z.begin() + 6, z.end());
    FFT fft(order);
    VecCplx32 view = MakeCplx32(z);
    view.ShiftLeft(3);
    VecCplx32 out;
    fft.Forward(out, view);
    EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(window, false), 1e-6));
    VecCplx32 v = MakeCplx32(window);
    fft.Inverse(v, v);
    EXPECT_TRUE(NearL2(ToDoubles(v), NaiveDft(window, true), 1e-6));
}

TEST(FFT, ABlockOfAnotherLengthOrNoPlanIsRefused) {
    FFT f(3);
    VecCplx32 seven(7), out(3);
    seven.SetZero();
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { f.Forward(out, seven); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { f.Inverse(out, seven); }));
    EXPECT_EQ(out.GetSize(), 3);
    for (int order : {-1, 31, 30, 29, INT_MAX}) {
        FFT none(order);  // 2^29 complex floats exceed the longest vector: no plan
        VecCplx32 in(8);
        in.SetZero();
        EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { none.Forward(out, in); })) << order;
    }
}
