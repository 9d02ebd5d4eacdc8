#include "Norvu/LineFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Norvu {

namespace {

constexpr std::size_t kPiece = 128 * 1024;

/// The text before the first of the words in it, or before another on that word's line; all of it when it holds none.
std::string_view before(std::span<const std::string_view> words, std::string_view text) {
    std::string_view head = text;
    for (const std::string_view word : words) {
        // A word that reaches behind the head begins on the line that the head ends on: nothing is lost by overlooking it.
        head = head.substr(0, head.find(word));
    }
    return head;
}

bool holds(std::string_view text, std::span<const std::string_view> words) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return text.find(word) != std::string_view::npos; });
}

} // namespace

LineFile::LineFile() : buffer_(kPiece) {}

LineFile::~LineFile() {
    close();
}

void LineFile::close() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
        descriptor_ = -1;
    }
    begin_ = end_ = seen_ = 0;
    ended_ = true;
}

bool LineFile::open(const std::string& path) {
    close();
    error_ = 0;
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    ended_ = descriptor_ < 0;
    return descriptor_ >= 0;
}

/// Reads on behind what there is; false when there is no more.
bool LineFile::fill() {
    if (begin_ != 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        seen_ -= begin_;
        begin_ = 0;
    }
    if (end_ == buffer_.size()) {
        buffer_.resize(2 * buffer_.size()); // a line that is longer than all before
    }
    ssize_t got = 0;
    do {
        got = ::read(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) {
        ended_ = true;
        error_ = got < 0 ? errno : 0;
        return false;
    }
    end_ += static_cast<std::size_t>(got);
    searched_ = false;
    return true;
}

bool LineFile::next(std::string_view& line) {
    for (;;) {
        const char* const from = buffer_.data() + seen_;
        if (const void* const at = std::memchr(from, '\n', end_ - seen_)) {
            const auto length = static_cast<std::size_t>(static_cast<const char*>(at) - (buffer_.data() + begin_));
            line = {buffer_.data() + begin_, length};
            begin_ += length + 1;
            seen_ = begin_;
            return true;
        }
        seen_ = end_;
        if (ended_ || !fill()) {
            // The last line may lack its end.
            line = {buffer_.data() + begin_, end_ - begin_};
            begin_ = seen_ = end_;
            return !line.empty() && error_ == 0;
        }
    }
}

/// Goes on to the line of the first of the words among what has been read, or to the last line when there is none.
void LineFile::skipWithout(std::span<const std::string_view> words) {
    begin_ += before(words, {buffer_.data() + begin_, end_ - begin_}).rfind('\n') + 1;
    seen_ = std::max(seen_, begin_);
    searched_ = true;
}

bool LineFile::nextWith(std::span<const std::string_view> words, std::string_view& line) {
    do {
        // Once a piece: with a word in every line, each line would search the rest of the piece for the others.
        if (!searched_) {
            skipWithout(words);
        }
        if (!next(line)) {
            return false;
        }
    } while (!holds(line, words));
    return true;
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

long readLink(const std::string& path, std::string& buffer) {
    return ::readlink(path.c_str(), buffer.data(), buffer.size());
}

} // namespace Norvu
