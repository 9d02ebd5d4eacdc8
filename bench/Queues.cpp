// The report on the notification queues.
//
// Copying: the seconds that `halyx -q` itself reports for a queue of many records, beside memcpy of the same bytes by a
// process that maps the file and copies it into memory of its own, as fresh as the tool's.
// The report: the whole `halyx -q -v`, beside a bare loop that formats the same lines from the same file, and beside `cat` of
// the text.
// A live writer: queues of several sizes to which notifications are appended at several rates, evenly spaced: how long
// `halyx -q -v` takes to its report, and how often it starts the copy again. There is no limit to that, so runs are cut off.

#include "Halyx/ConquerTableLayout.h"
#include "MappedFile.h"
#include "Topics.h"
#include "writer/CollectionDirectory.h"
#include "writer/ConquerQueues.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

using Record = Halyx::Layout::ConquerRecord;
using Halyx::Layout::ConquerHeader;
using Clock = std::chrono::steady_clock;

constexpr const char* kCollection = "queues";
constexpr unsigned kCutOff = 5; ///< seconds

Halyx::Writer::Options queueOptions(std::uint32_t records) {
    Halyx::Writer::Options options;
    options.valueType = "U64";
    options.valueSize = 8;
    options.conquer = true;
    options.notifications = records;
    options.maxNotifications = records;
    Halyx::Writer::complete(options);
    return options;
}

/// The two queues of a collection that has nothing else, put in place by publish().
class QueueFiles {
public:
    explicit QueueFiles(std::uint32_t records)
        : directory_(kCollection, 0750), queues_(directory_, queueOptions(records), SharedMem::FenixId(1, 1)) {}

    void append() { queues_.append(next_++ * 2654435761U >> 12); }
    void publish() { directory_.publish(); }
    [[nodiscard]] std::string file() const { return directory_.path() + "/" + Halyx::Layout::kConquerFiles[0]; }

private:
    Halyx::Writer::CollectionDirectory directory_;
    Halyx::Writer::ConquerQueues queues_;
    std::uint32_t next_ = 0;
};

/// Seconds to map the file and copy its records.
double copyBare(const std::string& path) {
    const auto start = Clock::now();
    const MappedFile file(path);
    const std::size_t bytes = file.size() - Halyx::Layout::kConquerHeaderSize;
    auto* copy = static_cast<unsigned char*>(std::malloc(bytes));
    std::memcpy(copy, file.at(Halyx::Layout::kConquerRecordsOffset), bytes);
    const std::chrono::duration<double> taken = Clock::now() - start;
    const volatile unsigned char last = copy[bytes - 1];
    (void)last;
    std::free(copy);
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
    const MappedFile file(path);
    ConquerHeader header;
    std::memcpy(&header, file.at(0), sizeof header);
    static char block[(64 << 10) + 128];
    char* to = block;
    const auto add = [&](std::string_view text) { to = std::copy(text.begin(), text.end(), to); };
    for (std::uint32_t i = 0; i < header.notifications.value; ++i) {
        Record record;
        std::memcpy(&record, file.at(Halyx::Layout::kConquerRecordsOffset + sizeof record * i), sizeof record);
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

/// What a report's last lines say behind `word`.
double numberAfter(const std::string& text, const std::string& word) {
    const std::size_t at = text.rfind(word);
    if (at == std::string::npos) {
        throw std::runtime_error("a report lacks '" + word + "'");
    }
    return std::strtod(text.c_str() + at + word.size(), nullptr);
}

void report(Context& context, std::uint32_t records) {
    Report& report = context.report;
    report.table("Queues: " + std::to_string(records) + " records in the active queue, -v");
    QueueFiles queues(records);
    for (std::uint32_t i = 0; i < records; ++i) {
        queues.append();
    }
    queues.publish();
    const std::string file = queues.file();
    const std::string text = context.root + "/text";
    std::vector<Side> sides{
        {"halyx -q -v", halyx({"-q", kCollection, "-v"})},
        {"bare loop of the same lines", [file](int out) { formatBare(file, out); }},
        {"cat of the text", command({"cat", text})},
    };
    (void)timed([&](int) { sides[0].program(::open(text.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)); });
    if (context.settings.verify) {
        const Digest tool = digestOf(sides[0].program, 0, "pos: ");
        expectSame(sides[1].name, tool, digestOf(sides[1].program));
        report.note("the bare loop prints halyx's lines", "verified, " + std::to_string(tool.lines) + " lines");
    }
    std::vector<double> copied;
    std::vector<double> bareCopied;
    for (int round = -1; round < context.settings.rounds; ++round) {
        const double copy = numberAfter(digestOf(sides[0].program).tail, "Conquer scanned in ");
        const double bareCopy = copyBare(file);
        if (round >= 0) { // the round before the first warms the pages up
            copied.push_back(copy * 1e3);
            bareCopied.push_back(bareCopy * 1e3);
        }
    }
    alternate(sides, context.settings.rounds);
    report.row("copy, as halyx reports it", spreadOf(copied), "ms");
    report.row("map and memcpy", spreadOf(bareCopied), "ms");
    report.row("copy / memcpy, time", spreadOf(quotients(copied, bareCopied)), "times", "at most 2");
    for (const Side& side : sides) {
        report.row(side.name, spreadOf(milliseconds(side)), "ms");
    }
    for (std::size_t i = 1; i < sides.size(); ++i) {
        report.row("halyx -q -v / " + sides[i].name + ", time", spreadOf(quotients(sides[0].seconds, sides[i].seconds)),
                   "times", i == 1 ? "at most 1.25" : "");
    }
}

/// Appends `rate` notifications a second, evenly spaced, until killed or the bench has gone.
[[noreturn]] void appendForever(QueueFiles& queues, double rate) {
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
bool runBeside(double& seconds, double& restarts) {
    const auto start = Clock::now();
    try {
        const Digest digest = digestOf([](int out) {
            ::alarm(kCutOff); // the tool never ends by itself while the writer is too fast for it
            halyx({"-q", kCollection, "-v"})(out);
        });
        restarts = numberAfter(digest.tail, "Restarted ");
    } catch (const std::runtime_error&) {
        return false;
    }
    seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return true;
}

void reportBeside(Context& context, std::uint32_t records, double rate) {
    std::filesystem::remove_all(context.collection(kCollection));
    QueueFiles queues(records);
    for (std::uint32_t i = 0; i < records / 2; ++i) {
        queues.append();
    }
    queues.publish();
    const pid_t writer = ::fork();
    if (writer < 0) {
        failSystem("fork");
    }
    if (writer == 0) {
        appendForever(queues, rate);
    }
    std::vector<double> times;
    std::vector<double> restarts;
    int cut = 0;
    for (int round = 0; round < context.settings.rounds && cut < 2; ++round) {
        double took = 0;
        double again = 0;
        if (runBeside(took, again)) {
            times.push_back(took * 1e3);
            restarts.push_back(again);
        } else {
            ++cut;
        }
    }
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    const std::string what =
        std::to_string(records) + " records, " + std::to_string(static_cast<int>(rate)) + " appends a second";
    if (cut != 0) {
        context.report.note(what,
                            std::to_string(cut) + " reports did not come within " + std::to_string(kCutOff) + " s");
    }
    if (!times.empty()) {
        context.report.row(what, spreadOf(times), "ms to the report");
        context.report.row(what, spreadOf(restarts), "restarts");
    }
}

} // namespace

void queues(Context& context) {
    std::filesystem::create_directories(context.root);
    for (const std::uint32_t records : context.settings.sizes({10000000}, {50000})) {
        report(context, records);
        std::filesystem::remove_all(context.collection(kCollection));
    }
    context.report.table("Queues beside a writer, -v");
    const bool quick = context.settings.quick;
    for (const std::uint32_t records : quick ? std::vector{1000U} : std::vector{1000U, 10000U, 100000U, 1000000U}) {
        for (const double rate : quick ? std::vector{1e3} : std::vector{1e3, 1e4, 1e5}) {
            reportBeside(context, records, rate);
        }
    }
}

} // namespace Bench
