#include "Norvu/BuiltinTypes.h"

#include "Norvu/Quote.h"
#include "Norvu/Text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace Norvu::Platform {

namespace {

template <typename Number>
class NumberPrinter : public ValuePrinter {
public:
    NumberPrinter() : ValuePrinter(sizeof(Number)) {}

    void toString(const void* value, ValueStyle style, std::string& out) const override {
        Number number;
        std::memcpy(&number, value, sizeof number);
        if constexpr (std::is_floating_point_v<Number>) {
            if (style == ValueStyle::Json && !std::isfinite(number)) {
                out += "null";
                return;
            }
        }
        char digits[64];
        const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
        out.append(digits, end.ptr);
    }
};

class BoolPrinter : public ValuePrinter {
public:
    BoolPrinter() : ValuePrinter(1) {}

    void toString(const void* value, ValueStyle, std::string& out) const override {
        unsigned char byte = 0;
        std::memcpy(&byte, value, 1);
        out += byte != 0 ? "true" : "false";
    }
};

class TextPrinter : public ValuePrinter {
public:
    using ValuePrinter::ValuePrinter;

    void toString(const void* value, ValueStyle style, std::string& out) const override {
        const std::string_view text = boundedText(static_cast<const char*>(value), size());
        if (style == ValueStyle::Json) {
            appendJsonString(out, text);
        } else {
            appendQuoted(out, text);
        }
    }
};

template <typename Printer>
std::shared_ptr<ValuePrinter> make() {
    return std::make_shared<Printer>();
}

struct Builtin {
    std::string_view name;
    unsigned size;
    std::shared_ptr<ValuePrinter> (*make)();
};

constexpr Builtin kBuiltins[] = {
    {"U8", 1, make<NumberPrinter<std::uint8_t>>},
    {"U16", 2, make<NumberPrinter<std::uint16_t>>},
    {"U32", 4, make<NumberPrinter<std::uint32_t>>},
    {"U64", 8, make<NumberPrinter<std::uint64_t>>},
    {"S8", 1, make<NumberPrinter<std::int8_t>>},
    {"S16", 2, make<NumberPrinter<std::int16_t>>},
    {"S32", 4, make<NumberPrinter<std::int32_t>>},
    {"S64", 8, make<NumberPrinter<std::int64_t>>},
    {"uint8_t", 1, make<NumberPrinter<std::uint8_t>>},
    {"uint16_t", 2, make<NumberPrinter<std::uint16_t>>},
    {"uint32_t", 4, make<NumberPrinter<std::uint32_t>>},
    {"uint64_t", 8, make<NumberPrinter<std::uint64_t>>},
    {"int8_t", 1, make<NumberPrinter<std::int8_t>>},
    {"int16_t", 2, make<NumberPrinter<std::int16_t>>},
    {"int32_t", 4, make<NumberPrinter<std::int32_t>>},
    {"int64_t", 8, make<NumberPrinter<std::int64_t>>},
    {"float", 4, make<NumberPrinter<float>>},
    {"double", 8, make<NumberPrinter<double>>},
    {"bool", 1, make<BoolPrinter>},
};

/// "char[N]" with N the size.
bool isCharArray(std::string_view name, unsigned size) {
    constexpr std::string_view begin = "char[";
    if (name.substr(0, begin.size()) != begin || name.back() != ']') {
        return false;
    }
    name = name.substr(begin.size(), name.size() - begin.size() - 1);
    if (name.size() > 1 && name[0] == '0') {
        return false;
    }
    unsigned length = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), length);
    return error == std::errc{} && end == name.data() + name.size() && length == size;
}

} // namespace

std::shared_ptr<ValuePrinter> makeBuiltinPrinter(const std::string& typeName, unsigned size) {
    std::string_view name = typeName;
    constexpr std::string_view standard = "std::";
    if (name.substr(0, standard.size()) == standard && name.size() > 2 && name.substr(name.size() - 2) == "_t") {
        name.remove_prefix(standard.size());
    }
    for (const Builtin& builtin : kBuiltins) {
        if (name == builtin.name) {
            return size == builtin.size ? builtin.make() : nullptr;
        }
    }
    return isCharArray(typeName, size) ? std::make_shared<TextPrinter>(size) : nullptr;
}

} // namespace Norvu::Platform
