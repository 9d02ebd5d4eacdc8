#pragma once

#include "fixtures/Bytes.h"

#include <cstdint>
#include <string>

namespace Hostile {

/// One file of a collection as somebody who may only read sees it.
class FileView {
public:
    enum class State {
        Missing,
        Irregular, ///< a FIFO, a device, a link, ...
        Closed,    ///< a regular file that this user may not read
        Regular,
    };

    /// `unprivileged`: seen by a user without rights of root's.
    FileView(std::string path, bool unprivileged);

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] State state() const { return state_; }
    /// Whether it is a regular file with at least one byte that this user may read.
    [[nodiscard]] bool attaches() const { return state_ == State::Regular && size_ > 0; }
    /// Whether a status call that follows links finds something.
    [[nodiscard]] bool found() const { return found_; }
    [[nodiscard]] bool isDirectory() const { return directory_; }
    [[nodiscard]] std::uint64_t size() const { return size_; }
    /// The size as the tool keeps it, 32 bits wide.
    [[nodiscard]] std::uint64_t shownSize() const { return size_ > 0xffffffff ? 0xffffffff : size_; }
    /// Bytes that are no holes, at most.
    [[nodiscard]] std::uint64_t held() const { return held_; }

    /// The beginning of the file: all of it but holes, for the files that these tests make.
    [[nodiscard]] const std::string& bytes() const { return bytes_; }
    template <typename T>
    [[nodiscard]] T at(std::uint64_t offset) const {
        return Fixtures::fromBytes<T>(bytes_, static_cast<std::size_t>(offset));
    }
    [[nodiscard]] std::string part(std::uint64_t offset, std::uint64_t size) const;
    /// For the checks of a header, which know a file by its bytes: the same file with a length that a string can have.
    [[nodiscard]] bool huge() const { return size_ > bytes_.size(); }

private:
    std::string path_;
    State state_ = State::Missing;
    bool found_ = false;
    bool directory_ = false;
    std::uint64_t size_ = 0;
    std::uint64_t held_ = 0;
    std::string bytes_;
};

/// Whether a user may use the directory for that: mode bit 1 to enter it, 4 to list it.
bool allows(const std::string& directory, unsigned bit, bool unprivileged);

} // namespace Hostile
