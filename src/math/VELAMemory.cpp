#include "VELAMemory.h"

#include <sys/resource.h>
#include <sys/sysinfo.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "kernel/Memory.h"

namespace VELA {
namespace {

template <class T>
T* AllocLimited(int n, unsigned limit) {
    if (static_cast<unsigned>(n) > limit || n == 0) return nullptr;
    return static_cast<T*>(kern::AlignedAlloc(static_cast<size_t>(n) * sizeof(T)));
}

// The memory figures of the report, in the shape of the Windows structure the report was designed
// around (a 32-bit length and load, then six sizes), filled from Linux sources.
struct MemoryStatus {
    uint32_t dwLength;
    uint32_t dwMemoryLoad;
    uint64_t dwTotalPhys;
    uint64_t dwAvailPhys;
    uint64_t dwTotalPageFile;
    uint64_t dwAvailPageFile;
    uint64_t dwTotalVirtual;
    uint64_t dwAvailVirtual;
};

// Virtual memory used by this process, from /proc/self/status (VmSize, in kB); 0 if unknown.
uint64_t ProcessVirtualBytes() {
    FILE* f = std::fopen("/proc/self/status", "r");
    if (!f) return 0;
    char line[256];
    unsigned long long kb = 0;
    while (std::fgets(line, sizeof line, f))
        if (std::sscanf(line, "VmSize: %llu kB", &kb) == 1) break;
    std::fclose(f);
    return kb * 1024ull;
}

MemoryStatus QueryMemoryStatus() {
    MemoryStatus s{};
    s.dwLength = sizeof(MemoryStatus);
    struct sysinfo si {};
    if (sysinfo(&si) == 0) {
        const uint64_t unit = si.mem_unit ? si.mem_unit : 1;
        s.dwTotalPhys = si.totalram * unit;
        // Free plus reclaimable buffers is what Windows reports as available.
        s.dwAvailPhys = (si.freeram + si.bufferram) * unit;
        // The paging file is RAM plus swap on Windows (the commit limit).
        s.dwTotalPageFile = s.dwTotalPhys + si.totalswap * unit;
        s.dwAvailPageFile = s.dwAvailPhys + si.freeswap * unit;
        if (s.dwTotalPhys) s.dwMemoryLoad = static_cast<uint32_t>(100 - s.dwAvailPhys * 100 / s.dwTotalPhys);
    }
    // The user address space: the address-space limit if one is set, else 128 TiB (47-bit x86-64).
    uint64_t total = 1ull << 47;
    struct rlimit rl {};
    if (getrlimit(RLIMIT_AS, &rl) == 0 && rl.rlim_cur != RLIM_INFINITY) total = rl.rlim_cur;
    const uint64_t used = ProcessVirtualBytes();
    s.dwTotalVirtual = total;
    s.dwAvailVirtual = used < total ? total - used : 0;
    return s;
}

}  // namespace

unsigned char* VELAAllocBit(int n) {
    return AllocLimited<unsigned char>(n, 2147482647u);
}
unsigned char* VELAAllocUInt8(int n) {
    return VELAAllocBit(n);
}
char* VELAAllocByte(int n) {
    return AllocLimited<char>(n, 2147482647u);
}
short* VELAAllocInt16(int n) {
    return AllocLimited<short>(n, 2147482647u);
}
int* VELAAllocInt32(int n) {
    return AllocLimited<int>(n, 1073740823u);
}
float* VELAAllocReal32(int n) {
    return AllocLimited<float>(n, 1073740823u);
}
double* VELAAllocReal64(int n) {
    return AllocLimited<double>(n, 536869911u);
}
Cplx32* VELAAllocCplx32(int n) {
    return AllocLimited<Cplx32>(n, 536869911u);
}
Cplx64* VELAAllocCplx64(int n) {
    return AllocLimited<Cplx64>(n, 268434455u);
}

void VELADelete(void* p) {
    kern::AlignedFree(p);
}

void DumpVELAMemoryAllocError(int bytes, const char* text) {
    const MemoryStatus ms = QueryMemoryStatus();
    FILE* f = std::fopen("VELAMemoryAllocError.txt", "w");
    if (!f) return;
    const long kb = 1024;
    std::fprintf(f, "System tried to allocate %d bytes.\n", bytes);
    if (text) std::fprintf(f, "%s \n", text);
    std::fprintf(f, "The MemoryStatus structure is %ld bytes long.\n", static_cast<long>(ms.dwLength));
    std::fprintf(f, "It should be %d.\n", 32);
    std::fprintf(f, "%ld percent of memory is in use.\n", static_cast<long>(ms.dwMemoryLoad));
    std::fprintf(f, "There are %*ld total %sbytes of physical memory.\n", 7,
                 static_cast<long>(ms.dwTotalPhys / kb), "K");
    std::fprintf(f, "There are %*ld free %sbytes of physical memory.\n", 7,
                 static_cast<long>(ms.dwAvailPhys / kb), "K");
    std::fprintf(f, "There are %*ld total %sbytes of paging file.\n", 7,
                 static_cast<long>(ms.dwTotalPageFile / kb), "K");
    std::fprintf(f, "There are %*ld free %sbytes of paging file.\n", 7,
                 static_cast<long>(ms.dwAvailPageFile / kb), "K");
    std::fprintf(f, "There are %*lx total %sbytes of virtual memory.\n", 7,
                 static_cast<unsigned long>(ms.dwTotalVirtual / kb), "K");
    std::fprintf(f, "There are %*lx free %sbytes of virtual memory.\n", 7,
                 static_cast<unsigned long>(ms.dwAvailVirtual / kb), "K");
    std::fclose(f);
}

}  // namespace VELA
