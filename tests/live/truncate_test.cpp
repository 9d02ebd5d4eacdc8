// Files cut short under a running walk: the tool ends by itself, and prints nothing that was not there.

#include "live/KnownCollections.h"
#include "live/LiveTest.h"

#include <csignal>
#include <unistd.h>

using namespace Fixtures;
using namespace KnownCollections;

namespace {

class TruncateLive : public LiveTest {
protected:
    /// Starts a walk, waits for its first line, lets `change` have the files while the walk waits for a reader of its
    /// output, and reads on. Every bucket must have its elements or be said to be corrupt.
    WalkOutput walkThrough(const std::function<void()>& change) {
        Process& process = prepare({"c"});
        process.start();
        std::string line;
        EXPECT_TRUE(process.readLine(line, 60));
        change();
        const Outcome outcome = process.wait();
        expectClean(outcome);
        EXPECT_TRUE(outcome.status == 0 || (outcome.status == 1 && !outcome.err.empty())) << outcome.describe();
        WalkOutput output = WalkOutput::parse(outcome.out);
        elements_ += output.elements.size();
        EXPECT_TRUE(output.strange.empty()) << output.strange[0];
        EXPECT_EQ(wrongWith(output, outcome.status == 0, plainText), "") << outcome.describe();
        return output;
    }
};

TEST_F(TruncateLive, SlotsCutToNothing) {
    const Collection c = numbers().build(root_, "c");
    const WalkOutput output = walkThrough([&] { c.truncate("slots", 0); });
    EXPECT_LT(output.elements.size(), kSlots);
}

TEST_F(TruncateLive, BucketsCutToNothing) {
    const Collection c = numbers().build(root_, "c");
    const WalkOutput output = walkThrough([&] { c.truncate("buckets", 0); });
    EXPECT_LT(output.elements.size(), kSlots);
}

TEST_F(TruncateLive, SlabsCutToNothing) {
    const Collection c = payloads().build(root_, "c");
    const WalkOutput output = walkThrough([&] { c.truncate("slab0", 0); });
    EXPECT_FALSE(output.corruptions.empty());
}

TEST_F(TruncateLive, FilesCutAnywhere) {
    const CollectionBuilder builder = numbers();
    const CollectionBuilder dynamic = payloads();
    for (const Timer timer(seconds()); !timer.over() && !HasFailure();) {
        const bool isDynamic = random_() % 2 == 0;
        const Collection c = (isDynamic ? dynamic : builder).build(root_, "c");
        const std::vector<std::string> files = isDynamic ? std::vector<std::string>{"slots", "buckets", "slab0"}
                                                         : std::vector<std::string>{"slots", "buckets"};
        const std::string file = files[random_() % files.size()];
        const std::size_t size = c.bytes(file).size();
        const std::size_t cut = random_() % size;
        SCOPED_TRACE("seed " + std::to_string(seed_) + ": " + file + " cut from " + std::to_string(size) + " to " +
                     std::to_string(cut));
        walkThrough([&] {
            ::usleep(static_cast<useconds_t>(random_() % 3000));
            c.truncate(file, cut);
        });
        c.remove(file);
        ++walks_;
    }
    report();
}

TEST_F(TruncateLive, FilesRemovedAreStillThere) {
    const Collection c = numbers().build(root_, "c");
    const WalkOutput output = walkThrough([&] {
        c.remove("slots");
        c.remove("buckets");
    });
    EXPECT_EQ(output.elements.size(), kSlots);
    EXPECT_TRUE(output.corruptions.empty());
}

/// The first write that finds nobody ends it, as it ends every program that does not ask otherwise.
TEST_F(TruncateLive, AWalkWhoseReaderIsGoneEnds) {
    numbers().build(root_, "c");
    std::signal(SIGPIPE, SIG_DFL); // which a program inherits
    Process& process = prepare({"c"});
    process.start();
    std::string line;
    ASSERT_TRUE(process.readLine(line, 60));
    process.closeOutput();
    const Outcome outcome = process.wait();
    EXPECT_FALSE(outcome.hung);
    EXPECT_EQ(outcome.signal, SIGPIPE) << outcome.describe();
    EXPECT_EQ(outcome.err, "");
}

} // namespace
