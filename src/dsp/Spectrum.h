// Spectrum: the single-shot magnitude spectrum of one block, and PowerUnit, the output scale of the
// spectrum measurements.
//
// Apply runs: window (coefficients summing to 1) -> unscaled forward transform -> magnitude -> shift
// to display order -> unit. Because the window sums to 1 and the transform is unscaled, a complex tone
// of amplitude A on a bin centre reads A (0 dB for A = 1). Display order puts bins k = ceil(N/2) ..
// N-1 first and then 0 .. k-1, so zero frequency stands at index floor(N/2) (for N = 7: bins 4, 5, 6,
// 0, 1, 2, 3; for even N the most negative frequency is at index 0). Samples, window, magnitudes and
// logarithms are all single precision.
//
// Scratch vectors live in the object and keep their storage between calls: once the first Apply of a
// length has run (which also plans the transform), further calls of that length allocate nothing.
// Each Apply stands alone (no averaging). One object serves one thread at a time.
//
// A complex block of length N is windowed from a copy of the N coefficients, one per point (the window
// itself stores each twice); the products are those of Window::Apply. In dB the passes after the transform
// (magnitude, rotation, epsilon, logarithm, scale) run as one kernel pass written straight into display
// order; the result agrees with the step-by-step form to about 2e-5 dB (see kernel/SpectrumKernels.h). The
// linear form goes step by step.
//
// Copying is refused. The object owns its window and transform through plain pointers; a flat copy of
// them would leave two owners deleting one object, and no caller needs a copy.
#pragma once
#include "../math/VELAExport.h"

#include <cstdint>

#include "../math/Vector.h"
#include "Window.h"
#include "WindowFactory.h"

namespace VELA {

class FT;
class UnitTestRecorder;

// Output scale. The underlying type is fixed so that every integer is a valid value: the classes read
// it by value, and anything they do not single out means linear.
enum PowerUnit : int32_t {
    // Decibels relative to 1.0 at the conversion: 20 log10(m + eps) for a magnitude m, with eps the
    // float 1e-40 (a denormal) so that an empty bin reads about -800 dB, never minus infinity.
    PowerUnitDB = 0,
    // The same decibels plus a flat 10 dB where a class honours it; Spectrum does not (linear there).
    PowerUnitDBPlus10 = 1,
    // No conversion: the linear magnitude passes through. Also what any other value means.
    PowerUnitLinear = 2,
};

class VELA_API Spectrum {
  public:
    // A measurement of `size` points with the window of `type`. The window is built by the factory with
    // its kind's default parameter, so `para` is remembered but does not change the taper. Unit dB.
    // A type outside 0..7 (no window) throws VELAException "invalid input parameter".
    Spectrum(int size, WindowType type, float para);
    Spectrum(const Spectrum&) = delete;
    Spectrum& operator=(const Spectrum&) = delete;
    virtual ~Spectrum();

    // out = the spectrum of `in` in display order, GetSize() values, in dB (unit 0) or linear magnitude
    // (any other unit). `in` must hold GetSize() samples; the length is not checked. out is resized.
    void Apply(VecReal32& out, const VecCplx32& in);
    // Real input: the full N-bin spectrum (the upper half the conjugate mirror of the lower). out may be
    // in (a view included): the block is windowed into scratch before out is touched.
    void Apply(VecReal32& out, const VecReal32& in);

    // The N given to the constructor.
    int GetSize() const { return m_size; }
    // Takes effect at the next Apply. Only 0 means dB here; every other value, 1 included, is linear.
    void SetUnit(PowerUnit unit) { m_unit = unit; }

    // Self-test under "Spectrum"; always returns true, the verdicts go into the recorder.
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    // Steps shared by both overloads once m_spectrum holds the transform.
    void Finish(VecReal32& out);

    int m_size;
    Window* m_window = nullptr;  // owned
    float m_windowPara;
    FT* m_ft = nullptr;  // owned
    PowerUnit m_unit;
    VecCplx32 m_windowedCplx;  // windowed complex block
    VecReal32 m_windowedReal;  // windowed real block
    VecCplx32 m_spectrum;      // transform output, N bins
    VecReal32 m_mag;           // magnitudes in transform order (linear unit)
    VecReal32 m_shifted;       // magnitudes in display order (linear unit)
    WindowFactory m_windowFactory;
    VecReal32 m_taper;  // the window's N coefficients, once each (complex blocks of length N)
};

}  // namespace VELA
