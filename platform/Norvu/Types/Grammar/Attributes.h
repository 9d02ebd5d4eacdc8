#pragma once

#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Scope.h"

#include <cstdint>

namespace Norvu::Types::Grammar {

/// What attributes ask for that changes a layout.
struct Attributes {
    bool packed = false;
    std::uint32_t align = 0; ///< 0: none
};

/// Takes the attributes that come next, if any, and adds what they ask for; others are skipped.
void attributeList(Cursor& cursor, const Scope& scope, Attributes& attributes);

} // namespace Norvu::Types::Grammar
