#include "soak/WalkText.h"

#include "fixtures/Take.h"

namespace Soak {

namespace {

using Fixtures::take;
using Fixtures::takeNumber;

bool isStatistic(std::string_view line, std::string_view label, long long& number) {
    return take(line, label) && takeNumber(line, number, 10) && line.empty();
}

std::string shortened(std::string_view line) {
    constexpr std::size_t most = 2000;
    return line.size() <= most
               ? std::string(line)
               : std::string(line.substr(0, most / 2)) + " [...] " + std::string(line.substr(line.size() - most / 2));
}

} // namespace

bool WalkText::parseBucket(std::string_view line, std::size_t at, Style style, bool dynamic) {
    const std::string_view whole = line;
    std::uint32_t bucket = 0;
    if (!take(line, "bucket[") || !takeNumber(line, bucket, 16) || !take(line, "]")) {
        return false;
    }
    lines.push_back({bucket, false});
    for (;;) {
        std::string_view rest = line;
        take(rest, " -->");
        if (take(rest, " [corrupted] ")) {
            corruptions.push_back(shortened(whole));
            lines.back().broken = true;
            return true;
        }
        std::uint32_t slot = 0;
        if (!take(line, " ") || !takeNumber(line, slot, 16)) {
            break;
        }
        if (take(line, " --> none")) {
            if (!line.empty() || slot != 0x7fffffffU) {
                break;
            }
            return true;
        }
        if (!take(line, "-->")) {
            break;
        }
        Element element;
        element.bucket = bucket;
        element.slot = slot;
        element.lookaside = take(line, "*");
        element.at = at + static_cast<std::size_t>(line.data() - whole.data());
        if (!readHead(line, style, dynamic, element.key, element.version)) {
            break;
        }
        expected_.clear();
        appendText(expected_, style, element.key, element.version, dynamic);
        element.torn = line.substr(0, expected_.size()) != expected_;
        elements.push_back(element);
        if (line.size() <= expected_.size() || line[expected_.size()] != ' ') {
            elements.back().torn = true;
            lines.back().broken = true;
            return true;
        }
        line.remove_prefix(expected_.size());
    }
    lines.back().broken = true;
    return false;
}

void WalkText::parse(std::string_view text, Style style, bool dynamic) {
    elements.clear();
    abandoned.clear();
    lines.clear();
    corruptions.clear();
    strange.clear();
    resizes = 0;
    lookasideHits = chainRestarts = -1;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = text.substr(at, end - at);
        if (line == "Resize detected, restarting from beginning") {
            ++resizes;
            abandoned.insert(abandoned.end(), elements.begin(), elements.end());
            elements.clear();
            lines.clear();
        } else if (!isStatistic(line, "Lookaside hits: ", lookasideHits) &&
                   !isStatistic(line, "Chain restarts: ", chainRestarts) &&
                   (!parseBucket(line, at, style, dynamic) || end == text.size())) {
            strange.push_back(shortened(line));
        }
        at = end + 1;
    }
}

} // namespace Soak
