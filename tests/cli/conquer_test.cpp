// The report on the two notification queues, byte for byte, of files that nobody changes; and every way in which they can be wrong.

#include "cli/CliTest.h"
#include "fixtures/QueueOutput.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace Fixtures;
using Halyx::Layout::ConquerHeader;

namespace {

constexpr std::uint32_t kNone = 0xffffffff;

class Queues : public CliTest {
protected:
    /// A collection of one element with sound queues, of three records, two of them valid, and of two that were never used.
    static CollectionBuilder good() {
        CollectionBuilder builder(4, 1);
        builder.fillNumbers().conquer();
        return builder.notify(0, 17, 5).notify(0, 18, 0).leftover(0, 9, 3).growQueue(1, 2);
    }
    /// What -q prints of it.
    static std::string goodReport() {
        return "Primary conquer queue "
               "(active)\n\tnotifications:1c:3\n\tcurrentPos:2\n\tcorralStart:0\n\tcorralEnd:0\n\n"
               "pos: 0           |  slot: 5           |  sequence: 17\n"
               "pos: 1           |  slot: 0           |  sequence: 18\n"
               "pos: 2           |  slot: 3           |  sequence: 9\n"
               "Secondary conquer queue "
               "(backup)\n\tnotifications:1d:2\n\tcurrentPos:0\n\tcorralStart:0\n\tcorralEnd:0\n\n"
               "pos: 0           |  slot: [ NONE ]    |  sequence: 0\n"
               "pos: 1           |  slot: [ NONE ]    |  sequence: 0\n" +
               end();
    }
    static std::string end() { return "Conquer scanned in 0 seconds\nRestarted 0 times\n"; }

    void expectReport(const Arguments& options, const std::string& text) {
        Arguments arguments = options;
        arguments.push_back("c");
        Outcome outcome = halyx(arguments);
        outcome.out = withoutSeconds(outcome.out);
        expectOutcome(outcome, 0, text, "");
    }
    void expectReport(const CollectionBuilder& builder, const std::string& text) {
        builder.build(root_, "c");
        expectReport({"-q"}, text);
    }

    std::string invalid(const std::string& reason) const {
        return "Halyx " + root_.collections() + "/c validation failed: " + reason + "\n";
    }
    static std::string noQueues(const std::string& name = "c") {
        return "Error attaching Conquer reader for " + name + "\n";
    }
    static std::string noCollection(const std::string& name = "c") {
        return "Error attaching Halyx reader for " + name + "\n";
    }

    /// Expects both forms of the report to fail in these words.
    void expectFailure(const std::string& complaints) {
        expectOutcome(halyx({"-q", "c"}), 1, "", complaints);
        expectOutcome(halyx({"-q", "-v", "c"}), 1, "", complaints);
    }
};

TEST_F(Queues, ArePrintedWhole) {
    expectReport(good(), goodReport());
    expectReport({"-q", "-e", "-p"}, goodReport());
    expectReport({"-q", "-j"}, goodReport());
}

TEST_F(Queues, OrTheValidPartOfTheActiveOne) {
    good().build(root_, "c");
    const std::string text =
        "Primary conquer queue (active)\n\tnotifications:1c:3\n\tcurrentPos:2\n\tcorralStart:0\n\tcorralEnd:0\n\n"
        "pos: 0           |  slot: 5           |  sequence: 17\n"
        "pos: 1           |  slot: 0           |  sequence: 18\n" +
        end();
    expectReport({"-q", "-v"}, text);
    expectReport({"-v", "-q"}, text);
    expectReport({"-qve"}, text);
}

TEST_F(Queues, TheSecondaryOneActive) {
    CollectionBuilder builder = good();
    builder.notify(1, 19, 7).activate(1);
    builder.conquerHeader(1).currentPos = 3; // two of them have no slot
    expectReport(builder, "Primary conquer queue (backup)\n\tnotifications:1c:3\n\tcurrentPos:2\n"
                          "\tcorralStart:0\n\tcorralEnd:0\n\n"
                          "pos: 0           |  slot: 5           |  sequence: 17\n"
                          "pos: 1           |  slot: 0           |  sequence: 18\n"
                          "pos: 2           |  slot: 3           |  sequence: 9\n"
                          "Secondary conquer queue (active)\n\tnotifications:1d:3\n\tcurrentPos:3\n"
                          "\tcorralStart:0\n\tcorralEnd:0\n\n"
                          "pos: 0           |  slot: [ NONE ]    |  sequence: 0\n"
                          "pos: 1           |  slot: [ NONE ]    |  sequence: 0\n"
                          "pos: 2           |  slot: 7           |  sequence: 19\n" +
                              end());
    expectReport({"-q", "-v"}, "Secondary conquer queue (active)\n\tnotifications:1d:3\n\tcurrentPos:3\n"
                               "\tcorralStart:0\n\tcorralEnd:0\n\n"
                               "pos: 2           |  slot: 7           |  sequence: 19\n" +
                                   end());
}

TEST_F(Queues, TheActiveOneIsWhatThePrimaryFileSays) {
    CollectionBuilder builder = good();
    builder.conquerHeader(1).tableId = {99, 1};
    expectReport(builder, goodReport());
    builder.conquerHeader(0).tableId = {7, 1};
    builder.conquerHeader(1).tableId = {7, 0};
    builder.build(root_, "c");
    expectReport({"-q", "-v"}, "Secondary conquer queue (active)\n\tnotifications:1d:2\n\tcurrentPos:0\n"
                               "\tcorralStart:0\n\tcorralEnd:0\n\n" +
                                   end());
}

TEST_F(Queues, RecordsWithoutASlotAreSkippedAmongTheValid) {
    CollectionBuilder builder(4, 1);
    builder.fillNumbers().conquer();
    builder.notify(0, 1, 8).notify(0, 2, kNone).notify(0, 3, kNone - 1).notify(0, 4, kNone).leftover(0, 5, 8);
    expectReport(builder, "Primary conquer queue (active)\n\tnotifications:1c:5\n\tcurrentPos:4\n"
                          "\tcorralStart:0\n\tcorralEnd:0\n\n"
                          "pos: 0           |  slot: 8           |  sequence: 1\n"
                          "pos: 1           |  slot: [ NONE ]    |  sequence: 2\n"
                          "pos: 2           |  slot: 4294967294  |  sequence: 3\n"
                          "pos: 3           |  slot: [ NONE ]    |  sequence: 4\n"
                          "pos: 4           |  slot: 8           |  sequence: 5\n"
                          "Secondary conquer queue (backup)\n\tnotifications:1c:0\n\tcurrentPos:0\n"
                          "\tcorralStart:0\n\tcorralEnd:0\n\n" +
                              end());
    expectReport({"-q", "-v"}, "Primary conquer queue (active)\n\tnotifications:1c:5\n\tcurrentPos:4\n"
                               "\tcorralStart:0\n\tcorralEnd:0\n\n"
                               "pos: 0           |  slot: 8           |  sequence: 1\n"
                               "pos: 2           |  slot: 4294967294  |  sequence: 3\n" +
                                   end());
}

TEST_F(Queues, EmptyOnesHaveTheirHeadingsOnly) {
    CollectionBuilder builder(4, 1);
    builder.conquer();
    EXPECT_EQ(builder.conquerFile(0).size(), 72U);
    const std::string primary = "Primary conquer queue (active)\n\tnotifications:1c:0\n\tcurrentPos:0\n"
                                "\tcorralStart:0\n\tcorralEnd:0\n\n";
    expectReport(builder, primary +
                              "Secondary conquer queue (backup)\n\tnotifications:1c:0\n\tcurrentPos:0\n"
                              "\tcorralStart:0\n\tcorralEnd:0\n\n" +
                              end());
    expectReport({"-q", "-v"}, primary + end());
}

TEST_F(Queues, NumbersAtTheirLimits) {
    CollectionBuilder builder(4, 1);
    builder.conquer().notify(0, ~std::uint64_t{0}, 1234567890).notify(1, std::uint64_t{1} << 63, 0);
    for (unsigned queue = 0; queue < 2; ++queue) {
        ConquerHeader& header = builder.conquerHeader(queue);
        header.corralStart = ~std::uint64_t{0};
        header.corralEnd = std::uint64_t{1} << 63;
        header.notifications.version = 0xfffffffe - queue;
        header.currentPos = 0xffffffff;
        header.tableId.version = 0xffffffff;
        header.reserved = 0xffffffff;
    }
    const std::string primary = "Primary conquer queue (active)\n\tnotifications:fffffffe:1\n\tcurrentPos:4294967295\n"
                                "\tcorralStart:18446744073709551615\n\tcorralEnd:9223372036854775808\n\n"
                                "pos: 0           |  slot: 1234567890  |  sequence: 18446744073709551615\n";
    expectReport(builder, primary +
                              "Secondary conquer queue (backup)\n\tnotifications:fffffffd:1\n\tcurrentPos:4294967295\n"
                              "\tcorralStart:18446744073709551615\n\tcorralEnd:9223372036854775808\n\n"
                              "pos: 0           |  slot: 0           |  sequence: 9223372036854775808\n" +
                              end());
    expectReport({"-q", "-v"}, primary + end());
}

TEST_F(Queues, AnyVersionOfTheCountMapsItsRecords) {
    for (const std::uint32_t version : {0U, 1U, 0xffffffffU}) {
        CollectionBuilder builder(4, 1);
        builder.conquer().notify(0, 1, 2);
        builder.conquerHeader(0).notifications.version = version;
        builder.build(root_, "c");
        SCOPED_TRACE(version);
        expectReport({"-q", "-v"}, "Primary conquer queue (active)\n\tnotifications:" + hexNumber(version) +
                                       ":1\n\tcurrentPos:1\n\tcorralStart:0\n\tcorralEnd:0\n\n"
                                       "pos: 0           |  slot: 2           |  sequence: 1\n" +
                                       end());
    }
}

class QueuePosition : public Queues, public ::testing::WithParamInterface<std::uint32_t> {};

TEST_P(QueuePosition, ChangesOnlyWhatIsValid) {
    const std::uint32_t position = GetParam();
    CollectionBuilder builder(4, 1);
    builder.conquer();
    std::string all;
    std::string valid;
    for (std::uint32_t i = 0; i < 12; ++i) {
        builder.notify(0, 100 + i, 7);
        const std::string number = std::to_string(i);
        const std::string line = "pos: " + number + std::string(10 - number.size(), ' ') +
                                 "  |  slot: 7           |  sequence: " + std::to_string(100 + i) + "\n";
        all += line;
        valid += i < position ? line : "";
    }
    builder.conquerHeader(0).currentPos = position;
    const std::string heading =
        "Primary conquer queue (active)\n\tnotifications:1c:12\n\tcurrentPos:" + std::to_string(position) +
        "\n\tcorralStart:0\n\tcorralEnd:0\n\n";
    expectReport(builder, heading + all +
                              "Secondary conquer queue (backup)\n\tnotifications:1c:0\n\tcurrentPos:0\n"
                              "\tcorralStart:0\n\tcorralEnd:0\n\n" +
                              end());
    expectReport({"-q", "-v"}, heading + valid + end());
}

INSTANTIATE_TEST_SUITE_P(Around, QueuePosition, ::testing::Values(0U, 1U, 11U, 12U, 13U, 0x80000000U, 0xffffffffU));

TEST_F(Queues, LargeOnesArePrintedWhole) {
    constexpr std::uint32_t kRecords = 100001;
    CollectionBuilder builder(4, 1);
    builder.conquer();
    for (std::uint32_t i = 0; i < kRecords; ++i) {
        builder.notify(0, (std::uint64_t{5} << 32) + i, i * 3);
        if (i % 2 == 0) {
            builder.notify(1, i, kNone);
        }
    }
    builder.build(root_, "c");
    const Outcome outcome = halyx({"-q", "c"});
    expectClean(outcome);
    ASSERT_EQ(outcome.status, 0);
    const QueueOutput output = QueueOutput::parse(outcome.out);
    ASSERT_EQ(output.strange, "");
    ASSERT_EQ(output.queues.size(), 2U);
    ASSERT_EQ(output.queues[0].records.size(), kRecords);
    ASSERT_EQ(output.queues[1].records.size(), kRecords / 2 + 1);
    for (std::uint32_t i = 0; i < kRecords; ++i) {
        const QueueOutput::Record& record = output.queues[0].records[i];
        ASSERT_EQ(record.position, i);
        ASSERT_EQ(record.slot, i * 3);
        ASSERT_EQ(record.sequence, (std::uint64_t{5} << 32) + i);
    }
    for (std::uint32_t i = 0; i < output.queues[1].records.size(); ++i) {
        ASSERT_FALSE(output.queues[1].records[i].slot);
        ASSERT_EQ(output.queues[1].records[i].sequence, i * 2);
    }
}

TEST_F(Queues, AreOfAnyIncarnation) {
    CollectionBuilder builder = good();
    builder.conquerHeader(0).fenix = SharedMem::FenixId(0xffffffff);
    builder.conquerHeader(1).fenix = SharedMem::FenixId(0);
    expectReport(builder, goodReport());
}

TEST_F(Queues, FilesMayBeLongerThanTheirCount) {
    const Collection c = good().build(root_, "c");
    for (const std::string file : {"conquer.1", "conquer.2"}) {
        c.replace(file, c.bytes(file) + std::string(5000, '\xee'));
    }
    expectReport({"-q"}, goodReport());
}

TEST_F(Queues, DoNotNeedTheCollectionsOtherFiles) {
    const Collection c = good().build(root_, "c");
    c.remove("buckets");
    c.truncate("slots", 0);
    expectReport({"-q"}, goodReport());
}

TEST_F(Queues, DoNotNeedTheFlagThatTellsOfThem) {
    CollectionBuilder builder = good();
    builder.slotsHeader.flags = 0;
    expectReport(builder, goodReport());
}

TEST_F(Queues, GoToTheOutputFile) {
    good().build(root_, "c");
    writeFile(root_.file("out"), std::string(10000, 'x'));
    expectReport({"-q", "-f", root_.file("out")}, "");
    EXPECT_EQ(withoutSeconds(readFile(root_.file("out"))), goodReport());
    good().build(root_, "c").corrupt("conquer.1", 0, "h");
    expectOutcome(halyx({"-q", "-f", root_.file("out"), "c"}), 1, "",
                  invalid("ConquerTable::validate() bad magic: 52514358594c4168") + noQueues());
    EXPECT_EQ(readFile(root_.file("out")), "");
    const std::string file = root_.file("missing/out");
    expectOutcome(halyx({"-q", "-f", file, "c"}), 1, "",
                  "Error opening " + file + "\nFailed to initialize HalyxConquerScanner.\n");
}

TEST_F(Queues, AreNeverWritten) {
    const Collection c = good().build(root_, "c");
    const std::string before = c.bytes("conquer.1") + c.bytes("conquer.2");
    for (const std::string file : {"conquer.1", "conquer.2"}) {
        ASSERT_EQ(::chmod(c.file(file).c_str(), 0444), 0);
    }
    Outcome outcome = halyxUnprivileged({"-q", "c"});
    outcome.out = withoutSeconds(outcome.out);
    expectOutcome(outcome, 0, goodReport(), "");
    EXPECT_EQ(c.bytes("conquer.1") + c.bytes("conquer.2"), before);
}

TEST_F(Queues, OfACollectionThatHasNone) {
    one("c");
    expectFailure("");
    CollectionBuilder(4, 1).dynamic().build(root_, "c"); // the other flag plays no part
    expectFailure("");
    CollectionBuilder others(4, 1);
    others.slotsHeader.flags = 0xfffffffc;
    others.build(root_, "c");
    expectFailure("");
    others.slotsHeader.flags = 2;
    others.build(root_, "c");
    expectFailure(noQueues());
}

class QueueFiles : public Queues, public ::testing::WithParamInterface<const char*> {
protected:
    /// Expects files that cannot be attached to be missed by a collection that should have them, and by no other.
    void expectMissed(const std::function<void(const Collection&)>& spoil) {
        CollectionBuilder builder = good();
        Collection c = builder.build(root_, "c");
        spoil(c);
        expectFailure(noQueues());
        c.corrupt("slots", 0, "h");
        expectFailure(noCollection());
        c.remove("buckets");
        expectFailure(noCollection());
        discard(c);

        builder.slotsHeader.flags = 0;
        c = builder.build(root_, "c");
        spoil(c);
        expectFailure("");
        c.remove("slots");
        expectFailure(noCollection());
        discard(c);
    }

    /// Whatever the file has become.
    static void discard(const Collection& c) {
        ASSERT_TRUE(::unlink(c.file(GetParam()).c_str()) == 0 || ::rmdir(c.file(GetParam()).c_str()) == 0 ||
                    !exists(c.file(GetParam())));
    }
};

TEST_P(QueueFiles, Missing) {
    expectMissed([](const Collection& c) { c.remove(GetParam()); });
}

TEST_P(QueueFiles, Empty) {
    expectMissed([](const Collection& c) { c.truncate(GetParam(), 0); });
}

TEST_P(QueueFiles, Fifos) {
    expectMissed([](const Collection& c) { c.replaceWithFifo(GetParam()); });
}

TEST_P(QueueFiles, Directories) {
    expectMissed([](const Collection& c) { c.replaceWithDirectory(GetParam()); });
}

TEST_P(QueueFiles, Links) {
    expectMissed([](const Collection& c) {
        c.replaceWithLink(GetParam());
        ASSERT_EQ(::rename(c.file(std::string("real-") + GetParam()).c_str(), c.file("fenix").c_str()), 0);
        c.remove(GetParam());
        ASSERT_EQ(::symlink(c.file("fenix").c_str(), c.file(GetParam()).c_str()), 0);
    });
}

TEST_P(QueueFiles, Devices) {
    if (::geteuid() != 0 || !good().build(root_, "c").replaceWithDevice(GetParam())) {
        GTEST_SKIP() << "this user may not make devices";
    }
    expectFailure(noQueues());
}

TEST_P(QueueFiles, Unreadable) {
    const Collection c = good().build(root_, "c");
    ASSERT_EQ(::chmod(c.file(GetParam()).c_str(), 0), 0);
    expectOutcome(halyxUnprivileged({"-q", "c"}), 1, "", noQueues());
    CollectionBuilder builder = good();
    builder.slotsHeader.flags = 0;
    c.replace("slots", builder.slotsFile());
    expectOutcome(halyxUnprivileged({"-q", "c"}), 1, "", "");
    ASSERT_EQ(::chmod(c.file("slots").c_str(), 0), 0);
    expectOutcome(halyxUnprivileged({"-q", "c"}), 1, "", noCollection());
}

TEST_P(QueueFiles, OfEverySize) {
    const Collection c = good().build(root_, "c");
    const std::string bytes = c.bytes(GetParam());
    for (std::size_t size = 1; size < bytes.size(); ++size) {
        SCOPED_TRACE(size);
        c.truncate(GetParam(), 0);
        c.replace(GetParam(), bytes.substr(0, size));
        const std::string fault = conquerFault(bytes.substr(0, size));
        ASSERT_NE(fault, "");
        expectFailure(invalid(fault) + noQueues());
    }
    expectPart(conquerFault(bytes.substr(0, 71)), "bad header file size: 71 wanted:72");
    expectPart(conquerFault(bytes.substr(0, 72)), "bad shmem size:72 wanted:");
}

TEST_P(QueueFiles, WithAFaultInEachField) {
    struct Change {
        std::size_t offset;
        std::uint32_t word;
        std::string reason;
    };
    const std::size_t count =
        fromBytes<ConquerHeader>(good().conquerFile(GetParam()[8] == '1' ? 0U : 1U)).notifications.value;
    const std::string size = std::to_string(72 + 12 * count);
    const std::vector<Change> changes = {
        {0, 0x12345678, "bad magic: 5251435812345678"},
        {4, 0, "bad magic: 594c4148"},
        {8, 6, "bad version: 6 conquer version: 7"},
        {8, 8, "bad version: 8 conquer version: 7"},
        {60, 10, "bad shmem size:" + size + " wanted:192 for 10 notifications"},
        {60, 0x15555548,
         "bad shmem size:" + size + " wanted:4294967208 for 357913928 notifications"}, // the largest that does not wrap
        {36, 2, "bad tableId:2"},
        {36, 0xffffffff, "bad tableId:4294967295"},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.reason);
        CollectionBuilder builder = good();
        Collection c = builder.build(root_, "c");
        c.corrupt32(GetParam(), change.offset, change.word);
        const std::string line = invalid("ConquerTable::validate() " + change.reason);
        expectFailure(line + noQueues());
        builder.slotsHeader.flags = 1;
        c.replace("slots", builder.slotsFile());
        expectFailure(line);
        c.corrupt32("slots", 8, 11);
        expectFailure(line + noCollection());
        c.remove("slots");
        expectFailure(line + noCollection());
    }
}

TEST_P(QueueFiles, WithACountThatWraps) {
    const Collection c = good().build(root_, "c");
    const std::size_t size = c.bytes(GetParam()).size();
    struct Count {
        std::uint32_t count;
        std::string needed;
    };
    for (const Count& each : {Count{0x55555556, "17179869264"}, Count{0xffffffff, "51539607612"},
                              Count{0x15555550, "4294967304"}, Count{0x80000000, "25769803848"}}) {
        c.corrupt32(GetParam(), 60, each.count);
        SCOPED_TRACE(each.count);
        ASSERT_EQ(conquerFault(c.bytes(GetParam())), "");
        expectFailure("halyx: ConquerReaderGeneric::resizeConquer() requesting to map " + c.file(GetParam()) + " " +
                      std::to_string(each.count) + " conquer notifications. Requested file resize to " + each.needed +
                      " but real file size is " + std::to_string(size) + "\n");
    }
}

TEST_P(QueueFiles, WithAnyByteOfTheHeaderChanged) {
    const Collection c = good().build(root_, "c");
    const std::string bytes = c.bytes(GetParam());
    unsigned noticed = 0;
    for (std::size_t offset = 0; offset < 68; ++offset) {
        std::string changed = bytes;
        changed[offset] = static_cast<char>(changed[offset] ^ '\x80');
        c.replace(GetParam(), changed);
        SCOPED_TRACE("byte " + std::to_string(offset));
        const std::string fault = conquerFault(changed);
        if (!fault.empty()) {
            ++noticed;
            expectFailure(invalid(fault) + noQueues());
            continue;
        }
        const Outcome outcome = halyx({"-q", "c"});
        expectClean(outcome);
        if (offset == 63) { // 0x80000000 more of them: 12 times that is nothing in 32 bits
            expectPart(outcome.err, "halyx: ConquerReaderGeneric::resizeConquer() requesting to map ");
            continue;
        }
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(QueueOutput::parse(outcome.out).strange, "");
    }
    using H = ConquerHeader;
    // Three bytes of the count: the fourth wraps to what it was.
    EXPECT_EQ(noticed, sizeof(H::magic) + sizeof(H::version) + sizeof(Mem::VerU32::value) + 3);
}

INSTANTIATE_TEST_SUITE_P(Each, QueueFiles, ::testing::Values("conquer.1", "conquer.2"));

TEST_F(Queues, ThePrimaryOneIsCheckedFirst) {
    CollectionBuilder builder = good();
    builder.conquerHeader(0).tableId.value = 2;
    builder.conquerHeader(1).magic = 1;
    builder.build(root_, "c");
    expectFailure(invalid("ConquerTable::validate() bad tableId:2") + noQueues());
}

TEST_F(Queues, BothAreAttachedBeforeOneIsChecked) {
    const Collection c = good().build(root_, "c");
    c.corrupt("conquer.1", 0, "h");
    c.remove("conquer.2");
    expectFailure(noQueues());
}

TEST_F(Queues, HostileNamesAreMadeSafe) {
    const Collection evil = good().build(root_, "evil\x1b[31m\n\xff");
    const std::string safe = "evil\\x1b[31m\\x0a\\xff";
    evil.corrupt("conquer.1", 0, "h");
    expectOutcome(halyx({"-q", "evil"}), 1, "",
                  "Halyx " + root_.collections() + "/" + safe +
                      " validation failed: ConquerTable::validate() bad magic: 52514358594c4168\n" + noQueues(safe));
    evil.remove("conquer.2");
    expectOutcome(halyx({"-q", "evil"}), 1, "", noQueues(safe));
    evil.remove("buckets");
    expectOutcome(halyx({"-q", "evil"}), 1, "", noCollection(safe));
    const Collection wrapped = good().build(root_, "evil\x1b[31m\n\xff");
    wrapped.corrupt32("conquer.1", 60, 0x80000000);
    const Outcome outcome = halyx({"-q", "evil"});
    expectOutcome(outcome, 1, "",
                  "halyx: ConquerReaderGeneric::resizeConquer() requesting to map " + root_.collections() + "/" + safe +
                      "/conquer.1 2147483648 conquer notifications. Requested file resize to 25769803848 but real file "
                      "size is 108\n");
}

TEST_F(Queues, AFaultIsTraced) {
    good().build(root_, "c").corrupt("conquer.2", 0, "h");
    environment_["NORVU_TRACE"] = "HalyxScanner=0";
    environment_["NORVU_TRACE_FILE"] = root_.file("trace");
    expectOutcome(halyx({"-q", "c"}), 1, "",
                  invalid("ConquerTable::validate() bad magic: 52514358594c4168") + noQueues());
    const auto records = parseTrace(readFile(root_.file("trace")));
    ASSERT_EQ(records.size(), 1U) << allTexts(records);
    EXPECT_EQ(records[0].text, "ConquerTable::validate() bad magic: 52514358594c4168");
    EXPECT_EQ(records[0].handler, "HalyxScanner");
    EXPECT_EQ(records[0].level, 0);
    EXPECT_EQ(records[0].source, "src-includes/Halyx/ConquerTable");
    EXPECT_EQ(records[0].function, "validate");
}

} // namespace
