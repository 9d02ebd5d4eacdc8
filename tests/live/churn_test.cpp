// Walks while a writer in another process inserts, replaces, erases, grows and starts anew as fast as it can.

#include "live/LiveTest.h"

using namespace Fixtures;

namespace {

class ChurnLive : public LiveTest {
protected:
    /// Walks one writer's collection until the time is over.
    void walkWhile(const Churn& churn, const Arguments& more) {
        const auto writer = startWriter(churn, more);
        ASSERT_NE(writer, nullptr);
        for (const Timer timer(seconds()); !timer.over();) {
            ASSERT_TRUE(writer->running()) << writer->stop().describe();
            if (!walk(churn)) {
                break;
            }
        }
        stopWriter(*writer);
        // Nobody writes any more: the files must be as sound as they were.
        walk(churn);
        report();
        EXPECT_GT(walks_, 1U);
    }

    /// Walks collections that begin small, a new one every time the writer has grown for a while.
    void walkGrowing(Churn churn, const Arguments& more) {
        const Timer timer(seconds());
        for (unsigned round = 0; !timer.over() && !HasFailure(); ++round) {
            churn.collection = "grow" + std::to_string(round % 2);
            sequences_.clear();
            const auto writer = startWriter(churn, more);
            ASSERT_NE(writer, nullptr);
            for (const Timer growing(0.8); !growing.over() && walk(churn);) {
            }
            stopWriter(*writer);
        }
        report();
    }
};

TEST_F(ChurnLive, StaticValues) {
    walkWhile({.stable = 500, .growFrom = 1024}, {"--keys", "3000"});
}

TEST_F(ChurnLive, StaticValuesInFewBuckets) {
    walkWhile({.stable = 20, .growFrom = 4}, {"--keys", "40"});
}

TEST_F(ChurnLive, StaticValuesThatAreOnlyReplaced) {
    walkWhile({.stable = 64, .growFrom = 64}, {"--keys", "0"});
}

TEST_F(ChurnLive, DynamicValues) {
    walkWhile({.stable = 500, .growFrom = 1024, .dynamic = true}, {"--keys", "3000"});
}

TEST_F(ChurnLive, DynamicValuesInFewBuckets) {
    walkWhile({.stable = 20, .growFrom = 4, .dynamic = true}, {"--keys", "40"});
}

TEST_F(ChurnLive, WithConquerQueues) {
    walkWhile({.stable = 100, .growFrom = 64}, {"--keys", "1000", "--conquer"});
}

TEST_F(ChurnLive, GrowingStatic) {
    walkGrowing({.stable = 10, .growFrom = 16}, {"--keys", "100000"});
}

TEST_F(ChurnLive, GrowingDynamic) {
    walkGrowing({.stable = 10, .growFrom = 16, .dynamic = true}, {"--keys", "100000"});
}

TEST_F(ChurnLive, GrowingFromOne) {
    walkGrowing({.stable = 1, .growFrom = 1, .dynamic = true}, {"--keys", "2000"});
}

TEST_F(ChurnLive, NewIncarnationsInPlaceOfTheOld) {
    for (const bool dynamic : {false, true}) {
        const Churn churn{
            .stable = 200, .growFrom = 64, .dynamic = dynamic, .collection = dynamic ? "dynamic" : "static"};
        sequences_.clear();
        {
            const auto first = startWriter(churn, {"--keys", "500", "--seconds", "0.05"});
            ASSERT_NE(first, nullptr);
            expectClean(first->wait());
        }
        for (const Timer timer(seconds() / 2); !timer.over() && !HasFailure();) {
            Process writer(Programs::writer(), {"churn", churn.collection, "--restart", "--rate", "0", "--keys", "500",
                                                "--stable", "200", "--grow-from", "64", "--seconds", "0.01"});
            writer.environment("Q7_CHROOT", root_.path()).limitSeconds(60);
            writer.start();
            while (writer.running() && walk(churn)) {
            }
            const Outcome outcome = writer.wait();
            expectClean(outcome);
            EXPECT_EQ(outcome.status, 0) << outcome.describe();
        }
    }
    report();
}

} // namespace
