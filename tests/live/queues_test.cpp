// Reports on queues to which a process appends at full speed: each must be one moment of theirs.

#include "fixtures/QueueOutput.h"
#include "live/LiveTest.h"
#include "live/QueueWriter.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace Fixtures;

namespace {

using Record = QueueOutput::Record;
using Queue = QueueOutput::Queue;

constexpr double kMostSeconds = 60; ///< in which every report must end, however fast the writer is

class QueuesLive : public LiveTest {
protected:
    /// One report, held against the writer; false when it was found false.
    bool report(const QueueWriter& writer, const QueueWriter::Plan& plan, bool validOnly,
                const std::string& collection = "live") {
        const std::uint64_t least = writer.appended();
        Process& process = prepare(validOnly ? Arguments{"-q", "-v", collection} : Arguments{"-q", collection});
        const Outcome outcome = process.limitSeconds(kMostSeconds).run();
        const std::uint64_t most = writer.begun();
        check(outcome, plan, validOnly, least, most);
        if (HasFailure()) {
            std::printf("seed %u, report %u of %s, sequences %llu to %llu\n", seed_, reports_,
                        validOnly ? "-q -v" : "-q", static_cast<unsigned long long>(least),
                        static_cast<unsigned long long>(most));
        }
        ++reports_;
        return !HasFailure();
    }

    /// Reports in both forms until the time is over.
    void reportWhile(const QueueWriter::Plan& plan) {
        const QueueWriter writer(root_.path(), "live", plan, static_cast<std::uint32_t>(random_()));
        for (const Timer timer(seconds()); !timer.over(restarts_ > 0 && writer.switches() > 10);) {
            ASSERT_TRUE(writer.running());
            if (!report(writer, plan, false) || !report(writer, plan, true)) {
                break;
            }
        }
        summarise();
        EXPECT_GT(writer.switches(), 10U) << "the writer was too slow for this case";
        EXPECT_GT(reports_, 1U);
        EXPECT_GT(restarts_, 0U) << "no report met the writer at work";
    }

    void summarise() const {
        std::printf("%u reports, %llu restarts, %llu valid records, %zu sizes of a queue\n", reports_,
                    static_cast<unsigned long long>(restarts_), static_cast<unsigned long long>(valid_),
                    counts_.size());
    }

    void check(const Outcome& outcome, const QueueWriter::Plan& plan, bool validOnly, std::uint64_t least,
               std::uint64_t most) {
        expectClean(outcome);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        ASSERT_EQ(outcome.err, "");
        const QueueOutput output = QueueOutput::parse(outcome.out);
        ASSERT_EQ(output.strange, "");
        lastRestarts_ = output.restarts.value_or(0);
        restarts_ += lastRestarts_;
        ASSERT_EQ(output.queues.size(), validOnly ? 1U : 2U);
        for (const Queue& queue : output.queues) {
            counts_.insert(queue.count);
            ASSERT_GE(queue.count, plan.records);
            ASSERT_LE(queue.count, plan.most);
            ASSERT_LE(queue.currentPos, queue.count) << "more records are valid than there are";
            valid_ += queue.currentPos;
        }
        if (validOnly) {
            ASSERT_TRUE(output.queues[0].active);
            checkValid(output.queues[0], least, most);
            return;
        }
        ASSERT_TRUE(output.queues[0].primary);
        ASSERT_FALSE(output.queues[1].primary);
        ASSERT_NE(output.queues[0].active, output.queues[1].active);
        for (const Queue& queue : output.queues) {
            ASSERT_NO_FATAL_FAILURE(checkWhole(queue));
        }
        const Queue& active = output.queues[output.queues[0].active ? 0 : 1];
        const Queue& backup = output.queues[output.queues[0].active ? 1 : 0];
        // A queue gives way when it cannot grow any more. It is empty before its first use, and in the moment between being
        // emptied and becoming the active one.
        ASSERT_TRUE(backup.currentPos == 0 || backup.currentPos == plan.most) << backup.currentPos;
        if (active.currentPos != 0 && backup.currentPos != 0) {
            ASSERT_EQ(backup.records[backup.currentPos - 1].sequence + 1, active.records[0].sequence)
                << "the two queues are not of one moment";
        }
        const Queue& newest = active.currentPos != 0 ? active : backup;
        const std::uint64_t last = newest.currentPos != 0 ? newest.records[newest.currentPos - 1].sequence : 0;
        ASSERT_GE(last, least) << "older than what was there before it was asked for";
        ASSERT_LE(last, most);
    }

    /// Every record of a queue: the valid ones count on, the others were never used or are whole.
    void checkWhole(const Queue& queue) {
        ASSERT_EQ(queue.records.size(), queue.count);
        for (std::uint32_t i = 0; i < queue.count; ++i) {
            const Record& record = queue.records[i];
            ASSERT_EQ(record.position, i);
            if (i < queue.currentPos) {
                ASSERT_EQ(record.sequence, queue.records[0].sequence + i) << "position " << i;
            }
            // The one at currentPos may be half written.
            if (i != queue.currentPos && (record.sequence != 0 || record.slot)) {
                ASSERT_EQ(record.slot.value_or(QueueWriter::kNoSlot), QueueWriter::slotOf(record.sequence))
                    << "position " << i << " of " << queue.currentPos << ", sequence " << record.sequence;
            }
        }
    }

    /// The valid records that have a slot: none too many, none missing.
    void checkValid(const Queue& queue, std::uint64_t least, std::uint64_t most) {
        if (queue.records.empty()) {
            // None, or very few of which all are about no slot.
            ASSERT_LE(queue.currentPos, 8U);
            return;
        }
        const std::uint64_t begin = queue.records[0].sequence - queue.records[0].position;
        std::uint32_t next = 0;
        for (const Record& record : queue.records) {
            ASSERT_LT(record.position, queue.currentPos);
            ASSERT_EQ(record.sequence, begin + record.position);
            ASSERT_TRUE(record.slot) << "position " << record.position;
            ASSERT_EQ(*record.slot, QueueWriter::slotOf(record.sequence)) << "position " << record.position;
            for (; next < record.position; ++next) {
                ASSERT_EQ(QueueWriter::slotOf(begin + next), QueueWriter::kNoSlot) << "position " << next;
            }
            ++next;
        }
        for (; next < queue.currentPos; ++next) {
            ASSERT_EQ(QueueWriter::slotOf(begin + next), QueueWriter::kNoSlot) << "position " << next;
        }
        ASSERT_GE(begin + queue.currentPos - 1, least) << "older than what was there before it was asked for";
        ASSERT_LE(begin + queue.currentPos - 1, most);
    }

    unsigned reports_ = 0;
    std::uint64_t restarts_ = 0;
    std::uint64_t lastRestarts_ = 0;
    std::uint64_t valid_ = 0;
    std::set<std::uint32_t> counts_; ///< met in any report
};

TEST_F(QueuesLive, SwitchingAllTheTime) {
    reportWhile({.records = 4, .most = 1000});
}

TEST_F(QueuesLive, OfOneRecord) {
    reportWhile({.records = 1, .most = 1});
}

TEST_F(QueuesLive, ThatDoNotGrow) {
    reportWhile({.records = 16, .most = 16});
}

TEST_F(QueuesLive, LargeOnes) {
    reportWhile({.records = 64, .most = 20000});
}

TEST_F(QueuesLive, ThatComeRoundWhileAReportHasToWait) {
    // Reader and writer take turns. In one of the writer's, both queues are emptied and filled several times, and a currentPos
    // is often what it was before: only the version of tableId tells then.
    const QueueWriter::Plan plan{.records = 20000, .most = 20000, .longestPause = 0};
    const QueueWriter writer(root_.path(), "live", plan, static_cast<std::uint32_t>(random_()));
    for (const Timer timer(seconds()); !timer.over(restarts_ > 0 && writer.switches() > 10) && !HasFailure();) {
        const bool validOnly = random_() % 4 == 0;
        const unsigned longest =
            random_() % 2 == 0 ? 150 : 10000; // a program with sanitizers is slow to come to the copy
        writer.pause();
        const std::uint64_t least = writer.appended();
        Process& reader = prepare(validOnly ? Arguments{"-q", "-v", "live"} : Arguments{"-q", "live"});
        reader.limitSeconds(kMostSeconds).stoppable().start();
        for (unsigned turn = 0; turn < 30; ++turn) {
            ::usleep(static_cast<useconds_t>(random_() % longest));
            reader.signal(SIGSTOP);
            siginfo_t information{};
            ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(reader.pid()), &information, WSTOPPED | WEXITED | WNOWAIT), 0);
            if (information.si_code != CLD_STOPPED) {
                break; // it has ended
            }
            writer.resume();
            ::usleep(static_cast<useconds_t>(random_() % 1000));
            writer.pause();
            reader.signal(SIGCONT);
        }
        const Outcome outcome = reader.wait();
        check(outcome, plan, validOnly, least, writer.begun());
        ++reports_;
        writer.resume();
    }
    summarise();
    EXPECT_GT(writer.switches(), 10U) << "the writer was too slow for this case";
    EXPECT_GT(restarts_, 0U) << "no report met the writer at work";
}

TEST_F(QueuesLive, GrowingAllTheTime) {
    const Timer timer(seconds());
    for (unsigned round = 0; !timer.over(counts_.size() > 4) && !HasFailure(); ++round) {
        // Every other writer takes its time, so that a slow program meets a queue of many sizes as well.
        const QueueWriter::Plan plan{
            .records = 1, .most = 60000, .longestBurst = 40, .longestPause = round % 2 == 0 ? 100U : 1000U};
        const std::string collection = "grow" + std::to_string(round);
        const QueueWriter writer(root_.path(), collection, plan, static_cast<std::uint32_t>(random_()));
        for (const Timer growing(1);
             !growing.over() && report(writer, plan, false, collection) && report(writer, plan, true, collection);) {
            ASSERT_TRUE(writer.running());
        }
    }
    summarise();
    EXPECT_GT(counts_.size(), 4U) << "no report met a queue that had grown and went on growing";
}

TEST_F(QueuesLive, OfAWriterThatHasStopped) {
    const QueueWriter::Plan plan{.records = 4, .most = 1000, .longestPause = 20};
    const QueueWriter writer(root_.path(), "live", plan, static_cast<std::uint32_t>(random_()));
    for (const Timer timer(seconds() / 2); !timer.over() && !HasFailure();) {
        ::usleep(static_cast<useconds_t>(random_() % 3000));
        writer.pause();
        ASSERT_TRUE(writer.running());
        for (const bool validOnly : {false, true}) {
            report(writer, plan, validOnly);
            EXPECT_EQ(lastRestarts_, 0U);
        }
        writer.resume();
    }
    summarise();
}

TEST_F(QueuesLive, AReportThatKeepsRestartingCanBeInterrupted) {
    const QueueWriter::Plan plan{.records = 2000000, .most = 2000000, .longestPause = 0};
    const QueueWriter writer(root_.path(), "live", plan, static_cast<std::uint32_t>(random_()));
    for (unsigned attempt = 0; attempt < 20; ++attempt) {
        Process& process = prepare({"-q", "live"});
        process.limitSeconds(kMostSeconds).start();
        ::usleep(300000);
        if (!process.running()) {
            process.wait(); // it found a moment in which the writer did not run
            continue;
        }
        const Timer timer(2);
        process.signal(SIGINT);
        const Outcome outcome = process.wait();
        EXPECT_FALSE(timer.over()) << "it took its time";
        if ((outcome.signal == 0 && outcome.status == 0) || !outcome.out.empty()) {
            continue; // it was just printing
        }
        EXPECT_EQ(outcome.signal, SIGINT) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return;
    }
    GTEST_SKIP() << "on this machine the writer rests again and again for as long as a report takes";
}

class QueueIncarnations : public LiveTest {
protected:
    Outcome whole(const Arguments& arguments) {
        const Outcome outcome = prepare(arguments).limitSeconds(kMostSeconds).run();
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        EXPECT_EQ(outcome.err, "");
        ++walks_;
        return outcome;
    }

    /// The valid records of both queues are one run of sequence numbers.
    void expectOneRun(const std::string& collection) {
        (void)lastOfOneRun(QueueOutput::parse(whole({"-q", collection}).out));
        const QueueOutput valid = QueueOutput::parse(whole({"-q", "-v", collection}).out);
        ASSERT_EQ(valid.strange, "");
        ASSERT_EQ(valid.queues.size(), 1U);
        ASSERT_EQ(valid.queues[0].records.size(), valid.queues[0].currentPos);
        for (std::uint32_t i = 0; i < valid.queues[0].currentPos; ++i) {
            ASSERT_EQ(valid.queues[0].records[i].sequence, valid.queues[0].records[0].sequence + i);
        }
    }

    /// Every header of the report is of one incarnation.
    void checkFenixes(const std::string& text, bool dynamic) {
        const std::size_t headers = identitiesIn(text).size();
        const std::set<std::string> fenixes = fenixesIn(text);
        ASSERT_EQ(fenixes.size(), 1U) << text;
        incarnations_.insert(*fenixes.begin());
        // Buckets, slots, two queues; and the slabs of values of 24 to 256 bytes.
        if (dynamic) {
            ASSERT_GT(headers, 4U) << text;
        } else {
            ASSERT_EQ(headers, 4U) << text;
        }
    }

    std::set<std::string> incarnations_;
};

TEST_F(QueueIncarnations, AreReportedOneAtATime) {
    for (const bool dynamic : {false, true}) {
        const Churn churn{
            .stable = 200, .growFrom = 64, .dynamic = dynamic, .collection = dynamic ? "dynamic" : "static"};
        {
            const auto first =
                startWriter(churn, {"--keys", "500", "--conquer", "--notifications", "64", "--seconds", "0.05"});
            ASSERT_NE(first, nullptr);
            expectClean(first->wait());
        }
        for (const Timer timer(seconds() / 2); !timer.over() && !HasFailure();) {
            Process writer(Programs::writer(),
                           {"churn", churn.collection, "--conquer", "--restart", "--rate", "0", "--keys", "500",
                            "--stable", "200", "--grow-from", "64", "--seconds", "0.01"});
            writer.environment("Q7_CHROOT", root_.path()).limitSeconds(60);
            writer.start();
            while (writer.running() && !HasFailure()) {
                expectOneRun(churn.collection);
                checkFenixes(whole({"-x", churn.collection}).out, dynamic);
            }
            const Outcome outcome = writer.wait();
            expectClean(outcome);
            EXPECT_EQ(outcome.status, 0) << outcome.describe();
        }
    }
    std::printf("%u reports on %zu incarnations\n", walks_, incarnations_.size());
    EXPECT_GT(incarnations_.size(), 1U);
}

TEST_F(QueueIncarnations, ThatComeWhileAReportHasToWait) {
    const Churn churn{.stable = 20, .growFrom = 64, .dynamic = true};
    {
        const auto first =
            startWriter(churn, {"--keys", "50", "--conquer", "--notifications", "64", "--seconds", "0.05"});
        ASSERT_NE(first, nullptr);
        expectClean(first->wait());
    }
    unsigned waited = 0;
    for (const Timer timer(seconds()); !timer.over(waited > 0) && !HasFailure();) {
        const Arguments arguments = random_() % 2 == 0 ? Arguments{"-x", "live"} : Arguments{"-q", "live"};
        Process& reader = prepare(arguments);
        reader.limitSeconds(kMostSeconds).stoppable().start();
        // At any point between its start and its end, most of all where it looks for the collection and opens its files.
        ::usleep(static_cast<useconds_t>(random_() % 2500));
        reader.signal(SIGSTOP);
        siginfo_t information{};
        ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(reader.pid()), &information, WSTOPPED | WEXITED | WNOWAIT), 0);
        if (information.si_code == CLD_STOPPED) {
            ++waited;
            const Outcome writer = Process(Programs::writer(), {"churn", "live", "--restart", "--keys", "50",
                                                                "--stable", "20", "--rate", "0", "--seconds", "0"})
                                       .environment("Q7_CHROOT", root_.path())
                                       .run();
            reader.signal(SIGCONT);
            ASSERT_EQ(writer.status, 0) << writer.describe();
        }
        const Outcome outcome = reader.wait();
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        EXPECT_EQ(outcome.err, "");
        if (arguments[0] == "-q") {
            const QueueOutput output = QueueOutput::parse(outcome.out);
            EXPECT_EQ(output.strange, "");
        } else {
            checkFenixes(outcome.out, true);
        }
        ++walks_;
    }
    std::printf("%u reports, of which %u had to wait\n", walks_, waited);
    EXPECT_GT(waited, 0U);
}

} // namespace
