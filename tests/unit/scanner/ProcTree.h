#pragma once

#include "fixtures/ScratchRoot.h"

#include <filesystem>
#include <string>

/// A process table made of files.
class ProcTree {
public:
    explicit ProcTree(std::string path) : path_(std::move(path)) { Fixtures::makeDirectories(path_); }

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] std::string mapsOf(const std::string& pid) const { return path_ + "/" + pid + "/maps"; }

    /// A process of the executable `exe` whose map is this text.
    const ProcTree& process(const std::string& pid, const std::string& exe, const std::string& maps) const {
        Fixtures::makeDirectories(path_ + "/" + pid);
        std::filesystem::remove(path_ + "/" + pid + "/exe");
        std::filesystem::create_symlink(exe, path_ + "/" + pid + "/exe");
        Fixtures::writeFile(mapsOf(pid), maps);
        return *this;
    }
    const ProcTree& commandLine(const std::string& pid, const std::string& bytes) const {
        Fixtures::makeDirectories(path_ + "/" + pid);
        Fixtures::writeFile(path_ + "/" + pid + "/cmdline", bytes);
        return *this;
    }

    /// A line of a map.
    static std::string line(const std::string& file, const std::string& permissions = "r--s") {
        return "7f0000-7f1000 " + permissions + " 00000000 00:13 12345                 " + file + "\n";
    }

private:
    std::string path_;
};
