#include "hostile/Place.h"

#include <dirent.h>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Hostile {

namespace {

/// Names in a directory.
std::vector<std::string> entries(const std::string& directory) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(directory.c_str()), ::closedir);
    while (const dirent* entry = stream ? ::readdir(stream.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    return names;
}

/// Removes `path` whatever it is. A directory's directories are first moved beside each other into `flat`, so that no path grows.
void removeAll(const std::string& path, const std::string& flat) {
    if (::unlink(path.c_str()) == 0) {
        return;
    }
    std::vector<std::string> pending = {path};
    std::uint64_t moved = 0;
    while (!pending.empty()) {
        const std::string directory = pending.back();
        pending.pop_back();
        ::chmod(directory.c_str(), 0700);
        for (const std::string& name : entries(directory)) {
            const std::string child = directory + "/" + name;
            if (::unlink(child.c_str()) == 0) {
                continue;
            }
            ::chmod(child.c_str(), 0700);
            pending.push_back(flat + "/" + std::to_string(moved++));
            if (::rename(child.c_str(), pending.back().c_str()) != 0) {
                throw std::runtime_error("cannot remove " + child);
            }
        }
        if (::rmdir(directory.c_str()) != 0) {
            throw std::runtime_error("cannot remove " + directory);
        }
    }
}

} // namespace

void Place::empty() {
    const std::string flat = root_.file("removed");
    Fixtures::makeDirectories(flat);
    removeAll(root_.file("var"), flat);
    Fixtures::makeDirectories(root_.collections());
}

std::string Place::keep(const std::string& name) {
    const std::string& path = root_.path();
    std::string kept = path.substr(0, path.rfind('/')) + "/halyx-hostile-" + name;
    if (Fixtures::exists(kept)) {
        removeAll(kept, path);
    }
    if (::rename(path.c_str(), kept.c_str()) != 0) {
        throw std::runtime_error("cannot keep " + kept);
    }
    return kept;
}

} // namespace Hostile
