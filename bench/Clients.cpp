// The client reports: `halyx -a` and `halyx -w` among many processes of which a fifth map a collection, beside a bare loop that
// reads every process's map whole with read(2) and searches it for the collection's files, and beside `fuser -v` and `lsof` of
// the slot table where those are installed. The processes are this program's own, bounded in number, and die with it; each
// map has about as many lines as a service's.

#include "Table.h"
#include "Topics.h"

#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr int kPages = 140; ///< pages that a process maps, each with a line of its own

void mapFile(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0) == MAP_FAILED) {
        ::_exit(1);
    }
    ::close(file);
}

/// A process that waits to be killed, with this program at the latest. Its readiness is a byte in the pipe.
pid_t startWaiting(const std::string& directory, bool client, int ready) {
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

/// Reads every process's map whole and searches it. Writes how many mappings of `wanted` there are.
void searchMaps(const std::string& wanted, int out) {
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
    const std::string text = std::to_string(found) + "\n";
    (void)!::write(out, text.data(), text.size());
}

/// The processes among which clients are looked for. Kills them.
class Crowd {
public:
    Crowd(const std::string& directory, int processes, int clients) {
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0) {
            failSystem("pipe");
        }
        bool started = true;
        for (int i = 0; started && i < processes; ++i) {
            const pid_t process = startWaiting(directory, i < clients, ready[1]);
            started = process > 0;
            if (started) {
                processes_.push_back(process);
            }
        }
        ::close(ready[1]);
        for (std::size_t i = 0; started && i < processes_.size(); ++i) {
            char byte = 0;
            started = ::read(ready[0], &byte, 1) == 1;
        }
        ::close(ready[0]);
        if (!started) {
            kill();
            throw std::runtime_error("not as many processes can be started here");
        }
    }
    ~Crowd() { kill(); }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

private:
    void kill() {
        for (const pid_t process : processes_) {
            ::kill(process, SIGKILL);
        }
        for (const pid_t process : processes_) {
            ::waitpid(process, nullptr, 0);
        }
        processes_.clear();
    }

    std::vector<pid_t> processes_;
};

} // namespace

void clients(Context& context) {
    const std::string name = "clients";
    const std::string directory = context.collection(name);
    const std::string slots = directory + "/slots";
    const int processes = context.settings.processes;
    const int ofThem = processes / 5;
    Report& report = context.report;
    report.table("Clients: " + std::to_string(processes) + " processes of about " + std::to_string(kPages + 30) +
                 " mappings, " + std::to_string(ofThem) + " of them clients");
    build({directory, 1000, 8, false});
    const Crowd crowd(directory, processes, ofThem);
    std::vector<Side> sides{
        {"bare loop", [slots](int out) { searchMaps(slots, out); }},
        {"halyx -a", halyx({"-a"})},
        {"halyx -w", halyx({"-w", name})},
    };
    if (digestOf(sides[0].program).head != std::to_string(ofThem) + "\n") {
        throw std::runtime_error("the bare loop does not find the clients");
    }
    if (digestOf(sides[2].program).bytes < std::uint64_t{7} * static_cast<unsigned>(ofThem)) {
        throw std::runtime_error("halyx -w does not name the clients"); // each has 7 bytes at least
    }
    for (const std::vector<std::string>& words : {std::vector<std::string>{"fuser", "-v", slots}, {"lsof", slots}}) {
        const std::string side = words.size() == 3 ? words[0] + " " + words[1] : words[0];
        if (installed(words[0])) {
            sides.push_back({side, command(words, Complaints::Dropped)});
        } else {
            report.note(side, "skipped: not installed");
        }
    }
    alternate(sides, context.settings.rounds);
    for (const Side& side : sides) {
        report.row(side.name, spreadOf(milliseconds(side)), "ms");
    }
    for (std::size_t i = 1; i < sides.size(); ++i) {
        report.row(sides[i].name + " / bare loop, time", spreadOf(quotients(sides[i].seconds, sides[0].seconds)),
                   "times", sides[i].name.compare(0, 5, "halyx") == 0 ? "at most 1.2" : "");
    }
}

} // namespace Bench
