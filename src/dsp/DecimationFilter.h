// DecimationFilter: a cascade of identical streaming FIR stages, each followed by a decimation by two.
// Every stage filters at its own input rate with the same taps (an SFIRFilter, so each keeps its
// delay line from call to call), drops the transient of its call (taps - 1 outputs), and keeps the
// samples 0, 2, 4, ... of the rest.
//
// The intended use is one block of GetRequiredInputLength(n) samples after a Flush, which yields n
// outputs each with the whole filter behind it. Since the transient is dropped in every call, a
// caller that feeds many short blocks loses samples at each one. When a stage is left with fewer than
// 2 samples the result is empty, without an error.
//
// Scratch vectors live in the object and only grow, so a steady stream of equal blocks allocates
// nothing after its first block. Copies share the stages (and so their delay lines) with their
// source; the stages live until the last object sharing them is destroyed. One object (or set of
// sharing copies) serves one thread at a time.
#pragma once
#include "../math/VELAExport.h"

#include "../math/Vector.h"

namespace VELA {

class SFIRFilter;
class UnitTestRecorder;

class VELA_API DecimationFilter {
  public:
    // stageCount stages of the filter `taps`. 0 stages pass the data through. A count outside 0 .. 30
    // (beyond 30 halvings no input length fits an int) or empty taps are "invalid input parameter".
    DecimationFilter(int stageCount, const VecReal32& taps);
    DecimationFilter(const DecimationFilter& other);
    DecimationFilter& operator=(const DecimationFilter& other);
    virtual ~DecimationFilter();

    // Filters and halves stage after stage; out may be in. With no stage out = in.
    void Apply(VecReal32& out, const VecReal32& in);
    void Apply(VecCplx32& out, const VecCplx32& in);

    // Clears the delay line of every stage: for a break in the stream.
    void Flush();

    // Input samples that give `outputLength` outputs with the transients dropped: with
    // h = (taps - 1) / 2, n becomes (n + h) * 2 once per stage. Exact for an odd tap count. A result
    // beyond the range of an int is "invalid input parameter".
    int GetRequiredInputLength(int outputLength) const;
    // GetRequiredInputLength(0): the input, in input samples, that gives the first output its whole
    // history.
    int GetFilterChargeTime() const;

    int GetStageCount() const { return stageCount; }
    int GetTapCount() const { return tapCount; }

    // Self-test under "DecimationFilter": the 27-tap half-band in two stages (lengths, a ramp).
    // Returns true.
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    struct StageSet;  // the stages and the count of objects sharing them

    void Release();

    StageSet* stages = nullptr;
    int tapCount = 0;
    int stageCount = 0;
    VecReal32 workReal1, workReal2;
    VecCplx32 workCplx1, workCplx2;
};

}  // namespace VELA
