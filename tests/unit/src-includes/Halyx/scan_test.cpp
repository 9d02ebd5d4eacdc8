// The walk with a handler of our own, which changes the files between two steps as a writer might.

#include "Halyx/HalyxReaderGeneric.h"
#include "fixtures/MappedFile.h"
#include "unit/ReaderTest.h"

#include <filesystem>
#include <functional>
#include <utility>

using namespace Fixtures;
using Halyx::Direction;
using Halyx::HalyxReaderGeneric;
using Halyx::SlotLink;

namespace {

/// Writes down what it is told: "slot 0 5=6" (bucket, slot, value), "done 0", "corrupt 0 reason", "resize", "restart 0".
class Recorder final : public HalyxReaderGeneric::ScanHandler {
public:
    Recorder() : ScanHandler(value_.bytes) {}

    bool done(unsigned bucket, const SlotLink& end) override {
        events.push_back("done " + std::to_string(bucket) +
                         (end.index == -1 ? "" : " " + std::to_string(static_cast<unsigned>(end.index) & 0x7fffffffU)));
        return events.back() != stopAt;
    }
    bool handleSlot(unsigned bucket, const SlotLink& link, bool lookaside, unsigned state, unsigned length) override {
        events.push_back("slot " + std::to_string(bucket) + " " + std::to_string(link.index) + "=" +
                         (lookaside ? "*" : "") +
                         std::to_string(fromBytes<std::uint64_t>(std::string(value_.bytes, 8))));
        lastState = state;
        lastLength = length;
        lastTag = link.tag;
        if (onSlot) {
            // Only once for each call that is set.
            const auto call = std::exchange(onSlot, nullptr);
            call(static_cast<unsigned>(link.index));
        }
        return events.back() != stopAt;
    }
    void handleCorruption(unsigned bucket, const std::string& reason) override {
        events.push_back("corrupt " + std::to_string(bucket) + " " + reason);
    }
    void handleResize() override { events.emplace_back("resize"); }
    bool restart(unsigned bucket) override {
        events.push_back("restart " + std::to_string(bucket));
        return true;
    }

    std::vector<std::string> events;
    std::string stopAt;
    std::function<void(unsigned)> onSlot;
    unsigned lastState = 0;
    unsigned lastLength = 0;
    unsigned lastTag = 0;

private:
    struct alignas(8) {
        char bytes[256];
    } value_;
};

class ScanTest : public ReaderTest {
protected:
    using Events = std::vector<std::string>;

    /// Four buckets with slots 0 to 3, one in each, values 1 to 4.
    static CollectionBuilder four() { return CollectionBuilder(4, 4).fillNumbers(); }

    /// One bucket with slots 0 to 2, values 1 to 3 in slab 0.
    static CollectionBuilder threeInASlab() {
        CollectionBuilder builder(1, 3);
        builder.dynamic().valueType("Payload", 64);
        for (std::uint32_t i = 0; i < 3; ++i) {
            builder.offset(i, 0, i);
        }
        builder.chain(0, {0, 1, 2})
            .slab(0, 72, {bytesOf(std::uint64_t{1}), bytesOf(std::uint64_t{2}), bytesOf(std::uint64_t{3})});
        return builder;
    }

    HalyxReaderGeneric& attach(const CollectionBuilder& builder) {
        collection_.emplace(builder.build(root_, "c"));
        reader_.emplace("c");
        EXPECT_TRUE(reader_->buckets().attach());
        EXPECT_TRUE(reader_->slots().attach());
        reader_->slots().doResize();
        reader_->buckets().doResize();
        return *reader_;
    }

    Events scan(unsigned first, unsigned count, Direction direction, bool strict) {
        recorder_.events.clear();
        reader_->scan(recorder_, first, count, direction, strict);
        return recorder_.events;
    }
    Events scanAll() { return scan(0, 0xffffffff, Direction::Up, true); }

    static Events buckets(const std::vector<unsigned>& numbers) {
        Events events;
        for (const unsigned bucket : numbers) {
            events.push_back("slot " + std::to_string(bucket) + " " + std::to_string(bucket) + "=" +
                             std::to_string(bucket + 1));
            events.push_back("done " + std::to_string(bucket));
        }
        return events;
    }

    static std::string outOfRange(unsigned bucket, unsigned index, unsigned slots) {
        return "corrupt " + std::to_string(bucket) +
               " SlotReaderGenericTable::getSlot() out-of-range index: " + std::to_string(index) +
               " numSlots:" + std::to_string(slots);
    }

    std::optional<Collection> collection_;
    std::optional<HalyxReaderGeneric> reader_;
    Recorder recorder_;
};

TEST_F(ScanTest, WalksUpward) {
    attach(four());
    for (const bool strict : {false, true}) {
        EXPECT_EQ(scan(0, 0xffffffff, Direction::Up, strict), buckets({0, 1, 2, 3}));
        EXPECT_EQ(scan(0, 4, Direction::Up, strict), buckets({0, 1, 2, 3}));
        EXPECT_EQ(scan(1, 2, Direction::Up, strict), buckets({1, 2}));
        EXPECT_EQ(scan(2, 100, Direction::Up, strict), buckets({2, 3}));
        EXPECT_EQ(scan(2, 0, Direction::Up, strict), Events{});
        EXPECT_EQ(scan(4, 1, Direction::Up, strict), Events{});
    }
}

TEST_F(ScanTest, WalksDownward) {
    attach(four());
    EXPECT_EQ(scan(3, 2, Direction::Down, false), buckets({3, 2}));
    EXPECT_EQ(scan(2, 100, Direction::Down, false), buckets({2, 1, 0}));
    EXPECT_EQ(scan(2, 2, Direction::Down, false), buckets({2, 1, 0})); // equal numbers walk one more
    EXPECT_EQ(scan(3, 3, Direction::Down, false), buckets({3, 2, 1, 0}));
    EXPECT_EQ(scan(4, 2, Direction::Down, false), Events{});
    EXPECT_EQ(scan(3, 0, static_cast<Direction>(7), false), Events{});
    EXPECT_EQ(scan(3, 1, static_cast<Direction>(7), false), buckets({3}));
}

TEST_F(ScanTest, StrictlyDownwardGoesThroughToTheFirstBucket) {
    attach(four());
    EXPECT_EQ(scan(2, 1, Direction::Down, true), buckets({2, 1, 0}));
    Events wanted{"corrupt 5 BucketReader::operator[] out-of-range, index:5 max:3",
                  "corrupt 4 BucketReader::operator[] out-of-range, index:4 max:3"};
    for (const std::string& event : buckets({3, 2, 1, 0})) {
        wanted.push_back(event);
    }
    EXPECT_EQ(scan(5, 1, Direction::Down, true), wanted);
}

TEST_F(ScanTest, TellsStateTagAndLength) {
    attach(four().head(0, 0, 0xabc).state(0, 0xfffffffd));
    scan(0, 1, Direction::Up, true);
    EXPECT_EQ(recorder_.lastState, 0xfffffffdU);
    EXPECT_EQ(recorder_.lastTag, 0xabcU);
    EXPECT_EQ(recorder_.lastLength, 8U);
}

TEST_F(ScanTest, CountsLookasideHits) {
    attach(four().state(1, 2).state(2, 6).lookaside(bytesOf(std::uint64_t{77})));
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "done 0", "slot 1 1=*77", "done 1", "slot 2 2=*77", "done 2",
                                 "slot 3 3=4", "done 3"}));
    EXPECT_EQ(reader_->counters().lookasideHits, 2U);
}

TEST_F(ScanTest, StopsWhenTheHandlerSaysSo) {
    attach(four());
    recorder_.stopAt = "slot 1 1=2";
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "done 0", "slot 1 1=2"}));
    recorder_.stopAt = "done 1";
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "done 0", "slot 1 1=2", "done 1"}));
}

TEST_F(ScanTest, EmptyBucketsAreOnlyDone) {
    attach(CollectionBuilder(2, 1));
    EXPECT_EQ(scanAll(), (Events{"done 0", "done 1"}));
}

TEST_F(ScanTest, WalksABucketAgainWhenItsChainChanges) {
    attach(CollectionBuilder(1, 3).fillNumbers());
    recorder_.onSlot = [&](unsigned) { // as if slot 1 was erased: slot 0 now leads to slot 2
        collection_->corruptLink("slots", slotAt(0), {0x55, 2});
    };
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "restart 0", "slot 0 0=1", "slot 0 2=3", "done 0"}));
    EXPECT_EQ(reader_->chainRestarts(), 1U);
}

TEST_F(ScanTest, BelievesALinkWithTheSameTag) {
    attach(CollectionBuilder(1, 3).fillNumbers());
    recorder_.onSlot = [&](unsigned) { collection_->corruptLink("slots", slotAt(1), {0x55, 2}); };
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "slot 0 1=2", "slot 0 2=3", "done 0"}));
    EXPECT_EQ(reader_->chainRestarts(), 0U);
}

TEST_F(ScanTest, DoesNotReportAsCorruptWhatHasChangedMeanwhile) {
    attach(threeInASlab());
    recorder_.onSlot = [&](unsigned) { // slot 1 is erased: link first, then its entry is freed
        collection_->corruptLink("slots", slotAt(0), {0x55, 2});
        collection_->corrupt32("slab0", 40 + 72, 0xffffffff);
    };
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "restart 0", "slot 0 0=1", "slot 0 2=3", "done 0"}));
    EXPECT_EQ(reader_->chainRestarts(), 1U);
    recorder_.onSlot = [&](unsigned) { // freed, and the link still leads there: this is corruption
        collection_->corrupt32("slab0", 40 + 2 * 72, 0xffffffff);
    };
    EXPECT_EQ(scanAll(),
              (Events{"slot 0 0=1", "corrupt 0 SlabReader-0-72::getValue() encountered unoccupied entry at index: 2"}));
}

TEST_F(ScanTest, DoesNotEndForASlabThatOnlyAnErasedSlotNames) {
    attach(threeInASlab());
    const std::string nowhere = bytesOf(Plask::Layout::SlabOffset(4, 0));
    recorder_.onSlot = [&](unsigned) { // slot 1 is erased and used again, and then the collection is replaced
        collection_->corruptLink("slots", slotAt(0), {0x55, 2});
        collection_->corrupt("slots", slotAt(1) + 16, nowhere);
        std::filesystem::rename(collection_->path(), collection_->path() + ".old");
    };
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "restart 0", "slot 0 0=1", "slot 0 2=3", "done 0"}));
    std::filesystem::rename(collection_->path() + ".old", collection_->path());
    recorder_.onSlot = [&](unsigned) { // here the link still leads there
        collection_->corrupt("slots", slotAt(2) + 16, nowhere);
        std::filesystem::rename(collection_->path(), collection_->path() + ".old");
    };
    EXPECT_THROW(scanAll(), Norvu::MemoryResourceException);
}

TEST_F(ScanTest, StartsAgainWhenTheSlotsHaveGrown) {
    CollectionBuilder builder = four();
    builder.slotsHeader.mostSlots = 6;
    attach(builder);
    const unsigned before = reader_->counters().resizes;
    recorder_.onSlot = [&](unsigned) {
        // Outside in: the file, the new slot, the count, the link.
        collection_->truncate("slots", slotAt(6));
        collection_->corruptLink("slots", slotAt(5), {0x55, -1});
        collection_->corrupt("slots", slotAt(5) + 16, bytesOf(std::uint64_t{6}));
        MappedFile(collection_->file("slots")).view().publish64(184, Mem::VerU32{0x1b, 6}.word());
        collection_->corruptLink("buckets", headAt(1), {0x55, 5});
    };
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "done 0", "restart 1", "resize", "slot 0 0=1", "done 0", "slot 1 5=6",
                                 "done 1", "slot 2 2=3", "done 2", "slot 3 3=4", "done 3"}));
    EXPECT_EQ(reader_->counters().resizes, before + 1);
    EXPECT_EQ(reader_->chainRestarts(), 0U);
}

TEST_F(ScanTest, ForgetsTheBucketInWhichAGrowthIsMet) {
    CollectionBuilder builder = CollectionBuilder(1, 3).fillNumbers();
    builder.slotsHeader.mostSlots = 4;
    attach(builder);
    recorder_.onSlot = [&](unsigned) {
        collection_->truncate("slots", slotAt(4));
        collection_->corruptLink("slots", slotAt(3), {0x55, -1});
        collection_->corrupt("slots", slotAt(3) + 16, bytesOf(std::uint64_t{4}));
        MappedFile(collection_->file("slots")).view().publish64(184, Mem::VerU32{0x1b, 4}.word());
        collection_->corruptLink("slots", slotAt(2), {0x55, 3});
    };
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "slot 0 1=2", "slot 0 2=3", "restart 0", "resize", "slot 0 0=1",
                                 "slot 0 1=2", "slot 0 2=3", "slot 0 3=4", "done 0"}));
}

TEST_F(ScanTest, ReportsTheBucketInWhichTheHeaderIsFoundBroken) {
    CollectionBuilder builder = four();
    builder.slotsHeader.mostSlots = 6;
    attach(builder);
    recorder_.onSlot = [&](unsigned) { // counted, but the file was not made longer
        MappedFile(collection_->file("slots")).view().publish64(184, Mem::VerU32{0x1b, 6}.word());
        collection_->corruptLink("buckets", headAt(1), {0x55, 5});
    };
    EXPECT_EQ(corruption([&] { scanAll(); }),
              "SlotReaderGeneric::doResize() header validation failed. Reason: SlotTable::Header::validate() bad shmem "
              "size:312 wanted:360 for 6 slots");
    EXPECT_EQ(recorder_.events, (Events{"slot 0 0=1", "done 0", outOfRange(1, 5, 4)}));
}

TEST_F(ScanTest, ReportsAnIndexThatNoGrowthExplains) {
    attach(four().head(1, 4).head(2, 0x7fffffff));
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "done 0", outOfRange(1, 4, 4), outOfRange(2, 2147483647, 4),
                                 "slot 3 3=4", "done 3"}));
}

TEST_F(ScanTest, StartsAgainOnceAndReportsWhatIsStillWrong) {
    CollectionBuilder builder = four();
    builder.slotsHeader.mostSlots = 6;
    attach(builder);
    recorder_.onSlot = [&](unsigned) {
        collection_->truncate("slots", slotAt(6));
        MappedFile(collection_->file("slots")).view().publish64(184, Mem::VerU32{0x1b, 6}.word());
        collection_->corruptLink("buckets", headAt(1), {0x55, 6});
    };
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "done 0", "restart 1", "resize", "slot 0 0=1", "done 0",
                                 outOfRange(1, 6, 6), "slot 2 2=3", "done 2", "slot 3 3=4", "done 3"}));
}

TEST_F(ScanTest, ChecksEndMarksAgainstTheBuckets) {
    const auto mark = [](unsigned bucket) { return static_cast<std::int32_t>(0x80000000U | bucket); };
    attach(four().next(0, mark(3)).next(1, mark(4)).head(2, mark(0)));
    EXPECT_EQ(scanAll(), (Events{"slot 0 0=1", "done 0 3", "slot 1 1=2",
                                 "corrupt 1 BucketReader::operator[] out-of-range, index:4 max:3", "done 2 0",
                                 "slot 3 3=4", "done 3"}));
}

TEST_F(ScanTest, AnEndlessChainThatIsMendedInTimeIsNone) {
    attach(CollectionBuilder(1, 2).fillNumbers().next(1, 0));
    recorder_.onSlot = [&](unsigned) { collection_->corruptLink("slots", slotAt(1), {0x66, -1}); };
    const Events events = scanAll();
    EXPECT_EQ(events.back(), "done 0");
    for (const std::string& event : events) {
        EXPECT_NE(event.substr(0, 7), "corrupt") << event;
    }
}

TEST_F(ScanTest, AFileCutShortUnderTheWalkIsCorruption) {
    CollectionBuilder builder(2, 2000);
    attach(builder.fillNumbers());
    recorder_.onSlot = [&](unsigned) { collection_->truncate("slots", 8192); };
    const Events events = scanAll();
    unsigned corruptions = 0;
    for (const std::string& event : events) {
        corruptions += event.substr(0, 7) == "corrupt" ? 1U : 0U;
        EXPECT_EQ(event.find("=0"), std::string::npos) << event;
    }
    EXPECT_EQ(corruptions, 2U);
}

} // namespace
