// Curves shared by the interpolation tests.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/TestUtil.h"
#include "support/VecData.h"

namespace corvane_test {

// Knots 1, 3, 5, 9, 14, 15 with values 0, 1, -1, 4, 10, 0, and the 143 queries 0.9, 1.0, ..., 15.1
// (query i = i * 0.1 + 0.9).
struct CommonCurve {
    std::vector<double> x{1, 3, 5, 9, 14, 15};
    std::vector<double> y{0, 1, -1, 4, 10, 0};
    std::vector<double> q;
    CommonCurve() {
        for (int i = 0; i < 143; ++i)
            q.push_back(i * 0.1 + 0.9);
    }
};

// n strictly ascending knots with random gaps in [0.05, 1.05) from `seed`, starting at -3; values of a
// smooth curve with noise.
struct RandomCurve {
    std::vector<double> x, y;
    RandomCurve(int n, unsigned seed) {
        const std::vector<double> gaps = Uniform(static_cast<size_t>(n), seed, 0.05, 1.05);
        const std::vector<double> noise = Uniform(static_cast<size_t>(n), seed + 1, -0.5, 0.5);
        double at = -3.0;
        for (int i = 0; i < n; ++i) {
            x.push_back(at);
            y.push_back(std::sin(0.7 * at) * 3 + noise[static_cast<size_t>(i)]);
            at += gaps[static_cast<size_t>(i)];
        }
    }
    // `m` queries spread over the knots and a little beyond both ends, in random order.
    std::vector<double> Queries(int m, unsigned seed) const {
        const double span = x.back() - x.front();
        return Uniform(static_cast<size_t>(m), seed, x.front() - 0.1 * span, x.back() + 0.1 * span);
    }
};

}  // namespace corvane_test
