#include "cli/SystemCalls.h"

#include <algorithm>
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
const std::set<std::string> kReads{"read", "pread64", "close", "getdents64", "lseek", "_llseek", "fstat", "fstat64"};

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

bool SystemCalls::allowedPath(const std::string& arguments) const {
    std::string path;
    // A look at a descriptor has an empty path; one at a name is below a directory that was opened by its path. What lies on
    // the way to a directory is looked at for links.
    return quoted(arguments, path) &&
           (path.empty() || path[0] != '/' ||
            std::any_of(directories_.begin(), directories_.end(), [&](const std::string& directory) {
                return beginsWith(path, directory) || beginsWith(directory, path + "/");
            }));
}

bool SystemCalls::allowedOpen(const Call& call) {
    std::string path;
    if (!output_.empty() && quoted(call.arguments, path) && path == output_) {
        written_.insert(call.result.substr(0, call.result.find(' ')));
        return holds(call.arguments, "O_WRONLY|O_CREAT|O_TRUNC");
    }
    const bool onlyRead = holds(call.arguments, ", O_RDONLY") && !holds(call.arguments, "O_CREAT") &&
                          !holds(call.arguments, "O_TRUNC") && !holds(call.arguments, "O_TMPFILE") &&
                          !holds(call.arguments, "O_APPEND");
    return onlyRead && allowedPath(call.arguments);
}

bool SystemCalls::allowed(const Call& call) {
    if (kOwn.count(call.name) != 0 || kReads.count(call.name) != 0) {
        return true;
    }
    if (kLooks.count(call.name) != 0) {
        return allowedPath(call.arguments) && !holds(call.arguments, "W_OK");
    }
    if (call.name == "openat" || call.name == "open") {
        return allowedOpen(call);
    }
    if (call.name == "mmap" || call.name == "mmap2") {
        return !holds(call.arguments, "PROT_WRITE") || holds(call.arguments, "MAP_PRIVATE");
    }
    if (call.name == "write" || call.name == "writev") {
        return written_.count(call.arguments.substr(0, call.arguments.find(','))) != 0;
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
    written_ = {"1", "2"};
    programs_ = 0;
    std::vector<std::string> found;
    std::istringstream lines(record);
    for (std::string line; std::getline(lines, line);) {
        Call call;
        if (holds(line, "+++ exited with ")) {
            continue;
        }
        if (!parse(line, call) || !allowed(call)) {
            found.push_back(line);
        }
    }
    return found;
}
