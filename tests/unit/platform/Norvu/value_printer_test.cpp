#include "Norvu/ValuePrinter.h"
#include "fixtures/Bytes.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>

using Fixtures::bytesOf;
using Norvu::Platform::getValuePrinter;
using Norvu::Platform::ValueStyle;

namespace {

std::string print(const std::string& type, const std::string& bytes, ValueStyle style = ValueStyle::Pretty) {
    std::string out;
    getValuePrinter(type, static_cast<unsigned>(bytes.size()))->toString(bytes.data(), style, out);
    return out;
}

std::string json(const std::string& type, const std::string& bytes) {
    return print(type, bytes, ValueStyle::Json);
}

template <typename T>
void expectNumber(const std::vector<std::string>& names, T value, const std::string& text) {
    for (const std::string& name : names) {
        EXPECT_EQ(print(name, bytesOf(value)), text) << name;
        EXPECT_EQ(json(name, bytesOf(value)), text) << name;
    }
}

TEST(ValuePrinter, PrintsIntegersInDecimal) {
    expectNumber<std::uint8_t>({"U8", "uint8_t", "std::uint8_t"}, 255, "255");
    expectNumber<std::uint16_t>({"U16", "uint16_t", "std::uint16_t"}, 65535, "65535");
    expectNumber<std::uint32_t>({"U32", "uint32_t", "std::uint32_t"}, 4294967295U, "4294967295");
    expectNumber<std::uint64_t>({"U64", "uint64_t", "std::uint64_t"}, 18446744073709551615U, "18446744073709551615");
    expectNumber<std::int8_t>({"S8", "int8_t", "std::int8_t"}, -128, "-128");
    expectNumber<std::int16_t>({"S16", "int16_t", "std::int16_t"}, -32768, "-32768");
    expectNumber<std::int32_t>({"S32", "int32_t", "std::int32_t"}, -2147483647 - 1, "-2147483648");
    expectNumber<std::int64_t>({"S64", "int64_t", "std::int64_t"}, std::numeric_limits<std::int64_t>::min(),
                               "-9223372036854775808");
    expectNumber<std::uint64_t>({"U64"}, 0, "0");
}

TEST(ValuePrinter, PrintsBooleansAsWords) {
    EXPECT_EQ(print("bool", std::string(1, '\0')), "false");
    EXPECT_EQ(print("bool", "\1"), "true");
    EXPECT_EQ(json("bool", "\1"), "true");
    EXPECT_EQ(print("bool", "\x80"), "true");
}

TEST(ValuePrinter, PrintsTheShortestFloatingPointText) {
    EXPECT_EQ(print("double", bytesOf(0.1)), "0.1");
    EXPECT_EQ(print("float", bytesOf(0.1F)), "0.1");
    EXPECT_EQ(print("double", bytesOf(1.0)), "1");
    EXPECT_EQ(print("double", bytesOf(-0.0)), "-0");
    EXPECT_EQ(print("double", bytesOf(1.5)), "1.5");
    EXPECT_EQ(json("float", bytesOf(2.25F)), "2.25");
    EXPECT_EQ(print("double", bytesOf(0.30000000000000004)), "0.30000000000000004");
}

TEST(ValuePrinter, HasNoJsonNumberForWhatIsNone) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(json("double", bytesOf(infinity)), "null");
    EXPECT_EQ(json("double", bytesOf(-infinity)), "null");
    EXPECT_EQ(json("double", bytesOf(std::nan(""))), "null");
    EXPECT_EQ(json("float", bytesOf(std::numeric_limits<float>::infinity())), "null");
    EXPECT_EQ(print("double", bytesOf(infinity)), "inf");
    EXPECT_EQ(print("double", bytesOf(-infinity)), "-inf");
    EXPECT_EQ(print("double", bytesOf(std::numeric_limits<double>::quiet_NaN())), "nan");
}

/// -? (0 | [1-9][0-9]*) (. [0-9]+)? ([eE] [+-]? [0-9]+)?
bool isJsonNumber(const std::string& text) {
    std::size_t at = 0;
    const auto digits = [&] {
        const std::size_t begin = at;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
            ++at;
        }
        return at - begin;
    };
    at += text.substr(at, 1) == "-" ? 1U : 0U;
    const bool zero = text.substr(at, 1) == "0";
    const std::size_t whole = digits();
    if (whole == 0 || (zero && whole > 1)) {
        return false;
    }
    if (text.substr(at, 1) == ".") {
        ++at;
        if (digits() == 0) {
            return false;
        }
    }
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        ++at;
        at += at < text.size() && (text[at] == '+' || text[at] == '-') ? 1U : 0U;
        if (digits() == 0) {
            return false;
        }
    }
    return at == text.size();
}

TEST(ValuePrinter, FloatingPointTextReadsBackToTheSameValue) {
    const unsigned seed = std::random_device{}();
    RecordProperty("seed", std::to_string(seed));
    std::mt19937_64 random(seed);
    for (int round = 0; round < 20000; ++round) {
        const auto value = Fixtures::fromBytes<double>(bytesOf(random()));
        const auto small = Fixtures::fromBytes<float>(bytesOf(static_cast<std::uint32_t>(random())));
        if (std::isfinite(value)) {
            const std::string text = json("double", bytesOf(value));
            ASSERT_EQ(bytesOf(std::strtod(text.c_str(), nullptr)), bytesOf(value)) << text << " seed " << seed;
            ASSERT_TRUE(isJsonNumber(text)) << text;
            char longer[64];
            ASSERT_LE(text.size(), static_cast<std::size_t>(std::snprintf(longer, sizeof longer, "%.17g", value)));
        }
        if (std::isfinite(small)) {
            const std::string text = print("float", bytesOf(small));
            ASSERT_EQ(bytesOf(std::strtof(text.c_str(), nullptr)), bytesOf(small)) << text << " seed " << seed;
        }
    }
}

TEST(ValuePrinter, PrintsTextUpToItsFirstNul) {
    EXPECT_EQ(print("char[8]", std::string("abc\0def\0", 8)), "\"abc\"");
    EXPECT_EQ(print("char[3]", "abc"), "\"abc\"");
    EXPECT_EQ(print("char[4]", "a\"\\\n"), "\"a\\\"\\\\\\x0a\"");
    EXPECT_EQ(json("char[4]", "a\"\\\n"), "\"a\\\"\\\\\\u000a\"");
    EXPECT_EQ(json("char[2]", "\xc3\xa9"), "\"\\u00e9\"");
    EXPECT_EQ(print("char[2]", "\xc3\xa9"), "\"\\xc3\\xa9\"");
    EXPECT_EQ(json("char[2]", "\xc3("), "\"\\ufffd(\"");
}

TEST(ValuePrinter, PrintsUnknownTypesAsHexadecimalDigitsInEveryStyle) {
    for (const std::string name : {"Widget", "", "u32", "U32 ", "char[5]", "char[]", "char", "char[4", "char[-4]",
                                   "char[4]]", "std::U32", "std::bool"}) {
        EXPECT_EQ(print(name, "\x01\x02\x03\x04"), "01020304") << name;
        EXPECT_EQ(json(name, "\x01\x02\x03\x04"), "01020304") << name;
    }
}

TEST(ValuePrinter, TakesAKnownNameOfAnotherSizeForUnknown) {
    EXPECT_EQ(print("U32", std::string(8, '\1')), "0101010101010101");
    EXPECT_EQ(print("U64", std::string(4, '\1')), "01010101");
    EXPECT_EQ(print("bool", std::string(4, '\1')), "01010101");
    EXPECT_EQ(print("double", ""), "");
    EXPECT_EQ(getValuePrinter("U32", 8)->size(), 8U);
}

TEST(ValuePrinter, ReadsValuesThatAreNotAligned) {
    const std::string bytes = "x" + bytesOf(std::uint64_t{42});
    std::string out = "before ";
    getValuePrinter("U64", 8)->toString(bytes.data() + 1, ValueStyle::Pretty, out);
    EXPECT_EQ(out, "before 42");
}

} // namespace
