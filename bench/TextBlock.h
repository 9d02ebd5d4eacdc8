#pragma once

#include "Process.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace Bench {

/// Gathers text in a plain block that is written with write(2) whenever it is full. Nothing checks that a line fits into the
/// room behind the block: the bare loops' lines do.
class TextBlock {
public:
    explicit TextBlock(int out) : out_(out), block_(kBlock + kRoom), end_(block_.data()) {
        for (unsigned i = 0; i < 256; ++i) {
            pairs_[i][0] = kDigits[i >> 4];
            pairs_[i][1] = kDigits[i & 15];
        }
    }

    void add(std::string_view text) {
        std::memcpy(end_, text.data(), text.size());
        end_ += text.size();
    }
    void addHex(std::uint32_t value) {
        const unsigned digits = value == 0 ? 1 : (35U - static_cast<unsigned>(std::countl_zero(value))) / 4;
        for (unsigned i = digits; i-- != 0; value >>= 4) {
            end_[i] = kDigits[value & 15U];
        }
        end_ += digits;
    }
    void addBytes(const unsigned char* bytes, std::uint32_t size) {
        for (std::uint32_t i = 0; i < size; ++i, end_ += 2) {
            std::memcpy(end_, pairs_[bytes[i]], 2);
        }
    }

    /// Where the text ends, and back to such a place: what was added since is forgotten.
    [[nodiscard]] char* mark() const { return end_; }
    void rewind(char* mark) { end_ = mark; }

    /// Called after each line.
    void endOfLine() {
        if (end_ - block_.data() >= kBlock) {
            drain();
        }
    }
    void drain() {
        for (const char* from = block_.data(); from != end_;) {
            const ssize_t written = ::write(out_, from, static_cast<std::size_t>(end_ - from));
            if (written < 0) {
                failSystem("write");
            }
            from += written;
        }
        end_ = block_.data();
    }

private:
    static constexpr std::ptrdiff_t kBlock = 64 << 10;
    static constexpr std::ptrdiff_t kRoom = 64 << 10;
    static constexpr char kDigits[] = "0123456789abcdef";

    int out_;
    std::vector<char> block_;
    char* end_;
    char pairs_[256][2];
};

} // namespace Bench
