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

constexpr char kMarks[] = {Expectation::kAnything, Expectation::kCorrupted, Expectation::kValue, Expectation::kNumber};
constexpr std::string_view kArrow = "-->";

/// Cuts off what a mark in the middle of a line stands for; false when it does not begin the rest of the line.
bool takeMarked(char mark, std::string_view behind, std::string_view& line, bool cut) {
    if (mark == Expectation::kNumber) {
        const std::size_t digits = std::min(line.find_first_not_of("0123456789"), line.size());
        line.remove_prefix(digits);
        return digits > 0 || (cut && line.empty());
    }
    const std::size_t arrow = line.find(kArrow);
    if (arrow == std::string_view::npos) {
        line.remove_prefix(line.size());
        return cut;
    }
    // Up to where the text behind it must begin for its arrow to lie where the line has its next one.
    const std::size_t before = behind.find(kArrow);
    if (before == std::string_view::npos || before > arrow) {
        return false;
    }
    line.remove_prefix(arrow - before);
    return true;
}

bool lineMatches(std::string_view expected, std::string_view line, bool cut) {
    for (;;) {
        const std::size_t mark = std::min(expected.find_first_of({kMarks, sizeof kMarks}), expected.size());
        if (cut && line.size() <= mark) {
            return expected.substr(0, line.size()) == line;
        }
        if (line.substr(0, mark) != expected.substr(0, mark)) {
            return false;
        }
        line.remove_prefix(mark);
        if (mark == expected.size()) {
            return line.empty();
        }
        const char kind = expected[mark];
        if (kind == Expectation::kAnything || kind == Expectation::kCorrupted) {
            constexpr std::string_view corrupted = " [corrupted] ";
            const std::size_t found = line.find(corrupted);
            return cut || (!line.empty() && line.back() == '\n' &&
                           (kind == Expectation::kAnything ||
                            (found != std::string_view::npos && found + corrupted.size() + 1 < line.size())));
        }
        expected.remove_prefix(mark + 1);
        if (!takeMarked(kind, expected, line, cut)) {
            return false;
        }
    }
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
        if (wantedLine == std::string_view(&Expectation::kLines, 1)) {
            return {};
        }
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
