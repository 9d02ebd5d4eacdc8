#pragma once

#include <cstdint>
#include <string>

namespace Norvu {

/// Appends the time that is `secondsOfDay` after the beginning of a day, counted from 1970-01-01, as 2026-01-31T23:59:59. The C
/// library's own functions do not serve: they look at TZ, and open the file that it names.
void appendUtc(std::string& out, std::int64_t days, std::int64_t secondsOfDay);

} // namespace Norvu
