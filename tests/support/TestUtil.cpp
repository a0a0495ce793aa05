#include "support/TestUtil.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace corvane_test {

ErrorStats Compare(const std::vector<double>& a, const std::vector<double>& b) {
    ErrorStats s;
    double num = 0, den = 0;
    bool found = false;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        const double d = a[i] - b[i];
        num += d * d;
        den += b[i] * b[i];
        const double ad = std::isnan(d) ? INFINITY : std::fabs(d);
        if (ad > s.maxAbs) {
            s.maxAbs = ad;
            if (!found) s.firstBad = i;
        }
    }
    s.relL2 = den > 0 ? std::sqrt(num / den) : std::sqrt(num);
    if (std::isnan(s.relL2)) s.relL2 = INFINITY;
    return s;
}

static std::string Mismatches(const std::vector<double>& a, const std::vector<double>& b, double tol) {
    std::ostringstream os;
    int shown = 0;
    for (size_t i = 0; i < a.size() && i < b.size() && shown < 5; ++i)
        if (!(std::fabs(a[i] - b[i]) <= tol)) {
            os << "\n  [" << i << "] actual " << a[i] << " expected " << b[i];
            ++shown;
        }
    return os.str();
}

::testing::AssertionResult NearL2(const std::vector<double>& a, const std::vector<double>& b, double relTol) {
    if (a.size() != b.size())
        return ::testing::AssertionFailure() << "sizes differ: " << a.size() << " vs " << b.size();
    ErrorStats s = Compare(a, b);
    if (s.relL2 <= relTol) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "relative L2 error " << s.relL2 << " > " << relTol << ", max abs "
                                         << s.maxAbs << Mismatches(a, b, s.maxAbs * 0.5);
}

::testing::AssertionResult NearAbs(const std::vector<double>& a, const std::vector<double>& b,
                                   double absTol) {
    if (a.size() != b.size())
        return ::testing::AssertionFailure() << "sizes differ: " << a.size() << " vs " << b.size();
    ErrorStats s = Compare(a, b);
    if (s.maxAbs <= absTol) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "max abs error " << s.maxAbs << " > " << absTol << Mismatches(a, b, absTol);
}

std::vector<double> Uniform(size_t n, unsigned seed, double lo, double hi) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> dist(lo, hi);
    std::vector<double> v(n);
    for (auto& x : v)
        x = dist(rng);
    return v;
}

static void WriteDoubles(const fs::path& p, const std::vector<double>& v) {
    std::ofstream f(p, std::ios::binary);
    f.write(reinterpret_cast<const char*>(v.data()), static_cast<std::streamsize>(v.size() * sizeof(double)));
}

std::vector<double> PyEval(const std::string& code, const std::vector<std::vector<double>>& inputs) {
    static int counter = 0;
    const fs::path dir = fs::temp_directory_path() /
                         ("corvane_py_" + std::to_string(getpid()) + "_" + std::to_string(counter++));
    fs::create_directories(dir);
    std::ostringstream script;
    script << "import numpy as np\n";
    for (size_t i = 0; i < inputs.size(); ++i) {
        WriteDoubles(dir / ("a" + std::to_string(i)), inputs[i]);
        script << "a" << i << " = np.fromfile(r'" << (dir / ("a" + std::to_string(i))).string()
               << "', dtype=np.float64)\n";
    }
    script << code << "\n"
           << "out = np.asarray(out)\n"
           << "out = (out.astype(np.complex128).view(np.float64) if np.iscomplexobj(out) else "
              "out.astype(np.float64)).ravel()\n"
           << "out.tofile(r'" << (dir / "out").string() << "')\n";
    {
        std::ofstream f(dir / "script.py");
        f << script.str();
    }
    const std::string cmd = std::string(CORVANE_PYTHON) + " " + (dir / "script.py").string() + " 2>&1";
    std::vector<double> result;
    FILE* p = popen(cmd.c_str(), "r");
    std::string output;
    if (p) {
        char buf[512];
        while (std::fgets(buf, sizeof buf, p))
            output += buf;
        const int rc = pclose(p);
        if (rc != 0)
            ADD_FAILURE() << "python failed (" << rc << "):\n" << output << "\nscript:\n" << script.str();
    } else {
        ADD_FAILURE() << "could not start " << CORVANE_PYTHON;
    }
    std::ifstream f(dir / "out", std::ios::binary | std::ios::ate);
    if (f) {
        const auto bytes = static_cast<size_t>(f.tellg());
        result.resize(bytes / sizeof(double));
        f.seekg(0);
        f.read(reinterpret_cast<char*>(result.data()), static_cast<std::streamsize>(bytes));
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
    return result;
}

ScopedWorkDir::ScopedWorkDir() {
    old_ = fs::current_path().string();
    char tmpl[] = "/tmp/corvane_work_XXXXXX";
    const char* made = mkdtemp(tmpl);
    if (!made) {
        ADD_FAILURE() << "mkdtemp failed";
        return;
    }
    path_ = made;
    fs::current_path(path_);
}

ScopedWorkDir::~ScopedWorkDir() {
    std::error_code ec;
    fs::current_path(old_, ec);
    if (!path_.empty()) fs::remove_all(path_, ec);
}

std::string ReadFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::ostringstream os;
    os << f.rdbuf();
    return os.str();
}

}  // namespace corvane_test
