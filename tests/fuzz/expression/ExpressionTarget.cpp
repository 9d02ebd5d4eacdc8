// The expression that names a collection, and the directories that it is looked up in. What is found, and what is said of it,
// follows from the names alone and is compared with what the tool says.

#include "HalyxScanner.h"
#include "Norvu/Text.h"
#include "fixtures/ScratchRoot.h"
#include "fuzz/Targets.h"
#include "fuzz/expression/Question.h"
#include "fuzz/room/Sandbox.h"
#include "fuzz/room/Watch.h"

#include <algorithm>
#include <filesystem>
#include <fnmatch.h>

namespace Fuzz {

namespace {

using Names = std::vector<std::string>;

/// The collections, each with nothing but an empty slot table, in place of the last input's.
void placeCollections(const Sandbox& sandbox, const Names& names) {
    static Names placed;
    const std::string root = sandbox.collection();
    if (names == placed) {
        return;
    }
    for (const std::string& name : placed) {
        std::filesystem::remove_all(root + "/" + name.substr(0, name.find('/')));
    }
    for (const std::string& name : names) {
        Fixtures::makeDirectories(root + "/" + name);
        Fixtures::writeFile(root + "/" + name + "/slots", "");
    }
    placed = names;
}

/// The root as a pattern that fits nothing else.
std::string literally(const std::string& text) {
    std::string pattern;
    for (const char byte : text) {
        pattern += '\\';
        pattern += byte;
    }
    return pattern;
}

/// The collections that an expression names.
Names matchesOf(const std::string& expression, const Names& names, const std::string& root) {
    const std::string tail = expression.empty() ? "/*" : (expression[0] == '/' ? "" : "/*") + expression + "*";
    Names matches;
    for (const std::string& name : names) {
        if (::fnmatch((literally(root) + tail).c_str(), (root + "/" + name).c_str(), 0) == 0) {
            matches.push_back(name);
        }
    }
    return matches;
}

/// What the tool says of the question on standard error; where it lists matches, in their order here.
std::string answerOf(const Question& question, const std::string& root) {
    std::string expression = question.expression;
    std::string exact = expression;
    if (expression.compare(0, root.size() + 1, root + "/") == 0) {
        expression.erase(0, root.size());
        exact = expression.substr(1);
    }
    const auto unattached = [](const std::string& name) {
        return "Error attaching Halyx reader for " + Norvu::safeText(name) + "\n";
    };
    const Names matches = matchesOf(expression, question.collections, root);
    if (matches.empty()) {
        return "No table was found.\n";
    }
    if (matches.size() == 1) {
        return unattached(matches[0]);
    }
    if (!expression.empty() && expression.back() != '*' &&
        std::find(matches.begin(), matches.end(), exact) != matches.end()) {
        return "Exact match found. There are other matches. To see the other matches, try using the following:\n    '" +
               question.expression + "*'\n" + unattached(exact);
    }
    std::string listed = "More than one table was found. Try again using one of the following tables:\n";
    for (const std::string& match : matches) {
        listed += "  - " + Norvu::safeText(match) + "\n";
    }
    return listed;
}

/// Lines in an order that no directory decides.
std::string sortedLines(const std::string& text) {
    Names lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        lines.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    std::sort(lines.begin(), lines.end());
    std::string sorted;
    for (const std::string& line : lines) {
        sorted += line;
    }
    return sorted;
}

Said run(const char* what, std::string option, std::string expression) {
    return watch(what, 64 * 1024, [&] {
        std::string program = "halyx";
        std::string end = "--";
        // -H takes the expression as its argument.
        char* argv[] = {program.data(), option.data(), option == "-H" ? expression.data() : end.data(),
                        option == "-H" ? nullptr : expression.data(), nullptr};
        return Halyx::main(option == "-H" ? 3 : 4, argv);
    });
}

} // namespace

void runExpression(Bytes input) {
    static Sandbox sandbox;
    sandbox.enter();
    const std::string root = sandbox.collection();
    const Question question(input, root);
    placeCollections(sandbox, question.collections);

    const Said headers = run("-x", "-x", question.expression);
    const std::string expected = answerOf(question, root);
    if (!headers.out.empty() || headers.status != 1 || sortedLines(headers.err) != sortedLines(expected)) {
        fail("-x", "says:", headers.out + headers.err + headers.exception + "\ninstead of:\n" + expected);
    }
    for (const char* const option : {"-q", "-j"}) {
        const Said said = run(option, option, question.expression);
        if (said.err.find('\x1b') != std::string::npos && question.expression.find('\x1b') == std::string::npos) {
            fail(option, "writes an escape", said.err);
        }
    }
    expectPrintable("-H", run("-H", "-H", question.expression));
}

} // namespace Fuzz
