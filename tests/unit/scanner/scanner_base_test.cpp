#include "HalyxScannerBase.h"
#include "unit/ReaderTest.h"

#include <sstream>

using Halyx::HalyxScannerBase;

namespace {

using ScannerBase = ReaderTest;

TEST_F(ScannerBase, WritesToStandardOutputWithoutAFile) {
    HalyxScannerBase scanner("", "c");
    EXPECT_TRUE(scanner.initialize());
    EXPECT_EQ(&scanner.out(), &std::cout);
    EXPECT_STREQ(scanner.tablePath(), "c");
}

TEST_F(ScannerBase, EmptiesTheFileItWritesTo) {
    Fixtures::writeFile(root_.file("out"), "before");
    {
        HalyxScannerBase scanner(root_.file("out"), nullptr);
        EXPECT_EQ(Fixtures::readFile(root_.file("out")), "before");
        ASSERT_TRUE(scanner.initialize());
        EXPECT_EQ(Fixtures::readFile(root_.file("out")), "");
        scanner.out() << "after";
    }
    EXPECT_EQ(Fixtures::readFile(root_.file("out")), "after");
}

TEST_F(ScannerBase, SaysWhichFileCannotBeOpened) {
    const std::string file = root_.file("missing/out");
    HalyxScannerBase scanner(file, "c");
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(scanner.initialize());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Error opening " + file + "\n");
    EXPECT_EQ(&scanner.out(), &std::cout); // what goes on nevertheless has somewhere to write to
}

TEST_F(ScannerBase, HandsLinesOnAsTheyAre) {
    std::ostringstream out;
    char buffer[8] = {};
    {
        HalyxScannerBase::MyScanner scanner(out, buffer, Halyx::HalyxTextify::Style::Plain,
                                            Norvu::Platform::getValuePrinter("U64", 8), false);
        EXPECT_TRUE(scanner.handleLineString(0, "one\n"));
        EXPECT_TRUE(scanner.handleLineString(1, "two without an end"));
        scanner.handleResize();
        EXPECT_EQ(out.str(), "one\ntwo without an endResize detected, restarting from beginning\n");
        EXPECT_TRUE(scanner.handleLineString(0, "three\n"));
    }
    EXPECT_EQ(out.str(), "one\ntwo without an endResize detected, restarting from beginning\nthree\n");
}

} // namespace
