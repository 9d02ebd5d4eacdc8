// Files that are not what they should be: missing, empty, closed to us, no files at all, cut short, full of noise.

#include "cli/CliTest.h"
#include "fixtures/WalkOutput.h"

#include <random>
#include <sys/stat.h>
#include <unistd.h>

using namespace Fixtures;

namespace {

class Files : public CliTest {
protected:
    /// Expects the attach error and nothing else.
    void expectUnattached() { expectOutcome(halyx({"c"}), 1, "", attachError("c")); }
};

TEST_F(Files, Missing) {
    one("c").remove("slots");
    expectUnattached();
    one("c").remove("buckets");
    expectUnattached();
}

TEST_F(Files, Empty) {
    one("c").truncate("slots", 0);
    expectUnattached();
    one("c").truncate("buckets", 0);
    expectUnattached();
}

TEST_F(Files, Unreadable) {
    for (const std::string file : {"slots", "buckets"}) {
        const Collection c = one("c");
        ASSERT_EQ(::chmod(c.file(file).c_str(), 0), 0);
        expectOutcome(halyxUnprivileged({"c"}), 1, "", attachError("c"));
        c.remove(file);
    }
}

TEST_F(Files, UnreadableOutputDirectory) {
    one("c");
    makeDirectories(root_.file("closed"));
    ASSERT_EQ(::chmod(root_.file("closed").c_str(), 0), 0);
    const std::string file = root_.file("closed/out");
    expectOutcome(halyxUnprivileged({"-f", file, "c"}), 1, "",
                  "Error opening " + file + "\nFailed to initialize HalyxConquerScanner.\n");
    ASSERT_EQ(::chmod(root_.file("closed").c_str(), 0755), 0);
}

TEST_F(Files, Fifos) {
    for (const std::string file : {"slots", "buckets"}) {
        const Collection c = one("c");
        c.replaceWithFifo(file);
        expectUnattached();
        c.remove(file);
    }
}

TEST_F(Files, Directories) {
    for (const std::string file : {"slots", "buckets"}) {
        const Collection c = one("c");
        c.replaceWithDirectory(file);
        expectUnattached();
        ASSERT_EQ(::rmdir(c.file(file).c_str()), 0);
    }
}

TEST_F(Files, Links) {
    for (const std::string file : {"slots", "buckets"}) {
        const Collection c = one("c");
        c.replaceWithLink(file);
        expectUnattached();
        c.remove(file);
    }
}

TEST_F(Files, Devices) {
    for (const std::string file : {"slots", "buckets"}) {
        const Collection c = one("c");
        if (!c.replaceWithDevice(file)) {
            GTEST_SKIP() << "this user may not make devices";
        }
        expectUnattached();
        c.remove(file);
    }
}

TEST_F(Files, OthersInTheDirectoryDoNotMatter) {
    const Collection c = one("c");
    c.replace("fenix", "not a fenix file");
    c.replace("conquer.1", "");
    c.replace("conquer.2", std::string(10000, '\xff'));
    c.replace("slab0", "");
    c.replace("slab32", "");
    expectOutcome(halyx({"c"}), 0, oneWalk(), "");
}

TEST_F(Files, ThatAreMuchTooLong) {
    const Collection c = one("c");
    for (const std::string file : {"slots", "buckets"}) {
        if (::truncate(c.file(file).c_str(), static_cast<off_t>(std::uint64_t{5} << 30)) != 0) {
            GTEST_SKIP() << "no file of this size can be made here";
        }
    }
    expectOutcome(halyx({"c"}), 0, oneWalk(), "");
}

TEST_F(Files, SparseBucketTablesAreWalkedWhole) {
    CollectionBuilder builder(1, 1);
    builder.fillNumbers();
    builder.bucketsHeader.numBuckets.value = 200000;
    const Collection c = builder.build(root_, "c");
    c.truncate("buckets", 32 + 8 * 200000);
    const Outcome outcome = halyx({"c"}); // every other bucket has slot 0 at its head
    expectClean(outcome);
    EXPECT_EQ(WalkOutput::parse(outcome.out).elements.size(), 200000U);
}

TEST_F(Files, AreNeverWritten) {
    const Collection c = CollectionBuilder(3, 5).fillNumbers().build(root_, "c");
    const std::string slots = c.bytes("slots");
    const std::string buckets = c.bytes("buckets");
    for (const std::string file : {"slots", "buckets"}) {
        ASSERT_EQ(::chmod(c.file(file).c_str(), 0444), 0);
    }
    const Outcome outcome = halyxUnprivileged({"c"});
    EXPECT_EQ(outcome.status, 0) << outcome.describe();
    EXPECT_EQ(c.bytes("slots"), slots);
    EXPECT_EQ(c.bytes("buckets"), buckets);
}

class Noise : public CliTest {
protected:
    Noise() : seed_(std::random_device{}()), random_(seed_) { RecordProperty("seed", std::to_string(seed_)); }

    std::uint32_t any() { return static_cast<std::uint32_t>(random_()); }

    std::string bytes(std::size_t size) {
        std::string noise(size, '\0');
        for (char& c : noise) {
            c = static_cast<char>(any());
        }
        return noise;
    }

    /// Whatever was printed, the program must have ended by itself, soon, with a status of its own.
    void expectSurvives() {
        const Outcome outcome = prepare({any() % 2 == 0 ? "-p" : "-j", "c"})->limitSeconds(30).run();
        expectClean(outcome);
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << outcome.describe();
        if (HasFailure()) {
            FAIL() << "seed " << seed_;
        }
    }

    unsigned seed_;
    std::mt19937 random_;
};

TEST_F(Noise, InPlaceOfAnyFile) {
    for (int round = 0; round < 60 && !HasFatalFailure(); ++round) {
        const Collection c = one("c");
        c.replace(round % 2 == 0 ? "slots" : "buckets", bytes(any() % 5000));
        expectSurvives();
    }
}

TEST_F(Noise, BehindSoundHeaders) {
    for (int round = 0; round < 150 && !HasFatalFailure(); ++round) {
        CollectionBuilder builder(8, 16);
        builder.fillNumbers();
        if (round % 2 == 0) {
            builder.dynamic().valueType("Payload", 64).slab(0, 72, {"a", "b", "c"}).slab(1, 40, {"x"});
        }
        const Collection c = builder.build(root_, "c");
        for (unsigned change = 0; change < 1 + any() % 6; ++change) {
            const std::size_t slot = 216 + 24 * (any() % 16);
            c.corrupt32("slots", slot + 4 * (any() % 6), any() % 3 == 0 ? any() : any() % 20);
            c.corrupt32("buckets", 32 + 8 * (any() % 8) + 4, any() % 20);
            if (round % 2 == 0) {
                c.corrupt32("slab0", 40 + 4 * (any() % 50), any());
            }
        }
        expectSurvives();
    }
}

TEST_F(Noise, InAnyWordOfAnyHeaderWithItsChecksumMadeToFit) {
    for (int round = 0; round < 250 && !HasFatalFailure(); ++round) {
        CollectionBuilder builder(8, 16);
        builder.fillNumbers();
        if (round % 3 != 0) {
            builder.dynamic().valueType("Payload", 64).slab(0, 72, {"a", "b", "c"});
        }
        const Collection c = builder.build(root_, "c");
        const std::uint32_t word = any() % 2 == 0 ? any() : 1U << any() % 32;
        c.corrupt32("slots", 148 + 4 * (any() % 17), word);
        c.corrupt32("slots", 164, slotsChecksum(fromBytes<Halyx::Layout::SlotTableHeader>(c.bytes("slots"))));
        if (any() % 2 == 0) {
            c.corrupt32("buckets", 16 + 4 * (any() % 4), word);
        }
        if (round % 3 == 1) {
            c.corrupt32("slab0", 16 + 4 * (any() % 4), word);
            c.corrupt32("slab0", 32, fnv1a(c.bytes("slab0").substr(28, 4)));
        }
        expectSurvives();
    }
}

} // namespace
