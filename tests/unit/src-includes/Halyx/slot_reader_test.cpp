#include "Halyx/SlotReaderGenericTable.h"
#include "fixtures/MappedFile.h"
#include "unit/ReaderTest.h"

#include <cstring>

using namespace Fixtures;
using Halyx::SlotReaderGenericTable;

namespace {

class SlotReaderTest : public ReaderTest {
protected:
    SlotReaderGenericTable& table(const CollectionBuilder& builder) {
        collection_.emplace(builder.build(root_, "c"));
        path_.emplace(handler(), "c", false);
        table_.emplace(handler(), *path_, false, counters_);
        return *table_;
    }
    void publishCount(std::uint32_t version, std::uint32_t count) const {
        MappedFile(collection_->file("slots")).view().publish64(184, Mem::VerU32{version, count}.word());
    }

    std::optional<Collection> collection_;
    std::optional<Halyx::RootPath> path_;
    Halyx::Reader::Counters counters_;
    std::optional<SlotReaderGenericTable> table_;
};

TEST_F(SlotReaderTest, MapsNoSlotUntilItIsResized) {
    SlotReaderGenericTable& slots = table(CollectionBuilder(1, 5).fillNumbers());
    ASSERT_TRUE(slots.attach());
    EXPECT_EQ(slots.capacity(), 0U);
    EXPECT_EQ(corruption([&] { (void)slots.getSlot(0); }),
              "SlotReaderGenericTable::getSlot() out-of-range index: 0 numSlots:0");
    EXPECT_TRUE(slots.doResize());
    EXPECT_EQ(slots.capacity(), 5U);
    EXPECT_EQ(slots.getSlot(4).word64(16), 5U);
    EXPECT_EQ(slots.getSlot(4).size(), 24U);
    EXPECT_EQ(corruption([&] { (void)slots.getSlot(5); }),
              "SlotReaderGenericTable::getSlot() out-of-range index: 5 numSlots:5");
    EXPECT_EQ(corruption([&] { (void)slots.getSlot(0xffffffff); }),
              "SlotReaderGenericTable::getSlot() out-of-range index: 4294967295 numSlots:5");
    EXPECT_EQ(counters_.resizes, 1U);
}

TEST_F(SlotReaderTest, AnAttachThatFailsForgetsTheSlots) {
    SlotReaderGenericTable& slots = table(CollectionBuilder(1, 1000).fillNumbers());
    ASSERT_TRUE(slots.attach());
    EXPECT_TRUE(slots.doResize());
    collection_->corrupt32("slots", 0, 0); // the magic: found after the header alone has been mapped
    EXPECT_FALSE(slots.attach());
    EXPECT_EQ(slots.capacity(), 0U);
    EXPECT_EQ(slots.slots().count(), 0U);
    EXPECT_EQ(corruption([&] { (void)slots.getSlot(999); }),
              "SlotReaderGenericTable::getSlot() out-of-range index: 999 numSlots:0");
}

TEST_F(SlotReaderTest, TheFirstResizeMapsWhateverTheVersionAndTheCount) {
    for (const std::uint32_t version : {0U, 0xffffffffU}) {
        for (const std::uint32_t count : {0U, 3U}) {
            CollectionBuilder builder(1, count);
            builder.slotsHeader.numSlots.version = version;
            SlotReaderGenericTable& slots = table(builder);
            const unsigned before = counters_.resizes;
            ASSERT_TRUE(slots.attach());
            EXPECT_TRUE(slots.doResize()) << version << ":" << count;
            EXPECT_FALSE(slots.doResize()) << version << ":" << count;
            EXPECT_EQ(slots.capacity(), count);
            EXPECT_EQ(counters_.resizes, before + 1);
        }
    }
}

TEST_F(SlotReaderTest, ACountWithoutANewVersionIsNotSeen) {
    SlotReaderGenericTable& slots = table(CollectionBuilder(1, 5));
    ASSERT_TRUE(slots.attach());
    EXPECT_TRUE(slots.doResize());
    const Halyx::Reader::Counters before = counters_;
    publishCount(0x1a, 2);
    EXPECT_FALSE(slots.doResize());
    EXPECT_EQ(slots.capacity(), 5U);
    EXPECT_EQ(counters_.resizes, before.resizes);
    EXPECT_EQ(counters_.baseChanges, before.baseChanges);
}

TEST_F(SlotReaderTest, FollowsTheWritersGrowth) {
    CollectionBuilder builder(1, 5);
    builder.slotsHeader.mostSlots = 100000;
    SlotReaderGenericTable& slots = table(builder);
    ASSERT_TRUE(slots.attach());
    EXPECT_TRUE(slots.doResize());
    collection_->truncate("slots", 216 + 24 * 100000);
    publishCount(0x1b, 100000);
    EXPECT_TRUE(slots.doResize());
    EXPECT_EQ(slots.capacity(), 100000U);
    EXPECT_EQ(slots.getSlot(99999).word64(16), 0U);
    EXPECT_EQ(counters_.resizes, 2U);
}

TEST_F(SlotReaderTest, SaysWhatDoesNotFitAndStaysAsItWas) {
    CollectionBuilder builder(1, 5);
    builder.slotsHeader.mostSlots = 0xffffffff;
    SlotReaderGenericTable& slots = table(builder.fillNumbers());
    ASSERT_TRUE(slots.attach());
    EXPECT_TRUE(slots.doResize());
    publishCount(0x1b, 6);
    EXPECT_EQ(corruption([&] { slots.doResize(); }),
              "SlotReaderGeneric::doResize() header validation failed. Reason: SlotTable::Header::validate() bad shmem "
              "size:336 wanted:360 for 6 slots");
    publishCount(0x1c, 178956971); // 24 times as much wraps to next to nothing in the header's own check
    EXPECT_EQ(corruption([&] { slots.doResize(); }),
              "SlotReaderGeneric::doResize() requesting to map " + collection_->file("slots") +
                  " 178956971 slots. Requested file resize to 4294967520 but real file size is 336");
    EXPECT_EQ(slots.capacity(), 5U);
    EXPECT_EQ(slots.getSlot(4).word64(16), 5U);
    EXPECT_EQ(counters_.resizes, 1U);
    publishCount(0x1d, 5);
    EXPECT_TRUE(slots.doResize());
}

TEST_F(SlotReaderTest, AFileCutShortIsTooShort) {
    SlotReaderGenericTable& slots = table(CollectionBuilder(1, 5));
    ASSERT_TRUE(slots.attach());
    collection_->truncate("slots", 335);
    EXPECT_EQ(corruption([&] { slots.doResize(); }),
              "SlotReaderGeneric::doResize() header validation failed. Reason: SlotTable::Header::validate() bad shmem "
              "size:335 wanted:336 for 5 slots");
}

TEST_F(SlotReaderTest, DoesNotAttachToWhatIsMissingEmptyOrBad) {
    SlotReaderGenericTable& missing = table(CollectionBuilder(1, 5));
    collection_->remove("slots");
    EXPECT_FALSE(missing.attach());
    EXPECT_EQ(missing.attachReason(), "");
    SlotReaderGenericTable& empty = table(CollectionBuilder(1, 5));
    collection_->truncate("slots", 0);
    EXPECT_FALSE(empty.attach());
    EXPECT_EQ(empty.attachReason(), "");
    SlotReaderGenericTable& bad = table(CollectionBuilder(1, 5));
    collection_->corrupt32("slots", 8, 13);
    EXPECT_FALSE(bad.attach());
    EXPECT_EQ(bad.attachReason(), "SlotTable::Header::validate() bad version: 13");
}

TEST_F(SlotReaderTest, DetachesThroughItsThirdVirtualSlot) {
    SlotReaderGenericTable& slots = table(CollectionBuilder(1, 5));
    ASSERT_TRUE(slots.attach());
    EXPECT_TRUE(slots.attached());
    void** slotsOfVirtuals = nullptr;
    std::memcpy(&slotsOfVirtuals, static_cast<const void*>(&slots), sizeof slotsOfVirtuals);
    const auto detach = reinterpret_cast<int (*)(SlotReaderGenericTable*)>(slotsOfVirtuals[2]);
    EXPECT_EQ(detach(&slots), 0);
    EXPECT_FALSE(slots.attached());
}

TEST_F(SlotReaderTest, HeaderChecksTheIncarnationInItsOwnWords) {
    CollectionBuilder builder(1, 4);
    builder.slotsHeader.hash = slotsChecksum(builder.slotsHeader);
    Halyx::SlotTableHeader header;
    static_cast<Halyx::Layout::SlotTableHeader&>(header) = builder.slotsHeader;
    std::string reason = "untouched";
    EXPECT_TRUE(header.validate(handler(), 312, SharedMem::FenixId(0), reason));
    EXPECT_TRUE(header.validate(handler(), 312, SharedMem::FenixId(0x71234), reason));
    EXPECT_EQ(reason, "untouched");
    EXPECT_FALSE(header.validate(handler(), 312, SharedMem::FenixId(0xabcd), reason));
    EXPECT_EQ(reason, "SlotTable::validate() bad fenix:71234 wanted:abcd");
    header.fenix = SharedMem::FenixId(0);
    EXPECT_TRUE(header.validate(handler(), 312, SharedMem::FenixId(0), reason));
    EXPECT_FALSE(header.validate(handler(), 312, SharedMem::FenixId(1), reason));
    EXPECT_EQ(reason, "SlotTable::validate() bad fenix:0 wanted:1");
    header.platform = 26;
    EXPECT_FALSE(header.validate(handler(), 312, SharedMem::FenixId(1), reason));
    EXPECT_EQ(reason, "SlotTable::validate() bad fenix:0 wanted:1"); // before the platform
    header.version = 26;
    EXPECT_FALSE(header.validate(handler(), 312, SharedMem::FenixId(1), reason));
    EXPECT_EQ(reason, "SlotTable::Header::validate() bad version: 26"); // after the version
}

} // namespace
