#include "hostile/Runner.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Hostile {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Both ends of a pipe, closed at the end.
class Pipe {
public:
    Pipe() {
        if (::pipe2(ends_, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int end(unsigned which) const { return ends_[which]; }
    void closeEnd(unsigned which) {
        if (ends_[which] >= 0) {
            ::close(ends_[which]);
            ends_[which] = -1;
        }
    }

private:
    int ends_[2] = {-1, -1};
};

class SpawnSettings {
public:
    SpawnSettings(int out, int err) {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions_, out, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions_, err, STDERR_FILENO);
        ::posix_spawnattr_init(&attributes_);
        // A group of its own, so that all of what it starts can be ended.
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP);
        ::posix_spawnattr_setpgroup(&attributes_, 0);
    }
    ~SpawnSettings() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* actions() const { return &actions_; }
    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> all;
    for (std::string& text : texts) {
        all.push_back(text.data());
    }
    all.push_back(nullptr);
    return all;
}

/// Nothing of ours but what a program needs to start; sanitizers end what they find with a status that the tool never has.
std::vector<std::string> environment(const std::string& root) {
    std::vector<std::string> settings = {"Q7_CHROOT=" + root, "LC_ALL=C", "HALYX_TYPE_PATH=/nonexistent"};
    for (const char* const kept : {"PATH", "LD_LIBRARY_PATH", "HALYX_SPOIL", "HALYX_SPOIL_PROGRAM"}) {
        if (const char* value = std::getenv(kept)) {
            settings.push_back(std::string(kept) + "=" + value);
        }
    }
    for (const char* const options : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS"}) {
        const char* value = std::getenv(options);
        settings.push_back(std::string(options) + "=" + (value != nullptr ? std::string(value) + ":" : "") +
                           "exitcode=99:allocator_may_return_null=0");
    }
    return settings;
}

void keep(std::string& text, const char* bytes, std::size_t size, bool& cut) {
    const std::size_t room = Runner::kKept - text.size();
    text.append(bytes, std::min(size, room));
    cut = cut || size > room;
}

/// Reads both streams until both have ended; false when the time is over before.
bool drain(Pipe& out, Pipe& err, Run& run, Clock::time_point begin, double limit) {
    static thread_local std::vector<char> buffer(std::size_t{1} << 16);
    while (out.end(0) >= 0 || err.end(0) >= 0) {
        pollfd polled[2] = {{out.end(0), POLLIN, 0}, {err.end(0), POLLIN, 0}}; // -1 is ignored
        const double left = limit - secondsSince(begin);
        if (left <= 0) {
            return false;
        }
        if (::poll(polled, 2, static_cast<int>(left * 1000) + 1) <= 0) {
            continue;
        }
        for (Pipe* const pipe : {&out, &err}) {
            if (polled[pipe == &out ? 0 : 1].revents == 0) {
                continue;
            }
            const ssize_t got = ::read(pipe->end(0), buffer.data(), buffer.size());
            if (got > 0) {
                const bool first = pipe == &out;
                keep(first ? run.out : run.err, buffer.data(), static_cast<std::size_t>(got),
                     first ? run.outCut : run.errCut);
            } else if (got == 0 || errno != EINTR) {
                pipe->closeEnd(0);
            }
        }
    }
    return true;
}

} // namespace

Runner::Runner(std::string self, std::string program, double limitSeconds)
    : self_(std::move(self)), program_(std::move(program)), limit_(limitSeconds) {}

Run Runner::run(const std::vector<std::string>& arguments, const std::string& root, bool unprivileged) const {
    Run run;
    Pipe out;
    Pipe err;
    const SpawnSettings settings(out.end(1), err.end(1));
    std::vector<std::string> words;
    if (unprivileged && ::geteuid() == 0) {
        words = {self_, kAsNobody};
    }
    words.push_back(program_);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environment(root);
    const Clock::time_point begin = Clock::now();
    pid_t pid = -1;
    if (::posix_spawn(&pid, words.front().c_str(), settings.actions(), settings.attributes(), pointers(words).data(),
                      pointers(variables).data()) != 0) {
        throw std::runtime_error("cannot start " + words.front());
    }
    out.closeEnd(1);
    err.closeEnd(1);
    run.hung = !drain(out, err, run, begin, limit_);
    int status = 0;
    rusage used{};
    // Its streams have ended, so it is about to end as well; a thing that closes them and goes on is met by the limit.
    pid_t reaped = run.hung ? 0 : ::wait4(pid, &status, WNOHANG, &used);
    while (reaped == 0 && !run.hung) {
        ::usleep(100);
        run.hung = secondsSince(begin) > limit_;
        reaped = ::wait4(pid, &status, WNOHANG, &used);
    }
    if (reaped == 0) {
        ::kill(-pid, SIGKILL);
        ::wait4(pid, &status, 0, &used);
    }
    run.seconds = secondsSince(begin);
    run.peakKiB = static_cast<std::uint64_t>(used.ru_maxrss);
    if (WIFEXITED(status)) {
        run.status = WEXITSTATUS(status);
    } else if (!run.hung) {
        run.signal = WTERMSIG(status);
    }
    return run;
}

int runAsNobody(char** arguments) {
    constexpr unsigned nobody = 65534;
    if (*arguments == nullptr || ::setgid(nobody) != 0 || ::setuid(nobody) != 0) {
        return 126;
    }
    ::execv(*arguments, arguments);
    return 127;
}

} // namespace Hostile
