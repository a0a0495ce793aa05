// Operations whose output is also one of their inputs: op(v, v) against op(fresh, copy).
//
// One table entry per operation (and per way of aliasing it: out == a, out == b, all one vector). Each
// entry runs its operation with the aliased vector in three forms:
// - Plain: a vector whose block holds exactly its elements, so any output longer than the input grows
//   past the capacity (the block is released and reallocated);
// - ShiftLeft: a view made by ShiftLeft(3) on a larger block;
// - Truncate: a view made by Truncate(3, n) on a block with elements on both sides.
// The elements a view hides hold values unlike the visible ones, so an operation that reads the block
// instead of the view gives other results. The aliased result must equal, bit for bit, what the same
// call gives with a separate, fresh output and a copy of the input. Entries marked in place must also
// allocate nothing in the aliased call.
//
// The refusals (a window that does not lie inside its block, two outputs in one vector) are at the end.
#include <corvane/corvane.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kernel/Memory.h"
#include "support/SteppedPlan.h"

using namespace VELA;

namespace {

enum class Form { Plain, ShiftLeft, Truncate };
constexpr Form kForms[] = {Form::Plain, Form::ShiftLeft, Form::Truncate};
constexpr int kPad = 3;   // hidden elements before a view
constexpr int kTail = 4;  // hidden elements after a Truncate view

const char* Name(Form f) {
    switch (f) {
        case Form::Plain:
            return "plain";
        case Form::ShiftLeft:
            return "ShiftLeft view";
        default:
            return "Truncate view";
    }
}

// ---------------------------------------------------------------- element values

// Visible values: positive, varied, finite through every function tested (logarithms, roots, powers).
// Hidden values: large and negative, so reading one shows in any result.
double Visible(int k) {
    return 0.25 + static_cast<double>((k * 37 + 11) % 101) / 40.0;
}
double Hidden(int k) {
    return -1000.0 - k;
}

template <class T>
struct Elem;
template <>
struct Elem<float> {
    static float Make(double x, double) { return static_cast<float>(x); }
};
template <>
struct Elem<double> {
    static double Make(double x, double) { return x; }
};
template <>
struct Elem<Cplx32> {
    static Cplx32 Make(double x, double y) { return {static_cast<float>(x), static_cast<float>(y - 1.5)}; }
};
template <>
struct Elem<Cplx64> {
    static Cplx64 Make(double x, double y) { return {x, y - 1.5}; }
};
template <>
struct Elem<unsigned char> {
    static unsigned char Make(double x, double) {
        return static_cast<unsigned char>(static_cast<int>(x * 40.0) & 0xff);
    }
};
template <>
struct Elem<short> {
    static short Make(double x, double) {
        return static_cast<short>(static_cast<int>(x * 40.0 - 60.0) % 30000);
    }
};
template <>
struct Elem<int> {
    static int Make(double x, double) { return static_cast<int>(x * 4000.0 - 6000.0); }
};
template <>
struct Elem<unsigned int> {
    static unsigned int Make(double x, double) {
        return static_cast<unsigned int>(static_cast<int64_t>(x * 1e6));
    }
};

template <class V>
using ElemOf = std::remove_reference_t<decltype(std::declval<V&>()[0])>;

// A plain vector of n visible values; `seed` selects the values.
template <class V>
V Values(int n, int seed) {
    V v(n);
    for (int i = 0; i < n; ++i)
        v[i] = Elem<ElemOf<V>>::Make(Visible(seed + i), Visible(seed + i + 5));
    return v;
}

// v becomes `form` of the elements of `src`, on a block of its own, with hidden values around them.
template <class V>
void Load(V& v, Form form, const V& src) {
    const int n = src.GetSize();
    const int pad = form == Form::Plain ? 0 : kPad;
    const int tail = form == Form::Truncate ? kTail : 0;
    V fresh(pad + n + tail);  // exactly this capacity
    for (int i = 0; i < pad + n + tail; ++i)
        fresh[i] = Elem<ElemOf<V>>::Make(Hidden(i), Hidden(i));
    for (int i = 0; i < n; ++i)
        fresh[pad + i] = src[i];
    v = fresh;  // operator= allocates exactly the source's size
    if (form == Form::ShiftLeft) v.ShiftLeft(pad);
    if (form == Form::Truncate) v.Truncate(pad, n);
}

// Bitwise equality of the visible windows (NaNs of equal bits compare equal), over `bytes` bytes when
// given, else over the whole window.
template <class V>
void ExpectSameBits(const V& actual, const V& expected, const std::string& what, long long bytes = -1) {
    ASSERT_EQ(actual.GetSize(), expected.GetSize()) << what;
    using T = ElemOf<V>;
    const size_t n =
        bytes >= 0 ? static_cast<size_t>(bytes) : sizeof(T) * static_cast<size_t>(actual.GetSize());
    if (n == 0) return;
    const auto* a = reinterpret_cast<const unsigned char*>(actual.Data());
    const auto* e = reinterpret_cast<const unsigned char*>(expected.Data());
    if (std::memcmp(a, e, n) == 0) return;
    size_t k = 0;
    while (a[k] == e[k])
        ++k;
    ADD_FAILURE() << what << ": results differ, first at element " << k / sizeof(T) << " of "
                  << actual.GetSize();
}

struct Opts {
    Opts(bool inPlace_ = false, bool outKeepsState_ = false)
        : inPlace(inPlace_), outKeepsState(outKeepsState_) {}
    bool inPlace;                         // the aliased call must not allocate
    bool outKeepsState;                   // the reference output starts as a copy of the input, not empty
    std::function<long long(int)> bytes;  // bytes to compare, from the result size (default: all)
};

// op(v, v) against op(fresh, copy) for an input of n elements, in every form.
template <class V, class Op>
void Aliased(int n, Op op, Opts o = {}, int seed = 1) {
    const V values = Values<V>(n, seed);
    for (Form form : kForms) {
        V v;
        Load(v, form, values);
        V copy;
        copy = v;
        V fresh;
        if (o.outKeepsState) fresh = v;
        op(fresh, copy);
        const long long before = kern::AllocationCount();
        op(v, v);
        if (o.inPlace) {
            EXPECT_EQ(kern::AllocationCount(), before) << Name(form) << ": allocated in place";
        }
        ExpectSameBits(v, fresh, Name(form), o.bytes ? o.bytes(fresh.GetSize()) : -1);
    }
}

// The in-place form op(v) on a view against op(copy).
template <class V, class Op>
void InPlace(int n, Op op, int seed = 1) {
    const V values = Values<V>(n, seed);
    for (Form form : kForms) {
        V v;
        Load(v, form, values);
        V copy;
        copy = v;
        op(copy);
        const long long before = kern::AllocationCount();
        op(v);
        EXPECT_EQ(kern::AllocationCount(), before) << Name(form);
        ExpectSameBits(v, copy, Name(form));
    }
}

// Matrices have no views: op(m, m) against op(fresh, copy) on an r x c matrix.
template <class M>
M MatValues(int r, int c, int seed) {
    M m(r, c);
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j)
            m[i][j] = static_cast<std::remove_pointer_t<ElemOf<M>>>(Visible(seed + i * c + j) -
                                                                    (i == j ? 0.0 : 1.2));
    return m;
}
template <class M, class Op>
void AliasedMat(int r, int c, Op op) {
    M m = MatValues<M>(r, c, 1);
    const M copy(m);
    M fresh;
    op(fresh, copy);
    op(m, m);
    ASSERT_EQ(m.GetRows(), fresh.GetRows());
    ASSERT_EQ(m.GetCols(), fresh.GetCols());
    for (int i = 0; i < m.GetRows(); ++i)
        for (int j = 0; j < m.GetCols(); ++j)
            ASSERT_EQ(m[i][j], fresh[i][j]) << "element " << i << ", " << j;
}

// The second operand of a two-input operation: another vector of n elements, made once (at the first
// call, which is a reference call) so that the aliased call allocates nothing for it.
template <class V>
const V& Other(int n) {
    static std::map<int, std::unique_ptr<V>> made;
    std::unique_ptr<V>& v = made[n];
    if (!v) v = std::make_unique<V>(Values<V>(n, 40));
    return *v;
}

// ---------------------------------------------------------------- the table

struct AliasCase {
    std::string name;
    std::function<void()> check;
};

std::ostream& operator<<(std::ostream& os, const AliasCase& c) {
    return os << c.name;
}

using R32 = VecReal32;
using R64 = VecReal64;
using C32 = VecCplx32;
using C64 = VecCplx64;

#define ALIAS_CASE(name, ...) \
    AliasCase {               \
#name, [] __VA_ARGS__ \
    }

// The element-wise MathUtils functions Op(out, in) of one type, each aliased.
template <class V>
void AddMathUnary(std::vector<AliasCase>& t, const std::string& type) {
    const Opts ip{true, false};
    auto add = [&](const std::string& name, std::function<void(V&, const V&)> op) {
        t.push_back({"MathUtils_" + name + "_" + type, [op, ip] { Aliased<V>(11, op, ip); }});
    };
    if constexpr (std::is_same_v<V, R32> || std::is_same_v<V, R64>) {
        add("Abs", [](V& o, const V& i) { MathUtils::Abs(o, i); });
        add("Sqr", [](V& o, const V& i) { MathUtils::Sqr(o, i); });
        add("Sqrt", [](V& o, const V& i) { MathUtils::Sqrt(o, i); });
        add("Floor", [](V& o, const V& i) { MathUtils::Floor(o, i); });
        add("Ceil", [](V& o, const V& i) { MathUtils::Ceil(o, i); });
        add("Cos", [](V& o, const V& i) { MathUtils::Cos(o, i); });
        add("Sin", [](V& o, const V& i) { MathUtils::Sin(o, i); });
        add("Atan", [](V& o, const V& i) { MathUtils::Atan(o, i); });
        add("Log10", [](V& o, const V& i) { MathUtils::Log10(o, i); });
        add("Ln", [](V& o, const V& i) { MathUtils::Ln(o, i); });
        add("Exp", [](V& o, const V& i) { MathUtils::Exp(o, i); });
        add("Erf", [](V& o, const V& i) { MathUtils::Erf(o, i); });
        add("Pow", [](V& o, const V& i) { MathUtils::Pow(o, i, 1.7f); });
        add("Pow10", [](V& o, const V& i) { MathUtils::Pow10(o, i); });
        add("Diff", [](V& o, const V& i) { MathUtils::Diff(o, i); });
        add("Sinc", [](V& o, const V& i) { MathUtils::Sinc(o, i, 1e-3f); });
        add("Atan2_OutIsY", [](V& o, const V& i) { MathUtils::Atan2(o, i, Other<V>(11)); });
        add("Atan2_OutIsX", [](V& o, const V& i) { MathUtils::Atan2(o, Other<V>(11), i); });
        add("Atan2_AllOne", [](V& o, const V& i) { MathUtils::Atan2(o, i, i); });
        add("Polyval_OutIsX", [](V& o, const V& i) { MathUtils::Polyval(o, i, Other<V>(4)); });
    } else {
        add("Sqr", [](V& o, const V& i) { MathUtils::Sqr(o, i); });
        add("Sqrt", [](V& o, const V& i) { MathUtils::Sqrt(o, i); });
        add("Floor", [](V& o, const V& i) { MathUtils::Floor(o, i); });
        add("Ceil", [](V& o, const V& i) { MathUtils::Ceil(o, i); });
        add("Conj", [](V& o, const V& i) { MathUtils::Conj(o, i); });
        add("ConjFlip", [](V& o, const V& i) { MathUtils::ConjFlip(o, i); });
        add("Flip", [](V& o, const V& i) { MathUtils::Flip(o, i); });
    }
}

// The copy family, Append and Interleave of one type.
template <class V>
void AddMathParts(std::vector<AliasCase>& t, const std::string& type) {
    const Opts ip{true, false};
    const Opts keep{true, true};
    auto add = [&](const std::string& name, std::function<void(V&, const V&)> op, Opts o) {
        t.push_back({"MathUtils_" + name + "_" + type, [op, o] { Aliased<V>(12, op, o); }});
    };
    add(
        "Copy_PartToStart", [](V& o, const V& i) { MathUtils::Copy(o, 7, i, 3); }, ip);
    add(
        "Copy_Tail", [](V& o, const V& i) { MathUtils::Copy(o, i, 5); }, ip);
    add(
        "Copy_WithinForward", [](V& o, const V& i) { MathUtils::Copy(o, 1, 8, i, 3); }, keep);
    add(
        "Copy_WithinBackward", [](V& o, const V& i) { MathUtils::Copy(o, 3, 8, i, 1); }, keep);
    add("Append_OutIsA", [](V& o, const V& i) { MathUtils::Append(o, i, Other<V>(5)); }, {});
    add("Append_OutIsB", [](V& o, const V& i) { MathUtils::Append(o, Other<V>(5), i); }, {});
    add("Append_AllOne", [](V& o, const V& i) { MathUtils::Append(o, i, i); }, {});
    add("AppendParts_OutIsA", [](V& o, const V& i) { MathUtils::Append(o, i, 2, 9, Other<V>(6), 1, 4); }, {});
    add("AppendParts_OutIsB", [](V& o, const V& i) { MathUtils::Append(o, Other<V>(6), 1, 4, i, 2, 9); }, {});
    add("Interleave_OutIsA", [](V& o, const V& i) { MathUtils::Interleave(o, i, Other<V>(12)); }, {});
    add("Interleave_OutIsB", [](V& o, const V& i) { MathUtils::Interleave(o, Other<V>(12), i); }, {});
    add("Interleave_AllOne", [](V& o, const V& i) { MathUtils::Interleave(o, i, i); }, {});
}

// The DSPUtils sampling operations of one type.
template <class V>
void AddSampling(std::vector<AliasCase>& t, const std::string& type) {
    const Opts ip{true, false};
    auto add = [&](const std::string& name, std::function<void(V&, const V&)> op, Opts o) {
        t.push_back({"DSPUtils_" + name + "_" + type, [op, o] { Aliased<V>(10, op, o); }});
    };
    add(
        "Downsample", [](V& o, const V& i) { DSPUtils::Downsample(o, i, 3, 1); }, ip);
    add("Upsample", [](V& o, const V& i) { DSPUtils::Upsample(o, i, 3, 2); }, {});
    add("Duplicate", [](V& o, const V& i) { DSPUtils::Duplicate(o, i, 3); }, {});
    add(
        "Derivative", [](V& o, const V& i) { DSPUtils::Derivative(o, i); }, ip);
}

std::vector<AliasCase> BuildTable() {
    std::vector<AliasCase> t;
    const Opts ip{true, false};

    // ---------------- MathUtils
    AddMathUnary<R32>(t, "R32");
    AddMathUnary<R64>(t, "R64");
    AddMathUnary<C32>(t, "C32");
    AddMathUnary<C64>(t, "C64");
    AddMathParts<R32>(t, "R32");
    AddMathParts<R64>(t, "R64");
    AddMathParts<C32>(t, "C32");
    AddMathParts<C64>(t, "C64");
    t.push_back(ALIAS_CASE(MathUtils_Copy_WithinForward_C32Alt, {
        Aliased<C32>(12, [](C32& o, const C32& i) { MathUtils::Copy(1, o, 8, 3, i); }, {true, true});
    }));
    t.push_back(ALIAS_CASE(MathUtils_Copy_PartToStart_I32, {
        Aliased<VecInt32>(12, [](VecInt32& o, const VecInt32& i) { MathUtils::Copy(o, 7, i, 3); }, {true});
    }));
    t.push_back(ALIAS_CASE(MathUtils_Copy_PartToStart_U32, {
        Aliased<VecUInt32>(12, [](VecUInt32& o, const VecUInt32& i) { MathUtils::Copy(o, 7, i, 3); }, {true});
    }));
    t.push_back(ALIAS_CASE(MathUtils_Polyval_OutIsC_R32, {
        Aliased<R32>(6, [](R32& o, const R32& i) { MathUtils::Polyval(o, Other<R32>(9), i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Polyval_OutIsC_R64, {
        Aliased<R64>(6, [](R64& o, const R64& i) { MathUtils::Polyval(o, Other<R64>(9), i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Polyval_AllOne_R32,
                           { Aliased<R32>(6, [](R32& o, const R32& i) { MathUtils::Polyval(o, i, i); }); }));
    t.push_back(ALIAS_CASE(MathUtils_Ave_OutIsA_R32, {
        Aliased<R32>(9, [](R32& o, const R32& i) { MathUtils::Ave(o, i, Other<R32>(9)); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Ave_OutIsB_R32, {
        Aliased<R32>(9, [](R32& o, const R32& i) { MathUtils::Ave(o, Other<R32>(9), i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Ave_OutIsB_R64, {
        Aliased<R64>(9, [](R64& o, const R64& i) { MathUtils::Ave(o, Other<R64>(9), i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Ave_AllOne_R64,
                           { Aliased<R64>(9, [](R64& o, const R64& i) { MathUtils::Ave(o, i, i); }); }));
    t.push_back(ALIAS_CASE(MathUtils_MulMatVec_OutIsV_R32, {
        // 7 rows from a vector of 3: the output grows past the vector's block.
        const MatReal32 m = MatValues<MatReal32>(7, 3, 5);
        Aliased<R32>(3, [&m](R32& o, const R32& i) { MathUtils::Mul(o, m, i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_MulMatVec_OutIsV_R64, {
        const MatReal64 m = MatValues<MatReal64>(7, 3, 5);
        Aliased<R64>(3, [&m](R64& o, const R64& i) { MathUtils::Mul(o, m, i); });
    }));
    // In-place forms on views.
    t.push_back(
        ALIAS_CASE(MathUtils_InPlaceAbs_R32, { InPlace<R32>(11, [](R32& v) { MathUtils::Abs(v); }); }));
    t.push_back(
        ALIAS_CASE(MathUtils_InPlaceSqrt_R64, { InPlace<R64>(11, [](R64& v) { MathUtils::Sqrt(v); }); }));
    t.push_back(
        ALIAS_CASE(MathUtils_InPlaceFlip_R32, { InPlace<R32>(11, [](R32& v) { MathUtils::Flip(v); }); }));
    t.push_back(
        ALIAS_CASE(MathUtils_InPlaceConj_C32, { InPlace<C32>(11, [](C32& v) { MathUtils::Conj(v); }); }));
    t.push_back(
        ALIAS_CASE(MathUtils_InPlaceLog10_R32, { InPlace<R32>(11, [](R32& v) { MathUtils::Log10(v); }); }));
    t.push_back(ALIAS_CASE(MathUtils_InPlaceLn_R64, { InPlace<R64>(11, [](R64& v) { MathUtils::Ln(v); }); }));
    t.push_back(
        ALIAS_CASE(MathUtils_InPlacePow10_R32, { InPlace<R32>(11, [](R32& v) { MathUtils::Pow10(v); }); }));
    t.push_back(
        ALIAS_CASE(MathUtils_InPlacePow10_R64, { InPlace<R64>(11, [](R64& v) { MathUtils::Pow10(v); }); }));
    t.push_back(ALIAS_CASE(MathUtils_DeleteElement_R32, {
        VecInt32 idx(2);
        idx[0] = 1;
        idx[1] = 3;
        InPlace<R32>(9, [&idx](R32& v) { MathUtils::DeleteElement(v, idx); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_DeleteElement_R64, {
        VecInt32 idx(3);
        idx[0] = 0;
        idx[1] = 4;
        idx[2] = 8;
        InPlace<R64>(9, [&idx](R64& v) { MathUtils::DeleteElement(v, idx); });
    }));
    // Matrices: 3 x 5 times 5 x 5 into the 3 x 5 operand, 2 x 3 times 3 x 6 into the 2 x 3 (grows).
    t.push_back(ALIAS_CASE(MathUtils_MulMat_OutIsA_R32, {
        const MatReal32 b = MatValues<MatReal32>(3, 6, 9);
        AliasedMat<MatReal32>(2, 3, [&b](MatReal32& o, const MatReal32& i) { MathUtils::Mul(o, i, b); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_MulMat_OutIsB_R32, {
        const MatReal32 a = MatValues<MatReal32>(6, 2, 9);
        AliasedMat<MatReal32>(2, 3, [&a](MatReal32& o, const MatReal32& i) { MathUtils::Mul(o, a, i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_MulMat_AllOne_R64, {
        AliasedMat<MatReal64>(4, 4, [](MatReal64& o, const MatReal64& i) { MathUtils::Mul(o, i, i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_MulMat_OutIsA_R64, {
        const MatReal64 b = MatValues<MatReal64>(3, 6, 9);
        AliasedMat<MatReal64>(2, 3, [&b](MatReal64& o, const MatReal64& i) { MathUtils::Mul(o, i, b); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Trns_R32, {
        AliasedMat<MatReal32>(2, 5, [](MatReal32& o, const MatReal32& i) { MathUtils::Trns(o, i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Trns_R64, {
        AliasedMat<MatReal64>(4, 4, [](MatReal64& o, const MatReal64& i) { MathUtils::Trns(o, i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Inv_R32, {
        AliasedMat<MatReal32>(4, 4, [](MatReal32& o, const MatReal32& i) { MathUtils::Inv(o, i); });
    }));
    t.push_back(ALIAS_CASE(MathUtils_Inv_R64, {
        AliasedMat<MatReal64>(5, 5, [](MatReal64& o, const MatReal64& i) { MathUtils::Inv(o, i); });
    }));

    // ---------------- vector and matrix members taking their own type
    t.push_back(ALIAS_CASE(VecReal32_ArithmeticWithItself, {
        Aliased<R32>(13, [](R32& o, const R32& i) { o.Add(i); }, {true, true});
        Aliased<R32>(13, [](R32& o, const R32& i) { o.Sub(i); }, {true, true});
        Aliased<R32>(13, [](R32& o, const R32& i) { o.Mul(i); }, {true, true});
        Aliased<R32>(13, [](R32& o, const R32& i) { o.Div(i); }, {true, true});
    }));
    t.push_back(ALIAS_CASE(VecReal64_ArithmeticWithItself, {
        Aliased<R64>(13, [](R64& o, const R64& i) { o += i; }, {true, true});
        Aliased<R64>(13, [](R64& o, const R64& i) { o -= i; }, {true, true});
        Aliased<R64>(13, [](R64& o, const R64& i) { o *= i; }, {true, true});
        Aliased<R64>(13, [](R64& o, const R64& i) { o /= i; }, {true, true});
    }));
    t.push_back(ALIAS_CASE(VecCplx32_ArithmeticWithItself, {
        Aliased<C32>(13, [](C32& o, const C32& i) { o.Add(i); }, {true, true});
        Aliased<C32>(13, [](C32& o, const C32& i) { o.Sub(i); }, {true, true});
        Aliased<C32>(13, [](C32& o, const C32& i) { o.Mul(i); }, {true, true});
        Aliased<C32>(13, [](C32& o, const C32& i) { o.Div(i); }, {true, true});
    }));
    t.push_back(ALIAS_CASE(VecCplx64_ArithmeticWithItself, {
        Aliased<C64>(13, [](C64& o, const C64& i) { o.Add(i); }, {true, true});
        Aliased<C64>(13, [](C64& o, const C64& i) { o.Sub(i); }, {true, true});
        Aliased<C64>(13, [](C64& o, const C64& i) { o.Mul(i); }, {true, true});
        Aliased<C64>(13, [](C64& o, const C64& i) { o.Div(i); }, {true, true});
    }));
    t.push_back(ALIAS_CASE(VecInt16_ArithmeticWithItself, {
        Aliased<VecInt16>(13, [](VecInt16& o, const VecInt16& i) { o.Add(i); }, {true, true});
        Aliased<VecInt16>(13, [](VecInt16& o, const VecInt16& i) { o.Sub(i); }, {true, true});
        Aliased<VecInt16>(13, [](VecInt16& o, const VecInt16& i) { o.Mul(i); }, {true, true});
    }));
    t.push_back(ALIAS_CASE(VecCplx32_SubPartsOfItself, {
        // Overlapping parts in both directions, disjoint parts, and the same part.
        const int starts[][2] = {{1, 4}, {4, 1}, {0, 6}, {2, 2}, {0, 1}, {1, 0}};
        for (const auto& s : starts) {
            const int d = s[0], r = s[1];
            // Overlapping parts take the subtrahend from a copy; the others run in place.
            const bool overlap = d != r && std::abs(d - r) < 6;
            Aliased<C32>(13, [d, r](C32& o, const C32& i) { o.Sub(i, d, r, 6); }, {!overlap, true});
        }
    }));
    t.push_back(ALIAS_CASE(Vectors_SelfAssignment, {
        Aliased<R32>(7, [](R32& o, const R32& i) { o = i; }, {true, true});
        Aliased<R64>(7, [](R64& o, const R64& i) { o = i; }, {true, true});
        Aliased<C32>(7, [](C32& o, const C32& i) { o = i; }, {true, true});
        Aliased<C64>(7, [](C64& o, const C64& i) { o = i; }, {true, true});
        Aliased<VecInt16>(7, [](VecInt16& o, const VecInt16& i) { o = i; }, {true, true});
        Aliased<VecInt32>(7, [](VecInt32& o, const VecInt32& i) { o = i; }, {true, true});
        Aliased<VecUInt32>(7, [](VecUInt32& o, const VecUInt32& i) { o = i; }, {true, true});
        Aliased<VecUInt8>(7, [](VecUInt8& o, const VecUInt8& i) { o = i; }, {true, true});
    }));
    // Import and Export of the vector's own elements, with a pointer into the vector's own block.
    t.push_back(ALIAS_CASE(Vectors_ImportFromOwnBlock, {
        auto tail = [](auto& o, const auto& i) { o.Import(i.Data() + 3, i.GetSize() - 3); };
        Aliased<R32>(12, tail, {true});
        Aliased<R64>(12, tail, {true});
        Aliased<C32>(12, tail, {true});
        Aliased<C64>(12, tail, {true});
        Aliased<VecUInt8>(12, tail, {true});
        Aliased<VecInt16>(12, tail, {true});
        Aliased<C32>(12,
                     [](C32& o, const C32& i) {
                         o.Import(reinterpret_cast<const float*>(i.Data() + 2), i.GetSize() - 2);
                     },
                     {true});
    }));
    t.push_back(ALIAS_CASE(Vectors_ExportIntoOwnBlock, {
        // The reference exports the copy into a vector holding the same values.
        auto shift = [](auto& o, const auto& i) { i.Export(o.Data() + 2, i.GetSize() - 2); };
        Aliased<R32>(12, shift, {true, true});
        Aliased<R64>(12, shift, {true, true});
        Aliased<C32>(12, shift, {true, true});
        Aliased<C64>(12, shift, {true, true});
        Aliased<VecUInt8>(12, shift, {true, true});
        Aliased<VecInt16>(12, shift, {true, true});
    }));
    t.push_back(ALIAS_CASE(Matrices_ImportFromOwnBlock, {
        AliasedMat<MatReal32>(4, 3, [](MatReal32& o, const MatReal32& i) { o.Import(i.Data() + 3, 3, 3); });
        AliasedMat<MatReal64>(4, 3, [](MatReal64& o, const MatReal64& i) { o.Import(i.Data() + 3, 3, 3); });
        BitVector b(4, 5), ref(4, 5);
        for (int k = 0; k < 20; ++k)
            b[k / 5][k % 5] = static_cast<unsigned char>(k % 3 == 0 ? 255 : k % 2);
        const BitVector copy(b);
        ref.Import(copy[0] + 5, 3, 5);
        b.Import(b[0] + 5, 3, 5);
        EXPECT_TRUE(b.IsEqual(ref));
    }));
    t.push_back(ALIAS_CASE(Matrices_ArithmeticWithItselfAndSelfAssignment, {
        // `this` starts as the operand's value in the reference call.
        AliasedMat<MatReal32>(3, 4, [](MatReal32& o, const MatReal32& i) {
            if (&o != &i) o = i;
            o.Add(i);
        });
        AliasedMat<MatReal32>(3, 4, [](MatReal32& o, const MatReal32& i) {
            if (&o != &i) o = i;
            o.DotMul(i);
        });
        AliasedMat<MatReal32>(3, 4, [](MatReal32& o, const MatReal32& i) {
            if (&o != &i) o = i;
            o.Sub(i);
        });
        AliasedMat<MatReal64>(3, 4, [](MatReal64& o, const MatReal64& i) {
            if (&o != &i) o = i;
            o.Div(i);
        });
        AliasedMat<MatReal32>(3, 4, [](MatReal32& o, const MatReal32& i) { o = i; });
        AliasedMat<MatReal64>(3, 4, [](MatReal64& o, const MatReal64& i) { o = i; });
    }));
    t.push_back(ALIAS_CASE(BitVector_LogicWithItself, {
        auto bits = [](int seed) {
            BitVector b(5, 7);
            for (int i = 0; i < 5; ++i)
                for (int j = 0; j < 7; ++j)
                    b[i][j] = static_cast<unsigned char>(
                        (i * 7 + j * 3 + seed) % 3 == 0 ? 255 : (i + j + seed) % 2);
            return b;
        };
        using Op = std::function<void(BitVector&, const BitVector&)>;
        const Op ops[] = {
            [](BitVector& o, const BitVector& i) { o.And(i); },
            [](BitVector& o, const BitVector& i) { o.Xor(i); },
            [&](BitVector& o, const BitVector& i) { o.And(o, i, bits(2)); },
            [&](BitVector& o, const BitVector& i) { o.Or(o, bits(2), i); },
            [](BitVector& o, const BitVector& i) { o.Xor(o, i, i); },
            [](BitVector& o, const BitVector& i) { o.Not(o, i); },
            [](BitVector& o, const BitVector& i) { o = i; },
        };
        for (const Op& op : ops) {
            BitVector v = bits(1);
            const BitVector copy(v);
            BitVector fresh = bits(1);  // the logic members read `this` too
            op(fresh, copy);
            op(v, v);
            EXPECT_TRUE(v.IsEqual(fresh));
        }
    }));

    // ---------------- DSPUtils
    AddSampling<R32>(t, "R32");
    AddSampling<R64>(t, "R64");
    AddSampling<C32>(t, "C32");
    t.push_back(ALIAS_CASE(DSPUtils_Downsample_C64, {
        Aliased<C64>(10, [](C64& o, const C64& i) { DSPUtils::Downsample(o, i, 4, 3); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Duplicate_C64, {
        Aliased<C64>(10, [](C64& o, const C64& i) { DSPUtils::Duplicate(o, i, 2); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Derivative_C64, {
        Aliased<C64>(10, [](C64& o, const C64& i) { DSPUtils::Derivative(o, i); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Upsample_C64, {
        // The 64-bit form writes the first n * factor 32-bit elements of out's memory; the rest of out is
        // left as it was, which is not part of the result.
        Opts o;
        o.bytes = [](int size) {
            return static_cast<long long>(size) * static_cast<long long>(sizeof(Cplx32));
        };
        Aliased<C64>(
            10, [](C64& out, const C64& in) { DSPUtils::Upsample(out, in, 3, 1); }, o);
    }));
    t.push_back(ALIAS_CASE(DSPUtils_CumSum_R32, {
        Aliased<R32>(12, [](R32& o, const R32& i) { DSPUtils::CumSum(o, i); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_CumSum_R64, {
        Aliased<R64>(12, [](R64& o, const R64& i) { DSPUtils::CumSum(o, i); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_MagOfPlanes_OutIsRe, {
        Aliased<R32>(12, [](R32& o, const R32& i) { DSPUtils::Mag(o, i, Other<R32>(12)); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_MagOfPlanes_OutIsIm, {
        Aliased<R32>(12, [](R32& o, const R32& i) { DSPUtils::Mag(o, Other<R32>(12), i); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Max_OutIsA_R32, {
        Aliased<R32>(12, [](R32& o, const R32& i) { DSPUtils::Max(o, i, Other<R32>(12)); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Max_OutIsB_R64, {
        Aliased<R64>(12, [](R64& o, const R64& i) { DSPUtils::Max(o, Other<R64>(12), i); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_ShiftFreq, {
        Aliased<C32>(12, [](C32& o, const C32& i) { DSPUtils::ShiftFreq(o, i, 0.13f, 0.4f); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_FFTShift_R32, {
        Aliased<R32>(9, [](R32& o, const R32& i) { DSPUtils::FFTShift(o, i); });
        Aliased<R32>(10, [](R32& o, const R32& i) { DSPUtils::FFTShift(o, i); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_FFTShift_R64,
                           { Aliased<R64>(9, [](R64& o, const R64& i) { DSPUtils::FFTShift(o, i); }); }));
    t.push_back(ALIAS_CASE(DSPUtils_FFTShift_I32, {
        Aliased<VecInt32>(9, [](VecInt32& o, const VecInt32& i) { DSPUtils::FFTShift(o, i); });
    }));
    // Correlation with the longer operand first and second (the two branches).
    t.push_back(ALIAS_CASE(DSPUtils_CrossCorr_R32, {
        Aliased<R32>(7, [](R32& o, const R32& i) { DSPUtils::CrossCorr(o, i, Other<R32>(5)); });
        Aliased<R32>(7, [](R32& o, const R32& i) { DSPUtils::CrossCorr(o, i, Other<R32>(9)); });
        Aliased<R32>(7, [](R32& o, const R32& i) { DSPUtils::CrossCorr(o, Other<R32>(5), i); });
        Aliased<R32>(7, [](R32& o, const R32& i) { DSPUtils::CrossCorr(o, Other<R32>(9), i); });
        Aliased<R32>(7, [](R32& o, const R32& i) { DSPUtils::CrossCorr(o, i, i); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_CrossCorr_C32, {
        Aliased<C32>(7, [](C32& o, const C32& i) { DSPUtils::CrossCorr(o, i, Other<C32>(5)); });
        Aliased<C32>(7, [](C32& o, const C32& i) { DSPUtils::CrossCorr(o, i, Other<C32>(9)); });
        Aliased<C32>(7, [](C32& o, const C32& i) { DSPUtils::CrossCorr(o, Other<C32>(5), i); });
        Aliased<C32>(7, [](C32& o, const C32& i) { DSPUtils::CrossCorr(o, Other<C32>(9), i); });
        Aliased<C32>(7, [](C32& o, const C32& i) { DSPUtils::CrossCorr(o, i, i); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_CrossCorr2, {
        // out is not resized: its size (that of the aliased input) sets the number of lags.
        const Opts keep{false, true};
        Aliased<C32>(
            9, [](C32& o, const C32& i) { DSPUtils::CrossCorr2(o, i, Other<C32>(4)); }, keep);
        Aliased<C32>(
            9, [](C32& o, const C32& i) { DSPUtils::CrossCorr2(o, Other<C32>(12), i); }, keep);
        Aliased<C32>(
            9, [](C32& o, const C32& i) { DSPUtils::CrossCorr2(o, i, i); }, keep);
    }));
    // Direct sums for short operands, FFT overlap-save for long ones.
    t.push_back(ALIAS_CASE(DSPUtils_Conv_R32, {
        Aliased<R32>(10, [](R32& o, const R32& i) { DSPUtils::Conv(o, i, Other<R32>(7)); });
        Aliased<R32>(10, [](R32& o, const R32& i) { DSPUtils::Conv(o, Other<R32>(7), i); });
        Aliased<R32>(300, [](R32& o, const R32& i) { DSPUtils::Conv(o, i, Other<R32>(200)); });
        Aliased<R32>(300, [](R32& o, const R32& i) { DSPUtils::Conv(o, i, i); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Conv_R64, {
        Aliased<R64>(10, [](R64& o, const R64& i) { DSPUtils::Conv(o, i, Other<R64>(7)); });
        Aliased<R64>(300, [](R64& o, const R64& i) { DSPUtils::Conv(o, Other<R64>(200), i); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_MovingAverage_R32, {
        Aliased<R32>(12, [](R32& o, const R32& i) { DSPUtils::MovingAverage(o, i, 3); });
        Aliased<R32>(12, [](R32& o, const R32& i) { DSPUtils::MovingAverage(o, i, 4); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_MovingAverage_R64, {
        Aliased<R64>(12, [](R64& o, const R64& i) { DSPUtils::MovingAverage(o, i, 5); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Unwrap_R32, {
        Aliased<R32>(12, [](R32& o, const R32& i) { DSPUtils::Unwrap(o, i, 1.0f); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Unwrap_R64, {
        Aliased<R64>(12, [](R64& o, const R64& i) { DSPUtils::Unwrap(o, i, 1.0); }, {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_LinearLeastSquareFit_ResidualIsY, {
        Aliased<R64>(12,
                     [](R64& o, const R64& i) {
                         double s, c;
                         DSPUtils::LinearLeastSquareFit(s, c, o, Other<R64>(12), i);
                     },
                     {true});
    }));
    t.push_back(ALIAS_CASE(DSPUtils_LinearLeastSquareFit_ResidualIsX, {
        Aliased<R64>(12, [](R64& o, const R64& i) {
            double s, c;
            DSPUtils::LinearLeastSquareFit(s, c, o, i, Other<R64>(12));
        });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_LinearLeastSquareFit_BetaIsA, {
        const MatReal64 y = MatValues<MatReal64>(6, 1, 3);
        AliasedMat<MatReal64>(
            6, 2, [&y](MatReal64& o, const MatReal64& i) { DSPUtils::LinearLeastSquareFit(o, y, i); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_LinearLeastSquareFit_BetaIsY, {
        const MatReal64 a = MatValues<MatReal64>(6, 2, 3);
        AliasedMat<MatReal64>(
            6, 1, [&a](MatReal64& o, const MatReal64& i) { DSPUtils::LinearLeastSquareFit(o, i, a); });
    }));
    t.push_back(ALIAS_CASE(DSPUtils_Detect, {
        // Every detector with groups of 3 over 10 samples (a partial last group) and with n = 1, where
        // max-min doubles the length and so grows past the block.
        const DetectorType types[] = {DetectorAve, DetectorMax,    DetectorMin,          DetectorMaxMin,
                                      DetectorRms, DetectorSample, DetectorCISPRAverage, DetectorCISPRPeak};
        for (DetectorType type : types)
            for (int n : {1, 3}) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", n " << n);
                const Opts o{n == 1 && type != DetectorMaxMin, false};
                Aliased<R32>(
                    10, [type, n](R32& out, const R32& in) { DSPUtils::Detect(out, in, n, type); }, o);
            }
    }));
    t.push_back(ALIAS_CASE(DSPUtils_GetFPGAGain, {
        Aliased<R32>(15,
                     [](R32& o, const R32& i) {
                         float gain;
                         DSPUtils::GetFPGAGain(o, gain, i);
                     },
                     {true});
        Aliased<R32>(15, [](R32& o, const R32& i) {
            float gain;
            DSPUtils::GetFPGAGain(o, gain, i, 0.1f);
        });
    }));

    // ---------------- transforms
    t.push_back(ALIAS_CASE(FT_Complex32, {
        FT ft;
        Aliased<C32>(12, [&ft](C32& o, const C32& i) { ft.Forward(o, i); }, {true});
        Aliased<C32>(12, [&ft](C32& o, const C32& i) { ft.Inverse(o, i); }, {true});
    }));
    t.push_back(ALIAS_CASE(FT_Complex64, {
        FT ft;
        Aliased<C64>(12, [&ft](C64& o, const C64& i) { ft.Forward(o, i); }, {true});
        Aliased<C64>(12, [&ft](C64& o, const C64& i) { ft.Inverse(o, i); }, {true});
    }));
    t.push_back(ALIAS_CASE(DFT_ForwardInverse, {
        DFT dft(12);
        Aliased<C32>(12, [&dft](C32& o, const C32& i) { dft.Forward(o, i); }, {true});
        Aliased<C32>(12, [&dft](C32& o, const C32& i) { dft.Inverse(o, i); }, {true});
    }));
    t.push_back(ALIAS_CASE(FFT_ForwardInverse, {
        FFT fft(4);
        Aliased<C32>(16, [&fft](C32& o, const C32& i) { fft.Forward(o, i); }, {true});
        Aliased<C32>(16, [&fft](C32& o, const C32& i) { fft.Inverse(o, i); }, {true});
    }));
    // 16 points in, 40 out: the transform length (64) grows the output past the input's block.
    t.push_back(ALIAS_CASE(ChirpZ_Apply32, {
        ChirpZ cz(16, 1.0, 40, 0.1, 0.01, false);
        Aliased<C32>(16, [&cz](C32& o, const C32& i) { cz.Apply(o, i); });
    }));
    t.push_back(ALIAS_CASE(ChirpZ_Apply64, {
        ChirpZ cz(16, 1.0, 40, 0.1, 0.01, true);
        Aliased<C64>(16, [&cz](C64& o, const C64& i) { cz.Apply(o, i); });
    }));

    // ---------------- windows and measurements
    t.push_back(ALIAS_CASE(Window_ApplyComplex, {
        HannWindow w(12);
        Aliased<C32>(12, [&w](C32& o, const C32& i) { w.Apply(o, i); }, {true});
        Aliased<C32>(15, [&w](C32& o, const C32& i) { w.Apply(o, i); }, {true});  // a longer block
    }));
    t.push_back(ALIAS_CASE(Window_ApplyReal, {
        KaiserWindow w(12, 6.0f);
        Aliased<R32>(12, [&w](R32& o, const R32& i) { w.Apply(o, i); }, {true});
        Aliased<R32>(15, [&w](R32& o, const R32& i) { w.Apply(o, i); }, {true});
    }));
    t.push_back(ALIAS_CASE(Spectrum_ApplyReal, {
        Spectrum s(12, WindowTypeHann, 0.0f);
        Aliased<R32>(12, [&s](R32& o, const R32& i) { s.Apply(o, i); });
        s.SetUnit(PowerUnitLinear);
        Aliased<R32>(12, [&s](R32& o, const R32& i) { s.Apply(o, i); });
    }));
    t.push_back(ALIAS_CASE(DigitalSource_Apply, {
        DigitalSource src;
        src.SetSource(260, 40, 50);
        src.SetParameters(260, 6.1);
        Aliased<C32>(src.GetRequiredOrigDataLen(20), [&src](C32& o, const C32& i) { src.Apply(o, i); });
    }));
    return t;
}

// A run of acquisitions through two equal CISPR detectors, one aliased, one with separate vectors.
void CISPRRun(DetectorType det) {
    for (Form form : kForms) {
        SCOPED_TRACE(Name(form));
        CISPRDetector aliased(1e9), separate(1e9);
        double acqTime = 0;
        int acqNum = 0;
        aliased.GetHWAcqParameters(acqTime, acqNum, 1e9, 120000.0);
        separate.GetHWAcqParameters(acqTime, acqNum, 1e9, 120000.0);
        const int count = 6;
        R32 ref;
        for (int k = 0; k < count; ++k) {
            R32 v;
            Load(v, form, Values<R32>(9, 7 * k));
            const R32 copy(v);
            separate.Apply(ref, copy, k, count, det);
            aliased.Apply(v, v, k, count, det);
            ExpectSameBits(v, ref, "acquisition " + std::to_string(k));
        }
    }
}

// Apply2 and Apply3 of two equal stepped measurements over a sweep, one with its output aliased.
void SteppedRun(bool cispr) {
    for (Form form : kForms) {
        SCOPED_TRACE(Name(form));
        SteppedSpectrum aliased, separate;
        corvane_test::Plan p;
        const corvane_test::Request r = cispr ? corvane_test::CISPRPlan() : corvane_test::SmallStitch();
        corvane_test::MakePlan(aliased, p, r);
        corvane_test::MakePlan(separate, p, r);
        VecCplx32 in;
        R32 mag, mag2, ref, v;
        const int tunings = cispr ? 1 : p.Tunings();
        for (int i = 0; i < tunings; ++i) {
            SteppedSpectrum::GenCW(in, 0.1 + 0.01 * i, p.numSamples[i]);
            aliased.Apply1(mag, in, i);
            separate.Apply1(mag2, in, i);
            ExpectSameBits(mag2, mag, "first stage");
            if (cispr) {
                for (int a = 0; a < 3; ++a) {
                    Load(v, form, mag);
                    const R32 copy(v);
                    separate.Apply3(ref, copy, i, a, DetectorCISPRAverage);
                    aliased.Apply3(v, v, i, a, DetectorCISPRAverage);
                    ExpectSameBits(v, ref, "acquisition " + std::to_string(a));
                }
            } else {
                for (DetectorType det : {DetectorMax, DetectorMaxMin, DetectorRms}) {
                    Load(v, form, mag);
                    const R32 copy(v);
                    separate.Apply2(ref, copy, i, det);
                    aliased.Apply2(v, v, i, det);
                    ExpectSameBits(v, ref, "tuning " + std::to_string(i));
                }
            }
        }
    }
}

std::vector<AliasCase> FullTable() {
    std::vector<AliasCase> t = BuildTable();
    t.push_back(ALIAS_CASE(CISPRDetector_Apply_QuasiPeak, { CISPRRun(DetectorCISPRQuasiPeak); }));
    t.push_back(ALIAS_CASE(CISPRDetector_Apply_Average, { CISPRRun(DetectorCISPRAverage); }));
    t.push_back(ALIAS_CASE(CISPRDetector_Apply_Peak, { CISPRRun(DetectorCISPRPeak); }));
    t.push_back(ALIAS_CASE(SteppedSpectrum_Apply2, { SteppedRun(false); }));
    t.push_back(ALIAS_CASE(SteppedSpectrum_Apply3, { SteppedRun(true); }));
    return t;
}

class AliasedCall : public testing::TestWithParam<AliasCase> {};

TEST_P(AliasedCall, MatchesSeparateOutput) {
    GetParam().check();
}

INSTANTIATE_TEST_SUITE_P(Aliasing, AliasedCall, testing::ValuesIn(FullTable()),
                         [](const testing::TestParamInfo<AliasCase>& info) { return info.param.name; });

// ---------------------------------------------------------------- objects assigned to themselves

TEST(Aliasing, ObjectsAssignedToThemselvesKeepTheirResults) {
    ChirpZ cz(16, 1.0, 40, 0.1, 0.01, false);
    const C32 block = Values<C32>(16, 3);
    C32 before, after;
    cz.Apply(before, block);
    ChirpZ& same = cz;
    cz = same;
    cz.Apply(after, block);
    ExpectSameBits(after, before, "ChirpZ");

    HannWindow w(12);
    R32 wb, wa;
    w.Apply(wb, Values<R32>(12, 2));
    HannWindow& sw = w;
    w = sw;
    w.Apply(wa, Values<R32>(12, 2));
    ExpectSameBits(wa, wb, "Window");

    CISPRDetector det(1e9);
    double acqTime;
    int acqNum;
    det.GetHWAcqParameters(acqTime, acqNum, 1e9, 120000.0);
    CISPRDetector& sd = det;
    det = sd;
    R32 out;
    det.Apply(out, Values<R32>(9, 1), 0, 2, DetectorCISPRPeak);
    ExpectSameBits(out, Values<R32>(9, 1), "CISPRDetector");

    DigitalSource src;
    src.SetSource(260, 40, 50);
    src.SetParameters(260, 6.1);
    const C32 in = Values<C32>(src.GetRequiredOrigDataLen(10), 4);
    C32 sb, sa;
    src.Apply(sb, in);
    DigitalSource& ss = src;
    src = ss;
    src.Apply(sa, in);
    ExpectSameBits(sa, sb, "DigitalSource");
}

// ---------------------------------------------------------------- refusals

void ExpectInvalidParameter(const std::function<void()>& call, const char* what) {
    try {
        call();
        ADD_FAILURE() << what << ": no exception";
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter) << what;
        EXPECT_STREQ(e.message, "invalid input parameter") << what;
    }
}

TEST(Aliasing, WindowPastTheEndOfItsBlockIsRefusedUnchanged) {
    // Truncate(3, 8) on a block of 9 shows elements 3..10, of which 9 and 10 do not exist: an operation
    // that must first move the view to the start of its block refuses it and changes nothing.
    R32 v = Values<R32>(9, 1);
    v.Truncate(3, 8);
    const float* data = v.Data();
    const R32 hidden = Values<R32>(9, 1);
    ExpectInvalidParameter([&] { MathUtils::Sqrt(v, v); }, "Sqrt");
    ExpectInvalidParameter([&] { v.MoveToFront(); }, "MoveToFront");
    EXPECT_EQ(v.Data(), data);
    EXPECT_EQ(v.GetSize(), 8);
    v.Resize(9);
    ExpectSameBits(v, hidden, "block");
}

TEST(Aliasing, MoveToFrontMovesAViewAndLeavesAPlainVector) {
    R32 v = Values<R32>(10, 1);
    const R32 values = Values<R32>(10, 1);
    const float* block = v.Data();
    const long long before = kern::AllocationCount();
    v.MoveToFront();  // plain: nothing changes
    EXPECT_EQ(v.Data(), block);
    v.Truncate(2, 5);
    v.MoveToFront();
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(v.Data(), block);
    ASSERT_EQ(v.GetSize(), 5);
    EXPECT_EQ(v.GetCapacity(), 10);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(v[i], values[i + 2]);
    v.Truncate(4, 0);
    v.MoveToFront();  // empty: only the window returns
    EXPECT_EQ(v.Data(), block);
}

TEST(Aliasing, CartToPolarRefusesOneVectorForBothOutputs) {
    const C32 in = Values<C32>(8, 1);
    R32 v = Values<R32>(8, 2);
    const R32 before(v);
    ExpectInvalidParameter([&] { DSPUtils::CartToPolar(v, v, in); }, "CartToPolar");
    ExpectSameBits(v, before, "output untouched");
}

}  // namespace
