#pragma once

#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Scope.h"

#include <cstdint>

namespace Norvu::Types::Grammar {

/// Whether an enumerator's value comes next that only 64 bits without a sign hold.
bool isUnsignedLiteral(Cursor& cursor);

/// Takes a constant expression of integers and enumerators and computes it in 64 bits. Throws DescriptionError for one that
/// overflows.
std::int64_t expression(Cursor& cursor, const Scope& scope);

} // namespace Norvu::Types::Grammar
