#include "Norvu/Text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace Norvu {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

constexpr std::array<char, 512> makePairs() {
    std::array<char, 512> pairs{};
    for (std::size_t i = 0; i < 256; ++i) {
        pairs[2 * i] = kDigits[i >> 4];
        pairs[2 * i + 1] = kDigits[i & 15];
    }
    return pairs;
}

constexpr std::array<char, 512> kPairs = makePairs();

} // namespace

char* writeHex(char* out, std::uint32_t value) {
    const unsigned digits = value == 0 ? 1 : (35U - static_cast<unsigned>(std::countl_zero(value))) / 4;
    for (unsigned i = digits; i-- != 0; value >>= 4) {
        out[i] = kDigits[value & 15U];
    }
    return out + digits;
}

char* writeHexDump(char* out, const void* data, std::size_t length) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < length; ++i, out += 2) {
        std::memcpy(out, &kPairs[std::size_t{2} * bytes[i]], 2);
    }
    return out;
}

void appendHexDump(std::string& out, const void* data, std::size_t length) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    char block[256];
    while (length != 0) {
        const std::size_t now = std::min(length, sizeof block / 2);
        out.append(block, writeHexDump(block, bytes, now));
        bytes += now;
        length -= now;
    }
}

std::string dumpHex(const void* data, std::size_t length) {
    std::string text;
    text.reserve(2 * length);
    appendHexDump(text, data, length);
    return text;
}

void appendSafe(std::string& out, std::string_view text) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte <= 0x7e) {
            out += c;
        } else {
            out += "\\x";
            out.append(&kPairs[std::size_t{2} * byte], 2);
        }
    }
}

std::string safeText(std::string_view text) {
    std::string safe;
    safe.reserve(text.size());
    appendSafe(safe, text);
    return safe;
}

std::string_view boundedText(const char* field, std::size_t size) {
    return {field, ::strnlen(field, size)};
}

} // namespace Norvu
