#include "DecimationFilter.h"

#include <atomic>
#include <climits>
#include <cstdint>
#include <cstring>
#include <vector>

#include "DSPUtils.h"
#include "SFIRFilter.h"

namespace VELA {

struct DecimationFilter::StageSet {
    std::vector<SFIRFilter*> filters;
    std::atomic<int> owners{1};
    ~StageSet() {
        for (SFIRFilter* f : filters)
            delete f;
    }
};

namespace {

// 31 halvings would need more than 2^31 input samples for a single output.
constexpr int kMaxStages = 30;

// out = in by Resize and an element copy: steady calls reuse out's storage.
template <class V>
void CopyInto(V& out, const V& in) {
    if (&out == &in) return;
    const int n = in.GetSize() > 0 ? in.GetSize() : 0;
    out.Resize(n);
    if (n > 0) std::memmove(out.Data(), in.Data(), sizeof(*in.Data()) * static_cast<size_t>(n));
}

}  // namespace

DecimationFilter::DecimationFilter(int count, const VecReal32& taps) {
    if (count < 0 || count > kMaxStages || taps.GetSize() <= 0) VELA_THROW(VELAErrorInvalidInputParameter);
    tapCount = taps.GetSize();
    stageCount = count;
    stages = new StageSet();
    try {
        stages->filters.reserve(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i)
            stages->filters.push_back(new SFIRFilter(taps));
    } catch (...) {
        delete stages;
        stages = nullptr;
        throw;
    }
}

DecimationFilter::DecimationFilter(const DecimationFilter& other)
    : stages(other.stages),
      tapCount(other.tapCount),
      stageCount(other.stageCount),
      workReal1(other.workReal1),
      workReal2(other.workReal2),
      workCplx1(other.workCplx1),
      workCplx2(other.workCplx2) {
    if (stages) stages->owners.fetch_add(1, std::memory_order_relaxed);
}

DecimationFilter& DecimationFilter::operator=(const DecimationFilter& other) {
    if (this == &other) return *this;
    workReal1 = other.workReal1;
    workReal2 = other.workReal2;
    workCplx1 = other.workCplx1;
    workCplx2 = other.workCplx2;
    if (other.stages) other.stages->owners.fetch_add(1, std::memory_order_relaxed);
    Release();
    stages = other.stages;
    tapCount = other.tapCount;
    stageCount = other.stageCount;
    return *this;
}

DecimationFilter::~DecimationFilter() {
    Release();
}

void DecimationFilter::Release() {
    if (stages && stages->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) delete stages;
    stages = nullptr;
}

void DecimationFilter::Apply(VecReal32& out, const VecReal32& in) {
    if (stageCount == 0) {
        CopyInto(out, in);
        return;
    }
    CopyInto(workReal2, in);
    for (SFIRFilter* stage : stages->filters) {
        stage->Apply(workReal1, workReal2, true);
        if (workReal1.GetSize() < 2) {
            out.Resize(0);
            return;
        }
        DSPUtils::Downsample(workReal2, workReal1, 2);
    }
    CopyInto(out, workReal2);
}

void DecimationFilter::Apply(VecCplx32& out, const VecCplx32& in) {
    if (stageCount == 0) {
        CopyInto(out, in);
        return;
    }
    CopyInto(workCplx2, in);
    for (SFIRFilter* stage : stages->filters) {
        stage->Apply(workCplx1, workCplx2, true);
        if (workCplx1.GetSize() < 2) {
            out.Resize(0);
            return;
        }
        DSPUtils::Downsample(workCplx2, workCplx1, 2);
    }
    CopyInto(out, workCplx2);
}

void DecimationFilter::Flush() {
    if (!stages) return;
    for (SFIRFilter* stage : stages->filters)
        stage->Flush();
}

int DecimationFilter::GetRequiredInputLength(int outputLength) const {
    const int64_t h = (tapCount - 1) / 2;
    int64_t n = outputLength;
    for (int i = 0; i < stageCount; ++i) {
        n = (n + h) * 2;
        if (n > INT_MAX || n < INT_MIN) VELA_THROW(VELAErrorInvalidInputParameter);
    }
    return static_cast<int>(n);
}

int DecimationFilter::GetFilterChargeTime() const {
    return GetRequiredInputLength(0);
}

}  // namespace VELA
