// Every file of a collection is cut, stretched, punched, removed and replaced again and again while every report runs: each report
// ends by itself, says what it met in words that there are for that, and prints no value that never was in its place.

#include "fixtures/QueueOutput.h"
#include "live/KnownCollections.h"
#include "live/LiveTest.h"

#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <thread>
#include <unistd.h>

using namespace Fixtures;

namespace {

constexpr std::uint32_t kNotifications =
    20000; ///< of each queue; number i of queue k has a sequence and a slot of its own

std::uint64_t sequenceAt(unsigned queue, std::uint32_t position) {
    return std::uint64_t{1} + queue * kNotifications + position;
}
std::uint32_t slotAt(unsigned queue, std::uint32_t position) {
    return (position * 7 + queue) % KnownCollections::kSlots;
}

/// Whether files get bytes that are zero where other bytes had been.
enum class Zeros { Never, Sometimes };

/// Changes one file after the other, and puts each back as it was: without zeros another one in its place, since a file that was
/// cut and is stretched again has some for a moment.
class Changer {
public:
    Changer(Collection collection, std::vector<std::string> files, Zeros zeros, unsigned seed)
        : collection_(std::move(collection)), files_(std::move(files)), zeros_(zeros), random_(seed) {
        for (const std::string& file : files_) {
            contents_[file] = collection_.bytes(file);
        }
        thread_ = std::thread([this] { run(); });
    }
    ~Changer() {
        stop_ = true;
        thread_.join();
    }
    Changer(const Changer&) = delete;
    Changer& operator=(const Changer&) = delete;

    [[nodiscard]] unsigned changes() const { return changes_; }

private:
    void run() {
        while (!stop_) {
            const std::string& file = files_[random_() % files_.size()];
            ::usleep(static_cast<useconds_t>(random_() % 3000));
            change(file);
            ::usleep(static_cast<useconds_t>(random_() % 3000));
            restore(file);
            ++changes_;
        }
    }

    void change(const std::string& file) {
        const std::string& content = contents_[file];
        const std::size_t size = content.size();
        switch (random_() % (zeros_ == Zeros::Sometimes ? 8 : 6)) {
        case 0:
            collection_.truncate(file, random_() % size);
            break;
        case 1:
            collection_.truncate(file, 0);
            break;
        case 2:
            collection_.remove(file);
            break;
        case 3:
            putInPlace(file, content);
            break;
        case 4:
            putInPlace(file, content.substr(0, random_() % size));
            break;
        case 5: // something that is no file at all
            if (random_() % 2 == 0) {
                collection_.replaceWithFifo(file);
            } else {
                collection_.replaceWithDirectory(file);
            }
            break;
        case 6: // stretched, perhaps after a cut
            collection_.truncate(file, random_() % (2 * size));
            collection_.truncate(file, size + random_() % 2 * 100000);
            break;
        default:
            punch(file, random_() % size, random_() % size);
        }
    }

    /// Another file under that name.
    void putInPlace(const std::string& file, const std::string& content) const {
        writeFile(collection_.path() + ".new", content);
        std::filesystem::rename(collection_.path() + ".new", collection_.file(file));
    }

    void punch(const std::string& file, std::size_t begin, std::size_t length) const {
        const int descriptor = ::open(collection_.file(file).c_str(), O_WRONLY | O_CLOEXEC);
        // Where the file system makes no holes, there is one change less.
        (void)!::fallocate(descriptor, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(begin),
                           static_cast<off_t>(length + 1));
        ::close(descriptor);
    }

    /// With zeros, in place where the file is still there: a report that has it mapped sees its bytes come back.
    void restore(const std::string& file) {
        const std::string path = collection_.file(file);
        const std::string& content = contents_[file];
        if (!std::filesystem::is_regular_file(path)) {
            std::filesystem::remove_all(path);
        }
        if (zeros_ == Zeros::Never) {
            putInPlace(file, content);
            return;
        }
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        if (::pwrite(descriptor, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()) ||
            ::ftruncate(descriptor, static_cast<off_t>(content.size())) != 0) {
            ADD_FAILURE() << "cannot put " << path << " back";
        }
        ::close(descriptor);
    }

    Collection collection_;
    std::vector<std::string> files_;
    Zeros zeros_;
    std::map<std::string, std::string> contents_;
    std::mt19937 random_;
    std::atomic<bool> stop_{false};
    std::atomic<unsigned> changes_{0};
    std::thread thread_;
};

/// What a line of complaint may begin with.
constexpr const char* kComplaints[] = {"No table was found.",
                                       "Error attaching to Halyx c",
                                       "Error attaching Halyx reader for c",
                                       "Error attaching Conquer reader for c",
                                       "Halyx /",
                                       "halyx: "};

/// What the reason of a corruption may begin with, in the walk or behind "halyx: ".
constexpr const char* kReasons[] = {"Mem::Shared::checkRead() cannot read /",
                                    "Mem::View::",
                                    "HalyxReaderGeneric::scan() chain does not end, link: ",
                                    "HalyxReaderGeneric::scan() values of one chain have: ",
                                    "SlotReaderGenericTable::",
                                    "SlotReaderGeneric::",
                                    "SlotReader::",
                                    "SlabReader-0-",
                                    "BucketReader::",
                                    "BucketReaderTable::",
                                    "ConquerReaderGeneric::",
                                    "HalyxTest::"};

template <typename Texts>
const char* beginning(const Texts& texts, const std::string& line) {
    for (const char* const text : texts) {
        if (line.rfind(text, 0) == 0) {
            return text;
        }
    }
    return nullptr;
}

class ChangesLive : public LiveTest {
protected:
    static constexpr double kMostSeconds = 60; ///< for one report

    void met(const std::string& what) { ++met_[what]; }

    void checkReason(const std::string& reason) {
        const char* const known = beginning(kReasons, reason);
        EXPECT_NE(known, nullptr) << reason;
        met(known != nullptr ? known : "?");
    }

    /// The streams of any report.
    void checkWords(const Outcome& outcome) {
        expectClean(outcome);
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << outcome.describe();
        EXPECT_EQ(outcome.err.empty(), outcome.status == 0) << outcome.describe();
        std::istringstream lines(outcome.err);
        for (std::string line; std::getline(lines, line);) {
            const char* const known = beginning(kComplaints, line);
            EXPECT_NE(known, nullptr) << line;
            if (known != nullptr && std::string(known) == "halyx: " &&
                line.find("basic_string::substr") == std::string::npos) {
                checkReason(line.substr(std::string(known).size()));
            } else {
                met(known != nullptr ? known : "?");
            }
        }
    }

    /// A value as its slot has it; where there are zeros, with some of them, and in a dynamic collection also that of slot 0, to
    /// which a hole in the slots leads.
    [[nodiscard]] bool wasThere(const WalkOutput::Element& element) const {
        const std::string its = bytesOf(std::uint64_t{element.slot} + 1);
        std::string bytes;
        if (!bytesFromHex(element.text, bytes)) {
            return false;
        }
        if (zeros_ == Zeros::Never || bytes == its) {
            return bytes == its;
        }
        return holed(bytes, its) || (dynamic_ && holed(bytes, bytesOf(std::uint64_t{1})));
    }

    /// Whether these are the first bytes of the whole, some of them zero: a file may be cut in the midst of a number.
    static bool holed(const std::string& bytes, const std::string& whole) {
        return bytes.size() <= whole.size() && std::equal(bytes.begin(), bytes.end(), whole.begin(),
                                                          [](char c, char there) { return c == there || c == 0; });
    }

    void checkWalk(const Outcome& outcome) {
        const WalkOutput output = WalkOutput::parse(outcome.out);
        for (const std::string& line : output.strange) {
            EXPECT_EQ(line.rfind("Halyx /", 0), 0U) << line;
        }
        unsigned falsehoods = 0;
        for (const WalkOutput::Element& element : output.elements) {
            if (!wasThere(element) && ++falsehoods < 5) {
                ADD_FAILURE() << "slot " << element.slot << " printed as " << element.text;
            }
        }
        for (const WalkOutput::Corruption& corruption : output.corruptions) {
            checkReason(corruption.reason);
        }
        elements_ += output.elements.size();
    }

    void checkQueues(const Outcome& outcome, bool validOnly) {
        if (outcome.status != 0) {
            return;
        }
        const QueueOutput output = QueueOutput::parse(outcome.out);
        EXPECT_EQ(output.strange, "");
        EXPECT_LE(output.queues.size(), validOnly ? 1U : 2U);
        for (const QueueOutput::Queue& queue : output.queues) {
            for (const QueueOutput::Record& record : queue.records) {
                const unsigned which = queue.primary ? 0 : 1;
                const std::string is = bytesOf(record.sequence) + bytesOf(record.slot.value_or(1U << 31));
                const std::string was =
                    bytesOf(sequenceAt(which, record.position)) + bytesOf(slotAt(which, record.position));
                ASSERT_TRUE(is == was || (zeros_ == Zeros::Sometimes && holed(is, was)))
                    << "position " << record.position << ": " << record.sequence;
            }
            records_ += queue.records.size();
        }
    }

    void reportOnce() {
        const Arguments reports[] = {{"c"},       {"-e", "-j", "c"}, {"-e", "-p", "c"}, {"-x", "c"},
                                     {"-q", "c"}, {"-q", "-v", "c"}, {"-w", "c"},       {"-a"}};
        const unsigned which = walks_++ % std::size(reports);
        const Outcome outcome = prepare(reports[which]).limitSeconds(kMostSeconds).run();
        SCOPED_TRACE("seed " + std::to_string(seed_) + ", " + reports[which][0]);
        checkWords(outcome);
        if (which == 0) {
            checkWalk(outcome);
        } else if (which == 3) {
            EXPECT_TRUE(outcome.status != 0 || outcome.out.rfind("Halyx table \"", 0) == 0) << outcome.out;
        } else if (which == 4 || which == 5) {
            checkQueues(outcome, which == 5);
        }
    }

    void reportWhileChanged(Zeros zeros, bool dynamic) {
        zeros_ = zeros;
        dynamic_ = dynamic;
        CollectionBuilder builder = dynamic ? KnownCollections::payloads() : KnownCollections::numbers();
        std::vector<std::string> files{"slots", "buckets", "conquer.1", "conquer.2", "fenix"};
        if (dynamic) {
            files.emplace_back("slab0");
        }
        builder.conquer();
        for (unsigned queue = 0; queue < 2; ++queue) {
            for (std::uint32_t position = 0; position < kNotifications; ++position) {
                builder.notify(queue, sequenceAt(queue, position), slotAt(queue, position));
            }
        }
        const Collection collection = builder.build(root_, "c");
        writeFile(collection.file("fenix"), "FENX1234");
        {
            const Changer changer(collection, files, zeros, static_cast<unsigned>(random_()));
            const auto metAll = [this] {
                return met_.count("Mem::Shared::checkRead() cannot read /") != 0 && elements_ != 0 && records_ != 0;
            };
            for (const Timer timer(seconds()); !timer.over(metAll()) && !HasFailure();) {
                reportOnce();
            }
            std::printf("%u reports while files changed %u times; %zu elements, %zu notifications\n", walks_,
                        changer.changes(), elements_, records_);
        }
        for (const auto& [what, times] : met_) {
            std::printf("  %6u %s\n", times, what.c_str());
        }
        EXPECT_NE(met_.count("Mem::Shared::checkRead() cannot read /"), 0U) << "no report met a file that was cut";
        EXPECT_GT(elements_, 0U);
        EXPECT_GT(records_, 0U);
    }

    Zeros zeros_ = Zeros::Never;
    bool dynamic_ = false;
    std::map<std::string, unsigned> met_;
    std::size_t records_ = 0;
};

TEST_F(ChangesLive, WithoutZerosInAStaticCollection) {
    reportWhileChanged(Zeros::Never, false);
}

TEST_F(ChangesLive, WithoutZerosInADynamicCollection) {
    reportWhileChanged(Zeros::Never, true);
}

TEST_F(ChangesLive, WithZerosInAStaticCollection) {
    reportWhileChanged(Zeros::Sometimes, false);
}

TEST_F(ChangesLive, WithZerosInADynamicCollection) {
    reportWhileChanged(Zeros::Sometimes, true);
}

} // namespace
