// A reader and a writer thread in one process: the thread sanitizer sees both sides, and every value is checked.

#include "Halyx/HalyxReaderGeneric.h"
#include "unit/ReaderTest.h"
#include "writer/ChurnValue.h"
#include "writer/Collection.h"

#include <atomic>
#include <random>
#include <thread>

namespace {

using Halyx::Writer::ChurnHead;

/// Checks every value as it comes.
class Checker final : public Halyx::HalyxReaderGeneric::ScanHandler {
public:
    explicit Checker(bool dynamic) : ScanHandler(buffer_), dynamic_(dynamic) {}

    bool done(unsigned, const Halyx::SlotLink&) override {
        stable_ += pendingStable_;
        pendingStable_ = 0;
        return true;
    }
    bool handleSlot(unsigned bucket, const Halyx::SlotLink&, bool, unsigned, unsigned length) override {
        ChurnHead head{};
        if (!Halyx::Writer::readChurnValue({buffer_, length}, dynamic_, head)) {
            complaint = "a value in bucket " + std::to_string(bucket) + " was never written so";
            return false;
        }
        pendingStable_ += head.key < 20 ? 1U : 0U;
        ++elements;
        return true;
    }
    void handleCorruption(unsigned bucket, const std::string& reason) override {
        complaint = "bucket " + std::to_string(bucket) + ": " + reason;
    }
    void handleResize() override { stable_ = pendingStable_ = 0; }
    bool restart(unsigned) override {
        pendingStable_ = 0;
        return true;
    }

    [[nodiscard]] unsigned stable() const { return stable_; }
    std::string complaint;
    std::size_t elements = 0;

private:
    char buffer_[Halyx::Writer::kChurnMostBytes] = {};
    bool dynamic_;
    unsigned stable_ = 0;
    unsigned pendingStable_ = 0; ///< of the bucket that is being walked
};

class ScanRaceTest : public ReaderTest, public ::testing::WithParamInterface<bool> {};

TEST_P(ScanRaceTest, BelievesNothingThatWasNeverWritten) {
    const bool dynamic = GetParam();
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    Halyx::Writer::Options options;
    options.valueType = Halyx::Writer::kChurnType;
    options.classType = "Race";
    options.valueSize = dynamic ? Halyx::Writer::kChurnMostBytes : Halyx::Writer::kChurnHeadSize;
    options.dynamic = dynamic;
    options.buckets = options.slots = options.slabEntries = 4;
    options.keyOf = Halyx::Writer::churnKeyOf;

    Halyx::Writer::Collection collection("race", options);
    std::mt19937 random(seed);
    std::uint64_t sequence = 0;
    const auto put = [&](std::uint64_t key) {
        char buffer[Halyx::Writer::kChurnMostBytes];
        const auto length = static_cast<std::uint32_t>(dynamic ? 24 + random() % 233 : 24);
        const std::string_view value = Halyx::Writer::makeChurnValue(buffer, key, ++sequence, length, dynamic);
        collection.put(Halyx::Writer::churnKeyOf(value), value);
    };
    for (std::uint64_t key = 0; key < 20; ++key) {
        put(key);
    }
    collection.publish();

    std::atomic<bool> stop{false};
    std::thread writer([&] {
        // The range of keys widens, so that the tables grow during the whole test.
        for (std::uint64_t step = 0; !stop; ++step) {
            const std::uint64_t key = random() % (40 + step / 50);
            if (key >= 20 && random() % 3 == 0) {
                char bytes[sizeof key];
                std::memcpy(bytes, &key, sizeof key);
                collection.erase({bytes, sizeof bytes});
            } else {
                put(key);
            }
        }
    });
    std::size_t elements = 0;
    for (int round = 0; round < 200 && !HasFailure(); ++round) {
        Halyx::HalyxReaderGeneric reader("race");
        EXPECT_TRUE(reader.buckets().attach());
        EXPECT_TRUE(reader.slots().attach());
        reader.slots().doResize();
        reader.buckets().doResize();
        Checker checker(dynamic);
        reader.scan(checker, 0, 0xffffffff, Halyx::Direction::Up, true);
        EXPECT_EQ(checker.complaint, "") << "seed " << seed << " round " << round;
        EXPECT_EQ(checker.stable(), 20U) << "seed " << seed << " round " << round;
        elements += checker.elements;
    }
    stop = true;
    writer.join();
    std::printf("%zu elements, %llu changes\n", elements, static_cast<unsigned long long>(sequence));
}

INSTANTIATE_TEST_SUITE_P(StaticAndDynamic, ScanRaceTest, ::testing::Bool(),
                         [](const auto& kind) { return kind.param ? "Dynamic" : "Static"; });

} // namespace
