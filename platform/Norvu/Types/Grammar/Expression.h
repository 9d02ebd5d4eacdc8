#pragma once

#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Scope.h"

#include <cstdint>

namespace Norvu::Types::Grammar {

/// Takes a constant expression of integers and enumerators and computes it in 64 bits. Throws DescriptionError for one that
/// overflows.
std::int64_t expression(Cursor& cursor, const Scope& scope);

} // namespace Norvu::Types::Grammar
