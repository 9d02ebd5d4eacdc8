#pragma once

#include <atomic>
#include <cstdint>
#if defined(__SSE2__) && !defined(__x86_64__)
#include <emmintrin.h>
#endif

// The loads and stores by which a reader and a writer in two processes meet. No compare-exchange: the reader's pages are
// read-only. A word that a writer may change is touched through these and nothing else.

namespace Mem::Atomics {

/// Whether this processor has the 64-bit load below.
bool checkCpuSupport();

/// One untorn 64-bit load, acquire. `address` lies on 8 bytes.
inline unsigned long long load64(const volatile unsigned long long* address) {
#if defined(__x86_64__)
    return __atomic_load_n(address, __ATOMIC_ACQUIRE);
#elif defined(__SSE2__)
    // An aligned movq is one bus access; x86 keeps loads in order, so the clobber is all that acquire takes.
    __m128i value;
    __asm__ __volatile__("movq %1, %0" : "=x"(value) : "m"(*address) : "memory");
    const auto low = static_cast<std::uint32_t>(_mm_cvtsi128_si32(value));
    const auto high = static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_epi64(value, 32)));
    return static_cast<unsigned long long>(high) << 32 | low;
#else
    // The x87 unit moves 64 bits in one access on every processor since the Pentium.
    unsigned long long value;
    __asm__ __volatile__("fildll %1\n\tfistpll %0" : "=m"(value) : "m"(*address) : "st", "memory");
    return value;
#endif
}

/// One untorn 64-bit store, release. `address` lies on 8 bytes.
inline void store64(volatile unsigned long long* address, unsigned long long value) {
#if defined(__x86_64__)
    __atomic_store_n(address, value, __ATOMIC_RELEASE);
#elif defined(__SSE2__)
    __asm__ __volatile__("movq %1, %%xmm0\n\tmovq %%xmm0, %0" : "=m"(*address) : "m"(value) : "xmm0", "memory");
#else
    __asm__ __volatile__("fildll %1\n\tfistpll %0" : "=m"(*address) : "m"(value) : "st", "memory");
#endif
}

/// Orders the relaxed loads before it with every load after it: the second half of a check, copy, check again.
inline void acquireFence() {
    std::atomic_thread_fence(std::memory_order_acquire);
}

/// Orders every store before it with the relaxed stores after it: the writer's half of the same.
inline void releaseFence() {
    std::atomic_thread_fence(std::memory_order_release);
}

} // namespace Mem::Atomics
