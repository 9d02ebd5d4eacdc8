#include "Mem/RootPath.h"

#include "Mem/Directory.h"

#include <cstdlib>

namespace {

constexpr const char* kBase = "/var/shmem";
constexpr const char* kCollections = "halyxes";

} // namespace

namespace Mem {

std::string chroot() {
    const char* value = std::getenv("Q7_CHROOT");
    if (value == nullptr || *value != '/') {
        return {};
    }
    std::string path = value;
    if (char* resolved = ::realpath(value, nullptr)) {
        path = resolved;
        std::free(resolved);
    }
    path.erase(path.find_last_not_of('/') + 1);
    return path;
}

RootPath::RootPath(Norvu::Platform::DebugHandler& handler, const std::string& base, const std::string& subdir,
                   const std::string& extra, bool /*flag*/)
    : Debuggable(handler), text_(chroot() + base + "/" + subdir) {
    if (!extra.empty()) {
        text_ += "/" + extra;
    }
    text_.erase(text_.find_last_not_of('/') + 1);
}

std::string RootPath::socknamePrefix() const {
    return "shmem";
}

const std::shared_ptr<Directory>& RootPath::directory() const {
    if (!directory_) {
        directory_ = std::make_shared<Directory>(text_);
    }
    return directory_;
}

} // namespace Mem

namespace Halyx {

std::string collectionsRoot() {
    return Mem::chroot() + kBase + "/" + kCollections;
}

RootPath::RootPath(Norvu::Platform::DebugHandler& handler, const std::string& collection, bool flag)
    : Mem::RootPath(handler, kBase, kCollections, collection, flag) {}

std::string RootPath::socknamePrefix() const {
    return "halyx";
}

} // namespace Halyx
