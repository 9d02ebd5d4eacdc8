#include "Halyx/Util.h"
#include "SharedMem/TableFinder.h"
#include "unit/ReaderTest.h"

#include <algorithm>

using Mem::TableFinder;

namespace {

class TableFinderTest : public ReaderTest {
protected:
    void make(const std::string& collection, const std::string& file = "slots") {
        Fixtures::makeDirectories(root_.collections() + "/" + collection);
        Fixtures::writeFile(root_.collections() + "/" + collection + "/" + file, "");
    }

    static std::vector<std::string> find(const char* expression,
                                         const Mem::FileCompare& compare = Halyx::Util::isHalyxFile) {
        TableFinder finder("test", "halyxes");
        finder.find(expression, compare);
        auto results = finder.results();
        std::sort(results.begin(), results.end());
        return results;
    }

    using Names = std::vector<std::string>;
};

TEST_F(TableFinderTest, MakesAPatternOfAnExpression) {
    EXPECT_EQ(TableFinder::getPathExpr(""), "/*");
    EXPECT_EQ(TableFinder::getPathExpr("/a/orders"), "/a/orders*");
    EXPECT_EQ(TableFinder::getPathExpr("/"), "/*");
    EXPECT_EQ(TableFinder::getPathExpr("orders"), "/*orders*");
    EXPECT_EQ(TableFinder::getPathExpr("*"), "/***");
    EXPECT_EQ(TableFinder::getPathExpr("[ab]"), "/*[ab]*");
}

TEST_F(TableFinderTest, FindsWhatTheExpressionNames) {
    for (const std::string name :
         {"orders", "a/orders2", "xorders", "a/orders", "a/orders.old", "b/a/orders", "other"}) {
        make(name);
    }
    EXPECT_EQ(find("orders"), (Names{"a/orders", "a/orders.old", "a/orders2", "b/a/orders", "orders", "xorders"}));
    EXPECT_EQ(find("/a/orders"), (Names{"a/orders", "a/orders.old", "a/orders2"}));
    EXPECT_EQ(find("/b"), (Names{"b/a/orders"}));
    EXPECT_EQ(find("").size(), 7U);
    EXPECT_EQ(find("nothing"), Names{});
}

TEST_F(TableFinderTest, ADirectoryThatDoesNotFitIsSearchedOn) {
    // Folders made before their parent's files and behind them: some are read before those, some behind.
    for (const std::string name : {"a/orders", "a", "b", "b/orders", "b/other", "b/other/orders", "c"}) {
        for (const char* const file : {"slots", "buckets", "conquer.1", "slab0"}) {
            make(name, file);
        }
    }
    for (const char* const expression : {"orders", "[o]rders", "o?ders"}) {
        EXPECT_EQ(find(expression), (Names{"a/orders", "b/orders", "b/other/orders"})) << expression;
    }
    EXPECT_EQ(find("r/o"), (Names{"b/other/orders"}));
    EXPECT_EQ(find("/orders"), Names{});
}

TEST_F(TableFinderTest, TheRootsOwnPathIsNotSearched) {
    make("a");
    EXPECT_EQ(find("halyxes"), Names{});
    EXPECT_EQ(find("shmem"), Names{});
}

TEST_F(TableFinderTest, NeverTakesTheRootForACollection) {
    Fixtures::writeFile(root_.collections() + "/slots", "");
    EXPECT_EQ(find(""), Names{});
}

TEST_F(TableFinderTest, ListsADirectoryOnceAndSearchesItNoFurther) {
    for (int i = 0; i < 32; ++i) {
        make("c", "slab" + std::to_string(i));
    }
    EXPECT_EQ(find(""), Names{"c"});
    make("d/e");
    EXPECT_EQ(find(""), (Names{"c", "d/e"}));
}

TEST_F(TableFinderTest, AsksAboutBareNames) {
    make("a/b", "slots");
    make("a/b", "other");
    std::vector<std::string> asked;
    find("nothing", [&](const std::string& name) {
        asked.push_back(name);
        return false;
    });
    std::sort(asked.begin(), asked.end());
    EXPECT_EQ(asked, (Names{"other", "slots"}));
}

TEST_F(TableFinderTest, NeedsSomeoneToAsk) {
    make("a");
    EXPECT_THROW(find("", Mem::FileCompare()), std::bad_function_call);
}

TEST_F(TableFinderTest, AppendsToItsResults) {
    make("a");
    TableFinder finder("test", "halyxes");
    finder.find("", Halyx::Util::isHalyxFile);
    finder.find("a", Halyx::Util::isHalyxFile);
    EXPECT_EQ(finder.results(), (Names{"a", "a"}));
}

TEST_F(TableFinderTest, SearchesItsOwnSubdirectory) {
    Fixtures::makeDirectories(root_.path() + "/var/shmem/others/x");
    Fixtures::writeFile(root_.path() + "/var/shmem/others/x/slots", "");
    make("a");
    TableFinder finder("test", "others");
    finder.find("", Halyx::Util::isHalyxFile);
    EXPECT_EQ(finder.results(), Names{"x"});
}

} // namespace
