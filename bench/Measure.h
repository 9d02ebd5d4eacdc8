#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// How everything here is measured: whole processes by the wall clock, sides in turn, medians and spreads.

namespace Bench {

/// False, and said on standard error, in a build whose figures would mean nothing.
bool optimised();

/// The processor, the system and the compiler, on one line.
void printMachine();

/// A descriptor that swallows what is written to it.
int devNull();

/// Runs `body` in a process of its own; its wall-clock seconds.
template <typename Body>
double timed(Body body) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        body();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "halyx_bench: a measured process failed, status %x\n", static_cast<unsigned>(status));
        std::exit(1);
    }
    return taken.count();
}

struct Spread {
    double median;
    double least;
    double most;
};

Spread spreadOf(std::vector<double> values);

/// One line: the ratio of rounds that were run next to each other, `bare` divided by `tool`.
void printRatio(const char* what, const std::vector<double>& tool, const std::vector<double>& bare);

} // namespace Bench
