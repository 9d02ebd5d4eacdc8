// Writers killed at any instant, one after the other: what they leave is whole for every report, and the next one goes on with it.
// HALYX_KILLS is how many are killed (200 by default, 60 with sanitizers).

#include "fixtures/QueueOutput.h"
#include "live/KilledWriters.h"
#include "live/LiveTest.h"
#include "live/Remains.h"

#include "Halyx/FenixLayout.h"

#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <unistd.h>

using namespace Fixtures;
using Step = KilledWriters::Step;

namespace {

constexpr const char* kSteps[KilledWriters::kSteps] = {"starting",   "making files", "filling them", "putting in place",
                                                       "restarting", "changing",     "failed"};

using Works = std::vector<std::string>;

/// What writers must have been killed in the midst of, or the points of the kills are not spread: of each of these lines one
/// work at least, and every work when there are enough kills.
const std::vector<Works> kMustMeet = {{"creation or removal of an incarnation"},
                                      {"growth of slots", "growth of buckets", "growth of a slab", "growth of a queue"},
                                      {"switch of queues"},
                                      {"insertion or erasure", "replacement", "notification"}};
constexpr unsigned kEnoughKills = 2000;

/// What changes in a file as the first or second step of some work.
struct Sign {
    const char* file;
    std::size_t offset;
    std::size_t size;
};

using Halyx::Layout::ConquerHeader;
using Halyx::Layout::SlotTableHeader;

constexpr Sign kSigns[] = {
    {"slots", offsetof(SlotTableHeader, freeSlots), 4}, // an insertion, an erasure
    {"slots", offsetof(SlotTableHeader, occupiedSlots), 4},
    {"slots", offsetof(SlotTableHeader, lookasideValue), 8}, // a replacement
    {"conquer.1", offsetof(ConquerHeader, corralEnd), 8},    // a notification
    {"conquer.2", offsetof(ConquerHeader, corralEnd), 8},
    {"conquer.1", offsetof(ConquerHeader, currentPos), 4}, // the same, or a switch
    {"conquer.2", offsetof(ConquerHeader, currentPos), 4},
    {"conquer.1", offsetof(ConquerHeader, corralStart), 8}, // a switch
    {"conquer.2", offsetof(ConquerHeader, corralStart), 8},
};

class KillsLive : public LiveTest {
protected:
    static constexpr double kMostSeconds = 60; ///< for one report

    static unsigned kills() {
        const char* const text = std::getenv("HALYX_KILLS");
        const unsigned long value = text != nullptr ? std::strtoul(text, nullptr, 10) : 0;
        const bool slow = std::string(HALYX_SANITIZE) != "";
        return value > 0 ? static_cast<unsigned>(value) : slow ? 60 : 200;
    }

    [[nodiscard]] std::string path() const { return root_.collections() + "/killed"; }
    [[nodiscard]] std::string shmem() const { return std::filesystem::path(root_.collections()).parent_path(); }
    [[nodiscard]] bool inPlace() const { return exists(path() + "/slots"); }

    [[nodiscard]] bool dynamicInPlace() const {
        const auto header = fromBytes<Halyx::Layout::SlotTableHeader>(readFile(path() + "/slots"));
        return (header.flags & Halyx::Layout::kSlotFlagDynamic) != 0;
    }

    KilledWriters::Plan plan() {
        KilledWriters::Plan plan;
        plan.restart = inPlace() && random_() % 2 == 0;
        plan.dynamic = plan.restart ? dynamicInPlace() : random_() % 2 == 0;
        const std::uint32_t sizes[] = {1, 1, 4, 64};
        const std::uint32_t queues[] = {1, 2, 3, 100, 5000};
        plan.firstSize = sizes[random_() % std::size(sizes)];
        plan.mostNotifications = queues[random_() % std::size(queues)];
        plan.seed = static_cast<std::uint32_t>(random_());
        return plan;
    }

    /// Anywhere in 20 ms; every other time early, while everything is small and grows.
    void sleepAWhile() { ::usleep(static_cast<useconds_t>(random_() % (random_() % 2 == 0 ? 20000 : 2500))); }

    /// Kills the writer right behind a store that only the work which it begins makes: most of what a writer does takes too few
    /// instructions for a signal to come in their midst but by great luck.
    void killInTheMidstOf(const Sign& sign) {
        const int file = ::open((path() + "/" + sign.file).c_str(), O_RDONLY | O_CLOEXEC);
        const auto look = [&] {
            std::uint64_t seen = 0;
            if (::pread(file, &seen, sign.size, static_cast<off_t>(sign.offset)) < 0) {
                ADD_FAILURE() << "cannot read " << sign.file;
            }
            return seen;
        };
        const std::uint64_t before = look();
        const auto more = static_cast<unsigned>(random_() % (random_() % 4 == 0 ? 300 : 16));
        aimed_ += writers_.killWhen([&] { return look() != before; }, more, 20000) ? 1U : 0U;
        ::close(file);
    }

    /// The values' types are not described to it, so that typed reports print their bytes.
    Process& prepareReport(const Arguments& arguments) {
        ++reports_;
        return prepare(arguments).environment("HALYX_TYPE_PATH", root_.path()).limitSeconds(kMostSeconds);
    }

    Outcome run(const Arguments& arguments) { return prepareReport(arguments).run(); }

    /// The values of a walk by key; every one must have been written so. Empty, with a failure noted, when one was not.
    std::vector<std::uint64_t> sequencesOf(const std::string& text, bool* fromDynamic) {
        const WalkOutput output = WalkOutput::parse(text);
        EXPECT_TRUE(output.strange.empty()) << output.strange[0];
        EXPECT_TRUE(output.corruptions.empty())
            << "bucket " << output.corruptions[0].bucket << ": " << output.corruptions[0].reason;
        EXPECT_FALSE(output.chainRestarts.empty()) << text;
        lookasideHits_ += std::strtoul(output.lookasideHits.c_str(), nullptr, 10);
        elements_ += output.elements.size();
        std::vector<std::uint64_t> sequences(KilledWriters::kKeys);
        std::string bytes;
        for (const WalkOutput::Element& element : output.elements) {
            Halyx::Writer::ChurnHead head{};
            const bool hexadecimal = bytesFromHex(element.text, bytes);
            cutToLength(bytes);
            const bool written = hexadecimal &&
                                 (Halyx::Writer::readChurnValue(bytes, false, head) ||
                                  Halyx::Writer::readChurnValue(bytes, true, head)) &&
                                 head.key < KilledWriters::kKeys && head.sequence <= writers_.lastSequence();
            if (!written || (fromDynamic != nullptr && !Halyx::Writer::readChurnValue(bytes, *fromDynamic, head))) {
                ADD_FAILURE() << "slot " << element.slot << " was never written so: " << element.text;
                return {};
            }
            std::uint64_t& sequence = sequences[static_cast<std::size_t>(head.key)];
            if (fromDynamic != nullptr && sequence != 0) {
                ADD_FAILURE() << "key " << head.key << " twice";
                return {};
            }
            sequence = head.sequence;
        }
        return sequences;
    }

    /// A report on every process of the machine ends where one of them maps a file "slots" that lies nearer to the root than any
    /// collection: other tests have such.
    static bool ofOthers(const Outcome& outcome) {
        return outcome.status == 1 && outcome.err.rfind("halyx: basic_string::substr", 0) == 0;
    }

    /// A report beside the writer: it is there from before the kill to after it.
    void checkBeside(const Arguments& arguments, const Outcome& outcome, bool wasInPlace, pid_t writer) {
        expectClean(outcome);
        if (ofOthers(outcome)) {
            return;
        }
        if (outcome.status == 1 && !wasInPlace) {
            EXPECT_EQ(outcome.err, "No table was found.\n") << outcome.describe();
            EXPECT_EQ(outcome.out, "");
            return;
        }
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        EXPECT_EQ(outcome.err, "");
        if (arguments == Arguments{"-q", "killed"}) {
            (void)lastOfOneRun(QueueOutput::parse(outcome.out));
        } else {
            checkReport(arguments, outcome.out, wasInPlace, writer);
        }
    }

    /// A report that ended well, of which no more is known than that no kill can have spoilt it. The collection was in place all the
    /// time, or not; its only client may have been the writer, or nobody when that is 0.
    void checkReport(const Arguments& arguments, const std::string& text, bool wasInPlace, pid_t writer) {
        const std::string& option = arguments[0];
        if (option == "killed" || option == "-e") {
            (void)sequencesOf(text, nullptr);
        } else if (option == "-x") {
            EXPECT_EQ(fenixesIn(text).size(), 1U) << text;
        } else if (option == "-q") {
            checkValidNotifications(QueueOutput::parse(text));
        } else if (option == "-w" || option == "-a") {
            checkClients(text, option == "-w" || wasInPlace, writer);
        }
    }

    /// Those of the active queue, one after the other.
    static void checkValidNotifications(const QueueOutput& output) {
        EXPECT_EQ(output.strange, "");
        ASSERT_EQ(output.queues.size(), 1U);
        const QueueOutput::Queue& queue = output.queues[0];
        EXPECT_TRUE(queue.active);
        EXPECT_LE(queue.currentPos, queue.count);
        ASSERT_EQ(queue.records.size(), queue.currentPos);
        for (std::uint32_t position = 0; position < queue.currentPos; ++position) {
            const QueueOutput::Record& record = queue.records[position];
            EXPECT_EQ(record.position, position);
            EXPECT_TRUE(record.slot);
            EXPECT_EQ(record.sequence, queue.records[0].sequence + position);
        }
    }

    /// The collection's block in a report on clients.
    void checkClients(const std::string& text, bool mustBeThere, pid_t writer) const {
        const std::string title = "Halyx table \"" + path() + "\"\n";
        const std::size_t begin = text.find(title);
        if (begin == std::string::npos) {
            EXPECT_FALSE(mustBeThere) << text;
            return;
        }
        std::istringstream block(text.substr(begin + title.size(), text.find("\n\n", begin) - begin - title.size()));
        std::string line;
        EXPECT_TRUE(std::getline(block, line) && line.rfind("Capacity: slots:", 0) == 0) << text;
        EXPECT_TRUE(std::getline(block, line) && line.rfind("Occupied slots: ", 0) == 0) << text;
        ASSERT_TRUE(std::getline(block, line)) << text;
        if (line == "Clients: None") {
            EXPECT_FALSE(std::getline(block, line)) << text;
            return;
        }
        EXPECT_NE(writer, 0) << "a client, though nobody is there: " << text;
        const std::string its = "-" + std::to_string(writer) + "(";
        for (const std::string kind : {"Writer: ", "Shadow: ", "Keyshadow: ", "Reader: "}) {
            EXPECT_EQ(line.rfind(kind, 0), 0U) << text;
            EXPECT_TRUE(line == kind || line.find(its) != std::string::npos) << text;
            std::getline(block, line);
        }
    }

    /// What a typed walk adds to a value that is shorter than its type.
    static void cutToLength(std::string& bytes) {
        constexpr std::uint32_t most = Halyx::Writer::kChurnMostBytes;
        if (bytes.size() != most) {
            return;
        }
        const auto head = fromBytes<Halyx::Writer::ChurnHead>(bytes);
        if (head.extraOrLength < most && bytes.find_first_not_of('\0', head.extraOrLength) == std::string::npos) {
            bytes.resize(head.extraOrLength);
        }
    }

    /// What the killed writer left.
    void checkRemains(pid_t writer) {
        const Step step = writers_.step();
        ++steps_[static_cast<unsigned>(step)];
        ASSERT_NE(step, Step::Failed) << writers_.failure();
        const std::vector<std::string> unfinished = unfinishedWork(shmem(), path(), writer);
        for (const std::string& work : unfinished) {
            ++met_[work];
        }
        met_["nothing, between two changes"] += unfinished.empty() && step == Step::Changing ? 1U : 0U;
        if (!inPlace()) {
            ASSERT_FALSE(everInPlace_) << "a collection that was in place is gone";
            expectOutcome(run({"killed"}), 1, "", "No table was found.\n");
            return;
        }
        everInPlace_ = true;
        const auto fenix = fromBytes<Halyx::Layout::FenixFile>(readFile(path() + "/fenix"));
        ASSERT_TRUE(writers_.foundInPlace(fenix.fenix.pid()));
        const Outcome walk = run({"killed"});
        expectClean(walk);
        ASSERT_EQ(walk.status, 0) << walk.describe();
        ASSERT_EQ(walk.err, "");
        bool dynamic = dynamicInPlace();
        const std::vector<std::uint64_t> sequences = sequencesOf(walk.out, &dynamic);
        ASSERT_FALSE(sequences.empty());
        ASSERT_TRUE(writers_.settle(sequences.data())) << "the walk shows what the collection never held:\n"
                                                       << walk.out;
        checkQueues();
        checkAnotherReport();
    }

    void checkQueues() {
        const Outcome outcome = run({"-q", "killed"});
        expectClean(outcome);
        ASSERT_EQ(outcome.status, 0) << outcome.describe();
        ASSERT_EQ(outcome.err, "");
        const QueueOutput output = QueueOutput::parse(outcome.out);
        const std::uint64_t last = lastOfOneRun(output);
        ASSERT_TRUE(writers_.mayHaveNotified(last)) << "notifications up to " << last;
        EXPECT_EQ(output.restarts, std::optional<std::uint64_t>(0)) << "nobody writes any more";
    }

    void checkAnotherReport() {
        const Arguments reports[] = {{"-x", "killed"},
                                     {"-w", "killed"},
                                     {"-a"},
                                     {"-q", "-v", "killed"},
                                     {"-e", "-p", "killed"},
                                     {"-e", "-j", "killed"},
                                     {"-c", std::to_string(::getpid())}};
        const auto which = static_cast<unsigned>(reports_ % std::size(reports));
        const Outcome outcome = run(reports[which]);
        expectClean(outcome);
        if (ofOthers(outcome)) {
            return;
        }
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        EXPECT_EQ(outcome.err, "");
        checkReport(reports[which], outcome.out, true, 0);
    }

    void summarise() const {
        std::printf("%u kills, %u of them aimed, %u reports, %zu elements, %lu lookaside hits\n  killed while:",
                    killed_, aimed_, reports_, elements_, lookasideHits_);
        for (unsigned step = 0; step < KilledWriters::kSteps; ++step) {
            std::printf(" %s %u", kSteps[step], steps_[step]);
        }
        std::printf("\n  left unfinished:\n");
        for (const auto& [work, count] : met_) {
            std::printf("    %5u %s\n", count, work.c_str());
        }
    }

    /// What nobody was killed in the midst of, though somebody must have been after so many kills.
    [[nodiscard]] Works missed(unsigned wanted) const {
        Works missed;
        for (const Works& works : kMustMeet) {
            Works unmet = works;
            std::erase_if(unmet, [this](const std::string& work) { return met_.count(work) != 0; });
            if (wanted >= kEnoughKills || unmet.size() == works.size()) {
                missed.insert(missed.end(), unmet.begin(), unmet.end());
            }
        }
        return missed;
    }

    KilledWriters writers_{root_.path(), "killed"};
    unsigned killed_ = 0;
    unsigned aimed_ = 0; ///< of those, in the midst of a chosen work
    unsigned reports_ = 0;
    bool everInPlace_ = false;
    unsigned steps_[KilledWriters::kSteps] = {};
    std::map<std::string, unsigned> met_;
};

TEST_F(KillsLive, LeaveWhatEveryReportAndTheNextWriterCanTake) {
    const Arguments beside[] = {{"killed"},       {"killed"}, {"-x", "killed"},       {"-q", "killed"},
                                {"-w", "killed"}, {"-a"},     {"-e", "-j", "killed"}, {"-q", "-v", "killed"}};
    // When the kills met everything but one thing, luck gets another minute.
    const Timer late(60);
    const unsigned wanted = kills();
    while (!HasFailure() && (killed_ < wanted || (!missed(wanted).empty() && !late.over()))) {
        const bool wasInPlace = inPlace();
        writers_.start(plan());
        const pid_t writer = writers_.pid();
        const Arguments& arguments = beside[random_() % std::size(beside)];
        Process& report = prepareReport(arguments);
        report.start();
        if (killed_ % 4 == 0) {
            for (const Timer timer(kMostSeconds); writers_.step() < Step::Changing && !timer.over();) {
                ::usleep(100);
            }
            EXPECT_EQ(writers_.step(), Step::Changing) << "it cannot start over what the last one left";
        }
        if (killed_ % 4 == 0 && writers_.step() == Step::Changing) {
            killInTheMidstOf(kSigns[random_() % std::size(kSigns)]);
        } else if (killed_ % 4 == 2) {
            // What takes calls of the system: making files, growing them, putting them in place.
            const auto stops = static_cast<unsigned>(random_() % (random_() % 2 == 0 ? 100 : 600));
            aimed_ += writers_.killAtCall(stops, static_cast<unsigned>(random_() % 200)) ? 1U : 0U;
        } else {
            sleepAWhile();
            writers_.kill();
        }
        ++killed_;
        if (killed_ % 500 == 0) {
            std::printf("%u kills so far\n", killed_);
            std::fflush(stdout);
        }
        const Outcome outcome = report.wait();
        checkRemains(writer);
        checkBeside(arguments, outcome, wasInPlace, writer);
        if (HasFailure()) {
            std::printf("seed %u, kill %u\n", seed_, killed_);
        }
    }
    summarise();
    EXPECT_EQ(missed(wanted), Works()) << "works in the midst of which no writer was killed";
    // Whatever lies about beside the root goes with the next writer.
    const Outcome last = Process(Programs::writer(), {"churn", "killed", "--restart", "--keys", "10", "--seconds", "0"})
                             .environment("Q7_CHROOT", root_.path())
                             .run();
    expectClean(last);
    EXPECT_EQ(last.status, 0) << last.describe();
    for (const auto& entry : std::filesystem::directory_iterator(shmem())) {
        EXPECT_EQ(entry.path().filename(), "halyxes");
    }
}

} // namespace
