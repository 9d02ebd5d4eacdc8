// The tool, spoiled: starts the real one, HALYX_SPOIL_PROGRAM, and does to it what HALYX_SPOIL names. By this the runner of
// broken collections is shown to notice each of these.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

std::string setting(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

void writeAll(int to, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = ::write(to, text.data() + done, text.size() - done);
        if (written <= 0) {
            return;
        }
        done += static_cast<std::size_t>(written);
    }
}

std::string takeAll(int from) {
    std::string text;
    char buffer[4096];
    ::lseek(from, 0, SEEK_SET);
    for (ssize_t got = 0; (got = ::read(from, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
}

void replaceFirst(std::string& text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    if (at != std::string::npos) {
        text.replace(at, from.size(), to);
    }
}

[[noreturn]] void startReal(const std::string& program, char** argv) {
    ::execv(program.c_str(), argv);
    ::_exit(127);
}

/// Runs the real program to its end with its streams in memory.
int runReal(const std::string& program, char** argv, std::string& out, std::string& err) {
    const int kept[2] = {::memfd_create("out", MFD_CLOEXEC), ::memfd_create("err", MFD_CLOEXEC)};
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(kept[0], STDOUT_FILENO);
        ::dup2(kept[1], STDERR_FILENO);
        startReal(program, argv);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    out = takeAll(kept[0]);
    err = takeAll(kept[1]);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 127;
}

void eatMemory() {
    std::vector<char> eaten(std::size_t{230} << 20);
    for (std::size_t i = 0; i < eaten.size(); i += 4096) {
        static_cast<volatile char*>(eaten.data())[i] = 1;
    }
}

} // namespace

int main(int, char** argv) {
    const std::string spoil = setting("HALYX_SPOIL");
    const std::string program = setting("HALYX_SPOIL_PROGRAM");
    if (spoil == "crash") {
        std::raise(SIGSEGV);
    } else if (spoil == "hang") {
        for (;;) {
            ::pause();
        }
    } else if (spoil == "hang closed") {
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        for (;;) {
            ::pause();
        }
    } else if (spoil == "memory") {
        eatMemory();
    }
    if (spoil.empty() || spoil == "memory") {
        startReal(program, argv);
    }
    std::string out;
    std::string err;
    int status = runReal(program, argv, out, err);
    if (spoil == "escape") {
        out += "\x1b[31m\n";
    } else if (spoil == "high control") {
        err += "\x9b\n";
    } else if (spoil == "sanitizer") {
        err += "SUMMARY: AddressSanitizer: heap-buffer-overflow\n";
    } else if (spoil == "status") {
        status = 1 - status;
    } else if (spoil == "strange status") {
        status = 99;
    } else if (spoil == "message") {
        replaceFirst(out, "validation", "valuation");
    } else if (spoil == "complaint") {
        replaceFirst(err, "Error", "Fault");
    } else if (spoil == "element") {
        replaceFirst(out, "-->a", "-->b");
    } else if (spoil == "silence") {
        out.clear();
        err.clear();
    } else if (spoil == "stream") {
        out.swap(err);
    } else if (spoil == "flood" || spoil == "failing flood") {
        out.append(std::size_t{64} << 20, 'x');
        out += "\n";
        status = spoil == "failing flood" ? 1 - status : status;
    }
    writeAll(STDOUT_FILENO, out);
    writeAll(STDERR_FILENO, err);
    return status;
}
