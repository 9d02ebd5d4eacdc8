// The look-up: how long `halyx NAME` takes among many collections two levels deep, for a name that none fits and for one that one
// fits, beside a bare walk by readdir(3) that leaves each directory at its first collection file, as the tool does, and beside
// `find -name slots`.

#include "Table.h"
#include "Topics.h"

#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace Bench {

namespace {

constexpr int kFolder = 100; ///< collections side by side
constexpr const char* kFitting = "the-one-that-fits";

/// Collections that have nothing but their files' names, and one that can be walked.
void makeCollections(const Context& context) {
    for (int i = 1; i < context.settings.collections; ++i) {
        const std::string directory =
            context.collection("folder" + std::to_string(i / kFolder) + "/prices" + std::to_string(i % kFolder));
        std::filesystem::create_directories(directory);
        for (const char* const file : {"/slots", "/buckets", "/fenix"}) {
            std::ofstream(directory + file);
        }
    }
    build({context.collection(std::string("folder0/") + kFitting), 1, 8, false});
}

bool isCollectionFile(std::string_view name) {
    return name == "slots" || name == "buckets" || name == "fenix" || name.substr(0, 8) == "conquer." ||
           name.substr(0, 4) == "slab";
}

/// How many collections there are at and below an open directory, which is closed.
unsigned long countBelow(int file) {
    DIR* const directory = file < 0 ? nullptr : ::fdopendir(file);
    if (directory == nullptr) {
        return 0;
    }
    unsigned long found = 0;
    while (const dirent* const entry = ::readdir(directory)) {
        const std::string_view name = entry->d_name;
        if (entry->d_type == DT_DIR && name != "." && name != "..") {
            found += countBelow(::openat(::dirfd(directory), entry->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        } else if (entry->d_type == DT_REG && isCollectionFile(name)) {
            ++found;
            break;
        }
    }
    ::closedir(directory);
    return found;
}

void bareWalk(const std::string& root, int out) {
    const std::string text =
        std::to_string(countBelow(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))) + "\n";
    (void)!::write(out, text.data(), text.size());
}

void expectCount(const std::string& what, std::uint64_t count, int wanted) {
    if (count != static_cast<std::uint64_t>(wanted)) {
        throw std::runtime_error(what + " finds " + std::to_string(count) + " collections of " +
                                 std::to_string(wanted));
    }
}

} // namespace

void lookUp(Context& context) {
    const int collections = context.settings.collections;
    const std::string root = context.collectionsRoot();
    Report& report = context.report;
    report.table("Look-up: " + std::to_string(collections) + " collections two levels deep");
    makeCollections(context);
    std::vector<Side> sides{
        {"bare walk by readdir", [root](int out) { bareWalk(root, out); }},
        {"halyx NAME, none fits", halyx({"none-that-fits"}, Complaints::Dropped), 1},
        {"halyx NAME, one fits", halyx({kFitting})},
        {"find -name slots", command({"find", root, "-name", "slots"})},
    };
    expectCount(sides[0].name, std::strtoull(digestOf(sides[0].program).head.c_str(), nullptr, 10), collections);
    expectCount(sides[3].name, digestOf(sides[3].program).lines, collections);
    if (context.settings.verify && collections > 1) {
        // Every name fits the empty expression, and each is a line of the complaint.
        const Program all = halyx({""}, Complaints::Kept);
        expectCount("halyx", digestOf(all, 1, "  - ").lines, collections);
        report.note("halyx finds all collections", "verified, " + std::to_string(collections));
    }
    alternate(sides, context.settings.rounds);
    for (const Side& side : sides) {
        report.row(side.name, spreadOf(milliseconds(side)), "ms");
    }
    for (std::size_t i = 1; i < sides.size(); ++i) {
        report.row(sides[i].name + " / " + sides[0].name + ", time",
                   spreadOf(quotients(sides[i].seconds, sides[0].seconds)), "times", i < 3 ? "at most 1.3" : "");
    }
}

} // namespace Bench
