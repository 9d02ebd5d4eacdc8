#include "Halyx/HalyxTextify.h"
#include "fixtures/Bytes.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <utility>

using Fixtures::bytesOf;
using Halyx::HalyxTextify;
using Halyx::SlotLink;
using Style = Halyx::HalyxTextify::Style;

namespace {

/// Gathers the lines. A value of 8 bytes goes through `buffer`.
class Lines final : public HalyxTextify {
public:
    explicit Lines(Style style = Style::Plain, bool linkDetail = false, bool emptyBuckets = false,
                   const std::string& type = "U64")
        : HalyxTextify(buffer, style, linkDetail, Norvu::Platform::getValuePrinter(type, 8), emptyBuckets) {}
    explicit Lines(std::shared_ptr<Norvu::Platform::ValuePrinter> printer)
        : HalyxTextify(buffer, Style::Pretty, false, std::move(printer), false) {}

    void handleResize() override { text += "resize\n"; }
    bool handleLineString(unsigned bucket, const std::string& line) override {
        lastBucket = bucket;
        text += line;
        return result;
    }
    bool slot(unsigned bucket, std::int32_t index, std::uint64_t value, bool lookaside = false, unsigned length = 8) {
        std::memcpy(buffer, &value, sizeof value);
        return handleSlot(bucket, {0x10, index}, lookaside, 0x20, length);
    }

    alignas(8) char buffer[8] = {};
    std::string text;
    unsigned lastBucket = 0xffffffff;
    bool result = true;
};

constexpr SlotLink kEnd{7, -1};

/// Gives up in the middle of its first value.
class FirstFails final : public Norvu::Platform::ValuePrinter {
public:
    FirstFails() : ValuePrinter(8) {}
    void toString(const void* /*value*/, Norvu::Platform::ValueStyle /*style*/, std::string& out) const override {
        out += "half";
        if (!failed_) {
            failed_ = true;
            throw std::runtime_error("no more");
        }
    }

private:
    mutable bool failed_ = false;
};

TEST(Textify, PrintsAChainOnOneLine) {
    Lines lines;
    EXPECT_TRUE(lines.slot(26, 5, 1));
    EXPECT_TRUE(lines.slot(26, 0x1c, 2, true));
    EXPECT_EQ(lines.text, "");
    EXPECT_TRUE(lines.done(26, kEnd));
    EXPECT_EQ(lines.text, "bucket[1a] 5-->0100000000000000 1c-->*0200000000000000 7fffffff --> none\n");
    EXPECT_EQ(lines.lastBucket, 26U);
}

TEST(Textify, PrintsNoEmptyBucketUnlessAsked) {
    Lines quiet;
    EXPECT_TRUE(quiet.done(0, kEnd));
    EXPECT_EQ(quiet.text, "");
    EXPECT_EQ(quiet.lastBucket, 0xffffffffU);
    Lines lines(Style::Plain, false, true);
    EXPECT_TRUE(lines.done(0x1a, kEnd));
    EXPECT_EQ(lines.text, "bucket[1a] 7fffffff --> none\n");
}

TEST(Textify, PrintsEndsWithTheirTopBitCleared) {
    Lines lines(Style::Plain, false, true);
    lines.done(1, {0, static_cast<std::int32_t>(0x80000010)});
    EXPECT_EQ(lines.text, "bucket[1] 10 --> none\n");
}

TEST(Textify, PrintsTagsAndStatesInDecimalWhenAsked) {
    Lines lines(Style::Plain, true);
    lines.slot(26, 0x1c, 1);
    lines.slot(26, 5, 2, true);
    lines.done(26, {18, -1});
    EXPECT_EQ(lines.text, "bucket[1a] 16:1c-->32:0100000000000000 16:5-->32:*0200000000000000 18:7fffffff --> none\n");
}

TEST(Textify, PrintsTagsOfEmptyBucketsWhenAsked) {
    Lines lines(Style::Plain, true, true);
    lines.done(0, {4294967295U, -1});
    EXPECT_EQ(lines.text, "bucket[0] 4294967295:7fffffff --> none\n");
}

TEST(Textify, PrintsValuesInItsStyle) {
    for (const Style style : {Style::Json, Style::Pretty}) {
        Lines lines(style);
        lines.slot(0, 0, 255);
        lines.done(0, kEnd);
        EXPECT_EQ(lines.text, "bucket[0] 0-->255 7fffffff --> none\n");
    }
    Lines other(static_cast<Style>(9));
    other.slot(0, 0, 255);
    other.done(0, kEnd);
    EXPECT_EQ(other.text, "bucket[0] 0-->ff00000000000000 7fffffff --> none\n");
    Lines json(Style::Json, false, false, "char[8]");
    json.slot(0, 0, 0x1f41);
    json.done(0, kEnd);
    EXPECT_EQ(json.text, "bucket[0] 0-->\"A\\u001f\" 7fffffff --> none\n");
}

TEST(Textify, KeepsNothingOfAValueWhosePrinterGaveUp) {
    Lines lines(std::make_shared<FirstFails>());
    EXPECT_THROW(lines.slot(0, 0, 1), std::runtime_error);
    lines.handleCorruption(0, "no more");
    lines.slot(1, 1, 2);
    lines.done(1, kEnd);
    EXPECT_EQ(lines.text, "bucket[0] 0--> --> [corrupted] no more\nbucket[1] 1-->half 7fffffff --> none\n");
}

TEST(Textify, PlainPrintsAsManyBytesAsTheValueHas) {
    Lines lines;
    lines.slot(0, 0, 0x030201, false, 3);
    lines.slot(0, 1, 0, false, 0);
    lines.done(0, kEnd);
    EXPECT_EQ(lines.text, "bucket[0] 0-->010203 1--> 7fffffff --> none\n");
}

TEST(Textify, UnknownTypesPrintTheirWholeSize) {
    for (const Style style : {Style::Json, Style::Pretty}) {
        Lines lines(style, false, false, "Widget");
        lines.slot(0, 0, 1, false, 3);
        lines.done(0, kEnd);
        EXPECT_EQ(lines.text, "bucket[0] 0-->0100000000000000 7fffffff --> none\n");
    }
}

TEST(Textify, ReportsCorruption) {
    Lines lines;
    lines.handleCorruption(26, "a reason");
    lines.slot(27, 0x1a, 1);
    lines.handleCorruption(27, "another");
    lines.done(28, kEnd);
    lines.slot(29, 3, 1);
    lines.done(29, kEnd);
    EXPECT_EQ(lines.text, "bucket[1a] [corrupted] a reason\n"
                          "bucket[1b] 1a-->0100000000000000 --> [corrupted] another\n"
                          "bucket[1d] 3-->0100000000000000 7fffffff --> none\n");
}

TEST(Textify, ForgetsAnAbandonedWalk) {
    Lines lines;
    lines.slot(0, 1, 1);
    EXPECT_TRUE(lines.restart(0));
    lines.slot(0, 2, 2);
    lines.done(0, kEnd);
    EXPECT_EQ(lines.text, "bucket[0] 2-->0200000000000000 7fffffff --> none\n");
}

TEST(Textify, ReturnsWhatTheLinesTakerReturns) {
    Lines lines;
    lines.result = false;
    EXPECT_TRUE(lines.slot(0, 1, 1));
    EXPECT_FALSE(lines.done(0, kEnd));
    EXPECT_TRUE(lines.done(1, kEnd)); // nothing was printed, nobody was asked
}

/// What stands in a virtual slot of an object, as a function of the object and the arguments given.
template <typename Result, typename... Arguments>
Result callVirtual(void* object, std::size_t slot, Arguments... arguments) {
    void** table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

TEST(Textify, KeepsTheOrderOfItsVirtualOperations) {
    Lines lines;
    HalyxTextify* object = &lines;
    const SlotLink link{0, 5};
    EXPECT_TRUE(
        (callVirtual<bool, unsigned, const SlotLink*, bool, unsigned, unsigned>(object, 1, 0, &link, false, 0, 8)));
    EXPECT_TRUE((callVirtual<bool, unsigned, const SlotLink*>(object, 0, 0, &kEnd)));
    EXPECT_EQ(lines.text, "bucket[0] 5-->0000000000000000 7fffffff --> none\n");
    const std::string reason = "why";
    lines.text.clear();
    callVirtual<void, unsigned, const std::string*>(object, 2, 1, &reason);
    EXPECT_EQ(lines.text, "bucket[1] [corrupted] why\n");
    lines.text.clear();
    callVirtual<void>(object, 3);
    EXPECT_EQ(lines.text, "resize\n");
    lines.text.clear();
    lines.slot(0, 1, 1);
    EXPECT_TRUE((callVirtual<bool, unsigned>(object, 4, 0)));
    const std::string line = "a line";
    EXPECT_TRUE((callVirtual<bool, unsigned, const std::string*>(object, 5, 9, &line)));
    EXPECT_EQ(lines.text, "a line");
    EXPECT_EQ(lines.lastBucket, 9U);
}

} // namespace
