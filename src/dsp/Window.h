// Window: the taper applied to a block before its spectrum is taken, and the figures a measurement
// needs to read the result (noise bandwidth, power correction, resolution bandwidth in bins).
//
// Window itself is the uniform window; one derived class per shape (BlackmanHarrisWindow.h,
// FlatTopWindow.h, GaussWindow.h, HannWindow.h, KaiserWindow.h with CISPR6dBWindow, TaylorWindow.h).
// WindowFactory (WindowFactory.h) makes a window from a WindowType.
//
// Conventions every kind keeps:
// - Coefficients are stored twice over: 2N floats, each coefficient twice in a row, so that the taper
//   is applied to interleaved complex data by one real multiplication of 2N floats.
// - They are normalised to sum 1 (not to a peak of 1), so that a full-scale tone on a bin centre reads
//   its own amplitude in an unscaled transform with no further correction.
// - Every kind but the uniform one is symmetric (denominator N - 1, not the periodic form).
// - An N of 1 divides by zero in the kinds that use N - 1, which leaves coefficients that are not
//   numbers; an N of 0 gives an empty window whose scale factor is 0.
//
// Threads: coefficients are only written by SetParameters, so a window that is not being
// reconfigured can be read (Apply, GetCoefficients, GetENBW) by several threads at once.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

#include "../math/Vector.h"

namespace VELA {

class UnitTestRecorder;

// How callers name a window. The values are part of the interface. The underlying type is fixed so
// that any integer a caller casts to it is a valid value (WindowFactory builds nothing above 7).
enum WindowType : int32_t {
    WindowTypeUniform = 0,         // Window
    WindowTypeBlackmanHarris = 1,  // BlackmanHarrisWindow
    WindowTypeFlatTop = 2,         // FlatTopWindow
    WindowTypeHann = 3,            // HannWindow
    WindowTypeGauss = 4,           // GaussWindow, parameter 3.5
    WindowTypeCISPR6dB = 5,        // CISPR6dBWindow (Kaiser, beta 14.6, quoted at its 6 dB width)
    WindowTypeCISPR6dBAlt = 6,     // the same window as 5, kept as a separate value on purpose
    WindowTypeKaiser = 7,          // KaiserWindow, standard mode (beta 16.71)
};

// The two Kaiser presets. A value other than 1 is taken as 0. The mode fixes the beta and the
// resolution-bandwidth figure and nothing else: the taper formula is the same.
enum KaiserWindowModeTag : int32_t {
    KaiserWindowModeStandard = 0,  // beta 16.71, 3 dB width 2.2292 bins
    KaiserWindowModeCISPR = 1,     // beta 14.6, 3 dB width 2.0859 bins
};

// The uniform window, and the base of every kind.
class VELA_API Window {
  public:
    // No coefficients yet; resolution-bandwidth figure 0.89 bins.
    Window();
    // Stores `para` and fills N coefficients of 1/N.
    Window(int size, float para);
    Window(const Window&) = default;
    Window& operator=(const Window&) = default;
    virtual ~Window() = default;

    // The two virtual slots every kind overrides, in this order. In the uniform window both fill 2N
    // floats of 1/N (rounded to float); the second does not store `para`. In every kind a size below 0
    // or above INT_MAX / 2 throws "invalid input parameter" before any coefficient is written.
    virtual void SetParameters(int size);
    virtual void SetParameters(int size, float para);

    // In place on interleaved complex data: multiplies the first 2N floats of `data` by the stored
    // coefficients. `data` should hold N complex points: a longer block keeps its tail unchanged, and a
    // shorter one has only its own points windowed (nothing is written beyond it).
    void Apply(VecCplx32& data);
    // out = in, windowed, in one pass. out is sized to in by Resize (so reused without allocation) and
    // may be in, a view included; the lengths behave as in the in-place form.
    void Apply(VecCplx32& out, const VecCplx32& in);
    // Real form: out[i] = in[i] * w[i] for the N coefficients; out is resized to in's size, and the
    // lengths behave as in the complex forms. Allocates nothing; out may be in.
    void Apply(VecReal32& out, const VecReal32& in);

    // The N coefficients (every second stored float), sum 1.
    void GetCoefficients(VecReal32& out) const;
    // Effective noise bandwidth in bins, N * sum(w^2) / (sum w)^2, computed from the coefficients at
    // every call (set-up use: it takes a temporary vector).
    float GetENBW() const;
    // 10 log10(GetENBW()) in dB: the correction from a peak reading to a noise power density.
    float GetPowerAdjustIndB() const;
    // Main-lobe width in bins at 3 dB down (6 dB for the CISPR window). A fixed figure per kind, not
    // measured from the coefficients.
    float GetEffectiveRBWScaling() const { return rbwScaling; }
    // N.
    int GetSize() const { return size; }

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    // The float nearest 2 pi, widened to double, not the double nearest 2 pi: the library's window
    // figures were defined with it, and the cosine kinds' t = i * kTwoPi / (N - 1) keeps them.
    static constexpr double kTwoPi = 6.2831854820251465;

    // Half the sum of the 2N stored floats (the sum of the N coefficients), rounded to float.
    float GetNBScaleFactor() const;

    // The common frame of the tapered kinds. BeginFill stores N and sets the 2N stored floats to 1.0
    // (what a window is left holding if its parameters are refused). FinishFill writes each of the N
    // coefficients of `coef` twice and scales the stored floats by 1/GetNBScaleFactor() so they sum 1.
    void BeginFill(int n);
    // 2N, the stored length; throws "invalid input parameter" for a size that cannot have one.
    static int StoredLength(int n);
    void FinishFill(const VecReal32& coef);
    // BeginFill, then w(i) evaluated in double for i = 0 .. ceil(N/2) - 1, rounded to float and stored
    // at N-1-i and i (so the two halves are equal bit for bit and an odd centre is computed once), then
    // FinishFill.
    template <class F>
    void FillSymmetric(int n, F w) {
        BeginFill(n);
        VecReal32 coef(n);
        for (int i = 0; i < (n + 1) / 2; ++i) {
            coef[n - 1 - i] = static_cast<float>(w(i));
            coef[i] = coef[n - 1 - i];
        }
        FinishFill(coef);
    }

    VecReal32 coefficients;  // 2N floats, each coefficient twice in a row; empty before SetParameters
    int size{};              // N
    float para{};            // the kind's shape parameter (beta, Gauss factor, sidelobe level)
    float rbwScaling{};      // GetEffectiveRBWScaling
    float reserved{};        // carried with the object and copied; nothing reads it
};

}  // namespace VELA
