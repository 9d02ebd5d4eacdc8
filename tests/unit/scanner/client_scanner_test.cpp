// How the processes that map collections are found, told apart and reported, in made-up process tables.

#include "HalyxClientScanner.h"

#include "unit/ReaderTest.h"
#include "unit/scanner/ProcTree.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <unistd.h>

using namespace Fixtures;
using Halyx::HalyxClientScanner;
using Halyx::HalyxType;
using Halyx::Model::HalyxClient;
using Halyx::Model::HalyxClientList;
using Halyx::Model::HalyxTable;
using Halyx::Model::HalyxTables;

namespace {

using Records = std::vector<std::string>;
using Map = HalyxClientScanner::TableToInfoMap;

const std::string kPrices = "/var/shmem/halyxes/prices";

/// Every client as "pid name command".
std::vector<std::string> textsOf(const HalyxClientList& clients) {
    std::vector<std::string> texts;
    for (const HalyxClient& client : clients) {
        texts.push_back(std::to_string(client.pid) + " " + client.processName + " " + client.command);
    }
    return texts;
}

using Texts = std::vector<std::string>;

class ClientScanner : public ReaderTest {
protected:
    static std::string line(const std::string& file, const std::string& permissions = "r--s") {
        return ProcTree::line(file, permissions);
    }

    Records walk(const std::string& collection) { return scanner_.extractMmapInfo(collection); }
    Map walkByTable() { return scanner_.extractMmapInfoByTable("/var/shmem/halyxes"); }

    /// The records of one process with this map, in either walk. The second is empty when nothing at all was filed.
    Records ofMap(const std::string& maps) {
        proc_.process("4711", "/usr/bin/server", maps);
        return walk(kPrices);
    }
    Map ofMapByTable(const std::string& maps) {
        proc_.process("4711", "/usr/bin/server", maps);
        return walkByTable();
    }

    ProcTree proc_{root_.file("proc")};
    HalyxClientScanner scanner_{"", "prices", proc_.path()};
};

// Tokens

TEST_F(ClientScanner, TokensAreCountedFromOne) {
    EXPECT_EQ(scanner_.getToken("one two three", 1, " "), "one");
    EXPECT_EQ(scanner_.getToken("one two three", 2, " "), "two");
    EXPECT_EQ(scanner_.getToken("one two three", 3, " "), "three");
    EXPECT_EQ(scanner_.getToken("one two three", 4, " "), "");
    EXPECT_EQ(scanner_.getToken("one two three", 4000000000U, " "), "");
}

TEST_F(ClientScanner, RunsOfDelimitersAreOne) {
    EXPECT_EQ(scanner_.getToken("   one   two   ", 1, " "), "one");
    EXPECT_EQ(scanner_.getToken("   one   two   ", 2, " "), "two");
    EXPECT_EQ(scanner_.getToken("   one   two   ", 3, " "), "");
    EXPECT_EQ(scanner_.getToken("||a||b", 2, "|"), "b");
    EXPECT_EQ(scanner_.getToken("/proc/4711/maps", 2, "/"), "4711");
}

TEST_F(ClientScanner, AnyOfTheDelimitersSplits) {
    EXPECT_EQ(scanner_.getToken("a,b;c ,;d", 3, ",; "), "c");
    EXPECT_EQ(scanner_.getToken("a,b;c ,;d", 4, ",; "), "d");
    EXPECT_EQ(scanner_.getToken("a\tb c", 1, " "), "a\tb");
    EXPECT_EQ(scanner_.getToken("a b", 1, ""), "a b");
    EXPECT_EQ(scanner_.getToken("a b", 2, ""), "");
}

TEST_F(ClientScanner, TextWithoutTokensHasNone) {
    EXPECT_EQ(scanner_.getToken("", 1, " "), "");
    EXPECT_EQ(scanner_.getToken("   ", 1, " "), "");
}

TEST_F(ClientScanner, TokensEndAtTheFirstNul) {
    EXPECT_EQ(scanner_.getToken(std::string("a b\0c d", 7), 2, " "), "b");
    EXPECT_EQ(scanner_.getToken(std::string("a b\0c d", 7), 3, " "), "");
    EXPECT_EQ(scanner_.getToken(std::string("\0a", 2), 1, " "), "");
}

// Names of processes

TEST_F(ClientScanner, AProcessIsNamedAfterItsExecutable) {
    const auto nameOf = [&](const std::string& exe) {
        proc_.process("4711", exe, "");
        return scanner_.getProcNameForPid("4711");
    };
    EXPECT_EQ(nameOf("/usr/bin/server"), "server");
    EXPECT_EQ(nameOf("server"), "server");
    EXPECT_EQ(nameOf("/server"), "server");
    EXPECT_EQ(nameOf("a/b"), "b");
    EXPECT_EQ(nameOf("/usr/bin/"), "");
    EXPECT_EQ(nameOf("/usr/bin/server (deleted)"), "server (deleted)");
    EXPECT_EQ(nameOf("/usr/bin/my server\x1b\""), "my server\x1b\"");
    EXPECT_EQ(nameOf("/" + std::string(4000, 'd') + "/" + std::string(90, 'x')), std::string(90, 'x'));
    EXPECT_EQ(nameOf(std::string(4095, 'x')), std::string(4095, 'x'));
}

TEST_F(ClientScanner, AProcessWhoseExecutableCannotBeReadHasNoName) {
    EXPECT_EQ(scanner_.getProcNameForPid("4711"), "");
    writeFile(root_.file("proc/file"), "");
    EXPECT_EQ(scanner_.getProcNameForPid("file"), "");
    makeDirectories(root_.file("proc/4712/exe"));
    EXPECT_EQ(scanner_.getProcNameForPid("4712"), "");
}

// The walk through the process table

TEST_F(ClientScanner, EveryEntryWithAMapIsFound) {
    proc_.process("4711", "/a", "").process("self", "/a", "").process("a b", "/a", "");
    makeDirectories(root_.file("proc/4712"));
    writeFile(root_.file("proc/uptime"), "");
    std::filesystem::create_symlink(root_.file("missing"), root_.file("proc/dangling"));
    Norvu::DirNode dir(handler(), proc_.path(), nullptr);
    std::multiset<std::string> found;
    std::string path;
    while (scanner_.readNextMmap(dir, path)) {
        found.insert(path);
    }
    EXPECT_EQ(found, (std::multiset<std::string>{proc_.mapsOf("4711"), proc_.mapsOf("self"), proc_.mapsOf("a b")}));
    EXPECT_FALSE(scanner_.readNextMmap(dir, path));
}

TEST_F(ClientScanner, ThePathIsStoredWhateverBecomesOfIt) {
    makeDirectories(root_.file("proc/4712"));
    Norvu::DirNode dir(handler(), proc_.path(), nullptr);
    std::string path = "before";
    EXPECT_FALSE(scanner_.readNextMmap(dir, path));
    EXPECT_TRUE(path == proc_.mapsOf("4712") || path == proc_.mapsOf(".") || path == proc_.mapsOf("..")) << path;
}

TEST_F(ClientScanner, AProcessTableThatCannotBeOpenedIsAnAssertion) {
    writeFile(root_.file("file"), "");
    for (const std::string& path : {root_.file("missing"), root_.file("file")}) {
        const HalyxClientScanner scanner("", "prices", path);
        const auto text = [&](const auto& call) -> std::string {
            try {
                call();
            } catch (const Norvu::AssertException& exception) {
                return exception.msg();
            }
            return "nothing was thrown";
        };
        EXPECT_EQ(text([&] { scanner.extractMmapInfo(kPrices); }), "Couldn't open " + path);
        EXPECT_EQ(text([&] { scanner.extractMmapInfoByTable(kPrices); }), "Couldn't open " + path);
        HalyxTable table("x");
        EXPECT_THROW(scanner.getClients(kPrices, table), Norvu::AssertException);
        HalyxTables tables;
        EXPECT_THROW(scanner.getAllClients(kPrices, tables), Norvu::AssertException);
    }
}

TEST_F(ClientScanner, AnEmptyProcessTableHasNoClients) {
    EXPECT_EQ(walk(kPrices), Records{});
    EXPECT_EQ(walkByTable(), Map{});
}

// Lines of a map

TEST_F(ClientScanner, AMappingBecomesARecord) {
    const std::string maps = "7f00-7f10 r--s 00000000 00:13 12345      /var/shmem/halyxes/prices/slots\n";
    EXPECT_EQ(ofMap(maps), (Records{"4711|server|r--s|slots|"}));
    EXPECT_EQ(ofMapByTable(maps), (Map{{kPrices, {"4711|server|r--s|slots|"}}}));
    EXPECT_EQ(walk("/var/shmem/halyxes/price"), Records{});
    EXPECT_EQ(walk("/var/shmem/halyxes/prices/"), Records{});
    EXPECT_EQ(walk("/var/shmem/halyxes"), Records{});
    EXPECT_EQ(walk(""), Records{});
}

TEST_F(ClientScanner, ThreeFilesCountOnly) {
    std::string maps;
    for (const std::string file : {"slots", "conquer.1", "fenix", "conquer.2", "buckets", "slab0", "slots2", "slot",
                                   "Slots", "fenix.1", "conquer.10", "conquer", "xslots", "", "slots/x"}) {
        maps += line(kPrices + "/" + file);
    }
    const Records three{"4711|server|r--s|slots|", "4711|server|r--s|conquer.1|", "4711|server|r--s|fenix|"};
    EXPECT_EQ(ofMap(maps), three);
    EXPECT_EQ(ofMapByTable(maps), (Map{{kPrices, three}}));
}

TEST_F(ClientScanner, PathsAreComparedExactly) {
    std::string maps;
    for (const std::string directory :
         {"/x/var/shmem/halyxes/prices", "/var/shmem/halyxes/prices2", "/var/shmem/halyxes/prices/x",
          "/var/shmem/halyxes//prices", "/var/shmem/halyxes/price", "/var/shmem/halyxes/Prices",
          "/var/shmem/halyxes"}) {
        maps += line(directory + "/slots");
    }
    // As long as the collection's, with something else where its last "/" is.
    maps += line(kPrices + "xslots") + line(kPrices + ".fenix");
    EXPECT_EQ(ofMap(maps), Records{});
    EXPECT_EQ(ofMapByTable(maps).size(), 7U);
    EXPECT_EQ(ofMapByTable(maps).count("/var/shmem/halyxes//prices"), 1U);
}

TEST_F(ClientScanner, ByTableCountsFilesWhereverTheyLie) {
    const auto record = [](const std::string& file) { return "4711|server|r--s|" + file + "|"; };
    EXPECT_EQ(
        ofMapByTable(line("/tmp/slots") + line("/slots") + line("/tmp/fenix") + line("a/conquer.1")),
        (Map{{"", {record("slots")}}, {"/tmp", {record("slots"), record("fenix")}}, {"a", {record("conquer.1")}}}));
}

TEST_F(ClientScanner, ByTableCountsFilesWithoutADirectory) {
    for (const std::string end : {"", " ", " (deleted)", " more"}) {
        EXPECT_EQ(ofMapByTable(line("slots" + end) + line("fenix" + end) + line("conquer.1" + end)),
                  (Map{{"", {"4711|server|r--s|slots|", "4711|server|r--s|fenix|", "4711|server|r--s|conquer.1|"}}}))
            << end;
    }
}

TEST_F(ClientScanner, ALineEndsAtItsFirstNul) {
    const std::string maps("1-2\0 r--s 0 0:0 1 /var/shmem/halyxes/prices/slots\n", 50);
    EXPECT_EQ(ofMap(maps), Records{});
    EXPECT_EQ(ofMapByTable(maps), Map{});
}

TEST_F(ClientScanner, ThePidIsTheSecondComponentOfAnyPath) {
    // This machine's process table, and a map that lies elsewhere.
    const HalyxClientScanner scanner("", "prices");
    const std::string directory = ::testing::TempDir() + std::to_string(::getpid());
    if (std::count(directory.begin(), directory.end(), '/') != 2) {
        GTEST_SKIP() << directory << " is not the second component";
    }
    makeDirectories(directory);
    writeFile(directory + "/maps", line(kPrices + "/slots"));
    Records records;
    scanner.extractMmapInfo(kPrices, directory + "/maps", records);
    std::filesystem::remove_all(directory);
    EXPECT_EQ(records,
              (Records{std::to_string(::getpid()) + "|" + scanner.getProcNameForPid("self") + "|r--s|slots|"}));
}

TEST_F(ClientScanner, ColumnsAreSeparatedByAnyNumberOfBlanks) {
    for (const std::string maps : {"1-2 r--s 0 0:0 1 /var/shmem/halyxes/prices/slots",
                                   "   1-2    r--s  0   0:0     1        /var/shmem/halyxes/prices/slots   \n",
                                   "1-2 r--s 0 0:0 1 /var/shmem/halyxes/prices/slots more words\n"}) {
        EXPECT_EQ(ofMap(maps), (Records{"4711|server|r--s|slots|"})) << maps;
        EXPECT_EQ(ofMapByTable(maps), (Map{{kPrices, {"4711|server|r--s|slots|"}}})) << maps;
    }
    // Only blanks separate, and it is the sixth column.
    for (const std::string maps :
         {"1-2 r--s 0 0:0\t1 /var/shmem/halyxes/prices/slots\n", "1-2 r--s 0 0:0 /var/shmem/halyxes/prices/slots\n",
          "1-2 r--s 0 0:0 1 x /var/shmem/halyxes/prices/slots\n",
          "1-2 r--s 0 0:0 1 /var/shmem/halyxes/prices/slots\t\n"}) {
        EXPECT_EQ(ofMap(maps), Records{}) << maps;
        EXPECT_EQ(ofMapByTable(maps), Map{}) << maps;
    }
}

TEST_F(ClientScanner, RemovedFilesStillCount) {
    const std::string maps = line(kPrices + "/slots (deleted)") + line(kPrices + "/fenix (deleted)", "rw-s");
    const Records records{"4711|server|r--s|slots|", "4711|server|rw-s|fenix|"};
    EXPECT_EQ(ofMap(maps), records);
    EXPECT_EQ(ofMapByTable(maps), (Map{{kPrices, records}}));
}

TEST_F(ClientScanner, APathWithABlankIsNeverMatched) {
    const std::string maps = line("/var/shmem/halyxes/my prices/slots");
    proc_.process("4711", "/usr/bin/server", maps);
    EXPECT_EQ(walk("/var/shmem/halyxes/my prices"), Records{});
    EXPECT_EQ(walkByTable(), Map{});
    // What stands before the blank is what counts.
    EXPECT_EQ(ofMapByTable(line("/a/slots of others/fenix")), (Map{{"/a", {"4711|server|r--s|slots|"}}}));
}

TEST_F(ClientScanner, MemoryWithoutAFileIsSkipped) {
    const std::string maps = "\n\n1-2 rw-p 00000000 00:00 0 \n"
                             "1-2 rw-p 00000000 00:00 0\n"
                             "1-2 rw-p 00000000 00:00 0        [heap]\n"
                             "1-2 rw-p 00000000 00:00 0        [anon:/a/slots]\n"
                             "slots\n"
                             "      \n"
                             "1-2 rw-p\n"
                             "1-2 rw-s 00000000 00:01 2048     /memfd:slots (deleted)\n"
                             "1-2 rw-s 00000000 00:0e 1050     anon_inode:[perf_event]\n";
    EXPECT_EQ(ofMap(maps), Records{});
    EXPECT_EQ(ofMapByTable(maps), Map{});
}

TEST_F(ClientScanner, EveryLineIsARecordOfItsOwn) {
    const std::string maps = line(kPrices + "/slots") + line(kPrices + "/fenix") + line(kPrices + "/slots") +
                             line("/other/slots") + line(kPrices + "/slots", "rw-s");
    const Records records{"4711|server|r--s|slots|", "4711|server|r--s|fenix|", "4711|server|r--s|slots|",
                          "4711|server|rw-s|slots|"};
    EXPECT_EQ(ofMap(maps), records);
    EXPECT_EQ(ofMapByTable(maps), (Map{{"/other", {"4711|server|r--s|slots|"}}, {kPrices, records}}));
}

TEST_F(ClientScanner, PermissionsStandAsTheKernelWritesThem) {
    EXPECT_EQ(
        ofMap(line(kPrices + "/slots", "-w-p") + line(kPrices + "/slots", "r-xp") + line(kPrices + "/slots", "x")),
        (Records{"4711|server|-w-p|slots|", "4711|server|r-xp|slots|", "4711|server|x|slots|"}));
}

TEST_F(ClientScanner, EveryProcessIsAsked) {
    std::multiset<std::string> wanted;
    for (unsigned pid = 1; pid <= 300; ++pid) {
        proc_.process(std::to_string(pid), "/bin/p" + std::to_string(pid), line(kPrices + "/slots"));
        wanted.insert(std::to_string(pid) + "|p" + std::to_string(pid) + "|r--s|slots|");
    }
    const Records records = walk(kPrices);
    EXPECT_EQ(std::multiset<std::string>(records.begin(), records.end()), wanted);
    EXPECT_EQ(walkByTable(), (Map{{kPrices, records}}));
}

TEST_F(ClientScanner, EntriesThatAreNoProcessesAreReadToo) {
    proc_.process("self", "/bin/halyx", line(kPrices + "/slots"));
    EXPECT_EQ(walk(kPrices), (Records{"self|halyx|r--s|slots|"}));
}

TEST_F(ClientScanner, ProcessesThatCannotBeLookedIntoAreSkipped) {
    proc_.process("4711", "/usr/bin/server", line(kPrices + "/slots"));
    proc_.process("4712", "/usr/bin/gone", line(kPrices + "/slots"));
    std::filesystem::remove(root_.file("proc/4712/exe"));
    proc_.process("4713", "/usr/bin/noname/", line(kPrices + "/slots"));
    proc_.process("4714", "/usr/bin/directory", "");
    std::filesystem::remove(proc_.mapsOf("4714"));
    makeDirectories(proc_.mapsOf("4714"));
    makeDirectories(root_.file("proc/4715"));
    EXPECT_EQ(walk(kPrices), (Records{"4711|server|r--s|slots|"}));
    EXPECT_EQ(walkByTable(), (Map{{kPrices, {"4711|server|r--s|slots|"}}}));
}

TEST_F(ClientScanner, OneProcessAfterAnotherMayBeAsked) {
    proc_.process("4711", "/usr/bin/server", line(kPrices + "/slots"));
    Records records{"kept"};
    scanner_.extractMmapInfo(kPrices, proc_.mapsOf("4711"), records);
    scanner_.extractMmapInfo(kPrices, proc_.mapsOf("4712"), records);
    EXPECT_EQ(records, (Records{"kept", "4711|server|r--s|slots|"}));
    Map map{{kPrices, {"kept"}}};
    scanner_.extractMmapInfoByTable("/", proc_.mapsOf("4711"), map);
    scanner_.extractMmapInfoByTable("/", proc_.mapsOf("4712"), map);
    EXPECT_EQ(map, (Map{{kPrices, {"kept", "4711|server|r--s|slots|"}}}));
    scanner_.extractMmapInfo(kPrices, "maps", records);
    EXPECT_EQ(records.size(), 2U);
}

TEST_F(ClientScanner, MapsMayHaveManyLines) {
    std::string maps;
    Records records;
    for (unsigned i = 0; i < 50000; ++i) {
        maps += i % 3 == 0   ? "7f0000000000-7f0000001000 rw-p 00000000 00:00 0 \n"
                : i % 3 == 1 ? line("/usr/lib/x86_64-linux-gnu/lib" + std::to_string(i) + ".so", "r-xp")
                             : line(kPrices + (i % 1000 == 2 ? "/slots" : "/slab0"));
        if (i % 3 == 2 && i % 1000 == 2) {
            records.emplace_back("4711|server|r--s|slots|");
        }
    }
    maps += line(kPrices + "/fenix");
    records.emplace_back("4711|server|r--s|fenix|");
    EXPECT_GT(records.size(), 10U);
    EXPECT_EQ(ofMap(maps), records);
    EXPECT_EQ(ofMapByTable(maps), (Map{{kPrices, records}}));
}

TEST_F(ClientScanner, LinesMayBeLong) {
    const std::string directory = "/" + std::string(100000, 'd');
    const std::string maps = line(kPrices + "/slots") + line(directory + "/slots") +
                             line("/x" + std::string(200000, ' ')) + line(kPrices + "/fenix");
    EXPECT_EQ(ofMap(maps), (Records{"4711|server|r--s|slots|", "4711|server|r--s|fenix|"}));
    EXPECT_EQ(walk(directory), (Records{"4711|server|r--s|slots|"}));
    EXPECT_EQ(ofMapByTable(maps), (Map{{directory, {"4711|server|r--s|slots|"}},
                                       {kPrices, {"4711|server|r--s|slots|", "4711|server|r--s|fenix|"}}}));
}

TEST_F(ClientScanner, RecordsAreFiledUnderTheirTable) {
    Map map;
    scanner_.addToHalyxClientMap(map, "/b", "1");
    scanner_.addToHalyxClientMap(map, "/a", "2");
    scanner_.addToHalyxClientMap(map, "/b", "1");
    EXPECT_EQ(map, (Map{{"/a", {"2"}}, {"/b", {"1", "1"}}}));
}

// Commands

TEST_F(ClientScanner, ACommandIsTheFirstWordWithoutItsDirectory) {
    const auto commandOf = [&](const std::string& bytes) {
        proc_.commandLine("4711", bytes);
        HalyxClientList clients{{4711, "p", "old"}};
        std::map<int, std::string> cache;
        scanner_.doPopulateCommandNames(clients, cache);
        EXPECT_EQ(cache, (std::map<int, std::string>{{4711, clients[0].command}}));
        return clients[0].command;
    };
    EXPECT_EQ(commandOf(std::string("/opt/x/bin/feeder\0--name\0a/b\0", 30)), "feeder");
    EXPECT_EQ(commandOf(std::string("feeder\0", 7)), "feeder");
    EXPECT_EQ(commandOf("feeder: a/b waits"), "feeder:");
    EXPECT_EQ(commandOf("/opt/my programs/feeder"), "my");
    EXPECT_EQ(commandOf("/opt/x/"), "");
    EXPECT_EQ(commandOf(" /opt/x/feeder"), "");
    EXPECT_EQ(commandOf(""), "");
    EXPECT_EQ(commandOf(std::string("\0feeder\0", 8)), "");
    EXPECT_EQ(commandOf(std::string(100000, 'x')), std::string(255, 'x')); // no longer than a file's name can be
}

TEST_F(ClientScanner, CommandLinesAreReadOncePerProcess) {
    proc_.commandLine("1", "/bin/first").commandLine("2", "/bin/second").commandLine("4", "");
    std::map<int, std::string> cache{{3, "known"}};
    HalyxClientList clients{{1, "p", ""}, {3, "p", ""}, {2, "q", ""}, {1, "p", ""}, {4, "p", "old"}, {5, "p", "old"}};
    scanner_.doPopulateCommandNames(clients, cache);
    const Texts wanted{"1 p first", "3 p known", "2 q second", "1 p first", "4 p ", "5 p "};
    EXPECT_EQ(textsOf(clients), wanted);
    EXPECT_EQ(cache, (std::map<int, std::string>{{1, "first"}, {2, "second"}, {3, "known"}, {4, ""}, {5, ""}}));
    for (const std::string pid : {"1", "2", "4", "5"}) {
        proc_.commandLine(pid, "/bin/changed");
    }
    scanner_.doPopulateCommandNames(clients, cache);
    EXPECT_EQ(textsOf(clients), wanted);
}

TEST_F(ClientScanner, EveryKindGetsItsCommandsFromOneCache) {
    proc_.commandLine("1", "a").commandLine("2", "b").commandLine("3", "c").commandLine("4", "d");
    std::map<int, std::string> cache;
    HalyxClientList writers{{1, "w", ""}};
    HalyxClientList shadows{{2, "s", ""}};
    HalyxClientList keyShadows{{3, "k", ""}, {1, "w", ""}};
    HalyxClientList passives{{4, "p", ""}};
    scanner_.populateCommandNames(writers, shadows, keyShadows, passives, cache);
    EXPECT_EQ(textsOf(writers), (Texts{"1 w a"}));
    EXPECT_EQ(textsOf(shadows), (Texts{"2 s b"}));
    EXPECT_EQ(textsOf(keyShadows), (Texts{"3 k c", "1 w a"}));
    EXPECT_EQ(textsOf(passives), (Texts{"4 p d"}));
    EXPECT_EQ(cache.size(), 4U);
}

TEST_F(ClientScanner, AClientWithoutAPidIsABug) {
    HalyxClientList clients{{0, "p", ""}};
    std::map<int, std::string> cache;
    EXPECT_DEATH(scanner_.doPopulateCommandNames(clients, cache), "pid");
}

// Kinds

class Categories : public ClientScanner {
protected:
    bool categorize(const std::string& record) {
        return scanner_.categorizeClient(record, writers_, keyShadowReaders_, shadowAndKeyShadow_, allReaders_);
    }

    /// The lists' lengths: writers, keyshadows, shadows and keyshadows, all readers.
    void expectSizes(std::size_t writers, std::size_t keyShadows, std::size_t shadows, std::size_t all) const {
        EXPECT_EQ(writers_.size(), writers);
        EXPECT_EQ(keyShadowReaders_.size(), keyShadows);
        EXPECT_EQ(shadowAndKeyShadow_.size(), shadows);
        EXPECT_EQ(allReaders_.size(), all);
    }

    void determine() {
        scanner_.determineReaders(keyShadowReaders_, shadowAndKeyShadow_, allReaders_, shadowReaders_, passiveReaders_);
    }

    static HalyxClientList list(const std::vector<int>& pids) {
        HalyxClientList clients;
        for (const int pid : pids) {
            clients.push_back({pid, "p", ""});
        }
        return clients;
    }
    static std::vector<int> pidsOf(const HalyxClientList& clients) {
        std::vector<int> pids;
        for (const HalyxClient& client : clients) {
            pids.push_back(client.pid);
        }
        return pids;
    }
    std::vector<int> difference(const std::vector<int>& from, const std::vector<int>& subtract,
                                const std::vector<int>& before = {}) {
        HalyxClientList left = list(from);
        HalyxClientList right = list(subtract);
        HalyxClientList result = list(before);
        scanner_.computeSetDifference(left, right, result);
        EXPECT_TRUE(std::is_sorted(left.begin(), left.end()));
        EXPECT_TRUE(std::is_sorted(right.begin(), right.end()));
        EXPECT_EQ(left.size(), from.size());
        EXPECT_EQ(right.size(), subtract.size());
        return pidsOf(result);
    }

    HalyxClientList writers_;
    HalyxClientList keyShadowReaders_;
    HalyxClientList shadowAndKeyShadow_;
    HalyxClientList allReaders_;
    HalyxClientList shadowReaders_;
    HalyxClientList passiveReaders_;
};

using Pids = std::vector<int>;

TEST_F(Categories, WhoeverMapsAnythingForWritingIsAWriter) {
    for (const std::string file : {"slots", "conquer.1", "fenix", "anything"}) {
        EXPECT_FALSE(categorize("1|a|rw-s|" + file + "|"));
        EXPECT_FALSE(categorize("2|b|rwxp|" + file + "|"));
    }
    EXPECT_EQ(textsOf(writers_), (Texts{"1 a ", "2 b "}));
    // The same process id with another name, and the other way round, are others.
    EXPECT_FALSE(categorize("1|b|rw-s|slots|"));
    EXPECT_FALSE(categorize("3|a|rw|slots|"));
    EXPECT_FALSE(categorize("1|a|rw-s|fenix|"));
    EXPECT_EQ(textsOf(writers_), (Texts{"1 a ", "2 b ", "1 b ", "3 a "}));
    expectSizes(4, 0, 0, 0);
}

TEST_F(Categories, ReadersAreFiledByTheFileTheyMap) {
    EXPECT_FALSE(categorize("3|a|r--s|slots|"));
    EXPECT_FALSE(categorize("2|b|r-xp|conquer.1|"));
    EXPECT_FALSE(categorize("1|c|r-|fenix|"));
    EXPECT_EQ(textsOf(allReaders_), (Texts{"3 a "}));
    EXPECT_EQ(textsOf(shadowAndKeyShadow_), (Texts{"2 b "}));
    EXPECT_EQ(textsOf(keyShadowReaders_), (Texts{"1 c "}));
    expectSizes(0, 1, 1, 1);
}

TEST_F(Categories, ReadersAreTakenOncePerLine) {
    for (const std::string file : {"slots", "conquer.1", "fenix"}) {
        for (int i = 0; i < 3; ++i) {
            EXPECT_FALSE(categorize("1|a|r--s|" + file + "|"));
        }
    }
    expectSizes(0, 3, 3, 3);
}

TEST_F(Categories, OtherPermissionsAreNoClients) {
    for (const std::string file : {"slots", "conquer.1", "fenix"}) {
        for (const std::string permissions : {"-w-s", "--xs", "---p", "r", "rx-s", "w", "x", "R--s"}) {
            EXPECT_FALSE(categorize("1|a|" + permissions + "|" + file + "|")) << permissions;
        }
    }
    expectSizes(0, 0, 0, 0);
}

TEST_F(Categories, OtherFilesAreErrors) {
    for (const std::string file : {"conquer.2", "buckets", "slots2", "x", " ", "Slots"}) {
        EXPECT_TRUE(categorize("1|a|r--s|" + file + "|")) << file;
        EXPECT_TRUE(categorize("1|a|---s|" + file + "|")) << file;
    }
    expectSizes(0, 0, 0, 0);
}

TEST_F(Categories, RecordsWithoutFourFieldsAreErrors) {
    for (const std::string record : {"", "|", "||||", "1", "1|", "1|a", "1|a|", "1|a|r--s", "1|a|r--s|", "1|a||slots|",
                                     "1||r--s|slots|", "|a|r--s|slots|", "1|a|rw-s||"}) {
        EXPECT_TRUE(categorize(record)) << record;
    }
    expectSizes(0, 0, 0, 0);
    // The bar at the end is not what makes a field, and more fields do not matter.
    EXPECT_FALSE(categorize("1|a|r--s|slots"));
    EXPECT_FALSE(categorize("1|a|r--s|slots|more|"));
    expectSizes(0, 0, 0, 2);
}

TEST_F(Categories, ANameWithABarShiftsTheFields) {
    EXPECT_TRUE(categorize("1|a|b|r--s|slots|"));
    expectSizes(0, 0, 0, 0);
}

TEST_F(Categories, ThePidIsTheNumberThatTheFirstFieldBeginsWith) {
    EXPECT_FALSE(categorize("12x|a|r--s|slots|"));
    EXPECT_FALSE(categorize("self|a|r--s|slots|"));
    EXPECT_FALSE(categorize("-5|a|r--s|slots|"));
    EXPECT_FALSE(categorize("010|a|r--s|slots|"));
    EXPECT_EQ(pidsOf(allReaders_), (Pids{12, 0, -5, 10}));
}

TEST_F(Categories, DifferencesMatchOneForOne) {
    EXPECT_EQ(difference({3, 1, 2}, {2}), (Pids{1, 3}));
    EXPECT_EQ(difference({2, 2, 2}, {2}), (Pids{2, 2}));
    EXPECT_EQ(difference({5, 2, 5, 2}, {5, 5, 5, 2}), (Pids{2}));
    EXPECT_EQ(difference({1, 2}, {3, 4}), (Pids{1, 2}));
    EXPECT_EQ(difference({4, 3}, {3, 4}), (Pids{}));
    EXPECT_EQ(difference({}, {3}), (Pids{}));
}

TEST_F(Categories, NothingSubtractedLeavesASortedCopy) {
    EXPECT_EQ(difference({3, 1, 2, 1}, {}), (Pids{1, 1, 2, 3}));
    EXPECT_EQ(difference({}, {}), (Pids{}));
    // What the result held is replaced then; else it stands behind.
    EXPECT_EQ(difference({3, 1}, {}, {9}), (Pids{1, 3}));
    EXPECT_EQ(difference({3, 1}, {3}, {9}), (Pids{1, 9}));
    EXPECT_EQ(difference({3, 1, 2}, {4}, {9, 8}), (Pids{1, 2, 3, 9, 8}));
}

TEST_F(Categories, DifferencesCompareTheWholeClient) {
    HalyxClientList from{{1, "b", "x"}, {1, "a", "x"}, {1, "a", "y"}};
    HalyxClientList subtract{{1, "a", "y"}, {1, "b", ""}};
    HalyxClientList result;
    scanner_.computeSetDifference(from, subtract, result);
    EXPECT_EQ(textsOf(result), (Texts{"1 a x", "1 b x"}));
    EXPECT_EQ(textsOf(from), (Texts{"1 a x", "1 a y", "1 b x"}));
}

TEST_F(Categories, EachKindIsFoundAlone) {
    const auto kinds = [&](const Pids& keyShadow, const Pids& conquer, const Pids& slots) {
        keyShadowReaders_ = list(keyShadow);
        shadowAndKeyShadow_ = list(conquer);
        allReaders_ = list(slots);
        shadowReaders_.clear();
        passiveReaders_.clear();
        determine();
        return std::vector<Pids>{pidsOf(keyShadowReaders_), pidsOf(shadowReaders_), pidsOf(passiveReaders_)};
    };
    using Kinds = std::vector<Pids>;
    EXPECT_EQ(kinds({}, {}, {}), (Kinds{{}, {}, {}}));
    EXPECT_EQ(kinds({1}, {1}, {1}), (Kinds{{1}, {}, {}}));
    EXPECT_EQ(kinds({}, {1}, {1}), (Kinds{{}, {1}, {}}));
    EXPECT_EQ(kinds({}, {}, {1}), (Kinds{{}, {}, {1}}));
    // One of each, in no order.
    EXPECT_EQ(kinds({3}, {3, 2}, {1, 3, 2}), (Kinds{{3}, {2}, {1}}));
    EXPECT_EQ(kinds({1}, {2, 1}, {2, 1}), (Kinds{{1}, {2}, {}}));
    EXPECT_EQ(kinds({9, 1}, {5, 9, 1}, {5, 1, 9}), (Kinds{{1, 9}, {5}, {}}));
    EXPECT_EQ(kinds({}, {}, {3, 1, 2, 1}), (Kinds{{}, {}, {1, 1, 2, 3}}));
    EXPECT_EQ(kinds({}, {4, 2}, {3, 4, 1, 2}), (Kinds{{}, {2, 4}, {1, 3}}));
    // One that maps a file twice counts twice.
    EXPECT_EQ(kinds({1}, {1, 1}, {1}), (Kinds{{1}, {1}, {}}));
    EXPECT_EQ(kinds({1}, {1}, {1, 1}), (Kinds{{1}, {}, {1}}));
    EXPECT_EQ(kinds({}, {1}, {1, 1}), (Kinds{{}, {1}, {1}}));
}

TEST_F(Categories, AListThatIsNotLongerIsTakenToLeaveNothing) {
    keyShadowReaders_ = list({1, 2});
    shadowAndKeyShadow_ = list({4, 3});
    allReaders_ = list({6, 5});
    determine();
    EXPECT_EQ(pidsOf(shadowReaders_), Pids{});
    EXPECT_EQ(pidsOf(passiveReaders_), Pids{});
    // Where nothing is computed nothing is sorted; all readers always are.
    EXPECT_EQ(pidsOf(shadowAndKeyShadow_), (Pids{4, 3}));
    EXPECT_EQ(pidsOf(allReaders_), (Pids{5, 6}));
    EXPECT_EQ(pidsOf(keyShadowReaders_), (Pids{1, 2}));
}

TEST_F(Categories, OneMoreIsEnoughToCompute) {
    keyShadowReaders_ = list({2, 1});
    shadowAndKeyShadow_ = list({5, 4, 3});
    allReaders_ = list({8, 7, 6});
    determine();
    EXPECT_EQ(pidsOf(shadowReaders_), (Pids{3, 4, 5}));
    EXPECT_EQ(pidsOf(passiveReaders_), (Pids{6, 7, 8}));
    EXPECT_EQ(pidsOf(keyShadowReaders_), (Pids{1, 2}));
}

// The reports

class ClientReports : public ClientScanner {
protected:
    ClientReports() {
        prices_ = CollectionBuilder(3, 5).conquer(7, 9).build(root_, "prices").path();
        rootText_ = root_.collections();
    }

    static std::string pricesCounts() {
        return "Capacity: slots:1048576 buckets:3 primary_notifications:7 secondary_notifications:9\n"
               "Occupied slots: 5\n";
    }
    static std::string unknownCounts() {
        return "Capacity: slots:4294967295 buckets:4294967295 primary_notifications:4294967295 "
               "secondary_notifications:4294967295\nOccupied slots: 4294967295\n";
    }
    static std::string block(const std::string& name, const std::string& counts, const std::string& clients) {
        return "Halyx table \"" + name + "\"\n" + counts + clients + "\n";
    }

    /// A writer, a shadow, a keyshadow and a passive reader of a collection, with process ids from `first` on.
    void populate(const std::string& directory, int first) {
        const auto pid = [&](int i) { return std::to_string(first + i); };
        proc_.process(pid(0), "/bin/server-bin",
                      line(directory + "/slots", "rw-s") + line(directory + "/fenix", "rw-s"));
        proc_.process(pid(1), "/bin/shadower", line(directory + "/slots") + line(directory + "/conquer.1"));
        proc_.process(pid(2), "/bin/keyer",
                      line(directory + "/slots") + line(directory + "/conquer.1") + line(directory + "/fenix"));
        proc_.process(pid(3), "/bin/reader", line(directory + "/slots"));
        proc_.commandLine(pid(0), "/opt/server")
            .commandLine(pid(1), "sh")
            .commandLine(pid(2), "k x")
            .commandLine(pid(3), "");
    }
    static std::string populated(int first) {
        const auto pid = [&](int i) { return std::to_string(first + i); };
        return "Writer: server-" + pid(0) + "(server-bin) \nShadow: sh-" + pid(1) + "(shadower) \nKeyshadow: k-" +
               pid(2) + "(keyer) \nReader: -" + pid(3) + "(reader) \n";
    }

    /// What a report writes, with its exit status before it.
    template <typename Report>
    std::string run(const Report& report, std::string* errors = nullptr, const char* tablePath = "prices") {
        std::string text;
        ::testing::internal::CaptureStderr();
        {
            HalyxClientScanner scanner(root_.file("out"), tablePath, proc_.path());
            EXPECT_TRUE(scanner.initialize());
            text = std::to_string(report(scanner)) + "\n";
        }
        const std::string complaints = ::testing::internal::GetCapturedStderr();
        if (errors != nullptr) {
            *errors = complaints;
        } else {
            EXPECT_EQ(complaints, "");
        }
        return text + readFile(root_.file("out"));
    }
    std::string who(std::string* errors = nullptr) {
        return run([](HalyxClientScanner& scanner) { return scanner.doGetClientInfo(); }, errors);
    }
    std::string whoAll(std::string* errors = nullptr) {
        return run([](HalyxClientScanner& scanner) { return scanner.doGetAllClientInfo(); }, errors, nullptr);
    }
    std::string what(int pid, std::string* errors = nullptr) {
        return run([pid](HalyxClientScanner& scanner) { return scanner.doGetTableInfo(pid); }, errors, nullptr);
    }

    static std::string sections(int pid, const std::string& writer, const std::string& reader = {},
                                const std::string& shadow = {}, const std::string& keyshadow = {}) {
        const std::string begin = "Tables with client ( pid: " + std::to_string(pid) + " ) of Type ";
        return begin + "writer: \n" + writer + begin + "reader: \n" + reader + begin + "shadow: \n" + shadow + begin +
               "keyshadow: \n" + keyshadow;
    }

    /// A process whose name makes its records unreadable.
    void addBadRecord() { proc_.process("99", "/bin/a|b", line(prices_ + "/slots")); }

    std::string prices_;
    std::string rootText_;
};

TEST_F(ClientReports, OneCollectionIsFilledWithItsClients) {
    populate(prices_, 10);
    HalyxTable table{"before"};
    EXPECT_EQ(scanner_.getClients(prices_, table), 0);
    EXPECT_EQ(table.name, prices_);
    EXPECT_EQ(textsOf(table.clients.at(HalyxType::Writer)), (Texts{"10 server-bin server"}));
    EXPECT_EQ(textsOf(table.clients.at(HalyxType::Shadow)), (Texts{"11 shadower sh"}));
    EXPECT_EQ(textsOf(table.clients.at(HalyxType::Keyshadow)), (Texts{"12 keyer k"}));
    EXPECT_EQ(textsOf(table.clients.at(HalyxType::Reader)), (Texts{"13 reader "}));
    EXPECT_EQ(table.headerInfo.print(), pricesCounts());
}

TEST_F(ClientReports, CountsAreTheScannersOwnCollections) {
    HalyxTable table{"x"};
    EXPECT_EQ(scanner_.getClients("/elsewhere", table), 0);
    EXPECT_EQ(table.name, "/elsewhere");
    EXPECT_EQ(table.headerInfo.print(), pricesCounts());
    const HalyxClientScanner other("", "missing", proc_.path());
    HalyxTable unknown{"x"};
    EXPECT_EQ(other.getClients(prices_, unknown), 0);
    EXPECT_EQ(unknown.headerInfo.print(), unknownCounts());
}

TEST_F(ClientReports, OneBadRecordFailsTheReport) {
    populate(prices_, 10);
    addBadRecord();
    HalyxTable table{"x"};
    EXPECT_NE(scanner_.getClients(prices_, table), 0);
    HalyxTables tables;
    EXPECT_NE(scanner_.getAllClients(rootText_, tables), 0);
    std::string errors;
    EXPECT_EQ(who(&errors), "1\n");
    EXPECT_EQ(errors, "Error getting clients of Halyx prices\n");
    EXPECT_EQ(whoAll(&errors), "1\n");
    EXPECT_EQ(errors, "Error getting readers and writers of Halyx\n");
    EXPECT_EQ(what(10, &errors), "1\n");
    EXPECT_EQ(errors, "Error getting readers and writers of Halyx\n");
}

TEST_F(ClientReports, Who) {
    EXPECT_EQ(who(), "0\n" + block(prices_, pricesCounts(), "Clients: None\n"));
    populate(prices_, 10);
    populate(rootText_ + "/price", 20);
    EXPECT_EQ(who(), "0\n" + block(prices_, pricesCounts(), populated(10)));
}

TEST_F(ClientReports, AWriterMayBeAKeyshadowTwice) {
    // Mapped for writing and, on other lines, read-only: the kinds are not reconciled.
    proc_.process("7", "/bin/w",
                  line(prices_ + "/slots", "rw-s") + line(prices_ + "/fenix") + line(prices_ + "/fenix"));
    EXPECT_EQ(who(),
              "0\n" + block(prices_, pricesCounts(), "Writer: -7(w) \nShadow: \nKeyshadow: -7(w) -7(w) \nReader: \n"));
}

TEST_F(ClientReports, EveryCollectionIsFilledWithItsClients) {
    const std::string orders = rootText_ + "/a/orders";
    populate(prices_, 10);
    populate(orders, 20);
    HalyxTables tables(1);
    ASSERT_EQ(scanner_.getAllClients(rootText_, tables), 0);
    ASSERT_EQ(tables.size(), 2U);
    EXPECT_EQ(tables.find(HalyxTable(prices_))->print(), block(prices_, pricesCounts(), populated(10)));
    EXPECT_EQ(tables.find(HalyxTable(orders))->print(), block(orders, unknownCounts(), populated(20)));
}

TEST_F(ClientReports, ATableThatIsThereIsKept) {
    populate(prices_, 10);
    HalyxTables tables;
    tables.insert(HalyxTable(prices_));
    ASSERT_EQ(scanner_.getAllClients(rootText_, tables), 0);
    ASSERT_EQ(tables.size(), 1U);
    EXPECT_TRUE(tables.begin()->clients.at(HalyxType::Writer).empty());
    ASSERT_EQ(scanner_.addClientlessHalyxes(rootText_, tables), 0);
    EXPECT_EQ(tables.begin()->print(), block(prices_, unknownCounts(), "Clients: None\n"));
}

TEST_F(ClientReports, ADirectoryAboveTheRootIsOutOfRange) {
    for (const std::string& directory : {std::string("/a"), std::string(), rootText_}) {
        proc_.process("7", "/bin/w", line(directory + "/slots"));
        HalyxTables tables;
        EXPECT_THROW(scanner_.getAllClients(rootText_, tables), std::out_of_range) << directory;
    }
    // One that is long enough is taken for a collection, wherever it lies.
    const std::string beside = std::string(rootText_.size(), '/') + "x";
    proc_.process("7", "/bin/w", line(beside + "/slots"));
    HalyxTables tables;
    EXPECT_EQ(scanner_.getAllClients(rootText_, tables), 0);
    EXPECT_EQ(tables.count(HalyxTable(beside)), 1U);
}

TEST_F(ClientReports, CollectionsWithoutClientsNeedEveryCount) {
    CollectionBuilder(1, 1).build(root_, "noqueues");
    CollectionBuilder(1, 1).conquer(1, 1).build(root_, "noslots").truncate("slots", 0);
    CollectionBuilder(1, 1).conquer(1, 1).build(root_, "nobuckets").remove("buckets");
    CollectionBuilder(1, 1).conquer(1, 1).build(root_, "noconquer").remove("conquer.2");
    CollectionBuilder bad(1, 1);
    bad.slotsHeader.version = 1;
    bad.conquer(1, 1).build(root_, "bad");
    CollectionBuilder(1, 1).conquer(1, 1).build(root_, "a/b c");
    CollectionBuilder(1, 1).conquer(0, 0).build(root_, "empty");
    makeDirectories(rootText_ + "/nothing");
    writeFile(rootText_ + "/nothing/file", "");
    HalyxTables tables;
    ASSERT_EQ(scanner_.addClientlessHalyxes(rootText_, tables), 0);
    std::set<std::string> names;
    for (const HalyxTable& table : tables) {
        names.insert(table.name);
    }
    EXPECT_EQ(names, (std::set<std::string>{prices_, rootText_ + "/a/b c", rootText_ + "/empty"}));
    EXPECT_EQ(tables.find(HalyxTable(prices_))->print(), block(prices_, pricesCounts(), "Clients: None\n"));
}

TEST_F(ClientReports, WhoAll) {
    EXPECT_EQ(whoAll(), "0\n" + block(prices_, pricesCounts(), "Clients: None\n"));
    populate(prices_, 10);
    EXPECT_EQ(whoAll(), "0\n" + block(prices_, pricesCounts(), populated(10)));
    const std::string orders = CollectionBuilder(2, 5).conquer(7, 9).build(root_, "orders").path();
    populate(rootText_ + "/gone", 20);
    const std::string all = whoAll();
    std::string ordersCounts = pricesCounts();
    ordersCounts.replace(ordersCounts.find("buckets:3"), 9, "buckets:2");
    const Texts blocks{block(prices_, pricesCounts(), populated(10)), block(orders, ordersCounts, "Clients: None\n"),
                       block(rootText_ + "/gone", unknownCounts(), populated(20))};
    std::size_t size = 2; // the status
    for (const std::string& one : blocks) {
        EXPECT_NE(all.find(one), std::string::npos) << all;
        size += one.size();
    }
    EXPECT_EQ(all.size(), size) << all;
}

TEST_F(ClientReports, WhoAllWithoutAny) {
    std::filesystem::remove_all(prices_);
    EXPECT_EQ(whoAll(), "0\nNo Halyxes\n");
    CollectionBuilder(1, 1).build(root_, "noqueues");
    EXPECT_EQ(whoAll(), "0\nNo Halyxes\n");
}

TEST_F(ClientReports, What) {
    // Collections without clients are none to this report.
    EXPECT_EQ(what(10), "0\nNo Halyxes\n");
    populate(prices_, 10);
    const std::string one = block(prices_, pricesCounts(), populated(10));
    EXPECT_EQ(what(10), "0\n" + sections(10, one));
    EXPECT_EQ(what(11), "0\n" + sections(11, "", "", one));
    EXPECT_EQ(what(12), "0\n" + sections(12, "", "", "", one));
    EXPECT_EQ(what(13), "0\n" + sections(13, "", one));
    EXPECT_EQ(what(42), "0\n" + sections(42, ""));
}

TEST_F(ClientReports, WhatPrintsATableUnderEachKind) {
    proc_.process("7", "/bin/w",
                  line(prices_ + "/slots", "rw-s") + line(prices_ + "/fenix") + line(prices_ + "/slots") +
                      line(prices_ + "/slots") + line(prices_ + "/conquer.1") + line(prices_ + "/conquer.1"));
    // Two slots less one conquer.1 that is no keyshadow's leave one, which is not more than the one of fenix.
    const std::string one =
        block(prices_, pricesCounts(), "Writer: -7(w) \nShadow: -7(w) \nKeyshadow: -7(w) \nReader: \n");
    EXPECT_EQ(what(7), "0\n" + sections(7, one, "", one, one));
}

TEST_F(ClientReports, WhatPrintsEveryTableOfTheProcess) {
    const std::string orders = CollectionBuilder(2, 2).build(root_, "orders").path();
    proc_.process("7", "/bin/r", line(prices_ + "/slots") + line(orders + "/slots"));
    const std::string text = what(7);
    const std::string first = block(prices_, pricesCounts(), "Writer: \nShadow: \nKeyshadow: \nReader: -7(r) \n");
    const std::string second = block(orders,
                                     "Capacity: slots:1048576 buckets:2 primary_notifications:4294967295 "
                                     "secondary_notifications:4294967295\nOccupied slots: 2\n",
                                     "Writer: \nShadow: \nKeyshadow: \nReader: -7(r) \n");
    EXPECT_TRUE(text == "0\n" + sections(7, "", first + second) || text == "0\n" + sections(7, "", second + first))
        << text;
}

TEST_F(ClientReports, ATableWithoutAKindIsNotSearchedForIt) {
    HalyxTable bare{"bare"};
    bare.clients.clear();
    HalyxTables tables;
    tables.insert(bare);
    EXPECT_EQ(run([&](HalyxClientScanner& scanner) {
                  scanner.printClientOf(5, tables);
                  return 0;
              }),
              "0\n" + sections(5, ""));
}

TEST_F(ClientReports, HostileNamesAreMadeSafe) {
    proc_.process("7", "/bin/e\x1b[2Jvil\n\"", line(prices_ + "/slots")).commandLine("7", "/x/c\x07\xff y");
    EXPECT_EQ(who(), "0\n" + block(prices_, pricesCounts(),
                                   "Writer: \nShadow: \nKeyshadow: \nReader: c\\x07\\xff-7(e\\x1b[2Jvil\\x0a\") \n"));
}

TEST_F(ClientReports, ALargeMachineIsReadOnce) {
    // Three thousand processes; each command line is asked for once, so a report is bound by the maps alone.
    std::string readers;
    for (int pid = 1; pid <= 3000; ++pid) {
        proc_.process(std::to_string(pid), "/bin/r", pid % 10 == 0 ? line(prices_ + "/slots") : line("/bin/r"));
        proc_.commandLine(std::to_string(pid), "r");
        readers += pid % 10 == 0 ? "r-" + std::to_string(pid) + "(r) " : "";
    }
    const std::string one =
        block(prices_, pricesCounts(), "Writer: \nShadow: \nKeyshadow: \nReader: " + readers + "\n");
    EXPECT_EQ(who(), "0\n" + one);
    EXPECT_EQ(whoAll(), "0\n" + one);
    EXPECT_EQ(what(3000), "0\n" + sections(3000, "", one));
}

} // namespace
