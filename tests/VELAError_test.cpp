// The error frame: codes, messages, the exception record, the aligned allocators and the allocation
// failure report.
#include <corvane/math/VELAError.h>
#include <corvane/math/VELAMemory.h>
#include <corvane/math/Vector.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <fstream>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "kernel/Memory.h"
#include "support/TestUtil.h"

using namespace VELA;
using corvane_test::ReadFile;
using corvane_test::ScopedWorkDir;

namespace {

const char* const kReportName = "VELAMemoryAllocError.txt";

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream is(text);
    std::string line;
    while (std::getline(is, line))
        lines.push_back(line);
    return lines;
}

// Line `n` (from 1) of a source file of the library, "" if there is none.
std::string SourceLine(const std::string& file, int n) {
    std::ifstream f(std::string(CORVANE_TEST_DIR) + "/../src/" + file);
    std::string line;
    for (int i = 1; i <= n && std::getline(f, line); ++i)
        if (i == n) return line;
    return "";
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Codes and messages

TEST(VELAError, CodesHaveTheirInterfaceValues) {
    EXPECT_EQ(VELAErrorNone, 0);
    EXPECT_EQ(VELAErrorAbort, 1);
    EXPECT_EQ(VELAErrorMemoryAlloc, 8000);
    EXPECT_EQ(VELAErrorDivideByZero, 8001);
    EXPECT_EQ(VELAErrorSingularMatrix, 8004);
    EXPECT_EQ(VELAErrorInvalidInputParameter, 8005);
    EXPECT_EQ(VELAErrorOpeningFile, 8027);
    EXPECT_EQ(VELAErrorReadingFile, 8028);
    EXPECT_EQ(VELAErrorWritingFile, 8029);
    EXPECT_EQ(VELAErrorFileVersion, 8030);
    EXPECT_EQ(VELAErrorFileType, 8031);
    EXPECT_EQ(VELAErrorClosingFile, 8032);
    EXPECT_EQ(VELAErrorMatlabAccess, 8044);
    EXPECT_EQ(VELAErrorUnexpectedSoftware, 8045);
    EXPECT_EQ(VELAErrorSizeMismatch, 8046);
    EXPECT_EQ(sizeof(VELAErrorCodeTag), 4u);
}

TEST(VELAError, EachThrownCodeCarriesItsMessage) {
    const std::pair<VELAErrorCodeTag, const char*> table[] = {
        {VELAErrorAbort, "Abort"},
        {VELAErrorMemoryAlloc, "memory allocation error"},
        {VELAErrorDivideByZero, "divide-by-zero error"},
        {VELAErrorSingularMatrix, "singular matrix"},
        {VELAErrorInvalidInputParameter, "invalid input parameter"},
        {VELAErrorOpeningFile, "error opening file"},
        {VELAErrorReadingFile, "error reading file"},
        {VELAErrorWritingFile, "error writing file"},
        {VELAErrorFileVersion, "file version error"},
        {VELAErrorFileType, "file type error"},
        {VELAErrorClosingFile, "error closing file"},
        {VELAErrorMatlabAccess, "MATLAB access error"},
        {VELAErrorUnexpectedSoftware, "unexpected software error"},
    };
    for (const auto& [code, text] : table) {
        ASSERT_NE(VELAErrorMessage(code), nullptr) << code;
        EXPECT_STREQ(VELAErrorMessage(code), text) << code;
    }
}

TEST(VELAError, SuccessAndSizeMismatchHaveNoMessage) {
    EXPECT_EQ(VELAErrorMessage(VELAErrorNone), nullptr);
    EXPECT_EQ(VELAErrorMessage(VELAErrorSizeMismatch), nullptr);
}

// ---------------------------------------------------------------------------------------------
// The exception record

TEST(VELAException, IsAPlainTriviallyCopyableRecord) {
    static_assert(std::is_trivially_copyable_v<VELAException>);
    static_assert(std::is_standard_layout_v<VELAException>);
    static_assert(!std::is_polymorphic_v<VELAException>);
    static_assert(!std::is_base_of_v<std::exception, VELAException>);
    // Fields in the order code, message, file, line.
    EXPECT_EQ(offsetof(VELAException, code), 0u);
    EXPECT_LT(offsetof(VELAException, code), offsetof(VELAException, message));
    EXPECT_LT(offsetof(VELAException, message), offsetof(VELAException, file));
    EXPECT_LT(offsetof(VELAException, file), offsetof(VELAException, line));
    EXPECT_EQ(sizeof(VELAException::line), 4u);
}

TEST(VELAException, IsNotCaughtByAStdExceptionHandler) {
    bool caughtAsStd = false;
    bool caughtAsVela = false;
    try {
        try {
            VELA_THROW(VELAErrorInvalidInputParameter);
        } catch (const std::exception&) {
            caughtAsStd = true;
        }
    } catch (const VELAException& e) {
        caughtAsVela = true;
        EXPECT_EQ(e.code, VELAErrorInvalidInputParameter);
    }
    EXPECT_FALSE(caughtAsStd);
    EXPECT_TRUE(caughtAsVela);
}

TEST(VELAException, ThrowRecordsCodeMessageFileAndLine) {
    int throwLine = 0;
    try {
        throwLine = __LINE__ + 1;
        VELA_THROW(VELAErrorSingularMatrix);
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorSingularMatrix);
        EXPECT_STREQ(e.message, "singular matrix");
        EXPECT_STREQ(e.file, __FILE__);
        EXPECT_EQ(e.line, throwLine);
        return;
    }
    FAIL() << "nothing was thrown";
}

TEST(VELAException, LibraryThrowNamesItsSourceFileRelativeToTheSourceRoot) {
    VecReal32 v(3);
    v.SetZero();
    try {
        v.Div(0.0f);
    } catch (const VELAException& e) {
        EXPECT_EQ(e.code, VELAErrorDivideByZero);
        ASSERT_NE(e.file, nullptr);
        const std::string file = e.file;
        // No build machine's absolute path leaks into the record.
        EXPECT_NE(file.front(), '/') << file;
        EXPECT_NE(file.find("math/"), std::string::npos) << file;
        // The recorded line is the throw itself.
        EXPECT_NE(SourceLine(file, e.line).find("VELA_THROW(VELAErrorDivideByZero)"), std::string::npos)
            << file << ":" << e.line << " reads \"" << SourceLine(file, e.line) << "\"";
        return;
    }
    FAIL() << "nothing was thrown";
}

TEST(VELAException, CopiesShareTheStaticTexts) {
    const VELAException a{VELAErrorOpeningFile, VELAErrorMessage(VELAErrorOpeningFile), "x.cpp", 7};
    const VELAException b = a;
    EXPECT_EQ(b.message, a.message);
    EXPECT_EQ(b.file, a.file);
    EXPECT_EQ(b.line, 7);
}

TEST(VELAException, PrintWritesTheExactTextToStderr) {
    const VELAException e{VELAErrorDivideByZero, VELAErrorMessage(VELAErrorDivideByZero), "math/Vector.cpp",
                          123};
    testing::internal::CaptureStderr();
    e.Print();
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text,
              "\nEXCEPTION: divide-by-zero error, VELAErrorCode: 8001\nFile: math/Vector.cpp,  Line: 123\n");
}

TEST(VELAException, PrintWritesNothingToStdout) {
    const VELAException e{VELAErrorAbort, VELAErrorMessage(VELAErrorAbort), "dsp/X.cpp", 1};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    e.Print();
    const std::string err = testing::internal::GetCapturedStderr();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "\nEXCEPTION: Abort, VELAErrorCode: 1\nFile: dsp/X.cpp,  Line: 1\n");
}

// ---------------------------------------------------------------------------------------------
// Allocators

namespace {

struct AllocatorCase {
    const char* name;
    void* (*alloc)(int);
    unsigned limit;
};

template <class T, T* (*Fn)(int)>
void* Erased(int n) {
    return Fn(n);
}

const AllocatorCase kAllocators[] = {
    {"VELAAllocBit", Erased<unsigned char, VELAAllocBit>, 2147482647u},
    {"VELAAllocUInt8", Erased<unsigned char, VELAAllocUInt8>, 2147482647u},
    {"VELAAllocByte", Erased<char, VELAAllocByte>, 2147482647u},
    {"VELAAllocInt16", Erased<short, VELAAllocInt16>, 2147482647u},
    {"VELAAllocInt32", Erased<int, VELAAllocInt32>, 1073740823u},
    {"VELAAllocReal32", Erased<float, VELAAllocReal32>, 1073740823u},
    {"VELAAllocReal64", Erased<double, VELAAllocReal64>, 536869911u},
    {"VELAAllocCplx32", Erased<Cplx32, VELAAllocCplx32>, 536869911u},
    {"VELAAllocCplx64", Erased<Cplx64, VELAAllocCplx64>, 268434455u},
};

}  // namespace

TEST(VELAAlloc, EachLimitIsAPowerOfTwoMinus1001) {
    for (const auto& a : kAllocators) {
        const unsigned p = a.limit + 1001u;
        EXPECT_EQ(p & (p - 1), 0u) << a.name;
    }
}

TEST(VELAAlloc, CountAboveTheLimitGivesNull) {
    for (const auto& a : kAllocators) {
        const long long before = kern::AllocationCount();
        EXPECT_EQ(a.alloc(static_cast<int>(a.limit + 1u)), nullptr) << a.name;
        EXPECT_EQ(kern::AllocationCount(), before) << a.name << " reached the system allocator";
    }
}

TEST(VELAAlloc, NegativeCountComparesUnsignedAndGivesNull) {
    for (const auto& a : kAllocators) {
        EXPECT_EQ(a.alloc(-1), nullptr) << a.name;
        EXPECT_EQ(a.alloc(-1000), nullptr) << a.name;
        EXPECT_EQ(a.alloc(INT_MIN), nullptr) << a.name;
    }
}

// The blocks at the limits are large but never touched, so they cost address space only.
TEST(VELAAlloc, CountAtTheLimitIsServed) {
    for (const auto& a : kAllocators) {
        void* p = a.alloc(static_cast<int>(a.limit));
        EXPECT_NE(p, nullptr) << a.name;
        VELADelete(p);
    }
}

TEST(VELAAlloc, SixteenBitAllocatorHasTheByteLimitNotTheInt32One) {
    // Above the 32-bit allocator's limit, still within the byte limit.
    short* p = VELAAllocInt16(1073740823 + 1);
    EXPECT_NE(p, nullptr);
    VELADelete(p);
    EXPECT_EQ(VELAAllocInt32(1073740823 + 1), nullptr);
    EXPECT_EQ(VELAAllocInt16(2147482647 + 1), nullptr);
}

TEST(VELAAlloc, BlocksAreAlignedForTheWidestKernels) {
    for (const auto& a : kAllocators) {
        for (int n : {1, 3, 17, 1000}) {
            void* p = a.alloc(n);
            ASSERT_NE(p, nullptr) << a.name;
            EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u) << a.name << " n=" << n;
            VELADelete(p);
        }
    }
}

TEST(VELAAlloc, BlocksHoldTheirElements) {
    double* d = VELAAllocReal64(1000);
    ASSERT_NE(d, nullptr);
    for (int i = 0; i < 1000; ++i)
        d[i] = i * 0.5;
    double sum = 0;
    for (int i = 0; i < 1000; ++i)
        sum += d[i];
    EXPECT_DOUBLE_EQ(sum, 0.5 * 999 * 1000 / 2);
    VELADelete(d);
}

TEST(VELAAlloc, SuccessfulAllocationsAreCounted) {
    const long long before = kern::AllocationCount();
    float* a = VELAAllocReal32(10);
    Cplx64* b = VELAAllocCplx64(10);
    EXPECT_EQ(kern::AllocationCount(), before + 2);
    VELADelete(a);
    VELADelete(b);
    EXPECT_EQ(kern::AllocationCount(), before + 2);
}

TEST(VELAAlloc, AllocatorsDoNotWriteTheReport) {
    ScopedWorkDir dir;
    EXPECT_EQ(VELAAllocReal32(-1), nullptr);
    EXPECT_EQ(VELAAllocCplx64(268434456), nullptr);
    struct stat st {};
    EXPECT_NE(stat(kReportName, &st), 0) << "an allocator wrote the report";
}

TEST(VELADelete, NullIsIgnored) {
    const long long before = kern::AllocationCount();
    VELADelete(nullptr);
    EXPECT_EQ(kern::AllocationCount(), before);
}

// ---------------------------------------------------------------------------------------------
// The allocation failure report

namespace {

// The text between `prefix` and `suffix` when `line` is exactly prefix + field + suffix and the field is
// blanks followed by at least one digit of `digits`; otherwise a failure.
::testing::AssertionResult FieldOf(const std::string& line, const std::string& prefix,
                                   const std::string& suffix, const std::string& digits, std::string* field) {
    if (line.size() < prefix.size() + suffix.size() + 1 || line.compare(0, prefix.size(), prefix) != 0 ||
        line.compare(line.size() - suffix.size(), suffix.size(), suffix) != 0)
        return ::testing::AssertionFailure()
               << "\"" << line << "\" is not \"" << prefix << "...\"" << suffix << "\"";
    *field = line.substr(prefix.size(), line.size() - prefix.size() - suffix.size());
    const size_t first = field->find_first_not_of(' ');
    if (first == std::string::npos || field->find_first_not_of(digits, first) != std::string::npos)
        return ::testing::AssertionFailure() << "field \"" << *field << "\" of \"" << line << "\"";
    return ::testing::AssertionSuccess();
}

const std::string kDecimal = "0123456789";
const std::string kHex = "0123456789abcdef";

// A number field printed with a minimum width of 7, right-aligned: padded to exactly 7 when shorter.
void ExpectWidthSeven(const std::string& field, const std::string& line) {
    EXPECT_GE(field.size(), 7u) << line;
    if (field.size() > 7) {
        EXPECT_NE(field.front(), ' ') << line;
    }
}

unsigned long long ParseUnsigned(const std::string& field, int base) {
    return std::stoull(field.substr(field.find_first_not_of(' ')), nullptr, base);
}

}  // namespace

TEST(DumpVELAMemoryAllocError, WritesElevenLinesInTheirFormats) {
    ScopedWorkDir dir;
    DumpVELAMemoryAllocError(1234, "Failed VELAAllocReal32");
    const std::vector<std::string> lines = Lines(ReadFile(kReportName));
    ASSERT_EQ(lines.size(), 11u) << ReadFile(kReportName);
    EXPECT_EQ(lines[0], "System tried to allocate 1234 bytes.");
    EXPECT_EQ(lines[1], "Failed VELAAllocReal32 ");  // the blank before the line end belongs to the format
    std::string field;
    EXPECT_TRUE(FieldOf(lines[2], "The MemoryStatus structure is ", " bytes long.", kDecimal, &field));
    EXPECT_EQ(field.find(' '), std::string::npos);
    EXPECT_EQ(lines[3], "It should be 32.");
    ASSERT_TRUE(FieldOf(lines[4], "", " percent of memory is in use.", kDecimal, &field));
    EXPECT_EQ(field.find(' '), std::string::npos);
    EXPECT_LE(std::stoi(field), 100);

    std::string totalPhys, freePhys, totalPage, freePage, totalVirt, freeVirt;
    ASSERT_TRUE(FieldOf(lines[5], "There are ", " total Kbytes of physical memory.", kDecimal, &totalPhys));
    ASSERT_TRUE(FieldOf(lines[6], "There are ", " free Kbytes of physical memory.", kDecimal, &freePhys));
    ASSERT_TRUE(FieldOf(lines[7], "There are ", " total Kbytes of paging file.", kDecimal, &totalPage));
    ASSERT_TRUE(FieldOf(lines[8], "There are ", " free Kbytes of paging file.", kDecimal, &freePage));
    ASSERT_TRUE(FieldOf(lines[9], "There are ", " total Kbytes of virtual memory.", kHex, &totalVirt));
    ASSERT_TRUE(FieldOf(lines[10], "There are ", " free Kbytes of virtual memory.", kHex, &freeVirt));
    const std::string* fields[] = {&totalPhys, &freePhys, &totalPage, &freePage, &totalVirt, &freeVirt};
    for (size_t i = 0; i < 6; ++i)
        ExpectWidthSeven(*fields[i], lines[5 + i]);
    if (HasFatalFailure()) return;

    // Physical memory in decimal kilobytes, as the system reports it.
    struct sysinfo si {};
    ASSERT_EQ(sysinfo(&si), 0);
    const unsigned long long ramKb = static_cast<unsigned long long>(si.totalram) * si.mem_unit / 1024;
    EXPECT_EQ(ParseUnsigned(totalPhys, 10), ramKb);
    EXPECT_LE(ParseUnsigned(freePhys, 10), ParseUnsigned(totalPhys, 10));
    EXPECT_GE(ParseUnsigned(totalPage, 10), ParseUnsigned(totalPhys, 10));
    EXPECT_LE(ParseUnsigned(freePage, 10), ParseUnsigned(totalPage, 10));

    // Virtual memory in hexadecimal kilobytes: the user address space (the address-space limit when one
    // is set, else the 47-bit x86-64 space).
    struct rlimit rl {};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &rl), 0);
    const unsigned long long spaceKb = (rl.rlim_cur == RLIM_INFINITY ? (1ull << 47) : rl.rlim_cur) / 1024;
    EXPECT_EQ(ParseUnsigned(totalVirt, 16), spaceKb) << lines[9];
    EXPECT_LT(ParseUnsigned(freeVirt, 16), ParseUnsigned(totalVirt, 16)) << lines[10];
}

TEST(DumpVELAMemoryAllocError, NullTextOmitsItsLine) {
    ScopedWorkDir dir;
    DumpVELAMemoryAllocError(8, nullptr);
    const std::vector<std::string> lines = Lines(ReadFile(kReportName));
    ASSERT_EQ(lines.size(), 10u);
    EXPECT_EQ(lines[0], "System tried to allocate 8 bytes.");
    std::string field;
    EXPECT_TRUE(FieldOf(lines[1], "The MemoryStatus structure is ", " bytes long.", kDecimal, &field));
}

TEST(DumpVELAMemoryAllocError, ReplacesAnEarlierReport) {
    ScopedWorkDir dir;
    DumpVELAMemoryAllocError(1, "first");
    DumpVELAMemoryAllocError(2, "second");
    const std::string text = ReadFile(kReportName);
    EXPECT_EQ(text.find("first"), std::string::npos);
    EXPECT_EQ(Lines(text).size(), 11u);
    EXPECT_EQ(Lines(text)[0], "System tried to allocate 2 bytes.");
    EXPECT_EQ(Lines(text)[1], "second ");
}

TEST(DumpVELAMemoryAllocError, NegativeCountsArePrintedAsSigned) {
    ScopedWorkDir dir;
    DumpVELAMemoryAllocError(-16, "x");
    EXPECT_EQ(Lines(ReadFile(kReportName))[0], "System tried to allocate -16 bytes.");
}

TEST(DumpVELAMemoryAllocError, UnopenableReportIsSkippedQuietly) {
    ScopedWorkDir dir;
    // A directory of the report's name makes the open fail.
    ASSERT_EQ(mkdir(kReportName, 0755), 0);
    DumpVELAMemoryAllocError(4, "x");
    struct stat st {};
    ASSERT_EQ(stat(kReportName, &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
}

namespace {

// Constructs V(n), expecting "memory allocation error", and returns the report's lines.
template <class V>
std::vector<std::string> FailedConstructionReport(int n) {
    bool thrown = false;
    try {
        V v(n);
    } catch (const VELAException& e) {
        thrown = true;
        EXPECT_EQ(e.code, VELAErrorMemoryAlloc);
        EXPECT_STREQ(e.message, "memory allocation error");
    }
    EXPECT_TRUE(thrown) << "V(" << n << ") did not throw";
    return Lines(ReadFile(kReportName));
}

}  // namespace

TEST(DumpVELAMemoryAllocError, FailedNegativeSizeVectorsReportNegativeByteCounts) {
    ScopedWorkDir dir;
    struct Case {
        std::vector<std::string> lines;
        const char* first;
        const char* second;
    };
    const Case cases[] = {
        {FailedConstructionReport<VecReal32>(-1), "System tried to allocate -4 bytes.",
         "Failed VELAAllocReal32 "},
        {FailedConstructionReport<VecReal64>(-1), "System tried to allocate -8 bytes.",
         "Failed VELAAllocReal64 "},
        {FailedConstructionReport<VecCplx32>(-1), "System tried to allocate -8 bytes.",
         "Failed VELAAllocCplx32 "},
        {FailedConstructionReport<VecCplx64>(-1), "System tried to allocate -16 bytes.",
         "Failed VELAAllocCplx64 "},
        {FailedConstructionReport<VecReal32>(-5), "System tried to allocate -20 bytes.",
         "Failed VELAAllocReal32 "},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(c.lines.size(), 11u);
        EXPECT_EQ(c.lines[0], c.first);
        EXPECT_EQ(c.lines[1], c.second);
        EXPECT_EQ(c.lines[3], "It should be 32.");
    }
}

TEST(DumpVELAMemoryAllocError, ByteCountBeyondIntRangeWrapsAsTheIntItIsPrintedAs) {
    ScopedWorkDir dir;
    // (limit + 1) elements: 268434456 * 16 = 2^32 - 16000 bytes, printed as a 32-bit int.
    EXPECT_EQ(FailedConstructionReport<VecCplx64>(268434456)[0], "System tried to allocate -16000 bytes.");
    // 1073740824 * 4 = 2^32 - 4000.
    EXPECT_EQ(FailedConstructionReport<VecReal32>(1073740824)[0], "System tried to allocate -4000 bytes.");
    // 536869912 * 8 = 2^32 - 8000.
    EXPECT_EQ(FailedConstructionReport<VecReal64>(536869912)[0], "System tried to allocate -8000 bytes.");
    EXPECT_EQ(FailedConstructionReport<VecCplx32>(536869912)[0], "System tried to allocate -8000 bytes.");
}

TEST(DumpVELAMemoryAllocError, VectorStillThrowsWhenTheReportCannotBeWritten) {
    ScopedWorkDir dir;
    ASSERT_EQ(mkdir(kReportName, 0755), 0);
    EXPECT_THROW(VecReal32(-1), VELAException);
    EXPECT_THROW(VecCplx64(-1), VELAException);
}
