#include "hostile/FileView.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Hostile {

namespace {

constexpr std::uint64_t kMost = std::uint64_t{8} << 20;

bool modeAllows(unsigned mode, unsigned bit, bool unprivileged) {
    if (::geteuid() != 0) {
        return (mode & bit << 6) != 0;
    }
    return !unprivileged || (mode & bit) != 0;
}

} // namespace

bool allows(const std::string& directory, unsigned bit, bool unprivileged) {
    struct stat status {};
    return ::stat(directory.c_str(), &status) == 0 && modeAllows(status.st_mode, bit, unprivileged);
}

FileView::FileView(std::string path, bool unprivileged) : path_(std::move(path)) {
    struct stat status {};
    if (!allows(path_.substr(0, path_.rfind('/')), 1, unprivileged) || ::lstat(path_.c_str(), &status) != 0) {
        return;
    }
    struct stat behind {};
    found_ = ::stat(path_.c_str(), &behind) == 0;
    directory_ = S_ISDIR(status.st_mode);
    if (!S_ISREG(status.st_mode)) {
        state_ = State::Irregular;
        return;
    }
    size_ = static_cast<std::uint64_t>(status.st_size);
    held_ = std::min(size_, static_cast<std::uint64_t>(status.st_blocks) * 512);
    state_ = modeAllows(status.st_mode, 4, unprivileged) ? State::Regular : State::Closed;
    const int file = state_ == State::Regular ? ::open(path_.c_str(), O_RDONLY | O_CLOEXEC) : -1;
    if (file >= 0) {
        // Where a file is sparse, its bytes are at its beginning.
        bytes_.resize(static_cast<std::size_t>(std::min(size_, size_ > kMost ? std::uint64_t{65536} : kMost)));
        const ssize_t got = ::read(file, bytes_.data(), bytes_.size());
        bytes_.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        ::close(file);
    }
}

std::string FileView::part(std::uint64_t offset, std::uint64_t size) const {
    std::string bytes = offset < bytes_.size()
                            ? bytes_.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(size))
                            : std::string();
    bytes.resize(static_cast<std::size_t>(size), '\0');
    return bytes;
}

} // namespace Hostile
