#pragma once

#include "Mem/Atomics.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

// Loads of memory that another process may be writing: single untorn accesses with a named order. No bounds are known here;
// View and Row, which check them, are the only callers.

namespace Mem::Words {

template <std::size_t Boundary>
bool aligned(const unsigned char* at) {
    return reinterpret_cast<std::uintptr_t>(at) % Boundary == 0;
}

/// How far from a boundary.
template <std::size_t Boundary>
std::size_t offsetIn(const unsigned char* at) {
    return reinterpret_cast<std::uintptr_t>(at) % Boundary;
}

template <typename Word>
Word unaligned(const unsigned char* at) {
    struct __attribute__((packed, may_alias)) Packed {
        Word value;
    };
    return reinterpret_cast<const volatile Packed*>(at)->value;
}

/// A 32-bit word on 4 bytes.
template <int Order>
std::uint32_t aligned32(const unsigned char* at) {
    return __atomic_load_n(reinterpret_cast<const std::uint32_t*>(at), Order);
}

/// A 64-bit word on 8 bytes, acquire.
inline std::uint64_t aligned64(const unsigned char* at) {
    return Atomics::load64(reinterpret_cast<const volatile unsigned long long*>(at));
}

/// A 32-bit word, acquire.
inline std::uint32_t load32(const unsigned char* at) {
    return aligned<4>(at) ? aligned32<__ATOMIC_ACQUIRE>(at) : unaligned<std::uint32_t>(at);
}

/// A 64-bit word, acquire. Off an 8-byte boundary no load is sure to be untorn: it is read until two reads agree.
inline std::uint64_t load64(const unsigned char* at) {
    if (aligned<8>(at)) [[likely]] {
        return aligned64(at);
    }
    std::uint64_t value = unaligned<std::uint64_t>(at);
    for (;;) {
        Atomics::acquireFence();
        const std::uint64_t again = unaligned<std::uint64_t>(at);
        if (again == value) {
            return value;
        }
        value = again;
    }
}

/// Copies one word on a word's boundary out, relaxed.
inline void copyWord(const unsigned char* at, void* to) {
    const std::uintptr_t value = __atomic_load_n(reinterpret_cast<const std::uintptr_t*>(at), __ATOMIC_RELAXED);
    std::memcpy(to, &value, sizeof value);
}

template <typename Word>
void copyWords(const unsigned char*& at, unsigned char*& out, std::size_t& size) {
    for (; size >= sizeof(Word); size -= sizeof(Word), at += sizeof(Word), out += sizeof(Word)) {
        const Word value = __atomic_load_n(reinterpret_cast<const Word*>(at), __ATOMIC_RELAXED);
        std::memcpy(out, &value, sizeof(Word));
    }
}

/// Copies `size` bytes out in words as wide as the place's alignment allows, relaxed.
inline void copy(const unsigned char* at, void* to, std::size_t size) {
    auto* out = static_cast<unsigned char*>(to);
    if (aligned<sizeof(std::uintptr_t)>(at)) [[likely]] {
        copyWords<std::uintptr_t>(at, out, size);
    } else if (aligned<4>(at)) {
        copyWords<std::uint32_t>(at, out, size);
    }
    for (; size != 0; --size) {
        *out++ = __atomic_load_n(at++, __ATOMIC_RELAXED);
    }
}

} // namespace Mem::Words
