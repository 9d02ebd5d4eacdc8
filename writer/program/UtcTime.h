#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Halyx::Writer {

/// Seconds since 1970 of a time written as 2026-01-31T23:59:59Z; nothing when the text is no such time, or one that 64 bits
/// cannot count. Years have four digits or more and may be negative.
std::optional<std::int64_t> parseUtcTime(std::string_view text);

} // namespace Halyx::Writer
