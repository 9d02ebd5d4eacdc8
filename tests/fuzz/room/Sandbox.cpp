#include "fuzz/room/Sandbox.h"

#include "fixtures/ScratchRoot.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace Fuzz {

namespace {

constexpr const char* kPrefix = "halyx-fuzz.";

/// In memory where the machine allows it.
std::string memory() {
    return ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path().string();
}

/// A target that found something ends without cleaning up.
void removeThoseOfDeadProcesses() {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(memory(), ignored)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(kPrefix, 0) == 0) {
            const int pid = std::atoi(name.c_str() + std::char_traits<char>::length(kPrefix));
            if (pid > 0 && ::kill(pid, 0) != 0 && errno == ESRCH) {
                std::filesystem::remove_all(entry.path(), ignored);
            }
        }
    }
}

} // namespace

Sandbox::Sandbox() {
    removeThoseOfDeadProcesses();
    static unsigned made = 0;
    path_ = memory() + "/" + kPrefix + std::to_string(::getpid()) + "." + std::to_string(++made);
    Fixtures::makeDirectories(collection());
    Fixtures::makeDirectories(proc());
    Fixtures::makeDirectories(types());
}

Sandbox::~Sandbox() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void Sandbox::enter() const {
    ::setenv("Q7_CHROOT", path_.c_str(), 1);
    ::setenv("HALYX_TYPE_PATH", types().c_str(), 1);
}

std::string Sandbox::collection(const std::string& name) const {
    return path_ + "/var/shmem/halyxes" + (name.empty() ? "" : "/" + name);
}

void Sandbox::fill(const std::string& directory, const Files& files) {
    const auto [entry, fresh] = filled_.try_emplace(directory);
    Files& there = entry->second;
    if (fresh) {
        Fixtures::makeDirectories(directory);
    }
    for (auto file = there.begin(); file != there.end();) {
        if (files.count(file->first) != 0) {
            ++file;
        } else if (::unlink((directory + "/" + file->first).c_str()) != 0) {
            throw std::runtime_error("cannot remove " + directory + "/" + file->first);
        } else {
            file = there.erase(file);
        }
    }
    for (const auto& [name, bytes] : files) {
        const auto known = there.find(name);
        if (known == there.end() || known->second != bytes) {
            Fixtures::writeFile(directory + "/" + name, bytes);
            there[name] = bytes;
        }
    }
}

} // namespace Fuzz
