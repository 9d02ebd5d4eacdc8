#pragma once

#include "Norvu/Types/Model.h"

#include <string_view>

namespace Norvu::Types {

/// Reads C declarations of structures, unions, enumerations and typedefs, as a programmer writes them and as pahole and gdb's
/// "ptype /o" print them. The value is the one named `wanted`, or the last. Member functions, statics and access labels are
/// skipped. Nesting, lengths and numbers are bounded. Throws DescriptionError.
Declarations parse(std::string_view text, std::string_view wanted);

} // namespace Norvu::Types
