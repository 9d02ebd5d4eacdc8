// Every report beside a writer, as two threads of one process that have the files at the same addresses, so that the thread
// sanitizer sees every access of the one beside every access of the other. HALYX_LIVE_SECONDS is how long each case goes on.

#include "HalyxClientScanner.h"
#include "HalyxScanner.h"
#include "Mem/RootPath.h"
#include "Mem/Shared.h"
#include "Norvu/Exception.h"
#include "fixtures/GoneSlab.h"
#include "fixtures/Process.h"
#include "fixtures/QueueOutput.h"
#include "fixtures/WalkOutput.h"
#include "race/OneAddress.h"
#include "unit/ReaderTest.h"
#include "writer/ChurnValue.h"
#include "writer/Collection.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <thread>
#include <unistd.h>

using namespace Fixtures;
using Halyx::Writer::ChurnHead;

namespace {

constexpr const char* kAsTheRacer = "HALYX_RACE_SELF";

double seconds() {
    const char* const text = std::getenv("HALYX_LIVE_SECONDS");
    const double value = text != nullptr ? std::strtod(text, nullptr) : 0;
    return value > 0 ? value : 5;
}

/// Changes one incarnation of the collection after the other, each of which grows from next to nothing.
class Churner {
public:
    static constexpr std::uint64_t kStable = 20; ///< keys 0 to kStable - 1 are always there

    Churner(bool dynamic, unsigned seed) : dynamic_(dynamic), random_(seed) {}

    /// An incarnation that is in place when this returns.
    void begin(bool restarted) {
        Halyx::Writer::Options options;
        options.valueType = dynamic_ ? Halyx::Writer::kDynamicChurnType : Halyx::Writer::kChurnType;
        options.classType = "Race";
        options.valueSize = dynamic_ ? Halyx::Writer::kChurnMostBytes : Halyx::Writer::kChurnHeadSize;
        options.dynamic = dynamic_;
        options.conquer = true;
        options.buckets = options.slots = options.slabEntries = options.notifications = 4;
        options.maxNotifications = 256;
        options.keyOf = Halyx::Writer::churnKeyOf;
        ++changes_;
        collection_.reset(); // whose lock the next one needs
        if (restarted) {
            collection_ = Halyx::Writer::Collection::restart("race", options);
            ++changes_;
            return;
        }
        collection_ = std::make_unique<Halyx::Writer::Collection>("race", options);
        for (std::uint64_t key = 0; key < kStable; ++key) {
            put(key);
        }
        collection_->publish();
        ++changes_;
    }

    /// Odd while there is no writer between two incarnations.
    [[nodiscard]] unsigned changes() const { return changes_; }

    void run(const std::atomic<bool>& stop) {
        constexpr std::uint64_t steps = 20000;
        for (unsigned incarnation = 1; !stop; ++incarnation) {
            // The range of keys widens, so that the tables grow all the time.
            for (std::uint64_t step = 0; !stop && step < steps; ++step) {
                change(random_() % (2 * kStable + step / 20));
            }
            const Halyx::Writer::Stats stats = collection_->stats();
            growths += stats.slotGrowths + stats.bucketGrowths + stats.slabGrowths + stats.queueGrowths;
            switches += stats.queueSwitches;
            if (!stop) {
                begin(incarnation % 3 == 0);
                ++incarnations;
            }
        }
        collection_.reset();
    }

    std::uint64_t growths = 0;
    std::uint64_t switches = 0;
    unsigned incarnations = 1;

private:
    void change(std::uint64_t key) {
        if (key >= kStable && random_() % 3 == 0) {
            char bytes[sizeof key];
            std::memcpy(bytes, &key, sizeof key);
            collection_->erase({bytes, sizeof bytes});
        } else {
            put(key);
        }
    }

    void put(std::uint64_t key) {
        char buffer[Halyx::Writer::kChurnMostBytes];
        const auto length = static_cast<std::uint32_t>(dynamic_ ? 24 + random_() % 233 : 24);
        const std::string_view value = Halyx::Writer::makeChurnValue(buffer, key, ++sequence_, length, dynamic_);
        collection_->put(Halyx::Writer::churnKeyOf(value), value);
    }

    bool dynamic_;
    std::mt19937 random_;
    std::uint64_t sequence_ = 0;
    std::atomic<unsigned> changes_{0};
    std::unique_ptr<Halyx::Writer::Collection> collection_;
};

class ReportsRace : public ReaderTest, public ::testing::WithParamInterface<bool> {
protected:
    std::string report(std::vector<std::string> arguments) {
        const std::string file = root_.file("report");
        arguments.insert(arguments.begin(), {"halyx", "-f", file});
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        EXPECT_EQ(Halyx::main(static_cast<int>(arguments.size()), pointers.data()), 0) << arguments.back();
        return readFile(file);
    }

    /// What a walk printed, and whether it came to its end: a slab that went with its incarnation may end it.
    std::pair<std::string, bool> walk(const std::vector<std::string>& arguments) {
        try {
            return {report(arguments), true};
        } catch (const Norvu::MemoryResourceException& error) {
            EXPECT_TRUE(GetParam() && tellsOfGoneSlab(error.what(), Halyx::collectionsRoot() + "/race"))
                << error.what();
            ++endedEarly_;
            return {readFile(root_.file("report")), false};
        }
    }

    /// Of a process table that holds this process under its number alone: the tool is not made to be its own client, and the
    /// real table has it as "self", too.
    template <typename Report>
    std::string clientReport(const Report& run) {
        const std::string file = root_.file("report");
        const std::string proc = root_.file("proc");
        const std::string pid = std::to_string(::getpid());
        if (!exists(proc)) {
            makeDirectories(proc);
            std::filesystem::create_symlink("/proc/" + pid, proc + "/" + pid);
        }
        {
            Halyx::HalyxClientScanner scanner(file, "race", proc);
            EXPECT_TRUE(scanner.initialize());
            EXPECT_EQ(run(scanner), 0);
        }
        return readFile(file);
    }

    /// This process is the writer, but for the time between two incarnations.
    template <typename Report>
    void checkClients(const Churner& churner, const Report& run) {
        const unsigned before = churner.changes();
        const std::string clients = clientReport(run);
        if (before % 2 != 0 || churner.changes() != before) {
            return;
        }
        EXPECT_NE(clients.find("Writer: "), std::string::npos) << clients;
        EXPECT_NE(clients.find("-" + std::to_string(::getpid()) + "("), std::string::npos) << clients;
        ++clientReports_;
    }

    void checkWalk(const std::string& text, bool ended) {
        const WalkOutput output = WalkOutput::parse(text);
        ASSERT_TRUE(output.strange.empty()) << output.strange[0];
        ASSERT_TRUE(output.corruptions.empty()) << output.corruptions[0].reason;
        std::uint64_t stable = 0;
        std::string bytes;
        for (const WalkOutput::Element& element : output.elements) {
            ChurnHead head{};
            ASSERT_TRUE(bytesFromHex(element.text, bytes)) << element.text;
            ASSERT_TRUE(Halyx::Writer::readChurnValue(bytes, GetParam(), head)) << element.text;
            stable += head.key < Churner::kStable ? 1U : 0U;
        }
        if (ended) {
            ASSERT_EQ(stable, Churner::kStable);
        } else {
            ASSERT_LE(stable, Churner::kStable);
        }
        elements_ += output.elements.size();
    }

    std::size_t elements_ = 0;
    unsigned clientReports_ = 0; ///< beside one writer all the time
    unsigned endedEarly_ = 0;    ///< walks, for a slab that was gone
};

TEST_P(ReportsRace, BesideAWriterThread) {
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    Churner churner(GetParam(), seed);
    churner.begin(false);
    const std::size_t sharedBefore = OneAddress::shared();
    const std::size_t grownBefore = OneAddress::grown();

    std::atomic<bool> stop{false};
    std::thread writer([&] { churner.run(stop); });
    unsigned rounds = 0;
    const auto begin = std::chrono::steady_clock::now();
    while (!HasFailure() &&
           (clientReports_ == 0 ||
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count() < seconds())) {
        const auto [text, ended] = walk({"race"});
        checkWalk(text, ended);
        walk({"-e", "-p", "race"});
        walk({"-e", "-j", "race"});
        EXPECT_NE(report({"-x", "race"}).find("Conquer header:"), std::string::npos);
        for (const QueueOutput& queues :
             {QueueOutput::parse(report({"-q", "race"})), QueueOutput::parse(report({"-q", "-v", "race"}))}) {
            EXPECT_EQ(queues.strange, "");
        }
        checkClients(churner, [](auto& scanner) { return scanner.doGetClientInfo(); });
        checkClients(churner, [](auto& scanner) { return scanner.doGetAllClientInfo(); });
        checkClients(churner, [](auto& scanner) { return scanner.doGetTableInfo(::getpid()); });
        ++rounds;
    }
    stop = true;
    writer.join();
    std::printf("%u times all reports, %zu elements, %u walks ended for a gone slab; %u incarnations, %llu growths, "
                "%llu switches; "
                "%zu mappings shared\n",
                rounds, elements_, endedEarly_, churner.incarnations, static_cast<unsigned long long>(churner.growths),
                static_cast<unsigned long long>(churner.switches), OneAddress::shared() - sharedBefore);
    EXPECT_GT(elements_, 0U);
    EXPECT_GT(clientReports_, 0U);
    EXPECT_GT(churner.growths, 0U);
    EXPECT_GT(churner.switches, 0U);
    EXPECT_GT(OneAddress::shared(), sharedBefore) << "reader and writer were never at the same addresses";
    EXPECT_GT(OneAddress::grown(), grownBefore) << "no file grew while both had it";
}

INSTANTIATE_TEST_SUITE_P(StaticAndDynamic, ReportsRace, ::testing::Bool(),
                         [](const auto& kind) { return kind.param ? "Dynamic" : "Static"; });

/// What no reader of ours does.
__attribute__((noinline)) std::uint32_t readPlainly(const Mem::View& view, std::size_t offset) {
    return *(static_cast<const std::uint32_t*>(view.address()) + offset / sizeof(std::uint32_t));
}

/// Maps the file "slots" as the readers do and looks at the number of slots in use, which the writer thread changes.
void readBesideAWriter(bool plainly) {
    Churner churner(false, 1);
    churner.begin(false);
    std::atomic<bool> stop{false};
    std::thread writer([&] { churner.run(stop); });
    Mem::Shared file(Norvu::Platform::getDebugHandler("test"), (Halyx::collectionsRoot() + "/race").c_str(), "slots",
                     false, Mem::Shared::SHARED_DEFAULT_FLAGS, false);
    ASSERT_NE(file.attach(4096, Mem::Mode::ReadOnlyShared, true, {}), nullptr);
    std::uint32_t different = 0;
    std::uint32_t last = 0;
    for (unsigned round = 0; round < 100000; ++round) {
        constexpr std::size_t offset = offsetof(Halyx::Layout::SlotTableHeader, occupiedSlots);
        const std::uint32_t word = plainly ? readPlainly(file.view(), offset) : file.view().word(offset);
        different += word != last ? 1U : 0U;
        last = word;
    }
    stop = true;
    writer.join();
    std::printf("%u different words\n", different);
}

class RaceSelfCheck : public ReaderTest {
protected:
    /// This very test in a process of its own.
    static Outcome again(const char* how) {
        const auto& self = *::testing::UnitTest::GetInstance()->current_test_info();
        return Process("/proc/self/exe", {std::string("--gtest_filter=") + self.test_suite_name() + "." + self.name()})
            .environment(kAsTheRacer, how)
            .limitSeconds(100)
            .run();
    }
};

TEST_F(RaceSelfCheck, APlainReadBesideAWriterIsReported) {
    if (const char* const how = std::getenv(kAsTheRacer)) {
        readBesideAWriter(std::string(how) == "plainly");
        return;
    }
    const Outcome caught = again("plainly");
    EXPECT_NE(caught.status, 0) << caught.describe();
    EXPECT_NE(caught.err.find("data race"), std::string::npos) << caught.describe();
    EXPECT_NE(caught.err.find("readPlainly"), std::string::npos) << caught.describe();
    const Outcome clean = again("as the readers do");
    EXPECT_EQ(clean.status, 0) << clean.describe();
    EXPECT_EQ(clean.err, "");
}

} // namespace
