#pragma once

#include "Norvu/Types/Lexer.h"
#include "Norvu/Types/Model.h"

#include <optional>
#include <string>

// What comments say: where tools have found a member to be, and how a programmer wants it shown.

namespace Norvu::Types::Grammar {

/// "8 4" and "0: 0 4" as pahole writes them; "8 | 4" and "16: 0 | 4" as gdb does.
std::optional<Claim> claimIn(const Token& comment);

/// "size: 16, cachelines: 1, members: 2" and "total size:   24 bytes", in later releases of gdb "total size (bytes):   24".
std::optional<Claim> sizeClaimIn(const Token& comment);

/// The name of a base class: "class Base <ancestor>;", as pahole writes it.
std::optional<std::string> ancestorIn(const Token& comment);

/// Fills in what a comment made of nothing but annotations asks for.
void addNotes(const Token& comment, Notes& notes);

} // namespace Norvu::Types::Grammar
