#pragma once

#include "Norvu/Types/Field.h"
#include "writer/program/Record.h"

#include <cstdint>
#include <string>
#include <unordered_map>

namespace Halyx::Writer {

/// The names of an enumeration.
using EnumNames = std::unordered_map<std::string, std::int64_t>;

/// Stores what `input` says at the field's place in `value`, which is as large as the whole value and has zeros there. Takes
/// what the printers print for such a field, and plain numbers for enumerations and times. `names` is read for enumerations
/// only. False when the input is no such value.
bool storeField(const Norvu::Types::Field& field, const EnumNames& names, const Record::Field& input,
                unsigned char* value);

} // namespace Halyx::Writer
