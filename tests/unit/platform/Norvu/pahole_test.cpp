// Descriptions that pahole prints now, from a compiled program's debug information. What is expected of them comes from that
// program: its sizeof and offsetof, and values that it filled in. Their texts are written by hand.

#include "Norvu/DescribedTypes.h"
#include "Norvu/Types/Layout.h"
#include "Norvu/Types/Parser.h"
#include "fixtures/Process.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace Norvu::Types;
using Norvu::Platform::compilePrinter;
using Norvu::Platform::ValueStyle;

namespace {

constexpr Abi kOwnAbi = sizeof(void*) == 8 ? Abi::X86_64 : Abi::I386;

/// What the program says of one of its types.
struct Compiled {
    unsigned size = 0;
    std::map<std::string, std::uint64_t> places;
    std::string value;
};

std::string fromHex(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::map<std::string, Compiled> compiledTypes() {
    const Fixtures::Outcome ran = Fixtures::Process(HALYX_DESCRIBED_PROGRAM).limitSeconds(20).run();
    EXPECT_EQ(ran.status, 0) << ran.describe();
    std::map<std::string, Compiled> types;
    std::istringstream lines(ran.out);
    std::string what;
    std::string type;
    while (lines >> what >> type) {
        std::string member;
        Compiled& its = types[type];
        if (what == "type") {
            lines >> its.size;
        } else if (what == "place") {
            lines >> member;
            lines >> its.places[member];
        } else {
            lines >> its.value;
            its.value = fromHex(its.value);
        }
    }
    return types;
}

class Pahole : public ::testing::Test {
protected:
    void SetUp() override {
        constexpr int kNotFound = 127;
        if (pahole({"--version"}).status == kNotFound) {
            GTEST_SKIP() << "pahole is not installed (Debian's package dwarves)";
        }
        types_ = compiledTypes();
    }

    static Fixtures::Outcome pahole(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "pahole");
        return Fixtures::Process("/usr/bin/env", std::move(arguments)).limitSeconds(20).run();
    }

    /// What pahole prints for types of the program, separated by commas.
    static std::string describe(const std::string& names) {
        const Fixtures::Outcome ran = pahole({"-C", names, HALYX_DESCRIBED_PROGRAM});
        EXPECT_EQ(ran.status, 0) << ran.describe();
        EXPECT_FALSE(ran.out.empty()) << ran.describe();
        return ran.out;
    }

    /// Holds the layout of `name` against the compiler's; `with` are types that it is made of, to be described, too.
    void expectLayout(const std::string& name, const std::string& with = "") {
        SCOPED_TRACE(name);
        const Compiled& compiled = types_[name];
        ASSERT_NE(compiled.size, 0U);
        const std::string text = describe(with.empty() ? name : with + "," + name);
        try {
            const Declarations declarations = parse(text, name);
            const Layout layout(declarations, kOwnAbi);
            const Type& type = declarations.at(declarations.value);
            EXPECT_EQ(type.name, name);
            EXPECT_EQ(layout.sizeOf(declarations.value), compiled.size);
            std::map<std::string, std::uint64_t> places;
            for (std::size_t i = 0; i < type.members.size(); ++i) {
                if (compiled.places.count(type.members[i].name) != 0) {
                    places[type.members[i].name] = layout.placesOf(declarations.value)[i].offset;
                }
            }
            EXPECT_EQ(places, compiled.places);
            EXPECT_NE(compilePrinter(text, name, compiled.size), nullptr);
        } catch (const DescriptionError& error) {
            ADD_FAILURE() << error.line() << ": " << error.msg() << "\n" << text;
        }
    }

    void expectText(const std::string& name, const std::string& with, const std::string& pretty,
                    const std::string& json) {
        expectLayout(name, with);
        SCOPED_TRACE(name);
        const Compiled& compiled = types_[name];
        ASSERT_EQ(compiled.value.size(), compiled.size);
        EXPECT_EQ(print(name, with, ValueStyle::Pretty), pretty);
        EXPECT_EQ(print(name, with, ValueStyle::Json), json);
    }

private:
    std::string print(const std::string& name, const std::string& with, ValueStyle style) {
        const Compiled& compiled = types_[name];
        std::string out;
        try {
            compilePrinter(describe(with.empty() ? name : with + "," + name), name, compiled.size)
                ->toString(compiled.value.data(), style, out);
        } catch (const DescriptionError& error) {
            out = std::to_string(error.line()) + ": " + error.msg();
        }
        return out;
    }

    std::map<std::string, Compiled> types_;
};

TEST_F(Pahole, DescribesScalars) {
    expectText("S1", "", R"(S1{ a: -7 b: "x" c: 2.5 })", R"({"a":-7,"b":"x","c":2.5})");
    expectText("S11", "",
               "S11{ a: 255 b: 65535 c: 4294967295 d: 18446744073709551615 e: -128 f: -32768 g: -2147483647 "
               "h: -9223372036854775807 i: 99 }",
               R"({"a":255,"b":65535,"c":4294967295,"d":18446744073709551615,"e":-128,"f":-32768,"g":-2147483647,)"
               R"("h":-9223372036854775807,"i":99})");
    expectText(
        "S19", "",
        "S19{ a: -1 b: 200 c: -300 d: 60000 e: -70000 f: 80000 g: -1099511627776 h: 9223372036854775808 i: 0.1 }",
        R"({"a":-1,"b":200,"c":-300,"d":60000,"e":-70000,"f":80000,"g":-1099511627776,)"
        R"("h":9223372036854775808,"i":0.1})");
    expectText("T27", "", "T27{ v: -9 c: 8 pp: 0x1234 call: 0xabcd text: 0x0 }",
               R"({"v":-9,"c":8,"pp":"0x1234","call":"0xabcd","text":"0x0"})");
    expectLayout("S7");
}

TEST_F(Pahole, DescribesStructuresInStructuresAndArrays) {
    expectText("S2", "S1",
               R"(S2{ s: S1{ a: 1 b: "a" c: 0.5 } arr: [ S1{ a: 2 b: "b" c: -1.5 } S1{ a: 0 b: "" c: 0 } )"
               R"(S1{ a: 3 b: "c" c: 1024.75 } ] name: "a \"name\"" })",
               R"({"s":{"a":1,"b":"a","c":0.5},"arr":[{"a":2,"b":"b","c":-1.5},{"a":0,"b":"","c":0},)"
               R"({"a":3,"b":"c","c":1024.75}],"name":"a \"name\""})");
    expectText("Deep", "S1",
               R"(Deep{ level: [ Level{ rows: [ S1{ a: 1 b: "r" c: 1 } S1{ a: 2 b: "s" c: 2 } ] code: 70 } )"
               R"(Level{ rows: [ S1{ a: 3 b: "t" c: 3 } S1{ a: 4 b: "u" c: 4 } ] code: -70 } ] })",
               R"({"level":[{"rows":[{"a":1,"b":"r","c":1},{"a":2,"b":"s","c":2}],"code":70},)"
               R"({"rows":[{"a":3,"b":"t","c":3},{"a":4,"b":"u","c":4}],"code":-70}]})");
    expectText("S17", "",
               R"(S17{ m: [ [ -6 -5 -4 -3 ] [ -2 -1 0 1 ] [ 2 3 4 5 ] ] names: [ "one" "eight888" ] )"
               R"(flags: [ false true false false true ] w: 65 c16: 66 ld: 0.5 })",
               R"({"m":[[-6,-5,-4,-3],[-2,-1,0,1],[2,3,4,5]],"names":["one","eight888"],)"
               R"("flags":[false,true,false,false,true],"w":65,"c16":66,"ld":0.5})");
    expectText("T24", "Order,Book",
               "T24{ order: Order{ side: Sell price: 100 } book: Book{ best: [ Order{ side: Buy price: 99 } "
               "Order{ side: 0 price: -1 } ] } }",
               R"({"order":{"side":"Sell","price":100},"book":{"best":[{"side":"Buy","price":99},)"
               R"({"side":0,"price":-1}]}})");
    expectLayout("S18");
    expectLayout("S18", "sockaddr_in,in_addr,in6_addr");
}

TEST_F(Pahole, DescribesUnionsAndEnumerations) {
    expectText("U1", "", "-5", "-5");
    expectText("S4", "U1", "S4{ u: 12 color: Green e8: B }", R"({"u":12,"color":"Green","e8":"B"})");
    expectText("S14", "", "S14{ in: { a: 1 b: 2 } c: 3 x: 4 }", R"({"in":{"a":1,"b":2},"c":3,"x":4})");
    expectText("T30", "S4", "T30{ level: High e: A where: { x: -1 y: 2 } }",
               R"({"level":"High","e":"A","where":{"x":-1,"y":2}})");
}

TEST_F(Pahole, DescribesBitFields) {
    expectText("S3", "", R"(S3{ a: 5 b: 99 c: -1234 d: 737894404660 e: "z" })",
               R"({"a":5,"b":99,"c":-1234,"d":737894404660,"e":"z"})");
    expectText("S20", "S4", "S20{ b1: false b2: true c: 9 s: -200 t: -16 col: Blue flex: [ ] }",
               R"({"b1":false,"b2":true,"c":9,"s":-200,"t":-16,"col":"Blue","flex":[]})");
    expectText("T29", "", "T29{ wide: -4294967296 small: 3 after: 55 tail: 2147483646 last: 1 }",
               R"({"wide":-4294967296,"small":3,"after":55,"tail":2147483646,"last":1})");
}

TEST_F(Pahole, DescribesBitFieldsThatWouldCrossTheEdgeOfTheirType) {
    expectText("T31", "", "T31{ a: 1048575 b: 524289 c: -256 d: 255 e: 31 f: 17 g: -549755813888 h: 549755813887 }",
               R"({"a":1048575,"b":524289,"c":-256,"d":255,"e":31,"f":17,"g":-549755813888,"h":549755813887})");
}

TEST_F(Pahole, DescribesPackedAndAlignedMembers) {
    expectText("S5", "", R"(S5{ a: "p" b: -2 c: 3000000 d: -4 })", R"({"a":"p","b":-2,"c":3000000,"d":-4})");
    expectText("S6", "", R"(S6{ x: 6 y: "q" })", R"({"x":6,"y":"q"})");
    expectText("T28", "S1", R"(T28{ tag: "t" inner: S1{ a: 1 b: "i" c: -0.25 } bits: 21 more: 703710 })",
               R"({"tag":"t","inner":{"a":1,"b":"i","c":-0.25},"bits":21,"more":703710})");
}

TEST_F(Pahole, DescribesClasses) {
    expectText("Vault", "", "Vault{ code_: 77 open_: true weight_: 0.25 }",
               R"({"code_":77,"open_":true,"weight_":0.25})");
    expectText("ND", "NB", R"(ND{ NB: NB{ a: 1 b: "b" c: "" } d: "d" e: 5 })",
               R"({"NB":{"a":1,"b":"b","c":""},"d":"d","e":5})");
    expectText("T25", "NB,Second", R"(T25{ NB: NB{ a: 1 b: "n" c: "" } Second: Second{ z: 2 } own: 3 })",
               R"({"NB":{"a":1,"b":"n","c":""},"Second":{"z":2},"own":3})");
    expectText("S21", "Empty", "S21{ Empty: Empty{ } a: 10 e: Empty{ } b: 11 }",
               R"({"Empty":{},"a":10,"e":{},"b":11})");
    expectLayout("C8");
}

TEST_F(Pahole, DescribesClassesWithVirtualFunctions) {
    expectLayout("Base");
    expectLayout("Derived", "Base");
    expectLayout("Derived");
    expectLayout("Derived2", "Base,Derived");
    expectLayout("T26", "Cell");
}

TEST_F(Pahole, NamesTemplatesOfWhichTheBytesAreShown) {
    expectText("T22", "", "T22{ a: 01000000feffffff b: 03000400 c: 05000600 }",
               R"({"a":"01000000feffffff","b":"03000400","c":"05000600"})");
    expectText("T23", "", "T23{ p: 0100000002000000 grid: 0300040005000600 }",
               R"({"p":"0100000002000000","grid":"0300040005000600"})");
    expectLayout("S10");
    expectLayout("S15");
    expectLayout("S16");
}

} // namespace
