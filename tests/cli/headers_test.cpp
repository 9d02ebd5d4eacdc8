// Header faults of the bucket and the slot table, in the words of each check.

#include "cli/CliTest.h"

using namespace Fixtures;
using Halyx::Layout::BucketTableHeader;
using Halyx::Layout::SlotTableHeader;

namespace {

class Headers : public CliTest {
protected:
    std::string failure(const std::string& reason) const {
        return "Halyx " + root_.collections() + "/c validation failed: " + reason + "\n";
    }

    /// Expects the walk to stop at a header, for that reason.
    void expectFault(const CollectionBuilder& builder, const std::string& reason) {
        SCOPED_TRACE(reason);
        builder.build(root_, "c");
        expectOutcome(halyx({"c"}), 1, failure(reason), attachError("c"));
    }

    void expectSound(const CollectionBuilder& builder) {
        builder.build(root_, "c");
        const Outcome outcome = halyx({"c"});
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        EXPECT_EQ(outcome.err, "");
    }

    static CollectionBuilder good() { return CollectionBuilder(3, 4).fillNumbers(); }
};

TEST_F(Headers, Buckets) {
    const std::string at = "BucketTable::Header::validate() bad ";
    CollectionBuilder magic = good();
    magic.bucketsHeader.magic = 0x1fULL << 32;
    expectFault(magic, at + "magic: 1f00000000");
    CollectionBuilder version = good();
    version.bucketsHeader.version = 26;
    expectFault(version, at + "version: 26");
    CollectionBuilder count = good();
    count.bucketsHeader.numBuckets.value = 4;
    expectFault(count, at + "shmem size:56 wanted:64 for 4 buckets");
    CollectionBuilder huge = good();
    huge.bucketsHeader.numBuckets.value = 0x20000000;
    expectFault(huge, at + "shmem size:56 wanted:4294967328 for 536870912 buckets");
    huge.bucketsHeader.numBuckets.value = 0xffffffff;
    expectFault(huge, at + "shmem size:56 wanted:34359738392 for 4294967295 buckets");
}

TEST_F(Headers, BucketFieldsThatMayBeAnything) {
    CollectionBuilder builder = good();
    builder.bucketsHeader.fenix = SharedMem::FenixId(0);
    builder.bucketsHeader.ownerPid = 0;
    builder.bucketsHeader.reserved = 0xffffffff;
    builder.bucketsHeader.numBuckets.version = 0xffffffff;
    expectSound(builder);
}

TEST_F(Headers, Slots) {
    const std::string at = "SlotTable::Header::validate() ";
    CollectionBuilder magic = good();
    magic.slotsHeader.magic = 0xabcdef;
    expectFault(magic, at + "bad magic: abcdef");
    CollectionBuilder version = good();
    version.slotsHeader.version = 11;
    expectFault(version, at + "bad version: 11");
    CollectionBuilder platform = good();
    platform.slotsHeader.platform = 2;
    expectFault(platform, at + "bad platform specification: unknown(2) expecting: x86-linux");
    CollectionBuilder checksum = good();
    checksum.slotsHeader.hash = 0xbeef;
    checksum.keepChecksum();
    expectFault(checksum, at + "checksum fail: " + hexNumber(slotsChecksum(checksum.slotsHeader)) + " != beef");
    CollectionBuilder occupied = good();
    occupied.slotsHeader.occupiedSlots = 5;
    expectFault(occupied, at + "bad occupiedSlots: 5 num slots: 1a:4");
    CollectionBuilder free = good();
    free.slotsHeader.freeSlots = 4;
    expectFault(free, at + "bad freeSlots: 4 slots: 4");
    free.slotsHeader.freeSlots = 0xfffffffe;
    expectFault(free, at + "bad freeSlots: 4294967294 slots: 4");
    CollectionBuilder most = good();
    most.slotsHeader.mostSlots = 3;
    expectFault(most, at + "bad mostSlots:3 numSlots:4");
    CollectionBuilder size = good();
    size.slotsHeader.numSlots.value = 5;
    size.slotsHeader.mostSlots = 5;
    expectFault(size, at + "bad shmem size:312 wanted:336 for 5 slots");
}

TEST_F(Headers, SlotValuesAtTheirLimits) {
    CollectionBuilder builder = good();
    builder.slotsHeader.occupiedSlots = 4;
    builder.slotsHeader.mostSlots = 4;
    expectSound(builder);
    builder.slotsHeader.freeSlots = 3;
    expectSound(builder);
    builder.slotsHeader.mostSlots = 0xffffffff;
    builder.slotsHeader.fenix = SharedMem::FenixId(0);
    builder.slotsHeader.reserved = 0xffffffff;
    builder.slotsHeader.flags = 0xfffffffe;
    builder.slotsHeader.maxSlots = 0;
    expectSound(builder);
    CollectionBuilder none(3, 0);
    expectSound(none);
    EXPECT_EQ(none.slotsFile().size(), 216U);
    none.slotsHeader.freeSlots = 0;
    expectFault(none, "SlotTable::Header::validate() bad freeSlots: 0 slots: 0");
}

TEST_F(Headers, SlotChecksHaveAnOrder) {
    CollectionBuilder builder = good();
    SlotTableHeader& header = builder.slotsHeader;
    builder.keepChecksum();
    const std::string at = "SlotTable::Header::validate() ";
    header.hash = slotsChecksum(header);
    header.mostSlots = 2;
    header.numSlots.value = 100;
    expectFault(builder, at + "bad mostSlots:2 numSlots:100");
    header.freeSlots = 100;
    expectFault(builder, at + "bad freeSlots: 100 slots: 100");
    header.occupiedSlots = 101;
    expectFault(builder, at + "bad occupiedSlots: 101 num slots: 1a:100");
    header.hash = 0x1a;
    expectFault(builder, at + "checksum fail: " + hexNumber(slotsChecksum(header)) + " != 1a");
    header.platform = 0;
    expectFault(builder, at + "bad platform specification: unknown(0) expecting: x86-linux");
    header.version = 13;
    expectFault(builder, at + "bad version: 13");
    header.magic = 1;
    expectFault(builder, at + "bad magic: 1");
}

TEST_F(Headers, TheBucketTableIsCheckedFirst) {
    CollectionBuilder builder = good();
    builder.slotsHeader.magic = 1;
    builder.bucketsHeader.version = 2;
    expectFault(builder, "BucketTable::Header::validate() bad version: 2");
}

TEST_F(Headers, TheReportOfAFaultStaysOnStandardOutput) {
    CollectionBuilder builder = good();
    builder.slotsHeader.magic = 1;
    builder.build(root_, "c");
    expectOutcome(halyx({"-f", root_.file("out"), "c"}), 1, failure("SlotTable::Header::validate() bad magic: 1"),
                  attachError("c"));
    EXPECT_EQ(readFile(root_.file("out")), "");
}

TEST_F(Headers, EachKindOfChangeBreaksOrKeepsTheChecksum) {
    const std::string at = "SlotTable::Header::validate() checksum fail: ";
    const Collection c = good().build(root_, "c");
    const std::string bytes = c.bytes("slots");
    // One byte of each field under the checksum.
    for (const std::size_t offset : {std::size_t{20}, std::size_t{83}, std::size_t{84}, std::size_t{147},
                                     std::size_t{148}, std::size_t{156}, std::size_t{160}, std::size_t{164}}) {
        std::string changed = bytes;
        changed[offset] = static_cast<char>(changed[offset] ^ 1);
        c.replace("slots", changed);
        expectOutcome(halyx({"c"}), 1, failure(slotsFault(changed)), attachError("c"));
        expectPart(slotsFault(changed), at);
    }
}

class EveryByte : public Headers {
protected:
    /// Changes every byte of the first `size` bytes of a file in turn, and returns how many changes were noticed. Each
    /// must be noticed in the words of the check that `fault` names, or not at all.
    unsigned detections(const Collection& c, const std::string& file, std::size_t size, unsigned char flip,
                        std::string (*fault)(const std::string&)) {
        const std::string good = c.bytes(file);
        unsigned noticed = 0;
        for (std::size_t offset = 0; offset < size; ++offset) {
            std::string changed = good;
            changed[offset] = static_cast<char>(static_cast<unsigned char>(changed[offset]) ^ flip);
            c.replace(file, changed);
            const Outcome outcome = halyx({"c"});
            SCOPED_TRACE(file + " byte " + std::to_string(offset) + " flipped by " + std::to_string(flip));
            expectClean(outcome);
            const std::string wanted = fault(changed);
            if (wanted.empty()) {
                EXPECT_EQ(outcome.status, 0) << outcome.describe();
                EXPECT_EQ(outcome.err, "");
                continue;
            }
            ++noticed;
            expectOutcome(outcome, 1, failure(wanted), attachError("c"));
        }
        c.replace(file, good);
        return noticed;
    }
};

TEST_F(EveryByte, OfTheBucketTablesHeader) {
    const Collection c = good().build(root_, "c");
    // Magic, version and, since the file has not one byte to spare, every raise of the count; nothing else is checked.
    const std::size_t fields = sizeof(BucketTableHeader::magic) + sizeof(BucketTableHeader::version);
    const std::size_t count = sizeof(Mem::VerU32::value);
    EXPECT_EQ(detections(c, "buckets", sizeof(BucketTableHeader), 0x80, bucketsFault), fields + count);
    // Bit 0 of the count's lowest byte is set: cleared, the table is merely smaller.
    EXPECT_EQ(detections(c, "buckets", sizeof(BucketTableHeader), 0x01, bucketsFault), fields + count - 1);
}

TEST_F(EveryByte, OfTheSlotTablesHeader) {
    CollectionBuilder builder = good();
    builder.slotsHeader.freeSlots = 3;
    builder.slotsHeader.occupiedSlots = 0;
    const Collection c = builder.build(root_, "c");
    using H = SlotTableHeader;
    const std::size_t identity = sizeof(H::magic) + sizeof(H::version) + sizeof(H::platform);
    const std::size_t checksummed = sizeof(H::valueType) + sizeof(H::classType) + sizeof(H::valueSize) +
                                    sizeof(H::slotSize) + sizeof(H::maxSlots) + sizeof(H::flags) + sizeof(H::hash);
    // Any raise of occupiedSlots, freeSlots or numSlots past 4 is noticed; a raise of mostSlots is none.
    const std::size_t counts = sizeof(H::occupiedSlots) + sizeof(H::freeSlots) + sizeof(Mem::VerU32::value);
    EXPECT_EQ(detections(c, "slots", sizeof(H), 0x80, slotsFault), identity + checksummed + counts);
}

TEST_F(EveryByte, OfTheSlotTablesHeaderWithTheLowestBit) {
    CollectionBuilder builder = good();
    builder.slotsHeader.freeSlots = 3;
    builder.slotsHeader.occupiedSlots = 0;
    const Collection c = builder.build(root_, "c");
    using H = SlotTableHeader;
    const std::size_t identity = sizeof(H::magic) + sizeof(H::version) + sizeof(H::platform);
    const std::size_t checksummed = sizeof(H::valueType) + sizeof(H::classType) + sizeof(H::valueSize) +
                                    sizeof(H::slotSize) + sizeof(H::maxSlots) + sizeof(H::flags) + sizeof(H::hash);
    // occupiedSlots 0 to 1 and freeSlots 3 to 2 are sound; numSlots 4 to 5 is not, mostSlots being 4.
    const std::size_t counts = sizeof(H::occupiedSlots) - 1 + sizeof(H::freeSlots) - 1 + sizeof(Mem::VerU32::value);
    EXPECT_EQ(detections(c, "slots", sizeof(H), 0x01, slotsFault), identity + checksummed + counts);
}

class EverySize : public Headers {};

TEST_F(EverySize, OfTheBucketTable) {
    const std::string good = Headers::good().bucketsFile();
    const Collection c = Headers::good().build(root_, "c");
    for (std::size_t size = 0; size < good.size(); ++size) {
        SCOPED_TRACE(size);
        c.replace("buckets", good.substr(0, size));
        expectOutcome(halyx({"c"}), 1, size == 0 ? "" : failure(bucketsFault(good.substr(0, size))), attachError("c"));
    }
    c.replace("buckets", good + std::string(100, 'x'));
    EXPECT_EQ(halyx({"c"}).status, 0);
}

TEST_F(EverySize, OfTheSlotTable) {
    const std::string good = Headers::good().slotsFile();
    const Collection c = Headers::good().build(root_, "c");
    for (std::size_t size = 0; size < good.size(); ++size) {
        SCOPED_TRACE(size);
        c.replace("slots", good.substr(0, size));
        expectOutcome(halyx({"c"}), 1, size == 0 ? "" : failure(slotsFault(good.substr(0, size))), attachError("c"));
    }
    c.replace("slots", good + std::string(100, 'x'));
    EXPECT_EQ(halyx({"c"}).status, 0);
}

TEST_F(EverySize, AShortSlotTableWithASoundBeginningIsTooShort) {
    const Collection c = CollectionBuilder(3, 0).build(root_, "c");
    c.truncate("slots", 215);
    expectOutcome(halyx({"c"}), 1, failure("SlotTable::Header::validate() bad header file size: 215 wanted:216"),
                  attachError("c"));
    c.truncate("slots", 192);
    expectOutcome(halyx({"c"}), 1, failure("SlotTable::Header::validate() bad header file size: 192 wanted:216"),
                  attachError("c"));
    c.corrupt("slots", 0, "h");
    expectOutcome(halyx({"c"}), 1, failure("SlotTable::Header::validate() bad magic: 544c5358594c4168"),
                  attachError("c"));
}

} // namespace
