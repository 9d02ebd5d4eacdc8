#include "writer/FileMapping.h"

#include "Mem/Remap.h"
#include "writer/Errors.h"

#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Halyx::Writer {

FileMapping::FileMapping(int directory, const std::string& name, std::string shownAs, std::uint64_t size, mode_t mode)
    : shownAs_(std::move(shownAs)) {
    descriptor_ = ::openat(directory, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
    if (descriptor_ < 0) {
        throwSystemError("cannot make " + shownAs_, errno);
    }
    try {
        // Again, since the process's mask has had its say in the mode.
        if (::fchmod(descriptor_, mode) != 0) {
            throwSystemError("cannot set the mode of " + shownAs_, errno);
        }
        allocate(0, size);
        base_ = ::mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
        if (base_ == MAP_FAILED) {
            base_ = nullptr;
            throwSystemError("cannot map " + shownAs_, errno);
        }
    } catch (...) {
        ::close(descriptor_);
        ::unlinkat(directory, name.c_str(), 0);
        throw;
    }
    view_ = {base_, static_cast<std::size_t>(size), shownAs_};
}

FileMapping::~FileMapping() {
    if (base_ != nullptr) {
        ::munmap(base_, view_.size());
    }
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

void FileMapping::grow(std::uint64_t size) {
    if (size <= view_.size()) {
        return;
    }
    allocate(view_.size(), size);
    void* base = Mem::remap(base_, view_.size(), static_cast<std::size_t>(size));
    if (base == MAP_FAILED) {
        throwSystemError("cannot map " + std::to_string(size) + " bytes of " + shownAs_, errno);
    }
    base_ = base;
    view_ = {base_, static_cast<std::size_t>(size), shownAs_};
}

void FileMapping::allocate(std::uint64_t from, std::uint64_t to) const {
    const std::string what = "cannot extend " + shownAs_ + " to " + std::to_string(to) + " bytes";
    if (to > kMostBytes || to > std::numeric_limits<std::size_t>::max()) {
        throwSystemError(what, EFBIG);
    }
    // Asked beforehand: the system's own answer to a file past its limit is a signal.
    struct rlimit limit {};
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && to > limit.rlim_cur) {
        throwSystemError(what, EFBIG);
    }
    int error = 0;
    do {
        error = ::posix_fallocate(descriptor_, static_cast<off_t>(from), static_cast<off_t>(to - from));
    } while (error == EINTR);
    if (error != 0) {
        throwSystemError(what, error);
    }
}

} // namespace Halyx::Writer
