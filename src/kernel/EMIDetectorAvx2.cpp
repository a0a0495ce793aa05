// The EMI detector kernel bodies at one instruction-set level; the build gives this file its -march.
#define KERNEL_NS avx2
#define KERNEL_NAME "avx2 (x86-64-v3)"
#include "kernel/EMIDetectorBody.inc"
