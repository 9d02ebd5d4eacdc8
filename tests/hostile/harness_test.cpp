// The runner of broken collections must notice what it is there to notice.

#include "fixtures/Process.h"
#include "fixtures/ReachableProgram.h"
#include "hostile/Expectation.h"
#include "hostile/Judge.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace Fixtures;

namespace {

class HostileHarness : public ::testing::Test {
protected:
    using Arguments = std::vector<std::string>;

    /// One collection with a bad header, three with a byte changed that does not matter.
    static inline const Arguments kFew = {"--first", "58", "--count", "4"};

    static Outcome runSpoiled(const std::string& spoil, Arguments arguments) {
        arguments.insert(arguments.end(), {"--binary", HALYX_SPOILED, "--seed", "4711", "--memory", "200"});
        Process process(HALYX_HOSTILE, arguments);
        process.environment("HALYX_SPOIL", spoil).environment("HALYX_SPOIL_PROGRAM", reachable(HALYX_BINARY));
        return process.limitSeconds(200).run();
    }

    static void expectNoticed(const std::string& spoil, const std::string& text, const Arguments& arguments = kFew) {
        const Outcome outcome = runSpoiled(spoil, arguments);
        EXPECT_EQ(outcome.status, 1) << outcome.describe();
        EXPECT_NE(outcome.out.find(text), std::string::npos) << "missing: " << text << "\n" << outcome.describe();
        EXPECT_NE(outcome.out.find("repeat: halyx_hostile --seed 4711"), std::string::npos) << outcome.describe();
    }
};

TEST_F(HostileHarness, FindsNothingInAToolThatIsNotSpoiled) {
    const Outcome outcome = runSpoiled("", {"--stride", "997", "--random", "10"});
    EXPECT_EQ(outcome.status, 0) << outcome.describe();
    EXPECT_NE(outcome.out.find("no failures"), std::string::npos) << outcome.describe();
}

TEST_F(HostileHarness, NoticesACrash) {
    expectNoticed("crash", "ended by signal: Segmentation fault");
}

TEST_F(HostileHarness, NoticesAHang) {
    expectNoticed("hang", "hung: killed after 1.", {"--count", "1", "--seconds", "1"});
    expectNoticed("hang closed", "hung: killed after 1.", {"--count", "1", "--seconds", "1"});
}

TEST_F(HostileHarness, NoticesControlBytes) {
    expectNoticed("escape", "control byte on standard output: byte 1b at ");
    expectNoticed("high control", "control byte on standard error: byte 9b at ");
}

TEST_F(HostileHarness, NoticesMemory) {
    expectNoticed("memory", "memory: 2", {"--count", "1"});
}

TEST_F(HostileHarness, NoticesASanitizersReport) {
    expectNoticed("sanitizer", "sanitizer report:");
}

TEST_F(HostileHarness, NoticesAnotherStatus) {
    expectNoticed("status", ", wanted ");
    expectNoticed("strange status", "strange status: 99");
}

TEST_F(HostileHarness, NoticesOtherWords) {
    expectNoticed("complaint", "standard error, line ");
    expectNoticed("message", "standard output, line ");
    expectNoticed("element", "standard output, line ");
    expectNoticed("silence", "standard output, line ");
}

TEST_F(HostileHarness, NoticesTheOtherStream) {
    expectNoticed("stream", "standard output, line ");
}

TEST_F(HostileHarness, NoticesWhatIsWrongWithOutputWithoutEnd) {
    const Arguments one = {"--first", "58", "--count", "1"};
    expectNoticed("flood", "standard output, line ", one);
    expectNoticed("failing flood", ", wanted ", one);
}

TEST_F(HostileHarness, RepeatsACaseFromItsSeedAndIndex) {
    const std::vector<std::string> one = {"--only", "900001"};
    const Outcome first = runSpoiled("crash", one);
    const Outcome second = runSpoiled("crash", one);
    const auto what = [](const Outcome& outcome) { return outcome.out.substr(outcome.out.find("random: ")); };
    ASSERT_NE(first.out.find("random: "), std::string::npos) << first.describe();
    EXPECT_EQ(what(first).substr(0, what(first).find('\n')), what(second).substr(0, what(second).find('\n')));
    const std::string kept = "kept: Q7_CHROOT=";
    const std::size_t at = second.out.find(kept);
    ASSERT_NE(at, std::string::npos) << second.describe();
    const std::size_t begin = at + kept.size();
    const std::filesystem::path place = second.out.substr(begin, second.out.find('\n', begin) - begin);
    EXPECT_TRUE(std::filesystem::exists(place / "var/shmem/halyxes/c")) << place;
    std::filesystem::remove_all(place);
}

TEST(HostileExpectation, ComparesEveryLine) {
    using Hostile::difference;
    EXPECT_EQ(difference("", ""), "");
    EXPECT_EQ(difference("one\ntwo\n", "one\ntwo\n"), "");
    EXPECT_NE(difference("one\ntwo\n", "one\n"), "");
    EXPECT_NE(difference("one\n", "one\ntwo\n"), "");
    EXPECT_NE(difference("one\n", "one"), "");
    EXPECT_NE(difference("", "\n"), "");
}

TEST(HostileExpectation, ComparesWhatWasKeptOfALongText) {
    using Hostile::difference;
    EXPECT_EQ(difference("one\ntwo\n", "one\ntw", true), "");
    EXPECT_EQ(difference("one\ntwo\n", "one\n", true), "");
    EXPECT_EQ(difference("one\ntwo\n", "", true), "");
    EXPECT_NE(difference("one\ntwo\n", "one\ntw", false), "");
    EXPECT_NE(difference("one\ntwo\n", "one\nto", true), "");
    EXPECT_NE(difference("one\ntwo\n", "one\ntwo\n", true), "");
    EXPECT_NE(difference("one\ntwo\n", "one\ntwo\nx", true), "");
    const std::string hits = std::string("hits: ") + Hostile::Expectation::kAnything + "\nend\n";
    EXPECT_EQ(difference(hits, "hits: 7\ne", true), "");
    EXPECT_EQ(difference(hits, "hits: 7", true), "");
    EXPECT_EQ(difference(hits, "hit", true), "");
    EXPECT_NE(difference(hits, "hat", true), "");
}

TEST(HostileJudge, HoldsStatusAndErrorsWhereOutputWasCut) {
    using Hostile::Report;
    const Hostile::Judge judge(Hostile::Limits{});
    const Hostile::Expectation expected{false, 1, "one\ntwo\n", "complaint\n"};
    Hostile::Run run;
    run.status = 1;
    run.out = "one\n";
    run.outCut = true;
    run.err = "complaint\n";
    EXPECT_EQ(judge.fault(Report::Walk, expected, run), "");
    run.status = 0;
    EXPECT_NE(judge.fault(Report::Walk, expected, run), "");
    run.status = 1;
    run.err = "another\n";
    EXPECT_NE(judge.fault(Report::Walk, expected, run), "");
    run.err = "compl";
    EXPECT_NE(judge.fault(Report::Walk, expected, run), "");
    run.errCut = true;
    EXPECT_EQ(judge.fault(Report::Walk, expected, run), "");
    run.out = "two\n";
    EXPECT_NE(judge.fault(Report::Walk, expected, run), "");
}

TEST(HostileExpectation, LeavesOpenOnlyWhatIsMarked) {
    using Hostile::difference;
    const std::string anything = std::string("hits: ") + Hostile::Expectation::kAnything + "\nend\n";
    EXPECT_EQ(difference(anything, "hits: 7\nend\n"), "");
    EXPECT_NE(difference(anything, "hit: 7\nend\n"), "");
    EXPECT_NE(difference(anything, "hits: 7\nother\n"), "");
    EXPECT_NE(difference(anything, "hits: 7"), "");
    const std::string corrupted = std::string("bucket[0]") + Hostile::Expectation::kCorrupted + "\n";
    EXPECT_EQ(difference(corrupted, "bucket[0] 1-->2 --> [corrupted] a reason\n"), "");
    EXPECT_NE(difference(corrupted, "bucket[0] 1-->2 --> [corrupted] \n"), "");
    EXPECT_NE(difference(corrupted, "bucket[0] 1-->2 7fffffff --> none\n"), "");
    EXPECT_NE(difference(corrupted, "bucket[1] [corrupted] a reason\n"), "");
}

} // namespace
