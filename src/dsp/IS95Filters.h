// The IS-95 filters of the family: stored taps at 2, 4, 8 or 16 samples per chip, no design step.
//
// - IS95ReferenceFilter: the overall (Nyquist) response of the IS-95 transmit pulse and its
//   complementary receive filter; symmetric, its taps sum to about 4.
// - IS95TXMeasurementFilter: the complementary filter that turns the IS-95 transmit pulse into that
//   Nyquist response, for measuring a transmitter; taps sum to about 0.918, not symmetric.
// - IS95TXEQMeasurementFilter: the same for a transmitter followed by the standard's phase equaliser.
// How the tables were made, and which figures they meet, is told in IS95FilterTables.py, the script
// that generated them.
//
// | oversampling | reference taps, delay | measurement taps, delay |
// |            2 |      103, 51          |       81, 40            |
// |            4 |      207, 103         |      161, 80            |
// |            8 |      415, 207         |      321, 160           |
// |           16 |      829, 414         |      643, 321           |
//
// SetParameters(oversampling) loads the table of that ratio; any other ratio leaves the filter as it
// was. The four-argument form uses trunc(samplingRate / symbolRate + 0.5). GetRecommendedTapSize gives
// the table's length for that ratio, 0 for a ratio without a table. See FIRBaseFilter.h for the rest.
#pragma once
#include "../math/VELAExport.h"

#include "FIRBaseFilter.h"

namespace VELA {

// What the three share: the ratio, the lookup, and loading a table.
class VELA_API IS95Filter : public FIRBaseFilter {
  public:
    int GetRecommendedTapSize(float samplingRate, float symbolRate, float rolloff) override;
    void SetParameters(float samplingRate, float symbolRate, float rolloff, int taps) override;
    void SetParameters(int oversampling);
    // The ratio of the loaded table (0 before the first successful SetParameters).
    int GetOversamplingRatio() const { return oversampling; }

  protected:
    // A stored table: its taps, their count and the filter's delay.
    struct Table {
        const float* taps;
        int count;
        int delay;
    };
    // The table of a ratio, or null when there is none.
    virtual const Table* Lookup(int ratio) const = 0;

    int oversampling = 0;
};

class VELA_API IS95ReferenceFilter : public IS95Filter {
  public:
    IS95ReferenceFilter();
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    const Table* Lookup(int ratio) const override;
};

class VELA_API IS95TXMeasurementFilter : public IS95Filter {
  public:
    IS95TXMeasurementFilter();
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    const Table* Lookup(int ratio) const override;
};

class VELA_API IS95TXEQMeasurementFilter : public IS95Filter {
  public:
    IS95TXEQMeasurementFilter();
    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    const Table* Lookup(int ratio) const override;
};

}  // namespace VELA
