#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Halyx::Writer {

/// A time in whole days since 1970, and the seconds of the day.
struct UtcTime {
    std::int64_t days;
    std::int64_t second;

    /// Seconds since 1970; nothing when 64 bits, with or without a sign, do not count so far.
    [[nodiscard]] std::optional<std::int64_t> signedSeconds() const;
    [[nodiscard]] std::optional<std::uint64_t> unsignedSeconds() const;
};

/// A time written as 2026-01-31T23:59:59Z; nothing when the text is no such time, or no 64 bits could count so far. Years have four
/// digits or more and may be negative.
std::optional<UtcTime> parseUtcTime(std::string_view text);

} // namespace Halyx::Writer
