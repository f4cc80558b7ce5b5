/* Kernels.cpp - what the processor can do, and the set of kernels for each level. */
#include "kernels/Kernels.h"

#if defined(__x86_64__) || defined(__i386__)

extern const KernelsRec kSse41Kernels;
extern const KernelsRec kAvx2Kernels;
extern const KernelsRec kAvx512Kernels;

/* The compiler's runtime asks the processor once, when the library is loaded; this reads what it found. */
Level HighestLevel()
{
    if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl"))
        return Level::Avx512;
    if (__builtin_cpu_supports("avx2")) return Level::Avx2;
    return __builtin_cpu_supports("sse4.1") ? Level::Sse41 : Level::Plain;
}

const KernelsRec* KernelsOf(Level level)
{
    switch (level) {
    case Level::Avx512:
        return &kAvx512Kernels;
    case Level::Avx2:
        return &kAvx2Kernels;
    case Level::Sse41:
        return &kSse41Kernels;
    case Level::Plain:
        break;
    }
    return nullptr;
}

#else

Level HighestLevel() { return Level::Plain; }
const KernelsRec* KernelsOf(Level) { return nullptr; }

#endif
