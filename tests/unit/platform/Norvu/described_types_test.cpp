// Values described by C declarations: how they are laid out, what they print, and what is wrong with a description.

#include "Norvu/DescribedTypes.h"
#include "Norvu/Types/Layout.h"
#include "Norvu/Types/Parser.h"
#include "fixtures/Bytes.h"
#include "fixtures/ScratchRoot.h"

#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#include "data/types/layouts.h"
#pragma GCC diagnostic pop

using namespace Norvu::Types;
using Norvu::Platform::compilePrinter;
using Norvu::Platform::ValueStyle;

namespace {

constexpr Abi kOwnAbi = sizeof(void*) == 8 ? Abi::X86_64 : Abi::I386;

std::string print(const std::string& text, const std::string& name, const std::string& value, ValueStyle style) {
    std::string out;
    compilePrinter(text, name, static_cast<unsigned>(value.size()))->toString(value.data(), style, out);
    return out;
}

std::string pretty(const std::string& text, const std::string& value) {
    return print(text, "", value, ValueStyle::Pretty);
}

std::string json(const std::string& text, const std::string& value) {
    return print(text, "", value, ValueStyle::Json);
}

/// "LINE: REASON" of a description that cannot be used for values of `size` bytes.
std::string fault(const std::string& text, unsigned size = 4) {
    try {
        (void)compilePrinter(text, "T", size);
    } catch (const DescriptionError& error) {
        return std::to_string(error.line()) + ": " + error.msg();
    }
    return "none";
}

template <typename... Numbers>
std::string bytes(Numbers... numbers) {
    return (Fixtures::bytesOf(numbers) + ...);
}

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;

class CompiledLayout : public ::testing::Test {
protected:
    /// The layout of `name` in the file, by the rules that this test was compiled by.
    void use(const std::string& name) {
        declarations_ = parse(Fixtures::readFile(HALYX_TEST_DATA "/types/layouts.h"), name);
        layout_.emplace(declarations_, kOwnAbi);
    }
    [[nodiscard]] u64 size() const { return layout_->sizeOf(declarations_.value); }
    [[nodiscard]] u64 offset(const std::string& member) const {
        const auto& members = declarations_.at(declarations_.value).members;
        for (std::size_t i = 0; i < members.size(); ++i) {
            if (members[i].name == member) {
                return layout_->placesOf(declarations_.value)[i].offset;
            }
        }
        ADD_FAILURE() << "no member " << member;
        return 0;
    }

    Declarations declarations_;
    std::optional<Layout> layout_;
};

#define EXPECT_PLACE(type, member) EXPECT_EQ(offset(#member), offsetof(type, member))

TEST_F(CompiledLayout, OfPlainMembers) {
    use("Plain");
    EXPECT_EQ(size(), sizeof(Plain));
    EXPECT_PLACE(Plain, s);
    EXPECT_PLACE(Plain, i);
    EXPECT_PLACE(Plain, ll);
    EXPECT_PLACE(Plain, us);
    EXPECT_PLACE(Plain, u);
    EXPECT_PLACE(Plain, ull);
    EXPECT_PLACE(Plain, f);
    EXPECT_PLACE(Plain, d);
    EXPECT_PLACE(Plain, b);
}

TEST_F(CompiledLayout, OfNestedMembers) {
    use("Nested");
    EXPECT_EQ(size(), sizeof(Nested));
    EXPECT_PLACE(Nested, plain);
    EXPECT_PLACE(Nested, point);
    EXPECT_PLACE(Nested, name);
    EXPECT_PLACE(Nested, names);
}

TEST_F(CompiledLayout, OfPackedAndAlignedMembers) {
    use("Packed");
    EXPECT_EQ(size(), sizeof(Packed));
    EXPECT_PLACE(Packed, b);
    EXPECT_PLACE(Packed, e);
    use("Aligned");
    EXPECT_EQ(size(), sizeof(Aligned));
    EXPECT_PLACE(Aligned, b);
    EXPECT_PLACE(Aligned, c);
    use("Pragma");
    EXPECT_EQ(size(), sizeof(Pragma));
    EXPECT_PLACE(Pragma, b);
    EXPECT_PLACE(Pragma, c);
}

TEST_F(CompiledLayout, OfUnionsPointersAndEnumerations) {
    use("Mixed");
    EXPECT_EQ(size(), sizeof(Mixed));
    EXPECT_PLACE(Mixed, color);
    EXPECT_PLACE(Mixed, either);
    EXPECT_PLACE(Mixed, pointer);
    EXPECT_PLACE(Mixed, function);
    EXPECT_PLACE(Mixed, matrix);
    EXPECT_PLACE(Mixed, tail);
}

TEST_F(CompiledLayout, OfBitFields) {
    use("Bits");
    EXPECT_EQ(size(), sizeof(Bits));
    EXPECT_PLACE(Bits, e);
    // The compiler puts the values where it likes; the description must find them there.
    Bits bits{};
    bits.a = 5;
    bits.b = 99;
    bits.c = -1234;
    bits.d = 0xabcdef1234;
    bits.e = 'x';
    bits.f = 9;
    bits.g = 300;
    bits.h = -16;
    bits.i = -0x123456789abcdef;
    bits.j = true;
    EXPECT_EQ(print(Fixtures::readFile(HALYX_TEST_DATA "/types/layouts.h"), "Bits", Fixtures::bytesOf(bits),
                    ValueStyle::Pretty),
              "Bits{ a: 5 b: 99 c: -1234 d: 737894404660 e: \"x\" f: 9 g: 300 h: -16 i: -81985529216486895 j: true }");
    Packed packed{};
    packed.a = 'y';
    packed.b = -7;
    packed.c = 6;
    packed.d = 0x2aaaaaaa;
    packed.e = 0.5;
    EXPECT_EQ(print(Fixtures::readFile(HALYX_TEST_DATA "/types/layouts.h"), "Packed", Fixtures::bytesOf(packed),
                    ValueStyle::Json),
              "{\"a\":\"y\",\"b\":-7,\"c\":6,\"d\":715827882,\"e\":0.5}");
}

TEST(DescribedTypes, TheLastOneOrTheOneNamedIsTheValue) {
    const std::string text = "struct A { int x; }; struct B { int y; };";
    EXPECT_EQ(print(text, "A", bytes(u32{1}), ValueStyle::Pretty), "A{ x: 1 }");
    EXPECT_EQ(print(text, "C", bytes(u32{1}), ValueStyle::Pretty), "B{ y: 1 }");
    EXPECT_EQ(print("struct P<A<int>, 2> { int x; };" + text, "P<A<int >,2>", bytes(u32{1}), ValueStyle::Pretty),
              "P<A<int>, 2>{ x: 1 }");
    EXPECT_EQ(pretty("typedef unsigned short port_t;", bytes(u16{80})), "80");
    EXPECT_EQ(pretty("typedef struct { int x; } Point;", bytes(u32{7})), "Point{ x: 7 }");
    EXPECT_EQ(pretty("enum E { A = 1, B };", bytes(u32{2})), "B");
    EXPECT_EQ(json("enum E { A = 1, B };", bytes(u32{9})), "9");
}

TEST(DescribedTypes, PrintFieldsInBothStyles) {
    const std::string text = "struct Service { uint16_t port; char proto[4]; char name[8]; bool up; };";
    const std::string value =
        bytes(u16{80}) + std::string("tcp\0", 4) + std::string("a\"b\x1b\0zzz", 8) + std::string("\1\0", 2);
    EXPECT_EQ(print(text, "Service", value, ValueStyle::Pretty).substr(0, 17), "Service{ port: 80");
    EXPECT_EQ(pretty("struct S { uint16_t port; char proto[4]; char name[8]; };", value.substr(0, 14)),
              "S{ port: 80 proto: \"tcp\" name: \"a\\\"b\\x1b\" }");
    EXPECT_EQ(json("struct S { uint16_t port; char proto[4]; char name[8]; };", value.substr(0, 14)),
              "{\"port\":80,\"proto\":\"tcp\",\"name\":\"a\\\"b\\u001b\"}");
}

TEST(DescribedTypes, PrintArraysAndWhatIsInThem) {
    const std::string three = bytes(u16{1}, u16{2}, u16{3}, u16{4}, u16{5}, u16{6});
    EXPECT_EQ(pretty("struct S { short a[2][3]; };", three), "S{ a: [ [ 1 2 3 ] [ 4 5 6 ] ] }");
    EXPECT_EQ(json("struct S { short a[2][3]; };", three), "{\"a\":[[1,2,3],[4,5,6]]}");
    EXPECT_EQ(pretty("struct S { struct { short x, y; } p[3]; };", three),
              "S{ p: [ { x: 1 y: 2 } { x: 3 y: 4 } { x: 5 y: 6 } ] }");
    EXPECT_EQ(json("struct S { struct P { short x, y; } p[3]; };", three),
              "{\"p\":[{\"x\":1,\"y\":2},{\"x\":3,\"y\":4},{\"x\":5,\"y\":6}]}");
    EXPECT_EQ(pretty("struct S { char n[3][4]; };", std::string("ab\0\0cdefg\0\0\0", 12)),
              "S{ n: [ \"ab\" \"cdef\" \"g\" ] }");
    EXPECT_EQ(json("struct S { int a; int rest[]; };", bytes(u32{1})), "{\"a\":1,\"rest\":[]}");
    EXPECT_EQ(pretty("struct S { int a; int rest[0]; };", bytes(u32{1})), "S{ a: 1 rest: [ ] }");
}

TEST(DescribedTypes, UnionsAreTheirFirstMember) {
    EXPECT_EQ(pretty("struct S { union { int i; float f; } u; };", bytes(u32{5})), "S{ u: 5 }");
    EXPECT_EQ(json("struct S { union { struct { short a, b; } p; int i; }; };", bytes(u16{1}, u16{2})),
              "{\"p\":{\"a\":1,\"b\":2}}");
    EXPECT_EQ(json("struct S { union { struct { short a, b; }; int i; }; };", bytes(u16{1}, u16{2})),
              "{\"a\":1,\"b\":2}");
}

TEST(DescribedTypes, AnnotationsChooseTheText) {
    EXPECT_EQ(pretty("struct S { uint32_t a; /* ipv4 */ };", std::string("\x7f\0\0\1", 4)), "S{ a: 127.0.0.1 }");
    EXPECT_EQ(json("struct S { uint8_t a[4]; // ipv4\n};", std::string("\x7f\0\0\1", 4)), "{\"a\":\"127.0.0.1\"}");
    EXPECT_EQ(json("struct S { uint8_t a[16]; /* ipv6 */ };", std::string(15, '\0') + "\1"), "{\"a\":\"::1\"}");
    EXPECT_EQ(pretty("struct S { uint8_t a[6]; /* mac */ };", "\x01\x02\x03\xaa\xbb\xcc"), "S{ a: 01:02:03:aa:bb:cc }");
    EXPECT_EQ(pretty("struct S { uint16_t a; /* be */ };", std::string("\1\2", 2)), "S{ a: 258 }");
    EXPECT_EQ(pretty("struct S { uint32_t a; /* be hex */ };", "\1\2\3\4"), "S{ a: 0x1020304 }");
    EXPECT_EQ(json("struct S { unsigned char a[4]; /* hex */ };", "\xde\xad\xbe\xef"), "{\"a\":\"deadbeef\"}");
    EXPECT_EQ(pretty("struct S { uint8_t a[4]; /* string */ };", std::string("ab\0c", 4)), "S{ a: \"ab\" }");
    EXPECT_EQ(pretty("struct S { uint32_t a; /* time */ };", bytes(u32{951827696})), "S{ a: 2000-02-29T12:34:56Z }");
    EXPECT_EQ(json("struct S { int64_t a; /* time */ };", bytes(u64(-1))), "{\"a\":\"1969-12-31T23:59:59Z\"}");
    EXPECT_EQ(pretty("struct S { char a; /* hex */ };", "\xff"), "S{ a: 0xff }");
    EXPECT_EQ(pretty("struct S { int a; /* the time of day */ };", bytes(u32{1})), "S{ a: 1 }");
    EXPECT_EQ(fault("struct S {\nuint32_t a; /* mac */ };"), "2: /* mac */ needs a field of 6 bytes");
    EXPECT_EQ(fault("struct S {\nfloat a; /* time */ };"), "2: /* time */ needs an integer");
}

TEST(DescribedTypes, NumbersAtTheirLimits) {
    EXPECT_EQ(json("struct S { uint64_t a; int64_t b; };", bytes(~u64{0}, u64{1} << 63)),
              "{\"a\":18446744073709551615,\"b\":-9223372036854775808}");
    EXPECT_EQ(json("struct S { float a, b; };", bytes(0.1F, std::numeric_limits<float>::infinity())),
              "{\"a\":0.1,\"b\":null}");
    EXPECT_EQ(json("enum E { A, B = 0xffffffffffffffff };", bytes(~u64{0})), "\"B\"");
    EXPECT_EQ(json("enum E { A, B = 1 - 5 };", bytes(u32(-4))), "\"B\"");
    EXPECT_EQ(pretty("struct S { void* p; };", bytes(u64{0xfedc})), "S{ p: 0xfedc }");
    EXPECT_EQ(json("struct S { void* p; };", bytes(u32{0xfedc})), "{\"p\":\"0xfedc\"}"); // by the 32-bit rules
}

TEST(DescribedTypes, CommentsOfToolsAreHeldAgainstTheLayout) {
    EXPECT_EQ(pretty("struct S {\n\tint a; /* 0 4 */\n\tint b; /* 4 4 */\n\t/* size: 8, cachelines: 1 */\n};",
                     bytes(u32{1}, u32{2})),
              "S{ a: 1 b: 2 }");
    EXPECT_EQ(fault("struct S {\n\tint a; /* 0 4 */\n\tint b; /* 8 4 */\n};", 8),
              "3: 'b' is at offset 4, the comment says 8");
    EXPECT_EQ(fault("struct S {\n\tint a; /* 0 8 */\n};"), "2: 'a' has 4 bytes, the comment says 8");
    EXPECT_EQ(fault("struct S {\n\tint a;\n\t/* size: 12, members: 1 */\n};"),
              "3: 'S' has 4 bytes, the comment says 12");
    EXPECT_EQ(pretty("/* offset | size */  type = struct S {\n/*  0 | 4 */ int a;\n/*  4 | 4 */ int b;\n"
                     "/* total size: 8 bytes */\n}",
                     bytes(u32{1}, u32{2})),
              "S{ a: 1 b: 2 }");
    for (const char* const size : {"/* total size: 12 bytes */", "/* total size (bytes):   12 */"}) {
        EXPECT_EQ(fault(std::string("type = struct S {\n/*  0 | 4 */ int a;\n") + size + "\n}"),
                  "3: 'S' has 4 bytes, the comment says 12");
    }
    EXPECT_EQ(fault("type = struct S {\n/*  0 | 4 */ int a;\n/*  6 | 2 */ short b;\n}", 8),
              "3: 'b' is at offset 4, the comment says 6");
}

TEST(DescribedTypes, CommentsInAStructureHoldForTheMemberThatItIsDefinedAt) {
    // gdb shows what is in a structure at a member of its own, but not at an array.
    const std::string head = "/* offset | size */ type = struct S {\n/* 0 | 4 */ In a[2];\n/* 4 | 2 */ struct In {\n";
    EXPECT_EQ(pretty(head + "/* 4 | 2 */ short x;\n} one;\n}", bytes(u16{1}, u16{2}, u16{3})),
              "S{ a: [ In{ x: 1 } In{ x: 2 } ] one: In{ x: 3 } }");
    EXPECT_EQ(fault(head + "/* 6 | 2 */ short x;\n} one;\n}", 6), "4: 'x' is at offset 4, the comment says 6");
}

TEST(DescribedTypes, FaultsNameTheirLineAndReason) {
    EXPECT_EQ(fault(""), "1: no struct, union, enum or typedef in the file");
    EXPECT_EQ(fault("int x;"), "1: expected a struct, union, enum or typedef before 'int'");
    EXPECT_EQ(fault("struct S {\n int a;"), "2: '{' without '}'");
    EXPECT_EQ(fault("struct S { int a;\n int b"), "2: expected ';' before the end of the file");
    EXPECT_EQ(fault("struct S { int a; };"), "none");
    EXPECT_EQ(fault("struct S { int a; };", 5),
              "1: 'S' has 4 bytes (4 by the 32-bit rules), the collection's values have 5");
    EXPECT_EQ(fault("struct S {\n void *a; /* 0 8 */\n};", 5), "1: 'S' has 8 bytes, the collection's values have 5");
    EXPECT_EQ(fault("struct S {\n void *a; /* 0 4 */\n};", 5),
              "1: 'S' has 4 bytes by the 32-bit rules, the collection's values have 5");
    EXPECT_EQ(fault("struct S {\n struct Other o;\n};"), "2: type 'Other' is not known");
    EXPECT_EQ(fault("struct S {\n struct S s;\n};"), "2: 'S' contains itself");
    EXPECT_EQ(fault("struct S { int a; };\nstruct S { int b; };"), "2: 'S' is defined twice");
    EXPECT_EQ(fault("struct S { int a[-1]; };"), "1: an array of -1 elements");
    EXPECT_EQ(fault("struct S { int a[2000000000]; };"), "1: too large");
    EXPECT_EQ(fault("struct S { int a : 40; };"), "1: a bit-field of 40 bits of such a type");
    EXPECT_EQ(fault("struct S { int a : 0; };"), "1: a bit-field of 0 bits");
    EXPECT_EQ(fault("static_assert(1, \"a \\\" { /* \");\nstruct S { [[deprecated(\";\")]] int a; };"), "none");
    EXPECT_EQ(fault("static_assert(1, \"a\n\");"), "1: string without end");
    EXPECT_EQ(fault("static_assert(1, \"a\\"), "1: string without end");
    EXPECT_EQ(fault("/* no end"), "1: comment without end");
    EXPECT_EQ(fault("struct S { int a[1/0]; };"), "1: a constant that cannot be computed");
    EXPECT_EQ(fault("struct S { unsigned double a; };"), "1: no such combination of type names");
    EXPECT_EQ(fault("struct S {\n float a; /* hex */\n};"), "2: /* hex */ needs an integer or bytes");
    EXPECT_EQ(fault("struct P { int a; };\nstruct S {\n struct P p; /* time */\n};"),
              "3: /* time */ is not for structures");
    EXPECT_EQ(fault("struct S { int a; } @"), "1: unexpected character with code 64");
}

TEST(DescribedTypes, NestingAndNumbersAreBounded) {
    std::string deep;
    for (int i = 0; i < 1000; ++i) {
        deep += "struct S { ";
    }
    EXPECT_EQ(fault(deep), "1: nested more than 32 deep");
    EXPECT_EQ(fault("struct S { int a[" + std::string(1000, '(')), "1: nested more than 32 deep");
    EXPECT_EQ(fault("struct S { int " + std::string(100000, '*') + "a; };", 8), "1: too many types");
    std::string stored;
    std::string line = "struct S { short a";
    for (int i = 1; i < 40000; ++i) {
        stored += "enum : ";
        line += ", a";
    }
    EXPECT_EQ(fault("struct S { " + stored + "int { A } a; };"), "1: nested more than 32 deep");
    // Each comment is about every member of the line: read for each of them, they would take minutes.
    line += "; ";
    for (int i = 0; i < 30000; ++i) {
        line += "/*be hex*/";
    }
    const Declarations many = parse(line + "\n};", "S");
    EXPECT_EQ(many.at(many.value).members.size(), 40000U);
    EXPECT_TRUE(many.at(many.value).members.front().notes.hex);
    EXPECT_TRUE(many.at(many.value).members.back().notes.bigEndian);
    // Met from the innermost on, each type is one step from what is laid out already.
    std::string chain = "typedef int A0[1];";
    std::string met = "struct T { A0 a0;";
    for (int i = 1; i < 200; ++i) {
        const std::string name = "A" + std::to_string(i);
        chain += "typedef A" + std::to_string(i - 1) + " " + name + "[1];";
        met += name + " a" + std::to_string(i) + ";";
    }
    EXPECT_EQ(fault(chain + met + "};", 800), "1: nested more than 64 deep");
    std::string wide = "struct E { ";
    for (int i = 0; i < 30000; ++i) {
        wide += "char a" + std::to_string(i) + "[0]; ";
    }
    EXPECT_EQ(fault(wide + "char b; }; struct S { struct E e[1000]; };", 1000),
              "1: a value has far more fields than bytes");
}

TEST(DescribedTypes, MembersWithoutBytesAndLongNamesCostNoMoreThanTheyMay) {
    // Each level holds two of the one before: nothing but the text says how much that is.
    std::string doubled = "struct S0 { /* size: 0, cachelines: 0, members: 0 */ };";
    for (int i = 1; i <= 30; ++i) {
        const std::string inner = "struct S" + std::to_string(i - 1);
        doubled += "struct S" + std::to_string(i) + " { " + inner + " a; " + inner + " b; };";
    }
    EXPECT_EQ(fault(doubled + "struct T { struct S30 s; char c; };", 1), "1: a value has far more fields than bytes");

    const std::string name(500000, 'n');
    EXPECT_EQ(fault("struct E { char " + name + "; }; struct T { struct E e[100]; };", 100),
              "1: a value has far more text than bytes");

    std::string unnamed = "struct E { ";
    for (int i = 0; i < 20000; ++i) {
        unnamed += "int:0;";
    }
    unnamed += "char c; }; struct T { struct E ";
    for (int i = 0; i < 20000; ++i) {
        unnamed += "a" + std::to_string(i) + ",";
    }
    EXPECT_EQ(fault(unnamed + "z; };", 20001), "1: a value has far more fields than bytes");
}

TEST(DescribedTypes, MemberFunctionsTakeNoRoom) {
    EXPECT_EQ(pretty("struct S { S(); ~S(); void ~S(class S *, int); static int f(); int get() const;"
                     " short a; };",
                     bytes(u16{7})),
              "S{ a: 7 }");
}

TEST(DescribedTypes, EachNameIsOneMembers) {
    EXPECT_EQ(fault("struct T {\n int a;\n int a;\n};", 8), "3: 'a' is declared twice");
    EXPECT_EQ(fault("struct T {\n int a;\n struct {\n int a;\n };\n};", 8), "4: 'a' is declared twice");
    EXPECT_EQ(json("struct B { short x; }; struct T : B { short B; };", bytes(u16{1}, u16{2})),
              R"({"B'":{"x":1},"B":2})");
}

TEST(DescribedTypes, ABaseClassThatIsNamedOftenIsAFaultAndNoWork) {
    std::string text = "struct T {\n";
    for (int i = 0; i < 20000; ++i) {
        text += "/* class B <ancestor>; */ /* 0 0 */\n";
    }
    EXPECT_EQ(fault(text + "char c[20000]; };", 20000), "3: 'B' is declared twice");
}

TEST(DescribedTypes, NamesAreEscapedWhereverTheyComeFrom) {
    const std::string text = "struct D {\n/* class Bas\"e\x01  <ancestor>; */ /* 0 2 */\n short a; /* 2 2 */\n};";
    EXPECT_EQ(json(text, bytes(u16{1}, u16{2})), R"({"Bas\"e\u0001":"0100","a":2})");
    EXPECT_EQ(pretty(text, bytes(u16{1}, u16{2})), "D{ Bas\"e\\x01: 0100 a: 2 }");
}

TEST(DescribedTypes, EnumeratorsMayNeedAllOf64Bits) {
    const std::string text = "enum E { ALL = 0xffffffffffffffff, ONE = 1 }; struct T { enum E e; };";
    EXPECT_EQ(pretty(text, bytes(~u64{0})), "T{ e: ALL }");
    EXPECT_EQ(pretty(text, bytes(~u64{0} - 1)), "T{ e: 18446744073709551614 }");
    EXPECT_EQ(fault("enum T { ALL = 18446744073709551615, LESS = -1 };", 8), "1: no integer holds all enumerators");
}

TEST(DescribedTypes, UnsignedTimesGoOnWhereSignedOnesEnd) {
    EXPECT_EQ(pretty("struct T { uint64_t t; /* time */ };", bytes(~u64{0})), "T{ t: 584554051223-11-09T07:00:15Z }");
    EXPECT_EQ(pretty("struct T { int64_t t; /* time */ };", bytes(~u64{0})), "T{ t: 1969-12-31T23:59:59Z }");
}

TEST(DescribedTypes, WhatHasNoNameIsPassedOver) {
    EXPECT_EQ(pretty("struct T { union { int : 3; int a; } u; };", bytes(7)), "T{ u: 7 }");
    EXPECT_EQ(pretty("struct T { union { int : 3; int a; }; };", bytes(7)), "T{ a: 7 }");
    EXPECT_EQ(pretty("struct T { char8_t a : 8; };", bytes(u8{255})), "T{ a: 255 }");
}

TEST(DescribedTypes, AddressesMayBeArraysOfWiderNumbers) {
    EXPECT_EQ(pretty("struct T { uint32_t a[4]; /* ipv6 */ };", std::string(15, '\0') + "\1"), "T{ a: ::1 }");
    EXPECT_EQ(pretty("struct T { uint16_t a[3]; /* mac */ };", "\1\2\3\4\5\6"), "T{ a: 01:02:03:04:05:06 }");
    EXPECT_EQ(pretty("struct T { uint32_t a[2]; /* ipv4 */ };", "\1\2\3\4\5\6\7\10"), "T{ a: [ 1.2.3.4 5.6.7.8 ] }");
    EXPECT_EQ(pretty("struct T { uint8_t a[2][6]; /* mac */ };", "\1\2\3\4\5\6\1\2\3\4\5\6"),
              "T{ a: [ 01:02:03:04:05:06 01:02:03:04:05:06 ] }");
}

TEST(DescribedTypes, ArraysOfWhatNothingDeclaresAreBytesWhenACommentTellsTheirSize) {
    EXPECT_EQ(pretty("struct T {\n struct Entry<short, short> b[2]; /* 0 8 */\n};", bytes(u32{1}, u32{2})),
              "T{ b: [ 01000000 02000000 ] }");
    EXPECT_EQ(fault("struct T {\n struct Entry b[3]; /* 0 8 */\n};", 8), "2: type 'Entry' is not known");
}

TEST(DescribedTypes, APlaceInFrontOfABodysEndIsNobodys) {
    EXPECT_EQ(pretty("struct T {\n struct I { short a;\n/* 0 | 4 */ } i;\n short b;\n};", bytes(u16{1}, u16{2})),
              "T{ i: I{ a: 1 } b: 2 }");
}

TEST(DescribedTypes, ReadWhatPaholePrints) {
    // Written by pahole 1.24 for a C++ program; the sizes are the compiler's.
    const std::pair<const char*, unsigned> kTypes[] = {
        {"S1", 16},  {"S2", 88},  {"S3", 16},  {"U1", 8},   {"S4", 16}, {"S5", 15},  {"S6", 32},
        {"S7", 40},  {"C8", 24},  {"S10", 56}, {"S11", 40}, {"ND", 12}, {"S14", 16}, {"S15", 112},
        {"S16", 40}, {"S17", 96}, {"S18", 32}, {"S19", 48}, {"S20", 8}, {"S21", 12}};
    for (const auto& [name, size] : kTypes) {
        SCOPED_TRACE(name);
        const std::string text = Fixtures::readFile(std::string(HALYX_TEST_DATA "/types/pahole/") + name + ".h");
        ASSERT_FALSE(text.empty());
        EXPECT_EQ(fault(text, size), "none");
    }
}

TEST(DescribedTypes, TypesThatNothingDeclaresAreWhereToolsSay) {
    EXPECT_EQ(pretty("struct S {\n\tport_t p[2]; /* 0 4 */\n\tenum E e:3; /* 4: 0 4 */\n\tenum F f:4; /* 4: 3 1 */\n"
                     "\tint i; /* 8 4 */\n\t/* size: 12, members: 4 */\n};",
                     bytes(u16{0x201}, u16{0x403}, u32{5U | 9U << 3}, u32{7})),
              "S{ p: [ 0102 0304 ] e: 5 f: 9 i: 7 }");
    EXPECT_EQ(pretty("struct S {\n\tenum E e; /* 0 1 */\n\tenum F f[2]; /* 2 4 */\n\t/* size: 6, members: 2 */\n};",
                     bytes(u16{200}, u16{1}, u16{65535})),
              "S{ e: 200 f: [ 1 65535 ] }");
    EXPECT_EQ(fault("struct S {\n\tport_t p[2]; /* 0 5 */\n};", 5), "2: type 'port_t' is not known");
    EXPECT_EQ(fault("struct S {\n\tport_t p : 2;\n};"), "2: type 'port_t' is not known");
}

TEST(DescribedTypes, OfAClassOnlyWhatTakesRoomIsShown) {
    const std::string value = bytes(u32{1}, u32{2});
    EXPECT_EQ(pretty("struct S { S(); ~S(); S(int x) : a{x}, b{2} {} S(const S&) = delete; int a = 1; int b{2}; "
                     "int get() const { return a; } static int c; };",
                     value),
              "S{ a: 1 b: 2 }");
    EXPECT_EQ(pretty("struct n::S<int> {\n\tint a;\n\tint b;\n\tvoid S(struct S *, int);\n\tvoid ~S(struct S *);\n"
                     "\tS(int);\n};",
                     value),
              "n::S<int>{ a: 1 b: 2 }");
    const std::string functions = "virtual ~S(); virtual int f() { return 1; } };";
    EXPECT_EQ(fault("\nstruct S { int a; " + functions), "2: virtual functions, but no member '_vptr' for their table");
    EXPECT_EQ(pretty("struct S { void *_vptr; " + functions, bytes(u64{1})), "S{ _vptr: 0x1 }");
    EXPECT_EQ(fault("struct S {\n int a;\n DECLARE_BITMAP(bits, 64);\n};"), "3: expected a member's name before '('");
    EXPECT_EQ(fault("struct S {\n int a;\n int (b);\n};"), "3: expected a member's name before '('");
}

TEST(DescribedTypes, PointersToMembersAreBytesWhereToolsSay) {
    EXPECT_EQ(pretty("struct S {\n\tint (S::*f)(S * const); /* 0 16 */\n\tint S::* d; /* 16 8 */\n"
                     "\tint ()(struct S *) S::* g; /* 24 2 */\n\t/* size: 26 */\n};",
                     bytes(u64{1}, u64{2}, u64{3}, u16{4})),
              "S{ f: 01000000000000000200000000000000 d: 0300000000000000 g: 0400 }");
    EXPECT_EQ(fault("struct S {\n int S::* d;\n};", 8), "2: type 'S::*' is not known");
}

class DescriptionFiles : public ::testing::Test {
protected:
    void SetUp() override { ::setenv("HALYX_TYPE_PATH", (root_.file("none") + "::" + root_.path()).c_str(), 1); }
    void TearDown() override { ::unsetenv("HALYX_TYPE_PATH"); }

    static std::string text(const std::string& type, const std::string& value) {
        std::string out;
        ::testing::internal::CaptureStderr();
        Norvu::Platform::getValuePrinter(type, static_cast<unsigned>(value.size()))
            ->toString(value.data(), ValueStyle::Pretty, out);
        return ::testing::internal::GetCapturedStderr() + out;
    }

    Fixtures::ScratchRoot root_;
};

TEST_F(DescriptionFiles, AreFoundByTheTypesName) {
    Fixtures::writeFile(root_.file("Point.h"), "struct Point { short x, y; };");
    Fixtures::writeFile(root_.file("std::pair<int, int>.h"), "struct P { short x, y; };");
    EXPECT_EQ(text("Point", bytes(u16{1}, u16{2})), "Point{ x: 1 y: 2 }");
    EXPECT_EQ(text("std::pair<int, int>", bytes(u16{1}, u16{2})), "P{ x: 1 y: 2 }");
    EXPECT_EQ(text("Other", bytes(u16{1}, u16{2})), "01000200");
    EXPECT_EQ(text("../" + root_.path().substr(root_.path().rfind('/') + 1) + "/Point", bytes(u16{1}, u16{2})),
              "01000200");
    EXPECT_EQ(text("U32", bytes(u32{7})), "7"); // the built-in types are not looked for
}

TEST_F(DescriptionFiles, ThatCannotBeUsedAreNamedAndTheBytesPrinted) {
    Fixtures::writeFile(root_.file("Bad.h"), "struct Bad {\n  int x\n};");
    EXPECT_EQ(text("Bad", bytes(u16{1})), "halyx: " + root_.file("Bad.h") + ":3: expected ';' before '}'\n0100");
    Fixtures::writeFile(root_.file("Point.h"), "struct Point { short x, y; };");
    EXPECT_EQ(text("Point", bytes(u16{1})),
              "halyx: " + root_.file("Point.h") +
                  ":1: 'Point' has 4 bytes (4 by the 32-bit rules), the collection's values have 2\n0100");
    Fixtures::makeDirectories(root_.file("Folder.h"));
    EXPECT_EQ(text("Folder", bytes(u16{1})), "halyx: " + root_.file("Folder.h") + ":1: is not a regular file\n0100");
}

TEST_F(DescriptionFiles, ThatAreNoneAreNotOpened) {
    const std::string pipe = root_.file("Pipe.h");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(::inotify_add_watch(watch, pipe.c_str(), IN_OPEN), 0);
    EXPECT_EQ(text("Pipe", bytes(u16{1})), "halyx: " + pipe + ":1: is not a regular file\n0100");
    char event[256];
    EXPECT_EQ(::read(watch, event, sizeof event), -1) << "the FIFO was opened";
    ::close(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_GT(::read(watch, event, sizeof event), 0) << "an open is not seen here";
    ::close(watch);
}

} // namespace
