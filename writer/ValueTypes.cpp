#include "writer/ValueTypes.h"

#include <charconv>
#include <string>

namespace Halyx::Writer {

using Norvu::Types::Field;

namespace {

bool integerSize(std::string_view bits, std::uint32_t& size) {
    for (const std::uint32_t width : {8U, 16U, 32U, 64U}) {
        if (bits == std::to_string(width)) {
            size = width / 8;
            return true;
        }
    }
    return false;
}

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

/// Takes `start` and `end` off `text`; false when it does not have both.
bool between(std::string_view& text, std::string_view start, std::string_view end) {
    if (text.size() < start.size() + end.size() || !startsWith(text, start) ||
        text.substr(text.size() - end.size()) != end) {
        return false;
    }
    text = text.substr(start.size(), text.size() - start.size() - end.size());
    return true;
}

} // namespace

std::optional<Field> findValueType(std::string_view name) {
    using Code = Field::Code;
    Field type;
    if (name == "float" || name == "double") {
        type.code = name == "float" ? Code::Float : Code::Double;
        type.size = name == "float" ? 4 : 8;
        return type;
    }
    if (name == "bool") {
        type.code = Code::Bool;
        type.size = 1;
        return type;
    }
    std::string_view rest = name;
    if (between(rest, "char[", "]")) {
        type.code = Code::Text;
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), type.size);
        const bool good = error == std::errc{} && end == rest.data() + rest.size() && type.size != 0;
        return good ? std::optional(type) : std::nullopt;
    }
    if (startsWith(name, "U") || startsWith(name, "S")) {
        type.isSigned = name[0] == 'S';
        type.code = type.isSigned ? Code::Signed : Code::Unsigned;
        return integerSize(name.substr(1), type.size) ? std::optional(type) : std::nullopt;
    }
    if (startsWith(rest, "std::")) {
        rest.remove_prefix(5);
    }
    type.isSigned = between(rest, "int", "_t");
    type.code = type.isSigned ? Code::Signed : Code::Unsigned;
    return (type.isSigned || between(rest, "uint", "_t")) && integerSize(rest, type.size) ? std::optional(type)
                                                                                          : std::nullopt;
}

} // namespace Halyx::Writer
