#include "soak/Value.h"

#include "fixtures/Take.h"

#include <charconv>
#include <cstring>

namespace Soak {

namespace {

using Fixtures::take;
using Fixtures::takeNumber;

std::uint64_t mixed(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31);
}

void appendHex(std::string& text, std::string_view bytes) {
    constexpr const char* digits = "0123456789abcdef";
    const std::size_t at = text.size();
    text.resize(at + 2 * bytes.size());
    char* out = text.data() + at;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        *out++ = digits[value >> 4];
        *out++ = digits[value & 15];
    }
}

/// What stands before the key, between it and the version, and between that and the filler, and behind.
struct Frame {
    std::string begin;
    std::string_view middle;
    std::string_view filler;
    std::string_view end;
};

const Frame& frameOf(Style style, bool dynamic) {
    static const Frame json{"{\"key\":", ",\"version\":", ",\"filler\":\"", "\"}"};
    static const Frame pretty[2] = {{std::string(typeName(false)) + "{ key: ", " version: ", " filler: ", " }"},
                                    {std::string(typeName(true)) + "{ key: ", " version: ", " filler: ", " }"}};
    return style == Style::Json ? json : pretty[dynamic ? 1 : 0];
}

/// Eight bytes in memory order.
bool takeHexWord(std::string_view& text, std::uint64_t& number) {
    number = 0;
    for (unsigned byte = 0; byte < 8; ++byte) {
        std::uint8_t value = 0;
        if (text.size() < 2 || std::from_chars(text.data(), text.data() + 2, value, 16).ptr != text.data() + 2) {
            return false;
        }
        number |= std::uint64_t{value} << (8 * byte);
        text.remove_prefix(2);
    }
    return true;
}

} // namespace

std::uint32_t lengthOf(std::uint64_t key, std::uint64_t version, bool dynamic) {
    if (!dynamic) {
        return kStaticBytes;
    }
    // Short ones more often than long ones.
    const std::uint64_t random = mixed(key * 0x9e3779b97f4a7c15U + version);
    const std::uint32_t most = (kMostBytes - kHeadBytes) >> (random >> 62);
    return kHeadBytes + static_cast<std::uint32_t>(random % (most + 1));
}

std::string_view makeValue(char* out, std::uint64_t key, std::uint64_t version, bool dynamic) {
    const std::uint32_t length = lengthOf(key, version, dynamic);
    std::memcpy(out, &key, sizeof key);
    std::memcpy(out + sizeof key, &version, sizeof version);
    std::uint64_t state = mixed(version * 0x9e3779b97f4a7c15U + key);
    for (std::uint32_t at = kHeadBytes; at < length; at += sizeof state) {
        state = state * 0x5851f42d4c957f2dU + 0x14057b7ef767814fU;
        const std::uint64_t word = state ^ (state >> 32);
        std::memcpy(out + at, &word, length - at < sizeof word ? length - at : sizeof word);
    }
    return {out, length};
}

std::string_view keyOf(std::string_view value) {
    return value.substr(0, sizeof(std::uint64_t));
}

void appendText(std::string& text, Style style, std::uint64_t key, std::uint64_t version, bool dynamic) {
    char bytes[kMostBytes];
    const std::string_view value = makeValue(bytes, key, version, dynamic);
    if (style == Style::Plain) {
        appendHex(text, value);
        return;
    }
    const Frame& frame = frameOf(style, dynamic);
    text += frame.begin;
    text += std::to_string(key);
    text += frame.middle;
    text += std::to_string(version);
    text += frame.filler;
    appendHex(text, value.substr(kHeadBytes));
    // A printer of a described type prints all of it, and bytes that a value does not have are zero.
    text.append(dynamic ? 2 * (kMostBytes - value.size()) : 0, '0');
    text += frame.end;
}

bool readHead(std::string_view text, Style style, bool dynamic, std::uint64_t& key, std::uint64_t& version) {
    if (style == Style::Plain) {
        return takeHexWord(text, key) && takeHexWord(text, version);
    }
    const Frame& frame = frameOf(style, dynamic);
    return take(text, frame.begin) && takeNumber(text, key) && take(text, frame.middle) && takeNumber(text, version);
}

const char* typeName(bool dynamic) {
    return dynamic ? "SoakRecord" : "SoakValue";
}

std::string typeDescription(bool dynamic) {
    return std::string("struct ") + typeName(dynamic) +
           " {\n    uint64_t key;\n    uint64_t version;\n    uint8_t filler[" +
           std::to_string((dynamic ? kMostBytes : kStaticBytes) - kHeadBytes) + "]; /* hex */\n};\n";
}

} // namespace Soak
