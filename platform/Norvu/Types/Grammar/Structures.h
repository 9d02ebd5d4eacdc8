#pragma once

#include "Norvu/Types/Grammar/Attributes.h"
#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Members.h"
#include "Norvu/Types/Grammar/Scope.h"

#include <optional>
#include <vector>

namespace Norvu::Types::Grammar {

class Specifiers;

/// Bodies of structures and unions: the base classes, what comments say on the way, and the members, of which it owns the reader.
/// Borrows the rest.
class Structures {
public:
    Structures(Cursor& cursor, Scope& scope, Specifiers& specifiers)
        : cursor_(cursor), scope_(scope), specifiers_(specifiers), members_(cursor, scope, specifiers) {}
    Structures(const Structures&) = delete;
    Structures& operator=(const Structures&) = delete;

    /// Completes `id` from what comes behind its name; `attributes` are those in front of its body.
    void read(TypeId id, Kind kind, Attributes attributes);

private:
    std::vector<Member> baseClasses();
    bool atBodyEnd(Type& made, bool& saidAncestors);
    bool ancestor(const Token& comment, Type& made);

    Cursor& cursor_;
    Scope& scope_;
    Specifiers& specifiers_;
    Members members_;
    std::optional<Claim> leading_; ///< said in front of the next member
};

} // namespace Norvu::Types::Grammar
