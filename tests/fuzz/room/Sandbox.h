#pragma once

#include <map>
#include <string>

namespace Fuzz {

/// A directory in memory that stands for the whole machine while a target runs: below it lie the collections, a process table
/// and the descriptions of types. Each target has its own for as long as the process lives; when that cannot clean up, the next one does.
class Sandbox {
public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    /// Points the tool's environment here; other users of this process may have pointed it elsewhere.
    void enter() const;

    [[nodiscard]] const std::string& path() const { return path_; }
    /// The directory of that collection, or of all when there is no name.
    [[nodiscard]] std::string collection(const std::string& name = {}) const;
    /// Where the process table is.
    [[nodiscard]] std::string proc() const { return path_ + "/proc"; }
    [[nodiscard]] std::string types() const { return path_ + "/types"; }

    using Files = std::map<std::string, std::string>; ///< names and bytes
    /// Makes a directory hold these files and no others. Only what differs from the last time is written.
    void fill(const std::string& directory, const Files& files);

private:
    std::string path_;
    std::map<std::string, Files> filled_;
};

} // namespace Fuzz
