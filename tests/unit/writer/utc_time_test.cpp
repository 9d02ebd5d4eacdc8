#include "writer/program/UtcTime.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace {

std::optional<std::int64_t> seconds(const char* text) {
    const auto time = Halyx::Writer::parseUtcTime(text);
    return time ? time->signedSeconds() : std::nullopt;
}
std::optional<std::uint64_t> unsignedSeconds(const char* text) {
    const auto time = Halyx::Writer::parseUtcTime(text);
    return time ? time->unsignedSeconds() : std::nullopt;
}

TEST(UtcTimeTest, SecondsAreCountedFrom1970) {
    // As `date -u -d TIME +%s` says.
    EXPECT_EQ(seconds("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(seconds("1969-12-31T23:59:59Z"), -1);
    EXPECT_EQ(seconds("2000-02-29T12:34:56Z"), 951827696);
    EXPECT_EQ(seconds("2026-11-21T13:30:00Z"), 1795267800);
    EXPECT_EQ(seconds("2100-03-01T00:00:00Z"), 4107542400);
    EXPECT_EQ(seconds("0000-03-01T00:00:00Z"), -62162035200);
}

TEST(UtcTimeTest, TheEndsOf64BitsAreReached) {
    EXPECT_EQ(seconds("292277026596-12-04T15:30:07Z"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(seconds("292277026596-12-04T15:30:08Z"), std::nullopt);
    EXPECT_EQ(seconds("-292277022657-01-27T08:29:52Z"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(seconds("-292277022657-01-27T08:29:51Z"), std::nullopt);
    EXPECT_EQ(seconds("999999999999-01-01T00:00:00Z"), std::nullopt);
}

TEST(UtcTimeTest, WithoutASignTheyReachFurther) {
    EXPECT_EQ(unsignedSeconds("1970-01-01T00:00:00Z"), 0U);
    EXPECT_EQ(unsignedSeconds("1969-12-31T23:59:59Z"), std::nullopt);
    EXPECT_EQ(unsignedSeconds("584554051223-11-09T07:00:15Z"), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(unsignedSeconds("584554051223-11-09T07:00:16Z"), std::nullopt);
}

TEST(UtcTimeTest, OnlyRealTimesInThatFormAreTaken) {
    for (const char* text : {"",
                             "-",
                             "1970",
                             "1970-01-01",
                             "1970-01-01T00:00:00",
                             "1970-01-01T00:00:00Zx",
                             "1970-01-01 00:00:00Z",
                             "70-01-01T00:00:00Z",
                             "1970-1-01T00:00:00Z",
                             "1970-00-01T00:00:00Z",
                             "1970-13-01T00:00:00Z",
                             "1970-01-00T00:00:00Z",
                             "1970-01-32T00:00:00Z",
                             "1900-02-29T00:00:00Z",
                             "2026-04-31T00:00:00Z",
                             "1970-01-01T24:00:00Z",
                             "1970-01-01T00:60:00Z",
                             "1970-01-01T00:00:60Z",
                             "1970-01-01T+1:00:00Z",
                             "--970-01-01T00:00:00Z",
                             "1970-01--1T00:00:00Z"}) {
        EXPECT_FALSE(Halyx::Writer::parseUtcTime(text).has_value()) << text;
    }
}

} // namespace
