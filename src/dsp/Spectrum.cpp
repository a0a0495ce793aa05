#include "Spectrum.h"

#include "../math/MathUtils.h"
#include "DSPUtils.h"
#include "FT.h"
#include "kernel/SpectrumKernels.h"

namespace VELA {

Spectrum::Spectrum(int size, WindowType type, float para)
    : m_size(size),
      m_windowPara(para),
      m_unit(PowerUnitDB),
      m_windowedCplx(size),
      m_spectrum(size),
      m_mag(size) {
    m_window = m_windowFactory.MakeWindow(type, size, para);
    // Without a window there is no measurement to make; say so now rather than at the first Apply.
    if (!m_window) VELA_THROW(VELAErrorInvalidInputParameter);
    try {
        m_ft = new FT();
        // The window stores each coefficient twice (for interleaved complex data); the complex Apply
        // reads them once each from this copy, half the memory traffic for the same products.
        m_window->GetCoefficients(m_taper);
        // Both transforms of the block length are planned now, so that no Apply plans (a measuring
        // planner may take a second on a long or prime length).
        m_ft->GetSpec(size, FT_C_32FC);
        m_ft->GetSpec(size, FT_R_32F);
    } catch (...) {
        // No destructor runs for a constructor that throws: release what is already owned.
        delete m_ft;
        delete m_window;
        throw;
    }
}

Spectrum::~Spectrum() {
    delete m_window;
    delete m_ft;
}

void Spectrum::Apply(VecReal32& out, const VecCplx32& in) {
    const int n = in.GetSize();
    if (n == m_taper.GetSize()) {
        // What the window's Apply computes for a block of its own length, product for product.
        m_windowedCplx.Resize(n);
        kern::SPK().window_c32(reinterpret_cast<const float*>(in.Data()), m_taper.Data(),
                               reinterpret_cast<float*>(m_windowedCplx.Data()), n);
    } else {
        // Another length: the window decides what it means (a longer block keeps its tail).
        m_window->Apply(m_windowedCplx, in);
    }
    m_ft->Forward(m_spectrum, m_windowedCplx);
    Finish(out);
}

void Spectrum::Apply(VecReal32& out, const VecReal32& in) {
    m_window->Apply(m_windowedReal, in);
    m_ft->Forward(m_spectrum, m_windowedReal);
    Finish(out);
}

void Spectrum::Finish(VecReal32& out) {
    const int n = m_spectrum.GetSize();
    const int k = (n + 1) / 2;  // display order starts at bin ceil(N/2)
    if (m_unit != PowerUnitDB) {
        DSPUtils::Mag(m_mag, m_spectrum);
        DSPUtils::FFTShift(m_shifted, m_mag);
        // Resize and copy rather than operator=, which would reallocate on every call.
        MathUtils::Copy(out, m_shifted.GetSize(), m_shifted, 0);
        return;
    }
    // Magnitude, rotation, epsilon, logarithm and scale in one pass over the transform, written straight
    // into display order: bins k..N-1 to the front, then bins 0..k-1.
    out.Resize(n);
    const float* bins = reinterpret_cast<const float*>(m_spectrum.Data());
    kern::SPK().mag_db_c32(bins + 2 * static_cast<size_t>(k), out.Data(), n - k);
    kern::SPK().mag_db_c32(bins, out.Data() + (n - k), k);
}

}  // namespace VELA
