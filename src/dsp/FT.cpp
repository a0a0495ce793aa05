#include "FT.h"

#include "kernel/FFTPlan.h"
#include "kernel/VectorKernels.h"
#include "kernel/Memory.h"
#include "internal/Aliasing.h"
#include "internal/ComplexView.h"

namespace VELA {

namespace {

kern::FFTKind KindOf(FTType t) {
    return static_cast<kern::FFTKind>(static_cast<int>(t));
}

using internal::F;

void* AllocWork(size_t bytes) {
    void* p = kern::AlignedAlloc(bytes);
    if (!p) VELA_THROW(VELAErrorMemoryAlloc);
    return p;
}

// The fixed-length transforms read and write exactly their plan's length: a block of another length
// (or no plan at all) would run past one of the two vectors.
void CheckFixedLength(const kern::FFTPlan* plan, int length, const VecCplx32& in) {
    if (!plan || in.GetSize() != length) VELA_THROW(VELAErrorInvalidInputParameter);
}

}  // namespace

// ============================== FT ==============================

FT::FT() : algorithm(VELAAlgorithmFast), normFlag(2) {}

FT::FT(int flag, VELAAlgorithm hint) : algorithm(hint), normFlag(flag) {}

FT::~FT() {
    kern::AlignedFree(workBuf);
    for (FTSpecNode* node = specList; node;) {
        FTSpecNode* next = node->next;
        kern::FFTDestroy(node->spec);
        delete node;
        node = next;
    }
}

int FT::GetPlanCount() const {
    int n = 0;
    for (const FTSpecNode* node = specList; node; node = node->next)
        ++n;
    return n;
}

kern::FFTPlan* FT::GetSpec(int length, FTType type) {
    for (FTSpecNode* node = specList; node; node = node->next)
        if (node->normFlag == normFlag && node->algorithm == algorithm && node->type == type &&
            node->length == length)
            return node->spec;
    auto* node = new FTSpecNode{normFlag, algorithm, type, length, specList, nullptr};
    node->spec = kern::FFTCreate(KindOf(type), length, normFlag);
    specList = node;
    return node->spec;
}

void FT::ResizeBuf(size_t size) {
    void* fresh = AllocWork(size);
    kern::AlignedFree(workBuf);
    workBuf = fresh;
    workBufSize = size;
}

void* FT::PrepareBuffer(kern::FFTPlan* plan) {
    const size_t need = kern::FFTWorkBytes(plan);
    if (workBufSize < need) ResizeBuf(need);
    return workBuf;
}

void FT::ComputeFT(const float* in, Cplx32* out, int length) {
    kern::FFTPlan* plan = GetSpec(length, FT_R_32F);
    if (!plan) return;
    kern::FFTExecR2C32(plan, in, F(out), PrepareBuffer(plan));
}
void FT::ComputeFT(const Cplx32* in, float* out, int length) {
    kern::FFTPlan* plan = GetSpec(length, FT_R_32F);
    if (!plan) return;
    kern::FFTExecC2R32(plan, F(in), out, PrepareBuffer(plan));
}
void FT::ComputeFT(const Cplx32* in, Cplx32* out, int length, int forward) {
    kern::FFTPlan* plan = GetSpec(length, FT_C_32FC);
    if (!plan) return;
    kern::FFTExecC32(plan, F(in), F(out), forward != 0, PrepareBuffer(plan));
}
void FT::ComputeFT(const double* in, Cplx64* out, int length) {
    kern::FFTPlan* plan = GetSpec(length, FT_R_64F);
    if (!plan) return;
    kern::FFTExecR2C64(plan, in, F(out), PrepareBuffer(plan));
}
void FT::ComputeFT(const Cplx64* in, double* out, int length) {
    kern::FFTPlan* plan = GetSpec(length, FT_R_64F);
    if (!plan) return;
    kern::FFTExecC2R64(plan, F(in), out, PrepareBuffer(plan));
}
void FT::ComputeFT(const Cplx64* in, Cplx64* out, int length, int forward) {
    kern::FFTPlan* plan = GetSpec(length, FT_C_64FC);
    if (!plan) return;
    kern::FFTExecC64(plan, F(in), F(out), forward != 0, PrepareBuffer(plan));
}

void FT::Forward(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);  // the transform stages an input that is its output
    out.Resize(in.GetSize());
    ComputeFT(in.Data(), out.Data(), in.GetSize(), 1);
}
void FT::Inverse(VecCplx32& out, const VecCplx32& in) {
    internal::PrepareInPlace(out, in);  // the transform stages an input that is its output
    out.Resize(in.GetSize());
    ComputeFT(in.Data(), out.Data(), in.GetSize(), 0);
}
void FT::Forward(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);  // the transform stages an input that is its output
    out.Resize(in.GetSize());
    ComputeFT(in.Data(), out.Data(), in.GetSize(), 1);
}
void FT::Inverse(VecCplx64& out, const VecCplx64& in) {
    internal::PrepareInPlace(out, in);  // the transform stages an input that is its output
    out.Resize(in.GetSize());
    ComputeFT(in.Data(), out.Data(), in.GetSize(), 0);
}
void FT::Forward(VecCplx32& out, const VecReal32& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n <= 0) return;
    ComputeFT(in.Data(), out.Data(), n);
    kern::K().expand_ccs_c32(F(out.Data()), n);
}
void FT::Forward(VecCplx64& out, const VecReal64& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n <= 0) return;
    ComputeFT(in.Data(), out.Data(), n);
    kern::K().expand_ccs_c64(F(out.Data()), n);
}
void FT::Inverse(VecReal32& out, const VecCplx32& in) {
    out.Resize(in.GetSize());
    ComputeFT(in.Data(), out.Data(), in.GetSize());
}
void FT::Inverse(VecReal64& out, const VecCplx64& in) {
    out.Resize(in.GetSize());
    ComputeFT(in.Data(), out.Data(), in.GetSize());
}

// ============================== DFT ==============================

DFT::DFT(int n) : spec(kern::FFTCreate(kern::FFTKind::C32, n, 2)), workBuf(nullptr), length(n) {
    workBuf = AllocWork(kern::FFTWorkBytes(spec));
}

DFT::~DFT() {
    kern::FFTDestroy(spec);
    kern::AlignedFree(workBuf);
}

void DFT::Forward(VecCplx32& out, const VecCplx32& in) {
    CheckFixedLength(spec, length, in);
    internal::PrepareInPlace(out, in);  // the transform stages an input that is its output
    out.Resize(in.GetSize());
    kern::FFTExecC32(spec, F(in.Data()), F(out.Data()), true, workBuf);
}
void DFT::Inverse(VecCplx32& out, const VecCplx32& in) {
    CheckFixedLength(spec, length, in);
    internal::PrepareInPlace(out, in);  // the transform stages an input that is its output
    out.Resize(in.GetSize());
    kern::FFTExecC32(spec, F(in.Data()), F(out.Data()), false, workBuf);
}

// ============================== FFT ==============================

FFT::FFT(int ord)
    : spec(ord >= 0 && ord < 31 ? kern::FFTCreate(kern::FFTKind::C32, 1 << ord, 2) : nullptr),
      workBuf(nullptr),
      order(ord) {
    workBuf = AllocWork(kern::FFTWorkBytes(spec));
}

FFT::~FFT() {
    kern::FFTDestroy(spec);
    kern::AlignedFree(workBuf);
}

void FFT::Forward(VecCplx32& out, const VecCplx32& in) {
    CheckFixedLength(spec, spec ? 1 << order : 0, in);
    internal::PrepareInPlace(out, in);  // the transform stages an input that is its output
    out.Resize(in.GetSize());
    kern::FFTExecC32(spec, F(in.Data()), F(out.Data()), true, workBuf);
}
void FFT::Inverse(VecCplx32& out, const VecCplx32& in) {
    CheckFixedLength(spec, spec ? 1 << order : 0, in);
    internal::PrepareInPlace(out, in);  // the transform stages an input that is its output
    out.Resize(in.GetSize());
    kern::FFTExecC32(spec, F(in.Data()), F(out.Data()), false, workBuf);
}

}  // namespace VELA
