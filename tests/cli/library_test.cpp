// What the shared library shows to the outside and asks from it, and what the launcher adds.

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
};

TEST_F(Library, ExportsWhatTheCommittedListSays) {
    std::vector<std::string> exported;
    for (const std::string& line : lines(tool("nm", {"-D", "-C", "--defined-only", HALYX_LIBRARY}))) {
        // "address type name", the name with its version behind "@@" where there is one
        const std::string name = line.substr(line.find(' ') + 3);
        if (line.find(" A ") == std::string::npos) {
            exported.push_back(name.substr(0, name.find("@@")));
        }
    }
    std::sort(exported.begin(), exported.end());
    auto wanted = lines(readFile(std::string(HALYX_SOURCE_DIR) + "/scanner/exported-symbols.txt"));
    std::sort(wanted.begin(), wanted.end());
    EXPECT_EQ(exported, wanted);
    EXPECT_EQ(wanted, std::vector<std::string>{"Halyx::main(int, char**)"});
}

TEST_F(Library, NeedsTheStandardLibrariesOnly) {
    if (std::string(HALYX_SANITIZE) != "") {
        GTEST_SKIP() << "sanitizers bring libraries of their own";
    }
    for (const std::string& line : lines(tool("objdump", {"-p", HALYX_LIBRARY}))) {
        std::istringstream words(line);
        std::string key;
        std::string value;
        words >> key >> value;
        if (key == "NEEDED") {
            const std::string name = value.substr(0, value.find(".so"));
            EXPECT_TRUE(name == "libstdc++" || name == "libgcc_s" || name == "libc" || name == "libm" ||
                        name.substr(0, 8) == "ld-linux")
                << value;
        }
    }
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
