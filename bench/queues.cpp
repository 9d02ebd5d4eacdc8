// Measures the report on the notification queues.
//
// Copying: the seconds that `halyx -q` itself reports for a queue of many records, beside memcpy of the same bytes by a
// process that maps the file and copies it into memory of its own, as fresh as the tool's.
// The report: the whole `halyx -q`, beside a bare loop that formats the same lines from the same file, and beside `cat` of
// the text; everything goes to /dev/null.
// A live writer: queues of several sizes to which notifications are appended at several rates, evenly spaced: how long
// `halyx -q -v` takes to its report, and how often it starts the copy again. There is no limit to that, so runs are cut off.

#include "Halyx/ConquerTableLayout.h"
#include "Measure.h"
#include "writer/CollectionDirectory.h"
#include "writer/ConquerQueues.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/mman.h>

namespace {

using namespace Bench;
using Record = Halyx::Layout::ConquerRecord;
using Halyx::Layout::ConquerHeader;
using Clock = std::chrono::steady_clock;

constexpr const char* kCollection = "bench";
constexpr double kCutOff = 5;

struct Settings {
    std::uint32_t records = 10000000;
    int rounds = 5;
    bool live = true;
    std::string root = "/dev/shm";
};

[[noreturn]] void usage(int status) {
    std::puts("Usage: halyx_bench_queues [--records N] [--rounds N] [--live 0|1] [--dir DIR]\n"
              "  --records  of the queue that is copied and printed (default 10000000)\n"
              "  --rounds   rounds of every measurement (default 5)\n"
              "  --live     whether to measure beside a writer too, two minutes at most (default 1)\n"
              "  --dir      where the queues are made (default /dev/shm)");
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
        const char* value = argv[i + 1];
        if (name == "--records") {
            settings.records = static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10));
        } else if (name == "--rounds") {
            settings.rounds = std::max(1, std::atoi(value));
        } else if (name == "--live") {
            settings.live = std::atoi(value) != 0;
        } else if (name == "--dir") {
            settings.root = value;
        } else {
            usage(2);
        }
    }
    return settings;
}

Halyx::Writer::Options queueOptions(std::uint32_t records) {
    Halyx::Writer::Options options;
    options.valueType = "U64";
    options.valueSize = 8;
    options.conquer = true;
    options.notifications = records;
    options.maxNotifications = records;
    options.complete();
    return options;
}

/// The two queues of a collection that has nothing else, put in place by publish().
class Queues {
public:
    explicit Queues(std::uint32_t records)
        : directory_(kCollection, 0750), queues_(directory_, queueOptions(records), SharedMem::FenixId(1, 1)) {}

    void append() { queues_.append(next_++ * 2654435761U >> 12); }
    void publish() { directory_.publish(); }
    [[nodiscard]] std::string file() const { return directory_.path() + "/" + Halyx::Layout::kConquerFiles[0]; }

private:
    Halyx::Writer::CollectionDirectory directory_;
    Halyx::Writer::ConquerQueues queues_;
    std::uint32_t next_ = 0;
};

[[noreturn]] void runTool(int out, bool validOnly) {
    ::dup2(out, STDOUT_FILENO);
    ::execl(HALYX_BINARY, HALYX_BINARY, "-q", kCollection, validOnly ? "-v" : nullptr, nullptr);
    std::perror(HALYX_BINARY);
    ::_exit(127);
}

[[noreturn]] void fail(const std::string& what) {
    std::perror(what.c_str());
    std::exit(1);
}

const unsigned char* mapWhole(const std::string& path, std::size_t& size) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    size = static_cast<std::size_t>(std::filesystem::file_size(path));
    void* base = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, file, 0);
    if (base == MAP_FAILED) {
        fail(path);
    }
    return static_cast<const unsigned char*>(base);
}

/// Seconds to map the file and copy its records.
double copyBare(const std::string& path) {
    const auto start = Clock::now();
    std::size_t size = 0;
    const unsigned char* base = mapWhole(path, size);
    const std::size_t bytes = size - Halyx::Layout::kConquerHeaderSize;
    auto* copy = static_cast<unsigned char*>(std::malloc(bytes));
    std::memcpy(copy, base + Halyx::Layout::kConquerRecordsOffset, bytes);
    const std::chrono::duration<double> taken = Clock::now() - start;
    const volatile unsigned char last = copy[bytes - 1];
    (void)last;
    std::free(copy);
    ::munmap(const_cast<unsigned char*>(base), size);
    return taken.count();
}

void putField(char*& to, std::uint32_t number) {
    char* const begin = to;
    to = std::to_chars(to, to + 10, number).ptr;
    while (to < begin + 10) {
        *to++ = ' ';
    }
}

/// The lines of the report by the loop that does only the unavoidable, straight from the file.
void formatBare(const std::string& path, int out) {
    std::size_t size = 0;
    const unsigned char* base = mapWhole(path, size);
    ConquerHeader header;
    std::memcpy(&header, base, sizeof header);
    static char block[(64 << 10) + 128];
    char* to = block;
    const auto add = [&](std::string_view text) { to = std::copy(text.begin(), text.end(), to); };
    for (std::uint32_t i = 0; i < header.notifications.value; ++i) {
        Record record;
        std::memcpy(&record, base + Halyx::Layout::kConquerRecordsOffset + std::size_t{12} * i, sizeof record);
        add("pos: ");
        putField(to, i);
        add("  |  slot: ");
        putField(to, record.slot);
        add("  |  sequence: ");
        to = std::to_chars(to, to + 20, record.sequence()).ptr;
        *to++ = '\n';
        if (to - block >= 64 << 10) {
            (void)!::write(out, block, static_cast<std::size_t>(to - block));
            to = block;
        }
    }
    (void)!::write(out, block, static_cast<std::size_t>(to - block));
}

/// What the last lines of a report say: the number in front of or behind `word`.
double numberAfter(const std::string& text, const std::string& word) {
    const std::size_t at = text.rfind(word);
    return at == std::string::npos ? -1 : std::strtod(text.c_str() + at + word.size(), nullptr);
}

std::string lastBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const auto size = static_cast<std::streamoff>(in.tellg());
    in.seekg(std::max<std::streamoff>(0, size - 200));
    std::string bytes(200, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

void printSeconds(const char* what, const std::vector<double>& seconds) {
    const Spread spread = spreadOf(seconds);
    std::printf("  %-28s %8.4f s    (%.4f to %.4f)\n", what, spread.median, spread.least, spread.most);
}

void measureReport(const Settings& settings, const std::string& root) {
    Queues queues(settings.records);
    for (std::uint32_t i = 0; i < settings.records; ++i) {
        queues.append();
    }
    queues.publish();
    const std::string text = root + "/text";
    std::printf("%u records in the active queue, -v\n", settings.records);
    std::vector<double> copied;
    std::vector<double> bareCopied;
    std::vector<double> tool;
    std::vector<double> bare;
    std::vector<double> cat;
    for (int round = -1; round < settings.rounds; ++round) {
        const int out = ::open(text.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        timed([&] { runTool(out, true); });
        ::close(out);
        const double copy = numberAfter(lastBytes(text), "Conquer scanned in ");
        const double bareCopy = copyBare(queues.file());
        const double first = timed([] { runTool(devNull(), true); });
        const double second = timed([&] { formatBare(queues.file(), devNull()); });
        const double third = timed([&] {
            ::dup2(devNull(), STDOUT_FILENO);
            ::execlp("cat", "cat", text.c_str(), nullptr);
        });
        if (round >= 0) { // the round before the first warms the pages up
            copied.push_back(copy);
            bareCopied.push_back(bareCopy);
            tool.push_back(first);
            bare.push_back(second);
            cat.push_back(third);
        }
    }
    printSeconds("copy, as reported", copied);
    printSeconds("map and memcpy", bareCopied);
    printRatio("memcpy / copy", copied, bareCopied);
    printSeconds("halyx -q -v", tool);
    printSeconds("bare loop of the same lines", bare);
    printSeconds("cat of the text", cat);
    printRatio("bare / halyx", tool, bare);
    printRatio("cat / halyx", tool, cat);
    std::printf("\n");
}

/// Appends `rate` notifications a second, evenly spaced, until killed or the bench has gone.
[[noreturn]] void write(Queues& queues, double rate) {
    const pid_t parent = ::getppid();
    const auto start = Clock::now();
    for (std::uint64_t done = 0;;) {
        const std::chrono::duration<double> passed = Clock::now() - start;
        for (; static_cast<double>(done) < passed.count() * rate; ++done) {
            queues.append();
            if (done % 1000 == 0 && ::getppid() != parent) {
                ::_exit(0);
            }
        }
    }
}

/// Runs the tool once beside the writer: seconds and restarts, or false when it was cut off.
bool runBeside(const std::string& text, double& seconds, double& restarts) {
    const int out = ::open(text.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const auto start = Clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(static_cast<unsigned>(kCutOff)); // the tool never ends by itself while the writer is too fast for it
        runTool(out, true);
    }
    ::close(out);
    int status = 0;
    ::waitpid(child, &status, 0);
    const std::chrono::duration<double> taken = Clock::now() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return false;
    }
    seconds = taken.count();
    restarts = numberAfter(lastBytes(text), "Restarted ");
    return true;
}

void measureLive(const Settings& settings, const std::string& root, std::uint32_t records, double rate) {
    std::filesystem::remove_all(root + "/var");
    Queues queues(records);
    for (std::uint32_t i = 0; i < records / 2; ++i) {
        queues.append();
    }
    queues.publish();
    const pid_t writer = ::fork();
    if (writer == 0) {
        write(queues, rate);
    }
    std::vector<double> seconds;
    std::vector<double> restarts;
    int cut = 0;
    for (int round = 0; round < settings.rounds && cut < 2; ++round) {
        double took = 0;
        double again = 0;
        if (runBeside(root + "/text", took, again)) {
            seconds.push_back(took);
            restarts.push_back(again);
        } else {
            ++cut;
        }
    }
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    std::printf("  %10u %12.0f  ", records, rate);
    if (seconds.empty()) {
        std::printf("none of %d reports came within %.0f s\n", cut, kCutOff);
        return;
    }
    const Spread time = spreadOf(seconds);
    const Spread again = spreadOf(restarts);
    std::printf("%9.4f s (%.4f to %.4f)   %8.0f (%.0f to %.0f)", time.median, time.least, time.most, again.median,
                again.least, again.most);
    std::printf(cut != 0 ? "   %d cut off\n" : "\n", cut);
}

} // namespace

int main(int argc, char** argv) {
    if (!optimised()) {
        return 1;
    }
    const Settings settings = parse(argc, argv);
    const std::string chroot = settings.root + "/halyx-bench." + std::to_string(::getpid());
    ::setenv("Q7_CHROOT", chroot.c_str(), 1);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::filesystem::create_directories(chroot);
    printMachine();
    measureReport(settings, chroot);
    if (settings.live) {
        std::printf("Beside a writer, -v\n  %10s %12s  %s\n", "records", "appends/s", "to the report, restarts");
        for (const std::uint32_t records : {1000U, 10000U, 100000U, 1000000U}) {
            for (const double rate : {1e3, 1e4, 1e5}) {
                measureLive(settings, chroot, records, rate);
            }
        }
    }
    std::filesystem::remove_all(chroot);
    return 0;
}
