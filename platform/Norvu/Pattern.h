#pragma once

#include <string>

namespace Norvu::Util {

/// Whether the shell pattern matches all of `text`; `*` and `?` also match "/" and a leading ".".
bool matchesPattern(const std::string& pattern, const std::string& text);

/// A pattern that matches `text` and nothing else.
std::string literalPattern(const std::string& text);

} // namespace Norvu::Util
