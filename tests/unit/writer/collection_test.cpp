#include "Mem/Atomics.h"
#include "Mem/Shared.h"
#include "Norvu/Exception.h"
#include "unit/writer/WriterTest.h"
#include "writer/Errors.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

namespace {

using Halyx::Writer::Collection;
using Halyx::Writer::Options;
using Halyx::Writer::PutResult;
using Halyx::Writer::RefusedException;

class WriterCollectionTest : public WriterTest {
protected:
    /// Random changes, then what the files hold beside what they must hold.
    void churn(Options options, unsigned changes, unsigned keys) {
        std::mt19937 random(7);
        std::map<std::string, std::string> model;
        Collection collection("a/b", std::move(options));
        collection.publish();
        for (unsigned round = 0; round < 4; ++round) {
            change(collection, model, random, changes / 4, keys);
            const FileWalk walk(pathOf("a/b"));
            EXPECT_EQ(sorted(walk.values()), sorted(model));
        }
        for (unsigned number = 0; number < keys; ++number) {
            const auto known = model.find(key(number));
            const auto found = collection.find(key(number));
            ASSERT_EQ(found.has_value(), known != model.end());
            if (found) {
                EXPECT_EQ(*found, known->second);
            }
        }
        std::vector<std::string> all;
        collection.forEach([&](std::string_view value) { all.emplace_back(value); });
        EXPECT_EQ(sorted(all), sorted(model));
        EXPECT_EQ(collection.stats().elements, model.size());
        collection.close();
        const FileWalk walk(pathOf("a/b"));
        EXPECT_EQ(sorted(walk.values()), sorted(model));
        walk.expectNothingResting();
    }
};

TEST_F(WriterCollectionTest, StaticElementsAreWhatWasPut) {
    churn(pairs(), 8000, 1000);
}

TEST_F(WriterCollectionTest, DynamicElementsAreWhatWasPut) {
    churn(texts(), 8000, 1000);
}

TEST_F(WriterCollectionTest, KeysMayBeKeptInMemoryInstead) {
    Options options = texts();
    options.keyOf = nullptr;
    churn(options, 8000, 1000);
    options = pairs();
    options.keyOf = nullptr;
    churn(options, 4000, 300);
}

TEST_F(WriterCollectionTest, BeginsWithOneOfEverything) {
    Options options = texts();
    options.buckets = 1;
    options.slots = 0;
    options.slabEntries = 1;
    churn(options, 2000, 200);
}

TEST_F(WriterCollectionTest, OddSizesWork) {
    Options options = pairs();
    options.buckets = 7;
    options.slotSize = 48;
    churn(options, 2000, 200);
    options = texts();
    options.slotSize = 64;
    options.slabPayloads = {8, 40, 104};
    options.conquer = true;
    churn(options, 2000, 200);
}

TEST_F(WriterCollectionTest, OneLongChainWorks) {
    Options options = pairs();
    options.buckets = 1;
    options.growBuckets = false;
    churn(options, 2000, 100);
    EXPECT_EQ(FileWalk(pathOf("a/b")).bucketHeader().numBuckets.value, 1U);
}

TEST_F(WriterCollectionTest, AValueOfOneByteHasAWholeSlot) {
    Options options = pairs();
    options.valueType = "U8";
    options.valueSize = 1;
    options.keyOf = nullptr;
    Collection collection("bytes", options);
    collection.put("x", "1");
    collection.put("y", "2");
    collection.publish();
    const FileWalk walk(pathOf("bytes"));
    EXPECT_EQ(walk.header().slotSize, 24U);
    EXPECT_EQ(sorted(walk.values()), (std::vector<std::string>{"1", "2"}));
}

TEST_F(WriterCollectionTest, HeadersSayWhatTheOptionsSaid) {
    Options options = texts();
    options.maxSlots = 1000;
    options.conquer = true;
    options.instance = 5;
    Collection collection("named", options);
    collection.publish();
    const FileWalk walk(pathOf("named"));
    EXPECT_STREQ(walk.header().valueType, "Pair");
    EXPECT_STREQ(walk.header().classType, "Test");
    EXPECT_EQ(walk.header().valueSize, 100U);
    EXPECT_EQ(walk.header().slotSize, 24U);
    EXPECT_EQ(walk.header().maxSlots, 1000U);
    EXPECT_EQ(walk.header().flags, 3U);
    EXPECT_EQ(walk.header().numSlots, (Mem::VerU32{1, 4}));
    EXPECT_EQ(walk.header().freeSlots, 0U);
    EXPECT_EQ(walk.header().fenix.instance(), 5);
    EXPECT_EQ(walk.header().fenix.pid(), static_cast<std::uint16_t>(::getpid()));
    EXPECT_EQ(walk.bucketHeader().ownerPid, static_cast<std::uint32_t>(::getpid()));
    EXPECT_EQ(walk.bucketHeader().numBuckets, (Mem::VerU32{1, 4}));
}

TEST_F(WriterCollectionTest, EveryRewriteOfALinkRaisesItsTag) {
    Options options = pairs();
    options.slots = 8;
    Collection collection("tags", options);
    collection.publish();
    std::mt19937 random(11);
    std::map<std::string, std::string> model;
    auto before = FileWalk(pathOf("tags")).links();
    for (unsigned step = 0; step < 1500; ++step) {
        change(collection, model, random, 1, 40);
        const auto after = FileWalk(pathOf("tags")).links();
        for (const auto& [place, link] : before) {
            const Halyx::SlotLink now = after.at(place);
            // No more than two rewrites of one link in one change.
            EXPECT_LE(now.tag - link.tag, 2U) << place;
            if (now.index != link.index) {
                EXPECT_GT(now.tag, link.tag) << place;
            }
        }
        before = after;
    }
}

TEST_F(WriterCollectionTest, AnErasedSlotsOwnLinkIsRewrittenAndAReusedOneCountsOn) {
    Collection collection("reuse", pairs());
    collection.publish();
    collection.put(key(1), pair(1, 1));
    const FileWalk inserted(pathOf("reuse"));
    collection.put(key(1), pair(1, 2));
    const FileWalk replaced(pathOf("reuse"));
    EXPECT_EQ(replaced.slot(0).state, inserted.slot(0).state + 8);
    EXPECT_EQ(replaced.slot(0).next, inserted.slot(0).next);
    collection.erase(key(1));
    const FileWalk erased(pathOf("reuse"));
    EXPECT_EQ(erased.slot(0).next.tag, replaced.slot(0).next.tag + 1);
    EXPECT_EQ(erased.header().freeSlots, 0U);
    collection.put(key(2), pair(2, 1));
    const FileWalk reused(pathOf("reuse"));
    EXPECT_EQ(reused.slot(0).next.tag, erased.slot(0).next.tag + 1);
    EXPECT_GT(reused.slot(0).state, erased.slot(0).state);
}

TEST_F(WriterCollectionTest, TheLookasideValueIsTheOneThatReplaced) {
    for (Options options : {pairs(), texts()}) {
        Collection collection("aside", options);
        collection.publish();
        collection.put(key(1), pair(1, 1));
        collection.put(key(2), pair(2, 2));
        collection.put(key(1), pair(1, 3));
        const std::size_t stored = options.dynamic ? 4 : 16;
        const std::string bytes = Fixtures::readFile(pathOf("aside") + "/slots");
        const auto slot = static_cast<std::size_t>(Halyx::Layout::slotArrayOffset(collection.options().slotSize));
        EXPECT_EQ(bytes.substr(offsetof(Halyx::Layout::SlotTableHeader, lookasideValue), stored),
                  bytes.substr(slot + Halyx::Layout::kSlotValueOffset, stored));
        EXPECT_EQ(FileWalk(pathOf("aside")).valueOfSlot(0), pair(1, 3));
    }
}

TEST_F(WriterCollectionTest, AReaderBesideTheWriterMeetsWholeValuesOnly) {
    using Halyx::Layout::SlotRecord;
    // The key, and then one number again and again: large enough to be met half written.
    using Value = std::array<std::uint64_t, 256>;
    Options options = pairs();
    options.valueSize = sizeof(Value);
    Collection collection("beside", options);
    const auto put = [&](std::uint64_t number, std::uint64_t content) {
        Value value;
        value.fill(content);
        value[0] = number;
        collection.put(key(number), Fixtures::bytesOf(value));
    };
    put(0, 0);
    put(1, 0);
    collection.publish();

    std::atomic<bool> over{false};
    std::uint64_t reads = 0;
    std::uint64_t wrong = 0;
    std::thread reader([&] {
        Mem::Shared file(Norvu::Platform::getDebugHandler("test"), pathOf("beside").c_str(), "slots", false,
                         Mem::Shared::SHARED_DEFAULT_FLAGS, false);
        if (file.attach(file.memSize(), Mem::Mode::ReadOnlyShared, true, {}) == nullptr) {
            return;
        }
        const Mem::View& view = file.view();
        constexpr unsigned slotSize = Halyx::Layout::kSlotValueOffset + sizeof(Value);
        for (std::size_t slot = 0; !over; slot = 1 - slot) {
            const auto at = static_cast<std::size_t>(Halyx::Layout::slotArrayOffset(slotSize)) + slot * slotSize;
            const std::uint32_t state = view.word(at + offsetof(SlotRecord, state));
            Value value;
            view.copy((state & Halyx::Layout::kSlotStateLookaside) != 0
                          ? offsetof(Halyx::Layout::SlotTableHeader, lookasideValue)
                          : at + Halyx::Layout::kSlotValueOffset,
                      value.data(), sizeof value);
            Mem::Atomics::acquireFence();
            if (view.word(at + offsetof(SlotRecord, state)) != state) {
                continue;
            }
            ++reads;
            if (value[0] != slot || std::count(value.begin() + 1, value.end(), value[1]) != 255) {
                ++wrong;
            }
        }
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    for (std::uint64_t content = 1; std::chrono::steady_clock::now() < end; ++content) {
        put(content % 2, content);
    }
    over = true;
    reader.join();
    EXPECT_GT(reads, 0U);
    EXPECT_EQ(wrong, 0U) << "of " << reads;
}

TEST_F(WriterCollectionTest, GrowthMovesNoElementToAnotherBucket) {
    Collection collection("grow", pairs());
    collection.publish();
    std::map<std::string, std::uint32_t> home;
    for (std::uint64_t number = 0; number < 300; ++number) {
        collection.put(key(number), pair(number, number));
        const FileWalk walk(pathOf("grow"));
        const std::uint32_t buckets = walk.bucketHeader().numBuckets.value;
        for (const auto& [slot, bucket] : walk.bucketOfSlot()) {
            const auto [known, isNew] = home.emplace(walk.valueOfSlot(slot), bucket);
            EXPECT_EQ(known->second, bucket);
            if (isNew) {
                EXPECT_EQ(bucket, Fixtures::fnv1a(key(number)) % buckets);
            }
        }
        EXPECT_LE(walk.values().size(), buckets);
    }
    EXPECT_EQ(collection.stats().bucketGrowths, 7U);
}

TEST_F(WriterCollectionTest, AnEntryRestsForManyOperationsBeforeItIsFilledAgain) {
    Options options = texts();
    options.slabPayloads = {104};
    options.slabEntries = 4096;
    Collection collection("rest", options);
    collection.publish();
    collection.put(key(0), key(0));
    const std::uint32_t first = *FileWalk(pathOf("rest")).slabOffsets().begin();
    collection.put(key(0), key(0) + "x");
    for (unsigned later = 1; later <= 1024; ++later) {
        collection.put(key(later), key(later));
    }
    EXPECT_EQ(FileWalk(pathOf("rest")).slabOffsets().count(first), 0U);
    collection.put(key(2000), key(2000));
    EXPECT_EQ(FileWalk(pathOf("rest")).slabOffsets().count(first), 1U);
}

TEST_F(WriterCollectionTest, AValueIsInTheSmallestSlabThatFits) {
    Collection collection("classes", texts());
    collection.publish();
    const std::map<std::size_t, unsigned> expected = {{8, 0},  {16, 0}, {17, 1}, {32, 1},
                                                      {33, 2}, {64, 2}, {65, 3}, {100, 3}};
    std::uint64_t number = 0;
    for (const auto& [size, slab] : expected) {
        const std::string name = key(number++);
        collection.put(name, name + std::string(size - name.size(), 'x'));
    }
    const FileWalk walk(pathOf("classes"));
    for (unsigned slab = 0; slab < 4; ++slab) {
        EXPECT_EQ(walk.slabHeader(slab).numOccupied, 2U) << slab;
    }
    EXPECT_EQ(walk.slabHeader(0).entrySize, 24U);
    EXPECT_EQ(walk.slabHeader(3).entrySize, 8U + 104);
    EXPECT_EQ(walk.slabs().size(), 4U);
}

TEST_F(WriterCollectionTest, AFullTableIsAnErrorThatChangesNothing) {
    for (Options options : {pairs(), texts()}) {
        options.maxSlots = 10;
        Collection collection("full", options);
        collection.publish();
        for (std::uint64_t number = 0; number < 10; ++number) {
            collection.put(key(number), pair(number, 0));
        }
        try {
            collection.put(key(10), pair(10, 0));
            FAIL() << "an eleventh element";
        } catch (const Norvu::MemoryResourceException& error) {
            EXPECT_EQ(error.msg(), pathOf("full") + "/slots is full: it has its most slots, 10");
        }
        EXPECT_EQ(FileWalk(pathOf("full")).values().size(), 10U);
        EXPECT_EQ(collection.put(key(3), pair(3, 1)), PutResult::Replaced);
        EXPECT_TRUE(collection.erase(key(4)));
        EXPECT_EQ(collection.put(key(10), pair(10, 0)), PutResult::Inserted);
        EXPECT_EQ(FileWalk(pathOf("full")).values().size(), 10U);
        collection.close();
    }
}

TEST_F(WriterCollectionTest, AFileThatMayNotGrowIsAnErrorThatChangesNothing) {
    for (Options options : {pairs(), texts()}) {
        options.conquer = true;
        Collection collection("limit", options);
        collection.publish();
        struct rlimit limit {};
        ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
        const struct rlimit small { 16384, limit.rlim_max };
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
        std::uint64_t number = 0;
        try {
            for (;; ++number) {
                collection.put(key(number), pair(number, 0));
            }
        } catch (const Norvu::MemoryResourceException& error) {
            EXPECT_NE(error.msg().find("File too large"), std::string::npos) << error.msg();
        }
        EXPECT_GT(number, 200U);
        EXPECT_EQ(FileWalk(pathOf("limit")).values().size(), number);
        EXPECT_TRUE(collection.erase(key(0)));
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        for (std::uint64_t more = 0; more < 2000; ++more) {
            collection.put(key(more), pair(more, 1));
        }
        collection.close();
        EXPECT_EQ(FileWalk(pathOf("limit")).values().size(), 2000U);
    }
}

TEST_F(WriterCollectionTest, AValueOfAnotherSizeIsRefused) {
    Collection whole("whole", pairs());
    EXPECT_THROW(whole.put(key(1), key(1)), RefusedException);
    EXPECT_THROW(whole.put(key(1), pair(1, 1) + "x"), RefusedException);
    Collection parts("parts", texts());
    EXPECT_THROW(parts.put(key(1), std::string(101, 'x')), RefusedException);
    EXPECT_EQ(parts.stats().elements, 0U);
}

TEST_F(WriterCollectionTest, AnEmptyDynamicValueIsAValue) {
    Options options = texts();
    options.keyOf = nullptr;
    Collection collection("empty", options);
    collection.put("", "");
    collection.publish();
    EXPECT_EQ(collection.find(""), "");
    EXPECT_EQ(FileWalk(pathOf("empty")).values(), std::vector<std::string>{""});
}

TEST_F(WriterCollectionTest, AClosedCollectionIsRefused) {
    Collection collection("closed", pairs());
    collection.publish();
    collection.close();
    EXPECT_THROW(collection.put(key(1), pair(1, 1)), RefusedException);
    EXPECT_THROW(collection.close(), RefusedException);
}

TEST_F(WriterCollectionTest, WrongOptionsAreRefused) {
    const auto refused = [&](const std::function<void(Options&)>& spoil) {
        Options options = texts();
        spoil(options);
        EXPECT_THROW(Collection("wrong", options), RefusedException);
    };
    refused([](Options& o) { o.valueType.clear(); });
    refused([](Options& o) { o.valueType = std::string(64, 'x'); });
    refused([](Options& o) { o.valueType = std::string("a\0b", 3); });
    refused([](Options& o) { o.classType = std::string(64, 'x'); });
    refused([](Options& o) { o.valueSize = 0; });
    refused([](Options& o) { o.valueSize = 0xffffffff; });
    refused([](Options& o) { o.slotSize = 16; });
    refused([](Options& o) { o.slotSize = 28; });
    refused([](Options& o) { o.maxSlots = 0xffffffff; });
    refused([](Options& o) { o.buckets = 0; });
    refused([](Options& o) { o.buckets = 0xffffffff; });
    refused([](Options& o) { o.conquer = true, o.notifications = 0; });
    refused([](Options& o) { o.conquer = true, o.notifications = 10, o.maxNotifications = 9; });
    refused([](Options& o) { o.slabPayloads = {16}; });
    refused([](Options& o) { o.slabPayloads = {16, 16, 104}; });
    refused([](Options& o) { o.slabPayloads = {20, 104}; });
    EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
    EXPECT_TRUE(filesIn(root_.collections()).empty());
}

} // namespace
