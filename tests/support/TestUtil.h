// Shared helpers of the test suite: one tolerance check for vectors, seeded random data, a scratch
// working directory, and a bridge to numpy/scipy (/usr/bin/python3) as an independent oracle.
#pragma once

#include <corvane/math/VELAError.h>
#include <gtest/gtest.h>

#include <complex>
#include <random>
#include <string>
#include <vector>

namespace corvane_test {

// Relative L2 error ||a - b|| / ||b|| (||a - b|| when b is zero) and max |a - b|.
struct ErrorStats {
    double relL2 = 0;
    double maxAbs = 0;
    size_t firstBad = 0;
};
ErrorStats Compare(const std::vector<double>& actual, const std::vector<double>& expected);

// gtest assertion: relative L2 error within `relTol`; on failure prints the first mismatches.
::testing::AssertionResult NearL2(const std::vector<double>& actual, const std::vector<double>& expected,
                                  double relTol);
// gtest assertion: every |a - b| <= absTol; on failure prints the first mismatches.
::testing::AssertionResult NearAbs(const std::vector<double>& actual, const std::vector<double>& expected,
                                   double absTol);

// Uniform values in [lo, hi) from a fixed seed.
std::vector<double> Uniform(size_t n, unsigned seed, double lo = -1.0, double hi = 1.0);

// Runs `code` in /usr/bin/python3 with numpy as np (and scipy importable). Inputs are visible as
// float64 arrays a0, a1, ...; the code must assign `out` (any shape; complex is returned as interleaved
// re, im). Fails the current test (and returns empty) when python fails.
std::vector<double> PyEval(const std::string& code, const std::vector<std::vector<double>>& inputs);

// Changes into a fresh empty directory for the life of the object (fixed-name files stay apart).
class ScopedWorkDir {
  public:
    ScopedWorkDir();
    ~ScopedWorkDir();
    const std::string& Path() const { return path_; }

  private:
    std::string old_;
    std::string path_;
};

// gtest assertion: f() throws a VELAException with `code` and the message of that code.
template <class F>
::testing::AssertionResult ThrowsVELA(F&& f, VELA::VELAErrorCodeTag code) {
    try {
        f();
    } catch (const VELA::VELAException& e) {
        if (e.code != code)
            return ::testing::AssertionFailure()
                   << "code " << e.code << " (" << (e.message ? e.message : "") << "), expected " << code;
        const char* want = VELA::VELAErrorMessage(code);
        if (want && (!e.message || std::string(e.message) != want))
            return ::testing::AssertionFailure() << "message \"" << (e.message ? e.message : "") << "\"";
        return ::testing::AssertionSuccess();
    } catch (...) {
        return ::testing::AssertionFailure() << "an exception other than VELAException";
    }
    return ::testing::AssertionFailure() << "no exception";
}
template <class F>
::testing::AssertionResult ThrowsInvalidInput(F&& f) {
    return ThrowsVELA(static_cast<F&&>(f), VELA::VELAErrorInvalidInputParameter);
}

// Whole contents of a file ("" if it cannot be read).
std::string ReadFile(const std::string& path);

}  // namespace corvane_test
