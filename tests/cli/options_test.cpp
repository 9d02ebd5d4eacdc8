// The command line: help, handles, process ids, files, and which report wins.

#include "cli/CliTest.h"

using namespace Fixtures;

namespace {

const char* const kHelp = "Description:\n"
                          "   halyx is a simple utility that passively walks a Halyx table,\n"
                          "   printing the chain of elements for each bucket. It can also print\n"
                          "   the conquer queues, the headers, or the clients of Halyx tables.\n"
                          "\n"
                          "Usage:\n"
                          "   halyx [OPTIONS]\n"
                          "\n"
                          "   where OPTIONS are optional flags described below\n"
                          "   --who-all, -a       Prints per-collection info about processes that are\n"
                          "                       attached to each collection\n"
                          "   -f <FILE>           Direct output towards a file\n"
                          "   --handle, -H <PATH> Prints the trace handle for a collection path\n"
                          "\n"
                          "   halyx [OPTIONS] [EXPR]\n"
                          "\n"
                          "   where OPTIONS are optional flags described below, and EXPR is a\n"
                          "   halyx collection name, or the full path to a specific collection.\n"
                          "\n"
                          "   -e                  Enable printing of empty buckets\n"
                          "   -f <FILE>           Direct output towards a file\n"
                          "   -p                  Pretty prints of values\n"
                          "   -j                  Prints values in JSON format\n"
                          "   -q                  Print all notifications from both conquer queues\n"
                          "   -v                  Only print valid notifications. Requires -q\n"
                          "   -x                  Prints headers for the buckets, slots, and conquer\n"
                          "                       tables\n"
                          "   --who, -w           Prints info about processes that are attached to the\n"
                          "                       collection\n"
                          "\n"
                          "   --what, -c          Prints tables that have client with given PID\n"
                          "Help:\n"
                          "   --help, -h          Display this helper and exit\n"
                          "\n";

class Options : public CliTest {};

TEST_F(Options, HelpIsExact) {
    for (const std::string option : {"-h", "--help", "--hel"}) {
        expectOutcome(halyx({option}), 0, kHelp, "");
    }
}

TEST_F(Options, HelpEndsParsing) {
    expectOutcome(halyx({"-h", "-c", "0"}), 0, kHelp, "");
    expectOutcome(halyx({"-a", "-w", "-h", "nothing"}), 0, kHelp, "");
}

TEST_F(Options, HelpGoesToStandardOutputAlsoWithAFile) {
    expectOutcome(halyx({"-f", root_.file("out"), "-h"}), 0, kHelp, "");
    EXPECT_FALSE(exists(root_.file("out")));
}

TEST_F(Options, BadOptionsPrintTheHelpAfterAComplaint) {
    for (const Arguments& arguments : std::vector<Arguments>{{"-z"},
                                                             {"--nonsense"},
                                                             {"-f"},
                                                             {"-c"},
                                                             {"-H"},
                                                             {"--what"},
                                                             {"--handle"},
                                                             {"--who=x"},
                                                             {"-wz", "-c", "0"},
                                                             {"--h"}}) {
        const Outcome outcome = halyx(arguments);
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 0) << arguments[0];
        EXPECT_EQ(outcome.out, kHelp) << arguments[0];
        EXPECT_FALSE(outcome.err.empty()) << arguments[0];
    }
    expectPart(halyx({"-z"}).err, "invalid option -- 'z'");
    expectPart(halyx({"-f"}).err, "option requires an argument -- 'f'");
    expectPart(halyx({"--nonsense"}).err, "unrecognized option '--nonsense'");
}

TEST_F(Options, HandleNamesTheTraceHandler) {
    expectOutcome(halyx({"-H", "prices"}), 0, "Halyx-prices\n", "");
    expectOutcome(halyx({"--handle", "a/prices"}), 0, "Halyx-a/prices\n", "");
    expectOutcome(halyx({"--handle=a/prices"}), 0, "Halyx-a/prices\n", "");
    expectOutcome(halyx({"-H", root_.collections() + "/a/prices"}), 0, "Halyx-a/prices\n", "");
    expectOutcome(halyx({"-H", root_.collections() + "/a/prices/"}), 0, "Halyx-a/prices\n", "");
    expectOutcome(halyx({"-H", "/var/shmem/halyxes/a"}), 0, "Halyx-var/shmem/halyxes/a\n", "");
    expectOutcome(halyx({"-H", ""}), 0, "Halyx-\n", "");
}

TEST_F(Options, HandleWithoutAChrootIsBelowTheRealRoot) {
    for (const std::string value : {"", "1"}) {
        environment_["Q7_CHROOT"] = value;
        expectOutcome(halyx({"-H", "/var/shmem/halyxes/a/prices"}), 0, "Halyx-a/prices\n", "");
    }
}

TEST_F(Options, HandleEndsParsing) {
    expectOutcome(halyx({"-H", "p", "-c", "0"}), 0, "Halyx-p\n", "");
    expectOutcome(halyx({"-a", "-f", "/missing/x", "-H", "p", "-z"}), 0, "Halyx-p\n", "");
    expectOutcome(halyx({"-c", "0", "-H", "p"}), 1, "", "0 is an invalid PID\n");
}

TEST_F(Options, PidThatIsNoNumber) {
    for (const std::string text : {"abc", "x12", "", " ", "-", "+", "- 5"}) {
        expectOutcome(halyx({"-c", text}), 1, "", "Error obtaining client with PID" + text + ": stoi\n");
        expectOutcome(halyx({"--what", text}), 1, "", "Error obtaining client with PID" + text + ": stoi\n");
    }
}

TEST_F(Options, PidBeyond32Bits) {
    for (const std::string text : {"2147483648", "-2147483649", "4294967297", "99999999999", "99999999999999999999999",
                                   "-99999999999999999999999", "9223372036854775807"}) {
        expectOutcome(halyx({"-c", text}), 1, "", "Error obtaining client with PID" + text + ": stoi\n");
    }
}

TEST_F(Options, PidThatIsNotPositive) {
    expectOutcome(halyx({"-c", "0"}), 1, "", "0 is an invalid PID\n");
    expectOutcome(halyx({"-c", "-5"}), 1, "", "-5 is an invalid PID\n");
    expectOutcome(halyx({"-c-5x"}), 1, "", "-5 is an invalid PID\n");
    expectOutcome(halyx({"-c", "-2147483648"}), 1, "", "-2147483648 is an invalid PID\n");
    expectOutcome(halyx({"-c", "0x10"}), 1, "", "0 is an invalid PID\n");
    expectOutcome(halyx({"-a", "-c", "0"}), 1, "", "0 is an invalid PID\n");
    expectOutcome(halyx({"-c", "5", "-c", "0"}), 1, "", "0 is an invalid PID\n");
}

TEST_F(Options, PidThatIsTaken) {
    for (const std::string text : {"12x", "12", " 12", "+12", "\t12", "2147483647", "012", "12 abc"}) {
        const Outcome outcome = halyx({"-c", text});
        expectClean(outcome);
        expectNoPart(outcome.err, "Error obtaining");
        expectNoPart(outcome.err, "invalid PID");
        expectNoPart(outcome.err, "No table was found");
    }
}

TEST_F(Options, OutputFileThatCannotBeOpened) {
    one("prices");
    const std::string file = root_.file("missing/out");
    const auto lines = [&](const std::string& scanner) {
        return "Error opening " + file + "\nFailed to initialize " + scanner + ".\n";
    };
    expectOutcome(halyx({"-a", "-f", file}), 1, "", lines("HalyxClientScanner"));
    expectOutcome(halyx({"-w", "-f", file, "prices"}), 1, "", lines("HalyxClientScanner"));
    expectOutcome(halyx({"-x", "-f", file, "prices"}), 1, "", lines("HalyxHeaderScanner"));
    expectOutcome(halyx({"-q", "-f", file, "prices"}), 1, "", lines("HalyxConquerScanner"));
    expectOutcome(halyx({"-f", file, "prices"}), 1, "", lines("HalyxConquerScanner"));
}

TEST_F(Options, WhatGoesOnWithoutItsOutputFile) {
    const std::string file = root_.file("missing/out");
    const Outcome outcome = halyx({"-c", "5", "-f", file});
    expectClean(outcome);
    const std::string begin = "Error opening " + file + "\nFailed to initialize HalyxClientScanner.\n";
    EXPECT_EQ(outcome.err.substr(0, begin.size()), begin);
}

TEST_F(Options, ReportsHaveAFixedOrder) {
    one("prices");
    const std::string file = root_.file("missing/out");
    expectPart(halyx({"-q", "-x", "-w", "-f", file, "prices"}).err, "HalyxClientScanner.\n");
    expectPart(halyx({"-q", "-x", "-f", file, "prices"}).err, "HalyxHeaderScanner.\n");
    expectPart(halyx({"-q", "-e", "-v", "-f", file, "prices"}).err, "HalyxConquerScanner.\n");
    expectNoPart(halyx({"-a", "-c", "5", "nothing"}).err, "No table was found");
    expectNoPart(halyx({"-c", "5", "-w", "nothing"}).err, "No table was found");
    expectOutcome(halyx({"-w", "-x", "-q", "nothing"}), 1, "", "No table was found.\n");
}

TEST_F(Options, OutputFileTakesTheReport) {
    one("prices");
    const std::string file = root_.file("out");
    expectOutcome(halyx({"-f", file, "prices"}), 0, "", "");
    EXPECT_EQ(readFile(file), oneWalk());
}

TEST_F(Options, OutputFileIsTruncated) {
    one("prices");
    const std::string file = root_.file("out");
    writeFile(file, std::string(10000, 'x'));
    expectOutcome(halyx({"-f", file, "prices"}), 0, "", "");
    EXPECT_EQ(readFile(file), oneWalk());
}

TEST_F(Options, TheLastOutputFileWins) {
    one("prices");
    expectOutcome(halyx({"-f", root_.file("first"), "-f", root_.file("second"), "prices"}), 0, "", "");
    EXPECT_FALSE(exists(root_.file("first")));
    EXPECT_EQ(readFile(root_.file("second")), oneWalk());
}

TEST_F(Options, OutputFileIsNotTouchedWhenNothingIsFound) {
    writeFile(root_.file("out"), "kept");
    expectOutcome(halyx({"-f", root_.file("out"), "nothing"}), 1, "", "No table was found.\n");
    EXPECT_EQ(readFile(root_.file("out")), "kept");
}

TEST_F(Options, AnEmptyOutputFileNameMeansStandardOutput) {
    one("prices");
    expectOutcome(halyx({"-f", "", "prices"}), 0, oneWalk(), "");
}

TEST_F(Options, WriteErrorsAreNotChecked) {
    one("prices");
    expectOutcome(halyx({"-f", "/dev/full", "prices"}), 0, "", "");
}

TEST_F(Options, OnlyTheFirstOperandCounts) {
    one("prices");
    one("orders");
    expectOutcome(halyx({"prices", "orders"}), 0, oneWalk(), "");
    expectOutcome(halyx({"prices", "nothing", "-v"}), 0, oneWalk(), "");
    expectOutcome(halyx({"--", "prices", "-z"}), 0, oneWalk(), "");
}

TEST_F(Options, OptionsMayFollowTheOperand) {
    one("prices");
    expectOutcome(halyx({"prices", "-p"}), 0, "bucket[0] 0-->1 7fffffff --> none\n" + statistics(), "");
}

TEST_F(Options, ValidOnlyWithoutQueuesWalks) {
    one("prices");
    expectOutcome(halyx({"-v", "prices"}), 0, oneWalk(), "");
}

TEST_F(Options, TheLastStyleWins) {
    CollectionBuilder(1, 1).valueType("char[8]", 8).value(0, "\x01").chain(0, {0}).build(root_, "text");
    const auto walk = [](const std::string& value) {
        return "bucket[0] 0-->" + value + " 7fffffff --> none\n" + statistics();
    };
    expectOutcome(halyx({"text"}), 0, walk("0100000000000000"), "");
    expectOutcome(halyx({"-p", "text"}), 0, walk("\"\\x01\""), "");
    expectOutcome(halyx({"-j", "text"}), 0, walk("\"\\u0001\""), "");
    expectOutcome(halyx({"-j", "-p", "text"}), 0, walk("\"\\x01\""), "");
    expectOutcome(halyx({"-p", "-j", "text"}), 0, walk("\"\\u0001\""), "");
    expectOutcome(halyx({"-jp", "text"}), 0, walk("\"\\x01\""), "");
}

} // namespace
