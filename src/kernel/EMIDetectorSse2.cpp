// The EMI detector kernel bodies at one instruction-set level; the build gives this file its -march.
#define KERNEL_NS sse2
#define KERNEL_NAME "sse2 (x86-64)"
#include "kernel/EMIDetectorBody.inc"
