// Measures the client reports: `halyx -a` and `halyx -w` among many processes of which some map a collection, beside a bare loop
// that reads every process's map whole with read(2) and searches it for the collection's files, and beside `fuser -v` and `lsof`
// of the slot table where those are installed. The processes are this program's own, bounded in number, and die with it; each
// map has about as many lines as a service's. Whole programs by the wall clock, sides in turn, output to /dev/null.

#include "Measure.h"
#include "Table.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>

namespace {

using namespace Bench;

constexpr const char* kCollection = "bench";
constexpr int kMostProcesses = 4000;
constexpr int kPages = 140; ///< pages that a process maps, each with a line of its own

struct Settings {
    int processes = 1000;
    int clients = 200;
    int rounds = 5;
};

[[noreturn]] void usage(int status) {
    std::puts("Usage: halyx_bench_clients [--processes N] [--clients N] [--rounds N]\n"
              "  --processes  started for the measurement, 4000 at most (default 1000)\n"
              "  --clients    of them, those that map the collection (default 200)\n"
              "  --rounds     rounds of every measurement (default 5)");
    std::exit(status);
}

Settings parse(int argc, char** argv) {
    Settings settings;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view name = argv[i];
        if (name == "--help") {
            usage(0);
        }
        if (i + 1 == argc) {
            usage(2);
        }
        const int value = std::max(0, std::atoi(argv[i + 1]));
        if (name == "--processes") {
            settings.processes = std::min(value, kMostProcesses);
        } else if (name == "--clients") {
            settings.clients = value;
        } else if (name == "--rounds") {
            settings.rounds = std::max(1, value);
        } else {
            usage(2);
        }
    }
    settings.clients = std::min(settings.clients, settings.processes);
    return settings;
}

void mapFile(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0) == MAP_FAILED) {
        std::perror(path.c_str());
        ::_exit(1);
    }
    ::close(file);
}

/// A process that waits to be killed, with this program at the latest. Its readiness is a byte in the pipe.
pid_t start(const std::string& directory, bool client, int ready) {
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child != 0) {
        return child;
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (int page = 0; page < kPages; ++page) {
        // Neighbours differ in their rights, so that the system does not join them.
        ::mmap(nullptr, 4096, page % 2 == 0 ? PROT_READ : PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    }
    if (client) {
        mapFile(directory + "/slots");
        mapFile(directory + "/buckets");
    }
    (void)!::write(ready, "r", 1);
    while (::getppid() == parent) {
        ::pause();
    }
    ::_exit(0);
}

/// Every process's map, read whole and searched.
void bareLoop(const std::string& wanted) {
    static char buffer[1 << 20];
    DIR* const dir = ::opendir("/proc");
    std::size_t found = 0;
    while (const dirent* const entry = ::readdir(dir)) {
        const std::string path = std::string("/proc/") + entry->d_name + "/maps";
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file < 0) {
            continue;
        }
        std::size_t length = 0;
        for (ssize_t got = 0; (got = ::read(file, buffer + length, sizeof buffer - length)) > 0;) {
            length += static_cast<std::size_t>(got);
        }
        ::close(file);
        for (std::string_view rest(buffer, length);;) {
            const std::size_t at = rest.find(wanted);
            if (at == std::string_view::npos) {
                break;
            }
            ++found;
            rest.remove_prefix(at + wanted.size());
        }
    }
    ::closedir(dir);
    if (found == 0) {
        ::_exit(1);
    }
}

template <typename... Arguments>
[[noreturn]] void run(const char* program, Arguments... arguments) {
    ::dup2(devNull(), STDOUT_FILENO);
    ::dup2(devNull(), STDERR_FILENO);
    ::execlp(program, program, arguments..., nullptr);
    ::_exit(127);
}

bool installed(const char* program) {
    for (const char* const folder : {"/usr/bin/", "/bin/", "/usr/sbin/", "/sbin/"}) {
        if (::access((std::string(folder) + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

void printRow(const char* what, const std::vector<double>& seconds, const std::vector<double>& bare) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < seconds.size(); ++i) {
        ratios.push_back(seconds[i] / bare[i]);
    }
    const Spread spread = spreadOf(seconds);
    const Spread ratio = spreadOf(ratios);
    std::printf("  %-12s %8.4f s  (%.4f to %.4f)   %5.2f x bare  (%.2f to %.2f)\n", what, spread.median, spread.least,
                spread.most, ratio.median, ratio.least, ratio.most);
}

void measure(const Settings& settings, const std::string& directory) {
    const std::string slots = directory + "/slots";
    std::vector<double> bare;
    std::vector<double> all;
    std::vector<double> one;
    std::vector<double> fuser;
    std::vector<double> lsof;
    for (int round = -1; round < settings.rounds; ++round) {
        const double seconds[] = {
            timed([&] { bareLoop(slots); }),
            timed([] { run(HALYX_BINARY, "-a"); }),
            timed([] { run(HALYX_BINARY, "-w", kCollection); }),
            installed("fuser") ? timed([&] { run("fuser", "-v", slots.c_str()); }) : 0,
            installed("lsof") ? timed([&] { run("lsof", slots.c_str()); }) : 0,
        };
        if (round >= 0) { // the round before the first warms things up
            bare.push_back(seconds[0]);
            all.push_back(seconds[1]);
            one.push_back(seconds[2]);
            fuser.push_back(seconds[3]);
            lsof.push_back(seconds[4]);
        }
    }
    printRow("bare loop", bare, bare);
    printRow("halyx -a", all, bare);
    printRow("halyx -w", one, bare);
    for (const auto& [name, seconds] : {std::pair{"fuser -v", fuser}, std::pair{"lsof", lsof}}) {
        if (seconds.front() > 0) {
            printRow(name, seconds, bare);
        } else {
            std::printf("  %-12s is not installed\n", name);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (!optimised()) {
        return 1;
    }
    const Settings settings = parse(argc, argv);
    const std::string chroot = "/dev/shm/halyx-bench." + std::to_string(::getpid());
    ::setenv("Q7_CHROOT", chroot.c_str(), 1);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    printMachine();
    const std::string directory = chroot + "/var/shmem/halyxes/" + kCollection;
    build({directory, 1000, 8, false});

    int ready[2];
    if (::pipe2(ready, O_CLOEXEC) != 0) {
        std::perror("pipe");
        return 1;
    }
    std::vector<pid_t> processes;
    for (int i = 0; i < settings.processes; ++i) {
        processes.push_back(start(directory, i < settings.clients, ready[1]));
    }
    bool started = true;
    for (const pid_t process : processes) {
        char byte = 0;
        started = started && process > 0 && ::read(ready[0], &byte, 1) == 1;
    }
    if (started) {
        std::printf("%d processes of about %d lines, %d of them clients\n", settings.processes, kPages + 30,
                    settings.clients);
        measure(settings, directory);
    } else {
        std::fputs("halyx_bench_clients: not as many processes can be started here\n", stderr);
    }
    for (const pid_t process : processes) {
        if (process > 0) {
            ::kill(process, SIGKILL);
            ::waitpid(process, nullptr, 0);
        }
    }
    std::filesystem::remove_all(chroot);
    return started ? 0 : 1;
}
