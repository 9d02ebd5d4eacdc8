#pragma once

#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

// Whatever is measured runs in a process of its own. What fails throws std::runtime_error, so that main can remove what was
// made.

namespace Bench {

/// Thrown in place of going on once the user wants the program to end.
struct Interrupted : std::exception {
    [[nodiscard]] const char* what() const noexcept override { return "interrupted"; }
};

/// From now on SIGINT and SIGTERM end the program that is measured, and then this one by an exception.
void throwWhenInterrupted();

/// Throws std::runtime_error with `what` and the system's reason.
[[noreturn]] void failSystem(const std::string& what);

/// What is run in a process of its own, its text going to the descriptor: it returns, or becomes another program.
using Program = std::function<void(int out)>;

enum class Complaints { Shown, Dropped, Kept }; ///< Kept: as part of the text

/// The program that `words` name, looked for in PATH.
Program command(std::vector<std::string> words, Complaints complaints = Complaints::Shown);
/// The tool that this build made.
Program halyx(std::vector<std::string> words, Complaints complaints = Complaints::Shown);
/// Whether PATH has `program`.
bool installed(const std::string& program);

/// Runs a process to its end; its wall-clock seconds. Throws when it does not end with `status`.
double timed(const Program& program, int status = 0);

/// The two halves of that: the process, whose text goes to `out`; and waiting for its end.
pid_t start(const Program& program, int out);
void finish(pid_t process, int status);

/// Hands the program that `words` name its standard input, of which `produce` writes the text.
void feed(const std::vector<std::string>& words, const std::function<void(std::FILE* in)>& produce);

/// Anonymous memory of a program at its end, in KiB: everything that it holds besides mapped files. Throws when the system
/// does not let one process trace another.
double anonymousKiB(const Program& program);

} // namespace Bench
