#include "Norvu/Exception.h"
#include "writer/ChurnValue.h"
#include "writer/program/Command.h"
#include "writer/program/Stop.h"

#include <algorithm>
#include <chrono>
#include <random>

namespace Halyx::Writer {

namespace {

using Clock = std::chrono::steady_clock;

struct ChurnPlan {
    std::uint64_t stable = 0; ///< keys 0 to stable - 1 are never erased
    std::uint64_t keys = 0;   ///< the keys after those come and go
    std::uint64_t rate = 0;   ///< operations a second; 0: as many as can be
    double seconds = -1;      ///< negative: until stopped
    std::uint64_t seed = 0;
    bool dynamic = false;
};

/// Makes random changes: of ten operations, four store a coming and going key, two erase one, and four replace a stable one
/// (or store one more of the others when there are none).
class Churn {
public:
    Churn(halyx::Writer& writer, const ChurnPlan& plan) : writer_(&writer), plan_(plan), random_(plan.seed) {}

    /// Goes on counting behind the values that a restarted collection has.
    void resume() {
        writer_->forEach([this](std::string_view bytes) {
            ChurnHead head{};
            if (readChurnValue(bytes, plan_.dynamic, head)) {
                sequence_ = std::max(sequence_, head.sequence);
            }
        });
    }

    void insertStable(const Stop& stop) {
        for (std::uint64_t key = 0; key < plan_.stable; ++key) {
            if (stop.requested()) {
                Norvu::RuntimeException::throwException("interrupted before all stable keys were stored");
            }
            store(key);
        }
    }

    /// Stores that failed because the table or the disk was full.
    [[nodiscard]] std::uint64_t refused() const { return refused_; }

    void step() {
        const std::uint64_t dice = random_() % 10;
        if (dice < 4 && plan_.stable != 0) {
            tryToStore(random_() % plan_.stable);
        } else if (plan_.keys == 0) {
            return;
        } else if (dice >= 8) {
            const std::uint64_t key = volatileKey();
            char bytes[sizeof key];
            std::memcpy(bytes, &key, sizeof key);
            writer_->erase({bytes, sizeof bytes});
        } else {
            tryToStore(volatileKey());
        }
    }

    /// Makes changes until the time is over or a stop is requested; their number.
    std::uint64_t run(const Stop& stop) {
        const Clock::time_point begin = Clock::now();
        std::uint64_t done = 0;
        while (!stop.requested()) {
            const double elapsed = std::chrono::duration<double>(Clock::now() - begin).count();
            if (plan_.seconds >= 0 && elapsed >= plan_.seconds) {
                break;
            }
            std::uint64_t due = kBatch;
            if (plan_.rate != 0) {
                const auto target = static_cast<std::uint64_t>(elapsed * static_cast<double>(plan_.rate)) + 1;
                if (target <= done) {
                    const double next = static_cast<double>(done) / static_cast<double>(plan_.rate) - elapsed;
                    const double left = plan_.seconds >= 0 ? plan_.seconds - elapsed : next;
                    stop.wait(std::max(std::min(next, left), kShortestWait));
                    continue;
                }
                due = std::min(target - done, kBatch);
            }
            for (std::uint64_t i = 0; i < due; ++i) {
                step();
            }
            done += due;
        }
        return done;
    }

private:
    static constexpr std::uint64_t kBatch = 1024;
    static constexpr double kShortestWait = 0.001;

    std::uint64_t volatileKey() { return plan_.stable + random_() % plan_.keys; }

    void tryToStore(std::uint64_t key) {
        try {
            store(key);
        } catch (const halyx::FullError&) {
            ++refused_;
        }
    }

    void store(std::uint64_t key) {
        char buffer[kChurnMostBytes];
        const std::uint32_t length =
            plan_.dynamic
                ? kChurnHeadSize + static_cast<std::uint32_t>(random_() % (kChurnMostBytes - kChurnHeadSize + 1))
                : kChurnHeadSize;
        const std::string_view value = makeChurnValue(buffer, key, ++sequence_, length, plan_.dynamic);
        writer_->put(churnKeyOf(value), value);
    }

    halyx::Writer* writer_;
    ChurnPlan plan_;
    std::mt19937_64 random_;
    std::uint64_t sequence_ = 0;
    std::uint64_t refused_ = 0;
};

class ChurnCommand : public Command {
public:
    const char* name() const override { return "churn"; }
    const char* summary() const override {
        return "Inserts, replaces and erases elements at random, whose values can be checked.";
    }
    const char* description() const override {
        return "A value of type ChurnValue, or ChurnRecord with --dynamic, has its key, a sequence number and a "
               "checksum;\n"
               "halyx-writer(1) says where. Stable keys are 0 to N - 1, the others follow. A full table or disk is "
               "counted\n"
               "and the writing goes on. A summary is printed at the end.\n";
    }
    std::vector<OptionDescription> options() const override {
        return {
            {"--keys", "N", "keys that come and go; default 10000"},
            {"--stable", "N", "keys that are there from the beginning, replaced but never erased; default 0"},
            {"--rate", "N", "operations a second; default 1000; 0: as fast as can be"},
            {"--seconds", "S", "how long; default: until stopped"},
            {"--seed", "N", "of the random numbers; default 1"},
            {"--dynamic", "", "values of 24 to 256 bytes in slabs instead of 24 bytes in slots"},
            {"--conquer", "", "with notification queues"},
            {"--notifications", "N", "notifications of each queue to begin with; default: as --grow-from"},
            {"--grow-from", "N", "buckets, slots and slab entries to begin with; default 16"},
            {"--max-slots", "N", "the most slots that it may ever have; default: what a file can hold"},
            {"--restart", "", "go on with the elements of an existing collection of this kind, as a new incarnation"},
        };
    }
    int run(const Arguments& arguments, const Stop& stop) const override {
        ChurnPlan plan;
        plan.keys = arguments.number("--keys", 10000, 0, 1ULL << 32);
        plan.stable = arguments.number("--stable", 0, 0, 1ULL << 32);
        plan.rate = arguments.number("--rate", 1000, 0, 1000000000);
        plan.seconds = arguments.seconds("--seconds", -1);
        plan.seed = arguments.number("--seed", 1, 0, ~std::uint64_t{0});
        plan.dynamic = arguments.has("--dynamic");
        if (plan.keys == 0 && plan.stable == 0) {
            throw UsageError("there must be keys: --keys or --stable");
        }

        halyx::Options options;
        options.valueType = plan.dynamic ? kDynamicChurnType : kChurnType;
        options.classType = "Churn";
        options.valueSize = plan.dynamic ? kChurnMostBytes : kChurnHeadSize;
        options.dynamic = plan.dynamic;
        options.conquer = arguments.has("--conquer");
        const std::uint32_t from = arguments.number32("--grow-from", 16, 1, 1U << 27);
        options.buckets = from;
        options.slots = from;
        options.slabEntries = from;
        options.notifications = arguments.number32("--notifications", from, 1);
        options.maxNotifications = std::max(options.notifications, kMostNotifications);
        options.maxSlots = arguments.number32("--max-slots", 0, 1);
        options.keyOf = churnKeyOf;

        const std::string& name = arguments.operands()[0];
        const bool restart = arguments.has("--restart");
        if (restart && halyx::Writer::valueTypeOf(name) == kDynamicChurnType) {
            options.valueType = kDynamicChurnType; // it goes on as it was, whatever is asked for
        }
        halyx::Writer writer = restart ? halyx::Writer::open(name, options) : halyx::Writer::create(name, options);
        plan.dynamic = writer.options().dynamic;
        Churn churn(writer, plan);
        churn.resume();
        churn.insertStable(stop);
        if (!restart) {
            writer.publish();
        }
        printReady(name);
        const std::uint64_t operations = churn.run(stop);
        const halyx::Stats stats = writer.stats();
        writer.close();
        print(summaryOf(plan, operations, churn.refused(), stats));
        return 0;
    }

private:
    /// Enough that a reader can copy a queue before the writer has come round to it again.
    static constexpr std::uint32_t kMostNotifications = 65536;

    static std::string summaryOf(const ChurnPlan& plan, std::uint64_t operations, std::uint64_t refused,
                                 const halyx::Stats& stats) {
        const auto text = [](std::uint64_t number) { return std::to_string(number); };
        return "seed " + text(plan.seed) + ", operations " + text(operations) + ": inserted " + text(stats.inserted) +
               ", replaced " + text(stats.replaced) + ", erased " + text(stats.erased) + ", refused " + text(refused) +
               "\nelements " + text(stats.elements) + ", slots " + text(stats.slots) + ", buckets " +
               text(stats.buckets) + "\ngrowths: slots " + text(stats.slotGrowths) + ", buckets " +
               text(stats.bucketGrowths) + ", slabs " + text(stats.slabGrowths) + ", queues " +
               text(stats.queueGrowths) + "; queue switches " + text(stats.queueSwitches) + "\n";
    }
};

} // namespace

const Command& churnCommand() {
    static const ChurnCommand command;
    return command;
}

} // namespace Halyx::Writer
