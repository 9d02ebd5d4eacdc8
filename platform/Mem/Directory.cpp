#include "Mem/Directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Mem {

Directory::Directory(const std::string& path) : descriptor_(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

Directory::~Directory() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

bool Directory::has(const std::string& name) const {
    struct stat found {};
    return descriptor_ >= 0 && ::fstatat(descriptor_, name.c_str(), &found, 0) == 0;
}

bool Directory::isAt(const std::string& path) const {
    struct stat held {};
    struct stat found {};
    const bool there = ::stat(path.c_str(), &found) == 0;
    if (descriptor_ < 0) {
        return !there || !S_ISDIR(found.st_mode);
    }
    return there && ::fstat(descriptor_, &held) == 0 && held.st_dev == found.st_dev && held.st_ino == found.st_ino;
}

} // namespace Mem
