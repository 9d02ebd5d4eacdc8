// What is expected of a collection leaves no more open than the rules do.

#include "fixtures/CollectionBuilder.h"
#include "fixtures/Process.h"
#include "hostile/Judge.h"
#include "hostile/Oracle.h"

#include <gtest/gtest.h>

using namespace Fixtures;
using namespace Hostile;

namespace {

class HostileOracle : public ::testing::Test {
protected:
    /// What is wrong with a run that printed this of the built collection; empty when nothing is.
    [[nodiscard]] std::string fault(Report report, const std::string& out, int status = 0, bool cut = false,
                                    const std::string& err = {}) const {
        Hostile::Run run;
        run.status = status;
        run.out = out;
        run.outCut = cut;
        run.err = err;
        return Judge(Limits{}).fault(report, Oracle(root_, Case{}).of(report), run);
    }

    void build(const CollectionBuilder& builder) const { builder.build(root_, "c"); }

    /// What the tool prints, for what is too long to be written down here; the harness as a whole asks it for all reports.
    [[nodiscard]] std::string halyx(const std::string& option) const {
        Process process(HALYX_BINARY, {option, "c"});
        process.environment("Q7_CHROOT", root_.path()).keepAtMost(std::size_t{16} << 20);
        return process.run().out;
    }

    static std::string statistics(const std::string& hits = "0", const std::string& restarts = "0") {
        return "Lookaside hits: " + hits + "\nChain restarts: " + restarts + "\n";
    }

    static std::string endless(unsigned link, unsigned slots) {
        return " [corrupted] HalyxReaderGeneric::scan() chain does not end, link: " + std::to_string(link) +
               " leads back into it, numSlots:" + std::to_string(slots) + "\n";
    }

    ScratchRoot root_;
};

TEST_F(HostileOracle, TakesTheElementsOfACircleOnceEach) {
    CollectionBuilder builder(1, 4);
    build(builder.fillNumbers().chain(0, {0, 1, 2}, 1));
    const std::string elements = "bucket[0] 0-->0100000000000000 1-->0200000000000000 2-->0300000000000000";
    const auto walk = [&](const std::string& line) { return fault(Report::Walk, line + statistics()); };
    EXPECT_EQ(walk(elements + " -->" + endless(4, 4)), "");
    EXPECT_NE(walk(elements + " 1-->0200000000000000 -->" + endless(4, 4)), "");
    EXPECT_NE(walk(elements + " 3-->0400000000000000 -->" + endless(4, 4)), "");
    EXPECT_NE(walk("bucket[0] 0-->0100000000000000 2-->0300000000000000 -->" + endless(4, 4)), "");
    EXPECT_NE(walk("bucket[0]" + endless(4, 4)), "");
    EXPECT_NE(walk(elements + " -->" + endless(3, 4)), "");
    EXPECT_NE(walk(elements + " 7fffffff --> none\n"), "");
    EXPECT_NE(fault(Report::Walk, elements + " -->" + endless(4, 4) + statistics("1")), "");
    EXPECT_NE(fault(Report::Walk, elements + " -->" + endless(4, 4) + statistics("0", "1")), "");
}

TEST_F(HostileOracle, LeavesOpenHowOftenACircleIsGoneThrough) {
    CollectionBuilder builder(1, 2);
    builder.fillNumbers().lookaside(bytesOf(std::uint64_t{9}));
    build(builder.state(0, Halyx::Layout::kSlotStateLookaside).chain(0, {0}, 0));
    const std::string line = "bucket[0] 0-->*0900000000000000 -->" + endless(2, 2);
    EXPECT_EQ(fault(Report::Walk, line + statistics("3")), "");
    EXPECT_NE(fault(Report::Walk, line + statistics("")), "");
    EXPECT_NE(fault(Report::Walk, line + statistics("many")), "");
    EXPECT_NE(fault(Report::Walk, line + statistics("3", "3")), "");
}

TEST_F(HostileOracle, WantsACorruptionWhereValuesAreMoreThanTheFiles) {
    constexpr std::uint32_t kSize = 4000;
    CollectionBuilder builder(1, 50);
    builder.dynamic().valueType("Payload", kSize).slotSize(24);
    std::vector<std::int32_t> chain;
    for (std::int32_t slot = 0; slot < 50; ++slot) {
        builder.offset(static_cast<std::uint32_t>(slot), 0, 0);
        chain.push_back(slot);
    }
    build(builder.chain(0, chain).slab(0, kSize + 8, {std::string(kSize, 'x')}));
    EXPECT_EQ(fault(Report::Walk, "bucket[0] [corrupted] too much\n" + statistics()), "");
    EXPECT_NE(fault(Report::Walk, "bucket[0] [corrupted] \n" + statistics()), "");
    std::string whole = "bucket[0]";
    for (const std::int32_t slot : chain) {
        whole += " " + hexNumber(static_cast<std::uint32_t>(slot)) + "-->" + hexOf(std::string(kSize, 'x'));
    }
    EXPECT_NE(fault(Report::Walk, whole + " 7fffffff --> none\n" + statistics()), "");
}

TEST_F(HostileOracle, HoldsAllButTheTextOfAValueWhoseTypeMayBeKnown) {
    CollectionBuilder builder(1, 3);
    build(builder.fillNumbers().valueType("int", 4).chain(0, {0, 1}));
    for (const Report report : {Report::Pretty, Report::Json}) {
        const auto walk = [&](const std::string& line, int status = 0) {
            return fault(report, line + statistics(), status);
        };
        EXPECT_EQ(walk("bucket[0] 0-->1 1-->2 7fffffff --> none\n"), "");
        EXPECT_EQ(walk("bucket[0] 0-->{ -1, 'x' } 1--> 7fffffff --> none\n"), "");
        EXPECT_NE(walk("bucket[0] 0-->1 1-->2 7fffffff --> none\n", 1), "");
        EXPECT_NE(walk("bucket[0] 0-->1 7fffffff --> none\n"), "");
        EXPECT_NE(walk("bucket[0] 0-->1 1-->2 2-->3 7fffffff --> none\n"), "");
        EXPECT_NE(walk("bucket[0] 1-->1 0-->2 7fffffff --> none\n"), "");
        EXPECT_NE(walk("bucket[0] 0-->1 1-->2 0 --> none\n"), "");
        EXPECT_NE(walk("bucket[1] 0-->1 1-->2 7fffffff --> none\n"), "");
        EXPECT_NE(walk("bucket[0] 0-->1 1-->2 7fffffff --> none\nbucket[1] 7fffffff --> none\n"), "");
    }
    std::string headers = halyx("-x");
    EXPECT_EQ(fault(Report::Headers, headers), "");
    EXPECT_NE(fault(Report::Headers, headers, 1), "");
    headers.replace(headers.find("NumBuckets"), 3, "Mun");
    EXPECT_NE(fault(Report::Headers, headers), "");
}

TEST_F(HostileOracle, HoldsATableOfAnySize) {
    constexpr std::uint32_t kBuckets = 150000;
    CollectionBuilder builder(kBuckets, 1);
    builder.fillNumbers();
    build(builder);
    std::string all;
    for (std::uint32_t bucket = 0; bucket < kBuckets; ++bucket) {
        all +=
            "bucket[" + hexNumber(bucket) + "]" + (bucket == 0 ? " 0-->0100000000000000" : "") + " 7fffffff --> none\n";
    }
    const std::string line = "bucket[0] 0-->0100000000000000 7fffffff --> none\n";
    EXPECT_EQ(fault(Report::Walk, line + statistics()), "");
    EXPECT_NE(fault(Report::Walk, line + statistics(), 1), "");
    EXPECT_NE(fault(Report::Walk, line + statistics(), 0, false, "a complaint\n"), "");
    EXPECT_NE(fault(Report::Walk, statistics()), "");
    all.resize(Runner::kKept);
    EXPECT_EQ(fault(Report::WalkEmpty, all, 0, true), "");
    EXPECT_NE(fault(Report::WalkEmpty, all, 1, true), "");
    all[Runner::kKept - 2000] ^= 1;
    EXPECT_NE(fault(Report::WalkEmpty, all, 0, true), "");
}

TEST_F(HostileOracle, HoldsQueuesOfAnySize) {
    CollectionBuilder builder(1, 1);
    build(builder.fillNumbers().conquer(30000, 100));
    std::string whole = halyx("-q");
    EXPECT_EQ(fault(Report::Queues, whole), "");
    EXPECT_NE(fault(Report::Queues, whole, 1), "");
    whole.replace(whole.find("pos: 29999"), 10, "pos: 29998");
    EXPECT_NE(fault(Report::Queues, whole), "");

    build(builder.conquer(100, 100000));
    std::string kept = halyx("-q");
    ASSERT_GT(kept.size(), Runner::kKept);
    kept.resize(Runner::kKept);
    EXPECT_EQ(fault(Report::Queues, kept, 0, true), "");
    EXPECT_NE(fault(Report::Queues, kept), "");
    kept[Runner::kKept - 2000] ^= 1;
    EXPECT_NE(fault(Report::Queues, kept, 0, true), "");
}

} // namespace
