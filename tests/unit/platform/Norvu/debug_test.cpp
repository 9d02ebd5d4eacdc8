#include "Norvu/Debug.h"
#include "Norvu/Exception.h"

#include <gtest/gtest.h>

using namespace Norvu;
using Norvu::Platform::traceMask;

namespace {

TEST(TraceMask, IsNothingWhenUnset) {
    EXPECT_EQ(traceMask("", "Halyx-a"), 0U);
}

TEST(TraceMask, TakesNumbersRangesAndAll) {
    EXPECT_EQ(traceMask("*=3", "x"), 8U);
    EXPECT_EQ(traceMask("*=0-5", "x"), 0x3fU);
    EXPECT_EQ(traceMask("*=0,3,9", "x"), 1U | 8U | 512U);
    EXPECT_EQ(traceMask("*=0-1,9", "x"), 3U | 512U);
    EXPECT_EQ(traceMask("*=*", "x"), 0xffffffffU);
    EXPECT_EQ(traceMask("*=31", "x"), 0x80000000U);
}

TEST(TraceMask, MatchesNamesAsShellPatterns) {
    const std::string setting = "Halyx-*=0-5;HalyxScanner=*";
    EXPECT_EQ(traceMask(setting, "Halyx-a/b"), 0x3fU);
    EXPECT_EQ(traceMask(setting, "HalyxScanner"), 0xffffffffU);
    EXPECT_EQ(traceMask(setting, "HalyxClientScanner"), 0U);
    EXPECT_EQ(traceMask("Halyx-a?=1", "Halyx-ab"), 2U);
    EXPECT_EQ(traceMask("[HX]*=1", "Halyx-ab"), 2U);
}

TEST(TraceMask, LetsTheLastEntryThatMatchesWin) {
    EXPECT_EQ(traceMask("*=*;Halyx-a=3", "Halyx-a"), 8U);
    EXPECT_EQ(traceMask("Halyx-a=3;*=*", "Halyx-a"), 0xffffffffU);
    EXPECT_EQ(traceMask("*=1;nomatch=2", "Halyx-a"), 2U);
}

TEST(TraceMask, SkipsMalformedEntries) {
    for (const std::string entry : {"x", "=3", "x=", "x=a", "x=3-", "x=-3", "x=5-3", "x=3,", "x=32", "x=1 ", "x=,",
                                    "x=99999999999", "x=0x3", "x=**"}) {
        EXPECT_EQ(traceMask(entry, "x"), 0U) << entry;
        EXPECT_EQ(traceMask("x=3;" + entry, "x"), 8U) << entry;
    }
}

TEST(TraceMask, ToleratesEmptyEntries) {
    EXPECT_EQ(traceMask(";;x=3;;", "x"), 8U);
}

TEST(DebugHandler, IsOneForEachName) {
    Platform::DebugHandler& first = Platform::getDebugHandler("one");
    EXPECT_EQ(&first, &Platform::getDebugHandler("one"));
    EXPECT_NE(&first, &Platform::getDebugHandler("two"));
    EXPECT_EQ(first.name(), "one");
    EXPECT_EQ(&Debuggable("one").debugHandler(), &first);
}

template <typename Thrown>
void expectThrows() {
    try {
        Thrown::throwException("the text");
    } catch (const Exception& exception) {
        EXPECT_NE(dynamic_cast<const Thrown*>(&exception), nullptr);
        EXPECT_EQ(exception.msg(), "the text");
        EXPECT_STREQ(exception.what(), "the text");
    }
}

TEST(Exceptions, CarryTheirText) {
    expectThrows<RuntimeException>();
    expectThrows<MemoryResourceException>();
    expectThrows<CorruptionDetectedException>();
    EXPECT_THROW(debugAndThrowAssertException(nullptr, 0, "x", "source", 1, "function"), AssertException);
}

} // namespace
