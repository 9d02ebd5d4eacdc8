#include "Norvu/DirNode.h"
#include "unit/ReaderTest.h"

#include <filesystem>
#include <set>

using Norvu::DirNode;

namespace {

class DirNodeTest : public ReaderTest {
protected:
    std::shared_ptr<DirNode> open(const std::string& path, std::shared_ptr<DirNode> parent = nullptr) {
        return std::make_shared<DirNode>(handler(), path, std::move(parent));
    }

    static std::size_t descriptors() {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            ++count;
        }
        return count;
    }
};

TEST_F(DirNodeTest, GivesEveryEntryDotsIncluded) {
    Fixtures::writeFile(root_.file("one"), "");
    Fixtures::makeDirectories(root_.file("two"));
    const auto node = open(root_.path());
    ASSERT_TRUE(node->isOpen());
    EXPECT_EQ(node->path(), root_.path());
    std::set<std::string> names;
    while (const dirent* entry = node->readEntry()) {
        names.insert(entry->d_name);
    }
    EXPECT_EQ(names, (std::set<std::string>{".", "..", "one", "two", "var"}));
    EXPECT_EQ(node->readEntry(), nullptr);
}

TEST_F(DirNodeTest, OpensAgainFromTheBeginning) {
    const auto node = open(root_.path());
    while (node->readEntry() != nullptr) {
    }
    node->openDir();
    EXPECT_NE(node->readEntry(), nullptr);
}

TEST_F(DirNodeTest, ToleratesWhatCannotBeOpened) {
    Fixtures::writeFile(root_.file("file"), "");
    for (const std::string& path :
         {root_.file("missing"), root_.file("file"), root_.file(std::string(300, 'x')), std::string()}) {
        const auto node = open(path);
        EXPECT_FALSE(node->isOpen()) << path;
        EXPECT_EQ(node->readEntry(), nullptr) << path;
        EXPECT_EQ(node->readEntry(), nullptr) << path;
    }
}

TEST_F(DirNodeTest, CanBeOpenedLater) {
    const auto node = open(root_.file("later"));
    EXPECT_EQ(node->readEntry(), nullptr);
    Fixtures::makeDirectories(root_.file("later"));
    node->openDir();
    EXPECT_NE(node->readEntry(), nullptr);
}

TEST_F(DirNodeTest, KeepsItsAncestorsOpenAndNoLonger) {
    Fixtures::makeDirectories(root_.file("a/b"));
    const std::size_t before = descriptors();
    auto top = open(root_.path());
    const std::weak_ptr<DirNode> topSeen = top;
    auto middle = open(root_.file("a"), top);
    auto bottom = open(root_.file("a/b"), middle);
    EXPECT_EQ(descriptors(), before + 3);
    EXPECT_EQ(bottom->parent(), middle);
    top.reset();
    middle.reset();
    EXPECT_FALSE(topSeen.expired());
    EXPECT_EQ(descriptors(), before + 3);
    bottom.reset();
    EXPECT_TRUE(topSeen.expired());
    EXPECT_EQ(descriptors(), before);
}

} // namespace
