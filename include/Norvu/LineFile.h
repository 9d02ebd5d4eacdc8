#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Norvu {

/// The lines of one file after another, read in large pieces; a line is whole however long it is. Lines are looked at in the
/// buffer, which is kept from file to file: neither a line nor a file costs an allocation. Owns the descriptor.
class LineFile {
public:
    LineFile();
    ~LineFile();
    LineFile(const LineFile&) = delete;
    LineFile& operator=(const LineFile&) = delete;

    /// Opens `path` in place of what was open; false when it cannot be opened.
    bool open(const std::string& path);

    /// The next line without its end; false at the end of the file, and when it cannot be read on. Valid until the next call.
    bool next(std::string_view& line);

    /// Like next(), but skips the lines that hold none of `words`, most of them without looking where each ends.
    bool nextWith(std::span<const std::string_view> words, std::string_view& line);

    /// Why the last file could not be read to its end: an errno; 0 when it could.
    [[nodiscard]] int error() const { return error_; }

    void close();

private:
    bool fill();
    void skipWithout(std::span<const std::string_view> words);

    int descriptor_ = -1;
    std::vector<char> buffer_;
    std::size_t begin_ = 0; ///< of the next line
    std::size_t end_ = 0;   ///< of what has been read
    std::size_t seen_ = 0;  ///< no line ends between begin_ and here
    bool searched_ = false; ///< what has been read was searched for words as a whole
    bool ended_ = true;
    int error_ = 0;
};

/// Whether there is something at `path`.
bool exists(const std::string& path);

/// Reads where the symbolic link at `path` leads into `buffer`, as far as that is long. The number of bytes; negative when it
/// cannot be read.
long readLink(const std::string& path, std::string& buffer);

} // namespace Norvu
