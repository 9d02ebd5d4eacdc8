#include "hostile/Expectation.h"

#include <algorithm>
#include <string_view>

namespace Hostile {

namespace {

/// Cuts the next line off, its line end included.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end == std::string_view::npos ? end : end + 1);
    text.remove_prefix(line.size());
    return line;
}

bool lineMatches(std::string_view expected, std::string_view line, bool cut) {
    const std::size_t mark = expected.find_first_of(std::string_view("\x01\x02"));
    if (cut && line.size() <= std::min(mark, expected.size())) {
        return expected.substr(0, line.size()) == line;
    }
    if (mark == std::string_view::npos) {
        return expected == line;
    }
    if (cut) {
        return line.substr(0, mark) == expected.substr(0, mark);
    }
    if (line.substr(0, mark) != expected.substr(0, mark) || line.empty() || line.back() != '\n') {
        return false;
    }
    constexpr std::string_view corrupted = " [corrupted] ";
    const std::size_t found = line.find(corrupted);
    return expected[mark] == Expectation::kAnything ||
           (found != std::string_view::npos && found + corrupted.size() + 1 < line.size());
}

/// Short enough for a message, control bytes shown.
std::string shown(std::string_view line) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const char c : line.substr(0, 400)) {
        if (c >= ' ' && c <= '~') {
            text += c;
        } else {
            text += "\\x";
            text += digits[static_cast<unsigned char>(c) >> 4];
            text += digits[static_cast<unsigned char>(c) & 15];
        }
    }
    return text + (line.size() > 400 ? " [...]" : "");
}

} // namespace

std::string difference(const std::string& expected, const std::string& text, bool cut) {
    std::string_view wanted = expected;
    std::string_view found = text;
    for (unsigned number = 1; !wanted.empty() || !found.empty(); ++number) {
        const bool last = cut && found.find('\n') == std::string_view::npos;
        const std::string_view wantedLine = takeLine(wanted);
        const std::string_view foundLine = takeLine(found);
        if (wantedLine.empty() || !lineMatches(wantedLine, foundLine, last)) {
            return "line " + std::to_string(number) + "\n      wanted: " + shown(wantedLine) +
                   "\n      found:  " + shown(foundLine);
        }
        if (last) {
            return {};
        }
    }
    return cut ? "line behind the last\n      wanted: \n      found: more than is kept" : "";
}

} // namespace Hostile
