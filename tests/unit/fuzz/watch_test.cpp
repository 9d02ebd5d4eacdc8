// What the fuzz targets rely on to notice a fault: each kind ends the process.

#include "Norvu/Exception.h"
#include "fuzz/room/Archive.h"
#include "fuzz/room/Json.h"
#include "fuzz/room/Watch.h"

#include <gtest/gtest.h>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

class FuzzWatch : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

using FuzzWatchDeathTest = FuzzWatch;

TEST_F(FuzzWatch, KeepsWhatAReportWrites) {
    const Fuzz::Said said = Fuzz::watch("it", 100, [] {
        std::cout << "out" << std::hex << std::endl;
        std::cerr << "err\n";
        return 1;
    });
    EXPECT_EQ(said.out, "out\n");
    EXPECT_EQ(said.err, "err\n");
    EXPECT_EQ(said.status, 1);
    EXPECT_EQ(std::cout.flags() & std::ios::basefield, std::ios::dec);
}

TEST_F(FuzzWatch, TakesTheToolsOwnExceptions) {
    const Fuzz::Said said =
        Fuzz::watch("it", 100, []() -> int { Norvu::CorruptionDetectedException::throwException("torn"); });
    EXPECT_EQ(said.exception, "torn");
    EXPECT_EQ(said.status, 1);
}

TEST_F(FuzzWatchDeathTest, EndsTheProcessWhenAReportThrowsSomethingElse) {
    EXPECT_DEATH(Fuzz::watch("it", 100, []() -> int { throw std::length_error("too long"); }), "FUZZ: it: .*too long");
}

TEST_F(FuzzWatchDeathTest, EndsTheProcessWhenAReportWritesTooMuch) {
    EXPECT_DEATH(Fuzz::watch("it", 100,
                             [] {
                                 std::cout << std::string(101, 'x');
                                 return 0;
                             }),
                 "FUZZ: it: writes more than 100 bytes");
}

TEST_F(FuzzWatchDeathTest, EndsTheProcessWhenAStatusIsNone) {
    EXPECT_DEATH(Fuzz::watch("it", 100, [] { return 2; }), "FUZZ: it: returns 2");
}

TEST_F(FuzzWatchDeathTest, EndsTheProcessAtBytesThatATerminalActsOn) {
    Fuzz::expectPrintable("it", "a line\n\tone that is set in\n");
    for (const char* const text : {"an \x1b[2J\n", "a\ttab\n", "a\rreturn\n", "\xc3\xa4\n", "\x7f\n"}) {
        EXPECT_DEATH(Fuzz::expectPrintable("it", std::string(text)), "FUZZ: it: writes a byte");
    }
    EXPECT_DEATH(Fuzz::expectPrintable("it", std::string("no end")), "FUZZ: it: ends within a line");
}

TEST(FuzzJson, IsKnownFromWhatIsNone) {
    for (const char* const text :
         {"{}", "[ ]", "{\"a\": [1, -2.5e+7, null], \"b\": {\"c\": true}}", "\"\\u00e4\\\"\"", "0"}) {
        EXPECT_TRUE(Fuzz::isJson(text)) << text;
    }
    for (const char* const text : {"", "{", "[1,]", "{\"a\" 1}", "{a: 1}", "01", "1.", "nan", "\"", "\"\\x41\"",
                                   "\"\\u12\"", "\"\x01\"", "\"\xc3\xa4\"", "1 2"}) {
        EXPECT_FALSE(Fuzz::isJson(text)) << text;
    }
}

TEST(FuzzArchive, IsTheSameAfterBeingWritten) {
    Fuzz::Archive archive;
    archive.files[3] = "three";
    archive.files[200] = std::string(300, '\xff');
    const std::string text = archive.encode();
    const std::vector<unsigned char> bytes(text.begin(), text.end());
    EXPECT_EQ(Fuzz::Archive(bytes).files, archive.files);
}

TEST(FuzzArchive, IsMadeOfAnyBytes) {
    const unsigned char bytes[] = {7, 5, 0, 'a', 'b'};
    EXPECT_EQ(Fuzz::Archive(bytes).files, (std::map<unsigned char, std::string>{{7, "ab"}}));
    EXPECT_TRUE(Fuzz::Archive(Fuzz::Bytes(bytes, 2)).files.empty());
}

} // namespace
