#pragma once

#include "Norvu/Types/Grammar/Attributes.h"
#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Scope.h"

#include <cstddef>
#include <optional>

namespace Norvu::Types::Grammar {

class Specifiers;

/// One item of a structure's body after the other. What takes no room in a value, functions and statics and access labels, is
/// skipped. Borrows all that it works on.
class Members {
public:
    Members(Cursor& cursor, Scope& scope, Specifiers& specifiers)
        : cursor_(cursor), scope_(scope), specifiers_(specifiers) {}
    Members(const Members&) = delete;
    Members& operator=(const Members&) = delete;

    /// Takes one item and appends the members that it declares to those of `made`; `leading` is what a comment in front says.
    void read(Type& made, const std::optional<Claim>& leading);

private:
    bool isSkipped();
    bool isConstructorOf(const Type& made, TypeId type) const;
    bool declareMember(TypeId type, const Attributes& attributes, Member& member);
    void expandedAncestor(Type& made, TypeId type);
    void trailing(Type& made, std::size_t firstMember);

    Cursor& cursor_;
    Scope& scope_;
    Specifiers& specifiers_;
};

} // namespace Norvu::Types::Grammar
