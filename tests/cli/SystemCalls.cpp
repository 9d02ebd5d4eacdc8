#include "cli/SystemCalls.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace {

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

bool beginsWith(const std::string& text, const std::string& part) {
    return text.compare(0, part.size(), part) == 0;
}

/// The first text in quotes; false when there is none.
bool quoted(const std::string& arguments, std::string& text) {
    const std::size_t begin = arguments.find('"');
    const std::size_t end = begin == std::string::npos ? begin : arguments.find('"', begin + 1);
    if (end == std::string::npos) {
        return false;
    }
    text = arguments.substr(begin + 1, end - begin - 1);
    return true;
}

std::string firstArgument(const std::string& arguments) {
    return arguments.substr(0, arguments.find_first_of(",)"));
}

/// Of the process's own memory, identity and clock: nobody else can tell. Both word sizes.
const std::set<std::string> kOwn{"brk",
                                 "munmap",
                                 "mremap",
                                 "mprotect",
                                 "madvise",
                                 "arch_prctl",
                                 "set_thread_area",
                                 "rseq",
                                 "set_robust_list",
                                 "getrandom",
                                 "futex",
                                 "exit_group",
                                 "set_tid_address",
                                 "clock_gettime",
                                 "sysinfo",
                                 "uname",
                                 "getuid",
                                 "geteuid",
                                 "getuid32",
                                 "geteuid32",
                                 "clock_gettime64",
                                 "getpid",
                                 "gettid",
                                 "rt_sigprocmask",
                                 "rt_sigreturn",
                                 "sched_getaffinity"};

/// On a descriptor that was opened for reading.
const std::set<std::string> kReads{"read", "pread64", "getdents64", "lseek", "_llseek", "fstat", "fstat64"};

/// On a path, without changing it.
const std::set<std::string> kLooks{"newfstatat", "fstatat64", "stat",       "stat64", "lstat",     "lstat64",
                                   "statx",      "readlink",  "readlinkat", "access", "faccessat", "faccessat2"};

} // namespace

bool SystemCalls::parse(std::string line, Call& call) {
    line.erase(0, line.find_first_not_of("0123456789 ")); // the process id
    const std::size_t open = line.find('(');
    const std::size_t equals = line.rfind(" = ");
    if (open == std::string::npos || equals == std::string::npos || equals < open) {
        return false;
    }
    call = {line.substr(0, open), line.substr(open + 1, equals - open - 1), line.substr(equals + 3)};
    return true;
}

/// The path that a call names, from the root on; false when there is none to be sure of. A name without a directory is one in
/// a directory that was opened by its path.
bool SystemCalls::pathOf(const Call& call, std::string& path) const {
    if (!quoted(call.arguments, path)) {
        return false;
    }
    if (path.empty() || path[0] != '/') {
        const auto directory = opened_.find(firstArgument(call.arguments));
        if (directory == opened_.end() || path == ".." || beginsWith(path, "../") || holds(path, "/../") ||
            (path.size() > 2 && path.compare(path.size() - 3, 3, "/..") == 0)) {
            return false;
        }
        path = directory->second + "/" + path;
    }
    // The loader looks for libraries beside the program's directory, by way of it.
    path = std::filesystem::path(path).lexically_normal();
    return true;
}

bool SystemCalls::inPlace(const std::string& path) const {
    return std::any_of(places_.begin(), places_.end(),
                       [&](const std::string& place) { return path == place || beginsWith(path, place + "/"); });
}

bool SystemCalls::isOpen(const std::string& descriptor) const {
    return descriptor == "0" || opened_.count(descriptor) != 0 || written_.count(descriptor) != 0;
}

bool SystemCalls::allowedLook(const Call& call) const {
    if (holds(call.arguments, ", \"\", ")) {
        return isOpen(firstArgument(call.arguments)); // at what is open
    }
    if (firstArgument(call.arguments) == "-1" && beginsWith(call.result, "-1 EBADF")) {
        return true; // in a directory that there is not
    }
    std::string path;
    // What lies on the way to a place is looked at for links.
    return !holds(call.arguments, "W_OK") && pathOf(call, path) &&
           (inPlace(path) || std::any_of(places_.begin(), places_.end(),
                                         [&](const std::string& place) { return beginsWith(place, path + "/"); }));
}

bool SystemCalls::allowedOpen(const Call& call) {
    std::string path;
    if (!pathOf(call, path)) {
        return false;
    }
    const std::string descriptor = call.result.substr(0, call.result.find(' '));
    const bool done = descriptor[0] != '-';
    for (const std::string* const file : {&output_, &appended_}) {
        if (!file->empty() && path == *file) {
            if (done) {
                written_.insert(descriptor);
            }
            return holds(call.arguments, "O_WRONLY|O_CREAT|") &&
                   holds(call.arguments, "O_TRUNC") == (file == &output_) &&
                   holds(call.arguments, "O_APPEND") == (file == &appended_);
        }
    }
    if (done) {
        opened_[descriptor] = path;
    }
    return holds(call.arguments, ", O_RDONLY") && !holds(call.arguments, "O_CREAT") &&
           !holds(call.arguments, "O_TRUNC") && !holds(call.arguments, "O_TMPFILE") &&
           !holds(call.arguments, "O_APPEND") && inPlace(path);
}

bool SystemCalls::allowedClose(const std::string& descriptor) {
    const bool open = isOpen(descriptor);
    opened_.erase(descriptor);
    written_.erase(descriptor);
    return open;
}

bool SystemCalls::allowed(const Call& call) {
    if (kOwn.count(call.name) != 0) {
        return true;
    }
    if (kReads.count(call.name) != 0) {
        return isOpen(firstArgument(call.arguments));
    }
    if (call.name == "close") {
        return allowedClose(firstArgument(call.arguments));
    }
    if (kLooks.count(call.name) != 0) {
        return allowedLook(call);
    }
    if (call.name == "openat" || call.name == "open") {
        return allowedOpen(call);
    }
    if (call.name == "mmap" || call.name == "mmap2") {
        return !holds(call.arguments, "PROT_WRITE") || holds(call.arguments, "MAP_PRIVATE");
    }
    if (call.name == "write" || call.name == "writev") {
        return written_.count(firstArgument(call.arguments)) != 0;
    }
    if (call.name == "fcntl" || call.name == "fcntl64") {
        // Not of the streams that were handed to us: whoever did that shares their flags.
        const std::string descriptor = firstArgument(call.arguments);
        return descriptor != "1" && descriptor != "2" && written_.count(descriptor) != 0 &&
               (holds(call.arguments, ", F_SETFL, O_APPEND)") ||
                holds(call.arguments, ", F_SETFL, O_RDONLY|O_APPEND)"));
    }
    if (call.name == "rt_sigaction") {
        return beginsWith(call.arguments, "SIGBUS, ");
    }
    if (call.name == "ioctl") {
        return holds(call.arguments, ", TCGETS"); // whether the output is a terminal
    }
    if (call.name == "prlimit64" || call.name == "ugetrlimit") {
        return call.name == "ugetrlimit" || holds(call.arguments, ", NULL, "); // asked, not set
    }
    return call.name == "execve" && ++programs_ == 1;
}

std::vector<std::string> SystemCalls::traces(const std::string& record) {
    opened_.clear();
    written_ = {"1", "2"};
    programs_ = 0;
    std::vector<std::string> found;
    std::istringstream lines(record);
    for (std::string line; std::getline(lines, line);) {
        Call call;
        // Pages of files that were cut short meanwhile are the only signals that are taken.
        if (holds(line, "+++ exited with ") || holds(line, "--- SIGBUS {si_signo=SIGBUS, si_code=BUS_ADRERR, ")) {
            continue;
        }
        if (!parse(line, call) || !allowed(call)) {
            found.push_back(line);
        }
    }
    return found;
}
