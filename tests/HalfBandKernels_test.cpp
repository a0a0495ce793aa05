// The half-band decimator at every kernel level: against a straightforward full convolution with the
// whole filter (zero taps included) on random data of many lengths, and bit for bit against the
// scalar reference, from aligned and unaligned starts.
#include <corvane/dsp/DigitalSource.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/HalfBandKernels.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::NearAbs;
using corvane_test::Uniform;

namespace {

std::vector<kern::Variant> SupportedLevels() {
    std::vector<kern::Variant> v;
    for (kern::Variant l :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512})
        if (kern::VariantSupported(l)) v.push_back(l);
    return v;
}

// The full filter of 4J - 1 taps from the centre tap and the J odd-lag taps.
std::vector<double> FullTaps(const float* coefs, int pairs) {
    const int c = 2 * pairs - 1;
    std::vector<double> h(2 * c + 1, 0.0);
    h[c] = coefs[0];
    for (int j = 0; j < pairs; ++j)
        h[c - 1 - 2 * j] = h[c + 1 + 2 * j] = coefs[j + 1];
    return h;
}

// Full linear convolution of each plane with h, then every second fully-supported sample, starting
// with the first: interleaved (re, im) of the outputs.
std::vector<double> ConvolveAndKeepEverySecond(const std::vector<float>& x, int n,
                                               const std::vector<double>& h) {
    const int taps = static_cast<int>(h.size());
    std::vector<double> out;
    for (int part = 0; part < 2; ++part) {
        std::vector<double> full(n + taps - 1, 0.0);
        for (int i = 0; i < n; ++i)
            for (int k = 0; k < taps; ++k)
                full[i + k] += h[k] * x[2 * i + part];
        int o = 0;
        for (int k = taps - 1; k < n; k += 2, ++o) {
            if (part == 0)
                out.push_back(full[k]), out.push_back(0.0);
            else
                out[2 * o + 1] = full[k];
        }
    }
    return out;
}

// Outputs of n input samples with a filter of 4J - 1 taps: (n - 2c + 1) >> 1, none below that.
int Outputs(int n, int pairs) {
    const int c = 2 * pairs - 1;
    return n - 2 * c + 1 > 0 ? (n - 2 * c + 1) >> 1 : 0;
}

// Floats whose first element starts `offset` floats past a 64-byte boundary, guarded by -777.
struct Buf {
    Buf(size_t n, int offset) : store(n + 64, -777.0f), off(offset) {}
    float* Data() {
        auto addr = reinterpret_cast<uintptr_t>(store.data());
        return store.data() + ((64 - addr % 64) % 64) / sizeof(float) + off;
    }
    std::vector<float> store;
    int off;
};

void CheckFilter(const float* coefs, int pairs, const std::vector<int>& lengths) {
    const kern::HalfBandKernelTable& ref = *kern::HalfBandTableFor(kern::Variant::Reference);
    const std::vector<double> h = FullTaps(coefs, pairs);
    unsigned seed = 1;
    for (int n : lengths) {
        const int m = Outputs(n, pairs);
        const std::vector<double> u = Uniform(2 * static_cast<size_t>(n), seed++);
        const std::vector<float> x(u.begin(), u.end());
        const std::vector<double> expected = ConvolveAndKeepEverySecond(x, n, h);
        ASSERT_EQ(expected.size(), 2 * static_cast<size_t>(m)) << "n=" << n;
        Buf refOut(2 * m, 0);
        ref.decim2_c32(x.data(), refOut.Data(), m, coefs, pairs);
        const std::vector<float> refValues(refOut.Data(), refOut.Data() + 2 * m);
        for (kern::Variant v : SupportedLevels()) {
            const kern::HalfBandKernelTable& t = *kern::HalfBandTableFor(v);
            for (int offset : {0, 1, 3}) {
                SCOPED_TRACE(testing::Message() << "level=" << t.name << " taps=" << 4 * pairs - 1
                                                << " n=" << n << " offset=" << offset);
                Buf in(2 * static_cast<size_t>(n), offset), out(2 * static_cast<size_t>(m), offset + 1);
                std::copy(x.begin(), x.end(), in.Data());
                t.decim2_c32(in.Data(), out.Data(), m, coefs, pairs);
                const std::vector<double> got(out.Data(), out.Data() + 2 * m);
                // The running sum is rounded to float after each of the J + 1 terms.
                EXPECT_TRUE(NearAbs(got, expected, 1e-6));
                EXPECT_TRUE(std::equal(refValues.begin(), refValues.end(), out.Data()));
                // Nothing is written past the m outputs.
                EXPECT_EQ(out.Data()[2 * m], -777.0f);
                EXPECT_EQ(out.Data()[2 * m + 1], -777.0f);
                EXPECT_EQ(out.Data()[-1], -777.0f);
            }
        }
    }
}

std::vector<int> LengthsFor(int pairs) {
    const int c = 2 * pairs - 1;
    // Below, at and just above the shortest input (2c + 1 samples for one output), the widths of every
    // level's unrolled and single-register loops, and across the 512-output chunks.
    std::vector<int> n = {0, 1, c, 2 * c - 1, 2 * c, 2 * c + 1, 2 * c + 2, 2 * c + 3};
    for (int k = 2 * c + 4; k < 2 * c + 80; ++k)
        n.push_back(k);
    for (int k : {300, 1023, 1024 + 2 * c - 1, 1024 + 2 * c + 1, 2 * 512 + 2 * c + 1, 2 * 1025 + 2 * c - 1,
                  4097, 10001})
        n.push_back(k);
    return n;
}

}  // namespace

TEST(HalfBandKernels, ShortestInputsGiveNoneAndOneOutput) {
    EXPECT_EQ(Outputs(2 * 13, 7), 0);
    EXPECT_EQ(Outputs(2 * 13 + 1, 7), 1);
    EXPECT_EQ(Outputs(2 * 25, 13), 0);
    EXPECT_EQ(Outputs(2 * 25 + 1, 13), 1);
}

TEST(HalfBandKernels, TwentySevenTapsMatchFullConvolutionAtEveryLevel) {
    CheckFilter(DigitalSource::halfBandFilterCoefs, 7, LengthsFor(7));
}

TEST(HalfBandKernels, FiftyOneTapsMatchFullConvolutionAtEveryLevel) {
    CheckFilter(DigitalSource::halfBandLastFilterCoefs, 13, LengthsFor(13));
}

TEST(HalfBandKernels, OtherFilterLengthsTakeTheGeneralPath) {
    for (int pairs : {1, 2, 5, 20}) {
        const std::vector<double> u = Uniform(pairs + 1, 40 + pairs, -0.5, 0.5);
        const std::vector<float> coefs(u.begin(), u.end());
        CheckFilter(coefs.data(), pairs,
                    {0, 4 * pairs - 3, 4 * pairs - 2, 4 * pairs - 1, 4 * pairs + 7, 200, 1500});
    }
}

TEST(HalfBandKernels, ConstantPassesWithTheTapSum) {
    // The float taps sum to 1 within 5e-5 (the 27-tap filter to 1e-6); a constant comes out scaled by
    // exactly that sum, to float rounding.
    for (auto [coefs, pairs] : {std::pair{DigitalSource::halfBandFilterCoefs, 7},
                                std::pair{DigitalSource::halfBandLastFilterCoefs, 13}}) {
        double sum = coefs[0];
        for (int j = 1; j <= pairs; ++j)
            sum += 2.0 * coefs[j];
        EXPECT_NEAR(sum, 1.0, pairs == 7 ? 1e-6 : 5e-5);
        std::vector<float> x(2 * 300);
        for (int i = 0; i < 300; ++i)
            x[2 * i] = 1.0f, x[2 * i + 1] = -0.5f;
        const int m = Outputs(300, pairs);
        std::vector<float> y(2 * m);
        kern::HBK().decim2_c32(x.data(), y.data(), m, coefs, pairs);
        for (int o = 0; o < m; ++o) {
            EXPECT_NEAR(y[2 * o], sum, 1e-6);
            EXPECT_NEAR(y[2 * o + 1], -0.5 * sum, 1e-6);
        }
    }
}

TEST(HalfBandKernels, ActiveTableFollowsSetVariant) {
    const kern::Variant before = kern::ActiveVariant();
    for (kern::Variant v : SupportedLevels()) {
        ASSERT_TRUE(kern::SetVariant(v));
        EXPECT_EQ(&kern::HBK(), kern::HalfBandTableFor(v));
    }
    kern::SetVariant(before);
}
