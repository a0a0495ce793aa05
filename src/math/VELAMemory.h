// Aligned allocators of the containers, and the allocation failure report.
//
// Each allocator takes an element count, compares it as an unsigned number with its limit (a power of
// two minus 1001, chosen per allocator), and returns null above the limit or when memory is exhausted.
// A negative count is therefore always refused. They never throw and never write the report. Blocks are
// 64-byte aligned and are released only by VELADelete.
#pragma once
#include "VELAExport.h"

#include "VELATypes.h"

namespace VELA {

VELA_API unsigned char* VELAAllocBit(int n);    // limit 2147482647
VELA_API unsigned char* VELAAllocUInt8(int n);  // the same function as VELAAllocBit
VELA_API char* VELAAllocByte(int n);            // limit 2147482647
VELA_API short* VELAAllocInt16(int n);          // limit 2147482647 (the byte limit, on purpose)
VELA_API int* VELAAllocInt32(int n);            // limit 1073740823
VELA_API float* VELAAllocReal32(int n);         // limit 1073740823
VELA_API double* VELAAllocReal64(int n);        // limit 536869911
VELA_API Cplx32* VELAAllocCplx32(int n);        // limit 536869911
VELA_API Cplx64* VELAAllocCplx64(int n);        // limit 268434455

// Releases a block of the allocators above; null is ignored.
VELA_API void VELADelete(void* p);

// Writes "VELAMemoryAllocError.txt" in the current directory (replacing an earlier report): the failed
// byte count, `text` if not null, and the machine's memory figures. Does not throw; if the file cannot
// be opened nothing is written.
VELA_API void DumpVELAMemoryAllocError(int bytes, const char* text);

}  // namespace VELA
