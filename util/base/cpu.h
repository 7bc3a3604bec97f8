// What the processor can do beyond what the program is compiled for.
//
// The C library has asked it at the start already. To ask again costs a virtual machine some ten
// thousand instructions, each time: a good part of what a short run takes.
#pragma once

// That header is not for clang's strict C++.
#if defined(__x86_64__) && !defined(__clang__) && __has_include(<sys/platform/x86.h>)
#include <sys/platform/x86.h>
#endif

namespace Quil::IMPL {

/// Whether vectors of 32 bytes, or those of 16 with all of their operations, may be used.
inline bool HasAvx2() {
#if !defined(__x86_64__)
    return false;
#elif defined(CPU_FEATURE_ACTIVE)
    return CPU_FEATURE_ACTIVE(AVX2);
#else
    return __builtin_cpu_supports("avx2") != 0;
#endif
}

inline bool HasSse41() {
#if !defined(__x86_64__)
    return false;
#elif defined(CPU_FEATURE_ACTIVE)
    return CPU_FEATURE_ACTIVE(SSE4_1);
#else
    return __builtin_cpu_supports("sse4.1") != 0;
#endif
}

} // namespace Quil::IMPL
