#include "Norvu/Types/Grammar/Comments.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace Norvu::Types::Grammar {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n*";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

/// Reads a decimal number at the head of `text` and takes it away, with the blanks around it.
std::optional<std::uint32_t> takeNumber(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end == text.data()) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return number;
}

bool take(std::string_view& text, std::string_view what) {
    if (text.substr(0, what.size()) != what) {
        return false;
    }
    text.remove_prefix(what.size());
    return true;
}

} // namespace

std::optional<Claim> claimIn(const Token& comment) {
    std::string_view text = trimmed(comment.text);
    Claim claim;
    claim.line = comment.line;
    const auto offset = takeNumber(text);
    if (!offset) {
        return std::nullopt;
    }
    claim.offset = *offset;
    if (take(text, ":")) {
        const auto bit = takeNumber(text);
        if (!bit) {
            return std::nullopt;
        }
        claim.bit = *bit;
    }
    take(text, "|");
    claim.size = takeNumber(text);
    if (!claim.size || !text.empty()) {
        return std::nullopt;
    }
    return claim;
}

std::optional<Claim> sizeClaimIn(const Token& comment) {
    std::string_view text = trimmed(comment.text);
    take(text, "total ");
    if (!take(text, "size:") && !take(text, "size (bytes):")) {
        return std::nullopt;
    }
    Claim claim;
    claim.line = comment.line;
    claim.size = takeNumber(text);
    return claim.size && (text.empty() || text[0] == ',' || take(text, "bytes")) ? std::optional(claim) : std::nullopt;
}

std::optional<std::string> ancestorIn(const Token& comment) {
    std::string_view text = trimmed(comment.text);
    const std::size_t mark = text.find("<ancestor>");
    if (mark == std::string_view::npos) {
        return std::nullopt;
    }
    text = text.substr(0, mark);
    take(text, "class ");
    take(text, "struct ");
    return std::string(trimmed(text.substr(0, text.find('{'))));
}

void addNotes(const Token& comment, Notes& notes) {
    Notes found = notes;
    std::string_view text = trimmed(comment.text);
    while (!text.empty()) {
        const std::size_t length = std::min(text.find_first_of(" \t\r\n,"), text.size());
        const std::string_view word = text.substr(0, length);
        bool Notes::*const note = word == "ipv4"     ? &Notes::ipv4
                                  : word == "ipv6"   ? &Notes::ipv6
                                  : word == "mac"    ? &Notes::mac
                                  : word == "hex"    ? &Notes::hex
                                  : word == "time"   ? &Notes::time
                                  : word == "string" ? &Notes::string
                                  : word == "be"     ? &Notes::bigEndian
                                                     : nullptr;
        if (note == nullptr) {
            return;
        }
        found.*note = true;
        text.remove_prefix(length);
        text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n,"), text.size()));
    }
    notes = found;
}

} // namespace Norvu::Types::Grammar
