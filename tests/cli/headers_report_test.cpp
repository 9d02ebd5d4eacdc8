// The report on the headers of every file of a collection, byte for byte, and what stops it.

#include "cli/CliTest.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

using namespace Fixtures;
using Halyx::Layout::ConquerHeader;
using Plask::Layout::SlabHeader;

namespace {

class HeadersReport : public CliTest {
protected:
    /// A collection whose every field has a value of its own.
    static CollectionBuilder good() {
        CollectionBuilder builder(3, 4);
        builder.fillNumbers().lookaside(bytesOf(std::uint64_t{4711}));
        builder.bucketsHeader.fenix = SharedMem::FenixId(0x00021234);
        builder.bucketsHeader.numBuckets.version = 0xab;
        builder.bucketsHeader.ownerPid = 815;
        builder.slotsHeader.fenix = SharedMem::FenixId(0x00031235);
        builder.slotsHeader.occupiedSlots = 2;
        builder.slotsHeader.freeSlots = 3;
        builder.slotsHeader.maxSlots = 1000;
        return builder;
    }

    std::string title() const { return "Halyx table \"" + root_.collections() + "/c\"\n\n"; }

    static std::string buckets(const std::string& magic = "544b4258594c4148 (\"HALYXBKT\")") {
        return "Buckets header: (32 bytes)\n"
               "\tMagic: 0x" +
               magic +
               "\n"
               "\tVersion: 1\n"
               "\tFenix: 135732 (pid: 4660 instanceId: 2)\n"
               "\tNumBuckets: ab:3\n"
               "\tOwner pid: 815\n"
               "\n";
    }

    /// The slot table's block up to the blank line behind it, which follows the slabs' blocks.
    static std::string slots(const CollectionBuilder& builder, const std::string& lookaside,
                             const std::string& type = "8 bytes \"U64\"", const std::string& flags = "0",
                             const std::string& free = "3") {
        const bool isDynamic = (builder.slotsHeader.flags & 1) != 0;
        const bool hasConquer = (builder.slotsHeader.flags & 2) != 0;
        return "Slots header: (192 + " + std::to_string(builder.slotsHeader.slotSize) +
               " bytes)\n"
               "\tMagic: 0x544c5358594c4148 (\"HALYXSLT\")\n"
               "\tVersion: 12\n"
               "\tFenix: 201269 (pid: 4661 instanceId: 3)\n"
               "\tHash: 0x" +
               hexNumber(slotsChecksum(builder.slotsHeader)) +
               "\n"
               "\tOccupied slots: 2\n"
               "\tMapped slots: 1a:4\n"
               "\tMax slots: 1000\n"
               "\tFlags: 0x" +
               flags + "\n\t\tDynamic: " + (isDynamic ? "true" : "false") +
               "\n\t\tConquer: " + (hasConquer ? "true" : "false") + "\n\tValue type: " + type +
               "\n"
               "\tClass type: \"Test\"\n"
               "\tSlot size: " +
               std::to_string(builder.slotsHeader.slotSize) + " bytes\n\tHead of free list: " + free +
               "\n\tLookaside value: " + lookaside + "\n";
    }

    /// A dynamic one with slab 0, which is full, slab 3, which has one entry in use, and slab 31, which has none at all.
    static CollectionBuilder slabs() {
        CollectionBuilder builder = good();
        builder.dynamic().valueType("Payload", 64).lookaside(bytesOf(std::uint32_t{37}));
        builder.slab(0, 72, {"one", "two"}).slab(3, 16, {std::nullopt, "x", std::nullopt}).slab(31, 24, {});
        builder.slabHeader(3).freeList = 2;
        builder.slabHeader(3).fenix = SharedMem::FenixId(0xffffffff);
        builder.slabHeader(31).fenix = SharedMem::FenixId(0);
        builder.slabHeader(31).numEntries.version = 0xffffffff;
        return builder;
    }
    static std::string slab(unsigned number, const std::string& fenix, const std::string& entries, unsigned occupied,
                            std::uint32_t size, const std::string& freeList) {
        return "Slab " + std::to_string(number) +
               " header: (40 bytes)\n"
               "\tMagic: 0x424c534b53414c50 (\"PLASKSLB\")\n"
               "\tVersion: 1\n"
               "\tFenix: " +
               fenix + "\n\tTotal entries: " + entries + "\n\tOccupied entries: " + std::to_string(occupied) +
               "\n\tEntry size: " + std::to_string(size) + " bytes\n\tHash: 0x" + hexNumber(fnv1a(bytesOf(size))) +
               "\n\tFree list: " + freeList + "\n";
    }
    static std::string slab0() { return slab(0, "463412 (pid: 4660 instanceId: 7)", "3:2", 2, 72, "4294967295"); }
    static std::string slab3() { return slab(3, "4294967295 (pid: 65535 instanceId: 65535)", "3:3", 1, 16, "2"); }
    static std::string slab31() { return slab(31, "0 (pid: 0 instanceId: 0)", "ffffffff:0", 0, 24, "4294967295"); }

    static CollectionBuilder queues() {
        CollectionBuilder builder = good();
        builder.conquer().notify(0, 1, 2).notify(0, 2, 2).notify(1, 3, 0).leftover(1, 9, 9);
        builder.conquerHeader(0).minimumSequence = 17;
        builder.conquerHeader(0).connectedReaders = 3;
        builder.conquerHeader(0).tableId = {0xbeef, 0};
        builder.conquerHeader(1).minimumSequence = 1000;
        builder.conquerHeader(1).connectedReaders = 1000;
        builder.conquerHeader(1).tableId = {1000, 1};
        builder.conquerHeader(1).fenix = SharedMem::FenixId(0x00021234);
        return builder;
    }
    static std::string queuesTitle() { return "Conquer header: (72 bytes in primary, 72 bytes in secondary)\n"; }
    static std::string queue(const std::string& magic, const std::string& version, const std::string& fenix,
                             const std::string& count, const std::string& position) {
        return "\n\t\tMagic: 0x" + magic + "\n\t\tVersion: " + version + "\n\t\tFenix: " + fenix +
               "\n\t\tNotifications: " + count + "\n\t\tCurrent position: " + position + "\n";
    }
    static std::string primary() {
        return "\tPrimary:" +
               queue("52514358594c4148 (\"HALYXCQR\")", "7", "463412 (pid: 4660 instanceId: 7)", "1c:2", "2");
    }
    static std::string secondary() {
        return "\tSecondary:" +
               queue("52514358594c4148 (\"HALYXCQR\")", "7", "135732 (pid: 4660 instanceId: 2)", "1c:2", "1");
    }
    static std::string shared() {
        return "\tMinimum sequence: 17\n\tNumber of connected readers: 3\n\tCurrent table: Primary (version: 0xbeef)\n";
    }

    void expectReport(const std::string& text) { expectOutcome(halyx({"-x", "c"}), 0, title() + text, ""); }
    void expectReport(const CollectionBuilder& builder, const std::string& text) {
        builder.build(root_, "c");
        expectReport(text);
    }
    void expectFailure(const std::string& complaint) { expectOutcome(halyx({"-x", "c"}), 1, "", complaint); }

    static std::string noCollection(const std::string& name = "c") {
        return "Error attaching Halyx reader for " + name + "\n";
    }
    static std::string noQueues(const std::string& name = "c") {
        return "Error attaching Conquer reader for " + name + "\n";
    }
};

TEST_F(HeadersReport, OfAStaticCollection) {
    expectReport(good(), buckets() + slots(good(), "4711") + "\n");
    // Whatever else is asked for.
    expectOutcome(halyx({"-x", "-q", "-v", "-e", "-p", "c"}), 0, title() + buckets() + slots(good(), "4711") + "\n",
                  "");
}

TEST_F(HeadersReport, OfADynamicCollection) {
    expectReport(slabs(), buckets() + slots(slabs(), "Offset{ slab: 5 index: 1 }", "64 bytes \"Payload\"", "1") +
                              slab0() + slab3() + slab31() + "\n");
}

TEST_F(HeadersReport, SlabsThatAreMissing) {
    const Collection c = slabs().build(root_, "c");
    const std::string before = buckets() + slots(slabs(), "Offset{ slab: 5 index: 1 }", "64 bytes \"Payload\"", "1");
    c.remove("slab0");
    expectReport(before + slab3() + slab31() + "\n");
    c.remove("slab31");
    c.replace("slab32", "");
    c.replace("slab01", "");
    expectReport(before + slab3() + "\n");
    c.remove("slab3");
    expectReport(before + "\n");
}

TEST_F(HeadersReport, AllSlabs) {
    CollectionBuilder builder = good();
    builder.dynamic().valueType("Payload", 64).lookaside("");
    std::string blocks;
    for (unsigned number = 0; number < 32; ++number) {
        builder.slab(number, 16 + 8 * number, {"x"});
        blocks += slab(number, "463412 (pid: 4660 instanceId: 7)", "3:1", 1, 16 + 8 * number, "4294967295");
    }
    expectReport(builder,
                 buckets() + slots(builder, "Offset{ slab: 0 index: 0 }", "64 bytes \"Payload\"", "1") + blocks + "\n");
}

TEST_F(HeadersReport, AStaticCollectionHasNoSlabs) {
    const Collection c = good().build(root_, "c");
    c.replace("slab0", slabs().slabFile(0));
    c.replace("slab1", "");
    c.replace("slab2", "not a slab");
    expectReport(buckets() + slots(good(), "4711") + "\n");
}

TEST_F(HeadersReport, OfACollectionWithQueues) {
    const std::string before = buckets() + slots(queues(), "4711", "8 bytes \"U64\"", "2") + "\n" + queuesTitle();
    expectReport(queues(), before + shared() + primary() + secondary() + "\n");
    CollectionBuilder builder = queues();
    builder.conquerHeader(0).tableId = {0xffffffff, 1};
    builder.conquerHeader(0).minimumSequence = ~std::uint64_t{0};
    builder.conquerHeader(0).connectedReaders = 0xffffffff;
    expectReport(builder, before +
                              "\tMinimum sequence: 18446744073709551615\n"
                              "\tNumber of connected readers: 4294967295\n"
                              "\tCurrent table: Secondary (version: 0xffffffff)\n" +
                              primary() + secondary() + "\n");
}

TEST_F(HeadersReport, OfADynamicCollectionWithQueues) {
    CollectionBuilder builder = slabs();
    builder.conquer();
    const std::string queue =
        HeadersReport::queue("52514358594c4148 (\"HALYXCQR\")", "7", "463412 (pid: 4660 instanceId: 7)", "1c:0", "0");
    expectReport(builder, buckets() + slots(builder, "Offset{ slab: 5 index: 1 }", "64 bytes \"Payload\"", "3") +
                              slab0() + slab3() + slab31() + "\n" + queuesTitle() +
                              "\tMinimum sequence: 0\n\tNumber of connected readers: 0\n"
                              "\tCurrent table: Primary (version: 0x1)\n\tPrimary:" +
                              queue + "\tSecondary:" + queue + "\n");
}

TEST_F(HeadersReport, QueuesThatNobodyTellsOf) {
    CollectionBuilder builder = queues();
    builder.slotsHeader.flags = 0;
    expectReport(builder, buckets() + slots(builder, "4711") + "\n");
    builder.build(root_, "c").replace("conquer.1", "");
    expectReport(buckets() + slots(builder, "4711") + "\n");
}

TEST_F(HeadersReport, QueueHeadersArePrintedAsFound) {
    const std::string before = buckets() + slots(queues(), "4711", "8 bytes \"U64\"", "2") + "\n" + queuesTitle();
    CollectionBuilder builder = queues();
    ConquerHeader& header = builder.conquerHeader(0);
    header.magic = 0x2241005c7f1f20fe; // fe blank 1f 7f backslash 00 A quote
    header.version = 0xffffffff;
    header.fenix = SharedMem::FenixId(0);
    header.tableId = {0, 2};
    header.notifications = {0xffffffff, 0xffffffff};
    header.currentPos = 0xffffffff;
    expectReport(builder, before +
                              "\tMinimum sequence: 17\n\tNumber of connected readers: 3\n"
                              "\tCurrent table: Secondary (version: 0x0)\n\tPrimary:" +
                              queue("2241005c7f1f20fe (\". ....A.\")", "4294967295", "0 (pid: 0 instanceId: 0)",
                                    "ffffffff:4294967295", "4294967295") +
                              secondary() + "\n");
    const Collection c = queues().build(root_, "c");
    c.corrupt("conquer.2", 0, std::string(8, '\0'));
    expectReport(before + shared() + primary() + "\tSecondary:" +
                 queue("0 (\"........\")", "7", "135732 (pid: 4660 instanceId: 2)", "1c:2", "1") + "\n");
    c.corrupt32("conquer.2", 60, 0x55555556);
    c.truncate("conquer.2", 72);
    expectReport(before + shared() + primary() + "\tSecondary:" +
                 queue("0 (\"........\")", "7", "135732 (pid: 4660 instanceId: 2)", "1c:1431655766", "1") + "\n");
}

TEST_F(HeadersReport, QueueFilesThatCannotBeAttached) {
    for (const std::string file : {"conquer.1", "conquer.2"}) {
        SCOPED_TRACE(file);
        queues().build(root_, "c").truncate(file, 0);
        expectFailure(noQueues());
        const Collection c = queues().build(root_, "c");
        ASSERT_EQ(::chmod(c.file(file).c_str(), 0), 0);
        expectOutcome(halyxUnprivileged({"-x", "c"}), 1, "", noQueues());
        c.replaceWithFifo(file);
        expectFailure(noQueues());
        c.remove(file);
        expectFailure(noQueues());
        ASSERT_EQ(::symlink(c.file("slots").c_str(), c.file(file).c_str()), 0);
        expectFailure(noQueues());
        c.replaceWithDirectory(file);
        expectFailure(noQueues());
        ASSERT_EQ(::rmdir(c.file(file).c_str()), 0);
    }
}

TEST_F(HeadersReport, BucketHeadersArePrintedAsFound) {
    CollectionBuilder builder = good();
    builder.bucketsHeader.magic = 0x544b4258594c410a;
    expectReport(builder, buckets("544b4258594c410a (\".ALYXBKT\")") + slots(good(), "4711") + "\n");
    builder.bucketsHeader.version = 0xffffffff;
    builder.bucketsHeader.fenix = SharedMem::FenixId(0xffff0000);
    builder.bucketsHeader.numBuckets = {0xffffffff, 0xffffffff};
    builder.bucketsHeader.ownerPid = 0xffffffff;
    builder.bucketsHeader.magic = 0;
    expectReport(builder, "Buckets header: (32 bytes)\n"
                          "\tMagic: 0x0 (\"........\")\n"
                          "\tVersion: 4294967295\n"
                          "\tFenix: 4294901760 (pid: 0 instanceId: 65535)\n"
                          "\tNumBuckets: ffffffff:4294967295\n"
                          "\tOwner pid: 4294967295\n"
                          "\n" +
                              slots(good(), "4711") + "\n");
}

TEST_F(HeadersReport, FreeLists) {
    CollectionBuilder builder = good();
    builder.slotsHeader.freeSlots = 0xffffffff;
    expectReport(builder, buckets() + slots(builder, "4711", "8 bytes \"U64\"", "0", "None") + "\n");
    builder.slotsHeader.freeSlots = 0;
    expectReport(builder, buckets() + slots(builder, "4711", "8 bytes \"U64\"", "0", "0") + "\n");
}

TEST_F(HeadersReport, FlagsThatMeanNothing) {
    CollectionBuilder builder = good();
    builder.slotsHeader.flags = 0xfffffffc;
    expectReport(builder, buckets() + slots(builder, "4711", "8 bytes \"U64\"", "fffffffc") + "\n");
}

TEST_F(HeadersReport, LookasideOffsets) {
    CollectionBuilder builder = good();
    builder.dynamic().valueType("Payload", 64).lookaside("\xff\xff\xff\xff");
    expectReport(builder,
                 buckets() + slots(builder, "Offset{ slab: 31 index: 134217727 }", "64 bytes \"Payload\"", "1") + "\n");
    builder.lookaside("");
    expectReport(builder, buckets() + slots(builder, "Offset{ slab: 0 index: 0 }", "64 bytes \"Payload\"", "1") + "\n");
}

TEST_F(HeadersReport, LookasideValues) {
    const auto expectValue = [&](const std::string& type, const std::string& bytes, const std::string& text) {
        SCOPED_TRACE(type);
        CollectionBuilder builder = good();
        builder.valueType(type, static_cast<std::uint32_t>(bytes.size())).fitSlots().lookaside(bytes);
        expectReport(builder,
                     buckets() + slots(builder, text, std::to_string(bytes.size()) + " bytes \"" + type + "\"") + "\n");
    };
    expectValue("U64", std::string(8, '\xff'), "18446744073709551615");
    expectValue("S32", bytesOf(std::int32_t{-5}), "-5");
    expectValue("bool", "\x01", "true");
    expectValue("U64", "\x01\x02\x03\x04", "01020304"); // not this type's size
    expectValue("char[20]", std::string("a\"b\\\x1b[31m\n\0zzzzzzzz", 20), "\"a\\\"b\\\\\\x1b[31m\\x0a\"");
    expectValue("Unknown", std::string("\0\xab\xff", 3), "00abff");
    expectValue("Unknown", std::string(100, '\x5a'), hexOf(std::string(100, '\x5a')));
}

TEST_F(HeadersReport, TypeNamesAreMadeSafe) {
    CollectionBuilder builder = good();
    builder.valueType("U\x1b[2J\n\"\\\xff", 8).lookaside(std::string(8, '\0'));
    std::memset(builder.slotsHeader.classType, '\x1b', sizeof builder.slotsHeader.classType);
    std::string classType;
    for (std::size_t i = 0; i < sizeof builder.slotsHeader.classType; ++i) {
        classType += "\\x1b";
    }
    std::string wanted = buckets() + slots(builder, "0000000000000000", "8 bytes \"U\\x1b[2J\\x0a\"\\\\xff\"") + "\n";
    const std::string line = "\tClass type: \"Test\"";
    wanted.replace(wanted.find(line), line.size(), "\tClass type: \"" + classType + "\"");
    expectReport(builder, wanted);
    builder.valueType(std::string(64, 'x'), 8).slotsHeader.classType[0] = '\0';
    wanted = buckets() + slots(builder, "0000000000000000", "8 bytes \"" + std::string(64, 'x') + "\"") + "\n";
    wanted.replace(wanted.find(line), line.size(), "\tClass type: \"\"");
    expectReport(builder, wanted);
}

TEST_F(HeadersReport, HostileNamesAreMadeSafe) {
    const Collection evil = queues().build(root_, "evil\x1b[31m\n\xff");
    const std::string safe = "evil\\x1b[31m\\x0a\\xff";
    expectOutcome(halyx({"-x", "evil"}), 0,
                  "Halyx table \"" + root_.collections() + "/" + safe + "\"\n\n" + buckets() +
                      slots(queues(), "4711", "8 bytes \"U64\"", "2") + "\n" + queuesTitle() + shared() + primary() +
                      secondary() + "\n",
                  "");
    evil.remove("conquer.1");
    expectOutcome(halyx({"-x", "evil"}), 1, "", noQueues(safe));
    evil.remove("buckets");
    expectOutcome(halyx({"-x", "evil"}), 1, "", noCollection(safe));
}

TEST_F(HeadersReport, GoesToTheOutputFile) {
    const Collection c = good().build(root_, "c");
    writeFile(root_.file("out"), std::string(10000, 'x'));
    expectOutcome(halyx({"-x", "-f", root_.file("out"), "c"}), 0, "", "");
    EXPECT_EQ(readFile(root_.file("out")), title() + buckets() + slots(good(), "4711") + "\n");
    c.remove("slots");
    expectOutcome(halyx({"-x", "-f", root_.file("out"), "c"}), 1, "", noCollection());
    EXPECT_EQ(readFile(root_.file("out")), "");
    const std::string file = root_.file("missing/out");
    expectOutcome(halyx({"-x", "-f", file, "c"}), 1, "",
                  "Error opening " + file + "\nFailed to initialize HalyxHeaderScanner.\n");
}

TEST_F(HeadersReport, FilesThatCannotBeAttached) {
    for (const std::string file : {"buckets", "slots"}) {
        SCOPED_TRACE(file);
        queues().build(root_, "c").truncate(file, 0);
        expectFailure(noCollection());
        const Collection c = queues().build(root_, "c");
        ASSERT_EQ(::chmod(c.file(file).c_str(), 0), 0);
        expectOutcome(halyxUnprivileged({"-x", "c"}), 1, "", noCollection());
        c.replaceWithFifo(file);
        expectFailure(noCollection());
        c.remove(file);
        expectFailure(noCollection());
    }
}

TEST_F(HeadersReport, SlotHeadersWithAFault) {
    const Collection c = queues().build(root_, "c");
    const std::string bytes = c.bytes("slots");
    for (std::size_t offset = 0; offset < 192; ++offset) {
        std::string changed = bytes;
        changed[offset] = static_cast<char>(changed[offset] ^ '\x80');
        c.replace("slots", changed);
        SCOPED_TRACE("byte " + std::to_string(offset));
        if (slotsFault(changed).empty()) {
            const Outcome outcome = halyx({"-x", "c"});
            expectClean(outcome);
            EXPECT_EQ(outcome.status, 0) << outcome.describe();
            EXPECT_EQ(outcome.err, "");
        } else {
            expectFailure(noCollection());
        }
    }
    for (const std::size_t size : {1U, 192U, 215U, 311U}) {
        c.replace("slots", bytes.substr(0, size));
        expectFailure(noCollection());
    }
}

TEST_F(HeadersReport, ValuesThatTheFilesCannotHold) {
    CollectionBuilder builder(4, 0);
    builder.valueType("Blob", 0xffffffe0).slotSize(0xfffffff0);
    const Collection c = builder.build(root_, "c");
    const std::string begin = "halyx: SlotReaderGeneric::checkValueSize() bad valueSize: ";
    Outcome outcome = halyx({"-x", "c"});
    expectClean(outcome);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.substr(0, begin.size()), begin);
    // Holes are no bytes.
    builder.valueType("Blob", 1U << 28).slotSize((1U << 28) + 16);
    builder.build(root_, "c");
    c.truncate("slots", (std::size_t{1} << 28) + 4096);
    outcome = halyx({"-x", "c"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.substr(0, begin.size()), begin);
}

TEST_F(HeadersReport, SlotSizesThatNothingFollowsFrom) {
    for (const std::uint32_t size : {0U, 8U, 0xffffffffU}) {
        SCOPED_TRACE(size);
        CollectionBuilder builder(4, 0);
        builder.valueType("U32", 4).slotSize(size).lookaside(bytesOf(std::uint32_t{4711})).build(root_, "c");
        const Outcome outcome = halyx({"-x", "c"});
        EXPECT_EQ(outcome.err, "");
        expectPart(outcome.out, "\tSlot size: " + std::to_string(size) + " bytes\n");
        expectPart(outcome.out, "\tLookaside value: 4711\n");
    }
}

TEST_F(HeadersReport, SlabHeadersWithAFault) {
    const std::string at = "halyx: SlabReader-3-16::validate() failed: SlabHeader::validate() ";
    const auto expectFault = [&](const CollectionBuilder& builder, const std::string& reason) {
        SCOPED_TRACE(reason);
        builder.build(root_, "c");
        expectFailure(at + reason + "\n");
    };
    CollectionBuilder builder = slabs();
    SlabHeader& header = builder.slabHeader(3);
    header.numEntries.value = 4;
    expectFault(builder, "bad shmem size: 88 wanted: 104 for 4 entries");
    header.freeList = 4;
    expectFault(builder, "bad freeList: 4 maxIndex: 3");
    header.numOccupied = 5;
    expectFault(builder, "bad numOccupied: 5 but numEntries: 4");
    header.checksum = 0x1a;
    expectFault(builder, "checksum fail: " + hexNumber(fnv1a(bytesOf(std::uint32_t{16}))) + " != 1a");
    header.version = 26;
    expectFault(builder, "bad version: 26 wanted: 1");
    header.magic = 0x1a;
    expectFault(builder, "bad magic: 1a wanted: 424c534b53414c50");
    builder.build(root_, "c").truncate("slab3", 39);
    expectFailure(at + "bad header file size: 39 wanted: 40\n");
}

TEST_F(HeadersReport, SlabHeadersWithAnyByteChanged) {
    const Collection c = slabs().build(root_, "c");
    const std::string bytes = c.bytes("slab3");
    unsigned noticed = 0;
    for (std::size_t offset = 0; offset < 40; ++offset) {
        std::string changed = bytes;
        changed[offset] = static_cast<char>(changed[offset] ^ '\x80');
        c.replace("slab3", changed);
        SCOPED_TRACE("byte " + std::to_string(offset));
        const std::string fault = slabFault(changed);
        if (fault.empty()) {
            EXPECT_EQ(halyx({"-x", "c"}).status, 0);
            continue;
        }
        ++noticed;
        expectFailure("halyx: SlabReader-3-" + std::to_string(fromBytes<SlabHeader>(changed).entrySize) +
                      "::validate() failed: " + fault + "\n");
    }
    EXPECT_EQ(noticed, sizeof(SlabHeader) - sizeof(SlabHeader::fenix) - sizeof(Mem::VerU32::version));
}

TEST_F(HeadersReport, SlabFilesThatAreNone) {
    const std::string nothing = "halyx: SlabReader-0-?::attach() no shared memory region\n";
    const Collection c = slabs().build(root_, "c");
    c.truncate("slab0", 0);
    expectFailure(nothing);
    c.replaceWithFifo("slab0");
    expectFailure(nothing);
}

TEST_F(HeadersReport, SlabsThatAreLinks) {
    const Collection c = slabs().build(root_, "c");
    const std::string before = buckets() + slots(slabs(), "Offset{ slab: 5 index: 1 }", "64 bytes \"Payload\"", "1");
    const auto link = [&](const std::string& target) {
        c.remove("slab3");
        ASSERT_EQ(::symlink(c.file(target).c_str(), c.file("slab3").c_str()), 0);
    };
    link("nothing");
    expectReport(before + slab0() + slab31() + "\n"); // as one that is missing
    link("slab3");
    expectReport(before + slab0() + slab31() + "\n");
    link("slab0");
    expectFailure("halyx: SlabReader-3-?::attach() no shared memory region\n");
}

TEST_F(HeadersReport, SlabFilesOfEverySize) {
    const Collection c = slabs().build(root_, "c");
    const std::string bytes = c.bytes("slab0");
    for (std::size_t size = 1; size < bytes.size(); size += size < 48 ? 1 : 9) {
        const std::string cut = bytes.substr(0, size);
        c.replace("slab0", cut);
        SCOPED_TRACE(size);
        expectFailure("halyx: SlabReader-0-" + std::to_string(fromBytes<SlabHeader>(cut).entrySize) +
                      "::validate() failed: " + slabFault(cut) + "\n");
    }
}

TEST_F(HeadersReport, SlabsThatMayNotBeRead) {
    const Collection c = slabs().build(root_, "c");
    ASSERT_EQ(::chmod(c.file("slab0").c_str(), 0), 0);
    expectOutcome(halyxUnprivileged({"-x", "c"}), 1, "",
                  "halyx: SlabReader-0-?::attach() cannot attach to shmem size:40\n");
}

TEST_F(HeadersReport, NeverWrites) {
    CollectionBuilder builder = slabs();
    const Collection c = builder.conquer(2, 2).build(root_, "c");
    const std::vector<std::string> files = {"buckets", "slots", "slab0", "slab3", "slab31", "conquer.1", "conquer.2"};
    std::string before;
    for (const std::string& file : files) {
        ASSERT_EQ(::chmod(c.file(file).c_str(), 0444), 0);
        before += c.bytes(file);
    }
    const Outcome outcome = halyxUnprivileged({"-x", "c"});
    EXPECT_EQ(outcome.status, 0) << outcome.describe();
    std::string after;
    for (const std::string& file : files) {
        after += c.bytes(file);
    }
    EXPECT_EQ(after, before);
}

} // namespace
