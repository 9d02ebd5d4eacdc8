// What the shared libraries show to the outside and ask from it, and what the launcher adds.

#include "cli/CliTest.h"

#include <algorithm>
#include <sstream>

using namespace Fixtures;

namespace {

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] != '#') {
            result.push_back(line);
        }
    }
    return result;
}

class Library : public CliTest {
protected:
    static std::string tool(const std::string& name, const Arguments& arguments) {
        const Outcome outcome = Process("/usr/bin/" + name, arguments).run();
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        return outcome.out;
    }

    /// Each exported name, once; constructors and destructors have several symbols.
    static std::vector<std::string> exportedBy(const std::string& library) {
        std::vector<std::string> names;
        for (const std::string& line : lines(tool("nm", {"-D", "-C", "--defined-only", library}))) {
            // "address type name", the name with its version behind "@@" where there is one
            const std::string name = line.substr(line.find(' ') + 3);
            if (line.find(" A ") == std::string::npos) {
                names.push_back(name.substr(0, name.find("@@")));
            }
        }
        return sorted(std::move(names));
    }
    static std::vector<std::string> committed(const std::string& list) {
        return sorted(lines(readFile(std::string(HALYX_SOURCE_DIR) + "/" + list)));
    }

    /// What a library's dynamic section says behind a key.
    static std::vector<std::string> dynamic(const std::string& library, const std::string& key) {
        std::vector<std::string> values;
        for (const std::string& line : lines(tool("objdump", {"-p", library}))) {
            std::istringstream words(line);
            std::string word;
            std::string value;
            words >> word >> value;
            if (word == key) {
                values.push_back(value);
            }
        }
        return values;
    }

    static void expectStandardLibrariesOnly(const std::string& library) {
        for (const std::string& value : dynamic(library, "NEEDED")) {
            const std::string name = value.substr(0, value.find(".so"));
            EXPECT_TRUE(name == "libstdc++" || name == "libgcc_s" || name == "libc" || name == "libm" ||
                        name.substr(0, 8) == "ld-linux")
                << value;
        }
    }

private:
    static std::vector<std::string> sorted(std::vector<std::string> names) {
        std::sort(names.begin(), names.end());
        names.erase(std::unique(names.begin(), names.end()), names.end());
        return names;
    }
};

TEST_F(Library, ExportsWhatTheCommittedListSays) {
    const auto wanted = committed("scanner/exported-symbols.txt");
    EXPECT_EQ(exportedBy(Programs::scannerLibrary()), wanted);
    EXPECT_EQ(wanted, std::vector<std::string>{"Halyx::main(int, char**)"});
}

TEST_F(Library, OfWritersExportsWhatTheCommittedListSaysUnderTheVersionOfThatInterface) {
    EXPECT_EQ(exportedBy(Programs::writerLibrary()), committed("writer/exported-symbols.txt"));
    EXPECT_EQ(dynamic(Programs::writerLibrary(), "SONAME"), std::vector<std::string>{"libhalyxwriter.so.1"});
    for (const std::string& line : lines(tool("nm", {"-D", "--defined-only", Programs::writerLibrary()}))) {
        if (line.find(" A ") == std::string::npos) {
            EXPECT_NE(line.find("@@HALYXWRITER_1.0"), std::string::npos) << line;
        }
    }
}

TEST_F(Library, NeedsTheStandardLibrariesOnly) {
    if (std::string(HALYX_SANITIZE) != "") {
        GTEST_SKIP() << "sanitizers bring libraries of their own";
    }
    expectStandardLibrariesOnly(Programs::scannerLibrary());
    expectStandardLibrariesOnly(Programs::writerLibrary());
}

TEST_F(Library, LetsTheLauncherCatchWhatItThrows) {
    CollectionBuilder builder(1, 1);
    builder.slotsHeader.slotSize = 1000;
    const Collection c = builder.build(root_, "c");
    c.truncate("slots", 240);
    expectOutcome(halyx({"c"}), 1, "",
                  "halyx: SlotReaderGeneric::doResize() requesting to map " + c.file("slots") +
                      " 1 slots. Requested file resize to 2192 but real file size is 240\n");
}

} // namespace
