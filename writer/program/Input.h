#pragma once

#include "writer/CollectionDirectory.h"

#include <array>
#include <cstddef>
#include <exception>
#include <string>

namespace Halyx::Writer {

class Stop;

/// What is wrong with the line of input that is being read.
class BadLine : public std::exception {
public:
    explicit BadLine(std::string reason) : reason_(std::move(reason)) {}
    [[nodiscard]] const char* what() const noexcept override { return reason_.c_str(); }

private:
    std::string reason_;
};

/// The bytes of a file or of standard input, with the number of the line that they are in. Borrows the stop, which ends the
/// waiting for slow input.
class Input {
public:
    static constexpr int kEnd = -1;
    /// Bytes of one record; a longer one is an error, so that no input takes all memory.
    static constexpr std::size_t kMostRecordBytes = 64U << 20;

    /// `path` empty: standard input. Throws as throwSystemError does.
    Input(const std::string& path, const Stop& stop);

    /// The next byte, or kEnd. Throws as throwSystemError does, and Norvu::RuntimeException when a stop is requested.
    int get() {
        const int byte = peek();
        if (byte != kEnd) {
            ++next_;
            line_ += byte == '\n' ? 1 : 0;
        }
        return byte;
    }
    int peek() { return next_ < end_ || fill() ? static_cast<unsigned char>(buffer_[next_]) : kEnd; }

    /// The number of the line that the next byte is in, from 1.
    [[nodiscard]] std::size_t line() const { return line_; }
    /// For messages: the path, or "standard input".
    [[nodiscard]] const std::string& name() const { return name_; }

private:
    bool fill();

    std::string name_;
    Descriptor file_;
    int descriptor_ = 0;
    const Stop* stop_;
    std::array<char, 65536> buffer_;
    std::size_t next_ = 0;
    std::size_t end_ = 0;
    std::size_t line_ = 1;
};

} // namespace Halyx::Writer
