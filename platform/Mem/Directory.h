#pragma once

#include <string>

namespace Mem {

/// One directory held open, without the right to read or change it, so that files are looked up in this directory and in no
/// other that takes its name later. Owns the descriptor.
class Directory {
public:
    explicit Directory(const std::string& path);
    ~Directory();
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    /// The descriptor, or -1 when the directory could not be opened.
    [[nodiscard]] int descriptor() const { return descriptor_; }

    /// Whether a file of that name, of whatever kind, is there: a link counts as what it leads to, so one to nothing is none.
    [[nodiscard]] bool has(const std::string& name) const;

    /// Whether `path` leads to this directory still, or to none when there was none. False when another took its place.
    [[nodiscard]] bool isAt(const std::string& path) const;

private:
    int descriptor_;
};

} // namespace Mem
