#pragma once

#include "Norvu/Types/Grammar/Attributes.h"
#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Scope.h"

#include <string>

namespace Norvu::Types::Grammar {

/// What stands behind a type in a declaration: the name, and what of the type it is.
struct Declarator {
    std::string name; ///< empty when it has none
    TypeId type = kNoType;
    bool function = false;
    Attributes attributes;
    unsigned line = 0;
};

/// Takes a declarator of something made of `type`: pointers, arrays and functions, which are all that one can be of.
Declarator declare(Cursor& cursor, Scope& scope, TypeId type);

} // namespace Norvu::Types::Grammar
