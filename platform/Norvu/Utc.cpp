#include "Norvu/Utc.h"

#include <charconv>
#include <string_view>

namespace Norvu {

void appendUtc(std::string& out, std::int64_t days, std::int64_t secondsOfDay) {
    // Days are counted from March 1st of the year 0, in eras of 400 years.
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t ofEra = days - era * 146097;
    const std::int64_t yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const std::int64_t ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shifted = (5 * ofYear + 2) / 153;
    const std::int64_t month = shifted < 10 ? shifted + 3 : shifted - 9;
    const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    const auto put = [&](std::int64_t number, std::size_t width) {
        char digits[24];
        const std::string_view text(
            digits, static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
        out.append(width > text.size() ? width - text.size() : 0, '0');
        out += text;
    };
    if (year < 0) {
        out += '-';
    }
    put(year < 0 ? -year : year, 4);
    out += '-';
    put(month, 2);
    out += '-';
    put(ofYear - (153 * shifted + 2) / 5 + 1, 2);
    out += 'T';
    put(secondsOfDay / 3600, 2);
    out += ':';
    put(secondsOfDay / 60 % 60, 2);
    out += ':';
    put(secondsOfDay % 60, 2);
}

} // namespace Norvu
