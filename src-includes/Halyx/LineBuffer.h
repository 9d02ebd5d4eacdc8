#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

namespace Halyx {

/// A line of text while it is put together. Room is made once for a piece of known size, which is then written in place:
/// no call and no check for each part of it. The memory is kept from line to line.
class LineBuffer {
public:
    LineBuffer() : text_(kFirst) {}

    [[nodiscard]] bool empty() const { return used_ == 0; }
    [[nodiscard]] std::string_view text() const { return {text_.data(), used_}; }

    /// Where the next piece goes, with room for `size` bytes. Valid until the next call.
    char* room(std::size_t size) {
        if (text_.size() - used_ < size) [[unlikely]] {
            grow(size);
        }
        return text_.data() + used_;
    }
    /// The piece that was asked room for ends before `end`.
    void take(const char* end) { used_ = static_cast<std::size_t>(end - text_.data()); }

    void append(std::string_view text) {
        char* const at = room(text.size());
        std::memcpy(at, text.data(), text.size());
        take(at + text.size());
    }

    /// Empties the line. A buffer that one long line has blown up is not kept for the rest of the walk.
    void clear() {
        used_ = 0;
        if (text_.size() > kMostKept) [[unlikely]] {
            text_ = std::vector<char>(kFirst);
        }
    }

    /// The most bytes that are kept for the next line.
    static constexpr std::size_t kMostKept = 1U << 20;

private:
    static constexpr std::size_t kFirst = 4096;

    void grow(std::size_t size) { text_.resize(2 * text_.size() + size); }

    std::vector<char> text_;
    std::size_t used_ = 0;
};

} // namespace Halyx
