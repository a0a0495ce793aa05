#include "ChirpZ.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "../kernel/FFTPlan.h"
#include "../kernel/SpectrumKernels.h"
#include "../math/MathUtils.h"
#include "FT.h"
#include "internal/CheckedSize.h"

namespace VELA {

namespace {

// The float nearest to 2pi, widened: the constant of every figure built on this transform.
constexpr double kTwoPi = 6.2831854820251465;

template <class C>
C Polar(double c, double s);
template <>
Cplx64 Polar<Cplx64>(double c, double s) {
    return {c, s};
}
template <>
Cplx32 Polar<Cplx32>(double c, double s) {
    return {static_cast<float>(c), static_cast<float>(s)};
}

template <class Vec, class C>
void FillTables(Vec& preChirp, Vec& impulse, Vec& postChirp, int n, int k, int l, double phi, double theta) {
    for (int i = 0, top = std::max(k, l); i < top; ++i) {
        const double d = static_cast<double>(i) - n + 1;
        const double a = d * d * 0.5 * phi;
        const double c = std::cos(a), s = std::sin(a);
        if (i < k) postChirp[i] = Polar<C>(c, -s);
        if (i < l) impulse[i] = Polar<C>(c, s);
    }
    for (int i = 0; i < n; ++i) {
        const double b = phi * 0.5 * static_cast<double>(i) * i + i * theta;
        preChirp[i] = Polar<C>(std::cos(b), -std::sin(b));
    }
}

// d = a * b, complex, element by element.
void Multiply(const Cplx32* a, const Cplx32* b, Cplx32* d, int n) {
    kern::SPK().cmul_c32(reinterpret_cast<const float*>(a), reinterpret_cast<const float*>(b),
                         reinterpret_cast<float*>(d), n);
}
void Multiply(const Cplx64* a, const Cplx64* b, Cplx64* d, int n) {
    kern::SPK().cmul_c64(reinterpret_cast<const double*>(a), reinterpret_cast<const double*>(b),
                         reinterpret_cast<double*>(d), n);
}

// Prepares the transform buffer and the filter's spectrum once. The buffer's zero padding beyond the
// block is written here and never again: Apply writes only the first N elements, and the forward
// transform does not modify its input. The inverse transform's division by L rides on the filter's
// spectrum instead of a pass over every output: L is a power of two, so the scaling is exact and the
// results are those of dividing after the inverse transform.
template <class Vec>
void PrepareBuffers(Vec& work, Vec& impulseSpectrum, int l) {
    std::memset(static_cast<void*>(work.Data()), 0, sizeof(work[0]) * static_cast<size_t>(l));
    using Real = decltype(work[0].re);
    impulseSpectrum *= {static_cast<Real>(1.0 / l), Real(0)};
}

// The transform length L, a power of two at or above N + M - 1, for positive N and M; sizes without a
// usable transform (N or M below 1, L beyond 2^30) are refused before anything is allocated.
int TransformLength(int n, int m) {
    if (n < 1 || m < 1) VELA_THROW(VELAErrorInvalidInputParameter);
    return MathUtils::NextPowOf2(internal::CheckedLength(int64_t{n} + m - 1));
}

}  // namespace

ChirpZ::ChirpZ(int n, double sampleRate, int m, double startFreq, double freqStep, bool wide)
    : inputSize(n),
      outputSize(m),
      fftSize(TransformLength(n, m)),
      chirpSize(internal::CheckedLength(int64_t{n} + std::max(n, m) - 1)),
      use64(wide),
      ft(nullptr) {
    const double phi = kTwoPi * freqStep / sampleRate;
    const double theta = startFreq * kTwoPi / sampleRate;
    // Both directions unscaled: the inverse's 1/L is folded into the filter's spectrum (PrepareBuffers).
    ft = new FT(0, VELAAlgorithmAccurate);
    if (use64) {
        preChirp64.Resize(n);
        postChirp64.Resize(chirpSize);
        impulse64.Resize(fftSize);
        impulseSpectrum64.Resize(fftSize);
        work64.Resize(fftSize);
        workSpectrum64.Resize(fftSize);
        FillTables<VecCplx64, Cplx64>(preChirp64, impulse64, postChirp64, n, chirpSize, fftSize, phi, theta);
        ft->Forward(impulseSpectrum64, impulse64);
        PrepareBuffers(work64, impulseSpectrum64, fftSize);
    } else {
        preChirp32.Resize(n);
        postChirp32.Resize(chirpSize);
        impulse32.Resize(fftSize);
        impulseSpectrum32.Resize(fftSize);
        work32.Resize(fftSize);
        workSpectrum32.Resize(fftSize);
        inverse32.Resize(fftSize);
        FillTables<VecCplx32, Cplx32>(preChirp32, impulse32, postChirp32, n, chirpSize, fftSize, phi, theta);
        ft->Forward(impulseSpectrum32, impulse32);
        PrepareBuffers(work32, impulseSpectrum32, fftSize);
        plan32 = ft->GetSpec(fftSize, FT_C_32FC);
        planWork32 = ft->PrepareBuffer(plan32);
    }
}

ChirpZ::ChirpZ(const ChirpZ& o)
    : preChirp64(o.preChirp64),
      impulse64(o.impulse64),
      impulseSpectrum64(o.impulseSpectrum64),
      work64(o.work64),
      workSpectrum64(o.workSpectrum64),
      postChirp64(o.postChirp64),
      preChirp32(o.preChirp32),
      impulse32(o.impulse32),
      impulseSpectrum32(o.impulseSpectrum32),
      work32(o.work32),
      workSpectrum32(o.workSpectrum32),
      postChirp32(o.postChirp32),
      inverse32(o.inverse32),
      plan32(o.plan32),
      planWork32(o.planWork32),
      inputSize(o.inputSize),
      outputSize(o.outputSize),
      fftSize(o.fftSize),
      chirpSize(o.chirpSize),
      use64(o.use64),
      ft(o.ft) {}

ChirpZ& ChirpZ::operator=(const ChirpZ& o) {
    if (this == &o) return *this;
    preChirp64 = o.preChirp64;
    impulse64 = o.impulse64;
    impulseSpectrum64 = o.impulseSpectrum64;
    work64 = o.work64;
    workSpectrum64 = o.workSpectrum64;
    postChirp64 = o.postChirp64;
    preChirp32 = o.preChirp32;
    impulse32 = o.impulse32;
    impulseSpectrum32 = o.impulseSpectrum32;
    work32 = o.work32;
    workSpectrum32 = o.workSpectrum32;
    postChirp32 = o.postChirp32;
    inverse32 = o.inverse32;
    plan32 = o.plan32;
    planWork32 = o.planWork32;
    inputSize = o.inputSize;
    outputSize = o.outputSize;
    fftSize = o.fftSize;
    chirpSize = o.chirpSize;
    use64 = o.use64;
    ft = o.ft;
    return *this;
}

ChirpZ::~ChirpZ() {
    delete ft;
}

template <class Vec>
void ChirpZ::Run(Vec& out, const Vec& in, Vec& preChirp, Vec& impulseSpectrum, Vec& work, Vec& workSpectrum,
                 Vec& postChirp) {
    const int n = inputSize, m = outputSize, l = fftSize;
    // work = [in * preChirp, 0 ...]: the block, pre-chirped, zero-padded to the transform length (the
    // padding stands from construction).
    work.Resize(l);
    Multiply(in.Data(), preChirp.Data(), work.Data(), n);
    // `in` has been read in full: only now may out, which may be in, be resized (and grow).
    out.Resize(l);
    ft->Forward(workSpectrum, work);
    workSpectrum *= impulseSpectrum;
    ft->Inverse(out, workSpectrum);
    // Only outputs from index N-1 on are valid convolution results; post-chirp them and show just those.
    out.Truncate(n - 1, m);
    postChirp.Truncate(n - 1, m);
    out *= postChirp;
    postChirp.Resize(chirpSize);
}

void ChirpZ::RunWeighted(VecReal32& out, const VecCplx32& in, const VecReal32& weights, bool power) {
    CheckApply(false, in.GetSize());
    const int n = inputSize, m = outputSize;
    if (weights.GetSize() < n) VELA_THROW(VELAErrorInvalidInputParameter);
    const kern::SpectrumKernelTable& k = kern::SPK();
    // The window and the pre-chirp in one pass into the zero-padded buffer, as Run's steps round them.
    k.wcmul_c32(reinterpret_cast<const float*>(in.Data()), weights.Data(),
                reinterpret_cast<const float*>(preChirp32.Data()), reinterpret_cast<float*>(work32.Data()),
                n);
    // The same plan FT::Forward and FT::Inverse execute for L points, on buffers sized at construction.
    float* spectrum = reinterpret_cast<float*>(workSpectrum32.Data());
    kern::FFTExecC32(plan32, reinterpret_cast<const float*>(work32.Data()), spectrum, true, planWork32);
    workSpectrum32 *= impulseSpectrum32;
    kern::FFTExecC32(plan32, spectrum, reinterpret_cast<float*>(inverse32.Data()), false, planWork32);
    // The valid outputs from index N-1 on, post-chirped and reduced to magnitudes (or powers) in one pass.
    out.Resize(m);
    const size_t first = static_cast<size_t>(n) - 1;
    const float* y = reinterpret_cast<const float*>(inverse32.Data() + first);
    const float* c = reinterpret_cast<const float*>(postChirp32.Data() + first);
    if (power)
        k.cmul_pow_c32(y, c, out.Data(), m);
    else
        k.cmul_mag_c32(y, c, out.Data(), m);
}

void ChirpZ::ApplyMagnitude(VecReal32& out, const VecCplx32& in, const VecReal32& weights) {
    RunWeighted(out, in, weights, false);
}

void ChirpZ::ApplyPower(VecReal32& out, const VecCplx32& in, const VecReal32& weights) {
    RunWeighted(out, in, weights, true);
}

void ChirpZ::CheckApply(bool wide, int inSize) const {
    // The tables exist for the width the object was built for only, and the block must hold N points.
    if (wide != use64 || inSize < inputSize) VELA_THROW(VELAErrorInvalidInputParameter);
}

void ChirpZ::Apply(VecCplx32& out, const VecCplx32& in) {
    CheckApply(false, in.GetSize());
    Run(out, in, preChirp32, impulseSpectrum32, work32, workSpectrum32, postChirp32);
}

void ChirpZ::Apply(VecCplx64& out, const VecCplx64& in) {
    CheckApply(true, in.GetSize());
    Run(out, in, preChirp64, impulseSpectrum64, work64, workSpectrum64, postChirp64);
}

}  // namespace VELA
