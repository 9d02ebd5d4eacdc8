// Every file of a collection is cut, stretched, punched, removed and replaced again and again while every report runs: each report
// ends by itself, says what it met in words that there are for that, and prints no value that never was in its place.

#include "fixtures/QueueOutput.h"
#include "fixtures/Take.h"
#include "live/ChangeWords.h"
#include "live/FileChanger.h"
#include "live/KnownCollections.h"
#include "live/LiveTest.h"

#include <sstream>

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

class ChangesLive : public LiveTest {
protected:
    static constexpr std::uint32_t kUnknown = 4294967295; ///< a count that a report could not read

    /// For one report.
    static double mostSeconds() { return std::string(HALYX_SANITIZE).empty() ? 10 : 60; }

    [[nodiscard]] std::string path() const { return root_.collections() + "/c"; }

    void checkReason(const std::string& reason) {
        const std::string kind = ChangeWords::kindOfReason(reason, path(), zeros_);
        EXPECT_NE(kind, "") << reason;
        ++met_[kind];
    }

    void checkLine(const std::string& line) {
        const std::string kind = ChangeWords::kindOfLine(line, "c", path(), zeros_);
        EXPECT_NE(kind, "") << line;
        ++met_[kind];
    }

    /// The streams of any report.
    void checkWords(const Outcome& outcome, bool ofAll) {
        expectClean(outcome);
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << outcome.describe();
        EXPECT_EQ(outcome.err.empty(), outcome.status == 0) << outcome.describe();
        std::istringstream lines(outcome.err);
        for (std::string line; std::getline(lines, line);) {
            // Processes of others can end a report on all of them.
            if (!ofAll || line.rfind("halyx: basic_string::substr", 0) != 0) {
                checkLine(line);
            }
        }
    }

    /// The value's text with -p or -j (typed), or without.
    [[nodiscard]] std::string textOf(std::uint32_t slot, bool typed) const {
        if (!typed) {
            return KnownCollections::plainText(slot);
        }
        if (!dynamic_) {
            return std::to_string(slot + 1);
        }
        // Of an unknown type; what a payload lacks reads as zero.
        std::string bytes = bytesOf(std::uint64_t{slot} + 1);
        bytes.resize(builder_.slotsHeader.valueSize, '\0');
        return hexOf(bytes);
    }

    static bool bytesOfText(const std::string& text, bool number, std::string& bytes) {
        std::string_view rest = text;
        std::uint64_t value = 0;
        if (!number) {
            return bytesFromHex(text, bytes);
        }
        const bool whole = takeNumber(rest, value) && rest.empty();
        bytes = bytesOf(value);
        return whole;
    }

    /// A value as its slot has it, perhaps with zeros; and in a dynamic collection also that of slot 0, to which a hole in the
    /// slots leads.
    [[nodiscard]] bool wasThere(const WalkOutput::Element& element, bool typed) const {
        const bool number = typed && !dynamic_;
        std::string bytes;
        std::string whole;
        const auto isOf = [&](std::uint32_t slot) {
            return bytesOfText(textOf(slot, typed), number, whole) && holed(bytes, whole);
        };
        return bytesOfText(element.text, number, bytes) && (isOf(element.slot) || (dynamic_ && isOf(0)));
    }

    /// Whether these are the first bytes of the whole, some of them zero: a file may be cut in the midst of a number.
    static bool holed(const std::string& bytes, const std::string& whole) {
        return bytes.size() <= whole.size() && std::equal(bytes.begin(), bytes.end(), whole.begin(),
                                                          [](char c, char there) { return c == there || c == 0; });
    }

    /// Whether a number in a header can be this one.
    [[nodiscard]] bool mayBe(std::uint32_t number, std::uint32_t known) const {
        return number == known || (zeros_ == Zeros::Sometimes && holed(bytesOf(number), bytesOf(known)));
    }

    void checkWalk(const Outcome& outcome, bool typed) {
        const WalkOutput output = WalkOutput::parse(outcome.out);
        for (const std::string& line : output.strange) {
            EXPECT_EQ(outcome.status, 1) << line;
            checkLine(line);
        }
        for (const WalkOutput::Corruption& corruption : output.corruptions) {
            checkReason(corruption.reason);
        }
        elements_ += output.elements.size();
        if (zeros_ == Zeros::Never) {
            const auto text = [&](std::uint32_t slot) { return textOf(slot, typed); };
            EXPECT_EQ(KnownCollections::wrongWith(output, outcome.status == 0, text), "") << outcome.describe();
            return;
        }
        unsigned falsehoods = 0;
        for (const WalkOutput::Element& element : output.elements) {
            if (!wasThere(element, typed) && ++falsehoods < 5) {
                ADD_FAILURE() << "slot " << element.slot << " printed as " << element.text;
            }
        }
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
        if (zeros_ == Zeros::Never) {
            checkWholeQueues(output, validOnly);
        }
    }

    /// The primary queue is the active one; both are full.
    void checkWholeQueues(const QueueOutput& output, bool validOnly) {
        ASSERT_EQ(output.queues.size(), validOnly ? 1U : 2U);
        for (unsigned which = 0; which < output.queues.size(); ++which) {
            const QueueOutput::Queue& queue = output.queues[which];
            const auto& header = builder_.conquerHeader(which);
            EXPECT_EQ(queue.primary, which == 0);
            EXPECT_EQ(queue.active, which == 0);
            EXPECT_EQ(queue.version, header.notifications.version);
            EXPECT_EQ(queue.count, kNotifications);
            EXPECT_EQ(queue.currentPos, kNotifications);
            EXPECT_EQ(queue.corralStart, header.corralStart);
            EXPECT_EQ(queue.corralEnd, header.corralEnd);
            ASSERT_EQ(queue.records.size(), kNotifications);
            for (std::uint32_t position = 0; position < kNotifications; ++position) {
                ASSERT_EQ(queue.records[position].position, position);
            }
        }
    }

    /// The values behind a label of the header report, in the order of its blocks.
    static std::vector<std::string> valuesOf(const std::string& report, const std::string& label) {
        std::vector<std::string> values;
        std::istringstream lines(report);
        for (std::string line; std::getline(lines, line);) {
            line.erase(0, line.find_first_not_of('\t'));
            if (line.rfind(label + ": ", 0) == 0) {
                values.push_back(line.substr(label.size() + 2));
            }
        }
        return values;
    }

    void checkHeaders(const Outcome& outcome) {
        if (outcome.status != 0) {
            EXPECT_EQ(outcome.out, "");
            return;
        }
        EXPECT_EQ(outcome.out.rfind("Halyx table \"" + path() + "\"\n\n", 0), 0U) << outcome.out;
        if (zeros_ == Zeros::Sometimes) {
            return;
        }
        using Values = std::vector<std::string>;
        const auto pair = [](const Mem::VerU32& count) {
            return hexNumber(count.version) + ":" + std::to_string(count.value);
        };
        const auto& slots = builder_.slotsHeader;
        const std::string full = std::to_string(kNotifications);
        std::map<std::string, Values> wanted{
            {"NumBuckets", {pair(builder_.bucketsHeader.numBuckets)}},
            {"Owner pid", {std::to_string(builder_.bucketsHeader.ownerPid)}},
            {"Occupied slots", {std::to_string(slots.occupiedSlots)}},
            {"Mapped slots", {pair(slots.numSlots)}},
            {"Max slots", {std::to_string(slots.maxSlots)}},
            {"Slot size", {std::to_string(slots.slotSize) + " bytes"}},
            {"Head of free list", {"None"}},
            {"Notifications",
             {pair(builder_.conquerHeader(0).notifications), pair(builder_.conquerHeader(1).notifications)}},
            {"Current position", {full, full}},
            {"Total entries", {}},
            {"Entry size", {}},
        };
        // Where slab 0 is not there, nothing is said of it.
        const bool slab = dynamic_ && outcome.out.find("\nSlab 0 header: ") != std::string::npos;
        if (slab) {
            wanted["Total entries"] = {pair(builder_.slabHeader(0).numEntries)};
            wanted["Entry size"] = {std::to_string(builder_.slabHeader(0).entrySize) + " bytes"};
        }
        for (const auto& [label, values] : wanted) {
            EXPECT_EQ(valuesOf(outcome.out, label), values) << label << " in\n" << outcome.out;
        }
        EXPECT_EQ(identitiesIn(outcome.out).size(), slab ? 5U : 4U) << outcome.out;
        EXPECT_EQ(fenixesIn(outcome.out).size(), 1U) << outcome.out;
    }

    /// The collection's own block in a report on clients, of which it has none. A report on all processes leaves a collection out
    /// whose counts it could not read, and one on this collection says that they are not known.
    void checkClients(const Outcome& outcome, bool ofAll) {
        const std::string title = "Halyx table \"" + path() + "\"\n";
        const std::size_t begin = outcome.out.find(title);
        if (begin == std::string::npos) {
            EXPECT_TRUE(ofAll || outcome.status != 0) << outcome.describe();
            return;
        }
        std::string_view text(outcome.out);
        text.remove_prefix(begin + title.size());
        const std::pair<const char*, std::uint32_t> counts[] = {{"Capacity: slots:", builder_.slotsHeader.maxSlots},
                                                                {" buckets:", KnownCollections::kBuckets},
                                                                {" primary_notifications:", kNotifications},
                                                                {" secondary_notifications:", kNotifications},
                                                                {"\nOccupied slots: ", KnownCollections::kSlots}};
        for (const auto& [label, known] : counts) {
            std::uint32_t count = 0;
            ASSERT_TRUE(take(text, label) && takeNumber(text, count)) << label << " in " << outcome.out;
            EXPECT_TRUE(mayBe(count, known) || (!ofAll && count == kUnknown)) << label << count;
        }
        ASSERT_TRUE(take(text, "\nClients: None\n\n")) << outcome.out;
        EXPECT_TRUE(ofAll ? text.find(title) == std::string_view::npos : begin == 0 && text.empty()) << outcome.out;
        ++clients_;
    }

    void reportOnce() {
        const Arguments reports[] = {{"c"},       {"-e", "-j", "c"}, {"-e", "-p", "c"}, {"-x", "c"},
                                     {"-q", "c"}, {"-q", "-v", "c"}, {"-w", "c"},       {"-a"}};
        const unsigned which = walks_++ % std::size(reports);
        const Outcome outcome = prepare(reports[which]).limitSeconds(mostSeconds()).run();
        SCOPED_TRACE("seed " + std::to_string(seed_) + ", " + reports[which][0]);
        checkWords(outcome, which == 7);
        if (which < 3) {
            checkWalk(outcome, which != 0);
        } else if (which == 3) {
            checkHeaders(outcome);
        } else if (which < 6) {
            checkQueues(outcome, which == 5);
        } else {
            checkClients(outcome, which == 7);
        }
    }

    void reportWhileChanged(Zeros zeros, bool dynamic) {
        zeros_ = zeros;
        dynamic_ = dynamic;
        builder_ = dynamic ? KnownCollections::payloads() : KnownCollections::numbers();
        std::vector<std::string> files{"slots", "buckets", "conquer.1", "conquer.2", "fenix"};
        if (dynamic) {
            files.emplace_back("slab0");
        }
        builder_.conquer();
        for (unsigned queue = 0; queue < 2; ++queue) {
            for (std::uint32_t position = 0; position < kNotifications; ++position) {
                builder_.notify(queue, sequenceAt(queue, position), slotAt(queue, position));
            }
        }
        const Collection collection = builder_.build(root_, "c");
        writeFile(collection.file("fenix"), "FENX1234");
        {
            const FileChanger changer(collection, files, zeros, static_cast<unsigned>(random_()));
            const auto metAll = [this] {
                return met_.count(ChangeWords::kUnreadable) != 0 && elements_ != 0 && records_ != 0 && clients_ != 0;
            };
            for (const Timer timer(seconds()); !timer.over(metAll()) && !HasFailure();) {
                reportOnce();
            }
            std::printf(
                "%u reports while files changed %u times; %zu elements, %zu notifications, %u blocks of clients\n",
                walks_, changer.changes(), elements_, records_, clients_);
        }
        for (const auto& [what, times] : met_) {
            std::printf("  %6u %s\n", times, what.c_str());
        }
        EXPECT_NE(met_.count(ChangeWords::kUnreadable), 0U) << "no report met a file that was cut";
        EXPECT_GT(elements_, 0U);
        EXPECT_GT(records_, 0U);
        EXPECT_GT(clients_, 0U);
    }

    CollectionBuilder builder_;
    Zeros zeros_ = Zeros::Never;
    bool dynamic_ = false;
    std::map<std::string, unsigned> met_;
    std::size_t records_ = 0;
    unsigned clients_ = 0; ///< blocks of the collection in reports on clients
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
