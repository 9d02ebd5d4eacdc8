#include "Norvu/Hash.h"
#include "Norvu/Pattern.h"
#include "Norvu/Quote.h"
#include "Norvu/Text.h"
#include "fixtures/Bytes.h"

#include <gtest/gtest.h>
#include <random>

using namespace Norvu;

namespace {

std::string quoted(std::string_view text) {
    std::string out;
    appendQuoted(out, text);
    return out;
}

std::string json(std::string_view text) {
    std::string out;
    appendJsonString(out, text);
    return out;
}

TEST(Hash, HasThePublishedValues) {
    EXPECT_EQ(Util::hash("", 0), 2166136261U);
    EXPECT_EQ(Util::hash("a", 1), 0xe40c292cU);
    EXPECT_EQ(Util::hash("b", 1), 0xe70c2de5U);
    EXPECT_EQ(Util::hash("foobar", 6), 0xbf9cf968U);
    EXPECT_EQ(Util::hash("\0\0\0\0", 4), 0x4b95f515U);
}

TEST(Hash, TakesBytesAsUnsigned) {
    EXPECT_EQ(Util::hash("\xff\x80", 2), Fixtures::fnv1a("\xff\x80"));
}

TEST(DumpHex, PrintsEveryByteAsTwoLowerCaseDigits) {
    EXPECT_EQ(dumpHex("\x00\x0f\xf0\xff", 4), "000ff0ff");
    EXPECT_EQ(dumpHex("abc", 0), "");
    EXPECT_EQ(dumpHex(nullptr, 0), "");
    std::string all;
    for (int i = 0; i < 256; ++i) {
        all += static_cast<char>(i);
    }
    EXPECT_EQ(dumpHex(all.data(), all.size()), Fixtures::hexOf(all));
}

TEST(WriteHex, HasNoPrefixAndNoLeadingZeros) {
    for (const auto& [value, text] : std::vector<std::pair<std::uint32_t, std::string>>{
             {0, "0"}, {0x1a, "1a"}, {0x100, "100"}, {0x7fffffff, "7fffffff"}, {0xffffffff, "ffffffff"}}) {
        char out[8];
        EXPECT_EQ(std::string(out, writeHex(out, value)), text);
    }
}

TEST(WriteHex, HasAsManyDigitsAsTheNumberNeeds) {
    for (unsigned bit = 0; bit < 32; ++bit) {
        for (const std::uint32_t value : {1U << bit, (1U << bit) - 1, 0xdeadbeefU >> bit}) {
            char out[16];
            EXPECT_EQ(std::string(out, writeHex(out, value)), Fixtures::hexNumber(value));
        }
    }
}

TEST(WriteHexDump, WritesTwoDigitsAByteAndNothingBehindThem) {
    std::string bytes;
    for (unsigned length = 0; length <= 70; ++length) {
        std::string out(2 * length + 16, '#');
        EXPECT_EQ(writeHexDump(out.data(), bytes.data(), length), out.data() + 2 * length);
        EXPECT_EQ(out, Fixtures::hexOf(bytes) + std::string(16, '#'));
        bytes += static_cast<char>(length * 37 + 9);
    }
}

TEST(SafeText, LetsOnlyPrintableAsciiThrough) {
    EXPECT_EQ(safeText(" ~aZ09\\\""), " ~aZ09\\\"");
    EXPECT_EQ(safeText("\x1b[31m\n"), "\\x1b[31m\\x0a");
    EXPECT_EQ(safeText("\x7f\x80\xff"), "\\x7f\\x80\\xff");
    EXPECT_EQ(safeText(std::string_view("\0x", 2)), "\\x00x");
}

TEST(BoundedText, EndsAtTheFirstNulOrWithTheField) {
    const char field[6] = {'a', 'b', 0, 'c', 'd', 'e'};
    EXPECT_EQ(boundedText(field, 6), "ab");
    EXPECT_EQ(boundedText(field, 2), "ab");
    EXPECT_EQ(boundedText(field + 3, 3), "cde");
    EXPECT_EQ(boundedText(field, 0), "");
}

TEST(Quoted, EscapesQuotesAndBackslashesAndHidesTheRest) {
    EXPECT_EQ(quoted("plain"), "\"plain\"");
    EXPECT_EQ(quoted("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(quoted("\x01\xc3\xa9"), "\"\\x01\\xc3\\xa9\"");
    EXPECT_EQ(quoted(""), "\"\"");
}

TEST(JsonString, IsAsciiWhateverComes) {
    EXPECT_EQ(json("plain /"), "\"plain /\"");
    EXPECT_EQ(json("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(json("\n\t\x01\x7f"), "\"\\u000a\\u0009\\u0001\\u007f\"");
    EXPECT_EQ(json("\xc3\xa9"), "\"\\u00e9\"");
    EXPECT_EQ(json("\xe2\x82\xac"), "\"\\u20ac\"");
    EXPECT_EQ(json("\xf0\x9f\x98\x80"), "\"\\ud83d\\ude00\"");
    EXPECT_EQ(json("\xf4\x8f\xbf\xbf"), "\"\\udbff\\udfff\"");
}

TEST(JsonString, MarksEveryByteThatIsNotValidUtf8) {
    EXPECT_EQ(json("\xff"), "\"\\ufffd\"");
    EXPECT_EQ(json("a\x80z"), "\"a\\ufffdz\"");
    EXPECT_EQ(json("\xc3"), "\"\\ufffd\"");                                  // cut short
    EXPECT_EQ(json("\xe2\x82"), "\"\\ufffd\\ufffd\"");                       // cut short
    EXPECT_EQ(json("\xc0\xaf"), "\"\\ufffd\\ufffd\"");                       // longer than need be
    EXPECT_EQ(json("\xe0\x80\xaf"), "\"\\ufffd\\ufffd\\ufffd\"");            // longer than need be
    EXPECT_EQ(json("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\"");            // half of a pair
    EXPECT_EQ(json("\xf4\x90\x80\x80"), "\"\\ufffd\\ufffd\\ufffd\\ufffd\""); // past the last code point
    EXPECT_EQ(json("\xc3\x28"), "\"\\ufffd(\"");
}

TEST(JsonString, OfAnyBytesHoldsNoByteThatNeedsEscaping) {
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    RecordProperty("seed", std::to_string(seed));
    for (int round = 0; round < 2000; ++round) {
        std::string bytes(random() % 12, '\0');
        for (char& c : bytes) {
            c = static_cast<char>(random());
        }
        const std::string text = json(bytes);
        ASSERT_GE(text.size(), 2U);
        for (std::size_t i = 1; i + 1 < text.size(); ++i) {
            const char c = text[i];
            ASSERT_TRUE(c >= 0x20 && c <= 0x7e) << "seed " << seed;
            if (c == '\\') {
                const char next = text[i + 1];
                ASSERT_TRUE(next == 'u' || next == '"' || next == '\\') << "seed " << seed;
                ++i;
            } else {
                ASSERT_NE(c, '"') << "seed " << seed;
            }
        }
    }
}

TEST(Pattern, StarsCrossDirectoriesAndLiteralsMatchThemselves) {
    EXPECT_TRUE(Util::matchesPattern("/x/*orders*", "/x/a/orders2"));
    EXPECT_TRUE(Util::matchesPattern("*", "/.hidden/x"));
    EXPECT_TRUE(Util::matchesPattern("a?b", "a/b"));
    EXPECT_FALSE(Util::matchesPattern("a", "ab"));
    for (const std::string text : {"we*ird", "[x]", "a?b", "back\\slash", "plain", ""}) {
        EXPECT_TRUE(Util::matchesPattern(Util::literalPattern(text), text)) << text;
        EXPECT_FALSE(Util::matchesPattern(Util::literalPattern(text), text + "x")) << text;
    }
    EXPECT_FALSE(Util::matchesPattern(Util::literalPattern("a*b"), "axb"));
    EXPECT_FALSE(Util::matchesPattern(Util::literalPattern("[x]"), "x"));
}

} // namespace
