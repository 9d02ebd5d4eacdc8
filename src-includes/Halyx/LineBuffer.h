#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
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

    [[gnu::noinline]] void grow(std::size_t size) {
        // With 32 bits, the values of one chain can come to more than there are addresses.
        if (size > text_.max_size() - used_) {
            throw std::length_error("Halyx::LineBuffer::grow() a line of " + std::to_string(used_) +
                                    " bytes has no room for: " + std::to_string(size));
        }
        text_.resize(used_ + size);
        text_.resize(text_.capacity()); // which the vector makes larger by a factor: a long line is not copied often
    }

    std::vector<char> text_;
    std::size_t used_ = 0;
};

} // namespace Halyx
