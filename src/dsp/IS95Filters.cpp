#include "IS95Filters.h"

#include <cmath>

namespace VELA {

namespace {
#include "IS95FilterTables.inc"

// The ratio nearest to samplingRate / symbolRate, or 0 when that is not a number an int can hold.
int Ratio(float samplingRate, float symbolRate) {
    const double r = std::trunc(static_cast<double>(samplingRate) / static_cast<double>(symbolRate) + 0.5);
    return r > 0.0 && r <= 1024.0 ? static_cast<int>(r) : 0;
}

// The index of a ratio in the tables (2, 4, 8, 16), or -1.
int Slot(int ratio) {
    switch (ratio) {
        case 2:
            return 0;
        case 4:
            return 1;
        case 8:
            return 2;
        case 16:
            return 3;
        default:
            return -1;
    }
}
}  // namespace

int IS95Filter::GetRecommendedTapSize(float samplingRate, float symbolRate, float) {
    const Table* t = Lookup(Ratio(samplingRate, symbolRate));
    return t ? t->count : 0;
}

void IS95Filter::SetParameters(float samplingRate, float symbolRate, float, int) {
    SetParameters(Ratio(samplingRate, symbolRate));
}

void IS95Filter::SetParameters(int ratio) {
    const Table* t = Lookup(ratio);
    if (!t) return;
    taps.Import(t->taps, t->count);
    tapCount = t->count;
    delay = static_cast<float>(t->delay);
    oversampling = ratio;
}

IS95ReferenceFilter::IS95ReferenceFilter() {
    filterType = FIRFilterIS95Reference;
}

const IS95Filter::Table* IS95ReferenceFilter::Lookup(int ratio) const {
    static const Table kTables[4] = {{kIS95Reference2, 103, 51},
                                     {kIS95Reference4, 207, 103},
                                     {kIS95Reference8, 415, 207},
                                     {kIS95Reference16, 829, 414}};
    const int s = Slot(ratio);
    return s < 0 ? nullptr : &kTables[s];
}

IS95TXMeasurementFilter::IS95TXMeasurementFilter() {
    filterType = FIRFilterIS95TXMeasurement;
}

const IS95Filter::Table* IS95TXMeasurementFilter::Lookup(int ratio) const {
    static const Table kTables[4] = {{kIS95TXMeasurement2, 81, 40},
                                     {kIS95TXMeasurement4, 161, 80},
                                     {kIS95TXMeasurement8, 321, 160},
                                     {kIS95TXMeasurement16, 643, 321}};
    const int s = Slot(ratio);
    return s < 0 ? nullptr : &kTables[s];
}

IS95TXEQMeasurementFilter::IS95TXEQMeasurementFilter() {
    filterType = FIRFilterIS95TXEQMeasurement;
}

const IS95Filter::Table* IS95TXEQMeasurementFilter::Lookup(int ratio) const {
    static const Table kTables[4] = {{kIS95TXEQMeasurement2, 81, 40},
                                     {kIS95TXEQMeasurement4, 161, 80},
                                     {kIS95TXEQMeasurement8, 321, 160},
                                     {kIS95TXEQMeasurement16, 643, 321}};
    const int s = Slot(ratio);
    return s < 0 ? nullptr : &kTables[s];
}

}  // namespace VELA
