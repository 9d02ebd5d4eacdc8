#pragma once

#include <string>
#include <string_view>

namespace Norvu {

/// Appends `text` in double quotes for a terminal: bytes outside 0x20 to 0x7e as "\x" and two digits, `"` and `\` escaped.
void appendQuoted(std::string& out, std::string_view text);

/// Appends `text` as a JSON string of ASCII only: what is not printable ASCII becomes \uXXXX, a pair of them past U+FFFF, and
/// a byte that is not valid UTF-8 becomes \ufffd.
void appendJsonString(std::string& out, std::string_view text);

} // namespace Norvu
