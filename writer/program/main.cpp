#include "Norvu/Exception.h"
#include "Norvu/Text.h"
#include "writer/Errors.h"
#include "writer/program/Command.h"
#include "writer/program/Stop.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace Halyx::Writer {

namespace {

constexpr int kFailed = 1;
constexpr int kMisused = 2;

const std::vector<const Command*>& commands() {
    static const std::vector<const Command*> all = {
        &createCommand(), &loadCommand(), &churnCommand(), &mirrorProcCommand(), &attachCommand(),
    };
    return all;
}

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size() + 2, width), ' ');
    return text;
}

std::string programHelp() {
    std::string text =
        "usage: halyx-writer COMMAND ARGUMENT...\n"
        "\n"
        "Makes and changes collections, which halyx prints. A collection is named relative to /var/shmem/halyxes\n"
        "(below the directory in Q7_CHROOT when that is set).\n"
        "\n"
        "Commands:\n";
    for (const Command* command : commands()) {
        text += "  " + padded(command->name(), 14) + command->summary() + "\n";
    }
    text +=
        "\n"
        "halyx-writer COMMAND --help tells more about one. halyx-writer --version prints the version.\n"
        "\n"
        "Every command prints the line \"ready COLLECTION\" when the collection is in place. SIGINT and SIGTERM end a\n"
        "command cleanly. The exit status is 0 for success, 1 for a failure, 2 for a wrong command line.\n";
    return text;
}

std::string commandHelp(const Command& command) {
    std::string text = std::string("usage: halyx-writer ") + command.name() + " " + command.operands() +
                       " [OPTION...]\n\n" + command.summary() + "\n\nOptions:\n";
    for (const OptionDescription& option : command.options()) {
        text += "  " + padded(std::string(option.name) + (*option.value != '\0' ? " " : "") + option.value, 22) +
                option.help + "\n";
    }
    text += "  " + padded("--help", 22) + "this text\n";
    const std::string description = command.description();
    return description.empty() ? text : text + "\n" + description;
}

int complain(const std::string& text, int status) {
    std::fputs(("halyx-writer: " + Norvu::safeText(text) + "\n").c_str(), stderr);
    return status;
}

int dispatch(const std::vector<std::string>& words) {
    if (words.empty()) {
        return complain("no command; halyx-writer --help lists them", kMisused);
    }
    if (words[0] == "--help" || words[0] == "-h") {
        print(programHelp());
        return 0;
    }
    if (words[0] == "--version") {
        print("halyx-writer " HALYX_VERSION "\n");
        return 0;
    }
    for (const Command* command : commands()) {
        if (words[0] != command->name()) {
            continue;
        }
        const std::vector<std::string> rest(words.begin() + 1, words.end());
        for (const std::string& word : rest) {
            if (word == "--") {
                break;
            }
            if (word == "--help") {
                print(commandHelp(*command));
                return 0;
            }
        }
        try {
            const Arguments arguments(rest, command->options(), 1, command->mostOperands());
            const Stop stop;
            return command->run(arguments, stop);
        } catch (const UsageError& error) {
            return complain(std::string(command->name()) + ": " + error.what() + "; see halyx-writer " +
                                command->name() + " --help",
                            kMisused);
        }
    }
    return complain("unknown command '" + words[0] + "'; halyx-writer --help lists them", kMisused);
}

} // namespace

void print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throwSystemError("cannot write to standard output", errno);
    }
}

void printReady(const std::string& collection) {
    print("ready " + Norvu::safeText(collection) + "\n");
}

} // namespace Halyx::Writer

int main(int argc, char** argv) {
    // A reader of our output that goes away is a failed write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return Halyx::Writer::dispatch(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
    } catch (const Norvu::Exception& exception) {
        return Halyx::Writer::complain(exception.msg(), Halyx::Writer::kFailed);
    } catch (const std::exception& exception) {
        return Halyx::Writer::complain(exception.what(), Halyx::Writer::kFailed);
    }
}
