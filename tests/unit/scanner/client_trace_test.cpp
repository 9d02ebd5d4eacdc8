// What the client reports trace. Which levels are traced is settled when a process makes its first handler, so every test runs
// itself once more, in a process whose environment asks for all of them.

#include "HalyxClientScanner.h"

#include "fixtures/Process.h"
#include "fixtures/Trace.h"
#include "unit/ReaderTest.h"
#include "unit/scanner/ProcTree.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <optional>

using namespace Fixtures;
using Halyx::HalyxClientScanner;
using Halyx::Model::HalyxClientList;
using Halyx::Model::HalyxTables;

namespace {

class ClientTraces : public ReaderTest {
protected:
    /// In the first process, the texts of the level that the scanner traced while `work` ran in the second; in the second,
    /// nothing: the test is over then. `work` is given the process table.
    std::optional<std::vector<std::string>> traced(int level,
                                                   const std::function<void(const std::string& proc)>& work) {
        if (const char* proc = std::getenv("HALYX_TEST_PROC")) {
            if (std::getenv("HALYX_TEST_LEVEL") == std::to_string(level)) {
                work(proc);
            }
            return {};
        }
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        Process again("/proc/self/exe",
                      {std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name()});
        again.environment("HALYX_TEST_PROC", proc_.path())
            .environment("HALYX_TEST_LEVEL", std::to_string(level))
            .environment("NORVU_TRACE", "HalyxScanner=" + std::to_string(level))
            .environment("NORVU_TRACE_FILE", root_.file("trace"));
        const Outcome outcome = again.run();
        EXPECT_EQ(outcome.status, 0) << outcome.describe();
        std::vector<std::string> texts;
        if (exists(root_.file("trace"))) {
            for (const TraceRecord& record : parseTrace(readFile(root_.file("trace")))) {
                EXPECT_EQ(record.handler, "HalyxScanner") << record.text;
                EXPECT_EQ(record.level, level) << record.text;
                texts.push_back(record.text);
            }
            std::filesystem::remove(root_.file("trace"));
        }
        return texts;
    }

    ProcTree proc_{root_.file("proc")};
};

using Texts = std::vector<std::string>;

const std::string kPrices = "/var/shmem/halyxes/prices";

TEST_F(ClientTraces, OfAMap) {
    proc_.process("4711", "/usr/bin/server",
                  ProcTree::line(kPrices + "/slots") + "1-2 rw-p 0 0:0 0 \n" + "1-2 rw-p 0 0:0 0 [heap]\n\n" +
                      ProcTree::line("/lib/c.so") + ProcTree::line(kPrices + "/fenix"));
    const auto work = [](const std::string& proc) {
        std::vector<std::string> records;
        HalyxClientScanner("", "prices", proc).extractMmapInfo(kPrices, proc + "/4711/maps", records);
    };
    if (const auto texts = traced(9, work)) {
        EXPECT_EQ(*texts,
                  (Texts{"mmapRegion: " + kPrices + "/slots", "halyxFileType: slots", "mmapRegion: [heap]",
                         "mmapRegion: /lib/c.so", "mmapRegion: " + kPrices + "/fenix", "halyxFileType: fenix"}));
    }
    if (const auto texts = traced(5, work)) {
        EXPECT_EQ(*texts,
                  (Texts{"Extracting mmap info for rootpath: " + kPrices + ", filePath: " + proc_.mapsOf("4711"),
                         "Added: 4711|server|r--s|slots|", "Added: 4711|server|r--s|fenix|"}));
    }
}

TEST_F(ClientTraces, OfAMapByTable) {
    proc_.process("4711", "/usr/bin/server",
                  ProcTree::line("/a/slots") + ProcTree::line("/a/x") + ProcTree::line("/b/fenix") +
                      ProcTree::line("/a/conquer.1"));
    const auto work = [](const std::string& proc) {
        HalyxClientScanner::TableToInfoMap map;
        HalyxClientScanner("", nullptr, proc).extractMmapInfoByTable("/r", proc + "/4711/maps", map);
    };
    if (const auto texts = traced(9, work)) {
        EXPECT_EQ(*texts,
                  (Texts{"mmapRegion: /a/slots", "halyxFileType: slots", "mmapRegion: /a/x", "mmapRegion: /b/fenix",
                         "halyxFileType: fenix", "mmapRegion: /a/conquer.1", "halyxFileType: conquer.1",
                         "Added to existing entry: tableName: /a, info: 4711|server|r--s|conquer.1|, "
                         "infoList.size: 2"}));
    }
    if (const auto texts = traced(5, work)) {
        EXPECT_EQ(*texts, (Texts{"Extracting mmap info by table for rootpath: /r, filePath: " + proc_.mapsOf("4711"),
                                 "Added new entry: tableName: /a, info: 4711|server|r--s|slots|",
                                 "Added new entry: tableName: /b, info: 4711|server|r--s|fenix|"}));
    }
}

TEST_F(ClientTraces, OfAProcessThatIsGone) {
    proc_.process("4711", "/usr/bin/server", "");
    std::filesystem::remove(proc_.mapsOf("4711"));
    if (const auto texts = traced(5, [](const std::string& proc) {
            std::vector<std::string> records;
            const HalyxClientScanner scanner("", "prices", proc);
            scanner.extractMmapInfo("/r", proc + "/4711/maps", records);
            scanner.extractMmapInfo("/r", proc + "/4712/maps", records);
        })) {
        EXPECT_EQ(*texts, (Texts{"Extracting mmap info for rootpath: /r, filePath: " + proc_.mapsOf("4711"),
                                 "file " + proc_.mapsOf("4711") + " no longer exists",
                                 "Extracting mmap info for rootpath: /r, filePath: " + proc_.mapsOf("4712"),
                                 "file " + proc_.path() + "/4712/exe no longer exists"}));
    }
}

TEST_F(ClientTraces, OfCommands) {
    proc_.commandLine("1", "/bin/first x");
    if (const auto texts = traced(5, [](const std::string& proc) {
            HalyxClientList clients{{1, "p", ""}, {2, "p", ""}, {1, "p", ""}};
            HalyxClientScanner::CommandCache cache{{2, "known"}};
            HalyxClientScanner("", "prices", proc).doPopulateCommandNames(clients, cache);
        })) {
        EXPECT_EQ(*texts, (Texts{"Extracted command first for pid 1", "Found command known in cache for 2",
                                 "Found command first in cache for 1"}));
    }
}

TEST_F(ClientTraces, OfKinds) {
    const auto work = [](const std::string& proc) {
        const HalyxClientScanner scanner("", "prices", proc);
        HalyxClientList writers;
        HalyxClientList keyShadows;
        HalyxClientList conquer;
        HalyxClientList all;
        for (const std::string record : {"1|a|rw-s|slots|", "1|a|rw-s|fenix|", "2|b|r--s|conquer.1|", "2|b|r--s|slots|",
                                         "3|c|r--s|fenix|", "3|c|---s|slots|", "4|d||slots|", "5|e|r--s|slab0|"}) {
            scanner.categorizeClient(record, writers, keyShadows, conquer, all);
        }
    };
    if (const auto texts = traced(9, work)) {
        EXPECT_EQ(*texts, (Texts{"adding writer: a", "adding shadow/keyshadow reader: b",
                                 "adding a reader of some type: b", "adding keyshadow reader: c"}));
    }
    if (const auto texts = traced(0, work)) {
        EXPECT_EQ(*texts, (Texts{"Failed to tokenize: 4|d||slots|", "Unexpected halyx file slab0"}));
    }
}

TEST_F(ClientTraces, OfDifferences) {
    if (const auto texts = traced(9, [](const std::string& proc) {
            const HalyxClientScanner scanner("", "prices", proc);
            const auto determine = [&](HalyxClientList keyShadows, HalyxClientList conquer, HalyxClientList all) {
                HalyxClientList shadows;
                HalyxClientList passives;
                scanner.determineReaders(keyShadows, conquer, all, shadows, passives);
            };
            determine({{1, "k", ""}}, {{1, "k", ""}, {2, "s", ""}}, {{1, "k", ""}, {2, "s", ""}, {3, "r", ""}});
            determine({{1, "k", ""}}, {{1, "k", ""}}, {{1, "k", ""}});
        })) {
        const std::string begin = "computing set difference: ";
        EXPECT_EQ(*texts,
                  (Texts{begin + "shadowAndKeyShadow.size: 2, keyShadowReaders.size: 1, shadowReaders.size: 0",
                         begin + "allReaders.size: 3, shadowReaders.size: 1, keyShadowAndPassive.size: 0",
                         begin + "keyShadowAndPassive.size: 2, keyShadowReaders.size: 1, passiveReaders.size: 0",
                         begin + "allReaders.size: 1, shadowReaders.size: 0, keyShadowAndPassive.size: 0"}));
    }
}

TEST_F(ClientTraces, OfCollectionsWithoutClients) {
    if (const auto texts = traced(5, [&](const std::string& proc) {
            CollectionBuilder(1, 1).conquer(1, 1).build(root_, "full");
            CollectionBuilder(1, 1).build(root_, "less");
            HalyxTables tables;
            tables.insert(Halyx::Model::HalyxTable("/r/full"));
            const HalyxClientScanner scanner("", nullptr, proc);
            EXPECT_EQ(scanner.addClientlessHalyxes("/r", tables), 0);
            tables.clear();
            tables.insert(Halyx::Model::HalyxTable("/r/less"));
            EXPECT_EQ(scanner.addClientlessHalyxes("/r", tables), 0);
        })) {
        const std::string begin = "Determining clientless halyxes";
        const std::string full = "Looking for /r/full in tables";
        const std::string less = "Looking for /r/less in tables";
        const std::string gone = "Suppressing clientless halyx /r/less with missing header info";
        EXPECT_TRUE(*texts == (Texts{begin, full, less, gone, begin, full, less}) ||
                    *texts == (Texts{begin, less, gone, full, begin, less, full}))
            << ::testing::PrintToString(*texts);
    }
}

TEST_F(ClientTraces, OfAWalk) {
    const auto work = [](const std::string& proc) {
        const HalyxClientScanner scanner("", nullptr, proc);
        scanner.extractMmapInfo("/r/a");
        scanner.extractMmapInfoByTable("/r");
    };
    if (const auto texts = traced(5, work)) {
        EXPECT_EQ(*texts, (Texts{"Extracting mmap info for rootpath: /r/a traversing " + proc_.path(),
                                 "Extracting mmap info by table for rootpath: /r traversing " + proc_.path()}));
    }
}

TEST_F(ClientTraces, OfATablesRecords) {
    proc_.process("4711", "/usr/bin/server", ProcTree::line("/r/prices/slots") + ProcTree::line("/r/prices/slots"));
    if (const auto texts = traced(5, [](const std::string& proc) {
            HalyxTables tables;
            EXPECT_EQ(HalyxClientScanner("", nullptr, proc).getAllClients("/r", tables), 0);
        })) {
        const auto count = [&](const std::string& text) { return std::count(texts->begin(), texts->end(), text); };
        EXPECT_EQ(count("Analyzing halyx /r/prices with mmapInfo.size: 2"), 1);
        EXPECT_EQ(count("4711|server|r--s|slots|"), 2);
        EXPECT_EQ(count("Extracted command  for pid 4711"), 1);
        EXPECT_EQ(count("Found command  in cache for 4711"), 1);
    }
}

} // namespace
