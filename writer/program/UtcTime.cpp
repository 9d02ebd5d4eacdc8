#include "writer/program/UtcTime.h"

#include <charconv>

namespace Halyx::Writer {

namespace {

constexpr std::int64_t kDay = 86400;

/// Takes `width` digits and the character behind them off the text.
bool take(std::string_view& text, std::size_t width, char behind, std::int64_t least, std::int64_t most,
          std::int64_t& number) {
    if (text.size() < width + 1 || text[0] < '0' || text[0] > '9' || text[width] != behind) {
        return false;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + width, number);
    text.remove_prefix(width + 1);
    return error == std::errc{} && end + 1 == text.data() && number >= least && number <= most;
}

bool isLeap(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

std::int64_t floorDiv(std::int64_t number, std::int64_t by) {
    return number / by - (number % by < 0 ? 1 : 0);
}

/// Days from 1970-01-01 to the first of March of `year`.
std::int64_t daysToMarch(std::int64_t year) {
    return 365 * year + floorDiv(year, 4) - floorDiv(year, 100) + floorDiv(year, 400) - 719468;
}

} // namespace

std::optional<std::int64_t> UtcTime::signedSeconds() const {
    // Before 1970 counted back from the day's end: the first second that can be counted is within a day.
    const std::int64_t back = days < 0 ? 1 : 0;
    std::int64_t seconds = 0;
    if (__builtin_mul_overflow(days + back, kDay, &seconds) ||
        __builtin_add_overflow(seconds, second - kDay * back, &seconds)) {
        return std::nullopt;
    }
    return seconds;
}

std::optional<std::uint64_t> UtcTime::unsignedSeconds() const {
    std::uint64_t seconds = 0;
    if (days < 0 || __builtin_mul_overflow(static_cast<std::uint64_t>(days), std::uint64_t{kDay}, &seconds) ||
        __builtin_add_overflow(seconds, static_cast<std::uint64_t>(second), &seconds)) {
        return std::nullopt;
    }
    return seconds;
}

std::optional<UtcTime> parseUtcTime(std::string_view text) {
    const bool negative = !text.empty() && text[0] == '-';
    text.remove_prefix(negative ? 1 : 0);
    constexpr std::int64_t mostYears = 600000000000; // more than 64 bits of seconds have
    const std::size_t yearDigits = text.find('-');
    std::int64_t year = 0;
    std::int64_t month = 0;
    std::int64_t day = 0;
    std::int64_t hour = 0;
    std::int64_t minute = 0;
    std::int64_t second = 0;
    if (yearDigits == std::string_view::npos || yearDigits < 4 || !take(text, yearDigits, '-', 0, mostYears, year) ||
        !take(text, 2, '-', 1, 12, month) || !take(text, 2, 'T', 1, 31, day) || !take(text, 2, ':', 0, 23, hour) ||
        !take(text, 2, ':', 0, 59, minute) || !take(text, 2, 'Z', 0, 59, second) || !text.empty()) {
        return std::nullopt;
    }
    year = negative ? -year : year;
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (day > kDays[month - 1] + (month == 2 && isLeap(year) ? 1 : 0)) {
        return std::nullopt;
    }
    // Months counted from March, so that the leap day is a year's last.
    const std::int64_t months = month > 2 ? month - 3 : month + 9;
    const std::int64_t days = daysToMarch(month > 2 ? year : year - 1) + (153 * months + 2) / 5 + day - 1;
    return UtcTime{days, 3600 * hour + 60 * minute + second};
}

} // namespace Halyx::Writer
