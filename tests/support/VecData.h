// Moving data between the library's vectors and std::vector<double>, the currency of the tolerance
// helpers and of the numpy bridge. Complex data travel as interleaved (re, im) doubles.
#pragma once

#include <corvane/math/Vector.h>

#include <vector>

namespace corvane_test {

inline std::vector<double> ToDoubles(const VELA::VecReal32& v) {
    std::vector<double> r(static_cast<size_t>(v.GetSize()));
    for (int i = 0; i < v.GetSize(); ++i)
        r[static_cast<size_t>(i)] = v[i];
    return r;
}
inline std::vector<double> ToDoubles(const VELA::VecReal64& v) {
    std::vector<double> r(static_cast<size_t>(v.GetSize()));
    for (int i = 0; i < v.GetSize(); ++i)
        r[static_cast<size_t>(i)] = v[i];
    return r;
}
inline std::vector<double> ToDoubles(const VELA::VecCplx32& v) {
    std::vector<double> r(2 * static_cast<size_t>(v.GetSize()));
    for (int i = 0; i < v.GetSize(); ++i) {
        r[2 * static_cast<size_t>(i)] = v[i].re;
        r[2 * static_cast<size_t>(i) + 1] = v[i].im;
    }
    return r;
}
inline std::vector<double> ToDoubles(const VELA::VecCplx64& v) {
    std::vector<double> r(2 * static_cast<size_t>(v.GetSize()));
    for (int i = 0; i < v.GetSize(); ++i) {
        r[2 * static_cast<size_t>(i)] = v[i].re;
        r[2 * static_cast<size_t>(i) + 1] = v[i].im;
    }
    return r;
}

// Vectors of exactly x.size() (real) or x.size() / 2 (complex, x interleaved) elements.
inline VELA::VecReal32 MakeReal32(const std::vector<double>& x) {
    VELA::VecReal32 v(static_cast<int>(x.size()));
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = static_cast<float>(x[static_cast<size_t>(i)]);
    return v;
}
inline VELA::VecReal64 MakeReal64(const std::vector<double>& x) {
    VELA::VecReal64 v(static_cast<int>(x.size()));
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = x[static_cast<size_t>(i)];
    return v;
}
inline VELA::VecCplx32 MakeCplx32(const std::vector<double>& x) {
    VELA::VecCplx32 v(static_cast<int>(x.size() / 2));
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = {static_cast<float>(x[2 * static_cast<size_t>(i)]),
                static_cast<float>(x[2 * static_cast<size_t>(i) + 1])};
    return v;
}
inline VELA::VecCplx64 MakeCplx64(const std::vector<double>& x) {
    VELA::VecCplx64 v(static_cast<int>(x.size() / 2));
    for (int i = 0; i < v.GetSize(); ++i)
        v[i] = {x[2 * static_cast<size_t>(i)], x[2 * static_cast<size_t>(i) + 1]};
    return v;
}

// The values rounded to float and widened back: what a float vector made from `x` holds, so that an
// oracle computing in double sees the same data.
inline std::vector<double> RoundToFloat(std::vector<double> x) {
    for (auto& e : x)
        e = static_cast<float>(e);
    return x;
}

}  // namespace corvane_test
