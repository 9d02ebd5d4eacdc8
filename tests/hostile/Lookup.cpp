#include "hostile/Lookup.h"

#include "hostile/FileView.h"

#include <algorithm>
#include <dirent.h>
#include <fnmatch.h>
#include <memory>
#include <set>
#include <vector>

using namespace Fixtures;

namespace Hostile {

namespace {

/// Deeper than that, the number of open files and the length of a path decide as well.
constexpr unsigned kDepthThatIsSafe = 200;

bool isCollectionFile(const std::string& name) {
    static const std::set<std::string> names = [] {
        std::set<std::string> all = {"slots", "buckets", "conquer.1", "conquer.2", "fenix"};
        for (unsigned slab = 0; slab < 32; ++slab) {
            all.insert("slab" + std::to_string(slab));
        }
        return all;
    }();
    return names.count(name) != 0;
}

class Search {
public:
    Search(std::string root, const Case& given) : root_(std::move(root)), unprivileged_(given.unprivileged) {
        const std::string& expression = given.expression;
        pattern_ = (expression.empty() ? "/" : expression.front() == '/' ? expression : "/*" + expression) + "*";
    }

    void directory(const std::string& relative, unsigned depth) {
        if (depth > kDepthThatIsSafe) {
            deep_ = true;
            return;
        }
        const std::string path = root_ + relative;
        if (!allows(path, 4, unprivileged_)) {
            return;
        }
        const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(path.c_str()), ::closedir);
        while (const dirent* entry = stream ? ::readdir(stream.get()) : nullptr) {
            const std::string name = entry->d_name;
            if (entry->d_type == DT_DIR && name != "." && name != "..") {
                if (allows(path, 1, unprivileged_)) {
                    directory(relative + "/" + name, depth + 1);
                }
            } else if (entry->d_type == DT_REG && depth > 0 && isCollectionFile(name) &&
                       ::fnmatch(pattern_.c_str(), relative.c_str(), 0) == 0) {
                found_.push_back(relative.substr(1));
                return;
            }
        }
    }

    [[nodiscard]] const std::vector<std::string>& found() const { return found_; }
    [[nodiscard]] bool deep() const { return deep_; }

private:
    std::string root_;
    std::string pattern_;
    std::vector<std::string> found_;
    bool unprivileged_;
    bool deep_ = false;
};

} // namespace

std::string safe(const std::string& text) {
    std::string made;
    for (const char c : text) {
        made += c >= ' ' && c <= '~' ? std::string(1, c) : "\\x" + hexOf(std::string(1, c));
    }
    return made;
}

Lookup Lookup::of(const ScratchRoot& root, const Case& given) {
    Lookup lookup;
    Search search(root.collections(), given);
    search.directory("", 0);
    lookup.open = search.deep();
    const std::vector<std::string>& found = search.found();
    const std::string& expression = given.expression;
    if (found.empty()) {
        lookup.complaint = "No table was found.\n";
    } else if (found.size() == 1) {
        lookup.collection = found.front();
    } else if (!expression.empty() && expression.back() != '*' &&
               std::find(found.begin(), found.end(), expression) != found.end()) {
        lookup.collection = expression;
        lookup.complaint = "Exact match found. There are other matches. To see the other matches, try using the "
                           "following:\n    '" +
                           expression + "*'\n";
    } else {
        lookup.complaint = "More than one table was found. Try again using one of the following tables:\n";
        for (const std::string& each : found) {
            lookup.complaint += "  - " + safe(each) + "\n";
        }
    }
    return lookup;
}

} // namespace Hostile
