#include "unit/writer/WriterTest.h"

namespace {

using Halyx::Layout::ConquerHeader;
using Halyx::Layout::ConquerRecord;
using Halyx::Writer::Collection;
using Halyx::Writer::Options;

struct Queue {
    ConquerHeader header{};
    std::vector<ConquerRecord> records; ///< as many as the header says
};

class WriterQueuesTest : public WriterTest {
protected:
    [[nodiscard]] Queue read(unsigned id) const {
        const std::string bytes = Fixtures::readFile(pathOf("queued") + "/" + Halyx::Layout::kConquerFiles[id]);
        Queue queue{Fixtures::fromBytes<ConquerHeader>(bytes), {}};
        EXPECT_EQ(queue.header.magic, Halyx::Layout::kConquerMagic);
        EXPECT_EQ(queue.header.version, Halyx::Layout::kConquerVersion);
        EXPECT_EQ(queue.header.fenix, FileWalk(pathOf("queued")).header().fenix);
        EXPECT_GE(bytes.size(), Halyx::Layout::kConquerHeaderSize +
                                    std::size_t{Halyx::Layout::kConquerRecordSize} * queue.header.notifications.value);
        EXPECT_LT(queue.header.tableId.value, 2U);
        for (std::uint32_t i = 0; i < queue.header.notifications.value; ++i) {
            queue.records.push_back(Fixtures::fromBytes<ConquerRecord>(
                bytes, Halyx::Layout::kConquerRecordsOffset + std::size_t{Halyx::Layout::kConquerRecordSize} * i));
        }
        return queue;
    }

    /// The records below currentPos count on from the corral's start; the others were never used or are from before the queue was
    /// emptied.
    static void expectWhole(const Queue& queue) {
        ASSERT_LE(queue.header.currentPos, queue.records.size());
        EXPECT_EQ(queue.header.corralEnd - queue.header.corralStart, queue.header.currentPos);
        for (std::uint32_t i = 0; i < queue.records.size(); ++i) {
            const ConquerRecord& record = queue.records[i];
            if (i < queue.header.currentPos) {
                EXPECT_EQ(record.sequence(), queue.header.corralStart + i);
                EXPECT_NE(record.slot, Halyx::Layout::kConquerNoSlot);
            } else if (record.slot == Halyx::Layout::kConquerNoSlot) {
                EXPECT_EQ(record.sequence(), 0U);
            } else {
                EXPECT_LT(record.sequence(), queue.header.corralStart);
            }
        }
    }

    static Options queued(std::uint32_t notifications, std::uint32_t most) {
        Options options = pairs();
        options.conquer = true;
        options.notifications = notifications;
        options.maxNotifications = most;
        return options;
    }
};

TEST_F(WriterQueuesTest, EveryChangeIsNoted) {
    Collection collection("queued", queued(8, 8));
    collection.publish();
    collection.put(key(1), pair(1, 1));
    collection.put(key(2), pair(2, 1));
    collection.put(key(1), pair(1, 2));
    collection.erase(key(2));
    collection.erase(key(3));
    const Queue queue = read(0);
    expectWhole(queue);
    EXPECT_EQ(queue.header.currentPos, 4U);
    EXPECT_EQ(queue.header.minimumSequence, 1U);
    EXPECT_EQ(queue.header.tableId, (Mem::VerU32{1, 0}));
    std::vector<std::uint32_t> slots;
    for (std::uint32_t i = 0; i < 4; ++i) {
        slots.push_back(queue.records[i].slot);
    }
    EXPECT_EQ(slots, (std::vector<std::uint32_t>{0, 1, 0, 1}));
    expectWhole(read(1));
}

TEST_F(WriterQueuesTest, AFullQueueGrowsAndThenGivesWay) {
    Collection collection("queued", queued(8, 24));
    collection.publish();
    for (std::uint64_t change = 1; change <= 200; ++change) {
        collection.put(key(change % 5), pair(change % 5, change));
        const Queue queues[2] = {read(0), read(1)};
        expectWhole(queues[0]);
        expectWhole(queues[1]);
        const Mem::VerU32 active = queues[0].header.tableId;
        EXPECT_EQ(queues[1].header.tableId, active);
        EXPECT_EQ(queues[active.value].header.corralEnd, change + 1);
        // The sequence numbers that are still held have no gap.
        const Queue& backup = queues[1 - active.value];
        EXPECT_EQ(queues[0].header.minimumSequence, active.version == 1 ? 1 : backup.header.corralStart);
        if (active.version > 1) {
            EXPECT_EQ(backup.header.corralEnd, queues[active.value].header.corralStart);
        }
    }
    EXPECT_EQ(read(0).header.notifications, (Mem::VerU32{2, 24}));
    EXPECT_EQ(read(1).header.notifications, (Mem::VerU32{2, 24}));
    EXPECT_EQ(collection.stats().queueGrowths, 2U);
    EXPECT_EQ(collection.stats().queueSwitches, 8U);
}

TEST_F(WriterQueuesTest, AQueueOfOneSwitchesEveryTime) {
    Collection collection("queued", queued(1, 1));
    collection.publish();
    for (std::uint64_t change = 1; change <= 9; ++change) {
        collection.put(key(1), pair(1, change));
        expectWhole(read(0));
        expectWhole(read(1));
    }
    EXPECT_EQ(collection.stats().queueSwitches, 8U);
}

} // namespace
