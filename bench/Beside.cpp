// What a reader costs the writer: updates a second of a writer at full speed alone, and beside the tool that walks its collection
// (or reports on its queues) again and again. A second is one of the
// writer's processor time: who else has the processor is the system's choice. Whatever runs beside it takes something of the machine, so it is measured beside
// two others as well: a process that only spins, and one that only reads as much memory of its own. The sides take turns in
// slices of one run of one writer, and the ratios are of slices next to each other.

#include "Topics.h"
#include "writer/Collection.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace Bench {

namespace {

using Clock = std::chrono::steady_clock;
using Count = std::atomic<std::uint64_t>;

constexpr const char* kCollection = "beside";
constexpr std::uint32_t kValueSize = 64;

struct Kind {
    const char* name;
    bool dynamic;
    bool conquer;
    std::vector<std::string> words; ///< of the tool that runs beside it
};

/// A process, with all that it starts, that lives as long as this does.
class Companion {
public:
    explicit Companion(const Program& program) {
        const pid_t parent = ::getpid();
        process_ = start(
            [&program, parent](int) {
                ::setpgid(0, 0);
                ::prctl(PR_SET_PDEATHSIG, SIGKILL);
                if (::getppid() == parent) {
                    program(::open("/dev/null", O_WRONLY | O_CLOEXEC));
                }
            },
            -1);
        ::setpgid(process_, process_);
    }
    ~Companion() {
        ::kill(-process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;

    /// Processor time that it has had, in seconds.
    [[nodiscard]] double seconds() const {
        clockid_t clock{};
        timespec time{};
        if (::clock_getcpuclockid(process_, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
            failSystem("a process's clock");
        }
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    }

private:
    pid_t process_;
};

/// Memory that processes have in common.
class SharedCount {
public:
    SharedCount()
        : count_(new (::mmap(nullptr, sizeof(Count), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                     Count{}) {}
    ~SharedCount() { ::munmap(count_, sizeof(Count)); }
    SharedCount(const SharedCount&) = delete;
    SharedCount& operator=(const SharedCount&) = delete;
    Count& operator*() const { return *count_; }

private:
    Count* count_;
};

/// Replaces random elements for ever, and counts the replacements.
[[noreturn]] void update(const Kind& kind, std::uint32_t elements, Count& count) {
    Halyx::Writer::Options options;
    options.valueType = "BesideValue";
    options.valueSize = kValueSize;
    options.dynamic = kind.dynamic;
    options.conquer = kind.conquer;
    options.notifications = options.maxNotifications = 1000;
    options.slots = options.buckets = options.slabEntries = elements;
    options.keyOf = [](std::string_view value) { return value.substr(0, sizeof(std::uint32_t)); };
    Halyx::Writer::Collection collection(kCollection, options);
    char value[kValueSize] = {};
    const auto put = [&](std::uint32_t key, std::uint64_t version) {
        std::memcpy(value, &key, sizeof key);
        std::memcpy(value + 8, &version, sizeof version);
        collection.put(options.keyOf({value, sizeof value}), {value, sizeof value});
    };
    for (std::uint32_t key = 0; key < elements; ++key) {
        put(key, 0);
    }
    collection.publish();
    std::uint64_t random = 1;
    for (std::uint64_t done = 1;; ++done) {
        random = random * 0x5851f42d4c957f2dU + 0x14057b7ef767814fU;
        put(static_cast<std::uint32_t>((random >> 32) * elements >> 32), done);
        count.store(done, std::memory_order_relaxed);
    }
}

/// Runs the tool again and again.
Program again(const std::vector<std::string>& words) {
    return [words](int out) {
        for (;;) {
            const pid_t tool = start(halyx(words), out);
            ::waitpid(tool, nullptr, 0);
        }
    };
}

void spin(int) {
    for (volatile std::uint64_t turns = 0;;) {
        turns = turns + 1;
    }
}

Program readMemory(std::size_t bytes) {
    return [bytes](int) {
        const std::vector<std::uint64_t> memory(bytes / sizeof(std::uint64_t), 1);
        for (volatile std::uint64_t sum = 0;;) {
            std::uint64_t part = 0;
            for (const std::uint64_t word : memory) {
                part += word;
            }
            sum = sum + part;
        }
    };
}

struct Neighbour {
    std::string name;
    Program program; ///< none: alone
    std::vector<double> rates{};
};

/// Updates a second in a slice.
double measure(const Neighbour& neighbour, const Companion& writer, Count& count, double seconds) {
    // A process that sleeps: who interrupts it interrupts us.
    const auto sleep = [](double time) {
        timed([time](int) { std::this_thread::sleep_for(std::chrono::duration<double>(time)); });
    };
    std::unique_ptr<Companion> companion;
    if (neighbour.program) {
        companion = std::make_unique<Companion>(neighbour.program);
    }
    sleep(seconds / 4); // caches and clocks get used to it
    const std::uint64_t before = count.load();
    const double begin = writer.seconds();
    do {
        sleep(seconds);
    } while (count.load() == before); // it has not had its turn
    return static_cast<double>(count.load() - before) / (writer.seconds() - begin);
}

std::size_t bytesOf(const std::string& directory) {
    std::size_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        bytes += entry.file_size();
    }
    return bytes;
}

void measureKind(Context& context, const Kind& kind, std::uint32_t elements) {
    const double seconds = context.settings.quick ? 0.05 : 0.3;
    Report& report = context.report;
    report.table("Beside a reader: " + std::string(kind.name) + ", " + std::to_string(elements) + " elements of " +
                 std::to_string(kValueSize) + " bytes");
    const SharedCount count;
    const Companion writer([&](int) { update(kind, elements, *count); });
    for (const auto begin = Clock::now(); (*count).load() == 0;) {
        if (Clock::now() - begin > std::chrono::minutes(1)) {
            throw std::runtime_error("the writer does not begin");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::vector<Neighbour> neighbours{
        {"alone", {}},
        {"beside halyx", again(kind.words)},
        {"beside a process that spins", spin},
        {"beside one that reads as much memory", readMemory(bytesOf(context.collection(kCollection)))},
    };
    // Several slices a round: what else the machine does comes and goes.
    for (int round = 0; round < 3 * context.settings.rounds; ++round) {
        for (std::size_t i = 0; i < neighbours.size(); ++i) {
            Neighbour& neighbour = neighbours[round % 2 == 0 ? i : neighbours.size() - 1 - i];
            neighbour.rates.push_back(measure(neighbour, writer, *count, seconds));
        }
    }
    for (const Neighbour& neighbour : neighbours) {
        std::vector<double> millions;
        for (const double rate : neighbour.rates) {
            millions.push_back(rate / 1e6);
        }
        report.row(neighbour.name, spreadOf(millions), "M updates/s");
    }
    for (std::size_t i = 1; i < neighbours.size(); ++i) {
        report.row(neighbours[i].name + " / alone", spreadOf(quotients(neighbours[i].rates, neighbours[0].rates)),
                   "times", i == 1 ? "at least 0.95" : "");
    }
    for (std::size_t i = 2; i < neighbours.size(); ++i) {
        report.row("beside halyx / " + neighbours[i].name,
                   spreadOf(quotients(neighbours[1].rates, neighbours[i].rates)), "times");
    }
}

} // namespace

void beside(Context& context) {
    for (const std::uint32_t elements : context.settings.sizes({100000}, {5000})) {
        for (const Kind& kind :
             {Kind{"static", false, false, {kCollection}}, Kind{"dynamic", true, false, {kCollection}},
              Kind{"queues, walked", false, true, {kCollection}},
              Kind{"queues, -q -v", false, true, {"-q", "-v", kCollection}}}) {
            measureKind(context, kind, elements);
            std::filesystem::remove_all(context.root);
            std::filesystem::create_directories(context.root);
        }
    }
}

} // namespace Bench
