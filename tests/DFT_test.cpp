// DFT: the fixed-length complex float transform (flag 2: inverse divided by the length).
#include <corvane/dsp/FT.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "kernel/Memory.h"
#include "support/NaiveDft.h"
#include "support/TestUtil.h"
#include "support/VecData.h"

using namespace VELA;
using namespace corvane_test;

TEST(DFT, ForwardOfZeroOneTwo) {
    DFT dft(3);
    EXPECT_EQ(dft.GetLength(), 3);
    VecCplx32 out;
    dft.Forward(out, MakeCplx32({0, 0, 1, 0, 2, 0}));
    EXPECT_TRUE(NearAbs(ToDoubles(out), {3, 0, -1.5, 0.8660254, -1.5, -0.8660254}, 9e-6));
}

TEST(DFT, InverseOfZeroOneTwo) {
    DFT dft(3);
    VecCplx32 out;
    dft.Inverse(out, MakeCplx32({0, 0, 1, 0, 2, 0}));
    EXPECT_TRUE(NearAbs(ToDoubles(out), {1, 0, -0.5, -0.28867513, -0.5, 0.28867513}, 9e-6));
}

TEST(DFT, ForwardThenInverseGivesTheInputBack) {
    for (int n : {1, 2, 5, 64, 1000, 1021}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const std::vector<double> z =
            RoundToFloat(Uniform(2 * static_cast<size_t>(n), 10 + static_cast<unsigned>(n)));
        DFT dft(n);
        VecCplx32 spectrum, back;
        dft.Forward(spectrum, MakeCplx32(z));
        dft.Inverse(back, spectrum);
        EXPECT_TRUE(NearL2(ToDoubles(back), z, 1e-6));
    }
}

TEST(DFT, MatchesADirectTransform) {
    for (int n : {7, 100, 251}) {
        SCOPED_TRACE("n = " + std::to_string(n));
        const std::vector<double> z =
            RoundToFloat(Uniform(2 * static_cast<size_t>(n), 20 + static_cast<unsigned>(n)));
        DFT dft(n);
        VecCplx32 out;
        dft.Forward(out, MakeCplx32(z));
        EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(z, false), 1e-6));
        dft.Inverse(out, MakeCplx32(z));
        EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(z, true), 1e-6));
    }
}

TEST(DFT, InPlaceAndUnalignedCalls) {
    const int n = 360;
    const std::vector<double> z = RoundToFloat(Uniform(2 * (n + 1), 30));
    const std::vector<double> window(z.begin() + 2, z.end());
    DFT dft(n);
    VecCplx32 v = MakeCplx32(window);
    dft.Forward(v, v);
    EXPECT_TRUE(NearL2(ToDoubles(v), NaiveDft(window, false), 1e-6));
    VecCplx32 view = MakeCplx32(z);
    view.ShiftLeft(1);
    VecCplx32 out;
    dft.Forward(out, view);
    EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(window, false), 1e-6));
    dft.Inverse(out, view);
    EXPECT_TRUE(NearL2(ToDoubles(out), NaiveDft(window, true), 1e-6));
}

TEST(DFT, SteadyTransformsAllocateNothing) {
    DFT dft(500);
    const VecCplx32 in = MakeCplx32(Uniform(1000, 40));
    VecCplx32 out;
    dft.Forward(out, in);
    const long long before = kern::AllocationCount();
    for (int i = 0; i < 5; ++i) {
        dft.Forward(out, in);
        dft.Inverse(out, in);
    }
    EXPECT_EQ(kern::AllocationCount(), before);
}

TEST(DFT, ABlockOfAnotherLengthOrNoPlanIsRefused) {
    // The plan reads and writes exactly its length: a shorter block would be read past its end, a
    // longer output written past. Either is refused, and a length without a plan refuses every call.
    DFT d(8);
    VecCplx32 seven(7), nine(9), out(3);
    seven.SetZero();
    nine.SetZero();
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { d.Forward(out, seven); }));
    EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { d.Inverse(out, nine); }));
    EXPECT_EQ(out.GetSize(), 3);
    for (int n : {0, -1, INT_MIN, INT_MAX, 1 << 30}) {
        DFT none(n);  // no plan: construction does not throw
        VecCplx32 in(4);
        in.SetZero();
        EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { none.Forward(out, in); })) << n;
        VecCplx32 empty;
        EXPECT_TRUE(corvane_test::ThrowsInvalidInput([&] { none.Inverse(out, empty); })) << n;
    }
}
