#include "writer/program/Encoder.h"

#include "fixtures/Bytes.h"
#include "writer/program/Arguments.h"
#include "writer/program/Input.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace Halyx::Writer;

Record record(std::vector<std::pair<std::string, std::string>> fields) {
    Record result;
    for (auto& [name, text] : fields) {
        result.names.push_back(name);
        result.fields.push_back({Record::Kind::Text, text});
    }
    return result;
}

/// The bytes of `text` as a value of a type, or "bad".
std::string encoded(const std::string& type, const std::string& text, bool dynamic = false) {
    const auto encoder = makeBuiltinEncoder(type, {"", "v"});
    std::string bytes;
    try {
        encoder->encode(record({{"k", "key"}, {"v", text}}), dynamic, bytes);
    } catch (const BadLine&) {
        return "bad";
    }
    EXPECT_TRUE(dynamic || bytes.size() == encoder->valueSize());
    return bytes;
}

TEST(EncoderTest, NumbersAreTheirBytes) {
    EXPECT_EQ(encoded("U8", "255"), Fixtures::bytesOf(std::uint8_t{255}));
    EXPECT_EQ(encoded("S16", "-32768"), Fixtures::bytesOf(std::int16_t{-32768}));
    EXPECT_EQ(encoded("uint32_t", "4294967295"), Fixtures::bytesOf(0xffffffffU));
    EXPECT_EQ(encoded("std::int64_t", "-9223372036854775808"),
              Fixtures::bytesOf(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(encoded("U64", "18446744073709551615"), Fixtures::bytesOf(~std::uint64_t{0}));
    EXPECT_EQ(encoded("float", "1.5"), Fixtures::bytesOf(1.5F));
    EXPECT_EQ(encoded("double", "-2e3"), Fixtures::bytesOf(-2000.0));
    EXPECT_EQ(encoded("bool", "true"), "\1");
    EXPECT_EQ(encoded("bool", "0"), std::string(1, '\0'));
}

TEST(EncoderTest, WhatIsNoSuchNumberIsBad) {
    EXPECT_EQ(encoded("U8", "256"), "bad");
    EXPECT_EQ(encoded("U8", "-1"), "bad");
    EXPECT_EQ(encoded("S8", "128"), "bad");
    EXPECT_EQ(encoded("S8", "-129"), "bad");
    EXPECT_EQ(encoded("U64", "18446744073709551616"), "bad");
    EXPECT_EQ(encoded("U32", ""), "bad");
    EXPECT_EQ(encoded("U32", "1 "), "bad");
    EXPECT_EQ(encoded("U32", "1.0"), "bad");
    EXPECT_EQ(encoded("double", "x"), "bad");
    EXPECT_EQ(encoded("double", "1e999"), "bad");
    EXPECT_EQ(encoded("bool", "yes"), "bad");
}

TEST(EncoderTest, TextIsPaddedUnlessDynamic) {
    EXPECT_EQ(encoded("char[4]", "ab"), std::string("ab\0\0", 4));
    EXPECT_EQ(encoded("char[4]", "abcd"), "abcd");
    EXPECT_EQ(encoded("char[4]", "abcde"), "bad");
    EXPECT_EQ(encoded("char[4]", "ab", true), "ab");
    EXPECT_EQ(encoded("char[4]", std::string("a\0b", 3)), "bad");
}

TEST(EncoderTest, WithoutAColumnTextIsAllOfThemAndANumberTheOther) {
    std::string bytes;
    makeBuiltinEncoder("char[9]", {})->encode(record({{"a", "x"}, {"b", "yy"}, {"c", ""}}), true, bytes);
    EXPECT_EQ(bytes, "x yy ");
    makeBuiltinEncoder("U8", {})->encode(record({{"a", "k"}, {"b", "65"}}), false, bytes);
    EXPECT_EQ(bytes, "A");
    makeBuiltinEncoder("U8", {"b", ""})->encode(record({{"a", "66"}, {"b", "k"}}), false, bytes);
    EXPECT_EQ(bytes, "B");
    EXPECT_THROW(makeBuiltinEncoder("U8", {})->encode(record({{"a", "1"}, {"b", "2"}, {"c", "3"}}), false, bytes),
                 BadLine);
    EXPECT_THROW(makeBuiltinEncoder("U8", {"", "z"})->encode(record({{"a", "1"}, {"b", "2"}}), false, bytes), BadLine);
}

TEST(EncoderTest, UnknownTypesHaveNone) {
    for (const char* name :
         {"", "U7", "u8", "int", "S128", "char", "char[]", "char[0]", "char[x]", "std::U8", "Pair"}) {
        EXPECT_EQ(makeBuiltinEncoder(name, {}), nullptr) << name;
    }
}

TEST(ArgumentsTest, OptionsAndOperandsMix) {
    const std::vector<OptionDescription> known = {{"--size", "N", ""}, {"--dynamic", "", ""}};
    const Arguments arguments({"one", "--size=3", "--dynamic", "--", "--two"}, known, 1, 2);
    EXPECT_EQ(arguments.operands(), (std::vector<std::string>{"one", "--two"}));
    EXPECT_EQ(arguments.number("--size", 0, 1, 10), 3U);
    EXPECT_TRUE(arguments.has("--dynamic"));
    EXPECT_EQ(Arguments({"one", "--size", "-"}, known, 1, 2).text("--size"), "-");
    EXPECT_EQ(Arguments({"-"}, known, 1, 1).operands(), std::vector<std::string>{"-"});
}

TEST(ArgumentsTest, WhatCannotBeUnderstoodIsSaid) {
    const std::vector<OptionDescription> known = {{"--size", "N", ""}, {"--dynamic", "", ""}};
    const auto complaint = [&](const std::vector<std::string>& words) -> std::string {
        try {
            const Arguments arguments(words, known, 1, 1);
            (void)arguments.number("--size", 1, 1, 10);
            (void)arguments.seconds("--size", 1);
            return "none";
        } catch (const UsageError& error) {
            return error.what();
        }
    };
    EXPECT_EQ(complaint({}), "an argument is missing");
    EXPECT_EQ(complaint({"a", "b"}), "unexpected argument 'b'");
    EXPECT_EQ(complaint({"a", "--sise"}), "unknown option '--sise'");
    EXPECT_EQ(complaint({"a", "-x"}), "unknown option '-x'");
    EXPECT_EQ(complaint({"a", "--size"}), "option '--size' needs a value: N");
    EXPECT_EQ(complaint({"a", "--dynamic=1"}), "option '--dynamic' takes no value");
    EXPECT_EQ(complaint({"a", "--size", "11"}), "option '--size' needs a number from 1 to 10, not '11'");
    EXPECT_EQ(complaint({"a", "--size", "1x"}), "option '--size' needs a number from 1 to 10, not '1x'");
    EXPECT_EQ(complaint({"a", "--size", ""}), "option '--size' needs a number from 1 to 10, not ''");
}

} // namespace
