// WindowFactory: makes a window from a WindowType, the way the measurement classes obtain theirs.
//
// Deliberate behaviour callers rely on:
// - MakeWindow(type, size, para) builds the kind with its default parameter (Gauss 3.5, Kaiser 16.71);
//   `para` is only remembered by the factory (GetPara). A caller that wants its own value follows with
//   SetParameters(window, size, para).
// - WindowTypeCISPR6dB and WindowTypeCISPR6dBAlt build the same window.
// - A type outside 0..7 builds nothing: MakeWindow returns the window made last (null for a factory
//   that has made none) and the SetParameters forms call nothing.
// The factory does not own what it makes: the caller deletes it through Window's virtual destructor.
// Copies of a factory share the pointer to the last window, which neither of them owns.
#pragma once
#include "../math/VELAExport.h"

#include "Window.h"

namespace VELA {

class VELA_API WindowFactory {
  public:
    // type 0 (uniform), size 0, para 0, no window yet.
    WindowFactory() = default;
    WindowFactory(const WindowFactory&) = default;
    WindowFactory& operator=(const WindowFactory&) = default;
    virtual ~WindowFactory() = default;

    // Stores the three, builds the kind of `type` filled for `size` points with its default parameter,
    // remembers the pointer and returns it (see above for a type outside 0..7).
    Window* MakeWindow(WindowType type, int size, float para);
    // Stores the type and builds the kind with its default constructor, so without coefficients.
    Window* MakeWindow(WindowType type);
    // Stores size and para; for a type in 0..7 calls window->SetParameters(size, para). A null window
    // is left alone.
    void SetParameters(Window* window, int size, float para);
    // Stores size; for a type in 0..7 calls window->SetParameters(size). A null window is left alone.
    void SetParameters(Window* window, int size);
    // The para of the last MakeWindow or SetParameters.
    float GetPara() const { return para; }

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    static bool Buildable(WindowType t) { return static_cast<uint32_t>(t) <= 7u; }

    WindowType type{WindowTypeUniform};
    int size{};
    float para{};
    Window* window{};  // the window made last; not owned
};

}  // namespace VELA
