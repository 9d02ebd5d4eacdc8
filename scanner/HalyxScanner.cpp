#include "HalyxScanner.h"

#include "Halyx/Util.h"
#include "HalyxClientScanner.h"
#include "Help.h"
#include "Mem/RootPath.h"
#include "Norvu/Debug.h"
#include "Norvu/Text.h"
#include "PrintTable.h"
#include "SharedMem/TableFinder.h"

#include <algorithm>
#include <getopt.h>
#include <iostream>
#include <string>
#include <vector>

namespace Halyx {

namespace {

// Made before any report runs, so that its trace setting is looked at however the tool ends.
[[maybe_unused]] const Norvu::Platform::DebugHandler& conquerHandler =
    Norvu::Platform::getDebugHandler("HalyxConquerScanner");

constexpr const char* kShortOptions = "xpjef:wc:ahqvH:";
const option kLongOptions[] = {
    {"who", no_argument, nullptr, 'w'},          {"what", required_argument, nullptr, 'c'},
    {"who-all", no_argument, nullptr, 'a'},      {"help", no_argument, nullptr, 'h'},
    {"handle", required_argument, nullptr, 'H'}, {nullptr, 0, nullptr, 0},
};

struct CommandLine {
    std::string outputFile;
    int pid = 0;
    bool who = false;
    bool whoAll = false;
    bool headers = false;
    bool queues = false;
    bool validOnly = false;
    bool emptyBuckets = false;
    HalyxTextify::Style style = HalyxTextify::Style::Plain;
    const char* expr = "";
};

/// Takes the argument of -c; false, and said on standard error, when it names no process.
bool parsePid(const char* argument, int& pid) {
    try {
        pid = std::stoi(argument);
    } catch (const std::exception& error) {
        std::cerr << "Error obtaining client with PID" << argument << ": " << error.what() << std::endl;
        return false;
    }
    if (pid <= 0) {
        std::cerr << pid << " is an invalid PID" << std::endl;
        return false;
    }
    return true;
}

/// Acts on each option in command-line order. True when a report is to be run; else `status` is the exit status.
bool parse(int argc, char** argv, CommandLine& line, int& status) {
    optind = 0; // a fresh start, also when the tool is run twice in one process
    for (int letter = 0; (letter = ::getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr)) != -1;) {
        switch (letter) {
        case 'a':
            line.whoAll = true;
            break;
        case 'w':
            line.who = true;
            break;
        case 'x':
            line.headers = true;
            break;
        case 'q':
            line.queues = true;
            break;
        case 'v':
            line.validOnly = true;
            break;
        case 'e':
            line.emptyBuckets = true;
            break;
        case 'j':
            line.style = HalyxTextify::Style::Json;
            break;
        case 'p':
            line.style = HalyxTextify::Style::Pretty;
            break;
        case 'f':
            line.outputFile = optarg;
            break;
        case 'c':
            if (!parsePid(optarg, line.pid)) {
                status = 1;
                return false;
            }
            break;
        case 'H':
            std::cout << Norvu::safeText(Util::traceHandleName(optarg, "Halyx", false)) << std::endl;
            status = 0;
            return false;
        default:
            status = displayHelp();
            return false;
        }
    }
    if (optind < argc) {
        line.expr = argv[optind];
    }
    return true;
}

int printMatch(const CommandLine& line, const std::string& table) {
    return printTable(line.outputFile, table.c_str(), line.who, line.headers, line.queues, line.style,
                      line.emptyBuckets, line.validOnly);
}

int runOnMatches(const CommandLine& line) {
    // A full path is looked up as what follows the root; the collection of just that name is the exact match.
    std::string expr = line.expr;
    std::string exact = expr;
    const std::string root = collectionsRoot() + "/";
    if (expr.compare(0, root.size(), root) == 0) {
        expr.erase(0, root.size() - 1);
        exact = expr.substr(1);
    }
    Mem::TableFinder finder("HalyxScanner", "halyxes");
    finder.find(expr.c_str(), Util::isHalyxFile);
    const std::vector<std::string>& matches = finder.results();
    if (matches.empty()) {
        std::cerr << "No table was found." << std::endl;
        return 1;
    }
    if (matches.size() == 1) {
        return printMatch(line, matches.front());
    }
    if (!expr.empty() && expr.back() != '*') {
        const auto match = std::find(matches.begin(), matches.end(), exact);
        if (match != matches.end()) {
            std::cerr << "Exact match found. There are other matches. "
                      << "To see the other matches, try using the following:" << std::endl
                      << "    '" << line.expr << "*'" << std::endl;
            return printMatch(line, *match);
        }
    }
    std::cerr << "More than one table was found. "
              << "Try again using one of the following tables:" << std::endl;
    for (const std::string& match : matches) {
        std::cerr << "  - " << Norvu::safeText(match) << std::endl;
    }
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    CommandLine line;
    int status = 0;
    if (!parse(argc, argv, line, status)) {
        return status;
    }
    if (line.whoAll) {
        HalyxClientScanner scanner(line.outputFile, nullptr);
        if (!scanner.initialize()) {
            std::cerr << "Failed to initialize HalyxClientScanner." << std::endl;
            return 1;
        }
        return scanner.doGetAllClientInfo();
    }
    if (line.pid != 0) {
        HalyxClientScanner scanner(line.outputFile, nullptr);
        if (!scanner.initialize()) {
            // Said, and gone on: the report then goes to standard output.
            std::cerr << "Failed to initialize HalyxClientScanner." << std::endl;
        }
        return scanner.doGetTableInfo(line.pid);
    }
    return runOnMatches(line);
}

} // namespace Halyx
