// Where collections lie and how their directories are called.

#include "hostile/CollectionFiles.h"
#include "hostile/Generator.h"

#include <array>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Fixtures;

namespace Hostile {

namespace {

/// Every byte that a directory's name may have, alone, in the middle and twice.
void addNames(std::vector<Group>& groups) {
    groups.push_back({"bytes of directory names", 255 * 3, [](std::size_t i, const ScratchRoot& root, Case& made) {
                          const auto byte = static_cast<char>(i / 3 + 1);
                          if (byte == '/') {
                              made.skipped = "no name has this byte";
                              return;
                          }
                          std::string name = "c";
                          name += i % 3 == 0   ? std::string(1, byte)
                                  : i % 3 == 1 ? byte + std::string("[31m")
                                               : std::string(200, byte);
                          made.what = "a directory's name with the byte " + std::to_string(i / 3 + 1);
                          Files files = soundFiles(Kind::Static);
                          // Some of them with a fault of which the tool must speak, and name the collection.
                          if (i % 2 == 0) {
                              files["slots"][0] = '?';
                              files["conquer.1"][8] = 1;
                          }
                          writeFiles(root, name, files);
                      }});
}

/// A collection below that many directories. Past what a path may hold, the rest is made from inside.
void makeDeep(const ScratchRoot& root, unsigned depth, const std::string& name) {
    int at = ::open(root.collections().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (unsigned level = 0; level < depth && at >= 0; ++level) {
        const int next = ::mkdirat(at, name.c_str(), 0755) == 0
                             ? ::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)
                             : -1;
        ::close(at);
        at = next;
    }
    must(at >= 0, "a deep directory");
    for (const auto& [file, bytes] : soundFiles(Kind::Static)) {
        const int descriptor = ::openat(at, file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        must(descriptor >= 0 && ::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
             "a file in a deep directory");
        ::close(descriptor);
    }
    ::close(at);
}

void addDepths(std::vector<Group>& groups) {
    static constexpr std::array<unsigned, 12> kDepths = {1, 2, 10, 100, 150, 900, 1020, 1100, 1900, 2100, 4000, 6000};
    groups.push_back({"deep directories", kDepths.size() * 2, [](std::size_t i, const ScratchRoot& root, Case& made) {
                          const unsigned depth = kDepths.at(i / 2);
                          const std::string name = i % 2 == 0 ? "c" : "c\x1b[2J\n" + std::string(100, 'c');
                          made.what = "a collection below " + std::to_string(depth) + " directories";
                          makeDeep(root, depth, name);
                      }});
}

void addWide(std::vector<Group>& groups) {
    groups.push_back({"many directories", 4, [](std::size_t i, const ScratchRoot& root, Case& made) {
                          const bool empty = (i & 1) != 0;
                          const bool exact = (i & 2) != 0;
                          made.what = "3000 directories" + std::string(empty ? ", one of them a collection" : "");
                          for (unsigned each = 0; each < 3000; ++each) {
                              const std::string name = "c\n" + std::to_string(each);
                              if (empty) {
                                  makeDirectories(root.collections() + "/" + name);
                              } else {
                                  writeFiles(root, name, {{"fenix", "x"}});
                              }
                          }
                          if (empty || exact) {
                              writeFiles(root, "c", soundFiles(Kind::Static));
                          }
                      }});
}

using Laying = void (*)(const ScratchRoot& root, Case& made);
struct Layout {
    const char* name;
    Laying make;
};
const std::array<Layout, 14> kLayouts = {{
    {"nothing at all", [](const ScratchRoot&, Case&) {}},
    {"no root", [](const ScratchRoot& root, Case&) { must(::rmdir(root.collections().c_str()) == 0, "no root"); }},
    {"a file in place of the root",
     [](const ScratchRoot& root, Case&) {
         must(::rmdir(root.collections().c_str()) == 0, "no root");
         writeFile(root.collections(), "slots");
     }},
    {"a link to itself in place of the root",
     [](const ScratchRoot& root, Case&) {
         must(::rmdir(root.collections().c_str()) == 0 &&
                  ::symlink(root.collections().c_str(), root.collections().c_str()) == 0,
              "a link in place of the root");
     }},
    {"a collection's files in the root itself",
     [](const ScratchRoot& root, Case&) { writeFiles(root, ".", soundFiles(Kind::Static)); }},
    {"a root that is closed to us",
     [](const ScratchRoot& root, Case& made) {
         writeFiles(root, "c", soundFiles(Kind::Static));
         made.unprivileged = true;
         must(::chmod(root.collections().c_str(), 0) == 0, "the root unreadable");
     }},
    {"a collection that is closed to us",
     [](const ScratchRoot& root, Case& made) {
         made.unprivileged = true;
         must(::chmod(writeFiles(root, "c", soundFiles(Kind::Static)).path().c_str(), 0) == 0, "it unreadable");
     }},
    {"a collection that we may list only",
     [](const ScratchRoot& root, Case& made) {
         made.unprivileged = true;
         must(::chmod(writeFiles(root, "c", soundFiles(Kind::Dynamic)).path().c_str(), 0744) == 0, "it unreadable");
     }},
    {"a collection that we may enter only",
     [](const ScratchRoot& root, Case& made) {
         made.unprivileged = true;
         must(::chmod(writeFiles(root, "c", soundFiles(Kind::Static)).path().c_str(), 0711) == 0, "it unreadable");
     }},
    {"a link to a collection",
     [](const ScratchRoot& root, Case&) {
         const Collection real = writeFiles(root, "../real", soundFiles(Kind::Static));
         must(::symlink(real.path().c_str(), (root.collections() + "/c").c_str()) == 0, "a link");
     }},
    {"directories that a link makes endless",
     [](const ScratchRoot& root, Case&) {
         const Collection c = writeFiles(root, "c/c", soundFiles(Kind::Static));
         must(::symlink(root.collections().c_str(), (root.collections() + "/c/up").c_str()) == 0, "a link");
     }},
    {"directories called as files are",
     [](const ScratchRoot& root, Case&) { writeFiles(root, "c/slots/buckets", soundFiles(Kind::Static)); }},
    {"a collection in a collection",
     [](const ScratchRoot& root, Case&) {
         writeFiles(root, "c", {{"slab0", "x"}});
         writeFiles(root, "d/fenix/c", soundFiles(Kind::Static));
     }},
    {"two collections of one beginning",
     [](const ScratchRoot& root, Case&) {
         writeFiles(root, "a/c\x1b[31m", soundFiles(Kind::Static));
         writeFiles(root, "b/c\n", soundFiles(Kind::Static));
     }},
}};

void addLayouts(std::vector<Group>& groups) {
    groups.push_back({"layouts", kLayouts.size(), [](std::size_t i, const ScratchRoot& root, Case& made) {
                          made.what = kLayouts.at(i).name;
                          kLayouts.at(i).make(root, made);
                      }});
}

void addExpressions(std::vector<Group>& groups) {
    static const std::vector<std::string> expressions = {
        "",     "*",   "c*",      "/c",          "/c*", "/*",   "?",       "[c]",      "[",
        "[!a]", "\\c", "\\",      "c/",          "c//", "../c", "..",      ".",        "/",
        "//",   "c\n", "\x1b[2J", "[[:alpha:]]", "[a-", "\xff", "c/slots", "/c/slots", "**************************c"};
    groups.push_back({"expressions", expressions.size() + 2, [](std::size_t i, const ScratchRoot& root, Case& made) {
                          made.expression = i < expressions.size()
                                                ? expressions[i]
                                                : std::string(i == expressions.size() ? 5000 : 100000, '*');
                          made.what = "expression number " + std::to_string(i);
                          writeFiles(root, "c", soundFiles(Kind::Static));
                          if (i % 2 == 0) {
                              writeFiles(root, "a/c", soundFiles(Kind::Static));
                          }
                      }});
}

} // namespace

void addDirectoryGroups(std::vector<Group>& groups) {
    addNames(groups);
    addDepths(groups);
    addWide(groups);
    addLayouts(groups);
    addExpressions(groups);
}

} // namespace Hostile
