// Helpers of the window tests: the sizes every shape is checked at, and a comparison of a window kind
// with a scipy/numpy oracle over all of them in one python call.
#pragma once

#include <corvane/dsp/Window.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/TestUtil.h"

namespace corvane_test {

// Opens the protected state of a window kind to the tests (inheriting its constructors).
template <class W>
struct Probe : W {
    using W::W;
    float Para() const { return this->para; }
    float Reserved() const { return this->reserved; }
    auto Mode() const { return this->mode; }
    int Nbar() const { return this->nbar; }
    float NBScaleFactor() const { return this->GetNBScaleFactor(); }
    // The stored vector: 2N floats, each coefficient twice.
    const VELA::VecReal32& Stored() const { return this->coefficients; }
};

// N = 2 .. 64, then two long odd and even windows.
inline std::vector<int> WindowSizes() {
    std::vector<int> n;
    for (int i = 2; i <= 64; ++i)
        n.push_back(i);
    n.push_back(1000);
    n.push_back(4097);
    return n;
}

inline std::vector<double> Coefficients(const VELA::Window& w) {
    VELA::VecReal32 c;
    w.GetCoefficients(c);
    std::vector<double> r(static_cast<size_t>(c.GetSize()));
    for (int i = 0; i < c.GetSize(); ++i)
        r[static_cast<size_t>(i)] = c[i];
    return r;
}

// One python call for a whole window kind. For every parameter set p (rows of `params`) and every size
// N, builds our window with make(N, p) and compares it with the reference that `pyWindow` computes:
// python code that sees the sizes as a0 and the parameter sets as the rows of P, and assigns `out` as the
// concatenation, parameter sets outer and sizes inner, of each reference window divided by its sum.
// Every coefficient must lie within relTol of that window's reference peak. Returns the worst
// |ours - reference| / peak seen.
using WindowMaker = std::function<std::unique_ptr<VELA::Window>(int n, const std::vector<double>& p)>;
inline double ExpectMatchesOracle(const WindowMaker& make, const std::string& pyWindow,
                                  const std::vector<int>& sizes,
                                  const std::vector<std::vector<double>>& params = {{}},
                                  double relTol = 1e-6) {
    const size_t stride = params.front().size();
    std::vector<double> ns(sizes.begin(), sizes.end()), flat, shape{static_cast<double>(stride)};
    for (const auto& p : params)
        flat.insert(flat.end(), p.begin(), p.end());
    if (flat.empty()) flat.push_back(0.0);  // numpy cannot read an empty file; P is then one empty row
    const std::string code =
        "P = a1.reshape(-1, int(a2[0])) if int(a2[0]) > 0 else np.zeros((1, 0))\n" + pyWindow;
    const std::vector<double> ref = PyEval(code, {ns, flat, shape});
    size_t total = 0;
    for (int n : sizes)
        total += static_cast<size_t>(n);
    EXPECT_EQ(ref.size(), total * params.size());
    if (ref.size() != total * params.size()) return INFINITY;
    size_t at = 0;
    double worst = 0;
    for (const auto& p : params) {
        for (int n : sizes) {
            SCOPED_TRACE(testing::Message()
                         << "N=" << n << (p.empty() ? "" : " p[0]=") << (p.empty() ? 0.0 : p[0]));
            const auto w = make(n, p);
            const std::vector<double> ours = Coefficients(*w);
            EXPECT_EQ(ours.size(), static_cast<size_t>(n));
            const std::vector<double> expected(ref.begin() + static_cast<long>(at),
                                               ref.begin() + static_cast<long>(at + static_cast<size_t>(n)));
            at += static_cast<size_t>(n);
            if (ours.size() != expected.size()) continue;
            double peak = 0;
            for (double v : expected)
                peak = std::max(peak, std::fabs(v));
            EXPECT_GT(peak, 0.0);
            EXPECT_TRUE(NearAbs(ours, expected, relTol * peak));
            for (size_t i = 0; i < ours.size(); ++i)
                worst = std::max(worst, std::fabs(ours[i] - expected[i]) / peak);
        }
    }
    return worst;
}

// Leaves the worst error of an oracle comparison in the test's XML record (--gtest_output=xml).
inline void RecordWorst(double worst) {
    testing::Test::RecordProperty("worst_error_over_peak", (testing::Message() << worst).GetString());
}

}  // namespace corvane_test
