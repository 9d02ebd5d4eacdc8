// Dynamic values: what a slab may hold, and every way in which it can be wrong.

#include "cli/CliTest.h"
#include "fixtures/WalkOutput.h"

using namespace Fixtures;
using Plask::Layout::SlabHeader;

namespace {

constexpr std::uint32_t kEntrySize = 72;
constexpr std::uint32_t kPayload = 64;

class Slabs : public CliTest {
protected:
    /// Four buckets, slot i in bucket i, its value in entry i of slab 0.
    static CollectionBuilder good(const std::vector<std::optional<std::string>>& payloads = {"one", "two", "three",
                                                                                             "four"}) {
        CollectionBuilder builder(4, 4);
        builder.dynamic().valueType("Payload", kPayload).slotSize(24);
        for (std::uint32_t i = 0; i < 4; ++i) {
            builder.chain(i, {static_cast<std::int32_t>(i)}).offset(i, 0, i);
        }
        builder.slab(0, kEntrySize, payloads);
        return builder;
    }

    static std::string element(unsigned bucket, const std::string& payload) {
        return "bucket[" + hexNumber(bucket) + "] " + hexNumber(bucket) + "-->" + hexOf(payload) +
               " 7fffffff --> none\n";
    }
    static std::string corrupted(unsigned bucket, const std::string& reason) {
        return "bucket[" + hexNumber(bucket) + "] [corrupted] " + reason + "\n";
    }
    /// Every bucket corrupted for one reason.
    static std::string allCorrupted(const std::string& reason) {
        std::string lines;
        for (unsigned bucket = 0; bucket < 4; ++bucket) {
            lines += corrupted(bucket, reason);
        }
        return lines;
    }

    void expectWalk(const Arguments& options, const std::string& lines) {
        Arguments arguments = options;
        arguments.push_back("c");
        expectOutcome(halyx(arguments), 0, lines + statistics(), "");
    }
    void expectWalk(const CollectionBuilder& builder, const std::string& lines) {
        builder.build(root_, "c");
        expectWalk(Arguments{}, lines);
    }

    /// Expects elements for which the texts have no words: corrupted, and nothing worse.
    void expectAllCorrupted(const CollectionBuilder& builder) {
        builder.build(root_, "c");
        const Outcome outcome = halyx({"c"});
        expectClean(outcome);
        const WalkOutput walk = WalkOutput::parse(outcome.out);
        EXPECT_TRUE(walk.elements.empty()) << outcome.describe();
        EXPECT_EQ(walk.corruptions.size(), 4U) << outcome.describe();
        EXPECT_TRUE(walk.strange.empty()) << outcome.describe();
        EXPECT_EQ(outcome.status, 0);
    }
};

TEST_F(Slabs, HoldTheValues) {
    const std::string lines = element(0, "one") + element(1, "two") + element(2, "three") + element(3, "four");
    expectWalk(good(), lines);
}

TEST_F(Slabs, OfEveryNumber) {
    CollectionBuilder builder(32, 32);
    builder.dynamic().valueType("Payload", kPayload);
    std::string lines;
    for (unsigned i = 0; i < 32; ++i) {
        const std::string payload = "in slab " + std::to_string(i);
        builder.slab(i, 16 + 8 * (i + 1), {std::nullopt, payload})
            .offset(i, i, 1)
            .chain(i, {static_cast<std::int32_t>(i)});
        lines += element(i, payload);
    }
    expectWalk(builder, lines);
}

TEST_F(Slabs, HoldValuesOfAnyLength) {
    std::string full(kPayload, 'f');
    expectWalk(good({full, "", "x", std::string("\0\xff", 2)}),
               element(0, full) + element(1, "") + element(2, "x") + element(3, std::string("\0\xff", 2)));
}

TEST_F(Slabs, ShortValuesReadAsZeroPastTheirEnd) {
    CollectionBuilder builder(1, 3);
    builder.dynamic().valueType("U64", 8).offset(0, 0, 0).offset(1, 0, 1).offset(2, 0, 2).chain(0, {0, 1, 2});
    builder.slab(0, 16, {bytesOf(~std::uint64_t{0}), "\x05", ""});
    builder.build(root_, "c");
    expectWalk(Arguments{}, "bucket[0] 0-->ffffffffffffffff 1-->05 2--> 7fffffff --> none\n");
    expectWalk(Arguments{"-p"}, "bucket[0] 0-->18446744073709551615 1-->5 2-->0 7fffffff --> none\n");
    expectWalk(Arguments{"-j"}, "bucket[0] 0-->18446744073709551615 1-->5 2-->0 7fffffff --> none\n");
    builder.valueType("Widget", 8).build(root_, "c");
    expectWalk(Arguments{}, "bucket[0] 0-->ffffffffffffffff 1-->05 2--> 7fffffff --> none\n");
    expectWalk(Arguments{"-p"},
               "bucket[0] 0-->ffffffffffffffff 1-->0500000000000000 2-->0000000000000000 7fffffff --> none\n");
}

TEST_F(Slabs, HoldTheLookasideValueToo) {
    CollectionBuilder builder = good();
    builder.state(1, 2).lookaside(bytesOf(Plask::Layout::SlabOffset(0, 3)));
    builder.build(root_, "c");
    expectOutcome(halyx({"c"}), 0,
                  element(0, "one") + "bucket[1] 1-->*" + hexOf("four") + " 7fffffff --> none\n" + element(2, "three") +
                      element(3, "four") + statistics(1),
                  "");
}

TEST_F(Slabs, AreOfAnyIncarnation) {
    CollectionBuilder builder = good();
    builder.slabHeader(0).fenix = SharedMem::FenixId(0xffffffff);
    expectWalk(builder, element(0, "one") + element(1, "two") + element(2, "three") + element(3, "four"));
}

TEST_F(Slabs, ThatAreMissing) {
    const Collection c = good().build(root_, "c");
    c.remove("slab0");
    expectWalk(Arguments{}, allCorrupted("SlabReader-0-?::attach() no shared memory region"));
    good().offset(2, 17, 0).build(root_, "c");
    expectWalk(Arguments{}, element(0, "one") + element(1, "two") +
                                corrupted(2, "SlabReader-17-?::attach() no shared memory region") + element(3, "four"));
}

TEST_F(Slabs, ThatAreEmptyOrNoRegularFiles) {
    const std::string lines = allCorrupted("SlabReader-0-?::attach() no shared memory region");
    good().build(root_, "c").truncate("slab0", 0);
    expectWalk(Arguments{}, lines);
    good().build(root_, "c").replaceWithFifo("slab0");
    expectWalk(Arguments{}, lines);
}

TEST_F(Slabs, ThatAreDirectoriesOrLinks) {
    const std::string lines = allCorrupted("SlabReader-0-?::attach() no shared memory region");
    good().build(root_, "c").replaceWithLink("slab0");
    expectWalk(Arguments{}, lines);
}

TEST_F(Slabs, HeaderFaults) {
    const auto expectFault = [&](const CollectionBuilder& builder, const std::string& reason) {
        SCOPED_TRACE(reason);
        const std::uint32_t size = fromBytes<SlabHeader>(builder.slabFile(0)).entrySize;
        expectWalk(builder, allCorrupted("SlabReader-0-" + std::to_string(size) +
                                         "::validate() failed: SlabHeader::validate() " + reason));
    };
    CollectionBuilder builder = good();
    SlabHeader& header = builder.slabHeader(0);
    header.numEntries.value = 5;
    expectFault(builder, "bad shmem size: 328 wanted: 400 for 5 entries");
    header.freeList = 5;
    expectFault(builder, "bad freeList: 5 maxIndex: 4");
    header.numOccupied = 6;
    expectFault(builder, "bad numOccupied: 6 but numEntries: 5");
    header.checksum = 0x1a;
    expectFault(builder, "checksum fail: " + hexNumber(fnv1a(bytesOf(kEntrySize))) + " != 1a");
    header.version = 26;
    expectFault(builder, "bad version: 26 wanted: 1");
    header.magic = 0x1a;
    expectFault(builder, "bad magic: 1a wanted: 424c534b53414c50");
    const Collection c = builder.build(root_, "c");
    c.truncate("slab0", 39);
    expectWalk(
        Arguments{},
        allCorrupted("SlabReader-0-72::validate() failed: SlabHeader::validate() bad header file size: 39 wanted: 40"));
}

TEST_F(Slabs, NeededSizesDoNotWrap) {
    CollectionBuilder builder = good();
    builder.slabHeader(0).entrySize = 0x100;
    builder.slabHeader(0).checksum = fnv1a(bytesOf(std::uint32_t{0x100}));
    const std::string file = builder.slabFile(0);
    builder.slabHeader(0).numEntries.value = 0x10000000;
    const Collection c = builder.build(root_, "c");
    expectWalk(Arguments{},
               allCorrupted("SlabReader-0-256::validate() failed: SlabHeader::validate() bad shmem size: " +
                            std::to_string(file.size()) + " wanted: 68719476776 for 268435456 entries"));
}

TEST_F(Slabs, OfNoEntries) {
    CollectionBuilder builder = good({});
    expectWalk(builder, corrupted(0, "SlabReader-0-72::getEntry() index: 0 is beyond farthest possible index: 0") +
                            corrupted(1, "SlabReader-0-72::getEntry() index: 1 is beyond farthest possible index: 0") +
                            corrupted(2, "SlabReader-0-72::getEntry() index: 2 is beyond farthest possible index: 0") +
                            corrupted(3, "SlabReader-0-72::getEntry() index: 3 is beyond farthest possible index: 0"));
    builder.slabHeader(0).freeList = 0;
    expectWalk(builder,
               allCorrupted("SlabReader-0-72::validate() failed: SlabHeader::validate() bad freeList: 0 maxIndex: "
                            "4294967295"));
}

TEST_F(Slabs, CountersAtTheirLimits) {
    CollectionBuilder builder = good();
    builder.slabHeader(0).numOccupied = 4;
    builder.slabHeader(0).freeList = 3;
    expectWalk(builder, element(0, "one") + element(1, "two") + element(2, "three") + element(3, "four"));
    builder.slabHeader(0).freeList = 4;
    expectWalk(builder,
               allCorrupted("SlabReader-0-72::validate() failed: SlabHeader::validate() bad freeList: 4 maxIndex: 3"));
}

TEST_F(Slabs, EntriesPastTheEnd) {
    const std::string at = "SlabReader-0-72::getEntry() index: ";
    expectWalk(good().offset(1, 0, 4).offset(2, 0, 0x7ffffff),
               element(0, "one") + corrupted(1, at + "4 is beyond farthest possible index: 4") +
                   corrupted(2, at + "134217727 is beyond farthest possible index: 4") + element(3, "four"));
}

TEST_F(Slabs, EntriesThatAreNotOccupied) {
    expectWalk(good({"one", std::nullopt, "three", "four"}),
               element(0, "one") +
                   corrupted(1, "SlabReader-0-72::getValue() encountered unoccupied entry at index: 1") +
                   element(2, "three") + element(3, "four"));
    const Collection c = good().build(root_, "c");
    c.corrupt32("slab0", 40 + 3 * kEntrySize, 0x80000000);
    expectWalk(Arguments{}, element(0, "one") + element(1, "two") + element(2, "three") +
                                corrupted(3, "SlabReader-0-72::getValue() encountered unoccupied entry at index: 3"));
}

TEST_F(Slabs, PayloadsLargerThanTheirEntry) {
    const Collection c = good().build(root_, "c");
    const std::string at = "SlabReader-0-72::getValue() encountered payloadSize:";
    c.corrupt32("slab0", 40 + 1 * kEntrySize, kPayload);
    c.corrupt32("slab0", 40 + 2 * kEntrySize, kPayload + 1);
    c.corrupt32("slab0", 40 + 3 * kEntrySize, 0x7fffffff);
    std::string two = "two";
    two.resize(kPayload);
    expectWalk(Arguments{}, element(0, "one") + element(1, two) +
                                corrupted(2, at + "65, but max payloadSize:64 at index: 2") +
                                corrupted(3, at + "2147483647, but max payloadSize:64 at index: 3"));
}

TEST_F(Slabs, PayloadsLargerThanTheValue) {
    CollectionBuilder builder =
        good({std::string(64, 'a'), std::string(64, 'b'), std::string(64, 'c'), std::string(64, 'd')});
    builder.valueType("Payload", 63);
    expectAllCorrupted(builder);
    builder.valueType("Payload", 0);
    expectAllCorrupted(builder);
}

TEST_F(Slabs, EntriesTooSmallForTheirOwnHeader) {
    for (const std::uint32_t size : {0U, 1U, 4U, 7U}) {
        SCOPED_TRACE(size);
        CollectionBuilder builder = good();
        builder.slab(0, size, {"", "", "", ""});
        expectWalk(builder, allCorrupted("SlabReader-0-" + std::to_string(size) +
                                         "::validate() bad entrySize: " + std::to_string(size) + " wanted at least:8"));
    }
}

TEST_F(Slabs, EntriesWithoutRoomForAPayload) {
    CollectionBuilder builder = good();
    builder.slab(0, 8, {"", "", "", ""});
    expectWalk(builder, element(0, "") + element(1, "") + element(2, "") + element(3, ""));
    builder.build(root_, "c").corrupt32("slab0", 40 + 8, 1);
    expectWalk(Arguments{},
               element(0, "") +
                   corrupted(1, "SlabReader-0-8::getValue() encountered payloadSize:1, but max payloadSize:0 at "
                                "index: 1") +
                   element(2, "") + element(3, ""));
}

TEST_F(Slabs, EntriesOfOddSizes) {
    CollectionBuilder builder = good();
    builder.slab(0, 13, {"one", "two", "three", "four"});
    expectWalk(builder, element(0, "one") + element(1, "two") + element(2, "three") + element(3, "four"));
}

TEST_F(Slabs, CorruptionComesBehindWhatWasPrinted) {
    CollectionBuilder builder = good({"one", std::nullopt, "three", "four"});
    builder.chain(0, {0, 1, 2, 3});
    for (std::uint32_t bucket = 1; bucket < 4; ++bucket) {
        builder.head(bucket, -1);
    }
    expectWalk(builder, "bucket[0] 0-->" + hexOf("one") +
                            " --> [corrupted] SlabReader-0-72::getValue() encountered unoccupied entry at index: 1\n");
}

TEST_F(Slabs, SharedEntriesCannotMakeMoreOfAValueThanThereAreBytes) {
    constexpr std::uint32_t kLarge = 60000;
    constexpr std::uint32_t kSlots = 1000;
    CollectionBuilder builder(1, kSlots);
    builder.dynamic().valueType("Payload", kLarge).slotSize(24);
    std::vector<std::int32_t> chain;
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        builder.offset(slot, 0, 0);
        chain.push_back(static_cast<std::int32_t>(slot));
    }
    builder.chain(0, chain).slab(0, kLarge + 8, {std::string(kLarge, 'x')});
    const std::size_t bytes = builder.slotsFile().size() + builder.slabFile(0).size();
    expectWalk(builder, "bucket[0] 0-->" + hexOf(std::string(kLarge, 'x')) +
                            " --> [corrupted] HalyxReaderGeneric::scan() values of one chain have: 120000 bytes but "
                            "the collection's files hold: " +
                            std::to_string(bytes) + "\n");
}

/// While a circle is looked for its values are met more than once, which makes more bytes of them than there are.
TEST_F(Slabs, ACircleOfLargeValuesIsACircle) {
    constexpr std::uint32_t kLarge = 60000;
    CollectionBuilder builder(1, 9);
    builder.dynamic().valueType("Payload", kLarge).slotSize(24);
    std::vector<std::optional<std::string>> payloads;
    std::string line = "bucket[0]";
    for (std::uint32_t slot = 0; slot < 3; ++slot) {
        payloads.emplace_back(std::string(kLarge, static_cast<char>('a' + slot)));
        builder.offset(slot, 0, slot);
        line += " " + hexNumber(slot) + "-->" + hexOf(*payloads.back());
    }
    builder.chain(0, {0, 1, 2}, 0).slab(0, kLarge + 8, payloads);
    expectWalk(builder,
               line + " --> [corrupted] HalyxReaderGeneric::scan() chain does not end, link: 4 leads back into it, "
                      "numSlots:9\n");
}

TEST_F(Slabs, ACircleOfSharedEntriesEnds) {
    constexpr std::uint32_t kLarge = 60000;
    CollectionBuilder builder(1, 9);
    builder.dynamic().valueType("Payload", kLarge).slotSize(24);
    builder.offset(0, 0, 0).offset(1, 0, 0).offset(2, 0, 0).chain(0, {0, 1, 2}, 0);
    builder.slab(0, kLarge + 8, {std::string(kLarge, 'x')});
    const std::size_t bytes = builder.slotsFile().size() + builder.slabFile(0).size();
    expectWalk(builder, "bucket[0] 0-->" + hexOf(std::string(kLarge, 'x')) +
                            " --> [corrupted] HalyxReaderGeneric::scan() values of one chain have: 120000 bytes but "
                            "the collection's files hold: " +
                            std::to_string(bytes) + "\n");
}

TEST_F(Slabs, EmptyValuesOfALargeTypeCannotMakeALineOfAnySize) {
    constexpr std::uint32_t kSlots = 150;
    CollectionBuilder builder(1, kSlots);
    builder.dynamic().valueType("Payload", 1U << 20).slotSize(24);
    std::vector<std::int32_t> chain;
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        builder.offset(slot, 0, 0);
        chain.push_back(static_cast<std::int32_t>(slot));
    }
    builder.chain(0, chain).slab(0, 16, {""}).build(root_, "c");
    auto process = prepare({"-p", "c"});
    process->keepAtMost(std::size_t{512} << 20);
    const Outcome outcome = process->run();
    expectClean(outcome);
    EXPECT_LT(outcome.out.size(), std::size_t{64} << 20);
    EXPECT_NE(outcome.out.find(" --> [corrupted] HalyxReaderGeneric::scan() values of one chain have: "),
              std::string::npos);
}

TEST_F(Slabs, HolesOfASparseFileAreNoBytes) {
    constexpr std::uint32_t kLarge = 60000;
    CollectionBuilder builder(1, 3);
    builder.dynamic().valueType("Payload", kLarge).slotSize(24);
    for (std::uint32_t slot = 0; slot < 3; ++slot) {
        builder.offset(slot, 0, 0);
    }
    const Collection c = builder.chain(0, {0, 1, 2}).slab(0, kLarge + 8, {std::string(kLarge, 'x')}).build(root_, "c");
    c.replace("slab1", "");
    c.truncate("slab1", std::size_t{1} << 30);
    const std::string out = halyx({"c"}).out;
    expectPart(out, " --> [corrupted] HalyxReaderGeneric::scan() values of one chain have: 120000 bytes");
}

TEST_F(Slabs, HugeValueSizesDoNotCostMemory) {
    CollectionBuilder builder = good();
    builder.valueType("Payload", 0xffffffff);
    builder.build(root_, "c");
    const Outcome outcome = halyx({"c"});
    expectClean(outcome);
}

TEST_F(Slabs, EveryByteOfTheHeader) {
    CollectionBuilder builder = good();
    builder.slabHeader(0).freeList = 3;
    builder.slabHeader(0).numOccupied = 0;
    const Collection c = builder.build(root_, "c");
    const std::string bytes = c.bytes("slab0");
    unsigned noticed = 0;
    for (std::size_t offset = 0; offset < sizeof(SlabHeader); ++offset) {
        std::string changed = bytes;
        changed[offset] = static_cast<char>(changed[offset] ^ 0x80);
        c.replace("slab0", changed);
        SCOPED_TRACE("byte " + std::to_string(offset));
        const std::string fault = slabFault(changed);
        const std::uint32_t size = fromBytes<SlabHeader>(changed).entrySize;
        noticed += fault.empty() ? 0U : 1U;
        expectWalk(Arguments{},
                   fault.empty()
                       ? element(0, "one") + element(1, "two") + element(2, "three") + element(3, "four")
                       : allCorrupted("SlabReader-0-" + std::to_string(size) + "::validate() failed: " + fault));
    }
    using H = SlabHeader;
    // What no check looks at: the incarnation (any will do) and the version word of the count.
    EXPECT_EQ(noticed, sizeof(H) - sizeof(H::fenix) - sizeof(Mem::VerU32::version));
}

TEST_F(Slabs, EveryByteOfTheFirstEntry) {
    const Collection c = good().build(root_, "c");
    const std::string bytes = c.bytes("slab0");
    for (std::size_t offset = 40; offset < 40 + kEntrySize; ++offset) {
        std::string changed = bytes;
        changed[offset] = static_cast<char>(changed[offset] ^ 0x80);
        c.replace("slab0", changed);
        SCOPED_TRACE("byte " + std::to_string(offset));
        const Outcome outcome = halyx({"c"});
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 0);
        expectPart(outcome.out, element(1, "two") + element(2, "three") + element(3, "four") + statistics());
        EXPECT_EQ(outcome.out.find("[corrupted]") != std::string::npos, offset < 44) << outcome.describe();
    }
}

TEST_F(Slabs, EverySize) {
    const std::string bytes = good().slabFile(0);
    const Collection c = good().build(root_, "c");
    for (std::size_t size = 0; size < bytes.size(); size += size < 48 ? 1 : 7) {
        const std::string cut = bytes.substr(0, size);
        c.replace("slab0", cut);
        SCOPED_TRACE(size);
        const std::uint32_t entrySize = fromBytes<SlabHeader>(cut).entrySize;
        expectWalk(Arguments{}, allCorrupted(size == 0 ? "SlabReader-0-?::attach() no shared memory region"
                                                       : "SlabReader-0-" + std::to_string(entrySize) +
                                                             "::validate() failed: " + slabFault(cut)));
    }
}

} // namespace
