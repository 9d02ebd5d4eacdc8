#include "Mem/Atomics.h"

#include <cpuid.h>

namespace Mem::Atomics {

bool checkCpuSupport() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0) {
        return false;
    }
#if defined(__x86_64__) || defined(__SSE2__)
    return (d & bit_SSE2) != 0;
#else
    // 64-bit x87 accesses are single ones from the Pentium on, which is also where cmpxchg8b appeared.
    return (d & 1U) != 0 && (d & bit_CMPXCHG8B) != 0;
#endif
}

} // namespace Mem::Atomics
