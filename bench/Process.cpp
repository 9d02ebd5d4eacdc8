#include "Process.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void noteInterruption(int) {
    interrupted = 1;
}

int devNull() {
    return ::open("/dev/null", O_WRONLY | O_CLOEXEC);
}

/// In the child: runs `program` and ends.
[[noreturn]] void runAndEnd(const Program& program, int out) {
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE}) {
        ::signal(signal, SIG_DFL);
    }
    try {
        program(out);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "halyx_bench: %s\n", error.what());
        ::_exit(1);
    }
    ::_exit(0);
}

/// Waits for `child`, which a signal from the terminal reaches as well as this process.
int waitFor(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            failSystem("waitpid");
        }
    }
    if (interrupted != 0) {
        throw Interrupted();
    }
    return status;
}

long anonymousOf(pid_t process) {
    std::ifstream lines("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, 8, "RssAnon:") == 0) {
            return std::atol(line.c_str() + 8);
        }
    }
    return -1;
}

} // namespace

void throwWhenInterrupted() {
    ::signal(SIGPIPE, SIG_IGN); // a program that does not read what it is fed
    ::signal(SIGINT, noteInterruption);
    ::signal(SIGTERM, noteInterruption);
}

void failSystem(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

Program command(std::vector<std::string> words, Complaints complaints) {
    return [words = std::move(words), complaints](int out) {
        std::vector<char*> arguments;
        for (const std::string& word : words) {
            arguments.push_back(const_cast<char*>(word.c_str()));
        }
        arguments.push_back(nullptr);
        ::dup2(out, STDOUT_FILENO);
        if (complaints != Complaints::Shown) {
            ::dup2(complaints == Complaints::Kept ? out : devNull(), STDERR_FILENO);
        }
        ::execvp(arguments[0], arguments.data());
        std::perror(arguments[0]);
        ::_exit(127);
    };
}

Program halyx(std::vector<std::string> words, Complaints complaints) {
    std::vector<std::string> line{HALYX_BINARY};
    std::move(words.begin(), words.end(), std::back_inserter(line));
    return command(std::move(line), complaints);
}

bool installed(const std::string& program) {
    const char* const value = std::getenv("PATH");
    std::string_view path = value == nullptr ? "/usr/bin:/bin" : value;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find(':'), path.size());
        if (::access((std::string(path.substr(0, end)) + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return false;
}

pid_t start(const Program& program, int out) {
    const pid_t child = ::fork();
    if (child < 0) {
        failSystem("fork");
    }
    if (child == 0) {
        runAndEnd(program, out);
    }
    return child;
}

void finish(pid_t process, int wanted) {
    const int status = waitFor(process);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != wanted) {
        char text[64];
        std::snprintf(text, sizeof text, "a measured process failed, status %x", static_cast<unsigned>(status));
        throw std::runtime_error(text);
    }
}

double timed(const Program& program, int status) {
    const int out = devNull();
    const auto begin = std::chrono::steady_clock::now();
    const pid_t process = start(program, out);
    finish(process, status);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    ::close(out);
    return taken.count();
}

void feed(const std::vector<std::string>& words, const std::function<void(std::FILE* in)>& produce) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        failSystem("pipe");
    }
    const int nowhere = devNull();
    const pid_t child = start(
        [&](int out) {
            ::dup2(ends[0], STDIN_FILENO);
            command(words)(out);
        },
        nowhere);
    ::close(nowhere);
    ::close(ends[0]);
    std::FILE* const in = ::fdopen(ends[1], "w");
    produce(in);
    const bool written = std::fclose(in) == 0;
    finish(child, 0);
    if (!written) {
        throw std::runtime_error(words.front() + " did not read all that it was given");
    }
}

double anonymousKiB(const Program& program) {
    const int out = devNull();
    const pid_t child = start(
        [&](int to) {
            ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            ::raise(SIGSTOP);
            program(to);
        },
        out);
    ::close(out);
    int status = waitFor(child);
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    long result = -1;
    while (WIFSTOPPED(status) && ::ptrace(PTRACE_CONT, child, nullptr, nullptr) == 0) {
        status = waitFor(child);
        if (status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8))) {
            result = anonymousOf(child);
        }
    }
    if (WIFSTOPPED(status)) {
        ::kill(child, SIGKILL);
        waitFor(child);
    }
    if (result < 0) {
        throw std::runtime_error("a process's memory cannot be looked at here");
    }
    return static_cast<double>(result);
}

} // namespace Bench
