// What stands in the tool's environment beside its own variables changes nothing.

#include "cli/CliTest.h"
#include "fixtures/QueueOutput.h"

using namespace Fixtures;

namespace {

class Environment : public CliTest {
protected:
    /// What programs of all kinds look at, and what nobody does.
    void fillWithJunk() {
        const std::string junk = "\x1b]0;x\x07%s%n$(touch " + root_.file("junk") + ")`id`\n../../..";
        for (const char* const name : {"TERM",        "COLUMNS",       "LINES",       "LANG",     "LC_ALL",
                                       "LC_NUMERIC",  "LC_CTYPE",      "LANGUAGE",    "TZ",       "HOME",
                                       "USER",        "SHELL",         "IFS",         "ENV",      "BASH_ENV",
                                       "PAGER",       "TMPDIR",        "LS_COLORS",   "NO_COLOR", "FORCE_COLOR",
                                       "PWD",         "OLDPWD",        "EDITOR",      "DISPLAY",  "Q7",
                                       "Q7_ROOT",     "HALYX",         "HALYX_TRACE", "NORVU",    "NORVU_LOG",
                                       "SHMEM_DIR",   "HALYX_OPTIONS", "LOCPATH",     "NLSPATH",  "GCONV_PATH",
                                       "HOSTALIASES", "OUTPUT_CHARSET"}) {
            environment_[name] = junk;
        }
        environment_["LC_NUMERIC"] = "de_DE.UTF-8"; // a decimal comma, where that is installed
        environment_["EMPTY"] = "";
        environment_["LONG"] = std::string(100000, 'x');
    }
};

TEST_F(Environment, OfJunkChangesNoReport) {
    CollectionBuilder builder(4, 4);
    builder.valueType("double", 8).number(0, 0.5).number(1, -1e300).chain(2, {0, 1}).conquer(2, 2).notify(0, 7, 1);
    builder.build(root_, "prices");
    one("other");
    const Arguments reports[] = {{"prices"},
                                 {"-e", "-p", "prices"},
                                 {"-e", "-j", "prices"},
                                 {"-x", "prices"},
                                 {"-w", "prices"},
                                 {"-q", "-v", "prices"},
                                 {"-H", "prices"},
                                 {"-h"},
                                 {"nothing"},
                                 {""},
                                 {"-c", "0"},
                                 {"-Z"}};
    std::vector<Outcome> without;
    for (const Arguments& report : reports) {
        without.push_back(halyx(report));
        expectClean(without.back());
    }
    fillWithJunk();
    for (std::size_t i = 0; i < std::size(reports); ++i) {
        SCOPED_TRACE(reports[i].back());
        const bool queues = reports[i][0] == "-q"; // whose report tells how long it took
        const Outcome with = halyx(reports[i]);
        expectOutcome(with, without[i].status, queues ? with.out : without[i].out, without[i].err);
        EXPECT_EQ(withoutSeconds(with.out), withoutSeconds(without[i].out));
    }
    EXPECT_FALSE(exists(root_.file("junk")));
}

} // namespace
