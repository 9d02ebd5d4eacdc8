#include "Mem/Shared.h"

#include "Mem/Directory.h"
#include "Mem/Page.h"
#include "Mem/Remap.h"
#include "Norvu/Exception.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Mem {

const unsigned pageSize_ = static_cast<unsigned>(::sysconf(_SC_PAGESIZE));

namespace {

unsigned boundedSize(const struct stat& status) {
    if (!S_ISREG(status.st_mode) || status.st_size < 0) {
        return 0;
    }
    constexpr off_t most = 0xffffffffLL;
    return static_cast<unsigned>(status.st_size < most ? status.st_size : most);
}

std::size_t lastPageOf(unsigned size) {
    return size == 0 ? 0 : (size - 1) / pageSize_ * std::size_t{pageSize_};
}

} // namespace

Shared::Shared(Norvu::Platform::DebugHandler& handler, const char* prefix, const char* name, bool, unsigned flags, bool)
    : Local(handler, flags), filename_(std::string(prefix) + "/" + name), name_(name) {}

Shared::~Shared() {
    Shared::detach();
}

bool Shared::openFile() {
    const int directory = directory_ ? directory_->descriptor() : AT_FDCWD;
    const char* path = directory_ ? name_.c_str() : filename_.c_str();
    struct stat status {};
    // Asked before it is opened, since opening a device can already do something.
    if (::fstatat(directory, path, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        error_ = std::strerror(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        error_ = "not a regular file";
        return false;
    }
    const int file = ::openat(directory, path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (file < 0) {
        error_ = std::strerror(errno);
        return false;
    }
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        error_ = "not a regular file";
        ::close(file);
        return false;
    }
    descriptor_ = file;
    return true;
}

bool Shared::hold() {
    return descriptor_ >= 0 || openFile();
}

void* Shared::attach(unsigned size, Mode /*mode*/, bool, const std::string&) {
    if (!hold()) {
        return nullptr;
    }
    if (!range_) {
        range_ = std::make_unique<FaultRange>();
        if (!range_->ok()) {
            error_ = "too many mappings are guarded";
            range_.reset();
            return nullptr;
        }
    }
    return resize(size);
}

void* Shared::resize(unsigned size) {
    void* base = MAP_FAILED;
    if (region() != nullptr) {
        forgetFault();
        base = remap(region(), this->size(), size);
    }
    if (base == MAP_FAILED) {
        // Also where the old mapping is in several pieces, which mremap does not move.
        base = ::mmap(nullptr, sizeToMap(size), PROT_READ, MAP_SHARED, descriptor_, 0);
        if (base == MAP_FAILED) {
            error_ = std::strerror(errno);
            return nullptr;
        }
        if (region() != nullptr) {
            ::munmap(region(), this->size());
        }
    }
    range_->guard(base, size);
    setRegion(base, size);
    probePage(lastPageOf(size));
    return base;
}

void Shared::populate([[maybe_unused]] std::size_t end) const {
#ifdef MADV_POPULATE_READ
    if (descriptor_ >= 0 && region() != nullptr) {
        ::madvise(region(), std::min<std::size_t>(end, size()), MADV_POPULATE_READ);
    }
#endif
}

int Shared::detach() {
    int result = 0;
    if (region() != nullptr) {
        range_->guard(nullptr, 0);
        result = ::munmap(region(), size());
        setRegion(nullptr, 0);
    }
    if (descriptor_ >= 0) {
        ::close(descriptor_);
        descriptor_ = -1;
    }
    return result;
}

bool Shared::status(struct stat& status) const {
    if (descriptor_ >= 0) {
        return ::fstat(descriptor_, &status) == 0;
    }
    if (directory_) {
        return ::fstatat(directory_->descriptor(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    }
    return ::lstat(filename_.c_str(), &status) == 0;
}

unsigned Shared::memSize() const {
    struct stat found {};
    return status(found) ? boundedSize(found) : 0;
}

unsigned Shared::storedSize() const {
    constexpr std::uint64_t blockSize = 512; // of st_blocks, whatever the file system's own
    struct stat found {};
    if (!status(found)) {
        return 0;
    }
    return static_cast<unsigned>(
        std::min<std::uint64_t>(boundedSize(found), static_cast<std::uint64_t>(found.st_blocks) * blockSize));
}

/// Puts the file's own pages back where zeros stood in for them, so that the next read meets the file as it is then.
/// The offset of the first read that faulted.
std::size_t Shared::restorePages() const {
    const FaultRange::Fault fault = range_->take();
    const auto base = reinterpret_cast<std::uintptr_t>(region());
    if (::mmap(reinterpret_cast<void*>(fault.begin), fault.end - fault.begin, PROT_READ, MAP_SHARED | MAP_FIXED,
               descriptor_, static_cast<off_t>(fault.begin - base)) == MAP_FAILED) {
        Norvu::MemoryResourceException::throwException("Mem::Shared::restorePages() failed to map " + filename_ +
                                                       " again. Reason: " + std::strerror(errno));
    }
    return fault.address - base;
}

void Shared::raiseFault() const {
    raiseUnreadable(restorePages());
}

void Shared::checkSize(std::size_t end) const {
    const bool faulted = range_->faulted();
    // The first fault tells whose it was. The probe's says nothing of what was read before it, below the last page: that is
    // judged by the size.
    const std::size_t fault = faulted ? restorePages() : 0;
    if (faulted && fault != probe_) {
        raiseUnreadable(fault);
    }
    const unsigned size = memSize();
    if (size < end) {
        raiseUnreadable(size);
    }
    if (faulted && end > lastPage_) {
        raiseUnreadable(fault);
    }
    // The bytes are there; from now on the probe looks at the end that the file has.
    probePage(std::min(lastPage_, lastPageOf(size)));
}

void Shared::probePage(std::size_t page) const {
    lastPage_ = page;
    probe_ = page + pageSize_ - 1;
}

void Shared::raiseUnreadable(std::size_t offset) const {
    Norvu::CorruptionDetectedException::throwException("Mem::Shared::checkRead() cannot read " + filename_ +
                                                       " at offset: " + std::to_string(offset) + " real file size is " +
                                                       std::to_string(memSize()));
}

} // namespace Mem
