#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Norvu {

// A walk prints more digits than anything else, so they are made many at once.

#if defined(__SSE2__)
/// The lower-case hexadecimal digits of 8 bytes, the first byte's first.
inline __m128i hexDigits8(__m128i bytes) {
    const __m128i nibble = _mm_set1_epi8(15);
    const __m128i digits =
        _mm_unpacklo_epi8(_mm_and_si128(_mm_srli_epi16(bytes, 4), nibble), _mm_and_si128(bytes, nibble));
    const __m128i letters = _mm_cmpgt_epi8(digits, _mm_set1_epi8(9));
    return _mm_add_epi8(_mm_add_epi8(digits, _mm_set1_epi8('0')),
                        _mm_and_si128(letters, _mm_set1_epi8('a' - '0' - 10)));
}
#endif

/// The lower-case hexadecimal digits of 4 bytes, those of the lowest byte first in memory.
inline std::uint64_t hexDigits(std::uint32_t bytes) {
#if defined(__SSE2__) && defined(__x86_64__)
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(hexDigits8(_mm_cvtsi32_si128(static_cast<int>(bytes)))));
#else
    std::uint64_t spread = bytes;
    spread = (spread | spread << 16) & 0x0000ffff0000ffff;
    spread = (spread | spread << 8) & 0x00ff00ff00ff00ff;
    const std::uint64_t digits = (spread >> 4 & 0x000f000f000f000f) | (spread & 0x000f000f000f000f) << 8;
    const std::uint64_t letters = (digits + 0x0606060606060606) >> 4 & 0x0101010101010101;
    return digits + 0x3030303030303030 + letters * ('a' - '0' - 10);
#endif
}

/// Writes `value` in lower-case hexadecimal, no prefix, no leading zeros. Behind the last digit; what stands behind that, up to
/// 8 bytes from `out`, is overwritten.
inline char* writeHex(char* out, std::uint32_t value) {
    const unsigned digits = (35U - static_cast<unsigned>(std::countl_zero(value | 1))) / 4;
    const std::uint64_t text = hexDigits(__builtin_bswap32(value)) >> (64 - 8 * digits);
    std::memcpy(out, &text, sizeof text);
    return out + digits;
}

/// Writes two lower-case hexadecimal digits a byte, in memory order. Behind the last.
inline char* writeHexDump(char* out, const void* data, std::size_t length) {
    const auto* bytes = static_cast<const unsigned char*>(data);
#if defined(__SSE2__)
    for (; length >= 8; length -= 8, bytes += 8, out += 16) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        const __m128i text = hexDigits8(_mm_set_epi64x(0, static_cast<long long>(word)));
        std::memcpy(out, &text, sizeof text);
    }
#endif
    for (; length >= 4; length -= 4, bytes += 4, out += 8) {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        const std::uint64_t text = hexDigits(word);
        std::memcpy(out, &text, sizeof text);
    }
    for (; length != 0; --length, ++bytes, out += 2) {
        const std::uint64_t text = hexDigits(*bytes);
        std::memcpy(out, &text, 2);
    }
    return out;
}

/// Appends two lower-case hexadecimal digits a byte, in memory order.
void appendHexDump(std::string& out, const void* data, std::size_t length);

/// Two lower-case hexadecimal digits a byte, in memory order; empty for length 0.
std::string dumpHex(const void* data, std::size_t length);

/// Text from outside, made safe for a terminal: every byte outside 0x20 to 0x7e becomes "\x" and two hexadecimal digits.
void appendSafe(std::string& out, std::string_view text);
std::string safeText(std::string_view text);

/// The text of a field of `size` bytes: up to its first NUL, never past the field.
std::string_view boundedText(const char* field, std::size_t size);

} // namespace Norvu
