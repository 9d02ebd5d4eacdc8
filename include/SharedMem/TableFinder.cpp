#include "SharedMem/TableFinder.h"

#include "Norvu/DirNode.h"
#include "Norvu/Pattern.h"

#include <cstring>
#include <memory>

namespace Mem {

namespace {

/// Directories that are read again because they were replaced while they were read; bounded, since somebody might do nothing
/// else.
constexpr unsigned kMostReopened = 100;

/// What is known of a directory that is being read.
struct Level {
    bool fruitful = false;   ///< it had something of interest
    bool mismatched = false; ///< its path does not fit the pattern, whatever else it holds
};

constexpr const char* kSource = "/usr/include/SharedMem/TableFinder";

} // namespace

TableFinder::TableFinder(const std::string& debugName, const std::string& subdir)
    : Debuggable(debugName), root_(debugHandler(), "/var/shmem", subdir, "", false) {}

std::string TableFinder::getPathExpr(const char* expr) {
    if (*expr == '\0') {
        return "/*";
    }
    return (*expr == '/' ? std::string() : std::string("/*")) + expr + "*";
}

void TableFinder::find(const char* expr, const FileCompare& fileCompare) {
    if (debugHandler().enabled(3)) {
        debugHandler().log(std::string("TableFinder::find() expression: ") + expr, 3, kSource, 126, "find");
    }
    const std::string& rootDir = root_.text();
    // The root's own text matches itself only, whatever characters the chroot was named with.
    const std::string pattern = Norvu::Util::literalPattern(rootDir) + getPathExpr(expr);
    // An expression without wildcards is found in what it fits as it stands, and most paths are told from that alone.
    const bool plain = Norvu::Util::literalPattern(expr) == expr;
    const auto fits = [&](const std::string& path) {
        return (!plain || path.find(expr, rootDir.size()) != std::string::npos) &&
               Norvu::Util::matchesPattern(pattern, path);
    };

    auto current = std::make_shared<Norvu::DirNode>(debugHandler(), rootDir, nullptr);
    std::vector<Level> levels(1); // down to the current directory
    unsigned reopened = 0;
    const auto moveUp = [&] {
        current = std::shared_ptr<Norvu::DirNode>(current->parent());
        levels.pop_back();
    };
    while (current) {
        const dirent* const entry = current->readEntry();
        if (entry == nullptr) {
            // A writer that puts a new incarnation in place empties the old directory, which may be the open one.
            if (!levels.back().fruitful && reopened < kMostReopened && current->isReplaced()) {
                ++reopened;
                current->openDir();
            } else {
                moveUp();
            }
            continue;
        }
        if (entry->d_type == DT_DIR) {
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
                levels.back().fruitful = true;
                levels.emplace_back();
                current =
                    std::make_shared<Norvu::DirNode>(debugHandler(), current->path() + "/" + entry->d_name, current);
            }
            continue;
        }
        // A collection is a directory below the root, never the root itself.
        if (entry->d_type != DT_REG || !current->parent()) {
            continue;
        }
        const std::string name = entry->d_name;
        if (!fileCompare(name)) {
            continue;
        }
        levels.back().fruitful = true;
        if (debugHandler().enabled(5)) {
            debugHandler().log("TableFinder::find() filename: " + name + " matched by supplied FileCompare", 5, kSource,
                               178, "find");
        }
        if (levels.back().mismatched || !fits(current->path())) {
            levels.back().mismatched = true;
            continue;
        }
        const std::string table = current->path().substr(rootDir.size() + 1);
        if (debugHandler().enabled(5)) {
            debugHandler().log("TableFinder::find() found table '" + table + "'", 5, kSource, 188, "find");
        }
        results_.push_back(table);
        moveUp();
    }
}

} // namespace Mem
