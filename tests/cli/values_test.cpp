// Values through the styles: built-in types, unknown types, text from outside.

#include "cli/CliTest.h"

#include <cmath>
#include <limits>

using namespace Fixtures;

namespace {

class Values : public CliTest {
protected:
    /// Expects a value of that type to print so in the three styles.
    void expectValue(const std::string& type, const std::string& bytes, const std::string& pretty,
                     const std::string& json) {
        SCOPED_TRACE(type);
        CollectionBuilder builder(1, 1);
        builder.valueType(type, static_cast<std::uint32_t>(bytes.size())).fitSlots().value(0, bytes).chain(0, {0});
        builder.build(root_, "c");
        const auto walk = [](const std::string& value) {
            return "bucket[0] 0-->" + value + " 7fffffff --> none\n" + statistics();
        };
        expectOutcome(halyx({"c"}), 0, walk(hexOf(bytes)), "");
        expectOutcome(halyx({"-p", "c"}), 0, walk(pretty), "");
        expectOutcome(halyx({"-j", "c"}), 0, walk(json), "");
    }
    void expectValue(const std::string& type, const std::string& bytes, const std::string& text) {
        expectValue(type, bytes, text, text);
    }
};

TEST_F(Values, Integers) {
    expectValue("U8", bytesOf(std::uint8_t{200}), "200");
    expectValue("U16", bytesOf(std::uint16_t{60000}), "60000");
    expectValue("U32", bytesOf(std::uint32_t{4000000000}), "4000000000");
    expectValue("U64", bytesOf(std::uint64_t{18446744073709551615U}), "18446744073709551615");
    expectValue("S8", bytesOf(std::int8_t{-100}), "-100");
    expectValue("S16", bytesOf(std::int16_t{-30000}), "-30000");
    expectValue("S32", bytesOf(std::int32_t{-2000000000}), "-2000000000");
    expectValue("S64", bytesOf(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    expectValue("uint8_t", bytesOf(std::uint8_t{1}), "1");
    expectValue("std::uint32_t", bytesOf(std::uint32_t{26}), "26");
    expectValue("std::int64_t", bytesOf(std::int64_t{-1}), "-1");
    expectValue("int16_t", bytesOf(std::int16_t{-1}), "-1");
}

TEST_F(Values, FloatingPoint) {
    expectValue("double", bytesOf(0.1), "0.1");
    expectValue("float", bytesOf(0.1F), "0.1");
    expectValue("double", bytesOf(-2.5), "-2.5");
    expectValue("double", bytesOf(std::numeric_limits<double>::infinity()), "inf", "null");
    expectValue("float", bytesOf(-std::numeric_limits<float>::infinity()), "-inf", "null");
    expectValue("double", bytesOf(std::nan("")), "nan", "null");
}

TEST_F(Values, Booleans) {
    expectValue("bool", std::string(1, '\0'), "false");
    expectValue("bool", "\1", "true");
}

TEST_F(Values, Text) {
    expectValue("char[8]", std::string("abc\0\0\0\0\0", 8), "\"abc\"");
    expectValue("char[3]", "abc", "\"abc\"");
    expectValue("char[8]", std::string("a\0secret", 8), "\"a\"");
    expectValue("char[4]", "\"\\\x1b\n", "\"\\\"\\\\\\x1b\\x0a\"", "\"\\\"\\\\\\u001b\\u000a\"");
    expectValue("char[5]", "\xc3\xa9\xff-z", "\"\\xc3\\xa9\\xff-z\"", "\"\\u00e9\\ufffd-z\"");
    expectValue("char[4]", "\xf0\x9f\x98\x80", "\"\\xf0\\x9f\\x98\\x80\"", "\"\\ud83d\\ude00\"");
}

TEST_F(Values, UnknownTypesAreHexadecimalInEveryStyle) {
    expectValue("Widget", "\x01\x02", "0102");
    expectValue("U32", std::string(8, '\3'), "0303030303030303");
    expectValue("", "\x7f", "7f");
    expectValue("char[04]", "abcd", "61626364");
    expectValue("../../etc/passwd", "\x7f", "7f");
    expectValue(std::string(64, 'T'), "\x7f", "7f");
    expectValue("U32\x1b[2J", "\x01\x02\x03\x04", "01020304");
}

TEST_F(Values, TypeNamesAreBoundedByTheirField) {
    CollectionBuilder builder(1, 1);
    builder.valueType(std::string(64, 'T'), 8).fillNumbers();
    std::memset(builder.slotsHeader.classType, 'C', 64);
    builder.build(root_, "c");
    const auto records = traced({"c"}, "Halyx-c=3");
    ASSERT_FALSE(records.empty());
    expectPart(records[0].text,
               " valueType:" + std::string(64, 'T') + " classType:" + std::string(64, 'C') + " maxSlots:");
}

TEST_F(Values, HostileTypeNamesReachTheTraceMadeSafe) {
    CollectionBuilder(1, 1).valueType("a\x1b[31m\n", 8).fillNumbers().build(root_, "c");
    const auto records = traced({"c"}, "Halyx-c=3");
    ASSERT_FALSE(records.empty());
    expectPart(records[0].text, " valueType:a\\x1b[31m\\x0a classType:Test maxSlots:");
}

} // namespace
