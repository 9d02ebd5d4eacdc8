#pragma once

#include "Norvu/Types/Grammar/Attributes.h"
#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Scope.h"

namespace Norvu::Types::Grammar {

/// Completes the enumeration `id` from its enumerators in braces, if they come next. It is stored as `stored`, or as what the
/// values need when that is kNoType; `before` are the attributes in front of its body.
void enumeration(Cursor& cursor, Scope& scope, TypeId id, TypeId stored, const Attributes& before);

} // namespace Norvu::Types::Grammar
