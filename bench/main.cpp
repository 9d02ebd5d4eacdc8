// Measures the element walk: elements a second of `halyx` printing a whole collection, beside a bare loop that prints the
// same bytes from the same memory, with and without looking ahead. Whole processes, in turn, output to /dev/null, wall
// clock; medians of the rounds with the lowest and highest, and the ratios of rounds run next to each other. Then the
// memory of the tool that is not the collection's own pages, for a small and a large collection.

#include "Measure.h"
#include "Table.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/ptrace.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace Bench;

constexpr const char* kCollection = "bench";

struct Settings {
    std::vector<std::uint32_t> elements{1000000, 10000000};
    int rounds = 5;
    std::string root = "/dev/shm";
};

[[noreturn]] void usage(int status) {
    std::puts("Usage: halyx_bench [--elements N[,N...]] [--rounds N] [--dir DIR]\n"
              "  --elements  sizes of the collections (default 1000000,10000000)\n"
              "  --rounds    rounds of every measurement (default 5)\n"
              "  --dir       where the collections are made (default /dev/shm)");
    std::exit(status);
}

Settings parse(int argc, char** argv) {
    Settings settings;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--help") {
            usage(0);
        }
        if (i + 1 == argc) {
            usage(2);
        }
        const char* value = argv[++i];
        if (name == "--rounds") {
            settings.rounds = std::max(1, std::atoi(value));
        } else if (name == "--dir") {
            settings.root = value;
        } else if (name == "--elements") {
            settings.elements.clear();
            for (const char* at = value; at != nullptr;
                 at = std::strchr(at, ',') ? std::strchr(at, ',') + 1 : nullptr) {
                settings.elements.push_back(static_cast<std::uint32_t>(std::strtoul(at, nullptr, 10)));
            }
        } else {
            usage(2);
        }
    }
    return settings;
}

[[noreturn]] void runTool() {
    ::dup2(Bench::devNull(), STDOUT_FILENO);
    ::execl(HALYX_BINARY, HALYX_BINARY, kCollection, nullptr);
    std::perror(HALYX_BINARY);
    ::_exit(127);
}

/// Anonymous memory of the tool at its end, in KiB: everything that it holds besides mapped files.
long anonymousKiB() {
    const pid_t child = ::fork();
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        runTool();
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    long result = -1;
    while (::ptrace(PTRACE_CONT, child, nullptr, nullptr) == 0 && ::waitpid(child, &status, 0) == child &&
           WIFSTOPPED(status)) {
        if (status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8))) {
            std::ifstream lines("/proc/" + std::to_string(child) + "/status");
            for (std::string line; std::getline(lines, line);) {
                if (line.compare(0, 8, "RssAnon:") == 0) {
                    result = std::atol(line.c_str() + 8);
                }
            }
        }
    }
    return result;
}

void printRow(const char* what, const std::vector<double>& seconds, std::uint32_t elements) {
    const Spread spread = spreadOf(seconds);
    std::printf("  %-28s %8.2f M/s  (%.2f to %.2f)\n", what, elements / spread.median / 1e6,
                elements / spread.most / 1e6, elements / spread.least / 1e6);
}

void measure(const Bench::Table& table, int rounds) {
    Bench::build(table);
    std::printf("%u elements, %s values of %u bytes\n", table.elements, table.dynamic ? "dynamic" : "static",
                table.valueSize);
    std::vector<double> tool;
    std::vector<double> bare;
    std::vector<double> ahead;
    for (int round = -1; round < rounds; ++round) {
        const double first = timed(runTool);
        const double second = timed([&] { Bench::bareLoop(table, devNull(), false); });
        const double third = timed([&] { Bench::bareLoop(table, devNull(), true); });
        if (round >= 0) { // the round before the first warms the pages up
            tool.push_back(first);
            bare.push_back(second);
            ahead.push_back(third);
        }
    }
    printRow("halyx", tool, table.elements);
    printRow("bare loop", bare, table.elements);
    printRow("bare loop looking ahead", ahead, table.elements);
    printRatio("halyx / bare", tool, bare);
    printRatio("halyx / bare looking ahead", tool, ahead);
    std::printf("  %-28s %8ld KiB\n\n", "memory besides the files", anonymousKiB());
}

} // namespace

int main(int argc, char** argv) {
    if (!optimised()) {
        return 1;
    }
    const Settings settings = parse(argc, argv);
    const std::string chroot = settings.root + "/halyx-bench." + std::to_string(::getpid());
    ::setenv("Q7_CHROOT", chroot.c_str(), 1);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    printMachine();
    const std::string directory = chroot + "/var/shmem/halyxes/" + kCollection;
    for (const std::uint32_t elements : settings.elements) {
        for (const bool dynamic : {false, true}) {
            measure({directory, elements, dynamic ? 64U : 8U, dynamic}, settings.rounds);
            std::filesystem::remove_all(chroot);
        }
    }
    return 0;
}
