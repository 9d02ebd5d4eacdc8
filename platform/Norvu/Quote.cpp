#include "Norvu/Quote.h"

#include "Norvu/Text.h"

#include <cstdint>

namespace Norvu {

namespace {

void appendUnicodeEscape(std::string& out, std::uint32_t unit) {
    const unsigned char bytes[2] = {static_cast<unsigned char>(unit >> 8), static_cast<unsigned char>(unit)};
    out += "\\u";
    appendHexDump(out, bytes, sizeof bytes);
}

/// The code point at the start of `text` and its length in bytes, or length 0 when the first byte begins no valid UTF-8.
struct CodePoint {
    std::uint32_t value = 0;
    unsigned length = 0;
};

CodePoint decode(std::string_view text) {
    const auto byte = [&](unsigned i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    CodePoint point;
    std::uint32_t least = 0;
    if (lead >= 0xc2 && lead <= 0xdf) {
        point = {lead & 0x1fU, 2};
        least = 0x80;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        point = {lead & 0x0fU, 3};
        least = 0x800;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        point = {lead & 0x07U, 4};
        least = 0x10000;
    } else {
        return {};
    }
    if (text.size() < point.length) {
        return {};
    }
    for (unsigned i = 1; i < point.length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) {
            return {};
        }
        point.value = point.value << 6 | (byte(i) & 0x3fU);
    }
    const bool surrogate = point.value >= 0xd800 && point.value <= 0xdfff;
    return point.value < least || point.value > 0x10ffff || surrogate ? CodePoint{} : point;
}

} // namespace

void appendQuoted(std::string& out, std::string_view text) {
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else {
            appendSafe(out, {&c, 1});
        }
    }
    out += '"';
}

void appendJsonString(std::string& out, std::string_view text) {
    out += '"';
    while (!text.empty()) {
        const CodePoint point = decode(text);
        if (point.length == 0) {
            out += "\\ufffd";
        } else if (point.value == '"' || point.value == '\\') {
            out += '\\';
            out += static_cast<char>(point.value);
        } else if (point.value >= 0x20 && point.value <= 0x7e) {
            out += static_cast<char>(point.value);
        } else if (point.value < 0x10000) {
            appendUnicodeEscape(out, point.value);
        } else {
            appendUnicodeEscape(out, 0xd800 + ((point.value - 0x10000) >> 10));
            appendUnicodeEscape(out, 0xdc00 + ((point.value - 0x10000) & 0x3ff));
        }
        text.remove_prefix(point.length == 0 ? 1 : point.length);
    }
    out += '"';
}

} // namespace Norvu
