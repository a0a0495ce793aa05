// The EMI detector kernel bodies at one instruction-set level; the build gives this file its -march.
#define KERNEL_NS avx512
#define KERNEL_NAME "avx512 (x86-64-v4)"
#include "kernel/EMIDetectorBody.inc"
