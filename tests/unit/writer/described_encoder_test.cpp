// Records as values of described types: where their bytes go, what is refused, and that what is printed can be read back.

#include "Norvu/DescribedTypes.h"
#include "Norvu/Exception.h"
#include "fixtures/Bytes.h"
#include "fixtures/ScratchRoot.h"
#include "writer/program/Encoder.h"
#include "writer/program/Input.h"
#include "writer/program/RecordReader.h"
#include "writer/program/Stop.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

namespace {

using namespace Halyx::Writer;
using Fixtures::bytesOf;

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;

class DescribedEncoderTest : public ::testing::Test {
protected:
    void SetUp() override { ::setenv("HALYX_TYPE_PATH", root_.path().c_str(), 1); }
    void TearDown() override { ::unsetenv("HALYX_TYPE_PATH"); }

    std::unique_ptr<Encoder> encoder(const std::string& description, const Columns& columns = {}) {
        Fixtures::writeFile(root_.file("T.h"), description);
        return makeDescribedEncoder("T", columns);
    }

    Record recordOf(const std::string& json) {
        Fixtures::writeFile(root_.file("input"), json);
        Input input(root_.file("input"), stop_);
        Record record;
        EXPECT_TRUE(makeJsonLinesReader(input)->next(record));
        return record;
    }

    /// The bytes of a line of JSON as a value, or "!REASON".
    std::string encoded(const std::string& description, const std::string& json, const Columns& columns = {},
                        bool dynamic = false) {
        std::string bytes;
        try {
            encoder(description, columns)->encode(recordOf(json), dynamic, bytes);
        } catch (const BadLine& bad) {
            return std::string("!") + bad.what();
        }
        return bytes;
    }

    /// A structure of one field, x.
    std::string field(const std::string& declaration, const std::string& json) {
        return encoded("struct T { " + declaration + "\n};", "{\"x\":" + json + "}");
    }

    Fixtures::ScratchRoot root_;
    Stop stop_;
};

TEST_F(DescribedEncoderTest, NumbersGoWhereTheLayoutSays) {
    EXPECT_EQ(encoded("struct T { char c; int i; unsigned short s; };", R"({"c":"z","i":-2,"s":65535})"),
              "z" + std::string(3, '\0') + bytesOf(-2) + bytesOf(u16{65535}) + std::string(2, '\0'));
    EXPECT_EQ(encoded("struct T { uint16_t a; /* be */ __be32 b; };", R"({"a":258,"b":16909060})"),
              std::string("\1\2\0\0\1\2\3\4", 8));
    EXPECT_EQ(encoded("struct T { unsigned a : 3, b : 7; int c : 12; };", R"({"a":5,"b":100,"c":-2})"),
              bytesOf(u32{5U | 100U << 3 | 0xffeU << 10}));
    EXPECT_EQ(encoded("struct __attribute__((packed)) T { char a; unsigned long long b : 63; char c; };",
                      R"({"b":9223372036854775807,"c":"c"})"),
              std::string(1, '\0') + bytesOf(~u64{0} >> 1) + "c");
    EXPECT_EQ(field("bool x;", "true"), "\1");
    EXPECT_EQ(field("float x;", "1.5"), bytesOf(1.5F));
    EXPECT_EQ(field("double x; /* be */", "1"), std::string("\x3f\xf0\0\0\0\0\0\0", 8));
}

TEST_F(DescribedEncoderTest, WhatIsInsideOfOthersIsFoundByItsWay) {
    const std::string description =
        "struct P { short x, y; };\n"
        "struct T { struct P p; struct P q[2]; unsigned char m[2][2]; union { int u; char v; } w;"
        " struct { short n; }; };";
    EXPECT_EQ(encoded(description, R"({"p":{"y":1},"q":[{"x":2},{"y":3}],"m":[[],[4,5]],"w":6,"n":7})"),
              bytesOf(u16{0}) + bytesOf(u16{1}) + bytesOf(u16{2}) + bytesOf(u16{0}) + bytesOf(u16{0}) +
                  bytesOf(u16{3}) + std::string("\0\0\4\5", 4) + bytesOf(6) + bytesOf(u16{7}) + std::string(2, '\0'));
    EXPECT_EQ(encoded(description, R"({"q[1].y":3})"), encoded(description, R"({"q":[{},{"y":3}]})"));
}

TEST_F(DescribedEncoderTest, AnnotatedFieldsTakeTheTextThatIsPrinted) {
    EXPECT_EQ(field("uint32_t x; /* ipv4 */", "\"10.1.2.3\""), "\x0a\1\2\3");
    EXPECT_EQ(field("uint8_t x[16]; /* ipv6 */", "\"fe80::1\""),
              std::string("\xfe\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\1", 16));
    EXPECT_EQ(field("uint8_t x[6]; /* mac */", "\"02:42:ac:11:00:0f\""), std::string("\x02\x42\xac\x11\0\x0f", 6));
    EXPECT_EQ(field("uint16_t x; /* hex */", "\"0x1f\""), bytesOf(u16{0x1f}));
    EXPECT_EQ(field("uint16_t x; /* hex */", "31"), bytesOf(u16{0x1f}));
    EXPECT_EQ(field("short x; /* hex */", "\"0xffff\""), bytesOf(u16{0xffff}));
    EXPECT_EQ(field("uint8_t x[3]; /* hex */", "\"00aBff\""), std::string("\0\xab\xff", 3));
    EXPECT_EQ(field("uint8_t x[4]; /* string */", "\"ab\""), std::string("ab\0\0", 4));
    EXPECT_EQ(field("uint32_t x; /* time */", "\"1970-01-02T00:00:00Z\""), bytesOf(u32{86400}));
    EXPECT_EQ(field("uint32_t x; /* time */", "86400"), bytesOf(u32{86400}));
    EXPECT_EQ(field("void *x;", "\"0x7fff0000\""), bytesOf(u64{0x7fff0000}));
    EXPECT_EQ(field("enum { A = 3, B = -1 } x;", "\"B\""), bytesOf(-1));
    EXPECT_EQ(field("enum { A = 3, B = -1 } x;", "7"), bytesOf(7));
    EXPECT_TRUE(std::isnan(Fixtures::fromBytes<float>(field("float x;", "null"))));
}

TEST_F(DescribedEncoderTest, WhatDoesNotFitIsRefused) {
    const auto refused = [](const std::string& text) { return "!'" + text + "' is no value of field 'x' of T"; };
    EXPECT_EQ(field("uint8_t x;", "256"), refused("256"));
    EXPECT_EQ(field("uint8_t x;", "-1"), refused("-1"));
    EXPECT_EQ(field("int8_t x;", "128"), refused("128"));
    EXPECT_EQ(field("int8_t x;", "1.0"), refused("1.0"));
    EXPECT_EQ(field("int x;", "true"), refused("true"));
    EXPECT_EQ(field("int x;", "null"), refused("null"));
    EXPECT_EQ(field("unsigned x : 3;", "8"), refused("8"));
    EXPECT_EQ(field("int x : 3;", "-5"), refused("-5"));
    EXPECT_EQ(field("bool x;", "2"), refused("2"));
    EXPECT_EQ(field("float x;", "1e99"), refused("1e99"));
    EXPECT_EQ(field("char x[2];", "\"abc\""), refused("abc"));
    for (const char* const declaration : {"char x[8];", "uint8_t x[8]; /* string */", "uint32_t x; /* ipv4 */"}) {
        EXPECT_EQ(field(declaration, R"("1.2.3.4\u0000b")"), "!a text with a NUL is no value of field 'x' of T");
    }
    EXPECT_EQ(field("enum { A } x;", "\"C\""), refused("C"));
    EXPECT_EQ(field("uint32_t x; /* ipv4 */", "\"1.2.3\""), refused("1.2.3"));
    EXPECT_EQ(field("uint8_t x[6]; /* mac */", "\"02-42:ac:11:00:02\""), refused("02-42:ac:11:00:02"));
    EXPECT_EQ(field("uint8_t x[6]; /* mac */", "\"02:42:ac:11:00\""), refused("02:42:ac:11:00"));
    EXPECT_EQ(field("uint8_t x[2]; /* hex */", "\"0-1f\""), refused("0-1f"));
    EXPECT_EQ(field("uint8_t x[2]; /* hex */", "\"001\""), refused("001"));
    EXPECT_EQ(field("uint8_t x; /* hex */", "\"0x100\""), refused("0x100"));
    EXPECT_EQ(field("uint32_t x; /* time */", "\"2106-02-07T06:28:16Z\""), refused("2106-02-07T06:28:16Z"));
    EXPECT_EQ(field("uint32_t x; /* time */", "\"1969-12-31T23:59:59Z\""), refused("1969-12-31T23:59:59Z"));
    EXPECT_EQ(field("int x;", "{}"), refused(""));
}

TEST_F(DescribedEncoderTest, WaysThatLeadNowhereAreNamed) {
    const std::string description = "struct T { int i; int m[2]; struct { int n; } s; };";
    EXPECT_EQ(encoded(description, R"({"i":1,"j":2})"), "!there is no field 'j' in T");
    EXPECT_EQ(encoded(description, R"({"i":1,"m":[1,2,3]})"), "!there is no field 'm[2]' in T");
    EXPECT_EQ(encoded(description, R"({"i":1,"i.x":2})"), "!there is no field 'i.x' in T");
    EXPECT_EQ(encoded(description, R"({"i":1,"m[x]":2})"), "!there is no field 'm[x]' in T");
    EXPECT_EQ(encoded(description, R"({"i":1,"m[0":2})"), "!there is no field 'm[0' in T");
    EXPECT_EQ(encoded(description, R"({"i":1,"m":2})"), "!field 'm' has parts: name one of them, as in 'm[0]'");
    EXPECT_EQ(encoded(description, R"({"i":1,"s":2})"), "!field 's' has parts: name one of them, as in 's.NAME'");
    EXPECT_EQ(encoded(description, R"({"id":1})"), "!no column is a field of T");
}

TEST_F(DescribedEncoderTest, TheKeyNeedNotBeAFieldAndTheValueMayBeOneColumn) {
    const std::string description = "struct T { int i; };";
    EXPECT_EQ(encoded(description, R"({"id":1,"i":2})"), bytesOf(2));
    EXPECT_EQ(encoded(description, R"({"i":2,"id":1})", {"id", ""}), bytesOf(2));
    EXPECT_EQ(encoded(description, R"({"i":2,"id":1})"), "!there is no field 'id' in T");
    EXPECT_EQ(encoded(description, R"({"id":1,"v":{"i":2},"w":3})", {"", "v"}), bytesOf(2));
    EXPECT_EQ(encoded(description, R"({"id":1,"w":3})", {"", "v"}), "!there is no column 'v'");
    EXPECT_EQ(encoded("typedef unsigned char T[2];", R"({"id":1,"v":[2,3]})"), "\2\3");
    EXPECT_EQ(encoded("enum T { A = 5 };", R"({"id":1,"v":"A"})"), bytesOf(5));
    EXPECT_EQ(encoded("union T { struct { int i; } s; };", R"({"id":1,"i":3})"), bytesOf(3));
}

TEST_F(DescribedEncoderTest, ADynamicValueEndsWithItsText) {
    const std::string description = "struct T { int i; char text[8]; };";
    EXPECT_EQ(encoded(description, R"({"i":1,"text":"ab"})", {}, true), bytesOf(1) + "ab");
    EXPECT_EQ(encoded(description, R"({"i":1})", {}, true), bytesOf(1));
    EXPECT_EQ(encoded(description, R"({"i":1,"text":"ab"})"), bytesOf(1) + std::string("ab\0\0\0\0\0\0", 8));
    EXPECT_EQ(encoded("struct T { char text[8]; int i; };", R"({"text":"ab"})", {}, true),
              std::string("ab\0\0\0\0\0\0\0\0\0\0", 12));
}

TEST_F(DescribedEncoderTest, DescriptionsThatCannotBeUsedAreNamed) {
    const auto fault = [&](const std::string& description) -> std::string {
        try {
            (void)encoder(description);
        } catch (const Norvu::Exception& exception) {
            return exception.msg();
        }
        return "none";
    };
    EXPECT_EQ(fault("struct T {\n  int x\n};"), root_.file("T.h") + ":3: expected ';' before '}'");
    EXPECT_EQ(fault("struct T {\n  int x; /* mac */\n};"),
              root_.file("T.h") + ":2: /* mac */ needs a field of 6 bytes");
    EXPECT_EQ(makeDescribedEncoder("None", {}), nullptr);
    EXPECT_EQ(makeDescribedEncoder("../T", {}), nullptr);
}

TEST_F(DescribedEncoderTest, ASizeChoosesBetweenTheTwoLayouts) {
    Fixtures::writeFile(root_.file("T.h"), "struct T { int i; long long l; };");
    EXPECT_EQ(makeDescribedEncoder("T", {})->valueSize(), 16U);
    EXPECT_EQ(makeDescribedEncoder("T", {}, 12)->valueSize(), 12U);
    EXPECT_THROW(makeDescribedEncoder("T", {}, 13), Norvu::RuntimeException);
}

TEST_F(DescribedEncoderTest, WhatIsPrintedAsJsonIsReadBack) {
    const std::string descriptions[] = {
        "struct T { char c; short s; int i; long long l; bool b; };",
        "struct T { float f; double d; long double e; float g; /* be */ };",
        "enum E { A, B = 5, C = -3 }; struct T { enum E e; enum E few : 4; uint8_t z : 1; int64_t t; /* time */\n"
        "uint64_t h; /* hex */ void *p; uint64_t u; /* time be */ };",
        "struct P { unsigned x : 5; int y : 20; bool b : 1; };\n"
        "struct T { struct P p[3]; struct { char n[5]; } m[2][2]; };",
        "struct T { uint32_t a; /* ipv4 */\n uint8_t b[16]; /* ipv6 */\n uint8_t c[6]; /* mac */\n uint8_t e[3]; /* "
        "hex */ };",
        "struct T { uint8_t d[9]; /* string */ };",
        "struct __attribute__((packed)) T { uint8_t a; unsigned long long b : 61; int c : 11; union { double d; int i; "
        "} u; };"};
    constexpr unsigned seed = 20261121;
    std::mt19937_64 random(seed);
    for (const std::string& description : descriptions) {
        // Bytes of 128 and above need not be UTF-8, and are then lost in JSON.
        const bool isText =
            description.find("char") != std::string::npos || description.find("string") != std::string::npos;
        SCOPED_TRACE(description);
        const auto reader = encoder(description);
        const auto printer = Norvu::Platform::compilePrinter(description, "T", reader->valueSize());
        for (int i = 0; i < 2000; ++i) {
            std::string value(reader->valueSize(), '\0');
            for (char& byte : value) {
                byte = static_cast<char>(random() & (isText ? 0x7f : 0xff));
            }
            std::string json;
            printer->toString(value.data(), Norvu::Platform::ValueStyle::Json, json);
            std::string bytes;
            reader->encode(recordOf(json), false, bytes);
            std::string again;
            printer->toString(bytes.data(), Norvu::Platform::ValueStyle::Json, again);
            ASSERT_EQ(again, json) << "seed " << seed;
        }
    }
}

} // namespace
