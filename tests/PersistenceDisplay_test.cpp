// The display-path functions: density normalisation, colour mapping of density and hit data against
// independent numpy computations (round half to even, saturation) at every kernel level, and the bitmap
// stretch against a straightforward double-precision evaluation, by properties and by statuses.
#include <corvane/dsp/PersistenceDisplay.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <iterator>
#include <string>
#include <vector>

#include "kernel/Dispatch.h"
#include "kernel/Memory.h"
#include "kernel/ResizeKernels.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::PyEval;

namespace {

std::vector<kern::Variant> SupportedLevels() {
    std::vector<kern::Variant> v;
    for (kern::Variant l :
         {kern::Variant::Reference, kern::Variant::Sse2, kern::Variant::Avx2, kern::Variant::Avx512})
        if (kern::VariantSupported(l)) v.push_back(l);
    return v;
}

// Forces a kernel level for its lifetime.
class ForceLevel {
  public:
    explicit ForceLevel(kern::Variant v) : saved_(kern::ActiveVariant()) { EXPECT_TRUE(kern::SetVariant(v)); }
    ~ForceLevel() { kern::SetVariant(saved_); }

  private:
    kern::Variant saved_;
};

// ---------------------------------------------------------------- density

// Random densities around [low, high] plus the edge values: low, high, just inside and outside, exact
// halves of a colour step (both parities), zero, infinities and NaN.
std::vector<float> DensityData(size_t n, float low, float high, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(low - 0.25f * (high - low), high + 0.25f * (high - low));
    std::vector<float> d(n);
    for (auto& x : d)
        x = u(gen);
    const float edges[] = {low,
                           high,
                           std::nextafter(low, high),
                           std::nextafter(high, low),
                           std::nextafter(low, -1e30f),
                           std::nextafter(high, 1e30f),
                           0.0f,
                           -0.0f,
                           std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::quiet_NaN(),
                           1e30f,
                           -1e30f};
    for (size_t i = 0; i < std::size(edges) && i < n; ++i)
        d[(i * 7919) % n] = edges[i];
    return d;
}

// numpy: q = (d - low) / (high - low) in float32, colour = clip(rint(65536 q)), NaN to 0.
std::vector<double> DensityOracle(const std::vector<float>& d, float low, float high) {
    std::vector<double> in(d.begin(), d.end());
    return PyEval(R"(
d = a0.astype(np.float32); low = np.float32(a1[0]); high = np.float32(a1[1])
with np.errstate(all='ignore'):
    q = (d - low) / (high - low)
    y = q * np.float32(65536)
    y = np.where(np.isnan(y), np.float32(0), y)
    out = np.clip(np.rint(np.clip(y, -1, 70000).astype(np.float64)), 0, 65535)
)",
                  {in, {low, high}});
}

TEST(PersistenceDisplay, DensityMapsLikeNumpyAtEveryLevel) {
    struct Range {
        float low, high;
    };
    for (const Range r : {Range{0.0f, 1.0f}, Range{-3.5f, 12.25f}, Range{1e-6f, 3e-3f}, Range{7.0f, 2.0f}}) {
        const std::vector<float> d = DensityData(4099, r.low, r.high, 17);
        const std::vector<double> want = DensityOracle(d, r.low, r.high);
        ASSERT_EQ(want.size(), d.size());
        for (kern::Variant v : SupportedLevels()) {
            ForceLevel level(v);
            // Every start offset within a vector, and lengths that end anywhere within one.
            for (int start : {0, 1, 3, 5}) {
                const int n = static_cast<int>(d.size()) - start - (start * 3 % 17);
                std::vector<unsigned short> c(n + 2, 0xBEEF);
                ASSERT_EQ(MapDensityDataToColorRange(d.data() + start, r.low, r.high, c.data() + 1, n), 0);
                EXPECT_EQ(c[0], 0xBEEF);
                EXPECT_EQ(c[n + 1], 0xBEEF);
                int bad = 0;
                for (int i = 0; i < n; ++i)
                    if (c[i + 1] != want[start + i] && bad++ < 5)
                        ADD_FAILURE() << kern::VariantName(v) << " [" << start + i << "] density "
                                      << d[start + i] << ": " << c[i + 1] << " want " << want[start + i];
            }
        }
    }
}

TEST(PersistenceDisplay, DensityHalfStepsRoundToEven) {
    // With low 0 and high 1 the quotient is the density, and 65536 q = k + 0.5 exactly.
    std::vector<float> d;
    std::vector<unsigned short> want;
    for (int k : {0, 1, 2, 3, 1000, 1001, 65533, 65534}) {
        d.push_back((k + 0.5f) / 65536.0f);
        want.push_back(static_cast<unsigned short>(k % 2 == 0 ? k : k + 1));
    }
    for (kern::Variant v : SupportedLevels()) {
        ForceLevel level(v);
        // Repeated to fill whole vectors of every level as well as a tail.
        std::vector<float> big;
        for (int r = 0; r < 9; ++r)
            big.insert(big.end(), d.begin(), d.end());
        std::vector<unsigned short> c(big.size());
        ASSERT_EQ(MapDensityDataToColorRange(big.data(), 0.0f, 1.0f, c.data(), static_cast<int>(c.size())),
                  0);
        for (size_t i = 0; i < c.size(); ++i)
            EXPECT_EQ(c[i], want[i % want.size()]) << kern::VariantName(v) << " " << big[i];
    }
}

TEST(PersistenceDisplay, DensityLowMapsTo0AndHighAndAboveTo65535) {
    const float d[] = {2.0f, 6.0f, 100.0f, 1.0f, 4.0f};
    unsigned short c[5];
    ASSERT_EQ(MapDensityDataToColorRange(d, 2.0f, 6.0f, c, 5), 0);
    EXPECT_EQ(c[0], 0);
    EXPECT_EQ(c[1], 65535);
    EXPECT_EQ(c[2], 65535);
    EXPECT_EQ(c[3], 0);
    EXPECT_EQ(c[4], 32768);
}

TEST(PersistenceDisplay, DensityWithHighEqualToLowDividesByZeroAndStillConverts) {
    for (kern::Variant v : SupportedLevels()) {
        ForceLevel level(v);
        std::vector<float> d(37);
        for (int i = 0; i < 37; ++i)
            d[i] = static_cast<float>(i % 3) + 4.0f;  // 4 (= low), 5 (above), 6 (above)
        d[36] = 3.0f;                                 // below
        std::vector<unsigned short> c(37, 7);
        EXPECT_EQ(MapDensityDataToColorRange(d.data(), 4.0f, 4.0f, c.data(), 37), 0);
        for (int i = 0; i < 36; ++i)
            EXPECT_EQ(c[i], i % 3 == 0 ? 0 : 65535) << kern::VariantName(v) << " " << i;  // 0/0 is NaN: 0
        EXPECT_EQ(c[36], 0);
    }
}

TEST(PersistenceDisplay, DensityScratchIsReusedWhileTheLengthStays) {
    std::vector<float> d(5000, 0.5f);
    std::vector<unsigned short> c(5000);
    ASSERT_EQ(MapDensityDataToColorRange(d.data(), 0.0f, 1.0f, c.data(), 4000), 0);
    const long long before = kern::AllocationCount();
    for (int i = 0; i < 10; ++i)
        ASSERT_EQ(MapDensityDataToColorRange(d.data(), 0.0f, 1.0f, c.data(), 4000), 0);
    EXPECT_EQ(kern::AllocationCount(), before);
    // A new length takes a new array, shorter or longer, and so does going back.
    ASSERT_EQ(MapDensityDataToColorRange(d.data(), 0.0f, 1.0f, c.data(), 3000), 0);
    EXPECT_EQ(kern::AllocationCount(), before + 1);
    ASSERT_EQ(MapDensityDataToColorRange(d.data(), 0.0f, 1.0f, c.data(), 4000), 0);
    EXPECT_EQ(kern::AllocationCount(), before + 2);
    EXPECT_EQ(c[3999], 32768);
}

TEST(PersistenceDisplay, DensityRefusesNullAndEmptyWithoutWriting) {
    float d[4] = {0.1f, 0.2f, 0.3f, 0.4f};
    unsigned short c[4] = {9, 9, 9, 9};
    EXPECT_EQ(MapDensityDataToColorRange(nullptr, 0, 1, c, 4), -8);
    EXPECT_EQ(MapDensityDataToColorRange(d, 0, 1, nullptr, 4), -8);
    EXPECT_EQ(MapDensityDataToColorRange(nullptr, 0, 1, nullptr, 0), -8);  // null is tested first
    EXPECT_EQ(MapDensityDataToColorRange(d, 0, 1, c, 0), -6);
    EXPECT_EQ(MapDensityDataToColorRange(d, 0, 1, c, -4), -6);
    for (unsigned short x : c)
        EXPECT_EQ(x, 9);
}

// Runs `body` in a child process whose address space may grow by only 64 MiB more, and returns the
// child's exit code (body's result), or -1000 when the child did not exit normally.
int WithLittleAddressSpace(const std::function<int()>& body) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid < 0) return -1001;
    if (pid == 0) {
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t limit =
            static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (rlim_t{64} << 20);
        struct rlimit rl {
            limit, limit
        };
        if (setrlimit(RLIMIT_AS, &rl) != 0) _exit(101);
        _exit(body() & 0xff);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1000;
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

// Status -9: the scratch array cannot be had (1 GiB asked for under a 64 MiB allowance). Nothing is
// read or written, and the function still works at a length it can afford afterwards.
TEST(PersistenceDisplay, DensityReportsAScratchItCannotAllocate) {
    if (kAddressSanitizer) GTEST_SKIP() << "the address sanitizer reserves the address space itself";
    const int code = WithLittleAddressSpace([] {
        float d[4] = {0.0f, 0.25f, 0.5f, 1.0f};
        unsigned short c[4] = {9, 9, 9, 9};
        // The density array is far shorter than the length: the refusal must come before any read.
        const int status = MapDensityDataToColorRange(d, 0.0f, 1.0f, c, 1 << 28);
        if (status != -9) return 1;
        for (unsigned short x : c)
            if (x != 9) return 2;
        if (MapDensityDataToColorRange(d, 0.0f, 1.0f, c, 4) != 0) return 3;
        if (c[0] != 0 || c[1] != 16384 || c[2] != 32768 || c[3] != 65535) return 4;
        return 0;
    });
    EXPECT_EQ(code, 0);
}

TEST(PersistenceDisplay, NormalizeDensityScalesInPlace) {
    std::vector<float> d(1001);
    for (int i = 0; i < 1001; ++i)
        d[i] = 0.25f * i - 7.0f;
    const std::vector<float> before = d;
    ASSERT_EQ(NormalizeDensity(1.0f / 3.0f, d.data(), 1000), 0);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(d[i], before[i] * (1.0f / 3.0f)) << i;
    EXPECT_EQ(d[1000], before[1000]);  // exactly `length` elements
    EXPECT_EQ(NormalizeDensity(2.0f, nullptr, 10), -8);
    EXPECT_EQ(NormalizeDensity(2.0f, d.data(), 0), -6);
    EXPECT_EQ(d[0], before[0] * (1.0f / 3.0f));
}

// ---------------------------------------------------------------- hits

// numpy: the low 16 bits of the truncated counts (0 beyond the int range), exact rational rounding half
// to even, saturation.
std::vector<double> HitOracle(const std::vector<unsigned short>& h, float low, float high) {
    std::vector<double> in(h.begin(), h.end());
    return PyEval(R"(
from fractions import Fraction
low = float(np.float32(a1[0])); high = float(np.float32(a1[1]))
def low16(v):
    if not (-2147483649.0 < v < 2147483648.0): return 0
    return int(np.trunc(v)) & 0xFFFF
lc = low16(low * 65535.0)
rc = low16(float(np.float32(high) - np.float32(low)) * 65535.0) or 1
res = []
for h in a0.astype(np.int64):
    c = max(int(h) - lc, 0)
    q = Fraction(c * 65536, rc)
    fl = q.numerator // q.denominator
    rem = q - fl
    if rem > Fraction(1, 2) or (rem == Fraction(1, 2) and fl % 2 == 1): fl += 1
    res.append(min(fl, 65535))
out = np.array(res, dtype=float)
)",
                  {in, {low, high}});
}

std::vector<unsigned short> HitData(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> u(0, 65535);
    std::vector<unsigned short> h(n);
    for (auto& x : h)
        x = static_cast<unsigned short>(u(gen));
    const unsigned short edges[] = {0, 1, 65535, 65534, 32768, 32767};
    for (size_t i = 0; i < std::size(edges); ++i)
        h[(i * 977) % n] = edges[i];
    return h;
}

TEST(PersistenceDisplay, HitsMapLikeNumpyAtEveryLevel) {
    struct Range {
        float low, high;
    };
    // Fractions of the 16-bit range: ordinary, a range whose count has many ties (a power of two), a
    // tiny range, the whole range, high below low (the wrapped count), a negative low (wraps to 65535),
    // and counts beyond the int range.
    const Range ranges[] = {{0.1f, 0.6f},
                            {0.0f, 4096.0f / 65535.0f},
                            {0.25f, 0.25f + 3.0f / 65535.0f},
                            {0.0f, 1.0f},
                            {0.6f, 0.1f},
                            {-1.0f / 65535.0f, 0.5f},
                            {1e6f, 2e6f},
                            {0.0f, 3.0f / 65535.0f}};
    const std::vector<unsigned short> h = HitData(2053, 5);
    for (const Range r : ranges) {
        const std::vector<double> want = HitOracle(h, r.low, r.high);
        ASSERT_EQ(want.size(), h.size());
        for (kern::Variant v : SupportedLevels()) {
            ForceLevel level(v);
            for (int start : {0, 3}) {
                const int n = static_cast<int>(h.size()) - start - 2 * start;
                std::vector<unsigned short> c(n + 1, 0xBEEF);
                ASSERT_EQ(MapHitDataToColorRange(h.data() + start, r.low, r.high, c.data(), n), 0);
                EXPECT_EQ(c[n], 0xBEEF);
                int bad = 0;
                for (int i = 0; i < n; ++i)
                    if (c[i] != want[start + i] && bad++ < 5)
                        ADD_FAILURE()
                            << kern::VariantName(v) << " low " << r.low << " high " << r.high << " hits "
                            << h[start + i] << ": " << c[i] << " want " << want[start + i];
            }
        }
    }
}

TEST(PersistenceDisplay, HitsWithHighEqualToLowDivideByOne) {
    const unsigned short h[] = {0, 100, 101, 102, 65535};
    unsigned short c[5];
    // low = high = 100.5/65535: lowCount 100, range 0 taken as 1.
    const float low = 100.5f / 65535.0f;
    ASSERT_EQ(MapHitDataToColorRange(h, low, low, c, 5), 0);
    EXPECT_EQ(c[0], 0);
    EXPECT_EQ(c[1], 0);
    EXPECT_EQ(c[2], 65535);
    EXPECT_EQ(c[3], 65535);
    EXPECT_EQ(c[4], 65535);
}

TEST(PersistenceDisplay, HitsWorkInPlace) {
    std::vector<unsigned short> h = HitData(1000, 9);
    std::vector<unsigned short> separate(1000);
    ASSERT_EQ(MapHitDataToColorRange(h.data(), 0.2f, 0.7f, separate.data(), 1000), 0);
    ASSERT_EQ(MapHitDataToColorRange(h.data(), 0.2f, 0.7f, h.data(), 1000), 0);
    EXPECT_EQ(h, separate);
}

TEST(PersistenceDisplay, HitCountsTruncateWhateverTheRoundingModeAndLeaveItAlone) {
    const std::vector<unsigned short> h = HitData(517, 11);
    std::vector<unsigned short> nearest(517), other(517);
    // low * 65535 = 6553.4999..: truncation gives 6553 in every mode.
    const float low = 0.1f, high = 0.3f;
    ASSERT_EQ(MapHitDataToColorRange(h.data(), low, high, nearest.data(), 517), 0);
    for (int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        const int status = MapHitDataToColorRange(h.data(), low, high, other.data(), 517);
        const int after = std::fegetround();
        std::fesetround(FE_TONEAREST);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(after, mode);
        EXPECT_EQ(other, nearest) << "mode " << mode;
    }
}

TEST(PersistenceDisplay, HitsRefuseNullAndEmptyWithoutWriting) {
    unsigned short h[3] = {1, 2, 3}, c[3] = {9, 9, 9};
    EXPECT_EQ(MapHitDataToColorRange(nullptr, 0, 1, c, 3), -8);
    EXPECT_EQ(MapHitDataToColorRange(h, 0, 1, nullptr, 3), -8);
    EXPECT_EQ(MapHitDataToColorRange(h, 0, 1, c, 0), -6);
    EXPECT_EQ(MapHitDataToColorRange(h, 0, 1, c, -1), -6);
    for (unsigned short x : c)
        EXPECT_EQ(x, 9);
}

// ---------------------------------------------------------------- stretch

struct Image {
    int width = 0, height = 0, step = 0;
    std::vector<uint8_t> px;
    Image(int w, int h, int padding = 0) : width(w), height(h), step(4 * w + padding), px(size_t(step) * h) {}
    uint8_t* At(int x, int y) { return px.data() + size_t(y) * step + 4 * size_t(x); }
    const uint8_t* At(int x, int y) const { return px.data() + size_t(y) * step + 4 * size_t(x); }
};

Image RandomImage(int w, int h, unsigned seed, int padding = 0) {
    Image im(w, h, padding);
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> u(0, 255);
    for (auto& b : im.px)
        b = static_cast<uint8_t>(u(gen));
    return im;
}

// A smooth picture with sharp edges: gradients, a disc and a bar.
Image PatternImage(int w, int h) {
    Image im(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = im.At(x, y);
            const double r = std::hypot(x - 0.4 * w, y - 0.5 * h);
            p[0] = static_cast<uint8_t>(255.0 * x / (w - 1));
            p[1] = static_cast<uint8_t>(255.0 * y / (h - 1));
            p[2] = r < 0.2 * h ? 250 : 10;
            p[3] = (x / 3) % 4 == 0 ? 255 : 0;
        }
    return im;
}

struct Stretch {
    int dstW, dstH;
    double fx, fy, cx, cy;
    IppiRect roi;
};

int StretchImage(const Image& src, Image& dst, const Stretch& s, int mode) {
    return StretchBitmap(src.px.data(), IppiSize{src.width, src.height}, src.step, s.roi, dst.px.data(),
                         dst.step, IppiSize{s.dstW, s.dstH}, s.fx, s.fy, s.cx, s.cy, mode);
}

const int kModes[] = {StretchNearest, StretchLinear, StretchCubic, StretchSuperSample};

// Enlarging, shrinking, mixed, about centres inside, outside and between pixels, with rectangles that
// cover the image or part of it, at the display's aspect.
std::vector<Stretch> Stretches(int w, int h) {
    return {
        {2 * w, 2 * h, 2.0, 2.0, 0.0, 0.0, {0, 0, w, h}},
        {w + 7, h + 5, 1.37, 2.9, 3.25, -1.5, {0, 0, w, h}},
        {w, h, 0.5, 0.75, w / 2.0, h / 2.0, {0, 0, w, h}},
        {3 * w, h, 3.3, 0.61, 0.5, 0.5, {2, 1, w - 5, h - 3}},
        {w / 2, 3 * h, 0.33, 4.0, -10.0, 40.0, {0, 0, w, h}},
        {w + 3, h + 3, 1.0, 1.7, 5.5, 2.25, {1, 1, w - 2, h - 2}},
        {2 * w, 2 * h, 1.0 / 3.0, 1.0 / 7.0, w / 3.0, h / 4.0, {0, 0, w, h}},
    };
}

// The documented definition evaluated directly, pixel by pixel in double, without rounding: the
// unrounded channel values of the destination, NaN where a pixel is not written.
std::vector<double> ExactStretch(const Image& src, const Stretch& s, int mode) {
    const int x0 = std::max(s.roi.x, 0), y0 = std::max(s.roi.y, 0);
    const int x1 = std::min(s.roi.x + s.roi.width, src.width) - 1;
    const int y1 = std::min(s.roi.y + s.roi.height, src.height) - 1;
    auto toSource = [](int d, double c, double f) { return f == 1.0 ? double(d) : c + (d - c) / f; };
    auto keys = [](double x) {
        x = std::fabs(x);
        if (x <= 1) return 1.5 * x * x * x - 2.5 * x * x + 1;
        if (x < 2) return -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2;
        return 0.0;
    };
    auto taps = [&](double p, double f, int lo, int hi) {
        std::vector<std::pair<int, double>> t;
        auto clamp = [lo, hi](double j) {
            return static_cast<int>(std::min<double>(std::max<double>(j, lo), hi));
        };
        if (mode == StretchNearest) {
            t.push_back({clamp(std::floor(p + 0.5)), 1.0});
        } else if (mode == StretchLinear) {
            const double i = std::floor(p);
            t.push_back({clamp(i), 1 - (p - i)});
            t.push_back({clamp(i + 1), p - i});
        } else if (mode == StretchCubic) {
            const double i = std::floor(p);
            for (int k = -1; k <= 2; ++k)
                t.push_back({clamp(i + k), keys(p - i - k)});
        } else {
            const double a = std::max(p - 0.5 / f, lo - 0.5), b = std::min(p + 0.5 / f, hi + 0.5);
            double total = 0;
            for (int j = lo; j <= hi; ++j) {
                const double o = std::min(b, j + 0.5) - std::max(a, j - 0.5);
                if (o > 0) {
                    t.push_back({j, o});
                    total += o;
                }
            }
            if (total <= 0)
                t.assign(1, {clamp(std::floor(p + 0.5)), 1.0});
            else
                for (auto& e : t)
                    e.second /= total;
        }
        return t;
    };
    std::vector<double> out(size_t(4) * s.dstW * s.dstH, std::nan(""));
    for (int yd = 0; yd < s.dstH; ++yd) {
        const double ys = toSource(yd, s.cy, s.fy);
        if (!(ys >= y0 && ys <= y1)) continue;
        const auto ty = taps(ys, s.fy, y0, y1);
        for (int xd = 0; xd < s.dstW; ++xd) {
            const double xs = toSource(xd, s.cx, s.fx);
            if (!(xs >= x0 && xs <= x1)) continue;
            const auto tx = taps(xs, s.fx, x0, x1);
            for (int c = 0; c < 4; ++c) {
                double v = 0;
                for (const auto& [jy, wy] : ty)
                    for (const auto& [jx, wx] : tx)
                        v += wy * wx * src.At(jx, jy)[c];
                out[(size_t(yd) * s.dstW + xd) * 4 + c] = v;
            }
        }
    }
    return out;
}

// Every channel of `got` is the exact value rounded half up and saturated, or, where the exact value
// lies within 1e-3 of a half (float and double sums may fall on either side), one of its two
// neighbours. Pixels that are not written keep `sentinel`. Returns the count of near-half differences.
int ExpectRoundedExact(const Image& got, const std::vector<double>& exact, uint8_t sentinel,
                       const std::string& what) {
    int nearHalf = 0, failures = 0;
    for (int y = 0; y < got.height; ++y)
        for (int x = 0; x < got.width; ++x)
            for (int c = 0; c < 4; ++c) {
                const double v = exact[(size_t(y) * got.width + x) * 4 + c];
                const int g = got.At(x, y)[c];
                bool ok;
                if (std::isnan(v)) {
                    ok = g == sentinel;
                } else {
                    const int want = static_cast<int>(std::clamp(std::floor(v + 0.5), 0.0, 255.0));
                    const bool tie = std::fabs(v - std::floor(v) - 0.5) < 1e-3;
                    ok = g == want || (tie && std::abs(g - want) == 1 && g >= 0 && g <= 255);
                    nearHalf += g != want;
                }
                if (!ok && failures++ < 5)
                    ADD_FAILURE() << what << " at (" << x << ", " << y << ")[" << c << "]: " << g
                                  << ", exact " << v;
            }
    return nearHalf;
}

// Every level, the reference included, against the definition. Nearest mode involves no arithmetic
// and must match exactly; the others may differ from it only by the rounding of near-halves.
TEST(PersistenceDisplay, EveryLevelMatchesTheDefinitionUpToNearHalves) {
    const Image src = RandomImage(53, 37, 3);
    const Image pattern = PatternImage(61, 29);
    const Image wide = RandomImage(300, 13, 9);  // destinations wider than one strip of columns
    int nearHalves = 0, values = 0;
    for (const Image* im : {&src, &pattern, &wide}) {
        for (const Stretch& s : Stretches(im->width, im->height)) {
            for (int mode : kModes) {
                const std::vector<double> exact = ExactStretch(*im, s, mode);
                for (kern::Variant v : SupportedLevels()) {
                    ForceLevel level(v);
                    Image got(s.dstW, s.dstH, 12);
                    std::fill(got.px.begin(), got.px.end(), 0x5A);
                    ASSERT_EQ(StretchImage(*im, got, s, mode), 0);
                    const std::string what = std::string(kern::VariantName(v)) + " mode " +
                                             std::to_string(mode) + " factors " + std::to_string(s.fx) +
                                             " x " + std::to_string(s.fy);
                    const int n = ExpectRoundedExact(got, exact, 0x5A, what);
                    for (int y = 0; y < got.height; ++y)  // nothing beyond a row's pixels
                        for (int b = 4 * got.width; b < got.step; ++b)
                            ASSERT_EQ(got.px[size_t(y) * got.step + b], 0x5A) << what;
                    if (mode == StretchNearest) {
                        EXPECT_EQ(n, 0) << what;
                    }
                    nearHalves += n;
                    values += static_cast<int>(exact.size());
                }
            }
        }
    }
    // Near-halves are rare: exact ties with weights that no binary fraction holds (thirds, fifths).
    EXPECT_LT(nearHalves, values / 100);
    std::printf("  %d of %d channel values rounded the other way at a near-half\n", nearHalves, values);
}

// A display-sized destination (beyond the second-level cache, written with streaming stores where its
// rows are aligned; a padding of 4 bytes leaves rows unaligned) and an enlargement whose rows repeat
// their vertical taps, so that several destination rows are blended from one load of the source rows.
TEST(PersistenceDisplay, DisplaySizedStretchesMatchTheDefinitionAtEveryLevel) {
    const Image src = RandomImage(401, 128, 31);
    for (int padding : {0, 4}) {
        const Stretch s{1024, 768, 1024.0 / 401, 768.0 / 128, 0.0, 0.0, IppiRect{0, 0, 401, 128}};
        for (int mode : {StretchLinear, StretchCubic, StretchSuperSample}) {
            const std::vector<double> exact = ExactStretch(src, s, mode);
            for (kern::Variant v : SupportedLevels()) {
                ForceLevel level(v);
                Image got(s.dstW, s.dstH, padding);
                std::fill(got.px.begin(), got.px.end(), 0x5A);
                ASSERT_EQ(StretchImage(src, got, s, mode), 0);
                const std::string what = std::string(kern::VariantName(v)) + " mode " + std::to_string(mode) +
                                         " padding " + std::to_string(padding);
                const int n = ExpectRoundedExact(got, exact, 0x5A, what);
                EXPECT_LT(n, static_cast<int>(exact.size()) / 100) << what;
                for (int y = 0; y < got.height; ++y)
                    for (int b = 4 * got.width; b < got.step; ++b)
                        ASSERT_EQ(got.px[size_t(y) * got.step + b], 0x5A) << what;
            }
        }
    }
}

// An independent numpy evaluation of the documented geometry and kernels, pixel by pixel: the reference
// level against it, and the test's own evaluation (used for every level above) against it.
TEST(PersistenceDisplay, ReferenceMatchesAnIndependentNumpyEvaluation) {
    const Image src = RandomImage(11, 8, 21);
    const std::vector<Stretch> cases = {
        {23, 17, 2.0, 2.0, 0.0, 0.0, {0, 0, 11, 8}},
        {19, 13, 1.6, 1.45, 5.3, 3.7, {1, 2, 8, 5}},
        {9, 9, 0.7, 0.55, 2.0, 6.5, {0, 0, 11, 8}},
        {25, 20, 2.5, 3.0, 12.0, -2.0, {0, 0, 11, 8}},
    };
    ForceLevel level(kern::Variant::Reference);
    for (const Stretch& s : cases) {
        for (int mode : kModes) {
            Image got(s.dstW, s.dstH);
            std::fill(got.px.begin(), got.px.end(), 77);
            ASSERT_EQ(StretchImage(src, got, s, mode), 0);
            std::vector<double> image(src.px.begin(), src.px.end());
            const std::vector<double> params = {double(src.width),
                                                double(src.height),
                                                double(s.dstW),
                                                double(s.dstH),
                                                s.fx,
                                                s.fy,
                                                s.cx,
                                                s.cy,
                                                double(s.roi.x),
                                                double(s.roi.y),
                                                double(s.roi.width),
                                                double(s.roi.height),
                                                double(mode)};
            const std::vector<double> want = PyEval(R"(
import math
W, H, DW, DH, fx, fy, cx, cy, rx, ry, rw, rh, mode = a1
W, H, DW, DH, rx, ry, rw, rh, mode = map(int, (W, H, DW, DH, rx, ry, rw, rh, mode))
img = a0.reshape(H, W, 4)
x0, y0, x1, y1 = max(rx, 0), max(ry, 0), min(rx + rw, W) - 1, min(ry + rh, H) - 1
def src_of(d, c, f):
    return float(d) if f == 1.0 else c + (d - c) / f
def keys(x):
    x = abs(x); a = -0.5
    if x <= 1: return (a + 2) * x**3 - (a + 3) * x**2 + 1
    if x < 2: return a * x**3 - 5 * a * x**2 + 8 * a * x - 4 * a
    return 0.0
def taps(s, f, lo, hi):
    cl = lambda j: min(max(j, lo), hi)
    if mode == 1: return [(cl(math.floor(s + 0.5)), 1.0)]
    i = math.floor(s); t = s - i
    if mode == 2: return [(cl(i), 1 - t), (cl(i + 1), t)]
    if mode == 4: return [(cl(i - 1 + k), keys(t - (k - 1))) for k in range(4)]
    a, b = max(s - 0.5 / f, lo - 0.5), min(s + 0.5 / f, hi + 0.5)
    w = [(j, max(0.0, min(b, j + 0.5) - max(a, j - 0.5))) for j in range(lo, hi + 1)]
    tot = sum(v for _, v in w)
    if tot <= 0: return [(cl(math.floor(s + 0.5)), 1.0)]
    return [(j, v / tot) for j, v in w if v > 0]
out = np.full((DH, DW, 4), np.nan)
for yd in range(DH):
    ys = src_of(yd, cy, fy)
    if not (y0 <= ys <= y1): continue
    ty = taps(ys, fy, y0, y1)
    for xd in range(DW):
        xs = src_of(xd, cx, fx)
        if not (x0 <= xs <= x1): continue
        acc = np.zeros(4)
        for jy, wy in ty:
            for jx, wx in taps(xs, fx, x0, x1):
                acc += wy * wx * img[jy, jx]
        out[yd, xd] = acc
)",
                                                    {image, params});
            ASSERT_EQ(want.size(), got.px.size());
            ExpectRoundedExact(got, want, 77, "numpy, mode " + std::to_string(mode));
            // The test's own evaluation of the definition agrees with numpy's to rounding.
            const std::vector<double> exact = ExactStretch(src, s, mode);
            for (size_t i = 0; i < want.size(); ++i) {
                if (std::isnan(want[i]))
                    EXPECT_TRUE(std::isnan(exact[i])) << i;
                else
                    EXPECT_NEAR(exact[i], want[i], 1e-9) << i;
            }
        }
    }
}

TEST(PersistenceDisplay, FactorsOfOneCopyTheRectangleExactlyWhateverTheCentre) {
    const Image src = RandomImage(47, 31, 8, 5);
    const IppiRect roi{3, 2, 40, 27};
    for (kern::Variant v : SupportedLevels()) {
        ForceLevel level(v);
        for (int mode : kModes) {
            for (double c : {0.0, 0.1, -13.37, 1e6, 23.5}) {
                Image dst(47, 31);
                std::fill(dst.px.begin(), dst.px.end(), 0x11);
                ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{47, 31}, src.step, roi, dst.px.data(),
                                        dst.step, IppiSize{47, 31}, 1.0, 1.0, c, -c / 3, mode),
                          0);
                for (int y = 0; y < 31; ++y)
                    for (int x = 0; x < 47; ++x) {
                        const bool inside = x >= 3 && x < 43 && y >= 2 && y < 29;
                        for (int ch = 0; ch < 4; ++ch)
                            ASSERT_EQ(dst.At(x, y)[ch], inside ? src.At(x, y)[ch] : 0x11)
                                << kern::VariantName(v) << " mode " << mode << " centre " << c << " at " << x
                                << "," << y;
                    }
            }
        }
    }
}

TEST(PersistenceDisplay, MappingIsDestinationToSourceAboutTheCentre) {
    // One bright pixel at (6, 4) in a dark 16 x 12 image, enlarged 3 times about (4, 2): nearest puts it
    // where 4 + (xd - 4) / 3 rounds to 6, that is xd = 9, 10, 11 (xs = 5.67, 6, 6.33), and yd = 7, 8, 9.
    Image src(16, 12);
    std::fill(src.px.begin(), src.px.end(), 0);
    std::memset(src.At(6, 4), 200, 4);
    for (kern::Variant v : SupportedLevels()) {
        ForceLevel level(v);
        Image dst(40, 30);
        ASSERT_EQ(
            StretchBitmap(src.px.data(), IppiSize{16, 12}, src.step, IppiRect{0, 0, 16, 12}, dst.px.data(),
                          dst.step, IppiSize{40, 30}, 3.0, 3.0, 4.0, 2.0, StretchNearest),
            0);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) {
                const bool lit = x >= 9 && x <= 11 && y >= 7 && y <= 9;
                EXPECT_EQ(dst.At(x, y)[0], lit ? 200 : 0) << kern::VariantName(v) << " " << x << "," << y;
            }
    }
}

TEST(PersistenceDisplay, OnlyPixelsThatMapIntoTheRectangleAreWritten) {
    const Image src = RandomImage(20, 10, 4);
    for (kern::Variant v : SupportedLevels()) {
        ForceLevel level(v);
        for (int mode : kModes) {
            // Shrunk by 2 about the origin: xs = 2 xd lies in [0, 19] for xd <= 9, ys in [0, 9] for yd <= 4.
            Image dst(30, 30);
            std::fill(dst.px.begin(), dst.px.end(), 0xC3);
            ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{20, 10}, src.step, IppiRect{0, 0, 20, 10},
                                    dst.px.data(), dst.step, IppiSize{30, 30}, 0.5, 0.5, 0.0, 0.0, mode),
                      0);
            int written = 0;
            for (int y = 0; y < 30; ++y)
                for (int x = 0; x < 30; ++x) {
                    const bool expected = x <= 9 && y <= 4;
                    const bool changed = std::memcmp(dst.At(x, y), "\xC3\xC3\xC3\xC3", 4) != 0;
                    if (!expected) {
                        EXPECT_FALSE(changed) << "mode " << mode << " " << x << "," << y;
                    }
                    written += expected;
                }
            EXPECT_EQ(written, 50);
            // Nearest takes every second pixel exactly.
            if (mode == StretchNearest) {
                for (int y = 0; y <= 4; ++y)
                    for (int x = 0; x <= 9; ++x)
                        EXPECT_EQ(std::memcmp(dst.At(x, y), src.At(2 * x, 2 * y), 4), 0);
            }
        }
    }
}

TEST(PersistenceDisplay, SuperSamplingAveragesTheFootprint) {
    // Halving about the origin: the footprint of xd is [2xd - 1, 2xd + 1], so pixel 2xd counts fully and
    // its two neighbours half (clipped at the rectangle's edge): weights 1/4, 1/2, 1/4 per axis.
    Image src(8, 8);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            for (int c = 0; c < 4; ++c)
                src.At(x, y)[c] = static_cast<uint8_t>(10 * x + 20 * y + c);
    for (kern::Variant v : SupportedLevels()) {
        ForceLevel level(v);
        Image dst(4, 4);
        ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{8, 8}, src.step, IppiRect{0, 0, 8, 8}, dst.px.data(),
                                dst.step, IppiSize{4, 4}, 0.5, 0.5, 0.0, 0.0, StretchSuperSample),
                  0);
        // Interior: a linear picture averages to its value at the centre. At x = 0 only [-0.5, 1] is
        // inside: weights 1 and 1/2 over 1.5, mean 10/3 for the x part.
        EXPECT_EQ(dst.At(1, 1)[0], 10 * 2 + 20 * 2);
        EXPECT_EQ(dst.At(2, 3)[3], 10 * 4 + 20 * 6 + 3);
        EXPECT_EQ(dst.At(0, 1)[0], static_cast<int>(std::floor(10.0 / 3 + 40 + 0.5)));
    }
}

TEST(PersistenceDisplay, EdgesRepeatBeyondTheRectangle) {
    // A 2 x 1 rectangle enlarged: cubic taps beyond it repeat its two pixels, so a constant picture stays
    // constant and a step stays within its two values.
    Image src(2, 1);
    std::memset(src.At(0, 0), 40, 4);
    std::memset(src.At(1, 0), 200, 4);
    for (kern::Variant v : SupportedLevels()) {
        ForceLevel level(v);
        for (int mode : kModes) {
            Image dst(9, 3);
            ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{2, 1}, src.step, IppiRect{0, 0, 2, 1},
                                    dst.px.data(), dst.step, IppiSize{9, 3}, 8.0, 5.0, 0.0, 0.0, mode),
                      0);
            EXPECT_EQ(dst.At(0, 0)[0], 40);
            EXPECT_EQ(dst.At(8, 0)[2], 200);
            for (int x = 0; x <= 8; ++x) {
                EXPECT_GE(dst.At(x, 0)[1], 40);
                EXPECT_LE(dst.At(x, 0)[1], 200);
            }
            if (mode == StretchLinear) {
                EXPECT_EQ(dst.At(4, 0)[0], 120);  // halfway
            }
        }
    }
}

TEST(PersistenceDisplay, RectangleIsClippedToTheBitmap) {
    const Image src = RandomImage(30, 20, 6);
    for (int mode : kModes) {
        Image a(50, 40), b(50, 40);
        std::fill(a.px.begin(), a.px.end(), 1);
        std::fill(b.px.begin(), b.px.end(), 1);
        ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{30, 20}, src.step, IppiRect{-5, -3, 100, 100},
                                a.px.data(), a.step, IppiSize{50, 40}, 1.6, 1.9, 2.0, 3.0, mode),
                  0);
        ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{30, 20}, src.step, IppiRect{0, 0, 30, 20},
                                b.px.data(), b.step, IppiSize{50, 40}, 1.6, 1.9, 2.0, 3.0, mode),
                  0);
        EXPECT_EQ(a.px, b.px) << "mode " << mode;
        // A rectangle that misses the bitmap writes nothing.
        ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{30, 20}, src.step, IppiRect{30, 0, 5, 5}, a.px.data(),
                                a.step, IppiSize{50, 40}, 1.0, 1.0, 0.0, 0.0, mode),
                  0);
        ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{30, 20}, src.step, IppiRect{2147483600, 0, 100, 5},
                                a.px.data(), a.step, IppiSize{50, 40}, 1.0, 1.0, 0.0, 0.0, mode),
                  0);
        EXPECT_EQ(a.px, b.px);
    }
}

TEST(PersistenceDisplay, StretchWorksInPlace) {
    for (int mode : kModes) {
        Image buf = RandomImage(40, 30, 12);
        Image separate(40, 30);
        separate.px = buf.px;
        const Image src = buf;
        ASSERT_EQ(
            StretchBitmap(src.px.data(), IppiSize{40, 30}, src.step, IppiRect{0, 0, 40, 30},
                          separate.px.data(), separate.step, IppiSize{40, 30}, 1.8, 1.3, 10.0, 7.0, mode),
            0);
        ASSERT_EQ(StretchBitmap(buf.px.data(), IppiSize{40, 30}, buf.step, IppiRect{0, 0, 40, 30},
                                buf.px.data(), buf.step, IppiSize{40, 30}, 1.8, 1.3, 10.0, 7.0, mode),
                  0);
        EXPECT_EQ(buf.px, separate.px) << "mode " << mode;
    }
}

TEST(PersistenceDisplay, StretchStatusesComeInTheirOrder) {
    Image src(8, 8), dst(8, 8);
    const IppiSize s8{8, 8};
    const IppiRect r8{0, 0, 8, 8};
    auto call = [&](const Ipp8u* s, IppiSize ss, int sstep, IppiRect roi, Ipp8u* d, int dstep, IppiSize ds,
                    double fx, double fy, int mode) {
        return StretchBitmap(s, ss, sstep, roi, d, dstep, ds, fx, fy, 4.0, 4.0, mode);
    };
    const Ipp8u* sp = src.px.data();
    Ipp8u* dp = dst.px.data();
    EXPECT_EQ(call(sp, s8, 32, r8, dp, 32, s8, 2, 2, 2), 0);
    for (int mode : {1, 2, 4, 8})
        EXPECT_EQ(call(sp, s8, 32, r8, dp, 32, s8, 2, 2, mode), 0) << mode;
    // Each failure alone.
    EXPECT_EQ(call(nullptr, s8, 32, r8, dp, 32, s8, 2, 2, 2), -8);
    EXPECT_EQ(call(sp, s8, 32, r8, nullptr, 32, s8, 2, 2, 2), -8);
    for (IppiSize bad : {IppiSize{0, 8}, IppiSize{8, 0}, IppiSize{-1, 8}}) {
        EXPECT_EQ(call(sp, bad, 32, r8, dp, 32, s8, 2, 2, 2), -6);
        EXPECT_EQ(call(sp, s8, 32, r8, dp, 32, bad, 2, 2, 2), -6);
    }
    for (IppiRect bad : {IppiRect{0, 0, 0, 8}, IppiRect{0, 0, 8, -2}})
        EXPECT_EQ(call(sp, s8, 32, bad, dp, 32, s8, 2, 2, 2), -6);
    EXPECT_EQ(call(sp, s8, 0, r8, dp, 32, s8, 2, 2, 2), -14);
    EXPECT_EQ(call(sp, s8, 32, r8, dp, -32, s8, 2, 2, 2), -14);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (double f : {0.0, -1.0, nan}) {
        EXPECT_EQ(call(sp, s8, 32, r8, dp, 32, s8, f, 2, 2), -23) << f;
        EXPECT_EQ(call(sp, s8, 32, r8, dp, 32, s8, 2, f, 2), -23) << f;
    }
    for (int mode : {0, 3, 5, 6, 7, 9, 16, -1, 1 << 30})
        EXPECT_EQ(call(sp, s8, 32, r8, dp, 32, s8, 2, 2, mode), -22) << mode;
    // Several at once: the first in the order null, size, step, factor, mode.
    EXPECT_EQ(call(nullptr, IppiSize{0, 0}, 0, r8, dp, 0, s8, 0, 0, 3), -8);
    EXPECT_EQ(call(sp, IppiSize{0, 0}, 0, r8, dp, 0, s8, 0, 0, 3), -6);
    EXPECT_EQ(call(sp, s8, 0, r8, dp, 32, s8, 0, 0, 3), -14);
    EXPECT_EQ(call(sp, s8, 32, r8, dp, 32, s8, 0, 0, 3), -23);
    EXPECT_EQ(call(sp, s8, 32, r8, dp, 32, s8, 1, 1, 3), -22);
}

// Status -9 of the stretch: a destination over its own source rectangle is resized from a copy of the
// rectangle; when that copy (256 MiB here) cannot be had, nothing is written.
TEST(PersistenceDisplay, StretchInPlaceReportsACopyItCannotAllocate) {
    if (kAddressSanitizer) GTEST_SKIP() << "the address sanitizer reserves the address space itself";
    constexpr int w = 8192, h = 8192;
    // Left uninitialised, so that its pages are never touched: it costs address space, not memory.
    std::unique_ptr<Ipp8u[]> buf(new (std::nothrow) Ipp8u[size_t(4) * w * h]);
    ASSERT_TRUE(buf);
    for (int i = 0; i < 64; ++i)
        buf[size_t(i) * 4 * w * 128] = static_cast<Ipp8u>(i);
    const int code = WithLittleAddressSpace([&buf] {
        const int status = StretchBitmap(buf.get(), IppiSize{w, h}, 4 * w, IppiRect{0, 0, w, h}, buf.get(),
                                         4 * w, IppiSize{w, h}, 2.0, 2.0, 0.0, 0.0, StretchLinear);
        if (status != -9) return 1;
        for (int i = 0; i < 64; ++i)
            if (buf[size_t(i) * 4 * w * 128] != static_cast<Ipp8u>(i)) return 2;
        return 0;
    });
    EXPECT_EQ(code, 0);
}

TEST(PersistenceDisplay, ExtremeFactorsAndCentresWriteSafely) {
    const Image src = RandomImage(16, 16, 2);
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Odd {
        double fx, fy, cx, cy;
    };
    for (const Odd o :
         {Odd{1e-300, 1e-300, 3, 3}, Odd{1e300, 1e300, 3, 3}, Odd{inf, inf, 3.5, 7.25}, Odd{2, 2, nan, 3},
          Odd{2, 2, inf, -inf}, Odd{5e-324, 1, 0, 0}, Odd{1e-9, 1e-9, 8, 8}}) {
        for (kern::Variant v : SupportedLevels()) {
            ForceLevel level(v);
            for (int mode : kModes) {
                Image dst(16, 16);
                ASSERT_EQ(
                    StretchBitmap(src.px.data(), IppiSize{16, 16}, src.step, IppiRect{0, 0, 16, 16},
                                  dst.px.data(), dst.step, IppiSize{16, 16}, o.fx, o.fy, o.cx, o.cy, mode),
                    0);
            }
        }
    }
    // An infinite factor maps every destination pixel onto the centre: one uniform colour.
    Image dst(5, 5);
    ASSERT_EQ(StretchBitmap(src.px.data(), IppiSize{16, 16}, src.step, IppiRect{0, 0, 16, 16}, dst.px.data(),
                            dst.step, IppiSize{5, 5}, inf, inf, 7.0, 9.0, StretchLinear),
              0);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(std::memcmp(dst.At(x, y), src.At(7, 9), 4), 0);
}

TEST(PersistenceDisplay, SteadyStretchAllocatesNothing) {
    const Image src = RandomImage(200, 64, 1);
    Image dst(256, 192);
    for (int mode : kModes) {
        ASSERT_EQ(StretchImage(src, dst, Stretch{256, 192, 1.28, 3.0, 0.0, 0.0, {0, 0, 200, 64}}, mode), 0);
        const long long before = kern::AllocationCount();
        for (int i = 0; i < 5; ++i)
            ASSERT_EQ(StretchImage(src, dst, Stretch{256, 192, 1.28, 3.0, 0.0, 0.0, {0, 0, 200, 64}}, mode),
                      0);
        EXPECT_EQ(kern::AllocationCount(), before) << "mode " << mode;
    }
}

}  // namespace
