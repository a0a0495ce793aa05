#include "FIRFilter.h"

#include <climits>
#include <cstdint>

#include "DSPUtils.h"

namespace VELA {

namespace {

// taps + n - 1 points, counted in 64 bits and refused when an int cannot hold them.
int ConvLength(int taps, int n) {
    const int64_t len = static_cast<int64_t>(taps) + n - 1;
    if (len > INT_MAX) VELA_THROW(VELAErrorInvalidInputParameter);
    return static_cast<int>(len);
}

// The view of the result: from taps / 2 when centred, else from the start; in.size points.
template <class V>
void SetView(V& out, int taps, int n, bool center) {
    out.Truncate(center ? taps / 2 : 0, n);
}

}  // namespace

void FIRFilter::Apply(VecReal32& out, const VecReal32& taps, const VecReal32& in, bool center) {
    const int nt = taps.GetSize(), n = in.GetSize();
    if (nt <= 0 || n <= 0) {
        out.Resize(0);
        return;
    }
    const int len = ConvLength(nt, n);
    if (&out == &in || &out == &taps) {
        DSPUtils::Conv(realOut32, taps, in);
        out.Import(realOut32.Data(), len);
    } else {
        DSPUtils::Conv(out, taps, in);
    }
    SetView(out, nt, n, center);
}

void FIRFilter::Apply(VecCplx32& out, const VecReal32& taps, const VecCplx32& in, bool center) {
    const int nt = taps.GetSize(), n = in.GetSize();
    if (nt <= 0 || n <= 0) {
        out.Resize(0);
        return;
    }
    const int len = ConvLength(nt, n);
    in.GetReal(realIn32);
    in.GetImag(imagIn32);
    DSPUtils::Conv(realOut32, taps, realIn32);
    DSPUtils::Conv(imagOut32, taps, imagIn32);
    out.Import(realOut32.Data(), imagOut32.Data(), len);
    SetView(out, nt, n, center);
}

void FIRFilter::Apply(VecCplx64& out, const VecReal64& taps, const VecCplx64& in, bool center) {
    const int nt = taps.GetSize(), n = in.GetSize();
    if (nt <= 0 || n <= 0) {
        out.Resize(0);
        return;
    }
    const int len = ConvLength(nt, n);
    in.GetReal(realIn64);
    in.GetImag(imagIn64);
    DSPUtils::Conv(realOut64, taps, realIn64);
    DSPUtils::Conv(imagOut64, taps, imagIn64);
    out.Import(realOut64.Data(), imagOut64.Data(), len);
    SetView(out, nt, n, center);
}

void FIRFilter::Apply(VecCplx32& out, const VecCplx32& taps, const VecCplx32& in, bool center) {
    const int nt = taps.GetSize(), n = in.GetSize();
    if (nt <= 0 || n <= 0) {
        out.Resize(0);
        return;
    }
    const int len = ConvLength(nt, n);
    taps.GetReal(realTaps32);
    taps.GetImag(imagTaps32);
    in.GetReal(realIn32);
    in.GetImag(imagIn32);
    DSPUtils::Conv(realOut32, realTaps32, realIn32);
    DSPUtils::Conv(product32, imagTaps32, imagIn32);
    realOut32.Sub(product32);
    DSPUtils::Conv(imagOut32, realTaps32, imagIn32);
    DSPUtils::Conv(product32, imagTaps32, realIn32);
    imagOut32.Add(product32);
    out.Import(realOut32.Data(), imagOut32.Data(), len);
    SetView(out, nt, n, center);
}

void FIRFilter::Apply(VecCplx32& out, const VecCplx32& taps, const VecReal32& in, bool center) {
    const int nt = taps.GetSize(), n = in.GetSize();
    if (nt <= 0 || n <= 0) {
        out.Resize(0);
        return;
    }
    const int len = ConvLength(nt, n);
    taps.GetReal(realTaps32);
    taps.GetImag(imagTaps32);
    DSPUtils::Conv(realOut32, realTaps32, in);
    DSPUtils::Conv(imagOut32, imagTaps32, in);
    out.Import(realOut32.Data(), imagOut32.Data(), len);
    SetView(out, nt, n, center);
}

}  // namespace VELA
