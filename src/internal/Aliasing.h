// Operations whose output may be one of their inputs. Internal to the library's sources: not installed.
//
// An operation sizes its output with Resize before it writes, and when the output is also an input,
// that Resize can spoil the input in two ways: growing past the capacity releases the block the input
// lives in, and any Resize moves a ShiftLeft/Truncate view back to the start of the block, away from
// the elements the input showed. Each operation meets this in one of two ways:
//
// - PrepareInPlace(out, in), for operations that can run in place: every output element is written
//   only after the input elements it needs have been read, and the output is no longer than the input
//   (element-wise maps, forward scans, transforms that stage their input). When out is in, the view's
//   elements are first moved to the start of the block (BaseVector::MoveToFront), so the Resize that
//   follows leaves them where the operation reads them. For a plain vector this costs one comparison
//   of addresses; a view costs one move of its elements.
// - Unaliased<Vec> src(in, out), for the rest (reversals, rearrangements, outputs longer than the
//   input, sums over neighbours): when out is in, src is a private copy of the input's window, taken
//   before anything is written; otherwise src is the input itself and nothing is copied or allocated.
//
// Either way the result is the one the same call gives with a separate output, bit for bit.
#pragma once

#include <optional>

namespace VELA::internal {

template <class Vec>
inline void PrepareInPlace(Vec& out, const Vec& in) {
    if (&out == &in) out.MoveToFront();
}

template <class Vec>
class Unaliased {
  public:
    Unaliased(const Vec& in, const Vec& out) : src_(&in) {
        if (&in == &out) {
            copy_.emplace();
            *copy_ = in;  // a deep copy of the visible window
            src_ = &*copy_;
        }
    }
    Unaliased(const Unaliased&) = delete;
    Unaliased& operator=(const Unaliased&) = delete;

    const Vec& operator*() const { return *src_; }
    const Vec* operator->() const { return src_; }

  private:
    std::optional<Vec> copy_;  // only when the input is the output: nothing is built otherwise
    const Vec* src_;
};

}  // namespace VELA::internal
