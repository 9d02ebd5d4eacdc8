// Trace records: their form, which are written, and what they say of a walk.

#include "cli/CliTest.h"

#include <ctime>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace Fixtures;

namespace {

class Tracing : public CliTest {
protected:
    static constexpr const char* kDirNode = "/usr/include/Norvu/DirNode";
    static constexpr const char* kFinder = "/usr/include/SharedMem/TableFinder";

    /// Expects a record with that text, and everything else about it.
    static void expectRecord(const std::vector<TraceRecord>& records, const std::string& handler, int level,
                             const std::string& source, int line, const std::string& function,
                             const std::string& text) {
        const TraceRecord record = findRecord(records, text);
        ASSERT_NE(record.level, -2) << "no record says: " << text << "\n" << allTexts(records);
        EXPECT_EQ(record.handler, handler) << text;
        EXPECT_EQ(record.level, level) << text;
        EXPECT_EQ(record.source, source) << text;
        EXPECT_EQ(record.function, function) << text;
        if (line != 0) {
            EXPECT_EQ(record.line, line) << text;
        }
    }

    static std::size_t count(const std::vector<TraceRecord>& records, const std::string& text) {
        std::size_t found = 0;
        for (const TraceRecord& record : records) {
            found += record.text == text ? 1U : 0U;
        }
        return found;
    }
};

TEST_F(Tracing, IsOffByDefault) {
    one("prices");
    environment_["NORVU_TRACE_FILE"] = root_.file("trace");
    expectOutcome(halyx({"prices"}), 0, oneWalk(), "");
    EXPECT_TRUE(!exists(root_.file("trace")) || readFile(root_.file("trace")).empty());
    environment_["NORVU_TRACE"] = "";
    expectOutcome(halyx({"prices"}), 0, oneWalk(), "");
}

TEST_F(Tracing, RecordsGoToStandardErrorWithoutAFile) {
    one("prices");
    environment_["NORVU_TRACE"] = "HalyxScanner=3";
    const Outcome outcome = halyx({"prices"});
    EXPECT_EQ(outcome.out, oneWalk());
    const auto records = parseTrace(outcome.err);
    ASSERT_EQ(records.size(), 1U) << outcome.err;
    expectRecord(records, "HalyxScanner", 3, kFinder, 126, "find", "TableFinder::find() expression: prices");
    EXPECT_EQ(outcome.err,
              records[0].time + " HalyxScanner 3 " + kFinder + ":126 find: TableFinder::find() expression: prices\n");
}

TEST_F(Tracing, RecordsAreAppendedToTheFile) {
    one("prices");
    writeFile(root_.file("trace"), "before\n");
    environment_["NORVU_TRACE"] = "HalyxScanner=3";
    environment_["NORVU_TRACE_FILE"] = root_.file("trace");
    expectOutcome(halyx({"prices"}), 0, oneWalk(), "");
    expectOutcome(halyx({"prices"}), 0, oneWalk(), "");
    const auto records = parseTrace(readFile(root_.file("trace")));
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].text, "before");
    EXPECT_EQ(records[2].text, "TableFinder::find() expression: prices");
}

TEST_F(Tracing, TimesAreOfNoZone) {
    one("prices");
    // As the C library takes a zone: the file that it names, whatever that is.
    ASSERT_EQ(::mkfifo(root_.file("zone").c_str(), 0600), 0);
    for (const std::string& zone : {std::string("XYZ-7"), ":" + root_.file("zone")}) {
        environment_["TZ"] = zone;
        const std::time_t before = std::time(nullptr);
        const auto records = traced({"prices"}, "HalyxScanner=3");
        const std::time_t after = std::time(nullptr);
        ASSERT_EQ(records.size(), 1U);
        std::tm utc{};
        ASSERT_NE(::strptime(records[0].time.c_str(), "%Y-%m-%dT%H:%M:%S", &utc), nullptr) << records[0].time;
        EXPECT_GE(::timegm(&utc), before);
        EXPECT_LE(::timegm(&utc), after);
        EXPECT_TRUE(std::filesystem::remove(root_.file("trace")));
    }
}

TEST_F(Tracing, EveryRecordHasItsForm) {
    CollectionBuilder builder(2, 2);
    builder.dynamic().valueType("Payload", 16).offset(0, 0, 0).chain(0, {0}).slab(0, 24, {"x"});
    builder.build(root_, "prices");
    const auto records = traced({"prices"});
    EXPECT_GT(records.size(), 20U);
    for (const TraceRecord& record : records) {
        EXPECT_GE(record.level, 0) << record.text;
        EXPECT_TRUE(record.handler == "HalyxScanner" || record.handler == "Halyx-prices" ||
                    record.handler == "HalyxConquerScanner")
            << record.handler;
        EXPECT_LE(record.level, 9);
        EXPECT_GT(record.line, 0);
    }
}

TEST_F(Tracing, LevelsAndHandlersAreChosen) {
    one("prices");
    for (const TraceRecord& record : traced({"prices"}, "Halyx-*=0-5;HalyxScanner=9")) {
        EXPECT_TRUE(record.handler == "Halyx-prices" ? record.level <= 5 : record.level == 9) << record.text;
    }
    ASSERT_EQ(::unlink(root_.file("trace").c_str()), 0);
    EXPECT_TRUE(traced({"prices"}, "*=*;*=31").empty());
    EXPECT_TRUE(traced({"prices"}, "Other*=*;halyx*=*").empty());
}

TEST_F(Tracing, MalformedEntriesAreNamedOnce) {
    one("prices");
    environment_["NORVU_TRACE"] = "nonsense;HalyxScanner=x;;=1;Halyx-a=3-1";
    expectOutcome(halyx({"prices"}), 0, oneWalk(),
                  "halyx: ignoring NORVU_TRACE entry 'nonsense'\n"
                  "halyx: ignoring NORVU_TRACE entry 'HalyxScanner=x'\n"
                  "halyx: ignoring NORVU_TRACE entry '=1'\n"
                  "halyx: ignoring NORVU_TRACE entry 'Halyx-a=3-1'\n");
    environment_["NORVU_TRACE"] = "a\x1b=\n";
    expectOutcome(halyx({"prices"}), 0, oneWalk(), "halyx: ignoring NORVU_TRACE entry 'a\\x1b=\\x0a'\n");
}

TEST_F(Tracing, FileThatCannotBeOpenedDoesNotStopTheReport) {
    one("prices");
    environment_["NORVU_TRACE"] = "HalyxScanner=3";
    environment_["NORVU_TRACE_FILE"] = root_.file("missing/trace");
    const Outcome outcome = halyx({"prices"});
    expectClean(outcome);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, oneWalk());
}

TEST_F(Tracing, AFifoThatNobodyReadsDoesNotStopTheReport) {
    one("prices");
    ASSERT_EQ(::mkfifo(root_.file("trace").c_str(), 0600), 0);
    environment_["NORVU_TRACE"] = "HalyxScanner=3";
    environment_["NORVU_TRACE_FILE"] = root_.file("trace");
    const Outcome outcome = halyx({"prices"});
    expectClean(outcome);
    EXPECT_EQ(outcome.out, oneWalk());
    EXPECT_EQ(parseTrace(outcome.err).size(), 1U) << outcome.err;
}

TEST_F(Tracing, TheSearch) {
    one("a/prices");
    makeDirectories(root_.collections() + "/b");
    const auto records = traced({"rice"});
    const std::string root = root_.collections();
    expectRecord(records, "HalyxScanner", 3, kFinder, 126, "find", "TableFinder::find() expression: rice");
    expectRecord(records, "HalyxScanner", 9, kDirNode, 65, "DirNode", "DirNode::DirNode() path: " + root);
    expectRecord(records, "HalyxScanner", 9, kDirNode, 65, "DirNode", "DirNode::DirNode() path: " + root + "/a/prices");
    expectRecord(records, "HalyxScanner", 9, kDirNode, 83, "readEntry", "DirNode::readEntry() path: " + root + "/b");
    expectRecord(records, "HalyxScanner", 9, kDirNode, 70, "~DirNode", "DirNode::~DirNode() path: " + root + "/b");
    expectRecord(records, "HalyxScanner", 5, kFinder, 188, "find", "TableFinder::find() found table 'a/prices'");
    EXPECT_EQ(count(records, "DirNode::~DirNode() path: " + root), 1U);
    EXPECT_EQ(count(records, "TableFinder::find() filename: slots matched by supplied FileCompare") +
                  count(records, "TableFinder::find() filename: buckets matched by supplied FileCompare"),
              1U);
    for (const TraceRecord& record : records) {
        if (record.text.find("matched by supplied FileCompare") != std::string::npos) {
            EXPECT_EQ(record.level, 5);
            EXPECT_EQ(record.source, kFinder);
            EXPECT_EQ(record.line, 178);
            EXPECT_EQ(record.function, "find");
        }
    }
}

TEST_F(Tracing, ASearchThatMatchesNothingNamesEveryFile) {
    one("prices");
    const auto records = traced({"orders"});
    EXPECT_EQ(count(records, "TableFinder::find() filename: slots matched by supplied FileCompare"), 1U);
    EXPECT_EQ(count(records, "TableFinder::find() filename: buckets matched by supplied FileCompare"), 1U);
    EXPECT_EQ(count(records, "TableFinder::find() found table 'prices'"), 0U);
}

TEST_F(Tracing, DirectoriesThatCannotBeOpened) {
    environment_["Q7_CHROOT"] = "/no/such/place";
    expectRecord(traced({"x"}), "HalyxScanner", 9, kDirNode, 53, "openDir",
                 "DirNode::DirNode() failed to open /no/such/place/var/shmem/halyxes errno: No such file or directory");
    const std::string plain = root_.file("plain");
    makeDirectories(plain + "/var/shmem");
    writeFile(plain + "/var/shmem/halyxes", "");
    environment_["Q7_CHROOT"] = plain;
    expectRecord(traced({"x"}), "HalyxScanner", 9, kDirNode, 53, "openDir",
                 "DirNode::DirNode() failed to open " + plain + "/var/shmem/halyxes errno: Not a directory");
    const std::string longName = "/" + std::string(300, 'x');
    environment_["Q7_CHROOT"] = longName;
    expectRecord(traced({"x"}), "HalyxScanner", 1, kDirNode, 55, "openDir",
                 "DirNode::DirNode() failed to open " + longName + "/var/shmem/halyxes errno: File name too long");
}

TEST_F(Tracing, TheMappingsOfAWalk) {
    const Collection c = one("a/prices");
    const auto records = traced({"prices"});
    expectRecord(records, "Halyx-a/prices", 5, "/usr/include/SharedMem/SharedMemWrapper", 33, "SharedMemWrapper",
                 "SharedMemWrapper::SharedMemWrapper() prefix:" + c.path() + " name:slots localMem:0");
    EXPECT_EQ(count(records, "SharedMemWrapper::SharedMemWrapper() prefix:" + c.path() + " name:slab0 localMem:0"), 0U);
}

TEST_F(Tracing, TheMappingsOfADynamicWalk) {
    CollectionBuilder builder(2, 2);
    builder.dynamic().valueType("Payload", 16).offset(0, 3, 0).offset(1, 3, 1).chain(0, {0, 1}).slab(3, 24, {"x", "y"});
    const Collection c = builder.build(root_, "prices");
    const auto records = traced({"prices"});
    for (int number = 0; number < 32; ++number) {
        EXPECT_EQ(count(records, "SharedMemWrapper::SharedMemWrapper() prefix:" + c.path() + " name:slab" +
                                     std::to_string(number) + " localMem:0"),
                  1U);
    }
    const TraceRecord attached =
        findRecord(records, "SlabReader-3-?::attach() " + c.file("slab3") + " successfully attached");
    EXPECT_EQ(attached.level, 1) << allTexts(records);
    EXPECT_EQ(attached.handler, "Halyx-prices");
    const TraceRecord resized =
        findRecord(records, "SlabReader-3-24::doResize() " + c.file("slab3") + " from 0 entries to 2");
    EXPECT_EQ(resized.level, 2) << allTexts(records);
    const TraceRecord header =
        findRecord(records, "SlabHeader()  magic:424c534b53414c50 version:1 fenix:71234 numEntries:3:2 "
                            "entrySize:24 freeList:4294967295");
    EXPECT_EQ(header.level, 3) << allTexts(records);
}

TEST_F(Tracing, TheSlotTablesHeader) {
    CollectionBuilder builder(3, 5);
    builder.fillNumbers();
    builder.slotsHeader.occupiedSlots = 2;
    builder.slotsHeader.freeSlots = 3;
    builder.slotsHeader.mostSlots = 7;
    builder.slotsHeader.maxSlots = 26;
    builder.build(root_, "prices");
    const auto records = traced({"prices"});
    const std::string text =
        "SlotTable::Header()  magic:544c5358594c4148 version:12 fenix:71234 valueSize:8 valueType:U64 "
        "classType:Test maxSlots:26 hash:" +
        hexNumber(slotsChecksum(builder.slotsHeader)) +
        " slotSize: 24 occupiedSlots:2 freeSlots: 3 mostSlots:7 numSlots:1a:5";
    expectRecord(records, "Halyx-prices", 3, "SlotTable", 0, "trace", text);
}

TEST_F(Tracing, FailedChecks) {
    CollectionBuilder builder(1, 1);
    builder.slotsHeader.version = 26;
    builder.build(root_, "prices");
    expectRecord(traced({"prices"}), "Halyx-prices", 0, "SlotTable", 0, "validate",
                 "SlotTable::Header::validate() bad version: 26");
}

TEST_F(Tracing, HostileNamesStayOnOneLine) {
    one("evil\n2026-01-01T00:00:00.000000Z fake 0 x:1 y: z");
    for (const TraceRecord& record : traced({""})) {
        EXPECT_NE(record.level, -1) << record.text;
        EXPECT_NE(record.handler, "fake");
    }
}

} // namespace
