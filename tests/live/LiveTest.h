#pragma once

#include "fixtures/Bytes.h"
#include "fixtures/CollectionBuilder.h"
#include "fixtures/Expect.h"
#include "fixtures/Process.h"
#include "fixtures/Programs.h"
#include "fixtures/QueueOutput.h"
#include "fixtures/ScratchRoot.h"
#include "fixtures/WalkOutput.h"
#include "writer/ChurnValue.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

/// Walks collections that halyx-writer keeps changing at full speed, and holds every line against what the writer can have
/// written. HALYX_LIVE_SECONDS is how long each case goes on (5 by default).
class LiveTest : public ::testing::Test {
protected:
    using Arguments = std::vector<std::string>;

    struct Churn {
        std::uint64_t stable = 0; ///< keys 0 to stable - 1 must be in every walk
        std::uint32_t growFrom = 16;
        bool dynamic = false;
        std::string collection = "live";
    };

    LiveTest() : seed_(std::random_device{}()), random_(seed_) {
        std::printf("seed %u\n", seed_);
        RecordProperty("seed", std::to_string(seed_));
    }

    static double seconds() {
        const char* text = std::getenv("HALYX_LIVE_SECONDS");
        const double value = text != nullptr ? std::strtod(text, nullptr) : 0;
        return value > 0 ? value : 5;
    }

    /// A clock that starts now and is over after `limit` seconds.
    class Timer {
    public:
        explicit Timer(double limit) : limit_(limit) {}
        [[nodiscard]] bool over() const { return passed() > limit_; }
        /// Over, or a minute over when what the case is about was not met until then: on a slow machine that takes luck.
        [[nodiscard]] bool over(bool met) const { return passed() > limit_ + (met ? 0 : 60); }

    private:
        [[nodiscard]] double passed() const {
            return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
        }

        std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
        double limit_;
    };

    /// A writer that churns as fast as it can; null, with a failure noted, when it does not get ready.
    std::unique_ptr<Fixtures::Process> startWriter(const Churn& churn, const Arguments& more) {
        Arguments arguments{"churn",       churn.collection,
                            "--rate",      "0",
                            "--seed",      std::to_string(random_() % 1000000),
                            "--grow-from", std::to_string(churn.growFrom),
                            "--stable",    std::to_string(churn.stable)};
        if (churn.dynamic) {
            arguments.push_back("--dynamic");
        }
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto writer = std::make_unique<Fixtures::Process>(Fixtures::Programs::writer(), arguments);
        writer->environment("Q7_CHROOT", root_.path());
        writer->start();
        std::string line;
        if (!writer->readLine(line, 60) || line != "ready " + churn.collection) {
            ADD_FAILURE() << "the writer is not ready: " << writer->stop().describe();
            return nullptr;
        }
        return writer;
    }

    static void stopWriter(Fixtures::Process& writer) {
        const Fixtures::Outcome outcome = writer.stop(60);
        Fixtures::expectClean(outcome);
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        EXPECT_EQ(outcome.err, "");
    }

    Fixtures::Process& prepare(const Arguments& arguments) {
        process_ = std::make_unique<Fixtures::Process>(Fixtures::Programs::halyx(), arguments);
        process_->environment("Q7_CHROOT", root_.path()).limitSeconds(120).keepAtMost(std::size_t{1} << 30);
        return *process_;
    }

    std::uint32_t bucketCount(const std::string& collection) {
        const auto bytes = Fixtures::readFile(root_.collections() + "/" + collection + "/buckets");
        return Fixtures::fromBytes<Halyx::Layout::BucketTableHeader>(bytes).numBuckets.value;
    }

    /// One walk, held against everything that is known of its writer. False when it was found false.
    bool walk(const Churn& churn) {
        const Fixtures::Outcome outcome = prepare({churn.collection}).run();
        check(churn, outcome);
        ++walks_;
        if (HasFailure()) {
            std::printf("seed %u, walk %u\n", seed_, walks_);
        }
        return !HasFailure();
    }

    void check(const Churn& churn, const Fixtures::Outcome& outcome) {
        using Fixtures::WalkOutput;
        Fixtures::expectClean(outcome);
        ASSERT_EQ(outcome.status, 0) << outcome.describe();
        ASSERT_EQ(outcome.err, "");
        const WalkOutput output = WalkOutput::parse(outcome.out);
        resizes_ += output.resizes;
        lookasideHits_ += std::strtoul(output.lookasideHits.c_str(), nullptr, 10);
        restarts_ += std::strtoul(output.chainRestarts.c_str(), nullptr, 10);
        elements_ += output.elements.size();
        ASSERT_TRUE(output.strange.empty()) << "a strange line: " << output.strange[0];
        ASSERT_TRUE(output.corruptions.empty())
            << "bucket " << output.corruptions[0].bucket << " corrupted: " << output.corruptions[0].reason;
        ASSERT_FALSE(output.lookasideHits.empty());
        ASSERT_FALSE(output.chainRestarts.empty());

        const std::uint32_t most = bucketCount(churn.collection);
        std::set<std::pair<std::uint64_t, std::uint64_t>> seen;
        std::set<std::pair<std::uint32_t, std::uint64_t>> inBucket;
        std::map<std::uint64_t, std::uint64_t> sequences;
        std::uint64_t stable = 0;
        std::string bytes;
        for (const WalkOutput::Element& element : output.elements) {
            ASSERT_TRUE(Fixtures::bytesFromHex(element.text, bytes)) << element.text;
            Halyx::Writer::ChurnHead head{};
            ASSERT_TRUE(Halyx::Writer::readChurnValue(bytes, churn.dynamic, head))
                << "bucket " << element.bucket << " slot " << element.slot << " was never written so: " << element.text;
            const std::uint32_t hash = Fixtures::fnv1a(bytes.substr(0, 8));
            bool atHome = false;
            for (std::uint64_t count = churn.growFrom; count <= most; count *= 2) {
                atHome = atHome || hash % count == element.bucket;
            }
            ASSERT_TRUE(atHome) << "key " << head.key << " in bucket " << element.bucket << " of " << most;
            ASSERT_TRUE(seen.emplace(head.key, head.sequence).second) << "key " << head.key << " twice";
            ASSERT_TRUE(inBucket.emplace(element.bucket, head.key).second)
                << "key " << head.key << " twice in its bucket";
            ASSERT_GE(head.sequence, sequences_[head.key])
                << "key " << head.key << " has become older since the last walk";
            std::uint64_t& newest = sequences[head.key];
            newest = std::max(newest, head.sequence);
            stable += head.key < churn.stable ? 1U : 0U;
        }
        ASSERT_EQ(stable, churn.stable) << "keys that were there all the time are missing, or there twice";
        sequences_ = std::move(sequences);
    }

    /// The identities that the headers of a header report carry, each as often as it is there.
    static std::multiset<std::string> identitiesIn(const std::string& text) {
        const std::string label = "\tFenix: ";
        std::multiset<std::string> fenixes;
        for (std::size_t at = text.find(label); at != std::string::npos; at = text.find(label, at + 1)) {
            fenixes.insert(text.substr(at + label.size(), text.find('\n', at) - at - label.size()));
        }
        return fenixes;
    }
    static std::set<std::string> fenixesIn(const std::string& text) {
        const auto all = identitiesIn(text);
        return {all.begin(), all.end()};
    }

    /// The last sequence number of a collection's valid notifications, 0 when it has none. A failure is noted unless those of
    /// both queues are one run.
    static std::uint64_t lastOfOneRun(const Fixtures::QueueOutput& output) {
        EXPECT_EQ(output.strange, "");
        if (output.queues.size() != 2) {
            ADD_FAILURE() << output.queues.size() << " queues";
            return 0;
        }
        const unsigned active = output.queues[0].active ? 0 : 1;
        std::uint64_t last = 0;
        for (const auto* queue : {&output.queues[1 - active], &output.queues[active]}) {
            EXPECT_EQ(queue->records.size(), queue->count);
            EXPECT_LE(queue->currentPos, queue->count);
            for (std::size_t i = 0; i < std::min<std::size_t>(queue->currentPos, queue->records.size()); ++i) {
                const auto& record = queue->records[i];
                EXPECT_TRUE(record.slot);
                EXPECT_EQ(record.sequence, last == 0 ? record.sequence : last + 1);
                last = record.sequence;
            }
        }
        return last;
    }

    /// What the walks of a case met, so that a case which met nothing worth its name is seen.
    void report() const {
        std::printf("%u walks, %zu elements, %lu lookaside hits, %lu chain restarts, %u resizes\n", walks_, elements_,
                    lookasideHits_, restarts_, resizes_);
    }

    Fixtures::ScratchRoot root_;
    unsigned seed_;
    std::mt19937 random_;
    std::unique_ptr<Fixtures::Process> process_;
    std::map<std::uint64_t, std::uint64_t> sequences_; ///< of each key in the walk before
    unsigned walks_ = 0;
    unsigned resizes_ = 0;
    std::size_t elements_ = 0;
    unsigned long lookasideHits_ = 0;
    unsigned long restarts_ = 0;
};
