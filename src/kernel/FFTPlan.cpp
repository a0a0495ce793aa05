#include "kernel/FFTPlan.h"

#include <fftw3.h>

#include <atomic>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>

#include "kernel/VectorKernels.h"

namespace VELA::kern {
namespace {

// Plans made so far in the process (for tests: execution must not plan).
std::atomic<long long> g_plannerCalls{0};

// FFTW's planner, wisdom and plan destruction share global state.
std::mutex& PlannerLock() {
    static std::mutex m;
    return m;
}

// How hard the planner works by default (measured in bench/RESULTS.md, "FFTW planning rigour" and
// "Planning: what a measuring planner costs here"): FFTW_ESTIMATE at every length. It plans any length
// in a few milliseconds (3.3 ms for 2^20 points) and gives the same plan in every process, so a run
// repeats bit for bit. FFTW_MEASURE's plans run up to about 40% faster below 2 MiB of complex points and
// up to 2 times faster above, but take 0.1 to several seconds per length, kind and direction (a third
// to a half of that among the direct solvers), which the default may not spend on a caller's first
// call, and they differ from process to process. An application that transforms one length often asks
// for them with SetFFTPlannerRigour (and keeps them with the wisdom calls).

// The rigour chosen by the application (FFTRigour), and FFTW's time limit per plan in seconds (< 0:
// none). Read under the planner lock, written with it held.
std::atomic<int> g_rigour{static_cast<int>(FFTRigour::Automatic)};
double g_timeLimit = -1.0;

unsigned PlannerFlags() {
    switch (static_cast<FFTRigour>(g_rigour.load(std::memory_order_relaxed))) {
        case FFTRigour::Estimate:
            return FFTW_ESTIMATE;
        case FFTRigour::Measure:
            return FFTW_MEASURE;
        case FFTRigour::Patient:
            return FFTW_PATIENT;
        case FFTRigour::Exhaustive:
            return FFTW_EXHAUSTIVE;
        case FFTRigour::MeasureDirect:
            return FFTW_MEASURE | FFTW_NO_INDIRECT_OP;
        case FFTRigour::Automatic:
            break;
    }
    return FFTW_ESTIMATE;
}

template <class T>
struct Fftw;
template <>
struct Fftw<float> {
    using plan = fftwf_plan;
    using cpx = fftwf_complex;
    static void* malloc(size_t b) { return fftwf_malloc(b); }
    static void free(void* p) { fftwf_free(p); }
    static plan c2c(int n, void* i, void* o, int sign, unsigned f) {
        return fftwf_plan_dft_1d(n, static_cast<cpx*>(i), static_cast<cpx*>(o), sign, f);
    }
    static plan r2c(int n, void* i, void* o, unsigned f) {
        return fftwf_plan_dft_r2c_1d(n, static_cast<float*>(i), static_cast<cpx*>(o), f);
    }
    static plan c2r(int n, void* i, void* o, unsigned f) {
        return fftwf_plan_dft_c2r_1d(n, static_cast<cpx*>(i), static_cast<float*>(o), f);
    }
    static void destroy(plan p) { fftwf_destroy_plan(p); }
    static void set_timelimit(double t) { fftwf_set_timelimit(t); }
    static void exec_c2c(plan p, const float* i, float* o) {
        fftwf_execute_dft(p, reinterpret_cast<cpx*>(const_cast<float*>(i)), reinterpret_cast<cpx*>(o));
    }
    static void exec_r2c(plan p, const float* i, float* o) {
        fftwf_execute_dft_r2c(p, const_cast<float*>(i), reinterpret_cast<cpx*>(o));
    }
    static void exec_c2r(plan p, float* i, float* o) {
        fftwf_execute_dft_c2r(p, reinterpret_cast<cpx*>(i), o);
    }
    static int alignment_of(const float* p) { return fftwf_alignment_of(const_cast<float*>(p)); }
    static void scale(float* d, double c, int n) { K().mulc_f32(d, static_cast<float>(c), n); }
};
template <>
struct Fftw<double> {
    using plan = fftw_plan;
    using cpx = fftw_complex;
    static void* malloc(size_t b) { return fftw_malloc(b); }
    static void free(void* p) { fftw_free(p); }
    static plan c2c(int n, void* i, void* o, int sign, unsigned f) {
        return fftw_plan_dft_1d(n, static_cast<cpx*>(i), static_cast<cpx*>(o), sign, f);
    }
    static plan r2c(int n, void* i, void* o, unsigned f) {
        return fftw_plan_dft_r2c_1d(n, static_cast<double*>(i), static_cast<cpx*>(o), f);
    }
    static plan c2r(int n, void* i, void* o, unsigned f) {
        return fftw_plan_dft_c2r_1d(n, static_cast<cpx*>(i), static_cast<double*>(o), f);
    }
    static void destroy(plan p) { fftw_destroy_plan(p); }
    static void set_timelimit(double t) { fftw_set_timelimit(t); }
    static void exec_c2c(plan p, const double* i, double* o) {
        fftw_execute_dft(p, reinterpret_cast<cpx*>(const_cast<double*>(i)), reinterpret_cast<cpx*>(o));
    }
    static void exec_r2c(plan p, const double* i, double* o) {
        fftw_execute_dft_r2c(p, const_cast<double*>(i), reinterpret_cast<cpx*>(o));
    }
    static void exec_c2r(plan p, double* i, double* o) {
        fftw_execute_dft_c2r(p, reinterpret_cast<cpx*>(i), o);
    }
    static int alignment_of(const double* p) { return fftw_alignment_of(const_cast<double*>(p)); }
    static void scale(double* d, double c, int n) { K().mulc_f64(d, c, n); }
};

// The plans of one transform. Slot 0 is planned on aligned arrays, slot 1 (made on first need)
// with FFTW_UNALIGNED for data that does not share the planner's alignment.
enum Direction { kForward = 0, kInverse = 1 };

}  // namespace

struct FFTPlan {
    FFTKind kind;
    bool isDouble;
    bool isReal;
    int n;
    double scale[2];    // forward, inverse
    void* plans[2][2];  // [direction][aligned = 0 / unaligned = 1]
};

namespace {

template <class T>
void* MakeOne(const FFTPlan& p, int dir, bool unaligned, unsigned extraFlags = 0) {
    using F = Fftw<T>;
    const int n = p.n;
    // Complex arrays of n points hold every layout used here (real data use the first n values).
    const size_t bytes = sizeof(T) * 2 * static_cast<size_t>(n);
    void* a = F::malloc(bytes);
    void* b = F::malloc(bytes);
    void* result = nullptr;
    if (a && b) {
        // See Get: the unaligned plans are made inside execution, so never by a measuring planner.
        unsigned flags = unaligned ? (FFTW_ESTIMATE | FFTW_UNALIGNED) : PlannerFlags();
        flags |= extraFlags;
        F::set_timelimit(g_timeLimit);
        if (!(extraFlags & FFTW_WISDOM_ONLY)) g_plannerCalls.fetch_add(1, std::memory_order_relaxed);
        typename F::plan pl;
        if (!p.isReal)
            pl = F::c2c(n, a, b, dir == kForward ? FFTW_FORWARD : FFTW_BACKWARD, flags);
        else if (dir == kForward)
            pl = F::r2c(n, a, b, flags);
        else
            pl = F::c2r(n, a, b, flags | FFTW_DESTROY_INPUT);
        result = reinterpret_cast<void*>(pl);
    }
    F::free(a);
    F::free(b);
    return result;
}

void* MakeLocked(const FFTPlan& p, int dir, bool unaligned) {
    std::lock_guard<std::mutex> lock(PlannerLock());
    return p.isDouble ? MakeOne<double>(p, dir, unaligned) : MakeOne<float>(p, dir, unaligned);
}

// Whether FFTW sees `p` at the alignment of its planning arrays. Blocks of the library are 64-byte
// aligned, which satisfies every alignment FFTW asks for, so they skip the call into FFTW.
template <class T>
bool Aligned(const T* p) {
    return reinterpret_cast<uintptr_t>(p) % 64 == 0 || Fftw<T>::alignment_of(p) == 0;
}

// The plan for these pointers. Inputs that FFTW would see misaligned are staged into the (aligned)
// work buffer by the callers below, so the unaligned plan is needed only for an output that is itself
// misaligned, which no container of the library produces (their outputs start at their block). That
// plan is made on first need, inside execution, so it is always made with FFTW_ESTIMATE: its planning
// time stays in the milliseconds whatever the length, never the seconds of a measuring planner.
template <class T>
typename Fftw<T>::plan Get(FFTPlan* p, int dir, const T* in, const T* out) {
    const bool unaligned = !Aligned(in) || !Aligned(out);
    void*& slot = p->plans[dir][unaligned ? 1 : 0];
    if (!slot) slot = MakeLocked(*p, dir, unaligned);
    return reinterpret_cast<typename Fftw<T>::plan>(slot);
}

template <class T>
void ExecC2C(FFTPlan* p, const T* in, T* out, bool forward, void* work) {
    if (!p) return;
    const int dir = forward ? kForward : kInverse;
    if (in == out || !Aligned(in)) {
        // FFTW plans are either in-place or out-of-place, and made for one alignment: stage the input
        // (one copy, far cheaper than a transform without SIMD) instead of keeping more plans.
        std::memcpy(work, in, sizeof(T) * 2 * static_cast<size_t>(p->n));
        in = static_cast<const T*>(work);
    }
    Fftw<T>::exec_c2c(Get<T>(p, dir, in, out), in, out);
    if (p->scale[dir] != 1.0) Fftw<T>::scale(out, p->scale[dir], 2 * p->n);
}

template <class T>
void ExecR2C(FFTPlan* p, const T* in, T* out, void* work) {
    if (!p) return;
    if (!Aligned(in)) {
        std::memcpy(work, in, sizeof(T) * static_cast<size_t>(p->n));
        in = static_cast<const T*>(work);
    }
    Fftw<T>::exec_r2c(Get<T>(p, kForward, in, out), in, out);
    if (p->scale[kForward] != 1.0) Fftw<T>::scale(out, p->scale[kForward], 2 * (p->n / 2 + 1));
}

template <class T>
void ExecC2R(FFTPlan* p, const T* in, T* out, void* work) {
    if (!p) return;
    // A real inverse overwrites its input, and ours is const: transform a copy of bins 0..n/2.
    T* staged = static_cast<T*>(work);
    std::memcpy(staged, in, sizeof(T) * 2 * static_cast<size_t>(p->n / 2 + 1));
    Fftw<T>::exec_c2r(Get<T>(p, kInverse, staged, out), staged, out);
    if (p->scale[kInverse] != 1.0) Fftw<T>::scale(out, p->scale[kInverse], p->n);
}

}  // namespace

FFTPlan* FFTCreate(FFTKind kind, int length, int normFlag) {
    if (length <= 0 || length > FFTMaxLength(kind)) return nullptr;
    auto* p = new FFTPlan{};
    p->kind = kind;
    p->isDouble = kind == FFTKind::R64 || kind == FFTKind::C64;
    p->isReal = kind == FFTKind::R16 || kind == FFTKind::R32 || kind == FFTKind::R64;
    p->n = length;
    const double n = length;
    p->scale[kForward] = (normFlag & 1) ? 1.0 / n : (normFlag & 4) ? 1.0 / std::sqrt(n) : 1.0;
    p->scale[kInverse] = (normFlag & 2) ? 1.0 / n : (normFlag & 4) ? 1.0 / std::sqrt(n) : 1.0;
    // The aligned plans are made now, so that the first transform does not pay for planning.
    p->plans[kForward][0] = MakeLocked(*p, kForward, false);
    p->plans[kInverse][0] = MakeLocked(*p, kInverse, false);
    if (!p->plans[kForward][0] || !p->plans[kInverse][0]) {
        FFTDestroy(p);
        return nullptr;
    }
    return p;
}

void FFTDestroy(FFTPlan* p) {
    if (!p) return;
    {
        std::lock_guard<std::mutex> lock(PlannerLock());
        for (auto& dir : p->plans)
            for (void* slot : dir) {
                if (!slot) continue;
                if (p->isDouble)
                    fftw_destroy_plan(reinterpret_cast<fftw_plan>(slot));
                else
                    fftwf_destroy_plan(reinterpret_cast<fftwf_plan>(slot));
            }
    }
    delete p;
}

int FFTMaxLength(FFTKind kind) {
    // The longest vector of the kind's element that the containers' allocators hand out: a longer
    // transform could have no input, and planning one would claim gigabytes for nothing.
    switch (kind) {
        case FFTKind::R16:
        case FFTKind::R32:
            return 1073740823;
        case FFTKind::C16:
        case FFTKind::C32:
        case FFTKind::R64:
            return 536869911;
        case FFTKind::C64:
            return 268434455;
    }
    return 0;
}

unsigned FFTPlannerFlags(FFTKind, int) {
    return PlannerFlags();
}

size_t FFTWorkBytes(FFTKind kind, int length) {
    if (length <= 0) return 0;
    const bool isDouble = kind == FFTKind::R64 || kind == FFTKind::C64;
    return (isDouble ? sizeof(double) : sizeof(float)) * 2 * static_cast<size_t>(length);
}

size_t FFTWorkBytes(const FFTPlan* p) {
    return p ? FFTWorkBytes(p->kind, p->n) : 0;
}

void SetFFTPlannerRigour(FFTRigour rigour, double secondsPerPlan) {
    std::lock_guard<std::mutex> lock(PlannerLock());
    g_rigour.store(static_cast<int>(rigour), std::memory_order_relaxed);
    g_timeLimit = secondsPerPlan > 0 && std::isfinite(secondsPerPlan) ? secondsPerPlan : -1.0;
}

FFTRigour GetFFTPlannerRigour() {
    return static_cast<FFTRigour>(g_rigour.load(std::memory_order_relaxed));
}

double GetFFTPlannerTimeLimit() {
    std::lock_guard<std::mutex> lock(PlannerLock());
    return g_timeLimit;
}

namespace {

// FFTW's wisdom is kept per precision, as one s-expression each: "(fftw-3.3.10 fftwf_wisdom ...)" and
// "(fftw-3.3.10 fftw_wisdom ...)". Our text is the two one after the other, float first.
std::string TakeString(char* s, void (*release)(void*)) {
    std::string r = s ? s : "";
    if (s) release(s);
    return r;
}

}  // namespace

std::string FFTExportWisdom() {
    std::lock_guard<std::mutex> lock(PlannerLock());
    std::string text = TakeString(fftwf_export_wisdom_to_string(), std::free);
    text += TakeString(fftw_export_wisdom_to_string(), std::free);
    return text;
}

bool FFTImportWisdom(const std::string& text) {
    // Split into top-level parenthesised expressions and hand each to the precision it names; anything
    // else (text outside parentheses other than white space, an unbalanced or unknown expression)
    // refuses the whole text before FFTW sees any of it.
    std::string single, dbl;
    size_t i = 0;
    while (i < text.size()) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (std::isspace(c)) {
            ++i;
            continue;
        }
        if (c != '(') return false;
        int depth = 0;
        size_t j = i;
        for (; j < text.size(); ++j) {
            if (text[j] == '(') ++depth;
            if (text[j] == ')' && --depth == 0) break;
        }
        if (j == text.size()) return false;
        const std::string expr = text.substr(i, j + 1 - i);
        // The header is "(fftw-<version> <name>": the name decides the precision.
        const size_t sp = expr.find_first_of(" \t\r\n");
        const size_t end = sp == std::string::npos ? sp : expr.find_first_of(" \t\r\n()", sp + 1);
        const std::string name =
            sp == std::string::npos ? "" : expr.substr(sp + 1, end == std::string::npos ? end : end - sp - 1);
        if (expr.compare(0, 6, "(fftw-") != 0) return false;
        if (name == "fftwf_wisdom" && single.empty())
            single = expr;
        else if (name == "fftw_wisdom" && dbl.empty())
            dbl = expr;
        else
            return false;
        i = j + 1;
    }
    if (single.empty() && dbl.empty()) return false;
    std::lock_guard<std::mutex> lock(PlannerLock());
    bool ok = true;
    if (!single.empty()) ok = fftwf_import_wisdom_from_string(single.c_str()) != 0;
    if (ok && !dbl.empty()) ok = fftw_import_wisdom_from_string(dbl.c_str()) != 0;
    return ok;
}

bool FFTImportSystemWisdom() {
    std::lock_guard<std::mutex> lock(PlannerLock());
    const bool single = fftwf_import_system_wisdom() != 0;
    const bool dbl = fftw_import_system_wisdom() != 0;
    return single || dbl;
}

void FFTForgetWisdom() {
    std::lock_guard<std::mutex> lock(PlannerLock());
    fftwf_forget_wisdom();
    fftw_forget_wisdom();
}

bool FFTWisdomKnows(FFTKind kind, int length) {
    if (length <= 0 || length > FFTMaxLength(kind)) return false;
    FFTPlan p{};
    p.kind = kind;
    p.isDouble = kind == FFTKind::R64 || kind == FFTKind::C64;
    p.isReal = kind == FFTKind::R16 || kind == FFTKind::R32 || kind == FFTKind::R64;
    p.n = length;
    std::lock_guard<std::mutex> lock(PlannerLock());
    void* fwd = p.isDouble ? MakeOne<double>(p, kForward, false, FFTW_WISDOM_ONLY)
                           : MakeOne<float>(p, kForward, false, FFTW_WISDOM_ONLY);
    if (!fwd) return false;
    if (p.isDouble)
        fftw_destroy_plan(reinterpret_cast<fftw_plan>(fwd));
    else
        fftwf_destroy_plan(reinterpret_cast<fftwf_plan>(fwd));
    return true;
}

long long FFTPlannerCalls() {
    return g_plannerCalls.load(std::memory_order_relaxed);
}

void FFTExecC32(FFTPlan* p, const float* in, float* out, bool fwd, void* w) {
    ExecC2C(p, in, out, fwd, w);
}
void FFTExecC64(FFTPlan* p, const double* in, double* out, bool fwd, void* w) {
    ExecC2C(p, in, out, fwd, w);
}
void FFTExecR2C32(FFTPlan* p, const float* in, float* out, void* w) {
    ExecR2C(p, in, out, w);
}
void FFTExecR2C64(FFTPlan* p, const double* in, double* out, void* w) {
    ExecR2C(p, in, out, w);
}
void FFTExecC2R32(FFTPlan* p, const float* in, float* out, void* w) {
    ExecC2R(p, in, out, w);
}
void FFTExecC2R64(FFTPlan* p, const double* in, double* out, void* w) {
    ExecC2R(p, in, out, w);
}

}  // namespace VELA::kern
