#pragma once

#include "Mem/RootPath.h"
#include "Norvu/Debug.h"

#include <functional>
#include <string>
#include <vector>

namespace Mem {

/// Whether a file of that bare name belongs to a collection.
using FileCompare = std::function<bool(const std::string&)>;

/// Finds the collections below a root directory that an expression names. Built once, searched once, read once.
class TableFinder : public Norvu::Debuggable {
public:
    /// Searches below "/var/shmem" (chroot included) and `subdir`, tracing as `debugName`.
    TableFinder(const std::string& debugName, const std::string& subdir);

    /// The shell pattern for an expression, without the root directory: "/*" for none, the expression and "*" when it begins
    /// with "/", else "/*", the expression and "*".
    static std::string getPathExpr(const char* expr);

    /// Appends every directory below the root that holds a regular file for which `fileCompare` is true and that matches
    /// the expression, as its path relative to the root, in the order of the directory reads, depth first. A directory once
    /// found is not searched further. Throws RuntimeException when a directory cannot be read on.
    void find(const char* expr, const FileCompare& fileCompare);

    [[nodiscard]] const std::vector<std::string>& results() const { return results_; }

private:
    std::vector<std::string> results_;
    RootPath root_;
};

} // namespace Mem
