#pragma once

#include "Norvu/Types/Grammar/Attributes.h"
#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Scope.h"
#include "Norvu/Types/Grammar/Structures.h"

#include <string_view>

namespace Norvu::Types::Grammar {

/// The type that a declaration begins with: words, a name, or a structure or enumeration, which may be defined on the spot. For
/// that it owns the reader of structures, which asks it for the members' types in turn; the cursor's depth bounds the two.
/// Borrows the cursor and the scope.
class Specifiers {
public:
    Specifiers(Cursor& cursor, Scope& scope) : cursor_(cursor), scope_(scope), structures_(cursor, scope, *this) {}
    Specifiers(const Specifiers&) = delete;
    Specifiers& operator=(const Specifiers&) = delete;

    /// Takes them, and adds what the attributes between them ask for.
    TypeId read(Attributes& attributes);
    /// Takes a name of a type.
    TypeId byName();

private:
    TypeId tagged();
    void enumerationOf(TypeId id, const Attributes& attributes);

    Cursor& cursor_;
    Scope& scope_;
    Structures structures_;
};

} // namespace Norvu::Types::Grammar
