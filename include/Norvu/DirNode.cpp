#include "Norvu/DirNode.h"

#include "Norvu/Exception.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <utility>

namespace Norvu {

DirNode::DirNode(Platform::DebugHandler& handler, const std::string& path, std::shared_ptr<DirNode> parent)
    : Debuggable(handler), parent_(std::move(parent)), path_(path) {
    if (handler.enabled(9)) {
        trace(9, 65, "DirNode", "DirNode::DirNode() path: " + path_);
    }
    openDir();
}

DirNode::~DirNode() {
    if (debugHandler().enabled(9)) {
        trace(9, 70, "~DirNode", "DirNode::~DirNode() path: " + path_);
    }
    if (dir_ != nullptr && ::closedir(dir_) < 0) {
        trace(1, 76, "~DirNode", "DirNode::~DirNode() failed to close " + path_ + " errno: " + std::strerror(errno));
    }
}

void DirNode::openDir() {
    if (dir_ != nullptr) {
        if (::closedir(dir_) < 0) {
            trace(1, 44, "openDir",
                  "DirNode::openDir() failed to close " + path_ + " before reopening. errno: " + std::strerror(errno));
        }
        dir_ = nullptr;
    }
    dir_ = ::opendir(path_.c_str());
    if (dir_ == nullptr) {
        const int error = errno;
        const std::string text = "DirNode::DirNode() failed to open " + path_ + " errno: " + std::strerror(error);
        if (error == ENOENT || error == EACCES || error == ENOTDIR) {
            trace(9, 53, "openDir", text);
        } else {
            trace(1, 55, "openDir", text);
        }
    }
}

dirent* DirNode::readEntry() const {
    if (debugHandler().enabled(9)) {
        trace(9, 83, "readEntry", "DirNode::readEntry() path: " + path_);
    }
    if (dir_ == nullptr) {
        if (debugHandler().enabled(5)) {
            trace(5, 86, "readEntry",
                  "DirNode::readEntry() cannot read " + path_ + " because the directory is not open");
        }
        return nullptr;
    }
    errno = 0;
    dirent* const entry = ::readdir(dir_);
    if (entry == nullptr && errno != 0) {
        const std::string text = "DirNode::readEntry() failed to read " + path_ + " errno: " + std::strerror(errno);
        trace(0, 94, "readEntry", text);
        RuntimeException::throwException(text);
    }
    return entry;
}

bool DirNode::isReplaced() const {
    struct stat held {};
    struct stat found {};
    return dir_ != nullptr && ::fstat(::dirfd(dir_), &held) == 0 && ::stat(path_.c_str(), &found) == 0 &&
           (held.st_ino != found.st_ino || held.st_dev != found.st_dev);
}

void DirNode::trace(int level, int line, const char* function, const std::string& text) const {
    if (debugHandler().enabled(level)) {
        debugHandler().log(text, level, "/usr/include/Norvu/DirNode", line, function);
    }
}

} // namespace Norvu
