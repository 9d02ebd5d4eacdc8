#include "Norvu/Types/Program.h"

#include "Norvu/Quote.h"
#include "Norvu/Text.h"

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

std::uint64_t numberOf(const Operation& operation, const unsigned char* at) {
    return operation.bits != 0 ? loadBits(at, operation.bit, operation.bits)
                               : load(at, operation.size, operation.bigEndian);
}

std::int64_t signedOf(const Operation& operation, const unsigned char* at) {
    const unsigned bits = operation.bits != 0 ? operation.bits : 8 * operation.size;
    return signExtended(numberOf(operation, at), bits);
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
void appendFloat(std::string& out, const Operation& operation, const unsigned char* at, bool json) {
    unsigned char bytes[sizeof(Number)] = {};
    const std::size_t size = std::min<std::size_t>(operation.size, sizeof bytes);
    if (operation.bigEndian) {
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

/// Seconds since 1970 as 2026-01-31T23:59:59Z.
void appendTime(std::string& out, std::int64_t seconds) {
    constexpr std::int64_t day = 86400;
    std::int64_t days = seconds / day;
    std::int64_t rest = seconds % day;
    if (rest < 0) {
        rest += day;
        --days;
    }
    // Days are counted from March 1st of the year 0, in eras of 400 years.
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t ofEra = days - era * 146097;
    const std::int64_t yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const std::int64_t ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shifted = (5 * ofYear + 2) / 153;
    const std::int64_t month = shifted < 10 ? shifted + 3 : shifted - 9;
    const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    const auto put = [&](std::int64_t number, std::size_t width) {
        char digits[24];
        const std::string_view text(
            digits, static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
        out.append(width > text.size() ? width - text.size() : 0, '0');
        out += text;
    };
    if (year < 0) {
        out += '-';
    }
    put(year < 0 ? -year : year, 4);
    out += '-';
    put(month, 2);
    out += '-';
    put(ofYear - (153 * shifted + 2) / 5 + 1, 2);
    out += 'T';
    put(rest / 3600, 2);
    out += ':';
    put(rest / 60 % 60, 2);
    out += ':';
    put(rest % 60, 2);
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
    } else if (operation.isSigned) {
        appendNumber(out, value);
    } else {
        appendNumber(out, static_cast<std::uint64_t>(value));
    }
}

void Program::print(const Operation& operation, const unsigned char* at, std::string& out) const {
    using Code = Operation::Code;
    out += operation.before;
    switch (operation.code) {
    case Code::Unsigned:
        appendNumber(out, numberOf(operation, at));
        break;
    case Code::Signed:
        appendNumber(out, signedOf(operation, at));
        break;
    case Code::Bool:
        out += numberOf(operation, at) != 0 ? "true" : "false";
        break;
    case Code::Float:
        appendFloat<float>(out, operation, at, json_);
        break;
    case Code::Double:
        appendFloat<double>(out, operation, at, json_);
        break;
    case Code::LongDouble:
        appendFloat<long double>(out, operation, at, json_);
        break;
    case Code::Enum:
        printEnum(operation,
                  operation.isSigned ? signedOf(operation, at) : static_cast<std::int64_t>(numberOf(operation, at)),
                  out);
        break;
    case Code::Text: {
        // As a view of characters; a field of text need not have an end of its own.
        const std::string_view text =
            boundedText(static_cast<const char*>(static_cast<const void*>(at)), operation.size);
        if (json_) {
            appendJsonString(out, text);
        } else {
            appendQuoted(out, text);
        }
        break;
    }
    case Code::Bytes:
        quote(out);
        appendHexDump(out, at, operation.size);
        quote(out);
        break;
    case Code::HexNumber:
    case Code::Pointer:
        quote(out);
        appendHexNumber(out, numberOf(operation, at));
        quote(out);
        break;
    case Code::Ipv4:
    case Code::Ipv6: {
        char text[INET6_ADDRSTRLEN];
        if (::inet_ntop(operation.code == Code::Ipv4 ? AF_INET : AF_INET6, at, text, sizeof text) != nullptr) {
            quote(out);
            out += text;
            quote(out);
        }
        break;
    }
    case Code::Mac:
        quote(out);
        for (std::uint32_t i = 0; i < operation.size; ++i) {
            if (i != 0) {
                out += ':';
            }
            appendHexDump(out, at + i, 1);
        }
        quote(out);
        break;
    case Code::Time:
        quote(out);
        appendTime(out,
                   operation.isSigned ? signedOf(operation, at) : static_cast<std::int64_t>(numberOf(operation, at)));
        quote(out);
        break;
    case Code::Literal:
    case Code::Begin:
    case Code::End:
    case Code::Stop:
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
        switch (operation.code) {
        case Operation::Code::Stop:
            out += operation.before;
            return;
        case Operation::Code::Begin:
            out += operation.before;
            arrays[depth++] = {operation.count, base};
            base += operation.offset;
            break;
        case Operation::Code::End:
            if (--arrays[depth - 1].left != 0) {
                out += operation.before;
                base += operation.size;
                i = operation.target - 1;
            } else {
                base = arrays[--depth].base;
            }
            break;
        default:
            print(operation, base + operation.offset, out);
        }
    }
}

} // namespace Norvu::Types
