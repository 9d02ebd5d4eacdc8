#pragma once

#include "Norvu/Types/Grammar/Cursor.h"

#include <string>
#include <string_view>

namespace Norvu::Types::Grammar {

/// A word that may stand among those of a type and changes nothing of its layout.
bool isQualifier(std::string_view word);

/// Takes a name of a type, template arguments included: std::pair<int, long>.
std::string typeName(Cursor& cursor);

/// Takes a member's name; pahole's for a table of virtual functions has a dot: _vptr.Base.
std::string memberName(Cursor& cursor);

/// Skips template arguments or parameters, if there are any.
void skipAngles(Cursor& cursor);

} // namespace Norvu::Types::Grammar
