#include "Norvu/Exception.h"
#include "fixtures/Process.h"
#include "unit/writer/WriterTest.h"
#include "writer/ChurnValue.h"
#include "writer/Errors.h"
#include "writer/ProcessRecord.h"

#include <csignal>
#include <sstream>
#include <unistd.h>

namespace {

using Fixtures::Outcome;
using Fixtures::Process;

/// The program beside this test's own binary.
class WriterProgramTest : public WriterTest {
protected:
    void SetUp() override {
        char self[4096];
        const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self);
        ASSERT_GT(length, 0);
        const std::string path(self, static_cast<std::size_t>(length));
        binary_ = path.substr(0, path.rfind("/tests/")) + "/bin/halyx-writer";
        if (!Fixtures::exists(binary_)) {
            GTEST_SKIP() << binary_ << " is not built";
        }
    }

    [[nodiscard]] Outcome run(const std::vector<std::string>& arguments, const std::string& input = {}) const {
        return Process(binary_, arguments)
            .environment("Q7_CHROOT", root_.path())
            .environment("HALYX_TYPE_PATH", root_.path())
            .input(input)
            .run();
    }
    [[nodiscard]] std::vector<std::string> valuesOf(const std::string& collection) const {
        return sorted(FileWalk(pathOf(collection)).values());
    }
    static void expectFailure(const Outcome& outcome, int status, const std::string& complaint) {
        EXPECT_TRUE(outcome.clean()) << outcome.describe();
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "halyx-writer: " + complaint + "\n");
    }
    static void expectReady(const Outcome& outcome, const std::string& collection) {
        EXPECT_TRUE(outcome.clean()) << outcome.describe();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, "ready " + collection + "\n");
        EXPECT_EQ(outcome.err, "");
    }

    std::string binary_;
};

TEST_F(WriterProgramTest, HelpTellsOfEveryCommand) {
    const Outcome help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const std::string command : {"create", "load", "churn", "mirror-proc", "attach"}) {
        EXPECT_NE(help.out.find("\n  " + command + " "), std::string::npos) << command;
        const Outcome more = run({command, "--help"});
        EXPECT_EQ(more.status, 0);
        EXPECT_EQ(more.err, "");
        EXPECT_EQ(more.out.find("usage: halyx-writer " + command + " COLLECTION"), 0U);
    }
    EXPECT_EQ(run({"--version"}).out.find("halyx-writer "), 0U);
}

TEST_F(WriterProgramTest, MisuseReturnsTwo) {
    expectFailure(run({}), 2, "no command; halyx-writer --help lists them");
    expectFailure(run({"mend"}), 2, "unknown command 'mend'; halyx-writer --help lists them");
    expectFailure(run({"create"}), 2, "create: an argument is missing; see halyx-writer create --help");
    expectFailure(run({"create", "x", "--type", "Odd"}), 2,
                  "create: type 'Odd' is not built in, and no file 'Odd.h' in " + root_.path() +
                      " describes it; see halyx-writer create --help");
    expectFailure(run({"load", "x", "--type", "Odd"}), 2,
                  "load: type 'Odd' is not built in, and no file 'Odd.h' in " + root_.path() +
                      " describes it; see halyx-writer load --help");
    expectFailure(
        run({"attach", "x", "--as", "writer"}), 2,
        "attach: option '--as' needs reader, shadow or keyshadow, not 'writer'; see halyx-writer attach --help");
    for (const char* const command : {"create", "load", "churn"}) {
        std::vector<std::string> words{command, "x", "--max-slots", "0"};
        if (words[0] != "churn") {
            words.insert(words.end(), {"--type", "U8"});
        }
        expectFailure(run(words), 2,
                      words[0] +
                          ": option '--max-slots' needs a number from 1 to 4294967295, not '0'; see halyx-writer " +
                          words[0] + " --help");
    }
    EXPECT_TRUE(filesIn(root_.collections()).empty());
}

TEST_F(WriterProgramTest, FailuresReturnOne) {
    expectFailure(run({"create", "a/../b", "--type", "U8"}), 1, "'a/../b' cannot be the name of a collection");
    expectFailure(run({"create", "a\x1b", "--type", "U8", "--max-slots", "4294967295"}), 1,
                  "a table of 24-byte slots has at most 178956961 slots, not 4294967295");
    expectFailure(run({"attach", "none", "--as", "reader"}), 1,
                  "cannot map " + pathOf("none") + "/slots: there is no such file, or it is empty");
}

TEST_F(WriterProgramTest, CreateMakesAnEmptyCollection) {
    expectReady(run({"create", "a/empty", "--type", "U64", "--conquer", "--class", "Counter"}), "a/empty");
    const FileWalk walk(pathOf("a/empty"));
    EXPECT_TRUE(walk.values().empty());
    EXPECT_EQ(walk.header().valueSize, 8U);
    EXPECT_EQ(walk.header().flags, 2U);
    EXPECT_STREQ(walk.header().classType, "Counter");
    expectReady(run({"create", "a/empty", "--type", "Odd", "--size", "40", "--dynamic"}), "a/empty");
    EXPECT_STREQ(FileWalk(pathOf("a/empty")).header().valueType, "Odd");
}

TEST_F(WriterProgramTest, LoadTakesCsvAndJson) {
    expectReady(run({"load", "services", "--type", "char[16]", "--dynamic"}, "name,port\nssh,22\n\"a,b\",1\nssh,23\n"),
                "services");
    EXPECT_EQ(valuesOf("services"), (std::vector<std::string>{"a,b 1", "ssh 23"}));
    const std::string file = root_.file("in.jsonl");
    Fixtures::writeFile(file, "{\"k\":\"x\",\"v\":1}\n{\"v\":2,\"k\":\"y\"}\n");
    expectReady(run({"load", "numbers", file, "--type", "U8", "--key", "k"}), "numbers");
    EXPECT_EQ(valuesOf("numbers"), (std::vector<std::string>{"\1", "\2"}));
}

TEST_F(WriterProgramTest, ABadLineLoadsNothing) {
    expectReady(run({"load", "numbers", "--type", "U8"}, "k,v\na,1\n"), "numbers");
    expectFailure(run({"load", "numbers", "--type", "U8"}, "k,v\na,2\nb,300\n"), 1,
                  "standard input:3: '300' is no value of type U8");
    EXPECT_EQ(valuesOf("numbers"), std::vector<std::string>{"\1"});
    expectFailure(run({"load", "fresh", "--type", "U8", "--key", "z"}, "k,v\na,2\n"), 1,
                  "standard input:2: there is no column 'z'");
    EXPECT_FALSE(Fixtures::exists(pathOf("fresh")));
    expectFailure(run({"load", "fresh", "--type", "U8", "--format", "jsonl"}, "{\"k\":null,\"v\":1}\n"), 1,
                  "standard input:1: the key is null");
    EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
}

TEST_F(WriterProgramTest, ALoadThatStaysIsTheWriterUntilStopped) {
    for (const int number : {SIGTERM, SIGINT}) {
        Process writer(binary_, {"load", "stays", "--type", "U8", "--stay"});
        writer.environment("Q7_CHROOT", root_.path()).input("k,v\na,1\n").start();
        std::string line;
        ASSERT_TRUE(writer.readLine(line, 20));
        EXPECT_EQ(line, "ready stays");
        EXPECT_TRUE(writer.running());
        expectFailure(run({"create", "stays", "--type", "U8"}), 1, "the collection 'stays' has a live writer");
        writer.signal(number);
        expectReady(writer.wait(), "stays");
    }
    EXPECT_EQ(valuesOf("stays"), std::vector<std::string>{"\1"});
}

TEST_F(WriterProgramTest, ChurnLeavesValuesThatCheck) {
    for (const bool dynamic : {false, true}) {
        std::vector<std::string> arguments = {"churn",     "churned",     "--rate", "0",      "--seconds",
                                              "0.3",       "--stable",    "50",     "--keys", "500",
                                              "--conquer", "--grow-from", "2"};
        if (dynamic) {
            arguments.push_back("--dynamic");
        }
        for (const bool restart : {false, true}) {
            if (restart) {
                arguments.push_back("--restart");
            }
            const Outcome outcome = run(arguments);
            EXPECT_TRUE(outcome.clean()) << outcome.describe();
            EXPECT_EQ(outcome.status, 0);
            EXPECT_EQ(outcome.out.find("ready churned\nseed 1, operations "), 0U) << outcome.out;
            std::size_t stable = 0;
            for (const std::string& value : valuesOf("churned")) {
                Halyx::Writer::ChurnHead head{};
                ASSERT_TRUE(Halyx::Writer::readChurnValue(value, dynamic, head));
                stable += head.key < 50 ? 1 : 0;
            }
            EXPECT_EQ(stable, 50U);
        }
    }
}

TEST_F(WriterProgramTest, AFullTableDoesNotEndTheChurn) {
    const Outcome outcome = run({"churn", "full", "--rate", "0", "--seconds", "0.2", "--max-slots", "20"});
    EXPECT_EQ(outcome.status, 0) << outcome.describe();
    EXPECT_EQ(outcome.out.find(", refused 0"), std::string::npos);
    EXPECT_LE(FileWalk(pathOf("full")).values().size(), 20U);
}

TEST_F(WriterProgramTest, MirrorProcFollowsTheTable) {
    const std::string proc = root_.file("proc");
    const auto process = [&](const std::string& pid, const std::string& command) {
        Fixtures::makeDirectories(proc + "/" + pid);
        Fixtures::writeFile(proc + "/" + pid + "/cmdline", command);
        Fixtures::writeFile(proc + "/" + pid + "/stat", pid + " (x) S 1 1 1 0 -1 1 2 3 4 5 6 7 8 9 20 0 1 0 0 1 1 1\n");
    };
    const auto commands = [&] {
        std::vector<std::string> all;
        for (const std::string& value : valuesOf("processes")) {
            all.push_back(value.substr(Halyx::Writer::kProcessHeadSize));
        }
        return sorted(all);
    };
    process("1", "init");
    process("2", "shell");
    Process writer(binary_, {"mirror-proc", "processes", "--root", proc, "--interval", "0.05"});
    writer.environment("Q7_CHROOT", root_.path()).start();
    std::string line;
    ASSERT_TRUE(writer.readLine(line, 20));
    EXPECT_EQ(commands(), (std::vector<std::string>{"init", "shell"}));
    process("3", "new");
    ASSERT_EQ(::unlink((proc + "/1/stat").c_str()), 0);
    process("2", "shell --changed");
    ::usleep(1000000);
    writer.signal(SIGTERM);
    expectReady(writer.wait(), "processes");
    EXPECT_EQ(commands(), (std::vector<std::string>{"new", "shell --changed"}));
}

TEST_F(WriterProgramTest, AttachMapsWhatSuchAClientMaps) {
    ASSERT_EQ(run({"create", "mapped", "--type", "U8", "--conquer"}).status, 0);
    const std::map<std::string, std::vector<std::string>> expected = {
        {"reader", {"buckets", "slots"}},
        {"shadow", {"buckets", "conquer.1", "conquer.2", "slots"}},
        {"keyshadow", {"buckets", "conquer.1", "conquer.2", "fenix", "slots"}}};
    for (const auto& [kind, files] : expected) {
        Process client(binary_, {"attach", "mapped", "--as", kind});
        client.environment("Q7_CHROOT", root_.path()).start();
        std::string line;
        ASSERT_TRUE(client.readLine(line, 20));
        const std::string maps = Fixtures::readFile("/proc/" + std::to_string(client.pid()) + "/maps");
        std::vector<std::string> mapped;
        std::istringstream lines(maps);
        while (std::getline(lines, line)) {
            const std::size_t at = line.find(pathOf("mapped") + "/");
            if (at != std::string::npos) {
                EXPECT_NE(line.find(" r--s "), std::string::npos) << line;
                mapped.push_back(line.substr(at + pathOf("mapped").size() + 1));
            }
        }
        EXPECT_EQ(sorted(mapped), files);
        client.signal(SIGTERM);
        expectReady(client.wait(), "mapped");
    }
}

} // namespace
