// What stands in place of a file that should be a regular one; and regular ones far larger than what they hold.

#include "hostile/CollectionFiles.h"
#include "hostile/Generator.h"

#include <array>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Fixtures;

namespace Hostile {

namespace {

/// A path of its own for the address: sockets have room for 107 bytes of it.
void makeSocket(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    must(descriptor >= 0 && path.size() < sizeof address.sun_path, "a socket");
    path.copy(address.sun_path, path.size());
    const bool bound = ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(descriptor);
    must(bound, "a socket in " + path.substr(0, slash));
}

void link(const std::string& target, const std::string& path) {
    must(::symlink(target.c_str(), path.c_str()) == 0, "a link");
}

using Replacing = void (*)(const Collection& c, const std::string& file, Case& made);
struct Replacement {
    const char* name;
    Replacing replace;
};

const std::array<Replacement, 16> kReplacements = {{
    {"missing", [](const Collection& c, const std::string& file, Case&) { c.remove(file); }},
    {"empty", [](const Collection& c, const std::string& file, Case&) { c.truncate(file, 0); }},
    {"a FIFO", [](const Collection& c, const std::string& file, Case&) { c.replaceWithFifo(file); }},
    {"a socket",
     [](const Collection& c, const std::string& file, Case&) {
         c.remove(file);
         makeSocket(c.file(file));
     }},
    {"a device",
     [](const Collection& c, const std::string& file, Case& made) {
         if (!c.replaceWithDevice(file)) {
             made.skipped = "this user may not make devices";
         }
     }},
    {"a directory", [](const Collection& c, const std::string& file, Case&) { c.replaceWithDirectory(file); }},
    {"a link to the file itself", [](const Collection& c, const std::string& file, Case&) { c.replaceWithLink(file); }},
    {"a dangling link",
     [](const Collection& c, const std::string& file, Case&) {
         c.remove(file);
         link(c.file("nothing"), c.file(file));
     }},
    {"a link to itself",
     [](const Collection& c, const std::string& file, Case&) {
         c.remove(file);
         link(c.file(file), c.file(file));
     }},
    {"a link to a device",
     [](const Collection& c, const std::string& file, Case&) {
         c.remove(file);
         link("/dev/zero", c.file(file));
     }},
    {"a link to a directory",
     [](const Collection& c, const std::string& file, Case&) {
         c.remove(file);
         link("/", c.file(file));
     }},
    {"closed to us",
     [](const Collection& c, const std::string& file, Case& made) {
         made.unprivileged = true;
         must(::chmod(c.file(file).c_str(), 0) == 0, "it unreadable");
     }},
    {"closed for reading only",
     [](const Collection& c, const std::string& file, Case& made) {
         made.unprivileged = true;
         must(::chmod(c.file(file).c_str(), 0222) == 0, "it unreadable");
     }},
    {"another file's contents", [](const Collection& c, const std::string& file,
                                   Case&) { c.replace(file, c.bytes(file == "slots" ? "buckets" : "slots")); }},
    {"text", [](const Collection& c, const std::string& file,
                Case&) { c.replace(file, std::string(5000, 'x') + "\x1b[31m" + std::string(5000, '\n')); }},
    {"zeros", [](const Collection& c, const std::string& file, Case&) { c.replace(file, std::string(10000, '\0')); }},
}};

void addReplacements(std::vector<Group>& groups, Kind kind) {
    std::vector<std::string> files;
    for (const auto& [file, bytes] : soundFiles(kind)) {
        files.push_back(file);
    }
    groups.push_back({"kinds of files", files.size() * kReplacements.size(),
                      [=](std::size_t i, const ScratchRoot& root, Case& made) {
                          const Replacement& replacement = kReplacements.at(i % kReplacements.size());
                          const std::string& file = files.at(i / kReplacements.size());
                          made.what = file + " is " + replacement.name;
                          replacement.replace(writeFiles(root, "c", soundFiles(kind)), file, made);
                      }});
    // Two at once, so that what is looked at first is seen.
    groups.push_back({"pairs of missing files", files.size() * files.size(),
                      [=](std::size_t i, const ScratchRoot& root, Case& made) {
                          Files rest = soundFiles(kind);
                          const std::string& first = files.at(i % files.size());
                          const std::string& second = files.at(i / files.size());
                          rest.erase(first);
                          if (first != second) {
                              rest[second].assign(second.size() * 3, 'z');
                          }
                          made.what = first + " is missing, " + second + " is noise";
                          writeFiles(root, "c", rest);
                      }});
}

void addSparse(std::vector<Group>& groups, Kind kind) {
    static constexpr std::array<std::uint64_t, 8> kSizes = {
        std::uint64_t{1} << 20, (std::uint64_t{1} << 31) - 1, std::uint64_t{1} << 31, 0xffffffff,
        std::uint64_t{1} << 32, (std::uint64_t{1} << 32) + 1, std::uint64_t{5} << 30, std::uint64_t{1} << 40};
    std::vector<std::string> files;
    for (const auto& [file, bytes] : soundFiles(kind)) {
        files.push_back(file);
    }
    groups.push_back(
        {"sparse files", files.size() * kSizes.size(), [=](std::size_t i, const ScratchRoot& root, Case& made) {
             const std::string& file = files.at(i / kSizes.size());
             const std::uint64_t size = kSizes.at(i % kSizes.size());
             const Collection c = writeFiles(root, "c", soundFiles(kind));
             made.what = file + " is " + std::to_string(size) + " bytes long, most of them holes";
             if (::truncate(c.file(file).c_str(), static_cast<off_t>(size)) != 0) {
                 made.skipped = "no file of this size can be made here";
             }
         }});
}

/// Counts that the holes of a sparse file make true, or nearly so.
void addSparseCounts(std::vector<Group>& groups) {
    struct Count {
        const char* file;
        std::size_t offset; ///< of the count
        std::uint32_t count;
        std::uint64_t size; ///< of the file
    };
    static const std::vector<Count> counts = {
        {"buckets", 20, 5000, 32 + 8 * 5000},        {"buckets", 20, 200000, 32 + 8 * 200000},
        {"buckets", 20, 200000, 31 + 8 * 200000},    {"slots", 188, 100000, 216 + 24 * 100000},
        {"slots", 188, 100000, 215 + 24 * 100000},   {"slots", 188, 178956971, std::uint64_t{5} << 30},
        {"slots", 188, 178956970, 0xffffffff},       {"conquer.1", 60, 3000, 72 + 12 * 3000},
        {"conquer.2", 60, 100000, 72 + 12 * 100000}, {"conquer.2", 60, 100000, 71 + 12 * 100000},
        {"conquer.1", 60, 0x15555555, 0xffffffff},   {"slab0", 20, 1000000, 40 + 72 * 1000000},
        {"slab0", 20, 1000000, 39 + 72 * 1000000},   {"slab0", 20, 0x08000000, std::uint64_t{10} << 30},
    };
    groups.push_back({"sparse counts", counts.size(), [](std::size_t i, const ScratchRoot& root, Case& made) {
                          const Count& count = counts.at(i);
                          const Kind kind = count.file[0] == 's' ? Kind::Dynamic : Kind::Static;
                          const Collection c = writeFiles(root, "c", soundFiles(kind));
                          made.what = std::string(count.file) + " has " + std::to_string(count.count) +
                                      " records in a file of " + std::to_string(count.size) + " bytes";
                          c.corrupt32(count.file, count.offset, count.count);
                          if (count.file == std::string("slots")) {
                              c.corrupt32(count.file, 176, count.count);
                          }
                          if (::truncate(c.file(count.file).c_str(), static_cast<off_t>(count.size)) != 0) {
                              made.skipped = "no file of this size can be made here";
                          }
                      }});
}

} // namespace

void addFileGroups(std::vector<Group>& groups) {
    for (const Kind kind : {Kind::Static, Kind::Dynamic}) {
        addReplacements(groups, kind);
        addSparse(groups, kind);
    }
    addSparseCounts(groups);
}

} // namespace Hostile
