// What the README tells a reader to type, and what it says is printed then.

#include "cli/CliTest.h"

#include <filesystem>
#include <sstream>

using namespace Fixtures;

namespace {

struct Typed {
    std::string command;
    std::string printed;
};

/// The commands of the README's console block, each with the lines below it.
std::vector<Typed> readmeCommands() {
    std::istringstream lines(readFile(std::string(HALYX_SOURCE_DIR) + "/README.md"));
    std::vector<Typed> commands;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == "```console") {
            inside = true;
        } else if (line == "```") {
            inside = false;
        } else if (inside && line.compare(0, 2, "$ ") == 0) {
            commands.push_back({line.substr(2), {}});
        } else if (inside) {
            commands.at(commands.size() - 1).printed += line + "\n";
        }
    }
    return commands;
}

class Readme : public CliTest {};

/// The README's sample of the demo: what stands in its lines that begin so.
std::vector<std::string> sampled(const std::string& beginning) {
    const std::string text = readFile(std::string(HALYX_SOURCE_DIR) + "/README.md");
    std::istringstream lines(text.substr(0, text.find("```console")));
    std::vector<std::string> found;
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, beginning.size(), beginning) == 0) {
            found.push_back(line.substr(beginning.size()));
        }
    }
    return found;
}

TEST_F(Readme, ItsSampleOfTheDemoIsWhatTheDemoRunsAndSays) {
    const std::string demo = readFile(std::string(HALYX_SOURCE_DIR) + "/scripts/demo");
    const std::vector<std::string> commands = sampled("$ ");
    EXPECT_GE(commands.size(), 3U);
    for (const std::string& command : commands) {
        expectPart(demo, "show \"" + command + "\"");
    }
    const std::vector<std::string> sentences = sampled("      ^ ");
    EXPECT_GE(sentences.size(), 5U);
    for (const std::string& sentence : sentences) {
        // Of a bucket, the numbers are put in.
        expectPart(demo, sentence.compare(0, 7, "Bucket ") == 0 ? sentence.substr(sentence.find(", SLOT")) : sentence);
    }
}

TEST_F(Readme, ItsCommandsPrintWhatItSays) {
    const std::vector<Typed> commands = readmeCommands();
    ASSERT_GE(commands.size(), 5U);
    // The README's reader stands in the sources, behind a demo.
    makeDirectories(root_.file("build/demo"));
    std::filesystem::create_directory_symlink(std::filesystem::path(HALYX_BINARY).parent_path(),
                                              root_.file("build/demo/bin"));
    std::string script = "cd '" + root_.path() + "' || exit\n";
    std::string expected;
    for (const Typed& typed : commands) {
        script += "echo '$' ...\n" + typed.command + "\n";
        expected += "$ ...\n" + typed.printed;
    }
    Process bash("/bin/bash", {"-c", script});
    bash.environment("TMPDIR", root_.path());
    expectOutcome(bash.run(), 0, expected, "");
}

} // namespace
