#pragma once

#include "Norvu/Types/Field.h"

#include <optional>
#include <string_view>

namespace Halyx::Writer {

/// What a value of a type is that needs no description (U8 to S64, the <cstdint> names with or without std::, float, double,
/// bool, char[N]). Nothing when `name` is none of them.
std::optional<Norvu::Types::Field> findValueType(std::string_view name);

} // namespace Halyx::Writer
