// From an expression to a collection: patterns, full paths, exact matches, hostile names, chroots.

#include "cli/CliTest.h"

#include <algorithm>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using namespace Fixtures;

namespace {

class Lookup : public CliTest {
protected:
    static constexpr const char* kMany =
        "More than one table was found. Try again using one of the following tables:\n";

    static std::string hint(const std::string& expression) {
        return "Exact match found. There are other matches. To see the other matches, try using the following:\n    '" +
               expression + "*'\n";
    }

    /// Expects the list of these collections, in the order of the directory's reads, which is not ours to know.
    void expectList(const Outcome& outcome, std::vector<std::string> names) {
        expectClean(outcome);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        std::istringstream lines(outcome.err);
        std::string first;
        std::getline(lines, first);
        EXPECT_EQ(first + "\n", kMany);
        std::vector<std::string> got;
        for (std::string line; std::getline(lines, line);) {
            EXPECT_EQ(line.substr(0, 4), "  - ") << line;
            got.push_back(line.size() > 4 ? line.substr(4) : "");
        }
        std::sort(got.begin(), got.end());
        std::sort(names.begin(), names.end());
        EXPECT_EQ(got, names);
    }

    void expectNothing(const std::string& expression) {
        SCOPED_TRACE(expression);
        expectOutcome(halyx({expression}), 1, "", "No table was found.\n");
    }

    /// Expects a walk of a collection that one() made.
    void expectWalk(const std::string& expression) {
        SCOPED_TRACE(expression);
        expectOutcome(halyx({expression}), 0, oneWalk(), "");
    }
};

TEST_F(Lookup, NothingBelowTheRoot) {
    expectNothing("");
    expectNothing("prices");
    expectNothing("*");
}

TEST_F(Lookup, NoRootAtAll) {
    environment_["Q7_CHROOT"] = root_.file("not there");
    expectNothing("");
    environment_["Q7_CHROOT"] = "/proc/self/nothing/here";
    expectNothing("x");
    writeFile(root_.file("plain"), "");
    environment_["Q7_CHROOT"] = root_.file("plain");
    expectNothing("x");
}

TEST_F(Lookup, TheOnlyCollectionNeedsNoExpression) {
    one("prices");
    expectOutcome(halyx({}), 0, oneWalk(), "");
    expectWalk("");
}

TEST_F(Lookup, AnyPartOfANameWillDo) {
    one("a/prices");
    for (const std::string expression :
         {"prices", "a/prices", "ric", "a", "/a", "/a/pri", "p*s", "[o-q]rices", "?rices"}) {
        expectWalk(expression);
    }
    for (const std::string expression : {"prices2", "/prices", "Prices", "b", "\\\\"}) {
        expectNothing(expression);
    }
}

TEST_F(Lookup, NoExpressionAndManyCollections) {
    one("orders");
    one("a/orders2");
    expectList(halyx({}), {"orders", "a/orders2"});
    expectList(halyx({""}), {"orders", "a/orders2"});
}

TEST_F(Lookup, AnExpressionCrossesDirectories) {
    CollectionBuilder(4, 2).fillNumbers().build(root_, "orders");
    one("a/orders2");
    one("xorders");
    one("other");
    expectList(halyx({"orders*"}), {"orders", "a/orders2", "xorders"});
    expectList(halyx({"order"}), {"orders", "a/orders2", "xorders"});
    const Outcome exact = halyx({"orders"});
    EXPECT_EQ(exact.err, hint("orders"));
    expectPart(exact.out, "bucket[1] 1-->0200000000000000 7fffffff --> none\n");
    EXPECT_EQ(exact.status, 0);
}

TEST_F(Lookup, ALeadingSlashAnchors) {
    one("a/orders");
    one("b/a/orders");
    expectWalk("/a/orders");
    expectList(halyx({"a/order"}), {"a/orders", "b/a/orders"});
    one("a/orders.old");
    expectList(halyx({"/a/orders"}),
               {"a/orders", "a/orders.old"}); // no result begins with "/", so none is the exact one
}

TEST_F(Lookup, AnExpressionThatEndsInAStarIsNeverExact) {
    one("orders*");
    one("orders*2");
    expectList(halyx({"orders*"}), {"orders*", "orders*2"});
}

TEST_F(Lookup, AnExactMatchKeepsItsReportAndStatus) {
    one("p");
    const Collection broken = one("pq");
    broken.truncate("buckets", 0);
    expectOutcome(halyx({"p"}), 0, oneWalk(), hint("p"));
    one("pqr");
    expectOutcome(halyx({"pq"}), 1, "", hint("pq") + attachError("pq"));
}

TEST_F(Lookup, AFullPathNamesACollection) {
    one("a/orders");
    one("b/a/orders");
    expectWalk(root_.collections() + "/a/orders");
    expectWalk(root_.collections() + "/b");
    expectNothing(root_.collections() + "/orders");
    expectNothing(root_.collections());
    expectNothing(root_.collections() + "x/a/orders");
    expectList(halyx({root_.collections() + "/"}), {"a/orders", "b/a/orders"});
}

TEST_F(Lookup, AFullPathCanBeExact) {
    one("a/orders");
    one("a/orders.old");
    const std::string path = root_.collections() + "/a/orders";
    expectOutcome(halyx({path}), 0, oneWalk(), hint(path));
    expectList(halyx({path + "*"}), {"a/orders", "a/orders.old"});
    expectList(halyx({root_.collections() + "/a/order"}), {"a/orders", "a/orders.old"});
}

TEST_F(Lookup, OnlyDirectoriesWithACollectionsFilesCount) {
    makeDirectories(root_.collections() + "/empty");
    makeDirectories(root_.collections() + "/other");
    writeFile(root_.collections() + "/other/slab32", "");
    writeFile(root_.collections() + "/other/slots.old", "");
    writeFile(root_.collections() + "/other/Slots", "");
    writeFile(root_.collections() + "/slots", "");
    writeFile(root_.collections() + "/buckets", "");
    expectNothing("");
    one("real");
    expectWalk("");
}

TEST_F(Lookup, AnyFileOfACollectionMarksIt) {
    for (const std::string file : {"slots", "buckets", "slab0", "slab31", "conquer.1", "conquer.2", "fenix"}) {
        makeDirectories(root_.collections() + "/c-" + file);
        writeFile(root_.collections() + "/c-" + file + "/" + file, "");
        expectOutcome(halyx({"c-" + file}), 1, "", attachError("c-" + file));
    }
}

TEST_F(Lookup, LinksAndOtherThingsAreIgnored) {
    const Collection real = one("real");
    ASSERT_EQ(::symlink(real.path().c_str(), (root_.collections() + "/link").c_str()), 0);
    makeDirectories(root_.collections() + "/links");
    ASSERT_EQ(::symlink(real.file("slots").c_str(), (root_.collections() + "/links/slots").c_str()), 0);
    makeDirectories(root_.collections() + "/fifos");
    ASSERT_EQ(::mkfifo((root_.collections() + "/fifos/slots").c_str(), 0644), 0);
    makeDirectories(root_.collections() + "/directories/slots");
    expectWalk("");
}

TEST_F(Lookup, DirectoriesThatCannotBeReadAreSkipped) {
    one("a");
    one("closed/b");
    ASSERT_EQ(::chmod((root_.collections() + "/closed").c_str(), 0), 0);
    expectOutcome(halyxUnprivileged({""}), 0, oneWalk(), "");
    ASSERT_EQ(::chmod((root_.collections() + "/closed").c_str(), 0755), 0);
}

TEST_F(Lookup, HiddenAndDeepCollectionsAreFound) {
    one(".hidden");
    expectWalk("hid");
    one("a/b/c/d/e/f/g/h/i/j");
    expectWalk("/a/b/c/d/e/f/g/h/i/j");
}

TEST_F(Lookup, ADirectoryWithItsOwnFilesIsListedOnce) {
    const Collection c = one("c");
    for (int i = 0; i < 32; ++i) {
        c.replace("slab" + std::to_string(i), "");
    }
    one("d");
    expectList(halyx({}), {"c", "d"});
}

TEST_F(Lookup, HostileNamesReachTheTerminalMadeSafe) {
    one("evil\x1b[31m\n\x7f\xff");
    one("evil2");
    expectList(halyx({"evil"}), {"evil\\x1b[31m\\x0a\\x7f\\xff", "evil2"});
}

TEST_F(Lookup, HostileNamesInMessagesAreMadeSafe) {
    const Collection evil = one("evil\x1b\n");
    evil.corrupt("buckets", 0, "h");
    expectOutcome(
        halyx({"evil"}), 1,
        "Halyx " + root_.collections() +
            "/evil\\x1b\\x0a validation failed: BucketTable::Header::validate() bad magic: 544b4258594c4168\n",
        attachError("evil\\x1b\\x0a"));
}

class Chroots : public Lookup {
protected:
    /// Makes a chroot of that name with one collection "prices" in it, and moves the program there.
    std::string enter(const std::string& name) {
        const std::string chroot = root_.file(name);
        makeDirectories(chroot + "/var/shmem/halyxes/prices");
        const Collection made = one("template");
        for (const std::string file : {"slots", "buckets"}) {
            writeFile(chroot + "/var/shmem/halyxes/prices/" + file, made.bytes(file));
        }
        environment_["Q7_CHROOT"] = chroot;
        return chroot;
    }
};

TEST_F(Chroots, PatternCharactersInAChrootMatchThemselves) {
    for (const std::string name : {"we*ird", "que?stion", "br[a]cket", "br[", "back\\slash", "!x", "a b", "[!x]"}) {
        const std::string chroot = enter(name);
        expectWalk("prices");
        expectWalk("");
        expectWalk("/prices");
        expectWalk(chroot + "/var/shmem/halyxes/prices");
        expectNothing("other");
    }
}

TEST_F(Chroots, SlashesAtItsEndDoNotCount) {
    const std::string chroot = enter("moved");
    environment_["Q7_CHROOT"] = chroot + "///";
    expectWalk("prices");
    expectWalk(chroot + "/var/shmem/halyxes/prices");
    expectOutcome(halyx({"-H", chroot + "/var/shmem/halyxes/prices"}), 0, "Halyx-prices\n", "");
}

TEST_F(Chroots, LinksInItAreResolved) {
    const std::string chroot = enter("moved");
    ASSERT_EQ(::symlink(chroot.c_str(), root_.file("link").c_str()), 0);
    environment_["Q7_CHROOT"] = root_.file("link");
    expectWalk("prices");
    expectWalk(chroot + "/var/shmem/halyxes/prices");
    expectOutcome(halyx({"-H", chroot + "/var/shmem/halyxes/prices"}), 0, "Halyx-prices\n", "");
    writeFile(chroot + "/var/shmem/halyxes/prices/buckets", "HALYXBK!");
    const Outcome broken = halyx({"prices"});
    EXPECT_EQ(broken.out, "Halyx " + chroot +
                              "/var/shmem/halyxes/prices validation failed: "
                              "BucketTable::Header::validate() bad header file size: 8 wanted:32\n");
}

TEST_F(Chroots, ValuesThatMoveNothing) {
    for (const std::string value : {"", "1", "relative/path", "."}) {
        environment_["Q7_CHROOT"] = value;
        const auto records = traced({"no such collection at all"}, "HalyxScanner=9");
        ASSERT_FALSE(records.empty());
        EXPECT_EQ(records[0].text, "DirNode::DirNode() path: /var/shmem/halyxes") << value;
        ASSERT_EQ(::unlink(root_.file("trace").c_str()), 0);
    }
}

TEST_F(Chroots, OneThatDoesNotExistIsTakenAsItStands) {
    environment_["Q7_CHROOT"] = "/no/such/../place/";
    const auto records = traced({"x"}, "HalyxScanner=9");
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].text, "DirNode::DirNode() path: /no/such/../place/var/shmem/halyxes");
}

} // namespace
