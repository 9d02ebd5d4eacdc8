#include "Norvu/Text.h"

#include <algorithm>
#include <cstring>

namespace Norvu {

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
            appendHexDump(out, &byte, 1);
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
