#include "Halyx/ClientModel.h"

#include "Halyx/HalyxTest.h"
#include "unit/ReaderTest.h"

#include <algorithm>
#include <functional>
#include <random>

using namespace Fixtures;
using Halyx::HalyxType;
using Halyx::Model::HalyxClient;
using Halyx::Model::HalyxClientList;
using Halyx::Model::HalyxTable;
using Halyx::Model::HalyxTables;
using Halyx::Model::HeaderInfo;

namespace {

constexpr std::uint32_t kUnknown = 4294967295U;

const char* const kUnknownLines = "Capacity: slots:4294967295 buckets:4294967295 primary_notifications:4294967295 "
                                  "secondary_notifications:4294967295\nOccupied slots: 4294967295\n";

bool equal(const HalyxClient& left, const HalyxClient& right) {
    return !(left < right) && !(right < left);
}

TEST(ClientModel, KindsHaveTheirNumbersAndNames) {
    EXPECT_EQ(static_cast<int>(HalyxType::Writer), 0);
    EXPECT_EQ(static_cast<int>(HalyxType::Shadow), 1);
    EXPECT_EQ(static_cast<int>(HalyxType::Reader), 2);
    EXPECT_EQ(static_cast<int>(HalyxType::Keyshadow), 3);
    EXPECT_STREQ(nameOf(HalyxType::Writer), "writer");
    EXPECT_STREQ(nameOf(HalyxType::Shadow), "shadow");
    EXPECT_STREQ(nameOf(HalyxType::Reader), "reader");
    EXPECT_STREQ(nameOf(HalyxType::Keyshadow), "keyshadow");
}

TEST(ClientModel, ClientsAreOrderedByPidThenNameThenCommand) {
    // Ascending; every pair is compared.
    const HalyxClientList ordered{{-2147483647, "z", "z"},
                                  {-5, "", ""},
                                  {0, "z", "z"},
                                  {5, "", ""},
                                  {5, "", "a"},
                                  {5, "a", "z"},
                                  {5, "ab", ""},
                                  {5, "b", "x"},
                                  {5, "b", "xa"},
                                  {5, "b\x7f", "x"},
                                  {5, "b\xff", "x"}, // bytes count from 0 to 255
                                  {12, "", ""},
                                  {2147483647, "a", "a"}};
    for (std::size_t left = 0; left < ordered.size(); ++left) {
        for (std::size_t right = 0; right < ordered.size(); ++right) {
            EXPECT_EQ(ordered[left] < ordered[right], left < right) << left << " " << right;
        }
    }
    HalyxClientList shuffled = ordered;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1)); // NOLINT: the same order every time
    std::sort(shuffled.begin(), shuffled.end());
    EXPECT_TRUE(std::equal(shuffled.begin(), shuffled.end(), ordered.begin(), ordered.end(), equal));
}

TEST(ClientModel, ANewTableKnowsNothing) {
    const HalyxTable table{"x"};
    EXPECT_EQ(table.name, "x");
    for (const std::uint32_t count : {table.headerInfo.bucketCapacity, table.headerInfo.primaryNotificationCapacity,
                                      table.headerInfo.secondaryNotificationCapacity, table.headerInfo.slotCapacity,
                                      table.headerInfo.occupiedSlots}) {
        EXPECT_EQ(count, kUnknown);
    }
    ASSERT_EQ(table.clients.size(), 4U);
    for (const HalyxType kind : {HalyxType::Writer, HalyxType::Shadow, HalyxType::Reader, HalyxType::Keyshadow}) {
        EXPECT_TRUE(table.clients.at(kind).empty());
    }
}

TEST(ClientModel, ATableKeepsEachKindUnderItsOwn) {
    const HalyxTable table("x", {{1, "a", ""}}, {{2, "b", ""}, {3, "c", ""}}, {{4, "d", ""}}, {{5, "e", ""}});
    const auto pids = [&](HalyxType kind) {
        std::vector<int> found;
        for (const HalyxClient& client : table.clients.at(kind)) {
            found.push_back(client.pid);
        }
        return found;
    };
    EXPECT_EQ(pids(HalyxType::Writer), (std::vector<int>{1}));
    EXPECT_EQ(pids(HalyxType::Shadow), (std::vector<int>{2, 3}));
    EXPECT_EQ(pids(HalyxType::Keyshadow), (std::vector<int>{4}));
    EXPECT_EQ(pids(HalyxType::Reader), (std::vector<int>{5}));
    EXPECT_EQ(table.headerInfo.slotCapacity, kUnknown);
}

TEST(ClientModel, TablesOfOneNameAreEqualAndTheFirstIsKept) {
    HalyxTable first("x", {{1, "a", ""}}, {}, {}, {});
    HalyxTable second("x", {{2, "b", ""}}, {}, {}, {});
    second.headerInfo.slotCapacity = 1;
    const HalyxTable other("y", {{1, "a", ""}}, {}, {}, {});
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first == other);
    EXPECT_EQ(std::hash<HalyxTable>()(first), std::hash<HalyxTable>()(second));
    EXPECT_EQ(std::hash<HalyxTable>()(first), std::hash<std::string>()("x"));
    HalyxTables tables(1);
    EXPECT_TRUE(tables.insert(first).second);
    EXPECT_FALSE(tables.insert(second).second);
    EXPECT_TRUE(tables.insert(other).second);
    ASSERT_EQ(tables.size(), 2U);
    EXPECT_EQ(tables.find(second)->clients.at(HalyxType::Writer).at(0).pid, 1);
}

TEST(ClientModel, PrintsCountsInAnOrderOfTheirOwn) {
    HeaderInfo info;
    EXPECT_EQ(info.print(), kUnknownLines);
    info.bucketCapacity = 1;
    info.primaryNotificationCapacity = 2;
    info.secondaryNotificationCapacity = 3;
    info.slotCapacity = 4;
    info.occupiedSlots = 0;
    EXPECT_EQ(info.print(), "Capacity: slots:4 buckets:1 primary_notifications:2 secondary_notifications:3\n"
                            "Occupied slots: 0\n");
    info.slotCapacity = 4294967294U;
    info.primaryNotificationCapacity = kUnknown;
    EXPECT_EQ(info.print(), "Capacity: slots:4294967294 buckets:1 primary_notifications:4294967295 "
                            "secondary_notifications:3\nOccupied slots: 0\n");
}

TEST(ClientModel, CountsAreCompleteWhenNoneIsUnknown) {
    HeaderInfo info;
    std::uint32_t* const counts[] = {&info.bucketCapacity, &info.primaryNotificationCapacity,
                                     &info.secondaryNotificationCapacity, &info.slotCapacity, &info.occupiedSlots};
    for (std::uint32_t* const count : counts) {
        EXPECT_FALSE(info.complete());
        *count = 0;
    }
    EXPECT_TRUE(info.complete());
    for (std::uint32_t* const count : counts) {
        *count = kUnknown;
        EXPECT_FALSE(info.complete());
        *count = kUnknown - 1;
        EXPECT_TRUE(info.complete());
    }
}

TEST(ClientModel, PrintsATableWithoutClients) {
    EXPECT_EQ(HalyxTable("x").print(), "Halyx table \"x\"\n" + std::string(kUnknownLines) + "Clients: None\n\n");
}

TEST(ClientModel, PrintsOneWriter) {
    EXPECT_EQ(HalyxTable("x", {{4711, "server-bin", "server"}}, {}, {}, {}).print(),
              "Halyx table \"x\"\n" + std::string(kUnknownLines) +
                  "Writer: server-4711(server-bin) \nShadow: \nKeyshadow: \nReader: \n\n");
}

TEST(ClientModel, PrintsEveryKindInListOrder) {
    EXPECT_EQ(HalyxTable("/c", {{2, "w", "a"}, {1, "w", "b"}}, {{3, "s", "c"}}, {{5, "k", "d"}, {4, "k", ""}},
                         {{-6, "", "e"}})
                  .print(),
              "Halyx table \"/c\"\n" + std::string(kUnknownLines) +
                  "Writer: a-2(w) b-1(w) \nShadow: c-3(s) \nKeyshadow: d-5(k) -4(k) \nReader: e--6() \n\n");
    // One client of any kind is enough.
    const HalyxClientList one{{7, "p", "c"}};
    const std::string begin = "Halyx table \"x\"\n" + std::string(kUnknownLines);
    EXPECT_EQ(HalyxTable("x", {}, one, {}, {}).print(), begin + "Writer: \nShadow: c-7(p) \nKeyshadow: \nReader: \n\n");
    EXPECT_EQ(HalyxTable("x", {}, {}, one, {}).print(), begin + "Writer: \nShadow: \nKeyshadow: c-7(p) \nReader: \n\n");
    EXPECT_EQ(HalyxTable("x", {}, {}, {}, one).print(), begin + "Writer: \nShadow: \nKeyshadow: \nReader: c-7(p) \n\n");
}

TEST(ClientModel, SaysWhichKindIsMissing) {
    for (const auto& [kind, name] : std::map<HalyxType, std::string>{{HalyxType::Writer, "writer"},
                                                                     {HalyxType::Shadow, "shadow"},
                                                                     {HalyxType::Reader, "reader"},
                                                                     {HalyxType::Keyshadow, "keyshadow"}}) {
        HalyxTable table("x", {{1, "w", "a"}}, {{2, "s", "b"}}, {{3, "k", "c"}}, {{4, "r", "d"}});
        table.clients.erase(kind);
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(table.printClients(kind), "");
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Error getting clients of type " + name + "\n");
        // The other kinds are printed nevertheless.
        const auto line = [&, present = kind](HalyxType shown, const std::string& text) {
            return shown == present ? std::string() : text;
        };
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(table.print(), "Halyx table \"x\"\n" + std::string(kUnknownLines) +
                                     "Writer: " + line(HalyxType::Writer, "a-1(w) ") +
                                     "\nShadow: " + line(HalyxType::Shadow, "b-2(s) ") +
                                     "\nKeyshadow: " + line(HalyxType::Keyshadow, "c-3(k) ") +
                                     "\nReader: " + line(HalyxType::Reader, "d-4(r) ") + "\n\n");
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Error getting clients of type " + name + "\n");
    }
}

TEST(ClientModel, HostileBytesAreMadeSafe) {
    const HalyxTable table("/c\x1b[2J\n\xff\"", {{1, "p\x07\t) x-2(y", "c\r\n"}}, {}, {}, {});
    EXPECT_EQ(table.print(), "Halyx table \"/c\\x1b[2J\\x0a\\xff\"\"\n" + std::string(kUnknownLines) +
                                 "Writer: c\\x0d\\x0a-1(p\\x07\\x09) x-2(y) \nShadow: \nKeyshadow: \nReader: \n\n");
    // The name itself stays as it is: it is what tables are told apart by.
    EXPECT_EQ(table.name, "/c\x1b[2J\n\xff\"");
}

/// What a collection's files tell of its counts.
class HeaderCounts : public ReaderTest {
protected:
    static CollectionBuilder builder() {
        CollectionBuilder builder(3, 5);
        builder.conquer(7, 9);
        builder.slotsHeader.occupiedSlots = 2;
        builder.slotsHeader.maxSlots = 77;
        return builder;
    }

    HeaderInfo counts() {
        const Halyx::RootPath root(handler(), "c", false);
        Halyx::HalyxReaderGeneric reader("c", root);
        Halyx::ConquerReaderGeneric conquer(handler(), root);
        HalyxTable table{"c"};
        ::testing::internal::CaptureStderr();
        Halyx::HalyxTest::populateHalyxTableHeaderInfo(reader, conquer, table);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
        return table.headerInfo;
    }

    static void expectSlots(const HeaderInfo& info, bool known) {
        EXPECT_EQ(info.bucketCapacity, known ? 3U : kUnknown);
        EXPECT_EQ(info.slotCapacity, known ? 77U : kUnknown);
        EXPECT_EQ(info.occupiedSlots, known ? 2U : kUnknown);
    }
    static void expectQueues(const HeaderInfo& info, bool known) {
        EXPECT_EQ(info.primaryNotificationCapacity, known ? 7U : kUnknown);
        EXPECT_EQ(info.secondaryNotificationCapacity, known ? 9U : kUnknown);
    }
    void expectCounts(bool slots, bool queues) {
        const HeaderInfo info = counts();
        expectSlots(info, slots);
        expectQueues(info, queues);
    }

    void forEachReplacement(const std::string& file, const std::function<void()>& expect) {
        using Damage = std::function<void(const Collection&)>;
        const std::map<std::string, Damage> damages{
            {"missing", [&](const Collection& c) { c.remove(file); }},
            {"empty", [&](const Collection& c) { c.truncate(file, 0); }},
            {"a FIFO", [&](const Collection& c) { c.replaceWithFifo(file); }},
            {"a directory", [&](const Collection& c) { c.replaceWithDirectory(file); }},
            {"a link", [&](const Collection& c) { c.replaceWithLink(file); }},
        };
        for (const auto& [what, damage] : damages) {
            SCOPED_TRACE(::testing::Message() << file << " is " << what);
            std::filesystem::remove_all(root_.collections() + "/c");
            damage(builder().build(root_, "c"));
            expect();
        }
    }
};

TEST_F(HeaderCounts, OfASoundCollection) {
    builder().build(root_, "c");
    expectCounts(true, true);
}

TEST_F(HeaderCounts, OfADynamicCollection) {
    CollectionBuilder dynamic = builder();
    dynamic.dynamic().valueType("Payload", 16).slab(0, 24, {"x"});
    dynamic.build(root_, "c");
    expectCounts(true, true);
}

TEST_F(HeaderCounts, TakeTheMostSlotsAndNotTheMappedOnes) {
    CollectionBuilder more = builder();
    more.slotsHeader.maxSlots = 1000000;
    more.build(root_, "c");
    EXPECT_EQ(counts().slotCapacity, 1000000U);
}

TEST_F(HeaderCounts, OfACollectionWithoutQueues) {
    CollectionBuilder without(3, 5);
    without.slotsHeader.occupiedSlots = 2;
    without.slotsHeader.maxSlots = 77;
    without.build(root_, "c");
    expectCounts(true, false);
}

TEST_F(HeaderCounts, QueuesCountWhateverTheFlagSays) {
    CollectionBuilder unflagged = builder();
    unflagged.slotsHeader.flags &= ~Halyx::Layout::kSlotFlagConquer;
    unflagged.build(root_, "c");
    expectCounts(true, true);
}

TEST_F(HeaderCounts, OfNothing) {
    expectCounts(false, false);
    makeDirectories(root_.collections() + "/c");
    expectCounts(false, false);
}

TEST_F(HeaderCounts, WithoutBucketsOrSlotsTheQueuesAreKnown) {
    for (const std::string file : {"buckets", "slots"}) {
        forEachReplacement(file, [&] { expectCounts(false, true); });
    }
}

TEST_F(HeaderCounts, WithoutOneQueueBothAreUnknown) {
    for (const std::string file : {"conquer.1", "conquer.2"}) {
        forEachReplacement(file, [&] { expectCounts(true, false); });
    }
}

TEST_F(HeaderCounts, AnInvalidSlotHeaderTellsNothing) {
    const std::map<std::string, std::function<void(Halyx::Layout::SlotTableHeader&)>> faults{
        {"magic", [](auto& header) { header.magic ^= 1; }},
        {"version", [](auto& header) { ++header.version; }},
        {"platform", [](auto& header) { header.platform = 2; }},
        {"occupied", [](auto& header) { header.occupiedSlots = 6; }},
        {"more slots than the file has", [](auto& header) { header.numSlots.value = header.mostSlots = 6; }},
    };
    for (const auto& [what, fault] : faults) {
        SCOPED_TRACE(what);
        CollectionBuilder bad = builder();
        fault(bad.slotsHeader);
        bad.build(root_, "c");
        expectCounts(false, true);
    }
    CollectionBuilder checksum = builder();
    checksum.slotsHeader.hash = 0xbeef;
    checksum.keepChecksum().build(root_, "c");
    expectCounts(false, true);
}

TEST_F(HeaderCounts, BucketAndQueueHeadersAreTakenAsTheyAre) {
    CollectionBuilder bad = builder();
    bad.bucketsHeader.magic = 0;
    bad.bucketsHeader.version = 99;
    bad.bucketsHeader.numBuckets.version = 0xffffffff;
    for (const unsigned queue : {0U, 1U}) {
        bad.conquerHeader(queue).magic = 0;
        bad.conquerHeader(queue).version = 0;
        bad.conquerHeader(queue).notifications.version = 0xffffffff;
    }
    bad.build(root_, "c");
    expectCounts(true, true);
}

TEST_F(HeaderCounts, QueuesMayHaveNoRoom) {
    CollectionBuilder empty = builder();
    empty.conquer(0, 0);
    empty.build(root_, "c");
    const HeaderInfo info = counts();
    EXPECT_EQ(info.primaryNotificationCapacity, 0U);
    EXPECT_EQ(info.secondaryNotificationCapacity, 0U);
    EXPECT_TRUE(info.complete());
}

} // namespace
