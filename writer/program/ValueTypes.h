#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Halyx::Writer {

/// What a value of a type that needs no description is.
enum class ValueKind { Unsigned, Signed, Float, Bool, Text };

struct ValueType {
    ValueKind kind;
    std::uint32_t size; ///< bytes
};

/// Looks up a type that needs no description (U8 to S64, the <cstdint> names with or without std::, float, double, bool,
/// char[N]). False when `name` is none.
bool findValueType(std::string_view name, ValueType& type);

} // namespace Halyx::Writer
