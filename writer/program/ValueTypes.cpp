#include "writer/program/ValueTypes.h"

#include <charconv>

namespace Halyx::Writer {

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

bool findValueType(std::string_view name, ValueType& type) {
    if (name == "float" || name == "double") {
        type = {ValueKind::Float, name == "float" ? 4U : 8U};
        return true;
    }
    if (name == "bool") {
        type = {ValueKind::Bool, 1};
        return true;
    }
    std::string_view rest = name;
    if (between(rest, "char[", "]")) {
        std::uint32_t length = 0;
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), length);
        type = {ValueKind::Text, length};
        return error == std::errc{} && end == rest.data() + rest.size() && length != 0;
    }
    type.kind = ValueKind::Unsigned;
    if (between(rest, "U", "") && integerSize(rest, type.size)) {
        return true;
    }
    rest = name;
    type.kind = ValueKind::Signed;
    if (between(rest, "S", "") && integerSize(rest, type.size)) {
        return true;
    }
    rest = name;
    if (startsWith(rest, "std::")) {
        rest.remove_prefix(5);
    }
    std::string_view bits = rest;
    if (between(bits, "int", "_t") && integerSize(bits, type.size)) {
        return true;
    }
    type.kind = ValueKind::Unsigned;
    return between(rest, "uint", "_t") && integerSize(rest, type.size);
}

} // namespace Halyx::Writer
