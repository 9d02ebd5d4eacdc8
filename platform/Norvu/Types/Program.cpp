#include "Norvu/Types/Program.h"

#include "Norvu/Quote.h"
#include "Norvu/Text.h"
#include "Norvu/Utc.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

namespace Norvu::Types {

namespace {

constexpr std::size_t kMostArrays = 80; ///< inside of each other: more than the layout allows

std::uint64_t load(const unsigned char* at, std::uint32_t size, bool bigEndian) {
    std::uint64_t word = 0;
    if (bigEndian) {
        for (std::uint32_t i = 0; i < size; ++i) {
            word = word << 8 | at[i];
        }
        return word;
    }
    switch (size) {
    case 1:
        return *at;
    case 2: {
        std::uint16_t half = 0;
        std::memcpy(&half, at, sizeof half);
        return half;
    }
    case 4: {
        std::uint32_t four = 0;
        std::memcpy(&four, at, sizeof four);
        return four;
    }
    default:
        std::memcpy(&word, at, std::min<std::size_t>(size, sizeof word));
        return word;
    }
}

/// The bits of a bit-field, which begin in the byte at `at`.
std::uint64_t loadBits(const unsigned char* at, unsigned bit, unsigned bits) {
    const unsigned bytes = (bit + bits + 7) / 8;
    std::uint64_t low = 0;
    std::memcpy(&low, at, std::min(bytes, 8U));
    std::uint64_t word = low >> bit;
    if (bytes > 8) {
        word |= std::uint64_t{at[8]} << (64 - bit);
    }
    return bits == 64 ? word : word & ((std::uint64_t{1} << bits) - 1);
}

std::int64_t signExtended(std::uint64_t word, unsigned bits) {
    const unsigned unused = 64 - bits;
    return static_cast<std::int64_t>(word << unused) >> unused;
}

std::uint64_t numberOf(const Field& field, const unsigned char* at) {
    return field.bits != 0 ? loadBits(at, field.bit, field.bits) : load(at, field.size, field.bigEndian);
}

std::int64_t signedOf(const Field& field, const unsigned char* at) {
    const unsigned bits = field.bits != 0 ? field.bits : 8 * field.size;
    return signExtended(numberOf(field, at), bits);
}

template <typename Number>
void appendNumber(std::string& out, Number number) {
    char digits[64];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void appendHexNumber(std::string& out, std::uint64_t number) {
    char digits[20] = "0x";
    out.append(digits, std::to_chars(digits + 2, digits + sizeof digits, number, 16).ptr);
}

template <typename Number>
void appendFloat(std::string& out, const Field& field, const unsigned char* at, bool json) {
    unsigned char bytes[sizeof(Number)] = {};
    const std::size_t size = std::min<std::size_t>(field.size, sizeof bytes);
    if (field.bigEndian) {
        std::reverse_copy(at, at + size, bytes);
    } else {
        std::memcpy(bytes, at, size);
    }
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    if (json && !std::isfinite(number)) {
        out += "null";
        return;
    }
    appendNumber(out, number);
}

/// Seconds since 1970 as 2026-01-31T23:59:59Z; the 64 bits may have no sign.
void appendTime(std::string& out, std::uint64_t word, bool isSigned) {
    constexpr std::int64_t day = 86400;
    const auto seconds = static_cast<std::int64_t>(word);
    std::int64_t days = isSigned ? seconds / day : static_cast<std::int64_t>(word / day);
    std::int64_t rest = isSigned ? seconds % day : static_cast<std::int64_t>(word % day);
    if (rest < 0) {
        rest += day;
        --days;
    }
    appendUtc(out, days, rest);
    out += 'Z';
}

} // namespace

void Program::printEnum(const Operation& operation, std::int64_t value, std::string& out) const {
    const std::vector<Name>& names = enumerations_[operation.target];
    const auto found = std::lower_bound(names.begin(), names.end(), value,
                                        [](const Name& name, std::int64_t wanted) { return name.value < wanted; });
    if (found != names.end() && found->value == value) {
        quote(out);
        out += found->text;
        quote(out);
    } else if (operation.field.isSigned) {
        appendNumber(out, value);
    } else {
        appendNumber(out, static_cast<std::uint64_t>(value));
    }
}

void Program::show(const Operation& operation, const unsigned char* at, std::string& out) const {
    using Code = Field::Code;
    const Field& field = operation.field;
    switch (field.code) {
    case Code::Unsigned:
        appendNumber(out, numberOf(field, at));
        break;
    case Code::Signed:
        appendNumber(out, signedOf(field, at));
        break;
    case Code::Bool:
        out += numberOf(field, at) != 0 ? "true" : "false";
        break;
    case Code::Float:
        appendFloat<float>(out, field, at, json_);
        break;
    case Code::Double:
        appendFloat<double>(out, field, at, json_);
        break;
    case Code::LongDouble:
        appendFloat<long double>(out, field, at, json_);
        break;
    case Code::Enum:
        printEnum(operation, field.isSigned ? signedOf(field, at) : static_cast<std::int64_t>(numberOf(field, at)),
                  out);
        break;
    case Code::Text: {
        // As a view of characters; a field of text need not have an end of its own.
        const std::string_view text = boundedText(static_cast<const char*>(static_cast<const void*>(at)), field.size);
        if (json_) {
            appendJsonString(out, text);
        } else {
            appendQuoted(out, text);
        }
        break;
    }
    case Code::Bytes:
        quote(out);
        appendHexDump(out, at, field.size);
        quote(out);
        break;
    case Code::HexNumber:
    case Code::Pointer:
        quote(out);
        appendHexNumber(out, numberOf(field, at));
        quote(out);
        break;
    case Code::Ipv4:
    case Code::Ipv6: {
        char text[INET6_ADDRSTRLEN];
        if (::inet_ntop(field.code == Code::Ipv4 ? AF_INET : AF_INET6, at, text, sizeof text) != nullptr) {
            quote(out);
            out += text;
            quote(out);
        }
        break;
    }
    case Code::Mac:
        quote(out);
        for (std::uint32_t i = 0; i < field.size; ++i) {
            if (i != 0) {
                out += ':';
            }
            appendHexDump(out, at + i, 1);
        }
        quote(out);
        break;
    case Code::Time:
        quote(out);
        appendTime(out, field.isSigned ? static_cast<std::uint64_t>(signedOf(field, at)) : numberOf(field, at),
                   field.isSigned);
        quote(out);
        break;
    }
}

void Program::run(const unsigned char* value, std::string& out) const {
    struct Array {
        std::uint32_t left;
        const unsigned char* base;
    };
    std::array<Array, kMostArrays> arrays;
    std::size_t depth = 0;
    const unsigned char* base = value;
    for (std::size_t i = 0;; ++i) {
        const Operation& operation = operations_[i];
        switch (operation.step) {
        case Operation::Step::Show:
            out += operation.before;
            show(operation, base + operation.field.offset, out);
            break;
        case Operation::Step::Literal:
            out += operation.before;
            break;
        case Operation::Step::Begin:
            out += operation.before;
            arrays[depth++] = {operation.count, base};
            base += operation.field.offset;
            break;
        case Operation::Step::End:
            if (--arrays[depth - 1].left != 0) {
                out += operation.before;
                base += operation.field.size;
                i = operation.target - 1;
            } else {
                base = arrays[--depth].base;
            }
            break;
        case Operation::Step::Stop:
            out += operation.before;
            return;
        }
    }
}

} // namespace Norvu::Types
