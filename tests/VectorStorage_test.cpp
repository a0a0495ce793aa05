// Binary vector files (Store, Load): exact round trips of the four types, the 108-byte header read back
// byte by byte, the empty file, the range and header-only loads of VecCplx32, and every failure: wrong
// type or version, short header, short data, negative and huge counts (refused before any allocation),
// unopenable and unwritable places, and loading through a pipe.
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "kernel/Memory.h"
#include "support/FileTestUtil.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::FileSize;
using corvane_test::ReadFile;
using corvane_test::ScopedWorkDir;
using corvane_test::ThrownCode;
using corvane_test::ThrownMessage;
using corvane_test::WriteBytes;

namespace {

int32_t I32(const std::string& b, size_t at) {
    int32_t v;
    std::memcpy(&v, b.data() + at, 4);
    return v;
}
float F32(const std::string& b, size_t at) {
    float v;
    std::memcpy(&v, b.data() + at, 4);
    return v;
}
void PutI32(std::string& b, size_t at, int32_t v) {
    std::memcpy(b.data() + at, &v, 4);
}

// Elements that exercise every bit pattern class: signs, tiny, huge, fractions, a denormal.
VecReal32 Real32(int n) {
    VecReal32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] =
            (i % 2 ? -1.0f : 1.0f) * (0.1f + static_cast<float>(i) * 1.37e3f) / (i % 5 == 4 ? 1e30f : 1.0f);
    if (n > 3) v[3] = 1e-41f;
    return v;
}
VecReal64 Real64(int n) {
    VecReal64 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = (i % 2 ? -1.0 : 1.0) * (0.1 + i * 1.37e3) / (i % 5 == 4 ? 1e300 : 1.0);
    return v;
}
VecCplx32 Cplx32Of(int n) {
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = {0.25f * static_cast<float>(i) - 3.0f, -1.0f / static_cast<float>(i + 1)};
    return v;
}
VecCplx64 Cplx64Of(int n) {
    VecCplx64 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = {0.1 * i - 3.0, -1.0 / (i + 1)};
    return v;
}

template <class V>
bool BitEqual(const V& a, const V& b) {
    return a.GetSize() == b.GetSize() &&
           (a.GetSize() == 0 ||
            std::memcmp(a.Data(), b.Data(), sizeof(a[0]) * static_cast<size_t>(a.GetSize())) == 0);
}

// Store, then Load into a vector of larger capacity: the same bits come back and the capacity stays.
template <class V>
void RoundTrip(const V& v, const char* path) {
    v.Store(path);
    V back(1000);
    back.SetZero();
    back.Load(path);
    EXPECT_TRUE(BitEqual(back, v));
    EXPECT_EQ(back.GetCapacity(), 1000);
}

}  // namespace

TEST(VectorStorage, StoreThenLoadReturnsTheSameBitsForEachTypeAndKeepsCapacity) {
    ScopedWorkDir dir;
    RoundTrip(Real32(37), "r32.bin");
    RoundTrip(Real64(37), "r64.bin");
    RoundTrip(Cplx32Of(37), "c32.bin");
    RoundTrip(Cplx64Of(37), "c64.bin");
}

TEST(VectorStorage, HeaderFieldsLieAtTheirOffsetsAndTheFileHoldsTheElementsRaw) {
    ScopedWorkDir dir;
    const VecCplx32 v = Cplx32Of(11);
    v.Store("c.bin");
    const std::string b = ReadFile("c.bin");
    ASSERT_EQ(b.size(), 108u + 8u * 11u);
    EXPECT_EQ(static_cast<unsigned char>(b[64]), 0x1A);
    EXPECT_EQ(std::string(b.c_str()), "VecCplx32, length=11");
    for (size_t i = std::strlen("VecCplx32, length=11"); i < 64; ++i)
        EXPECT_EQ(b[i], 0) << "text not zero-filled at " << i;
    EXPECT_EQ(I32(b, 68), 1);
    EXPECT_EQ(I32(b, 72), 102);
    EXPECT_EQ(I32(b, 76), 11);
    for (size_t at = 80; at < 107; ++at)
        EXPECT_EQ(b[at], 0) << "parameters and reserved fields are zero, byte " << at;
    EXPECT_EQ(std::memcmp(b.data() + 108, v.Data(), 88), 0);

    // The type codes and texts of the other three classes.
    Real32(3).Store("r32.bin");
    Real64(3).Store("r64.bin");
    Cplx64Of(3).Store("c64.bin");
    const std::string r32 = ReadFile("r32.bin"), r64 = ReadFile("r64.bin"), c64 = ReadFile("c64.bin");
    EXPECT_EQ(I32(r32, 72), 103);
    EXPECT_EQ(I32(r64, 72), 101);
    EXPECT_EQ(I32(c64, 72), 100);
    EXPECT_EQ(std::string(r32.c_str()), "VecReal32, length=3");
    EXPECT_EQ(std::string(r64.c_str()), "VecReal64, length=3");
    EXPECT_EQ(std::string(c64.c_str()), "VecCplx64, length=3");
    EXPECT_EQ(r32.size(), 108u + 12u);
    EXPECT_EQ(r64.size(), 108u + 24u);
    EXPECT_EQ(c64.size(), 108u + 48u);
}

TEST(VectorStorage, EmptyVectorGivesExactlyTheHeaderAndLoadsAsEmpty) {
    ScopedWorkDir dir;
    VecReal64 empty;
    empty.Store("e.bin");
    EXPECT_EQ(FileSize("e.bin"), 108);
    VecReal64 back(5);
    back.Load("e.bin");
    EXPECT_EQ(back.GetSize(), 0);
    EXPECT_EQ(back.GetCapacity(), 5);
}

TEST(VectorStorage, StoreWritesTheVisibleWindowOnly) {
    ScopedWorkDir dir;
    VecReal32 v = Real32(10);
    const VecReal32 whole = v;
    v.Truncate(2, 5);
    v.Store("w.bin");
    VecReal32 back;
    back.Load("w.bin");
    ASSERT_EQ(back.GetSize(), 5);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(back[i], whole[i + 2]);
}

TEST(VectorStorage, LoadingAnotherTypeFailsWithFileTypeErrorAndLeavesTheTargetEmpty) {
    ScopedWorkDir dir;
    Real32(4).Store("r.bin");
    VecCplx32 target = Cplx32Of(9);
    EXPECT_EQ(ThrownCode([&] { target.Load("r.bin"); }), VELAErrorFileType);
    EXPECT_EQ(ThrownMessage([&] { target.Load("r.bin"); }), "file type error");
    EXPECT_EQ(target.GetSize(), 0);
    EXPECT_EQ(target.GetCapacity(), 9);
    // Every pairing of the four types is refused.
    Real64(2).Store("d.bin");
    Cplx64Of(2).Store("z.bin");
    Cplx32Of(2).Store("c.bin");
    VecReal32 r32;
    VecReal64 r64;
    VecCplx64 c64;
    EXPECT_EQ(ThrownCode([&] { r32.Load("d.bin"); }), VELAErrorFileType);
    EXPECT_EQ(ThrownCode([&] { r64.Load("c.bin"); }), VELAErrorFileType);
    EXPECT_EQ(ThrownCode([&] { c64.Load("r.bin"); }), VELAErrorFileType);
    EXPECT_EQ(ThrownCode([&] { r32.Load("z.bin"); }), VELAErrorFileType);
}

TEST(VectorStorage, VersionOtherThanOneFailsWithFileVersionErrorBeforeTheTypeIsLookedAt) {
    ScopedWorkDir dir;
    Real32(4).Store("r.bin");
    std::string b = ReadFile("r.bin");
    PutI32(b, 68, 2);
    WriteBytes("v2.bin", b);
    VecReal32 r = Real32(3);
    EXPECT_EQ(ThrownCode([&] { r.Load("v2.bin"); }), VELAErrorFileVersion);
    EXPECT_EQ(ThrownMessage([&] { r.Load("v2.bin"); }), "file version error");
    EXPECT_EQ(r.GetSize(), 0);
    VecCplx32 c;
    EXPECT_EQ(ThrownCode([&] { c.Load("v2.bin"); }), VELAErrorFileVersion);
}

TEST(VectorStorage, ShortHeaderOrShortDataFailsWithReadingErrorAndAnEmptyTarget) {
    ScopedWorkDir dir;
    WriteBytes("short.bin", std::string(107, '\0'));
    WriteBytes("none.bin", "");
    VecReal32 r = Real32(5);
    EXPECT_EQ(ThrownCode([&] { r.Load("short.bin"); }), VELAErrorReadingFile);
    EXPECT_EQ(ThrownMessage([&] { r.Load("none.bin"); }), "error reading file");
    EXPECT_EQ(r.GetSize(), 0);

    Cplx64Of(10).Store("c.bin");
    std::string b = ReadFile("c.bin");
    b.resize(b.size() - 1);  // one byte of the last element missing
    WriteBytes("cut.bin", b);
    VecCplx64 c = Cplx64Of(3);
    EXPECT_EQ(ThrownCode([&] { c.Load("cut.bin"); }), VELAErrorReadingFile);
    EXPECT_EQ(c.GetSize(), 0);
    // Bytes behind the data are not looked at.
    b = ReadFile("c.bin") + "trailing";
    WriteBytes("long.bin", b);
    c.Load("long.bin");
    EXPECT_TRUE(BitEqual(c, Cplx64Of(10)));
}

TEST(VectorStorage, NegativeOrHugeCountsAreRefusedBeforeAnythingIsAllocated) {
    ScopedWorkDir dir;
    Real64(4).Store("r.bin");
    std::string b = ReadFile("r.bin");
    PutI32(b, 76, -1);
    WriteBytes("neg.bin", b);
    PutI32(b, 76, 0x7fffffff);
    WriteBytes("huge.bin", b);
    VecReal64 r;
    const long long before = kern::AllocationCount();
    EXPECT_EQ(ThrownCode([&] { r.Load("neg.bin"); }), VELAErrorReadingFile);
    EXPECT_EQ(ThrownCode([&] { r.Load("huge.bin"); }), VELAErrorReadingFile);
    EXPECT_EQ(kern::AllocationCount(), before);
    EXPECT_EQ(r.GetSize(), 0);
    VecCplx32 c;
    Cplx32Of(4).Store("c.bin");
    b = ReadFile("c.bin");
    PutI32(b, 76, 0x7fffffff);
    WriteBytes("chuge.bin", b);
    const long long beforeComplex = kern::AllocationCount();
    EXPECT_EQ(ThrownCode([&] { c.Load("chuge.bin"); }), VELAErrorReadingFile);
    EXPECT_EQ(ThrownCode([&] { c.Load("chuge.bin", 0x7ffffff0, 15); }), VELAErrorReadingFile);
    EXPECT_EQ(kern::AllocationCount(), beforeComplex);
}

TEST(VectorStorage, RangeLoadGivesTheElementsAskedForAndRefusesRangesBeyondTheLength) {
    ScopedWorkDir dir;
    const VecCplx32 v = Cplx32Of(8);
    v.Store("c.bin");
    VecCplx32 part;
    part.Load("c.bin", 2, 3);
    ASSERT_EQ(part.GetSize(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(part[i].re, v[i + 2].re);
        EXPECT_EQ(part[i].im, v[i + 2].im);
    }
    part.Load("c.bin", 0, 8);
    EXPECT_TRUE(BitEqual(part, v));
    part.Load("c.bin", 8, 0);
    EXPECT_EQ(part.GetSize(), 0);
    part = v;
    EXPECT_EQ(ThrownCode([&] { part.Load("c.bin", 0, 9); }), VELAErrorReadingFile);
    EXPECT_EQ(part.GetSize(), 0);
    EXPECT_EQ(ThrownCode([&] { part.Load("c.bin", 6, 3); }), VELAErrorReadingFile);
    EXPECT_EQ(ThrownCode([&] { part.Load("c.bin", 0x7fffffff, 0x7fffffff); }), VELAErrorReadingFile);
    EXPECT_EQ(ThrownCode([&] { part.Load("c.bin", -1, 2); }), VELAErrorInvalidInputParameter);
    EXPECT_EQ(ThrownCode([&] { part.Load("c.bin", 1, -2); }), VELAErrorInvalidInputParameter);
    // A file whose header claims more than it holds fails on the range, not with garbage.
    std::string b = ReadFile("c.bin");
    PutI32(b, 76, 100);
    WriteBytes("claims.bin", b);
    EXPECT_EQ(ThrownCode([&] { part.Load("claims.bin", 5, 10); }), VELAErrorReadingFile);
    part.Load("claims.bin", 5, 3);  // within what the file really holds
    EXPECT_EQ(part[2].re, v[7].re);
}

TEST(VectorStorage, ParametersTravelInTheHeaderAndTheHeaderFormLeavesTheVectorAlone) {
    ScopedWorkDir dir;
    Cplx32Of(6).Store("p.bin", 1.5f, 2.5f, 3.5f);
    const std::string b = ReadFile("p.bin");
    EXPECT_EQ(F32(b, 80), 1.5f);
    EXPECT_EQ(F32(b, 84), 2.5f);
    EXPECT_EQ(F32(b, 88), 3.5f);
    VecCplx32 untouched = Cplx32Of(2);
    int length = -7;
    float a = 0, bb = 0, c = 0;
    untouched.Load("p.bin", length, a, bb, c);
    EXPECT_EQ(length, 6);
    EXPECT_EQ(a, 1.5f);
    EXPECT_EQ(bb, 2.5f);
    EXPECT_EQ(c, 3.5f);
    EXPECT_TRUE(BitEqual(untouched, Cplx32Of(2)));
    // The whole-vector load ignores the parameters.
    untouched.Load("p.bin");
    EXPECT_TRUE(BitEqual(untouched, Cplx32Of(6)));
}

TEST(VectorStorage, HeaderFormHandsOverTheParametersBeforeItTestsVersionAndType) {
    ScopedWorkDir dir;
    Cplx32Of(6).Store("p.bin", 1.5f, 2.5f, 3.5f);
    std::string b = ReadFile("p.bin");
    PutI32(b, 72, 103);
    WriteBytes("t.bin", b);
    PutI32(b, 68, 7);
    WriteBytes("v.bin", b);
    VecCplx32 v;
    int length = -7;
    float a = 0, bb = 0, c = 0;
    EXPECT_EQ(ThrownCode([&] { v.Load("t.bin", length, a, bb, c); }), VELAErrorFileType);
    EXPECT_EQ(a, 1.5f);
    EXPECT_EQ(c, 3.5f);
    EXPECT_EQ(length, -7);
    a = bb = c = 0;
    EXPECT_EQ(ThrownCode([&] { v.Load("v.bin", length, a, bb, c); }), VELAErrorFileVersion);
    EXPECT_EQ(bb, 2.5f);
    EXPECT_EQ(length, -7);
    WriteBytes("s.bin", b.substr(0, 50));
    EXPECT_EQ(ThrownCode([&] { v.Load("s.bin", length, a, bb, c); }), VELAErrorReadingFile);
    EXPECT_EQ(ThrownCode([&] { v.Load("missing.bin", length, a, bb, c); }), VELAErrorOpeningFile);
}

TEST(VectorStorage, MissingFileFailsWithOpeningError) {
    ScopedWorkDir dir;
    VecReal32 r = Real32(3);
    EXPECT_EQ(ThrownCode([&] { r.Load("missing.bin"); }), VELAErrorOpeningFile);
    EXPECT_EQ(ThrownMessage([&] { r.Load("missing.bin"); }), "error opening file");
    EXPECT_EQ(r.GetSize(), 0);
    VecCplx32 c;
    EXPECT_EQ(ThrownCode([&] { c.Load("missing.bin", 0, 1); }), VELAErrorOpeningFile);
}

TEST(VectorStorage, StoreToAFullDeviceFailsWithWritingError) {
    for (int n : {0, 3, 100000}) {
        EXPECT_EQ(ThrownCode([&] { Real32(n).Store("/dev/full"); }), VELAErrorWritingFile) << n;
        EXPECT_EQ(ThrownMessage([&] { Cplx64Of(n).Store("/dev/full"); }), "error writing file") << n;
    }
}

TEST(VectorStorage, StoreWhereNoFileCanBeMadeFailsWithOpeningError) {
    ScopedWorkDir dir;
    EXPECT_EQ(ThrownCode([] { Real32(3).Store("no/such/dir/r.bin"); }), VELAErrorOpeningFile);
    const std::string ro = corvane_test::ReadOnlyDir() + "/r.bin";
    EXPECT_EQ(ThrownCode([&] { Cplx32Of(3).Store(ro.c_str()); }), VELAErrorOpeningFile);
    EXPECT_FALSE(corvane_test::Exists(ro));
    EXPECT_FALSE(corvane_test::Exists("no/such/dir/r.bin"));
}

TEST(VectorStorage, LoadsThroughAPipeWhoseSizeIsUnknown) {
    ScopedWorkDir dir;
    const VecCplx32 v = Cplx32Of(300000);  // more than one staging piece
    v.Store("c.bin");
    const std::string whole = ReadFile("c.bin");
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    std::signal(SIGPIPE, SIG_IGN);  // a writer whose reader has gone gets an error, not a signal
    auto feed = [](std::string bytes) {
        return std::thread([bytes] {
            FILE* f = std::fopen("pipe", "wb");
            if (!f) return;
            std::fwrite(bytes.data(), 1, bytes.size(), f);
            std::fclose(f);
        });
    };
    VecCplx32 back;
    std::thread t = feed(whole);
    back.Load("pipe");
    t.join();
    EXPECT_TRUE(BitEqual(back, v));

    t = feed(whole.substr(0, whole.size() - 8));
    EXPECT_EQ(ThrownCode([&] { back.Load("pipe"); }), VELAErrorReadingFile);
    t.join();
    EXPECT_EQ(back.GetSize(), 0);

    t = feed(whole);
    back.Load("pipe", 299990, 10);
    t.join();
    ASSERT_EQ(back.GetSize(), 10);
    EXPECT_EQ(back[9].re, v[299999].re);
    EXPECT_EQ(back[9].im, v[299999].im);
}

TEST(VectorStorage, FailuresNameTheStorageSource) {
    ScopedWorkDir dir;
    VecReal32 r;
    EXPECT_EQ(corvane_test::ThrownFile([&] { r.Load("missing.bin"); }), "math/VectorStorage.cpp");
    EXPECT_EQ(corvane_test::ThrownFile([] { Real32(2).Store("/dev/full"); }), "math/VectorStorage.cpp");
}
