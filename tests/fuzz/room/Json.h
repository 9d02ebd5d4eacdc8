#pragma once

#include <string_view>

namespace Fuzz {

/// Whether a text is one JSON value, and all of it ASCII.
bool isJson(std::string_view text);

} // namespace Fuzz
