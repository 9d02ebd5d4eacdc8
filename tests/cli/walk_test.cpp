// The element walk: what a line looks like, chains that break, chains that do not end.

#include "cli/CliTest.h"
#include "fixtures/WalkOutput.h"

#include <algorithm>

using namespace Fixtures;

namespace {

class Walk : public CliTest {
protected:
    static std::string outOfRange(std::uint32_t index, std::uint32_t slots) {
        return "SlotReaderGenericTable::getSlot() out-of-range index: " + std::to_string(index) +
               " numSlots:" + std::to_string(slots);
    }
    static std::string bucketOutOfRange(std::uint32_t index, std::uint32_t max) {
        return "BucketReader::operator[] out-of-range, index:" + std::to_string(index) + " max:" + std::to_string(max);
    }
    static std::string none(const std::string& bucket) { return "bucket[" + bucket + "] 7fffffff --> none\n"; }

    void expectWalk(const CollectionBuilder& builder, const std::string& lines, const Arguments& options = {}) {
        builder.build(root_, "c");
        Arguments arguments = options;
        arguments.push_back("c");
        expectOutcome(halyx(arguments), 0, lines + statistics(), "");
    }

    /// Walks a collection in which these buckets' chains do not end, and expects one corruption for each of them, the other
    /// buckets' lines untouched, and no more output than a chain as long as the table may take.
    void expectEndless(const CollectionBuilder& builder, const std::vector<std::uint32_t>& buckets,
                       const std::vector<std::string>& lines) {
        builder.build(root_, "c");
        const Outcome outcome = halyx({"c"});
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        const WalkOutput walk = WalkOutput::parse(outcome.out);
        EXPECT_TRUE(walk.strange.empty()) << outcome.describe();
        std::vector<std::uint32_t> corrupted;
        for (const auto& corruption : walk.corruptions) {
            corrupted.push_back(corruption.bucket);
            EXPECT_FALSE(corruption.reason.empty());
        }
        EXPECT_EQ(corrupted, buckets) << outcome.describe();
        for (const std::string& line : lines) {
            expectPart(outcome.out, line);
        }
        const std::size_t slots = builder.slotsHeader.numSlots.value;
        for (const std::uint32_t bucket : buckets) {
            const auto printed =
                std::count_if(walk.elements.begin(), walk.elements.end(),
                              [&](const WalkOutput::Element& element) { return element.bucket == bucket; });
            EXPECT_LE(static_cast<std::size_t>(printed), slots + 1) << "bucket " << bucket;
        }
        EXPECT_FALSE(walk.lookasideHits.empty());
        EXPECT_FALSE(walk.chainRestarts.empty());
    }
};

TEST_F(Walk, AnEmptyCollectionPrintsItsStatisticsOnly) {
    expectWalk(CollectionBuilder(4, 8), "");
    expectWalk(CollectionBuilder(4, 0), "");
    expectWalk(CollectionBuilder(0, 0), "");
    expectWalk(CollectionBuilder(0, 4), "", {"-e"});
}

TEST_F(Walk, PrintsAChainOnOneLine) {
    CollectionBuilder builder(2, 3);
    builder.number(0, std::uint64_t{0x0102030405060708}).number(1, std::uint64_t{1}).number(2, ~std::uint64_t{0});
    builder.chain(1, {1, 2, 0});
    expectWalk(builder, "bucket[1] 1-->0100000000000000 2-->ffffffffffffffff 0-->0807060504030201 7fffffff --> none\n");
}

TEST_F(Walk, PrintsNumbersOfBucketsAndSlotsInHexadecimal) {
    CollectionBuilder builder(28, 40);
    builder.number(0x1c, std::uint64_t{1}).number(5, std::uint64_t{2}).number(0x1f, std::uint64_t{3});
    builder.chain(26, {5, 0x1c}).chain(27, {0x1f});
    expectWalk(builder, "bucket[1a] 5-->0200000000000000 1c-->0100000000000000 7fffffff --> none\n"
                        "bucket[1b] 1f-->0300000000000000 7fffffff --> none\n");
}

TEST_F(Walk, PrintsEmptyBucketsWhenAsked) {
    CollectionBuilder builder(17, 1);
    builder.number(0, std::uint64_t{1}).chain(2, {0});
    std::string lines;
    for (unsigned bucket = 0; bucket < 17; ++bucket) {
        lines += bucket == 2 ? "bucket[2] 0-->0100000000000000 7fffffff --> none\n" : none(hexNumber(bucket));
    }
    expectWalk(builder, lines, {"-e"});
}

TEST_F(Walk, GoesFromTheFirstBucketToTheLast) {
    CollectionBuilder builder(300, 300);
    builder.fillNumbers();
    std::string lines;
    for (std::uint64_t i = 0; i < 300; ++i) {
        lines +=
            "bucket[" + hexNumber(i) + "] " + hexNumber(i) + "-->" + hexOf(bytesOf(i + 1)) + " 7fffffff --> none\n";
    }
    expectWalk(builder, lines);
}

TEST_F(Walk, FollowsAChainAsLongAsTheTable) {
    CollectionBuilder builder(1, 1000);
    builder.fillNumbers();
    std::string line = "bucket[0]";
    for (std::uint64_t i = 0; i < 1000; ++i) {
        line += " " + hexNumber(i) + "-->" + hexOf(bytesOf(i + 1));
    }
    expectWalk(builder, line + " 7fffffff --> none\n");
}

TEST_F(Walk, NeverShowsTagsOrStates) {
    CollectionBuilder builder(1, 2);
    builder.fillNumbers().head(0, 0, 0xdeadbeef).next(0, 1, 0xfeedface).state(0, 0xfffffffd).state(1, 4);
    expectWalk(builder, "bucket[0] 0-->0100000000000000 1-->0200000000000000 7fffffff --> none\n");
}

TEST_F(Walk, TakesAValueFromTheLookasideSlot) {
    CollectionBuilder builder(2, 3);
    builder.fillNumbers().lookaside(bytesOf(std::uint64_t{0xab})).state(2, 2).state(1, 0xfffffffe);
    builder.build(root_, "c");
    expectOutcome(halyx({"c"}), 0,
                  "bucket[0] 0-->0100000000000000 2-->*ab00000000000000 7fffffff --> none\n"
                  "bucket[1] 1-->*ab00000000000000 7fffffff --> none\n" +
                      statistics(2),
                  "");
    expectOutcome(halyx({"-p", "c"}), 0,
                  "bucket[0] 0-->1 2-->*171 7fffffff --> none\n"
                  "bucket[1] 1-->*171 7fffffff --> none\n" +
                      statistics(2),
                  "");
}

TEST_F(Walk, SharesASlotBetweenChainsWithoutComplaint) {
    CollectionBuilder builder(2, 3);
    builder.fillNumbers().chain(0, {0, 1}).chain(1, {2, 1});
    expectWalk(builder, "bucket[0] 0-->0100000000000000 1-->0200000000000000 7fffffff --> none\n"
                        "bucket[1] 2-->0300000000000000 1-->0200000000000000 7fffffff --> none\n");
}

TEST_F(Walk, ReportsAHeadPastTheSlots) {
    CollectionBuilder builder(4, 3);
    builder.fillNumbers().head(0, 3).head(2, 0x7fffffff);
    expectWalk(builder, "bucket[0] [corrupted] " + outOfRange(3, 3) +
                            "\n"
                            "bucket[1] 1-->0200000000000000 7fffffff --> none\n"
                            "bucket[2] [corrupted] " +
                            outOfRange(2147483647, 3) + "\n");
}

TEST_F(Walk, ReportsALinkPastTheSlotsBehindWhatItPrinted) {
    CollectionBuilder builder(2, 4);
    builder.fillNumbers().next(2, 4);
    expectWalk(builder, "bucket[0] 0-->0100000000000000 2-->0300000000000000 --> [corrupted] " + outOfRange(4, 4) +
                            "\n"
                            "bucket[1] 1-->0200000000000000 3-->0400000000000000 7fffffff --> none\n");
}

TEST_F(Walk, ReportsALinkPastTheSlotsBehindAsManyLinksAsThereAreSlots) {
    CollectionBuilder one(1, 1);
    one.fillNumbers().next(0, 7);
    expectWalk(one, "bucket[0] 0-->0100000000000000 --> [corrupted] " + outOfRange(7, 1) + "\n");
    CollectionBuilder three(1, 3);
    three.fillNumbers().next(2, 3);
    expectWalk(three, "bucket[0] 0-->0100000000000000 1-->0200000000000000 2-->0300000000000000 --> [corrupted] " +
                          outOfRange(3, 3) + "\n");
}

TEST_F(Walk, ReportsAHeadWhereThereAreNoSlots) {
    CollectionBuilder builder(2, 0);
    expectWalk(builder.head(1, 0), "bucket[1] [corrupted] " + outOfRange(0, 0) + "\n");
}

TEST_F(Walk, ReportsCorruptionOfEmptyBucketsWithoutBeingAsked) {
    CollectionBuilder builder(3, 1);
    builder.fillNumbers().head(0, 1).head(2, 9);
    expectWalk(builder,
               "bucket[0] [corrupted] " + outOfRange(1, 1) + "\nbucket[2] [corrupted] " + outOfRange(9, 1) + "\n");
    expectWalk(builder,
               "bucket[0] [corrupted] " + outOfRange(1, 1) + "\n" + none("1") + "bucket[2] [corrupted] " +
                   outOfRange(9, 1) + "\n",
               {"-e"});
}

TEST_F(Walk, TakesAnEndThatNamesABucketOfTheTable) {
    const auto endAt = [](std::uint32_t bucket) { return static_cast<std::int32_t>(0x80000000U | bucket); };
    CollectionBuilder builder(20, 2);
    builder.number(0, std::uint64_t{1}).number(1, std::uint64_t{2});
    builder.chain(0, {0}, endAt(0)).chain(1, {1}, endAt(19)).head(2, endAt(2));
    expectWalk(builder, "bucket[0] 0-->0100000000000000 0 --> none\n"
                        "bucket[1] 1-->0200000000000000 13 --> none\n");
    std::string lines = "bucket[0] 0-->0100000000000000 0 --> none\n"
                        "bucket[1] 1-->0200000000000000 13 --> none\n"
                        "bucket[2] 2 --> none\n";
    for (unsigned bucket = 3; bucket < 20; ++bucket) {
        lines += none(hexNumber(bucket));
    }
    expectWalk(builder, lines, {"-e"});
}

TEST_F(Walk, ReportsAnEndThatNamesNoBucketOfTheTable) {
    const auto endAt = [](std::uint32_t bucket) { return static_cast<std::int32_t>(0x80000000U | bucket); };
    CollectionBuilder builder(3, 2);
    builder.number(0, std::uint64_t{1}).number(1, std::uint64_t{2});
    builder.chain(0, {0}, endAt(3)).chain(1, {1}, -2).head(2, endAt(1000));
    expectWalk(builder, "bucket[0] 0-->0100000000000000 --> [corrupted] " + bucketOutOfRange(3, 2) +
                            "\n"
                            "bucket[1] 1-->0200000000000000 --> [corrupted] " +
                            bucketOutOfRange(2147483646, 2) +
                            "\n"
                            "bucket[2] [corrupted] " +
                            bucketOutOfRange(1000, 2) + "\n");
}

TEST_F(Walk, ReportsASlotThatLeadsToItself) {
    CollectionBuilder builder(3, 6);
    builder.fillNumbers().next(0, 0);
    expectEndless(builder, {0},
                  {"bucket[1] 1-->0200000000000000 4-->0500000000000000 7fffffff --> none\n",
                   "bucket[2] 2-->0300000000000000 5-->0600000000000000 7fffffff --> none\n"});
}

TEST_F(Walk, ReportsACircleOfSlots) {
    CollectionBuilder builder(2, 6);
    builder.fillNumbers().next(4, 2);
    expectEndless(builder, {0},
                  {"bucket[1] 1-->0200000000000000 3-->0400000000000000 5-->0600000000000000 7fffffff --> none\n"});
}

TEST_F(Walk, ReportsAnEndlessChainOnceForEveryBucketThatRunsIntoIt) {
    CollectionBuilder builder(4, 8);
    builder.fillNumbers().chain(0, {0, 1}).next(1, 0).chain(1, {2}).next(2, 1).head(2, 0);
    expectEndless(builder, {0, 1, 2}, {"bucket[3] 3-->0400000000000000 7-->0800000000000000 7fffffff --> none\n"});
}

TEST_F(Walk, ReportsOneSlotTablesThatCircle) {
    CollectionBuilder builder(1, 1);
    builder.fillNumbers().next(0, 0);
    expectEndless(builder, {0}, {});
}

TEST_F(Walk, EndsSoonWhenEveryBucketCircles) {
    CollectionBuilder builder(512, 512);
    builder.fillNumbers();
    std::vector<std::uint32_t> all;
    for (std::uint32_t i = 0; i < 512; ++i) {
        builder.next(i, static_cast<std::int32_t>((i + 1) % 512));
        all.push_back(i);
    }
    expectEndless(builder, all, {});
}

TEST_F(Walk, CirclesDoNotCostMemoryOrOutputThatGrows) {
    CollectionBuilder builder(2, 1000);
    builder.chain(0, {0}).next(0, 0).chain(1, {1});
    builder.build(root_, "c");
    const Outcome outcome = halyx({"c"});
    expectClean(outcome);
    EXPECT_LT(outcome.out.size(), 1001U * 40 + 1000);
}

TEST_F(Walk, PrintsEachElementOfACircleOnce) {
    CollectionBuilder builder(1, 9);
    builder.fillNumbers().chain(0, {0, 1, 2, 3}).next(3, 1);
    expectWalk(builder, "bucket[0] 0-->0100000000000000 1-->0200000000000000 2-->0300000000000000 3-->0400000000000000 "
                        "--> [corrupted] HalyxReaderGeneric::scan() chain does not end, link: 5 leads back into it, "
                        "numSlots:9\n");
}

TEST_F(Walk, PrintsACircleOfAllSlotsWhole) {
    constexpr std::uint32_t kSlots = 5000;
    CollectionBuilder builder(1, kSlots);
    builder.fillNumbers().next(kSlots - 1, 0).build(root_, "c");
    const WalkOutput walk = WalkOutput::parse(halyx({"c"}).out);
    EXPECT_EQ(walk.elements.size(), kSlots);
    ASSERT_EQ(walk.corruptions.size(), 1U);
    EXPECT_EQ(walk.corruptions[0].reason,
              "HalyxReaderGeneric::scan() chain does not end, link: 5001 leads back into it, numSlots:5000");
}

TEST_F(Walk, SmallCirclesOfALargeTableAreMetAtOnce) {
    // Going through as many links as there are slots in each bucket would take hours.
    constexpr std::uint32_t kBuckets = 200000;
    CollectionBuilder builder(kBuckets, kBuckets);
    builder.chain(0, {0, 1}, 0);
    for (std::uint32_t bucket = 1; bucket < kBuckets; ++bucket) {
        builder.head(bucket, 0);
    }
    builder.build(root_, "c");
    const Outcome outcome = halyx({"c"});
    expectClean(outcome);
    expectPart(outcome.out, "bucket[0] 0-->0000000000000000 1-->0000000000000000 --> [corrupted] ");
}

TEST_F(Walk, GoesOnAfterCorruptionWithStatusZero) {
    CollectionBuilder builder(3, 3);
    builder.fillNumbers().head(0, 50).head(1, 51).head(2, 52);
    expectWalk(builder, "bucket[0] [corrupted] " + outOfRange(50, 3) + "\nbucket[1] [corrupted] " + outOfRange(51, 3) +
                            "\nbucket[2] [corrupted] " + outOfRange(52, 3) + "\n");
}

TEST_F(Walk, ForgetsALookasideStarWithItsLine) {
    CollectionBuilder builder(2, 2);
    builder.fillNumbers().state(0, 2).lookaside(bytesOf(std::uint64_t{7})).next(0, 9);
    builder.build(root_, "c");
    expectOutcome(halyx({"c"}), 0,
                  "bucket[0] 0-->*0700000000000000 --> [corrupted] " + outOfRange(9, 2) +
                      "\nbucket[1] 1-->0200000000000000 7fffffff --> none\n" + statistics(1),
                  "");
}

TEST_F(Walk, HasAnOrderOfBytesThatDoesNotDependOnTheBuild) {
    CollectionBuilder builder(1, 2);
    builder.valueType("Blob", 3).slotSize(24).value(0, "abc").value(1, "xyz").chain(0, {0, 1});
    expectWalk(builder, "bucket[0] 0-->616263 1-->78797a 7fffffff --> none\n");
}

class SlotSizes : public Walk {
protected:
    /// Expects that nothing of the collection is believed: no element, and a complaint somewhere.
    void expectRefused(const CollectionBuilder& builder) {
        builder.build(root_, "c");
        const Outcome outcome = halyx({"c"});
        expectClean(outcome);
        expectNoPart(outcome.out, "7fffffff");
        EXPECT_TRUE(outcome.status == 1 ? !outcome.err.empty() : outcome.out.find("[corrupted]") != std::string::npos)
            << outcome.describe();
        EXPECT_TRUE(WalkOutput::parse(outcome.out).elements.empty()) << outcome.describe();
    }
};

TEST_F(SlotSizes, FollowTheHeader) {
    for (const std::uint32_t size : {16U, 64U, 100U, 1000U}) {
        CollectionBuilder builder(2, 5);
        builder.valueType("Blob", size).fitSlots();
        std::string lines = "bucket[0]";
        for (std::uint32_t i = 0; i < 5; ++i) {
            builder.value(i, std::string(size, static_cast<char>('a' + i)));
        }
        builder.chain(0, {0, 1, 2, 3, 4}).state(3, 2).lookaside(std::string(size, 'L'));
        for (std::uint32_t i = 0; i < 5; ++i) {
            lines +=
                " " + hexNumber(i) + "-->" +
                (i == 3 ? "*" + hexOf(std::string(size, 'L')) : hexOf(std::string(size, static_cast<char>('a' + i))));
        }
        builder.build(root_, "c");
        expectOutcome(halyx({"c"}), 0, lines + " 7fffffff --> none\n" + statistics(1), "");
    }
}

TEST_F(SlotSizes, OfTwentyBytesHoldFourByteValues) {
    CollectionBuilder builder(2, 5);
    builder.valueType("U32", 4).slotSize(20);
    for (std::uint32_t i = 0; i < 5; ++i) {
        builder.number(i, i + 1);
    }
    builder.chain(1, {4, 3, 2, 1, 0});
    expectWalk(builder,
               "bucket[1] 4-->05000000 3-->04000000 2-->03000000 1-->02000000 0-->01000000 7fffffff --> none\n");
    builder.valueType("U32", 5);
    expectRefused(builder);
}

TEST_F(SlotSizes, ThatCannotHoldTheValueAreRefused) {
    for (const std::uint32_t size : {9U, 16U, 17U, 1000U, 0x7fffffffU, 0x80000000U, 0xfffffff0U, 0xffffffffU}) {
        SCOPED_TRACE(size);
        CollectionBuilder builder(4, 4);
        builder.fillNumbers();
        builder.valueType("Blob", size);
        expectRefused(builder);
    }
}

TEST_F(SlotSizes, ThatCannotHoldALinkAndAStateAreRefused) {
    for (const std::uint32_t size : {0U, 1U, 4U, 8U, 12U, 15U}) {
        SCOPED_TRACE(size);
        CollectionBuilder builder(4, 4);
        builder.fillNumbers().valueType("Blob", size > 4 ? 4 : size).slotSize(size);
        expectRefused(builder);
    }
}

TEST_F(SlotSizes, WithoutRoomForAnyValueAreRefused) {
    CollectionBuilder builder(4, 4);
    builder.fillNumbers().valueType("U32", 4).slotSize(16);
    expectRefused(builder);
}

TEST_F(SlotSizes, OfNoMoreThanALinkAndAStateHoldEmptyValues) {
    CollectionBuilder builder(1, 2);
    builder.fillNumbers().valueType("Nothing", 0).slotSize(16);
    for (std::uint32_t slot = 0; slot < 2; ++slot) {
        builder.value(slot, "");
    }
    expectWalk(builder, "bucket[0] 0--> 1--> 7fffffff --> none\n");
}

TEST_F(SlotSizes, PastTheFileAreRefused) {
    for (const std::uint32_t size :
         {1000U, 0x10000000U, 0x7ffffff8U, 0x80000000U, 0xffffff38U, 0xfffffff8U, 0xffffffffU}) {
        SCOPED_TRACE(size);
        CollectionBuilder builder(4, 4);
        builder.fillNumbers();
        const Collection c = builder.build(root_, "c");
        c.corrupt32("slots", 152, size);
        auto header = fromBytes<Halyx::Layout::SlotTableHeader>(c.bytes("slots"));
        c.corrupt32("slots", 164, slotsChecksum(header));
        const Outcome outcome = halyx({"c"});
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_FALSE(outcome.err.empty());
        EXPECT_TRUE(WalkOutput::parse(outcome.out).elements.empty()) << outcome.describe();
        if (size == 1000) {
            expectOutcome(outcome, 1, "",
                          "halyx: SlotReaderGeneric::doResize() requesting to map " + c.file("slots") +
                              " 4 slots. Requested file resize to " + std::to_string(4 * 1000 + 1192) +
                              " but real file size is " + std::to_string(216 + 4 * 24) + "\n");
        }
    }
}

TEST_F(SlotSizes, CountsThatWrapMeetTheTrueSize) {
    CollectionBuilder builder(4, 4);
    builder.fillNumbers();
    builder.slotsHeader.numSlots.value = 178956971; // 24 times as much is 2^32 + 8
    builder.slotsHeader.mostSlots = 178956971;
    const Collection c = builder.build(root_, "c");
    expectOutcome(halyx({"c"}), 1, "",
                  "halyx: SlotReaderGeneric::doResize() requesting to map " + c.file("slots") +
                      " 178956971 slots. Requested file resize to 4294967520 but real file size is " +
                      std::to_string(216 + 4 * 24) + "\n");
}

} // namespace
