// Aligned allocators of the containers, and the allocation failure report.
//
// Each allocator takes an element count, compares it as an unsigned number with its limit (a power of
// two minus 1001, chosen per allocator), and returns null above the limit or when memory is exhausted.
// A negative count is therefore always refused. They never throw and never write the report. Blocks are
// 64-byte aligned and are released only by VELADelete.
#pragma once

#include "VELATypes.h"

namespace VELA {

unsigned char* VELAAllocBit(int n);    // limit 2147482647
unsigned char* VELAAllocUInt8(int n);  // the same function as VELAAllocBit
char* VELAAllocByte(int n);            // limit 2147482647
short* VELAAllocInt16(int n);          // limit 2147482647 (the byte limit, on purpose)
int* VELAAllocInt32(int n);            // limit 1073740823
float* VELAAllocReal32(int n);         // limit 1073740823
double* VELAAllocReal64(int n);        // limit 536869911
Cplx32* VELAAllocCplx32(int n);        // limit 536869911
Cplx64* VELAAllocCplx64(int n);        // limit 268434455

// Releases a block of the allocators above; null is ignored.
void VELADelete(void* p);

// Writes "VELAMemoryAllocError.txt" in the current directory (replacing an earlier report): the failed
// byte count, `text` if not null, and the machine's memory figures. Does not throw; if the file cannot
// be opened nothing is written.
void DumpVELAMemoryAllocError(int bytes, const char* text);

}  // namespace VELA
