#include "writer/program/FieldValue.h"

#include "writer/program/UtcTime.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

namespace Halyx::Writer {

namespace {

using Norvu::Types::Field;
using Code = Field::Code;

template <typename Number>
std::optional<Number> numberIn(std::string_view text, int base = 10) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

unsigned bitsOf(const Field& field) {
    return field.bits != 0 ? field.bits : 8 * std::min(field.size, 8U);
}

/// Stores the low bits of `word`, which fit the field.
void storeWord(const Field& field, std::uint64_t word, unsigned char* value) {
    unsigned char* const at = value + field.offset;
    if (field.bits != 0) {
        for (unsigned i = 0; i < field.bits; ++i) {
            const unsigned bit = field.bit + i;
            const auto one = static_cast<unsigned char>((word >> i & 1) << bit % 8);
            at[bit / 8] = static_cast<unsigned char>(at[bit / 8] | one);
        }
        return;
    }
    for (std::uint32_t i = 0; i < std::min(field.size, 8U); ++i) {
        at[field.bigEndian ? field.size - 1 - i : i] = static_cast<unsigned char>(word >> 8 * i);
    }
}

bool storeUnsigned(const Field& field, std::optional<std::uint64_t> number, unsigned char* value) {
    if (!number || *number > std::numeric_limits<std::uint64_t>::max() >> (64 - bitsOf(field))) {
        return false;
    }
    storeWord(field, *number, value);
    return true;
}

bool storeSigned(const Field& field, std::optional<std::int64_t> number, unsigned char* value) {
    const std::int64_t most = std::numeric_limits<std::int64_t>::max() >> (64 - bitsOf(field));
    if (!number || *number > most || *number < -most - 1) {
        return false;
    }
    storeWord(field, static_cast<std::uint64_t>(*number), value);
    return true;
}

bool storeInteger(const Field& field, std::string_view text, unsigned char* value) {
    return field.isSigned ? storeSigned(field, numberIn<std::int64_t>(text), value)
                          : storeUnsigned(field, numberIn<std::uint64_t>(text), value);
}

/// As 0x1f or, the sign being of no matter there, in decimal.
bool storeHex(const Field& field, std::string_view text, unsigned char* value) {
    if (text.substr(0, 2) == "0x") {
        return storeUnsigned(field, numberIn<std::uint64_t>(text.substr(2), 16), value);
    }
    return storeInteger(field, text, value);
}

template <typename Number>
bool parseFloat(const std::string& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size();
}

/// The library's from_chars refuses the numbers of this type that are too small to be normal.
template <>
bool parseFloat(const std::string& text, long double& number) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])) != 0) {
        return false;
    }
    char* end = nullptr;
    number = std::strtold(text.c_str(), &end);
    return end == text.data() + text.size() && (std::isfinite(number) || text.find_first_of("iInN") < 2);
}

template <typename Number>
bool storeFloat(const Field& field, const Record::Field& input, unsigned char* value) {
    Number number = std::numeric_limits<Number>::quiet_NaN(); // for which JSON has no number but null
    if (input.kind != Record::Kind::Null && !parseFloat(input.text, number)) {
        return false;
    }
    constexpr std::size_t extended = 10; // of a long double's bytes; the others are padding
    const std::size_t size = std::min<std::size_t>(field.size, sizeof number > 8 ? extended : sizeof number);
    unsigned char bytes[sizeof number];
    std::memcpy(bytes, &number, sizeof number);
    if (field.bigEndian) {
        std::reverse_copy(bytes, bytes + size, value + field.offset + (field.size - size));
    } else {
        std::memcpy(value + field.offset, bytes, size);
    }
    return true;
}

bool storeBool(const Field& field, std::string_view text, unsigned char* value) {
    const bool yes = text == "true" || text == "1";
    storeWord(field, yes ? 1 : 0, value);
    return yes || text == "false" || text == "0";
}

bool storeEnum(const Field& field, const EnumNames& names, const std::string& text, unsigned char* value) {
    if (const auto known = names.find(text); known != names.end()) {
        const auto word = static_cast<std::uint64_t>(known->second);
        return field.isSigned ? storeSigned(field, known->second, value) : storeUnsigned(field, word, value);
    }
    return storeInteger(field, text, value);
}

bool storeText(const Field& field, std::string_view text, unsigned char* value) {
    if (text.size() > field.size) {
        return false;
    }
    std::copy(text.begin(), text.end(), value + field.offset);
    return true;
}

/// Two hexadecimal digits a byte, all bytes of the field; with `separator` between them when it is not 0.
bool storeBytes(const Field& field, std::string_view text, char separator, unsigned char* value) {
    const std::size_t width = separator != '\0' ? 3 : 2;
    if (text.size() != width * field.size - (width - 2)) {
        return false;
    }
    for (std::uint32_t i = 0; i < field.size; ++i) {
        const std::string_view digits = text.substr(i * width, 2);
        const auto byte = digits[0] == '-' ? std::nullopt : numberIn<unsigned char>(digits, 16);
        if (!byte || (i != 0 && separator != '\0' && text[i * width - 1] != separator)) {
            return false;
        }
        value[field.offset + i] = *byte;
    }
    return true;
}

bool storeTime(const Field& field, const std::string& text, unsigned char* value) {
    const std::optional<UtcTime> time = parseUtcTime(text);
    if (!time) {
        return storeInteger(field, text, value);
    }
    return field.isSigned ? storeSigned(field, time->signedSeconds(), value)
                          : storeUnsigned(field, time->unsignedSeconds(), value);
}

} // namespace

bool storeField(const Field& field, const EnumNames& names, const Record::Field& input, unsigned char* value) {
    const std::string& text = input.text;
    const bool isFloat = field.code == Code::Float || field.code == Code::Double || field.code == Code::LongDouble;
    if (input.kind == Record::Kind::Empty || (input.kind == Record::Kind::Null && !isFloat)) {
        return false;
    }
    switch (field.code) {
    case Code::Unsigned:
    case Code::Signed:
        return storeInteger(field, text, value);
    case Code::Bool:
        return storeBool(field, text, value);
    case Code::Float:
        return storeFloat<float>(field, input, value);
    case Code::Double:
        return storeFloat<double>(field, input, value);
    case Code::LongDouble:
        return storeFloat<long double>(field, input, value);
    case Code::Enum:
        return storeEnum(field, names, text, value);
    case Code::Text:
        return storeText(field, text, value);
    case Code::Bytes:
        return storeBytes(field, text, '\0', value);
    case Code::HexNumber:
    case Code::Pointer:
        return storeHex(field, text, value);
    case Code::Ipv4:
        return ::inet_pton(AF_INET, text.c_str(), value + field.offset) == 1;
    case Code::Ipv6:
        return ::inet_pton(AF_INET6, text.c_str(), value + field.offset) == 1;
    case Code::Mac:
        return storeBytes(field, text, ':', value);
    case Code::Time:
        return storeTime(field, text, value);
    }
    return false;
}

} // namespace Halyx::Writer
